#include "platform/desktop_entry.h"

#include <algorithm>
#include <array>
#include <utility>

namespace mandrel {

namespace {

// The escapes of string values: the character and the letter after the backslash. Readers
// also take "\\s" for a blank, which is only needed at the start of a value and never written.
constexpr std::array<std::pair<char, char>, 4> kStringEscapes = {{
    {'\\', '\\'},
    {'\n', 'n'},
    {'\t', 't'},
    {'\r', 'r'},
}};

bool IsBlank(char c) {
    return c == ' ' || c == '\t';
}

std::string_view Trim(std::string_view text) {
    while (!text.empty() && IsBlank(text.front())) {
        text.remove_prefix(1);
    }
    while (!text.empty() && (IsBlank(text.back()) || text.back() == '\r')) {
        text.remove_suffix(1);
    }
    return text;
}

std::string UnescapeString(std::string_view text) {
    std::string out;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '\\' || i + 1 == text.size()) {
            out += text[i];
            continue;
        }
        const char code = text[++i];
        char plain = code == 's' ? ' ' : '\0';
        for (const auto& [raw, escaped] : kStringEscapes) {
            if (escaped == code) {
                plain = raw;
            }
        }
        if (plain == '\0') {
            // Not an escape of string values but of the Exec quoting ("\$"): kept for it.
            out += '\\';
            plain = code;
        }
        out += plain;
    }
    return out;
}

// An Exec argument holding one of these must be quoted.
constexpr std::string_view kReserved = " \t\n\"'\\><~|&;$*?#()`";

// Inside a quoted Exec argument these four stand after a backslash.
bool QuotingEscapes(char c) {
    return c == '"' || c == '`' || c == '$' || c == '\\';
}

// Drops field codes from an unquoted argument; true when nothing but field codes was there.
bool DropFieldCodes(std::string& argument) {
    std::string out;
    bool hadCode = false;
    for (std::size_t i = 0; i < argument.size(); ++i) {
        if (argument[i] != '%' || i + 1 == argument.size()) {
            out += argument[i];
        } else if (argument[++i] == '%') {
            out += '%';
        } else {
            hadCode = true;
        }
    }
    argument = std::move(out);
    return hadCode && argument.empty();
}

}  // namespace

std::string DesktopStringValue(std::string_view text) {
    std::string out;
    for (const char c : text) {
        const auto* escape = std::find_if(kStringEscapes.begin(), kStringEscapes.end(),
                                          [c](const auto& pair) { return pair.first == c; });
        if (escape != kStringEscapes.end()) {
            out += '\\';
            out += escape->second;
        } else {
            out += c;
        }
    }
    return out;
}

std::string DesktopExecArgument(std::string_view argument) {
    // Quoted only when it must be: the fallback of xdg-open cannot run a quoted program.
    const bool quote =
        argument.empty() || argument.find_first_of(kReserved) != std::string_view::npos;
    std::string text = quote ? "\"" : "";
    for (const char c : argument) {
        if (quote && QuotingEscapes(c)) {
            text += '\\';
        } else if (c == '%') {
            text += '%';
        }
        text += c;
    }
    if (quote) {
        text += '"';
    }
    return DesktopStringValue(text);
}

std::optional<std::string> DesktopEntryValue(std::string_view entry, std::string_view key) {
    bool inEntryGroup = false;
    while (!entry.empty()) {
        const std::size_t end = entry.find('\n');
        const std::string_view line = Trim(entry.substr(0, end));
        entry = end == std::string_view::npos ? std::string_view() : entry.substr(end + 1);
        if (line.starts_with('[')) {
            inEntryGroup = line == "[Desktop Entry]";
            continue;
        }
        const std::size_t equals = line.find('=');
        if (!inEntryGroup || line.starts_with('#') || equals == std::string_view::npos) {
            continue;
        }
        if (Trim(line.substr(0, equals)) == key) {
            return UnescapeString(Trim(line.substr(equals + 1)));
        }
    }
    return std::nullopt;
}

std::vector<std::string> ExecArguments(std::string_view exec) {
    std::vector<std::string> arguments;
    std::size_t i = 0;
    while (i < exec.size()) {
        if (IsBlank(exec[i])) {
            ++i;
            continue;
        }
        std::string argument;
        if (exec[i] == '"') {
            for (++i; i < exec.size() && exec[i] != '"'; ++i) {
                if (exec[i] == '\\' && i + 1 < exec.size() && QuotingEscapes(exec[i + 1])) {
                    ++i;
                }
                argument += exec[i];
            }
            ++i;  // the closing quote
            arguments.push_back(std::move(argument));
            continue;
        }
        for (; i < exec.size() && !IsBlank(exec[i]); ++i) {
            argument += exec[i];
        }
        if (!DropFieldCodes(argument)) {
            arguments.push_back(std::move(argument));
        }
    }
    return arguments;
}

}  // namespace mandrel
