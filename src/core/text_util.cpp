#include "core/text_util.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <random>

#include "core/config.h"

namespace mandrel {

std::string_view FileNamePart(std::string_view path) {
    const std::size_t cut = path.find_last_of("\\/:");
    return cut == std::string_view::npos ? path : path.substr(cut + 1);
}

std::string BaseNameNoExt(std::string_view path) {
    const std::size_t cut = path.find_last_of("\\/");
    std::string_view base = cut == std::string_view::npos ? path : path.substr(cut + 1);
    return std::string(base.substr(0, base.find('.')));
}

std::string_view SkipBlanks(std::string_view text) {
    const std::size_t first = text.find_first_not_of(" \t");
    return first == std::string_view::npos ? text.substr(text.size()) : text.substr(first);
}

std::size_t TokenEnd(std::string_view text) {
    const std::size_t end = text.find_first_of(" \t,");
    return end == std::string_view::npos ? text.size() : end;
}

std::string_view CutAtLineEnd(std::string_view text) {
    return text.substr(0, text.find_first_of("\r\n"));
}

int64_t FileSizeByName(const std::string& path) {
    std::error_code ec;
    const auto size = std::filesystem::file_size(path, ec);
    return ec ? -1 : static_cast<int64_t>(size);
}

bool FileExists(const std::string& path) {
    std::error_code ec;
    return std::filesystem::exists(std::filesystem::symlink_status(path, ec));
}

int FileNameCharClass(char c) {
    // Taken as signed: bytes 128 to 255 count as below 32.
    const auto value = static_cast<signed char>(c);
    if (value < 32) {
        return 0;
    }
    switch (c) {
        case '*':
        case '<':
        case '>':
        case '?':
        case '|':
            return 0;
        case '/':
        case ':':
        case '\\':
            return 2;
        case '"':
            return 3;
        default:
            return 1;
    }
}

int SanitizeFileName(std::string& name) {
    constexpr int kMaxSteps = 255;
    int replaced = 0;
    std::size_t componentStart = 0;
    std::size_t i = 0;
    int steps = 0;
    while (i < name.size()) {
        switch (FileNameCharClass(name[i])) {
            case 0:
                name[i] = '_';
                replaced = 1;
                break;
            case 2:
                componentStart = i + 1;
                break;
            case 3:
                name.erase(i, 1);
                continue;
            default:
                break;
        }
        ++i;
        if (++steps >= kMaxSteps) {
            name.resize(i);
            break;
        }
    }
    name.erase(0, componentStart);
    // "." and ".." name directories, never a file to create.
    if (name == "." || name == "..") {
        name.replace(0, name.size(), name.size(), '_');
        replaced = 1;
    }
    return replaced;
}

bool RemoveOutputFile(const std::string& path) {
    std::error_code ec;
    const auto status = std::filesystem::symlink_status(path, ec);
    if (ec || !(std::filesystem::is_regular_file(status) || std::filesystem::is_symlink(status))) {
        return false;
    }
    return std::filesystem::remove(path, ec);
}

unsigned CreateUniqueFile(std::string_view directory, std::string_view prefix, std::string& path) {
    std::random_device seed;
    std::mt19937 random(seed());
    constexpr int kAttempts = 100;
    for (int attempt = 0; attempt < kAttempts; ++attempt) {
        const unsigned number = (random() & 0xFFFFU) | 1U;
        char suffix[16];
        std::snprintf(suffix, sizeof suffix, "%04X.tmp", number);
        std::string candidate = JoinPath(directory, std::string(prefix) + suffix);
        errno = 0;
        // "x": fail when the name is taken, so two programs never share a file.
        // NOLINTNEXTLINE(cppcoreguidelines-owning-memory): closed at once below
        std::FILE* file = std::fopen(candidate.c_str(), "wbx");
        if (file != nullptr) {
            std::fclose(file);  // NOLINT(cppcoreguidelines-owning-memory)
            path = std::move(candidate);
            return number;
        }
        if (errno != EEXIST) {
            return 0;
        }
    }
    errno = EEXIST;
    return 0;
}

unsigned MakeTempFileName(std::string& path) {
    const char* tmpdir = std::getenv("TMPDIR");  // NOLINT(concurrency-mt-unsafe)
    const unsigned number =
        CreateUniqueFile(tmpdir != nullptr && *tmpdir != '\0' ? tmpdir : "/tmp", "mdr", path);
    if (number != 0) {
        // Decoded mail and clipboard text lands here; the shared directory must not show it to
        // other users.
        std::error_code ec;
        std::filesystem::permissions(
            path, std::filesystem::perms::owner_read | std::filesystem::perms::owner_write,
            std::filesystem::perm_options::replace, ec);
    }
    return number;
}

std::string_view EndOfLineString(const Config& config) {
    if (config.encodecrlf == kEolCrLf) {
        return "\r\n";
    }
    if (config.encodecrlf == kEolLf) {
        return "\n";
    }
    return "";
}

std::string JoinPath(std::string_view directory, std::string_view name) {
    std::string path(directory);
    if (!path.empty() && path.back() != '/') {
        path += '/';
    }
    path += name;
    return path;
}

std::string_view DirectoryPart(std::string_view path) {
    const std::size_t cut = path.rfind('/');
    return cut == std::string_view::npos ? std::string_view{} : path.substr(0, cut);
}

std::string EnvironmentValue(const char* name) {
    const char* value = std::getenv(name);  // NOLINT(concurrency-mt-unsafe): nothing sets it
    return value != nullptr ? value : "";
}

}  // namespace mandrel
