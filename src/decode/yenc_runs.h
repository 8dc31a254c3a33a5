// The data lines of a yEnc part that stand whole in the read buffer, decoded straight into the
// output file's write buffer with the part's size and CRC kept up, as the line-by-line way
// would keep them.
#pragma once

#include "core/buf_file.h"
#include "core/part_table.h"

namespace mandrel {

struct DecodeContext;

// Adds a part's decoded bytes to its figures: its size and CRC, and the file's CRC when the
// part is the whole file (`single`).
void CountYEncBytes(DecodeContext& app, PartRecord& row, std::span<const unsigned char> bytes,
                    bool single);

// Decodes runs of lines after a line end; stops before a keyword line or any line it leaves to
// the line-by-line way. False when writing failed.
bool DecodeYEncRuns(DecodeContext& app, BufFile input, BufFile output, PartRecord& row,
                    bool single);

}  // namespace mandrel
