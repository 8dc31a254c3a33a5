// E-mail in the desktop program, driven as a user drives it on the offscreen platform, against
// real servers on loopback: the settings dialog, the recipients dialog with its completion, a
// file sent as three parts and brought back from the mailbox through the message list, the
// failures said in boxes, a mailbox of thousands listed with the window alive and Cancel
// honoured, and the command line's M switch.
#include <QApplication>
#include <QComboBox>
#include <QCompleter>
#include <QLabel>
#include <QLineEdit>
#include <QListView>
#include <QMessageBox>
#include <QPushButton>
#include <QRadioButton>
#include <QSpinBox>
#include <QTimer>
#include <QTreeWidget>
#include <QtTest>
#include <filesystem>
#include <fstream>
#include <memory>

#include "gui/commands.h"
#include "gui/desktop_mail_ui.h"
#include "gui/job_panel.h"
#include "gui/main_window.h"
#include "gui/modal_script.h"
#include "gui/program_start.h"
#include "gui/recipients_dialog.h"
#include "mail/mail_session.h"
#include "platform/child_process.h"
#include "platform/qsettings_store.h"
#include "support/mail_servers.h"
#include "support/memory_passwords.h"
#include "support/test_files.h"

namespace mandrel {
namespace {

namespace fs = std::filesystem;
using test::ChooseFiles;
using test::Click;
using test::MailServers;
using test::ModalScript;
using test::Press;
using test::Q;

constexpr const char* kProfileKey = R"(Software\Quorvane, Inc.\Mandrel32\Mail)";

QLineEdit* Edit(QWidget* dialog, const char* name) {
    return dialog->findChild<QLineEdit*>(QString::fromLatin1(name));
}
QRadioButton* Radio(QWidget* dialog, const char* name) {
    return dialog->findChild<QRadioButton*>(QString::fromLatin1(name));
}

class MailWindowTest : public QObject {
    Q_OBJECT

private slots:
    void initTestCase();
    void cleanupTestCase();
    void init();
    void cleanup();
    void settingsDialogKeepsThePasswordOutOfTheSettings();
    void aFileGoesOutAsPartsAndComesBackThroughTheMessageList();
    void recipientsAreCompletedFromThoseUsedBefore();
    void aLogonFailureIsSaidAndEndsTheCommand();
    void thousandsOfMessagesListWithTheWindowAliveAndCancelHonoured();
    void theCommandLineMailsWithoutQuestions();

    // Not slots: Qt Test would run these as tests.
private:  // NOLINT(readability-redundant-access-specifiers)
    void PressKey(Qt::Key key, Qt::KeyboardModifiers modifiers = Qt::NoModifier) {
        window_->activateWindow();
        QVERIFY(QTest::qWaitForWindowActive(window_.get()));
        QTest::keyClick(window_.get(), key, modifiers);
    }
    MailServer Server(int port, MailSecurity security) const {
        return {"127.0.0.1", port, security, MailServers::kUser};
    }
    // A profile as the settings dialog saves it, with the servers' passwords kept.
    void Use(MailProfile profile) {
        profile.sender = "tester@example.org";
        profile.caFile = servers_->CertFile();
        QVERIFY(session_->StoreProfile(profile));
        session_->Logoff(false);
        passwords_
            .kept[PasswordAccount("smtp", MailServers::kUser, "127.0.0.1", profile.smtp.port)] =
            MailServers::kPassword;
        passwords_
            .kept[PasswordAccount("imap", MailServers::kUser, "127.0.0.1", profile.imap.port)] =
            MailServers::kPassword;
    }
    std::string Settings() const {
        return test::ReadFile(dir_->File("config/Quorvane, Inc./Mandrel32.conf"));
    }

    std::unique_ptr<MailServers> servers_;
    std::unique_ptr<test::TempDir> dir_;
    std::vector<std::unique_ptr<test::ScopedEnv>> env_;
    std::unique_ptr<MainWindow> window_;
    std::unique_ptr<QSettingsStore> store_;
    test::MemoryPasswords passwords_;
    SystemPrograms programs_;
    std::unique_ptr<DesktopMailUi> mailUi_;
    std::unique_ptr<MailSession> session_;
    std::unique_ptr<ModalScript> script_;
};

void MailWindowTest::initTestCase() {
    servers_ = std::make_unique<MailServers>();
    QCOMPARE(QString::fromStdString(servers_->Error()), QString());
}

void MailWindowTest::cleanupTestCase() {
    servers_.reset();
}

void MailWindowTest::init() {
    dir_ = std::make_unique<test::TempDir>();
    for (const char* sub : {".tmp", "config", "home"}) {
        fs::create_directories(dir_->path() / sub);
    }
    env_.push_back(std::make_unique<test::ScopedEnv>("TMPDIR", dir_->File(".tmp")));
    env_.push_back(std::make_unique<test::ScopedEnv>("HOME", dir_->File("home")));
    env_.push_back(std::make_unique<test::ScopedEnv>("XDG_CONFIG_HOME", dir_->File("config")));
    window_ = std::make_unique<MainWindow>(QStringLiteral(MANDREL_HELP_DOCUMENT));
    window_->State().files.BufFileInit(10, 16384);
    window_->Help().SetOpener([](const QUrl&) { return true; });
    store_ = std::make_unique<QSettingsStore>();
    AppState& app = window_->State();
    LoadSettings(app.config, app.identity, *store_, window_->Ui());
    app.config.usedefaultnames = 1;
    window_->SetSettingsStore(store_.get());
    passwords_ = {};
    mailUi_ =
        std::make_unique<DesktopMailUi>(window_.get(), passwords_, window_->Ui(), window_->Help());
    session_ = std::make_unique<MailSession>(window_->Ui(), *mailUi_, *store_, kProfileKey,
                                             passwords_, programs_);
    window_->SetMail(session_.get(), mailUi_.get());
    window_->SizeToScreen();
    window_->show();
    window_->activateWindow();
    QVERIFY(QTest::qWaitForWindowActive(window_.get()));
    script_ = std::make_unique<ModalScript>();
    servers_->ClearMaildir();
}

void MailWindowTest::cleanup() {
    const int unanswered = script_->unanswered;
    script_.reset();
    window_.reset();
    session_.reset();
    mailUi_.reset();
    store_.reset();
    env_.clear();
    dir_.reset();
    QCOMPARE(unanswered, 0);
}

void MailWindowTest::settingsDialogKeepsThePasswordOutOfTheSettings() {
    script_->Add({[](QWidget* dialog) {
                      QCOMPARE(dialog->windowTitle(), QStringLiteral("E-mail Settings"));
                      // Nothing set up: the system's sendmail; the SMTP fields are out of use.
                      QVERIFY(Radio(dialog, "sendmail")->isChecked());
                      QVERIFY(!Edit(dialog, "smtpHost")->isEnabled());
                      Radio(dialog, "smtp")->click();
                      QVERIFY(Edit(dialog, "smtpHost")->isEnabled());
                      QVERIFY(!Edit(dialog, "sendmailCommand")->isEnabled());
                      Edit(dialog, "smtpHost")->setText(QStringLiteral("mail.example.org"));
                      // The usual port follows the security.
                      auto* port = dialog->findChild<QSpinBox*>(QStringLiteral("smtpPort"));
                      QCOMPARE(port->value(), 587);
                      dialog->findChild<QComboBox*>(QStringLiteral("smtpSecurity"))
                          ->setCurrentText(QStringLiteral("TLS"));
                      QCOMPARE(port->value(), 465);
                      Edit(dialog, "smtpUser")->setText(QStringLiteral("tester"));
                      Edit(dialog, "smtpPassword")->setText(QStringLiteral("s3cret"));
                      Radio(dialog, "imap")->click();
                      Edit(dialog, "imapHost")->setText(QStringLiteral("mail.example.org"));
                      Edit(dialog, "sender")->setText(QString());
                      // Its message is a dialog of its own: clicked from the event loop.
                      QTimer::singleShot(0, dialog->findChild<QPushButton*>(QStringLiteral("1")),
                                         &QPushButton::click);
                  },
                  Press(QMessageBox::Ok),
                  [](QWidget* dialog) {
                      QVERIFY(dialog->isVisible());
                      Edit(dialog, "sender")->setText(QStringLiteral("tester@example.org"));
                      Click(1)(dialog);
                  }});
    window_->Command(kCmdMailSettings);
    QTRY_COMPARE(script_->shown.size(), std::size_t{3});
    QCOMPARE(script_->shown[1].text,
             QStringLiteral("Please give the sender's address (name@domain)."));
    const std::string settings = Settings();
    for (const char* value : {"[Mail]", "mailtransport=smtp", "smtphost=mail.example.org",
                              "smtpport=465", "smtpsecurity=tls", "smtpuser=tester",
                              "mailboxtype=imap", "mailsender=tester@example.org"}) {
        QVERIFY2(settings.find(value) != std::string::npos, value);
    }
    QCOMPARE(settings.find("s3cret"), std::string::npos);
    QCOMPARE(passwords_.kept.at("smtp:tester@mail.example.org:465"), std::string("s3cret"));
}

void MailWindowTest::aFileGoesOutAsPartsAndComesBackThroughTheMessageList() {
    MailProfile profile;
    profile.transport = MailTransport::Smtp;
    profile.smtp = Server(servers_->smtpStartTlsPort, MailSecurity::StartTls);
    profile.mailbox = MailboxKind::Imap;
    profile.imap = Server(servers_->imapsPort, MailSecurity::Tls);
    Use(profile);
    Config& config = window_->State().config;
    config.encodetype = kSimTel;
    config.encodeoutputsize = 50000;
    config.encodechecksum = 1;
    const std::string bytes = test::RandomBytes(12, std::size_t{100} * 1024);
    const std::string photo = dir_->File("photo.jpg");
    test::WriteFile(photo, bytes);

    // Shift+F2: logon, the recipients, the file; one message for each part.
    script_->Add(
        {[](QWidget* dialog) {
             QCOMPARE(dialog->windowTitle(), QStringLiteral("E-mail Recipients"));
             Edit(dialog, "to")->setText(QStringLiteral("alice@example.org, bob@example.org"));
             Click(1)(dialog);
         },
         ChooseFiles({Q(photo)}), Press(QMessageBox::Ok)});
    PressKey(Qt::Key_F2, Qt::ShiftModifier);
    QTRY_COMPARE_WITH_TIMEOUT(script_->shown.size(), std::size_t{3}, 20000);
    QCOMPARE(script_->shown[2].text,
             QStringLiteral("photo.jpg Successfully UU Encoded 3 Parts\nto 2 E-mail Recipients"));
    QVERIFY(servers_->WaitForMessages(3));
    fs::remove(photo);

    // Shift+F3: the mailbox listed; all three chosen, joined and decoded into Downloads.
    script_->shown.clear();
    script_->Add(
        {[](QWidget* dialog) {
             QCOMPARE(dialog->windowTitle(), QStringLiteral("Select E-mail Messages to Decode"));
             auto* list = dialog->findChild<QTreeWidget*>(QStringLiteral("261"));
             QTRY_COMPARE(list->topLevelItemCount(), 3);
             QVERIFY(list->isColumnHidden(5));
             QCOMPARE(list->headerItem()->text(0), QStringLiteral("Subject  "));
             auto* decode = dialog->findChild<QPushButton*>(QStringLiteral("1"));
             QVERIFY(!decode->isEnabled());
             for (int i = 0; i < 3; ++i) {
                 const QTreeWidgetItem* item = list->topLevelItem(i);
                 QVERIFY(
                     item->text(0).startsWith(QStringLiteral("* Mandrel32 *; UU; photo.jpg; ")));
                 QCOMPARE(item->text(1), QStringLiteral("Mandrel"));
                 QCOMPARE(item->text(4), QStringLiteral("Mandrel32"));
                 QVERIFY(!item->text(5).isEmpty());
             }
             list->selectAll();
             QVERIFY(decode->isEnabled());
             decode->click();
         },
         Press(QMessageBox::Ok)});
    PressKey(Qt::Key_F3, Qt::ShiftModifier);
    QTRY_COMPARE_WITH_TIMEOUT(script_->shown.size(), std::size_t{2}, 20000);
    const std::string decoded = dir_->File("home/Downloads/photo.jpg");
    QVERIFY2(script_->shown[1].text.endsWith(" Successfully UU Decoded 3 Parts\nas " + Q(decoded) +
                                             "\nChecksum data found valid."),
             qPrintable(script_->shown[1].text));
    QCOMPARE(test::ReadFile(decoded), bytes);
    // The temporary input the messages became is gone.
    QCOMPARE(test::ListDirectory(dir_->path() / ".tmp"), std::string());
}

void MailWindowTest::recipientsAreCompletedFromThoseUsedBefore() {
    RecipientsDialog dialog(window_.get(), {"bob@example.org"},
                            {"alice@example.org", "albert@example.org", "carol@example.org"});
    dialog.show();
    QLineEdit* to = Edit(&dialog, "to");
    QCOMPARE(to->text(), QStringLiteral("bob@example.org"));
    to->setFocus();
    to->setCursorPosition(static_cast<int>(to->text().size()));
    QTest::keyClicks(to, QStringLiteral(", ali"));
    auto* completer = dialog.findChild<QCompleter*>();
    QTRY_VERIFY(completer->popup()->isVisible());
    QCOMPARE(completer->completionCount(), 1);
    QCOMPARE(completer->currentCompletion(), QStringLiteral("alice@example.org"));
    QTest::keyClick(completer->popup(), Qt::Key_Down);
    QTest::keyClick(completer->popup(), Qt::Key_Return);
    QCOMPARE(to->text(), QStringLiteral("bob@example.org, alice@example.org, "));
    QCOMPARE(dialog.Addresses(),
             (std::vector<std::string>{"bob@example.org", "alice@example.org"}));
    QCOMPARE(SplitAddresses("a@x.org;b@x.org  c@x.org,,"),
             (std::vector<std::string>{"a@x.org", "b@x.org", "c@x.org"}));
}

void MailWindowTest::aLogonFailureIsSaidAndEndsTheCommand() {
    MailProfile profile;
    profile.transport = MailTransport::Smtp;
    profile.smtp = Server(MailServers::UnusedPort(), MailSecurity::None);
    Use(profile);
    script_->Add(Press(QMessageBox::Ok));
    PressKey(Qt::Key_F2, Qt::ShiftModifier);
    QTRY_COMPARE(script_->shown.size(), std::size_t{1});
    QTest::qWait(100);
    QCOMPARE(script_->shown.size(), std::size_t{1});  // no recipients, no file dialog
    QCOMPARE(script_->shown[0].text,
             QStringLiteral("Unable to Login for E-mail because Network Failure."));
    QVERIFY(!window_->State().options.EncodeToMail);
    QVERIFY(window_->Action(kCmdEncodeToFile)->isEnabled());
}

void MailWindowTest::thousandsOfMessagesListWithTheWindowAliveAndCancelHonoured() {
    constexpr int kMessages = 3000;
    const std::string mbox = dir_->File("mbox");
    {
        std::ofstream out(mbox, std::ios::binary);
        for (int i = 1; i <= kMessages; ++i) {
            out << "From someone@example.org Mon Nov 23 10:01:00 2026\n"
                << "From: Someone <someone@example.org>\nSubject: Message " << i
                << "\n\nNothing much.\n\n";
        }
    }
    MailProfile profile;
    profile.mailbox = MailboxKind::Mbox;
    profile.mbox = mbox;
    Use(profile);
    int listed = 0;
    // The step only starts a check of its own: steps run from a timer, which may fire inside
    // the listing's letting events through, and must not wait there.
    script_->Add([&](QWidget* dialog) {
        auto* list = dialog->findChild<QTreeWidget*>(QStringLiteral("261"));
        auto* check = new QTimer(dialog);  // NOLINT(cppcoreguidelines-owning-memory): the dialog's
        connect(check, &QTimer::timeout, dialog, [&, list, check, dialog] {
            if (list->topLevelItemCount() < kMessages ||
                !window_->Panel()->StatusLine()->text().isEmpty()) {
                return;
            }
            check->stop();
            listed = list->topLevelItemCount();
            QCOMPARE(list->topLevelItem(kMessages - 1)->text(0), QStringLiteral("Message 3000"));
            Click(2)(dialog);
        });
        check->start(20);
    });
    window_->Command(kCmdDecodeFromMail);
    QCOMPARE(script_->Pending(), std::size_t{0});
    QCOMPARE(listed, kMessages);

    // Cancel while the list still fills gets through (the window is alive meanwhile): the
    // listing stops, and the dialog closes.
    int listedWhenClosed = -1;
    script_->Add([&](QWidget* dialog) {
        auto* list = dialog->findChild<QTreeWidget*>(QStringLiteral("261"));
        connect(qobject_cast<QDialog*>(dialog), &QDialog::finished, dialog,
                [&, list] { listedWhenClosed = list->topLevelItemCount(); });
        QTimer::singleShot(5, dialog->findChild<QPushButton*>(QStringLiteral("2")),
                           &QPushButton::click);
    });
    window_->Command(kCmdDecodeFromMail);
    QVERIFY(listedWhenClosed >= 0);
    QVERIFY2(listedWhenClosed < kMessages, "Cancel came after the listing");
    QCOMPARE(window_->Panel()->StatusLine()->text(), QString());
}

void MailWindowTest::theCommandLineMailsWithoutQuestions() {
    MailProfile profile;
    profile.transport = MailTransport::Smtp;
    profile.smtp = Server(servers_->smtpTlsPort, MailSecurity::Tls);
    Use(profile);
    const std::string photo = dir_->File("photo.jpg");
    test::WriteFile(photo, test::RandomBytes(13, 2000));
    QVERIFY(StartProgram(*window_, {"-N", "-Eu", "-Mbob@example.org", photo}));
    QTRY_VERIFY_WITH_TIMEOUT(!window_->isVisible(), 20000);
    QCOMPARE(window_->ExitCode(), 0);
    QCOMPARE(script_->shown.size(), std::size_t{0});
    QVERIFY(servers_->WaitForMessages(1));
}

}  // namespace
}  // namespace mandrel

QTEST_MAIN(mandrel::MailWindowTest)
#include "mail_window_test.moc"
