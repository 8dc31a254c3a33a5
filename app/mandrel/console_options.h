// The console program's own long options: --help, --version, --quiet, --verbose, --save,
// --report=FORM and --NAME=VALUE for the stored settings, read before the described command line.
#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "core/config.h"

namespace mandrel {

class UserPort;

struct ConsoleOptions {
    bool help = false;
    bool version = false;
    bool quiet = false;
    bool verbose = false;
    bool save = false;
    bool jsonReport = false;  // --report=json: a JSON object a job on standard output
    // --NAME=VALUE in the order given.
    std::vector<std::pair<const SettingDesc*, std::string>> settings;
    // The other arguments, in their order: switches and file names.
    std::vector<std::string> rest;
    // Where the arguments after "--" begin in rest: file names, whatever they look like.
    std::size_t namesFrom = std::string::npos;
};

// Which groups the settings options touched and which of the coupled values were given.
struct SettingChanges {
    bool general = false;
    bool encode = false;
    bool decode = false;
    bool encodetype = false;
    bool encodecrlf = false;
};

// Takes the long options out of arguments wherever they stand before "--"; the argument after
// -O or -M is the switch's value, never an option. Returns an error text for an unknown option
// or a setting without a value.
std::optional<std::string> ReadConsoleOptions(std::span<const std::string> arguments,
                                              ConsoleOptions& options);

// Sets the settings options into config. Returns an error text for the first invalid value,
// leaving config unchanged.
std::optional<std::string> ApplySettingOptions(const ConsoleOptions& options, Config& config,
                                               SettingChanges& changes);

// Holds config to the rules of the Encode Configuration dialog: the method and the format
// restrict each other, the end of line follows the format, the output size stays in range.
void ApplyEncodeCouplings(Config& config, const SettingChanges& changes, UserPort& ui);

std::string HelpText(std::string_view programName);

}  // namespace mandrel
