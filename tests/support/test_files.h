// Files for tests: a temporary directory removed with its contents, whole-file reads and
// writes, repeatable pseudo-random data, and an environment variable or a file size limit set for
// one scope.
#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

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

// Limits the size of the files the process writes until the object goes (a write past it fails
// with EFBIG instead of raising SIGXFSZ), then puts the old limit back.
class FileSizeLimit {
public:
    explicit FileSizeLimit(uint64_t bytes);
    ~FileSizeLimit();
    FileSizeLimit(const FileSizeLimit&) = delete;
    FileSizeLimit& operator=(const FileSizeLimit&) = delete;
    bool Active() const { return active_; }

private:
    uint64_t oldSoft_ = 0;
    void (*oldHandler_)(int) = nullptr;  // SIGXFSZ's
    bool active_ = false;
};

void WriteFile(const std::string& path, std::string_view bytes);
std::string ReadFile(const std::string& path);
std::string RandomBytes(uint64_t seed, std::size_t size);
std::span<const unsigned char> Bytes(std::string_view text);
// The text with every LF replaced by eol.
std::string WithLineEnds(std::string_view text, std::string_view eol);
// The lines of a text without their LF; a last line without one counts too.
std::vector<std::string_view> SplitLines(std::string_view text);
// Lower-case hexadecimal digits of the bytes, for readable failures.
std::string Hex(std::string_view bytes);
// The checksum coreutils' "sum -r" prints for a file: an independent sum. None without sum.
std::optional<uint32_t> SystemSumR(const std::string& path);
// CRC-16/XMODEM in its usual form, written from its definition: what BinHex's CRC must equal.
uint16_t Crc16Xmodem(std::string_view bytes);
// Every file name in a directory, sorted; with hidden false, those starting with "." left out.
std::string ListDirectory(const std::filesystem::path& directory, bool hidden = true);

}  // namespace mandrel::test
