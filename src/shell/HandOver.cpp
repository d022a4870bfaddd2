#include "shell/HandOver.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QtEndian>

namespace {
const QString kUrls = QStringLiteral("urls");
const QString kSourceApp = QStringLiteral("sourceApp");
const QString kAnswers = QStringLiteral("answers");
}  // namespace

QByteArray HandOver::encode() const
{
    const QJsonObject object{{kUrls, QJsonArray::fromStringList(urls)}, {kSourceApp, sourceApp}};
    return QJsonDocument(object).toJson(QJsonDocument::Compact);
}

std::optional<HandOver> HandOver::decode(const QByteArray& body)
{
    const QJsonDocument document = QJsonDocument::fromJson(body);
    const QJsonValue urls = document.object().value(kUrls);
    const QJsonValue source = document.object().value(kSourceApp);
    if (!document.isObject() || !urls.isArray() || !(source.isString() || source.isUndefined()))
        return std::nullopt;
    HandOver request;
    for (const QJsonValue& url : urls.toArray()) {
        if (!url.isString())
            return std::nullopt;
        request.urls << url.toString();
    }
    request.sourceApp = source.toString();
    return request;
}

QByteArray HandOver::encodeAnswers(const QList<bool>& answers)
{
    QJsonArray list;
    for (const bool yes : answers)
        list.append(yes);
    return QJsonDocument(QJsonObject{{kAnswers, list}}).toJson(QJsonDocument::Compact);
}

std::optional<QList<bool>> HandOver::decodeAnswers(const QByteArray& body, qsizetype expected)
{
    const QJsonValue list = QJsonDocument::fromJson(body).object().value(kAnswers);
    if (!list.isArray() || list.toArray().size() != expected)
        return std::nullopt;
    QList<bool> answers;
    for (const QJsonValue& v : list.toArray()) {
        if (!v.isBool())
            return std::nullopt;
        answers << v.toBool();
    }
    return answers;
}

QByteArray HandOver::frame(const QByteArray& body)
{
    QByteArray out(kHeaderBytes, Qt::Uninitialized);
    qToBigEndian<quint32>(quint32(body.size()), out.data());
    return out + body;
}

std::optional<QByteArray> HandOver::takeFrame(QByteArray& buffer, bool* bad)
{
    if (buffer.size() < kHeaderBytes)
        return std::nullopt;
    const quint32 length = qFromBigEndian<quint32>(buffer.constData());
    if (length > kMaxMessage) {
        *bad = true;
        return std::nullopt;
    }
    if (buffer.size() < kHeaderBytes + qint64(length))
        return std::nullopt;
    QByteArray body = buffer.mid(kHeaderBytes, length);
    buffer.remove(0, kHeaderBytes + length);
    return body;
}
