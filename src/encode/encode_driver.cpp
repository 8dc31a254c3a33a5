#include "encode/encode_driver.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <filesystem>
#include <limits>
#include <new>
#include <vector>

#include "core/format.h"
#include "core/job_status.h"
#include "core/output_files.h"
#include "core/text_util.h"
#include "encode/binhex_encoder.h"
#include "encode/encode_job.h"
#include "encode/line_encoder.h"
#include "encode/part_headers.h"
#include "encode/part_trailers.h"

namespace mandrel {

namespace {

// How much of a file part is held before it is written: large enough that the file layer
// writes big pieces, small enough that memory does not grow with the input.
constexpr std::size_t kHoldingForFiles = std::size_t{256} * 1024;

}  // namespace

bool OutputBlock::Allocate(std::size_t capacity, std::size_t holding) {
    Free();
    holding = std::min(holding, capacity);
    try {
        // Not zero-filled: pages are touched only as the text is written.
        data_ = std::make_unique_for_overwrite<char[]>(holding + 1);
    } catch (const std::bad_alloc&) {
        return false;
    }
    capacity_ = capacity;
    holding_ = holding;
    data_[0] = '\0';
    return true;
}

void OutputBlock::Free() {
    data_.reset();
    capacity_ = 0;
    holding_ = 0;
    Rewind();
}

void OutputBlock::Append(std::string_view text) {
    std::copy(text.begin(), text.end(), data_.get() + held_);
    held_ += text.size();
    data_[held_] = '\0';
}

namespace {

// Hands the held text of a file part to its file. A failure is remembered for the driver.
void HandOnToFile(EncodeContext& app) {
    EncodeJob& job = app.encode;
    OutputBlock& block = job.OutputBuffer;
    const std::string_view text = block.Held();
    if (job.outputFile == kNoBufFile || text.empty()) {
        return;
    }
    if (!job.writeFailed &&
        app.files.BufFileWrite(job.outputFile, text) != static_cast<long>(text.size())) {
        job.writeFailed = true;
        job.writeError = app.files.LastError();
    }
    job.outputOffset += text.size();
    block.HandedOn();
}

// Drops the text the part has collected, also what already went to its file.
void DropPartText(EncodeContext& app) {
    EncodeJob& job = app.encode;
    if (job.outputFile != kNoBufFile && job.outputOffset > job.partStart) {
        app.files.BufFileFlush(job.outputFile);
        std::error_code ec;
        std::filesystem::resize_file(app.files.Name(job.outputFile), job.partStart, ec);
        app.files.BufFileSeek(job.outputFile, static_cast<int64_t>(job.partStart),
                              BufSeekOrigin::Begin);
        job.outputOffset = job.partStart;
    }
    job.OutputBuffer.Rewind();
}

}  // namespace

void AppendOutput(EncodeContext& app, std::string_view text) {
    OutputBlock& block = app.encode.OutputBuffer;
    if (block.Used() + text.size() >= block.Capacity()) {
        ShowMessage(app.ui, kMbStop, "Corrupted Encoding!");
        DropPartText(app);
        if (text.size() >= block.Capacity()) {
            return;
        }
    }
    if (!block.HasRoom(text.size())) {
        HandOnToFile(app);
    }
    block.Append(text);
}

namespace {

// A Single File of MIME or BinHex carries the MIME part headers and, for BinHex, its colons.
struct SingleFileTexts {
    TextSize header;
    TextSize trailer;
};
constexpr SingleFileTexts kMimeTexts{{111, 5}, {0, 1}};
constexpr SingleFileTexts kBinHexTexts{{306, 10}, {26, 3}};

const SingleFileTexts* SingleFileTextsFor(const EncodeContext& app, int format) {
    if (format != kFormatSingleFile) {
        return nullptr;
    }
    switch (app.job.EncodingIndex) {
        case kEncodingMIME:
            return &kMimeTexts;
        case kEncodingBinHex:
            return &kBinHexTexts;
        default:
            return nullptr;
    }
}

}  // namespace

int HeaderSizeEstimate(const EncodeContext& app, int format) {
    const SingleFileTexts* texts = SingleFileTextsFor(app, format);
    return (texts != nullptr ? texts->header : FileFormat(format).header).For(app.config.eollength);
}

int TrailerSizeEstimate(const EncodeContext& app, int format) {
    const SingleFileTexts* texts = SingleFileTextsFor(app, format);
    return (texts != nullptr ? texts->trailer : FileFormat(format).trailerSize)
        .For(app.config.eollength);
}

std::string BuildOutputName(const EncodeContext& app, std::string_view inputPath, int encoding,
                            int part, int total) {
    if (app.job.EncodeToClipboard) {
        return "the Clipboard";
    }
    if (app.job.EncodeToMail) {
        const auto count = static_cast<unsigned>(app.job.Recipients.size());
        return Format("%u E-mail Recipient%s", count, count == 1 ? "" : "s");
    }
    const std::string_view extension = ExtensionForEncoding(encoding);
    const std::string& given = app.job.CommandLineOutputName;
    // Beside the input, or in the directory that stands in for the input's own.
    const std::string beside = app.job.inputDirectory.empty()
                                   ? std::string(inputPath)
                                   : JoinPath(app.job.inputDirectory, FileNamePart(inputPath));
    if (part == 1 && total == 1) {
        if (!given.empty()) {
            return given;
        }
        std::string name = beside;
        const std::size_t nameStart = name.rfind('/') + 1;  // npos + 1 == 0
        const std::size_t dot = name.rfind('.');
        if (dot != std::string::npos && dot >= nameStart) {
            name.resize(dot);
        }
        return name + std::string(extension);
    }
    std::string name = given.empty() ? beside : given;
    const std::size_t nameStart = name.rfind('/') + 1;
    constexpr std::size_t kMostScanned = 250;
    std::size_t cut = nameStart;
    while (cut < name.size() && cut - nameStart < kMostScanned && name[cut] != '.') {
        ++cut;
    }
    name.resize(cut);
    return name + Format("%d%.*s", part, static_cast<int>(extension.size()), extension.data());
}

namespace {

// One call of EncodeFile: the input, the sizes and the clean-up every failure shares.
class EncodeRun {
public:
    EncodeRun(EncodeContext& app, BufFile input, int interactive)
        : app_(app),
          job_(app.encode),
          input_(input),
          interactive_(interactive),
          reportMail_(interactive != 0) {}

    int Run();

private:
    int Size();
    int StartPart();
    int DeliverPart();
    int WriteToFile(bool close);
    int ReportWriteFailure(int error);
    int FinalDelivery();
    int EncodeBlock(std::span<const unsigned char> block);
    long EncodeBlockRun();
    void ShowProgress(std::size_t count);
    void EncodeZeroLengthLine();
    // Abandons the job: closes everything, deletes the parts written, frees the block.
    int Abandon(int result);
    std::string InputName() const { return std::string(FileNamePart(app_.job.JobInputPath)); }

    EncodeContext& app_;
    EncodeJob& job_;
    BufFile input_;
    int interactive_;
    // A failed send is said when the job may ask, although mail asks nothing else: the job's
    // end reports nothing for a failure the mail layer could have said.
    bool reportMail_;
    std::vector<unsigned char> staged_;
    std::vector<unsigned char> run_;  // the input of EncodeBlockRun
    uint64_t nextProgressAt_ = 0;
};

int EncodeRun::Abandon(int result) {
    if (input_ != kNoBufFile) {
        app_.files.BufFileClose(input_);
        input_ = kNoBufFile;
    }
    if (job_.outputFile != kNoBufFile) {
        app_.files.BufFileClose(job_.outputFile);
    }
    job_.outputFile = kNoBufFile;
    job_.outputOpen = false;
    DeletePartFiles(app_.parts);
    job_.OutputBuffer.Free();
    return result;
}

int EncodeRun::Size() {
    const int format = app_.job.CurrentFileFormat;
    const uint64_t overhead = static_cast<uint64_t>(HeaderSizeEstimate(app_, format)) +
                              static_cast<uint64_t>(TrailerSizeEstimate(app_, format));
    const uint64_t size = job_.InputSize;
    uint64_t total = 1;
    uint64_t capacity = 0;
    if (format == kFormatSingleFile || app_.job.EncodingIndex == kEncodingMIME ||
        app_.job.EncodingIndex == kEncodingBinHex || app_.job.EncodeToClipboard) {
        capacity = (size + 44) / 45 * 63 + 2000;
    } else {
        // The stored size and the line count are 32-bit numbers; a size below the overhead
        // wraps round exactly as the stored arithmetic does.
        const uint32_t lines = (static_cast<uint32_t>(app_.config.encodeoutputsize) -
                                static_cast<uint32_t>(overhead) + 62U) /
                               63U;
        job_.linesPerPart = std::max<uint32_t>(lines, 1U);
        const uint64_t perPart = static_cast<uint64_t>(job_.linesPerPart) * 45U;
        total = size == 0 ? 1 : (size - 1 + perPart) / perPart;
        capacity = static_cast<uint64_t>(job_.linesPerPart) * 63U + 1000U;
    }
    job_.totalParts = static_cast<int32_t>(std::min<uint64_t>(total, INT32_MAX));
    app_.parts.JobPartCount = job_.totalParts;
    if (total > static_cast<uint64_t>(MAX_PARTS)) {
        ShowMessage(app_.ui, kMbStop,
                    "Too Many Output Parts for %s with\r\nSize %ld and Output Limit of "
                    "%ld\r\nMaximum Parts %d; Required Parts %d.",
                    app_.job.JobInputPath.c_str(), static_cast<long>(job_.InputSize),
                    static_cast<long>(app_.config.encodeoutputsize), MAX_PARTS, job_.totalParts);
        return Abandon(kResultReported);
    }
    const bool toFile = !app_.job.EncodeToClipboard && !app_.job.EncodeToMail;
    if (!job_.OutputBuffer.Allocate(capacity, toFile ? kHoldingForFiles : capacity)) {
        ShowSystemError(app_.ui, ENOMEM, kMbStop,
                        "No Memory for Encoding (needed %lul bytes) because",
                        static_cast<unsigned long>(capacity));
        return Abandon(kResultReported);
    }
    return kResultDone;
}

int EncodeRun::StartPart() {
    job_.OutputBuffer.Rewind();
    ++job_.part;
    const int p = job_.part;
    JobState& job = app_.job;
    if (!job_.outputOpen) {
        job.JobOutputPath =
            BuildOutputName(app_, job.JobInputPath, job.EncodingIndex, p, job_.totalParts);
        if (!job.EncodeToClipboard && !job.EncodeToMail) {
            const int ask = interactive_ == 1 && job_.totalParts == 1 ? 1 : 0;
            const BufFile output = MakeOutFile(app_, job.JobOutputPath, kDirectionEncode, ask);
            if (output < 0) {
                return Abandon(output);
            }
            job_.outputFile = output;
            job_.outputOffset = 0;
        }
        job_.outputOpen = true;
    }
    job_.partStart = job_.outputOffset;
    PartRecord& row = app_.parts.rows[static_cast<std::size_t>(p - 1)];
    row.partNumber = p;
    if (job_.outputFile != kNoBufFile) {
        row.fileName = std::string(FileNamePart(job.JobOutputPath));
        row.directory = std::string(DirectoryPart(job.JobOutputPath));
    }
    app_.parts.current = p - 1;
    ShowJobStatus(app_, kDirectionEncode, job.EncodingIndex, job.JobInputPath,
                  std::string_view(job.JobOutputPath), p, job_.totalParts);
    WritePartHeader(app_, job.JobInputPath, p, job_.totalParts);
    job_.blocksInPart = 0;
    return kResultDone;
}

int EncodeRun::WriteToFile(bool close) {
    HandOnToFile(app_);
    bool ok = !job_.writeFailed;
    if (close) {
        ok = app_.files.BufFileClose(job_.outputFile) && ok;
        job_.outputFile = kNoBufFile;
        job_.outputOpen = false;
    } else {
        ok = app_.files.BufFileFlush(job_.outputFile) >= 0 && ok;
    }
    if (!ok) {
        return ReportWriteFailure(job_.writeFailed ? job_.writeError : app_.files.LastError());
    }
    return kResultDone;
}

int EncodeRun::ReportWriteFailure(int error) {
    // A part that did not reach the disk whole is worth nothing: say so and remove it.
    ShowSystemError(app_.ui, error, kMbStop, "Can't Write to %s because\r\n",
                    app_.job.JobOutputPath.c_str());
    return Abandon(kResultReported);
}

MailMessage MakeMailMessage(const EncodeContext& app) {
    MailMessage message;
    message.subject = app.encode.MailSubject;
    message.noteText = std::string(app.encode.OutputBuffer.Held());
    message.messageType = app.identity.internalName;
    message.recipients = app.job.Recipients;
    return message;
}

int EncodeRun::DeliverPart() {
    if (app_.job.EncodeToMail) {
        if (const int sent = app_.delivery.SendMail(MakeMailMessage(app_), reportMail_);
            sent != kMailSuccess) {
            // Cancel while the server was slow is an abort like any other.
            return Abandon(sent == kMailUserAbort ? kResultAborted : kResultReported);
        }
    } else if (job_.outputFile != kNoBufFile) {
        if (const int result = WriteToFile(true); result != kResultDone) {
            return result;
        }
    }
    job_.outputOpen = false;
    job_.outputFile = kNoBufFile;
    job_.blocksInPart = 0;
    job_.OutputBuffer.Rewind();
    return kResultDone;
}

void EncodeRun::EncodeZeroLengthLine() {
    std::array<char, kMaxLineLength + 2> line{};
    const int n = EncodeLine(app_, {}, line.data());
    if (n > 0) {
        AppendOutput(app_, std::string_view(line.data(), static_cast<std::size_t>(n)));
    }
}

void EncodeRun::ShowProgress(std::size_t count) {
    job_.bytesRead += count;
    if (job_.InputSize == 0) {
        return;
    }
    // The percentage changes seldom: divide only when the count reaches the next step.
    if (job_.bytesRead < nextProgressAt_) {
        return;
    }
    const auto percent = static_cast<int>(job_.bytesRead * 100U / job_.InputSize);
    if (percent != job_.lastPercent) {
        job_.lastPercent = percent;
        SetProgress(app_.ui, percent);
    }
    const uint64_t nextPercent = static_cast<uint64_t>(percent) + 1U;
    nextProgressAt_ = (nextPercent * job_.InputSize + 99U) / 100U;
}

int EncodeRun::EncodeBlock(std::span<const unsigned char> block) {
    if (app_.job.EncodingIndex == kEncodingBinHex) {
        staged_.clear();
        BinHexPutBlock(app_, block, staged_);
        BinHex6Bit(app_, staged_);
        return kResultDone;
    }
    // A line is encoded where it goes; only one that may reach a hand-on to the file or the end
    // of the part's room takes the way through AppendOutput and its checks.
    OutputBlock& out = job_.OutputBuffer;
    constexpr std::size_t kLongestLine = kMaxLineLength + 1;  // its line end included
    if (out.HasRoom(kLongestLine) && out.Used() + kLongestLine < out.Capacity()) {
        if (const int n = EncodeLine(app_, block, out.Tail()); n > 0) {
            out.Grew(static_cast<std::size_t>(n));
        }
        return kResultDone;
    }
    std::array<char, kMaxLineLength + 2> line{};
    const int n = EncodeLine(app_, block, line.data());
    if (n > 0) {
        AppendOutput(app_, std::string_view(line.data(), static_cast<std::size_t>(n)));
    }
    return kResultDone;
}

// Many blocks of a line encoding in one read and one call, as far as the part and the output's
// room allow: the same reads, lines and counts as that many turns of the block loop. The bytes
// read, -1 after a read failure, or kNoBlockRun when the block loop is to take the next block.
constexpr long kNoBlockRun = -2;
long EncodeRun::EncodeBlockRun() {
    constexpr std::size_t kMostBlocks = 2048;  // 90 KiB: reads the file layer passes straight on
    const int encoding = app_.job.EncodingIndex;
    const bool binhex = encoding == kEncodingBinHex;
    if (encoding != kEncodingUU && encoding != kEncodingXX && encoding != kEncodingMIME &&
        !binhex) {
        return kNoBlockRun;
    }
    std::size_t blocks = kMostBlocks;
    if (job_.totalParts > 1) {
        blocks = std::min<std::size_t>(blocks, job_.linesPerPart + 1U - job_.blocksInPart);
    }
    // BinHex text comes in its own pieces and AppendOutput sees to its room.
    const std::size_t room = binhex ? 0 : LinesRoom(blocks, EndOfLineString(app_.config).size());
    OutputBlock& out = job_.OutputBuffer;
    if (!out.HasRoom(room)) {
        HandOnToFile(app_);
    }
    if (blocks < 2 || !out.HasRoom(room) || out.Used() + room >= out.Capacity()) {
        return kNoBlockRun;
    }
    run_.resize(blocks * kBlockSize);
    const long got = app_.files.BufFileRead(input_, reinterpret_cast<char*>(run_.data()),
                                            static_cast<long>(run_.size()));
    if (got <= 0) {
        return got;
    }
    const auto bytes = static_cast<std::size_t>(got);
    if (binhex) {
        EncodeBlock(std::span(run_).first(bytes));
    } else {
        out.Grew(EncodeLines(app_, std::span(run_).first(bytes), out.Tail()));
    }
    ShowProgress(bytes);
    job_.blocksInPart += static_cast<uint32_t>((bytes + kBlockSize - 1) / kBlockSize);
    return got;
}

int EncodeRun::FinalDelivery() {
    JobState& job = app_.job;
    if (job.EncodeToClipboard) {
        job.EncodeToClipboard = false;
        job_.outputOpen = false;
        const ClipboardResult put =
            app_.delivery.PutClipboardText(std::string(job_.OutputBuffer.Held()));
        job_.OutputBuffer.Free();
        if (!put.ok) {
            if (put.reason.empty()) {
                ShowSystemError(app_.ui, put.errorCode, kMbStop, "Can't %s Clipboard because\r\n",
                                put.failedAction);
            } else {
                ShowMessage(app_.ui, kMbStop, "Can't %s Clipboard because\r\n\r\n%s",
                            put.failedAction, put.reason.c_str());
            }
            return kResultReported;
        }
        return kResultDone;
    }
    if (job.EncodeToMail) {
        job_.outputOpen = false;
        const int sent = app_.delivery.SendMail(MakeMailMessage(app_), reportMail_);
        job_.OutputBuffer.Free();
        if (sent == kMailUserAbort) {
            return kResultAborted;
        }
        return sent != kMailSuccess ? kResultReported : kResultDone;
    }
    int result = kResultDone;
    if (job_.totalParts > 1 || job.place.IsLast()) {
        result = WriteToFile(true);
    } else {
        // Enclosures that fit in one part share one file: leave it open for the next one.
        const std::string_view eol = EndOfLineString(app_.config);
        for (int i = 0; i < 3; ++i) {
            AppendOutput(app_, eol);
        }
        result = WriteToFile(false);
    }
    job_.OutputBuffer.Free();
    return result;
}

int EncodeRun::Run() {
    JobState& job = app_.job;
    ClearPartTable(app_.parts);
    if (const std::string_view alphabet = AlphabetFor(EncodingForMethod(app_.config.encodemethod));
        !alphabet.empty()) {
        job_.CurrentAlphabet = alphabet;
    }
    job_.lastPercent = -1;
    job_.bytesRead = 0;
    job_.part = 0;
    job_.writeFailed = false;
    job_.linesPerPart = 0;
    const int64_t size = app_.files.BufFileSize(input_);
    if (job.EncodeToMail) {
        interactive_ = 0;
    }
    job.CurrentFileFormat = app_.config.encodetype;
    if (job.CurrentFileFormat == 0) {
        return Abandon(kResultFailed);
    }
    if (const int index = EncodingForMethod(app_.config.encodemethod); index != 0) {
        job.EncodingIndex = index;
    }
    if (size < 0 || size > static_cast<int64_t>(std::numeric_limits<uint32_t>::max())) {
        if (size < 0) {
            ShowSystemError(app_.ui, app_.files.LastError(), kMbStop, "Read Failure on %s because",
                            job.JobInputPath.c_str());
        } else {
            ShowMessage(app_.ui, kMbStop,
                        "%s is too large to encode: %lld bytes.\r\nThe encoded formats hold "
                        "sizes of at most %lu bytes.",
                        job.JobInputPath.c_str(), static_cast<long long>(size),
                        static_cast<unsigned long>(std::numeric_limits<uint32_t>::max()));
        }
        return Abandon(kResultReported);
    }
    job_.InputSize = static_cast<uint32_t>(size);
    if (job.EncodeToClipboard && job.place.Remaining() >= 2) {
        ShowMessage(app_.ui, kMbExclamation,
                    "Encoding to Clipboard is not Supported for Multiple Enclosures.\r\nPlease "
                    "Choose One File at a Time.");
        return Abandon(kResultReported);
    }
    if (const int sized = Size(); sized != kResultDone) {
        return sized;
    }
    job_.InputSum = 0;
    job_.binhexHeaderPending = true;
    if (!job.CommandLineOutputName.empty()) {
        interactive_ = 0;
    }
    const int total = job_.totalParts;
    const std::string name = InputName();
    bool partOpen = false;
    std::array<unsigned char, kBlockSize> block{};
    long lastRead = 1;
    while (lastRead > 0) {
        if (app_.cancel.Requested()) {
            return Abandon(kResultAborted);
        }
        if (!partOpen) {
            if (const int started = StartPart(); started != kResultDone) {
                return started;
            }
            partOpen = true;
        }
        if (total > 1 && job_.blocksInPart > job_.linesPerPart) {
            WritePartTrailer(app_, job_.part, total, name);
            partOpen = false;
            if (const int delivered = DeliverPart(); delivered != kResultDone) {
                return delivered;
            }
            continue;
        }
        if (job.EncodingIndex == kEncodingBinHex && job_.binhexHeaderPending) {
            job_.binhexHeaderPending = false;
            BinHexWriteHeader(app_, MakeBinHexHeader(job.JobInputPath, job_.InputSize));
        }
        const long run = EncodeBlockRun();
        if (run > 0) {
            lastRead = run;
            if (job_.writeFailed) {
                return ReportWriteFailure(job_.writeError);
            }
            PumpMessages(app_.ui, 4);
            continue;
        }
        lastRead =
            run != kNoBlockRun
                ? run
                : app_.files.BufFileRead(input_, reinterpret_cast<char*>(block.data()), kBlockSize);
        if (lastRead < 0) {
            ShowSystemError(app_.ui, app_.files.LastError(), kMbStop, "Read Failure on %s because",
                            job.JobInputPath.c_str());
            return Abandon(kResultReported);
        }
        ShowProgress(static_cast<std::size_t>(lastRead));
        if (lastRead > 0) {
            EncodeBlock(
                std::span<const unsigned char>(block.data(), static_cast<std::size_t>(lastRead)));
        }
        if (job_.writeFailed) {
            return ReportWriteFailure(job_.writeError);
        }
        ++job_.blocksInPart;
        PumpMessages(app_.ui, 4);
    }
    const bool lineEncoding = job.EncodingIndex == kEncodingUU || job.EncodingIndex == kEncodingXX;
    if (job_.part == total && lineEncoding) {
        EncodeZeroLengthLine();
    }
    WritePartTrailer(app_, job_.part, total, name);
    SetProgress(app_.ui, 100);
    if (total > job_.part) {
        // The input ran out a part early: the announced last part still comes, holding its
        // header, the zero-length line and its trailer.
        if (const int delivered = DeliverPart(); delivered != kResultDone) {
            return delivered;
        }
        if (const int started = StartPart(); started != kResultDone) {
            return started;
        }
        EncodeZeroLengthLine();
        WritePartTrailer(app_, job_.part, total, name);
    }
    app_.files.BufFileClose(input_);
    input_ = kNoBufFile;
    return FinalDelivery();
}

}  // namespace

int EncodeFile(EncodeContext& app, BufFile input, int interactive) {
    EncodeRun run(app, input, interactive);
    return run.Run();
}

}  // namespace mandrel
