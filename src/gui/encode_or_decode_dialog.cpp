#include "gui/encode_or_decode_dialog.h"

#include <QTextEdit>
#include <QVBoxLayout>

#include "gui/dialog_parts.h"

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
    QPushButton* encode = MakeAnswerButton(this, kIdEncode, "&Encode");
    encode->setDefault(true);
    QPushButton* cancel = MakeButton(this, kIdCancelAnswer, "&Cancel");
    connect(cancel, &QPushButton::clicked, this, &QDialog::reject);
    layout->addLayout(MakeButtonRow({encode, MakeAnswerButton(this, kIdDecode, "&Decode"), cancel,
                                     MakeHelpButton(this, help, "ask encode")}));
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

}  // namespace mandrel
