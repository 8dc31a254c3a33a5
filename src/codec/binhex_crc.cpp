#include "codec/binhex_crc.h"

namespace mandrel {

static_assert(BinHexCrcStepByBits(0x31, 0) == 0x0031U);

uint32_t BinHexCrcUpdateByBits(unsigned char byte, uint32_t accumulator) {
    return BinHexCrcStepByBits(byte, accumulator & 0xFFFFU);
}

namespace {

// The accumulator takes each byte in at its low end, so it is the plain CRC of everything but
// the last two bytes with those two laid over it. The plain CRC takes slices: Slices[k][x] is
// what x adds when k more bytes follow it, so sixteen bytes are sixteen independent lookups.
using SliceTables = std::array<std::array<uint16_t, 256>, 16>;
constexpr SliceTables MakeSliceTables() {
    SliceTables slices{};
    slices[0] = binhex_crc_detail::kCrcTable;
    for (std::size_t k = 1; k < slices.size(); ++k) {
        for (std::size_t x = 0; x < 256; ++x) {
            const uint32_t before = slices[k - 1][x];
            slices[k][x] = static_cast<uint16_t>(((before << 8) & 0xFFFFU) ^
                                                 binhex_crc_detail::kCrcTable[before >> 8]);
        }
    }
    return slices;
}
constexpr SliceTables kSlices = MakeSliceTables();

// One step of the plain CRC.
constexpr uint32_t PlainStep(uint32_t crc, unsigned char byte) {
    return ((crc << 8) & 0xFFFFU) ^ binhex_crc_detail::kCrcTable[(crc >> 8) ^ byte];
}

}  // namespace

uint32_t BinHexCrcBlock(std::span<const unsigned char> bytes, uint32_t accumulator) {
    if (bytes.size() < 16) {
        for (const unsigned char byte : bytes) {
            accumulator = BinHexCrcUpdate(byte, accumulator);
        }
        return accumulator;
    }
    // The accumulator's two bytes are the first two the plain CRC (from zero) takes; the
    // block's last two stay laid over the result.
    const uint32_t a = accumulator & 0xFFFFU;
    uint32_t crc =
        PlainStep(PlainStep(0, static_cast<unsigned char>(a >> 8)), static_cast<unsigned char>(a));
    const std::size_t body = bytes.size() - 2;
    const unsigned char* p = bytes.data();
    std::size_t i = 0;
    for (; i + 16 <= body; i += 16) {
        uint32_t next = kSlices[15][(crc >> 8) ^ p[i]] ^ kSlices[14][(crc & 0xFFU) ^ p[i + 1]];
        for (std::size_t k = 2; k < 16; ++k) {
            next ^= kSlices[15 - k][p[i + k]];
        }
        crc = next;
    }
    for (; i < body; ++i) {
        crc = PlainStep(crc, p[i]);
    }
    return crc ^ ((static_cast<uint32_t>(p[body]) << 8) | p[body + 1]);
}

uint32_t BinHexFinishCrc(uint32_t crc) {
    return BinHexCrcUpdate(0, BinHexCrcUpdate(0, crc));
}

}  // namespace mandrel
