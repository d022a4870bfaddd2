#pragma once
#include <QDialog>
#include <functional>

class QLineEdit;
class QPushButton;
class QLabel;

namespace cloud {
class DropboxAccount;
class DropboxLink;
}  // namespace cloud
class QNetworkAccessManager;

// Links the Dropbox account: the system browser opens Dropbox's page and the answer comes
// back by itself; a code pasted from a browser elsewhere does the same. The outcome is told
// as the program always tells it ("Dropbox" / linked, the cancel log, "Could not link Dropbox").
class DropboxLinkViewController : public QDialog {
    Q_OBJECT
public:
    DropboxLinkViewController(cloud::DropboxAccount* account, QNetworkAccessManager* network, QWidget* parent = nullptr);

    // Starts linking; false (the alert shown) when it cannot start, e.g. without an app key.
    bool start();
    // Once: whether the account is now linked.
    std::function<void(bool linked)> completionBlock;

    QLineEdit* codeField() const { return mCode; }
    QLineEdit* addressField() const { return mAddress; }
    cloud::DropboxLink* link() const { return mLink; }

    // The whole flow for a screen: asks for nothing, shows the dialog, reports the outcome.
    static void linkAccount(cloud::DropboxAccount* account, QNetworkAccessManager* network, QWidget* parent,
                            std::function<void(bool linked)> done = {});
    // Asks, then unlinks (revoking the token at Dropbox).
    static void unlinkAccount(cloud::DropboxAccount* account, QNetworkAccessManager* network, QWidget* parent,
                              std::function<void()> done = {});

private:
    void done(bool linked);

    cloud::DropboxLink* mLink;
    QLineEdit* mAddress;
    QLineEdit* mCode;
    QPushButton* mLinkButton;
    bool mDone = false;
};
