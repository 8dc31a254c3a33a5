#include "shell/file_list_runner.h"

#include <cstdio>

#include "core/app_state.h"
#include "core/text_util.h"
#include "decode/decode_driver.h"
#include "decode/join_parts.h"
#include "encode/encode_driver.h"
#include "shell/job_report.h"
#include "shell/output_files.h"

namespace mandrel {

namespace {

// The window's busy and idle switch, less the window.
void BeginJob(AppState& app) {
    app.job.JobBusy = true;
    app.job.CancelRequested = false;
    SetProgress(app.ui, 0);
}

void EndJob(AppState& app) {
    app.job.JobBusy = false;
    app.job.CancelRequested = false;
}

// Ends one file and records it; returns whether the list goes on.
bool FinishFile(AppState& app, FileRunOutcome& outcome, int result) {
    outcome.result = result;
    outcome.direction = app.job.JobDirection;
    outcome.warnings = result == kResultDone && app.job.JobWarnings;
    // Taken now: EndOfJob clears the names the sentence is made of. A decode whose checksums
    // differ shows the differences instead of its sentence, as the window does.
    if (result == kResultDone && app.config.nostatusmessages == 0 && RunChecksumTest(app) > 0) {
        outcome.checksumDifferences = true;
        outcome.report.clear();
    } else {
        outcome.report = JobReportSentence(app, result, app.job.JobDirection, app.job.EncodingIndex,
                                           app.parts.JobPartCount);
    }
    return EndOfJob(app, result, app.job.JobDirection) == 1;
}

// Encodes one entry. Returns false when the list stops here.
bool EncodeEntry(AppState& app, FileRunOutcome& outcome) {
    JobState& job = app.job;
    job.JobInputPath = outcome.path;
    job.JobDirection = kDirectionEncode;
    const BufFile input = app.files.BufFileOpen(job.JobInputPath, BufOpenMode::Read, 0);
    if (input < 0) {
        // The window stops a list here too: no end of job, so no next file.
        ShowMessage(app.ui, kMbStop, "Can't read %s", job.JobInputPath.c_str());
        outcome.result = kResultReported;
        outcome.direction = kDirectionEncode;
        return false;
    }
    BeginJob(app);
    // EncodeFile closes the input.
    const int result = EncodeFile(app, input, job.Interactive);
    EndJob(app);
    return FinishFile(app, outcome, result);
}

// Decodes one input. Returns false when the list stops here.
bool DecodeEntry(AppState& app, FileRunOutcome& outcome) {
    JobState& job = app.job;
    job.JobInputPath = outcome.path;
    job.JobDirection = kDirectionDecode;
    const BufFile input =
        app.files.BufFileOpen(job.JobInputPath, BufOpenMode::Read, BF_TEXT | BF_CR_ENDS_LINE);
    if (input < 0) {
        ShowMessage(app.ui, kMbStop, "Can't read %s", job.JobInputPath.c_str());
        outcome.result = kResultReported;
        outcome.direction = kDirectionDecode;
        if (job.InputIsTemporary) {
            std::remove(job.JobInputPath.c_str());
            job.InputIsTemporary = false;
        }
        return false;
    }
    BeginJob(app);
    // DecodeInput closes the input.
    const int result = DecodeInput(app, input, job.Interactive);
    EndJob(app);
    if (result == kResultEncodeInstead) {
        // The user chose to encode what held nothing to decode: the same file, then the rest.
        if (job.InputIsTemporary) {
            std::remove(job.JobInputPath.c_str());
            job.InputIsTemporary = false;
            return FinishFile(app, outcome, kResultReported);
        }
        return EncodeEntry(app, outcome);
    }
    return FinishFile(app, outcome, result);
}

// Joins the listed inputs, in their order, into one temporary file and decodes that as the
// one input of the list. Returns false when the list stops here.
bool JoinAndDecode(AppState& app, FileRunOutcome& outcome) {
    JobState& job = app.job;
    job.JobDirection = kDirectionDecode;
    ClearPartTable(app.parts);
    const int inputs = job.FileCount;
    for (int i = 0; i < inputs && i < MAX_PARTS; ++i) {
        PartRecord& row = app.parts.rows[static_cast<std::size_t>(i)];
        row.partNumber = i + 1;
        row.fileName = job.FileList[static_cast<std::size_t>(i)];
    }
    std::string joined;
    if (MakeTempFileName(joined) == 0) {
        ShowMessage(app.ui, kMbStop, "Can't Create Temporary File for Joining Input Files.");
        outcome.result = kResultReported;
        outcome.direction = kDirectionDecode;
        return false;
    }
    job.JobOutputPath = joined;
    job.FileList.push_back(joined);
    job.FileIndex = job.FileCount;
    ++job.FileCount;
    BeginJob(app);
    job.CurrentFileFormat = kFormatMultipleInputs;
    const int result = JoinParts(app, inputs, 0, kJoinConcatenate);
    EndJob(app);
    job.JobInputPath = joined;
    job.InputIsTemporary = true;
    const std::string_view listed = DirectoryPart(job.FileList.front());
    job.JoinedInputsDirectory = listed.empty() ? "." : std::string(listed);
    outcome.path = joined;
    if (result != kResultDone) {
        return FinishFile(app, outcome, result);
    }
    return DecodeEntry(app, outcome);
}

// A list cut short leaves open the output that its single-part files were to share; closing it
// gets what was written into the file.
void CloseSharedOutput(AppState& app) {
    EncodeJob& encode = app.encode;
    if (encode.outputOpen) {
        app.files.BufFileClose(encode.outputFile);
        encode.outputOpen = false;
        encode.outputFile = kNoBufFile;
    }
}

}  // namespace

std::vector<FileRunOutcome> RunFileList(
    AppState& app, const std::function<void(const FileRunOutcome&)>& onFileDone) {
    std::vector<FileRunOutcome> outcomes;
    JobState& job = app.job;
    // Each pass finishes one entry; the bound guards against a list that never shrinks.
    const int entries = job.FileCount;
    for (int pass = 0; pass < entries && job.FileCount > 0; ++pass) {
        PumpMessages(app.ui, 1);
        if (job.QuitRequested) {
            break;
        }
        if (job.FileIndex < 0 || job.FileIndex >= static_cast<int>(job.FileList.size())) {
            break;
        }
        FileRunOutcome& outcome = outcomes.emplace_back();
        outcome.path = job.FileList[static_cast<std::size_t>(job.FileIndex)];
        bool more = false;
        if (job.CmdLineEncode != 0) {
            more = EncodeEntry(app, outcome);
        } else if (app.config.decodejoin != 0 && job.FileCount != 1 && job.FileIndex == 0) {
            more = JoinAndDecode(app, outcome);
        } else if (ChooseListAction(app, outcome.path) == WM_ENCODEFILE) {
            more = EncodeEntry(app, outcome);
        } else {
            more = DecodeEntry(app, outcome);
        }
        if (onFileDone) {
            onFileDone(outcome);
        }
        if (!more) {
            break;
        }
    }
    CloseSharedOutput(app);
    return outcomes;
}

}  // namespace mandrel
