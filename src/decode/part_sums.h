// A part's "sum -r" runs over every character of its text, one serial chain that costs more
// than decoding the text itself. Most texts carry no checksum line to compare it with, so the
// decoder notes which input lines the sum covers and runs the chain only when a part's
// checksum line asks for it, by reading those lines again.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "core/buf_file.h"
#include "core/part_table.h"

namespace mandrel {

struct DecodeContext;

// Lines of the input whose whole text goes into the sum as SumLineToEnd takes it: a run of
// whole lines read from `start` up to `end`, or one line kept as text.
struct DeferredSumItem {
    BufReadMark start;
    BufReadMark end;
    std::string text;
    bool IsText() const { return end.offset < 0; }
};

struct DeferredPartSums {
    BufFile input = kNoBufFile;  // the input the runs were read from
    std::string inputPath;       // its name, to read it again
    int inputFlags = 0;          // and how it was read
    std::array<std::vector<DeferredSumItem>, MAX_PARTS> rows;
};

void ClearDeferredPartSums(DeferredPartSums& sums);

// The line just read from `input` between the two marks goes into row's sum.
void DeferInputLine(DecodeContext& app, int row, BufFile input, const BufReadMark& start,
                    const BufReadMark& end);
// As above for a line held as text; it goes straight into the sum when nothing waits before it.
void AddTextToPartSum(DecodeContext& app, int row, const char* line);

// Folds what waits into the row's calculated checksum. A run that cannot be read again leaves
// the checksum short, so that the comparison shows a difference rather than a false match.
void SettlePartSum(DecodeContext& app, int row);
// Settles every row that has a checksum to be compared with.
void SettleAwaitedPartSums(DecodeContext& app);

}  // namespace mandrel
