#include "core/program_lookup.h"

#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <string_view>

namespace mandrel {

bool ProgramOnPath(const std::string& program) {
    namespace fs = std::filesystem;
    if (program.find('/') != std::string::npos) {
        return ::access(program.c_str(), X_OK) == 0;
    }
    const char* path = std::getenv("PATH");  // NOLINT(concurrency-mt-unsafe): nothing sets it
    std::string_view rest = path != nullptr ? path : "/usr/local/bin:/usr/bin:/bin";
    while (!rest.empty()) {
        const std::size_t colon = rest.find(':');
        const std::string_view directory = rest.substr(0, colon);
        rest = colon == std::string_view::npos ? std::string_view() : rest.substr(colon + 1);
        const fs::path candidate = fs::path(directory.empty() ? "." : directory) / program;
        std::error_code ec;
        if (fs::is_regular_file(candidate, ec) && ::access(candidate.c_str(), X_OK) == 0) {
            return true;
        }
    }
    return false;
}

}  // namespace mandrel
