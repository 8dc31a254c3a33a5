// The report at the end of each file of a job, and the end-of-job step that advances the file
// list and resets the job's per-file state.
#pragma once

#include <string>

namespace mandrel {

struct AppState;

// The sentence the report box shows for a success (result 0) or an abort (result 1); "" for
// results that show nothing or a box of their own.
std::string JobReportSentence(const AppState& app, int result, int direction, int encoding,
                              int parts);
void ShowJobReport(AppState& app, int result, int direction, int encoding, int parts);
// Returns 1 when another list entry is to be processed, else 0.
int EndOfJob(AppState& app, int result, int direction);

}  // namespace mandrel
