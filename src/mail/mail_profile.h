// The mail profile: how messages are sent (the system's sendmail, or an SMTP server) and where
// the mailbox is (an IMAP server, a Maildir folder or an mbox file), with the sender's address.
// It is kept in the settings store beside the program's settings; passwords never are (they go
// to the desktop's keyring).
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace mandrel {

class SettingsStore;

enum class MailTransport { Sendmail, Smtp };
enum class MailSecurity { None, StartTls, Tls };
enum class MailboxKind { Imap, Maildir, Mbox };

struct MailServer {
    std::string host;
    int port = 0;  // 0: the usual port for the protocol and security
    MailSecurity security = MailSecurity::StartTls;
    std::string user;  // empty: no login
};

// A server with what it takes to reach it: the password for its user and the certificate to
// trust besides the system's.
struct ServerAccess {
    MailServer server;
    std::string password;
    std::string caFile;
};

struct MailProfile {
    std::string sender;  // the From address
    MailTransport transport = MailTransport::Sendmail;
    std::string sendmailCommand = "/usr/sbin/sendmail";  // run with -t -i
    MailServer smtp;
    MailboxKind mailbox = MailboxKind::Maildir;
    MailServer imap;
    std::string imapFolder = "INBOX";
    std::string maildir;
    std::string mbox;
    std::string caFile;  // a certificate to trust besides the system's (a self-signed server)
    std::vector<std::string> recent;  // addresses used before, the latest first
};

// What a user who has set up nothing gets: the system's sendmail, the mbox that $MAIL names
// or else ~/Maildir, and the user's name at this host as the sender.
MailProfile DefaultMailProfile();

// The port a server is reached on: its own, or the usual one for the protocol and security.
int SmtpPort(const MailServer& server);
int ImapPort(const MailServer& server);

// The settings key of the profile, beside the program's own: "...\Mandrel32\Mail".
std::string MailProfileKey(std::string_view settingsKey);
// Reads the profile over the defaults; false when none was ever saved (the addresses used
// before do not count).
bool ReadMailProfile(MailProfile& profile, SettingsStore& store, std::string_view key);
// Writes the whole profile; false when the store refused.
bool WriteMailProfile(const MailProfile& profile, SettingsStore& store, std::string_view key);

// The account a server's password is kept under: "smtp:user@host:port".
std::string PasswordAccount(const char* protocol, const std::string& user, const std::string& host,
                            int port);
// The accounts of a profile's SMTP and IMAP server, on the ports they are reached on.
std::string SmtpAccount(const MailServer& server);
std::string ImapAccount(const MailServer& server);

// Puts addresses at the front of the recent ones (each once), keeping at most 50.
void RememberRecipients(MailProfile& profile, const std::vector<std::string>& addresses);
// Writes the recent addresses alone, so that a profile never saved stays unsaved.
bool WriteRecentRecipients(const std::vector<std::string>& recent, SettingsStore& store,
                           std::string_view key);

}  // namespace mandrel
