#include "decode/binhex_decoder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <random>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "core/app_state.h"
#include "core/buf_file.h"
#include "core/config.h"
#include "decode/decode_job.h"
#include "encode/alphabets.h"
#include "encode/binhex_encoder.h"
#include "encode/encode_driver.h"
#include "platform/scripted_ui.h"
#include "support/test_files.h"

namespace mandrel {
namespace {

// --- An independent BinHex 4.0 writer, with run-length compression ---

// CRC-16/XMODEM in its usual form; BinHex's way of pushing two zero bytes through gives the
// same value.
uint16_t Crc(std::string_view bytes) {
    uint32_t crc = 0;
    for (const char c : bytes) {
        crc ^= static_cast<uint32_t>(static_cast<unsigned char>(c)) << 8;
        for (int i = 0; i < 8; ++i) {
            crc = (crc & 0x8000U) != 0 ? (crc << 1) ^ 0x1021U : crc << 1;
        }
    }
    return static_cast<uint16_t>(crc);
}

std::string Word(uint32_t value) {
    return {static_cast<char>((value >> 8) & 0xFFU), static_cast<char>(value & 0xFFU)};
}

std::string Long(uint32_t value) {
    return Word(value >> 16) + Word(value & 0xFFFFU);
}

std::string Section(std::string_view plain) {
    return std::string(plain) + Word(Crc(plain));
}

struct HqxFile {
    std::string name = "a.dat";
    std::string type = "TEXT";
    std::string creator = "ttxt";
    uint16_t flags = 0x0101;
    std::string data;
    std::string resource;
};

// The header record before its CRC; the lengths may be given apart from the forks' contents.
std::string HeaderRecord(const HqxFile& f, uint32_t dataLength, uint32_t resourceLength) {
    return std::string(1, static_cast<char>(f.name.size())) + f.name + std::string(1, '\0') +
           f.type + f.creator + Word(f.flags) + Long(dataLength) + Long(resourceLength);
}

std::string HeaderRecord(const HqxFile& f) {
    return HeaderRecord(f, static_cast<uint32_t>(f.data.size()),
                        static_cast<uint32_t>(f.resource.size()));
}

std::string Plain(const HqxFile& f) {
    return Section(HeaderRecord(f)) + Section(f.data) + Section(f.resource);
}

// The marker escaped, no runs.
std::string Escape(std::string_view plain) {
    std::string out;
    for (const char c : plain) {
        out += c;
        if (c == '\x90') {
            out += '\0';
        }
    }
    return out;
}

// Runs of three to 255 copies become the byte, the marker and the count.
std::string Compress(std::string_view plain) {
    std::string out;
    for (std::size_t i = 0; i < plain.size();) {
        std::size_t run = 1;
        while (i + run < plain.size() && plain[i + run] == plain[i] && run < 255) {
            ++run;
        }
        out += plain[i];
        if (plain[i] == '\x90') {
            out += '\0';
        }
        if (run >= 3) {
            out += '\x90';
            out += static_cast<char>(run);
            i += run;
        } else {
            ++i;
        }
    }
    return out;
}

// The characters of a raw stream; a last group of one or two bytes takes two or three.
std::string Characters(std::string_view raw) {
    std::string chars;
    for (std::size_t i = 0; i < raw.size(); i += 3) {
        const std::size_t k = std::min<std::size_t>(3, raw.size() - i);
        const auto b0 = static_cast<unsigned char>(raw[i]);
        const auto b1 = k > 1 ? static_cast<unsigned char>(raw[i + 1]) : 0U;
        const auto b2 = k > 2 ? static_cast<unsigned char>(raw[i + 2]) : 0U;
        chars += BinHexAlphabet[b0 >> 2];
        chars += BinHexAlphabet[((b0 & 3U) << 4) | (b1 >> 4)];
        if (k > 1) {
            chars += BinHexAlphabet[((b1 & 15U) << 2) | (b2 >> 6)];
        }
        if (k > 2) {
            chars += BinHexAlphabet[b2 & 63U];
        }
    }
    return chars;
}

// The stream as text: the colons and lines of 64 characters.
std::string Stream(std::string_view chars, bool closed = true) {
    std::string text = ":";
    std::size_t column = 1;
    for (const char c : chars) {
        if (column == 64) {
            text += "\r\n";
            column = 0;
        }
        text += c;
        ++column;
    }
    if (closed) {
        text += ":\r\n";
    }
    return text;
}

std::string Hqx(const HqxFile& f) {
    return Stream(Characters(Compress(Plain(f))));
}

std::string Pattern(std::size_t size) {
    // No runs and no marker: the raw stream is the plain one.
    std::string data(size, '\0');
    for (std::size_t i = 0; i < size; ++i) {
        data[i] = static_cast<char>('a' + i % 7);
    }
    return data;
}

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

// --- The project's own encoder ---

std::string EncodeWithProjectEncoder(std::string_view name, std::string_view data, int eol) {
    ScriptedUi ui;
    AppState app(ui);
    app.job.EncodingIndex = kEncodingBinHex;
    app.encode.CurrentAlphabet = BinHexAlphabet;
    app.config.encodecrlf = eol;
    EXPECT_TRUE(app.encode.OutputBuffer.Allocate(1 << 20, 1 << 20));
    AppendOutput(app, ":");
    BinHexWriteHeader(app, MakeBinHexHeader(name, static_cast<uint32_t>(data.size())));
    const auto* bytes = reinterpret_cast<const unsigned char*>(data.data());
    for (std::size_t i = 0; i < data.size(); i += 45) {
        std::vector<unsigned char> staged;
        BinHexPutBlock(app, std::span(bytes + i, std::min<std::size_t>(45, data.size() - i)),
                       staged);
        BinHex6Bit(app, staged);
    }
    BinHexFinish(app);
    return std::string(app.encode.OutputBuffer.Held());
}

// --- The fixture: the input opened as the driver opens it ---

constexpr unsigned char kGuard = 0xA5;

struct Outcome {
    bool header = false;
    std::string data;
    int lastResult = 0;
    int lastState = -1;
    std::vector<int> results;
};

class BinHexDecoderTest : public ::testing::Test {
protected:
    BinHexDecoderTest() { app.files.BufFileInit(10, 16384); }
    ~BinHexDecoderTest() override {
        if (input != kNoBufFile) {
            app.files.BufFileClose(input);
        }
    }

    void Open(std::string_view text, std::string_view name = "x.hqx") {
        if (input != kNoBufFile) {
            app.files.BufFileClose(input);
        }
        const std::string path = dir.File(name);
        test::WriteFile(path, text);
        app.job.JobInputPath = path;
        input = app.files.BufFileOpen(path, BufOpenMode::Read, BF_TEXT | BF_CR_ENDS_LINE);
        ASSERT_NE(input, kNoBufFile);
        app.decode = DecodeJob{};
        part = PartRecord{};
        ui.messages.clear();
        ui.statuses.clear();
    }

    // Calls the chunk reader as long as it says to go on, as the driver does.
    void Chunks(Outcome& o, int interactive, int tolerant) {
        for (int calls = 0; calls < 200000; ++calls) {
            std::array<unsigned char, 90 + 32> buffer{};
            buffer.fill(kGuard);
            int next = -1;
            const int n =
                DecodeBinHexChunk(app, input, buffer.data(), interactive, tolerant, part, next);
            EXPECT_TRUE(std::all_of(buffer.begin() + 90, buffer.end(),
                                    [](unsigned char b) { return b == kGuard; }));
            EXPECT_LE(n, 90);
            o.results.push_back(n);
            o.lastResult = n;
            o.lastState = next;
            if (n > 0) {
                o.data.append(reinterpret_cast<const char*>(buffer.data()),
                              static_cast<std::size_t>(n));
            }
            if (next != DECODELINES) {
                return;
            }
        }
        ADD_FAILURE() << "the reader never finished";
    }

    Outcome DecodeAll(int interactive = 0, int tolerant = 0) {
        Outcome o;
        o.header = ReadBinHexHeader(app, input, interactive, part);
        if (o.header) {
            Chunks(o, interactive, tolerant);
        }
        return o;
    }

    std::string NextLine() {
        LineBuffer line{};
        app.files.BufFileReadLine(input, line.data(), kLineBufferSize);
        return line.data();
    }

    void ExpectWhole(const HqxFile& f, const Outcome& o) {
        ASSERT_TRUE(o.header) << app.decode.DecodeErrorText;
        EXPECT_EQ(o.lastState, PREPARETRAILER) << app.decode.DecodeErrorText;
        EXPECT_EQ(o.lastResult, 0);
        EXPECT_EQ(Hex(o.data), Hex(f.data));
        EXPECT_EQ(app.decode.HeaderName, f.name.substr(0, 63));
        EXPECT_TRUE(app.decode.NameFound);
        EXPECT_EQ(app.decode.totals.expectedSize, static_cast<int32_t>(f.data.size()));
        EXPECT_EQ(app.decode.totals.expectedChecksum, Crc(f.data));
        EXPECT_EQ(app.decode.totals.runningChecksum, Crc(f.data));
        EXPECT_EQ(part.calculatedChecksum, Crc(HeaderRecord(f)));
        EXPECT_EQ(part.expectedChecksum, part.calculatedChecksum);
    }

    test::TempDir dir;
    ScriptedUi ui;
    AppState app{ui};
    PartRecord part;
    BufFile input = kNoBufFile;
};

// --- Whole streams ---

TEST_F(BinHexDecoderTest, ProjectEncoderOutputDecodesBack) {
    for (const int eol : {kEolCrLf, kEolLf}) {
        for (const std::size_t size : {0, 1, 2, 3, 89, 90, 91, 180, 1000, 5000}) {
            SCOPED_TRACE(std::to_string(size) + " bytes, eol " + std::to_string(eol));
            const std::string data = test::RandomBytes(size + 7, size);
            const std::string stream = EncodeWithProjectEncoder("some file.bin", data, eol);
            Open(stream + "sum -r/size 1/2 entire input file\r\n");
            const Outcome o = DecodeAll();
            EXPECT_EQ(Hex(o.data), Hex(data));
            EXPECT_EQ(o.lastState, PREPARETRAILER);
            EXPECT_EQ(app.decode.HeaderName, "some file.bin");
            EXPECT_EQ(app.decode.totals.expectedSize, static_cast<int32_t>(size));
            EXPECT_EQ(app.decode.totals.runningChecksum, Crc(data));
            EXPECT_EQ(app.decode.totals.expectedChecksum, Crc(data));
            EXPECT_EQ(part.expectedChecksum, part.calculatedChecksum);
            EXPECT_NE(part.calculatedChecksum, 0U);
            // Every character up to the closing colon was read, and nothing after it.
            EXPECT_EQ(app.decode.bytesRead, stream.rfind(':') + 1);
            EXPECT_EQ(app.decode.binhex.charactersRead, stream.rfind(':') + 1);
            EXPECT_EQ(NextLine(), eol == kEolCrLf ? "\r" : "\n");
            EXPECT_EQ(NextLine(), "sum -r/size 1/2 entire input file\r");
            EXPECT_TRUE(ui.messages.empty());
        }
    }
}

TEST_F(BinHexDecoderTest, CompressedStreamWithResourceForkDecodesBack) {
    HqxFile f;
    f.name = "runs.bin";
    f.data = std::string(300, 'A') + std::string(4, '\x90') + "xy" + std::string(2, '\x90') +
             std::string(700, '\0') + test::RandomBytes(5, 2000) + std::string(3, 'z');
    f.resource = std::string(1000, 'R') + test::RandomBytes(6, 500);
    const std::string text = Hqx(f);
    ASSERT_LT(text.size(), Plain(f).size());  // the runs were compressed
    Open(text + "next line\r\n");
    const Outcome o = DecodeAll();
    ExpectWhole(f, o);
    EXPECT_EQ(ui.statuses, std::vector<std::string>{"Ignoring Resource Fork in x.hqx ..."});
    // The resource fork yields nothing but is read in pieces as well.
    const std::size_t dataCalls = (f.data.size() + 89) / 90;
    EXPECT_GT(o.results.size(), dataCalls + f.resource.size() / 90);
    EXPECT_TRUE(std::all_of(o.results.begin() + static_cast<long>(dataCalls), o.results.end(),
                            [](int n) { return n == 0; }));
    EXPECT_EQ(NextLine(), "\r");
    EXPECT_EQ(NextLine(), "next line\r");
}

TEST_F(BinHexDecoderTest, EmptyResourceForkStillAnnouncedOnce) {
    HqxFile f;
    f.data = "hello";
    Open(Hqx(f));
    const Outcome o = DecodeAll();
    ExpectWhole(f, o);
    EXPECT_EQ(ui.statuses, std::vector<std::string>{"Ignoring Resource Fork in x.hqx ..."});
    EXPECT_EQ(o.results, (std::vector<int>{5, 0, 0}));
}

TEST_F(BinHexDecoderTest, EmptyDataFork) {
    HqxFile f;
    f.data.clear();
    f.resource = "rsrc";
    Open(Hqx(f));
    const Outcome o = DecodeAll();
    ExpectWhole(f, o);
    EXPECT_EQ(app.decode.totals.runningChecksum, 0U);
}

// --- Run-length decoding ---

struct RunCase {
    const char* name;
    std::string raw;      // the data fork as it stands in the stream
    std::string decoded;  // what it stands for
};

class BinHexRunTest : public BinHexDecoderTest, public ::testing::WithParamInterface<RunCase> {};

TEST_P(BinHexRunTest, RunsExpand) {
    const RunCase& c = GetParam();
    HqxFile f;
    f.data = c.decoded;
    const std::string raw =
        Compress(Section(HeaderRecord(f))) + c.raw + Compress(Word(Crc(c.decoded)) + Section(""));
    Open(Stream(Characters(raw)));
    const Outcome o = DecodeAll();
    ExpectWhole(f, o);
}

INSTANTIATE_TEST_SUITE_P(
    Runs, BinHexRunTest,
    ::testing::Values(
        RunCase{"FiveA", std::string("\x41\x90\x05", 3), std::string(5, 'A')},
        RunCase{"LiteralMarker", std::string("\x90\x00", 2), "\x90"},
        RunCase{"RunOfMarkers", std::string("\x90\x00\x90\x03", 4), std::string(3, '\x90')},
        RunCase{"CountTwo", std::string("\x41\x90\x02", 3), "AA"},
        // A count of one stands for the one copy already given.
        RunCase{"CountOne", std::string("\x41\x90\x01\x42", 4), "AB"},
        RunCase{"RunAfterRun", std::string("\x41\x90\x05\x90\x03", 5), std::string(7, 'A')},
        RunCase{"LongestRun", std::string("\x00\x90\xFF\x01", 4), std::string(255, '\0') + "\x01"}),
    [](const ::testing::TestParamInfo<RunCase>& info) { return info.param.name; });

// --- The character layer ---

TEST_F(BinHexDecoderTest, LineEndsBlanksAndTabsAnywhereAreIgnored) {
    HqxFile f;
    f.data = test::RandomBytes(11, 700);
    f.resource = "resource";
    const std::string chars = Characters(Compress(Plain(f)));
    std::mt19937 random(3);
    const std::array<std::string_view, 5> noise = {" ", "\t", "\r\n", "\n", "\r"};
    std::string text = "\r\n \t\n:";
    for (const char c : chars) {
        while (random() % 3 == 0) {
            text += noise[random() % noise.size()];
        }
        text += c;
    }
    text += " \t\r\n:\r\nafter\r\n";
    Open(text);
    const Outcome o = DecodeAll();
    ExpectWhole(f, o);
    EXPECT_GT(app.decode.binhex.lineEndsSeen, 100U);
    EXPECT_EQ(NextLine(), "\r");
    EXPECT_EQ(NextLine(), "after\r");
}

// A stream whose raw length leaves one or two bytes for the last group ends in two or three
// characters; the colon right after them ends the stream and the next line stays whole.
TEST_F(BinHexDecoderTest, ShortLastGroupsAndTheLineAfter) {
    std::array<bool, 3> seen{};
    for (std::size_t size = 0; size < 6; ++size) {
        HqxFile f;
        f.data = Pattern(size);
        const std::string raw = Escape(Plain(f));
        seen[raw.size() % 3] = true;
        const std::string chars = Characters(raw);
        SCOPED_TRACE("raw " + std::to_string(raw.size()) + ", characters " +
                     std::to_string(chars.size()));
        Open(Stream(chars) + "sum -r/size 12345/678 entire input file\r\n");
        const Outcome o = DecodeAll();
        ExpectWhole(f, o);
        EXPECT_EQ(NextLine(), "\r");
        EXPECT_EQ(NextLine(), "sum -r/size 12345/678 entire input file\r");
    }
    EXPECT_EQ(seen, (std::array<bool, 3>{true, true, true}));
}

TEST_F(BinHexDecoderTest, TextOnTheClosingColonsLineReachesTheCaller) {
    HqxFile f;
    f.data = Pattern(10);
    std::string text = Stream(Characters(Escape(Plain(f))), false) + ":rest of line\r\n";
    Open(text);
    ExpectWhole(f, DecodeAll());
    EXPECT_EQ(NextLine(), "rest of line\r");
}

// --- The header ---

const char* const kHeaderInfoOfADat =
    "BinHex Header Information:\r\n\r\nFile Name:\ta.dat\r\nFile Type: \tTEXT\r\nFile "
    "Creator:\tttxt\r\nFile Flags: \t101\r\nData size: \t5\r\nResource size:\t0";

TEST_F(BinHexDecoderTest, HeaderShownWhenInteractiveWithoutWarningWhenCrcsMatch) {
    HqxFile f;
    f.data = "hello";
    Open(Hqx(f));
    ExpectWhole(f, DecodeAll(1));
    ASSERT_EQ(ui.messages.size(), 1U);
    EXPECT_EQ(ui.messages[0].style, kMbPlain);
    EXPECT_EQ(ui.messages[0].text, kHeaderInfoOfADat);
}

TEST_F(BinHexDecoderTest, HeaderCrcMismatchWarnsAndGoesOn) {
    HqxFile f;
    f.data = "hello";
    const std::string header = HeaderRecord(f);
    const uint16_t calculated = Crc(header);
    const std::string plain = header + Word(0x1234) + Section(f.data) + Section("");
    Open(Stream(Characters(Escape(plain))));
    const Outcome o = DecodeAll(1);
    EXPECT_EQ(o.data, "hello");
    EXPECT_EQ(o.lastState, PREPARETRAILER);
    EXPECT_EQ(part.expectedChecksum, 0x1234U);
    EXPECT_EQ(part.calculatedChecksum, calculated);
    ASSERT_EQ(ui.messages.size(), 2U);
    EXPECT_EQ(ui.messages[0].text, kHeaderInfoOfADat);
    EXPECT_EQ(ui.messages[1].style, kMbExclamation);
    char expected[200];
    std::snprintf(expected, sizeof expected,
                  "Warning! Calculated header CRC of %x does not match the file header CRC of "
                  "1234!\t\t Possible corrupt input file.",
                  calculated);
    EXPECT_EQ(ui.messages[1].text, expected);
}

TEST_F(BinHexDecoderTest, KnownHeaderCrc) {
    // The encoder's header of a.txt, 3 bytes, whose CRC is e321.
    Open(EncodeWithProjectEncoder("a.txt", "abc", kEolCrLf));
    const Outcome o = DecodeAll(0);
    EXPECT_EQ(o.data, "abc");
    EXPECT_EQ(part.calculatedChecksum, 0xE321U);
    EXPECT_EQ(part.expectedChecksum, 0xE321U);
    EXPECT_TRUE(ui.messages.empty());
}

TEST_F(BinHexDecoderTest, NotInteractiveShowsNothingEvenOnMismatch) {
    HqxFile f;
    f.data = "hello";
    const std::string plain = HeaderRecord(f) + Word(0x1234) + Section(f.data) + Section("");
    Open(Stream(Characters(Escape(plain))));
    EXPECT_EQ(DecodeAll(0).data, "hello");
    EXPECT_TRUE(ui.messages.empty());
}

TEST_F(BinHexDecoderTest, LongNameIsCutAndTheStreamStaysInStep) {
    HqxFile f;
    f.name = std::string(70, 'N');
    f.data = Pattern(100);
    Open(Hqx(f));
    const Outcome o = DecodeAll();
    ExpectWhole(f, o);
    EXPECT_EQ(app.decode.HeaderName, std::string(63, 'N'));
}

struct HeaderFailure {
    const char* name;
    std::string text;
    const char* reason;
};

class BinHexHeaderFailureTest : public BinHexDecoderTest,
                                public ::testing::WithParamInterface<HeaderFailure> {};

TEST_P(BinHexHeaderFailureTest, Refused) {
    Open(GetParam().text);
    PartRecord before = part;
    EXPECT_FALSE(ReadBinHexHeader(app, input, 1, part));
    EXPECT_EQ(app.decode.DecodeErrorText, GetParam().reason);
    EXPECT_FALSE(app.decode.NameFound);
    EXPECT_EQ(part.expectedChecksum, before.expectedChecksum);
    EXPECT_TRUE(ui.messages.empty());
}

std::string HeaderOnly(std::size_t keep) {
    HqxFile f;
    return Characters(Escape(Plain(f))).substr(0, keep);
}

INSTANTIATE_TEST_SUITE_P(
    Headers, BinHexHeaderFailureTest,
    ::testing::Values(
        HeaderFailure{"NoColon", "(This file)\r\n:abc", "Missing Starting Colon ':' in x.hqx."},
        HeaderFailure{"EmptyInput", "", "Missing Starting Colon ':' in x.hqx."},
        HeaderFailure{"InvalidFirst", "7:", "Missing Starting Colon ':' in x.hqx."},
        HeaderFailure{"EndsInTheHeader", ":" + HeaderOnly(20),
                      "BinHex: Premature End of File in x.hqx.\r\nHeader incomplete."},
        HeaderFailure{"EndsBeforeTheCrc", ":" + HeaderOnly(34),
                      "BinHex: Premature End of File in x.hqx.\r\nHeader incomplete."},
        HeaderFailure{"ColonInTheHeader", ":" + HeaderOnly(12) + ":" + HeaderOnly(40),
                      "BinHex: Premature End of File in x.hqx.\r\nHeader incomplete."},
        HeaderFailure{"ColonOnly", "\r\n::",
                      "BinHex: Premature End of File in x.hqx.\r\nHeader "
                      "incomplete."},
        HeaderFailure{"InvalidInTheHeader", ":" + HeaderOnly(12) + "7" + HeaderOnly(40),
                      "BinHex: Invalid Header in x.hqx.\r\nInvalid encoded data byte (0x37)."}),
    [](const ::testing::TestParamInfo<HeaderFailure>& info) { return info.param.name; });

TEST_F(BinHexDecoderTest, BlankLinesBeforeTheOpeningColon) {
    HqxFile f;
    f.data = "x";
    Open("\r\n \t\r\n\n" + Hqx(f));
    ExpectWhole(f, DecodeAll());
}

// --- Premature ends ---

struct CutCase {
    const char* name;
    bool resource;  // cut inside the resource fork instead of the data fork
    bool colon;     // the stream ends with a colon instead of the end of the input
    const char* reason;
};

class BinHexCutTest : public BinHexDecoderTest, public ::testing::WithParamInterface<CutCase> {};

TEST_P(BinHexCutTest, ReportsLengthAndWhereItEnded) {
    const CutCase& c = GetParam();
    HqxFile f;
    f.data = Pattern(5000);
    f.resource = Pattern(3000);
    std::string plain = Section(HeaderRecord(f));
    if (c.resource) {
        plain += Section(f.data) + f.resource.substr(0, 1000);
    } else {
        plain += f.data.substr(0, 1000);
    }
    std::string text = Stream(Characters(Escape(plain)), false);
    if (c.colon) {
        text += ":\r\nmore\r\n";
    }
    Open(text, "cut.hqx");
    const Outcome o = DecodeAll();
    EXPECT_EQ(o.lastState, BADFINISH);
    EXPECT_EQ(o.lastResult, 0);
    EXPECT_EQ(app.decode.DecodeErrorText, c.reason);
    // The bytes of the failing call are not handed out.
    EXPECT_EQ(o.data, c.resource ? f.data : f.data.substr(0, 990));
}

INSTANTIATE_TEST_SUITE_P(
    Cuts, BinHexCutTest,
    ::testing::Values(CutCase{"DataEof", false, false,
                              "BinHex: Premature End of File in cut.hqx.\r\nData Length Specified "
                              "was 5000 Bytes;\r\nEOF Found After 1000 Bytes."},
                      CutCase{"DataColon", false, true,
                              "BinHex: Premature End of File in cut.hqx.\r\nData Length Specified "
                              "was 5000 Bytes;\r\nDelimiter ':' Found After 1000 Bytes."},
                      CutCase{"ResourceEof", true, false,
                              "BinHex: Premature End of File in cut.hqx.\r\nResource Length "
                              "Specified was 3000 Bytes;\r\nEOF Found After 1000 Bytes."},
                      CutCase{"ResourceColon", true, true,
                              "BinHex: Premature End of File in cut.hqx.\r\nResource Length "
                              "Specified was 3000 Bytes;\r\nDelimiter ':' Found After 1000 "
                              "Bytes."}),
    [](const ::testing::TestParamInfo<CutCase>& info) { return info.param.name; });

TEST_F(BinHexDecoderTest, StreamEndingBeforeTheDataCrc) {
    HqxFile f;
    f.data = Pattern(10);
    Open(Stream(Characters(Escape(Section(HeaderRecord(f)) + f.data))));
    const Outcome o = DecodeAll();
    EXPECT_EQ(o.lastState, BADFINISH);
    EXPECT_EQ(o.data, f.data);  // the data went out before the missing CRC was met
    EXPECT_EQ(app.decode.DecodeErrorText,
              "BinHex: Premature End of File in x.hqx.\r\nData Length Specified was 10 "
              "Bytes;\r\nDelimiter ':' Found After 10 Bytes.");
}

// --- Invalid characters ---

TEST_F(BinHexDecoderTest, InvalidCharacterRefusesThenDecodingGoesOnAfterIt) {
    HqxFile f;
    f.data = Pattern(401);
    const std::string chars = Characters(Escape(Plain(f)));
    // The 27 header bytes and the first 90 data bytes fill 39 groups exactly: the second
    // chunk starts on the invalid character.
    ASSERT_EQ(Escape(Section(HeaderRecord(f))).size(), 27U);
    const std::string text = Stream(chars.substr(0, 156) + "7" + chars.substr(156));
    Open(text);
    Outcome o;
    ASSERT_TRUE(ReadBinHexHeader(app, input, 1, part));
    Chunks(o, 1, 0);
    EXPECT_EQ(o.results, (std::vector<int>{90, -1}));
    EXPECT_EQ(o.lastState, BADFINISH);
    EXPECT_EQ(app.decode.DecodeErrorText, "Invalid encoded data byte (0x37).");
    app.decode.DecodeErrorText.clear();
    Chunks(o, 1, 1);  // the user chose to decode on
    EXPECT_EQ(o.lastState, PREPARETRAILER);
    EXPECT_EQ(o.data, f.data);
    EXPECT_EQ(app.decode.totals.runningChecksum, Crc(f.data));
    EXPECT_EQ(app.decode.DecodeErrorText, "");
}

TEST_F(BinHexDecoderTest, InvalidCharacterInsideAGroupLosesThatGroup) {
    HqxFile f;
    f.data = Pattern(30);
    const std::string chars = Characters(Escape(Plain(f)));
    // Characters 36..39 hold data bytes 0..2; the invalid one stands after the first of them.
    const std::string text = Stream(chars.substr(0, 37) + "\xE9" + chars.substr(37));
    Open(text);
    Outcome o;
    ASSERT_TRUE(ReadBinHexHeader(app, input, 0, part));
    Chunks(o, 0, 0);
    EXPECT_EQ(o.results, (std::vector<int>{-1}));
    EXPECT_EQ(app.decode.DecodeErrorText, "Invalid encoded data byte (0xe9).");
    Chunks(o, 0, 1);
    // The group resumes with the character after the invalid one, so everything after it is
    // shifted; the reader still ends, one way or the other.
    EXPECT_NE(o.lastState, DECODELINES);
    EXPECT_LE(o.data.size(), f.data.size());
}

// --- Hostile streams ---

TEST_F(BinHexDecoderTest, HostileStreamsEndWithoutHarm) {
    std::mt19937 random(17);
    for (int i = 0; i < 300; ++i) {
        std::string text = ":";
        const std::size_t size = random() % 3000;
        for (std::size_t k = 0; k < size; ++k) {
            const unsigned r = random();
            text += i % 2 == 0 ? static_cast<char>(r & 0xFFU) : BinHexAlphabet[r % 64];
        }
        Open(text);
        Outcome o;
        o.header = ReadBinHexHeader(app, input, 0, part);
        if (o.header) {
            const uint32_t dataLength = app.decode.binhex.forkLength;
            Chunks(o, 0, i % 4 == 1 ? 1 : 0);
            EXPECT_LE(o.data.size(), dataLength);
        }
    }
}

TEST_F(BinHexDecoderTest, HugeLengthsFilledByRunsEndAtTheEndOfTheInput) {
    HqxFile f;
    std::string raw = Escape(Section(HeaderRecord(f, 0xFFFFFFFFU, 0xFFFFFFFFU)));
    for (int i = 0; i < 200; ++i) {
        raw += std::string("\x41\x90\xFF", 3);
    }
    Open(Stream(Characters(raw), false));
    const Outcome o = DecodeAll(1);
    EXPECT_EQ(o.lastState, BADFINISH);
    EXPECT_EQ(app.decode.totals.expectedSize, -1);
    EXPECT_EQ(o.data.size() % 90, 0U);
    EXPECT_EQ(app.decode.DecodeErrorText,
              "BinHex: Premature End of File in x.hqx.\r\nData Length Specified was 4294967295 "
              "Bytes;\r\nEOF Found After 51000 Bytes.");
}

TEST_F(BinHexDecoderTest, ChunkAfterTheEndSaysDone) {
    HqxFile f;
    f.data = "abc";
    Open(Hqx(f));
    ExpectWhole(f, DecodeAll());
    Outcome again;
    Chunks(again, 0, 0);
    EXPECT_EQ(again.results, std::vector<int>{0});
    EXPECT_EQ(again.lastState, PREPARETRAILER);
}

}  // namespace
}  // namespace mandrel
