#include <QAbstractButton>
#include <QButtonGroup>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLineEdit>
#include <QRadioButton>
#include <QVBoxLayout>

#include "gui/config_dialogs.h"
#include "gui/dialog_parts.h"
#include "gui/help_desk.h"

namespace mandrel {

namespace {

constexpr int kIdOk = 1;
constexpr int kIdSaveAsDefault = 189;
constexpr int kIdCancel = 2;
constexpr int kIdDirectory = 150;
constexpr int kIdSameAsInput = 151;
constexpr int kIdUserSpecified = 152;
constexpr std::size_t kMaxDirectory = 255;

}  // namespace

ConfigDialog::ConfigDialog(QWidget* owner, Config& config, ConfigDialogServices services,
                           const char* title, const char* helpKeyword)
    : QDialog(owner), config_(config), services_(std::move(services)), helpKeyword_(helpKeyword) {
    setWindowTitle(QString::fromLatin1(title));
    new QVBoxLayout(this);
}

QAbstractButton* ConfigDialog::Check(int id) const {
    return findChild<QAbstractButton*>(ControlName(id));
}

int ConfigDialog::CheckedButton(int first, int last) const {
    for (int id = first; id <= last; ++id) {
        const QAbstractButton* button = Check(id);
        if (button != nullptr && button->isChecked()) {
            return id;
        }
    }
    return 0;
}

void ConfigDialog::SetChecked(int id, bool checked) {
    if (QAbstractButton* button = Check(id)) {
        button->setChecked(checked);
    }
}

void ConfigDialog::SetEnabled(int id, bool enabled) {
    if (auto* control = findChild<QWidget*>(ControlName(id))) {
        control->setEnabled(enabled);
    }
}

void ConfigDialog::AddButtons(const std::function<void()>& store,
                              std::span<const SettingDesc> group) {
    QPushButton* ok = MakeButton(this, kIdOk, "&OK");
    ok->setDefault(true);
    connect(ok, &QPushButton::clicked, this, [this, store] {
        store();
        accept();
    });
    QPushButton* save = MakeButton(this, kIdSaveAsDefault, "&Save as Default");
    connect(save, &QPushButton::clicked, this, [this, store, group] {
        store();
        if (services_.saveGroup) {
            services_.saveGroup(group);
        }
        accept();
    });
    QPushButton* cancel = MakeButton(this, kIdCancel, "Cancel");
    connect(cancel, &QPushButton::clicked, this, &QDialog::reject);
    QHBoxLayout* row =
        MakeButtonRow({ok, save, cancel, MakeHelpButton(this, services_.help, helpKeyword_)});
    auto* column = static_cast<QVBoxLayout*>(layout());
    column->addSpacing(column->spacing() * 2);
    column->addLayout(row);
}

QWidget* ConfigDialog::OutputDirectoryGroup(const char* title, int32_t select,
                                            const std::string& directory) {
    auto* box = new QGroupBox(QString::fromLatin1(title), this);
    auto* column = new QVBoxLayout(box);
    auto* same = new QRadioButton(QStringLiteral("Same &as Input File"), box);
    same->setObjectName(ControlName(kIdSameAsInput));
    auto* user = new QRadioButton(QStringLiteral("Use&r Specified"), box);
    user->setObjectName(ControlName(kIdUserSpecified));
    auto* edit = new QLineEdit(QString::fromStdString(directory), box);
    edit->setObjectName(ControlName(kIdDirectory));
    edit->setMaxLength(static_cast<int>(kMaxDirectory));
    QWidget* field = PathField(box, edit, PathKind::Directory);
    column->addWidget(same);
    auto* row = new QHBoxLayout;
    row->addWidget(user);
    row->addWidget(field, 1);
    column->addLayout(row);
    (select == kDirUserSpecified ? user : same)->setChecked(true);
    // The directory is used only when it is the user's choice.
    const auto follow = [edit, field, user] {
        edit->setEnabled(user->isChecked());
        field->setEnabled(user->isChecked());
    };
    connect(user, &QRadioButton::toggled, this, follow);
    follow();
    return box;
}

void ConfigDialog::StoreOutputDirectory(int32_t& select, std::string& directory) const {
    select = CheckedButton(kIdSameAsInput, kIdUserSpecified);
    std::string text = findChild<QLineEdit*>(ControlName(kIdDirectory))->text().toStdString();
    if (text.size() > kMaxDirectory) {
        text.resize(kMaxDirectory);
    }
    directory = std::move(text);
}

}  // namespace mandrel
