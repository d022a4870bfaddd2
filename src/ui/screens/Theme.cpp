#include "ui/screens/Theme.h"

#include <QApplication>
#include <algorithm>
#include <QColor>
#include <QDir>
#include <QFileInfo>
#include <QStandardPaths>
#include <QPalette>
#include <QProxyStyle>
#include <QStyleFactory>
#include <QWidget>

namespace Theme {
namespace {
const QColor kWindow(0x1c, 0x1c, 0x1e);
const QColor kBase(0x12, 0x12, 0x14);
const QColor kButton(0x2c, 0x2c, 0x2e);
const QColor kHighlight(0x0a, 0x5c, 0xc4);
// Installed with the program (Debian's adwaita-icon-theme): complete for files and folders.
const QString kInstalledIconTheme = QStringLiteral("Adwaita");
const QString kBareTheme = QStringLiteral("hicolor");

const char* const kCompactProperty = "compactButton";
constexpr int kCompactPadding = 10;

// Fusion gives every push button with text at least 80 pixels; compact ones get their text's.
class CompactButtonStyle : public QProxyStyle {
public:
    CompactButtonStyle() : QProxyStyle(QStyleFactory::create(QStringLiteral("Fusion"))) {}

    QSize sizeFromContents(ContentsType type, const QStyleOption* option, const QSize& contents,
                           const QWidget* widget) const override
    {
        QSize size = QProxyStyle::sizeFromContents(type, option, contents, widget);
        if (type == CT_PushButton && widget && widget->property(kCompactProperty).toBool()) {
            const int frame = 2 * (pixelMetric(PM_ButtonMargin, option, widget) + pixelMetric(PM_DefaultFrameWidth, option, widget));
            size.setWidth(std::min(size.width(), std::max(contents.width() + frame + kCompactPadding, size.height())));
        }
        return size;
    }
};

bool iconThemeExists(const QString& name)
{
    for (const QString& dir : QIcon::themeSearchPaths())
        if (QFileInfo::exists(QDir(dir).filePath(name + QStringLiteral("/index.theme"))))
            return true;
    return false;
}
}  // namespace

void setCompact(QWidget* button)
{
    button->setProperty(kCompactProperty, true);
    button->updateGeometry();
}

void useDesktopIconTheme()
{
    static bool done = false;
    if (done)
        return;
    done = true;
    // Platforms without a desktop theme (offscreen, bare X) may not look in the XDG folders.
    QStringList paths = QIcon::themeSearchPaths();
    for (const QString& dir :
         QStandardPaths::locateAll(QStandardPaths::GenericDataLocation, QStringLiteral("icons"), QStandardPaths::LocateDirectory))
        if (!paths.contains(dir))
            paths << dir;
    QIcon::setThemeSearchPaths(paths);
    const QString current = QIcon::themeName();
    if (current.isEmpty() || current == kBareTheme || !iconThemeExists(current)) {
        if (iconThemeExists(kInstalledIconTheme))
            QIcon::setThemeName(kInstalledIconTheme);
    } else if (QIcon::fallbackThemeName().isEmpty() || QIcon::fallbackThemeName() == kBareTheme) {
        // A desktop theme that lacks a name still finds it here before the bare one.
        if (iconThemeExists(kInstalledIconTheme))
            QIcon::setFallbackThemeName(kInstalledIconTheme);
    }
}

QIcon themeIcon(const QStringList& names, const QIcon& fallback)
{
    useDesktopIconTheme();
    for (const QString& name : names)
        if (QIcon::hasThemeIcon(name))
            return QIcon::fromTheme(name);
    return fallback;
}

QColor white(double alpha)
{
    QColor c(Qt::white);
    c.setAlphaF(float(alpha));
    return c;
}

void applyDarkAppearance(QWidget* window)
{
    // A widget's own style doesn't reach its children, so the style is the application's.
    if (!dynamic_cast<CompactButtonStyle*>(QApplication::style()))
        QApplication::setStyle(new CompactButtonStyle);
    QPalette p;
    p.setColor(QPalette::Window, kWindow);
    p.setColor(QPalette::WindowText, Qt::white);
    p.setColor(QPalette::Base, kBase);
    p.setColor(QPalette::AlternateBase, kWindow);
    p.setColor(QPalette::Text, Qt::white);
    p.setColor(QPalette::PlaceholderText, white(0.4));
    p.setColor(QPalette::Button, kButton);
    p.setColor(QPalette::ButtonText, Qt::white);
    p.setColor(QPalette::Highlight, kHighlight);
    p.setColor(QPalette::HighlightedText, Qt::white);
    p.setColor(QPalette::ToolTipBase, kButton);
    p.setColor(QPalette::ToolTipText, Qt::white);
    p.setColor(QPalette::Disabled, QPalette::Text, white(0.4));
    p.setColor(QPalette::Disabled, QPalette::WindowText, white(0.4));
    p.setColor(QPalette::Disabled, QPalette::ButtonText, white(0.4));
    // The application's palette, so that dialogs, menus and message boxes are dark as well.
    QApplication::setPalette(p);
    window->setPalette(p);
    window->setAutoFillBackground(true);
}

}  // namespace Theme
