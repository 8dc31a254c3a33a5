#include "shell/input_selection.h"

#include "core/output_files.h"
#include "shell/app_state.h"

namespace mandrel {

bool InputReadable(AppState& app, const std::string& path) {
    const BufFile probe = app.files.BufFileOpen(path, BufOpenMode::Read, 0);
    if (probe < 0) {
        return false;
    }
    app.files.BufFileClose(probe);
    return true;
}

int ChooseListAction(AppState& app, std::string_view path) {
    if (app.options.CmdLineEncode != 0) {
        return WM_ENCODEFILE;
    }
    const int method = app.config.decodemethod;
    if (method == kDecodeByFileName) {
        const std::size_t dot = path.rfind('.');
        if (dot == std::string_view::npos) {
            return WM_ENCODEFILE;
        }
        const int encoding = EncodingForExtension(path.substr(dot));
        if (encoding == 0) {
            return WM_ENCODEFILE;
        }
        app.job.EncodingIndex = encoding;
        return WM_DECODEFILE;
    }
    if (method == kDecodeByDataInput) {
        if (app.job.JobDirection == kDirectionEncode) {
            return WM_ENCODEFILE;
        }
        app.job.EncodingIndex = 0;
        return WM_DECODEFILE;
    }
    if (const int encoding = EncodingForMethod(method); encoding != 0) {
        app.job.EncodingIndex = encoding;
        return WM_DECODEFILE;
    }
    return WM_ENCODEFILE;
}

}  // namespace mandrel
