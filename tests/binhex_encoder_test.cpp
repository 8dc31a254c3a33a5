#include "encode/binhex_encoder.h"

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "core/app_state.h"
#include "core/config.h"
#include "encode/alphabets.h"
#include "encode/encode_driver.h"
#include "platform/scripted_ui.h"

namespace mandrel {
namespace {

using Bytes = std::vector<unsigned char>;

Bytes Of(std::string_view text) {
    return Bytes(text.begin(), text.end());
}

// CRC-16/XMODEM in its usual form, without the two trailing zero bytes of the BinHex way.
uint16_t Xmodem(const Bytes& bytes) {
    uint32_t crc = 0;
    for (const unsigned char b : bytes) {
        crc ^= static_cast<uint32_t>(b) << 8;
        for (int i = 0; i < 8; ++i) {
            crc = (crc & 0x8000U) != 0 ? (crc << 1) ^ 0x1021U : crc << 1;
        }
    }
    return static_cast<uint16_t>(crc);
}

// Turns the characters back into bytes, skipping colons and line ends; trailing zero bits of
// the last group come back as zero bytes.
Bytes DecodeSixBit(std::string_view text) {
    Bytes out;
    uint32_t bits = 0;
    int count = 0;
    for (const char c : text) {
        const std::size_t v = BinHexAlphabet.find(c);
        if (c == ':' || c == '\r' || c == '\n') {
            continue;
        }
        EXPECT_NE(v, std::string_view::npos) << "character " << static_cast<int>(c);
        bits = (bits << 6) | static_cast<uint32_t>(v);
        count += 6;
        if (count >= 8) {
            count -= 8;
            out.push_back(static_cast<unsigned char>(bits >> count));
        }
    }
    return out;
}

std::vector<std::string> SplitLines(std::string_view text, std::string_view eol) {
    std::vector<std::string> lines;
    std::size_t start = 0;
    for (std::size_t end; (end = text.find(eol, start)) != std::string_view::npos;
         start = end + eol.size()) {
        lines.emplace_back(text.substr(start, end - start));
    }
    lines.emplace_back(text.substr(start));
    return lines;
}

class BinHexEncoderTest : public ::testing::Test {
protected:
    BinHexEncoderTest() { Reset(kEolCrLf); }

    void Reset(int eol) {
        app.encode = EncodeJob{};
        app.job.EncodingIndex = kEncodingBinHex;
        app.encode.CurrentAlphabet = BinHexAlphabet;
        app.config.encodecrlf = eol;
        ASSERT_TRUE(app.encode.OutputBuffer.Allocate(1 << 16, 1 << 16));
    }

    std::string Text() const { return std::string(app.encode.OutputBuffer.Held()); }

    // What the driver does for one file, after the part header's opening colon.
    std::string EncodeFile(std::string_view path, const Bytes& data) {
        AppendOutput(app, ":");
        BinHexWriteHeader(app, MakeBinHexHeader(path, static_cast<uint32_t>(data.size())));
        for (std::size_t i = 0; i < data.size(); i += 45) {
            Bytes staged;
            const std::size_t n = std::min<std::size_t>(45, data.size() - i);
            BinHexPutBlock(app, std::span(data).subspan(i, n), staged);
            BinHex6Bit(app, staged);
        }
        BinHexFinish(app);
        return Text();
    }

    ScriptedUi ui;
    AppState app{ui};
};

const Bytes kHeaderOfATxt = {0x05, 0x61, 0x2E, 0x74, 0x78, 0x74, 0x00, 0x74, 0x78,
                             0x74, 0x00, 0x4D, 0x44, 0x52, 0x4C, 0x00, 0x00, 0x00,
                             0x00, 0x00, 0x03, 0x00, 0x00, 0x00, 0x00};

TEST_F(BinHexEncoderTest, CrcOfKnownTexts) {
    auto binhexCrc = [](const Bytes& bytes) {
        uint32_t crc = 0;
        for (const unsigned char b : bytes) {
            crc = BinHexCrcUpdate(b, crc);
        }
        return BinHexCrcUpdate(0, BinHexCrcUpdate(0, crc));
    };
    EXPECT_EQ(binhexCrc(Of("123456789")), 0x31C3U);
    EXPECT_EQ(binhexCrc({}), 0U);
    EXPECT_EQ(binhexCrc(kHeaderOfATxt), 0xE321U);
    EXPECT_EQ(binhexCrc(Of("abc")), 0x9DD6U);
    EXPECT_EQ(Xmodem(Of("123456789")), 0x31C3U);  // the reference agrees with itself
}

TEST_F(BinHexEncoderTest, HeaderRecordOfATxt) {
    const BinHexHeader header = MakeBinHexHeader("C:\\docs\\a.txt", 3);
    EXPECT_EQ(header.name, "a.txt");
    EXPECT_EQ(Bytes(std::begin(header.type), std::end(header.type)), Of(std::string("txt\0", 4)));
    EXPECT_EQ(Bytes(std::begin(header.creator), std::end(header.creator)), Of("MDRL"));
    EXPECT_EQ(header.flags, 0);
    EXPECT_EQ(header.dataLength, 3U);
    EXPECT_EQ(header.resourceLength, 0U);
}

TEST_F(BinHexEncoderTest, WholeStreamOfATxtIsOneFiftyCharacterLine) {
    const std::string text = EncodeFile("a.txt", Of("abc"));
    EXPECT_EQ(text.size(), 52U);
    ASSERT_EQ(SplitLines(text, "\r\n"), (std::vector<std::string>{text.substr(0, 50), ""}));
    EXPECT_EQ(text.front(), ':');
    EXPECT_EQ(text.substr(49), ":\r\n");

    Bytes expected = kHeaderOfATxt;
    expected.insert(expected.end(), {0xE3, 0x21, 0x61, 0x62, 0x63, 0x9D, 0xD6, 0x00, 0x00});
    expected.insert(expected.end(), {0x00, 0x00});  // zero bits completing the last group
    EXPECT_EQ(DecodeSixBit(text), expected);
    EXPECT_EQ(app.encode.binhex.pending, 0);
}

TEST_F(BinHexEncoderTest, MarkerByteIsEscapedButCountedOnce) {
    Bytes staged;
    EXPECT_EQ(BinHexPutBlock(app, Bytes{0x90, 0x90}, staged), 4U);
    EXPECT_EQ(staged, (Bytes{0x90, 0x00, 0x90, 0x00}));
    EXPECT_EQ(BinHexCrcUpdate(0, BinHexCrcUpdate(0, app.encode.binhex.BinHexCrc)),
              Xmodem({0x90, 0x90}));

    staged.clear();
    app.encode.binhex.BinHexCrc = 0;
    EXPECT_EQ(BinHexPutBlock(app, Bytes{0x01, 0x90, 0x02}, staged), 4U);
    EXPECT_EQ(staged, (Bytes{0x01, 0x90, 0x00, 0x02}));
    EXPECT_EQ(BinHexCrcUpdate(0, BinHexCrcUpdate(0, app.encode.binhex.BinHexCrc)),
              Xmodem({0x01, 0x90, 0x02}));

    staged.clear();
    EXPECT_EQ(BinHexPutBlock(app, {}, staged), 0U);
    EXPECT_TRUE(staged.empty());
}

TEST_F(BinHexEncoderTest, NumbersGoHighByteFirstAndEscaped) {
    Bytes staged;
    BinHexPutWord(app, 0x9012, staged);
    BinHexPutLong(app, 0x01902A03, staged);
    EXPECT_EQ(staged, (Bytes{0x90, 0x00, 0x12, 0x01, 0x90, 0x00, 0x2A, 0x03}));
}

TEST_F(BinHexEncoderTest, HundredBytesGiveLinesOf64And64And46) {
    Bytes data(100);
    for (std::size_t i = 0; i < data.size(); ++i) {
        data[i] = static_cast<unsigned char>(i);
    }
    for (const int eol : {kEolCrLf, kEolLf}) {
        Reset(eol);
        const std::string_view eolText = eol == kEolCrLf ? "\r\n" : "\n";
        const std::string text = EncodeFile("x", data);
        const std::vector<std::string> lines = SplitLines(text, eolText);
        ASSERT_EQ(lines.size(), 4U);
        EXPECT_EQ(lines[0].size(), 64U);
        EXPECT_EQ(lines[1].size(), 64U);
        EXPECT_EQ(lines[2].size(), 46U);
        EXPECT_EQ(lines[2].back(), ':');
        EXPECT_EQ(lines[3], "");

        const Bytes stream = DecodeSixBit(text);
        Bytes header = {0x01, 'x', 0x00, 'D', 'a', 't', 'a', 'M', 'D', 'R', 'L',
                        0,    0,   0,    0,   0,   100, 0,   0,   0,   0};
        const uint16_t headerCrc = Xmodem(header);
        ASSERT_GE(stream.size(), 127U);
        EXPECT_EQ(Bytes(stream.begin(), stream.begin() + 21), header);
        EXPECT_EQ(stream[21], headerCrc >> 8);
        EXPECT_EQ(stream[22], headerCrc & 0xFF);
        EXPECT_EQ(Bytes(stream.begin() + 23, stream.begin() + 123), data);
        const uint16_t dataCrc = Xmodem(data);
        EXPECT_EQ(stream[123], dataCrc >> 8);
        EXPECT_EQ(stream[124], dataCrc & 0xFF);
        EXPECT_EQ(stream[125], 0);
        EXPECT_EQ(stream[126], 0);
    }
}

TEST_F(BinHexEncoderTest, EmptyInputStillHasHeaderAndTwoCrcs) {
    const std::string text = EncodeFile("e", {});
    const Bytes header = {0x01, 'e', 0x00, 'D', 'a', 't', 'a', 'M', 'D', 'R', 'L',
                          0,    0,   0,    0,   0,   0,   0,   0,   0,   0};
    Bytes expected = header;
    const uint16_t crc = Xmodem(header);
    expected.push_back(static_cast<unsigned char>(crc >> 8));
    expected.push_back(static_cast<unsigned char>(crc));
    expected.insert(expected.end(), {0, 0, 0, 0});
    const Bytes stream = DecodeSixBit(text);
    ASSERT_GE(stream.size(), expected.size());
    EXPECT_EQ(Bytes(stream.begin(), stream.begin() + static_cast<long>(expected.size())), expected);
    EXPECT_EQ(text.substr(text.size() - 3), ":\r\n");
}

TEST_F(BinHexEncoderTest, TypeComesFromTheExtension) {
    struct TypeCase {
        std::string path;
        std::string name;
        std::string type;
    };
    const std::vector<TypeCase> cases = {
        {"a.txt", "a.txt", std::string("txt\0", 4)},
        {"a.jpeg", "a.jpeg", "jpeg"},
        {"photo.JPG", "photo.JPG", std::string("JPG\0", 4)},
        {"archive.tar.gz", "archive.tar.gz", std::string("gz\0\0", 4)},
        {"a.abcdef", "a.abcdef", "abcd"},
        {"README", "README", "Data"},
        {"name.", "name.", "Data"},
        {"C:\\dir.d\\file", "file", "Data"},
        {"/home/u.v/file", "file", "Data"},
        {"disk:folder.x:file", "file", "Data"},
        {"", "", "Data"},
    };
    for (const TypeCase& c : cases) {
        const BinHexHeader header = MakeBinHexHeader(c.path, 0);
        EXPECT_EQ(header.name, c.name) << c.path;
        EXPECT_EQ(std::string(std::begin(header.type), std::end(header.type)), c.type) << c.path;
    }
}

TEST_F(BinHexEncoderTest, LongNameIsCutTo63) {
    const std::string name(70, 'n');
    const BinHexHeader header = MakeBinHexHeader("/dir/" + name + ".bin", 0);
    EXPECT_EQ(header.name, std::string(63, 'n'));
    EXPECT_EQ(std::string(std::begin(header.type), std::end(header.type)), std::string("bin\0", 4));

    const std::string text = EncodeFile("/dir/" + name, {});
    const Bytes stream = DecodeSixBit(text);
    ASSERT_FALSE(stream.empty());
    EXPECT_EQ(stream[0], 63);
}

TEST_F(BinHexEncoderTest, CharactersDoNotDependOnHowTheStreamIsCut) {
    std::mt19937 random(7U);
    Bytes stream(301);
    for (unsigned char& b : stream) {
        b = static_cast<unsigned char>(random());
    }
    auto encodeInCuts = [&](const std::vector<std::size_t>& cuts) {
        Reset(kEolCrLf);
        app.encode.binhex.column = 1;
        std::size_t start = 0;
        int counted = 0;
        for (const std::size_t end : cuts) {
            counted += BinHex6Bit(app, std::span(stream).subspan(start, end - start));
            start = end;
        }
        counted += BinHex6Bit(app, std::span(stream).subspan(start));
        counted += BinHex6BitFlush(app);
        EXPECT_EQ(static_cast<std::size_t>(counted), Text().size());
        return Text();
    };
    const std::string whole = encodeInCuts({});
    EXPECT_EQ(whole.size(), 404U + 6U * 2U);  // 101 groups; lines of 63 (after the colon) and 64
    for (int trial = 0; trial < 200; ++trial) {
        std::vector<std::size_t> cuts;
        std::size_t at = 0;
        while (at < stream.size()) {
            at = std::min(stream.size(), at + random() % 5);  // cuts of 0 to 4 bytes
            cuts.push_back(at);
        }
        ASSERT_EQ(encodeInCuts(cuts), whole) << "trial " << trial;
    }
    // One byte at a time, the hardest cut of all.
    std::vector<std::size_t> single;
    for (std::size_t i = 1; i <= stream.size(); ++i) {
        single.push_back(i);
    }
    EXPECT_EQ(encodeInCuts(single), whole);
}

TEST_F(BinHexEncoderTest, FlushCompletesTheLastGroup) {
    struct FlushCase {
        Bytes bytes;
        std::string expected;
    };
    // Values: 0x00 0x00 0x00 -> 0 0 0 0 ("!!!!"); 0xFF -> 63, 48, 0, 0 ("r`!!").
    const std::vector<FlushCase> cases = {
        {{}, ""},
        {{0x00}, "!!!!"},
        {{0x00, 0x00}, "!!!!"},
        {{0x00, 0x00, 0x00}, "!!!!"},
        {{0xFF}, "r`!!"},
        {{0xFF, 0xFF}, "rrm!"},
        {{0xFF, 0xFF, 0xFF}, "rrrr"},
    };
    for (const FlushCase& c : cases) {
        Reset(kEolCrLf);
        BinHex6Bit(app, c.bytes);
        BinHex6BitFlush(app);
        EXPECT_EQ(Text(), c.expected) << c.bytes.size();
        EXPECT_EQ(app.encode.binhex.pending, 0);
        EXPECT_EQ(BinHex6BitFlush(app), 0);  // a second flush has nothing left
    }
}

}  // namespace
}  // namespace mandrel

namespace mandrel {
namespace {

// The table-driven step against the bit-by-bit definition, for every accumulator and byte.
TEST(BinHexCrc, StepEqualsTheBitByBitDefinitionEverywhere) {
    for (uint32_t crc = 0; crc < 0x10000U; ++crc) {
        for (unsigned byte = 0; byte < 256; ++byte) {
            uint32_t expected = crc;
            for (int bit = 7; bit >= 0; --bit) {
                const bool carry = (expected & 0x8000U) != 0;
                expected = ((expected << 1) | ((byte >> bit) & 1U)) & 0xFFFFU;
                if (carry) {
                    expected ^= 0x1021U;
                }
            }
            ASSERT_EQ(BinHexCrcUpdate(static_cast<unsigned char>(byte), crc), expected)
                << crc << " " << byte;
        }
    }
}

}  // namespace
}  // namespace mandrel
