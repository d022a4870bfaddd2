#include "library/FileSort.h"

#include "platform/Settings.h"

#include <QCollator>
#include <QLocale>
#include <algorithm>
#include <atomic>
#include <optional>
#include <vector>

namespace FileSort {
namespace {

const QString kSortModeKey = QStringLiteral("SortMode");
constexpr int kNotLoaded = -1;

std::atomic_int gMode{kNotLoaded};

int validMode(int mode) { return mode >= 0 && mode < kModeCount ? mode : kByName; }

}  // namespace

QCollator nameCollator()
{
    // The "C" locale turns the collator into a plain code-point compare without numeric
    // ordering, so it stands in for a real language there.
    QLocale locale;
    if (locale.language() == QLocale::C)
        locale = QLocale(QLocale::English, QLocale::UnitedStates);
    QCollator collator(locale);
    collator.setNumericMode(true);
    collator.setCaseSensitivity(Qt::CaseInsensitive);
    return collator;
}

namespace {

// An item with its name's collation key, made the first time two names must be compared:
// sorted by date or size, most items never need one.
struct Keyed {
    const LibraryItem* item;
    mutable std::optional<QCollatorSortKey> key;

    const QCollatorSortKey& keyBy(const QCollator& collator) const
    {
        if (!key)
            key.emplace(collator.sortKey(lastPathComponent(item->path)));
        return *key;
    }
};

bool precedes(const Keyed& a, const Keyed& b, int mode, const QCollator& collator)
{
    const LibraryItem& x = *a.item;
    const LibraryItem& y = *b.item;
    if (x.isSys != y.isSys)
        return y.isSys;
    if (x.isDirectory != y.isDirectory)
        return x.isDirectory;
    int effective = mode;
    if (x.isSys && y.isSys)
        effective = kByName;
    else if (x.isDirectory && y.isDirectory && mode == kBySize)
        effective = kByName;
    if (effective == kByDate && x.date != y.date)
        return x.date > y.date;
    if (effective == kBySize && x.size != y.size)
        return x.size > y.size;
    if (const int c = a.keyBy(collator).compare(b.keyBy(collator)); c != 0)
        return c < 0;
    // Equal under every rule (names differing only in case): keep a fixed order anyway.
    return x.path < y.path;
}

}  // namespace

int sortMode()
{
    int mode = gMode.load(std::memory_order_relaxed);
    if (mode == kNotLoaded) {
        mode = validMode(platform::Settings::value(kSortModeKey).toInt());
        int expected = kNotLoaded;
        if (!gMode.compare_exchange_strong(expected, mode))
            mode = expected;
    }
    return mode;
}

void setSortMode(int mode) { gMode.store(validMode(mode), std::memory_order_relaxed); }

void saveDefaults() { platform::Settings::setValue(kSortModeKey, sortMode()); }

QString modeName(int mode)
{
    switch (validMode(mode)) {
    case kByDate:
        return QStringLiteral("DATE");
    case kBySize:
        return QStringLiteral("SIZE");
    default:
        return QStringLiteral("NAME");
    }
}

int modeFromName(const QString& name)
{
    for (int mode = 0; mode < kModeCount; ++mode)
        if (name.compare(modeName(mode), Qt::CaseInsensitive) == 0)
            return mode;
    return -1;
}

void sortFileList(LibraryItemList& list, int mode)
{
    const QCollator collator = nameCollator();
    std::vector<Keyed> keyed;
    keyed.reserve(list.size());
    for (const LibraryItem& item : std::as_const(list))
        keyed.push_back({&item, std::nullopt});
    std::sort(keyed.begin(), keyed.end(),
              [mode, &collator](const Keyed& a, const Keyed& b) { return precedes(a, b, mode, collator); });
    LibraryItemList sorted;
    sorted.reserve(list.size());
    for (const Keyed& k : keyed)
        sorted.append(*k.item);
    list = std::move(sorted);
}

}  // namespace FileSort
