#include "platform/HostEngine.h"
#include "platform/Settings.h"
#include "recording/RecordingSettings.h"
#include "recording/screens/AudioSettingsViewController.h"
#include "recording/screens/RecSettingsViewController.h"
#include "support/JackServer.h"
#include "support/TempTree.h"
#include "ui/screens/NavigationController.h"
#include "ui/screens/SegmentedControl.h"

#include <QAction>
#include <QLabel>
#include <QMenu>
#include <QPushButton>
#include <QStackedWidget>
#include <gtest/gtest.h>

using namespace testsupport;

namespace {

// Clicks the segment with the title, as a user does.
void tap(SegmentedControl* control, const QString& title)
{
    for (QPushButton* b : control->findChildren<QPushButton*>())
        if (b->text() == title) {
            b->click();
            return;
        }
    ADD_FAILURE() << "no segment " << title.toStdString();
}

int stored(const QString& key) { return platform::Settings::value(key).toInt(); }

bool shows(QWidget* control)
{
    auto* stack = qobject_cast<QStackedWidget*>(control->parentWidget());
    return stack && stack->currentWidget() == control;
}

}  // namespace

TEST(RecSettingsViewController, ChoicesAreStoredWithTheFormatRules)
{
    TempTree tree;
    AlertCapture alerts;
    JackServer server(512, 44100);
    ASSERT_TRUE(server.start());
    platform::HostEngine engine(QStringLiteral("WavelockerRecSettings"));
    ASSERT_TRUE(engine.start());

    RecSettingsViewController screen(&engine);
    EXPECT_EQ(screen.windowTitle(), "Rec Settings");
    // The defaults.
    EXPECT_EQ(screen.formatButton()->text(), "WAVE");
    EXPECT_EQ(screen.channelsControl()->selectedSegmentIndex(), 0);
    EXPECT_EQ(screen.bitLabel()->text(), "Bit depth");
    EXPECT_TRUE(shows(screen.bitsControl()));
    EXPECT_EQ(screen.bitsControl()->title(screen.bitsControl()->selectedSegmentIndex()), "16");
    EXPECT_EQ(screen.sampleRateControl()->title(screen.sampleRateControl()->selectedSegmentIndex()), "44k");
    for (SegmentedControl* c : {screen.normalizeControl(), screen.autoOpenControl(), screen.abMonitorControl()})
        EXPECT_EQ(c->title(c->selectedSegmentIndex()), "ON");

    // 32 bits, then the format without 32-bit samples: 24 is selected and stored.
    tap(screen.bitsControl(), "32");
    EXPECT_EQ(stored(RecordingSettings::kBitsKey), 32);
    screen.formatPress();
    ASSERT_TRUE(screen.openSheet());
    QStringList entries;
    for (QAction* a : screen.openSheet()->actions())
        entries << a->text();
    EXPECT_EQ(entries, (QStringList{"Choose format", "WAVE", "AIFF", "CAF", "M4A AAC", "M4A ALAC"}));
    screen.openSheet()->actions()[2]->trigger();  // AIFF
    EXPECT_EQ(stored(RecordingSettings::kFormatKey), 1);
    EXPECT_EQ(screen.formatButton()->text(), "AIFF");
    EXPECT_EQ(screen.bitsControl()->title(screen.bitsControl()->selectedSegmentIndex()), "24");
    EXPECT_EQ(stored(RecordingSettings::kBitsKey), 24);
    // Choosing 32 while it is the format selects 24.
    tap(screen.bitsControl(), "32");
    EXPECT_EQ(screen.bitsControl()->title(screen.bitsControl()->selectedSegmentIndex()), "24");
    EXPECT_EQ(stored(RecordingSettings::kBitsKey), 24);

    // The compressed format takes a bit rate in the same row.
    screen.formatSelected(3);
    EXPECT_EQ(screen.formatButton()->text(), "M4A AAC");
    EXPECT_EQ(screen.bitLabel()->text(), "Bit rate (kb/s)");
    EXPECT_TRUE(shows(screen.bitrateControl()));
    EXPECT_EQ(screen.bitrateControl()->title(screen.bitrateControl()->selectedSegmentIndex()), "128");
    tap(screen.bitrateControl(), "256");
    EXPECT_EQ(stored(RecordingSettings::kBitRateKey), 256000);
    screen.formatSelected(4);  // ALAC: a depth again
    EXPECT_EQ(screen.bitLabel()->text(), "Bit depth");
    EXPECT_TRUE(shows(screen.bitsControl()));

    tap(screen.channelsControl(), "Mono");
    EXPECT_EQ(stored(RecordingSettings::kChannelsKey), 1);
    tap(screen.normalizeControl(), "OFF");
    tap(screen.autoOpenControl(), "OFF");
    tap(screen.abMonitorControl(), "OFF");
    EXPECT_FALSE(platform::Settings::value(RecordingSettings::kNormalizeKey).toBool());
    EXPECT_FALSE(platform::Settings::value(RecordingSettings::kAutoOpenKey).toBool());
    EXPECT_FALSE(platform::Settings::value(RecordingSettings::kAbMonitorKey).toBool());

    // Above the server's rate: the warning and the converting label; at it: plain; below: converting.
    EXPECT_TRUE(alerts.alerts().isEmpty());
    tap(screen.sampleRateControl(), "96k");
    EXPECT_EQ(stored(RecordingSettings::kSampleRateKey), 96000);
    ASSERT_EQ(alerts.alerts().size(), 1);
    EXPECT_EQ(alerts.alerts()[0],
              "Warning|The selected sample rate (96000) is higher than the current hardware sample rate (44100). "
              "Recording will be converted instead of using the higher fidelity. Change the hardware sample rate in "
              "Hardware Settings.");
    EXPECT_EQ(screen.sampleRateLabel()->text(), "Sample rate - converting from 44100");
    tap(screen.sampleRateControl(), "44k");
    EXPECT_EQ(screen.sampleRateLabel()->text(), "Sample rate");
    tap(screen.sampleRateControl(), "22k");
    EXPECT_EQ(stored(RecordingSettings::kSampleRateKey), 22050);
    EXPECT_EQ(screen.sampleRateLabel()->text(), "Sample rate - converting from 44100");
    EXPECT_EQ(alerts.alerts().size(), 1);

    // A new screen shows what is stored, and checks the rate as it is shown.
    platform::Settings::setValue(RecordingSettings::kSampleRateKey, 48000);
    NavigationController navigation(new RecSettingsViewController(&engine));
    navigation.show();
    auto* again = qobject_cast<RecSettingsViewController*>(navigation.topViewController());
    ASSERT_TRUE(again);
    EXPECT_EQ(again->channelsControl()->selectedSegmentIndex(), 1);
    EXPECT_EQ(again->formatButton()->text(), "M4A ALAC");
    EXPECT_EQ(again->normalizeControl()->selectedSegmentIndex(), 0);
    EXPECT_EQ(alerts.alerts().size(), 2);
    EXPECT_EQ(again->sampleRateLabel()->text(), "Sample rate - converting from 44100");
    // The way to the hardware settings.
    again->hardwareButton()->click();
    auto* hardware = qobject_cast<AudioSettingsViewController*>(navigation.topViewController());
    ASSERT_TRUE(hardware);
    EXPECT_EQ(hardware->bufferButton()->text(), "512");
}
