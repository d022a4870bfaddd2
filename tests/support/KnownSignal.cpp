#include "support/KnownSignal.h"
#include "support/PlaybackFixtures.h"

#include <QCoreApplication>
#include <algorithm>
#include <cmath>
#include <numbers>

namespace testsupport {

float knownSample(uint64_t frame, int channel)
{
    uint64_t x = frame * 2 + uint64_t(channel) + 0x9E3779B97F4A7C15ull;
    x = (x ^ (x >> 30)) * 0xBF58476D1CE4E5B9ull;
    x = (x ^ (x >> 27)) * 0x94D049BB133111EBull;
    x ^= x >> 31;
    const int k = int(x & 0x7FFF) - 16384;  // -16384..16383: half scale, exact at 16 bits
    return float(k) / 32768.0f;
}

bool writeKnownSignalWav(const QString& path, int64_t frames)
{
    std::vector<float> samples(size_t(frames) * 2);
    for (int64_t f = 0; f < frames; ++f)
        for (int c = 0; c < 2; ++c)
            samples[size_t(f * 2 + c)] = knownSample(uint64_t(f), c);
    return writeFloatWav(path, 44100, 2, samples);
}

class KnownSignalClient::Channel : public platform::HostChannel {
public:
    void render(float* const* buffers, uint32_t frames, const platform::AudioTimeStamp& time) override
    {
        const auto cycleStart = uint64_t(time.sampleTime);
        if (mLastCycle != 0 && cycleStart > mLastCycle + frames)
            mMissed.fetch_add((cycleStart - mLastCycle) / frames - 1, std::memory_order_relaxed);
        mLastCycle = cycleStart;
        const uint64_t start = mFrames.load(std::memory_order_relaxed);
        const double frequency = mFrequency.load(std::memory_order_relaxed);
        const float amplitude = mAmplitude.load(std::memory_order_relaxed);
        for (int c = 0; c < platform::kHostChannels; ++c)
            for (uint32_t i = 0; i < frames; ++i)
                buffers[c][i] = frequency > 0
                                    ? amplitude * float(std::sin(2 * std::numbers::pi * frequency * double(start + i) / 44100.0))
                                    : knownSample(start + i, c);
        mFrames.store(start + frames, std::memory_order_relaxed);
    }
    std::atomic<uint64_t> mFrames{0};
    std::atomic<uint64_t> mMissed{0};
    uint64_t mLastCycle = 0;
    std::atomic<double> mFrequency{0};
    std::atomic<float> mAmplitude{0};
};

KnownSignalClient::KnownSignalClient()
    : mEngine(std::make_unique<platform::HostEngine>(QStringLiteral("wlsignal"))), mChannel(std::make_shared<Channel>())
{
}

KnownSignalClient::~KnownSignalClient()
{
    mEngine->stop();
    mEngine->setSessionActive(false);
}

bool KnownSignalClient::start()
{
    if (!mEngine->start())
        return false;
    mEngine->addChannel(mChannel);
    return true;
}

QStringList KnownSignalClient::outputPorts() const { return mEngine->outputPortNames(); }
uint64_t KnownSignalClient::framesPlayed() const { return mChannel->mFrames.load(); }
uint64_t KnownSignalClient::cyclesMissed() const { return mChannel->mMissed.load(); }
void KnownSignalClient::setSine(double frequency, float amplitude)
{
    mChannel->mAmplitude = amplitude;
    mChannel->mFrequency = frequency;
}

namespace {

constexpr int kRun = 16;  // frames that must agree to place a frame in the signal

bool agrees(const std::vector<float>& s, int channels, int64_t at, uint64_t index, int64_t frames)
{
    const int64_t n = std::min<int64_t>(kRun, frames - at);
    for (int64_t i = 0; i < n; ++i)
        for (int c = 0; c < channels; ++c)
            if (s[size_t((at + i) * channels + c)] != knownSample(index + uint64_t(i), c))
                return false;
    return true;
}

bool channelAgrees(const std::vector<float>& s, int channels, int64_t at, uint64_t index, int64_t frames, int c)
{
    const int64_t n = std::min<int64_t>(kRun, frames - at);
    for (int64_t i = 0; i < n; ++i)
        if (s[size_t((at + i) * channels + c)] != knownSample(index + uint64_t(i), c))
            return false;
    return true;
}

}  // namespace

SignalMatch matchKnownSignal(const std::vector<float>& s, int channels, uint64_t searchLimit, bool allowTorn)
{
    SignalMatch m;
    m.frames = int64_t(s.size()) / channels;
    if (m.frames == 0)
        return m;
    uint64_t index = 0;
    for (; index < searchLimit; ++index)
        if (agrees(s, channels, 0, index, m.frames))
            break;
    if (index == searchLimit)
        return m;
    m.found = true;
    m.start = index;
    constexpr uint64_t kResyncWindow = 44100 * 2;
    for (int64_t f = 0; f < m.frames; ++f, ++index) {
        bool same = true;
        for (int c = 0; c < channels; ++c)
            same = same && s[size_t(f * channels + c)] == knownSample(index, c);
        if (same)
            continue;
        // Only a jump forward can be a lost cycle; anything else is a fault of ours.
        uint64_t next = index + 1;
        for (; next < index + kResyncWindow; ++next)
            if (agrees(s, channels, f, next, m.frames))
                break;
        if (next == index + kResyncWindow) {
            // Heard again: the source's last cycle repeated. Only a whole run directly behind.
            uint64_t back = 1;
            for (; back <= std::min<uint64_t>(index, 8192); ++back)
                if (agrees(s, channels, f, index - back, m.frames))
                    break;
            if (back <= std::min<uint64_t>(index, 8192)) {
                ++m.repeats;
                m.framesRepeated += int64_t(back);
                index -= back;
                continue;
            }
        }
        if (next == index + kResyncWindow && allowTorn && channels > 1) {
            // Torn: each channel goes on by itself, from within a few cycles of here.
            std::vector<uint64_t> from(size_t(channels), 0);
            bool eachFollows = true;
            const uint64_t low = index - std::min<uint64_t>(index, 8192);
            for (int c = 0; c < channels && eachFollows; ++c) {
                uint64_t at = low;
                while (at < index + 8192 && !channelAgrees(s, channels, f, at, m.frames, c))
                    ++at;
                from[size_t(c)] = at;
                eachFollows = at < index + 8192;
            }
            if (eachFollows) {
                int64_t end = f;
                for (bool follows = true; follows && end < m.frames; end += follows) {
                    for (int c = 0; c < channels; ++c)
                        follows = follows && s[size_t(end * channels + c)] == knownSample(from[size_t(c)] + uint64_t(end - f), c);
                }
                ++m.torn;
                m.framesTorn += end - f;
                // On from the channel that was behind; one that went on from the other is a jump.
                index = *std::min_element(from.begin(), from.end()) + uint64_t(end - f) - 1;
                f = end - 1;
                continue;
            }
        }
        if (next == index + kResyncWindow) {
            m.mismatchAt = f;
            m.silenceAtMismatch = true;
            for (int64_t i = f; i < std::min(m.frames, f + kRun); ++i)
                m.silenceAtMismatch = m.silenceAtMismatch && s[size_t(i * channels)] == 0;
            for (uint64_t back = 1; back < std::min<uint64_t>(index, kResyncWindow); ++back)
                if (agrees(s, channels, f, index - back, m.frames)) {
                    m.repeatedFrom = int64_t(back);
                    break;
                }
            return m;
        }
        ++m.jumps;
        m.framesSkipped += int64_t(next - index);
        index = next;
    }
    return m;
}

}  // namespace testsupport
