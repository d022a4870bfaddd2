#include "library/FileActions.h"

#include "library/TrashOrigins.h"
#include "library/Utils.h"
#include "platform/FileIO.h"
#include "platform/Log.h"
#include "platform/PartFile.h"

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QFileInfo>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <sys/stat.h>
#include <vector>

namespace FileActions {
namespace {

const QString kNotesName = QStringLiteral("Notes.txt");
const QString kNoteSuffix = QStringLiteral(".txt");

bool taken(const QString& path) { return QFileInfo::exists(path) || QFileInfo(path).isSymLink(); }

QString nameOf(const QString& path) { return QFileInfo(path).fileName(); }

bool createEmptyFile(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::WriteOnly | QIODevice::NewOnly);
}

}  // namespace

const QString kFolderDeleteMessage = QStringLiteral("Including all items and subfolders in the folder.");

QString deleteWord(const QString& path)
{
    return Utils::pathIsInsideTrashcan(path) ? QStringLiteral("Delete") : QStringLiteral("Trash");
}

QString deleteWordForFolder(const QString& folder) { return deleteWord(folder + QStringLiteral("/item")); }

QString folderDeleteTitle(const QString& path) { return QStringLiteral("%1 folder?").arg(deleteWord(path)); }

QString deleteManyTitle(const QString& folder, qsizetype count)
{
    return QStringLiteral("%1 %2 items?").arg(deleteWordForFolder(folder)).arg(count);
}

namespace {
bool trashReporting(const QString& path, const QDateTime& timestamp, QString* trashedPath)
{
    QString error;
    if (Utils::trashItemAtPath(path, timestamp, &error, trashedPath))
        return true;
    const bool forGood = Utils::pathIsInsideTrashcan(path);
    Utils::showAlert(forGood ? QStringLiteral("Delete") : QStringLiteral("Trash"),
                     (forGood ? QStringLiteral("Could not delete '%1': %2")
                              : QStringLiteral("Could not move '%1' to the Trash: %2"))
                         .arg(nameOf(path), error));
    return false;
}
}  // namespace

std::optional<DeleteQuestion> deleteQuestion(const QString& path, bool isDirectory)
{
    const QString word = deleteWord(path);
    if (isDirectory)
        return DeleteQuestion{folderDeleteTitle(path), kFolderDeleteMessage, word};
    // Outside the trash a file can be put back, so it goes at once; inside, it is gone for good.
    if (Utils::pathIsInsideTrashcan(path))
        return DeleteQuestion{QStringLiteral("%1 file?").arg(word),
                              QStringLiteral("'%1' will be deleted for good.").arg(nameOf(path)), word};
    return std::nullopt;
}

bool deleteItem(const QString& path, QString* trashedPath)
{
    if (Utils::pathIsSystemItem(path)) {
        Utils::showAlert(QStringLiteral("Oops"),
                         QStringLiteral("'%1' is a system item and can't be deleted!").arg(nameOf(path)));
        return false;
    }
    return trashReporting(path, {}, trashedPath);
}

int deleteMany(const QStringList& paths, const QDateTime& timestamp, Moves* trashed)
{
    int removed = 0;
    for (const QString& path : paths) {
        if (Utils::pathIsSystemItem(path)) {
            Utils::showAlert(QStringLiteral("Oops"),
                             QStringLiteral("'%1' is a system item and can't be deleted!").arg(nameOf(path)));
            continue;
        }
        QString place;
        if (!trashReporting(path, timestamp, &place))
            continue;
        ++removed;
        if (trashed && !place.isEmpty())
            trashed->append({path, place});
    }
    return removed;
}

const QString kDeleteForGoodMessage = QStringLiteral("They can't be put back.");

int deleteForGood(const QStringList& paths)
{
    int removed = 0;
    for (const QString& path : paths) {
        if (Utils::pathIsSystemItem(path)) {
            Utils::showAlert(QStringLiteral("Oops"),
                             QStringLiteral("'%1' is a system item and can't be deleted!").arg(nameOf(path)));
            continue;
        }
        if (!Utils::removeItem(path)) {
            Utils::showAlert(QStringLiteral("Delete"), QStringLiteral("Could not delete '%1'").arg(nameOf(path)));
            continue;
        }
        ++removed;
        const QString parent = QFileInfo(path).path();
        if (Utils::pathIsTrashcan(QFileInfo(parent).path()))
            Utils::maybeDeleteEmptyFolder(parent);
    }
    return removed;
}

Moves moveItems(const QStringList& paths, const QString& destination, const QString& listedFolder)
{
    Moves moved;
    for (const QString& path : paths) {
        const QString target = destination + QLatin1Char('/') + nameOf(path);
        platform::log(QStringLiteral("Moving %1 -> %2").arg(path, target));
        if (Utils::pathIsSystemItem(path)) {
            Utils::showAlert(QStringLiteral("Oops"),
                             QStringLiteral("'%1' is a system item and can't be moved!").arg(nameOf(path)));
            continue;
        }
        if (taken(target)) {
            Utils::showAlert(QStringLiteral("Move item"),
                             QStringLiteral("'%1' already exists at destination folder!").arg(nameOf(path)));
            continue;
        }
        QString error;
        if (relocateItem(path, target, &error))
            moved.append({path, target});
        else
            Utils::showAlert(QStringLiteral("Move item"), error);
    }
    if (Utils::pathIsTrashcan(QFileInfo(listedFolder).path()))
        Utils::maybeDeleteEmptyFolder(listedFolder);
    return moved;
}

namespace {
bool isTrashBatch(const QString& folder) { return Utils::pathIsTrashcan(QFileInfo(folder).path()); }
}  // namespace

bool relocateItem(const QString& from, const QString& to, QString* error, bool* targetTaken)
{
    const QString toFolder = QFileInfo(to).path();
    if (isTrashBatch(toFolder) && !QFileInfo(toFolder).exists())
        QDir().mkdir(toFolder);
    const bool fromTrash = Utils::pathIsInsideTrashcan(from);
    const bool intoTrash = Utils::pathIsInsideTrashcan(to);
    if (!Utils::moveItemNoReplace(from, to, error, targetTaken))
        return false;
    // A rename carries the item's record along: only crossing the Trash's border changes it.
    if (intoTrash && !fromTrash)
        TrashOrigins::remember(to, from);
    else if (!intoTrash && fromTrash)
        TrashOrigins::forget(to);
    const QString fromFolder = QFileInfo(from).path();
    if (isTrashBatch(fromFolder))
        Utils::maybeDeleteEmptyFolder(fromFolder);
    return true;
}

bool canPutBack(const QString& path)
{
    return Utils::pathIsInsideTrashcan(path) && !Utils::pathIsSystemItem(path) && !TrashOrigins::originOf(path).isEmpty();
}

QString putBack(const QString& path)
{
    const QString title = QStringLiteral("Put Back");
    const QString origin = TrashOrigins::originOf(path);
    if (!Utils::pathIsInsideTrashcan(path) || origin.isEmpty()) {
        Utils::showAlert(title, QStringLiteral("Where '%1' came from is not known. Move it instead.").arg(nameOf(path)));
        return {};
    }
    if (Utils::pathIsInsideTrashcan(origin) || Utils::pathIsSystemItem(origin)) {
        Utils::showAlert(title, QStringLiteral("'%1' can't go back to '%2'.").arg(nameOf(path), origin));
        return {};
    }
    const QString folder = QFileInfo(origin).path();
    if (!QFileInfo(folder).isDir() && !QDir().mkpath(folder)) {
        Utils::showAlert(title, QStringLiteral("The folder '%1' could not be made again.").arg(folder));
        return {};
    }
    // The name may be taken by now, even between looking and moving: never over it.
    constexpr int kAttempts = 20;
    for (int attempt = 0; attempt < kAttempts; ++attempt) {
        const QString target = Utils::uniquePath(origin);
        QString error;
        bool taken = false;
        if (relocateItem(path, target, &error, &taken))
            return target;
        if (!taken) {
            Utils::showAlert(title, error);
            return {};
        }
    }
    Utils::showAlert(title, QStringLiteral("No free name for '%1'.").arg(nameOf(origin)));
    return {};
}

QString renameItem(const QString& path, const QString& newName)
{
    if (Utils::pathIsSystemItem(path)) {
        Utils::showAlert(QStringLiteral("Oops"),
                         QStringLiteral("'%1' is a system item and can't be moved!").arg(nameOf(path)));
        return {};
    }
    // A name never leads into another folder.
    const QString target = QFileInfo(path).path() + QLatin1Char('/') + QString(newName).replace(QLatin1Char('/'), QLatin1Char('_'));
    if (!Utils::checkNotInbox(target))
        return {};
    if (taken(target)) {
        Utils::showAlert(QStringLiteral("Rename"), QStringLiteral("An item with that name already exists!"));
        return {};
    }
    QString error;
    if (!relocateItem(path, target, &error)) {
        Utils::showAlert(QStringLiteral("Rename"), error);
        return {};
    }
    return target;
}

QString createFolder(const QString& folder, const QString& name)
{
    const QString target = folder + QLatin1Char('/') + QString(name).replace(QLatin1Char('/'), QLatin1Char('_'));
    if (!Utils::checkNotInbox(target))
        return {};
    if (taken(target)) {
        Utils::showAlert(QStringLiteral("Create Folder"), QStringLiteral("An item with that name already exists!"));
        return {};
    }
    if (::mkdir(QFile::encodeName(target).constData(), 0777) != 0) {
        Utils::showAlert(QStringLiteral("Create Folder"), QString::fromLocal8Bit(std::strerror(errno)));
        return {};
    }
    return target;
}

QString addNotes(const QString& folder)
{
    // A name that was free a moment ago may be taken by now: never open over it.
    for (int attempt = 0; attempt < 100; ++attempt) {
        const QString path = Utils::uniquePath(folder + QLatin1Char('/') + kNotesName);
        if (createEmptyFile(path)) {
            Utils::rememberNewFile(path);
            return path;
        }
        if (!taken(path))
            break;
    }
    Utils::showAlert(QStringLiteral("New Notes"), QStringLiteral("Could not create a notes file in this folder."));
    return {};
}

QString noteForFile(const QString& path)
{
    const QString note = path + kNoteSuffix;
    if (QFileInfo(note).isFile() || createEmptyFile(note))
        return note;
    Utils::showAlert(QStringLiteral("Note"), QStringLiteral("Could not create '%1'.").arg(nameOf(note)));
    return {};
}

std::optional<quint64> folderSize(const QString& path, const std::atomic<bool>* cancel)
{
    quint64 total = 0;
    QDirIterator it(path, QDir::Files | QDir::Hidden | QDir::System | QDir::NoSymLinks, QDirIterator::Subdirectories);
    while (it.hasNext()) {
        if (cancel && cancel->load())
            return std::nullopt;
        it.next();
        total += quint64(it.fileInfo().size());
    }
    return total;
}

namespace {
constexpr qint64 kCopyChunkBytes = 1 << 20;
const QString kCancelled = QStringLiteral("Cancelled");

bool cancelled(const CopyControl& control) { return control.cancel && control.cancel->load(); }

// A file's bytes into out, in chunks so that a cancel is heard; on failure out is removed.
bool copyFileData(const QString& source, QFile& out, QString& why, CopyControl& control)
{
    QFile in(source);
    if (!platform::isRegularFile(source)) {
        why = QStringLiteral("Not a regular file");
        out.remove();
        return false;
    }
    if (!in.open(QIODevice::ReadOnly)) {
        why = in.errorString();
        out.remove();
        return false;
    }
    std::vector<char> chunk(kCopyChunkBytes);
    for (;;) {
        if (cancelled(control)) {
            why = kCancelled;
            break;
        }
        const qint64 n = in.read(chunk.data(), qint64(chunk.size()));
        if (n < 0) {
            why = in.errorString();
            break;
        }
        if (n == 0) {
            out.setPermissions(in.permissions());
            if (out.flush())
                return true;
            why = out.errorString();
            break;
        }
        if (out.write(chunk.data(), n) != n) {
            why = out.errorString();
            break;
        }
        control.copied += quint64(n);
        if (control.progress)
            control.progress(control.copied);
    }
    out.close();
    out.remove();
    return false;
}

bool copyInto(const QString& source, const QString& target, QString& why, CopyControl& control)
{
    const QFileInfo info(source);
    if (taken(target)) {
        why = QStringLiteral("'%1' already exists").arg(nameOf(target));
        return false;
    }
    if (cancelled(control)) {
        why = kCancelled;
        return false;
    }
    if (info.isSymLink() && info.isDir()) {
        // A linked folder stays a link: following it could copy without end.
        if (QFile::link(info.symLinkTarget(), target))
            return true;
        why = QStringLiteral("Could not create '%1'").arg(nameOf(target));
        return false;
    }
    if (!info.isDir()) {
        QFile out(target);
        if (out.open(QIODevice::WriteOnly | QIODevice::NewOnly))
            return copyFileData(source, out, why, control);
        why = out.errorString();
        return false;
    }
    if (!QDir().mkdir(target)) {
        why = QStringLiteral("Could not create '%1'").arg(nameOf(target));
        return false;
    }
    const QStringList names =
        QDir(source).entryList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot, QDir::Name);
    for (const QString& name : names) {
        if (!copyInto(source + QLatin1Char('/') + name, target + QLatin1Char('/') + name, why, control)) {
            QDir(target).removeRecursively();
            return false;
        }
    }
    return true;
}
}  // namespace

bool copyItem(const QString& source, const QString& target, QString* error, CopyControl* control)
{
    QString ignored;
    QString& why = error ? *error : ignored;
    CopyControl none;
    CopyControl& copy = control ? *control : none;
    const QFileInfo info(source);
    if (taken(target)) {
        why = QStringLiteral("'%1' already exists").arg(nameOf(target));
        return false;
    }
    if (!info.isDir()) {
        // A file is written into a part file that is locked while it is written, so that the
        // clean-up of another process starting meanwhile leaves it alone.
        // The extension helps nothing here, and an odd one would make the name not ours.
        const std::unique_ptr<PartFile> part = PartFile::create(QFileInfo(target).path());
        if (!part) {
            why = QStringLiteral("Could not create '%1'").arg(nameOf(target));
            return false;
        }
        QFile out(part->path());
        if (!out.open(QIODevice::WriteOnly | QIODevice::Truncate)) {
            why = out.errorString();
            return false;
        }
        if (!copyFileData(source, out, why, copy))
            return false;
        out.close();
        if (part->commit(target, false))
            return true;
        why = taken(target) ? QStringLiteral("'%1' already exists").arg(nameOf(target))
                            : QStringLiteral("Could not write '%1'").arg(nameOf(target));
        return false;
    }
    if (!info.isSymLink()) {
        const QString into = QFileInfo(QFileInfo(target).path()).canonicalFilePath() + QLatin1Char('/');
        if (into.startsWith(info.canonicalFilePath() + QLatin1Char('/'))) {
            why = QStringLiteral("'%1' can't be copied into itself").arg(nameOf(source));
            return false;
        }
    }
    // Built under a hidden name beside the target and renamed without replacing, so a failure,
    // a cancel or a kill never leaves half a folder under its name.
    const QString part = Utils::partPathBeside(target);
    if (part.isEmpty() || !copyInto(source, part, why, copy)) {
        if (!part.isEmpty())
            Utils::removeItem(part);
        return false;
    }
    if (const int result = Utils::renameNoReplace(part, target); result != 0) {
        Utils::removeItem(part);
        why = result == EEXIST ? QStringLiteral("'%1' already exists").arg(nameOf(target))
                               : QString::fromLocal8Bit(std::strerror(result));
        return false;
    }
    return true;
}

QString exportCopy(const QString& path, const QString& folder)
{
    const QString target = Utils::uniquePathKeepingDot(folder + QLatin1Char('/') + nameOf(path));
    QString error;
    if (copyItem(path, target, &error))
        return target;
    Utils::showAlert(QStringLiteral("Export"), error);
    return {};
}

}  // namespace FileActions
