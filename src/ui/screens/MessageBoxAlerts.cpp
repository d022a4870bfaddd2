#include "ui/screens/MessageBoxAlerts.h"

#include "platform/Alerts.h"
#include "platform/Dispatch.h"

#include <QApplication>
#include <QMessageBox>
#include <QPointer>

namespace MessageBoxAlerts {
namespace {

QWidget* parentFor(QObject* context)
{
    if (auto* widget = qobject_cast<QWidget*>(context))
        return widget->window();
    if (QWidget* active = QApplication::activeWindow())
        return active;
    for (QWidget* top : QApplication::topLevelWidgets())
        if (top->isVisible())
            return top;
    return nullptr;
}

void show(const QString& title, const QString& message, QObject* context)
{
    auto* box = new QMessageBox(QMessageBox::NoIcon, title, message, QMessageBox::Ok, parentFor(context));
    box->setAttribute(Qt::WA_DeleteOnClose);
    box->open();  // not exec(): an alert never holds up the code that raised it
}

}  // namespace

void install()
{
    platform::setAlertPresenter([](const QString& title, const QString& message, QObject* context) {
        QPointer<QObject> guard(context);
        if (platform::isMainThread()) {
            show(title, message, context);
            return;
        }
        platform::runOnMain([title, message, guard] { show(title, message, guard.data()); });
    });
}

}  // namespace MessageBoxAlerts
