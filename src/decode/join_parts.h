// Puts decoded parts together in part order, and joins several input files into one before
// they are decoded.
#pragma once

#include <cstdint>
#include <string>

#include "core/buf_file.h"

namespace mandrel {

struct DecodeContext;

inline constexpr int kJoinDecode = 2;
inline constexpr int kJoinConcatenate = 3;

// Appends the files of rows with part numbers 1..total to JobOutputPath (made with MakeOutFile
// with the mode as direction). 0 done (or nothing to join), 1 cancelled, -2 reported, or
// MakeOutFile's negative result.
int JoinParts(DecodeContext& app, int total, int interactive, int mode);
// 0 when the whole file was appended, 1 on failure (reported) or cancel.
int AppendPartFile(DecodeContext& app, const std::string& name, BufFile output);
// The same for `length` bytes of the file from `offset` on (a length of -1: to its end).
int AppendFileRange(DecodeContext& app, const std::string& name, int64_t offset, int64_t length,
                    BufFile output);

}  // namespace mandrel
