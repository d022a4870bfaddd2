#pragma once
#include <QObject>
#include <QPointer>
#include <QString>
#include <QUrl>

class QNetworkAccessManager;
class QTcpServer;
class QTcpSocket;

namespace cloud {

class DropboxAccount;

// Links an account with the OAuth 2 code flow and PKCE: the browser opens authorizeUrl(),
// Dropbox sends the browser back to a listener on 127.0.0.1 with the code, which is traded
// for the tokens. When the browser cannot reach this computer, pasteCodeUrl() shows the code
// on Dropbox's page instead, and the user gives it to submitCode().
class DropboxLink : public QObject {
    Q_OBJECT
public:
    enum class Outcome { Success, Cancelled, Error };

    DropboxLink(DropboxAccount* account, QNetworkAccessManager* network, QObject* parent = nullptr);
    ~DropboxLink() override;

    // Starts the listener; false (with errorString()) when there is no app key or no port.
    bool begin();
    QUrl authorizeUrl() const;
    QUrl pasteCodeUrl() const;
    QString redirectUri() const;
    QString errorString() const { return mError; }

    void submitCode(const QString& code);
    // A redirect that came back by another way (a URL handed to the program): true when it
    // was this link's, which then finishes with it.
    bool handleRedirectURL(const QUrl& url);
    // Offers url to every link waiting for Dropbox's answer; true when one took it.
    static bool offerRedirectURL(const QUrl& url);
    void cancel();
    bool isFinished() const { return mFinished; }

    // The texts the program shows for each outcome.
    static QString successTitle();
    static QString successMessage();
    static QString cancelLog();
    static QString errorTitle();

signals:
    // Once: Success, Cancelled (the user said no at Dropbox) or Error with its description.
    void finished(cloud::DropboxLink::Outcome outcome, const QString& description);

private:
    QUrl authorizeUrlWith(const QString& redirect) const;
    void answerBrowser(QTcpSocket* socket);
    void exchange(const QString& code, const QString& redirect);
    void finish(Outcome outcome, const QString& description);

    DropboxAccount* mAccount;
    QNetworkAccessManager* mNetwork;
    QTcpServer* mServer = nullptr;
    QString mVerifier;
    QString mChallenge;
    QString mState;
    QString mError;
    bool mExchanging = false;
    bool mFinished = false;
};

}  // namespace cloud
