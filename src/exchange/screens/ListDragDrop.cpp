#include "exchange/screens/ListDragDrop.h"

#include "exchange/DesktopClipboardData.h"
#include "library/FileListModel.h"

#include <QAbstractItemView>
#include <QApplication>
#include <QDrag>
#include <QDropEvent>
#include <QFrame>
#include <QKeyEvent>
#include <QMimeData>
#include <QMouseEvent>

ListDragDrop::ListDragDrop(QAbstractItemView* list, std::function<QString()> folder, std::function<QStringList()> pickedPaths)
    : QObject(list), mList(list), mFolder(std::move(folder)), mPickedPaths(std::move(pickedPaths))
{
    list->viewport()->setAcceptDrops(true);
    list->viewport()->installEventFilter(this);
    list->installEventFilter(this);
}

bool ListDragDrop::acceptsDrop(const QMimeData* data)
{
    // Our own drag lands back in the folder it came from: nothing to copy.
    return data && !DesktopClipboardData::isOurs(data)
           && (!DesktopClipboardData::filesFromMimeData(data).isEmpty()
               || !DesktopClipboardData::wavBytesFromMimeData(data).isEmpty());
}

QStringList ListDragDrop::itemsToDrag(const QPoint& pos) const
{
    const QModelIndex index = mList->indexAt(pos);
    if (!index.isValid())
        return {};
    const QString path = index.data(FileListModel::PathRole).toString();
    const QStringList picked = mPickedPaths ? mPickedPaths() : QStringList();
    if (!picked.isEmpty() && (path.isEmpty() || picked.contains(path)))
        return picked;
    return path.isEmpty() ? QStringList() : QStringList{path};
}

QString ListDragDrop::moveTarget(const QMimeData* data, const QPoint& pos) const
{
    if (!DesktopClipboardData::isOurs(data))
        return {};
    const QModelIndex index = mList->indexAt(pos);
    if (!index.isValid() || !index.data(FileListModel::IsFolderRole).toBool())
        return {};
    const QString folder = index.data(FileListModel::PathRole).toString();
    const QStringList items = DesktopClipboardData::filesFromMimeData(data);
    bool allThereAlready = !items.isEmpty();
    for (const QString& item : items) {
        // Not into itself or below itself.
        if (folder == item || folder.startsWith(item + QLatin1Char('/')))
            return {};
        allThereAlready = allThereAlready && item.left(item.lastIndexOf(QLatin1Char('/'))) == folder;
    }
    return items.isEmpty() || allThereAlready ? QString() : folder;
}

void ListDragDrop::outlineTarget(const QPoint& pos, bool show)
{
    if (!show) {
        if (mTargetOutline)
            mTargetOutline->hide();
        return;
    }
    if (!mTargetOutline) {
        mTargetOutline = new QFrame(mList->viewport());
        mTargetOutline->setAttribute(Qt::WA_TransparentForMouseEvents);
        mTargetOutline->setStyleSheet(QStringLiteral("QFrame { border: 2px solid palette(highlight); border-radius: 4px; }"));
    }
    mTargetOutline->setGeometry(mList->visualRect(mList->indexAt(pos)));
    mTargetOutline->show();
    mTargetOutline->raise();
}

bool ListDragDrop::eventFilter(QObject* watched, QEvent* event)
{
    if (watched == mList) {
        if (event->type() == QEvent::KeyPress) {
            auto* key = static_cast<QKeyEvent*>(event);
            if (key->matches(QKeySequence::Copy) || key->matches(QKeySequence::Cut)) {
                const QStringList picked = mPickedPaths ? mPickedPaths() : QStringList();
                if (!picked.isEmpty() && key->matches(QKeySequence::Cut))
                    emit cutRequested(picked);
                else if (!picked.isEmpty())
                    emit copyRequested(picked);
                return true;
            }
            if (key->matches(QKeySequence::Paste)) {
                emit pasteRequested(mFolder());
                return true;
            }
        }
        return false;
    }
    switch (event->type()) {
    case QEvent::MouseButtonPress: {
        auto* mouse = static_cast<QMouseEvent*>(event);
        mPressed = mouse->button() == Qt::LeftButton && mList->indexAt(mouse->position().toPoint()).isValid();
        mPressAt = mouse->position().toPoint();
        return false;
    }
    case QEvent::MouseButtonRelease: mPressed = false; return false;
    case QEvent::MouseMove: {
        auto* mouse = static_cast<QMouseEvent*>(event);
        if (!mPressed || !(mouse->buttons() & Qt::LeftButton)
            || (mouse->position().toPoint() - mPressAt).manhattanLength() < QApplication::startDragDistance())
            return false;
        mPressed = false;
        const QStringList items = itemsToDrag(mPressAt);
        if (items.isEmpty())
            return false;
        auto* drag = new QDrag(mList);
        drag->setMimeData(DesktopClipboardData::mimeDataForFiles(items).release());
        drag->exec(Qt::CopyAction);
        return true;
    }
    case QEvent::DragEnter:
    case QEvent::DragMove: {
        auto* drag = static_cast<QDropEvent*>(event);
        const bool onFolder = !moveTarget(drag->mimeData(), drag->position().toPoint()).isEmpty();
        outlineTarget(drag->position().toPoint(), onFolder);
        if (onFolder) {
            drag->setDropAction(Qt::CopyAction);
            drag->accept();
            return true;
        }
        if (DesktopClipboardData::isOurs(drag->mimeData())) {
            // Our own drag starts over its own row: entering must be accepted, or no moves
            // towards a folder row would follow; only folder rows take the drop.
            if (event->type() == QEvent::DragEnter)
                drag->accept();
            else
                drag->ignore();
            return true;
        }
        if (!acceptsDrop(drag->mimeData()))
            return false;
        drag->setDropAction(Qt::CopyAction);
        drag->accept();
        return true;
    }
    case QEvent::DragLeave: outlineTarget({}, false); return false;
    case QEvent::Drop: {
        auto* drop = static_cast<QDropEvent*>(event);
        outlineTarget({}, false);
        // The drag offers copy only, so that other programs never take files out of the
        // library; inside the list the items move.
        const QString target = moveTarget(drop->mimeData(), drop->position().toPoint());
        if (!target.isEmpty()) {
            drop->setDropAction(Qt::CopyAction);
            drop->accept();
            emit movedOnto(DesktopClipboardData::filesFromMimeData(drop->mimeData()), target);
            return true;
        }
        if (!acceptsDrop(drop->mimeData()))
            return false;
        drop->setDropAction(Qt::CopyAction);
        drop->accept();
        const QStringList files = DesktopClipboardData::filesFromMimeData(drop->mimeData());
        if (!files.isEmpty())
            emit dropped(files, mFolder());
        else
            emit droppedWav(DesktopClipboardData::wavBytesFromMimeData(drop->mimeData()), mFolder());
        return true;
    }
    default: return false;
    }
}
