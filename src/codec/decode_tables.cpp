#include "codec/decode_tables.h"

namespace mandrel {

static_assert(kUUDecodeTable[0x20] == 0 && kUUDecodeTable[0x60] == 0);
static_assert(kUUDecodeTable[0x21] == 1 && kUUDecodeTable[0x5F] == 63 &&
              kUUDecodeTable[0x7E] == -1);
static_assert(kXXDecodeTable['+'] == 0 && kXXDecodeTable['z'] == 63 && kXXDecodeTable[' '] == -1);
static_assert(kBase64DecodeTable['A'] == 0 && kBase64DecodeTable['/'] == 63 &&
              kBase64DecodeTable['='] == -1);
static_assert(kBinHexDecodeTable['!'] == 0 && kBinHexDecodeTable['r'] == 63 &&
              kBinHexDecodeTable['7'] == -1);
static_assert(kUUDecodeTable[0xE9] == -1 && kBase64DecodeTable[0x80] == -1 &&
              kXXDecodeTable[0] == -1);

}  // namespace mandrel
