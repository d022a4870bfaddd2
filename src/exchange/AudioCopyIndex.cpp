// The pasteboards of the convention, the history ring's index and the readers of info and pieces.
#include "exchange/AudioCopyPaste1.h"
#include "exchange/AudioCopySupport.h"
#include "exchange/PasteWav.h"
#include "platform/Log.h"
#include "platform/PropertyList.h"

namespace AudioCopyPaste1 {

using platform::Pasteboard;
using platform::PasteboardItem;
using platform::PasteboardSnapshot;

namespace {
constexpr qsizetype kPreviewReserve = 65536;
const QString kCurrentIndexKey = QStringLiteral("currentindex");
const QString kClearedKey = QStringLiteral("cleared");

int indexFrom(const PasteboardSnapshot& snapshot)
{
    const QList<int> items = snapshot.itemsWithType(kIndexType);
    if (items.isEmpty())
        return 0;
    const std::optional<QVariantMap> dict = platform::PropertyList::dictionary(snapshot.data(items.first(), kIndexType));
    if (!dict || !dict->contains(kCurrentIndexKey))
        return 0;
    // Another program's index out of the ring is read as its place in the ring.
    const qlonglong n = dict->value(kCurrentIndexKey).toLongLong();
    return int(((n % kHistorySlots) + kHistorySlots) % kHistorySlots);
}
}  // namespace

namespace detail {

std::unique_ptr<Pasteboard> pasteboardNamed(const QString& name, bool create, bool lineFeed)
{
    std::unique_ptr<Pasteboard> pasteboard = Pasteboard::withName(name, create);
    if (!pasteboard)
        platform::log(QStringLiteral("No pasteboard with name %1%2").arg(name, lineFeed ? QStringLiteral("\n") : QString()));
    return pasteboard;
}

std::optional<QVariantMap> infoIn(const PasteboardSnapshot& snapshot)
{
    const QList<int> items = snapshot.itemsWithType(kInfoType);
    if (items.isEmpty())
        return std::nullopt;
    return platform::PropertyList::dictionary(snapshot.data(items.first(), kInfoType));
}

QVariantMap infoDictionary(const QVariantMap& meta, float duration, int channels, int64_t pieceCount)
{
    QVariantMap info = meta.isEmpty() ? defaultMeta() : meta;
    info.insert(kDuration, duration);
    info.insert(kChannels, channels);
    info.insert(kPastedCount, qlonglong(pieceCount));
    return info;
}

bool isGeneralName(const QString& name) { return name.compare(kGeneralPasteboardName, Qt::CaseInsensitive) == 0; }

}  // namespace detail

QVariantMap defaultMeta()
{
    return {{kCopyName, QStringLiteral("AudioCopy")}, {kSender, QStringLiteral("Unknown")}, {kTempo, 0}};
}

QString historyPasteboardName(int slot) { return kVersion1Pasteboard + QString::number(slot); }

void initPasteBoard()
{
    // Our desktop file always declares URL schemes, so the pasteboards are always made.
    Pasteboard::withName(kVersion1Pasteboard, true);
    Pasteboard::withName(kIndexPasteboard, true);
    for (int slot = 0; slot < kHistorySlots; ++slot)
        Pasteboard::withName(historyPasteboardName(slot), true);
}

int getPasteIndex()
{
    const std::unique_ptr<Pasteboard> index = detail::pasteboardNamed(kIndexPasteboard, true);
    const std::unique_ptr<PasteboardSnapshot> snapshot = index ? index->snapshot() : nullptr;
    return snapshot ? indexFrom(*snapshot) : 0;
}

QString incrementPasteIndexAndGetPasteboardName()
{
    const std::unique_ptr<Pasteboard> index = detail::pasteboardNamed(kIndexPasteboard, true);
    if (!index)
        return historyPasteboardName(0);
    int next = 0;
    // Read and write under the writers' lock: two programs copying at once get two slots.
    index->update([&next](const PasteboardSnapshot& current) {
        next = (indexFrom(current) + 1) % kHistorySlots;
        const QByteArray xml = platform::PropertyList::xmlData({{kCurrentIndexKey, next}});
        return QList<PasteboardItem>{{{kIndexType, xml}}};
    });
    return historyPasteboardName(next);
}

void incrementPasteIndex() { incrementPasteIndexAndGetPasteboardName(); }

void clearVersion1Pasteboard()
{
    if (const std::unique_ptr<Pasteboard> v1 = detail::pasteboardNamed(kVersion1Pasteboard, true))
        v1->setItems({{{kClearType, platform::PropertyList::xmlData({{kClearedKey, 1}})}}});
}

bool hasGeneralPasteboardData()
{
    const std::unique_ptr<Pasteboard> general = Pasteboard::general();
    const std::unique_ptr<PasteboardSnapshot> snapshot = general ? general->snapshot() : nullptr;
    return snapshot && !snapshot->itemsWithType(kGeneralAudioType).isEmpty();
}

std::optional<QVariantMap> getPasteInfoWithPasteboardName(const QString& name)
{
    const std::unique_ptr<Pasteboard> pasteboard = detail::pasteboardNamed(name, true);
    const std::unique_ptr<PasteboardSnapshot> snapshot = pasteboard ? pasteboard->snapshot() : nullptr;
    return snapshot ? detail::infoIn(*snapshot) : std::nullopt;
}

std::optional<QVariantMap> getPasteInfo() { return getPasteInfoWithPasteboardName(kVersion1Pasteboard); }

std::optional<QVariantMap> getPasteInfoForIndex(int slot)
{
    return getPasteInfoWithPasteboardName(historyPasteboardName(slot));
}

std::optional<QVariantMap> getMostRecentPasteInfo() { return getPasteInfoForIndex(getPasteIndex()); }

QByteArray getDataForIndexWithPasteboardName(int n, const QString& pasteboardName)
{
    const std::unique_ptr<Pasteboard> pasteboard = detail::pasteboardNamed(pasteboardName, true);
    const std::unique_ptr<PasteboardSnapshot> snapshot = pasteboard ? pasteboard->snapshot() : nullptr;
    if (!snapshot)
        return {};
    const QString type = kRawAudioType + QString::number(n);
    const QList<int> items = snapshot->itemsWithType(type);
    return items.isEmpty() ? QByteArray() : snapshot->data(items.first(), type);
}

QByteArray getPreviewDataForPasteboardName(const QString& name)
{
    const std::unique_ptr<Pasteboard> pasteboard = detail::pasteboardNamed(name, false, true);
    const std::unique_ptr<PasteboardSnapshot> snapshot = pasteboard ? pasteboard->snapshot() : nullptr;
    if (!snapshot)
        return {};
    const std::optional<QVariantMap> info = detail::infoIn(*snapshot);
    if (!info)
        return {};
    QByteArray buffer;
    buffer.reserve(kPreviewReserve);
    if (name == kVersion1Pasteboard) {
        const int count = info->value(kPastedCount).toInt();
        for (int n = 0; n < count; ++n) {
            const QString type = kRawAudioType + QString::number(n);
            for (int item : snapshot->itemsWithType(type).mid(0, 1))
                buffer += snapshot->data(item, type);
        }
    } else {
        for (int item : snapshot->itemsWithType(kRawAudioType))
            buffer += snapshot->data(item, kRawAudioType);
    }
    return PasteWav::createHeader(info->value(kChannels).toInt(), uint32_t(buffer.size())) + buffer;
}

}  // namespace AudioCopyPaste1
