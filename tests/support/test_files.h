// Files for tests: a temporary directory removed with its contents, whole-file reads and
// writes, repeatable pseudo-random data and an environment variable set for one scope.
#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
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

// Sets an environment variable until the object goes, then puts the old value back.
class ScopedEnv {
public:
    ScopedEnv(std::string name, const std::string& value);
    ~ScopedEnv();
    ScopedEnv(const ScopedEnv&) = delete;
    ScopedEnv& operator=(const ScopedEnv&) = delete;

private:
    std::string name_;
    std::optional<std::string> old_;
};

void WriteFile(const std::string& path, std::string_view bytes);
std::string ReadFile(const std::string& path);
std::string RandomBytes(uint64_t seed, std::size_t size);
// Every file name in a directory, sorted.
std::string ListDirectory(const std::filesystem::path& directory);

}  // namespace mandrel::test
