#include "platform/child_process.h"

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <string_view>
#include <vector>

extern char** environ;  // NOLINT(readability-redundant-declaration): POSIX leaves it undeclared

namespace mandrel {

namespace {

constexpr int kExitNotStarted = 127;
constexpr int kPollMilliseconds = 16;

// The argument vector posix_spawn takes, pointing into arguments.
std::vector<char*> ArgumentVector(std::span<const std::string> arguments) {
    std::vector<char*> argv;
    argv.reserve(arguments.size() + 1);
    for (const std::string& argument : arguments) {
        argv.push_back(const_cast<char*>(argument.c_str()));  // NOLINT: posix_spawn's signature
    }
    argv.push_back(nullptr);
    return argv;
}

// Standard input from inFd and standard output to outFd (each /dev/null when it is -1);
// standard error to /dev/null.
class SpawnActions {
public:
    SpawnActions(int inFd, int outFd) {
        posix_spawn_file_actions_init(&actions_);
        if (inFd >= 0) {
            posix_spawn_file_actions_adddup2(&actions_, inFd, STDIN_FILENO);
        } else {
            posix_spawn_file_actions_addopen(&actions_, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
        }
        if (outFd >= 0) {
            posix_spawn_file_actions_adddup2(&actions_, outFd, STDOUT_FILENO);
        } else {
            posix_spawn_file_actions_addopen(&actions_, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
        }
        posix_spawn_file_actions_addopen(&actions_, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
    }
    ~SpawnActions() { posix_spawn_file_actions_destroy(&actions_); }
    SpawnActions(const SpawnActions&) = delete;
    SpawnActions& operator=(const SpawnActions&) = delete;
    const posix_spawn_file_actions_t* get() const { return &actions_; }

private:
    posix_spawn_file_actions_t actions_{};
};

std::optional<pid_t> Spawn(std::span<const std::string> arguments, int inFd, int outFd,
                           const posix_spawnattr_t* attributes = nullptr) {
    if (arguments.empty()) {
        return std::nullopt;
    }
    const SpawnActions actions(inFd, outFd);
    std::vector<char*> argv = ArgumentVector(arguments);
    pid_t child = 0;
    if (::posix_spawnp(&child, argv[0], actions.get(), attributes, argv.data(), environ) != 0) {
        return std::nullopt;
    }
    return child;
}

// The child's exit status, or nothing when it did not exit normally.
std::optional<int> Wait(pid_t child) {
    int status = 0;
    while (::waitpid(child, &status, 0) < 0) {
        if (errno != EINTR) {
            return std::nullopt;
        }
    }
    if (!WIFEXITED(status)) {
        return std::nullopt;
    }
    return WEXITSTATUS(status);
}

class Pipe {
public:
    Pipe() { ok_ = ::pipe2(ends_.data(), O_CLOEXEC) == 0; }
    ~Pipe() {
        CloseReadEnd();
        CloseWriteEnd();
    }
    Pipe(const Pipe&) = delete;
    Pipe& operator=(const Pipe&) = delete;
    bool ok() const { return ok_; }
    int ReadEnd() const { return ends_[0]; }
    int WriteEnd() const { return ends_[1]; }
    void CloseReadEnd() { Close(0); }
    void CloseWriteEnd() { Close(1); }

private:
    void Close(std::size_t end) {
        if (ok_ && ends_[end] >= 0) {
            ::close(ends_[end]);
            ends_[end] = -1;
        }
    }

    std::array<int, 2> ends_{-1, -1};
    bool ok_ = false;
};

std::string ReadAll(int fd) {
    std::string text;
    std::array<char, 4096> buffer{};
    for (;;) {
        const ssize_t got = ::read(fd, buffer.data(), buffer.size());
        if (got < 0 && errno == EINTR) {
            continue;
        }
        if (got <= 0) {
            return text;
        }
        text.append(buffer.data(), static_cast<std::size_t>(got));
    }
}

// SIGPIPE ignored while the object lives: a program that ends before it has read its input
// must not end us.
class IgnorePipeSignal {
public:
    IgnorePipeSignal() {
        struct sigaction ignore {};
        ignore.sa_handler = SIG_IGN;
        ::sigaction(SIGPIPE, &ignore, &previous_);
    }
    ~IgnorePipeSignal() { ::sigaction(SIGPIPE, &previous_, nullptr); }
    IgnorePipeSignal(const IgnorePipeSignal&) = delete;
    IgnorePipeSignal& operator=(const IgnorePipeSignal&) = delete;

private:
    struct sigaction previous_ {};
};

// Writes all of text to a non-blocking fd, asking keepGoing between tries; false when the
// reader went away or keepGoing said stop (stopped is then set).
bool WriteAll(int fd, std::string_view text, const std::function<bool()>& keepGoing,
              bool& stopped) {
    while (!text.empty()) {
        pollfd ready{fd, POLLOUT, 0};
        if (::poll(&ready, 1, kPollMilliseconds) > 0) {
            const ssize_t wrote = ::write(fd, text.data(), text.size());
            if (wrote < 0 && errno != EINTR && errno != EAGAIN) {
                return false;
            }
            if (wrote > 0) {
                text.remove_prefix(static_cast<std::size_t>(wrote));
            }
        }
        if (keepGoing && !keepGoing()) {
            stopped = true;
            return false;
        }
    }
    return true;
}

// The child's exit status, asking keepGoing while it runs; a stop ends it. Nothing when it did
// not exit normally.
std::optional<int> WaitAsking(pid_t child, const std::function<bool()>& keepGoing, bool& stopped) {
    int status = 0;
    for (;;) {
        const pid_t done = ::waitpid(child, &status, WNOHANG);
        if (done == child) {
            break;
        }
        if (done < 0 && errno != EINTR) {
            return std::nullopt;
        }
        if (!stopped && keepGoing && !keepGoing()) {
            stopped = true;
            ::kill(child, SIGTERM);
        }
        ::poll(nullptr, 0, kPollMilliseconds);
    }
    if (!WIFEXITED(status)) {
        return std::nullopt;
    }
    return WEXITSTATUS(status);
}

}  // namespace

std::optional<int> RunAndWait(std::span<const std::string> arguments) {
    const std::optional<pid_t> child = Spawn(arguments, -1, -1);
    if (!child) {
        return std::nullopt;
    }
    return Wait(*child);
}

std::optional<std::string> RunForOutput(std::span<const std::string> arguments) {
    Pipe output;
    if (!output.ok()) {
        return std::nullopt;
    }
    const std::optional<pid_t> child = Spawn(arguments, -1, output.WriteEnd());
    output.CloseWriteEnd();
    if (!child) {
        return std::nullopt;
    }
    std::string text = ReadAll(output.ReadEnd());
    if (Wait(*child) != 0) {
        return std::nullopt;
    }
    return text;
}

bool StartDetached(std::span<const std::string> arguments) {
    // A child that starts the program in a session of its own and exits at once: the program
    // becomes init's, so it neither stays behind as our zombie nor ends with us.
    const pid_t middle = ::fork();
    if (middle < 0) {
        return false;
    }
    if (middle == 0) {
        posix_spawnattr_t attributes;
        posix_spawnattr_init(&attributes);
        posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSID);
        const bool started = Spawn(arguments, -1, -1, &attributes).has_value();
        ::_exit(started ? 0 : kExitNotStarted);
    }
    return Wait(middle) == 0;
}

FedRun RunFeeding(std::span<const std::string> arguments, std::string_view input,
                  const std::function<bool()>& keepGoing) {
    FedRun run;
    Pipe feed;
    if (!feed.ok()) {
        return run;
    }
    const std::optional<pid_t> child = Spawn(arguments, feed.ReadEnd(), -1);
    feed.CloseReadEnd();
    if (!child) {
        return run;
    }
    run.started = true;
    {
        const IgnorePipeSignal ignore;
        ::fcntl(feed.WriteEnd(), F_SETFL, O_NONBLOCK);
        run.fed = WriteAll(feed.WriteEnd(), input, keepGoing, run.stopped);
        feed.CloseWriteEnd();
    }
    if (run.stopped) {
        ::kill(*child, SIGTERM);
    }
    run.status = WaitAsking(*child, keepGoing, run.stopped);
    return run;
}

bool ProgramOnPath(const std::string& program) {
    namespace fs = std::filesystem;
    if (program.find('/') != std::string::npos) {
        return ::access(program.c_str(), X_OK) == 0;
    }
    const char* path = std::getenv("PATH");  // NOLINT(concurrency-mt-unsafe): nothing sets it
    std::string_view rest = path != nullptr ? path : "/usr/local/bin:/usr/bin:/bin";
    while (!rest.empty()) {
        const std::size_t colon = rest.find(':');
        const std::string_view directory = rest.substr(0, colon);
        rest = colon == std::string_view::npos ? std::string_view() : rest.substr(colon + 1);
        const fs::path candidate = fs::path(directory.empty() ? "." : directory) / program;
        std::error_code ec;
        if (fs::is_regular_file(candidate, ec) && ::access(candidate.c_str(), X_OK) == 0) {
            return true;
        }
    }
    return false;
}

}  // namespace mandrel
