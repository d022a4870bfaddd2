#pragma once
#include <QHash>
#include <QString>
#include <QStringList>
#include <cstdint>
#include <functional>

// Generated audio for the tests, and the outside tools (sox, ffmpeg, ffprobe) that make
// other formats from it and cross-check what we wrote.
namespace testsupport {

// The test signal: a 440 Hz sine at half scale on the first channel, 660 Hz at a quarter on
// the second, as 16-bit samples.
int16_t toneSample(int64_t frame, int channel, double sampleRate);

// A 16-bit PCM WAVE file written byte by byte; sample(frame, channel) gives each value.
bool writeWav16(const QString& path, int channels, int sampleRate, int64_t frames,
                const std::function<int16_t(int64_t, int)>& sample);
bool writeToneWav(const QString& path, int channels, int sampleRate, int64_t frames);

// Runs an outside program; true when it exits with 0.
bool runTool(const QString& program, const QStringList& args, QByteArray* output = nullptr);
// What ffprobe says of a file in one run: entries of the first audio stream by their names
// ("sample_rate", "channels", "codec_name", "bit_rate", "duration_ts", "bits_per_raw_sample",
// ...) and of the container as "format:NAME" ("format:format_name").
using Probe = QHash<QString, QString>;
Probe probe(const QString& path);

}  // namespace testsupport
