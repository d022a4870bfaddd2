#include "wifidrive/screens/WiFiDriveViewController.h"

#include "platform/MainThreadObserver.h"
#include "wifidrive/GCDWebUploader.h"
#include "wifidrive/WiFiDriveSettings.h"
#include "wifidrive/screens/QrCodeView.h"
#include "wifidrive/WiFiDriveAddressText.h"

#include <QCheckBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QNetworkInformation>
#include <QPointer>
#include <QPushButton>
#include <QSignalBlocker>
#include <QVBoxLayout>

namespace {

const QString kTitle = QStringLiteral("WiFi Drive");
const QString kExplanation = QStringLiteral(
    "Enable transfers between Wavelocker and computers on your local network via web browser, while Wavelocker "
    "is running.");
const QString kCancel = QStringLiteral("Cancel");
const QString kSwitchLabel = QStringLiteral("WiFi Drive");
const QString kHttpsLabel = QStringLiteral("Use HTTPS (with a certificate of its own; browsers ask you to trust it once)");
const QString kPasswordPlaceholder = QStringLiteral("Password");
const QString kSetPassword = QStringLiteral("Set Password");
const QString kRemovePassword = QStringLiteral("Remove Password");
const QString kNoPassword = QStringLiteral("No password: anyone on your network can use the drive.");
const QString kPasswordSet = QStringLiteral("Browsers ask for the password.");
constexpr int kFingerprintHalf = 48;  // sixteen "AB:" groups
const QString kFingerprintFormat = QStringLiteral("Certificate fingerprint (SHA-256):\n%1");
const QString kFailureFormat = QStringLiteral("The WiFi drive could not start. %1");

}  // namespace

WiFiDriveViewController::WiFiDriveViewController(GCDWebUploader* server, QWidget* parent)
    : QWidget(parent), mServer(server)
{
    setWindowTitle(kTitle);
    mCancelButton = new QPushButton(kCancel, this);
    connect(mCancelButton, &QPushButton::clicked, this, &QWidget::close);

    auto* explanation = new QLabel(kExplanation, this);
    explanation->setWordWrap(true);
    mSwitch = new QCheckBox(kSwitchLabel, this);
    mSwitch->setChecked(mServer && mServer->isRunning());
    mSwitch->setToolTip(QStringLiteral("Serve the library to web browsers on this network"));
    connect(mSwitch, &QCheckBox::toggled, this, &WiFiDriveViewController::switchChanged);
    mAddressLabel = new QLabel(this);
    mAddressLabel->setAlignment(Qt::AlignCenter);
    mAddressLabel->setTextInteractionFlags(Qt::TextSelectableByMouse);
    mFailureLabel = new QLabel(this);
    mFailureLabel->setWordWrap(true);
    mFailureLabel->setAlignment(Qt::AlignCenter);
    mFailureLabel->setTextInteractionFlags(Qt::TextSelectableByMouse);
    mFailureLabel->hide();
    mQrCode = new QrCodeView(this);
    mFingerprintLabel = new QLabel(this);
    mFingerprintLabel->setAlignment(Qt::AlignCenter);
    mFingerprintLabel->setWordWrap(true);
    mFingerprintLabel->setTextInteractionFlags(Qt::TextSelectableByMouse);

    mHttpsSwitch = new QCheckBox(kHttpsLabel, this);
    mHttpsSwitch->setChecked(mServer && mServer->usesHttps());
    mHttpsSwitch->setToolTip(QStringLiteral("Encrypt the connection; browsers ask once to trust this computer's certificate"));
    connect(mHttpsSwitch, &QCheckBox::toggled, this, &WiFiDriveViewController::httpsChanged);
    mPasswordLabel = new QLabel(this);
    mPasswordLabel->setWordWrap(true);
    mPasswordField = new QLineEdit(this);
    mPasswordField->setEchoMode(QLineEdit::Password);
    mPasswordField->setPlaceholderText(kPasswordPlaceholder);
    mSetPasswordButton = new QPushButton(kSetPassword, this);
    mRemovePasswordButton = new QPushButton(kRemovePassword, this);
    mPasswordField->setToolTip(QStringLiteral("The password web browsers must give before they see the library"));
    mSetPasswordButton->setToolTip(QStringLiteral("Ask browsers for this password from now on"));
    mRemovePasswordButton->setToolTip(QStringLiteral("Let browsers in without a password"));
    mCancelButton->setToolTip(QStringLiteral("Close this screen; the drive keeps its state"));
    connect(mPasswordField, &QLineEdit::textChanged, this, &WiFiDriveViewController::updatePassword);
    connect(mPasswordField, &QLineEdit::returnPressed, mSetPasswordButton, &QPushButton::click);
    connect(mSetPasswordButton, &QPushButton::clicked, this, [this] { setPassword(mPasswordField->text()); });
    connect(mRemovePasswordButton, &QPushButton::clicked, this, [this] { setPassword(QString()); });
    auto* password = new QHBoxLayout;
    password->addWidget(mPasswordField, 1);
    password->addWidget(mSetPasswordButton);
    password->addWidget(mRemovePasswordButton);

    auto* top = new QHBoxLayout;
    top->addWidget(mCancelButton);
    top->addStretch();
    auto* layout = new QVBoxLayout(this);
    layout->addLayout(top);
    layout->addWidget(explanation);
    layout->addWidget(mSwitch);
    layout->addWidget(mAddressLabel);
    layout->addWidget(mFailureLabel);
    layout->addWidget(mQrCode, 0, Qt::AlignHCenter);
    layout->addWidget(mFingerprintLabel);
    layout->addWidget(mHttpsSwitch);
    layout->addWidget(mPasswordLabel);
    layout->addLayout(password);
    layout->addStretch();

    // The server's callbacks post on the main thread; a poster on another thread must not
    // touch the label.
    mChangedObserver = platform::observeOnMain(kChangedNotification, this,
                                                        [this](const platform::Notification&) { updateAddress(); });
    if (QNetworkInformation::loadDefaultBackend() && QNetworkInformation::instance()) {
        connect(QNetworkInformation::instance(), &QNetworkInformation::reachabilityChanged, this,
                &WiFiDriveViewController::updateAddress);
    }
    updateAddress();
    updatePassword();
}

void WiFiDriveViewController::updatePassword()
{
    const bool has = mServer && mServer->hasPassword();
    mPasswordLabel->setText(has ? kPasswordSet : kNoPassword);
    mSetPasswordButton->setEnabled(mServer && !mPasswordField->text().isEmpty());
    mRemovePasswordButton->setEnabled(has);
}

void WiFiDriveViewController::setPassword(const QString& password)
{
    if (!mServer)
        return;
    WiFiDriveSettings::setPassword(*mServer, password);
    mPasswordField->clear();
    updatePassword();
}

void WiFiDriveViewController::httpsChanged(bool on)
{
    if (!mServer)
        return;
    WiFiDriveSettings::setHttps(*mServer, on);
    // A running drive starts again in the other mode, on its new address.
    if (mServer->isRunning()) {
        mServer->stop();
        start();
    }
    updateAddress();
}

void WiFiDriveViewController::start()
{
    // The empty Bonjour name publishes under this machine's own name.
    const bool started = mServer->startWithPort(GCDWebServer::preferredPort(), QStringLiteral(""));
    if (!started) {
        const QSignalBlocker quiet(mSwitch);
        mSwitch->setChecked(false);
    }
    mFailureLabel->setText(started ? QString() : kFailureFormat.arg(mServer->startFailure()));
    mFailureLabel->setVisible(!started);
}

void WiFiDriveViewController::updateAddress()
{
    const bool running = mServer && mServer->isRunning();
    const QString address = running ? mServer->serverURL() : QString();
    mAddressLabel->setText(wifiDriveAddressText(running, address, running ? mServer->bonjourServerURL() : QString()));
    mQrCode->setText(address);
    mQrCode->setVisible(!address.isEmpty());
    const QString fingerprint = running ? mServer->certificateFingerprint() : QString();
    QString shown = fingerprint;
    if (shown.size() > kFingerprintHalf)
        shown.insert(kFingerprintHalf, QLatin1Char('\n'));  // 95 characters without a space fit no line
    mFingerprintLabel->setText(fingerprint.isEmpty() ? QString() : kFingerprintFormat.arg(shown));
    mFingerprintLabel->setVisible(!fingerprint.isEmpty());
}

void WiFiDriveViewController::switchChanged(bool on)
{
    if (!mServer)
        return;
    if (on) {
        start();
    } else {
        mServer->stop();
        mFailureLabel->hide();
    }
    updateAddress();
}
