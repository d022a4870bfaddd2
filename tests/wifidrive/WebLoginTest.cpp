// The drive's password (login page, session cookie, kept only as a hash) and its HTTPS mode.
#include "UploaderFixture.h"

#include "platform/Locations.h"
#include "platform/Log.h"
#include "platform/Settings.h"
#include "support/BuildPaths.h"
#include "wifidrive/WiFiDriveSettings.h"

#include <QDateTime>
#include <QDirIterator>
#include <QElapsedTimer>
#include <QProcess>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QUrl>
#include <sys/socket.h>
#include <unistd.h>

using namespace testsupport;

namespace {

const QString kPassword = QStringLiteral("correct horse battery staple");
const QString kBrowserDir = (testsupport::sourceDir() + QStringLiteral("/tests/wifidrive/browser"));

QByteArray loginRequest(int port, const QByteArray& password, const QByteArray& origin)
{
    const QByteArray body = "password=" + QUrl::toPercentEncoding(QString::fromUtf8(password));
    QByteArray request = "POST /login HTTP/1.1\r\nHost: 127.0.0.1:" + QByteArray::number(port)
                         + "\r\nConnection: close\r\nContent-Type: application/x-www-form-urlencoded\r\nContent-Length: "
                         + QByteArray::number(body.size()) + "\r\n";
    if (!origin.isEmpty())
        request += "Origin: " + origin + "\r\n";
    return request + "\r\n" + body;
}

struct Curl {
    int exitCode = -1;
    QByteArray out;
};

Curl curl(const QStringList& args)
{
    QProcess p;
    p.start(QStringLiteral("curl"), QStringList{"-s", "--max-time", "10"} + args);
    p.waitForFinished(15000);
    return {p.exitStatus() == QProcess::NormalExit ? p.exitCode() : -1, p.readAllStandardOutput()};
}

}  // namespace

TEST_F(UploaderFixture, LoginPageGivesASessionAndThePasswordIsNeverKeptAsText)
{
    writeFile(lib + "/a.wav", "A");
    LogCapture log;
    WiFiDriveSettings::setPassword(*uploader, kPassword);
    start();
    const int port = uploader->port();
    const QByteArray own = "http://127.0.0.1:" + QByteArray::number(port);

    // A browser opening the page gets the login form, without the browser's own password box.
    HttpReply r = client->get("/", {{"Accept", "text/html"}, {"Sec-Fetch-Mode", "navigate"}});
    EXPECT_EQ(r.status, 401);
    EXPECT_TRUE(r.body.contains("action=\"/login\"")) << r.body.constData();
    EXPECT_FALSE(r.headers.contains("www-authenticate"));
    EXPECT_FALSE(r.body.contains("a.wav"));
    // A script of the page is answered 401 without it too; a program is asked for Basic.
    EXPECT_FALSE(client->get("/list?path=/", {{"Sec-Fetch-Mode", "cors"}}).headers.contains("www-authenticate"));
    EXPECT_TRUE(client->get("/list?path=/").header("www-authenticate").startsWith("Basic"));

    r = client->raw(loginRequest(port, "wrong", own));
    EXPECT_EQ(r.status, 401);
    EXPECT_TRUE(r.body.contains("Wrong password.")) << r.body.constData();
    EXPECT_FALSE(r.headers.contains("set-cookie"));
    // Another site's page may not log the browser in.
    EXPECT_EQ(client->raw(loginRequest(port, kPassword.toUtf8(), "http://evil.example")).status, 403);

    r = client->raw(loginRequest(port, kPassword.toUtf8(), own));
    ASSERT_EQ(r.status, 303);
    EXPECT_EQ(r.header("location"), "/");
    const QByteArray setCookie = r.header("set-cookie");
    EXPECT_TRUE(setCookie.contains("HttpOnly") && setCookie.contains("SameSite=Strict")) << setCookie.constData();
    EXPECT_FALSE(setCookie.contains("Secure"));
    const QByteArray cookie = setCookie.split(';').first();
    EXPECT_EQ(client->get("/download?path=a.wav", {{"Cookie", "other=1; " + cookie}}).body, "A");
    EXPECT_EQ(client->get("/download?path=a.wav", {{"Cookie", cookie + "0"}}).status, 401);
    EXPECT_EQ(client->get("/download?path=a.wav", {{"Cookie", "wl_session="}}).status, 401);
    const QByteArray basic = "Basic " + ("x:" + kPassword.toUtf8()).toBase64();
    EXPECT_EQ(client->get("/download?path=a.wav", {{"Authorization", basic}}).body, "A");

    // Only a slow hash is kept: neither the settings file nor the log holds the password.
    platform::Settings::sync();
    QDirIterator config(tree.root(), QDir::Files | QDir::Hidden, QDirIterator::Subdirectories);
    while (config.hasNext()) {
        const QString path = config.next();
        if (path.endsWith(".conf")) {
            EXPECT_FALSE(readFile(path).contains("horse")) << path.toStdString();
        }
    }
    EXPECT_TRUE(platform::Settings::value(WiFiDriveSettings::kPasswordKey).toString().startsWith("pbkdf2-sha256$"));
    EXPECT_FALSE(log.lines().join('\n').contains("horse"));

    // A new password logs everyone out; none lets everyone in.
    WiFiDriveSettings::setPassword(*uploader, QStringLiteral("another"));
    EXPECT_EQ(client->get("/download?path=a.wav", {{"Cookie", cookie}}).status, 401);
    WiFiDriveSettings::setPassword(*uploader, QString());
    EXPECT_EQ(client->get("/download?path=a.wav").body, "A");
    EXPECT_FALSE(WiFiDriveSettings::hasPassword());
}

TEST_F(UploaderFixture, SessionsOutliveARestartButNotTheirTimeTheirPasswordOrAStoreOthersCouldRead)
{
    writeFile(lib + "/a.wav", "A");
    const QString store = platform::Locations::appLibrary() + "/WiFi Drive Sessions";
    // As `--serve --password-file` gives it: the password itself, hashed anew at every start.
    const auto restart = [&](const QString& password) {
        client.reset();
        uploader = std::make_unique<MyWebUploader>(lib);
        uploader->setBindAddress(QStringLiteral("127.0.0.1"));
        uploader->setPassword(password);
        start();
    };
    const auto login = [&] {
        const HttpReply r = client->raw(loginRequest(uploader->port(), kPassword.toUtf8(),
                                                     "http://127.0.0.1:" + QByteArray::number(uploader->port())));
        EXPECT_EQ(r.status, 303);
        return r.header("set-cookie").split(';').first();
    };
    const auto admitted = [&](const QByteArray& cookie) {
        return client->get("/download?path=a.wav", {{"Cookie", cookie}}).status == 200;
    };
    restart(kPassword);
    const QByteArray cookie = login();
    EXPECT_TRUE(admitted(cookie));
    EXPECT_EQ(QFileInfo(store).permissions() & ~(QFile::ReadOwner | QFile::WriteOwner | QFile::ReadUser | QFile::WriteUser), 0);
    EXPECT_FALSE(readFile(store).contains(cookie.mid(cookie.indexOf('=') + 1))) << "the token itself is never kept";

    restart(kPassword);
    EXPECT_TRUE(admitted(cookie));
    EXPECT_FALSE(admitted(cookie + "0"));

    // A session past its time is over, after a restart as before it.
    const QByteArray second = login();
    const QList<QByteArray> lines = readFile(store).trimmed().split('\n');
    ASSERT_EQ(lines.size(), 3);
    const QByteArray past = QByteArray::number(QDateTime::currentSecsSinceEpoch() - 10) + ' ' + lines[1].split(' ').last();
    ::unlink(QFile::encodeName(store).constData());
    writeFile(store, lines[0] + '\n' + past + '\n' + lines[2] + '\n');
    QFile::setPermissions(store, QFile::ReadOwner | QFile::WriteOwner);
    restart(kPassword);
    EXPECT_FALSE(admitted(cookie));
    EXPECT_TRUE(admitted(second));

    // A store that others could have read or written is not believed.
    QFile::setPermissions(store, QFile::ReadOwner | QFile::WriteOwner | QFile::ReadOther);
    restart(kPassword);
    EXPECT_FALSE(admitted(second));

    // Another password ends every session, for good.
    const QByteArray third = login();
    restart(QStringLiteral("another"));
    EXPECT_FALSE(admitted(third));
    restart(kPassword);
    EXPECT_FALSE(admitted(third));
}

TEST_F(UploaderFixture, LogOutEndsThatSessionForGoodAndOnlyFromTheDrivesOwnPage)
{
    writeFile(lib + "/a.wav", "A");
    const auto restart = [&] {
        client.reset();
        uploader = std::make_unique<MyWebUploader>(lib);
        uploader->setBindAddress(QStringLiteral("127.0.0.1"));
        uploader->setPassword(kPassword);
        start();
    };
    restart();
    const auto own = [&] { return "http://127.0.0.1:" + QByteArray::number(uploader->port()); };
    const auto login = [&] { return client->raw(loginRequest(uploader->port(), kPassword.toUtf8(), own())).header("set-cookie").split(';').first(); };
    const auto admitted = [&](const QByteArray& cookie) {
        return client->get("/download?path=a.wav", {{"Cookie", cookie}}).status == 200;
    };
    const auto logOut = [&](const QByteArray& cookie, const QByteArray& origin) {
        return client->raw("POST /logout HTTP/1.1\r\nHost: 127.0.0.1:" + QByteArray::number(uploader->port())
                           + "\r\nConnection: close\r\nOrigin: " + origin + "\r\nCookie: " + cookie
                           + "\r\nContent-Type: application/x-www-form-urlencoded\r\nContent-Length: 0\r\n\r\n");
    };
    const QByteArray phone = login();
    const QByteArray laptop = login();
    ASSERT_TRUE(admitted(phone) && admitted(laptop));

    // The page offers Log Out only when there is a password to log in with.
    HttpReply r = client->get("/", {{"Cookie", phone}});
    EXPECT_TRUE(r.body.contains("action=\"/logout\" >")) << r.body.constData();
    // The address a wrong password leaves in the address bar leads back to the page.
    r = client->get("/login", {{"Cookie", phone}});
    EXPECT_EQ(r.status, 303);
    EXPECT_EQ(r.header("location"), "/");

    // Another site's page cannot log the browser out.
    EXPECT_EQ(logOut(phone, "http://evil.example").status, 403);
    EXPECT_TRUE(admitted(phone));
    r = logOut(phone, own());
    EXPECT_EQ(r.status, 303);
    EXPECT_EQ(r.header("location"), "/");
    EXPECT_TRUE(r.header("set-cookie").startsWith("wl_session=;") && r.header("set-cookie").contains("Max-Age=0"))
        << r.header("set-cookie").constData();
    EXPECT_FALSE(admitted(phone));
    EXPECT_TRUE(admitted(laptop));
    restart();
    EXPECT_FALSE(admitted(phone)) << "a session logged out stays out after a restart";
    EXPECT_TRUE(admitted(laptop));

    uploader->setPassword(QString());
    EXPECT_TRUE(client->get("/").body.contains("action=\"/logout\" hidden>"));
}

TEST_F(UploaderFixture, GuessingThePasswordIsStoppedForAMinute)
{
    uploader->setPassword(kPassword);
    start();
    const int port = uploader->port();
    const QByteArray own = "http://127.0.0.1:" + QByteArray::number(port);
    for (int i = 0; i < WebSessions::kMaxFailures; ++i)
        ASSERT_EQ(client->raw(loginRequest(port, "guess" + QByteArray::number(i), own)).status, 401);
    // Now even the right one waits, and so does HTTP authentication.
    EXPECT_EQ(client->raw(loginRequest(port, kPassword.toUtf8(), own)).status, 429);
    const QByteArray basic = "Basic " + ("x:" + kPassword.toUtf8()).toBase64();
    EXPECT_EQ(client->get("/list?path=/", {{"Authorization", basic}}).status, 429);
}

TEST_F(UploaderFixture, HttpsServesWithACertificateMadeOnceAndRefusesPlainRequests)
{
    writeFile(lib + "/a.wav", "A");
    uploader->setUsesHttps(true);
    start();
    const QString base = QStringLiteral("https://127.0.0.1:%1").arg(uploader->port());
    EXPECT_TRUE(uploader->serverURL().startsWith("https://"));
    const QFileInfo key(GCDWebServer::keyPath());
    ASSERT_TRUE(key.exists());
    EXPECT_EQ(key.permissions() & (QFile::ReadGroup | QFile::ReadOther | QFile::WriteGroup | QFile::WriteOther), 0);
    const QString fingerprint = uploader->certificateFingerprint();
    EXPECT_EQ(fingerprint.size(), 32 * 3 - 1);

    Curl c = curl({"-k", base + "/download?path=a.wav"});
    EXPECT_EQ(c.exitCode, 0);
    EXPECT_EQ(c.out, "A");
    // The certificate names this machine's addresses.
    c = curl({"--cacert", GCDWebServer::certificatePath(), "-o", "/dev/null", "-w", "%{http_code}",
              base + "/list?path=/"});
    EXPECT_EQ(c.out, "200");
    writeFile(tree.path("up.wav"), "uploaded over TLS");
    c = curl({"-k", "-F", "path=/", "-F", "files[]=@" + tree.path("up.wav"), base + "/upload"});
    EXPECT_EQ(c.exitCode, 0);
    EXPECT_EQ(readFile(lib + "/up.wav"), "uploaded over TLS");
    // Changes must come from the https page itself.
    c = curl({"-k", "-o", "/dev/null", "-w", "%{http_code}", "-H", "Origin: http://127.0.0.1:" + QString::number(uploader->port()),
              "-d", "path=up.wav", base + "/delete"});
    EXPECT_EQ(c.out, "403");
    c = curl({"-k", "-o", "/dev/null", "-w", "%{http_code}", "-H", "Origin: " + base, "-d", "path=up.wav", base + "/delete"});
    EXPECT_EQ(c.out, "200");

    // A page asked for over plain HTTP is sent to the same path over HTTPS on the address the
    // request reached, whatever Host it named; anything else is refused. Clients that never
    // finish the handshake get nothing and block nobody.
    HttpReply plain = client->raw("GET /list?path=/ HTTP/1.1\r\nHost: evil.example\r\n\r\n");
    EXPECT_EQ(plain.status, 302);
    EXPECT_EQ(plain.header("location"), (base + "/list?path=/").toUtf8());
    plain = client->raw("GET /a\"b HTTP/1.1\r\nHost: x\r\n\r\n");
    EXPECT_EQ(plain.header("location"), (base + "/").toUtf8());
    EXPECT_EQ(client->raw("POST /delete HTTP/1.1\r\nHost: x\r\nContent-Length: 6\r\n\r\npath=a").status, 400);
    EXPECT_EQ(readFile(lib + "/a.wav"), "A");
    std::vector<int> silent;
    for (int i = 0; i < 50; ++i)
        silent.push_back(client->connectSocket());
    QElapsedTimer timer;
    timer.start();
    c = curl({"-k", base + "/download?path=a.wav"});
    EXPECT_EQ(c.out, "A");
    EXPECT_LT(timer.elapsed(), 3000);
    for (const int fd : silent)
        ::close(fd);

    // The same certificate at the next start.
    uploader->stop();
    start();
    EXPECT_EQ(uploader->certificateFingerprint(), fingerprint);
}

TEST_F(UploaderFixture, PageLogsInAtASharedFolderResumesLargeUploadsRetriesAndLogsOutInChromium)
{
    ASSERT_TRUE(QFile::exists(kBrowserDir + "/node_modules/playwright-core/package.json"));
    writeFile(lib + "/Seed.wav", "seed");
    writeFile(lib + "/Inner Folder/inner.wav", "inner");
    uploader->setPassword(kPassword);
    start();
    QTemporaryDir work;
    QProcess node;
    node.setProcessChannelMode(QProcess::MergedChannels);
    node.setWorkingDirectory(kBrowserDir);
    node.start(QStringLiteral("node"), {kBrowserDir + "/login-resume.js", QStringLiteral("http://127.0.0.1:%1/").arg(uploader->port()),
                                        work.path(), kPassword});
    ASSERT_TRUE(node.waitForFinished(120000));
    ASSERT_EQ(node.exitCode(), 0) << node.readAll().constData();
    EXPECT_EQ(readFile(lib + "/Big.wav"), readFile(work.path() + "/Big.wav"));
    EXPECT_EQ(readFile(lib + "/Again.wav"), readFile(work.path() + "/Again.wav"));
    EXPECT_FALSE(QFile::exists(lib + "/Again (1).wav"));
    EXPECT_EQ(readFile(lib + "/Retried.wav"), "retried take");
    EXPECT_EQ(readFile(lib + "/Held.wav"), readFile(work.path() + "/Held.wav"));
    EXPECT_EQ(readFile(lib + "/Last.wav"), readFile(work.path() + "/Last.wav"));
    EXPECT_FALSE(QFile::exists(lib + "/Last (1).wav"));
    EXPECT_TRUE(waitForCall("upload|" + lib + "/Big.wav"));
    // No bytes stay behind, only the answers of completed uploads.
    const QStringList left = QDir(uploadFolder()).entryList(QDir::Files | QDir::Hidden);
    EXPECT_TRUE(left.filter(QRegularExpression(QStringLiteral("\\.done$"))) == left) << left.join(',').toStdString();
}
