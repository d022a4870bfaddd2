#include "library/Utils.h"

#include "platform/Alerts.h"
#include "platform/Locations.h"
#include "platform/Log.h"

#include <QDir>
#include <QFileInfo>
#include <mutex>
#include <optional>

namespace Utils {
namespace {

struct Cached {
    QString documents;
    QString localDocuments;
    QString link;
    QString trash;
    // The same, resolved: what system items are recognised by.
    QString realDocuments;
    QString realLink;
    QString realTrash;
    QString realDocumentsName;
};

constexpr int kMoveAsideAttempts = 100;

std::mutex gMutex;
std::optional<Cached> gCached;

const Cached& cached()
{
    std::lock_guard lock(gMutex);
    if (!gCached) {
        Cached c;
        c.documents = platform::Locations::libraryRoot();
        QDir().mkpath(c.documents);
        c.localDocuments = platform::Locations::privateDocuments();
        c.link = c.documents + QStringLiteral("/Desktop File Sharing");
        c.trash = c.documents + QStringLiteral("/Trash");
        const QString real = QFileInfo(c.documents).canonicalFilePath();
        c.realDocuments = real.isEmpty() ? QDir::cleanPath(c.documents) : real;
        c.realLink = c.realDocuments + QStringLiteral("/Desktop File Sharing");
        c.realTrash = c.realDocuments + QStringLiteral("/Trash");
        c.realDocumentsName = QFileInfo(c.realDocuments).fileName();
        gCached = c;
    }
    return *gCached;
}

// Resolves symbolic links; a path that does not exist resolves its existing parent.
QString resolved(const QString& path)
{
    const QString canonical = QFileInfo(path).canonicalFilePath();
    if (!canonical.isEmpty())
        return canonical;
    const QFileInfo info(path);
    const QString parent = QFileInfo(info.path()).canonicalFilePath();
    return parent.isEmpty() ? QDir::cleanPath(path) : parent + QLatin1Char('/') + info.fileName();
}

QString withoutTrailingSlashes(const QString& path)
{
    QString trimmed = path;
    while (trimmed.size() > 1 && trimmed.endsWith(QLatin1Char('/')))
        trimmed.chop(1);
    return trimmed;
}

bool isDots(QStringView name)
{
    return name.isEmpty() || name == QLatin1String(".") || name == QLatin1String("..");
}

// What a path names: its folder resolved and its own name kept, so a link is itself and not
// what it points to; "." and ".." are resolved whole.
QString identity(const QString& path)
{
    const QString trimmed = withoutTrailingSlashes(path);
    const QFileInfo info(trimmed);
    const QString name = info.fileName();
    if (isDots(name))
        return resolved(trimmed);
    const QString parent = QFileInfo(info.path()).canonicalFilePath();
    if (parent.isEmpty())
        return QDir::cleanPath(trimmed);
    return parent == QLatin1String("/") ? parent + name : parent + QLatin1Char('/') + name;
}

QString resolvedLocalDocuments()
{
    const QString local = cached().localDocuments;
    const QString canonical = QFileInfo(local).canonicalFilePath();
    return canonical.isEmpty() ? local : canonical;
}

}  // namespace

QString documentsURL() { return cached().documents; }
QString localDocumentsURL() { return cached().localDocuments; }
QString localDocumentsLinkURL() { return cached().link; }
QString trashcanURL() { return cached().trash; }

void resetCachedLocations()
{
    std::lock_guard lock(gMutex);
    gCached.reset();
}

bool pathIsInbox(const QString& path)
{
    return resolved(path) == resolvedLocalDocuments() + QStringLiteral("/Inbox");
}

namespace {

enum class SystemItem { None, Library, Link, Trash };

// knownLink: whether path is a symbolic link, when the caller has read it already.
SystemItem systemItemAt(const QString& path, std::optional<bool> knownLink = std::nullopt)
{
    const Cached& c = cached();
    const QString trimmed = withoutTrailingSlashes(path);
    const QStringView name = QStringView(trimmed).mid(trimmed.lastIndexOf(QLatin1Char('/')) + 1);
    const bool dots = isDots(name);
    const bool link = !dots && (knownLink ? *knownLink : QFileInfo(trimmed).isSymLink());
    // Listings ask for every row: most names cannot be a system item, and cost no resolving.
    if (!dots && !link && name != QLatin1String("Trash") && name != QLatin1String("Desktop File Sharing")
        && name != c.realDocumentsName)
        return SystemItem::None;
    const QString named = identity(trimmed);
    if (named == c.realLink)
        return SystemItem::Link;
    if (named == c.realTrash)
        return SystemItem::Trash;
    if (named == c.realDocuments)
        return SystemItem::Library;
    if (!link)
        return SystemItem::None;
    // A link made elsewhere that leads to a system folder stands for it.
    const QString leads = QFileInfo(trimmed).canonicalFilePath();
    if (leads.isEmpty())
        return SystemItem::None;
    if (leads == c.realTrash)
        return SystemItem::Trash;
    if (leads == c.realDocuments)
        return SystemItem::Library;
    return leads == resolvedLocalDocuments() ? SystemItem::Link : SystemItem::None;
}

}  // namespace

bool pathIsLibraryRoot(const QString& path) { return systemItemAt(path) == SystemItem::Library; }
bool pathIsLocalDocumentsLink(const QString& path) { return systemItemAt(path) == SystemItem::Link; }
bool pathIsTrashcan(const QString& path) { return systemItemAt(path) == SystemItem::Trash; }
bool pathIsLocalDocumentsLinkOrTrashcan(const QString& path)
{
    const SystemItem item = systemItemAt(path);
    return item == SystemItem::Link || item == SystemItem::Trash;
}
bool pathIsSystemItem(const QString& path) { return systemItemAt(path) != SystemItem::None; }
bool pathIsSystemItem(const QString& path, bool isSymLink) { return systemItemAt(path, isSymLink) != SystemItem::None; }

bool pathIsInsideTrashcan(const QString& path)
{
    return identity(path).startsWith(cached().realTrash + QLatin1Char('/'));
}

bool pathIsInsideLocalDocs(const QString& path)
{
    return resolved(path).startsWith(resolvedLocalDocuments() + QLatin1Char('/'));
}

bool checkNotInbox(const QString& path)
{
    if (pathIsInbox(path)) {
        showAlert(QStringLiteral("Sorry"),
                  QStringLiteral("'Inbox' is reserved by the system, please choose another name."));
        return false;
    }
    return true;
}

bool checkPathIsLocalDocumentsLink(const QString& path, QObject* viewController)
{
    if (!pathIsLocalDocumentsLink(path))
        return false;
    showAlert(QStringLiteral("Not available"),
              QStringLiteral("This folder can be opened from your file manager but is not available to other "
                             "apps via the Wavelocker Document Picker, due to technical reasons."),
              viewController);
    return true;
}

namespace {

// Moves what the user keeps under a system item's name to the first free "name(N)".
bool moveAside(const QString& path, QList<std::pair<QString, QString>>& moved)
{
    for (int attempt = 0; attempt < kMoveAsideAttempts; ++attempt) {
        const QString aside = uniquePathKeepingDot(path);
        QString error;
        bool taken = false;
        if (moveItemNoReplace(path, aside, &error, &taken)) {
            platform::log(QStringLiteral("Moved '%1' aside to '%2': the name is reserved by the system")
                              .arg(QFileInfo(path).fileName(), QFileInfo(aside).fileName()));
            moved.append({path, aside});
            return true;
        }
        if (!taken) {
            platform::log(QStringLiteral("ERROR moving '%1' aside: %2").arg(path, error));
            return false;
        }
    }
    return false;
}

bool isLinkTo(const QString& path, const QString& target)
{
    const QFileInfo info(path);
    return info.isSymLink() && info.symLinkTarget() == QFileInfo(target).absoluteFilePath();
}

}  // namespace

QList<std::pair<QString, QString>> prepareSystemItems()
{
    QList<std::pair<QString, QString>> moved;
    const QString local = localDocumentsURL();
    const QString link = localDocumentsLinkURL();
    const QString trash = trashcanURL();
    QDir().mkpath(local);
    // Rebuilt at every start, so a moved data folder never leaves a stale link behind; only a
    // link is ever removed, a real item is the user's.
    const QFileInfo linkInfo(link);
    if (!isLinkTo(link, local)) {
        if (linkInfo.isSymLink()) {
            if (QFile::remove(link))
                platform::log(QStringLiteral("Removed old Desktop File Sharing link"));
        } else if (linkInfo.exists()) {
            moveAside(link, moved);
        }
        if (QFile::link(local, link))
            platform::log(QStringLiteral("Created new Desktop File Sharing link"));
    }
    // Libraries made by earlier builds carry the link under its former name; only a link to our
    // own documents folder goes, anything else under that name is the user's.
    if (const QString former = documentsURL() + QStringLiteral("/iTunes File Sharing"); isLinkTo(former, local))
        QFile::remove(former);
    const QFileInfo trashInfo(trash);
    if ((trashInfo.exists() || trashInfo.isSymLink()) && (!trashInfo.isDir() || trashInfo.isSymLink()))
        moveAside(trash, moved);
    return moved;
}

void showAlert(const QString& title, const QString& message, QObject* controller)
{
    platform::showAlert(title, message, controller);
}

}  // namespace Utils
