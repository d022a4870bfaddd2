#include "library/RowTexts.h"

#include "library/Utils.h"

#include <ctime>

namespace RowTexts {
namespace {
constexpr qint64 kSecondsPerDay = 86400;
const QString kSubtitleJoin = QStringLiteral(" \u2022 ");
}  // namespace

QString titleForItem(const LibraryItem& item)
{
    QString title = item.title.isEmpty() ? lastPathComponent(item.path) : item.title;
    for (QChar& c : title)
        if (c.category() == QChar::Other_Control)
            c = QLatin1Char('?');
    return title;
}

qint64 daysBetweenDate(const QDateTime& first, const QDateTime& second)
{
    if (!first.isValid() || !second.isValid())
        return 0;
    return first.secsTo(second) / kSecondsPerDay;
}

QString dateText(qint64 secondsSinceEpoch)
{
    // The C library's local time, as ls does: QDateTime's time zone lookup costs far more per row.
    const time_t t = time_t(secondsSinceEpoch);
    struct tm local;
    if (!localtime_r(&t, &local))
        return {};
    char text[32];
    const size_t n = strftime(text, sizeof text, "%Y-%m-%d %H:%M", &local);
    return QString::fromLatin1(text, qsizetype(n));
}

Row rowForItem(const LibraryItem& item, const QDateTime& now)
{
    Row row;
    row.title = titleForItem(item);
    row.isFolder = item.isDirectory;
    if (!item.isDirectory) {
        row.accessibilityHint = QStringLiteral("Open this file");
        row.subtitle = dateText(item.date) + kSubtitleJoin + Utils::fileSizeToString(uint64_t(qMax<qint64>(item.size, 0)));
        return row;
    }
    row.accessibilityHint = QStringLiteral("Open this folder");
    if (Utils::pathIsLocalDocumentsLink(item.path)) {
        row.subtitle = QStringLiteral("Shared with computer");
        row.imageName = QStringLiteral("folder_desktop");
    } else if (Utils::pathIsTrashcan(item.path)) {
        row.subtitle = QStringLiteral("Deleted items");
        row.imageName = QStringLiteral("folder_trash");
    } else {
        row.imageName = QStringLiteral("folder");
        if (Utils::pathIsInsideTrashcan(item.path)) {
            // The trash's entries are its batch folders: say how old they are.
            const qint64 days = daysBetweenDate(QDateTime::fromSecsSinceEpoch(item.date), now);
            row.subtitle = days == 0   ? QStringLiteral("Today")
                           : days == 1 ? QStringLiteral("Yesterday")
                                       : QStringLiteral("%1 days ago").arg(days);
        } else {
            row.subtitle = dateText(item.date);
        }
    }
    return row;
}

QString headerText(bool loaded, qsizetype count)
{
    if (!loaded)
        return QStringLiteral("LOADING...");
    if (count == 0)
        return QStringLiteral("NO ITEMS");
    return QStringLiteral("%1 ITEM%2").arg(count).arg(count == 1 ? QString() : QStringLiteral("S"));
}

}  // namespace RowTexts
