#include "recording/screens/UnitImage.h"

#include <QFileInfo>
#include <QHash>
#include <QPainter>
#include <QPainterPath>

namespace UnitImage {
namespace {

QString glyphFor(const QString& image)
{
    static const QHash<QString, QString> glyphs{{QStringLiteral("iaa_file"), QStringLiteral("\u266B")},
                                                {QStringLiteral("iaa_mic"), QStringLiteral("\u25CF")},
                                                {QStringLiteral("iaa_empty"), QStringLiteral("\u2205")},
                                                {QStringLiteral("audiobus"), QStringLiteral("\u21C4")}};
    return glyphs.value(image);
}

QPixmap tile(const QString& text, const QString& seed, int size)
{
    QPixmap pixmap(size, size);
    pixmap.fill(Qt::transparent);
    QPainter p(&pixmap);
    p.setRenderHint(QPainter::Antialiasing);
    const QColor color = QColor::fromHsv(int(qHash(seed) % 360), 110, 150);
    QPainterPath path;
    path.addRoundedRect(QRectF(0.5, 0.5, size - 1, size - 1), size / 5.0, size / 5.0);
    p.fillPath(path, color);
    QFont font = p.font();
    font.setBold(true);
    font.setPixelSize(std::max(8, size * 2 / 5));
    p.setFont(font);
    p.setPen(Qt::white);
    p.drawText(QRect(0, 0, size, size), Qt::AlignCenter, text);
    return pixmap;
}

QString initials(const QString& name)
{
    QString out;
    for (const QString& word : name.split(QLatin1Char(' '), Qt::SkipEmptyParts)) {
        if (word.front().isLetterOrNumber())
            out += word.front().toUpper();
        if (out.size() == 2)
            break;
    }
    return out.isEmpty() ? QStringLiteral("?") : out;
}

}  // namespace

QPixmap image(const QString& image, const QString& name, int size)
{
    if (!image.isEmpty() && QFileInfo(image).isFile()) {
        QPixmap picture(image);
        if (!picture.isNull())
            return picture.scaled(size, size, Qt::KeepAspectRatio, Qt::SmoothTransformation);
    }
    const QString glyph = glyphFor(image);
    return tile(glyph.isEmpty() ? initials(name) : glyph, glyph.isEmpty() ? name : image, size);
}

QPixmap forRau(const RemoteAU::Ptr& rau, int size)
{
    return rau ? image(rau->image(), rau->name(), size) : image(QStringLiteral("iaa_empty"), {}, size);
}

QPixmap composite(const QList<RemoteAU::Ptr>& units, int size)
{
    const int count = std::max<int>(1, int(units.size()));
    QPixmap pixmap(size * count + (count - 1) * 2, size);
    pixmap.fill(Qt::transparent);
    QPainter p(&pixmap);
    for (int i = 0; i < units.size(); ++i)
        p.drawPixmap(i * (size + 2), 0, forRau(units[i], size));
    return pixmap;
}

}  // namespace UnitImage
