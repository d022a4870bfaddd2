#include "recording/RecordLevels.h"
#include "recording/RecordingSettings.h"
#include "platform/Settings.h"
#include "support/TempTree.h"

#include <gtest/gtest.h>
#include <cmath>
#include <vector>

namespace {

void feed(RecordLevels& levels, float left, float right, int buffers = 1, uint32_t frames = 512)
{
    std::vector<float> l(frames), r(frames);
    for (uint32_t i = 0; i < frames; ++i) {
        l[i] = i % 2 ? left : -left;  // a square wave of that peak
        r[i] = i % 2 ? right : -right;
    }
    const float* b[] = {l.data(), r.data()};
    for (int i = 0; i < buffers; ++i)
        levels.measure(const_cast<float* const*>(b), 2, frames);
}

}  // namespace

TEST(RecordLevels, NineteenLogTenSmoothingClampAndPeakHold)
{
    RecordLevels levels;
    feed(levels, 1.0f, 0.1f);
    // Full scale: 19 x log10(1) = 0, smoothed 0.6 x -160 + 0.4 x 0.
    EXPECT_FLOAT_EQ(levels.peakPowerForChannel(0), 0.0f);
    EXPECT_FLOAT_EQ(levels.averagePowerForChannel(0), -96.0f);
    EXPECT_FLOAT_EQ(levels.peakPowerForChannel(1), -19.0f);
    feed(levels, 1.0f, 0.1f, 40);
    EXPECT_NEAR(levels.averagePowerForChannel(0), 0.0f, 1e-3);
    EXPECT_NEAR(levels.averagePowerForChannel(1), -19.0f, 1e-3);

    feed(levels, 0.0f, 0.0f, 100);
    EXPECT_FLOAT_EQ(levels.averagePowerForChannel(0), RecordLevels::kSilence);  // clamped

    // A peak is held for 100 buffers after it rose, then follows each buffer's own peak:
    // minus infinity for silence.
    RecordLevels hold;
    feed(hold, 1.0f, 1.0f);
    feed(hold, 0.0f, 0.0f, 100);
    EXPECT_FLOAT_EQ(hold.peakPowerForChannel(0), 0.0f);
    feed(hold, 0.0f, 0.0f);
    EXPECT_TRUE(std::isinf(hold.peakPowerForChannel(0)) && hold.peakPowerForChannel(0) < 0);
    feed(hold, 0.01f, 0.0f);
    EXPECT_FLOAT_EQ(hold.peakPowerForChannel(0), -38.0f);

    // One buffer only: the second channel keeps what it had.
    RecordLevels mono;
    std::vector<float> l(64, 0.5f);
    const float* b[] = {l.data()};
    mono.measure(const_cast<float* const*>(b), 1, 64);
    EXPECT_NEAR(mono.peakPowerForChannel(0), 19.0f * std::log10(0.5f), 1e-4);
    EXPECT_FLOAT_EQ(mono.peakPowerForChannel(1), RecordLevels::kSilence);
    EXPECT_FLOAT_EQ(mono.averagePowerForChannel(5), RecordLevels::kSilence);
}

TEST(RecordingSettings, OutOfRangeValuesFallBackAndTheBitRateRules)
{
    testsupport::TempTree tree;
    platform::Settings::reload();
    RecordingSettings d = RecordingSettings::current();
    EXPECT_EQ(d.format, 0);
    EXPECT_EQ(d.channels, 2);
    EXPECT_EQ(d.bits, 16);
    EXPECT_EQ(d.samplerate, 44100);
    EXPECT_EQ(d.infoText(), QStringLiteral("WAVE Stereo 44100 Hz \u2022 Normalize: on"));

    platform::Settings::setValue(RecordingSettings::kFormatKey, 9);
    platform::Settings::setValue(RecordingSettings::kChannelsKey, 3);
    platform::Settings::setValue(RecordingSettings::kBitsKey, 20);
    platform::Settings::setValue(RecordingSettings::kSampleRateKey, QStringLiteral("fast"));
    platform::Settings::setValue(RecordingSettings::kBitRateKey, -5);
    const RecordingSettings bad = RecordingSettings::current();
    EXPECT_EQ(bad.format, 0);
    EXPECT_EQ(bad.channels, 2);
    EXPECT_EQ(bad.bits, 16);
    EXPECT_EQ(bad.samplerate, 44100);
    EXPECT_EQ(bad.bitrate, 128000);

    // AIFF takes no 32-bit samples: 24 is used.
    platform::Settings::setValue(RecordingSettings::kFormatKey, 1);
    platform::Settings::setValue(RecordingSettings::kBitsKey, 32);
    platform::Settings::setValue(RecordingSettings::kChannelsKey, 1);
    platform::Settings::setValue(RecordingSettings::kNormalizeKey, false);
    const RecordingSettings aiff = RecordingSettings::current();
    EXPECT_EQ(aiff.bits, 24);
    EXPECT_EQ(aiff.infoText(), QStringLiteral("AIFF Mono 44100 Hz \u2022 Normalize: off"));

    RecordingSettings aac;
    aac.format = 3;
    aac.channels = 1;
    aac.samplerate = 22050;
    aac.bitrate = 128000;
    EXPECT_EQ(aac.encodeBitRate(), 44100);  // min(128000, 4 x 22050) halved
    aac.bitrate = 0;
    aac.samplerate = 44100;
    aac.channels = 2;
    EXPECT_EQ(aac.encodeBitRate(), 128000);
    EXPECT_DOUBLE_EQ(aac.bytesPerSecond(), 16000);
}
