#include "platform/Alerts.h"

#include "platform/Dispatch.h"
#include "platform/Log.h"

#include <mutex>

namespace platform {
namespace {
std::mutex gMutex;
AlertPresenter gPresenter;
}  // namespace

void setAlertPresenter(AlertPresenter presenter)
{
    std::lock_guard lock(gMutex);
    gPresenter = std::move(presenter);
}

void showAlert(const QString& title, const QString& message, QObject* context)
{
    AlertPresenter presenter;
    {
        std::lock_guard lock(gMutex);
        presenter = gPresenter;
    }
    // Dialogs belong to the main thread; work on other threads may still report.
    if (presenter && !isMainThread())
        runOnMain([presenter, title, message, context] { presenter(title, message, context); });
    else if (presenter)
        presenter(title, message, context);
    else
        log(QStringLiteral("Alert: %1: %2").arg(title, message));
}

}  // namespace platform
