#include "audiofiles/screens/ConvertViewController.h"
#include "audiofiles/screens/DetailViewController.h"
#include "audiofiles/screens/TrimPanel.h"
#include "audiofiles/screens/WaveView.h"
#include "library/FileListModel.h"
#include "library/screens/FileListView.h"
#include "library/screens/MasterViewController.h"
#include "library/Utils.h"
#include "platform/AudioFileReader.h"
#include "support/DecodedAudio.h"
#include "support/PlaybackFixtures.h"
#include "support/TempTree.h"
#include "ui/screens/NavigationController.h"
#include "ui/screens/ProgressHUD.h"
#include "ui/screens/Stepper.h"

#include <QAction>
#include <QDir>
#include <QListView>
#include <QMenu>
#include <QPushButton>
#include <QFileInfo>
#include <gtest/gtest.h>

using namespace testsupport;

namespace {

constexpr int kRate = 8000;
constexpr float kLevel = 0.5f;

// The editor beside a browser of the library, as the main window has them.
struct Screens {
    DetailViewController detail;
    MasterViewController* master = new MasterViewController;
    NavigationController navigation{master};

    explicit Screens(const QString& folder)
    {
        master->setDetailViewController(&detail);
        master->setNavigationController(&navigation);
        navigation.resize(300, 500);
        navigation.show();
        detail.resize(600, 500);
        detail.show();
        master->setFolder(folder);
        EXPECT_TRUE(waitUntil([&] { return master->model()->isLoaded(); }));
    }

    void chooseTool(const QString& name)
    {
        for (QAction* action : detail.toolsMenu()->actions())
            if (action->iconText() == name)
                action->trigger();
    }

    ProgressHUD* overlay() const
    {
        for (ProgressHUD* hud : detail.findChildren<ProgressHUD*>())
            if (hud->isVisible())
                return hud;
        return nullptr;
    }

    // Waits for the overlay's final message and answers it.
    QString finalMessage(const QStringList& finals)
    {
        waitUntil([&] { return overlay() && finals.contains(overlay()->message()); });
        return overlay() ? overlay()->message() : QString();
    }

    // A success message closes itself.
    bool overlayCloses()
    {
        return waitUntil([&] { return !overlay(); });
    }

    QPushButton* okButton() const
    {
        for (QPushButton* button : overlay()->findChildren<QPushButton*>())
            if (button->isVisible() && button->text() == "OK")
                return button;
        return nullptr;
    }

    // The browser lists and selects the new file and shows it in the editor.
    bool selected(const QString& path)
    {
        return waitUntil([&] {
            const int row = master->rowForItemWithPath(path);
            return row >= 0 && master->tableView()->currentIndex().row() == row && detail.detailItem() == path;
        });
    }
};

using Audio = testsupport::DecodedAudio;
Audio load(const QString& path) { return testsupport::decodeFile(path); }

QString writeLevel(const QString& path, int channels, int frames, float level)
{
    EXPECT_TRUE(writeFloatWav(path, kRate, channels, std::vector<float>(size_t(frames * channels), level)));
    return path;
}

void press(DetailViewController& detail, int tag, int times)
{
    for (int i = 0; i < times; ++i)
        detail.trimPanel()->nudgeButton(tag)->click();
}

}  // namespace

TEST(EditorTools, TrimWithFadesAndConvertAddTheirResultsToTheLibrary)
{
    TempTree tree;
    const QString lib = tree.library();
    const QString source = writeLevel(lib + "/a.wav", 2, kRate, kLevel);
    const QByteArray sourceBytes = readFile(source);
    Screens s(lib);
    s.master->showFile(source);
    ASSERT_EQ(s.detail.detailItem(), source);

    // Trim & Fade: the region 0.2 s to 0.7 s with a 50 ms fade in and a 25 ms fade out.
    s.chooseTool("Trim & Fade");
    ASSERT_EQ(s.detail.toolsButton()->text(), "Save");
    press(s.detail, -6, 2);
    press(s.detail, 1, 3);
    s.detail.trimPanel()->fadeInStepper()->setValue(0.05);
    s.detail.trimPanel()->fadeOutStepper()->setValue(0.025);
    s.detail.toolsButton()->click();
    EXPECT_EQ(s.finalMessage({"Trimmed"}), "Trimmed");
    EXPECT_TRUE(s.overlayCloses());
    EXPECT_EQ(s.detail.title(), QFileInfo(s.detail.detailItem()).fileName());
    EXPECT_FALSE(s.detail.waveView()->trimMode());

    const QString trimmed = lib + "/a-trimmed.wav";
    ASSERT_TRUE(s.selected(trimmed));
    const Audio cut = load(trimmed);
    ASSERT_EQ(cut.channels, 2);
    ASSERT_EQ(cut.frames(), kRate / 2);
    const int fadeIn = kRate / 20, fadeOut = kRate / 40;
    EXPECT_EQ(cut.at(0), 0.0f);
    EXPECT_FLOAT_EQ(cut.at(fadeIn / 2), kLevel * 0.5f);
    EXPECT_FLOAT_EQ(cut.at(fadeIn), kLevel);
    EXPECT_FLOAT_EQ(cut.at(cut.frames() - fadeOut / 2), kLevel * 0.5f);
    EXPECT_FLOAT_EQ(cut.at(cut.frames() - 1), kLevel / fadeOut);
    EXPECT_EQ(readFile(source), sourceBytes);

    // Trimming the trimmed file again takes the next free name, not "-trimmed-trimmed".
    s.chooseTool("Trim & Fade");
    s.detail.toolsButton()->click();
    EXPECT_EQ(s.finalMessage({"Trimmed"}), "Trimmed");
    EXPECT_TRUE(s.selected(lib + "/a-trimmed(1).wav"));
    EXPECT_TRUE(s.overlayCloses());

    // Convert the source to 22050 Hz mono AIFF through the conversion screen.
    s.master->showFile(source);
    s.chooseTool("Convert");
    ConvertViewController* screen = s.detail.convertScreen();
    ASSERT_TRUE(screen);
    screen->format.format = 1;
    screen->format.channels = 1;
    screen->format.samplerate = 22050;
    screen->convertSavePress();
    EXPECT_EQ(s.finalMessage({"Converted", "Sorry\nCould not convert file"}), "Converted");
    const QString converted = lib + "/a-converted.aif";
    ASSERT_TRUE(s.selected(converted));
    const Audio aiff = load(converted);
    EXPECT_EQ(aiff.channels, 1);
    EXPECT_EQ(aiff.rate, 22050);
    EXPECT_NEAR(double(aiff.frames()), 22050, 2);
    EXPECT_NEAR(aiff.at(aiff.frames() / 2), kLevel, 1e-3);
    EXPECT_EQ(ConversionOptions::stored().format, 1);  // the screen's choice is kept for next time
    EXPECT_EQ(readFile(source), sourceBytes);
    EXPECT_EQ(QDir(lib).entryList(QDir::Files, QDir::Name),
              QStringList({"a-converted.aif", "a-trimmed(1).wav", "a-trimmed.wav", "a.wav"}));
}

TEST(EditorTools, NormalizeReplacesItsResultAndAFailedConvertLeavesNothing)
{
    TempTree tree;
    const QString lib = tree.library();
    const QString source = writeLevel(lib + "/b.wav", 1, kRate / 4, 0.25f);
    Screens s(lib);
    s.master->showFile(source);

    // Normalizing writes b-normalized.wav; normalizing again replaces it, whatever it holds.
    const QString normalized = lib + "/b-normalized.wav";
    s.chooseTool("Normalize");
    EXPECT_EQ(s.finalMessage({"Normalized"}), "Normalized");
    EXPECT_TRUE(s.overlayCloses());
    ASSERT_TRUE(s.selected(normalized));
    writeFile(normalized, "spoilt");
    s.master->showFile(source);
    s.chooseTool("Normalize");
    EXPECT_EQ(s.finalMessage({"Normalized"}), "Normalized");
    EXPECT_TRUE(s.overlayCloses());
    const Audio loud = load(normalized);
    ASSERT_EQ(loud.frames(), kRate / 4);
    EXPECT_FLOAT_EQ(loud.at(100), 1.0f);
    EXPECT_EQ(QDir(lib).entryList(QDir::Files, QDir::Name), QStringList({"b-normalized.wav", "b.wav"}));
    EXPECT_FLOAT_EQ(load(source).at(100), 0.25f);

    // A file that can't be read: converting it fails with a message the user dismisses,
    // and nothing new joins the library.
    const QString broken = lib + "/c.wav";
    writeFile(broken, QByteArray(4000, 'x'));
    ASSERT_TRUE(waitUntil([&] { return s.master->rowForItemWithPath(broken) >= 0; }));
    const QStringList before = QDir(lib).entryList(QDir::Files, QDir::Name);
    s.master->showFile(broken);
    Utils::clearLastNewFile();
    s.detail.doConvert(ConversionOptions());
    EXPECT_EQ(s.finalMessage({"Converted", "Sorry\nCould not convert file"}), "Sorry\nCould not convert file");
    ASSERT_TRUE(s.okButton());
    s.okButton()->click();
    EXPECT_TRUE(s.overlayCloses());
    EXPECT_EQ(QDir(lib).entryList(QDir::Files, QDir::Name), before);
    EXPECT_TRUE(Utils::lastNewFile().isEmpty());
}

TEST(EditorTools, TheToolNamesItsResultsAsTheEditorDoesWithoutADestination)
{
    TempTree tree;
    const QString folder = tree.path("work");
    QDir().mkpath(folder);
    const QString source = writeLevel(folder + "/d.wav", 1, kRate / 4, 0.25f);
    const auto run = [](const QStringList& args) {
        const RunResult r = runProgram("wavelocker-tool", args);
        EXPECT_EQ(r.exitCode, 0) << r.err.toStdString();
        return QString::fromUtf8(r.out.trimmed());
    };
    const QStringList trim = {"trim", source, "--start", "0.1", "--end", "0.2", "--fade-in", "0.01"};
    EXPECT_EQ(run(trim), folder + "/d-trimmed.wav");
    EXPECT_EQ(run(trim), folder + "/d-trimmed(1).wav");
    EXPECT_EQ(load(folder + "/d-trimmed(1).wav").frames(), kRate / 10);
    EXPECT_EQ(run({"normalize", source}), folder + "/d-normalized.wav");
    EXPECT_EQ(run({"normalize", source}), folder + "/d-normalized.wav");
    EXPECT_EQ(run({"convert", source, "--format", "2", "--samplerate", "8000"}), folder + "/d-converted.caf");
    EXPECT_EQ(load(folder + "/d-converted.caf").frames(), kRate / 4);
    EXPECT_EQ(QDir(folder).entryList(QDir::Files, QDir::Name),
              QStringList({"d-converted.caf", "d-normalized.wav", "d-trimmed(1).wav", "d-trimmed.wav", "d.wav"}));
}
