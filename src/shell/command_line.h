// Reads the program's command line: switches C, E, J, M, N, O and R, then file names.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace mandrel {

struct AppState;

// Reads switches and file names from one command-line text into the run's options, the file
// list and Config.
void ParseCommandLine(AppState& app, std::string_view commandLine);

// Joins separate program arguments into one command-line text: each boundary acts as a tab (it
// ends a name given with O), arguments holding blanks are quoted, and a bare "-O" or "/O" is
// read as "-O:" so that the name may follow as the next argument. Arguments from namesFrom on
// are file names whatever they look like.
std::string JoinArguments(const std::vector<std::string>& arguments,
                          std::size_t namesFrom = std::string::npos);

}  // namespace mandrel
