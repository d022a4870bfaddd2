#pragma once

// The two programs behind `wavelocker-tool`: a small front that lists folders and describes
// files, linking only what those need, and the whole tool, to which it hands everything else.
namespace tool {

inline constexpr char kWholeToolName[] = "wavelocker-tool-all";

enum class FrontCommand { None, Ls, Info };

// The command the front runs itself for these arguments (global options included), or None
// when they belong to the whole tool: other commands, help, unknown options, no command.
FrontCommand frontCommandOf(int argc, const char* const* argv);

// Replaces this process with the whole tool, given the same arguments: beside this program in
// a build, in lib/wavelocker of an installation. Answers only when it could not be started.
int runWholeTool(char** argv);

}  // namespace tool
