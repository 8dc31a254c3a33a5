#include "decode/line_decoder.h"

#include <cstring>

#include "codec/line_run_decode.h"

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

int DecodeLine(DecodeContext& app, const LineBuffer& line, std::span<unsigned char> out,
               PartRecord& part, int tolerant) {
    const int encoding = app.job.EncodingIndex;
    if (encoding != kEncodingUU && encoding != kEncodingXX && encoding != kEncodingMIME) {
        return -1;
    }
    const std::span<const unsigned char> text = LineBytes(line);
    DecodeJob& decode = app.decode;
    LineDecodeSums sums = SumsOf(app, part);
    int count = 0;
    if (encoding == kEncodingMIME) {
        // The state and the sums change only when the line is taken, so a retry starts where
        // the line started.
        Base64State state = decode.base64Position == 0 ? Base64State{} : decode.base64;
        uint32_t consumed = 0;
        count = DecodeBase64LineText(text, out, state, consumed, sums, tolerant != 0,
                                     decode.DecodeErrorText);
        if (count >= 0) {
            decode.base64 = state;
            decode.base64Position += consumed;
        }
    } else {
        const auto pad = static_cast<unsigned char>(AlphabetFor(encoding)[0]);
        count = DecodeGroupLineText(TableInUse(app, encoding), text, out, sums, tolerant != 0, pad,
                                    decode.DecodeErrorText);
    }
    if (count >= 0) {
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

int DecodeLineQuick(DecodeContext& app, const LineBuffer& line, std::span<unsigned char> out,
                    PartRecord& part) {
    const int encoding = app.job.EncodingIndex;
    if (encoding == kEncodingMIME) {
        const DecodeJob& decode = app.decode;
        if (decode.base64Position != 0 && decode.base64.phase != 0) {
            return kTakeExactWay;  // a group runs on from the line before
        }
        const std::span<const unsigned char> bytes = LineBytes(line);
        const std::span<const unsigned char> text = bytes.first(strnlen(line.data(), line.size()));
        const LineRunResult run =
            DecodeLineRun({&kBase64DecodeTable, true, nullptr, 1}, text, -1, out);
        if (run.lines != 1) {
            return kTakeExactWay;
        }
        CountQuickLines(app, part, run.characters, 1);
        return static_cast<int>(run.produced);
    }
    if (encoding != kEncodingUU && encoding != kEncodingXX) {
        return kTakeExactWay;
    }
    int characters = 0;
    const int length =
        DecodeWholeGroups(TableInUse(app, encoding), LineBytes(line), out, characters);
    if (length == kTakeExactWay) {
        return kTakeExactWay;
    }
    // The length character, the data and the line end, as the exact way counts them.
    CountQuickLines(app, part, static_cast<uint64_t>(characters) + 2U, 1);
    return length;
}

}  // namespace mandrel
