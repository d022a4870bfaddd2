#include "exchange/AudioCopyPaste1.h"
#include "exchange/DesktopClipboardData.h"
#include "exchange/KormixHandOver.h"
#include "exchange/screens/LibraryExchange.h"
#include "exchange/screens/PasteboardHistoryViewController.h"
#include "library/FileListModel.h"
#include "library/UndoStack.h"
#include "library/Utils.h"
#include "library/screens/FileListView.h"
#include "library/screens/MasterViewController.h"
#include "platform/Pasteboard.h"
#include "support/AudioFixtures.h"
#include "support/TempTree.h"

#include <QApplication>
#include <QClipboard>
#include <QDir>
#include <QDropEvent>
#include <QListView>
#include <QListWidget>
#include <QMessageBox>
#include <QMimeData>
#include <gtest/gtest.h>

using namespace testsupport;

namespace {
QMessageBox* openMessageBox()
{
    for (QWidget* w : QApplication::topLevelWidgets())
        if (auto* box = qobject_cast<QMessageBox*>(w); box && box->isVisible())
            return box;
    return nullptr;
}

void closeMessageBoxes()
{
    while (QMessageBox* box = openMessageBox())
        box->done(0);
}
}  // namespace

TEST(DesktopClipboardData, FilesTravelInEveryDesktopForm)
{
    TempTree tree;
    const QString a = tree.path("My Take.wav"), b = tree.path("50%/b.wav");
    writeFile(a, "A");
    writeFile(b, "B");
    const auto data = DesktopClipboardData::mimeDataForFiles({a, b});
    const QByteArray uriA = "file://" + QUrl::toPercentEncoding(a, "/"), uriB = "file://" + QUrl::toPercentEncoding(b, "/");
    EXPECT_EQ(data->data("text/uri-list"), uriA + "\r\n" + uriB + "\r\n");
    EXPECT_EQ(data->data("x-special/gnome-copied-files"), "copy\n" + uriA + "\n" + uriB);
    EXPECT_EQ(data->data("application/x-kde-cutselection"), "0");
    EXPECT_EQ(data->data("text/plain"), (a + "\n" + b).toUtf8());
    EXPECT_EQ(DesktopClipboardData::filesFromMimeData(data.get()), QStringList({a, b}));
    EXPECT_FALSE(DesktopClipboardData::isCut(data.get()));
    EXPECT_TRUE(DesktopClipboardData::isOurs(data.get()));

    // What file managers put there, each form alone.
    QMimeData gnome;
    gnome.setData("x-special/gnome-copied-files", "cut\n" + uriB);
    EXPECT_EQ(DesktopClipboardData::filesFromMimeData(&gnome), QStringList({b}));
    EXPECT_TRUE(DesktopClipboardData::isCut(&gnome));
    QMimeData text;
    text.setText(a + "\n" + uriB + "\n");
    EXPECT_EQ(DesktopClipboardData::filesFromMimeData(&text), QStringList({a, b}));
    text.setText(a + "\nand some words");  // not a list of files
    EXPECT_TRUE(DesktopClipboardData::filesFromMimeData(&text).isEmpty());
    text.setText(tree.path("missing.wav"));
    EXPECT_TRUE(DesktopClipboardData::filesFromMimeData(&text).isEmpty());
    QMimeData remote;
    remote.setData("text/uri-list", "https://example.org/a.wav\r\n");
    EXPECT_TRUE(DesktopClipboardData::filesFromMimeData(&remote).isEmpty());
    QMimeData wav;
    wav.setData("audio/x-wav", QByteArray("RIFF\0\0\0\0WAVEfmt ", 16));
    EXPECT_FALSE(DesktopClipboardData::wavBytesFromMimeData(&wav).isEmpty());
    wav.setData("audio/x-wav", "not a wav");
    EXPECT_TRUE(DesktopClipboardData::wavBytesFromMimeData(&wav).isEmpty());
}

TEST(LibraryExchange, CopyPutsTheFileOnTheClipboardAndPasteBringsOutsideFilesIn)
{
    TempTree tree;
    AlertCapture alerts;
    const QString lib = tree.library();
    ASSERT_TRUE(writeToneWav(lib + "/Take.wav", 2, 44100, 4410));
    QWidget window;
    LibraryExchange exchange;
    QClipboard* clipboard = QGuiApplication::clipboard();
    clipboard->clear();

    // Copied in the library: the same bytes paste elsewhere, through the clipboard's files and
    // through the general pasteboard.
    exchange.copyItems(&window, {lib + "/Take.wav"});
    const QStringList onClipboard = DesktopClipboardData::filesFromMimeData(clipboard->mimeData());
    ASSERT_EQ(onClipboard, QStringList({lib + "/Take.wav"}));
    EXPECT_EQ(readFile(onClipboard.first()), readFile(lib + "/Take.wav"));
    ASSERT_TRUE(waitUntil([] { return AudioCopyPaste1::hasGeneralPasteboardData(); }));
    // Our own copy on the clipboard: a named paste takes the general pasteboard's sound.
    EXPECT_EQ(exchange.audioPaste(&window, lib, "Again"), lib + "/Again.wav");
    EXPECT_EQ(readFile(lib + "/Again.wav"), readFile(lib + "/Take.wav"));
    // A plain paste brings the copied items themselves, under their own names, a folder with
    // all it holds and several at once; a folder pasted into itself is refused, not repeated.
    writeFile(lib + "/Drums/snare.wav", "snare");
    writeFile(lib + "/Notes.txt", "notes");
    exchange.copyItems(&window, {lib + "/Take.wav", lib + "/Drums", lib + "/Notes.txt"});
    ASSERT_TRUE(exchange.canPaste());
    EXPECT_EQ(exchange.audioPaste(&window, lib + "/Drums", {}), lib + "/Drums/Notes.txt");
    ASSERT_TRUE(waitUntil([&] { return QFile::exists(lib + "/Drums/Notes.txt"); }));
    EXPECT_EQ(readFile(lib + "/Drums/Take.wav"), readFile(lib + "/Take.wav"));
    EXPECT_FALSE(QFile::exists(lib + "/Drums/Drums"));
    EXPECT_EQ(readFile(lib + "/Drums/snare.wav"), "snare");
    exchange.audioPaste(&window, lib, {});
    ASSERT_TRUE(waitUntil([&] { return QFile::exists(lib + "/Notes(1).txt"); }));
    ASSERT_TRUE(waitUntil([&] { return QFile::exists(lib + "/Drums(1)/snare.wav"); }));
    EXPECT_EQ(readFile(lib + "/Take(1).wav"), readFile(lib + "/Take.wav"));
    EXPECT_EQ(readFile(lib + "/Drums(1)/Take.wav"), readFile(lib + "/Take.wav"));
    // Copied items gone before the paste: nothing of ours is left to paste but the sound.
    exchange.copyItems(&window, {lib + "/Drums(1)"});
    ASSERT_TRUE(QDir(lib + "/Drums(1)").removeRecursively());
    EXPECT_NE(exchange.audioPaste(&window, lib, {}), lib + "/Drums(1)");
    EXPECT_FALSE(QFile::exists(lib + "/Drums(1)"));

    // Another program puts a file and a folder on the clipboard later: they are copied in.
    writeFile(tree.path("outside/Loop.wav"), "loop bytes");
    writeFile(tree.path("outside/Kit/kick.wav"), "kick");
    auto* data = new QMimeData;
    data->setData("x-special/gnome-copied-files", "copy\n" + QUrl::fromLocalFile(tree.path("outside/Loop.wav")).toEncoded()
                                                      + "\n" + QUrl::fromLocalFile(tree.path("outside/Kit")).toEncoded());
    clipboard->setMimeData(data);
    ASSERT_TRUE(exchange.canPaste());
    exchange.audioPaste(&window, lib, {});
    ASSERT_TRUE(waitUntil([&] { return QFile::exists(lib + "/Kit/kick.wav"); }));
    EXPECT_EQ(readFile(lib + "/Loop.wav"), "loop bytes");
    EXPECT_EQ(readFile(tree.path("outside/Loop.wav")), "loop bytes");  // copied, not moved
    // WAV bytes from a sound editor.
    auto* wav = new QMimeData;
    wav->setData("audio/x-wav", readFile(lib + "/Take.wav"));
    clipboard->setMimeData(wav);
    EXPECT_EQ(exchange.audioPaste(&window, lib, "Clip"), lib + "/Clip.wav");
    EXPECT_TRUE(alerts.alerts().isEmpty()) << alerts.alerts().join(';').toStdString();
}

TEST(LibraryExchange, FilesDroppedOnTheListArriveUnderFreeNamesAndOurOwnDragIsIgnored)
{
    TempTree tree;
    const QString lib = tree.library();
    writeFile(lib + "/Loop.wav", "mine");
    writeFile(tree.path("outside/Loop.wav"), "theirs");
    LibraryExchange exchange;
    QWidget window;
    window.resize(400, 600);
    auto* browser = new MasterViewController(&window);
    browser->resize(400, 600);
    browser->setPasteboardScreen(&exchange);
    window.show();
    browser->setFolder(lib);
    ASSERT_TRUE(waitUntil([&] { return browser->model()->isLoaded(); }));
    QWidget* viewport = browser->tableView()->viewport();

    // As a drag from another program arrives: it enters, then drops.
    auto drop = [&](QMimeData* data) {
        QDragEnterEvent enter(QPoint(10, 10), Qt::CopyAction, data, Qt::LeftButton, Qt::NoModifier);
        QCoreApplication::sendEvent(viewport, &enter);
        QDropEvent event(QPointF(10, 10), Qt::CopyAction, data, Qt::LeftButton, Qt::NoModifier);
        QCoreApplication::sendEvent(viewport, &event);
        return enter.isAccepted() && event.isAccepted();
    };
    QMimeData outside;
    outside.setData("text/uri-list", QUrl::fromLocalFile(tree.path("outside/Loop.wav")).toEncoded() + "\r\n");
    EXPECT_TRUE(drop(&outside));
    EXPECT_EQ(readFile(lib + "/Loop(1).wav"), "theirs");
    EXPECT_EQ(readFile(lib + "/Loop.wav"), "mine");
    // A drag that started in the library itself brings nothing.
    const auto ours = DesktopClipboardData::mimeDataForFiles({lib + "/Loop.wav"});
    EXPECT_FALSE(drop(ours.get()));
    EXPECT_FALSE(QFile::exists(lib + "/Loop(2).wav"));

    // Dropped on a folder row of its own list, it moves into that folder; on the Trash row it
    // goes to the Trash; on a file row, or a folder on itself or below itself, nothing moves.
    QDir().mkpath(lib + "/Kit/Deep");
    QDir().mkpath(Utils::trashcanURL());
    UndoStack undo;
    browser->setUndoStack(&undo);
    ASSERT_TRUE(waitUntil([&] { return browser->model()->rowForItemWithPath(lib + "/Kit") >= 0
                                       && browser->model()->rowForItemWithPath(Utils::trashcanURL()) >= 0; }));
    auto centre = [&](const QString& row) {
        return browser->tableView()->visualRect(browser->model()->index(browser->model()->rowForItemWithPath(row))).center();
    };
    // As a person drags: it enters over the row it starts from, moves to the row, drops.
    auto dropOn = [&](const QString& row, QMimeData* data) {
        QDragEnterEvent enter(centre(DesktopClipboardData::filesFromMimeData(data).first()), Qt::CopyAction, data,
                              Qt::LeftButton, Qt::NoModifier);
        QCoreApplication::sendEvent(viewport, &enter);
        EXPECT_TRUE(enter.isAccepted());
        QDragMoveEvent move(centre(row), Qt::CopyAction, data, Qt::LeftButton, Qt::NoModifier);
        QCoreApplication::sendEvent(viewport, &move);
        QDropEvent event(QPointF(centre(row)), Qt::CopyAction, data, Qt::LeftButton, Qt::NoModifier);
        QCoreApplication::sendEvent(viewport, &event);
        return move.isAccepted() && event.isAccepted();
    };
    const auto kit = DesktopClipboardData::mimeDataForFiles({lib + "/Kit"});
    EXPECT_FALSE(dropOn(lib + "/Kit", kit.get()));
    EXPECT_FALSE(dropOn(lib + "/Loop.wav", ours.get()));
    const auto two = DesktopClipboardData::mimeDataForFiles({lib + "/Loop.wav", lib + "/Loop(1).wav"});
    EXPECT_TRUE(dropOn(lib + "/Kit", two.get()));
    EXPECT_EQ(readFile(lib + "/Kit/Loop.wav"), "mine");
    EXPECT_EQ(readFile(lib + "/Kit/Loop(1).wav"), "theirs");
    EXPECT_FALSE(QFile::exists(lib + "/Loop.wav"));
    ASSERT_TRUE(waitUntil([&] { return browser->model()->rowForItemWithPath(lib + "/Loop.wav") < 0; }));
    // The move can be undone like one made with Move.
    ASSERT_TRUE(undo.undo());
    EXPECT_EQ(readFile(lib + "/Loop.wav"), "mine");
    ASSERT_TRUE(waitUntil([&] { return browser->model()->rowForItemWithPath(lib + "/Loop.wav") >= 0; }));
    EXPECT_TRUE(dropOn(Utils::trashcanURL(), ours.get()));
    EXPECT_FALSE(QFile::exists(lib + "/Loop.wav"));
    EXPECT_EQ(QDir(Utils::trashcanURL()).entryList(QDir::Dirs | QDir::NoDotAndDotDot).size(), 1);

    // Cut and paste moves, once, and can be undone; pasted where the item is, nothing happens
    // and the cut waits for another folder.
    writeFile(lib + "/Cut.wav", "cut");
    // A browser that came and went (a folder opened, then left) leaves the paste working.
    {
        MasterViewController gone;
        gone.setPasteboardScreen(&exchange);
    }
    exchange.cutItems(&window, {lib + "/Cut.wav"});
    EXPECT_TRUE(exchange.audioPaste(&window, lib, {}).isEmpty());
    EXPECT_EQ(readFile(lib + "/Cut.wav"), "cut");
    EXPECT_EQ(exchange.audioPaste(&window, lib + "/Kit", {}), lib + "/Kit/Cut.wav");
    EXPECT_EQ(readFile(lib + "/Kit/Cut.wav"), "cut");
    EXPECT_FALSE(QFile::exists(lib + "/Cut.wav"));
    exchange.audioPaste(&window, lib + "/Kit/Deep", {});
    EXPECT_FALSE(QFile::exists(lib + "/Kit/Deep/Cut.wav"));
    EXPECT_TRUE(QFile::exists(lib + "/Kit/Cut.wav"));
    ASSERT_TRUE(undo.undo());
    EXPECT_EQ(readFile(lib + "/Cut.wav"), "cut");
}

TEST(LibraryExchange, HistoryScreenListsTheRingNewestFirstAndPastesASlot)
{
    TempTree tree;
    AlertCapture alerts;
    const QString lib = tree.library();
    ASSERT_TRUE(writeToneWav(tree.path("Bass 90bpm.wav"), 1, 44100, 44100));
    ASSERT_TRUE(AudioCopyPaste1::copyAudioFileAtPath(tree.path("Bass 90bpm.wav"),
                                                     {{"copyname", "Bass"}, {"sender", "Synth"}, {"tempo", 90}},
                                                     AudioCopyPaste1::incrementPasteIndexAndGetPasteboardName()));
    QWidget window;
    PasteboardHistoryViewController screen(lib, nullptr, &window);
    QListWidget* list = screen.slotList();
    ASSERT_EQ(list->count(), 12);
    EXPECT_TRUE(list->item(0)->text().contains("Bass — Synth")) << list->item(0)->text().toStdString();
    EXPECT_TRUE(list->item(0)->text().contains("0:01.0  mono  90 bpm")) << list->item(0)->text().toStdString();
    EXPECT_TRUE(list->item(1)->text().contains("(empty)"));
    EXPECT_EQ(screen.pasteSelected(), lib + "/Bass.wav");
    EXPECT_EQ(readFile(lib + "/Bass.wav").mid(44), readFile(tree.path("Bass 90bpm.wav")).mid(44));
    EXPECT_TRUE(alerts.alerts().isEmpty());
}

TEST(LibraryExchange, TheMixerIsOfferedFromTheSoftwareCenterUnlessItsHandlersAreInstalled)
{
    TempTree tree;
    qputenv("XDG_DATA_DIRS", QFile::encodeName(tree.path("system")));
    LibraryExchange exchange;
    QWidget window;
    EXPECT_FALSE(KormixHandOver::isInstalled());
    exchange.sendToKormix(&window, "/lib/Take.wav");
    QMessageBox* box = openMessageBox();
    ASSERT_NE(box, nullptr);
    EXPECT_EQ(box->windowTitle(), "Kormix");
    EXPECT_TRUE(box->text().endsWith("\n\nWould you like to view it in the Software\u00a0Center?"));
    closeMessageBoxes();

    // Installed, but an old one that takes no files.
    writeFile(tree.path("data/applications/kormix.desktop"),
              "[Desktop Entry]\nName=Kormix\nExec=kormix %u\nMimeType=audio/x-wav;x-scheme-handler/kormix.audiobus;\n");
    EXPECT_TRUE(KormixHandOver::isInstalled());
    EXPECT_FALSE(KormixHandOver::canAddPlayer());
    exchange.sendToKormix(&window, "/lib/Take.wav");
    box = openMessageBox();
    ASSERT_NE(box, nullptr);
    EXPECT_TRUE(box->text().startsWith("Your installed version of Kormix is outdated."));
    closeMessageBoxes();
    EXPECT_EQ(KormixHandOver::addPlayerUrl("/lib/My Take.wav").toString(QUrl::FullyEncoded),
              "kormix.addplayer:/lib/My%20Take.wav");
    qunsetenv("XDG_DATA_DIRS");
}
