#include "codec/sum_r.h"

namespace mandrel {

uint32_t SumRBlock(std::span<const unsigned char> bytes, uint32_t sum) {
    auto s = static_cast<uint16_t>(sum);
    for (const unsigned char byte : bytes) {
        s = SumRStep(s, byte);
    }
    return s;
}

int SumLineToEnd(const char* text, uint32_t& accumulator) {
    auto sum = static_cast<uint16_t>(accumulator);
    const auto* p = reinterpret_cast<const unsigned char*>(text);
    int count = 0;
    for (; *p != '\0' && *p != '\r' && *p != '\n'; ++p) {
        sum = SumRStep(sum, *p);
        ++count;
    }
    if (*p != '\0') {
        sum = SumRStep(sum, '\n');
        ++count;
    }
    accumulator = sum;
    return count;
}

}  // namespace mandrel
