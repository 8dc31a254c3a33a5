// "Retry Decoding": no file format could be made out; the user retries with a chosen format,
// tries them all in turn, or gives up on the file.
#pragma once

#include <QDialog>

#include "core/user_port.h"

class QComboBox;

namespace mandrel {

class HelpDesk;

class RetryDecodingDialog : public QDialog {
public:
    RetryDecodingDialog(QWidget* owner, const QString& text, const HelpDesk& help);
    RetryChoice Choice() const;

private:
    QComboBox* formats_;
};

}  // namespace mandrel
