// The request to stop the running job. The back end sets it from its event loop (or another
// thread); the engines look at it at the top of their loops and stop cleanly.
#pragma once

#include <atomic>

namespace mandrel {

class CancelToken {
public:
    void Request() noexcept { requested_.store(true, std::memory_order_relaxed); }
    void Reset() noexcept { requested_.store(false, std::memory_order_relaxed); }
    bool Requested() const noexcept { return requested_.load(std::memory_order_relaxed); }

private:
    std::atomic<bool> requested_{false};
};

}  // namespace mandrel
