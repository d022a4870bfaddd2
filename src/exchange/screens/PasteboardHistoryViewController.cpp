#include "exchange/screens/PasteboardHistoryViewController.h"

#include "exchange/AudioCopyPaste1.h"
#include "exchange/LibraryPasteboard.h"
#include "library/PreviewPlayer.h"
#include "library/Utils.h"
#include "platform/Locations.h"
#include "ui/screens/ProgressHUD.h"

#include <QDialogButtonBox>
#include <QFile>
#include <QListWidget>
#include <QPushButton>
#include <QVBoxLayout>

namespace {
const QString kTitle = QStringLiteral("AudioCopy Pasteboards");

QString slotText(int slot, bool current, const std::optional<QVariantMap>& info)
{
    const QString mark = current ? QStringLiteral("\u25B6 ") : QStringLiteral("   ");
    if (!info)
        return QStringLiteral("%1%2  (empty)").arg(mark).arg(slot);
    const double seconds = info->value(AudioCopyPaste1::kDuration).toDouble();
    const int channels = info->value(AudioCopyPaste1::kChannels).toInt();
    const double tempo = info->value(AudioCopyPaste1::kTempo).toDouble();
    QString text = QStringLiteral("%1%2  %3 — %4\n      %5:%6  %7")
                       .arg(mark)
                       .arg(slot)
                       .arg(info->value(AudioCopyPaste1::kCopyName).toString(),
                            info->value(AudioCopyPaste1::kSender).toString())
                       .arg(int(seconds) / 60)
                       .arg(seconds - 60 * (int(seconds) / 60), 4, 'f', 1, QLatin1Char('0'))
                       .arg(channels == 1 ? QStringLiteral("mono") : QStringLiteral("stereo"));
    if (tempo > 0)
        text += QStringLiteral("  %1 bpm").arg(tempo);
    return text;
}
}  // namespace

PasteboardHistoryViewController::PasteboardHistoryViewController(QString folder, PreviewPlayer* preview, QWidget* parent)
    : QDialog(parent),
      mFolder(std::move(folder)),
      mPreview(preview),
      mList(new QListWidget(this)),
      mPlayButton(new QPushButton(QStringLiteral("Play"), this)),
      mPasteButton(new QPushButton(QStringLiteral("Paste"), this))
{
    setWindowTitle(kTitle);
    resize(440, 560);
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(mList, 1);
    auto* buttons = new QDialogButtonBox(this);
    buttons->addButton(mPlayButton, QDialogButtonBox::ActionRole);
    buttons->addButton(mPasteButton, QDialogButtonBox::AcceptRole);
    buttons->addButton(QDialogButtonBox::Close);
    layout->addWidget(buttons);
    mPasteButton->setToolTip(QStringLiteral("Paste the sound into this folder as a new file"));
    mPlayButton->setToolTip(QStringLiteral("Listen to the chosen slot"));
    mList->setToolTip(QStringLiteral("The twelve AudioCopy slots, the latest copy first"));
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    connect(mPlayButton, &QPushButton::clicked, this, &PasteboardHistoryViewController::playSelected);
    connect(mPasteButton, &QPushButton::clicked, this, [this] {
        if (!pasteSelected().isEmpty())
            accept();
    });
    connect(mList, &QListWidget::itemDoubleClicked, this, &PasteboardHistoryViewController::playSelected);
    connect(mList, &QListWidget::currentRowChanged, this, [this] {
        const bool filled = selectedSlot() >= 0;
        mPlayButton->setEnabled(filled);
        mPasteButton->setEnabled(filled);
    });
    reload();
}

PasteboardHistoryViewController::~PasteboardHistoryViewController() { stopPlaying(); }

void PasteboardHistoryViewController::reload()
{
    const int current = AudioCopyPaste1::getPasteIndex();
    mList->clear();
    // Newest first, as the ring is walked backwards from the current slot.
    for (int back = 0; back < AudioCopyPaste1::kHistorySlots; ++back) {
        const int slot = (current - back + AudioCopyPaste1::kHistorySlots) % AudioCopyPaste1::kHistorySlots;
        const auto info = AudioCopyPaste1::getPasteInfoForIndex(slot);
        auto* item = new QListWidgetItem(slotText(slot, slot == current, info), mList);
        item->setData(Qt::UserRole, info ? slot : -1);
        if (!info)
            item->setFlags(item->flags() & ~Qt::ItemIsEnabled);
    }
    mList->setCurrentRow(0);
    const bool filled = selectedSlot() >= 0;
    mPlayButton->setEnabled(filled);
    mPasteButton->setEnabled(filled);
}

int PasteboardHistoryViewController::selectedSlot() const
{
    const QListWidgetItem* item = mList->currentItem();
    return item ? item->data(Qt::UserRole).toInt() : -1;
}

void PasteboardHistoryViewController::stopPlaying()
{
    if (mPlayingFile.isEmpty())
        return;
    if (mPreview && mPreview->loadedPath() == mPlayingFile)
        mPreview->unload();
    QFile::remove(mPlayingFile);
    mPlayingFile.clear();
}

void PasteboardHistoryViewController::playSelected()
{
    const int slot = selectedSlot();
    const bool again = !mPlayingFile.isEmpty() && mPreview && mPreview->isPlaying();
    stopPlaying();
    if (slot < 0 || !mPreview || again)
        return;
    // The preview is written whole to a file of its own, which the player streams from.
    const QByteArray wav = AudioCopyPaste1::getPreviewDataForPasteboardName(AudioCopyPaste1::historyPasteboardName(slot));
    const QString file = platform::Locations::tempDir() + QStringLiteral("/pasteboard-preview-%1.wav").arg(slot);
    QFile out(file);
    if (wav.isEmpty() || !out.open(QIODevice::WriteOnly | QIODevice::Truncate) || out.write(wav) != wav.size()) {
        Utils::showAlert(QStringLiteral("Sorry"), QStringLiteral("Could not play this sound."));
        return;
    }
    out.close();
    mPlayingFile = file;
    if (!mPreview->playFromStart(file))
        Utils::showAlert(QStringLiteral("Sorry"), QStringLiteral("Could not play this sound."));
}

QString PasteboardHistoryViewController::pasteSelected()
{
    const int slot = selectedSlot();
    if (slot < 0)
        return {};
    stopPlaying();
    QWidget* host = parentWidget() ? parentWidget() : this;  // the overlay outlives this screen
    QPointer<ProgressHUD> hud = ProgressHUD::showWithMessage(host, QStringLiteral("Pasting Audio..."));
    const QString pasted = LibraryPasteboard::pasteHistorySlot(slot, mFolder);
    if (pasted.isEmpty()) {
        if (hud)
            hud->dismiss();
        Utils::showAlert(QStringLiteral("AudioCopy 3 failed"),
                         QStringLiteral("Could not paste a file. Please update your AudioCopy app, and report to "
                                        "Retronyms if that doesn't help."));
        return {};
    }
    if (hud)
        hud->makeAutoDismissMessage(QStringLiteral("Audio pasted as new file"));
    return pasted;
}
