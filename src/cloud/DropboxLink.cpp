#include "cloud/DropboxLink.h"

#include "cloud/DropboxAccount.h"
#include "cloud/DropboxConfig.h"
#include "platform/Log.h"

#include <QCryptographicHash>
#include <QJsonDocument>
#include <QJsonObject>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QRandomGenerator>
#include <QTcpServer>
#include <QTcpSocket>
#include <QUrlQuery>
#include <vector>

namespace cloud {
namespace {
// Links waiting for Dropbox's answer, for redirects that come back as URLs handed to the program.
std::vector<DropboxLink*>& waitingLinks()
{
    static std::vector<DropboxLink*> links;
    return links;
}
constexpr int kVerifierBytes = 48;  // 64 characters once encoded, inside PKCE's 43..128
constexpr int kMaxRequestBytes = 16 * 1024;

QString randomUrlSafe(int bytes)
{
    QByteArray raw(bytes, Qt::Uninitialized);
    QRandomGenerator::system()->fillRange(reinterpret_cast<quint32*>(raw.data()), bytes / 4);
    return QString::fromLatin1(raw.toBase64(QByteArray::Base64UrlEncoding | QByteArray::OmitTrailingEquals));
}

QByteArray page(const QString& title, const QString& text)
{
    const QByteArray body = QStringLiteral("<!DOCTYPE html><html><head><meta charset=\"utf-8\"><title>%1</title></head>"
                                           "<body style=\"font-family:sans-serif;margin:3em\"><h1>%1</h1><p>%2</p>"
                                           "</body></html>")
                                .arg(title.toHtmlEscaped(), text.toHtmlEscaped())
                                .toUtf8();
    return "HTTP/1.1 200 OK\r\nContent-Type: text/html; charset=utf-8\r\nConnection: close\r\nContent-Length: "
           + QByteArray::number(body.size()) + "\r\n\r\n" + body;
}
}  // namespace

DropboxLink::DropboxLink(DropboxAccount* account, QNetworkAccessManager* network, QObject* parent)
    : QObject(parent), mAccount(account), mNetwork(network)
{
}

DropboxLink::~DropboxLink() { std::erase(waitingLinks(), this); }

bool DropboxLink::offerRedirectURL(const QUrl& url)
{
    // A copy: handling one may finish it, and its owner may then delete it.
    const std::vector<DropboxLink*> links = waitingLinks();
    for (DropboxLink* link : links)
        if (link->handleRedirectURL(url))
            return true;
    return false;
}

QString DropboxLink::successTitle() { return QStringLiteral("Dropbox"); }
QString DropboxLink::successMessage()
{
    return QStringLiteral("You are now linked to dropbox and can go ahead with importing and exporting items!");
}
QString DropboxLink::cancelLog() { return QStringLiteral("Authorization flow was manually canceled by user!"); }
QString DropboxLink::errorTitle() { return QStringLiteral("Could not link Dropbox"); }

bool DropboxLink::begin()
{
    if (DropboxConfig::appKey().isEmpty()) {
        mError = DropboxConfig::missingAppKeyMessage();
        return false;
    }
    mVerifier = randomUrlSafe(kVerifierBytes);
    mChallenge = QString::fromLatin1(QCryptographicHash::hash(mVerifier.toLatin1(), QCryptographicHash::Sha256)
                                         .toBase64(QByteArray::Base64UrlEncoding | QByteArray::OmitTrailingEquals));
    mState = randomUrlSafe(24);
    mServer = new QTcpServer(this);
    if (!mServer->listen(QHostAddress::LocalHost, 0)) {
        mError = QStringLiteral("Could not listen for Dropbox's answer: %1").arg(mServer->errorString());
        return false;
    }
    connect(mServer, &QTcpServer::newConnection, this, [this] {
        while (QTcpSocket* socket = mServer->nextPendingConnection()) {
            connect(socket, &QTcpSocket::disconnected, socket, &QObject::deleteLater);
            connect(socket, &QTcpSocket::readyRead, this, [this, socket] { answerBrowser(socket); });
        }
    });
    waitingLinks().push_back(this);
    return true;
}

QString DropboxLink::redirectUri() const
{
    return mServer ? QStringLiteral("http://127.0.0.1:%1/").arg(mServer->serverPort()) : QString();
}

QUrl DropboxLink::authorizeUrl() const { return authorizeUrlWith(redirectUri()); }
QUrl DropboxLink::pasteCodeUrl() const { return authorizeUrlWith({}); }

QUrl DropboxLink::authorizeUrlWith(const QString& redirect) const
{
    QUrl url(DropboxConfig::authUrl() + QStringLiteral("/oauth2/authorize"));
    QUrlQuery query;
    query.addQueryItem(QStringLiteral("client_id"), DropboxConfig::appKey());
    query.addQueryItem(QStringLiteral("response_type"), QStringLiteral("code"));
    query.addQueryItem(QStringLiteral("code_challenge"), mChallenge);
    query.addQueryItem(QStringLiteral("code_challenge_method"), QStringLiteral("S256"));
    query.addQueryItem(QStringLiteral("token_access_type"), QStringLiteral("offline"));
    if (!redirect.isEmpty()) {
        query.addQueryItem(QStringLiteral("redirect_uri"), redirect);
        query.addQueryItem(QStringLiteral("state"), mState);
    }
    url.setQuery(query);
    return url;
}

void DropboxLink::answerBrowser(QTcpSocket* socket)
{
    if (socket->property("answered").toBool())
        return;
    const QByteArray head = socket->peek(kMaxRequestBytes);
    const int lineEnd = head.indexOf("\r\n");
    if (lineEnd < 0) {
        if (head.size() >= kMaxRequestBytes)
            socket->abort();
        return;  // the request line is not complete yet
    }
    socket->setProperty("answered", true);
    const QList<QByteArray> parts = head.left(lineEnd).split(' ');
    const QUrl target = parts.size() >= 2 ? QUrl(QStringLiteral("http://127.0.0.1") + QString::fromLatin1(parts[1]))
                                          : QUrl();
    const QUrlQuery query(target);
    if (parts.value(0) != "GET" || target.path() != QLatin1String("/") || !query.hasQueryItem(QStringLiteral("state"))) {
        socket->write("HTTP/1.1 404 Not Found\r\nContent-Length: 0\r\nConnection: close\r\n\r\n");
        socket->disconnectFromHost();
        return;
    }
    if (query.queryItemValue(QStringLiteral("state")) != mState || mFinished || mExchanging) {
        socket->write(page(QStringLiteral("Wavelocker"), QStringLiteral("This sign-in is not the one Wavelocker is "
                                                                        "waiting for. Start linking again.")));
        socket->disconnectFromHost();
        return;
    }
    const bool accepted = handleRedirectURL(target);
    socket->write(accepted ? page(QStringLiteral("Wavelocker"),
                                  QStringLiteral("Dropbox answered. You can close this page and go back to Wavelocker."))
                           : page(QStringLiteral("Wavelocker"), QStringLiteral("Dropbox did not send a sign-in.")));
    socket->disconnectFromHost();
}

bool DropboxLink::handleRedirectURL(const QUrl& url)
{
    const QUrlQuery query(url);
    if (!mServer || mFinished || query.queryItemValue(QStringLiteral("state")) != mState)
        return false;
    if (mExchanging)
        return true;
    const QString error = query.queryItemValue(QStringLiteral("error"));
    if (error == QLatin1String("access_denied")) {
        finish(Outcome::Cancelled, {});
        return true;
    }
    if (!error.isEmpty()) {
        finish(Outcome::Error, query.queryItemValue(QStringLiteral("error_description"), QUrl::FullyDecoded).isEmpty()
                                   ? error
                                   : query.queryItemValue(QStringLiteral("error_description"), QUrl::FullyDecoded));
        return true;
    }
    const QString code = query.queryItemValue(QStringLiteral("code"), QUrl::FullyDecoded);
    if (code.isEmpty())
        return false;
    exchange(code, redirectUri());
    return true;
}

void DropboxLink::submitCode(const QString& code)
{
    if (mFinished || mExchanging)
        return;
    const QString trimmed = code.trimmed();
    if (trimmed.isEmpty()) {
        finish(Outcome::Cancelled, {});
        return;
    }
    exchange(trimmed, {});
}

void DropboxLink::cancel()
{
    if (!mFinished)
        finish(Outcome::Cancelled, {});
}

void DropboxLink::exchange(const QString& code, const QString& redirect)
{
    mExchanging = true;
    QUrlQuery form;
    form.addQueryItem(QStringLiteral("grant_type"), QStringLiteral("authorization_code"));
    form.addQueryItem(QStringLiteral("code"), code);
    form.addQueryItem(QStringLiteral("client_id"), DropboxConfig::appKey());
    form.addQueryItem(QStringLiteral("code_verifier"), mVerifier);
    if (!redirect.isEmpty())
        form.addQueryItem(QStringLiteral("redirect_uri"), redirect);
    QNetworkRequest request(QUrl(DropboxConfig::apiUrl() + QStringLiteral("/oauth2/token")));
    request.setHeader(QNetworkRequest::ContentTypeHeader, QStringLiteral("application/x-www-form-urlencoded"));
    QNetworkReply* reply = mNetwork->post(request, form.toString(QUrl::FullyEncoded).toUtf8());
    connect(reply, &QNetworkReply::finished, this, [this, reply] {
        reply->deleteLater();
        mExchanging = false;
        const int status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
        const QJsonObject answer = QJsonDocument::fromJson(reply->readAll()).object();
        DropboxAccount::Tokens tokens;
        tokens.accessToken = answer.value(QStringLiteral("access_token")).toString();
        tokens.refreshToken = answer.value(QStringLiteral("refresh_token")).toString();
        tokens.accountId = answer.value(QStringLiteral("account_id")).toString();
        const qint64 expiresIn = answer.value(QStringLiteral("expires_in")).toInteger();
        if (expiresIn > 0)
            tokens.expiresAt = QDateTime::currentDateTimeUtc().addSecs(expiresIn);
        if (status != 200 || tokens.accessToken.isEmpty()) {
            QString why = answer.value(QStringLiteral("error_description")).toString();
            if (why.isEmpty())
                why = answer.value(QStringLiteral("error")).toString();
            if (why.isEmpty())
                why = reply->error() != QNetworkReply::NoError ? reply->errorString()
                                                                : QStringLiteral("Dropbox answered HTTP %1").arg(status);
            finish(Outcome::Error, why);
            return;
        }
        mAccount->storeTokens(tokens, [this](const QString& error) {
            if (error.isEmpty())
                finish(Outcome::Success, {});
            else
                finish(Outcome::Error, QStringLiteral("The sign-in could not be kept in the secret store: %1").arg(error));
        });
    });
}

void DropboxLink::finish(Outcome outcome, const QString& description)
{
    if (mFinished)
        return;
    mFinished = true;
    std::erase(waitingLinks(), this);
    if (mServer)
        mServer->close();
    if (outcome == Outcome::Cancelled)
        platform::log(cancelLog());
    emit finished(outcome, description);
}

}  // namespace cloud
