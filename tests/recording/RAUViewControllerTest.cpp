#include "recording/AudioEngine.h"
#include "recording/IaaSetups.h"
#include "recording/screens/IAAPresetsViewController.h"
#include "recording/screens/RAUViewController.h"
#include "support/TempTree.h"

#include <QListWidget>
#include <QPushButton>
#include <gtest/gtest.h>

using namespace testsupport;

namespace {

QListWidgetItem* find(QListWidget* list, const QString& start)
{
    for (int i = 0; i < list->count(); ++i)
        if (list->item(i)->text().startsWith(start))
            return list->item(i);
    return nullptr;
}

}  // namespace

TEST(RAUViewController, SectionsGroupsSortAndChoice)
{
    TempTree tree;
    AudioEngine::refreshAUList();
    RAUChooserModel model = RAUChooserModel::forSlot(2);
    model.downloadableItems = {QVariantMap{{"name", "LSP plugins"}, {"type", "aurx"}, {"url", "https://x"}}};
    RAUViewController chooser(model);
    EXPECT_EQ(chooser.windowTitle(), "Choose effect");
    QListWidget* list = chooser.list();
    ASSERT_TRUE(find(list, QString::fromUtf8("\u2713 Empty\nNo effect")));  // the slot is empty
    ASSERT_TRUE(find(list, "INTER-APP AUDIO EFFECTS"));
    EXPECT_FALSE(find(list, "INTER-APP AUDIO EFFECTS")->flags() & Qt::ItemIsEnabled);
    ASSERT_TRUE(find(list, "AVAILABLE FOR DOWNLOAD"));
    EXPECT_TRUE(find(list, "LSP plugins\nEffect"));
    EXPECT_FALSE(find(list, "File Player"));  // effects only
    EXPECT_EQ(chooser.sortButton()->text(), QString::fromUtf8("\u25F7"));
    chooser.sortPress();
    EXPECT_EQ(chooser.sortButton()->text(), "A-Z");

    // The MDA bundle is one app: one row that opens its units.
    QListWidgetItem* group = find(list, QString::fromUtf8("MDA\n"));
    ASSERT_TRUE(group) << "no MDA group";
    chooser.choose(group);
    EXPECT_EQ(chooser.windowTitle(), "MDA");
    EXPECT_FALSE(find(list, "Empty"));
    RemoteAU::Ptr picked;
    bool called = false;
    chooser.selectedRAU = [&](RAUViewController*, RemoteAU::Ptr rau) {
        called = true;
        picked = std::move(rau);
    };
    chooser.choose(find(list, "MDA Overdrive"));
    ASSERT_TRUE(picked);
    EXPECT_EQ(picked->component(), "http://drobilla.net/plugins/mda/Overdrive");
    chooser.choose(find(list, QString::fromUtf8("\u2039")));  // back to every unit
    called = false;
    chooser.choose(find(list, QString::fromUtf8("\u2713 Empty")));
    EXPECT_TRUE(called);
    EXPECT_FALSE(picked);

    // The source chooser: the input, the file player, and the footer when nothing is installed.
    RAUChooserModel source = RAUChooserModel::forSlot(0);
    source.remoteAUs.clear();
    RAUViewController sources(source);
    EXPECT_EQ(sources.windowTitle(), "Choose source");
    EXPECT_TRUE(find(sources.list(), QString::fromUtf8("\u2713 Main In\nHardware input")));
    EXPECT_TRUE(find(sources.list(), "File Player"));
    EXPECT_EQ(source.footer(), "No compatible plugins installed.");
    EXPECT_EQ(RAUChooserModel::forSlot(0, "Synth").noneTitle, "Audiobus");
}

TEST(IAAPresetsViewController, RowsSaveFailureAndDelete)
{
    TempTree tree;
    AlertCapture alerts;
    AudioEngine::refreshAUList();
    ASSERT_TRUE(IaaSetups::saveCurrentSetup("Empty one"));
    IAAPresetsViewController screen;
    EXPECT_EQ(screen.windowTitle(), "IAA Setups");
    QListWidget* list = screen.list();
    ASSERT_EQ(list->count(), 3);
    EXPECT_EQ(list->item(0)->text(), "Save current setup");
    EXPECT_EQ(list->item(1)->text(), "Clear\nEmpty all slots");
    EXPECT_EQ(list->item(2)->text(), "Empty one");
    screen.saveSetup("../outside");
    EXPECT_EQ(alerts.alerts(), QStringList{"Sorry|Could not save setup to file"});
    screen.deleteSetup(0);
    EXPECT_EQ(list->count(), 2);
    EXPECT_TRUE(IaaSetups::refreshList().isEmpty());
}
