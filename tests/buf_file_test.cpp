#include "core/buf_file.h"
#include "support/test_files.h"

#include <gtest/gtest.h>

#include <array>
#include <cerrno>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <utility>
#include <vector>

namespace mandrel {
namespace {

namespace fs = std::filesystem;

// A directory of its own for every test, removed afterwards.
class ScratchDir : public test::TempDir {
public:
    const fs::path& Path() const { return path(); }
};

void WriteBytes(const std::string& path, const std::string& bytes) {
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
}

std::string ReadBytes(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

std::string RandomBytes(std::size_t count, unsigned seed) {
    std::mt19937 random(seed);
    std::string bytes(count, '\0');
    for (char& c : bytes) {
        c = static_cast<char>(random() & 0xFF);
    }
    return bytes;
}

using LineBufferForTest = std::array<char, 257>;

class BufFileTest : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_EQ(files.BufFileInit(10, 16384), 0); }

    // Writes the bytes to a file and opens it for reading with the given flags.
    BufFile OpenWith(const std::string& bytes, int flags, const std::string& name = "in.txt") {
        const std::string path = dir.File(name);
        WriteBytes(path, bytes);
        return files.BufFileOpen(path, BufOpenMode::Read, flags);
    }

    ScratchDir dir;
    BufFileTable files;
};

// --- The table's parameters ---

struct InitCase {
    int slots;
    unsigned bufferSize;
    int expectedSlots;
    unsigned expectedBufferSize;
};

class BufFileInitTest : public ::testing::TestWithParam<InitCase> {};

TEST_P(BufFileInitTest, FixesSlotCountAndBufferSize) {
    const InitCase& c = GetParam();
    BufFileTable files;
    ASSERT_EQ(files.BufFileInit(c.slots, c.bufferSize), 0);
    EXPECT_TRUE(files.Initialised());
    EXPECT_EQ(files.SlotCount(), c.expectedSlots);
    EXPECT_EQ(files.BufferSize(), c.expectedBufferSize);
}

INSTANTIATE_TEST_SUITE_P(BufFile, BufFileInitTest,
                         ::testing::Values(InitCase{10, 16384, 10, 16384},
                                           InitCase{-1, 100, 40, 8192},
                                           InitCase{64, 40000, 40, 8192}, InitCase{0, 512, 0, 512},
                                           InitCase{63, 32768, 63, 32768},
                                           InitCase{10, 511, 10, 8192},
                                           InitCase{10, 32769, 10, 8192}, InitCase{10, 0, 10, 8192},
                                           InitCase{10, 65536 + 1024, 10, 8192}));

TEST(BufFileInit, SecondInitChangesNothing) {
    BufFileTable files;
    ASSERT_EQ(files.BufFileInit(10, 16384), 0);
    EXPECT_EQ(files.BufFileInit(3, 1024), 0);
    EXPECT_EQ(files.SlotCount(), 10);
    EXPECT_EQ(files.BufferSize(), 16384U);
    EXPECT_EQ(files.BufFileShutdown(), 0);
    EXPECT_FALSE(files.Initialised());
    EXPECT_EQ(files.BufFileInit(3, 1024), 0);
    EXPECT_EQ(files.SlotCount(), 3);
    EXPECT_EQ(files.BufferSize(), 1024U);
}

TEST(BufFileInit, NoTableNoOpen) {
    BufFileTable files;
    EXPECT_EQ(files.BufFileOpen("/dev/null", BufOpenMode::Read, 0), kNoBufFile);
}

// --- Opening ---

TEST_F(BufFileTest, EleventhOpenFailsAndOpensNothing) {
    std::vector<BufFile> open;
    for (int i = 0; i < 10; ++i) {
        const BufFile f =
            files.BufFileOpen(dir.File("f" + std::to_string(i)), BufOpenMode::CreateAlways, 0);
        ASSERT_EQ(f, i);
        open.push_back(f);
    }
    const std::string eleventh = dir.File("eleventh");
    EXPECT_EQ(files.BufFileOpen(eleventh, BufOpenMode::CreateAlways, 0), kNoBufFile);
    EXPECT_EQ(files.LastError(), EMFILE);
    EXPECT_FALSE(fs::exists(eleventh));

    // A freed slot is the lowest free one and is used again.
    EXPECT_TRUE(files.BufFileClose(open[3]));
    EXPECT_EQ(files.BufFileOpen(eleventh, BufOpenMode::CreateAlways, 0), 3);
    EXPECT_EQ(files.Name(3), eleventh);
    for (const BufFile f : open) {
        files.BufFileClose(f);
    }
}

TEST_F(BufFileTest, NonexistentFileFailsWithENOENT) {
    EXPECT_EQ(files.BufFileOpen(dir.File("missing"), BufOpenMode::Read, 12), kNoBufFile);
    EXPECT_EQ(files.LastError(), ENOENT);
    EXPECT_EQ(files.BufFileOpen(dir.File("no/such/dir/out"), BufOpenMode::CreateAlways, 4),
              kNoBufFile);
    EXPECT_EQ(files.LastError(), ENOENT);
}

TEST_F(BufFileTest, DirectoryFailsWithEISDIR) {
    EXPECT_EQ(files.BufFileOpen(dir.Path().string(), BufOpenMode::Read, 0), kNoBufFile);
    EXPECT_EQ(files.LastError(), EISDIR);
    EXPECT_EQ(files.BufFileOpen(dir.Path().string(), BufOpenMode::CreateAlways, 4), kNoBufFile);
    EXPECT_EQ(files.LastError(), EISDIR);
}

TEST_F(BufFileTest, ClosedSlotRefusesEverything) {
    const BufFile f = OpenWith("abc", 0);
    ASSERT_NE(f, kNoBufFile);
    EXPECT_TRUE(files.BufFileClose(f));
    char line[16] = {};
    EXPECT_FALSE(files.BufFileClose(f));
    EXPECT_EQ(files.BufFileReadLine(f, line, sizeof line), -1);
    EXPECT_EQ(files.BufFileRead(f, line, 4), -1);
    EXPECT_EQ(files.BufFileWrite(f, "x"), -1);
    EXPECT_EQ(files.BufFileFlush(f), -1);
    EXPECT_EQ(files.BufFileReadLine(-1, line, sizeof line), -1);
    EXPECT_EQ(files.BufFileReadLine(10, line, sizeof line), -1);
}

// --- Line reads ---

struct LineCase {
    const char* name;
    std::string input;
    int flags;
    int size;
    // Every read until the one that returns 0: the text and the result.
    std::vector<std::pair<std::string, int>> reads;
};

class BufFileReadLineTest : public BufFileTest, public ::testing::WithParamInterface<LineCase> {};

TEST_P(BufFileReadLineTest, GivesLinesAndResults) {
    const LineCase& c = GetParam();
    const BufFile f = OpenWith(c.input, c.flags);
    ASSERT_NE(f, kNoBufFile);
    std::vector<char> line(static_cast<std::size_t>(c.size) + 1, '#');
    for (const auto& [text, result] : c.reads) {
        EXPECT_EQ(files.BufFileReadLine(f, line.data(), c.size), result);
        EXPECT_EQ(std::string(line.data()), text);
    }
    EXPECT_EQ(files.BufFileReadLine(f, line.data(), c.size), 0);
    EXPECT_STREQ(line.data(), "");
    EXPECT_EQ(files.Status(f), 1);
    EXPECT_TRUE(files.BufFileClose(f));
}

INSTANTIATE_TEST_SUITE_P(
    BufFile, BufFileReadLineTest,
    ::testing::Values(
        LineCase{"TextCrEndsLine",
                 "P\r\nQ\rR\nS",
                 12,
                 254,
                 {{"P\r", 2}, {"Q\r", 2}, {"R\n", 2}, {"S", 1}}},
        LineCase{"CrlfReadAlone", "P\nQ", BF_CRLF_READ, 254, {{"P\r\n", 2}, {"Q", 1}}},
        LineCase{
            "CrlfReadKeepsExistingCr", "P\r\nQ\n", BF_CRLF_READ, 254, {{"P\r\n", 3}, {"Q\r\n", 2}}},
        LineCase{"PiecesOfSizeFive", "ABCDEFGH\n", 0, 5, {{"ABCD", 4}, {"EFGH", 4}, {"\n", 1}}},
        LineCase{
            "PiecesOfSizeFiveText", "ABCDEFGH\n", 12, 5, {{"ABCD", 4}, {"EFGH", 4}, {"\n", 1}}},
        LineCase{
            "CrLfLfGivesEmptySecondLine", "P\r\n\nQ", 12, 254, {{"P\r", 2}, {"\n", 1}, {"Q", 1}}},
        LineCase{"CrWithoutCrEndsLineIsOrdinary", "P\rQ\nR", 0, 254, {{"P\rQ\n", 4}, {"R", 1}}},
        LineCase{"CrEndsLineNeedsText", "P\rQ\nR", BF_CR_ENDS_LINE, 254, {{"P\rQ\n", 4}, {"R", 1}}},
        LineCase{"WithoutCrEndsLineLfIsKept", "P\r\nQ", BF_TEXT, 254, {{"P\r\n", 3}, {"Q", 1}}},
        LineCase{"SkippedLfCountsAmongTheCharacters",
                 "AB\r\nCDEF",
                 12,
                 5,
                 {{"AB\r", 3}, {"CDE", 3}, {"F", 1}}},
        LineCase{"TextAndCrlfReadAddCrToLoneLf",
                 "A\r\nB\nC\r",
                 13,
                 254,
                 {{"A\r", 2}, {"B\r\n", 2}, {"C\r", 2}}},
        LineCase{"ZeroBytesPassThrough",
                 std::string("A\0B\n", 4),
                 12,
                 254,
                 {{"A", 4}}},  // the text stops at its zero; the count does not
        LineCase{"EmptyFile", "", 12, 254, {}}),
    [](const ::testing::TestParamInfo<LineCase>& info) { return info.param.name; });

TEST_F(BufFileTest, LineLongerThanTheBufferComesBackWhole) {
    const std::string longLine = std::string(40000, 'x') + "\n";
    const BufFile f = OpenWith(longLine + "tail", 12);
    ASSERT_NE(f, kNoBufFile);
    std::vector<char> line(40003);
    EXPECT_EQ(files.BufFileReadLine(f, line.data(), 40002), 40001);
    EXPECT_EQ(std::string(line.data()), longLine);
    EXPECT_EQ(files.BufFileReadLine(f, line.data(), 40002), 4);
    EXPECT_STREQ(line.data(), "tail");
    files.BufFileClose(f);
}

TEST_F(BufFileTest, LinePiecesAcrossRefillsGiveTheFileBack) {
    BufFileTable small;
    ASSERT_EQ(small.BufFileInit(2, 512), 0);
    std::string text;
    std::mt19937 random(7);
    for (int line = 0; line < 400; ++line) {
        text += std::string(random() % 60, static_cast<char>('a' + line % 26));
        text += (line % 3 == 0) ? "\r\n" : "\n";
    }
    const std::string path = dir.File("lines.txt");
    WriteBytes(path, text);
    for (const int size : {2, 7, 64, 254, 5000}) {
        const BufFile f = small.BufFileOpen(path, BufOpenMode::Read, 0);
        ASSERT_NE(f, kNoBufFile);
        std::vector<char> line(static_cast<std::size_t>(size) + 1);
        std::string back;
        int got = 0;
        while ((got = small.BufFileReadLine(f, line.data(), size)) > 0) {
            ASSERT_LE(got, size - 1);
            back.append(line.data(), static_cast<std::size_t>(got));
        }
        EXPECT_EQ(got, 0);
        EXPECT_EQ(back, text) << "size " << size;
        small.BufFileClose(f);
    }
}

// The line rules one character at a time, as a model for the table's reads.
int ModelReadLine(const std::string& in, std::size_t& pos, int& previous, int flags, int size,
                  std::string& out) {
    const bool crEnds = (flags & (BF_TEXT | BF_CR_ENDS_LINE)) == (BF_TEXT | BF_CR_ENDS_LINE);
    const bool crlfRead = (flags & BF_CRLF_READ) != 0;
    out.clear();
    int taken = 0;
    int stored = 0;
    while (taken < size - 1 && pos < in.size()) {
        const int c = static_cast<unsigned char>(in[pos++]);
        if (c == '\n') {
            if (previous == '\r' && crEnds) {
                ++taken;
                previous = c;
                continue;
            }
            if (previous != '\r' && crlfRead) {
                out += '\r';
            }
        }
        out += static_cast<char>(c);
        ++taken;
        ++stored;
        previous = c;
        if (c == '\n' || (c == '\r' && crEnds)) {
            break;
        }
    }
    return stored;
}

// Text full of what makes line reads hard: every mix of CR and LF, zeros, lines longer than
// the line size, and lines across the 512-byte buffer's refills.
std::string AwkwardText(unsigned seed) {
    std::mt19937 random(seed);
    static constexpr std::string_view kEnds[] = {"\n", "\r\n", "\r", "\r\r\n", "\n\r", ""};
    std::string text;
    while (text.size() < 6000) {
        const std::size_t length = random() % 8 == 0 ? 300 + random() % 300 : random() % 70;
        for (std::size_t i = 0; i < length; ++i) {
            text += random() % 40 == 0 ? '\0' : static_cast<char>('!' + random() % 90);
        }
        text += kEnds[random() % std::size(kEnds)];
    }
    return text;
}

TEST_F(BufFileTest, LinesFollowTheRulesWhateverTheMix) {
    BufFileTable small;
    ASSERT_EQ(small.BufFileInit(2, 512), 0);
    for (const int flags : {0, int{BF_TEXT}, BF_TEXT | BF_CR_ENDS_LINE, int{BF_CRLF_READ},
                            BF_TEXT | BF_CR_ENDS_LINE | BF_CRLF_READ}) {
        for (const int size : {2, 5, 64, 255}) {
            const std::string text = AwkwardText(static_cast<unsigned>(flags * 1000 + size));
            const std::string path = dir.File("awkward.txt");
            WriteBytes(path, text);
            const BufFile f = small.BufFileOpen(path, BufOpenMode::Read, flags);
            ASSERT_NE(f, kNoBufFile);
            std::vector<char> line(static_cast<std::size_t>(size) + 2);
            std::size_t pos = 0;
            int previous = -1;
            std::string expected;
            for (int n = 0;; ++n) {
                const int want = ModelReadLine(text, pos, previous, flags, size, expected);
                const int got = small.BufFileReadLine(f, line.data(), size);
                ASSERT_EQ(got, want) << "flags " << flags << " size " << size << " line " << n;
                ASSERT_EQ(std::string(line.data(), expected.size()), expected) << "line " << n;
                ASSERT_EQ(line[expected.size()], '\0');
                ASSERT_EQ(small.BufFileMark(f).offset, static_cast<int64_t>(pos));
                if (got == 0) {
                    break;
                }
            }
            small.BufFileClose(f);
        }
    }
}

// A mark taken before any line reads that line and all after it again, alike, from the same
// file or from a second opening of it: how a part's text is read again for its checksum.
TEST_F(BufFileTest, RestoredMarkReadsTheSameLinesAgain) {
    BufFileTable small;
    ASSERT_EQ(small.BufFileInit(3, 512), 0);
    const int flags = BF_TEXT | BF_CR_ENDS_LINE;
    const std::string text = AwkwardText(99);
    const std::string path = dir.File("again.txt");
    WriteBytes(path, text);
    const BufFile f = small.BufFileOpen(path, BufOpenMode::Read, flags);
    ASSERT_NE(f, kNoBufFile);
    std::vector<BufReadMark> marks;
    std::vector<std::string> lines;
    LineBufferForTest line{};
    for (;;) {
        marks.push_back(small.BufFileMark(f));
        if (small.BufFileReadLine(f, line.data(), 255) <= 0) {
            break;
        }
        lines.emplace_back(line.data());
    }
    const BufFile second = small.BufFileOpen(path, BufOpenMode::Read, flags);
    ASSERT_NE(second, kNoBufFile);
    for (std::size_t from = 0; from < lines.size(); from += 1 + from % 7) {
        for (const BufFile g : {f, second}) {
            small.BufFileRestore(g, marks[from]);
            for (std::size_t i = from; i < std::min(lines.size(), from + 5); ++i) {
                ASSERT_GT(small.BufFileReadLine(g, line.data(), 255), 0);
                ASSERT_EQ(std::string(line.data()), lines[i]) << "from " << from << " line " << i;
                ASSERT_EQ(small.BufFileMark(g).offset, marks[i + 1].offset);
            }
        }
    }
    small.BufFileClose(second);
    small.BufFileClose(f);
}

TEST_F(BufFileTest, SeekToBeginRestartsLines) {
    const BufFile f = OpenWith("first\nsecond\nthird\n", 12);
    ASSERT_NE(f, kNoBufFile);
    char line[64];
    EXPECT_EQ(files.BufFileReadLine(f, line, sizeof line), 6);
    EXPECT_EQ(files.BufFileReadLine(f, line, sizeof line), 7);
    files.BufFileSeek(f, 0, BufSeekOrigin::Begin);
    EXPECT_EQ(files.BufFileReadLine(f, line, sizeof line), 6);
    EXPECT_STREQ(line, "first\n");
    files.BufFileClose(f);
}

TEST_F(BufFileTest, SeekFromCurrentCountsFromTheNextUnreadByte) {
    const BufFile f = OpenWith("abc\ndef\nghi\n", 0);
    ASSERT_NE(f, kNoBufFile);
    char line[64];
    EXPECT_EQ(files.BufFileReadLine(f, line, sizeof line), 4);
    files.BufFileSeek(f, 0, BufSeekOrigin::Current);
    EXPECT_EQ(files.BufFileReadLine(f, line, sizeof line), 4);
    EXPECT_STREQ(line, "def\n");
    files.BufFileSeek(f, -4, BufSeekOrigin::Current);
    EXPECT_EQ(files.BufFileReadLine(f, line, sizeof line), 4);
    EXPECT_STREQ(line, "def\n");
    files.BufFileSeek(f, -4, BufSeekOrigin::End);
    EXPECT_EQ(files.BufFileReadLine(f, line, sizeof line), 4);
    EXPECT_STREQ(line, "ghi\n");
    files.BufFileClose(f);
}

TEST_F(BufFileTest, SeekForgetsThePreviousCr) {
    // After a seek the LF at the new position starts a line of its own.
    const BufFile f = OpenWith("A\r\nB", 12);
    ASSERT_NE(f, kNoBufFile);
    char line[16];
    EXPECT_EQ(files.BufFileReadLine(f, line, sizeof line), 2);
    files.BufFileSeek(f, 2, BufSeekOrigin::Begin);
    EXPECT_EQ(files.BufFileReadLine(f, line, sizeof line), 1);
    EXPECT_STREQ(line, "\n");
    files.BufFileClose(f);
}

// --- Block reads ---

TEST_F(BufFileTest, TextBlockReadAddsZeroByte) {
    const BufFile f = OpenWith("0123456789abcdefghij", BF_TEXT);
    ASSERT_NE(f, kNoBufFile);
    std::string dst(16, '#');
    EXPECT_EQ(files.BufFileRead(f, dst.data(), 10), 10);
    EXPECT_EQ(dst, std::string("0123456789\0#####", 16));
    files.BufFileClose(f);
}

TEST_F(BufFileTest, BinaryBlockReadAddsNothing) {
    const BufFile f = OpenWith("0123456789abcdefghij", 0);
    ASSERT_NE(f, kNoBufFile);
    std::string dst(16, '#');
    EXPECT_EQ(files.BufFileRead(f, dst.data(), 10), 10);
    EXPECT_EQ(dst, "0123456789######");
    EXPECT_EQ(files.BufFileRead(f, dst.data(), 16), 10);
    EXPECT_EQ(dst, "abcdefghij######");
    EXPECT_EQ(files.BufFileRead(f, dst.data(), 16), 0);
    EXPECT_EQ(files.Status(f), 1);
    files.BufFileClose(f);
}

struct BlockCase {
    const char* name;
    int flags;
    std::string input;
    long size;
    long result;
    std::string stored;  // bytes stored, added zero included
};

class BufFileReadTest : public BufFileTest, public ::testing::WithParamInterface<BlockCase> {};

TEST_P(BufFileReadTest, StoresExactBytes) {
    const BlockCase& c = GetParam();
    const BufFile f = OpenWith(c.input, c.flags);
    ASSERT_NE(f, kNoBufFile);
    std::string dst(64, '#');
    EXPECT_EQ(files.BufFileRead(f, dst.data(), c.size), c.result);
    EXPECT_EQ(dst.substr(0, c.stored.size()), c.stored);
    EXPECT_EQ(dst[c.stored.size()], '#');
    files.BufFileClose(f);
}

INSTANTIATE_TEST_SUITE_P(
    BufFile, BufFileReadTest,
    ::testing::Values(BlockCase{"TextCrlfReadAddsCr", BF_TEXT | BF_CRLF_READ, "a\nb\r\nc", 10, 6,
                                std::string("a\r\nb\r\nc\0", 8)},
                      BlockCase{"CrlfReadNeedsText", BF_CRLF_READ, "a\nb", 10, 3, "a\nb"},
                      BlockCase{"ShortFileText", BF_TEXT, "ab", 10, 2, std::string("ab\0", 3)},
                      BlockCase{"ZeroSizeText", BF_TEXT, "ab", 0, 0, std::string("\0", 1)}),
    [](const ::testing::TestParamInfo<BlockCase>& info) { return info.param.name; });

TEST_F(BufFileTest, BlockReadsAcrossRefillsGiveTheFileBack) {
    BufFileTable small;
    ASSERT_EQ(small.BufFileInit(2, 512), 0);
    const std::string bytes = RandomBytes(100000, 11);
    const std::string path = dir.File("random.bin");
    WriteBytes(path, bytes);
    const BufFile f = small.BufFileOpen(path, BufOpenMode::Read, 0);
    ASSERT_NE(f, kNoBufFile);
    std::string back;
    std::vector<char> block(7777);
    long got = 0;
    while ((got = small.BufFileRead(f, block.data(), 7777)) > 0) {
        back.append(block.data(), static_cast<std::size_t>(got));
    }
    EXPECT_EQ(got, 0);
    EXPECT_EQ(back, bytes);
    small.BufFileClose(f);
}

// --- Writes ---

TEST_F(BufFileTest, WriteOf20000BytesFlushesAfter16383AndAtClose) {
    const std::string path = dir.File("out.bin");
    const BufFile f = files.BufFileOpen(path, BufOpenMode::CreateAlways, BF_TEXT);
    ASSERT_NE(f, kNoBufFile);
    EXPECT_EQ(files.BufFileWrite(f, std::string(16383, 'a')), 16383);
    EXPECT_EQ(fs::file_size(path), 0U);
    EXPECT_EQ(files.BufFileWrite(f, "b"), 1);
    EXPECT_EQ(fs::file_size(path), 16383U);
    EXPECT_EQ(files.BufFileWrite(f, std::string(20000 - 16384, 'c')), 20000 - 16384);
    EXPECT_EQ(fs::file_size(path), 16383U);
    EXPECT_TRUE(files.BufFileClose(f));
    EXPECT_EQ(fs::file_size(path), 20000U);
}

TEST_F(BufFileTest, OneWriteOf20000BytesFlushesOnce) {
    const std::string path = dir.File("out.bin");
    const BufFile f = files.BufFileOpen(path, BufOpenMode::CreateAlways, BF_TEXT);
    ASSERT_NE(f, kNoBufFile);
    const std::string bytes = RandomBytes(20000, 3);
    EXPECT_EQ(files.BufFileWrite(f, bytes), 20000);
    EXPECT_EQ(fs::file_size(path), 16383U);
    EXPECT_TRUE(files.BufFileClose(f));
    EXPECT_EQ(ReadBytes(path), bytes);
}

TEST_F(BufFileTest, FlushReportsBytesHanded) {
    const std::string path = dir.File("out.txt");
    const BufFile f = files.BufFileOpen(path, BufOpenMode::CreateAlways, BF_TEXT);
    ASSERT_NE(f, kNoBufFile);
    EXPECT_EQ(files.BufFileFlush(f), 0);
    EXPECT_EQ(files.BufFileWriteString(f, "hello"), 5);
    EXPECT_EQ(files.BufFileFlush(f), 5);
    EXPECT_EQ(files.BufFileFlush(f), 0);
    EXPECT_EQ(files.BufFileWrite(f, ""), 0);
    EXPECT_TRUE(files.BufFileClose(f));
    EXPECT_EQ(ReadBytes(path), "hello");
}

TEST_F(BufFileTest, WriteStringStopsAtZero) {
    const std::string path = dir.File("out.txt");
    const BufFile f = files.BufFileOpen(path, BufOpenMode::CreateAlways, BF_TEXT);
    ASSERT_NE(f, kNoBufFile);
    EXPECT_EQ(files.BufFileWriteString(f, std::string_view("ab\0cd", 5)), 2);
    EXPECT_EQ(files.BufFileWrite(f, std::string_view("ab\0cd", 5)), 5);
    EXPECT_TRUE(files.BufFileClose(f));
    EXPECT_EQ(ReadBytes(path), std::string("abab\0cd", 7));
}

struct ExpandCase {
    const char* name;
    int flags;
    std::vector<std::string> writes;
    std::vector<long> results;
    std::string file;
};

class BufFileWriteTest : public BufFileTest, public ::testing::WithParamInterface<ExpandCase> {};

TEST_P(BufFileWriteTest, ExpandsLfOnlyInTextWithCrlfWrite) {
    const ExpandCase& c = GetParam();
    const std::string path = dir.File("out.txt");
    const BufFile f = files.BufFileOpen(path, BufOpenMode::CreateAlways, c.flags);
    ASSERT_NE(f, kNoBufFile);
    for (std::size_t i = 0; i < c.writes.size(); ++i) {
        EXPECT_EQ(files.BufFileWriteString(f, c.writes[i]), c.results[i]);
    }
    EXPECT_TRUE(files.BufFileClose(f));
    EXPECT_EQ(ReadBytes(path), c.file);
}

INSTANTIATE_TEST_SUITE_P(
    BufFile, BufFileWriteTest,
    ::testing::Values(
        ExpandCase{
            "TextCrlfWrite", BF_TEXT | BF_CRLF_WRITE, {"a\nb\r\nc\n"}, {7}, "a\r\nb\r\nc\r\n"},
        ExpandCase{"CrlfWriteAlone", BF_CRLF_WRITE, {"a\nb\r\nc\n"}, {7}, "a\nb\r\nc\n"},
        ExpandCase{"TextAlone", BF_TEXT, {"a\nb\r\nc\n"}, {7}, "a\nb\r\nc\n"},
        ExpandCase{"NoFlags", 0, {"a\nb\r\nc\n"}, {7}, "a\nb\r\nc\n"},
        ExpandCase{
            "CrRememberedAcrossWrites", BF_TEXT | BF_CRLF_WRITE, {"a\r", "\nb"}, {2, 2}, "a\r\nb"},
        ExpandCase{"LfAtStartOfFile", BF_TEXT | BF_CRLF_WRITE, {"\n\n"}, {2}, "\r\n\r\n"}),
    [](const ::testing::TestParamInfo<ExpandCase>& info) { return info.param.name; });

TEST_F(BufFileTest, ExpansionAcrossFlushesMatchesTheRule) {
    BufFileTable small;
    ASSERT_EQ(small.BufFileInit(2, 512), 0);
    // Text heavy in line ends, written in chunks of varying size across many flushes.
    std::mt19937 random(5);
    std::string text;
    for (int i = 0; i < 30000; ++i) {
        const unsigned pick = random() % 8;
        text += pick == 0 ? '\n' : pick == 1 ? '\r' : static_cast<char>('A' + pick);
    }
    std::string expected;
    char previous = 0;
    for (const char c : text) {
        if (c == '\n' && previous != '\r') {
            expected += '\r';
        }
        expected += c;
        previous = c;
    }
    const std::string path = dir.File("expanded.txt");
    const BufFile f = small.BufFileOpen(path, BufOpenMode::CreateAlways, BF_TEXT | BF_CRLF_WRITE);
    ASSERT_NE(f, kNoBufFile);
    std::size_t at = 0;
    while (at < text.size()) {
        const std::size_t n = std::min<std::size_t>(1 + random() % 900, text.size() - at);
        ASSERT_EQ(small.BufFileWrite(f, std::string_view(text).substr(at, n)),
                  static_cast<long>(n));
        at += n;
    }
    EXPECT_TRUE(small.BufFileClose(f));
    EXPECT_EQ(ReadBytes(path), expected);
}

// --- A full disk ---

class BufFileFullDiskTest : public BufFileTest {
protected:
    void SetUp() override {
        BufFileTest::SetUp();
        if (!fs::exists("/dev/full")) {
            GTEST_SKIP() << "no /dev/full here";
        }
    }
};

TEST_F(BufFileFullDiskTest, FlushFails) {
    const BufFile f = files.BufFileOpen("/dev/full", BufOpenMode::CreateAlways, BF_TEXT);
    ASSERT_NE(f, kNoBufFile);
    EXPECT_EQ(files.BufFileWrite(f, "some text"), 9);
    EXPECT_EQ(files.BufFileFlush(f), -1);
    EXPECT_EQ(files.Status(f), 2);
    EXPECT_EQ(files.LastError(), ENOSPC);
    files.BufFileClose(f);
}

TEST_F(BufFileFullDiskTest, LongWriteIsShort) {
    const BufFile f = files.BufFileOpen("/dev/full", BufOpenMode::CreateAlways, BF_TEXT);
    ASSERT_NE(f, kNoBufFile);
    EXPECT_EQ(files.BufFileWrite(f, std::string(20000, 'x')), 16383);
    EXPECT_EQ(files.Status(f), 2);
    files.BufFileClose(f);
}

TEST_F(BufFileFullDiskTest, CloseReportsTheLostFinalFlush) {
    const BufFile f = files.BufFileOpen("/dev/full", BufOpenMode::CreateAlways, BF_TEXT);
    ASSERT_NE(f, kNoBufFile);
    EXPECT_EQ(files.BufFileWriteString(f, "last words"), 10);
    EXPECT_FALSE(files.BufFileClose(f));
    EXPECT_EQ(files.LastError(), ENOSPC);
    // The slot is free again all the same.
    EXPECT_EQ(files.BufFileOpen("/dev/full", BufOpenMode::CreateAlways, BF_TEXT), f);
    files.BufFileClose(f);
}

}  // namespace
}  // namespace mandrel
