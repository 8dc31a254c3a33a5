// Works through FileList as the main window's chain of next-file and encode-file messages does,
// without a message queue: one file after the other, each ended by EndOfJob.
#pragma once

#include <functional>
#include <string>
#include <vector>

namespace mandrel {

struct AppState;

struct FileRunOutcome {
    std::string path;
    int result = 0;      // the job result code (0 done, 1 aborted, negative failures)
    int direction = 0;   // the JobDirection the file was run with
    std::string report;  // the report sentence of a success or abort, "" when there is none
    bool checksumDifferences = false;  // decoded, but the carried checksums disagree
    bool warnings = false;             // done with warnings: the report says "Apparently"
};

// Runs every entry of FileList, stopping early when an input cannot be read or a quit is
// requested. Returns one outcome for each file that was started; onFileDone, when given, sees
// each one as soon as its file is finished.
std::vector<FileRunOutcome> RunFileList(
    AppState& app, const std::function<void(const FileRunOutcome&)>& onFileDone = {});

}  // namespace mandrel
