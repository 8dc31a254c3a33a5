#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "core/app_state.h"
#include "platform/scripted_ui.h"
#include "encode/encode_driver.h"
#include "shell/file_list_runner.h"
#include "support/test_files.h"

namespace mandrel {
namespace {

class FileListRunnerTest : public ::testing::Test {
protected:
    FileListRunnerTest() {
        app_.files.BufFileInit(10, 16384);
        app_.job.Interactive = 0;
        app_.job.CmdLineEncode = 1;
    }
    ~FileListRunnerTest() override { app_.files.BufFileShutdown(); }

    std::string MakeInput(std::string_view name, std::size_t size) const {
        const std::string path = dir_.File(name);
        test::WriteFile(path, test::RandomBytes(size, size));
        return path;
    }
    void SetList(const std::vector<std::string>& files) {
        app_.job.FileList = files;
        app_.job.FileCount = static_cast<int>(files.size());
        app_.job.FileIndex = 0;
    }

    test::TempDir dir_;
    ScriptedUi ui_;
    AppState app_{ui_};
};

TEST_F(FileListRunnerTest, EncodesEveryEntryAndRecordsItsReport) {
    const std::string a = MakeInput("a.bin", 2000);
    const std::string b = MakeInput("b.bin", 100);
    SetList({a, b});
    std::vector<std::string> seen;
    const auto outcomes =
        RunFileList(app_, [&seen](const FileRunOutcome& outcome) { seen.push_back(outcome.path); });
    ASSERT_EQ(outcomes.size(), 2u);
    EXPECT_EQ(outcomes[0].path, a);
    EXPECT_EQ(outcomes[0].result, kResultDone);
    EXPECT_EQ(outcomes[0].direction, kDirectionEncode);
    EXPECT_EQ(outcomes[0].report, "a.bin Successfully UU Encoded to\r\n" + dir_.File("a.uue"));
    EXPECT_EQ(outcomes[1].result, kResultDone);
    EXPECT_TRUE(outcomes[1].report.starts_with("b.bin Successfully UU Encoded to\r\n"));
    EXPECT_EQ(seen, (std::vector<std::string>{a, b}));
    // A command-line list shows no report box and ends the program after its last file.
    EXPECT_TRUE(ui_.messages.empty());
    EXPECT_TRUE(app_.job.QuitRequested);
    EXPECT_EQ(app_.job.FileCount, 0);
    EXPECT_FALSE(app_.job.JobBusy);
}

TEST_F(FileListRunnerTest, UnreadableInputIsReportedAndStopsTheList) {
    const std::string a = MakeInput("a.bin", 100);
    const std::string missing = dir_.File("missing.bin");
    const std::string c = MakeInput("c.bin", 100);
    SetList({a, missing, c});
    const auto outcomes = RunFileList(app_);
    ASSERT_EQ(outcomes.size(), 2u);
    EXPECT_EQ(outcomes[0].result, kResultDone);
    EXPECT_EQ(outcomes[1].path, missing);
    EXPECT_EQ(outcomes[1].result, kResultReported);
    EXPECT_EQ(outcomes[1].report, "");
    ASSERT_EQ(ui_.messages.size(), 1u);
    EXPECT_EQ(ui_.messages[0].style, kMbStop);
    EXPECT_EQ(ui_.messages[0].text, "Can't read " + missing);
    // The output the first file was to share with the others is complete on disk.
    const std::string shared = test::ReadFile(dir_.File("a.uue"));
    EXPECT_TRUE(shared.starts_with("begin 644 a.bin\r\n")) << shared;
    EXPECT_NE(shared.find("\r\nend\r\n"), std::string::npos) << shared;
    EXPECT_EQ(shared.find("c.bin"), std::string::npos);
    EXPECT_FALSE(app_.encode.outputOpen);
}

// Encodes a file with the project's own encoder into dir, returning the paths of the parts.
std::vector<std::string> EncodeParts(const std::string& input, int format, int outputSize) {
    ScriptedUi ui;
    AppState app(ui);
    app.files.BufFileInit(10, 16384);
    app.config.encodetype = format;
    app.config.encodeoutputsize = outputSize;
    app.job.JobInputPath = input;
    app.job.JobDirection = kDirectionEncode;
    const BufFile in = app.files.BufFileOpen(input, BufOpenMode::Read, 0);
    EXPECT_EQ(EncodeFile(app, in, 0), kResultDone);
    std::vector<std::string> parts;
    for (int p = 1; p <= app.parts.JobPartCount; ++p) {
        parts.push_back(BuildOutputName(app, input, 1, p, app.parts.JobPartCount));
    }
    return parts;
}

TEST_F(FileListRunnerTest, DecodesEachListedInputWhenJoiningIsOff) {
    app_.job.CmdLineEncode = 0;
    app_.config.decodejoin = 0;
    std::filesystem::create_directory(dir_.path() / "out");
    const std::string a = MakeInput("a.bin", 3000);
    const std::string b = MakeInput("b.bin", 5000);
    const auto aParts = EncodeParts(a, 3, 60000);
    const auto bParts = EncodeParts(b, 3, 60000);
    const std::string original = test::ReadFile(a);
    std::filesystem::remove(a);
    std::filesystem::remove(b);
    SetList({aParts[0], bParts[0]});
    const auto outcomes = RunFileList(app_);
    ASSERT_EQ(outcomes.size(), 2u);
    EXPECT_EQ(outcomes[0].result, kResultDone);
    EXPECT_EQ(outcomes[1].result, kResultDone);
    EXPECT_EQ(outcomes[0].direction, kDirectionDecode);
    EXPECT_TRUE(outcomes[0].report.starts_with("a.uue Successfully UU Decoded as\r\n"))
        << outcomes[0].report;
    EXPECT_TRUE(test::ReadFile(a) == original);
    EXPECT_TRUE(std::filesystem::exists(b));
}

TEST_F(FileListRunnerTest, JoinsListedInputsIntoOneTemporaryInputAndRemovesIt) {
    app_.job.CmdLineEncode = 0;
    app_.config.decodejoin = 1;
    const std::string a = MakeInput("photo.jpg", 30000);
    const std::string original = test::ReadFile(a);
    auto parts = EncodeParts(a, 5, 4500);  // SimTel, several parts
    ASSERT_GE(parts.size(), 3u);
    std::filesystem::remove(a);
    std::swap(parts[0], parts[2]);  // any order: the parts are put in order by their numbers
    SetList(parts);
    const auto outcomes = RunFileList(app_);
    ASSERT_EQ(outcomes.size(), 1u);
    EXPECT_EQ(outcomes[0].result, kResultDone) << (ui_.messages.empty() ? "" : ui_.messages[0].text);
    EXPECT_TRUE(test::ReadFile(a) == original);
    EXPECT_FALSE(std::filesystem::exists(outcomes[0].path)) << "the joined input is removed";
    EXPECT_TRUE(app_.job.QuitRequested);
}

TEST_F(FileListRunnerTest, CancelDuringAFileAbortsItAndItsReportSaysSo) {
    const std::string a = MakeInput("a.bin", 20000);
    SetList({a});
    // The first pump comes before the file starts; later ones come from the encoder.
    ui_.onPump = [this](int pump) {
        if (pump == 3) {
            app_.job.CancelRequested = true;
        }
    };
    const auto outcomes = RunFileList(app_);
    ASSERT_EQ(outcomes.size(), 1u);
    EXPECT_EQ(outcomes[0].result, kResultAborted);
    EXPECT_EQ(outcomes[0].report, "UU Encode of a.bin Aborted");
    EXPECT_FALSE(std::filesystem::exists(dir_.File("a.uue")));
}

TEST_F(FileListRunnerTest, QuitStopsBeforeTheNextFile) {
    const std::string a = MakeInput("a.bin", 100);
    const std::string b = MakeInput("b.bin", 100);
    SetList({a, b});
    ui_.onPump = [this](int /*pump*/) {
        if (!app_.job.FileList.empty() && app_.job.FileIndex == 1) {
            app_.job.QuitRequested = true;
        }
    };
    const auto outcomes = RunFileList(app_);
    ASSERT_EQ(outcomes.size(), 1u);
    EXPECT_EQ(outcomes[0].path, a);
    EXPECT_NE(test::ReadFile(dir_.File("a.uue")).find("\r\nend\r\n"), std::string::npos);
    EXPECT_EQ(test::ReadFile(dir_.File("a.uue")).find("b.bin"), std::string::npos);
}

TEST_F(FileListRunnerTest, EmptyListRunsNothing) {
    SetList({});
    EXPECT_TRUE(RunFileList(app_).empty());
    EXPECT_TRUE(ui_.messages.empty());
}

}  // namespace
}  // namespace mandrel
