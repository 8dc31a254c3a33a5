// The buffered file layer: a fixed table of file slots, one buffer per open file allocated on
// first use, line reads with a choice of line-end treatments, writes with LF to CR LF expansion.
// Files are named by slot number.
#pragma once

#include <cstdint>
#include <cstdio>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "core/write_behind.h"

namespace mandrel {

using BufFile = int;  // a slot number; -1 = none
inline constexpr BufFile kNoBufFile = -1;
// What BufFileReadByte gives besides a byte.
inline constexpr int kBufFileEnd = -1;
inline constexpr int kBufFileFailed = -2;

enum BufTextFlags : int {
    BF_CRLF_READ = 1,     // reading puts a CR before an LF that follows no CR
    BF_CRLF_WRITE = 2,    // writing does the same (only with BF_TEXT)
    BF_TEXT = 4,          // a block read adds a terminating zero
    BF_CR_ENDS_LINE = 8,  // with BF_TEXT: a lone CR ends a line; the LF after it is skipped
};

enum class BufOpenMode {
    Read,          // read, share read, open existing
    CreateAlways,  // write, share read, create always
    Update,        // write, share read, open existing: nothing is cut, BufFileSeek places writes
};
enum class BufSeekOrigin { Begin, Current, End };

// Where a read stands: the file offset of the next byte and the byte read before it, which
// decides how a line end found there is read. Restoring a mark reads the same lines again.
struct BufReadMark {
    int64_t offset = 0;
    int previousRead = -1;
};

class BufFileTable {
public:
    BufFileTable() = default;
    BufFileTable(const BufFileTable&) = delete;
    BufFileTable& operator=(const BufFileTable&) = delete;
    ~BufFileTable();

    // slotCount 0..63 is used as given (else 40); bufferSize 512..32768 (else 8192): the read
    // buffer's size (a file being written takes a larger one).
    // 0 = ready (also when already made), 1 = the table could not be made.
    int BufFileInit(int slotCount, unsigned bufferSize);
    // Frees the table; files still open are closed by the system.
    int BufFileShutdown();

    // The lowest free slot with the file opened, or -1 (LastError tells why).
    BufFile BufFileOpen(std::string_view name, BufOpenMode mode, int textFlags);
    // True when the buffered data reached the file and the file was closed cleanly.
    bool BufFileClose(BufFile slot);

    // Reads one line into dst (at most size - 1 characters, then a zero; with BF_CRLF_READ one
    // added CR on top). Characters taken, 0 at end of file, -1 on a read error.
    int BufFileReadLine(BufFile slot, char* dst, int size);
    // Reads up to size bytes (a text-mode read adds a zero after them). Bytes taken, -1 on error.
    long BufFileRead(BufFile slot, char* dst, long size);
    // The next byte, as a read of one byte gives it (BF_CRLF_READ aside: no CR is added):
    // 0 to 255, kBufFileEnd at the end of the file, kBufFileFailed when the read failed. A byte
    // already in the buffer is handed out here without a call, for readers that go byte by byte.
    int BufFileReadByte(BufFile slot) {
        if (slot >= 0 && slot < SlotCount()) {
            Slot& s = slots_[static_cast<std::size_t>(slot)];
            if (s.mode == kReadMode && s.count > 0) {
                const auto byte = static_cast<unsigned char>(s.buffer[s.position++]);
                --s.count;
                s.previousRead = byte;
                s.lastOperation = kLastOperationRead;
                return byte;
            }
        }
        return ReadByteSlowly(slot);
    }
    // The bytes of a file open for reading that its buffer holds unread (none for a file read
    // with BF_CRLF_READ), for a reader that looks at several at once; BufFileSkip takes up to
    // that many, as reads of single bytes would.
    std::span<const unsigned char> BufFileAhead(BufFile slot) const {
        if (slot < 0 || slot >= SlotCount()) {
            return {};
        }
        const Slot& s = slots_[static_cast<std::size_t>(slot)];
        if (s.mode != kReadMode || (s.flags & BF_CRLF_READ) != 0) {
            return {};
        }
        return {reinterpret_cast<const unsigned char*>(s.buffer.get()) + s.position, s.count};
    }
    void BufFileSkip(BufFile slot, std::size_t n) {
        Slot& s = slots_[static_cast<std::size_t>(slot)];
        s.position += n;
        s.count -= n;
        s.previousRead = static_cast<unsigned char>(s.buffer[s.position - 1]);
        s.lastOperation = kLastOperationRead;
    }
    // The free part of the write buffer of a file open for writing without CR LF expansion,
    // flushed first when less than `least` bytes are free: for a writer that puts its bytes
    // there itself and then calls BufFileWritten. Empty for any other file or after a failed
    // flush.
    std::span<unsigned char> BufFileWriteRoom(BufFile slot, std::size_t least);
    void BufFileWritten(BufFile slot, std::size_t n);
    // Characters written (added CRs not counted); -1 when the first buffer cannot be had.
    long BufFileWriteString(BufFile slot, std::string_view text);
    long BufFileWrite(BufFile slot, std::string_view data);
    // Bytes handed to the system, 0 when the buffer was empty, -1 on error.
    long BufFileFlush(BufFile slot);
    void BufFileSeek(BufFile slot, int64_t offset, BufSeekOrigin origin);
    // The offset the next byte written to a file open for writing goes to, without waiting for
    // what is on its way to the system; -1 for any other file.
    int64_t BufFileWritePosition(BufFile slot) const;
    // The read position of a file opened for reading; an invalid slot gives offset -1.
    BufReadMark BufFileMark(BufFile slot) const;
    void BufFileRestore(BufFile slot, const BufReadMark& mark);
    // The file's size as the system reports it, -1 when it cannot be had.
    int64_t BufFileSize(BufFile slot) const;

    // The system error code of the last failed operation.
    int LastError() const { return lastError_; }
    int SlotCount() const { return static_cast<int>(slots_.size()); }
    unsigned BufferSize() const { return bufferSize_; }
    bool Initialised() const { return initialised_; }
    // 0 good, 1 end of file met, 2 error.
    int Status(BufFile slot) const;
    const std::string& Name(BufFile slot) const;
    int Flags(BufFile slot) const;

private:
    struct FileCloser {
        void operator()(std::FILE* file) const;
    };
    struct Slot {
        std::unique_ptr<std::FILE, FileCloser> file;
        std::unique_ptr<char[]> buffer;
        std::size_t capacity = 0;  // the buffer's size
        std::size_t position = 0;  // next byte to read or free byte to write
        std::size_t count = 0;     // reading: bytes unread; writing: bytes waiting
        int mode = 0;              // 1 read, 2 write
        int status = 0;
        int flags = 0;
        int lastOperation = 0;  // 8 read, 4 write
        int previousRead = -1;
        int previousWritten = -1;
        int64_t readEnd = 0;   // file offset just past the bytes fetched into the buffer
        int64_t writeEnd = 0;  // file offset just past the bytes handed to the system
        bool lost = false;     // a write failed: every later flush and the close fail too
        std::string name;
        int largeFlushes = 0;                 // flushes of a well-filled buffer
        std::unique_ptr<char[]> spare;        // the buffer being written behind
        std::unique_ptr<WriteBehind> behind;  // last: it finishes before the file closes
    };

    static constexpr int kReadMode = 1;
    static constexpr int kLastOperationRead = 8;
    int ReadByteSlowly(BufFile slot);
    Slot* Valid(BufFile slot);
    const Slot* Valid(BufFile slot) const;
    bool EnsureBuffer(Slot& slot);
    int Refill(Slot& slot);
    // Reads up to size bytes of the file into dst and sets the slot's status (and LastError).
    std::size_t Fetch(Slot& slot, char* dst, std::size_t size);
    // A line that lies whole in the buffer, taken in one go; 0 leaves it to the careful way.
    static int TakeWholeLine(Slot& slot, char* dst, int limit, bool crEnds, bool crlfRead);
    long WriteBytes(Slot& slot, std::string_view data);
    // Waits for the buffer written behind; false (with the slot's status and LastError set)
    // when that write failed.
    bool SettleWriteBehind(Slot& slot);
    long WriteNow(Slot& slot, const char* data, std::size_t size);
    long HandOver(Slot& slot);

    std::vector<Slot> slots_;
    unsigned bufferSize_ = 0;
    bool initialised_ = false;
    int lastError_ = 0;
};

}  // namespace mandrel
