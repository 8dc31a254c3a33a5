// The BinHex 4.0 CRC (CRC-16/XMODEM), used by the BinHex writer and reader alike.
#pragma once

#include <array>
#include <cstdint>
#include <span>

namespace mandrel {

// One step worked bit by bit, high bit first: the definition the table below is made from.
constexpr uint32_t BinHexCrcStepByBits(unsigned char byte, uint32_t crc) {
    for (int bit = 7; bit >= 0; --bit) {
        const bool carry = (crc & 0x8000U) != 0;
        crc = (crc << 1) | ((byte >> bit) & 1U);
        if (carry) {
            crc ^= 0x1021U;
        }
    }
    return crc & 0xFFFFU;
}

namespace binhex_crc_detail {

// The data bits never reach the top bit within one byte, so what the eight steps fold in
// depends on the high byte of the accumulator alone.
constexpr std::array<uint16_t, 256> MakeCrcTable() {
    std::array<uint16_t, 256> table{};
    for (uint32_t high = 0; high < 256; ++high) {
        table[high] = static_cast<uint16_t>(BinHexCrcStepByBits(0, high << 8));
    }
    return table;
}

inline constexpr std::array<uint16_t, 256> kCrcTable = MakeCrcTable();

}  // namespace binhex_crc_detail

// One step of the CRC for one byte, table-driven; inline, as it runs for every byte.
inline uint32_t BinHexCrcUpdate(unsigned char byte, uint32_t accumulator) {
    const uint32_t crc = accumulator & 0xFFFFU;
    return (((crc << 8) | byte) ^ binhex_crc_detail::kCrcTable[crc >> 8]) & 0xFFFFU;
}
// The steps for every byte of a block, sixteen bytes at a time: the same as BinHexCrcUpdate for
// each byte in turn.
uint32_t BinHexCrcBlock(std::span<const unsigned char> bytes, uint32_t accumulator);
// The same step worked bit by bit.
uint32_t BinHexCrcUpdateByBits(unsigned char byte, uint32_t accumulator);
// A section's CRC is complete once two zero bytes have followed its data.
uint32_t BinHexFinishCrc(uint32_t crc);

}  // namespace mandrel
