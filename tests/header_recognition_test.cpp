// Header recognition: every header shape, the "begin" line, the MIME header block, the
// part-number phrases and the small scanners, on lines written here and on the headers that
// the encoder itself writes.
#include <gtest/gtest.h>

#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "core/app_state.h"
#include "decode/header_recognition.h"
#include "encode/alphabets.h"
#include "encode/encode_driver.h"
#include "encode/part_headers.h"
#include "platform/scripted_ui.h"
#include "support/test_files.h"

namespace mandrel {
namespace {

using test::TempDir;
using test::WriteFile;

constexpr std::string_view kUnknown = "DontKnow.Yet";

// The decoder's view of one input: the file opened as the driver opens it, and the line in
// hand read the way the driver reads it.
class RecognizerInput : public ::testing::Test {
protected:
    RecognizerInput() : app(ui) {
        app.files.BufFileInit(10, 16384);
        ClearPartTable(app.parts);
    }
    ~RecognizerInput() override { Close(); }

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

    // The driver's own read of the next line.
    int Next() {
        ++app.decode.lineNumber;
        return app.files.BufFileReadLine(input, line.data(), kLineBufferSize);
    }
    std::string Line() const { return line.data(); }

    std::vector<std::string> MessageTexts() const {
        std::vector<std::string> texts;
        for (const auto& m : ui.messages) {
            texts.push_back(m.text);
        }
        return texts;
    }

    ScriptedUi ui;
    AppState app;
    TempDir dir;
    BufFile input = kNoBufFile;
    LineBuffer line{};
};

struct Header {
    int format = -1;
    int part = -1;
    int total = -1;
    std::string name;
    bool operator==(const Header&) const = default;
};

std::ostream& operator<<(std::ostream& os, const Header& h) {
    return os << "{format " << h.format << ", part " << h.part << ", total " << h.total
              << ", name \"" << h.name << "\"}";
}

class HeaderRecognition : public RecognizerInput {
protected:
    // RecognizeHeader on the first line of text.
    Header RecognizeFirst(std::string_view text) {
        Open(text);
        Next();
        return RecognizeLine();
    }
    Header RecognizeLine() {
        Header h;
        h.format = RecognizeHeader(app, line.data(), input, h.part, h.total, h.name);
        return h;
    }
};

// One line and what it opens; the current format and the known total are the decoder's state
// when the line comes.
struct OneLineCase {
    const char* line;
    int currentFormat;
    int knownTotal;
    Header expected;
};

TEST_F(HeaderRecognition, EveryShapeOnItsOwnLine) {
    const std::vector<OneLineCase> cases = {
        {"begin 644 picture.gif\r\n", 0, 0, {3, 1, 1, "picture.gif"}},
        {"BEGIN 644 picture.gif\n", 0, 0, {3, 1, 1, "picture.gif"}},
        {"begin\t644 picture.gif\r\n", 3, 1, {3, 1, 1, "picture.gif"}},
        {"begin 644\r\n", 0, 0, {3, 1, 1, ""}},
        {"begin 644 my picture.gif\r\n", 0, 0, {3, 1, 1, "my picture.gif"}},
        {"*begin picture.gif\r\n", 0, 0, {3, 1, 1, "picture.gif"}},
        {"*BEGIN  picture.gif\r\n", 0, 0, {3, 1, 1, "picture.gif"}},
        // Part 1's begin line under a multi-part header takes that format and the known total.
        {"begin 644 picture.gif\r\n", 5, 3, {5, 1, 3, "picture.gif"}},
        {"begin 644 picture.gif\r\n", 13, 0, {13, 1, 0, "picture.gif"}},
        {"BEGIN --- CUT HERE --- Cut Here --- cut here --- picture.gif 1/3\r\n",
         0,
         0,
         {16, 1, 3, "picture.gif"}},
        {"BEGIN --- CUT HERE --- CUT HERE --- CUT HERE --- CUT HERE picture.gif 2/3\r\n",
         0,
         0,
         {16, 2, 3, "picture.gif"}},
        {"------------ Part 2 of 3 ------------\r\n", 0, 0, {5, 2, 3, std::string(kUnknown)}},
        {"Archive-name: picture/part02\r\n", 0, 3, {4, 2, 3, "picture"}},
        {"ARCHIVE-NAME:   picture/Part7\r\n", 0, 0, {4, 7, 0, "picture"}},
        {"Subject: picture.gif (1/3)\r\n", 0, 0, {6, 1, 3, "picture.gif"}},
        {"Subject: picture (1/3)\r\n", 0, 0, {8, 1, 3, "picture"}},
        {"Subject: picture.gif [part 1/3]\r\n", 0, 0, {7, 1, 3, "picture.gif"}},
        {"Subject: picture.gif [1/3]\r\n", 0, 0, {8, 1, 3, "picture.gif"}},
        {"Subject: picture [1/3]\r\n", 0, 0, {9, 1, 3, "picture"}},
        {"subject:   re picture.gif (part 2 of 3)\n", 0, 0, {6, 2, 3, "re picture.gif"}},
        {"Subject: -tag- picture.gif (2/3)\r\n", 0, 0, {6, 2, 3, "picture.gif"}},
        {"Subject: picture.gif, Part 001 of 003 (uuencoded)\r\n", 0, 0, {17, 1, 3, "picture.gif"}},
        {"Subject: picture.gif, Part 002 of 003 (XXencoded)\r\n", 0, 0, {17, 2, 3, "picture.gif"}},
        {"section 2/3   file picture.gif   [ Wincode v2.3 ]\r\n", 0, 0, {13, 2, 3, "picture.gif"}},
        {"section 2 of uuencode 5.24 of file picture.gif    by Quorvane, Inc.\r\n",
         0,
         4,
         {20, 2, 4, "picture.gif"}},
        {"section 1 of xxencode 5.24 of file picture.gif    by Quorvane, Inc.\r\n",
         0,
         0,
         {20, 1, 0, "picture.gif"}},
        {"BEGIN------------ picture.gif ------------ part 2/3 ---\n",
         0,
         0,
         {10, 2, 3, "picture.gif"}},
        {"X-File-Name: picture.gif\r\nX-Part: 2\r\nX-Part-Total: 3\r\n\r\n",
         0,
         0,
         {11, 2, 3, "picture.gif"}},
        {"POST V1.2.0 picture.gif (Part 2/3)\r\n", 0, 0, {14, 2, 3, "picture.gif"}},
        {"POST V2.0.1 picture.gif (Part 2/3)\r\n", 0, 0, {15, 2, 3, "picture.gif"}},
        {"(This file must be converted with BinHex 4.0)\r\n",
         0,
         0,
         {3, 1, 1, std::string(kUnknown)}},
        {"Subj: #2(3)\r\n", 0, 0, {18, 2, 3, std::string(kUnknown)}},
        {"SUBJ:  # 2( 3)\r\n", 0, 0, {18, 2, 3, std::string(kUnknown)}},
        {"------ begin of picture.gif part 2 of 3 ------\r\n", 0, 0, {19, 2, 3, "picture.gif"}},
        {"picture.gif    section  2/3   UUMOVE 2.0 by Quorvane, Inc.\r\n",
         0,
         0,
         {12, 2, 3, "picture.gif"}},
    };
    for (const auto& c : cases) {
        app.job.CurrentFileFormat = c.currentFormat;
        app.parts.JobPartCount = c.knownTotal;
        EXPECT_EQ(RecognizeFirst(c.line), c.expected) << c.line;
    }
    EXPECT_TRUE(ui.messages.empty());
}

TEST_F(HeaderRecognition, LinesThatAreNoHeader) {
    const std::vector<const char*> lines = {
        "",
        "\r\n",
        "M86)C86UE(&9I;&4@:&5R90``\r\n",
        "begin\r\n",                 // no blank after the word
        "beginning 644 x\r\n",       // another word
        "begin 644 picture.gif",     // fine, but see the next: no line end is needed
        "Subject: picture.gif\r\n",  // no part numbers
        "Subject: picture.gif (1 of)\r\n",
        "Subject: picture.gif (1/3\r\n",  // the bracket is not closed
        "Subject: picture.gif [1/3)\r\n",
        "Subject: -tag\r\n",          // the leading word runs to the end
        "Archive-name: picture\r\n",  // no "/"
        "Archive-name: picture/volume02\r\n",
        "------------ Part two of three ------------\r\n",
        "BEGIN--cut here--cut here\r\n",  // a separator, not a header
        "BEGIN ------------ picture.gif part 1/3\r\n",
        "POST V1.2.0 picture.gif\r\n",
        "Subj: 2(3)\r\n",
        "Subj: #2 (3)\r\n",
        "------ start of picture.gif part 1 of 3\r\n",
        "picture.gif section 1/3 uumove\r\n",
        "section 1 of base64 5.24 of file picture.gif\r\n",
        "section 1/3 picture.gif\r\n",
        "sections of the file\r\n",
        "Content-Transfer-Encoding: 7bit\r\n",
    };
    for (const char* text : lines) {
        const Header h = RecognizeFirst(text);
        if (std::string_view(text) == "begin 644 picture.gif") {
            EXPECT_EQ(h, (Header{3, 1, 1, "picture.gif"}));
            continue;
        }
        EXPECT_EQ(h, (Header{0, 0, 0, std::string(kUnknown)})) << text;
    }
    EXPECT_TRUE(ui.messages.empty());
}

TEST_F(HeaderRecognition, BeginLineWithoutModeEndsTheSearch) {
    // Were the search to go on, the UUMOVE shape would take this line.
    EXPECT_EQ(RecognizeFirst("begin section 1/3 UUMOVE\r\n"),
              (Header{0, 0, 0, std::string(kUnknown)}));
    EXPECT_EQ(RecognizeFirst("begin picture.gif\r\n"), (Header{0, 0, 0, std::string(kUnknown)}));
    EXPECT_FALSE(app.decode.NameFound);
    // Nor does the binary-data note see the line.
    RecognizeFirst("begin \xE9.gif\r\n");
    EXPECT_EQ(app.decode.BinaryDataSeen, 0);
}

TEST_F(HeaderRecognition, RemWithAnotherEncodingEndsTheSearch) {
    EXPECT_EQ(RecognizeFirst("section 1 of base64 5.24 of file picture.gif\r\n").format, 0);
    RecognizeFirst("section 1 of base64 \xE9\r\n");
    EXPECT_EQ(app.decode.BinaryDataSeen, 0);
}

TEST_F(HeaderRecognition, BeginLineCountsIntoTheCurrentPart) {
    app.parts.current = 0;
    EXPECT_EQ(RecognizeFirst("begin 644 a.txt\r\n"), (Header{3, 1, 1, "a.txt"}));
    EXPECT_TRUE(app.decode.NameFound);
    // sum -r of "begin 644 a.txt" and one LF.
    EXPECT_EQ(app.parts.rows[0].calculatedChecksum, 49495U);
    EXPECT_EQ(app.parts.rows[0].calculatedSize, 16U);
}

TEST_F(HeaderRecognition, PartNumbersOutsideTheTableAreRefused) {
    EXPECT_EQ(RecognizeFirst("Subject: picture.gif (0/3)\r\n"),
              (Header{0, 0, 0, std::string(kUnknown)}));
    EXPECT_TRUE(ui.messages.empty());

    EXPECT_EQ(RecognizeFirst("Subject: picture.gif (1/300)\r\n"),
              (Header{0, 0, 0, std::string(kUnknown)}));
    ASSERT_EQ(ui.messages.size(), 1U);
    EXPECT_EQ(ui.messages[0].text, "Part 300 Must be Between 1 and 99.");
    EXPECT_EQ(ui.messages[0].style, kMbStop);

    ui.messages.clear();
    const std::vector<std::pair<const char*, const char*>> cases = {
        {"------------ Part 100 of 3 ------------\r\n", "Part 100 Must be Between 1 and 99."},
        {"Archive-name: picture/part00\r\n", "Part 0 Must be Between 1 and 99."},
        {"section 2/120   file p.gif\r\n", "Part 120 Must be Between 1 and 99."},
        {"section 150 of uuencode 5.24 of file p.gif\r\n", "Part 150 Must be Between 1 and 99."},
        {"Subj: #2(0)\r\n", "Part 0 Must be Between 1 and 99."},
        {"POST V1.2.0 p.gif (Part 99999999999999999999/3)\r\n",
         "Part 2147483647 Must be Between 1 and 99."},
    };
    for (const auto& [text, message] : cases) {
        ui.messages.clear();
        EXPECT_EQ(RecognizeFirst(text).format, 0) << text;
        EXPECT_EQ(MessageTexts(), std::vector<std::string>{message}) << text;
    }
}

TEST_F(HeaderRecognition, WincodeTableBlockCountsIntoPartOne) {
    app.parts.current = 5;
    Open(
        "section 1/3   file picture.gif   [ Wincode v2.3 ]\r\n"
        "\r\n"
        "table\r\n"
        "+-0123456789ABCDEFGHIJKLMNOPQRST\r\n"
        "UVWXYZabcdefghijklmnopqrstuvwxyz\r\n"
        "begin 644 picture.gif\r\n");
    Next();
    EXPECT_EQ(RecognizeLine(), (Header{13, 1, 3, "picture.gif"}));
    EXPECT_EQ(app.parts.current, 0);
    // sum -r of the three table lines, each with one LF: 72 bytes.
    EXPECT_EQ(app.parts.rows[0].calculatedChecksum, 8928U);
    EXPECT_EQ(app.parts.rows[0].calculatedSize, 72U);
    EXPECT_EQ(app.decode.lineNumber, 5);
    Next();
    EXPECT_EQ(Line(), "begin 644 picture.gif\r");
}

TEST_F(HeaderRecognition, RemWithoutTableGivesTheNextLineBack) {
    Open(
        "section 1 of uuencode 5.24 of file picture.gif    by Quorvane, Inc.\r\n"
        "\r\n"
        "\r\n"
        "begin 644 picture.gif\r\n");
    Next();
    app.parts.current = 7;
    EXPECT_EQ(RecognizeLine(), (Header{20, 1, 0, "picture.gif"}));
    EXPECT_EQ(app.parts.current, 7);
    EXPECT_EQ(app.parts.rows[0].calculatedSize, 0U);
    EXPECT_EQ(app.decode.lineNumber, 3);
    Next();
    EXPECT_EQ(Line(), "begin 644 picture.gif\r");
}

TEST_F(HeaderRecognition, LaterPartsSkipNoTable) {
    Open("section 2/3   file picture.gif   [ Wincode v2.3 ]\r\n\r\ntable\r\n");
    Next();
    EXPECT_EQ(RecognizeLine(), (Header{13, 2, 3, "picture.gif"}));
    EXPECT_EQ(app.decode.lineNumber, 1);
    EXPECT_EQ(app.parts.rows[0].calculatedSize, 0U);
}

TEST_F(HeaderRecognition, XFileHeaderGivesTheLineAfterItBack) {
    Open(
        "X-File-Name: picture.gif\r\n"
        "X-Part: 2\r\n"
        "X-Part-Total: 3\r\n"
        "\r\n"
        "BEGIN------------------------cut here------------------------\r\n");
    Next();
    EXPECT_EQ(RecognizeLine(), (Header{11, 2, 3, "picture.gif"}));
    EXPECT_EQ(app.decode.lineNumber, 3);
    Next();
    EXPECT_EQ(Line(), "\r");
    EXPECT_EQ(app.decode.lineNumber, 4);
}

TEST_F(HeaderRecognition, XFileSumLineBelongsToTheHeader) {
    Open(
        "x-file-name: \"my picture.gif\"\n"
        "x-part: 1\n"
        "x-part-total: 2\n"
        "X-File-Sum: 12345\n"
        "BEGIN------------------------cut here------------------------\n");
    Next();
    EXPECT_EQ(RecognizeLine(), (Header{11, 1, 2, "my picture.gif\""}));
    EXPECT_EQ(app.decode.lineNumber, 4);
    Next();
    EXPECT_EQ(Line(), "BEGIN------------------------cut here------------------------\n");
}

TEST_F(HeaderRecognition, XFileWithoutTotalLeavesItUnknown) {
    Open("X-File-Name: p.gif\r\nX-Part: 4\r\nSomething else\r\n\r\n");
    Next();
    EXPECT_EQ(RecognizeLine(), (Header{11, 4, 0, "p.gif"}));
    EXPECT_EQ(app.decode.lineNumber, 3);
}

TEST_F(HeaderRecognition, XFileThatFallsShort) {
    struct Case {
        const char* text;
        long linesRead;
        std::vector<std::string> messages;
    };
    const std::vector<Case> cases = {
        // A number missing after a key.
        {"X-File-Name: p.gif\r\nX-Part: none\r\nX-Part-Total: 3\r\n\r\n", 2, {}},
        {"X-File-Name: p.gif\r\nX-Part: 1\r\nX-Part-Total:\r\n\r\n", 3, {}},
        {"X-File-Name: p.gif\r\nX-Part: 1\r\nX-Part-Total: 3\r\nX-File-Sum: \r\n", 4, {}},
        // The input ends inside the header.
        {"X-File-Name: p.gif\r\nX-Part: 1\r\n", 3, {}},
        {"X-File-Name: p.gif", 2, {}},
        // Parts that have no row in the part table.
        {"X-File-Name: p.gif\r\nSomething\r\nX-Part-Total: 3\r\n\r\n",
         3,
         {"Part 0 Must be Between 1 and 99."}},
        {"X-File-Name: p.gif\r\nX-Part: 120\r\nX-Part-Total: 3\r\n\r\n",
         3,
         {"Part 120 Must be Between 1 and 99."}},
        {"X-File-Name: p.gif\r\nX-Part: 1\r\nX-Part-Total: 0\r\n\r\n",
         3,
         {"Part 0 Must be Between 1 and 99."}},
    };
    for (const auto& c : cases) {
        ui.messages.clear();
        EXPECT_EQ(RecognizeFirst(c.text), (Header{0, 0, 0, std::string(kUnknown)})) << c.text;
        EXPECT_EQ(app.decode.lineNumber, c.linesRead) << c.text;
        EXPECT_EQ(MessageTexts(), c.messages) << c.text;
    }
}

TEST_F(HeaderRecognition, XFileThatFallsShortLeavesTheFirstLineToTheOtherShapes) {
    Open("X-File-Name: \xE9 UUMOVE\r\nX-Part: x\r\n");
    Next();
    EXPECT_EQ(RecognizeLine().format, 0);
    EXPECT_EQ(Line(), "X-File-Name: \xE9 UUMOVE\r");
    EXPECT_EQ(app.decode.BinaryDataSeen, 1);
}

TEST_F(HeaderRecognition, MimeHeaderBlockWithQuotedName) {
    app.job.EncodingIndex = kEncodingAuto;
    Open(
        "Content-Type: application/octet-stream; name=\"picture.gif\"\r\n"
        "Content-Transfer-Encoding: base64\r\n"
        "\r\n"
        "R0lGODlh\r\n");
    Next();
    EXPECT_EQ(RecognizeLine(), (Header{3, 1, 1, "picture.gif"}));
    EXPECT_EQ(app.job.EncodingIndex, kEncodingMIME);
    EXPECT_TRUE(app.decode.NameFound);
    EXPECT_EQ(app.decode.lineNumber, 3);
    Next();
    EXPECT_EQ(Line(), "R0lGODlh\r");
}

TEST_F(HeaderRecognition, MimeHeaderBlockWithoutTransferEncodingYieldsNothing) {
    app.job.EncodingIndex = kEncodingAuto;
    Open(
        "Content-Type: application/octet-stream; name=\"picture.gif\"\r\n"
        "\r\n"
        "R0lGODlh\r\n");
    Next();
    EXPECT_EQ(RecognizeLine(), (Header{0, 0, 0, std::string(kUnknown)}));
    EXPECT_EQ(app.job.EncodingIndex, kEncodingAuto);
    EXPECT_FALSE(app.decode.NameFound);
    // The blank line was read and stays consumed.
    EXPECT_EQ(app.decode.lineNumber, 2);
    Next();
    EXPECT_EQ(Line(), "R0lGODlh\r");
}

TEST_F(HeaderRecognition, MimeHeaderBlocks) {
    struct Case {
        const char* text;
        Header expected;
        int encoding;
        long linesRead;
    };
    const std::string unknown(kUnknown);
    const std::vector<Case> cases = {
        // The name from a filename= parameter on a later line.
        {"Content-Type: application/octet-stream\r\n"
         "Content-Disposition: attachment; filename=\"pic.gif\"\r\n"
         "Content-Transfer-Encoding: BASE64\r\n"
         "\r\n",
         {3, 1, 1, "pic.gif"},
         kEncodingMIME,
         4},
        // The transfer encoding first; the name after it; directories go.
        {"Content-Transfer-Encoding:   Base64\n"
         "Content-Disposition: attachment; FILENAME=\"C:\\dir\\a b.gif\"\n"
         "Content-Description: name=other.gif\n"
         "\n",
         {3, 1, 1, "a b.gif"},
         kEncodingMIME,
         4},
        // The first name found is kept.
        {"Content-Type: image/gif; name=first.gif\r\n"
         "Content-Description: name=\"second.gif\"\r\n"
         "Content-Transfer-Encoding: base64\r\n"
         "\r\n",
         {3, 1, 1, "first.gif"},
         kEncodingMIME,
         4},
        // No name at all.
        {"Content-Transfer-Encoding: base64\r\n\r\n", {3, 1, 1, unknown}, kEncodingMIME, 2},
        // A BinHex body: the block is read, and the BinHex line later tells the encoding.
        {"Content-Type: application/mac-binhex40; name=\"x.hqx\"\r\n"
         "Content-Transfer-Encoding: base64\r\n"
         "\r\n",
         {0, 0, 0, unknown},
         kEncodingAuto,
         3},
        // The encoder's BinHex block has no transfer encoding.
        {"Content-Type: Application/mac-binhex40; name=\"x.hqx\"\r\n"
         "Content-Disposition: attachment; filename=\"x.hqx\"\r\n"
         "\r\n",
         {0, 0, 0, unknown},
         kEncodingAuto,
         3},
        // Another transfer encoding: nothing read.
        {"Content-Transfer-Encoding: quoted-printable\r\n\r\n",
         {0, 0, 0, unknown},
         kEncodingAuto,
         1},
        // The input ends inside the block.
        {"Content-Type: text/plain\r\nContent-Transfer-Encoding: base64\r\n",
         {0, 0, 0, unknown},
         kEncodingAuto,
         3},
        {"Content-Type: text/plain\r\n", {0, 0, 0, unknown}, kEncodingAuto, 2},
        // A type without "/" and without a line end.
        {"Content-Type: text", {0, 0, 0, unknown}, kEncodingAuto, 1},
    };
    for (const auto& c : cases) {
        app.job.EncodingIndex = kEncodingAuto;
        app.decode.NameFound = false;
        EXPECT_EQ(RecognizeFirst(c.text), c.expected) << c.text;
        EXPECT_EQ(app.job.EncodingIndex, c.encoding) << c.text;
        EXPECT_EQ(app.decode.NameFound, c.expected.format == 3) << c.text;
        EXPECT_EQ(app.decode.lineNumber, c.linesRead) << c.text;
    }
}

TEST_F(HeaderRecognition, BinHexLineSelectsTheEncoding) {
    app.job.EncodingIndex = kEncodingAuto;
    EXPECT_EQ(RecognizeFirst("(this FILE must be converted with BinHex 4.0)\r\n"),
              (Header{3, 1, 1, std::string(kUnknown)}));
    EXPECT_EQ(app.job.EncodingIndex, kEncodingBinHex);
}

TEST_F(HeaderRecognition, BinaryDataIsNotedOnce) {
    EXPECT_EQ(RecognizeFirst("abc\xE9"
                             "def\r\n")
                  .format,
              0);
    EXPECT_EQ(app.decode.BinaryDataSeen, 1);
    app.decode.BinaryDataSeen = 2;
    EXPECT_EQ(RecognizeFirst("\x80\r\n").format, 0);
    EXPECT_EQ(app.decode.BinaryDataSeen, 2);
    app.decode.BinaryDataSeen = 0;
    EXPECT_EQ(RecognizeFirst("plain text\r\n").format, 0);
    EXPECT_EQ(app.decode.BinaryDataSeen, 0);
}

TEST_F(HeaderRecognition, ArchiveNameCutsTheLineOnlyWhenItMatches) {
    Open("Archive-name: picture/part02\r\n");
    Next();
    EXPECT_EQ(RecognizeLine().format, 4);
    EXPECT_EQ(Line(), "Archive-name: picture");
    Open("Archive-name: picture/volume02\r\n");
    Next();
    EXPECT_EQ(RecognizeLine().format, 0);
    EXPECT_EQ(Line(), "Archive-name: picture/volume02\r");
}

// ---- The smaller parsers ----

TEST_F(HeaderRecognition, ParseBeginLine) {
    struct Case {
        const char* line;
        int result;
        std::string name;
    };
    const std::string unknown(kUnknown);
    const std::vector<Case> cases = {
        {"begin 644 picture.gif\r\n", 1, "picture.gif"},
        {"begin 644picture.gif\r\n", 1, "picture.gif"},
        {"Begin   600   a*b?.gif \r\n", 1, "a*b?.gif "},
        {"begin 644\r\n", 1, ""},
        {"begin 644", 0, unknown},
        {"begin 644   ", 0, unknown},
        {"begin picture.gif\r\n", 0, unknown},
        {"begin\r\n", 0, unknown},
        {"*begin picture.gif\r\n", 1, "picture.gif"},
        {"*BEGIN\t 644 picture.gif\n", 1, "644 picture.gif"},
        {"*begin", 1, ""},
        {" begin 644 a\r\n", 0, unknown},
        {"", 0, unknown},
    };
    for (const auto& c : cases) {
        app.decode.NameFound = false;
        std::string name = "previous";
        EXPECT_EQ(ParseBeginLine(app, c.line, name), c.result) << c.line;
        EXPECT_EQ(name, c.name) << c.line;
        EXPECT_EQ(app.decode.NameFound, c.result == 1) << c.line;
    }
}

TEST_F(HeaderRecognition, ParsePartNumbersPhrases) {
    struct Case {
        const char* text;
        int guess;
        int part;
        int total;
    };
    const std::vector<Case> cases = {
        {"Part 1 of 3", 3, 1, 3},
        {"part 2/3", 3, 2, 3},
        {"1/3", 3, 1, 3},
        {"(1/3)", 6, 1, 3},
        {"(part 1/3)", 6, 1, 3},
        {"[part 1/3]", 7, 1, 3},
        {"[1/3]", 8, 1, 3},
        {"1 / 3", 3, 1, 3},
        {"PART 04 OF 10 --", 3, 4, 10},
        {"( Part 2 of 9)", 6, 2, 9},
        {"[ 2/9]", 8, 2, 9},
        {"99/99", 3, 99, 99},
        {"1 of 3 (uuencoded)", 3, 1, 3},
    };
    for (const auto& c : cases) {
        int part = -1;
        int total = -1;
        EXPECT_EQ(ParsePartNumbers(app, c.text, part, total), c.guess) << c.text;
        EXPECT_EQ(part, c.part) << c.text;
        EXPECT_EQ(total, c.total) << c.text;
    }
    const std::vector<const char*> failures = {
        "",     "part",   "x1/3",  "1-3",       "1 off 3", "1/",   "0/3",
        "(1/3", "(1/3 )", "[1/3)", "[part 1/3", "1/x",     "of 3", "(1/3]",
    };
    for (const char* text : failures) {
        int part = -1;
        int total = -1;
        EXPECT_EQ(ParsePartNumbers(app, text, part, total), 0) << text;
        EXPECT_EQ(part, -1) << text;
        EXPECT_EQ(total, -1) << text;
    }
    EXPECT_TRUE(ui.messages.empty());
}

TEST_F(HeaderRecognition, ParsePartNumbersShowsRefusedNumbers) {
    int part = 0;
    int total = 0;
    EXPECT_EQ(ParsePartNumbers(app, "1/0", part, total), 0);
    EXPECT_EQ(ParsePartNumbers(app, "100 of 200", part, total), 0);
    EXPECT_EQ(ParsePartNumbers(app, "(5/1000)", part, total), 0);
    EXPECT_EQ(MessageTexts(), (std::vector<std::string>{"Part 0 Must be Between 1 and 99.",
                                                        "Part 100 Must be Between 1 and 99.",
                                                        "Part 1000 Must be Between 1 and 99."}));
}

TEST(HeaderScanners, ParseDecimal) {
    struct Case {
        std::string text;
        long value;
        bool found;
        std::size_t stop;  // where the returned position stands
    };
    const std::vector<Case> cases = {
        {"123abc", 123, true, 3},
        {" \t 42/7", 42, true, 5},
        {"abc", 0, false, 0},
        {"   ", 0, false, 3},
        {"", 0, false, 0},
        {"007", 7, true, 3},
        {"2147483647", 2147483647, true, 10},
        {"2147483648", 2147483647, true, 10},
        {std::string(300, '9') + "x", 2147483647, true, 300},
        // Only the first 67 digits count; the rest are passed over.
        {std::string(67, '0') + "5 ", 0, true, 68},
        {std::string(66, '0') + "5 ", 5, true, 67},
    };
    for (const auto& c : cases) {
        long value = -1;
        bool found = !c.found;
        const char* end = ParseDecimal(c.text.c_str(), value, found);
        EXPECT_EQ(value, c.value) << c.text;
        EXPECT_EQ(found, c.found) << c.text;
        EXPECT_EQ(static_cast<std::size_t>(end - c.text.c_str()), c.stop) << c.text;
    }
}

TEST(HeaderScanners, CopyNameToken) {
    struct Case {
        const char* text;
        bool quoted;
        bool stopAtBlank;
        std::string name;
        std::size_t stop;
    };
    const std::vector<Case> cases = {
        {"\"a b.gif\"; x\r\n", true, false, "a b.gif\"; x", 12},
        {"\"a b.gif\"\r\n", true, true, "a", 2},
        {"pic.gif, more", true, true, "pic.gif", 7},
        {"pic.gif\tmore", true, true, "pic.gif", 7},
        {"ab*cd", true, false, "ab", 2},
        {"ab<cd", true, false, "ab", 2},
        {"ab>cd", true, false, "ab", 2},
        {"ab?cd", true, false, "ab", 2},
        {"ab|cd", true, false, "ab", 2},
        {"ab\xE9"
         "cd",
         true, false, "ab", 2},
        {"ab\x7f"
         "cd",
         true, false,
         "ab\x7f"
         "cd",
         5},
        {"a/b:c\\d", true, false, "a/b:c\\d", 7},
        {"\"\"", true, false, "\"", 2},
        {"a*b? \xE9 c\r\n", false, false, "a*b? \xE9 c", 8},
        {"line end\n", false, false, "line end", 8},
        {"", false, false, "", 0},
        {"", true, true, "", 0},
    };
    for (const auto& c : cases) {
        std::string name = "previous";
        const char* end = CopyNameToken(c.text, name, c.quoted, c.stopAtBlank);
        EXPECT_EQ(name, c.name) << c.text;
        EXPECT_EQ(static_cast<std::size_t>(end - c.text), c.stop) << c.text;
    }
    // A name never grows beyond 255 characters.
    const std::string longText(400, 'n');
    std::string name;
    const char* end = CopyNameToken(longText.c_str(), name, false, false);
    EXPECT_EQ(name, std::string(255, 'n'));
    EXPECT_EQ(end, longText.c_str() + 400);
}

TEST(HeaderScanners, FindNameParameter) {
    struct Case {
        const char* text;
        bool found;
        std::string name;
    };
    const std::vector<Case> cases = {
        {" name=\"picture.gif\"\r\n", true, "picture.gif\""},
        {" filename=  pic.gif\r\n", true, "pic.gif"},
        {" NAME=x", true, "x"},
        {" name = x\r\n", false, "previous"},
        {" boundary=\"abc\"\r\n", false, "previous"},
        {"", false, "previous"},
    };
    for (const auto& c : cases) {
        std::string name = "previous";
        EXPECT_EQ(FindNameParameter(c.text, name), c.found) << c.text;
        EXPECT_EQ(name, c.name) << c.text;
    }
}

TEST(HeaderScanners, LineTests) {
    EXPECT_TRUE(IsBlankLine(""));
    EXPECT_TRUE(IsBlankLine("\r"));
    EXPECT_TRUE(IsBlankLine("\n"));
    EXPECT_TRUE(IsBlankLine(" \t \r\n"));
    EXPECT_TRUE(IsBlankLine("  "));
    EXPECT_TRUE(IsBlankLine("\r x"));
    EXPECT_FALSE(IsBlankLine(" x\r\n"));
    EXPECT_FALSE(IsBlankLine("\f\r\n"));

    EXPECT_TRUE(HasCutHere("BEGIN---CUT HERE---"));
    EXPECT_TRUE(HasCutHere("cut here"));
    EXPECT_FALSE(HasCutHere("cut  here"));
    EXPECT_FALSE(HasCutHere("cut her"));
    EXPECT_TRUE(HasPartWord("BEGIN PART 1"));
    EXPECT_TRUE(HasPartWord("apart"));
    EXPECT_FALSE(HasPartWord("par t"));

    EXPECT_STREQ(SkipWordChars("word, next"), ", next");
    EXPECT_STREQ(SkipWordChars("word\tnext"), "\tnext");
    EXPECT_STREQ(SkipWordChars("word\r\n"), "");
    EXPECT_STREQ(SkipBlankChars(" \t x"), "x");
    EXPECT_TRUE(StartsWithNoCase("SeCtIoN 1", "section"));
    EXPECT_FALSE(StartsWithNoCase("sect", "section"));
    EXPECT_FALSE(StartsWithExact("Section", "section"));
}

TEST_F(RecognizerInput, PushBackLineReadsTheSameLineAgain) {
    Open("first\r\nsecond line\r\nthird\n");
    Next();
    ASSERT_EQ(ReadRecognizerLine(app, input, line.data()), 12);
    EXPECT_EQ(app.decode.lineNumber, 2);
    EXPECT_EQ(Line(), "second line\r");
    PushBackLine(app, line.data(), input);
    EXPECT_EQ(app.decode.lineNumber, 1);
    Next();
    EXPECT_EQ(Line(), "second line\r");
    Next();
    EXPECT_EQ(Line(), "third\n");
    // Reading past the end counts the attempt and leaves an empty line.
    EXPECT_EQ(ReadRecognizerLine(app, input, line.data()), 0);
    EXPECT_EQ(Line(), "");
    EXPECT_EQ(app.decode.lineNumber, 4);
}

// ---- The encoder's own headers, read back ----

struct EncodedHeaderCase {
    int format;
    int encoding;
    std::string name;  // what the header tells
    int total;         // what the header tells of 3 parts (the known total where it tells none)
};

class EncodedHeaders : public HeaderRecognition {
protected:
    // The header of part `part` of `total` as the encoder writes it for photo.jpg, followed by
    // one encoded line.
    std::string EncoderHeader(int format, int encoding, int eol, int part, int total) {
        app.encode = EncodeJob{};
        app.job.CurrentFileFormat = format;
        app.job.EncodingIndex = encoding;
        app.job.FileIndex = 0;
        app.config.encodecrlf = eol;
        app.encode.InputSize = 1000;
        switch (encoding) {
            case kEncodingXX:
                app.encode.CurrentAlphabet = XXAlphabet;
                break;
            case kEncodingMIME:
                app.encode.CurrentAlphabet = Base64Alphabet;
                break;
            case kEncodingBinHex:
                app.encode.CurrentAlphabet = BinHexAlphabet;
                break;
            default:
                app.encode.CurrentAlphabet = UUAlphabet;
                break;
        }
        EXPECT_TRUE(app.encode.OutputBuffer.Allocate(1 << 16, 1 << 16));
        EXPECT_EQ(WritePartHeader(app, "/tmp/dir/photo.jpg", part, total), 0);
        std::string text(app.encode.OutputBuffer.Held());
        app.encode.OutputBuffer.Free();
        text += "M86)C86UE(&9I;&4@:&5R90``";
        text += eol == kEolCrLf ? "\r\n" : "\n";
        return text;
    }

    // Reads the text as the decoder does until a line is recognised as a header.
    Header FirstHeader(const std::string& text) {
        ClearPartTable(app.parts);
        app.job.CurrentFileFormat = 0;
        app.job.EncodingIndex = kEncodingAuto;
        app.decode = DecodeJob{};
        Open(text);
        while (Next() > 0) {
            Header h = RecognizeLine();
            if (h.format != 0) {
                return h;
            }
        }
        return {};
    }
};

TEST_F(EncodedHeaders, EveryMultiPartFormatIsReadBack) {
    const std::vector<EncodedHeaderCase> cases = {
        {4, kEncodingUU, "photo", 0},      {5, kEncodingUU, std::string(kUnknown), 3},
        {6, kEncodingUU, "photo.jpg", 3},  {7, kEncodingUU, "photo.jpg", 3},
        {8, kEncodingUU, "photo.jpg", 3},  {9, kEncodingUU, "photo", 3},
        {10, kEncodingUU, "photo.jpg", 3}, {11, kEncodingUU, "photo.jpg", 3},
        {12, kEncodingUU, "photo.jpg", 3}, {13, kEncodingUU, "photo.jpg", 3},
        {14, kEncodingUU, "photo.jpg", 3}, {16, kEncodingUU, "photo.jpg", 3},
        {17, kEncodingUU, "photo.jpg", 3}, {20, kEncodingUU, "photo.jpg", 0},
    };
    for (const int encoding : {kEncodingUU, kEncodingXX}) {
        for (const int eol : {kEolCrLf, kEolLf}) {
            for (const int part : {1, 2}) {
                for (const auto& c : cases) {
                    const std::string text = EncoderHeader(c.format, encoding, eol, part, 3);
                    EXPECT_EQ(FirstHeader(text), (Header{c.format, part, c.total, c.name}))
                        << "format " << c.format << " encoding " << encoding << " eol " << eol
                        << " part " << part << "\n"
                        << text;
                    EXPECT_TRUE(ui.messages.empty());
                }
            }
        }
    }
}

TEST_F(EncodedHeaders, PartOneBeginLineFollowsTheHeader) {
    // After a multi-part header the begin line is the next line that is not blank.
    for (const int format : {5, 10, 13, 16, 20}) {
        const std::string text = EncoderHeader(format, kEncodingUU, kEolCrLf, 1, 3);
        ASSERT_EQ(FirstHeader(text).format, format);
        do {
            ASSERT_GT(Next(), 0) << format;
        } while (IsBlankLine(line.data()));
        EXPECT_EQ(Line(), "begin 644 photo.jpg\r") << format;
    }
}

TEST_F(EncodedHeaders, SingleFileInEveryEncoding) {
    struct Case {
        int encoding;
        Header expected;
    };
    const std::vector<Case> cases = {
        {kEncodingUU, {3, 1, 1, "photo.jpg"}},
        {kEncodingXX, {3, 1, 1, "photo.jpg"}},
        {kEncodingMIME, {3, 1, 1, "photo.jpg"}},
        {kEncodingBinHex, {3, 1, 1, std::string(kUnknown)}},
    };
    for (const int eol : {kEolCrLf, kEolLf}) {
        for (const auto& c : cases) {
            const std::string text = EncoderHeader(3, c.encoding, eol, 1, 1);
            EXPECT_EQ(FirstHeader(text), c.expected) << text;
            // UU and XX leave the data to decide between them.
            const int encoding = c.encoding <= kEncodingXX ? kEncodingAuto : c.encoding;
            EXPECT_EQ(app.job.EncodingIndex, encoding) << text;
        }
    }
}

TEST_F(EncodedHeaders, MimeBodyFollowsTheHeaderBlock) {
    const std::string text = EncoderHeader(3, kEncodingMIME, kEolCrLf, 1, 1);
    ASSERT_EQ(FirstHeader(text).format, 3);
    Next();
    EXPECT_EQ(Line(), "M86)C86UE(&9I;&4@:&5R90``\r");
}

// ---- Hostile lines ----

std::vector<std::string> HostileLines() {
    std::vector<std::string> lines = {
        std::string(254, 'a'),
        "begin 644 " + std::string(244, 'n'),
        "*begin " + std::string(247, '\xE9'),
        "Subject: " + std::string(245, '('),
        "Subject: " + std::string(245, '['),
        "Subject: x, Part " + std::string(229, '9') + "encoded)",
        "Subject: -" + std::string(244, 'x'),
        "section " + std::string(246, '9'),
        "section 1/" + std::string(244, '9'),
        "section 1 of uuencode " + std::string(232, ' '),
        "Archive-name: " + std::string(240, '/'),
        "Archive-name: a/part" + std::string(234, '9'),
        "BEGIN" + std::string(249, '-'),
        "BEGIN part " + std::string(243, '-'),
        "BEGIN " + std::string(248, ' '),
        "POST V",
        "Content-Type: a/b; name=" + std::string(230, '"'),
        "Content-Type: " + std::string(240, '/'),
        "Content-Transfer-Encoding: BASE64",
        "X-File-Name: " + std::string(241, 'x'),
        "Subj: #" + std::string(247, '1'),
        "------ begin of " + std::string(238, 'p'),
        "UUMOVE" + std::string(248, ' '),
        "------------ " + std::string(241, '['),
        std::string("begin 644 a\0b\r\n", 15),
        std::string("Subject: a (1/3\0)\r\n", 19),
        std::string("\0\0\0", 3),
    };
    for (const std::string& text : lines) {
        EXPECT_LE(text.size(), 254U) << text;
    }
    std::mt19937 random(20240611);
    for (int i = 0; i < 300; ++i) {
        std::string text(254, '\0');
        for (char& c : text) {
            c = static_cast<char>(random() % 256);
        }
        lines.push_back(text);
    }
    return lines;
}

TEST_F(HeaderRecognition, HostileLinesNeverBreakTheRecognisers) {
    const std::vector<std::string> lines = HostileLines();
    std::string everything;
    for (const std::string& text : lines) {
        everything += text;
    }
    for (int format = 0; format <= 20; ++format) {
        app.job.CurrentFileFormat = format;
        Open(everything);
        for (const std::string& text : lines) {
            LineBuffer hostile{};
            std::copy(text.begin(), text.end(), hostile.begin());
            Header h;
            h.format = RecognizeHeader(app, hostile.data(), input, h.part, h.total, h.name);
            EXPECT_GE(h.format, 0);
            EXPECT_LE(h.format, 20);
            if (h.format != 0) {
                EXPECT_GE(h.part, 1);
                EXPECT_LE(h.part, 99);
                EXPECT_GE(h.total, 0);
                EXPECT_LE(h.total, 99);
            }
            EXPECT_LE(h.name.size(), 255U);
            EXPECT_EQ(hostile[kLineBufferSize], '\0');

            std::string name;
            ParseBeginLine(app, hostile.data(), name);
            EXPECT_LE(name.size(), 255U);
            int part = 0;
            int total = 0;
            if (ParsePartNumbers(app, hostile.data(), part, total) != 0) {
                EXPECT_GE(part, 1);
                EXPECT_LE(total, 99);
            }
        }
    }
}

}  // namespace
}  // namespace mandrel
