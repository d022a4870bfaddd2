#include "library/MusicImport.h"

#include "library/Utils.h"
#include "platform/AudioFileReader.h"
#include "platform/AudioFileWriter.h"
#include "platform/AudioMetadata.h"
#include "platform/Log.h"
#include "platform/PartFile.h"

#include <QDirIterator>
#include <QFile>
#include <QFileInfo>
#include <QStandardPaths>
#include <vector>

namespace {
const double kRate = 44100;
const int kChannels = 2;
const int kChunkFrames = 16384;

// The song arrives only complete: every frame read is in the file that takes its name.
bool moveIntoPlace(PartFile& part, const QString& target, int64_t written)
{
    const auto check = platform::AudioFileReader::open(part.path());
    if (!check || check->lengthFrames() != written) {
        platform::log(QStringLiteral("Could not finish writing %1").arg(part.path()));
        return false;
    }
    return part.commit(target, false);
}
}  // namespace

namespace MusicLibrary {

QString musicFolder() { return QStandardPaths::writableLocation(QStandardPaths::MusicLocation); }

std::optional<QList<MusicTrack>> tracks(const QString& folder, const std::atomic<bool>* cancel)
{
    QList<MusicTrack> list;
    QDirIterator it(folder, QDir::Files, QDirIterator::Subdirectories | QDirIterator::FollowSymlinks);
    while (it.hasNext()) {
        if (cancel && cancel->load())
            return std::nullopt;
        const QString path = it.next();
        if (!Utils::fileIsAudio(path) || Utils::fileIsMIDI(path))
            continue;
        const std::optional<platform::AudioMetadata> tags = platform::readAudioMetadata(path);
        if (!tags)
            continue;
        MusicTrack track{path, tags->title, tags->artist, tags->duration};
        if (track.title.isEmpty())
            track.title = QFileInfo(path).completeBaseName();
        list << track;
    }
    std::sort(list.begin(), list.end(), [](const MusicTrack& a, const MusicTrack& b) {
        const int byArtist = a.artist.compare(b.artist, Qt::CaseInsensitive);
        return byArtist != 0 ? byArtist < 0 : a.title.compare(b.title, Qt::CaseInsensitive) < 0;
    });
    return list;
}

}  // namespace MusicLibrary

MusicImport::MusicImport() : mQueue(QStringLiteral("mediaInputQueue")) {}

QString MusicImport::targetPathFor(const MusicTrack& track, const QString& folder)
{
    QString name = QStringLiteral("%1 - %2").arg(track.title, track.artist);
    name.replace(QLatin1Char('/'), QLatin1Char('_'));
    return Utils::uniquePath(folder + QLatin1Char('/') + name + QStringLiteral(".wav"));
}

void MusicImport::start(const MusicTrack& track, const QString& folder, Callbacks callbacks)
{
    mCancel = false;
    mQueue.async([this, track, folder, callbacks] { run(track, folder, callbacks); });
}

void MusicImport::run(const MusicTrack& track, const QString& folder, const Callbacks& callbacks)
{
    auto fail = [&callbacks](const QString& message) {
        platform::runOnMain([callbacks, message] {
            if (callbacks.failed)
                callbacks.failed(message);
        });
    };
    if (!QFileInfo(track.path).isFile())
        return fail(QStringLiteral("The song is not available on this computer"));
    std::unique_ptr<platform::AudioFileReader> reader = platform::AudioFileReader::open(track.path);
    if (!reader)
        return fail(QStringLiteral("Could not start reading"));
    const int channels = reader->channels();
    if (!reader->setClientFormat(kRate, channels, platform::SampleType::Float32))
        return fail(QStringLiteral("Could not add asset reader output"));
    const std::unique_ptr<PartFile> part = PartFile::create(folder, QStringLiteral("wav"));
    if (!part)
        return fail(QStringLiteral("Could not start writing"));
    const QString temp = part->path();
    std::unique_ptr<platform::AudioFileWriter> out =
        platform::AudioFileWriter::create(temp, platform::fourCC("WAVE"), platform::linearPCM16(kRate, kChannels));
    if (!out)
        return fail(QStringLiteral("Could not start writing"));
    auto abandon = [&out] { out.reset(); };

    const double duration = track.duration > 0 ? track.duration : reader->duration();
    std::vector<float> in(size_t(kChunkFrames) * size_t(channels));
    std::vector<float> stereo(size_t(kChunkFrames) * kChannels);
    int64_t written = 0;
    while (true) {
        if (mCancel) {
            abandon();
            platform::runOnMain([callbacks] {
                if (callbacks.cancelled)
                    callbacks.cancelled();
            });
            return;
        }
        const int64_t frames = reader->read(in.data(), kChunkFrames);
        if (frames < 0) {
            abandon();
            return fail(QStringLiteral("Could not read the song"));
        }
        if (frames == 0)
            break;
        // Mono is heard on both sides; of more channels the first two are kept.
        for (int64_t f = 0; f < frames; ++f) {
            stereo[size_t(f) * 2] = in[size_t(f) * size_t(channels)];
            stereo[size_t(f) * 2 + 1] = in[size_t(f) * size_t(channels) + (channels > 1 ? 1 : 0)];
        }
        if (!out->write(stereo.data(), frames)) {
            abandon();
            return fail(QStringLiteral("Could not start writing"));
        }
        written += frames;
        if (duration > 0) {
            const float fraction = float(double(written) / kRate / duration);
            platform::runOnMain([callbacks, fraction] {
                if (callbacks.progress)
                    callbacks.progress(fraction);
            });
        }
    }
    const bool finished = out->close();
    out.reset();
    const QString target = targetPathFor(track, folder);
    if (!finished || !moveIntoPlace(*part, target, written))
        return fail(QStringLiteral("Could not finish writing"));
    platform::runOnMain([callbacks, target] {
        if (callbacks.finished)
            callbacks.finished(target);
    });
}
