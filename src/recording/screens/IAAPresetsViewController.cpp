#include "recording/screens/IAAPresetsViewController.h"

#include "platform/Alerts.h"
#include "recording/AudioEngine.h"
#include "recording/screens/UnitImage.h"

#include <QCoreApplication>
#include <QInputDialog>
#include <QKeyEvent>
#include <QLabel>
#include <QListWidget>
#include <QMenu>
#include <QPointer>
#include <QTimer>
#include <QVBoxLayout>

namespace {

constexpr int kIconSize = 32;
constexpr int kRowRole = Qt::UserRole;
constexpr int kSaveRow = -1;
constexpr int kClearRow = -2;
// The spinner is shown for this long before the units load, so that it is seen at all.
constexpr int kSpinnerDelayMs = 100;

}  // namespace

IAAPresetsViewController::IAAPresetsViewController(QWidget* parent)
    : QWidget(parent), mList(new QListWidget(this)), mSpinner(new QLabel(QStringLiteral("Loading\u2026"), this))
{
    setWindowTitle(QStringLiteral("IAA Setups"));
    auto* header = new QLabel(QStringLiteral("INTER-APP AUDIO SETUPS"), this);
    mSpinner->setAlignment(Qt::AlignCenter);
    mSpinner->hide();
    mList->setIconSize(QSize(kIconSize * 4, kIconSize));
    mList->setContextMenuPolicy(Qt::CustomContextMenu);
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(header);
    layout->addWidget(mList, 1);
    layout->addWidget(mSpinner);
    connect(mList, &QListWidget::itemClicked, this, &IAAPresetsViewController::choose);
    connect(mList, &QListWidget::itemActivated, this, &IAAPresetsViewController::choose);
    connect(mList, &QListWidget::customContextMenuRequested, this, [this](const QPoint& at) {
        QListWidgetItem* item = mList->itemAt(at);
        const int index = item ? item->data(kRowRole).toInt() : kSaveRow;
        if (index < 0)
            return;
        QMenu menu(this);
        menu.addAction(QStringLiteral("Delete"), this, [this, index] { deleteSetup(index); });
        menu.exec(mList->viewport()->mapToGlobal(at));
    });
    refreshList();
}

void IAAPresetsViewController::refreshList()
{
    mSetups = IaaSetups::refreshList();
    mList->clear();
    auto* save = new QListWidgetItem(QStringLiteral("Save current setup"), mList);
    save->setData(kRowRole, kSaveRow);
    auto* clear = new QListWidgetItem(QStringLiteral("Clear\nEmpty all slots"), mList);
    clear->setData(kRowRole, kClearRow);
    for (int i = 0; i < mSetups.size(); ++i) {
        const IaaSetups::Setup& setup = mSetups[i];
        QList<RemoteAU::Ptr> units;
        for (const auto& unit : setup.units)
            if (unit)
                units << unit;
        QString text = setup.name;
        if (const QString sub = IaaSetups::subtitle(setup); !sub.isEmpty())
            text += QLatin1Char('\n') + sub;
        auto* item = new QListWidgetItem(QIcon(UnitImage::composite(units, kIconSize)), text, mList);
        item->setData(kRowRole, i);
    }
}

void IAAPresetsViewController::choose(QListWidgetItem* item)
{
    if (!item)
        return;
    const int row = item->data(kRowRole).toInt();
    if (row == kSaveRow)
        savePress();
    else if (row == kClearRow)
        clearPress();
    else
        loadSetup(row);
}

void IAAPresetsViewController::savePress()
{
    QInputDialog dialog(this);
    dialog.setWindowTitle(QStringLiteral("Save setup"));
    dialog.setLabelText(QStringLiteral("Name"));
    dialog.setOkButtonText(QStringLiteral("Save"));
    dialog.setCancelButtonText(QStringLiteral("Cancel"));
    if (dialog.exec() == QDialog::Accepted && !dialog.textValue().trimmed().isEmpty())
        saveSetup(dialog.textValue().trimmed());
}

void IAAPresetsViewController::saveSetup(const QString& name)
{
    if (!IaaSetups::saveCurrentSetup(name))
        platform::showAlert(QStringLiteral("Sorry"), QStringLiteral("Could not save setup to file"), this);
    refreshList();
}

void IAAPresetsViewController::clearPress() { IaaSetups::clear(); }

void IAAPresetsViewController::loadSetup(int index)
{
    if (index < 0 || index >= mSetups.size())
        return;
    const IaaSetups::Setup setup = mSetups[index];
    // Every unit goes first, so the setup's units start afresh with its settings.
    IaaSetups::clear();
    mSpinner->show();
    mList->setEnabled(false);
    QTimer::singleShot(kSpinnerDelayMs, this, [this, setup] {
        // The slots are the engine's: leaving this screen before the plugins were checked
        // still loads the setup.
        QPointer<IAAPresetsViewController> self(this);
        IaaSetups::apply(setup, QCoreApplication::instance(), [self](int code) {
            if (code != 0)
                AudioEngine::reportIaaError(code);
            if (!self)
                return;
            self->mSpinner->hide();
            self->mList->setEnabled(true);
            emit self->setupLoaded();
        });
    });
}

void IAAPresetsViewController::deleteSetup(int index)
{
    if (index < 0 || index >= mSetups.size())
        return;
    IaaSetups::remove(mSetups[index]);
    refreshList();
}

void IAAPresetsViewController::keyPressEvent(QKeyEvent* event)
{
    if (event->key() == Qt::Key_Delete && mList->currentItem()) {
        deleteSetup(mList->currentItem()->data(kRowRole).toInt());
        return;
    }
    QWidget::keyPressEvent(event);
}
