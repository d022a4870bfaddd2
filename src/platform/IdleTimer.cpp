#include "platform/IdleTimer.h"

#include <QDBusConnection>
#include <QDBusInterface>
#include <QDBusReply>

namespace platform::IdleTimer {
namespace {

constexpr const char* kService = "org.freedesktop.ScreenSaver";
constexpr const char* kPath = "/org/freedesktop/ScreenSaver";

bool gDisabled = false;
uint gCookie = 0;

}  // namespace

void setDisabled(bool disabled)
{
    if (disabled == gDisabled)
        return;
    gDisabled = disabled;
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected())
        return;
    const QString service = QLatin1String(kService);
    QDBusInterface saver(service, QLatin1String(kPath), service, bus);
    if (!saver.isValid())
        return;
    if (disabled) {
        const QDBusReply<uint> reply =
            saver.call(QStringLiteral("Inhibit"), QStringLiteral("Wavelocker"), QStringLiteral("Audio is running"));
        gCookie = reply.isValid() ? reply.value() : 0;
    } else if (gCookie) {
        saver.call(QStringLiteral("UnInhibit"), gCookie);
        gCookie = 0;
    }
}

bool isDisabled() { return gDisabled; }

}  // namespace platform::IdleTimer
