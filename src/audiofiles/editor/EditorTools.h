#pragma once
#include "audiofiles/AudioOperations.h"
#include "audiofiles/ConversionOptions.h"

#include <QString>
#include <functional>
#include <optional>

// The editor's three tools. Each writes its result beside the source under the editor's
// naming rules and, when a file was written, remembers it as the library's last new file so
// that the browser selects it when it appears. They run on the calling thread.
namespace EditorTools {

using Result = std::optional<QString>;  // the path written, or nullopt when it failed

struct TrimRegion {
    double start = 0;
    double end = 0;
    double fadeIn = 0;
    double fadeOut = 0;
};

Result trim(const QString& source, const TrimRegion& region, const Utils::ProgressBlock& progress = {});
Result normalize(const QString& source, const Utils::ProgressBlock& progress = {}, const Utils::CancelFlag* cancel = nullptr);
Result convert(const QString& source, const ConversionOptions& options, const Utils::ProgressBlock& progress = {},
               const Utils::CancelFlag* cancel = nullptr);

}  // namespace EditorTools
