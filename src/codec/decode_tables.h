// The 6-bit value of every byte in each encoding's alphabet.
#pragma once

#include <array>
#include <cstdint>

namespace mandrel {

// -1 for bytes outside the alphabet.
using DecodeTable = std::array<int32_t, 256>;

// The table of an encoding (1 UU, 2 XX, 3 MIME, 4 BinHex); a table of no valid byte otherwise.
// UU also reads a blank as 0, as older writers put one where the backquote stands.
const DecodeTable& DecodeTableFor(int encoding);

}  // namespace mandrel
