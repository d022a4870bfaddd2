#pragma once
#include "platform/Dispatch.h"

#include <QList>
#include <QString>
#include <atomic>
#include <functional>
#include <optional>

// One song of the user's music folder, as the picker lists it.
struct MusicTrack {
    QString path;
    QString title;
    QString artist;
    double duration = 0;  // seconds
};

namespace MusicLibrary {
// The user's music folder.
QString musicFolder();
// Every audio file below folder that has an audio stream, by artist and then title; nullopt
// when cancelled (every file is opened, so it takes a while).
std::optional<QList<MusicTrack>> tracks(const QString& folder, const std::atomic<bool>* cancel = nullptr);
}  // namespace MusicLibrary

// Decodes a song into a 44.1 kHz 16-bit stereo WAV file in a library folder. The work runs
// on its own serial queue through the temporary file "temp-import"; the callbacks come on
// the main thread.
class MusicImport {
public:
    struct Callbacks {
        std::function<void(float)> progress;
        std::function<void(const QString& target)> finished;
        std::function<void(const QString& message)> failed;  // for a "Music import" alert
        std::function<void()> cancelled;
    };

    MusicImport();
    ~MusicImport() { mCancel = true; }  // the queue then finishes at once
    // "TITLE - ARTIST.wav" in folder ("/" made "_"), made free by the unique name rule.
    static QString targetPathFor(const MusicTrack& track, const QString& folder);
    void start(const MusicTrack& track, const QString& folder, Callbacks callbacks);
    void cancelMusicImport() { mCancel = true; }

private:
    void run(const MusicTrack& track, const QString& folder, const Callbacks& callbacks);

    std::atomic<bool> mCancel{false};
    platform::SerialQueue mQueue;
};
