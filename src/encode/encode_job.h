// The state of the encode job, shared by the line encoders, the BinHex encoder, the driver and
// the part headers and trailers.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "codec/alphabets.h"
#include "core/buf_file.h"
#include "core/job_context.h"

namespace mandrel {

// The text of one part. Its capacity is sized in advance for the whole part; a part that goes
// to a file is handed to the file in pieces (`Held` is what has not gone yet), so that memory
// stays small whatever the part's size, while the clipboard and mail get the whole text.
class OutputBlock {
public:
    // holding = how much text may be held before it must be handed on (capacity when the whole
    // part must stay in memory). False when the memory cannot be had.
    bool Allocate(std::size_t capacity, std::size_t holding);
    void Free();
    bool Allocated() const { return data_ != nullptr; }
    std::size_t Capacity() const { return capacity_; }
    // Characters of the part so far, handed on or held.
    std::size_t Used() const { return handedOn_ + held_; }
    bool HasRoom(std::size_t n) const { return held_ + n <= holding_; }
    // Starts the part's text afresh.
    void Rewind() {
        held_ = 0;
        handedOn_ = 0;
    }
    // The held text was handed on.
    void HandedOn() {
        handedOn_ += held_;
        held_ = 0;
    }
    // Room is the caller's business (AppendOutput checks it).
    void Append(std::string_view text);
    // Text written in place: Tail() takes up to the room HasRoom granted and the terminating
    // zero after it; Grew(n) takes in the n characters written there.
    char* Tail() { return data_.get() + held_; }
    void Grew(std::size_t n) { held_ += n; }
    std::string_view Held() const { return {data_.get(), held_}; }

private:
    std::unique_ptr<char[]> data_;
    std::size_t capacity_ = 0;
    std::size_t holding_ = 0;
    std::size_t held_ = 0;
    std::size_t handedOn_ = 0;
};

struct BinHexEncoderState {
    uint32_t BinHexCrc = 0;
    int phase = 0;        // which byte of a three-byte group comes next
    int pending = 0;      // 0 none; 1 or 2: a group was cut after its first or second byte
    int pendingBits = 0;  // the high bits of the next character
    int column = 0;       // characters on the current output line
};

struct EncodeJob {
    int32_t totalParts = 0;
    int32_t part = 0;           // current part, 1-based
    uint32_t linesPerPart = 0;  // L
    uint32_t blocksInPart = 0;
    uint32_t InputSize = 0;
    uint64_t bytesRead = 0;
    int lastPercent = -1;
    // Checksum counters of the "sum -r/size" lines.
    uint32_t PartSum = 0;
    uint32_t PartSize = 0;
    uint32_t InputSum = 0;
    OutputBlock OutputBuffer;
    // An output file that stays open between calls for enclosures sharing one file.
    bool outputOpen = false;
    BufFile outputFile = kNoBufFile;
    // Bytes handed to the output file since it was made, and where the current part began in
    // it: dropping a part's text cuts the file back there.
    uint64_t outputOffset = 0;
    uint64_t partStart = 0;
    // A write to the output file failed (its system error code); the driver reports it.
    bool writeFailed = false;
    int writeError = 0;
    bool binhexHeaderPending = true;
    std::string MailSubject;
    std::string MimeBoundary;
    std::string_view CurrentAlphabet = UUAlphabet;
    BinHexEncoderState binhex;
};

// What the encoder works with: the shared job context and its own state. The context is a
// virtual base so that one program can hold the encoder's and the decoder's state over the
// same context.
struct EncodeContext : virtual JobContext {
    EncodeContext(UserPort& user, DeliveryPort& deliveryPort) : JobContext(user, deliveryPort) {}
    EncodeJob encode;
};

}  // namespace mandrel
