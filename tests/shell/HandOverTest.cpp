// URLs handed to a running `wavelocker --serve` by a second `wavelocker URL` process: the
// answers, where documents land, and what bad input and a second instance get.
#include "support/AudioFixtures.h"
#include "support/BuildPaths.h"
#include "support/SmallDisk.h"
#include "support/TempTree.h"

#include <QDir>
#include <QDirIterator>
#include <QProcess>
#include <QRegularExpression>
#include <gtest/gtest.h>
#include <httplib.h>
#include <csignal>
#include <cstring>
#include <thread>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

using namespace testsupport;

namespace {

// One running instance, serving lib with the environment of the test's tree.
class Instance {
public:
    explicit Instance(const QString& library)
    {
        mProcess.setProcessChannelMode(QProcess::SeparateChannels);
        mProcess.start((testsupport::binDir() + QStringLiteral("/wavelocker")), {"--serve", "--library", library, "--port", "0"});
    }
    ~Instance()
    {
        if (mProcess.state() != QProcess::NotRunning) {
            mProcess.terminate();
            if (!mProcess.waitForFinished(10000))
                mProcess.kill();
            mProcess.waitForFinished();
        }
    }
    bool waitStarted() { return waitForLog(QStringLiteral("Web server started on port")); }
    bool waitForLog(const QString& text, int timeoutMs = 20000)
    {
        return waitUntil([&] { return log().contains(text); }, timeoutMs);
    }
    QString log()
    {
        mLog += mProcess.readAllStandardError();
        return QString::fromUtf8(mLog);
    }
    QProcess& process() { return mProcess; }

private:
    QProcess mProcess;
    QByteArray mLog;
};

// `wavelocker ARGS` run to its end while this process's event loop keeps turning.
RunResult handOver(const QStringList& args)
{
    QProcess p;
    p.start((testsupport::binDir() + QStringLiteral("/wavelocker")), args);
    RunResult r;
    if (!waitUntil([&] { return p.state() == QProcess::NotRunning; }, 60000)) {
        p.kill();
        p.waitForFinished();
        return r;
    }
    r.exitCode = p.exitStatus() == QProcess::NormalExit ? p.exitCode() : -1;
    r.out = p.readAllStandardOutput();
    r.err = p.readAllStandardError();
    return r;
}

QStringList entries(const QString& folder)
{
    return QDir(folder).entryList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot, QDir::Name);
}

// Every file below folder, hidden part files included, relative to it.
QStringList filesBelow(const QString& folder)
{
    QStringList found;
    QDirIterator it(folder, QDir::Files | QDir::Hidden | QDir::System, QDirIterator::Subdirectories);
    while (it.hasNext())
        found << QDir(folder).relativeFilePath(it.next());
    found.sort();
    return found;
}

QStringList userEntries(const QString& library)
{
    QStringList names = entries(library);
    names.removeAll(QStringLiteral("Desktop File Sharing"));
    names.removeAll(QStringLiteral(".wavelocker-uploads"));  // the web drive's own spool
    return names;
}

// An HTTP server on 127.0.0.1 in a thread of its own: "/Loop.wav" whole, "/Cut.wav" announced
// whole and cut off halfway, "/Huge.wav" larger than any limit.
class DocumentServer {
public:
    static constexpr int kSize = 300000;

    DocumentServer()
    {
        mBody.resize(kSize);
        for (int i = 0; i < kSize; ++i)
            mBody[i] = char(i * 7 + i / 256);
        mServer.Get("/Loop.wav", [this](const httplib::Request&, httplib::Response& res) {
            res.set_content(mBody.data(), mBody.size(), "audio/wav");
        });
        mServer.Get("/Cut.wav", [this](const httplib::Request&, httplib::Response& res) {
            res.set_content_provider(size_t(kSize), "audio/wav", [this](size_t offset, size_t, httplib::DataSink& sink) {
                if (offset >= size_t(kSize / 2))
                    return false;  // the connection closes short of the announced length
                sink.write(mBody.data() + offset, kSize / 2);
                return true;
            });
        });
        mPort = mServer.bind_to_any_port("127.0.0.1");
        mThread = std::thread([this] { mServer.listen_after_bind(); });
    }
    ~DocumentServer()
    {
        mServer.stop();
        mThread.join();
    }
    QString url(const QString& path) const { return QStringLiteral("http://127.0.0.1:%1%2").arg(mPort).arg(path); }
    QByteArray body() const { return QByteArray(mBody.data(), mBody.size()); }

private:
    std::string mBody;
    httplib::Server mServer;
    int mPort = 0;
    std::thread mThread;
};

}  // namespace

TEST(HandOver, DocumentsLandUnderFreeNamesWithTheSourceName)
{
    TempTree tree;
    const QString lib = tree.path("lib");
    Instance instance(lib);
    ASSERT_TRUE(instance.waitStarted()) << instance.log().toStdString();

    // The same name handed over three times: Take.wav, Take(1).wav, Take(2).wav.
    for (int i = 0; i < 3; ++i) {
        const QString source = tree.path(QStringLiteral("in%1/Take.wav").arg(i));
        writeFile(source, QByteArray("take ") + QByteArray::number(i));
        const RunResult r = handOver({source});
        EXPECT_EQ(r.exitCode, 0) << r.err.constData();
        EXPECT_FALSE(QFileInfo::exists(source));  // moved, not copied
    }
    EXPECT_EQ(readFile(lib + "/Take.wav"), "take 0");
    EXPECT_EQ(readFile(lib + "/Take(1).wav"), "take 1");
    EXPECT_EQ(readFile(lib + "/Take(2).wav"), "take 2");

    // A name without extension, taken, keeps the rule's trailing point.
    writeFile(tree.path("a/Notes"), "a");
    writeFile(tree.path("b/Notes"), "b");
    EXPECT_EQ(handOver({tree.path("a/Notes"), tree.path("b/Notes")}).exitCode, 0);
    EXPECT_EQ(readFile(lib + "/Notes"), "a");
    EXPECT_EQ(readFile(lib + "/Notes(1)."), "b");

    // The opening program's name leads, from the last part of its identifier; a relative
    // path is the caller's.
    writeFile(tree.path("c/Take.wav"), "mixer");
    QProcess relative;
    relative.setWorkingDirectory(tree.path("c"));
    relative.start((testsupport::binDir() + QStringLiteral("/wavelocker")), {"--source-app", "com.example.Mixer", "Take.wav"});
    ASSERT_TRUE(waitUntil([&] { return relative.state() == QProcess::NotRunning; }, 30000));
    EXPECT_EQ(relative.exitCode(), 0);
    EXPECT_EQ(readFile(lib + "/Mixer - Take.wav"), "mixer");
    EXPECT_TRUE(instance.log().contains(
        QStringLiteral("Moving %1 to %2 openInPlace: 0").arg(tree.path("c/Take.wav"), lib + "/Mixer - Take.wav")));

    // A source identifier can't lead the name into another folder.
    writeFile(tree.path("d/x.wav"), "x");
    EXPECT_EQ(handOver({"--source-app", "org.ev/il", tree.path("d/x.wav")}).exitCode, 0);
    EXPECT_EQ(readFile(lib + "/ev_il - x.wav"), "x");

    // A file that is not there is answered no, with the alert's text in the log.
    const RunResult missing = handOver({tree.path("nothing.wav")});
    EXPECT_EQ(missing.exitCode, 1);
    EXPECT_TRUE(missing.err.contains("was not handled")) << missing.err.constData();
    EXPECT_TRUE(instance.waitForLog(QStringLiteral("Alert: Could not move item")));
    EXPECT_EQ(filesBelow(lib).filter(QStringLiteral(".tempfile")), QStringList());
}

TEST(HandOver, CommandsAreAnsweredWithoutTouchingTheLibrary)
{
    TempTree tree;
    const QString lib = tree.path("lib");
    writeFile(lib + "/Loops/Kick.wav", "kick");
    writeFile(tree.path("outside/secret.txt"), "secret");
    QFile::link(tree.path("outside"), lib + "/out");
    Instance instance(lib);
    ASSERT_TRUE(instance.waitStarted());
    const QStringList before = filesBelow(lib);

    const QString hundredKB(100 * 1024, QLatin1Char('a'));
    for (const QString& url : {QStringLiteral("wavelocker://"), QStringLiteral("kormix.audiobus://launch"),
                               QStringLiteral("wavelocker.show:/Loops"), QStringLiteral("wavelocker.show:/Missing"),
                               QStringLiteral("wavelocker.show:/../../../etc"), QStringLiteral("wavelocker.show:/Loops%00/x"),
                               QStringLiteral("wavelocker.show:/Loops?") + hundredKB, QStringLiteral("wavelocker.show:/out/secret.txt"),
                               QStringLiteral("wavelocker.import://myapp"), QStringLiteral("wavelockercmd://unknown?x")}) {
        const RunResult r = handOver({url});
        EXPECT_EQ(r.exitCode, 0) << url.left(80).toStdString() << r.err.constData();
    }
    // The audio-routing URL is answered before any name is worked out: nothing is fetched.
    const RunResult audiobus = handOver({"--source-app", "com.example.Mixer", "kormix.audiobus://launch"});
    EXPECT_EQ(audiobus.exitCode, 0);
    EXPECT_FALSE(instance.log().contains(QStringLiteral("Got other url")));
    // Only the folder that is there and inside the library is shown.
    EXPECT_EQ(instance.log().count(QStringLiteral("Showing ")), 2) << instance.log().toStdString();
    EXPECT_TRUE(instance.log().contains(QStringLiteral("Showing %1/Loops\n").arg(lib)));
    EXPECT_EQ(filesBelow(lib), before);
}

TEST(HandOver, PasteCommandImportsWhatAnotherProgramCopied)
{
    TempTree tree;
    const QString lib = tree.path("lib");
    QDir().mkpath(lib);
    ASSERT_TRUE(writeToneWav(tree.path("Source.wav"), 2, 44100, 20000));
    Instance instance(lib);
    ASSERT_TRUE(instance.waitStarted());
    ASSERT_EQ(runProgram("wavelocker-tool", {"copy", "--general", tree.path("Source.wav")}).exitCode, 0);

    EXPECT_EQ(handOver({"wavelockercmd://addFromPaste?My%2FLoop"}).exitCode, 0);
    // The paste runs a second after the answer, under the name with "/" made "_".
    ASSERT_TRUE(waitUntil([&] { return QFileInfo::exists(lib + "/My_Loop.wav"); })) << instance.log().toStdString();
    EXPECT_EQ(readFile(lib + "/My_Loop.wav"), readFile(tree.path("Source.wav")));
    // A name holding a NUL is refused; nothing else arrives.
    EXPECT_EQ(handOver({"wavelockercmd://addFromPaste?A%00B"}).exitCode, 0);
    ASSERT_TRUE(instance.waitForLog(QStringLiteral("Refused the paste name")));
    EXPECT_EQ(entries(lib), QStringList({"Desktop File Sharing", "My_Loop.wav"}));
}

TEST(HandOver, RemoteDocumentsArriveWholeOrNotAtAll)
{
    TempTree tree;
    const QString lib = tree.path("lib");
    DocumentServer server;
    Instance instance(lib);
    ASSERT_TRUE(instance.waitStarted());

    const RunResult whole = handOver({server.url("/Loop.wav")});
    EXPECT_EQ(whole.exitCode, 0) << whole.err.constData();
    EXPECT_EQ(readFile(lib + "/Loop.wav"), server.body());
    EXPECT_TRUE(instance.log().contains(QStringLiteral("Got other url: %1").arg(server.url("/Loop.wav"))));
    EXPECT_EQ(handOver({server.url("/Loop.wav")}).exitCode, 0);
    EXPECT_EQ(readFile(lib + "/Loop(1).wav"), server.body());

    // Cut off, refused, or naming no usable file: answered no, the alert logged, nothing left.
    for (const QString& url : {server.url("/Cut.wav"), server.url("/Gone.wav"), server.url("/..%2F..%2Fa%00b.wav"),
                               QStringLiteral("ftp://127.0.0.1/x.wav")}) {
        const RunResult r = handOver({url});
        EXPECT_EQ(r.exitCode, 1) << url.toStdString();
    }
    EXPECT_TRUE(instance.log().contains(QStringLiteral("Alert: Error: Could not write %1/Cut.wav").arg(lib)))
        << instance.log().toStdString();
    EXPECT_EQ(userEntries(lib), QStringList({"Loop(1).wav", "Loop.wav"}));
    EXPECT_EQ(filesBelow(lib).filter(QStringLiteral(".tempfile")), QStringList());
}

TEST(HandOver, ADownloadThatFillsTheDiskLeavesNothing)
{
    TempTree tree;
    const QString lib = tree.path("small");
    const SmallDisk disk(lib, "200k");
    if (!disk.mounted())
        GTEST_SKIP() << "mounting a tmpfs needs root";
    DocumentServer server;
    Instance instance(lib);
    ASSERT_TRUE(instance.waitStarted());
    EXPECT_EQ(handOver({server.url("/Loop.wav")}).exitCode, 1);
    EXPECT_TRUE(instance.waitForLog(QStringLiteral("Alert: Error: Could not write %1/Loop.wav").arg(lib)));
    EXPECT_EQ(userEntries(lib), QStringList());
    EXPECT_EQ(filesBelow(lib).filter(QStringLiteral(".tempfile")), QStringList());
}

TEST(HandOver, OneInstanceThroughStaleSocketsCrashesAndRaces)
{
    TempTree tree;
    const QString lib = tree.path("lib");
    const QString run = tree.path("run");
    // What a crashed instance leaves: a socket file nobody listens on, a lock file with its pid.
    const QByteArray socketPath = QFile::encodeName(run + "/wavelocker.socket");
    const int dead = ::socket(AF_UNIX, SOCK_STREAM, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::memcpy(address.sun_path, socketPath.constData(), socketPath.size());
    ASSERT_EQ(::bind(dead, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    ::close(dead);
    ASSERT_TRUE(writeFile(run + "/wavelocker.lock", "999999\n"));

    // Two instances started at once, and hand-overs racing their start: one instance runs,
    // the other says so, and every document arrives once.
    Instance first(lib);
    Instance second(lib);
    // Clients start once an instance holds the lock (a client that found none would become
    // the window), while that instance is still starting.
    ASSERT_TRUE(waitUntil([&] {
        const qint64 pid = readFile(run + "/wavelocker.lock").trimmed().toLongLong();
        return pid == first.process().processId() || pid == second.process().processId();
    }, 20000));
    std::vector<std::unique_ptr<QProcess>> clients;
    for (int i = 0; i < 4; ++i) {
        writeFile(tree.path(QStringLiteral("in%1/Take.wav").arg(i)), QByteArray::number(i));
        auto client = std::make_unique<QProcess>();
        client->start((testsupport::binDir() + QStringLiteral("/wavelocker")), {tree.path(QStringLiteral("in%1/Take.wav").arg(i))});
        clients.push_back(std::move(client));
    }
    ASSERT_TRUE(waitUntil([&] { return first.process().state() == QProcess::NotRunning
                                       || second.process().state() == QProcess::NotRunning; }, 30000));
    Instance& running = first.process().state() == QProcess::Running ? first : second;
    Instance& refused = &running == &first ? second : first;
    EXPECT_EQ(refused.process().exitCode(), 1);
    EXPECT_TRUE(refused.log().contains(QStringLiteral("already running"))) << refused.log().toStdString();
    for (auto& client : clients) {
        ASSERT_TRUE(waitUntil([&] { return client->state() == QProcess::NotRunning; }, 30000));
        EXPECT_EQ(client->exitCode(), 0) << client->readAllStandardError().constData();
    }
    QStringList arrived = userEntries(lib);
    EXPECT_EQ(arrived, QStringList({"Take(1).wav", "Take(2).wav", "Take(3).wav", "Take.wav"}));
    QByteArray contents;
    for (const QString& name : arrived)
        contents += readFile(lib + "/" + name);
    std::sort(contents.begin(), contents.end());
    EXPECT_EQ(contents, "0123");

    // Killed without a word: the next instance takes over its socket.
    ::kill(pid_t(running.process().processId()), SIGKILL);
    running.process().waitForFinished();
    Instance next(lib);
    ASSERT_TRUE(next.waitStarted()) << next.log().toStdString();
    writeFile(tree.path("late/Late.wav"), "late");
    EXPECT_EQ(handOver({tree.path("late/Late.wav")}).exitCode, 0);
    EXPECT_EQ(readFile(lib + "/Late.wav"), "late");
    EXPECT_TRUE(next.log().contains(QStringLiteral("Moving")));
}
