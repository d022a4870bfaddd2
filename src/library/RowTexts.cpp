#include "library/RowTexts.h"

#include "library/Utils.h"
#include "platform/TypeIdentifiers.h"

#include <QMimeDatabase>
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
        row.subtitle = QStringLiteral("Shared with desktop");
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

QStringList iconNamesForItem(const LibraryItem& item)
{
    if (item.isDirectory) {
        if (Utils::pathIsTrashcan(item.path))
            return {QStringLiteral("user-trash"), QStringLiteral("folder")};
        if (Utils::pathIsLocalDocumentsLink(item.path))
            return {QStringLiteral("folder-publicshare"), QStringLiteral("folder-remote"), QStringLiteral("folder")};
        return {QStringLiteral("folder")};
    }
    QStringList names;
    // By name only: reading every file's first bytes would cost a disk access per row.
    const QMimeType mime = QMimeDatabase().mimeTypeForFile(item.path, QMimeDatabase::MatchExtension);
    const bool known = mime.isValid() && !mime.isDefault();
    if (known)
        names << mime.iconName();
    // Kinds by name as well: an icon is no reason to open the file.
    const QString type = Utils::typeForPath(item.path);
    if (platform::TypeIdentifiers::conformsTo(type, QStringLiteral("public.midi-audio")))
        names << QStringLiteral("audio-midi") << QStringLiteral("audio-x-midi");
    else if (Utils::fileIsSoundFont(item.path))
        names << QStringLiteral("audio-x-soundfont") << QStringLiteral("audio-x-sf2");
    else if (Utils::fileIsZip(item.path))
        names << QStringLiteral("application-zip") << QStringLiteral("package-x-generic");
    else if (Utils::fileIsText(item.path))
        names << QStringLiteral("text-plain") << QStringLiteral("text-x-generic");
    if (Utils::fileIsAudio(item.path) || Utils::fileIsSoundFont(item.path))
        names << QStringLiteral("audio-x-generic");
    if (known)
        names << mime.genericIconName();
    names << QStringLiteral("application-x-generic");
    names.removeDuplicates();
    return names;
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
