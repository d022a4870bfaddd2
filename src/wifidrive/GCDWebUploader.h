#pragma once
#include "platform/HttpRequest.h"
#include "platform/HttpResponse.h"
#include "wifidrive/GCDWebServer.h"
#include "wifidrive/WebSessions.h"

#include <QSet>
#include <QString>
#include <QStringList>
#include <functional>
#include <mutex>
#include <optional>
#include <vector>
#include <sys/stat.h>

class GCDWebUploaderDelegate;

// The file-management web application over one folder: the page at "/" and the routes
// "/list", "/download", "/upload", "/move", "/delete" and "/create", with "/search" and "/zip"
// beside them. Requests are handled on the server's threads and touch only the file system;
// the delegate hears of changes on the main thread. Properties are set before the server starts.
class GCDWebUploader : public GCDWebServer {
    Q_OBJECT
public:
    explicit GCDWebUploader(const QString& uploadDirectory, QObject* parent = nullptr);

    const QString& uploadDirectory() const { return mUploadDirectory; }
    // Another folder to serve (the user chose another library); only while stopped.
    void setUploadDirectory(const QString& uploadDirectory);
    void setDelegate(GCDWebUploaderDelegate* delegate);
    GCDWebUploaderDelegate* delegate() const { return mDelegate; }

    // Extensions in lower case; empty allows every file.
    void setAllowedFileExtensions(const QSet<QString>& extensions);
    const QSet<QString>& allowedFileExtensions() const { return mAllowedFileExtensions; }
    // The most bytes one upload request may bring; beyond it the upload stops with 413 (0: no limit).
    void setUploadQuota(qint64 bytes) { http().setUploadQuota(bytes); }
    // When set, a browser logs in on the login page first, and programs send the password by
    // HTTP authentication (any user name). Empty: no password. Takes effect at once.
    void setPassword(const QString& password);
    // The same with the password's hash (platform::PasswordHash), as the settings keep it.
    void setPasswordHash(const QString& hash) { mSessions.setPasswordHash(hash); }
    bool hasPassword() const { return mSessions.hasPassword(); }
    void setAllowHiddenItems(bool allow) { mAllowHiddenItems = allow; }
    bool allowHiddenItems() const { return mAllowHiddenItems; }

    // Page texts; a null string takes the default.
    void setTitle(const QString& text) { mTitle = text; }
    void setHeader(const QString& text) { mHeader = text; }
    void setPrologue(const QString& text) { mPrologue = text; }
    void setEpilogue(const QString& text) { mEpilogue = text; }
    void setFooter(const QString& text) { mFooter = text; }
    QString title() const;
    QString header() const;
    QString prologue() const;
    QString epilogue() const;
    QString footer() const;

    // Veto points, asked with absolute paths before a change; all allow by default.
    virtual bool shouldUploadFileAtPath(const QString& path, const QString& temporaryPath);
    virtual bool shouldMoveItemFromPath(const QString& fromPath, const QString& toPath);
    virtual bool shouldDeleteItemAtPath(const QString& path);
    virtual bool shouldCreateDirectoryAtPath(const QString& path);
    // False when shouldDeleteItemAtPath refuses every folder: the page then offers no Delete for them.
    virtual bool deletesFolders() const { return true; }

    // The route handlers, callable without a socket.
    platform::HttpResponse listDirectory(const platform::HttpRequest& request);
    platform::HttpResponse downloadFile(const platform::HttpRequest& request);
    platform::HttpResponse uploadFile(platform::HttpRequest& request);
    platform::HttpResponse moveItem(const platform::HttpRequest& request);
    platform::HttpResponse deleteItem(const platform::HttpRequest& request);
    platform::HttpResponse createDirectory(const platform::HttpRequest& request);
    platform::HttpResponse page(const platform::HttpRequest& request);
    // Items whose name holds "query", in "path" and below (a bounded walk).
    platform::HttpResponse searchItems(const platform::HttpRequest& request);
    // The folder "path" as a zip archive of stored entries, streamed while it is read.
    platform::HttpResponse downloadFolder(const platform::HttpRequest& request);
    // The login page's form: field "password"; a session cookie and back to the page.
    platform::HttpResponse logIn(const platform::HttpRequest& request);
    // Ends the browser's session and shows the login page again.
    platform::HttpResponse logOut(const platform::HttpRequest& request);
    // Resumable uploads (see uploadChunk's comment in GCDWebUploaderResume.cpp): how much of
    // upload "id" arrived, and the next piece of it.
    platform::HttpResponse uploadOffset(const platform::HttpRequest& request);
    platform::HttpResponse uploadChunk(platform::HttpRequest& request, const platform::HttpServer::BodyReader& read);

    static constexpr qint64 kResumableLifetimeSeconds = 24 * 3600;  // an abandoned upload's part is kept this long

protected:
    void prepareToStart() override;
    // Folders outside the upload directory that links inside it may lead to.
    virtual QStringList linkedFolders() const { return {}; }

private:
    // Joins a request path to the upload directory; on refusal fills *refusal.
    std::optional<QString> absolutePath(const QString& relative, bool allowRoot,
                                        platform::HttpResponse* refusal) const;
    // The same for an item that must exist (404 otherwise); fills *status from stat(2).
    std::optional<QString> existingItem(const QString& relative, bool allowRoot, platform::HttpResponse* refusal,
                                        struct stat* status) const;
    // A name, or a path whose every part (as named and as its links resolve) must not be hidden.
    bool checkHidden(const QString& path) const;
    bool checkFileExtension(const QString& path) const;
    bool checkName(const QString& path) const;  // both rules
    QStringList servedFolders() const;  // resolved: the upload directory and the linked folders
    // Refuses requests for a foreign host name, and changes asked by another site's page.
    std::optional<platform::HttpResponse> checkRequest(const platform::HttpRequest& request) const;
    QStringList ownHostNames() const;
    // Where uploads wait: on the library's file system, in a folder of ours that is no link.
    QString spoolFolder() const;
    // Moves an uploaded file into the folder relativePath under a free name (*arrived, when asked).
    std::optional<platform::HttpResponse> storeUpload(platform::UploadedFile& file, const QString& relativePath,
                                                      QString* arrived = nullptr);
    // Links a received file of no name into the library under wanted's first free name.
    // firstFree: the free name for wanted that the checks saw, tried first.
    static std::optional<QString> linkUpload(const platform::UnnamedFile& file, const QString& wanted,
                                             const QString& firstFree);
    platform::HttpResponse loginPage(int status, const QString& message) const;
    // Where resumable upload id collects (empty for an id that is not one of ours).
    QString resumablePartPath(const QString& id) const;
    // An upload that completed: its size, name and where it landed, kept beside its part's name
    // for a day, so that a client that missed the answer of the last piece learns it.
    struct CompletedUpload {
        qint64 size = 0;
        QString name;
        QString path;
    };
    std::optional<CompletedUpload> completedUpload(const QString& partPath) const;
    void removeStaleResumableParts();
    platform::HttpResponse refuse(int status, const QString& message, const QString& error = {}) const;
    void tellDelegate(std::function<void(GCDWebUploaderDelegate*)> call);
    void deliverDelegateCalls();

    QString mUploadDirectory;
    QString mUploadFolder;  // where uploads are received, beside the upload directory
    GCDWebUploaderDelegate* mDelegate = nullptr;
    std::mutex mDelegateCallsMutex;
    std::vector<std::function<void(GCDWebUploaderDelegate*)>> mDelegateCalls;  // waiting for the main thread
    QSet<QString> mAllowedFileExtensions;
    bool mAllowHiddenItems = false;
    mutable WebSessions mSessions;  // sessions come and go while requests are checked
    QString mTitle, mHeader, mPrologue, mEpilogue, mFooter;
    bool mRoutesInstalled = false;
};
