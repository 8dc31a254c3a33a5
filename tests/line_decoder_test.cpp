#include "decode/line_decoder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "core/app_state.h"
#include "core/config.h"
#include "decode/decode_job.h"
#include "encode/alphabets.h"
#include "encode/line_encoder.h"
#include "encode/sum_r.h"
#include "platform/scripted_ui.h"
#include "support/test_files.h"

namespace mandrel {
namespace {

constexpr unsigned char kGuardByte = 0xA5;

std::string Hex(std::string_view bytes) {
    static constexpr char kDigits[] = "0123456789abcdef";
    std::string text;
    for (const char c : bytes) {
        const auto b = static_cast<unsigned char>(c);
        text += kDigits[b >> 4];
        text += kDigits[b & 0x0FU];
    }
    return text;
}

std::string_view AlphabetFor(int encoding) {
    switch (encoding) {
        case kEncodingUU:
            return UUAlphabet;
        case kEncodingXX:
            return XXAlphabet;
        default:
            return Base64Alphabet;
    }
}

class LineDecoderTest : public ::testing::Test {
protected:
    void Use(int encoding) {
        app.job.EncodingIndex = encoding;
        SelectDecodeTable(app, encoding);
    }

    // Decodes one line held the way the driver holds it; the bytes after the result and past
    // the room the line may use must keep their guard value.
    int Decode(std::string_view text, int tolerant = 0) {
        LineBuffer line{};
        EXPECT_LE(text.size(), static_cast<std::size_t>(kLineBufferSize - 1));
        std::memcpy(line.data(), text.data(), std::min<std::size_t>(text.size(), 254));
        out.fill(kGuardByte);
        app.decode.DecodeErrorText.clear();
        const int n = DecodeLine(app, line.data(), out.data(), part, tolerant);
        bytes = n > 0 ? std::string(reinterpret_cast<const char*>(out.data()),
                                    static_cast<std::size_t>(n))
                      : std::string();
        return n;
    }

    // Index of the last byte of out that is not the guard value, plus one.
    std::size_t Touched() const {
        std::size_t end = out.size();
        while (end > 0 && out[end - 1] == kGuardByte) {
            --end;
        }
        return end;
    }

    ScriptedUi ui;
    AppState app{ui};
    PartRecord part;
    std::array<unsigned char, 512> out{};
    std::string bytes;
};

// --- Tables ---

TEST(DecodeTableTest, EveryTableFollowsItsAlphabet) {
    for (const int encoding : {kEncodingXX, kEncodingMIME, kEncodingBinHex}) {
        const std::string_view alphabet = encoding == kEncodingXX     ? XXAlphabet
                                          : encoding == kEncodingMIME ? Base64Alphabet
                                                                      : BinHexAlphabet;
        const DecodeTable& table = DecodeTableFor(encoding);
        int valid = 0;
        for (int byte = 0; byte < 256; ++byte) {
            const std::size_t at = alphabet.find(static_cast<char>(byte));
            const int expected = at == std::string_view::npos ? -1 : static_cast<int>(at);
            EXPECT_EQ(table[static_cast<std::size_t>(byte)], expected)
                << "encoding " << encoding << " byte " << byte;
            valid += expected >= 0 ? 1 : 0;
        }
        EXPECT_EQ(valid, 64);
    }
}

TEST(DecodeTableTest, UUTakesBlankAndBackquoteAsZero) {
    const DecodeTable& table = DecodeTableFor(kEncodingUU);
    for (int byte = 0; byte < 256; ++byte) {
        int expected = -1;
        if (byte == 0x20 || byte == 0x60) {
            expected = 0;
        } else if (byte >= 0x21 && byte <= 0x5F) {
            expected = byte - 0x20;
        }
        EXPECT_EQ(table[static_cast<std::size_t>(byte)], expected) << "byte " << byte;
    }
}

TEST(DecodeTableTest, AutoHasNoCurrentTable) {
    ScriptedUi ui;
    AppState app(ui);
    SelectDecodeTable(app, kEncodingXX);
    EXPECT_EQ(app.decode.currentTable, &DecodeTableFor(kEncodingXX));
    SelectDecodeTable(app, kEncodingAuto);
    EXPECT_EQ(app.decode.currentTable, nullptr);
    SelectDecodeTable(app, kEncodingBinHex);
    EXPECT_EQ(app.decode.currentTable, &DecodeTableFor(kEncodingBinHex));
    SelectDecodeTable(app, 9);
    EXPECT_EQ(app.decode.currentTable, nullptr);
    const DecodeTable& none = DecodeTableFor(9);
    EXPECT_TRUE(std::all_of(none.begin(), none.end(), [](int32_t v) { return v == -1; }));
}

TEST(DecodeStateNameTest, TwelveNamesAndNothingElse) {
    const std::vector<std::string_view> names = {
        "LOOKFORHEADERTYPE",   "PARSEBEGINLINE",       "PREPAREHEADER",
        "DECODELINES",         "PREPARETRAILER",       "CLEANFINISH",
        "BADFINISH",           "FINDSEPARATOR",        "FINDSTARTOFDATA",
        "LOOKFORPARTCHECKSUM", "LOOKFORTOTALCHECKSUM", "CRITICALERROR"};
    for (int state = 0; state < 12; ++state) {
        EXPECT_EQ(DecodeStateName(state), names[static_cast<std::size_t>(state)]);
    }
    EXPECT_EQ(DecodeStateName(CRITICALERROR), "CRITICALERROR");
    EXPECT_EQ(DecodeStateName(-1), "");
    EXPECT_EQ(DecodeStateName(12), "");
    EXPECT_EQ(DecodeStateName(1 << 30), "");
}

// --- Single lines, exact results ---

struct LineCase {
    const char* name;
    int encoding;
    std::string line;
    int tolerant;
    int result;
    const char* hex;     // the bytes returned
    const char* reason;  // DecodeErrorText after the call
};

const std::string kFortyTwo = "ABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789abcdef";  // 42 bytes
// The UU text of those 42 bytes (56 characters) behind the length character M (45).
std::string UUFiftySixAfterM() {
    std::string text;
    for (std::size_t i = 0; i < kFortyTwo.size(); i += 3) {
        const auto b0 = static_cast<unsigned char>(kFortyTwo[i]);
        const auto b1 = static_cast<unsigned char>(kFortyTwo[i + 1]);
        const auto b2 = static_cast<unsigned char>(kFortyTwo[i + 2]);
        text += UUAlphabet[b0 >> 2];
        text += UUAlphabet[((b0 & 3U) << 4) | (b1 >> 4)];
        text += UUAlphabet[((b1 & 15U) << 2) | (b2 >> 6)];
        text += UUAlphabet[b2 & 63U];
    }
    return "M" + text;
}

const char* const kLengthReason = "Indicated # of chars per line is less than 0.";

class LineCaseTest : public LineDecoderTest, public ::testing::WithParamInterface<LineCase> {};

TEST_P(LineCaseTest, DecodesExactly) {
    const LineCase& c = GetParam();
    Use(c.encoding);
    EXPECT_EQ(Decode(c.line, c.tolerant), c.result);
    EXPECT_EQ(Hex(bytes), c.hex);
    EXPECT_EQ(app.decode.DecodeErrorText, c.reason);
}

const std::string kSixtyOne = "M" + std::string(61, 'A');
const std::string kFortyFiveHex = Hex(kFortyTwo) + "000000";

std::string Repeat(std::string_view text, int times) {
    std::string result;
    for (int i = 0; i < times; ++i) {
        result += text;
    }
    return result;
}
// Fifteen groups AAAA (value 33 each); the lone 61st character yields nothing.
const std::string kSixtyOneTolerantHex = Repeat("861861", 15);

INSTANTIATE_TEST_SUITE_P(
    Lines, LineCaseTest,
    ::testing::Values(
        // A full last group, and the same group cut to the characters it needs.
        LineCase{"UUFullLastGroup", kEncodingUU, "!00``\r\n", 0, 1, "41", ""},
        LineCase{"UUShortLastGroup", kEncodingUU, "!00\r\n", 0, 1, "41", ""},
        LineCase{"UUShortLastGroupLf", kEncodingUU, "!00\n", 0, 1, "41", ""},
        LineCase{"UUBlanksForZero", kEncodingUU, "!00  \r\n", 0, 1, "41", ""},
        LineCase{"UUAllBlanks", kEncodingUU, "#    \r\n", 0, 3, "000000", ""},
        LineCase{"UUOneBlankIsNoBytes", kEncodingUU, " \r\n", 0, 0, "", ""},
        LineCase{"UUBackquoteIsNoBytes", kEncodingUU, "`\n", 0, 0, "", ""},
        LineCase{"UUTwoOfAGroup", kEncodingUU, "\"00``\r\n", 0, 2, "4100", ""},
        // The 61st character opens a group whose partner is the line end.
        LineCase{"UUSixtyOneCrLf", kEncodingUU, kSixtyOne + "\r\n", 0, -1, "",
                 "Invalid encoded data byte (0xd)."},
        LineCase{"UUSixtyOneLf", kEncodingUU, kSixtyOne + "\n", 0, -1, "",
                 "Invalid encoded data byte (0xa)."},
        LineCase{"UUSixtyOneTolerant", kEncodingUU, kSixtyOne + "\r\n", 1, 45,
                 kSixtyOneTolerantHex.c_str(), ""},
        LineCase{"UUFiftySixStrict", kEncodingUU, UUFiftySixAfterM() + "\r\n", 0, -1, "",
                 "# of indicated chars in line (45) does not match actual data present (42)."},
        LineCase{"UUFiftySixTolerantPadded", kEncodingUU, UUFiftySixAfterM() + "\r\n", 1, 45,
                 kFortyFiveHex.c_str(), ""},
        LineCase{"UUTooManyStrict", kEncodingUU, "!00``00``\r\n", 0, -1, "",
                 "# of indicated chars in line (1) does not match actual data present (6)."},
        LineCase{"UUTooManyTolerant", kEncodingUU, "!00``00``\r\n", 1, 1, "41", ""},
        LineCase{"UUTwoExtraBytesAreSlack", kEncodingUU, "\"00``00\r\n", 0, 2, "4100", ""},
        LineCase{"UULengthTilde", kEncodingUU, "~00``\r\n", 0, -1, "", kLengthReason},
        LineCase{"UULengthTildeTolerant", kEncodingUU, "~00``\r\n", 1, 0, "", ""},
        LineCase{"UULengthTildeAloneTolerant", kEncodingUU, "~\r\n", 1, 0, "", ""},
        LineCase{"UUOnlyLineEnd", kEncodingUU, "\r\n", 0, -1, "", kLengthReason},
        LineCase{"UUOnlyLineEndTolerant", kEncodingUU, "\r\n", 1, 0, "", ""},
        LineCase{"UUEmptyText", kEncodingUU, "", 0, -1, "", kLengthReason},
        LineCase{"UUEmptyTextTolerant", kEncodingUU, "", 1, 0, "", ""},
        LineCase{"UUE9", kEncodingUU, "!0\xE9``\r\n", 0, -1, "",
                 "Invalid encoded data byte (0xe9)."},
        // Tolerant: the invalid character takes part with all bits set.
        LineCase{"UUE9Tolerant", kEncodingUU, "!0\xE9``\r\n", 1, 1, "ff", ""},
        LineCase{"UUE9AsLength", kEncodingUU,
                 "\xE9"
                 "00\r\n",
                 0, -1, "", kLengthReason},
        // A lone character: strict refuses the line end; tolerant pads it when short.
        LineCase{"UULoneCharacter", kEncodingUU, "!0\r\n", 0, -1, "",
                 "Invalid encoded data byte (0xd)."},
        LineCase{"UULoneCharacterTolerantPadded", kEncodingUU, "!0\r\n", 1, 1, "40", ""},
        LineCase{"UULoneCharacterTolerantNoPad", kEncodingUU, "\"00``0\r\n", 1, 2, "4100", ""},
        // The last line of an input without a line end.
        LineCase{"UUNoLineEnd", kEncodingUU, "!00", 0, 1, "41", ""},
        LineCase{"UUNoLineEndShort", kEncodingUU, "#00", 0, 1, "41", ""},
        LineCase{"UUNoLineEndLone", kEncodingUU, "!0", 0, -1, "",
                 "Invalid encoded data byte (0x0)."},
        LineCase{"UUNoLineEndLoneTolerant", kEncodingUU, "!0", 1, 0, "", ""},
        LineCase{"XXOneByte", kEncodingXX, "-EE++\r\n", 0, 1, "41", ""},
        LineCase{"XXOneByteShort", kEncodingXX, "-EE\n", 0, 1, "41", ""},
        LineCase{"XXBlankIsInvalid", kEncodingXX, "-EE  \r\n", 0, -1, "",
                 "Invalid encoded data byte (0x20)."},
        LineCase{"XXBackquoteLength", kEncodingXX, "`\r\n", 0, -1, "", kLengthReason},
        LineCase{"XXE9", kEncodingXX, "-E\xE9\r\n", 0, -1, "", "Invalid encoded data byte (0xe9)."},
        LineCase{"XXOnlyLineEnd", kEncodingXX, "\n", 0, -1, "", kLengthReason},
        LineCase{"XXPaddedWithPlus", kEncodingXX, "0E\r\n", 1, 2, "4000", ""},
        LineCase{"MimeTwoBytes", kEncodingMIME, "TWE=\r\n", 0, 2, "4d61", ""},
        LineCase{"MimeBlanksAndTabs", kEncodingMIME, " T W\tE = \r\n", 0, 2, "4d61", ""},
        LineCase{"MimeThreeBytes", kEncodingMIME, "TWFu\n", 0, 3, "4d616e", ""},
        LineCase{"MimeOneByte", kEncodingMIME, "TQ==\r\n", 0, 1, "4d", ""},
        LineCase{"MimeNoLineEnd", kEncodingMIME, "TWFu", 0, 3, "4d616e", ""},
        LineCase{"MimeOnlyLineEnd", kEncodingMIME, "\r\n", 0, 0, "", ""},
        LineCase{"MimeEqualsFirst", kEncodingMIME, "=TWE\r\n", 0, -1, "",
                 "Invalid encoded data byte (0x3d)."},
        LineCase{"MimeEqualsFirstTolerant", kEncodingMIME, "=TWE\r\n", 1, 2, "4d61", ""},
        LineCase{"MimeE9", kEncodingMIME,
                 "TW\xE9"
                 "Fu\r\n",
                 0, -1, "", "Invalid encoded data byte (0xe9)."},
        LineCase{"MimeE9Tolerant", kEncodingMIME,
                 "TW\xE9"
                 "Fu\r\n",
                 1, 3, "4d616e", ""},
        LineCase{"BinHexIsNotALine", kEncodingBinHex, "!!!!\r\n", 0, -1, "", ""},
        LineCase{"AutoIsNotALine", kEncodingAuto, "!00\r\n", 1, -1, "", ""}),
    [](const ::testing::TestParamInfo<LineCase>& info) { return info.param.name; });

// --- Part and output figures ---

TEST_F(LineDecoderTest, SoundLineCountsLengthDataAndOneLineEnd) {
    Use(kEncodingUU);
    part.calculatedChecksum = 0x1234;
    part.calculatedSize = 10;
    app.decode.totals.runningChecksum = 0x0F0F;
    ASSERT_EQ(Decode("!00``\r\n"), 1);
    EXPECT_EQ(part.calculatedChecksum, SumRAddText(0x1234, "!00``\n"));
    EXPECT_EQ(part.calculatedSize, 10U + 6U);
    EXPECT_EQ(app.decode.totals.runningChecksum, SumRAdd(0x0F0F, 0x41));
}

TEST_F(LineDecoderTest, PaddingIsSummedAndCountedAsIfOnTheLine) {
    Use(kEncodingUU);
    const std::string line = UUFiftySixAfterM();
    ASSERT_EQ(Decode(line + "\r\n", 1), 45);
    EXPECT_EQ(part.calculatedChecksum, SumRAddText(0, line + "````\n"));
    EXPECT_EQ(part.calculatedSize, 62U);
    EXPECT_EQ(app.decode.totals.runningChecksum, SumRAddText(0, kFortyTwo + std::string(3, '\0')));
}

TEST_F(LineDecoderTest, BytesPastTheLengthAreNeitherReturnedNorSummed) {
    Use(kEncodingUU);
    // One byte announced, a full group of three on the line.
    ASSERT_EQ(Decode("!86)C\r\n"), 1);
    EXPECT_EQ(Hex(bytes), "61");
    EXPECT_EQ(app.decode.totals.runningChecksum, SumRAdd(0, 0x61));
    EXPECT_EQ(Touched(), 1U);
}

TEST_F(LineDecoderTest, LineWithoutLineEndAddsNoSize) {
    Use(kEncodingUU);
    ASSERT_EQ(Decode("!00"), 1);
    EXPECT_EQ(part.calculatedSize, 0U);
    EXPECT_EQ(part.calculatedChecksum, SumRAddText(0, "!00"));
}

TEST_F(LineDecoderTest, RefusedLineLeavesFiguresAndItsRetryCountsOnce) {
    Use(kEncodingUU);
    part.calculatedChecksum = 77;
    part.calculatedSize = 5;
    ASSERT_EQ(Decode("!0\xE9``\r\n"), -1);
    EXPECT_EQ(part.calculatedChecksum, 77U);
    EXPECT_EQ(part.calculatedSize, 5U);
    EXPECT_EQ(app.decode.totals.runningChecksum, 0U);
    ASSERT_EQ(Decode("!0\xE9``\r\n", 1), 1);
    EXPECT_EQ(part.calculatedChecksum, SumRAddText(77, "!0\xE9``\n"));
    EXPECT_EQ(part.calculatedSize, 11U);
    EXPECT_EQ(app.decode.totals.runningChecksum, SumRAdd(0, 0xFF));
}

TEST_F(LineDecoderTest, MimeCountsCharactersAndPadsButSumsOnlyCharacters) {
    Use(kEncodingMIME);
    app.decode.totals.runningChecksum = 99;
    ASSERT_EQ(Decode("TWE=\r\n"), 2);
    EXPECT_EQ(part.calculatedChecksum, SumRAddText(0, "TWE\n"));
    EXPECT_EQ(part.calculatedSize, 5U);
    EXPECT_EQ(app.decode.base64Position, 4U);
    EXPECT_EQ(app.decode.totals.runningChecksum, 99U);  // MIME bytes are checked from the file
}

TEST_F(LineDecoderTest, MimeBlanksCountInThePositionOnly) {
    Use(kEncodingMIME);
    ASSERT_EQ(Decode(" T W\tE = \r\n"), 2);
    EXPECT_EQ(app.decode.base64Position, 9U);
    EXPECT_EQ(part.calculatedChecksum, SumRAddText(0, "TWE\n"));
    EXPECT_EQ(part.calculatedSize, 5U);
}

TEST_F(LineDecoderTest, MimeGroupSplitOverLinesDecodesAsOneLine) {
    Use(kEncodingMIME);
    const std::string text = "TWFuIGlzIGRpc3Rpbmd1aXNoZWQ=";  // "Man is distinguished"
    for (std::size_t cut = 0; cut <= text.size(); ++cut) {
        app.decode.base64Position = 0;
        std::string decoded;
        ASSERT_GE(Decode(text.substr(0, cut) + "\r\n"), 0) << cut;
        decoded += bytes;
        ASSERT_GE(Decode(text.substr(cut) + "\r\n"), 0) << cut;
        decoded += bytes;
        EXPECT_EQ(decoded, "Man is distinguished") << "cut at " << cut;
        EXPECT_EQ(app.decode.base64Position, text.size());
    }
}

TEST_F(LineDecoderTest, MimeRefusedLineLeavesTheGroupForTheRetry) {
    Use(kEncodingMIME);
    ASSERT_EQ(Decode("TW\r\n"), 1);
    ASSERT_EQ(Decode("F\xE9u\r\n"), -1);
    EXPECT_EQ(app.decode.base64Position, 2U);
    ASSERT_EQ(Decode("F\xE9u\r\n", 1), 2);
    EXPECT_EQ(Hex(bytes), "616e");
    EXPECT_EQ(app.decode.base64Position, 5U);
}

TEST_F(LineDecoderTest, MimePositionZeroStartsAFreshGroup) {
    Use(kEncodingMIME);
    ASSERT_EQ(Decode("TWF\r\n"), 2);
    EXPECT_EQ(app.decode.base64.phase, 3);
    app.decode.base64Position = 0;  // a new body
    ASSERT_EQ(Decode("TWFu\r\n"), 3);
    EXPECT_EQ(bytes, "Man");
}

// --- SumLineToEnd ---

struct SumCase {
    const char* text;
    uint32_t start;
    int consumed;
    const char* summed;  // what the accumulator must have taken
};

class SumLineToEndTest : public ::testing::TestWithParam<SumCase> {};

TEST_P(SumLineToEndTest, AddsTextAndOneLf) {
    const SumCase& c = GetParam();
    uint32_t accumulator = c.start;
    EXPECT_EQ(SumLineToEnd(c.text, accumulator), c.consumed);
    EXPECT_EQ(accumulator, SumRAddText(c.start, c.summed));
}

INSTANTIATE_TEST_SUITE_P(
    Texts, SumLineToEndTest,
    ::testing::Values(SumCase{"begin 644 a.txt\r\n", 0, 16, "begin 644 a.txt\n"},
                      SumCase{"begin 644 a.txt\n", 0, 16, "begin 644 a.txt\n"},
                      SumCase{"end\r", 4321, 4, "end\n"}, SumCase{"end", 17, 3, "end"},
                      SumCase{"", 17, 0, ""}, SumCase{"\r\n", 0, 1, "\n"},
                      SumCase{"ab\rcd\n", 0, 3, "ab\n"},
                      SumCase{"\xE9\xFF\n", 0xFFFF, 3, "\xE9\xFF\n"}));

// --- Round trips through the encoder ---

struct RoundTrip {
    int encoding;
    int eol;           // encodecrlf, or 0 for lines without a line end
    std::size_t size;  // bytes of input
};

class LineRoundTripTest : public LineDecoderTest,
                          public ::testing::WithParamInterface<RoundTrip> {};

TEST_P(LineRoundTripTest, EncoderLinesDecodeBackWithTheEncodersFigures) {
    const RoundTrip& c = GetParam();
    app.job.EncodingIndex = c.encoding;
    app.encode.CurrentAlphabet = AlphabetFor(c.encoding);
    app.config.encodecrlf = c.eol == 0 ? kEolLf : c.eol;
    app.config.encodechecksum = 1;
    Use(c.encoding);
    app.decode.base64Position = 0;

    const std::string input = test::RandomBytes(c.size * 31 + c.encoding, c.size);
    std::string decoded;
    for (std::size_t i = 0; i < input.size(); i += kBlockSize) {
        const std::size_t n = std::min<std::size_t>(kBlockSize, input.size() - i);
        char line[kMaxLineLength + 8];
        const auto* block = reinterpret_cast<const unsigned char*>(input.data() + i);
        const int written = EncodeLine(app, std::span(block, n), line);
        ASSERT_GT(written, 0);
        std::string text(line, static_cast<std::size_t>(written));
        if (c.eol == 0) {
            text.erase(text.find('\n'));
        }
        const int got = Decode(text);
        ASSERT_EQ(got, static_cast<int>(n)) << text << " " << app.decode.DecodeErrorText;
        decoded += bytes;
        EXPECT_LE(Touched(), n);
    }
    EXPECT_EQ(Hex(decoded), Hex(input));
    if (c.eol != 0) {
        EXPECT_EQ(part.calculatedChecksum, app.encode.PartSum);
        EXPECT_EQ(part.calculatedSize, app.encode.PartSize);
    }
    if (c.encoding != kEncodingMIME) {
        EXPECT_EQ(app.decode.totals.runningChecksum, app.encode.InputSum);
    }
}

std::vector<RoundTrip> RoundTrips() {
    std::vector<RoundTrip> cases;
    for (const int encoding : {kEncodingUU, kEncodingXX, kEncodingMIME}) {
        for (const int eol : {static_cast<int>(kEolCrLf), static_cast<int>(kEolLf), 0}) {
            for (const std::size_t size : {0, 1, 2, 3, 44, 45, 46, 89, 90, 1000, 4097}) {
                cases.push_back({encoding, eol, size});
            }
        }
    }
    return cases;
}

INSTANTIATE_TEST_SUITE_P(Encodings, LineRoundTripTest, ::testing::ValuesIn(RoundTrips()),
                         [](const ::testing::TestParamInfo<RoundTrip>& info) {
                             const RoundTrip& c = info.param;
                             const char* eol = c.eol == kEolCrLf ? "CrLf"
                                               : c.eol == kEolLf ? "Lf"
                                                                 : "NoEnd";
                             return std::string(
                                        EncodingNames[static_cast<std::size_t>(c.encoding)]) +
                                    eol + std::to_string(c.size);
                         });

// --- Text written by the tools people already have ---

struct PeerCase {
    const char* name;
    int encoding;
    const char* command;  // %s: the input file, then the output file
};

class PeerLineTest : public LineDecoderTest, public ::testing::WithParamInterface<PeerCase> {};

TEST_P(PeerLineTest, DecodesThePeersLines) {
    const PeerCase& c = GetParam();
    if (std::system("command -v uuencode >/dev/null 2>&1 && command -v base64 >/dev/null 2>&1") !=
        0) {
        GTEST_SKIP() << "sharutils or coreutils missing";
    }
    test::TempDir dir;
    const std::string data = test::RandomBytes(99, 10000) + std::string(200, '\0');
    test::WriteFile(dir.File("in.bin"), data);
    char command[1024];
    std::snprintf(command, sizeof command, c.command, dir.File("in.bin").c_str(),
                  dir.File("out.txt").c_str());
    ASSERT_EQ(std::system(command), 0) << command;
    const std::string text = test::ReadFile(dir.File("out.txt"));

    Use(c.encoding);
    app.decode.base64Position = 0;
    std::string decoded;
    std::size_t start = 0;
    if (c.encoding == kEncodingUU) {
        start = text.find('\n') + 1;  // past the begin line
    }
    while (start < text.size()) {
        const std::size_t end = text.find('\n', start) + 1;
        const std::string line = text.substr(start, end - start);
        start = end;
        if (line == "end\n") {
            break;
        }
        ASSERT_GE(Decode(line), 0) << line << app.decode.DecodeErrorText;
        decoded += bytes;
    }
    EXPECT_EQ(Hex(decoded), Hex(data));
}

INSTANTIATE_TEST_SUITE_P(
    Peers, PeerLineTest,
    ::testing::Values(PeerCase{"Uuencode", kEncodingUU, "uuencode '%s' in.bin > '%s'"},
                      PeerCase{"Base64", kEncodingMIME, "base64 '%s' > '%s'"}),
    [](const ::testing::TestParamInfo<PeerCase>& info) { return info.param.name; });

// --- Hostile lines ---

struct HostileKind {
    const char* name;
    int encoding;
    int tolerant;
};

class HostileLineTest : public LineDecoderTest,
                        public ::testing::WithParamInterface<HostileKind> {};

// Lines of 254 bytes never make the decoder write past three quarters of the line and three
// bytes, whatever they hold; a short UU or XX line padded in tolerant mode up to its length
// character may take up to 63.
TEST_P(HostileLineTest, NeverWritesPastItsRoom) {
    const HostileKind& k = GetParam();
    Use(k.encoding);
    std::mt19937 random(static_cast<unsigned>(k.encoding * 10 + k.tolerant));
    std::vector<std::string> lines;
    lines.emplace_back(254, '\xFF');
    std::string withNul(254, 'M');
    withNul[100] = '\0';
    lines.push_back(withNul);
    for (const char fill : {'`', 'A', '+', '=', ' ', 'M', '\r'}) {
        lines.emplace_back(254, fill);
        lines.push_back("M" + std::string(253, fill));
        lines.push_back("_" + std::string(252, fill) + "\n");
    }
    for (int i = 0; i < 3000; ++i) {
        // Random bytes, some drawn from the alphabet only so that lines get far, some with NULs.
        const std::size_t size = i < 1000 ? 254 : 1 + random() % 254;
        std::string line(size, '\0');
        const std::string_view alphabet = AlphabetFor(k.encoding);
        for (char& c : line) {
            const unsigned r = random();
            c = (i % 3 == 0) ? static_cast<char>(r & 0xFFU) : alphabet[r % 64];
        }
        if (i % 5 == 0) {
            line.back() = '\n';
        }
        if (i % 7 == 0) {
            line[random() % size] = '\0';
        }
        lines.push_back(line);
    }
    for (const std::string& text : lines) {
        app.decode.base64Position = random() % 2;
        app.decode.base64 = {static_cast<int>(random() % 4),
                             static_cast<unsigned>(random() & 0xFFU)};
        LineBuffer line{};
        std::memcpy(line.data(), text.data(), text.size());
        const std::size_t length = std::strlen(line.data());
        out.fill(kGuardByte);
        const int n = DecodeLine(app, line.data(), out.data(), part, k.tolerant);
        // Base64 yields three bytes for every four characters, one more group's worth at
        // most for the group carried in; UU and XX never more than the 63 of a length.
        const std::size_t room = k.encoding == kEncodingMIME ? 3 * length / 4 + 3 : 63;
        ASSERT_LE(Touched(), room) << Hex(text);
        ASSERT_LE(n, static_cast<int>(room));
        ASSERT_GE(n, k.tolerant != 0 ? 0 : -1);
        if (text.size() == 254) {
            ASSERT_LE(Touched(), 3U * 254U / 4U + 3U);
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Kinds, HostileLineTest,
                         ::testing::Values(HostileKind{"UUStrict", kEncodingUU, 0},
                                           HostileKind{"UUTolerant", kEncodingUU, 1},
                                           HostileKind{"XXStrict", kEncodingXX, 0},
                                           HostileKind{"XXTolerant", kEncodingXX, 1},
                                           HostileKind{"MimeStrict", kEncodingMIME, 0},
                                           HostileKind{"MimeTolerant", kEncodingMIME, 1}),
                         [](const ::testing::TestParamInfo<HostileKind>& info) {
                             return info.param.name;
                         });

// The quick way must agree with the exact way on every line it takes: the same bytes, the same
// size, and a line whose whole text is what the part's sum takes (the caller sums it later with
// SumLineToEnd). Every line it leaves must be one the exact way refuses or handles otherwise.
// Lines: sound ones of every length with full and short last groups, then each changed at one
// place (any byte, a line end, a zero, a cut, an extra character) or with a wrong length.
class QuickLineTest : public LineDecoderTest, public ::testing::WithParamInterface<int> {};

TEST_P(QuickLineTest, AgreesWithTheExactWay) {
    const int encoding = GetParam();
    Use(encoding);
    const std::string_view alphabet = AlphabetFor(encoding);
    std::mt19937 random(static_cast<unsigned>(encoding));
    std::vector<std::string> lines;
    for (int length = 0; length <= 63; ++length) {
        for (int extra = 0; extra < 3; ++extra) {
            // The last group cut to the characters its bytes need, or one or two more.
            const int characters = 4 * (length / 3) + (length % 3 == 0 ? 0 : length % 3 + 1) +
                                   std::min(extra, length % 3 == 0 ? 0 : 3 - length % 3);
            std::string line(1, alphabet[static_cast<std::size_t>(length)]);
            for (int i = 0; i < characters; ++i) {
                line += alphabet[random() % 64];
            }
            lines.push_back(line + (extra == 1 ? "\r\n" : "\n"));
        }
    }
    const std::size_t sound = lines.size();
    static constexpr std::string_view kEdges{"\r\n\0 `\x1f\x61\x7f\x80\xa0\xe0*,./:@[{", 19};
    for (std::size_t i = 0; i < sound; ++i) {
        for (int change = 0; change < 24; ++change) {
            std::string line = lines[i];
            const std::size_t at = random() % (line.size() - 1);
            switch (change % 6) {
                case 0:
                    line[at] = static_cast<char>(random() & 0xFFU);
                    break;
                case 1:
                    // Line ends, a zero and the neighbours of both alphabets' ranges.
                    line[at] = kEdges[random() % kEdges.size()];
                    break;
                case 2:
                    line.erase(at, 1);
                    break;
                case 3:
                    line.insert(at + 1, 1, alphabet[random() % 64]);
                    break;
                case 4:
                    line[0] = alphabet[random() % 64];
                    break;
                default:
                    line.resize(at + 1);  // no line end at all
                    break;
            }
            lines.push_back(line);
        }
    }

    int quickLines = 0;
    for (const std::string& text : lines) {
        LineBuffer line{};
        std::memcpy(line.data(), text.data(), std::min<std::size_t>(text.size(), 254));
        PartRecord quickPart;
        std::array<unsigned char, 512> quickOut{};
        const int quick = DecodeLineQuick(app, line.data(), quickOut.data(), quickPart);

        part = PartRecord{};
        out.fill(kGuardByte);
        const int exact = DecodeLine(app, line.data(), out.data(), part, 0);
        if (quick == kTakeExactWay) {
            continue;
        }
        ++quickLines;
        ASSERT_EQ(quick, exact) << Hex(text);
        ASSERT_EQ(std::memcmp(quickOut.data(), out.data(), static_cast<std::size_t>(quick)), 0)
            << Hex(text);
        ASSERT_EQ(quickPart.calculatedSize, part.calculatedSize) << Hex(text);
        uint32_t sum = 0;
        SumLineToEnd(line.data(), sum);
        ASSERT_EQ(sum, part.calculatedChecksum) << Hex(text);
        ASSERT_EQ(quickPart.calculatedChecksum, 0U);
    }
    // Every sound line goes the quick way, and the changed ones that stay sound with it.
    EXPECT_GE(quickLines, static_cast<int>(sound));
}

INSTANTIATE_TEST_SUITE_P(Encodings, QuickLineTest, ::testing::Values(kEncodingUU, kEncodingXX),
                         [](const ::testing::TestParamInfo<int>& info) {
                             return info.param == kEncodingUU ? "UU" : "XX";
                         });

TEST_F(LineDecoderTest, QuickWayLeavesMimeAndStopsAtNothingElse) {
    Use(kEncodingMIME);
    LineBuffer line{};
    std::memcpy(line.data(), "QUJD\n", 5);
    EXPECT_EQ(DecodeLineQuick(app, line.data(), out.data(), part), kTakeExactWay);
    Use(kEncodingUU);
    std::memcpy(line.data(), "#04)#\n", 6);
    EXPECT_EQ(DecodeLineQuick(app, line.data(), out.data(), part), 3);
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(out.data()), 3), "ABC");
    EXPECT_TRUE(app.decode.totals.runningChecksumPartial);
}

}  // namespace
}  // namespace mandrel
