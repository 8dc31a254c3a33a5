// The 6-bit value of every byte in each encoding's alphabet.
#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <string_view>

#include "codec/alphabets.h"

namespace mandrel {

// -1 for bytes outside the alphabet.
using DecodeTable = std::array<int32_t, 256>;

namespace decode_tables_detail {

constexpr DecodeTable MakeEmptyTable() {
    DecodeTable table{};
    std::fill(table.begin(), table.end(), -1);
    return table;
}

constexpr DecodeTable MakeTable(std::string_view alphabet) {
    DecodeTable table = MakeEmptyTable();
    for (std::size_t value = 0; value < 64; ++value) {
        table[static_cast<unsigned char>(alphabet[value])] = static_cast<int32_t>(value);
    }
    return table;
}

// UU also reads a blank as 0, as older writers put one where the backquote stands.
constexpr DecodeTable MakeUUTable() {
    DecodeTable table = MakeTable(UUAlphabet);
    table[static_cast<unsigned char>(' ')] = 0;
    return table;
}

}  // namespace decode_tables_detail

// Defined here, not behind a call: the line kernels look at them for every line.
inline constexpr DecodeTable kUUDecodeTable = decode_tables_detail::MakeUUTable();
inline constexpr DecodeTable kXXDecodeTable = decode_tables_detail::MakeTable(XXAlphabet);
inline constexpr DecodeTable kBase64DecodeTable = decode_tables_detail::MakeTable(Base64Alphabet);
inline constexpr DecodeTable kBinHexDecodeTable = decode_tables_detail::MakeTable(BinHexAlphabet);
inline constexpr DecodeTable kNoDecodeTable = decode_tables_detail::MakeEmptyTable();

// The table of an encoding (1 UU, 2 XX, 3 MIME, 4 BinHex); a table of no valid byte otherwise.
constexpr const DecodeTable& DecodeTableFor(int encoding) {
    switch (encoding) {
        case kEncodingUU:
            return kUUDecodeTable;
        case kEncodingXX:
            return kXXDecodeTable;
        case kEncodingMIME:
            return kBase64DecodeTable;
        case kEncodingBinHex:
            return kBinHexDecodeTable;
        default:
            return kNoDecodeTable;
    }
}

}  // namespace mandrel
