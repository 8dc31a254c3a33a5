// The BinHex 4.0 CRC (CRC-16/XMODEM), used by the BinHex writer and reader alike.
#pragma once

#include <cstdint>

namespace mandrel {

// One step of the CRC for one byte, table-driven.
uint32_t BinHexCrcUpdate(unsigned char byte, uint32_t accumulator);
// The same step worked bit by bit, high bit first: the definition the table is made from.
uint32_t BinHexCrcUpdateByBits(unsigned char byte, uint32_t accumulator);
// A section's CRC is complete once two zero bytes have followed its data.
uint32_t BinHexFinishCrc(uint32_t crc);

}  // namespace mandrel
