#pragma once
#include <QObject>
#include <QString>
#include <functional>
#include <memory>

namespace platform {

// The program as a media player on the session bus (MPRIS), so that media keys and the
// desktop's player widgets reach it: PlayPause and Play/Pause give event 1 (toggle play),
// Previous gives 3 (rewind), and our own interface's ToggleRecord gives 2. Without a session
// bus (no desktop) it does nothing.
class MediaPlayerService : public QObject {
    Q_OBJECT
public:
    static constexpr const char* kServiceName = "org.mpris.MediaPlayer2.wavelocker";
    static constexpr const char* kObjectPath = "/org/mpris/MediaPlayer2";
    static constexpr const char* kRemoteInterface = "com.orvenic.Wavelocker.Remote";

    explicit MediaPlayerService(std::function<void(int event)> onEvent, QObject* parent = nullptr);
    ~MediaPlayerService() override;
    bool isRegistered() const { return mRegistered; }

    // "Playing", "Paused" or "Stopped"; the desktop hears of each change.
    void setPlaybackStatus(const QString& status);
    const QString& playbackStatus() const { return mStatus; }
    void event(int number);

private:
    std::function<void(int)> mOnEvent;
    QString mStatus = QStringLiteral("Stopped");
    bool mRegistered = false;
};

}  // namespace platform
