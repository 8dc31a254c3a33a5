// The settings store of this platform: an INI file per settings key through QSettings, found at
// $XDG_CONFIG_HOME/<company>/<internal name>.conf with the version as its section.
#pragma once

#include <memory>
#include <string>

#include "core/settings_store.h"

class QSettings;

namespace mandrel {

class QSettingsStore : public SettingsStore {
public:
    // configDirectory empty: the user's configuration directory.
    explicit QSettingsStore(std::string configDirectory = {});
    ~QSettingsStore() override;
    QSettingsStore(const QSettingsStore&) = delete;
    QSettingsStore& operator=(const QSettingsStore&) = delete;

    bool OpenKey(std::string_view key, bool create) override;
    std::optional<std::string> ReadValue(std::string_view name) override;
    bool WriteNumber(std::string_view name, int32_t value) override;
    bool WriteText(std::string_view name, std::string_view value) override;
    void CloseKey() override;

    // The file behind a key "Software\<company>\<name>\<version>", "" for another shape.
    std::string FileForKey(std::string_view key) const;

private:
    std::string configDirectory_;
    std::unique_ptr<QSettings> settings_;
    bool damaged_ = false;
};

}  // namespace mandrel
