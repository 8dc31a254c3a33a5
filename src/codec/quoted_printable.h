// Quoted-printable (RFC 2045): "=" and two hex digits stand for a byte, "=" at the end of a
// line joins it to the next (a soft line break), the blanks a transport left at a line's end
// are no part of it; every other character stands for itself.
#pragma once

#include <cstddef>
#include <span>
#include <string_view>

namespace mandrel {

// Decodes one line without its line end into out (line.size() bytes are enough). `soft` tells
// whether the line ended in a soft line break. An "=" without two hex digits after it stays as
// it is, as robust readers keep it.
std::size_t DecodeQuotedPrintableLine(std::string_view line, std::span<unsigned char> out,
                                      bool& soft);

}  // namespace mandrel
