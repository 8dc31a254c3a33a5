#include "shell/job_report.h"

#include <cerrno>
#include <cstdio>

#include "core/app_state.h"
#include "core/format.h"
#include "core/text_util.h"
#include "decode/checksum_verify.h"
#include "encode/alphabets.h"
#include "encode/encode_driver.h"
#include "shell/job_status.h"

namespace mandrel {

namespace {

struct ReportWords {
    std::string verb;
    std::string method;
    std::string preposition;
    std::string name;
};

ReportWords WordsFor(const AppState& app, int direction, int encoding) {
    ReportWords words;
    words.verb = std::string(DirectionVerb(direction));
    if (encoding >= 0 && encoding < static_cast<int>(EncodingNames.size())) {
        words.method = std::string(EncodingNames[encoding]);
    }
    words.preposition = direction == kDirectionEncode ? "to" : "as";
    words.name = std::string(FileNamePart(app.job.JobInputPath));
    return words;
}

std::string SuccessSentence(const AppState& app, const ReportWords& w, int direction, int encoding,
                            int parts, const std::string& extra) {
    const char* adverb = app.job.JobWarnings ? "Apparently" : "Successfully";
    const JobState& job = app.job;
    if (parts <= 1) {
        return Format("%s %s %s %sd %s\r\n%s%s", w.name.c_str(), adverb, w.method.c_str(),
                      w.verb.c_str(), w.preposition.c_str(), job.JobOutputPath.c_str(),
                      extra.c_str());
    }
    if (direction != kDirectionEncode) {
        return Format("%s %s %s %sd %d Parts\r\nas %s%s", w.name.c_str(), adverb, w.method.c_str(),
                      w.verb.c_str(), parts, job.JobOutputPath.c_str(), extra.c_str());
    }
    if (job.EncodeToMail) {
        return Format("%s %s %s %sd %d Parts\r\nto %s%s", w.name.c_str(), adverb, w.method.c_str(),
                      w.verb.c_str(), parts, job.JobOutputPath.c_str(), extra.c_str());
    }
    const std::string first = BuildOutputName(app, job.JobInputPath, encoding, 1, parts);
    const std::string last = BuildOutputName(app, job.JobInputPath, encoding, parts, parts);
    return Format("%s %s %s %sd %d Parts\r\nto %s thru %s%s", w.name.c_str(), adverb,
                  w.method.c_str(), w.verb.c_str(), parts, first.c_str(), last.c_str(),
                  extra.c_str());
}

}  // namespace

int RunChecksumTest(AppState& app, int direction) {
    app.decode.checksumDataPresent = false;
    const bool testing = app.config.decodetestchecksum != 0;
    if (testing && direction == kDirectionDecode) {
        if (const int differences = VerifyChecksums(app, nullptr); differences > 0) {
            ShowChecksumDetails(app);
            return differences;
        }
    }
    if (testing && app.decode.checksumDataPresent && app.job.ReportExtraText.empty()) {
        app.job.ReportExtraText = "\r\nChecksum data found valid.";
    }
    return 0;
}

int RunChecksumTest(AppState& app) {
    return RunChecksumTest(app, app.job.JobDirection);
}

std::string JobReportSentence(const AppState& app, int result, int direction, int encoding,
                              int parts) {
    const ReportWords words = WordsFor(app, direction, encoding);
    switch (result) {
        case kResultDone:
            return SuccessSentence(app, words, direction, encoding, parts, app.job.ReportExtraText);
        case kResultAborted:
            return Format("%s %s of %s Aborted", words.method.c_str(), words.verb.c_str(),
                          words.name.c_str());
        case kResultFailed:
            return Format("Could not %s %s %s", words.method.c_str(), words.verb.c_str(),
                          words.name.c_str());
        case kResultReported:
        case kResultDialogCancelled:
            return {};
        default:
            return Format("Invalid Result Code %d", result);
    }
}

void ShowJobReport(AppState& app, int result, int direction, int encoding, int parts) {
    if (app.config.nostatusmessages != 0) {
        return;
    }
    // A decode whose checksums disagree shows the differences instead of a report.
    if (result == kResultDone && RunChecksumTest(app, direction) > 0) {
        return;
    }
    const std::string sentence = JobReportSentence(app, result, direction, encoding, parts);
    switch (result) {
        case kResultReported:
        case kResultDialogCancelled:
            return;
        case kResultFailed:
            RemoveOutputFile(app.job.JobOutputPath);
            app.ui.Message(kMbExclamation, sentence);
            return;
        case kResultAborted:
            if (!app.job.EncodeToClipboard) {
                RemoveOutputFile(app.job.JobOutputPath);
            }
            app.ui.Message(kMbInformation, sentence);
            return;
        default:
            app.ui.Message(kMbPlain, sentence);
            return;
    }
}

int EndOfJob(AppState& app, int result, int direction) {
    JobState& job = app.job;
    int more = 0;
    bool report = true;
    if (job.FileCount > 0) {
        if (job.FileIndex >= 0 && job.FileIndex < static_cast<int>(job.FileList.size())) {
            job.FileList[static_cast<std::size_t>(job.FileIndex)].clear();
        }
        report = job.ListFromUser;
        ++job.FileIndex;
        if (job.FileIndex >= job.FileCount) {
            if (!job.ListFromUser) {
                job.QuitRequested = true;
                report = false;
            }
            job.ListFromUser = false;
            job.FileCount = 0;
            job.FileIndex = 0;
            job.FileList.clear();
            job.JobDirection = kDirectionNone;
            job.CmdLineEncode = 0;
            job.ListFromMail = false;
            job.CommandLineOutputName.clear();
            job.EncodeToMail = false;
            job.Recipients.clear();
        } else {
            more = 1;
        }
    }
    if (!job.QuitRequested && report) {
        ShowJobReport(app, result, direction, job.EncodingIndex, app.parts.JobPartCount);
    }
    if (job.InputIsTemporary && std::remove(job.JobInputPath.c_str()) != 0) {
        ShowSystemError(app.ui, errno, kMbExclamation, "Could Not Delete %s because",
                        job.JobInputPath.c_str());
    }
    job.InputIsTemporary = false;
    job.JoinedInputsDirectory.clear();
    job.JobInputPath.clear();
    job.JobWarnings = false;
    job.ReportExtraText.clear();
    job.EncodeToClipboard = false;
    SetProgress(app.ui, 0);
    return more;
}

}  // namespace mandrel
