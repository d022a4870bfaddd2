#pragma once
#include "platform/NotificationCenter.h"
#include "platform/Notifications.h"

#include <QWidget>

class GCDWebUploader;
class QrCodeView;
class QCheckBox;
class QLabel;
class QLineEdit;
class QPushButton;

// "WiFi Drive": switches the web uploader on and off and shows where browsers find it; sets
// or removes its password and chooses HTTPS.
class WiFiDriveViewController : public QWidget {
    Q_OBJECT
public:
    static constexpr QLatin1String kChangedNotification = notifications::kWifiChanged;

    explicit WiFiDriveViewController(GCDWebUploader* server, QWidget* parent = nullptr);

    QCheckBox* enableSwitch() const { return mSwitch; }
    QLabel* addressLabel() const { return mAddressLabel; }
    QPushButton* cancelButton() const { return mCancelButton; }
    QCheckBox* httpsSwitch() const { return mHttpsSwitch; }
    QLineEdit* passwordField() const { return mPasswordField; }
    QPushButton* setPasswordButton() const { return mSetPasswordButton; }
    QPushButton* removePasswordButton() const { return mRemovePasswordButton; }
    QLabel* passwordLabel() const { return mPasswordLabel; }
    QLabel* fingerprintLabel() const { return mFingerprintLabel; }
    // Why the drive did not start when it was switched on; hidden otherwise.
    QLabel* failureLabel() const { return mFailureLabel; }
    // The address as a QR code, for a phone's camera; hidden while there is no address.
    QrCodeView* qrCodeView() const { return mQrCode; }

public slots:
    void updateAddress();

private:
    void switchChanged(bool on);
    void httpsChanged(bool on);
    void setPassword(const QString& password);
    void updatePassword();
    // Starts the drive; when it does not start, the switch goes off and the screen says why.
    void start();

    GCDWebUploader* mServer;
    QCheckBox* mSwitch;
    QCheckBox* mHttpsSwitch;
    QLineEdit* mPasswordField;
    QPushButton* mSetPasswordButton;
    QPushButton* mRemovePasswordButton;
    QLabel* mPasswordLabel;
    QLabel* mFingerprintLabel;
    QLabel* mAddressLabel;
    QLabel* mFailureLabel;
    QrCodeView* mQrCode;
    QPushButton* mCancelButton;
    platform::ScopedObserver mChangedObserver;
};
