// Other programs the desktop integration starts: the desktop's cache tools, xdg-mime and the
// user's browser. Each is found on PATH; none inherits our standard input.
#pragma once

#include <optional>
#include <span>
#include <string>

#include "core/program_lookup.h"

namespace mandrel {

// Runs arguments[0] with the arguments and waits for it: its exit status, or nothing when it
// could not be started or did not exit normally. Its output is dropped.
std::optional<int> RunAndWait(std::span<const std::string> arguments);

// Runs it and waits: what it wrote to standard output when it exited with status 0, else
// nothing.
std::optional<std::string> RunForOutput(std::span<const std::string> arguments);

// Starts it without waiting and without keeping it as our child, so that it outlives the
// program; false when it could not be started.
bool StartDetached(std::span<const std::string> arguments);

}  // namespace mandrel
