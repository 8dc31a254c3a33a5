#include "gui/desktop_mail_ui.h"

#include <QInputDialog>
#include <QLineEdit>

#include "core/user_port.h"
#include "gui/mail_settings_dialog.h"
#include "gui/recipients_dialog.h"

namespace mandrel {

DesktopMailUi::DesktopMailUi(QWidget* owner, PasswordStore& passwords, UserPort& ui,
                             const HelpDesk& help)
    : owner_(owner), passwords_(passwords), ui_(ui), help_(help) {}

bool DesktopMailUi::EditMailSettings(MailProfile& profile) {
    MailSettingsDialog dialog(owner_, profile, passwords_, ui_, help_);
    if (dialog.exec() != QDialog::Accepted) {
        return false;
    }
    profile = dialog.Profile();
    return true;
}

std::optional<std::string> DesktopMailUi::AskPassword(const std::string& prompt) {
    QInputDialog dialog(owner_);
    dialog.setWindowTitle(QStringLiteral("E-mail Password"));
    dialog.setLabelText(QString::fromStdString(prompt));
    dialog.setTextEchoMode(QLineEdit::Password);
    if (dialog.exec() != QDialog::Accepted) {
        return std::nullopt;
    }
    return dialog.textValue().toStdString();
}

std::optional<std::vector<std::string>> DesktopMailUi::ChooseRecipients(
    const std::vector<std::string>& offered, const std::vector<std::string>& recent) {
    RecipientsDialog dialog(owner_, offered, recent);
    if (dialog.exec() != QDialog::Accepted) {
        return std::nullopt;
    }
    return dialog.Addresses();
}

bool DesktopMailUi::KeepWaiting() {
    ui_.Pump(1);
    return !stop_ && !(stopRequested_ && stopRequested_());
}

}  // namespace mandrel
