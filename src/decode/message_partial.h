// MIME message/partial (RFC 2046, 5.2.2): a message sent as numbered fragments, each the body
// of a message of its own, as mail programs split large attachments. The fragments of one id,
// in any order and among other text, are put together in number order into the message they
// enclose, which is then decoded as any message.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace mandrel {

// The parameters of a "Content-Type: message/partial" header, unfolded; false for any other.
struct FragmentHeader {
    std::string id;
    int64_t number = 0;
    int64_t total = 0;  // 0 when this fragment does not say
};
bool ReadFragmentHeader(std::string_view contentType, FragmentHeader& header);

struct PartialAssembly {
    int fragments = 0;                  // fragments found
    int messages = 0;                   // messages put together
    std::vector<std::string> problems;  // one text for each id that is not complete
    bool written = false;               // the output could be written
};

// An input to read from `from` on (an offset at or before its first fragment's header lines).
struct PartialSource {
    std::string path;
    int64_t from = 0;
};

// Writes to `output` the sources' text without the fragments, then every message whose
// fragments are all there, whichever sources they stand in. A fragment runs from its header
// lines to the next fragment's header lines, the next mbox "From " line or the end of its
// source; in a mailbox its last blank line is the mailbox's.
PartialAssembly AssemblePartialMessages(const std::vector<PartialSource>& sources,
                                        const std::string& output);

}  // namespace mandrel
