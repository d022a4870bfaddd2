#include "shell/ToolFront.h"

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstring>
#include <string>
#include <unistd.h>

namespace tool {

FrontCommand frontCommandOf(int argc, const char* const* argv)
{
    int i = 1;
    while (i < argc && std::strncmp(argv[i], "--", 2) == 0) {
        if (std::strcmp(argv[i], "--library") != 0 || i + 1 >= argc)
            return FrontCommand::None;
        i += 2;
    }
    if (i >= argc)
        return FrontCommand::None;
    if (std::strcmp(argv[i], "ls") == 0)
        return FrontCommand::Ls;
    if (std::strcmp(argv[i], "info") == 0)
        return FrontCommand::Info;
    return FrontCommand::None;
}

int runWholeTool(char** argv)
{
    // No Qt here: the whole tool starts before this program has set anything up.
    char self[PATH_MAX];
    const ssize_t n = ::readlink("/proc/self/exe", self, sizeof self - 1);
    if (n <= 0) {
        std::fprintf(stderr, "wavelocker-tool: cannot find its own program file: %s\n", std::strerror(errno));
        return 1;
    }
    self[n] = 0;
    std::string dir(self);
    dir.erase(dir.rfind('/') + 1);
    const std::string candidates[] = {dir + kWholeToolName, dir + "../lib/wavelocker/" + kWholeToolName};
    int error = ENOENT;
    for (const std::string& path : candidates) {
        if (::access(path.c_str(), X_OK) != 0)
            continue;
        argv[0] = const_cast<char*>(path.c_str());
        ::execv(path.c_str(), argv);
        error = errno;
    }
    std::fprintf(stderr, "wavelocker-tool: cannot start %s: %s\n", kWholeToolName, std::strerror(error));
    return 1;
}

}  // namespace tool
