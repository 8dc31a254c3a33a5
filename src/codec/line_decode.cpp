#include "codec/line_decode.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>

#include "codec/alphabets.h"
#include "codec/decode_tables.h"
#include "codec/group_kernels.h"
#include "codec/sum_r.h"

namespace mandrel {

namespace {

constexpr uint16_t Step(uint16_t sum, unsigned char byte) {
    return SumRStep(sum, byte);
}

// The Base64 value of each byte shifted to its place in a group of four (18, 12, 6 and 0 bits
// up), and -1 for bytes outside the alphabet, so that one OR of four lookups decodes a group
// and shows any invalid byte by its sign.
using QuadTables = std::array<std::array<int32_t, 256>, 4>;
constexpr QuadTables MakeBase64Quad() {
    QuadTables quad{};
    for (auto& row : quad) {
        row.fill(-1);
    }
    for (std::size_t value = 0; value < 64; ++value) {
        const auto byte = static_cast<unsigned char>(Base64Alphabet[value]);
        for (std::size_t place = 0; place < 4; ++place) {
            quad[place][byte] = static_cast<int32_t>(value << (18 - 6 * place));
        }
    }
    return quad;
}
constexpr QuadTables kBase64Quad = MakeBase64Quad();

constexpr bool EndsData(unsigned char c) {
    return c == '\0' || c == '\r' || c == '\n';
}

int RefuseByte(std::string& reason, unsigned char byte) {
    std::array<char, 48> text{};
    std::snprintf(text.data(), text.size(), "Invalid encoded data byte (0x%x).", byte);
    reason = text.data();
    return -1;
}

// A line's text: its characters up to the terminating zero, or to the end of the span when it
// holds none. Nothing past it is read.
std::span<const unsigned char> TextOf(std::span<const unsigned char> line) {
    const void* zero = std::memchr(line.data(), 0, line.size());
    return zero == nullptr ? line
                           : line.first(static_cast<std::size_t>(
                                 static_cast<const unsigned char*>(zero) - line.data()));
}

// One UU or XX line. The sums are kept here and handed to the part and the output only when
// the line is taken: a refused line then leaves no trace, and its tolerant retry counts once.
class GroupLineDecoder {
public:
    GroupLineDecoder(const DecodeTable& table, const unsigned char* end, unsigned char* out,
                     int length, uint16_t partSum, uint16_t outputSum)
        : table_(table),
          end_(end),
          out_(out),
          length_(length),
          partSum_(partSum),
          outputSum_(outputSum) {}

    // Whole groups of four valid characters whose bytes all belong to the line. The last group
    // and anything unusual go the character-by-character way.
    const unsigned char* FastGroups(const unsigned char* p) {
        while (produced_ + 3 <= length_ && end_ - p >= 4) {
            const int32_t w = table_[p[0]];
            if (w < 0) {
                break;
            }
            const int32_t x = table_[p[1]];
            if (x < 0) {
                break;
            }
            const int32_t y = table_[p[2]];
            if (y < 0) {
                break;
            }
            const int32_t z = table_[p[3]];
            if (z < 0) {
                break;
            }
            const auto bits = static_cast<uint32_t>((w << 18) | (x << 12) | (y << 6) | z);
            const auto b0 = static_cast<unsigned char>(bits >> 16);
            const auto b1 = static_cast<unsigned char>(bits >> 8);
            const auto b2 = static_cast<unsigned char>(bits);
            out_[produced_] = b0;
            out_[produced_ + 1] = b1;
            out_[produced_ + 2] = b2;
            partSum_ = Step(Step(Step(Step(partSum_, p[0]), p[1]), p[2]), p[3]);
            outputSum_ = Step(Step(Step(outputSum_, b0), b1), b2);
            produced_ += 3;
            count_ += 4;
            p += 4;
        }
        return p;
    }

    // One character with its value (all bits set for an invalid one taken in tolerant mode).
    void Take(unsigned char c, uint32_t value) {
        partSum_ = Step(partSum_, c);
        ++count_;
        switch (position_) {
            case 0:
                w_ = value;
                position_ = 1;
                break;
            case 1:
                Emit((w_ << 2) | (value >> 4));
                x_ = value;
                position_ = 2;
                break;
            case 2:
                Emit((x_ << 4) | (value >> 2));
                y_ = value;
                position_ = 3;
                break;
            default:
                Emit((y_ << 6) | value);
                position_ = 0;
                break;
        }
    }

    // The rest of the data after the fast groups. Returns where the data ended (a CR, LF or
    // the end of the text), or nullptr after refusing a character in strict mode.
    const unsigned char* Rest(std::string& reason, const unsigned char* p, bool tolerant) {
        for (;; ++p) {
            const unsigned char c = p != end_ ? *p : '\0';
            if (EndsData(c)) {
                // The partner of a group's first character is taken whatever it is; a lone
                // character yields no byte.
                if (position_ == 1 && !tolerant) {
                    RefuseByte(reason, c);
                    return nullptr;
                }
                return p;
            }
            const int32_t value = table_[c];
            if (value < 0 && !tolerant) {
                RefuseByte(reason, c);
                return nullptr;
            }
            Take(c, static_cast<uint32_t>(value));
        }
    }

    // Pads a short line in tolerant mode with the value-0 character up to the characters that
    // its length character calls for, as if they had stood on the line.
    void PadTo(int characters, unsigned char pad) {
        while (count_ < characters) {
            Take(pad, 0);
        }
    }

    void EndLine() {
        partSum_ = Step(partSum_, '\n');
        sizeAdded_ = static_cast<uint32_t>(count_) + 2U;
    }

    int Count() const { return count_; }
    int Returned() const { return std::min(produced_, length_); }
    uint16_t PartSum() const { return partSum_; }
    uint16_t OutputSum() const { return outputSum_; }
    uint32_t SizeAdded() const { return sizeAdded_; }

private:
    // Bytes past the line's length are padding of its last group: neither kept nor summed.
    void Emit(uint32_t bits) {
        const auto byte = static_cast<unsigned char>(bits);
        if (produced_ < length_) {
            out_[produced_] = byte;
            outputSum_ = Step(outputSum_, byte);
        }
        ++produced_;
    }

    const DecodeTable& table_;
    const unsigned char* end_;
    unsigned char* out_;
    int length_;
    uint16_t partSum_;
    uint16_t outputSum_;
    int produced_ = 0;
    int count_ = 0;  // data characters taken, pads included
    int position_ = 0;
    uint32_t w_ = 0;
    uint32_t x_ = 0;
    uint32_t y_ = 0;
    uint32_t sizeAdded_ = 0;
};

constexpr bool EndsLine(unsigned char c) {
    return c == '\r' || c == '\n';
}

}  // namespace

// Every character's value is merged into one word: an invalid character (-1) sets bits above
// the 24 that valid groups can reach, so one test per line settles validity.

int DecodeWholeGroups(const DecodeTable& table, std::span<const unsigned char> buffer,
                      std::span<unsigned char> out, int& characters) {
    // The reads below stay within the reach of the longest length character; a shorter
    // buffer, or too little room, takes the exact way.
    if (buffer.size() < kQuickReach || out.size() < kQuickRoom) {
        return kTakeExactWay;
    }
    const unsigned char* const line = buffer.data();
    const int length = table[line[0]];
    if (length < 0) {
        return kTakeExactWay;
    }
    const unsigned char* p = line + 1;
    uint32_t seen = 0;
    const int whole = length / 3 * 3;
    if (!DecodeGroups(table, p, static_cast<std::size_t>(whole / 3), out.data())) {
        return kTakeExactWay;
    }
    p += static_cast<std::ptrdiff_t>(whole / 3) * 4;
    if (const int rest = length - whole; rest > 0) {
        std::array<uint32_t, 4> values{};
        int taken = 0;
        for (; taken < 4 && !EndsLine(p[taken]); ++taken) {
            values[static_cast<std::size_t>(taken)] = static_cast<uint32_t>(table[p[taken]]);
            seen |= values[static_cast<std::size_t>(taken)];
        }
        if (taken < rest + 1) {
            return kTakeExactWay;
        }
        const uint32_t bits = (values[0] << 18) | (values[1] << 12) | (values[2] << 6) | values[3];
        out[whole] = static_cast<unsigned char>(bits >> 16);
        out[whole + 1] = static_cast<unsigned char>(bits >> 8);
        p += taken;
    }
    if (seen > 0xFFFFFFU || !EndsLine(*p)) {
        return kTakeExactWay;
    }
    characters = static_cast<int>(p - line) - 1;
    return length;
}

int DecodeGroupLineText(const DecodeTable& table, std::span<const unsigned char> line,
                        std::span<unsigned char> out, LineDecodeSums& sums, bool tolerant,
                        unsigned char pad, std::string& reason) {
    const std::span<const unsigned char> text = TextOf(line);
    const unsigned char lengthCharacter = text.empty() ? '\0' : text[0];
    int length = table[lengthCharacter];
    if (length < 0) {
        if (!tolerant) {
            reason = "Indicated # of chars per line is less than 0.";
            return -1;
        }
        length = 0;
    }
    if (text.empty()) {
        return 0;  // an empty text: nothing to take, not even a length
    }

    const unsigned char* const textEnd = text.data() + text.size();
    GroupLineDecoder decoder(table, textEnd, out.data(), length,
                             Step(static_cast<uint16_t>(sums.part), lengthCharacter),
                             static_cast<uint16_t>(sums.output));
    const unsigned char* end = decoder.Rest(reason, decoder.FastGroups(text.data() + 1), tolerant);
    if (end == nullptr) {
        return -1;
    }
    // A last line without a line end is taken as far as it goes, without the count check.
    if (end != textEnd) {
        const int found = 3 * decoder.Count() / 4;
        if (found < length || found > length + 2) {
            if (!tolerant) {
                std::array<char, 96> text{};
                std::snprintf(
                    text.data(), text.size(),
                    "# of indicated chars in line (%d) does not match actual data present (%d).",
                    length, found);
                reason = text.data();
                return -1;
            }
            if (found < length) {
                decoder.PadTo((4 * length + 2) / 3, pad);
            }
        }
        decoder.EndLine();
    }
    sums.part = decoder.PartSum();
    sums.partSize += decoder.SizeAdded();
    sums.output = decoder.OutputSum();
    return decoder.Returned();
}

int DecodeBase64LineText(std::span<const unsigned char> line, std::span<unsigned char> out,
                         Base64State& state, uint32_t& consumed, LineDecodeSums& sums,
                         bool tolerant, std::string& reason) {
    const DecodeTable& table = kBase64DecodeTable;
    int phase = state.phase;
    unsigned carry = state.carry;
    auto partSum = static_cast<uint16_t>(sums.part);
    uint32_t size = 0;
    unsigned char* o = out.data();
    const std::span<const unsigned char> text = TextOf(line);
    const unsigned char* p = text.data();
    const unsigned char* const textEnd = text.data() + text.size();

    for (;;) {
        while (phase == 0 && textEnd - p >= 4) {
            // One lookup per character, already in place: any byte outside the alphabet makes
            // the whole group negative.
            const int32_t group = kBase64Quad[0][p[0]] | kBase64Quad[1][p[1]] |
                                  kBase64Quad[2][p[2]] | kBase64Quad[3][p[3]];
            if (group < 0) {
                break;
            }
            const auto bits = static_cast<uint32_t>(group);
            o[0] = static_cast<unsigned char>(bits >> 16);
            o[1] = static_cast<unsigned char>(bits >> 8);
            o[2] = static_cast<unsigned char>(bits);
            partSum = Step(Step(Step(Step(partSum, p[0]), p[1]), p[2]), p[3]);
            size += 4;
            o += 3;
            p += 4;
        }
        const unsigned char c = p != textEnd ? *p : '\0';
        if (EndsData(c)) {
            break;
        }
        const int32_t value = table[c];
        if (value >= 0) {
            const auto v = static_cast<unsigned>(value);
            switch (phase) {
                case 0:
                    carry = (v << 2) & 0xFFU;
                    break;
                case 1:
                    *o++ = static_cast<unsigned char>((v >> 4) | carry);
                    carry = (v << 4) & 0xFFU;
                    break;
                case 2:
                    *o++ = static_cast<unsigned char>((v >> 2) | carry);
                    carry = (v << 6) & 0xFFU;
                    break;
                default:
                    *o++ = static_cast<unsigned char>(carry | v);
                    break;
            }
            phase = (phase + 1) & 3;
            partSum = Step(partSum, c);
            ++size;
        } else if (c == '=' && phase != 0) {
            // Padding closes the group: counted in the text's size, never in its sum.
            phase = (phase + 1) & 3;
            ++size;
        } else if (c != ' ' && c != '\t' && !tolerant) {
            return RefuseByte(reason, c);
        }
        ++p;
    }

    if (p != textEnd) {
        partSum = Step(partSum, '\n');
        ++size;
    }
    state.phase = phase;
    state.carry = carry;
    consumed = static_cast<uint32_t>(p - text.data());
    sums.part = partSum;
    sums.partSize += size;
    return static_cast<int>(o - out.data());
}

int DecodeLineByRules(const LineDecodeRules& rules, std::span<const unsigned char> line,
                      std::span<unsigned char> out, LineDecodeSums& sums, Base64State& base64,
                      uint32_t& consumed, std::string& reason) {
    if (rules.table != nullptr) {
        return DecodeGroupLineText(*rules.table, line, out, sums, rules.tolerant, rules.pad,
                                   reason);
    }
    base64 = rules.base64;
    return DecodeBase64LineText(line, out, base64, consumed, sums, rules.tolerant, reason);
}

}  // namespace mandrel
