#include "core/user_port.h"

#include <cstring>

#include "core/format.h"

namespace mandrel {

int ShowMessage(UserPort& ui, int style, const char* format, ...) {
    std::va_list args;
    va_start(args, format);
    const std::string text = FormatV(format, args);
    va_end(args);
    return ui.Message(style, text);
}

int ShowSystemError(UserPort& ui, int errorCode, int style, const char* format, ...) {
    std::va_list args;
    va_start(args, format);
    std::string text = FormatV(format, args);
    va_end(args);
    text += "\r\n";
    text += SystemErrorText(errorCode);
    return ui.Message(style, text);
}

void ShowStatus(UserPort& ui, const char* format, ...) {
    std::va_list args;
    va_start(args, format);
    const std::string text = FormatV(format, args);
    va_end(args);
    ui.Status(text);
}

void SetProgress(UserPort& ui, int position) {
    ui.Progress(position);
}

void PumpMessages(UserPort& ui, int count) {
    if (count > 0) {
        ui.Pump(count);
    }
}

void SetBusyCursor(UserPort& ui) {
    ui.BusyCursor(true);
}
void RestoreCursor(UserPort& ui) {
    ui.BusyCursor(false);
}

std::string SystemErrorText(int errorCode) {
    // Single-threaded program: strerror's shared buffer is not contended.
    return std::strerror(errorCode);  // NOLINT(concurrency-mt-unsafe)
}

}  // namespace mandrel
