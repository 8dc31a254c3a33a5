// Puts text on the desktop's clipboard so that it stays there after the program has exited,
// as xclip and wl-copy users expect: the text is handed to wl-copy (Wayland) or xclip (X11),
// which keep serving it until something else is copied.
#pragma once

#include <string>
#include <string_view>

#include "core/delivery_port.h"

namespace mandrel {

// The parts of the environment that say which desktop session there is.
struct DesktopSession {
    std::string waylandDisplay;  // $WAYLAND_DISPLAY
    std::string display;         // $DISPLAY
    static DesktopSession FromEnvironment();
    bool Present() const { return !waylandDisplay.empty() || !display.empty(); }
};

ClipboardResult PutTextOnDesktopClipboard(std::string_view text, const DesktopSession& session);

}  // namespace mandrel
