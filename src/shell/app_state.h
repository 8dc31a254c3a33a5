// The whole program's state, gathered so that the engines and the shell reach it through one
// reference instead of hidden globals: the job context with the encoder's and the decoder's
// state over it, the options of the run and the list of files. Tests make their own.
#pragma once

#include <string>
#include <vector>

#include "decode/decode_job.h"
#include "encode/encode_job.h"

namespace mandrel {

inline constexpr int kMaxFileList = 128;
inline constexpr int kMaxRecipients = 32;

// What the command line asked for, holding for every file of its list.
struct RunOptions {
    int Interactive = 1;    // 0 after the N switch: no questions
    int CmdLineEncode = 0;  // 0 decode, 1 encode, 2 encode and mail to chosen recipients
    bool EncodeToClipboard = false;
    bool EncodeToMail = false;
    std::string CommandLineOutputName;
    std::vector<MailRecipient> Recipients;
    bool RunAssociations = false;  // the R switch
};

// The files to work through, one job each.
struct FileListState {
    std::vector<std::string> FileList;  // empty entries are finished files
    int FileCount = 0;
    int FileIndex = 0;
    bool ListFromUser = false;  // chosen in the window rather than named on the command line
    bool ListFromMail = false;
    // The entries are temporary files (messages taken from the mailbox), each removed when its
    // job is over; InputDirectory stands in for their own directory where outputs go beside
    // the input.
    bool TemporaryFiles = false;
    std::string InputDirectory;
};

struct AppState final : EncodeContext, DecodeContext {
    AppState(UserPort& user, DeliveryPort& deliveryPort)
        : JobContext(user, deliveryPort),
          EncodeContext(user, deliveryPort),
          DecodeContext(user, deliveryPort) {}
    RunOptions options;
    FileListState list;
    bool JobBusy = false;
    bool QuitRequested = false;
};

}  // namespace mandrel
