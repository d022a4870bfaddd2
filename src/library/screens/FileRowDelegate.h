#pragma once
#include <QHash>
#include <QIcon>
#include <QStyledItemDelegate>

// Draws a browser row: icon, title, subtitle, a disclosure mark for folders and a preview
// play button for audio files; arriving rows at half opacity.
class FileRowDelegate : public QStyledItemDelegate {
    Q_OBJECT
public:
    explicit FileRowDelegate(QObject* parent = nullptr);

    void paint(QPainter* painter, const QStyleOptionViewItem& option, const QModelIndex& index) const override;
    QSize sizeHint(const QStyleOptionViewItem& option, const QModelIndex& index) const override;
    // Where the preview button of a row drawn in rowRect sits.
    static QRect previewButtonRect(const QRect& rowRect);
    // The row's type icon: from the desktop's icon theme by the row's kind, else a style icon.
    QIcon iconForIndex(const QModelIndex& index, const QStyle* style) const;
    // The preview button's name shows when the pointer rests on it.
    bool helpEvent(QHelpEvent* event, QAbstractItemView* view, const QStyleOptionViewItem& option,
                   const QModelIndex& index) override;

signals:
    void previewButtonClicked(const QModelIndex& index);

protected:
    bool editorEvent(QEvent* event, QAbstractItemModel* model, const QStyleOptionViewItem& option,
                     const QModelIndex& index) override;

private:
    mutable QHash<QString, QIcon> mIcons;  // by the kind's icon names: a theme lookup per kind
};
