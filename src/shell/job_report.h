// The report at the end of each job, and the end-of-job step that advances the file list and
// resets the job's state.
#pragma once

#include <string>

#include "core/job_state.h"

namespace mandrel {

struct AppState;

// The checksum test that comes before the report of a finished job: clears
// checksumDataPresent and, for a decode (direction 2) with decodetestchecksum set, compares the
// figures the text carried with those decoded. Differences are shown in the checksum details
// dialog, which stands instead of the report, and their count is returned. Otherwise returns 0,
// having put "\r\nChecksum data found valid." into an empty ReportExtraText when such figures
// were there.
int RunChecksumTest(AppState& app, int direction);

// The sentence the report box shows for a success (result 0) or an abort (result 1); "" for
// results that show nothing or a box of their own.
std::string JobReportSentence(const AppState& app, int result, int direction, int encoding,
                              int parts);

// The sentence for one of several files a decode made: as a one-file report, without the
// job's closing remarks.
std::string OutputSentence(const AppState& app, const MadeOutput& output);

// What a finished job reports, worked out once: the checksum test runs first (its dialog
// stands instead of the report when the figures differ), then the sentence is made.
struct JobReport {
    int result = 0;
    int direction = 0;
    std::string sentence;
    bool checksumDifferences = false;
};
JobReport MakeJobReport(AppState& app, int result, int direction);
// The report box, with the icon of the result; a failed or aborted job's output is removed.
// Nothing is shown with nostatusmessages set or after checksum differences.
void ShowJobReport(AppState& app, const JobReport& report);

// Ends the job: advances the file list, shows the report where one is due (no list, or a list
// the user chose), deletes a temporary input and resets the job's state. Returns 1 when
// another list entry is to be processed, else 0.
int EndOfJob(AppState& app, const JobReport& report);

}  // namespace mandrel
