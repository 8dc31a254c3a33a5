#include "platform/console_ui.h"

#include <fcntl.h>
#include <poll.h>
#include <termios.h>
#include <unistd.h>

#include <array>
#include <cctype>
#include <cerrno>
#include <cstdio>
#include <optional>
#include <string>
#include <utility>

#include "core/config.h"
#include "core/format.h"
#include "core/text_util.h"
#include "platform/desktop_clipboard.h"

namespace mandrel {

namespace {

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

    // Turns the echo of typed characters off (for a password) or back on.
    void Echo(bool on) const {
        termios modes{};
        if (::tcgetattr(fd_, &modes) == 0) {
            modes.c_lflag = on ? (modes.c_lflag | ECHO) : (modes.c_lflag & ~tcflag_t{ECHO});
            ::tcsetattr(fd_, TCSANOW, &modes);
        }
    }

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

// The decoder's dialogs on the terminal.
constexpr std::string_view kDecodeErrorPrompt =
    "[s]kip this line, [d]ecode this line, decode [a]ll invalid lines, sk[i]p all invalid lines, "
    "a[b]ort? ";
constexpr std::string_view kRetryPrompt =
    "[a]ll formats, a format number or name (listed), or [q]uit? ";
constexpr std::string_view kEncodeOrDecodePrompt = "[e]ncode, [d]ecode, [c]ancel? ";

// Answers come without surrounding blanks and regardless of case.
std::string Normalised(std::string_view line) {
    line = SkipBlanks(line);
    while (!line.empty() && (line.back() == ' ' || line.back() == '\t')) {
        line.remove_suffix(1);
    }
    std::string lower(line);
    for (char& c : lower) {
        c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    }
    return lower;
}

// The text of a dialog can quote a line of the input; its control characters are shown, never
// obeyed by the terminal.
std::string TerminalSafe(std::string_view text) {
    const std::string plain = ConsoleText(text);
    std::string shown;
    shown.reserve(plain.size());
    for (const char c : plain) {
        const auto byte = static_cast<unsigned char>(c);
        if ((byte < 0x20 && c != '\n' && c != '\t') || byte == 0x7F) {
            shown += '^';
            shown += static_cast<char>(byte ^ 0x40);
        } else {
            shown += c;
        }
    }
    return shown;
}

// The typed words of a question's answers; the first answer of a table is the one Enter takes
// where the dialog has a default button.
template <typename Answer>
struct TypedAnswer {
    std::string_view word;
    std::string_view longWord;
    Answer answer;
};

template <typename Answer, std::size_t N>
std::optional<Answer> LookUp(const std::array<TypedAnswer<Answer>, N>& table,
                             std::string_view typed) {
    for (const TypedAnswer<Answer>& row : table) {
        if (typed == row.word || (!row.longWord.empty() && typed == row.longWord)) {
            return row.answer;
        }
    }
    return std::nullopt;
}

// Decode Error: Enter is the dialog's default button, skip this line.
constexpr std::array<TypedAnswer<DecodeErrorChoice>, 6> kDecodeErrorAnswers{{
    {"", "", DecodeErrorChoice::SkipLine},
    {"s", "", DecodeErrorChoice::SkipLine},
    {"d", "", DecodeErrorChoice::DecodeLine},
    {"a", "", DecodeErrorChoice::DecodeAll},
    {"i", "", DecodeErrorChoice::SkipAll},
    {"b", "", DecodeErrorChoice::Abort},
}};

constexpr std::array<TypedAnswer<EncodeOrDecodeChoice>, 3> kEncodeOrDecodeAnswers{{
    {"e", "encode", EncodeOrDecodeChoice::Encode},
    {"d", "decode", EncodeOrDecodeChoice::Decode},
    {"c", "cancel", EncodeOrDecodeChoice::Cancel},
}};

std::optional<DecodeErrorChoice> DecodeErrorAnswer(std::string_view line) {
    return LookUp(kDecodeErrorAnswers, Normalised(line));
}

std::optional<EncodeOrDecodeChoice> EncodeOrDecodeAnswer(std::string_view line) {
    return LookUp(kEncodeOrDecodeAnswers, Normalised(line));
}

bool IsRetryFormat(int id) {
    return id >= kFormatSingleFile && id < kFileFormatCount &&
           FileFormatTable()[static_cast<std::size_t>(id)].decodable != 0;
}

// The formats a retry may force, one a line, the one Enter takes marked.
std::string RetryFormatList() {
    std::string list;
    for (const FileFormatRow& row : FileFormatTable()) {
        if (IsRetryFormat(row.id)) {
            list += Format("%4d %s%s\n", row.id, row.name,
                           row.id == kFormatSingleFile ? " (Enter)" : "");
        }
    }
    return list;
}

// Retry Decoding: Enter retries with the list's selected entry, Single File.
std::optional<RetryChoice> RetryAnswer(std::string_view line) {
    const std::string answer = Normalised(line);
    if (answer.empty()) {
        return RetryChoice::Format(kFormatSingleFile);
    }
    if (answer == "a" || answer == "all") {
        return RetryChoice::TryAllFormats();
    }
    if (answer == "q" || answer == "quit") {
        return RetryChoice::Abort();
    }
    if (answer.size() <= 2 && std::isdigit(static_cast<unsigned char>(answer.front())) != 0 &&
        std::isdigit(static_cast<unsigned char>(answer.back())) != 0) {
        const int id = std::stoi(answer);
        return IsRetryFormat(id) ? std::optional(RetryChoice::Format(id)) : std::nullopt;
    }
    for (const FileFormatRow& row : FileFormatTable()) {
        if (IsRetryFormat(row.id) && answer == Normalised(row.name)) {
            return RetryChoice::Format(row.id);
        }
    }
    return std::nullopt;
}

// Shows the text (and a list under it) on the terminal and asks until an answer is accepted.
// No terminal: nothing (the caller shows the text elsewhere). The end of the input or an
// interrupt counts as the dialog's Escape, which the caller supplies as well.
template <typename Answer>
std::optional<Answer> AskChoice(const ConsoleUi::Options& options,
                                const volatile std::sig_atomic_t* interrupt, std::string_view text,
                                std::string_view list, std::string_view prompt,
                                std::optional<Answer> (*parse)(std::string_view), Answer escape) {
    const Terminal terminal(options.allowQuestions ? options.terminalPath : std::string());
    if (!terminal.Open()) {
        return std::nullopt;
    }
    terminal.Write(options.productName + ": " + TerminalSafe(text) + "\n");
    terminal.Write(list);
    for (;;) {
        terminal.Write(prompt);
        const std::optional<std::string> line = terminal.ReadLine(interrupt);
        if (!line) {
            terminal.Write("\n");
            return escape;
        }
        if (const std::optional<Answer> answer = parse(*line)) {
            return answer;
        }
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

ClipboardResult ConsoleUi::PutClipboardText(std::string text) {
    return PutTextOnDesktopClipboard(text, DesktopSession::FromEnvironment());
}

std::optional<std::string> ConsoleUi::AskSecret(std::string_view prompt) const {
    if (!options_.allowQuestions) {
        return std::nullopt;
    }
    const Terminal terminal(options_.terminalPath);
    if (!terminal.Open()) {
        return std::nullopt;
    }
    terminal.Write(prompt);
    terminal.Echo(false);
    std::optional<std::string> line = terminal.ReadLine(interruptFlag_);
    terminal.Echo(true);
    terminal.Write("\n");
    return line;
}

// Without a terminal the question's text is shown and the dialog's Escape taken.
template <typename Answer>
Answer ConsoleUi::Ask(std::string_view text, std::string_view list, std::string_view prompt,
                      std::optional<Answer> (*parse)(std::string_view), Answer escape) const {
    const std::optional<Answer> answer =
        AskChoice(options_, interruptFlag_, text, list, prompt, parse, escape);
    if (!answer) {
        WriteError(TerminalSafe(text));
    }
    return answer.value_or(escape);
}

DecodeErrorChoice ConsoleUi::DecodeErrorDialog(std::string_view text) {
    return Ask(text, {}, kDecodeErrorPrompt, DecodeErrorAnswer, DecodeErrorChoice::Abort);
}

RetryChoice ConsoleUi::RetryDecodingDialog(std::string_view text) {
    return Ask(text, RetryFormatList(), kRetryPrompt, RetryAnswer, RetryChoice::Abort());
}

EncodeOrDecodeChoice ConsoleUi::EncodeOrDecodeDialog(std::string_view text) {
    return Ask(text, {}, kEncodeOrDecodePrompt, EncodeOrDecodeAnswer, EncodeOrDecodeChoice::Cancel);
}

void ConsoleUi::ChecksumDetailsDialog(std::string_view caption, std::string_view inputPath,
                                      const std::vector<std::string>& lines) {
    std::string text = std::string(caption) + "\r\nInput File: " + std::string(inputPath);
    for (const auto& line : lines) {
        text += "\r\n" + line;
    }
    WriteError(TerminalSafe(text));
}

}  // namespace mandrel
