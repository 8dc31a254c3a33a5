// The shell's pieces around a job: what to do with a listed file, the job status line, the
// report sentence and the end-of-job step.
#include <gtest/gtest.h>

#include "core/app_state.h"
#include "core/text_util.h"
#include "platform/scripted_ui.h"
#include "shell/job_report.h"
#include "shell/job_status.h"
#include "shell/output_files.h"
#include "support/test_files.h"

namespace mandrel {
namespace {

TEST(ChooseListAction, FollowsTheDecodeMethod) {
    struct Case {
        int decodemethod;
        int cmdLineEncode;
        int direction;
        const char* path;
        int action;
        int encoding;  // -1: left as it was
    };
    const Case cases[] = {
        {180, 0, 2, "/in/report.UUE", WM_DECODEFILE, 1},
        {180, 0, 2, "/in/a.b64", WM_DECODEFILE, 3},
        {180, 0, 2, "/in/a.HEX", WM_DECODEFILE, 4},
        {180, 0, 2, "/in/a.xx", WM_DECODEFILE, 2},
        {180, 0, 2, "/in/report.txt", WM_ENCODEFILE, -1},
        {180, 0, 2, "/in/noextension", WM_ENCODEFILE, -1},
        {180, 0, 2, "/my.dir/file", WM_ENCODEFILE, -1},
        {181, 0, 2, "/in/a.txt", WM_DECODEFILE, 0},
        {181, 0, 1, "/in/a.uue", WM_ENCODEFILE, -1},
        {184, 0, 2, "/in/a.txt", WM_DECODEFILE, 3},
        {185, 0, 2, "/in/a.txt", WM_DECODEFILE, 4},
        {182, 1, 2, "/in/a.uue", WM_ENCODEFILE, -1},
        {999, 0, 2, "/in/a.uue", WM_ENCODEFILE, -1},
    };
    for (const auto& c : cases) {
        ScriptedUi ui;
        AppState app(ui);
        app.config.decodemethod = c.decodemethod;
        app.job.CmdLineEncode = c.cmdLineEncode;
        app.job.JobDirection = c.direction;
        app.job.EncodingIndex = 77;
        EXPECT_EQ(ChooseListAction(app, c.path), c.action) << c.path << " " << c.decodemethod;
        EXPECT_EQ(app.job.EncodingIndex, c.encoding < 0 ? 77 : c.encoding) << c.path;
    }
    EXPECT_EQ(ExtensionForEncoding(1), ".uue");
    EXPECT_EQ(ExtensionForEncoding(4), ".hqx");
    EXPECT_EQ(ExtensionForEncoding(0), "");
    EXPECT_EQ(ExtensionForEncoding(5), "");
}

TEST(ShowJobStatus, BuildsTheStatusLine) {
    ScriptedUi ui;
    AppState app(ui);
    app.job.CurrentFileFormat = 3;
    ShowJobStatus(app, 1, 1, "/d/in.jpg", std::string_view("/d/in.uue"), 1, 1);
    EXPECT_EQ(ui.statuses.back(), "UU Encode - Type Single File\r\nin.jpg --> in.uue");
    ShowJobStatus(app, 2, 2, "/d/in.xxe", std::string_view("/d/out"), 2, 0);
    EXPECT_EQ(ui.statuses.back(), "XX Decode - Type Single File - Part 2\r\nin.xxe --> out");
    ShowJobStatus(app, 1, 3, "/d/in", std::string_view("/d/o"), 2, 5);
    EXPECT_EQ(ui.statuses.back(), "MIME Encode - Type Single File - Part 2 of 5\r\nin --> o");
    ShowJobStatus(app, 1, 1, "/d/in", std::string_view("/d/o"), 0, 3);
    EXPECT_EQ(ui.statuses.back(), "UU Encode - Type Single File - Part 0 of 3\r\nin --> o");
    ShowJobStatus(app, 1, 1, "/d/in", std::string_view("/d/o"), 0, 0);
    EXPECT_EQ(ui.statuses.back(), "UU Encode - Type Single File\r\nin --> o");
    ShowJobStatus(app, 1, 1, "/d/in", std::string_view(""), 1, 1);
    EXPECT_EQ(ui.statuses.back(), "\r\nin --> ");
    ShowJobStatus(app, 3, 0, "/d/part.tmp", std::nullopt, 0, 0);
    EXPECT_EQ(ui.statuses.back(), "/d/part.tmp");
}

TEST(JobReport, SentencesByResult) {
    ScriptedUi ui;
    AppState app(ui);
    app.job.JobInputPath = "/home/u/notes.txt";
    app.job.JobOutputPath = "/home/u/notes.uue";
    EXPECT_EQ(JobReportSentence(app, 0, 1, 1, 1),
              "notes.txt Successfully UU Encoded to\r\n/home/u/notes.uue");
    EXPECT_EQ(JobReportSentence(app, 0, 1, 1, 3),
              "notes.txt Successfully UU Encoded 3 Parts\r\nto /home/u/notes1.uue thru "
              "/home/u/notes3.uue");
    app.job.JobWarnings = true;
    app.job.ReportExtraText = "\r\nChecksum data found valid.";
    EXPECT_EQ(JobReportSentence(app, 0, 2, 2, 4),
              "notes.txt Apparently XX Decoded 4 Parts\r\nas /home/u/notes.uue\r\nChecksum data "
              "found valid.");
    app.job.JobWarnings = false;
    app.job.ReportExtraText.clear();
    app.job.EncodeToMail = true;
    app.job.JobOutputPath = "2 E-mail Recipients";
    EXPECT_EQ(JobReportSentence(app, 0, 1, 1, 2),
              "notes.txt Successfully UU Encoded 2 Parts\r\nto 2 E-mail Recipients");
    EXPECT_EQ(JobReportSentence(app, 1, 1, 3, 1), "MIME Encode of notes.txt Aborted");
    EXPECT_EQ(JobReportSentence(app, -1, 1, 1, 1), "Could not UU Encode notes.txt");
    EXPECT_EQ(JobReportSentence(app, -2, 1, 1, 1), "");
    EXPECT_EQ(JobReportSentence(app, -3, 1, 1, 1), "");
    EXPECT_EQ(JobReportSentence(app, 7, 1, 1, 1), "Invalid Result Code 7");
}

TEST(JobReport, ShowsBoxesWithTheirIconsAndDeletesFailedOutput) {
    test::TempDir dir;
    ScriptedUi ui;
    AppState app(ui);
    app.job.JobInputPath = dir.File("notes.txt");
    app.job.JobOutputPath = dir.File("notes.uue");
    test::WriteFile(app.job.JobOutputPath, "half");
    ShowJobReport(app, -1, 1, 1, 1);
    EXPECT_EQ(ui.messages.back().style, kMbExclamation);
    EXPECT_FALSE(std::filesystem::exists(app.job.JobOutputPath));

    test::WriteFile(app.job.JobOutputPath, "half");
    app.job.EncodeToClipboard = true;
    ShowJobReport(app, 1, 1, 1, 1);
    EXPECT_EQ(ui.messages.back().style, kMbInformation);
    EXPECT_TRUE(std::filesystem::exists(app.job.JobOutputPath));

    ShowJobReport(app, 0, 1, 1, 1);
    EXPECT_EQ(ui.messages.back().style, kMbPlain);
    const std::size_t shown = ui.messages.size();
    app.config.nostatusmessages = 1;
    for (int result : {0, 1, -1, -2, -3, 9}) {
        ShowJobReport(app, result, 1, 1, 1);
    }
    EXPECT_EQ(ui.messages.size(), shown);
    EXPECT_TRUE(std::filesystem::exists(app.job.JobOutputPath));
}

// A device named as the output (-O /dev/null) is never removed, whatever the job's end.
TEST(JobReport, FailedOrAbortedJobNeverRemovesADevice) {
    ScriptedUi ui;
    AppState app(ui);
    app.job.JobInputPath = "/d/notes.txt";
    app.job.JobOutputPath = "/dev/null";
    ShowJobReport(app, -1, 2, 1, 1);
    ShowJobReport(app, 1, 2, 1, 1);
    EXPECT_TRUE(std::filesystem::is_character_file("/dev/null"));
    EXPECT_FALSE(RemoveOutputFile("/dev/null"));
    EXPECT_FALSE(RemoveOutputFile("/tmp"));
}

TEST(EndOfJob, CommandLineListEndsWithoutReportsAndAsksToQuit) {
    test::TempDir dir;
    ScriptedUi ui;
    AppState app(ui);
    app.job.FileList = {"a", "b"};
    app.job.FileCount = 2;
    app.job.CmdLineEncode = 1;
    app.job.CommandLineOutputName = "out";
    app.job.JobInputPath = dir.File("a");
    EXPECT_EQ(EndOfJob(app, 0, 1), 1);
    EXPECT_EQ(app.job.FileIndex, 1);
    EXPECT_TRUE(app.job.FileList[0].empty());
    EXPECT_TRUE(app.job.JobInputPath.empty());
    EXPECT_FALSE(app.job.QuitRequested);
    app.job.InputIsTemporary = true;
    app.job.JobInputPath = dir.File("temporary");
    test::WriteFile(app.job.JobInputPath, "x");
    EXPECT_EQ(EndOfJob(app, 0, 1), 0);
    EXPECT_FALSE(std::filesystem::exists(dir.File("temporary")));
    EXPECT_TRUE(app.job.QuitRequested);
    EXPECT_EQ(app.job.FileCount, 0);
    EXPECT_EQ(app.job.CmdLineEncode, 0);
    EXPECT_TRUE(app.job.CommandLineOutputName.empty());
    EXPECT_TRUE(ui.messages.empty());
}

TEST(EndOfJob, ListFromUserReportsEveryFileAndNoListReportsOnce) {
    ScriptedUi ui;
    AppState app(ui);
    app.job.FileList = {"/d/a.txt", "/d/b.txt"};
    app.job.FileCount = 2;
    app.job.ListFromUser = true;
    app.job.JobInputPath = "/d/a.txt";
    app.job.JobOutputPath = "/d/a.uue";
    app.job.EncodingIndex = 1;
    EXPECT_EQ(EndOfJob(app, 0, 1), 1);
    app.job.JobInputPath = "/d/b.txt";
    app.job.JobOutputPath = "/d/b.uue";
    EXPECT_EQ(EndOfJob(app, 0, 1), 0);
    ASSERT_EQ(ui.messages.size(), 2U);
    EXPECT_EQ(ui.messages[1].text, "b.txt Successfully UU Encoded to\r\n/d/b.uue");
    EXPECT_FALSE(app.job.QuitRequested);

    app.job.JobInputPath = "/d/c.txt";
    app.job.JobOutputPath = "/d/c.uue";
    EXPECT_EQ(EndOfJob(app, 0, 1), 0);
    EXPECT_EQ(ui.messages.size(), 3U);
}

}  // namespace
}  // namespace mandrel
