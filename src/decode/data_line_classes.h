// Tells, line by line, where a part's encoded data begins and ends: separator lines, data,
// trailers, the end of the data, checksum lines; and UU from XX on the first data line.
#pragma once

#include <array>

#include "core/buf_file.h"

namespace mandrel {

struct DecodeContext;

enum DataLineClass : int {
    kLineData = 0,
    kLineTrailer = 1,
    kLineEndOfData = 2,
    kLineChecksum = 3,
    kLineBlankEnd = 4,
};

// True when the line is the separator of the current format; may read one further line.
bool IsSeparatorLine(DecodeContext& app, char* line, BufFile input);
// The class of a line met while decoding part `part`, with the trailer's part and total. May
// read further lines into line (Wincode v2.3).
int ClassifyDataLine(DecodeContext& app, char* line, int part, int& trailerPart, int& trailerTotal,
                     BufFile input);
// The first bytes of the lines ClassifyDataLine might take for anything but data: every other
// line is data whatever the format, so a run of lines can skip the classification.
const std::array<bool, 256>& MayNotBeDataFirstBytes();
// True when ClassifyDataLine is sure to take the line (zero-terminated) for data, with nothing
// read and nothing changed: what MayNotBeDataFirstBytes leaves for a closer look.
bool IsPlainDataLine(const char* line);
// 1 when the line tells UU from XX (EncodingIndex and its table are then set), else 0.
int GuessUuOrXx(DecodeContext& app, const char* line);
// Reads lines until one is not blank (an empty line at the end of the input).
void SkipBlankLines(DecodeContext& app, BufFile input, char* line);
// 1 when nothing is left to read; the position and the line number are unchanged.
int AtEndOfInput(DecodeContext& app, BufFile input);

}  // namespace mandrel
