// URL commands in the window: what the library browser, the editor and the overlay do.
#include "audiofiles/screens/DetailViewController.h"
#include "exchange/AudioCopyPaste1.h"
#include "library/Utils.h"
#include "library/screens/MasterViewController.h"
#include "platform/NotificationCenter.h"
#include "platform/Notifications.h"
#include "shell/screens/AppWindow.h"
#include "support/AudioFixtures.h"
#include "support/TempTree.h"
#include "ui/screens/NavigationController.h"
#include "ui/screens/ProgressHUD.h"

#include <QDir>
#include <QElapsedTimer>
#include <QPushButton>
#include <gtest/gtest.h>

using namespace testsupport;

namespace {

// The answer of one URL, waited for.
std::optional<bool> open(AppWindow& app, const QString& url, const QString& source = {})
{
    std::optional<bool> answer;
    app.openURL(QUrl(url), {source, false}, [&](bool handled) { answer = handled; });
    waitUntil([&] { return answer.has_value(); }, 10000);
    return answer;
}

MasterViewController* topBrowser(AppWindow& app)
{
    return qobject_cast<MasterViewController*>(app.libraryNavigationController()->topViewController());
}

QPushButton* importButton(AppWindow& app)
{
    for (QPushButton* b : app.detailViewController()->findChildren<QPushButton*>())
        if (b->text() == QStringLiteral("IMPORT INTO APP"))
            return b;
    return nullptr;
}

}  // namespace

TEST(UrlCommandsWindow, ShowImportAndHandOverReachTheBrowserAndTheEditor)
{
    TempTree tree;
    const QString lib = tree.library();
    QDir().mkpath(lib + "/Loops");
    QDir().mkpath(tree.path("Downloads"));
    ASSERT_TRUE(writeToneWav(lib + "/Loops/Kick.wav", 1, 44100, 4410));
    qputenv("JACK_DEFAULT_SERVER", "wltest-nobody-home");
    AppWindow app;
    app.didFinishLaunching();

    // "wavelocker.show" opens the folder and the file in it; a missing path changes nothing.
    EXPECT_EQ(open(app, "wavelocker.show:/Loops/Kick.wav"), true);
    ASSERT_TRUE(waitUntil([&] { return app.detailViewController()->detailItem() == lib + "/Loops/Kick.wav"; }));
    EXPECT_EQ(topBrowser(app)->folder(), lib + "/Loops");
    EXPECT_EQ(open(app, "wavelocker.show:/Nothing/here.wav"), true);
    EXPECT_EQ(open(app, "wavelocker.show:/../../.."), true);
    EXPECT_EQ(topBrowser(app)->folder(), lib + "/Loops");

    // Another program starts an import: the editor offers to send the file there.
    QStringList schemes;
    platform::ScopedObserver observer(notifications::kAppImportStarted, [&](const platform::Notification& n) {
        schemes << n.userInfo.value(QStringLiteral("scheme")).toString();
    });
    QPushButton* import = importButton(app);
    ASSERT_NE(import, nullptr);
    EXPECT_FALSE(import->isVisibleTo(app.detailViewController()));
    EXPECT_EQ(open(app, "wavelocker.import://myapp"), true);
    EXPECT_EQ(schemes, QStringList{"myapp"});
    EXPECT_EQ(app.importingScheme(), "myapp");
    EXPECT_TRUE(waitUntil([&] { return import->isVisibleTo(app.detailViewController()); }));

    // A handed-over file: the stack goes back to the library's root, which opens the file
    // once it has settled.
    ASSERT_TRUE(writeToneWav(tree.path("Downloads/Take.wav"), 1, 44100, 4410));
    EXPECT_EQ(open(app, QUrl::fromLocalFile(tree.path("Downloads/Take.wav")).toString(), "org.example.Mixer"), true);
    EXPECT_EQ(topBrowser(app), app.masterViewController());
    EXPECT_TRUE(waitUntil([&] { return app.detailViewController()->detailItem() == lib + "/Mixer - Take.wav"; }));
}

TEST(UrlCommandsWindow, PasteCommandShowsItsOverlayAndPastesOneSecondLater)
{
    TempTree tree;
    tree.library();
    qputenv("JACK_DEFAULT_SERVER", "wltest-nobody-home");
    AppWindow app;
    app.didFinishLaunching();
    app.window()->show();

    // The window's own handler: the browser pastes what another program put on the pasteboard.
    ASSERT_TRUE(writeToneWav(tree.path("Source.wav"), 2, 44100, 30000));
    ASSERT_TRUE(AudioCopyPaste1::copyAudioFileAtPathToGeneralPasteboard(tree.path("Source.wav")));
    EXPECT_EQ(open(app, "wavelockercmd://addFromPaste?Real%2FTake"), true);
    ASSERT_NE(app.pasteOverlay(), nullptr);
    const QString arrived = Utils::documentsURL() + "/Real_Take.wav";
    ASSERT_TRUE(waitUntil([&] { return app.pasteOverlay()->message() == "Done"; }));
    EXPECT_EQ(readFile(arrived), readFile(tree.path("Source.wav")));
    app.pasteOverlay()->dismiss();

    QStringList names;
    bool succeed = false;
    app.urlCommands()->setPasteHandler([&](const QString& name) {
        names << name;
        return succeed;
    });
    QElapsedTimer clock;
    clock.start();
    EXPECT_EQ(open(app, "wavelockercmd://addFromPaste?My%2FLoop"), true);
    ProgressHUD* overlay = app.pasteOverlay();
    ASSERT_NE(overlay, nullptr);
    EXPECT_EQ(overlay->message(), "Importing Audio...");
    EXPECT_TRUE(overlay->progressVisible());
    EXPECT_FLOAT_EQ(overlay->progress(), 1.0f);
    // The paste runs a second later, under the name with "/" made "_".
    ASSERT_TRUE(waitUntil([&] { return overlay->message() != "Importing Audio..."; }));
    EXPECT_GE(clock.elapsed(), 1000);
    EXPECT_EQ(names, QStringList{"My_Loop"});
    EXPECT_EQ(overlay->message(), "Sorry\nCould not import audio");
    overlay->dismiss();

    succeed = true;
    EXPECT_EQ(open(app, "wavelockercmd://addFromPaste?Take"), true);
    ProgressHUD* second = app.pasteOverlay();
    ASSERT_NE(second, nullptr);
    ASSERT_TRUE(waitUntil([&] { return names.size() == 2; }));
    EXPECT_EQ(second->message(), "Done");
}
