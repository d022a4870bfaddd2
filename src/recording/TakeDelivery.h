#pragma once
#include "recording/Recorder.h"

#include <QObject>
#include <QString>
#include <functional>

// The library's hand-over of a finished take: named from the suggested name ("/" becomes
// "_") with the take's extension in the current folder, made unique ("%@(%d).%@"), moved in,
// normalized in place when "recording.normalize" is on, and remembered as the new file to
// open when "recording.autoopen" is on. A take that can't be moved stays in the temporary
// folder, where the next start recovers it.
namespace TakeDelivery {

struct Hooks {
    // "Normalizing" when it begins, "Normalized" when done (the progress overlay's texts).
    std::function<void(const QString& message)> progress;
    // The take is in the library at path (after normalizing); the recorder screen closes
    // when "recording.autoopen" is on.
    std::function<void(const QString& path, bool autoOpen)> delivered;
    // The take could not be moved; it stays at the temporary path.
    std::function<void(const QString& error)> failed;
};

// folder/name.ext for the take, the first free one.
QString targetPath(const QString& folder, const QString& suggestedName, const QString& extension);
// Hands one take over; normalizing runs in the background and reports on the main thread
// while context lives.
void deliver(const QString& folder, bool finished, const QString& takePath, const QString& suggestedName,
             QObject* context, Hooks hooks);
// The done closure a recorder opened in folder gets.
Recorder::DoneBlock doneBlock(const QString& folder, QObject* context, Hooks hooks);

}  // namespace TakeDelivery

// How the library opens the recorder: the library screen installs an opener that shows the
// recorder screen (which creates and attaches a Recorder) and answers it.
namespace RecorderLauncher {

using Opener = std::function<Recorder*()>;
void setOpener(Opener opener);
// `openAndToggleRecorder`: the current recorder, else the one the opener shows; then its
// REC press. False when there is no recorder to toggle.
bool openAndToggleRecorder();

}  // namespace RecorderLauncher
