// The settings panel: the auto-preview toggle's storage rule, and the desktop settings each
// taking effect at once (the library, the web drive, the JACK server).
#include "library/Utils.h"
#include "library/screens/MasterViewController.h"
#include "platform/HostEngine.h"
#include "platform/Locations.h"
#include "platform/NotificationCenter.h"
#include "platform/Notifications.h"
#include "platform/Settings.h"
#include "recording/AudioEngine.h"
#include "shell/Preferences.h"
#include "shell/screens/AppWindow.h"
#include "shell/screens/SettingsViewController.h"
#include "support/JackServer.h"
#include "support/TempTree.h"
#include "wifidrive/MyWebUploader.h"

#include <QAction>
#include <QGuiApplication>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QSpinBox>
#include <gtest/gtest.h>

using namespace testsupport;

TEST(SettingsScreen, ToggleStoresOnlyInTheBackgroundAndDesktopSettingsApplyAtOnce)
{
    TempTree tree;
    const QString lib = tree.library();
    writeFile(lib + "/old.txt", "old");
    qputenv("JACK_DEFAULT_SERVER", "wltest-nobody-home");
    AppWindow app;
    app.didFinishLaunching();
    app.settingsAction()->trigger();
    SettingsViewController* settings = app.settingsViewController();
    ASSERT_NE(settings, nullptr);

    // Twice toggled is as before; a single toggle reaches the settings file only on the way
    // to the background.
    QPushButton* toggle = settings->autoPlayButton();
    EXPECT_EQ(toggle->text(), "ON");
    toggle->click();
    EXPECT_EQ(toggle->text(), "OFF");
    EXPECT_FALSE(AudioEngine::autoPlayNext());
    toggle->click();
    EXPECT_TRUE(AudioEngine::autoPlayNext());
    toggle->click();
    EXPECT_FALSE(platform::Settings::contains("AutoPlayNext"));
    app.applicationDidEnterBackground();
    EXPECT_EQ(platform::Settings::value("AutoPlayNext").toBool(), false);

    // The drive serves the library on the port chosen; a new library moves the browser and
    // the running drive there at once.
    settings->portBox()->setValue(0);
    emit settings->portBox()->editingFinished();
    EXPECT_EQ(platform::Settings::value("WebServerPort").toInt(), 0);
    MyWebUploader* drive = app.webUploader();
    drive->setBindAddress(QStringLiteral("127.0.0.1"));
    ASSERT_TRUE(drive->startWithPort(GCDWebServer::preferredPort(), QString()));
    const QString chosen = tree.path("Elsewhere/Audio");
    settings->chooseLibraryFolder(chosen);
    EXPECT_EQ(Utils::documentsURL(), chosen);
    EXPECT_EQ(platform::Settings::value("LibraryFolder").toString(), chosen);
    EXPECT_TRUE(drive->isRunning());
    EXPECT_EQ(drive->uploadDirectory(), chosen);
    EXPECT_EQ(app.masterViewController()->folder(), chosen);
    EXPECT_TRUE(QFileInfo(Utils::localDocumentsLinkURL()).isSymLink());
    EXPECT_TRUE(settings->libraryLabel()->text().contains(chosen));
    EXPECT_EQ(readFile(lib + "/old.txt"), "old");  // the old library stays as it was

    // Folders that can't be a library are refused with a word, and nothing moves.
    AlertCapture alerts;
    settings->chooseLibraryFolder(platform::Locations::tempDir() + "/lib");
    settings->chooseLibraryFolder(Utils::localDocumentsURL() + "/lib");
    settings->chooseLibraryFolder("/proc/wavelocker");
    EXPECT_EQ(alerts.alerts().size(), 3);
    EXPECT_EQ(Utils::documentsURL(), chosen);

    // Back to the default folder.
    settings->chooseLibraryFolder(QString());
    EXPECT_EQ(Utils::documentsURL(), lib);
    EXPECT_EQ(drive->uploadDirectory(), lib);
    drive->stop();

    // A relative or damaged folder in the settings file is ignored.
    platform::Settings::setValue("LibraryFolder", "relative/lib");
    platform::Settings::sync();
    platform::Settings::reload();
    Utils::resetCachedLocations();
    EXPECT_EQ(Utils::documentsURL(), lib);

    // The Dropbox row links; without an app key it says how to get one.
    qunsetenv("WAVELOCKER_DROPBOX_APP_KEY");
    ASSERT_NE(settings->dropboxButton(), nullptr);
    EXPECT_EQ(settings->dropboxButton()->text(), "Link…");
    AlertCapture keyAlert;
    settings->dropboxButton()->click();
    ASSERT_EQ(keyAlert.alerts().size(), 1);
    EXPECT_TRUE(keyAlert.alerts().first().contains("WAVELOCKER_DROPBOX_APP_KEY")) << keyAlert.alerts().first().toStdString();
}

TEST(SettingsScreen, JackServerNameMovesTheEngineAtOnce)
{
    TempTree tree;
    tree.library();
    JackServer server;
    ASSERT_TRUE(server.start());
    // The default server is one that doesn't exist: only the name chosen reaches ours.
    qputenv("JACK_DEFAULT_SERVER", "wltest-nobody-home");
    AppWindow app;
    app.didFinishLaunching();
    platform::HostEngine* engine = AudioEngine::audioController();
    ASSERT_NE(engine, nullptr);
    EXPECT_FALSE(engine->isSessionActive());
    int began = 0, ended = 0;
    platform::ScopedObserver b(notifications::kInterruptionBegan, [&](const auto&) { ++began; });
    platform::ScopedObserver e(notifications::kInterruptionEnded, [&](const auto&) { ++ended; });

    // As a person does it: the settings are open and the window active before the name is
    // typed, so nothing but the name can bring the engine to the server.
    app.settingsAction()->trigger();
    ASSERT_TRUE(waitUntil([] { return qGuiApp->applicationState() == Qt::ApplicationActive; }, 60000));
    QLineEdit* field = app.settingsViewController()->jackServerField();
    field->setText(server.name());
    emit field->editingFinished();
    EXPECT_EQ(platform::Settings::value("JackServerName").toString(), server.name());
    EXPECT_TRUE(waitUntil([&] { return engine->isSessionActive(); }, 60000));
    EXPECT_TRUE(waitUntil([&] { return server.ports().contains("Wavelocker:out_1"); }, 60000));
    // Found for the first time: nothing went away, so nothing "came back".
    EXPECT_EQ(ended, 0);

    // Back to the default (missing) server: the client leaves ours.
    field->setText(QString());
    emit field->editingFinished();
    EXPECT_FALSE(engine->isSessionActive());
    EXPECT_EQ(began, 1);
    EXPECT_TRUE(waitUntil([&] { return !server.ports().contains("Wavelocker:out_1"); }, 60000));

    // A server named before it runs is looked for until it appears.
    server.stop();
    field->setText(server.name());
    emit field->editingFinished();
    EXPECT_FALSE(engine->isSessionActive());
    ASSERT_TRUE(server.start());
    qputenv("JACK_DEFAULT_SERVER", "wltest-nobody-home");  // the server made itself the default
    EXPECT_TRUE(waitUntil([&] { return engine->isSessionActive(); }, 60000));
    EXPECT_TRUE(waitUntil([&] { return server.ports().contains("Wavelocker:out_1"); }, 60000));
}
