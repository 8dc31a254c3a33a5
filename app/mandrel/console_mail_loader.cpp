// The console's side of the mail module: loading it when the M switch asks for mail.
#include <dlfcn.h>

#include <filesystem>

#include "console_mail.h"

namespace mandrel {

LoadedConsoleMail::~LoadedConsoleMail() {
    if (port_ != nullptr && end_ != nullptr) {
        end_(port_);
    }
    if (module_ != nullptr) {
        ::dlclose(module_);
    }
}

bool LoadedConsoleMail::Load(const std::string& moduleDirectory, const ConsoleMailSetup& setup,
                             std::string& why) {
    const std::string path = (std::filesystem::path(moduleDirectory) / kConsoleMailModule).string();
    module_ = ::dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (module_ == nullptr) {
        const char* error = ::dlerror();
        why = error != nullptr ? error : path;
        return false;
    }
    // dlsym hands out function addresses as object pointers.
    const auto make = reinterpret_cast<ConsoleMailMake>(::dlsym(module_, kConsoleMailMake));
    end_ = reinterpret_cast<ConsoleMailEnd>(::dlsym(module_, kConsoleMailEnd));
    if (make == nullptr || end_ == nullptr) {
        why = path + " is not the console's mail module";
        return false;
    }
    port_ = make(&setup);
    return port_ != nullptr;
}

}  // namespace mandrel
