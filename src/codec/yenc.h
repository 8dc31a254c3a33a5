// yEnc (version 1.3 of the published description): the keyword lines that frame a posting, the
// data lines, and the CRC-32 its parts and files carry. A data byte is the character less 42;
// "=" escapes the character after it, which stands for its value less 64 more; CR and LF are
// line ends; a line that starts with ".." was dot-stuffed by a news server.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "codec/crc32.h"

namespace mandrel {

// The keywords of "=ybegin", "=ypart" and "=yend". Numbers that do not parse, or overflow, stay
// absent; "name" takes the rest of the line, blanks and all, as the description has it.
struct YEncFields {
    std::optional<int64_t> part;
    std::optional<int64_t> total;
    std::optional<int64_t> line;
    std::optional<int64_t> size;
    std::optional<int64_t> begin;
    std::optional<int64_t> end;
    std::optional<uint32_t> pcrc32;
    std::optional<uint32_t> crc32;
    std::optional<std::string> name;
};

// Which keyword line this is, if any: the word must be followed by a blank or the line end.
enum class YEncLine { None, Begin, Part, End };
YEncLine YEncLineKind(std::string_view line);
// The keywords after the line's first word.
YEncFields ParseYEncFields(std::string_view line);

// Where a piece of data text stands: at the start of a line (dot-stuffing is undone there)
// and after an escape whose character has not been seen yet.
struct YEncTextState {
    bool lineStart = true;
    bool escape = false;
};

// The reference decoder: every byte of text (a line or a piece of one, line ends included) to
// out, which needs text.size() bytes. Returns the bytes written. An escape right before a line
// end escapes nothing.
std::size_t DecodeYEncText(std::span<const unsigned char> text, std::span<unsigned char> out,
                           YEncTextState& state);

// Whole data lines from the start of text, as many as lie complete in it: it stops before a
// line that starts with "=y" (a keyword line), before a line whose end is not in text or not
// within `room` characters of its start, and when fewer than `room` bytes of out stay free at a
// line start. Starts at a line start; writes nothing beyond out.
struct YEncRun {
    std::size_t consumed = 0;  // text taken: whole lines with their ends
    std::size_t produced = 0;  // bytes written
    std::size_t lines = 0;     // line ends taken (a CR LF pair counts once)
    bool afterCr = false;      // the text taken ends with a CR: an LF first is its partner
};
YEncRun DecodeYEncLines(std::span<const unsigned char> text, std::span<unsigned char> out,
                        std::size_t room, bool afterCr);

}  // namespace mandrel
