#include "wifidrive/screens/WiFiDriveViewController.h"

#include "platform/Dispatch.h"
#include "wifidrive/GCDWebServer.h"
#include "wifidrive/screens/QrCodeView.h"
#include "wifidrive/WiFiDriveAddressText.h"

#include <QCheckBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QNetworkInformation>
#include <QPointer>
#include <QPushButton>
#include <QVBoxLayout>

namespace {

const QString kTitle = QStringLiteral("WiFi Drive");
const QString kExplanation = QStringLiteral(
    "Enable transfers between Wavelocker and computers on your local network via web browser, while Wavelocker "
    "is running in the foreground.");
const QString kCancel = QStringLiteral("Cancel");
const QString kSwitchLabel = QStringLiteral("WiFi Drive");

}  // namespace

WiFiDriveViewController::WiFiDriveViewController(GCDWebServer* server, QWidget* parent)
    : QWidget(parent), mServer(server)
{
    setWindowTitle(kTitle);
    mCancelButton = new QPushButton(kCancel, this);
    connect(mCancelButton, &QPushButton::clicked, this, &QWidget::close);

    auto* explanation = new QLabel(kExplanation, this);
    explanation->setWordWrap(true);
    mSwitch = new QCheckBox(kSwitchLabel, this);
    mSwitch->setChecked(mServer && mServer->isRunning());
    connect(mSwitch, &QCheckBox::toggled, this, &WiFiDriveViewController::switchChanged);
    mAddressLabel = new QLabel(this);
    mAddressLabel->setAlignment(Qt::AlignCenter);
    mAddressLabel->setTextInteractionFlags(Qt::TextSelectableByMouse);
    mQrCode = new QrCodeView(this);

    auto* top = new QHBoxLayout;
    top->addWidget(mCancelButton);
    top->addStretch();
    auto* layout = new QVBoxLayout(this);
    layout->addLayout(top);
    layout->addWidget(explanation);
    layout->addWidget(mSwitch);
    layout->addWidget(mAddressLabel);
    layout->addWidget(mQrCode, 0, Qt::AlignHCenter);
    layout->addStretch();

    // The server's callbacks post on the main thread; a poster on another thread must not
    // touch the label, so it hops there.
    QPointer<WiFiDriveViewController> self(this);
    mChangedObserver = platform::ScopedObserver(kChangedNotification, [self](const platform::Notification&) {
        if (platform::isMainThread()) {
            if (self)
                self->updateAddress();
            return;
        }
        platform::runOnMain([self] {
            if (self)
                self->updateAddress();
        });
    });
    if (QNetworkInformation::loadDefaultBackend() && QNetworkInformation::instance()) {
        connect(QNetworkInformation::instance(), &QNetworkInformation::reachabilityChanged, this,
                &WiFiDriveViewController::updateAddress);
    }
    updateAddress();
}

void WiFiDriveViewController::updateAddress()
{
    const bool running = mServer && mServer->isRunning();
    const QString address = running ? mServer->serverURL() : QString();
    mAddressLabel->setText(wifiDriveAddressText(running, address, running ? mServer->bonjourServerURL() : QString()));
    mQrCode->setText(address);
    mQrCode->setVisible(!address.isEmpty());
}

void WiFiDriveViewController::switchChanged(bool on)
{
    if (!mServer)
        return;
    if (on) {
        // The empty Bonjour name publishes under this machine's own name.
        if (!mServer->startWithPort(GCDWebServer::preferredPort(), QStringLiteral("")))
            mSwitch->setChecked(false);
    } else {
        mServer->stop();
    }
    updateAddress();
}
