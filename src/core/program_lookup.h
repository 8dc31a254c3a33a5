// Finding another program the way a shell does.
#pragma once

#include <string>

namespace mandrel {

// Whether a program of that name can be found on PATH (or, with a slash, at that path) and run.
bool ProgramOnPath(const std::string& program);

}  // namespace mandrel
