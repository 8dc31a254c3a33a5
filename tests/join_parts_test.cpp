// Joining decoded parts in part order, and joining several inputs into one before a decode.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "core/app_state.h"
#include "decode/join_parts.h"
#include "platform/scripted_ui.h"
#include "support/test_files.h"

namespace mandrel {
namespace {

namespace fs = std::filesystem;

class JoinPartsTest : public ::testing::Test {
protected:
    JoinPartsTest() {
        app_.files.BufFileInit(10, 16384);
        app_.job.JobOutputPath = dir_.File("out.bin");
        app_.job.CurrentFileFormat = 5;  // SimTel: parts in temporary files
    }
    ~JoinPartsTest() override { app_.files.BufFileShutdown(); }

    // A decoded part as the driver leaves it: the full path of its file, no directory.
    std::string AddPart(int row, int part, std::string_view bytes) {
        const std::string path = dir_.File("mdr-part" + std::to_string(part) + ".tmp");
        test::WriteFile(path, bytes);
        PartRecord& record = app_.parts.rows[static_cast<std::size_t>(row)];
        record.partNumber = part;
        record.fileName = path;
        return path;
    }

    // A row naming a file of the user's, as the window fills them for a concatenation.
    void SetRow(int row, int part, const std::string& name, const std::string& directory = {}) {
        PartRecord& record = app_.parts.rows[static_cast<std::size_t>(row)];
        record.partNumber = part;
        record.fileName = name;
        record.directory = directory;
    }

    std::vector<std::string> MessageTexts() const {
        std::vector<std::string> texts;
        for (const auto& message : ui_.messages) {
            texts.push_back(message.text);
        }
        return texts;
    }

    test::TempDir dir_;
    ScriptedUi ui_;
    AppState app_{ui_};
};

TEST_F(JoinPartsTest, NoTotalIsReported) {
    EXPECT_EQ(JoinParts(app_, 0, 0, kJoinDecode), -2);
    ASSERT_EQ(ui_.messages.size(), 1U);
    EXPECT_EQ(ui_.messages[0].style, kMbStop);
    EXPECT_EQ(ui_.messages[0].text,
              "Number of Parts Could Not be Determined;\r\nSomething is Missing.");
    EXPECT_FALSE(fs::exists(app_.job.JobOutputPath));
}

TEST_F(JoinPartsTest, AMissingPartIsNamedAndNothingIsWritten) {
    const std::string one = AddPart(0, 1, "first");
    const std::string three = AddPart(2, 3, "third");
    EXPECT_EQ(JoinParts(app_, 3, 0, kJoinDecode), -2);
    ASSERT_EQ(ui_.messages.size(), 1U);
    EXPECT_EQ(ui_.messages[0].style, kMbStop);
    EXPECT_EQ(ui_.messages[0].text, "Total Parts Required: 3.\r\nMissing Parts: 2");
    EXPECT_FALSE(fs::exists(app_.job.JobOutputPath));
    // The driver deletes them after a failed join.
    EXPECT_TRUE(fs::exists(one));
    EXPECT_TRUE(fs::exists(three));
}

TEST_F(JoinPartsTest, NinetyNineMissingPartsAllFitTheMessage) {
    std::string expected = "Total Parts Required: 99.\r\nMissing Parts: 1";
    for (int part = 2; part <= 99; ++part) {
        expected += ", " + std::to_string(part);
    }
    ASSERT_LE(expected.size(), 510U);
    EXPECT_EQ(JoinParts(app_, 99, 0, kJoinDecode), -2);
    ASSERT_EQ(ui_.messages.size(), 1U);
    EXPECT_EQ(ui_.messages[0].text, expected);
}

TEST_F(JoinPartsTest, TheMissingListStopsBefore510Characters) {
    // A total beyond the table: none of the parts can be there, and the list is cut.
    const std::string head = "Total Parts Required: 200.\r\nMissing Parts: ";
    std::string expected = head + "1";
    for (int part = 2; part <= 200; ++part) {
        const std::string next = ", " + std::to_string(part);
        if (expected.size() + next.size() > 510) {
            break;
        }
        expected += next;
    }
    ASSERT_EQ(expected.size(), 508U);
    ASSERT_TRUE(expected.ends_with(", 114, 115")) << expected;
    EXPECT_EQ(JoinParts(app_, 200, 0, kJoinDecode), -2);
    ASSERT_EQ(ui_.messages.size(), 1U);
    EXPECT_EQ(ui_.messages[0].text, expected);
}

TEST_F(JoinPartsTest, PartsDecodedOutOfOrderAreAppendedInPartOrder) {
    // Decoded in the order 3, 1, 2; each part's row is its number less one.
    const std::string three = AddPart(2, 3, "CCC\n");
    const std::string one = AddPart(0, 1, "A\r\nA");
    const std::string two = AddPart(1, 2, std::string("B\0B", 3));
    app_.job.CancelRequested = true;  // left over from before; the join starts afresh
    EXPECT_EQ(JoinParts(app_, 3, 0, kJoinDecode), 0);
    EXPECT_EQ(test::ReadFile(app_.job.JobOutputPath), std::string("A\r\nAB\0BCCC\n", 11));
    EXPECT_TRUE(ui_.messages.empty());
    EXPECT_EQ(ui_.statuses, (std::vector<std::string>{"Joining Part 1 of 3 for out.bin",
                                                      "Joining Part 2 of 3 for out.bin",
                                                      "Joining Part 3 of 3 for out.bin"}));
    EXPECT_EQ(ui_.progress, (std::vector<int>{0, 33, 66, 100}));
    EXPECT_EQ(ui_.busyDepth, 0);
    for (const std::string& path : {one, two, three}) {
        EXPECT_FALSE(fs::exists(path)) << path;
    }
    for (int row = 0; row < 3; ++row) {
        EXPECT_TRUE(app_.parts.rows[static_cast<std::size_t>(row)].fileName.empty());
        EXPECT_EQ(app_.parts.rows[static_cast<std::size_t>(row)].partNumber, row + 1);
    }
}

TEST_F(JoinPartsTest, RowsAreSearchedForEachPartNumber) {
    AddPart(0, 3, "3");
    AddPart(1, 1, "1");
    AddPart(2, 2, "2");
    EXPECT_EQ(JoinParts(app_, 3, 0, kJoinDecode), 0);
    EXPECT_EQ(test::ReadFile(app_.job.JobOutputPath), "123");
    EXPECT_EQ(app_.parts.current, 0);  // the row of the last part joined
}

TEST_F(JoinPartsTest, SingleFileHasNothingToJoin) {
    app_.job.CurrentFileFormat = 3;
    const std::string one = AddPart(0, 1, "already the output");
    EXPECT_EQ(JoinParts(app_, 1, 0, kJoinDecode), 0);
    EXPECT_FALSE(fs::exists(app_.job.JobOutputPath));
    EXPECT_TRUE(fs::exists(one));
    EXPECT_TRUE(ui_.statuses.empty());
}

TEST_F(JoinPartsTest, DecliningTheOverwriteLeavesEverythingAsItWas) {
    app_.config.usedefaultnames = 1;
    app_.config.overwriteexisting = 0;
    test::WriteFile(app_.job.JobOutputPath, "keep me");
    const std::string one = AddPart(0, 1, "new 1");
    const std::string two = AddPart(1, 2, "new 2");
    ui_.answers = {kIdNo};
    EXPECT_EQ(JoinParts(app_, 2, 1, kJoinDecode), -3);
    ASSERT_EQ(ui_.messages.size(), 1U);
    EXPECT_EQ(ui_.messages[0].text, "Overwrite Existing " + app_.job.JobOutputPath);
    EXPECT_EQ(test::ReadFile(app_.job.JobOutputPath), "keep me");
    // Left for the driver to delete.
    EXPECT_TRUE(fs::exists(one));
    EXPECT_TRUE(fs::exists(two));
    EXPECT_EQ(app_.parts.rows[0].fileName, one);
    EXPECT_EQ(ui_.busyDepth, 0);
}

TEST_F(JoinPartsTest, AcceptingTheOverwriteReplacesTheFile) {
    app_.config.usedefaultnames = 1;
    test::WriteFile(app_.job.JobOutputPath, "old contents, longer than the new");
    AddPart(0, 1, "new");
    ui_.answers = {kIdYes};
    EXPECT_EQ(JoinParts(app_, 1, 1, kJoinDecode), 0);
    EXPECT_EQ(test::ReadFile(app_.job.JobOutputPath), "new");
}

TEST_F(JoinPartsTest, AnUnreadablePartFailsTheJoinAndRemovesTheOutput) {
    AddPart(0, 1, "first");
    PartRecord& second = app_.parts.rows[1];
    second.partNumber = 2;
    second.fileName = dir_.File("gone.tmp");
    EXPECT_EQ(JoinParts(app_, 2, 0, kJoinDecode), -2);
    EXPECT_EQ(MessageTexts(),
              (std::vector<std::string>{
                  "Can't Read Temporary File " + dir_.File("gone.tmp") + " for Append Operation.",
                  "Join Error for Part 2."}));
    EXPECT_EQ(ui_.messages[1].style, kMbStop);
    EXPECT_FALSE(fs::exists(app_.job.JobOutputPath));
    EXPECT_EQ(ui_.busyDepth, 0);
}

TEST_F(JoinPartsTest, APartNumberThatIsNowhereFailsTheJoin) {
    AddPart(0, 1, "first");
    AddPart(1, 3, "third");  // row 1 is taken, but by no part 2
    EXPECT_EQ(JoinParts(app_, 2, 0, kJoinDecode), -2);
    EXPECT_EQ(MessageTexts(),
              (std::vector<std::string>{"Somehow Missing Part 2 in Join Operation."}));
    EXPECT_FALSE(fs::exists(app_.job.JobOutputPath));
}

TEST_F(JoinPartsTest, CancelDuringAnAppendDeletesTheOutputSilently) {
    const std::string big = AddPart(0, 1, test::RandomBytes(7, 300000));
    AddPart(1, 2, "second");
    ui_.onPump = [this](int pump) {
        if (pump == 2) {
            app_.job.CancelRequested = true;
        }
    };
    EXPECT_EQ(JoinParts(app_, 2, 0, kJoinDecode), 1);
    EXPECT_TRUE(ui_.messages.empty());
    EXPECT_FALSE(fs::exists(app_.job.JobOutputPath));
    EXPECT_TRUE(fs::exists(big));
    EXPECT_EQ(ui_.busyDepth, 0);
}

TEST_F(JoinPartsTest, LargePartsArriveWhole) {
    const std::string first = test::RandomBytes(1, 200001);
    const std::string second = test::RandomBytes(2, 65536);
    AddPart(0, 1, first);
    AddPart(1, 2, second);
    EXPECT_EQ(JoinParts(app_, 2, 0, kJoinDecode), 0);
    EXPECT_EQ(test::ReadFile(app_.job.JobOutputPath), first + second);
}

TEST_F(JoinPartsTest, AppendPartFileReportsAMissingFile) {
    const BufFile output =
        app_.files.BufFileOpen(app_.job.JobOutputPath, BufOpenMode::CreateAlways, 0);
    ASSERT_GE(output, 0);
    EXPECT_EQ(AppendPartFile(app_, dir_.File("none"), output), 1);
    EXPECT_EQ(MessageTexts(),
              (std::vector<std::string>{"Can't Read Temporary File " + dir_.File("none") +
                                        " for Append Operation."}));
    const std::string part = dir_.File("p");
    test::WriteFile(part, "xyz");
    EXPECT_EQ(AppendPartFile(app_, part, output), 0);
    EXPECT_EQ(AppendPartFile(app_, part, output), 0);
    app_.files.BufFileClose(output);
    EXPECT_EQ(test::ReadFile(app_.job.JobOutputPath), "xyzxyz");
}

// --- joining input files before a decode ----------------------------------------------

class ConcatenateTest : public JoinPartsTest,
                        public ::testing::WithParamInterface<std::pair<int, const char*>> {};

TEST_P(ConcatenateTest, InputsAreJoinedWithALineEndAfterEach) {
    const auto [encodecrlf, eol] = GetParam();
    app_.config.encodecrlf = encodecrlf;
    app_.job.CurrentFileFormat = 2;
    const std::string first = dir_.File("a.txt");
    test::WriteFile(first, "begin 644 x\r\nM");  // no final line end
    fs::create_directory(dir_.path() / "sub");
    test::WriteFile(dir_.File("sub/b.txt"), "end\n");
    SetRow(0, 1, first);
    SetRow(1, 2, "b.txt", dir_.File("sub"));
    app_.job.JobOutputPath = dir_.File("mdr1234.tmp");
    test::WriteFile(app_.job.JobOutputPath, "");  // made by the temporary-name step
    app_.job.CancelRequested = true;

    EXPECT_EQ(JoinParts(app_, 2, 0, kJoinConcatenate), 0);
    EXPECT_EQ(test::ReadFile(app_.job.JobOutputPath),
              std::string("begin 644 x\r\nM") + eol + "end\n" + eol);
    EXPECT_TRUE(ui_.messages.empty());
    EXPECT_EQ(ui_.statuses, (std::vector<std::string>{
                                "Auto Concatenate - Type Decode Multiple Inputs - Part 1 of 2\r\n"
                                "a.txt --> mdr1234.tmp",
                                "Auto Concatenate - Type Decode Multiple Inputs - Part 2 of 2\r\n"
                                "b.txt --> mdr1234.tmp"}));
    // The inputs stay, and no row names them any more.
    EXPECT_EQ(test::ReadFile(first), "begin 644 x\r\nM");
    EXPECT_EQ(test::ReadFile(dir_.File("sub/b.txt")), "end\n");
    EXPECT_TRUE(app_.parts.rows[0].fileName.empty());
    EXPECT_TRUE(app_.parts.rows[1].fileName.empty());
}

INSTANTIATE_TEST_SUITE_P(LineEnds, ConcatenateTest,
                         ::testing::Values(std::pair<int, const char*>{175, "\r\n"},
                                           std::pair<int, const char*>{176, "\n"}));

TEST_F(JoinPartsTest, AFailedConcatenationKeepsTheInputsAndForgetsThem) {
    app_.job.CurrentFileFormat = 2;
    const std::string first = dir_.File("a.txt");
    test::WriteFile(first, "data");
    SetRow(0, 1, first);
    SetRow(1, 2, dir_.File("missing.txt"));
    EXPECT_EQ(JoinParts(app_, 2, 0, kJoinConcatenate), -2);
    EXPECT_FALSE(fs::exists(app_.job.JobOutputPath));
    EXPECT_EQ(test::ReadFile(first), "data");
    // A later clean-up of part files must not take the user's inputs with it.
    DeletePartFiles(app_.parts);
    EXPECT_TRUE(fs::exists(first));
}

TEST_F(JoinPartsTest, CancelDuringAConcatenationDeletesOnlyTheOutput) {
    app_.job.CurrentFileFormat = 2;
    const std::string first = dir_.File("a.txt");
    test::WriteFile(first, test::RandomBytes(3, 200000));
    SetRow(0, 1, first);
    ui_.onPump = [this](int) { app_.job.CancelRequested = true; };
    EXPECT_EQ(JoinParts(app_, 1, 0, kJoinConcatenate), 1);
    EXPECT_FALSE(fs::exists(app_.job.JobOutputPath));
    EXPECT_TRUE(fs::exists(first));
    EXPECT_TRUE(ui_.messages.empty());
}

}  // namespace
}  // namespace mandrel
