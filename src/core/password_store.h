// Where the mail servers' passwords are kept: the desktop's keyring, never the settings file.
// The engines see only this interface, as they see the settings store's.
#pragma once

#include <optional>
#include <string>

namespace mandrel {

class PasswordStore {
public:
    virtual ~PasswordStore() = default;
    // The password kept for an account, or nothing.
    virtual std::optional<std::string> Read(const std::string& account) = 0;
    // Keeps a password; false, with the keyring's reason in why, when it cannot.
    virtual bool Write(const std::string& account, const std::string& password,
                       std::string& why) = 0;
    virtual void Forget(const std::string& account) = 0;
};

}  // namespace mandrel
