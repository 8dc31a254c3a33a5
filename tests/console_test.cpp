// The console program end to end: runs of the built program in a scratch directory with its
// settings kept there, checked by exact output, error text, exit status and files; questions
// typed on a pseudo-terminal; the man page against --help.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <pty.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <filesystem>
#include <optional>
#include <regex>
#include <set>
#include <string>
#include <vector>

#include "core/user_port.h"
#include "support/test_files.h"

namespace mandrel {
namespace {

namespace fs = std::filesystem;
using test::ReadFile;
using test::WriteFile;

const char* const kProgram = MANDREL_CONSOLE_PATH;
const std::string kPrefix = "Mandrel Desktop 32: ";

struct RunResult {
    std::string out;
    std::string err;
    int status = -1;  // exit status, or 128 + signal
};

int StatusOf(int waitStatus) {
    if (WIFEXITED(waitStatus)) {
        return WEXITSTATUS(waitStatus);
    }
    return WIFSIGNALED(waitStatus) ? 128 + WTERMSIG(waitStatus) : -1;
}

// In the child: the scratch directory, a private HOME and settings, then the program.
[[noreturn]] void ExecProgram(const fs::path& directory, const std::vector<std::string>& args) {
    if (::chdir(directory.c_str()) != 0) {
        _exit(127);
    }
    ::setenv("HOME", directory.c_str(), 1);
    ::setenv("XDG_CONFIG_HOME", (directory / ".config").c_str(), 1);
    ::setenv("XDG_DATA_HOME", (directory / ".local/share").c_str(), 1);
    ::setenv("TMPDIR", (directory / ".tmp").c_str(), 1);
    // No desktop session: the clipboard is refused for that reason.
    ::unsetenv("DISPLAY");
    ::unsetenv("WAYLAND_DISPLAY");
    std::vector<char*> argv{const_cast<char*>(kProgram)};
    for (const std::string& arg : args) {
        argv.push_back(const_cast<char*>(arg.c_str()));
    }
    argv.push_back(nullptr);
    ::execv(kProgram, argv.data());
    _exit(127);
}

class Console : public ::testing::Test {
protected:
    Console() : dir_(fs::canonical(scratch_.path())) {
        fs::create_directories(dir_ / ".tmp");
        std::string bytes;
        for (int i = 0; i < 3000; ++i) {
            bytes += static_cast<char>((i * 131 + 7) % 256);
        }
        WriteFile(Path("photo.jpg"), bytes);
    }

    std::string Path(std::string_view name) const { return (dir_ / name).string(); }

    // Starts the program without a terminal; standard input is `input` (or /dev/null).
    pid_t Start(const std::vector<std::string>& args,
                const std::optional<std::string>& input = std::nullopt) const {
        if (input) {
            WriteFile(Path(".stdin"), *input);
        }
        const pid_t child = ::fork();
        if (child == 0) {
            const int in = ::open(input ? Path(".stdin").c_str() : "/dev/null", O_RDONLY);
            const int out = ::open(Path(".stdout").c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
            const int err = ::open(Path(".stderr").c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
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
        result.out = ReadFile(Path(".stdout"));
        result.err = ReadFile(Path(".stderr"));
        return result;
    }
    RunResult Run(const std::vector<std::string>& args,
                  const std::optional<std::string>& input = std::nullopt) const {
        return Collect(Start(args, input));
    }
    // The files of the scratch directory, hidden ones left out.
    std::string Files() const { return test::ListDirectory(dir_, false); }
    std::string Settings() const { return ReadFile(Path(".config/Quorvane, Inc./Mandrel32.conf")); }

    test::TempDir scratch_;
    fs::path dir_;
};

TEST_F(Console, EncodesAndDecodesWithTheReportsAndStatuses) {
    struct Case {
        std::vector<std::string> args;
        int status;
        std::string out;
        std::string err;
        std::string files;
    };
    const std::string uue = Path("photo.uue");
    const std::string three = "photo.jpg photo.uue photo.xxe";
    const std::string encoded = "photo.jpg Successfully UU Encoded to\n" + uue + "\n";
    // clang-format off
    const Case cases[] = {
        {{"-N", "-Eu", Path("photo.jpg")}, 0, encoded, "", "photo.jpg photo.uue"},
        // Options stand anywhere before "--".
        {{"-N", "-Ex", "--encodechecksum=1", Path("photo.jpg"), "--quiet"}, 0, "", "", three},
        {{"-N", Path("photo.xxe"), "--quiet", "--decodedirselect=152", "--decodedir=" + Path("out")}, 1, "",
         kPrefix + "Can't Write to " + Path("out/photo.jpg") + " because\n\n" + SystemErrorText(ENOENT) + "\n", three},
        {{"--quiet", "-N", Path("nothing.txt")}, 1, "", kPrefix + "Can't read " + Path("nothing.txt") + "\n", three},
        // The output size is held to its range; a shell archive takes LF and no checksums.
        {{"--encodeoutputsize=100", "--encodetype=Comp.binaries", "-N", "-Eu", Path("photo.jpg")}, 0, encoded,
         kPrefix + "Output Size Must be between 4500 and 1048576.\n", three},
        // R makes the file associations and ignores the files named.
        {{"-N", "-R", "-Eu", Path("photo.jpg")}, 0, "", "", three},
        {{"-N", "-C", Path("photo.jpg")}, 1, "",
         kPrefix + "Can't Open Clipboard because\n\nThere is no desktop session to hold it: neither "
                   "WAYLAND_DISPLAY nor DISPLAY is set. Encode to a file instead (without -C).\n", three},
        {{"-N"}, 2, "",
         kPrefix + "No files named.\nUsage: mandrel [OPTIONS] [SWITCHES] FILE...\nTry mandrel --help for more.\n", three},
        {{"--encodetype=15", "-N", "-E", Path("photo.jpg")}, 2, "",
         kPrefix + "Invalid value \"15\" for --encodetype: expected an encode format number or name (listed by "
                   "--help).\n", three},
        {{"--nosuchsetting=1", Path("photo.jpg")}, 2, "", kPrefix + "Unknown option --nosuchsetting=1 (try --help).\n",
         three},
    };
    // clang-format on
    for (const Case& c : cases) {
        const RunResult run = Run(c.args);
        EXPECT_EQ(run.status, c.status) << c.args[0] << " " << c.args.back();
        EXPECT_EQ(run.out, c.out) << c.args.back();
        EXPECT_EQ(run.err, c.err) << c.args.back();
        EXPECT_EQ(Files(), c.files) << c.args.back();
    }
    EXPECT_NE(ReadFile(Path("photo.xxe")).find("sum -r/size"), std::string::npos);
    EXPECT_EQ(Run({"--version"}).out, "Mandrel Desktop 32 2.0.0\n");
}

TEST_F(Console, DecodesReportEveryFileAndEveryFailure) {
    // One input holding two files: a report for each.
    WriteFile(Path("two.uue"), "begin 644 a.txt\n#86)C\n`\nend\nbegin 644 b.txt\n\"86(\n`\nend\n");
    RunResult run = Run({"-N", Path("two.uue")});
    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(run.out, "two.uue Successfully UU Decoded as\n" + Path("a.txt") +
                           "\ntwo.uue Successfully UU Decoded as\n" + Path("b.txt") + "\n");
    EXPECT_EQ(ReadFile(Path("b.txt")), "ab");
    // A warning ends with status 3; a failure says why in one line, also without questions.
    WriteFile(Path("cut.uue"), "begin 644 c.txt\n#86)C\n");
    run = Run({"-N", Path("cut.uue")});
    EXPECT_EQ(run.status, 3);
    EXPECT_EQ(run.out, "cut.uue Apparently UU Decoded as\n" + Path("c.txt") +
                           "\n\nMissing 'end' statement.\n");
    WriteFile(Path("plain.txt"), "nothing encoded here\n");
    run = Run({"-N", Path("plain.txt"), Path("plain.txt")});
    EXPECT_EQ(run.status, 1);
    EXPECT_TRUE(std::regex_match(
        run.err, std::regex(std::regex_replace(
                                kPrefix + "Unable to Determine File Format for " + Path(".tmp/"),
                                std::regex(R"([.*+?()\[\]])"), R"(\$&)") +
                            R"(mdr\w+\.tmp\. Cannot Find Any Encoding Header Information\.\n)")))
        << run.err;
    EXPECT_TRUE(fs::is_empty(dir_ / ".tmp"));  // the joined input is gone, without a word
    run = Run({"--decodejoin=0", "-N", Path("plain.txt")});
    EXPECT_EQ(run.err, kPrefix + "Unable to Determine File Format for " + Path("plain.txt") +
                           ". Cannot Find Any Encoding Header Information.\n");
    EXPECT_EQ(Files(), "a.txt b.txt c.txt cut.uue photo.jpg plain.txt two.uue");
}

// --report=json: one object a job on standard output, whatever the job came to; the messages
// stay on standard error.
TEST_F(Console, JsonReportsForScripts) {
    WriteFile(Path("two.uue"), "begin 644 a.txt\n#86)C\n`\nend\nbegin 644 b.txt\n\"86(\n`\nend\n");
    WriteFile(Path("cut\xe9.uue"), "begin 644 c.txt\n#86)C\n");
    WriteFile(Path("photo.jpg"), test::RandomBytes(3, 6000));  // two parts of 4500 bytes
    ASSERT_EQ(
        Run({"-N", "-Eu", "--encodechecksum=1", "--encodetype=5", "--encodeoutputsize=4500",
             "--report=json", Path("photo.jpg")})
            .out,
        "{\"input\":\"" + Path("photo.jpg") + "\",\"inputs\":[\"" + Path("photo.jpg") +
            "\"],\"direction\":\"encode\",\"result\":\"done\",\"code\":0,\"outputs\":[\"" +
            Path("photo1.uue") + "\",\"" + Path("photo2.uue") +
            "\"],\"encoding\":\"UU\",\"format\":\"SimTel\",\"parts\":{\"total\":2,\"found\":[],"
            "\"missing\":[]},\"warnings\":[],\"checksums\":\"none\",\"differences\":[],"
            "\"report\":\"photo.jpg Successfully UU Encoded 2 Parts to " +
            Path("photo1.uue") + " thru " + Path("photo2.uue") + "\"}\n");
    fs::remove(Path("photo.jpg"));
    std::string spoiled = ReadFile(Path("photo2.uue"));
    spoiled.replace(spoiled.find("/6000 entire") - 1, 1, "0");
    WriteFile(Path("spoiled.uue"), ReadFile(Path("photo1.uue")) + spoiled);
    struct Case {
        std::string file;
        int status;
        std::string json;  // after "input" and "inputs"
    };
    const std::string decoded = R"("direction":"decode","result":"done","code":0,"outputs":[")";
    const Case cases[] = {
        {"two.uue", 0,
         decoded + Path("a.txt") + "\",\"" + Path("b.txt") +
             R"("],"encoding":"UU","format":"Single File","parts":{"total":1,"found":[1],"missing":[]},)"
             R"("warnings":[],"checksums":"none","differences":[],"report":"two.uue Successfully UU )"
             "Decoded as " +
             Path("a.txt") + " two.uue Successfully UU Decoded as " + Path("b.txt") + "\"}"},
        {"cut\xe9.uue", 3,
         decoded + Path("c.txt") +
             R"("],"encoding":"UU","format":"Single File","parts":{"total":1,"found":[1],"missing":[]},)"
             R"("warnings":["Missing 'end' statement."],"checksums":"none","differences":[],)"
             R"("report":"cut\ufffd.uue Apparently UU Decoded as )" +
             Path("c.txt") + R"(  Missing 'end' statement."})"},
        {"photo1.uue", 1,
         R"("direction":"decode","result":"failed","code":-2,"outputs":[],"encoding":"UU",)"
         R"("format":"SimTel","parts":{"total":2,"found":[1],"missing":[2]},)"
         R"("warnings":["Missing 'end' statement."],)"
         R"("checksums":"none","differences":[],"report":""})"},
        {"spoiled.uue", 1,
         decoded + Path("photo.jpg") +
             R"("],"encoding":"UU","format":"SimTel","parts":{"total":2,"found":[1,2],"missing":[]},)"
             R"("warnings":[],"checksums":"differences","differences":["Output File photo.jpg )"
             R"(Checksum:\tExpected )"},
    };
    for (const Case& c : cases) {
        const RunResult run = Run({"--decodejoin=0", "-N", "--report=json", Path(c.file)});
        const std::string input = Path(c.file == "cut\xe9.uue" ? "cut\\ufffd.uue" : c.file);
        EXPECT_EQ(run.status, c.status) << c.file;
        EXPECT_TRUE(run.out.starts_with(R"({"input":")" + input + R"(","inputs":[")" + input +
                                        R"("],)" + c.json))
            << run.out;
        EXPECT_EQ(std::count(run.out.begin(), run.out.end(), '\n'), 1) << run.out;
    }
    EXPECT_EQ(Run({"--report=xml", Path("two.uue")}).err,
              kPrefix + "Unknown report form xml: --report=json or --report=text.\n");
}

TEST_F(Console, StandardInputAndOutput) {
    const std::string photo = ReadFile(Path("photo.jpg"));
    // Encoded from standard input under the -O name or "stdin", into the current directory.
    RunResult run = Run({"-N", "-Eu", "-"}, photo);
    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_TRUE(ReadFile(Path("stdin.uue")).starts_with("begin 644 stdin\r\n"));
    EXPECT_EQ(run.out, "stdin Successfully UU Encoded to\n" + Path("stdin.uue") + "\n");
    run = Run({"-N", "-Em", "-O", "pic.jpg.mme", "-"}, photo);
    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_NE(ReadFile(Path("pic.jpg.mme")).find("name=\"pic.jpg\""), std::string::npos);
    // Decoded from standard input into the current directory.
    fs::remove(Path("photo.jpg"));
    run = Run({"-N", "--", "-"}, ReadFile(Path("pic.jpg.mme")));
    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_TRUE(ReadFile(Path("pic.jpg")) == photo);
    // The one output to standard output, with no report to spoil it.
    run = Run({"-N", "-Eb", "-O", "-", Path("pic.jpg")});
    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_TRUE(run.out.starts_with("MIME-Version: 1.0\r\n")) << run.out.substr(0, 40);
    WriteFile(Path("pic.hqx"), run.out);
    run = Run({"-N", "-O", "-", Path("pic.hqx")});
    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_TRUE(run.out == photo);
    run = Run({"-O", "-", "-"}, "begin 644 x\n#86)C\n`\nend\n");
    EXPECT_EQ(run.out, "abc");
    WriteFile(Path("big.bin"), std::string(20000, 'x'));
    run = Run({"--encodetype=SimTel", "--encodeoutputsize=4500", "-N", "-Eu", "-O", "-",
               Path("big.bin")});
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.out, "");
    EXPECT_EQ(run.err,
              kPrefix + "The output is 7 files; -O - writes only one file to standard output.\n");
    // Names that look like switches or options, after "--".
    WriteFile(Path("-x.txt"), "dash");
    run = Run({"-N", "-Eu", "--", "-x.txt"});
    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_TRUE(ReadFile(Path("-x.uue")).starts_with("begin 644 -x.txt"));
    EXPECT_EQ(Files(), "-x.txt -x.uue big.bin pic.hqx pic.jpg pic.jpg.mme stdin.uue");
    EXPECT_TRUE(fs::is_empty(dir_ / ".tmp"));
}

TEST_F(Console, SettingsAreKeptOnlyWithSave) {
    ASSERT_EQ(Run({"--encodemethod=XX", "-N", "-E", Path("photo.jpg")}).status, 0);
    EXPECT_EQ(Settings(), "");
    ASSERT_EQ(Run({"--save", "--encodemethod=XX", "-N", "-Eb", Path("photo.jpg")}).status, 0);
    const std::string saved = Settings();
    EXPECT_TRUE(saved.starts_with("[2.0]\n")) << saved;
    EXPECT_NE(saved.find("encodemethod=183\n"), std::string::npos) << saved;
    EXPECT_EQ(saved.find("decodejoin"), std::string::npos) << saved;  // only the changed group
    ASSERT_EQ(Run({"-N", "-E", Path("photo.jpg")}).status, 0);
    EXPECT_EQ(Files(), "photo.hqx photo.jpg photo.xxe");
}

TEST_F(Console, InterruptCancelsTheJobAndRemovesItsParts) {
    WriteFile(Path("big.bin"), "");
    fs::resize_file(Path("big.bin"), 60U << 20);
    const pid_t child = Start(
        {"--encodetype=Comp.binaries", "--encodeoutputsize=1048576", "-N", "-Eu", Path("big.bin")});
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    while (!fs::exists(Path("big1.uue")) && std::chrono::steady_clock::now() < deadline) {
        ::usleep(1000);
    }
    ::kill(child, SIGINT);
    const RunResult run = Collect(child);
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.out, "");
    EXPECT_EQ(run.err, kPrefix + "UU Encode of big.bin Aborted\n");
    EXPECT_EQ(Files(), "big.bin photo.jpg");
}

// The man page names every option and switch --help names, and --help every one it names.
TEST_F(Console, ManPageKeepsInStepWithHelp) {
    const std::string help = Run({"--help"}).out;
    const std::string man = ReadFile(MANDREL_MAN_PAGE);
    ASSERT_FALSE(man.empty());
    const auto words = [](const std::string& text) {
        std::set<std::string> found;
        const std::regex word(R"((--[a-z]+)(=VALUE)?|(^|[^-\w])(-[A-Z])\b)");
        for (std::sregex_iterator it(text.begin(), text.end(), word), end; it != end; ++it) {
            found.insert((*it)[1].matched ? (*it)[1].str() : (*it)[4].str());
        }
        return found;
    };
    std::string plainMan = std::regex_replace(man, std::regex(R"(\\-)"), "-");
    plainMan = std::regex_replace(plainMan, std::regex(R"(\\f[BIRP])"), "");
    EXPECT_EQ(words(help), words(plainMan));
    EXPECT_GT(words(help).size(), 25U);
}

// A run of the program on a pseudo-terminal, its questions answered by typing.
class TerminalRun {
public:
    TerminalRun(const fs::path& directory, const std::vector<std::string>& args) {
        pid_ = ::forkpty(&master_, nullptr, nullptr, nullptr);
        if (pid_ == 0) {
            ExecProgram(directory, args);
        }
    }
    ~TerminalRun() {
        if (pid_ > 0 && !finished_) {
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
    // Reads until text has been shown; false when the program ends or time runs out first.
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
    int Finish() {
        while (ReadSome(20000)) {
        }
        int waitStatus = 0;
        ::waitpid(pid_, &waitStatus, 0);
        finished_ = true;
        return StatusOf(waitStatus);
    }
    std::string Seen() const {
        std::string plain = raw_;
        std::erase(plain, '\r');
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
    bool finished_ = false;
};

const std::string kYesNo = "[y]es, [n]o or [c]ancel? ";

TEST_F(Console, QuestionsOnTheTerminal) {
    WriteFile(Path("photo.uue"), "old");
    {
        // The save dialog takes Enter as the name it proposes; an answer that is none of y, n
        // or c is asked again; No keeps the file.
        TerminalRun run(dir_, {"-Eu", Path("photo.jpg")});
        if (!run.Started()) {
            GTEST_SKIP() << "no pseudo-terminal to be had";
        }
        ASSERT_TRUE(run.WaitFor("Encode Output To [" + Path("photo.uue") + "]: ")) << run.Seen();
        run.Type("\n");
        ASSERT_TRUE(
            run.WaitFor(kPrefix + "Overwrite Existing " + Path("photo.uue") + "\n" + kYesNo));
        run.Type("maybe\n");
        ASSERT_TRUE(run.WaitFor(kYesNo + "maybe\n" + kYesNo)) << run.Seen();
        run.Type("n\n");
        EXPECT_EQ(run.Finish(), 1);
        EXPECT_EQ(ReadFile(Path("photo.uue")), "old");
        EXPECT_NE(run.Seen().find(kPrefix + "Nothing was written for photo.jpg: cancelled.\n"),
                  std::string::npos)
            << run.Seen();
    }
    {
        // A bad line: Decode All, confirmed by its warning; the control characters of the line
        // are shown, never obeyed.
        WriteFile(Path("bad.uue"),
                  "begin 644 d.txt\n#8\x1b"
                  "6)C\n`\nend\n");
        TerminalRun run(dir_, {"--usedefaultnames=1", Path("bad.uue")});
        ASSERT_TRUE(run.WaitFor("a[b]ort? ")) << run.Seen();
        EXPECT_NE(run.Seen().find("{ #8^[6)C }"), std::string::npos) << run.Seen();
        run.Type("a\n");
        ASSERT_TRUE(run.WaitFor("Proceed as indicated?\n" + kYesNo)) << run.Seen();
        run.Type("y\n");
        EXPECT_EQ(run.Finish(), 3) << run.Seen();
        EXPECT_TRUE(fs::exists(Path("d.txt")));
    }
    {
        // Nothing to decode: the formats to retry with are listed; q gives up.
        WriteFile(Path("plain.txt"), "nothing here\n");
        TerminalRun run(dir_, {Path("plain.txt")});
        ASSERT_TRUE(
            run.WaitFor("  20 R.E.M.\n[a]ll formats, a format number or name (listed), "
                        "or [q]uit? "))
            << run.Seen();
        EXPECT_NE(run.Seen().find("   3 Single File (Enter)\n"), std::string::npos);
        run.Type("q\n");
        EXPECT_EQ(run.Finish(), 1);
    }
}

}  // namespace
}  // namespace mandrel
