#pragma once
#include <QObject>
#include <QString>
#include <QUrl>
#include <functional>
#include <memory>

class QNetworkAccessManager;
class DocumentDownload;

// What the platform says about a URL it opens for us.
struct OpenURLOptions {
    QString sourceApplication;  // the opening program's identifier ("com.example.Mixer"), may be empty
    bool openInPlace = false;
};

// What the URL commands need of the program around them: the window's screens, or nothing
// visible when headless.
class UrlCommandsDelegate {
public:
    virtual ~UrlCommandsDelegate() = default;
    // The root browser shows an existing file or folder of the library.
    virtual void showFileOrFolder(const QString& path) = 0;
    // The library's navigation stack goes back to its root browser, without animation.
    virtual void popToRootBrowser() = 0;
    // The overlay of an import from the pasteboard: shown, then ended with its outcome.
    virtual void pasteImportStarted(const QString& message) = 0;
    virtual void pasteImportFinished(bool succeeded) = 0;
    // What alerts are about.
    virtual QObject* alertContext() const = 0;
};

// The application's answer to URLs other programs open: its own schemes carry commands, any
// other URL hands over a document (a file, moved in, or a remote resource, downloaded).
// Runs on the main thread.
class UrlCommands : public QObject {
    Q_OBJECT
public:
    using Answer = std::function<void(bool handled)>;
    // Imports the audio on the general pasteboard into the library under name; true when it did.
    using PasteHandler = std::function<bool(const QString& name)>;

    explicit UrlCommands(UrlCommandsDelegate* delegate, QObject* parent = nullptr);
    ~UrlCommands() override;

    // Answers whether the URL was handled, at once or, for a download, when it ends.
    void openURL(const QUrl& url, const OpenURLOptions& options, const Answer& answer);
    // The URL scheme of the program that last started an import ("wavelocker.import").
    const QString& importingScheme() const { return mImportingScheme; }

    // What "addFromPaste" runs; without one the command is one this program doesn't know.
    void setPasteHandler(PasteHandler handler) { mPaste = std::move(handler); }

    // A download that sends more, or stays silent longer, is stopped.
    void setDownloadLimits(qint64 maxBytes, int stallTimeoutMs);

    // "com.example.Mixer" → "Mixer"; what can't be part of a file name is replaced.
    static QString sourceName(const QString& sourceApplication);
    // The name a handed-over document gets in the library: "Mixer - Take.wav", or the URL's
    // last path component alone; empty when the URL names no usable file name.
    static QString targetName(const QUrl& url, const QString& sourceName);
    // An existing item of the library that path (from a "wavelocker.show" URL) names; empty
    // when there is none or the path leads out of the library.
    static QString libraryItemForPath(const QString& path);
    // The name "addFromPaste" imports under: its argument with "/" made "_".
    static QString pasteName(const QString& argument);

private:
    void showItem(const QUrl& url);
    void importDocument(const QUrl& url, const OpenURLOptions& options, const Answer& answer);
    bool moveDocument(const QString& source, const QString& wantedTarget, const OpenURLOptions& options);
    void downloadDocument(const QUrl& url, const QString& wantedTarget, const Answer& answer);
    void documentArrived(const QString& target);
    void runCommand(const QUrl& url);
    void addFromPaste(const QString& name);

    UrlCommandsDelegate* mDelegate;
    QString mImportingScheme;
    PasteHandler mPaste;
    std::unique_ptr<QNetworkAccessManager> mNetwork;
    qint64 mMaxDownloadBytes;
    int mStallTimeoutMs;
};
