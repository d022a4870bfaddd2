#pragma once
#include <QWidget>
#include <memory>

class RemoteAudioUnit;

// A live unit's control ports as sliders, toggles and lists; each change reaches the running
// plugin at its next cycle. The window keeps the unit alive while it is open.
class UnitControlPanel : public QWidget {
    Q_OBJECT
public:
    explicit UnitControlPanel(std::shared_ptr<RemoteAudioUnit> unit, QWidget* parent = nullptr);

    // Makes gotoIaaApp: open this panel (one window per unit, raised when open already).
    static void installAsInterfacePresenter();

private:
    std::shared_ptr<RemoteAudioUnit> mUnit;
};
