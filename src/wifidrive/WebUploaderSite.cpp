#include "wifidrive/WebUploaderSite.h"

#include <QFile>
#include <QRegularExpression>

namespace WebUploaderSite {
namespace {

const QString kResourceFolder = QStringLiteral(":/wifidrive/web/");
const QString kPage = QStringLiteral("index.html");

QByteArray contentTypeFor(const QString& name)
{
    if (name.endsWith(QLatin1String(".html")))
        return "text/html; charset=utf-8";
    if (name.endsWith(QLatin1String(".css")))
        return "text/css; charset=utf-8";
    if (name.endsWith(QLatin1String(".js")))
        return "application/javascript; charset=utf-8";
    if (name.endsWith(QLatin1String(".svg")))
        return "image/svg+xml";
    return "application/octet-stream";
}

}  // namespace

std::optional<platform::HttpResponse> file(const QString& requestPath, const QMap<QString, QString>& variables)
{
    // One plain name: nothing else of the program's resources is reachable from here.
    static const QRegularExpression plainName(QStringLiteral("^/[A-Za-z0-9_-]+(\\.[A-Za-z0-9]+)?$"));
    const QString name = requestPath == QLatin1String("/") ? kPage : requestPath.mid(1);
    if (requestPath != QLatin1String("/") && !plainName.match(requestPath).hasMatch())
        return std::nullopt;
    QFile resource(kResourceFolder + name);
    if (!resource.open(QIODevice::ReadOnly))
        return std::nullopt;
    QByteArray content = resource.readAll();
    if (name.endsWith(QLatin1String(".html"))) {
        for (auto it = variables.begin(); it != variables.end(); ++it)
            content.replace('%' + it.key().toUtf8() + '%', it.value().toUtf8());
    }
    return platform::HttpResponse::data(content, contentTypeFor(name));
}

}  // namespace WebUploaderSite
