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
// bits. The constants are x^(d+32) and x^(d-32) modulo the polynomial, reflected and shifted
// left by one, for a fold over d bits.
constexpr int64_t kFold64Low = 0x0154442BD4;  // d = 512
constexpr int64_t kFold64High = 0x01C6E41596;
constexpr int64_t kFold16Low = 0x01751997D0;  // d = 128
constexpr int64_t kFold16High = 0x00CCAA009E;
constexpr int64_t kFold256Low = 0x011542778A;  // d = 2048
constexpr int64_t kFold256High = 0x01322D1430;

__attribute__((target("pclmul"))) __m128i Fold(__m128i x, __m128i k, __m128i next) {
    return _mm_xor_si128(
        _mm_xor_si128(_mm_clmulepi64_si128(x, k, 0x00), _mm_clmulepi64_si128(x, k, 0x11)), next);
}

__m128i Load16(const unsigned char* at) {
    return _mm_loadu_si128(reinterpret_cast<const __m128i*>(at));
}

// Four lanes holding the 64 bytes before p folded into one, then the 16-byte blocks left (a
// multiple of 16 bytes), then the reduction to the CRC register.
__attribute__((target("pclmul,sse4.1"))) uint32_t FinishFold(__m128i x1, __m128i x2, __m128i x3,
                                                             __m128i x4, const unsigned char* p,
                                                             std::size_t length) {
    const __m128i k3k4 = _mm_set_epi64x(kFold16High, kFold16Low);
    const __m128i k5 = _mm_set_epi64x(0, 0x0163CD6124);
    const __m128i poly = _mm_set_epi64x(0x01F7011641, 0x01DB710641);
    x1 = Fold(Fold(Fold(x1, k3k4, x2), k3k4, x3), k3k4, x4);
    for (; length >= 16; p += 16, length -= 16) {
        x1 = Fold(x1, k3k4, Load16(p));
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

// Takes the CRC register as the tables keep it (inverted) and a multiple of 16 bytes, at least
// 64.
__attribute__((target("pclmul,sse4.1"))) uint32_t FoldCrc(const unsigned char* p,
                                                          std::size_t length, uint32_t crc) {
    const __m128i k1k2 = _mm_set_epi64x(kFold64High, kFold64Low);
    __m128i x1 = _mm_xor_si128(Load16(p), _mm_cvtsi32_si128(static_cast<int>(crc)));
    __m128i x2 = Load16(p + 16);
    __m128i x3 = Load16(p + 32);
    __m128i x4 = Load16(p + 48);
    p += 64;
    length -= 64;
    for (; length >= 64; p += 64, length -= 64) {
        x1 = Fold(x1, k1k2, Load16(p));
        x2 = Fold(x2, k1k2, Load16(p + 16));
        x3 = Fold(x3, k1k2, Load16(p + 32));
        x4 = Fold(x4, k1k2, Load16(p + 48));
    }
    return FinishFold(x1, x2, x3, x4, p, length);
}

#define MANDREL_AVX512_CRC __attribute__((target("avx512f,avx512vl,vpclmulqdq,pclmul,sse4.1")))

MANDREL_AVX512_CRC __m512i Fold512(__m512i x, __m512i k, __m512i next) {
    // 0x96: the exclusive or of all three.
    return _mm512_ternarylogic_epi64(_mm512_clmulepi64_epi128(x, k, 0x00),
                                     _mm512_clmulepi64_epi128(x, k, 0x11), next, 0x96);
}

MANDREL_AVX512_CRC __m512i Load64(const unsigned char* at) {
    return _mm512_loadu_si512(at);
}

// The same with the four lanes in one 512-bit register, and four such registers folded 256
// bytes at a time first. At least 256 bytes.
MANDREL_AVX512_CRC uint32_t FoldCrcAvx512(const unsigned char* p, std::size_t length,
                                          uint32_t crc) {
    const __m512i k256 = _mm512_set_epi64(kFold256High, kFold256Low, kFold256High, kFold256Low,
                                          kFold256High, kFold256Low, kFold256High, kFold256Low);
    const __m512i k64 = _mm512_set_epi64(kFold64High, kFold64Low, kFold64High, kFold64Low,
                                         kFold64High, kFold64Low, kFold64High, kFold64Low);
    __m512i z1 = _mm512_xor_si512(Load64(p),
                                  _mm512_zextsi128_si512(_mm_cvtsi32_si128(static_cast<int>(crc))));
    __m512i z2 = Load64(p + 64);
    __m512i z3 = Load64(p + 128);
    __m512i z4 = Load64(p + 192);
    p += 256;
    length -= 256;
    for (; length >= 256; p += 256, length -= 256) {
        z1 = Fold512(z1, k256, Load64(p));
        z2 = Fold512(z2, k256, Load64(p + 64));
        z3 = Fold512(z3, k256, Load64(p + 128));
        z4 = Fold512(z4, k256, Load64(p + 192));
    }
    z1 = Fold512(Fold512(Fold512(z1, k64, z2), k64, z3), k64, z4);
    for (; length >= 64; p += 64, length -= 64) {
        z1 = Fold512(z1, k64, Load64(p));
    }
    // Through memory: GCC 12 warns of the lane extractions' unset sources.
    alignas(64) std::array<int64_t, 8> lanes{};
    _mm512_store_si512(lanes.data(), z1);
    const auto lane = [&](std::size_t k) {
        return Load16(reinterpret_cast<const unsigned char*>(&lanes[2 * k]));
    };
    return FinishFold(lane(0), lane(1), lane(2), lane(3), p, length);
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
    const KernelPath path = ActiveKernelPath();
    if (bytes.size() >= 64 && path != KernelPath::Scalar && HasFolding()) {
        const std::size_t folded = bytes.size() & ~std::size_t{15};
        const auto fold = path == KernelPath::Avx512 && folded >= 256 ? FoldCrcAvx512 : FoldCrc;
        crc = ~fold(bytes.data(), folded, ~crc);
        return Crc32ByTables(bytes.subspan(folded), crc);
    }
#endif
    return Crc32ByTables(bytes, crc);
}

}  // namespace mandrel
