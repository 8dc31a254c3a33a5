// "Encode or Decode?": a file of a list the user chose apparently holds nothing to decode; the
// user may encode it instead, go on trying to decode it, or leave it.
#pragma once

#include <QDialog>

#include "core/user_port.h"

namespace mandrel {

class HelpDesk;

class EncodeOrDecodeDialog : public QDialog {
public:
    EncodeOrDecodeDialog(QWidget* owner, const QString& text, const HelpDesk& help);
    EncodeOrDecodeChoice Choice() const;
};

}  // namespace mandrel
