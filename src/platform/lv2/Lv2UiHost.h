#pragma once
#include "platform/lv2/Lv2Plugin.h"

#include <QString>
#include <cstdint>
#include <functional>
#include <memory>

namespace platform::lv2 {

// A plugin's own X11 interface, made inside a native window of the caller's. What the
// interface sets reaches the running plugin the way any control change does (lock-free);
// what the plugin and the rest of the program change in its ports reaches the interface at
// each update(). Main thread only; the plugin must outlive the host. Callers never see suil.
class UiHost {
public:
    // Once, before the program opens its first X11 connection: interfaces may use Xlib from
    // threads of their own.
    static void initialize();
    // Whether the plugin ships an interface that can live in an X11 window of ours.
    static bool canShow(const Plugin& plugin);

    // The interface inside parentWindow (an X11 window id); resize is called when the
    // interface asks for a size. nullptr with the reason when there is none or it refuses.
    static std::unique_ptr<UiHost> open(Plugin& plugin, uintptr_t parentWindow,
                                        std::function<void(int width, int height)> resize, QString* reason = nullptr);
    ~UiHost();
    UiHost(const UiHost&) = delete;
    UiHost& operator=(const UiHost&) = delete;

    // About 30 times a second: hands the interface what changed and lets it do its own work.
    // False once the interface asks to be closed.
    bool update();
    // Our window changed size; interfaces that can follow are told.
    void resized(int width, int height);

private:
    struct Impl;
    explicit UiHost(Plugin& plugin);
    std::unique_ptr<Impl> d;
};

}  // namespace platform::lv2
