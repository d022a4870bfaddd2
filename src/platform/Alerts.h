#pragma once
#include <QString>
#include <functional>

class QObject;

namespace platform {

// Alerts go through one presenter: the window installs one that shows a dialog; without it
// (headless mode, the tool, tests) the alert is logged as "Alert: TITLE: MESSAGE".
// Alerts from other threads reach the presenter on the main thread.
using AlertPresenter = std::function<void(const QString& title, const QString& message, QObject* context)>;
void setAlertPresenter(AlertPresenter presenter);
void showAlert(const QString& title, const QString& message, QObject* context = nullptr);

}  // namespace platform
