#include "platform/console_ui.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <optional>
#include <utility>

#include "core/text_util.h"

namespace mandrel {

namespace {

// The mail layer's "not supported" result code.
constexpr int kMailNotSupported = 26;

// The terminal, open for one question: closed again when the question is answered.
class Terminal {
public:
    explicit Terminal(const std::string& path) : fd_(::open(path.c_str(), O_RDWR | O_NOCTTY)) {}
    ~Terminal() {
        if (fd_ >= 0) {
            ::close(fd_);
        }
    }
    Terminal(const Terminal&) = delete;
    Terminal& operator=(const Terminal&) = delete;

    bool Open() const { return fd_ >= 0; }

    void Write(std::string_view text) const {
        while (!text.empty()) {
            const ssize_t written = ::write(fd_, text.data(), text.size());
            if (written < 0 && errno == EINTR) {
                continue;
            }
            if (written <= 0) {
                return;
            }
            text.remove_prefix(static_cast<std::size_t>(written));
        }
    }

    // One line without its line end; nothing at end of input, on an error or when an interrupt
    // arrives while waiting (the interrupt then cancels). The flag is looked at between short
    // waits as well, since an interrupt that comes just before the read does not cut it short.
    std::optional<std::string> ReadLine(const volatile std::sig_atomic_t* interrupt) const {
        constexpr int kWaitMs = 100;
        std::string line;
        for (;;) {
            if (interrupt != nullptr && *interrupt != 0) {
                return std::nullopt;
            }
            pollfd waiting{fd_, POLLIN, 0};
            const int ready = ::poll(&waiting, 1, kWaitMs);
            if (ready == 0 || (ready < 0 && errno == EINTR)) {
                continue;
            }
            char c = 0;
            const ssize_t got = ready < 0 ? -1 : ::read(fd_, &c, 1);
            if (got < 0 && errno == EINTR) {
                continue;
            }
            if (got <= 0) {
                if (got == 0 && !line.empty()) {
                    return line;
                }
                return std::nullopt;
            }
            if (c == '\n') {
                if (!line.empty() && line.back() == '\r') {
                    line.pop_back();
                }
                return line;
            }
            line += c;
        }
    }

private:
    int fd_;
};

int AnswerFor(std::string_view line) {
    const std::string_view answer = SkipBlanks(line);
    if (answer.empty()) {
        return 0;
    }
    switch (answer.front()) {
        case 'y':
        case 'Y':
            return kIdYes;
        case 'n':
        case 'N':
            return kIdNo;
        case 'c':
        case 'C':
            return kIdCancel;
        default:
            return 0;
    }
}

}  // namespace

std::string ConsoleText(std::string_view text) {
    std::string shown;
    shown.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '\r' && i + 1 < text.size() && text[i + 1] == '\n') {
            continue;
        }
        shown += text[i];
    }
    return shown;
}

ConsoleUi::ConsoleUi(Options options) : options_(std::move(options)) {}

void ConsoleUi::SetInterrupt(const volatile std::sig_atomic_t* flag,
                             std::function<void()> onInterrupt) {
    interruptFlag_ = flag;
    onInterrupt_ = std::move(onInterrupt);
}

void ConsoleUi::WriteError(std::string_view text) const {
    std::string line = options_.productName;
    line += ": ";
    line += ConsoleText(text);
    if (line.back() != '\n') {
        line += '\n';
    }
    std::fwrite(line.data(), 1, line.size(), stderr);
    std::fflush(stderr);
}

int ConsoleUi::Message(int style, std::string_view text) {
    if (IsQuestionStyle(style)) {
        return AskQuestion(text);
    }
    WriteError(text);
    return kIdOk;
}

int ConsoleUi::AskQuestion(std::string_view text) const {
    const Terminal terminal(options_.allowQuestions ? options_.terminalPath : std::string());
    if (!terminal.Open()) {
        // Shown all the same, so that the cancelled job is explained.
        WriteError(text);
        return kIdCancel;
    }
    terminal.Write(options_.productName + ": " + ConsoleText(text) + "\n");
    for (;;) {
        terminal.Write("[y]es, [n]o or [c]ancel? ");
        const std::optional<std::string> line = terminal.ReadLine(interruptFlag_);
        if (!line) {
            terminal.Write("\n");
            return kIdCancel;
        }
        if (const int answer = AnswerFor(*line); answer != 0) {
            return answer;
        }
    }
}

void ConsoleUi::Status(std::string_view text) {
    if (!options_.verbose || text.empty()) {
        return;
    }
    std::string line = ConsoleText(text);
    line += '\n';
    std::fwrite(line.data(), 1, line.size(), stderr);
    std::fflush(stderr);
}

void ConsoleUi::Progress(int position) {
    if (!options_.verbose) {
        return;
    }
    // Every tenth is enough for a log; the bar itself moves far more often.
    const int step = position / 10;
    if (step == lastProgressStep_) {
        return;
    }
    lastProgressStep_ = step;
    if (position > 0) {
        std::fprintf(stderr, "%d%%\n", step * 10);
        std::fflush(stderr);
    }
}

void ConsoleUi::Pump(int /*count*/) {
    if (interruptFlag_ != nullptr && *interruptFlag_ != 0 && onInterrupt_) {
        onInterrupt_();
    }
}

void ConsoleUi::BusyCursor(bool /*busy*/) {}

SaveDialogResult ConsoleUi::SaveFileDialog(const SaveDialogRequest& request) {
    SaveDialogResult result;
    const Terminal terminal(options_.allowQuestions ? options_.terminalPath : std::string());
    if (!terminal.Open()) {
        return result;
    }
    terminal.Write(request.title + " [" + request.proposedPath + "]: ");
    const std::optional<std::string> line = terminal.ReadLine(interruptFlag_);
    if (!line) {
        terminal.Write("\n");
        return result;
    }
    result.outcome = SaveDialogResult::Outcome::Chosen;
    if (line->empty()) {
        result.path = request.proposedPath;
    } else if (line->front() != '/' && !request.initialDirectory.empty()) {
        // A bare name is taken in the directory the dialog opened in, as a file dialog would.
        result.path = JoinPath(request.initialDirectory, *line);
    } else {
        result.path = *line;
    }
    return result;
}

ClipboardResult ConsoleUi::PutClipboardText(std::string /*text*/) {
    return {.ok = false, .failedAction = "Open", .errorCode = ENOTSUP};
}

int ConsoleUi::SendMail(const MailMessage& /*message*/, bool /*report*/) {
    WriteError("E-mail is not available in the console program yet; nothing was sent.");
    return kMailNotSupported;
}

int ConsoleUi::DecodeErrorDialog(std::string_view text) {
    WriteError(text);
    return 200;
}

int ConsoleUi::RetryDecodingDialog(std::string_view text) {
    WriteError(text);
    return 0;
}

int ConsoleUi::EncodeOrDecodeDialog(std::string_view text) {
    WriteError(text);
    return kIdCancel;
}

void ConsoleUi::ChecksumDetailsDialog(std::string_view caption, std::string_view inputPath,
                                      const std::vector<std::string>& lines) {
    std::string text = std::string(caption) + "\r\nInput File: " + std::string(inputPath);
    for (const auto& line : lines) {
        text += "\r\n" + line;
    }
    WriteError(text);
}

}  // namespace mandrel
