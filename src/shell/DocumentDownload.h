#pragma once
#include <QFile>
#include <QObject>
#include <QPointer>
#include <QString>
#include <QUrl>
#include <functional>
#include <memory>

class PartFile;
class QNetworkAccessManager;
class QNetworkReply;

// A remote document fetched into the library: streamed into a part file beside its target
// and renamed into place only once it is whole, under the target's name or, when that was
// taken meanwhile, the next free one. A download cut off, too large, too slow or refused
// leaves nothing behind.
class DocumentDownload : public QObject {
    Q_OBJECT
public:
    // arrived: the path the document now has, or empty with error saying why.
    using Completion = std::function<void(const QString& arrived, const QString& error)>;

    struct Limits {
        qint64 maxBytes;
        int stallTimeoutMs;  // the longest silence before the transfer is given up
    };

    // Runs on the calling thread's event loop and deletes itself after completion.
    static void start(QNetworkAccessManager* network, const QUrl& url, const QString& wantedTarget, Limits limits,
                      Completion completion);
    ~DocumentDownload() override;

private:
    DocumentDownload(const QString& wantedTarget, Limits limits, Completion completion);
    void received();
    void finished();
    void fail(const QString& error);

    QString mWantedTarget;
    Limits mLimits;
    Completion mCompletion;
    std::unique_ptr<PartFile> mPart;
    QFile mOut;
    QPointer<QNetworkReply> mReply;
    qint64 mReceived = 0;
    bool mDone = false;
};
