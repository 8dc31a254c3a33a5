// The state of the decode job, shared by the decode driver, the recognisers, the line decoders,
// the BinHex reader, the join and the checksum comparison.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "codec/binhex_runs.h"
#include "codec/decode_tables.h"
#include "codec/line_decode.h"
#include "core/buf_file.h"
#include "core/job_context.h"
#include "decode/part_assembly.h"
#include "decode/part_sums.h"

namespace mandrel {

// The states of the decode driver; the names are shown in "Unexpected EOF (%s).".
enum DecodeState : int32_t {
    LOOKFORHEADERTYPE = 0,
    PARSEBEGINLINE = 1,
    PREPAREHEADER = 2,
    DECODELINES = 3,
    PREPARETRAILER = 4,
    CLEANFINISH = 5,
    BADFINISH = 6,
    FINDSEPARATOR = 7,
    FINDSTARTOFDATA = 8,
    LOOKFORPARTCHECKSUM = 9,
    LOOKFORTOTALCHECKSUM = 10,
    CRITICALERROR = 11,
    YENCDATA = 12,  // the lines of a yEnc part, up to its "=yend"
};
std::string_view DecodeStateName(int state);

// A line as the driver holds it: at most 254 characters, the line end included, and a zero.
inline constexpr int kLineBufferSize = 255;
using LineBuffer = std::array<char, kLineBufferSize + 1>;  // one more for an added CR

// The whole-output figures compared after a decode.
struct OutputTotals {
    uint32_t runningChecksum = 0;         // "sum -r" of decoded UU/XX bytes; BinHex: data fork CRC
    bool runningChecksumPartial = false;  // lines went by without it: the file must settle it
    uint32_t expectedChecksum = 0;        // 0 = none given
    int32_t expectedSize = 0;             // 0 or less = none given
    uint32_t decodedSize = 0;
};

// The BinHex reader's state, reset at the start of every BinHex decode.
struct BinHexReaderState {
    BufFile input = kNoBufFile;
    int tolerant = 0;
    std::array<int, 4> values{};
    std::array<unsigned char, 3> triple{};
    int index = 0;          // next byte of the triple to hand out (0 to 2)
    int stopDelimiter = 0;  // where ":" was met within the group (0 = not)
    int stopEnd = 0;        // where the end of input was met within the group (0 = not)
    BinHexRunState runs;
    uint32_t bytesHandedOut = 0;
    uint32_t lineEndsSeen = 0;
    uint32_t charactersRead = 0;
    int fork = 0;  // 0 data, 1 resource, 2 done
    uint32_t forkLength = 0;
    uint32_t forkPosition = 0;
    uint32_t resourceLength = 0;
    uint32_t savedDataCrc = 0;
    bool resourceStatusShown = false;
};

struct DecodeJob {
    long lineNumber = 0;     // lines read in this pass; a pushed-back line counts off again
    uint32_t bytesRead = 0;  // for progress: the driver's own reads and the BinHex reader's
    uint32_t inputSize = 0;
    int lastPercent = -1;
    int BinaryDataSeen = 0;  // 0, 1 (seen) or 2 (asked about)
    bool NameFound = false;
    std::string HeaderName;  // up to 255 characters
    std::string DecodeErrorText;
    uint32_t base64Position = 0;  // MIME characters taken in the current body
    Base64State base64;
    OutputTotals totals;
    const DecodeTable* currentTable = nullptr;  // none while the encoding is Auto
    BinHexReaderState binhex;
    bool checksumDataPresent = false;  // set by the checksum comparison
    // Where the last line read into `markedLine` began and ended in the input.
    const char* markedLine = nullptr;
    BufReadMark lineStart;
    BufReadMark lineEnd;
    DeferredPartSums deferredSums;
    // The file beside the output that the parts of a multi-part file are decoded into.
    PartAssembly assembly;
    // The boundaries of the multipart MIME bodies met in this pass: a line of "--" and one of
    // them ends a quoted-printable body.
    std::vector<std::string> mimeBoundaries;
    // Where the first "Content-Type: message/partial" line of the pass stands (-1: none): the
    // job puts the fragments together from there.
    int64_t partialFrom = -1;
    // Set for the rest of a job once a message/partial header held no fragment to put together:
    // such headers are then text like any other.
    bool partialIgnored = false;
};

// What the decoder works with: the shared job context and its own state (see EncodeContext).
struct DecodeContext : virtual JobContext {
    DecodeContext(UserPort& user, DeliveryPort& deliveryPort) : JobContext(user, deliveryPort) {}
    DecodeJob decode;
};

}  // namespace mandrel
