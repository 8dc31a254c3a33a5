#include "codec/crc32.h"

#include <array>

#include "codec/group_kernels.h"

#if defined(__x86_64__) || defined(__i386__)
#include <immintrin.h>
#define MANDREL_X86_CRC 1
#endif

namespace mandrel {

namespace {

// The table-driven CRC, sixteen bytes a step: slice k holds the CRC of a byte followed by k
// zero bytes.
using CrcSlices = std::array<std::array<uint32_t, 256>, 16>;

constexpr CrcSlices MakeCrcSlices() {
    CrcSlices slices{};
    for (uint32_t byte = 0; byte < 256; ++byte) {
        uint32_t crc = byte;
        for (int bit = 0; bit < 8; ++bit) {
            crc = (crc >> 1) ^ ((crc & 1U) != 0 ? 0xEDB88320U : 0U);
        }
        slices[0][byte] = crc;
    }
    for (std::size_t k = 1; k < 16; ++k) {
        for (std::size_t byte = 0; byte < 256; ++byte) {
            const uint32_t before = slices[k - 1][byte];
            slices[k][byte] = (before >> 8) ^ slices[0][before & 0xFFU];
        }
    }
    return slices;
}
constexpr CrcSlices kCrcSlices = MakeCrcSlices();
static_assert(kCrcSlices[0][1] == 0x77073096U);

uint32_t LoadLittle32(const unsigned char* p) {
    return static_cast<uint32_t>(p[0]) | static_cast<uint32_t>(p[1]) << 8 |
           static_cast<uint32_t>(p[2]) << 16 | static_cast<uint32_t>(p[3]) << 24;
}

#if defined(MANDREL_X86_CRC)

// Folding by carry-less multiplication (Gopal et al., "Fast CRC Computation for Generic
// Polynomials Using PCLMULQDQ", Intel 2009), in the bit-reflected domain: four 128-bit lanes
// folded 64 bytes at a time, then into one lane, then to 64 and by Barrett reduction to 32
// bits. Takes the CRC register as the tables keep it (inverted) and a multiple of 16 bytes,
// at least 64.
__attribute__((target("pclmul,sse4.1"))) uint32_t FoldCrc(const unsigned char* p,
                                                          std::size_t length, uint32_t crc) {
    const __m128i k1k2 = _mm_set_epi64x(0x01C6E41596, 0x0154442BD4);
    const __m128i k3k4 = _mm_set_epi64x(0x00CCAA009E, 0x01751997D0);
    const __m128i k5 = _mm_set_epi64x(0, 0x0163CD6124);
    const __m128i poly = _mm_set_epi64x(0x01F7011641, 0x01DB710641);
    const auto load = [](const unsigned char* at) {
        return _mm_loadu_si128(reinterpret_cast<const __m128i*>(at));
    };
    const auto fold = [](__m128i x, __m128i k, __m128i next) __attribute__((target("pclmul"))) {
        return _mm_xor_si128(
            _mm_xor_si128(_mm_clmulepi64_si128(x, k, 0x00), _mm_clmulepi64_si128(x, k, 0x11)),
            next);
    };
    __m128i x1 = _mm_xor_si128(load(p), _mm_cvtsi32_si128(static_cast<int>(crc)));
    __m128i x2 = load(p + 16);
    __m128i x3 = load(p + 32);
    __m128i x4 = load(p + 48);
    p += 64;
    length -= 64;
    for (; length >= 64; p += 64, length -= 64) {
        x1 = fold(x1, k1k2, load(p));
        x2 = fold(x2, k1k2, load(p + 16));
        x3 = fold(x3, k1k2, load(p + 32));
        x4 = fold(x4, k1k2, load(p + 48));
    }
    x1 = fold(fold(fold(x1, k3k4, x2), k3k4, x3), k3k4, x4);
    for (; length >= 16; p += 16, length -= 16) {
        x1 = fold(x1, k3k4, load(p));
    }
    // 128 bits to 64.
    const __m128i low32 = _mm_setr_epi32(-1, 0, -1, 0);
    x1 = _mm_xor_si128(_mm_srli_si128(x1, 8), _mm_clmulepi64_si128(x1, k3k4, 0x10));
    x1 = _mm_xor_si128(_mm_clmulepi64_si128(_mm_and_si128(x1, low32), k5, 0x00),
                       _mm_srli_si128(x1, 4));
    // Barrett reduction to 32.
    __m128i x2r = _mm_clmulepi64_si128(_mm_and_si128(x1, low32), poly, 0x10);
    x2r = _mm_clmulepi64_si128(_mm_and_si128(x2r, low32), poly, 0x00);
    return static_cast<uint32_t>(_mm_extract_epi32(_mm_xor_si128(x1, x2r), 1));
}

bool HasFolding() {
    static const bool has = [] {
        __builtin_cpu_init();
        return __builtin_cpu_supports("pclmul") != 0 && __builtin_cpu_supports("sse4.1") != 0;
    }();
    return has;
}

#endif

}  // namespace

uint32_t Crc32ByTables(std::span<const unsigned char> bytes, uint32_t crc) {
    crc = ~crc;
    const unsigned char* p = bytes.data();
    std::size_t left = bytes.size();
    for (; left >= 16; left -= 16, p += 16) {
        const uint32_t first = crc ^ LoadLittle32(p);
        uint32_t next = kCrcSlices[15][first & 0xFFU] ^ kCrcSlices[14][(first >> 8) & 0xFFU] ^
                        kCrcSlices[13][(first >> 16) & 0xFFU] ^ kCrcSlices[12][first >> 24];
        for (std::size_t k = 4; k < 16; ++k) {
            next ^= kCrcSlices[15 - k][p[k]];
        }
        crc = next;
    }
    for (; left > 0; --left, ++p) {
        crc = (crc >> 8) ^ kCrcSlices[0][(crc ^ *p) & 0xFFU];
    }
    return ~crc;
}

uint32_t Crc32(std::span<const unsigned char> bytes, uint32_t crc) {
#if defined(MANDREL_X86_CRC)
    if (bytes.size() >= 64 && ActiveKernelPath() != KernelPath::Scalar && HasFolding()) {
        const std::size_t folded = bytes.size() & ~std::size_t{15};
        crc = ~FoldCrc(bytes.data(), folded, ~crc);
        return Crc32ByTables(bytes.subspan(folded), crc);
    }
#endif
    return Crc32ByTables(bytes, crc);
}

}  // namespace mandrel
