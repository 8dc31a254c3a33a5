// A password store held in memory, for tests that need no desktop keyring: what was kept can be
// looked at, and keeping can be made to fail as it does without a keyring.
#pragma once

#include <map>
#include <string>

#include "core/password_store.h"

namespace mandrel::test {

class MemoryPasswords : public PasswordStore {
public:
    std::optional<std::string> Read(const std::string& account) override {
        const auto found = kept.find(account);
        return found != kept.end() ? std::optional(found->second) : std::nullopt;
    }
    bool Write(const std::string& account, const std::string& password, std::string& why) override {
        if (refuse) {
            why = "no keyring";
            return false;
        }
        kept[account] = password;
        return true;
    }
    void Forget(const std::string& account) override { kept.erase(account); }

    std::map<std::string, std::string> kept;
    bool refuse = false;
};

}  // namespace mandrel::test
