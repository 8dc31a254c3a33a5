#include "encode/line_encoder.h"

#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "core/app_state.h"
#include "core/config.h"
#include "encode/alphabets.h"
#include "encode/sum_r.h"
#include "platform/scripted_ui.h"

namespace mandrel {
namespace {

std::span<const unsigned char> Bytes(std::string_view text) {
    return {reinterpret_cast<const unsigned char*>(text.data()), text.size()};
}

std::string_view AlphabetFor(int encoding) {
    switch (encoding) {
        case kEncodingUU:
            return UUAlphabet;
        case kEncodingXX:
            return XXAlphabet;
        case kEncodingMIME:
            return Base64Alphabet;
        default:
            return BinHexAlphabet;
    }
}

class LineEncoderTest : public ::testing::Test {
protected:
    void Use(int encoding, int eol = kEolCrLf) {
        app.job.EncodingIndex = encoding;
        app.encode.CurrentAlphabet = AlphabetFor(encoding);
        app.config.encodecrlf = eol;
        app.config.encodechecksum = 1;  // the counters are kept for checksum lines
    }
    // The line as written, line end included; "<-1>" when nothing was written.
    std::string Encode(std::span<const unsigned char> input) {
        std::memset(line, 'Z', sizeof line);
        const int n = EncodeLine(app, input, line);
        if (n < 0) {
            return "<" + std::to_string(n) + ">";
        }
        EXPECT_EQ(line[n], '\0');
        return std::string(line, static_cast<std::size_t>(n));
    }

    ScriptedUi ui;
    AppState app{ui};
    char line[kMaxLineLength + 2 + 8];
};

struct LineCase {
    int encoding;
    std::string input;
    std::string expected;  // without the line end
};

TEST_F(LineEncoderTest, EncodesTheDescribedLines) {
    const std::vector<LineCase> cases = {
        {kEncodingUU, "abc", "#86)C"},
        {kEncodingXX, "abc", "1MK7X"},
        {kEncodingMIME, "abc", "YWJj"},
        {kEncodingUU, "ab", "\"86("},
        {kEncodingXX, "ab", "0MK6"},
        {kEncodingMIME, "ab", "YWI="},
        {kEncodingUU, "a", "!80"},
        {kEncodingXX, "a", "-ME"},
        {kEncodingMIME, "a", "YQ=="},
        {kEncodingUU, std::string(1, '\0'), "!``"},
        {kEncodingUU, std::string(3, '\0'), "#````"},
        {kEncodingUU, "", "`"},
        {kEncodingXX, "", "+"},
        {kEncodingMIME, "", ""},
        {kEncodingMIME, "\xff\xfe\xfd", "//79"},
        {kEncodingUU, "\xff\xff\xff", "#____"},
    };
    for (const LineCase& c : cases) {
        SCOPED_TRACE(std::to_string(c.encoding) + " " + c.expected);
        Use(c.encoding);
        EXPECT_EQ(Encode(Bytes(c.input)), c.expected + "\r\n");
    }
}

TEST_F(LineEncoderTest, FullBlockMakesSixtyDataCharacters) {
    const std::string block(kBlockSize, 'x');
    struct FullCase {
        int encoding;
        std::string prefix;
    };
    for (const FullCase& c :
         std::vector<FullCase>{{kEncodingUU, "M"}, {kEncodingXX, "h"}, {kEncodingMIME, ""}}) {
        Use(c.encoding);
        const std::string text = Encode(Bytes(block));
        ASSERT_EQ(text.size(), c.prefix.size() + 60 + 2) << c.encoding;
        EXPECT_EQ(text.substr(0, c.prefix.size()), c.prefix);
        EXPECT_EQ(text.substr(text.size() - 2), "\r\n");
    }
    // A full UU line counts as 61 characters and one LF.
    Use(kEncodingUU);
    app.encode.PartSize = 0;
    Encode(Bytes(block));
    EXPECT_EQ(app.encode.PartSize, 62U);
}

TEST_F(LineEncoderTest, CountersAfterAbc) {
    Use(kEncodingUU);
    Encode(Bytes("abc"));
    EXPECT_EQ(app.encode.PartSize, 6U);
    EXPECT_EQ(app.encode.PartSum, 6209U);
    EXPECT_EQ(app.encode.InputSum, 16556U);
}

TEST_F(LineEncoderTest, ZeroLengthLineCountsBackquoteAndLineEnd) {
    Use(kEncodingUU);
    app.encode.InputSum = 1234;
    EXPECT_EQ(Encode({}), "`\r\n");
    EXPECT_EQ(app.encode.PartSize, 2U);
    EXPECT_EQ(app.encode.PartSum, 58U);  // the backquote, then an LF
    EXPECT_EQ(app.encode.InputSum, 1234U);
}

TEST_F(LineEncoderTest, LineEndDoesNotChangeTheCounters) {
    struct Run {
        std::string text;
        uint32_t sum, size, input;
    };
    auto run = [&](int eol) {
        Use(kEncodingMIME, eol);
        app.encode = EncodeJob{};
        app.encode.CurrentAlphabet = Base64Alphabet;
        Run r;
        r.text = Encode(Bytes("hello"));
        r.sum = app.encode.PartSum;
        r.size = app.encode.PartSize;
        r.input = app.encode.InputSum;
        return r;
    };
    const Run crlf = run(kEolCrLf);
    const Run lf = run(kEolLf);
    EXPECT_EQ(crlf.text, "aGVsbG8=\r\n");
    EXPECT_EQ(lf.text, "aGVsbG8=\n");
    EXPECT_EQ(crlf.size, 9U);  // the pad counts in the size
    EXPECT_EQ(crlf.sum, lf.sum);
    EXPECT_EQ(crlf.size, lf.size);
    EXPECT_EQ(crlf.input, lf.input);
}

TEST_F(LineEncoderTest, PadCharactersStayOutOfTheSum) {
    Use(kEncodingMIME);
    Encode(Bytes("a"));
    EXPECT_EQ(app.encode.PartSize, 5U);
    EXPECT_EQ(app.encode.PartSum, SumRAdd(SumRAddText(0, "YQ"), '\n'));
}

TEST_F(LineEncoderTest, RefusesWhatItCannotWrite) {
    struct Refusal {
        int encoding;
        std::size_t length;
    };
    const std::string big(kBlockSize + 1, 'a');
    for (const Refusal& r : std::vector<Refusal>{
             {kEncodingBinHex, 3}, {kEncodingAuto, 3}, {kEncodingUU, kBlockSize + 1}}) {
        Use(r.encoding);
        app.encode.PartSum = 11;
        app.encode.PartSize = 22;
        app.encode.InputSum = 33;
        EXPECT_EQ(Encode(Bytes(std::string_view(big).substr(0, r.length))), "<-1>");
        EXPECT_EQ(line[0], 'Z');
        EXPECT_EQ(app.encode.PartSum, 11U);
        EXPECT_EQ(app.encode.PartSize, 22U);
        EXPECT_EQ(app.encode.InputSum, 33U);
    }
}

// An encoder that works bit by bit, the way the formats are described, with nothing shared
// with the table-driven one but the alphabets.
std::string ReferenceLine(int encoding, const std::vector<unsigned char>& input) {
    const std::string_view a = AlphabetFor(encoding);
    std::vector<int> bits;
    for (const unsigned char b : input) {
        for (int i = 7; i >= 0; --i) {
            bits.push_back((b >> i) & 1);
        }
    }
    while (bits.size() % 6 != 0) {
        bits.push_back(0);
    }
    std::string line;
    if (encoding != kEncodingMIME) {
        line += a[input.size()];
    }
    for (std::size_t i = 0; i < bits.size(); i += 6) {
        int value = 0;
        for (std::size_t j = 0; j < 6; ++j) {
            value = value * 2 + bits[i + j];
        }
        line += a[static_cast<std::size_t>(value)];
    }
    if (encoding == kEncodingMIME) {
        while (line.size() % 4 != 0) {
            line += '=';
        }
    }
    return line;
}

// Rotates right and adds, written from the definition of the BSD sum.
uint32_t ReferenceSum(uint32_t sum, std::string_view bytes) {
    for (const char c : bytes) {
        const uint32_t low = sum & 1U;
        sum = (sum >> 1) | (low << 15);
        sum = (sum + static_cast<unsigned char>(c)) % 65536U;
    }
    return sum;
}

TEST_F(LineEncoderTest, MatchesBitByBitReferenceOnRandomBlocks) {
    std::mt19937 random(20240531U);
    for (const int encoding : {kEncodingUU, kEncodingXX, kEncodingMIME}) {
        Use(encoding, kEolLf);
        uint32_t partSum = 0;
        uint32_t partSize = 0;
        uint32_t inputSum = 0;
        app.encode.PartSum = app.encode.PartSize = app.encode.InputSum = 0;
        for (int round = 0; round < 3000; ++round) {
            std::vector<unsigned char> input(random() % (kBlockSize + 1));
            for (unsigned char& b : input) {
                b = static_cast<unsigned char>(random());
            }
            const std::string expected = ReferenceLine(encoding, input);
            ASSERT_EQ(Encode(input), expected + "\n") << "encoding " << encoding;

            std::string counted = expected;
            if (encoding == kEncodingMIME) {
                counted.erase(counted.find_last_not_of('=') + 1);  // "=" is data in UU
            }
            partSum = ReferenceSum(partSum, counted + "\n");
            partSize += static_cast<uint32_t>(expected.size()) + 1U;
            inputSum = ReferenceSum(
                inputSum,
                std::string_view(reinterpret_cast<const char*>(input.data()), input.size()));
            ASSERT_EQ(app.encode.PartSum, partSum);
            ASSERT_EQ(app.encode.PartSize, partSize);
            ASSERT_EQ(app.encode.InputSum, inputSum);

            // Without checksum lines the sums are not kept, and the text must not change.
            app.config.encodechecksum = 0;
            ASSERT_EQ(Encode(input), expected + "\n") << "encoding " << encoding;
            app.config.encodechecksum = 1;
            app.encode.PartSum = partSum;
            app.encode.PartSize = partSize;
            app.encode.InputSum = inputSum;
        }
    }
}

TEST(Alphabets, HoldTheDescribedCharacters) {
    for (int v = 1; v < 64; ++v) {
        EXPECT_EQ(UUAlphabet[static_cast<std::size_t>(v)], static_cast<char>(v + 0x20));
    }
    EXPECT_EQ(UUAlphabet[0], '`');
    EXPECT_EQ(UUAlphabet[64], ' ');

    std::string binhex;
    const std::vector<std::pair<int, int>> ranges = {{0x21, 0x2D}, {0x30, 0x36}, {0x38, 0x39},
                                                     {0x40, 0x4E}, {0x50, 0x56}, {0x58, 0x5B},
                                                     {0x60, 0x66}, {0x68, 0x6D}, {0x70, 0x72}};
    for (const auto& [first, last] : ranges) {
        for (int c = first; c <= last; ++c) {
            binhex += static_cast<char>(c);
        }
    }
    EXPECT_EQ(BinHexAlphabet, binhex);
}

TEST(Alphabets, MethodSelectsIndexAndAlphabet) {
    struct MethodCase {
        int method;
        int index;
        std::string_view alphabet;
    };
    const std::vector<MethodCase> cases = {
        {kMethodUU, kEncodingUU, UUAlphabet},
        {kMethodXX, kEncodingXX, XXAlphabet},
        {kMethodMIME, kEncodingMIME, Base64Alphabet},
        {kMethodBinHex, kEncodingBinHex, BinHexAlphabet},
        {181, kEncodingAuto, XXAlphabet},  // unchanged: the one chosen before
        {0, kEncodingAuto, XXAlphabet},
    };
    for (const MethodCase& c : cases) {
        std::string_view alphabet = XXAlphabet;
        SelectAlphabet(alphabet, c.method);
        EXPECT_EQ(alphabet, c.alphabet) << c.method;
        EXPECT_EQ(EncodingIndexForMethod(c.method), c.index) << c.method;
    }
}

}  // namespace
}  // namespace mandrel
