// Turns one line of UU, XX or Base64 text into bytes, checking it against the encoding's rules
// and keeping the part's and the output's checksums.
#pragma once

#include <cstdint>
#include <optional>
#include <span>

#include "codec/alphabets.h"
#include "codec/line_decode.h"
#include "codec/line_run_decode.h"
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

// The rules the exact way decodes the line in hand by (the encoding, its table, tolerance, the
// Base64 state); none while the encoding is not UU, XX or MIME.
std::optional<LineDecodeRules> ExactRulesFor(const DecodeContext& app, int tolerant);

// Decodes line (zero-terminated, its line end included) into out: room for 3/4 of the line
// and 3 bytes, and at least 63 (a short UU or XX line padded in tolerant mode yields what its
// length character says). Returns the bytes decoded, or -1 with the reason in DecodeErrorText;
// a refused line changes no sum, count or Base64 state. tolerant = 1 decodes in spite of
// errors.
int DecodeLine(DecodeContext& app, const LineBuffer& line, std::span<unsigned char> out,
               PartRecord& part, int tolerant);

// What sound lines taken the quick way add up to, `characters` with one line end per line:
// the part's size, the MIME body's position; the output's running checksum is then the
// file's to settle.
void CountQuickLines(DecodeContext& app, PartRecord& part, uint64_t characters, uint32_t lines);

// How sound lines of the encoding in use are taken the quick way; none for other encodings and
// while a Base64 group runs on from the line before.
std::optional<LineRunRules> QuickLineRules(const DecodeContext& app);

// The quick way for a sound UU, XX or Base64 data line (what a run of one line takes). Counts as
// CountQuickLines but keeps no checksum, which the caller must see to. out needs room for 64 bytes.
// Returns the bytes decoded, or kTakeExactWay for any other line, with nothing changed.
int DecodeLineQuick(DecodeContext& app, const LineBuffer& line, std::span<unsigned char> out,
                    PartRecord& part);

}  // namespace mandrel
