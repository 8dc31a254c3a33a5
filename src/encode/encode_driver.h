// Encodes one input file: sizes the output into parts, collects each part's text with its
// header and trailer, and delivers it to a file, the clipboard or one mail message per part.
#pragma once

#include <string>
#include <string_view>

#include "core/buf_file.h"

namespace mandrel {

struct EncodeContext;

// input is the open input whose name is JobInputPath. Returns 0 done, 1 cancelled (files
// written so far deleted), -1 encodetype is 0, -2 failed and reported, or MakeOutFile's -2/-3.
int EncodeFile(EncodeContext& app, BufFile input, int interactive);

// The destination name of one part (see the naming rules of the encoder).
std::string BuildOutputName(const EncodeContext& app, std::string_view inputPath, int encoding,
                            int part, int total);

// Appends text to the part's block; past its capacity shows "Corrupted Encoding!" and drops
// what the part had collected.
void AppendOutput(EncodeContext& app, std::string_view text);

int HeaderSizeEstimate(const EncodeContext& app, int format);
int TrailerSizeEstimate(const EncodeContext& app, int format);

}  // namespace mandrel
