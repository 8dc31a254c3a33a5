// The encode driver end to end through the scripted user interface: part sizing, output names
// and destinations, refusals and clean-up.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>

#include "core/app_state.h"
#include "encode/encode_driver.h"
#include "platform/scripted_ui.h"
#include "support/test_files.h"

namespace mandrel {
namespace {

using test::ListDirectory;
using test::RandomBytes;
using test::ReadFile;
using test::TempDir;
using test::WriteFile;

class EncodeDriver : public ::testing::Test {
protected:
    EncodeDriver() : app(ui) { app.files.BufFileInit(10, 16384); }

    std::string Input(std::string_view name, std::string_view bytes) {
        const std::string path = dir.File(name);
        WriteFile(path, bytes);
        return path;
    }

    int Encode(const std::string& path, int interactive = 0) {
        app.job.JobInputPath = path;
        app.job.JobDirection = kDirectionEncode;
        const BufFile input = app.files.BufFileOpen(path, BufOpenMode::Read, 0);
        EXPECT_GE(input, 0) << path;
        return EncodeFile(app, input, interactive);
    }

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
};

std::size_t CountLinesStartingWith(std::string_view text, char first) {
    std::size_t count = 0;
    std::size_t start = 0;
    while (start < text.size()) {
        const std::size_t end = text.find('\n', start);
        if (text[start] == first) {
            ++count;
        }
        start = end == std::string_view::npos ? text.size() : end + 1;
    }
    return count;
}

TEST_F(EncodeDriver, CompBinariesDefaultSizeGivesThreePartsOf953Lines) {
    app.config.encodetype = 4;
    const std::string input = Input("photo.jpg", RandomBytes(1, 100000));
    ASSERT_EQ(Encode(input), kResultDone);
    EXPECT_EQ(app.encode.linesPerPart, 952U);
    EXPECT_EQ(app.parts.JobPartCount, 3);
    EXPECT_EQ(ListDirectory(dir.path()), "photo.jpg photo1.uue photo2.uue photo3.uue");
    const std::string part1 = ReadFile(dir.File("photo1.uue"));
    const std::string part2 = ReadFile(dir.File("photo2.uue"));
    const std::string part3 = ReadFile(dir.File("photo3.uue"));
    EXPECT_EQ(CountLinesStartingWith(part1, 'M'), 953U);
    EXPECT_EQ(CountLinesStartingWith(part2, 'M'), 953U);
    // 100000 bytes are 2222 full lines and one of 10 bytes: 316 + 1 lines remain for part 3.
    EXPECT_EQ(CountLinesStartingWith(part3, 'M'), 316U);
    EXPECT_TRUE(part1.starts_with(
        "Archive-name: photo/part01\r\nBEGIN--cut here--cut here--\r\nbegin 644 photo.jpg\r\n"));
    EXPECT_TRUE(
        part2.starts_with("Archive-name: photo/part02\r\nBEGIN--cut here--cut here--\r\nM"));
    EXPECT_TRUE(part3.ends_with("\r\n`\r\nend\r\nEND--cut here--cut here\r\n"));
    EXPECT_TRUE(part1.ends_with("\r\nEND--cut here--cut here\r\n"));
    EXPECT_EQ(app.parts.rows[2].fileName, "photo3.uue");
    EXPECT_EQ(ui.progress.back(), 100);
    EXPECT_TRUE(std::is_sorted(ui.progress.begin(), ui.progress.end()));
    EXPECT_EQ(ui.statuses.front(),
              "UU Encode - Type Comp.binaries - Part 1 of 3\r\nphoto.jpg --> photo1.uue");
}

TEST_F(EncodeDriver, InputThatRunsOutAPartEarlyStillWritesTheAnnouncedLastPart) {
    app.config.encodetype = 4;
    // 1905 blocks: parts of 953 and 952 lines, while the size announces 3 parts.
    const std::string input = Input("photo.jpg", RandomBytes(2, 1905 * 45));
    ASSERT_EQ(Encode(input), kResultDone);
    EXPECT_EQ(ReadFile(dir.File("photo3.uue")),
              "Archive-name: photo/part03\r\nBEGIN--cut here--cut here--\r\n`\r\nend\r\n"
              "END--cut here--cut here\r\n");
    const std::string part2 = ReadFile(dir.File("photo2.uue"));
    EXPECT_EQ(part2.find("end\r\n"), std::string::npos);
}

TEST_F(EncodeDriver, EmptyInputInAMultiPartFormatIsOnePart) {
    app.config.encodetype = 4;
    ASSERT_EQ(Encode(Input("empty.dat", "")), kResultDone);
    EXPECT_EQ(ListDirectory(dir.path()), "empty.dat empty.uue");
    EXPECT_EQ(ReadFile(dir.File("empty.uue")),
              "Archive-name: empty/part01\r\nBEGIN--cut here--cut here--\r\n"
              "begin 644 empty.dat\r\n`\r\nend\r\nEND--cut here--cut here\r\n");
}

TEST_F(EncodeDriver, SizeNeedingHundredPartsIsRefusedBeforeAnyFileIsMade) {
    app.config.encodetype = 4;
    app.config.encodeoutputsize = 4500;
    // 71 lines of 45 bytes a part: 99 parts hold 316305 bytes.
    const std::string fits = Input("fits.dat", RandomBytes(3, 316305));
    ASSERT_EQ(Encode(fits), kResultDone);
    EXPECT_EQ(app.parts.JobPartCount, 99);

    const std::string big = Input("big.dat", RandomBytes(3, 316306));
    const std::string before = ListDirectory(dir.path());
    EXPECT_EQ(Encode(big), kResultReported);
    EXPECT_EQ(ui.messages.back().style, kMbStop);
    EXPECT_EQ(ui.messages.back().text,
              "Too Many Output Parts for " + big +
                  " with\r\nSize 316306 and Output Limit of 4500\r\nMaximum Parts 99; Required "
                  "Parts 100.");
    EXPECT_EQ(ListDirectory(dir.path()), before);
}

TEST_F(EncodeDriver, CancelInPartThreeDeletesEveryPartWritten) {
    app.config.encodetype = 5;
    app.config.encodeoutputsize = 4500;
    const std::string input = Input("data.bin", RandomBytes(4, 40000));
    ui.onPump = [this](int) {
        if (app.encode.part == 3 && app.encode.blocksInPart == 10) {
            app.job.CancelRequested = true;
        }
    };
    EXPECT_EQ(Encode(input), kResultAborted);
    EXPECT_EQ(ListDirectory(dir.path()), "data.bin");
    EXPECT_TRUE(ui.messages.empty());
}

TEST_F(EncodeDriver, EnclosuresOfOnePartShareTheFirstOutputFile) {
    const std::string a = Input("a.txt", "abc");
    const std::string b = Input("b.txt", "ab");
    app.job.FileCount = 2;
    app.job.FileIndex = 0;
    ASSERT_EQ(Encode(a), kResultDone);
    EXPECT_TRUE(app.encode.outputOpen);
    app.job.FileIndex = 1;
    ASSERT_EQ(Encode(b), kResultDone);
    EXPECT_FALSE(app.encode.outputOpen);
    EXPECT_EQ(ListDirectory(dir.path()), "a.txt a.uue b.txt");
    EXPECT_EQ(ReadFile(dir.File("a.uue")),
              "begin 644 a.txt\r\n#86)C\r\n`\r\nend\r\n\r\n\r\n\r\n"
              "begin 644 b.txt\r\n\"86(\r\n`\r\nend\r\n");
}

TEST_F(EncodeDriver, ClipboardTakesOnePartWhateverTheFormat) {
    app.config.encodetype = 4;
    app.config.encodeoutputsize = 4500;
    app.job.EncodeToClipboard = true;
    const std::string input = Input("data.bin", RandomBytes(5, 20000));
    ASSERT_EQ(Encode(input), kResultDone);
    EXPECT_EQ(app.parts.JobPartCount, 1);
    EXPECT_EQ(app.job.JobOutputPath, "the Clipboard");
    EXPECT_FALSE(app.job.EncodeToClipboard);
    EXPECT_EQ(ListDirectory(dir.path()), "data.bin");
    EXPECT_TRUE(ui.clipboardText.starts_with("Archive-name: data/part01\r\n"));
    EXPECT_TRUE(ui.clipboardText.ends_with("end\r\nEND--cut here--cut here\r\n"));
}

TEST_F(EncodeDriver, ClipboardFailuresAndMultipleEnclosuresAreRefused) {
    const std::string input = Input("a.txt", "abc");
    app.job.EncodeToClipboard = true;
    ui.clipboardResult = {false, "Open", ENOTSUP};
    EXPECT_EQ(Encode(input), kResultReported);
    EXPECT_EQ(ui.messages.back().text,
              "Can't Open Clipboard because\r\n\r\n" + SystemErrorText(ENOTSUP));

    app.job.EncodeToClipboard = true;
    app.job.FileCount = 3;
    app.job.FileIndex = 1;
    EXPECT_EQ(Encode(input), kResultReported);
    EXPECT_EQ(ui.messages.back().style, kMbExclamation);
    EXPECT_EQ(ui.messages.back().text,
              "Encoding to Clipboard is not Supported for Multiple Enclosures.\r\nPlease "
              "Choose One File at a Time.");
    EXPECT_EQ(ListDirectory(dir.path()), "a.txt");
}

TEST_F(EncodeDriver, MailSendsOneMessagePerPartAndStopsAtAFailedSend) {
    app.config.encodetype = 7;
    app.config.encodeoutputsize = 4500;
    app.job.EncodeToMail = true;
    app.job.Recipients = {{"alice", "SMTP:alice"}, {"bob", "SMTP:bob"}};
    const std::string input = Input("PHOTO.JPG", RandomBytes(6, 15000));
    ASSERT_EQ(Encode(input, 1), kResultDone);
    ASSERT_EQ(ui.sentMail.size(), 5U);
    EXPECT_EQ(app.job.JobOutputPath, "2 E-mail Recipients");
    EXPECT_EQ(ui.sentMail[1].subject, "Subject: PHOTO.JPG [part 2/5]\r\n\r\n");
    EXPECT_EQ(ui.sentMail[1].messageType, "Mandrel32");
    EXPECT_EQ(ui.sentMail[1].recipients.size(), 2U);
    EXPECT_TRUE(ui.sentMail[4].noteText.find("\r\nend\r\n") != std::string::npos);
    EXPECT_EQ(ListDirectory(dir.path()), "PHOTO.JPG");

    ui.sentMail.clear();
    ui.mailResults = {0, 2};
    EXPECT_EQ(Encode(input, 1), kResultReported);
    EXPECT_EQ(ui.sentMail.size(), 2U);
}

TEST_F(EncodeDriver, UnwritableOutputDirectoryIsReportedAndLeavesNothing) {
    app.config.encodedirselect = kDirUserSpecified;
    app.config.encodedir = dir.File("missing/deeper");
    const std::string input = Input("a.txt", "abc");
    EXPECT_EQ(Encode(input), kResultReported);
    EXPECT_EQ(ui.messages.back().text, "Can't Write to " + dir.File("missing/deeper/a.uue") +
                                           " because\r\n\r\n" + SystemErrorText(ENOENT));
    EXPECT_EQ(ListDirectory(dir.path()), "a.txt");
}

TEST_F(EncodeDriver, OutputDirectoryChoiceNamesTheOutput) {
    std::filesystem::create_directory(dir.path() / "out");
    app.config.encodedirselect = kDirUserSpecified;
    app.config.encodedir = dir.File("out");
    ASSERT_EQ(Encode(Input("a.txt", "abc")), kResultDone);
    EXPECT_EQ(app.job.JobOutputPath, dir.File("out/a.uue"));
    EXPECT_EQ(ListDirectory(dir.path() / "out"), "a.uue");
}

TEST_F(EncodeDriver, ExistingOutputIsReplacedOnlyAfterTheQuestion) {
    app.config.usedefaultnames = 1;  // no save dialog
    const std::string input = Input("a.txt", "abc");
    WriteFile(dir.File("a.uue"), "keep me");

    ui.answers = {kIdNo};
    EXPECT_EQ(Encode(input, 1), kResultDialogCancelled);
    EXPECT_EQ(ui.messages.back().style, kMbQuestion);
    EXPECT_EQ(ui.messages.back().text, "Overwrite Existing " + dir.File("a.uue"));
    EXPECT_EQ(ReadFile(dir.File("a.uue")), "keep me");

    ui.answers = {kIdCancel};
    EXPECT_EQ(Encode(input, 1), kResultDialogCancelled);
    EXPECT_EQ(ReadFile(dir.File("a.uue")), "keep me");

    ui.answers = {kIdYes};
    EXPECT_EQ(Encode(input, 1), kResultDone);
    EXPECT_EQ(ReadFile(dir.File("a.uue")), "begin 644 a.txt\r\n#86)C\r\n`\r\nend\r\n");

    // No questions: replaced at once. So are the parts of a multi-part output.
    WriteFile(dir.File("a.uue"), "keep me");
    const std::size_t asked = ui.messages.size();
    EXPECT_EQ(Encode(input, 0), kResultDone);
    app.config.overwriteexisting = 1;
    WriteFile(dir.File("a.uue"), "keep me");
    EXPECT_EQ(Encode(input, 1), kResultDone);
    EXPECT_EQ(ui.messages.size(), asked);
    EXPECT_EQ(ui.unansweredQuestions, 0);
}

TEST_F(EncodeDriver, SaveDialogChoosesTheNameAndInvalidNamesAskAgain) {
    const std::string input = Input("a.txt", "abc");
    ui.saveDialogAnswers = {{SaveDialogResult::Outcome::InvalidName, "a?b", 0},
                            {SaveDialogResult::Outcome::Chosen, dir.File("chosen.txt"), 0}};
    ASSERT_EQ(Encode(input, 1), kResultDone);
    ASSERT_EQ(ui.saveRequests.size(), 2U);
    EXPECT_EQ(ui.saveRequests[0].title, "Encode Output To");
    EXPECT_EQ(ui.saveRequests[0].proposedPath, dir.File("a.uue"));
    EXPECT_EQ(ui.saveRequests[1].proposedPath, "*.*");
    EXPECT_EQ(ui.messages.front().text, "Invalid file name: a?b");
    EXPECT_EQ(app.job.JobOutputPath, dir.File("chosen.txt"));
    EXPECT_EQ(ListDirectory(dir.path()), "a.txt chosen.txt");

    // Cancelling the dialog makes nothing.
    EXPECT_EQ(Encode(input, 1), kResultDialogCancelled);
    EXPECT_EQ(ListDirectory(dir.path()), "a.txt chosen.txt");
}

TEST_F(EncodeDriver, InputTooLargeForThirtyTwoBitSizesIsRefused) {
    const std::string path = dir.File("huge.bin");
    WriteFile(path, "");
    std::filesystem::resize_file(path, (uint64_t{1} << 32));  // sparse: costs no disk
    EXPECT_EQ(Encode(path), kResultReported);
    EXPECT_EQ(ui.messages.back().text,
              path +
                  " is too large to encode: 4294967296 bytes.\r\nThe encoded formats hold "
                  "sizes of at most 4294967295 bytes.");
    EXPECT_EQ(ListDirectory(dir.path()), "huge.bin");
}

TEST_F(EncodeDriver, BinHexOfEscapedBytesBeyondTheBlockSaysCorruptedEncoding) {
    app.config.encodemethod = kMethodBinHex;
    const std::string input = Input("x.bin", std::string(10000, '\x90'));
    EXPECT_EQ(Encode(input), kResultDone);
    const auto texts = MessageTexts();
    EXPECT_NE(std::find(texts.begin(), texts.end(), "Corrupted Encoding!"), texts.end());
}

TEST_F(EncodeDriver, ZeroFileFormatDoesNothing) {
    app.config.encodetype = 0;
    EXPECT_EQ(Encode(Input("a.txt", "abc")), kResultFailed);
    EXPECT_TRUE(ui.messages.empty());
    EXPECT_EQ(ListDirectory(dir.path()), "a.txt");
}

// A file part is written in pieces while the clipboard gets the whole text in one block: the
// two must agree byte for byte, also when a part overflows its block and is dropped.
TEST_F(EncodeDriver, FileOutputWrittenInPiecesEqualsTheWholeText) {
    struct Case {
        int method;
        std::string bytes;
    };
    const Case cases[] = {
        {kMethodUU, RandomBytes(7, 3'000'000)},
        {kMethodMIME, RandomBytes(8, 1'000'001)},
        {kMethodBinHex, RandomBytes(9, 700'000)},
        {kMethodBinHex, std::string(400'000, '\x90')},  // overflows: "Corrupted Encoding!"
    };
    for (const auto& c : cases) {
        app.config.encodemethod = c.method;
        const std::string input = Input("in.bin", c.bytes);
        ASSERT_EQ(Encode(input), kResultDone);
        const std::string written = ReadFile(app.job.JobOutputPath);
        app.job.EncodeToClipboard = true;
        ASSERT_EQ(Encode(input), kResultDone);
        EXPECT_EQ(written.size(), ui.clipboardText.size()) << c.method;
        EXPECT_TRUE(written == ui.clipboardText) << c.method;
    }
    EXPECT_EQ(ui.messages.size(), 2U);  // once for the file, once for the clipboard
    EXPECT_EQ(ui.messages.back().text, "Corrupted Encoding!");
}

TEST_F(EncodeDriver, DeviceNamedAsOutputIsWrittenNeverRemoved) {
    app.job.CommandLineOutputName = "/dev/null";
    ASSERT_EQ(Encode(Input("a.txt", "abc")), kResultDone);
    EXPECT_TRUE(std::filesystem::is_character_file("/dev/null"));
}

struct OutputNameCase {
    const char* input;
    int encoding;
    int part;
    int total;
    const char* commandLineName;
    const char* expected;
};

TEST(BuildOutputName, FollowsTheNamingRules) {
    const OutputNameCase cases[] = {
        {"/data/photo.jpg", 1, 1, 1, "", "/data/photo.uue"},
        {"/data/photo.jpg", 2, 1, 1, "", "/data/photo.xxe"},
        {"/data/photo.jpg", 3, 1, 1, "", "/data/photo.mme"},
        {"/data/photo.jpg", 4, 1, 1, "", "/data/photo.hqx"},
        {"/data/photo.tar.gz", 1, 1, 1, "", "/data/photo.tar.uue"},
        {"/data/photo.tar.gz", 1, 3, 5, "", "/data/photo3.uue"},
        {"/data/README", 1, 1, 1, "", "/data/README.uue"},
        {"/my.dir/file", 1, 1, 1, "", "/my.dir/file.uue"},
        {"/my.dir/file", 2, 12, 20, "", "/my.dir/file12.xxe"},
        {"/data/photo.jpg", 1, 1, 1, "out.txt", "out.txt"},
        {"/data/photo.jpg", 1, 2, 3, "/tmp/out.txt", "/tmp/out2.uue"},
    };
    ScriptedUi ui;
    AppState app(ui);
    for (const auto& c : cases) {
        app.job.CommandLineOutputName = c.commandLineName;
        EXPECT_EQ(BuildOutputName(app, c.input, c.encoding, c.part, c.total), c.expected)
            << c.input << " part " << c.part;
    }
    app.job.CommandLineOutputName.clear();
    app.job.EncodeToMail = true;
    app.job.Recipients = {{"a", "SMTP:a"}};
    EXPECT_EQ(BuildOutputName(app, "/x", 1, 1, 1), "1 E-mail Recipient");
    app.job.Recipients.push_back({"b", "SMTP:b"});
    EXPECT_EQ(BuildOutputName(app, "/x", 1, 1, 1), "2 E-mail Recipients");
    app.job.EncodeToClipboard = true;
    EXPECT_EQ(BuildOutputName(app, "/x", 1, 1, 1), "the Clipboard");
}

}  // namespace
}  // namespace mandrel
