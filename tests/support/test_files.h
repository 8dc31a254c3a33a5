// Files for tests: a temporary directory removed with its contents, whole-file reads and
// writes, and repeatable pseudo-random data.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <string_view>

namespace mandrel::test {

class TempDir {
public:
    TempDir();
    ~TempDir();
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;
    const std::filesystem::path& path() const { return path_; }
    std::string File(std::string_view name) const { return (path_ / name).string(); }

private:
    std::filesystem::path path_;
};

void WriteFile(const std::string& path, std::string_view bytes);
std::string ReadFile(const std::string& path);
std::string RandomBytes(uint64_t seed, std::size_t size);
// Every file name in a directory, sorted.
std::string ListDirectory(const std::filesystem::path& directory);

}  // namespace mandrel::test
