// Turns one block of up to 45 bytes into one UU, XX or Base64 line, keeping the checksum
// counters of the part and the input up to date.
#pragma once

#include <cstdint>
#include <span>

namespace mandrel {

struct AppState;

inline constexpr int kBlockSize = 45;
inline constexpr int kMaxLineLength = 64;

// line receives the line with its line end and a terminating zero (room for kMaxLineLength + 2).
// Returns the characters written, line end included; -1 (nothing written) while the encoding
// is BinHex (or any other than UU, XX and MIME), and for a block longer than kBlockSize.
int EncodeLine(AppState& app, std::span<const unsigned char> input, char* line);

}  // namespace mandrel
