// What the program does once its window is shown: it refuses to run without its help document,
// reads the command line and hands a list of files to the window.
#pragma once

#include <string>
#include <vector>

namespace mandrel {

class MainWindow;

// False when the program is to end at once (the help document is missing). The R switch makes
// the file associations, after which the window closes.
bool StartProgram(MainWindow& window, const std::vector<std::string>& arguments);

}  // namespace mandrel
