#pragma once
#include <QString>

// The recorder writes into one fixed temporary file per format and moves it into the library
// when the recording ends, so a file left there means a recording was cut off.
namespace UnfinishedRecording {

// The temporary directory + "recording" + the format's extension.
QString temporaryRecordingPath(int recFormat);
// The first format's temporary file that exists; empty when none (or the folder is unreadable).
QString hasUnfinishedRecording();

}  // namespace UnfinishedRecording
