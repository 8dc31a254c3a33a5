#include "gui/retry_decoding_dialog.h"

#include <QComboBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QTextEdit>
#include <QVBoxLayout>

#include "core/file_formats.h"
#include "core/job_state.h"
#include "gui/dialog_parts.h"
#include "gui/format_list.h"

namespace mandrel {

namespace {

constexpr int kIdText = 240;
constexpr int kIdFormats = 188;
constexpr int kIdRetry = 1;
constexpr int kIdTryAll = 210;
constexpr int kIdAbort = 2;

}  // namespace

RetryDecodingDialog::RetryDecodingDialog(QWidget* owner, const QString& text, const HelpDesk& help)
    : QDialog(owner), formats_(new QComboBox(this)) {
    setWindowTitle(QStringLiteral("Retry Decoding"));
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(MakeTextBlock(this, kIdText, text));
    formats_->setObjectName(ControlName(kIdFormats));
    FillFormatList(formats_, kDirectionDecode, kFormatSingleFile);
    auto* formatRow = new QHBoxLayout;
    auto* formatLabel = new QLabel(QStringLiteral("File &Format:"), this);
    formatLabel->setBuddy(formats_);
    formatRow->addWidget(formatLabel);
    formatRow->addWidget(formats_, 1);
    layout->addLayout(formatRow);

    QPushButton* retry = MakeAnswerButton(this, kIdRetry, "Retry &Decode");
    retry->setDefault(true);
    QPushButton* abort = MakeButton(this, kIdAbort, "Abort Decode");
    connect(abort, &QPushButton::clicked, this, &QDialog::reject);
    layout->addLayout(MakeButtonRow({retry, MakeAnswerButton(this, kIdTryAll, "Try &All Formats"),
                                     abort, MakeHelpButton(this, help, "unknown multipart")}));
}

RetryChoice RetryDecodingDialog::Choice() const {
    switch (result()) {
        case kIdRetry:
            return RetryChoice::Format(SelectedFormat(formats_));
        case kIdTryAll:
            return RetryChoice::TryAllFormats();
        default:
            return RetryChoice::Abort();
    }
}

}  // namespace mandrel
