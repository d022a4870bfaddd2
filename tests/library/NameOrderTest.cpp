#include "library/FileSort.h"
#include "library/NameOrder.h"
#include "library/RowTexts.h"

#include <QRandomGenerator>
#include <algorithm>
#include <gtest/gtest.h>

namespace {

int sign(int v) { return (v > 0) - (v < 0); }

// Names that stress the collator: case, punctuation and symbols of every kind, digit runs with
// leading zeros and of many lengths; a share of them with characters the fast order leaves to
// the collator (accents, controls, a run of more digits than one number holds).
QStringList generatedNames(int count, quint32 seed)
{
    QRandomGenerator random(seed);
    QString printable;
    for (char16_t c = 0x20; c <= 0x7e; ++c)
        printable += QChar(c);
    const QStringList pieces = {"Take", "take", "TAKE", "Loop", " ", "-", "_", ".", "0", "00", "007", "1", "10",
                                "9", "99", "100", "0100", "12345678901234567890", "a", "B", "é", "\n", "\u00a0",
                                QString(300, QChar(u'7'))};
    QStringList names;
    for (int i = 0; i < count; ++i) {
        QString name;
        const int parts = 1 + int(random.bounded(5));
        for (int p = 0; p < parts; ++p) {
            if (random.bounded(2) == 0)
                name += printable.at(int(random.bounded(printable.size())));
            else
                name += pieces.at(int(random.bounded(pieces.size())));
        }
        names << name;
    }
    return names;
}

}  // namespace

// Plain names compared without the collator come out as the collator orders them, whatever
// their case, punctuation or numbers; any other name is left to the collator.
TEST(NameOrder, PlainNamesCompareAsTheCollatorDoes)
{
    const QCollator collator = FileSort::nameCollator();
    const NameOrder order(collator);
    ASSERT_TRUE(order.isAvailable());
    EXPECT_EQ(order.compare(u"Take 9.wav", u"Take 10.wav"), -1);
    EXPECT_EQ(order.compare(u"take 010", u"Take 10"), 0);
    EXPECT_EQ(order.compare(u"Take", u"Take 1"), -1);
    EXPECT_EQ(order.compare(u"\u00e9t\u00e9", u"ete"), std::nullopt);
    EXPECT_EQ(order.compare(u"a\nb", u"ab"), std::nullopt);

    const QStringList names = generatedNames(3000, 11);
    int plainPairs = 0;
    for (qsizetype i = 0; i < names.size(); ++i) {
        for (qsizetype j : {i, (i * 7 + 1) % names.size(), (i * 13 + 5) % names.size(), qsizetype(0)}) {
            const std::optional<int> fast = order.compare(names[i], names[j]);
            if (!fast)
                continue;
            ++plainPairs;
            ASSERT_EQ(sign(*fast), sign(collator.compare(names[i], names[j])))
                << names[i].toStdString() << " | " << names[j].toStdString();
        }
    }
    EXPECT_GT(plainPairs, 3000);

    // Languages that join or tailor letters keep the collator for every name.
    QCollator danish{QLocale(QLocale::Danish, QLocale::Denmark)};
    danish.setNumericMode(true);
    danish.setCaseSensitivity(Qt::CaseInsensitive);
    EXPECT_FALSE(NameOrder(danish).isAvailable());
}

// A folder's order is the one the collator alone gives, plain and other names mixed, in each
// sort mode; names equal to the collator keep a fixed order by path.
TEST(NameOrder, SortedListsMatchTheCollatorsOrder)
{
    const QCollator collator = FileSort::nameCollator();
    const QStringList names = generatedNames(2000, 29);
    LibraryItemList items;
    for (qsizetype i = 0; i < names.size(); ++i) {
        LibraryItem item;
        item.path = "/library/" + names[i];
        item.isDirectory = i % 17 == 0;
        item.size = i % 5;
        item.date = 1700000000 + i % 7;
        items << item;
    }
    for (int mode : {FileSort::kByName, FileSort::kByDate, FileSort::kBySize}) {
        SCOPED_TRACE(mode);
        LibraryItemList expected = items;
        std::stable_sort(expected.begin(), expected.end(), [&](const LibraryItem& x, const LibraryItem& y) {
            if (x.isDirectory != y.isDirectory)
                return x.isDirectory;
            const bool byName = mode == FileSort::kByName || (x.isDirectory && mode == FileSort::kBySize);
            if (!byName && mode == FileSort::kByDate && x.date != y.date)
                return x.date > y.date;
            if (!byName && mode == FileSort::kBySize && x.size != y.size)
                return x.size > y.size;
            const int c = collator.compare(lastPathComponent(x.path), lastPathComponent(y.path));
            return c != 0 ? c < 0 : x.path < y.path;
        });
        LibraryItemList sorted = items;
        FileSort::sortFileList(sorted, mode);
        ASSERT_EQ(sorted.size(), expected.size());
        for (qsizetype i = 0; i < sorted.size(); ++i)
            ASSERT_EQ(sorted[i].path, expected[i].path) << i;
    }
}

// The row texts keep their exact form: controls shown as '?', dates as "YYYY-MM-DD HH:MM".
TEST(NameOrder, RowTextsOfOddNamesAndDates)
{
    LibraryItem item;
    item.path = QStringLiteral("/library/a\nb\u0085c\u007fd\u00a0e.wav");
    item.size = 1536;
    item.date = 0;
    setenv("TZ", "UTC", 1);
    tzset();
    const RowTexts::Row row = RowTexts::rowForItem(item);
    EXPECT_EQ(row.title, QStringLiteral("a?b?c?d\u00a0e.wav"));
    EXPECT_EQ(row.subtitle, QStringLiteral("1970-01-01 00:00 \u2022 1.5 KiB"));
    item.date = 4102444799;  // 2099-12-31 23:59:59
    EXPECT_TRUE(RowTexts::rowForItem(item).subtitle.startsWith("2099-12-31 23:59 "));
    item.date = -62135596800;  // year 1
    EXPECT_TRUE(RowTexts::rowForItem(item).subtitle.startsWith("1-01-01 00:00 "));
    unsetenv("TZ");
    tzset();
}
