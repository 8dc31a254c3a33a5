#include "encode/format_texts.h"

#include <array>
#include <cctype>
#include <cstdio>

#include "core/file_formats.h"

namespace mandrel {

namespace {

struct FormatTexts {
    int id;
    std::array<std::string_view, 5> header;
    std::array<std::string_view, 8> trailer;
};

constexpr std::array<FormatTexts, 14> kFormatTexts{{
    {kCompBinaries,
     {"Archive-name: {stem8}/part{part02}{e}BEGIN--cut here--cut here--{e}"},
     {"END--cut here--cut here"}},
    {kSimTel,
     {"------------ Part {part} of {total} ------------{e}"},
     {"-------- End of part {part} of {total} --------"}},
    {kAltBinaries1,
     {"Subject: {name} ({part}/{total}){e}{e}",
      "BEGIN --- CUT HERE --- Cut Here --- cut here --- {name}{e}"},
     {"-- "}},
    {kAltBinaries2,
     {"Subject: {name} [part {part}/{total}]{e}{e}",
      "BEGIN------------------>  cut here  <------------------------{e}"},
     {"END-------------------->  cut here  <------------------------"}},
    {kAltBinaries3, {"Subject: {name} [{part}/{total}]{e}{e}"}, {"-- "}},
    {kAltBinaries4,
     {"Subject: {stem} [{part}/{total}]{e}{e}",
      "BEGIN----------------------CUT HERE--------------------------{e}"},
     {"END------------------------CUT HERE--------------------------"}},
    // The trailer of a shar part is the reassembly script that makes it self-extracting: once
    // all pieces are there it joins and decodes them and removes the pieces.
    {kShar,
     {"#!/bin/sh{e}#{e}# This is a shell archive. Cut everything off before{e}",
      "# the #!/bin/sh and feed the rest to /bin/sh{e}#{e}", "part={sharpart}{e}file={name}{e}",
      "sed -e '/^BEGIN/d' -e '/^END/d' << \\End_of_Section > $file.uue.$part{e}",
      "BEGIN------------ {name} ------------ part {part}/{total} ---{e}"},
     {"END-------------- {name} ------------ part {part}/{total} ---{e}",
      "End_of_Section{e}echo $file, part $part extracted.{e}",
      "if [ `echo $file.uue.[0-9]* | wc -w` = {total} ]; then {e}", "cat $file.uue.* | uudecode{e}",
      "if [ $? -gt 0 ]; then{e}",
      "  echo Error encountered when uudecoding pieces...{e}exit 1{e}fi{e}",
      "echo $file successfully uudecoded. Removing uuencoded pieces.{e}",
      "rm $file.uue.[0-9]*{e}fi{e}exit 0"}},
    {kXFile,
     {"X-File-Name: {long}{e}", "X-Part: {part}{e}", "X-Part-Total: {total}{e}{e}",
      "BEGIN------------------------cut here------------------------{e}"},
     {"END------------------------cut here--------------------------"}},
    {kUumove,
     {"{name}    section  {part}/{total}   UUMOVE 2.0 by Quorvane, Inc.{e}{e}",
      "BEGIN----------------------CUT HERE--------------------------{e}"},
     {"END------------------------CUT HERE--------------------------{e}"}},
    {kWincode,
     {"section {part}/{total}   file {name}   [ Wincode v2.3 ]{e}", "{e}"},
     {"section {part}/{total}   file {name}   [ Wincode v2.3 ]{e}", "{e}"}},
    {kPost120,
     {"POST V1.2.0 {name} (Part {part}/{total}){e}{e}BEGIN -- Cut Here -- cut here{e}"},
     {"END -- Cut Here -- cut here{e}"}},
    {kXmitBin,
     {"BEGIN --- CUT HERE --- Cut Here --- cut here --- {name} {part}/{total}{e}"},
     {"END --- CUT HERE --- Cut Here --- cut here --- {name} {part}/{total}{e}"}},
    {kBitftp,
     {"Subject: {name}, Part {part03} of {total03} ({enc}encoded){e}{e}",
      "The following line should contain ASCII characters 0x20-0x5F{e}{alphabet}{e}{e}"},
     {"{e}{e}"}},
    {kRem,
     {"section {part} of {enclower}encode 5.24 of file {name}    by Quorvane, Inc.{e}{e}"},
     {"{e}"}},
}};

const FormatTexts* TextsOf(int format) {
    for (const FormatTexts& texts : kFormatTexts) {
        if (texts.id == format) {
            return &texts;
        }
    }
    return nullptr;
}

// The filled rows of a fixed array.
template <std::size_t N>
std::span<const std::string_view> Filled(const std::array<std::string_view, N>& texts) {
    std::size_t count = 0;
    while (count < N && !texts[count].empty()) {
        ++count;
    }
    return {texts.data(), count};
}

std::string Number(int value, int digits) {
    char text[16];
    std::snprintf(text, sizeof text, "%0*d", digits, value);
    return text;
}

std::string Lower(std::string_view text) {
    std::string lower(text);
    for (char& c : lower) {
        c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    }
    return lower;
}

using FieldText = std::string (*)(const TextFields&);
constexpr std::pair<std::string_view, FieldText> kFields[] = {
    {"e", [](const TextFields& f) { return std::string(f.eol); }},
    {"name", [](const TextFields& f) { return std::string(f.name); }},
    {"long", [](const TextFields& f) { return std::string(f.longName); }},
    {"stem", [](const TextFields& f) { return std::string(f.stem); }},
    {"stem8", [](const TextFields& f) { return std::string(f.stem.substr(0, 8)); }},
    {"part", [](const TextFields& f) { return Number(f.part, 1); }},
    {"part02", [](const TextFields& f) { return Number(f.part, 2); }},
    {"part03", [](const TextFields& f) { return Number(f.part, 3); }},
    {"sharpart", [](const TextFields& f) { return Number(f.part, f.total >= 10 ? 2 : 1); }},
    {"total", [](const TextFields& f) { return Number(f.total, 1); }},
    {"total03", [](const TextFields& f) { return Number(f.total, 3); }},
    {"enc", [](const TextFields& f) { return std::string(f.encoding); }},
    {"enclower", [](const TextFields& f) { return Lower(f.encoding); }},
    {"alphabet", [](const TextFields& f) { return std::string(f.alphabet); }},
};

std::string Field(std::string_view key, const TextFields& fields) {
    for (const auto& [name, text] : kFields) {
        if (name == key) {
            return text(fields);
        }
    }
    return {};
}

}  // namespace

std::span<const std::string_view> HeaderTexts(int format) {
    const FormatTexts* texts = TextsOf(format);
    return texts == nullptr ? std::span<const std::string_view>{} : Filled(texts->header);
}

std::span<const std::string_view> TrailerTexts(int format) {
    const FormatTexts* texts = TextsOf(format);
    return texts == nullptr ? std::span<const std::string_view>{} : Filled(texts->trailer);
}

std::string ExpandText(std::string_view text, const TextFields& fields) {
    std::string out;
    while (!text.empty()) {
        const std::size_t open = text.find('{');
        out += text.substr(0, open);
        if (open == std::string_view::npos) {
            break;
        }
        const std::size_t close = text.find('}', open);
        out += Field(text.substr(open + 1, close - open - 1), fields);
        text.remove_prefix(close + 1);
    }
    return out;
}

}  // namespace mandrel
