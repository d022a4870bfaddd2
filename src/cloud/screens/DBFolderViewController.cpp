#include "cloud/screens/DBFolderViewController.h"

#include "cloud/DropboxClient.h"
#include "cloud/screens/DropboxTexts.h"
#include "library/screens/EditNameViewController.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QListWidget>
#include <QPushButton>
#include <QVBoxLayout>

namespace {
constexpr int kPathRole = Qt::UserRole;
}

DBFolderViewController::DBFolderViewController(cloud::DropboxClient* client, int itemCount, QWidget* parent)
    : QDialog(parent),
      mClient(client),
      mTable(new QListWidget(this)),
      mPath(new QLabel(this)),
      mStatus(new QLabel(this)),
      mUp(new QPushButton(DropboxTexts::upButton(), this)),
      mNewFolder(new QPushButton(DropboxTexts::newFolderButton(), this)),
      mExport(new QPushButton(DropboxTexts::exportHere(itemCount), this))
{
    setWindowTitle(DropboxTexts::destinationTitle());
    setModal(true);
    resize(480, 420);
    auto* layout = new QVBoxLayout(this);
    auto* top = new QHBoxLayout;
    top->addWidget(mUp);
    top->addWidget(mPath, 1);
    top->addWidget(mNewFolder);
    layout->addLayout(top);
    layout->addWidget(mTable, 1);
    layout->addWidget(mStatus);
    auto* bottom = new QHBoxLayout;
    bottom->addStretch();
    auto* cancel = new QPushButton(DropboxTexts::cancel(), this);
    mUp->setToolTip(QStringLiteral("The folder above this one"));
    mNewFolder->setToolTip(QStringLiteral("Make a folder in Dropbox here"));
    mExport->setToolTip(QStringLiteral("Upload the items into the folder shown"));
    cancel->setToolTip(QStringLiteral("Close without uploading"));
    bottom->addWidget(cancel);
    bottom->addWidget(mExport);
    layout->addLayout(bottom);
    mExport->setDefault(true);

    connect(mUp, &QPushButton::clicked, this, [this] {
        const int slash = mFolder.lastIndexOf(QLatin1Char('/'));
        showFolder(slash <= 0 ? QString() : mFolder.left(slash));
    });
    connect(mTable, &QListWidget::itemDoubleClicked, this,
            [this](QListWidgetItem* item) { showFolder(item->data(kPathRole).toString()); });
    connect(mNewFolder, &QPushButton::clicked, this, [this] {
        auto* editor = new EditNameViewController(this);
        editor->setAttribute(Qt::WA_DeleteOnClose);
        editor->setWindowTitle(DropboxTexts::newFolderButton());
        editor->setButtonTitle(QStringLiteral("Create"));
        editor->setName(DropboxTexts::newFolderName());
        editor->completionBlock = [this](const QString& name) {
            if (!name.isNull())
                createFolder(name);
        };
        editor->open();
    });
    connect(mExport, &QPushButton::clicked, this, [this] { finish(mFolder.isEmpty() ? QStringLiteral("") : mFolder); });
    connect(cancel, &QPushButton::clicked, this, [this] { finish(QString()); });
    connect(this, &QDialog::rejected, this, [this] { finish(QString()); });
}

void DBFolderViewController::showFolder(const QString& path)
{
    mFolder = cloud::DropboxClient::apiPath(path);
    mPath->setText(mFolder.isEmpty() ? QStringLiteral("/") : mFolder);
    mUp->setEnabled(!mFolder.isEmpty());
    mTable->clear();
    mLoaded = false;
    mStatus->setText(DropboxTexts::loading());
    const int generation = ++mGeneration;
    mClient->listWholeFolder(mFolder, this, [this, generation](const QList<cloud::DropboxEntry>& entries,
                                                                const cloud::DropboxError& error) {
        if (generation != mGeneration)
            return;
        mLoaded = true;
        if (error) {
            mStatus->setText(error.description());
            return;
        }
        QList<cloud::DropboxEntry> folders;
        for (const auto& e : entries)
            if (e.isFolder)
                folders.append(e);
        std::sort(folders.begin(), folders.end(), [](const auto& a, const auto& b) {
            return a.name.compare(b.name, Qt::CaseInsensitive) < 0;
        });
        for (const auto& f : folders) {
            auto* item = new QListWidgetItem(f.name + QLatin1Char('/'), mTable);
            item->setData(kPathRole, f.pathDisplay);
        }
        mStatus->clear();
    });
}

void DBFolderViewController::createFolder(const QString& name)
{
    const QString clean = name.trimmed();
    if (clean.isEmpty() || clean.contains(QLatin1Char('/')) || clean == QLatin1String(".") || clean == QLatin1String("..")) {
        mStatus->setText(QStringLiteral("'%1' is not a folder name Dropbox accepts.").arg(name));
        return;
    }
    mClient->createFolder(mFolder + QLatin1Char('/') + clean,
                          [self = QPointer(this)](const cloud::DropboxEntry& entry, const cloud::DropboxError& error) {
                              if (!self)
                                  return;
                              if (error)
                                  self->mStatus->setText(error.description());
                              else
                                  self->showFolder(entry.pathDisplay);
                          });
}

void DBFolderViewController::finish(const QString& destination)
{
    if (mFinished)
        return;
    mFinished = true;
    if (completionBlock)
        completionBlock(destination);
    close();
}
