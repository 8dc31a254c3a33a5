#include "mail/sendmail_transport.h"

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <optional>
#include <string_view>
#include <utility>

#include "core/program_lookup.h"
#include "mail/mail_codes.h"

extern char** environ;  // NOLINT(readability-redundant-declaration): POSIX leaves it undeclared

namespace mandrel {

namespace {

constexpr int kPollMilliseconds = 16;

// What a sendmail's exit status says (sysexits.h), for the mail system's table.
constexpr std::array<std::pair<int, int>, 9> kExitMeanings = {{
    {0, kMailSuccess},
    {65, kMailUnknownRecipient},  // EX_DATAERR: msmtp says a refused address with it
    {67, kMailUnknownRecipient},  // EX_NOUSER
    {68, kMailNetworkFailure},    // EX_NOHOST
    {69, kMailNetworkFailure},    // EX_UNAVAILABLE
    {74, kMailNetworkFailure},    // EX_IOERR
    {75, kMailNetworkFailure},    // EX_TEMPFAIL
    {76, kMailNetworkFailure},    // EX_PROTOCOL
    {77, kMailAccessDenied},      // EX_NOPERM
}};

int MailCodeForExit(int status) {
    for (const auto& [exit, mail] : kExitMeanings) {
        if (exit == status) {
            return mail;
        }
    }
    return kMailFailure;
}

// SIGPIPE ignored while the object lives: a sendmail that ends early must not end us.
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

class Fd {
public:
    explicit Fd(int fd = -1) : fd_(fd) {}
    ~Fd() { Close(); }
    Fd(const Fd&) = delete;
    Fd& operator=(const Fd&) = delete;
    int get() const { return fd_; }
    void Close() {
        if (fd_ >= 0) {
            ::close(fd_);
            fd_ = -1;
        }
    }

private:
    int fd_;
};

// Writes all of text to fd without blocking the caller for long; false when the reader went
// away or keepGoing said stop (stopped is then set).
bool WriteAll(int fd, std::string_view text, const KeepGoing& keepGoing, bool& stopped) {
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
std::optional<int> WaitFor(pid_t child, const KeepGoing& keepGoing, bool& stopped) {
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

std::vector<std::string> SendmailWords(const std::string& command) {
    std::vector<std::string> words;
    std::string word;
    bool quoted = false;
    bool inWord = false;
    for (const char c : command) {
        if (c == '"') {
            quoted = !quoted;
            inWord = true;
        } else if ((c == ' ' || c == '\t') && !quoted) {
            if (inWord) {
                words.push_back(std::move(word));
                word.clear();
            }
            inWord = false;
        } else {
            word += c;
            inWord = true;
        }
    }
    if (inWord) {
        words.push_back(std::move(word));
    }
    return words;
}

int CheckSendmail(const std::string& command) {
    const std::vector<std::string> words = SendmailWords(command);
    return !words.empty() && ProgramOnPath(words.front()) ? kMailSuccess : kMailNotSupported;
}

int SendBySendmail(const std::string& command, const std::string& text,
                   const KeepGoing& keepGoing) {
    std::vector<std::string> words = SendmailWords(command);
    if (words.empty()) {
        return kMailNotSupported;
    }
    words.emplace_back("-t");
    words.emplace_back("-i");
    std::array<int, 2> ends{};
    if (::pipe2(ends.data(), O_CLOEXEC) != 0) {
        return kMailFailure;
    }
    Fd readEnd(ends[0]);
    Fd writeEnd(ends[1]);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, readEnd.get(), STDIN_FILENO);
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
    posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
    std::vector<char*> argv;
    argv.reserve(words.size() + 1);
    for (std::string& word : words) {
        argv.push_back(word.data());
    }
    argv.push_back(nullptr);
    pid_t child = 0;
    const int spawned = ::posix_spawnp(&child, argv[0], &actions, nullptr, argv.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    readEnd.Close();
    if (spawned != 0) {
        return kMailNotSupported;
    }
    bool stopped = false;
    {
        const IgnorePipeSignal ignore;
        ::fcntl(writeEnd.get(), F_SETFL, O_NONBLOCK);
        WriteAll(writeEnd.get(), text, keepGoing, stopped);
        writeEnd.Close();
    }
    if (stopped) {
        ::kill(child, SIGTERM);
    }
    const std::optional<int> status = WaitFor(child, keepGoing, stopped);
    if (stopped) {
        return kMailUserAbort;
    }
    return status ? MailCodeForExit(*status) : kMailFailure;
}

}  // namespace mandrel
