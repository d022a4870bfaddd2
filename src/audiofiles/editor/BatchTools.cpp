#include "audiofiles/editor/BatchTools.h"

#include "audiofiles/editor/EditorTools.h"
#include "library/Utils.h"
#include "platform/Log.h"

#include <QFileInfo>

namespace BatchTools {
namespace {

using OneFile = std::function<EditorTools::Result(const QString& source, const Utils::ProgressBlock& progress)>;

Outcome runEach(const QStringList& sources, const OneFile& tool, const ProgressBlock& progress,
                const Utils::CancelFlag* cancel)
{
    Outcome outcome;
    const int count = int(sources.size());
    for (int i = 0; i < count; ++i) {
        if (cancel && cancel->load()) {
            outcome.cancelled = true;
            break;
        }
        const Utils::ProgressBlock fileProgress = [&progress, i, count](float fraction) {
            if (progress)
                progress((float(i) + fraction) / float(count), i, count);
        };
        fileProgress(0);
        if (const EditorTools::Result written = tool(sources[i], fileProgress))
            outcome.written << *written;
        else if (cancel && cancel->load())
            outcome.cancelled = true;
        else
            outcome.failed << sources[i];
        if (outcome.cancelled)
            break;
    }
    if (outcome.cancelled)
        platform::log(QStringLiteral("Batch cancelled after %1 of %2 files").arg(outcome.written.size()).arg(count));
    else if (progress && count > 0)
        progress(1, count - 1, count);
    return outcome;
}

}  // namespace

QStringList audioFiles(const QStringList& paths)
{
    QStringList files;
    for (const QString& path : paths)
        if (QFileInfo(path).isFile() && Utils::fileIsAudio(path) && !Utils::fileIsMIDI(path))
            files << path;
    return files;
}

Outcome normalize(const QStringList& sources, const ProgressBlock& progress, const Utils::CancelFlag* cancel)
{
    return runEach(
        sources,
        [cancel](const QString& source, const Utils::ProgressBlock& fileProgress) {
            return EditorTools::normalize(source, fileProgress, cancel);
        },
        progress, cancel);
}

Outcome convert(const QStringList& sources, const ConversionOptions& options, const ProgressBlock& progress,
                const Utils::CancelFlag* cancel)
{
    return runEach(
        sources,
        [&options, cancel](const QString& source, const Utils::ProgressBlock& fileProgress) {
            return EditorTools::convert(source, options, fileProgress, cancel);
        },
        progress, cancel);
}

}  // namespace BatchTools
