// The main window's commands: their ids (the values the menus and the private messages carry),
// menu texts, accelerators and popups, as one table the window builds its menus from.
#pragma once

#include <span>

namespace mandrel {

enum CommandId : int {
    kCmdDecodeFromFile = 100,
    kCmdEncodeToFile = 101,
    kCmdExit = 102,
    kCmdAbout = 103,
    kCmdConfigGeneral = 104,
    kCmdConfigEncode = 105,
    kCmdConfigDecode = 106,
    kCmdHelpIndex = 107,
    kCmdHelpKeyboard = 110,
    kCmdHelpCommands = 111,
    kCmdHelpProcedures = 112,
    kCmdHelpSupport = 116,
    kCmdHelpCantEncode = 117,
    kCmdHelpCantDecode = 118,
    kCmdDecodeFromClipboard = 120,
    kCmdEncodeToClipboard = 121,
    kCmdEncodeToMail = 122,
    kCmdDecodeFromMail = 123,
    kCmdCheckVersion = 124,
    kCmdMailSettings = 125,  // the mail system's setup, which Linux has none of its own for
    kCmdCancel = 200,
    // The two items the program adds to the window's own menu.
    kCmdSystemDecode = 1280,
    kCmdSystemEncode = 1296,
};

// The main window's child controls.
enum ControlId : int { kIdCancelButton = 200, kIdStatusLine = 201, kIdProgressBar = 202 };

enum class Popup { File, Configure, Help, Window };

struct CommandRow {
    Popup popup;
    int id;                   // 0: a separator
    const char* text;         // with & before the mnemonic
    const char* shortcut;     // "" for none
    const char* helpKeyword;  // the help topic the command opens, null for other commands
};

// The menus in order: "&File", "C&onfigure", "&Help", then the window menu's two items.
std::span<const CommandRow> CommandTable();
const char* PopupTitle(Popup popup);

}  // namespace mandrel
