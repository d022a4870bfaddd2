#include "support/PlaybackFixtures.h"

#include <QFile>
#include <QtEndian>
#include <algorithm>
#include <cstring>
#include <cmath>

namespace testsupport {
namespace {

void le32(QByteArray& b, quint32 v)
{
    char d[4];
    qToLittleEndian(v, d);
    b.append(d, 4);
}
void le16(QByteArray& b, quint16 v)
{
    char d[2];
    qToLittleEndian(v, d);
    b.append(d, 2);
}
void be32(QByteArray& b, quint32 v)
{
    char d[4];
    qToBigEndian(v, d);
    b.append(d, 4);
}
void be16(QByteArray& b, quint16 v)
{
    char d[2];
    qToBigEndian(v, d);
    b.append(d, 2);
}
void varLen(QByteArray& b, quint32 v)
{
    QByteArray rev;
    rev.append(char(v & 0x7F));
    while ((v >>= 7))
        rev.append(char((v & 0x7F) | 0x80));
    std::reverse(rev.begin(), rev.end());
    b.append(rev);
}

}  // namespace

bool writeFloatWav(const QString& path, int sampleRate, int channels, const std::vector<float>& interleaved)
{
    const quint32 dataBytes = quint32(interleaved.size() * sizeof(float));
    QByteArray b;
    b.append("RIFF");
    le32(b, 36 + dataBytes);
    b.append("WAVEfmt ");
    le32(b, 16);
    le16(b, 3);  // IEEE float
    le16(b, quint16(channels));
    le32(b, quint32(sampleRate));
    le32(b, quint32(sampleRate * channels * 4));
    le16(b, quint16(channels * 4));
    le16(b, 32);
    b.append("data");
    le32(b, dataBytes);
    for (float s : interleaved) {
        quint32 bits;
        std::memcpy(&bits, &s, 4);
        le32(b, bits);
    }
    QFile f(path);
    return f.open(QIODevice::WriteOnly) && f.write(b) == b.size();
}

QByteArray midiFileBytes(const std::vector<TestNote>& notes, double bpm, int program)
{
    constexpr int kPpqn = 480;
    struct Ev {
        quint32 tick;
        int order;  // offs before ons at the same tick
        QByteArray bytes;
    };
    std::vector<Ev> events;
    for (const TestNote& n : notes) {
        const auto on = quint32(std::lround(n.startBeat * kPpqn));
        const auto off = quint32(std::lround((n.startBeat + n.lengthBeats) * kPpqn));
        const char noteOn[] = {char(0x90 | n.channel), char(n.note), char(n.velocity)};
        const char noteOff[] = {char(0x80 | n.channel), char(n.note), char(0)};
        events.push_back({on, 1, QByteArray(noteOn, 3)});
        events.push_back({off, 0, QByteArray(noteOff, 3)});
    }
    std::stable_sort(events.begin(), events.end(),
                     [](const Ev& a, const Ev& b) { return a.tick != b.tick ? a.tick < b.tick : a.order < b.order; });
    QByteArray track;
    const auto mpqn = quint32(std::lround(60e6 / bpm));
    varLen(track, 0);
    track.append(QByteArray::fromHex("FF5103"));
    track.append(char((mpqn >> 16) & 0xFF)).append(char((mpqn >> 8) & 0xFF)).append(char(mpqn & 0xFF));
    varLen(track, 0);
    track.append(char(0xC0)).append(char(program));
    quint32 last = 0;
    for (const Ev& e : events) {
        varLen(track, e.tick - last);
        track.append(e.bytes);
        last = e.tick;
    }
    varLen(track, 0);
    track.append(QByteArray::fromHex("FF2F00"));
    QByteArray file("MThd");
    be32(file, 6);
    be16(file, 0);
    be16(file, 1);
    be16(file, kPpqn);
    file.append("MTrk");
    be32(file, quint32(track.size()));
    file.append(track);
    return file;
}

}  // namespace testsupport
