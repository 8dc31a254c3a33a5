// The BSD "sum -r" checksum step, used by the encoder's checksum lines and the decoder's
// verification alike.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

namespace mandrel {

// Rotates the 16-bit value right by one bit and adds the byte: the definition.
constexpr uint32_t SumRAdd(uint32_t sum, unsigned char byte) {
    sum = (sum >> 1) + ((sum & 1U) << 15);
    return (sum + byte) & 0xFFFFU;
}

// The same step on a 16-bit value: one rotate and one add. The sums are serial chains over
// every character, so their latency bounds the loops that keep them.
constexpr uint16_t SumRStep(uint16_t sum, unsigned char byte) {
    return static_cast<uint16_t>(std::rotr(sum, 1) + byte);
}
static_assert(SumRStep(0x8001, 0xFF) == SumRAdd(0x8001, 0xFF));
static_assert(SumRStep(0xFFFF, 0xFF) == SumRAdd(0xFFFF, 0xFF));
static_assert(SumRStep(0x0002, 0x10) == SumRAdd(0x0002, 0x10));

constexpr uint32_t SumRAddText(uint32_t sum, std::string_view text) {
    for (const char c : text) {
        sum = SumRAdd(sum, static_cast<unsigned char>(c));
    }
    return sum;
}

// The steps for every byte of a block: sixteen at a time on the AVX2 and AVX-512 paths, where
// one is the active kernel path (see group_kernels.h), else one by one.
uint32_t SumRBlock(std::span<const unsigned char> bytes, uint32_t sum);
// The same one step at a time whatever the path: the reference the vector path is held to.
uint32_t SumRBlockScalar(std::span<const unsigned char> bytes, uint32_t sum);

// The steps for text whose line ends (CR LF, a lone CR or LF) each count as one LF, as the
// checksum lines count them. The text may come in pieces: `afterCr` says the piece before ended
// in a CR, so that an LF starting this one belongs to it; it is set for the next piece.
uint32_t SumRText(std::span<const char> text, uint32_t sum, bool& afterCr);

// Adds text up to its first CR, LF or zero to the accumulator, a line end as one LF; returns
// the characters consumed, the line end counted as one.
int SumLineToEnd(const char* text, uint32_t& accumulator);

}  // namespace mandrel
