#pragma once
#include "cloud/DropboxTransfer.h"
#include "library/DropboxScreen.h"

#include <QObject>
#include <QPointer>

class QWidget;

namespace cloud {
class DropboxAccount;
class DropboxClient;
}  // namespace cloud

// The window's Dropbox screens for the library browser: asks to link first when needed, opens
// the browsing screen or the destination picker, and runs the transfer under the progress
// overlay, where Cancel stops it.
class DropboxScreens : public QObject, public DropboxScreen {
    Q_OBJECT
public:
    DropboxScreens(cloud::DropboxAccount* account, cloud::DropboxClient* client, QObject* parent = nullptr);

    void importFromDropbox(MasterViewController* browser) override;
    void exportToDropbox(MasterViewController* browser, const QStringList& paths) override;

    // Link and unlink, for the settings screen and first use.
    void linkAccount(QWidget* parent, std::function<void(bool linked)> done = {});
    void unlinkAccount(QWidget* parent, std::function<void()> done = {});

    cloud::DropboxTransfer* transfer() const { return mTransfer; }
    cloud::DropboxAccount* account() const { return mAccount; }

private:
    // Runs then() once the account is linked (asking to link when it is not).
    void whenLinked(QWidget* parent, std::function<void()> then);
    void startTransfer(QWidget* window, const std::function<void()>& start);

    cloud::DropboxAccount* mAccount;
    cloud::DropboxClient* mClient;
    QPointer<cloud::DropboxTransfer> mTransfer;
};
