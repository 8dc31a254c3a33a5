#include "codec/group_kernels.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdint>
#include <cstring>

#include "codec/alphabets.h"

#if defined(__x86_64__) || defined(__i386__)
#include <immintrin.h>
#define MANDREL_X86_KERNELS 1
#endif

namespace mandrel {

namespace {

// The alphabets as runs of consecutive characters with consecutive values: c + delta is the
// value of a character of the run (decoding), v + delta the character of a value (encoding).
// Two runs make the UU alphabet, five the XX and Base64 ones and nine BinHex's, so a vector
// path tests a handful of ranges where a scalar one looks up a table.
struct ByteRun {
    int first = 0;
    int last = 0;
    int delta = 0;
};
constexpr std::size_t kMostRuns = 9;
// Past this many runs the 16-byte path loses to the scalar tables (BinHex's nine).
constexpr std::size_t kMostNarrowRuns = 5;
struct RunSet {
    std::size_t count = 0;  // 0: not fit for the vector paths
    std::array<ByteRun, kMostRuns> runs{};
};

// The runs of a table whose every key and value fits the signed byte compares (all are ASCII
// printable here); no runs at all when there are too many for the vector paths to be worth it.
template <typename ValueOf>
constexpr RunSet MakeRuns(int keys, ValueOf valueOf) {
    RunSet set{};
    for (int key = 0; key < keys;) {
        const int value = valueOf(key);
        if (value < 0) {
            ++key;
            continue;
        }
        int last = key;
        while (last + 1 < keys && valueOf(last + 1) == valueOf(last) + 1) {
            ++last;
        }
        if (set.count == kMostRuns || key < 1 || last > 0x7E) {
            return RunSet{};
        }
        set.runs[set.count++] = ByteRun{key, last, value - key};
        key = last + 1;
    }
    return set;
}

constexpr RunSet DecodeRunsOf(const DecodeTable& table) {
    return MakeRuns(256, [&table](int c) { return table[static_cast<std::size_t>(c)]; });
}

// Values run from 0, so a run starting there is shifted by one to keep the key above zero
// in the compares; EncodeRuns undoes it.
constexpr RunSet EncodeRunsOf(std::string_view alphabet) {
    RunSet set = MakeRuns(65, [alphabet](int v) {
        return v == 0 ? -1 : static_cast<unsigned char>(alphabet[static_cast<std::size_t>(v - 1)]);
    });
    for (std::size_t i = 0; i < set.count; ++i) {
        set.runs[i].first -= 1;
        set.runs[i].last -= 1;
        set.runs[i].delta += 1;
    }
    return set;
}

constexpr RunSet kUURuns = DecodeRunsOf(kUUDecodeTable);
constexpr RunSet kXXRuns = DecodeRunsOf(kXXDecodeTable);
constexpr RunSet kBase64Runs = DecodeRunsOf(kBase64DecodeTable);
constexpr RunSet kUUCharRuns = EncodeRunsOf(UUAlphabet.substr(0, 64));
constexpr RunSet kXXCharRuns = EncodeRunsOf(XXAlphabet);
constexpr RunSet kBase64CharRuns = EncodeRunsOf(Base64Alphabet);
constexpr RunSet kBinHexRuns = DecodeRunsOf(kBinHexDecodeTable);
constexpr RunSet kBinHexCharRuns = EncodeRunsOf(BinHexAlphabet);
static_assert(kBinHexRuns.count == 9 && kBinHexCharRuns.count == 9);
static_assert(kUURuns.count == 2 && kXXRuns.count == 5 && kBase64Runs.count == 5);
static_assert(kUUCharRuns.count == 2 && kXXCharRuns.count == 5 && kBase64CharRuns.count == 5);
static_assert(kUUCharRuns.runs[0].first == 0 && kUUCharRuns.runs[0].delta == '`');

// A decoding table as three 16-entry lookups by nibble, where that is possible, for the byte
// shuffles: a character is valid when the class bits of its low nibble and of its high nibble
// meet, and its value is the character plus the offset of its high nibble. One character may
// have an offset of its own (XX's '-', Base64's '/'); it takes the empty slot below its high
// nibble's. Three shuffles cost fewer steps than testing even UU's two runs; BinHex's alphabet
// has too many odd characters and keeps the runs.
struct NibbleTables {
    bool usable = false;
    std::array<int8_t, 16> lowClasses{};
    std::array<int8_t, 16> highClasses{};
    std::array<int8_t, 16> offsets{};
    int odd = 0;  // the character with its own offset, 0 for none
};

constexpr NibbleTables MakeNibbleTables(const DecodeTable& table) {
    NibbleTables nibbles{};
    std::array<unsigned, 16> lows{};  // per high nibble: the valid low nibbles, a bit each
    for (std::size_t c = 0; c < 256; ++c) {
        if (table[c] >= 0) {
            lows[c >> 4] |= 1U << (c & 15);
        }
    }
    std::array<unsigned, 8> classes{};
    std::size_t classCount = 0;
    for (std::size_t high = 0; high < 16; ++high) {
        if (lows[high] == 0) {
            continue;
        }
        std::size_t k = 0;
        while (k < classCount && classes[k] != lows[high]) {
            ++k;
        }
        if (k == classCount) {
            if (classCount == classes.size()) {
                return {};
            }
            classes[classCount++] = lows[high];
        }
        nibbles.highClasses[high] = static_cast<int8_t>(1U << k);
        for (std::size_t low = 0; low < 16; ++low) {
            if ((lows[high] >> low & 1U) != 0) {
                nibbles.lowClasses[low] = static_cast<int8_t>(nibbles.lowClasses[low] | (1U << k));
            }
        }
    }
    for (std::size_t high = 0; high < 16; ++high) {
        // The offset most of the nibble's characters share; a single other one is the odd one.
        int common = 0;
        int odd = 0;
        bool first = true;
        for (std::size_t low = 0; low < 16; ++low) {
            const std::size_t c = high * 16 + low;
            if (table[c] < 0) {
                continue;
            }
            const int offset = table[c] - static_cast<int>(c);
            if (first) {
                common = offset;
                first = false;
            } else if (offset != common) {
                if (odd != 0 || nibbles.odd != 0) {
                    return {};
                }
                odd = static_cast<int>(c);
            }
        }
        if (odd != 0) {
            if (high == 0 || lows[high - 1] != 0) {
                return {};
            }
            nibbles.odd = odd;
            nibbles.offsets[high - 1] =
                static_cast<int8_t>(table[static_cast<std::size_t>(odd)] - odd);
        }
        nibbles.offsets[high] = static_cast<int8_t>(common);
    }
    nibbles.usable = true;
    return nibbles;
}

// The runs as the vector paths read them: each bound and delta spread over 32 bytes, so that a
// compare takes it straight from memory and no call sets up registers first. A byte belongs to
// a run when it is above first - 1 and below last + 1 (signed compares: bytes from 0x80 up are
// below every run).
struct alignas(32) SpreadByte : std::array<int8_t, 32> {};
struct RunBytes {
    std::size_t count = 0;
    std::array<SpreadByte, kMostRuns> above{};
    std::array<SpreadByte, kMostRuns> below{};
    std::array<SpreadByte, kMostRuns> delta{};
    // Encoding: the value runs cover 0 to 63 in order, so a character is its value plus the
    // first run's delta and, for every later run it reaches, the change of delta there.
    std::array<SpreadByte, kMostRuns> change{};
    NibbleTables nibbles{};  // decoding
};

constexpr SpreadByte Spread(int value) {
    SpreadByte bytes{};
    bytes.fill(static_cast<int8_t>(value));
    return bytes;
}

constexpr RunBytes SpreadRuns(const RunSet& set) {
    RunBytes bytes;
    bytes.count = set.count;
    for (std::size_t i = 0; i < set.count; ++i) {
        bytes.above[i] = Spread(set.runs[i].first - 1);
        bytes.below[i] = Spread(set.runs[i].last + 1);
        bytes.delta[i] = Spread(static_cast<int8_t>(set.runs[i].delta));
        bytes.change[i] =
            Spread(static_cast<int8_t>(set.runs[i].delta - (i == 0 ? 0 : set.runs[i - 1].delta)));
    }
    return bytes;
}

constexpr RunBytes DecodeRunBytes(const RunSet& set, const DecodeTable& table) {
    RunBytes bytes = SpreadRuns(set);
    bytes.nibbles = MakeNibbleTables(table);
    return bytes;
}

constexpr RunBytes kUURunBytes = DecodeRunBytes(kUURuns, kUUDecodeTable);
constexpr RunBytes kXXRunBytes = DecodeRunBytes(kXXRuns, kXXDecodeTable);
constexpr RunBytes kBase64RunBytes = DecodeRunBytes(kBase64Runs, kBase64DecodeTable);
constexpr RunBytes kUUCharRunBytes = SpreadRuns(kUUCharRuns);
constexpr RunBytes kXXCharRunBytes = SpreadRuns(kXXCharRuns);
constexpr RunBytes kBase64CharRunBytes = SpreadRuns(kBase64CharRuns);
constexpr RunBytes kBinHexRunBytes = DecodeRunBytes(kBinHexRuns, kBinHexDecodeTable);
static_assert(kUURunBytes.nibbles.usable && kXXRunBytes.nibbles.usable &&
              kXXRunBytes.nibbles.odd == '-' && !kBinHexRunBytes.nibbles.usable);
static_assert(kBase64RunBytes.nibbles.usable && kBase64RunBytes.nibbles.odd == '/');
constexpr RunBytes kBinHexCharRunBytes = SpreadRuns(kBinHexCharRuns);

// The scalar encoder's table: the two characters of every 12-bit value, so that a group of
// three bytes is two lookups.
using PairTable = std::array<std::array<char, 2>, 4096>;

constexpr PairTable MakePairTable(std::string_view alphabet) {
    PairTable table{};
    for (std::size_t v = 0; v < table.size(); ++v) {
        table[v] = {alphabet[v >> 6], alphabet[v & 0x3FU]};
    }
    return table;
}

constexpr PairTable kUUPairs = MakePairTable(UUAlphabet);
constexpr PairTable kXXPairs = MakePairTable(XXAlphabet);
constexpr PairTable kBase64Pairs = MakePairTable(Base64Alphabet);
constexpr PairTable kBinHexPairs = MakePairTable(BinHexAlphabet);

// What the kernels keep for each alphabet they know, found by its decode table or its text (the
// alphabet's views all share its characters).
struct AlphabetKernels {
    const char* characters;
    const DecodeTable* table;
    const RunBytes* decodeRuns;
    const RunBytes* encodeRuns;
    const PairTable* pairs;
};
constexpr std::array<AlphabetKernels, 4> kAlphabetKernels = {{
    {UUAlphabet.data(), &kUUDecodeTable, &kUURunBytes, &kUUCharRunBytes, &kUUPairs},
    {XXAlphabet.data(), &kXXDecodeTable, &kXXRunBytes, &kXXCharRunBytes, &kXXPairs},
    {Base64Alphabet.data(), &kBase64DecodeTable, &kBase64RunBytes, &kBase64CharRunBytes,
     &kBase64Pairs},
    {BinHexAlphabet.data(), &kBinHexDecodeTable, &kBinHexRunBytes, &kBinHexCharRunBytes,
     &kBinHexPairs},
}};

const AlphabetKernels* KernelsFor(const DecodeTable& table) {
    const auto* found = std::ranges::find(kAlphabetKernels, &table, &AlphabetKernels::table);
    return found == kAlphabetKernels.end() ? nullptr : found;
}

const AlphabetKernels* KernelsFor(std::string_view alphabet) {
    const auto* found =
        std::ranges::find(kAlphabetKernels, alphabet.data(), &AlphabetKernels::characters);
    return found == kAlphabetKernels.end() ? nullptr : found;
}

const RunBytes* DecodeRunsFor(const DecodeTable& table) {
    const AlphabetKernels* kernels = KernelsFor(table);
    return kernels == nullptr ? nullptr : kernels->decodeRuns;
}

const RunBytes* EncodeRunsFor(std::string_view alphabet) {
    const AlphabetKernels* kernels = KernelsFor(alphabet);
    return kernels == nullptr ? nullptr : kernels->encodeRuns;
}

const PairTable* PairTableFor(std::string_view alphabet) {
    const AlphabetKernels* kernels = KernelsFor(alphabet);
    return kernels == nullptr ? nullptr : kernels->pairs;
}

#if defined(MANDREL_X86_KERNELS)

KernelPath DetectKernelPath() {
    __builtin_cpu_init();
    // The builtin takes only literal names.
    const bool avx512 =
        __builtin_cpu_supports("avx512f") != 0 && __builtin_cpu_supports("avx512bw") != 0 &&
        __builtin_cpu_supports("avx512vl") != 0 && __builtin_cpu_supports("avx512vbmi2") != 0 &&
        __builtin_cpu_supports("vpclmulqdq") != 0 && __builtin_cpu_supports("popcnt") != 0;
    if (avx512) {
        return KernelPath::Avx512;
    }
    if (__builtin_cpu_supports("avx2") != 0) {
        return KernelPath::Avx2;
    }
    if (__builtin_cpu_supports("ssse3") != 0) {
        return KernelPath::Ssse3;
    }
    return KernelPath::Scalar;
}

// Four characters per 32-bit lane, first character lowest, as values: bits v0 v1 v2 v3 from
// the top of 24 bits, then the three bytes in output order at the bottom of each lane's 16.
constexpr std::array<int8_t, 16> kPackOrder = {2, 1,  0,  6,  5,  4,  10, 9,
                                               8, 14, 13, 12, -1, -1, -1, -1};
// Three bytes per group spread over a 32-bit lane as b1 b0 b2 b1, for the multiplies that cut
// them into four values. kSpreadAfter4 reads the same groups from 4 bytes further on.
constexpr std::array<int8_t, 16> kSpread = {1, 0, 2, 1, 4, 3, 5, 4, 7, 6, 8, 7, 10, 9, 11, 10};
constexpr std::array<int8_t, 16> kSpreadAfter4 = {5,  4,  6,  5,  8,  7,  9,  8,
                                                  11, 10, 12, 11, 14, 13, 15, 14};

// A vector path's group decoder.
using GroupDecoder = bool (*)(const RunBytes& runs, const unsigned char* in, std::size_t groups,
                              unsigned char* out);

// The line loop of DecodeSameLines, with the path's group decoder.
std::size_t SameLinesLoop(const RunBytes& runs, GroupDecoder decode, const SameLines& shape,
                          std::span<const unsigned char> text, std::span<unsigned char> out,
                          std::size_t mostLines, SameLinesState& state) {
    const std::size_t characters = 4 * shape.groups;
    const std::size_t bytes = 3 * shape.groups;
    std::size_t lines = 0;
    for (; lines < mostLines; ++lines) {
        std::size_t start = state.at;
        if (state.previous == '\r' && start < text.size() && text[start] == '\n') {
            ++start;
        }
        // The reach also keeps the line and its end inside the text.
        if (start >= text.size() || text.size() - start < shape.reach ||
            out.size() - state.produced < shape.room || text[start] != shape.lengthCharacter) {
            break;
        }
        const unsigned char end = text[start + 1 + characters];
        if ((end != '\r' && end != '\n') ||
            !decode(runs, text.data() + start + 1, shape.groups, out.data() + state.produced)) {
            break;
        }
        state.produced += bytes;
        state.at = start + characters + 2;
        state.previous = end;
    }
    return lines;
}

__attribute__((target("ssse3"))) inline __m128i Load128(const std::array<int8_t, 16>& bytes) {
    return _mm_loadu_si128(reinterpret_cast<const __m128i*>(bytes.data()));
}

__attribute__((target("ssse3"))) inline __m128i Bytes128(const SpreadByte& bytes) {
    return _mm_load_si128(reinterpret_cast<const __m128i*>(bytes.data()));
}

__attribute__((target("avx2"))) inline __m256i Bytes256(const SpreadByte& bytes) {
    return _mm256_load_si256(reinterpret_cast<const __m256i*>(bytes.data()));
}

// Each byte plus the delta of its run; `inside` keeps the lanes that found one.
__attribute__((target("ssse3"))) inline __m128i TranslateByNibbles128(const NibbleTables& nibbles,
                                                                      __m128i c, __m128i& inside) {
    const __m128i low = _mm_and_si128(c, _mm_set1_epi8(0x0F));
    const __m128i high = _mm_and_si128(_mm_srli_epi16(c, 4), _mm_set1_epi8(0x0F));
    const __m128i classes = _mm_and_si128(_mm_shuffle_epi8(Load128(nibbles.lowClasses), low),
                                          _mm_shuffle_epi8(Load128(nibbles.highClasses), high));
    inside = _mm_andnot_si128(_mm_cmpeq_epi8(classes, _mm_setzero_si128()), inside);
    const __m128i slot =
        _mm_add_epi8(high, _mm_cmpeq_epi8(c, _mm_set1_epi8(static_cast<char>(nibbles.odd))));
    return _mm_add_epi8(c, _mm_shuffle_epi8(Load128(nibbles.offsets), slot));
}

__attribute__((target("ssse3"))) inline __m128i Translate128(const RunBytes& runs, __m128i c,
                                                             __m128i& inside) {
    if (runs.nibbles.usable) {
        return TranslateByNibbles128(runs.nibbles, c, inside);
    }
    __m128i add = _mm_setzero_si128();
    __m128i found = _mm_setzero_si128();
    for (std::size_t i = 0; i < runs.count; ++i) {
        const __m128i in = _mm_and_si128(_mm_cmpgt_epi8(c, Bytes128(runs.above[i])),
                                         _mm_cmplt_epi8(c, Bytes128(runs.below[i])));
        found = _mm_or_si128(found, in);
        add = _mm_or_si128(add, _mm_and_si128(in, Bytes128(runs.delta[i])));
    }
    inside = _mm_and_si128(inside, found);
    return _mm_add_epi8(c, add);
}

// Sixteen characters at `in` to twelve bytes at `out`.
__attribute__((target("ssse3"))) inline void DecodeBlock128(const RunBytes& runs,
                                                            const unsigned char* in,
                                                            unsigned char* out, __m128i& inside) {
    const __m128i c = _mm_loadu_si128(reinterpret_cast<const __m128i*>(in));
    const __m128i values = Translate128(runs, c, inside);
    const __m128i bits = _mm_madd_epi16(_mm_maddubs_epi16(values, _mm_set1_epi32(0x01400140)),
                                        _mm_set1_epi32(0x00011000));
    const __m128i bytes = _mm_shuffle_epi8(bits, Load128(kPackOrder));
    _mm_storel_epi64(reinterpret_cast<__m128i*>(out), bytes);
    const auto last = static_cast<uint32_t>(_mm_cvtsi128_si32(_mm_srli_si128(bytes, 8)));
    std::memcpy(out + 8, &last, 4);
}

__attribute__((target("ssse3"))) bool DecodeGroupsSsse3(const RunBytes& runs,
                                                        const unsigned char* in, std::size_t groups,
                                                        unsigned char* out) {
    __m128i inside = _mm_set1_epi8(-1);
    std::size_t group = 0;
    for (; group + 4 <= groups; group += 4) {
        DecodeBlock128(runs, in + 4 * group, out + 3 * group, inside);
    }
    if (group < groups) {
        // Overlaps the block before: the same bytes again.
        DecodeBlock128(runs, in + 4 * (groups - 4), out + 3 * (groups - 4), inside);
    }
    return _mm_movemask_epi8(inside) == 0xFFFF;
}

// The characters of sixteen values (0 to 63) of an encoding's runs.
__attribute__((target("ssse3"))) inline __m128i Characters128(const RunBytes& runs, __m128i v) {
    __m128i add = Bytes128(runs.change[0]);
    for (std::size_t i = 1; i < runs.count; ++i) {
        add = _mm_add_epi8(add, _mm_and_si128(_mm_cmpgt_epi8(v, Bytes128(runs.above[i])),
                                              Bytes128(runs.change[i])));
    }
    return _mm_add_epi8(v, add);
}

// Twelve bytes spread from the sixteen at `from` to sixteen characters at `out`.
__attribute__((target("ssse3"))) inline void EncodeBlock128(const RunBytes& runs,
                                                            const unsigned char* from,
                                                            __m128i spread, char* out) {
    const __m128i b =
        _mm_shuffle_epi8(_mm_loadu_si128(reinterpret_cast<const __m128i*>(from)), spread);
    const __m128i values = _mm_or_si128(
        _mm_mulhi_epu16(_mm_and_si128(b, _mm_set1_epi32(0x0FC0FC00)), _mm_set1_epi32(0x04000040)),
        _mm_mullo_epi16(_mm_and_si128(b, _mm_set1_epi32(0x003F03F0)), _mm_set1_epi32(0x01000010)));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(out), Characters128(runs, values));
}

// Encodes the groups from the start as far as whole loads go, and the last four; returns where
// the first part ended. The scalar way takes any group between the two.
__attribute__((target("ssse3"))) std::size_t EncodeGroupsSsse3(const RunBytes& runs,
                                                               const unsigned char* in,
                                                               std::size_t groups, char* out) {
    const __m128i spread = Load128(kSpread);
    const std::size_t bytes = 3 * groups;
    std::size_t group = 0;
    for (; group + 4 <= groups && 3 * group + 16 <= bytes; group += 4) {
        EncodeBlock128(runs, in + 3 * group, spread, out + 4 * group);
    }
    if (group < groups) {
        // The last four groups from a load that ends with the input.
        EncodeBlock128(runs, in + bytes - 16, Load128(kSpreadAfter4), out + 4 * (groups - 4));
    }
    return group;
}

__attribute__((target("avx2"))) inline __m256i Both128(const std::array<int8_t, 16>& bytes) {
    return _mm256_broadcastsi128_si256(
        _mm_loadu_si128(reinterpret_cast<const __m128i*>(bytes.data())));
}

__attribute__((target("avx2"))) inline __m256i TranslateByNibbles256(const NibbleTables& nibbles,
                                                                     __m256i c, __m256i& inside) {
    const __m256i low = _mm256_and_si256(c, _mm256_set1_epi8(0x0F));
    const __m256i high = _mm256_and_si256(_mm256_srli_epi16(c, 4), _mm256_set1_epi8(0x0F));
    const __m256i classes =
        _mm256_and_si256(_mm256_shuffle_epi8(Both128(nibbles.lowClasses), low),
                         _mm256_shuffle_epi8(Both128(nibbles.highClasses), high));
    inside = _mm256_andnot_si256(_mm256_cmpeq_epi8(classes, _mm256_setzero_si256()), inside);
    const __m256i slot = _mm256_add_epi8(
        high, _mm256_cmpeq_epi8(c, _mm256_set1_epi8(static_cast<char>(nibbles.odd))));
    return _mm256_add_epi8(c, _mm256_shuffle_epi8(Both128(nibbles.offsets), slot));
}

__attribute__((target("avx2"))) inline __m256i Translate256(const RunBytes& runs, __m256i c,
                                                            __m256i& inside) {
    if (runs.nibbles.usable) {
        return TranslateByNibbles256(runs.nibbles, c, inside);
    }
    __m256i add = _mm256_setzero_si256();
    __m256i found = _mm256_setzero_si256();
    for (std::size_t i = 0; i < runs.count; ++i) {
        const __m256i in = _mm256_and_si256(_mm256_cmpgt_epi8(c, Bytes256(runs.above[i])),
                                            _mm256_cmpgt_epi8(Bytes256(runs.below[i]), c));
        found = _mm256_or_si256(found, in);
        add = _mm256_or_si256(add, _mm256_and_si256(in, Bytes256(runs.delta[i])));
    }
    inside = _mm256_and_si256(inside, found);
    return _mm256_add_epi8(c, add);
}

// Thirty-two characters at `in` to twenty-four bytes at `out`.
__attribute__((target("avx2"))) inline void DecodeBlock256(const RunBytes& runs,
                                                           const unsigned char* in,
                                                           unsigned char* out, __m256i& inside) {
    const __m256i c = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(in));
    const __m256i values = Translate256(runs, c, inside);
    const __m256i bits = _mm256_madd_epi16(
        _mm256_maddubs_epi16(values, _mm256_set1_epi32(0x01400140)), _mm256_set1_epi32(0x00011000));
    // Twelve bytes at the bottom of each half, then the halves side by side.
    const __m256i bytes = _mm256_permutevar8x32_epi32(
        _mm256_shuffle_epi8(bits, Both128(kPackOrder)), _mm256_setr_epi32(0, 1, 2, 4, 5, 6, 3, 7));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(out), _mm256_castsi256_si128(bytes));
    _mm_storel_epi64(reinterpret_cast<__m128i*>(out + 16), _mm256_extracti128_si256(bytes, 1));
}

__attribute__((target("avx2"))) bool DecodeGroupsAvx2(const RunBytes& runs, const unsigned char* in,
                                                      std::size_t groups, unsigned char* out) {
    __m256i inside = _mm256_set1_epi8(-1);
    std::size_t group = 0;
    for (; group + 8 <= groups; group += 8) {
        DecodeBlock256(runs, in + 4 * group, out + 3 * group, inside);
    }
    if (group < groups) {
        DecodeBlock256(runs, in + 4 * (groups - 8), out + 3 * (groups - 8), inside);
    }
    return _mm256_movemask_epi8(inside) == -1;
}

__attribute__((target("avx2"))) inline __m256i Characters256(const RunBytes& runs, __m256i v) {
    __m256i add = Bytes256(runs.change[0]);
    for (std::size_t i = 1; i < runs.count; ++i) {
        add = _mm256_add_epi8(add, _mm256_and_si256(_mm256_cmpgt_epi8(v, Bytes256(runs.above[i])),
                                                    Bytes256(runs.change[i])));
    }
    return _mm256_add_epi8(v, add);
}

// Each half spreads twelve bytes of its own sixteen-byte load into sixteen characters.
__attribute__((target("avx2"))) inline void EncodeBlock256(const RunBytes& runs,
                                                           const unsigned char* low,
                                                           const unsigned char* high,
                                                           __m256i spread, char* out) {
    const __m256i loaded = _mm256_inserti128_si256(
        _mm256_castsi128_si256(_mm_loadu_si128(reinterpret_cast<const __m128i*>(low))),
        _mm_loadu_si128(reinterpret_cast<const __m128i*>(high)), 1);
    const __m256i b = _mm256_shuffle_epi8(loaded, spread);
    const __m256i values =
        _mm256_or_si256(_mm256_mulhi_epu16(_mm256_and_si256(b, _mm256_set1_epi32(0x0FC0FC00)),
                                           _mm256_set1_epi32(0x04000040)),
                        _mm256_mullo_epi16(_mm256_and_si256(b, _mm256_set1_epi32(0x003F03F0)),
                                           _mm256_set1_epi32(0x01000010)));
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(out), Characters256(runs, values));
}

// As EncodeGroupsSsse3, with the last eight groups.
__attribute__((target("avx2"))) std::size_t EncodeGroupsAvx2(const RunBytes& runs,
                                                             const unsigned char* in,
                                                             std::size_t groups, char* out) {
    const __m256i spread = Both128(kSpread);
    const std::size_t bytes = 3 * groups;
    std::size_t group = 0;
    for (; group + 8 <= groups && 3 * group + 28 <= bytes; group += 8) {
        EncodeBlock256(runs, in + 3 * group, in + 3 * group + 12, spread, out + 4 * group);
    }
    if (group < groups) {
        EncodeBlock256(runs, in + bytes - 28, in + bytes - 16, Both128(kSpreadAfter4),
                       out + 4 * (groups - 8));
    }
    return group;
}

#else

KernelPath DetectKernelPath() {
    return KernelPath::Scalar;
}

#endif

KernelPath BestPath() {
    static const KernelPath best = DetectKernelPath();
    return best;
}

// The path in use, -1 until the first kernel asks (then the best one).
std::atomic<int> activePath{-1};

}  // namespace

KernelPath BestKernelPath() {
    return BestPath();
}

KernelPath ActiveKernelPath() {
    const int path = activePath.load(std::memory_order_relaxed);
    return path < 0 ? BestPath() : static_cast<KernelPath>(path);
}

KernelPath UseKernelPath(KernelPath path) {
    const KernelPath taken =
        static_cast<int>(path) <= static_cast<int>(BestPath()) ? path : BestPath();
    activePath.store(static_cast<int>(taken), std::memory_order_relaxed);
    return taken;
}

std::string_view KernelPathName(KernelPath path) {
    switch (path) {
        case KernelPath::Avx512:
            return "avx512";
        case KernelPath::Avx2:
            return "avx2";
        case KernelPath::Ssse3:
            return "ssse3";
        case KernelPath::Scalar:
            break;
    }
    return "scalar";
}

bool HasVectorGroups(const DecodeTable& table) {
    return DecodeRunsFor(table) != nullptr;
}

bool DecodeGroupsScalar(const DecodeTable& table, const unsigned char* in, std::size_t groups,
                        unsigned char* out) {
    // An invalid character (-1) sets bits above the 24 a valid group reaches.
    uint32_t seen = 0;
    for (std::size_t g = 0; g < groups; ++g, in += 4, out += 3) {
        const uint32_t bits = (static_cast<uint32_t>(table[in[0]]) << 18) |
                              (static_cast<uint32_t>(table[in[1]]) << 12) |
                              (static_cast<uint32_t>(table[in[2]]) << 6) |
                              static_cast<uint32_t>(table[in[3]]);
        seen |= bits;
        out[0] = static_cast<unsigned char>(bits >> 16);
        out[1] = static_cast<unsigned char>(bits >> 8);
        out[2] = static_cast<unsigned char>(bits);
    }
    return seen <= 0xFFFFFFU;
}

bool DecodeGroups(const DecodeTable& table, const unsigned char* in, std::size_t groups,
                  unsigned char* out) {
#if defined(MANDREL_X86_KERNELS)
    if (const RunBytes* runs = DecodeRunsFor(table); runs != nullptr) {
        const KernelPath path = ActiveKernelPath();
        if (path >= KernelPath::Avx2 && groups >= 8) {
            return DecodeGroupsAvx2(*runs, in, groups, out);
        }
        if (path != KernelPath::Scalar && groups >= 4 &&
            (runs->nibbles.usable || runs->count <= kMostNarrowRuns)) {
            return DecodeGroupsSsse3(*runs, in, groups, out);
        }
    }
#endif
    return DecodeGroupsScalar(table, in, groups, out);
}

bool HasSameLinesKernel(const DecodeTable& table) {
#if defined(MANDREL_X86_KERNELS)
    const RunBytes* runs = DecodeRunsFor(table);
    return runs != nullptr && runs->nibbles.usable && ActiveKernelPath() != KernelPath::Scalar;
#else
    (void)table;
    return false;
#endif
}

std::size_t DecodeSameLines(const DecodeTable& table, const SameLines& shape,
                            std::span<const unsigned char> text, std::span<unsigned char> out,
                            std::size_t mostLines, SameLinesState& state) {
#if defined(MANDREL_X86_KERNELS)
    const RunBytes* runs = DecodeRunsFor(table);
    if (runs == nullptr || !runs->nibbles.usable || shape.groups > 21 ||
        shape.reach < 4 * shape.groups + 2 || shape.room < 3 * shape.groups) {
        return 0;
    }
    const KernelPath path = ActiveKernelPath();
    if (path >= KernelPath::Avx2 && shape.groups >= 8) {
        return SameLinesLoop(*runs, DecodeGroupsAvx2, shape, text, out, mostLines, state);
    }
    if (path != KernelPath::Scalar && shape.groups >= 4) {
        return SameLinesLoop(*runs, DecodeGroupsSsse3, shape, text, out, mostLines, state);
    }
#else
    (void)table, (void)shape, (void)text, (void)out, (void)mostLines, (void)state;
#endif
    return 0;
}

void EncodeGroupsScalar(std::string_view alphabet, const unsigned char* in, std::size_t groups,
                        char* out) {
    if (const PairTable* pairs = PairTableFor(alphabet); pairs != nullptr) {
        for (std::size_t g = 0; g < groups; ++g, in += 3, out += 4) {
            const uint32_t v = (uint32_t{in[0]} << 16) | (uint32_t{in[1]} << 8) | in[2];
            std::memcpy(out, (*pairs)[v >> 12].data(), 2);
            std::memcpy(out + 2, (*pairs)[v & 0xFFFU].data(), 2);
        }
        return;
    }
    const char* a = alphabet.data();
    for (std::size_t g = 0; g < groups; ++g, in += 3, out += 4) {
        const unsigned b0 = in[0];
        const unsigned b1 = in[1];
        const unsigned b2 = in[2];
        out[0] = a[b0 >> 2];
        out[1] = a[((b0 & 0x03U) << 4) | (b1 >> 4)];
        out[2] = a[((b1 & 0x0FU) << 2) | (b2 >> 6)];
        out[3] = a[b2 & 0x3FU];
    }
}

void EncodeGroups(std::string_view alphabet, const unsigned char* in, std::size_t groups,
                  char* out) {
#if defined(MANDREL_X86_KERNELS)
    if (const RunBytes* runs = EncodeRunsFor(alphabet); runs != nullptr) {
        const KernelPath path = ActiveKernelPath();
        std::size_t tail = 0;
        std::size_t done = groups;
        if (path >= KernelPath::Avx2 && groups >= 10) {
            done = EncodeGroupsAvx2(*runs, in, groups, out);
            tail = 8;
        } else if (path != KernelPath::Scalar && groups >= 6 && runs->count <= kMostNarrowRuns) {
            done = EncodeGroupsSsse3(*runs, in, groups, out);
            tail = 4;
        }
        if (tail != 0) {
            if (done + tail < groups) {
                EncodeGroupsScalar(alphabet, in + 3 * done, groups - tail - done, out + 4 * done);
            }
            return;
        }
    }
#endif
    EncodeGroupsScalar(alphabet, in, groups, out);
}

}  // namespace mandrel
