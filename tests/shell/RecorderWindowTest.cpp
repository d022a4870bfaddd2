// The recorder from the library's window: the record button, a take into the browser's folder.
#include "audiofiles/screens/DetailViewController.h"
#include "library/screens/MasterViewController.h"
#include "platform/Settings.h"
#include "recording/AudioEngine.h"
#include "recording/Recorder.h"
#include "recording/RecordingSettings.h"
#include "recording/TakeDelivery.h"
#include "recording/screens/RecorderViewController.h"
#include "shell/screens/AppWindow.h"
#include "support/JackServer.h"
#include "support/KnownSignal.h"
#include "support/TempTree.h"
#include "ui/screens/NavigationController.h"

#include <QDir>
#include <QPushButton>
#include <gtest/gtest.h>

using namespace testsupport;

TEST(RecorderWindow, RecordButtonTakeArrivesNormalizedAndOpens)
{
    TempTree tree;
    AlertCapture alerts;
    JackServer server;
    ASSERT_TRUE(server.start());
    const QString lib = tree.library();
    QDir().mkpath(lib + "/Takes");
    AppWindow app;
    app.didFinishLaunching();
    MasterViewController* root = app.masterViewController();
    ASSERT_TRUE(root->recordButton()->isVisibleTo(root));
    MasterViewController* takes = root->enterFolder(lib + "/Takes", false);
    ASSERT_TRUE(takes);

    takes->recordButton()->click();
    RecorderViewController* screen = app.recorderViewController();
    ASSERT_TRUE(screen);
    EXPECT_EQ(app.libraryNavigationController()->topViewController(), screen);
    // A second press brings back the same screen.
    takes->recordButton()->click();
    EXPECT_EQ(app.recorderViewController(), screen);

    screen->recPress();
    ASSERT_TRUE(screen->recorder()->isRecording());
    EXPECT_TRUE(waitUntil([&] { return screen->recorder()->recDuration() > 0.3; }, 30000));
    screen->recPress();
    // Delivered into the browser's folder, normalized, opened; the recorder screen closes.
    const QString expected = lib + "/Takes/Recorded Audio.wav";
    EXPECT_TRUE(waitUntil([&] { return app.detailViewController()->detailItem() == expected; }, 60000))
        << app.detailViewController()->detailItem().toStdString();
    EXPECT_TRUE(QFileInfo::exists(expected));
    EXPECT_TRUE(waitUntil([&] { return !app.recorderViewController(); }));
    EXPECT_EQ(Recorder::currentRecorder(), nullptr);

    // The remote toggle opens the recorder on the last browser and starts a take. A compressed
    // take normalizes long after the list saw it arrive; it opens all the same.
    platform::Settings::setValue(RecordingSettings::kFormatKey, 3);
    KnownSignalClient signal;
    ASSERT_TRUE(signal.start());
    signal.setSine(440, 0.5f);
    const QStringList receiver = AudioEngine::audioController()->receiverPortNames();
    for (int i = 0; i < 2; ++i)
        ASSERT_TRUE(server.connect(signal.outputPorts().value(i), receiver.value(i)));
    ASSERT_TRUE(waitUntil([] { return AudioEngine::audiobusConnected(); }));
    ASSERT_TRUE(RecorderLauncher::openAndToggleRecorder());
    screen = app.recorderViewController();
    ASSERT_TRUE(screen);
    EXPECT_TRUE(screen->recorder()->isRecording());
    EXPECT_TRUE(waitUntil([&] { return screen->recorder()->recDuration() > 3.0; }, 30000));
    ASSERT_TRUE(RecorderLauncher::openAndToggleRecorder());
    const QString compressed = lib + "/Takes/wlsignal.m4a";
    EXPECT_TRUE(waitUntil([&] { return app.detailViewController()->detailItem() == compressed; }, 60000))
        << app.detailViewController()->detailItem().toStdString();
    EXPECT_TRUE(alerts.alerts().isEmpty()) << alerts.alerts().join('\n').toStdString();
}
