#include "encode/line_encoder.h"

#include "codec/alphabets.h"
#include "codec/line_encode.h"
#include "core/text_util.h"
#include "encode/encode_job.h"

namespace mandrel {

namespace {

bool IsLineEncoding(int encoding) {
    return encoding == kEncodingUU || encoding == kEncodingXX || encoding == kEncodingMIME;
}

}  // namespace

int EncodeLine(EncodeContext& app, std::span<const unsigned char> input, char* line) {
    const int encoding = app.job.EncodingIndex;
    // BinHex goes through its own stages; a block longer than a line can hold is the
    // caller's mistake, and writing nothing is safer than writing past the line.
    if (!IsLineEncoding(encoding) || input.size() > static_cast<std::size_t>(kBlockSize)) {
        return -1;
    }
    EncodeJob& job = app.encode;
    // The sums are kept only for the checksum lines that show them.
    LineEncodeSums sums{static_cast<uint16_t>(job.PartSum), static_cast<uint16_t>(job.InputSum),
                        job.PartSize};
    const bool keepSums = app.config.encodechecksum != 0;
    const std::size_t n = EncodeLineText(input, job.CurrentAlphabet, encoding == kEncodingMIME,
                                         EndOfLineString(app.config), keepSums ? &sums : nullptr,
                                         std::span(line, kMaxLineLength + 2));
    line[n] = '\0';
    if (keepSums) {
        job.PartSum = sums.part;
        job.InputSum = sums.input;
        job.PartSize = sums.partSize;
    }
    return static_cast<int>(n);
}

}  // namespace mandrel
