#pragma once
#include "platform/lv2/Lv2PluginInfo.h"

#include <QObject>
#include <QString>
#include <cstdint>
#include <functional>

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
// Whether check would answer at once: the plugin's code ran before, or nothing checks.
bool isChecked(const PluginInfo& plugin);
// check on the background pool, for callers that must not wait (the window): done gets the
// answer on the main thread, unless context is gone by then. A plugin asked for while its
// check runs waits for that same child. Call on the main thread.
void checkInBackground(const PluginInfo& plugin, double sampleRate, uint32_t frames, QObject* context,
                       std::function<void(Result, const QString& reason)> done);
// Stops the children still running, leaving their plugins unchecked: the program is quitting.
void stopAll();

}  // namespace LoadCheck
}  // namespace platform::lv2
