#include "platform/desktop_clipboard.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <vector>

#include "core/format.h"

extern char** environ;  // NOLINT(readability-redundant-declaration): POSIX leaves it undeclared

namespace mandrel {

namespace {

// The helper that holds the clipboard for a session kind, with its arguments.
struct ClipboardHelper {
    const char* program;
    std::vector<const char*> arguments;
};

ClipboardHelper HelperFor(const DesktopSession& session) {
    if (!session.waylandDisplay.empty()) {
        return {"wl-copy", {"wl-copy", "--type", "text/plain"}};
    }
    return {"xclip", {"xclip", "-selection", "clipboard", "-in"}};
}

ClipboardResult Failure(const char* action, std::string reason) {
    return {.ok = false, .failedAction = action, .errorCode = 0, .reason = std::move(reason)};
}

// Writes all of text to fd; false when the reader went away.
bool WriteAll(int fd, std::string_view text) {
    while (!text.empty()) {
        const ssize_t wrote = ::write(fd, text.data(), text.size());
        if (wrote < 0 && errno == EINTR) {
            continue;
        }
        if (wrote <= 0) {
            return false;
        }
        text.remove_prefix(static_cast<std::size_t>(wrote));
    }
    return true;
}

// Runs the helper with text on its standard input. The helper leaves a process behind that
// serves the clipboard; its output goes to /dev/null so that it holds no pipe of ours open.
ClipboardResult RunHelper(const ClipboardHelper& helper, std::string_view text) {
    std::array<int, 2> pipeEnds{};
    if (::pipe2(pipeEnds.data(), O_CLOEXEC) != 0) {
        return {.ok = false, .failedAction = "Open", .errorCode = errno, .reason = {}};
    }
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, pipeEnds[0], STDIN_FILENO);
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
    posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
    std::vector<char*> argv;
    for (const char* argument : helper.arguments) {
        argv.push_back(const_cast<char*>(argument));  // NOLINT: posix_spawn's old signature
    }
    argv.push_back(nullptr);
    pid_t child = 0;
    const int spawned =
        ::posix_spawnp(&child, helper.program, &actions, nullptr, argv.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    ::close(pipeEnds[0]);
    if (spawned != 0) {
        ::close(pipeEnds[1]);
        return Failure("Open", Format("%s is needed to hand the text to the desktop's clipboard "
                                      "and could not be started (is it installed?).",
                                      helper.program));
    }
    // A helper that dies early must not take the program with it through SIGPIPE.
    struct sigaction ignore {};
    struct sigaction previous {};
    ignore.sa_handler = SIG_IGN;
    ::sigaction(SIGPIPE, &ignore, &previous);
    const bool written = WriteAll(pipeEnds[1], text);
    ::close(pipeEnds[1]);
    ::sigaction(SIGPIPE, &previous, nullptr);
    int status = 0;
    while (::waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    if (!written || !WIFEXITED(status) || WEXITSTATUS(status) != 0) {
        return Failure("Write Encoded Data to",
                       Format("%s could not take the text over (exit status %d).", helper.program,
                              WIFEXITED(status) ? WEXITSTATUS(status) : -1));
    }
    return {};
}

std::string EnvironmentValue(const char* name) {
    const char* value = std::getenv(name);  // NOLINT(concurrency-mt-unsafe): read at start
    return value != nullptr ? value : "";
}

}  // namespace

DesktopSession DesktopSession::FromEnvironment() {
    return {EnvironmentValue("WAYLAND_DISPLAY"), EnvironmentValue("DISPLAY")};
}

ClipboardResult PutTextOnDesktopClipboard(std::string_view text, const DesktopSession& session) {
    if (!session.Present()) {
        return Failure("Open",
                       "There is no desktop session to hold it: neither WAYLAND_DISPLAY nor "
                       "DISPLAY is set. Encode to a file instead (without -C).");
    }
    return RunHelper(HelperFor(session), text);
}

}  // namespace mandrel
