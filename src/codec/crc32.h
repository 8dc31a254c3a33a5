// The CRC-32 of ISO-HDLC (zlib's, the one yEnc carries): a table-driven reference sixteen bytes
// a step, and carry-less multiplication folding 64 bytes a step where the processor has it
// and the vector paths are in use.
#pragma once

#include <cstdint>
#include <span>

namespace mandrel {

// The CRC of the bytes, continuing from `crc` (0 to start).
uint32_t Crc32(std::span<const unsigned char> bytes, uint32_t crc = 0);
// The same by the tables alone, whatever the processor: the reference.
uint32_t Crc32ByTables(std::span<const unsigned char> bytes, uint32_t crc = 0);

}  // namespace mandrel
