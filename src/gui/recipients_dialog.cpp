#include "gui/recipients_dialog.h"

#include <QAbstractItemView>
#include <QCompleter>
#include <QLabel>
#include <QLineEdit>
#include <QVBoxLayout>

#include "gui/dialog_parts.h"

namespace mandrel {

namespace {

constexpr int kFieldWidth = 420;

bool Separates(QChar c) {
    return c == QLatin1Char(',') || c == QLatin1Char(';') || c.isSpace();
}

// Where the address being typed starts: after the last separator before the cursor.
int TokenStart(const QString& text, int cursor) {
    int start = cursor;
    while (start > 0 && !Separates(text[start - 1])) {
        --start;
    }
    return start;
}

}  // namespace

std::vector<std::string> SplitAddresses(std::string_view text) {
    std::vector<std::string> addresses;
    std::string address;
    for (const char c : text) {
        if (c == ',' || c == ';' || c == ' ' || c == '\t' || c == '\n' || c == '\r') {
            if (!address.empty()) {
                addresses.push_back(std::move(address));
                address.clear();
            }
        } else {
            address += c;
        }
    }
    if (!address.empty()) {
        addresses.push_back(std::move(address));
    }
    return addresses;
}

RecipientsDialog::RecipientsDialog(QWidget* owner, const std::vector<std::string>& offered,
                                   const std::vector<std::string>& recent)
    : QDialog(owner) {
    setWindowTitle(QStringLiteral("E-mail Recipients"));
    QStringList offeredList;
    for (const std::string& address : offered) {
        offeredList.append(QString::fromStdString(address));
    }
    to_ = new QLineEdit(offeredList.join(QStringLiteral(", ")), this);
    to_->setObjectName(QStringLiteral("to"));
    to_->setMinimumWidth(kFieldWidth);
    auto* label = new QLabel(QStringLiteral("&To:"), this);
    label->setBuddy(to_);
    auto* hint = new QLabel(
        QStringLiteral("Several addresses are separated by commas; those used before are "
                       "offered as you type."),
        this);
    hint->setWordWrap(true);

    QStringList known;
    for (const std::string& address : recent) {
        known.append(QString::fromStdString(address));
    }
    completer_ = new QCompleter(known, this);
    completer_->setCaseSensitivity(Qt::CaseInsensitive);
    completer_->setWidget(to_);
    connect(to_, &QLineEdit::textEdited, this, [this] { Complete(); });
    connect(completer_, qOverload<const QString&>(&QCompleter::activated), this,
            [this](const QString& address) { TakeCompletion(address); });

    QPushButton* ok = MakeAnswerButton(this, 1, "&OK");
    ok->setDefault(true);
    QPushButton* cancel = MakeButton(this, 2, "Cancel");
    connect(cancel, &QPushButton::clicked, this, &QDialog::reject);
    auto* column = new QVBoxLayout(this);
    column->addLayout(LabelledRow(label, to_));
    column->addWidget(hint);
    column->addSpacing(column->spacing());
    column->addLayout(MakeButtonRow({ok, cancel}));
}

std::vector<std::string> RecipientsDialog::Addresses() const {
    return SplitAddresses(to_->text().toStdString());
}

// Offers the addresses used before that start as the one being typed does.
void RecipientsDialog::Complete() {
    const QString text = to_->text();
    const int start = TokenStart(text, to_->cursorPosition());
    const QString typed = text.mid(start, to_->cursorPosition() - start);
    if (typed.isEmpty()) {
        completer_->popup()->hide();
        return;
    }
    completer_->setCompletionPrefix(typed);
    if (completer_->completionCount() == 0) {
        completer_->popup()->hide();
        return;
    }
    completer_->complete();
}

// The chosen address takes the place of the one being typed, ready for the next.
void RecipientsDialog::TakeCompletion(const QString& address) {
    const QString text = to_->text();
    const int cursor = to_->cursorPosition();
    const int start = TokenStart(text, cursor);
    int end = cursor;
    while (end < text.size() && !Separates(text[end])) {
        ++end;
    }
    const QString taken = address + QStringLiteral(", ");
    to_->setText(text.left(start) + taken + text.mid(end));
    to_->setCursorPosition(start + static_cast<int>(taken.size()));
}

}  // namespace mandrel
