// Turns one line of UU, XX or Base64 text into bytes, checking it against the encoding's rules
// and keeping the "sum -r" counters of the part's text and of the output.
#pragma once

#include <cstdint>
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

// A UU or XX line (zero-terminated, its line end included) into out: room for 3/4 of the line
// and 3 bytes, and at least 63 (a short line padded in tolerant mode yields what its length
// character says). Returns the bytes decoded, or -1 with the reason; a refused line changes no
// counter. tolerant decodes in spite of errors, padding a short line with pad.
int DecodeGroupLineText(const DecodeTable& table, const unsigned char* line, unsigned char* out,
                        LineDecodeSums& sums, bool tolerant, unsigned char pad,
                        std::string& reason);

// A Base64 line, a group running on from the previous line in state. consumed gets the
// characters taken up to the line end. Same results as above; the output sum is not kept.
int DecodeBase64LineText(const unsigned char* line, unsigned char* out, Base64State& state,
                         uint32_t& consumed, LineDecodeSums& sums, bool tolerant,
                         std::string& reason);

// The quick way for a sound UU or XX line: valid characters that fit the length character, the
// line end and nothing else, in one tight loop (sixteen UU characters at a time with SSE2). A
// last group short of its length's bytes may stop after the characters those bytes need, as
// many writers do. Reads at most the 1 + 84 characters a length character can call for. Keeps
// no counter. Returns the bytes decoded with `characters` the data characters taken, or
// kTakeExactWay for any other line; out needs room for 64 bytes.
inline constexpr int kTakeExactWay = -2;
int DecodeWholeGroups(const DecodeTable& table, const unsigned char* line, unsigned char* out,
                      int& characters);

}  // namespace mandrel
