#pragma once
#include "platform/NotificationCenter.h"

#include <QWidget>

class GCDWebServer;
class QrCodeView;
class QCheckBox;
class QLabel;
class QPushButton;

// "WiFi Drive": switches the web uploader on and off and shows where browsers find it.
class WiFiDriveViewController : public QWidget {
    Q_OBJECT
public:
    static inline const QString kChangedNotification = QStringLiteral("com.orvenic.Wavelocker.wifi-changed");

    explicit WiFiDriveViewController(GCDWebServer* server, QWidget* parent = nullptr);

    QCheckBox* enableSwitch() const { return mSwitch; }
    QLabel* addressLabel() const { return mAddressLabel; }
    QPushButton* cancelButton() const { return mCancelButton; }
    // The address as a QR code, for a phone's camera; hidden while there is no address.
    QrCodeView* qrCodeView() const { return mQrCode; }

public slots:
    void updateAddress();

private:
    void switchChanged(bool on);

    GCDWebServer* mServer;
    QCheckBox* mSwitch;
    QLabel* mAddressLabel;
    QrCodeView* mQrCode;
    QPushButton* mCancelButton;
    platform::ScopedObserver mChangedObserver;
};
