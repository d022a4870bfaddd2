#pragma once
#include "platform/NotificationCenter.h"

#include <QTimer>
#include <QWidget>
#include <memory>

class RemoteAudioUnit;
namespace platform::lv2 {
class UiHost;
}

// A live unit's own interface, in a window of ours. The window keeps the unit alive while it
// is open and closes when the interface asks to.
class UnitInterfaceWindow : public QWidget {
    Q_OBJECT
public:
    // The window with the unit's interface in it, or nullptr (reason logged) where the unit
    // has none or the display cannot hold one.
    static UnitInterfaceWindow* open(std::shared_ptr<RemoteAudioUnit> unit);
    ~UnitInterfaceWindow() override;

protected:
    void resizeEvent(QResizeEvent* event) override;

private:
    explicit UnitInterfaceWindow(std::shared_ptr<RemoteAudioUnit> unit);

    std::shared_ptr<RemoteAudioUnit> mUnit;
    std::unique_ptr<platform::lv2::UiHost> mHost;
    QTimer mUpdates;
    platform::ScopedObserver mUnitLeaves;
};
