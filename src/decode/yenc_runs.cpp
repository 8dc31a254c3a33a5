#include "decode/yenc_runs.h"

#include "codec/yenc.h"
#include "decode/decode_job.h"

namespace mandrel {

namespace {

// Room asked of the output for each run, and the longest line a run takes: longer lines go
// the line-by-line way in pieces.
constexpr std::size_t kLeastRoom = 4096;
constexpr int kStatusError = 2;

}  // namespace

void CountYEncBytes(DecodeContext& app, PartRecord& row, std::span<const unsigned char> bytes,
                    bool single) {
    row.calculatedSize += static_cast<uint32_t>(bytes.size());
    row.calculatedChecksum = Crc32(bytes, row.calculatedChecksum);
    if (single) {
        app.decode.totals.runningChecksum = row.calculatedChecksum;
    }
}

bool DecodeYEncRuns(DecodeContext& app, BufFile input, BufFile output, PartRecord& row,
                    bool single) {
    BufFileTable& files = app.files;
    constexpr int kTextFlags = BF_TEXT | BF_CR_ENDS_LINE;
    if ((files.Flags(input) & kTextFlags) != kTextFlags) {
        return true;
    }
    for (;;) {
        const std::span<const unsigned char> text = files.BufFileAhead(input);
        if (text.empty()) {
            return true;
        }
        const std::span<unsigned char> room = files.BufFileWriteRoom(output, kLeastRoom);
        if (room.empty()) {
            return files.Status(output) != kStatusError;
        }
        const bool afterCr = files.BufFileMark(input).previousRead == '\r';
        const YEncRun run = DecodeYEncLines(text, room, kLeastRoom, afterCr);
        if (run.lines == 0) {
            return true;
        }
        CountYEncBytes(app, row, room.first(run.produced), single);
        files.BufFileSkip(input, run.consumed);
        files.BufFileWritten(output, run.produced);
        app.decode.lineNumber += static_cast<long>(run.lines);
        app.decode.bytesRead += static_cast<uint32_t>(run.consumed);
    }
}

}  // namespace mandrel
