// The kernels of the codec layer, each held against a reference written from the formats'
// descriptions: the line encoder and decoders (exact results and reasons, the quick way against
// the exact way, round trips, hostile lines), the "sum -r" step and the BinHex CRC.
#include <gtest/gtest.h>

#include <array>
#include <cstring>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "codec/alphabets.h"
#include "codec/binhex_crc.h"
#include "codec/line_decode.h"
#include "codec/line_encode.h"
#include "codec/quoted_printable.h"
#include "codec/sum_r.h"
#include "decode/line_decoder.h"
#include "platform/scripted_ui.h"
#include "shell/app_state.h"
#include "support/test_files.h"

namespace mandrel {
namespace {

using test::Bytes;
using test::Hex;

constexpr unsigned char kGuardByte = 0xA5;

// Rotates right and adds, written from the definition of the BSD sum.
uint32_t ReferenceSum(uint32_t sum, std::string_view bytes) {
    for (const char c : bytes) {
        sum = ((sum >> 1) | ((sum & 1U) << 15)) + static_cast<unsigned char>(c);
        sum %= 65536U;
    }
    return sum;
}

// An encoder that works bit by bit, the way the formats are described, with nothing shared
// with the table-driven one but the alphabets.
std::string ReferenceLine(int encoding, std::string_view input) {
    const std::string_view a = AlphabetFor(encoding);
    std::vector<int> bits;
    for (const char c : input) {
        for (int i = 7; i >= 0; --i) {
            bits.push_back((static_cast<unsigned char>(c) >> i) & 1);
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
    while (encoding == kEncodingMIME && line.size() % 4 != 0) {
        line += '=';
    }
    return line;
}

std::string EncodeText(int encoding, std::string_view input, LineEncodeSums* sums) {
    std::array<char, kMaxLineLength + 2> line{};
    const std::size_t n = EncodeLineText(Bytes(input), AlphabetFor(encoding),
                                         encoding == kEncodingMIME, "\n", sums, line);
    return {line.data(), n};
}

// The table-driven groups against the bit-by-bit reference, with and without the sums, and the
// sums against the definition.
TEST(LineEncode, MatchesTheReferenceOnRandomBlocks) {
    std::mt19937 random(20240531U);
    for (const int encoding : {kEncodingUU, kEncodingXX, kEncodingMIME}) {
        LineEncodeSums sums;
        uint32_t partSum = 0;
        uint32_t inputSum = 0;
        uint32_t partSize = 0;
        for (int round = 0; round < 3000; ++round) {
            const std::string input = test::RandomBytes(random(), random() % (kBlockSize + 1));
            const std::string expected = ReferenceLine(encoding, input) + "\n";
            ASSERT_EQ(EncodeText(encoding, input, &sums), expected) << encoding;
            ASSERT_EQ(EncodeText(encoding, input, nullptr), expected) << encoding;
            // The pads of Base64 count in the size, never in the sum; "=" is data in UU.
            std::string counted = ReferenceLine(encoding, input);
            if (encoding == kEncodingMIME) {
                counted.erase(counted.find_last_not_of('=') + 1);
            }
            partSum = ReferenceSum(partSum, counted + "\n");
            inputSum = ReferenceSum(inputSum, input);
            partSize += static_cast<uint32_t>(expected.size());
            ASSERT_EQ(sums.part, partSum);
            ASSERT_EQ(sums.input, inputSum);
            ASSERT_EQ(sums.partSize, partSize);
        }
    }
}

// ---- Line decoding through the decoder's own entry, which hands the counters on ----

class LineDecoderTest : public ::testing::Test {
protected:
    void Use(int encoding) {
        app.job.EncodingIndex = encoding;
        SelectDecodeTable(app, encoding);
    }

    // Decodes one line held the way the driver holds it; the bytes past the result must keep
    // their guard value.
    int Decode(std::string_view text, int tolerant = 0) {
        LineBuffer line{};
        std::memcpy(line.data(), text.data(), std::min<std::size_t>(text.size(), 254));
        out.fill(kGuardByte);
        app.decode.DecodeErrorText.clear();
        const int n = DecodeLine(app, line, out, part, tolerant);
        bytes = n > 0 ? std::string(reinterpret_cast<const char*>(out.data()),
                                    static_cast<std::size_t>(n))
                      : std::string();
        return n;
    }

    // The end of what the decoder wrote into out.
    std::size_t Touched() const {
        std::size_t end = out.size();
        while (end > 0 && out[end - 1] == kGuardByte) {
            --end;
        }
        return end;
    }

    ScriptedUi ui;
    AppState app{ui, ui};
    PartRecord part;
    std::array<unsigned char, 512> out{};
    std::string bytes;
};

struct LineCase {
    int encoding;
    std::string line;
    int tolerant;
    int result;
    std::string hex;     // the bytes returned
    std::string reason;  // DecodeErrorText after the call
};

std::string Repeat(std::string_view text, int times) {
    std::string result;
    for (int i = 0; i < times; ++i) {
        result += text;
    }
    return result;
}

const std::string kFortyTwo = "ABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789abcdef";
const std::string kLengthReason = "Indicated # of chars per line is less than 0.";

std::string CountReason(int indicated, int present) {
    return "# of indicated chars in line (" + std::to_string(indicated) +
           ") does not match actual data present (" + std::to_string(present) + ").";
}

std::string ByteReason(int byte) {
    char text[48];
    std::snprintf(text, sizeof text, "Invalid encoded data byte (0x%x).", byte);
    return text;
}

TEST_F(LineDecoderTest, EveryRuleWithItsResultAndReason) {
    // The UU text of the 42 bytes (56 characters) behind the length character for 45.
    const std::string fiftySix = "M" + ReferenceLine(kEncodingUU, kFortyTwo).substr(1);
    const std::string sixtyOne = "M" + std::string(61, 'A');
    const std::vector<LineCase> cases = {
        // A full last group, and the same group cut to the characters it needs.
        {kEncodingUU, "!00``\r\n", 0, 1, "41", ""},
        {kEncodingUU, "!00\r\n", 0, 1, "41", ""},
        {kEncodingUU, "!00  \n", 0, 1, "41", ""},  // blanks for zero
        {kEncodingUU, " \r\n", 0, 0, "", ""},
        {kEncodingUU, "`\n", 0, 0, "", ""},
        // The count of bytes present may exceed the length by two, never by three, and may not
        // fall short of it.
        {kEncodingUU, "\"00``00\r\n", 0, 2, "4100", ""},
        {kEncodingUU, "!00``00\r\n", 0, -1, "", CountReason(1, 4)},
        {kEncodingUU, "!00``00``\r\n", 0, -1, "", CountReason(1, 6)},
        {kEncodingUU, "!00``00``\r\n", 1, 1, "41", ""},
        {kEncodingUU, "#00`\r\n", 0, -1, "", CountReason(3, 2)},
        {kEncodingUU, fiftySix + "\r\n", 0, -1, "", CountReason(45, 42)},
        {kEncodingUU, fiftySix + "\r\n", 1, 45, Hex(kFortyTwo) + "000000", ""},
        // The 61st character opens a group whose partner is the line end.
        {kEncodingUU, sixtyOne + "\r\n", 0, -1, "", ByteReason('\r')},
        {kEncodingUU, sixtyOne + "\n", 0, -1, "", ByteReason('\n')},
        {kEncodingUU, sixtyOne + "\r\n", 1, 45, Repeat("861861", 15), ""},
        {kEncodingUU, "~00``\r\n", 0, -1, "", kLengthReason},
        {kEncodingUU, "~00``\r\n", 1, 0, "", ""},
        {kEncodingUU, "\r\n", 0, -1, "", kLengthReason},
        {kEncodingUU, "", 0, -1, "", kLengthReason},
        {kEncodingUU, "", 1, 0, "", ""},
        {kEncodingUU, "!0\xE9``\r\n", 0, -1, "", ByteReason(0xE9)},
        {kEncodingUU, "!0\xE9``\r\n", 1, 1, "ff", ""},  // taken with all bits set
        {kEncodingUU, "!0\r\n", 0, -1, "", ByteReason('\r')},
        {kEncodingUU, "!0\r\n", 1, 1, "40", ""},  // padded up to its length
        // The last line of an input without a line end is taken without the count check.
        {kEncodingUU, "!00", 0, 1, "41", ""},
        {kEncodingUU, "#00", 0, 1, "41", ""},
        {kEncodingUU, "!0", 0, -1, "", ByteReason(0)},
        {kEncodingXX, "-EE++\r\n", 0, 1, "41", ""},
        {kEncodingXX, "-EE  \r\n", 0, -1, "", ByteReason(' ')},
        {kEncodingXX, "`\r\n", 0, -1, "", kLengthReason},
        {kEncodingXX, "0E\r\n", 1, 2, "4000", ""},
        {kEncodingMIME, "TWE=\r\n", 0, 2, "4d61", ""},
        {kEncodingMIME, " T W\tE = \r\n", 0, 2, "4d61", ""},
        {kEncodingMIME, "TWFu", 0, 3, "4d616e", ""},
        {kEncodingMIME, "\r\n", 0, 0, "", ""},
        {kEncodingMIME, "=TWE\r\n", 0, -1, "", ByteReason('=')},
        {kEncodingMIME, "=TWE\r\n", 1, 2, "4d61", ""},
        {kEncodingMIME,
         "TW\xE9"
         "Fu\r\n",
         0, -1, "", ByteReason(0xE9)},
        {kEncodingBinHex, "!!!!\r\n", 0, -1, "", ""},
        {kEncodingAuto, "!00\r\n", 1, -1, "", ""},
    };
    for (const LineCase& c : cases) {
        SCOPED_TRACE(Hex(c.line) + (c.tolerant != 0 ? " tolerant" : ""));
        Use(c.encoding);
        app.decode.base64Position = 0;
        EXPECT_EQ(Decode(c.line, c.tolerant), c.result);
        EXPECT_EQ(Hex(bytes), c.hex);
        EXPECT_EQ(app.decode.DecodeErrorText, c.reason);
    }
}

TEST_F(LineDecoderTest, CountersTakeTheLineOnlyWhenItIsTaken) {
    Use(kEncodingUU);
    part.calculatedChecksum = 77;
    part.calculatedSize = 5;
    ASSERT_EQ(Decode("!0\xE9``\r\n"), -1);
    EXPECT_EQ(part.calculatedChecksum, 77U);
    EXPECT_EQ(part.calculatedSize, 5U);
    EXPECT_EQ(app.decode.totals.runningChecksum, 0U);
    // The tolerant retry counts once: length, data and one LF, and only the line's bytes.
    ASSERT_EQ(Decode("!0\xE9``\r\n", 1), 1);
    EXPECT_EQ(part.calculatedChecksum, ReferenceSum(77, "!0\xE9``\n"));
    EXPECT_EQ(part.calculatedSize, 11U);
    EXPECT_EQ(app.decode.totals.runningChecksum, ReferenceSum(0, "\xff"));
    // A padded line is summed as if the pads stood on it.
    part = PartRecord{};
    const std::string fiftySix = "M" + ReferenceLine(kEncodingUU, kFortyTwo).substr(1);
    ASSERT_EQ(Decode(fiftySix + "\r\n", 1), 45);
    EXPECT_EQ(part.calculatedChecksum, ReferenceSum(0, fiftySix + "````\n"));
    EXPECT_EQ(part.calculatedSize, 62U);
    // MIME counts pads and blanks in its position, sums only its characters, and leaves the
    // output's sum to the file.
    Use(kEncodingMIME);
    part = PartRecord{};
    app.decode.base64Position = 0;
    const uint32_t output = app.decode.totals.runningChecksum;
    ASSERT_EQ(Decode(" T W\tE = \r\n"), 2);
    EXPECT_EQ(app.decode.base64Position, 9U);
    EXPECT_EQ(part.calculatedChecksum, ReferenceSum(0, "TWE\n"));
    EXPECT_EQ(part.calculatedSize, 5U);
    EXPECT_EQ(app.decode.totals.runningChecksum, output);
}

TEST_F(LineDecoderTest, MimeGroupsRunOnAcrossLines) {
    Use(kEncodingMIME);
    const std::string text = "TWFuIGlzIGRpc3Rpbmd1aXNoZWQ=";  // "Man is distinguished"
    for (std::size_t cut = 0; cut <= text.size(); ++cut) {
        app.decode.base64Position = 0;
        ASSERT_GE(Decode(text.substr(0, cut) + "\r\n"), 0);
        std::string decoded = bytes;
        ASSERT_GE(Decode(text.substr(cut) + "\r\n"), 0);
        decoded += bytes;
        EXPECT_EQ(decoded, "Man is distinguished") << "cut at " << cut;
    }
    // A refused line leaves the group for its retry; a new body starts a fresh group.
    app.decode.base64Position = 0;
    ASSERT_EQ(Decode("TW\r\n"), 1);
    ASSERT_EQ(Decode("F\xE9u\r\n"), -1);
    ASSERT_EQ(Decode("F\xE9u\r\n", 1), 2);
    EXPECT_EQ(bytes, "an");
    app.decode.base64Position = 0;
    ASSERT_EQ(Decode("TWFu\r\n"), 3);
    EXPECT_EQ(bytes, "Man");
}

// Lines of up to 254 bytes of anything never make the decoder write past three quarters of the
// line and three bytes, or past the 63 bytes a UU or XX length may call for, nor read past the
// span of a line that has no terminating zero.
TEST_F(LineDecoderTest, HostileLinesNeverWritePastTheirRoom) {
    std::mt19937 random(5U);
    for (const int encoding : {kEncodingUU, kEncodingXX, kEncodingMIME}) {
        for (const int tolerant : {0, 1}) {
            Use(encoding);
            for (int i = 0; i < 3000; ++i) {
                const std::size_t size = i < 1000 ? 254 : 1 + random() % 254;
                std::string text(size, '\0');
                for (char& c : text) {
                    const unsigned r = random();
                    c = i % 3 == 0 ? static_cast<char>(r) : AlphabetFor(encoding)[r % 64];
                }
                if (i % 7 == 0) {
                    text[random() % size] = '\0';
                }
                app.decode.base64Position = random() % 2;
                app.decode.base64 = {static_cast<int>(random() % 4),
                                     static_cast<unsigned>(random() & 0xFFU)};
                Base64State state =
                    app.decode.base64Position == 0 ? Base64State{} : app.decode.base64;
                const int n = Decode(text, tolerant);
                const std::size_t length = strnlen(text.data(), text.size());
                const std::size_t room = encoding == kEncodingMIME ? 3 * length / 4 + 3 : 63;
                ASSERT_LE(Touched(), room) << Hex(text);
                ASSERT_LE(n, static_cast<int>(room));
                ASSERT_GE(n, tolerant != 0 ? 0 : -1);
                // The same text in a span of its own size with no zero after it: nothing past
                // the span is read (the address sanitizer watches), and the result is the same.
                const std::vector<unsigned char> exact(text.begin(), text.end());
                LineDecodeSums sums;
                uint32_t consumed = 0;
                std::string reason;
                EXPECT_EQ(
                    encoding == kEncodingMIME
                        ? DecodeBase64LineText(exact, out, state, consumed, sums, tolerant != 0,
                                               reason)
                        : DecodeGroupLineText(DecodeTableFor(encoding), exact, out, sums,
                                              tolerant != 0, AlphabetFor(encoding)[0], reason),
                    n);
            }
        }
    }
}

// The quick way must agree with the exact way on every line it takes: the same bytes, the same
// size, and a line whose whole text is what the part's sum takes later. Lines: sound ones of
// every length with full and cut last groups, then each changed at one place.
TEST_F(LineDecoderTest, QuickWayAgreesWithTheExactWay) {
    static constexpr std::string_view kEdges{"\r\n\0 `\x1f\x61\x7f\x80\xa0\xe0*,./:@[{", 19};
    for (const int encoding : {kEncodingUU, kEncodingXX, kEncodingMIME}) {
        Use(encoding);
        const bool mime = encoding == kEncodingMIME;
        const std::string_view alphabet = AlphabetFor(encoding);
        std::mt19937 random(static_cast<unsigned>(encoding));
        std::vector<std::string> lines;
        for (int length = 0; length <= 63; ++length) {
            for (int extra = 0; extra < 3; ++extra) {
                // A Base64 line is groups alone: as many as the UU line of this length has.
                const int characters =
                    mime ? 4 * (length / 3 + 1)
                         : 4 * (length / 3) + (length % 3 == 0 ? 0 : length % 3 + 1) +
                               std::min(extra, length % 3 == 0 ? 0 : 3 - length % 3);
                std::string line =
                    mime ? "" : std::string(1, alphabet[static_cast<std::size_t>(length)]);
                for (int i = 0; i < characters; ++i) {
                    line += alphabet[random() % 64];
                }
                lines.push_back(line + (extra == 1 ? "\r\n" : "\n"));
            }
        }
        const std::size_t sound = lines.size();
        for (std::size_t i = 0; i < sound; ++i) {
            for (int change = 0; change < 24; ++change) {
                std::string line = lines[i];
                const std::size_t at = random() % (line.size() - 1);
                switch (change % 6) {
                    case 0:
                        line[at] = static_cast<char>(random());
                        break;
                    case 1:
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
                        line.resize(at + 1);
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
            app.decode.base64Position = 0;
            const int quick = DecodeLineQuick(app, line, quickOut, quickPart);
            part = PartRecord{};
            app.decode.base64Position = 0;
            const int exact = Decode(text);
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
        }
        EXPECT_GE(quickLines, static_cast<int>(sound));
    }
    // A Base64 group that runs on from the line before is the exact way's.
    Use(kEncodingMIME);
    LineBuffer line{};
    std::memcpy(line.data(), "QUJD\n", 5);
    app.decode.base64Position = 3;
    app.decode.base64.phase = 3;
    EXPECT_EQ(DecodeLineQuick(app, line, out, part), kTakeExactWay);
}

// Quoted-printable lines: escapes in either case, soft breaks, the blanks a transport adds,
// and "=" signs that escape nothing, which stay.
TEST(QuotedPrintable, LinesAsRobustReadersTakeThem) {
    struct Case {
        std::string_view line;
        std::string_view bytes;
        bool soft;
    };
    const Case cases[] = {
        {"plain text", "plain text", false},
        {"a=3Db=3db =C3=BC", "a=b=b \xc3\xbc", false},
        {"soft break=", "soft break", true},
        {"soft after blanks=  \t", "soft after blanks", true},
        {"trailing blanks \t ", "trailing blanks", false},
        {"=0D=0A=00=FF", std::string_view("\r\n\0\xff", 4), false},
        {"bad =G1 =4 =", "bad =G1 =4 ", true},
        {"==41", "=A", false},
        {"", "", false},
        {"=", "", true},
    };
    for (const Case& c : cases) {
        std::array<unsigned char, 64> out{};
        bool soft = false;
        const std::size_t n = DecodeQuotedPrintableLine(c.line, out, soft);
        EXPECT_EQ(std::string_view(reinterpret_cast<const char*>(out.data()), n), c.bytes)
            << c.line;
        EXPECT_EQ(soft, c.soft) << c.line;
    }
}

// Line ends count as one LF however they are written and wherever the text is cut into pieces,
// also between a CR and its LF; the texts are long enough to pass through whole buffers.
TEST(SumRText, LineEndsAreOneLfInAnyPieces) {
    std::string lines;
    for (int i = 0; i < 150; ++i) {
        lines += std::string(static_cast<std::size_t>(i % 70), static_cast<char>('!' + i % 90));
        lines += i % 3 == 0 ? "\r\n" : i % 3 == 1 ? "\n" : "\r";
    }
    std::string wide(9000, 'M');
    for (const std::string& text : {lines, std::string("\r\r\n\n\r"), wide + "\r\n" + wide}) {
        std::string asSummed;
        for (std::size_t i = 0; i < text.size(); ++i) {
            if (text[i] == '\r') {
                asSummed += '\n';
                i += i + 1 < text.size() && text[i + 1] == '\n' ? 1 : 0;
            } else {
                asSummed += text[i];
            }
        }
        const uint32_t expected = ReferenceSum(3, asSummed);
        for (std::size_t cut = 0; cut <= text.size(); cut += 1 + cut / 64) {
            bool afterCr = false;
            uint32_t sum = SumRText(std::string_view(text).substr(0, cut), 3, afterCr);
            sum = SumRText(std::string_view(text).substr(cut), sum, afterCr);
            ASSERT_EQ(sum, expected) << "cut at " << cut << " of " << text.size();
        }
    }
}

TEST(BinHexCrc, TableStepIsTheBitByBitStepEverywhere) {
    for (uint32_t crc = 0; crc < 0x10000U; ++crc) {
        for (unsigned byte = 0; byte < 256; ++byte) {
            ASSERT_EQ(BinHexCrcUpdate(static_cast<unsigned char>(byte), crc),
                      BinHexCrcUpdateByBits(static_cast<unsigned char>(byte), crc))
                << crc << " " << byte;
        }
    }
    // CRC-16/XMODEM of its check text, taken the BinHex way with two zero bytes after it.
    uint32_t crc = 0;
    for (const char c : std::string_view("123456789")) {
        crc = BinHexCrcUpdateByBits(static_cast<unsigned char>(c), crc);
    }
    EXPECT_EQ(BinHexFinishCrc(crc), 0x31C3U);
}

// The sliced block CRC is the byte step repeated, for every length around the slice width and
// from any accumulator.
TEST(BinHexCrc, BlockIsTheStepForEveryByte) {
    std::mt19937 random(5);
    for (std::size_t size = 0; size <= 70; ++size) {
        std::vector<unsigned char> bytes(size);
        for (unsigned char& b : bytes) {
            b = static_cast<unsigned char>(random());
        }
        const uint32_t start = random() & 0xFFFFU;
        uint32_t stepped = start;
        for (const unsigned char b : bytes) {
            stepped = BinHexCrcUpdateByBits(b, stepped);
        }
        ASSERT_EQ(BinHexCrcBlock(bytes, start), stepped) << size;
    }
}

}  // namespace
}  // namespace mandrel
