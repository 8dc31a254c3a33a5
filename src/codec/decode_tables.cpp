#include "codec/decode_tables.h"

#include <algorithm>
#include <string_view>

#include "codec/alphabets.h"

namespace mandrel {

namespace {

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

constexpr DecodeTable MakeUUTable() {
    DecodeTable table = MakeTable(UUAlphabet);
    table[static_cast<unsigned char>(' ')] = 0;
    return table;
}

constexpr DecodeTable kUUTable = MakeUUTable();
constexpr DecodeTable kXXTable = MakeTable(XXAlphabet);
constexpr DecodeTable kBase64Table = MakeTable(Base64Alphabet);
constexpr DecodeTable kBinHexTable = MakeTable(BinHexAlphabet);
constexpr DecodeTable kNoTable = MakeEmptyTable();

static_assert(kUUTable[0x20] == 0 && kUUTable[0x60] == 0);
static_assert(kUUTable[0x21] == 1 && kUUTable[0x5F] == 63 && kUUTable[0x7E] == -1);
static_assert(kXXTable['+'] == 0 && kXXTable['z'] == 63 && kXXTable[' '] == -1);
static_assert(kBase64Table['A'] == 0 && kBase64Table['/'] == 63 && kBase64Table['='] == -1);
static_assert(kBinHexTable['!'] == 0 && kBinHexTable['r'] == 63 && kBinHexTable['7'] == -1);
static_assert(kUUTable[0xE9] == -1 && kBase64Table[0x80] == -1 && kXXTable[0] == -1);

}  // namespace

const DecodeTable& DecodeTableFor(int encoding) {
    switch (encoding) {
        case kEncodingUU:
            return kUUTable;
        case kEncodingXX:
            return kXXTable;
        case kEncodingMIME:
            return kBase64Table;
        case kEncodingBinHex:
            return kBinHexTable;
        default:
            return kNoTable;
    }
}

}  // namespace mandrel
