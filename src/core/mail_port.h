// The mail system as the shell and the encoder see it: a session opened before a list of jobs
// and closed after it, the choice of recipients, and one message sent for each part. Results
// are the codes of the platform's simple messaging interface: 0 success, 1 cancelled by the
// user, 3 logon failure, and the others the mail layer's table names.
#pragma once

#include <string>
#include <vector>

namespace mandrel {

struct MailRecipient {
    std::string name;
    std::string address;  // "SMTP:" and the address as typed
};
struct MailMessage {
    std::string subject;
    std::string noteText;
    std::string messageType;  // the internal name
    std::string dateReceived = "(none)";
    int flags = 1;  // unread
    std::vector<MailRecipient> recipients;
};

// Result codes the shell acts on.
inline constexpr int kMailSuccess = 0;
inline constexpr int kMailUserAbort = 1;
inline constexpr int kMailLoginFailure = 3;
inline constexpr int kMailInvalidRecipients = 25;
inline constexpr int kMailNotSupported = 26;

// Logon flags: the logon may ask (set up the mail system, a password), for a new session; and
// the flags of a command line that named its recipients.
inline constexpr int kMailLogonInteractive = 3;
inline constexpr int kMailLogonNamedRecipients = 0x42;
inline constexpr int kMailLogonUi = 1;

class MailPort {
public:
    virtual ~MailPort() = default;
    // Opens the session unless one is open; report asks for a message box on failure.
    virtual int Logon(bool report, int flags) = 0;
    virtual int Logoff(bool report) = 0;
    // The recipients of the session's messages, starting from those offered.
    virtual int ChooseRecipients(bool report, const std::vector<MailRecipient>& offered,
                                 std::vector<MailRecipient>& chosen) = 0;
    virtual int Send(const MailMessage& message, bool report) = 0;
};

}  // namespace mandrel
