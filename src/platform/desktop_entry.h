// The freedesktop desktop-entry format, as far as the program writes it (its own entry) and
// reads it (the browser's entry): string values with their escapes, and the Exec key's quoted
// arguments and field codes.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace mandrel {

// A value of type string as it is written: backslash, newline, tab and carriage return escaped.
std::string DesktopStringValue(std::string_view text);

// One argument of an Exec value as it is written: in double quotes when it holds a character
// the format reserves (a blank, a quote, "$", ...), with the quoting's escapes, "%" doubled,
// and then escaped as a string value.
std::string DesktopExecArgument(std::string_view argument);

// The value of key in the [Desktop Entry] group of an entry's text, its string escapes undone;
// nothing when the key is not there.
std::optional<std::string> DesktopEntryValue(std::string_view entry, std::string_view key);

// The program and its arguments from an Exec value (escapes already undone): quoted arguments
// unquoted, "%%" made "%", field codes (%f, %U, ...) left out.
std::vector<std::string> ExecArguments(std::string_view exec);

}  // namespace mandrel
