// Copying onto the pasteboards: decoded, mapped, and whole files on the general pasteboard.
#include "exchange/AudioCopyPaste1.h"
#include "exchange/AudioCopySupport.h"
#include "exchange/PasteWav.h"
#include "platform/AudioFileReader.h"
#include "platform/FourCC.h"
#include "platform/Log.h"
#include "platform/PropertyList.h"

#include <QFile>
#include <QFileInfo>

#include <sys/mman.h>
#include <unistd.h>

namespace AudioCopyPaste1 {

using platform::AudioFileReader;
using platform::Pasteboard;
using platform::PasteboardWriter;

namespace {
void logLine(const QString& text) { platform::log(text + QLatin1Char('\n')); }

// The file mapped whole for reading, so that pieces are cut by ranges and never copied into
// memory of ours; unmapped with the file.
struct MappedFile {
    QFile file;
    const char* bytes = nullptr;
    qint64 size = 0;
    bool map(const QString& path)
    {
        file.setFileName(path);
        if (!file.open(QIODevice::ReadOnly))
            return false;
        size = file.size();
        if (size == 0) {
            bytes = "";
            return true;
        }
        bytes = reinterpret_cast<const char*>(file.map(0, size));
        return bytes != nullptr;
    }
};

// Lets the pages of the mapping up to end go from memory once written, so that copying an
// hour uses no more memory than copying a minute.
void releaseWritten(const MappedFile& mapped, const char* end)
{
    const uintptr_t page = uintptr_t(::sysconf(_SC_PAGESIZE));
    const uintptr_t start = uintptr_t(mapped.bytes);
    const uintptr_t stop = uintptr_t(end) & ~(page - 1);
    if (mapped.size > 0 && stop > start)
        ::madvise(reinterpret_cast<void*>(start), stop - start, MADV_DONTNEED);
}

// Cuts the mapped bytes from `from` on into pieces of pieceBytes, one item each: count =
// size / pieceBytes + 1, so an exact multiple ends with an empty piece, which readers of the
// convention expect.
bool addPieces(PasteboardWriter& writer, const QString& type, const MappedFile& mapped, qint64 from, qint64 pieceBytes)
{
    const char* bytes = mapped.bytes + from;
    const qint64 size = mapped.size - from;
    const qint64 count = size / pieceBytes + 1;
    for (qint64 n = 0; n < count; ++n) {
        const qint64 at = n * pieceBytes;
        const qint64 length = std::min(pieceBytes, size - at);
        writer.beginItem();
        if (!writer.addData(type, bytes + at, length))
            return false;
        releaseWritten(mapped, bytes + at + length);
    }
    return true;
}
}  // namespace

bool copyAudioFileAtPath(const QString& path, const QVariantMap& meta, const QString& pasteboardName)
{
    clearVersion1Pasteboard();
    if (!QFileInfo::exists(path)) {
        platform::log(QStringLiteral("File does not exist at path %1").arg(path));
        return false;
    }
    const std::unique_ptr<Pasteboard> pasteboard = detail::pasteboardNamed(pasteboardName, true);
    if (!pasteboard)
        return false;
    const std::unique_ptr<AudioFileReader> reader = AudioFileReader::open(path);
    if (!reader) {
        platform::log(QStringLiteral("Error opening Audio file at path %1").arg(path));
        return false;
    }
    if (reader->lengthFrames() <= 0) {
        platform::log(QStringLiteral("Error: AudioCopy - file of 0 bytes"));
        return false;
    }
    const int channels = reader->channels();
    // The convention carries mono and stereo only.
    if (channels < 1 || channels > 2 || !reader->setClientFormat(PasteWav::kSampleRate, channels, platform::SampleType::Int16)) {
        platform::log(QStringLiteral("Could not set client format on audiofile"));
        return false;
    }
    const int bytesPerFrame = 2 * channels;
    const int64_t outputSize =
        int64_t(double(PasteWav::kSampleRate) / reader->sampleRate() * double(reader->lengthFrames())) * bytesPerFrame;
    const int64_t pieceCount = outputSize / kPieceBytes + 1;
    const int64_t capacity = std::min(outputSize, kPieceBytes);
    const QVariantMap info = detail::infoDictionary(meta, float(reader->duration()), channels, pieceCount);

    std::unique_ptr<PasteboardWriter> writer = pasteboard->beginReplace();
    if (!writer)
        return false;
    writer->beginItem();
    writer->addData(kInfoType, platform::PropertyList::xmlData(info));
    QByteArray piece(qsizetype(capacity), Qt::Uninitialized);
    bool ended = false;
    for (int64_t n = 0; n < pieceCount; ++n) {
        int64_t filled = 0;
        const int64_t wanted = capacity / bytesPerFrame;
        while (!ended && filled < wanted) {
            const int64_t frames = reader->read(piece.data() + filled * bytesPerFrame,
                                                std::min<int64_t>(kDecodeFrames, wanted - filled));
            if (frames <= 0)
                ended = true;  // a decoding error ends the sound where it stopped
            else
                filled += frames;
        }
        writer->beginItem();
        if (!writer->addData(kRawAudioType, piece.constData(), filled * bytesPerFrame))
            return false;
    }
    return writer->commit();
}

bool copyMappedAudioFileAtPath(const QString& path, const QVariantMap& meta, const QString& pasteboardName)
{
    clearVersion1Pasteboard();
    if (!QFileInfo::exists(path)) {
        logLine(QStringLiteral("File does not exist at path %1").arg(path));
        return false;
    }
    const std::unique_ptr<Pasteboard> pasteboard = detail::pasteboardNamed(pasteboardName, true, true);
    if (!pasteboard)
        return false;
    const std::unique_ptr<AudioFileReader> reader = AudioFileReader::open(path);
    if (!reader) {
        logLine(QStringLiteral("Error opening Audio file at path %1").arg(path));
        return false;
    }
    const int bytesPerFrame = reader->channels() * std::max(reader->bitsPerSample(), 1) / 8;
    const int64_t byteCount = reader->lengthFrames() * bytesPerFrame;
    if (byteCount <= 0) {
        logLine(QStringLiteral("Error: AudioCopy - file of 0 bytes"));
        return false;
    }
    if (reader->fileType() != platform::fourCC("WAVE")) {
        logLine(QStringLiteral("AudioCopy only supports WAV files"));
        return false;
    }
    if (reader->sampleRate() != PasteWav::kSampleRate) {
        logLine(QStringLiteral("AudioCopy only supports the 44100.0f sample rate"));
        return false;
    }
    if (reader->bitsPerSample() != 16 || reader->dataFormat() != platform::fourCC("lpcm")) {
        logLine(QStringLiteral("AudioCopy only supports 16-bit audio"));
        return false;
    }
    const int channels = reader->channels();
    const QVariantMap info = detail::infoDictionary(meta, float(double(byteCount / bytesPerFrame) / 44100.0), channels,
                                                    (byteCount + kPieceBytes - 1) / kPieceBytes);
    MappedFile mapped;
    int64_t offset = -1;
    if (!mapped.map(path) || (offset = PasteWav::getDataOffset(mapped.bytes, mapped.size)) < 0) {
        logLine(QStringLiteral("Can't open file"));
        return false;
    }
    std::unique_ptr<PasteboardWriter> writer = pasteboard->beginReplace();
    if (!writer)
        return false;
    writer->beginItem();
    writer->addData(kInfoType, platform::PropertyList::xmlData(info));
    // Everything from the first sample byte to the end of the file travels, chunks stored
    // after the samples included, as readers of the convention have always received it.
    return addPieces(*writer, kRawAudioType, mapped, offset, kPieceBytes) && writer->commit();
}

bool basicCopyMappedAudioFileAtPath(const QString& path, const QVariantMap& meta)
{
    return copyMappedAudioFileAtPath(path, meta.isEmpty() ? defaultMeta() : meta, incrementPasteIndexAndGetPasteboardName());
}

bool copyAudioFileAtPathToGeneralPasteboard(const QString& path)
{
    if (!QFileInfo::exists(path)) {
        logLine(QStringLiteral("File does not exist at path %1").arg(path));
        return false;
    }
    MappedFile mapped;
    if (!mapped.map(path)) {
        logLine(QStringLiteral("Can't open file"));
        return false;
    }
    const std::unique_ptr<Pasteboard> general = Pasteboard::general();
    std::unique_ptr<PasteboardWriter> writer = general ? general->beginReplace() : nullptr;
    return writer && addPieces(*writer, kGeneralAudioType, mapped, 0, kGeneralPieceBytes)
           && writer->commit();
}

}  // namespace AudioCopyPaste1
