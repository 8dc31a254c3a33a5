// Turns one line of UU, XX or Base64 text into bytes, checking it against the encoding's rules
// and keeping the part's and the output's checksums.
#pragma once

#include <cstdint>
#include <span>

#include "codec/alphabets.h"
#include "codec/line_decode.h"
#include "decode/decode_job.h"

namespace mandrel {

// The bytes of the buffer a line stands in, as the kernels read them.
inline std::span<const unsigned char> LineBytes(const LineBuffer& line) {
    return {reinterpret_cast<const unsigned char*>(line.data()), line.size()};
}

// The table SelectDecodeTable made current, or the encoding's own while none is.
inline const DecodeTable& TableInUse(const DecodeContext& app, int encoding) {
    return app.decode.currentTable != nullptr ? *app.decode.currentTable : DecodeTableFor(encoding);
}

// Makes the table of the encoding current (none for 0, Auto).
void SelectDecodeTable(DecodeContext& app, int encoding);

// Decodes line (zero-terminated, its line end included) into out: room for 3/4 of the line
// and 3 bytes, and at least 63 (a short UU or XX line padded in tolerant mode yields what its
// length character says). Returns the bytes decoded, or -1 with the reason in DecodeErrorText;
// a refused line changes no sum, count or Base64 state. tolerant = 1 decodes in spite of
// errors.
int DecodeLine(DecodeContext& app, const LineBuffer& line, std::span<unsigned char> out,
               PartRecord& part, int tolerant);

// The quick way for a UU or XX data line in strict mode: valid characters that fit the length
// character, the line end and nothing else. Counts the part's size but keeps neither checksum,
// which the caller must see to. out needs room for 64 bytes. Returns the bytes decoded, or
// kTakeExactWay for any other line, with nothing changed. Inline: the driver calls it for
// every line, and the kernel behind it is a call already.
inline int DecodeLineQuick(DecodeContext& app, const LineBuffer& line, std::span<unsigned char> out,
                           PartRecord& part) {
    const int encoding = app.job.EncodingIndex;
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
    part.calculatedSize += static_cast<uint32_t>(characters + 2);
    app.decode.totals.runningChecksumPartial = true;
    return length;
}

}  // namespace mandrel
