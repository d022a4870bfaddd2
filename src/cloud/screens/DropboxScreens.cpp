#include "cloud/screens/DropboxScreens.h"

#include "cloud/DropboxAccount.h"
#include "cloud/DropboxClient.h"
#include "cloud/DropboxConfig.h"
#include "cloud/DropboxTransfer.h"
#include "cloud/screens/DBFolderViewController.h"
#include "cloud/screens/DropboxLinkViewController.h"
#include "cloud/screens/DropboxTexts.h"
#include "cloud/screens/DropboxViewController.h"
#include "library/Utils.h"
#include "library/screens/MasterViewController.h"
#include "ui/screens/ProgressHUD.h"

#include <QMessageBox>
#include <QPushButton>

DropboxScreens::DropboxScreens(cloud::DropboxAccount* account, cloud::DropboxClient* client, QObject* parent)
    : QObject(parent), mAccount(account), mClient(client)
{
}

void DropboxScreens::linkAccount(QWidget* parent, std::function<void(bool)> done)
{
    DropboxLinkViewController::linkAccount(mAccount, mClient->network(), parent, std::move(done));
}

void DropboxScreens::unlinkAccount(QWidget* parent, std::function<void()> done)
{
    DropboxLinkViewController::unlinkAccount(mAccount, mClient->network(), parent, std::move(done));
}

void DropboxScreens::whenLinked(QWidget* parent, std::function<void()> then)
{
    if (mAccount->isLinked()) {
        then();
        return;
    }
    if (cloud::DropboxConfig::appKey().isEmpty()) {
        Utils::showAlert(DropboxTexts::notLinkedTitle(), cloud::DropboxConfig::missingAppKeyMessage(), parent);
        return;
    }
    auto* box = new QMessageBox(QMessageBox::NoIcon, DropboxTexts::notLinkedTitle(), DropboxTexts::notLinkedQuestion(),
                                QMessageBox::NoButton, parent);
    box->setAttribute(Qt::WA_DeleteOnClose);
    auto* yes = box->addButton(DropboxTexts::linkTitle(), QMessageBox::AcceptRole);
    box->addButton(DropboxTexts::cancel(), QMessageBox::RejectRole);
    connect(box, &QMessageBox::buttonClicked, this, [this, parent, yes, then = std::move(then)](QAbstractButton* b) {
        if (b != yes)
            return;
        linkAccount(parent, [then](bool linked) {
            if (linked)
                then();
        });
    });
    box->open();
}

void DropboxScreens::startTransfer(QWidget* window, const std::function<void()>& start)
{
    if (mTransfer && mTransfer->isRunning())
        return;
    auto hud = std::make_shared<QPointer<ProgressHUD>>();
    cloud::DropboxTransfer::Display display;
    display.open = [this, window, hud](const QString& message) {
        QPointer<cloud::DropboxTransfer> transfer = mTransfer;
        *hud = ProgressHUD::showWithMessage(window, message, [transfer] {
            if (transfer)
                transfer->cancel();
        });
        (*hud)->setProgress(0.0f);
    };
    display.label = [hud](const QString& label) {
        if (*hud)
            (*hud)->setMessage(label);
    };
    display.progress = [hud](float f) {
        if (*hud)
            (*hud)->setProgress(f);
    };
    display.done = [hud](const QString& message) {
        if (*hud)
            (*hud)->makeAutoDismissMessage(message);
    };
    display.finish = [hud](const QString& message) {
        if (*hud)
            (*hud)->makeDismissMessage(message);
    };
    display.close = [hud] {
        if (*hud)
            (*hud)->dismiss();
    };
    display.alert = [window](const QString& title, const QString& message) { Utils::showAlert(title, message, window); };
    if (mTransfer)
        mTransfer->deleteLater();
    mTransfer = new cloud::DropboxTransfer(mClient, display, this);
    start();
}

void DropboxScreens::importFromDropbox(MasterViewController* browser)
{
    QPointer<MasterViewController> target = browser;
    whenLinked(browser->window(), [this, target] {
        if (!target)
            return;
        auto* picker = new DropboxViewController(mClient, target->previewPlayer(), target->window());
        picker->setAttribute(Qt::WA_DeleteOnClose);
        picker->completionBlock = [this, target](const QList<cloud::DropboxPendingEntry>& picked, const QString& base) {
            if (picked.isEmpty() || !target)
                return;
            const QString folder = target->folder();
            startTransfer(target->window(), [this, picked, base, folder] { mTransfer->importItems(picked, base, folder); });
        };
        picker->showFolder(QString());
        picker->open();
    });
}

void DropboxScreens::exportToDropbox(MasterViewController* browser, const QStringList& paths)
{
    QPointer<MasterViewController> target = browser;
    whenLinked(browser->window(), [this, target, paths] {
        if (!target)
            return;
        auto* picker = new DBFolderViewController(mClient, paths.size(), target->window());
        picker->setAttribute(Qt::WA_DeleteOnClose);
        picker->completionBlock = [this, target, paths](const QString& destination) {
            if (destination.isNull() || !target)
                return;
            QSet<cloud::DropboxPendingEntry> files;
            for (const QString& path : paths)
                cloud::DropboxTransfer::scanFilesRecurse(path, files);
            const QString folder = target->folder();
            startTransfer(target->window(),
                          [this, files, folder, destination] { mTransfer->dropboxUpload(files, folder, destination); });
        };
        picker->showFolder(QString());
        picker->open();
    });
}
