// Writes a file as BinHex 4.0: a header record, the data fork and an empty resource fork, each
// with its CRC, escaped for the run-length marker and turned into lines of 64 characters.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace mandrel {

struct EncodeContext;

struct BinHexHeader {
    std::string name;  // at most 63 characters
    unsigned char type[4] = {'D', 'a', 't', 'a'};
    unsigned char creator[4] = {'M', 'D', 'R', 'L'};
    uint16_t flags = 0;
    uint32_t dataLength = 0;
    uint32_t resourceLength = 0;
};

// The header record of an input: its base name (cut to 63 characters), the type from its
// extension, the creator "MDRL" and the data fork length.
BinHexHeader MakeBinHexHeader(std::string_view inputPath, uint32_t inputSize);

// Stage bytes for the 6-bit stage: each byte is added to the CRC, and 0x90 is followed by 0x00.
void BinHexPutByte(EncodeContext& app, unsigned char byte, std::vector<unsigned char>& staged);
void BinHexPutWord(EncodeContext& app, uint16_t value, std::vector<unsigned char>& staged);
void BinHexPutLong(EncodeContext& app, uint32_t value, std::vector<unsigned char>& staged);
// Returns the bytes staged (n to 2n), 0 for an empty block.
std::size_t BinHexPutBlock(EncodeContext& app, std::span<const unsigned char> bytes,
                           std::vector<unsigned char>& staged);

// Turns staged bytes into characters appended to the part's text, breaking lines; returns the
// characters appended, line ends included.
int BinHex6Bit(EncodeContext& app, std::span<const unsigned char> bytes);
// Completes a group cut off at the end of the stream with zero bits.
int BinHex6BitFlush(EncodeContext& app);

void BinHexWriteHeader(EncodeContext& app, const BinHexHeader& header);
// The data fork CRC, the empty resource fork's CRC, the last characters and the closing colon.
void BinHexFinish(EncodeContext& app);

}  // namespace mandrel
