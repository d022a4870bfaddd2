// Pasting from the pasteboards: into existing WAV files at an offset, and as a new WAV file.
#include "exchange/AudioCopyPaste1.h"
#include "exchange/AudioCopySupport.h"
#include "exchange/PasteConversion.h"
#include "exchange/PasteWav.h"
#include "library/Utils.h"
#include "platform/HeldTemporaryFile.h"
#include "platform/AudioFileReader.h"
#include "platform/Locations.h"
#include "platform/Log.h"
#include "platform/PartFile.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

namespace AudioCopyPaste1 {

using platform::AudioFileReader;
using platform::Pasteboard;
using platform::PasteboardSnapshot;

namespace {
const QString kWavSuffix = QStringLiteral(".wav");
const QString kTempSuffix = QStringLiteral("pastetemp.wav");

// The pasted sound, block after block, as often as the loop count asks.
class PasteSource {
public:
    virtual ~PasteSource() = default;
    virtual int channels() const = 0;
    virtual void rewind() = 0;
    // The next block; false at the end, or (with failed() set) when it cannot be read.
    virtual bool next(QByteArray& block) = 0;
    bool failed() const { return mFailed; }

protected:
    bool mFailed = false;
};

// Version-1 pieces by number, each fetched when its turn comes.
class PieceSource : public PasteSource {
public:
    PieceSource(std::unique_ptr<PasteboardSnapshot> snapshot, QList<int> items, int channels)
        : mSnapshot(std::move(snapshot)), mItems(std::move(items)), mChannels(channels) {}
    int channels() const override { return mChannels; }
    void rewind() override { mNext = 0; }
    bool next(QByteArray& block) override
    {
        if (mNext >= mItems.size())
            return false;
        const QString type = kRawAudioType + QString::number(mNext);
        block = mSnapshot->data(mItems[mNext++], type);
        mFailed = block.isNull();
        return !mFailed;
    }

private:
    std::unique_ptr<PasteboardSnapshot> mSnapshot;
    QList<int> mItems;
    int mChannels;
    int mNext = 0;
};

// A whole file gathered from the pasteboard, read back as 16-bit samples in blocks the size
// of a piece.
class FileSource : public PasteSource {
public:
    FileSource(std::unique_ptr<platform::HeldTemporaryFile> file, std::unique_ptr<AudioFileReader> reader)
        : mFile(std::move(file)), mReader(std::move(reader)) {}
    int channels() const override { return mReader ? mReader->channels() : 1; }
    void rewind() override
    {
        if (mReader)
            mReader->seek(0);
    }
    bool next(QByteArray& block) override
    {
        if (!mReader)
            return false;
        const int bytesPerFrame = 2 * mReader->channels();
        block.resize(kPieceBytes / bytesPerFrame * bytesPerFrame);
        const int64_t frames = mReader->read(block.data(), block.size() / bytesPerFrame);
        mFailed = frames < 0;
        block.resize(std::max<int64_t>(frames, 0) * bytesPerFrame);
        return frames > 0;
    }

private:
    std::unique_ptr<platform::HeldTemporaryFile> mFile;
    std::unique_ptr<AudioFileReader> mReader;  // null: nothing was pasted
};

std::unique_ptr<platform::HeldTemporaryFile> newTempPasteboardFile()
{
    auto file = std::make_unique<platform::HeldTemporaryFile>(platform::Locations::tempDir() + QStringLiteral("/temp-pasteboard-XXXXXX"));
    if (!file->open()) {
        platform::log(QStringLiteral("Could not create %1").arg(file->fileTemplate()));
        return nullptr;
    }
    return file;
}

std::unique_ptr<PasteSource> openGatheredFile(std::unique_ptr<platform::HeldTemporaryFile> file)
{
    file->close();
    std::unique_ptr<AudioFileReader> reader = AudioFileReader::open(file->fileName());
    if (!reader || reader->channels() < 1 || reader->channels() > 2
        || !reader->setClientFormat(reader->sampleRate(), reader->channels(), platform::SampleType::Int16)) {
        platform::log(QStringLiteral("Failed open audio file for general pasteboard\n"));
        return nullptr;
    }
    return std::make_unique<FileSource>(std::move(file), std::move(reader));
}

// The general pasteboard's items are the consecutive pieces of one file.
std::unique_ptr<PasteSource> generalSource()
{
    const std::unique_ptr<Pasteboard> general = Pasteboard::general();
    const std::unique_ptr<PasteboardSnapshot> snapshot = general ? general->snapshot() : nullptr;
    std::unique_ptr<platform::HeldTemporaryFile> file = snapshot ? newTempPasteboardFile() : nullptr;
    if (!file)
        return nullptr;
    for (int item : snapshot->itemsWithType(kGeneralAudioType))
        if (!snapshot->copyTo(item, kGeneralAudioType, int(file->handle()))) {
            platform::log(QStringLiteral("Could not write %1").arg(file->fileName()));
            return nullptr;
        }
    return openGatheredFile(std::move(file));
}

// A history pasteboard's raw pieces behind a header made from its info.
std::unique_ptr<PasteSource> historySource(const QString& name)
{
    const std::unique_ptr<Pasteboard> pasteboard = detail::pasteboardNamed(name, false, true);
    std::unique_ptr<PasteboardSnapshot> snapshot = pasteboard ? pasteboard->snapshot() : nullptr;
    if (!snapshot)
        return nullptr;
    const QList<int> pieces = snapshot->itemsWithType(kRawAudioType);
    qint64 total = 0;
    for (int item : pieces)
        total += snapshot->size(item, kRawAudioType);
    const std::optional<QVariantMap> info = detail::infoIn(*snapshot);
    const int channels = info ? info->value(kChannels).toInt() : 0;
    if (channels < 1 || channels > 2 || total == 0)
        return std::make_unique<PieceSource>(std::move(snapshot), QList<int>(), 1);  // nothing to write
    std::unique_ptr<platform::HeldTemporaryFile> file = newTempPasteboardFile();
    if (!file || file->write(PasteWav::createHeader(channels, uint32_t(total))) != PasteWav::kHeaderSize)
        return nullptr;
    file->flush();
    for (int item : pieces)
        if (!snapshot->copyTo(item, kRawAudioType, int(file->handle())))
            return nullptr;
    return openGatheredFile(std::move(file));
}

// The version-1 pieces 0 to "pastedcount" - 1, all checked before anything is written.
std::unique_ptr<PasteSource> version1Source()
{
    const std::unique_ptr<Pasteboard> pasteboard = detail::pasteboardNamed(kVersion1Pasteboard, false, true);
    std::unique_ptr<PasteboardSnapshot> snapshot = pasteboard ? pasteboard->snapshot() : nullptr;
    if (!snapshot)
        return nullptr;
    const std::optional<QVariantMap> info = detail::infoIn(*snapshot);
    const int count = info ? info->value(kPastedCount).toInt() : 0;
    QList<int> items;
    for (int n = 0; n < count; ++n) {
        const QList<int> found = snapshot->itemsWithType(kRawAudioType + QString::number(n));
        if (found.isEmpty()) {
            platform::log(QStringLiteral("Paste data doesn't match paste count!"));
            return nullptr;
        }
        items << found.first();
    }
    const int channels = info ? std::clamp(info->value(kChannels).toInt(), 1, 2) : 1;
    return std::make_unique<PieceSource>(std::move(snapshot), items, channels);
}

QString tempPathFor(const QString& path)
{
    const QFileInfo info(path);
    QString name = info.fileName();
    name.replace(kWavSuffix, kTempSuffix);
    if (name == info.fileName())
        name += kTempSuffix;
    return info.path() + QLatin1Char('/') + name;
}

// Two pastes into one file take turns, in this process and in others.
class DestinationLock {
public:
    explicit DestinationLock(const QString& path) : mFd(::open(QFile::encodeName(path).constData(), O_RDONLY | O_CLOEXEC))
    {
        if (mFd >= 0)
            ::flock(mFd, LOCK_EX);
    }
    ~DestinationLock()
    {
        if (mFd >= 0)
            ::close(mFd);
    }
    DestinationLock(const DestinationLock&) = delete;
    DestinationLock& operator=(const DestinationLock&) = delete;

private:
    int mFd;
};

bool insideLibrary(const QString& path)
{
    const QString root = QFileInfo(Utils::documentsURL()).canonicalFilePath();
    const QString canonical = QFileInfo(path).canonicalFilePath();
    return !root.isEmpty() && canonical.startsWith(root + QLatin1Char('/'));
}

// The finished copy takes the destination's place; in the library the replaced version goes
// to the Trash rather than away.
bool swapIntoPlace(const QString& temp, const QString& path)
{
    if (insideLibrary(path) && !Utils::trashItemAtPath(path)) {
        platform::log(QStringLiteral("Could not move %1 to the Trash").arg(path));
        return false;
    }
    if (::rename(QFile::encodeName(temp).constData(), QFile::encodeName(path).constData()) != 0) {
        platform::log(QStringLiteral("Could not move %1 to %2").arg(temp, path));
        return false;
    }
    return true;
}

bool pasteInto(PasteSource* source, const QStringList& toPaths, int loopCount, int64_t offset,
               AudioPaste1CallbackDelegate* pasteDelegate)
{
    if (!source || toPaths.isEmpty() || toPaths.size() > 2 || offset < 0)
        return false;
    // One file named twice would wait for its own lock.
    if (toPaths.size() == 2 && QFileInfo(toPaths[0]).canonicalFilePath() == QFileInfo(toPaths[1]).canonicalFilePath()) {
        platform::log(QStringLiteral("Error opening file %1 for read/write").arg(toPaths[1]));
        return false;
    }
    std::vector<std::unique_ptr<DestinationLock>> locks;
    std::vector<std::unique_ptr<PasteWav::WritableWav>> files;
    QStringList temps;
    auto removeTemps = [&temps] {
        for (const QString& temp : std::as_const(temps))
            QFile::remove(temp);
    };
    for (const QString& path : toPaths) {
        locks.push_back(std::make_unique<DestinationLock>(path));
        const QString temp = tempPathFor(path);
        QFile::remove(temp);
        std::unique_ptr<PasteWav::WritableWav> wav;
        if (QFile::copy(path, temp)) {
            temps << temp;
            wav = PasteWav::WritableWav::open(temp);
        }
        if (!wav)
            platform::log(QStringLiteral("Error opening file %1 for read/write").arg(temp));
        files.push_back(std::move(wav));
    }
    if (!files.front() || (files.size() == 2 && !files.back())) {
        removeTemps();
        return false;
    }
    const int destChannels = files.front()->channels();
    int64_t totalFrames = files.front()->lengthFrames();
    const bool twoFiles = files.size() == 2;
    const int sourceChannels = source->channels();
    // Byte positions per file: one stereo file, one mono file, or two mono files side by side.
    int64_t position = offset * (twoFiles ? 1 : destChannels) * 2;
    bool ok = true;
    for (int loop = 0; ok && loop < loopCount; ++loop) {
        source->rewind();
        QByteArray block;
        while (ok && source->next(block)) {
            const int64_t frames = block.size() / (2 * sourceChannels);
            block.truncate(frames * 2 * sourceChannels);
            int64_t written = 0;
            if (twoFiles) {
                const auto [left, right] =
                    sourceChannels == 2 ? PasteConversion::splitStereo(block) : std::pair{block, block};
                ok = files[0]->writeSamples(position, left.constData(), left.size())
                     && files[1]->writeSamples(position, right.constData(), right.size());
                written = left.size();
            } else {
                QByteArray out = block;
                if (sourceChannels == 1 && destChannels == 2)
                    out = PasteConversion::monoToStereo(block);
                else if (sourceChannels == 2 && destChannels == 1)
                    out = PasteConversion::stereoToMono(block);
                ok = files[0]->writeSamples(position, out.constData(), out.size());
                written = out.size();
            }
            if (!ok)
                break;
            int64_t frameOffset = position / (2 * (twoFiles ? 1 : destChannels));
            int64_t blockFrames = frames;
            position += written;
            if (pasteDelegate)
                pasteDelegate->audioPasteBlockCompleted(frameOffset, blockFrames, totalFrames, sourceChannels);
        }
        ok = ok && !source->failed();
    }
    for (auto& file : files)
        ok = file->close() && ok;
    locks.clear();
    if (!ok) {
        removeTemps();
        return false;
    }
    for (int i = 0; i < toPaths.size(); ++i)
        if (!swapIntoPlace(temps[i], toPaths[i])) {
            removeTemps();
            return false;
        }
    return true;
}
}  // namespace

bool pasteAudioFileFromHistoryPasteboard(const QString& pasteboardName, const QStringList& toPaths, int loopCount,
                                         int64_t offset, AudioPaste1CallbackDelegate* pasteDelegate)
{
    const std::unique_ptr<PasteSource> source = historySource(pasteboardName);
    return pasteInto(source.get(), toPaths, loopCount, offset, pasteDelegate);
}

bool pasteAudioFileFromGeneralPasteboard(const QStringList& toPaths, int loopCount, int64_t offset,
                                         AudioPaste1CallbackDelegate* pasteDelegate)
{
    const std::unique_ptr<PasteSource> source = generalSource();
    return pasteInto(source.get(), toPaths, loopCount, offset, pasteDelegate);
}

bool pasteAudioFileFromPasteboard(const QString& pasteboardName, const QStringList& toPaths, int loopCount,
                                  int64_t offset, AudioPaste1CallbackDelegate* pasteDelegate)
{
    if (detail::isGeneralName(pasteboardName))
        return pasteAudioFileFromGeneralPasteboard(toPaths, loopCount, offset, pasteDelegate);
    if (pasteboardName != kVersion1Pasteboard)
        return pasteAudioFileFromHistoryPasteboard(pasteboardName, toPaths, loopCount, offset, pasteDelegate);
    const std::unique_ptr<PasteSource> source = version1Source();
    return pasteInto(source.get(), toPaths, loopCount, offset, pasteDelegate);
}

bool pasteAudioFileFromPasteboard(const QString& pasteboardName, const QString& toPath)
{
    const std::unique_ptr<Pasteboard> pasteboard = detail::pasteboardNamed(pasteboardName, false, true);
    const std::unique_ptr<PasteboardSnapshot> snapshot = pasteboard ? pasteboard->snapshot() : nullptr;
    if (!snapshot)
        return false;
    const std::optional<QVariantMap> info = detail::infoIn(*snapshot);
    const QList<int> pieces = snapshot->itemsWithType(kRawAudioType);
    const int channels = info ? info->value(kChannels).toInt() : 0;
    if (channels < 1 || channels > 2) {
        platform::log(QStringLiteral("Pasteboard %1 holds no AudioCopy sound\n").arg(pasteboardName));
        return false;
    }
    qint64 total = 0;
    for (int item : pieces)
        total += snapshot->size(item, kRawAudioType);
    if (total > qint64(UINT32_MAX) - PasteWav::kHeaderSize) {
        platform::log(QStringLiteral("Pasteboard %1 holds more than a WAV file can\n").arg(pasteboardName));
        return false;
    }
    // Written beside the target and renamed into place once whole; never over another file.
    const QFileInfo target(toPath);
    std::unique_ptr<PartFile> part = PartFile::create(target.absolutePath(), target.suffix());
    if (!part)
        return false;
    QFile out(part->path());
    if (!out.open(QIODevice::WriteOnly | QIODevice::Truncate)
        || out.write(PasteWav::createHeader(channels, uint32_t(total))) != PasteWav::kHeaderSize || !out.flush())
        return false;
    for (int item : pieces)
        if (!snapshot->copyTo(item, kRawAudioType, out.handle())) {
            platform::log(QStringLiteral("Could not write %1\n").arg(toPath));
            return false;
        }
    out.close();
    return part->commit(toPath, false);
}

}  // namespace AudioCopyPaste1
