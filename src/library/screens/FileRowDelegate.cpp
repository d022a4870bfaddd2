#include "library/screens/FileRowDelegate.h"

#include "library/FileListModel.h"
#include "ui/screens/Theme.h"

#include <QAbstractItemView>
#include <QApplication>
#include <QHelpEvent>
#include <QMouseEvent>
#include <QPainter>
#include <QStyle>
#include <QToolTip>

namespace {
constexpr int kRowHeight = 56;
constexpr int kIconSize = 28;
constexpr int kPadding = 10;
constexpr int kButtonSize = 30;
constexpr double kArrivingOpacity = 0.5;
constexpr double kFolderTitleWhite = 0.8;
constexpr double kSubtitleWhite = 0.55;

QIcon styleIconFor(const QString& imageName, const QStyle* style)
{
    if (imageName == QLatin1String("folder_desktop"))
        return style->standardIcon(QStyle::SP_DirHomeIcon);
    if (imageName == QLatin1String("folder_trash"))
        return style->standardIcon(QStyle::SP_TrashIcon);
    if (imageName == QLatin1String("folder"))
        return style->standardIcon(QStyle::SP_DirIcon);
    return style->standardIcon(QStyle::SP_FileIcon);
}
}  // namespace

FileRowDelegate::FileRowDelegate(QObject* parent) : QStyledItemDelegate(parent) {}

QIcon FileRowDelegate::iconForIndex(const QModelIndex& index, const QStyle* style) const
{
    const QStringList names = index.data(FileListModel::IconNamesRole).toStringList();
    const QString imageName = index.data(FileListModel::ImageNameRole).toString();
    const QString key = imageName + QLatin1Char('|') + names.join(QLatin1Char('|'));
    auto found = mIcons.constFind(key);
    if (found == mIcons.cend())
        found = mIcons.insert(key, Theme::themeIcon(names, styleIconFor(imageName, style)));
    return *found;
}

// The row takes the list's width, whatever it is: a width of its own would add a horizontal
// scroll bar whenever the vertical one appears.
QSize FileRowDelegate::sizeHint(const QStyleOptionViewItem&, const QModelIndex&) const
{
    return {0, kRowHeight};
}

QRect FileRowDelegate::previewButtonRect(const QRect& rowRect)
{
    return {rowRect.right() - kPadding - kButtonSize, rowRect.center().y() - kButtonSize / 2, kButtonSize,
            kButtonSize};
}

void FileRowDelegate::paint(QPainter* painter, const QStyleOptionViewItem& option, const QModelIndex& index) const
{
    const QStyle* style = option.widget ? option.widget->style() : QApplication::style();
    painter->save();
    if (index.data(FileListModel::IsArrivingRole).toBool())
        painter->setOpacity(kArrivingOpacity);
    if (option.state & QStyle::State_Selected)
        painter->fillRect(option.rect, option.palette.color(QPalette::Highlight));

    const bool isFolder = index.data(FileListModel::IsFolderRole).toBool();
    const QRect iconRect(option.rect.left() + kPadding, option.rect.center().y() - kIconSize / 2, kIconSize, kIconSize);
    iconForIndex(index, style).paint(painter, iconRect);

    int right = option.rect.right() - kPadding;
    if (isFolder) {
        const QRect mark(right - 12, option.rect.top(), 12, option.rect.height());
        painter->setPen(Theme::white(kSubtitleWhite));
        painter->drawText(mark, Qt::AlignCenter, QStringLiteral("\u203a"));
        right = mark.left() - kPadding;
    } else if (index.data(FileListModel::IsAudioRole).toBool()) {
        const QRect button = previewButtonRect(option.rect);
        const bool playing = index.data(FileListModel::IsPlayingRole).toBool();
        painter->setRenderHint(QPainter::Antialiasing);
        painter->setPen(QPen(Theme::white(0.8), 1.5));
        painter->setBrush(Qt::NoBrush);
        painter->drawEllipse(button.adjusted(2, 2, -2, -2));
        painter->setBrush(Theme::white(0.9));
        painter->setPen(Qt::NoPen);
        const QPointF c = button.center();
        if (playing) {
            painter->drawRect(QRectF(c.x() - 4.5, c.y() - 4.5, 9, 9));
        } else {
            const QPointF triangle[] = {{c.x() - 3.5, c.y() - 6}, {c.x() - 3.5, c.y() + 6}, {c.x() + 6.5, c.y()}};
            painter->drawPolygon(triangle, 3);
        }
        right = button.left() - kPadding;
    }

    const int left = iconRect.right() + kPadding;
    const int half = option.rect.height() / 2;
    QFont titleFont = option.font;
    titleFont.setPointSizeF(titleFont.pointSizeF() * 1.05);
    painter->setFont(titleFont);
    painter->setPen(isFolder ? Theme::white(kFolderTitleWhite) : QColor(Qt::white));
    const QRect titleRect(left, option.rect.top() + 6, right - left, half - 6);
    painter->drawText(titleRect, Qt::AlignLeft | Qt::AlignBottom | Qt::TextSingleLine,
                      painter->fontMetrics().elidedText(index.data(Qt::DisplayRole).toString(), Qt::ElideMiddle,
                                                        titleRect.width()));
    QFont subtitleFont = option.font;
    subtitleFont.setPointSizeF(subtitleFont.pointSizeF() * 0.85);
    painter->setFont(subtitleFont);
    painter->setPen(Theme::white(kSubtitleWhite));
    const QRect subtitleRect(left, option.rect.top() + half + 2, right - left, half - 8);
    painter->drawText(subtitleRect, Qt::AlignLeft | Qt::AlignTop | Qt::TextSingleLine,
                      painter->fontMetrics().elidedText(index.data(FileListModel::SubtitleRole).toString(),
                                                        Qt::ElideRight, subtitleRect.width()));
    painter->restore();
}

bool FileRowDelegate::editorEvent(QEvent* event, QAbstractItemModel* model, const QStyleOptionViewItem& option,
                                  const QModelIndex& index)
{
    if (event->type() == QEvent::MouseButtonRelease && index.data(FileListModel::IsAudioRole).toBool() &&
        !index.data(FileListModel::IsArrivingRole).toBool()) {
        const auto* mouse = static_cast<QMouseEvent*>(event);
        if (previewButtonRect(option.rect).contains(mouse->position().toPoint())) {
            emit previewButtonClicked(index);
            return true;
        }
    }
    return QStyledItemDelegate::editorEvent(event, model, option, index);
}

bool FileRowDelegate::helpEvent(QHelpEvent* event, QAbstractItemView* view, const QStyleOptionViewItem& option,
                                const QModelIndex& index)
{
    const QString label = index.data(FileListModel::PreviewLabelRole).toString();
    if (event->type() == QEvent::ToolTip && !label.isEmpty() && previewButtonRect(option.rect).contains(event->pos())) {
        QToolTip::showText(event->globalPos(), label, view);
        return true;
    }
    return QStyledItemDelegate::helpEvent(event, view, option, index);
}
