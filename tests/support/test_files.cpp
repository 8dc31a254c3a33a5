#include "support/test_files.h"

#include <sys/resource.h>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <random>
#include <sstream>
#include <stdexcept>
#include <vector>

namespace mandrel::test {

TempDir::TempDir() {
    std::random_device seed;
    const auto base = std::filesystem::temp_directory_path();
    for (int attempt = 0; attempt < 100; ++attempt) {
        auto candidate = base / ("mandrel-test-" + std::to_string(seed()));
        if (std::filesystem::create_directory(candidate)) {
            path_ = candidate;
            return;
        }
    }
    throw std::runtime_error("no temporary directory");
}

TempDir::~TempDir() {
    std::error_code ec;
    std::filesystem::remove_all(path_, ec);
}

ScopedEnv::ScopedEnv(std::string name, const std::string& value) : name_(std::move(name)) {
    if (const char* old = std::getenv(name_.c_str())) {  // NOLINT(concurrency-mt-unsafe)
        old_ = old;
    }
    ::setenv(name_.c_str(), value.c_str(), 1);  // NOLINT(concurrency-mt-unsafe)
}

ScopedEnv::~ScopedEnv() {
    if (old_) {
        ::setenv(name_.c_str(), old_->c_str(), 1);  // NOLINT(concurrency-mt-unsafe)
    } else {
        ::unsetenv(name_.c_str());  // NOLINT(concurrency-mt-unsafe)
    }
}

FileSizeLimit::FileSizeLimit(uint64_t bytes) {
    rlimit limit{};
    if (::getrlimit(RLIMIT_FSIZE, &limit) != 0 || limit.rlim_max < bytes) {
        return;
    }
    oldSoft_ = limit.rlim_cur;
    oldHandler_ = std::signal(SIGXFSZ, SIG_IGN);
    limit.rlim_cur = bytes;
    active_ = ::setrlimit(RLIMIT_FSIZE, &limit) == 0;
    if (!active_) {
        std::signal(SIGXFSZ, oldHandler_);
    }
}

FileSizeLimit::~FileSizeLimit() {
    rlimit limit{};
    if (!active_ || ::getrlimit(RLIMIT_FSIZE, &limit) != 0) {
        return;
    }
    limit.rlim_cur = oldSoft_;
    ::setrlimit(RLIMIT_FSIZE, &limit);
    std::signal(SIGXFSZ, oldHandler_);
}

void WriteFile(const std::string& path, std::string_view bytes) {
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
}

std::string ReadFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

std::string RandomBytes(uint64_t seed, std::size_t size) {
    std::mt19937_64 random(seed);
    std::string bytes(size, '\0');
    for (char& c : bytes) {
        c = static_cast<char>(random() & 0xFFU);
    }
    return bytes;
}

std::string ListDirectory(const std::filesystem::path& directory, bool hidden) {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(directory)) {
        const std::string name = entry.path().filename().string();
        if (hidden || !name.starts_with('.')) {
            names.push_back(name);
        }
    }
    std::sort(names.begin(), names.end());
    std::string list;
    for (const auto& name : names) {
        list += list.empty() ? name : " " + name;
    }
    return list;
}

std::string WithLineEnds(std::string_view text, std::string_view eol) {
    std::string out;
    for (const char c : text) {
        if (c == '\n') {
            out += eol;
        } else {
            out += c;
        }
    }
    return out;
}

std::vector<std::string_view> SplitLines(std::string_view text) {
    std::vector<std::string_view> lines;
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t end = std::min(text.find('\n', at), text.size());
        lines.push_back(text.substr(at, end - at));
        at = end + 1;
    }
    return lines;
}

std::span<const unsigned char> Bytes(std::string_view text) {
    return {reinterpret_cast<const unsigned char*>(text.data()), text.size()};
}

std::string Hex(std::string_view bytes) {
    static constexpr char kDigits[] = "0123456789abcdef";
    std::string text;
    for (const char c : bytes) {
        const auto b = static_cast<unsigned char>(c);
        text += kDigits[b >> 4];
        text += kDigits[b & 0x0FU];
    }
    return text;
}

std::optional<uint32_t> SystemSumR(const std::string& path) {
    const std::string command = "sum -r '" + path + "' 2>/dev/null";
    std::FILE* pipe = ::popen(command.c_str(), "r");  // NOLINT(cert-env33-c)
    if (pipe == nullptr) {
        return std::nullopt;
    }
    unsigned value = 0;
    const int got = std::fscanf(pipe, "%u", &value);
    ::pclose(pipe);
    return got == 1 ? std::optional<uint32_t>(value) : std::nullopt;
}

uint16_t Crc16Xmodem(std::string_view bytes) {
    uint32_t crc = 0;
    for (const char c : bytes) {
        crc ^= static_cast<uint32_t>(static_cast<unsigned char>(c)) << 8;
        for (int i = 0; i < 8; ++i) {
            crc = (crc & 0x8000U) != 0 ? (crc << 1) ^ 0x1021U : crc << 1;
        }
    }
    return static_cast<uint16_t>(crc);
}

}  // namespace mandrel::test
