#pragma once
#include "audiofiles/AudioOperations.h"
#include "audiofiles/ConversionOptions.h"

#include <QStringList>
#include <functional>

// Normalize and Convert over several files, one after the other, each exactly as the editor
// does it for one file: the result beside its source under the editor's names, remembered as
// the library's last new file. Runs on the calling thread.
namespace BatchTools {

// Which of paths the tools take, in their order: audio files other than MIDI (folders, notes,
// archives and SoundFonts are left out).
QStringList audioFiles(const QStringList& paths);

// fraction is over the whole batch (0..1); index is the file being worked on (0-based).
using ProgressBlock = std::function<void(float fraction, int index, int count)>;

struct Outcome {
    QStringList written;  // the results, in the order of their sources
    QStringList failed;   // sources that gave no result (logged by the operation)
    bool cancelled = false;
};

// A set cancel stops the file in progress before its next chunk (it leaves nothing behind)
// and the files after it; results already written stay.
Outcome normalize(const QStringList& sources, const ProgressBlock& progress = {},
                  const Utils::CancelFlag* cancel = nullptr);
Outcome convert(const QStringList& sources, const ConversionOptions& options, const ProgressBlock& progress = {},
                const Utils::CancelFlag* cancel = nullptr);

}  // namespace BatchTools
