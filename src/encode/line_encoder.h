// Turns one block of up to 45 bytes into one UU, XX or Base64 line of the current encoding,
// keeping the checksum counters of the part and the input when checksum lines are written.
#pragma once

#include <cstddef>
#include <span>

#include "codec/line_encode.h"

namespace mandrel {

struct EncodeContext;

// line receives the line with its line end and a terminating zero (room for kMaxLineLength + 2).
// Returns the characters written, line end included; -1 (nothing written) while the encoding
// is BinHex (or any other than UU, XX and MIME), and for a block longer than kBlockSize.
int EncodeLine(EncodeContext& app, std::span<const unsigned char> input, char* line);

// The lines of consecutive blocks of kBlockSize bytes (the last one may be shorter), one after
// the other at out, which has room for LinesRoom(blocks). Returns the characters written.
std::size_t EncodeLines(EncodeContext& app, std::span<const unsigned char> input, char* out);
constexpr std::size_t LinesRoom(std::size_t blocks, std::size_t eolSize) {
    return blocks * (kMaxLineLength + eolSize) + 1;
}

}  // namespace mandrel
