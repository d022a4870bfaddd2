#include "library/ItemZipper.h"
#include "library/Utils.h"
#include "library/ZipArchive.h"
#include "platform/ZipWriter.h"
#include "support/TempTree.h"

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QRandomGenerator>
#include <gtest/gtest.h>

using namespace testsupport;

namespace {

class Collector : public ZipArchiveDelegate {
public:
    void ErrorMessage(const QString& message) override { messages << message; }
    QStringList messages;
};

int run(const QString& program, const QStringList& args, const QString& cwd, QByteArray* out = nullptr)
{
    QProcess p;
    p.setWorkingDirectory(cwd);
    p.start(program, args);
    if (!p.waitForFinished(60000))
        return -1;
    if (out)
        *out = p.readAllStandardOutput();
    return p.exitStatus() == QProcess::NormalExit ? p.exitCode() : -1;
}

// Relative path -> bytes of every file under root.
QMap<QString, QByteArray> contents(const QString& root)
{
    QMap<QString, QByteArray> files;
    QDirIterator it(root, QDir::Files | QDir::Hidden, QDirIterator::Subdirectories);
    while (it.hasNext()) {
        const QString path = it.next();
        files.insert(QDir(root).relativeFilePath(path), readFile(path));
    }
    return files;
}

QByteArray noise(int bytes, quint32 seed)
{
    QByteArray data(bytes, '\0');
    for (int i = 0; i < bytes; ++i) {
        seed = seed * 1664525u + 1013904223u;
        data[i] = char(i % 64 < 32 ? seed >> 24 : i & 0xff);  // half noise, half pattern
    }
    return data;
}

// Writes an archive with exactly these entry names, bypassing every naming rule.
void writeRawZip(const QString& path, const QList<std::pair<QString, QByteArray>>& entries)
{
    auto writer = ZipWriter::create(path);
    ASSERT_TRUE(writer);
    for (const auto& [name, data] : entries) {
        ASSERT_TRUE(writer->openEntry(name, QDateTime(QDate(2001, 2, 3), QTime(4, 5, 6))));
        ASSERT_TRUE(writer->write({data.constData(), size_t(data.size())}));
        ASSERT_TRUE(writer->closeEntry());
    }
    ASSERT_TRUE(writer->close());
}

QStringList leftoverParts(const QString& root)
{
    QStringList parts;
    QDirIterator it(root, {QStringLiteral("*.part")}, QDir::Files | QDir::Hidden, QDirIterator::Subdirectories);
    while (it.hasNext())
        parts << it.next();
    return parts;
}

}  // namespace

TEST(ZipArchive, ZipsFolderThatOtherToolsReadAndUnzipsItBackExactly)
{
    TempTree tree;
    AlertCapture alerts;
    const QString lib = tree.library();
    const QString takes = lib + QStringLiteral("/Takes");
    ASSERT_TRUE(writeFile(takes + QStringLiteral("/Kick.wav"), noise(700000, 1)));
    ASSERT_TRUE(writeFile(takes + QStringLiteral("/Vocals/Grüße – take 2.wav"), noise(123457, 2)));
    ASSERT_TRUE(writeFile(takes + QStringLiteral("/Vocals/.hidden"), "x"));
    ASSERT_TRUE(writeFile(takes + QStringLiteral("/empty.txt"), QByteArray()));
    QDir().mkpath(takes + QStringLiteral("/Nothing"));
    const QDateTime stamp(QDate(2019, 7, 14), QTime(13, 37, 42));
    {
        QFile f(takes + QStringLiteral("/Kick.wav"));
        ASSERT_TRUE(f.open(QIODevice::ReadWrite) && f.setFileTime(stamp, QFileDevice::FileModificationTime));
    }

    Collector delegate;
    QList<float> progress;
    QString startMessage;
    ItemZipper::Hooks hooks;
    hooks.started = [&](const QString& message, float) { startMessage = message; };
    hooks.progress = [&](float f) { progress << f; };
    ASSERT_TRUE(ItemZipper::zipItem(takes, lib, &delegate, hooks));
    EXPECT_TRUE(delegate.messages.isEmpty()) << delegate.messages.join('\n').toStdString();
    EXPECT_EQ(startMessage, QStringLiteral("Compressing to Zip"));
    EXPECT_EQ(progress, (QList<float>{0.0f, 0.25f, 0.5f, 0.75f}));
    const QString archive = lib + QStringLiteral("/Takes.zip");

    QByteArray listing;
    ASSERT_EQ(run(QStringLiteral("unzip"), {QStringLiteral("-t"), archive}, lib), 0);
    ASSERT_EQ(run(QStringLiteral("bsdtar"), {QStringLiteral("-tf"), archive}, lib, &listing), 0);
    QStringList names = QString::fromUtf8(listing).split('\n', Qt::SkipEmptyParts);
    names.sort();
    EXPECT_EQ(names, (QStringList{"Takes/Kick.wav", "Takes/Vocals/.hidden", "Takes/Vocals/Grüße – take 2.wav",
                                  "Takes/empty.txt"}));

    // Zipping again is refused: the archive is never silently replaced.
    const QByteArray first = readFile(archive);
    EXPECT_FALSE(ItemZipper::zipItem(takes, lib, &delegate));
    EXPECT_EQ(alerts.alerts().last(), QStringLiteral("Sorry|'Takes.zip' already exists in this folder. Remove it and try again."));
    EXPECT_EQ(readFile(archive), first);

    // Into another folder, over stale files that must be replaced and get the archive's dates.
    const QString out = lib + QStringLiteral("/Out");
    ASSERT_TRUE(writeFile(out + QStringLiteral("/Takes/Kick.wav"), "stale"));
    ASSERT_TRUE(QFile::copy(archive, out + QStringLiteral("/Takes.zip")));
    ASSERT_TRUE(ItemZipper::unzip(out + QStringLiteral("/Takes.zip"), out, &delegate));
    EXPECT_TRUE(delegate.messages.isEmpty());
    EXPECT_EQ(contents(out + QStringLiteral("/Takes")), contents(takes));
    EXPECT_LE(std::abs(QFileInfo(out + QStringLiteral("/Takes/Kick.wav")).lastModified().secsTo(stamp)), 2);
    EXPECT_FALSE(QFileInfo::exists(out + QStringLiteral("/Takes/Nothing")));  // folders are not stored
    EXPECT_TRUE(leftoverParts(out).isEmpty());

    // A single file next to its own archive name.
    ASSERT_TRUE(writeFile(lib + QStringLiteral("/Loop.take.wav"), noise(1000, 3)));
    ASSERT_TRUE(ItemZipper::zipItem(lib + QStringLiteral("/Loop.take.wav"), lib, &delegate));
    ASSERT_EQ(run(QStringLiteral("bsdtar"), {QStringLiteral("-tf"), lib + QStringLiteral("/Loop.take.zip")}, lib, &listing), 0);
    EXPECT_EQ(listing, "Loop.take.wav\n");
}

TEST(ZipArchive, ExtractsArchivesWrittenByOtherTools)
{
    TempTree tree;
    AlertCapture alerts;
    const QString lib = tree.library();
    const QString src = tree.path(QStringLiteral("src"));
    ASSERT_TRUE(writeFile(src + QStringLiteral("/Set/Bass Ωmega.wav"), noise(200000, 4)));
    ASSERT_TRUE(writeFile(src + QStringLiteral("/Set/Deep/er/notes.txt"), "notes\n"));
    QDir().mkpath(src + QStringLiteral("/Set/Empty"));
    const QMap<QString, QByteArray> expected = contents(src + QStringLiteral("/Set"));

    struct Maker {
        QString name;
        QString program;
        QStringList args;
    };
    const QList<Maker> makers = {
        {"zip.zip", "zip", {"-r", "-q"}},
        {"zipnodirs.zip", "zip", {"-r", "-q", "-D"}},
        {"7z.zip", "7z", {"a", "-tzip", "-bd"}},
        {"bsdtar.zip", "bsdtar", {"--format", "zip", "-cf"}},
    };
    for (const Maker& m : makers) {
        const QString archive = src + '/' + m.name;
        ASSERT_EQ(run(m.program, m.args + QStringList{archive, QStringLiteral("Set")}, src), 0) << m.name.toStdString();
        const QString dest = lib + "/" + QFileInfo(m.name).baseName();
        QDir().mkpath(dest);
        Collector delegate;
        ASSERT_TRUE(ItemZipper::unzip(archive, dest, &delegate)) << m.name.toStdString();
        EXPECT_TRUE(delegate.messages.isEmpty()) << m.name.toStdString();
        EXPECT_EQ(contents(dest + QStringLiteral("/Set")), expected) << m.name.toStdString();
        EXPECT_EQ(QFileInfo(dest + QStringLiteral("/Set/Empty")).isDir(), !m.name.startsWith("zipnodirs"))
            << m.name.toStdString();
    }

    // Names written with backslashes unpack into real folders.
    const QString backslashed = src + QStringLiteral("/win.zip");
    writeRawZip(backslashed, {{QStringLiteral("Win\\Sub\\a.txt"), "A"}, {QStringLiteral("Win\\Folder\\"), {}}});
    Collector delegate;
    ASSERT_TRUE(ItemZipper::unzip(backslashed, lib, &delegate));
    EXPECT_EQ(readFile(lib + QStringLiteral("/Win/Sub/a.txt")), "A");
    EXPECT_TRUE(QFileInfo(lib + QStringLiteral("/Win/Folder")).isDir());
    EXPECT_EQ(QFileInfo(lib + QStringLiteral("/Win/Sub/a.txt")).lastModified().toString(Qt::ISODate).toStdString(),
              QDateTime(QDate(2001, 2, 3), QTime(4, 5, 6)).toString(Qt::ISODate).toStdString());
    EXPECT_TRUE(alerts.alerts().isEmpty());
}

TEST(ZipArchive, BadArchivesReportAndLeaveNoHalfWrittenFiles)
{
    TempTree tree;
    AlertCapture alerts;
    const QString lib = tree.library();
    const QString src = tree.path(QStringLiteral("src"));
    const QByteArray good = noise(300000, 5);
    const QByteArray doomed = noise(300000, 6);
    ASSERT_TRUE(writeFile(src + QStringLiteral("/A/1-good.wav"), good));
    ASSERT_TRUE(writeFile(src + QStringLiteral("/A/2-doomed.wav"), doomed));
    ASSERT_EQ(run(QStringLiteral("zip"), {"-r", "-q", "a.zip", "A"}, src), 0);

    // Corrupt the second entry's compressed data: the first one still arrives.
    QByteArray bytes = readFile(src + QStringLiteral("/a.zip"));
    const qsizetype second = bytes.indexOf("A/2-doomed.wav");
    ASSERT_GT(second, 0);
    for (qsizetype i = second + 2000; i < second + 2100; ++i)
        bytes[i] = char(bytes[i] ^ 0x5a);
    ASSERT_TRUE(writeFile(lib + QStringLiteral("/corrupt.zip"), bytes));
    Collector delegate;
    EXPECT_TRUE(ItemZipper::unzip(lib + QStringLiteral("/corrupt.zip"), lib, &delegate));
    EXPECT_EQ(delegate.messages, QStringList{QStringLiteral("Failed to reading zip file")});
    EXPECT_EQ(readFile(lib + QStringLiteral("/A/1-good.wav")), good);
    EXPECT_FALSE(QFileInfo::exists(lib + QStringLiteral("/A/2-doomed.wav")));
    EXPECT_TRUE(leftoverParts(lib).isEmpty());

    // Truncated (no central directory) and not a zip at all: nothing is opened.
    ASSERT_TRUE(writeFile(lib + QStringLiteral("/cut.zip"), bytes.left(bytes.size() / 2)));
    ASSERT_TRUE(writeFile(lib + QStringLiteral("/fake.zip"), "PK but not really"));
    const QStringList before = contents(lib).keys();
    EXPECT_FALSE(ItemZipper::unzip(lib + QStringLiteral("/cut.zip"), lib, &delegate));
    EXPECT_FALSE(ItemZipper::unzip(lib + QStringLiteral("/fake.zip"), lib, &delegate));
    EXPECT_EQ(alerts.alerts(), QStringList(2, QStringLiteral("Sorry|Could not open zip file.")));

    // Encrypted: refused without writing anything.
    ASSERT_EQ(run(QStringLiteral("zip"), {"-r", "-q", "-P", "secret", "e.zip", "A"}, src), 0);
    const QString encDest = lib + QStringLiteral("/Enc");
    QDir().mkpath(encDest);
    delegate.messages.clear();
    EXPECT_TRUE(ItemZipper::unzip(src + QStringLiteral("/e.zip"), encDest, &delegate));
    EXPECT_EQ(delegate.messages, QStringList{QStringLiteral("'A/1-good.wav' is encrypted and can't be extracted.")});
    EXPECT_TRUE(contents(encDest).isEmpty());  // the folder entry before it may arrive, no file

    // Passwords are refused outright rather than producing unreadable archives.
    ZipArchive zip;
    EXPECT_FALSE(zip.UnzipOpenFile(src + QStringLiteral("/e.zip"), "secret"));
    EXPECT_FALSE(zip.CreateZipFile2(src + QStringLiteral("/ours.zip"), "pw"));
    EXPECT_FALSE(QFileInfo::exists(src + QStringLiteral("/ours.zip")));
}

TEST(ZipArchive, EntriesLeavingTheFolderAreRefused)
{
    TempTree tree;
    AlertCapture alerts;
    const QString lib = tree.library();
    const QString outside = tree.path(QStringLiteral("outside"));
    QDir().mkpath(outside);
    const QString dest = lib + QStringLiteral("/Dest");
    QDir().mkpath(dest);
    ASSERT_TRUE(QFile::link(outside, dest + QStringLiteral("/escape")));

    const QString archive = tree.path(QStringLiteral("slip.zip"));
    writeRawZip(archive, {{QStringLiteral("../up.txt"), "1"},
                          {QStringLiteral("ok/../../up2.txt"), "2"},
                          {outside + QStringLiteral("/abs.txt"), "3"},
                          {QStringLiteral("..\\win.txt"), "4"},
                          {QStringLiteral("escape/through-link.txt"), "5"},
                          {QStringLiteral("escape/"), {}},
                          {QStringLiteral("./fine/./a.txt"), "6"}});
    Collector delegate;
    ASSERT_TRUE(ItemZipper::unzip(archive, dest, &delegate));
    EXPECT_EQ(delegate.messages.size(), 6);
    for (const QString& m : delegate.messages)
        EXPECT_TRUE(m.endsWith(QStringLiteral("would be written outside the folder and was skipped."))) << m.toStdString();
    EXPECT_TRUE(QDir(outside).isEmpty(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot));
    EXPECT_FALSE(QFileInfo::exists(lib + QStringLiteral("/up.txt")));
    EXPECT_FALSE(QFileInfo::exists(lib + QStringLiteral("/up2.txt")));
    EXPECT_FALSE(QFileInfo::exists(lib + QStringLiteral("/win.txt")));
    EXPECT_EQ(readFile(dest + QStringLiteral("/fine/a.txt")), "6");

    // The library's link to the private documents counts as inside.
    QDir().mkpath(Utils::localDocumentsURL());
    ASSERT_TRUE(QFile::link(Utils::localDocumentsURL(), Utils::localDocumentsLinkURL()));
    const QString shared = tree.path(QStringLiteral("shared.zip"));
    writeRawZip(shared, {{QStringLiteral("Desktop File Sharing/in-docs.txt"), "7"}});
    delegate.messages.clear();
    ASSERT_TRUE(ItemZipper::unzip(shared, lib, &delegate));
    EXPECT_TRUE(delegate.messages.isEmpty());
    EXPECT_EQ(readFile(Utils::localDocumentsURL() + QStringLiteral("/in-docs.txt")), "7");
}

TEST(ZipArchive, ToolZipsAndUnzipsWithExitCodes)
{
    TempTree tree;
    const QString dir = tree.path(QStringLiteral("work"));
    ASSERT_TRUE(writeFile(dir + QStringLiteral("/Takes/a.wav"), noise(5000, 7)));
    RunResult r = runProgram(QStringLiteral("wavelocker-tool"), {QStringLiteral("zip"), dir + QStringLiteral("/Takes")});
    ASSERT_EQ(r.exitCode, 0) << r.err.toStdString();
    EXPECT_EQ(r.out.trimmed(), QFile::encodeName(dir + QStringLiteral("/Takes.zip")));

    r = runProgram(QStringLiteral("wavelocker-tool"), {QStringLiteral("zip"), dir + QStringLiteral("/Takes")});
    EXPECT_EQ(r.exitCode, 1);
    EXPECT_TRUE(r.err.contains("'Takes.zip' already exists in this folder. Remove it and try again.")) << r.err.toStdString();

    QDir(dir + QStringLiteral("/Takes")).removeRecursively();
    r = runProgram(QStringLiteral("wavelocker-tool"), {QStringLiteral("unzip"), dir + QStringLiteral("/Takes.zip")});
    ASSERT_EQ(r.exitCode, 0) << r.err.toStdString();
    EXPECT_EQ(readFile(dir + QStringLiteral("/Takes/a.wav")), noise(5000, 7));

    writeRawZip(dir + QStringLiteral("/slip.zip"), {{QStringLiteral("../x.txt"), "x"}});
    r = runProgram(QStringLiteral("wavelocker-tool"), {QStringLiteral("unzip"), dir + QStringLiteral("/slip.zip")});
    EXPECT_EQ(r.exitCode, 1);
    EXPECT_TRUE(r.err.contains("Could not (Un)Zip: '../x.txt' would be written outside the folder and was skipped."));
    EXPECT_FALSE(QFileInfo::exists(tree.root() + QStringLiteral("/x.txt")));

    r = runProgram(QStringLiteral("wavelocker-tool"), {QStringLiteral("unzip"), dir + QStringLiteral("/Takes")});
    EXPECT_EQ(r.exitCode, 1);
    EXPECT_TRUE(r.err.contains("Sorry: Could not open zip file."));
}

TEST(ZipArchive, CancelledZipAndUnzipLeaveNoHalfFiles)
{
    TempTree tree;
    const QString lib = tree.library();
    const QString takes = lib + QStringLiteral("/Takes");
    // Noise: it does not compress, so the unzip's ratio check lets it through.
    QByteArray noise(3 << 20, '\0');
    QRandomGenerator(7).fillRange(reinterpret_cast<quint32*>(noise.data()), noise.size() / 4);
    ASSERT_TRUE(writeFile(takes + QStringLiteral("/a.wav"), noise));
    ASSERT_TRUE(writeFile(takes + QStringLiteral("/b.wav"), noise));
    const auto everything = [&](const QString& folder) {
        return QDir(folder).entryList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot);
    };
    Collector delegate;

    // Cancelled after the first file: no archive, no part file beside it.
    std::atomic<bool> cancel{false};
    ItemZipper::Hooks hooks;
    hooks.cancel = &cancel;
    hooks.progress = [&](float progress) { cancel = progress > 0; };
    EXPECT_FALSE(ItemZipper::zipItem(takes, lib, &delegate, hooks));
    EXPECT_EQ(everything(lib), QStringList{"Takes"});
    EXPECT_TRUE(delegate.messages.isEmpty());  // a cancel is not a failure to report

    cancel = false;
    hooks.progress = {};
    ASSERT_TRUE(ItemZipper::zipItem(takes, lib, &delegate, hooks));
    const QString out = tree.path(QStringLiteral("out"));
    ASSERT_TRUE(QDir().mkpath(out));
    ASSERT_TRUE(QFile::copy(lib + QStringLiteral("/Takes.zip"), out + QStringLiteral("/Takes.zip")));

    // An unzip cancelled before it starts writes nothing and says so with false.
    cancel = true;
    EXPECT_FALSE(ItemZipper::unzip(out + QStringLiteral("/Takes.zip"), out, &delegate, hooks));
    EXPECT_EQ(everything(out), QStringList{"Takes.zip"});
    EXPECT_TRUE(delegate.messages.isEmpty());
}
