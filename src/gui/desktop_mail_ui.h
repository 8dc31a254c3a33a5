// The desktop's answers to the mail session: the E-mail Settings dialog when nothing is set
// up, a password dialog, the recipients dialog, and the window kept alive (repainting, Cancel
// working) while a server is slow.
#pragma once

#include <QPointer>
#include <QWidget>
#include <functional>

#include "mail/mail_ui.h"

namespace mandrel {

class HelpDesk;
class PasswordStore;
class UserPort;

class DesktopMailUi final : public MailUi {
public:
    DesktopMailUi(QWidget* owner, PasswordStore& passwords, UserPort& ui, const HelpDesk& help);

    // What else asks the mail system to stop (the window's Cancel during a job).
    void SetStopCheck(std::function<bool()> stopRequested) {
        stopRequested_ = std::move(stopRequested);
    }
    // Stops what the mail system is doing now (a dialog's Cancel); ResetStop allows the next.
    void RequestStop() { stop_ = true; }
    void ResetStop() { stop_ = false; }

    bool EditMailSettings(MailProfile& profile) override;
    std::optional<std::string> AskPassword(const std::string& prompt) override;
    std::optional<std::vector<std::string>> ChooseRecipients(
        const std::vector<std::string>& offered, const std::vector<std::string>& recent) override;
    bool KeepWaiting() override;

private:
    QPointer<QWidget> owner_;
    PasswordStore& passwords_;
    UserPort& ui_;
    const HelpDesk& help_;
    std::function<bool()> stopRequested_;
    bool stop_ = false;
};

}  // namespace mandrel
