#include "decode/line_decoder.h"

#include "codec/alphabets.h"
#include "codec/line_decode.h"
#include "decode/decode_job.h"

namespace mandrel {

namespace {

// The table SelectDecodeTable made current, or the encoding's own while none is.
const DecodeTable& TableInUse(const DecodeContext& app, int encoding) {
    return app.decode.currentTable != nullptr ? *app.decode.currentTable : DecodeTableFor(encoding);
}

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

int DecodeLineQuick(DecodeContext& app, const char* line, unsigned char* out, PartRecord& part) {
    const int encoding = app.job.EncodingIndex;
    if (encoding != kEncodingUU && encoding != kEncodingXX) {
        return kTakeExactWay;
    }
    const DecodeTable& table = TableInUse(app, encoding);
    int characters = 0;
    const int length =
        DecodeWholeGroups(table, reinterpret_cast<const unsigned char*>(line), out, characters);
    if (length == kTakeExactWay) {
        return kTakeExactWay;
    }
    // The length character, the data and the line end, as the exact way counts them.
    part.calculatedSize += static_cast<uint32_t>(characters + 2);
    app.decode.totals.runningChecksumPartial = true;
    return length;
}

void SelectDecodeTable(DecodeContext& app, int encoding) {
    const bool known = encoding >= kEncodingUU && encoding <= kEncodingBinHex;
    app.decode.currentTable = known ? &DecodeTableFor(encoding) : nullptr;
}

int DecodeLine(DecodeContext& app, const char* line, unsigned char* out, PartRecord& part,
               int tolerant) {
    const int encoding = app.job.EncodingIndex;
    if (encoding != kEncodingUU && encoding != kEncodingXX && encoding != kEncodingMIME) {
        return -1;
    }
    const auto* text = reinterpret_cast<const unsigned char*>(line);
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

}  // namespace mandrel
