#include "core/buf_file.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <filesystem>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace mandrel {

namespace {

constexpr int kOpWrite = 4;
constexpr int kStatusGood = 0;
constexpr int kStatusEof = 1;
constexpr int kStatusError = 2;

// Writing puts a CR before an LF that follows no CR.
bool ExpandsLineEnds(int flags) {
    return (flags & (BF_TEXT | BF_CRLF_WRITE)) == (BF_TEXT | BF_CRLF_WRITE);
}

bool TextCrEndsLine(int flags) {
    return (flags & (BF_TEXT | BF_CR_ENDS_LINE)) == (BF_TEXT | BF_CR_ENDS_LINE);
}

// Length of the text before its first CR or LF (all of it when there is none), sixteen or eight
// bytes at a time. Reads up to fifteen bytes past `size`; the slot buffers keep that much slack.
std::size_t RunBeforeLineEnd(const char* text, std::size_t size) {
#if defined(__SSE2__)
    const __m128i lf = _mm_set1_epi8('\n');
    const __m128i cr = _mm_set1_epi8('\r');
    for (std::size_t i = 0; i < size; i += 16) {
        const __m128i chunk = _mm_loadu_si128(reinterpret_cast<const __m128i*>(text + i));
        const int hits =
            _mm_movemask_epi8(_mm_or_si128(_mm_cmpeq_epi8(chunk, lf), _mm_cmpeq_epi8(chunk, cr)));
        if (hits != 0) {
            return std::min(
                size, i + static_cast<std::size_t>(std::countr_zero(static_cast<unsigned>(hits))));
        }
    }
    return size;
#else
    if constexpr (std::endian::native == std::endian::little) {
        constexpr uint64_t kOnes = 0x0101010101010101ULL;
        constexpr uint64_t kHighs = 0x8080808080808080ULL;
        for (std::size_t i = 0; i < size; i += 8) {
            uint64_t word = 0;
            std::memcpy(&word, text + i, sizeof word);
            const uint64_t lf = word ^ (kOnes * '\n');
            const uint64_t cr = word ^ (kOnes * '\r');
            // The lowest flagged byte is exact: borrows only reach bytes above a true match.
            const uint64_t hits = (((lf - kOnes) & ~lf) | ((cr - kOnes) & ~cr)) & kHighs;
            if (hits != 0) {
                return std::min(size, i + static_cast<std::size_t>(std::countr_zero(hits) / 8));
            }
        }
        return size;
    } else {
        std::size_t i = 0;
        while (i < size && text[i] != '\n' && text[i] != '\r') {
            ++i;
        }
        return i;
    }
#endif
}

constexpr std::size_t kBufferSlack = 16;
// Files being written get a larger buffer than the table's size: the system takes a file's
// growth far more cheaply in large writes (a 64 MiB output: 17 ms of system time in 256 KiB
// writes against 30 ms in 32 KiB ones), and a buffer written behind wakes its thread once a
// buffer, which costs the decoding thread more than the write itself saves below 1 MiB (a UU
// decode of 64 MiB: 31 ms in 256 KiB buffers, 23 ms in 1 MiB ones, 24 ms in 2 MiB ones). The
// buffer is not cleared, so a small file touches only the pages it fills.
constexpr std::size_t kWriteBuffer = std::size_t{1024} * 1024;
// A buffer this full is written by the slot's own thread while the next one fills. Only a file
// that has already filled a few grows long enough to repay the thread and the second buffer:
// small files (the parts of a set) are written as they come.
constexpr std::size_t kWriteBehindAtLeast = kWriteBuffer / 2;
constexpr int kWriteBehindAfter = 4;

}  // namespace

void BufFileTable::FileCloser::operator()(std::FILE* file) const {
    if (file != nullptr) {
        std::fclose(file);  // NOLINT(cppcoreguidelines-owning-memory)
    }
}

BufFileTable::~BufFileTable() {
    BufFileShutdown();
}

int BufFileTable::BufFileInit(int slotCount, unsigned bufferSize) {
    if (initialised_) {
        return 0;
    }
    if (slotCount < 0 || slotCount > 63) {
        slotCount = 40;
    }
    if (bufferSize < 512 || bufferSize > 32768) {
        bufferSize = 8192;
    }
    slots_ = std::vector<Slot>(static_cast<std::size_t>(slotCount));
    bufferSize_ = bufferSize;
    initialised_ = true;
    return 0;
}

int BufFileTable::BufFileShutdown() {
    slots_.clear();
    initialised_ = false;
    return 0;
}

BufFileTable::Slot* BufFileTable::Valid(BufFile slot) {
    if (slot < 0 || slot >= SlotCount()) {
        return nullptr;
    }
    Slot& s = slots_[static_cast<std::size_t>(slot)];
    return s.file ? &s : nullptr;
}

const BufFileTable::Slot* BufFileTable::Valid(BufFile slot) const {
    if (slot < 0 || slot >= SlotCount()) {
        return nullptr;
    }
    const Slot& s = slots_[static_cast<std::size_t>(slot)];
    return s.file ? &s : nullptr;
}

BufFile BufFileTable::BufFileOpen(std::string_view name, BufOpenMode mode, int textFlags) {
    auto freeSlot =
        std::find_if(slots_.begin(), slots_.end(), [](const Slot& s) { return !s.file; });
    if (freeSlot == slots_.end()) {
        lastError_ = EMFILE;
        return kNoBufFile;
    }
    const std::string path(name);
    std::error_code ec;
    if (std::filesystem::is_directory(path, ec)) {
        lastError_ = EISDIR;
        return kNoBufFile;
    }
    errno = 0;
    std::unique_ptr<std::FILE, FileCloser> file(
        std::fopen(path.c_str(), mode == BufOpenMode::Read     ? "rb"
                                 : mode == BufOpenMode::Update ? "r+b"
                                                               : "wb"));
    if (!file) {
        lastError_ = errno != 0 ? errno : EIO;
        return kNoBufFile;
    }
    // The slot's own buffer is the only buffering.
    std::setvbuf(file.get(), nullptr, _IONBF, 0);
    *freeSlot = Slot{};
    freeSlot->file = std::move(file);
    freeSlot->flags = textFlags & 15;
    freeSlot->mode = mode == BufOpenMode::Read ? kReadMode : 2;
    freeSlot->name = path;
    return static_cast<BufFile>(freeSlot - slots_.begin());
}

bool BufFileTable::BufFileClose(BufFile slot) {
    Slot* s = Valid(slot);
    if (s == nullptr) {
        return false;
    }
    // Data lost in the final flush (a full disk) makes the close fail, so that callers relying
    // on the close result alone still learn of it.
    const bool flushed = s->mode != 2 || (BufFileFlush(slot) >= 0 && SettleWriteBehind(*s));
    s->behind.reset();
    std::FILE* file = s->file.release();
    errno = 0;
    const bool closed = std::fclose(file) == 0;  // NOLINT(cppcoreguidelines-owning-memory)
    if (!closed) {
        lastError_ = errno != 0 ? errno : EIO;
    }
    *s = Slot{};
    return closed && flushed;
}

bool BufFileTable::EnsureBuffer(Slot& slot) {
    if (!slot.buffer) {
        // A read buffer is zeroed, so that the line-end search never looks at undefined bytes
        // past the data.
        if (slot.mode == kReadMode) {
            slot.capacity = bufferSize_;
            slot.buffer = std::make_unique<char[]>(slot.capacity + kBufferSlack);
        } else {
            slot.capacity = std::max<std::size_t>(bufferSize_, kWriteBuffer);
            slot.buffer = std::make_unique_for_overwrite<char[]>(slot.capacity + kBufferSlack);
        }
        slot.position = 0;
        slot.count = 0;
    }
    return true;
}

std::size_t BufFileTable::Fetch(Slot& slot, char* dst, std::size_t size) {
    errno = 0;
    const std::size_t got = std::fread(dst, 1, size, slot.file.get());
    slot.readEnd += static_cast<int64_t>(got);
    if (got > 0) {
        slot.status = kStatusGood;
    } else if (std::ferror(slot.file.get()) != 0) {
        lastError_ = errno != 0 ? errno : EIO;
        std::clearerr(slot.file.get());
        slot.status = kStatusError;
    } else {
        slot.status = kStatusEof;
    }
    return got;
}

int BufFileTable::Refill(Slot& slot) {
    slot.lastOperation = kLastOperationRead;
    EnsureBuffer(slot);
    slot.position = 0;
    const std::size_t got = Fetch(slot, slot.buffer.get(), bufferSize_);
    if (got == 0) {
        slot.count = 0;
        return -1;
    }
    slot.count = got - 1;
    slot.position = 1;
    return static_cast<unsigned char>(slot.buffer[0]);
}

int BufFileTable::TakeWholeLine(Slot& slot, char* dst, int limit, bool crEnds, bool crlfRead) {
    const char* run = slot.buffer.get() + slot.position;
    const std::size_t most = std::min<std::size_t>(slot.count, static_cast<std::size_t>(limit));
    const std::size_t n = RunBeforeLineEnd(run, most);
    if (n == most) {
        return 0;
    }
    std::size_t consumed = n + 1;
    std::size_t out = n;
    std::memcpy(dst, run, n);
    if (run[n] == '\n') {
        const bool afterCr = n == 0 && slot.previousRead == '\r';
        if (afterCr && crEnds) {
            return 0;  // the LF of a line its CR already ended: the careful way skips it
        }
        if (crlfRead && !afterCr) {
            dst[out++] = '\r';
        }
        dst[out++] = '\n';
    } else if (crEnds) {
        dst[out++] = '\r';
    } else if (n + 1 < most && run[n + 1] == '\n') {
        dst[out++] = '\r';
        dst[out++] = '\n';
        ++consumed;
    } else {
        return 0;  // a CR inside the line, or one whose partner is not yet in the buffer
    }
    dst[out] = '\0';
    slot.position += consumed;
    slot.count -= consumed;
    slot.previousRead = static_cast<unsigned char>(run[consumed - 1]);
    return static_cast<int>(consumed);
}

int BufFileTable::BufFileReadLine(BufFile slot, char* dst, int size) {
    Slot* s = Valid(slot);
    if (s == nullptr || size < 1) {
        return -1;
    }
    s->lastOperation = kLastOperationRead;
    const bool crEnds = TextCrEndsLine(s->flags);
    const bool crlfRead = (s->flags & BF_CRLF_READ) != 0;
    const int limit = size - 1;
    int taken = 0;  // characters consumed, skipped LFs included
    if (crEnds && limit > 0 && s->count > 0 && s->previousRead == '\r' &&
        s->buffer[s->position] == '\n') {
        // The LF of a CR LF pair whose CR ended the previous line.
        ++s->position;
        --s->count;
        s->previousRead = '\n';
        taken = 1;
    }
    if (s->count > 0) {
        const int whole = TakeWholeLine(*s, dst, limit - taken, crEnds, crlfRead);
        if (whole > 0) {
            return whole;
        }
    }
    int stored = 0;  // characters delivered, added CRs not included
    std::size_t out = 0;
    while (taken < limit) {
        if (s->count > 0) {
            // Copy the run of ordinary characters up to the next CR or LF in one go.
            const char* run = s->buffer.get() + s->position;
            const std::size_t most = std::min<std::size_t>(s->count, limit - taken);
            const std::size_t n = RunBeforeLineEnd(run, most);
            if (n > 0) {
                std::memcpy(dst + out, run, n);
                out += n;
                s->position += n;
                s->count -= n;
                taken += static_cast<int>(n);
                stored += static_cast<int>(n);
                s->previousRead = static_cast<unsigned char>(run[n - 1]);
                continue;
            }
        }
        int c = 0;
        if (s->count > 0) {
            c = static_cast<unsigned char>(s->buffer[s->position++]);
            --s->count;
        } else {
            c = Refill(*s);
            if (c < 0) {
                if (s->status == kStatusError) {
                    dst[out] = '\0';
                    return -1;
                }
                break;
            }
            if (c != '\r' && c != '\n') {
                dst[out++] = static_cast<char>(c);
                ++taken;
                ++stored;
                s->previousRead = c;
                continue;
            }
        }
        if (c == '\n') {
            if (s->previousRead == '\r' && crEnds) {
                // This LF belongs to the line its CR already ended.
                ++taken;
                s->previousRead = c;
                continue;
            }
            if (s->previousRead != '\r' && crlfRead) {
                dst[out++] = '\r';
            }
        }
        dst[out++] = static_cast<char>(c);
        ++taken;
        ++stored;
        s->previousRead = c;
        if (c == '\n' || (c == '\r' && crEnds)) {
            break;
        }
    }
    dst[out] = '\0';
    return stored;
}

long BufFileTable::BufFileRead(BufFile slot, char* dst, long size) {
    Slot* s = Valid(slot);
    if (s == nullptr) {
        return -1;
    }
    s->lastOperation = kLastOperationRead;
    const bool text = (s->flags & BF_TEXT) != 0;
    const bool addCr = text && (s->flags & BF_CRLF_READ) != 0;
    long taken = 0;
    std::size_t out = 0;
    while (taken < size) {
        if (s->count == 0 && !addCr && static_cast<std::size_t>(size - taken) >= bufferSize_) {
            // Nothing waits in the buffer and the rest would fill it: read it in place, in one
            // call, without copying it through the buffer.
            EnsureBuffer(*s);
            const std::size_t got = Fetch(*s, dst + out, static_cast<std::size_t>(size - taken));
            if (got == 0) {
                if (s->status == kStatusError) {
                    return -1;
                }
                break;
            }
            out += got;
            taken += static_cast<long>(got);
            s->previousRead = static_cast<unsigned char>(dst[out - 1]);
            continue;
        }
        if (s->count > 0 && !addCr) {
            const std::size_t n = std::min<std::size_t>(s->count, size - taken);
            std::memcpy(dst + out, s->buffer.get() + s->position, n);
            out += n;
            s->position += n;
            s->count -= n;
            taken += static_cast<long>(n);
            s->previousRead = static_cast<unsigned char>(dst[out - 1]);
            continue;
        }
        int c = 0;
        if (s->count > 0) {
            c = static_cast<unsigned char>(s->buffer[s->position++]);
            --s->count;
        } else {
            c = Refill(*s);
            if (c < 0) {
                if (s->status == kStatusError) {
                    return -1;
                }
                break;
            }
        }
        if (addCr && c == '\n' && s->previousRead != '\r') {
            dst[out++] = '\r';
        }
        dst[out++] = static_cast<char>(c);
        ++taken;
        s->previousRead = c;
    }
    if (text) {
        dst[out] = '\0';
    }
    return taken;
}

int BufFileTable::ReadByteSlowly(BufFile slot) {
    std::array<char, 2> byte{};  // a text-mode read adds a zero
    const long got = BufFileRead(slot, byte.data(), 1);
    if (got < 0) {
        return kBufFileFailed;
    }
    return got == 0 ? kBufFileEnd : static_cast<unsigned char>(byte[0]);
}

long BufFileTable::WriteBytes(Slot& slot, std::string_view data) {
    if (!slot.buffer && BufFileFlush(static_cast<BufFile>(&slot - slots_.data())) < 0) {
        return -1;
    }
    const bool expand = ExpandsLineEnds(slot.flags);
    const std::size_t full = slot.capacity - 1;  // one byte stays free for an added CR
    if (!expand && !data.empty() && data.size() <= full - std::min(full, slot.count)) {
        // The common small write that fits: straight into the buffer.
        std::memcpy(slot.buffer.get() + slot.count, data.data(), data.size());
        slot.count += data.size();
        slot.previousWritten = static_cast<unsigned char>(data.back());
        slot.lastOperation = kOpWrite;
        return static_cast<long>(data.size());
    }
    const auto self = static_cast<BufFile>(&slot - slots_.data());
    long written = 0;
    std::size_t i = 0;
    while (i < data.size()) {
        if (slot.count >= full) {
            if (BufFileFlush(self) < 0) {
                break;
            }
        }
        if (!expand && slot.count == 0 && data.size() - i >= 4 * full) {
            // Nothing waits in the buffer and the rest would fill it several times: hand it to
            // the system as it stands, without copying it through the buffer first.
            const long put = WriteNow(slot, data.data() + i, data.size() - i);
            if (put < 0) {
                break;
            }
            written += put;
            slot.previousWritten = static_cast<unsigned char>(data.back());
            i = data.size();
            break;
        }
        // Copy the longest run that fits and needs no added CR in one go.
        std::size_t n = std::min(full - slot.count, data.size() - i);
        if (expand) {
            const void* lf = std::memchr(data.data() + i, '\n', n);
            if (lf != nullptr) {
                n = static_cast<std::size_t>(static_cast<const char*>(lf) - (data.data() + i));
            }
        }
        if (n > 0) {
            std::memcpy(slot.buffer.get() + slot.count, data.data() + i, n);
            slot.count += n;
            i += n;
            written += static_cast<long>(n);
            slot.previousWritten = static_cast<unsigned char>(data[i - 1]);
            continue;
        }
        // An LF to expand; the byte kept free leaves room for its CR.
        if (slot.previousWritten != '\r') {
            slot.buffer[slot.count++] = '\r';
        }
        slot.buffer[slot.count++] = '\n';
        slot.previousWritten = '\n';
        ++written;
        ++i;
    }
    slot.lastOperation = kOpWrite;
    return written;
}

std::span<unsigned char> BufFileTable::BufFileWriteRoom(BufFile slot, std::size_t least) {
    Slot* s = Valid(slot);
    if (s == nullptr || s->mode != 2 || ExpandsLineEnds(s->flags)) {
        return {};
    }
    EnsureBuffer(*s);
    // WriteBytes keeps one byte free for an added CR; so does this, to share its limits.
    const std::size_t full = s->capacity - 1;
    if (full - std::min(full, s->count) < least && BufFileFlush(slot) < 0) {
        return {};
    }
    return {reinterpret_cast<unsigned char*>(s->buffer.get()) + s->count, full - s->count};
}

void BufFileTable::BufFileWritten(BufFile slot, std::size_t n) {
    Slot* s = Valid(slot);
    if (s == nullptr || n == 0) {
        return;
    }
    s->count += n;
    s->previousWritten = static_cast<unsigned char>(s->buffer[s->count - 1]);
    s->lastOperation = kOpWrite;
}

long BufFileTable::BufFileWriteString(BufFile slot, std::string_view text) {
    const std::size_t end = text.find('\0');
    return BufFileWrite(slot, end == std::string_view::npos ? text : text.substr(0, end));
}

long BufFileTable::BufFileWrite(BufFile slot, std::string_view data) {
    Slot* s = Valid(slot);
    if (s == nullptr) {
        return -1;
    }
    return WriteBytes(*s, data);
}

bool BufFileTable::SettleWriteBehind(Slot& slot) {
    const int error = slot.behind ? slot.behind->Wait() : 0;
    if (error != 0) {
        lastError_ = error;
        slot.status = kStatusError;
        slot.lost = true;
    }
    return error == 0;
}

long BufFileTable::WriteNow(Slot& slot, const char* data, std::size_t size) {
    if (!SettleWriteBehind(slot)) {
        return -1;
    }
    errno = 0;
    const std::size_t put = std::fwrite(data, 1, size, slot.file.get());
    if (put != size) {
        lastError_ = errno != 0 ? errno : EIO;
        std::clearerr(slot.file.get());
        slot.status = kStatusError;
        slot.lost = true;
        return -1;
    }
    slot.writeEnd += static_cast<int64_t>(put);
    return static_cast<long>(put);
}

// The full buffer goes to the thread and the spare one takes its place. A failure of this
// write shows at the next flush or at the close, which the data's writers check alike.
long BufFileTable::HandOver(Slot& slot) {
    if (!slot.behind) {
        slot.behind = std::make_unique<WriteBehind>(slot.file.get());
    }
    if (!SettleWriteBehind(slot)) {
        return -1;
    }
    if (!slot.spare) {
        slot.spare = std::make_unique_for_overwrite<char[]>(slot.capacity + kBufferSlack);
    }
    std::swap(slot.buffer, slot.spare);
    slot.behind->Start({slot.spare.get(), slot.count});
    slot.writeEnd += static_cast<int64_t>(slot.count);
    return static_cast<long>(slot.count);
}

long BufFileTable::BufFileFlush(BufFile slot) {
    Slot* s = Valid(slot);
    if (s == nullptr) {
        return -1;
    }
    if (s->lost) {
        s->status = kStatusError;
        return -1;
    }
    EnsureBuffer(*s);
    s->status = kStatusGood;
    s->position = 0;
    long result = 0;
    if (s->count > 0) {
        const bool behind =
            s->count >= kWriteBehindAtLeast && ++s->largeFlushes > kWriteBehindAfter;
        result = behind ? HandOver(*s) : WriteNow(*s, s->buffer.get(), s->count);
    }
    s->count = 0;
    s->lastOperation = kOpWrite;
    return result;
}

void BufFileTable::BufFileSeek(BufFile slot, int64_t offset, BufSeekOrigin origin) {
    Slot* s = Valid(slot);
    if (s == nullptr) {
        return;
    }
    if (s->mode == 2 && s->lastOperation == kOpWrite) {
        BufFileFlush(slot);
    }
    SettleWriteBehind(*s);
    int whence = SEEK_SET;
    if (origin == BufSeekOrigin::Current) {
        whence = SEEK_CUR;
        if (s->mode == kReadMode) {
            offset -= static_cast<int64_t>(s->count);
        }
    } else if (origin == BufSeekOrigin::End) {
        whence = SEEK_END;
    }
    std::fseek(s->file.get(), static_cast<long>(offset), whence);
    const long now = std::ftell(s->file.get());
    s->readEnd = now < 0 ? 0 : now;
    s->writeEnd = s->readEnd;
    s->count = 0;
    s->position = 0;
    s->previousRead = -1;
    s->previousWritten = -1;
}

BufReadMark BufFileTable::BufFileMark(BufFile slot) const {
    const Slot* s = Valid(slot);
    if (s == nullptr || s->mode != kReadMode) {
        return BufReadMark{-1, -1};
    }
    return BufReadMark{s->readEnd - static_cast<int64_t>(s->count), s->previousRead};
}

void BufFileTable::BufFileRestore(BufFile slot, const BufReadMark& mark) {
    BufFileSeek(slot, mark.offset, BufSeekOrigin::Begin);
    if (Slot* s = Valid(slot); s != nullptr) {
        s->previousRead = mark.previousRead;
    }
}

int64_t BufFileTable::BufFileWritePosition(BufFile slot) const {
    const Slot* s = Valid(slot);
    if (s == nullptr || s->mode != 2) {
        return -1;
    }
    return s->writeEnd + static_cast<int64_t>(s->count);
}

int64_t BufFileTable::BufFileSize(BufFile slot) const {
    const Slot* s = Valid(slot);
    if (s == nullptr) {
        return -1;
    }
    std::error_code ec;
    const auto size = std::filesystem::file_size(s->name, ec);
    return ec ? -1 : static_cast<int64_t>(size);
}

int BufFileTable::Status(BufFile slot) const {
    const Slot* s = Valid(slot);
    return s == nullptr ? 0 : s->status;
}

int BufFileTable::Flags(BufFile slot) const {
    const Slot* s = Valid(slot);
    return s == nullptr ? 0 : s->flags;
}

const std::string& BufFileTable::Name(BufFile slot) const {
    static const std::string kNone;
    const Slot* s = Valid(slot);
    return s == nullptr ? kNone : s->name;
}

}  // namespace mandrel
