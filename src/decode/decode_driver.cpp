#include "decode/decode_driver.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <limits>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "codec/alphabets.h"
#include "codec/quoted_printable.h"
#include "codec/yenc.h"
#include "core/format.h"
#include "core/job_status.h"
#include "core/output_files.h"
#include "core/text_util.h"
#include "decode/binhex_decoder.h"
#include "decode/data_line_classes.h"
#include "decode/decode_job.h"
#include "decode/decode_questions.h"
#include "decode/header_recognition.h"
#include "decode/join_parts.h"
#include "decode/line_decoder.h"
#include "decode/line_runs.h"
#include "decode/part_sums.h"
#include "decode/yenc_runs.h"

namespace mandrel {

namespace {

namespace fs = std::filesystem;

// The directory a path names its file in: "" for the current one, "/" for the root.
std::string DirectoryOf(std::string_view path) {
    const std::string_view directory = DirectoryPart(path);
    return directory.empty() && path.starts_with('/') ? "/" : std::string(directory);
}

constexpr const char* kUnknownName = "DontKnow.Yet";

constexpr int kLastFormat = kFileFormatCount - 1;  // R.E.M., where Try All Formats stops

// Room for the bytes of one line (at most three quarters of 254 characters) or of one BinHex
// chunk (90 bytes), with a margin.
constexpr std::size_t kDecodedBufferSize = 32768;

constexpr std::string_view kChecksumKey = "sum -r/size";

// What the pass was still looking for when the input ran out.
const char* MissingItem(int state) {
    switch (state) {
        case LOOKFORHEADERTYPE:
            return "Any Encoding Header Information";
        case DECODELINES:
            return "End of Encoded Data";
        case PREPARETRAILER:
            return "Trailer to Match Header";
        case FINDSEPARATOR:
            return "Separator Indicating Start of Data";
        default:
            return "Start of Encoded Data";
    }
}

// One call of DecodeInput: the per-pass values of the state machine and the files it holds.
class DecodeRun {
public:
    DecodeRun(DecodeContext& app, BufFile input, int ask) : app_(app), input_(input), ask_(ask) {}

    int Run();

private:
    // The pass frame.
    std::optional<int> StartPass();
    std::optional<int> StepLoop();
    void ReadNextLine();
    void RunHandler();
    void SetDecodeState(int state);
    void ShowProgress();

    // The state handlers.
    void LookForHeaderType();
    int AcceptHeader(int found);
    bool TakePartRow();
    void SingleFileHeader(bool beginLine);
    void RestartAsSingleFile();
    void ParseBeginLineState();
    void PrepareHeader();
    void NameOutput();
    bool OpenPartOutput(PartRecord& row);
    bool OpenSingleFileOutput(PartRecord& row);
    bool OpenTemporaryOutput(PartRecord& row);
    bool OpenAssembledOutput();
    // Notes how long the part being written came to, for the placing of the parts after it.
    void NotePartLength();
    void DecodeLines();
    void DecodeDataLine();
    int DecodeOnce(int tolerant, int& next);
    int AnswerRefusedLine(int& next);
    std::string DecodeErrorQuestion() const;
    void WriteDecoded(int count);
    void DecodeFollowingRuns();
    void ReportWriteFailure();
    void LookForPartChecksum();
    void LookForTotalChecksum();
    const char* ReadChecksumFigures(uint32_t& checksum, int32_t& size) const;
    void PrepareTrailer();
    void AskAboutMimeGroups();
    void CleanFinish();
    void NoteOutputMade();
    void BadFinish();
    void CriticalError();
    void FindSeparator();
    void FindStartOfData();

    // yEnc, which frames its parts with keyword lines of its own.
    bool YEncBegin();
    void YEncData();
    void YEncPartLine();
    void YEncEnd(bool withFigures);

    // A quoted-printable attachment, up to its MIME boundary or the end of the input.
    void QuotedPrintableLine();
    bool IsBoundaryLine() const;

    // The end of a pass: a result, or nothing when another pass is to run.
    std::optional<int> EndOfPass();
    void DiagnoseBinaryInput();
    void DiagnoseBeginAndEnd();
    int FinishCleanly();
    int ReportUnexpectedEof();
    std::optional<int> TryNextFormat();
    std::optional<int> AskHowToGoOn(const std::string& failure);

    // Files.
    bool CloseOutput();
    void CloseOutputQuietly();
    // Closes the assembly; false when data written to it was lost.
    bool CloseAssembled();
    void CloseDecodeFilesHere(bool withInput);
    void Rewind();
    int Finish(int result);

    bool AtEnd() { return !moreSteps_ || AtEndOfInput(app_, input_) != 0; }
    PartRecord& CurrentRow() {
        return app_.parts
            .rows[static_cast<std::size_t>(std::clamp(app_.parts.current, 0, MAX_PARTS - 1))];
    }
    int CurrentFormat() const { return app_.job.CurrentFileFormat; }
    int Encoding() const { return app_.job.EncodingIndex; }
    bool SingleFile() const { return CurrentFormat() == kFormatSingleFile; }
    // Wincode: blank lines and the trailer follow "end", and the checksum lines come between.
    bool TrailerFollowsEnd() const { return FileFormat(CurrentFormat()).blankLinesAfterEnd; }
    std::string InputName() const { return std::string(FileNamePart(app_.job.JobInputPath)); }
    std::string OutputPathFor(std::string name) const;
    std::string OutputDirectory() const;
    std::string FallbackName() const;
    void ShowPartStatus();

    DecodeContext& app_;
    BufFile input_;
    BufFile output_ = kNoBufFile;
    int writingPart_ = 0;  // the part of a multi-part file output_ takes, 0 for none
    // The parts' assembly stays open from one part to the next: a part that follows the one
    // before it goes on in the same buffer, and the buffers are written behind.
    BufFile assembled_ = kNoBufFile;
    int ask_;

    // Kept from pass to pass.
    int forced_ = 0;
    bool tryAll_ = false;
    std::string madeOutput_;  // the last output file this call created itself

    // Per pass.
    int state_ = LOOKFORHEADERTYPE;
    int headerPart_ = 0;
    int headerTotal_ = 0;
    int trailerPart_ = 0;
    int trailerTotal_ = 0;
    bool beginSeen_ = false;
    bool endSeen_ = false;
    bool dataSeen_ = false;
    bool formatSwitch_ = false;
    bool encodingSettled_ = false;
    bool announce_ = true;
    bool fileFinished_ = false;  // a Single File output was completed in this pass
    int lastClass_ = kLineData;
    int lineAnswer_ = kLineAnswerNone;
    bool readNext_ = true;
    bool moreSteps_ = true;
    bool restart_ = false;
    std::optional<int> exit_;  // a handler's own way out of DecodeInput

    // Progress, counted in 64 bits so that inputs beyond 4 GiB show sensible figures.
    uint64_t inputSize_ = 0;
    uint64_t totalRead_ = 0;
    uint32_t lastCounted_ = 0;
    uint64_t nextProgressAt_ = 0;

    LineBuffer line_{};
    std::array<unsigned char, kDecodedBufferSize> decoded_{};
    std::string scratchName_;  // the name of a header met while looking for a separator

    // yEnc: where the data text stands, and the encoding to go back to after a yEnc file.
    YEncTextState yencText_;
    bool yencMidLine_ = false;  // the last piece read did not end its line
    int encodingBeforeYEnc_ = kEncodingAuto;

    // Quoted-printable: the line end of the line before, written only once a line follows
    // (the one before the boundary belongs to the boundary), and the start of an escape that
    // a line longer than the line buffer cut off.
    std::string qpLineEnd_;
    std::string qpCarry_;
};

int DecodeRun::Run() {
    const Config& config = app_.config;
    forced_ = config.decodeautodetect != 0 ? 0 : config.decodetype;
    tryAll_ = false;
    app_.job.outputsMade.clear();
    app_.decode.BinaryDataSeen = 0;
    for (;;) {
        if (const std::optional<int> result = StartPass()) {
            return *result;
        }
        if (const std::optional<int> result = StepLoop()) {
            return *result;
        }
        if (restart_) {
            continue;
        }
        if (const std::optional<int> result = EndOfPass()) {
            return *result;
        }
    }
}

std::optional<int> DecodeRun::StartPass() {
    DecodeJob& decode = app_.decode;
    JobState& job = app_.job;
    formatSwitch_ = false;
    decode.DecodeErrorText.clear();
    encodingSettled_ = false;
    dataSeen_ = false;
    beginSeen_ = false;
    endSeen_ = false;
    fileFinished_ = false;
    restart_ = false;
    job.CurrentFileFormat = kFormatToBeDetermined;
    SetDecodeState(LOOKFORHEADERTYPE);
    ClearPartTable(app_.parts);
    CloseAssembled();
    decode.assembly.Discard();
    ClearDeferredPartSums(decode.deferredSums);
    decode.mimeBoundaries.clear();
    decode.partialFrom = -1;
    decode.markedLine = nullptr;  // no line of this pass has been read yet
    SelectDecodeTable(app_, job.EncodingIndex);
    decode.bytesRead = 0;

    const int64_t size = app_.files.BufFileSize(input_);
    if (size == 0) {
        ShowMessage(app_.ui, kMbStop, "No point in decoding a zero-sized file %s.",
                    job.JobInputPath.c_str());
        return Finish(kResultReported);
    }
    if (size < 0) {
        ShowSystemError(app_.ui, app_.files.LastError(), kMbStop, "Read Failure on %s because",
                        job.JobInputPath.c_str());
        return Finish(kResultReported);
    }
    inputSize_ = static_cast<uint64_t>(size);
    decode.inputSize =
        static_cast<uint32_t>(std::min<uint64_t>(inputSize_, std::numeric_limits<uint32_t>::max()));

    decode.lastPercent = -1;
    headerPart_ = 0;
    headerTotal_ = 0;
    trailerPart_ = 0;
    trailerTotal_ = 0;
    decode.NameFound = false;
    decode.totals = OutputTotals{};
    job.JobOutputPath = kUnknownName;
    decode.lineNumber = 0;
    output_ = kNoBufFile;
    moreSteps_ = true;
    announce_ = true;
    readNext_ = true;
    lastClass_ = kLineData;
    lineAnswer_ = kLineAnswerNone;
    totalRead_ = 0;
    lastCounted_ = 0;
    nextProgressAt_ = 0;
    line_[0] = '\0';
    return std::nullopt;
}

std::optional<int> DecodeRun::StepLoop() {
    while (moreSteps_) {
        if (app_.cancel.Requested()) {
            CloseDecodeFilesHere(true);
            return Finish(kResultAborted);
        }
        if (readNext_) {
            ReadNextLine();
        }
        readNext_ = true;
        RunHandler();
        if (app_.decode.partialFrom >= 0 && !exit_) {
            // Fragments of a message, met by whichever recogniser: the job puts them together
            // and decodes what they enclose; nothing of this pass is kept unfinished.
            CloseDecodeFilesHere(true);
            DeletePartFiles(app_.parts);
            exit_ = kResultPartialMessage;
        }
        if (exit_) {
            return Finish(*exit_);
        }
        if (restart_) {
            return std::nullopt;
        }
        ShowProgress();
    }
    return std::nullopt;
}

void DecodeRun::ReadNextLine() {
    DecodeJob& decode = app_.decode;
    decode.lineStart = app_.files.BufFileMark(input_);
    const int count = app_.files.BufFileReadLine(input_, line_.data(), kLineBufferSize);
    decode.lineEnd = app_.files.BufFileMark(input_);
    decode.markedLine = line_.data();
    ++decode.lineNumber;
    if (count < 0) {
        line_[0] = '\0';
        ShowMessage(app_.ui, kMbStop, "Line %ld: Read Failure of %s!", decode.lineNumber,
                    app_.job.JobInputPath.c_str());
        SetDecodeState(CRITICALERROR);
    } else if (count == 0) {
        line_[0] = '\0';
        moreSteps_ = false;
    } else {
        moreSteps_ = true;
        decode.bytesRead += static_cast<uint32_t>(count);
    }
}

void DecodeRun::RunHandler() {
    switch (state_) {
        case LOOKFORHEADERTYPE:
            LookForHeaderType();
            break;
        case PARSEBEGINLINE:
            ParseBeginLineState();
            break;
        case PREPAREHEADER:
            PrepareHeader();
            break;
        case DECODELINES:
            DecodeLines();
            break;
        case PREPARETRAILER:
            PrepareTrailer();
            break;
        case CLEANFINISH:
            CleanFinish();
            break;
        case BADFINISH:
            BadFinish();
            break;
        case FINDSEPARATOR:
            FindSeparator();
            break;
        case FINDSTARTOFDATA:
            FindStartOfData();
            break;
        case LOOKFORPARTCHECKSUM:
            LookForPartChecksum();
            break;
        case LOOKFORTOTALCHECKSUM:
            LookForTotalChecksum();
            break;
        case YENCDATA:
            YEncData();
            break;
        default:
            CriticalError();
            break;
    }
}

void DecodeRun::SetDecodeState(int state) {
    state_ = state;
    moreSteps_ = true;
}

void DecodeRun::ShowProgress() {
    // The BinHex reader counts its characters into the same 32-bit figure; the difference
    // since the last step is exact even when that figure wraps.
    const uint32_t now = app_.decode.bytesRead;
    totalRead_ += static_cast<uint32_t>(now - lastCounted_);
    lastCounted_ = now;
    // The percentage changes seldom: divide only when the count reaches the next step.
    if (totalRead_ < nextProgressAt_) {
        return;
    }
    const uint64_t percent = (totalRead_ * 100U + 100U) / inputSize_;
    if (static_cast<int>(percent) != app_.decode.lastPercent) {
        app_.decode.lastPercent = static_cast<int>(percent);
        SetProgress(app_.ui, static_cast<int>(percent));
    }
    const uint64_t wanted = (percent + 1U) * inputSize_;
    nextProgressAt_ = wanted <= 100U ? 0U : (wanted - 100U + 99U) / 100U;
}

// ---- Finding a part and setting it up ----

void DecodeRun::LookForHeaderType() {
    if (YEncLineKind(line_.data()) == YEncLine::Begin && YEncBegin()) {
        return;
    }
    // After a yEnc file, the headers of other files are looked for with the encoding the job
    // had before it; the report still names yEnc while no other file follows.
    const bool afterYEnc = Encoding() == kEncodingYEnc;
    if (afterYEnc) {
        app_.job.EncodingIndex = encodingBeforeYEnc_;
        SelectDecodeTable(app_, encodingBeforeYEnc_);
    }
    // A "begin" after a finished single file starts a file of its own: with the data to decide
    // the encoding, that file decides it afresh (the line may be replaced by the recogniser).
    const bool freshEncoding = fileFinished_ && app_.config.decodemethod == kDecodeByDataInput &&
                               IsBeginWord(line_.data());
    const int found = RecognizeHeader(app_, line_.data(), input_, headerPart_, headerTotal_,
                                      app_.decode.HeaderName);
    if (afterYEnc && found == 0) {
        app_.job.EncodingIndex = kEncodingYEnc;
        SelectDecodeTable(app_, kEncodingYEnc);
    }
    const int accepted = AcceptHeader(found);
    if (accepted < 0) {
        return;
    }
    if (accepted != 0) {
        app_.job.CurrentFileFormat = accepted;
        if (!TakePartRow()) {
            return;
        }
    }
    switch (FileFormat(accepted).dataStart) {
        case DataStart::Header:
            SingleFileHeader(freshEncoding);
            break;
        case DataStart::Subject:
            if (headerPart_ == 1 && headerTotal_ == 1 && !tryAll_) {
                RestartAsSingleFile();
                return;
            }
            [[fallthrough]];
        case DataStart::Separator:
            SetDecodeState(FINDSEPARATOR);
            announce_ = true;
            break;
        case DataStart::AfterBlanks:
        case DataStart::AfterMarks:
            SetDecodeState(FINDSTARTOFDATA);
            announce_ = true;
            break;
        case DataStart::None:
            if (announce_) {
                ShowStatus(app_.ui, "Looking for %s Header in %s ...",
                           std::string(FileFormatName(forced_)).c_str(), InputName().c_str());
                announce_ = false;
            }
            break;
    }
    PumpMessages(app_.ui, 4);
}

// The format the header is taken as (0 = none), or -1 when it ended the pass.
int DecodeRun::AcceptHeader(int found) {
    const int current = CurrentFormat();
    int accepted = 0;
    if (forced_ != 0) {
        accepted = found == forced_ ? found : 0;
    } else if (current == kFormatToBeDetermined) {
        accepted = found;
    } else if (found != 0) {
        if (found != current && !formatSwitch_) {
            app_.decode.DecodeErrorText = mandrel::Format(
                "Line %ld: Inconsistent File Formats.\r\nExpected Type %s, Got "
                "Type %s.",
                app_.decode.lineNumber, std::string(FileFormatName(current)).c_str(),
                std::string(FileFormatName(found)).c_str());
            SetDecodeState(BADFINISH);
            readNext_ = false;
            return -1;
        }
        accepted = found;
    }
    // A part without a row of the part table cannot be decoded; the recognisers refuse such
    // numbers, and a header that still carries one is not taken.
    if (accepted != 0 && (headerPart_ < 1 || headerPart_ > MAX_PARTS)) {
        accepted = 0;
    }
    return accepted;
}

// Makes the header's part the current row; false when the part was decoded already.
bool DecodeRun::TakePartRow() {
    PartTable& parts = app_.parts;
    parts.current = headerPart_ - 1;
    PartRecord& row = CurrentRow();
    if (!formatSwitch_ && dataSeen_ && row.partNumber != 0 && !SingleFile()) {
        app_.decode.DecodeErrorText =
            mandrel::Format("Line %ld: Duplicate Part %d.", app_.decode.lineNumber, headerPart_);
        SetDecodeState(BADFINISH);
        return false;
    }
    row.partNumber = headerPart_;
    return true;
}

void DecodeRun::SingleFileHeader(bool freshEncoding) {
    beginSeen_ = true;
    if (freshEncoding) {
        app_.job.EncodingIndex = kEncodingAuto;
        SelectDecodeTable(app_, kEncodingAuto);
        encodingSettled_ = false;
    }
    switch (Encoding()) {
        case kEncodingMIME:
            SetDecodeState(FINDSTARTOFDATA);
            encodingSettled_ = true;
            break;
        case kEncodingBinHex:
            encodingSettled_ = true;
            readNext_ = false;
            SetDecodeState(PREPAREHEADER);
            break;
        case kEncodingQuotedPrintable:
            // The body starts right after the blank line in hand, blank lines of its own and all.
            encodingSettled_ = true;
            readNext_ = false;
            SetDecodeState(PREPAREHEADER);
            qpLineEnd_.clear();
            qpCarry_.clear();
            break;
        default:
            SetDecodeState(PREPAREHEADER);
            break;
    }
    announce_ = true;
}

// An Alt.binaries posting of one part is a single file under a subject line: read it so.
void DecodeRun::RestartAsSingleFile() {
    forced_ = kFormatSingleFile;
    CloseDecodeFilesHere(false);
    Rewind();
    restart_ = true;
}

void DecodeRun::ParseBeginLineState() {
    readNext_ = false;
    if (headerPart_ == 1) {
        readNext_ = true;
        if (ParseBeginLine(app_, line_.data(), app_.decode.HeaderName) == 0) {
            SetDecodeState(LOOKFORHEADERTYPE);
            return;
        }
        beginSeen_ = true;
    }
    SetDecodeState(PREPAREHEADER);
}

void DecodeRun::PrepareHeader() {
    readNext_ = false;
    announce_ = true;
    PartTable& parts = app_.parts;
    if (parts.JobPartCount == 0) {
        parts.JobPartCount = headerTotal_;
    } else if (parts.JobPartCount != headerTotal_) {
        app_.decode.DecodeErrorText = mandrel::Format(
            "Line %ld: Inconsistent # of Total Parts\r\nfor Part %d: Expected %d, "
            "Got %d.",
            app_.decode.lineNumber, headerPart_, parts.JobPartCount, headerTotal_);
        SetDecodeState(BADFINISH);
        return;
    }
    PartRecord& row = CurrentRow();
    if (Encoding() == kEncodingBinHex && !ReadBinHexHeader(app_, input_, ask_, row)) {
        SetDecodeState(BADFINISH);
        return;
    }
    NameOutput();
    if (!OpenPartOutput(row)) {
        return;
    }
    SetDecodeState(DECODELINES);
    app_.decode.base64Position = 0;
    lineAnswer_ = kLineAnswerNone;
    ShowPartStatus();
    if (Encoding() == kEncodingQuotedPrintable) {
        readNext_ = true;  // past the blank line that ended the headers
    }
}

void DecodeRun::ShowPartStatus() {
    const JobState& job = app_.job;
    ShowJobStatus(app_, kDirectionDecode, job.EncodingIndex, job.JobInputPath,
                  std::string_view(job.JobOutputPath), headerPart_, headerTotal_);
}

void DecodeRun::NameOutput() {
    DecodeJob& decode = app_.decode;
    if (decode.NameFound) {
        decode.NameFound = false;
        app_.job.JobOutputPath = OutputPathFor(decode.HeaderName);
    } else if (app_.job.JobOutputPath == kUnknownName) {
        // No name yet (a later part came first): one beside the input stands in until part 1
        // names the file.
        app_.job.JobOutputPath = OutputPathFor({});
    }
}

// Names taken from the text are made safe and put beside the input; the user's own output
// name (the O switch) is taken as given.
std::string DecodeRun::OutputPathFor(std::string name) const {
    const JobState& job = app_.job;
    if (!job.CommandLineOutputName.empty()) {
        return job.CommandLineOutputName;
    }
    SanitizeFileName(name);
    if (name.empty()) {
        name = FallbackName();
    }
    return JoinPath(OutputDirectory(), name);
}

// The input's own directory; for files joined into a temporary input, theirs.
std::string DecodeRun::OutputDirectory() const {
    const JobState& job = app_.job;
    return job.inputDirectory.empty() ? DirectoryOf(job.JobInputPath) : job.inputDirectory;
}

// For text that names no file (an empty name, or only directories): the input's own name with
// ".out", unless that is the input itself.
std::string DecodeRun::FallbackName() const {
    std::string name = BaseNameNoExt(app_.job.JobInputPath) + ".out";
    SanitizeFileName(name);
    if (name == ".out" || name == FileNamePart(app_.job.JobInputPath)) {
        return kUnknownName;
    }
    return name;
}

bool DecodeRun::OpenPartOutput(PartRecord& row) {
    // A file that an earlier header of the same part left (no data had been decoded into it)
    // would otherwise be forgotten.
    if (!row.fileName.empty()) {
        std::remove(PartFilePath(row).c_str());
        row.fileName.clear();
        row.directory.clear();
    }
    CloseOutputQuietly();
    app_.decode.assembly.Forget(headerPart_);
    return SingleFile() ? OpenSingleFileOutput(row) : OpenTemporaryOutput(row);
}

bool DecodeRun::OpenSingleFileOutput(PartRecord& row) {
    JobState& job = app_.job;
    std::string path = job.JobOutputPath;
    const int ask = job.CommandLineOutputName.empty() ? ask_ : 0;
    const BufFile output = MakeOutFile(app_, path, kDirectionDecode, ask);
    if (output == kResultDialogCancelled) {
        CloseDecodeFilesHere(true);
        exit_ = kResultDialogCancelled;
        return false;
    }
    if (output < 0) {
        SetDecodeState(CRITICALERROR);
        return false;
    }
    output_ = output;
    job.JobOutputPath = path;
    // Named in the row only once it exists: a failure deletes the part files, and a file that
    // was not made here (a device named as the output, say) is never one of them.
    std::error_code ec;
    if (fs::is_regular_file(fs::symlink_status(path, ec))) {
        row.fileName = path;
        row.directory.clear();
        madeOutput_ = path;
    }
    return true;
}

// The parts of a multi-part file go to temporary files until the join. They are opened
// directly, not through the output naming, which would move them to the output directory.
bool DecodeRun::OpenTemporaryOutput(PartRecord& row) {
    if (OpenAssembledOutput()) {
        return true;
    }
    writingPart_ = headerPart_;
    std::string path;
    if (MakeTempFileName(path) == 0) {
        const int error = errno;
        ShowSystemError(app_.ui, error, kMbStop, "Can't Create Temporary File for Part %d because",
                        headerPart_);
        SetDecodeState(CRITICALERROR);
        return false;
    }
    row.fileName = path;
    row.directory.clear();
    output_ = app_.files.BufFileOpen(path, BufOpenMode::CreateAlways, BF_TEXT);
    if (output_ < 0) {
        ShowSystemError(app_.ui, app_.files.LastError(), kMbStop, "Can't Write to %s because\r\n",
                        path.c_str());
        output_ = kNoBufFile;
        SetDecodeState(CRITICALERROR);
        return false;
    }
    return true;
}

// Into the file beside the output where the part can have its place there; false leaves the part
// to a file of its own.
bool DecodeRun::OpenAssembledOutput() {
    PartAssembly& assembly = app_.decode.assembly;
    // A device named as the output takes the parts through the join alone.
    std::error_code ec;
    const fs::file_status named = fs::status(app_.job.JobOutputPath, ec);
    if ((fs::exists(named) && !fs::is_regular_file(named)) ||
        !assembly.Begin(DirectoryOf(app_.job.JobOutputPath))) {
        return false;
    }
    const int64_t offset = assembly.PlaceFor(headerPart_, app_.parts.JobPartCount);
    if (offset < 0) {
        return false;
    }
    if (assembled_ == kNoBufFile) {
        const BufFile output =
            app_.files.BufFileOpen(assembly.Path(), BufOpenMode::Update, BF_TEXT);
        if (output < 0) {
            return false;
        }
        assembled_ = output;
    }
    if (app_.files.BufFileWritePosition(assembled_) != offset) {
        app_.files.BufFileSeek(assembled_, offset, BufSeekOrigin::Begin);
    }
    assembly.Started(headerPart_, offset);
    output_ = assembled_;
    writingPart_ = headerPart_;
    return true;
}

void DecodeRun::NotePartLength() {
    if (writingPart_ != 0 && output_ != kNoBufFile) {
        PartAssembly& assembly = app_.decode.assembly;
        // A part of its own begins its file.
        const int64_t start = assembly.Holds(writingPart_) ? assembly.OffsetOf(writingPart_) : 0;
        const int64_t end = app_.files.BufFileWritePosition(output_);
        assembly.Finished(writingPart_, end < 0 ? -1 : end - start);
    }
    writingPart_ = 0;
}

// ---- A part's data, checksum lines and trailer ----

void DecodeRun::DecodeLines() {
    if (Encoding() == kEncodingQuotedPrintable) {
        QuotedPrintableLine();
        return;
    }
    app_.decode.DecodeErrorText.clear();
    int lineClass =
        ClassifyDataLine(app_, line_.data(), headerPart_, trailerPart_, trailerTotal_, input_);
    // The empty line after the end of the input is no data, whatever the encoding (with the
    // encoding still undecided it would otherwise be refused as invalid).
    if (lineClass == kLineData && line_[0] == '\0' && !moreSteps_ &&
        Encoding() != kEncodingBinHex) {
        trailerPart_ = headerPart_;
        trailerTotal_ = app_.parts.JobPartCount;
        lineClass = kLineBlankEnd;
    }
    lastClass_ = lineClass;
    switch (lineClass) {
        case kLineData:
            DecodeDataLine();
            break;
        case kLineTrailer:
            if (AtEndOfInput(app_, input_) != 0) {
                readNext_ = false;
            }
            SetDecodeState(PREPARETRAILER);
            break;
        case kLineEndOfData:
            endSeen_ = true;
            if (AtEnd()) {
                readNext_ = false;
                SetDecodeState(PREPARETRAILER);
            } else if (SingleFile()) {
                SetDecodeState(LOOKFORTOTALCHECKSUM);
            } else {
                if (TrailerFollowsEnd()) {
                    readNext_ = false;  // the classifier has brought the trailer into hand
                }
                SetDecodeState(LOOKFORPARTCHECKSUM);
            }
            break;
        case kLineChecksum:
            readNext_ = false;
            SetDecodeState(SingleFile() ? LOOKFORTOTALCHECKSUM : LOOKFORPARTCHECKSUM);
            break;
        case kLineBlankEnd:
            if (AtEnd()) {
                readNext_ = false;
                SetDecodeState(PREPARETRAILER);
            } else if (!SingleFile()) {
                SetDecodeState(LOOKFORPARTCHECKSUM);
            }
            break;
        default:
            break;
    }
}

void DecodeRun::DecodeDataLine() {
    if (app_.config.decodemethod == kDecodeByDataInput && !encodingSettled_) {
        encodingSettled_ = GuessUuOrXx(app_, line_.data()) != 0;
        ShowPartStatus();
    }
    dataSeen_ = true;
    const bool binhex = Encoding() == kEncodingBinHex;
    int next = DECODELINES;
    int count = DecodeOnce(lineAnswer_ == kLineAnswerDecodeAll ? 1 : 0, next);
    if (count < 0 && !tryAll_) {
        count = AnswerRefusedLine(next);
    }
    if (binhex) {
        if (next == PREPARETRAILER) {
            trailerPart_ = 1;
            trailerTotal_ = 1;
        }
        SetDecodeState(next);
        readNext_ = false;  // the reader takes its characters from the input itself
    }
    if (count < 0) {
        readNext_ = false;
        SetDecodeState(CRITICALERROR);
        return;
    }
    if (count > 0) {
        WriteDecoded(count);
    }
    if (state_ == DECODELINES && readNext_ && !binhex) {
        DecodeFollowingRuns();
    }
}

void DecodeRun::DecodeFollowingRuns() {
    if (app_.config.decodemethod == kDecodeByDataInput && !encodingSettled_) {
        return;
    }
    if (!DecodeLineRuns(app_, input_, output_, app_.parts.current)) {
        ReportWriteFailure();
        return;
    }
    PumpMessages(app_.ui, 4);
}

int DecodeRun::DecodeOnce(int tolerant, int& next) {
    if (Encoding() == kEncodingBinHex) {
        return DecodeBinHexChunk(app_, input_, decoded_.data(), ask_, tolerant, CurrentRow(), next,
                                 decoded_.size());
    }
    const DecodeJob& decode = app_.decode;
    if (tolerant == 0 && decode.markedLine == line_.data() && decode.lineStart.offset >= 0) {
        const int count = DecodeLineQuick(app_, line_, decoded_, CurrentRow());
        if (count != kTakeExactWay) {
            DeferInputLine(app_, app_.parts.current, input_, decode.lineStart, decode.lineEnd);
            return count;
        }
    }
    const int row = app_.parts.current;
    const std::optional<LineDecodeRules> rules = ExactRulesFor(app_, tolerant);
    if (!rules || !HasDeferredSum(app_, row)) {
        return DecodeLine(app_, line_, decoded_, CurrentRow(), tolerant);
    }
    // Lines before wait for their sum: the exact way's share of this one waits behind them,
    // to be had by running the line again by the same rules.
    PartRecord& part = CurrentRow();
    const uint32_t before = part.calculatedChecksum;
    const int count = DecodeLine(app_, line_, decoded_, part, tolerant);
    if (count >= 0) {
        part.calculatedChecksum = before;
        DeferExactLine(app_, row, line_.data(), *rules);
    }
    return count;
}

// What becomes of a line the decoder refused: the bytes it yields, or -1.
int DecodeRun::AnswerRefusedLine(int& next) {
    if (lineAnswer_ == kLineAnswerSkipAll) {
        return 0;
    }
    if (lineAnswer_ == kLineAnswerDecodeAll) {
        // Only the BinHex reader refuses in tolerant mode, once per invalid character; it goes
        // on after that character, and "all" means no further question.
        return DecodeOnce(1, next);
    }
    const int answer = ask_ != 0 ? AskAboutLineDlg(app_, DecodeErrorQuestion())
                                 : static_cast<int>(kLineAnswerDecodeAll);
    lineAnswer_ = answer;
    JobState& job = app_.job;
    switch (answer) {
        case kLineAnswerSkip:
        case kLineAnswerSkipAll:
            job.JobWarnings = true;
            job.ReportExtraText = "\r\n\r\nPossibly not all data included in decoding.";
            return 0;
        case kLineAnswerDecode:
        case kLineAnswerDecodeAll:
            job.JobWarnings = true;
            job.ReportExtraText = "\r\n\r\nDecode attempted in spite of integrity errors.";
            return DecodeOnce(1, next);
        default:
            // Abort Decode: the next step sees the request and ends the decode.
            app_.cancel.Request();
            readNext_ = false;
            return 0;
    }
}

std::string DecodeRun::DecodeErrorQuestion() const {
    const int encoding = Encoding();
    const std::string_view method = EncodingName(encoding);
    std::string text = mandrel::Format(
        "Input File: %s\r\nLine %ld: Invalid %.*s Encoded Data!\r\n%s", InputName().c_str(),
        app_.decode.lineNumber, static_cast<int>(method.size()), method.data(),
        app_.decode.DecodeErrorText.c_str());
    if (encoding != kEncodingBinHex) {
        const std::string offending(CutAtLineEnd(line_.data()));
        text += mandrel::Format("\r\nOffending Line Follows within Curly Brackets:\r\n\r\n{ %s }",
                                offending.c_str());
    }
    return text;
}

void DecodeRun::WriteDecoded(int count) {
    const std::string_view bytes(reinterpret_cast<const char*>(decoded_.data()),
                                 static_cast<std::size_t>(count));
    const long written = app_.files.BufFileWrite(output_, bytes);
    if (written < count) {
        ShowMessage(app_.ui, kMbStop, "Tried to write %d bytes; actually wrote %d bytes!", count,
                    static_cast<int>(written));
        readNext_ = false;
        SetDecodeState(CRITICALERROR);
        return;
    }
    PumpMessages(app_.ui, 4);
}

// Reads "sum -r/size CHECKSUM/SIZE" from the line in hand; returns the text after the figures.
const char* DecodeRun::ReadChecksumFigures(uint32_t& checksum, int32_t& size) const {
    long value = 0;
    bool found = false;
    const char* p = ParseDecimal(line_.data() + kChecksumKey.size(), value, found);
    checksum = static_cast<uint32_t>(value);
    if (*p != '\0') {
        ++p;  // the "/" between the two figures
    }
    value = 0;
    p = ParseDecimal(p, value, found);
    size = static_cast<int32_t>(value);
    while (*p == ' ' || *p == '\t') {
        ++p;
    }
    return p;
}

void DecodeRun::LookForPartChecksum() {
    if (!StartsWithNoCase(line_.data(), kChecksumKey)) {
        readNext_ = false;
        if (lastClass_ == kLineEndOfData) {
            SetDecodeState(TrailerFollowsEnd() ? DECODELINES : PREPARETRAILER);
        } else if (lastClass_ == kLineBlankEnd) {
            SetDecodeState(PREPARETRAILER);
        } else {
            SetDecodeState(DECODELINES);
        }
        return;
    }
    PartRecord& row = CurrentRow();
    const char* scope = ReadChecksumFigures(row.expectedChecksum, row.expectedSize);
    if (!StartsWithExact(scope, "section")) {
        // The line does not describe the part.
        row.expectedChecksum = 0;
        row.expectedSize = 0;
    }
    if (row.expectedChecksum != 0) {
        SettlePartSum(app_, app_.parts.current);
    }
    SetDecodeState(lastClass_ == kLineEndOfData ? LOOKFORTOTALCHECKSUM : DECODELINES);
}

void DecodeRun::LookForTotalChecksum() {
    const bool found = StartsWithExact(line_.data(), kChecksumKey);
    if (found) {
        uint32_t checksum = 0;
        int32_t size = 0;
        const char* scope = ReadChecksumFigures(checksum, size);
        if (SingleFile() && StartsWithExact(scope, "section")) {
            // A single file with our own checksum lines: its section's figures, and the
            // whole file's on the next line.
            PartRecord& row = CurrentRow();
            row.expectedChecksum = checksum;
            row.expectedSize = size;
            return;
        }
        if (TrailerFollowsEnd() || StartsWithExact(scope, "entire input file")) {
            OutputTotals& totals = app_.decode.totals;
            totals.expectedChecksum = checksum;
            totals.expectedSize = size;
        }
    }
    if (SingleFile()) {
        readNext_ = false;
        SetDecodeState(CLEANFINISH);
    } else if (found) {
        SetDecodeState(TrailerFollowsEnd() ? DECODELINES : PREPARETRAILER);
    } else {
        readNext_ = false;
        SetDecodeState(DECODELINES);
    }
}

void DecodeRun::PrepareTrailer() {
    readNext_ = false;
    if (trailerPart_ == headerPart_ && trailerTotal_ == app_.parts.JobPartCount) {
        if (SingleFile()) {
            SetDecodeState(CLEANFINISH);
        } else {
            if (!CloseOutput()) {
                return;
            }
            SetDecodeState(LOOKFORHEADERTYPE);
        }
    } else {
        app_.decode.DecodeErrorText = mandrel::Format(
            "Line %ld: Inconsistent Trailer!\r\nExpected Part %d of %d, Got Part %d of %d",
            app_.decode.lineNumber, headerPart_, app_.parts.JobPartCount, trailerPart_,
            trailerTotal_);
        SetDecodeState(BADFINISH);
    }
    AskAboutMimeGroups();
}

void DecodeRun::AskAboutMimeGroups() {
    if (Encoding() != kEncodingMIME || ask_ == 0 || app_.decode.base64Position % 4 == 0) {
        return;
    }
    if (ShowMessage(app_.ui, kMbYesNoQuestionDefaultNo,
                    "MIME data violates the integral multiple of 4 rule. The decoded file may be "
                    "corrupted.\r\n\r\nContinue anyway?") != kIdYes) {
        SetDecodeState(BADFINISH);
    }
}

void DecodeRun::CleanFinish() {
    if (!CloseOutput()) {
        return;
    }
    // The output is complete: it is the user's now, no longer a file to clean up.
    NoteOutputMade();
    PartRecord& row = CurrentRow();
    row.fileName.clear();
    row.directory.clear();
    fileFinished_ = true;
    // The line in hand may open the next file; the BinHex reader has used up its own.
    readNext_ = Encoding() == kEncodingBinHex;
    state_ = LOOKFORHEADERTYPE;
    forced_ = kFormatSingleFile;
}

void DecodeRun::NoteOutputMade() {
    std::vector<MadeOutput>& made = app_.job.outputsMade;
    const std::string& path = app_.job.JobOutputPath;
    if (made.empty() || made.back().path != path) {
        made.push_back({path, Encoding()});
    }
}

void DecodeRun::BadFinish() {
    CloseDecodeFilesHere(false);
    moreSteps_ = false;
    readNext_ = false;
}

void DecodeRun::CriticalError() {
    CloseDecodeFilesHere(true);
    moreSteps_ = false;
    readNext_ = false;
}

void DecodeRun::FindSeparator() {
    if (announce_) {
        ShowStatus(app_.ui, "Looking for %s Separator in %s ...",
                   std::string(FileFormatName(CurrentFormat())).c_str(), InputName().c_str());
        announce_ = false;
    }
    if (IsSeparatorLine(app_, line_.data(), input_)) {
        SetDecodeState(FINDSTARTOFDATA);
        announce_ = true;
    } else if (!tryAll_ && FileFormat(CurrentFormat()).dataStart == DataStart::Subject) {
        // An Alt.binaries subject can be followed by another before any separator: the new
        // header wins and its format is forced for the rest of the pass.
        const int found =
            RecognizeHeader(app_, line_.data(), input_, trailerPart_, trailerTotal_, scratchName_);
        if (found != 0) {
            readNext_ = false;
            SetDecodeState(LOOKFORHEADERTYPE);
            announce_ = true;
            formatSwitch_ = true;
            app_.job.CurrentFileFormat = kFormatToBeDetermined;
            forced_ = found;
        }
    }
    PumpMessages(app_.ui, 4);
}

void DecodeRun::FindStartOfData() {
    if (announce_) {
        ShowStatus(app_.ui, "Looking for %s Start of Data in %s ...",
                   std::string(FileFormatName(CurrentFormat())).c_str(), InputName().c_str());
        announce_ = false;
    }
    const bool mark = FileFormat(CurrentFormat()).dataStart == DataStart::AfterMarks &&
                      IsUuenviewMark(line_.data());
    if (!IsBlankLine(line_.data()) && !mark) {
        readNext_ = false;
        announce_ = true;
        const int encoding = Encoding();
        SetDecodeState(encoding == kEncodingMIME || encoding == kEncodingBinHex ? PREPAREHEADER
                                                                                : PARSEBEGINLINE);
    }
    PumpMessages(app_.ui, 4);
}

// ---- Quoted-printable ----

bool DecodeRun::IsBoundaryLine() const {
    const std::string_view line = CutAtLineEnd(line_.data());
    if (!line.starts_with("--")) {
        return false;
    }
    const std::string_view rest = line.substr(2);
    return std::any_of(app_.decode.mimeBoundaries.begin(), app_.decode.mimeBoundaries.end(),
                       [rest](const std::string& boundary) {
                           return rest == boundary || (rest.starts_with(boundary) &&
                                                       rest.substr(boundary.size()) == "--");
                       });
}

void DecodeRun::QuotedPrintableLine() {
    if ((line_[0] == '\0' && !moreSteps_) || IsBoundaryLine()) {
        trailerPart_ = 1;
        trailerTotal_ = 1;
        readNext_ = false;
        SetDecodeState(PREPARETRAILER);
        return;
    }
    dataSeen_ = true;
    std::string text = qpCarry_ + std::string(line_.data());
    qpCarry_.clear();
    std::string_view body(text);
    std::string_view end;
    if (const std::size_t at = body.find_first_of("\r\n"); at != std::string_view::npos) {
        end = body.substr(at);
        body = body.substr(0, at);
    } else if (const std::size_t escape = body.rfind('=');
               escape != std::string_view::npos && escape + 3 > body.size()) {
        // A piece of a long line: an escape cut off here goes on in the next piece.
        qpCarry_ = std::string(body.substr(escape));
        body = body.substr(0, escape);
    }
    std::string bytes = qpLineEnd_;
    bool soft = false;
    std::array<unsigned char, kLineBufferSize + 8> out{};
    const std::size_t count = DecodeQuotedPrintableLine(body, out, soft);
    bytes.append(reinterpret_cast<const char*>(out.data()), count);
    // A piece of a long line, or a line with a soft break, joins the next. The reader ends a
    // CR LF line at its CR and skips the LF: mail's lone CRs are no line ends, so a CR is the
    // CR LF the text had.
    qpLineEnd_ = soft || end.empty() ? std::string() : end.starts_with('\r') ? "\r\n" : "\n";
    if (!bytes.empty()) {
        std::copy(bytes.begin(), bytes.end(), decoded_.begin());
        WriteDecoded(static_cast<int>(bytes.size()));
    }
}

// ---- yEnc ----

// A "=ybegin" line: a yEnc file, or one part of one. False when the line is not taken as a
// header (a part number the table has no row for, another format forced).
bool DecodeRun::YEncBegin() {
    if (tryAll_) {
        return false;
    }
    const YEncFields fields = ParseYEncFields(line_.data());
    const bool multi = fields.part && !(*fields.part == 1 && fields.total.value_or(1) == 1);
    const int format = multi ? kFormatYEnc : kFormatSingleFile;
    const int64_t part = multi ? *fields.part : 1;
    const int64_t total = multi ? fields.total.value_or(0) : 1;
    // A part the table has no row for, or beyond the posting's own total, is no header.
    if ((forced_ != 0 && forced_ != format) || part < 1 || part > MAX_PARTS || total < 0 ||
        total > std::numeric_limits<int32_t>::max() || (total > 0 && part > total)) {
        return false;
    }
    const int current = CurrentFormat();
    if (current != kFormatToBeDetermined && current != format) {
        app_.decode.DecodeErrorText = mandrel::Format(
            "Line %ld: Inconsistent File Formats.\r\nExpected Type %s, Got Type %s.",
            app_.decode.lineNumber, std::string(FileFormatName(current)).c_str(),
            std::string(FileFormatName(format)).c_str());
        SetDecodeState(BADFINISH);
        readNext_ = false;
        return true;
    }
    app_.job.CurrentFileFormat = format;
    headerPart_ = static_cast<int>(part);
    headerTotal_ = static_cast<int>(total);
    if (!TakePartRow()) {
        return true;
    }
    if (Encoding() != kEncodingYEnc) {
        encodingBeforeYEnc_ = Encoding();
    }
    app_.job.EncodingIndex = kEncodingYEnc;
    SelectDecodeTable(app_, kEncodingYEnc);
    encodingSettled_ = true;
    beginSeen_ = true;
    DecodeJob& decode = app_.decode;
    if (fields.name) {
        decode.HeaderName = *fields.name;
        decode.NameFound = true;
    }
    if (fields.size && *fields.size > 0 && *fields.size <= std::numeric_limits<int32_t>::max()) {
        decode.totals.expectedSize = static_cast<int32_t>(*fields.size);
    }
    // The parts' order is not the file's: the file on disk settles its CRC.
    decode.totals.runningChecksumPartial = multi;
    PartRecord& row = CurrentRow();
    row.calculatedSize = 0;
    row.calculatedChecksum = 0;
    yencText_ = YEncTextState{};
    yencMidLine_ = false;
    PrepareHeader();
    if (state_ == DECODELINES) {
        SetDecodeState(YENCDATA);
        readNext_ = true;
    }
    return true;
}

void DecodeRun::YEncData() {
    const std::string_view text(line_.data());
    if (!yencMidLine_) {
        switch (YEncLineKind(text)) {
            case YEncLine::Part:
                YEncPartLine();
                return;
            case YEncLine::End:
                YEncEnd(true);
                return;
            case YEncLine::Begin:
                // The next part before this one's end: this one ends here, short of its figures.
                app_.job.JobWarnings = true;
                app_.job.ReportExtraText = "\r\n\r\nMissing '=yend' line.";
                YEncEnd(false);
                return;
            case YEncLine::None:
                break;
        }
    }
    dataSeen_ = true;
    yencMidLine_ = text.empty() || (text.back() != '\n' && text.back() != '\r');
    const auto* bytes = reinterpret_cast<const unsigned char*>(text.data());
    const std::size_t count =
        DecodeYEncText({bytes, text.size()}, {decoded_.data(), decoded_.size()}, yencText_);
    PartRecord& row = CurrentRow();
    CountYEncBytes(app_, row, {decoded_.data(), count}, SingleFile());
    if (count > 0) {
        WriteDecoded(static_cast<int>(count));
    }
    if (state_ == YENCDATA && !yencMidLine_ &&
        !DecodeYEncRuns(app_, input_, output_, row, SingleFile())) {
        ReportWriteFailure();
        return;
    }
    PumpMessages(app_.ui, 4);
}

// "=ypart begin=B end=E": the bytes of the file the part holds, so its size.
void DecodeRun::YEncPartLine() {
    const YEncFields fields = ParseYEncFields(line_.data());
    if (fields.begin && fields.end && *fields.begin >= 1 && *fields.end >= *fields.begin &&
        *fields.end - *fields.begin < std::numeric_limits<int32_t>::max()) {
        CurrentRow().expectedSize = static_cast<int32_t>(*fields.end - *fields.begin + 1);
    }
}

// The end of a part: its figures from the "=yend" line in hand (withFigures), then the trailer
// checks every format's part goes through.
void DecodeRun::YEncEnd(bool withFigures) {
    endSeen_ = true;
    PartRecord& row = CurrentRow();
    OutputTotals& totals = app_.decode.totals;
    trailerPart_ = headerPart_;
    trailerTotal_ = app_.parts.JobPartCount;
    if (withFigures) {
        const YEncFields fields = ParseYEncFields(line_.data());
        if (fields.part) {
            trailerPart_ = static_cast<int>(std::clamp<int64_t>(*fields.part, 0, MAX_PARTS + 1));
        }
        if (fields.size && *fields.size > 0 &&
            *fields.size <= std::numeric_limits<int32_t>::max()) {
            (SingleFile() ? totals.expectedSize : row.expectedSize) =
                static_cast<int32_t>(*fields.size);
        }
        if (SingleFile()) {
            totals.expectedChecksum = fields.crc32.value_or(fields.pcrc32.value_or(0));
        } else {
            row.expectedChecksum = fields.pcrc32.value_or(0);
            if (fields.crc32) {
                totals.expectedChecksum = *fields.crc32;
            }
        }
    }
    // The trailer checks take the line in hand again; a "=ybegin" there opens the next part.
    readNext_ = false;
    SetDecodeState(PREPARETRAILER);
}

// ---- End of a pass ----

std::optional<int> DecodeRun::EndOfPass() {
    if (state_ == YENCDATA) {
        // The input ended inside a part: what came is kept, and the figures tell what is short.
        app_.job.JobWarnings = true;
        app_.job.ReportExtraText = "\r\n\r\nMissing '=yend' line.";
        state_ = SingleFile() ? CLEANFINISH : LOOKFORHEADERTYPE;
        if (!CloseOutput()) {
            state_ = CRITICALERROR;
        }
    }
    CloseOutputQuietly();
    const JobState& job = app_.job;
    if (state_ == LOOKFORHEADERTYPE && job.CurrentFileFormat != kFormatToBeDetermined) {
        // A multi-part input that ran out between parts has finished cleanly.
        SetProgress(app_.ui, 100);
        state_ = CLEANFINISH;
    }
    const int encoding = job.EncodingIndex;
    if (app_.decode.BinaryDataSeen > 0 && state_ == LOOKFORHEADERTYPE) {
        DiagnoseBinaryInput();
    } else if (state_ != CRITICALERROR && app_.decode.DecodeErrorText.empty() &&
               (encoding == kEncodingUU || encoding == kEncodingXX)) {
        DiagnoseBeginAndEnd();
    }
    if (state_ == CLEANFINISH) {
        ShowStatus(app_.ui, "At End Of Processing for %s", InputName().c_str());
    }
    std::string failure;
    switch (state_) {
        case CLEANFINISH:
            return FinishCleanly();
        case CRITICALERROR:
            CloseDecodeFilesHere(true);
            return Finish(kResultReported);
        case PARSEBEGINLINE:
        case PREPAREHEADER:
        case LOOKFORPARTCHECKSUM:
        case LOOKFORTOTALCHECKSUM:
            return ReportUnexpectedEof();
        case BADFINISH:
            failure = app_.decode.DecodeErrorText;
            break;
        default:
            failure = mandrel::Format("Unable to Determine File Format for %s.\r\nCannot Find %s.",
                                      job.JobInputPath.c_str(), MissingItem(state_));
            break;
    }
    if (ask_ == 0) {
        // No question may be asked: the diagnosis is all the user gets.
        app_.job.FailureText = failure;
        CloseDecodeFilesHere(true);
        return Finish(kResultReported);
    }
    if (tryAll_) {
        return TryNextFormat();
    }
    return AskHowToGoOn(failure);
}

void DecodeRun::DiagnoseBinaryInput() {
    DecodeJob& decode = app_.decode;
    const JobState& job = app_.job;
    if (job.InputChosenByUser && app_.config.decodemethod == kDecodeByDataInput && forced_ == 0) {
        // The diagnosis then names the start of the data, and the user may encode the file.
        state_ = FINDSTARTOFDATA;
        return;
    }
    if (decode.BinaryDataSeen == 1 && ask_ != 0) {
        decode.BinaryDataSeen = 2;  // asked once per input, not once per pass
        if (ShowMessage(app_.ui, kMbYesNoQuestionDefaultNo,
                        "File %s contains binary data and very likely cannot be decoded. Do you "
                        "wish to try anyway?",
                        InputName().c_str()) != kIdYes) {
            state_ = CRITICALERROR;
        }
    }
}

void DecodeRun::DiagnoseBeginAndEnd() {
    JobState& job = app_.job;
    if (endSeen_ && !beginSeen_) {
        app_.decode.DecodeErrorText =
            mandrel::Format("Missing 'begin' Statement in %s.", InputName().c_str());
        state_ = BADFINISH;
    } else if (beginSeen_ && !endSeen_) {
        job.ReportExtraText = "\r\n\r\nMissing 'end' statement.";
        job.JobWarnings = true;
        state_ = CLEANFINISH;
    } else if (!beginSeen_ && !endSeen_) {
        app_.decode.DecodeErrorText =
            mandrel::Format("Missing 'begin' and 'end' Statements in %s.", InputName().c_str());
        state_ = BADFINISH;
    }
}

int DecodeRun::FinishCleanly() {
    if (!CloseAssembled()) {
        ReportWriteFailure();
        CloseDecodeFilesHere(true);
        return Finish(kResultReported);
    }
    const int result = JoinParts(app_, app_.parts.JobPartCount, ask_, kJoinDecode);
    if (result == kResultDone) {
        NoteOutputMade();
        const int64_t size = FileSizeByName(app_.job.JobOutputPath);
        app_.decode.totals.decodedSize =
            size < 0 ? std::numeric_limits<uint32_t>::max() : static_cast<uint32_t>(size);
        // A single file's row names the output itself, which is the user's now.
        for (PartRecord& row : app_.parts.rows) {
            if (PartFilePath(row) == app_.job.JobOutputPath) {
                row.fileName.clear();
                row.directory.clear();
            }
        }
    }
    // The join removed every part it took. What a row still names is temporary: all the parts
    // after a failed join, or a part beyond the total the headers settled on.
    DeletePartFiles(app_.parts);
    return Finish(result);
}

int DecodeRun::ReportUnexpectedEof() {
    CloseDecodeFilesHere(true);
    const std::string name(DecodeStateName(state_));
    ShowMessage(app_.ui, kMbStop, "Unexpected EOF (%s).", name.c_str());
    return Finish(kResultFailed);
}

std::optional<int> DecodeRun::TryNextFormat() {
    if (forced_ >= kLastFormat) {
        ShowMessage(
            app_.ui, kMbStop,
            "Unable to Determine File Format for %s.\r\nYou must manually piece together "
            "the files in\r\nsequential order and strip out any email or\r\nusenet header "
            "data before you can retry decoding.%s",
            app_.job.JobInputPath.c_str(),
            app_.decode.BinaryDataSeen != 0
                ? "\r\nGiven the file had binary data, please ensure the \r\nfile was saved "
                  "as straight ASCII text."
                : "");
        CloseDecodeFilesHere(true);
        return Finish(kResultReported);
    }
    CloseDecodeFilesHere(false);
    Rewind();
    ++forced_;
    return std::nullopt;
}

std::optional<int> DecodeRun::AskHowToGoOn(const std::string& failure) {
    const JobState& job = app_.job;
    if (job.InputChosenByUser && app_.config.decodemethod == kDecodeByDataInput && forced_ == 0 &&
        !job.InputFromMail) {
        const int choice = WhichCodeDlg(app_);
        if (choice == kIdNo) {
            CloseDecodeFilesHere(true);
            return Finish(kResultEncodeInstead);
        }
        if (choice != kIdYes) {
            CloseDecodeFilesHere(true);
            return Finish(kResultAborted);
        }
    }
    const int answer = TryOverDlg(app_, failure);
    if (answer == 0) {
        CloseDecodeFilesHere(true);
        return Finish(kResultReported);
    }
    CloseDecodeFilesHere(false);
    Rewind();
    if (answer == kFormatTryAll) {
        forced_ = kFormatSingleFile;
        tryAll_ = true;
    } else {
        forced_ = answer;
    }
    return std::nullopt;
}

// ---- Files ----

// Closes the output; a close that loses buffered data spoils the part and ends the pass.
bool DecodeRun::CloseOutput() {
    if (output_ == kNoBufFile) {
        return true;
    }
    NotePartLength();
    const BufFile output = output_;
    output_ = kNoBufFile;
    // A loss in the assembly shows at a later part or before the join.
    if (output == assembled_ || app_.files.BufFileClose(output)) {
        return true;
    }
    ReportWriteFailure();
    return false;
}

bool DecodeRun::CloseAssembled() {
    if (output_ == assembled_) {
        NotePartLength();
        output_ = kNoBufFile;
    }
    const BufFile assembled = std::exchange(assembled_, kNoBufFile);
    return assembled == kNoBufFile || app_.files.BufFileClose(assembled);
}

void DecodeRun::ReportWriteFailure() {
    // A part file is named in its row; a single file's output (a device among them) is the job's.
    const std::string part = PartFilePath(CurrentRow());
    ShowSystemError(app_.ui, app_.files.LastError(), kMbStop, "Can't Write to %s because\r\n",
                    part.empty() ? app_.job.JobOutputPath.c_str() : part.c_str());
    readNext_ = false;
    SetDecodeState(CRITICALERROR);
}

void DecodeRun::CloseOutputQuietly() {
    NotePartLength();
    if (output_ != kNoBufFile && output_ != assembled_) {
        app_.files.BufFileClose(output_);
    }
    output_ = kNoBufFile;
}

void DecodeRun::CloseDecodeFilesHere(bool withInput) {
    CloseAssembled();
    if (withInput) {
        SettleAwaitedPartSums(app_);
    }
    CloseDecodeFiles(app_, withInput ? input_ : kNoBufFile, output_);
    output_ = kNoBufFile;
    if (withInput) {
        input_ = kNoBufFile;
    }
}

void DecodeRun::Rewind() {
    app_.files.BufFileSeek(input_, 0, BufSeekOrigin::Begin);
}

// Every way out closes what is still open. After an abort or a failure the report removes
// JobOutputPath; it may name only a file this decode made (and has removed already), never a
// file of the same name that was there before.
int DecodeRun::Finish(int result) {
    CloseOutputQuietly();
    CloseAssembled();
    // Whatever the join did not make the output is of no more use.
    app_.decode.assembly.Discard();
    if (input_ != kNoBufFile) {
        SettleAwaitedPartSums(app_);
        app_.files.BufFileClose(input_);
        input_ = kNoBufFile;
    }
    if ((result == kResultAborted || result == kResultFailed) &&
        app_.job.JobOutputPath != madeOutput_) {
        app_.job.JobOutputPath.clear();
    }
    return result;
}

}  // namespace

int DecodeInput(DecodeContext& app, BufFile input, int ask) {
    DecodeRun run(app, input, ask);
    return run.Run();
}

void CloseDecodeFiles(DecodeContext& app, BufFile input, BufFile output) {
    if (input != kNoBufFile) {
        app.files.BufFileClose(input);
    }
    if (output != kNoBufFile) {
        app.files.BufFileClose(output);
    }
    DeletePartFiles(app.parts);
}

}  // namespace mandrel
