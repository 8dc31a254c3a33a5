#include "encode/line_encoder.h"

#include <array>
#include <bit>
#include <cstring>
#include <string_view>

#include "core/app_state.h"
#include "core/text_util.h"
#include "encode/alphabets.h"
#include "encode/sum_r.h"

namespace mandrel {

namespace {

// The "sum -r" step on a 16-bit value: one rotate and one add. The two sums are serial chains
// over every character and every input byte, so their latency bounds the whole loop.
constexpr uint16_t Step(uint16_t sum, unsigned char byte) {
    return static_cast<uint16_t>(std::rotr(sum, 1) + byte);
}
static_assert(Step(0x8001, 0xFF) == SumRAdd(0x8001, 0xFF));
static_assert(Step(0xFFFF, 0xFF) == SumRAdd(0xFFFF, 0xFF));
static_assert(Step(0x0002, 0x10) == SumRAdd(0x0002, 0x10));

inline unsigned char Byte(char c) {
    return static_cast<unsigned char>(c);
}

bool IsLineEncoding(int encoding) {
    return encoding == kEncodingUU || encoding == kEncodingXX || encoding == kEncodingMIME;
}

// Two output characters for every 12-bit value: a group of three bytes is two lookups.
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

const PairTable* PairTableFor(std::string_view alphabet) {
    if (alphabet.data() == UUAlphabet.data()) {
        return &kUUPairs;
    }
    if (alphabet.data() == XXAlphabet.data()) {
        return &kXXPairs;
    }
    if (alphabet.data() == Base64Alphabet.data()) {
        return &kBase64Pairs;
    }
    return nullptr;
}

// The full groups of a line when no checksum line will be written: nothing needs the sums,
// so the groups are pure table lookups.
char* EncodeGroupsWithoutSums(const PairTable& pairs, const unsigned char* in, std::size_t full,
                              char* out) {
    for (std::size_t i = 0; i < full; i += 3, out += 4) {
        const uint32_t v = (uint32_t{in[i]} << 16) | (uint32_t{in[i + 1]} << 8) | in[i + 2];
        std::memcpy(out, pairs[v >> 12].data(), 2);
        std::memcpy(out + 2, pairs[v & 0xFFFU].data(), 2);
    }
    return out;
}

}  // namespace

int EncodeLine(AppState& app, std::span<const unsigned char> input, char* line) {
    const int encoding = app.job.EncodingIndex;
    // BinHex goes through its own stages; a block longer than a line can hold is the
    // caller's mistake, and writing nothing is safer than writing past the line.
    if (!IsLineEncoding(encoding) || input.size() > static_cast<std::size_t>(kBlockSize)) {
        return -1;
    }
    const char* const a = app.encode.CurrentAlphabet.data();
    const unsigned char* in = input.data();
    const std::size_t n = input.size();
    const bool mime = encoding == kEncodingMIME;

    auto partSum = static_cast<uint16_t>(app.encode.PartSum);
    auto inputSum = static_cast<uint16_t>(app.encode.InputSum);
    char* out = line;

    if (!mime) {
        *out = a[n % 64];
        partSum = Step(partSum, Byte(*out));
        ++out;
    }

    const std::size_t full = n - n % 3;
    const PairTable* pairs = PairTableFor(app.encode.CurrentAlphabet);
    const bool sums = app.config.encodechecksum != 0 || pairs == nullptr;
    if (!sums) {
        out = EncodeGroupsWithoutSums(*pairs, in, full, out);
    }
    for (std::size_t i = 0; sums && i < full; i += 3, out += 4) {
        const unsigned b0 = in[i];
        const unsigned b1 = in[i + 1];
        const unsigned b2 = in[i + 2];
        const char c0 = a[b0 >> 2];
        const char c1 = a[((b0 & 0x03U) << 4) | (b1 >> 4)];
        const char c2 = a[((b1 & 0x0FU) << 2) | (b2 >> 6)];
        const char c3 = a[b2 & 0x3FU];
        out[0] = c0;
        out[1] = c1;
        out[2] = c2;
        out[3] = c3;
        // Two independent chains: the part's text and the input's bytes.
        partSum = Step(Step(Step(Step(partSum, Byte(c0)), Byte(c1)), Byte(c2)), Byte(c3));
        inputSum = Step(
            Step(Step(inputSum, static_cast<unsigned char>(b0)), static_cast<unsigned char>(b1)),
            static_cast<unsigned char>(b2));
    }

    const std::size_t rest = n - full;
    if (rest != 0) {
        // Bytes past the end count as zero bits.
        const unsigned b0 = in[full];
        const unsigned b1 = rest == 2 ? in[full + 1] : 0U;
        out[0] = a[b0 >> 2];
        out[1] = a[((b0 & 0x03U) << 4) | (b1 >> 4)];
        partSum = Step(Step(partSum, Byte(out[0])), Byte(out[1]));
        inputSum = Step(inputSum, static_cast<unsigned char>(b0));
        out += 2;
        if (rest == 2) {
            *out = a[(b1 & 0x0FU) << 2];
            partSum = Step(partSum, Byte(*out));
            inputSum = Step(inputSum, static_cast<unsigned char>(b1));
            ++out;
        }
        // Pad characters fill the size but never the sum: the decoder's sum sees only data.
        if (mime) {
            *out++ = '=';
            if (rest == 1) {
                *out++ = '=';
            }
        }
    }

    // Whatever line end is written, the checksum lines describe the text saved with LF ends.
    app.encode.PartSize += static_cast<uint32_t>(out - line) + 1U;
    partSum = Step(partSum, '\n');

    const std::string_view eol = EndOfLineString(app.config);
    std::memcpy(out, eol.data(), eol.size());
    out += eol.size();
    *out = '\0';

    app.encode.PartSum = partSum;
    app.encode.InputSum = inputSum;
    return static_cast<int>(out - line);
}

}  // namespace mandrel
