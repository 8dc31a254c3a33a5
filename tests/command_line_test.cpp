#include <gtest/gtest.h>

#include <ostream>
#include <string>
#include <vector>

#include "core/app_state.h"
#include "platform/scripted_ui.h"
#include "shell/command_line.h"

namespace mandrel {
namespace {

using Names = std::vector<std::string>;

struct ParsedLine {
    ScriptedUi ui;
    AppState app{ui};

    explicit ParsedLine(std::string_view line, Config start = {}) {
        app.config = std::move(start);
        ParseCommandLine(app, line);
    }
    const JobState& job() const { return app.job; }
};

Config SavedSettings() {
    Config config;
    config.encodemethod = kMethodXX;
    config.encodetype = kFormatShar;
    config.decodejoin = 0;
    return config;
}

// --- switches that choose encoding --------------------------------------------------------

struct EncodeCase {
    const char* line;
    int cmdLineEncode;
    int32_t method;
    int32_t type;
    Names files;
};

void PrintTo(const EncodeCase& c, std::ostream* out) {
    *out << ::testing::PrintToString(std::string(c.line));
}

class CommandLineEncodeSwitch : public ::testing::TestWithParam<EncodeCase> {};

TEST_P(CommandLineEncodeSwitch, SetsMethodFormatAndFiles) {
    const EncodeCase& c = GetParam();
    const ParsedLine parsed(c.line, SavedSettings());
    EXPECT_EQ(parsed.job().CmdLineEncode, c.cmdLineEncode);
    EXPECT_EQ(parsed.app.config.encodemethod, c.method);
    EXPECT_EQ(parsed.app.config.encodetype, c.type);
    EXPECT_EQ(parsed.job().FileList, c.files);
    EXPECT_EQ(parsed.job().FileCount, static_cast<int>(c.files.size()));
    EXPECT_EQ(parsed.job().FileIndex, 0);
}

INSTANTIATE_TEST_SUITE_P(
    CommandLine, CommandLineEncodeSwitch,
    ::testing::Values(
        // BinHex and MIME force Single File whatever was saved.
        EncodeCase{"-Eb file.dat", 1, kMethodBinHex, kFormatSingleFile, {"file.dat"}},
        EncodeCase{"-EM file.dat", 1, kMethodMIME, kFormatSingleFile, {"file.dat"}},
        EncodeCase{"-eu file.dat", 1, kMethodUU, kFormatShar, {"file.dat"}},
        EncodeCase{"/eX file", 1, kMethodXX, kFormatShar, {"file"}},
        EncodeCase{"-Ex file", 1, kMethodXX, kFormatShar, {"file"}},
        // No method letter: the saved method stays.
        EncodeCase{"/E file", 1, kMethodXX, kFormatShar, {"file"}},
        // A letter that is no method is the start of the file names.
        EncodeCase{"-Ez file", 1, kMethodXX, kFormatShar, {"z", "file"}},
        EncodeCase{"-E", 1, kMethodXX, kFormatShar, {}},
        // Without C, E or M the files are decoded.
        EncodeCase{"a.uue", 0, kMethodXX, kFormatShar, {"a.uue"}}));

// --- the mail switch ----------------------------------------------------------------------

struct MailCase {
    const char* line;
    int cmdLineEncode;
    Names recipients;
    Names files;
};

void PrintTo(const MailCase& c, std::ostream* out) {
    *out << ::testing::PrintToString(std::string(c.line));
}

class CommandLineMailSwitch : public ::testing::TestWithParam<MailCase> {};

TEST_P(CommandLineMailSwitch, ReadsRecipientsThenFiles) {
    const MailCase& c = GetParam();
    const ParsedLine parsed(c.line);
    EXPECT_TRUE(parsed.job().EncodeToMail);
    EXPECT_EQ(parsed.job().CmdLineEncode, c.cmdLineEncode);
    ASSERT_EQ(parsed.job().Recipients.size(), c.recipients.size());
    for (std::size_t i = 0; i < c.recipients.size(); ++i) {
        EXPECT_EQ(parsed.job().Recipients[i].name, c.recipients[i]);
        EXPECT_EQ(parsed.job().Recipients[i].address, "SMTP:" + c.recipients[i]);
    }
    EXPECT_EQ(parsed.job().FileList, c.files);
}

INSTANTIATE_TEST_SUITE_P(
    CommandLine, CommandLineMailSwitch,
    ::testing::Values(
        MailCase{"-Malice,bob file", 1, {"alice", "bob"}, {"file"}},
        // Blanks after a comma are not skipped: the second name is empty and bob is a file.
        MailCase{"-Malice, bob file", 1, {"alice", ""}, {"bob", "file"}},
        MailCase{"-M@ file", 2, {}, {"file"}},
        MailCase{"-m  carol@example.org\tfile", 1, {"carol@example.org"}, {"file"}},
        MailCase{"-Ma,b,c", 1, {"a", "b", "c"}, {}}));

TEST(CommandLine, MailSwitchStartsANewRecipientList) {
    const ParsedLine parsed("-Mfirst -Msecond file");
    ASSERT_EQ(parsed.job().Recipients.size(), 1u);
    EXPECT_EQ(parsed.job().Recipients[0].name, "second");
}

TEST(CommandLine, RecipientsBeyondTheTableAreDropped) {
    std::string line = "-M";
    for (int i = 0; i < 40; ++i) {
        line += (i == 0 ? "r" : ",r") + std::to_string(i);
    }
    line += " file";
    const ParsedLine parsed(line);
    ASSERT_EQ(parsed.job().Recipients.size(), static_cast<std::size_t>(kMaxRecipients));
    EXPECT_EQ(parsed.job().Recipients.back().name, "r31");
    EXPECT_EQ(parsed.job().FileList, Names{"file"});
}

// --- other switches -----------------------------------------------------------------------

TEST(CommandLine, UnknownSwitchEndsSwitchReadingAtTheDash) {
    const ParsedLine parsed("-Z file.uue");
    EXPECT_EQ(parsed.job().FileList, (Names{"-Z", "file.uue"}));
    EXPECT_EQ(parsed.job().CmdLineEncode, 0);
}

TEST(CommandLine, SwitchesAfterAnUnknownOneAreFileNames) {
    const ParsedLine parsed("-N -Q -E a");
    EXPECT_EQ(parsed.job().Interactive, 0);
    EXPECT_EQ(parsed.job().CmdLineEncode, 0);
    EXPECT_EQ(parsed.job().FileList, (Names{"-Q", "-E", "a"}));
}

TEST(CommandLine, NoQuestionsAndJoinForTwoDecodedFiles) {
    const ParsedLine parsed("-N -J a.uue b.uue", SavedSettings());
    EXPECT_EQ(parsed.job().Interactive, 0);
    EXPECT_EQ(parsed.app.config.decodejoin, 1);
    EXPECT_EQ(parsed.job().CmdLineEncode, 0);
    EXPECT_EQ(parsed.job().FileList, (Names{"a.uue", "b.uue"}));
}

TEST(CommandLine, SwitchLettersInEitherCaseAndRunTogether) {
    const ParsedLine parsed("/n/j-c file", SavedSettings());
    EXPECT_EQ(parsed.job().Interactive, 0);
    EXPECT_EQ(parsed.app.config.decodejoin, 1);
    EXPECT_TRUE(parsed.job().EncodeToClipboard);
    EXPECT_EQ(parsed.job().CmdLineEncode, 1);
    EXPECT_EQ(parsed.job().FileList, Names{"file"});
}

TEST(CommandLine, WithoutNTheJobStaysInteractive) {
    const ParsedLine parsed("-E a");
    EXPECT_EQ(parsed.job().Interactive, 1);
    EXPECT_FALSE(parsed.job().EncodeToClipboard);
    EXPECT_FALSE(parsed.job().EncodeToMail);
}

TEST(CommandLine, AssociationSwitchKeepsTheNamesButIsNoted) {
    const ParsedLine alone("-R");
    EXPECT_TRUE(alone.job().RunAssociations);
    EXPECT_EQ(alone.job().FileCount, 0);
    const ParsedLine withFiles("-r a.uue");
    EXPECT_TRUE(withFiles.job().RunAssociations);
    EXPECT_EQ(withFiles.job().FileList, Names{"a.uue"});
}

TEST(CommandLine, NoNamesLeavesAnEmptyList) {
    for (const char* line : {"", "   \t ", "-N", "-Eu -N"}) {
        const ParsedLine parsed(line);
        EXPECT_TRUE(parsed.job().FileList.empty()) << line;
        EXPECT_EQ(parsed.job().FileCount, 0) << line;
        EXPECT_FALSE(parsed.job().RunAssociations) << line;
    }
}

// --- the output-name switch ---------------------------------------------------------------

struct OutputCase {
    const char* line;
    const char* outputName;
    Names files;
};

void PrintTo(const OutputCase& c, std::ostream* out) {
    *out << ::testing::PrintToString(std::string(c.line));
}

class CommandLineOutputSwitch : public ::testing::TestWithParam<OutputCase> {};

TEST_P(CommandLineOutputSwitch, TakesTheNameToItsEnd) {
    const OutputCase& c = GetParam();
    const ParsedLine parsed(c.line);
    EXPECT_EQ(parsed.job().CommandLineOutputName, c.outputName);
    EXPECT_EQ(parsed.job().FileList, c.files);
}

INSTANTIATE_TEST_SUITE_P(
    CommandLine, CommandLineOutputSwitch,
    ::testing::Values(
        // Blanks are valid in a name: the rest of the line is the name.
        OutputCase{"-O: out.uue file.dat", "out.uue file.dat", {}},
        // A tab is not: it ends the name.
        OutputCase{"-O: out.uue\tfile.dat", "out.uue", {"file.dat"}},
        OutputCase{"-E -o:   /tmp/dir/out.uue\tfile.dat", "/tmp/dir/out.uue", {"file.dat"}},
        // The name starts four characters after the dash.
        OutputCase{"-O:x.uue\ta", ".uue", {"a"}},
        // * < > ? | end it as well; what follows them is read as names.
        OutputCase{"-O: a?b c", "a", {"?b", "c"}},
        OutputCase{"-O: caf\xc3\xa9.uue\tf", "caf\xc3\xa9.uue", {"f"}}, OutputCase{"-O", "", {}},
        OutputCase{"-O:", "", {}}));

TEST(CommandLine, OutputNameIsCutAt255Characters) {
    const std::string longName(300, 'n');
    const ParsedLine parsed("-O: " + longName + "\tfile");
    EXPECT_EQ(parsed.job().CommandLineOutputName, std::string(255, 'n'));
    EXPECT_EQ(parsed.job().FileList, Names{"file"});
}

// --- file names ---------------------------------------------------------------------------

struct NamesCase {
    const char* line;
    Names files;
};

void PrintTo(const NamesCase& c, std::ostream* out) {
    *out << ::testing::PrintToString(std::string(c.line));
}

class CommandLineFileNames : public ::testing::TestWithParam<NamesCase> {};

TEST_P(CommandLineFileNames, SplitsAsDescribed) {
    const ParsedLine parsed(GetParam().line);
    EXPECT_EQ(parsed.job().FileList, GetParam().files);
    EXPECT_EQ(parsed.job().FileCount, static_cast<int>(GetParam().files.size()));
}

INSTANTIATE_TEST_SUITE_P(CommandLine, CommandLineFileNames,
                         ::testing::Values(NamesCase{"\"my photo.jpg\"", {"my photo.jpg"}},
                                           NamesCase{"-E \"my photo.jpg\" b",
                                                     {"my photo.jpg", "b"}},
                                           NamesCase{"a,b\tc  d", {"a", "b", "c", "d"}},
                                           // Names before a quoted one are kept.
                                           NamesCase{"a \"b c\" d", {"a", "b c", "d"}},
                                           NamesCase{"\"unclosed name", {"unclosed name"}},
                                           // A quote inside a name is part of it.
                                           NamesCase{"x\"y z", {"x\"y", "z"}},
                                           // Empty names are not files.
                                           NamesCase{"a,,b \"\" c,", {"a", "b", "c"}}));

TEST(CommandLine, FileListHolds128Names) {
    std::string line = "-E";
    for (int i = 0; i < 130; ++i) {
        line += " f" + std::to_string(i);
    }
    const ParsedLine parsed(line);
    ASSERT_EQ(parsed.job().FileCount, kMaxFileList);
    EXPECT_EQ(parsed.job().FileList.back(), "f127");
}

TEST(CommandLine, ParsingReplacesAnEarlierList) {
    ScriptedUi ui;
    AppState app(ui);
    ParseCommandLine(app, "-O: old\ta b");
    app.job.FileIndex = 1;
    ParseCommandLine(app, "c");
    EXPECT_EQ(app.job.FileList, Names{"c"});
    EXPECT_EQ(app.job.FileCount, 1);
    EXPECT_EQ(app.job.FileIndex, 0);
    EXPECT_EQ(app.job.CommandLineOutputName, "");
}

TEST(CommandLine, HostileLinesEndWithoutReadingPastTheText) {
    for (const char* line : {"-", "/", "-M", "-M,", "-M@", "-O: ", "\"", "-E\"", "- - -"}) {
        const ParsedLine parsed(line);
        EXPECT_LE(parsed.job().FileCount, 3) << line;
    }
    const ParsedLine dash("-");
    EXPECT_EQ(dash.job().FileList, Names{"-"});
}

// --- joining separate arguments -----------------------------------------------------------

struct JoinCase {
    Names arguments;
    const char* line;
};

void PrintTo(const JoinCase& c, std::ostream* out) {
    *out << ::testing::PrintToString(c.arguments);
}

class CommandLineJoin : public ::testing::TestWithParam<JoinCase> {};

TEST_P(CommandLineJoin, BuildsOneLine) {
    EXPECT_EQ(JoinArguments(GetParam().arguments), GetParam().line);
}

INSTANTIATE_TEST_SUITE_P(
    CommandLine, CommandLineJoin,
    ::testing::Values(JoinCase{{}, ""}, JoinCase{{"-Eu", "photo.jpg"}, "-Eu\tphoto.jpg"},
                      JoinCase{{"-Eu", "my photo.jpg"}, "-Eu\t\"my photo.jpg\""},
                      JoinCase{{"-O", "out name.uue", "file.dat"}, "-O:\tout name.uue\tfile.dat"},
                      JoinCase{{"/o", "x"}, "/o:\tx"}, JoinCase{{"-O:", "x"}, "-O:\tx"},
                      JoinCase{{"-M", "alice,bob", "f"}, "-M\talice,bob\tf"},
                      JoinCase{{"-Malice,bob", "a,b.txt"}, "-Malice,bob\t\"a,b.txt\""},
                      JoinCase{{"/Music/a.mp3"}, "\"/Music/a.mp3\""},
                      JoinCase{{"say \"hi\".txt"}, "say \"hi\".txt"}));

TEST(CommandLine, JoinedOutputNameEndsAtItsArgument) {
    const ParsedLine parsed(JoinArguments({"-E", "-O", "my out.uue", "file.dat"}));
    EXPECT_EQ(parsed.job().CommandLineOutputName, "my out.uue");
    EXPECT_EQ(parsed.job().FileList, Names{"file.dat"});
    EXPECT_EQ(parsed.job().CmdLineEncode, 1);
}

TEST(CommandLine, JoinedNameWithBlanksIsOneFile) {
    const ParsedLine parsed(JoinArguments({"-N", "-Eu", "my photo.jpg", "b c", "d"}));
    EXPECT_EQ(parsed.job().FileList, (Names{"my photo.jpg", "b c", "d"}));
    EXPECT_EQ(parsed.job().Interactive, 0);
}

TEST(CommandLine, JoinedAbsolutePathIsNoSwitch) {
    const ParsedLine parsed(JoinArguments({"-E", "/Music/a.mp3", "/Recordings/b c.wav"}));
    EXPECT_FALSE(parsed.job().EncodeToMail);
    EXPECT_FALSE(parsed.job().RunAssociations);
    EXPECT_EQ(parsed.job().FileList, (Names{"/Music/a.mp3", "/Recordings/b c.wav"}));
}

TEST(CommandLine, JoinedRecipientsAfterABareMailSwitch) {
    const ParsedLine parsed(JoinArguments({"-M", "alice,bob", "file"}));
    ASSERT_EQ(parsed.job().Recipients.size(), 2u);
    EXPECT_EQ(parsed.job().Recipients[1].address, "SMTP:bob");
    EXPECT_EQ(parsed.job().FileList, Names{"file"});
}

}  // namespace
}  // namespace mandrel
