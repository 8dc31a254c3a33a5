// The questions that steer a troubled decode, answered through the scripted back end and, for
// the console, typed on a pseudo-terminal.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <pty.h>
#include <termios.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <string>
#include <vector>

#include "core/app_state.h"
#include "decode/decode_questions.h"
#include "platform/console_ui.h"
#include "platform/scripted_ui.h"

namespace mandrel {
namespace {

namespace fs = std::filesystem;

const std::string kSkipWarning =
    "*** Warning ***\r\n\r\nYou have chosen to skip decoding of places where encoding integrity "
    "rules have been violated. This may help in decoding a multiple part format which cannot be "
    "automatically detected. However, it is also possible that the decoded file is corrupted as "
    "a result because all areas which should normally be decoded are not.\r\n\r\nProceed as "
    "indicated?";
const std::string kAttemptWarning =
    "*** Warning ***\r\n\r\nYou have chosen to attempt decoding in spite of violations in the "
    "encoding integrity rules. The decoded file may be corrupted as a result because the "
    "assumption of how to decode may be inaccurate.\r\n\r\nProceed as indicated?";

const char* const kLineText =
    "Input File: photo.uue\r\nLine 12: Invalid UU Encoded Data!\r\nLine 12: Bad length.\r\n"
    "Offending Line Follows within Curly Brackets:\r\n\r\n{ M&%%% }";

struct LineCase {
    int dialogAnswer;
    std::optional<int> warningAnswer;  // none: no warning may be asked
    std::string warning;
    int result;
};

class AskAboutLineTest : public ::testing::TestWithParam<LineCase> {};

TEST_P(AskAboutLineTest, AnswersAreConfirmedByTheirWarning) {
    const LineCase& c = GetParam();
    ScriptedUi ui;
    AppState app(ui);
    ui.decodeErrorAnswers = {c.dialogAnswer};
    if (c.warningAnswer) {
        ui.answers = {*c.warningAnswer};
    }
    EXPECT_EQ(AskAboutLineDlg(app, kLineText), c.result);
    ASSERT_EQ(ui.dialogs.size(), 1U);
    EXPECT_EQ(ui.dialogs[0].kind, "DecodeError");
    EXPECT_EQ(ui.dialogs[0].text, kLineText);
    if (c.warning.empty()) {
        EXPECT_TRUE(ui.messages.empty());
    } else {
        ASSERT_EQ(ui.messages.size(), 1U);
        EXPECT_EQ(ui.messages[0].style, kMbYesNoQuestion);
        EXPECT_EQ(ui.messages[0].text, c.warning);
    }
}

INSTANTIATE_TEST_SUITE_P(
    DecodeQuestions, AskAboutLineTest,
    ::testing::Values(
        LineCase{602, kIdYes, kSkipWarning, 602},
        LineCase{1, kIdYes, kSkipWarning, 602},  // Enter is skip
        LineCase{603, kIdYes, kAttemptWarning, 603}, LineCase{604, kIdYes, kAttemptWarning, 604},
        LineCase{605, kIdYes, kSkipWarning, 605}, LineCase{602, kIdNo, kSkipWarning, 200},
        LineCase{1, kIdNo, kSkipWarning, 200}, LineCase{603, kIdNo, kAttemptWarning, 200},
        LineCase{604, kIdNo, kAttemptWarning, 200}, LineCase{605, kIdNo, kSkipWarning, 200},
        LineCase{604, std::nullopt, kAttemptWarning, 200},                         // box closed
        LineCase{200, std::nullopt, "", 200}, LineCase{2, std::nullopt, "", 200},  // Escape
        LineCase{525, std::nullopt, "", 200}, LineCase{0, std::nullopt, "", 200},
        LineCase{-602, std::nullopt, "", 200}, LineCase{7, std::nullopt, "", 200}));

struct RetryCase {
    int dialogAnswer;
    int result;
};

class TryOverTest : public ::testing::TestWithParam<RetryCase> {};

TEST_P(TryOverTest, OnlyListedFormatsAreForced) {
    const RetryCase& c = GetParam();
    ScriptedUi ui;
    AppState app(ui);
    ui.retryAnswers = {c.dialogAnswer};
    const std::string text =
        "Unable to Determine File Format for /d/in.txt.\r\nCannot Find Header.";
    EXPECT_EQ(TryOverDlg(app, text), c.result);
    ASSERT_EQ(ui.dialogs.size(), 1U);
    EXPECT_EQ(ui.dialogs[0].kind, "RetryDecoding");
    EXPECT_EQ(ui.dialogs[0].text, text);
}

INSTANTIATE_TEST_SUITE_P(DecodeQuestions, TryOverTest,
                         ::testing::Values(RetryCase{0, 0}, RetryCase{1, 1},  // try all
                                           RetryCase{3, 3}, RetryCase{4, 4}, RetryCase{15, 15},
                                           RetryCase{18, 18}, RetryCase{20, 20},
                                           RetryCase{2, 3},  // not in the list
                                           RetryCase{21, 3}, RetryCase{-1, 3}, RetryCase{1000, 3}));

TEST(WhichCode, ShowsTheInputAndPassesTheChoiceOn) {
    for (const auto& [answer, result] : std::vector<std::pair<int, int>>{
             {7, 7}, {6, 6}, {2, 2}, {1, 2}, {0, 2}, {250, 2}, {525, 2}}) {
        ScriptedUi ui;
        AppState app(ui);
        app.job.JobInputPath = "/home/u/notes.txt";
        ui.encodeOrDecodeAnswers = {answer};
        EXPECT_EQ(WhichCodeDlg(app), result) << answer;
        ASSERT_EQ(ui.dialogs.size(), 1U);
        EXPECT_EQ(ui.dialogs[0].kind, "EncodeOrDecode");
        EXPECT_EQ(ui.dialogs[0].text,
                  "/home/u/notes.txt apparently cannot be decoded.\r\nYou may instead encode the "
                  "file (choose Encode),\r\ncontinue trying to decode the file (choose "
                  "Decode),\r\nor cancel the operation on this file (choose Cancel).");
    }
}

// --- the console's versions ----------------------------------------------------------------

// A pseudo-terminal whose slave the console back end asks on.
class PseudoTerminal {
public:
    PseudoTerminal() {
        char name[256] = {};
        if (::openpty(&master_, &slave_, name, nullptr, nullptr) != 0) {
            return;
        }
        // Without the echo of what is typed ahead, the terminal shows only what was asked.
        termios modes{};
        if (::tcgetattr(slave_, &modes) == 0) {
            modes.c_lflag &= ~static_cast<tcflag_t>(ECHO);
            ::tcsetattr(slave_, TCSANOW, &modes);
        }
        name_ = name;
    }
    ~PseudoTerminal() {
        for (const int fd : {master_, slave_}) {
            if (fd >= 0) {
                ::close(fd);
            }
        }
    }
    PseudoTerminal(const PseudoTerminal&) = delete;
    PseudoTerminal& operator=(const PseudoTerminal&) = delete;

    bool Open() const { return !name_.empty(); }
    const std::string& Name() const { return name_; }

    // Typed ahead: the terminal keeps the lines until the question reads them.
    void Type(std::string_view text) const {
        ASSERT_EQ(::write(master_, text.data(), text.size()), static_cast<ssize_t>(text.size()));
    }

    // What the terminal has shown so far, CRs removed.
    std::string Shown() const {
        std::string plain;
        char buffer[4096];
        pollfd waiting{master_, POLLIN, 0};
        while (::poll(&waiting, 1, 100) > 0) {
            const ssize_t got = ::read(master_, buffer, sizeof buffer);
            if (got <= 0) {
                break;
            }
            for (ssize_t i = 0; i < got; ++i) {
                if (buffer[i] != '\r') {
                    plain += buffer[i];
                }
            }
        }
        return plain;
    }

private:
    int master_ = -1;
    int slave_ = -1;
    std::string name_;
};

// Captures what is written to standard error while it lives.
class StderrCapture {
public:
    StderrCapture() {
        std::string pattern = (fs::temp_directory_path() / "mandrel-stderr-XXXXXX").string();
        file_ = ::mkstemp(pattern.data());
        path_ = pattern;
        std::fflush(stderr);
        saved_ = ::dup(STDERR_FILENO);
        ::dup2(file_, STDERR_FILENO);
    }
    ~StderrCapture() {
        Restore();
        ::close(file_);
        fs::remove(path_);
    }
    StderrCapture(const StderrCapture&) = delete;
    StderrCapture& operator=(const StderrCapture&) = delete;

    std::string Text() {
        Restore();
        std::ifstream in(path_, std::ios::binary);
        return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
    }

private:
    void Restore() {
        if (saved_ >= 0) {
            std::fflush(stderr);
            ::dup2(saved_, STDERR_FILENO);
            ::close(saved_);
            saved_ = -1;
        }
    }
    int file_ = -1;
    int saved_ = -1;
    fs::path path_;
};

const std::string kDecodeErrorPrompt =
    "[s]kip this line, [d]ecode this line, decode [a]ll invalid lines, sk[i]p all invalid lines, "
    "a[b]ort? ";
const std::string kRetryPrompt = "[a]ll formats, a format number or name (listed), or [q]uit? ";
const std::string kEncodeOrDecodePrompt = "[e]ncode, [d]ecode, [c]ancel? ";
const std::string kYesNoPrompt = "[y]es, [n]o or [c]ancel? ";

class ConsoleDialogTest : public ::testing::Test {
protected:
    void SetUp() override {
        if (!terminal_.Open()) {
            GTEST_SKIP() << "no pseudo-terminal to be had";
        }
    }
    ConsoleUi MakeUi(bool allowQuestions = true) const {
        return ConsoleUi({.productName = "Product",
                          .allowQuestions = allowQuestions,
                          .verbose = false,
                          .terminalPath = terminal_.Name()});
    }
    PseudoTerminal terminal_;
};

struct TypedCase {
    const char* typed;
    int answer;
};

TEST_F(ConsoleDialogTest, DecodeErrorTakesOneLetterAndEnterSkips) {
    for (const TypedCase c : {TypedCase{"\n", 602}, TypedCase{"s\n", 602}, TypedCase{" S \n", 602},
                              TypedCase{"d\n", 603}, TypedCase{"a\n", 604}, TypedCase{"I\n", 605},
                              TypedCase{"b\n", 200}}) {
        ConsoleUi ui = MakeUi();
        terminal_.Type(c.typed);
        EXPECT_EQ(ui.DecodeErrorDialog("Input File: a.uue\r\nLine 3: Invalid UU Encoded Data!"),
                  c.answer)
            << c.typed;
        const std::string shown = terminal_.Shown();
        EXPECT_NE(shown.find("Product: Input File: a.uue\nLine 3: Invalid UU Encoded Data!\n" +
                             kDecodeErrorPrompt),
                  std::string::npos)
            << shown;
    }
}

TEST_F(ConsoleDialogTest, DecodeErrorAsksAgainUntilTheAnswerIsOneOfItsLetters) {
    ConsoleUi ui = MakeUi();
    // "abort" is no letter of the list: taking its "a" would decode every bad line.
    terminal_.Type("abort\nx\nb\n");
    EXPECT_EQ(ui.DecodeErrorDialog("text"), 200);
    const std::string shown = terminal_.Shown();
    int prompts = 0;
    for (std::size_t at = shown.find(kDecodeErrorPrompt); at != std::string::npos;
         at = shown.find(kDecodeErrorPrompt, at + 1)) {
        ++prompts;
    }
    EXPECT_EQ(prompts, 3) << shown;
}

TEST_F(ConsoleDialogTest, EndOfInputOrAnInterruptAborts) {
    {
        ConsoleUi ui = MakeUi();
        terminal_.Type("\x04");  // Ctrl-D
        EXPECT_EQ(ui.DecodeErrorDialog("text"), 200);
    }
    terminal_.Shown();
    ConsoleUi ui = MakeUi();
    volatile std::sig_atomic_t interrupted = 1;
    ui.SetInterrupt(&interrupted, [] {});
    EXPECT_EQ(ui.DecodeErrorDialog("text"), 200);
    EXPECT_EQ(ui.RetryDecodingDialog("text"), 0);
    EXPECT_EQ(ui.EncodeOrDecodeDialog("text"), kIdCancel);
}

TEST_F(ConsoleDialogTest, ControlCharactersOfTheInputAreShownNotObeyed) {
    ConsoleUi ui = MakeUi();
    terminal_.Type("b\n");
    EXPECT_EQ(ui.DecodeErrorDialog("{ \x1b]0;owned\x07\x7f\tend }"), 200);
    const std::string shown = terminal_.Shown();
    EXPECT_NE(shown.find("Product: { ^[]0;owned^G^?\tend }\n"), std::string::npos) << shown;
    EXPECT_EQ(shown.find('\x1b'), std::string::npos);
}

TEST_F(ConsoleDialogTest, RetryListsTheFormatsAndTakesANumberANameOrALetter) {
    for (const TypedCase c :
         {TypedCase{"\n", 3}, TypedCase{"a\n", 1}, TypedCase{"All\n", 1}, TypedCase{"q\n", 0},
          TypedCase{"quit\n", 0}, TypedCase{"7\n", 7}, TypedCase{"20\n", 20},
          TypedCase{"post v2.0.1\n", 15}, TypedCase{" Squirrel v3.0\n", 19},
          TypedCase{"2\n1\n99\nTry All Types\n007\nsimtel\n", 5}}) {
        ConsoleUi ui = MakeUi();
        terminal_.Type(c.typed);
        EXPECT_EQ(ui.RetryDecodingDialog("Unable to Determine File Format for /d/x.\r\nCannot "
                                         "Find Header."),
                  c.answer)
            << c.typed;
        const std::string shown = terminal_.Shown();
        EXPECT_NE(shown.find("Product: Unable to Determine File Format for /d/x.\nCannot Find "
                             "Header.\n   3 Single File (Enter)\n   4 Comp.binaries\n"),
                  std::string::npos)
            << shown;
        EXPECT_NE(shown.find("  15 POST V2.0.1\n"), std::string::npos) << shown;
        EXPECT_NE(shown.find("  20 R.E.M.\n" + kRetryPrompt), std::string::npos) << shown;
        EXPECT_EQ(shown.find("Try All Types\n   "), std::string::npos) << shown;
    }
}

TEST_F(ConsoleDialogTest, EncodeOrDecodeTakesALetterOrAWord) {
    for (const TypedCase c :
         {TypedCase{"e\n", 7}, TypedCase{"Encode\n", 7}, TypedCase{"d\n", 6},
          TypedCase{"decode\n", 6}, TypedCase{"c\n", 2}, TypedCase{"\nx\nC\n", 2}}) {
        ConsoleUi ui = MakeUi();
        terminal_.Type(c.typed);
        EXPECT_EQ(ui.EncodeOrDecodeDialog("/d/x apparently cannot be decoded."), c.answer)
            << c.typed;
        const std::string shown = terminal_.Shown();
        EXPECT_NE(
            shown.find("Product: /d/x apparently cannot be decoded.\n" + kEncodeOrDecodePrompt),
            std::string::npos)
            << shown;
    }
}

TEST_F(ConsoleDialogTest, TheWarningFollowsTheChoiceOnTheTerminal) {
    ConsoleUi ui = MakeUi();
    AppState app(ui);
    terminal_.Type("\ny\n");
    EXPECT_EQ(AskAboutLineDlg(app, "bad line"), 602);
    const std::string shown = terminal_.Shown();
    EXPECT_NE(shown.find(kDecodeErrorPrompt), std::string::npos) << shown;
    EXPECT_NE(shown.find("Product: *** Warning ***\n\nYou have chosen to skip decoding"),
              std::string::npos)
        << shown;
    EXPECT_NE(shown.find("Proceed as indicated?\n" + kYesNoPrompt), std::string::npos) << shown;

    terminal_.Type("d\nn\n");
    EXPECT_EQ(AskAboutLineDlg(app, "bad line"), 200);
    EXPECT_NE(terminal_.Shown().find("You have chosen to attempt decoding"), std::string::npos);
}

TEST_F(ConsoleDialogTest, WithoutQuestionsTheTextGoesToStandardError) {
    ConsoleUi ui = MakeUi(false);
    terminal_.Type("s\n");  // never read
    StderrCapture capture;
    EXPECT_EQ(ui.DecodeErrorDialog("Line 3: Invalid\r\n{ \x1b[2J }"), 200);
    EXPECT_EQ(ui.RetryDecodingDialog("Cannot Find Header."), 0);
    EXPECT_EQ(ui.EncodeOrDecodeDialog("x apparently cannot be decoded."), kIdCancel);
    EXPECT_EQ(capture.Text(),
              "Product: Line 3: Invalid\n{ ^[[2J }\n"
              "Product: Cannot Find Header.\n"
              "Product: x apparently cannot be decoded.\n");
}

TEST(ConsoleDialogs, WithoutATerminalTheyGiveUpAtOnce) {
    ConsoleUi ui({.productName = "Product",
                  .allowQuestions = true,
                  .verbose = false,
                  .terminalPath = "/nonexistent/tty"});
    StderrCapture capture;
    EXPECT_EQ(ui.DecodeErrorDialog("a"), 200);
    EXPECT_EQ(ui.RetryDecodingDialog("b"), 0);
    EXPECT_EQ(ui.EncodeOrDecodeDialog("c"), kIdCancel);
    EXPECT_EQ(capture.Text(), "Product: a\nProduct: b\nProduct: c\n");
}

TEST(ConsoleDialogs, ChecksumDetailsListTheDifferencesOnStandardError) {
    ConsoleUi ui({.productName = "Product",
                  .allowQuestions = false,
                  .verbose = false,
                  .terminalPath = "/nonexistent/tty"});
    StderrCapture capture;
    ui.ChecksumDetailsDialog("Mandrel32 Checksum Error Details", "/d/photo.uue",
                             {"Output File photo.jpg Size:\tExpected 100\tCalculated 99",
                              "Part 1 Checksum:\tExpected 12345\tCalculated   678"});
    EXPECT_EQ(capture.Text(),
              "Product: Mandrel32 Checksum Error Details\nInput File: /d/photo.uue\n"
              "Output File photo.jpg Size:\tExpected 100\tCalculated 99\n"
              "Part 1 Checksum:\tExpected 12345\tCalculated   678\n");
}

}  // namespace
}  // namespace mandrel
