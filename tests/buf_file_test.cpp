// The buffered file layer against a model of its line rules written one character at a time,
// on text made to be awkward, across the refills of small buffers; read marks, the LF to CR LF
// expansion across flushes, long writes and the slot table. Block reads and a full disk are met end
// to end by the encoder's and the decoder's tests.
#include "core/buf_file.h"

#include <gtest/gtest.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <random>
#include <string>
#include <vector>

#include "support/test_files.h"

namespace mandrel {
namespace {

namespace fs = std::filesystem;

class BufFileTest : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_EQ(files.BufFileInit(3, 512), 0); }

    BufFile OpenWith(const std::string& bytes, int flags, std::string_view name = "in.txt") {
        const std::string path = dir.File(name);
        test::WriteFile(path, bytes);
        return files.BufFileOpen(path, BufOpenMode::Read, flags);
    }

    test::TempDir dir;
    BufFileTable files;
};

// The line rules one character at a time.
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

// Every mix of CR and LF, zeros, lines longer than the line size, lines across refills.
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
    for (const int flags : {0, int{BF_TEXT}, BF_TEXT | BF_CR_ENDS_LINE, int{BF_CRLF_READ},
                            BF_TEXT | BF_CR_ENDS_LINE | BF_CRLF_READ}) {
        for (const int size : {2, 5, 64, 255}) {
            const std::string text = AwkwardText(static_cast<unsigned>(flags * 1000 + size));
            const BufFile f = OpenWith(text, flags);
            ASSERT_NE(f, kNoBufFile);
            std::vector<char> line(static_cast<std::size_t>(size) + 2);
            std::size_t pos = 0;
            int previous = -1;
            std::string expected;
            for (int n = 0;; ++n) {
                const int want = ModelReadLine(text, pos, previous, flags, size, expected);
                const int got = files.BufFileReadLine(f, line.data(), size);
                ASSERT_EQ(got, want) << "flags " << flags << " size " << size << " line " << n;
                ASSERT_EQ(std::string(line.data(), expected.size()), expected) << "line " << n;
                ASSERT_EQ(line[expected.size()], '\0');
                ASSERT_EQ(files.BufFileMark(f).offset, static_cast<int64_t>(pos));
                if (got == 0) {
                    break;
                }
            }
            files.BufFileClose(f);
        }
    }
}

// A mark taken before a line reads that line and those after it again, from the same file or
// a second opening of it: how a part's text is read again for its checksum.
TEST_F(BufFileTest, RestoredMarkReadsTheSameLinesAgain) {
    const int flags = BF_TEXT | BF_CR_ENDS_LINE;
    const BufFile f = OpenWith(AwkwardText(99), flags);
    ASSERT_NE(f, kNoBufFile);
    std::vector<BufReadMark> marks;
    std::vector<std::string> lines;
    std::array<char, 257> line{};
    for (;;) {
        marks.push_back(files.BufFileMark(f));
        if (files.BufFileReadLine(f, line.data(), 255) <= 0) {
            break;
        }
        lines.emplace_back(line.data());
    }
    const BufFile second = files.BufFileOpen(dir.File("in.txt"), BufOpenMode::Read, flags);
    ASSERT_NE(second, kNoBufFile);
    for (std::size_t from = 0; from < lines.size(); from += 1 + from % 7) {
        for (const BufFile g : {f, second}) {
            files.BufFileRestore(g, marks[from]);
            for (std::size_t i = from; i < std::min(lines.size(), from + 5); ++i) {
                ASSERT_GT(files.BufFileReadLine(g, line.data(), 255), 0);
                ASSERT_EQ(std::string(line.data()), lines[i]) << "from " << from << " line " << i;
                ASSERT_EQ(files.BufFileMark(g).offset, marks[i + 1].offset);
            }
        }
    }
    // A seek forgets the CR before it: the LF there is a line of its own.
    const BufFile crlf = OpenWith("A\r\nB", flags, "crlf.txt");
    EXPECT_EQ(files.BufFileReadLine(crlf, line.data(), 16), 2);
    files.BufFileSeek(crlf, 2, BufSeekOrigin::Begin);
    EXPECT_EQ(files.BufFileReadLine(crlf, line.data(), 16), 1);
    EXPECT_STREQ(line.data(), "\n");
    for (const BufFile g : {f, second, crlf}) {
        files.BufFileClose(g);
    }
}

// Text heavy in line ends, written in chunks of every size across many flushes, comes out with
// a CR before each LF that had none, and only with both BF_TEXT and BF_CRLF_WRITE.
TEST_F(BufFileTest, WritesExpandLineEndsAcrossFlushes) {
    std::mt19937 random(5);
    std::string text;
    for (int i = 0; i < 30000; ++i) {
        const unsigned pick = random() % 8;
        text += pick == 0 ? '\n' : pick == 1 ? '\r' : static_cast<char>('A' + pick);
    }
    std::string expanded;
    char previous = 0;
    for (const char c : text) {
        if (c == '\n' && previous != '\r') {
            expanded += '\r';
        }
        expanded += c;
        previous = c;
    }
    for (const int flags : {BF_TEXT | BF_CRLF_WRITE, int{BF_CRLF_WRITE}, int{BF_TEXT}}) {
        const std::string path = dir.File("out.txt");
        const BufFile f = files.BufFileOpen(path, BufOpenMode::CreateAlways, flags);
        ASSERT_NE(f, kNoBufFile);
        std::size_t at = 0;
        while (at < text.size()) {
            const std::size_t n = std::min<std::size_t>(1 + random() % 3000, text.size() - at);
            ASSERT_EQ(files.BufFileWrite(f, std::string_view(text).substr(at, n)),
                      static_cast<long>(n));
            at += n;
        }
        EXPECT_TRUE(files.BufFileClose(f));
        EXPECT_TRUE(test::ReadFile(path) == (flags == (BF_TEXT | BF_CRLF_WRITE) ? expanded : text))
            << flags;
    }
}

// A long output goes to the system from a thread of its own while the next buffer fills: every
// way of writing, mixed, must still leave the bytes in their order.
TEST_F(BufFileTest, LongWritesKeepTheirOrderAndTheirFailures) {
    std::mt19937 random(11);
    std::string data(std::size_t{12} << 20, '\0');
    for (char& c : data) {
        c = static_cast<char>(random());
    }
    const std::string path = dir.File("long.bin");
    const BufFile f = files.BufFileOpen(path, BufOpenMode::CreateAlways, 0);
    ASSERT_NE(f, kNoBufFile);
    std::size_t at = 0;
    for (int turn = 0; at < data.size(); ++turn) {
        const std::size_t n = std::min<std::size_t>(
            turn % 7 == 6 ? std::size_t{1} << 20 : 1 + random() % 70000, data.size() - at);
        if (turn % 3 == 1) {
            const std::span<unsigned char> room = files.BufFileWriteRoom(f, 4096);
            ASSERT_GE(room.size(), 4096U);
            const std::size_t put = std::min(n, room.size());
            std::memcpy(room.data(), data.data() + at, put);
            files.BufFileWritten(f, put);
            at += put;
            continue;
        }
        ASSERT_EQ(files.BufFileWrite(f, std::string_view(data).substr(at, n)),
                  static_cast<long>(n));
        at += n;
    }
    EXPECT_TRUE(files.BufFileClose(f));
    EXPECT_TRUE(test::ReadFile(path) == data);

    if (!fs::exists("/dev/full")) {
        GTEST_SKIP() << "no /dev/full";
    }
    // The first full buffer fails, and so does everything after it.
    const BufFile full = files.BufFileOpen("/dev/full", BufOpenMode::CreateAlways, 0);
    ASSERT_NE(full, kNoBufFile);
    for (std::size_t i = 0; i < 14; ++i) {
        files.BufFileWrite(full, std::string_view(data).substr(i * 100000, 100000));
    }
    EXPECT_FALSE(files.BufFileClose(full));
    EXPECT_EQ(files.LastError(), ENOSPC);
}

// A file that lost a write stays failed, whether the write failed on the caller's thread (the
// first buffers) or on the file's own (the later ones): going back and writing what fits would
// otherwise leave a hole that no later flush or close tells of.
TEST_F(BufFileTest, ALostWriteIsNeverForgotten) {
    const std::string data(std::size_t{8} << 20, 'x');
    // The limit, and the bytes written up to it and past it.
    for (const auto& [limit, size] : {std::pair{std::size_t{2} << 20, std::size_t{3} << 20},
                                      std::pair{std::size_t{6} << 20, std::size_t{8} << 20}}) {
        const test::FileSizeLimit limited(limit);
        ASSERT_TRUE(limited.Active());
        const BufFile f = files.BufFileOpen(dir.File("limited.bin"), BufOpenMode::CreateAlways, 0);
        ASSERT_NE(f, kNoBufFile);
        for (std::size_t at = 0; at < size; at += 100000) {
            files.BufFileWrite(
                f, std::string_view(data).substr(at, std::min<std::size_t>(100000, size - at)));
        }
        files.BufFileSeek(f, 0, BufSeekOrigin::Begin);
        EXPECT_EQ(files.BufFileWrite(f, "y"), 1) << limit;
        EXPECT_EQ(files.BufFileFlush(f), -1) << limit;
        EXPECT_FALSE(files.BufFileClose(f)) << limit;
        EXPECT_EQ(files.LastError(), EFBIG) << limit;
    }
}

TEST_F(BufFileTest, SlotsAndRefusals) {
    std::vector<BufFile> open;
    for (int i = 0; i < 3; ++i) {
        open.push_back(
            files.BufFileOpen(dir.File("f" + std::to_string(i)), BufOpenMode::CreateAlways, 0));
        ASSERT_EQ(open.back(), i);
    }
    EXPECT_EQ(files.BufFileOpen(dir.File("fourth"), BufOpenMode::CreateAlways, 0), kNoBufFile);
    EXPECT_EQ(files.LastError(), EMFILE);
    EXPECT_FALSE(fs::exists(dir.File("fourth")));
    // A freed slot is the lowest free one; a closed slot refuses everything.
    EXPECT_TRUE(files.BufFileClose(open[1]));
    char line[16] = {};
    EXPECT_EQ(files.BufFileReadLine(open[1], line, sizeof line), -1);
    EXPECT_EQ(files.BufFileWrite(open[1], "x"), -1);
    EXPECT_EQ(files.BufFileOpen(dir.File("fourth"), BufOpenMode::CreateAlways, 0), 1);
    for (const BufFile f : open) {
        files.BufFileClose(f);
    }
    EXPECT_EQ(files.BufFileOpen(dir.File("missing"), BufOpenMode::Read, 12), kNoBufFile);
    EXPECT_EQ(files.LastError(), ENOENT);
    EXPECT_EQ(files.BufFileOpen(dir.path().string(), BufOpenMode::CreateAlways, 4), kNoBufFile);
    EXPECT_EQ(files.LastError(), EISDIR);
}

}  // namespace
}  // namespace mandrel
