// Where the running program's file is: the settings' fullpath, and the desktop program's help
// document beside it.
#pragma once

#include <string>

namespace mandrel {

// The program file's full path (at most 255 characters); argv0 made absolute when the system
// does not say.
std::string ProgramPath(const char* argv0);

}  // namespace mandrel
