// The shell: the command line, what becomes of a listed file, the report sentences and the end
// of a job, and the job API that the window and the console drive: one call per job, the cancel
// token, joined inputs, and lists worked through job by job.
#include <gtest/gtest.h>

#include <algorithm>
#include <deque>
#include <filesystem>
#include <string>
#include <vector>

#include "platform/scripted_ui.h"
#include "shell/app_state.h"
#include "shell/command_line.h"
#include "shell/file_list_runner.h"
#include "shell/input_selection.h"
#include "shell/job_report.h"
#include "shell/job_runner.h"
#include "support/test_files.h"

namespace mandrel {
namespace {

namespace fs = std::filesystem;
using Names = std::vector<std::string>;

TEST(CommandLine, SwitchesThenNames) {
    struct Case {
        std::string line;
        int encode;
        int32_t method;
        int32_t type;
        int interactive;
        Names recipients;
        std::string outputName;
        Names files;
    };
    const Case cases[] = {
        // BinHex and MIME force Single File; a letter that is no method starts the names.
        {"-Eb file.dat", 1, kMethodBinHex, kFormatSingleFile, 1, {}, "", {"file.dat"}},
        {"/eX file", 1, kMethodXX, kFormatShar, 1, {}, "", {"file"}},
        {"-Ez file", 1, kMethodUU, kFormatShar, 1, {}, "", {"z", "file"}},
        {"a.uue", 0, kMethodUU, kFormatShar, 1, {}, "", {"a.uue"}},
        {"/n/j-c file", 1, kMethodUU, kFormatShar, 0, {}, "", {"file"}},
        {"-N -Q -E a", 0, kMethodUU, kFormatShar, 0, {}, "", {"-Q", "-E", "a"}},
        // Recipients: a comma chains the next, a blank ends the list; M@ chooses them later.
        {"-Malice,bob file", 1, kMethodUU, kFormatShar, 1, {"alice", "bob"}, "", {"file"}},
        {"-Malice, bob file", 1, kMethodUU, kFormatShar, 1, {"alice", ""}, "", {"bob", "file"}},
        {"-M@ file", 2, kMethodUU, kFormatShar, 1, {}, "", {"file"}},
        {"-Mfirst -Msecond file", 1, kMethodUU, kFormatShar, 1, {"second"}, "", {"file"}},
        // The output name runs to a tab or a character no name may hold.
        {"-O: out.uue file.dat", 0, kMethodUU, kFormatShar, 1, {}, "out.uue file.dat", {}},
        {"-E -o:   /tmp/out.uue\tf", 1, kMethodUU, kFormatShar, 1, {}, "/tmp/out.uue", {"f"}},
        {"-O:x.uue\ta", 0, kMethodUU, kFormatShar, 1, {}, ".uue", {"a"}},
        {"-O: a?b c", 0, kMethodUU, kFormatShar, 1, {}, "a", {"?b", "c"}},
        // clang-format off
        {"-O: " + std::string(300, 'n') + "\tf", 0, kMethodUU, kFormatShar, 1, {}, std::string(255, 'n'), {"f"}},
        // clang-format on
        // Names: quoted, split at blanks, tabs and commas, empty ones dropped.
        {"a \"b c\" d", 0, kMethodUU, kFormatShar, 1, {}, "", {"a", "b c", "d"}},
        {"x\"y z", 0, kMethodUU, kFormatShar, 1, {}, "", {"x\"y", "z"}},
        {"a,,b \"\" c,", 0, kMethodUU, kFormatShar, 1, {}, "", {"a", "b", "c"}},
        {"\"unclosed name", 0, kMethodUU, kFormatShar, 1, {}, "", {"unclosed name"}},
        {"-", 0, kMethodUU, kFormatShar, 1, {}, "", {"-"}},
    };
    for (const Case& c : cases) {
        ScriptedUi ui;
        AppState app(ui, ui);
        app.config.encodetype = kFormatShar;
        ParseCommandLine(app, c.line);
        EXPECT_EQ(app.options.CmdLineEncode, c.encode) << c.line;
        EXPECT_EQ(app.config.encodemethod, c.method) << c.line;
        EXPECT_EQ(app.config.encodetype, c.type) << c.line;
        EXPECT_EQ(app.options.Interactive, c.interactive) << c.line;
        Names recipients;
        for (const MailRecipient& r : app.options.Recipients) {
            recipients.push_back(r.name);
            EXPECT_EQ(r.address, "SMTP:" + r.name);
        }
        EXPECT_EQ(recipients, c.recipients) << c.line;
        EXPECT_EQ(app.options.CommandLineOutputName, c.outputName) << c.line;
        EXPECT_EQ(app.list.FileList, c.files) << c.line;
        EXPECT_EQ(app.list.FileCount, static_cast<int>(c.files.size())) << c.line;
    }
    ScriptedUi ui;
    AppState app(ui, ui);
    ParseCommandLine(app, "/n/j-c file");
    EXPECT_TRUE(app.options.EncodeToClipboard);
    EXPECT_EQ(app.config.decodejoin, 1);
    std::string many = "-E -M";
    for (int i = 0; i < 140; ++i) {
        many += (i == 0 ? "r" : ",r") + std::to_string(i);
    }
    for (int i = 0; i < 140; ++i) {
        many += " f" + std::to_string(i);
    }
    ParseCommandLine(app, many);
    EXPECT_EQ(app.options.Recipients.size(), static_cast<std::size_t>(kMaxRecipients));
    EXPECT_EQ(app.list.FileCount, kMaxFileList);
}

// Separate arguments as one command line: each boundary a tab, names with blanks quoted, and
// after "--" every argument a name.
TEST(CommandLine, ArgumentsAreJoinedIntoOneLine) {
    // clang-format off
    const std::pair<Names, const char*> cases[] = {
        {{"-Eu", "my photo.jpg"}, "-Eu\t\"my photo.jpg\""},
        {{"-O", "out name.uue", "file.dat"}, "-O:\tout name.uue\tfile.dat"},
        {{"-M", "alice,bob", "f"}, "-M\talice,bob\tf"},
        {{"-Malice,bob", "a,b.txt"}, "-Malice,bob\t\"a,b.txt\""}, {{"/Music/a.mp3"}, "\"/Music/a.mp3\""},
    };
    // clang-format on
    for (const auto& [arguments, line] : cases) {
        EXPECT_EQ(JoinArguments(arguments), line);
    }
    ScriptedUi ui;
    AppState app(ui, ui);
    ParseCommandLine(app, JoinArguments({"-E", "-O", "my out.uue", "/Music/a.mp3", "b c"}));
    EXPECT_EQ(app.options.CommandLineOutputName, "my out.uue");
    EXPECT_EQ(app.list.FileList, (Names{"/Music/a.mp3", "b c"}));
    AppState other(ui, ui);
    ParseCommandLine(other, JoinArguments({"-N", "-R", "-E", "-x.txt", "/n"}, 2));
    EXPECT_EQ(other.list.FileList, (Names{"-E", "-x.txt", "/n"}));
    EXPECT_EQ(other.options.CmdLineEncode, 0);
    EXPECT_TRUE(other.options.RunAssociations);
}

TEST(InputSelection, TheDecodeMethodDecidesWhatAFileIs) {
    struct Case {
        int decodemethod;
        int direction;
        const char* path;
        int action;
        int encoding;  // -1: left as it was
    };
    const Case cases[] = {
        {180, 2, "/in/report.UUE", WM_DECODEFILE, 1}, {180, 2, "/in/a.b64", WM_DECODEFILE, 3},
        {180, 2, "/in/a.HEX", WM_DECODEFILE, 4},      {180, 2, "/in/a.txt", WM_ENCODEFILE, -1},
        {180, 2, "/my.dir/file", WM_ENCODEFILE, -1},  {181, 2, "/in/a.txt", WM_DECODEFILE, 0},
        {181, 1, "/in/a.uue", WM_ENCODEFILE, -1},     {185, 2, "/in/a.txt", WM_DECODEFILE, 4},
        {999, 2, "/in/a.uue", WM_ENCODEFILE, -1},
    };
    for (const Case& c : cases) {
        ScriptedUi ui;
        AppState app(ui, ui);
        app.config.decodemethod = c.decodemethod;
        app.job.JobDirection = c.direction;
        app.job.EncodingIndex = 77;
        EXPECT_EQ(ChooseListAction(app, c.path), c.action) << c.path << " " << c.decodemethod;
        EXPECT_EQ(app.job.EncodingIndex, c.encoding < 0 ? 77 : c.encoding) << c.path;
    }
}

TEST(JobReport, SentencesByResult) {
    ScriptedUi ui;
    AppState app(ui, ui);
    app.job.JobInputPath = "/home/u/notes.txt";
    app.job.JobOutputPath = "/home/u/notes.uue";
    EXPECT_EQ(JobReportSentence(app, 0, 1, 1, 3),
              "notes.txt Successfully UU Encoded 3 Parts\r\nto /home/u/notes1.uue thru "
              "/home/u/notes3.uue");
    app.job.JobWarnings = true;
    app.job.ReportExtraText = "\r\nChecksum data found valid.";
    EXPECT_EQ(JobReportSentence(app, 0, 2, 2, 4),
              "notes.txt Apparently XX Decoded 4 Parts\r\nas /home/u/notes.uue\r\nChecksum data "
              "found valid.");
    EXPECT_EQ(OutputSentence(app, {"/home/u/b.bin", kEncodingMIME}),
              "notes.txt Apparently MIME Decoded as\r\n/home/u/b.bin");
    app.job.JobWarnings = false;
    app.job.ReportExtraText.clear();
    app.job.EncodeToMail = true;
    app.job.JobOutputPath = "2 E-mail Recipients";
    EXPECT_EQ(JobReportSentence(app, 0, 1, 1, 2),
              "notes.txt Successfully UU Encoded 2 Parts\r\nto 2 E-mail Recipients");
    EXPECT_EQ(JobReportSentence(app, 1, 1, 3, 1), "MIME Encode of notes.txt Aborted");
    EXPECT_EQ(JobReportSentence(app, -1, 1, 1, 1), "Could not UU Encode notes.txt");
    EXPECT_EQ(JobReportSentence(app, -2, 1, 1, 1), "");
    EXPECT_EQ(JobReportSentence(app, 7, 1, 1, 1), "Invalid Result Code 7");
}

TEST(JobReport, EndOfJobReportsWhereDueAndEndsTheList) {
    test::TempDir dir;
    ScriptedUi ui;
    AppState app(ui, ui);
    // A list the user chose reports every file and stays open.
    app.list = {{"/d/a.txt", "/d/b.txt"}, 2, 0, true, false};
    app.job.JobInputPath = "/d/a.txt";
    const JobReport done{kResultDone, kDirectionEncode, "a.txt Successfully UU Encoded to", false};
    EXPECT_EQ(EndOfJob(app, done), 1);
    EXPECT_EQ(EndOfJob(app, done), 0);
    EXPECT_EQ(ui.messages.size(), 2U);
    EXPECT_EQ(ui.messages[1].style, kMbPlain);
    EXPECT_FALSE(app.QuitRequested);
    // A command-line list reports nothing and ends the program after its last file; its
    // temporary input goes, and a failed job's output is removed by the report that is due.
    app.list = {{"a", "b"}, 2, 0, false, false};
    app.options.CmdLineEncode = 1;
    app.options.CommandLineOutputName = "out";
    EXPECT_EQ(EndOfJob(app, done), 1);
    app.job.InputIsTemporary = true;
    app.job.JobInputPath = dir.File("temporary");
    test::WriteFile(app.job.JobInputPath, "x");
    EXPECT_EQ(EndOfJob(app, done), 0);
    EXPECT_FALSE(fs::exists(dir.File("temporary")));
    EXPECT_TRUE(app.QuitRequested);
    EXPECT_EQ(app.options.CmdLineEncode, 0);
    EXPECT_TRUE(app.options.CommandLineOutputName.empty());
    EXPECT_EQ(ui.messages.size(), 2U);
    app.QuitRequested = false;
    app.job.JobOutputPath = dir.File("half.uue");
    test::WriteFile(app.job.JobOutputPath, "half");
    EndOfJob(app, {kResultFailed, kDirectionEncode, "Could not UU Encode a", false});
    EXPECT_EQ(ui.messages.back().style, kMbExclamation);
    EXPECT_FALSE(fs::exists(dir.File("half.uue")));
}

class JobApi : public ::testing::Test {
protected:
    JobApi() {
        app.files.BufFileInit(10, 16384);
        app.config.usedefaultnames = 1;
        app.config.overwriteexisting = 1;
    }
    std::string Input(std::string_view name, const std::string& bytes) {
        test::WriteFile(dir.File(name), bytes);
        return dir.File(name);
    }
    // photo1.uue to photo<count>.uue.
    std::vector<std::string> PartPaths(int count) const {
        std::vector<std::string> paths;
        for (int p = 1; p <= count; ++p) {
            paths.push_back(dir.File("photo" + std::to_string(p) + ".uue"));
        }
        return paths;
    }
    JobRequest Request(JobRequest::Direction direction, std::vector<std::string> inputs) {
        JobRequest request;
        request.direction = direction;
        request.inputs = std::move(inputs);
        return request;
    }

    test::TempDir dir;
    ScriptedUi ui;
    AppState app{ui, ui};
};

TEST_F(JobApi, EncodeThenDecodeWithOneCallEach) {
    const std::string bytes = test::RandomBytes(1, 30000);
    const std::string photo = Input("photo.jpg", bytes);
    app.config.encodetype = kSimTel;
    app.config.encodeoutputsize = kMinOutputSize;
    app.config.encodechecksum = 1;
    const JobOutcome encoded = RunJob(app, Request(JobRequest::Direction::Encode, {photo}));
    EXPECT_EQ(encoded.result, kResultDone);
    EXPECT_EQ(encoded.report, "photo.jpg Successfully UU Encoded 10 Parts\r\nto " +
                                  dir.File("photo1.uue") + " thru " + dir.File("photo10.uue"));
    // The report box is shown: no list is running.
    EXPECT_EQ(ui.messages.back().text, encoded.report);
    fs::remove(photo);
    std::vector<std::string> parts = PartPaths(10);
    std::reverse(parts.begin(), parts.end());
    const JobOutcome decoded = RunJob(app, Request(JobRequest::Direction::ByFile, parts));
    EXPECT_EQ(decoded.result, kResultDone);
    EXPECT_TRUE(test::ReadFile(photo) == bytes);
    EXPECT_FALSE(fs::exists(decoded.path));  // the joined input is gone
    EXPECT_TRUE(decoded.report.ends_with("Decoded 10 Parts\r\nas " + photo +
                                         "\r\nChecksum data found valid."))
        << decoded.report;
    EXPECT_FALSE(app.JobBusy);
}

TEST_F(JobApi, CancelFromThePumpRemovesEveryPart) {
    const std::string photo = Input("photo.jpg", test::RandomBytes(2, 40000));
    app.config.encodetype = kSimTel;
    app.config.encodeoutputsize = kMinOutputSize;
    ui.onPump = [this](int) {
        if (app.encode.part == 3 && app.encode.blocksInPart >= 10) {
            app.cancel.Request();  // the Cancel button, or Ctrl-C, in the middle of part 3
        }
    };
    const JobOutcome outcome = RunJob(app, Request(JobRequest::Direction::Encode, {photo}));
    EXPECT_EQ(outcome.result, kResultAborted);
    EXPECT_EQ(outcome.report, "UU Encode of photo.jpg Aborted");
    EXPECT_EQ(test::ListDirectory(dir.path()), "photo.jpg");
    EXPECT_FALSE(app.cancel.Requested());  // the next job starts afresh
    // The same for a decode of joined inputs: no part file, no output, no joined input.
    const test::ScopedEnv tmp("TMPDIR", dir.File("tmp"));
    fs::create_directories(dir.path() / "tmp");
    ui.onPump = {};
    app.config.encodechecksum = 0;
    ASSERT_EQ(RunJob(app, Request(JobRequest::Direction::Encode, {photo})).result, kResultDone);
    fs::remove(photo);
    const std::vector<std::string> parts = PartPaths(9);
    ui.pumps = 0;
    ui.onPump = [this](int pump) {
        if (pump == 40) {
            app.cancel.Request();
        }
    };
    EXPECT_EQ(RunJob(app, Request(JobRequest::Direction::Decode, parts)).result, kResultAborted);
    EXPECT_FALSE(fs::exists(photo));
    EXPECT_TRUE(fs::is_empty(dir.path() / "tmp"));
}

TEST_F(JobApi, AnInputThatCannotBeReadIsNamedAsSuch) {
    const std::string a = Input("a.uue", "begin 644 a\n`\nend\n");
    const JobOutcome outcome =
        RunJob(app, Request(JobRequest::Direction::Decode, {a, dir.File("--quiet")}));
    EXPECT_TRUE(outcome.stopsList);
    EXPECT_EQ(outcome.result, kResultReported);
    EXPECT_EQ(ui.messages.back().text, "Can't read " + dir.File("--quiet"));
    EXPECT_EQ(ui.messages.size(), 1U);
}

TEST_F(JobApi, ListsAreWorkedThroughJobByJob) {
    const std::string a = Input("a.bin", test::RandomBytes(3, 2000));
    const std::string missing = dir.File("missing.bin");
    const std::string c = Input("c.bin", test::RandomBytes(4, 100));
    app.options.CmdLineEncode = 1;
    app.options.Interactive = 0;
    app.list = {{a, missing, c}, 3, 0, false, false};
    std::vector<std::string> seen;
    const auto outcomes =
        RunFileList(app, [&seen](const JobOutcome& outcome) { seen.push_back(outcome.path); });
    // An input that cannot be read stops the list; the output the first file was to share with
    // the others is complete on disk.
    EXPECT_EQ(seen, (Names{a, missing}));
    EXPECT_EQ(outcomes[0].report, "a.bin Successfully UU Encoded to\r\n" + dir.File("a.uue"));
    EXPECT_EQ(ui.messages.size(), 1U);  // "Can't read", and no report box
    EXPECT_NE(test::ReadFile(dir.File("a.uue")).find("\r\nend\r\n"), std::string::npos);
    EXPECT_FALSE(app.encode.outputOpen);
    // A quit asked for during a file stops the list before the next one.
    app.list = {{a, c}, 2, 0, false, false};
    ui.onPump = [this](int) {
        if (app.list.FileIndex == 1) {
            app.QuitRequested = true;
        }
    };
    EXPECT_EQ(RunFileList(app).size(), 1U);
    // Several decoded inputs are joined into one job with one report.
    ui.onPump = {};
    app.QuitRequested = false;
    app.options.CmdLineEncode = 0;
    const std::string text = test::ReadFile(dir.File("a.uue"));
    const std::size_t half = text.find('\n', text.size() / 2) + 1;
    fs::remove(a);
    Names halves = {Input("p1.txt", text.substr(0, half)), Input("p2.txt", text.substr(half))};
    app.list = {std::move(halves), 2, 0, false, false};
    const auto joined = RunFileList(app);
    ASSERT_EQ(joined.size(), 1U);
    EXPECT_EQ(joined[0].result, kResultDone);
    EXPECT_TRUE(test::ReadFile(a) == test::RandomBytes(3, 2000));
    EXPECT_TRUE(app.QuitRequested);
}

// A command line that mails its files: logon before the first file (flags 66 when it named the
// recipients, 3 when they are to be chosen), the recipients offered, one message per part,
// logoff at the end of the list; a logon or recipient choice that fails ends the program
// without encoding (a logon failure the mail system already said, code 3, does not).
TEST_F(JobApi, ACommandLineMailJobLogsOnFirstAndOffLast) {
    const std::string a = Input("a.bin", test::RandomBytes(5, 1000));
    const std::string b = Input("b.bin", test::RandomBytes(6, 1000));
    struct Case {
        const char* what;
        int encode;  // CmdLineEncode: 1 named recipients, 2 chosen
        Names recipients;
        std::deque<int> logon;
        std::deque<int> choice;
        Names steps;
        std::size_t sent;
        bool quit;
    };
    const Case cases[] = {
        {"named", 1, {"alice", "bob"}, {}, {}, {"logon 66", "recipients 2", "logoff"}, 2, true},
        {"to be chosen", 2, {}, {}, {}, {"logon 3", "recipients 0", "logoff"}, 2, true},
        {"logon said it failed",
         1,
         {"alice"},
         {3},
         {},
         {"logon 66", "recipients 1", "logoff"},
         2,
         true},
        {"no network", 1, {"alice"}, {23}, {}, {"logon 66"}, 0, true},
        {"recipients cancelled", 2, {}, {}, {1}, {"logon 3", "recipients 0"}, 0, true},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        ui.mailSteps.clear();
        ui.sentMail.clear();
        ui.logonResults = c.logon;
        ui.recipientResults = c.choice;
        app.QuitRequested = false;
        app.options.CmdLineEncode = c.encode;
        app.options.EncodeToMail = true;
        app.options.Interactive = 0;
        app.options.Recipients.clear();
        for (const std::string& name : c.recipients) {
            app.options.Recipients.push_back({name, "SMTP:" + name});
        }
        app.list = {{a, b}, 2, 0, false, false};
        RunFileList(app);
        EXPECT_EQ(ui.mailSteps, c.steps);
        ASSERT_EQ(ui.sentMail.size(), c.sent);
        if (c.sent > 0) {
            EXPECT_EQ(ui.sentMail[0].recipients.size(), c.recipients.size());
            EXPECT_EQ(ui.sentMail[1].subject, "* Mandrel32 *; UU; b.bin; 1 of 1");
        }
        EXPECT_EQ(app.QuitRequested, c.quit);
        EXPECT_FALSE(app.options.EncodeToMail);
        EXPECT_EQ(app.list.FileCount, 0);
    }
}

}  // namespace
}  // namespace mandrel
