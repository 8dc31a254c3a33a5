#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "core/app_state.h"
#include "core/config.h"
#include "encode/alphabets.h"
#include "encode/binhex_encoder.h"
#include "encode/encode_driver.h"
#include "encode/line_encoder.h"
#include "encode/part_headers.h"
#include "encode/part_trailers.h"
#include "encode/sum_r.h"
#include "platform/scripted_ui.h"

namespace mandrel {
namespace {

constexpr std::string_view kPhoto = "/tmp/dir/photo.jpg";

std::span<const unsigned char> Bytes(std::string_view text) {
    return {reinterpret_cast<const unsigned char*>(text.data()), text.size()};
}

class PartHeaderTrailerTest : public ::testing::Test {
protected:
    PartHeaderTrailerTest() { Use(kEncodingUU, 3, kEolCrLf); }

    void Use(int encoding, int format, int eol) {
        app.encode = EncodeJob{};
        app.job.EncodingIndex = encoding;
        app.job.CurrentFileFormat = format;
        app.config.encodecrlf = eol;
        app.config.encodechecksum = 0;
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
        ASSERT_TRUE(app.encode.OutputBuffer.Allocate(1 << 16, 1 << 16));
    }

    std::string TakeText() {
        std::string text(app.encode.OutputBuffer.Held());
        app.encode.OutputBuffer.Rewind();
        return text;
    }
    std::string Header(std::string_view path, int part, int total) {
        app.encode.OutputBuffer.Rewind();
        EXPECT_EQ(WritePartHeader(app, path, part, total), 0);
        return TakeText();
    }
    std::string Trailer(int part, int total, std::string_view name) {
        app.encode.OutputBuffer.Rewind();
        EXPECT_EQ(WritePartTrailer(app, part, total, name), 0);
        return TakeText();
    }
    void Line(std::string_view bytes) {
        char line[kMaxLineLength + 2];
        const int n = EncodeLine(app, Bytes(bytes), line);
        ASSERT_GT(n, 0);
        AppendOutput(app, std::string_view(line, static_cast<std::size_t>(n)));
    }

    ScriptedUi ui;
    AppState app{ui};
};

struct HeaderCase {
    int format;
    std::string part1;  // part 1 of 3, begin line included
    std::string part2;  // part 2 of 3
};

const std::string kBegin = "begin 644 photo.jpg\r\n";

std::vector<HeaderCase> HeaderCases() {
    const std::string uuAlphabet(UUAlphabet);
    return {
        {3, kBegin, ""},
        {4, "Archive-name: photo/part01\r\nBEGIN--cut here--cut here--\r\n" + kBegin,
         "Archive-name: photo/part02\r\nBEGIN--cut here--cut here--\r\n"},
        {5, "------------ Part 1 of 3 ------------\r\n" + kBegin,
         "------------ Part 2 of 3 ------------\r\n"},
        {6,
         "Subject: photo.jpg (1/3)\r\n\r\n"
         "BEGIN --- CUT HERE --- Cut Here --- cut here --- photo.jpg\r\n" +
             kBegin,
         "Subject: photo.jpg (2/3)\r\n\r\n"
         "BEGIN --- CUT HERE --- Cut Here --- cut here --- photo.jpg\r\n"},
        {7,
         "Subject: photo.jpg [part 1/3]\r\n\r\n"
         "BEGIN------------------>  cut here  <------------------------\r\n" +
             kBegin,
         "Subject: photo.jpg [part 2/3]\r\n\r\n"
         "BEGIN------------------>  cut here  <------------------------\r\n"},
        {8, "Subject: photo.jpg [1/3]\r\n\r\n" + kBegin, "Subject: photo.jpg [2/3]\r\n\r\n"},
        {9,
         "Subject: photo [1/3]\r\n\r\n"
         "BEGIN----------------------CUT HERE--------------------------\r\n" +
             kBegin,
         "Subject: photo [2/3]\r\n\r\n"
         "BEGIN----------------------CUT HERE--------------------------\r\n"},
        {10,
         "#!/bin/sh\r\n"
         "#\r\n"
         "# This is a shell archive. Cut everything off before\r\n"
         "# the #!/bin/sh and feed the rest to /bin/sh\r\n"
         "#\r\n"
         "part=1\r\n"
         "file=photo.jpg\r\n"
         "sed -e '/^BEGIN/d' -e '/^END/d' << \\End_of_Section > $file.uue.$part\r\n"
         "BEGIN------------ photo.jpg ------------ part 1/3 ---\r\n" +
             kBegin,
         "#!/bin/sh\r\n"
         "#\r\n"
         "# This is a shell archive. Cut everything off before\r\n"
         "# the #!/bin/sh and feed the rest to /bin/sh\r\n"
         "#\r\n"
         "part=2\r\n"
         "file=photo.jpg\r\n"
         "sed -e '/^BEGIN/d' -e '/^END/d' << \\End_of_Section > $file.uue.$part\r\n"
         "BEGIN------------ photo.jpg ------------ part 2/3 ---\r\n"},
        {11,
         "X-File-Name: photo.jpg\r\nX-Part: 1\r\nX-Part-Total: 3\r\n\r\n"
         "BEGIN------------------------cut here------------------------\r\n" +
             kBegin,
         "X-File-Name: photo.jpg\r\nX-Part: 2\r\nX-Part-Total: 3\r\n\r\n"
         "BEGIN------------------------cut here------------------------\r\n"},
        {12,
         "photo.jpg    section  1/3   UUMOVE 2.0 by Quorvane, Inc.\r\n\r\n"
         "BEGIN----------------------CUT HERE--------------------------\r\n" +
             kBegin,
         "photo.jpg    section  2/3   UUMOVE 2.0 by Quorvane, Inc.\r\n\r\n"
         "BEGIN----------------------CUT HERE--------------------------\r\n"},
        {13, "section 1/3   file photo.jpg   [ Wincode v2.3 ]\r\n\r\n" + kBegin,
         "section 2/3   file photo.jpg   [ Wincode v2.3 ]\r\n\r\n"},
        {14, "POST V1.2.0 photo.jpg (Part 1/3)\r\n\r\nBEGIN -- Cut Here -- cut here\r\n" + kBegin,
         "POST V1.2.0 photo.jpg (Part 2/3)\r\n\r\nBEGIN -- Cut Here -- cut here\r\n"},
        {16, "BEGIN --- CUT HERE --- Cut Here --- cut here --- photo.jpg 1/3\r\n" + kBegin,
         "BEGIN --- CUT HERE --- Cut Here --- cut here --- photo.jpg 2/3\r\n"},
        {17,
         "Subject: photo.jpg, Part 001 of 003 (UUencoded)\r\n\r\n"
         "The following line should contain ASCII characters 0x20-0x5F\r\n" +
             uuAlphabet + "\r\n\r\n" + kBegin,
         "Subject: photo.jpg, Part 002 of 003 (UUencoded)\r\n\r\n"
         "The following line should contain ASCII characters 0x20-0x5F\r\n" +
             uuAlphabet + "\r\n\r\n"},
        {20, "section 1 of uuencode 5.24 of file photo.jpg    by Quorvane, Inc.\r\n\r\n" + kBegin,
         "section 2 of uuencode 5.24 of file photo.jpg    by Quorvane, Inc.\r\n\r\n"},
        // Formats that are only read have no header, but the begin line still comes.
        {15, kBegin, ""},
        {18, kBegin, ""},
        {19, kBegin, ""},
    };
}

TEST_F(PartHeaderTrailerTest, HeaderOfEveryFormat) {
    for (const HeaderCase& c : HeaderCases()) {
        SCOPED_TRACE("format " + std::to_string(c.format));
        Use(kEncodingUU, c.format, kEolCrLf);
        EXPECT_EQ(Header(kPhoto, 1, 3), c.part1);
        EXPECT_EQ(Header(kPhoto, 2, 3), c.part2);
    }
}

TEST_F(PartHeaderTrailerTest, HeaderWithXXNamesItsEncoding) {
    struct XXCase {
        int format;
        std::string expected;
    };
    const std::vector<XXCase> cases = {
        {17,
         "Subject: photo.jpg, Part 002 of 003 (XXencoded)\n\n"
         "The following line should contain ASCII characters 0x20-0x5F\n"
         "+-0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz\n\n"},
        {20, "section 2 of xxencode 5.24 of file photo.jpg    by Quorvane, Inc.\n\n"},
    };
    for (const XXCase& c : cases) {
        Use(kEncodingXX, c.format, kEolLf);
        EXPECT_EQ(Header(kPhoto, 2, 3), c.expected);
    }
}

TEST_F(PartHeaderTrailerTest, MimeOneFileExample) {
    Use(kEncodingMIME, 3, kEolCrLf);
    app.job.FileIndex = 0;
    app.job.FileCount = 0;
    app.encode.InputSize = 3;
    WritePartHeader(app, "a.txt", 1, 1);
    Line("abc");
    WritePartTrailer(app, 1, 1, "a.txt");
    EXPECT_EQ(TakeText(),
              "MIME-Version: 1.0\r\n"
              "Content-Type: multipart/mixed; boundary=\"3_boundary_fffffffe\"\r\n"
              "\r\n"
              "--3_boundary_fffffffe\r\n"
              "Content-Type: Application/octet-stream; name=\"a.txt\"\r\n"
              "Content-Description: \"a.txt base64 encoded by Mandrel32\"\r\n"
              "Content-Transfer-Encoding: BASE64\r\n"
              "Content-Disposition: attachment; filename=\"a.txt\"\r\n"
              "\r\n"
              "YWJj\r\n"
              "\r\n"
              "--3_boundary_fffffffe--");
    EXPECT_EQ(app.encode.MimeBoundary, "3_boundary_fffffffe");
    EXPECT_EQ(app.encode.MailSubject, "* Mandrel32 *; MIME; a.txt; 1 of 1");
}

TEST_F(PartHeaderTrailerTest, MimeSecondFileContinuesTheFirstBoundary) {
    Use(kEncodingMIME, 3, kEolCrLf);
    app.encode.MimeBoundary = "3_boundary_fffffffe";
    app.encode.InputSize = 5;
    app.job.FileIndex = 1;
    app.job.FileCount = 2;
    EXPECT_EQ(Header("C:\\docs\\b.bin", 1, 1),
              "\r\n"
              "--3_boundary_fffffffe\r\n"
              "Content-Type: Application/octet-stream; name=\"b.bin\"\r\n"
              "Content-Description: \"b.bin base64 encoded by Mandrel32\"\r\n"
              "Content-Transfer-Encoding: BASE64\r\n"
              "Content-Disposition: attachment; filename=\"b.bin\"\r\n"
              "\r\n");
    EXPECT_EQ(app.encode.MimeBoundary, "3_boundary_fffffffe");
}

TEST_F(PartHeaderTrailerTest, ClosingDelimiterOnlyAfterTheLastFile) {
    struct ListCase {
        int fileIndex;
        int fileCount;
        std::string expected;
    };
    const std::vector<ListCase> cases = {
        {0, 0, "\r\n--B--"}, {0, 1, "\r\n--B--"}, {0, 3, ""}, {1, 3, ""}, {2, 3, "\r\n--B--"},
    };
    for (const ListCase& c : cases) {
        Use(kEncodingMIME, 3, kEolCrLf);
        app.encode.MimeBoundary = "B";
        app.job.FileIndex = c.fileIndex;
        app.job.FileCount = c.fileCount;
        EXPECT_EQ(Trailer(1, 1, "a.txt"), c.expected) << c.fileIndex << " of " << c.fileCount;
    }
}

TEST_F(PartHeaderTrailerTest, BinHexSingleFile) {
    Use(kEncodingBinHex, 3, kEolCrLf);
    app.encode.InputSize = 3;
    EXPECT_EQ(Header("a.txt", 1, 1),
              "MIME-Version: 1.0\r\n"
              "Content-Type: multipart/mixed; boundary=\"3_boundary_fffffffe\"\r\n"
              "\r\n"
              "--3_boundary_fffffffe\r\n"
              "Content-Type: Application/mac-binhex40; name=\"a.txt\"\r\n"
              "Content-Description: \"a.txt binhex encoded by Mandrel32\"\r\n"
              "Content-Disposition: attachment; filename=\"a.txt\"\r\n"
              "\r\n"
              "\r\n"
              "(This file must be converted with BinHex 4.0)\r\n"
              ":");
    EXPECT_EQ(app.encode.MailSubject, "* Mandrel32 *; BinHex; a.txt; 1 of 1");

    // The whole text: the data line continues the colon and the delimiter closes it all.
    Use(kEncodingBinHex, 3, kEolCrLf);
    app.encode.InputSize = 3;
    WritePartHeader(app, "a.txt", 1, 1);
    BinHexWriteHeader(app, MakeBinHexHeader("a.txt", 3));
    std::vector<unsigned char> staged;
    BinHexPutBlock(app, Bytes("abc"), staged);
    BinHex6Bit(app, staged);
    WritePartTrailer(app, 1, 1, "a.txt");
    const std::string text = TakeText();
    const std::string opening = "(This file must be converted with BinHex 4.0)\r\n";
    const std::size_t data = text.find(opening);
    ASSERT_NE(data, std::string::npos);
    const std::string rest = text.substr(data + opening.size());
    ASSERT_EQ(rest.size(), 50U + 2U + 25U);
    EXPECT_EQ(rest.substr(0, 1), ":");
    EXPECT_EQ(rest.substr(49), ":\r\n\r\n--3_boundary_fffffffe--");
}

TEST_F(PartHeaderTrailerTest, MimeBoundaries) {
    EXPECT_EQ(MakeMimeBoundary(1000), "1000_boundary_fffffc19");
    EXPECT_EQ(MakeMimeBoundary(0), "0_boundary_1");
    EXPECT_EQ(MakeMimeBoundary(3), "3_boundary_fffffffe");
    EXPECT_EQ(MakeMimeBoundary(1), "1_boundary_0");
    EXPECT_EQ(MakeMimeBoundary(0xFFFFFFFFU), "4294967295_boundary_2");
}

TEST_F(PartHeaderTrailerTest, BeginLineCountsIntoThePartChecksum) {
    app.encode.PartSum = 999;
    app.encode.PartSize = 999;
    EXPECT_EQ(Header("a.txt", 1, 1), "begin 644 a.txt\r\n");
    EXPECT_EQ(app.encode.PartSize, 16U);
    EXPECT_EQ(app.encode.PartSum, SumRAdd(SumRAddText(0, "begin 644 a.txt"), '\n'));

    // Later parts start their count from the first encoded line.
    app.encode.PartSum = 999;
    app.encode.PartSize = 999;
    EXPECT_EQ(Header("a.txt", 2, 2), "");
    EXPECT_EQ(app.encode.PartSum, 0U);
    EXPECT_EQ(app.encode.PartSize, 0U);

    // MIME and BinHex have no begin line to count.
    Use(kEncodingMIME, 3, kEolCrLf);
    Header("a.txt", 1, 1);
    EXPECT_EQ(app.encode.PartSize, 0U);
}

TEST_F(PartHeaderTrailerTest, NameWithBlankIsQuotedOnlyWhereDescribed) {
    struct QuoteCase {
        int format;
        std::string inHeader;  // a text the header must hold; empty: none
    };
    const std::vector<QuoteCase> cases = {
        {3, ""},
        {4, "Archive-name: my photo/part01\r\n"},
        {5, ""},
        {6, "Subject: my photo.jpg (1/1)\r\n"},
        {7, "Subject: my photo.jpg [part 1/1]\r\n"},
        {8, "Subject: my photo.jpg [1/1]\r\n"},
        {9, "Subject: my photo [1/1]\r\n"},
        {10, "file=my photo.jpg\r\n"},
        {11, "X-File-Name: \"my photo.jpg\"\r\n"},
        {12, "my photo.jpg    section  1/1"},
        {13, "file my photo.jpg   ["},
        {14, "POST V1.2.0 my photo.jpg (Part 1/1)"},
        {16, "cut here --- my photo.jpg 1/1"},
        {17, "Subject: my photo.jpg, Part 001"},
        {20, "of file my photo.jpg    by"},
    };
    for (const QuoteCase& c : cases) {
        SCOPED_TRACE("format " + std::to_string(c.format));
        Use(kEncodingUU, c.format, kEolCrLf);
        const std::string text = Header("/tmp/my photo.jpg", 1, 1);
        const bool quoted = c.format == 5 || c.format == 9 || c.format == 11;
        const std::string begin =
            quoted ? "begin 644 \"my photo.jpg\"\r\n" : "begin 644 my photo.jpg\r\n";
        EXPECT_EQ(text.substr(text.size() - begin.size()), begin);
        EXPECT_NE(text.find(c.inHeader), std::string::npos);
        const std::size_t quotes = std::count(text.begin(), text.end(), '"');
        const std::size_t inAlphabet = c.format == 17 ? 1U : 0U;  // the UU alphabet has one
        EXPECT_EQ(quotes, (c.format == 11 ? 4U : quoted ? 2U : 0U) + inAlphabet);
    }
    // The trailers name the file without quotes too.
    Use(kEncodingUU, 13, kEolCrLf);
    EXPECT_EQ(Trailer(1, 2, "my photo.jpg"),
              "section 1/2   file my photo.jpg   [ Wincode v2.3 ]\r\n\r\n\r\n");
}

TEST_F(PartHeaderTrailerTest, HeaderFileNameForms) {
    struct NameCase {
        std::string name;
        bool shortForm;
        std::string expected;
    };
    const std::vector<NameCase> cases = {
        {"photo.jpg", true, "photo.jpg"},
        {"photo.jpg", false, "photo.jpg"},
        {"my photo.jpg", true, "my photo.jpg"},
        {"my photo.jpg", false, "\"my photo.jpg\""},
        {"", false, ""},
        {" ", false, "\" \""},
    };
    for (const NameCase& c : cases) {
        EXPECT_EQ(HeaderFileName(c.name, c.shortForm), c.expected) << c.name;
    }
}

TEST_F(PartHeaderTrailerTest, MailSubjects) {
    struct SubjectCase {
        int format;
        std::string path;
        int part;
        int total;
        std::string expected;
    };
    const std::vector<SubjectCase> cases = {
        {7, "C:\\PICS\\PHOTO.JPG", 2, 5, "Subject: PHOTO.JPG [part 2/5]\r\n\r\n"},
        {3, std::string(kPhoto), 1, 1, "* Mandrel32 *; UU; photo.jpg; 1 of 1"},
        {6, std::string(kPhoto), 2, 5, "Subject: photo.jpg (2/5)\r\n\r\n"},
        {8, std::string(kPhoto), 2, 5, "Subject: photo.jpg [2/5]\r\n\r\n"},
        {9, std::string(kPhoto), 2, 5, "Subject: photo [2/5]\r\n\r\n"},
        {17, std::string(kPhoto), 2, 5, "* Mandrel32 *; UU; photo.jpg; 2 of 5"},
        {5, "a:b.c", 3, 5, "* Mandrel32 *; UU; b.c; 3 of 5"},
    };
    for (const SubjectCase& c : cases) {
        Use(kEncodingUU, c.format, kEolCrLf);
        Header(c.path, c.part, c.total);
        EXPECT_EQ(app.encode.MailSubject, c.expected) << c.format;
    }
}

TEST_F(PartHeaderTrailerTest, OverlongNameIsCutToTheWorkArea) {
    const std::string name(300, 'n');
    const std::string text = Header("/tmp/" + name, 1, 1);
    EXPECT_EQ(text, "begin 644 " + std::string(245, 'n') + "\r\n");
    EXPECT_EQ(app.encode.PartSize, 256U);
    EXPECT_EQ(app.encode.MailSubject.size(), 255U);
}

TEST_F(PartHeaderTrailerTest, OnePartUUWithChecksums) {
    for (const int eol : {kEolCrLf, kEolLf}) {
        const std::string e = eol == kEolCrLf ? "\r\n" : "\n";
        Use(kEncodingUU, 3, eol);
        app.config.encodechecksum = 1;
        app.encode.InputSize = 3;
        WritePartHeader(app, "C:\\in\\a.txt", 1, 1);
        Line("abc");
        Line("");
        WritePartTrailer(app, 1, 1, "a.txt");
        EXPECT_EQ(TakeText(), "begin 644 a.txt" + e + "#86)C" + e + "`" + e + "end" + e +
                                  "sum -r/size 55876/28 section (from \"begin\" to \"end\")" + e +
                                  "sum -r/size 16556/3 entire input file" + e);
    }
}

TEST_F(PartHeaderTrailerTest, ThreePartCompBinariesWithChecksums) {
    Use(kEncodingUU, 4, kEolCrLf);
    app.config.encodechecksum = 1;
    app.encode.InputSize = 9;
    struct PartCase {
        int part;
        std::string expected;
    };
    const std::vector<PartCase> cases = {
        {1,
         "Archive-name: photo/part01\r\nBEGIN--cut here--cut here--\r\n"
         "begin 644 photo.jpg\r\n#86)C\r\n"
         "\r\n"
         "sum -r/size 4657/26 section (from \"begin\" to last encoded line)\r\n"
         "END--cut here--cut here\r\n"},
        {2,
         "Archive-name: photo/part02\r\nBEGIN--cut here--cut here--\r\n"
         "#86)C\r\n"
         "\r\n"
         "sum -r/size 6209/6 section (from first to last encoded line)\r\n"
         "END--cut here--cut here\r\n"},
        {3,
         "Archive-name: photo/part03\r\nBEGIN--cut here--cut here--\r\n"
         "#86)C\r\n"
         "`\r\n"
         "end\r\n"
         "sum -r/size 50376/12 section (from first encoded line to \"end\")\r\n"
         "sum -r/size 16556/9 entire input file\r\n"
         "END--cut here--cut here\r\n"},
    };
    for (const PartCase& c : cases) {
        // Each part carries "abc"; the input's sum is reset so the last part reports 16556.
        app.encode.InputSum = 0;
        WritePartHeader(app, kPhoto, c.part, 3);
        Line("abc");
        if (c.part == 3) {
            Line("");
        }
        WritePartTrailer(app, c.part, 3, "photo.jpg");
        EXPECT_EQ(TakeText(), c.expected) << "part " << c.part;
    }
}

const std::string kSharScript =
    "END-------------- photo.jpg ------------ part 2/3 ---\n"
    "End_of_Section\n"
    "echo $file, part $part extracted.\n"
    "if [ `echo $file.uue.[0-9]* | wc -w` = 3 ]; then \n"
    "cat $file.uue.* | uudecode\n"
    "if [ $? -gt 0 ]; then\n"
    "  echo Error encountered when uudecoding pieces...\n"
    "exit 1\n"
    "fi\n"
    "echo $file successfully uudecoded. Removing uuencoded pieces.\n"
    "rm $file.uue.[0-9]*\n"
    "fi\n"
    "exit 0\n";

TEST_F(PartHeaderTrailerTest, TrailerOfEveryFormat) {
    struct TrailerCase {
        int format;
        std::string expected;  // part 2 of 3
    };
    const std::vector<TrailerCase> cases = {
        {3, ""},
        {4, "END--cut here--cut here\r\n"},
        {5, "-------- End of part 2 of 3 --------\r\n"},
        {6, "-- \r\n"},
        {7, "END-------------------->  cut here  <------------------------\r\n"},
        {8, "-- \r\n"},
        {9, "END------------------------CUT HERE--------------------------\r\n"},
        {11, "END------------------------cut here--------------------------\r\n"},
        {12, "END------------------------CUT HERE--------------------------\r\n\r\n"},
        {13, "section 2/3   file photo.jpg   [ Wincode v2.3 ]\r\n\r\n\r\n"},
        {14, "END -- Cut Here -- cut here\r\n\r\n"},
        {15, ""},
        {16, "END --- CUT HERE --- Cut Here --- cut here --- photo.jpg 2/3\r\n\r\n"},
        {17, "\r\n\r\n\r\n"},
        {18, ""},
        {19, ""},
        {20, "\r\n\r\n"},
        {99, ""},
    };
    for (const TrailerCase& c : cases) {
        Use(kEncodingUU, c.format, kEolCrLf);
        EXPECT_EQ(Trailer(2, 3, "photo.jpg"), c.expected) << "format " << c.format;
    }
    // The last part ends the data first.
    Use(kEncodingUU, 5, kEolCrLf);
    EXPECT_EQ(Trailer(3, 3, "photo.jpg"), "end\r\n-------- End of part 3 of 3 --------\r\n");
    EXPECT_EQ(app.encode.PartSize, 4U);
    EXPECT_EQ(app.encode.PartSum, SumRAdd(SumRAddText(0, "end"), '\n'));
}

TEST_F(PartHeaderTrailerTest, SharTrailerIsTheScriptWithoutChecksums) {
    Use(kEncodingUU, 10, kEolLf);
    app.config.encodechecksum = 1;
    EXPECT_EQ(Trailer(2, 3, "photo.jpg"), kSharScript);
}

// The shar parts are real shell scripts: feeding them to the shell rebuilds the file.
TEST_F(PartHeaderTrailerTest, SharPartsRebuildTheFileThroughTheShell) {
    if (std::system("command -v uudecode >/dev/null 2>&1") != 0) {
        GTEST_SKIP() << "uudecode is not installed";
    }
    namespace fs = std::filesystem;
    std::string dirTemplate = (fs::temp_directory_path() / "mdrshar-XXXXXX").string();
    ASSERT_NE(mkdtemp(dirTemplate.data()), nullptr);
    const fs::path dir = dirTemplate;

    std::mt19937 random(99U);
    std::string input(300, '\0');
    for (char& c : input) {
        c = static_cast<char>(random());
    }
    Use(kEncodingUU, 10, kEolLf);
    app.config.encodechecksum = 1;
    app.encode.InputSize = static_cast<uint32_t>(input.size());
    const std::vector<std::pair<std::size_t, std::size_t>> parts = {{0, 135}, {135, 90}, {225, 75}};
    for (std::size_t p = 0; p < parts.size(); ++p) {
        const int part = static_cast<int>(p) + 1;
        WritePartHeader(app, "/somewhere/photo.jpg", part, 3);
        for (std::size_t at = parts[p].first; at < parts[p].first + parts[p].second; at += 45) {
            Line(std::string_view(input).substr(at, std::min<std::size_t>(45, 300 - at)));
        }
        if (part == 3) {
            Line("");
        }
        WritePartTrailer(app, part, 3, "photo.jpg");
        std::ofstream(dir / ("part" + std::to_string(part) + ".sh"), std::ios::binary)
            << TakeText();
    }
    const std::string command =
        "cd '" + dir.string() + "' && (sh part1.sh && sh part2.sh && sh part3.sh) >/dev/null 2>&1";
    EXPECT_EQ(std::system(command.c_str()), 0);
    std::ifstream decoded(dir / "photo.jpg", std::ios::binary);
    const std::string output((std::istreambuf_iterator<char>(decoded)),
                             std::istreambuf_iterator<char>());
    EXPECT_EQ(output, input);
    EXPECT_FALSE(fs::exists(dir / "photo.jpg.uue.1"));  // the pieces are removed
    fs::remove_all(dir);
}

}  // namespace
}  // namespace mandrel

namespace mandrel {
namespace {

// The reassembly script takes its pieces in name order: a set of ten parts or more numbers them
// with two digits, a smaller set as the plain number.
TEST_F(PartHeaderTrailerTest, SharPieceNumbersSortInPartOrder) {
    Use(kEncodingUU, 10, kEolLf);
    EXPECT_NE(Header("/tmp/dir/photo.jpg", 3, 9).find("\npart=3\nfile=photo.jpg\n"),
              std::string::npos);
    const std::string header = Header("/tmp/dir/photo.jpg", 3, 12);
    EXPECT_NE(header.find("\npart=03\nfile=photo.jpg\n"), std::string::npos) << header;
    EXPECT_NE(header.find("BEGIN------------ photo.jpg ------------ part 3/12 ---\n"),
              std::string::npos);
    EXPECT_NE(Header("/tmp/dir/photo.jpg", 12, 12).find("\npart=12\n"), std::string::npos);
}

}  // namespace
}  // namespace mandrel
