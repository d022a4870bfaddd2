#include "recording/screens/UnitInterfaceWindow.h"

#include "platform/Log.h"
#include "platform/lv2/Lv2UiHost.h"
#include "recording/RemoteAudioUnit.h"
#include "recording/screens/UnitControlPanel.h"

#include <QGuiApplication>
#include <QResizeEvent>

namespace {

constexpr int kUpdateMilliseconds = 33;  // the interface's refresh, about 30 a second
constexpr QSize kFirstSize(480, 320);    // until the interface asks for its own

}  // namespace

UnitInterfaceWindow::UnitInterfaceWindow(std::shared_ptr<RemoteAudioUnit> unit) : mUnit(std::move(unit))
{
    setWindowTitle(mUnit->rau()->name());
    // The interface draws into a child of this window, so it needs a window of its own.
    setAttribute(Qt::WA_NativeWindow);
    setAttribute(Qt::WA_DontCreateNativeAncestors);
    resize(kFirstSize);
    mUpdates.setInterval(kUpdateMilliseconds);
    connect(&mUpdates, &QTimer::timeout, this, [this] {
        if (mHost && !mHost->update())
            close();
    });
    mUnitLeaves = UnitControlPanel::closeWhenUnitLeaves(this, mUnit.get());
}

UnitInterfaceWindow::~UnitInterfaceWindow() = default;

UnitInterfaceWindow* UnitInterfaceWindow::open(std::shared_ptr<RemoteAudioUnit> unit)
{
    if (!unit || !platform::lv2::UiHost::canShow(unit->plugin()))
        return nullptr;
    // Interfaces are X11 windows: they can only live on an X11 display.
    if (QGuiApplication::platformName() != QLatin1String("xcb")) {
        platform::log(QStringLiteral("The interface of %1 needs an X11 display").arg(unit->rau()->name()));
        return nullptr;
    }
    auto* window = new UnitInterfaceWindow(std::move(unit));
    window->setAttribute(Qt::WA_DeleteOnClose);
    QString reason;
    window->mHost = platform::lv2::UiHost::open(
        window->mUnit->plugin(), uintptr_t(window->winId()),
        [window](int width, int height) { window->resize(width, height); }, &reason);
    if (!window->mHost) {
        platform::log(reason);
        delete window;
        return nullptr;
    }
    window->mUpdates.start();
    return window;
}

void UnitInterfaceWindow::resizeEvent(QResizeEvent* event)
{
    QWidget::resizeEvent(event);
    if (mHost)
        mHost->resized(event->size().width(), event->size().height());
}
