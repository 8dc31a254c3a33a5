#include "shell/file_list_runner.h"

#include "shell/app_state.h"

namespace mandrel {

namespace {

// The job of the list entry at FileIndex, under the run's options.
JobRequest RequestForEntry(const AppState& app, int listDirection) {
    const RunOptions& options = app.options;
    const FileListState& list = app.list;
    JobRequest request;
    request.inputs = {list.FileList[static_cast<std::size_t>(list.FileIndex)]};
    request.direction = listDirection == kDirectionEncode || options.CmdLineEncode != 0
                            ? JobRequest::Direction::Encode
                            : JobRequest::Direction::ByFile;
    request.toClipboard = options.EncodeToClipboard;
    request.toMail = options.EncodeToMail;
    request.recipients = options.Recipients;
    request.interactive = options.Interactive != 0;
    request.outputName = options.CommandLineOutputName;
    request.place = {list.FileIndex, list.FileCount};
    request.chosenByUser = list.ListFromUser;
    request.fromMail = list.ListFromMail;
    request.inputIsTemporary = list.TemporaryFiles;
    request.inputDirectory = list.InputDirectory;
    return request;
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

// A command line that mails its files logs on and settles the recipients before its first
// file (offering those it named); false when either failed, which ends the program.
bool StartCommandLineMail(AppState& app) {
    RunOptions& options = app.options;
    MailPort* mail = app.delivery.Mail();
    if (mail == nullptr) {
        return false;
    }
    const bool report = options.Interactive != 0;
    const int flags =
        options.CmdLineEncode == 2 ? kMailLogonInteractive : kMailLogonNamedRecipients;
    const auto acceptable = [](int code) {
        return code == kMailSuccess || code == kMailLoginFailure;
    };
    if (!acceptable(mail->Logon(report, flags))) {
        return false;
    }
    std::vector<MailRecipient> chosen;
    if (!acceptable(mail->ChooseRecipients(report, options.Recipients, chosen))) {
        return false;
    }
    options.Recipients = std::move(chosen);
    return true;
}

}  // namespace

JobOutcome RunNextFile(AppState& app, int listDirection,
                       const std::function<void(JobRequest&)>& prepare) {
    FileListState& list = app.list;
    if (app.options.EncodeToMail && app.options.CmdLineEncode != 0 && !list.ListFromUser &&
        list.FileIndex == 0 && !StartCommandLineMail(app)) {
        // As the Exit command: nothing is encoded and the program ends.
        list = FileListState{};
        app.options.EncodeToMail = false;
        app.options.Recipients.clear();
        app.QuitRequested = true;
        JobOutcome outcome;
        outcome.result = kResultReported;
        outcome.stopsList = true;
        return outcome;
    }
    JobRequest request = RequestForEntry(app, listDirection);
    if (request.direction != JobRequest::Direction::Encode && app.config.decodejoin != 0 &&
        list.FileCount != 1 && list.FileIndex == 0) {
        // The whole list is one input: its job is the list's last.
        request.inputs.assign(list.FileList.begin(), list.FileList.end());
        request.direction = JobRequest::Direction::Decode;
        list.FileIndex = list.FileCount - 1;
    }
    if (prepare) {
        prepare(request);
    }
    JobOutcome outcome = RunJob(app, request);
    if (outcome.stopsList) {
        // An input that could not be read ends the list: what it shared is closed, and the
        // next list starts afresh.
        CloseSharedOutput(app);
        list = FileListState{};
    }
    return outcome;
}

std::vector<JobOutcome> RunFileList(AppState& app,
                                    const std::function<void(const JobOutcome&)>& onJobDone,
                                    const std::function<void(JobRequest&)>& prepare) {
    std::vector<JobOutcome> outcomes;
    FileListState& list = app.list;
    const int listDirection = app.options.CmdLineEncode != 0 ? kDirectionEncode : kDirectionDecode;
    // Each pass finishes one entry; the bound guards against a list that never shrinks.
    const int entries = list.FileCount;
    for (int pass = 0; pass < entries && list.FileCount > 0; ++pass) {
        PumpMessages(app.ui, 1);
        if (app.QuitRequested) {
            break;
        }
        if (list.FileIndex < 0 || list.FileIndex >= static_cast<int>(list.FileList.size())) {
            break;
        }
        const JobOutcome& outcome = outcomes.emplace_back(RunNextFile(app, listDirection, prepare));
        if (onJobDone) {
            onJobDone(outcome);
        }
        if (outcome.stopsList || list.FileCount == 0) {
            break;
        }
    }
    CloseSharedOutput(app);
    return outcomes;
}

}  // namespace mandrel
