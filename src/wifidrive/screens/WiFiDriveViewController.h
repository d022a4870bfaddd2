#pragma once
#include "platform/NotificationCenter.h"
#include "platform/Notifications.h"

#include <QWidget>

class GCDWebServer;
class QCheckBox;
class QLabel;
class QPushButton;

// "WiFi Drive": switches the web uploader on and off and shows where browsers find it.
class WiFiDriveViewController : public QWidget {
    Q_OBJECT
public:
    static constexpr QLatin1String kChangedNotification = notifications::kWifiChanged;

    explicit WiFiDriveViewController(GCDWebServer* server, QWidget* parent = nullptr);

    QCheckBox* enableSwitch() const { return mSwitch; }
    QLabel* addressLabel() const { return mAddressLabel; }
    QPushButton* cancelButton() const { return mCancelButton; }

public slots:
    void updateAddress();

private:
    void switchChanged(bool on);

    GCDWebServer* mServer;
    QCheckBox* mSwitch;
    QLabel* mAddressLabel;
    QPushButton* mCancelButton;
    platform::ScopedObserver mChangedObserver;
};
