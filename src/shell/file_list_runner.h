// Works through the file list as the main window's chain of next-file messages does, without
// a message queue: one job after the other, each ended by EndOfJob.
#pragma once

#include <functional>
#include <vector>

#include "shell/job_runner.h"

namespace mandrel {

struct AppState;

// Runs the list entry at FileIndex as one job, as the window's next-file message does; with
// decodejoin set, a list to decode that stands at its first entry is joined into one job.
// listDirection is kDirectionEncode for a list to encode, else each file goes by
// ChooseListAction. After it the list has advanced (EndOfJob) or, when the input could not be
// read, been given up.
JobOutcome RunNextFile(AppState& app, int listDirection,
                       const std::function<void(JobRequest&)>& prepare = {});

// Runs every entry of the list, stopping early when an input cannot be read or a quit is
// requested; with decodejoin set, several decoded inputs are joined into one job. Returns the
// outcome of each job that was started; onJobDone, when given, sees each one as soon as its
// job is over. prepare, when given, may adjust each job's request before it starts.
std::vector<JobOutcome> RunFileList(AppState& app,
                                    const std::function<void(const JobOutcome&)>& onJobDone = {},
                                    const std::function<void(JobRequest&)>& prepare = {});

}  // namespace mandrel
