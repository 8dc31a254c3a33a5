#include <QCheckBox>
#include <QVBoxLayout>
#include <array>

#include "core/user_port.h"
#include "gui/config_dialogs.h"
#include "gui/dialog_parts.h"

namespace mandrel {

namespace {

struct GeneralCheck {
    int id;
    const char* text;
    int32_t Config::*field;
};
constexpr std::array<GeneralCheck, 5> kChecks = {{
    {171, "&Overwrite Existing Files without Asking", &Config::overwriteexisting},
    {170, "Use Default &File Names", &Config::usedefaultnames},
    {169, "Sta&y ICON After En/Decoding", &Config::stayiconwhendone},
    {167, "Become &ICON When En/Decoding", &Config::minimizewhenrun},
    {172, "No Status &Messages", &Config::nostatusmessages},
}};
constexpr int kIdMakeAssociations = 193;

}  // namespace

GeneralConfigDialog::GeneralConfigDialog(QWidget* owner, Config& config,
                                         ConfigDialogServices services)
    : ConfigDialog(owner, config, std::move(services), "General Configuration",
                   "General Configuration") {
    auto* column = static_cast<QVBoxLayout*>(layout());
    for (const GeneralCheck& check : kChecks) {
        column->addWidget(MakeCheckBox(this, check.id, check.text, config_.*check.field != 0));
    }
    QPushButton* associations = MakeButton(this, kIdMakeAssociations, "Make File &Associations");
    // The dialog stays open either way.
    connect(associations, &QPushButton::clicked, this, [this] {
        if (services_.makeAssociations && services_.makeAssociations() > 0) {
            ShowMessage(services_.ui, kMbStop, "File Associations Registry Error.");
        }
    });
    column->addWidget(associations, 0, Qt::AlignLeft);
    AddButtons(
        [this] {
            for (const GeneralCheck& check : kChecks) {
                config_.*check.field = Check(check.id)->isChecked() ? 1 : 0;
            }
        },
        GeneralGroup());
}

}  // namespace mandrel
