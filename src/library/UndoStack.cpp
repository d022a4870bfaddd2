#include "library/UndoStack.h"

#include "library/FileActions.h"
#include "library/Utils.h"
#include "platform/Log.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <cerrno>
#include <cstring>
#include <sys/stat.h>
#include <unistd.h>

namespace {
QString nameOf(const QString& path) { return QFileInfo(path).fileName(); }
bool taken(const QString& path) { return QFileInfo::exists(path) || QFileInfo(path).isSymLink(); }
}  // namespace

UndoStack::UndoStack(QObject* parent) : QObject(parent) {}

QString UndoStack::actionName(Action action)
{
    switch (action) {
    case Action::Trash: return QStringLiteral("Trash");
    case Action::Move: return QStringLiteral("Move");
    case Action::Rename: return QStringLiteral("Rename");
    case Action::NewFolder: return QStringLiteral("New Folder");
    case Action::PutBack: return QStringLiteral("Put Back");
    }
    return {};
}

QString UndoStack::undoText() const
{
    return mUndo.isEmpty() ? QStringLiteral("Undo") : QStringLiteral("Undo %1").arg(actionName(mUndo.last().action));
}

QString UndoStack::redoText() const
{
    return mRedo.isEmpty() ? QStringLiteral("Redo") : QStringLiteral("Redo %1").arg(actionName(mRedo.last().action));
}

std::optional<UndoStack::Identity> UndoStack::identityOf(const QString& path)
{
    struct stat st {};
    if (::lstat(QFile::encodeName(path).constData(), &st) != 0)
        return std::nullopt;
    Identity identity;
    identity.device = uint64_t(st.st_dev);
    identity.inode = uint64_t(st.st_ino);
    identity.isFolder = S_ISDIR(st.st_mode);
    // A folder's own size and time change with what is put into it; it stays the same folder.
    if (!identity.isFolder) {
        identity.size = int64_t(st.st_size);
        identity.modifiedNs = int64_t(st.st_mtim.tv_sec) * 1000000000 + st.st_mtim.tv_nsec;
    }
    return identity;
}

void UndoStack::push(Action action, const QList<Step>& steps)
{
    if (steps.isEmpty())
        return;
    Entry entry{action, steps, {}};
    for (const Step& step : steps) {
        const std::optional<Identity> identity = identityOf(step.to);
        if (!identity) {
            platform::log(QStringLiteral("Undo: %1 is gone already, not recorded").arg(step.to));
            return;
        }
        entry.identities << *identity;
    }
    mUndo << entry;
    if (mUndo.size() > kDepth)
        mUndo.removeFirst();
    mRedo.clear();
    emit changed();
}

void UndoStack::clear()
{
    mUndo.clear();
    mRedo.clear();
    emit changed();
}

bool UndoStack::undo()
{
    if (mUndo.isEmpty())
        return false;
    Entry entry = mUndo.takeLast();
    const Outcome outcome = apply(entry, true);
    if (outcome == Outcome::Done)
        mRedo << entry;
    else if (outcome == Outcome::Kept)
        mUndo << entry;
    emit changed();
    return outcome == Outcome::Done;
}

bool UndoStack::redo()
{
    if (mRedo.isEmpty())
        return false;
    Entry entry = mRedo.takeLast();
    const Outcome outcome = apply(entry, false);
    if (outcome == Outcome::Done)
        mUndo << entry;
    else if (outcome == Outcome::Kept)
        mRedo << entry;
    emit changed();
    return outcome == Outcome::Done;
}

UndoStack::Outcome UndoStack::apply(Entry& entry, bool backwards)
{
    const QString title = QStringLiteral("Can't %1 %2").arg(backwards ? QStringLiteral("Undo") : QStringLiteral("Redo"),
                                                             actionName(entry.action));
    const bool newFolder = entry.action == Action::NewFolder;
    const int count = int(entry.steps.size());

    // Everything is checked before anything moves, so that an entry is done whole or not at all.
    for (int i = 0; i < count; ++i) {
        const Step& step = entry.steps[i];
        const QString here = backwards ? step.to : step.from;
        const QString there = backwards ? step.from : step.to;
        if (newFolder && !backwards) {
            if (taken(there)) {
                Utils::showAlert(title, QStringLiteral("An item named '%1' is in the way.").arg(nameOf(there)));
                return Outcome::Kept;
            }
            continue;
        }
        if (identityOf(here) != entry.identities[i]) {
            Utils::showAlert(title, QStringLiteral("'%1' was changed outside Wavelocker since then.").arg(nameOf(here)));
            return Outcome::Dropped;
        }
        if (newFolder) {
            if (!QDir(here).isEmpty(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot)) {
                Utils::showAlert(title, QStringLiteral("'%1' is no longer empty, so it stays.").arg(nameOf(here)));
                return Outcome::Dropped;
            }
            continue;
        }
        if (taken(there)) {
            Utils::showAlert(title, QStringLiteral("An item named '%1' is in the way.").arg(nameOf(there)));
            return Outcome::Kept;
        }
        const QString folder = QFileInfo(there).path();
        const bool trashBatch = Utils::pathIsTrashcan(QFileInfo(folder).path());
        if (!trashBatch && !QFileInfo(folder).isDir()) {
            Utils::showAlert(title, QStringLiteral("The folder '%1' is gone.").arg(nameOf(folder)));
            return Outcome::Kept;
        }
    }

    for (int n = 0; n < count; ++n) {
        const int i = backwards ? count - 1 - n : n;
        const Step& step = entry.steps[i];
        const QString here = backwards ? step.to : step.from;
        const QString there = backwards ? step.from : step.to;
        if (newFolder) {
            const QByteArray path = QFile::encodeName(step.to);
            // rmdir(2) only ever removes an empty folder: whatever arrived meanwhile stays.
            const bool ok = backwards ? ::rmdir(path.constData()) == 0 : ::mkdir(path.constData(), 0777) == 0;
            if (!ok) {
                Utils::showAlert(title, QString::fromLocal8Bit(std::strerror(errno)));
                return Outcome::Dropped;
            }
            if (!backwards)
                entry.identities[i] = identityOf(step.to).value_or(Identity{});
            continue;
        }
        QString error;
        if (!FileActions::relocateItem(here, there, &error)) {
            // What moved so far stays where it went; nothing was replaced.
            Utils::showAlert(title, error);
            return Outcome::Dropped;
        }
        platform::log(QStringLiteral("%1: %2 -> %3").arg(backwards ? QStringLiteral("Undo") : QStringLiteral("Redo"), here, there));
        entry.identities[i] = identityOf(there).value_or(Identity{});
        emit itemMoved(here, there);
    }
    return Outcome::Done;
}
