// The WiFi drive from the window: its button opens the screen once, the switch serves the
// library, and the QR code on the screen reads back as the address it shows.
#include "library/Utils.h"
#include "shell/AppDelegate.h"
#include "support/TempTree.h"
#include "ui/NavigationController.h"
#include "wifidrive/MyWebUploader.h"
#include "wifidrive/QrCodeView.h"
#include "wifidrive/WiFiDriveViewController.h"

#include <QAction>
#include <QCheckBox>
#include <QLabel>
#include <QProcess>
#include <QPushButton>
#include <QTemporaryDir>
#include <QToolButton>
#include <gtest/gtest.h>

using namespace testsupport;

namespace {

// What a phone's camera would read from the code as drawn on the screen.
QString readQrCode(QWidget* view)
{
    QTemporaryDir dir;
    const QString png = dir.path() + "/code.png";
    if (!view->grab().save(png))
        return {};
    QProcess zbar;
    zbar.start(QStringLiteral("zbarimg"), {QStringLiteral("--raw"), QStringLiteral("-q"), png});
    zbar.waitForFinished(30000);
    return QString::fromUtf8(zbar.readAllStandardOutput()).trimmed();
}

}  // namespace

TEST(WiFiDriveWindow, ButtonOpensTheScreenWhoseSwitchServesAndWhoseCodeReadsAsTheAddress)
{
    TempTree tree;
    tree.library();
    qputenv("JACK_DEFAULT_SERVER", "wltest-nobody-home");
    AppDelegate delegate(AppDelegate::Mode::Window);
    delegate.didFinishLaunching();
    QAction* action = delegate.wifiDriveAction();
    ASSERT_NE(action, nullptr);
    EXPECT_EQ(action->text(), QStringLiteral("WiFi Drive\u2026"));

    // The button in the library's navigation bar carries the action.
    const QList<QToolButton*> buttons = delegate.libraryNavigationController()->findChildren<QToolButton*>();
    QToolButton* button = nullptr;
    for (QToolButton* b : buttons)
        if (b->defaultAction() == action)
            button = b;
    ASSERT_NE(button, nullptr);
    EXPECT_TRUE(button->isVisible());
    button->click();
    WiFiDriveViewController* screen = delegate.wifiDriveViewController();
    ASSERT_NE(screen, nullptr);
    EXPECT_TRUE(screen->isVisible());
    EXPECT_TRUE(screen->isWindow());
    EXPECT_EQ(screen->windowTitle(), "WiFi Drive");
    EXPECT_EQ(screen->addressLabel()->text(), "Not running");
    EXPECT_FALSE(screen->qrCodeView()->isVisible());
    action->trigger();  // a second press brings the same screen forward
    EXPECT_EQ(delegate.wifiDriveViewController(), screen);
    EXPECT_EQ(delegate.window()->findChildren<WiFiDriveViewController*>().size(), 1);

    screen->enableSwitch()->setChecked(true);
    ASSERT_TRUE(delegate.webUploader()->isRunning());
    EXPECT_EQ(delegate.webUploader()->uploadDirectory(), Utils::documentsURL());
    const QString address = delegate.webUploader()->serverURL();
    if (address.isEmpty()) {
        EXPECT_EQ(screen->addressLabel()->text(), "No local network");
        EXPECT_FALSE(screen->qrCodeView()->isVisible());
    } else {
        EXPECT_TRUE(screen->addressLabel()->text().startsWith(address));
        ASSERT_TRUE(screen->qrCodeView()->isVisible());
        EXPECT_EQ(readQrCode(screen->qrCodeView()), address);
    }

    // Closing the screen leaves the drive as it was; the switch turns it off.
    screen->cancelButton()->click();
    ASSERT_TRUE(waitUntil([&] { return delegate.wifiDriveViewController() == nullptr; }));
    EXPECT_TRUE(delegate.webUploader()->isRunning());
    action->trigger();
    screen = delegate.wifiDriveViewController();
    ASSERT_NE(screen, nullptr);
    EXPECT_TRUE(screen->enableSwitch()->isChecked());
    screen->enableSwitch()->setChecked(false);
    EXPECT_FALSE(delegate.webUploader()->isRunning());
    EXPECT_FALSE(screen->qrCodeView()->isVisible());
    delegate.window()->hide();
}

TEST(QrCodeView, LongAddressesStillReadBackAndEmptyTextDrawsNothing)
{
    QrCodeView view;
    view.resize(260, 260);
    const QString address = QStringLiteral("http://a-rather-long-machine-name.local:65535/#/Loops/Drums/");
    view.setText(address);
    ASSERT_FALSE(view.code().isEmpty());
    EXPECT_EQ(readQrCode(&view), address);
    view.setText(QString());
    EXPECT_TRUE(view.code().isEmpty());
    EXPECT_TRUE(readQrCode(&view).isEmpty());
}
