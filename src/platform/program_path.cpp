#include "platform/program_path.h"

#include <filesystem>

namespace mandrel {

namespace {

constexpr std::size_t kMaxProgramPath = 255;

}  // namespace

std::string ProgramPath(const char* argv0) {
    std::error_code ec;
    std::string path = std::filesystem::read_symlink("/proc/self/exe", ec).string();
    if (path.empty() && argv0 != nullptr) {
        path = std::filesystem::absolute(argv0, ec).string();
    }
    if (path.size() > kMaxProgramPath) {
        path.resize(kMaxProgramPath);
    }
    return path;
}

}  // namespace mandrel
