#include "shell/clipboard_input.h"

#include <cerrno>
#include <cstdio>

#include "core/text_util.h"
#include "shell/app_state.h"

namespace mandrel {

int ClipboardToTempFile(AppState& app, std::string_view text, std::string& path) {
    if (MakeTempFileName(path) == 0) {
        ShowSystemError(app.ui, errno, kMbStop,
                        "Can't Create Temporary File for Clipboard Data because\r\n");
        return 1;
    }
    const BufFile file = app.files.BufFileOpen(path, BufOpenMode::CreateAlways, BF_TEXT);
    if (file < 0) {
        ShowSystemError(app.ui, app.files.LastError(), kMbStop,
                        "Can't Write Clipboard Data to Temporary File\r\n%s because\r\n",
                        path.c_str());
        // The empty file made for the name would only be litter.
        std::remove(path.c_str());
        return 1;
    }
    ShowStatus(app.ui, "Writing Clipboard Data to %s ...", path.c_str());
    app.files.BufFileWriteString(file, text);
    app.files.BufFileWriteString(file, "\r\n\r\n");
    app.files.BufFileClose(file);
    return 0;
}

}  // namespace mandrel
