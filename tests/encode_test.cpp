// The encoder: the exact bytes of every format's header and trailer, the checksum lines, the
// MIME and BinHex texts, and the driver end to end through the scripted port (part sizing,
// names, destinations, questions, refusals and clean-up).
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <random>
#include <string>
#include <vector>

#include "codec/alphabets.h"
#include "codec/binhex_crc.h"
#include "codec/sum_r.h"
#include "encode/binhex_encoder.h"
#include "encode/encode_driver.h"
#include "encode/line_encoder.h"
#include "encode/part_headers.h"
#include "encode/part_trailers.h"
#include "platform/scripted_ui.h"
#include "shell/app_state.h"
#include "support/test_files.h"

namespace mandrel {
namespace {

using test::Bytes;
using test::ListDirectory;
using test::RandomBytes;
using test::ReadFile;
using ByteVector = std::vector<unsigned char>;

std::string_view Text(const ByteVector& bytes) {
    return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

// The BinHex characters back into bytes, colons and line ends skipped.
ByteVector DecodeSixBit(std::string_view text) {
    ByteVector out;
    uint32_t bits = 0;
    int count = 0;
    for (const char c : text) {
        if (c == ':' || c == '\r' || c == '\n') {
            continue;
        }
        const std::size_t v = BinHexAlphabet.find(c);
        EXPECT_NE(v, std::string_view::npos) << static_cast<int>(c);
        bits = (bits << 6) | static_cast<uint32_t>(v);
        count += 6;
        if (count >= 8) {
            count -= 8;
            out.push_back(static_cast<unsigned char>(bits >> count));
        }
    }
    return out;
}

// One part's text made piece by piece as the driver makes it.
class PartText : public ::testing::Test {
protected:
    PartText() { Use(kEncodingUU, kFormatSingleFile, kEolCrLf); }

    void Use(int encoding, int format, int eol) {
        app.encode = EncodeJob{};
        app.job.EncodingIndex = encoding;
        app.job.CurrentFileFormat = format;
        app.job.place = {};
        app.config.encodecrlf = eol;
        app.config.encodechecksum = 0;
        app.encode.CurrentAlphabet = AlphabetFor(encoding);
        ASSERT_TRUE(app.encode.OutputBuffer.Allocate(1 << 16, 1 << 16));
    }
    std::string Take() {
        std::string text(app.encode.OutputBuffer.Held());
        app.encode.OutputBuffer.Rewind();
        return text;
    }
    std::string Header(std::string_view path, int part, int total) {
        EXPECT_EQ(WritePartHeader(app, path, part, total), 0);
        return Take();
    }
    std::string Trailer(int part, int total, std::string_view name) {
        EXPECT_EQ(WritePartTrailer(app, part, total, name), 0);
        return Take();
    }
    void Line(std::string_view bytes) {
        char line[kMaxLineLength + 2];
        const int n = EncodeLine(app, Bytes(bytes), line);
        ASSERT_GT(n, 0);
        AppendOutput(app, std::string_view(line, static_cast<std::size_t>(n)));
    }
    void BinHexFile(std::string_view path, std::string_view data) {
        BinHexWriteHeader(app, MakeBinHexHeader(path, static_cast<uint32_t>(data.size())));
        std::vector<unsigned char> staged;
        for (std::size_t i = 0; i < data.size(); i += 45) {
            staged.clear();
            BinHexPutBlock(app, Bytes(data.substr(i, 45)), staged);
            BinHex6Bit(app, staged);
        }
    }

    ScriptedUi ui;
    AppState app{ui, ui};
};

const std::string kBegin = "begin 644 photo.jpg\r\n";
constexpr std::string_view kPhoto = "/tmp/dir/photo.jpg";

TEST_F(PartText, HeaderOfEveryFormat) {
    const std::string shar =
        "#!/bin/sh\r\n#\r\n# This is a shell archive. Cut everything off before\r\n"
        "# the #!/bin/sh and feed the rest to /bin/sh\r\n#\r\npart=1\r\nfile=photo.jpg\r\n"
        "sed -e '/^BEGIN/d' -e '/^END/d' << \\End_of_Section > $file.uue.$part\r\n"
        "BEGIN------------ photo.jpg ------------ part 1/3 ---\r\n";
    const std::pair<int, std::string> cases[] = {
        {3, ""},
        {4, "Archive-name: photo/part01\r\nBEGIN--cut here--cut here--\r\n"},
        {5, "------------ Part 1 of 3 ------------\r\n"},
        {6,
         "Subject: photo.jpg (1/3)\r\n\r\n"
         "BEGIN --- CUT HERE --- Cut Here --- cut here --- photo.jpg\r\n"},
        {7,
         "Subject: photo.jpg [part 1/3]\r\n\r\n"
         "BEGIN------------------>  cut here  <------------------------\r\n"},
        {8, "Subject: photo.jpg [1/3]\r\n\r\n"},
        {9,
         "Subject: photo [1/3]\r\n\r\n"
         "BEGIN----------------------CUT HERE--------------------------\r\n"},
        {10, shar},
        {11,
         "X-File-Name: photo.jpg\r\nX-Part: 1\r\nX-Part-Total: 3\r\n\r\n"
         "BEGIN------------------------cut here------------------------\r\n"},
        {12,
         "photo.jpg    section  1/3   UUMOVE 2.0 by Quorvane, Inc.\r\n\r\n"
         "BEGIN----------------------CUT HERE--------------------------\r\n"},
        {13, "section 1/3   file photo.jpg   [ Wincode v2.3 ]\r\n\r\n"},
        {14, "POST V1.2.0 photo.jpg (Part 1/3)\r\n\r\nBEGIN -- Cut Here -- cut here\r\n"},
        {16, "BEGIN --- CUT HERE --- Cut Here --- cut here --- photo.jpg 1/3\r\n"},
        {17,
         "Subject: photo.jpg, Part 001 of 003 (UUencoded)\r\n\r\n"
         "The following line should contain ASCII characters 0x20-0x5F\r\n" +
             std::string(UUAlphabet) + "\r\n\r\n"},
        {20, "section 1 of uuencode 5.24 of file photo.jpg    by Quorvane, Inc.\r\n\r\n"},
        {15, ""},  // formats that are only read have no header of their own
    };
    for (const auto& [format, header] : cases) {
        Use(kEncodingUU, format, kEolCrLf);
        EXPECT_EQ(Header(kPhoto, 1, 3), header + kBegin) << "format " << format;
        // Later parts have the header alone.
        EXPECT_FALSE(Header(kPhoto, 2, 3).ends_with(kBegin)) << "format " << format;
    }
    // XX names itself where the format names the encoding; a set of ten parts or more numbers
    // its shar pieces with two digits, so that `cat $file.uue.*` takes them in order.
    Use(kEncodingXX, 20, kEolLf);
    EXPECT_EQ(Header(kPhoto, 2, 3),
              "section 2 of xxencode 5.24 of file photo.jpg    by Quorvane, Inc.\n\n");
    Use(kEncodingUU, 10, kEolLf);
    EXPECT_NE(Header(kPhoto, 3, 12).find("\npart=03\nfile=photo.jpg\n"), std::string::npos);
    EXPECT_NE(Header(kPhoto, 3, 9).find("\npart=3\nfile=photo.jpg\n"), std::string::npos);
}

TEST_F(PartText, TrailerOfEveryFormat) {
    struct Case {
        int format;
        std::string part2;  // of 3
    };
    const Case cases[] = {
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
        {16, "END --- CUT HERE --- Cut Here --- cut here --- photo.jpg 2/3\r\n\r\n"},
        {17, "\r\n\r\n\r\n"},
        {20, "\r\n\r\n"},
        {18, ""},
    };
    for (const Case& c : cases) {
        Use(kEncodingUU, c.format, kEolCrLf);
        EXPECT_EQ(Trailer(2, 3, "photo.jpg"), c.part2) << "format " << c.format;
    }
    // The shar trailer is the reassembly script, never with checksum lines in it.
    Use(kEncodingUU, 10, kEolLf);
    app.config.encodechecksum = 1;
    EXPECT_EQ(Trailer(2, 3, "photo.jpg"),
              "END-------------- photo.jpg ------------ part 2/3 ---\nEnd_of_Section\n"
              "echo $file, part $part extracted.\n"
              "if [ `echo $file.uue.[0-9]* | wc -w` = 3 ]; then \ncat $file.uue.* | uudecode\n"
              "if [ $? -gt 0 ]; then\n  echo Error encountered when uudecoding pieces...\n"
              "exit 1\nfi\necho $file successfully uudecoded. Removing uuencoded pieces.\n"
              "rm $file.uue.[0-9]*\nfi\nexit 0\n");
}

// "sum -r/size" lines: the part's text as saved with LF ends, the begin and end lines
// included, and the input's bytes; the section line names what it covers.
TEST_F(PartText, ChecksumLinesOfOneAndOfThreeParts) {
    for (const int eol : {kEolCrLf, kEolLf}) {
        const std::string e = eol == kEolCrLf ? "\r\n" : "\n";
        Use(kEncodingUU, kFormatSingleFile, eol);
        app.config.encodechecksum = 1;
        app.encode.InputSize = 3;
        WritePartHeader(app, "C:\\in\\a.txt", 1, 1);
        Line("abc");
        Line("");
        WritePartTrailer(app, 1, 1, "a.txt");
        EXPECT_EQ(Take(), test::WithLineEnds("begin 644 a.txt\n#86)C\n`\nend\n"
                                             "sum -r/size 55876/28 section (from \"begin\" to "
                                             "\"end\")\nsum -r/size 16556/3 entire input file\n",
                                             e));
    }
    Use(kEncodingUU, 4, kEolCrLf);
    app.config.encodechecksum = 1;
    app.encode.InputSize = 9;
    const std::string expected[] = {
        "Archive-name: photo/part01\r\nBEGIN--cut here--cut here--\r\nbegin 644 photo.jpg\r\n"
        "#86)C\r\n\r\nsum -r/size 4657/26 section (from \"begin\" to last encoded line)\r\n"
        "END--cut here--cut here\r\n",
        "Archive-name: photo/part02\r\nBEGIN--cut here--cut here--\r\n#86)C\r\n\r\n"
        "sum -r/size 6209/6 section (from first to last encoded line)\r\n"
        "END--cut here--cut here\r\n",
        "Archive-name: photo/part03\r\nBEGIN--cut here--cut here--\r\n#86)C\r\n`\r\nend\r\n"
        "sum -r/size 50376/12 section (from first encoded line to \"end\")\r\n"
        "sum -r/size 16556/9 entire input file\r\nEND--cut here--cut here\r\n",
    };
    for (int part = 1; part <= 3; ++part) {
        app.encode.InputSum = 0;  // each part carries "abc": the last reports its sum
        WritePartHeader(app, kPhoto, part, 3);
        Line("abc");
        if (part == 3) {
            Line("");
        }
        WritePartTrailer(app, part, 3, "photo.jpg");
        EXPECT_EQ(Take(), expected[part - 1]) << "part " << part;
    }
}

TEST_F(PartText, MimeFilesShareOneMultipartText) {
    Use(kEncodingMIME, kFormatSingleFile, kEolCrLf);
    app.encode.InputSize = 3;
    app.job.place = {0, 2};
    WritePartHeader(app, "a.txt", 1, 1);
    Line("abc");
    WritePartTrailer(app, 1, 1, "a.txt");
    EXPECT_EQ(Take(),
              "MIME-Version: 1.0\r\n"
              "Content-Type: multipart/mixed; boundary=\"3_boundary_fffffffe\"\r\n\r\n"
              "--3_boundary_fffffffe\r\n"
              "Content-Type: Application/octet-stream; name=\"a.txt\"\r\n"
              "Content-Description: \"a.txt base64 encoded by Mandrel32\"\r\n"
              "Content-Transfer-Encoding: BASE64\r\n"
              "Content-Disposition: attachment; filename=\"a.txt\"\r\n\r\n"
              "YWJj\r\n");
    EXPECT_EQ(app.encode.MailSubject, "* Mandrel32 *; MIME; a.txt; 1 of 1");
    // The second and last file continues under the first one's boundary and closes the text.
    app.encode.InputSize = 5;
    app.job.place = {1, 2};
    WritePartHeader(app, "C:\\docs\\b.bin", 1, 1);
    Line("hello");
    WritePartTrailer(app, 1, 1, "b.bin");
    EXPECT_EQ(Take(),
              "\r\n--3_boundary_fffffffe\r\n"
              "Content-Type: Application/octet-stream; name=\"b.bin\"\r\n"
              "Content-Description: \"b.bin base64 encoded by Mandrel32\"\r\n"
              "Content-Transfer-Encoding: BASE64\r\n"
              "Content-Disposition: attachment; filename=\"b.bin\"\r\n\r\n"
              "aGVsbG8=\r\n\r\n--3_boundary_fffffffe--");
    EXPECT_EQ(MakeMimeBoundary(0), "0_boundary_1");
    EXPECT_EQ(MakeMimeBoundary(0xFFFFFFFFU), "4294967295_boundary_2");
}

TEST_F(PartText, BinHexFileIsItsHeaderForksAndCrcs) {
    Use(kEncodingBinHex, kFormatSingleFile, kEolCrLf);
    app.encode.InputSize = 3;
    EXPECT_EQ(Header("a.txt", 1, 1),
              "MIME-Version: 1.0\r\n"
              "Content-Type: multipart/mixed; boundary=\"3_boundary_fffffffe\"\r\n\r\n"
              "--3_boundary_fffffffe\r\n"
              "Content-Type: Application/mac-binhex40; name=\"a.txt\"\r\n"
              "Content-Description: \"a.txt binhex encoded by Mandrel32\"\r\n"
              "Content-Disposition: attachment; filename=\"a.txt\"\r\n\r\n"
              "\r\n(This file must be converted with BinHex 4.0)\r\n:");
    AppendOutput(app, ":");
    BinHexFile("C:\\docs\\a.txt", "abc");
    WritePartTrailer(app, 1, 1, "a.txt");
    const std::string text = Take();
    EXPECT_EQ(text.substr(0, 1), ":");
    EXPECT_EQ(text.substr(49), ":\r\n\r\n--3_boundary_fffffffe--");
    const ByteVector header = {0x05, 'a', '.', 't', 'x', 't', 0x00, 't', 'x', 't', 0x00, 'M', 'D',
                               'R',  'L', 0,   0,   0,   0,   0,    3,   0,   0,   0,    0};
    const uint16_t headerCrc = test::Crc16Xmodem(Text(header));
    const uint16_t dataCrc = test::Crc16Xmodem("abc");
    ByteVector expected = header;
    // The header's CRC, the data fork and its CRC, the empty resource fork's CRC (0) and the
    // zero bits that complete the last group.
    expected.insert(expected.end(), {static_cast<unsigned char>(headerCrc >> 8),
                                     static_cast<unsigned char>(headerCrc), 'a', 'b', 'c',
                                     static_cast<unsigned char>(dataCrc >> 8),
                                     static_cast<unsigned char>(dataCrc), 0, 0, 0, 0});
    EXPECT_EQ(DecodeSixBit(text.substr(0, 50)), expected);
    // 0x90 is escaped in the stream but counted once in the CRC.
    std::vector<unsigned char> staged;
    app.encode.binhex.BinHexCrc = 0;
    EXPECT_EQ(BinHexPutBlock(app, ByteVector{0x01, 0x90, 0x02}, staged), 4U);
    EXPECT_EQ(staged, (ByteVector{0x01, 0x90, 0x00, 0x02}));
    uint32_t crc = app.encode.binhex.BinHexCrc;
    crc = BinHexCrcUpdate(0, BinHexCrcUpdate(0, crc));
    EXPECT_EQ(crc, test::Crc16Xmodem("\x01\x90\x02"));
}

TEST_F(PartText, BinHexLinesAndCharactersDoNotDependOnTheCuts) {
    // 100 bytes make lines of 64, 64 and 46 characters.
    for (const int eol : {kEolCrLf, kEolLf}) {
        Use(kEncodingBinHex, kFormatSingleFile, eol);
        AppendOutput(app, ":");
        std::string data(100, '\0');
        for (std::size_t i = 0; i < data.size(); ++i) {
            data[i] = static_cast<char>(i);
        }
        BinHexFile("x", data);
        BinHexFinish(app);
        const std::string e = eol == kEolCrLf ? "\r\n" : "\n";
        const std::string text = Take();
        ASSERT_EQ(text.size(), 64 + 64 + 46 + 3 * e.size());
        EXPECT_EQ(text.substr(64, e.size()), e);
        EXPECT_EQ(text.substr(text.size() - 1 - e.size()), ":" + e);
    }
    std::mt19937 random(7U);
    const std::string stream = RandomBytes(7, 301);
    auto encodeInCuts = [&](const std::vector<std::size_t>& cuts) {
        Use(kEncodingBinHex, kFormatSingleFile, kEolCrLf);
        app.encode.binhex.column = 1;
        std::size_t start = 0;
        for (const std::size_t end : cuts) {
            BinHex6Bit(app, Bytes(std::string_view(stream).substr(start, end - start)));
            start = end;
        }
        BinHex6BitFlush(app);
        return Take();
    };
    const std::string whole = encodeInCuts({stream.size()});
    EXPECT_EQ(whole.size(), 404U + 6U * 2U);
    for (int trial = 0; trial < 200; ++trial) {
        std::vector<std::size_t> cuts;
        for (std::size_t at = 0; at < stream.size();) {
            at = std::min(stream.size(), at + random() % 5);
            cuts.push_back(at);
        }
        ASSERT_EQ(encodeInCuts(cuts), whole) << "trial " << trial;
    }
    // The last group is completed with zero bits.
    const std::pair<ByteVector, std::string> flushes[] = {
        {{0x00}, "!!!!"}, {{0xFF}, "r`!!"}, {{0xFF, 0xFF}, "rrm!"}, {{}, ""}};
    for (const auto& [bytes, expected] : flushes) {
        Use(kEncodingBinHex, kFormatSingleFile, kEolCrLf);
        BinHex6Bit(app, bytes);
        BinHex6BitFlush(app);
        EXPECT_EQ(Take(), expected);
    }
}

TEST_F(PartText, NamesInHeadersSubjectsAndBinHexTypes) {
    // A name with a blank is quoted where the format's begin line takes the long form.
    for (const int format : {3, 5, 9, 11, 13}) {
        Use(kEncodingUU, format, kEolCrLf);
        const std::string text = Header("/tmp/my photo.jpg", 1, 1);
        const bool quoted = format == 5 || format == 9 || format == 11;
        EXPECT_TRUE(text.ends_with(quoted ? "begin 644 \"my photo.jpg\"\r\n"
                                          : "begin 644 my photo.jpg\r\n"))
            << format;
    }
    Use(kEncodingUU, 11, kEolCrLf);
    EXPECT_TRUE(Header("/tmp/my photo.jpg", 1, 1).starts_with("X-File-Name: \"my photo.jpg\""));
    struct Subject {
        int format;
        std::string path;
        std::string expected;
    };
    const Subject subjects[] = {
        {7, "C:\\PICS\\PHOTO.JPG", "Subject: PHOTO.JPG [part 2/5]\r\n\r\n"},
        {9, std::string(kPhoto), "Subject: photo [2/5]\r\n\r\n"},
        {17, std::string(kPhoto), "* Mandrel32 *; UU; photo.jpg; 2 of 5"},
        {5, "a:b.c", "* Mandrel32 *; UU; b.c; 2 of 5"},
    };
    for (const Subject& s : subjects) {
        Use(kEncodingUU, s.format, kEolCrLf);
        Header(s.path, 2, 5);
        EXPECT_EQ(app.encode.MailSubject, s.expected) << s.format;
    }
    // Header lines and subjects are cut to the 255-character work area.
    Use(kEncodingUU, kFormatSingleFile, kEolCrLf);
    EXPECT_EQ(Header("/tmp/" + std::string(300, 'n'), 1, 1),
              "begin 644 " + std::string(245, 'n') + "\r\n");
    EXPECT_EQ(app.encode.MailSubject.size(), 255U);
    // clang-format off
    const std::pair<std::string, std::string> types[] = {
        {"a.txt", std::string("txt\0", 4)}, {"a.jpeg", "jpeg"}, {"a.abcdef", "abcd"}, {"README", "Data"},
        {"name.", "Data"}, {"/home/u.v/file", "Data"},
    };
    // clang-format on
    for (const auto& [path, type] : types) {
        const BinHexHeader header = MakeBinHexHeader(path, 0);
        EXPECT_EQ(std::string(std::begin(header.type), std::end(header.type)), type) << path;
    }
    EXPECT_EQ(MakeBinHexHeader("/d/" + std::string(70, 'n'), 0).name, std::string(63, 'n'));
}

// ---- The driver ----

class EncodeDriver : public ::testing::Test {
protected:
    EncodeDriver() { app.files.BufFileInit(10, 16384); }

    std::string Input(std::string_view name, std::string_view bytes) {
        std::string path = dir.File(name);
        test::WriteFile(path, bytes);
        return path;
    }
    int Encode(const std::string& path, int interactive = 0) {
        app.job.JobInputPath = path;
        app.job.JobDirection = kDirectionEncode;
        const BufFile input = app.files.BufFileOpen(path, BufOpenMode::Read, 0);
        EXPECT_GE(input, 0) << path;
        return EncodeFile(app, input, interactive);
    }
    static std::size_t LinesStartingWith(std::string_view text, std::string_view first) {
        const std::vector<std::string_view> lines = test::SplitLines(text);
        return static_cast<std::size_t>(
            std::count_if(lines.begin(), lines.end(),
                          [first](std::string_view l) { return l.starts_with(first); }));
    }

    ScriptedUi ui;
    AppState app{ui, ui};
    test::TempDir dir;
};

TEST_F(EncodeDriver, PartsAreSizedByTheOutputSize) {
    app.config.encodetype = 4;
    ASSERT_EQ(Encode(Input("photo.jpg", RandomBytes(1, 100000))), kResultDone);
    EXPECT_EQ(app.encode.linesPerPart, 952U);
    EXPECT_EQ(ListDirectory(dir.path()), "photo.jpg photo1.uue photo2.uue photo3.uue");
    // 100000 bytes are 2222 full lines and one of 10 bytes: 953, 953, then 316 and the rest.
    EXPECT_EQ(LinesStartingWith(ReadFile(dir.File("photo1.uue")), "M"), 953U);
    EXPECT_EQ(LinesStartingWith(ReadFile(dir.File("photo2.uue")), "M"), 953U);
    EXPECT_EQ(LinesStartingWith(ReadFile(dir.File("photo3.uue")), "M"), 316U);
    EXPECT_TRUE(ReadFile(dir.File("photo3.uue"))
                    .ends_with("\r\n`\r\nend\r\nEND--cut here--cut "
                               "here\r\n"));
    EXPECT_EQ(ui.progress.back(), 100);
    EXPECT_TRUE(std::is_sorted(ui.progress.begin(), ui.progress.end()));
    EXPECT_EQ(ui.statuses.front(),
              "UU Encode - Type Comp.binaries - Part 1 of 3\r\nphoto.jpg --> photo1.uue");
    // An input that runs out a part early still writes the announced last part.
    ASSERT_EQ(Encode(Input("photo.jpg", RandomBytes(2, std::size_t{1905} * 45))), kResultDone);
    EXPECT_EQ(ReadFile(dir.File("photo3.uue")),
              "Archive-name: photo/part03\r\nBEGIN--cut here--cut here--\r\n`\r\nend\r\n"
              "END--cut here--cut here\r\n");
    // 71 lines a part at the smallest size: 99 parts hold 316305 bytes, one more is refused
    // before any file is made.
    app.config.encodeoutputsize = 4500;
    ASSERT_EQ(Encode(Input("fits.dat", RandomBytes(3, 316305))), kResultDone);
    EXPECT_EQ(app.parts.JobPartCount, 99);
    const std::string big = Input("big.dat", RandomBytes(3, 316306));
    const std::string before = ListDirectory(dir.path());
    EXPECT_EQ(Encode(big), kResultReported);
    EXPECT_EQ(ui.messages.back().text,
              "Too Many Output Parts for " + big +
                  " with\r\nSize 316306 and Output Limit of 4500\r\nMaximum Parts 99; Required "
                  "Parts 100.");
    EXPECT_EQ(ListDirectory(dir.path()), before);
}

TEST_F(EncodeDriver, OnePartFilesOfAListShareTheFirstOutput) {
    app.job.place = {0, 2};
    ASSERT_EQ(Encode(Input("a.txt", "abc")), kResultDone);
    EXPECT_TRUE(app.encode.outputOpen);
    app.job.place = {1, 2};
    ASSERT_EQ(Encode(Input("b.txt", "ab")), kResultDone);
    EXPECT_FALSE(app.encode.outputOpen);
    EXPECT_EQ(ListDirectory(dir.path()), "a.txt a.uue b.txt");
    EXPECT_EQ(ReadFile(dir.File("a.uue")),
              "begin 644 a.txt\r\n#86)C\r\n`\r\nend\r\n\r\n\r\n\r\n"
              "begin 644 b.txt\r\n\"86(\r\n`\r\nend\r\n");
}

TEST_F(EncodeDriver, ClipboardAndMailDestinations) {
    app.config.encodetype = 4;
    app.config.encodeoutputsize = 4500;
    app.job.EncodeToClipboard = true;
    const std::string input = Input("data.bin", RandomBytes(5, 20000));
    ASSERT_EQ(Encode(input), kResultDone);
    EXPECT_EQ(app.parts.JobPartCount, 1);  // one part, whatever the format
    EXPECT_EQ(app.job.JobOutputPath, "the Clipboard");
    EXPECT_TRUE(ui.clipboardText.starts_with("Archive-name: data/part01\r\n"));
    EXPECT_TRUE(ui.clipboardText.ends_with("end\r\nEND--cut here--cut here\r\n"));
    app.job.EncodeToClipboard = true;
    ui.clipboardResult = {false, "Open", ENOTSUP};
    EXPECT_EQ(Encode(input), kResultReported);
    EXPECT_EQ(ui.messages.back().text,
              "Can't Open Clipboard because\r\n\r\n" + SystemErrorText(ENOTSUP));
    app.job.EncodeToClipboard = true;
    app.job.place = {1, 3};
    EXPECT_EQ(Encode(input), kResultReported);
    EXPECT_EQ(ui.messages.back().text,
              "Encoding to Clipboard is not Supported for Multiple Enclosures.\r\nPlease "
              "Choose One File at a Time.");
    EXPECT_EQ(ListDirectory(dir.path()), "data.bin");

    app.job.place = {};
    app.config.encodetype = 7;
    app.job.EncodeToClipboard = false;
    app.job.EncodeToMail = true;
    app.job.Recipients = {{"alice", "SMTP:alice"}, {"bob", "SMTP:bob"}};
    ASSERT_EQ(Encode(Input("PHOTO.JPG", RandomBytes(6, 15000)), 1), kResultDone);
    ASSERT_EQ(ui.sentMail.size(), 5U);
    EXPECT_EQ(app.job.JobOutputPath, "2 E-mail Recipients");
    EXPECT_EQ(ui.sentMail[1].subject, "Subject: PHOTO.JPG [part 2/5]\r\n\r\n");
    EXPECT_EQ(ui.sentMail[1].recipients.size(), 2U);
    EXPECT_NE(ui.sentMail[4].noteText.find("\r\nend\r\n"), std::string::npos);
    ui.sentMail.clear();
    ui.mailResults = {0, 2};  // the second send fails: the job stops there
    EXPECT_EQ(Encode(dir.File("PHOTO.JPG"), 1), kResultReported);
    EXPECT_EQ(ui.sentMail.size(), 2U);
}

TEST_F(EncodeDriver, ExistingOutputIsReplacedOnlyAfterTheQuestion) {
    app.config.usedefaultnames = 1;
    const std::string input = Input("a.txt", "abc");
    test::WriteFile(dir.File("a.uue"), "keep me");
    for (const int answer : {kIdNo, kIdCancel}) {
        ui.answers = {answer};
        EXPECT_EQ(Encode(input, 1), kResultDialogCancelled);
        EXPECT_EQ(ui.messages.back().text, "Overwrite Existing " + dir.File("a.uue"));
        EXPECT_EQ(ReadFile(dir.File("a.uue")), "keep me");
    }
    ui.answers = {kIdYes};
    EXPECT_EQ(Encode(input, 1), kResultDone);
    EXPECT_EQ(ReadFile(dir.File("a.uue")), "begin 644 a.txt\r\n#86)C\r\n`\r\nend\r\n");
    // Without questions, or with overwriteexisting, it is replaced at once.
    const std::size_t asked = ui.messages.size();
    test::WriteFile(dir.File("a.uue"), "keep me");
    EXPECT_EQ(Encode(input, 0), kResultDone);
    app.config.overwriteexisting = 1;
    EXPECT_EQ(Encode(input, 1), kResultDone);
    EXPECT_EQ(ui.messages.size(), asked);
    // The save dialog: an invalid name asks again, a cancel makes nothing.
    app.config.usedefaultnames = 0;
    ui.saveDialogAnswers = {{SaveDialogResult::Outcome::InvalidName, "a?b", 0},
                            {SaveDialogResult::Outcome::Chosen, dir.File("chosen.txt"), 0}};
    ASSERT_EQ(Encode(input, 1), kResultDone);
    EXPECT_EQ(ui.saveRequests[0].title, "Encode Output To");
    EXPECT_EQ(ui.saveRequests[0].proposedPath, dir.File("a.uue"));
    EXPECT_EQ(ui.saveRequests[1].proposedPath, "*.*");
    EXPECT_EQ(ui.messages.back().text, "Invalid file name: a?b");
    EXPECT_EQ(Encode(input, 1), kResultDialogCancelled);
    EXPECT_EQ(ListDirectory(dir.path()), "a.txt a.uue chosen.txt");
}

TEST_F(EncodeDriver, RefusalsLeaveNothingBehind) {
    app.config.encodedirselect = kDirUserSpecified;
    app.config.encodedir = dir.File("missing/deeper");
    const std::string input = Input("a.txt", "abc");
    EXPECT_EQ(Encode(input), kResultReported);
    EXPECT_EQ(ui.messages.back().text, "Can't Write to " + dir.File("missing/deeper/a.uue") +
                                           " because\r\n\r\n" + SystemErrorText(ENOENT));
    app.config.encodedirselect = kDirSameAsInput;
    const std::string huge = dir.File("huge.bin");
    test::WriteFile(huge, "");
    std::filesystem::resize_file(huge, uint64_t{1} << 32);  // sparse: costs no disk
    EXPECT_EQ(Encode(huge), kResultReported);
    EXPECT_EQ(ui.messages.back().text,
              huge +
                  " is too large to encode: 4294967296 bytes.\r\nThe encoded formats hold "
                  "sizes of at most 4294967295 bytes.");
    app.config.encodetype = 0;
    EXPECT_EQ(Encode(input), kResultFailed);
    EXPECT_EQ(ListDirectory(dir.path()), "a.txt huge.bin");
    // A device named as the output is written to, never removed; a full one fails the job.
    app.config.encodetype = kFormatSingleFile;
    app.job.CommandLineOutputName = "/dev/full";
    EXPECT_EQ(Encode(Input("big.bin", RandomBytes(8, 600000))), kResultReported);
    EXPECT_TRUE(std::filesystem::is_character_file("/dev/full"));
    EXPECT_TRUE(ui.messages.back().text.starts_with("Can't Write to /dev/full because"));
}

// A file part is written in pieces while the clipboard gets the whole text in one block: the
// two must agree byte for byte, also when a part overflows its block and is dropped.
TEST_F(EncodeDriver, FileOutputWrittenInPiecesEqualsTheWholeText) {
    const std::pair<int, std::string> cases[] = {
        {kMethodUU, RandomBytes(7, 3'000'000)},
        {kMethodMIME, RandomBytes(8, 1'000'001)},
        {kMethodBinHex, RandomBytes(9, 700'000)},
        {kMethodBinHex, std::string(400'000, '\x90')},  // overflows: "Corrupted Encoding!"
    };
    for (const auto& [method, bytes] : cases) {
        app.config.encodemethod = method;
        const std::string input = Input("in.bin", bytes);
        ASSERT_EQ(Encode(input), kResultDone);
        const std::string written = ReadFile(app.job.JobOutputPath);
        app.job.EncodeToClipboard = true;
        ASSERT_EQ(Encode(input), kResultDone);
        EXPECT_TRUE(written == ui.clipboardText) << method;
    }
    ASSERT_EQ(ui.messages.size(), 2U);  // once for the file, once for the clipboard
    EXPECT_EQ(ui.messages.back().text, "Corrupted Encoding!");
}

TEST(BuildOutputName, FollowsTheNamingRules) {
    struct Case {
        const char* input;
        int encoding;
        int part;
        int total;
        const char* given;
        const char* inputDirectory;
        const char* expected;
    };
    const Case cases[] = {
        {"/data/photo.jpg", 1, 1, 1, "", "", "/data/photo.uue"},
        {"/data/photo.jpg", 4, 1, 1, "", "", "/data/photo.hqx"},
        {"/data/photo.tar.gz", 1, 1, 1, "", "", "/data/photo.tar.uue"},
        {"/data/photo.tar.gz", 1, 3, 5, "", "", "/data/photo3.uue"},
        {"/my.dir/file", 2, 12, 20, "", "", "/my.dir/file12.xxe"},
        {"/data/photo.jpg", 1, 1, 1, "out.txt", "", "out.txt"},
        {"/data/photo.jpg", 1, 2, 3, "/tmp/out.txt", "", "/tmp/out2.uue"},
        {"/tmp/mdrX/stdin", 3, 1, 1, "", "/home/u", "/home/u/stdin.mme"},
        {"/tmp/mdrX/stdin", 1, 2, 2, "", "/home/u", "/home/u/stdin2.uue"},
    };
    ScriptedUi ui;
    AppState app(ui, ui);
    for (const Case& c : cases) {
        app.job.CommandLineOutputName = c.given;
        app.job.inputDirectory = c.inputDirectory;
        EXPECT_EQ(BuildOutputName(app, c.input, c.encoding, c.part, c.total), c.expected)
            << c.input << " part " << c.part;
    }
    app.job.EncodeToMail = true;
    app.job.Recipients = {{"a", "SMTP:a"}};
    EXPECT_EQ(BuildOutputName(app, "/x", 1, 1, 1), "1 E-mail Recipient");
}

}  // namespace
}  // namespace mandrel
