// Turns one block of up to 45 bytes into one UU, XX or Base64 line of the current encoding,
// keeping the checksum counters of the part and the input when checksum lines are written.
#pragma once

#include <span>

#include "codec/line_encode.h"

namespace mandrel {

struct EncodeContext;

// line receives the line with its line end and a terminating zero (room for kMaxLineLength + 2).
// Returns the characters written, line end included; -1 (nothing written) while the encoding
// is BinHex (or any other than UU, XX and MIME), and for a block longer than kBlockSize.
int EncodeLine(EncodeContext& app, std::span<const unsigned char> input, char* line);

}  // namespace mandrel
