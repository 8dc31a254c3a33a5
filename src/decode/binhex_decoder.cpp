#include "decode/binhex_decoder.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <span>
#include <string>
#include <string_view>

#include "codec/alphabets.h"
#include "codec/binhex_crc.h"
#include "codec/binhex_runs.h"
#include "codec/group_kernels.h"
#include "core/format.h"
#include "core/text_util.h"
#include "decode/decode_job.h"
#include "decode/line_decoder.h"

namespace mandrel {

namespace {

// What each byte is to the character layer: its 6-bit value, or one of the kinds below.
constexpr int kOutside = -1;
constexpr int kBlank = -2;    // blank or tab: no character
constexpr int kLineEnd = -3;  // CR or LF: no character, but counted
constexpr int kColon = -4;    // the stream's delimiter
constexpr std::array<int32_t, 256> MakeCharacterKinds() {
    std::array<int32_t, 256> kinds{};
    kinds.fill(kOutside);
    for (std::size_t value = 0; value < 64; ++value) {
        kinds[static_cast<unsigned char>(BinHexAlphabet[value])] = static_cast<int32_t>(value);
    }
    kinds[' '] = kinds['\t'] = kBlank;
    kinds['\r'] = kinds['\n'] = kLineEnd;
    kinds[':'] = kColon;
    return kinds;
}
constexpr std::array<int32_t, 256> kCharacterKinds = MakeCharacterKinds();

constexpr std::size_t kChunkBytes = 90;
constexpr std::size_t kMaxNameLength = 63;  // the name field holds 64 bytes with its end

std::string InputName(const DecodeContext& app) {
    return std::string(FileNamePart(app.job.JobInputPath));
}

// Fixed-size text fields end at their first zero byte, as the sending side's C texts did.
std::string FieldText(std::string_view bytes) {
    return std::string(bytes.substr(0, bytes.find('\0')));
}

// Two bytes, most significant first; a negative reader result is handed on.
int ReadBinHexWord(DecodeContext& app) {
    const int high = ReadBinHexByte(app);
    if (high < 0) {
        return high;
    }
    const int low = ReadBinHexByte(app);
    if (low < 0) {
        return low;
    }
    return (high << 8) | low;
}

int64_t ReadBinHexLong(DecodeContext& app) {
    const int high = ReadBinHexWord(app);
    if (high < 0) {
        return high;
    }
    const int low = ReadBinHexWord(app);
    if (low < 0) {
        return low;
    }
    return (static_cast<int64_t>(high) << 16) | low;
}

// Reads the four characters of the next group and decodes its three bytes. A colon or the end
// of the input inside the group is remembered where it was met; 0, or a negative result.
// Four characters in a row in the file's buffer make a group at once; anything else (a line
// end, a blank, the colon, the end of the buffer) goes the character-by-character way.
bool TakeWholeGroup(DecodeContext& app, BinHexReaderState& r) {
    const std::span<const unsigned char> ahead = app.files.BufFileAhead(r.input);
    if (ahead.size() < 4) {
        return false;
    }
    const int32_t a = kCharacterKinds[ahead[0]];
    const int32_t b = kCharacterKinds[ahead[1]];
    const int32_t c = kCharacterKinds[ahead[2]];
    const int32_t d = kCharacterKinds[ahead[3]];
    if ((a | b | c | d) < 0) {
        return false;
    }
    app.files.BufFileSkip(r.input, 4);
    r.charactersRead += 4;
    app.decode.bytesRead += 4;
    r.values = {a, b, c, d};
    return true;
}

int ReadGroup(DecodeContext& app) {
    BinHexReaderState& r = app.decode.binhex;
    r.stopDelimiter = 0;
    r.stopEnd = 0;
    int k = TakeWholeGroup(app, r) ? 4 : 0;
    for (; k < 4; ++k) {
        const int value = ReadBinHexChar(app);
        if (value >= 0) {
            r.values[static_cast<std::size_t>(k)] = value;
            continue;
        }
        if (value == kBinHexInvalid || k == 0) {
            return value;
        }
        (value == kBinHexColon ? r.stopDelimiter : r.stopEnd) = k;
        break;
    }
    for (; k < 4; ++k) {
        r.values[static_cast<std::size_t>(k)] = 0;
    }
    const auto v = [&r](std::size_t i) { return static_cast<unsigned>(r.values[i]); };
    r.triple[0] = static_cast<unsigned char>((v(0) << 2) | (v(1) >> 4));
    r.triple[1] = static_cast<unsigned char>((v(1) << 4) | (v(2) >> 2));
    r.triple[2] = static_cast<unsigned char>((v(2) << 6) | v(3));
    return 0;
}

// Indexed by the fork (0 data, 1 resource) and by what ended the stream (0 the end of the
// input, 1 a colon).
constexpr const char* kPrematureEndTexts[2][2] = {
    {"BinHex: Premature End of File in %s.\r\nData Length Specified was %ld Bytes;\r\nEOF Found "
     "After %ld Bytes.",
     "BinHex: Premature End of File in %s.\r\nData Length Specified was %ld Bytes;\r\nDelimiter "
     "':' Found After %ld Bytes."},
    {"BinHex: Premature End of File in %s.\r\nResource Length Specified was %ld Bytes;\r\nEOF "
     "Found After %ld Bytes.",
     "BinHex: Premature End of File in %s.\r\nResource Length Specified was %ld Bytes;\r\n"
     "Delimiter ':' Found After %ld Bytes."},
};

void ReportPrematureEnd(DecodeContext& app, int result) {
    const BinHexReaderState& r = app.decode.binhex;
    const char* text = kPrematureEndTexts[r.fork == 0 ? 0 : 1][result == kBinHexColon ? 1 : 0];
    app.decode.DecodeErrorText =
        Format(text, InputName(app).c_str(), static_cast<long>(r.forkLength),
               static_cast<long>(r.forkPosition));
}

// A header that cannot be read to its end leaves nothing to decode.
bool RefuseHeader(DecodeContext& app, int result) {
    const std::string name = InputName(app);
    if (result != kBinHexInvalid) {
        app.decode.DecodeErrorText =
            Format("BinHex: Premature End of File in %s.\r\nHeader incomplete.", name.c_str());
        return false;
    }
    // The reader has left the invalid byte's text, unless the input could not be read.
    std::string text = Format("BinHex: Invalid Header in %s.", name.c_str());
    if (!app.decode.DecodeErrorText.empty()) {
        text += "\r\n" + app.decode.DecodeErrorText;
    }
    app.decode.DecodeErrorText = std::move(text);
    return false;
}

struct HeaderFields {
    std::string name;
    std::string type;
    std::string creator;
    int flags = 0;
    uint32_t dataLength = 0;
    uint32_t resourceLength = 0;
};

// n bytes of the stream into text, cut to its first kept bytes; 0 or a negative result.
int ReadField(DecodeContext& app, int n, std::size_t kept, std::string& text) {
    std::string bytes;
    for (int i = 0; i < n; ++i) {
        const int b = ReadBinHexByte(app);
        if (b < 0) {
            return b;
        }
        if (bytes.size() < kept) {
            bytes.push_back(static_cast<char>(b));
        }
    }
    text = FieldText(bytes);
    return 0;
}

// Everything before the header CRC; 0 or the first negative reader result.
int ReadHeaderFields(DecodeContext& app, HeaderFields& h) {
    const int nameLength = ReadBinHexByte(app);
    if (nameLength < 0) {
        return nameLength;
    }
    // The name and the version byte after it; a longer name than the field holds is cut.
    int result = ReadField(app, nameLength + 1, kMaxNameLength, h.name);
    if (result < 0 || (result = ReadField(app, 4, 4, h.type)) < 0 ||
        (result = ReadField(app, 4, 4, h.creator)) < 0) {
        return result;
    }
    const int flags = ReadBinHexWord(app);
    if (flags < 0) {
        return flags;
    }
    h.flags = flags;
    const int64_t data = ReadBinHexLong(app);
    if (data < 0) {
        return static_cast<int>(data);
    }
    const int64_t resource = ReadBinHexLong(app);
    if (resource < 0) {
        return static_cast<int>(resource);
    }
    h.dataLength = static_cast<uint32_t>(data);
    h.resourceLength = static_cast<uint32_t>(resource);
    return 0;
}

void ShowHeader(DecodeContext& app, const HeaderFields& h, uint32_t calculated, uint32_t stored) {
    ShowMessage(app.ui, kMbPlain,
                "BinHex Header Information:\r\n\r\nFile Name:\t%s\r\nFile Type: \t%s\r\nFile "
                "Creator:\t%s\r\nFile Flags: \t%X\r\nData size: \t%ld\r\nResource size:\t%ld",
                h.name.c_str(), h.type.c_str(), h.creator.c_str(), static_cast<unsigned>(h.flags),
                static_cast<long>(h.dataLength), static_cast<long>(h.resourceLength));
    if (calculated != stored) {
        ShowMessage(app.ui, kMbExclamation,
                    "Warning! Calculated header CRC of %x does not match the file header CRC of "
                    "%x!\t\t Possible corrupt input file.",
                    static_cast<unsigned>(calculated), static_cast<unsigned>(stored));
    }
}

// After the last CRC: the rest of the stream up to and including the closing colon, so that
// the text after it reaches the driver whole. What stands before the colon is not checked.
void ConsumeClosingColon(DecodeContext& app) {
    BinHexReaderState& r = app.decode.binhex;
    const bool met = r.stopDelimiter != 0 || r.stopEnd != 0;
    r.stopDelimiter = 0;
    r.stopEnd = 0;
    r.index = 0;
    if (met) {
        return;
    }
    const int tolerant = r.tolerant;
    r.tolerant = 1;
    while (ReadBinHexChar(app) >= 0) {
    }
    r.tolerant = tolerant;
}

// The data fork is complete: its CRC is kept aside and the stored one read, then the resource
// fork starts. Returns 0 to go on, else the chunk's result with nextState set.
int StartResourceFork(DecodeContext& app, int& nextState) {
    BinHexReaderState& r = app.decode.binhex;
    OutputTotals& totals = app.decode.totals;
    // Once only, also when reading the stored CRC is retried after an invalid character.
    if (!r.resourceStatusShown) {
        r.resourceStatusShown = true;
        r.savedDataCrc = BinHexFinishCrc(totals.runningChecksum);
        ShowStatus(app.ui, "Ignoring Resource Fork in %s ...", InputName(app).c_str());
    }
    const int stored = ReadBinHexWord(app);
    if (stored < 0) {
        nextState = BADFINISH;
        if (stored == kBinHexInvalid) {
            return -1;
        }
        ReportPrematureEnd(app, stored);
        return 0;
    }
    totals.expectedChecksum = static_cast<uint32_t>(stored);
    r.fork = 1;
    r.forkLength = r.resourceLength;
    r.forkPosition = 0;
    totals.runningChecksum = 0;
    return 0;
}

// The resource fork is complete: its stored CRC is read (never compared), the stream closed,
// and the data fork's CRC becomes the output's calculated checksum.
int FinishStream(DecodeContext& app, int& nextState) {
    BinHexReaderState& r = app.decode.binhex;
    const int stored = ReadBinHexWord(app);
    if (stored < 0) {
        nextState = BADFINISH;
        if (stored == kBinHexInvalid) {
            return -1;
        }
        ReportPrematureEnd(app, stored);
        return 0;
    }
    r.fork = 2;
    ConsumeClosingColon(app);
    app.decode.totals.runningChecksum = r.savedDataCrc;
    nextState = PREPARETRAILER;
    return 0;
}

// The data fork's bytes in blocks, for the reader standing between groups: the groups that
// stand whole in the file's buffer (line ends and blanks between their characters) are decoded
// at once, their bytes expanded as the byte-by-byte way does, and the CRC taken over the block.
// Anything else (a colon, an invalid character, the buffer's end) is left to that way, and so
// is any byte after the fork's end: the reader state is left exactly as byte reads would have
// left it, the group in hand with it.
class DataBlockReader {
public:
    DataBlockReader(DecodeContext& app, std::span<unsigned char> out) : app_(app), out_(out) {}

    int Take() {
        BinHexReaderState& r = app_.decode.binhex;
        if (r.fork != 0 || r.index != 0 || r.stopDelimiter != 0 || r.stopEnd != 0 ||
            r.forkPosition >= r.forkLength) {
            return 0;
        }
        const std::span<const unsigned char> text = app_.files.BufFileAhead(r.input);
        if (!ScanLines(text)) {
            ScanGroups(text);
        }
        if (groups_ == 0) {
            return 0;
        }
        Expand();
        if (produced_ == 0) {
            return 0;
        }
        Commit();
        app_.decode.totals.runningChecksum =
            BinHexCrcBlock(out_.first(produced_), app_.decode.totals.runningChecksum);
        return static_cast<int>(produced_);
    }

private:
    // The usual text, lines of characters and nothing else, the vector way: the lines' characters
    // laid end to end and decoded as one run of groups. False, with nothing taken, when
    // anything else stands among them (a blank, a colon, a lone CR, an invalid character):
    // ScanGroups then takes the text character by character.
    bool ScanLines(std::span<const unsigned char> text) {
        const std::size_t most = std::min(kMostGroups, out_.size() / 3 * 2 + 2) * 4;
        std::size_t at = 0;
        std::size_t laid = 0;
        uint32_t lineEnds = 0;
        std::size_t lines = 0;
        while (at < text.size() && laid < most && lines < lines_.size()) {
            const auto* lf = static_cast<const unsigned char*>(
                std::memchr(text.data() + at, '\n', text.size() - at));
            const std::size_t end =
                lf == nullptr ? text.size() : static_cast<std::size_t>(lf - text.data());
            const std::size_t crlf = lf != nullptr && end > at && text[end - 1] == '\r' ? 1 : 0;
            const std::size_t length = std::min(end - crlf - at, most - laid);
            std::memcpy(laid_.data() + laid, text.data() + at, length);
            lines_[lines++] = Line{laid, at, lineEnds};
            laid += length;
            if (lf == nullptr || length < end - crlf - at) {
                break;
            }
            lineEnds += static_cast<uint32_t>(1 + crlf);
            at = end + 1;
        }
        const std::size_t groups = laid / 4;
        if (!DecodeGroups(kBinHexDecodeTable, laid_.data(), groups, raw_.data())) {
            return false;
        }
        lineCount_ = lines;
        groups_ = groups;
        return true;
    }

    // Decodes whole groups from the text into raw_, noting where each group's last character
    // ends; at most as many as the room can want (a marker and its count give one byte).
    void ScanGroups(std::span<const unsigned char> text) {
        const std::size_t most = std::min(kMostGroups, out_.size() / 3 * 2 + 2);
        std::size_t at = 0;
        uint32_t lineEnds = 0;
        std::array<uint32_t, 4> values{};
        while (groups_ < most) {
            std::size_t p = at;
            std::size_t k = 0;
            if (p + 4 <= text.size()) {
                // Mostly four characters in a row.
                for (; k < 4; ++k) {
                    const int32_t kind = kCharacterKinds[text[p + k]];
                    if (kind < 0) {
                        break;
                    }
                    values[k] = static_cast<uint32_t>(kind);
                }
                p += k;
            }
            for (; k < 4 && p < text.size(); ++p) {
                const int32_t kind = kCharacterKinds[text[p]];
                if (kind >= 0) {
                    values[k++] = static_cast<uint32_t>(kind);
                } else if (kind == kLineEnd) {
                    ++lineEnds;
                } else if (kind != kBlank) {
                    break;
                }
            }
            if (k < 4) {
                break;
            }
            const uint32_t bits =
                (values[0] << 18) | (values[1] << 12) | (values[2] << 6) | values[3];
            unsigned char* raw = raw_.data() + 3 * groups_;
            raw[0] = static_cast<unsigned char>(bits >> 16);
            raw[1] = static_cast<unsigned char>(bits >> 8);
            raw[2] = static_cast<unsigned char>(bits);
            groupEnds_[groups_] = static_cast<uint32_t>(p);
            groupLineEnds_[groups_++] = lineEnds;
            at = p;
        }
    }

    // Expands raw bytes until the fork, the room or the raw bytes end. The byte-by-byte way
    // hands the fork out in chunks of kChunkBytes and drops a chunk that the input cuts short,
    // so a block ends on a chunk's end too, or at the fork's end. A run whose count is not yet
    // at hand is taken back whole, state and all.
    void Expand() {
        BinHexReaderState& r = app_.decode.binhex;
        const std::size_t rawCount = 3 * groups_;
        const std::size_t room = out_.size() - out_.size() % kChunkBytes;
        const uint32_t forkLength = r.forkLength;
        uint32_t forkPosition = r.forkPosition;
        BinHexRunState runs = r.runs;
        std::size_t taken = 0;
        std::size_t produced = 0;
        Checkpoint chunkEnd{0, 0, runs, forkPosition};
        // A chunk ended inside the bytes just copied one for one: note the last such end.
        const auto copied = [&](std::size_t rawStart, std::size_t outStart) {
            const std::size_t end = produced - produced % kChunkBytes;
            if (end > outStart) {
                chunkEnd = {rawStart + (end - outStart), end, BinHexRunState{out_[end - 1], 0},
                            static_cast<uint32_t>(forkPosition - (produced - end))};
            }
        };
        while (produced < room && forkPosition < forkLength) {
            if (runs.runCount == 0 && taken < rawCount && raw_[taken] != kBinHexRunMarker) {
                // Bytes up to the next marker stand for themselves.
                const std::size_t most =
                    std::min({rawCount - taken, room - produced,
                              static_cast<std::size_t>(forkLength - forkPosition)});
                const void* marker = std::memchr(raw_.data() + taken, kBinHexRunMarker, most);
                const std::size_t n =
                    marker == nullptr
                        ? most
                        : static_cast<std::size_t>(static_cast<const unsigned char*>(marker) -
                                                   (raw_.data() + taken));
                std::memcpy(out_.data() + produced, raw_.data() + taken, n);
                const std::size_t rawStart = taken;
                const std::size_t outStart = produced;
                taken += n;
                produced += n;
                forkPosition += static_cast<uint32_t>(n);
                runs.lastByte = raw_[taken - 1];
                copied(rawStart, outStart);
                continue;
            }
            const std::size_t before = taken;
            const BinHexRunState kept = runs;
            const int byte = NextExpandedByte(runs, [&] {
                return taken < rawCount ? static_cast<int>(raw_[taken++]) : kBinHexEnd;
            });
            if (byte < 0) {
                taken = before;
                runs = kept;
                break;
            }
            out_[produced++] = static_cast<unsigned char>(byte);
            ++forkPosition;
            if (produced % kChunkBytes == 0) {
                chunkEnd = {taken, produced, runs, forkPosition};
            }
        }
        if (forkPosition < forkLength && produced != chunkEnd.produced) {
            taken = chunkEnd.rawTaken;
            produced = chunkEnd.produced;
            runs = chunkEnd.runs;
            forkPosition = chunkEnd.forkPosition;
        }
        r.runs = runs;
        r.forkPosition = forkPosition;
        rawTaken_ = taken;
        produced_ = produced;
    }

    // Takes the characters of the raw bytes used from the file: whole groups, and the group
    // holding the first byte not used, which stays in hand as the byte-by-byte way keeps it.
    // Where group g's fourth character stands in the text, and the line ends before it.
    struct GroupEnd {
        std::size_t characters = 0;
        uint32_t lineEnds = 0;
    };
    GroupEnd EndOf(std::size_t g) const {
        if (lineCount_ == 0) {
            return {groupEnds_[g], groupLineEnds_[g]};
        }
        const std::size_t character = 4 * g + 4;
        std::size_t line = 0;
        while (line + 1 < lineCount_ && lines_[line + 1].laid < character) {
            ++line;
        }
        return {lines_[line].text + (character - lines_[line].laid), lines_[line].lineEndsBefore};
    }

    void Commit() {
        BinHexReaderState& r = app_.decode.binhex;
        const std::size_t group = rawTaken_ / 3;
        const std::size_t index = rawTaken_ % 3;
        GroupEnd end = group == 0 ? GroupEnd{} : EndOf(group - 1);
        if (index != 0) {
            end = EndOf(group);
            std::copy_n(raw_.begin() + static_cast<std::ptrdiff_t>(3 * group), 3, r.triple.begin());
            r.index = static_cast<int>(index);
        }
        const std::size_t characters = end.characters;
        r.lineEndsSeen += end.lineEnds;
        r.charactersRead += static_cast<uint32_t>(characters);
        r.bytesHandedOut += static_cast<uint32_t>(rawTaken_);
        app_.decode.bytesRead += static_cast<uint32_t>(characters);
        if (characters > 0) {
            app_.files.BufFileSkip(r.input, characters);
        }
    }

    static constexpr std::size_t kMostGroups = 8192;
    // Where a line's characters were laid and where they stand in the text.
    struct Line {
        std::size_t laid;
        std::size_t text;
        uint32_t lineEndsBefore;
    };
    // Where the reader stood after the last whole chunk.
    struct Checkpoint {
        std::size_t rawTaken = 0;
        std::size_t produced = 0;
        BinHexRunState runs;
        uint32_t forkPosition = 0;
    };

    DecodeContext& app_;
    std::span<unsigned char> out_;
    // Written before they are read; left unfilled, as a call may take only a few groups.
    // NOLINTBEGIN(cppcoreguidelines-pro-type-member-init)
    std::array<unsigned char, 3 * kMostGroups> raw_;
    std::array<uint32_t, kMostGroups> groupEnds_;
    std::array<uint32_t, kMostGroups> groupLineEnds_;  // line ends met up to each group's end
    std::array<unsigned char, 4 * kMostGroups> laid_;  // the lines' characters end to end
    std::array<Line, 1024> lines_;
    // NOLINTEND(cppcoreguidelines-pro-type-member-init)
    std::size_t lineCount_ = 0;  // lines laid end to end by ScanLines; 0: ScanGroups's way
    std::size_t groups_ = 0;
    std::size_t rawTaken_ = 0;
    std::size_t produced_ = 0;
};

}  // namespace

int ReadBinHexChar(DecodeContext& app) {
    BinHexReaderState& r = app.decode.binhex;
    for (;;) {
        const int got = app.files.BufFileReadByte(r.input);
        if (got == kBufFileEnd) {
            return kBinHexEnd;
        }
        if (got < 0) {
            return kBinHexInvalid;
        }
        ++r.charactersRead;
        ++app.decode.bytesRead;
        const int kind = kCharacterKinds[static_cast<unsigned char>(got)];
        if (kind >= 0) {
            return kind;
        }
        switch (kind) {
            case kBlank:
                continue;
            case kLineEnd:
                ++r.lineEndsSeen;
                continue;
            case kColon:
                return kBinHexColon;
            default:
                break;
        }
        if (r.tolerant == 0) {
            app.decode.DecodeErrorText = Format("Invalid encoded data byte (0x%x).", got);
        }
        return kBinHexInvalid;
    }
}

int ReadBinHexRaw(DecodeContext& app) {
    BinHexReaderState& r = app.decode.binhex;
    ++r.bytesHandedOut;
    if (r.index == 0) {
        const int result = ReadGroup(app);
        if (result < 0) {
            return result;
        }
    }
    // A group cut short after k characters holds k - 1 whole bytes.
    const int stop = r.stopDelimiter != 0 ? r.stopDelimiter : r.stopEnd;
    if (stop != 0 && r.index == stop - 1) {
        const int result = r.stopDelimiter != 0 ? kBinHexColon : kBinHexEnd;
        r.stopDelimiter = 0;
        r.stopEnd = 0;
        r.index = 0;
        return result;
    }
    const int byte = r.triple[static_cast<std::size_t>(r.index)];
    r.index = r.index == 2 ? 0 : r.index + 1;
    return byte;
}

int ReadBinHexByte(DecodeContext& app) {
    const int byte =
        NextExpandedByte(app.decode.binhex.runs, [&app] { return ReadBinHexRaw(app); });
    if (byte >= 0) {
        app.decode.totals.runningChecksum =
            BinHexCrcUpdate(static_cast<unsigned char>(byte), app.decode.totals.runningChecksum);
    }
    return byte;
}

bool ReadBinHexHeader(DecodeContext& app, BufFile input, int interactive, PartRecord& part) {
    BinHexReaderState& r = app.decode.binhex;
    OutputTotals& totals = app.decode.totals;
    r = BinHexReaderState{};
    r.input = input;
    totals.runningChecksum = 0;
    app.decode.DecodeErrorText.clear();

    if (ReadBinHexChar(app) != kBinHexColon) {
        app.decode.DecodeErrorText =
            Format("Missing Starting Colon ':' in %s.", InputName(app).c_str());
        return false;
    }
    HeaderFields header;
    const int result = ReadHeaderFields(app, header);
    if (result < 0) {
        return RefuseHeader(app, result);
    }
    const uint32_t calculated = BinHexFinishCrc(totals.runningChecksum);
    const int stored = ReadBinHexWord(app);
    if (stored < 0) {
        return RefuseHeader(app, stored);
    }
    part.calculatedChecksum = calculated;
    part.expectedChecksum = static_cast<uint32_t>(stored);

    totals.expectedSize = static_cast<int32_t>(header.dataLength);
    totals.expectedChecksum = 0;
    totals.runningChecksum = 0;
    r.fork = 0;
    r.forkLength = header.dataLength;
    r.forkPosition = 0;
    r.resourceLength = header.resourceLength;

    if (interactive != 0) {
        ShowHeader(app, header, calculated, static_cast<uint32_t>(stored));
    }
    app.decode.HeaderName = header.name;
    app.decode.NameFound = true;
    return true;
}

int DecodeBinHexChunk(DecodeContext& app, BufFile input, unsigned char* buffer,
                      [[maybe_unused]] int interactive, int tolerant,
                      [[maybe_unused]] PartRecord& part, int& nextState, std::size_t room) {
    BinHexReaderState& r = app.decode.binhex;
    r.input = input;
    r.tolerant = tolerant;
    nextState = DECODELINES;
    if (const int block = DataBlockReader(app, std::span(buffer, room)).Take(); block > 0) {
        return block;
    }
    int count = 0;
    // At most 90 bytes of either fork per call, so that the driver writes, shows progress and
    // lets the window breathe often, whichever fork is being read.
    for (std::size_t taken = 0; taken < kChunkBytes;) {
        if (r.fork >= 2) {
            nextState = PREPARETRAILER;
            return 0;
        }
        if (r.forkPosition < r.forkLength) {
            const int b = ReadBinHexByte(app);
            if (b == kBinHexInvalid) {
                nextState = BADFINISH;
                return -1;
            }
            if (b < 0) {
                ReportPrematureEnd(app, b);
                nextState = BADFINISH;
                return 0;
            }
            ++r.forkPosition;
            ++taken;
            if (r.fork == 0) {
                buffer[count++] = static_cast<unsigned char>(b);
            }
            continue;
        }
        // A fork is complete. The data bytes of this call go out first, so that nothing
        // already decoded is lost when the CRC after them turns out to be damaged.
        if (count > 0) {
            return count;
        }
        // The resource fork starts with the next call.
        return r.fork == 0 ? StartResourceFork(app, nextState) : FinishStream(app, nextState);
    }
    return count;
}

}  // namespace mandrel
