// The server's start and stop as the screen drives them: ports, Bonjour, callbacks, label.
#include "UploaderFixture.h"
#include "platform/NotificationCenter.h"
#include "wifidrive/screens/WiFiDriveViewController.h"

#include <QCheckBox>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <algorithm>
#include <thread>
#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

using namespace testsupport;

namespace {

// Holds a loopback port the way another program would, without sharing it.
class PortHolder {
public:
    PortHolder()
    {
        mFd = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
        sockaddr_in a{};
        a.sin_family = AF_INET;
        a.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t len = sizeof a;
        ::bind(mFd, reinterpret_cast<sockaddr*>(&a), sizeof a);
        ::listen(mFd, 1);
        ::getsockname(mFd, reinterpret_cast<sockaddr*>(&a), &len);
        mPort = ntohs(a.sin_port);
    }
    ~PortHolder() { ::close(mFd); }
    int port() const { return mPort; }

private:
    int mFd = -1;
    int mPort = 0;
};

}  // namespace

TEST_F(UploaderFixture, TakenPortFallsBackAndCallbacksArrive)
{
    LogCapture log;
    PortHolder taken;
    ASSERT_TRUE(uploader->startWithPort(taken.port(), QStringLiteral("")));
    EXPECT_TRUE(uploader->isRunning());
    EXPECT_NE(uploader->port(), taken.port());
    EXPECT_GT(uploader->port(), 0);
    EXPECT_EQ(uploader->serverURL(), QStringLiteral("http://127.0.0.1:%1/").arg(uploader->port()));
    EXPECT_EQ(HttpTestClient(uploader->port()).get("/list?path=/").status, 200);
    EXPECT_TRUE(waitUntil([&] { return delegate.calls().contains("start"); }));
    // Without an Avahi daemon the log says so and there is no Bonjour address; with one, the
    // registration completes and gives one.
    if (!log.lines().filter("Bonjour registration unavailable").isEmpty()) {
        EXPECT_TRUE(uploader->bonjourServerURL().isEmpty());
    } else {
        EXPECT_TRUE(waitUntil([&] { return delegate.calls().contains("bonjour"); }));
        EXPECT_TRUE(uploader->bonjourServerURL().endsWith(QStringLiteral(".local:%1/").arg(uploader->port())));
    }

    const int port = uploader->port();
    uploader->stop();
    EXPECT_FALSE(uploader->isRunning());
    EXPECT_TRUE(delegate.calls().contains("stop"));
    EXPECT_TRUE(log.contains("Web server stopped"));
    EXPECT_EQ(uploader->port(), 0);
    EXPECT_EQ(HttpTestClient(port).get("/").status, 0);
}

TEST_F(UploaderFixture, ScreenSwitchesServerAndShowsItsAddress)
{
    WiFiDriveViewController screen(uploader.get());
    EXPECT_EQ(screen.windowTitle(), "WiFi Drive");
    EXPECT_EQ(screen.addressLabel()->text(), "Not running");
    const QList<QLabel*> labels = screen.findChildren<QLabel*>();
    EXPECT_TRUE(std::any_of(labels.begin(), labels.end(), [](QLabel* l) {
        return l->text() == "Enable transfers between Wavelocker and computers on your local network via web "
                            "browser, while Wavelocker is running.";
    }));

    screen.enableSwitch()->setChecked(true);
    ASSERT_TRUE(uploader->isRunning());
    const QString url = uploader->port() == 80 ? QStringLiteral("http://127.0.0.1/")
                                               : QStringLiteral("http://127.0.0.1:%1/").arg(uploader->port());
    EXPECT_EQ(screen.addressLabel()->text(), url);
    EXPECT_EQ(HttpTestClient(uploader->port()).get("/").status, 200);

    // The label follows the notification, from whichever thread it is posted.
    uploader->stop();
    EXPECT_EQ(screen.addressLabel()->text(), url);
    std::thread([] {
        platform::NotificationCenter::defaultCenter().post(WiFiDriveViewController::kChangedNotification);
    }).join();
    EXPECT_TRUE(waitUntil([&] { return screen.addressLabel()->text() == "Not running"; }));

    ASSERT_TRUE(uploader->startWithPort(0, QString()));
    platform::NotificationCenter::defaultCenter().post(WiFiDriveViewController::kChangedNotification, uploader.get());
    EXPECT_TRUE(screen.addressLabel()->text().startsWith("http://127.0.0.1:"));
    screen.enableSwitch()->setChecked(false);
    screen.enableSwitch()->setChecked(true);
    screen.enableSwitch()->setChecked(false);
    EXPECT_FALSE(uploader->isRunning());
    EXPECT_EQ(screen.addressLabel()->text(), "Not running");
}

TEST_F(UploaderFixture, ScreenSetsAndRemovesThePasswordAndSwitchesToHttps)
{
    writeFile(lib + "/a.wav", "A");
    WiFiDriveViewController screen(uploader.get());
    screen.enableSwitch()->setChecked(true);
    ASSERT_TRUE(uploader->isRunning());
    HttpTestClient client(uploader->port());
    EXPECT_EQ(client.get("/download?path=a.wav").body, "A");
    EXPECT_FALSE(screen.removePasswordButton()->isEnabled());
    EXPECT_FALSE(screen.setPasswordButton()->isEnabled());

    // Typed and set: the running drive asks for it at once, and the field forgets it.
    screen.passwordField()->setText(QStringLiteral("open sesame"));
    ASSERT_TRUE(screen.setPasswordButton()->isEnabled());
    screen.setPasswordButton()->click();
    EXPECT_TRUE(screen.passwordField()->text().isEmpty());
    EXPECT_EQ(screen.passwordLabel()->text(), "Browsers ask for the password.");
    EXPECT_EQ(client.get("/download?path=a.wav").status, 401);
    const QByteArray basic = "Basic " + QByteArray(":open sesame").toBase64();
    EXPECT_EQ(client.get("/download?path=a.wav", {{"Authorization", basic}}).body, "A");
    // A second screen (the next time it opens) knows a password is set.
    WiFiDriveViewController again(uploader.get());
    EXPECT_TRUE(again.removePasswordButton()->isEnabled());
    again.removePasswordButton()->click();
    EXPECT_EQ(client.get("/download?path=a.wav").body, "A");

    // HTTPS starts the running drive again on an https address with its fingerprint shown.
    screen.httpsSwitch()->setChecked(true);
    ASSERT_TRUE(uploader->isRunning());
    EXPECT_TRUE(screen.addressLabel()->text().startsWith("https://")) << screen.addressLabel()->text().toStdString();
    EXPECT_TRUE(screen.fingerprintLabel()->text().contains(uploader->certificateFingerprint().left(47)));
    EXPECT_FALSE(screen.fingerprintLabel()->isHidden());
    screen.httpsSwitch()->setChecked(false);
    EXPECT_TRUE(screen.addressLabel()->text().startsWith("http://"));
    EXPECT_TRUE(screen.fingerprintLabel()->isHidden());
    screen.enableSwitch()->setChecked(false);
}

TEST_F(UploaderFixture, ScreenSaysWhyTheDriveDidNotStart)
{
    // No certificate can be made: where its folder belongs lies a file.
    const QString certificates = QFileInfo(GCDWebServer::certificatePath()).path();
    QDir(certificates).removeRecursively();
    writeFile(certificates, "in the way");
    uploader->setUsesHttps(true);
    WiFiDriveViewController screen(uploader.get());
    EXPECT_TRUE(screen.failureLabel()->isHidden());
    screen.enableSwitch()->setChecked(true);
    EXPECT_FALSE(uploader->isRunning());
    EXPECT_FALSE(screen.enableSwitch()->isChecked());
    EXPECT_EQ(screen.addressLabel()->text(), "Not running");
    EXPECT_FALSE(screen.failureLabel()->isHidden());
    EXPECT_EQ(screen.failureLabel()->text(),
              "The WiFi drive could not start. No certificate for HTTPS could be made or read in " + certificates + ".");

    // Once the way is clear the switch starts it, and the reason goes.
    QFile::remove(certificates);
    screen.enableSwitch()->setChecked(true);
    ASSERT_TRUE(uploader->isRunning());
    EXPECT_TRUE(screen.failureLabel()->isHidden());
    EXPECT_TRUE(screen.addressLabel()->text().startsWith("https://127.0.0.1")) << screen.addressLabel()->text().toStdString();

    // Switching HTTPS off starts it again; an address this machine does not have gives no port.
    screen.enableSwitch()->setChecked(false);
    uploader->setBindAddress(QStringLiteral("192.0.2.254"));
    screen.enableSwitch()->setChecked(true);
    EXPECT_FALSE(uploader->isRunning());
    EXPECT_TRUE(screen.failureLabel()->text().contains("No port could be opened on 192.0.2.254"))
        << screen.failureLabel()->text().toStdString();
    EXPECT_FALSE(screen.enableSwitch()->isChecked());
}
