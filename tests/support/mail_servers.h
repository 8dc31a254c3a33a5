// Real mail servers on loopback for the mail tests: Dovecot serving a scratch Maildir over IMAP
// (STARTTLS offered) and IMAPS, and an SMTP server (aiosmtpd) delivering into that Maildir over
// plain SMTP, STARTTLS and TLS, with a self-signed certificate for 127.0.0.1 made here. All of
// it lives in a scratch directory and stops when the object goes. Never any address but
// loopback.
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <filesystem>
#include <string>

namespace mandrel::test {

class MailServers {
public:
    MailServers();
    ~MailServers();
    MailServers(const MailServers&) = delete;
    MailServers& operator=(const MailServers&) = delete;

    // Why the servers did not start; empty when they all run.
    const std::string& Error() const { return error_; }
    const std::filesystem::path& Maildir() const { return maildir_; }
    std::string CertFile() const { return (dir_ / "cert.pem").string(); }
    std::size_t MessageCount() const;
    // Waits (a few seconds at most) until the Maildir holds count messages.
    bool WaitForMessages(std::size_t count) const;
    // Empties the Maildir.
    void ClearMaildir() const;

    static constexpr const char* kUser = "tester";
    static constexpr const char* kPassword = "secret";
    int smtpPort = 0;          // anyone may send
    int smtpStartTlsPort = 0;  // STARTTLS, then the login
    int smtpTlsPort = 0;       // TLS from the start, then the login
    int imapPort = 0;          // STARTTLS offered; any user with the password
    int imapsPort = 0;

    // A loopback port nothing listens on.
    static int UnusedPort();

private:
    void Start();
    bool StartDovecot();
    bool StartSmtp();

    std::filesystem::path dir_;
    std::filesystem::path maildir_;
    pid_t smtpPid_ = -1;
    bool dovecotStarted_ = false;
    std::string error_;
};

}  // namespace mandrel::test
