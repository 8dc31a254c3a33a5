// The console's mail, in a module of its own that the console loads only when the M switch asks
// for mail: libcurl, GMime and the keyring's libraries then cost nothing to the runs that do not
// mail, which are nearly all.
#pragma once

#include <functional>
#include <memory>
#include <string>

#include "core/mail_port.h"

namespace mandrel {

class ConsoleUi;
class SettingsStore;

struct ConsoleMailSetup {
    ConsoleUi* ui;
    SettingsStore* store;
    std::string settingsKey;  // the program's; the mail profile lies beside it
    std::string keyringService;
    std::function<bool()> keepGoing;
};

// The module's file name, and the name of what it exports: a function that makes the mail port
// (owned by the caller, who gives it back to the module's other function to end it).
inline constexpr const char* kConsoleMailModule = "mandrel-console-mail.so";
inline constexpr const char* kConsoleMailMake = "MandrelMakeConsoleMail";
inline constexpr const char* kConsoleMailEnd = "MandrelEndConsoleMail";
using ConsoleMailMake = MailPort* (*)(const ConsoleMailSetup*);
using ConsoleMailEnd = void (*)(MailPort*);

// The console's mail port, loaded from the module in moduleDirectory; nothing (with why) when
// the module cannot be loaded.
class LoadedConsoleMail {
public:
    LoadedConsoleMail() = default;
    ~LoadedConsoleMail();
    LoadedConsoleMail(const LoadedConsoleMail&) = delete;
    LoadedConsoleMail& operator=(const LoadedConsoleMail&) = delete;

    bool Load(const std::string& moduleDirectory, const ConsoleMailSetup& setup, std::string& why);
    MailPort* Port() const { return port_; }

private:
    void* module_ = nullptr;
    MailPort* port_ = nullptr;
    ConsoleMailEnd end_ = nullptr;
};

}  // namespace mandrel
