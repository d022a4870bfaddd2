#pragma once
#include <QObject>
#include <QPoint>
#include <QPointer>
#include <QStringList>
#include <functional>

class QAbstractItemView;
class QFrame;
class QMimeData;

// Drag and drop and the copy and paste keys of one library list: its picked items drag out
// as files, files and folders (or WAV bytes) dropped from other programs come in, items
// dragged onto a folder row of their own list move into it, and the list's Copy and Paste
// keys (and Cut) ask for the same. The window's own shortcuts, when it has them,
// come first.
class ListDragDrop : public QObject {
    Q_OBJECT
public:
    ListDragDrop(QAbstractItemView* list, std::function<QString()> folder, std::function<QStringList()> pickedPaths);

    // Whether a drop of data would bring something in.
    static bool acceptsDrop(const QMimeData* data);

signals:
    void dropped(const QStringList& items, const QString& folder);
    void droppedWav(const QByteArray& wav, const QString& folder);
    void copyRequested(const QStringList& paths);
    void cutRequested(const QStringList& paths);
    void pasteRequested(const QString& folder);
    void movedOnto(const QStringList& items, const QString& folder);

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    // The items a drag from the row at pos carries: the picked ones when that row is picked.
    QStringList itemsToDrag(const QPoint& pos) const;
    // The folder row at pos that our own dragged items can move into; empty when none.
    QString moveTarget(const QMimeData* data, const QPoint& pos) const;
    // Outlines the row a drop would move into (none: hidden).
    void outlineTarget(const QPoint& pos, bool show);

    QAbstractItemView* mList;
    std::function<QString()> mFolder;
    std::function<QStringList()> mPickedPaths;
    QPointer<QFrame> mTargetOutline;
    QPoint mPressAt;
    bool mPressed = false;
};
