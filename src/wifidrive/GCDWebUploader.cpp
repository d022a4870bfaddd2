#include "wifidrive/GCDWebUploader.h"

#include "platform/Dispatch.h"
#include "platform/Locations.h"
#include "platform/Log.h"
#include "platform/NetworkAddress.h"
#include "platform/PartFile.h"
#include "platform/PasswordHash.h"
#include "platform/TypeIdentifiers.h"
#include "wifidrive/GCDWebUploaderDelegate.h"
#include "wifidrive/WebFileOps.h"
#include "wifidrive/WebListingJson.h"
#include "wifidrive/WebPaths.h"
#include "wifidrive/WebRequestGuard.h"
#include "wifidrive/WebUploaderSite.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QPointer>
#include <QSysInfo>
#include <QTimer>
#include <QUrl>
#include <algorithm>
#include <cerrno>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

using platform::HttpRequest;
using platform::HttpResponse;

namespace {

const QString kAppName = QStringLiteral("Wavelocker");
const QString kPrologue = QStringLiteral(
    "<p>Drag &amp; drop files on this window or use the &ldquo;Upload Files&hellip;&rdquo; button to upload "
    "new files.</p>");
const QString kEpilogue;
const QString kFooterFormat = QStringLiteral("%1 %2");
const QByteArray kJsonType = QByteArrayLiteral("application/json");
const QByteArray kTextType = QByteArrayLiteral("text/plain; charset=utf-8");
constexpr int kMaxLinkAttempts = 10000;
constexpr int kDelegateBatchMs = 50;

QString appVersion()
{
    const QString version = QCoreApplication::applicationVersion();
    return version.isEmpty() ? QStringLiteral(WL_VERSION) : version;
}

HttpResponse emptyObject(const QByteArray& type = kJsonType) { return HttpResponse::data("{}", type); }

// The drive's own pages are never shown inside another site's page, where clicks on them
// could be stolen.
HttpResponse unframed(HttpResponse page)
{
    page.headers.append({QByteArrayLiteral("Content-Security-Policy"), QByteArrayLiteral("frame-ancestors 'none'")});
    page.headers.append({QByteArrayLiteral("X-Frame-Options"), QByteArrayLiteral("DENY")});
    return page;
}

HttpResponse seeOther(const QByteArray& location)
{
    HttpResponse back = HttpResponse::text(303, QStringLiteral("See %1").arg(QString::fromLatin1(location)));
    back.headers.append({QByteArrayLiteral("Location"), location});
    return back;
}

QString errnoText() { return QString::fromLocal8Bit(std::strerror(errno)); }

}  // namespace

GCDWebUploader::GCDWebUploader(const QString& uploadDirectory, QObject* parent)
    : GCDWebServer(parent), mUploadDirectory(QDir::cleanPath(uploadDirectory))
{
    mSessions.setStore(platform::Locations::appLibrary() + QStringLiteral("/WiFi Drive Sessions"));
}

void GCDWebUploader::setUploadDirectory(const QString& uploadDirectory)
{
    if (!isRunning())
        mUploadDirectory = QDir::cleanPath(uploadDirectory);
}

void GCDWebUploader::setDelegate(GCDWebUploaderDelegate* delegate)
{
    mDelegate = delegate;
    GCDWebServer::setDelegate(delegate);
}

void GCDWebUploader::setAllowedFileExtensions(const QSet<QString>& extensions)
{
    mAllowedFileExtensions.clear();
    for (const QString& e : extensions)
        mAllowedFileExtensions.insert(e.toLower());
}

QString GCDWebUploader::title() const { return mTitle.isNull() ? kAppName : mTitle; }
QString GCDWebUploader::header() const { return mHeader.isNull() ? title() : mHeader; }
QString GCDWebUploader::prologue() const { return mPrologue.isNull() ? kPrologue : mPrologue; }
QString GCDWebUploader::epilogue() const { return mEpilogue.isNull() ? kEpilogue : mEpilogue; }
QString GCDWebUploader::footer() const
{
    return mFooter.isNull() ? kFooterFormat.arg(kAppName, appVersion()).toHtmlEscaped() : mFooter;
}

void GCDWebUploader::setPassword(const QString& password)
{
    if (password.isEmpty()) {
        mSessions.setPasswordHash({});
        return;
    }
    // The same password as before a restart keeps its hash, and with it the sessions logged in.
    const QString kept = mSessions.storedHashFor(password.toUtf8());
    mSessions.setPasswordHash(kept.isEmpty() ? platform::PasswordHash::make(password.toUtf8()) : kept);
}

bool GCDWebUploader::shouldUploadFileAtPath(const QString&, const QString&) { return true; }
bool GCDWebUploader::shouldMoveItemFromPath(const QString&, const QString&) { return true; }
bool GCDWebUploader::shouldDeleteItemAtPath(const QString&) { return true; }
bool GCDWebUploader::shouldCreateDirectoryAtPath(const QString&) { return true; }

void GCDWebUploader::prepareToStart()
{
    mUploadFolder = spoolFolder();
    // What a killed server left there; uploads in progress elsewhere hold their files' locks.
    PartFile::removeLeftovers(mUploadFolder, false);
    removeStaleResumableParts();
    http().setUploadFolder(mUploadFolder);
    if (mRoutesInstalled)
        return;
    mRoutesInstalled = true;
    // Each request resolves the folders and paths it checks once, however many checks ask.
    const auto route = [this](const char* method, const QString& path, auto handler) {
        http().addRoute(method, path, [this, handler](HttpRequest& r) {
            const WebPaths::RequestScope scope;
            return (this->*handler)(r);
        });
    };
    route("GET", QStringLiteral("/list"), &GCDWebUploader::listDirectory);
    route("GET", QStringLiteral("/download"), &GCDWebUploader::downloadFile);
    route("GET", QStringLiteral("/search"), &GCDWebUploader::searchItems);
    route("GET", QStringLiteral("/zip"), &GCDWebUploader::downloadFolder);
    route("POST", QStringLiteral("/upload"), &GCDWebUploader::uploadFile);
    route("POST", QStringLiteral("/move"), &GCDWebUploader::moveItem);
    route("POST", QStringLiteral("/delete"), &GCDWebUploader::deleteItem);
    route("POST", QStringLiteral("/create"), &GCDWebUploader::createDirectory);
    route("POST", QStringLiteral("/login"), &GCDWebUploader::logIn);
    route("POST", QStringLiteral("/logout"), &GCDWebUploader::logOut);
    // The address a wrong password left in the address bar, reloaded or kept as a bookmark.
    http().addRoute("GET", QStringLiteral("/login"), [](HttpRequest&) { return seeOther("/"); });
    route("GET", QStringLiteral("/upload-chunk"), &GCDWebUploader::uploadOffset);
    http().addRawPostRoute(QStringLiteral("/upload-chunk"), [this](HttpRequest& r, const platform::HttpServer::BodyReader& read) {
        const WebPaths::RequestScope scope;
        return uploadChunk(r, read);
    });
    http().setGetFallback([this](HttpRequest& r) { return page(r); });
    http().setRequestGate([this](const HttpRequest& r) { return checkRequest(r); });
}

QString GCDWebUploader::spoolFolder() const
{
    const QString folder = WebPaths::uploadFolderFor(mUploadDirectory);
    if (folder.isEmpty())
        return platform::Locations::tempDir();
    const QByteArray native = QFile::encodeName(folder);
    if (::mkdir(native.constData(), 0700) != 0 && errno == EEXIST) {
        // A link planted under our name would send uploads elsewhere: only a real folder of ours will do.
        struct stat st {};
        if (::lstat(native.constData(), &st) == 0 && S_ISLNK(st.st_mode) && ::unlink(native.constData()) == 0)
            ::mkdir(native.constData(), 0700);
    }
    struct stat st {};
    if (::lstat(native.constData(), &st) != 0 || !S_ISDIR(st.st_mode) || st.st_uid != ::geteuid()) {
        platform::log(QStringLiteral("Web uploader: no safe upload folder at %1").arg(folder));
        return platform::Locations::tempDir();
    }
    ::chmod(native.constData(), 0700);
    return folder;
}

QStringList GCDWebUploader::ownHostNames() const
{
    const QString machine = QSysInfo::machineHostName();
    QStringList names{machine, machine + QStringLiteral(".local")};
    const QString bonjour = QUrl(bonjourServerURL()).host();
    if (!bonjour.isEmpty())
        names << bonjour;
    return names;
}

std::optional<HttpResponse> GCDWebUploader::checkRequest(const HttpRequest& request) const
{
    const QByteArray host = request.header("host");
    // Addresses need no look-up of the machine's names.
    if (!WebRequestGuard::hostAllowed(host, {}) && !WebRequestGuard::hostAllowed(host, ownHostNames()))
        return refuse(403, QStringLiteral("Unknown host \"%1\"").arg(QString::fromLatin1(host)));
    const bool changes = request.method != "GET" && request.method != "HEAD";
    if (changes && !WebRequestGuard::sameOrigin(host, request.header("origin"), request.header("referer"), http().usesTls()))
        return refuse(403, QStringLiteral("Changes from another web site are not allowed"));
    const bool loggingIn = request.method == "POST" && request.path == QLatin1String("/login");
    if (!loggingIn && !mSessions.admits(request.remoteAddress, request.header("cookie"), request.header("authorization"))) {
        if (mSessions.blocked(request.remoteAddress))
            return refuse(429, QStringLiteral("Too many wrong passwords: try again in a minute"));
        // A browser that opens a page gets the login page; programs are asked for the password.
        if (!changes && request.header("accept").contains("text/html"))
            return loginPage(401, {});
        HttpResponse challenge = refuse(401, QStringLiteral("Password required"));
        // Browsers (which say how they fetch) would show their own password box over the page's.
        if (request.header("sec-fetch-mode").isEmpty())
            challenge.headers.append({"WWW-Authenticate", "Basic realm=\"" + kAppName.toUtf8() + "\", charset=\"UTF-8\""});
        return challenge;
    }
    return std::nullopt;
}

HttpResponse GCDWebUploader::loginPage(int status, const QString& message) const
{
    const QMap<QString, QString> variables{
        {QStringLiteral("title"), title().toHtmlEscaped()},
        {QStringLiteral("message"), message.toHtmlEscaped()},
    };
    HttpResponse page = WebUploaderSite::file(QStringLiteral("/login.html"), variables).value_or(HttpResponse());
    page.status = status;
    return unframed(std::move(page));
}

HttpResponse GCDWebUploader::logIn(const HttpRequest& request)
{
    QByteArray cookie;
    switch (mSessions.logIn(request.remoteAddress, request.form.value(QStringLiteral("password")).toUtf8(),
                            http().usesTls(), &cookie)) {
    case WebSessions::Login::TooMany:
        return loginPage(429, QStringLiteral("Too many wrong passwords: try again in a minute."));
    case WebSessions::Login::Wrong:
        refuse(401, QStringLiteral("Wrong password"));
        return loginPage(401, QStringLiteral("Wrong password."));
    case WebSessions::Login::Accepted:
        break;
    }
    HttpResponse back = seeOther("/");
    back.headers.append({QByteArrayLiteral("Set-Cookie"), cookie});
    return back;
}

HttpResponse GCDWebUploader::logOut(const HttpRequest& request)
{
    QByteArray cookie;
    mSessions.logOut(request.header("cookie"), http().usesTls(), &cookie);
    HttpResponse back = seeOther("/");
    back.headers.append({QByteArrayLiteral("Set-Cookie"), cookie});
    return back;
}

// --- checks ---------------------------------------------------------------------------------

HttpResponse GCDWebUploader::refuse(int status, const QString& message, const QString& error) const
{
    const QString text = error.isEmpty() ? message : QStringLiteral("%1 (%2)").arg(message, error);
    if (logLevel() <= platform::HttpServer::Warning)
        platform::log(QStringLiteral("Web uploader: %1 %2").arg(status).arg(text));
    return HttpResponse::text(status, text);
}

std::optional<QString> GCDWebUploader::absolutePath(const QString& relative, bool allowRoot,
                                                    HttpResponse* refusal) const
{
    const std::optional<QString> path = WebPaths::join(mUploadDirectory, relative);
    if (!path || (!allowRoot && *path == mUploadDirectory)) {
        *refusal = refuse(400, QStringLiteral("Invalid path \"%1\"").arg(relative));
        return std::nullopt;
    }
    // Both the item as named (a link inside is an item of the library) and what it leads to.
    const QStringList served = servedFolders();
    const std::optional<QString> item = WebPaths::resolveItem(*path, mUploadDirectory);
    if (!item || !WebPaths::isInside(*item, served) || !WebPaths::staysInside(*path, served)) {
        *refusal = refuse(403, QStringLiteral("\"%1\" is outside the shared folder").arg(relative));
        return std::nullopt;
    }
    return path;
}

std::optional<QString> GCDWebUploader::existingItem(const QString& relative, bool allowRoot, HttpResponse* refusal,
                                                    struct stat* status) const
{
    std::optional<QString> path = absolutePath(relative, allowRoot, refusal);
    if (path && ::stat(QFile::encodeName(*path).constData(), status) != 0) {
        *refusal = refuse(404, QStringLiteral("\"%1\" does not exist").arg(relative));
        return std::nullopt;
    }
    return path;
}

bool GCDWebUploader::checkHidden(const QString& path) const
{
    if (mAllowHiddenItems)
        return true;
    if (!path.startsWith(QLatin1Char('/')))  // a bare name
        return !path.startsWith(QLatin1Char('.'));
    // Every part counts, as named and as its links resolve: ".vault/x" is as hidden as ".vault".
    const QStringList served = servedFolders();
    if (WebPaths::hasHiddenPart(QDir::cleanPath(path), QStringList{mUploadDirectory} + served))
        return false;
    for (const std::optional<QString>& resolved : {WebPaths::resolveItem(path, mUploadDirectory), WebPaths::resolveFully(path)})
        if (resolved && WebPaths::hasHiddenPart(*resolved, served))
            return false;
    return true;
}

bool GCDWebUploader::checkFileExtension(const QString& path) const
{
    if (mAllowedFileExtensions.isEmpty())
        return true;
    const qsizetype dot = path.lastIndexOf(QLatin1Char('.'));
    const qsizetype slash = path.lastIndexOf(QLatin1Char('/'));
    return dot > slash + 1 && mAllowedFileExtensions.contains(path.mid(dot + 1).toLower());
}

bool GCDWebUploader::checkName(const QString& path) const
{
    return checkHidden(path) && (QFileInfo(path).isDir() || checkFileExtension(path));
}

QStringList GCDWebUploader::servedFolders() const
{
    return WebPaths::resolvedFolders(QStringList{mUploadDirectory} + linkedFolders());
}

void GCDWebUploader::tellDelegate(std::function<void(GCDWebUploaderDelegate*)> call)
{
    {
        std::lock_guard lock(mDelegateCallsMutex);
        mDelegateCalls.push_back(std::move(call));
        // A burst of requests (many small uploads) is told in order, a few times a second,
        // rather than waking the main thread at every request.
        if (mDelegateCalls.size() > 1)
            return;
    }
    QPointer<GCDWebUploader> self(this);
    platform::runOnMain([self] {
        if (self)
            QTimer::singleShot(kDelegateBatchMs, self, [self] { self->deliverDelegateCalls(); });
    });
}

void GCDWebUploader::deliverDelegateCalls()
{
    std::vector<std::function<void(GCDWebUploaderDelegate*)>> calls;
    {
        std::lock_guard lock(mDelegateCallsMutex);
        calls.swap(mDelegateCalls);
    }
    for (const auto& call : calls)
        if (mDelegate)
            call(mDelegate);
}

// --- routes ---------------------------------------------------------------------------------

HttpResponse GCDWebUploader::listDirectory(const HttpRequest& request)
{
    const QString relativePath = request.query.value(QStringLiteral("path"));
    HttpResponse refusal;
    struct stat st {};
    const std::optional<QString> absolute = existingItem(relativePath, true, &refusal, &st);
    if (!absolute)
        return refusal;
    if (!S_ISDIR(st.st_mode))
        return refuse(400, QStringLiteral("\"%1\" is not a directory").arg(relativePath));
    if (*absolute != mUploadDirectory && !checkHidden(*absolute))
        return refuse(403, QStringLiteral("Listing directory name \"%1\" is not allowed").arg(relativePath));

    DIR* dir = ::opendir(QFile::encodeName(*absolute).constData());
    if (!dir)
        return refuse(500, QStringLiteral("Failed listing directory \"%1\"").arg(relativePath), errnoText());
    const QStringList served = servedFolders();
    std::vector<std::pair<QString, struct stat>> items;
    while (const dirent* entry = ::readdir(dir)) {
        const QString name = QFile::decodeName(entry->d_name);
        if (name == QLatin1String(".") || name == QLatin1String("..")
            || (!mAllowHiddenItems && name.startsWith(QLatin1Char('.'))))
            continue;
        struct stat item {};
        if (::fstatat(::dirfd(dir), entry->d_name, &item, AT_SYMLINK_NOFOLLOW) != 0)
            continue;
        // Links that lead out of the shared folders are not shown: they could not be fetched.
        if (S_ISLNK(item.st_mode)
            && (::fstatat(::dirfd(dir), entry->d_name, &item, 0) != 0
                || !WebPaths::staysInside(*absolute + QLatin1Char('/') + name, served)
                || !checkHidden(*absolute + QLatin1Char('/') + name)))
            continue;
        if (S_ISDIR(item.st_mode) || (S_ISREG(item.st_mode) && checkFileExtension(name)))
            items.emplace_back(name, item);
    }
    ::closedir(dir);
    std::sort(items.begin(), items.end(), [](const auto& a, const auto& b) { return a.first < b.first; });

    QByteArray listing = "[";
    for (const auto& [name, item] : items) {
        if (listing.size() > 1)
            listing += ',';
        WebListingJson::appendItem(listing, WebPaths::appendComponent(relativePath, name), name, item);
    }
    listing += ']';
    return HttpResponse::data(listing, kJsonType);
}

HttpResponse GCDWebUploader::downloadFile(const HttpRequest& request)
{
    const QString relativePath = request.query.value(QStringLiteral("path"));
    HttpResponse refusal;
    struct stat st {};
    const std::optional<QString> absolute = existingItem(relativePath, true, &refusal, &st);
    if (!absolute)
        return refusal;
    if (S_ISDIR(st.st_mode))
        return refuse(400, QStringLiteral("\"%1\" is a directory").arg(relativePath));
    if (!checkHidden(*absolute) || !checkFileExtension(*absolute))
        return refuse(403, QStringLiteral("Downlading file name \"%1\" is not allowed").arg(relativePath));
    const QString path = *absolute;
    tellDelegate([this, path](GCDWebUploaderDelegate* d) { d->webUploaderDidDownloadFileAtPath(this, path); });
    return HttpResponse::file(path, platform::TypeIdentifiers::mimeTypeForPath(path).toUtf8(), QFileInfo(path).fileName());
}

HttpResponse GCDWebUploader::uploadFile(HttpRequest& request)
{
    const QByteArray replyType = request.header("accept").contains("application/json") ? kJsonType : kTextType;
    const QString relativePath = request.form.value(QStringLiteral("path"));
    std::optional<HttpResponse> firstRefusal;
    bool any = false;
    // Every file of the request is stored; the answer is the first refusal, if any.
    for (platform::UploadedFile& file : request.files) {
        if (file.fieldName != QLatin1String("files[]"))
            continue;
        any = true;
        file.fileName = WebPaths::formFileName(file.fileName);
        std::optional<HttpResponse> refusal = storeUpload(file, relativePath);
        if (refusal && !firstRefusal)
            firstRefusal = std::move(refusal);
    }
    if (!any)
        return refuse(400, QStringLiteral("Missing uploaded file \"files[]\""));
    if (firstRefusal)
        return *firstRefusal;
    return emptyObject(replyType);
}

std::optional<HttpResponse> GCDWebUploader::storeUpload(platform::UploadedFile& file, const QString& relativePath,
                                                        QString* arrivedPath)
{
    if (!WebPaths::isValidName(file.fileName))
        return refuse(400, QStringLiteral("Invalid file name \"%1\"").arg(file.fileName));
    if (!checkHidden(file.fileName) || !checkFileExtension(file.fileName))
        return refuse(403, QStringLiteral("Uploaded file name \"%1\" is not allowed").arg(file.fileName));
    HttpResponse refusal;
    const std::optional<QString> folder = absolutePath(relativePath, true, &refusal);
    if (!folder)
        return refusal;
    const QString wanted = *folder + QLatin1Char('/') + file.fileName;
    if (!WebPaths::join(*folder, file.fileName))
        return refuse(400, QStringLiteral("Invalid path \"%1\"").arg(WebPaths::appendComponent(relativePath, file.fileName)));
    if (!checkHidden(wanted))
        return refuse(403, QStringLiteral("Uploaded file name \"%1\" is not allowed").arg(file.fileName));
    const QString destination = WebPaths::uniquePathForPath(wanted);
    if (!shouldUploadFileAtPath(destination, file.temporaryPath))
        return refuse(403, QStringLiteral("Uploading file \"%1\" to \"%2\" is not permitted").arg(file.fileName, relativePath));
    const QString failed = QStringLiteral("Failed moving uploaded file to \"%1\"").arg(relativePath);
    if (!file.received())
        return refuse(file.status, failed, file.error);
    QString error;
    std::optional<QString> arrived = file.unnamed ? linkUpload(*file.unnamed, wanted, destination) : std::nullopt;
    if (!arrived) {
        // A file of no name that could not be linked there (another file system inside the
        // library, one without links) takes the library's own move, from a name in the spool.
        std::unique_ptr<PartFile> named;
        if (file.unnamed) {
            named = PartFile::nameUnnamed(file.unnamed->fd(), mUploadFolder);
            if (!named)
                return refuse(500, failed, QString::fromLocal8Bit(std::strerror(errno)));
            file.temporaryPath = named->path();
        }
        arrived = WebFileOps::moveToFreePath(file.temporaryPath, wanted, &error);
        if (!arrived)
            return refuse(500, failed, error);
    }
    file.temporaryPath.clear();
    file.unnamed.reset();
    const QString path = *arrived;
    if (arrivedPath)
        *arrivedPath = path;
    tellDelegate([this, path](GCDWebUploaderDelegate* d) { d->webUploaderDidUploadFileAtPath(this, path); });
    return std::nullopt;
}

std::optional<QString> GCDWebUploader::linkUpload(const platform::UnnamedFile& file, const QString& wanted,
                                                  const QString& firstFree)
{
    // A link never replaces: a name taken meanwhile, by another upload too, moves on to the next.
    for (int attempt = 0; attempt < kMaxLinkAttempts; ++attempt) {
        const QString destination = attempt == 0 ? firstFree : WebPaths::uniquePathForPath(wanted);
        if (PartFile::linkUnnamed(file.fd(), destination))
            return destination;
        if (errno != EEXIST)
            return std::nullopt;
    }
    return std::nullopt;
}

HttpResponse GCDWebUploader::moveItem(const HttpRequest& request)
{
    const QString oldRelativePath = request.form.value(QStringLiteral("oldPath"));
    const QString newRelativePath = request.form.value(QStringLiteral("newPath"));
    HttpResponse refusal;
    struct stat st {};
    const std::optional<QString> oldPath = existingItem(oldRelativePath, false, &refusal, &st);
    if (!oldPath)
        return refusal;
    const std::optional<QString> newPath = absolutePath(newRelativePath, false, &refusal);
    if (!newPath)
        return refusal;
    if (!checkName(*oldPath))
        return refuse(403, QStringLiteral("Moving from item name \"%1\" is not allowed").arg(oldRelativePath));
    const QString destination = WebPaths::uniquePathForPath(*newPath);
    if (!checkHidden(destination) || (!QFileInfo(*oldPath).isDir() && !checkFileExtension(destination)))
        return refuse(403, QStringLiteral("Moving to item name \"%1\" is not allowed").arg(newRelativePath));
    if (!shouldMoveItemFromPath(*oldPath, destination))
        return refuse(403, QStringLiteral("Moving \"%1\" to \"%2\" is not permitted").arg(oldRelativePath, newRelativePath));
    QString error;
    const std::optional<QString> moved = WebFileOps::moveToFreePath(*oldPath, *newPath, &error);
    if (!moved)
        return refuse(500, QStringLiteral("Failed moving \"%1\" to \"%2\"").arg(oldRelativePath, newRelativePath), error);
    const QString from = *oldPath;
    const QString to = *moved;
    tellDelegate([this, from, to](GCDWebUploaderDelegate* d) { d->webUploaderDidMoveItemFromPath(this, from, to); });
    return emptyObject();
}

HttpResponse GCDWebUploader::deleteItem(const HttpRequest& request)
{
    const QString relativePath = request.form.value(QStringLiteral("path"));
    HttpResponse refusal;
    struct stat st {};
    const std::optional<QString> absolute = existingItem(relativePath, false, &refusal, &st);
    if (!absolute)
        return refusal;
    if (!checkName(*absolute))
        return refuse(403, QStringLiteral("Deleting item name \"%1\" is not allowed").arg(relativePath));
    if (!shouldDeleteItemAtPath(*absolute))
        return refuse(403, QStringLiteral("Deleting \"%1\" is not permitted").arg(relativePath));
    QString error;
    if (!WebFileOps::removeItem(*absolute, &error))
        return refuse(500, QStringLiteral("Failed deleting \"%1\"").arg(relativePath), error);
    const QString path = *absolute;
    tellDelegate([this, path](GCDWebUploaderDelegate* d) { d->webUploaderDidDeleteItemAtPath(this, path); });
    return emptyObject();
}

HttpResponse GCDWebUploader::createDirectory(const HttpRequest& request)
{
    const QString relativePath = request.form.value(QStringLiteral("path"));
    HttpResponse refusal;
    const std::optional<QString> absolute = absolutePath(relativePath, false, &refusal);
    if (!absolute)
        return refusal;
    const QString wanted = WebPaths::uniquePathForPath(*absolute);
    if (!checkHidden(wanted))
        return refuse(403, QStringLiteral("Creating directory name \"%1\" is not allowed").arg(relativePath));
    if (!shouldCreateDirectoryAtPath(wanted))
        return refuse(403, QStringLiteral("Creating directory \"%1\" is not permitted").arg(relativePath));
    QString error;
    const std::optional<QString> created = WebFileOps::createFreeDirectory(*absolute, &error);
    if (!created)
        return refuse(500, QStringLiteral("Failed creating directory \"%1\"").arg(relativePath), error);
    const QString path = *created;
    tellDelegate([this, path](GCDWebUploaderDelegate* d) { d->webUploaderDidCreateDirectoryAtPath(this, path); });
    return emptyObject();
}

HttpResponse GCDWebUploader::page(const HttpRequest& request)
{
    const QMap<QString, QString> variables{
        {QStringLiteral("device"), platform::deviceName().toHtmlEscaped()},
        {QStringLiteral("title"), title().toHtmlEscaped()},
        {QStringLiteral("header"), header().toHtmlEscaped()},
        {QStringLiteral("prologue"), prologue()},
        {QStringLiteral("epilogue"), epilogue()},
        {QStringLiteral("footer"), footer()},
        {QStringLiteral("logout"), hasPassword() ? QString() : QStringLiteral("hidden")},
        {QStringLiteral("deletesfolders"), deletesFolders() ? QStringLiteral("yes") : QStringLiteral("no")},
        {QStringLiteral("hiddenitems"), mAllowHiddenItems ? QStringLiteral("yes") : QStringLiteral("no")},
    };
    if (std::optional<HttpResponse> response = WebUploaderSite::file(request.path, variables))
        return unframed(std::move(*response));
    return refuse(404, QStringLiteral("\"%1\" does not exist").arg(request.path));
}
