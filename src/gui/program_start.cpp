#include "gui/program_start.h"

#include <QFileInfo>

#include "gui/main_window.h"
#include "shell/command_line.h"

namespace mandrel {

namespace {

bool HelpDocumentPresent(MainWindow& window) {
    const QString& path = window.Help().DocumentPath();
    if (QFileInfo::exists(path)) {
        return true;
    }
    const AppState& app = window.State();
    ShowMessage(window.Ui(), kMbStop,
                "File %s is missing.\r\nPlease re-install %s\r\nThe help document belongs beside "
                "the program; reinstalling the package puts it back.",
                path.toStdString().c_str(), app.identity.productName.c_str());
    return false;
}

}  // namespace

bool StartProgram(MainWindow& window, const std::vector<std::string>& arguments) {
    if (!HelpDocumentPresent(window)) {
        return false;
    }
    AppState& app = window.State();
    ParseCommandLine(app, JoinArguments(arguments));
    // With R the files named are ignored.
    if (app.options.RunAssociations) {
        window.PostMakeAssociations();
        return true;
    }
    if (app.list.FileCount > 0) {
        window.PostNextFile(app.options.CmdLineEncode != 0 ? kDirectionEncode : kDirectionDecode);
    }
    return true;
}

}  // namespace mandrel
