// The job state of the shell, read and set by the engines: one record for the process.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "core/ui_port.h"

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
    kResultEncodeInstead = 2,  // decode driver only
    kResultFailed = -1,
    kResultReported = -2,
    kResultDialogCancelled = -3,
};

inline constexpr int kMaxFileList = 128;
inline constexpr int kMaxRecipients = 32;

struct JobState {
    int JobDirection = kDirectionNone;
    std::string JobInputPath;
    std::string JobOutputPath;
    int EncodingIndex = 0;
    int CurrentFileFormat = 0;
    bool JobWarnings = false;
    std::string ReportExtraText;
    bool JobBusy = false;
    bool CancelRequested = false;
    bool QuitRequested = false;
    bool InputIsTemporary = false;
    // The directory of the files joined into a temporary input: what is decoded from it goes
    // there, beside the files the user named, not into the temporary directory.
    std::string JoinedInputsDirectory;
    int Interactive = 1;
    std::string CommandLineOutputName;
    bool EncodeToClipboard = false;
    bool EncodeToMail = false;
    int CmdLineEncode = 0;  // 0 decode, 1 encode, 2 encode and mail to chosen recipients
    bool ListFromUser = false;
    bool ListFromMail = false;
    std::vector<std::string> FileList;  // empty entries are finished files
    int FileCount = 0;
    int FileIndex = 0;
    std::vector<MailRecipient> Recipients;
    bool RunAssociations = false;  // the R switch
};

}  // namespace mandrel
