#include "platform/child_process.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <string_view>
#include <vector>

extern char** environ;  // NOLINT(readability-redundant-declaration): POSIX leaves it undeclared

namespace mandrel {

namespace {

constexpr int kExitNotStarted = 127;

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

// Standard input from /dev/null; standard output to outFd (or /dev/null when it is -1);
// standard error to /dev/null.
class SpawnActions {
public:
    explicit SpawnActions(int outFd) {
        posix_spawn_file_actions_init(&actions_);
        posix_spawn_file_actions_addopen(&actions_, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
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

std::optional<pid_t> Spawn(std::span<const std::string> arguments, int outFd,
                           const posix_spawnattr_t* attributes = nullptr) {
    if (arguments.empty()) {
        return std::nullopt;
    }
    const SpawnActions actions(outFd);
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
        CloseWriteEnd();
        if (ok_) {
            ::close(ends_[0]);
        }
    }
    Pipe(const Pipe&) = delete;
    Pipe& operator=(const Pipe&) = delete;
    bool ok() const { return ok_; }
    int ReadEnd() const { return ends_[0]; }
    int WriteEnd() const { return ends_[1]; }
    void CloseWriteEnd() {
        if (ok_ && ends_[1] >= 0) {
            ::close(ends_[1]);
            ends_[1] = -1;
        }
    }

private:
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

}  // namespace

std::optional<int> RunAndWait(std::span<const std::string> arguments) {
    const std::optional<pid_t> child = Spawn(arguments, -1);
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
    const std::optional<pid_t> child = Spawn(arguments, output.WriteEnd());
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
        const bool started = Spawn(arguments, -1, &attributes).has_value();
        ::_exit(started ? 0 : kExitNotStarted);
    }
    return Wait(middle) == 0;
}

}  // namespace mandrel
