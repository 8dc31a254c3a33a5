#include "codec/line_encode.h"

#include <array>
#include <cstring>

#include "codec/alphabets.h"
#include "codec/group_kernels.h"
#include "codec/sum_r.h"

namespace mandrel {

namespace {

inline unsigned char Byte(char c) {
    return static_cast<unsigned char>(c);
}

// Two independent chains: the part's text and the input's bytes.
char* GroupsWithSums(const char* a, const unsigned char* in, std::size_t full, char* out,
                     LineEncodeSums& sums) {
    uint16_t partSum = sums.part;
    uint16_t inputSum = sums.input;
    for (std::size_t i = 0; i < full; i += 3, out += 4) {
        const unsigned b0 = in[i];
        const unsigned b1 = in[i + 1];
        const unsigned b2 = in[i + 2];
        out[0] = a[b0 >> 2];
        out[1] = a[((b0 & 0x03U) << 4) | (b1 >> 4)];
        out[2] = a[((b1 & 0x0FU) << 2) | (b2 >> 6)];
        out[3] = a[b2 & 0x3FU];
        partSum = SumRStep(
            SumRStep(SumRStep(SumRStep(partSum, Byte(out[0])), Byte(out[1])), Byte(out[2])),
            Byte(out[3]));
        inputSum = SumRStep(SumRStep(SumRStep(inputSum, in[i]), in[i + 1]), in[i + 2]);
    }
    sums.part = partSum;
    sums.input = inputSum;
    return out;
}

}  // namespace

std::size_t EncodeLineText(std::span<const unsigned char> input, std::string_view alphabet,
                           bool base64, std::string_view eol, LineEncodeSums* sums,
                           std::span<char> room) {
    if (input.size() > static_cast<std::size_t>(kBlockSize) ||
        room.size() < static_cast<std::size_t>(kMaxLineLength) + eol.size()) {
        return 0;
    }
    char* out = room.data();
    const char* const a = alphabet.data();
    const unsigned char* in = input.data();
    const std::size_t n = input.size();
    LineEncodeSums scratch;
    LineEncodeSums& s = sums != nullptr ? *sums : scratch;
    char* const line = out;

    if (!base64) {
        *out = a[n % 64];
        s.part = SumRStep(s.part, Byte(*out));
        ++out;
    }
    const std::size_t full = n - n % 3;
    if (sums == nullptr) {
        EncodeGroups(alphabet, in, full / 3, out);
        out += full / 3 * 4;
    } else {
        out = GroupsWithSums(a, in, full, out, s);
    }
    if (const std::size_t rest = n - full; rest != 0) {
        // Bytes past the end count as zero bits.
        const unsigned b0 = in[full];
        const unsigned b1 = rest == 2 ? in[full + 1] : 0U;
        out[0] = a[b0 >> 2];
        out[1] = a[((b0 & 0x03U) << 4) | (b1 >> 4)];
        s.part = SumRStep(SumRStep(s.part, Byte(out[0])), Byte(out[1]));
        s.input = SumRStep(s.input, static_cast<unsigned char>(b0));
        out += 2;
        if (rest == 2) {
            *out = a[(b1 & 0x0FU) << 2];
            s.part = SumRStep(s.part, Byte(*out));
            s.input = SumRStep(s.input, static_cast<unsigned char>(b1));
            ++out;
        }
        // Pad characters fill the size but never the sum: the decoder's sum sees only data.
        if (base64) {
            *out++ = '=';
            if (rest == 1) {
                *out++ = '=';
            }
        }
    }
    // Whatever line end is written, the checksum lines describe the text saved with LF ends.
    s.partSize += static_cast<uint32_t>(out - line) + 1U;
    s.part = SumRStep(s.part, '\n');
    for (const char c : eol) {  // one or two characters: no call for a copy
        *out++ = c;
    }
    return static_cast<std::size_t>(out - line);
}

std::size_t EncodeWholeLinesText(std::span<const unsigned char> input, std::string_view alphabet,
                                 bool base64, std::string_view eol, std::span<char> out) {
    constexpr std::size_t kGroups = kBlockSize / 3;
    const std::size_t lineSize = (base64 ? 0 : 1) + 4 * kGroups + eol.size();
    const std::size_t lines = input.size() / kBlockSize;
    if (input.size() % kBlockSize != 0 || out.size() < lines * lineSize) {
        return 0;
    }
    char* o = out.data();
    const char lengthCharacter = alphabet[kBlockSize];
    for (std::size_t line = 0; line < lines; ++line) {
        if (!base64) {
            *o++ = lengthCharacter;
        }
        EncodeGroups(alphabet, input.data() + line * kBlockSize, kGroups, o);
        o += 4 * kGroups;
        for (const char c : eol) {
            *o++ = c;
        }
    }
    return lines * lineSize;
}

}  // namespace mandrel
