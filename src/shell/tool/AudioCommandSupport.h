#pragma once
#include "shell/tool/ToolSupport.h"

#include <QString>
#include <optional>

// Shared by the audio subcommands.
namespace tool {

QString absolutePath(const QString& path);
// Prints the written file's path and answers kOk, or answers kFailed (the operation has
// logged its reason on stderr).
int reportWritten(const std::optional<QString>& written);
// Sets up the audio engine on the JACK server; when none can be reached, says so on stderr,
// tears the engine down again and answers false.
bool startAudioEngine();

}  // namespace tool
