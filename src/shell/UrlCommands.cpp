#include "shell/UrlCommands.h"
#include "cloud/DropboxLink.h"

#include "library/Utils.h"
#include "platform/Log.h"
#include "platform/NotificationCenter.h"
#include "platform/Notifications.h"
#include "shell/DocumentDownload.h"

#include <QDir>
#include <QFileInfo>
#include <QNetworkAccessManager>
#include <QPointer>
#include <QTimer>

namespace {

const QString kAppScheme = QStringLiteral("wavelocker");
const QString kAudiobusSuffix = QStringLiteral(".audiobus");
const QString kImportScheme = QStringLiteral("wavelocker.import");
const QString kShowScheme = QStringLiteral("wavelocker.show");
const QString kCommandScheme = QStringLiteral("wavelockercmd");
const QString kAddFromPaste = QStringLiteral("addFromPaste");
constexpr int kPasteDelayMs = 1000;
// Names taken one after the other while the document moves in.
constexpr int kMaxMoveTries = 1000;
// Audio documents are large, but not this large; a server that stays silent this long is gone.
constexpr qint64 kDefaultMaxDownloadBytes = qint64(4) * 1024 * 1024 * 1024;
constexpr int kDefaultStallTimeoutMs = 30000;

bool is(const QString& scheme, const QString& wanted) { return scheme.compare(wanted, Qt::CaseInsensitive) == 0; }

bool usableName(const QString& name)
{
    return !name.isEmpty() && name != QLatin1String(".") && name != QLatin1String("..")
           && !name.contains(QLatin1Char('/')) && !name.contains(QChar(0));
}

bool inside(const QString& path, const QString& folder)
{
    return !folder.isEmpty() && (path == folder || path.startsWith(folder + QLatin1Char('/')));
}

}  // namespace

UrlCommands::UrlCommands(UrlCommandsDelegate* delegate, QObject* parent)
    : QObject(parent),
      mDelegate(delegate),
      mNetwork(std::make_unique<QNetworkAccessManager>()),
      mMaxDownloadBytes(kDefaultMaxDownloadBytes),
      mStallTimeoutMs(kDefaultStallTimeoutMs)
{
}

UrlCommands::~UrlCommands() = default;

void UrlCommands::setDownloadLimits(qint64 maxBytes, int stallTimeoutMs)
{
    mMaxDownloadBytes = maxBytes;
    mStallTimeoutMs = stallTimeoutMs;
}

QString UrlCommands::sourceName(const QString& sourceApplication)
{
    if (sourceApplication.isEmpty())
        return {};
    QString name = sourceApplication.split(QLatin1Char('.')).last();
    name.replace(QLatin1Char('/'), QLatin1Char('_')).replace(QChar(0), QLatin1Char('_'));
    return name;
}

QString UrlCommands::targetName(const QUrl& url, const QString& sourceName)
{
    QString path = url.path(QUrl::FullyDecoded);
    while (path.endsWith(QLatin1Char('/')))
        path.chop(1);
    QString name = path.mid(path.lastIndexOf(QLatin1Char('/')) + 1);
    // A site's front page has no file name: it is named for the site.
    if (name.isEmpty() && !url.isLocalFile())
        name = url.host();
    if (!usableName(name))
        return {};
    return sourceName.isEmpty() ? name : QStringLiteral("%1 - %2").arg(sourceName, name);
}

QString UrlCommands::libraryItemForPath(const QString& path)
{
    if (path.contains(QChar(0)))
        return {};
    const QString root = Utils::documentsURL();
    const QString wanted = QDir::cleanPath(root + QLatin1Char('/') + path);
    if (!inside(wanted, root) || !QFileInfo::exists(wanted))
        return {};
    // Followed through links, it must still be the library's (the file-sharing link counts).
    const QString real = QFileInfo(wanted).canonicalFilePath();
    if (!inside(real, QFileInfo(root).canonicalFilePath())
        && !inside(real, QFileInfo(Utils::localDocumentsURL()).canonicalFilePath()))
        return {};
    return wanted;
}

QString UrlCommands::pasteName(const QString& argument)
{
    return QString(argument).replace(QLatin1Char('/'), QLatin1Char('_'));
}

void UrlCommands::openURL(const QUrl& url, const OpenURLOptions& options, const Answer& answer)
{
    // A Dropbox sign-in coming back; the link's own screen tells how it ended.
    if (cloud::DropboxLink::offerRedirectURL(url)) {
        answer(true);
        return;
    }
    const QString scheme = url.scheme();
    // The audio-routing system's launch URL is its connection's business.
    if (is(scheme, kAppScheme) || scheme.endsWith(kAudiobusSuffix, Qt::CaseInsensitive)) {
        answer(true);
        return;
    }
    if (is(scheme, kImportScheme)) {
        mImportingScheme = url.host();
        platform::NotificationCenter::defaultCenter().post(notifications::kAppImportStarted, nullptr,
                                                           {{QStringLiteral("scheme"), mImportingScheme}});
        answer(true);
        return;
    }
    if (is(scheme, kShowScheme)) {
        showItem(url);
        answer(true);
        return;
    }
    if (!is(scheme, kCommandScheme)) {
        importDocument(url, options, answer);
        return;
    }
    runCommand(url);
    answer(true);
}

void UrlCommands::showItem(const QUrl& url)
{
    const QString item = libraryItemForPath(url.path(QUrl::FullyDecoded));
    if (!item.isEmpty())
        mDelegate->showFileOrFolder(item);
}

void UrlCommands::importDocument(const QUrl& url, const OpenURLOptions& options, const Answer& answer)
{
    const QString name = targetName(url, sourceName(options.sourceApplication));
    const QString wantedTarget = Utils::documentsURL() + QLatin1Char('/') + name;
    if (!url.isLocalFile()) {
        platform::log(QStringLiteral("Got other url: %1").arg(url.toString()));
        downloadDocument(url, name.isEmpty() ? QString() : wantedTarget, answer);
        return;
    }
    if (!moveDocument(url.toLocalFile(), name.isEmpty() ? QString() : wantedTarget, options)) {
        answer(false);
        return;
    }
    answer(true);
}

bool UrlCommands::moveDocument(const QString& source, const QString& wantedTarget, const OpenURLOptions& options)
{
    QString target = wantedTarget.isEmpty() ? QString() : Utils::uniquePath(wantedTarget);
    platform::log(QStringLiteral("Moving %1 to %2 openInPlace: %3").arg(source, target).arg(int(options.openInPlace)));
    QString error;
    if (target.isEmpty()) {
        error = QStringLiteral("'%1' names no file.").arg(source);
    } else if (Utils::pathIsLibraryRoot(source) || Utils::pathIsSystemItem(source)) {
        error = QStringLiteral("'%1' is part of the library and stays where it is.").arg(source);
    } else {
        // The name may be taken between looking and moving: the next free one is taken then.
        bool taken = false;
        bool moved = false;
        for (int tries = 0; !(moved = Utils::moveItemNoReplace(source, target, &error, &taken)) && taken
                            && tries < kMaxMoveTries;
             ++tries)
            target = Utils::uniquePath(wantedTarget);
        if (moved) {
            documentArrived(target);
            return true;
        }
    }
    Utils::showAlert(QStringLiteral("Could not move item"), error, mDelegate->alertContext());
    return false;
}

void UrlCommands::downloadDocument(const QUrl& url, const QString& wantedTarget, const Answer& answer)
{
    const auto failed = [this, answer, target = wantedTarget.isEmpty() ? url.toString() : wantedTarget](const QString& error) {
        platform::log(QStringLiteral("Could not download %1: %2").arg(target, error));
        Utils::showAlert(QStringLiteral("Error"), QStringLiteral("Could not write %1").arg(target), mDelegate->alertContext());
        answer(false);
    };
    const QString scheme = url.scheme().toLower();
    if (scheme != QLatin1String("http") && scheme != QLatin1String("https")) {
        failed(QStringLiteral("only http and https URLs are fetched"));
        return;
    }
    if (wantedTarget.isEmpty()) {
        failed(QStringLiteral("the URL names no file"));
        return;
    }
    DocumentDownload::start(mNetwork.get(), url, wantedTarget, {mMaxDownloadBytes, mStallTimeoutMs},
                            [self = QPointer(this), answer, failed](const QString& arrived, const QString& error) {
                                if (!self) {
                                    answer(!arrived.isEmpty());
                                    return;
                                }
                                if (arrived.isEmpty()) {
                                    failed(error);
                                    return;
                                }
                                self->documentArrived(arrived);
                                answer(true);
                            });
}

// The root browser's watcher sees the new file, lets it settle and opens it.
void UrlCommands::documentArrived(const QString& target)
{
    Utils::rememberNewFile(target);
    mDelegate->popToRootBrowser();
}

void UrlCommands::runCommand(const QUrl& url)
{
    if (url.host().compare(kAddFromPaste, Qt::CaseInsensitive) != 0 || !mPaste)
        return;
    addFromPaste(pasteName(url.query(QUrl::FullyDecoded)));
}

void UrlCommands::addFromPaste(const QString& name)
{
    mDelegate->pasteImportStarted(QStringLiteral("Importing Audio..."));
    // The calling program finishes writing the pasteboard while we come to the front.
    QTimer::singleShot(kPasteDelayMs, this, [this, name] {
        mDelegate->popToRootBrowser();
        bool pasted = false;
        if (name.contains(QChar(0)))
            platform::log(QStringLiteral("Refused the paste name '%1': it holds a NUL character").arg(name));
        else
            pasted = mPaste(name);
        mDelegate->pasteImportFinished(pasted);
    });
}
