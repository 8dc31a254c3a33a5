// What the decoder recognises line by line: every header shape, the shapes that read ahead
// (X-File, MIME blocks, the XX table), the part-number phrases and the begin line; the class of
// every line met in a part's data and the separators.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "codec/alphabets.h"
#include "decode/data_line_classes.h"
#include "decode/header_recognition.h"
#include "decode/line_decoder.h"
#include "platform/scripted_ui.h"
#include "shell/app_state.h"
#include "support/test_files.h"

namespace mandrel {
namespace {

const std::string kUnknown = "DontKnow.Yet";

struct Header {
    int format = -1;
    int part = -1;
    int total = -1;
    std::string name;
    bool operator==(const Header&) const = default;
};
std::ostream& operator<<(std::ostream& os, const Header& h) {
    return os << "{" << h.format << ", " << h.part << ", " << h.total << ", " << h.name << "}";
}
const Header kNone{0, 0, 0, kUnknown};

struct Classified {
    int lineClass = -1;
    int part = -1;
    int total = -1;
    bool operator==(const Classified&) const = default;
};
std::ostream& operator<<(std::ostream& os, const Classified& c) {
    return os << "{" << c.lineClass << ", " << c.part << ", " << c.total << "}";
}
constexpr Classified kData{0, -1, -1};

// The decoder's view of one input: opened as the driver opens it, read as it reads.
class Recognition : public ::testing::Test {
protected:
    Recognition() {
        app.files.BufFileInit(10, 16384);
        ClearPartTable(app.parts);
    }
    ~Recognition() override { Close(); }

    void Close() {
        if (input != kNoBufFile) {
            app.files.BufFileClose(input);
            input = kNoBufFile;
        }
    }
    void Open(std::string_view text) {
        Close();
        const std::string path = dir.File("input.txt");
        test::WriteFile(path, text);
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
    Header Recognize() {
        Header h;
        h.format = RecognizeHeader(app, line.data(), input, h.part, h.total, h.name);
        return h;
    }
    Header RecognizeFirst(std::string_view text) {
        Open(text);
        Next();
        return Recognize();
    }
    Classified Classify(int part) {
        Classified c;
        c.lineClass = ClassifyDataLine(app, line.data(), part, c.part, c.total, input);
        return c;
    }
    // The message texts shown since the last call.
    std::vector<std::string> Messages() {
        std::vector<std::string> texts = ui.MessageTexts();
        ui.messages.clear();
        return texts;
    }

    ScriptedUi ui;
    AppState app{ui, ui};
    test::TempDir dir;
    BufFile input = kNoBufFile;
    LineBuffer line{};
};

TEST_F(Recognition, EveryHeaderShapeAndLinesThatAreNone) {
    struct Case {
        const char* line;
        int currentFormat;
        int knownTotal;
        Header expected;
    };
    // clang-format off
    const Case cases[] = {
        {"begin 644 picture.gif\r\n", 0, 0, {3, 1, 1, "picture.gif"}},
        {"BEGIN\t644 my picture.gif\n", 0, 0, {3, 1, 1, "my picture.gif"}},
        {"begin 644\r\n", 0, 0, {3, 1, 1, ""}},
        {"*begin picture.gif\r\n", 0, 0, {3, 1, 1, "picture.gif"}},
        // Part 1's begin line under a multi-part header takes its format and known total.
        {"begin 644 picture.gif\r\n", 5, 3, {5, 1, 3, "picture.gif"}},
        {"BEGIN --- CUT HERE --- Cut Here --- cut here --- p.gif 1/3\r\n", 0, 0, {16, 1, 3, "p.gif"}},
        {"------------ Part 2 of 3 ------------\r\n", 0, 0, {5, 2, 3, kUnknown}},
        {"ARCHIVE-NAME:   picture/Part7\r\n", 0, 0, {4, 7, 0, "picture"}},
        {"Archive-name: picture/part02\r\n", 0, 3, {4, 2, 3, "picture"}},
        {"Subject: picture.gif (1/3)\r\n", 0, 0, {6, 1, 3, "picture.gif"}},
        {"Subject: picture (1/3)\r\n", 0, 0, {8, 1, 3, "picture"}},
        {"Subject: picture.gif [part 1/3]\r\n", 0, 0, {7, 1, 3, "picture.gif"}},
        {"Subject: picture.gif [1/3]\r\n", 0, 0, {8, 1, 3, "picture.gif"}},
        {"Subject: picture [1/3]\r\n", 0, 0, {9, 1, 3, "picture"}},
        {"subject:   re picture.gif (part 2 of 3)\n", 0, 0, {6, 2, 3, "re picture.gif"}},
        {"Subject: -tag- picture.gif (2/3)\r\n", 0, 0, {6, 2, 3, "picture.gif"}},
        {"Subject: p.gif, Part 002 of 003 (XXencoded)\r\n", 0, 0, {17, 2, 3, "p.gif"}},
        {"section 2/3   file p.gif   [ Wincode v2.3 ]\r\n", 0, 0, {13, 2, 3, "p.gif"}},
        {"section 2 of uuencode 5.24 of file p.gif    by Q\r\n", 0, 4, {20, 2, 4, "p.gif"}},
        {"BEGIN------------ p.gif ------------ part 2/3 ---\n", 0, 0, {10, 2, 3, "p.gif"}},
        {"POST V1.2.0 p.gif (Part 2/3)\r\n", 0, 0, {14, 2, 3, "p.gif"}},
        {"POST V2.0.1 p.gif (Part 2/3)\r\n", 0, 0, {15, 2, 3, "p.gif"}},
        {"(This file must be converted with BinHex 4.0)\r\n", 0, 0, {3, 1, 1, kUnknown}},
        {"SUBJ:  # 2( 3)\r\n", 0, 0, {18, 2, 3, kUnknown}},
        {"------ begin of p.gif part 2 of 3 ------\r\n", 0, 0, {19, 2, 3, "p.gif"}},
        {"p.gif    section  2/3   UUMOVE 2.0 by Q\r\n", 0, 0, {12, 2, 3, "p.gif"}},
        // None of these is a header.
        {"M86)C86UE(&9I;&4@:&5R90``\r\n", 0, 0, kNone}, {"beginning 644 x\r\n", 0, 0, kNone},
        {"begin picture.gif\r\n", 0, 0, kNone},  // no mode: the search ends here
        {"begin section 1/3 UUMOVE\r\n", 0, 0, kNone}, {"Subject: picture.gif\r\n", 0, 0, kNone},
        {"Subject: picture.gif (1/3\r\n", 0, 0, kNone},
        {"Subject: picture.gif [1/3)\r\n", 0, 0, kNone},
        {"Archive-name: picture/volume02\r\n", 0, 0, kNone},
        {"BEGIN--cut here--cut here\r\n", 0, 0, kNone}, {"Subj: #2 (3)\r\n", 0, 0, kNone},
        {"section 1 of base64 5.24 of file p.gif\r\n", 0, 0, kNone},
        {"Content-Transfer-Encoding: 7bit\r\n", 0, 0, kNone},
    };
    // clang-format on
    for (const Case& c : cases) {
        app.job.CurrentFileFormat = c.currentFormat;
        app.parts.JobPartCount = c.knownTotal;
        EXPECT_EQ(RecognizeFirst(c.line), c.expected) << c.line;
    }
    EXPECT_TRUE(ui.messages.empty());
    // A line that is no header but holds bytes above 0x7F hints at a binary file.
    RecognizeFirst("abc\xE9\r\n");
    EXPECT_EQ(app.decode.BinaryDataSeen, 1);
}

// The shapes that read further lines: what they take, how far they read, and the line that
// comes next.
TEST_F(Recognition, ShapesThatReadAhead) {
    struct Case {
        std::string text;
        Header expected;
        int encoding;
        long linesRead;
        std::string nextLine;
    };
    const std::string sep = "BEGIN----cut here----\r\n";
    const std::string mime = "Content-Type: application/octet-stream; name=\"p.gif\"\r\n";
    // clang-format off
    const Case cases[] = {
        {"X-File-Name: p.gif\r\nX-Part: 2\r\nX-Part-Total: 3\r\n" + sep, {11, 2, 3, "p.gif"}, 0, 3, "BEGIN----cut here----\r"},
        {"x-file-name: \"my p.gif\"\nx-part: 1\nx-part-total: 2\nX-File-Sum: 123\n" + sep, {11, 1, 2, "my p.gif\""}, 0, 4, "BEGIN----cut here----\r"},
        {"X-File-Name: p.gif\r\nX-Part: 4\r\nSomething\r\n\r\n", {11, 4, 0, "p.gif"}, 0, 3, "\r"},
        {"X-File-Name: p.gif\r\nX-Part: none\r\nX-Part-Total: 3\r\n", kNone, 0, 2, "X-Part-Total: 3\r"},
        {"X-File-Name: p.gif\r\nX-Part: 1\r\n", kNone, 0, 3, ""},
        {mime + "Content-Transfer-Encoding: base64\r\n\r\nR0lGODlh\r\n", {3, 1, 1, "p.gif"}, kEncodingMIME, 3, "R0lGODlh\r"},
        {"Content-Transfer-Encoding:   Base64\nContent-Disposition: attachment; FILENAME=\"C:\\dir\\a b.gif\"\n"
         "Content-Description: name=other.gif\n\nx\n", {3, 1, 1, "a b.gif"}, kEncodingMIME, 4, "x\n"},
        {mime + "\r\nR0lGODlh\r\n", kNone, 0, 2, "R0lGODlh\r"},
        {"Content-Type: Application/mac-binhex40; name=\"x.hqx\"\r\nContent-Transfer-Encoding: base64\r\n\r\n(This", kNone, 0, 3, "(This"},
        // An unnamed quoted-printable body is the text of a message: the block is read, no more.
        {"Content-Transfer-Encoding: quoted-printable\r\n\r\nx\r\n", kNone, 0, 2, "x\r"},
        {"Content-Type: text/plain\r\nContent-Transfer-Encoding: base64\r\n", kNone, 0, 3, ""},
        // After a Wincode or R.E.M. part 1 header, blank lines and the XX table are taken.
        {"section 1/3   file p.gif   [ Wincode v2.3 ]\r\n\r\ntable\r\n+-0123456789ABCDEFGHIJKLMNOPQRST\r\n"
         "UVWXYZabcdefghijklmnopqrstuvwxyz\r\nbegin 644 p\r\n", {13, 1, 3, "p.gif"}, 0, 5, "begin 644 p\r"},
        {"section 1 of uuencode 5.24 of file p.gif    by Q\r\n\r\n\r\nbegin 644 p\r\n", {20, 1, 0, "p.gif"}, 0, 3, "begin 644 p\r"},
        {"section 2/3   file p.gif   [ Wincode v2.3 ]\r\n\r\ntable\r\n", {13, 2, 3, "p.gif"}, 0, 1, "\r"},
        // A named one is an attachment, its body from the line after the blank line.
        {"Content-Transfer-Encoding: quoted-printable\r\nContent-Disposition: attachment; filename=q.txt\r\n"
         "\r\n\r\nab=3D\r\n", {3, 1, 1, "q.txt"}, kEncodingQuotedPrintable, 3, "\r"},
    };
    // clang-format on
    for (const Case& c : cases) {
        ClearPartTable(app.parts);
        app.job.EncodingIndex = kEncodingAuto;
        app.decode.NameFound = false;
        EXPECT_EQ(RecognizeFirst(c.text), c.expected) << c.text;
        EXPECT_EQ(app.job.EncodingIndex, c.encoding) << c.text;
        EXPECT_EQ(app.decode.lineNumber, c.linesRead) << c.text;
        Next();
        EXPECT_EQ(Line(), c.nextLine) << c.text;
    }
    // The table's three lines are part 1's text: "sum -r" 8928 over their 72 bytes.
    RecognizeFirst(cases[11].text);
    EXPECT_EQ(app.parts.current, 0);
    EXPECT_EQ(app.parts.rows[0].calculatedChecksum, 8928U);
    EXPECT_EQ(app.parts.rows[0].calculatedSize, 72U);
}

TEST_F(Recognition, PartNumbersOutsideTheTableAreRefusedAndShown) {
    const std::pair<const char*, std::vector<std::string>> cases[] = {
        {"Subject: picture.gif (0/3)\r\n", {}},
        {"Subject: picture.gif (1/300)\r\n", {"Part 300 Must be Between 1 and 99."}},
        {"------------ Part 100 of 3 ------------\r\n", {"Part 100 Must be Between 1 and 99."}},
        {"Archive-name: picture/part00\r\n", {"Part 0 Must be Between 1 and 99."}},
        {"section 2/120   file p.gif\r\n", {"Part 120 Must be Between 1 and 99."}},
        {"Subj: #2(0)\r\n", {"Part 0 Must be Between 1 and 99."}},
        {"X-File-Name: p.gif\r\nX-Part: 120\r\nX-Part-Total: 3\r\n\r\n",
         {"Part 120 Must be Between 1 and 99."}},
        {"POST V1.2.0 p.gif (Part 99999999999999999999/3)\r\n",
         {"Part 2147483647 Must be Between 1 and 99."}},
    };
    for (const auto& [text, messages] : cases) {
        EXPECT_EQ(RecognizeFirst(text), kNone) << text;
        EXPECT_EQ(Messages(), messages) << text;
    }
}

TEST_F(Recognition, BeginLinesAndPartPhrases) {
    // clang-format off
    const std::pair<const char*, std::string> begins[] = {
        {"begin 644 picture.gif\r\n", "picture.gif"}, {"begin 644picture.gif\r\n", "picture.gif"},
        {"Begin   600   a*b?.gif \r\n", "a*b?.gif "}, {"*BEGIN\t 644 p.gif\n", "644 p.gif"},
        {"begin 644", kUnknown}, {"begin 644   ", kUnknown}, {" begin 644 a\r\n", kUnknown},
    };
    // clang-format on
    for (const auto& [text, name] : begins) {
        std::string got;
        EXPECT_EQ(ParseBeginLine(app, text, got), name == kUnknown ? 0 : 1) << text;
        EXPECT_EQ(got, name) << text;
    }
    // The begin line counts into the current part: "sum -r" 49495 over "begin 644 a.txt\n".
    ClearPartTable(app.parts);
    EXPECT_EQ(RecognizeFirst("begin 644 a.txt\r\n"), (Header{3, 1, 1, "a.txt"}));
    EXPECT_EQ(app.parts.rows[0].calculatedChecksum, 49495U);
    EXPECT_EQ(app.parts.rows[0].calculatedSize, 16U);

    struct Phrase {
        const char* text;
        int guess;
        int part;
        int total;
    };
    const Phrase phrases[] = {
        {"Part 1 of 3", 3, 1, 3}, {"(part 1/3)", 6, 1, 3}, {"[part 1/3]", 7, 1, 3},
        {"[ 2/9]", 8, 2, 9},      {"1 / 3", 3, 1, 3},      {"PART 04 OF 10 --", 3, 4, 10},
        {"99/99", 3, 99, 99},     {"", 0, -1, -1},         {"x1/3", 0, -1, -1},
        {"1-3", 0, -1, -1},       {"1 off 3", 0, -1, -1},  {"(1/3", 0, -1, -1},
        {"(1/3 )", 0, -1, -1},    {"[1/3)", 0, -1, -1},    {"(1/3]", 0, -1, -1},
    };
    for (const Phrase& p : phrases) {
        int part = -1;
        int total = -1;
        EXPECT_EQ(ParsePartNumbers(app, p.text, part, total), p.guess) << p.text;
        EXPECT_EQ(part, p.part) << p.text;
        EXPECT_EQ(total, p.total) << p.text;
    }
    EXPECT_TRUE(ui.messages.empty());
}

TEST_F(Recognition, EveryLineOfAPartsData) {
    struct Case {
        int format;
        int encoding;
        int knownTotal;
        int part;
        const char* text;
        Classified expected;
    };
    // clang-format off
    const Case cases[] = {
        {3, kEncodingUU, 1, 1, "end\r\n", {2, 1, 1}}, {3, kEncodingXX, 1, 1, "End \r\n", {2, 1, 1}},
        {3, kEncodingUU, 1, 1, "*end\r\n", {2, 1, 1}},
        {3, kEncodingUU, 1, 1, "end", kData},  // the last line, without a line end, is data
        {3, kEncodingUU, 1, 1, "ends\r\n", kData}, {5, kEncodingUU, 3, 3, "end\r\n", {2, 3, 3}},
        {4, kEncodingUU, 0, 3, "end\r\n", {2, 3, 3}},  // the part that ends the data is last
        {17, kEncodingUU, 0, 3, "end\r\n", {2, 3, 0}},
        {4, kEncodingUU, 3, 2, "END--cut here--cut here\r\n", {1, 2, 3}},
        {3, kEncodingUU, 1, 1, "END------cut here------\r\n", {1, 1, 1}},
        {14, kEncodingUU, 3, 2, "END -- Cut Here -- cut here\r\n", {1, 2, 3}},
        {17, kEncodingUU, 3, 2, "END cut here\r\n", kData},
        {4, kEncodingUU, 3, 2, "end -- cut here\r\n", kData},
        {5, kEncodingUU, 3, 2, "-------- End of part 2 of 3 --------\r\n", {1, 2, 3}},
        {5, kEncodingUU, 3, 2, "------- End of part 2 of 3 --------\r\n", kData},
        {6, kEncodingUU, 3, 2, "-- \r\n", {1, 2, 3}}, {7, kEncodingUU, 3, 2, "-- \r\n", kData},
        {10, kEncodingUU, 3, 2, "END-------------- p ------------ part 2/3 ---\n", {1, 2, 3}},
        {10, kEncodingUU, 3, 2, "END-------------- p ----- part 2/3 ---\n", kData},
        {13, kEncodingXX, 0, 1, "SECTION 1 of 4\r\n", {1, 1, 4}},
        {18, kEncodingUU, 3, 2, "----- CUT HERE\r\n", {1, 2, 3}},
        {19, kEncodingUU, 3, 2, "------ end of p.gif part 2 of 3 ------\r\n", {1, 2, 3}},
        {19, kEncodingUU, 3, 2, "------ END -- cut here\r\n", kData},
        {3, kEncodingUU, 1, 1, "sum -r/size 55876/28 section\r\n", {3, 1, 1}},
        {5, kEncodingXX, 3, 2, "sum -r/size 1/2 entire input file\r\n", {3, 2, 3}},
        {3, kEncodingUU, 1, 1, "SUM -R/SIZE 1/2 section\r\n", kData}, {3, kEncodingUU, 1, 1, "\r\n", {4, 1, 1}},
        {3, kEncodingUU, 1, 1, " \r\n", kData},  // the UU line for no bytes
        {3, kEncodingUU, 1, 1, "  \r\n", {4, 1, 1}}, {3, kEncodingXX, 1, 1, " \r\n", {4, 1, 1}},
        {3, kEncodingBinHex, 1, 1, "\r\n", kData}, {3, kEncodingMIME, 1, 1, "\r\n", {2, 1, 1}},
        {3, kEncodingMIME, 1, 1, "--1000_boundary_fffffc19--", {2, 1, 1}},
        {3, kEncodingUU, 1, 1, "--_`\r\n", kData},
    };
    // clang-format on
    for (const Case& c : cases) {
        Use(c.format, c.encoding, c.knownTotal);
        Open(c.text);
        Next();
        EXPECT_EQ(Classify(c.part), c.expected) << c.format << ": " << c.text;
    }
    // Wincode: "end" brings the trailer after the blank lines into hand, which the driver hands
    // back to the classification.
    Use(13, kEncodingUU, 3);
    Open("end\r\n\r\n\r\nsection 3/3   file p.gif   [ Wincode v2.3 ]\r\n");
    Next();
    EXPECT_EQ(Classify(3), (Classified{2, 3, 3}));
    EXPECT_EQ(Line(), "section 3/3   file p.gif   [ Wincode v2.3 ]\r");
    EXPECT_EQ(Classify(3), (Classified{1, 3, 3}));
}

TEST_F(Recognition, SeparatorsUuOrXxAndTheLookAhead) {
    // clang-format off
    const std::tuple<int, const char*, bool> separators[] = {
        {4, "BEGIN--cut here--cut here\r\n", true}, {4, "BEGIN\r\n", false},
        {4, "begin--cut here--cut here\r\n", false}, {15, "BEGIN PART 1\r\n", true}, {8, " \t\r\n", true},
        {8, "BEGIN cut here\r\n", false}, {18, "-----cut here-----\r\n", true}, {18, "----- x\r\n", false},
        {17, "The following lines\r\n", true}, {17, "The next line\r\n", false},
    };
    // clang-format on
    for (const auto& [format, text, separator] : separators) {
        app.job.CurrentFileFormat = format;
        Open(std::string(text) + "next\r\n");
        Next();
        EXPECT_EQ(IsSeparatorLine(app, line.data(), input), separator) << format << ": " << text;
    }
    // clang-format off
    const std::pair<const char*, int> guesses[] = {
        {"AB`cd\r\n", kEncodingUU}, {"AB cd\r\n", kEncodingUU}, {"h5U2SF0+\r\n", kEncodingXX},
        {"ABC123\r\n", 0}, {"AB\xE9" "cd\r\n", 0},
    };
    // clang-format on
    for (const auto& [text, encoding] : guesses) {
        Use(3, kEncodingAuto, 1);
        EXPECT_EQ(GuessUuOrXx(app, text), encoding != 0 ? 1 : 0) << text;
        EXPECT_EQ(app.job.EncodingIndex, encoding) << text;
    }
    // The look-ahead moves nothing, also over a line with a zero in it.
    Open(std::string("one\r\nt\0o\r\n\r\n", 12));
    Next();
    EXPECT_EQ(AtEndOfInput(app, input), 0);
    EXPECT_EQ(app.decode.lineNumber, 1);
    EXPECT_EQ(Next(), 4);
    EXPECT_EQ(AtEndOfInput(app, input), 0);
    Next();
    EXPECT_EQ(AtEndOfInput(app, input), 1);
}

}  // namespace
}  // namespace mandrel
