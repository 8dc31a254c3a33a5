#include "gui/encode_or_decode_dialog.h"

#include <QHBoxLayout>
#include <QTextEdit>
#include <QVBoxLayout>

#include "gui/dialog_parts.h"
#include "gui/help_desk.h"

namespace mandrel {

namespace {

constexpr int kIdText = 252;
constexpr int kIdEncode = 250;
constexpr int kIdDecode = 251;
constexpr int kIdCancelAnswer = 2;

}  // namespace

EncodeOrDecodeDialog::EncodeOrDecodeDialog(QWidget* owner, const QString& text,
                                           const HelpDesk& help)
    : QDialog(owner) {
    setWindowTitle(QStringLiteral("Encode or Decode?"));
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(MakeTextBlock(this, kIdText, text));
    QPushButton* encode = MakeButton(this, kIdEncode, "&Encode");
    encode->setDefault(true);
    connect(encode, &QPushButton::clicked, this, [this] { done(kIdEncode); });
    QPushButton* decode = MakeButton(this, kIdDecode, "&Decode");
    connect(decode, &QPushButton::clicked, this, [this] { done(kIdDecode); });
    QPushButton* cancel = MakeButton(this, kIdCancelAnswer, "&Cancel");
    connect(cancel, &QPushButton::clicked, this, &QDialog::reject);
    QPushButton* helpButton = MakeButton(this, kIdHelpButton, "&Help");
    connect(helpButton, &QPushButton::clicked, this,
            [&help] { help.Keyword(QStringLiteral("ask encode")); });
    auto* buttons = new QHBoxLayout;
    for (QPushButton* button : {encode, decode, cancel, helpButton}) {
        buttons->addWidget(button);
    }
    layout->addLayout(buttons);
}

EncodeOrDecodeChoice EncodeOrDecodeDialog::Choice() const {
    switch (result()) {
        case kIdEncode:
            return EncodeOrDecodeChoice::Encode;
        case kIdDecode:
            return EncodeOrDecodeChoice::Decode;
        default:
            return EncodeOrDecodeChoice::Cancel;
    }
}

EncodeOrDecodeChoice EncodeOrDecodeDialog::Ask(QWidget* owner, const QString& text,
                                               const HelpDesk& help) {
    EncodeOrDecodeDialog dialog(owner, text, help);
    dialog.exec();
    return dialog.Choice();
}

}  // namespace mandrel
