#include "shell/command_line.h"

#include <algorithm>
#include <cctype>
#include <cstddef>

#include "core/format.h"
#include "shell/app_state.h"

namespace mandrel {

namespace {

constexpr std::size_t kMaxOutputNameLength = 255;

bool IsBlank(char c) {
    return c == ' ' || c == '\t';
}
bool EndsToken(char c) {
    return c == ' ' || c == '\t' || c == ',';
}

std::size_t SkipBlanksFrom(std::string_view text, std::size_t pos) {
    while (pos < text.size() && IsBlank(text[pos])) {
        ++pos;
    }
    return pos;
}

char At(std::string_view text, std::size_t pos) {
    return pos < text.size() ? text[pos] : '\0';
}

// A character that may stand in the output name of the O switch. Unlike names taken from encoded
// text, bytes of 128 and above are kept: the name is the user's own and often UTF-8.
bool ValidInOutputName(char c) {
    if (static_cast<unsigned char>(c) < 32) {
        return false;
    }
    switch (c) {
        case '*':
        case '<':
        case '>':
        case '?':
        case '|':
            return false;
        default:
            return true;
    }
}

void AddRecipient(RunOptions& job, std::string_view name) {
    // The table holds kMaxRecipients; later ones are read and dropped.
    if (job.Recipients.size() >= static_cast<std::size_t>(kMaxRecipients)) {
        return;
    }
    job.Recipients.push_back({std::string(name), "SMTP:" + std::string(name)});
}

// Reads the recipients that follow "M"; returns where switch reading goes on.
std::size_t ReadRecipients(RunOptions& job, std::string_view text, std::size_t pos) {
    pos = SkipBlanksFrom(text, pos);
    for (;;) {
        std::size_t end = pos;
        while (end < text.size() && !EndsToken(text[end])) {
            ++end;
        }
        AddRecipient(job, text.substr(pos, end - pos));
        if (end >= text.size()) {
            return end;
        }
        // A comma chains the next name straight after it; a blank or tab ends the list.
        pos = end + 1;
        if (text[end] != ',') {
            return pos;
        }
    }
}

// Reads the output name of the O switch that starts at switchPos; returns where reading goes on.
std::size_t ReadOutputName(RunOptions& job, std::string_view text, std::size_t switchPos) {
    std::size_t pos = SkipBlanksFrom(text, std::min(switchPos + 4, text.size()));
    const std::size_t start = pos;
    while (pos < text.size() && ValidInOutputName(text[pos])) {
        ++pos;
    }
    job.CommandLineOutputName =
        std::string(text.substr(start, std::min(pos - start, kMaxOutputNameLength)));
    return pos;
}

void SetEncodeMethod(Config& config, char letter) {
    switch (letter) {
        case 'U':
            config.encodemethod = kMethodUU;
            break;
        case 'X':
            config.encodemethod = kMethodXX;
            break;
        case 'M':
            config.encodemethod = kMethodMIME;
            config.encodetype = kFormatSingleFile;
            break;
        case 'B':
            config.encodemethod = kMethodBinHex;
            config.encodetype = kFormatSingleFile;
            break;
        default:
            break;
    }
}

bool IsMethodLetter(char letter) {
    return letter == 'U' || letter == 'X' || letter == 'M' || letter == 'B';
}

char Upper(char c) {
    return static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
}

// Reads switches while they last; returns where the file names begin.
std::size_t ReadSwitches(AppState& app, std::string_view text) {
    RunOptions& job = app.options;
    std::size_t pos = 0;
    for (;;) {
        pos = SkipBlanksFrom(text, pos);
        const char lead = At(text, pos);
        if (lead != '-' && lead != '/') {
            return pos;
        }
        switch (Upper(At(text, pos + 1))) {
            case 'C':
                job.EncodeToClipboard = true;
                job.CmdLineEncode = 1;
                pos += 2;
                break;
            case 'E': {
                job.CmdLineEncode = 1;
                const char method = Upper(At(text, pos + 2));
                if (IsMethodLetter(method)) {
                    SetEncodeMethod(app.config, method);
                    pos += 3;
                } else {
                    pos += 2;
                }
                break;
            }
            case 'J':
                app.config.decodejoin = 1;
                pos += 2;
                break;
            case 'M':
                job.EncodeToMail = true;
                job.CmdLineEncode = 1;
                job.Recipients.clear();
                if (At(text, pos + 2) == '@') {
                    job.CmdLineEncode = 2;
                    pos += 3;
                } else {
                    pos = ReadRecipients(job, text, pos + 2);
                }
                break;
            case 'N':
                job.Interactive = 0;
                pos += 2;
                break;
            case 'O':
                pos = ReadOutputName(job, text, pos);
                break;
            case 'R':
                job.RunAssociations = true;
                pos += 2;
                break;
            default:
                return pos;
        }
    }
}

void AddFileName(FileListState& job, std::string_view name) {
    // An empty name (two commas in a row, "") names no file.
    if (name.empty() || job.FileList.size() >= static_cast<std::size_t>(kMaxFileList)) {
        return;
    }
    job.FileList.emplace_back(name);
}

void ReadFileNames(FileListState& job, std::string_view text, std::size_t pos) {
    for (;;) {
        pos = SkipBlanksFrom(text, pos);
        if (pos >= text.size()) {
            return;
        }
        // A quote counts only where a name starts, so that unquoted names before a quoted one
        // are kept.
        if (text[pos] == '"') {
            const std::size_t start = pos + 1;
            const std::size_t close = text.find('"', start);
            const std::size_t end = close == std::string_view::npos ? text.size() : close;
            AddFileName(job, text.substr(start, end - start));
            pos = end + 1;
            continue;
        }
        std::size_t end = pos;
        while (end < text.size() && !EndsToken(text[end])) {
            ++end;
        }
        AddFileName(job, text.substr(pos, end - pos));
        pos = end + 1;
    }
}

bool IsSwitchArgument(std::string_view argument) {
    return !argument.empty() && (argument[0] == '-' || argument[0] == '/');
}

bool IsBareSwitch(std::string_view argument, char letter) {
    return argument.size() == 2 && IsSwitchArgument(argument) && Upper(argument[1]) == letter;
}

// Blanks, tabs and commas would split a file name; absolute paths such as /Music/a.mp3 would
// otherwise read as a switch.
bool NeedsQuotes(std::string_view argument) {
    if (argument.empty() || argument.find('"') != std::string_view::npos) {
        return false;
    }
    if (argument.find_first_of(" \t") != std::string_view::npos) {
        return true;
    }
    if (argument[0] == '/') {
        return argument.find('/', 1) != std::string_view::npos;
    }
    return argument[0] != '-' && argument.find(',') != std::string_view::npos;
}

bool IsBareOutputSwitch(std::string_view argument) {
    return argument.size() >= 2 && (argument[0] == '-' || argument[0] == '/') &&
           Upper(argument[1]) == 'O' && (argument.size() == 2 || argument.substr(2) == ":");
}

}  // namespace

void ParseCommandLine(AppState& app, std::string_view commandLine) {
    FileListState& list = app.list;
    list.FileList.clear();
    list.FileCount = 0;
    list.FileIndex = 0;
    app.options.CommandLineOutputName.clear();

    const std::size_t names = ReadSwitches(app, commandLine);
    ReadFileNames(list, commandLine, names);
    list.FileCount = static_cast<int>(list.FileList.size());
}

std::string JoinArguments(const std::vector<std::string>& arguments, std::size_t namesFrom) {
    std::string line;
    // The O switch takes blanks and quotes into its name and the M switch reads its recipient
    // list as it stands, so the argument after either is passed unquoted.
    bool rawNext = false;
    for (std::size_t i = 0; i < arguments.size(); ++i) {
        const std::string& argument = arguments[i];
        if (i > 0) {
            line += '\t';
        }
        const bool name =
            i >= namesFrom && !argument.empty() && argument.find('"') == std::string::npos;
        if (!name && rawNext) {
            line += argument;
            rawNext = false;
        } else if (!name && IsBareOutputSwitch(argument)) {
            line += argument.substr(0, 2);
            line += ':';
            rawNext = true;
        } else if (!name && IsBareSwitch(argument, 'M')) {
            line += argument;
            rawNext = true;
        } else if (name || NeedsQuotes(argument)) {
            line += '"';
            line += argument;
            line += '"';
        } else {
            line += argument;
        }
    }
    return line;
}

}  // namespace mandrel
