#include "standard_streams.h"

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <vector>

namespace mandrel {

namespace {

constexpr std::size_t kCopyBlock = std::size_t{256} * 1024;

struct FileCloser {
    void operator()(std::FILE* file) const {
        std::fclose(file);  // NOLINT(cppcoreguidelines-owning-memory)
    }
};
using File = std::unique_ptr<std::FILE, FileCloser>;

bool Copy(std::FILE* from, std::FILE* to) {
    std::vector<char> block(kCopyBlock);
    for (;;) {
        const std::size_t got = std::fread(block.data(), 1, block.size(), from);
        if (got > 0 && std::fwrite(block.data(), 1, got, to) != got) {
            return false;
        }
        if (got < block.size()) {
            return std::ferror(from) == 0;
        }
    }
}

}  // namespace

PrivateDirectory::~PrivateDirectory() {
    if (Made()) {
        std::error_code ec;
        std::filesystem::remove_all(path_, ec);
    }
}

bool PrivateDirectory::Make() {
    const char* tmpdir = std::getenv("TMPDIR");  // NOLINT(concurrency-mt-unsafe)
    std::string pattern = tmpdir != nullptr && *tmpdir != '\0' ? tmpdir : "/tmp";
    pattern += "/mdrXXXXXX";
    // mkdtemp makes the directory with mode 0700.
    if (::mkdtemp(pattern.data()) == nullptr) {
        return false;
    }
    path_ = std::move(pattern);
    return true;
}

bool CopyStreamToFile(std::FILE* stream, const std::string& path) {
    const File file(std::fopen(path.c_str(), "wbx"));
    if (!file) {
        return false;
    }
    return Copy(stream, file.get()) && std::fflush(file.get()) == 0;
}

bool CopyFileToStream(const std::string& path, std::FILE* stream) {
    const File file(std::fopen(path.c_str(), "rb"));
    if (!file) {
        return false;
    }
    return Copy(file.get(), stream) && std::fflush(stream) == 0;
}

}  // namespace mandrel
