#include "platform/browser_command.h"

#include <array>
#include <fstream>
#include <sstream>
#include <string_view>

#include "platform/child_process.h"
#include "platform/data_directories.h"
#include "platform/desktop_entry.h"

namespace mandrel {

namespace {

namespace fs = std::filesystem;

std::string_view TrimLine(std::string_view text) {
    while (!text.empty() && (text.back() == '\n' || text.back() == '\r' || text.back() == ' ')) {
        text.remove_suffix(1);
    }
    return text;
}

// The text of the first entry of that id in the applications folders, searched in order.
std::optional<std::string> ReadDesktopEntry(std::string_view id) {
    for (const fs::path& data : DataDirectories()) {
        std::ifstream file(data / "applications" / id, std::ios::binary);
        if (file) {
            std::ostringstream text;
            text << file.rdbuf();
            return text.str();
        }
    }
    return std::nullopt;
}

}  // namespace

std::optional<std::vector<std::string>> BrowserCommand() {
    const std::array<std::string, 4> query = {"xdg-mime", "query", "default", "text/html"};
    const std::optional<std::string> answer = RunForOutput(query);
    if (!answer) {
        return std::nullopt;
    }
    const std::string_view id = TrimLine(*answer);
    // An id is a file name; anything else is no answer.
    if (id.empty() || id.find('/') != std::string_view::npos) {
        return std::nullopt;
    }
    const std::optional<std::string> entry = ReadDesktopEntry(id);
    if (!entry) {
        return std::nullopt;
    }
    const std::optional<std::string> exec = DesktopEntryValue(*entry, "Exec");
    if (!exec) {
        return std::nullopt;
    }
    std::vector<std::string> command = ExecArguments(*exec);
    if (command.empty()) {
        return std::nullopt;
    }
    return command;
}

bool StartCommand(std::span<const std::string> command) {
    return StartDetached(command);
}

}  // namespace mandrel
