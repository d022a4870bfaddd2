#include "library/ItemZipper.h"

#include "library/Utils.h"
#include "library/ZipArchive.h"
#include "platform/Log.h"
#include "platform/PartFile.h"
#include "platform/ZipReader.h"

#include <QFile>
#include <vector>

#include <QDir>
#include <QFileInfo>
#include <QSet>

namespace ItemZipper {
namespace {

const QString kSorry = QStringLiteral("Sorry");
const qint64 kCheckChunkBytes = 1 << 20;

void scan(const QString& path, QStringList& set, QSet<QString>& seen)
{
    const QFileInfo info(path);
    // Symbolic links are followed; seen keeps a link to an ancestor from looping forever.
    const QString resolved = info.canonicalFilePath();
    if (resolved.isEmpty() || seen.contains(resolved))
        return;
    seen.insert(resolved);
    if (info.isDir()) {
        const QStringList names = QDir(path).entryList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot,
                                                       QDir::Name);
        for (const QString& name : names)
            scan(path + QLatin1Char('/') + name, set, seen);
    } else if (info.isFile() && !PartFile::isPartName(info.fileName())) {
        // Another operation's unfinished file is not the user's.
        set << path;
    }
}

// The archive takes its name only when it reads back whole: every entry's data matches its
// checksum.
bool moveIntoPlace(PartFile& part, const QString& archivePath, qsizetype entries)
{
    const auto reader = ZipReader::open(part.path());
    if (!reader)
        return false;
    qsizetype found = 0;
    std::vector<char> buffer(kCheckChunkBytes);
    for (auto step = reader->goToFirstEntry(); step == ZipReader::Step::Ok; step = reader->goToNextEntry()) {
        if (!reader->openEntry())
            return false;
        qint64 n;
        while ((n = reader->read(buffer.data(), qint64(buffer.size()))) > 0) {
        }
        if (!reader->closeEntry() || n < 0)
            return false;
        ++found;
    }
    return found == entries && part.commit(archivePath, false);
}

}  // namespace

QString archivePathForItem(const QString& item, const QString& folder)
{
    const QFileInfo info(item);
    const QString base = info.completeBaseName().isEmpty() ? info.fileName() : info.completeBaseName();
    return folder + QLatin1Char('/') + base + QStringLiteral(".zip");
}

void scanFilesRecurse(const QString& path, QStringList& set)
{
    QSet<QString> seen;
    for (const QString& file : set)
        seen.insert(QFileInfo(file).canonicalFilePath());
    scan(path, set, seen);
}

bool zipItem(const QString& item, const QString& folder, ZipArchiveDelegate* delegate, const Hooks& hooks)
{
    const QString archivePath = archivePathForItem(item, folder);
    const QString archiveName = QFileInfo(archivePath).fileName();
    if (QFileInfo::exists(archivePath) || QFileInfo(archivePath).isSymLink()) {
        Utils::showAlert(kSorry, QStringLiteral("'%1' already exists in this folder. Remove it and try again.").arg(archiveName));
        return false;
    }
    QStringList files;
    scanFilesRecurse(item, files);
    if (hooks.started)
        hooks.started(QStringLiteral("Compressing to Zip"), 0.0f);

    // Written aside and moved in when complete, so the folder never shows half an archive.
    ZipArchive zip;
    zip.setDelegate(delegate);
    zip.setCancelFlag(hooks.cancel);
    const std::unique_ptr<PartFile> part = PartFile::create(folder, QStringLiteral("zip"));
    if (!part || !zip.CreateZipFile2(part->path())) {
        zip.OutputErrorMessage(QStringLiteral("Could not create '%1'.").arg(archiveName));
        return false;
    }
    const QString prefix = folder + QLatin1Char('/');
    qsizetype added = 0;
    for (qsizetype i = 0; i < files.size(); ++i) {
        if (hooks.progress)
            hooks.progress(float(i) / float(files.size()));
        const QString& file = files[i];
        const QString name = file.startsWith(prefix) ? file.mid(prefix.size()) : QFileInfo(file).fileName();
        if (zip.addFileToZip(QFileInfo(file).canonicalFilePath(), name))
            ++added;
        else if (!zip.isCancelled())
            zip.OutputErrorMessage(QStringLiteral("Could not add '%1'.").arg(name));
        if (zip.isCancelled()) {
            zip.CloseZipFile2();
            platform::log(QStringLiteral("Cancelled"));
            return false;  // the unfinished archive goes with its part file
        }
    }
    if (!zip.CloseZipFile2() || !moveIntoPlace(*part, archivePath, added)) {
        zip.OutputErrorMessage(QStringLiteral("Could not finish '%1'.").arg(archiveName));
        return false;
    }
    return true;
}

bool unzip(const QString& archive, const QString& folder, ZipArchiveDelegate* delegate, const Hooks& hooks)
{
    ZipArchive zip;
    zip.setDelegate(delegate);
    zip.setCancelFlag(hooks.cancel);
    if (!zip.UnzipOpenFile(archive)) {
        Utils::showAlert(kSorry, QStringLiteral("Could not open zip file."));
        return false;
    }
    if (hooks.started)
        hooks.started(QStringLiteral("Unzipping %1...").arg(QFileInfo(archive).fileName()), 1.0f);
    zip.UnzipFileTo(folder, false);
    zip.UnzipCloseFile();
    return !zip.isCancelled();
}

}  // namespace ItemZipper
