// The BinHex reader against an independent writer with run-length compression: whole streams
// from it and from the program's own encoder, runs, noise between the characters, the header
// and its CRC, premature ends and invalid characters.
#include "decode/binhex_decoder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <random>
#include <string>
#include <vector>

#include "codec/alphabets.h"
#include "platform/scripted_ui.h"
#include "shell/app_state.h"
#include "support/encoded_text.h"
#include "support/test_files.h"

namespace mandrel {
namespace {

using test::Crc16Xmodem;
using test::Hex;

// --- An independent BinHex 4.0 writer, with run-length compression ---

std::string Word(uint32_t value) {
    return {static_cast<char>((value >> 8) & 0xFFU), static_cast<char>(value & 0xFFU)};
}

std::string Long(uint32_t value) {
    return Word(value >> 16) + Word(value & 0xFFFFU);
}

std::string Section(std::string_view plain) {
    return std::string(plain) + Word(Crc16Xmodem(plain));
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

// The stream the program's own encoder writes, from its opening colon to the line end after
// its closing one.
std::string EncodeWithProjectEncoder(const test::TempDir& dir, const std::string& name,
                                     const std::string& data, int eol) {
    const std::string text =
        test::EncodeParts(dir.path() / "enc", name, data, {.method = kMethodBinHex, .eol = eol})[0];
    const std::size_t start = text.find("\n:") + 1;
    const std::size_t end = text.find('\n', text.rfind(':')) + 1;
    return text.substr(start, end - start);
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
        EXPECT_EQ(app.decode.totals.expectedChecksum, Crc16Xmodem(f.data));
        EXPECT_EQ(app.decode.totals.runningChecksum, Crc16Xmodem(f.data));
        EXPECT_EQ(part.calculatedChecksum, Crc16Xmodem(HeaderRecord(f)));
        EXPECT_EQ(part.expectedChecksum, part.calculatedChecksum);
    }

    test::TempDir dir;
    ScriptedUi ui;
    AppState app{ui, ui};
    PartRecord part;
    BufFile input = kNoBufFile;
};

TEST_F(BinHexDecoderTest, StreamsOfBothWritersDecodeBack) {
    for (const int eol : {kEolCrLf, kEolLf}) {
        for (const std::size_t size : {0, 1, 2, 3, 89, 90, 91, 1000}) {
            SCOPED_TRACE(std::to_string(size) + " bytes, eol " + std::to_string(eol));
            const std::string data = test::RandomBytes(size + 7, size);
            const std::string stream = EncodeWithProjectEncoder(dir, "some file.bin", data, eol);
            Open(stream + "sum -r/size 1/2 entire input file\r\n");
            const Outcome o = DecodeAll();
            EXPECT_EQ(Hex(o.data), Hex(data));
            EXPECT_EQ(o.lastState, PREPARETRAILER);
            EXPECT_EQ(app.decode.HeaderName, "some file.bin");
            EXPECT_EQ(app.decode.totals.runningChecksum, Crc16Xmodem(data));
            EXPECT_EQ(app.decode.totals.expectedChecksum, Crc16Xmodem(data));
            EXPECT_EQ(part.expectedChecksum, part.calculatedChecksum);
            // Every character up to the closing colon was read, and nothing after it.
            EXPECT_EQ(app.decode.binhex.charactersRead, stream.rfind(':') + 1);
            EXPECT_EQ(NextLine(), eol == kEolCrLf ? "\r" : "\n");
            EXPECT_EQ(NextLine(), "sum -r/size 1/2 entire input file\r");
        }
    }
    // Buffers of other sizes end their fills at every place of a group and of a line.
    const std::string data = test::RandomBytes(8, 3000);
    const std::string stream = EncodeWithProjectEncoder(dir, "x.bin", data, kEolCrLf);
    for (unsigned size = 512; size < 580; ++size) {
        app.files.BufFileClose(input);
        input = kNoBufFile;
        app.files.BufFileShutdown();
        app.files.BufFileInit(10, size);
        Open(stream);
        EXPECT_EQ(Hex(DecodeAll().data), Hex(data)) << size;
    }
    // Compressed runs, markers and a resource fork, which is read in pieces and kept out.
    HqxFile f;
    f.name = std::string(70, 'N');  // the name field holds 63 characters
    f.data = std::string(300, 'A') + std::string(4, '\x90') + "xy" + std::string(2, '\x90') +
             std::string(700, '\0') + test::RandomBytes(5, 2000);
    f.resource = std::string(1000, 'R') + test::RandomBytes(6, 500);
    const std::string text = Hqx(f);
    ASSERT_LT(text.size(), Plain(f).size());
    Open(text + "next line\r\n");
    const Outcome o = DecodeAll();
    ExpectWhole(f, o);
    EXPECT_EQ(ui.statuses, std::vector<std::string>{"Ignoring Resource Fork in x.hqx ..."});
    const std::size_t dataCalls = (f.data.size() + 89) / 90;
    EXPECT_GT(o.results.size(), dataCalls + f.resource.size() / 90);
    EXPECT_EQ(NextLine(), "\r");
    EXPECT_EQ(NextLine(), "next line\r");
    EXPECT_TRUE(ui.messages.empty());
}

TEST_F(BinHexDecoderTest, RunsExpand) {
    // clang-format off
    const std::pair<std::string, std::string> runs[] = {
        {std::string("\x41\x90\x05", 3), std::string(5, 'A')}, {std::string("\x90\x00", 2), "\x90"},
        {std::string("\x90\x00\x90\x03", 4), std::string(3, '\x90')}, {std::string("\x41\x90\x02", 3), "AA"},
        {std::string("\x41\x90\x01\x42", 4), "AB"},  // a count of one adds nothing
        {std::string("\x41\x90\x05\x90\x03", 5), std::string(7, 'A')},
        {std::string("\x00\x90\xFF\x01", 4), std::string(255, '\0') + "\x01"},
    };
    // clang-format on
    for (const auto& [raw, decoded] : runs) {
        HqxFile f;
        f.data = decoded;
        Open(Stream(Characters(Compress(Section(HeaderRecord(f))) + raw +
                               Compress(Word(Crc16Xmodem(decoded)) + Section("")))));
        ExpectWhole(f, DecodeAll());
    }
}

// Line ends, blanks and tabs anywhere are no characters; a stream whose last group is short
// ends in two or three characters, and the colon after them leaves the next line whole.
TEST_F(BinHexDecoderTest, TheCharacterLayer) {
    HqxFile f;
    f.data = test::RandomBytes(11, 700);
    f.resource = "resource";
    std::mt19937 random(3);
    const std::array<std::string_view, 5> noise = {" ", "\t", "\r\n", "\n", "\r"};
    std::string text = "\r\n \t\n:";
    for (const char c : Characters(Compress(Plain(f)))) {
        while (random() % 3 == 0) {
            text += noise[random() % noise.size()];
        }
        text += c;
    }
    Open(text + " \t\r\n:rest of line\r\n");
    ExpectWhole(f, DecodeAll());
    EXPECT_EQ(NextLine(), "rest of line\r");
    for (std::size_t size = 0; size < 6; ++size) {
        HqxFile g;
        g.data = Pattern(size);
        Open(Stream(Characters(Escape(Plain(g)))) + "sum -r/size 12345/678 entire input file\r\n");
        ExpectWhole(g, DecodeAll());
        EXPECT_EQ(NextLine(), "\r");
        EXPECT_EQ(NextLine(), "sum -r/size 12345/678 entire input file\r");
    }
}

TEST_F(BinHexDecoderTest, TheHeaderShownAndItsCrcChecked) {
    HqxFile f;
    f.data = "hello";
    const char* const info =
        "BinHex Header Information:\r\n\r\nFile Name:\ta.dat\r\nFile Type: \tTEXT\r\nFile "
        "Creator:\tttxt\r\nFile Flags: \t101\r\nData size: \t5\r\nResource size:\t0";
    Open(Hqx(f));
    ExpectWhole(f, DecodeAll(1));
    ASSERT_EQ(ui.messages.size(), 1U);
    EXPECT_EQ(ui.messages[0].text, info);
    // A header whose CRC differs is shown with a warning, and decoding goes on.
    const std::string header = HeaderRecord(f);
    const std::string plain = header + Word(0x1234) + Section(f.data) + Section("");
    for (const int interactive : {1, 0}) {
        Open(Stream(Characters(Escape(plain))));
        EXPECT_EQ(DecodeAll(interactive).data, "hello");
        EXPECT_EQ(part.expectedChecksum, 0x1234U);
        EXPECT_EQ(part.calculatedChecksum, Crc16Xmodem(header));
        char warning[200];
        std::snprintf(warning, sizeof warning,
                      "Warning! Calculated header CRC of %x does not match the file header CRC "
                      "of 1234!\t\t Possible corrupt input file.",
                      Crc16Xmodem(header));
        EXPECT_EQ(ui.messages.size(), interactive != 0 ? 2U : 0U);
        if (interactive != 0) {
            EXPECT_EQ(ui.messages[1].text, warning);
        }
    }
    const std::string headerOnly = Characters(Escape(Plain(HqxFile{})));
    const std::pair<std::string, const char*> refused[] = {
        {"(This file)\r\n:abc", "Missing Starting Colon ':' in x.hqx."},
        {"", "Missing Starting Colon ':' in x.hqx."},
        {":" + headerOnly.substr(0, 34),
         "BinHex: Premature End of File in x.hqx.\r\nHeader "
         "incomplete."},
        {":" + headerOnly.substr(0, 12) + ":" + headerOnly,
         "BinHex: Premature End of File in x.hqx.\r\nHeader incomplete."},
        {":" + headerOnly.substr(0, 12) + "7" + headerOnly,
         "BinHex: Invalid Header in x.hqx.\r\nInvalid encoded data byte (0x37)."},
    };
    for (const auto& [text, reason] : refused) {
        Open(text);
        EXPECT_FALSE(ReadBinHexHeader(app, input, 1, part)) << text;
        EXPECT_EQ(app.decode.DecodeErrorText, reason);
        EXPECT_FALSE(app.decode.NameFound);
        EXPECT_TRUE(ui.messages.empty());
    }
}

TEST_F(BinHexDecoderTest, PrematureEndsSayWhereAndHandOutNoBrokenChunk) {
    struct Cut {
        bool resource;
        bool colon;
        const char* reason;
    };
    const Cut cuts[] = {
        {false, false, "Data Length Specified was 5000 Bytes;\r\nEOF Found After 1000 Bytes."},
        {false, true,
         "Data Length Specified was 5000 Bytes;\r\nDelimiter ':' Found After 1000 Bytes."},
        {true, false, "Resource Length Specified was 3000 Bytes;\r\nEOF Found After 1000 Bytes."},
        {true, true,
         "Resource Length Specified was 3000 Bytes;\r\nDelimiter ':' Found After 1000 Bytes."},
    };
    for (const Cut& c : cuts) {
        HqxFile f;
        f.data = Pattern(5000);
        f.resource = Pattern(3000);
        std::string plain = Section(HeaderRecord(f));
        plain += c.resource ? Section(f.data) + f.resource.substr(0, 1000) : f.data.substr(0, 1000);
        Open(Stream(Characters(Escape(plain)), false) + (c.colon ? ":\r\nmore\r\n" : ""));
        const Outcome o = DecodeAll();
        EXPECT_EQ(o.lastState, BADFINISH);
        EXPECT_EQ(app.decode.DecodeErrorText,
                  std::string("BinHex: Premature End of File in x.hqx.\r\n") + c.reason);
        EXPECT_EQ(o.data, c.resource ? f.data : f.data.substr(0, 990));
    }
    // Lengths of 4 GiB filled by runs end at the end of the input, in whole chunks.
    HqxFile f;
    std::string raw = Escape(Section(HeaderRecord(f, 0xFFFFFFFFU, 0xFFFFFFFFU)));
    for (int i = 0; i < 200; ++i) {
        raw += std::string("\x41\x90\xFF", 3);
    }
    Open(Stream(Characters(raw), false));
    const Outcome o = DecodeAll(1);
    EXPECT_EQ(app.decode.DecodeErrorText,
              "BinHex: Premature End of File in x.hqx.\r\nData Length Specified was 4294967295 "
              "Bytes;\r\nEOF Found After 51000 Bytes.");
    EXPECT_EQ(o.data.size() % 90, 0U);
}

TEST_F(BinHexDecoderTest, InvalidCharacterIsRefusedThenDecodedPast) {
    HqxFile f;
    f.data = Pattern(401);
    const std::string chars = Characters(Escape(Plain(f)));
    // The 27 header bytes and 90 data bytes fill 39 groups: the second chunk starts on it.
    Open(Stream(chars.substr(0, 156) + "7" + chars.substr(156)));
    Outcome o;
    ASSERT_TRUE(ReadBinHexHeader(app, input, 1, part));
    Chunks(o, 1, 0);
    EXPECT_EQ(o.results, (std::vector<int>{90, -1}));
    EXPECT_EQ(app.decode.DecodeErrorText, "Invalid encoded data byte (0x37).");
    Chunks(o, 1, 1);  // the user chose to decode on
    EXPECT_EQ(o.lastState, PREPARETRAILER);
    EXPECT_EQ(o.data, f.data);
    EXPECT_EQ(app.decode.totals.runningChecksum, Crc16Xmodem(f.data));
}

}  // namespace
}  // namespace mandrel
