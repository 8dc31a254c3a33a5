#include "gui/commands.h"

#include <array>

namespace mandrel {

namespace {

// clang-format off
constexpr std::array<CommandRow, 28> kCommands = {{
    {Popup::File, kCmdEncodeToFile, "&Encode to File", "F2", nullptr},
    {Popup::File, kCmdEncodeToClipboard, "Encode to &Clipboard", "Ctrl+C", nullptr},
    {Popup::File, kCmdEncodeToMail, "Encode to E-&mail", "Shift+F2", nullptr},
    {Popup::File, 0, "", "", nullptr},
    {Popup::File, kCmdDecodeFromFile, "&Decode from File", "F3", nullptr},
    {Popup::File, kCmdDecodeFromClipboard, "Decode from Cli&pboard", "Ctrl+V", nullptr},
    {Popup::File, kCmdDecodeFromMail, "Dec&ode from E-mail", "Shift+F3", nullptr},
    {Popup::File, 0, "", "", nullptr},
    {Popup::File, kCmdExit, "E&xit", "F10", nullptr},
    {Popup::Configure, kCmdConfigGeneral, "&General...", "F5", nullptr},
    {Popup::Configure, kCmdConfigEncode, "&Encode...", "F6", nullptr},
    {Popup::Configure, kCmdConfigDecode, "&Decode...", "F7", nullptr},
    {Popup::Configure, kCmdMailSettings, "E-&mail Settings...", "", nullptr},
    {Popup::Configure, 0, "", "", nullptr},
    {Popup::Configure, kCmdCheckVersion, "&Check Version...", "", nullptr},
    {Popup::Help, kCmdHelpIndex, "&Index", "F1", nullptr},
    {Popup::Help, kCmdHelpKeyboard, "&Keyboard", "", "Keyboard"},
    {Popup::Help, kCmdHelpCommands, "&Commands", "", "Commands"},
    {Popup::Help, kCmdHelpProcedures, "&Procedures", "", "Procedures"},
    {Popup::Help, 0, "", "", nullptr},
    {Popup::Help, kCmdAbout, "&About...", "Shift+F1", nullptr},
    {Popup::Help, kCmdHelpSupport, "&Technical Support", "F9", "support"},
    {Popup::Help, 0, "", "", nullptr},
    {Popup::Help, kCmdHelpCantDecode, "Can't &Decode", "", "cannot decode"},
    {Popup::Help, kCmdHelpCantEncode, "Can't &Encode", "", "cannot encode"},
    {Popup::Window, 0, "", "", nullptr},
    {Popup::Window, kCmdSystemEncode, "&Encode...", "", nullptr},
    {Popup::Window, kCmdSystemDecode, "&Decode...", "", nullptr},
}};
// clang-format on

}  // namespace

std::span<const CommandRow> CommandTable() {
    return kCommands;
}

const char* PopupTitle(Popup popup) {
    switch (popup) {
        case Popup::File:
            return "&File";
        case Popup::Configure:
            return "C&onfigure";
        case Popup::Help:
            return "&Help";
        case Popup::Window:
            break;
    }
    return "";
}

}  // namespace mandrel
