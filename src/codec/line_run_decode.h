// Runs of sound UU, XX or Base64 lines decoded straight from the text a read buffer holds: the
// lines the quick way takes one at a time, taken many per call. Line ends are read as a text
// read with a lone CR ending a line gives them: a line ends at its first CR or LF, and the LF
// after a CR belongs to no line.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

#include "codec/decode_tables.h"

namespace mandrel {

// Why a run stopped.
enum class LineRunStop {
    Unsound,     // the next line is not sound (or lies partly beyond the text): the exact way's
    LookCloser,  // the next line starts with a byte `lookCloser` marks
    NoRoom,      // its bytes would not fit in out
    Enough,      // mostLines were taken
};

struct LineRunResult {
    std::size_t consumed = 0;  // text bytes taken: whole lines and the LFs after their CRs
    std::size_t produced = 0;  // bytes written to out
    uint32_t lines = 0;
    uint64_t characters = 0;  // the lines' characters, each line end counted once
    LineRunStop stop = LineRunStop::Unsound;
    std::size_t nextLine = 0;  // where the line it stopped before starts
};

// What makes a line sound for a run, beside its encoding's rules.
struct LineRunRules {
    const DecodeTable* table = nullptr;  // UU, XX or Base64
    bool base64 = false;
    // Lines starting with a marked byte are left to the caller (none when null).
    const std::array<bool, 256>* lookCloser = nullptr;
    std::size_t mostLines = SIZE_MAX;
};

// A sound UU or XX line is what DecodeWholeGroups takes; a sound Base64 line is one or more
// groups of four alphabet characters and its line end. `previous` is the byte before the text
// (-1 for none): after a CR, a leading LF is skipped. Never reads beyond text nor writes beyond
// out. Keeps no sum: the caller sees to the part's.
LineRunResult DecodeLineRun(const LineRunRules& rules, std::span<const unsigned char> text,
                            int previous, std::span<unsigned char> out);

}  // namespace mandrel
