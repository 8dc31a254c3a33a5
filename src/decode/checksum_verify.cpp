#include "decode/checksum_verify.h"

#include <algorithm>
#include <memory>

#include "codec/alphabets.h"
#include "codec/sum_r.h"
#include "codec/yenc.h"
#include "core/format.h"
#include "core/text_util.h"
#include "decode/decode_job.h"

namespace mandrel {

namespace {

// Read in blocks through the file layer.
constexpr long kRereadBlock = 64L * 1024;

// "sum -r" of the output file as it now lies on disk, in its final byte order (a yEnc file's
// CRC-32). False when the file cannot be opened; the figures are then left alone.
bool RecomputeOutputChecksum(DecodeContext& app, const std::string& name) {
    const std::string& path = app.job.JobOutputPath;
    const BufFile file = app.files.BufFileOpen(path, BufOpenMode::Read, 0);
    if (file < 0) {
        return false;
    }
    ShowStatus(app.ui, "Testing Checksum for %s ...", name.c_str());
    OutputTotals& totals = app.decode.totals;
    uint32_t sum = 0;
    uint32_t count = 0;
    const bool crc = app.job.EncodingIndex == kEncodingYEnc;
    const auto block = std::make_unique_for_overwrite<char[]>(kRereadBlock);
    for (;;) {
        const long got = app.files.BufFileRead(file, block.get(), kRereadBlock);
        if (got <= 0) {
            break;
        }
        const std::span<const unsigned char> bytes(
            reinterpret_cast<const unsigned char*>(block.get()), static_cast<std::size_t>(got));
        sum = crc ? Crc32(bytes, sum) : SumRBlock(bytes, sum);
        count += static_cast<uint32_t>(got);
    }
    app.files.BufFileClose(file);
    totals.runningChecksum = sum;
    totals.runningChecksumPartial = false;
    if (count != totals.decodedSize) {
        ShowMessage(app.ui, kMbExclamation,
                    "Checksum Test of %s has Inconsistent File Size (%u vs. %u)", path.c_str(),
                    totals.decodedSize, count);
    }
    app.ui.Status("");
    return true;
}

}  // namespace

int VerifyChecksums(DecodeContext& app, std::vector<std::string>* list) {
    int count = 0;
    // yEnc carries CRC-32s, which read best in hex.
    const bool crc = app.job.EncodingIndex == kEncodingYEnc;
    const char* const fileLine = crc ? "Output File %s CRC-32:\tExpected %08x\tCalculated %08x"
                                     : "Output File %s Checksum:\tExpected %5u\tCalculated %5u";
    const char* const partLine = crc ? "Part %d CRC-32:\tExpected %08x\tCalculated %08x"
                                     : "Part %d Checksum:\tExpected %5u\tCalculated %5u";
    const std::string name(FileNamePart(app.job.JobOutputPath));
    OutputTotals& totals = app.decode.totals;
    bool& present = app.decode.checksumDataPresent;

    if (totals.expectedSize > 0 &&
        static_cast<uint32_t>(totals.expectedSize) != totals.decodedSize) {
        ++count;
        if (list != nullptr) {
            list->push_back(Format("Output File %s Size:\tExpected %ld\tCalculated %ld",
                                   name.c_str(), static_cast<long>(totals.expectedSize),
                                   static_cast<long>(totals.decodedSize)));
        }
    }

    if (totals.expectedChecksum != 0) {
        present = true;
        // The running sum follows the order the bytes were decoded in, which for parts that
        // came out of order is not the file's; MIME and lines decoded the quick way add nothing
        // to it at all. The file on disk settles it. BinHex keeps a CRC there, which has nothing to
        // recompute from.
        const bool unsettled =
            totals.runningChecksumPartial || totals.expectedChecksum != totals.runningChecksum;
        if (unsettled && list == nullptr && app.job.EncodingIndex != kEncodingBinHex) {
            RecomputeOutputChecksum(app, name);
        }
        if (totals.expectedChecksum != totals.runningChecksum) {
            ++count;
            if (list != nullptr) {
                list->push_back(Format(fileLine, name.c_str(), totals.expectedChecksum,
                                       totals.runningChecksum));
            }
        }
    }

    const int rows = std::min(app.parts.JobPartCount, static_cast<int32_t>(MAX_PARTS));
    for (int r = 0; r < rows; ++r) {
        const PartRecord& row = app.parts.rows[static_cast<std::size_t>(r)];
        if (row.expectedSize > 0) {
            present = true;
            if (static_cast<uint32_t>(row.expectedSize) != row.calculatedSize) {
                ++count;
                if (list != nullptr) {
                    list->push_back(Format("Part %d Size:\tExpected %ld\tCalculated %ld", r + 1,
                                           static_cast<long>(row.expectedSize),
                                           static_cast<long>(row.calculatedSize)));
                }
            }
        }
        if (row.expectedChecksum != 0) {
            present = true;
            if (row.expectedChecksum != row.calculatedChecksum) {
                ++count;
                if (list != nullptr) {
                    list->push_back(
                        Format(partLine, r + 1, row.expectedChecksum, row.calculatedChecksum));
                }
            }
        }
    }
    return count;
}

void ShowChecksumDetails(DecodeContext& app) {
    std::vector<std::string> lines;
    VerifyChecksums(app, &lines);
    app.ui.ChecksumDetailsDialog(
        Format("%s Checksum Error Details", app.identity.internalName.c_str()),
        app.job.JobInputPath, lines);
}

}  // namespace mandrel
