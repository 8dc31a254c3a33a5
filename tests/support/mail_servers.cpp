#include "support/mail_servers.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <grp.h>
#include <netinet/in.h>
#include <pwd.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <fstream>
#include <thread>
#include <vector>

namespace mandrel::test {

namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;

// Who the servers' processes run as: Dovecot refuses root for its mail and login processes.
struct RunAs {
    std::string user;
    std::string loginUser;
    uid_t uid;
    gid_t gid;
};

RunAs ServerUser() {
    const bool root = ::geteuid() == 0;
    const passwd* user = root ? ::getpwnam("dovecot") : ::getpwuid(::geteuid());
    if (user == nullptr) {
        return {"", "", ::geteuid(), ::getegid()};
    }
    return {user->pw_name, root ? "dovenull" : user->pw_name, user->pw_uid, user->pw_gid};
}

bool Accepts(int port) {
    const int fd = ::socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<uint16_t>(port));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    const bool connected =
        ::connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
    ::close(fd);
    return connected;
}

template <typename Ready>
bool WaitUntil(Ready ready) {
    for (int i = 0; i < 200; ++i) {
        if (ready()) {
            return true;
        }
        std::this_thread::sleep_for(50ms);
    }
    return false;
}

void ChangeOwner(const fs::path& path, const RunAs& runAs) {
    if (::geteuid() != 0) {
        return;
    }
    ::chown(path.c_str(), runAs.uid, runAs.gid);
    for (const auto& entry : fs::recursive_directory_iterator(path)) {
        ::chown(entry.path().c_str(), runAs.uid, runAs.gid);
    }
}

std::string DovecotConfig(const fs::path& dir, const fs::path& maildir, int imap, int imaps,
                          const RunAs& runAs) {
    const std::string d = dir.string();
    return "base_dir = " + d +
           "/run\n"
           "state_dir = " +
           d +
           "/run\n"
           "log_path = " +
           d +
           "/dovecot.log\n"
           "protocols = imap\n"
           "listen = 127.0.0.1\n"
           "ssl = yes\n"
           "ssl_cert = <" +
           d +
           "/cert.pem\n"
           "ssl_key = <" +
           d +
           "/key.pem\n"
           "disable_plaintext_auth = no\n"
           "auth_failure_delay = 0\n"
           "mail_location = maildir:" +
           maildir.string() +
           "\n"
           "default_internal_user = " +
           runAs.user +
           "\n"
           "default_login_user = " +
           runAs.loginUser +
           "\n"
           "default_internal_group = " +
           runAs.user +
           "\n"
           "first_valid_uid = 0\n"
           "passdb {\n  driver = static\n  args = password=" +
           MailServers::kPassword +
           "\n}\n"
           "userdb {\n  driver = static\n  args = uid=" +
           std::to_string(runAs.uid) + " gid=" + std::to_string(runAs.gid) + " home=" + d +
           "/home\n}\n"
           // No slower logins after a wrong password: the tests try one on purpose.
           "service anvil {\n  unix_listener anvil-auth-penalty {\n    mode = 0\n  }\n}\n"
           "service imap-login {\n"
           "  inet_listener imap {\n    address = 127.0.0.1\n    port = " +
           std::to_string(imap) +
           "\n  }\n"
           "  inet_listener imaps {\n    address = 127.0.0.1\n    port = " +
           std::to_string(imaps) + "\n    ssl = yes\n  }\n}\n";
}

}  // namespace

int MailServers::UnusedPort() {
    const int fd = ::socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    // The system's choice of a free port is what is wanted; a failure gives port 0, which no
    // server gets to listen on, and the fixture says so.
    (void)::bind(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address);
    (void)::getsockname(fd, reinterpret_cast<sockaddr*>(&address), &size);
    ::close(fd);
    return ntohs(address.sin_port);
}

MailServers::MailServers() {
    Start();
}

void MailServers::Start() {
    std::array<char, 32> pattern{"/tmp/mandrel-mail-XXXXXX"};
    if (::mkdtemp(pattern.data()) == nullptr) {
        error_ = "no scratch directory";
        return;
    }
    dir_ = pattern.data();
    fs::permissions(dir_, fs::perms::owner_all | fs::perms::group_read | fs::perms::group_exec |
                              fs::perms::others_read | fs::perms::others_exec);
    maildir_ = dir_ / "maildir";
    for (const char* sub : {"maildir/cur", "maildir/new", "maildir/tmp", "home", "run"}) {
        fs::create_directories(dir_ / sub);
    }
    const std::string openssl =
        "openssl req -x509 -newkey rsa:2048 -nodes -days 2 -subj /CN=localhost -addext "
        "subjectAltName=IP:127.0.0.1,DNS:localhost -keyout '" +
        (dir_ / "key.pem").string() + "' -out '" + CertFile() + "' >/dev/null 2>&1";
    if (std::system(openssl.c_str()) != 0) {
        error_ = "openssl could not make a certificate";
        return;
    }
    fs::permissions(dir_ / "key.pem", fs::perms::owner_read | fs::perms::owner_write);
    smtpPort = UnusedPort();
    smtpStartTlsPort = UnusedPort();
    smtpTlsPort = UnusedPort();
    imapPort = UnusedPort();
    imapsPort = UnusedPort();
    const RunAs runAs = ServerUser();
    ChangeOwner(maildir_, runAs);
    ChangeOwner(dir_ / "home", runAs);
    ::chown((dir_ / "key.pem").c_str(), runAs.uid, runAs.gid);
    if (StartDovecot()) {
        StartSmtp();
    }
}

bool MailServers::StartDovecot() {
    const RunAs runAs = ServerUser();
    const fs::path config = dir_ / "dovecot.conf";
    std::ofstream(config) << DovecotConfig(dir_, maildir_, imapPort, imapsPort, runAs);
    if (std::system(("dovecot -c '" + config.string() + "' >/dev/null 2>&1").c_str()) != 0) {
        error_ = "dovecot did not start (is dovecot-imapd installed?)";
        return false;
    }
    dovecotStarted_ = true;
    if (!WaitUntil([this] { return Accepts(imapPort) && Accepts(imapsPort); })) {
        error_ = "dovecot does not listen on " + std::to_string(imapPort);
        return false;
    }
    return true;
}

bool MailServers::StartSmtp() {
    const RunAs runAs = ServerUser();
    const fs::path ready = dir_ / "home" / "smtp.ready";  // the mail user may write there
    std::vector<std::string> args = {"/usr/bin/python3",
                                     MANDREL_SMTP_SERVER_SCRIPT,
                                     maildir_.string(),
                                     ready.string(),
                                     std::to_string(smtpPort),
                                     std::to_string(smtpStartTlsPort),
                                     std::to_string(smtpTlsPort),
                                     CertFile(),
                                     (dir_ / "key.pem").string(),
                                     kUser,
                                     kPassword};
    smtpPid_ = ::fork();
    if (smtpPid_ == 0) {
        // Delivered files must be the mail user's, so that Dovecot reads them.
        if (::geteuid() == 0 && (::setgroups(0, nullptr) != 0 || ::setgid(runAs.gid) != 0 ||
                                 ::setuid(runAs.uid) != 0)) {
            ::_exit(127);
        }
        // Its complaints go to a log of its own rather than into the tests' output.
        const int log = ::open((dir_ / "home" / "smtp.log").c_str(), O_WRONLY | O_CREAT, 0644);
        ::dup2(log, STDOUT_FILENO);
        ::dup2(log, STDERR_FILENO);
        std::vector<char*> argv;
        argv.reserve(args.size() + 1);
        for (std::string& arg : args) {
            argv.push_back(arg.data());
        }
        argv.push_back(nullptr);
        ::execv(argv[0], argv.data());
        ::_exit(127);
    }
    if (!WaitUntil([&ready] { return fs::exists(ready); })) {
        error_ = "the SMTP server did not start (is python3-aiosmtpd installed?)";
        return false;
    }
    return true;
}

MailServers::~MailServers() {
    if (smtpPid_ > 0) {
        ::kill(smtpPid_, SIGTERM);
        int status = 0;
        if (!WaitUntil([&] { return ::waitpid(smtpPid_, &status, WNOHANG) == smtpPid_; })) {
            ::kill(smtpPid_, SIGKILL);
            ::waitpid(smtpPid_, &status, 0);
        }
    }
    if (dovecotStarted_) {
        std::ifstream pidFile(dir_ / "run" / "master.pid");
        pid_t master = 0;
        if (pidFile >> master && master > 0) {
            ::kill(master, SIGTERM);
            WaitUntil([master] { return ::kill(master, 0) != 0; });
        }
    }
    std::error_code ec;
    if (!dir_.empty()) {
        fs::remove_all(dir_, ec);
    }
}

std::size_t MailServers::MessageCount() const {
    std::size_t count = 0;
    for (const char* sub : {"new", "cur"}) {
        std::error_code ec;
        for (const auto& entry : fs::directory_iterator(maildir_ / sub, ec)) {
            count += entry.is_regular_file() ? 1 : 0;
        }
    }
    return count;
}

bool MailServers::WaitForMessages(std::size_t count) const {
    return WaitUntil([&] { return MessageCount() >= count; });
}

void MailServers::ClearMaildir() const {
    for (const char* sub : {"new", "cur"}) {
        std::error_code ec;
        for (const auto& entry : fs::directory_iterator(maildir_ / sub, ec)) {
            fs::remove(entry.path(), ec);
        }
    }
}

}  // namespace mandrel::test
