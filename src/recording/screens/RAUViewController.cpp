#include "recording/screens/RAUViewController.h"

#include "recording/AudioEngine.h"
#include "recording/screens/UnitImage.h"
#include "ui/screens/NavigationController.h"

#include <QCoreApplication>
#include <QDesktopServices>
#include <QLabel>
#include <QListWidget>
#include <QPushButton>
#include <QUrl>
#include <QVBoxLayout>

namespace {

constexpr int kIconSize = 40;
constexpr int kRowRole = Qt::UserRole;
const QString kBackTitle = QStringLiteral("\u2039 All units");

}  // namespace

RAUViewController::RAUViewController(RAUChooserModel model, QWidget* parent)
    : QWidget(parent), mModel(std::move(model)), mList(new QListWidget(this)), mFooter(new QLabel(this)),
      mSort(new QPushButton(this))
{
    setWindowTitle(mModel.title);
    mList->setIconSize(QSize(kIconSize, kIconSize));
    mList->setSpacing(1);
    mFooter->setWordWrap(true);
    mFooter->setAlignment(Qt::AlignCenter);
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    auto* bar = new QHBoxLayout;
    bar->addStretch();
    bar->addWidget(mSort);
    layout->addLayout(bar);
    layout->addWidget(mList, 1);
    layout->addWidget(mFooter);
    mSort->setVisible(!mModel.disableSort);
    connect(mSort, &QPushButton::clicked, this, &RAUViewController::sortPress);
    connect(mList, &QListWidget::itemClicked, this, &RAUViewController::choose);
    connect(mList, &QListWidget::itemActivated, this, &RAUViewController::choose);
    reload();
}

void RAUViewController::reload()
{
    const RAUChooserModel& m = model();
    mList->clear();
    mSort->setText(mModel.sortTitle());
    if (mGroup) {
        auto* back = new QListWidgetItem(kBackTitle, mList);
        back->setData(kRowRole, -1);
    }
    for (int section = 0; section < RAUChooserModel::kSections; ++section) {
        const QList<RAUChooserModel::Row> rows = m.rows(section);
        if (const QString header = m.sectionTitle(section); !header.isEmpty() && !mGroup) {
            auto* item = new QListWidgetItem(header.toUpper(), mList);
            item->setFlags(Qt::NoItemFlags);
            QFont font = item->font();
            font.setBold(true);
            font.setPointSizeF(font.pointSizeF() * 0.85);
            item->setFont(font);
        }
        for (int i = 0; i < rows.size(); ++i) {
            const RAUChooserModel::Row& row = rows[i];
            QString text = row.title;
            if (!row.subtitle.isEmpty())
                text += QLatin1Char('\n') + row.subtitle;
            if (row.kind == RAUChooserModel::Row::Group)
                text += QStringLiteral("  \u203A");
            auto* item = new QListWidgetItem(UnitImage::image(row.image, row.title, kIconSize), text, mList);
            item->setData(kRowRole, section * 10000 + i);
            if (row.current) {
                QFont font = item->font();
                font.setBold(true);
                item->setFont(font);
                item->setText(QStringLiteral("\u2713 ") + text);
            }
        }
    }
    mFooter->setText(m.footer());
    mFooter->setVisible(!m.footer().isEmpty());
}

void RAUViewController::sortPress()
{
    mModel.toggleSort();
    if (mGroup)
        mGroup->toggleSort();
    reload();
}

void RAUViewController::choose(QListWidgetItem* item)
{
    if (!item || !(item->flags() & Qt::ItemIsEnabled))
        return;
    const int key = item->data(kRowRole).toInt();
    if (key < 0) {
        mGroup.reset();
        setWindowTitle(mModel.title);
        reload();
        return;
    }
    const QList<RAUChooserModel::Row> rows = model().rows(key / 10000);
    const int index = key % 10000;
    if (index >= rows.size())
        return;
    const RAUChooserModel::Row row = rows[index];
    switch (row.kind) {
    case RAUChooserModel::Row::Group:
        mGroup = mModel.groupModel(row);
        setWindowTitle(mGroup->title);
        reload();
        return;
    case RAUChooserModel::Row::Download:
        QDesktopServices::openUrl(QUrl(row.download.value(QStringLiteral("url")).toString()));
        return;
    case RAUChooserModel::Row::None:
        if (selectedRAU)
            selectedRAU(this, nullptr);
        return;
    case RAUChooserModel::Row::FilePlayer:
    case RAUChooserModel::Row::Unit:
        if (selectedRAU)
            selectedRAU(this, row.unit);
        return;
    }
}

RAUViewController* RAUViewController::pushForSlot(NavigationController* navigation, int slot,
                                                 const QString& slot0Title, std::function<void()> done)
{
    auto* chooser = new RAUViewController(RAUChooserModel::forSlot(slot, slot0Title));
    chooser->selectedRAU = [navigation, slot, done](RAUViewController* self, RemoteAU::Ptr rau) {
        if (navigation)
            navigation->popToViewController(navigation->viewControllers().value(
                                                navigation->viewControllers().indexOf(self) - 1),
                                            true);
        loadRau(rau, slot, navigation ? static_cast<QObject*>(navigation) : QCoreApplication::instance(), done);
    };
    if (navigation) {
        navigation->pushViewController(chooser, true);
        navigation->setRightItem(chooser, chooser->sortButton());
    }
    return chooser;
}

void RAUViewController::loadRau(const RemoteAU::Ptr& rau, int slot, QObject* context, std::function<void()> done)
{
    AudioEngine::chooseUnits({{slot, rau, {}}}, context, [done = std::move(done)](int code, bool) {
        if (code != 0)
            AudioEngine::reportIaaError(code);
        if (done)
            done();
    });
}
