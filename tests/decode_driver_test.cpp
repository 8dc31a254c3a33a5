// The decode driver end to end through the scripted user interface: the state machine over
// real encoder output in every format, the end-of-pass diagnosis and retries, the data,
// checksum and trailer handling, and hostile inputs.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "core/app_state.h"
#include "decode/checksum_verify.h"
#include "decode/decode_driver.h"
#include "decode/decode_questions.h"
#include "encode/encode_driver.h"
#include "encode/sum_r.h"
#include "platform/scripted_ui.h"
#include "shell/job_report.h"
#include "support/test_files.h"

namespace mandrel {
namespace {

namespace fs = std::filesystem;
using test::ListDirectory;
using test::RandomBytes;
using test::ReadFile;
using test::TempDir;
using test::WriteFile;

struct EncodeSettings {
    int format = kFormatSingleFile;
    int method = kMethodUU;
    int eol = kEolCrLf;
    int checksum = 0;
    int outputSize = kMinOutputSize;
};

// Encodes bytes as the file `name` with the project's own encoder, in a program of its own, and
// returns the text of every part in part order.
std::vector<std::string> EncodeParts(const fs::path& directory, const std::string& name,
                                     const std::string& bytes, const EncodeSettings& settings) {
    ScriptedUi ui;
    AppState app(ui);
    app.files.BufFileInit(10, 16384);
    app.config.encodetype = settings.format;
    app.config.encodemethod = settings.method;
    app.config.encodecrlf = settings.eol;
    app.config.eollength = EolLengthFor(settings.eol);
    app.config.encodechecksum = settings.checksum;
    app.config.encodeoutputsize = settings.outputSize;
    fs::create_directories(directory);
    const std::string path = (directory / name).string();
    WriteFile(path, bytes);
    app.job.JobInputPath = path;
    app.job.JobDirection = kDirectionEncode;
    const BufFile input = app.files.BufFileOpen(path, BufOpenMode::Read, 0);
    EXPECT_GE(input, 0);
    EXPECT_EQ(EncodeFile(app, input, 0), kResultDone);
    std::vector<std::string> parts;
    for (int r = 0; r < app.parts.JobPartCount; ++r) {
        const PartRecord& row = app.parts.rows[static_cast<std::size_t>(r)];
        const std::string file = (fs::path(row.directory) / row.fileName).string();
        parts.push_back(ReadFile(file));
        fs::remove(file);
    }
    fs::remove(path);
    return parts;
}

std::string Join(const std::vector<std::string>& parts) {
    std::string text;
    for (const auto& part : parts) {
        text += part;
    }
    return text;
}

// The 1-based number of the line that starts with `start` (the n-th such line).
long LineNumberOf(std::string_view text, std::string_view start, int n = 1) {
    long line = 1;
    std::size_t at = 0;
    while (at < text.size()) {
        if (text.substr(at).starts_with(start) && --n == 0) {
            return line;
        }
        const std::size_t end = text.find('\n', at);
        if (end == std::string_view::npos) {
            break;
        }
        at = end + 1;
        ++line;
    }
    return -1;
}

std::string ReplaceFirst(std::string text, std::string_view from, std::string_view to) {
    const std::size_t at = text.find(from);
    EXPECT_NE(at, std::string::npos) << from;
    if (at != std::string::npos) {
        text.replace(at, from.size(), to);
    }
    return text;
}

// Puts a character outside the UU alphabet into the n-th line that starts with "M".
std::string SpoilDataLine(std::string text, int n) {
    std::size_t at = 0;
    for (;;) {
        at = text.find("\nM", at);
        if (at == std::string::npos) {
            ADD_FAILURE() << "no data line " << n;
            return text;
        }
        ++at;
        if (--n == 0) {
            text[at + 10] = '~';
            return text;
        }
    }
}

std::string TheLine(std::string_view text, long number) {
    std::size_t at = 0;
    for (long i = 1; i < number; ++i) {
        at = text.find('\n', at) + 1;
    }
    return std::string(text.substr(at, text.find_first_of("\r\n", at) - at));
}

// A directory listing as ListDirectory gives it.
std::string ListOf(std::vector<std::string> names) {
    std::sort(names.begin(), names.end());
    std::string list;
    for (const auto& name : names) {
        list += (list.empty() ? "" : " ") + name;
    }
    return list;
}

class DecodeDriver : public ::testing::Test {
protected:
    DecodeDriver() : app(ui) {
        app.files.BufFileInit(10, 16384);
        fs::create_directories(InDir());
        fs::create_directories(TmpDir());
        fs::create_directories(EncDir());
        if (const char* old = std::getenv("TMPDIR")) {  // NOLINT(concurrency-mt-unsafe)
            savedTmp_ = old;
            hadTmp_ = true;
        }
        // Part files go here, so that a forgotten one is seen.
        ::setenv("TMPDIR", TmpDir().c_str(), 1);  // NOLINT(concurrency-mt-unsafe)
        app.config.decodemethod = kDecodeByDataInput;
        app.config.usedefaultnames = 1;
        app.config.overwriteexisting = 1;
    }
    ~DecodeDriver() override {
        if (hadTmp_) {
            ::setenv("TMPDIR", savedTmp_.c_str(), 1);  // NOLINT(concurrency-mt-unsafe)
        } else {
            ::unsetenv("TMPDIR");  // NOLINT(concurrency-mt-unsafe)
        }
    }

    fs::path InDir() const { return root.path() / "in"; }
    fs::path TmpDir() const { return root.path() / "tmp"; }
    fs::path EncDir() const { return root.path() / "enc"; }
    std::string In(std::string_view name) const { return (InDir() / name).string(); }

    int DecodePath(const std::string& path, int ask) {
        app.job.JobInputPath = path;
        app.job.JobDirection = kDirectionDecode;
        const BufFile input =
            app.files.BufFileOpen(path, BufOpenMode::Read, BF_TEXT | BF_CR_ENDS_LINE);
        EXPECT_GE(input, 0) << path;
        const int result = DecodeInput(app, input, ask);
        // Every file the decode opened is closed again: the lowest slot is free.
        const BufFile probe = app.files.BufFileOpen(path, BufOpenMode::Read, 0);
        EXPECT_EQ(probe, 0);
        app.files.BufFileClose(probe);
        return result;
    }

    int Decode(std::string_view text, int ask, std::string_view name = "input.txt") {
        const std::string path = In(name);
        WriteFile(path, text);
        return DecodePath(path, ask);
    }

    std::vector<std::string> Encode(const std::string& name, const std::string& bytes,
                                    const EncodeSettings& settings) {
        return EncodeParts(EncDir(), name, bytes, settings);
    }

    bool NoTemporaryFiles() const { return fs::is_empty(TmpDir()); }
    std::string InFiles() const { return ListDirectory(InDir()); }

    std::vector<std::string> DialogTexts(std::string_view kind) const {
        std::vector<std::string> texts;
        for (const auto& d : ui.dialogs) {
            if (d.kind == kind) {
                texts.push_back(d.text);
            }
        }
        return texts;
    }
    std::vector<std::string> MessageTexts() const {
        std::vector<std::string> texts;
        for (const auto& m : ui.messages) {
            texts.push_back(m.text);
        }
        return texts;
    }
    bool StatusShown(std::string_view text) const {
        return std::find(ui.statuses.begin(), ui.statuses.end(), text) != ui.statuses.end();
    }

    ScriptedUi ui;
    AppState app;
    TempDir root;

private:
    std::string savedTmp_;
    bool hadTmp_ = false;
};

// ---- The job frame and the state machine ----

TEST_F(DecodeDriver, ZeroSizedInputIsRefusedBeforeAnyLineIsRead) {
    EXPECT_EQ(Decode("", 1), kResultReported);
    ASSERT_EQ(ui.messages.size(), 1U);
    EXPECT_EQ(ui.messages[0].style, kMbStop);
    EXPECT_EQ(ui.messages[0].text,
              "No point in decoding a zero-sized file " + In("input.txt") + ".");
    EXPECT_EQ(app.decode.lineNumber, 0);
    EXPECT_TRUE(ui.dialogs.empty());
}

TEST_F(DecodeDriver, SingleUuFileDecodesBesideTheInput) {
    const std::string bytes = RandomBytes(1, 3000);
    const auto parts = Encode("photo.jpg", bytes, {});
    ASSERT_EQ(parts.size(), 1U);
    EXPECT_EQ(Decode(parts[0], 1), kResultDone);
    EXPECT_EQ(ReadFile(In("photo.jpg")), bytes);
    EXPECT_EQ(app.job.JobOutputPath, In("photo.jpg"));
    EXPECT_EQ(app.job.CurrentFileFormat, kFormatSingleFile);
    EXPECT_EQ(app.job.EncodingIndex, kEncodingUU);
    EXPECT_EQ(app.decode.totals.decodedSize, 3000U);
    EXPECT_FALSE(app.job.JobWarnings);
    EXPECT_TRUE(ui.messages.empty());
    EXPECT_TRUE(ui.dialogs.empty());
    EXPECT_TRUE(StatusShown("UU Decode - Type Single File\r\ninput.txt --> photo.jpg"));
    EXPECT_TRUE(StatusShown("At End Of Processing for input.txt"));
    EXPECT_EQ(ui.progress.back(), 100);
    EXPECT_TRUE(std::is_sorted(ui.progress.begin(), ui.progress.end()));
    EXPECT_EQ(VerifyChecksums(app, nullptr), 0);
    EXPECT_EQ(InFiles(), "input.txt photo.jpg");
}

TEST_F(DecodeDriver, ProgressIsBytesReadPlusOnePercentOfTheInput) {
    // 10 lines of 10 characters: each read adds 10 of 100 bytes.
    std::string text;
    for (int i = 0; i < 10; ++i) {
        text += "abcdefghi\n";
    }
    EXPECT_EQ(Decode(text, 0), kResultReported);
    EXPECT_EQ(ui.progress, (std::vector<int>{11, 21, 31, 41, 51, 61, 71, 81, 91, 101}));
}

TEST_F(DecodeDriver, TwoUuFilesInOneInputGiveTwoOutputs) {
    const std::string first = RandomBytes(2, 700);
    const std::string second = RandomBytes(3, 900);
    const std::string text = Encode("one.bin", first, {})[0] + Encode("two.bin", second, {})[0];
    EXPECT_EQ(Decode(text, 1), kResultDone);
    EXPECT_EQ(ReadFile(In("one.bin")), first);
    EXPECT_EQ(ReadFile(In("two.bin")), second);
    EXPECT_EQ(app.job.JobOutputPath, In("two.bin"));
    EXPECT_TRUE(ui.dialogs.empty());
    EXPECT_TRUE(NoTemporaryFiles());
}

TEST_F(DecodeDriver, SimTelPartsInAnyOrderAreJoinedInPartOrder) {
    const std::string bytes = RandomBytes(4, 8000);
    const auto parts = Encode("pic.gif", bytes, {.format = 5});
    ASSERT_EQ(parts.size(), 3U);
    EXPECT_EQ(Decode(parts[1] + parts[0] + parts[2], 1), kResultDone);
    EXPECT_EQ(ReadFile(In("pic.gif")), bytes);
    EXPECT_EQ(app.parts.JobPartCount, 3);
    const auto joining =
        std::find(ui.statuses.begin(), ui.statuses.end(), "Joining Part 1 of 3 for pic.gif");
    ASSERT_NE(joining, ui.statuses.end());
    EXPECT_EQ(joining[1], "Joining Part 2 of 3 for pic.gif");
    EXPECT_EQ(joining[2], "Joining Part 3 of 3 for pic.gif");
    // Part 2 came first: until part 1 names the file, a name made from the input's stands in.
    EXPECT_TRUE(StatusShown("UU Decode - Type SimTel - Part 2 of 3\r\ninput.txt --> input.out"));
    EXPECT_TRUE(StatusShown("UU Decode - Type SimTel - Part 1 of 3\r\ninput.txt --> pic.gif"));
    EXPECT_TRUE(NoTemporaryFiles());
    EXPECT_EQ(InFiles(), "input.txt pic.gif");
    EXPECT_EQ(VerifyChecksums(app, nullptr), 0);
}

TEST_F(DecodeDriver, SecondHeaderForADecodedPartEndsThePass) {
    const auto parts = Encode("pic.gif", RandomBytes(5, 8000), {.format = 5});
    const std::string text = parts[0] + parts[1] + parts[1] + parts[2];
    const long line = LineNumberOf(text, "------------ Part 2 of 3", 2);
    ui.retryAnswers = {0};
    EXPECT_EQ(Decode(text, 1), kResultReported);
    EXPECT_EQ(DialogTexts("RetryDecoding"),
              std::vector<std::string>{"Line " + std::to_string(line) + ": Duplicate Part 2."});
    EXPECT_TRUE(NoTemporaryFiles());
    EXPECT_EQ(InFiles(), "input.txt");
}

TEST_F(DecodeDriver, HeaderWithAnotherTotalEndsThePass) {
    const auto parts = Encode("pic.gif", RandomBytes(6, 8000), {.format = 5});
    const std::string second =
        ReplaceFirst(parts[1], "------------ Part 2 of 3", "------------ Part 2 of 4");
    const std::string text = parts[0] + second;
    // The total is compared when the part's output is set up, on the first data line.
    const long line = LineNumberOf(text, "------------ Part 2 of 4") + 1;
    ui.retryAnswers = {0};
    EXPECT_EQ(Decode(text, 1), kResultReported);
    EXPECT_EQ(DialogTexts("RetryDecoding"),
              std::vector<std::string>{"Line " + std::to_string(line) +
                                       ": Inconsistent # of Total Parts\r\nfor Part 2: Expected "
                                       "3, Got 4."});
    EXPECT_TRUE(NoTemporaryFiles());
}

TEST_F(DecodeDriver, HeaderOfAnotherFormatEndsThePass) {
    const auto parts = Encode("pic.gif", RandomBytes(7, 8000), {.format = 5});
    const std::string text = parts[0] + "Archive-name: pic/part02\r\n" + parts[1];
    const long line = LineNumberOf(text, "Archive-name:");
    ui.retryAnswers = {0};
    EXPECT_EQ(Decode(text, 1), kResultReported);
    EXPECT_EQ(DialogTexts("RetryDecoding"),
              std::vector<std::string>{"Line " + std::to_string(line) +
                                       ": Inconsistent File Formats.\r\nExpected Type SimTel, Got "
                                       "Type Comp.binaries."});
    EXPECT_TRUE(NoTemporaryFiles());
}

TEST_F(DecodeDriver, AltBinariesOnePartOfOneIsDecodedAsASingleFile) {
    const std::string bytes = RandomBytes(8, 1000);
    const std::string body = Encode("pic.gif", bytes, {.eol = kEolLf})[0];
    EXPECT_EQ(Decode("Subject: pic.gif (1/1)\n\n" + body, 1), kResultDone);
    EXPECT_EQ(ReadFile(In("pic.gif")), bytes);
    EXPECT_EQ(app.job.CurrentFileFormat, kFormatSingleFile);
    // The second pass, forced to Single File, passes over the subject line.
    EXPECT_EQ(ui.statuses.front(), "Looking for Single File Header in input.txt ...");
    EXPECT_TRUE(ui.dialogs.empty());
}

TEST_F(DecodeDriver, CancelDuringADecodeReturnsAbortedAndLeavesNothing) {
    const auto parts = Encode("pic.gif", RandomBytes(9, 12000), {.format = 5});
    ASSERT_GE(parts.size(), 3U);
    ui.onPump = [this](int pump) {
        if (pump == 150) {
            app.job.CancelRequested = true;
        }
    };
    EXPECT_EQ(Decode(Join(parts), 1), kResultAborted);
    EXPECT_TRUE(NoTemporaryFiles());
    EXPECT_EQ(InFiles(), "input.txt");
    // The report removes JobOutputPath after an abort: the output was never made, so it names
    // nothing that could be there already.
    EXPECT_EQ(app.job.JobOutputPath, "");
}

TEST_F(DecodeDriver, CancelDuringASingleFileRemovesItsOutput) {
    const auto parts = Encode("pic.gif", RandomBytes(10, 12000), {});
    ui.onPump = [this](int pump) {
        if (pump == 100) {
            app.job.CancelRequested = true;
        }
    };
    EXPECT_EQ(Decode(parts[0], 1), kResultAborted);
    EXPECT_EQ(InFiles(), "input.txt");
    EXPECT_EQ(app.job.JobOutputPath, In("pic.gif"));
}

TEST_F(DecodeDriver, CancelledOutputChoiceReturnsMinusThree) {
    app.config.usedefaultnames = 0;
    const auto parts = Encode("pic.gif", RandomBytes(11, 500), {});
    EXPECT_EQ(Decode(parts[0], 1), kResultDialogCancelled);
    ASSERT_EQ(ui.saveRequests.size(), 1U);
    EXPECT_EQ(ui.saveRequests[0].proposedPath, In("pic.gif"));
    EXPECT_EQ(ui.saveRequests[0].title, "Decode Output To");
    EXPECT_EQ(InFiles(), "input.txt");
}

TEST_F(DecodeDriver, DecliningToReplaceAnExistingOutputKeepsIt) {
    app.config.overwriteexisting = 0;
    WriteFile(In("pic.gif"), "mine");
    ui.answers = {kIdNo};
    EXPECT_EQ(Decode(Encode("pic.gif", RandomBytes(12, 500), {})[0], 1), kResultDialogCancelled);
    EXPECT_EQ(MessageTexts(), std::vector<std::string>{"Overwrite Existing " + In("pic.gif")});
    EXPECT_EQ(ReadFile(In("pic.gif")), "mine");
}

TEST_F(DecodeDriver, ChosenOutputNameIsUsed) {
    app.config.usedefaultnames = 0;
    const std::string bytes = RandomBytes(13, 500);
    ui.saveDialogAnswers = {{SaveDialogResult::Outcome::Chosen, In("chosen.dat"), 0}};
    EXPECT_EQ(Decode(Encode("pic.gif", bytes, {})[0], 1), kResultDone);
    EXPECT_EQ(ReadFile(In("chosen.dat")), bytes);
    EXPECT_EQ(app.job.JobOutputPath, In("chosen.dat"));
}

TEST_F(DecodeDriver, CommandLineOutputNameReplacesTheNameInTheText) {
    const std::string bytes = RandomBytes(14, 500);
    const std::string wanted = (root.path() / "elsewhere.bin").string();
    app.job.CommandLineOutputName = wanted;
    app.config.usedefaultnames = 0;  // the given name asks nothing
    EXPECT_EQ(Decode(Encode("pic.gif", bytes, {})[0], 1), kResultDone);
    EXPECT_EQ(ReadFile(wanted), bytes);
    EXPECT_TRUE(ui.saveRequests.empty());
    EXPECT_EQ(InFiles(), "input.txt");
}

TEST_F(DecodeDriver, UserSpecifiedOutputDirectoryReceivesTheOutput) {
    const fs::path out = root.path() / "out";
    fs::create_directories(out);
    app.config.decodedirselect = kDirUserSpecified;
    app.config.decodedir = out.string();
    const std::string bytes = RandomBytes(15, 8000);
    EXPECT_EQ(Decode(Join(Encode("pic.gif", bytes, {.format = 4})), 1), kResultDone);
    EXPECT_EQ(ReadFile((out / "pic.gif").string()), bytes);
    EXPECT_EQ(app.job.JobOutputPath, (out / "pic.gif").string());
    EXPECT_EQ(InFiles(), "input.txt");
    EXPECT_TRUE(NoTemporaryFiles());
}

TEST_F(DecodeDriver, OutputOfJoinedInputsGoesBesideTheJoinedFiles) {
    // The joined input lives in the temporary directory; its output does not.
    const std::string bytes = RandomBytes(44, 5000);
    const std::string joined = (TmpDir() / "mdrjoined.tmp").string();
    WriteFile(joined, Join(Encode("pic.gif", bytes, {.format = 5})));
    app.job.JoinedInputsDirectory = InDir().string();
    EXPECT_EQ(DecodePath(joined, 1), kResultDone);
    EXPECT_EQ(ReadFile(In("pic.gif")), bytes);
    EXPECT_EQ(app.job.JobOutputPath, In("pic.gif"));
    fs::remove(joined);
    EXPECT_TRUE(NoTemporaryFiles());
}

TEST(CloseDecodeFiles, ClosesBothFilesAndDeletesThePartFiles) {
    TempDir dir;
    ScriptedUi ui;
    AppState app(ui);
    app.files.BufFileInit(10, 16384);
    const std::string in = dir.File("in.txt");
    const std::string part = dir.File("part.tmp");
    const std::string kept = dir.File("kept.txt");
    WriteFile(in, "x");
    WriteFile(part, "y");
    WriteFile(kept, "z");
    app.parts.rows[1].partNumber = 2;
    app.parts.rows[1].fileName = "part.tmp";
    app.parts.rows[1].directory = dir.path().string();
    const BufFile input = app.files.BufFileOpen(in, BufOpenMode::Read, 0);
    const BufFile output = app.files.BufFileOpen(dir.File("out"), BufOpenMode::CreateAlways, 0);
    CloseDecodeFiles(app, input, output);
    EXPECT_EQ(app.files.BufFileOpen(kept, BufOpenMode::Read, 0), 0);
    EXPECT_EQ(app.files.BufFileOpen(kept, BufOpenMode::Read, 0), 1);
    EXPECT_FALSE(fs::exists(part));
    EXPECT_TRUE(app.parts.rows[1].fileName.empty());
    CloseDecodeFiles(app, kNoBufFile, kNoBufFile);  // nothing open: nothing happens
    EXPECT_TRUE(fs::exists(kept));
}

// ---- End of a pass ----

TEST_F(DecodeDriver, CompleteTwoPartInputEndsCleanlyWhileLookingForAHeader) {
    const std::string bytes = RandomBytes(16, 5000);
    const auto parts = Encode("pic.gif", bytes, {.format = 5});
    ASSERT_EQ(parts.size(), 2U);
    EXPECT_EQ(Decode(Join(parts) + "\r\nSome closing words.\r\n", 1), kResultDone);
    EXPECT_TRUE(StatusShown("At End Of Processing for input.txt"));
    EXPECT_EQ(ReadFile(In("pic.gif")), bytes);
    EXPECT_EQ(app.decode.totals.decodedSize, 5000U);
}

TEST_F(DecodeDriver, UuFileWithoutEndDecodesWithAWarning) {
    const std::string bytes = RandomBytes(17, 450);  // ten full lines
    std::string text = Encode("pic.gif", bytes, {.eol = kEolLf})[0];
    text.resize(text.find("`\nend\n"));
    EXPECT_EQ(Decode(text, 1), kResultDone);
    EXPECT_EQ(ReadFile(In("pic.gif")), bytes);
    EXPECT_TRUE(app.job.JobWarnings);
    EXPECT_EQ(app.job.ReportExtraText, "\r\n\r\nMissing 'end' statement.");
    EXPECT_EQ(JobReportSentence(app, kResultDone, kDirectionDecode, kEncodingUU, 1),
              "input.txt Apparently UU Decoded as\r\n" + In("pic.gif") +
                  "\r\n\r\nMissing 'end' statement.");
}

TEST_F(DecodeDriver, PartWithEndButNoBeginAsksForARetry) {
    const auto parts = Encode("pic.gif", RandomBytes(18, 5000), {.format = 5});
    ui.retryAnswers = {0};
    EXPECT_EQ(Decode(parts[1], 1), kResultReported);
    EXPECT_EQ(DialogTexts("RetryDecoding"),
              std::vector<std::string>{"Missing 'begin' Statement in input.txt."});
    EXPECT_TRUE(NoTemporaryFiles());
}

TEST_F(DecodeDriver, SingleFileDataWithoutBeginFindsNeitherStatement) {
    // Without its "begin" line no part is ever opened, so its "end" is not seen either.
    std::string text = Encode("pic.gif", RandomBytes(19, 900), {.eol = kEolLf})[0];
    text.erase(0, text.find('\n') + 1);
    app.config.decodemethod = kMethodUU;
    app.job.EncodingIndex = kEncodingUU;
    ui.retryAnswers = {0};
    EXPECT_EQ(Decode(text, 1), kResultReported);
    EXPECT_EQ(DialogTexts("RetryDecoding"),
              std::vector<std::string>{"Missing 'begin' and 'end' Statements in input.txt."});
}

TEST_F(DecodeDriver, PlainTextNamesWhatWasNotFound) {
    const std::string text = "Dear reader,\r\nnothing encoded here.\r\n";
    ui.retryAnswers = {0};
    EXPECT_EQ(Decode(text, 1), kResultReported);
    EXPECT_EQ(DialogTexts("RetryDecoding"),
              std::vector<std::string>{"Unable to Determine File Format for " + In("input.txt") +
                                       ".\r\nCannot Find Any Encoding Header Information."});
    EXPECT_TRUE(StatusShown("Looking for To Be Determined Header in input.txt ..."));

    ui.dialogs.clear();
    ui.retryAnswers = {0};
    app.config.decodemethod = kMethodUU;
    app.job.EncodingIndex = kEncodingUU;
    EXPECT_EQ(Decode(text, 1), kResultReported);
    EXPECT_EQ(DialogTexts("RetryDecoding"),
              std::vector<std::string>{"Missing 'begin' and 'end' Statements in input.txt."});
}

TEST_F(DecodeDriver, WhatWasNotFoundFollowsTheStateThePassEndedIn) {
    struct Case {
        const char* text;
        const char* missing;
    };
    const Case cases[] = {
        {"Archive-name: pic/part01\r\nno separator follows\r\n",
         "Separator Indicating Start of Data"},
        {"------------ Part 1 of 2 ------------\r\n\r\n\r\n", "Start of Encoded Data"},
    };
    for (const auto& c : cases) {
        ui.dialogs.clear();
        ui.retryAnswers = {0};
        EXPECT_EQ(Decode(c.text, 1), kResultReported);
        EXPECT_EQ(DialogTexts("RetryDecoding"),
                  std::vector<std::string>{"Unable to Determine File Format for " +
                                           In("input.txt") + ".\r\nCannot Find " + c.missing + "."})
            << c.text;
    }
}

TEST_F(DecodeDriver, BinaryFileFromAListOffersToEncodeIt) {
    const std::string program =
        "\x7f"
        "ELF\x02\x01\x01\xe9\xe9\xe9 binary\n" +
        RandomBytes(20, 300);
    app.job.ListFromUser = true;
    ui.encodeOrDecodeAnswers = {kIdNo};  // Encode
    EXPECT_EQ(Decode(program, 1), kResultEncodeInstead);
    EXPECT_EQ(DialogTexts("EncodeOrDecode").size(), 1U);
    EXPECT_TRUE(DialogTexts("RetryDecoding").empty());
    EXPECT_TRUE(MessageTexts().empty());

    // Decode goes on to the retry question, which names the data's start.
    ui.dialogs.clear();
    ui.encodeOrDecodeAnswers = {kIdYes};
    ui.retryAnswers = {0};
    EXPECT_EQ(Decode(program, 1), kResultReported);
    EXPECT_EQ(DialogTexts("RetryDecoding"),
              std::vector<std::string>{"Unable to Determine File Format for " + In("input.txt") +
                                       ".\r\nCannot Find Start of Encoded Data."});

    // Cancel ends the file as aborted.
    ui.dialogs.clear();
    ui.encodeOrDecodeAnswers = {kIdCancel};
    EXPECT_EQ(Decode(program, 1), kResultAborted);
}

TEST_F(DecodeDriver, BinaryFileAloneIsAskedAboutOnce) {
    const std::string program =
        "\x7f"
        "ELF\xe9\xe9\xe9 binary\n" +
        RandomBytes(21, 300);
    ui.answers = {kIdYes};
    ui.retryAnswers = {kFormatSingleFile, 0};  // one retry, then give up
    EXPECT_EQ(Decode(program, 1), kResultReported);
    ASSERT_EQ(ui.messages.size(), 1U);
    EXPECT_EQ(ui.messages[0].style, kMbYesNoQuestionDefaultNo);
    EXPECT_EQ(ui.messages[0].text,
              "File input.txt contains binary data and very likely cannot be decoded. Do you "
              "wish to try anyway?");
    EXPECT_EQ(DialogTexts("RetryDecoding").size(), 2U);
    EXPECT_EQ(app.decode.BinaryDataSeen, 2);

    // Any answer but Yes gives up at once.
    ui.messages.clear();
    ui.dialogs.clear();
    ui.answers = {kIdNo};
    EXPECT_EQ(Decode(program, 1), kResultReported);
    EXPECT_EQ(ui.messages.size(), 1U);
    EXPECT_TRUE(ui.dialogs.empty());
}

TEST_F(DecodeDriver, UuInputEndingRightAfterBeginGivesAnEmptyOutput) {
    app.config.decodemethod = kMethodUU;
    app.job.EncodingIndex = kEncodingUU;
    EXPECT_EQ(Decode("begin 644 empty.dat\r\n", 1), kResultDone);
    EXPECT_TRUE(fs::exists(In("empty.dat")));
    EXPECT_EQ(fs::file_size(In("empty.dat")), 0U);
    EXPECT_EQ(app.job.ReportExtraText, "\r\n\r\nMissing 'end' statement.");
    EXPECT_TRUE(ui.dialogs.empty());
}

TEST_F(DecodeDriver, TryAllFormatsMakesEighteenPassesThenGivesUp) {
    ui.retryAnswers = {kFormatTryAll};
    EXPECT_EQ(Decode("Nothing to see.\r\nReally nothing.\r\n", 1), kResultReported);
    std::vector<std::string> looked;
    for (const auto& s : ui.statuses) {
        if (s.starts_with("Looking for ")) {
            looked.push_back(s);
        }
    }
    ASSERT_EQ(looked.size(), 19U);
    EXPECT_EQ(looked[0], "Looking for To Be Determined Header in input.txt ...");
    EXPECT_EQ(looked[1], "Looking for Single File Header in input.txt ...");
    EXPECT_EQ(looked[18], "Looking for R.E.M. Header in input.txt ...");
    EXPECT_EQ(DialogTexts("RetryDecoding").size(), 1U);
    ASSERT_EQ(ui.messages.size(), 1U);
    EXPECT_EQ(ui.messages[0].style, kMbStop);
    EXPECT_EQ(ui.messages[0].text,
              "Unable to Determine File Format for " + In("input.txt") +
                  ".\r\nYou must manually piece together the files in\r\nsequential order and "
                  "strip out any email or\r\nusenet header data before you can retry decoding.");
}

TEST_F(DecodeDriver, TryAllFormatsOnBinaryDataAsksForPlainText) {
    ui.answers = {kIdYes};
    ui.retryAnswers = {kFormatTryAll};
    EXPECT_EQ(Decode("caf\xe9 \xe9t\xe9\r\n", 1), kResultReported);
    ASSERT_EQ(ui.messages.size(), 2U);
    EXPECT_EQ(ui.messages[1].text,
              "Unable to Determine File Format for " + In("input.txt") +
                  ".\r\nYou must manually piece together the files in\r\nsequential order and "
                  "strip out any email or\r\nusenet header data before you can retry decoding."
                  "\r\nGiven the file had binary data, please ensure the \r\nfile was saved as "
                  "straight ASCII text.");
}

TEST_F(DecodeDriver, TryAllFormatsStopsAtTheFirstFormatThatFits) {
    // Forced to Comp.binaries, a single UU file is not found; the walk finds it on its first
    // pass and goes no further.
    const std::string bytes = RandomBytes(22, 2000);
    const std::string text = "A note first.\r\n" + Encode("pic.gif", bytes, {})[0];
    ui.retryAnswers = {kFormatTryAll};
    app.config.decodeautodetect = 0;
    app.config.decodetype = 4;
    EXPECT_EQ(Decode(text, 1), kResultDone);
    EXPECT_EQ(ReadFile(In("pic.gif")), bytes);
    EXPECT_TRUE(StatusShown("Looking for Comp.binaries Header in input.txt ..."));
    EXPECT_TRUE(StatusShown("Looking for Single File Header in input.txt ..."));
    EXPECT_FALSE(StatusShown("Looking for SimTel Header in input.txt ..."));
    EXPECT_EQ(DialogTexts("RetryDecoding"),
              std::vector<std::string>{"Unable to Determine File Format for " + In("input.txt") +
                                       ".\r\nCannot Find Any Encoding Header Information."});
}

TEST_F(DecodeDriver, RetryWithAChosenFormatDecodesTheInput) {
    const std::string bytes = RandomBytes(23, 5000);
    const auto parts = Encode("pic.gif", bytes, {.format = 5});
    app.config.decodeautodetect = 0;
    app.config.decodetype = 4;
    ui.retryAnswers = {5};
    EXPECT_EQ(Decode(Join(parts), 1), kResultDone);
    EXPECT_EQ(ReadFile(In("pic.gif")), bytes);
    EXPECT_EQ(DialogTexts("RetryDecoding").size(), 1U);
}

TEST_F(DecodeDriver, WithoutQuestionsAFailedDecodeShowsNothing) {
    EXPECT_EQ(Decode("Nothing here.\r\n", 0), kResultReported);
    EXPECT_TRUE(ui.messages.empty());
    EXPECT_TRUE(ui.dialogs.empty());
    const auto parts = Encode("pic.gif", RandomBytes(24, 5000), {.format = 5});
    EXPECT_EQ(Decode(parts[0] + parts[0], 0), kResultReported);
    EXPECT_TRUE(ui.messages.empty());
    EXPECT_TRUE(ui.dialogs.empty());
    EXPECT_TRUE(NoTemporaryFiles());
}

TEST_F(DecodeDriver, MissingPartIsReportedByTheJoinAndLeavesNothing) {
    const auto parts = Encode("pic.gif", RandomBytes(25, 8000), {.format = 5});
    EXPECT_EQ(Decode(parts[0] + parts[2], 1), kResultReported);
    EXPECT_EQ(MessageTexts(),
              std::vector<std::string>{"Total Parts Required: 3.\r\nMissing Parts: 2"});
    EXPECT_TRUE(NoTemporaryFiles());
    EXPECT_EQ(InFiles(), "input.txt");
}

// ---- Data lines, checksum lines and trailers ----

TEST_F(DecodeDriver, EndOnTheLastLineOrBeforeABlankLineFinishesTheFile) {
    const std::string bytes = RandomBytes(26, 500);
    const std::string text = Encode("pic.gif", bytes, {.eol = kEolLf})[0];
    ASSERT_TRUE(text.ends_with("`\nend\n"));
    for (const std::string& input : {text, text + "\n", text + "\n\n"}) {
        fs::remove(In("pic.gif"));
        EXPECT_EQ(Decode(input, 1), kResultDone);
        EXPECT_EQ(ReadFile(In("pic.gif")), bytes);
        EXPECT_FALSE(app.job.JobWarnings);
    }
    // "end" without a line end is no "end" line but a data line; refused, it is decoded in
    // tolerant mode without questions, to no bytes.
    EXPECT_EQ(Decode(text.substr(0, text.size() - 1), 0), kResultDone);
    EXPECT_EQ(ReadFile(In("pic.gif")), bytes);
    EXPECT_EQ(app.job.ReportExtraText, "\r\n\r\nMissing 'end' statement.");
}

TEST_F(DecodeDriver, SingleFileReadsOnlyTheLineAfterEndAsItsTotal) {
    const std::string bytes = RandomBytes(27, 500);
    const std::string text = Encode("pic.gif", bytes, {.eol = kEolLf, .checksum = 1})[0];
    ASSERT_NE(text.find("\nend\nsum -r/size "), std::string::npos);
    ASSERT_NE(text.find(" section "), std::string::npos);
    EXPECT_EQ(Decode(text, 1), kResultDone);
    EXPECT_EQ(app.decode.totals.expectedChecksum, 0U);
    EXPECT_EQ(app.decode.totals.expectedSize, 0);
    EXPECT_EQ(app.parts.rows[0].expectedChecksum, 0U);

    // A total line directly after "end" is taken.
    const std::string total = "sum -r/size 12345/500 entire input file\n";
    EXPECT_EQ(Decode(text.substr(0, text.find("\nend\n") + 5) + total, 1), kResultDone);
    EXPECT_EQ(app.decode.totals.expectedChecksum, 12345U);
    EXPECT_EQ(app.decode.totals.expectedSize, 500);
}

TEST_F(DecodeDriver, MultiPartKeepsPartAndTotalChecksums) {
    const std::string bytes = RandomBytes(28, 5000);
    const auto parts = Encode("pic.gif", bytes, {.format = 5, .checksum = 1});
    ASSERT_EQ(parts.size(), 2U);
    EXPECT_EQ(Decode(Join(parts), 1), kResultDone);
    EXPECT_NE(app.parts.rows[0].expectedChecksum, 0U);
    EXPECT_NE(app.parts.rows[0].expectedSize, 0);
    EXPECT_NE(app.parts.rows[1].expectedChecksum, 0U);
    EXPECT_NE(app.parts.rows[1].expectedSize, 0);
    EXPECT_EQ(app.decode.totals.expectedSize, 5000);
    EXPECT_NE(app.decode.totals.expectedChecksum, 0U);
    EXPECT_EQ(VerifyChecksums(app, nullptr), 0);
    EXPECT_TRUE(app.decode.checksumDataPresent);
}

// The "sum -r" of a part's section as an independent reader sees it: every line after the
// part's "----" header up to its first checksum line, blank lines left out, each line ended by
// one LF whatever its end was.
uint16_t SectionSum(std::string_view part) {
    uint16_t sum = 0;
    bool header = true;
    std::size_t at = 0;
    while (at < part.size() && !part.substr(at).starts_with("sum -r/size")) {
        const std::size_t end = std::min(part.find_first_of("\r\n", at), part.size());
        if (end > at && !header) {
            for (const char c : part.substr(at, end - at)) {
                sum = SumRAdd(sum, static_cast<unsigned char>(c));
            }
            sum = SumRAdd(sum, '\n');
        }
        header = header && !part.substr(at).starts_with("----");
        at = end + (part.substr(end).starts_with("\r\n") ? 2 : 1);
    }
    return sum;
}

struct SectionCase {
    const char* name;
    int eol;
    int spoiled;  // data line of part 2 that gets an invalid character; 0 for none
    bool crOnly;  // CR LF line ends turned into CRs
    bool blankBeforeParts;
};

class PartChecksumTest : public DecodeDriver, public ::testing::WithParamInterface<SectionCase> {};

// Each part's figures are compared with the section sum of its text, whatever the line ends, the
// lines between the parts or a line decoded in spite of an invalid character in the middle of
// a part; the output file's sum is taken from the file.
TEST_P(PartChecksumTest, EveryPartSumMatchesItsSection) {
    const SectionCase& c = GetParam();
    const std::string bytes = RandomBytes(40, 9000);
    std::vector<std::string> parts =
        Encode("pic.gif", bytes, {.format = 5, .eol = c.eol, .checksum = 1});
    ASSERT_EQ(parts.size(), 3U);
    std::swap(parts[0], parts[2]);
    if (c.spoiled != 0) {
        parts[1] = SpoilDataLine(parts[1], c.spoiled);
    }
    for (std::string& part : parts) {
        if (c.crOnly) {
            std::string cr;
            for (std::size_t i = 0; i < part.size(); ++i) {
                if (!(part[i] == '\n' && i > 0 && part[i - 1] == '\r')) {
                    cr += part[i];
                }
            }
            part = cr;
        }
        if (c.blankBeforeParts) {
            part = "\n\nSubject: a part\n\n" + part;
        }
    }
    EXPECT_EQ(Decode(Join(parts), 0), kResultDone);
    // Part order: the shuffled texts hold parts 3, 2 and 1.
    for (int row = 0; row < 3; ++row) {
        const std::string& text = parts[static_cast<std::size_t>(2 - row)];
        const PartRecord& part = app.parts.rows[static_cast<std::size_t>(row)];
        EXPECT_NE(part.expectedChecksum, 0U);
        EXPECT_EQ(part.calculatedChecksum, SectionSum(text)) << "part " << row + 1;
        if (c.spoiled == 0 || row != 1) {
            EXPECT_EQ(part.calculatedChecksum, part.expectedChecksum) << "part " << row + 1;
        }
    }
    std::vector<std::string> differences;
    VerifyChecksums(app, nullptr);
    VerifyChecksums(app, &differences);
    if (c.spoiled == 0) {
        EXPECT_EQ(ReadFile(In("pic.gif")), bytes);
        EXPECT_TRUE(differences.empty());
    } else {
        // The spoiled character changes the part's sum and one decoded byte.
        ASSERT_EQ(differences.size(), 2U);
        EXPECT_EQ(differences[0].substr(0, 28), "Output File pic.gif Checksum");
        EXPECT_EQ(differences[1].substr(0, 15), "Part 2 Checksum");
    }
}

INSTANTIATE_TEST_SUITE_P(
    Texts, PartChecksumTest,
    ::testing::Values(SectionCase{"CrLf", kEolCrLf, 0, false, false},
                      SectionCase{"Lf", kEolLf, 0, false, false},
                      SectionCase{"CrOnly", kEolCrLf, 0, true, false},
                      SectionCase{"BlankLinesAndHeadersBetweenParts", kEolLf, 0, false, true},
                      SectionCase{"SpoiledLineMidPart", kEolLf, 7, false, false},
                      SectionCase{"SpoiledFirstLineCrOnly", kEolCrLf, 1, true, true}),
    [](const ::testing::TestParamInfo<SectionCase>& info) { return info.param.name; });

TEST_F(DecodeDriver, ChecksumLineWithAnotherScopeIsNotTaken) {
    const std::string bytes = RandomBytes(29, 5000);
    auto parts = Encode("pic.gif", bytes, {.format = 5, .checksum = 1});
    parts[1] = ReplaceFirst(parts[1], "entire input file", "whole thing");
    parts[0] = ReplaceFirst(parts[0], " section ", " sections ");
    EXPECT_EQ(Decode(Join(parts), 1), kResultDone);
    EXPECT_EQ(app.decode.totals.expectedChecksum, 0U);
    EXPECT_EQ(app.decode.totals.expectedSize, 0);
    EXPECT_NE(app.parts.rows[0].expectedChecksum, 0U);  // "sections" starts with "section"
    EXPECT_EQ(ReadFile(In("pic.gif")), bytes);
}

TEST_F(DecodeDriver, BlankLineEndsMultiPartDataButNotASingleFile) {
    const std::string bytes = RandomBytes(30, 5000);
    const auto parts = Encode("pic.gif", bytes, {.format = 5, .eol = kEolLf});
    // A blank line after the tenth data line of part 1: the rest of part 1 is lost.
    std::string first = parts[0];
    std::size_t at = first.find("\nM");
    for (int i = 0; i < 10; ++i) {
        at = first.find('\n', at + 1);
    }
    first.insert(at + 1, "\n");
    EXPECT_EQ(Decode(first + parts[1], 1), kResultDone);
    const std::string decoded = ReadFile(In("pic.gif"));
    EXPECT_EQ(decoded.substr(0, 450), bytes.substr(0, 450));  // ten lines of 45 bytes
    EXPECT_LT(decoded.size(), bytes.size());

    std::string single = Encode("pic.gif", bytes, {.eol = kEolLf})[0];
    at = single.find("\nM");
    single.insert(at + 1, "\n\n");
    EXPECT_EQ(Decode(single, 1), kResultDone);
    EXPECT_EQ(ReadFile(In("pic.gif")), bytes);
}

TEST_F(DecodeDriver, WincodeEndIsFollowedByBlankLinesAndItsTrailer) {
    const std::string bytes = RandomBytes(31, 5000);
    const auto parts = Encode("pic.gif", bytes, {.format = 13, .checksum = 1});
    ASSERT_EQ(parts.size(), 2U);
    ASSERT_NE(parts[1].find("end\r\nsum -r/size"), std::string::npos);
    EXPECT_EQ(Decode(Join(parts), 1), kResultDone);
    EXPECT_EQ(ReadFile(In("pic.gif")), bytes);

    // Blank lines between "end" and the trailer.
    const auto plain = Encode("pic.gif", bytes, {.format = 13});
    const std::string second = ReplaceFirst(plain[1], "end\r\n", "end\r\n\r\n\r\n");
    EXPECT_EQ(Decode(plain[0] + second, 1), kResultDone);
    EXPECT_EQ(ReadFile(In("pic.gif")), bytes);
}

TEST_F(DecodeDriver, SkipAllInvalidLinesHoldsUntilTheNextPart) {
    const auto parts = Encode("pic.gif", RandomBytes(32, 8000), {.format = 5});
    const std::string first = SpoilDataLine(SpoilDataLine(parts[0], 3), 5);
    const std::string second = SpoilDataLine(parts[1], 2);
    ui.decodeErrorAnswers = {kLineAnswerSkipAll, kLineAnswerSkipAll};
    ui.answers = {kIdYes, kIdYes};  // the warnings
    const std::string text = first + second + parts[2];
    EXPECT_EQ(Decode(text, 1), kResultDone);
    const auto asked = DialogTexts("DecodeError");
    ASSERT_EQ(asked.size(), 2U);
    const long line = LineNumberOf(text, "M", 3);
    EXPECT_EQ(asked[0], "Input File: input.txt\r\nLine " + std::to_string(line) +
                            ": Invalid UU Encoded Data!\r\nInvalid encoded data byte (0x7e)."
                            "\r\nOffending Line Follows within Curly Brackets:\r\n\r\n{ " +
                            TheLine(text, line) + " }");
    EXPECT_TRUE(app.job.JobWarnings);
    EXPECT_EQ(app.job.ReportExtraText, "\r\n\r\nPossibly not all data included in decoding.");
    EXPECT_EQ(fs::file_size(In("pic.gif")), 8000U - 3 * 45);
}

TEST_F(DecodeDriver, DecodeAllInvalidLinesAsksOnceAndDecodesTolerantly) {
    const std::string bytes = RandomBytes(33, 3000);
    const std::string text = SpoilDataLine(SpoilDataLine(Encode("pic.gif", bytes, {})[0], 2), 4);
    ui.decodeErrorAnswers = {kLineAnswerDecodeAll};
    ui.answers = {kIdYes};
    EXPECT_EQ(Decode(text, 1), kResultDone);
    EXPECT_EQ(DialogTexts("DecodeError").size(), 1U);
    EXPECT_EQ(fs::file_size(In("pic.gif")), 3000U);
    EXPECT_EQ(app.job.ReportExtraText, "\r\n\r\nDecode attempted in spite of integrity errors.");
    EXPECT_TRUE(app.job.JobWarnings);
}

TEST_F(DecodeDriver, SkipAndDecodeThisLineAskAgainForTheNextLine) {
    const std::string bytes = RandomBytes(34, 3000);
    const std::string text = SpoilDataLine(SpoilDataLine(Encode("pic.gif", bytes, {})[0], 2), 4);
    ui.decodeErrorAnswers = {kLineAnswerSkip, kLineAnswerDecode};
    ui.answers = {kIdYes, kIdYes};
    EXPECT_EQ(Decode(text, 1), kResultDone);
    EXPECT_EQ(DialogTexts("DecodeError").size(), 2U);
    EXPECT_EQ(fs::file_size(In("pic.gif")), 3000U - 45);
    // The last answer's text stands.
    EXPECT_EQ(app.job.ReportExtraText, "\r\n\r\nDecode attempted in spite of integrity errors.");
}

TEST_F(DecodeDriver, AbortDecodeEndsTheDecodeAsAborted) {
    const std::string text = SpoilDataLine(Encode("pic.gif", RandomBytes(35, 3000), {})[0], 2);
    ui.decodeErrorAnswers = {kLineAnswerAbort};
    EXPECT_EQ(Decode(text, 1), kResultAborted);
    EXPECT_TRUE(app.job.CancelRequested);
    EXPECT_EQ(InFiles(), "input.txt");
}

TEST_F(DecodeDriver, WithoutQuestionsInvalidLinesAreDecodedTolerantly) {
    const std::string bytes = RandomBytes(36, 3000);
    const std::string text = SpoilDataLine(Encode("pic.gif", bytes, {})[0], 2);
    EXPECT_EQ(Decode(text, 0), kResultDone);
    EXPECT_TRUE(ui.dialogs.empty());
    EXPECT_EQ(fs::file_size(In("pic.gif")), 3000U);
    EXPECT_EQ(app.job.ReportExtraText, "\r\n\r\nDecode attempted in spite of integrity errors.");
}

TEST_F(DecodeDriver, InvalidLineWhileTryingAllFormatsGivesUp) {
    const std::string text = SpoilDataLine(Encode("pic.gif", RandomBytes(37, 3000), {})[0], 2);
    app.config.decodeautodetect = 0;
    app.config.decodetype = 4;
    ui.retryAnswers = {kFormatTryAll};
    EXPECT_EQ(Decode(text, 1), kResultReported);
    EXPECT_TRUE(DialogTexts("DecodeError").empty());
    EXPECT_EQ(InFiles(), "input.txt");
}

std::string MimeBody(std::size_t characters) {
    static constexpr std::string_view kAlphabet =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string body;
    for (std::size_t i = 0; i < characters; ++i) {
        body += kAlphabet[(i * 7) % 64];
        if (i % 76 == 75) {
            body += "\r\n";
        }
    }
    return body + "\r\n";
}

constexpr std::string_view kMimeHeader =
    "Content-Type: application/octet-stream; name=\"data.bin\"\r\n"
    "Content-Transfer-Encoding: base64\r\n\r\n";

TEST_F(DecodeDriver, MimeBodyNotAMultipleOfFourIsQuestionedWhenItEndsTheInput) {
    const std::string text = std::string(kMimeHeader) + MimeBody(1001);
    ui.answers = {kIdYes};
    EXPECT_EQ(Decode(text, 1), kResultDone);
    ASSERT_EQ(ui.messages.size(), 1U);
    EXPECT_EQ(ui.messages[0].style, kMbYesNoQuestionDefaultNo);
    EXPECT_EQ(ui.messages[0].text,
              "MIME data violates the integral multiple of 4 rule. The decoded file may be "
              "corrupted.\r\n\r\nContinue anyway?");
    EXPECT_EQ(fs::file_size(In("data.bin")), 750U);

    // No: the pass fails, the output goes.
    ui.messages.clear();
    ui.answers = {kIdNo};
    ui.retryAnswers = {0};
    EXPECT_EQ(Decode(text, 1), kResultReported);
    EXPECT_EQ(InFiles(), "input.txt");

    // Without questions nothing is asked.
    ui.messages.clear();
    EXPECT_EQ(Decode(text, 0), kResultDone);
    EXPECT_TRUE(ui.messages.empty());

    // A body that a blank line ends does not reach the trailer: nothing is asked.
    EXPECT_EQ(Decode(text + "\r\nA closing remark.\r\n", 1), kResultDone);
    EXPECT_TRUE(ui.messages.empty());
}

TEST_F(DecodeDriver, TrailerOfAnotherTotalEndsThePass) {
    const auto parts = Encode("pic.gif", RandomBytes(38, 8000), {.format = 5});
    const std::string second = ReplaceFirst(parts[1], "End of part 2 of 3", "End of part 2 of 4");
    const std::string text = parts[0] + second;
    const long line = LineNumberOf(text, "-------- End of part 2 of 4");
    ui.retryAnswers = {0};
    EXPECT_EQ(Decode(text, 1), kResultReported);
    EXPECT_EQ(DialogTexts("RetryDecoding"),
              std::vector<std::string>{"Line " + std::to_string(line) +
                                       ": Inconsistent Trailer!\r\nExpected Part 2 of 3, Got "
                                       "Part 2 of 4"});
    EXPECT_TRUE(NoTemporaryFiles());
}

TEST_F(DecodeDriver, ShortWriteEndsTheDecode) {
    ASSERT_TRUE(fs::is_character_file("/dev/full"));
    app.job.CommandLineOutputName = "/dev/full";
    EXPECT_EQ(Decode(Encode("pic.gif", RandomBytes(39, 40000), {})[0], 1), kResultReported);
    EXPECT_EQ(MessageTexts(),
              std::vector<std::string>{"Tried to write 45 bytes; actually wrote 3 bytes!"});
    EXPECT_EQ(ui.messages[0].style, kMbStop);
    // A device named as the output is written to, never removed.
    EXPECT_TRUE(fs::is_character_file("/dev/full"));
}

TEST_F(DecodeDriver, BinHexSingleFileDecodesItsDataFork) {
    const std::string bytes = RandomBytes(40, 5000);
    const auto parts = Encode("mac.bin", bytes, {.method = kMethodBinHex});
    ui.answers = {};
    EXPECT_EQ(Decode(parts[0], 0), kResultDone);
    EXPECT_EQ(ReadFile(In("mac.bin")), bytes);
    EXPECT_EQ(app.job.EncodingIndex, kEncodingBinHex);
    EXPECT_EQ(VerifyChecksums(app, nullptr), 0);
    EXPECT_TRUE(app.decode.checksumDataPresent);
}

TEST_F(DecodeDriver, BinHexWithoutItsColonIsDiagnosed) {
    const std::string text =
        "(This file must be converted with BinHex 4.0)\r\n\r\nno colon here\r\n";
    ui.retryAnswers = {0};
    EXPECT_EQ(Decode(text, 1), kResultReported);
    EXPECT_EQ(DialogTexts("RetryDecoding"),
              std::vector<std::string>{"Missing Starting Colon ':' in input.txt."});
}

TEST_F(DecodeDriver, BinHexCutShortIsDiagnosedAndLeavesNothing) {
    const std::string bytes = RandomBytes(41, 5000);
    const std::string text = Encode("mac.bin", bytes, {.method = kMethodBinHex})[0];
    ui.retryAnswers = {0};
    EXPECT_EQ(Decode(text.substr(0, text.size() / 2), 1), kResultReported);
    const auto asked = DialogTexts("RetryDecoding");
    ASSERT_EQ(asked.size(), 1U);
    EXPECT_TRUE(
        asked[0].starts_with("BinHex: Premature End of File in input.txt.\r\nData Length "
                             "Specified was 5000 Bytes;\r\nEOF Found After "))
        << asked[0];
    EXPECT_EQ(InFiles(), "input.txt");
}

TEST_F(DecodeDriver, InvalidBinHexCharacterIsAskedAboutWithoutTheLine) {
    std::string text = Encode("mac.bin", RandomBytes(42, 5000), {.method = kMethodBinHex})[0];
    const std::size_t stream = text.find("\n:");
    ASSERT_NE(stream, std::string::npos);
    text[text.find('\n', stream + 200) + 10] = '~';
    const long line = LineNumberOf(text, "(This file");
    ui.decodeErrorAnswers = {kLineAnswerSkip};
    ui.answers = {kIdYes};
    ui.retryAnswers = {0};
    EXPECT_EQ(Decode(text, 1), kResultReported);
    EXPECT_EQ(DialogTexts("DecodeError"),
              std::vector<std::string>{"Input File: input.txt\r\nLine " + std::to_string(line) +
                                       ": Invalid BinHex Encoded Data!\r\nInvalid encoded data "
                                       "byte (0x7e)."});
    // Skipping ends a BinHex decode as failed.
    EXPECT_EQ(DialogTexts("RetryDecoding"),
              std::vector<std::string>{"Invalid encoded data byte (0x7e)."});
    EXPECT_EQ(InFiles(), "input.txt");

    // Decode All Invalid Lines is asked once, however many characters follow that are invalid.
    text[text.find('\n', stream + 400) + 10] = '~';
    text[text.find('\n', stream + 600) + 10] = '~';
    ui.dialogs.clear();
    ui.decodeErrorAnswers = {kLineAnswerDecodeAll};
    ui.answers = {kIdYes};
    ui.retryAnswers = {0};
    Decode(text, 1);
    EXPECT_EQ(DialogTexts("DecodeError").size(), 1U);
}

TEST_F(DecodeDriver, PartFileThatCannotBeMadeEndsTheDecode) {
    const auto parts = Encode("pic.gif", RandomBytes(43, 5000), {.format = 5});
    ::setenv("TMPDIR", (root.path() / "missing").c_str(), 1);  // NOLINT(concurrency-mt-unsafe)
    const int result = Decode(Join(parts), 1);
    ::setenv("TMPDIR", TmpDir().c_str(), 1);  // NOLINT(concurrency-mt-unsafe)
    EXPECT_EQ(result, kResultReported);
    EXPECT_EQ(MessageTexts(),
              std::vector<std::string>{
                  "Can't Create Temporary File for Part 1 because\r\nNo such file or directory"});
    EXPECT_TRUE(ui.dialogs.empty());
    EXPECT_EQ(InFiles(), "input.txt");
}

// ---- Round trips through the project's own encoder ----

struct RoundTripCase {
    int format;
    int method;
    int eol;
    int checksum;
};

std::string CaseName(const RoundTripCase& c) {
    return std::string(FileFormatName(c.format)) + "/" + (c.method == kMethodUU ? "UU" : "XX") +
           "/" + (c.eol == kEolCrLf ? "CRLF" : "LF") + "/sums " + std::to_string(c.checksum);
}

TEST_F(DecodeDriver, EveryEncodableFormatRoundTripsInOrderAndShuffled) {
    const int formats[] = {3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 16, 17, 20};
    std::mt19937 shuffle(42);
    int seed = 100;
    for (const int format : formats) {
        for (const int method : {kMethodUU, kMethodXX}) {
            for (const int eol : {kEolCrLf, kEolLf}) {
                for (const int checksum : {0, 1}) {
                    const RoundTripCase c{format, method, eol, checksum};
                    ++seed;
                    const std::string bytes = RandomBytes(seed, 9000 + seed);
                    auto parts = Encode(
                        "data.bin", bytes,
                        {.format = format, .method = method, .eol = eol, .checksum = checksum});
                    ASSERT_EQ(parts.size() > 1, format != kFormatSingleFile) << CaseName(c);
                    for (int order = 0; order < 2; ++order) {
                        if (order == 1) {
                            if (parts.size() == 1) {
                                break;
                            }
                            std::shuffle(parts.begin(), parts.end(), shuffle);
                        }
                        fs::remove(In("data.bin"));
                        ui.dialogs.clear();
                        ui.messages.clear();
                        app.job.JobWarnings = false;
                        app.job.ReportExtraText.clear();
                        app.job.EncodingIndex = kEncodingAuto;
                        EXPECT_EQ(Decode(Join(parts), 1), kResultDone)
                            << CaseName(c) << " order " << order;
                        EXPECT_TRUE(ReadFile(In("data.bin")) == bytes)
                            << CaseName(c) << " order " << order;
                        EXPECT_EQ(app.job.CurrentFileFormat, format) << CaseName(c);
                        EXPECT_EQ(app.job.EncodingIndex, method - kMethodUU + 1) << CaseName(c);
                        EXPECT_EQ(VerifyChecksums(app, nullptr), 0)
                            << CaseName(c) << " order " << order;
                        EXPECT_TRUE(ui.dialogs.empty()) << CaseName(c);
                        EXPECT_TRUE(ui.messages.empty()) << CaseName(c);
                        EXPECT_FALSE(app.job.JobWarnings) << CaseName(c);
                        EXPECT_TRUE(NoTemporaryFiles()) << CaseName(c);
                        EXPECT_EQ(InFiles(), "data.bin input.txt") << CaseName(c);
                    }
                }
            }
        }
    }
}

TEST_F(DecodeDriver, MimeAndBinHexSingleFilesRoundTrip) {
    int seed = 300;
    for (const int method : {kMethodMIME, kMethodBinHex}) {
        for (const int eol : {kEolCrLf, kEolLf}) {
            for (const int checksum : {0, 1}) {
                ++seed;
                const std::string bytes = RandomBytes(seed, 7000 + seed);
                const auto parts =
                    Encode("data.bin", bytes, {.method = method, .eol = eol, .checksum = checksum});
                ASSERT_EQ(parts.size(), 1U);
                fs::remove(In("data.bin"));
                app.job.EncodingIndex = kEncodingAuto;
                EXPECT_EQ(Decode(parts[0], 1), kResultDone) << method << " " << eol;
                EXPECT_TRUE(ReadFile(In("data.bin")) == bytes) << method << " " << eol;
                EXPECT_EQ(VerifyChecksums(app, nullptr), 0) << method << " " << eol;
                EXPECT_TRUE(ui.dialogs.empty());
                EXPECT_FALSE(app.job.JobWarnings) << method << " " << eol;
            }
        }
    }
    // The BinHex header is shown in an interactive decode; nothing else is.
    EXPECT_EQ(ui.messages.size(), 4U);
    for (const auto& m : ui.messages) {
        EXPECT_TRUE(m.text.starts_with("BinHex Header Information:")) << m.text;
    }
}

TEST_F(DecodeDriver, SeveralEncodingsOneAfterAnotherInOneInput) {
    struct File {
        const char* name;
        int method;
        std::string bytes;
    };
    std::vector<File> files = {
        {"a.bin", kMethodUU, RandomBytes(401, 2000)},
        {"b.bin", kMethodXX, RandomBytes(402, 2100)},
        {"c.bin", kMethodMIME, RandomBytes(403, 2200)},
        {"d.bin", kMethodBinHex, RandomBytes(404, 2300)},
        {"e.bin", kMethodUU, RandomBytes(405, 2400)},
        {"f.bin", kMethodXX, RandomBytes(406, 2500)},
    };
    for (const int eol : {kEolCrLf, kEolLf}) {
        std::string text;
        for (const auto& f : files) {
            text += Encode(f.name, f.bytes, {.method = f.method, .eol = eol})[0];
            // The MIME closing boundary has no line end of its own.
            if (!text.ends_with('\n')) {
                text += eol == kEolCrLf ? "\r\n" : "\n";
            }
        }
        for (const auto& f : files) {
            fs::remove(In(f.name));
        }
        app.job.EncodingIndex = kEncodingAuto;
        EXPECT_EQ(Decode(text, 0), kResultDone) << eol;
        for (const auto& f : files) {
            EXPECT_TRUE(ReadFile(In(f.name)) == f.bytes) << f.name << " " << eol;
        }
        EXPECT_TRUE(ui.dialogs.empty());
        EXPECT_FALSE(app.job.JobWarnings);
    }
}

// ---- Hostile inputs ----

TEST_F(DecodeDriver, NamesFromTheTextNeverLeaveTheInputDirectory) {
    struct Case {
        const char* name;
        const char* expected;
    };
    const Case cases[] = {
        {"../evil.bin", "evil.bin"},
        {"../../../../../../tmp/evil2.bin", "evil2.bin"},
        {"/etc/x", "x"},
        {"C:\\windows\\x.dll", "x.dll"},
        {"C:x", "x"},
        {"CON", "CON"},
        {"NUL.txt", "NUL.txt"},
        {"dir/", "input.out"},
        {"..", "__"},
        {".", "_"},
        {"\"quoted name\"", "quoted name"},
        {"a*b?c|d<e>f", "a_b_c_d_e_f"},
        {"tab\there", "tab_here"},
    };
    for (const auto& c : cases) {
        const std::string bytes = RandomBytes(500, 100);
        std::string text = Encode("x.bin", bytes, {.eol = kEolLf})[0];
        text = ReplaceFirst(text, "begin 644 x.bin", std::string("begin 644 ") + c.name);
        EXPECT_EQ(Decode(text, 0), kResultDone) << c.name;
        EXPECT_TRUE(ReadFile(In(c.expected)) == bytes) << c.name;
        EXPECT_EQ(InFiles(), ListOf({"input.txt", c.expected})) << c.name;
        fs::remove(In(c.expected));
        EXPECT_EQ(ListDirectory(root.path()), "enc in tmp") << c.name;
    }
    EXPECT_FALSE(fs::exists("/tmp/evil2.bin"));
}

TEST_F(DecodeDriver, NameThatIsTheInputItselfHasAFallback) {
    // An empty name, and a name made only of directories, use the input's name.
    const std::string bytes = RandomBytes(501, 100);
    std::string text = Encode("x.bin", bytes, {.eol = kEolLf})[0];
    text = ReplaceFirst(text, "begin 644 x.bin", "begin 644");
    EXPECT_EQ(Decode(text, 0, "posting.out"), kResultDone);
    EXPECT_TRUE(ReadFile(In("DontKnow.Yet")) == bytes);
    EXPECT_EQ(Decode(text, 0, "posting.uue"), kResultDone);
    EXPECT_TRUE(ReadFile(In("posting.out")) == bytes);
}

TEST_F(DecodeDriver, LinkInTheOutputDirectoryIsReplacedNotFollowed) {
    const fs::path outside = root.path() / "outside";
    fs::create_directories(outside);
    WriteFile((outside / "target").string(), "keep");
    fs::create_symlink(outside / "target", InDir() / "link");
    const std::string bytes = RandomBytes(502, 100);
    std::string text = Encode("link", bytes, {})[0];
    EXPECT_EQ(Decode(text, 0), kResultDone);
    EXPECT_EQ(ReadFile((outside / "target").string()), "keep");
    EXPECT_FALSE(fs::is_symlink(InDir() / "link"));
    EXPECT_TRUE(ReadFile(In("link")) == bytes);
}

TEST_F(DecodeDriver, LongNameIsCutTo255Characters) {
    const std::string bytes = RandomBytes(503, 100);
    std::string text = Encode("x.bin", bytes, {.eol = kEolLf})[0];
    text = ReplaceFirst(text, "begin 644 x.bin", "begin 644 " + std::string(240, 'n'));
    EXPECT_EQ(Decode(text, 0), kResultDone);
    EXPECT_TRUE(ReadFile(In(std::string(240, 'n'))) == bytes);
}

TEST_F(DecodeDriver, InputCutAnywhereEndsWithAResultAndNoLeftovers) {
    const auto multi = Encode("pic.gif", RandomBytes(600, 6000), {.format = 5, .checksum = 1});
    const std::string texts[] = {
        Join(multi),
        Join(Encode("pic.gif", RandomBytes(601, 6000), {.format = 13, .checksum = 1})),
        Join(Encode("pic.gif", RandomBytes(602, 6000), {.format = 10, .method = kMethodXX})),
        Encode("pic.gif", RandomBytes(603, 3000), {.method = kMethodMIME})[0],
        Encode("pic.gif", RandomBytes(604, 3000), {.method = kMethodBinHex})[0],
        Encode("pic.gif", RandomBytes(605, 3000), {.checksum = 1})[0],
    };
    for (const std::string& text : texts) {
        std::vector<std::size_t> cuts;
        for (std::size_t at = 0; at < text.size(); at = text.find('\n', at + 1)) {
            cuts.push_back(at);
            cuts.push_back(at + 7);
            if (text.find('\n', at + 1) == std::string::npos) {
                break;
            }
        }
        for (const std::size_t cut : cuts) {
            if (cut == 0 || cut >= text.size()) {
                continue;
            }
            for (const int ask : {0, 1}) {
                ui.answers = {kIdYes, kIdYes};
                ui.retryAnswers = {};
                ui.decodeErrorAnswers = {kLineAnswerSkipAll};
                app.job.CancelRequested = false;
                app.job.EncodingIndex = kEncodingAuto;
                const int result = Decode(text.substr(0, cut), ask);
                EXPECT_TRUE(result == kResultDone || result == kResultAborted ||
                            result == kResultFailed || result == kResultReported)
                    << cut << " " << result;
                EXPECT_TRUE(NoTemporaryFiles()) << cut;
                if (result == kResultDone) {
                    fs::remove(In("pic.gif"));
                }
                EXPECT_EQ(InFiles(), "input.txt") << cut << " ask " << ask << " -> " << result;
                EXPECT_EQ(ListDirectory(root.path()), "enc in tmp");
            }
        }
    }
}

TEST_F(DecodeDriver, GarbageAndBinaryInputsEndWithoutOutput) {
    std::string mixed;
    for (int i = 0; i < 2000; ++i) {
        mixed += i % 3 == 0   ? "begin 644 x\n"
                 : i % 3 == 1 ? "M" + RandomBytes(i, 60) + "\n"
                              : "end\n";
    }
    const std::string inputs[] = {
        RandomBytes(700, 1 << 20),
        std::string(100000, '\0'),
        std::string(300000, '\r'),
        "Subject: x (1/2)\n" + RandomBytes(701, 20000),
        "------------ Part 1 of 2 ------------\n" + std::string(5000, 'M'),
        mixed,
    };
    for (const auto& input : inputs) {
        for (const int ask : {0, 1}) {
            ui.answers = {kIdYes};
            ui.retryAnswers = {};
            ui.decodeErrorAnswers = {kLineAnswerSkipAll};
            app.job.CancelRequested = false;
            app.job.EncodingIndex = kEncodingAuto;
            const int result = Decode(input, ask);
            EXPECT_NE(result, kResultEncodeInstead);
            EXPECT_TRUE(NoTemporaryFiles());
            EXPECT_EQ(ListDirectory(root.path()), "enc in tmp");
            for (const auto& entry : fs::directory_iterator(InDir())) {
                if (entry.path().filename() != "input.txt") {
                    fs::remove(entry.path());
                }
            }
        }
    }
}

TEST_F(DecodeDriver, TenMegabyteLineWithoutLineEndsEndsQuickly) {
    std::string line(10 << 20, 'A');
    for (std::size_t i = 0; i < line.size(); i += 97) {
        line[i] = static_cast<char>('a' + i % 26);
    }
    EXPECT_EQ(Decode(line, 0), kResultReported);
    EXPECT_EQ(InFiles(), "input.txt");
    // Read in pieces of at most 254 characters.
    EXPECT_EQ(app.decode.lineNumber, static_cast<long>((line.size() + 253) / 254 + 1));

    // The same line as the data of a single file.
    const std::string text = "begin 644 big.bin\n" + line;
    EXPECT_EQ(Decode(text, 0), kResultDone);
    EXPECT_TRUE(fs::exists(In("big.bin")));
    EXPECT_TRUE(NoTemporaryFiles());
}

}  // namespace
}  // namespace mandrel
