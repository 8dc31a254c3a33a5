// Turns one block of up to 45 bytes into one UU, XX or Base64 line.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

namespace mandrel {

inline constexpr int kBlockSize = 45;
inline constexpr int kMaxLineLength = 64;

// The "sum -r" counters of the checksum lines: the part's text (as saved with LF line ends)
// and the input's bytes.
struct LineEncodeSums {
    uint16_t part = 0;
    uint16_t input = 0;
    uint32_t partSize = 0;
};

// Encodes input (at most kBlockSize bytes) with alphabet: a UU or XX line starts with its
// length character, a Base64 line (base64 set) ends with "=" padding. eol follows the data.
// out needs room for kMaxLineLength characters and the eol. With sums the counters are kept
// (the reference way, character by character); without, whole groups are two table lookups.
// Returns the characters written; 0, with nothing written, for a longer input or less room.
std::size_t EncodeLineText(std::span<const unsigned char> input, std::string_view alphabet,
                           bool base64, std::string_view eol, LineEncodeSums* sums,
                           std::span<char> out);

// Whole blocks of kBlockSize bytes (input.size() a multiple of it), a line each, as
// EncodeLineText writes them without sums, one after the other in out, which has room for
// (kMaxLineLength + eol.size()) characters per block. Returns the characters written.
std::size_t EncodeWholeLinesText(std::span<const unsigned char> input, std::string_view alphabet,
                                 bool base64, std::string_view eol, std::span<char> out);

}  // namespace mandrel
