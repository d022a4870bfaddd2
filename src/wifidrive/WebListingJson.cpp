#include "wifidrive/WebListingJson.h"

namespace WebListingJson {

void appendString(QByteArray& out, const QString& text)
{
    out += '"';
    for (const char c : text.toUtf8()) {
        switch (c) {
        case '"': out += "\\\""; break;
        case '\\': out += "\\\\"; break;
        case '\n': out += "\\n"; break;
        case '\r': out += "\\r"; break;
        case '\t': out += "\\t"; break;
        default:
            if (static_cast<unsigned char>(c) < 0x20)
                out += QByteArray("\\u00") + QByteArray::number(static_cast<unsigned char>(c), 16).rightJustified(2, '0');
            else
                out += c;
        }
    }
    out += '"';
}

void appendItem(QByteArray& out, const QString& relativePath, const QString& name, const struct stat& item)
{
    const bool folder = S_ISDIR(item.st_mode);
    out += "{\"path\":";
    appendString(out, folder ? relativePath + QLatin1Char('/') : relativePath);
    out += ",\"name\":";
    appendString(out, name);
    out += ",\"date\":" + QByteArray::number(qint64(item.st_mtim.tv_sec));
    if (!folder)
        out += ",\"size\":" + QByteArray::number(qint64(item.st_size));
    out += '}';
}

}  // namespace WebListingJson
