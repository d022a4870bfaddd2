#pragma once
#include <QString>
#include <initializer_list>
#include <utility>

namespace platform {

// An outside library opened the first time a feature needs it, instead of at start: a program
// pays for loading it (and everything it depends on) only when it uses the feature. Libraries
// opened here stay loaded until the program ends.
//
// Fills each pointer with the named function from the library soname ("libfoo.so.3") or one it
// depends on. False, with the reason, when the library or a function can't be found.
bool openSharedLibrary(const char* soname, std::initializer_list<std::pair<void**, const char*>> functions,
                       QString* error);

}  // namespace platform

// One entry of openSharedLibrary's list: the member of api named like the library's function.
#define WL_LIBRARY_FUNCTION(api, name) std::pair<void**, const char*>(reinterpret_cast<void**>(&(api).name), #name)
