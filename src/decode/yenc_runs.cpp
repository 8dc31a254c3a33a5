#include "decode/yenc_runs.h"

#include "codec/yenc.h"
#include "decode/buffer_runs.h"
#include "decode/decode_job.h"

namespace mandrel {

namespace {

// Room asked of the output for each run, and the longest line a run takes: longer lines go
// the line-by-line way in pieces.
constexpr std::size_t kLeastRoom = 4096;

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
    const auto take = [&](std::span<const unsigned char> text, std::span<unsigned char> room,
                          const BufReadMark& start) {
        const YEncRun run = DecodeYEncLines(text, room, kLeastRoom, start.previousRead == '\r');
        if (run.lines == 0) {
            return BufferRun{};
        }
        CountYEncBytes(app, row, room.first(run.produced), single);
        app.decode.lineNumber += static_cast<long>(run.lines);
        app.decode.bytesRead += static_cast<uint32_t>(run.consumed);
        return BufferRun{run.consumed, run.produced};
    };
    return DecodeBufferRuns(app.files, input, output, kLeastRoom, take,
                            [](const BufReadMark& /*start*/) {});
}

}  // namespace mandrel
