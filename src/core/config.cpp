#include "core/config.h"

#include <array>
#include <cstddef>
#include <limits>

#include "core/settings_store.h"
#include "core/user_port.h"
#include "core/version_strings.h"

namespace mandrel {

namespace {

constexpr int kKindNumber = 1;
constexpr int kKindLong = 2;
constexpr int kKindText = 3;
constexpr int kNumberSize = 4;
constexpr int kPathSize = 256;

// The order of every group is the order in which its values are read and written.
const std::array<SettingDesc, 5> kGeneralGroup{{
    {"minimizewhenrun", &Config::minimizewhenrun, kKindNumber, kNumberSize},
    {"stayiconwhendone", &Config::stayiconwhendone, kKindNumber, kNumberSize},
    {"usedefaultnames", &Config::usedefaultnames, kKindNumber, kNumberSize},
    {"overwriteexisting", &Config::overwriteexisting, kKindNumber, kNumberSize},
    {"nostatusmessages", &Config::nostatusmessages, kKindNumber, kNumberSize},
}};

const std::array<SettingDesc, 7> kEncodeGroup{{
    {"encodetype", &Config::encodetype, kKindNumber, kNumberSize},
    {"encodecrlf", &Config::encodecrlf, kKindNumber, kNumberSize},
    {"encodeoutputsize", &Config::encodeoutputsize, kKindLong, kNumberSize},
    {"encodemethod", &Config::encodemethod, kKindNumber, kNumberSize},
    {"encodechecksum", &Config::encodechecksum, kKindNumber, kNumberSize},
    {"encodedirselect", &Config::encodedirselect, kKindNumber, kNumberSize},
    {"encodedir", &Config::encodedir, kKindText, kPathSize},
}};

const std::array<SettingDesc, 7> kDecodeGroup{{
    {"decodejoin", &Config::decodejoin, kKindNumber, kNumberSize},
    {"decodeautodetect", &Config::decodeautodetect, kKindNumber, kNumberSize},
    {"decodetype", &Config::decodetype, kKindNumber, kNumberSize},
    {"decodetestchecksum", &Config::decodetestchecksum, kKindNumber, kNumberSize},
    {"decodemethod", &Config::decodemethod, kKindNumber, kNumberSize},
    {"decodedirselect", &Config::decodedirselect, kKindNumber, kNumberSize},
    {"decodedir", &Config::decodedir, kKindText, kPathSize},
}};

// Written with the file associations only; the running program always knows its own path.
const std::array<SettingDesc, 1> kProgramPathGroup{{
    {"fullpath", &Config::fullpath, kKindText, kPathSize},
}};

// Capacities of the identity fields, terminator included.
constexpr std::size_t kProductNameSize = 48;
constexpr std::size_t kInternalNameSize = 32;
constexpr std::size_t kVersionSize = 8;
constexpr std::size_t kCompanyNameSize = 32;

// Replaces field by the named version string, cut to the field's capacity; false when the
// string cannot be had (the built-in value stays).
bool TakeVersionString(std::string_view name, std::size_t capacity, std::string& field) {
    std::string text;
    if (!GetVersionString(name, text)) {
        return false;
    }
    if (text.size() > capacity - 1) {
        text.resize(capacity - 1);
    }
    field = std::move(text);
    return true;
}

void LoadIdentity(Identity& identity) {
    TakeVersionString("ProductName", kProductNameSize, identity.productName);
    TakeVersionString("InternalName", kInternalNameSize, identity.internalName);
    // "2.0.0" keys the settings as "2.0", so that bug-fix releases share their settings.
    if (TakeVersionString("ProductVersion", kVersionSize, identity.version)) {
        const std::size_t lastDot = identity.version.rfind('.');
        if (lastDot != std::string::npos) {
            identity.version.resize(lastDot);
        }
    }
    TakeVersionString("CompanyName", kCompanyNameSize, identity.companyName);
    identity.aboutMaker = identity.companyName;
    identity.SettingsKey = "Software\\" + identity.companyName + "\\" + identity.internalName +
                           "\\" + identity.version;
}

bool IsDigit(char c) {
    return c >= '0' && c <= '9';
}

// Whole text: an optional sign, then decimal digits only, within 32 bits.
bool ParseInt32(std::string_view text, int32_t& value) {
    bool negative = false;
    if (!text.empty() && (text.front() == '+' || text.front() == '-')) {
        negative = text.front() == '-';
        text.remove_prefix(1);
    }
    if (text.empty()) {
        return false;
    }
    const int64_t limit = negative ? -static_cast<int64_t>(std::numeric_limits<int32_t>::min())
                                   : static_cast<int64_t>(std::numeric_limits<int32_t>::max());
    int64_t magnitude = 0;
    for (const char c : text) {
        if (!IsDigit(c)) {
            return false;
        }
        magnitude = magnitude * 10 + (c - '0');
        if (magnitude > limit) {
            return false;
        }
    }
    value = static_cast<int32_t>(negative ? -magnitude : magnitude);
    return true;
}

}  // namespace

std::span<const SettingDesc> GeneralGroup() {
    return kGeneralGroup;
}
std::span<const SettingDesc> EncodeGroup() {
    return kEncodeGroup;
}
std::span<const SettingDesc> DecodeGroup() {
    return kDecodeGroup;
}
std::span<const SettingDesc> ProgramPathGroup() {
    return kProgramPathGroup;
}

const SettingDesc* FindSetting(std::string_view name) {
    for (const auto group : {GeneralGroup(), EncodeGroup(), DecodeGroup()}) {
        for (const SettingDesc& desc : group) {
            if (name == desc.name) {
                return &desc;
            }
        }
    }
    return nullptr;
}

bool GetVersionString(std::string_view name, std::string& out) {
    struct Entry {
        std::string_view name;
        const char* value;
    };
    const std::array<Entry, 5> entries{{
        {"ProductName", version::kProductName},
        {"InternalName", version::kInternalName},
        {"ProductVersion", version::kProductVersion},
        {"CompanyName", version::kCompanyName},
        {"ReleaseDate", version::kReleaseDate},
    }};
    for (const Entry& entry : entries) {
        if (entry.name == name) {
            out = entry.value;
            return true;
        }
    }
    return false;
}

int32_t ValidateOutputSize(UserPort& ui, std::string_view text, bool warn) {
    std::size_t pos = 0;
    while (pos < text.size() && (text[pos] == ' ' || text[pos] == '\t')) {
        ++pos;
    }
    const bool negative = pos < text.size() && text[pos] == '-';
    if (pos < text.size() && (text[pos] == '-' || text[pos] == '+')) {
        ++pos;
    }
    int64_t value = 0;
    for (; pos < text.size() && IsDigit(text[pos]) && value <= kMaxOutputSize; ++pos) {
        value = value * 10 + (text[pos] - '0');
    }
    return CheckOutputSize(ui, negative ? -value : value, warn);
}

int32_t CheckOutputSize(UserPort& ui, int64_t size, bool warn) {
    if (size >= kMinOutputSize && size <= kMaxOutputSize) {
        return static_cast<int32_t>(size);
    }
    if (warn) {
        ShowMessage(ui, kMbExclamation, "Output Size Must be between %ld and %ld.",
                    static_cast<long>(kMinOutputSize), static_cast<long>(kMaxOutputSize));
    }
    return kDefaultOutputSize;
}

int EolLengthFor(int32_t encodecrlf) {
    if (encodecrlf == kEolCrLf) {
        return 2;
    }
    if (encodecrlf == kEolLf) {
        return 1;
    }
    return 0;
}

int LoadSettings(Config& config, Identity& identity, SettingsStore& store, UserPort& ui) {
    LoadIdentity(identity);
    int failures = 0;
    for (const auto group : {GeneralGroup(), EncodeGroup(), DecodeGroup()}) {
        failures += ReadSettingsGroup(config, group, store, identity.SettingsKey, ui);
    }
    config.eollength = EolLengthFor(config.encodecrlf);
    return failures;
}

int ReadSettingsGroup(Config& config, std::span<const SettingDesc> group, SettingsStore& store,
                      std::string_view key, UserPort& ui) {
    if (!store.OpenKey(key, true)) {
        return 1;
    }
    SetBusyCursor(ui);
    int failures = 0;
    for (const SettingDesc& desc : group) {
        // A missing or unusable value leaves the field as it was.
        const std::optional<std::string> text = store.ReadValue(desc.name);
        if (!text || !SetSettingFromText(config, desc, *text)) {
            ++failures;
        }
    }
    store.CloseKey();
    RestoreCursor(ui);
    return failures;
}

int WriteSettingsGroup(const Config& config, std::span<const SettingDesc> group,
                       SettingsStore& store, std::string_view key, UserPort& ui) {
    // The key was made when the settings were first read; writing never creates it.
    if (!store.OpenKey(key, false)) {
        return 1;
    }
    SetBusyCursor(ui);
    int failures = 0;
    for (const SettingDesc& desc : group) {
        const bool written =
            desc.kind == kKindText
                ? store.WriteText(desc.name, config.*std::get<std::string Config::*>(desc.field))
                : store.WriteNumber(desc.name, config.*std::get<int32_t Config::*>(desc.field));
        if (!written) {
            ++failures;
        }
    }
    store.CloseKey();
    RestoreCursor(ui);
    return failures;
}

bool SetSettingFromText(Config& config, const SettingDesc& desc, std::string_view text) {
    if (const auto* number = std::get_if<int32_t Config::*>(&desc.field)) {
        int32_t value = 0;
        if (!ParseInt32(text, value)) {
            return false;
        }
        config.*(*number) = value;
        return true;
    }
    const auto field = std::get<std::string Config::*>(desc.field);
    if (desc.size < 1 || text.size() > static_cast<std::size_t>(desc.size - 1)) {
        return false;
    }
    config.*field = std::string(text);
    return true;
}

std::string SettingAsText(const Config& config, const SettingDesc& desc) {
    if (const auto* number = std::get_if<int32_t Config::*>(&desc.field)) {
        return std::to_string(config.*(*number));
    }
    return config.*std::get<std::string Config::*>(desc.field);
}

}  // namespace mandrel
