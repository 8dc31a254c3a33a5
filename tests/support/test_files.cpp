#include "support/test_files.h"

#include <algorithm>
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

std::string ListDirectory(const std::filesystem::path& directory) {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(directory)) {
        names.push_back(entry.path().filename().string());
    }
    std::sort(names.begin(), names.end());
    std::string list;
    for (const auto& name : names) {
        list += list.empty() ? name : " " + name;
    }
    return list;
}

}  // namespace mandrel::test
