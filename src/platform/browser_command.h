// The user's browser, for when the desktop cannot open an address itself: the program that
// opens HTML documents, as xdg-mime names it, started with the Exec line of its desktop entry.
#pragma once

#include <optional>
#include <span>
#include <string>
#include <vector>

namespace mandrel {

// The program and arguments that open HTML documents (field codes left out), or nothing when
// xdg-mime names no program or its entry cannot be read.
std::optional<std::vector<std::string>> BrowserCommand();

// Starts a command without waiting for it; true when it started.
bool StartCommand(std::span<const std::string> command);

}  // namespace mandrel
