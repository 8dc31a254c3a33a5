// What "&Decode" makes of the messages chosen in the mailbox: a message with attachments has
// them saved as files, as any output is (its name made safe, the output directory and the
// overwrite question as the settings say); the text of every other message goes into a
// temporary file for the decoder, one for them all when decodejoin is set. The decoder's job
// removes those files when it is done.
#pragma once

#include <string>
#include <vector>

namespace mandrel {

struct JobContext;
class MailSession;

struct TakenMessages {
    bool anythingDone = false;
    std::vector<std::string> textFiles;  // temporary inputs, in list order
};

// ids in list order. saveDirectory stands in for an input's own directory where attachments
// go "Same as Input File" (mail has none). interactive allows the questions.
TakenMessages TakeMessages(JobContext& app, MailSession& session,
                           const std::vector<std::string>& ids, const std::string& saveDirectory,
                           bool interactive);

}  // namespace mandrel
