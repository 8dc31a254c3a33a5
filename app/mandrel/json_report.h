// The console's report for scripts and mail filters (--report=json): one JSON object a line for
// each job, that is for each input file (or for the inputs -J joined).
#pragma once

#include <string>

#include "shell/job_runner.h"

namespace mandrel {

// The job as one line of JSON, without the line end. Texts that are not UTF-8 (a file name in
// another code page) carry U+FFFD for each byte that is not.
std::string JobJson(const JobOutcome& outcome, std::string_view report);

}  // namespace mandrel
