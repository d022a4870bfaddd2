#include "exchange/LibraryPasteboard.h"

#include "exchange/AudioCopyPaste1.h"
#include "library/Utils.h"
#include "platform/AudioFileReader.h"
#include "platform/FourCC.h"
#include "platform/HeldTemporaryFile.h"
#include "platform/Locations.h"
#include "platform/Log.h"
#include "platform/Pasteboard.h"

#include <QFileInfo>
#include <QHash>

namespace LibraryPasteboard {

using platform::fourCC;

namespace {
const QString kPasteTitle = QStringLiteral("AudioPaste");
const QString kDefaultName = QStringLiteral("Pasted audio");
const QString kSender = QStringLiteral("Wavelocker");
constexpr int kMaxNameLength = 200;
constexpr int kArrivalTries = 100;

void alert(const QString& message) { Utils::showAlert(kPasteTitle, message); }

QString printablePrefix(const QByteArray& bytes)
{
    QString prefix;
    for (char c : bytes.left(4))
        prefix += (c >= 0x20 && c < 0x7f) ? QLatin1Char(c) : QLatin1Char('.');
    return prefix;
}

// The name without an extension; only letters and digits after the last point make one.
QString stemOf(const QString& name)
{
    const qsizetype dot = name.lastIndexOf(QLatin1Char('.'));
    if (dot <= 0 || dot == name.size() - 1)
        return name;
    for (QChar c : QStringView(name).mid(dot + 1))
        if (!c.isLetterOrNumber())
            return name;
    return name.left(dot);
}

QString extensionOf(const QString& name)
{
    const QString stem = stemOf(name);
    return stem.size() == name.size() ? QString() : name.mid(stem.size() + 1);
}

// Moves file into folder under "stem.extension", "stem(1).extension", ...; another writer
// taking the name between the choice and the move only moves us on to the next one.
QString arrive(const QString& file, const QString& folder, const QString& stem, const QString& extension)
{
    const QString dotted = extension.isEmpty() ? QString() : QLatin1Char('.') + extension;
    for (int attempt = 0; attempt < kArrivalTries; ++attempt) {
        const QString target = Utils::uniquePathKeepingDot(folder + QLatin1Char('/') + stem + dotted);
        platform::log(QStringLiteral("Moving %1 to %2").arg(file, target));
        QString error;
        bool taken = false;
        if (Utils::moveItemNoReplace(file, target, &error, &taken)) {
            Utils::rememberNewFile(target);
            return target;
        }
        if (!taken) {
            platform::log(QStringLiteral("Could not move file"));
            return {};
        }
    }
    platform::log(QStringLiteral("Could not move file"));
    return {};
}
}  // namespace

QString extensionForFileType(uint32_t fileType)
{
    static const QHash<uint32_t, QString> table = {
        {fourCC("AIFF"), QStringLiteral("aif")}, {fourCC("AIFC"), QStringLiteral("aifc")},
        {fourCC("WAVE"), QStringLiteral("wav")}, {fourCC("Sd2f"), QStringLiteral("sd2")},
        {fourCC("NeXT"), QStringLiteral("nxt")}, {fourCC("MPG3"), QStringLiteral("mp3")},
        {fourCC("MPG2"), QStringLiteral("mp2")}, {fourCC("MPG1"), QStringLiteral("mp1")},
        {fourCC("ac-3"), QStringLiteral("ac3")}, {fourCC("adts"), QStringLiteral("aac")},
        {fourCC("mp4f"), QStringLiteral("mp4")}, {fourCC("m4af"), QStringLiteral("m4a")},
        {fourCC("caff"), QStringLiteral("caf")}, {fourCC("3gpp"), QStringLiteral("3gp")},
        {fourCC("3gp2"), QStringLiteral("3gp2")}, {fourCC("amrf"), QStringLiteral("amr")},
        // Containers our reader knows beyond the classic table.
        {fourCC("flac"), QStringLiteral("flac")}, {fourCC("OggS"), QStringLiteral("ogg")},
        {fourCC("W64f"), QStringLiteral("w64")},
    };
    return table.value(fileType, QStringLiteral("raw"));
}

QString safeFileName(const QString& name)
{
    QString safe;
    for (QChar c : name) {
        if (c == QLatin1Char('/'))
            safe += QLatin1Char('_');
        else if (c.category() == QChar::Other_Control || c.category() == QChar::Separator_Line
                 || c.category() == QChar::Separator_Paragraph)
            safe += QLatin1Char(' ');
        else
            safe += c;
    }
    // No hidden files either: "." and ".." vanish, ".name" loses its points.
    qsizetype points = 0;
    while (points < safe.size() && safe[points] == QLatin1Char('.'))
        ++points;
    return safe.mid(points).trimmed().left(kMaxNameLength);
}

QString pasteFile(const QString& file, const QString& folder, const QString& name)
{
    const QString given = safeFileName(name).isEmpty() ? kDefaultName : safeFileName(name);
    QString extension;
    if (Utils::fileIsMIDI(file)) {
        extension = QStringLiteral("mid");
    } else if (const auto reader = platform::AudioFileReader::open(file)) {
        if (reader->fileType() == 0) {
            platform::log(QStringLiteral("AudioPaste: Could not get audio file type."));
            extension = extensionOf(given);
        } else {
            extension = extensionForFileType(reader->fileType());
        }
    } else {
        platform::log(QStringLiteral("AudioPaste: Could not open audio file."));
        extension = extensionOf(given);
    }
    platform::log(QStringLiteral("file type: %1").arg(extension));
    return arrive(file, folder, stemOf(given), extension);
}

namespace {
// Fills a private temporary file through fill, then pastes it under the naming rules; the
// alerts say what failed before the naming.
QString pasteGathered(const std::function<bool(int fd)>& fill, const QString& folder, const QString& name)
{
    platform::HeldTemporaryFile temp(platform::Locations::tempDir() + QStringLiteral("/temp-pasteboard-XXXXXX"));
    if (!temp.open()) {
        alert(QStringLiteral("Can't create file"));
        return {};
    }
    if (!fill(temp.handle())) {
        alert(QStringLiteral("Can't open file for writing"));
        return {};
    }
    temp.close();
    // Library files are readable by others, unlike temporary ones.
    temp.setPermissions(QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ReadGroup | QFileDevice::ReadOther);
    const QString pasted = pasteFile(temp.fileName(), folder, name);
    if (!pasted.isEmpty())
        temp.setAutoRemove(false);  // it is the library's file now
    return pasted;
}
}  // namespace

QString pasteBytes(const QByteArray& bytes, const QString& folder, const QString& name)
{
    return pasteGathered(
        [&bytes](int fd) {
            QFile out;
            return out.open(fd, QIODevice::WriteOnly, QFileDevice::DontCloseHandle) && out.write(bytes) == bytes.size()
                   && out.flush();
        },
        folder, name);
}

QString audioPaste(const QString& folder, const QString& name)
{
    const std::unique_ptr<platform::Pasteboard> general = platform::Pasteboard::general();
    const std::unique_ptr<platform::PasteboardSnapshot> snapshot = general ? general->snapshot() : nullptr;
    if (!snapshot) {
        alert(QStringLiteral("Can't get item set"));
        return {};
    }
    const QList<int> items = snapshot->itemsWithType(AudioCopyPaste1::kGeneralAudioType);
    if (items.isEmpty()) {
        alert(QStringLiteral("Nothing to paste"));
        return {};
    }
    const QByteArray head = snapshot->data(items.first(), AudioCopyPaste1::kGeneralAudioType, 4);
    platform::log(QStringLiteral("Pasting data with %1 chunks, prefix '%2'").arg(items.size()).arg(printablePrefix(head)));
    return pasteGathered(
        [&](int fd) {
            for (int item : items)
                if (!snapshot->copyTo(item, AudioCopyPaste1::kGeneralAudioType, fd))
                    return false;
            return true;
        },
        folder, name);
}

QVariantMap copyMeta(const QString& path)
{
    return {{AudioCopyPaste1::kCopyName, QFileInfo(path).completeBaseName()},
            {AudioCopyPaste1::kSender, kSender},
            {AudioCopyPaste1::kTempo, double(Utils::findBpmInString(path))}};
}

bool copyToHistory(const QString& path, const QVariantMap& meta)
{
    return AudioCopyPaste1::copyAudioFileAtPath(path, meta, AudioCopyPaste1::incrementPasteIndexAndGetPasteboardName());
}

std::optional<Alert> bulkAudioCopyRefusal(const QStringList& paths)
{
    const QString title = QStringLiteral("Bulk AudioCopy");
    if (paths.isEmpty())
        return Alert{title, QStringLiteral("No files selected.")};
    for (const QString& path : paths)
        if (QFileInfo(path).isDir())
            return Alert{title, QStringLiteral("Please select only files, no folders.")};
    return std::nullopt;
}

QStringList bulkAudioCopy(const QStringList& paths, const std::function<void(float)>& progress)
{
    QStringList failed;
    for (int i = 0; i < paths.size(); ++i) {
        if (progress)
            progress(float(i) / float(paths.size()));
        if (!copyToHistory(paths[i], copyMeta(paths[i])))
            failed << paths[i];
    }
    return failed;
}

bool isAudioCopyCompatible(const QString& path)
{
    const auto reader = platform::AudioFileReader::open(path);
    return reader && reader->dataFormat() == fourCC("lpcm") && reader->bitsPerSample() == 16
           && reader->sampleRate() == 44100.0 && !(reader->info().formatFlags & platform::kFormatFlagFloat);
}

QString pasteHistorySlot(int slot, const QString& folder, const QString& name)
{
    const QString pasteboard = AudioCopyPaste1::historyPasteboardName(slot);
    const std::optional<QVariantMap> info = AudioCopyPaste1::getPasteInfoWithPasteboardName(pasteboard);
    if (!info)
        return {};
    QString stem = safeFileName(name.isEmpty() ? info->value(AudioCopyPaste1::kCopyName).toString() : name);
    if (stem.isEmpty())
        stem = kDefaultName;
    for (int attempt = 0; attempt < kArrivalTries; ++attempt) {
        const QString target = Utils::uniquePath(folder + QLatin1Char('/') + stem + QStringLiteral(".wav"));
        if (AudioCopyPaste1::pasteAudioFileFromPasteboard(pasteboard, target)) {
            Utils::rememberNewFile(target);
            return target;
        }
        if (!QFileInfo::exists(target))
            return {};  // failed for another reason than the name being taken meanwhile
    }
    return {};
}

}  // namespace LibraryPasteboard
