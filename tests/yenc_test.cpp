// yEnc: the keyword lines, the CRC-32, the run decoder held to the reference one on awkward
// text, and the console program on postings that python3-yenc encodes (single files and parts,
// shuffled, split across inputs) and on hostile ones.
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <filesystem>
#include <random>
#include <string>
#include <vector>

#include "codec/group_kernels.h"
#include "codec/yenc.h"
#include "support/test_files.h"

namespace mandrel {
namespace {

namespace fs = std::filesystem;
using test::ReadFile;
using test::WriteFile;

TEST(YEnc, KeywordLinesAreReadAsTheDescriptionHasThem) {
    struct Case {
        std::string_view line;
        YEncLine kind;
        std::optional<int64_t> part, total, size, begin, end;
        std::optional<uint32_t> pcrc32, crc32;
        std::optional<std::string> name;
    };
    const Case cases[] = {
        {"=ybegin line=128 size=123456 name=my file .bin  \r\n",
         YEncLine::Begin,
         {},
         {},
         123456,
         {},
         {},
         {},
         {},
         "my file .bin"},
        {"=ybegin part=2 total=10 line=128 size=5 name=a=b",
         YEncLine::Begin,
         2,
         10,
         5,
         {},
         {},
         {},
         {},
         "a=b"},
        {"=ypart begin=1 end=100000\n", YEncLine::Part, {}, {}, {}, 1, 100000, {}, {}, {}},
        {"=yend size=100 part=3 pcrc32=0x0000BEEF crc32=ffffffff",
         YEncLine::End,
         3,
         {},
         100,
         {},
         {},
         0xBEEF,
         0xFFFFFFFF,
         {}},
        // Figures that are no figures stay absent.
        {"=yend size=12x part=-  pcrc32=123456789 crc32=",
         YEncLine::End,
         {},
         {},
         {},
         {},
         {},
         {},
         {},
         {}},
        {"=ybegin size=99999999999999999999 name=",
         YEncLine::Begin,
         {},
         {},
         {},
         {},
         {},
         {},
         {},
         ""},
        {"=ybeginning part=1", YEncLine::None, 1, {}, {}, {}, {}, {}, {}, {}},
        {"=yend", YEncLine::End, {}, {}, {}, {}, {}, {}, {}, {}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(std::string(c.line));
        EXPECT_EQ(YEncLineKind(c.line), c.kind);
        const YEncFields f = ParseYEncFields(c.line);
        EXPECT_EQ(f.part, c.part);
        EXPECT_EQ(f.total, c.total);
        EXPECT_EQ(f.size, c.size);
        EXPECT_EQ(f.begin, c.begin);
        EXPECT_EQ(f.end, c.end);
        EXPECT_EQ(f.pcrc32, c.pcrc32);
        EXPECT_EQ(f.crc32, c.crc32);
        EXPECT_EQ(f.name, c.name);
    }
}

uint32_t BitwiseCrc32(std::string_view bytes) {
    uint32_t crc = 0xFFFFFFFFU;
    for (const char c : bytes) {
        crc ^= static_cast<unsigned char>(c);
        for (int bit = 0; bit < 8; ++bit) {
            crc = (crc >> 1) ^ ((crc & 1U) != 0 ? 0xEDB88320U : 0U);
        }
    }
    return ~crc;
}

// Each folding path (or the best below it) and the tables against the definition, on every
// length around the folds' widths (16, 64 and 256 bytes) and from any point on.
TEST(YEnc, Crc32RunsOnFromAnyPoint) {
    const std::string data = test::RandomBytes(3, 3000);
    const std::string_view all(data);
    for (const KernelPath path : {KernelPath::Avx2, KernelPath::Avx512}) {
        UseKernelPath(path);
        EXPECT_EQ(Crc32(test::Bytes("123456789")), 0xCBF43926U);
        EXPECT_EQ(Crc32({}), 0U);
        for (std::size_t size = 0; size <= 1100; ++size) {
            const std::string_view view = all.substr(size, size);
            ASSERT_EQ(Crc32(test::Bytes(view)), BitwiseCrc32(view)) << size;
        }
        for (const std::size_t split : {0UL, 1UL, 15UL, 16UL, 17UL, 64UL, 333UL, 3000UL}) {
            const uint32_t first = Crc32(test::Bytes(all.substr(0, split)));
            EXPECT_EQ(Crc32(test::Bytes(all.substr(split)), first), BitwiseCrc32(all)) << split;
        }
    }
    UseKernelPath(BestKernelPath());
    for (std::size_t size = 0; size <= 300; ++size) {
        const std::string_view view = all.substr(size, size);
        ASSERT_EQ(Crc32ByTables(test::Bytes(view)), BitwiseCrc32(view)) << size;
    }
}

// yEnc text written the way encoders do and the ways they should not: escapes of the critical
// characters and of others, dot-stuffed lines, every line end, an escape right before a line
// end, doubled escapes, blank lines and keyword lines in between.
// wellFormed: only what encoders write (no keyword or dot-stuffed lines, no escape before a
// line end, no doubled escapes), for a reader that knows nothing else.
std::string AwkwardYEncText(unsigned seed, bool wellFormed = false) {
    std::mt19937 random(seed);
    static constexpr std::string_view kEnds[] = {"\r\n", "\n", "\r"};
    std::string text;
    for (int line = 0; line < 300; ++line) {
        const int pick =
            wellFormed ? 3 + static_cast<int>(random() % 37) : static_cast<int>(random() % 40);
        if (pick == 0) {
            text += "=ypart begin=1 end=2";
        } else if (pick == 1) {
            text += "..";  // dot-stuffed: one dot of data
        } else if (pick == 2) {
            text += "x=";  // an escape the line end cuts off
        } else if (pick == 4) {
            text += std::string(199, 'k') + "l";  // as long as the room of some runs below
        } else if (pick != 3) {
            const std::size_t length = random() % 8 == 0 ? 500 + random() % 300 : random() % 140;
            for (std::size_t i = 0; i < length; ++i) {
                const auto c = static_cast<unsigned char>(random() + 42);
                if (c == 0 || c == '\r' || c == '\n' || c == '=' ||
                    (!wellFormed && random() % 50 == 0)) {
                    text += '=';
                    text += static_cast<char>(c + 64);
                } else {
                    text += static_cast<char>(c);
                }
                if (!wellFormed && random() % 200 == 0) {
                    text += "==";
                }
            }
        }
        text += kEnds[random() % std::size(kEnds)];
    }
    return text;
}

// From every line start, with room for long lines and for short ones: the runs take whole
// lines, stop before keyword lines and give what the reference gives for the text they took.
TEST(YEnc, RunsOfLinesMatchTheReferenceDecoder) {
    // Each vector path (or the best below it that this processor has), and the scalar one.
    constexpr std::array kPaths = {KernelPath::Ssse3, KernelPath::Avx512, KernelPath::Scalar,
                                   KernelPath::Avx512};
    for (const unsigned seed : {1U, 2U, 3U, 4U}) {
        UseKernelPath(kPaths[seed - 1]);
        const std::string text = AwkwardYEncText(seed);
        const std::span<const unsigned char> bytes = test::Bytes(text);
        for (std::size_t at = 0; at < text.size(); ++at) {
            if (at > 0 && text[at - 1] != '\n' && text[at - 1] != '\r') {
                continue;
            }
            const bool afterCr = at > 0 && text[at - 1] == '\r';
            const std::size_t room = at % 3 == 0 ? 200 : 4096;
            std::vector<unsigned char> fast(at % 5 == 0 ? 900 : text.size());
            const YEncRun run = DecodeYEncLines(bytes.subspan(at), fast, room, afterCr);
            // The scalar path stops at the same line.
            const KernelPath path = ActiveKernelPath();
            UseKernelPath(KernelPath::Scalar);
            std::vector<unsigned char> scalar(fast.size());
            const YEncRun reference = DecodeYEncLines(bytes.subspan(at), scalar, room, afterCr);
            UseKernelPath(path);
            ASSERT_EQ(run.consumed, reference.consumed) << seed << " at " << at;
            ASSERT_EQ(run.lines, reference.lines) << seed << " at " << at;
            std::vector<unsigned char> exact(text.size());
            YEncTextState state;
            const std::span<const unsigned char> taken = bytes.subspan(at, run.consumed);
            const std::size_t produced = DecodeYEncText(taken, exact, state);
            ASSERT_EQ(run.produced, produced) << seed << " at " << at;
            ASSERT_TRUE(std::equal(exact.begin(), exact.begin() + static_cast<long>(produced),
                                   fast.begin()))
                << seed << " at " << at;
            ASSERT_EQ(
                run.lines,
                static_cast<std::size_t>(std::count_if(
                    taken.begin(), taken.end(), [&, i = std::size_t{0}](unsigned char c) mutable {
                        const std::size_t here = i++;
                        return c == '\n' ? !(here > 0 ? taken[here - 1] == '\r' : afterCr)
                                         : c == '\r';
                    })));
            // It stopped at a line it leaves to the line-by-line way, or at the end.
            const std::size_t next =
                at + run.consumed + (run.afterCr && text[at + run.consumed] == '\n');
            if (next < text.size()) {
                const std::string_view rest = std::string_view(text).substr(next);
                const std::size_t end = rest.find_first_of("\r\n");
                const bool keyword = rest.starts_with("=y");
                const bool tooLong = end == std::string_view::npos || end >= room;
                const bool noRoom = fast.size() - run.produced < room;
                EXPECT_TRUE(keyword || tooLong || noRoom) << seed << " at " << at;
            }
        }
    }
    UseKernelPath(BestKernelPath());
}

bool HavePythonYEnc() {
    return std::system("/usr/bin/python3 -c 'import yenc' >/dev/null 2>&1") == 0;
}

// python3-yenc's decoder, an independent reader, takes our test text as the reference does.
TEST(YEnc, PythonYEncReadsTheTestTextAlike) {
    if (!HavePythonYEnc()) {
        GTEST_SKIP() << "python3-yenc missing";
    }
    test::TempDir dir;
    for (const unsigned seed : {5U, 6U}) {
        const std::string text = AwkwardYEncText(seed, true);
        test::WriteFile(dir.File("text"), text);
        const std::string command =
            "/usr/bin/python3 -c \"import sys, yenc; d = yenc.Decoder(); "
            "d.feed(open(sys.argv[1], 'rb').read()); open(sys.argv[2], "
            "'wb').write(d.getDecoded())\" '" +
            dir.File("text") + "' '" + dir.File("python") + "'";
        ASSERT_EQ(std::system(command.c_str()), 0);
        std::vector<unsigned char> ours(text.size());
        YEncTextState state;
        ours.resize(DecodeYEncText(test::Bytes(text), ours, state));
        EXPECT_EQ(std::string(ours.begin(), ours.end()), test::ReadFile(dir.File("python")))
            << seed;
    }
}

class YEncProgram : public ::testing::Test {
protected:
    YEncProgram() {
        fs::create_directories(dir.path() / "home");
        fs::create_directories(dir.path() / "tmp");
    }

    // The console program in the work directory; its exit status, and what it printed in out.
    int Mandrel(const std::string& args, std::string* out = nullptr) const {
        const std::string home = dir.File("home");
        const std::string line = "cd '" + dir.path().string() + "' && HOME='" + home +
                                 "' XDG_CONFIG_HOME='" + home + "' TMPDIR='" + dir.File("tmp") +
                                 "' '" + MANDREL_CONSOLE_PATH + "' -N " + args + " </dev/null >'" +
                                 dir.File("home/.out") + "' 2>&1";
        const int status = std::system(line.c_str());
        if (out != nullptr) {
            *out = ReadFile(dir.File("home/.out"));
        }
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }

    // Writes a posting of data.bin made by python3-yenc: `parts` parts (1: a single file) of
    // lines of `line` characters with `eol`, each part under a news header, in the order of
    // `order` (part numbers from 1), into the files named `into` in turn.
    bool Post(int parts, int line, const std::string& eol, const std::vector<int>& order,
              const std::vector<std::string>& into, const std::string& name = "data.out") const {
        static const std::string kScript = R"(
import sys, yenc, zlib
parts, line, eol, name = int(sys.argv[1]), int(sys.argv[2]), sys.argv[3].encode(), sys.argv[4]
order = [int(x) for x in sys.argv[5].split(',')]
outs = sys.argv[6].split(',')
data = open('data.bin', 'rb').read()
def body(chunk):
    e = yenc.Encoder(); e.feed(chunk); e.terminate()
    raw = e.getEncoded().replace(b'\r\n', b'')
    lines, i = [], 0
    while i < len(raw):
        j = min(i + line, len(raw))
        if raw[j - 1:j] == b'=':
            j += 1
        lines.append(raw[i:j]); i = j
    return b''.join(l + eol for l in lines)
per = max(1, -(-len(data) // parts))
texts = {}
for k in range(1, parts + 1):
    c = data[(k - 1) * per:k * per]
    head = b'Newsgroups: alt.binaries.test' + eol + b'Subject: test' + eol + eol
    if parts == 1:
        texts[k] = head + b'=ybegin line=%d size=%d name=%s' % (line, len(data), name.encode()) + eol + body(c) + b'=yend size=%d crc32=%08x' % (len(c), zlib.crc32(c)) + eol
    else:
        texts[k] = head + b'=ybegin part=%d total=%d line=%d size=%d name=%s' % (k, parts, line, len(data), name.encode()) + eol + b'=ypart begin=%d end=%d' % ((k - 1) * per + 1, (k - 1) * per + len(c)) + eol + body(c) + b'=yend size=%d part=%d pcrc32=%08x crc32=%08x' % (len(c), k, zlib.crc32(c), zlib.crc32(data)) + eol
files = {o: b'' for o in outs}
for n, k in enumerate(order):
    files[outs[n % len(outs)]] += texts[k]
for o, t in files.items():
    open(o, 'wb').write(t)
)";
        WriteFile(dir.File("post.py"), kScript);
        std::string orderText;
        for (const int k : order) {
            orderText += (orderText.empty() ? "" : ",") + std::to_string(k);
        }
        std::string outs;
        for (const std::string& o : into) {
            outs += (outs.empty() ? "" : ",") + o;
        }
        const std::string command = "cd '" + dir.path().string() +
                                    "' && /usr/bin/python3 post.py " + std::to_string(parts) + " " +
                                    std::to_string(line) + " '" + eol + "' '" + name + "' " +
                                    orderText + " " + outs;
        return std::system(command.c_str()) == 0;
    }

    bool NothingLeftBehind() const { return fs::is_empty(dir.path() / "tmp"); }

    test::TempDir dir;
};

TEST_F(YEncProgram, PostingsFromPythonYEncComeBackWhole) {
    if (!HavePythonYEnc()) {
        GTEST_SKIP() << "python3-yenc missing";
    }
    struct Case {
        std::size_t size;
        int parts;
        int line;
        const char* eol;
        std::vector<int> order;
        std::vector<std::string> inputs;
    };
    const Case cases[] = {
        {0, 1, 128, "\r\n", {1}, {"in.txt"}},
        {1, 1, 128, "\n", {1}, {"in.txt"}},
        {127, 1, 128, "\r\n", {1}, {"in.txt"}},
        {128, 1, 128, "\n", {1}, {"in.txt"}},
        {129, 1, 128, "\r\n", {1}, {"in.txt"}},
        {102400, 1, 997, "\r\n", {1}, {"in.txt"}},  // lines longer than a line read takes
        {102400, 4, 128, "\n", {3, 1, 4, 2}, {"in.txt"}},
        {5 << 20, 7, 256, "\r\n", {7, 6, 5, 4, 3, 2, 1}, {"in.txt"}},
        {102400, 5, 128, "\r\n", {2, 5, 1, 4, 3}, {"a.txt", "b.txt"}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(std::to_string(c.size) + " bytes, " + std::to_string(c.parts) + " parts");
        const std::string data = test::RandomBytes(c.size + 5, c.size);
        WriteFile(dir.File("data.bin"), data);
        ASSERT_TRUE(Post(c.parts, c.line, c.eol, c.order, c.inputs));
        std::string inputs;
        for (const std::string& input : c.inputs) {
            inputs += " " + input;
        }
        std::string out;
        EXPECT_EQ(Mandrel((c.inputs.size() > 1 ? "-J" : "") + inputs, &out), 0) << out;
        EXPECT_NE(out.find("Successfully yEnc Decoded"), std::string::npos) << out;
        EXPECT_TRUE(ReadFile(dir.File("data.out")) == data);
        EXPECT_TRUE(NothingLeftBehind());
        fs::remove(dir.File("data.out"));
    }
}

// Each hostile posting: what the program says and its exit status; never a file outside the
// directory or a temporary file left behind.
TEST_F(YEncProgram, HostilePostingsGetAClearAnswer) {
    if (!HavePythonYEnc()) {
        GTEST_SKIP() << "python3-yenc missing";
    }
    const std::string data = test::RandomBytes(9, 40000);
    WriteFile(dir.File("data.bin"), data);
    ASSERT_TRUE(Post(4, 128, "\n", {1, 2, 3, 4}, {"good.txt"}));
    const std::string good = ReadFile(dir.File("good.txt"));
    const auto replaced = [&good](std::string_view from, std::string_view to) {
        std::string text = good;
        const std::size_t at = text.find(from);
        EXPECT_NE(at, std::string::npos) << from;
        return text.replace(at, from.size(), to);
    };
    const auto everywhere = [&good](std::string_view from, std::string_view to) {
        std::string text = good;
        for (std::size_t at = text.find(from); at != std::string::npos;
             at = text.find(from, at + to.size())) {
            text.replace(at, from.size(), to);
        }
        return text;
    };
    const auto without = [&good](std::string_view from, std::string_view to) {
        const std::size_t begin = good.find(from);
        const std::size_t end = good.find('\n', good.find(to, begin)) + 1;
        return good.substr(0, begin) + good.substr(end);
    };
    const std::size_t part2 = good.find("pcrc32=", good.find("part=2 pcrc32")) + 7;
    std::string badCrc = good;
    badCrc[part2] = badCrc[part2] == '0' ? '1' : '0';
    struct Case {
        const char* what;
        std::string text;
        int status;
        std::string said;
        bool whole;  // data.out holds the data
    };
    const Case cases[] = {
        {"a part's CRC", badCrc, 1, "Part 2 CRC-32:\tExpected ", true},
        {"a missing part", without("=ybegin part=3", "=yend"), 1, "Missing Parts: 3", false},
        {"a wrong file size", everywhere("size=40000", "size=40001"), 1,
         "Output File data.out Size:\tExpected 40001\tCalculated 40000", true},
        {"a part beyond the total", good + "=ybegin part=9 total=4 size=1 name=data.out\n=yend\n",
         0, "Successfully yEnc Decoded", true},
        {"a huge total", replaced("part=1 total=4", "part=1 total=2147483647"), 1,
         "Inconsistent # of Total Parts for Part 2: Expected 2147483647, Got 4.", false},
        {"no part number the table has", replaced("part=1 total=4", "part=100 total=4"), 1,
         "Missing Parts: 1", false},
        {"a name that leaves the directory",
         replaced("name=data.out", "name=../../escaped/data.out"), 0, "", true},
        {"overlapping ranges", replaced("begin=10001 end=20000", "begin=5001 end=20000"), 0,
         "Successfully yEnc Decoded", true},
        {"a part cut short", good.substr(0, good.rfind("=yend")), 3, "Missing '=yend' line.", true},
        // Without its "=yend" a part runs to the next "=ybegin", the next part's news header
        // and all: 42 bytes too many, which the sizes show.
        {"the next part before a part's end", without("=yend size=10000 part=1", "=yend"), 1,
         "Part 1 Size:\tExpected 10000\tCalculated 10042", false},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        WriteFile(dir.File("in.txt"), c.text);
        std::string out;
        EXPECT_EQ(Mandrel("in.txt", &out), c.status) << out;
        EXPECT_NE(out.find(c.said), std::string::npos) << out;
        if (c.whole) {
            EXPECT_TRUE(ReadFile(dir.File("data.out")) == data);
        }
        EXPECT_FALSE(fs::exists(dir.path().parent_path() / "escaped"));
        EXPECT_TRUE(NothingLeftBehind()) << test::ListDirectory(dir.path() / "tmp");
        fs::remove(dir.File("data.out"));
    }
}

}  // namespace
}  // namespace mandrel
