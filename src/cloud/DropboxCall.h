#pragma once
#include "cloud/DropboxError.h"
#include "platform/HttpTransfer.h"

#include <QByteArray>
#include <QJsonObject>
#include <QObject>
#include <QPointer>
#include <QTimer>
#include <functional>

class QNetworkAccessManager;
class QNetworkReply;

namespace cloud {

class DropboxAccount;

// One request to Dropbox's API, seen through to an answer: it carries the account's token
// (renewing it first when it runs out, and once more when Dropbox calls it expired), waits
// out rate limits as Dropbox asks and retries passing server and connection failures with
// growing pauses. Errors that a retry cannot mend (route errors, bad input) end it at once.
class DropboxCall : public QObject {
    Q_OBJECT
public:
    enum class Style {
        Rpc,       // JSON argument in the body, JSON answer (api host)
        // The bulk styles go through HttpTransfer, so their bytes stream from and to files.
        Upload,    // argument in the Dropbox-API-Arg header, bytes in the body (content host)
        Download,  // argument in the header, bytes in the answer, metadata in Dropbox-API-Result
    };
    struct Answer {
        QByteArray body;        // Rpc and Upload: the JSON answer
        QJsonObject apiResult;  // Download: the metadata of what came
        DropboxError error;
    };
    using Done = std::function<void(const Answer&)>;

    // The answer, once; the call deletes itself after it.
    Done done;
    // Called before each attempt (on this thread): what an earlier attempt left is forgotten.
    std::function<void()> restart;
    std::function<void(qint64 done, qint64 total)> progress;

    // parent: the call ends (without an answer) when its parent goes.
    DropboxCall(DropboxAccount* account, QNetworkAccessManager* network, Style style, QString route, QByteArray arg,
                QObject* parent);
    ~DropboxCall() override;

    // Upload: the body is length bytes of file from offset, read as it goes out.
    void setUploadRange(const QString& file, qint64 offset, qint64 length);
    // Download: the answer's bytes go into file (emptied before each attempt); tap sees them in
    // order, on a worker thread.
    void setDownloadFile(const QString& file, std::function<void(const char* data, qint64 size)> tap);

    void start();
    void cancel();

    // JSON for the Dropbox-API-Arg header: characters outside ASCII escaped as \uXXXX.
    static QByteArray headerJson(const QJsonObject& arg);
    static QByteArray compactJson(const QJsonObject& arg);
    // Reads Dropbox's error answer (409 and the others) into an error of that kind.
    static DropboxError routeError(DropboxError::Kind kind, int status, const QByteArray& body);

private:
    // What one attempt brought back, from either transport.
    struct Attempt {
        int status = 0;
        QByteArray body;
        QByteArray apiResult;  // the Dropbox-API-Result header
        QByteArray retryAfter;
        bool hasRetryAfter = false;
        QString failure;  // the connection failed or the answer was cut off: worth another try
        QString localFailure;  // a file of ours could not be read or written
    };

    void send();
    void sendWithToken();
    // Renews the token, then sends; a failed renewal ends the call.
    void refreshThenSend();
    void replied();
    void answered(const Attempt& attempt);
    void retryIn(int ms);
    void end(Answer answer);

    DropboxAccount* mAccount;
    QNetworkAccessManager* mNetwork;
    Style mStyle;
    QString mRoute;
    QByteArray mArg;
    QString mFile;
    qint64 mRangeOffset = 0;
    qint64 mRangeLength = 0;
    std::function<void(const char*, qint64)> mDownloadTap;
    QString mSentToken;
    QPointer<QNetworkReply> mReply;
    platform::HttpTransfer mTransfer;
    QTimer mRetryTimer;
    int mRateLimitRetries = 0;
    int mServerRetries = 0;
    int mNetworkRetries = 0;
    bool mRenewedAfterRefusal = false;
    bool mCancelled = false;
    bool mEnded = false;
};

}  // namespace cloud
