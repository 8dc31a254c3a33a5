#include "decode/line_decoder.h"

#include <optional>

namespace mandrel {

namespace {

// The part's counters and the output's, as the kernels keep them.
LineDecodeSums SumsOf(const DecodeContext& app, const PartRecord& part) {
    return {part.calculatedChecksum, part.calculatedSize, app.decode.totals.runningChecksum};
}

void TakeSums(DecodeContext& app, PartRecord& part, const LineDecodeSums& sums) {
    part.calculatedChecksum = sums.part;
    part.calculatedSize = sums.partSize;
    app.decode.totals.runningChecksum = sums.output;
}

}  // namespace

void SelectDecodeTable(DecodeContext& app, int encoding) {
    const bool known = encoding >= kEncodingUU && encoding <= kEncodingBinHex;
    app.decode.currentTable = known ? &DecodeTableFor(encoding) : nullptr;
}

std::optional<LineDecodeRules> ExactRulesFor(const DecodeContext& app, int tolerant) {
    const int encoding = app.job.EncodingIndex;
    LineDecodeRules rules;
    rules.tolerant = tolerant != 0;
    if (encoding == kEncodingMIME) {
        const DecodeJob& decode = app.decode;
        rules.base64 = decode.base64Position == 0 ? Base64State{} : decode.base64;
        return rules;
    }
    if (encoding != kEncodingUU && encoding != kEncodingXX) {
        return std::nullopt;
    }
    rules.table = &TableInUse(app, encoding);
    rules.pad = static_cast<unsigned char>(AlphabetFor(encoding)[0]);
    return rules;
}

int DecodeLine(DecodeContext& app, const LineBuffer& line, std::span<unsigned char> out,
               PartRecord& part, int tolerant) {
    const std::optional<LineDecodeRules> rules = ExactRulesFor(app, tolerant);
    if (!rules) {
        return -1;
    }
    DecodeJob& decode = app.decode;
    LineDecodeSums sums = SumsOf(app, part);
    // The state and the sums change only when the line is taken, so a retry starts where the
    // line started.
    Base64State state;
    uint32_t consumed = 0;
    const int count = DecodeLineByRules(*rules, LineBytes(line), out, sums, state, consumed,
                                        decode.DecodeErrorText);
    if (count >= 0) {
        if (rules->table == nullptr) {
            decode.base64 = state;
            decode.base64Position += consumed;
        }
        TakeSums(app, part, sums);
    }
    return count;
}

void CountQuickLines(DecodeContext& app, PartRecord& part, uint64_t characters, uint32_t lines) {
    DecodeJob& decode = app.decode;
    part.calculatedSize += static_cast<uint32_t>(characters);
    decode.totals.runningChecksumPartial = true;
    if (app.job.EncodingIndex == kEncodingMIME) {
        // Whole groups leave the Base64 state where a fresh body starts it.
        if (decode.base64Position == 0) {
            decode.base64 = Base64State{};
        }
        decode.base64Position += static_cast<uint32_t>(characters - lines);
    }
}

std::optional<LineRunRules> QuickLineRules(const DecodeContext& app) {
    const int encoding = app.job.EncodingIndex;
    const bool mime = encoding == kEncodingMIME;
    if (encoding != kEncodingUU && encoding != kEncodingXX && !mime) {
        return std::nullopt;
    }
    if (mime && app.decode.base64Position != 0 && app.decode.base64.phase != 0) {
        return std::nullopt;  // a group runs on from the line before: the exact way's
    }
    return LineRunRules{&TableInUse(app, encoding), mime, nullptr};
}

int DecodeLineQuick(DecodeContext& app, const LineBuffer& line, std::span<unsigned char> out,
                    PartRecord& part) {
    std::optional<LineRunRules> rules = QuickLineRules(app);
    if (!rules) {
        return kTakeExactWay;
    }
    rules->mostLines = 1;
    // The whole buffer: the UU and XX way looks as far as the longest line could reach, and a
    // Base64 line ends at its line end, before the terminating zero.
    const LineRunResult run = DecodeLineRun(*rules, LineBytes(line), -1, out);
    if (run.lines != 1) {
        return kTakeExactWay;
    }
    CountQuickLines(app, part, run.characters, 1);
    return static_cast<int>(run.produced);
}

}  // namespace mandrel
