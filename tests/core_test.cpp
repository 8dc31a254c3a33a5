// The foundation: the settings through the real INI store (first run, round trips of every
// value, hostile texts, damaged files, values that are no number), names taken from encoded
// text, temporary files and the part table's clean-up.
#include <gtest/gtest.h>

#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include "core/config.h"
#include "core/part_table.h"
#include "core/text_util.h"
#include "platform/qsettings_store.h"
#include "platform/scripted_ui.h"
#include "support/test_files.h"

namespace mandrel {
namespace {

namespace fs = std::filesystem;

constexpr const char* kKey = R"(Software\Quorvane, Inc.\Mandrel32\2.0)";

// Every stored value of the three groups as text, for comparing whole records.
std::map<std::string, std::string> StoredValues(const Config& config) {
    std::map<std::string, std::string> values;
    for (const auto group : {GeneralGroup(), EncodeGroup(), DecodeGroup()}) {
        for (const SettingDesc& desc : group) {
            values[desc.name] = SettingAsText(config, desc);
        }
    }
    return values;
}

// A record in which every stored value differs from its default.
Config UnusualConfig() {
    Config config;
    config.minimizewhenrun = 1;
    config.stayiconwhendone = 1;
    config.usedefaultnames = 1;
    config.overwriteexisting = 1;
    config.nostatusmessages = 1;
    config.encodetype = 13;
    config.encodecrlf = kEolLf;
    config.encodeoutputsize = 1048576;
    config.encodemethod = kMethodBinHex;
    config.encodechecksum = 1;
    config.encodedirselect = kDirUserSpecified;
    config.encodedir = "C:\\My Files\\out, new";
    config.decodejoin = 0;
    config.decodeautodetect = 0;
    config.decodetype = 20;
    config.decodetestchecksum = 0;
    config.decodemethod = -2147483647 - 1;
    config.decodedirselect = kDirUserSpecified;
    config.decodedir = " /home/u/dir with blanks, commas\\and\\backslashes ";
    return config;
}

class SettingsStore : public ::testing::Test {
protected:
    std::string ConfFile() const { return Home() + "/Quorvane, Inc./Mandrel32.conf"; }
    // QSettings keeps what it read of a file until the file's time changes: every rewrite of
    // the file in a test goes to a home of its own.
    std::string Home() const { return dir.File("home" + std::to_string(home)); }

    // A fresh record through a fresh store, as a new run of the program loads it.
    int LoadFresh(Config& loaded) {
        QSettingsStore fresh(Home());
        Identity identity;
        return LoadSettings(loaded, identity, fresh, ui);
    }
    int Save(const Config& config) {
        QSettingsStore store(Home());
        int failures = 0;
        for (const auto group : {GeneralGroup(), EncodeGroup(), DecodeGroup()}) {
            failures += WriteSettingsGroup(config, group, store, kKey, ui);
        }
        return failures;
    }
    void WriteConf(std::string_view text) {
        ++home;
        fs::create_directories(Home() + "/Quorvane, Inc.");
        test::WriteFile(ConfFile(), text);
    }

    test::TempDir dir;
    int home = 0;
    ScriptedUi ui;
};

TEST_F(SettingsStore, FirstRunMakesAnEmptyFileAndKeepsTheDefaults) {
    // Writing needs the key the first read made: nothing is written before it.
    EXPECT_EQ(Save(Config{}), 3);
    EXPECT_FALSE(fs::exists(ConfFile()));
    Config config;
    QSettingsStore store(Home());
    Identity identity;
    EXPECT_EQ(LoadSettings(config, identity, store, ui), 19);  // every value is missing
    EXPECT_EQ(identity.SettingsKey, kKey);
    EXPECT_EQ(store.FileForKey(kKey), ConfFile());
    EXPECT_TRUE(fs::is_regular_file(ConfFile()));
    EXPECT_EQ(StoredValues(config), StoredValues(Config{}));
    EXPECT_TRUE(ui.messages.empty());
    EXPECT_EQ(ui.busyDepth, 0);
}

TEST_F(SettingsStore, EveryValueRoundTripsInTheVersionSection) {
    Config config;
    LoadFresh(config);
    config = UnusualConfig();
    EXPECT_EQ(Save(config), 0);
    Config loaded;
    EXPECT_EQ(LoadFresh(loaded), 0);
    EXPECT_EQ(StoredValues(loaded), StoredValues(config));
    EXPECT_EQ(loaded.eollength, 1);
    const std::string text = test::ReadFile(ConfFile());
    EXPECT_TRUE(text.starts_with("[2.0]\n")) << text;
    for (const char* line : {"\nencodetype=13\n", "\nencodecrlf=176\n", "\nencodemethod=185\n",
                             "\ndecodemethod=-2147483648\n", "\nnostatusmessages=1\n"}) {
        EXPECT_NE(text.find(line), std::string::npos) << line;
    }
    // Texts that mean something to an INI file come back as they were.
    using namespace std::string_literals;
    for (const std::string& hostile :
         {"a=b;c#d"s, "[2.0]"s, "@Variant(x)"s, R"("quoted")"s, R"(trailing\)"s, "tab\there"s,
          "   "s, std::string(255, 'w')}) {
        config.encodedir = hostile;
        EXPECT_EQ(Save(config), 0);
        LoadFresh(loaded);
        EXPECT_EQ(loaded.encodedir, hostile);
    }
}

// A damaged file, or values that are not what they claim, leave the defaults (value by value)
// and count as failures.
TEST_F(SettingsStore, DamagedFilesAndBadValuesLeaveTheDefaults) {
    const std::string damaged[] = {
        std::string("\0\x01\x02\xff\xfe binary \x80\x81\n\n", 17),
        "[[[[\n]]]]\n====\n",
        "[2.0]\nencodemethod=183,184\ndecodejoin=1 2\nencodetype=3.5\n",
        "[2.0]\nencodedir=" + std::string(300, 'p') + "\n",
        "[1.0]\nencodemethod=183\n",
    };
    for (const std::string& text : damaged) {
        WriteConf(text);
        Config config;
        EXPECT_GT(LoadFresh(config), 0);
        EXPECT_EQ(StoredValues(config), StoredValues(Config{})) << text;
    }
    struct Number {
        std::string text;
        int32_t loaded;
    };
    // clang-format off
    const Number numbers[] = {
        {"4500", 4500}, {"+7", 7}, {"007", 7},
        {"-2147483648", -2147483647 - 1}, {"2147483647", 2147483647}, {"2147483648", kDefaultOutputSize},
        {"99999999999999999999", kDefaultOutputSize}, {"5x", kDefaultOutputSize}, {"0x10", kDefaultOutputSize},
        {"1e3", kDefaultOutputSize}, {"--1", kDefaultOutputSize}, {"+", kDefaultOutputSize},
    };
    // clang-format on
    for (const Number& n : numbers) {
        WriteConf("[2.0]\nencodeoutputsize=" + n.text + "\nencodemethod=183\n");
        Config config;
        LoadFresh(config);
        EXPECT_EQ(config.encodeoutputsize, n.loaded) << n.text;
        EXPECT_EQ(config.encodemethod, kMethodXX) << n.text;
    }
}

TEST(FileNames, NamesFromTheTextAreMadeSafe) {
    struct Case {
        std::string input;
        std::string output;
        int replaced;
    };
    // clang-format off
    const Case cases[] = {
        {"C:\\dir\\a*b.txt", "a_b.txt", 1}, {"\"x y.zip\"", "x y.zip", 0}, {"../up.txt", "up.txt", 0},
        {"/etc/passwd", "passwd", 0},       {"..", "__", 1},                {".", "_", 1},
        {"a/..", "__", 1},                  {"C:..\\x", "x", 0},            {"host:name.txt", "name.txt", 0},
        {"a<b>c?d|e*", "a_b_c_d_e_", 1},    {"...", "...", 0},              {"dir/", "", 0},
        {std::string("a\x01\x1f\x7f", 4), std::string("a__\x7f", 4), 1},
        {"caf\xe9 \x80\xff.txt", "caf_ __.txt", 1},
        {std::string(300, 'n'), std::string(255, 'n'), 0},
        {"dir/" + std::string(300, 'd'), std::string(251, 'd'), 0},
    };
    // clang-format on
    for (const Case& c : cases) {
        std::string name = c.input;
        EXPECT_EQ(SanitizeFileName(name), c.replaced) << c.input;
        EXPECT_EQ(name, c.output) << c.input;
    }
}

TEST(FileNames, TemporaryFilesAreNewPrivateAndNamedMdr) {
    test::TempDir dir;
    const test::ScopedEnv tmp("TMPDIR", dir.path().string());
    std::string first;
    std::string second;
    EXPECT_NE(MakeTempFileName(first), 0U);
    EXPECT_NE(MakeTempFileName(second), 0U);
    EXPECT_NE(first, second);
    for (const std::string& path : {first, second}) {
        EXPECT_EQ(fs::path(path).parent_path(), dir.path());
        EXPECT_TRUE(fs::path(path).filename().string().starts_with("mdr"));
        EXPECT_EQ(fs::file_size(path), 0U);
        EXPECT_EQ(fs::status(path).permissions() & fs::perms::all,
                  fs::perms::owner_read | fs::perms::owner_write);
    }
    const test::ScopedEnv gone("TMPDIR", dir.File("gone"));
    std::string path = "unchanged";
    EXPECT_EQ(MakeTempFileName(path), 0U);
    EXPECT_EQ(path, "unchanged");
}

TEST(PartTable, PartFilesAreDeletedOnceAndNeverADevice) {
    test::TempDir dir;
    PartTable table;
    fs::create_directories(dir.path() / "sub");
    test::WriteFile(dir.File("p1"), "x");
    test::WriteFile(dir.File("sub/p2"), "x");
    table.rows[0] = {1, 0, 0, 0, 0, dir.File("p1"), ""};
    table.rows[1] = {2, 0, 0, 0, 0, "p2", dir.File("sub")};
    DeletePartFiles(table);
    EXPECT_EQ(test::ListDirectory(dir.path()), "sub");
    EXPECT_TRUE(fs::is_empty(dir.path() / "sub"));
    EXPECT_TRUE(table.rows[0].fileName.empty());
    EXPECT_TRUE(table.rows[1].directory.empty());
    // A device or a directory named as an output is never removed.
    EXPECT_FALSE(RemoveOutputFile("/dev/null"));
    EXPECT_FALSE(RemoveOutputFile(dir.path().string()));
    EXPECT_TRUE(fs::is_character_file("/dev/null"));
    ScriptedUi ui;
    EXPECT_EQ(CheckPartNumber(ui, 99), 0);
    EXPECT_EQ(CheckPartNumber(ui, 100), 1);
    EXPECT_EQ(ui.messages.back().text, "Part 100 Must be Between 1 and 99.");
}

}  // namespace
}  // namespace mandrel
