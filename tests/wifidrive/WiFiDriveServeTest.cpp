// The uploader as the application starts it: prepared by the delegate, relayed notifications,
// and `wavelocker --serve --port N` answering over HTTP.
#include "HttpTestClient.h"
#include "platform/NotificationCenter.h"
#include "platform/Notifications.h"
#include "shell/AppDelegate.h"
#include "support/BuildPaths.h"
#include "support/TempTree.h"
#include "wifidrive/MyWebUploader.h"

#include <QProcess>
#include <QRegularExpression>
#include <gtest/gtest.h>

using namespace testsupport;

TEST(WiFiDriveStart, DelegatePreparesStoppedUploaderAndRelaysItsState)
{
    TempTree tree;
    AppDelegate delegate(AppDelegate::Mode::Headless);
    delegate.didFinishLaunching();
    MyWebUploader* uploader = delegate.webUploader();
    ASSERT_NE(uploader, nullptr);
    EXPECT_FALSE(uploader->isRunning());
    EXPECT_EQ(uploader->uploadDirectory(), tree.library());
    EXPECT_EQ(GCDWebServer::logLevel(), 2);

    QList<const void*> objects;
    platform::ScopedObserver observer(notifications::kWifiChanged,
                                      [&](const platform::Notification& n) { objects << n.object; });
    uploader->setBindAddress(QStringLiteral("127.0.0.1"));
    ASSERT_TRUE(uploader->startWithPort(0, QString()));
    EXPECT_EQ(HttpTestClient(uploader->port()).get("/list?path=/").status, 200);
    uploader->stop();
    EXPECT_EQ(objects, (QList<const void*>{uploader, uploader}));
}

TEST(WiFiDriveStart, ServeOptionStartsTheServiceAndLogsItsAddress)
{
    TempTree tree;
    const QString lib = tree.path("served");
    writeFile(lib + "/Take.wav", "take");
    QProcess serve;
    serve.start((testsupport::binDir() + QStringLiteral("/wavelocker")), {"--serve", "--library", lib, "--port", "0"});
    QByteArray log;
    const QRegularExpression started(QStringLiteral("Web server started on port (\\d+) and reachable at http://"));
    QRegularExpressionMatch match;
    ASSERT_TRUE(waitUntil([&] {
        serve.waitForReadyRead(50);
        log += serve.readAllStandardError();
        match = started.match(QString::fromUtf8(log));
        return match.hasMatch();
    }, 20000)) << log.constData();
    const HttpReply reply = HttpTestClient(match.captured(1).toInt()).get("/download?path=/Take.wav");
    EXPECT_EQ(reply.status, 200);
    EXPECT_EQ(reply.body, "take");
    serve.terminate();
    ASSERT_TRUE(serve.waitForFinished(10000));
    EXPECT_EQ(serve.exitCode(), 0);

    const RunResult bad = runProgram(QStringLiteral("wavelocker"), {"--serve", "--port", "eighty"});
    EXPECT_EQ(bad.exitCode, 2);
    EXPECT_TRUE(bad.err.contains("--port"));
}
