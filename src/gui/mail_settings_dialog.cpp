#include "gui/mail_settings_dialog.h"

#include <QComboBox>
#include <QFormLayout>
#include <QGroupBox>
#include <QLabel>
#include <QLineEdit>
#include <QRadioButton>
#include <QSpinBox>
#include <QVBoxLayout>
#include <array>

#include "core/password_store.h"
#include "core/user_port.h"
#include "gui/dialog_parts.h"

namespace mandrel {

namespace {

constexpr std::array<std::pair<MailSecurity, const char*>, 3> kSecurities = {{
    {MailSecurity::None, "None"},
    {MailSecurity::StartTls, "STARTTLS"},
    {MailSecurity::Tls, "TLS"},
}};
constexpr int kFieldWidth = 260;

QLineEdit* MakeEdit(QWidget* parent, const char* name, const std::string& text) {
    auto* edit = new QLineEdit(QString::fromStdString(text), parent);
    edit->setObjectName(QString::fromLatin1(name));
    edit->setMinimumWidth(kFieldWidth);
    return edit;
}

QRadioButton* MakeRadio(QWidget* parent, const char* name, const char* text) {
    auto* radio = new QRadioButton(QString::fromLatin1(text), parent);
    radio->setObjectName(QString::fromLatin1(name));
    return radio;
}

QString Named(const char* prefix, const char* field) {
    return QString::fromLatin1(prefix) + QString::fromLatin1(field);
}

}  // namespace

MailSettingsDialog::MailSettingsDialog(QWidget* owner, const MailProfile& profile,
                                       PasswordStore& passwords, UserPort& ui, const HelpDesk& help)
    : QDialog(owner), passwords_(passwords), ui_(ui), profile_(profile) {
    setWindowTitle(QStringLiteral("E-mail Settings"));
    auto* column = new QVBoxLayout(this);
    column->addWidget(SendingGroup(profile));
    column->addWidget(MailboxGroup(profile));

    auto* form = new QFormLayout;
    sender_ = MakeEdit(this, "sender", profile.sender);
    auto* senderLabel = new QLabel(QStringLiteral("Sender &address:"), this);
    senderLabel->setBuddy(sender_);
    form->addRow(senderLabel, sender_);
    caFile_ = MakeEdit(this, "caFile", profile.caFile);
    caFile_->setPlaceholderText(QStringLiteral("only for a server with a certificate of its own"));
    auto* caLabel = new QLabel(QStringLiteral("&Trusted certificate:"), this);
    caLabel->setBuddy(caFile_);
    form->addRow(caLabel, PathField(this, caFile_, PathKind::File));
    column->addLayout(form);

    QPushButton* ok = MakeButton(this, 1, "&OK");
    ok->setDefault(true);
    connect(ok, &QPushButton::clicked, this, [this] {
        if (Complete()) {
            KeepPasswords();
            accept();
        }
    });
    QPushButton* cancel = MakeButton(this, 2, "Cancel");
    connect(cancel, &QPushButton::clicked, this, &QDialog::reject);
    column->addSpacing(column->spacing() * 2);
    column->addLayout(MakeButtonRow({ok, cancel, MakeHelpButton(this, help, "E-mail Settings")}));

    for (QRadioButton* radio : {sendmail_, smtp_, imap_, maildir_, mbox_}) {
        connect(radio, &QRadioButton::toggled, this, [this] { FollowChoices(); });
    }
    FollowChoices();
}

QWidget* MailSettingsDialog::SendingGroup(const MailProfile& profile) {
    auto* box = new QGroupBox(QStringLiteral("Sending"), this);
    auto* column = new QVBoxLayout(box);
    sendmail_ = MakeRadio(box, "sendmail", "The system's &sendmail:");
    sendmailCommand_ = MakeEdit(box, "sendmailCommand", profile.sendmailCommand);
    auto* row = new QHBoxLayout;
    row->addWidget(sendmail_);
    row->addWidget(sendmailCommand_, 1);
    column->addLayout(row);
    smtp_ = MakeRadio(box, "smtp", "An SMTP se&rver:");
    column->addWidget(smtp_);
    smtpBox_ = new QWidget(box);
    smtpFields_ = AddServerFields(smtpBox_, "smtp", profile.smtp, SmtpPort(profile.smtp));
    column->addWidget(smtpBox_);
    (profile.transport == MailTransport::Smtp ? smtp_ : sendmail_)->setChecked(true);
    return box;
}

QWidget* MailSettingsDialog::MailboxGroup(const MailProfile& profile) {
    auto* box = new QGroupBox(QStringLiteral("Mailbox"), this);
    auto* column = new QVBoxLayout(box);
    imap_ = MakeRadio(box, "imap", "An &IMAP server:");
    column->addWidget(imap_);
    imapBox_ = new QWidget(box);
    imapFields_ = AddServerFields(imapBox_, "imap", profile.imap, ImapPort(profile.imap));
    imapFolder_ = MakeEdit(imapBox_, "imapFolder", profile.imapFolder);
    imapFields_.form->addRow(QStringLiteral("Folder:"), imapFolder_);
    column->addWidget(imapBox_);

    auto* local = new QFormLayout;
    maildir_ = MakeRadio(box, "maildir", "A &Maildir folder:");
    maildirPath_ = MakeEdit(box, "maildirPath", profile.maildir);
    maildirField_ = PathField(box, maildirPath_, PathKind::Directory);
    local->addRow(maildir_, maildirField_);
    mbox_ = MakeRadio(box, "mbox", "An m&box file:");
    mboxPath_ = MakeEdit(box, "mboxPath", profile.mbox);
    mboxField_ = PathField(box, mboxPath_, PathKind::File);
    local->addRow(mbox_, mboxField_);
    column->addLayout(local);
    switch (profile.mailbox) {
        case MailboxKind::Imap:
            imap_->setChecked(true);
            break;
        case MailboxKind::Maildir:
            maildir_->setChecked(true);
            break;
        case MailboxKind::Mbox:
            mbox_->setChecked(true);
            break;
    }
    return box;
}

MailSettingsDialog::ServerFields MailSettingsDialog::AddServerFields(QWidget* parent,
                                                                     const char* prefix,
                                                                     const MailServer& server,
                                                                     int defaultPort) {
    ServerFields fields{};
    fields.host = MakeEdit(parent, "", server.host);
    fields.host->setObjectName(Named(prefix, "Host"));
    fields.port = new QSpinBox(parent);
    fields.port->setObjectName(Named(prefix, "Port"));
    fields.port->setRange(1, 65535);
    fields.port->setValue(defaultPort);
    fields.security = new QComboBox(parent);
    fields.security->setObjectName(Named(prefix, "Security"));
    for (const auto& [security, text] : kSecurities) {
        fields.security->addItem(QString::fromLatin1(text));
        if (security == server.security) {
            fields.security->setCurrentIndex(fields.security->count() - 1);
        }
    }
    fields.user = MakeEdit(parent, "", server.user);
    fields.user->setObjectName(Named(prefix, "User"));
    fields.user->setPlaceholderText(QStringLiteral("none: no login"));
    fields.password = MakeEdit(parent, "", "");
    fields.password->setObjectName(Named(prefix, "Password"));
    fields.password->setEchoMode(QLineEdit::Password);
    fields.password->setPlaceholderText(QStringLiteral("kept in the desktop's keyring"));

    auto* form = new QFormLayout;
    fields.form = form;
    form->addRow(QStringLiteral("Server:"), fields.host);
    auto* portRow = new QHBoxLayout;
    portRow->addWidget(fields.port);
    portRow->addSpacing(12);
    portRow->addWidget(new QLabel(QStringLiteral("Security:"), parent));
    portRow->addWidget(fields.security);
    portRow->addStretch(1);
    form->addRow(QStringLiteral("Port:"), portRow);
    form->addRow(QStringLiteral("User:"), fields.user);
    form->addRow(QStringLiteral("Password:"), fields.password);
    auto* column = new QVBoxLayout(parent);
    column->setContentsMargins(24, 0, 0, 0);
    column->addLayout(form);
    // The usual port follows the security chosen, unless the user typed one of his own.
    const bool smtp = QString::fromLatin1(prefix) == QLatin1String("smtp");
    connect(fields.security, qOverload<int>(&QComboBox::currentIndexChanged), this,
            [this, fields, smtp](int index) {
                MailServer usual;
                usual.security = kSecurities[static_cast<std::size_t>(index)].first;
                for (const auto& [security, text] : kSecurities) {
                    MailServer other;
                    other.security = security;
                    if (fields.port->value() == (smtp ? SmtpPort(other) : ImapPort(other))) {
                        fields.port->setValue(smtp ? SmtpPort(usual) : ImapPort(usual));
                        return;
                    }
                }
            });
    return fields;
}

void MailSettingsDialog::FollowChoices() {
    sendmailCommand_->setEnabled(sendmail_->isChecked());
    smtpBox_->setEnabled(smtp_->isChecked());
    imapBox_->setEnabled(imap_->isChecked());
    maildirField_->setEnabled(maildir_->isChecked());
    mboxField_->setEnabled(mbox_->isChecked());
}

MailServer MailSettingsDialog::ServerFrom(const ServerFields& fields) const {
    MailServer server;
    server.host = fields.host->text().trimmed().toStdString();
    server.port = fields.port->value();
    server.security = kSecurities[static_cast<std::size_t>(fields.security->currentIndex())].first;
    server.user = fields.user->text().trimmed().toStdString();
    return server;
}

MailProfile MailSettingsDialog::Profile() const {
    MailProfile profile = profile_;
    profile.transport = smtp_->isChecked() ? MailTransport::Smtp : MailTransport::Sendmail;
    profile.sendmailCommand = sendmailCommand_->text().trimmed().toStdString();
    profile.smtp = ServerFrom(smtpFields_);
    profile.mailbox = imap_->isChecked()      ? MailboxKind::Imap
                      : maildir_->isChecked() ? MailboxKind::Maildir
                                              : MailboxKind::Mbox;
    profile.imap = ServerFrom(imapFields_);
    profile.imapFolder = imapFolder_->text().trimmed().toStdString();
    profile.maildir = maildirPath_->text().trimmed().toStdString();
    profile.mbox = mboxPath_->text().trimmed().toStdString();
    profile.sender = sender_->text().trimmed().toStdString();
    profile.caFile = caFile_->text().trimmed().toStdString();
    return profile;
}

// What the chosen ways need is there; otherwise it is said, and the dialog stays.
bool MailSettingsDialog::Complete() {
    const MailProfile profile = Profile();
    const char* missing = nullptr;
    if (profile.sender.find('@') == std::string::npos) {
        missing = "Please give the sender's address (name@domain).";
    } else if (profile.transport == MailTransport::Smtp && profile.smtp.host.empty()) {
        missing = "Please name the SMTP server.";
    } else if (profile.transport == MailTransport::Sendmail && profile.sendmailCommand.empty()) {
        missing = "Please name the sendmail program.";
    } else if (profile.mailbox == MailboxKind::Imap && profile.imap.host.empty()) {
        missing = "Please name the IMAP server.";
    }
    if (missing != nullptr) {
        ShowMessage(ui_, kMbExclamation, "%s", missing);
        return false;
    }
    return true;
}

void MailSettingsDialog::KeepPasswords() {
    const MailProfile profile = Profile();
    struct Typed {
        const MailServer& server;
        std::string account;
        QLineEdit* field;
    };
    const std::array<Typed, 2> typed = {{
        {profile.smtp, SmtpAccount(profile.smtp), smtpFields_.password},
        {profile.imap, ImapAccount(profile.imap), imapFields_.password},
    }};
    for (const Typed& each : typed) {
        if (each.field->text().isEmpty() || each.server.user.empty()) {
            continue;
        }
        std::string why;
        if (!passwords_.Write(each.account, each.field->text().toStdString(), why)) {
            ShowMessage(ui_, kMbInformation,
                        "The password cannot be kept in the desktop's keyring (%s); it will be "
                        "asked for when it is needed.",
                        why.c_str());
        }
    }
}

}  // namespace mandrel
