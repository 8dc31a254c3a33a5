// The run-length layer of BinHex 4.0, between the bytes and the 6-bit characters: 0x90 followed
// by a count n stands for n copies in all of the byte before it (the one already out included),
// and 0x90 followed by 0 is the byte 0x90 itself.
#pragma once

#include <vector>

namespace mandrel {

inline constexpr unsigned char kBinHexRunMarker = 0x90;

// The writer never makes runs: it only keeps a literal marker from starting one.
inline void BinHexEscapeByte(unsigned char byte, std::vector<unsigned char>& out) {
    out.push_back(byte);
    if (byte == kBinHexRunMarker) {
        out.push_back(0x00);
    }
}

// Where the reader stands in a run.
struct BinHexRunState {
    int lastByte = 0;  // the byte a run repeats
    int runCount = 0;  // copies of it still due
};

// The next byte after expansion. raw() gives the next raw byte (0 to 255) or a negative value
// when there is none, which is handed back as it is.
template <typename RawByte>
int NextExpandedByte(BinHexRunState& state, RawByte&& raw) {
    if (state.runCount > 0) {
        --state.runCount;
        return state.lastByte;
    }
    for (;;) {
        const int b = raw();
        if (b < 0) {
            return b;
        }
        if (b != kBinHexRunMarker) {
            state.lastByte = b;
            return b;
        }
        const int n = raw();
        if (n < 0) {
            return n;
        }
        if (n == 0) {
            state.lastByte = kBinHexRunMarker;
            return kBinHexRunMarker;
        }
        // A count of 1 adds nothing: the next raw byte is read.
        if (n > 1) {
            state.runCount = n - 2;
            return state.lastByte;
        }
    }
}

}  // namespace mandrel
