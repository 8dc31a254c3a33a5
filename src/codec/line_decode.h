// Turns one line of UU, XX or Base64 text into bytes, checking it against the encoding's rules
// and keeping the "sum -r" counters of the part's text and of the output.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

#include "codec/decode_tables.h"

namespace mandrel {

// The counters a decoded line adds to: the part's text sum and size, the output's bytes sum.
struct LineDecodeSums {
    uint32_t part = 0;
    uint32_t partSize = 0;
    uint32_t output = 0;
};

// Base64 decoding that lives across lines.
struct Base64State {
    int phase = 0;
    unsigned carry = 0xFF;
};

// The kernels take a line as the buffer it stands in: its text runs to the terminating zero,
// or to the end of the span when there is none, and nothing past the span is read. The line
// end (CR, LF) belongs to the text.

// A UU or XX line into out: room for 3/4 of the line and 3 bytes, and at least 63 (a short line
// padded in tolerant mode yields what its length character says). Returns the bytes decoded,
// or -1 with the reason; a refused line changes no counter. tolerant decodes in spite of
// errors, padding a short line with pad.
int DecodeGroupLineText(const DecodeTable& table, std::span<const unsigned char> line,
                        std::span<unsigned char> out, LineDecodeSums& sums, bool tolerant,
                        unsigned char pad, std::string& reason);

// A Base64 line, a group running on from the previous line in state. consumed gets the
// characters taken up to the line end. Same results as above; the output sum is not kept.
int DecodeBase64LineText(std::span<const unsigned char> line, std::span<unsigned char> out,
                         Base64State& state, uint32_t& consumed, LineDecodeSums& sums,
                         bool tolerant, std::string& reason);

// Everything the exact way decodes a line by besides its text: the same rules give the same
// bytes and the same sum, so a line can be run again for its sum alone.
struct LineDecodeRules {
    const DecodeTable* table = nullptr;  // UU or XX; null for Base64
    unsigned char pad = 0;  // UU or XX: the value-0 character a short line is padded with
    Base64State base64{};   // Base64: the state the line starts in
    bool tolerant = false;
};

// DecodeGroupLineText or DecodeBase64LineText by the rules. base64 gets the state after the
// line and consumed its characters (Base64 only).
int DecodeLineByRules(const LineDecodeRules& rules, std::span<const unsigned char> line,
                      std::span<unsigned char> out, LineDecodeSums& sums, Base64State& base64,
                      uint32_t& consumed, std::string& reason);

// The quick way for a sound UU or XX line: valid characters that fit the length character, the
// line end and nothing else, the groups through the vector kernels (group_kernels.h). A
// last group short of its length's bytes may stop after the characters those bytes need, as
// many writers do. Reads up to the kQuickReach characters the longest length character can
// call for, so the buffer must hold that many, and writes up to kQuickRoom bytes. Keeps no
// counter. Returns the bytes decoded with `characters` the data characters taken, or
// kTakeExactWay for any other line (or a smaller buffer or room).
inline constexpr int kTakeExactWay = -2;
inline constexpr std::size_t kQuickReach = 1 + 84 + 1;  // length, 21 groups, the line end
inline constexpr std::size_t kQuickRoom = 64;
int DecodeWholeGroups(const DecodeTable& table, std::span<const unsigned char> buffer,
                      std::span<unsigned char> out, int& characters);

}  // namespace mandrel
