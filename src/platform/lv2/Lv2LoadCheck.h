#pragma once
#include "platform/lv2/Lv2PluginInfo.h"

#include <QString>
#include <cstdint>

namespace platform::lv2 {

// Loads a plugin in a child process before the program loads it itself, so a plugin whose
// code crashes or hangs takes only the child down; it is then left out from now on. A
// plugin whose code (that file, that size, that time) ran once is not checked again.
namespace LoadCheck {

enum class Result {
    Runs,       // it loaded and ran there (or did before)
    Fails,      // it refused to load there, which it will here too: the reason says why
    Crashed,    // it took the child down: it is left out from now on
    TimedOut,   // it did not finish loading in time: it is left out from now on
    Unchecked,  // no checking program is set
};

// The program that checks ("wavelocker-tool", whose check-unit command loads one plugin);
// empty: nothing is checked.
void setChecker(const QString& program);
Result check(const PluginInfo& plugin, double sampleRate, uint32_t frames, QString* reason = nullptr);

}  // namespace LoadCheck
}  // namespace platform::lv2
