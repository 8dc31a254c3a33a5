#include "codec/yenc.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstring>

#if defined(__SSE2__)
#include <emmintrin.h>
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

bool EndsLine(unsigned char c) {
    return c == '\r' || c == '\n';
}

// Up to the first escape or line end: the bytes less 42, sixteen at a time where SSE2 is.
std::size_t PlainRun(const unsigned char* in, std::size_t size, unsigned char* out) {
    std::size_t i = 0;
#if defined(__SSE2__)
    const __m128i escape = _mm_set1_epi8(static_cast<char>(kEscape));
    const __m128i cr = _mm_set1_epi8('\r');
    const __m128i lf = _mm_set1_epi8('\n');
    const __m128i offset = _mm_set1_epi8(42);
    for (; i + 16 <= size; i += 16) {
        const __m128i c = _mm_loadu_si128(reinterpret_cast<const __m128i*>(in + i));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(out + i), _mm_sub_epi8(c, offset));
        const __m128i special = _mm_or_si128(
            _mm_cmpeq_epi8(c, escape), _mm_or_si128(_mm_cmpeq_epi8(c, cr), _mm_cmpeq_epi8(c, lf)));
        if (const int mask = _mm_movemask_epi8(special); mask != 0) {
            return i + static_cast<std::size_t>(__builtin_ctz(static_cast<unsigned>(mask)));
        }
    }
#endif
    for (; i < size; ++i) {
        const unsigned char c = in[i];
        if (c == kEscape || EndsLine(c)) {
            break;
        }
        out[i] = static_cast<unsigned char>(c - 42);
    }
    return i;
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

uint32_t Crc32(std::span<const unsigned char> bytes, uint32_t crc) {
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

YEncRun DecodeYEncLines(std::span<const unsigned char> text, std::span<unsigned char> out,
                        std::size_t room, bool afterCr) {
    YEncRun run;
    run.afterCr = afterCr;
    const unsigned char* const in = text.data();
    const std::size_t size = text.size();
    std::size_t at = 0;
    for (;;) {
        std::size_t start = at;
        if (run.afterCr && start < size && in[start] == '\n') {
            ++start;  // the LF of the CR LF pair before
        }
        if (start + 2 > size || out.size() - run.produced < room ||
            (in[start] == '=' && in[start + 1] == 'y')) {
            break;
        }
        // One line: decoded into out from the line start, kept only when its end is here. A
        // line gives no more bytes than it has characters, so looking no further than `room`
        // characters keeps every store inside out.
        const std::size_t limit = std::min(size, start + room);
        std::size_t i = start;
        std::size_t produced = run.produced;
        if (in[i] == '.' && in[i + 1] == '.') {
            ++i;
        }
        bool complete = false;
        while (i < limit) {
            const std::size_t plain = PlainRun(in + i, limit - i, out.data() + produced);
            i += plain;
            produced += plain;
            if (i >= limit) {
                break;
            }
            const unsigned char c = in[i];
            if (EndsLine(c)) {
                complete = true;
                break;
            }
            // An escape: the character after it, unless that ends the line.
            if (i + 1 >= limit) {
                break;
            }
            const unsigned char escaped = in[i + 1];
            if (EndsLine(escaped)) {
                ++i;
                continue;
            }
            out[produced++] = static_cast<unsigned char>(escaped - 64 - 42);
            i += 2;
        }
        if (!complete) {
            break;
        }
        run.produced = produced;
        run.afterCr = in[i] == '\r';
        at = i + 1;
        run.consumed = at;
        ++run.lines;
    }
    return run;
}

}  // namespace mandrel
