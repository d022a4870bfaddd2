// Writes into the library survive kills, full disks and each other: every file is either as
// it was or the complete result, and the next start removes what a killed run left.
#include "platform/HeldTemporaryFile.h"
#include "platform/PartFile.h"
#include "support/AudioFixtures.h"
#include "support/BuildPaths.h"
#include "support/DecodedAudio.h"
#include "support/SmallDisk.h"
#include "support/TempTree.h"

#include <QDir>
#include <QDirIterator>
#include <QDateTime>
#include <QElapsedTimer>
#include <QFileInfo>
#include <QMap>
#include <QProcess>
#include <QRandomGenerator>
#include <QRegularExpression>
#include <QThread>
#include <cmath>
#include <gtest/gtest.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace testsupport;

namespace {

constexpr int kRate = 44100;
constexpr int kKillsPerOperation = 3;

// Noise does not compress, so a zip needs as much room as its file.
int16_t noise(int64_t frame, int channel)
{
    uint32_t x = uint32_t(frame * 2 + channel) * 2654435761u;
    x ^= x >> 15;
    return int16_t(x & 0x3fff) - 0x2000;
}

// Every file below root by relative path (Trash batches named by time become "*"), with its
// bytes; our part files apart.
struct Snapshot {
    QMap<QString, QByteArray> files;
    QStringList parts;
};

Snapshot snapshot(const QString& root)
{
    static const QRegularExpression batch(QStringLiteral("^Trash/[^/]+/"));
    Snapshot s;
    QDirIterator it(root, QDir::Files | QDir::Hidden | QDir::System, QDirIterator::Subdirectories);
    while (it.hasNext()) {
        const QString path = it.next();
        if (PartFile::isPartName(it.fileName())) {
            s.parts << path;
            continue;
        }
        QString key = path.mid(root.size() + 1);
        key.replace(batch, QStringLiteral("Trash/*/"));
        s.files.insert(key, readFile(path));
    }
    return s;
}

QStringList cacheLeftovers(const TempTree& tree)
{
    QStringList found;
    QDirIterator it(tree.path("cache"), QDir::Files | QDir::Hidden, QDirIterator::Subdirectories);
    while (it.hasNext()) {
        it.next();
        if (it.fileName().startsWith(QLatin1String("tempfile")) || it.fileName().startsWith(QLatin1String("zip-")))
            found << it.filePath();
    }
    return found;
}

QString tool() { return (testsupport::binDir() + QStringLiteral("/wavelocker-tool")); }

// Runs the tool and kills it after delayMs (when it still runs); the elapsed time otherwise.
qint64 runAndKill(const QStringList& args, int delayMs)
{
    QProcess p;
    QElapsedTimer timer;
    timer.start();
    p.start(tool(), args);
    p.waitForStarted();
    if (delayMs >= 0 && !p.waitForFinished(delayMs))
        p.kill();  // SIGKILL
    p.waitForFinished(120000);
    return timer.elapsed();
}

struct Operation {
    const char* name;
    QStringList args;
    bool everyFileAlone;  // unzip: each entry arrives on its own
};

// Fixed times, so that an archive of the same files is the same bytes.
void stamp(const QString& path)
{
    QFile f(path);
    f.open(QIODevice::ReadWrite);
    f.setFileTime(QDateTime(QDate(2024, 5, 1), QTime(12, 0)), QFileDevice::FileModificationTime);
}

void makeLibrary(const QString& lib)
{
    QDir(lib).removeRecursively();
    QDir().mkpath(lib + "/pack");
    ASSERT_TRUE(writeWav16(lib + "/take.wav", 2, kRate, 20 * kRate, noise));
    stamp(lib + "/take.wav");
    for (int i = 0; i < 3; ++i) {
        const QString part = QStringLiteral("%1/pack/part%2.wav").arg(lib).arg(i);
        ASSERT_TRUE(writeWav16(part, 2, kRate, 8 * kRate, [i](int64_t f, int c) { return noise(f + i, c); }));
        stamp(part);
    }
}

QByteArray randomBytes(qsizetype size)
{
    QByteArray bytes(size, Qt::Uninitialized);
    QRandomGenerator::global()->fillRange(reinterpret_cast<quint32*>(bytes.data()), size / 4);
    return bytes;
}

}  // namespace

TEST(FileSafety, KilledOperationsLeaveEveryFileWholeAndTheNextStartCleansUp)
{
    TempTree tree;
    const QString lib = tree.path("lib");
    const QString libArg = QStringLiteral("--library");
    // The archive to unzip holds other bytes than the files it replaces.
    makeLibrary(lib);
    ASSERT_EQ(runProgram("wavelocker-tool", {libArg, lib, "zip", lib + "/pack"}).exitCode, 0);
    const QByteArray archive = readFile(lib + "/pack.zip");
    auto prepare = [&] {
        makeLibrary(lib);
        writeFile(lib + "/pack.zip", archive);
        for (int i = 0; i < 3; ++i)
            writeFile(QStringLiteral("%1/pack/part%2.wav").arg(lib).arg(i), "older take");
    };

    const QList<Operation> operations = {
        {"normalize", {"normalize", lib + "/take.wav", lib + "/take.wav"}, false},
        {"trim", {"trim", lib + "/take.wav", lib + "/take.wav", "--start", "1", "--end", "19"}, false},
        {"convert", {"convert", lib + "/take.wav", lib + "/take.m4a", "--format", "3"}, false},
        {"unzip", {"unzip", lib + "/pack.zip"}, true},
        {"zip", {"zip", lib + "/take.wav"}, false},
    };
    for (const Operation& op : operations) {
        SCOPED_TRACE(op.name);
        QStringList args = {libArg, lib};
        args += op.args;
        prepare();
        const Snapshot before = snapshot(lib);
        const qint64 duration = runAndKill(args, -1);
        const Snapshot complete = snapshot(lib);
        ASSERT_NE(before.files, complete.files);
        ASSERT_TRUE(complete.parts.isEmpty());

        for (int kill = 0; kill < kKillsPerOperation; ++kill) {
            prepare();
            runAndKill(args, int(QRandomGenerator::global()->bounded(duration)));
            const Snapshot after = snapshot(lib);
            if (op.everyFileAlone) {
                // Each file is its old or its new version; an old one replaced lies in the Trash.
                for (auto it = after.files.begin(); it != after.files.end(); ++it)
                    EXPECT_TRUE(it.value() == before.files.value(it.key()) || it.value() == complete.files.value(it.key()))
                        << it.key().toStdString();
                const QList<QByteArray> kept = after.files.values();
                for (const QByteArray& old : before.files)
                    EXPECT_TRUE(kept.contains(old));
            } else {
                EXPECT_TRUE(after.files == before.files || after.files == complete.files) << "kill " << kill;
            }
            // The next start takes what the killed run left, and only that.
            ASSERT_EQ(runProgram("wavelocker-tool", {libArg, lib, "ls"}).exitCode, 0);
            const Snapshot cleaned = snapshot(lib);
            EXPECT_TRUE(cleaned.parts.isEmpty()) << cleaned.parts.join(' ').toStdString();
            EXPECT_EQ(cleaned.files, after.files);
        }
    }
    EXPECT_TRUE(cacheLeftovers(tree).isEmpty());
}

TEST(FileSafety, NormalizeAndTrimAtOnceInTwoProcessesEachWriteTheirOwnResult)
{
    TempTree tree;
    const QString a = tree.path("a.wav");
    const QString b = tree.path("b.wav");
    ASSERT_TRUE(writeToneWav(a, 2, kRate, 6 * kRate));
    ASSERT_TRUE(writeWav16(b, 2, kRate, 6 * kRate, noise));
    for (int round = 0; round < 3; ++round) {
        QProcess normalize, trim;
        normalize.start(tool(), {"normalize", a, tree.path("an.wav")});
        trim.start(tool(), {"trim", b, tree.path("bt.wav"), "--start", "1", "--end", "4"});
        ASSERT_TRUE(normalize.waitForFinished(60000) && trim.waitForFinished(60000));
        ASSERT_EQ(normalize.exitCode(), 0) << normalize.readAllStandardError().toStdString();
        ASSERT_EQ(trim.exitCode(), 0) << trim.readAllStandardError().toStdString();

        const DecodedAudio source = decodeFile(a);
        const DecodedAudio normalized = decodeFile(tree.path("an.wav"));
        ASSERT_EQ(normalized.frames(), source.frames());
        // The tone's peak is half scale: normalized, every sample doubles.
        for (int64_t f = 0; f < source.frames(); f += 997)
            ASSERT_NEAR(normalized.at(f), source.at(f) * 2, 2e-4) << f;
        const DecodedAudio noiseSource = decodeFile(b);
        const DecodedAudio trimmed = decodeFile(tree.path("bt.wav"));
        ASSERT_EQ(trimmed.frames(), 3 * kRate);
        for (int64_t f = 0; f < trimmed.frames(); f += 991)
            ASSERT_EQ(trimmed.at(f, 1), noiseSource.at(f + kRate, 1)) << f;
        QFile::remove(tree.path("an.wav"));
        QFile::remove(tree.path("bt.wav"));
    }
}


TEST(FileSafety, AFullDiskLeavesTheLibraryAsItWas)
{
    TempTree tree;
    const QString lib = tree.path("small");
    const SmallDisk disk(lib, "2m");
    if (!disk.mounted())
        GTEST_SKIP() << "mounting a tmpfs needs root";
    // 1.1 MB of noise: a second copy does not fit.
    ASSERT_TRUE(writeWav16(lib + "/take.wav", 2, kRate, 280000, noise));
    const Snapshot before = snapshot(lib);
    const QStringList base = {"--library", lib};
    for (const QStringList& op : {QStringList{"normalize", lib + "/take.wav", lib + "/take.wav"},
                                  QStringList{"trim", lib + "/take.wav", lib + "/take.wav", "--start", "0", "--end", "6"},
                                  QStringList{"convert", lib + "/take.wav", lib + "/take.caf", "--format", "2", "--bits", "24"},
                                  QStringList{"zip", lib + "/take.wav"}}) {
        const RunResult r = runProgram("wavelocker-tool", base + op);
        EXPECT_EQ(r.exitCode, 1) << op.first().toStdString() << r.err.toStdString();
        const Snapshot after = snapshot(lib);
        EXPECT_EQ(after.files, before.files) << op.first().toStdString();
        EXPECT_TRUE(after.parts.isEmpty()) << op.first().toStdString();
    }

    // An archive that unpacks to more than the free space is refused before anything is written.
    QFile::remove(lib + "/take.wav");
    writeFile(tree.path("big/a.wav"), randomBytes(600000));
    writeFile(tree.path("big/b.wav"), randomBytes(600000));
    ASSERT_EQ(runProgram("wavelocker-tool", {"zip", tree.path("big")}).exitCode, 0);
    ASSERT_TRUE(QFile::copy(tree.path("big.zip"), lib + "/big.zip"));
    const Snapshot withArchive = snapshot(lib);
    const RunResult r = runProgram("wavelocker-tool", base + QStringList{"unzip", lib + "/big.zip"});
    EXPECT_EQ(r.exitCode, 1);
    EXPECT_TRUE(r.err.contains("'big.zip' needs")) << r.err.toStdString();
    EXPECT_EQ(snapshot(lib).files, withArchive.files);

    // Many one-byte files pass that check, but each takes a page of the small disk: it fills
    // up half-way. What arrived is whole, the rest is not there, and no part is left.
    QFile::remove(lib + "/big.zip");
    constexpr int kManyFiles = 1000;
    for (int i = 0; i < kManyFiles; ++i)
        writeFile(tree.path("many/f%1.txt").arg(i, 4, 10, QLatin1Char('0')), QByteArray::number(i % 10));
    ASSERT_EQ(runProgram("wavelocker-tool", {"zip", tree.path("many")}).exitCode, 0);
    ASSERT_TRUE(QFile::copy(tree.path("many.zip"), lib + "/many.zip"));
    const RunResult filled = runProgram("wavelocker-tool", base + QStringList{"unzip", lib + "/many.zip"});
    EXPECT_EQ(filled.exitCode, 1);
    EXPECT_TRUE(filled.err.contains("Could not write")) << filled.err.toStdString();
    const Snapshot partly = snapshot(lib);
    EXPECT_TRUE(partly.parts.isEmpty());
    qsizetype arrived = 0;
    for (auto it = partly.files.begin(); it != partly.files.end(); ++it) {
        if (!it.key().startsWith("many/"))
            continue;
        ++arrived;
        EXPECT_EQ(it.value(), QByteArray::number(it.key().mid(6, 4).toInt() % 10)) << it.key().toStdString();
    }
    EXPECT_GT(arrived, 0);
    EXPECT_LT(arrived, kManyFiles);
    EXPECT_EQ(readFile(lib + "/many.zip"), readFile(tree.path("many.zip")));
}

TEST(FileSafety, UnzipPutsWhatItReplacesInTheTrashAndRefusesABomb)
{
    TempTree tree;
    const QString lib = tree.library();
    writeFile(lib + "/set/a.txt", "new a");
    writeFile(lib + "/set/b.txt", "new b");
    ASSERT_EQ(runProgram("wavelocker-tool", {"zip", lib + "/set"}).exitCode, 0);
    writeFile(lib + "/set/a.txt", "my own a");
    ASSERT_EQ(runProgram("wavelocker-tool", {"unzip", lib + "/set.zip"}).exitCode, 0);
    EXPECT_EQ(readFile(lib + "/set/a.txt"), "new a");
    const Snapshot s = snapshot(lib);
    EXPECT_EQ(s.files.value("Trash/*/a.txt"), "my own a");
    EXPECT_EQ(s.files.value("Trash/*/b.txt"), "new b");  // b.txt was replaced by its own bytes
    EXPECT_TRUE(s.parts.isEmpty());

    // 40 MB of zeros pack into some 40 kB: far beyond any archive of takes.
    writeFile(tree.path("bomb/zeros.wav"), QByteArray(40 << 20, '\0'));
    ASSERT_EQ(runProgram("wavelocker-tool", {"zip", tree.path("bomb")}).exitCode, 0);
    QFile::rename(tree.path("bomb.zip"), lib + "/bomb.zip");
    const RunResult r = runProgram("wavelocker-tool", {"unzip", lib + "/bomb.zip"});
    EXPECT_EQ(r.exitCode, 1);
    EXPECT_TRUE(r.err.contains("more than 200 times its size")) << r.err.toStdString();
    EXPECT_FALSE(QFileInfo::exists(lib + "/bomb"));
}

TEST(FileSafety, StartRemovesEveryStaleTemporaryFileButTheUnfinishedRecording)
{
    TempTree tree;
    const QString temp = tree.path("cache/com.orvenic.Wavelocker/tmp");
    QDir().mkpath(temp);
    const QDateTime past = QDateTime::currentDateTime().addSecs(-3600);
    const QStringList names = {"recording.wav", "stray.bin", ".hidden", "zip-1.zip", "locked.tmp", "future.tmp"};
    for (const QString& name : names) {
        writeFile(temp + "/" + name, "x");
        QFile f(temp + "/" + name);
        f.open(QIODevice::ReadWrite);
        f.setFileTime(name == "future.tmp" ? QDateTime::currentDateTime().addSecs(3600) : past,
                      QFileDevice::FileModificationTime);
    }
    // A writer that still runs holds its file's lock; a FIFO must not hang the start.
    ASSERT_EQ(::mkfifo(QFile::encodeName(temp + "/pipe").constData(), 0600), 0);
    const int locked = ::open(QFile::encodeName(temp + "/locked.tmp").constData(), O_RDONLY | O_CLOEXEC);
    ASSERT_EQ(::flock(locked, LOCK_EX), 0);
    // A paste between writing its temporary file and moving it into the library: closed, still in use.
    platform::HeldTemporaryFile held(temp + "/held-XXXXXX");
    ASSERT_TRUE(held.open());
    held.close();
    QFile aged(held.fileName());
    aged.open(QIODevice::ReadWrite);
    aged.setFileTime(past, QFileDevice::FileModificationTime);
    ASSERT_EQ(runProgram("wavelocker-tool", {"ls"}, {}, 20000).exitCode, 0);
    ::close(locked);
    QStringList left = QDir(temp).entryList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot);
    left.sort();
    EXPECT_EQ(left, QStringList({"future.tmp", QFileInfo(held.fileName()).fileName(), "locked.tmp", "recording.wav"}));
}
