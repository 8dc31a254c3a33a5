// The report at the end of each file of a job, and the end-of-job step that advances the file
// list and resets the job's per-file state.
#pragma once

#include <string>

namespace mandrel {

struct AppState;

// The checksum test that comes before the report of a finished job: clears
// checksumDataPresent and, for a decode (direction 2) with decodetestchecksum set, compares the
// figures the text carried with those decoded. Differences are shown in the checksum details
// dialog, which stands instead of the report, and their count is returned. Otherwise returns 0,
// having put "\r\nChecksum data found valid." into an empty ReportExtraText when such figures
// were there. Call it before JobReportSentence for a result of 0.
int RunChecksumTest(AppState& app, int direction);
// The same for the job's own JobDirection.
int RunChecksumTest(AppState& app);

// The sentence the report box shows for a success (result 0) or an abort (result 1); "" for
// results that show nothing or a box of their own.
std::string JobReportSentence(const AppState& app, int result, int direction, int encoding,
                              int parts);
void ShowJobReport(AppState& app, int result, int direction, int encoding, int parts);
// Returns 1 when another list entry is to be processed, else 0.
int EndOfJob(AppState& app, int result, int direction);

}  // namespace mandrel
