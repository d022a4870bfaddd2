#include "platform/MidiFile.h"

#include "platform/FileIO.h"
#include "platform/Log.h"

#include <QFile>
#include <map>
#include <smf.h>

namespace platform {
namespace {

// libsmf trusts the lengths it reads and stops the program on some damaged files, so every
// chunk and every event is walked here first; a file that does not add up is refused.
class Walker {
public:
    explicit Walker(const QByteArray& bytes) : mBytes(bytes) {}

    bool fileIsSound()
    {
        if (mBytes.size() < 14 || !mBytes.startsWith("MThd") || u32(4) < 6)
            return false;
        const int format = (byte(8) << 8) | byte(9);
        const int declaredTracks = (byte(10) << 8) | byte(11);
        if (format > 2)
            return false;
        qsizetype at = 0;
        int tracks = 0;
        while (at + 8 <= mBytes.size()) {
            const quint32 length = u32(at + 4);
            if (quint64(at) + 8 + length > quint64(mBytes.size()))
                return false;
            if (mBytes.mid(at, 4) == "MTrk") {
                if (!trackIsSound(at + 8, at + 8 + qsizetype(length)))
                    return false;
                ++tracks;
            }
            at += 8 + qsizetype(length);
        }
        return tracks > 0 && tracks == declaredTracks;
    }

private:
    quint32 u32(qsizetype at) const
    {
        return (quint32(byte(at)) << 24) | (quint32(byte(at + 1)) << 16) | (quint32(byte(at + 2)) << 8) |
               quint32(byte(at + 3));
    }
    uchar byte(qsizetype at) const { return uchar(mBytes[at]); }

    // A variable-length number of at most four bytes inside [at, end).
    bool number(qsizetype& at, qsizetype end, quint32& value) const
    {
        value = 0;
        for (int i = 0; i < 4; ++i) {
            if (at >= end)
                return false;
            const uchar b = byte(at++);
            value = (value << 7) | (b & 0x7F);
            if (!(b & 0x80))
                return true;
        }
        return false;
    }

    bool trackIsSound(qsizetype at, qsizetype end) const
    {
        uchar running = 0;
        while (at < end) {
            quint32 delta = 0;
            if (!number(at, end, delta) || at >= end)
                return false;
            uchar status = byte(at);
            if (status & 0x80) {
                ++at;
            } else {
                if (!running)
                    return false;
                status = running;
            }
            if (status == 0xFF) {
                if (at >= end)
                    return false;
                const uchar type = byte(at++);
                quint32 length = 0;
                if (!number(at, end, length) || quint64(at) + length > quint64(end))
                    return false;
                at += qsizetype(length);
                running = 0;
                if (type == 0x2F)
                    return at == end;  // end of track is the last event
            } else if (status == 0xF0 || status == 0xF7) {
                quint32 length = 0;
                if (!number(at, end, length) || quint64(at) + length > quint64(end))
                    return false;
                at += qsizetype(length);
                running = 0;
            } else if (status >= 0xF1) {
                return false;
            } else {
                const int data = (status & 0xE0) == 0xC0 ? 1 : 2;
                if (at + data > end)
                    return false;
                for (int i = 0; i < data; ++i)
                    if (byte(at + i) & 0x80)
                        return false;
                at += data;
                running = status;
            }
        }
        return false;  // no end of track
    }

    const QByteArray& mBytes;
};

}  // namespace

struct MidiFile::Smf {
    smf_t* smf = nullptr;
    ~Smf()
    {
        if (smf)
            smf_delete(smf);
    }
};

MidiFile::MidiFile(std::unique_ptr<Smf> smf) : mSmf(std::move(smf)) {}
MidiFile::~MidiFile() = default;

std::unique_ptr<MidiFile> MidiFile::open(const QString& path, QString* error)
{
    static const bool quiet = [] {
        g_log_set_handler("libsmf", GLogLevelFlags(G_LOG_LEVEL_MASK | G_LOG_FLAG_FATAL | G_LOG_FLAG_RECURSION),
                          [](const gchar*, GLogLevelFlags, const gchar* message, gpointer) {
                              log(QStringLiteral("libsmf: %1").arg(QString::fromUtf8(message)));
                          },
                          nullptr);
        return true;
    }();
    (void)quiet;
    auto fail = [error](const QString& why) {
        if (error)
            *error = why;
        return nullptr;
    };
    if (!isRegularFile(path))
        return fail(QStringLiteral("Not a regular file"));
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return fail(file.errorString());
    const QByteArray bytes = file.readAll();
    if (!Walker(bytes).fileIsSound())
        return fail(QStringLiteral("not a standard MIDI file"));
    auto holder = std::make_unique<Smf>();
    holder->smf = smf_load_from_memory(bytes.constData(), int(bytes.size()));
    if (!holder->smf)
        return fail(QStringLiteral("the MIDI data could not be parsed"));
    if (holder->smf->ppqn <= 0)
        return fail(QStringLiteral("the time base is not in pulses per quarter note"));

    std::unique_ptr<MidiFile> midi(new MidiFile(std::move(holder)));
    smf_t* smf = midi->mSmf->smf;
    midi->mPpqn = smf->ppqn;
    for (int t = 1; t <= smf->number_of_tracks; ++t) {
        smf_track_t* track = smf_get_track_by_number(smf, t);
        smf_event_t* last = track ? smf_track_get_last_event(track) : nullptr;
        if (last)
            midi->mLengthBeats = std::max(midi->mLengthBeats, double(last->time_pulses) / smf->ppqn);
    }
    smf_rewind(smf);
    while (smf_event_t* event = smf_get_next_event(smf)) {
        if (smf_event_is_metadata(event) || smf_event_is_sysex(event) || event->midi_buffer_length < 1)
            continue;
        const uint8_t status = event->midi_buffer[0];
        if (status < 0x80 || status >= 0xF0)
            continue;
        MidiEvent e;
        e.seconds = event->time_seconds;
        e.beats = double(event->time_pulses) / smf->ppqn;
        e.size = uint8_t(std::min(event->midi_buffer_length, 3));
        for (int i = 0; i < e.size; ++i)
            e.bytes[i] = event->midi_buffer[i];
        midi->mEvents.push_back(e);
    }
    smf_rewind(smf);
    return midi;
}

int MidiFile::trackCount() const { return mSmf->smf->number_of_tracks; }

double MidiFile::beatsToSeconds(double beats) const
{
    const double pulses = beats * mPpqn;
    const smf_tempo_t* tempo = smf_get_tempo_by_pulses(mSmf->smf, int(pulses));
    if (!tempo)
        return beats * 0.5;  // the standard's default of 120 quarter notes a minute
    return tempo->time_seconds + (pulses - tempo->time_pulses) * tempo->microseconds_per_quarter_note / 1e6 / mPpqn;
}

double MidiFile::secondsToBeats(double seconds) const
{
    const smf_tempo_t* tempo = smf_get_tempo_by_seconds(mSmf->smf, seconds);
    if (!tempo)
        return seconds * 2.0;
    const double pulses =
        tempo->time_pulses + (seconds - tempo->time_seconds) * 1e6 / tempo->microseconds_per_quarter_note * mPpqn;
    return pulses / mPpqn;
}

std::vector<MidiNote> MidiFile::notes() const
{
    std::vector<MidiNote> notes;
    std::map<int, size_t> open;  // channel × 128 + note → index of the sounding note
    for (const MidiEvent& e : mEvents) {
        if (!e.isNote() || e.size < 3)
            continue;
        const int channel = e.bytes[0] & 0x0F;
        const int key = channel * 128 + e.bytes[1];
        const bool on = (e.bytes[0] & 0xF0) == 0x90 && e.bytes[2] > 0;
        if (auto it = open.find(key); it != open.end()) {
            notes[it->second].durationBeats = e.beats - notes[it->second].startBeat;
            open.erase(it);
        }
        if (on) {
            open[key] = notes.size();
            notes.push_back({channel, e.bytes[1], e.bytes[2], e.beats, 0});
        }
    }
    for (const auto& [key, index] : open)
        notes[index].durationBeats = mLengthBeats - notes[index].startBeat;
    return notes;
}

}  // namespace platform
