// The built console program against the tools people already have, run as black boxes: what it
// writes must come back byte for byte from sharutils' uudecode, uudeview and /bin/sh running a
// shell-archive set, its "sum -r/size" lines must agree with BSD sum; and it must decode what
// uuencode (also its Base64 form), uuenview and mpack write, in mail and news wrappings, and
// real news articles.
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "support/test_files.h"

namespace mandrel {
namespace {

namespace fs = std::filesystem;
using test::ReadFile;
using test::WriteFile;

bool Have(const char* program) {
    return std::system((std::string("command -v ") + program + " >/dev/null 2>&1").c_str()) == 0;
}

class Interop : public ::testing::Test {
protected:
    Interop() {
        fs::create_directories(dir.path() / "home");
        fs::create_directories(dir.path() / "tmp");
    }

    // Runs a shell command in the work directory; its exit status, its standard output in out.
    int Shell(const std::string& command, std::string* out = nullptr) const {
        const std::string line = "cd '" + dir.path().string() + "' && { " + command +
                                 "; } </dev/null >'" + dir.File("home/.out") + "' 2>/dev/null";
        const int status = std::system(line.c_str());
        if (out != nullptr) {
            *out = ReadFile(dir.File("home/.out"));
        }
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }
    // The command line of the program under test, with settings kept in a home of its own.
    std::string Program(const std::string& args) const {
        const std::string home = dir.File("home");
        return "HOME='" + home + "' XDG_CONFIG_HOME='" + home + "' TMPDIR='" + dir.File("tmp") +
               "' '" + MANDREL_CONSOLE_PATH + "' " + args;
    }
    int Mandrel(const std::string& args) const { return Shell(Program("--quiet -N " + args)); }
    // The first field of BSD "sum -r" for a file of the work directory.
    uint32_t BsdSum(const std::string& name) const {
        const std::optional<uint32_t> sum = test::SystemSumR(dir.File(name));
        EXPECT_TRUE(sum.has_value()) << name;
        return sum.value_or(0);
    }
    // The numbered parts stem1<extension>, stem2<extension>... that exist, in part order.
    std::vector<std::string> PartNames(const std::string& stem,
                                       const std::string& extension) const {
        std::vector<std::string> names;
        for (int p = 1;; ++p) {
            std::string name = stem;
            name.append(std::to_string(p)).append(extension);
            if (!fs::exists(dir.File(name))) {
                return names;
            }
            names.push_back(std::move(name));
        }
    }
    // A file's lines, CRs left out.
    std::vector<std::string> Lines(const std::string& name) const {
        std::string text = ReadFile(dir.File(name));
        std::erase(text, '\r');
        const std::vector<std::string_view> lines = test::SplitLines(text);
        return {lines.begin(), lines.end()};
    }

    test::TempDir dir;
};

TEST_F(Interop, SingleFilesComeBackFromThePeers) {
    if (!Have("uudecode") || !Have("uudeview")) {
        GTEST_SKIP() << "sharutils or uudeview missing";
    }
    struct Case {
        const char* method;
        const char* extension;
        const char* peer;  // %s: the encoded file
    };
    // clang-format off
    const Case cases[] = {
        {"-Eu", ".uue", "uudecode -o out/in.bin %s"}, {"-Ex", ".xxe", "uudeview -i -o -q -p out/ %s"},
        {"-Em", ".mme", "uudeview -i -o -q -p out/ %s"}, {"-Eb", ".hqx", "uudeview -i -o -q -p out/ %s"},
    };
    // clang-format on
    // uudeview tells XX from UU only after eight full lines: the shorter XX inputs are left out.
    for (const std::size_t size : {0, 1, 44, 45, 46, 360, 102400, 5 << 20}) {
        for (const Case& c : cases) {
            if (std::string(c.method) == "-Ex" && size < 360) {
                continue;
            }
            for (const int eol : {175, 176}) {
                fs::remove_all(dir.path() / "out");
                fs::create_directories(dir.path() / "out");
                const std::string bytes = test::RandomBytes(size + eol, size);
                WriteFile(dir.File("in.bin"), bytes);
                ASSERT_EQ(Mandrel("--encodetype=3 --encodecrlf=" + std::to_string(eol) + " " +
                                  c.method + " in.bin"),
                          0);
                std::string peer = c.peer;
                peer.replace(peer.find("%s"), 2, std::string("in") + c.extension);
                ASSERT_EQ(Shell(peer), 0) << peer;
                EXPECT_TRUE(ReadFile(dir.File("out/in.bin")) == bytes)
                    << c.method << " " << size << " " << eol;
            }
        }
    }
}

TEST_F(Interop, PartsComeBackFromUudeviewAndTheShell) {
    if (!Have("uudeview") || !Have("uudecode")) {
        GTEST_SKIP() << "sharutils or uudeview missing";
    }
    const std::string bytes = test::RandomBytes(7, std::size_t{100} * 1024);
    WriteFile(dir.File("sample.bin"), bytes);
    // uudeview takes the "END..." cut lines of some formats for data; the formats it reads:
    // those without a Subject in the parts saved as one file, the others handed over shuffled.
    for (const int format : {4, 5, 6, 8, 17}) {
        for (const int eol : {175, 176}) {
            fs::remove_all(dir.path() / "out");
            fs::create_directories(dir.path() / "out");
            ASSERT_EQ(Mandrel("--encodetype=" + std::to_string(format) +
                              " --encodeoutputsize=4500 --encodecrlf=" + std::to_string(eol) +
                              " -Eu sample.bin"),
                      0);
            std::vector<std::string> names = PartNames("sample", ".uue");
            ASSERT_GT(names.size(), 9U);
            const bool oneFile = format == 4 || format == 5;
            if (!oneFile) {
                std::rotate(names.begin(), names.begin() + 3, names.end());
            }
            std::string args;
            for (const auto& n : names) {
                args += n + " ";
            }
            if (oneFile) {
                ASSERT_EQ(Shell("cat " + args + "> joined.txt"), 0);
                args = "joined.txt";
            }
            ASSERT_EQ(Shell("uudeview -i -o -q -p out/ " + args), 0);
            EXPECT_TRUE(ReadFile(dir.File("out/sample.bin")) == bytes) << format << " " << eol;
            ASSERT_EQ(Shell("rm -f sample[0-9]*.uue joined.txt"), 0);
        }
    }
    // A shell-archive set rebuilds the file when its parts run in any order; a set of ten or
    // more numbers its pieces with two digits so that `cat $file.uue.*` keeps them in order.
    for (const int size : {20000, 4500}) {
        ASSERT_EQ(Mandrel("--encodetype=10 --encodecrlf=176 --encodeoutputsize=" +
                          std::to_string(size) + " -Eu sample.bin"),
                  0);
        std::vector<std::string> names = PartNames("sample", ".uue");
        std::reverse(names.begin(), names.end());
        fs::remove_all(dir.path() / "run");
        fs::create_directories(dir.path() / "run");
        for (std::size_t i = 0; i < names.size(); ++i) {
            ASSERT_EQ(Shell("cd run && sh ../" + names[i]), 0) << names[i];
            EXPECT_EQ(fs::exists(dir.File("run/sample.bin")), i + 1 == names.size());
        }
        EXPECT_TRUE(ReadFile(dir.File("run/sample.bin")) == bytes) << size;
        EXPECT_EQ(test::ListDirectory(dir.path() / "run"), "sample.bin");  // the pieces went
        ASSERT_EQ(Shell("rm -f sample[0-9]*.uue"), 0);
    }
}

// uuenview's parts, UU and XX, with its "_=_" marks around each part header or with the header
// line alone, in one input shuffled or as inputs joined by -J: the parts come together in
// order and no separator line gets into the data.
TEST_F(Interop, UuenviewPartsAreJoinedWithoutTheirSeparators) {
    if (!Have("uuenview")) {
        GTEST_SKIP() << "uudeview missing";
    }
    const std::string bytes = test::RandomBytes(17, std::size_t{100} * 1024);
    fs::create_directories(dir.path() / "orig");
    WriteFile(dir.File("orig/pic.jpg"), bytes);
    for (const char* encoding : {"-u", "-x"}) {
        ASSERT_EQ(Shell(std::string("cd orig && uuenview ") + encoding + " -500 -o pic.jpg"), 0);
        ASSERT_TRUE(fs::exists(dir.File("orig/pic.005")) && !fs::exists(dir.File("orig/pic.006")));
        // As written; without the marks; without the blank lines before each next part.
        for (const std::string strip : {"cat", "grep -v '^_=_ *$'", "grep -v '^$'"}) {
            ASSERT_EQ(
                Shell("cat orig/pic.003 orig/pic.001 orig/pic.004 orig/pic.002 orig/pic.005 | " +
                      strip + " > one.txt"),
                0);
            ASSERT_EQ(
                Shell("for p in 1 2 3 4 5; do " + strip + " < orig/pic.00$p > in$p.txt; done"), 0);
            for (const std::string args :
                 {"one.txt", "-J in5.txt in2.txt in4.txt in1.txt in3.txt"}) {
                SCOPED_TRACE(std::string(encoding) + " " + args + " " + strip);
                EXPECT_EQ(Mandrel(args), 0);
                EXPECT_TRUE(ReadFile(dir.File("pic.jpg")) == bytes);
                fs::remove(dir.File("pic.jpg"));
            }
        }
        ASSERT_EQ(Shell("rm -f orig/pic.0*"), 0);
    }
}

// Quoted-printable attachments that Python's email package writes, binary ones and text ones
// of every size around a line's, several to a message, with LF and with CR LF: each comes back
// to its own file with the bytes Python's own reader takes from the same message. A message
// whose unnamed quoted-printable body holds UU text still gives the UU file.
TEST_F(Interop, QuotedPrintableAttachmentsMatchPythonsEmail) {
    if (std::system("/usr/bin/python3 -c 'import email' >/dev/null 2>&1") != 0) {
        GTEST_SKIP() << "python3 missing";
    }
    WriteFile(dir.File("write.py"), R"(
import email, random, sys
from email import policy
from email.message import EmailMessage
rng = random.Random(int(sys.argv[1]))
m = EmailMessage()
m['Subject'] = 'attachments'
m.set_content('See the files.\n-- \nsig\n')
for size in (0, 1, 127, 128, 129, 102400):
    m.add_attachment(bytes(rng.randrange(256) for _ in range(size)), maintype='application',
                     subtype='octet-stream', filename='bin%d.dat' % size, cte='quoted-printable')
text = ''.join(rng.choice('ab =\t.\n') for _ in range(3000)) + ' \n\n'
m.add_attachment(text, subtype='plain', filename='notes.txt', cte='quoted-printable')
for name, sep in (('lf', '\n'), ('crlf', '\r\n')):
    raw = m.as_bytes(policy=policy.default.clone(linesep=sep))
    open(name + '.eml', 'wb').write(raw)
    for part in email.message_from_bytes(raw, policy=policy.default).iter_attachments():
        open('%s.%s.expected' % (name, part.get_filename()), 'wb').write(part.get_payload(decode=True))
)");
    ASSERT_EQ(Shell("/usr/bin/python3 write.py 5"), 0);
    const std::vector<std::string> names = {"bin0.dat",   "bin1.dat",   "bin127.dat",
                                            "bin128.dat", "bin129.dat", "bin102400.dat",
                                            "notes.txt"};
    for (const std::string eol : {"lf", "crlf"}) {
        SCOPED_TRACE(eol);
        EXPECT_EQ(Mandrel(eol + ".eml"), 0);
        for (const std::string& name : names) {
            EXPECT_TRUE(fs::exists(dir.File(name))) << name;
            EXPECT_TRUE(ReadFile(dir.File(name)) ==
                        ReadFile(dir.File(eol + "." + name + ".expected")))
                << name;
            fs::remove(dir.File(name));
        }
    }
    // UU text in a quoted-printable message body, "=3D" and all.
    WriteFile(dir.File("uu.eml"),
              "Subject: x\nMIME-Version: 1.0\nContent-Type: text/plain\n"
              "Content-Transfer-Encoding: quoted-printable\n\nbegin 644 ab.txt\n\"86(\n`\nend\n");
    EXPECT_EQ(Mandrel("uu.eml"), 0);
    EXPECT_EQ(ReadFile(dir.File("ab.txt")), "ab");
    // A name that leaves the directory, a body cut off after a soft break: the bytes there
    // are, in the directory, nothing left behind.
    WriteFile(dir.File("cut.eml"),
              "Content-Type: application/octet-stream; name=\"../../evil.bin\"\n"
              "Content-Transfer-Encoding: quoted-printable\n\nab=3D=\ncd=");
    EXPECT_EQ(Mandrel("cut.eml"), 0);
    EXPECT_EQ(ReadFile(dir.File("evil.bin")), "ab=cd");
    EXPECT_FALSE(fs::exists(dir.path().parent_path().parent_path() / "evil.bin"));
    EXPECT_TRUE(fs::is_empty(dir.path() / "tmp"));
}

// mpack's message/partial fragments: shuffled in one input, in a mailbox with other mail
// between them, or spread over inputs joined by -J, they are put together and the enclosed
// message decoded; two messages' fragments mixed give both files; a missing fragment is named
// and nothing is decoded; no temporary file stays behind.
TEST_F(Interop, MessagePartialFragmentsArePutTogether) {
    if (!Have("mpack")) {
        GTEST_SKIP() << "mpack missing";
    }
    const std::string photo = test::RandomBytes(21, std::size_t{100} * 1024);
    const std::string song = test::RandomBytes(22, 30000);
    fs::create_directories(dir.path() / "orig");
    WriteFile(dir.File("orig/photo.jpg"), photo);
    WriteFile(dir.File("orig/song.ogg"), song);
    ASSERT_EQ(Shell("cd orig && mpack -s photo -m 30000 -o p photo.jpg && "
                    "mpack -s song -m 12000 -o s song.ogg"),
              0);
    ASSERT_TRUE(fs::exists(dir.File("orig/p.05")) && fs::exists(dir.File("orig/s.03")));
    ASSERT_EQ(Shell("cd orig && cat p.03 p.01 p.05 p.02 p.04 > ../shuffled.txt && "
                    "for f in p.02 s.01 p.01 s.03 p.05 s.04 p.04 s.02 p.03; do "
                    "printf 'From someone Mon Nov 23 10:00:00 2026\n'; cat $f; echo; done "
                    "> ../mailbox && cat p.01 p.02 p.04 p.05 > ../missing.txt"),
              0);
    struct Case {
        std::string args;
        int status;
        bool song;
    };
    const Case cases[] = {
        {"shuffled.txt", 0, false},
        {"mailbox", 0, true},
        {"-J orig/p.04 orig/p.02 orig/p.05 orig/p.01 orig/p.03", 0, false},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.args);
        EXPECT_EQ(Mandrel(c.args), c.status);
        EXPECT_TRUE(ReadFile(dir.File(c.args.starts_with("-J") ? "orig/photo.jpg" : "photo.jpg")) ==
                    photo);
        EXPECT_EQ(c.song && ReadFile(dir.File("song.ogg")) == song, c.song);
        EXPECT_TRUE(fs::is_empty(dir.path() / "tmp"));
        fs::remove(dir.File("photo.jpg"));
        fs::remove(dir.File("song.ogg"));
    }
    std::string said;
    EXPECT_EQ(Shell(Program("-N missing.txt 2>&1"), &said), 1);
    EXPECT_NE(said.find("Total Parts Required: 5.\nMissing Parts: 3"), std::string::npos) << said;
    EXPECT_FALSE(fs::exists(dir.File("photo.jpg")));
    EXPECT_TRUE(fs::is_empty(dir.path() / "tmp"));
    // The report names the input the fragments came from, not the file they were put into.
    std::string report;
    EXPECT_EQ(Shell(Program("-N shuffled.txt"), &report), 0);
    EXPECT_TRUE(report.starts_with("shuffled.txt Successfully MIME Decoded as")) << report;
    // A text that only mentions the header holds no fragment: it is read as it stands.
    WriteFile(dir.File("talk.txt"),
              "Subject: MIME\n\nContent-Type: message/partial; number=1\n\n"
              "begin 644 ab.txt\n\"86(\n`\nend\n");
    EXPECT_EQ(Mandrel("talk.txt"), 0);
    EXPECT_EQ(ReadFile(dir.File("ab.txt")), "ab");
}

// A part's section sum covers its text as saved with LF ends: the begin line, the encoded lines,
// the zero-length line and "end"; the last sum is that of the input.
TEST_F(Interop, ChecksumLinesAgreeWithBsdSum) {
    if (!Have("sum")) {
        GTEST_SKIP() << "sum missing";
    }
    WriteFile(dir.File("sample.bin"), test::RandomBytes(3, 30000));
    const uint32_t input = BsdSum("sample.bin");
    for (const std::string method : {"-Eu", "-Ex"}) {
        for (const int format : {3, 4}) {
            ASSERT_EQ(Mandrel("--encodechecksum=1 --encodeoutputsize=4500 --encodecrlf=175 "
                              "--encodetype=" +
                              std::to_string(format) + " " + method + " sample.bin"),
                      0);
            const std::string extension = method == "-Eu" ? ".uue" : ".xxe";
            const std::vector<std::string> names =
                format == 3 ? std::vector{"sample" + extension} : PartNames("sample", extension);
            ASSERT_GT(names.size(), format == 4 ? 2U : 0U);
            for (const std::string& name : names) {
                const std::vector<std::string> lines = Lines(name);
                auto line = std::find(lines.begin(), lines.end(), "BEGIN--cut here--cut here--");
                line = line == lines.end() ? lines.begin() : line + 1;
                std::string covered;
                for (; line != lines.end() && !line->empty() && !line->starts_with("sum -r");
                     ++line) {
                    covered += *line + "\n";
                }
                WriteFile(dir.File("covered"), covered);
                const std::string section = *std::find_if(lines.begin(), lines.end(), [](auto& l) {
                    return l.find(" section (from ") != std::string::npos;
                });
                EXPECT_TRUE(section.starts_with("sum -r/size " + std::to_string(BsdSum("covered")) +
                                                "/" + std::to_string(covered.size()) + " section"))
                    << name << ": " << section;
                if (name == names.back()) {
                    EXPECT_NE(std::find(lines.begin(), lines.end(),
                                        "sum -r/size " + std::to_string(input) +
                                            "/30000 entire input file"),
                              lines.end())
                        << name;
                }
                fs::remove(dir.File(name));
            }
        }
    }
}

const std::string kMail =
    "From: Someone <someone@example.org>\nTo: list@example.org\nSubject: the picture\n"
    "Date: Mon, 23 Nov 2026 01:02:03 +0000\nMessage-ID: <1234@example.org>\n\n"
    "Here it is.\n\n%s\n-- \nSomeone\n";
const std::string kNews =
    "Path: news.example.net!not-for-mail\nFrom: poster@example.org (A Poster)\n"
    "Newsgroups: alt.binaries.pictures.misc\nSubject: a picture from the trip\n"
    "Lines: 1234\nMessage-ID: <abcd@news.example.net>\n"
    "Xref: news.example.net alt.binaries.pictures.misc:4711\n\n%s";

// Text from independent writers, in the line ends and wrappings such text arrives in.
TEST_F(Interop, WhatThePeersWriteIsDecoded) {
    if (!Have("uuencode") || !Have("mpack") || !Have("uuenview")) {
        GTEST_SKIP() << "sharutils, mpack or uudeview missing";
    }
    struct Case {
        std::string writer;  // makes text.txt, or writes to standard output, from orig/<name>
        const char* name;
        std::size_t size;
        const char* eol;
        const std::string* wrap;
    };
    const std::string plain = "%s";
    const std::string uu = "uuencode 'orig/picture.gif' picture.gif";
    const std::string mpack = "cd orig && mpack -s photo -o ../text.txt 'my photo.jpg'";
    const std::string base64 = "uuencode -m 'orig/b64.bin' b64.bin";
    // clang-format off
    const Case cases[] = {
        {uu, "picture.gif", 0, "\n", &plain},        {uu, "picture.gif", 46, "\r\n", &plain},
        {uu, "picture.gif", 1000, "\r", &plain},     {uu, "picture.gif", 5000, "\r\n", &kMail},
        {uu, "picture.gif", 7000, "\r\n", &kNews},  {mpack, "my photo.jpg", 0, "\n", &plain},
        {mpack, "my photo.jpg", 58, "\r\n", &plain}, {mpack, "my photo.jpg", 102400, "\n", &kNews},
        {"uuenview -x 'orig/x.bin'", "x.bin", 3000, "\n", &plain},
        {base64, "b64.bin", 0, "\n", &plain},       {base64, "b64.bin", 1, "\r\n", &plain},
        {base64, "b64.bin", 127, "\n", &plain},     {base64, "b64.bin", 128, "\r\n", &kMail},
        {base64, "b64.bin", 129, "\n", &kNews},     {base64, "b64.bin", 102400, "\r\n", &plain},
    };
    // clang-format on
    for (const Case& c : cases) {
        fs::remove_all(dir.path() / "orig");
        fs::create_directories(dir.path() / "orig");
        const std::string bytes = test::RandomBytes(c.size + 11, c.size);
        WriteFile(dir.File(std::string("orig/") + c.name), bytes);
        std::string out;
        ASSERT_EQ(Shell(c.writer, &out), 0) << c.writer;
        std::string text = fs::exists(dir.File("text.txt")) ? ReadFile(dir.File("text.txt")) : out;
        fs::remove(dir.File("text.txt"));
        std::string wrapped = *c.wrap;
        wrapped.replace(wrapped.find("%s"), 2, text);
        WriteFile(dir.File("input.txt"), test::WithLineEnds(wrapped, c.eol));
        EXPECT_EQ(Mandrel("input.txt"), 0) << c.writer << " " << c.size;
        EXPECT_TRUE(ReadFile(dir.File(c.name)) == bytes) << c.writer << " " << c.size;
        fs::remove(dir.File(c.name));
    }
    // Old encoders wrote blanks where the backquote stands for zero.
    WriteFile(dir.File("old.uue"), "begin 644 zeros.bin\n#    \n \nend\n");
    EXPECT_EQ(Mandrel("old.uue"), 0);
    EXPECT_EQ(ReadFile(dir.File("zeros.bin")), std::string(3, '\0'));
}

// Real news articles, sound and malformed: the UU one gives what sharutils' uudecode gives;
// none of them crashes the program, leaves a temporary file or writes outside its directory.
TEST_F(Interop, RealArticlesAreDecodedSafely) {
    const fs::path corpus = MANDREL_CORPUS_DIR;
    if (!fs::is_directory(corpus) || !Have("uudecode")) {
        GTEST_SKIP() << "no article corpus beside the project, or no uudecode";
    }
    fs::create_directories(dir.path() / "home" / "peer");
    ASSERT_EQ(Shell("cd home/peer && uudecode '" + (corpus / "logo_full.nntp").string() + "'"), 0);
    const std::string peer = ReadFile(dir.File("home/peer/logo-full.svg"));
    ASSERT_EQ(peer.size(), 2184U);
    for (const auto& entry : fs::directory_iterator(corpus)) {
        fs::create_directories(dir.path() / "work");
        fs::copy_file(entry.path(), dir.path() / "work" / entry.path().filename());
        const int status =
            Mandrel("--decodejoin=0 'work/" + entry.path().filename().string() + "'");
        EXPECT_TRUE(status == 0 || status == 1 || status == 3) << entry.path() << " " << status;
        EXPECT_TRUE(fs::is_empty(dir.path() / "tmp")) << entry.path();
        if (entry.path().filename() == "logo_full.nntp") {
            EXPECT_TRUE(ReadFile(dir.File("work/logo-full.svg")) == peer);
        }
        fs::remove_all(dir.path() / "work");
        EXPECT_EQ(test::ListDirectory(dir.path()), "home tmp") << entry.path();
    }
}

}  // namespace
}  // namespace mandrel
