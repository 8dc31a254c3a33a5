#include "codec/yenc.h"

#include <algorithm>
#include <array>
#include <bit>
#include <charconv>
#include <cstring>

#include "codec/group_kernels.h"

#if defined(__x86_64__) || defined(__i386__)
#include <immintrin.h>
#define MANDREL_X86_YENC 1
#endif

namespace mandrel {

namespace {

constexpr unsigned char kEscape = '=';

bool IsBlank(char c) {
    return c == ' ' || c == '\t';
}

std::string_view TrimLineEnd(std::string_view text) {
    while (!text.empty() && (text.back() == '\r' || text.back() == '\n' || IsBlank(text.back()))) {
        text.remove_suffix(1);
    }
    return text;
}

template <typename T>
std::optional<T> Number(std::string_view text, int base) {
    T value{};
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value, base);
    if (error != std::errc{} || end != text.data() + text.size()) {
        return std::nullopt;
    }
    return value;
}

// A CRC written in hex, with or without "0x", of up to eight digits.
std::optional<uint32_t> Crc(std::string_view text) {
    if (text.size() > 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X')) {
        text.remove_prefix(2);
    }
    if (text.empty() || text.size() > 8) {
        return std::nullopt;
    }
    return Number<uint32_t>(text, 16);
}

void TakeField(YEncFields& fields, std::string_view key, std::string_view value) {
    struct Decimal {
        std::string_view key;
        std::optional<int64_t> YEncFields::*field;
    };
    static constexpr std::array<Decimal, 6> kDecimals = {{
        {"part", &YEncFields::part},
        {"total", &YEncFields::total},
        {"line", &YEncFields::line},
        {"size", &YEncFields::size},
        {"begin", &YEncFields::begin},
        {"end", &YEncFields::end},
    }};
    for (const Decimal& decimal : kDecimals) {
        if (key == decimal.key) {
            fields.*decimal.field = Number<int64_t>(value, 10);
            return;
        }
    }
    if (key == "pcrc32") {
        fields.pcrc32 = Crc(value);
    } else if (key == "crc32") {
        fields.crc32 = Crc(value);
    }
}

bool EndsLine(unsigned char c) {
    return c == '\r' || c == '\n';
}

// The first CR or LF from `from` on, before `limit`; `limit` when there is none.
std::size_t FindLineEnd(const unsigned char* in, std::size_t from, std::size_t limit) {
    std::size_t i = from;
#if defined(__SSE2__)
    const __m128i cr = _mm_set1_epi8('\r');
    const __m128i lf = _mm_set1_epi8('\n');
    for (; i + 16 <= limit; i += 16) {
        const __m128i c = _mm_loadu_si128(reinterpret_cast<const __m128i*>(in + i));
        const int mask =
            _mm_movemask_epi8(_mm_or_si128(_mm_cmpeq_epi8(c, cr), _mm_cmpeq_epi8(c, lf)));
        if (mask != 0) {
            return i + static_cast<std::size_t>(__builtin_ctz(static_cast<unsigned>(mask)));
        }
    }
#endif
    while (i < limit && !EndsLine(in[i])) {
        ++i;
    }
    return i;
}

// Whole lines with no dot-stuffing to undo: every byte but the line ends and the escapes,
// byte by byte. `escape` carries an escape whose character is still to come.
std::size_t DecodeRegionByBytes(const unsigned char* in, std::size_t n, unsigned char* out,
                                bool& escape) {
    std::size_t produced = 0;
    for (std::size_t i = 0; i < n; ++i) {
        const unsigned char c = in[i];
        if (EndsLine(c)) {
            escape = false;
        } else if (escape) {
            out[produced++] = static_cast<unsigned char>(c - 64 - 42);
            escape = false;
        } else if (c == kEscape) {
            escape = true;
        } else {
            out[produced++] = static_cast<unsigned char>(c - 42);
        }
    }
    return produced;
}

#if defined(MANDREL_X86_YENC)

// For each set of eight bytes kept (a bit each), the shuffle that packs them to the front.
using PackTable = std::array<std::array<int8_t, 8>, 256>;
constexpr PackTable MakePackTable() {
    PackTable table{};
    for (std::size_t keep = 0; keep < 256; ++keep) {
        std::size_t n = 0;
        for (std::size_t bit = 0; bit < 8; ++bit) {
            if ((keep >> bit & 1U) != 0) {
                table[keep][n++] = static_cast<int8_t>(bit);
            }
        }
        for (; n < 8; ++n) {
            table[keep][n] = -1;
        }
    }
    return table;
}
constexpr PackTable kPackTable = MakePackTable();

// Sixteen characters decoded and packed: the escaped ones lowered by 64 more, the escapes and
// the line ends left out. Writes sixteen bytes at out; returns how many count.
__attribute__((target("ssse3,popcnt"))) inline std::size_t PackBlock(__m128i c, unsigned escaped,
                                                                     unsigned keep,
                                                                     unsigned char* out) {
    const __m128i bits = _mm_setr_epi8(1, 2, 4, 8, 16, 32, 64, -128, 1, 2, 4, 8, 16, 32, 64, -128);
    const __m128i spread =
        _mm_shuffle_epi8(_mm_cvtsi32_si128(static_cast<int>(escaped)),
                         _mm_setr_epi8(0, 0, 0, 0, 0, 0, 0, 0, 1, 1, 1, 1, 1, 1, 1, 1));
    const __m128i lowered = _mm_cmpeq_epi8(_mm_and_si128(spread, bits), bits);
    const __m128i values =
        _mm_sub_epi8(_mm_sub_epi8(c, _mm_set1_epi8(42)), _mm_and_si128(lowered, _mm_set1_epi8(64)));
    const __m128i low = _mm_shuffle_epi8(
        values, _mm_loadl_epi64(reinterpret_cast<const __m128i*>(kPackTable[keep & 0xFFU].data())));
    const __m128i high = _mm_shuffle_epi8(
        _mm_srli_si128(values, 8),
        _mm_loadl_epi64(reinterpret_cast<const __m128i*>(kPackTable[keep >> 8].data())));
    const auto first = static_cast<std::size_t>(__builtin_popcount(keep & 0xFFU));
    _mm_storel_epi64(reinterpret_cast<__m128i*>(out), low);
    _mm_storel_epi64(reinterpret_cast<__m128i*>(out + first), high);
    return first + static_cast<std::size_t>(__builtin_popcount(keep >> 8));
}

// The same sixteen bytes at a time: the escaped bytes lowered by 64 more, the escapes and the
// line ends packed out. A block where an escape follows an escape (the second one is data) or
// whose first byte an escape before it takes goes byte by byte. The stores reach up to sixteen
// bytes past what is produced, so the blocks stop that far from the end of out.
__attribute__((target("ssse3,popcnt"))) std::size_t DecodeRegionSsse3(
    const unsigned char* in, std::size_t n, unsigned char* out, std::size_t outSize, bool& escape) {
    const __m128i equals = _mm_set1_epi8(static_cast<char>(kEscape));
    const __m128i cr = _mm_set1_epi8('\r');
    const __m128i lf = _mm_set1_epi8('\n');
    std::size_t produced = 0;
    std::size_t i = 0;
    for (; i + 16 <= n && produced + 16 <= outSize; i += 16) {
        const __m128i c = _mm_loadu_si128(reinterpret_cast<const __m128i*>(in + i));
        const auto escapes = static_cast<unsigned>(_mm_movemask_epi8(_mm_cmpeq_epi8(c, equals)));
        const auto ends = static_cast<unsigned>(
            _mm_movemask_epi8(_mm_or_si128(_mm_cmpeq_epi8(c, cr), _mm_cmpeq_epi8(c, lf))));
        const unsigned escaped = (escapes << 1) & 0xFFFFU;
        if (escape || (escapes & escaped) != 0) {
            produced += DecodeRegionByBytes(in + i, 16, out + produced, escape);
            continue;
        }
        produced += PackBlock(c, escaped, ~(escapes | ends) & 0xFFFFU, out + produced);
        // An escape in the last byte takes the first of the next block.
        escape = (escapes & 0x8000U) != 0;
    }
    return produced + DecodeRegionByBytes(in + i, n - i, out + produced, escape);
}

// A line may start at `at` for the runs: whole characters to look at, and neither a keyword line
// nor a dot-stuffed one, which the careful way takes.
bool LineMayStart(const unsigned char* in, std::size_t size, std::size_t at) {
    return at + 2 <= size && !(in[at] == '=' && in[at + 1] == 'y') &&
           !(in[at] == '.' && in[at + 1] == '.');
}

// The line ends of one block of the one-pass way, bit k of `ends` standing for in[i + k] and of
// `keep` for a byte it kept, its bytes packed from out[base] on: the run takes each line that
// ends there. False when the run stops at one (a line longer than `room`, a next line a run may
// not take, or too little of out left).
inline bool TakeLineEnds(const unsigned char* in, std::size_t size, std::size_t i, uint64_t ends,
                         uint64_t keep, std::size_t base, std::size_t outSize, std::size_t room,
                         std::size_t& lineStart, YEncRun& run) {
    for (uint64_t pending = ends; pending != 0; pending &= pending - 1) {
        const auto bit = static_cast<unsigned>(std::countr_zero(pending));
        const std::size_t end = i + bit;
        if (end < lineStart) {
            continue;  // the LF of a CR LF pair
        }
        if (end - lineStart >= room) {
            return false;
        }
        // The line from lineStart is whole: the run may end after it.
        run.consumed = end + 1;
        run.produced =
            base + static_cast<std::size_t>(std::popcount(keep & ((uint64_t{2} << bit) - 1U)));
        ++run.lines;
        run.afterCr = in[end] == '\r';
        lineStart = end + 1 + (run.afterCr && end + 1 < size && in[end + 1] == '\n' ? 1 : 0);
        if (!LineMayStart(in, size, lineStart) || outSize - run.produced < room) {
            return false;
        }
    }
    return true;
}

// Lines taken in one pass over sixteen-byte blocks: each block decoded and packed as in
// DecodeRegionSsse3 while its line ends are found in the same masks, and the figures kept at
// every line end, so that the run ends after the last whole line it may take. It stops where a
// line may not be taken by a run, is longer than `room`, leaves less than `room` of out, or an
// escape escapes an escape; what is left is the careful way's.
__attribute__((target("ssse3,popcnt"))) YEncRun TakeLinesSsse3(const unsigned char* in,
                                                               std::size_t size, unsigned char* out,
                                                               std::size_t outSize,
                                                               std::size_t room, bool afterCr) {
    YEncRun run;
    run.afterCr = afterCr;
    std::size_t lineStart = afterCr && size > 0 && in[0] == '\n' ? 1 : 0;
    if (!LineMayStart(in, size, lineStart) || outSize < room) {
        return run;
    }
    const __m128i equals = _mm_set1_epi8(static_cast<char>(kEscape));
    const __m128i cr = _mm_set1_epi8('\r');
    const __m128i lf = _mm_set1_epi8('\n');
    unsigned carry = 0;
    std::size_t produced = 0;
    for (std::size_t i = 0; i + 16 <= size && produced + 16 <= outSize; i += 16) {
        const __m128i c = _mm_loadu_si128(reinterpret_cast<const __m128i*>(in + i));
        const auto escapes = static_cast<unsigned>(_mm_movemask_epi8(_mm_cmpeq_epi8(c, equals)));
        const auto ends = static_cast<unsigned>(
            _mm_movemask_epi8(_mm_or_si128(_mm_cmpeq_epi8(c, cr), _mm_cmpeq_epi8(c, lf))));
        const unsigned escaped = ((escapes << 1) | carry) & 0xFFFFU;
        if ((escapes & escaped) != 0) {
            return run;
        }
        const unsigned keep = ~(escapes | ends) & 0xFFFFU;
        const std::size_t base = produced;
        produced += PackBlock(c, escaped, keep, out + produced);
        carry = escapes >> 15;
        if (!TakeLineEnds(in, size, i, ends, keep, base, outSize, room, lineStart, run)) {
            return run;
        }
    }
    return run;
}

// As TakeLinesSsse3, sixty-four bytes a step: the kept bytes packed by one compression.
__attribute__((target("avx512f,avx512bw,avx512vl,avx512vbmi2,popcnt"))) YEncRun TakeLinesAvx512(
    const unsigned char* in, std::size_t size, unsigned char* out, std::size_t outSize,
    std::size_t room, bool afterCr) {
    YEncRun run;
    run.afterCr = afterCr;
    std::size_t lineStart = afterCr && size > 0 && in[0] == '\n' ? 1 : 0;
    if (!LineMayStart(in, size, lineStart) || outSize < room) {
        return run;
    }
    const __m512i equals = _mm512_set1_epi8(static_cast<char>(kEscape));
    const __m512i cr = _mm512_set1_epi8('\r');
    const __m512i lf = _mm512_set1_epi8('\n');
    const __m512i offset = _mm512_set1_epi8(42);
    const __m512i escapedOffset = _mm512_set1_epi8(64);
    uint64_t carry = 0;
    std::size_t produced = 0;
    for (std::size_t i = 0; i + 64 <= size && produced + 64 <= outSize; i += 64) {
        const __m512i c = _mm512_loadu_si512(in + i);
        const uint64_t escapes = _mm512_cmpeq_epi8_mask(c, equals);
        const uint64_t ends = _mm512_cmpeq_epi8_mask(c, cr) | _mm512_cmpeq_epi8_mask(c, lf);
        const uint64_t escaped = (escapes << 1) | carry;
        if ((escapes & escaped) != 0) {
            return run;
        }
        const uint64_t keep = ~(escapes | ends);
        const __m512i values = _mm512_sub_epi8(c, offset);
        const __m512i lowered = _mm512_mask_sub_epi8(values, escaped, values, escapedOffset);
        _mm512_storeu_si512(out + produced, _mm512_maskz_compress_epi8(keep, lowered));
        const std::size_t base = produced;
        produced += static_cast<std::size_t>(__builtin_popcountll(keep));
        carry = escapes >> 63;
        if (!TakeLineEnds(in, size, i, ends, keep, base, outSize, room, lineStart, run)) {
            return run;
        }
    }
    return run;
}

bool HasSsse3() {
    static const bool has = [] {
        __builtin_cpu_init();
        return __builtin_cpu_supports("ssse3") != 0 && __builtin_cpu_supports("popcnt") != 0;
    }();
    return has;
}

#endif

// Whole lines into out, which has room for the bytes they give.
std::size_t DecodeRegion(const unsigned char* in, std::size_t n, std::span<unsigned char> out) {
    bool escape = false;
#if defined(MANDREL_X86_YENC)
    if (ActiveKernelPath() != KernelPath::Scalar && HasSsse3()) {
        return DecodeRegionSsse3(in, n, out.data(), out.size(), escape);
    }
#endif
    return DecodeRegionByBytes(in, n, out.data(), escape);
}

}  // namespace

YEncLine YEncLineKind(std::string_view line) {
    struct Word {
        std::string_view text;
        YEncLine kind;
    };
    static constexpr std::array<Word, 3> kWords = {{
        {"=ybegin", YEncLine::Begin},
        {"=ypart", YEncLine::Part},
        {"=yend", YEncLine::End},
    }};
    for (const Word& word : kWords) {
        if (line.starts_with(word.text) &&
            (line.size() == word.text.size() || IsBlank(line[word.text.size()]) ||
             EndsLine(static_cast<unsigned char>(line[word.text.size()])))) {
            return word.kind;
        }
    }
    return YEncLine::None;
}

YEncFields ParseYEncFields(std::string_view line) {
    YEncFields fields;
    line = TrimLineEnd(line);
    std::size_t at = line.find_first_of(" \t");
    while (at != std::string_view::npos && at < line.size()) {
        while (at < line.size() && IsBlank(line[at])) {
            ++at;
        }
        const std::size_t equals = line.find('=', at);
        if (equals == std::string_view::npos) {
            break;
        }
        const std::string_view key = line.substr(at, equals - at);
        if (key == "name") {
            // The name runs to the end of the line.
            fields.name = std::string(line.substr(equals + 1));
            break;
        }
        const std::size_t valueEnd = line.find_first_of(" \t", equals + 1);
        TakeField(fields, key, line.substr(equals + 1, valueEnd - std::min(valueEnd, equals + 1)));
        at = valueEnd;
    }
    return fields;
}

std::size_t DecodeYEncText(std::span<const unsigned char> text, std::span<unsigned char> out,
                           YEncTextState& state) {
    std::size_t produced = 0;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const unsigned char c = text[i];
        if (EndsLine(c)) {
            state = YEncTextState{true, false};
            continue;
        }
        if (state.lineStart && c == '.' && i + 1 < text.size() && text[i + 1] == '.') {
            state.lineStart = false;
            continue;  // the dot a news server put before a dot
        }
        state.lineStart = false;
        if (state.escape) {
            out[produced++] = static_cast<unsigned char>(c - 64 - 42);
            state.escape = false;
        } else if (c == kEscape) {
            state.escape = true;
        } else {
            out[produced++] = static_cast<unsigned char>(c - 42);
        }
    }
    return produced;
}

namespace {

// One region of the careful way: whole lines, none a keyword line or one to undo dot-stuffing
// in, no more than out has room for even if nothing were escaped; or one dot-stuffed line by
// itself. False when it took nothing.
bool TakeRegion(std::span<const unsigned char> text, std::span<unsigned char> out, std::size_t room,
                YEncRun& run) {
    const unsigned char* const in = text.data();
    const std::size_t size = text.size();
    const std::size_t from = run.consumed;
    std::size_t scan = from;
    std::size_t lines = 0;
    bool cr = run.afterCr;
    bool dotted = false;
    for (;;) {
        const std::size_t start = scan + (cr && scan < size && in[scan] == '\n' ? 1 : 0);
        if (start + 2 > size || (in[start] == '=' && in[start + 1] == 'y')) {
            break;
        }
        const std::size_t used = run.produced + (scan - from);
        if (used > out.size() || out.size() - used < room) {
            break;  // the room is had again once the region's bytes are counted
        }
        const std::size_t end = FindLineEnd(in, start, std::min(size, start + room));
        if (end >= std::min(size, start + room)) {
            break;
        }
        if (in[start] == '.' && in[start + 1] == '.') {
            if (lines == 0) {
                dotted = true;
                scan = end + 1;
                cr = in[end] == '\r';
                lines = 1;
            }
            break;
        }
        scan = end + 1;
        cr = in[end] == '\r';
        ++lines;
    }
    if (lines == 0) {
        return false;
    }
    if (dotted) {
        YEncTextState state;
        run.produced +=
            DecodeYEncText(text.subspan(from, scan - from), out.subspan(run.produced), state);
    } else {
        run.produced += DecodeRegion(in + from, scan - from, out.subspan(run.produced));
    }
    run.consumed = scan;
    run.lines += lines;
    run.afterCr = cr;
    return true;
}

// The lines the one-pass way takes from where the run stands.
void TakeLinesAtOnce(std::span<const unsigned char> text, std::span<unsigned char> out,
                     std::size_t room, YEncRun& run) {
#if defined(MANDREL_X86_YENC)
    if (ActiveKernelPath() == KernelPath::Scalar || !HasSsse3() || run.produced > out.size()) {
        return;
    }
    const auto take = ActiveKernelPath() == KernelPath::Avx512 ? TakeLinesAvx512 : TakeLinesSsse3;
    const YEncRun more =
        take(text.data() + run.consumed, text.size() - run.consumed, out.data() + run.produced,
             out.size() - run.produced, room, run.afterCr);
    if (more.lines > 0) {
        run.consumed += more.consumed;
        run.produced += more.produced;
        run.lines += more.lines;
        run.afterCr = more.afterCr;
    }
#else
    (void)text, (void)out, (void)room, (void)run;
#endif
}

}  // namespace

YEncRun DecodeYEncLines(std::span<const unsigned char> text, std::span<unsigned char> out,
                        std::size_t room, bool afterCr) {
    YEncRun run;
    run.afterCr = afterCr;
    // The one-pass way takes the plain lines; the careful way what stopped it, and then the
    // one-pass way goes on.
    do {
        TakeLinesAtOnce(text, out, room, run);
    } while (TakeRegion(text, out, room, run));
    return run;
}

}  // namespace mandrel
