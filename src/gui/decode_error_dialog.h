// "Decode Error": a line (or a BinHex character) broke its encoding's rules; the user skips or
// decodes it, or all such lines, or aborts. Enter is skip this line, Escape is abort.
#pragma once

#include <QDialog>

#include "core/user_port.h"

namespace mandrel {

class HelpDesk;

class DecodeErrorDialog : public QDialog {
public:
    DecodeErrorDialog(QWidget* owner, const QString& text, const HelpDesk& help);
    // The answer the dialog ended with.
    DecodeErrorChoice Choice() const;
};

}  // namespace mandrel
