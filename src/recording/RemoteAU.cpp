#include "recording/RemoteAU.h"

#include "library/FileSort.h"
#include "platform/Settings.h"
#include "platform/lv2/Lv2PluginInfo.h"

#include <QDateTime>
#include <QDir>
#include <QRegularExpression>
#include <QtEndian>
#include <algorithm>

namespace {

constexpr const char* kLastActiveKey = "IaaLastActiveTimes";
constexpr char kCodeChars[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789";

}  // namespace

QByteArray AudioComponentDescription::toBytes() const
{
    QByteArray bytes(kBytes, '\0');
    const uint32_t words[5] = {componentType, componentSubType, componentManufacturer, componentFlags,
                               componentFlagsMask};
    for (int i = 0; i < 5; ++i)
        qToLittleEndian(words[i], bytes.data() + 4 * i);
    return bytes;
}

std::optional<AudioComponentDescription> AudioComponentDescription::fromBytes(const QByteArray& bytes)
{
    if (bytes.size() != kBytes)
        return std::nullopt;
    auto word = [&](int i) { return qFromLittleEndian<uint32_t>(bytes.constData() + 4 * i); };
    return AudioComponentDescription{word(0), word(1), word(2), word(3), word(4)};
}

RemoteAU::RemoteAU(AudioComponentDescription description, QString component, QString name)
    : mDescription(description), mComponent(std::move(component)), mName(std::move(name))
{
}

uint32_t RemoteAU::codeFor(const QString& text)
{
    // FNV-1a over the UTF-8 bytes, spread over four letters or digits.
    uint32_t hash = 2166136261u;
    for (const char c : text.toUtf8()) {
        hash ^= uint8_t(c);
        hash *= 16777619u;
    }
    constexpr uint32_t n = sizeof kCodeChars - 1;
    uint32_t code = 0;
    for (int i = 0; i < 4; ++i) {
        code = code << 8 | uint8_t(kCodeChars[hash % n]);
        hash /= n;
    }
    return code;
}

uint32_t RemoteAU::typeForPlugin(const platform::lv2::PluginInfo& plugin)
{
    if (plugin.audioInputs == 0)
        return plugin.midiInput || plugin.instrument ? kInstrument : kGenerator;
    return plugin.midiInput ? kMusicEffect : kEffect;
}

std::shared_ptr<RemoteAU> RemoteAU::fromPlugin(const platform::lv2::PluginInfo& plugin)
{
    // The bundle by its folder name: the same plugin installed elsewhere keeps its codes.
    const QString bundleName = QDir(plugin.bundlePath).dirName();
    AudioComponentDescription d{typeForPlugin(plugin), codeFor(plugin.uri), codeFor(bundleName), 0, 0};
    auto unit = std::make_shared<RemoteAU>(d, plugin.uri, plugin.name);
    unit->setBundle(plugin.bundlePath);
    unit->setImage(plugin.iconPath);
    return unit;
}

bool RemoteAU::isFilter() const
{
    return mDescription.componentType == kMusicEffect || mDescription.componentType == kEffect;
}

bool RemoteAU::matchesDesc(const AudioComponentDescription& d) const
{
    return d.componentType == mDescription.componentType && matchesDescIgnoringType(d);
}

bool RemoteAU::matchesDescIgnoringType(const AudioComponentDescription& d) const
{
    return d.componentSubType == mDescription.componentSubType &&
           d.componentManufacturer == mDescription.componentManufacturer;
}

bool RemoteAU::isEqual(const RemoteAU* other) const
{
    return other && (other == this || matchesDesc(other->mDescription));
}

double RemoteAU::lastActiveTime() const
{
    if (mComponent.isEmpty())
        return 0;
    return platform::Settings::value(QLatin1String(kLastActiveKey)).toMap().value(mComponent).toDouble();
}

void RemoteAU::markActive() const
{
    if (mComponent.isEmpty())
        return;
    QVariantMap times = platform::Settings::value(QLatin1String(kLastActiveKey)).toMap();
    times.insert(mComponent, double(QDateTime::currentMSecsSinceEpoch()) / 1000.0);
    platform::Settings::setValue(QLatin1String(kLastActiveKey), times);
}

QString RemoteAU::nameForType(uint32_t type)
{
    switch (type) {
    case kGenerator:
        return QStringLiteral("Generator");
    case kInstrument:
        return QStringLiteral("Instrument");
    case kMusicEffect:
        return QStringLiteral("Music Effect");
    case kEffect:
        return QStringLiteral("Effect");
    default:
        return {};
    }
}

QList<RemoteAU::Item> RemoteAU::groupedRaus(const QList<Ptr>& sorted)
{
    QList<Item> items;
    QList<Ptr> group;
    auto flush = [&] {
        if (group.size() == 1)
            items.append(group.front());
        else if (!group.isEmpty())
            items.append(group);
        group.clear();
    };
    for (const Ptr& unit : sorted) {
        // One app: one bundle, and so one picture and one last active time.
        if (!group.isEmpty() && (group.front()->bundle() != unit->bundle() ||
                                 group.front()->lastActiveTime() != unit->lastActiveTime()))
            flush();
        group.append(unit);
    }
    flush();
    return items;
}

QString RemoteAU::commonPrefixForRAUs(const QList<Ptr>& units)
{
    if (units.isEmpty())
        return {};
    static const QRegularExpression wordPattern(QStringLiteral("\\(.+\\)|[^\\s]+"));
    auto words = [](const QString& name) {
        QStringList list;
        auto it = wordPattern.globalMatch(name);
        while (it.hasNext())
            list << it.next().captured();
        return list;
    };
    QStringList common = words(units.front()->name());
    for (const Ptr& unit : units) {
        const QStringList w = words(unit->name());
        qsizetype n = 0;
        while (n < common.size() && n < w.size() && common[n] == w[n])
            ++n;
        common = common.mid(0, n);
    }
    if (!common.isEmpty())
        return common.join(QLatin1Char(' '));
    QString prefix = units.front()->name();
    for (const Ptr& unit : units) {
        const QString& name = unit->name();
        qsizetype n = 0;
        while (n < prefix.size() && n < name.size() && prefix[n] == name[n])
            ++n;
        prefix.truncate(n);
    }
    return prefix.isEmpty() ? units.front()->name() : prefix;
}

namespace {

bool precedes(const RemoteAU& a, const RemoteAU& b, bool byName, const QCollator& collator)
{
    if (!byName) {
        const double ta = a.lastActiveTime(), tb = b.lastActiveTime();
        if (ta != tb)
            return ta > tb;
    }
    return collator.compare(a.name(), b.name()) < 0;
}

const RemoteAU& first(const RemoteAU::Item& item)
{
    if (const auto* unit = std::get_if<RemoteAU::Ptr>(&item))
        return **unit;
    return *std::get<QList<RemoteAU::Ptr>>(item).front();
}

}  // namespace

void RemoteAU::sortRaus(QList<Ptr>& units, bool byName)
{
    const QCollator collator = FileSort::nameCollator();
    std::stable_sort(units.begin(), units.end(),
                     [&](const Ptr& a, const Ptr& b) { return precedes(*a, *b, byName, collator); });
}

void RemoteAU::sortItems(QList<Item>& items, bool byName)
{
    const QCollator collator = FileSort::nameCollator();
    std::stable_sort(items.begin(), items.end(),
                     [&](const Item& a, const Item& b) { return precedes(first(a), first(b), byName, collator); });
}
