#include "core/text_util.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <optional>
#include <random>
#include <string>

#include "core/config.h"
#include "support/test_files.h"

namespace mandrel {
namespace {

namespace fs = std::filesystem;

class ScratchDir : public test::TempDir {
public:
    std::string Path() const { return path().string(); }
};

// Sets TMPDIR for one test and puts the old value back.
class TmpDirOverride {
public:
    explicit TmpDirOverride(const std::string& value) {
        if (const char* old = std::getenv("TMPDIR")) {  // NOLINT(concurrency-mt-unsafe)
            old_ = old;
        }
        setenv("TMPDIR", value.c_str(), 1);  // NOLINT(concurrency-mt-unsafe)
    }
    ~TmpDirOverride() {
        if (old_) {
            setenv("TMPDIR", old_->c_str(), 1);  // NOLINT(concurrency-mt-unsafe)
        } else {
            unsetenv("TMPDIR");  // NOLINT(concurrency-mt-unsafe)
        }
    }
    TmpDirOverride(const TmpDirOverride&) = delete;
    TmpDirOverride& operator=(const TmpDirOverride&) = delete;

private:
    std::optional<std::string> old_;
};

// --- File-name rules ---

struct SanitizeCase {
    const char* name;
    std::string input;
    std::string output;
    int replaced;
};

class SanitizeFileNameTest : public ::testing::TestWithParam<SanitizeCase> {};

TEST_P(SanitizeFileNameTest, MakesASafeName) {
    const SanitizeCase& c = GetParam();
    std::string name = c.input;
    EXPECT_EQ(SanitizeFileName(name), c.replaced);
    EXPECT_EQ(name, c.output);
}

INSTANTIATE_TEST_SUITE_P(
    TextUtil, SanitizeFileNameTest,
    ::testing::Values(
        SanitizeCase{"DriveAndDirectory", "C:\\dir\\a*b.txt", "a_b.txt", 1},
        SanitizeCase{"QuotesRemoved", "\"x y.zip\"", "x y.zip", 0},
        SanitizeCase{"QuotesInside", "dir/\"q\".txt", "q.txt", 0},
        SanitizeCase{"UpDirectory", "../up.txt", "up.txt", 0},
        SanitizeCase{"Tab", "a\tb.txt", "a_b.txt", 1},
        SanitizeCase{"AbsolutePath", "/etc/passwd", "passwd", 0},
        SanitizeCase{"DotDot", "..", "__", 1}, SanitizeCase{"Dot", ".", "_", 1},
        SanitizeCase{"DotDotAfterDirectory", "a/..", "__", 1},
        SanitizeCase{"DriveThenDotDot", "C:..\\x", "x", 0},
        SanitizeCase{"ColonSeparates", "host:name.txt", "name.txt", 0},
        SanitizeCase{"ControlBytes", std::string("a\x01\x1f\x7f", 4), std::string("a__\x7f", 4), 1},
        SanitizeCase{"HighBytes", "caf\xe9 \x80\xff.txt", "caf_ __.txt", 1},
        SanitizeCase{"Wildcards", "a<b>c?d|e*", "a_b_c_d_e_", 1},
        SanitizeCase{"ThreeDotsStay", "...", "...", 0},
        SanitizeCase{"BlankAndPunctuationValid", " a b,c;d=e+f.txt", " a b,c;d=e+f.txt", 0},
        SanitizeCase{"Empty", "", "", 0}, SanitizeCase{"TrailingSeparator", "dir/", "", 0},
        SanitizeCase{"LongCutTo255", std::string(300, 'n'), std::string(255, 'n'), 0},
        SanitizeCase{"QuotesDoNotCount", "\"" + std::string(300, 'q'), std::string(255, 'q'), 0},
        // The cut counts the whole path; only the last component is kept.
        SanitizeCase{"LongAfterDirectory", "dir/" + std::string(300, 'd'), std::string(251, 'd'),
                     0}),
    [](const ::testing::TestParamInfo<SanitizeCase>& info) { return info.param.name; });

struct CharClassCase {
    char c;
    int cls;
};

class FileNameCharClassTest : public ::testing::TestWithParam<CharClassCase> {};

TEST_P(FileNameCharClassTest, Classifies) {
    EXPECT_EQ(FileNameCharClass(GetParam().c), GetParam().cls)
        << "byte " << static_cast<int>(static_cast<unsigned char>(GetParam().c));
}

INSTANTIATE_TEST_SUITE_P(
    TextUtil, FileNameCharClassTest,
    ::testing::Values(CharClassCase{'*', 0}, CharClassCase{'<', 0}, CharClassCase{'>', 0},
                      CharClassCase{'?', 0}, CharClassCase{'|', 0}, CharClassCase{'\t', 0},
                      CharClassCase{'\0', 0}, CharClassCase{'\x1f', 0},
                      CharClassCase{static_cast<char>(0x80), 0},
                      CharClassCase{static_cast<char>(0xFF), 0}, CharClassCase{' ', 1},
                      CharClassCase{'a', 1}, CharClassCase{'.', 1}, CharClassCase{'~', 1},
                      CharClassCase{'\x7f', 1}, CharClassCase{'/', 2}, CharClassCase{':', 2},
                      CharClassCase{'\\', 2}, CharClassCase{'"', 3}));

// --- Paths ---

struct PathCase {
    std::string path;
    std::string expected;
};

class FileNamePartTest : public ::testing::TestWithParam<PathCase> {};

TEST_P(FileNamePartTest, TakesTheLastComponent) {
    const std::string path = GetParam().path;
    const std::string_view part = FileNamePart(path);
    EXPECT_EQ(part, GetParam().expected);
    // The result is the tail of the path itself, not a copy.
    EXPECT_EQ(part.data() + part.size(), path.data() + path.size());
}

INSTANTIATE_TEST_SUITE_P(TextUtil, FileNamePartTest,
                         ::testing::Values(PathCase{"C:file", "file"},
                                           PathCase{"C:\\dir\\file.txt", "file.txt"},
                                           PathCase{"a\\b/c", "c"}, PathCase{"plain", "plain"},
                                           PathCase{"dir/", ""}, PathCase{"", ""}));

class BaseNameNoExtTest : public ::testing::TestWithParam<PathCase> {};

TEST_P(BaseNameNoExtTest, CutsDirectoryAndExtensions) {
    EXPECT_EQ(BaseNameNoExt(GetParam().path), GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(TextUtil, BaseNameNoExtTest,
                         ::testing::Values(PathCase{"C:\\dir\\file.tar.gz", "file"},
                                           PathCase{"C:file.txt", "C:file"},
                                           PathCase{"/home/u/notes.txt", "notes"},
                                           PathCase{"noext", "noext"}, PathCase{".hidden", ""},
                                           PathCase{"", ""}));

TEST(TextUtil, JoinPathAndDirectoryPart) {
    EXPECT_EQ(JoinPath("/tmp", "a.txt"), "/tmp/a.txt");
    EXPECT_EQ(JoinPath("/tmp/", "a.txt"), "/tmp/a.txt");
    EXPECT_EQ(JoinPath("", "a.txt"), "a.txt");
    EXPECT_EQ(DirectoryPart("/tmp/a.txt"), "/tmp");
    EXPECT_EQ(DirectoryPart("a.txt"), "");
}

// --- Scanning ---

TEST(TextUtil, TokenEndStopsAtBlankTabCommaOrEnd) {
    EXPECT_EQ(TokenEnd("a,b"), 1U);
    EXPECT_EQ(TokenEnd("ab cd"), 2U);
    EXPECT_EQ(TokenEnd("abc\tx"), 3U);
    EXPECT_EQ(TokenEnd("abcd"), 4U);
    EXPECT_EQ(TokenEnd(""), 0U);
    EXPECT_EQ(TokenEnd(",x"), 0U);
}

TEST(TextUtil, SkipBlanksOfBlanksGivesTheEnd) {
    const std::string blanks = "  \t  ";
    const std::string_view rest = SkipBlanks(blanks);
    EXPECT_TRUE(rest.empty());
    EXPECT_EQ(rest.data(), blanks.data() + blanks.size());
    EXPECT_EQ(SkipBlanks(" \t x y"), "x y");
    EXPECT_EQ(SkipBlanks("x "), "x ");
    EXPECT_EQ(SkipBlanks("\nx"), "\nx");
}

TEST(TextUtil, CutAtLineEnd) {
    EXPECT_EQ(CutAtLineEnd("ab\r\ncd"), "ab");
    EXPECT_EQ(CutAtLineEnd("ab\ncd\r"), "ab");
    EXPECT_EQ(CutAtLineEnd("abc"), "abc");
    EXPECT_EQ(CutAtLineEnd("\r"), "");
}

TEST(TextUtil, EndOfLineStringFollowsEncodecrlf) {
    Config config;
    const struct {
        int32_t encodecrlf;
        std::string_view text;
    } cases[] = {{175, "\r\n"}, {176, "\n"}, {0, ""}, {177, ""}, {-175, ""}};
    for (const auto& c : cases) {
        config.encodecrlf = c.encodecrlf;
        EXPECT_EQ(EndOfLineString(config), c.text) << c.encodecrlf;
        EXPECT_EQ(static_cast<int>(EndOfLineString(config).size()), EolLengthFor(c.encodecrlf));
    }
}

// --- The file system ---

TEST(TextUtil, FileExistsAndSize) {
    ScratchDir dir;
    const std::string file = dir.File("f.bin");
    std::ofstream(file, std::ios::binary) << std::string(123, 'z');
    EXPECT_TRUE(FileExists(dir.Path()));
    EXPECT_TRUE(FileExists(file));
    EXPECT_FALSE(FileExists(dir.File("missing")));
    EXPECT_EQ(FileSizeByName(file), 123);
    EXPECT_EQ(FileSizeByName(dir.File("missing")), -1);
    EXPECT_EQ(FileSizeByName(dir.Path()), -1);
}

TEST(TextUtil, MakeTempFileNameCreatesAnEmptyPrivateFile) {
    ScratchDir dir;
    const TmpDirOverride tmp(dir.Path());
    std::string first;
    std::string second;
    EXPECT_NE(MakeTempFileName(first), 0U);
    EXPECT_NE(MakeTempFileName(second), 0U);
    EXPECT_NE(first, second);
    for (const std::string& path : {first, second}) {
        EXPECT_EQ(fs::path(path).parent_path(), fs::path(dir.Path()));
        EXPECT_EQ(std::string(FileNamePart(path)).substr(0, 3), "mdr");
        ASSERT_TRUE(fs::is_regular_file(path));
        EXPECT_EQ(fs::file_size(path), 0U);
        EXPECT_EQ(fs::status(path).permissions() & fs::perms::all,
                  fs::perms::owner_read | fs::perms::owner_write);
    }
}

TEST(TextUtil, MakeTempFileNameFailsWithoutTheDirectory) {
    ScratchDir dir;
    const TmpDirOverride tmp(dir.File("gone"));
    std::string path = "unchanged";
    EXPECT_EQ(MakeTempFileName(path), 0U);
    EXPECT_EQ(path, "unchanged");
}

}  // namespace
}  // namespace mandrel
