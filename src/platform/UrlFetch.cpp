#include "platform/UrlFetch.h"

#include <QEventLoop>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QTimer>
#include <memory>

namespace platform {

std::optional<QByteArray> fetchUrl(const QUrl& url, QString* error, int timeoutMs)
{
    // A manager of its own, on the calling thread: the caller waits here anyway.
    QNetworkAccessManager manager;
    std::unique_ptr<QNetworkReply> reply(manager.get(QNetworkRequest(url)));
    QEventLoop loop;
    QTimer timeout;
    timeout.setSingleShot(true);
    QObject::connect(reply.get(), &QNetworkReply::finished, &loop, &QEventLoop::quit);
    QObject::connect(&timeout, &QTimer::timeout, &loop, &QEventLoop::quit);
    timeout.start(timeoutMs);
    if (!reply->isFinished())
        loop.exec();
    if (!reply->isFinished()) {
        reply->abort();
        if (error)
            *error = QStringLiteral("Timed out");
        return std::nullopt;
    }
    if (reply->error() != QNetworkReply::NoError) {
        if (error)
            *error = reply->errorString();
        return std::nullopt;
    }
    return reply->readAll();
}

}  // namespace platform
