// The settings record, its stored groups, the file-format table and the program's identity.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <variant>

#include "core/file_formats.h"

namespace mandrel {

class SettingsStore;
class UserPort;

// Stored numbers that are dialog control ids; they are part of the stored format.
enum EncodingMethod : int32_t {
    kMethodUU = 182,
    kMethodXX = 183,
    kMethodMIME = 184,
    kMethodBinHex = 185,
};
// The EncodingIndex (1 UU .. 4 BinHex) of an EncodingMethod value, 0 for any other value.
constexpr int EncodingForMethod(int32_t method) {
    return method >= kMethodUU && method <= kMethodBinHex ? method - kMethodUU + 1 : 0;
}
enum DecodeMethod : int32_t {
    kDecodeByFileName = 180,
    kDecodeByDataInput = 181,  // 182 to 185: that encoding only
};
enum OutputDirChoice : int32_t { kDirSameAsInput = 151, kDirUserSpecified = 152 };
enum EndOfLineChoice : int32_t { kEolCrLf = 175, kEolLf = 176 };

inline constexpr int32_t kMinOutputSize = 4500;
inline constexpr int32_t kMaxOutputSize = 1048576;
inline constexpr int32_t kDefaultOutputSize = 60000;

// Every field is named after its stored value name.
struct Config {
    // General group
    int32_t minimizewhenrun = 0;
    int32_t stayiconwhendone = 0;
    int32_t usedefaultnames = 0;
    int32_t overwriteexisting = 0;
    int32_t nostatusmessages = 0;
    // Encode group
    int32_t encodetype = 3;
    int32_t encodecrlf = kEolCrLf;
    int32_t encodeoutputsize = kDefaultOutputSize;
    int32_t encodemethod = kMethodUU;
    int32_t encodechecksum = 0;
    int32_t encodedirselect = kDirSameAsInput;
    std::string encodedir;
    // Decode group
    int32_t decodejoin = 1;
    int32_t decodeautodetect = 1;
    int32_t decodetype = 3;
    int32_t decodetestchecksum = 1;
    int32_t decodemethod = kDecodeByDataInput;
    int32_t decodedirselect = kDirSameAsInput;
    std::string decodedir;
    // Program-path group: written with the file associations, never read back.
    std::string fullpath;
    // Derived from encodecrlf, not stored.
    int eollength = 2;
};

// One stored value: its name, the field it fills, the kind (1 number, 2 long, 3 text) and the
// field's capacity in bytes (texts hold capacity - 1 characters).
struct SettingDesc {
    const char* name;
    std::variant<int32_t Config::*, std::string Config::*> field;
    int kind;
    int size;
};

std::span<const SettingDesc> GeneralGroup();
std::span<const SettingDesc> EncodeGroup();
std::span<const SettingDesc> DecodeGroup();
std::span<const SettingDesc> ProgramPathGroup();

// Finds a value of the general, encode or decode group by name; null when there is none.
const SettingDesc* FindSetting(std::string_view name);

// The identity strings, read from the program's compiled-in version strings.
struct Identity {
    std::string productName = "Mandrel Desktop 32";
    std::string internalName = "Mandrel32";
    std::string version = "2.0";
    std::string companyName = "Quorvane, Inc.";
    std::string aboutMaker;
    std::string SettingsKey;
};

// The version strings compiled into the program: ProductName, InternalName, ProductVersion,
// CompanyName, ReleaseDate. Returns false, leaving out unchanged, for an unknown name.
bool GetVersionString(std::string_view name, std::string& out);

// A part size held to 4500..1048576: one outside becomes 60000, said first when warn is set.
int32_t CheckOutputSize(UserPort& ui, int64_t size, bool warn);
// The output size a dialog's text asks for: its leading decimal number (0 when it does not
// begin with one). A size outside 4500..1048576 becomes 60000, said first when warn is set.
int32_t ValidateOutputSize(UserPort& ui, std::string_view text, bool warn);

// Length of the encoder's end-of-line text for an encodecrlf value.
int EolLengthFor(int32_t encodecrlf);

// Fills identity, reads the three groups, sets eollength; returns the number of values that
// could not be read (missing values are normal on a first run).
int LoadSettings(Config& config, Identity& identity, SettingsStore& store, UserPort& ui);
int ReadSettingsGroup(Config& config, std::span<const SettingDesc> group, SettingsStore& store,
                      std::string_view key, UserPort& ui);
int WriteSettingsGroup(const Config& config, std::span<const SettingDesc> group,
                       SettingsStore& store, std::string_view key, UserPort& ui);

// Sets one value from its text as stored; false when the text is not a valid value.
bool SetSettingFromText(Config& config, const SettingDesc& desc, std::string_view text);
// The value as it is stored.
std::string SettingAsText(const Config& config, const SettingDesc& desc);

}  // namespace mandrel
