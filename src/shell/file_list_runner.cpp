#include "shell/file_list_runner.h"

#include "core/app_state.h"
#include "encode/encode_driver.h"
#include "shell/job_report.h"

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
    // Taken now: EndOfJob clears the names the sentence is made of.
    outcome.report = JobReportSentence(app, result, app.job.JobDirection, app.job.EncodingIndex,
                                       app.parts.JobPartCount);
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

// Decoding is not part of this build: the entry is reported and counted as failed.
bool DecodeEntry(AppState& app, FileRunOutcome& outcome) {
    app.job.JobInputPath = outcome.path;
    app.job.JobDirection = kDirectionDecode;
    ShowMessage(app.ui, kMbStop, kDecodeUnavailableText, outcome.path.c_str());
    return FinishFile(app, outcome, kResultReported);
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
        const bool more =
            job.CmdLineEncode != 0 ? EncodeEntry(app, outcome) : DecodeEntry(app, outcome);
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
