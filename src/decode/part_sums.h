// A part's "sum -r" runs over every character of its text, one serial chain that costs more
// than decoding the text itself. Most texts carry no checksum line to compare it with, so the
// decoder notes which input lines the sum covers and runs the chain only when a part's
// checksum line asks for it, by reading those lines again.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "codec/line_decode.h"
#include "core/buf_file.h"
#include "core/part_table.h"

namespace mandrel {

struct DecodeContext;

// Lines of the input whose text goes into the sum: a run of whole lines read from `start` up to
// `end` (their whole text, as SumLineToEnd takes it), or one line kept as text, taken whole or
// (with `exact`) as the exact way takes it.
struct DeferredSumItem {
    BufReadMark start;
    BufReadMark end;
    std::string text;
    std::optional<LineDecodeRules> exact;
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

// A line the exact way just decoded for row, which left the row's checksum as it was: its
// share waits behind the lines before it.
void DeferExactLine(DecodeContext& app, int row, const char* line, const LineDecodeRules& rules);
// True when lines of the row wait for their sum.
bool HasDeferredSum(const DecodeContext& app, int row);

// Folds what waits into the row's calculated checksum. A run that cannot be read again leaves
// the checksum short, so that the comparison shows a difference rather than a false match.
void SettlePartSum(DecodeContext& app, int row);
// Settles every row that has a checksum to be compared with.
void SettleAwaitedPartSums(DecodeContext& app);

}  // namespace mandrel
