#include "decode/line_runs.h"

#include <algorithm>
#include <cstring>
#include <optional>

#include "codec/line_run_decode.h"
#include "decode/buffer_runs.h"
#include "decode/data_line_classes.h"
#include "decode/decode_job.h"
#include "decode/line_decoder.h"
#include "decode/part_sums.h"

namespace mandrel {

namespace {

// Room asked of the output for each run: more than the longest sound line yields, and enough
// that the file layer writes its buffer out in large pieces.
constexpr std::size_t kLeastRoom = 4096;

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
    const std::optional<LineRunRules> quick = QuickLineRules(app);
    if (!quick || row < 0 || row >= MAX_PARTS) {
        return true;
    }
    LineRunRules rules = *quick;
    rules.lookCloser = &MayNotBeDataFirstBytes();
    LineRunRules oneLine = rules;
    oneLine.lookCloser = nullptr;
    oneLine.mostLines = 1;
    const auto take = [&](std::span<const unsigned char> text, std::span<unsigned char> room,
                          const BufReadMark& start) {
        LineRunResult run = DecodeLineRun(rules, text, start.previousRead, room);
        if (run.lines == 0 && run.stop == LineRunStop::LookCloser &&
            IsPlainDataText(text.subspan(run.nextLine))) {
            run = DecodeLineRun(oneLine, text, start.previousRead, room);
        }
        if (run.lines == 0) {
            return BufferRun{};
        }
        app.decode.lineNumber += static_cast<long>(run.lines);
        app.decode.bytesRead += static_cast<uint32_t>(run.characters);
        CountQuickLines(app, app.parts.rows[static_cast<std::size_t>(row)], run.characters,
                        run.lines);
        return BufferRun{run.consumed, run.produced};
    };
    // The run's lines wait for their sum, from where it started to where the input now stands.
    const auto taken = [&](const BufReadMark& start) {
        DeferInputLine(app, row, input, start, app.files.BufFileMark(input));
    };
    return DecodeBufferRuns(app.files, input, output, kLeastRoom, take, taken);
}

}  // namespace mandrel
