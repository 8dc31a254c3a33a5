#include "core/write_behind.h"

#include <cerrno>

namespace mandrel {

WriteBehind::WriteBehind(std::FILE* file)
    : file_(file), thread_([this](const std::stop_token& stop) { Run(stop); }) {}

WriteBehind::~WriteBehind() {
    Wait();
    thread_.request_stop();
}

int WriteBehind::Wait() {
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [this] { return !busy_; });
    return error_;
}

void WriteBehind::Start(std::span<const char> bytes) {
    {
        const std::scoped_lock lock(mutex_);
        pending_ = bytes;
        busy_ = true;
    }
    changed_.notify_all();
}

void WriteBehind::Run(const std::stop_token& stop) {
    std::unique_lock lock(mutex_);
    while (changed_.wait(lock, stop, [this] { return busy_; })) {
        const std::span<const char> bytes = pending_;
        lock.unlock();
        errno = 0;
        const std::size_t put = std::fwrite(bytes.data(), 1, bytes.size(), file_);
        const int error = put == bytes.size() ? 0 : (errno != 0 ? errno : EIO);
        if (error != 0) {
            std::clearerr(file_);
        }
        lock.lock();
        if (error_ == 0) {
            error_ = error;
        }
        busy_ = false;
        changed_.notify_all();
    }
}

}  // namespace mandrel
