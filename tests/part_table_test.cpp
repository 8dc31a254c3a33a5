#include "core/part_table.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <random>
#include <string>

#include "platform/scripted_ui.h"
#include "support/test_files.h"

namespace mandrel {
namespace {

namespace fs = std::filesystem;

// A scratch directory whose files each hold a line of part text.
class ScratchDir : public test::TempDir {
public:
    std::string Path() const { return path().string(); }
    std::string Make(const std::string& name) const {
        const std::string made = File(name);
        test::WriteFile(made, "part text\n");
        return made;
    }
};

struct PartNumberCase {
    int part;
    int result;
    std::string message;  // empty: none shown
};

class CheckPartNumberTest : public ::testing::TestWithParam<PartNumberCase> {};

TEST_P(CheckPartNumberTest, RefusesOutsideOneTo99) {
    const PartNumberCase& c = GetParam();
    ScriptedUi ui;
    EXPECT_EQ(CheckPartNumber(ui, c.part), c.result);
    if (c.message.empty()) {
        EXPECT_TRUE(ui.messages.empty());
    } else {
        ASSERT_EQ(ui.messages.size(), 1U);
        EXPECT_EQ(ui.messages[0].style, 16);
        EXPECT_EQ(ui.messages[0].text, c.message);
    }
}

INSTANTIATE_TEST_SUITE_P(
    PartTable, CheckPartNumberTest,
    ::testing::Values(PartNumberCase{0, 1, "Part 0 Must be Between 1 and 99."},
                      PartNumberCase{100, 1, "Part 100 Must be Between 1 and 99."},
                      PartNumberCase{-1, 1, "Part -1 Must be Between 1 and 99."},
                      PartNumberCase{-2147483647 - 1, 1,
                                     "Part -2147483648 Must be Between 1 and 99."},
                      PartNumberCase{1, 0, ""}, PartNumberCase{50, 0, ""},
                      PartNumberCase{99, 0, ""}));

TEST(PartTable, ClearResetsEveryRow) {
    PartTable table;
    for (int i = 0; i < MAX_PARTS; ++i) {
        PartRecord& row = table.rows[static_cast<std::size_t>(i)];
        row.partNumber = i + 1;
        row.expectedChecksum = 7;
        row.calculatedChecksum = 8;
        row.expectedSize = 9;
        row.calculatedSize = 10;
        row.fileName = "part";
        row.directory = "/tmp";
    }
    table.JobPartCount = 12;
    table.current = 40;
    ClearPartTable(table);
    for (const PartRecord& row : table.rows) {
        EXPECT_EQ(row.partNumber, 0);
        EXPECT_EQ(row.expectedChecksum, 0U);
        EXPECT_EQ(row.calculatedChecksum, 0U);
        EXPECT_EQ(row.expectedSize, 0);
        EXPECT_EQ(row.calculatedSize, 0U);
        EXPECT_EQ(row.fileName, "");
        EXPECT_EQ(row.directory, "");
    }
    EXPECT_EQ(table.JobPartCount, 0);
    EXPECT_EQ(table.current, 0);
}

TEST(PartTable, DeletePartFilesDeletesTheNamedFilesOnce) {
    ScratchDir dir;
    PartTable table;
    const std::string names[] = {"notes.uue1", "notes.uue2", "notes.uue3"};
    for (int i = 0; i < 3; ++i) {
        dir.Make(names[i]);
        PartRecord& row = table.rows[static_cast<std::size_t>(i)];
        row.partNumber = i + 1;
        row.fileName = names[i];
        row.directory = dir.Path();
    }
    // A row whose file is already gone: nothing is reported.
    table.rows[10].fileName = "vanished";
    table.rows[10].directory = dir.Path();
    const std::string bystander = dir.Make("notes.txt");

    DeletePartFiles(table);
    for (int i = 0; i < 3; ++i) {
        EXPECT_FALSE(fs::exists(fs::path(dir.Path()) / names[i])) << names[i];
        EXPECT_EQ(table.rows[static_cast<std::size_t>(i)].fileName, "");
        EXPECT_EQ(table.rows[static_cast<std::size_t>(i)].partNumber, i + 1);
    }
    EXPECT_EQ(table.rows[10].fileName, "");
    EXPECT_TRUE(fs::exists(bystander));

    // The names are gone, so files made again under them stay.
    for (const std::string& name : names) {
        dir.Make(name);
    }
    DeletePartFiles(table);
    for (const std::string& name : names) {
        EXPECT_TRUE(fs::exists(fs::path(dir.Path()) / name)) << name;
    }
}

TEST(PartTable, DeletePartFilesTakesFullPathsWithoutDirectory) {
    ScratchDir dir;
    PartTable table;
    const std::string path = dir.Make("mdr1234.tmp");
    table.rows[0].fileName = path;
    DeletePartFiles(table);
    EXPECT_FALSE(fs::exists(path));
    EXPECT_EQ(table.rows[0].fileName, "");
}

}  // namespace
}  // namespace mandrel
