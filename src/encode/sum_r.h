// The BSD "sum -r" checksum step, used by the encoder's checksum lines and the decoder's
// verification alike.
#pragma once

#include <cstdint>
#include <string_view>

namespace mandrel {

// Rotates the 16-bit value right by one bit and adds the byte.
constexpr uint32_t SumRAdd(uint32_t sum, unsigned char byte) {
    sum = (sum >> 1) + ((sum & 1U) << 15);
    return (sum + byte) & 0xFFFFU;
}

constexpr uint32_t SumRAddText(uint32_t sum, std::string_view text) {
    for (const char c : text) {
        sum = SumRAdd(sum, static_cast<unsigned char>(c));
    }
    return sum;
}

}  // namespace mandrel
