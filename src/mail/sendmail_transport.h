// Sending through the system's sendmail (or any program that takes "-t -i" as sendmail does):
// the message goes to its standard input, the recipients are read from the message's To line.
#pragma once

#include <string>
#include <vector>

#include "core/program_runner.h"
#include "mail/curl_transfer.h"

namespace mandrel {

// The program and the arguments a sendmail command line names (blanks separate, double quotes
// keep blanks in one).
std::vector<std::string> SendmailWords(const std::string& command);

// Whether the command's program can be run. A mail code.
int CheckSendmail(const ProgramRunner& programs, const std::string& command);

// Runs "command -t -i" with the message (lines ending in LF) on its standard input and waits
// for it, asking keepGoing meanwhile (a stop ends the program). A mail code read from its exit
// status by the sysexits convention.
int SendBySendmail(const ProgramRunner& programs, const std::string& command,
                   const std::string& text, const KeepGoing& keepGoing);

}  // namespace mandrel
