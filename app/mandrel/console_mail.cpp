// The module itself: the console's answers to the mail session, the keyring and the session.
#include "console_mail.h"

#include "console_mail_ui.h"
#include "mail/mail_session.h"
#include "platform/child_process.h"
#include "platform/console_ui.h"
#include "platform/keyring_passwords.h"

namespace mandrel {

namespace {

// The session with what it needs, as one mail port; every failure is said (the console's rule).
class ConsoleMail final : public MailPort {
public:
    explicit ConsoleMail(const ConsoleMailSetup& setup)
        : passwords_(setup.keyringService),
          dialogs_(*setup.ui, setup.keepGoing),
          session_(*setup.ui, dialogs_, *setup.store, MailProfileKey(setup.settingsKey), passwords_,
                   programs_) {
        session_.ReportAlways(true);
    }
    int Logon(bool report, int flags) override { return session_.Logon(report, flags); }
    int Logoff(bool report) override { return session_.Logoff(report); }
    int ChooseRecipients(bool report, const std::vector<MailRecipient>& offered,
                         std::vector<MailRecipient>& chosen) override {
        return session_.ChooseRecipients(report, offered, chosen);
    }
    int Send(const MailMessage& message, bool report) override {
        return session_.Send(message, report);
    }

private:
    KeyringPasswords passwords_;
    SystemPrograms programs_;
    ConsoleMailUi dialogs_;
    MailSession session_;
};

}  // namespace

}  // namespace mandrel

// The module's two entry points, unmangled so that the console finds them by name.
extern "C" __attribute__((visibility("default"))) mandrel::MailPort* MandrelMakeConsoleMail(
    const mandrel::ConsoleMailSetup* setup) {
    return new mandrel::ConsoleMail(
        *setup);  // NOLINT(cppcoreguidelines-owning-memory): ended below
}

extern "C" __attribute__((visibility("default"))) void MandrelEndConsoleMail(
    mandrel::MailPort* mail) {
    delete mail;  // NOLINT(cppcoreguidelines-owning-memory): made above
}
