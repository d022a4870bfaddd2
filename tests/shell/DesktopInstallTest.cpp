// `make install` into a prefix: the desktop finds Wavelocker for its URL schemes and audio
// types, the files pass the desktop's own checks, xdg-open reaches a running instance through
// the installed entry, the installed tool finds its codec module, and uninstall takes it all.
#include "support/AudioFixtures.h"
#include "support/BuildPaths.h"
#include "support/TempTree.h"

#include <QDirIterator>
#include <QProcess>
#include <QRegularExpression>
#include <gtest/gtest.h>

using namespace testsupport;

namespace {

struct Outcome {
    int exitCode = -1;
    QString out;
};

// A system program with the test's environment plus env, run to its end.
Outcome run(const QString& program, const QStringList& args, const QStringList& env = {})
{
    QProcess p;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    for (const QString& kv : env)
        environment.insert(kv.section(QLatin1Char('='), 0, 0), kv.section(QLatin1Char('='), 1));
    p.setProcessEnvironment(environment);
    p.setProcessChannelMode(QProcess::MergedChannels);
    p.start(program, args);
    Outcome r;
    if (!waitUntil([&] { return p.state() == QProcess::NotRunning; }, 120000)) {
        p.kill();
        p.waitForFinished();
        return r;
    }
    r.exitCode = p.exitStatus() == QProcess::NormalExit ? p.exitCode() : -1;
    r.out = QString::fromUtf8(p.readAll());
    return r;
}

QStringList filesBelow(const QString& folder)
{
    QStringList found;
    QDirIterator it(folder, QDir::Files, QDirIterator::Subdirectories);
    while (it.hasNext())
        found << QDir(folder).relativeFilePath(it.next());
    found.sort();
    return found;
}

}  // namespace

TEST(DesktopInstall, InstalledEntryHandlesTheSchemesAndUninstallRemovesIt)
{
    TempTree tree;
    const QString prefix = tree.path("prefix");
    const QString script = (testsupport::sourceDir() + QStringLiteral("/scripts/install.sh"));
    const QString build = (testsupport::binDir() + QStringLiteral("/.."));
    const Outcome installed = run("bash", {script, "install", build, prefix});
    ASSERT_EQ(installed.exitCode, 0) << installed.out.toStdString();
    const QStringList files = filesBelow(prefix);
    for (const QString& f : QStringList{"bin/wavelocker", "bin/wavelocker-tool", "lib/wavelocker/wavelocker-tool-all",
                                       "lib/wavelocker/wavelocker-ffmpeg.so",
                             "share/applications/wavelocker.desktop", "share/metainfo/com.orvenic.Wavelocker.metainfo.xml",
                             "share/icons/hicolor/scalable/apps/com.orvenic.Wavelocker.svg",
                             "share/mime/packages/wavelocker.xml", "share/applications/mimeinfo.cache",
                             "share/mime/audio/x-caf.xml"})
        EXPECT_TRUE(files.contains(f)) << f.toStdString();

    const Outcome desktop = run("desktop-file-validate", {prefix + "/share/applications/wavelocker.desktop"});
    EXPECT_EQ(desktop.exitCode, 0) << desktop.out.toStdString();
    const Outcome appstream = run("appstreamcli", {"validate", "--no-net", prefix + "/share/metainfo/com.orvenic.Wavelocker.metainfo.xml"});
    EXPECT_EQ(appstream.exitCode, 0) << appstream.out.toStdString();

    // The desktop as a user's session sees it with this prefix as its data folder.
    const QStringList session{"XDG_DATA_HOME=" + prefix + "/share", "XDG_DATA_DIRS=" + prefix + "/share",
                              "XDG_CURRENT_DESKTOP=", "DESKTOP_SESSION=", "KDE_FULL_SESSION=", "GNOME_DESKTOP_SESSION_ID=",
                              "PATH=" + prefix + "/bin:" + qEnvironmentVariable("PATH"), "DISPLAY=:4799"};
    for (const QString& scheme : QStringList{"wavelocker", "wavelocker.import", "wavelocker.show", "wavelockercmd"}) {
        const Outcome handler = run("xdg-mime", {"query", "default", "x-scheme-handler/" + scheme}, session);
        EXPECT_EQ(handler.out.trimmed(), "wavelocker.desktop") << scheme.toStdString();
    }
    EXPECT_EQ(run("xdg-mime", {"query", "default", "audio/x-wav"}, session).out.trimmed(), "wavelocker.desktop");

    // xdg-open starts the installed program, which hands the URL to the running instance.
    const QString lib = tree.path("lib");
    QDir().mkpath(lib + "/Loops");
    QProcess serve;
    serve.start(prefix + "/bin/wavelocker", {"--serve", "--library", lib, "--port", "0"});
    QByteArray log;
    ASSERT_TRUE(waitUntil([&] {
        log += serve.readAllStandardError();
        return log.contains("Web server started");
    }, 20000)) << log.constData();
    const Outcome opened = run("xdg-open", {"wavelocker.show:/Loops"}, session);
    EXPECT_EQ(opened.exitCode, 0) << opened.out.toStdString();
    EXPECT_TRUE(waitUntil([&] {
        log += serve.readAllStandardError();
        return log.contains(QStringLiteral("Showing %1/Loops").arg(lib).toUtf8());
    }, 20000)) << log.constData();
    serve.terminate();
    serve.waitForFinished(10000);

    // The installed tool finds the codec module it was installed with.
    ASSERT_TRUE(writeToneWav(tree.path("tone.wav"), 2, 44100, 44100));
    // The front hands convert to the whole tool installed beside the module; the loader's log
    // names the files loaded, so a module found in the build folder instead would show.
    const Outcome converted = run(prefix + "/bin/wavelocker-tool", {"convert", tree.path("tone.wav"), tree.path("tone.m4a"), "--format", "3"},
                                  {"LD_DEBUG=files"});
    EXPECT_EQ(converted.exitCode, 0) << converted.out.toStdString();
    EXPECT_TRUE(converted.out.contains(QStringLiteral("file=%1/lib/wavelocker/wavelocker-ffmpeg.so").arg(prefix)))
        << converted.out.toStdString();
    EXPECT_TRUE(converted.out.contains(QStringLiteral("initialize program: %1/bin/../lib/wavelocker/wavelocker-tool-all").arg(prefix)));
    EXPECT_GT(QFileInfo(tree.path("tone.m4a")).size(), 1000);

    const Outcome removed = run("bash", {script, "uninstall", build, prefix});
    ASSERT_EQ(removed.exitCode, 0) << removed.out.toStdString();
    const QStringList left = filesBelow(prefix);
    EXPECT_TRUE(left.filter(QRegularExpression("wavelocker|Wavelocker|x-caf")).isEmpty()) << left.join(' ').toStdString();
    EXPECT_EQ(run("xdg-mime", {"query", "default", "x-scheme-handler/wavelocker"}, session).out.trimmed(), "");
}
