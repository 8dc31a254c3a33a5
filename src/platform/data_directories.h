// The freedesktop base directories where desktop entries, MIME packages and icons live.
#pragma once

#include <filesystem>
#include <vector>

namespace mandrel {

// $XDG_DATA_HOME when it is an absolute path, else ~/.local/share.
std::filesystem::path UserDataDirectory();
// The user's data directory, then those of $XDG_DATA_DIRS (absolute ones only; by default
// /usr/local/share and /usr/share), in the order they are searched.
std::vector<std::filesystem::path> DataDirectories();

}  // namespace mandrel
