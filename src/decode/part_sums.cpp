#include "decode/part_sums.h"

#include <algorithm>
#include <cstring>

#include "codec/sum_r.h"
#include "decode/decode_job.h"
#include "decode/line_decoder.h"

namespace mandrel {

namespace {

// A hostile text can break the runs into many pieces; past this many the row is settled at
// once, which keeps the memory held per part small.
constexpr std::size_t kMostItemsPerRow = 4096;

std::vector<DeferredSumItem>& ItemsOf(DecodeContext& app, int row) {
    return app.decode.deferredSums
        .rows[static_cast<std::size_t>(std::clamp(row, 0, MAX_PARTS - 1))];
}

PartRecord& RowOf(DecodeContext& app, int row) {
    return app.parts.rows[static_cast<std::size_t>(std::clamp(row, 0, MAX_PARTS - 1))];
}

bool SameMark(const BufReadMark& a, const BufReadMark& b) {
    return a.offset == b.offset && a.previousRead == b.previousRead;
}

// Reads the run's lines again exactly as the decoder read them and adds each to the sum.
bool SumRunByLines(BufFileTable& files, BufFile file, const DeferredSumItem& item, uint32_t& sum) {
    files.BufFileRestore(file, item.start);
    LineBuffer line{};
    while (files.BufFileMark(file).offset < item.end.offset) {
        if (files.BufFileReadLine(file, line.data(), kLineBufferSize) <= 0) {
            return false;
        }
        SumLineToEnd(line.data(), sum);
    }
    return true;
}

// The same from the run's bytes in blocks: the runs hold sound lines only, so their text is
// every byte with each line end (CR, LF or CR LF) as one LF. False when a byte says otherwise
// (a zero, which a line read would cut the sum at), with the sum as it was.
bool SumRunByBlocks(BufFileTable& files, BufFile file, const DeferredSumItem& item, uint32_t& sum) {
    constexpr std::size_t kBlock = 32768;
    files.BufFileRestore(file, item.start);
    std::vector<char> block(kBlock + 1);  // a text read adds a zero
    bool afterCr = item.start.previousRead == '\r';
    uint32_t s = sum;
    for (int64_t left = item.end.offset - item.start.offset; left > 0;) {
        const long got = files.BufFileRead(file, block.data(),
                                           static_cast<long>(std::min<int64_t>(left, kBlock)));
        if (got <= 0) {
            return false;
        }
        left -= got;
        const std::span<const char> read(block.data(), static_cast<std::size_t>(got));
        if (std::memchr(read.data(), '\0', read.size()) != nullptr) {
            return false;
        }
        s = SumRText(read, s, afterCr);
    }
    sum = s;
    return true;
}

bool SumRun(BufFileTable& files, BufFile file, const DeferredSumItem& item, uint32_t& sum) {
    return SumRunByBlocks(files, file, item, sum) || SumRunByLines(files, file, item, sum);
}

// The sum the exact way gives the line, from `sum` on; its bytes are thrown away.
void SumExactLine(const DeferredSumItem& item, uint32_t& sum) {
    const std::span<const unsigned char> text(
        reinterpret_cast<const unsigned char*>(item.text.c_str()), item.text.size() + 1);
    std::array<unsigned char, kLineBufferSize + 64> scratch{};
    LineDecodeSums sums{sum, 0, 0};
    Base64State state;
    uint32_t consumed = 0;
    std::string reason;
    DecodeLineByRules(*item.exact, text, scratch, sums, state, consumed, reason);
    sum = sums.part;
}

}  // namespace

bool HasDeferredSum(const DecodeContext& app, int row) {
    return !app.decode.deferredSums
                .rows[static_cast<std::size_t>(std::clamp(row, 0, MAX_PARTS - 1))]
                .empty();
}

void DeferExactLine(DecodeContext& app, int row, const char* line, const LineDecodeRules& rules) {
    std::vector<DeferredSumItem>& items = ItemsOf(app, row);
    if (items.size() >= kMostItemsPerRow) {
        // Too many pieces: settle those before and then this line, as the exact way would have.
        SettlePartSum(app, row);
        DeferredSumItem item{{}, BufReadMark{-1, -1}, std::string(line), rules};
        SumExactLine(item, RowOf(app, row).calculatedChecksum);
        return;
    }
    items.push_back(DeferredSumItem{{}, BufReadMark{-1, -1}, std::string(line), rules});
}

void ClearDeferredPartSums(DeferredPartSums& sums) {
    for (std::vector<DeferredSumItem>& items : sums.rows) {
        items.clear();
    }
    sums.input = kNoBufFile;
    sums.inputPath.clear();
}

void DeferInputLine(DecodeContext& app, int row, BufFile input, const BufReadMark& start,
                    const BufReadMark& end) {
    DeferredPartSums& sums = app.decode.deferredSums;
    if (sums.input != input) {
        // Runs of another input cannot wait any longer.
        SettleAwaitedPartSums(app);
        ClearDeferredPartSums(sums);
        sums.input = input;
        sums.inputPath = app.files.Name(input);
        sums.inputFlags = app.files.Flags(input);
    }
    std::vector<DeferredSumItem>& items = ItemsOf(app, row);
    if (!items.empty() && !items.back().IsText() && SameMark(items.back().end, start)) {
        items.back().end = end;
        return;
    }
    if (items.size() >= kMostItemsPerRow) {
        SettlePartSum(app, row);
    }
    items.push_back(DeferredSumItem{start, end, {}, std::nullopt});
}

void AddTextToPartSum(DecodeContext& app, int row, const char* line) {
    PartRecord& part = RowOf(app, row);
    std::vector<DeferredSumItem>& items = ItemsOf(app, row);
    if (items.empty()) {
        part.calculatedSize += static_cast<uint32_t>(SumLineToEnd(line, part.calculatedChecksum));
        return;
    }
    if (items.size() >= kMostItemsPerRow) {
        SettlePartSum(app, row);
        AddTextToPartSum(app, row, line);
        return;
    }
    // The size is counted now; only the chain waits.
    uint32_t unused = 0;
    part.calculatedSize += static_cast<uint32_t>(SumLineToEnd(line, unused));
    items.push_back(DeferredSumItem{{}, BufReadMark{-1, -1}, std::string(line), std::nullopt});
}

void SettlePartSum(DecodeContext& app, int row) {
    std::vector<DeferredSumItem>& items = ItemsOf(app, row);
    if (items.empty()) {
        return;
    }
    PartRecord& part = RowOf(app, row);
    const DeferredPartSums& sums = app.decode.deferredSums;
    BufFile file = kNoBufFile;
    for (const DeferredSumItem& item : items) {
        if (item.IsText()) {
            if (item.exact) {
                SumExactLine(item, part.calculatedChecksum);
            } else {
                SumLineToEnd(item.text.c_str(), part.calculatedChecksum);
            }
            continue;
        }
        if (file == kNoBufFile) {
            file = app.files.BufFileOpen(sums.inputPath, BufOpenMode::Read, sums.inputFlags);
        }
        if (file == kNoBufFile || !SumRun(app.files, file, item, part.calculatedChecksum)) {
            break;
        }
    }
    if (file != kNoBufFile) {
        app.files.BufFileClose(file);
    }
    items.clear();
}

void SettleAwaitedPartSums(DecodeContext& app) {
    for (int row = 0; row < MAX_PARTS; ++row) {
        if (app.parts.rows[static_cast<std::size_t>(row)].expectedChecksum != 0) {
            SettlePartSum(app, row);
        }
    }
}

}  // namespace mandrel
