#include "recording/RAUChooserModel.h"

#include "platform/lv2/Lv2World.h"
#include "recording/AudioEngine.h"

RAUChooserModel RAUChooserModel::forSlot(int slot, const QString& slot0Title)
{
    RAUChooserModel m;
    m.currentRAU = AudioEngine::rauAtSlot(slot);
    m.leftOut = platform::lv2::World::shared().skippedPlugins();
    if (slot == 0) {
        m.title = QStringLiteral("Choose source");
        m.iaaHeaderTitle = QStringLiteral("Inter-App Audio sources");
        m.includeFakePlayer = true;
        if (!slot0Title.isEmpty()) {
            m.noneTitle = QStringLiteral("Audiobus");
            m.noneSubTitle = slot0Title;
            m.noneImage = QStringLiteral("audiobus");
        } else {
            m.noneTitle = QStringLiteral("Main In");
            m.noneSubTitle = QStringLiteral("Hardware input");
            m.noneImage = QStringLiteral("iaa_mic");
        }
        m.remoteAUs = RemoteAU::groupedRaus(AudioEngine::remoteSources());
        m.downloadableItems = AudioEngine::downloadableSources();
    } else {
        m.title = QStringLiteral("Choose effect");
        m.iaaHeaderTitle = QStringLiteral("Inter-App Audio effects");
        m.noneTitle = QStringLiteral("Empty");
        m.noneSubTitle = QStringLiteral("No effect");
        m.noneImage = QStringLiteral("iaa_empty");
        m.remoteAUs = RemoteAU::groupedRaus(AudioEngine::remoteFilters());
        m.downloadableItems = AudioEngine::downloadableFilters();
    }
    return m;
}

QList<RAUChooserModel::Row> RAUChooserModel::rows(int section) const
{
    QList<Row> out;
    auto isCurrent = [&](const RemoteAU::Ptr& u) { return currentRAU && u && currentRAU->isEqual(u.get()); };
    if (section == 0 && !isGroup) {
        Row none;
        none.title = noneTitle;
        none.subtitle = noneSubTitle;
        none.image = noneImage;
        none.current = !currentRAU;
        out << none;
        if (includeFakePlayer) {
            Row player;
            player.kind = Row::FilePlayer;
            player.unit = AudioEngine::fakePlayerRau();
            player.title = player.unit->name();
            player.image = player.unit->image();
            player.current = currentRAU == player.unit;
            out << player;
        }
    } else if (section == 1) {
        for (const RemoteAU::Item& item : remoteAUs) {
            Row row;
            if (const auto* unit = std::get_if<RemoteAU::Ptr>(&item)) {
                row.kind = Row::Unit;
                row.unit = *unit;
                row.title = (*unit)->name();
                row.subtitle = RemoteAU::nameForType((*unit)->description().componentType);
                row.image = (*unit)->image();
                row.current = isCurrent(*unit);
            } else {
                row.kind = Row::Group;
                row.group = std::get<QList<RemoteAU::Ptr>>(item);
                row.title = RemoteAU::commonPrefixForRAUs(row.group);
                row.subtitle = QStringLiteral("%1 units").arg(row.group.size());
                row.image = row.group.front()->image();
                row.current = std::any_of(row.group.begin(), row.group.end(), isCurrent);
            }
            out << row;
        }
    } else if (section == 2) {
        for (const QVariant& v : downloadableItems) {
            const QVariantMap entry = v.toMap();
            Row row;
            row.kind = Row::Download;
            row.download = entry;
            row.title = entry.value(QStringLiteral("name")).toString();
            row.subtitle = RemoteAU::nameForType(AudioEngine::descriptionOfNode(entry).componentType);
            row.image = entry.value(QStringLiteral("icon")).toString();
            out << row;
        }
    }
    return out;
}

QString RAUChooserModel::sectionTitle(int section) const
{
    if (section == 1)
        return iaaHeaderTitle;
    if (section == 2 && !downloadableItems.isEmpty())
        return QStringLiteral("Available for download");
    return {};
}

QString RAUChooserModel::footer() const
{
    QStringList lines;
    if (remoteAUs.isEmpty())
        lines << QStringLiteral("No compatible plugins installed.");
    if (!leftOut.isEmpty() && !isGroup)
        lines << QStringLiteral("Left out because they crashed or hung while loading: %1").arg(leftOut.join(QStringLiteral(", ")));
    return lines.join(QLatin1Char('\n'));
}

QString RAUChooserModel::sortTitle() const { return mByName ? QStringLiteral("A-Z") : QStringLiteral("\u25F7"); }

void RAUChooserModel::toggleSort()
{
    if (disableSort)
        return;
    mByName = !mByName;
    RemoteAU::sortItems(remoteAUs, mByName);
}

RAUChooserModel RAUChooserModel::groupModel(const Row& groupRow) const
{
    RAUChooserModel m = *this;
    m.title = groupRow.title;
    m.remoteAUs.clear();
    for (const auto& unit : groupRow.group)
        m.remoteAUs << unit;
    m.downloadableItems.clear();
    m.isGroup = true;
    return m;
}
