#include "DropboxTestServer.h"

#include "cloud/DropboxAccount.h"
#include "cloud/DropboxClient.h"
#include "cloud/DropboxLink.h"
#include "platform/Settings.h"
#include "shell/UrlCommands.h"
#include "support/BuildPaths.h"
#include "support/TempTree.h"

#include <QDir>
#include <QDirIterator>
#include <QJsonArray>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QProcess>
#include <QRegularExpression>
#include <QUrlQuery>
#include <gtest/gtest.h>

using namespace cloud;
using testsupport::DropboxTestServer;

namespace {

// URL commands with no window around them.
struct NoWindow : UrlCommandsDelegate {
    void showFileOrFolder(const QString&) override {}
    void popToRootBrowser() override {}
    void pasteImportStarted(const QString&) override {}
    void pasteImportFinished(bool) override {}
    QObject* alertContext() const override { return nullptr; }
};
// What a browser does with an address: fetch it, following redirects; answers the last page.
QByteArray browse(const QUrl& url)
{
    QNetworkAccessManager network;
    QNetworkReply* reply = network.get(QNetworkRequest(url));
    testsupport::waitUntil([reply] { return reply->isFinished(); }, 30000);
    const QByteArray page = reply->readAll();
    reply->deleteLater();
    return page;
}

QString codeOnPage(const QByteArray& page)
{
    const auto match = QRegularExpression(QStringLiteral("<code id=\"code\">([^<]+)</code>")).match(QString::fromUtf8(page));
    return match.hasMatch() ? match.captured(1) : QString();
}

// Every secret the server handed out or saw: none of them may show up anywhere but the store.
QStringList secretsSeen(DropboxTestServer& server, const QStringList& extra)
{
    QStringList secrets = extra;
    for (const QJsonValue& header : server.stats()["auth_headers"].toArray())
        secrets << header.toString().mid(7);
    secrets.removeAll(QString());
    secrets.removeDuplicates();
    return secrets;
}

QString settingsText()
{
    platform::Settings::sync();
    QString text;
    QDirIterator it(qEnvironmentVariable("XDG_CONFIG_HOME"), QDir::Files, QDirIterator::Subdirectories);
    while (it.hasNext())
        text += QString::fromUtf8(testsupport::readFile(it.next()));
    return text;
}

void expectNoSecretIn(const QString& text, const QStringList& secrets, const char* where)
{
    for (const QString& secret : secrets)
        EXPECT_FALSE(text.contains(secret)) << where << " holds " << secret.toStdString();
}
}  // namespace

// Linking through the browser's redirect keeps the sign-in in the Secret Service, where a new
// start finds it. An expired access token is renewed once, however many calls are waiting;
// a revoked sign-in unlinks the account and asks to link again. No token or code is ever
// logged or put in the settings.
TEST(DropboxAccountTest, LinksRefreshesOnceAndAsksToLinkAgainWhenRevoked)
{
    testsupport::TempTree tree;
    testsupport::SecretServiceFixture secretService;
    ASSERT_TRUE(secretService.isRunning());
    DropboxTestServer server{QString()};
    ASSERT_TRUE(server.isRunning());
    testsupport::LogCapture log;

    DropboxAccount account;
    account.loadSync();
    EXPECT_FALSE(account.isLinked());
    DropboxClient client(&account);
    DropboxLink link(&account, client.network());
    ASSERT_TRUE(link.begin());
    EXPECT_TRUE(link.redirectUri().startsWith("http://127.0.0.1:"));
    std::optional<DropboxLink::Outcome> outcome;
    QObject::connect(&link, &DropboxLink::finished, [&](DropboxLink::Outcome o, const QString& why) {
        outcome = o;
        EXPECT_TRUE(why.isEmpty()) << why.toStdString();
    });
    const QByteArray page = browse(link.authorizeUrl());
    ASSERT_TRUE(testsupport::waitUntil([&] { return outcome.has_value(); }, 30000));
    EXPECT_EQ(*outcome, DropboxLink::Outcome::Success);
    EXPECT_TRUE(page.contains("You can close this page")) << page.toStdString();
    EXPECT_TRUE(account.isLinked());
    ASSERT_TRUE(testsupport::writeFile(server.account("/Song.wav"), "la"));

    DropboxAccount again;  // a new start reads the store
    again.loadSync();
    ASSERT_TRUE(again.isLinked());
    DropboxClient later(&again);

    ASSERT_TRUE(server.control({{"expire_tokens", true}}));
    int answered = 0;
    for (int i = 0; i < 3; ++i)
        later.listFolder("", [&](const ListFolderResult& r, const DropboxError& e) {
            EXPECT_FALSE(e) << e.description().toStdString();
            EXPECT_EQ(r.entries.size(), 1);
            ++answered;
        });
    ASSERT_TRUE(testsupport::waitUntil([&] { return answered == 3; }, 30000));
    EXPECT_EQ(server.stats()["refreshes"].toInt(), 1);

    ASSERT_TRUE(server.control({{"revoke_all", true}}));
    std::optional<DropboxError> refused;
    later.listFolder("", [&](const ListFolderResult&, const DropboxError& e) { refused = e; });
    ASSERT_TRUE(testsupport::waitUntil([&] { return refused.has_value(); }, 30000));
    EXPECT_EQ(refused->kind, DropboxError::Kind::NotLinked);
    EXPECT_TRUE(refused->description().contains("Link your Dropbox account again")) << refused->description().toStdString();
    EXPECT_FALSE(again.isLinked());
    EXPECT_TRUE(testsupport::waitUntil([&] {
        DropboxAccount fresh;
        fresh.loadSync();
        return !fresh.isLinked();
    }, 10000));

    const QStringList secrets = secretsSeen(server, {});
    ASSERT_GE(secrets.size(), 2);
    expectNoSecretIn(log.lines().join("\n"), secrets, "the log");
    expectNoSecretIn(settingsText(), secrets, "the settings");
}

// A user who says no at Dropbox ends the link as cancelled (logged), a wrong pasted code as an
// error with Dropbox's reason; nothing is kept either way.
TEST(DropboxAccountTest, DeniedOrWrongCodeLinksNothing)
{
    testsupport::TempTree tree;
    testsupport::SecretServiceFixture secretService;
    ASSERT_TRUE(secretService.isRunning());
    DropboxTestServer server{QString()};
    ASSERT_TRUE(server.isRunning());
    testsupport::LogCapture log;
    DropboxAccount account;
    account.loadSync();
    DropboxClient client(&account);

    ASSERT_TRUE(server.control({{"deny_authorization", true}}));
    DropboxLink denied(&account, client.network());
    ASSERT_TRUE(denied.begin());
    std::optional<DropboxLink::Outcome> outcome;
    QObject::connect(&denied, &DropboxLink::finished, [&](DropboxLink::Outcome o, const QString&) { outcome = o; });
    browse(denied.authorizeUrl());
    ASSERT_TRUE(testsupport::waitUntil([&] { return outcome.has_value(); }, 30000));
    EXPECT_EQ(*outcome, DropboxLink::Outcome::Cancelled);
    EXPECT_TRUE(log.contains("Authorization flow was manually canceled by user!"));

    DropboxLink wrong(&account, client.network());
    ASSERT_TRUE(wrong.begin());
    QString why;
    outcome.reset();
    QObject::connect(&wrong, &DropboxLink::finished, [&](DropboxLink::Outcome o, const QString& w) {
        outcome = o;
        why = w;
    });
    wrong.submitCode("not-a-code");
    ASSERT_TRUE(testsupport::waitUntil([&] { return outcome.has_value(); }, 30000));
    EXPECT_EQ(*outcome, DropboxLink::Outcome::Error);
    EXPECT_EQ(why, "code doesn't exist or has expired");
    EXPECT_FALSE(account.isLinked());

    // The answer can come back as a URL handed to the program; the URL commands offer it first.
    DropboxLink handedOver(&account, client.network());
    ASSERT_TRUE(handedOver.begin());
    outcome.reset();
    QObject::connect(&handedOver, &DropboxLink::finished, [&](DropboxLink::Outcome o, const QString&) { outcome = o; });
    const QString state = QUrlQuery(handedOver.authorizeUrl()).queryItemValue("state");
    EXPECT_FALSE(DropboxLink::offerRedirectURL(QUrl(handedOver.redirectUri() + "?error=access_denied&state=other")));
    NoWindow noWindow;
    UrlCommands commands(&noWindow);
    std::optional<bool> answer;
    commands.openURL(QUrl(handedOver.redirectUri() + "?error=access_denied&state=" + state), {},
                     [&](bool handled) { answer = handled; });
    EXPECT_EQ(answer, std::optional<bool>(true));
    EXPECT_EQ(outcome, std::optional<DropboxLink::Outcome>(DropboxLink::Outcome::Cancelled));
    // A finished link takes nothing more.
    EXPECT_FALSE(DropboxLink::offerRedirectURL(QUrl(handedOver.redirectUri() + "?code=x&state=" + state)));
}

// The command line links (through the browser's redirect, then by a pasted code), lists,
// imports, exports and unlinks over the same code, and prints no token or code.
TEST(DropboxAccountTest, ToolLinksListsImportsExportsAndUnlinks)
{
    testsupport::TempTree tree;
    testsupport::SecretServiceFixture secretService;
    ASSERT_TRUE(secretService.isRunning());
    DropboxTestServer server{QString()};
    ASSERT_TRUE(server.isRunning());
    ASSERT_TRUE(testsupport::writeFile(server.account("/Loops/Kick.wav"), "kick"));
    ASSERT_TRUE(testsupport::writeFile(server.account("/Loops/Sub/Hat.wav"), "hat"));
    const QString lib = tree.library();
    QStringList env = server.environment();
    env << "DBUS_SESSION_BUS_ADDRESS=" + secretService.busAddress();
    QByteArray allOutput;
    QStringList codes;

    auto link = [&](bool paste) {
        QProcess tool;
        QProcessEnvironment pe = QProcessEnvironment::systemEnvironment();
        for (const QString& pair : env)
            pe.insert(pair.section('=', 0, 0), pair.section('=', 1));
        tool.setProcessEnvironment(pe);
        tool.start(testsupport::binDir() + QStringLiteral("/wavelocker-tool"), {"--library", lib, "dropbox", "link"});
        QByteArray err;
        QStringList urls;
        EXPECT_TRUE(testsupport::waitUntil([&] {
            tool.waitForReadyRead(100);
            err += tool.readAllStandardError();
            urls.clear();
            for (const auto& line : QString::fromUtf8(err).split('\n'))
                if (line.trimmed().startsWith("http://"))
                    urls << line.trimmed();
            return urls.size() == 2;
        }, 60000));
        if (urls.size() != 2)
            return QByteArray();
        if (paste) {
            const QString code = codeOnPage(browse(QUrl(urls[1])));
            EXPECT_FALSE(code.isEmpty());
            codes << code;
            tool.write(code.toUtf8() + "\n");
        } else {
            browse(QUrl(urls[0]));
        }
        EXPECT_TRUE(tool.waitForFinished(60000));
        err += tool.readAllStandardError();
        EXPECT_EQ(tool.exitCode(), 0) << err.toStdString();
        return err;
    };

    const QByteArray linked = link(false);
    EXPECT_TRUE(linked.contains("You are now linked to dropbox")) << linked.toStdString();
    allOutput += linked;

    auto run = [&](const QStringList& args) {
        auto result = testsupport::runProgram("wavelocker-tool", QStringList{"--library", lib, "dropbox"} + args, env);
        allOutput += result.out + result.err;
        return result;
    };
    auto ls = run({"ls", "/Loops"});
    EXPECT_EQ(ls.exitCode, 0) << ls.err.toStdString();
    EXPECT_TRUE(ls.out.startsWith("Kick.wav\t4\t")) << ls.out.toStdString();
    EXPECT_TRUE(ls.out.contains("\nSub/\n"));

    auto imported = run({"import", "/Loops"});
    EXPECT_EQ(imported.exitCode, 0) << imported.err.toStdString();
    EXPECT_EQ(testsupport::readFile(lib + "/Loops/Sub/Hat.wav"), "hat");
    EXPECT_TRUE(imported.err.contains("Done"));

    ASSERT_TRUE(testsupport::writeFile(lib + "/Take.wav", "take"));
    auto exported = run({"export", lib + "/Take.wav", lib + "/Loops", "--to", "/Out"});
    EXPECT_EQ(exported.exitCode, 0) << exported.err.toStdString();
    EXPECT_EQ(testsupport::readFile(server.account("/Out/Take.wav")), "take");
    EXPECT_EQ(testsupport::readFile(server.account("/Out/Loops/Sub/Hat.wav")), "hat");
    auto again = run({"export", lib + "/Take.wav", "--to", "/Out"});
    EXPECT_EQ(again.exitCode, 1);
    EXPECT_TRUE(again.err.contains("The following files failed to upload:\n\nTake.wav")) << again.err.toStdString();

    EXPECT_EQ(run({"unlink"}).exitCode, 0);
    auto refused = run({"ls", "/"});
    EXPECT_EQ(refused.exitCode, 1);
    EXPECT_TRUE(refused.err.contains("Dropbox is not linked")) << refused.err.toStdString();

    allOutput += link(true);
    EXPECT_EQ(run({"ls", "/Out"}).exitCode, 0);
    EXPECT_EQ(run({"ls", "/Missing"}).exitCode, 1);

    const QStringList secrets = secretsSeen(server, codes);
    ASSERT_GE(secrets.size(), 3);
    expectNoSecretIn(QString::fromUtf8(allOutput), secrets, "the tool's output");
    expectNoSecretIn(settingsText(), secrets, "the settings");
}
