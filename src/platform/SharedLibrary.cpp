#include "platform/SharedLibrary.h"

#include <dlfcn.h>

namespace platform {

bool openSharedLibrary(const char* soname, std::initializer_list<std::pair<void**, const char*>> functions,
                       QString* error)
{
    void* handle = ::dlopen(soname, RTLD_NOW | RTLD_LOCAL);
    if (!handle) {
        *error = QString::fromLocal8Bit(::dlerror());
        return false;
    }
    for (const auto& [pointer, name] : functions) {
        *pointer = ::dlsym(handle, name);
        if (!*pointer) {
            *error = QStringLiteral("%1 has no %2").arg(QLatin1String(soname), QLatin1String(name));
            return false;
        }
    }
    return true;
}

}  // namespace platform
