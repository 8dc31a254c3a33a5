#include "shell/job_report.h"

#include <cerrno>
#include <cstdio>

#include "codec/alphabets.h"
#include "core/format.h"
#include "core/job_status.h"
#include "core/text_util.h"
#include "decode/checksum_verify.h"
#include "encode/encode_driver.h"
#include "shell/app_state.h"

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
    words.method = std::string(EncodingName(encoding));
    words.preposition = direction == kDirectionEncode ? "to" : "as";
    words.name = app.job.reportInputName.empty() ? std::string(FileNamePart(app.job.JobInputPath))
                                                 : app.job.reportInputName;
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

std::string OutputSentence(const AppState& app, const MadeOutput& output) {
    const ReportWords w = WordsFor(app, kDirectionDecode, output.encoding);
    return Format("%s %s %s %sd %s\r\n%s", w.name.c_str(),
                  app.job.JobWarnings ? "Apparently" : "Successfully", w.method.c_str(),
                  w.verb.c_str(), w.preposition.c_str(), output.path.c_str());
}

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

JobReport MakeJobReport(AppState& app, int result, int direction) {
    JobReport report{result, direction, {}, false};
    // Taken now: EndOfJob clears the names the sentence is made of.
    if (result == kResultDone && app.config.nostatusmessages == 0 &&
        RunChecksumTest(app, direction) > 0) {
        report.checksumDifferences = true;
        return report;
    }
    report.sentence =
        JobReportSentence(app, result, direction, app.job.EncodingIndex, app.parts.JobPartCount);
    return report;
}

void ShowJobReport(AppState& app, const JobReport& report) {
    if (app.config.nostatusmessages != 0 || report.checksumDifferences) {
        return;
    }
    switch (report.result) {
        case kResultReported:
        case kResultDialogCancelled:
            return;
        case kResultFailed:
            RemoveOutputFile(app.job.JobOutputPath);
            app.ui.Message(kMbExclamation, report.sentence);
            return;
        case kResultAborted:
            if (!app.job.EncodeToClipboard) {
                RemoveOutputFile(app.job.JobOutputPath);
            }
            app.ui.Message(kMbInformation, report.sentence);
            return;
        default:
            app.ui.Message(kMbPlain, report.sentence);
            return;
    }
}

int EndOfJob(AppState& app, const JobReport& jobReport) {
    FileListState& list = app.list;
    RunOptions& options = app.options;
    JobState& job = app.job;
    int more = 0;
    bool report = true;
    if (list.FileCount > 0) {
        if (list.FileIndex >= 0 && list.FileIndex < static_cast<int>(list.FileList.size())) {
            list.FileList[static_cast<std::size_t>(list.FileIndex)].clear();
        }
        report = list.ListFromUser;
        ++list.FileIndex;
        if (list.FileIndex >= list.FileCount) {
            if (!list.ListFromUser) {
                app.QuitRequested = true;
                report = false;
            }
            list = FileListState{};
            job.JobDirection = kDirectionNone;
            options.CmdLineEncode = 0;
            options.CommandLineOutputName.clear();
            if (options.EncodeToMail && app.delivery.Mail() != nullptr) {
                app.delivery.Mail()->Logoff(report);
            }
            options.EncodeToMail = false;
            options.Recipients.clear();
        } else {
            more = 1;
        }
    }
    if (!app.QuitRequested && report) {
        ShowJobReport(app, jobReport);
    }
    // A temporary input that a failed join already removed is no news.
    if (job.InputIsTemporary && std::remove(job.JobInputPath.c_str()) != 0 && errno != ENOENT) {
        ShowSystemError(app.ui, errno, kMbExclamation, "Could Not Delete %s because",
                        job.JobInputPath.c_str());
    }
    job.InputIsTemporary = false;
    job.inputDirectory.clear();
    job.outputDirectory.clear();
    job.JobInputPath.clear();
    job.JobWarnings = false;
    job.ReportExtraText.clear();
    job.EncodeToClipboard = false;
    SetProgress(app.ui, 0);
    return more;
}

}  // namespace mandrel
