#include "shell/job_runner.h"

#include <algorithm>
#include <cstdio>

#include "codec/alphabets.h"
#include "core/file_formats.h"
#include "core/text_util.h"
#include "decode/checksum_verify.h"
#include "decode/decode_driver.h"
#include "decode/join_parts.h"
#include "decode/message_partial.h"
#include "encode/encode_driver.h"
#include "shell/app_state.h"
#include "shell/input_selection.h"
#include "shell/job_report.h"

namespace mandrel {

namespace {

// The window's busy and idle switch: the port greys or restores the commands, and the status
// line starts and ends empty.
void BeginJob(AppState& app) {
    app.JobBusy = true;
    app.ui.JobMode(true);
    app.ui.Status("");
    app.cancel.Reset();
    SetProgress(app.ui, 0);
}

void EndJob(AppState& app) {
    app.JobBusy = false;
    app.ui.JobMode(false);
    app.ui.Status("");
    app.cancel.Reset();
}

void TakeRequest(JobState& job, const JobRequest& request) {
    job.EncodeToClipboard = request.toClipboard;
    job.EncodeToMail = request.toMail;
    job.Recipients = request.recipients;
    job.CommandLineOutputName = request.outputName;
    job.place = request.place;
    job.InputChosenByUser = request.chosenByUser;
    job.InputFromMail = request.fromMail;
    job.InputIsTemporary = request.inputIsTemporary;
    job.inputDirectory = request.inputDirectory;
    job.reportInputName.clear();
    job.outputDirectory = request.outputDirectory;
    job.FailureText.clear();
    job.outputsMade.clear();
}

class JobRun {
public:
    JobRun(AppState& app, const JobRequest& request) : app_(app), request_(request) {
        outcome_.path = request.inputs.empty() ? std::string() : request.inputs.front();
    }

    JobOutcome Run();

private:
    int Encode();
    int Decode();
    int JoinAndDecode();
    bool DecodesItsInput();
    int CannotRead(int direction);
    void TakeFacts();
    int DecodePartialMessages();
    std::vector<PartialSource> PartialSources(int64_t from) const;
    int Interactive() const { return request_.interactive ? 1 : 0; }

    AppState& app_;
    const JobRequest& request_;
    JobOutcome outcome_;
    int partialDepth_ = 0;
};

// A file handed over without a direction is decoded when the decode method takes it for
// encoded text.
bool JobRun::DecodesItsInput() {
    switch (request_.direction) {
        case JobRequest::Direction::Encode:
            return false;
        case JobRequest::Direction::Decode:
            // A file chosen for decoding still takes its encoding from the decode method.
            if (request_.inputs.size() == 1) {
                app_.job.JobDirection = kDirectionDecode;
                ChooseListAction(app_, outcome_.path);
            }
            return true;
        case JobRequest::Direction::ByFile:
            break;
    }
    return ChooseListAction(app_, outcome_.path) == WM_DECODEFILE;
}

// Where the fragments are read from: the input from the first fragment on; inputs the job
// joined each by itself (the line end the join put after each would cut into a fragment), from
// the one that holds the first fragment on.
std::vector<PartialSource> JobRun::PartialSources(int64_t from) const {
    const JobState& job = app_.job;
    if (request_.inputs.size() <= 1 || partialDepth_ > 1) {
        return {PartialSource{job.JobInputPath, from}};
    }
    const auto eol = static_cast<int64_t>(EndOfLineString(app_.config).size());
    std::vector<PartialSource> sources;
    int64_t start = 0;
    for (const std::string& input : request_.inputs) {
        const int64_t size = std::max<int64_t>(0, FileSizeByName(input));
        if (from < start + size + eol) {
            sources.push_back(PartialSource{input, std::max<int64_t>(0, from - start)});
            from = start + size + eol;
        }
        start += size + eol;
    }
    return sources;
}

// The input holds message/partial fragments: they are put together, with the text around them,
// into a temporary input, which is decoded in the input's place. A message whose fragments are
// not all there is named, and nothing of it is decoded.
int JobRun::DecodePartialMessages() {
    JobState& job = app_.job;
    constexpr int kMostNesting = 3;  // a message of fragments may enclose fragments in turn
    if (++partialDepth_ > kMostNesting) {
        ShowMessage(app_.ui, kMbStop, "Message Fragments Nested Too Deeply in %s.",
                    job.JobInputPath.c_str());
        return kResultReported;
    }
    std::string assembled;
    if (MakeTempFileName(assembled) == 0) {
        ShowMessage(app_.ui, kMbStop, "Can't Create Temporary File for Joining Input Files.");
        return kResultReported;
    }
    const PartialAssembly assembly =
        AssemblePartialMessages(PartialSources(app_.decode.partialFrom), assembled);
    if (assembly.written && assembly.fragments == 0) {
        // A "message/partial" header with nothing usable (a text about MIME, say): the input is
        // decoded as it stands, the header taken for text.
        std::remove(assembled.c_str());
        app_.decode.partialIgnored = true;
        return Decode();
    }
    for (const std::string& problem : assembly.problems) {
        ShowMessage(app_.ui, kMbStop, "%s", problem.c_str());
    }
    if (!assembly.written || assembly.messages == 0) {
        std::remove(assembled.c_str());
        if (!assembly.written) {
            ShowMessage(app_.ui, kMbStop, "Can't Write to %s.", assembled.c_str());
        }
        return kResultReported;
    }
    if (job.reportInputName.empty()) {
        job.reportInputName = std::string(FileNamePart(job.JobInputPath));
    }
    if (job.InputIsTemporary) {
        std::remove(job.JobInputPath.c_str());
    } else if (job.inputDirectory.empty()) {
        // What is decoded goes beside the input, not into the temporary directory.
        const std::string_view listed = DirectoryPart(job.JobInputPath);
        job.inputDirectory = listed.empty() ? "." : std::string(listed);
    }
    job.InputIsTemporary = true;
    // What the fragments themselves looked like to the first reading is no warning.
    job.JobWarnings = false;
    job.ReportExtraText.clear();
    outcome_.path = assembled;
    return Decode();
}

int JobRun::CannotRead(int direction) {
    // The window stops a list here too: no end of job, so no next file.
    ShowMessage(app_.ui, kMbStop, "Can't read %s", outcome_.path.c_str());
    outcome_.direction = direction;
    outcome_.stopsList = true;
    return kResultReported;
}

int JobRun::Encode() {
    JobState& job = app_.job;
    job.JobInputPath = outcome_.path;
    job.JobDirection = kDirectionEncode;
    const BufFile input = app_.files.BufFileOpen(job.JobInputPath, BufOpenMode::Read, 0);
    if (input < 0) {
        return CannotRead(kDirectionEncode);
    }
    BeginJob(app_);
    // EncodeFile closes the input.
    const int result = EncodeFile(app_, input, Interactive());
    EndJob(app_);
    return result;
}

int JobRun::Decode() {
    JobState& job = app_.job;
    job.JobInputPath = outcome_.path;
    job.JobDirection = kDirectionDecode;
    const BufFile input =
        app_.files.BufFileOpen(job.JobInputPath, BufOpenMode::Read, BF_TEXT | BF_CR_ENDS_LINE);
    if (input < 0) {
        return CannotRead(kDirectionDecode);
    }
    BeginJob(app_);
    // DecodeInput closes the input.
    const int result = DecodeInput(app_, input, Interactive());
    EndJob(app_);
    if (result == kResultPartialMessage) {
        return DecodePartialMessages();
    }
    if (result != kResultEncodeInstead) {
        return result;
    }
    // The user chose to encode what held nothing to decode: the same file, unless it is only
    // a temporary copy.
    if (job.InputIsTemporary) {
        return kResultReported;
    }
    return Encode();
}

// Joins the inputs, in their order, into one temporary file and decodes that as the job's
// one input. Every input is looked at first, so that one that cannot be read is named as such.
int JobRun::JoinAndDecode() {
    JobState& job = app_.job;
    job.JobDirection = kDirectionDecode;
    const auto& inputs = request_.inputs;
    for (const std::string& input : inputs) {
        if (!InputReadable(app_, input)) {
            outcome_.path = input;
            return CannotRead(kDirectionDecode);
        }
    }
    ClearPartTable(app_.parts);
    const int count = static_cast<int>(std::min<std::size_t>(inputs.size(), MAX_PARTS));
    for (int i = 0; i < count; ++i) {
        PartRecord& row = app_.parts.rows[static_cast<std::size_t>(i)];
        row.partNumber = i + 1;
        row.fileName = inputs[static_cast<std::size_t>(i)];
    }
    std::string joined;
    if (MakeTempFileName(joined) == 0) {
        ShowMessage(app_.ui, kMbStop, "Can't Create Temporary File for Joining Input Files.");
        return kResultReported;
    }
    job.JobOutputPath = joined;
    BeginJob(app_);
    job.CurrentFileFormat = kFormatMultipleInputs;
    const int result = JoinParts(app_, count, 0, kJoinConcatenate);
    EndJob(app_);
    job.JobInputPath = joined;
    job.InputIsTemporary = true;
    if (job.inputDirectory.empty()) {
        // What is decoded goes beside the files the user named, not into the temporary
        // directory.
        const std::string_view listed = DirectoryPart(inputs.front());
        job.inputDirectory = listed.empty() ? "." : std::string(listed);
    }
    outcome_.path = joined;
    if (result != kResultDone) {
        return result;
    }
    return Decode();
}

// The facts of the finished job. The part table tells a decode's parts; an encode names its
// outputs by the report's rule.
void JobRun::TakeFacts() {
    const JobState& job = app_.job;
    JobFacts& facts = outcome_.facts;
    facts.inputs = request_.inputs;
    facts.encoding = std::string(
        job.EncodingIndex == kEncodingAuto ? std::string_view{} : EncodingName(job.EncodingIndex));
    facts.format = std::string(FileFormatName(job.CurrentFileFormat));
    if (job.JobDirection == kDirectionEncode) {
        const int parts = std::max(1, app_.parts.JobPartCount);
        if (outcome_.result == kResultDone && !job.EncodeToMail && !job.EncodeToClipboard) {
            for (int part = 1; part <= parts; ++part) {
                facts.outputs.push_back(
                    parts == 1
                        ? job.JobOutputPath
                        : BuildOutputName(app_, job.JobInputPath, job.EncodingIndex, part, parts));
            }
        }
        facts.partTotal = parts;
        return;
    }
    for (const MadeOutput& made : job.outputsMade) {
        facts.outputs.push_back(made.path);
    }
    const PartTable& parts = app_.parts;
    facts.partTotal = parts.JobPartCount;
    for (const PartRecord& row : parts.rows) {
        if (row.partNumber != 0) {
            facts.partsFound.push_back(row.partNumber);
        }
    }
    std::sort(facts.partsFound.begin(), facts.partsFound.end());
    for (int part = 1; part <= std::min(parts.JobPartCount, MAX_PARTS); ++part) {
        if (!std::binary_search(facts.partsFound.begin(), facts.partsFound.end(), part)) {
            facts.partsMissing.push_back(part);
        }
    }
    if (job.JobWarnings && !job.ReportExtraText.empty()) {
        const std::size_t text = job.ReportExtraText.find_first_not_of("\r\n");
        facts.warnings.push_back(text == std::string::npos ? std::string()
                                                           : job.ReportExtraText.substr(text));
    }
    if (outcome_.result == kResultDone && app_.config.decodetestchecksum != 0) {
        // Settles the output's figures from the file first, when the report did not.
        VerifyChecksums(app_, nullptr);
        VerifyChecksums(app_, &facts.checksumDifferences);
        facts.checksumsPresent = app_.decode.checksumDataPresent;
    }
}

JobOutcome JobRun::Run() {
    TakeRequest(app_.job, request_);
    app_.decode.partialIgnored = false;
    int result = kResultReported;
    if (request_.inputs.size() > 1) {
        result = JoinAndDecode();
    } else {
        result = DecodesItsInput() ? Decode() : Encode();
    }
    outcome_.result = result;
    if (outcome_.stopsList) {
        // Nothing ran: no end of job, and a temporary input goes at once.
        if (app_.job.InputIsTemporary) {
            std::remove(app_.job.JobInputPath.c_str());
            app_.job.InputIsTemporary = false;
        }
        return outcome_;
    }
    JobState& job = app_.job;
    outcome_.direction = job.JobDirection;
    outcome_.warnings = result == kResultDone && job.JobWarnings;
    outcome_.failure = job.FailureText;
    const JobReport report = MakeJobReport(app_, result, job.JobDirection);
    outcome_.report = report.sentence;
    if (result == kResultDone && job.outputsMade.size() > 1) {
        for (std::size_t i = 0; i + 1 < job.outputsMade.size(); ++i) {
            outcome_.reports.push_back(OutputSentence(app_, job.outputsMade[i]));
        }
        outcome_.reports.push_back(report.sentence);
    }
    outcome_.checksumDifferences = report.checksumDifferences;
    TakeFacts();
    EndOfJob(app_, report);
    return outcome_;
}

}  // namespace

JobOutcome RunJob(AppState& app, const JobRequest& request) {
    JobRun run(app, request);
    return run.Run();
}

}  // namespace mandrel
