#include "library/screens/FolderViewController.h"

#include "library/screens/EditNameViewController.h"
#include "library/FileActions.h"
#include "library/Utils.h"

#include <QDialogButtonBox>
#include <QDir>
#include <QFileInfo>
#include <QPushButton>
#include <QSet>
#include <QTreeWidget>
#include <QVBoxLayout>

namespace {
const int kPathRole = Qt::UserRole;
const QSize kPreferredSize(420, 480);

void addFolders(QTreeWidgetItem* parent, const QString& path, QSet<QString>& seen)
{
    // Each real folder once, so a link to an ancestor cannot make the tree endless.
    const QString canonical = QFileInfo(path).canonicalFilePath();
    if (canonical.isEmpty() || seen.contains(canonical))
        return;
    seen.insert(canonical);
    const QStringList names = QDir(path).entryList(QDir::Dirs | QDir::NoDotAndDotDot, QDir::Name | QDir::IgnoreCase);
    for (const QString& name : names) {
        const QString child = path + QLatin1Char('/') + name;
        auto* item = new QTreeWidgetItem(parent, {name});
        item->setData(0, kPathRole, child);
        addFolders(item, child, seen);
    }
}
}  // namespace

FolderViewController::FolderViewController(QWidget* parent)
    : QDialog(parent), mTree(new QTreeWidget(this)), mConfirm(new QPushButton(tr("Move Here"), this))
{
    setModal(true);
    resize(kPreferredSize);
    mTree->setHeaderHidden(true);
    auto* buttons = new QDialogButtonBox(this);
    auto* create = buttons->addButton(QStringLiteral("New Folder"), QDialogButtonBox::ActionRole);
    buttons->addButton(mConfirm, QDialogButtonBox::AcceptRole);
    buttons->addButton(QDialogButtonBox::Cancel);
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(mTree);
    layout->addWidget(buttons);

    connect(create, &QPushButton::clicked, this, &FolderViewController::newFolder);
    connect(buttons, &QDialogButtonBox::accepted, this, [this] { finish(selectedPath()); });
    connect(buttons, &QDialogButtonBox::rejected, this, [this] { finish(QString()); });
    reload(Utils::documentsURL());
}

void FolderViewController::setButtonTitle(const QString& title) { mConfirm->setText(title); }

QString FolderViewController::selectedPath() const
{
    const QTreeWidgetItem* item = mTree->currentItem();
    return item ? item->data(0, kPathRole).toString() : QString();
}

bool FolderViewController::selectPath(const QString& path)
{
    for (QTreeWidgetItemIterator it(mTree); *it; ++it) {
        if ((*it)->data(0, kPathRole).toString() == path) {
            mTree->setCurrentItem(*it);
            mTree->scrollToItem(*it);
            return true;
        }
    }
    return false;
}

void FolderViewController::newFolder()
{
    const QString parentFolder = selectedPath().isEmpty() ? Utils::documentsURL() : selectedPath();
    auto* editor = new EditNameViewController(this);
    editor->setAttribute(Qt::WA_DeleteOnClose);
    editor->setWindowTitle(QStringLiteral("Create Folder"));
    editor->setButtonTitle(QStringLiteral("Create"));
    editor->setName(QStringLiteral("New Folder"));
    editor->completionBlock = [this, parentFolder](const QString& name) {
        if (name.isNull())
            return;
        const QString created = FileActions::createFolder(parentFolder, name);
        if (!created.isEmpty())
            reload(created);
    };
    editor->open();
}

void FolderViewController::reload(const QString& selectAfter)
{
    mTree->clear();
    const QString root = Utils::documentsURL();
    auto* top = new QTreeWidgetItem(mTree, {QStringLiteral("Library")});
    top->setData(0, kPathRole, root);
    QSet<QString> seen;
    addFolders(top, root, seen);
    mTree->expandItem(top);
    if (!selectPath(selectAfter))
        mTree->setCurrentItem(top);
}

void FolderViewController::finish(const QString& path)
{
    if (mFinished)
        return;
    mFinished = true;
    if (path.isNull())
        reject();
    else
        accept();
    if (completionBlock)
        completionBlock(path);
}
