#include "codec/binhex_crc.h"

namespace mandrel {

static_assert(BinHexCrcStepByBits(0x31, 0) == 0x0031U);

uint32_t BinHexCrcUpdateByBits(unsigned char byte, uint32_t accumulator) {
    return BinHexCrcStepByBits(byte, accumulator & 0xFFFFU);
}

uint32_t BinHexFinishCrc(uint32_t crc) {
    return BinHexCrcUpdate(0, BinHexCrcUpdate(0, crc));
}

}  // namespace mandrel
