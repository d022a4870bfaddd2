#include "DropboxTestServer.h"

#include "cloud/DropboxAccount.h"
#include "cloud/DropboxClient.h"
#include "cloud/DropboxTransfer.h"
#include "cloud/DropboxUploadBatch.h"
#include "support/SmallDisk.h"
#include "support/TempTree.h"

#include <QDir>
#include <QDirIterator>
#include <QElapsedTimer>
#include <QFile>
#include <QJsonArray>
#include <gtest/gtest.h>

using namespace cloud;
using testsupport::DropboxTestServer;
using testsupport::readFile;
using testsupport::writeFile;

namespace {
QByteArray bytesOf(char seed, qint64 size)
{
    QByteArray b(size, Qt::Uninitialized);
    for (qint64 i = 0; i < size; ++i)
        b[i] = char(seed + i * 31 + (i >> 8));
    return b;
}

// Every file below root, relative, sorted.
QStringList filesBelow(const QString& root)
{
    QStringList files;
    QDirIterator it(root, QDir::Files | QDir::Hidden | QDir::System, QDirIterator::Subdirectories);
    while (it.hasNext())
        files << QDir(root).relativeFilePath(it.next());
    files.sort();
    return files;
}

// What the transfer showed, in order ("open:Downloading...", "label:Kick.wav", "done:Done", ...).
struct Shown {
    QStringList events;
    float lastProgress = -1;
    DropboxTransfer::Display display()
    {
        DropboxTransfer::Display d;
        d.open = [this](const QString& m) { events << QStringLiteral("open:") + m; };
        d.label = [this](const QString& m) { events << QStringLiteral("label:") + m; };
        d.progress = [this](float f) { lastProgress = f; };
        d.done = [this](const QString& m) { events << QStringLiteral("done:") + m; };
        d.finish = [this](const QString& m) { events << QStringLiteral("finish:") + m; };
        d.close = [this] { events << QStringLiteral("close"); };
        d.alert = [this](const QString& t, const QString& m) { events << QStringLiteral("alert:") + t + QLatin1Char('|') + m; };
        return d;
    }
};

class DropboxTransferTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_TRUE(server.isRunning());
        account.loadSync();
        ASSERT_TRUE(account.isLinked());
    }

    bool waitFinished(DropboxTransfer& transfer, int ms = 60000)
    {
        return testsupport::waitUntil([&] { return !transfer.isRunning(); }, ms);
    }

    void importInto(const QList<DropboxPendingEntry>& picked, const QString& base, const QString& folder)
    {
        transfer.importItems(picked, base, folder);
        ASSERT_TRUE(waitFinished(transfer));
    }

    testsupport::TempTree tree;
    DropboxTestServer server;
    testsupport::LogCapture log;
    DropboxAccount account;
    DropboxClient client{&account};
    Shown shown;
    DropboxTransfer transfer{&client, shown.display()};
};
}  // namespace

// A folder tree arrives page by page (and once the listing starts over) into a library folder
// that already holds some of its names: those keep their bytes and the new ones take "(1)".
TEST_F(DropboxTransferTest, ImportsTreeWithContinuationPagesBesideExistingNames)
{
    const QString lib = tree.library();
    QMap<QString, QByteArray> remote = {
        {"Loops/Kick.wav", bytesOf(1, 5000)},      {"Loops/Snare.wav", bytesOf(2, 300)},
        {"Loops/Sub/Hat.wav", bytesOf(3, 7000)},   {"Loops/Sub/Deep/Clap.wav", bytesOf(4, 10)},
        {"Loops/Pad.aif", bytesOf(5, 1)},          {"Loops/Notes.txt", QByteArray()},
        {"Loops/Sub/Kick.wav", bytesOf(6, 4242)},  {"Other/Not picked.wav", bytesOf(7, 9)},
    };
    for (auto it = remote.cbegin(); it != remote.cend(); ++it)
        ASSERT_TRUE(writeFile(server.account("/" + it.key()), it.value()));
    ASSERT_TRUE(writeFile(lib + "/Loops/Kick.wav", "mine"));
    ASSERT_TRUE(writeFile(lib + "/Loops/Kick(1).wav", "mine too"));
    ASSERT_TRUE(server.control({{"page_size", 2}, {"reset_once", true}}));

    importInto({{"/Loops", true}}, "", lib);

    EXPECT_EQ(readFile(lib + "/Loops/Kick.wav"), "mine");
    EXPECT_EQ(readFile(lib + "/Loops/Kick(1).wav"), "mine too");
    EXPECT_EQ(readFile(lib + "/Loops/Kick(2).wav"), remote["Loops/Kick.wav"]);
    for (const char* same : {"Loops/Snare.wav", "Loops/Sub/Hat.wav", "Loops/Sub/Deep/Clap.wav", "Loops/Pad.aif",
                             "Loops/Notes.txt", "Loops/Sub/Kick.wav"})
        EXPECT_EQ(readFile(lib + "/" + same), remote[same]) << same;
    EXPECT_EQ(filesBelow(lib).size(), 9) << filesBelow(lib).join(", ").toStdString();
    EXPECT_TRUE(log.contains("*** listFolderContinue..."));
    EXPECT_TRUE(shown.events.contains("label:Scanning Loops"));
    EXPECT_TRUE(shown.events.contains("label:Scanning Deep"));
    EXPECT_EQ(shown.events.first(), "open:Downloading...");
    EXPECT_EQ(shown.events.last(), "done:Done");
    EXPECT_GE(server.stats()["routes"].toObject()["files/list_folder/continue"].toInt(), 3);
}

// An empty folder ends with "Done" and makes nothing, not even the folder.
TEST_F(DropboxTransferTest, EmptyFolderEndsWithDoneAndCreatesNothing)
{
    ASSERT_TRUE(QDir().mkpath(server.account("/Empty")));
    importInto({{"/Empty", true}}, "", tree.library());
    EXPECT_EQ(shown.events, QStringList({"open:Downloading...", "label:Scanning Empty", "done:Done"}));
    EXPECT_FALSE(QFileInfo::exists(tree.library() + "/Empty"));
}

// A folder with two sub-folders (and a link back to itself) goes up with its relative paths,
// through a commit answered as a job that must be polled, with the write rate limit hit and
// one chunk's answer lost on the way (Dropbox then names the offset to go on from).
TEST_F(DropboxTransferTest, ExportsFolderWithSubfoldersThroughPolledBatch)
{
    const QString lib = tree.library();
    QMap<QString, QByteArray> local = {
        {"Session/Mix.wav", bytesOf(1, 1000)},
        {"Session/Drums/Kick.wav", bytesOf(2, DropboxUploadBatch::kChunkBytes + 17)},  // more than one chunk
        {"Session/Bass/Line é.wav", bytesOf(3, 20000)},
        {"Session/Bass/Empty.txt", QByteArray()},
    };
    for (auto it = local.cbegin(); it != local.cend(); ++it)
        ASSERT_TRUE(writeFile(lib + "/" + it.key(), it.value()));
    ASSERT_TRUE(QFile::link(lib + "/Session", lib + "/Session/Drums/Back"));
    ASSERT_TRUE(server.control({{"async_finish", true}, {"polls_in_progress", 2}, {"lose_append_answer", true},
                                {"rate_limit", 3}, {"retry_after", 0}, {"rate_reason", "too_many_write_operations"}}));

    QSet<DropboxPendingEntry> files;
    DropboxTransfer::scanFilesRecurse(lib + "/Session", files);
    EXPECT_EQ(files.size(), 4);
    transfer.dropboxUpload(files, lib, "/Backup");
    ASSERT_TRUE(waitFinished(transfer));

    EXPECT_EQ(shown.events.last(), "done:Done") << shown.events.join("\n").toStdString();
    for (auto it = local.cbegin(); it != local.cend(); ++it)
        EXPECT_EQ(readFile(server.account("/Backup/" + it.key())), it.value()) << it.key().toStdString();
    EXPECT_EQ(filesBelow(server.account("/Backup")).size(), 4);
    const QJsonObject stats = server.stats();
    EXPECT_EQ(stats["rate_limited"].toInt(), 3);
    EXPECT_GE(stats["routes"].toObject()["files/upload_session/finish_batch/check"].toInt(), 3);
    EXPECT_FLOAT_EQ(shown.lastProgress, 1.0f);
    EXPECT_TRUE(log.contains(QStringLiteral("File successfully uploaded from %1 on local machine to %2 in Dropbox.")
                                 .arg(lib + "/Session/Mix.wav", "/Backup/Session/Mix.wav")));
}

// One file of three is refused: the others arrive and the alert names that one alone.
TEST_F(DropboxTransferTest, OneFileOfThreeFailingIsNamedInTheAlert)
{
    const QString lib = tree.library();
    QSet<DropboxPendingEntry> files;
    for (const char* name : {"A.wav", "B.wav", "C.wav"}) {
        ASSERT_TRUE(writeFile(lib + "/" + name, name));
        files.insert({lib + "/" + name, false});
    }
    ASSERT_TRUE(server.control({{"fail_commit", QJsonArray{"/Dest/B.wav"}}}));
    transfer.dropboxUpload(files, lib, "/Dest");
    ASSERT_TRUE(waitFinished(transfer));
    EXPECT_EQ(shown.events.last(), "alert:Dropbox Upload|The following files failed to upload:\n\nB.wav");
    EXPECT_EQ(filesBelow(server.account("/Dest")), QStringList({"A.wav", "C.wav"}));
    EXPECT_TRUE(log.contains(QStringLiteral("File failed to upload: %1\n/Dest/B.wav\npath/insufficient_space").arg(lib + "/B.wav")))
        << log.lines().join("\n").toStdString();
}

// Bytes that do not match Dropbox's content hash never reach the library, either way: a
// corrupted download is discarded, a cut-off one is fetched again, a stored upload whose hash
// differs is reported as failed.
TEST_F(DropboxTransferTest, ContentHashMismatchIsDiscarded)
{
    const QString lib = tree.library();
    ASSERT_TRUE(writeFile(server.account("/In/Bad.wav"), bytesOf(1, 300000)));
    ASSERT_TRUE(writeFile(server.account("/In/Cut.wav"), bytesOf(2, 600000)));
    ASSERT_TRUE(writeFile(server.account("/In/Good.wav"), bytesOf(3, 1000)));
    ASSERT_TRUE(server.control({{"corrupt_download", QJsonArray{"/In/Bad.wav"}},
                                {"truncate_download", QJsonArray{"/In/Cut.wav"}}, {"truncate_once", true}}));
    importInto({{"/In", true}}, "", lib);
    EXPECT_EQ(filesBelow(lib), QStringList({"In/Cut.wav", "In/Good.wav"}));
    EXPECT_EQ(readFile(lib + "/In/Cut.wav"), bytesOf(2, 600000));
    EXPECT_EQ(shown.events.last(), "finish:Done\nCould not import: Bad.wav");

    ASSERT_TRUE(writeFile(lib + "/Up.wav", "up"));
    ASSERT_TRUE(server.control({{"wrong_hash_on_commit", QJsonArray{"/Up.wav"}}}));
    transfer.dropboxUpload({{lib + "/Up.wav", false}}, lib, "");
    ASSERT_TRUE(waitFinished(transfer));
    EXPECT_EQ(shown.events.last(), "alert:Dropbox Upload|The following files failed to upload:\n\nUp.wav");
}

// A storm of 429s and 5xx answers is waited out (Retry-After honoured) and the import finishes.
TEST_F(DropboxTransferTest, RateLimitStormBacksOffAndFinishes)
{
    ASSERT_TRUE(writeFile(server.account("/Storm/One.wav"), bytesOf(1, 100)));
    ASSERT_TRUE(writeFile(server.account("/Storm/Two.wav"), bytesOf(2, 100)));
    ASSERT_TRUE(server.control({{"rate_limit", 2}, {"retry_after", 1}, {"server_errors", 0}}));
    QElapsedTimer timer;
    timer.start();
    transfer.importItems({{"/Storm", true}}, "", tree.library());
    ASSERT_TRUE(testsupport::waitUntil([&] { return server.stats()["rate_limited"].toInt() == 2; }, 30000));
    ASSERT_TRUE(server.control({{"rate_limit", 6}, {"retry_after", 0}, {"server_errors", 3}}));
    ASSERT_TRUE(waitFinished(transfer));
    EXPECT_GE(timer.elapsed(), 2000);
    EXPECT_EQ(shown.events.last(), "done:Done");
    EXPECT_EQ(filesBelow(tree.library()), QStringList({"Storm/One.wav", "Storm/Two.wav"}));
    EXPECT_EQ(server.stats()["rate_limited"].toInt(), 8);
}

// Cancel in the middle: a download leaves no part of the file in the library, an upload
// leaves nothing committed on Dropbox.
TEST_F(DropboxTransferTest, CancelInTheMiddleLeavesNothingPartial)
{
    const QString lib = tree.library();
    ASSERT_TRUE(writeFile(server.account("/Big/Long.wav"), bytesOf(1, 4 * 1024 * 1024)));
    ASSERT_TRUE(server.control({{"download_delay", 0.05}}));
    transfer.importItems({{"/Big/Long.wav", false}}, "/Big", lib);
    ASSERT_TRUE(testsupport::waitUntil([&] { return shown.lastProgress > 0.05f; }, 30000));
    transfer.cancel();
    ASSERT_TRUE(waitFinished(transfer));
    EXPECT_EQ(shown.events.last(), "close");
    EXPECT_TRUE(filesBelow(lib).isEmpty()) << filesBelow(lib).join(", ").toStdString();

    ASSERT_TRUE(writeFile(lib + "/Up/Huge.wav", bytesOf(2, 40 * 1024 * 1024)));
    ASSERT_TRUE(server.control({{"upload_delay", 0.02}}));
    shown.lastProgress = -1;
    transfer.dropboxUpload({{lib + "/Up/Huge.wav", false}}, lib, "/Out");
    ASSERT_TRUE(testsupport::waitUntil([&] { return shown.lastProgress > 0.0f; }, 30000));
    transfer.cancel();
    ASSERT_TRUE(waitFinished(transfer));
    EXPECT_FALSE(shown.events.last().startsWith("alert:")) << shown.events.last().toStdString();
    EXPECT_FALSE(QFileInfo::exists(server.account("/Out")));
    EXPECT_FALSE(server.stats()["routes"].toObject().contains("files/upload_session/finish_batch_v2"));
}

// The connection breaking on the way: an upload cut off in its first chunk is sent again and
// its content hash still covers each byte once; one cut off every time fails alone, nothing
// committed; a download cut off every time leaves nothing in the library.
TEST_F(DropboxTransferTest, BrokenConnectionsAreRetriedAndLeaveNothingPartial)
{
    const QString lib = tree.library();
    const QByteArray twoChunks = bytesOf(3, DropboxUploadBatch::kChunkBytes + 1000);
    ASSERT_TRUE(writeFile(lib + "/Cut.wav", twoChunks));
    ASSERT_TRUE(server.control({{"close_upload_after", 5 * 1024 * 1024}, {"close_upload_times", 2}}));
    transfer.dropboxUpload({{lib + "/Cut.wav", false}}, lib, "/Up");
    ASSERT_TRUE(waitFinished(transfer));
    EXPECT_EQ(shown.events.last(), "done:Done") << shown.events.join("\n").toStdString();
    EXPECT_EQ(server.stats()["uploads_cut"].toInt(), 2);
    EXPECT_TRUE(readFile(server.account("/Up/Cut.wav")) == twoChunks);

    ASSERT_TRUE(writeFile(lib + "/Never.wav", bytesOf(4, 3 * 1024 * 1024)));
    ASSERT_TRUE(server.control({{"close_upload_after", 1024 * 1024}, {"close_upload_times", 100}}));
    transfer.dropboxUpload({{lib + "/Never.wav", false}}, lib, "/Up");
    ASSERT_TRUE(waitFinished(transfer));
    EXPECT_EQ(shown.events.last(), "alert:Dropbox Upload|The following files failed to upload:\n\nNever.wav");
    EXPECT_EQ(filesBelow(server.account("/Up")), QStringList({"Cut.wav"}));
    ASSERT_TRUE(server.control({{"close_upload_times", 0}}));

    ASSERT_TRUE(writeFile(server.account("/In/Half.wav"), bytesOf(5, 3 * 1024 * 1024)));
    ASSERT_TRUE(server.control({{"truncate_download", QJsonArray{"/In/Half.wav"}}, {"truncate_once", false}}));
    importInto({{"/In/Half.wav", false}}, "/In", lib + "/Imported");
    EXPECT_EQ(shown.events.last(), "finish:Done\nCould not import: Half.wav");
    EXPECT_EQ(filesBelow(lib), QStringList({"Cut.wav", "Never.wav"}));
    EXPECT_TRUE(log.contains("Dropbox: files/download failed (the answer was cut off), trying again"))
        << log.lines().join("\n").toStdString();
}

// Answers that make no sense and names that do not fit give a clear message and lose nothing.
TEST_F(DropboxTransferTest, BadAnswersAndNamesLoseNothing)
{
    const QString lib = tree.library();
    ASSERT_TRUE(writeFile(lib + "/Keep.wav", "keep"));
    ASSERT_TRUE(writeFile(server.account("/In/Fine: yes.wav"), "ok"));
    const QString longName = QString(300, QLatin1Char('x')) + ".wav";
    ASSERT_TRUE(server.control({{"extra_entries",
                                 QJsonObject{{"/In", QJsonArray{
                                     QJsonObject{{".tag", "file"}, {"name", "escape.wav"}, {"path_lower", "/in/../../escape.wav"},
                                                 {"path_display", "/In/../../escape.wav"}, {"size", 1}},
                                     QJsonObject{{".tag", "file"}, {"name", longName}, {"path_lower", "/in/" + longName},
                                                 {"path_display", "/In/" + longName}, {"size", 1}}}}}}}));
    importInto({{"/In", true}}, "", lib);
    EXPECT_EQ(filesBelow(lib), QStringList({"In/Fine: yes.wav", "Keep.wav"}));
    EXPECT_FALSE(QFileInfo::exists(tree.root() + "/escape.wav"));
    EXPECT_TRUE(shown.events.last().startsWith("finish:Done\nCould not import: ")) << shown.events.last().toStdString();

    ASSERT_TRUE(server.control({{"malformed_listing", true}}));
    importInto({{"/In", true}}, "", lib);
    ASSERT_GE(shown.events.size(), 2);
    EXPECT_TRUE(shown.events[shown.events.size() - 2].startsWith("alert:Dropbox error|Dropbox sent an answer that could not be read"))
        << shown.events.join("\n").toStdString();
    EXPECT_EQ(readFile(lib + "/Keep.wav"), "keep");
    ASSERT_TRUE(server.control({{"malformed_listing", false}}));

    // A listing of 100,000 entries comes whole, page after page.
    ASSERT_TRUE(QDir().mkpath(server.account("/Huge")));
    ASSERT_TRUE(server.control({{"page_size", 5000}, {"generated_entries", QJsonObject{{"/Huge", 100000}}}}));
    int count = 0;
    bool finished = false;
    std::function<void(const ListFolderResult&, const DropboxError&)> page = [&](const ListFolderResult& r, const DropboxError& e) {
        ASSERT_FALSE(e) << e.description().toStdString();
        count += r.entries.size();
        if (r.hasMore)
            client.listFolderContinue(r.cursor, page);
        else
            finished = true;
    };
    client.listFolder("/Huge", page);
    ASSERT_TRUE(testsupport::waitUntil([&] { return finished; }, 120000));
    EXPECT_EQ(count, 100000);
}

// A library on a disk too small for the file: the import names it with the system's reason and
// leaves the disk as it was.
TEST_F(DropboxTransferTest, FullDiskLeavesTheLibraryAsItWas)
{
    testsupport::SmallDisk disk(tree.path("small"), "2m");
    if (!disk.mounted())
        GTEST_SKIP() << "mounting a small disk needs root";
    ASSERT_TRUE(writeFile(tree.path("small/Keep.wav"), "keep"));
    ASSERT_TRUE(writeFile(server.account("/In/Large.wav"), bytesOf(6, 4 * 1024 * 1024)));
    importInto({{"/In/Large.wav", false}}, "/In", tree.path("small"));
    EXPECT_EQ(shown.events.last(), "finish:Done\nCould not import: Large.wav");
    EXPECT_EQ(filesBelow(tree.path("small")), QStringList({"Keep.wav"}));
    EXPECT_TRUE(log.contains("/In/Large.wav: Could not write the downloaded file: No space left on device\n"
                             "Could not write the downloaded file: No space left on device"))
        << log.lines().join("\n").toStdString();
}
