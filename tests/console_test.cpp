// End-to-end runs of the console program in a scratch directory of its own, with the settings
// kept inside that directory.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <pty.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <string>
#include <vector>

#include "core/config.h"
#include "core/ui_port.h"
#include "platform/console_ui.h"

namespace {

namespace fs = std::filesystem;

const char* const kProgram = MANDREL_CONSOLE_PATH;
const std::string kPrefix = "Mandrel Desktop 32: ";

struct RunResult {
    std::string out;
    std::string err;
    int status = -1;  // exit status, or 128 + signal
};

std::string ReadFile(const fs::path& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

void WriteFile(const fs::path& path, std::string_view bytes) {
    std::ofstream out(path, std::ios::binary);
    out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
}

int StatusOf(int waitStatus) {
    if (WIFEXITED(waitStatus)) {
        return WEXITSTATUS(waitStatus);
    }
    return WIFSIGNALED(waitStatus) ? 128 + WTERMSIG(waitStatus) : -1;
}

// In the child: settle the directory and environment, then run the program.
[[noreturn]] void ExecProgram(const fs::path& directory, const std::vector<std::string>& args) {
    if (::chdir(directory.c_str()) != 0) {
        _exit(127);
    }
    ::setenv("HOME", directory.c_str(), 1);
    ::setenv("XDG_CONFIG_HOME", (directory / "config").c_str(), 1);
    std::vector<char*> argv;
    argv.push_back(const_cast<char*>(kProgram));
    for (const std::string& arg : args) {
        argv.push_back(const_cast<char*>(arg.c_str()));
    }
    argv.push_back(nullptr);
    ::execv(kProgram, argv.data());
    _exit(127);
}

class ConsoleTest : public ::testing::Test {
protected:
    void SetUp() override {
        std::string pattern = (fs::temp_directory_path() / "mandrel-console-XXXXXX").string();
        ASSERT_NE(::mkdtemp(pattern.data()), nullptr);
        dir_ = fs::canonical(pattern);
        photo_ = dir_ / "photo.jpg";
        std::string bytes;
        for (int i = 0; i < 3000; ++i) {
            bytes += static_cast<char>((i * 131 + 7) % 256);
        }
        WriteFile(photo_, bytes);
    }
    void TearDown() override {
        std::error_code ec;
        fs::remove_all(dir_, ec);
    }

    // Starts the program with no terminal: standard input is /dev/null.
    pid_t Start(const std::vector<std::string>& args) const {
        const pid_t child = ::fork();
        if (child == 0) {
            const int in = ::open("/dev/null", O_RDONLY);
            const int out = ::open(OutPath().c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
            const int err = ::open(ErrPath().c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
            if (in < 0 || out < 0 || err < 0) {
                _exit(127);
            }
            ::dup2(in, STDIN_FILENO);
            ::dup2(out, STDOUT_FILENO);
            ::dup2(err, STDERR_FILENO);
            ::setsid();  // no controlling terminal to ask on
            ExecProgram(dir_, args);
        }
        return child;
    }

    RunResult Collect(pid_t child) const {
        RunResult result;
        int waitStatus = 0;
        if (child > 0 && ::waitpid(child, &waitStatus, 0) == child) {
            result.status = StatusOf(waitStatus);
        }
        result.out = ReadFile(OutPath());
        result.err = ReadFile(ErrPath());
        fs::remove(OutPath());
        fs::remove(ErrPath());
        return result;
    }

    RunResult Run(const std::vector<std::string>& args) const { return Collect(Start(args)); }

    fs::path OutPath() const { return dir_ / ".stdout"; }
    fs::path ErrPath() const { return dir_ / ".stderr"; }
    fs::path SettingsFile() const { return dir_ / "config" / "Quorvane, Inc." / "Mandrel32.conf"; }
    std::string SettingsText() const { return ReadFile(SettingsFile()); }

    fs::path dir_;
    fs::path photo_;
};

TEST_F(ConsoleTest, VersionNamesProductAndVersion) {
    const RunResult run = Run({"--version"});
    EXPECT_EQ(run.out, "Mandrel Desktop 32 2.0.0\n");
    EXPECT_EQ(run.err, "");
    EXPECT_EQ(run.status, 0);
}

TEST_F(ConsoleTest, HelpNamesEverySettingAndSwitch) {
    const RunResult run = Run({"--help"});
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.err, "");
    for (const auto group :
         {mandrel::GeneralGroup(), mandrel::EncodeGroup(), mandrel::DecodeGroup()}) {
        for (const mandrel::SettingDesc& desc : group) {
            EXPECT_NE(run.out.find(std::string("--") + desc.name + "=VALUE"), std::string::npos)
                << desc.name;
        }
    }
    for (const char* text : {"-E[u|x|m|b]", "-C", "-M", "-J", "-N", "-O", "-R", "--quiet",
                             "--verbose", "--save", "--version", "UNIX shell (shar)"}) {
        EXPECT_NE(run.out.find(text), std::string::npos) << text;
    }
}

TEST_F(ConsoleTest, EncodesAndReportsOnStandardOutput) {
    const RunResult run = Run({"-N", "-Eu", photo_.string()});
    const fs::path output = dir_ / "photo.uue";
    EXPECT_EQ(run.out, "photo.jpg Successfully UU Encoded to\n" + output.string() + "\n");
    EXPECT_EQ(run.err, "");
    EXPECT_EQ(run.status, 0);
    EXPECT_TRUE(ReadFile(output).starts_with("begin 644 photo.jpg\r\n"));
}

TEST_F(ConsoleTest, QuietPrintsNoReport) {
    const RunResult run = Run({"--quiet", "-N", "-Ex", photo_.string()});
    EXPECT_EQ(run.out, "");
    EXPECT_EQ(run.err, "");
    EXPECT_EQ(run.status, 0);
    EXPECT_TRUE(fs::exists(dir_ / "photo.xxe"));
}

TEST_F(ConsoleTest, VerboseShowsTheJobStatusOnStandardError) {
    const RunResult run = Run({"--verbose", "-N", "-Eu", photo_.string()});
    EXPECT_EQ(run.status, 0);
    EXPECT_NE(run.err.find("UU Encode - Type Single File\nphoto.jpg --> photo.uue\n"),
              std::string::npos)
        << run.err;
    EXPECT_EQ(run.out.find('\r'), std::string::npos);
}

TEST_F(ConsoleTest, EveryFileOfTheListIsEncodedAndReported) {
    WriteFile(dir_ / "notes.txt", "hello\n");
    const RunResult run = Run({"-N", "-Eu", photo_.string(), (dir_ / "notes.txt").string()});
    // Single-part files of one list share the first one's output.
    const std::string output = (dir_ / "photo.uue").string();
    EXPECT_EQ(run.out, "photo.jpg Successfully UU Encoded to\n" + output +
                           "\nnotes.txt Successfully UU Encoded to\n" + output + "\n");
    EXPECT_EQ(run.err, "");
    EXPECT_EQ(run.status, 0);
    EXPECT_NE(ReadFile(output).find("begin 644 notes.txt"), std::string::npos);
}

// A directory, or a file the user may not read, is refused like a missing one, for encoding
// and for decoding alike, and nothing is written.
TEST_F(ConsoleTest, DirectoryInputIsRefused) {
    const fs::path folder = dir_ / "folder.uue";
    fs::create_directory(folder);
    for (const char* direction : {"-Eu", "-J"}) {
        const RunResult run = Run({"-N", direction, folder.string()});
        EXPECT_EQ(run.err, kPrefix + "Can't read " + folder.string() + "\n") << direction;
        EXPECT_EQ(run.status, 1);
    }
    EXPECT_FALSE(fs::exists(dir_ / "folder.uue.uue"));
}

TEST_F(ConsoleTest, UnreadableInputIsRefused) {
    if (::geteuid() == 0) {
        GTEST_SKIP() << "permissions do not stop root";
    }
    const fs::path locked = dir_ / "locked.jpg";
    WriteFile(locked, "secret");
    fs::permissions(locked, fs::perms::none);
    const RunResult run = Run({"-N", "-Eu", locked.string()});
    EXPECT_EQ(run.err, kPrefix + "Can't read " + locked.string() + "\n");
    EXPECT_EQ(run.status, 1);
    EXPECT_FALSE(fs::exists(dir_ / "locked.uue"));
}

TEST_F(ConsoleTest, MissingInputIsReportedAndStopsTheList) {
    const fs::path missing = dir_ / "missing.jpg";
    const RunResult run = Run({"-N", "-Eu", missing.string(), photo_.string()});
    EXPECT_EQ(run.err, kPrefix + "Can't read " + missing.string() + "\n");
    EXPECT_EQ(run.out, "");
    EXPECT_EQ(run.status, 1);
    EXPECT_FALSE(fs::exists(dir_ / "photo.uue"));
}

TEST_F(ConsoleTest, OutputSizeOutOfRangeIsReportedAndReplaced) {
    const RunResult run = Run({"--encodeoutputsize=100", "-N", "-Eu", photo_.string()});
    EXPECT_EQ(run.err, kPrefix + "Output Size Must be between 4500 and 1048576.\n");
    EXPECT_EQ(run.status, 0);
    EXPECT_TRUE(fs::exists(dir_ / "photo.uue"));
}

TEST_F(ConsoleTest, InvalidSettingValuesAreRefused) {
    struct Case {
        const char* option;
        const char* start;
    };
    for (const Case c : {
             Case{"--encodetype=nonsense", "Invalid value \"nonsense\" for --encodetype"},
             Case{"--encodetype=POST V2.0.1", "Invalid value \"POST V2.0.1\" for --encodetype"},
             Case{"--encodetype=15", "Invalid value \"15\" for --encodetype"},
             Case{"--encodetype=1", "Invalid value \"1\" for --encodetype"},
             Case{"--decodetype=Try All Types", "Invalid value \"Try All Types\" for --decodetype"},
             Case{"--encodemethod=yEnc", "Invalid value \"yEnc\" for --encodemethod"},
             Case{"--encodecrlf=177", "Invalid value \"177\" for --encodecrlf"},
             Case{"--overwriteexisting=yes", "Invalid value \"yes\" for --overwriteexisting"},
             Case{"--decodemethod=179", "Invalid value \"179\" for --decodemethod"},
             Case{"--encodedirselect=150", "Invalid value \"150\" for --encodedirselect"},
             Case{"--nosuchsetting=1", "Unknown option --nosuchsetting=1"},
             Case{"--encodetype", "Option --encodetype needs a value"},
         }) {
        const RunResult run = Run({c.option, "-N", "-Eu", photo_.string()});
        EXPECT_EQ(run.status, 2) << c.option;
        EXPECT_TRUE(run.err.starts_with(kPrefix + c.start)) << run.err;
        EXPECT_EQ(run.out, "") << c.option;
        EXPECT_FALSE(fs::exists(dir_ / "photo.uue")) << c.option;
    }
}

TEST_F(ConsoleTest, FormatAndMethodNamesAreAccepted) {
    const RunResult run =
        Run({"--encodetype=Comp.binaries", "--encodemethod=XX", "-N", "-E", photo_.string()});
    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_TRUE(run.out.starts_with("photo.jpg Successfully XX Encoded to\n")) << run.out;
}

TEST_F(ConsoleTest, SettingsAreWrittenOnlyWithSave) {
    ASSERT_EQ(Run({"--encodemethod=XX", "-N", "-E", photo_.string()}).status, 0);
    EXPECT_TRUE(fs::exists(dir_ / "photo.xxe"));
    EXPECT_EQ(SettingsText().find("encodemethod"), std::string::npos) << SettingsText();

    // The next run is back to the saved method.
    ASSERT_EQ(Run({"-N", "-E", photo_.string()}).status, 0);
    EXPECT_TRUE(fs::exists(dir_ / "photo.uue"));
    fs::remove(dir_ / "photo.xxe");

    // Saved settings hold for later runs; the switches of the run that saved do not.
    const RunResult saving = Run({"--save", "--encodemethod=XX", "-N", "-Eb", photo_.string()});
    EXPECT_EQ(saving.status, 0) << saving.err;
    EXPECT_TRUE(fs::exists(dir_ / "photo.hqx"));
    const std::string saved = SettingsText();
    EXPECT_TRUE(saved.starts_with("[2.0]\n")) << saved;
    EXPECT_NE(saved.find("encodemethod=183\n"), std::string::npos) << saved;
    EXPECT_NE(saved.find("encodetype=3\n"), std::string::npos) << saved;
    // Only the encode group was changed, so only it is written.
    EXPECT_EQ(saved.find("decodejoin"), std::string::npos) << saved;
    EXPECT_EQ(saved.find("usedefaultnames"), std::string::npos) << saved;

    ASSERT_EQ(Run({"-N", "-E", photo_.string()}).status, 0);
    EXPECT_TRUE(fs::exists(dir_ / "photo.xxe"));
}

TEST_F(ConsoleTest, SaveAloneWritesAndNamesNoFile) {
    const RunResult run = Run({"--save", "--overwriteexisting=1"});
    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(run.err, "");
    EXPECT_NE(SettingsText().find("overwriteexisting=1\n"), std::string::npos);
    EXPECT_EQ(SettingsText().find("encodetype"), std::string::npos);
}

TEST_F(ConsoleTest, ShellArchiveWritesLfWithoutChecksumLines) {
    const RunResult run = Run({"--encodetype=UNIX shell (shar)", "--encodechecksum=1",
                               "--encodecrlf=175", "-N", "-Eu", photo_.string()});
    EXPECT_EQ(run.status, 0) << run.err;
    std::vector<fs::path> outputs;
    for (const auto& entry : fs::directory_iterator(dir_)) {
        if (entry.is_regular_file() && entry.path() != photo_) {
            outputs.push_back(entry.path());
        }
    }
    ASSERT_EQ(outputs.size(), 1u);
    const std::string text = ReadFile(outputs[0]);
    EXPECT_FALSE(text.empty());
    EXPECT_EQ(text.find('\r'), std::string::npos);
    EXPECT_EQ(text.find("sum -r/size"), std::string::npos);
}

TEST_F(ConsoleTest, OtherFormatsKeepTheGivenLineEndAndChecksums) {
    const RunResult run = Run({"--encodetype=Single File", "--encodecrlf=176", "--encodechecksum=1",
                               "-N", "-Eu", photo_.string()});
    EXPECT_EQ(run.status, 0) << run.err;
    const std::string text = ReadFile(dir_ / "photo.uue");
    EXPECT_EQ(text.find('\r'), std::string::npos);
    EXPECT_NE(text.find("sum -r/size"), std::string::npos);
}

TEST_F(ConsoleTest, NoFileNamesIsAUsageError) {
    const RunResult run = Run({"-N"});
    EXPECT_EQ(run.status, 2);
    EXPECT_TRUE(run.err.starts_with(kPrefix + "No files named.\nUsage: ")) << run.err;
    EXPECT_EQ(run.out, "");
}

TEST_F(ConsoleTest, AssociationsAreRefusedAndFilesIgnored) {
    const RunResult run = Run({"-R", "-Eu", photo_.string()});
    EXPECT_EQ(run.status, 1);
    EXPECT_TRUE(run.err.starts_with(kPrefix + "File associations are not available")) << run.err;
    EXPECT_FALSE(fs::exists(dir_ / "photo.uue"));
}

TEST_F(ConsoleTest, DecodesTheFileTheTextNames) {
    WriteFile(dir_ / "a.uue", "begin 644 b.txt\n#86)C\n`\nend\n");
    const RunResult run = Run({"-N", (dir_ / "a.uue").string()});
    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(ReadFile(dir_ / "b.txt"), "abc");
    EXPECT_EQ(run.out, "a.uue Successfully UU Decoded as\n" + (dir_ / "b.txt").string() + "\n");
}

TEST_F(ConsoleTest, DecodeWithWarningsEndsWithStatusThree) {
    // No "end" line: the file is decoded, and the report says "Apparently".
    WriteFile(dir_ / "a.uue", "begin 644 b.txt\n#86)C\n");
    const RunResult run = Run({"-N", (dir_ / "a.uue").string()});
    EXPECT_EQ(run.status, 3) << run.err;
    EXPECT_EQ(ReadFile(dir_ / "b.txt"), "abc");
    EXPECT_EQ(run.out, "a.uue Apparently UU Decoded as\n" + (dir_ / "b.txt").string() +
                           "\n\nMissing 'end' statement.\n");
}

TEST_F(ConsoleTest, UndecodableInputFailsWithoutQuestions) {
    WriteFile(dir_ / "plain.txt", "nothing encoded here\n");
    const RunResult run = Run({"-N", (dir_ / "plain.txt").string()});
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.out, "");
    for (const auto& entry : fs::directory_iterator(dir_)) {
        const std::string name = entry.path().filename().string();
        EXPECT_TRUE(name == "plain.txt" || name.starts_with(".") || entry.is_directory() ||
                    entry.path() == photo_)
            << "left behind: " << name;
    }
}

TEST_F(ConsoleTest, ClipboardIsNotAvailable) {
    const RunResult run = Run({"-N", "-C", photo_.string()});
    EXPECT_EQ(run.status, 1);
    EXPECT_TRUE(run.err.starts_with(kPrefix + "Can't Open Clipboard because\n")) << run.err;
}

TEST_F(ConsoleTest, WithoutATerminalAnExistingOutputIsReplacedWithoutAQuestion) {
    WriteFile(dir_ / "photo.uue", "old");
    const RunResult run = Run({"-Eu", photo_.string()});
    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_TRUE(ReadFile(dir_ / "photo.uue").starts_with("begin 644 photo.jpg"));
}

TEST_F(ConsoleTest, InterruptCancelsTheJobAndRemovesItsParts) {
    const fs::path big = dir_ / "big.bin";
    WriteFile(big, "");
    fs::resize_file(big, 60u << 20);  // about 85 parts of 1 MiB
    const pid_t child = Start(
        {"--encodetype=Comp.binaries", "--encodeoutputsize=1048576", "-N", "-Eu", big.string()});
    ASSERT_GT(child, 0);
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    while (!fs::exists(dir_ / "big1.uue") && std::chrono::steady_clock::now() < deadline) {
        ::usleep(1000);
    }
    ::kill(child, SIGINT);
    const RunResult run = Collect(child);
    EXPECT_EQ(run.status, 1) << run.out << run.err;
    EXPECT_EQ(run.out, "UU Encode of big.bin Aborted\n");
    EXPECT_EQ(run.err, "");
    for (const auto& entry : fs::directory_iterator(dir_)) {
        EXPECT_NE(entry.path().extension(), ".uue") << entry.path();
    }
}

// --- the console back end in this process -------------------------------------------------

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
        return ReadFile(path_);
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

mandrel::ConsoleUi MakeUi(bool verbose = false) {
    return mandrel::ConsoleUi({.productName = "Product",
                               .allowQuestions = true,
                               .verbose = verbose,
                               .terminalPath = "/nonexistent/tty"});
}

TEST(ConsoleUi, MessagesGoToStandardErrorBehindTheProductName) {
    auto ui = MakeUi();
    StderrCapture capture;
    EXPECT_EQ(ui.Message(mandrel::kMbStop, "Can't Write to x because\r\nNo space"), mandrel::kIdOk);
    ui.Message(mandrel::kMbPlain, "ends with a break\r\n");
    ui.Message(mandrel::kMbInformation, "lone\rreturn");
    EXPECT_EQ(capture.Text(),
              "Product: Can't Write to x because\nNo space\n"
              "Product: ends with a break\n"
              "Product: lone\rreturn\n");
}

TEST(ConsoleUi, QuestionWithoutATerminalIsCancelledAtOnceAndShown) {
    auto ui = MakeUi();
    StderrCapture capture;
    EXPECT_EQ(ui.Message(mandrel::kMbQuestion, "Overwrite Existing a"), mandrel::kIdCancel);
    EXPECT_EQ(capture.Text(), "Product: Overwrite Existing a\n");
}

TEST(ConsoleUi, SaveDialogWithoutATerminalIsCancelled) {
    auto ui = MakeUi();
    const mandrel::SaveDialogResult result = ui.SaveFileDialog({.direction = 1,
                                                                .title = "Encode Output To",
                                                                .proposedPath = "a.uue",
                                                                .initialDirectory = ""});
    EXPECT_EQ(result.outcome, mandrel::SaveDialogResult::Outcome::Cancelled);
}

TEST(ConsoleUi, StatusAndProgressOnlyWhenVerbose) {
    auto quiet = MakeUi(false);
    auto verbose = MakeUi(true);
    StderrCapture capture;
    quiet.Status("UU Encode - Type Single File\r\na --> b");
    quiet.Progress(50);
    verbose.Status("UU Encode - Type Single File\r\na --> b");
    verbose.Status("");
    for (const int position : {0, 5, 10, 15, 37, 100, 0}) {
        verbose.Progress(position);
    }
    EXPECT_EQ(capture.Text(), "UU Encode - Type Single File\na --> b\n10%\n30%\n100%\n");
}

TEST(ConsoleUi, PumpPassesAnInterruptOn) {
    auto ui = MakeUi();
    volatile std::sig_atomic_t flag = 0;
    int calls = 0;
    ui.Pump(4);  // no flag given yet
    ui.SetInterrupt(&flag, [&calls] { ++calls; });
    ui.Pump(4);
    EXPECT_EQ(calls, 0);
    flag = 1;
    ui.Pump(4);
    EXPECT_EQ(calls, 1);
}

TEST(ConsoleUi, ClipboardAndMailAreNotAvailable) {
    auto ui = MakeUi();
    const mandrel::ClipboardResult clipboard = ui.PutClipboardText("text");
    EXPECT_FALSE(clipboard.ok);
    EXPECT_STREQ(clipboard.failedAction, "Open");
    EXPECT_EQ(clipboard.errorCode, ENOTSUP);
    StderrCapture capture;
    EXPECT_NE(ui.SendMail({}, true), 0);
    EXPECT_EQ(capture.Text(),
              "Product: E-mail is not available in the console program yet; nothing was sent.\n");
}

// --- runs under a pseudo-terminal ----------------------------------------------------------

class TerminalRun {
public:
    TerminalRun(const fs::path& directory, const std::vector<std::string>& args) {
        pid_ = ::forkpty(&master_, nullptr, nullptr, nullptr);
        if (pid_ == 0) {
            ExecProgram(directory, args);
        }
    }
    ~TerminalRun() {
        if (pid_ > 0 && !status_) {
            ::kill(pid_, SIGKILL);
            ::waitpid(pid_, nullptr, 0);
        }
        if (master_ >= 0) {
            ::close(master_);
        }
    }
    TerminalRun(const TerminalRun&) = delete;
    TerminalRun& operator=(const TerminalRun&) = delete;

    bool Started() const { return pid_ > 0 && master_ >= 0; }

    // Reads until text has been seen (true) or the program ends or time runs out (false).
    bool WaitFor(std::string_view text) {
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
        while (Seen().find(text) == std::string::npos) {
            const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
                deadline - std::chrono::steady_clock::now());
            if (left.count() <= 0 || !ReadSome(static_cast<int>(left.count()))) {
                return false;
            }
        }
        return true;
    }

    void Type(std::string_view text) const {
        ASSERT_EQ(::write(master_, text.data(), text.size()), static_cast<ssize_t>(text.size()));
    }

    // Reads to the end and returns the exit status; a program that does not end is killed.
    int Finish() {
        while (ReadSome(20000)) {
        }
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
        int waitStatus = 0;
        while (::waitpid(pid_, &waitStatus, WNOHANG) == 0) {
            if (std::chrono::steady_clock::now() > deadline) {
                ::kill(pid_, SIGKILL);
                ::waitpid(pid_, &waitStatus, 0);
                status_ = -1;
                return -1;
            }
            ::usleep(1000);
        }
        status_ = StatusOf(waitStatus);
        return *status_;
    }

    // What the terminal showed, with its CR LF line ends made plain.
    std::string Seen() const {
        std::string plain;
        for (const char c : raw_) {
            if (c != '\r') {
                plain += c;
            }
        }
        return plain;
    }

private:
    bool ReadSome(int timeoutMs) {
        pollfd poller{master_, POLLIN, 0};
        if (::poll(&poller, 1, timeoutMs) <= 0) {
            return false;
        }
        char buffer[4096];
        const ssize_t got = ::read(master_, buffer, sizeof buffer);
        if (got <= 0) {
            return false;  // EIO once the program has closed the terminal
        }
        raw_.append(buffer, static_cast<std::size_t>(got));
        return true;
    }

    pid_t pid_ = -1;
    int master_ = -1;
    std::string raw_;
    std::optional<int> status_;
};

const std::string kAnswerPrompt = "[y]es, [n]o or [c]ancel? ";

class ConsoleTerminalTest : public ConsoleTest {
protected:
    void SetUp() override {
        ConsoleTest::SetUp();
        output_ = dir_ / "photo.uue";
        WriteFile(output_, "old");
    }
    std::string SaveDialogPrompt() const { return "Encode Output To [" + output_.string() + "]: "; }
    std::string OverwriteQuestion() const {
        return kPrefix + "Overwrite Existing " + output_.string() + "\n";
    }
    fs::path output_;
};

TEST_F(ConsoleTerminalTest, AnsweringNoKeepsTheExistingFile) {
    TerminalRun run(dir_, {"-Eu", photo_.string()});
    if (!run.Started()) {
        GTEST_SKIP() << "no pseudo-terminal to be had";
    }
    ASSERT_TRUE(run.WaitFor(SaveDialogPrompt())) << run.Seen();
    run.Type("\n");
    ASSERT_TRUE(run.WaitFor(OverwriteQuestion() + kAnswerPrompt)) << run.Seen();
    run.Type("n\n");
    EXPECT_NE(run.Finish(), 0);
    EXPECT_EQ(ReadFile(output_), "old");
    EXPECT_EQ(run.Seen().find("Successfully"), std::string::npos) << run.Seen();
}

TEST_F(ConsoleTerminalTest, AnsweringYesReplacesIt) {
    TerminalRun run(dir_, {"-Eu", photo_.string()});
    if (!run.Started()) {
        GTEST_SKIP() << "no pseudo-terminal to be had";
    }
    ASSERT_TRUE(run.WaitFor(SaveDialogPrompt())) << run.Seen();
    run.Type("\n");
    ASSERT_TRUE(run.WaitFor(OverwriteQuestion() + kAnswerPrompt)) << run.Seen();
    // An answer that is none of y, n or c is asked again.
    run.Type("maybe\n");
    ASSERT_TRUE(run.WaitFor(kAnswerPrompt + "maybe\n" + kAnswerPrompt)) << run.Seen();
    run.Type("Y\n");
    EXPECT_EQ(run.Finish(), 0) << run.Seen();
    EXPECT_TRUE(ReadFile(output_).starts_with("begin 644 photo.jpg\r\n"));
    EXPECT_NE(run.Seen().find("photo.jpg Successfully UU Encoded to\n" + output_.string() + "\n"),
              std::string::npos)
        << run.Seen();
}

TEST_F(ConsoleTerminalTest, TheSaveDialogTakesATypedName) {
    TerminalRun run(dir_, {"-Eu", photo_.string()});
    if (!run.Started()) {
        GTEST_SKIP() << "no pseudo-terminal to be had";
    }
    ASSERT_TRUE(run.WaitFor(SaveDialogPrompt())) << run.Seen();
    const fs::path chosen = dir_ / "chosen.uue";
    run.Type(chosen.string() + "\n");
    EXPECT_EQ(run.Finish(), 0) << run.Seen();
    EXPECT_EQ(ReadFile(output_), "old");
    EXPECT_TRUE(ReadFile(chosen).starts_with("begin 644 photo.jpg"));
}

TEST_F(ConsoleTerminalTest, EndOfInputAtTheSaveDialogCancels) {
    TerminalRun run(dir_, {"-Eu", photo_.string()});
    if (!run.Started()) {
        GTEST_SKIP() << "no pseudo-terminal to be had";
    }
    ASSERT_TRUE(run.WaitFor(SaveDialogPrompt())) << run.Seen();
    run.Type("\x04");  // Ctrl-D
    EXPECT_EQ(run.Finish(), 1) << run.Seen();
    EXPECT_EQ(ReadFile(output_), "old");
}

TEST_F(ConsoleTerminalTest, InterruptAtAQuestionCancelsTheJob) {
    TerminalRun run(dir_, {"--usedefaultnames=1", "-Eu", photo_.string()});
    if (!run.Started()) {
        GTEST_SKIP() << "no pseudo-terminal to be had";
    }
    ASSERT_TRUE(run.WaitFor(OverwriteQuestion() + kAnswerPrompt)) << run.Seen();
    run.Type("\x03");  // Ctrl-C
    EXPECT_EQ(run.Finish(), 1) << run.Seen();
    EXPECT_EQ(ReadFile(output_), "old");
}

TEST_F(ConsoleTerminalTest, NoQuestionsSwitchReplacesWithoutAsking) {
    TerminalRun run(dir_, {"-N", "-Eu", photo_.string()});
    if (!run.Started()) {
        GTEST_SKIP() << "no pseudo-terminal to be had";
    }
    EXPECT_EQ(run.Finish(), 0) << run.Seen();
    EXPECT_EQ(run.Seen(), "photo.jpg Successfully UU Encoded to\n" + output_.string() + "\n");
    EXPECT_TRUE(ReadFile(output_).starts_with("begin 644 photo.jpg"));
}

}  // namespace
