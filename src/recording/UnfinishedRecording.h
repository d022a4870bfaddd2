#pragma once
#include <QString>

// The recorder writes into one fixed temporary file per format and moves it into the library
// when the recording ends, so a file left there means a recording was cut off. A take being
// recorded holds a lock on its file, so another process neither records over it nor
// recovers it.
namespace UnfinishedRecording {

// The temporary directory + "recording" + the format's extension.
QString temporaryRecordingPath(int recFormat);
// The first format's temporary file that exists and no recorder holds; empty when none (or
// the folder is unreadable).
QString hasUnfinishedRecording();

// Holds the lock of a take's file while it is recorded (the descriptor stays open).
class TakeLock {
public:
    TakeLock() = default;
    ~TakeLock();
    TakeLock(const TakeLock&) = delete;
    TakeLock& operator=(const TakeLock&) = delete;
    enum class Result { Held, InUse, Failed };
    // InUse when another recorder holds the take at path; Failed when the file can't be made.
    Result acquire(const QString& path);
    void release();

private:
    int mFd = -1;
};

struct Recovery {
    QString found;    // the temporary take, empty when there was none
    QString name;     // "Recovered yyyy-MM-dd HH:mm:ss.EXT"
    QString savedAs;  // the path in the library, empty when it could not be moved
    bool repaired = false;
    QString message;  // the alert's text
};
// The start-up step: the take is repaired (sizes made true, fragments made a plain M4A) and
// moved into folder as "Recovered %@.%@".
Recovery recover(const QString& folder);

}  // namespace UnfinishedRecording
