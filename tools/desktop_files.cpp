// Writes the desktop files of an installation, the same the program's R switch writes for one
// user: the MIME package, the desktop entry and the icons, under a data directory.
//
//   mandrel_desktop_files DATA_DIRECTORY PROGRAM_PATH [--update-caches]
//
// The build runs it at install time; --update-caches also runs the desktop's cache tools over
// the directory (a package leaves that to the system's own triggers).
#include <cstdio>
#include <string>
#include <string_view>

#include "core/version_strings.h"
#include "platform/file_associations.h"

int main(int argc, char** argv) {
    if (argc < 3 || argc > 4 || (argc == 4 && std::string_view(argv[3]) != "--update-caches")) {
        std::fprintf(stderr, "usage: %s DATA_DIRECTORY PROGRAM_PATH [--update-caches]\n", argv[0]);
        return 2;
    }
    const std::filesystem::path data = argv[1];
    int failures = mandrel::WriteDesktopFiles(data, argv[2], mandrel::version::kProductName);
    if (failures == 0 && argc == 4) {
        failures = mandrel::UpdateDesktopCaches(data);
    }
    if (failures != 0) {
        std::fprintf(stderr, "%s: %d of the desktop files and caches could not be made under %s\n",
                     argv[0], failures, data.c_str());
        return 1;
    }
    return 0;
}
