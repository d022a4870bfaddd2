#include "support/AudioFixtures.h"

#include <QFile>
#include <QProcess>
#include <QtEndian>
#include <cmath>

namespace testsupport {

int16_t toneSample(int64_t frame, int channel, double sampleRate)
{
    const double freq = channel == 0 ? 440.0 : 660.0;
    const double amp = channel == 0 ? 0.5 : 0.25;
    return int16_t(std::lround(amp * 32767.0 * std::sin(2.0 * M_PI * freq * double(frame) / sampleRate)));
}

bool writeWav16(const QString& path, int channels, int sampleRate, int64_t frames,
                const std::function<int16_t(int64_t, int)>& sample)
{
    QFile f(path);
    if (!f.open(QIODevice::WriteOnly | QIODevice::Truncate))
        return false;
    const uint32_t dataBytes = uint32_t(frames * channels * 2);
    QByteArray header;
    auto u32 = [&header](uint32_t v) {
        char b[4];
        qToLittleEndian(v, b);
        header.append(b, 4);
    };
    auto u16 = [&header](uint16_t v) {
        char b[2];
        qToLittleEndian(v, b);
        header.append(b, 2);
    };
    header.append("RIFF");
    u32(36 + dataBytes);
    header.append("WAVEfmt ");
    u32(16);
    u16(1);
    u16(uint16_t(channels));
    u32(uint32_t(sampleRate));
    u32(uint32_t(sampleRate * channels * 2));
    u16(uint16_t(channels * 2));
    u16(16);
    header.append("data");
    u32(dataBytes);
    QByteArray data(qsizetype(dataBytes), Qt::Uninitialized);
    char* p = data.data();
    for (int64_t i = 0; i < frames; ++i)
        for (int c = 0; c < channels; ++c, p += 2)
            qToLittleEndian(sample(i, c), p);
    return f.write(header) == header.size() && f.write(data) == data.size();
}

bool writeToneWav(const QString& path, int channels, int sampleRate, int64_t frames)
{
    return writeWav16(path, channels, sampleRate, frames,
                      [sampleRate](int64_t i, int c) { return toneSample(i, c, sampleRate); });
}

bool runTool(const QString& program, const QStringList& args, QByteArray* output)
{
    QProcess p;
    p.setProcessChannelMode(QProcess::SeparateChannels);
    p.start(program, args);
    if (!p.waitForFinished(60000))
        return false;
    if (output)
        *output = p.readAllStandardOutput();
    return p.exitStatus() == QProcess::NormalExit && p.exitCode() == 0;
}

Probe probe(const QString& path)
{
    QByteArray out;
    Probe result;
    if (!runTool(QStringLiteral("ffprobe"), {QStringLiteral("-v"), QStringLiteral("error"), QStringLiteral("-select_streams"),
                                            QStringLiteral("a:0"), QStringLiteral("-show_streams"), QStringLiteral("-show_format"),
                                            QStringLiteral("-of"), QStringLiteral("flat"), path},
                 &out))
        return result;
    // Lines like streams.stream.0.codec_name="aac" and format.format_name="wav".
    for (const QByteArray& line : out.split('\n')) {
        const qsizetype eq = line.indexOf('=');
        if (eq < 0)
            continue;
        const QString key = QString::fromUtf8(line.left(eq));
        QString value = QString::fromUtf8(line.mid(eq + 1));
        if (value.startsWith(QLatin1Char('"')) && value.endsWith(QLatin1Char('"')))
            value = value.mid(1, value.size() - 2);
        if (key.startsWith(QLatin1String("streams.stream.0.")))
            result.insert(key.mid(17), value);
        else if (key.startsWith(QLatin1String("format.")))
            result.insert(QStringLiteral("format:") + key.mid(7), value);
    }
    return result;
}

}  // namespace testsupport
