// The decode driver end to end through the scripted port, over the program's own encoder
// output in every format: round trips in any order, output names and questions, the diagnosis
// at the end of a pass and the retries, invalid lines and their questions, checksum lines,
// cancel, and hostile inputs that must leave nothing behind.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <random>
#include <string>
#include <vector>

#include "codec/alphabets.h"
#include "codec/sum_r.h"
#include "decode/checksum_verify.h"
#include "decode/decode_driver.h"
#include "platform/scripted_ui.h"
#include "shell/app_state.h"
#include "support/encoded_text.h"
#include "support/test_files.h"

namespace mandrel {
namespace {

namespace fs = std::filesystem;
using test::Join;
using test::ListDirectory;
using test::RandomBytes;
using test::ReadFile;

// The 1-based number of the n-th line that starts with `start`.
long LineNumberOf(std::string_view text, std::string_view start, int n = 1) {
    const std::vector<std::string_view> lines = test::SplitLines(text);
    for (std::size_t i = 0; i < lines.size(); ++i) {
        if (lines[i].starts_with(start) && --n == 0) {
            return static_cast<long>(i) + 1;
        }
    }
    return -1;
}

std::string ReplaceFirst(std::string text, std::string_view from, std::string_view to) {
    const std::size_t at = text.find(from);
    EXPECT_NE(at, std::string::npos) << from;
    return at == std::string::npos ? text : text.replace(at, from.size(), to);
}

// Puts a character outside the UU alphabet into the n-th line that starts with "M".
std::string SpoilDataLine(std::string text, int n) {
    for (std::size_t at = text.find("\nM"); at != std::string::npos; at = text.find("\nM", at)) {
        ++at;
        if (--n == 0) {
            text[at + 10] = '~';
            return text;
        }
    }
    ADD_FAILURE() << "no data line " << n;
    return text;
}

class DecodeDriver : public ::testing::Test {
protected:
    DecodeDriver() : tmp_("TMPDIR", (root.path() / "tmp").string()) {
        app.files.BufFileInit(10, 16384);
        fs::create_directories(root.path() / "in");
        fs::create_directories(root.path() / "tmp");   // part files go here, so a forgotten one
        app.config.decodemethod = kDecodeByDataInput;  // is seen
        app.config.usedefaultnames = 1;
        app.config.overwriteexisting = 1;
    }

    std::string In(std::string_view name) const { return (root.path() / "in" / name).string(); }
    int DecodePath(const std::string& path, int ask) {
        app.job.JobInputPath = path;
        app.job.JobDirection = kDirectionDecode;
        app.cancel.Reset();
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
        test::WriteFile(In(name), text);
        return DecodePath(In(name), ask);
    }
    std::vector<std::string> Encode(const std::string& name, const std::string& bytes,
                                    const test::EncodeSettings& settings) {
        return test::EncodeParts(root.path() / "enc", name, bytes, settings);
    }
    // Nothing left behind: no part file, and in the input's directory only what is named.
    void ExpectOnly(std::string_view files) {
        EXPECT_TRUE(fs::is_empty(root.path() / "tmp"));
        EXPECT_EQ(ListDirectory(root.path() / "in"), files);
    }
    bool StatusShown(std::string_view text) const {
        return std::find(ui.statuses.begin(), ui.statuses.end(), text) != ui.statuses.end();
    }
    void Forget() {
        ui.dialogs.clear();
        ui.messages.clear();
        ui.statuses.clear();
        app.job.JobWarnings = false;
        app.job.ReportExtraText.clear();
        app.job.EncodingIndex = kEncodingAuto;
    }

    test::TempDir root;
    ScriptedUi ui;
    AppState app{ui, ui};

private:
    test::ScopedEnv tmp_;
};

TEST_F(DecodeDriver, EveryEncodableFormatRoundTripsInOrderAndShuffled) {
    std::mt19937 shuffle(42);
    int seed = 100;
    for (const int format : {3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 16, 17, 20}) {
        for (const int method : {kMethodUU, kMethodXX}) {
            for (const int eol : {kEolCrLf, kEolLf}) {
                for (const int checksum : {0, 1}) {
                    const std::string name = std::string(FileFormatName(format)) + " " +
                                             std::to_string(method) + " " + std::to_string(eol) +
                                             " " + std::to_string(checksum);
                    ++seed;
                    const std::string bytes = RandomBytes(seed, 9000 + seed);
                    auto parts =
                        Encode("data.bin", bytes, {format, method, eol, checksum, kMinOutputSize});
                    ASSERT_EQ(parts.size() > 1, format != kFormatSingleFile) << name;
                    for (int order = 0; order < (parts.size() > 1 ? 2 : 1); ++order) {
                        if (order == 1) {
                            std::shuffle(parts.begin(), parts.end(), shuffle);
                        }
                        Forget();
                        EXPECT_EQ(Decode(Join(parts), 1), kResultDone) << name;
                        EXPECT_TRUE(ReadFile(In("data.bin")) == bytes) << name;
                        EXPECT_EQ(app.job.CurrentFileFormat, format) << name;
                        EXPECT_EQ(app.job.EncodingIndex, EncodingForMethod(method)) << name;
                        EXPECT_EQ(VerifyChecksums(app, nullptr), 0) << name;
                        EXPECT_TRUE(ui.dialogs.empty() && ui.messages.empty()) << name;
                        EXPECT_FALSE(app.job.JobWarnings) << name;
                        ExpectOnly("data.bin input.txt");
                    }
                }
            }
        }
    }
    // Part 2 came first in a shuffled set: until part 1 names the file, the input's name with
    // ".out" stands in.
    const auto parts = Encode("pic.gif", RandomBytes(4, 8000), {.format = 5});
    Forget();
    EXPECT_EQ(Decode(parts[1] + parts[0] + parts[2], 1), kResultDone);
    EXPECT_TRUE(StatusShown("UU Decode - Type SimTel - Part 2 of 3\r\ninput.txt --> input.out"));
    EXPECT_TRUE(StatusShown("Joining Part 3 of 3 for pic.gif"));
    EXPECT_EQ(ui.progress.back(), 100);
}

// Parts are decoded into their places beside the output as far as the sizes seen so far tell;
// a part shorter than the others proves some of those places wrong, and the join must then still
// put every byte in order, whatever order the parts came in and whether the output was there.
TEST_F(DecodeDriver, PartsOfUnequalSizesJoinExactlyInAnyOrder) {
    const std::string bytes = RandomBytes(77, 15000);
    const auto parts = Encode("data.bin", bytes, {.format = 5, .eol = kEolLf});
    ASSERT_EQ(parts.size(), 5U);
    // Drops the second full line of a part: 45 bytes fewer, found again in the data.
    const auto shortened = [&](std::size_t index, std::string& expected) {
        std::string part = parts[index];
        const std::size_t first = part.find("\nM");
        const std::size_t second = part.find("\nM", first + 1);
        const std::string line = part.substr(second + 2, 60);
        std::string decoded;
        for (std::size_t i = 0; i < line.size(); i += 4) {
            const auto v = [&](std::size_t k) { return (line[i + k] - ' ') & 63; };
            decoded += static_cast<char>(v(0) << 2 | v(1) >> 4);
            decoded += static_cast<char>((v(1) & 15) << 4 | v(2) >> 2);
            decoded += static_cast<char>((v(2) & 3) << 6 | v(3));
        }
        expected.erase(expected.find(decoded), decoded.size());
        part.erase(second + 1, 62);
        return part;
    };
    const std::vector<std::vector<std::size_t>> orders = {
        {0, 1, 2, 3, 4}, {0, 3, 4, 1, 2}, {4, 3, 2, 1, 0}, {2, 0, 4, 1, 3}, {1, 2, 3, 4, 0}};
    for (const std::size_t spoiled : {std::size_t{5}, std::size_t{0}, std::size_t{1}}) {
        std::string expected = bytes;
        std::vector<std::string> set = parts;
        if (spoiled < parts.size()) {
            set[spoiled] = shortened(spoiled, expected);
        }
        for (const auto& order : orders) {
            for (const bool outputThere : {false, true}) {
                SCOPED_TRACE(::testing::Message() << "shortened " << spoiled << " order "
                                                  << order[0] << order[1] << order[2] << order[3]
                                                  << order[4] << " output there " << outputThere);
                if (outputThere) {
                    test::WriteFile(In("data.bin"), "an older file, longer than none");
                } else {
                    fs::remove(In("data.bin"));
                }
                std::string text;
                for (const std::size_t index : order) {
                    text += set[index];
                }
                Forget();
                EXPECT_EQ(Decode(text, 0), kResultDone);
                EXPECT_TRUE(ReadFile(In("data.bin")) == expected);
                ExpectOnly("data.bin input.txt");
            }
        }
    }
}

TEST_F(DecodeDriver, EveryEncodingOneAfterAnotherInOneInput) {
    const std::pair<const char*, int> files[] = {{"a.bin", kMethodUU},   {"b.bin", kMethodXX},
                                                 {"c.bin", kMethodMIME}, {"d.bin", kMethodBinHex},
                                                 {"e.bin", kMethodUU},   {"f.bin", kMethodXX}};
    for (const int eol : {kEolCrLf, kEolLf}) {
        std::string text;
        for (const auto& [name, method] : files) {
            text += Encode(name, RandomBytes(method, 2000 + method),
                           {.method = method, .eol = eol, .checksum = 1})[0];
            if (!text.ends_with('\n')) {  // the MIME closing boundary has no line end
                text += eol == kEolCrLf ? "\r\n" : "\n";
            }
        }
        Forget();
        EXPECT_EQ(Decode(text, 0), kResultDone) << eol;
        for (const auto& [name, method] : files) {
            EXPECT_TRUE(ReadFile(In(name)) == RandomBytes(method, 2000 + method)) << name;
        }
        EXPECT_EQ(app.job.outputsMade.size(), 6U);
        EXPECT_EQ(app.job.outputsMade[3].path, In("d.bin"));
        EXPECT_EQ(app.job.outputsMade[3].encoding, kEncodingBinHex);
        EXPECT_FALSE(app.job.JobWarnings);
    }
    // An Alt.binaries posting of one part is read as a single file.
    Forget();
    const std::string body = Encode("pic.gif", "xyz", {.eol = kEolLf})[0];
    EXPECT_EQ(Decode("Subject: pic.gif (1/1)\n\n" + body, 1), kResultDone);
    EXPECT_EQ(ReadFile(In("pic.gif")), "xyz");
    EXPECT_EQ(ui.statuses.front(), "Looking for Single File Header in input.txt ...");
}

TEST_F(DecodeDriver, OutputNamesDirectoriesAndQuestions) {
    const std::string bytes = RandomBytes(11, 500);
    const std::string text = Encode("pic.gif", bytes, {})[0];
    // The save dialog: cancelled, then chosen.
    app.config.usedefaultnames = 0;
    EXPECT_EQ(Decode(text, 1), kResultDialogCancelled);
    EXPECT_EQ(ui.saveRequests.at(0).proposedPath, In("pic.gif"));
    EXPECT_EQ(ui.saveRequests.at(0).title, "Decode Output To");
    ui.saveDialogAnswers = {{SaveDialogResult::Outcome::Chosen, In("chosen.dat"), 0}};
    EXPECT_EQ(Decode(text, 1), kResultDone);
    EXPECT_EQ(ReadFile(In("chosen.dat")), bytes);
    // The user's own name asks nothing and is taken as given.
    app.job.CommandLineOutputName = (root.path() / "elsewhere.bin").string();
    EXPECT_EQ(Decode(text, 1), kResultDone);
    EXPECT_EQ(ReadFile(app.job.CommandLineOutputName), bytes);
    EXPECT_EQ(ui.saveRequests.size(), 2U);
    app.job.CommandLineOutputName.clear();
    app.config.usedefaultnames = 1;
    // Declining to replace an existing output keeps it.
    test::WriteFile(In("pic.gif"), "mine");
    app.config.overwriteexisting = 0;
    ui.answers = {kIdNo};
    EXPECT_EQ(Decode(text, 1), kResultDialogCancelled);
    EXPECT_EQ(ui.MessageTexts(), std::vector<std::string>{"Overwrite Existing " + In("pic.gif")});
    EXPECT_EQ(ReadFile(In("pic.gif")), "mine");
    app.config.overwriteexisting = 1;
    ExpectOnly("chosen.dat input.txt pic.gif");
    // The configured directory, the directory standing in for a temporary input's, and the
    // forced one of the job.
    fs::create_directories(root.path() / "out");
    app.config.decodedirselect = kDirUserSpecified;
    app.config.decodedir = (root.path() / "out").string();
    EXPECT_EQ(Decode(Join(Encode("pic.gif", bytes, {.format = 4})), 1), kResultDone);
    EXPECT_EQ(app.job.JobOutputPath, (root.path() / "out/pic.gif").string());
    app.config.decodedirselect = kDirSameAsInput;
    const std::string joined = (root.path() / "tmp/mdrjoined.tmp").string();
    test::WriteFile(joined, text);
    app.job.inputDirectory = (root.path() / "in").string();
    EXPECT_EQ(DecodePath(joined, 1), kResultDone);
    EXPECT_EQ(app.job.JobOutputPath, In("pic.gif"));
    fs::remove(joined);
    app.job.inputDirectory.clear();
    app.job.outputDirectory = (root.path() / "out").string();
    EXPECT_EQ(Decode(Encode("x.bin", bytes, {})[0], 1), kResultDone);
    EXPECT_EQ(app.job.JobOutputPath, (root.path() / "out/x.bin").string());
    ExpectOnly("chosen.dat input.txt pic.gif");
}

// What the end of a pass makes of an input that ended short: the diagnosis the Retry Decoding
// question shows, and with no questions the same text as the job's failure.
TEST_F(DecodeDriver, EveryDiagnosisAtTheEndOfAPass) {
    const auto parts = Encode("pic.gif", RandomBytes(5, 8000), {.format = 5});
    std::string noBegin = Encode("pic.gif", RandomBytes(19, 900), {.eol = kEolLf})[0];
    noBegin.erase(0, noBegin.find('\n') + 1);
    const std::string binHex =
        Encode("mac.bin", RandomBytes(41, 5000), {.method = kMethodBinHex})[0];
    const std::string duplicate = parts[0] + parts[1] + parts[1] + parts[2];
    const std::string otherTotal = parts[0] + ReplaceFirst(parts[1], "Part 2 of 3", "Part 2 of 4");
    const std::string otherFormat = parts[0] + "Archive-name: pic/part02\r\n" + parts[1];
    const std::string otherTrailer =
        parts[0] + ReplaceFirst(parts[1], "part 2 of 3", "part 2 of 4");
    const auto line = [](long number) { return "Line " + std::to_string(number) + ": "; };
    const std::string unable =
        "Unable to Determine File Format for " + In("input.txt") + ".\r\nCannot Find ";
    struct Case {
        std::string text;
        int encoding;  // decodemethod UU for 1, by the data otherwise
        std::string diagnosis;
        bool prefix = false;
    };
    const Case cases[] = {
        {duplicate, 0,
         line(LineNumberOf(duplicate, "------------ Part 2 of 3", 2)) + "Duplicate Part 2."},
        // The total is compared when the part's output is set up, on its first data line.
        {otherTotal, 0,
         line(LineNumberOf(otherTotal, "------------ Part 2 of 4") + 1) +
             "Inconsistent # of Total Parts\r\nfor Part 2: Expected 3, Got 4."},
        {otherFormat, 0,
         line(LineNumberOf(otherFormat, "Archive-name:")) +
             "Inconsistent File Formats.\r\nExpected Type SimTel, Got Type Comp.binaries."},
        {otherTrailer, 0,
         line(LineNumberOf(otherTrailer, "-------- End of part 2 of 4")) +
             "Inconsistent Trailer!\r\nExpected Part 2 of 3, Got Part 2 of 4"},
        {parts[2], 0, "Missing 'begin' Statement in input.txt."},
        {noBegin, 1, "Missing 'begin' and 'end' Statements in input.txt."},
        {"Dear reader,\r\nnothing encoded here.\r\n", 0,
         unable + "Any Encoding Header Information."},
        {"Archive-name: pic/part01\r\nno separator follows\r\n", 0,
         unable + "Separator Indicating Start of Data."},
        {"------------ Part 1 of 2 ------------\r\n\r\n\r\n", 0, unable + "Start of Encoded Data."},
        {"(This file must be converted with BinHex 4.0)\r\n\r\nno colon\r\n", 0,
         "Missing Starting Colon ':' in input.txt."},
        {binHex.substr(0, binHex.size() / 2), 0,
         "BinHex: Premature End of File in input.txt.\r\nData Length Specified was 5000 "
         "Bytes;\r\nEOF Found After ",
         true},
    };
    for (const Case& c : cases) {
        app.config.decodemethod = c.encoding == 1 ? int{kMethodUU} : int{kDecodeByDataInput};
        for (const int ask : {1, 0}) {
            Forget();
            app.job.EncodingIndex = c.encoding;
            app.job.FailureText.clear();
            ui.retryAnswers = {RetryChoice::Abort()};
            EXPECT_EQ(Decode(c.text, ask), kResultReported) << c.diagnosis;
            const std::vector<std::string> asked = ui.DialogTexts("RetryDecoding");
            const std::string said =
                ask != 0 ? (asked.size() == 1 ? asked[0] : "") : app.job.FailureText;
            EXPECT_EQ(asked.size(), ask != 0 ? 1U : 0U);
            EXPECT_EQ(c.prefix ? said.substr(0, c.diagnosis.size()) : said, c.diagnosis);
            ExpectOnly("input.txt");
        }
    }
    // A part that never came is the join's to say.
    Forget();
    EXPECT_EQ(Decode(parts[0] + parts[2], 1), kResultReported);
    EXPECT_EQ(ui.MessageTexts(),
              std::vector<std::string>{"Total Parts Required: 3.\r\nMissing Parts: 2"});
    ExpectOnly("input.txt");
}

TEST_F(DecodeDriver, RetriesWithAFormatOrEveryFormat) {
    const std::string bytes = RandomBytes(23, 5000);
    const auto parts = Encode("pic.gif", bytes, {.format = 5});
    app.config.decodeautodetect = 0;
    app.config.decodetype = 4;
    ui.retryAnswers = {RetryChoice::Format(5)};
    EXPECT_EQ(Decode(Join(parts), 1), kResultDone);
    EXPECT_EQ(ReadFile(In("pic.gif")), bytes);
    // Try All Formats stops at the first that fits...
    Forget();
    ui.retryAnswers = {RetryChoice::TryAllFormats()};
    EXPECT_EQ(Decode("A note first.\r\n" + Encode("x.gif", bytes, {})[0], 1), kResultDone);
    EXPECT_TRUE(StatusShown("Looking for Single File Header in input.txt ..."));
    EXPECT_FALSE(StatusShown("Looking for SimTel Header in input.txt ..."));
    // ...or walks all eighteen and gives up, asking for plain text after binary data.
    app.config.decodeautodetect = 1;
    for (const bool binary : {false, true}) {
        Forget();
        ui.answers = {kIdYes};
        ui.retryAnswers = {RetryChoice::TryAllFormats()};
        EXPECT_EQ(Decode(binary ? "caf\xe9 \xe9t\xe9\r\n" : "Nothing to see.\r\n", 1),
                  kResultReported);
        const auto looked =
            std::count_if(ui.statuses.begin(), ui.statuses.end(),
                          [](const std::string& s) { return s.starts_with("Looking for "); });
        EXPECT_EQ(looked, 19);
        EXPECT_TRUE(StatusShown("Looking for R.E.M. Header in input.txt ..."));
        EXPECT_EQ(ui.messages.back().text,
                  "Unable to Determine File Format for " + In("input.txt") +
                      ".\r\nYou must manually piece together the files in\r\nsequential order "
                      "and strip out any email or\r\nusenet header data before you can retry "
                      "decoding." +
                      (binary ? "\r\nGiven the file had binary data, please ensure the \r\nfile "
                                "was saved as straight ASCII text."
                              : ""));
    }
}

TEST_F(DecodeDriver, BinaryFilesAreQuestioned) {
    const std::string program =
        "\x7f"
        "ELF\x02\x01\x01\xe9\xe9\xe9 binary\n" +
        RandomBytes(20, 300);
    // Chosen in the window: the user may encode it instead, go on, or cancel.
    app.job.InputChosenByUser = true;
    ui.encodeOrDecodeAnswers = {EncodeOrDecodeChoice::Encode};
    EXPECT_EQ(Decode(program, 1), kResultEncodeInstead);
    EXPECT_EQ(ui.DialogTexts("EncodeOrDecode"),
              std::vector<std::string>{In("input.txt") +
                                       " apparently cannot be decoded.\r\nYou may instead encode "
                                       "the file (choose Encode),\r\ncontinue trying to decode "
                                       "the file (choose Decode),\r\nor cancel the operation on "
                                       "this file (choose Cancel)."});
    Forget();
    ui.encodeOrDecodeAnswers = {EncodeOrDecodeChoice::Decode};
    ui.retryAnswers = {RetryChoice::Abort()};
    EXPECT_EQ(Decode(program, 1), kResultReported);
    EXPECT_EQ(ui.DialogTexts("RetryDecoding"),
              std::vector<std::string>{"Unable to Determine File Format for " + In("input.txt") +
                                       ".\r\nCannot Find Start of Encoded Data."});
    ui.encodeOrDecodeAnswers = {EncodeOrDecodeChoice::Cancel};
    EXPECT_EQ(Decode(program, 1), kResultAborted);
    // Named on the command line: asked about once for all its passes; No gives up at once.
    app.job.InputChosenByUser = false;
    for (const int answer : {kIdYes, kIdNo}) {
        Forget();
        ui.answers = {answer};
        ui.retryAnswers = {RetryChoice::Format(kFormatSingleFile), RetryChoice::Abort()};
        EXPECT_EQ(Decode(program, 1), kResultReported);
        EXPECT_EQ(ui.MessageTexts(),
                  std::vector<std::string>{"File input.txt contains binary data and very likely "
                                           "cannot be decoded. Do you wish to try anyway?"});
        EXPECT_EQ(ui.DialogTexts("RetryDecoding").size(), answer == kIdYes ? 2U : 0U);
    }
}

TEST_F(DecodeDriver, InvalidLinesAreAskedAboutAndTheAnswerConfirmed) {
    const std::string bytes = RandomBytes(33, 3000);
    const std::string text = SpoilDataLine(SpoilDataLine(Encode("pic.gif", bytes, {})[0], 2), 4);
    const long line = LineNumberOf(text, "M", 2);
    const std::string skipWarning =
        "*** Warning ***\r\n\r\nYou have chosen to skip decoding of places where encoding "
        "integrity rules have been violated. This may help in decoding a multiple part format "
        "which cannot be automatically detected. However, it is also possible that the decoded "
        "file is corrupted as a result because all areas which should normally be decoded are "
        "not.\r\n\r\nProceed as indicated?";
    using C = DecodeErrorChoice;
    struct Case {
        std::vector<C> answers;
        std::vector<int> warnings;
        int result;
        std::size_t asked;
        std::size_t size;
        std::string extra;
    };
    const std::string skipped = "\r\n\r\nPossibly not all data included in decoding.";
    const std::string attempted = "\r\n\r\nDecode attempted in spite of integrity errors.";
    const Case cases[] = {
        {{C::SkipAll}, {kIdYes}, kResultDone, 1, 3000 - 2 * 45, skipped},
        {{C::DecodeAll}, {kIdYes}, kResultDone, 1, 3000, attempted},
        {{C::SkipLine, C::DecodeLine}, {kIdYes, kIdYes}, kResultDone, 2, 3000 - 45, attempted},
        {{C::SkipLine}, {kIdNo}, kResultAborted, 1, 0, ""},  // No to the warning aborts
        {{C::Abort}, {}, kResultAborted, 1, 0, ""},
    };
    for (const Case& c : cases) {
        Forget();
        ui.decodeErrorAnswers.assign(c.answers.begin(), c.answers.end());
        ui.answers.assign(c.warnings.begin(), c.warnings.end());
        EXPECT_EQ(Decode(text, 1), c.result);
        EXPECT_EQ(ui.DialogTexts("DecodeError").size(), c.asked);
        if (c.result == kResultDone) {
            EXPECT_EQ(fs::file_size(In("pic.gif")), c.size);
            EXPECT_TRUE(app.job.JobWarnings);
        } else {
            ExpectOnly("input.txt");
        }
        EXPECT_EQ(app.job.ReportExtraText, c.extra);
        if (&c == &cases[0]) {
            EXPECT_EQ(ui.DialogTexts("DecodeError").at(0),
                      "Input File: input.txt\r\nLine " + std::to_string(line) +
                          ": Invalid UU Encoded Data!\r\nInvalid encoded data byte "
                          "(0x7e).\r\nOffending Line Follows within Curly Brackets:\r\n\r\n{ " +
                          text.substr(text.find("\nM", text.find("\nM") + 1) + 1, 61) + " }");
            EXPECT_EQ(ui.MessageTexts(), std::vector<std::string>{skipWarning});
        }
    }
    // Without questions they are decoded in spite of the errors.
    Forget();
    EXPECT_EQ(Decode(text, 0), kResultDone);
    EXPECT_TRUE(ui.dialogs.empty());
    EXPECT_EQ(app.job.ReportExtraText, attempted);
    // BinHex names no line; skipping ends its decode.
    std::string hqx = Encode("mac.bin", RandomBytes(42, 5000), {.method = kMethodBinHex})[0];
    hqx[hqx.find('\n', hqx.find("\n:") + 200) + 10] = '~';
    Forget();
    ui.decodeErrorAnswers = {C::SkipLine};
    ui.answers = {kIdYes};
    EXPECT_EQ(Decode(hqx, 1), kResultReported);
    EXPECT_EQ(ui.DialogTexts("DecodeError"),
              std::vector<std::string>{"Input File: input.txt\r\nLine " +
                                       std::to_string(LineNumberOf(hqx, "(This file")) +
                                       ": Invalid BinHex Encoded Data!\r\nInvalid encoded data "
                                       "byte (0x7e)."});
}

TEST_F(DecodeDriver, TheEndOfTheDataAndTheChecksumLines) {
    const std::string bytes = RandomBytes(26, 500);
    const std::string text = Encode("pic.gif", bytes, {.eol = kEolLf})[0];
    for (const std::string& input : {text, text + "\n\n"}) {
        EXPECT_EQ(Decode(input, 1), kResultDone);
        EXPECT_EQ(ReadFile(In("pic.gif")), bytes);
        EXPECT_FALSE(app.job.JobWarnings);
    }
    // Without "end" the file is decoded with a warning; "end" without a line end is data.
    for (const std::string& input :
         {text.substr(0, text.find("`\nend\n")), text.substr(0, text.size() - 1)}) {
        Forget();
        EXPECT_EQ(Decode(input, 0), kResultDone);
        EXPECT_EQ(ReadFile(In("pic.gif")), bytes);
        EXPECT_TRUE(app.job.JobWarnings);
        EXPECT_EQ(app.job.ReportExtraText, "\r\n\r\nMissing 'end' statement.");
    }
    // A single file with our checksum lines: the section's figures and the file's, both
    // checked; a figure spoiled in either is listed. A total alone after "end" counts too.
    const std::string sums = Encode("pic.gif", bytes, {.eol = kEolLf, .checksum = 1})[0];
    EXPECT_EQ(Decode(sums, 1), kResultDone);
    EXPECT_EQ(app.decode.totals.expectedChecksum, SumRAddText(0, bytes));
    EXPECT_EQ(app.decode.totals.expectedSize, 500);
    EXPECT_NE(app.parts.rows[0].expectedChecksum, 0U);
    EXPECT_EQ(VerifyChecksums(app, nullptr), 0);
    const std::size_t section = sums.find(" section");
    const std::size_t total = sums.find("/500 entire");
    for (const auto& [at, listed] : {std::pair{section - 1, "Part 1 Size:"},
                                     std::pair{total - 1, "Output File pic.gif Checksum:"}}) {
        std::string spoiled = sums;
        spoiled[at] = spoiled[at] == '9' ? '8' : static_cast<char>(spoiled[at] + 1);
        EXPECT_EQ(Decode(spoiled, 1), kResultDone);
        std::vector<std::string> differences;
        EXPECT_EQ(VerifyChecksums(app, nullptr), 1) << listed;
        VerifyChecksums(app, &differences);
        EXPECT_TRUE(!differences.empty() && differences[0].starts_with(listed)) << listed;
    }
    EXPECT_EQ(Decode(sums.substr(0, sums.find("\nend\n") + 5) +
                         "sum -r/size 12345/500 entire input file\n",
                     1),
              kResultDone);
    EXPECT_EQ(app.decode.totals.expectedChecksum, 12345U);
    EXPECT_EQ(app.decode.totals.expectedSize, 500);
    // A blank line ends a multi-part part's data but not a single file's.
    const auto parts = Encode("pic.gif", RandomBytes(30, 5000), {.format = 5, .eol = kEolLf});
    std::string first = parts[0];
    std::size_t at = first.find("\nM");
    for (int i = 0; i < 10; ++i) {
        at = first.find('\n', at + 1);
    }
    first.insert(at + 1, "\n");
    EXPECT_EQ(Decode(first + parts[1], 1), kResultDone);
    EXPECT_EQ(ReadFile(In("pic.gif")).substr(0, 450), RandomBytes(30, 5000).substr(0, 450));
    EXPECT_LT(fs::file_size(In("pic.gif")), 5000U);
    std::string single = text;
    single.insert(single.find("\nM") + 1, "\n\n");
    EXPECT_EQ(Decode(single, 1), kResultDone);
    EXPECT_EQ(ReadFile(In("pic.gif")), bytes);
    // Wincode puts blank lines between "end" and its trailer.
    const std::string large = RandomBytes(31, 5000);
    const auto wincode = Encode("pic.gif", large, {.format = 13});
    EXPECT_EQ(Decode(wincode[0] + ReplaceFirst(wincode[1], "end\r\n", "end\r\n\r\n\r\n"), 1),
              kResultDone);
    EXPECT_EQ(ReadFile(In("pic.gif")), large);
    // A MIME body that is no multiple of four characters is questioned when it ends the input.
    std::string mime =
        "Content-Type: application/octet-stream; name=\"data.bin\"\r\n"
        "Content-Transfer-Encoding: base64\r\n\r\n";
    for (std::size_t i = 0; i < 1001; ++i) {
        mime += Base64Alphabet[(i * 7) % 64];
        mime += i % 76 == 75 ? "\r\n" : "";
    }
    ui.answers = {kIdYes};
    EXPECT_EQ(Decode(mime + "\r\n", 1), kResultDone);
    EXPECT_EQ(fs::file_size(In("data.bin")), 750U);
    EXPECT_EQ(ui.messages.back().text,
              "MIME data violates the integral multiple of 4 rule. The decoded file may be "
              "corrupted.\r\n\r\nContinue anyway?");
    ui.answers = {kIdNo};
    ui.retryAnswers = {RetryChoice::Abort()};
    EXPECT_EQ(Decode(mime + "\r\n", 1), kResultReported);
}

// The "sum -r" of a part's section as an independent reader sees it: every line after the
// part's "----" header up to its first checksum line, blank lines left out, each ended by LF.
uint16_t SectionSum(std::string_view part) {
    uint16_t sum = 0;
    bool header = true;
    for (std::size_t at = 0; at < part.size() && !part.substr(at).starts_with("sum -r/size");) {
        const std::size_t end = std::min(part.find_first_of("\r\n", at), part.size());
        if (end > at && !header) {
            sum = static_cast<uint16_t>(SumRAdd(SumRAddText(sum, part.substr(at, end - at)), '\n'));
        }
        header = header && !part.substr(at).starts_with("----");
        at = end + (part.substr(end).starts_with("\r\n") ? 2 : 1);
    }
    return sum;
}

// Each part's figures against the section sum of its text, whatever the line ends, the lines
// between the parts, or a line decoded in spite of an invalid character in a part.
// Nineteen hyphens are a sound UU line of 13 bytes; where the format's trailer starts with "--"
// they end the part all the same, also in the middle of a run of data lines.
TEST_F(DecodeDriver, ALineOfHyphensIsTheTrailerWhereTheFormatSaysSo) {
    const std::string bytes = RandomBytes(44, 9000);
    auto parts = Encode("pic.gif", bytes, {.format = 6, .eol = kEolLf});
    ASSERT_GE(parts.size(), 2U);
    parts[0] = ReplaceFirst(parts[0], "\n-- \n", "\n" + std::string(19, '-') + "\n");
    EXPECT_EQ(Decode(Join(parts), 1), kResultDone);
    EXPECT_EQ(ReadFile(In("pic.gif")), bytes);
    EXPECT_FALSE(app.job.JobWarnings);
}

TEST_F(DecodeDriver, EveryPartSumMatchesItsSection) {
    struct Case {
        int eol;
        int spoiled;  // data line of part 2 that gets an invalid character; 0 for none
        bool crOnly;
        bool linesBetween;
    };
    const Case cases[] = {{kEolCrLf, 0, false, false}, {kEolLf, 0, false, false},
                          {kEolCrLf, 0, true, false},  {kEolLf, 0, false, true},
                          {kEolLf, 7, false, false},   {kEolCrLf, 1, true, true}};
    const std::string bytes = RandomBytes(40, 9000);
    for (const Case& c : cases) {
        std::vector<std::string> parts =
            Encode("pic.gif", bytes, {.format = 5, .eol = c.eol, .checksum = 1});
        std::swap(parts[0], parts[2]);
        if (c.spoiled != 0) {
            parts[1] = SpoilDataLine(parts[1], c.spoiled);
        }
        for (std::string& part : parts) {
            if (c.crOnly) {
                part.erase(std::remove(part.begin(), part.end(), '\n'), part.end());
            }
            if (c.linesBetween) {
                part.insert(0, "\n\nSubject: a part\n\n");
            }
        }
        EXPECT_EQ(Decode(Join(parts), 0), kResultDone);
        for (int row = 0; row < 3; ++row) {
            const PartRecord& part = app.parts.rows[static_cast<std::size_t>(row)];
            EXPECT_EQ(part.calculatedChecksum, SectionSum(parts[static_cast<std::size_t>(2 - row)]))
                << "part " << row + 1;
            EXPECT_EQ(part.calculatedChecksum == part.expectedChecksum, c.spoiled == 0 || row != 1);
        }
        std::vector<std::string> differences;
        VerifyChecksums(app, nullptr);
        VerifyChecksums(app, &differences);
        EXPECT_EQ(differences.size(), c.spoiled == 0 ? 0U : 2U);
    }
}

TEST_F(DecodeDriver, CancelAndFailuresLeaveNothing) {
    const auto parts = Encode("pic.gif", RandomBytes(9, 12000), {.format = 5});
    const std::string single = Encode("pic.gif", RandomBytes(10, 12000), {})[0];
    for (const std::string& text : {Join(parts), single}) {
        ui.pumps = 0;
        ui.onPump = [this](int pump) {
            if (pump == 3) {
                app.cancel.Request();
            }
        };
        EXPECT_EQ(Decode(text, 1), kResultAborted);
        ExpectOnly("input.txt");
        // The report removes JobOutputPath after an abort: it may name only what this decode
        // made.
        EXPECT_EQ(app.job.JobOutputPath, text == single ? In("pic.gif") : "");
    }
    ui.onPump = {};
    // A full disk as the output, and a part file that cannot be made.
    app.job.CommandLineOutputName = "/dev/full";
    EXPECT_EQ(Decode(single, 1), kResultReported);
    EXPECT_EQ(ui.MessageTexts(),
              std::vector<std::string>{"Can't Write to /dev/full because\r\n\r\n" +
                                       SystemErrorText(ENOSPC)});
    EXPECT_TRUE(fs::is_character_file("/dev/full"));
    app.job.CommandLineOutputName.clear();
    ui.messages.clear();
    // The parts' file beside the output cannot grow to the whole file: the loss shows before
    // the join, however late the writes went out.
    test::WriteFile(In("input.txt"), Join(parts));
    {
        const test::FileSizeLimit limited(6000);
        ASSERT_TRUE(limited.Active());
        EXPECT_EQ(DecodePath(In("input.txt"), 1), kResultReported);
    }
    EXPECT_EQ(ui.MessageTexts(),
              std::vector<std::string>{"Can't Write to " + In("pic.gif") + " because\r\n\r\n" +
                                       SystemErrorText(EFBIG)});
    ExpectOnly("input.txt");
    ui.messages.clear();
    {
        // The last part first: with no size seen yet it has no place beside the output.
        const test::ScopedEnv gone("TMPDIR", (root.path() / "missing").string());
        std::vector<std::string> lastFirst(parts.rbegin(), parts.rend());
        EXPECT_EQ(Decode(Join(lastFirst), 1), kResultReported);
    }
    EXPECT_EQ(ui.MessageTexts(), std::vector<std::string>{"Can't Create Temporary File for Part " +
                                                          std::to_string(parts.size()) +
                                                          " because\r\nNo such file or directory"});
    ExpectOnly("input.txt");
    EXPECT_EQ(Decode("", 1), kResultReported);
    EXPECT_EQ(ui.messages.back().text,
              "No point in decoding a zero-sized file " + In("input.txt") + ".");
}

TEST_F(DecodeDriver, NamesFromTheTextNeverLeaveTheInputDirectory) {
    // clang-format off
    const std::pair<std::string, std::string> cases[] = {
        {"../evil.bin", "evil.bin"}, {"../../../../../../tmp/evil2.bin", "evil2.bin"}, {"/etc/x", "x"},
        {"C:\\windows\\x.dll", "x.dll"}, {"dir/", "input.out"}, {"..", "__"},
        {"\"quoted name\"", "quoted name"}, {"a*b?c|d<e>f", "a_b_c_d_e_f"},
        {std::string(240, 'n'), std::string(240, 'n')},
    };
    // clang-format on
    const std::string bytes = RandomBytes(500, 100);
    const std::string text = Encode("x.bin", bytes, {.eol = kEolLf})[0];
    for (const auto& [name, expected] : cases) {
        EXPECT_EQ(Decode(ReplaceFirst(text, "begin 644 x.bin", "begin 644 " + name), 0),
                  kResultDone);
        EXPECT_TRUE(ReadFile(In(expected)) == bytes) << name;
        fs::remove(In(expected));
        ExpectOnly("input.txt");
        EXPECT_EQ(ListDirectory(root.path()), "enc in tmp") << name;
    }
    // A text that names no file, in an input whose fallback name it would be.
    EXPECT_EQ(Decode(ReplaceFirst(text, "begin 644 x.bin", "begin 644"), 0, "posting.out"),
              kResultDone);
    EXPECT_TRUE(ReadFile(In("DontKnow.Yet")) == bytes);
    // A link where the output goes is replaced, never followed.
    fs::create_directories(root.path() / "outside");
    test::WriteFile((root.path() / "outside/target").string(), "keep");
    fs::create_symlink(root.path() / "outside/target", root.path() / "in/link");
    EXPECT_EQ(Decode(Encode("link", bytes, {})[0], 0), kResultDone);
    EXPECT_EQ(ReadFile((root.path() / "outside/target").string()), "keep");
    EXPECT_FALSE(fs::is_symlink(root.path() / "in/link"));
}

TEST_F(DecodeDriver, InputsCutAnywhereOrHostileEndWithNoLeftovers) {
    const std::string texts[] = {
        Join(Encode("pic.gif", RandomBytes(600, 6000), {.format = 5, .checksum = 1})),
        Join(Encode("pic.gif", RandomBytes(601, 6000), {.format = 13, .checksum = 1})),
        Join(Encode("pic.gif", RandomBytes(602, 6000), {.format = 10, .method = kMethodXX})),
        Encode("pic.gif", RandomBytes(603, 3000), {.method = kMethodMIME})[0],
        Encode("pic.gif", RandomBytes(604, 3000), {.method = kMethodBinHex})[0],
    };
    const auto run = [this](std::string_view text, int ask) {
        ui.answers = {kIdYes, kIdYes};
        ui.retryAnswers = {};
        ui.decodeErrorAnswers = {DecodeErrorChoice::SkipAll};
        app.job.EncodingIndex = kEncodingAuto;
        const int result = Decode(text, ask);
        EXPECT_NE(result, kResultEncodeInstead);
        // Files decoded whole before a failure stand; nothing else may.
        for (const MadeOutput& made : app.job.outputsMade) {
            fs::remove(made.path);
        }
        app.job.outputsMade.clear();
        for (const auto& entry : fs::directory_iterator(root.path() / "in")) {
            if (entry.path().filename() != "input.txt") {
                ADD_FAILURE() << "left " << entry.path() << " after " << result;
                fs::remove(entry.path());
            }
        }
        EXPECT_TRUE(fs::is_empty(root.path() / "tmp"));
    };
    for (const std::string& text : texts) {
        for (std::size_t at = text.find('\n'); at != std::string::npos;
             at = text.find('\n', at + 1)) {
            for (const std::size_t cut : {at, at + 7}) {
                if (cut < text.size()) {
                    run(text.substr(0, cut), static_cast<int>(cut % 2));
                }
            }
        }
    }
    std::string mixed;
    for (int i = 0; i < 2000; ++i) {
        mixed += i % 3 == 0   ? "begin 644 x\n"
                 : i % 3 == 1 ? "M" + RandomBytes(i, 60) + "\n"
                              : "end\n";
    }
    // BinHex characters in any order, whatever lengths their header claims.
    std::string binHex = "(This file must be converted with BinHex 4.0)\n:";
    for (const char c : RandomBytes(701, 1 << 16)) {
        binHex += BinHexAlphabet[static_cast<unsigned char>(c) % 64];
    }
    // Lines that fill the line buffer in the shapes the recognisers look for.
    std::string full;
    for (const std::string& line :
         {"begin 644 " + std::string(244, 'n'), "*begin " + std::string(247, '\xE9'),
          "Subject: " + std::string(245, '('),
          "Subject: x, Part " + std::string(229, '9') + "encoded)",
          "section 1/" + std::string(244, '9'), "Archive-name: a/part" + std::string(234, '9'),
          "BEGIN part " + std::string(243, '-'), "Content-Type: a/b; name=" + std::string(230, '"'),
          "X-File-Name: " + std::string(241, 'x'), "END" + std::string(251, '-'),
          "-------- End of part " + std::string(233, '9'), std::string("begin 644 a\0b", 13),
          std::string("end\0", 4)}) {
        full += line + "\n";
    }
    // Part 2 of a sectioned file, then a begin line that settles the total at 1: the join takes
    // part 1 only, and part 2's temporary file must go too.
    const std::string beyondTotal = "\nsection2of uuencode4 of file\ne\n\nbegin 6\rbegin 6\nend ";
    for (const std::string& hostile :
         {RandomBytes(700, 1 << 20), std::string(100000, '\0'), std::string(300000, '\r'),
          "------------ Part 1 of 2 ------------\n" + std::string(5000, 'M'), mixed, binHex, full,
          beyondTotal}) {
        run(hostile, 0);
        run(hostile, 1);
    }
    // A 10 MB line without a line end is read in pieces of 254 characters and ends at once.
    const std::string line(10 << 20, 'A');
    EXPECT_EQ(Decode(line, 0), kResultReported);
    EXPECT_EQ(app.decode.lineNumber, static_cast<long>((line.size() + 253) / 254 + 1));
}

}  // namespace
}  // namespace mandrel
