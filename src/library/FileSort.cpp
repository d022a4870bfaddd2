#include "library/FileSort.h"

#include "library/NameOrder.h"
#include "platform/Settings.h"

#include <QCollator>
#include <QLocale>
#include <algorithm>
#include <atomic>
#include <memory>
#include <mutex>
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

// The order read from the collator of the current locale, kept while the locale stays.
std::shared_ptr<const NameOrder> nameOrderFor(const QCollator& collator)
{
    static std::mutex mutex;
    static std::shared_ptr<const NameOrder> order;
    static QString localeName;
    const std::lock_guard lock(mutex);
    if (!order || localeName != collator.locale().name()) {
        order = std::make_shared<const NameOrder>(collator);
        localeName = collator.locale().name();
    }
    return order;
}

// An item with its name: for a plain name its key's place in the sort's key buffer, else the
// collation key made the first time the collator must compare it (sorted by date or size,
// most items never need one).
struct Keyed {
    LibraryItem* item;
    QStringView name;
    bool plain;
    size_t keyStart;
    size_t keySize;
    mutable std::optional<QCollatorSortKey> key;

    const QCollatorSortKey& keyBy(const QCollator& collator) const
    {
        if (!key)
            key.emplace(collator.sortKey(name.toString()));
        return *key;
    }
};

bool precedes(const Keyed& a, const Keyed& b, int mode, const QCollator& collator, const uint8_t* keys)
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
    const int c = a.plain && b.plain ? compareNameKeys(keys + a.keyStart, a.keySize, keys + b.keyStart, b.keySize)
                                     : a.keyBy(collator).compare(b.keyBy(collator));
    if (c != 0)
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
    const std::shared_ptr<const NameOrder> order = nameOrderFor(collator);
    std::vector<Keyed> keyed;
    keyed.reserve(size_t(list.size()));
    std::vector<uint8_t> keys;
    for (LibraryItem& item : list) {
        const QStringView name = QStringView(item.path).mid(item.path.lastIndexOf(QLatin1Char('/')) + 1);
        const bool plain = order->isAvailable() && NameOrder::isPlain(name);
        const size_t start = keys.size();
        if (plain)
            order->appendKey(name, keys);
        keyed.push_back({&item, name, plain, start, keys.size() - start, std::nullopt});
    }
    std::sort(keyed.begin(), keyed.end(), [mode, &collator, k = keys.data()](const Keyed& a, const Keyed& b) {
        return precedes(a, b, mode, collator, k);
    });
    // Each item moved once into its place, following the cycles of the order, instead of into
    // a second list of the same size.
    LibraryItem* items = list.data();
    std::vector<size_t> from(keyed.size());
    for (size_t i = 0; i < keyed.size(); ++i)
        from[i] = size_t(keyed[i].item - items);
    std::vector<bool> placed(keyed.size());
    for (size_t i = 0; i < from.size(); ++i) {
        if (placed[i] || from[i] == i)
            continue;
        LibraryItem first = std::move(items[i]);
        size_t at = i;
        while (from[at] != i) {
            items[at] = std::move(items[from[at]]);
            placed[at] = true;
            at = from[at];
        }
        items[at] = std::move(first);
        placed[at] = true;
    }
}

}  // namespace FileSort
