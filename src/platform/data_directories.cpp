#include "platform/data_directories.h"

#include <string>
#include <string_view>

#include "core/text_util.h"

namespace mandrel {

namespace fs = std::filesystem;

fs::path UserDataDirectory() {
    fs::path dataHome = EnvironmentValue("XDG_DATA_HOME");
    if (dataHome.is_absolute()) {
        return dataHome;
    }
    return fs::path(EnvironmentValue("HOME")) / ".local" / "share";
}

std::vector<fs::path> DataDirectories() {
    std::vector<fs::path> directories = {UserDataDirectory()};
    std::string list = EnvironmentValue("XDG_DATA_DIRS");
    if (list.empty()) {
        list = "/usr/local/share:/usr/share";
    }
    std::string_view rest = list;
    while (!rest.empty()) {
        const std::size_t colon = rest.find(':');
        const fs::path directory = rest.substr(0, colon);
        rest = colon == std::string_view::npos ? std::string_view() : rest.substr(colon + 1);
        // Relative entries are to be ignored.
        if (directory.is_absolute()) {
            directories.push_back(directory);
        }
    }
    return directories;
}

}  // namespace mandrel
