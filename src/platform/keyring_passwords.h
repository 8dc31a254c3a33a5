// The desktop's keyring (the Secret Service, or KWallet) as the password store, through
// QtKeychain. Where there is none, nothing is kept and every read finds nothing; a password is
// never written anywhere else.
#pragma once

#include <string>

#include "core/password_store.h"

namespace mandrel {

class KeyringPasswords final : public PasswordStore {
public:
    // service names the program's entries in the keyring ("Mandrel32").
    explicit KeyringPasswords(std::string service) : service_(std::move(service)) {}

    std::optional<std::string> Read(const std::string& account) override;
    bool Write(const std::string& account, const std::string& password, std::string& why) override;
    void Forget(const std::string& account) override;

private:
    std::string service_;
};

}  // namespace mandrel
