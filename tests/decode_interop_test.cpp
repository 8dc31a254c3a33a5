// Text from independent writers, decoded by the real console program: sharutils' uuencode,
// uudeview's uuenview and mpack run as black boxes, with the line ends and the mail and news
// wrappings that such text arrives in.
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <string>

#include <sys/wait.h>

#include "support/test_files.h"

namespace mandrel {
namespace {

namespace fs = std::filesystem;

bool Have(const char* program) {
    return std::system((std::string("command -v ") + program + " >/dev/null 2>&1").c_str()) == 0;
}

// Runs a shell command in dir; returns its exit status.
int Shell(const fs::path& dir, const std::string& command) {
    const std::string line =
        "cd '" + dir.string() + "' && { " + command + "; } </dev/null >/dev/null 2>&1";
    const int status = std::system(line.c_str());
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

int Decode(const fs::path& dir, const std::string& input) {
    const fs::path home = dir / "home";
    return Shell(dir, "HOME='" + home.string() + "' XDG_CONFIG_HOME='" + home.string() + "' '" +
                          MANDREL_CONSOLE_PATH + "' -N '" + input + "'");
}

std::string WithLineEnds(const std::string& text, const std::string& eol) {
    std::string out;
    for (const char c : text) {
        out += c == '\n' ? eol : std::string(1, c);
    }
    return out;
}

enum class Wrapping { None, Mail, News };

struct WriterCase {
    const char* label;
    std::size_t size;
    const char* eol;
    Wrapping wrap;
};

class DecodeInterop : public ::testing::TestWithParam<WriterCase> {};

std::string MailAround(const std::string& body) {
    return "From: Someone <someone@example.org>\n"
           "To: list@example.org\n"
           "Subject: the picture you asked for\n"
           "Date: Mon, 23 Nov 2026 01:02:03 +0000\n"
           "Message-ID: <1234@example.org>\n"
           "\n"
           "Here it is, uuencoded.\n"
           "\n" +
           body +
           "\n"
           "-- \n"
           "Someone\n";
}

// A news article as a news reader saves it, with the server's headers before the body.
std::string NewsAround(const std::string& body) {
    return "Path: news.example.net!feeder.example.org!not-for-mail\n"
           "From: poster@example.org (A Poster)\n"
           "Newsgroups: alt.binaries.pictures.misc\n"
           "Subject: a picture from the trip\n"
           "Date: 23 Nov 2026 01:02:03 GMT\n"
           "Organization: Example News\n"
           "Lines: 1234\n"
           "Message-ID: <abcd@news.example.net>\n"
           "NNTP-Posting-Host: host.example.org\n"
           "Xref: news.example.net alt.binaries.pictures.misc:4711\n"
           "\n" +
           body;
}

std::string Wrap(const std::string& body, Wrapping wrap) {
    switch (wrap) {
        case Wrapping::Mail:
            return MailAround(body);
        case Wrapping::News:
            return NewsAround(body);
        default:
            return body;
    }
}

// Wraps the writer's text as the case says, gives it the case's line ends, decodes it with the
// console program and compares the file it names with the bytes.
void ExpectDecodesTo(const test::TempDir& dir, const std::string& text, const WriterCase& c,
                     const std::string& name, const std::string& bytes) {
    test::WriteFile(dir.File("input.txt"), WithLineEnds(Wrap(text, c.wrap), c.eol));
    EXPECT_EQ(Decode(dir.path(), "input.txt"), 0);
    EXPECT_TRUE(test::ReadFile(dir.File(name)) == bytes) << c.label;
}

TEST_P(DecodeInterop, UuencodeOutputDecodesExactly) {
    if (!Have("uuencode")) {
        GTEST_SKIP() << "sharutils uuencode is not installed";
    }
    const WriterCase& c = GetParam();
    test::TempDir dir;
    const std::string bytes = test::RandomBytes(c.size + 7, c.size);
    test::WriteFile(dir.File("orig.bin"), bytes);
    ASSERT_EQ(Shell(dir.path(), "uuencode orig.bin picture.gif > plain.uue"), 0);
    ExpectDecodesTo(dir, test::ReadFile(dir.File("plain.uue")), c, "picture.gif", bytes);
}

INSTANTIATE_TEST_SUITE_P(Writers, DecodeInterop,
                         ::testing::Values(WriterCase{"empty", 0, "\n", Wrapping::None},
                                           WriterCase{"one", 1, "\n", Wrapping::None},
                                           WriterCase{"line", 45, "\n", Wrapping::None},
                                           WriterCase{"lineAndOne", 46, "\r\n", Wrapping::None},
                                           WriterCase{"crOnly", 1000, "\r", Wrapping::None},
                                           WriterCase{"big", 100 * 1024, "\n", Wrapping::None},
                                           WriterCase{"mailLf", 5000, "\n", Wrapping::Mail},
                                           WriterCase{"mailCrLf", 5000, "\r\n", Wrapping::Mail},
                                           WriterCase{"newsCrLf", 7000, "\r\n", Wrapping::News}),
                         [](const auto& info) { return std::string(info.param.label); });

class MpackInterop : public ::testing::TestWithParam<WriterCase> {};

// mpack writes one MIME message: a multipart body with a preamble, the description text and a
// Base64 attachment whose name holds a blank.
TEST_P(MpackInterop, MpackMessageDecodesExactly) {
    if (!Have("mpack")) {
        GTEST_SKIP() << "mpack is not installed";
    }
    const WriterCase& c = GetParam();
    test::TempDir dir;
    const std::string bytes = test::RandomBytes(c.size + 11, c.size);
    ASSERT_TRUE(fs::create_directory(dir.path() / "orig"));
    test::WriteFile((dir.path() / "orig" / "my photo.jpg").string(), bytes);
    test::WriteFile(dir.File("desc.txt"), "Here is the photo from Saturday.\n");
    ASSERT_EQ(Shell(dir.path() / "orig",
                    "mpack -s 'the photo' -d ../desc.txt -o ../message.txt 'my photo.jpg'"),
              0);
    const std::string text = test::ReadFile(dir.File("message.txt"));
    ASSERT_NE(text.find("Content-Transfer-Encoding: base64"), std::string::npos);
    ExpectDecodesTo(dir, text, c, "my photo.jpg", bytes);
}

INSTANTIATE_TEST_SUITE_P(Writers, MpackInterop,
                         ::testing::Values(WriterCase{"empty", 0, "\n", Wrapping::None},
                                           WriterCase{"one", 1, "\n", Wrapping::None},
                                           WriterCase{"oneLine", 57, "\r\n", Wrapping::None},
                                           WriterCase{"lineAndOne", 58, "\n", Wrapping::None},
                                           WriterCase{"big", 100 * 1024, "\r\n", Wrapping::None},
                                           WriterCase{"newsArticle", 5000, "\n", Wrapping::News}),
                         [](const auto& info) { return std::string(info.param.label); });

TEST(DecodeInteropWriters, UuenviewXxDecodesExactly) {
    if (!Have("uuenview")) {
        GTEST_SKIP() << "uudeview's uuenview is not installed";
    }
    test::TempDir dir;
    const std::string bytes = test::RandomBytes(99, 3000);
    test::WriteFile(dir.File("x.bin"), bytes);
    ASSERT_EQ(Shell(dir.path(), "uuenview -x x.bin > x.xxe && mkdir orig && mv x.bin orig/"), 0);
    EXPECT_EQ(Decode(dir.path(), "x.xxe"), 0);
    EXPECT_TRUE(test::ReadFile(dir.File("x.bin")) == bytes);
}

// Old encoders wrote blanks where the backquote stands for zero, also as the zero-length line.
TEST(DecodeInteropWriters, OldStyleUuWithBlanksDecodes) {
    test::TempDir dir;
    test::WriteFile(dir.File("old.uue"), "begin 644 zeros.bin\n#    \n \nend\n");
    EXPECT_EQ(Decode(dir.path(), "old.uue"), 0);
    EXPECT_EQ(test::ReadFile(dir.File("zeros.bin")), std::string(3, '\0'));
}

}  // namespace
}  // namespace mandrel
