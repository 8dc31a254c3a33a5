#include "codec/binhex_crc.h"

#include <array>

namespace mandrel {

namespace {

constexpr uint32_t CrcStepByBits(unsigned char byte, uint32_t crc) {
    for (int bit = 7; bit >= 0; --bit) {
        const bool carry = (crc & 0x8000U) != 0;
        crc = (crc << 1) | ((byte >> bit) & 1U);
        if (carry) {
            crc ^= 0x1021U;
        }
    }
    return crc & 0xFFFFU;
}

// The data bits never reach the top bit within one byte, so what the eight steps fold in
// depends on the high byte of the accumulator alone.
constexpr std::array<uint16_t, 256> MakeCrcTable() {
    std::array<uint16_t, 256> table{};
    for (uint32_t high = 0; high < 256; ++high) {
        table[high] = static_cast<uint16_t>(CrcStepByBits(0, high << 8));
    }
    return table;
}

constexpr std::array<uint16_t, 256> kCrcTable = MakeCrcTable();

static_assert(CrcStepByBits(0x31, 0) == 0x0031U);

}  // namespace

uint32_t BinHexCrcUpdate(unsigned char byte, uint32_t accumulator) {
    const uint32_t crc = accumulator & 0xFFFFU;
    return (((crc << 8) | byte) ^ kCrcTable[crc >> 8]) & 0xFFFFU;
}

uint32_t BinHexCrcUpdateByBits(unsigned char byte, uint32_t accumulator) {
    return CrcStepByBits(byte, accumulator & 0xFFFFU);
}

uint32_t BinHexFinishCrc(uint32_t crc) {
    return BinHexCrcUpdate(0, BinHexCrcUpdate(0, crc));
}

}  // namespace mandrel
