#include "core/file_formats.h"

#include <array>

namespace mandrel {

namespace {

using DS = DataStart;
using SR = SeparatorRule;
using TR = TrailerRule;

// clang-format off
constexpr std::array<FileFormatRow, kFileFormatCount> kFileFormats{{
    // id, decodable, encodable, name, data start, separator, trailer, header and trailer sizes,
    // long name in the begin line, total from the last part, blank lines after "end", script
    {0,  0, 0, "To Be Determined",       DS::None,       SR::None,           TR::None,            {},       {},      false, false, false, false},
    {1,  1, 0, "Try All Types",          DS::None,       SR::None,           TR::None,            {},       {},      false, false, false, false},
    {2,  1, 0, "Decode Multiple Inputs", DS::None,       SR::None,           TR::None,            {},       {},      false, false, false, false},
    {3,  1, 1, "Single File",            DS::Header,     SR::None,           TR::MimeBoundary,    {23, 1},  {3, 1},  false, false, false, false},
    {4,  1, 1, "Comp.binaries",          DS::Separator,  SR::BeginCutOrPart, TR::EndCut,          {27, 1},  {25, 1}, false, true,  false, false},
    {5,  1, 1, "SimTel",                 DS::AfterBlanks, SR::None,           TR::SimTel,          {48, 1},  {38, 1}, true,  false, false, false},
    {6,  1, 1, "Alt.binaries 1",         DS::Subject,    SR::BeginCutOrPart, TR::DashDashOrEndCut, {90, 2},  {3, 1},  false, false, false, false},
    {7,  1, 1, "Alt.binaries 2",         DS::Subject,    SR::BeginCutOrPart, TR::EndCut,          {95, 2},  {61, 1}, false, false, false, false},
    {8,  1, 1, "Alt.binaries 3",         DS::Subject,    SR::BlankLine,      TR::DashDashOrEndCut, {29, 1},  {3, 1},  false, false, false, false},
    {9,  1, 1, "Alt.binaries 4",         DS::Subject,    SR::BeginCutOrPart, TR::EndCut,          {96, 1},  {61, 1}, true,  false, false, false},
    {10, 1, 1, "UNIX shell (shar)",      DS::AfterBlanks, SR::None,           TR::Shar,            {275, 1}, {400, 1}, false, false, false, true},
    {11, 1, 1, "X-File",                 DS::Separator,  SR::BeginCutOrPart, TR::EndCut,          {145, 1}, {59, 1}, true,  false, false, false},
    {12, 1, 1, "UUMOVE v2.0",            DS::Separator,  SR::BeginCutOrPart, TR::EndCut,          {125, 1}, {61, 1}, false, false, false, false},
    {13, 1, 1, "Wincode v2.3",           DS::AfterBlanks, SR::None,           TR::Wincode,         {53, 1},  {53, 1}, false, false, true, false},
    {14, 1, 1, "POST V1.2.0",            DS::Separator,  SR::BeginCutOrPart, TR::EndCut,          {66, 2},  {27, 1}, false, false, false, false},
    {15, 1, 0, "POST V2.0.1",            DS::Separator,  SR::BeginCutOrPart, TR::EndCut,          {},       {},      false, false, false, false},
    {16, 1, 1, "xmitBin",                DS::AfterBlanks, SR::None,           TR::EndCut,          {67, 1},  {65, 1}, false, false, false, false},
    {17, 1, 1, "bitftp",                 DS::Separator,  SR::FollowingLine,  TR::None,            {174, 6}, {0, 2},  false, false, false, false},
    {18, 1, 0, "AOL",                    DS::Separator,  SR::DashCut,        TR::Aol,             {},       {},      false, false, false, false},
    {19, 1, 0, "Squirrel v3.0",          DS::AfterBlanks, SR::None,           TR::Squirrel,        {},       {},      false, false, false, false},
    {20, 1, 1, "R.E.M.",                 DS::AfterBlanks, SR::None,           TR::None,            {0, 1},   {0, 1},  false, true,  false, false},
}};
// clang-format on

static_assert([] {
    for (std::size_t i = 0; i < kFileFormats.size(); ++i) {
        if (kFileFormats[i].id != static_cast<int32_t>(i)) {
            return false;
        }
    }
    return true;
}());

}  // namespace

std::span<const FileFormatRow, kFileFormatCount> FileFormatTable() {
    return kFileFormats;
}

const FileFormatRow& FileFormat(int id) {
    return kFileFormats[id >= 0 && id < kFileFormatCount ? static_cast<std::size_t>(id) : 0];
}

std::string_view FileFormatName(int id) {
    return id >= 0 && id < kFileFormatCount ? FileFormat(id).name : "";
}

int FileFormatByName(std::string_view name) {
    for (const FileFormatRow& row : kFileFormats) {
        if (name == row.name) {
            return row.id;
        }
    }
    return -1;
}

}  // namespace mandrel
