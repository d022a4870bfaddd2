#include "audiofiles/editor/EditorTools.h"

#include "audiofiles/editor/OutputNames.h"
#include "library/Utils.h"

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

Result normalize(const QString& source, const Utils::ProgressBlock& progress, const Utils::CancelFlag* cancel)
{
    return remembered(Utils::normalize(source, OutputNames::normalizedPath(source), progress, cancel));
}

Result convert(const QString& source, const ConversionOptions& options, const Utils::ProgressBlock& progress,
               const Utils::CancelFlag* cancel)
{
    const QString dest = OutputNames::convertedPath(source, options.format);
    return remembered(Utils::convert(source, dest, options, progress, cancel) ? Result(dest) : std::nullopt);
}

}  // namespace EditorTools
