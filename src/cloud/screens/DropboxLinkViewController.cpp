#include "cloud/screens/DropboxLinkViewController.h"

#include "cloud/DropboxAccount.h"
#include "cloud/DropboxLink.h"
#include "cloud/screens/DropboxTexts.h"
#include "library/Utils.h"

#include <QDesktopServices>
#include <QDialogButtonBox>
#include <QLabel>
#include <QLineEdit>
#include <QMessageBox>
#include <QPushButton>
#include <QVBoxLayout>

DropboxLinkViewController::DropboxLinkViewController(cloud::DropboxAccount* account, QNetworkAccessManager* network,
                                                     QWidget* parent)
    : QDialog(parent),
      mLink(new cloud::DropboxLink(account, network, this)),
      mAddress(new QLineEdit(this)),
      mCode(new QLineEdit(this))
{
    setWindowTitle(DropboxTexts::linkTitle());
    setModal(true);
    auto* layout = new QVBoxLayout(this);
    auto* text = new QLabel(DropboxTexts::linkExplanation(), this);
    text->setWordWrap(true);
    layout->addWidget(text);
    mAddress->setReadOnly(true);
    layout->addWidget(mAddress);
    mCode->setPlaceholderText(DropboxTexts::codePlaceholder());
    layout->addWidget(mCode);
    auto* buttons = new QDialogButtonBox(this);
    auto* again = buttons->addButton(DropboxTexts::openBrowserButton(), QDialogButtonBox::ActionRole);
    mLinkButton = buttons->addButton(DropboxTexts::linkButton(), QDialogButtonBox::AcceptRole);
    buttons->addButton(DropboxTexts::cancel(), QDialogButtonBox::RejectRole);
    mLinkButton->setEnabled(false);
    layout->addWidget(buttons);
    setMinimumWidth(520);

    connect(mCode, &QLineEdit::textChanged, this, [this](const QString& t) { mLinkButton->setEnabled(!t.trimmed().isEmpty()); });
    connect(again, &QPushButton::clicked, this, [this] { QDesktopServices::openUrl(mLink->authorizeUrl()); });
    connect(buttons, &QDialogButtonBox::accepted, this, [this] {
        mLinkButton->setEnabled(false);
        mLink->submitCode(mCode->text());
    });
    connect(buttons, &QDialogButtonBox::rejected, this, [this] { mLink->cancel(); });
    connect(mLink, &cloud::DropboxLink::finished, this, [this](cloud::DropboxLink::Outcome outcome, const QString& why) {
        switch (outcome) {
        case cloud::DropboxLink::Outcome::Success:
            Utils::showAlert(cloud::DropboxLink::successTitle(), cloud::DropboxLink::successMessage(), parentWidget());
            done(true);
            break;
        case cloud::DropboxLink::Outcome::Cancelled: done(false); break;  // logged by the link
        case cloud::DropboxLink::Outcome::Error:
            Utils::showAlert(cloud::DropboxLink::errorTitle(), why, parentWidget());
            done(false);
            break;
        }
    });
}

bool DropboxLinkViewController::start()
{
    if (!mLink->begin()) {
        Utils::showAlert(cloud::DropboxLink::errorTitle(), mLink->errorString(), parentWidget());
        return false;
    }
    mAddress->setText(mLink->pasteCodeUrl().toString(QUrl::FullyEncoded));
    QDesktopServices::openUrl(mLink->authorizeUrl());
    return true;
}

void DropboxLinkViewController::done(bool linked)
{
    if (mDone)
        return;
    mDone = true;
    if (completionBlock)
        completionBlock(linked);
    close();
}

void DropboxLinkViewController::linkAccount(cloud::DropboxAccount* account, QNetworkAccessManager* network,
                                            QWidget* parent, std::function<void(bool)> done)
{
    auto* screen = new DropboxLinkViewController(account, network, parent);
    screen->setAttribute(Qt::WA_DeleteOnClose);
    screen->completionBlock = std::move(done);
    if (!screen->start()) {
        if (screen->completionBlock)
            screen->completionBlock(false);
        screen->mDone = true;
        screen->close();
        return;
    }
    screen->open();
}

void DropboxLinkViewController::unlinkAccount(cloud::DropboxAccount* account, QNetworkAccessManager* network,
                                              QWidget* parent, std::function<void()> done)
{
    auto* box = new QMessageBox(QMessageBox::NoIcon, DropboxTexts::notLinkedTitle(), DropboxTexts::unlinkQuestion(),
                                QMessageBox::NoButton, parent);
    box->setAttribute(Qt::WA_DeleteOnClose);
    auto* yes = box->addButton(QStringLiteral("Unlink"), QMessageBox::AcceptRole);
    box->addButton(DropboxTexts::cancel(), QMessageBox::RejectRole);
    QObject::connect(box, &QMessageBox::buttonClicked, account, [account, network, yes, done](QAbstractButton* b) {
        if (b != yes)
            return;
        account->unlink(network, done);
    });
    box->open();
}
