#pragma once
#include "cloud/DropboxError.h"

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
        Upload,    // argument in the Dropbox-API-Arg header, bytes in the body (content host)
        Download,  // argument in the header, bytes in the answer, metadata in Dropbox-API-Result
    };
    struct Answer {
        QByteArray body;        // Rpc and Upload
        QJsonObject apiResult;  // Download: the metadata of what came
        DropboxError error;
    };
    using Done = std::function<void(const Answer&)>;

    // The answer, once; the call deletes itself after it.
    Done done;
    // Download hooks: restart() before each attempt, sink() for every piece of the answer
    // (false when it could not be kept: the call ends with a Local error).
    std::function<void()> restart;
    std::function<bool(const QByteArray&)> sink;
    std::function<void(qint64 done, qint64 total)> progress;

    // parent: the call ends (without an answer) when its parent goes.
    DropboxCall(DropboxAccount* account, QNetworkAccessManager* network, Style style, QString route,
                QByteArray arg, QByteArray body, QObject* parent);
    ~DropboxCall() override;

    void start();
    void cancel();

    // JSON for the Dropbox-API-Arg header: characters outside ASCII escaped as \uXXXX.
    static QByteArray headerJson(const QJsonObject& arg);
    static QByteArray compactJson(const QJsonObject& arg);
    // Reads Dropbox's error answer (409 and the others) into an error of that kind.
    static DropboxError routeError(DropboxError::Kind kind, int status, const QByteArray& body);

private:
    void send();
    void sendWithToken();
    // Renews the token, then sends; a failed renewal ends the call.
    void refreshThenSend();
    void finished();
    void retryIn(int ms);
    void end(Answer answer);

    DropboxAccount* mAccount;
    QNetworkAccessManager* mNetwork;
    Style mStyle;
    QString mRoute;
    QByteArray mArg;
    QByteArray mBody;
    QString mSentToken;
    QPointer<QNetworkReply> mReply;
    QTimer mRetryTimer;
    int mRateLimitRetries = 0;
    int mServerRetries = 0;
    int mNetworkRetries = 0;
    bool mRenewedAfterRefusal = false;
    bool mSinkFailed = false;
    qint64 mReceived = 0;
    bool mCancelled = false;
    bool mEnded = false;
};

}  // namespace cloud
