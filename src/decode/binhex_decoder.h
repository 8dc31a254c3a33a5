// Reads BinHex 4.0 text: one stream of characters between two colons, run-length decoded, with
// a header, a data fork and a resource fork, each with its CRC. Only the data fork is kept.
#pragma once

#include <cstddef>
#include <cstdint>

#include "core/buf_file.h"

namespace mandrel {

struct DecodeContext;
struct PartRecord;

// The readers' results: a value 0 and up, or one of these.
inline constexpr int kBinHexInvalid = -1;
inline constexpr int kBinHexEnd = -2;
inline constexpr int kBinHexColon = -3;

int ReadBinHexChar(DecodeContext& app);
int ReadBinHexRaw(DecodeContext& app);
int ReadBinHexByte(DecodeContext& app);

// Reads and checks the header from input (positioned before the opening colon). Stores the
// header CRCs in the part, the data length as the expected output size, the name in
// HeaderName (NameFound set), and shows the header when interactive. False with
// DecodeErrorText set when the stream does not start with ":", or ends or holds an invalid
// character before the header and its CRC are complete (the driver then goes to BADFINISH).
bool ReadBinHexHeader(DecodeContext& app, BufFile input, int interactive, PartRecord& part);

// Decodes data-fork bytes into buffer (room bytes long): up to 90 byte by byte, or, where the
// groups stand whole in the input's buffer, as many as the room holds. Returns their count (0
// while the resource fork is read), or -1. nextState becomes DECODELINES, PREPARETRAILER or
// BADFINISH.
int DecodeBinHexChunk(DecodeContext& app, BufFile input, unsigned char* buffer, int interactive,
                      int tolerant, PartRecord& part, int& nextState, std::size_t room = 90);

}  // namespace mandrel
