#include "codec/sum_r.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>

#include "codec/group_kernels.h"

#if defined(__x86_64__) || defined(__i386__)
#include <immintrin.h>
#define MANDREL_X86_SUM 1
#endif

namespace mandrel {

namespace {

// Bytes taken sixteen at a time: sixteen right rotations bring a 16-bit value back to itself.
constexpr std::size_t kSumBlock = 16;

uint16_t SumRSteps(const unsigned char* p, std::size_t count, uint16_t sum) {
    for (std::size_t i = 0; i < count; ++i) {
        sum = SumRStep(sum, p[i]);
    }
    return sum;
}

#if defined(MANDREL_X86_SUM)

// Two folds bring a sum of up to 28 bits to 0..0xFFFF, the same value modulo 65535.
constexpr uint32_t FoldTo16(uint32_t x) {
    x = (x & 0xFFFFU) + (x >> 16);
    return (x & 0xFFFFU) + (x >> 16);
}

// Why a chain can be taken sixteen steps at once. Modulo 65535 a right rotation of a 16-bit
// value by one is a multiplication by 2^15 (as 2^16 = 1), and 2^-15 = 2. So as long as no
// addition of a step overflows 16 bits, the sum after step n of a block that started at s is
// ror^n(A[n]), where A[n] = s + the sum of b[k] * 2^(k mod 16) for k = 1..n, folded to 16 bits:
// a prefix sum, which the lanes compute for all sixteen steps together; after step 16 it is
// A[16] itself. Folding gives a positive multiple of 65535 as 0xFFFF and only 0 as 0, and
// without an overflow the sum is 0 only when it started at 0 and every byte so far was 0, so the
// 16-bit value is the true one, not merely equal modulo 65535.
//
// The first step n that overflows makes ror^n(A[n]) the true sum plus 65536 minus 65535: at most
// the byte, so below 256. A lane therefore only tests whether the top eight bits of ror^n(A[n])
// are clear, which is a mask on A[n] itself. That also holds, now and then, without an overflow
// (about one block in sixteen for random bytes); such a block takes the steps one by one.

// The prefix sum of eight 32-bit lanes.
__attribute__((target("avx2"))) __m256i PrefixSum8(__m256i x) {
    x = _mm256_add_epi32(x, _mm256_slli_si256(x, 4));
    x = _mm256_add_epi32(x, _mm256_slli_si256(x, 8));
    const __m256i lowHalfTotal = _mm256_permutevar8x32_epi32(x, _mm256_set1_epi32(3));
    return _mm256_add_epi32(x, _mm256_blend_epi32(_mm256_setzero_si256(), lowHalfTotal, 0xF0));
}

// Lanes where ror^n(A) < 256 for A = start + prefix folded to 16 bits; `topBits` holds
// rol(0xFF00, n) for the lane's step n.
__attribute__((target("avx2"))) __m256i LowAfterRotation(__m256i start, __m256i prefix,
                                                         __m256i topBits) {
    const __m256i low16 = _mm256_set1_epi32(0xFFFF);
    __m256i x = _mm256_add_epi32(start, prefix);
    x = _mm256_add_epi32(_mm256_and_si256(x, low16), _mm256_srli_epi32(x, 16));
    x = _mm256_add_epi32(_mm256_and_si256(x, low16), _mm256_srli_epi32(x, 16));
    return _mm256_cmpeq_epi32(_mm256_and_si256(x, topBits), _mm256_setzero_si256());
}

constexpr int TopBitsOfStep(int n) {
    return std::rotl(uint16_t{0xFF00}, n % 16);
}

__attribute__((target("avx2"))) uint16_t SumRBlocksAvx2(const unsigned char* p, std::size_t blocks,
                                                        uint16_t sum) {
    const __m256i shiftLow = _mm256_setr_epi32(1, 2, 3, 4, 5, 6, 7, 8);
    const __m256i shiftHigh = _mm256_setr_epi32(9, 10, 11, 12, 13, 14, 15, 0);
    const __m256i topLow =
        _mm256_setr_epi32(TopBitsOfStep(1), TopBitsOfStep(2), TopBitsOfStep(3), TopBitsOfStep(4),
                          TopBitsOfStep(5), TopBitsOfStep(6), TopBitsOfStep(7), TopBitsOfStep(8));
    const __m256i topHigh = _mm256_setr_epi32(
        TopBitsOfStep(9), TopBitsOfStep(10), TopBitsOfStep(11), TopBitsOfStep(12),
        TopBitsOfStep(13), TopBitsOfStep(14), TopBitsOfStep(15), TopBitsOfStep(16));
    const __m256i lastLane = _mm256_set1_epi32(7);
    for (; blocks > 0; --blocks, p += kSumBlock) {
        const __m128i raw = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
        const __m256i prefixLow =
            PrefixSum8(_mm256_sllv_epi32(_mm256_cvtepu8_epi32(raw), shiftLow));
        const __m256i prefixHigh = _mm256_add_epi32(
            PrefixSum8(_mm256_sllv_epi32(_mm256_cvtepu8_epi32(_mm_srli_si128(raw, 8)), shiftHigh)),
            _mm256_permutevar8x32_epi32(prefixLow, lastLane));
        // The chain goes on from the block's total alone; the lanes only say whether it may.
        const auto total = static_cast<uint32_t>(_mm256_extract_epi32(prefixHigh, 7));
        const auto next = static_cast<uint16_t>(FoldTo16(sum + total));
        const __m256i start = _mm256_set1_epi32(sum);
        const __m256i low = _mm256_or_si256(LowAfterRotation(start, prefixLow, topLow),
                                            LowAfterRotation(start, prefixHigh, topHigh));
        sum = _mm256_testz_si256(low, low) != 0 ? next : SumRSteps(p, kSumBlock, sum);
    }
    return sum;
}

// The AVX-512 path keeps the same prefix in sixteen 16-bit lanes, each addition modulo 65535
// done as an end-around carry (0 stays the true zero, a positive multiple becomes 0xFFFF), and
// goes through a chunk in two passes: the blocks' prefixes first, free of the chain, then the
// chain through them. The branch that sends a block the slow way then hangs on little work, so
// that a wrong guess throws little away (taken in one pass, the guesses cost more than the
// blocks themselves).
//
// The test is exact too. A lane rotates its A[n] back to the state after step n, assuming no
// overflow so far; that state is at least the step's byte b[n] without an overflow (it is the
// rotated state before plus b[n]) and at most b[n] with one (the true sum plus one, below the
// byte). A lane flags state <= b[n]: every first overflow, and otherwise only a step from state 0.
constexpr std::size_t kChunkBlocks = 128;

#define MANDREL_AVX512_SUM __attribute__((target("avx512f,avx512bw,avx512vl,avx512vbmi2")))

MANDREL_AVX512_SUM __m256i EndAroundAdd(__m256i x, __m256i y) {
    const __m256i sum = _mm256_add_epi16(x, y);
    const __mmask16 carried = _mm256_cmplt_epu16_mask(sum, x);
    return _mm256_mask_sub_epi16(sum, carried, sum, _mm256_set1_epi16(-1));
}

MANDREL_AVX512_SUM __m256i SixteenBytes(const unsigned char* p) {
    return _mm256_cvtepu8_epi16(_mm_loadu_si128(reinterpret_cast<const __m128i*>(p)));
}

// Lane n - 1 stands for step n of a block: it rotates by n mod 16.
MANDREL_AVX512_SUM __m256i LaneSteps() {
    return _mm256_setr_epi16(1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 0);
}

// b[k] * 2^(k mod 16) summed for k = 1..n in lane n - 1, modulo 65535.
MANDREL_AVX512_SUM __m256i BlockPrefix(const unsigned char* p) {
    const __m256i b = SixteenBytes(p);
    __m256i x = _mm256_shldv_epi16(b, b, LaneSteps());  // rotated left: times 2^n
    x = EndAroundAdd(x, _mm256_bslli_epi128(x, 2));
    x = EndAroundAdd(x, _mm256_bslli_epi128(x, 4));
    x = EndAroundAdd(x, _mm256_bslli_epi128(x, 8));
    return EndAroundAdd(x, _mm256_maskz_permutexvar_epi16(0xFF00, _mm256_set1_epi16(7), x));
}

MANDREL_AVX512_SUM uint16_t SumRBlocksAvx512(const unsigned char* p, std::size_t blocks,
                                             uint16_t sum) {
    const __m256i steps = LaneSteps();
    // Written before it is read; not cleared, as SumRText comes here for every 4 KiB.
    alignas(32) std::array<std::array<uint16_t, kSumBlock>, kChunkBlocks> prefixes;  // NOLINT
    while (blocks > 0) {
        const std::size_t chunk = std::min(blocks, kChunkBlocks);
        for (std::size_t k = 0; k < chunk; ++k) {
            _mm256_store_si256(reinterpret_cast<__m256i*>(prefixes[k].data()),
                               BlockPrefix(p + kSumBlock * k));
        }
        for (std::size_t k = 0; k < chunk; ++k, p += kSumBlock) {
            const __m256i prefix =
                _mm256_load_si256(reinterpret_cast<const __m256i*>(prefixes[k].data()));
            const __m256i a = EndAroundAdd(prefix, _mm256_set1_epi16(static_cast<short>(sum)));
            const __m256i states = _mm256_shrdv_epi16(a, a, steps);  // rotated back
            if (_mm256_cmple_epu16_mask(states, SixteenBytes(p)) == 0) {
                // Two 16-bit values: one fold is enough, and the chain waits for each.
                const uint32_t total = uint32_t{sum} + prefixes[k][kSumBlock - 1];
                sum = static_cast<uint16_t>((total & 0xFFFFU) + (total >> 16));
            } else {
                sum = SumRSteps(p, kSumBlock, sum);
            }
        }
        blocks -= chunk;
    }
    return sum;
}

#endif

}  // namespace

uint32_t SumRBlockScalar(std::span<const unsigned char> bytes, uint32_t sum) {
    return SumRSteps(bytes.data(), bytes.size(), static_cast<uint16_t>(sum));
}

uint32_t SumRBlock(std::span<const unsigned char> bytes, uint32_t sum) {
#if defined(MANDREL_X86_SUM)
    const KernelPath path = ActiveKernelPath();
    if (bytes.size() >= kSumBlock && path >= KernelPath::Avx2) {
        const std::size_t blocks = bytes.size() / kSumBlock;
        const auto kernel = path == KernelPath::Avx512 ? SumRBlocksAvx512 : SumRBlocksAvx2;
        sum = kernel(bytes.data(), blocks, static_cast<uint16_t>(sum));
        bytes = bytes.subspan(blocks * kSumBlock);
    }
#endif
    return SumRBlockScalar(bytes, sum);
}

uint32_t SumRText(std::span<const char> text, uint32_t sum, bool& afterCr) {
    // Line ends are few: the text between them goes through SumRBlock in pieces of a buffer
    // (written before it is read, so not cleared), and a long stretch without a CR from where
    // it lies.
    constexpr std::size_t kPiece = 4096;
    std::array<unsigned char, kPiece> piece;  // NOLINT(cppcoreguidelines-pro-type-member-init)
    std::size_t length = 0;
    const auto flush = [&] {
        sum = SumRBlock(std::span(piece).first(length), sum);
        length = 0;
    };
    std::size_t i = afterCr && !text.empty() && text[0] == '\n' ? 1 : 0;
    afterCr = false;
    while (i < text.size()) {
        const auto* cr = static_cast<const char*>(std::memchr(&text[i], '\r', text.size() - i));
        const std::size_t end =
            cr == nullptr ? text.size() : static_cast<std::size_t>(cr - text.data());
        if (end - i >= kPiece) {
            flush();
            sum = SumRBlock({reinterpret_cast<const unsigned char*>(&text[i]), end - i}, sum);
            i = end;
        }
        while (i < end) {
            const std::size_t take = std::min(end - i, kPiece - length);
            std::memcpy(&piece[length], &text[i], take);
            length += take;
            i += take;
            if (length == kPiece) {
                flush();
            }
        }
        if (cr == nullptr) {
            break;
        }
        if (length == kPiece) {
            flush();
        }
        piece[length++] = '\n';
        i = end + 1;
        if (i == text.size()) {
            afterCr = true;
        } else if (text[i] == '\n') {
            ++i;
        }
    }
    flush();
    return sum;
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
