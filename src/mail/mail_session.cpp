#include "mail/mail_session.h"

#include <algorithm>
#include <ctime>

#include "core/format.h"
#include "core/password_store.h"
#include "core/settings_store.h"
#include "core/user_port.h"
#include "mail/mail_codes.h"
#include "mail/mail_ui.h"
#include "mail/mailbox.h"
#include "mail/sendmail_transport.h"
#include "mail/smtp_transport.h"

namespace mandrel {

namespace {

// The originator of every message the program sends.
constexpr const char* kOriginatorName = "Mandrel";

// Codes the logon and recipient steps do not report: a cancelled dialog, and the logon
// failure the mail system has already told the user about.
bool SilentForLogon(int code) {
    return code == kMailUserAbort || code == kMailLoginFailure;
}

}  // namespace

MailSession::MailSession(UserPort& ui, MailUi& dialogs, SettingsStore& store,
                         std::string profileKey, PasswordStore& passwords,
                         const ProgramRunner& programs)
    : ui_(ui),
      dialogs_(dialogs),
      store_(store),
      profileKey_(std::move(profileKey)),
      passwords_(passwords),
      programs_(programs) {}

MailSession::~MailSession() = default;

MailProfile MailSession::StoredProfile() const {
    MailProfile profile = DefaultMailProfile();
    ReadMailProfile(profile, store_, profileKey_);
    return profile;
}

bool MailSession::StoreProfile(const MailProfile& profile) {
    profile_ = profile;
    profileLoaded_ = true;
    return WriteMailProfile(profile, store_, profileKey_);
}

KeepGoing MailSession::Waiting() {
    return [this] { return dialogs_.KeepWaiting(); };
}

int MailSession::Logon(bool report, int flags) {
    return LogonFor(Purpose::Send, report, flags);
}

int MailSession::LogonToMailbox(bool report, int flags) {
    return LogonFor(Purpose::Read, report, flags);
}

int MailSession::LogonFor(Purpose purpose, bool report, int flags) {
    report = report || reportAlways_;
    if (purpose == Purpose::Send ? sendReady_ : readReady_) {
        return kMailSuccess;
    }
    ui_.Status("Logging into E-mail System ...");
    int code = Prepare(purpose, (flags & kMailLogonUi) != 0);
    if (code == kMailSuccess) {
        code = Verify(purpose);
    }
    if (code == kMailSuccess) {
        (purpose == Purpose::Send ? sendReady_ : readReady_) = true;
        KeepPassword(purpose);
        ui_.Status("Successfully Logged into E-mail System.");
        return kMailSuccess;
    }
    if (code == kMailAccessDenied) {
        // The server refused what the keyring holds: the next logon asks again.
        passwords_.Forget(AccountFor(purpose));
    }
    (purpose == Purpose::Send ? sendPassword_ : readPassword_).clear();
    if (report && !SilentForLogon(code)) {
        ShowMessage(ui_, kMbStop, "Unable to Login for E-mail because %s.", MailErrorText(code));
    }
    ui_.Status("");
    return code;
}

int MailSession::Prepare(Purpose purpose, bool mayAsk) {
    if (!profileLoaded_) {
        profile_ = DefaultMailProfile();
        const bool stored = ReadMailProfile(profile_, store_, profileKey_);
        if (!stored && mayAsk) {
            // Nothing set up yet: the stand-in for the mail system's own logon dialog.
            if (!dialogs_.EditMailSettings(profile_)) {
                return kMailUserAbort;
            }
            WriteMailProfile(profile_, store_, profileKey_);
        }
        profileLoaded_ = true;
    }
    const MailServer* server = ServerFor(purpose);
    if (server == nullptr || server->user.empty()) {
        return kMailSuccess;
    }
    std::string& password = purpose == Purpose::Send ? sendPassword_ : readPassword_;
    bool& asked = purpose == Purpose::Send ? sendPasswordAsked_ : readPasswordAsked_;
    asked = false;
    if (const auto kept = passwords_.Read(AccountFor(purpose))) {
        password = *kept;
        return kMailSuccess;
    }
    if (!mayAsk) {
        return kMailAccessDenied;
    }
    const auto typed = dialogs_.AskPassword(
        Format("Password for %s on %s:", server->user.c_str(), server->host.c_str()));
    if (!typed) {
        return kMailUserAbort;
    }
    password = *typed;
    asked = true;
    return kMailSuccess;
}

int MailSession::Verify(Purpose purpose) {
    const KeepGoing keepGoing = Waiting();
    if (purpose == Purpose::Send) {
        if (profile_.transport == MailTransport::Sendmail) {
            return CheckSendmail(programs_, profile_.sendmailCommand);
        }
        return CheckSmtp({profile_.smtp, sendPassword_, profile_.caFile}, keepGoing);
    }
    mailbox_ = OpenMailbox(profile_, readPassword_);
    return mailbox_->Check(keepGoing);
}

const MailServer* MailSession::ServerFor(Purpose purpose) const {
    if (purpose == Purpose::Send) {
        return profile_.transport == MailTransport::Smtp ? &profile_.smtp : nullptr;
    }
    return profile_.mailbox == MailboxKind::Imap ? &profile_.imap : nullptr;
}

std::string MailSession::AccountFor(Purpose purpose) const {
    const MailServer* server = ServerFor(purpose);
    if (server == nullptr) {
        return {};
    }
    return purpose == Purpose::Send ? SmtpAccount(*server) : ImapAccount(*server);
}

// A password typed and taken by the server goes to the keyring; where there is none, it is
// said once, and the password is asked for again at the next logon.
void MailSession::KeepPassword(Purpose purpose) {
    const bool asked = purpose == Purpose::Send ? sendPasswordAsked_ : readPasswordAsked_;
    if (!asked) {
        return;
    }
    std::string why;
    if (!passwords_.Write(AccountFor(purpose),
                          purpose == Purpose::Send ? sendPassword_ : readPassword_, why)) {
        ShowMessage(ui_, kMbInformation,
                    "The password cannot be kept in the desktop's keyring (%s); it will be "
                    "asked for again when it is needed.",
                    why.c_str());
    }
}

int MailSession::Logoff(bool report) {
    if (report) {
        ui_.Status("Logging off of E-mail System ...");
    }
    sendReady_ = false;
    readReady_ = false;
    sendPassword_.clear();
    readPassword_.clear();
    mailbox_.reset();
    listing_.clear();
    profileLoaded_ = false;
    ui_.Status("");
    return kMailSuccess;
}

int MailSession::ChooseRecipients(bool report, const std::vector<MailRecipient>& offered,
                                  std::vector<MailRecipient>& chosen) {
    std::vector<std::string> addresses;
    addresses.reserve(offered.size());
    for (const MailRecipient& recipient : offered) {
        addresses.push_back(RecipientAddress(recipient));
    }
    // Without questions the recipients named are taken as they stand.
    MailProfile stored = StoredProfile();
    std::optional<std::vector<std::string>> picked = addresses;
    if (report) {
        picked = dialogs_.ChooseRecipients(addresses, stored.recent);
    }
    if (!picked) {
        ui_.Status("");
        return kMailUserAbort;
    }
    chosen.clear();
    chosen.reserve(picked->size());
    for (const std::string& address : *picked) {
        chosen.push_back({address, "SMTP:" + address});
    }
    if (chosen.empty()) {
        if (report) {
            ShowMessage(ui_, kMbExclamation, "Must Choose at least one E-mail Recipient.");
            ui_.Status("");
            return kMailInvalidRecipients;
        }
        return kMailSuccess;
    }
    RememberRecipients(stored, *picked);
    WriteRecentRecipients(stored.recent, store_, profileKey_);
    return kMailSuccess;
}

int MailSession::Send(const MailMessage& message, bool report) {
    report = report || reportAlways_;
    std::vector<std::string> to;
    to.reserve(message.recipients.size());
    for (const MailRecipient& recipient : message.recipients) {
        to.push_back(RecipientAddress(recipient));
    }
    int code = kMailSuccess;
    if (!sendReady_) {
        code = kMailInvalidSession;
    } else if (to.empty()) {
        code = kMailInvalidRecipients;
    } else {
        const MessageSender sender{kOriginatorName, profile_.sender};
        const KeepGoing keepGoing = Waiting();
        if (profile_.transport == MailTransport::Smtp) {
            code = SendBySmtp({profile_.smtp, sendPassword_, profile_.caFile}, profile_.sender, to,
                              BuildMessageText(message, sender, std::time(nullptr), "\r\n"),
                              keepGoing);
        } else {
            code = SendBySendmail(programs_, profile_.sendmailCommand,
                                  BuildMessageText(message, sender, std::time(nullptr), "\n"),
                                  keepGoing);
        }
    }
    if (code != kMailSuccess && code != kMailUserAbort && report) {
        ShowMessage(ui_, kMbStop, "Sending E-mail Message Failed because %s.", MailErrorText(code));
    }
    return code;
}

int MailSession::FindNextMessage(bool report, bool first, const std::string& seed,
                                 std::string& id) {
    report = report || reportAlways_;
    int code = readReady_ && mailbox_ ? kMailSuccess : kMailInvalidSession;
    if (code == kMailSuccess && first) {
        code = mailbox_->List(listing_, [this](std::size_t read) {
            if (read > 0) {
                ShowStatus(ui_, "Retrieving E-mail Message %u", static_cast<unsigned>(read));
            }
            return dialogs_.KeepWaiting();
        });
    }
    if (code != kMailSuccess) {
        if (code != kMailUserAbort && report) {
            ShowMessage(ui_, kMbStop, "Browsing E-mail Messages Failed because %s.",
                        MailErrorText(code));
        }
        return code;
    }
    auto next = listing_.begin();
    if (!first) {
        next = std::find_if(listing_.begin(), listing_.end(),
                            [&seed](const MessageSummary& each) { return each.id == seed; });
        if (next != listing_.end()) {
            ++next;
        }
    }
    if (next == listing_.end()) {
        if (first) {
            ShowMessage(ui_, kMbExclamation, "%s.", MailErrorText(kMailNoMessages));
        }
        return kMailNoMessages;
    }
    id = next->id;
    return kMailSuccess;
}

int MailSession::ReadMessage(bool report, const std::string& id, MessageSummary& summary) {
    report = report || reportAlways_;
    const auto found = std::find_if(listing_.begin(), listing_.end(),
                                    [&id](const MessageSummary& each) { return each.id == id; });
    if (found == listing_.end()) {
        if (report) {
            ShowMessage(ui_, kMbStop, "Reading E-mail Message Failed because %s.",
                        MailErrorText(kMailInvalidMessage));
        }
        return kMailInvalidMessage;
    }
    summary = *found;
    return kMailSuccess;
}

int MailSession::ReadMessage(bool report, const std::string& id, MessageContent& content) {
    report = report || reportAlways_;
    int code = readReady_ && mailbox_ ? kMailSuccess : kMailInvalidSession;
    std::string raw;
    if (code == kMailSuccess) {
        code = mailbox_->Fetch(id, raw, Waiting());
    }
    if (code == kMailSuccess && !ParseMessage(raw, content)) {
        code = kMailInvalidMessage;
    }
    if (code != kMailSuccess && code != kMailUserAbort && report) {
        ShowMessage(ui_, kMbStop, "Reading E-mail Message Failed because %s.", MailErrorText(code));
    }
    return code;
}

}  // namespace mandrel
