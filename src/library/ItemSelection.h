#pragma once
#include "library/LibraryItem.h"

#include <QObject>
#include <QStringList>
#include <optional>

class FileListModel;
class QItemSelectionModel;

// Which rows of a browser's list are picked, and which one is current, kept on the list
// model itself: the list view draws it, the file actions read and change it, and tests drive
// it without a window. Rows keep their selection through sorts and outside changes because
// the model moves rows instead of resetting.
class ItemSelection : public QObject {
    Q_OBJECT
public:
    // What "Select" picks in one step.
    enum class Kind { Files, Folders, Both, None };

    explicit ItemSelection(FileListModel* model, QObject* parent = nullptr);

    // The model the list view shares, so a click there is a change here.
    QItemSelectionModel* selectionModel() const { return mSelection; }

    // The picked items in row order; empty when none is picked.
    LibraryItemList selectedItems() const;
    QStringList selectedPaths() const;
    int count() const;
    bool isSelected(const QString& path) const;

    // What a command acts on: the picked items, else the current row's item.
    LibraryItemList targets() const;
    QStringList targetPaths() const;

    // The current row's item (the keyboard's place in the list); nullopt when there is none.
    std::optional<LibraryItem> currentItem() const;
    // Moves the current row to path without changing what is picked; false when not listed.
    bool setCurrentPath(const QString& path);

    void selectKind(Kind kind);
    // Picks exactly these paths (those listed); the first one listed becomes current.
    void selectPaths(const QStringList& paths);
    // Adds path to the pick, or takes it out (a Ctrl-click).
    void toggle(const QString& path);
    void clear();

signals:
    // What is picked changed.
    void changed();

private:
    FileListModel* mModel;
    QItemSelectionModel* mSelection;
    bool mPickLeaving = false;  // rows being removed hold picked ones
};
