// The multi-part file formats and what sets them apart: one row each, read by the encoder (the
// size of its header and trailer, the name forms) and by the decoder (where a part's data
// begins, what its separator and trailer lines look like). The texts a format writes and the
// recognisers of its lines are the engines' own, chosen by these rules.
#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <string_view>

namespace mandrel {

inline constexpr int kFileFormatCount = 21;
inline constexpr int kFormatToBeDetermined = 0;
inline constexpr int kFormatTryAll = 1;
inline constexpr int kFormatMultipleInputs = 2;
inline constexpr int kFormatSingleFile = 3;
inline constexpr int kFormatShar = 10;
// Formats the decoder reads besides the table's, which nothing writes and no format choice or
// retry offers: the table and its lists stay as they are. A yEnc posting of several parts is
// framed by its own keyword lines; uuenview's parts have a row of their own (below).
inline constexpr int kFormatYEnc = kFileFormatCount;
inline constexpr int kFormatUuenview = kFileFormatCount + 1;
// The multi-part file formats by their ids in the table.
enum FileFormatId : int {
    kSingleFile = 3,
    kCompBinaries = 4,
    kSimTel = 5,
    kAltBinaries1 = 6,
    kAltBinaries2 = 7,
    kAltBinaries3 = 8,
    kAltBinaries4 = 9,
    kShar = 10,
    kXFile = 11,
    kUumove = 12,
    kWincode = 13,
    kPost120 = 14,
    kPost201 = 15,
    kXmitBin = 16,
    kBitftp = 17,
    kAol = 18,
    kSquirrel = 19,
    kRem = 20,
};

// Where a part's data begins once its header is found.
enum class DataStart : uint8_t {
    None,         // the decoder's working values
    Header,       // Single File: the begin line (or the MIME block, the BinHex line) opens it
    Separator,    // at the separator line that follows the header
    AfterBlanks,  // at the first line that is not blank after the header
    Subject,      // Alt.binaries: a subject, then a separator; one part of one is a single file
    AfterMarks,   // uuenview: at the first line that is neither blank nor a lone "_=_" mark
};

// What a part's separator line looks like, besides "BEGIN ... -- ... cut here" of any format.
enum class SeparatorRule : uint8_t {
    None,            // the format has no separator
    BeginCutOrPart,  // "BEGIN" with "cut here" or "part"
    BlankLine,
    FollowingLine,  // bitftp: "The following line ..." and the line of test characters after it
    DashCut,        // "-----" and "cut here"
};

// What ends a part's data, besides "END ... -- ... cut here" of any format.
enum class TrailerRule : uint8_t {
    None,
    MimeBoundary,      // a "--" boundary line ends a MIME body
    SimTel,            // "-------- End of part N of M"
    DashDashOrEndCut,  // "--", or "END" with "cut here"
    EndCut,            // "END" with "cut here"
    Shar,              // "END---- name ---- part N/M"
    Wincode,           // "section N/M"
    Aol,               // "-----" and "cut here"
    Squirrel,          // "------ end of name ... part N of M"
    Uuenview,          // a "_=_" line: the marks around the next part's header
};

// The encoder's estimate of a text: characters and line ends.
struct TextSize {
    int characters = 0;
    int lineEnds = 0;
    int For(int eolLength) const { return characters + lineEnds * eolLength; }
};

struct FileFormatRow {
    int32_t id;
    int32_t decodable;
    int32_t encodable;
    const char* name;  // matched by text when read back from the dialogs' lists
    DataStart dataStart = DataStart::None;
    SeparatorRule separator = SeparatorRule::None;
    TrailerRule trailer = TrailerRule::None;
    TextSize header;  // Single File: of UU and XX
    TextSize trailerSize;
    bool longNameInBeginLine = false;  // a name with a blank is quoted in the begin line
    bool totalFromLastPart = false;    // the headers carry no total: the part with "end" tells it
    bool blankLinesAfterEnd = false;   // Wincode: blank lines, then the trailer, follow "end"
    bool script = false;  // shar: each part is a shell script, with LF ends and no checksum lines
};

namespace file_formats_detail {

using DS = DataStart;
using SR = SeparatorRule;
using TR = TrailerRule;

// clang-format off
inline constexpr std::array<FileFormatRow, kFileFormatCount> kFileFormats{{
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
inline constexpr FileFormatRow kUuenviewRow{kFormatUuenview, 1, 0, "uuenview", DS::AfterMarks,
                                            SR::None, TR::Uuenview, {}, {}, false, false, false, false};
// clang-format on

}  // namespace file_formats_detail

inline std::span<const FileFormatRow, kFileFormatCount> FileFormatTable() {
    return file_formats_detail::kFileFormats;
}

// The row of a format id (uuenview's too); the row of "To Be Determined" for any other id.
// Inline: the decoder asks for every line it classifies.
inline const FileFormatRow& FileFormat(int id) {
    if (id == kFormatUuenview) {
        return file_formats_detail::kUuenviewRow;
    }
    return file_formats_detail::kFileFormats[id >= 0 && id < kFileFormatCount
                                                 ? static_cast<std::size_t>(id)
                                                 : 0];
}

// The display name of a format id (yEnc's and uuenview's too); "" for any other id.
std::string_view FileFormatName(int id);
// The id whose display name equals name exactly, or -1.
int FileFormatByName(std::string_view name);

}  // namespace mandrel
