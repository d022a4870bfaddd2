#include "library/RowTexts.h"

#include "library/Utils.h"
#include "platform/TypeIdentifiers.h"

#include <QMimeDatabase>
#include <algorithm>
#include <ctime>

namespace RowTexts {
namespace {
constexpr qint64 kSecondsPerDay = 86400;
const QString kSubtitleJoin = QStringLiteral(" \u2022 ");
}  // namespace

namespace {

// The control characters (category Cc) are exactly these two ranges; asking each character's
// category costs a table look-up per character of every row.
bool isControl(QChar c) { return c.unicode() < 0x20 || (c.unicode() >= 0x7f && c.unicode() <= 0x9f); }

void appendTitle(QString& text, const LibraryItem& item)
{
    const QStringView title = item.title.isEmpty()
                                  ? QStringView(item.path).mid(item.path.lastIndexOf(QLatin1Char('/')) + 1)
                                  : QStringView(item.title);
    const qsizetype at = text.size();
    text += title;
    if (std::any_of(title.begin(), title.end(), isControl))
        std::replace_if(text.begin() + at, text.end(), isControl, QLatin1Char('?'));
}

}  // namespace

QString titleForItem(const LibraryItem& item)
{
    QString title;
    appendTitle(title, item);
    return title;
}

QString oneLineName(const QString& path)
{
    LibraryItem item;
    item.path = path;
    return titleForItem(item);
}

qint64 daysBetweenDate(const QDateTime& first, const QDateTime& second)
{
    if (!first.isValid() || !second.isValid())
        return 0;
    return first.secsTo(second) / kSecondsPerDay;
}

namespace {

// "%Y-%m-%d %H:%M" of the local time, appended; false when the time can't be converted.
bool appendDateText(QString& text, qint64 secondsSinceEpoch)
{
    // The C library's local time, as ls does: QDateTime's time zone lookup costs far more per row.
    const time_t t = time_t(secondsSinceEpoch);
    struct tm local;
    if (!localtime_r(&t, &local))
        return false;
    char digits[32];
    const int year = local.tm_year + 1900;
    if (year < 1000 || year > 9999) {
        const size_t n = strftime(digits, sizeof digits, "%Y-%m-%d %H:%M", &local);
        text += QLatin1StringView(digits, qsizetype(n));
        return true;
    }
    // The same digits without strftime's format parsing and locale look-ups, once per row.
    auto two = [](char* at, int value) {
        at[0] = char('0' + value / 10);
        at[1] = char('0' + value % 10);
    };
    two(digits, year / 100);
    two(digits + 2, year % 100);
    digits[4] = '-';
    two(digits + 5, local.tm_mon + 1);
    digits[7] = '-';
    two(digits + 8, local.tm_mday);
    digits[10] = ' ';
    two(digits + 11, local.tm_hour);
    digits[13] = ':';
    two(digits + 14, local.tm_min);
    text += QLatin1StringView(digits, 16);
    return true;
}

}  // namespace

QString dateText(qint64 secondsSinceEpoch)
{
    QString text;
    appendDateText(text, secondsSinceEpoch);
    return text;
}

namespace {

// The row's second line; a folder's picture goes to imageName when given.
void appendSubtitle(QString& text, const LibraryItem& item, const QDateTime& now, QString* imageName)
{
    if (!item.isDirectory && item.isBroken) {
        text += QLatin1StringView("Broken link");
        return;
    }
    if (!item.isDirectory) {
        appendDateText(text, item.date);
        text += kSubtitleJoin;
        Utils::appendFileSize(text, uint64_t(qMax<qint64>(item.size, 0)));
        return;
    }
    QString image;
    if (Utils::pathIsLocalDocumentsLink(item.path)) {
        text += QLatin1StringView("Shared with desktop");
        image = QStringLiteral("folder_desktop");
    } else if (Utils::pathIsTrashcan(item.path)) {
        text += QLatin1StringView("Deleted items");
        image = QStringLiteral("folder_trash");
    } else {
        image = QStringLiteral("folder");
        if (Utils::pathIsInsideTrashcan(item.path)) {
            // The trash's entries are its batch folders: say how old they are.
            const qint64 days = daysBetweenDate(QDateTime::fromSecsSinceEpoch(item.date), now);
            text += days == 0   ? QStringLiteral("Today")
                    : days == 1 ? QStringLiteral("Yesterday")
                                : QStringLiteral("%1 days ago").arg(days);
        } else {
            appendDateText(text, item.date);
        }
    }
    if (imageName)
        *imageName = image;
}

}  // namespace

Row rowForItem(const LibraryItem& item, const QDateTime& now)
{
    Row row;
    row.title = titleForItem(item);
    row.isFolder = item.isDirectory;
    row.accessibilityHint = item.isDirectory ? QStringLiteral("Open this folder") : QStringLiteral("Open this file");
    appendSubtitle(row.subtitle, item, now, &row.imageName);
    return row;
}

void appendListLine(QString& text, const LibraryItem& item, const QDateTime& now)
{
    appendTitle(text, item);
    text += QLatin1Char('\t');
    appendSubtitle(text, item, now, nullptr);
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
    if (item.isBroken)
        return {QStringLiteral("emblem-unreadable"), QStringLiteral("emblem-symbolic-link"), QStringLiteral("application-x-generic")};
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
