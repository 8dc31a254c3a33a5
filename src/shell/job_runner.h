// The job API: the window and the console start a job with one call and get its outcome back.
// A job encodes or decodes one input (a decode of several inputs joins them first), delivers
// the output to files, the clipboard or e-mail, and ends with EndOfJob, which shows the report
// where one is due. The job stops cleanly when the context's cancel token is set, from the
// port's pump or from another thread.
#pragma once

#include <string>
#include <vector>

#include "core/delivery_port.h"
#include "core/job_state.h"

namespace mandrel {

struct AppState;

struct JobRequest {
    enum class Direction {
        Encode,
        Decode,
        ByFile,  // what the decode method makes of the file (ChooseListAction)
    };
    Direction direction = Direction::ByFile;
    std::vector<std::string> inputs;  // one file; several are joined, then decoded as one
    bool toClipboard = false;
    bool toMail = false;
    std::vector<MailRecipient> recipients;
    bool interactive = true;  // false: no questions, default names, outputs replaced
    std::string outputName;   // the user's own output name; "" for the described naming
    ListPlace place;          // where the job stands in the list it belongs to
    bool chosenByUser = false;
    bool fromMail = false;
    bool inputIsTemporary = false;  // the input is removed when the job is over
    std::string inputDirectory;     // stands in for the input's own directory
    std::string outputDirectory;    // every output goes here
};

// What a job did, as a script that reads the console's report wants it: taken when the job
// ends, before the end of the job forgets it.
struct JobFacts {
    std::vector<std::string> inputs;   // as the request named them
    std::vector<std::string> outputs;  // every file the job made
    std::string encoding;              // "UU", "yEnc", ...; "" when none was settled
    std::string format;                // "Single File", "SimTel", ...
    int partTotal = 0;                 // the parts the text says there are; 0 when unknown
    std::vector<int> partsFound;
    std::vector<int> partsMissing;  // of a known total
    std::vector<std::string> warnings;
    bool checksumsPresent = false;  // the text carried checksums and they were compared
    std::vector<std::string> checksumDifferences;  // each as the details list shows it
};

struct JobOutcome {
    std::string path;    // the input (for joined inputs, the temporary file they became)
    int result = 0;      // the job result code (0 done, 1 aborted, negative failures)
    int direction = 0;   // the JobDirection the job ran with
    std::string report;  // the report sentence of a success, abort or failure, "" for none
    // A decode that made several files: one sentence for each, the report last.
    std::vector<std::string> reports;
    bool checksumDifferences = false;  // decoded, but the carried checksums disagree
    bool warnings = false;             // done with warnings: the report says "Apparently"
    std::string failure;               // why a job failed that said nothing itself
    bool stopsList = false;            // an input that could not be read ends the list it stands in
    JobFacts facts;
};

JobOutcome RunJob(AppState& app, const JobRequest& request);

}  // namespace mandrel
