#include "platform/desktop_clipboard.h"

#include <cstdlib>
#include <vector>

#include "core/format.h"
#include "core/text_util.h"
#include "platform/child_process.h"

namespace mandrel {

namespace {

// The helper that holds the clipboard for a session kind, with its arguments.
struct ClipboardHelper {
    const char* program;
    std::vector<const char*> arguments;
};

ClipboardHelper HelperFor(const DesktopSession& session) {
    if (!session.waylandDisplay.empty()) {
        return {"wl-copy", {"wl-copy", "--type", "text/plain"}};
    }
    return {"xclip", {"xclip", "-selection", "clipboard", "-in"}};
}

ClipboardResult Failure(const char* action, std::string reason) {
    return {.ok = false, .failedAction = action, .errorCode = 0, .reason = std::move(reason)};
}

// Runs the helper with text on its standard input. The helper leaves a process behind that
// serves the clipboard; its output goes to /dev/null so that it holds no pipe of ours open.
ClipboardResult RunHelper(const ClipboardHelper& helper, std::string_view text) {
    const std::vector<std::string> arguments(helper.arguments.begin(), helper.arguments.end());
    const FedRun run = RunFeeding(arguments, text, {});
    if (!run.started) {
        return Failure("Open", Format("%s is needed to hand the text to the desktop's clipboard "
                                      "and could not be started (is it installed?).",
                                      helper.program));
    }
    if (!run.fed || run.status != 0) {
        return Failure("Write Encoded Data to",
                       Format("%s could not take the text over (exit status %d).", helper.program,
                              run.status.value_or(-1)));
    }
    return {};
}

}  // namespace

DesktopSession DesktopSession::FromEnvironment() {
    return {EnvironmentValue("WAYLAND_DISPLAY"), EnvironmentValue("DISPLAY")};
}

ClipboardResult PutTextOnDesktopClipboard(std::string_view text, const DesktopSession& session) {
    if (!session.Present()) {
        return Failure("Open",
                       "There is no desktop session to hold it: neither WAYLAND_DISPLAY nor "
                       "DISPLAY is set. Encode to a file instead (without -C).");
    }
    return RunHelper(HelperFor(session), text);
}

}  // namespace mandrel
