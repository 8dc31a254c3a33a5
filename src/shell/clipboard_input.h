// Decoding from the clipboard goes through a file: the clipboard's text is written to a new
// temporary file, which is then decoded like any input and removed when the job is over.
#pragma once

#include <string>
#include <string_view>

namespace mandrel {

struct AppState;

// Writes text, followed by an empty line, to a new temporary "mdr" file named in path. Returns
// 0 when the file is written and closed, 1 on a failure already shown to the user.
int ClipboardToTempFile(AppState& app, std::string_view text, std::string& path);

}  // namespace mandrel
