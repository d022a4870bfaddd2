#include "library/screens/MusicPickerViewController.h"

#include <QDialogButtonBox>
#include <QListWidget>
#include <QPushButton>
#include <QVBoxLayout>

namespace {
const QSize kPreferredSize(500, 600);
}

MusicPickerViewController::MusicPickerViewController(const QList<MusicTrack>& tracks, QWidget* parent)
    : QDialog(parent), mTracks(tracks), mList(new QListWidget(this))
{
    setModal(true);
    setWindowTitle(QStringLiteral("Music"));
    resize(kPreferredSize);
    for (const MusicTrack& t : tracks)
        mList->addItem(t.artist.isEmpty() ? t.title : QStringLiteral("%1\n%2").arg(t.title, t.artist));
    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Cancel, this);
    QPushButton* import = buttons->addButton(QStringLiteral("Import"), QDialogButtonBox::AcceptRole);
    import->setEnabled(false);
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(mList);
    layout->addWidget(buttons);
    connect(mList, &QListWidget::currentRowChanged, import, [import](int row) { import->setEnabled(row >= 0); });
    connect(mList, &QListWidget::itemDoubleClicked, this, &MusicPickerViewController::pick);
    connect(buttons, &QDialogButtonBox::accepted, this, &MusicPickerViewController::pick);
    connect(buttons, &QDialogButtonBox::rejected, this, [this] { finish({}); });
}

void MusicPickerViewController::pick()
{
    const int row = mList->currentRow();
    finish(row >= 0 ? QList<MusicTrack>{mTracks[row]} : QList<MusicTrack>{});
}

void MusicPickerViewController::finish(const QList<MusicTrack>& picked)
{
    if (mFinished)
        return;
    mFinished = true;
    if (picked.isEmpty())
        reject();
    else
        accept();
    if (completionBlock)
        completionBlock(picked);
}
