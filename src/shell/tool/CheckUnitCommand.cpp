#include "platform/HostGraph.h"
#include "platform/lv2/Lv2Plugin.h"
#include "shell/tool/ToolCommands.h"
#include "shell/tool/ToolSupport.h"

#include <array>
#include <vector>

namespace tool {
namespace {

const QString kCheckUsage = QStringLiteral("check-unit URI [--rate HZ] [--frames N]");
constexpr double kDefaultRate = 44100;
constexpr long long kDefaultFrames = 512;
constexpr int kBlocks = 16;  // enough for a plugin's first worker round trips

}  // namespace

// The program runs this in a child process before it first loads a plugin itself: a plugin
// that crashes takes only the child down.
int runCheckUnit(const QStringList& args)
{
    Arguments a(args, {QStringLiteral("--rate"), QStringLiteral("--frames")});
    const double rate = a.number(QStringLiteral("--rate")).value_or(kDefaultRate);
    const long long frames = a.integer(QStringLiteral("--frames")).value_or(kDefaultFrames);
    if (!a.ok())
        return usageError(kCheckUsage, a.error());
    if (a.positionals().size() != 1)
        return usageError(kCheckUsage, QStringLiteral("one plugin URI"));
    if (rate < 1000 || rate > 768000 || frames < 1 || frames > platform::HostGraph::kMaxFrames)
        return usageError(kCheckUsage, QStringLiteral("a rate of 1000 to 768000 Hz, 1 to %1 frames")
                                           .arg(platform::HostGraph::kMaxFrames));
    QString reason;
    auto plugin = platform::lv2::Plugin::instantiate(a.positionals().front(), rate, platform::HostGraph::kMaxFrames,
                                                     uint32_t(frames), true, nullptr, &reason);
    if (!plugin) {
        printError(QStringLiteral("wavelocker-tool: %1").arg(reason));
        return kFailed;
    }
    std::array<std::vector<float>, 2> channels;
    for (auto& c : channels)
        c.assign(size_t(frames), 0.0f);
    const std::array<float*, 2> buffers{channels[0].data(), channels[1].data()};
    platform::lv2::Transport transport;
    transport.rolling = true;
    for (int i = 0; i < kBlocks; ++i) {
        plugin->process(buffers.data(), uint32_t(frames), nullptr, 0, transport);
        transport.frame += double(frames);
    }
    printOut(QStringLiteral("runs"));
    return kOk;
}

}  // namespace tool
