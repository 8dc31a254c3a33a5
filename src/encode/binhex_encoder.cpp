#include "encode/binhex_encoder.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <string>

#include "codec/alphabets.h"
#include "codec/binhex_crc.h"
#include "codec/binhex_runs.h"
#include "codec/group_kernels.h"
#include "core/text_util.h"
#include "encode/encode_driver.h"
#include "encode/encode_job.h"

namespace mandrel {

namespace {

constexpr std::size_t kMaxNameLength = 63;
constexpr int kLastColumn = 63;

// Collects the characters of one call so that they reach the part's text in few appends.
class CharacterSink {
public:
    CharacterSink(EncodeContext& app, std::string_view eol)
        : app_(app), state_(app.encode.binhex), eol_(eol) {}
    CharacterSink(const CharacterSink&) = delete;
    CharacterSink& operator=(const CharacterSink&) = delete;
    ~CharacterSink() { Flush(); }

    void Emit(unsigned value) {
        if (used_ + 1 + eol_.size() > text_.size()) {
            Flush();
        }
        Put(value);
    }
    // The four characters of a whole group of three bytes: one test of room for all of them.
    void EmitGroup(uint32_t bits) {
        if (used_ + 4 * (1 + eol_.size()) > text_.size()) {
            Flush();
        }
        for (int shift = 18; shift >= 0; shift -= 6) {
            Put(bits >> shift);
        }
    }
    // Whole groups up to the end of the current line, in one go: returns the bytes taken (a
    // multiple of three, none when fewer than three are given or the line has no room left
    // for a whole group).
    std::size_t EmitLineGroups(std::span<const unsigned char> bytes) {
        const auto left = static_cast<std::size_t>(kLastColumn + 1 - state_.column);
        const std::size_t groups = std::min(left / 4, bytes.size() / 3);
        if (groups == 0) {
            return 0;
        }
        if (used_ + 4 * groups + eol_.size() > text_.size()) {
            Flush();
        }
        EncodeGroups(BinHexAlphabet, bytes.data(), groups, text_.data() + used_);
        used_ += 4 * groups;
        state_.column += static_cast<int>(4 * groups);
        if (state_.column > kLastColumn) {
            state_.column = 0;
            std::copy(eol_.begin(), eol_.end(), text_.begin() + static_cast<long>(used_));
            used_ += eol_.size();
        }
        return 3 * groups;
    }
    int Emitted() const { return emitted_ + static_cast<int>(used_); }

private:
    void Put(unsigned value) {
        text_[used_++] = BinHexAlphabet[value & 0x3FU];
        if (++state_.column > kLastColumn) {
            state_.column = 0;
            std::copy(eol_.begin(), eol_.end(), text_.begin() + static_cast<long>(used_));
            used_ += eol_.size();
        }
    }
    void Flush() {
        if (used_ > 0) {
            AppendOutput(app_, std::string_view(text_.data(), used_));
            emitted_ += static_cast<int>(used_);
            used_ = 0;
        }
    }

    EncodeContext& app_;
    BinHexEncoderState& state_;
    std::string_view eol_;
    std::array<char, 16384> text_{};
    std::size_t used_ = 0;
    int emitted_ = 0;
};

// One byte through the three-byte groups. The bits of a group cut off at the end of the bytes
// wait in the state, so the characters do not depend on how the stream is cut up.
void EncodeByte(BinHexEncoderState& state, CharacterSink& sink, unsigned b) {
    switch (state.phase) {
        case 0:
            sink.Emit(b >> 2);
            state.pendingBits = static_cast<int>((b & 0x03U) << 4);
            state.pending = 1;
            break;
        case 1:
            sink.Emit(static_cast<unsigned>(state.pendingBits) | (b >> 4));
            state.pendingBits = static_cast<int>((b & 0x0FU) << 2);
            state.pending = 2;
            break;
        default:
            sink.Emit(static_cast<unsigned>(state.pendingBits) | (b >> 6));
            sink.Emit(b & 0x3FU);
            state.pendingBits = 0;
            state.pending = 0;
            break;
    }
    state.phase = (state.phase + 1) % 3;
}

// The bytes one at a time until a group starts, then whole groups, then the rest.
void EncodeBytes(BinHexEncoderState& state, CharacterSink& sink,
                 std::span<const unsigned char> bytes) {
    std::size_t i = 0;
    for (; i < bytes.size() && state.phase != 0; ++i) {
        EncodeByte(state, sink, bytes[i]);
    }
    while (i + 3 <= bytes.size()) {
        // The groups that end before the line does in one call, a group the line end cuts
        // through character by character.
        if (const std::size_t taken = sink.EmitLineGroups(bytes.subspan(i)); taken > 0) {
            i += taken;
            continue;
        }
        sink.EmitGroup((static_cast<uint32_t>(bytes[i]) << 16) |
                       (static_cast<uint32_t>(bytes[i + 1]) << 8) | bytes[i + 2]);
        i += 3;
    }
    for (; i < bytes.size(); ++i) {
        EncodeByte(state, sink, bytes[i]);
    }
}

}  // namespace

BinHexHeader MakeBinHexHeader(std::string_view inputPath, uint32_t inputSize) {
    BinHexHeader header;
    const std::string_view base = FileNamePart(inputPath);
    header.name = std::string(base.substr(0, kMaxNameLength));
    const std::size_t dot = base.rfind('.');
    if (dot != std::string_view::npos && dot + 1 < base.size()) {
        const std::string_view extension = base.substr(dot + 1);
        std::fill(std::begin(header.type), std::end(header.type), 0);
        const std::size_t count = std::min(extension.size(), std::size(header.type));
        std::copy_n(extension.begin(), count, std::begin(header.type));
    }
    header.dataLength = inputSize;
    return header;
}

void BinHexPutByte(EncodeContext& app, unsigned char byte, std::vector<unsigned char>& staged) {
    BinHexEscapeByte(byte, staged);
    app.encode.binhex.BinHexCrc = BinHexCrcUpdate(byte, app.encode.binhex.BinHexCrc);
}

void BinHexPutWord(EncodeContext& app, uint16_t value, std::vector<unsigned char>& staged) {
    BinHexPutByte(app, static_cast<unsigned char>(value >> 8), staged);
    BinHexPutByte(app, static_cast<unsigned char>(value), staged);
}

void BinHexPutLong(EncodeContext& app, uint32_t value, std::vector<unsigned char>& staged) {
    BinHexPutWord(app, static_cast<uint16_t>(value >> 16), staged);
    BinHexPutWord(app, static_cast<uint16_t>(value), staged);
}

std::size_t BinHexPutBlock(EncodeContext& app, std::span<const unsigned char> bytes,
                           std::vector<unsigned char>& staged) {
    const std::size_t before = staged.size();
    app.encode.binhex.BinHexCrc = BinHexCrcBlock(bytes, app.encode.binhex.BinHexCrc);
    // Runs of bytes other than the marker go as they are; each marker is escaped.
    while (!bytes.empty()) {
        const auto marker = std::find(bytes.begin(), bytes.end(), kBinHexRunMarker);
        staged.insert(staged.end(), bytes.begin(), marker);
        if (marker == bytes.end()) {
            break;
        }
        BinHexEscapeByte(kBinHexRunMarker, staged);
        bytes = bytes.subspan(static_cast<std::size_t>(marker - bytes.begin()) + 1);
    }
    return staged.size() - before;
}

int BinHex6Bit(EncodeContext& app, std::span<const unsigned char> bytes) {
    CharacterSink sink(app, EndOfLineString(app.config));
    EncodeBytes(app.encode.binhex, sink, bytes);
    return sink.Emitted();
}

int BinHex6BitFlush(EncodeContext& app) {
    BinHexEncoderState& state = app.encode.binhex;
    if (state.pending == 0) {
        return 0;
    }
    // Zero bits complete the group, so the stream always ends in a full group of four.
    static constexpr unsigned char kZeros[2] = {0, 0};
    state.phase = state.pending;
    CharacterSink sink(app, EndOfLineString(app.config));
    EncodeBytes(state, sink, std::span(kZeros, static_cast<std::size_t>(3 - state.pending)));
    return sink.Emitted();
}

void BinHexWriteHeader(EncodeContext& app, const BinHexHeader& header) {
    BinHexEncoderState& state = app.encode.binhex;
    state.BinHexCrc = 0;
    std::vector<unsigned char> staged;
    staged.reserve(170);
    const std::string_view name = std::string_view(header.name).substr(0, kMaxNameLength);
    BinHexPutByte(app, static_cast<unsigned char>(name.size()), staged);
    for (const char c : name) {
        BinHexPutByte(app, static_cast<unsigned char>(c), staged);
    }
    BinHexPutByte(app, 0, staged);  // version
    for (const unsigned char c : header.type) {
        BinHexPutByte(app, c, staged);
    }
    for (const unsigned char c : header.creator) {
        BinHexPutByte(app, c, staged);
    }
    BinHexPutWord(app, header.flags, staged);
    BinHexPutLong(app, header.dataLength, staged);
    BinHexPutLong(app, header.resourceLength, staged);
    BinHexPutWord(app, static_cast<uint16_t>(BinHexFinishCrc(state.BinHexCrc)), staged);

    // The part header's colon already opens the first line.
    state.column = 1;
    state.phase = 0;
    state.pending = 0;
    state.pendingBits = 0;
    BinHex6Bit(app, staged);
    state.BinHexCrc = 0;
}

void BinHexFinish(EncodeContext& app) {
    BinHexEncoderState& state = app.encode.binhex;
    std::vector<unsigned char> staged;
    BinHexPutWord(app, static_cast<uint16_t>(BinHexFinishCrc(state.BinHexCrc)), staged);
    state.BinHexCrc = 0;
    BinHexPutWord(app, static_cast<uint16_t>(BinHexFinishCrc(0)),
                  staged);  // the empty resource fork
    BinHex6Bit(app, staged);
    BinHex6BitFlush(app);
    std::string closing = ":";
    closing += EndOfLineString(app.config);
    AppendOutput(app, closing);
}

}  // namespace mandrel
