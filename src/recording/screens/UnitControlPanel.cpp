#include "recording/screens/UnitControlPanel.h"

#include "platform/MainThreadObserver.h"
#include "platform/Notifications.h"
#include "recording/AudioEngine.h"
#include "recording/RemoteAudioUnit.h"
#include "recording/screens/UnitInterfaceWindow.h"

#include <QCheckBox>
#include <QComboBox>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QPointer>
#include <QScrollArea>
#include <QSignalBlocker>
#include <QSlider>
#include <QSpinBox>
#include <cmath>
#include <map>

namespace {

constexpr int kSliderSteps = 1000;
constexpr int kRefreshMilliseconds = 100;
constexpr int kSliderWidth = 200;

// Slider position <-> value, logarithmic where the port asks for it and the range allows.
float valueAt(const platform::lv2::ControlPort& c, int position)
{
    const double t = double(position) / kSliderSteps;
    if (c.logarithmic && c.minimum > 0 && c.maximum > c.minimum)
        return float(c.minimum * std::pow(double(c.maximum) / c.minimum, t));
    return float(c.minimum + t * (c.maximum - c.minimum));
}

int positionOf(const platform::lv2::ControlPort& c, float value)
{
    double t = 0;
    if (c.logarithmic && c.minimum > 0 && c.maximum > c.minimum && value > 0)
        t = std::log(double(value) / c.minimum) / std::log(double(c.maximum) / c.minimum);
    else if (c.maximum != c.minimum)
        t = (double(value) - c.minimum) / (double(c.maximum) - c.minimum);
    return int(std::lround(std::clamp(t, 0.0, 1.0) * kSliderSteps));
}

}  // namespace

UnitControlPanel::UnitControlPanel(std::shared_ptr<RemoteAudioUnit> unit, QWidget* parent)
    : QWidget(parent), mUnit(std::move(unit))
{
    setWindowTitle(mUnit->rau()->name());
    auto* form = new QFormLayout;
    form->setRowWrapPolicy(QFormLayout::WrapLongRows);  // long port names go above their control
    platform::lv2::Plugin& plugin = mUnit->plugin();
    for (const platform::lv2::ControlPort& c : plugin.info().controls) {
        const float value = plugin.controlValue(c.symbol);
        auto set = [this, symbol = c.symbol](float v) { mUnit->plugin().setControlValue(symbol, v); };
        // Each control follows changes made elsewhere (the unit's own interface, a setup).
        auto follow = [this, symbol = c.symbol, last = value](auto show) mutable {
            mRefreshers.push_back([this, symbol, last, show]() mutable {
                const float now = mUnit->plugin().controlValue(symbol);
                if (now == last)
                    return;
                last = now;
                show(now);
            });
        };
        if (c.toggled) {
            auto* box = new QCheckBox(this);
            box->setChecked(value > 0.5f);
            connect(box, &QCheckBox::toggled, this, [set](bool on) { set(on ? 1.0f : 0.0f); });
            follow([box](float v) {
                const QSignalBlocker quiet(box);
                box->setChecked(v > 0.5f);
            });
            form->addRow(c.name, box);
        } else if (c.enumeration && !c.scalePoints.isEmpty()) {
            auto* list = new QComboBox(this);
            for (const auto& [v, label] : c.scalePoints) {
                list->addItem(label, v);
                if (v == value)
                    list->setCurrentIndex(list->count() - 1);
            }
            connect(list, &QComboBox::currentIndexChanged, this,
                    [list, set](int i) { set(list->itemData(i).toFloat()); });
            follow([list](float v) {
                const QSignalBlocker quiet(list);
                list->setCurrentIndex(list->findData(v));
            });
            form->addRow(c.name, list);
        } else if (c.integer) {
            auto* spin = new QSpinBox(this);
            spin->setRange(int(c.minimum), int(c.maximum));
            spin->setValue(int(std::lround(value)));
            connect(spin, &QSpinBox::valueChanged, this, [set](int v) { set(float(v)); });
            follow([spin](float v) {
                const QSignalBlocker quiet(spin);
                spin->setValue(int(std::lround(v)));
            });
            form->addRow(c.name, spin);
        } else {
            auto* row = new QHBoxLayout;
            auto* slider = new QSlider(Qt::Horizontal, this);
            auto* shown = new QLabel(QString::number(value, 'g', 4), this);
            shown->setMinimumWidth(60);
            slider->setMinimumWidth(kSliderWidth);
            slider->setRange(0, kSliderSteps);
            slider->setValue(positionOf(c, value));
            connect(slider, &QSlider::valueChanged, this, [c, shown, set](int position) {
                const float v = valueAt(c, position);
                shown->setText(QString::number(v, 'g', 4));
                set(v);
            });
            follow([c, slider, shown](float v) {
                const QSignalBlocker quiet(slider);
                slider->setValue(positionOf(c, v));
                shown->setText(QString::number(v, 'g', 4));
            });
            row->addWidget(slider, 1);
            row->addWidget(shown);
            form->addRow(c.name, row);
        }
    }
    if (plugin.info().controls.isEmpty())
        form->addRow(new QLabel(QStringLiteral("This unit has no settings."), this));
    // What the plugin reports, read-only.
    for (const platform::lv2::ControlPort& c : plugin.info().outputs) {
        auto* shown = new QLabel(this);
        shown->setEnabled(false);
        mRefreshers.push_back([this, shown, index = c.index] {
            shown->setText(QString::number(mUnit->plugin().portValue(index), 'g', 4));
        });
        form->addRow(c.name, shown);
    }
    auto* inner = new QWidget;
    inner->setLayout(form);
    auto* scroll = new QScrollArea(this);
    scroll->setWidget(inner);
    scroll->setWidgetResizable(true);
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(scroll);
    const int rows = int(plugin.info().controls.size() + plugin.info().outputs.size());
    resize(std::max(480, inner->sizeHint().width() + 40), std::min(600, 80 + 36 * rows));
    refresh();
    mRefresh.setInterval(kRefreshMilliseconds);
    connect(&mRefresh, &QTimer::timeout, this, &UnitControlPanel::refresh);
    mRefresh.start();
    mUnitLeaves = closeWhenUnitLeaves(this, mUnit.get());
}

platform::ScopedObserver UnitControlPanel::closeWhenUnitLeaves(QWidget* window, const RemoteAudioUnit* unit)
{
    return platform::observeOnMain(notifications::kUpdatedIAAGraph, window, [window, unit](const auto&) {
        for (int slot = 0; slot < AudioEngine::kSlotCount; ++slot)
            if (AudioEngine::iaaAtSlot(slot).get() == unit)
                return;
        window->close();
    });
}

void UnitControlPanel::refresh()
{
    for (auto& r : mRefreshers)
        r();
}

void UnitControlPanel::installAsInterfacePresenter()
{
    // The unit's own interface where it has one, else this panel; one window per unit,
    // raised when it is open already.
    AudioEngine::setIaaInterfacePresenter([](int slot, RemoteAudioUnit&) {
        static std::map<const RemoteAudioUnit*, QPointer<QWidget>> open;
        const auto unit = AudioEngine::iaaAtSlot(slot);
        if (!unit)
            return;
        for (auto it = open.begin(); it != open.end();)
            it = it->second ? std::next(it) : open.erase(it);
        QPointer<QWidget>& window = open[unit.get()];
        if (!window) {
            window = UnitInterfaceWindow::open(unit);
            if (!window) {
                window = new UnitControlPanel(unit);
                window->setAttribute(Qt::WA_DeleteOnClose);
            }
        }
        window->show();
        window->raise();
        window->activateWindow();
    });
}
