// What the mail session asks of the program around it: the dialogs that stand in for the mail
// system's own (setting it up, a password, the recipients), and a way to keep the window
// alive while the mail system works. The console answers without asking.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "mail/mail_profile.h"

namespace mandrel {

class MailUi {
public:
    virtual ~MailUi() = default;
    // The mail system's setup, shown when nothing is set up yet; false when cancelled. It
    // keeps the passwords typed into it itself.
    virtual bool EditMailSettings(MailProfile& profile) = 0;
    // A password the keyring does not hold; nothing when cancelled.
    virtual std::optional<std::string> AskPassword(const std::string& prompt) = 0;
    // The recipients, starting from those offered and completed from those used before;
    // nothing when cancelled.
    virtual std::optional<std::vector<std::string>> ChooseRecipients(
        const std::vector<std::string>& offered, const std::vector<std::string>& recent) = 0;
    // Lets pending window events through while the mail system works; false: stop.
    virtual bool KeepWaiting() = 0;
};

}  // namespace mandrel
