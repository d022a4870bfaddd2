#include "platform/CaptureVolume.h"
#include "platform/HostEngine.h"
#include "recording/HardwareSettings.h"
#include "recording/screens/AudioSettingsViewController.h"
#include "support/JackServer.h"
#include "support/TempTree.h"

#include <QAction>
#include <QGraphicsOpacityEffect>
#include <QLabel>
#include <QMenu>
#include <QProcess>
#include <QPushButton>
#include <QSlider>
#include <atomic>
#include <gtest/gtest.h>
#include <jack/jack.h>
#include <thread>

using namespace testsupport;

namespace {

const QString kBufferAlert =
    QStringLiteral("Sorry|The current buffer size is controlled by another app and can not be set here.");
const QString kRateAlert = QStringLiteral("Sorry|Could not set the preferred sample rate.");

double opacity(QWidget* w)
{
    auto* effect = qobject_cast<QGraphicsOpacityEffect*>(w->graphicsEffect());
    return effect ? effect->opacity() : 1.0;
}

QAction* sheetAction(QMenu* sheet, const QString& text)
{
    for (QAction* a : sheet->actions())
        if (a->text() == text)
            return a;
    return nullptr;
}

// Another JACK program that insists on its buffer size: whenever the server runs with another
// one, it sets its own again.
class GreedyClient {
public:
    explicit GreedyClient(jack_nframes_t frames) : mFrames(frames)
    {
        jack_status_t status{};
        mClient = jack_client_open("greedy", JackNoStartServer, &status);
        if (!mClient)
            return;
        mThread = std::thread([this] {
            while (!mStop) {
                if (jack_get_buffer_size(mClient) != mFrames)
                    jack_set_buffer_size(mClient, mFrames);
                std::this_thread::sleep_for(std::chrono::milliseconds(5));
            }
        });
    }
    ~GreedyClient()
    {
        mStop = true;
        if (mThread.joinable())
            mThread.join();
        if (mClient)
            jack_client_close(mClient);
    }
    bool ok() const { return mClient != nullptr; }

private:
    jack_nframes_t mFrames;
    jack_client_t* mClient = nullptr;
    std::atomic<bool> mStop{false};
    std::thread mThread;
};

}  // namespace

TEST(AudioSettingsViewController, BufferAndRateOnARealServer)
{
    TempTree tree;
    AlertCapture alerts;
    HardwareSettings::resetPreferences();
    JackServer server(512, 44100);
    ASSERT_TRUE(server.start());
    platform::HostEngine engine(QStringLiteral("WavelockerSettings"));
    ASSERT_TRUE(engine.start());

    AudioSettingsViewController screen(&engine);
    EXPECT_EQ(screen.windowTitle(), "Audio Settings");
    EXPECT_EQ(screen.bufferButton()->text(), "512");
    EXPECT_EQ(screen.sampleRateButton()->text(), "44k");
    EXPECT_EQ(opacity(screen.bufferButton()), 1.0);
    // The dummy driver has no sound card: the gain row says so and can't be moved.
    EXPECT_FALSE(screen.gainSlider()->isEnabled());
    EXPECT_TRUE(screen.gainSubtitle()->text().contains("no sound card")) << screen.gainSubtitle()->text().toStdString();
    // Measurement mode is shown on and can't be switched.
    EXPECT_TRUE(screen.measurementButton()->isChecked());
    EXPECT_FALSE(screen.measurementButton()->isEnabled());
    EXPECT_EQ(screen.measurementButton()->text(), "ON");

    // The sheet marks the server's size; a choice the server takes: no alert, not dimmed.
    screen.bufferPress();
    ASSERT_TRUE(screen.openSheet());
    EXPECT_TRUE(sheetAction(screen.openSheet(), QString::fromUtf8("\u221A 512 frames")));
    EXPECT_TRUE(sheetAction(screen.openSheet(), "  64 frames"));
    EXPECT_FALSE(sheetAction(screen.openSheet(), "Cancel"));  // Escape leaves a desktop menu
    sheetAction(screen.openSheet(), "  256 frames")->trigger();
    EXPECT_TRUE(waitUntil([&] { return !screen.settings()->bufferRequestPending(); }));
    EXPECT_EQ(screen.bufferButton()->text(), "256");
    EXPECT_EQ(opacity(screen.bufferButton()), 1.0);
    EXPECT_TRUE(alerts.alerts().isEmpty());
    EXPECT_EQ(HardwareSettings::preferredBufferFrames(), 256u);

    // Another program changes it: the button follows and dims, without an alert.
    QProcess bufsize;
    bufsize.start(QStringLiteral("jack_bufsize"), {QStringLiteral("1024")});
    ASSERT_TRUE(bufsize.waitForFinished(20000));
    EXPECT_TRUE(waitUntil([&] { return screen.bufferButton()->text() == "1024"; }));
    EXPECT_NEAR(opacity(screen.bufferButton()), 0.3, 1e-9);
    EXPECT_TRUE(alerts.alerts().isEmpty());

    // A program that holds its size: our request ends in the alert, the button stays dimmed.
    {
        GreedyClient greedy(1024);
        ASSERT_TRUE(greedy.ok());
        screen.bufferSelected(1);  // 128
        EXPECT_TRUE(waitUntil([&] { return alerts.alerts().contains(kBufferAlert); }));
        EXPECT_EQ(screen.bufferButton()->text(), "1024");
        EXPECT_NEAR(opacity(screen.bufferButton()), 0.3, 1e-9);
    }
    EXPECT_EQ(alerts.alerts().count(kBufferAlert), 1);

    // A JACK client can't change the server's rate: another rate ends in the alert, its own doesn't.
    screen.sampleRatePress();
    ASSERT_TRUE(screen.openSheet());
    EXPECT_TRUE(sheetAction(screen.openSheet(), QString::fromUtf8("\u221A 44100 Hz")));
    sheetAction(screen.openSheet(), "  96000 Hz")->trigger();
    EXPECT_EQ(alerts.alerts().count(kRateAlert), 1);
    EXPECT_EQ(screen.sampleRateButton()->text(), "44k");
    screen.rateSelected(2);  // 44100
    EXPECT_EQ(alerts.alerts().count(kRateAlert), 1);
}

TEST(AudioSettingsViewController, WithoutServerEveryRowSaysWhy)
{
    TempTree tree;
    AlertCapture alerts;
    HardwareSettings::resetPreferences();
    platform::HostEngine engine(QStringLiteral("WavelockerSettings"));
    engine.setServerName(QStringLiteral("wltest-no-such-server"));
    AudioSettingsViewController screen(&engine);
    EXPECT_FALSE(screen.bufferButton()->isEnabled());
    EXPECT_FALSE(screen.sampleRateButton()->isEnabled());
    EXPECT_FALSE(screen.gainSlider()->isEnabled());
    EXPECT_TRUE(screen.bufferSubtitle()->text().endsWith("No audio server is running."));
    EXPECT_TRUE(screen.rateSubtitle()->text().endsWith("No audio server is running."));
    EXPECT_EQ(screen.gainSubtitle()->text(), "No audio server is running.");
}

TEST(CaptureVolume, DeviceOfTheServersInputs)
{
    using platform::CaptureVolume;
    EXPECT_EQ(CaptureVolume::deviceFromAliases({"alsa_pcm:hw:PCH:out1"}), "hw:PCH");
    EXPECT_EQ(CaptureVolume::deviceFromAliases({"something", "alsa_pcm:hw:1,0:out2"}), "hw:1");
    EXPECT_EQ(CaptureVolume::deviceFromAliases({"alsa_pcm:plughw:2,0:capture_1"}), "hw:2");
    EXPECT_EQ(CaptureVolume::deviceFromAliases({"dummy_pcm:dummy:out1"}), "");
    EXPECT_EQ(CaptureVolume::deviceFromAliases({"alsa_input.pci-0000_00_1f.3.analog-stereo:capture_FL"}), "");
    EXPECT_EQ(CaptureVolume::deviceFromAliases({}), "");
    QString reason;
    EXPECT_FALSE(CaptureVolume::open(QStringLiteral("hw:NoSuchCard"), &reason));
    EXPECT_EQ(reason, "The mixer of the sound card hw:NoSuchCard could not be opened.");
    EXPECT_FALSE(CaptureVolume::open({}, &reason));
    EXPECT_EQ(reason, "The audio server names no sound card for its inputs.");
}
