#pragma once
#include <QList>
#include <QPair>
#include <QString>
#include <cstdint>

namespace platform::lv2 {

// One control port of a plugin, as its description gives it.
struct ControlPort {
    uint32_t index = 0;
    QString symbol;
    QString name;
    float defaultValue = 0;
    float minimum = 0;
    float maximum = 1;
    bool toggled = false;
    bool integer = false;
    bool enumeration = false;
    bool logarithmic = false;
    QList<QPair<float, QString>> scalePoints;  // value, label; sorted by value
};

// What the scan tells of one installed plugin, without loading its code.
struct PluginInfo {
    QString uri;
    QString name;
    QString bundlePath;  // the bundle's folder, with a trailing slash
    QString binaryPath;  // the plugin's code
    QString classLabel;  // "Reverb Plugin", "Instrument Plugin", ...
    QString iconPath;    // a picture the bundle ships, or empty
    int audioInputs = 0;
    int audioOutputs = 0;
    bool midiInput = false;     // an event input that takes MIDI
    bool timePosition = false;  // follows the host's transport (time:Position)
    bool instrument = false;    // classed as an instrument
    bool hasLatency = false;
    bool hasUi = false;         // ships an X11 interface
    QList<ControlPort> controls;  // inputs, in port order
    QList<ControlPort> outputs;   // what the plugin reports (levels, gain reduction ...)

    const ControlPort* control(const QString& symbol) const
    {
        for (const ControlPort& c : controls)
            if (c.symbol == symbol)
                return &c;
        return nullptr;
    }
};

}  // namespace platform::lv2
