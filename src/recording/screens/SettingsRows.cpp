#include "recording/screens/SettingsRows.h"

#include "ui/screens/NavigationController.h"
#include "ui/screens/Theme.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QScrollArea>
#include <QVBoxLayout>

namespace SettingsRows {

namespace {
constexpr double kBackgroundWhite = 0.2;
constexpr double kSubtitleWhite = 0.6;
constexpr int kMargin = 16;
constexpr int kRowSpacing = 14;
constexpr int kScreenWidth = 380;
constexpr int kScreenHeight = 560;
}  // namespace

Row add(QVBoxLayout* rows, const QString& title, QWidget* control, const QString& subtitle)
{
    Row r;
    r.row = new QWidget;
    auto* layout = new QVBoxLayout(r.row);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(2);
    auto* line = new QHBoxLayout;
    r.title = new QLabel(title);
    r.title->setBuddy(control);
    line->addWidget(r.title, 1);
    line->addWidget(control);
    layout->addLayout(line);
    if (!subtitle.isNull()) {
        r.subtitle = new QLabel(subtitle);
        r.subtitle->setWordWrap(true);
        QFont font = r.subtitle->font();
        font.setPointSizeF(font.pointSizeF() * 0.85);
        r.subtitle->setFont(font);
        QPalette p = r.subtitle->palette();
        p.setColor(QPalette::WindowText, Theme::white(kSubtitleWhite));
        r.subtitle->setPalette(p);
        layout->addWidget(r.subtitle);
    }
    rows->addWidget(r.row);
    return r;
}

Row addStacked(QVBoxLayout* rows, const QString& title, QWidget* control)
{
    Row r;
    r.row = new QWidget;
    auto* layout = new QVBoxLayout(r.row);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(4);
    r.title = new QLabel(title);
    r.title->setBuddy(control);
    layout->addWidget(r.title);
    layout->addWidget(control);
    rows->addWidget(r.row);
    return r;
}

QVBoxLayout* makeScreen(QWidget* screen)
{
    screen->setAutoFillBackground(true);
    QPalette dark = screen->palette();
    dark.setColor(QPalette::Window, QColor::fromRgbF(kBackgroundWhite, kBackgroundWhite, kBackgroundWhite));
    screen->setPalette(dark);
    auto* outer = new QVBoxLayout(screen);
    outer->setContentsMargins(0, 0, 0, 0);
    auto* scroll = new QScrollArea;
    scroll->setWidgetResizable(true);
    scroll->setFrameShape(QFrame::NoFrame);
    auto* content = new QWidget;
    content->setObjectName(QStringLiteral("SettingsRows"));
    scroll->setWidget(content);
    outer->addWidget(scroll);
    auto* rows = new QVBoxLayout(content);
    rows->setContentsMargins(kMargin, kMargin, kMargin, kMargin);
    rows->setSpacing(kRowSpacing);
    return rows;
}

void show(QWidget* from, QWidget* screen)
{
    for (QWidget* w = from; w; w = w->parentWidget()) {
        if (auto* navigation = qobject_cast<NavigationController*>(w)) {
            navigation->pushViewController(screen, true);
            return;
        }
    }
    screen->setParent(from->window(), Qt::Dialog);
    screen->setAttribute(Qt::WA_DeleteOnClose);
    screen->resize(kScreenWidth, kScreenHeight);
    screen->show();
}

}  // namespace SettingsRows
