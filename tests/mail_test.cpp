// Mail against real servers on loopback (Dovecot, aiosmtpd, msmtp as sendmail): a file encoded
// into one message per part through the shell, as the console's M switch runs it, comes back
// from the mailbox listed, read and decoded to the same bytes, over every transport and mailbox;
// every failure says the described text; the listing marks nothing read and can be stopped.
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <deque>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "core/password_store.h"
#include "mail/mail_codes.h"
#include "mail/mail_decode.h"
#include "mail/mail_session.h"
#include "mail/mail_ui.h"
#include "platform/child_process.h"
#include "platform/keyring_passwords.h"
#include "platform/qsettings_store.h"
#include "platform/scripted_ui.h"
#include "shell/app_state.h"
#include "shell/file_list_runner.h"
#include "shell/job_runner.h"
#include "support/encoded_text.h"
#include "support/mail_servers.h"
#include "support/memory_passwords.h"
#include "support/test_files.h"

namespace mandrel {
namespace {

namespace fs = std::filesystem;
using test::MailServers;

// The dialogs, answered from a script; what they were asked is kept.
class ScriptedMailUi : public MailUi {
public:
    bool EditMailSettings(MailProfile& profile) override {
        ++settingsShown;
        if (!settings) {
            return false;
        }
        profile = *settings;
        return true;
    }
    std::optional<std::string> AskPassword(const std::string& prompt) override {
        prompts.push_back(prompt);
        return password;
    }
    std::optional<std::vector<std::string>> ChooseRecipients(
        const std::vector<std::string>& offered, const std::vector<std::string>& recent) override {
        offeredSeen = offered;
        recentSeen = recent;
        return recipients;
    }
    bool KeepWaiting() override { return ++waits < stopAfter; }

    std::optional<MailProfile> settings;
    std::optional<std::string> password;
    std::optional<std::vector<std::string>> recipients;
    int settingsShown = 0;
    std::vector<std::string> prompts;
    std::vector<std::string> offeredSeen;
    std::vector<std::string> recentSeen;
    int waits = 0;
    int stopAfter = 1 << 30;
};

using test::MemoryPasswords;

class Mail : public ::testing::Test {
protected:
    Mail()
        : store(dir.File("config")),
          session(ui, dialogs, store, kProfileKey, passwords, programs) {}

    static constexpr const char* kProfileKey = R"(Software\Quorvane, Inc.\Mandrel32\Mail)";

    MailServer Server(int port, MailSecurity security, bool login = true) const {
        return {"127.0.0.1", port, security, login ? MailServers::kUser : ""};
    }
    // Sending through one of the SMTP server's listeners, as the tester.
    MailProfile SmtpProfile(int port, MailSecurity security) const {
        MailProfile profile;
        profile.transport = MailTransport::Smtp;
        profile.smtp = Server(port, security);
        profile.sender = "tester@example.org";
        profile.caFile = servers.CertFile();
        return profile;
    }
    // A profile saved as the settings dialog would save it.
    void Use(MailProfile profile) {
        profile.sender = "tester@example.org";
        profile.caFile = servers.CertFile();
        ASSERT_TRUE(session.StoreProfile(profile));
        session.Logoff(false);
    }
    void KeepPassword(const char* protocol, int port) {
        passwords.kept[PasswordAccount(protocol, MailServers::kUser, "127.0.0.1", port)] =
            MailServers::kPassword;
    }

    // Encodes bytes as SimTel parts and mails them to the recipients, as "-N -Eu -M..." does.
    std::vector<JobOutcome> MailFile(const std::string& bytes, const std::vector<std::string>& to) {
        const std::string path = dir.File("photo.jpg");
        test::WriteFile(path, bytes);
        AppState app(ui, ui);
        app.delivery.SetMail(&session);
        app.files.BufFileInit(10, 16384);
        app.config.encodetype = kSimTel;
        app.config.encodeoutputsize = 50000;
        app.config.encodechecksum = 1;
        app.options.Interactive = 0;
        app.options.CmdLineEncode = 1;
        app.options.EncodeToMail = true;
        for (const std::string& address : to) {
            app.options.Recipients.push_back({address, "SMTP:" + address});
        }
        app.list.FileList = {path};
        app.list.FileCount = 1;
        std::vector<JobOutcome> outcomes = RunFileList(app);
        app.files.BufFileShutdown();
        return outcomes;
    }

    // Lists the mailbox as the decode dialog does: every id, each read as the list shows it.
    std::vector<MessageSummary> ListMailbox() {
        std::vector<MessageSummary> listed;
        std::string id;
        for (bool first = true; session.FindNextMessage(false, first, id, id) == kMailSuccess;
             first = false) {
            MessageSummary& summary = listed.emplace_back();
            EXPECT_EQ(session.ReadMessage(true, id, summary), kMailSuccess);
        }
        return listed;
    }

    // Takes the messages as "&Decode" does and decodes the temporary file they became.
    std::string DecodeMessages(const std::vector<MessageSummary>& listed) {
        std::vector<std::string> ids;
        ids.reserve(listed.size());
        for (const MessageSummary& summary : listed) {
            ids.push_back(summary.id);
        }
        AppState app(ui, ui);
        app.files.BufFileInit(10, 16384);
        app.config.usedefaultnames = 1;
        const TakenMessages taken = TakeMessages(app, session, ids, dir.File("out"), true);
        EXPECT_TRUE(taken.anythingDone);
        EXPECT_EQ(taken.textFiles.size(), 1U);  // decodejoin: one input for them all
        fs::remove_all(dir.path() / "out");
        fs::create_directories(dir.path() / "out");
        JobRequest request;
        request.direction = JobRequest::Direction::Decode;
        request.inputs = taken.textFiles;
        request.inputIsTemporary = true;
        request.inputDirectory = dir.File("out");
        const JobOutcome outcome = RunJob(app, request);
        EXPECT_EQ(outcome.result, kResultDone) << outcome.failure;
        EXPECT_FALSE(fs::exists(taken.textFiles.front()));
        app.files.BufFileShutdown();
        return test::ReadFile(dir.File("out/photo.jpg"));
    }

    // The Maildir's messages as an mbox file, each after its "From " line, "From " lines of
    // their text escaped.
    void MaildirToMbox(const std::string& mbox) const {
        std::vector<fs::path> files;
        for (const char* sub : {"new", "cur"}) {
            for (const auto& entry : fs::directory_iterator(servers.Maildir() / sub)) {
                files.push_back(entry.path());
            }
        }
        std::sort(files.begin(), files.end());
        std::ofstream out(mbox, std::ios::binary);
        for (const fs::path& file : files) {
            out << "From tester@example.org Mon Nov 23 10:01:00 2026\n";
            const std::string text = test::ReadFile(file.string());
            for (const auto line : test::SplitLines(text)) {
                out << (line.starts_with("From ") ? ">" : "") << line << "\n";
            }
            out << "\n";
        }
    }

    MailServers servers;
    test::TempDir dir;
    ScriptedUi ui;
    ScriptedMailUi dialogs;
    MemoryPasswords passwords;
    SystemPrograms programs;
    QSettingsStore store;
    MailSession session;
};

TEST_F(Mail, PartsGoOutAsMessagesAndComeBackFromEveryMailbox) {
    ASSERT_EQ(servers.Error(), "");
    const std::string bytes = test::RandomBytes(10, std::size_t{100} * 1024);
    const std::string msmtp = "msmtp --host=127.0.0.1 --port=" + std::to_string(servers.smtpPort) +
                              " --from=tester@example.org --auth=off --tls=off";
    struct Case {
        const char* what;
        MailTransport transport;
        MailServer smtp;
        std::string sendmail;
        MailboxKind mailbox;
        MailServer imap;
    };
    const Case cases[] = {
        {"SMTP with STARTTLS, IMAP", MailTransport::Smtp,
         Server(servers.smtpStartTlsPort, MailSecurity::StartTls), "", MailboxKind::Imap,
         Server(servers.imapPort, MailSecurity::StartTls)},
        {"SMTP over TLS, IMAPS", MailTransport::Smtp,
         Server(servers.smtpTlsPort, MailSecurity::Tls), "", MailboxKind::Imap,
         Server(servers.imapsPort, MailSecurity::Tls)},
        {"sendmail (msmtp), plain IMAP",
         MailTransport::Sendmail,
         {},
         msmtp,
         MailboxKind::Imap,
         Server(servers.imapPort, MailSecurity::None)},
        {"plain SMTP, Maildir",
         MailTransport::Smtp,
         Server(servers.smtpPort, MailSecurity::None, false),
         "",
         MailboxKind::Maildir,
         {}},
        {"plain SMTP, mbox",
         MailTransport::Smtp,
         Server(servers.smtpPort, MailSecurity::None, false),
         "",
         MailboxKind::Mbox,
         {}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        servers.ClearMaildir();
        MailProfile profile;
        profile.transport = c.transport;
        profile.smtp = c.smtp;
        profile.sendmailCommand = c.sendmail;
        profile.mailbox = c.mailbox;
        profile.imap = c.imap;
        profile.maildir = servers.Maildir().string();
        profile.mbox = dir.File("mbox");
        Use(profile);
        KeepPassword("smtp", c.smtp.port);
        KeepPassword("imap", c.imap.port);

        const std::vector<JobOutcome> sent =
            MailFile(bytes, {"alice@example.org", "bob@example.org"});
        ASSERT_EQ(sent.size(), 1U);
        EXPECT_EQ(sent[0].result, kResultDone) << test::Join(ui.MessageTexts());
        EXPECT_EQ(sent[0].report,
                  "photo.jpg Successfully UU Encoded 3 Parts\r\nto 2 E-mail Recipients");
        ASSERT_TRUE(servers.WaitForMessages(3));
        MaildirToMbox(dir.File("mbox"));

        ASSERT_EQ(session.LogonToMailbox(true, kMailLogonInteractive), kMailSuccess);
        const std::vector<MessageSummary> listed = ListMailbox();
        ASSERT_EQ(listed.size(), 3U);
        for (const MessageSummary& summary : listed) {
            EXPECT_EQ(summary.type, "Mandrel32");
            EXPECT_EQ(summary.from, "Mandrel");
            EXPECT_TRUE(summary.subject.starts_with("* Mandrel32 *; UU; photo.jpg; "))
                << summary.subject;
            EXPECT_FALSE(summary.hasAttachments);
            EXPECT_GT(summary.size, 30000U);
            EXPECT_EQ(summary.received.size(), 16U) << summary.received;
        }
        EXPECT_EQ(DecodeMessages(listed), bytes);
        // Nothing but the decode's report was said, and the sum lines came through the mail.
        ASSERT_EQ(ui.messages.size(), 1U) << test::Join(ui.MessageTexts());
        EXPECT_TRUE(ui.messages[0].text.ends_with(" Successfully UU Decoded 3 Parts\r\nas " +
                                                  dir.File("out/photo.jpg") +
                                                  "\r\nChecksum data found valid."))
            << ui.messages[0].text;
        ui.messages.clear();
        session.Logoff(true);
    }
    // Each job logged on for the named recipients, offered them and logged off at its end.
    EXPECT_EQ(std::count(ui.statuses.begin(), ui.statuses.end(),
                         "Successfully Logged into E-mail System."),
              10);
}

TEST_F(Mail, FailuresSayWhatTheMailSystemSaid) {
    ASSERT_EQ(servers.Error(), "");
    const int down = MailServers::UnusedPort();
    const auto smtp = [&](int port, MailSecurity security) {
        MailProfile profile;
        profile.transport = MailTransport::Smtp;
        profile.smtp = Server(port, security);
        return profile;
    };
    const auto sendmail = [&](const std::string& command) {
        MailProfile profile;
        profile.sendmailCommand = command;
        return profile;
    };
    const auto imap = [&](int port) {
        MailProfile profile;
        profile.mailbox = MailboxKind::Imap;
        profile.imap = Server(port, MailSecurity::StartTls);
        return profile;
    };
    const auto msmtpTo = [&](int port) {
        return "msmtp --host=127.0.0.1 --port=" + std::to_string(port) +
               " --from=tester@example.org --auth=off --tls=off";
    };
    const auto send = [&](const char* to) {
        EXPECT_EQ(session.Logon(true, kMailLogonInteractive), kMailSuccess);
        MailMessage message;
        message.subject = "test";
        message.noteText = "text\r\n";
        message.recipients = {{to, std::string("SMTP:") + to}};
        return session.Send(message, true);
    };
    const auto logon = [&] { return session.Logon(true, kMailLogonInteractive); };
    const auto logonToMailbox = [&] { return session.LogonToMailbox(true, kMailLogonInteractive); };
    const auto findFirst = [&] {
        EXPECT_EQ(logonToMailbox(), kMailSuccess);
        std::string id;
        return session.FindNextMessage(false, true, id, id);
    };
    const auto chooseNone = [&] {
        dialogs.recipients = std::vector<std::string>{};
        std::vector<MailRecipient> chosen;
        return session.ChooseRecipients(true, {}, chosen);
    };
    const auto cancelRecipients = [&] {
        dialogs.recipients.reset();
        std::vector<MailRecipient> chosen;
        return session.ChooseRecipients(true, {{"bob", "SMTP:bob"}}, chosen);
    };
    struct Case {
        const char* what;
        MailProfile profile;
        const char* protocol;  // the server whose password is kept ("smtp", "imap"); null: none
        const char* password;
        std::function<int()> step;
        int code;
        int style;  // of the box; -1: none shown
        std::string text;
    };
    const Case cases[] = {
        {"SMTP server down", smtp(down, MailSecurity::None), "smtp", MailServers::kPassword, logon,
         kMailNetworkFailure, kMbStop, "Unable to Login for E-mail because Network Failure."},
        {"SMTP password wrong", smtp(servers.smtpStartTlsPort, MailSecurity::StartTls), "smtp",
         "wrong", logon, kMailAccessDenied, kMbStop,
         "Unable to Login for E-mail because Access Denied."},
        {"SMTP refuses a recipient", smtp(servers.smtpTlsPort, MailSecurity::Tls), "smtp",
         MailServers::kPassword, [&] { return send("refused@example.org"); }, kMailUnknownRecipient,
         kMbStop, "Sending E-mail Message Failed because Unknown Recipient."},
        {"sendmail cannot reach its server", sendmail(msmtpTo(down)), nullptr, nullptr,
         [&] { return send("bob@example.org"); }, kMailNetworkFailure, kMbStop,
         "Sending E-mail Message Failed because Network Failure."},
        {"sendmail's server refuses a recipient", sendmail(msmtpTo(servers.smtpPort)), nullptr,
         nullptr, [&] { return send("refused@example.org"); }, kMailUnknownRecipient, kMbStop,
         "Sending E-mail Message Failed because Unknown Recipient."},
        {"no sendmail", sendmail("/nonexistent/sendmail"), nullptr, nullptr, logon,
         kMailNotSupported, kMbStop, "Unable to Login for E-mail because Feature Not Supported."},
        {"IMAP server down", imap(down), "imap", MailServers::kPassword, logonToMailbox,
         kMailNetworkFailure, kMbStop, "Unable to Login for E-mail because Network Failure."},
        {"IMAP password wrong", imap(servers.imapPort), "imap", "wrong", logonToMailbox,
         kMailAccessDenied, kMbStop, "Unable to Login for E-mail because Access Denied."},
        {"empty mailbox", imap(servers.imapPort), "imap", MailServers::kPassword, findFirst,
         kMailNoMessages, kMbExclamation, "No Matching Messages Found."},
        {"no recipient chosen", MailProfile{}, nullptr, nullptr, chooseNone, kMailInvalidRecipients,
         kMbExclamation, "Must Choose at least one E-mail Recipient."},
        {"recipients dialog cancelled", MailProfile{}, nullptr, nullptr, cancelRecipients,
         kMailUserAbort, -1, ""},
    };
    servers.ClearMaildir();
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        Use(c.profile);
        passwords.kept.clear();
        if (c.protocol != nullptr) {
            const bool smtpServer = std::string(c.protocol) == "smtp";
            passwords
                .kept[PasswordAccount(c.protocol, MailServers::kUser, "127.0.0.1",
                                      smtpServer ? c.profile.smtp.port : c.profile.imap.port)] =
                c.password;
        }
        ui.messages.clear();
        EXPECT_EQ(c.step(), c.code);
        if (c.style < 0) {
            EXPECT_EQ(ui.messages.size(), 0U);
        } else {
            ASSERT_EQ(ui.messages.size(), 1U) << test::Join(ui.MessageTexts());
            EXPECT_EQ(ui.messages[0].style, c.style);
            EXPECT_EQ(ui.messages[0].text, c.text);
        }
        if (c.code == kMailAccessDenied) {
            // The keyring's wrong password is forgotten, so that the next logon asks.
            EXPECT_TRUE(passwords.kept.empty());
        }
    }
}

TEST_F(Mail, TheConsoleMailsWithTheSavedProfileAndAsksNothing) {
    ASSERT_EQ(servers.Error(), "");
    fs::create_directories(dir.path() / "home/config/Quorvane, Inc.");
    const auto profile = [&](int port) {
        test::WriteFile(dir.File("home/config/Quorvane, Inc./Mandrel32.conf"),
                        "[Mail]\nmailsender=tester@example.org\nmailtransport=smtp\n"
                        "smtphost=127.0.0.1\nsmtpsecurity=none\nsmtpport=" +
                            std::to_string(port) + "\n");
    };
    const std::string bytes = test::RandomBytes(11, 3000);
    test::WriteFile(dir.File("photo.jpg"), bytes);
    // Runs the console program in the scratch directory with a home of its own and no desktop.
    const auto mandrel = [&](const std::string& args, std::string& out, std::string& err) {
        const std::string line = "cd '" + dir.path().string() + "' && env -u DISPLAY -u " +
                                 "WAYLAND_DISPLAY -u DBUS_SESSION_BUS_ADDRESS HOME='" +
                                 dir.File("home") + "' XDG_CONFIG_HOME='" +
                                 dir.File("home/config") + "' '" + MANDREL_CONSOLE_PATH + "' " +
                                 args + " </dev/null >out.txt 2>err.txt";
        const int status = std::system(line.c_str());
        out = test::ReadFile(dir.File("out.txt"));
        err = test::ReadFile(dir.File("err.txt"));
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    };
    std::string out;
    std::string err;
    servers.ClearMaildir();
    profile(servers.smtpPort);
    EXPECT_EQ(mandrel("-N -Eu -Malice@example.org,bob@example.org photo.jpg", out, err), 0) << err;
    EXPECT_EQ(out, "photo.jpg Successfully UU Encoded to\n2 E-mail Recipients\n");
    EXPECT_EQ(err, "");
    ASSERT_TRUE(servers.WaitForMessages(1));
    // The message as it was delivered decodes with sharutils' uudecode, headers and all.
    fs::path delivered = *fs::directory_iterator(servers.Maildir() / "new");
    ASSERT_EQ(std::system(("cd '" + dir.path().string() + "' && uudecode -o back.jpg '" +
                           delivered.string() + "'")
                              .c_str()),
              0);
    EXPECT_EQ(test::ReadFile(dir.File("back.jpg")), bytes);

    // Failures are said on standard error, also without questions.
    profile(MailServers::UnusedPort());
    EXPECT_EQ(mandrel("-N -Eu -Mbob@example.org photo.jpg", out, err), 1);
    EXPECT_EQ(err, "Mandrel Desktop 32: Unable to Login for E-mail because Network Failure.\n");
    // Without a terminal nothing is asked: choosing from the address book gives nobody, and
    // the send is what fails.
    profile(servers.smtpPort);
    EXPECT_EQ(mandrel("-Eu -M@ photo.jpg", out, err), 1);
    EXPECT_EQ(err,
              "Mandrel Desktop 32: Sending E-mail Message Failed because Invalid "
              "Recipients.\n");
    EXPECT_EQ(out, "");
    EXPECT_EQ(servers.MessageCount(), 1U);
}

// The password of a server is asked for once, kept in the desktop's keyring (never in the
// settings file), and found there by the next logon. Run by CTest inside a D-Bus session with
// gnome-keyring (tests/mail/with_keyring.sh), which sets MANDREL_KEYRING_TEST.
TEST_F(Mail, APasswordTypedOnceIsKeptInTheDesktopKeyring) {
    if (std::getenv("MANDREL_KEYRING_TEST") == nullptr) {
        GTEST_SKIP() << "runs inside a keyring session (ctest: mail_keyring)";
    }
    ASSERT_EQ(servers.Error(), "");
    KeyringPasswords keyring("Mandrel32");
    MailSession keyed(ui, dialogs, store, kProfileKey, keyring, programs);
    ASSERT_TRUE(keyed.StoreProfile(SmtpProfile(servers.smtpStartTlsPort, MailSecurity::StartTls)));
    const std::string account =
        PasswordAccount("smtp", MailServers::kUser, "127.0.0.1", servers.smtpStartTlsPort);
    keyring.Forget(account);

    dialogs.password = MailServers::kPassword;
    EXPECT_EQ(keyed.Logon(true, kMailLogonInteractive), kMailSuccess);
    EXPECT_EQ(dialogs.prompts, std::vector<std::string>{"Password for tester on 127.0.0.1:"});
    EXPECT_EQ(ui.MessageTexts(), std::vector<std::string>{});
    keyed.Logoff(true);
    // From outside: the keyring holds it under the program's name.
    std::string kept;
    {
        const std::string lookup = "secret-tool lookup server Mandrel32 user '" + account + "'";
        std::unique_ptr<FILE, int (*)(FILE*)> pipe(::popen(lookup.c_str(), "r"), ::pclose);
        std::array<char, 64> buffer{};
        while (pipe && std::fgets(buffer.data(), buffer.size(), pipe.get()) != nullptr) {
            kept += buffer.data();
        }
    }
    EXPECT_EQ(kept, MailServers::kPassword);
    EXPECT_EQ(test::ReadFile(dir.File("config/Quorvane, Inc./Mandrel32.conf")).find("secret"),
              std::string::npos);
    dialogs.password.reset();
    EXPECT_EQ(keyed.Logon(true, kMailLogonInteractive), kMailSuccess);
    EXPECT_EQ(dialogs.prompts.size(), 1U);
    keyring.Forget(account);
}

// Without any keyring (no D-Bus session) the program still sends: it says the password cannot
// be kept, and asks for it at every logon.
TEST_F(Mail, WithoutAKeyringThePasswordIsAskedEachTime) {
    ASSERT_EQ(servers.Error(), "");
    const test::ScopedEnv noBus("DBUS_SESSION_BUS_ADDRESS", "unix:path=/nonexistent");
    const test::ScopedEnv noDisplay("DISPLAY", "");
    KeyringPasswords keyring("Mandrel32");
    MailSession keyless(ui, dialogs, store, kProfileKey, keyring, programs);
    ASSERT_TRUE(keyless.StoreProfile(SmtpProfile(servers.smtpTlsPort, MailSecurity::Tls)));
    dialogs.password = MailServers::kPassword;
    for (int logon = 1; logon <= 2; ++logon) {
        ui.messages.clear();
        EXPECT_EQ(keyless.Logon(true, kMailLogonInteractive), kMailSuccess);
        EXPECT_EQ(dialogs.prompts.size(), static_cast<std::size_t>(logon));
        ASSERT_EQ(ui.messages.size(), 1U);
        EXPECT_EQ(ui.messages[0].style, kMbInformation);
        EXPECT_TRUE(ui.messages[0].text.starts_with(
            "The password cannot be kept in the desktop's keyring ("))
            << ui.messages[0].text;
        EXPECT_TRUE(
            ui.messages[0].text.ends_with("); it will be asked for again when it is needed."));
        keyless.Logoff(true);
    }
}

// What the list shows of messages others sent, and what "&Decode" makes of them: attachments
// saved under safe names (a nameless one as "DontKnow.Yet"), a message with both text and
// attachments giving only its attachments, the text of the others joined for the decoder.
TEST(MailboxMessages, AttachmentsAreSavedSafelyAndTextGoesToTheDecoder) {
    test::TempDir dir;
    const std::string uue = "begin 644 note.txt\n#:&D*\n`\nend\n";
    test::WriteFile(
        dir.File("inbox.mbox"),
        "From bea@example.org Mon Nov 23 11:02:00 2026\n"
        "From: =?UTF-8?Q?B=C3=A9a?= <bea@example.org>\nSubject: Minutes\nMIME-Version: 1.0\n"
        "Content-Type: multipart/mixed; boundary=b\n\n--b\nContent-Type: text/plain\n\n"
        "See the files.\n--b\nContent-Type: application/octet-stream\n"
        "Content-Disposition: attachment; filename=\"../../evil.txt\"\n"
        "Content-Transfer-Encoding: base64\n\naGVsbG8=\n--b\n"
        "Content-Type: application/octet-stream\nContent-Disposition: attachment\n\nno name\n"
        "--b--\n\n"
        "From carl@example.net Mon Nov 23 12:30:00 2026\n"
        "From: carl@example.net\nSubject: Part 1\nMIME-Version: 1.0\n"
        "Content-Type: multipart/alternative; boundary=a\n\n--a\nContent-Type: text/plain\n"
        "Content-Transfer-Encoding: quoted-printable\n\n" +
            uue +
            "--a\nContent-Type: text/html\n\n<p>html</p>\n--a--\n\n"
            "From dan@example.net Mon Nov 23 12:31:00 2026\n"
            "Subject: Part 2\n\n>From here on, plain.\n");
    ScriptedUi ui;
    class NoDialogs : public MailUi {
        bool EditMailSettings(MailProfile& /*profile*/) override { return true; }
        std::optional<std::string> AskPassword(const std::string& /*prompt*/) override {
            return std::nullopt;
        }
        std::optional<std::vector<std::string>> ChooseRecipients(
            const std::vector<std::string>& offered,
            const std::vector<std::string>& /*recent*/) override {
            return offered;
        }
        bool KeepWaiting() override { return true; }
    } dialogs;
    test::MemoryPasswords passwords;
    QSettingsStore store(dir.File("config"));
    const SystemPrograms programs;
    MailSession session(ui, dialogs, store, R"(Software\Quorvane, Inc.\Mandrel32\Mail)", passwords,
                        programs);
    MailProfile profile;
    profile.mailbox = MailboxKind::Mbox;
    profile.mbox = dir.File("inbox.mbox");
    profile.sender = "anna@example.org";
    ASSERT_TRUE(session.StoreProfile(profile));
    ASSERT_EQ(session.LogonToMailbox(true, kMailLogonInteractive), kMailSuccess);

    std::vector<MessageSummary> listed;
    std::string id;
    for (bool first = true; session.FindNextMessage(true, first, id, id) == kMailSuccess;
         first = false) {
        ASSERT_EQ(session.ReadMessage(true, id, listed.emplace_back()), kMailSuccess);
    }
    ASSERT_EQ(listed.size(), 3U);
    EXPECT_EQ(listed[0].from,
              "B\xC3\xA9"
              "a");
    EXPECT_EQ(listed[0].type, "multipart/mixed");
    EXPECT_TRUE(listed[0].hasAttachments);
    EXPECT_EQ(listed[0].received, ReceivedText(listed[0].received.empty() ? 0 : [] {
                  std::tm parts{};
                  parts.tm_year = 126;
                  parts.tm_mon = 10;
                  parts.tm_mday = 23;
                  parts.tm_hour = 11;
                  parts.tm_min = 2;
                  parts.tm_isdst = -1;
                  return std::mktime(&parts);
              }()));
    EXPECT_EQ(listed[1].type, "multipart/alternative");
    EXPECT_FALSE(listed[1].hasAttachments);
    EXPECT_EQ(listed[2].from, "");
    EXPECT_EQ(listed[2].type, "");

    AppState app(ui, ui);
    app.files.BufFileInit(10, 16384);
    app.config.usedefaultnames = 1;
    fs::create_directories(dir.path() / "saved");
    const TakenMessages taken = TakeMessages(
        app, session, {listed[0].id, listed[1].id, listed[2].id}, dir.File("saved"), true);
    app.files.BufFileShutdown();
    EXPECT_EQ(ui.MessageTexts(), std::vector<std::string>{});
    EXPECT_TRUE(taken.anythingDone);
    EXPECT_EQ(test::ListDirectory(dir.path() / "saved"), "DontKnow.Yet evil.txt");
    EXPECT_EQ(test::ReadFile(dir.File("saved/evil.txt")), "hello");
    // (The line end before a MIME boundary belongs to the boundary.)
    EXPECT_EQ(test::ReadFile(dir.File("saved/DontKnow.Yet")), "no name");
    // The two text messages, joined: each after its subject line and three line ends, the
    // mbox's escape of "From " undone.
    ASSERT_EQ(taken.textFiles.size(), 1U);
    EXPECT_EQ(test::ReadFile(taken.textFiles[0]),
              "\r\n\r\nSubject: Part 1\r\n\r\n\r\n" + uue.substr(0, uue.size() - 1) +
                  "\r\n\r\nSubject: Part 2\r\n\r\n\r\nFrom here on, plain.\n");
    std::remove(taken.textFiles[0].c_str());
}

}  // namespace
}  // namespace mandrel
