// What one job is about, set by the shell before it starts an engine and read and set by the
// engines while it runs.
#pragma once

#include <string>
#include <vector>

#include "core/delivery_port.h"

namespace mandrel {

enum JobDirectionValue : int {
    kDirectionNone = 0,
    kDirectionEncode = 1,
    kDirectionDecode = 2,
    kDirectionConcatenate = 3,
};

// Job result codes of the drivers and the join.
enum JobResult : int {
    kResultDone = 0,
    kResultAborted = 1,
    kResultEncodeInstead = 2,   // decode driver only
    kResultPartialMessage = 3,  // decode driver only: message/partial fragments to put together
    kResultFailed = -1,
    kResultReported = -2,
    kResultDialogCancelled = -3,
};

// Where a job stands in the list of files it belongs to. Several one-part encodes share one
// output file and one multipart text: the first opens it, the last closes it.
struct ListPlace {
    int index = 0;
    int count = 1;
    bool IsFirst() const { return index == 0; }
    bool IsLast() const { return count <= 1 || index >= count - 1; }
    int Remaining() const { return count - index; }
};

// A file a decode completed, with the encoding it was decoded from.
struct MadeOutput {
    std::string path;
    int encoding = 0;
};

struct JobState {
    int JobDirection = kDirectionNone;
    std::string JobInputPath;
    std::string JobOutputPath;
    int EncodingIndex = 0;
    int CurrentFileFormat = 0;
    bool JobWarnings = false;
    std::string ReportExtraText;
    bool InputIsTemporary = false;
    // Stands in for the input's own directory where outputs go beside the input: the directory
    // of the files joined into a temporary input, or the current one for standard input.
    std::string inputDirectory;
    // The input the report names when the job decoded a temporary input put together from it
    // (message fragments); empty: the input itself.
    std::string reportInputName;
    // Where every output goes, whatever the settings say (empty: as the settings say).
    std::string outputDirectory;
    std::string CommandLineOutputName;  // the user's own output name
    bool EncodeToClipboard = false;
    bool EncodeToMail = false;
    std::vector<MailRecipient> Recipients;
    ListPlace place;
    // The user chose the input in the window (not the command line): a decode that finds
    // nothing may offer to encode it instead, unless it came from the mailbox.
    bool InputChosenByUser = false;
    bool InputFromMail = false;
    // Why the job failed when no message said so (a decode that gave up without a question).
    std::string FailureText;
    // Every output file a decode completed, in order.
    std::vector<MadeOutput> outputsMade;
};

}  // namespace mandrel
