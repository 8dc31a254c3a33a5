// The console's answers to the mail session: it sets nothing up and chooses no recipients
// itself (the profile and the recipients named on the command line stand), asks for a password
// on the terminal when it may ask, and lets Ctrl-C stop a slow server.
#pragma once

#include <functional>

#include "mail/mail_ui.h"

namespace mandrel {

class ConsoleUi;

class ConsoleMailUi final : public MailUi {
public:
    // keepGoing is false once the job is to stop.
    ConsoleMailUi(ConsoleUi& ui, std::function<bool()> keepGoing)
        : ui_(ui), keepGoing_(std::move(keepGoing)) {}

    bool EditMailSettings(MailProfile& profile) override;
    std::optional<std::string> AskPassword(const std::string& prompt) override;
    std::optional<std::vector<std::string>> ChooseRecipients(
        const std::vector<std::string>& offered, const std::vector<std::string>& recent) override;
    bool KeepWaiting() override;

private:
    ConsoleUi& ui_;
    std::function<bool()> keepGoing_;
};

}  // namespace mandrel
