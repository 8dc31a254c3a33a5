// "E-mail Recipients": the stand-in for the mail system's address book. Addresses are typed
// into one field, several at once (separated by commas), completed from those used before.
#pragma once

#include <QDialog>
#include <string>
#include <string_view>
#include <vector>

class QCompleter;
class QLineEdit;

namespace mandrel {

// The addresses of a field's text: separated by commas, semicolons or blanks.
std::vector<std::string> SplitAddresses(std::string_view text);

class RecipientsDialog : public QDialog {
public:
    RecipientsDialog(QWidget* owner, const std::vector<std::string>& offered,
                     const std::vector<std::string>& recent);

    std::vector<std::string> Addresses() const;

private:
    void Complete();
    void TakeCompletion(const QString& address);

    QLineEdit* to_;
    QCompleter* completer_;
};

}  // namespace mandrel
