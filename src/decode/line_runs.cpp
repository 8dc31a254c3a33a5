#include "decode/line_runs.h"

#include <algorithm>
#include <cstring>
#include <optional>

#include "codec/line_run_decode.h"
#include "decode/data_line_classes.h"
#include "decode/decode_job.h"
#include "decode/line_decoder.h"
#include "decode/part_sums.h"

namespace mandrel {

namespace {

// Room asked of the output for each run: more than the longest sound line yields, and enough
// that the file layer writes its buffer out in large pieces.
constexpr std::size_t kLeastRoom = 4096;
constexpr int kStatusError = 2;

// The line at `text`, up to and with its line end, as the classifier reads it.
bool IsPlainDataText(std::span<const unsigned char> text) {
    LineBuffer line{};
    const std::size_t most = std::min<std::size_t>(text.size(), kLineBufferSize - 1);
    std::size_t n = 0;
    while (n < most && text[n] != '\r' && text[n] != '\n') {
        ++n;
    }
    n = std::min(n + 1, most);
    std::memcpy(line.data(), text.data(), n);
    line[n] = '\0';
    return IsPlainDataLine(line.data());
}

}  // namespace

bool DecodeLineRuns(DecodeContext& app, BufFile input, BufFile output, int row) {
    DecodeJob& decode = app.decode;
    BufFileTable& files = app.files;
    constexpr int kTextFlags = BF_TEXT | BF_CR_ENDS_LINE;
    const std::optional<LineRunRules> quick = QuickLineRules(app);
    if (!quick || (files.Flags(input) & kTextFlags) != kTextFlags || row < 0 || row >= MAX_PARTS) {
        return true;
    }
    LineRunRules rules = *quick;
    rules.lookCloser = &MayNotBeDataFirstBytes();
    LineRunRules oneLine = rules;
    oneLine.lookCloser = nullptr;
    oneLine.mostLines = 1;
    for (;;) {
        const std::span<const unsigned char> text = files.BufFileAhead(input);
        if (text.empty()) {
            return true;
        }
        const std::span<unsigned char> room = files.BufFileWriteRoom(output, kLeastRoom);
        if (room.empty()) {
            return files.Status(output) != kStatusError;
        }
        const BufReadMark start = files.BufFileMark(input);
        LineRunResult run = DecodeLineRun(rules, text, start.previousRead, room);
        if (run.lines == 0 && run.stop == LineRunStop::LookCloser &&
            IsPlainDataText(text.subspan(run.nextLine))) {
            run = DecodeLineRun(oneLine, text, start.previousRead, room);
        }
        if (run.lines == 0) {
            return true;
        }
        files.BufFileSkip(input, run.consumed);
        files.BufFileWritten(output, run.produced);
        decode.lineNumber += static_cast<long>(run.lines);
        decode.bytesRead += static_cast<uint32_t>(run.characters);
        CountQuickLines(app, app.parts.rows[static_cast<std::size_t>(row)], run.characters,
                        run.lines);
        DeferInputLine(app, row, input, start, files.BufFileMark(input));
    }
}

}  // namespace mandrel
