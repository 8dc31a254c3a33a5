// The data lines after the one in hand, taken in runs: as long as the input's read buffer holds
// sound lines that are data in every format, they are decoded straight into the output's write
// buffer, with the same bytes, line numbers, counts and part sums as one line at a time.
#pragma once

#include "core/buf_file.h"

namespace mandrel {

struct DecodeContext;

// Decodes the runs after the current line of `row`'s part; the line after them is left to the
// line-by-line way. False when the output's buffer could not be written out (the file layer's
// LastError tells why).
bool DecodeLineRuns(DecodeContext& app, BufFile input, BufFile output, int row);

}  // namespace mandrel
