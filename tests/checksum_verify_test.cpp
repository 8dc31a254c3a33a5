// Comparing the checksums and sizes carried by encoded text with what was decoded, and the
// report that follows a decode.
#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "core/app_state.h"
#include "decode/checksum_verify.h"
#include "encode/sum_r.h"
#include "platform/scripted_ui.h"
#include "shell/job_report.h"
#include "support/test_files.h"

namespace mandrel {
namespace {

namespace fs = std::filesystem;

// The checksum coreutils' "sum -r" prints for a file, or nothing when the tool is missing.
std::optional<uint32_t> SystemSumR(const std::string& path) {
    const std::string command = "sum -r '" + path + "' 2>/dev/null";
    std::FILE* pipe = ::popen(command.c_str(), "r");
    if (pipe == nullptr) {
        return std::nullopt;
    }
    unsigned value = 0;
    const int got = std::fscanf(pipe, "%u", &value);
    ::pclose(pipe);
    return got == 1 ? std::optional<uint32_t>(value) : std::nullopt;
}

// A row of the part table with its checksum figures.
PartRecord Part(int number, uint32_t expectedChecksum, uint32_t calculatedChecksum,
                int32_t expectedSize, uint32_t calculatedSize) {
    PartRecord row;
    row.partNumber = number;
    row.expectedChecksum = expectedChecksum;
    row.calculatedChecksum = calculatedChecksum;
    row.expectedSize = expectedSize;
    row.calculatedSize = calculatedSize;
    return row;
}

class ChecksumVerifyTest : public ::testing::Test {
protected:
    ChecksumVerifyTest() {
        app_.files.BufFileInit(10, 16384);
        app_.job.JobInputPath = dir_.File("photo.uue");
        app_.job.JobOutputPath = dir_.File("photo.jpg");
        app_.job.EncodingIndex = 1;
    }
    ~ChecksumVerifyTest() override { app_.files.BufFileShutdown(); }

    // Writes the decoded output and returns its true "sum -r".
    uint32_t WriteOutput(const std::string& bytes) {
        test::WriteFile(app_.job.JobOutputPath, bytes);
        const std::optional<uint32_t> sum = SystemSumR(app_.job.JobOutputPath);
        EXPECT_TRUE(sum.has_value()) << "sum -r is needed";
        return sum.value_or(0);
    }

    OutputTotals& Totals() { return app_.decode.totals; }
    PartRecord& Row(int r) { return app_.parts.rows[static_cast<std::size_t>(r)]; }

    std::vector<std::string> Lines() {
        std::vector<std::string> lines;
        VerifyChecksums(app_, &lines);
        return lines;
    }

    test::TempDir dir_;
    ScriptedUi ui_;
    AppState app_{ui_};
};

TEST_F(ChecksumVerifyTest, ZeroFiguresAreNeverTested) {
    Totals() = {
        .runningChecksum = 4321, .expectedChecksum = 0, .expectedSize = 0, .decodedSize = 77};
    app_.parts.JobPartCount = 2;
    Row(0) = Part(1, 0, 5, 0, 60);
    Row(1) = Part(2, 0, 9, -4, 61);
    EXPECT_EQ(VerifyChecksums(app_, nullptr), 0);
    EXPECT_FALSE(app_.decode.checksumDataPresent);
    EXPECT_TRUE(Lines().empty());
    EXPECT_TRUE(ui_.statuses.empty());
    EXPECT_TRUE(ui_.messages.empty());
}

TEST_F(ChecksumVerifyTest, AnExpectedSizeAloneIsNotChecksumData) {
    Totals() = {.expectedSize = 100, .decodedSize = 100};
    EXPECT_EQ(VerifyChecksums(app_, nullptr), 0);
    EXPECT_FALSE(app_.decode.checksumDataPresent);
    Totals().decodedSize = 99;
    EXPECT_EQ(VerifyChecksums(app_, nullptr), 1);
    EXPECT_EQ(
        Lines(),
        (std::vector<std::string>{"Output File photo.jpg Size:\tExpected 100\tCalculated 99"}));
}

TEST_F(ChecksumVerifyTest, ReversedPartsAreSettledByReadingTheOutputAgain) {
    // Two parts decoded in the order 2, 1: the running sum took the bytes in that order.
    const std::string first = test::RandomBytes(11, 45 * 40);
    const std::string second = test::RandomBytes(12, 45 * 17);
    const uint32_t truth = WriteOutput(first + second);
    const uint32_t reversed = SumRAddText(SumRAddText(0, second), first);
    ASSERT_NE(truth, reversed);
    Totals() = {.runningChecksum = reversed,
                .expectedChecksum = truth,
                .expectedSize = static_cast<int32_t>(first.size() + second.size()),
                .decodedSize = static_cast<uint32_t>(first.size() + second.size())};
    EXPECT_EQ(VerifyChecksums(app_, nullptr), 0);
    EXPECT_EQ(Totals().runningChecksum, truth);
    EXPECT_TRUE(app_.decode.checksumDataPresent);
    EXPECT_EQ(ui_.statuses, (std::vector<std::string>{"Testing Checksum for photo.jpg ...", ""}));
    EXPECT_TRUE(ui_.messages.empty());
}

TEST_F(ChecksumVerifyTest, MimeIsVerifiedThroughTheReReadOnly) {
    app_.job.EncodingIndex = 3;
    const std::string bytes = test::RandomBytes(5, 5000);
    const uint32_t truth = WriteOutput(bytes);
    Totals() = {
        .runningChecksum = 0, .expectedChecksum = truth, .expectedSize = 5000, .decodedSize = 5000};
    EXPECT_EQ(VerifyChecksums(app_, nullptr), 0);
    EXPECT_EQ(ui_.statuses.front(), "Testing Checksum for photo.jpg ...");

    // A file that really differs still counts once the re-read is done.
    ui_.statuses.clear();
    Totals().runningChecksum = 0;
    Totals().expectedChecksum = truth ^ 1U;
    EXPECT_EQ(VerifyChecksums(app_, nullptr), 1);
    EXPECT_EQ(Totals().runningChecksum, truth);
    EXPECT_EQ(ui_.statuses.size(), 2U);
}

TEST_F(ChecksumVerifyTest, TheListCallDoesNotReadTheFileAgain) {
    const uint32_t truth = WriteOutput("abc");
    Totals() = {.runningChecksum = 1, .expectedChecksum = truth, .decodedSize = 3};
    EXPECT_EQ(Lines().size(), 1U);
    EXPECT_EQ(Totals().runningChecksum, 1U);
    EXPECT_TRUE(ui_.statuses.empty());
}

TEST_F(ChecksumVerifyTest, BinHexCrcIsNotRecomputed) {
    app_.job.EncodingIndex = 4;
    WriteOutput("data fork");
    Totals() = {
        .runningChecksum = 0x1234, .expectedChecksum = 0x4321, .expectedSize = 9, .decodedSize = 9};
    EXPECT_EQ(VerifyChecksums(app_, nullptr), 1);
    EXPECT_EQ(Totals().runningChecksum, 0x1234U);
    EXPECT_TRUE(ui_.statuses.empty());
}

TEST_F(ChecksumVerifyTest, AnOutputThatCannotBeOpenedKeepsTheRunningSum) {
    Totals() = {.runningChecksum = 5, .expectedChecksum = 6, .decodedSize = 1};
    EXPECT_EQ(VerifyChecksums(app_, nullptr), 1);
    EXPECT_EQ(Totals().runningChecksum, 5U);
    EXPECT_TRUE(ui_.statuses.empty());
    EXPECT_TRUE(ui_.messages.empty());
}

TEST_F(ChecksumVerifyTest, AReReadOfAnotherSizeIsReported) {
    const uint32_t truth = WriteOutput("twelve bytes");
    Totals() = {.runningChecksum = 0, .expectedChecksum = truth, .decodedSize = 10};
    EXPECT_EQ(VerifyChecksums(app_, nullptr), 0);
    ASSERT_EQ(ui_.messages.size(), 1U);
    EXPECT_EQ(ui_.messages[0].style, kMbExclamation);
    EXPECT_EQ(ui_.messages[0].text, "Checksum Test of " + app_.job.JobOutputPath +
                                        " has Inconsistent File Size (10 vs. 12)");
    EXPECT_EQ(ui_.statuses.back(), "");
}

TEST_F(ChecksumVerifyTest, ChecksumLinesAreAlignedInFivePlaces) {
    Totals() = {.runningChecksum = 678, .expectedChecksum = 12345};
    app_.parts.JobPartCount = 1;
    Row(0) = Part(1, 12345, 678, 0, 0);
    EXPECT_EQ(Lines(), (std::vector<std::string>{
                           "Output File photo.jpg Checksum:\tExpected 12345\tCalculated   678",
                           "Part 1 Checksum:\tExpected 12345\tCalculated   678"}));
}

TEST_F(ChecksumVerifyTest, PartLinesFollowTheOutputLinesInPartOrder) {
    Totals() = {
        .runningChecksum = 40000, .expectedChecksum = 3, .expectedSize = 9000, .decodedSize = 8999};
    app_.parts.JobPartCount = 4;
    // Part 1 carried no checksum line; part 2 is wrong in both; part 3 is right; part 4's sum
    // alone is wrong.
    Row(0) = Part(1, 0, 7, 0, 3000);
    Row(1) = Part(2, 100, 101, 3000, 2999);
    Row(2) = Part(3, 5, 5, 3000, 3000);
    Row(3) = Part(4, 8, 9, 1, 1);
    const std::vector<std::string> lines = Lines();
    EXPECT_EQ(lines, (std::vector<std::string>{
                         "Output File photo.jpg Size:\tExpected 9000\tCalculated 8999",
                         "Output File photo.jpg Checksum:\tExpected     3\tCalculated 40000",
                         "Part 2 Size:\tExpected 3000\tCalculated 2999",
                         "Part 2 Checksum:\tExpected   100\tCalculated   101",
                         "Part 4 Checksum:\tExpected     8\tCalculated     9"}));
    // Without a list the same differences are counted.
    EXPECT_EQ(VerifyChecksums(app_, nullptr), static_cast<int>(lines.size()));
}

TEST_F(ChecksumVerifyTest, PartFiguresAloneAreChecksumData) {
    app_.parts.JobPartCount = 1;
    Row(0) = Part(1, 0, 0, 10, 10);
    EXPECT_EQ(VerifyChecksums(app_, nullptr), 0);
    EXPECT_TRUE(app_.decode.checksumDataPresent);
    // Rows past the known total are not looked at.
    app_.decode.checksumDataPresent = false;
    app_.parts.JobPartCount = 0;
    EXPECT_EQ(VerifyChecksums(app_, nullptr), 0);
    EXPECT_FALSE(app_.decode.checksumDataPresent);
}

TEST_F(ChecksumVerifyTest, DetailsDialogShowsTheCaptionTheInputAndTheDifferences) {
    Totals() = {.runningChecksum = 678, .expectedChecksum = 12345};
    ShowChecksumDetails(app_);
    ASSERT_EQ(ui_.dialogs.size(), 1U);
    EXPECT_EQ(ui_.dialogs[0].kind, "ChecksumDetails");
    EXPECT_EQ(ui_.dialogs[0].text, "Mandrel32 Checksum Error Details\n" + app_.job.JobInputPath);
    EXPECT_EQ(ui_.dialogs[0].lines,
              (std::vector<std::string>{
                  "Output File photo.jpg Checksum:\tExpected 12345\tCalculated   678"}));
}

// --- the report after a decode ----------------------------------------------------------

class DecodeReportTest : public ChecksumVerifyTest {
protected:
    std::string Sentence(std::string_view adverb, std::string_view extra) const {
        return "photo.uue " + std::string(adverb) + " UU Decoded as\r\n" + app_.job.JobOutputPath +
               std::string(extra);
    }
};

TEST_F(DecodeReportTest, DifferencesOpenTheDialogInsteadOfTheReport) {
    WriteOutput("abc");
    Totals() = {.runningChecksum = 1, .expectedChecksum = 2, .decodedSize = 3};
    ShowJobReport(app_, 0, 2, 1, 1);
    EXPECT_TRUE(ui_.messages.empty());
    ASSERT_EQ(ui_.dialogs.size(), 1U);
    EXPECT_EQ(ui_.dialogs[0].kind, "ChecksumDetails");
    ASSERT_EQ(ui_.dialogs[0].lines.size(), 1U);
    EXPECT_TRUE(
        ui_.dialogs[0].lines[0].starts_with("Output File photo.jpg Checksum:\tExpected     2"))
        << ui_.dialogs[0].lines[0];
    EXPECT_TRUE(fs::exists(app_.job.JobOutputPath));  // reported, never repaired
}

TEST_F(DecodeReportTest, ValidDataIsNamedInTheReport) {
    const uint32_t truth = WriteOutput("abc");
    Totals() = {.runningChecksum = truth, .expectedChecksum = truth, .decodedSize = 3};
    ShowJobReport(app_, 0, 2, 1, 1);
    ASSERT_EQ(ui_.messages.size(), 1U);
    EXPECT_EQ(ui_.messages[0].style, kMbPlain);
    EXPECT_EQ(ui_.messages[0].text, Sentence("Successfully", "\r\nChecksum data found valid."));
    EXPECT_TRUE(ui_.dialogs.empty());
}

TEST_F(DecodeReportTest, AnEarlierExtraTextIsKept) {
    const uint32_t truth = WriteOutput("abc");
    Totals() = {.runningChecksum = truth, .expectedChecksum = truth, .decodedSize = 3};
    app_.job.JobWarnings = true;
    app_.job.ReportExtraText = "\r\n\r\nPossibly not all data included in decoding.";
    ShowJobReport(app_, 0, 2, 1, 1);
    ASSERT_EQ(ui_.messages.size(), 1U);
    EXPECT_EQ(ui_.messages[0].text,
              Sentence("Apparently", "\r\n\r\nPossibly not all data included in decoding."));
}

TEST_F(DecodeReportTest, NoChecksumDataGivesThePlainReport) {
    app_.decode.checksumDataPresent = true;  // from an earlier job
    Totals() = {.runningChecksum = 99, .decodedSize = 3};
    ShowJobReport(app_, 0, 2, 1, 1);
    ASSERT_EQ(ui_.messages.size(), 1U);
    EXPECT_EQ(ui_.messages[0].text, Sentence("Successfully", ""));
    EXPECT_FALSE(app_.decode.checksumDataPresent);
}

TEST_F(DecodeReportTest, NothingIsTestedWhenTheSettingIsOff) {
    app_.config.decodetestchecksum = 0;
    Totals() = {.runningChecksum = 1, .expectedChecksum = 2};
    ShowJobReport(app_, 0, 2, 1, 1);
    ASSERT_EQ(ui_.messages.size(), 1U);
    EXPECT_EQ(ui_.messages[0].text, Sentence("Successfully", ""));
    EXPECT_TRUE(ui_.dialogs.empty());
}

TEST_F(DecodeReportTest, OnlyASuccessfulDecodeIsTested) {
    Totals() = {.runningChecksum = 1, .expectedChecksum = 2};
    app_.job.JobInputPath = dir_.File("photo.jpg");
    app_.job.JobOutputPath = dir_.File("photo.uue");
    ShowJobReport(app_, 0, 1, 1, 1);  // an encode
    ShowJobReport(app_, 1, 2, 1, 1);  // an aborted decode
    EXPECT_TRUE(ui_.dialogs.empty());
    ASSERT_EQ(ui_.messages.size(), 2U);
    EXPECT_EQ(ui_.messages[0].text,
              "photo.jpg Successfully UU Encoded to\r\n" + app_.job.JobOutputPath);
    EXPECT_EQ(ui_.messages[1].text, "UU Decode of photo.jpg Aborted");
}

TEST_F(DecodeReportTest, NoStatusMessagesSkipsTheTestAndTheReport) {
    app_.config.nostatusmessages = 1;
    WriteOutput("abc");
    Totals() = {.runningChecksum = 1, .expectedChecksum = 2, .decodedSize = 3};
    ShowJobReport(app_, 0, 2, 1, 1);
    EXPECT_TRUE(ui_.messages.empty());
    EXPECT_TRUE(ui_.dialogs.empty());
    EXPECT_TRUE(ui_.statuses.empty());  // the output was not read again
    EXPECT_EQ(Totals().runningChecksum, 1U);
    EXPECT_TRUE(app_.job.ReportExtraText.empty());
}

TEST_F(DecodeReportTest, TheConsoleRunsTheTestBeforeTakingTheSentence) {
    app_.job.JobDirection = 2;
    const uint32_t truth = WriteOutput("abc");
    Totals() = {.runningChecksum = truth, .expectedChecksum = truth, .decodedSize = 3};
    EXPECT_EQ(RunChecksumTest(app_), 0);
    EXPECT_EQ(JobReportSentence(app_, 0, 2, 1, 1),
              Sentence("Successfully", "\r\nChecksum data found valid."));
    EXPECT_TRUE(ui_.messages.empty());

    app_.job.ReportExtraText.clear();
    Totals().expectedChecksum = truth ^ 4U;
    app_.parts.JobPartCount = 1;
    Row(0) = Part(1, 0, 0, 5, 4);
    EXPECT_EQ(RunChecksumTest(app_), 2);
    ASSERT_EQ(ui_.dialogs.size(), 1U);
    EXPECT_EQ(ui_.dialogs[0].lines.size(), 2U);
    EXPECT_TRUE(app_.job.ReportExtraText.empty());
    // An encode has nothing to test.
    EXPECT_EQ(RunChecksumTest(app_, 1), 0);
    EXPECT_EQ(ui_.dialogs.size(), 1U);
}

}  // namespace
}  // namespace mandrel
