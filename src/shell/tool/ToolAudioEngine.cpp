#include "platform/HostEngine.h"
#include "recording/AudioEngine.h"
#include "shell/tool/AudioCommandSupport.h"

// Apart from the other helpers: the front program links those, and this one would pull the
// engine, JACK and the plugin host into it.
namespace tool {

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
