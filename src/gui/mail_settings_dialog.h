// "E-mail Settings": the stand-in for the mail system's own logon dialog. It names how mail
// is sent (the system's sendmail, or an SMTP server) and where the mailbox is (an IMAP server,
// a Maildir folder, an mbox file), and the sender's address. Passwords typed here go to the
// desktop's keyring, never into the settings.
#pragma once

#include <QDialog>

#include "mail/mail_profile.h"

class QComboBox;
class QFormLayout;
class QLineEdit;
class QRadioButton;
class QSpinBox;

namespace mandrel {

class HelpDesk;
class PasswordStore;
class UserPort;

class MailSettingsDialog : public QDialog {
public:
    MailSettingsDialog(QWidget* owner, const MailProfile& profile, PasswordStore& passwords,
                       UserPort& ui, const HelpDesk& help);

    // The profile as the dialog shows it.
    MailProfile Profile() const;

private:
    // The fields of one server: host, port, security, user and password.
    struct ServerFields {
        QLineEdit* host;
        QSpinBox* port;
        QComboBox* security;
        QLineEdit* user;
        QLineEdit* password;
        QFormLayout* form;  // for rows of the server's own
    };
    QWidget* SendingGroup(const MailProfile& profile);
    QWidget* MailboxGroup(const MailProfile& profile);
    ServerFields AddServerFields(QWidget* parent, const char* prefix, const MailServer& server,
                                 int defaultPort);
    MailServer ServerFrom(const ServerFields& fields) const;
    void FollowChoices();
    bool Complete();
    void KeepPasswords();

    PasswordStore& passwords_;
    UserPort& ui_;
    MailProfile profile_;
    QRadioButton* sendmail_;
    QRadioButton* smtp_;
    QLineEdit* sendmailCommand_;
    QWidget* smtpBox_;
    ServerFields smtpFields_{};
    QRadioButton* imap_;
    QRadioButton* maildir_;
    QRadioButton* mbox_;
    QWidget* imapBox_;
    ServerFields imapFields_{};
    QLineEdit* imapFolder_;
    QWidget* maildirField_;
    QLineEdit* maildirPath_;
    QWidget* mboxField_;
    QLineEdit* mboxPath_;
    QLineEdit* sender_;
    QLineEdit* caFile_;
};

}  // namespace mandrel
