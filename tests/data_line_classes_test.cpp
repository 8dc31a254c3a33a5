// Where a part's data begins and ends: separator lines, the classes of the lines met while
// decoding, the trailers that the encoder itself writes, UU against XX, and the look-ahead.
#include <gtest/gtest.h>

#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "core/app_state.h"
#include "decode/data_line_classes.h"
#include "decode/header_recognition.h"
#include "decode/line_decoder.h"
#include "encode/alphabets.h"
#include "encode/part_trailers.h"
#include "platform/scripted_ui.h"
#include "support/test_files.h"

namespace mandrel {
namespace {

using test::TempDir;
using test::WriteFile;

class DataLines : public ::testing::Test {
protected:
    DataLines() : app(ui) {
        app.files.BufFileInit(10, 16384);
        ClearPartTable(app.parts);
    }
    ~DataLines() override { Close(); }

    void Close() {
        if (input != kNoBufFile) {
            app.files.BufFileClose(input);
            input = kNoBufFile;
        }
    }

    void Open(std::string_view text) {
        Close();
        const std::string path = dir.File("input.txt");
        WriteFile(path, text);
        input = app.files.BufFileOpen(path, BufOpenMode::Read, BF_TEXT | BF_CR_ENDS_LINE);
        ASSERT_GE(input, 0);
        app.decode.lineNumber = 0;
    }

    int Next() {
        ++app.decode.lineNumber;
        return app.files.BufFileReadLine(input, line.data(), kLineBufferSize);
    }
    std::string Line() const { return line.data(); }

    void Use(int format, int encoding, int knownTotal) {
        app.job.CurrentFileFormat = format;
        app.job.EncodingIndex = encoding;
        SelectDecodeTable(app, encoding);
        app.parts.JobPartCount = knownTotal;
    }

    ScriptedUi ui;
    AppState app;
    TempDir dir;
    BufFile input = kNoBufFile;
    LineBuffer line{};
};

struct Classified {
    int lineClass = -1;
    int part = -1;
    int total = -1;
    bool operator==(const Classified&) const = default;
};

std::ostream& operator<<(std::ostream& os, const Classified& c) {
    return os << "{class " << c.lineClass << ", part " << c.part << ", total " << c.total << "}";
}

class DataLineClasses : public DataLines {
protected:
    // ClassifyDataLine on the first line of text, for header part `part`.
    Classified ClassifyFirst(std::string_view text, int part) {
        Open(text);
        Next();
        return ClassifyLine(part);
    }
    Classified ClassifyLine(int part) {
        Classified c;
        c.lineClass = ClassifyDataLine(app, line.data(), part, c.part, c.total, input);
        return c;
    }
};

constexpr Classified kData{0, -1, -1};

struct LineCase {
    int format;
    int encoding;
    int knownTotal;
    int part;
    const char* text;
    Classified expected;
};

TEST_F(DataLineClasses, EveryStepOnItsOwnLine) {
    const std::vector<LineCase> cases = {
        // The end of UU and XX data.
        {3, kEncodingUU, 1, 1, "end\r\n", {2, 1, 1}},
        {3, kEncodingUU, 1, 1, "END\n", {2, 1, 1}},
        {3, kEncodingXX, 1, 1, "End \r\n", {2, 1, 1}},
        {3, kEncodingUU, 1, 1, "*end\r\n", {2, 1, 1}},
        {3, kEncodingUU, 1, 1, "end\tof data\r\n", {2, 1, 1}},
        {3, kEncodingUU, 1, 1, "end", kData},
        {3, kEncodingUU, 1, 1, "ends\r\n", kData},
        {5, kEncodingUU, 3, 3, "end\r\n", {2, 3, 3}},
        {4, kEncodingUU, 0, 3, "end\r\n", {2, 3, 3}},
        {20, kEncodingXX, 0, 2, "end\r\n", {2, 2, 2}},
        {17, kEncodingUU, 0, 3, "end\r\n", {2, 3, 0}},
        // "END" cut lines: the format's trailer, or any format's by the last test.
        {4,
         kEncodingUU,
         3,
         2,
         "END------------------------cut here--------------------------\r\n",
         {1, 2, 3}},
        {3,
         kEncodingUU,
         1,
         1,
         "END------------------------cut here--------------------------\r\n",
         {1, 1, 1}},
        {4, kEncodingUU, 0, 2, "END--cut here--cut here\r\n", {1, 2, 0}},
        {7,
         kEncodingUU,
         3,
         1,
         "END-------------------->  cut here  <------------------------\r\n",
         {1, 1, 3}},
        {9,
         kEncodingUU,
         3,
         1,
         "END------------------------CUT HERE--------------------------\r\n",
         {1, 1, 3}},
        {14, kEncodingUU, 3, 2, "END -- Cut Here -- cut here\r\n", {1, 2, 3}},
        {16,
         kEncodingXX,
         3,
         2,
         "END --- CUT HERE --- Cut Here --- cut here --- p.gif 2/3\r\n",
         {1, 2, 3}},
        {11, kEncodingUU, 3, 2, "END cut here\r\n", {1, 2, 3}},
        {17, kEncodingUU, 3, 2, "END--cut here\r\n", {1, 2, 3}},
        {20, kEncodingUU, 0, 2, "END -- CUT HERE\r\n", {1, 2, 0}},
        {17, kEncodingUU, 3, 2, "END cut here\r\n", kData},
        {4, kEncodingUU, 3, 2, "end -- cut here\r\n", kData},
        // SimTel names its part in the trailer.
        {5, kEncodingUU, 3, 2, "-------- End of part 2 of 3 --------\r\n", {1, 2, 3}},
        {5, kEncodingUU, 0, 1, "--------  END OF PART 3/4\r\n", {1, 3, 4}},
        {5, kEncodingUU, 3, 2, "-------- End of section 2 of 3 --------\r\n", kData},
        {5, kEncodingUU, 3, 2, "------- End of part 2 of 3 --------\r\n", kData},
        // Alt.binaries 1 and 3 end with "-- ".
        {6, kEncodingUU, 3, 2, "-- \r\n", {1, 2, 3}},
        {8, kEncodingXX, 3, 3, "--\r\n", {1, 3, 3}},
        {6, kEncodingUU, 3, 2, "END-------------------- cut here\r\n", {1, 2, 3}},
        {7, kEncodingUU, 3, 2, "-- \r\n", kData},
        // shar
        {10, kEncodingUU, 3, 2, "END-------------- p.gif ------------ part 2/3 ---\n", {1, 2, 3}},
        {10, kEncodingUU, 3, 2, "END-------------- p.gif ----- part 2/3 ---\n", kData},
        {10, kEncodingUU, 3, 2, "END-------------- p.gif ------------ part x/3 ---\n", kData},
        // Wincode
        {13, kEncodingUU, 3, 2, "section 2/3   file p.gif   [ Wincode v2.3 ]\r\n", {1, 2, 3}},
        {13, kEncodingXX, 0, 1, "SECTION 1 of 4\r\n", {1, 1, 4}},
        // AOL
        {18, kEncodingUU, 3, 2, "-----cut here-----\r\n", {1, 2, 3}},
        {18, kEncodingUU, 3, 2, "----- CUT HERE\r\n", {1, 2, 3}},
        {18, kEncodingUU, 3, 2, "----- x\r\n", kData},
        // Squirrel
        {19, kEncodingUU, 3, 2, "------ end of p.gif part 2 of 3 ------\r\n", {1, 2, 3}},
        {19, kEncodingUU, 3, 2, "------ end of p.gif nothing\r\n", kData},
        {19, kEncodingUU, 3, 2, "------ END -- cut here\r\n", kData},
        // Checksum lines.
        {3,
         kEncodingUU,
         1,
         1,
         "sum -r/size 55876/28 section (from \"begin\" to \"end\")\r\n",
         {3, 1, 1}},
        {5, kEncodingXX, 3, 2, "sum -r/size 1/2 entire input file\r\n", {3, 2, 3}},
        {3, kEncodingMIME, 1, 1, "sum -r/size 1/2 section\r\n", {3, 1, 1}},
        {3, kEncodingUU, 1, 1, "SUM -R/SIZE 1/2 section\r\n", kData},
        // Blank lines.
        {3, kEncodingUU, 1, 1, "\r\n", {4, 1, 1}},
        {3, kEncodingUU, 1, 1, " \r\n", kData},
        {3, kEncodingUU, 1, 1, " \n", kData},
        {3, kEncodingUU, 1, 1, "  \r\n", {4, 1, 1}},
        {3, kEncodingUU, 1, 1, "\t\r\n", {4, 1, 1}},
        {5, kEncodingUU, 3, 2, "\r\n", {4, 2, 3}},
        {3, kEncodingXX, 1, 1, " \r\n", {4, 1, 1}},
        {3, kEncodingUU, 1, 1, "", {4, 1, 1}},
        {3, kEncodingAuto, 0, 1, "\r\n", kData},
        {3, kEncodingBinHex, 1, 1, "\r\n", kData},
        // MIME ends at a blank line or a boundary.
        {3, kEncodingMIME, 1, 1, "\r\n", {2, 1, 1}},
        {3, kEncodingMIME, 1, 1, "--1000_boundary_fffffc19\r\n", {2, 1, 1}},
        {3, kEncodingMIME, 1, 1, "--1000_boundary_fffffc19--", {2, 1, 1}},
        {3, kEncodingUU, 1, 1, "--_`\r\n", kData},
        // Data.
        {3, kEncodingUU, 1, 1, "M86)C86UE(&9I;&4@:&5R90``\r\n", kData},
        {3, kEncodingMIME, 1, 1, "R0lGODlh\r\n", kData},
        {13, kEncodingXX, 3, 2, "h5U2SF0+\r\n", kData},
    };
    for (const auto& c : cases) {
        Use(c.format, c.encoding, c.knownTotal);
        EXPECT_EQ(ClassifyFirst(c.text, c.part), c.expected)
            << "format " << c.format << " encoding " << c.encoding << ": " << c.text;
    }
    EXPECT_TRUE(ui.messages.empty());
}

TEST_F(DataLineClasses, EndLineCountsIntoTheCurrentPart) {
    Use(3, kEncodingUU, 1);
    app.parts.current = 0;
    EXPECT_EQ(ClassifyFirst("end\r\n", 1), (Classified{2, 1, 1}));
    // sum -r of "end" and one LF.
    EXPECT_EQ(app.parts.rows[0].calculatedChecksum, 8292U);
    EXPECT_EQ(app.parts.rows[0].calculatedSize, 4U);

    // An END cut line is no end of data and is not counted.
    app.parts.rows[0] = PartRecord{};
    EXPECT_EQ(ClassifyFirst("END -- cut here\r\n", 1), (Classified{1, 1, 1}));
    EXPECT_EQ(app.parts.rows[0].calculatedSize, 0U);
}

TEST_F(DataLineClasses, EndOfCompBinariesMakesTheKnownTotal) {
    for (const int format : {4, 20}) {
        Use(format, kEncodingUU, 0);
        EXPECT_EQ(ClassifyFirst("end\r\n", 3), (Classified{2, 3, 3}));
        EXPECT_EQ(app.parts.JobPartCount, 3);
    }
    Use(5, kEncodingUU, 0);
    EXPECT_EQ(ClassifyFirst("end\r\n", 3), (Classified{2, 3, 0}));
    EXPECT_EQ(app.parts.JobPartCount, 0);
}

TEST_F(DataLineClasses, WincodeEndBringsTheTrailerIntoHand) {
    Use(13, kEncodingUU, 3);
    Open("end\r\n\r\n\r\nsection 3/3   file p.gif   [ Wincode v2.3 ]\r\n\r\n");
    Next();
    EXPECT_EQ(ClassifyLine(3), (Classified{2, 3, 3}));
    EXPECT_EQ(Line(), "section 3/3   file p.gif   [ Wincode v2.3 ]\r");
    EXPECT_EQ(app.decode.lineNumber, 4);
    // The driver hands the line in hand back to the classification.
    EXPECT_EQ(ClassifyLine(3), (Classified{1, 3, 3}));
}

TEST_F(DataLineClasses, WincodeBlankLinesLeadToTheLineAfterThem) {
    Use(13, kEncodingUU, 3);
    // The line of one blank is data, the UU line for no bytes...
    Open(" \r\n\r\n");
    Next();
    EXPECT_EQ(ClassifyLine(2), kData);
    // ...except among the blank lines that are skipped.
    Open("\r\n \r\n\r\nsum -r/size 1/2 section (from first to last encoded line)\r\n");
    Next();
    EXPECT_EQ(ClassifyLine(2), (Classified{3, 2, 3}));
    EXPECT_EQ(app.decode.lineNumber, 4);
    Open("\r\n\r\nsum -r/size 1/2 section (from first to last encoded line)\r\n");
    Next();
    EXPECT_EQ(ClassifyLine(2), (Classified{3, 2, 3}));
    EXPECT_EQ(app.decode.lineNumber, 3);
    Open("\r\n\r\nM86)C\r\n");
    Next();
    EXPECT_EQ(ClassifyLine(2), kData);
    EXPECT_EQ(Line(), "M86)C\r");
    // Blank lines up to the end of the input end the data.
    Open("\r\n\r\n");
    Next();
    EXPECT_EQ(ClassifyLine(2), (Classified{4, 2, 3}));
    EXPECT_EQ(Line(), "");
}

TEST_F(DataLineClasses, RefusedTrailerNumbersFallThrough) {
    Use(5, kEncodingUU, 3);
    EXPECT_EQ(ClassifyFirst("-------- End of part 300 of 3 --------\r\n", 2), kData);
    Use(10, kEncodingUU, 3);
    EXPECT_EQ(ClassifyFirst("END--- p ---------- part 2/300 -- cut here\r\n", 2),
              (Classified{1, 2, 3}));
    std::vector<std::string> texts;
    for (const auto& m : ui.messages) {
        texts.push_back(m.text);
    }
    EXPECT_EQ(texts, (std::vector<std::string>{"Part 300 Must be Between 1 and 99.",
                                               "Part 300 Must be Between 1 and 99."}));
}

// ---- Separators ----

TEST_F(DataLines, SeparatorLines) {
    struct Case {
        int format;
        const char* text;
        bool separator;
    };
    const std::vector<Case> cases = {
        {4, "BEGIN--cut here--cut here\r\n", true},
        {4, "BEGIN part\r\n", true},
        {4, "BEGIN\r\n", false},
        {4, "begin--cut here--cut here\r\n", false},
        {6, "BEGIN --- CUT HERE --- Cut Here --- cut here --- photo.jpg\r\n", true},
        {7, "BEGIN------------------>  cut here  <------------------------\r\n", true},
        {9, "BEGIN----------------------CUT HERE--------------------------\r\n", true},
        {11, "BEGIN------------------------cut here------------------------\r\n", true},
        {12, "BEGIN----------------------CUT HERE--------------------------\r\n", true},
        {14, "BEGIN -- Cut Here -- cut here\r\n", true},
        {15, "BEGIN PART 1\r\n", true},
        {8, "\r\n", true},
        {8, " \t\r\n", true},
        {8, "BEGIN -- cut here\r\n", true},
        {8, "BEGIN cut here\r\n", false},
        {8, "begin 644 photo.jpg\r\n", false},
        {18, "-----cut here-----\r\n", true},
        {18, "----- x\r\n", false},
        {18, "BEGIN -- CUT HERE\r\n", true},
        {18, "BEGIN CUT HERE\r\n", false},
        {17, "The following line should contain ASCII characters 0x20-0x5F\r\n", true},
        {17, "BEGIN--cut here\r\n", true},
        {17, "The following lines\r\n", true},
        {17, "The next line\r\n", false},
    };
    for (const auto& c : cases) {
        app.job.CurrentFileFormat = c.format;
        Open(std::string(c.text) + "next\r\n");
        Next();
        EXPECT_EQ(IsSeparatorLine(app, line.data(), input), c.separator)
            << "format " << c.format << ": " << c.text;
    }
}

TEST_F(DataLines, BitftpSeparatorTakesTheTestCharacters) {
    app.job.CurrentFileFormat = 17;
    Open(
        "The following line should contain ASCII characters 0x20-0x5F\r\n"
        "`!\"#$%&'()*+,-./0123456789:;<=>?@ABCDEFGHIJKLMNOPQRSTUVWXYZ[\\]^_ \r\n"
        "\r\n"
        "begin 644 photo.jpg\r\n");
    Next();
    EXPECT_TRUE(IsSeparatorLine(app, line.data(), input));
    EXPECT_EQ(app.decode.lineNumber, 2);
    Next();
    EXPECT_EQ(Line(), "\r");
}

// ---- UU or XX ----

TEST_F(DataLines, GuessUuOrXx) {
    struct Case {
        const char* text;
        int decided;
        int encoding;
    };
    const std::vector<Case> cases = {
        {"M86)C86UE\r\n", 1, kEncodingUU},
        {"AB`cd\r\n", 1, kEncodingUU},
        {"AB!cd\r\n", 1, kEncodingUU},
        {"AB cd\r\n", 1, kEncodingUU},
        {"ABcd!\r\n", 1, kEncodingXX},
        {"h5U2SF0+\r\n", 1, kEncodingXX},
        {"ABC123\r\n", 0, kEncodingAuto},
        {"ABC123", 0, kEncodingAuto},
        {"AB\xE9"
         "cd\r\n",
         0, kEncodingAuto},
        {"", 0, kEncodingAuto},
    };
    for (const auto& c : cases) {
        app.job.EncodingIndex = kEncodingAuto;
        SelectDecodeTable(app, kEncodingAuto);
        EXPECT_EQ(GuessUuOrXx(app, c.text), c.decided) << c.text;
        EXPECT_EQ(app.job.EncodingIndex, c.encoding) << c.text;
        const DecodeTable* expectedTable =
            c.encoding == kEncodingAuto ? nullptr : &DecodeTableFor(c.encoding);
        EXPECT_EQ(app.decode.currentTable, expectedTable) << c.text;
    }
}

// ---- Looking ahead ----

TEST_F(DataLines, AtEndOfInputLooksWithoutMoving) {
    for (const char* text : {"one\r\ntwo\r\n", "one\ntwo", "one\rtwo\r", "one\r\n\r\ntwo\r\n"}) {
        Open(text);
        Next();
        EXPECT_EQ(AtEndOfInput(app, input), 0) << text;
        EXPECT_EQ(app.decode.lineNumber, 1);
        std::string second;
        do {
            ASSERT_GT(Next(), 0) << text;
            second = Line();
        } while (IsBlankLine(line.data()));
        EXPECT_EQ(second.substr(0, 3), "two") << text;
        EXPECT_EQ(AtEndOfInput(app, input), 1) << text;
        EXPECT_EQ(Next(), 0) << text;
    }
}

TEST_F(DataLines, AtEndOfInputOnTheLastLine) {
    Open("begin 644 a\r\nend\r\n");
    Next();
    Next();
    const long lineNumber = app.decode.lineNumber;
    EXPECT_EQ(AtEndOfInput(app, input), 1);
    EXPECT_EQ(app.decode.lineNumber, lineNumber);
    // A blank last line still counts as a line.
    Open("end\r\n\r\n");
    Next();
    EXPECT_EQ(AtEndOfInput(app, input), 0);
    Next();
    EXPECT_EQ(Line(), "\r");
    EXPECT_EQ(AtEndOfInput(app, input), 1);
}

TEST_F(DataLines, AtEndOfInputKeepsLinesWithNulBytes) {
    Open(std::string("one\r\nt\0o\r\nthree\r\n", 17));
    Next();
    EXPECT_EQ(AtEndOfInput(app, input), 0);
    EXPECT_EQ(Next(), 4);
    EXPECT_EQ(Next(), 6);
    EXPECT_EQ(Line(), "three\r");
}

TEST_F(DataLines, SkipBlankLines) {
    Open("\r\n \r\n\t\r\nxyz\r\nrest\r\n");
    SkipBlankLines(app, input, line.data());
    EXPECT_EQ(Line(), "xyz\r");
    EXPECT_EQ(app.decode.lineNumber, 4);
    Open("\r\n  \r\n");
    SkipBlankLines(app, input, line.data());
    EXPECT_EQ(Line(), "");
    EXPECT_EQ(app.decode.lineNumber, 3);
}

// ---- The encoder's own trailers, read back ----

class EncodedTrailers : public DataLineClasses {
protected:
    std::string EncoderTrailer(int format, int encoding, int eol, bool checksums, int part,
                               int total) {
        app.encode = EncodeJob{};
        app.job.CurrentFileFormat = format;
        app.job.EncodingIndex = encoding;
        app.job.FileIndex = 0;
        app.job.FileCount = 1;
        app.config.encodecrlf = eol;
        app.config.encodechecksum = checksums ? 1 : 0;
        app.encode.InputSize = 1000;
        app.encode.MimeBoundary = "1000_boundary_fffffc19";
        app.encode.CurrentAlphabet = encoding == kEncodingXX     ? XXAlphabet
                                     : encoding == kEncodingMIME ? Base64Alphabet
                                                                 : UUAlphabet;
        EXPECT_TRUE(app.encode.OutputBuffer.Allocate(1 << 16, 1 << 16));
        EXPECT_EQ(WritePartTrailer(app, part, total, "photo.jpg"), 0);
        std::string text(app.encode.OutputBuffer.Held());
        app.encode.OutputBuffer.Free();
        return text;
    }

    // Classifies the trailer's lines one after the other, as the decoder meets them after a
    // part's data, and returns the first that closes the part (class 1 or 2), else the first
    // blank line that ends the data (class 4).
    Classified Closing(const std::string& text, int format, int encoding, int knownTotal,
                       int part) {
        Use(format, encoding, knownTotal);
        Open(text);
        Classified blankEnd;
        while (Next() > 0) {
            const Classified c = ClassifyLine(part);
            if (c.lineClass == kLineTrailer || c.lineClass == kLineEndOfData) {
                return c;
            }
            if (c.lineClass == kLineBlankEnd && blankEnd.lineClass < 0) {
                blankEnd = c;
            }
        }
        return blankEnd;
    }
};

TEST_F(EncodedTrailers, EveryMultiPartFormatIsReadBack) {
    struct Case {
        int format;
        int knownTotal;     // what the decoder knows from the headers
        Classified middle;  // part 2 of 3
    };
    const std::vector<Case> cases = {
        {4, 0, {1, 2, 0}},
        {5, 3, {1, 2, 3}},
        {6, 3, {1, 2, 3}},
        {7, 3, {1, 2, 3}},
        {8, 3, {1, 2, 3}},
        {9, 3, {1, 2, 3}},
        {10, 3, {1, 2, 3}},
        {11, 3, {1, 2, 3}},
        {12, 3, {1, 2, 3}},
        {13, 3, {1, 2, 3}},
        {14, 3, {1, 2, 3}},
        {16, 3, {1, 2, 3}},
        // These two end a part with blank lines only.
        {17, 3, {4, 2, 3}},
        {20, 0, {4, 2, 0}},
    };
    for (const int encoding : {kEncodingUU, kEncodingXX}) {
        for (const int eol : {kEolCrLf, kEolLf}) {
            for (const bool checksums : {false, true}) {
                for (const auto& c : cases) {
                    const std::string middle =
                        EncoderTrailer(c.format, encoding, eol, checksums, 2, 3);
                    EXPECT_EQ(Closing(middle, c.format, encoding, c.knownTotal, 2), c.middle)
                        << "format " << c.format << " encoding " << encoding << " checksums "
                        << checksums << "\n"
                        << middle;
                    // The last part ends with "end", which closes the data; where no header
                    // told the total, the last part makes it.
                    const std::string last =
                        EncoderTrailer(c.format, encoding, eol, checksums, 3, 3);
                    EXPECT_EQ(Closing(last, c.format, encoding, c.knownTotal, 3),
                              (Classified{2, 3, 3}))
                        << "format " << c.format << " encoding " << encoding << " checksums "
                        << checksums << "\n"
                        << last;
                }
            }
        }
    }
    EXPECT_TRUE(ui.messages.empty());
}

TEST_F(EncodedTrailers, FormatTrailerFollowsTheEndOfTheLastPart) {
    // After "end" and the checksum lines the format's own trailer still closes the part.
    struct Case {
        int format;
        Classified trailer;
    };
    const std::vector<Case> cases = {
        {4, {1, 3, 3}},  {5, {1, 3, 3}},  {6, {1, 3, 3}},  {10, {1, 3, 3}},
        {11, {1, 3, 3}}, {14, {1, 3, 3}}, {16, {1, 3, 3}},
    };
    for (const auto& c : cases) {
        const std::string text = EncoderTrailer(c.format, kEncodingUU, kEolCrLf, true, 3, 3);
        Use(c.format, kEncodingUU, 3);
        Open(text);
        std::vector<int> classes;
        Classified lastTrailer;
        while (Next() > 0) {
            const Classified got = ClassifyLine(3);
            classes.push_back(got.lineClass);
            if (got.lineClass == kLineTrailer) {
                lastTrailer = got;
            }
        }
        EXPECT_EQ(lastTrailer, c.trailer) << text;
        ASSERT_FALSE(classes.empty());
        EXPECT_EQ(classes.front(), kLineEndOfData) << text;
    }
}

TEST_F(EncodedTrailers, SingleFile) {
    for (const int eol : {kEolCrLf, kEolLf}) {
        for (const bool checksums : {false, true}) {
            for (const int encoding : {kEncodingUU, kEncodingXX, kEncodingMIME}) {
                const std::string text = EncoderTrailer(3, encoding, eol, checksums, 1, 1);
                EXPECT_EQ(Closing(text, 3, encoding, 1, 1), (Classified{2, 1, 1}))
                    << encoding << "\n"
                    << text;
            }
        }
    }
    // The MIME closing delimiter on its own.
    const std::string text = EncoderTrailer(3, kEncodingMIME, kEolCrLf, false, 1, 1);
    Use(3, kEncodingMIME, 1);
    Open(text);
    Next();
    ASSERT_TRUE(IsBlankLine(line.data()));
    Next();
    EXPECT_EQ(Line(), "--1000_boundary_fffffc19--");
    EXPECT_EQ(ClassifyLine(1), (Classified{2, 1, 1}));
}

TEST_F(EncodedTrailers, WincodeLastPartInHand) {
    const std::string text = EncoderTrailer(13, kEncodingUU, kEolCrLf, false, 3, 3);
    Use(13, kEncodingUU, 3);
    Open(text);
    Next();
    EXPECT_EQ(ClassifyLine(3), (Classified{2, 3, 3}));
    EXPECT_EQ(Line(), "section 3/3   file photo.jpg   [ Wincode v2.3 ]\r");
    EXPECT_EQ(ClassifyLine(3), (Classified{1, 3, 3}));
}

// ---- Hostile lines ----

TEST_F(DataLineClasses, HostileLinesNeverBreakTheClassification) {
    std::vector<std::string> lines = {
        std::string(254, ' '),
        std::string(254, '-'),
        "END" + std::string(251, '-'),
        "END--" + std::string(249, ' '),
        "-------- End of part " + std::string(233, '9'),
        "section " + std::string(246, '9'),
        "------ end of " + std::string(240, 'x'),
        "The following line",
        std::string("end\0\r\n", 6),
        std::string("\0end\r\n", 6),
        std::string(" \0\r\n", 4),
    };
    std::mt19937 random(77);
    for (int i = 0; i < 200; ++i) {
        std::string text(254, '\0');
        for (char& c : text) {
            c = static_cast<char>(random() % 256);
        }
        lines.push_back(text);
    }
    std::string everything;
    for (const std::string& text : lines) {
        everything += text;
    }
    for (int format = 0; format <= 20; ++format) {
        for (int encoding = kEncodingAuto; encoding <= kEncodingBinHex; ++encoding) {
            Use(format, encoding, 3);
            Open(everything);
            for (const std::string& text : lines) {
                LineBuffer hostile{};
                std::copy(text.begin(), text.end(), hostile.begin());
                int part = -1;
                int total = -1;
                const int lineClass = ClassifyDataLine(app, hostile.data(), 2, part, total, input);
                EXPECT_GE(lineClass, 0);
                EXPECT_LE(lineClass, 4);
                if (lineClass != 0) {
                    EXPECT_GE(part, 1);
                    EXPECT_LE(part, 99);
                }
                IsSeparatorLine(app, hostile.data(), input);
                GuessUuOrXx(app, hostile.data());
                app.job.EncodingIndex = encoding;
                EXPECT_EQ(hostile[kLineBufferSize], '\0');
            }
        }
    }
}

}  // namespace
}  // namespace mandrel
