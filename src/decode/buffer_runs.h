// The loop both kinds of run share (UU, XX and Base64 lines; yEnc lines): lines decoded straight
// from the input's read buffer into the output's write buffer, as long as the decoder takes any.
#pragma once

#include <cstddef>
#include <span>

#include "core/buf_file.h"

namespace mandrel {

// What one run took from the read buffer and put into the write buffer.
struct BufferRun {
    std::size_t consumed = 0;
    std::size_t produced = 0;
};

// Offers `take(text, room, start)` the text the read buffer holds unread, the write buffer's free
// room (at least leastRoom) and the read mark before the text, for as long as it takes
// something; moves both buffers past what it took, then calls `taken(start)`. Text read with
// other line rules than a text read whose CR ends a line is left to the line-by-line way. False
// when the write buffer could not be written out (the file layer's LastError tells why).
template <typename Take, typename Taken>
bool DecodeBufferRuns(BufFileTable& files, BufFile input, BufFile output, std::size_t leastRoom,
                      Take take, Taken taken) {
    constexpr int kTextFlags = BF_TEXT | BF_CR_ENDS_LINE;
    constexpr int kStatusError = 2;
    if ((files.Flags(input) & kTextFlags) != kTextFlags) {
        return true;
    }
    for (;;) {
        const std::span<const unsigned char> text = files.BufFileAhead(input);
        if (text.empty()) {
            return true;
        }
        const std::span<unsigned char> room = files.BufFileWriteRoom(output, leastRoom);
        if (room.empty()) {
            return files.Status(output) != kStatusError;
        }
        const BufReadMark start = files.BufFileMark(input);
        const BufferRun run = take(text, room, start);
        if (run.consumed == 0) {
            return true;
        }
        files.BufFileSkip(input, run.consumed);
        files.BufFileWritten(output, run.produced);
        taken(start);
    }
}

}  // namespace mandrel
