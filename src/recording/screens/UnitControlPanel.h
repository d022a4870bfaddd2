#pragma once
#include "platform/NotificationCenter.h"

#include <QTimer>
#include <QWidget>
#include <functional>
#include <memory>
#include <vector>

class RemoteAudioUnit;

// A live unit's control ports as sliders, toggles and lists; each change reaches the running
// plugin at its next cycle, and changes made elsewhere show here, with what the plugin
// reports on its outputs. The window keeps the unit alive while it is open.
class UnitControlPanel : public QWidget {
    Q_OBJECT
public:
    explicit UnitControlPanel(std::shared_ptr<RemoteAudioUnit> unit, QWidget* parent = nullptr);

    // Makes gotoIaaApp: open this panel (one window per unit, raised when open already).
    static void installAsInterfacePresenter();

    // Shows the plugin's values now (a timer does it ten times a second).
    void refresh();

    // Closes window when a graph update leaves unit in no slot: what it would change no
    // longer sounds. Keep the answer as long as the window.
    static platform::ScopedObserver closeWhenUnitLeaves(QWidget* window, const RemoteAudioUnit* unit);

private:
    std::shared_ptr<RemoteAudioUnit> mUnit;
    std::vector<std::function<void()>> mRefreshers;
    QTimer mRefresh;
    platform::ScopedObserver mUnitLeaves;
};
