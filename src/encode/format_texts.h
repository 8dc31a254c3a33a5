// The lines every multi-part format writes around a part, as templates: one row of header
// texts and one of trailer texts per format. Each text is formatted into the 255-character work
// area on its own. Fields in braces: {e} the line end, {name} the base name, {long} the name
// quoted when it holds a blank, {stem} the name without extensions, {stem8} its first eight
// characters, {part} and {total} (also {part02}, {part03}, {total03} with leading zeros,
// {sharpart} with two digits in sets of ten parts or more), {enc} and {enclower} the encoding's
// name, {alphabet} its alphabet.
#pragma once

#include <span>
#include <string>
#include <string_view>

namespace mandrel {

struct TextFields {
    std::string_view eol;
    std::string_view name;
    std::string_view longName;
    std::string_view stem;
    std::string_view encoding;
    std::string_view alphabet;
    int part = 0;
    int total = 0;
};

// The texts that open a part of the format (the news formats' subject line first); none for
// Single File and the formats that are only read.
std::span<const std::string_view> HeaderTexts(int format);
// The texts that close a part of the format; none where the format has no trailer.
std::span<const std::string_view> TrailerTexts(int format);

// The template with its fields filled in.
std::string ExpandText(std::string_view text, const TextFields& fields);

}  // namespace mandrel
