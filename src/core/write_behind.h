// A file being written in large buffers hands each full buffer to a thread of its own and goes
// on filling another: the system's copy of the data into the file then overlaps the work that
// makes the next buffer. One write is in flight at a time, so the data reaches the file in the
// order it was handed over.
#pragma once

#include <condition_variable>
#include <cstdio>
#include <mutex>
#include <span>
#include <stop_token>
#include <thread>

namespace mandrel {

class WriteBehind {
public:
    explicit WriteBehind(std::FILE* file);
    WriteBehind(const WriteBehind&) = delete;
    WriteBehind& operator=(const WriteBehind&) = delete;
    // Waits for the write in flight.
    ~WriteBehind();

    // Waits for the write in flight; the system error code of the first write that failed, 0
    // while every byte went: a file that lost data stays failed.
    int Wait();
    // Starts writing the bytes, which stay untouched until Wait returns. Only after a Wait.
    void Start(std::span<const char> bytes);

private:
    void Run(const std::stop_token& stop);

    std::FILE* file_;
    std::mutex mutex_;
    std::condition_variable_any changed_;
    std::span<const char> pending_;
    bool busy_ = false;
    int error_ = 0;
    std::jthread thread_;  // last, so that it starts after the members it uses
};

}  // namespace mandrel
