#include "encode/line_encoder.h"

#include <algorithm>

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

std::size_t EncodeLines(EncodeContext& app, std::span<const unsigned char> input, char* out) {
    std::size_t written = 0;
    std::size_t at = 0;
    if (app.config.encodechecksum == 0 && IsLineEncoding(app.job.EncodingIndex)) {
        // Without checksum lines the whole blocks need no counters: one call for all of them.
        const std::string_view eol = EndOfLineString(app.config);
        at = input.size() - input.size() % kBlockSize;
        written = EncodeWholeLinesText(
            input.first(at), app.encode.CurrentAlphabet, app.job.EncodingIndex == kEncodingMIME,
            eol, std::span(out, at / kBlockSize * (kMaxLineLength + eol.size())));
    }
    for (; at < input.size(); at += kBlockSize) {
        const std::span<const unsigned char> block =
            input.subspan(at, std::min<std::size_t>(kBlockSize, input.size() - at));
        const int n = EncodeLine(app, block, out + written);
        if (n < 0) {
            break;
        }
        written += static_cast<std::size_t>(n);
    }
    return written;
}

}  // namespace mandrel
