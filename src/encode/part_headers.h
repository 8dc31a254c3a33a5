// The text that opens each part: the lines of the chosen multi-part format, the MIME part
// headers and the "begin" line; also the mail subject of the part.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace mandrel {

struct EncodeContext;

// Resets the part's checksum counters, appends the header of part `part` of `total` and sets
// the mail subject. Returns 0.
int WritePartHeader(EncodeContext& app, std::string_view inputPath, int part, int total);

// The name written into headers: the short form is the base name as it stands (there are no
// short names here); the long form puts a name holding a blank in double quotes.
std::string HeaderFileName(std::string_view name, bool shortForm);

// Formats one header or trailer line into the 256-character work area: text beyond 255
// characters is cut.
[[gnu::format(printf, 1, 2)]] std::string WorkArea(const char* format, ...);

// "%lu_boundary_%lx" with the input size and 1 - size as 32-bit numbers.
std::string MakeMimeBoundary(uint32_t inputSize);

}  // namespace mandrel
