#include <QCheckBox>
#include <QComboBox>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QVBoxLayout>
#include <array>

#include "core/format.h"
#include "core/job_state.h"
#include "core/text_util.h"
#include "gui/config_dialogs.h"
#include "gui/dialog_parts.h"
#include "gui/format_list.h"

namespace mandrel {

namespace {

constexpr int kIdSizeEdit = 166;
constexpr int kIdSizeLabel = 168;
constexpr int kIdChecksums = 174;
constexpr int kIdFormatLabel = 187;
constexpr int kIdFormats = 188;
constexpr int kSizeTextLength = 12;

constexpr std::array<RadioChoice, 2> kLineEnds = {{
    {kEolCrLf, "&DOS/Windows/Mac"},
    {kEolLf, "UN&IX"},
}};
constexpr std::array<RadioChoice, 4> kMethods = {{
    {kMethodUU, "&UU"},
    {kMethodXX, "&XX"},
    {kMethodMIME, "&MIME"},
    {kMethodBinHex, "&BinHex"},
}};

}  // namespace

EncodeConfigDialog::EncodeConfigDialog(QWidget* owner, Config& config,
                                       ConfigDialogServices services)
    : ConfigDialog(owner, config, std::move(services), "Encode Configuration",
                   "Encoding Configuration"),
      formats_(new QComboBox(this)),
      size_(new QLineEdit(this)) {
    auto* column = static_cast<QVBoxLayout*>(layout());
    formats_->setObjectName(ControlName(kIdFormats));
    FillFormatList(formats_, kDirectionEncode, config_.encodetype);
    auto* formatLabel = new QLabel(QStringLiteral("&Encode File Format:"), this);
    formatLabel->setObjectName(ControlName(kIdFormatLabel));
    column->addLayout(LabelledRow(formatLabel, formats_));

    auto* choices = new QHBoxLayout;
    choices->addWidget(MakeRadioGroup(this, "End of Line string", kLineEnds, config_.encodecrlf));
    choices->addWidget(MakeRadioGroup(this, "Encode Method", kMethods, config_.encodemethod));
    column->addLayout(choices);

    size_->setObjectName(ControlName(kIdSizeEdit));
    size_->setMaxLength(kSizeTextLength);
    size_->setText(QString::number(config_.encodeoutputsize));
    auto* sizeLabel = new QLabel(QStringLiteral("Max Encoded File Si&ze:"), this);
    sizeLabel->setObjectName(ControlName(kIdSizeLabel));
    column->addLayout(LabelledRow(sizeLabel, size_));
    column->addWidget(MakeCheckBox(this, kIdChecksums, "&Generate Checksums on Encoded Output",
                                   config_.encodechecksum != 0));
    column->addWidget(OutputDirectoryGroup("Encoding Output Directory", config_.encodedirselect,
                                           config_.encodedir));

    // The method and the format restrict each other: the rules run on every click and on the
    // user's choice of a format, and once as the dialog opens.
    for (const RadioChoice& method : kMethods) {
        const int id = method.id;
        connect(Check(id), &QAbstractButton::clicked, this, [this, id] { MethodClicked(id); });
    }
    connect(formats_, &QComboBox::activated, this, [this] { FormatChanged(); });
    if (const int method = CheckedButton(kMethodUU, kMethodBinHex); method != 0) {
        MethodClicked(method);
    }
    FormatChanged();

    AddButtons(
        [this] {
            config_.encodechecksum = Check(kIdChecksums)->isChecked() ? 1 : 0;
            config_.encodetype = SelectedFormat(formats_);
            config_.encodecrlf = CheckedButton(kEolCrLf, kEolLf);
            config_.eollength = static_cast<int>(EndOfLineString(config_).size());
            config_.encodemethod = CheckedButton(kMethodUU, kMethodBinHex);
            config_.encodeoutputsize =
                ValidateOutputSize(services_.ui, size_->text().toStdString(), true);
            size_->setText(QString::number(config_.encodeoutputsize));
            StoreOutputDirectory(config_.encodedirselect, config_.encodedir);
        },
        EncodeGroup());
}

// A shell archive is unpacked by sh: LF line ends and no checksum lines. Any other format goes
// back to CR LF. The end of line is taken into Config at once, even if the dialog is then
// cancelled.
void EncodeConfigDialog::FormatChanged() {
    const int format = SelectedFormat(formats_);
    const bool parts = format != kFormatSingleFile;
    SetEnabled(kIdSizeLabel, parts);
    SetEnabled(kIdSizeEdit, parts);
    if (format == kFormatShar) {
        config_.encodecrlf = kEolLf;
        SetChecked(kIdChecksums, false);
        SetEnabled(kIdChecksums, false);
    } else {
        config_.encodecrlf = kEolCrLf;
        SetEnabled(kIdChecksums, true);
    }
    SetChecked(kEolCrLf, config_.encodecrlf == kEolCrLf);
    SetChecked(kEolLf, config_.encodecrlf == kEolLf);
}

// MIME and BinHex are always one "Single File" part without a size limit; BinHex and MIME
// carry no checksum lines.
void EncodeConfigDialog::MethodClicked(int id) {
    if (id == kMethodUU || id == kMethodXX) {
        SetEnabled(kIdFormats, true);
        SetEnabled(kIdFormatLabel, true);
        SetEnabled(kIdChecksums, true);
        const bool parts = SelectedFormat(formats_) != kFormatSingleFile;
        SetEnabled(kIdSizeEdit, parts);
        SetEnabled(kIdSizeLabel, parts);
        return;
    }
    SetEnabled(kIdSizeEdit, false);
    SetEnabled(kIdSizeLabel, false);
    formats_->setCurrentText(QString::fromLatin1(FileFormat(kFormatSingleFile).name));
    FormatChanged();
    SetEnabled(kIdFormats, false);
    SetChecked(kIdChecksums, false);
    SetEnabled(kIdChecksums, false);
    SetEnabled(kIdFormatLabel, false);
}

}  // namespace mandrel
