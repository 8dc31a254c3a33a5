#include "console_mail_ui.h"

#include "platform/console_ui.h"

namespace mandrel {

bool ConsoleMailUi::EditMailSettings(MailProfile& /*profile*/) {
    // The defaults (the system's sendmail, $MAIL or ~/Maildir) or the profile the desktop
    // program saved.
    return true;
}

std::optional<std::string> ConsoleMailUi::AskPassword(const std::string& prompt) {
    return ui_.AskSecret(prompt + " ");
}

std::optional<std::vector<std::string>> ConsoleMailUi::ChooseRecipients(
    const std::vector<std::string>& offered, const std::vector<std::string>& /*recent*/) {
    return offered;
}

bool ConsoleMailUi::KeepWaiting() {
    ui_.Pump(1);
    return keepGoing_();
}

}  // namespace mandrel
