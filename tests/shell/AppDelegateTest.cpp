#include "audiofiles/FilePlayer.h"
#include "audiofiles/screens/DetailViewController.h"
#include "library/FileListModel.h"
#include "library/FileSort.h"
#include "library/Utils.h"
#include "library/screens/MasterViewController.h"
#include "platform/Locations.h"
#include "platform/Settings.h"
#include "recording/AudioServerStatus.h"
#include "recording/UnfinishedRecording.h"
#include "shell/AppDelegate.h"
#include "shell/screens/AppWindow.h"
#include "support/AudioFixtures.h"
#include "support/BuildPaths.h"
#include "support/TempTree.h"
#include "ui/screens/NavigationController.h"

#include <QDir>
#include <QFileInfo>
#include <QLabel>
#include <QProcess>
#include <QRegularExpression>
#include <QSplitter>
#include <gtest/gtest.h>

using namespace testsupport;

namespace {
QStringList recovered(const QString& library)
{
    return QDir(library).entryList({"Recovered *"}, QDir::Files, QDir::Name);
}
}  // namespace

TEST(StartUp, LinkMigrationAndRecoveryInOrder)
{
    TempTree tree;
    const QString old = tree.path("data/group.com.orvenic.Wavelocker/Documents");
    writeFile(old + "/old take.wav", "old");
    writeFile(old + "/Kormix Recordings/mix.wav", "mix");
    writeFile(old + "/Sets/a.wav", "a");
    const QString library = tree.library();
    writeFile(library + "/Sets", "clash");  // a clash leaves the old entry where it was
    // What the user keeps under reserved names is moved aside whole, never removed.
    writeFile(Utils::localDocumentsLinkURL(), "a file where the link belongs");
    writeFile(library + "/Trash", "a file named Trash");
    writeFile(UnfinishedRecording::temporaryRecordingPath(0), "wave take");
    writeFile(UnfinishedRecording::temporaryRecordingPath(2), "caf take");

    LogCapture log;
    AlertCapture alerts;
    AppDelegate delegate(AppDelegate::Mode::Headless);
    EXPECT_TRUE(delegate.didFinishLaunching());

    const QString link = Utils::localDocumentsLinkURL();
    EXPECT_TRUE(QFileInfo(link).isSymLink());
    EXPECT_EQ(QFileInfo(link).symLinkTarget(), Utils::localDocumentsURL());
    EXPECT_EQ(readFile(library + "/old take.wav"), "old");
    EXPECT_EQ(readFile(library + "/Sets"), "clash");
    EXPECT_EQ(readFile(old + "/Sets/a.wav"), "a");
    EXPECT_EQ(readFile(old + "/Kormix Recordings/mix.wav"), "mix");
    EXPECT_FALSE(QFileInfo::exists(library + "/Kormix Recordings"));

    // Only the first format found is recovered at this start.
    const QStringList first = recovered(library);
    ASSERT_EQ(first.size(), 1);
    EXPECT_TRUE(QRegularExpression("^Recovered \\d{4}-\\d\\d-\\d\\d \\d\\d:\\d\\d:\\d\\d\\.wav$").match(first[0]).hasMatch());
    EXPECT_EQ(readFile(library + "/" + first[0]), "wave take");
    EXPECT_EQ(readFile(library + "/Desktop File Sharing(1)"), "a file where the link belongs");
    EXPECT_EQ(readFile(library + "/Trash(1)"), "a file named Trash");
    EXPECT_FALSE(QFileInfo::exists(Utils::trashcanURL()));  // made when first used
    ASSERT_EQ(alerts.alerts().size(), 3);
    EXPECT_EQ(alerts.alerts()[0], "Name reserved|'Desktop File Sharing' is reserved by the system. The item you had "
                                  "under that name is now 'Desktop File Sharing(1)'.");
    EXPECT_EQ(alerts.alerts()[1], "Name reserved|'Trash' is reserved by the system. The item you had under that name "
                                  "is now 'Trash(1)'.");
    EXPECT_EQ(alerts.alerts()[2], "Found lost recording|A lost recording was recovered and saved as '" + first[0] + "'");

    const QStringList expected = {
        "Moved 'Desktop File Sharing' aside to 'Desktop File Sharing(1)': the name is reserved by the system",
        "Created new Desktop File Sharing link",
        "Moved 'Trash' aside to 'Trash(1)': the name is reserved by the system",
        "Old Documents folder existent. Moving 3 files...",
        old + "/Sets",
        "-->",
        library + "/Sets",
        "ERROR moving " + old + "/Sets: 'Sets' already exists",
        old + "/old take.wav",
        "-->",
        library + "/old take.wav",
        "Found unfinished recording: " + UnfinishedRecording::temporaryRecordingPath(0),
    };
    EXPECT_EQ(log.lines().mid(0, expected.size()), expected);

    // The next start finds the other one; the link, already right, is kept; nothing more is
    // moved aside or said.
    AppDelegate second(AppDelegate::Mode::Headless);
    second.didFinishLaunching();
    EXPECT_EQ(alerts.alerts().size(), 4);
    EXPECT_EQ(log.lines().filter("aside").size(), 2);
    EXPECT_EQ(log.lines().count("Created new Desktop File Sharing link"), 1);
    ASSERT_EQ(recovered(library).size(), 2);
    EXPECT_TRUE(recovered(library).filter(".caf").size() == 1);

    // A stale link (the data folder moved) is replaced; only the link goes.
    ASSERT_TRUE(QFile::remove(Utils::localDocumentsLinkURL()));
    ASSERT_TRUE(QFile::link(tree.path("elsewhere"), Utils::localDocumentsLinkURL()));
    AppDelegate third(AppDelegate::Mode::Headless);
    third.didFinishLaunching();
    EXPECT_EQ(QFileInfo(Utils::localDocumentsLinkURL()).symLinkTarget(), Utils::localDocumentsURL());
    EXPECT_EQ(log.lines().count("Removed old Desktop File Sharing link"), 1);

    // The link under its former name goes too; a real folder of the user's under it stays.
    const QString former = library + "/iTunes File Sharing";
    ASSERT_TRUE(QFile::link(Utils::localDocumentsURL(), former));
    AppDelegate(AppDelegate::Mode::Headless).didFinishLaunching();
    EXPECT_FALSE(QFileInfo(former).isSymLink());
    ASSERT_TRUE(QDir().mkpath(former));
    AppDelegate(AppDelegate::Mode::Headless).didFinishLaunching();
    EXPECT_TRUE(QFileInfo(former).isDir());
    EXPECT_FALSE(QFileInfo::exists(UnfinishedRecording::temporaryRecordingPath(2)));
    EXPECT_TRUE(UnfinishedRecording::hasUnfinishedRecording().isEmpty());
}

TEST(StartUp, CompressedRecordingGetsTheRepairHint)
{
    TempTree tree;
    writeFile(UnfinishedRecording::temporaryRecordingPath(3), "aac");
    AlertCapture alerts;
    AppDelegate delegate(AppDelegate::Mode::Headless);
    delegate.didFinishLaunching();
    const QStringList found = recovered(tree.library());
    ASSERT_EQ(found.size(), 1);
    EXPECT_TRUE(found[0].endsWith(".m4a"));
    ASSERT_EQ(alerts.alerts().size(), 1);
    EXPECT_EQ(alerts.alerts()[0], "Found lost recording|A lost recording was found and saved as '" + found[0] +
                                      "'. Since it's in compressed M4A format it can not be played, but you might "
                                      "find software online that can repair it.");
}

TEST(StartUp, WindowHasBothColumnsAndSavesSortModeWhenHidden)
{
    TempTree tree;
    writeFile(tree.library() + "/take.wav", "x");
    // The window sets up audio: never on a server of this machine's user.
    qputenv("JACK_DEFAULT_SERVER", "wltest-nobody-home");
    AppWindow delegate;
    delegate.didFinishLaunching();
    QWidget* window = delegate.window();
    ASSERT_NE(window, nullptr);
    EXPECT_TRUE(window->isVisible());
    EXPECT_LT(window->palette().color(QPalette::Window).lightness(), 64);
    QSplitter* split = delegate.splitViewController();
    ASSERT_EQ(split->count(), 2);
    EXPECT_EQ(split->widget(0), delegate.libraryNavigationController());
    EXPECT_EQ(split->widget(1), delegate.detailNavigationController());
    EXPECT_FALSE(split->childrenCollapsible());
    EXPECT_EQ(delegate.libraryNavigationController()->titleText(), "Library");
    MasterViewController* master = delegate.masterViewController();
    EXPECT_EQ(master->folder(), Utils::documentsURL());
    EXPECT_EQ(master->detailViewController(), delegate.detailViewController());
    ASSERT_TRUE(waitUntil([&] { return master->model()->isLoaded(); }));
    // The listing holds the file and the file-sharing link, which sorts last.
    EXPECT_EQ(master->headerText(), "2 ITEMS");
    EXPECT_EQ(master->model()->index(1).data().toString(), "Desktop File Sharing");

    master->sortPress();
    const int mode = FileSort::sortMode();
    window->hide();
    EXPECT_EQ(platform::Settings::value("SortMode").toInt(), mode);
    FileSort::setSortMode(FileSort::kByName);
}

// A desktop with no audio server running: play must not pretend to play, and the window says why.
TEST(StartUp, PlayWithoutAudioServerSaysSoAndStaysStopped)
{
    TempTree tree;
    const QString take = tree.library() + "/take.wav";
    ASSERT_TRUE(writeToneWav(take, 2, 44100, 44100));
    qputenv("JACK_DEFAULT_SERVER", "wltest-nobody-home");
    AppWindow delegate;
    delegate.didFinishLaunching();
    auto* message = delegate.window()->findChild<QLabel*>(QStringLiteral("AudioServerMessage"));
    ASSERT_NE(message, nullptr);
    EXPECT_FALSE(message->isVisible());
    FilePlayer* player = FilePlayer::sharedPlayer();
    ASSERT_TRUE(player->loadAudioURL(take));
    player->play();
    ASSERT_TRUE(waitUntil([&] { return !player->isPlaying(); }));
    EXPECT_TRUE(message->isVisible());
    EXPECT_EQ(message->text(), AudioServerStatus::unreachableText());
    player->stop();
}

TEST(StartUp, ServeRunsWithoutDisplayUntilTerminated)
{
    TempTree tree;
    writeFile(UnfinishedRecording::temporaryRecordingPath(1), "aiff");
    QProcess serve;
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.remove("DISPLAY");
    env.remove("WAYLAND_DISPLAY");
    env.remove("QT_QPA_PLATFORM");
    serve.setProcessEnvironment(env);
    serve.start((testsupport::binDir() + QStringLiteral("/wavelocker")), {"--serve", "--library", tree.path("lib")});
    ASSERT_TRUE(serve.waitForStarted());
    QByteArray err;
    ASSERT_TRUE(waitUntil(
        [&] {
            err += serve.readAllStandardError();
            return err.contains("Serving the library");
        },
        20000))
        << err.constData();
    serve.terminate();
    ASSERT_TRUE(serve.waitForFinished(10000));
    err += serve.readAllStandardError();
    EXPECT_EQ(serve.exitStatus(), QProcess::NormalExit);
    EXPECT_EQ(serve.exitCode(), 0);
    EXPECT_TRUE(err.contains("Created new Desktop File Sharing link"));
    EXPECT_TRUE(err.contains("Alert: Found lost recording: A lost recording was recovered and saved as 'Recovered "));
    EXPECT_EQ(QDir(tree.path("lib")).entryList({"Recovered *.aif"}).size(), 1);

    const RunResult bad = runProgram("wavelocker", {"--serve", "--colour"});
    EXPECT_EQ(bad.exitCode, 2);
}
