#include "recording/screens/UnitControlPanel.h"

#include "recording/AudioEngine.h"
#include "recording/RemoteAudioUnit.h"

#include <QCheckBox>
#include <QComboBox>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QPointer>
#include <QScrollArea>
#include <QSlider>
#include <QSpinBox>
#include <cmath>
#include <map>

namespace {

constexpr int kSliderSteps = 1000;

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
    platform::lv2::Plugin& plugin = mUnit->plugin();
    for (const platform::lv2::ControlPort& c : plugin.info().controls) {
        const float value = plugin.controlValue(c.symbol);
        auto set = [this, symbol = c.symbol](float v) { mUnit->plugin().setControlValue(symbol, v); };
        if (c.toggled) {
            auto* box = new QCheckBox(this);
            box->setChecked(value > 0.5f);
            connect(box, &QCheckBox::toggled, this, [set](bool on) { set(on ? 1.0f : 0.0f); });
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
            form->addRow(c.name, list);
        } else if (c.integer) {
            auto* spin = new QSpinBox(this);
            spin->setRange(int(c.minimum), int(c.maximum));
            spin->setValue(int(std::lround(value)));
            connect(spin, &QSpinBox::valueChanged, this, [set](int v) { set(float(v)); });
            form->addRow(c.name, spin);
        } else {
            auto* row = new QHBoxLayout;
            auto* slider = new QSlider(Qt::Horizontal, this);
            auto* shown = new QLabel(QString::number(value, 'g', 4), this);
            shown->setMinimumWidth(60);
            slider->setRange(0, kSliderSteps);
            slider->setValue(positionOf(c, value));
            connect(slider, &QSlider::valueChanged, this, [c, shown, set](int position) {
                const float v = valueAt(c, position);
                shown->setText(QString::number(v, 'g', 4));
                set(v);
            });
            row->addWidget(slider, 1);
            row->addWidget(shown);
            form->addRow(c.name, row);
        }
    }
    if (plugin.info().controls.isEmpty())
        form->addRow(new QLabel(QStringLiteral("This unit has no settings."), this));
    auto* inner = new QWidget;
    inner->setLayout(form);
    auto* scroll = new QScrollArea(this);
    scroll->setWidget(inner);
    scroll->setWidgetResizable(true);
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(scroll);
    resize(420, std::min(600, 80 + 36 * int(plugin.info().controls.size())));
}

void UnitControlPanel::installAsInterfacePresenter()
{
    AudioEngine::setIaaInterfacePresenter([](int slot, RemoteAudioUnit&) {
        static std::map<const RemoteAudioUnit*, QPointer<UnitControlPanel>> open;
        const auto unit = AudioEngine::iaaAtSlot(slot);
        if (!unit)
            return;
        QPointer<UnitControlPanel>& panel = open[unit.get()];
        if (!panel) {
            panel = new UnitControlPanel(unit);
            panel->setAttribute(Qt::WA_DeleteOnClose);
        }
        panel->show();
        panel->raise();
        panel->activateWindow();
    });
}
