// Where the settings groups are kept: the registry on Windows, an INI file elsewhere. The
// engines see only this interface.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace mandrel {

class SettingsStore {
public:
    virtual ~SettingsStore() = default;
    // Opens the settings key; create = make it when missing. False when it cannot be had.
    virtual bool OpenKey(std::string_view key, bool create) = 0;
    // The stored text of a value, or nothing when it is missing or unreadable.
    virtual std::optional<std::string> ReadValue(std::string_view name) = 0;
    virtual bool WriteNumber(std::string_view name, int32_t value) = 0;
    virtual bool WriteText(std::string_view name, std::string_view value) = 0;
    // Makes the writes lasting and releases the key.
    virtual void CloseKey() = 0;
};

}  // namespace mandrel
