#include "platform/MediaPlayerService.h"

#include "platform/Log.h"

#include <QDBusAbstractAdaptor>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QStringList>
#include <QVariantMap>

namespace platform {
namespace {

class RootAdaptor : public QDBusAbstractAdaptor {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.mpris.MediaPlayer2")
    Q_PROPERTY(bool CanQuit READ no)
    Q_PROPERTY(bool CanRaise READ no)
    Q_PROPERTY(bool HasTrackList READ no)
    Q_PROPERTY(QString Identity READ identity)
    Q_PROPERTY(QString DesktopEntry READ desktopEntry)
    Q_PROPERTY(QStringList SupportedUriSchemes READ none)
    Q_PROPERTY(QStringList SupportedMimeTypes READ none)
public:
    explicit RootAdaptor(QObject* parent) : QDBusAbstractAdaptor(parent) {}
    bool no() const { return false; }
    QString identity() const { return QStringLiteral("Wavelocker"); }
    QString desktopEntry() const { return QStringLiteral("wavelocker"); }
    QStringList none() const { return {}; }
public slots:
    void Raise() {}
    void Quit() {}
};

class PlayerAdaptor : public QDBusAbstractAdaptor {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.mpris.MediaPlayer2.Player")
    Q_PROPERTY(QString PlaybackStatus READ playbackStatus)
    Q_PROPERTY(double Rate READ one)
    Q_PROPERTY(double MinimumRate READ one)
    Q_PROPERTY(double MaximumRate READ one)
    Q_PROPERTY(double Volume READ one)
    Q_PROPERTY(qlonglong Position READ zero)
    Q_PROPERTY(QVariantMap Metadata READ metadata)
    Q_PROPERTY(bool CanGoNext READ no)
    Q_PROPERTY(bool CanGoPrevious READ yes)
    Q_PROPERTY(bool CanPlay READ yes)
    Q_PROPERTY(bool CanPause READ yes)
    Q_PROPERTY(bool CanSeek READ no)
    Q_PROPERTY(bool CanControl READ yes)
public:
    explicit PlayerAdaptor(MediaPlayerService* service) : QDBusAbstractAdaptor(service), mService(service) {}
    QString playbackStatus() const { return mService->playbackStatus(); }
    double one() const { return 1.0; }
    qlonglong zero() const { return 0; }
    QVariantMap metadata() const { return {}; }
    bool yes() const { return true; }
    bool no() const { return false; }
public slots:
    void PlayPause() { mService->event(1); }
    // Play and Pause only toggle when they would change something.
    void Play()
    {
        if (mService->playbackStatus() != QLatin1String("Playing"))
            mService->event(1);
    }
    void Pause()
    {
        if (mService->playbackStatus() == QLatin1String("Playing"))
            mService->event(1);
    }
    void Stop() { Pause(); }
    void Previous() { mService->event(3); }
    void Next() {}
    void Seek(qlonglong) {}

private:
    MediaPlayerService* mService;
};

class RemoteAdaptor : public QDBusAbstractAdaptor {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "com.orvenic.Wavelocker.Remote")
public:
    explicit RemoteAdaptor(MediaPlayerService* service) : QDBusAbstractAdaptor(service), mService(service) {}
public slots:
    void ToggleRecord() { mService->event(2); }

private:
    MediaPlayerService* mService;
};

}  // namespace

MediaPlayerService::MediaPlayerService(std::function<void(int event)> onEvent, QObject* parent)
    : QObject(parent), mOnEvent(std::move(onEvent))
{
    new RootAdaptor(this);
    new PlayerAdaptor(this);
    new RemoteAdaptor(this);
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected())
        return;  // headless: no desktop, no media keys
    // A second instance (or the tool beside the program) leaves the name to the first.
    mRegistered = bus.registerObject(QLatin1String(kObjectPath), this) &&
                  bus.registerService(QLatin1String(kServiceName));
    if (!mRegistered) {
        bus.unregisterObject(QLatin1String(kObjectPath));
        log(QStringLiteral("Could not register %1 on the session bus").arg(QLatin1String(kServiceName)));
    }
}

MediaPlayerService::~MediaPlayerService()
{
    if (!mRegistered)
        return;
    QDBusConnection bus = QDBusConnection::sessionBus();
    bus.unregisterService(QLatin1String(kServiceName));
    bus.unregisterObject(QLatin1String(kObjectPath));
}

void MediaPlayerService::event(int number)
{
    if (mOnEvent)
        mOnEvent(number);
}

void MediaPlayerService::setPlaybackStatus(const QString& status)
{
    if (status == mStatus)
        return;
    mStatus = status;
    if (!mRegistered)
        return;
    QDBusMessage signal = QDBusMessage::createSignal(QLatin1String(kObjectPath),
                                                     QStringLiteral("org.freedesktop.DBus.Properties"),
                                                     QStringLiteral("PropertiesChanged"));
    signal << QStringLiteral("org.mpris.MediaPlayer2.Player")
           << QVariantMap{{QStringLiteral("PlaybackStatus"), status}} << QStringList();
    QDBusConnection::sessionBus().send(signal);
}

}  // namespace platform

#include "MediaPlayerService.moc"
