#include "platform/Settings.h"
#include "platform/lv2/Lv2LoadCheck.h"
#include "platform/lv2/Lv2World.h"
#include "recording/AudioEngine.h"
#include "recording/Recorder.h"
#include "recording/RecordingSettings.h"
#include "recording/RemoteAudioUnit.h"
#include "recording/screens/LevelMeter.h"
#include "recording/screens/RAUViewController.h"
#include "recording/screens/RecSettingsViewController.h"
#include "recording/screens/RecorderViewController.h"
#include "support/BuildPaths.h"
#include "support/JackServer.h"
#include "support/TempTree.h"
#include "ui/screens/NavigationController.h"

#include <QFile>
#include <QFileInfo>
#include <QLabel>
#include <QListWidget>
#include <QPushButton>
#include <QSignalSpy>
#include <QSlider>
#include <QToolButton>
#include <optional>
#include <gtest/gtest.h>

using namespace testsupport;

namespace {

class RecorderViewControllerTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_TRUE(server.start());
        AudioEngine::setup();
        ASSERT_TRUE(AudioEngine::start());
    }
    void TearDown() override { AudioEngine::teardown(); }

    TempTree tree;
    AlertCapture alerts;
    JackServer server;
};

struct Delivery {
    int calls = 0;
    bool finished = false;
    QString path;
    QString name;
};

}  // namespace

TEST_F(RecorderViewControllerTest, IdleRecordingStopAndCancel)
{
    platform::Settings::setValue(RecordingSettings::kChannelsKey, 1);
    auto* screen = new RecorderViewController;
    NavigationController navigation(screen);
    screen->installBarItems(&navigation);
    navigation.resize(380, 700);
    navigation.show();
    Delivery delivered;
    screen->recorder()->setDoneBlock([&](bool finished, const QString& path, const QString& name) {
        ++delivered.calls;
        delivered.finished = finished;
        delivered.name = name;
        // Taken away as the library does: a take left behind would be recovered at the next start.
        delivered.path = tree.path(QStringLiteral("take%1.wav").arg(delivered.calls));
        EXPECT_TRUE(QFile::rename(path, delivered.path));
    });
    QSignalSpy closing(screen, &RecorderViewController::closeRequested);

    // Idle.
    EXPECT_EQ(screen->windowTitle(), "Recorder");
    EXPECT_EQ(Recorder::currentRecorder(), screen->recorder());
    EXPECT_EQ(screen->durationLabel()->text(), "00:00.00");
    EXPECT_EQ(screen->infoLabel()->text(), QString::fromUtf8("WAVE Mono 44100 Hz \u2022 Normalize: on"));
    EXPECT_FALSE(screen->recButton()->isChecked());
    EXPECT_TRUE(screen->stopButton()->isChecked());
    EXPECT_EQ(screen->closeButton()->text(), "Close");
    EXPECT_TRUE(screen->settingsButton()->isEnabled());
    EXPECT_EQ(screen->monitorButton()->text(), "MONITOR\nOFF");
    EXPECT_FALSE(screen->playButton()->isVisible());  // the input is the source
    EXPECT_EQ(screen->slotButton(0)->toolTip(), "Hardware input");
    EXPECT_EQ(screen->slotButton(2)->text(), "FX");
    EXPECT_TRUE(screen->levelMeter()->isUpdating());
    EXPECT_EQ(screen->levelMeter()->numberOfChannels(), 2);
    EXPECT_TRUE(screen->diskLabel()->isVisible());
    EXPECT_TRUE(screen->diskLabel()->text().startsWith("Disk: ")) << screen->diskLabel()->text().toStdString();
    EXPECT_TRUE(alerts.alerts().isEmpty());

    // The settings screen goes on the stack; a REC press brings the recorder back on top.
    screen->settingsButton()->click();
    EXPECT_TRUE(qobject_cast<RecSettingsViewController*>(navigation.topViewController()));
    platform::Settings::setValue(RecordingSettings::kNormalizeKey, false);
    screen->recPress();
    EXPECT_EQ(navigation.topViewController(), screen);
    ASSERT_TRUE(screen->recorder()->isRecording());
    EXPECT_EQ(screen->infoLabel()->text(), QString::fromUtf8("WAVE Mono 44100 Hz \u2022 Normalize: off"));
    EXPECT_TRUE(screen->recButton()->isChecked());
    EXPECT_FALSE(screen->stopButton()->isChecked());
    EXPECT_EQ(screen->closeButton()->text(), "Cancel");
    EXPECT_FALSE(screen->settingsButton()->isEnabled());
    EXPECT_FALSE(screen->menuButton()->isEnabled());
    EXPECT_FALSE(screen->changeSlotButton(0)->isEnabled());
    EXPECT_EQ(screen->dropoutsLabel()->text(), "Dropouts: 0");
    EXPECT_TRUE(waitUntil([&] { return screen->durationLabel()->text() >= "00:00.30"; }, 30000))
        << screen->durationLabel()->text().toStdString();
    EXPECT_TRUE(screen->diskLabel()->text().startsWith("Disk: ")) << screen->diskLabel()->text().toStdString();

    // STOP: one delivery of a finished take that is on disk.
    screen->stopButton()->click();
    EXPECT_TRUE(waitUntil([&] { return delivered.calls > 0; }, 30000));
    EXPECT_EQ(delivered.calls, 1);
    EXPECT_TRUE(delivered.finished);
    EXPECT_TRUE(QFileInfo(delivered.path).size() > 44) << delivered.path.toStdString();
    EXPECT_EQ(delivered.name, "Recorded Audio");
    EXPECT_FALSE(screen->recButton()->isChecked());
    EXPECT_TRUE(screen->stopButton()->isChecked());
    EXPECT_EQ(screen->closeButton()->text(), "Close");
    EXPECT_TRUE(screen->settingsButton()->isEnabled());
    EXPECT_NE(screen->durationLabel()->text(), "00:00.00");  // the last take's length stays

    // Cancel during a take: the file goes, nothing is delivered, the screen stays.
    screen->recPress();
    ASSERT_TRUE(screen->recorder()->isRecording());
    const QString take = screen->recorder()->recordURL();
    // Once the audio thread writes the new take.
    EXPECT_TRUE(waitUntil([&] { return screen->recorder()->currentRecState() && screen->recorder()->recDuration() > 0.1; }, 30000));
    screen->closeButton()->click();
    EXPECT_TRUE(waitUntil([&] { return screen->recorder()->state() == Recorder::State::Idle; }, 30000));
    EXPECT_EQ(delivered.calls, 1);
    EXPECT_FALSE(QFileInfo::exists(take));
    EXPECT_EQ(screen->durationLabel()->text(), "00:00.00");
    EXPECT_EQ(closing.count(), 0);
    EXPECT_EQ(screen->closeButton()->text(), "Close");
    // Close while idle asks to be taken away.
    screen->closeButton()->click();
    EXPECT_EQ(closing.count(), 1);
    EXPECT_TRUE(alerts.alerts().isEmpty()) << alerts.alerts().join('\n').toStdString();
}

TEST_F(RecorderViewControllerTest, MonitorLevelAndFilePlayerSource)
{
    RecorderViewController screen;
    screen.monitorButton()->click();
    EXPECT_TRUE(AudioEngine::isMonitoring());
    EXPECT_EQ(screen.monitorButton()->text(), "MONITOR\nON");
    screen.monitorButton()->click();
    EXPECT_FALSE(AudioEngine::isMonitoring());
    EXPECT_EQ(screen.monitorButton()->text(), "MONITOR\nOFF");

    screen.levelSlider()->setValue(250);
    EXPECT_FLOAT_EQ(AudioEngine::recLevel(), 0.25f);

    // The file player in slot 0: its slot shows it, and its play button appears.
    AudioEngine::setRau(AudioEngine::fakePlayerRau(), 0);
    EXPECT_EQ(AudioEngine::updateIaaUnits(), 0);
    EXPECT_TRUE(waitUntil([&] { return screen.slotButton(0)->toolTip() == AudioEngine::fakePlayerRau()->name(); }));
    EXPECT_FALSE(screen.playButton()->isHidden());
    AudioEngine::setRau(nullptr, 0);
    AudioEngine::updateIaaUnits();
    EXPECT_TRUE(waitUntil([&] { return screen.playButton()->isHidden(); }));
    EXPECT_EQ(screen.slotButton(0)->toolTip(), "Hardware input");
}

// STOP (or Cancel) pressed before the audio thread has seen the take start still ends it:
// delivered once, or deleted, and the next take can start.
TEST_F(RecorderViewControllerTest, InstantStopAndCancelEndTheTake)
{
    RecorderViewController screen;
    int calls = 0;
    screen.recorder()->setDoneBlock([&](bool finished, const QString& path, const QString&) {
        ++calls;
        EXPECT_TRUE(finished);
        EXPECT_TRUE(QFile::rename(path, tree.path(QStringLiteral("instant%1.wav").arg(calls))));
    });
    for (int round = 1; round <= 4; ++round) {
        screen.recPress();
        ASSERT_TRUE(screen.recorder()->isRecording());
        screen.recPress();
        ASSERT_TRUE(waitUntil([&] { return screen.recorder()->state() == Recorder::State::Idle; }))
            << "round " << round;
        EXPECT_EQ(calls, round);
    }
    screen.recPress();
    const QString take = screen.recorder()->recordURL();
    screen.cancelPress();
    ASSERT_TRUE(waitUntil([&] { return screen.recorder()->state() == Recorder::State::Idle; }));
    EXPECT_EQ(calls, 4);
    EXPECT_FALSE(QFileInfo::exists(take));
    EXPECT_EQ(screen.recButton()->isChecked(), false);
}

// Without a server there is no input: the screen says so and leaves the meter still; REC
// then fails with its alert.
TEST(RecorderViewControllerNoServer, NoInputsAlertAndNoStart)
{
    TempTree tree;
    AlertCapture alerts;
    qputenv("JACK_DEFAULT_SERVER", "wltest-nobody-home");
    AudioEngine::setup();
    {
        RecorderViewController screen;
        ASSERT_FALSE(alerts.alerts().isEmpty());
        EXPECT_EQ(alerts.alerts()[0],
                  "Can not record|No audio inputs available. This could be due to the audio server's setup, please "
                  "try and restart the JACK server and all your audio programs.");
        EXPECT_FALSE(screen.levelMeter()->isUpdating());
        screen.recButton()->click();
        EXPECT_FALSE(screen.recorder()->isRecording());
        EXPECT_TRUE(alerts.alerts().contains("Sorry|Could not start recording"));
        EXPECT_FALSE(screen.recButton()->isChecked());
        EXPECT_TRUE(screen.stopButton()->isChecked());
    }
    AudioEngine::teardown();
}

// A slot's arrow opens the chooser on the stack; the unit picked loads under a spinner and the
// slot shows it.
TEST_F(RecorderViewControllerTest, ChooserLoadsIntoTheSlot)
{
    auto* screen = new RecorderViewController;
    NavigationController navigation(screen);
    screen->changeSlotButton(0)->click();
    auto* chooser = qobject_cast<RAUViewController*>(navigation.topViewController());
    ASSERT_TRUE(chooser);
    EXPECT_EQ(chooser->windowTitle(), "Choose source");
    QListWidgetItem* player = nullptr;
    for (int i = 0; i < chooser->list()->count(); ++i)
        if (chooser->list()->item(i)->text().startsWith("File Player"))
            player = chooser->list()->item(i);
    ASSERT_TRUE(player);
    chooser->choose(player);
    EXPECT_EQ(navigation.topViewController(), screen);
    EXPECT_TRUE(screen->slotIsLoading(0));
    EXPECT_TRUE(waitUntil([&] { return !screen->slotIsLoading(0); }));
    EXPECT_EQ(AudioEngine::rauAtSlot(0), AudioEngine::fakePlayerRau());
    EXPECT_EQ(screen->slotButton(0)->toolTip(), AudioEngine::fakePlayerRau()->name());
    EXPECT_FALSE(screen->playButton()->isHidden());
}

// A unit whose plugin was never checked: the child checks it while the window goes on, and the
// slot is busy meanwhile. A crash there ends in one alert and an empty slot; of two choices for
// one slot the later wins; a window gone meanwhile is left alone.
class RecorderViewControllerUnitCheckTest : public RecorderViewControllerTest {
protected:
    void SetUp() override
    {
        qputenv("LV2_PATH", (lv2Dir() + QStringLiteral(":/usr/lib/lv2")).toLocal8Bit());
        RecorderViewControllerTest::SetUp();
        platform::lv2::LoadCheck::setChecker(binDir() + "/wavelocker-tool");
    }
    void TearDown() override
    {
        platform::lv2::LoadCheck::setChecker({});
        for (int i = 0; i < AudioEngine::kSlotCount; ++i)
            AudioEngine::setRau(nullptr, i);
        RecorderViewControllerTest::TearDown();
    }
    static std::shared_ptr<RemoteAU> unit(const char* uri)
    {
        auto rau = AudioEngine::findRau(QString::fromLatin1(uri));
        EXPECT_TRUE(rau) << uri;
        return rau;
    }
    int checks(const QString& uri) const { return int(logs.lines().count("Checking " + uri + " in a separate process")); }

    LogCapture logs;
    QObject context;
};

TEST_F(RecorderViewControllerUnitCheckTest, TheWindowGoesOnWhileAPluginIsChecked)
{
    const QString probeUri = "urn:wavelocker:test:probe";
    RecorderViewController screen;
    const auto probe = unit("urn:wavelocker:test:probe");
    const auto crash = unit("urn:wavelocker:test:crash");
    const auto overdrive = unit("http://drobilla.net/plugins/mda/Overdrive");
    const auto amp = unit("http://plugin.org.uk/swh-plugins/amp");
    const auto delay = unit("http://drobilla.net/plugins/mda/Delay");
    ASSERT_TRUE(probe && crash && overdrive && amp && delay);

    // The check runs while events go on being handled: when its start is seen, the slot is
    // still busy and empty. A second asker of the same plugin waits for the same child.
    screen.loadRau(probe, 1);
    QObject asker;
    std::optional<platform::lv2::LoadCheck::Result> second;
    ASSERT_TRUE(waitUntil([&] { return checks(probeUri) == 1; }));
    EXPECT_TRUE(screen.slotIsLoading(1));
    EXPECT_FALSE(AudioEngine::rauAtSlot(1));
    platform::lv2::LoadCheck::checkInBackground(*platform::lv2::World::shared().find(probeUri), 44100, 512, &asker,
                                                [&](auto result, const QString&) { second = result; });
    ASSERT_TRUE(waitUntil([&] { return !screen.slotIsLoading(1) && second; }, 30000));
    EXPECT_EQ(*second, platform::lv2::LoadCheck::Result::Runs);
    EXPECT_EQ(checks(probeUri), 1);
    ASSERT_TRUE(AudioEngine::iaaAtSlot(1));
    EXPECT_EQ(AudioEngine::iaaAtSlot(1)->rau(), probe);
    EXPECT_EQ(screen.slotButton(1)->toolTip(), probe->name());
    EXPECT_TRUE(alerts.alerts().isEmpty());

    // A plugin that crashes in the child: one alert, its slot empty, the others untouched.
    screen.loadRau(crash, 3);
    ASSERT_TRUE(waitUntil([&] { return !screen.slotIsLoading(3); }, 30000));
    EXPECT_EQ(alerts.alerts(), QStringList{"Sorry|Could not create IAA node. Invalid format"});
    EXPECT_FALSE(AudioEngine::rauAtSlot(3));
    EXPECT_EQ(screen.slotButton(3)->toolTip(), "Empty");
    EXPECT_TRUE(platform::lv2::World::shared().skippedPlugins().contains("urn:wavelocker:test:crash"));
    EXPECT_EQ(AudioEngine::iaaAtSlot(1)->rau(), probe);

    // Two choices for one slot, both waiting for their checks: the later one ends up there.
    screen.loadRau(overdrive, 2);
    screen.loadRau(amp, 2);
    ASSERT_TRUE(waitUntil([&] { return screen.slotIsLoading(2); }));
    ASSERT_TRUE(waitUntil([&] { return !screen.slotIsLoading(2); }, 30000));
    ASSERT_TRUE(AudioEngine::iaaAtSlot(2));
    EXPECT_EQ(AudioEngine::iaaAtSlot(2)->rau(), amp);
    EXPECT_EQ(screen.slotButton(2)->toolTip(), amp->name());
    EXPECT_TRUE(waitUntil([&] { return logs.contains("A later choice for slot 2 replaces MDA Overdrive"); }, 30000));
    EXPECT_EQ(AudioEngine::rauAtSlot(2), amp);
    EXPECT_EQ(checks("http://drobilla.net/plugins/mda/Overdrive"), 1);
    EXPECT_EQ(alerts.alerts().size(), 1);

    // A window closed while its choice is checked: the check still ends, the slot stays as it was.
    {
        auto* other = new RecorderViewController;
        other->loadRau(delay, 3);
        ASSERT_TRUE(waitUntil([&] { return checks("http://drobilla.net/plugins/mda/Delay") == 1; }));
        delete other;
    }
    ASSERT_TRUE(waitUntil(
        [&] { return platform::lv2::LoadCheck::isChecked(*platform::lv2::World::shared().find(delay->component())); },
        30000));
    QCoreApplication::processEvents();
    EXPECT_FALSE(AudioEngine::rauAtSlot(3));
    EXPECT_EQ(AudioEngine::iaaAtSlot(2)->rau(), amp);
}

// The units put in slots last are checked after the start, so choosing them again waits for nothing.
TEST_F(RecorderViewControllerUnitCheckTest, RecentUnitsAreCheckedAheadOfTheirChoice)
{
    const auto delay = unit("http://drobilla.net/plugins/mda/Delay");
    const auto amp = unit("http://plugin.org.uk/swh-plugins/amp");
    ASSERT_TRUE(delay && amp);
    delay->markActive();
    AudioEngine::checkRecentUnits();
    const auto* info = platform::lv2::World::shared().find(delay->component());
    ASSERT_TRUE(waitUntil([&] { return platform::lv2::LoadCheck::isChecked(*info); }, 30000));
    EXPECT_EQ(checks(delay->component()), 1);
    EXPECT_EQ(checks(amp->component()), 0);  // never in a slot

    std::optional<int> code;
    AudioEngine::chooseUnits({{1, delay, {}}}, &context, [&](int c, bool applied) {
        EXPECT_TRUE(applied);
        code = c;
    });
    EXPECT_EQ(code, 0);  // settled before the call returned
    EXPECT_EQ(AudioEngine::rauAtSlot(1), delay);
    EXPECT_EQ(checks(delay->component()), 1);
}
