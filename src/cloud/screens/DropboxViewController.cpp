#include "cloud/screens/DropboxViewController.h"

#include "cloud/DropboxClient.h"
#include "cloud/screens/DropboxTexts.h"
#include "library/PreviewPlayer.h"
#include "library/RowTexts.h"
#include "library/Utils.h"
#include "platform/Locations.h"

#include <QDir>
#include <QFile>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QPushButton>
#include <QTreeWidget>
#include <QVBoxLayout>

namespace {
enum Column { kName, kSize, kDate };
constexpr int kEntryRole = Qt::UserRole;

QString parentFolder(const QString& path)
{
    const int slash = path.lastIndexOf(QLatin1Char('/'));
    return slash <= 0 ? QString() : path.left(slash);
}
}  // namespace

DropboxViewController::DropboxViewController(cloud::DropboxClient* client, PreviewPlayer* preview, QWidget* parent)
    : QDialog(parent),
      mClient(client),
      mPreview(preview),
      mTable(new QTreeWidget(this)),
      mPath(new QLabel(this)),
      mStatus(new QLabel(this)),
      mUp(new QPushButton(DropboxTexts::upButton(), this)),
      mPlay(new QPushButton(DropboxTexts::previewButton(), this)),
      mImport(new QPushButton(DropboxTexts::importButton(1), this))
{
    setWindowTitle(DropboxTexts::browserTitle());
    setModal(true);
    resize(640, 480);
    auto* layout = new QVBoxLayout(this);
    auto* top = new QHBoxLayout;
    top->addWidget(mUp);
    top->addWidget(mPath, 1);
    layout->addLayout(top);
    mTable->setColumnCount(3);
    mTable->setHeaderLabels({QStringLiteral("Name"), QStringLiteral("Size"), QStringLiteral("Date")});
    mTable->setRootIsDecorated(false);
    mTable->setSelectionMode(QAbstractItemView::ExtendedSelection);
    mTable->header()->setSectionResizeMode(kName, QHeaderView::Stretch);
    layout->addWidget(mTable, 1);
    layout->addWidget(mStatus);
    auto* bottom = new QHBoxLayout;
    bottom->addWidget(mPlay);
    bottom->addStretch();
    auto* cancel = new QPushButton(DropboxTexts::cancel(), this);
    mUp->setToolTip(QStringLiteral("The folder above this one"));
    mPlay->setToolTip(QStringLiteral("Play the chosen sound from Dropbox without importing it"));
    mImport->setToolTip(QStringLiteral("Download the chosen items into the current library folder"));
    cancel->setToolTip(QStringLiteral("Close without importing"));
    bottom->addWidget(cancel);
    bottom->addWidget(mImport);
    layout->addLayout(bottom);
    mImport->setDefault(true);

    connect(mUp, &QPushButton::clicked, this, [this] { showFolder(parentFolder(mFolder)); });
    connect(mTable, &QTreeWidget::itemDoubleClicked, this, [this](QTreeWidgetItem* item) {
        const auto& entry = mEntries[item->data(kName, kEntryRole).toInt()];
        if (entry.isFolder)
            showFolder(entry.pathDisplay);
    });
    connect(mTable, &QTreeWidget::itemSelectionChanged, this, &DropboxViewController::selectionChanged);
    connect(mPlay, &QPushButton::clicked, this, &DropboxViewController::previewSelected);
    connect(mImport, &QPushButton::clicked, this, [this] { finish(true); });
    connect(cancel, &QPushButton::clicked, this, [this] { finish(false); });
    connect(this, &QDialog::rejected, this, [this] { finish(false); });
    selectionChanged();
}

DropboxViewController::~DropboxViewController()
{
    stopPreview();
}

void DropboxViewController::showFolder(const QString& path)
{
    mFolder = cloud::DropboxClient::apiPath(path);
    mPath->setText(mFolder.isEmpty() ? QStringLiteral("/") : mFolder);
    mUp->setEnabled(!mFolder.isEmpty());
    mTable->clear();
    mEntries.clear();
    mLoaded = false;
    mStatus->setText(DropboxTexts::loading());
    const int generation = ++mGeneration;
    mClient->listWholeFolder(mFolder, this, [this, generation](const QList<cloud::DropboxEntry>& entries,
                                                                const cloud::DropboxError& error) {
        if (generation == mGeneration)  // an older folder's answer that came late is dropped
            listed(entries, error);
    });
}

void DropboxViewController::listed(const QList<cloud::DropboxEntry>& entries, const cloud::DropboxError& error)
{
    mLoaded = true;
    if (error) {
        mStatus->setText(error.description());
        return;
    }
    mEntries = entries;
    std::sort(mEntries.begin(), mEntries.end(), [](const cloud::DropboxEntry& a, const cloud::DropboxEntry& b) {
        if (a.isFolder != b.isFolder)
            return a.isFolder;
        return a.name.compare(b.name, Qt::CaseInsensitive) < 0;
    });
    for (int i = 0; i < mEntries.size(); ++i) {
        const auto& e = mEntries[i];
        auto* item = new QTreeWidgetItem(mTable);
        item->setText(kName, e.isFolder ? e.name + QLatin1Char('/') : e.name);
        item->setData(kName, kEntryRole, i);
        if (!e.isFolder) {
            item->setText(kSize, Utils::fileSizeToString(quint64(e.size)));
            item->setText(kDate, RowTexts::dateText(e.modified.toSecsSinceEpoch()));
            item->setTextAlignment(kSize, Qt::AlignRight | Qt::AlignVCenter);
        }
    }
    mStatus->setText(mEntries.isEmpty() ? DropboxTexts::emptyFolder() : DropboxTexts::itemCount(mEntries.size()));
    selectionChanged();
}

void DropboxViewController::selectionChanged()
{
    const auto selected = mTable->selectedItems();
    mImport->setEnabled(!selected.isEmpty());
    mImport->setText(DropboxTexts::importButton(selected.size()));
    bool audio = selected.size() == 1;
    if (audio) {
        const auto& e = mEntries[selected.first()->data(kName, kEntryRole).toInt()];
        audio = !e.isFolder && Utils::fileIsAudio(e.name);
    }
    const bool playing = mPreview && !mPreviewFile.isEmpty() && mPreview->isPlaying()
                         && mPreview->loadedPath() == mPreviewFile;
    mPlay->setText(playing ? DropboxTexts::stopButton() : DropboxTexts::previewButton());
    mPlay->setEnabled(mPreview && (audio || playing));
}

void DropboxViewController::previewSelected()
{
    if (!mPreview)
        return;
    if (!mPreviewFile.isEmpty() && mPreview->isPlaying() && mPreview->loadedPath() == mPreviewFile) {
        stopPreview();
        selectionChanged();
        return;
    }
    const auto selected = mTable->selectedItems();
    if (selected.size() != 1)
        return;
    const cloud::DropboxEntry entry = mEntries[selected.first()->data(kName, kEntryRole).toInt()];
    stopPreview();
    mStatus->setText(DropboxTexts::loading());
    mClient->getTemporaryLink(entry.pathDisplay, [self = QPointer(this), entry](const QUrl& link, const cloud::DropboxError& error) {
        if (!self)
            return;
        if (error) {
            self->mStatus->setText(error.description());
            return;
        }
        // The player reads files: the linked audio is fetched into the private temporary folder.
        const QString file = QDir(platform::Locations::tempDir()).filePath(QStringLiteral("dropbox-preview.") + QFileInfo(entry.name).suffix());
        QNetworkReply* reply = self->mClient->network()->get(QNetworkRequest(link));
        connect(reply, &QNetworkReply::finished, self, [self, reply, file] {
            reply->deleteLater();
            if (reply->error() != QNetworkReply::NoError) {
                self->mStatus->setText(reply->errorString());
                return;
            }
            QFile out(file);
            if (!out.open(QIODevice::WriteOnly) || out.write(reply->readAll()) < 0) {
                self->mStatus->setText(QStringLiteral("Could not keep the preview"));
                return;
            }
            out.close();
            self->mPreviewFile = file;
            self->mStatus->clear();
            if (!self->mPreview->playFromStart(file))
                self->mStatus->setText(QStringLiteral("Could not play this file."));
            self->selectionChanged();
        });
    });
}

void DropboxViewController::stopPreview()
{
    if (mPreviewFile.isEmpty())
        return;
    if (mPreview && mPreview->loadedPath() == mPreviewFile) {
        mPreview->unload();
        mPreview->previewEnded();
    }
    QFile::remove(mPreviewFile);
    mPreviewFile.clear();
}

void DropboxViewController::finish(bool imported)
{
    if (mFinished)
        return;
    mFinished = true;
    stopPreview();
    QList<cloud::DropboxPendingEntry> picked;
    if (imported)
        for (QTreeWidgetItem* item : mTable->selectedItems()) {
            const auto& e = mEntries[item->data(kName, kEntryRole).toInt()];
            picked.append({e.pathDisplay, e.isFolder});
        }
    if (completionBlock)
        completionBlock(picked, mFolder);
    close();
}
