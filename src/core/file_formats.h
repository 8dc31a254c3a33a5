// The multi-part file formats and what sets them apart: one row each, read by the encoder (the
// size of its header and trailer, the name forms) and by the decoder (where a part's data
// begins, what its separator and trailer lines look like). The texts a format writes and the
// recognisers of its lines are the engines' own, chosen by these rules.
#pragma once

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

std::span<const FileFormatRow, kFileFormatCount> FileFormatTable();
// The row of a format id; the row of "To Be Determined" for an id outside the table.
const FileFormatRow& FileFormat(int id);
// The display name of a format id; "" for an id outside the table.
std::string_view FileFormatName(int id);
// The id whose display name equals name exactly, or -1.
int FileFormatByName(std::string_view name);

}  // namespace mandrel
