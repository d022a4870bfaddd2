#include "library/Utils.h"

#include "platform/Alerts.h"
#include "platform/Locations.h"

#include <QDir>
#include <QFileInfo>
#include <mutex>

namespace Utils {
namespace {

struct Cached {
    QString documents;
    QString localDocuments;
    QString link;
    QString trash;
};

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
        c.link = c.documents + QStringLiteral("/iTunes File Sharing");
        c.trash = c.documents + QStringLiteral("/Trash");
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

bool pathIsLocalDocumentsLink(const QString& path) { return path == cached().link; }
bool pathIsTrashcan(const QString& path) { return path == cached().trash; }
bool pathIsSystemItem(const QString& path) { return pathIsLocalDocumentsLink(path) || path == cached().trash; }
bool pathIsInsideTrashcan(const QString& path) { return path.startsWith(cached().trash + QLatin1Char('/')); }

bool pathIsInsideLocalDocs(const QString& path)
{
    return resolved(path).startsWith(resolvedLocalDocuments() + QLatin1Char('/'));
}

bool checkNotInbox(const QString& path)
{
    if (path == cached().localDocuments + QStringLiteral("/Inbox")) {
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
              QStringLiteral("This folder can be accessed via iTunes File Sharing but is not available to other "
                             "apps via the Wavelocker Document Picker, due to technical reasons."),
              viewController);
    return true;
}

void showAlert(const QString& title, const QString& message, QObject* controller)
{
    platform::showAlert(title, message, controller);
}

}  // namespace Utils
