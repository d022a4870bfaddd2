#include "audiofiles/editor/EditorTools.h"

#include "audiofiles/editor/OutputNames.h"
#include "library/Utils.h"
#include "platform/Dispatch.h"

#include <QPointer>
#include <QThreadPool>

namespace EditorTools {
namespace {

Result remembered(const Result& written)
{
    if (written)
        Utils::rememberNewFile(*written);
    return written;
}

}  // namespace

Result trim(const QString& source, const TrimRegion& region, const Utils::ProgressBlock& progress)
{
    return remembered(Utils::trim(source, OutputNames::trimmedPath(source), region.start, region.end, region.fadeIn,
                                  region.fadeOut, progress));
}

Result normalize(const QString& source, const Utils::ProgressBlock& progress)
{
    return remembered(Utils::normalize(source, OutputNames::normalizedPath(source), progress));
}

Result convert(const QString& source, const ConversionOptions& options, const Utils::ProgressBlock& progress)
{
    const QString dest = OutputNames::convertedPath(source, options.format);
    return remembered(Utils::convert(source, dest, options, progress) ? Result(dest) : std::nullopt);
}

void runInBackground(QObject* context, std::function<Result()> job, std::function<void(const Result&)> done)
{
    QThreadPool::globalInstance()->start(
        [context = QPointer<QObject>(context), job = std::move(job), done = std::move(done)] {
            const Result result = job();
            platform::runOnMain([context, done, result] {
                if (context)
                    done(result);
            });
        });
}

}  // namespace EditorTools
