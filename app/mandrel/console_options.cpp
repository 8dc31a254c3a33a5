#include "console_options.h"

#include <algorithm>
#include <array>
#include <cctype>

#include "core/format.h"
#include "core/user_port.h"

namespace mandrel {

namespace {

// What a stored value may hold; the console refuses anything a dialog could not have stored.
enum class ValueRule {
    Flag,
    EncodeFormat,
    DecodeFormat,
    EncodeMethod,
    DecodeMethod,
    EndOfLine,
    Directory,
    Size,
    Text
};

struct NamedRule {
    std::string_view name;
    ValueRule rule;
};

constexpr std::array<NamedRule, 19> kRules{{
    {"minimizewhenrun", ValueRule::Flag},
    {"stayiconwhendone", ValueRule::Flag},
    {"usedefaultnames", ValueRule::Flag},
    {"overwriteexisting", ValueRule::Flag},
    {"nostatusmessages", ValueRule::Flag},
    {"encodetype", ValueRule::EncodeFormat},
    {"encodecrlf", ValueRule::EndOfLine},
    {"encodeoutputsize", ValueRule::Size},
    {"encodemethod", ValueRule::EncodeMethod},
    {"encodechecksum", ValueRule::Flag},
    {"encodedirselect", ValueRule::Directory},
    {"encodedir", ValueRule::Text},
    {"decodejoin", ValueRule::Flag},
    {"decodeautodetect", ValueRule::Flag},
    {"decodetype", ValueRule::DecodeFormat},
    {"decodetestchecksum", ValueRule::Flag},
    {"decodemethod", ValueRule::DecodeMethod},
    {"decodedirselect", ValueRule::Directory},
    {"decodedir", ValueRule::Text},
}};

ValueRule RuleFor(std::string_view name) {
    for (const NamedRule& entry : kRules) {
        if (entry.name == name) {
            return entry.rule;
        }
    }
    return ValueRule::Text;
}

bool EqualNoCase(std::string_view a, std::string_view b) {
    return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin(), [](char x, char y) {
               return std::tolower(static_cast<unsigned char>(x)) ==
                      std::tolower(static_cast<unsigned char>(y));
           });
}

// Formats offered in the dialogs' lists: rows 3 to 20 with the flag of the list.
bool Offered(const FileFormatRow& row, bool encoding) {
    return row.id >= kFormatSingleFile && (encoding ? row.encodable : row.decodable) != 0;
}

bool OfferedId(int32_t id, bool encoding) {
    if (id < 0 || id >= kFileFormatCount) {
        return false;
    }
    return Offered(FileFormatTable()[static_cast<std::size_t>(id)], encoding);
}

// The id of a format display name (exact first, then without regard to case); -1 for none.
int FormatIdByName(std::string_view name) {
    if (const int id = FileFormatByName(name); id >= 0) {
        return id;
    }
    for (const FileFormatRow& row : FileFormatTable()) {
        if (EqualNoCase(row.name, name)) {
            return row.id;
        }
    }
    return -1;
}

struct MethodName {
    std::string_view name;
    int32_t method;
};
constexpr std::array<MethodName, 4> kMethodNames{{
    {"UU", kMethodUU},
    {"XX", kMethodXX},
    {"MIME", kMethodMIME},
    {"BinHex", kMethodBinHex},
}};

// The stored text for a value that may also be given by its name.
std::string StoredText(ValueRule rule, const std::string& value) {
    if (rule == ValueRule::EncodeFormat || rule == ValueRule::DecodeFormat) {
        const int id = FormatIdByName(value);
        if (id >= 0 && OfferedId(id, rule == ValueRule::EncodeFormat)) {
            return std::to_string(id);
        }
    }
    if (rule == ValueRule::EncodeMethod) {
        for (const MethodName& entry : kMethodNames) {
            if (EqualNoCase(entry.name, value)) {
                return std::to_string(entry.method);
            }
        }
    }
    return value;
}

bool Acceptable(ValueRule rule, int32_t value) {
    switch (rule) {
        case ValueRule::Flag:
            return value == 0 || value == 1;
        case ValueRule::EncodeFormat:
            return OfferedId(value, true);
        case ValueRule::DecodeFormat:
            return OfferedId(value, false);
        case ValueRule::EncodeMethod:
            return value >= kMethodUU && value <= kMethodBinHex;
        case ValueRule::DecodeMethod:
            return value >= kDecodeByFileName && value <= kMethodBinHex;
        case ValueRule::EndOfLine:
            return value == kEolCrLf || value == kEolLf;
        case ValueRule::Directory:
            return value == kDirSameAsInput || value == kDirUserSpecified;
        case ValueRule::Size:
        case ValueRule::Text:
            return true;
    }
    return false;
}

std::string FormatNames(bool encoding) {
    std::string names;
    for (const FileFormatRow& row : FileFormatTable()) {
        if (Offered(row, encoding)) {
            names += Format("      %2d  %s\n", row.id, row.name);
        }
    }
    return names;
}

// What a value may be, for the help and for error messages; name is the value's name.
std::string AllowedText(std::string_view name, bool inHelp = false) {
    const ValueRule rule = RuleFor(name);
    switch (rule) {
        case ValueRule::Flag:
            return "0 or 1";
        case ValueRule::EncodeFormat:
            return inHelp ? "an encode format number or name (below)"
                          : "an encode format number or name (listed by --help)";
        case ValueRule::DecodeFormat:
            return inHelp ? "a decode format number or name (below)"
                          : "a decode format number or name (listed by --help)";
        case ValueRule::EncodeMethod:
            return "182 UU, 183 XX, 184 MIME, 185 BinHex (or the name)";
        case ValueRule::DecodeMethod:
            return "180 by file name, 181 by data input, 182..185 UU, XX, MIME, BinHex only";
        case ValueRule::EndOfLine:
            return "175 CR LF, 176 LF";
        case ValueRule::Directory: {
            // encodedirselect chooses between the input's directory and encodedir.
            const std::string_view directory = name.substr(0, name.find("select"));
            return Format("151 beside the input file, 152 in --%.*s",
                          static_cast<int>(directory.size()), directory.data());
        }
        case ValueRule::Size:
            return "4500 to 1048576";
        case ValueRule::Text:
            return "a directory";
    }
    return {};
}

void NoteChange(const SettingDesc& desc, SettingChanges& changes) {
    const auto inGroup = [&desc](std::span<const SettingDesc> group) {
        return std::any_of(group.begin(), group.end(),
                           [&desc](const SettingDesc& row) { return &row == &desc; });
    };
    changes.general = changes.general || inGroup(GeneralGroup());
    changes.encode = changes.encode || inGroup(EncodeGroup());
    changes.decode = changes.decode || inGroup(DecodeGroup());
    const std::string_view name = desc.name;
    changes.encodetype = changes.encodetype || name == "encodetype";
    changes.encodecrlf = changes.encodecrlf || name == "encodecrlf";
}

int32_t NumberOf(const Config& config, const SettingDesc& desc) {
    const auto* field = std::get_if<int32_t Config::*>(&desc.field);
    return field == nullptr ? 0 : config.**field;
}

void AppendGroupHelp(std::string& text, std::string_view title,
                     std::span<const SettingDesc> group) {
    text += Format("  %.*s:\n", static_cast<int>(title.size()), title.data());
    for (const SettingDesc& desc : group) {
        const std::string option = Format("--%s=VALUE", desc.name);
        text += Format("    %-27s %s\n", option.c_str(), AllowedText(desc.name, true).c_str());
    }
}

}  // namespace

namespace {

// A switch whose value is the next argument as it stands (-O name, -M recipients).
bool TakesNextArgument(std::string_view argument) {
    if (argument.size() < 2 || (argument[0] != '-' && argument[0] != '/')) {
        return false;
    }
    const char letter = static_cast<char>(std::toupper(static_cast<unsigned char>(argument[1])));
    return (letter == 'O' && (argument.size() == 2 || argument.substr(2) == ":")) ||
           (letter == 'M' && argument.size() == 2);
}

}  // namespace

std::optional<std::string> ReadConsoleOptions(std::span<const std::string> arguments,
                                              ConsoleOptions& options) {
    bool valueNext = false;
    for (std::size_t i = 0; i < arguments.size(); ++i) {
        const std::string_view argument = arguments[i];
        if (valueNext || !argument.starts_with("--")) {
            options.rest.emplace_back(argument);
            valueNext = !valueNext && TakesNextArgument(argument);
            continue;
        }
        if (argument == "--") {
            options.namesFrom = options.rest.size();
            options.rest.insert(options.rest.end(), arguments.begin() + static_cast<long>(i) + 1,
                                arguments.end());
            break;
        }
        if (argument == "--help") {
            options.help = true;
        } else if (argument == "--version") {
            options.version = true;
        } else if (argument == "--quiet") {
            options.quiet = true;
        } else if (argument == "--verbose") {
            options.verbose = true;
        } else if (argument == "--save") {
            options.save = true;
        } else if (argument.starts_with("--report=")) {
            const std::string_view form = argument.substr(9);
            if (form != "json" && form != "text") {
                return Format("Unknown report form %s: --report=json or --report=text.",
                              std::string(form).c_str());
            }
            options.jsonReport = form == "json";
        } else {
            const std::size_t equals = argument.find('=');
            const std::string_view name = argument.substr(2, equals - 2);
            const SettingDesc* desc = FindSetting(name);
            if (desc == nullptr) {
                return Format("Unknown option %s (try --help).", std::string(argument).c_str());
            }
            if (equals == std::string_view::npos) {
                return Format("Option --%s needs a value: --%s=VALUE.", desc->name, desc->name);
            }
            options.settings.emplace_back(desc, std::string(argument.substr(equals + 1)));
        }
    }
    return std::nullopt;
}

std::optional<std::string> ApplySettingOptions(const ConsoleOptions& options, Config& config,
                                               SettingChanges& changes) {
    Config work = config;
    SettingChanges noted = changes;
    for (const auto& [desc, value] : options.settings) {
        const ValueRule rule = RuleFor(desc->name);
        const bool isNumber = std::holds_alternative<int32_t Config::*>(desc->field);
        if (!SetSettingFromText(work, *desc, StoredText(rule, value)) ||
            (isNumber && !Acceptable(rule, NumberOf(work, *desc)))) {
            return Format("Invalid value \"%s\" for --%s: expected %s.", value.c_str(), desc->name,
                          AllowedText(desc->name).c_str());
        }
        NoteChange(*desc, noted);
    }
    config = std::move(work);
    changes = noted;
    return std::nullopt;
}

void ApplyEncodeCouplings(Config& config, const SettingChanges& changes, UserPort& ui) {
    bool formatChanged = changes.encodetype;
    // MIME and BinHex have no multi-part formats and no checksum lines.
    if (config.encodemethod == kMethodMIME || config.encodemethod == kMethodBinHex) {
        if (config.encodetype != kFormatSingleFile) {
            config.encodetype = kFormatSingleFile;
            formatChanged = true;
        }
        config.encodechecksum = 0;
    }
    // A shell archive is unpacked by sh, which wants LF and reads no checksum lines; other
    // formats take CR LF unless the user chose the end of line as well.
    if (FileFormat(config.encodetype).script) {
        config.encodecrlf = kEolLf;
        config.encodechecksum = 0;
    } else if (formatChanged && !changes.encodecrlf) {
        config.encodecrlf = kEolCrLf;
    }
    config.encodeoutputsize = CheckOutputSize(ui, config.encodeoutputsize, true);
    config.eollength = EolLengthFor(config.encodecrlf);
}

std::string HelpText(std::string_view programName) {
    const std::string program(programName);
    std::string text = Format("Usage: %s [OPTIONS] [SWITCHES] FILE...\n", program.c_str());
    text +=
        "Encodes files as UU, XX, MIME (Base64) or BinHex text, whole or in parts, and decodes\n"
        "such text back into the files.\n"
        "\n"
        "Switches (introduced by - or /, letter in either case):\n"
        "  -E[u|x|m|b]    encode the files (UU, XX, MIME or BinHex; default: the setting)\n"
        "  -C             encode to the clipboard\n"
        "  -M NAME[,NAME] encode and mail the parts to the recipients; -M@ to choose them\n"
        "  -J             join the files before decoding them\n"
        "  -N             no questions: use default names and replace existing files\n"
        "  -O NAME        output file name; -O - writes the one output file to standard output\n"
        "  -R             make the file associations\n"
        "Switches come before the file names. Without -E, -C or -M the files are decoded: mail\n"
        "and news headers are skipped, and the format and encoding of every part are recognised.\n"
        "A file named - is standard input (encoded under the -O name, or as \"stdin\"); its\n"
        "outputs go to the current directory. After -- every argument is a file name.\n"
        "\n"
        "Options (anywhere before --):\n"
        "  --help         show this text\n"
        "  --version      show the program's version\n"
        "  --quiet        print no report for each file\n"
        "  --verbose      print the status of the running job on standard error\n"
        "  --report=json  print a JSON object for each file instead of the report: input,\n"
        "                 outputs, encoding, format, parts found and missing, warnings,\n"
        "                 checksum result and result\n"
        "  --save         keep the settings given with --NAME=VALUE for later runs\n"
        "  --NAME=VALUE   change a setting for this run; values as stored:\n";
    AppendGroupHelp(text, "General", GeneralGroup());
    AppendGroupHelp(text, "Encode", EncodeGroup());
    AppendGroupHelp(text, "Decode", DecodeGroup());
    text += "\n  Encode formats (number or name):\n";
    text += FormatNames(true);
    text += "  Decode formats (number or name):\n";
    text += FormatNames(false);
    text +=
        "\n"
        "Exit status: 0 when every file succeeded, 1 when a file failed or was cancelled or\n"
        "a decoded file's checksums disagree, 2 for a bad command line, 3 when every file was\n"
        "done but a decode came with a warning.\n";
    return text;
}

}  // namespace mandrel
