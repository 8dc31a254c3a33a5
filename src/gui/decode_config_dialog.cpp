#include <QCheckBox>
#include <QComboBox>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QVBoxLayout>
#include <array>

#include "core/job_state.h"
#include "gui/config_dialogs.h"
#include "gui/dialog_parts.h"
#include "gui/format_list.h"

namespace mandrel {

namespace {

constexpr int kIdJoin = 173;
constexpr int kIdTestChecksums = 174;
constexpr int kIdAutoDetect = 177;
constexpr int kIdFormatLabel = 187;
constexpr int kIdFormats = 188;

constexpr std::array<RadioChoice, 6> kMethods = {{
    {kDecodeByDataInput, "Based on Da&ta Input"},
    {kDecodeByFileName, "Based on File Na&me"},
    {kMethodUU, "&UU only"},
    {kMethodXX, "&XX only"},
    {kMethodMIME, "M&IME only"},
    {kMethodBinHex, "BINH&EX only"},
}};

}  // namespace

DecodeConfigDialog::DecodeConfigDialog(QWidget* owner, Config& config,
                                       ConfigDialogServices services)
    : ConfigDialog(owner, config, std::move(services), "Decode Configuration",
                   "Decoding Configuration"),
      formats_(new QComboBox(this)) {
    auto* column = static_cast<QVBoxLayout*>(layout());
    QCheckBox* autoDetect =
        MakeCheckBox(this, kIdAutoDetect, "&Automatic Detection of Decode File Format",
                     config_.decodeautodetect != 0);
    column->addWidget(autoDetect);
    formats_->setObjectName(ControlName(kIdFormats));
    FillFormatList(formats_, kDirectionDecode, config_.decodetype);
    auto* formatLabel = new QLabel(QStringLiteral("&Decode Only This File Format:"), this);
    formatLabel->setObjectName(ControlName(kIdFormatLabel));
    column->addLayout(LabelledRow(formatLabel, formats_));
    // A format of one's own only counts while automatic detection is off.
    const auto follow = [this, autoDetect, formatLabel] {
        formats_->setEnabled(!autoDetect->isChecked());
        formatLabel->setEnabled(!autoDetect->isChecked());
    };
    connect(autoDetect, &QCheckBox::toggled, this, follow);
    follow();

    column->addWidget(MakeRadioGroup(this, "Decode Method", kMethods, config_.decodemethod));
    column->addWidget(MakeCheckBox(this, kIdJoin, "Decode Multi&ple Input Files as 1 File",
                                   config_.decodejoin != 0));
    column->addWidget(MakeCheckBox(this, kIdTestChecksums, "Test Chec&ksum Data if Present",
                                   config_.decodetestchecksum != 0));
    column->addWidget(OutputDirectoryGroup("Decoding Output Directory", config_.decodedirselect,
                                           config_.decodedir));
    AddButtons(
        [this] {
            config_.decodejoin = Check(kIdJoin)->isChecked() ? 1 : 0;
            config_.decodetestchecksum = Check(kIdTestChecksums)->isChecked() ? 1 : 0;
            config_.decodeautodetect = Check(kIdAutoDetect)->isChecked() ? 1 : 0;
            config_.decodetype = SelectedFormat(formats_);
            config_.decodemethod = CheckedButton(kDecodeByFileName, kMethodBinHex);
            StoreOutputDirectory(config_.decodedirselect, config_.decodedir);
        },
        DecodeGroup());
}

}  // namespace mandrel
