#include "library/screens/FileListView.h"

#include <QKeyEvent>
#include <QMouseEvent>

FileListView::FileListView(QWidget* parent) : QListView(parent) {}

bool FileListView::lastPressPicksOnly() const
{
    return mPressModifiers & (Qt::ControlModifier | Qt::ShiftModifier);
}

void FileListView::mousePressEvent(QMouseEvent* event)
{
    mPressModifiers = event->modifiers();
    QListView::mousePressEvent(event);
}

void FileListView::keyPressEvent(QKeyEvent* event)
{
    switch (event->key()) {
    case Qt::Key_Return:
    case Qt::Key_Enter:
        if (currentIndex().isValid() && event->modifiers() == Qt::NoModifier) {
            emit openRequested(currentIndex());
            event->accept();
            return;
        }
        break;
    case Qt::Key_Up:
    case Qt::Key_Down:
    case Qt::Key_PageUp:
    case Qt::Key_PageDown:
    case Qt::Key_Home:
    case Qt::Key_End: {
        const QModelIndex before = currentIndex();
        QListView::keyPressEvent(event);
        if (currentIndex().isValid() && currentIndex() != before)
            emit currentMovedByKey(currentIndex());
        return;
    }
    default: break;
    }
    QListView::keyPressEvent(event);
}
