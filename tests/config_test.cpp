#include "core/config.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "core/settings_store.h"
#include "platform/qsettings_store.h"
#include "platform/scripted_ui.h"
#include "support/test_files.h"

namespace mandrel {
namespace {

namespace fs = std::filesystem;

constexpr const char* kKey = "Software\\Quorvane, Inc.\\Mandrel32\\2.0";

// A settings store in memory: keys of named text values, and a log of every write.
class MemoryStore : public SettingsStore {
public:
    struct Write {
        std::string name;
        std::string value;
        bool number;
        bool operator==(const Write&) const = default;
    };

    bool OpenKey(std::string_view key, bool create) override {
        ++opens;
        if (refuseOpen) {
            return false;
        }
        if (!keys.contains(std::string(key))) {
            if (!create) {
                return false;
            }
            keys[std::string(key)];
            createdKeys.emplace_back(key);
        }
        open = std::string(key);
        return true;
    }
    std::optional<std::string> ReadValue(std::string_view name) override {
        auto& values = keys.at(open);
        const auto found = values.find(std::string(name));
        if (found == values.end()) {
            return std::nullopt;
        }
        return found->second;
    }
    bool WriteNumber(std::string_view name, int32_t value) override {
        return Store({std::string(name), std::to_string(value), true});
    }
    bool WriteText(std::string_view name, std::string_view value) override {
        return Store({std::string(name), std::string(value), false});
    }
    void CloseKey() override {
        ++closes;
        open.clear();
    }

    std::map<std::string, std::map<std::string, std::string>> keys;
    std::vector<std::string> createdKeys;
    std::vector<Write> writes;
    std::set<std::string> failingWrites;
    std::string open;
    bool refuseOpen = false;
    int opens = 0;
    int closes = 0;

private:
    bool Store(const Write& write) {
        writes.push_back(write);
        if (failingWrites.contains(write.name)) {
            return false;
        }
        keys.at(open)[write.name] = write.value;
        return true;
    }
};

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

// --- The record and its groups ---

TEST(Config, BuiltInDefaults) {
    const Config config;
    const std::map<std::string, std::string> expected{
        {"minimizewhenrun", "0"},   {"stayiconwhendone", "0"},
        {"usedefaultnames", "0"},   {"overwriteexisting", "0"},
        {"nostatusmessages", "0"},  {"encodetype", "3"},
        {"encodecrlf", "175"},      {"encodeoutputsize", "60000"},
        {"encodemethod", "182"},    {"encodechecksum", "0"},
        {"encodedirselect", "151"}, {"encodedir", ""},
        {"decodejoin", "1"},        {"decodeautodetect", "1"},
        {"decodetype", "3"},        {"decodetestchecksum", "1"},
        {"decodemethod", "181"},    {"decodedirselect", "151"},
        {"decodedir", ""}};
    EXPECT_EQ(StoredValues(config), expected);
    EXPECT_EQ(config.fullpath, "");
    EXPECT_EQ(config.eollength, 2);

    const Identity identity;
    EXPECT_EQ(identity.productName, "Mandrel Desktop 32");
    EXPECT_EQ(identity.internalName, "Mandrel32");
    EXPECT_EQ(identity.version, "2.0");
    EXPECT_EQ(identity.companyName, "Quorvane, Inc.");
}

struct Row {
    std::string name;
    std::variant<int32_t Config::*, std::string Config::*> field;
    int kind;
    int size;
};

void ExpectGroup(std::span<const SettingDesc> group, const std::vector<Row>& rows) {
    ASSERT_EQ(group.size(), rows.size());
    for (std::size_t i = 0; i < rows.size(); ++i) {
        SCOPED_TRACE(rows[i].name);
        EXPECT_EQ(group[i].name, rows[i].name);
        EXPECT_TRUE(group[i].field == rows[i].field);
        EXPECT_EQ(group[i].kind, rows[i].kind);
        EXPECT_EQ(group[i].size, rows[i].size);
    }
}

TEST(Config, GeneralGroupInOrder) {
    ExpectGroup(GeneralGroup(), {{"minimizewhenrun", &Config::minimizewhenrun, 1, 4},
                                 {"stayiconwhendone", &Config::stayiconwhendone, 1, 4},
                                 {"usedefaultnames", &Config::usedefaultnames, 1, 4},
                                 {"overwriteexisting", &Config::overwriteexisting, 1, 4},
                                 {"nostatusmessages", &Config::nostatusmessages, 1, 4}});
}

TEST(Config, EncodeGroupInOrder) {
    ExpectGroup(EncodeGroup(), {{"encodetype", &Config::encodetype, 1, 4},
                                {"encodecrlf", &Config::encodecrlf, 1, 4},
                                {"encodeoutputsize", &Config::encodeoutputsize, 2, 4},
                                {"encodemethod", &Config::encodemethod, 1, 4},
                                {"encodechecksum", &Config::encodechecksum, 1, 4},
                                {"encodedirselect", &Config::encodedirselect, 1, 4},
                                {"encodedir", &Config::encodedir, 3, 256}});
}

TEST(Config, DecodeGroupInOrder) {
    ExpectGroup(DecodeGroup(), {{"decodejoin", &Config::decodejoin, 1, 4},
                                {"decodeautodetect", &Config::decodeautodetect, 1, 4},
                                {"decodetype", &Config::decodetype, 1, 4},
                                {"decodetestchecksum", &Config::decodetestchecksum, 1, 4},
                                {"decodemethod", &Config::decodemethod, 1, 4},
                                {"decodedirselect", &Config::decodedirselect, 1, 4},
                                {"decodedir", &Config::decodedir, 3, 256}});
}

TEST(Config, ProgramPathGroup) {
    ExpectGroup(ProgramPathGroup(), {{"fullpath", &Config::fullpath, 3, 256}});
}

TEST(Config, FindSettingSearchesTheThreeGroupsExactly) {
    const SettingDesc* found = FindSetting("encodedir");
    ASSERT_NE(found, nullptr);
    EXPECT_EQ(found, &EncodeGroup()[6]);
    ASSERT_NE(FindSetting("minimizewhenrun"), nullptr);
    ASSERT_NE(FindSetting("decodedir"), nullptr);
    EXPECT_EQ(FindSetting("fullpath"), nullptr);
    EXPECT_EQ(FindSetting("ENCODEDIR"), nullptr);
    EXPECT_EQ(FindSetting("encodedi"), nullptr);
    EXPECT_EQ(FindSetting(""), nullptr);
}

// --- Values as text ---

struct NumberCase {
    std::string text;
    bool ok;
    int32_t value;  // when ok
};

class SetNumberTest : public ::testing::TestWithParam<NumberCase> {};

TEST_P(SetNumberTest, AcceptsOnlyWholeDecimalInt32) {
    const NumberCase& c = GetParam();
    Config config;
    const SettingDesc& desc = *FindSetting("encodeoutputsize");
    EXPECT_EQ(SetSettingFromText(config, desc, c.text), c.ok);
    EXPECT_EQ(config.encodeoutputsize, c.ok ? c.value : kDefaultOutputSize);
}

INSTANTIATE_TEST_SUITE_P(
    Config, SetNumberTest,
    ::testing::Values(NumberCase{"0", true, 0}, NumberCase{"4500", true, 4500},
                      NumberCase{"-5", true, -5}, NumberCase{"+7", true, 7},
                      NumberCase{"007", true, 7}, NumberCase{"2147483647", true, 2147483647},
                      NumberCase{"-2147483648", true, -2147483647 - 1},
                      NumberCase{"2147483648", false, 0}, NumberCase{"-2147483649", false, 0},
                      NumberCase{"99999999999999999999999", false, 0}, NumberCase{"", false, 0},
                      NumberCase{"+", false, 0}, NumberCase{"-", false, 0},
                      NumberCase{" 5", false, 0}, NumberCase{"5 ", false, 0},
                      NumberCase{"5x", false, 0}, NumberCase{"0x10", false, 0},
                      NumberCase{"1e3", false, 0}, NumberCase{"1.5", false, 0},
                      NumberCase{"+-1", false, 0}, NumberCase{"--1", false, 0},
                      NumberCase{std::string("5\0", 2), false, 0}));

TEST(Config, SetTextUpToCapacityLessOne) {
    Config config;
    const SettingDesc& desc = *FindSetting("encodedir");
    EXPECT_TRUE(SetSettingFromText(config, desc, std::string(255, 'd')));
    EXPECT_EQ(config.encodedir, std::string(255, 'd'));
    EXPECT_FALSE(SetSettingFromText(config, desc, std::string(256, 'e')));
    EXPECT_EQ(config.encodedir, std::string(255, 'd'));
    EXPECT_TRUE(SetSettingFromText(config, desc, ""));
    EXPECT_EQ(config.encodedir, "");
}

TEST(Config, SettingAsTextRoundTrips) {
    const Config unusual = UnusualConfig();
    Config copy;
    for (const auto group : {GeneralGroup(), EncodeGroup(), DecodeGroup()}) {
        for (const SettingDesc& desc : group) {
            EXPECT_TRUE(SetSettingFromText(copy, desc, SettingAsText(unusual, desc))) << desc.name;
        }
    }
    EXPECT_EQ(StoredValues(copy), StoredValues(unusual));
    EXPECT_EQ(SettingAsText(unusual, *FindSetting("decodemethod")), "-2147483648");
    EXPECT_EQ(SettingAsText(unusual, *FindSetting("encodedir")), "C:\\My Files\\out, new");
}

// --- File formats, version strings, line ends ---

TEST(Config, FileFormatTableRows) {
    const std::vector<std::string> names{"To Be Determined",
                                         "Try All Types",
                                         "Decode Multiple Inputs",
                                         "Single File",
                                         "Comp.binaries",
                                         "SimTel",
                                         "Alt.binaries 1",
                                         "Alt.binaries 2",
                                         "Alt.binaries 3",
                                         "Alt.binaries 4",
                                         "UNIX shell (shar)",
                                         "X-File",
                                         "UUMOVE v2.0",
                                         "Wincode v2.3",
                                         "POST V1.2.0",
                                         "POST V2.0.1",
                                         "xmitBin",
                                         "bitftp",
                                         "AOL",
                                         "Squirrel v3.0",
                                         "R.E.M."};
    const std::set<int> readOnly{15, 18, 19};
    const auto table = FileFormatTable();
    ASSERT_EQ(table.size(), names.size());
    int encodable = 0;
    int decodable = 0;
    for (int id = 0; id < kFileFormatCount; ++id) {
        const FileFormatRow& row = table[static_cast<std::size_t>(id)];
        SCOPED_TRACE(id);
        EXPECT_EQ(row.id, id);
        EXPECT_EQ(std::string(row.name), names[static_cast<std::size_t>(id)]);
        EXPECT_LT(std::string(row.name).size(), 32U);
        EXPECT_EQ(FileFormatName(id), names[static_cast<std::size_t>(id)]);
        EXPECT_EQ(FileFormatByName(names[static_cast<std::size_t>(id)]), id);
        if (id >= 3) {
            EXPECT_EQ(row.decodable, 1);
            EXPECT_EQ(row.encodable, readOnly.contains(id) ? 0 : 1);
            encodable += row.encodable;
            decodable += row.decodable;
        }
    }
    EXPECT_EQ(encodable, 15);
    EXPECT_EQ(decodable, 18);
    EXPECT_EQ(table[0].decodable, 0);
    EXPECT_EQ(table[0].encodable, 0);
    EXPECT_EQ(table[1].decodable, 1);
    EXPECT_EQ(table[1].encodable, 0);
    EXPECT_EQ(table[2].decodable, 1);
    EXPECT_EQ(table[2].encodable, 0);
}

TEST(Config, FileFormatLookupsOutsideTheTable) {
    EXPECT_EQ(FileFormatName(-1), "");
    EXPECT_EQ(FileFormatName(21), "");
    EXPECT_EQ(FileFormatByName("single file"), -1);
    EXPECT_EQ(FileFormatByName("Single File "), -1);
    EXPECT_EQ(FileFormatByName(""), -1);
}

TEST(Config, VersionStrings) {
    const std::map<std::string, std::string> expected{{"ProductName", "Mandrel Desktop 32"},
                                                      {"InternalName", "Mandrel32"},
                                                      {"ProductVersion", "2.0.0"},
                                                      {"CompanyName", "Quorvane, Inc."},
                                                      {"ReleaseDate", "31-Jan-97"}};
    for (const auto& [name, value] : expected) {
        std::string out = "old";
        EXPECT_TRUE(GetVersionString(name, out)) << name;
        EXPECT_EQ(out, value);
    }
    std::string out = "old";
    EXPECT_FALSE(GetVersionString("Comments", out));
    EXPECT_FALSE(GetVersionString("productname", out));
    EXPECT_EQ(out, "old");
}

TEST(Config, EolLengthFor) {
    EXPECT_EQ(EolLengthFor(175), 2);
    EXPECT_EQ(EolLengthFor(176), 1);
    EXPECT_EQ(EolLengthFor(0), 0);
    EXPECT_EQ(EolLengthFor(174), 0);
    EXPECT_EQ(EolLengthFor(177), 0);
}

// --- Loading and saving through a store ---

class ConfigStoreTest : public ::testing::Test {
protected:
    Config config;
    Identity identity;
    MemoryStore store;
    ScriptedUi ui;
};

TEST_F(ConfigStoreTest, FirstRunKeepsDefaultsAndCreatesTheKey) {
    // Every value is missing on a first run: 5 + 7 + 7.
    EXPECT_EQ(LoadSettings(config, identity, store, ui), 19);
    EXPECT_EQ(identity.SettingsKey, "Software\\Quorvane, Inc.\\Mandrel32\\2.0");
    EXPECT_EQ(identity.productName, "Mandrel Desktop 32");
    EXPECT_EQ(identity.internalName, "Mandrel32");
    EXPECT_EQ(identity.version, "2.0");
    EXPECT_EQ(identity.companyName, "Quorvane, Inc.");
    EXPECT_EQ(identity.aboutMaker, "Quorvane, Inc.");
    EXPECT_EQ(store.createdKeys, std::vector<std::string>{kKey});
    EXPECT_EQ(StoredValues(config), StoredValues(Config{}));
    EXPECT_EQ(config.eollength, 2);
    EXPECT_TRUE(store.writes.empty());
    EXPECT_TRUE(ui.messages.empty());
    EXPECT_EQ(store.opens, 3);
    EXPECT_EQ(store.closes, 3);
    EXPECT_EQ(ui.busyDepth, 0);
}

TEST_F(ConfigStoreTest, StoredValuesReplaceDefaults) {
    const Config unusual = UnusualConfig();
    for (const auto& [name, value] : StoredValues(unusual)) {
        store.keys[kKey][name] = value;
    }
    EXPECT_EQ(LoadSettings(config, identity, store, ui), 0);
    EXPECT_EQ(StoredValues(config), StoredValues(unusual));
    EXPECT_EQ(config.eollength, 1);
    EXPECT_TRUE(store.createdKeys.empty());
}

TEST_F(ConfigStoreTest, BadValueLeavesTheDefaultAndCountsOneFailure) {
    const Config unusual = UnusualConfig();
    for (const auto& [name, value] : StoredValues(unusual)) {
        store.keys[kKey][name] = value;
    }
    store.keys[kKey]["encodeoutputsize"] = "12x";
    store.keys[kKey]["decodedir"] = std::string(256, 'l');
    EXPECT_EQ(LoadSettings(config, identity, store, ui), 2);
    EXPECT_EQ(config.encodeoutputsize, kDefaultOutputSize);
    EXPECT_EQ(config.decodedir, "");
    EXPECT_EQ(config.encodemethod, kMethodBinHex);
    EXPECT_EQ(config.decodetype, 20);
}

TEST_F(ConfigStoreTest, EollengthFollowsTheLoadedEncodecrlf) {
    const struct {
        const char* stored;
        int eollength;
    } cases[] = {{"175", 2}, {"176", 1}, {"5", 0}};
    for (const auto& c : cases) {
        Config loaded;
        store.keys[kKey]["encodecrlf"] = c.stored;
        LoadSettings(loaded, identity, store, ui);
        EXPECT_EQ(loaded.eollength, c.eollength) << c.stored;
    }
}

TEST_F(ConfigStoreTest, KeyThatCannotBeOpenedCountsOnePerGroup) {
    store.refuseOpen = true;
    EXPECT_EQ(ReadSettingsGroup(config, EncodeGroup(), store, kKey, ui), 1);
    EXPECT_EQ(LoadSettings(config, identity, store, ui), 3);
    EXPECT_EQ(StoredValues(config), StoredValues(Config{}));
    EXPECT_EQ(store.closes, 0);
    EXPECT_EQ(ui.busyDepth, 0);
}

TEST_F(ConfigStoreTest, WriteEncodeGroupWritesExactlyTheSevenValues) {
    store.keys[kKey]["minimizewhenrun"] = "untouched";
    store.keys[kKey]["decodedir"] = "untouched";
    config = UnusualConfig();
    EXPECT_EQ(WriteSettingsGroup(config, EncodeGroup(), store, kKey, ui), 0);
    const std::vector<MemoryStore::Write> expected{{"encodetype", "13", true},
                                                   {"encodecrlf", "176", true},
                                                   {"encodeoutputsize", "1048576", true},
                                                   {"encodemethod", "185", true},
                                                   {"encodechecksum", "1", true},
                                                   {"encodedirselect", "152", true},
                                                   {"encodedir", "C:\\My Files\\out, new", false}};
    EXPECT_EQ(store.writes, expected);
    EXPECT_EQ(store.keys[kKey]["minimizewhenrun"], "untouched");
    EXPECT_EQ(store.keys[kKey]["decodedir"], "untouched");
    EXPECT_EQ(store.keys[kKey].size(), 9U);
    EXPECT_EQ(store.closes, 1);
    EXPECT_EQ(ui.busyDepth, 0);
}

TEST_F(ConfigStoreTest, WriteNeverCreatesTheKey) {
    EXPECT_EQ(WriteSettingsGroup(config, EncodeGroup(), store, kKey, ui), 1);
    EXPECT_TRUE(store.writes.empty());
    EXPECT_TRUE(store.keys.empty());
}

TEST_F(ConfigStoreTest, FailedWritesAreCountedAndTheRestWritten) {
    store.keys[kKey];
    store.failingWrites = {"decodejoin", "decodedir"};
    EXPECT_EQ(WriteSettingsGroup(config, DecodeGroup(), store, kKey, ui), 2);
    EXPECT_EQ(store.writes.size(), 7U);
    EXPECT_EQ(store.keys[kKey].size(), 5U);
}

TEST_F(ConfigStoreTest, ProgramPathIsWrittenAsText) {
    store.keys[kKey];
    config.fullpath = "/usr/bin/mandrel32";
    EXPECT_EQ(WriteSettingsGroup(config, ProgramPathGroup(), store, kKey, ui), 0);
    const std::vector<MemoryStore::Write> expected{{"fullpath", "/usr/bin/mandrel32", false}};
    EXPECT_EQ(store.writes, expected);
}

// --- The INI-file store ---

class ScratchDir : public test::TempDir {
public:
    std::string Path() const { return path().string(); }
};

std::string ReadText(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

class QSettingsStoreTest : public ::testing::Test {
protected:
    std::string ConfFile() const { return dir.Path() + "/Quorvane, Inc./Mandrel32.conf"; }

    // Loads a fresh record through a fresh store, as a new run of the program would.
    int LoadFresh(Config& loaded) {
        QSettingsStore fresh(dir.Path());
        Identity id;
        return LoadSettings(loaded, id, fresh, ui);
    }

    ScratchDir dir;
    ScriptedUi ui;
};

TEST_F(QSettingsStoreTest, FileForKey) {
    QSettingsStore store(dir.Path());
    EXPECT_EQ(store.FileForKey(kKey), ConfFile());
    EXPECT_EQ(store.FileForKey("Software\\Quorvane, Inc.\\Mandrel32"), "");
    EXPECT_EQ(store.FileForKey("Hardware\\Quorvane, Inc.\\Mandrel32\\2.0"), "");
    EXPECT_EQ(store.FileForKey(""), "");
}

TEST_F(QSettingsStoreTest, FirstRunCreatesTheFileAndKeepsDefaults) {
    ASSERT_FALSE(fs::exists(ConfFile()));
    Config config;
    EXPECT_EQ(LoadFresh(config), 19);
    EXPECT_TRUE(fs::is_regular_file(ConfFile()));
    EXPECT_EQ(StoredValues(config), StoredValues(Config{}));
    EXPECT_TRUE(ui.messages.empty());
}

TEST_F(QSettingsStoreTest, WriteThenReadRoundTrips) {
    Config config;
    LoadFresh(config);
    config = UnusualConfig();
    QSettingsStore store(dir.Path());
    for (const auto group : {GeneralGroup(), EncodeGroup(), DecodeGroup()}) {
        EXPECT_EQ(WriteSettingsGroup(config, group, store, kKey, ui), 0);
    }
    Config loaded;
    EXPECT_EQ(LoadFresh(loaded), 0);
    EXPECT_EQ(StoredValues(loaded), StoredValues(config));
    EXPECT_EQ(loaded.eollength, 1);
}

TEST_F(QSettingsStoreTest, HostileTextsRoundTrip) {
    Config config;
    LoadFresh(config);
    const std::vector<std::string> texts{
        "a=b;c#d",           "[2.0]",     "@Variant(x)", "\"quoted\"", "trailing\\",
        "\\\\server\\share", "tab\there", "   ",         "x,y,z",      std::string(255, 'w')};
    QSettingsStore store(dir.Path());
    for (const std::string& text : texts) {
        config.encodedir = text;
        EXPECT_EQ(WriteSettingsGroup(config, EncodeGroup(), store, kKey, ui), 0);
        Config loaded;
        LoadFresh(loaded);
        EXPECT_EQ(loaded.encodedir, text);
    }
}

TEST_F(QSettingsStoreTest, ValuesLandInTheVersionSection) {
    Config config;
    LoadFresh(config);
    QSettingsStore store(dir.Path());
    EXPECT_EQ(WriteSettingsGroup(config, EncodeGroup(), store, kKey, ui), 0);
    const std::string text = ReadText(ConfFile());
    EXPECT_EQ(text.rfind("[2.0]\n", 0), 0U) << text;
    for (const char* line : {"\nencodetype=3\n", "\nencodecrlf=175\n", "\nencodeoutputsize=60000\n",
                             "\nencodemethod=182\n", "\nencodechecksum=0\n",
                             "\nencodedirselect=151\n", "\nencodedir=\n"}) {
        EXPECT_NE(text.find(line), std::string::npos) << line;
    }
    EXPECT_EQ(text.find("decode"), std::string::npos);
    EXPECT_EQ(text.find("minimizewhenrun"), std::string::npos);
}

TEST_F(QSettingsStoreTest, WriteWithoutTheFileFails) {
    QSettingsStore store(dir.Path());
    const Config config;
    EXPECT_EQ(WriteSettingsGroup(config, EncodeGroup(), store, kKey, ui), 1);
    EXPECT_FALSE(fs::exists(ConfFile()));
}

class QSettingsDamagedTest : public QSettingsStoreTest,
                             public ::testing::WithParamInterface<std::string> {};

TEST_P(QSettingsDamagedTest, DamagedFileLeavesTheDefaults) {
    fs::create_directories(dir.Path() + "/Quorvane, Inc.");
    {
        std::ofstream out(ConfFile(), std::ios::binary);
        out << GetParam();
    }
    Config config;
    EXPECT_GT(LoadFresh(config), 0);
    EXPECT_EQ(StoredValues(config), StoredValues(Config{}));
}

INSTANTIATE_TEST_SUITE_P(
    Config, QSettingsDamagedTest,
    ::testing::Values(std::string("\0\x01\x02\xff\xfe binary \x80\x81\n\n", 18),
                      "[[[[\n]]]]\n====\n",
                      "[2.0]\nencodeoutputsize=not a number\nencodecrlf=\nencodetype=3.5\n",
                      "[2.0]\nencodemethod=183,184\ndecodejoin=1 2\n",
                      "[2.0]\nencodedir=" + std::string(300, 'p') + "\n",
                      "[1.0]\nencodemethod=183\n", "encodemethod=183\n"));

}  // namespace
}  // namespace mandrel
