#include "shell/tool/AudioCommandSupport.h"

#include "platform/HostEngine.h"
#include "recording/AudioEngine.h"

#include <QFileInfo>

namespace tool {

QString absolutePath(const QString& path) { return QFileInfo(path).absoluteFilePath(); }

int reportWritten(const std::optional<QString>& written)
{
    if (!written)
        return kFailed;
    printOut(*written);
    return kOk;
}

bool startAudioEngine()
{
    AudioEngine::setup();
    if (AudioEngine::audioController()->isRunning())
        return true;
    printError(QStringLiteral("wavelocker-tool: no audio: no JACK server could be reached"));
    AudioEngine::teardown();
    return false;
}

}  // namespace tool
