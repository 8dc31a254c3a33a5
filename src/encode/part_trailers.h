// The text that closes each part: the end of the data on the last part, the "sum -r/size"
// lines and the trailer lines of the format, among them the shar reassembly script.
#pragma once

#include <string_view>

namespace mandrel {

struct EncodeContext;

// name is the input's base name. Returns 0.
int WritePartTrailer(EncodeContext& app, int part, int total, std::string_view name);

}  // namespace mandrel
