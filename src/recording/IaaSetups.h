#pragma once
#include "recording/RemoteAU.h"

#include <QList>
#include <QObject>
#include <QString>
#include <array>
#include <functional>
#include <memory>
#include <optional>

// Saved slot setups: one file per setup in the program's Library folder, named as the setup.
// The file is a keyed archive whose root is an array of four entries, one per slot, each
// null (empty) or the 20-byte description of the slot's unit; beside the root, "lv2state"
// keeps each unit's settings, so a setup sounds as it did when saved. A file without them
// loads with the units at their defaults.
namespace IaaSetups {

struct Setup {
    QString name;
    QString path;
    std::array<std::shared_ptr<RemoteAU>, 4> units;  // resolved to installed units; unresolved stay empty
    std::array<QByteArray, 4> states;
};

QString directory();
// The file's bytes for a set of slot descriptions and states.
QByteArray archive(const std::array<std::optional<AudioComponentDescription>, 4>& chosen,
                   const std::array<QByteArray, 4>& states);
// Reads one setup file; nothing, with "Could not load %@: %@" logged, when it is not one.
std::optional<Setup> load(const QString& path);
// Every file of the folder that reads as a setup, by name.
QList<Setup> refreshList();
// Saves the engine's current slots and their units' settings under a name; false with the
// reason logged when the name can't be a file name or the file can't be written.
bool saveCurrentSetup(const QString& name);
// Empties every slot (releasing the units) and rebuilds the graph.
void clear();
// Puts the setup's units in their slots with their settings and rebuilds the graph, once
// plugins not checked yet were checked in the background; done gets the rebuild's error code
// (0 when every unit came up) on the main thread, unless context is gone. A slot chosen anew
// meanwhile keeps that later choice.
void apply(const Setup& setup, QObject* context, std::function<void(int code)> done);
bool remove(const Setup& setup);
// "A ► B ► C": the names of the setup's units in slot order.
QString subtitle(const Setup& setup);

}  // namespace IaaSetups
