#include "recording/OfflineEffectChain.h"

#include "platform/AudioFileReader.h"
#include "platform/AudioFileWriter.h"
#include "platform/FourCC.h"
#include "platform/HostNodes.h"
#include "platform/lv2/Lv2Plugin.h"

#include <QFile>
#include <algorithm>
#include <array>
#include <memory>
#include <vector>

namespace OfflineEffectChain {
namespace {

constexpr int kChannels = platform::kHostChannels;

platform::StreamDescription floatWave(double rate, int channels)
{
    platform::StreamDescription d;
    d.sampleRate = rate;
    d.formatID = platform::fourCC("lpcm");
    d.formatFlags = platform::kFormatFlagFloat | platform::kFormatFlagPacked;
    d.bytesPerPacket = d.bytesPerFrame = uint32_t(4 * channels);
    d.framesPerPacket = 1;
    d.channelsPerFrame = uint32_t(channels);
    d.bitsPerChannel = 32;
    return d;
}

}  // namespace

bool processFile(const QString& in, const QString& out, const QList<Effect>& effects, QString* error,
                 const std::function<void(float)>& progress)
{
    auto fail = [&](const QString& why) {
        if (error)
            *error = why;
        return false;
    };
    if (effects.isEmpty() || effects.size() > kMaxEffects)
        return fail(QStringLiteral("between 1 and %1 effects").arg(kMaxEffects));
    auto reader = platform::AudioFileReader::open(in);
    if (!reader)
        return fail(QStringLiteral("could not open %1").arg(in));
    const int channels = reader->channels();
    const double rate = reader->sampleRate();
    if (channels < 1 || channels > kChannels)
        return fail(QStringLiteral("%1 has %2 channels; effects take one or two").arg(in).arg(channels));

    std::vector<std::unique_ptr<platform::lv2::Plugin>> chain;
    bool fixedBlocks = false;
    for (const Effect& effect : effects) {
        QString reason;
        auto plugin = platform::lv2::Plugin::instantiate(effect.uri, rate, kBlockFrames, kBlockFrames, false, nullptr,
                                                         &reason);
        if (!plugin)
            return fail(reason);
        if (plugin->isSource())
            return fail(QStringLiteral("%1 is not an effect: it takes no audio in").arg(effect.uri));
        for (const auto& [symbol, value] : effect.settings)
            if (!plugin->setControlValue(symbol, value))
                return fail(QStringLiteral("%1 has no control port %2").arg(effect.uri, symbol));
        fixedBlocks = fixedBlocks || plugin->needsFixedBlocks();
        chain.push_back(std::move(plugin));
    }

    auto writer = platform::AudioFileWriter::create(out, platform::fourCC("WAVE"), floatWave(rate, channels));
    if (!writer)
        return fail(QStringLiteral("could not create %1").arg(out));
    auto abandon = [&](const QString& why) {
        writer.reset();
        QFile::remove(out);
        return fail(why);
    };

    std::vector<float> interleaved(size_t(kBlockFrames) * size_t(channels));
    std::array<std::vector<float>, kChannels> planes;
    for (auto& p : planes)
        p.assign(kBlockFrames, 0.0f);
    const std::array<float*, kChannels> buffers{planes[0].data(), planes[1].data()};
    const int64_t total = reader->lengthFrames();
    int64_t done = 0;
    const platform::lv2::Transport stopped;
    while (true) {
        const int64_t got = reader->read(interleaved.data(), kBlockFrames);
        if (got < 0)
            return abandon(QStringLiteral("could not read %1").arg(in));
        if (got == 0)
            break;
        for (int64_t i = 0; i < got; ++i)
            for (int c = 0; c < kChannels; ++c)
                planes[size_t(c)][size_t(i)] = interleaved[size_t(i * channels + std::min(c, channels - 1))];
        // Plugins that need whole blocks get the last one filled up with silence.
        uint32_t frames = uint32_t(got);
        if (fixedBlocks && frames < kBlockFrames) {
            for (auto& p : planes)
                std::fill(p.begin() + got, p.end(), 0.0f);
            frames = kBlockFrames;
        }
        for (auto& plugin : chain)
            plugin->process(buffers.data(), frames, nullptr, 0, stopped);
        for (int64_t i = 0; i < got; ++i)
            for (int c = 0; c < channels; ++c)
                interleaved[size_t(i * channels + c)] = planes[size_t(c)][size_t(i)];
        if (!writer->write(interleaved.data(), got))
            return abandon(QStringLiteral("could not write %1").arg(out));
        done += got;
        if (progress && total > 0)
            progress(float(double(done) / double(total)));
    }
    if (!writer->close())
        return abandon(QStringLiteral("could not finish %1").arg(out));
    return true;
}

}  // namespace OfflineEffectChain
