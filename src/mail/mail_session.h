// The session with the mail system for one job: logon (setting the mail system up and asking
// for a password where needed, then making sure the server takes the login), the recipients,
// one message sent per part, and the mailbox's messages listed and read; logoff at the end.
// Every step reports a failure in a message box only when asked to, and says what it does in
// the status line.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "core/mail_port.h"
#include "mail/curl_transfer.h"
#include "mail/mail_profile.h"
#include "mail/message_text.h"

namespace mandrel {

class Mailbox;
class MailUi;
class PasswordStore;
class ProgramRunner;
class SettingsStore;
class UserPort;

class MailSession final : public MailPort {
public:
    MailSession(UserPort& ui, MailUi& dialogs, SettingsStore& store, std::string profileKey,
                PasswordStore& passwords, const ProgramRunner& programs);
    ~MailSession() override;
    MailSession(const MailSession&) = delete;
    MailSession& operator=(const MailSession&) = delete;

    // Logon for sending: the transport is checked.
    int Logon(bool report, int flags) override;
    // Logon for reading: the mailbox is checked.
    int LogonToMailbox(bool report, int flags);
    int Logoff(bool report) override;
    int ChooseRecipients(bool report, const std::vector<MailRecipient>& offered,
                         std::vector<MailRecipient>& chosen) override;
    int Send(const MailMessage& message, bool report) override;

    // The mailbox, message by message: the first (first set) or the one after seed. An empty
    // mailbox says "No Matching Messages Found." whatever report asks.
    int FindNextMessage(bool report, bool first, const std::string& seed, std::string& id);
    // A message as the list shows it (nothing fetched), or whole.
    int ReadMessage(bool report, const std::string& id, MessageSummary& summary);
    int ReadMessage(bool report, const std::string& id, MessageContent& content);

    // Every failure is said, whatever the caller's report flag (the console's rule: its
    // messages are lines on standard error, never questions).
    void ReportAlways(bool always) { reportAlways_ = always; }

    // The profile as stored (or the defaults), and storing a changed one.
    MailProfile StoredProfile() const;
    bool StoreProfile(const MailProfile& profile);

private:
    enum class Purpose { Send, Read };
    int LogonFor(Purpose purpose, bool report, int flags);
    int Prepare(Purpose purpose, bool mayAsk);
    int Verify(Purpose purpose);
    const MailServer* ServerFor(Purpose purpose) const;
    std::string AccountFor(Purpose purpose) const;
    void KeepPassword(Purpose purpose);
    // While the mail system works, the window is kept alive, and may stop it.
    KeepGoing Waiting();

    UserPort& ui_;
    MailUi& dialogs_;
    SettingsStore& store_;
    std::string profileKey_;
    PasswordStore& passwords_;
    const ProgramRunner& programs_;  // the sendmail's starter

    bool reportAlways_ = false;
    bool profileLoaded_ = false;
    MailProfile profile_;
    bool sendReady_ = false;
    bool readReady_ = false;
    std::string sendPassword_;
    std::string readPassword_;
    bool sendPasswordAsked_ = false;
    bool readPasswordAsked_ = false;
    std::unique_ptr<Mailbox> mailbox_;
    std::vector<MessageSummary> listing_;
};

}  // namespace mandrel
