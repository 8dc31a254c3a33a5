// After the parts are decoded: joining them in part order (and joining inputs before a
// decode), comparing the checksums and sizes the text carried with what was decoded, and the
// report or the checksum details that follow.
#include <gtest/gtest.h>

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "codec/sum_r.h"
#include "decode/checksum_verify.h"
#include "decode/join_parts.h"
#include "platform/scripted_ui.h"
#include "shell/app_state.h"
#include "shell/job_report.h"
#include "support/test_files.h"

namespace mandrel {
namespace {

namespace fs = std::filesystem;

class AfterTheParts : public ::testing::Test {
protected:
    AfterTheParts() {
        app.files.BufFileInit(10, 16384);
        app.job.JobInputPath = dir.File("photo.uue");
        app.job.JobOutputPath = dir.File("photo.jpg");
        app.job.EncodingIndex = kEncodingUU;
        app.job.CurrentFileFormat = kSimTel;
    }

    std::string AddPart(int row, int part, std::string_view bytes) {
        std::string path = dir.File("mdr-part" + std::to_string(part) + ".tmp");
        test::WriteFile(path, bytes);
        PartRecord& record = app.parts.rows[static_cast<std::size_t>(row)];
        record.partNumber = part;
        record.fileName = path;
        return path;
    }
    // The message texts shown since the last call.
    std::vector<std::string> Messages() {
        std::vector<std::string> texts = ui.MessageTexts();
        ui.messages.clear();
        return texts;
    }
    std::vector<std::string> Differences() {
        std::vector<std::string> lines;
        VerifyChecksums(app, &lines);
        return lines;
    }
    // Writes the decoded output and gives its true "sum -r".
    uint32_t WriteOutput(const std::string& bytes) {
        test::WriteFile(app.job.JobOutputPath, bytes);
        const std::optional<uint32_t> sum = test::SystemSumR(app.job.JobOutputPath);
        EXPECT_TRUE(sum.has_value()) << "sum -r is needed";
        return sum.value_or(0);
    }

    test::TempDir dir;
    ScriptedUi ui;
    AppState app{ui, ui};
};

TEST_F(AfterTheParts, PartsAreJoinedInPartOrder) {
    // Decoded in the order 3, 1, 2.
    const std::string three = AddPart(2, 3, "CCC\n");
    const std::string one = AddPart(0, 1, "A\r\nA");
    const std::string large = std::string("B\0B", 3) + test::RandomBytes(1, 200001);
    const std::string two = AddPart(1, 2, large);
    app.cancel.Request();  // left over from before: the join starts afresh
    EXPECT_EQ(JoinParts(app, 3, 0, kJoinDecode), kResultDone);
    EXPECT_TRUE(test::ReadFile(app.job.JobOutputPath) == "A\r\nA" + large + "CCC\n");
    EXPECT_EQ(ui.statuses.back(), "Joining Part 3 of 3 for photo.jpg");
    EXPECT_EQ(ui.progress, (std::vector<int>{0, 33, 66, 100}));
    for (const std::string& path : {one, two, three}) {
        EXPECT_FALSE(fs::exists(path)) << path;
    }
    EXPECT_TRUE(ui.messages.empty());
    EXPECT_EQ(ui.busyDepth, 0);
}

TEST_F(AfterTheParts, AJoinThatCannotBeMadeSaysWhyAndLeavesNoOutput) {
    EXPECT_EQ(JoinParts(app, 0, 0, kJoinDecode), kResultReported);
    EXPECT_EQ(Messages(), std::vector<std::string>{
                              "Number of Parts Could Not be Determined;\r\nSomething is Missing."});
    // A total beyond the table: the list of missing parts stops before 510 characters.
    EXPECT_EQ(JoinParts(app, 200, 0, kJoinDecode), kResultReported);
    const std::string missing = Messages().front();
    EXPECT_EQ(missing.size(), 508U);
    EXPECT_TRUE(missing.ends_with(", 114, 115")) << missing;
    AddPart(0, 1, "first");
    AddPart(2, 3, "third");
    EXPECT_EQ(JoinParts(app, 3, 0, kJoinDecode), kResultReported);
    EXPECT_EQ(Messages(), std::vector<std::string>{"Total Parts Required: 3.\r\nMissing Parts: 2"});
    // A part file that went away fails the join, and the half-made output goes too.
    app.parts.rows[1] = {2, 0, 0, 0, 0, dir.File("gone.tmp"), ""};
    EXPECT_EQ(JoinParts(app, 3, 0, kJoinDecode), kResultReported);
    EXPECT_EQ(Messages(),
              (std::vector<std::string>{
                  "Can't Read Temporary File " + dir.File("gone.tmp") + " for Append Operation.",
                  "Join Error for Part 2."}));
    EXPECT_FALSE(fs::exists(app.job.JobOutputPath));
    // Declining to replace an existing output keeps it, and the parts, as they were.
    AddPart(0, 1, "first");
    AddPart(1, 2, "second");
    app.config.usedefaultnames = 1;
    test::WriteFile(app.job.JobOutputPath, "keep me");
    ui.answers = {kIdNo};
    EXPECT_EQ(JoinParts(app, 3, 1, kJoinDecode), kResultDialogCancelled);
    EXPECT_EQ(test::ReadFile(app.job.JobOutputPath), "keep me");
    EXPECT_TRUE(fs::exists(app.parts.rows[0].fileName));
    // A cancel during an append removes the output silently.
    fs::remove(app.job.JobOutputPath);
    AddPart(0, 1, test::RandomBytes(7, 300000));
    ui.messages.clear();
    ui.onPump = [this](int pump) {
        if (pump == 2) {
            app.cancel.Request();
        }
    };
    EXPECT_EQ(JoinParts(app, 3, 0, kJoinDecode), kResultAborted);
    EXPECT_TRUE(ui.messages.empty());
    EXPECT_FALSE(fs::exists(app.job.JobOutputPath));
    EXPECT_EQ(ui.busyDepth, 0);
}

TEST_F(AfterTheParts, InputsAreJoinedWithALineEndAfterEachAndKept) {
    for (const auto& [encodecrlf, eol] : {std::pair{kEolCrLf, "\r\n"}, std::pair{kEolLf, "\n"}}) {
        app.config.encodecrlf = encodecrlf;
        app.job.CurrentFileFormat = kFormatMultipleInputs;
        test::WriteFile(dir.File("a.txt"), "begin 644 x\r\nM");  // no final line end
        fs::create_directories(dir.path() / "sub");
        test::WriteFile(dir.File("sub/b.txt"), "end\n");
        app.parts.rows[0] = {1, 0, 0, 0, 0, dir.File("a.txt"), ""};
        app.parts.rows[1] = {2, 0, 0, 0, 0, "b.txt", dir.File("sub")};
        app.job.JobOutputPath = dir.File("mdr1234.tmp");
        EXPECT_EQ(JoinParts(app, 2, 0, kJoinConcatenate), kResultDone);
        EXPECT_EQ(test::ReadFile(app.job.JobOutputPath),
                  std::string("begin 644 x\r\nM") + eol + "end\n" + eol);
        EXPECT_EQ(ui.statuses.back(),
                  "Auto Concatenate - Type Decode Multiple Inputs - Part 2 of 2\r\nb.txt --> "
                  "mdr1234.tmp");
        // The inputs stay, and no row names them for a later clean-up.
        EXPECT_EQ(test::ReadFile(dir.File("sub/b.txt")), "end\n");
        DeletePartFiles(app.parts);
        EXPECT_TRUE(fs::exists(dir.File("a.txt")));
    }
}

TEST_F(AfterTheParts, DifferencesAreListedInOrder) {
    app.decode.totals = {
        .runningChecksum = 40000, .expectedChecksum = 3, .expectedSize = 9000, .decodedSize = 8999};
    app.parts.JobPartCount = 4;
    // Part 1 carried no checksum line; part 2 is wrong in both; part 3 is right; part 4's sum
    // alone is wrong. Zero figures are never compared.
    app.parts.rows[0] = {1, 0, 7, 0, 3000, "", ""};
    app.parts.rows[1] = {2, 100, 101, 3000, 2999, "", ""};
    app.parts.rows[2] = {3, 5, 5, 3000, 3000, "", ""};
    app.parts.rows[3] = {4, 8, 9, 1, 1, "", ""};
    const std::vector<std::string> lines = Differences();
    EXPECT_EQ(lines, (std::vector<std::string>{
                         "Output File photo.jpg Size:\tExpected 9000\tCalculated 8999",
                         "Output File photo.jpg Checksum:\tExpected     3\tCalculated 40000",
                         "Part 2 Size:\tExpected 3000\tCalculated 2999",
                         "Part 2 Checksum:\tExpected   100\tCalculated   101",
                         "Part 4 Checksum:\tExpected     8\tCalculated     9"}));
    EXPECT_TRUE(app.decode.checksumDataPresent);
    ShowChecksumDetails(app);
    ASSERT_EQ(ui.dialogs.size(), 1U);
    EXPECT_EQ(ui.dialogs[0].text, "Mandrel32 Checksum Error Details\n" + app.job.JobInputPath);
    EXPECT_EQ(ui.dialogs[0].lines, lines);
    // An expected size alone is no checksum data.
    app.parts.JobPartCount = 0;
    app.decode.checksumDataPresent = false;
    app.decode.totals = {.expectedSize = 100, .decodedSize = 100};
    EXPECT_EQ(VerifyChecksums(app, nullptr), 0);
    EXPECT_FALSE(app.decode.checksumDataPresent);
}

// The running sum follows the order the bytes were decoded in, which is not the file's for
// parts that came out of order, and MIME keeps none: the file on disk settles it.
TEST_F(AfterTheParts, TheOutputOnDiskSettlesTheSum) {
    const std::string first = test::RandomBytes(11, std::size_t{45} * 40);
    const std::string second = test::RandomBytes(12, std::size_t{45} * 17);
    const uint32_t truth = WriteOutput(first + second);
    const uint32_t reversed = SumRAddText(SumRAddText(0, second), first);
    ASSERT_NE(truth, reversed);
    const auto size = static_cast<uint32_t>(first.size() + second.size());
    for (const int encoding : {kEncodingUU, kEncodingMIME}) {
        app.job.EncodingIndex = encoding;
        app.decode.totals = {.runningChecksum = encoding == kEncodingUU ? reversed : 0,
                             .expectedChecksum = truth,
                             .decodedSize = size};
        EXPECT_EQ(VerifyChecksums(app, nullptr), 0) << encoding;
        EXPECT_EQ(app.decode.totals.runningChecksum, truth);
    }
    EXPECT_EQ(ui.statuses.front(), "Testing Checksum for photo.jpg ...");
    // BinHex carries a CRC, which has nothing to be read again from.
    app.job.EncodingIndex = kEncodingBinHex;
    app.decode.totals = {.runningChecksum = 1, .expectedChecksum = 2, .decodedSize = size};
    EXPECT_EQ(VerifyChecksums(app, nullptr), 1);
    // A file of another size than decoded is said so.
    app.job.EncodingIndex = kEncodingUU;
    app.decode.totals = {.runningChecksum = 0, .expectedChecksum = truth, .decodedSize = 12};
    VerifyChecksums(app, nullptr);
    EXPECT_EQ(Messages(), std::vector<std::string>{"Checksum Test of " + app.job.JobOutputPath +
                                                   " has Inconsistent File Size (12 vs. " +
                                                   std::to_string(size) + ")"});
}

TEST_F(AfterTheParts, TheReportFollowsTheChecksumTest) {
    const uint32_t truth = WriteOutput("abc");
    const std::string sentence = "photo.uue Successfully UU Decoded as\r\n" + app.job.JobOutputPath;
    struct Case {
        int testChecksums;
        int noStatus;
        int result;
        uint32_t expected;
        std::vector<std::string> messages;
        std::size_t dialogs;
    };
    const Case cases[] = {
        {1, 0, kResultDone, truth, {sentence + "\r\nChecksum data found valid."}, 0},
        {1, 0, kResultDone, truth ^ 4U, {}, 1},  // the details stand instead of the report
        {0, 0, kResultDone, truth ^ 4U, {sentence}, 0},
        {1, 1, kResultDone, truth ^ 4U, {}, 0},
        {1, 0, kResultAborted, truth ^ 4U, {"UU Decode of photo.uue Aborted"}, 0},
    };
    for (const Case& c : cases) {
        ui.dialogs.clear();
        app.config.decodetestchecksum = c.testChecksums;
        app.config.nostatusmessages = c.noStatus;
        app.job.ReportExtraText.clear();
        app.decode.totals = {
            .runningChecksum = truth, .expectedChecksum = c.expected, .decodedSize = 3};
        const JobReport report = MakeJobReport(app, c.result, kDirectionDecode);
        ShowJobReport(app, report);
        EXPECT_EQ(Messages(), c.messages);
        EXPECT_EQ(ui.dialogs.size(), c.dialogs);
        EXPECT_EQ(report.checksumDifferences, c.dialogs == 1);
        test::WriteFile(app.job.JobOutputPath, "abc");  // an abort's report removes the output
    }
}

}  // namespace
}  // namespace mandrel
