#pragma once
#include <QListView>

// The browser's list as a desktop list: Ctrl- and Shift-clicks pick rows without opening
// them, Enter opens the current row, and the keys that move the current row say so, so that
// the editor can follow.
class FileListView : public QListView {
    Q_OBJECT
public:
    explicit FileListView(QWidget* parent = nullptr);

    // The keyboard modifiers of the last mouse press on a row.
    Qt::KeyboardModifiers pressModifiers() const { return mPressModifiers; }
    // A click that only changes the pick (Ctrl or Shift held) opens nothing.
    bool lastPressPicksOnly() const;

signals:
    // Enter or Return on the current row.
    void openRequested(const QModelIndex& index);
    // An arrow, Page or Home/End key moved the current row to index.
    void currentMovedByKey(const QModelIndex& index);

protected:
    void mousePressEvent(QMouseEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;

private:
    Qt::KeyboardModifiers mPressModifiers;
};
