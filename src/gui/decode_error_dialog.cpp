#include "gui/decode_error_dialog.h"

#include <QGridLayout>
#include <QTextEdit>
#include <QVBoxLayout>
#include <array>

#include "gui/dialog_parts.h"
#include "gui/help_desk.h"

namespace mandrel {

namespace {

constexpr int kIdText = 601;
constexpr int kIdAbort = 200;

struct Answer {
    int id;
    const char* text;
    DecodeErrorChoice choice;
};
constexpr std::array<Answer, 4> kAnswers = {{
    {602, "&Skip This Invalid Line", DecodeErrorChoice::SkipLine},
    {603, "Decode This Invalid &Line", DecodeErrorChoice::DecodeLine},
    {604, "&Decode All Invalid Lines", DecodeErrorChoice::DecodeAll},
    {605, "Sk&ip All Invalid Lines", DecodeErrorChoice::SkipAll},
}};

}  // namespace

DecodeErrorDialog::DecodeErrorDialog(QWidget* owner, const QString& text, const HelpDesk& help)
    : QDialog(owner) {
    setWindowTitle(QStringLiteral("Decode Error"));
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(MakeTextBlock(this, kIdText, text));
    auto* buttons = new QGridLayout;
    for (std::size_t i = 0; i < kAnswers.size(); ++i) {
        const Answer& answer = kAnswers[i];
        QPushButton* button = MakeAnswerButton(this, answer.id, answer.text);
        buttons->addWidget(button, static_cast<int>(i / 2), static_cast<int>(i % 2));
        if (i == 0) {
            // Enter skips the line.
            button->setDefault(true);
        }
    }
    buttons->addWidget(MakeAnswerButton(this, kIdAbort, "&Abort Decode"), 2, 0);
    buttons->addWidget(MakeHelpButton(this, help, "invalid data"), 2, 1);
    layout->addLayout(buttons);
}

DecodeErrorChoice DecodeErrorDialog::Choice() const {
    for (const Answer& answer : kAnswers) {
        if (result() == answer.id) {
            return answer.choice;
        }
    }
    // Abort, Escape and closing the dialog.
    return DecodeErrorChoice::Abort;
}

}  // namespace mandrel
