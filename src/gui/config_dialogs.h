// The three configuration dialogs: General, Encode and Decode. Each shows one settings group
// of Config; "&OK" keeps the changes for this run, "&Save as Default" also writes the group to
// the settings store, Cancel keeps nothing (but see the Encode dialog's end of line).
#pragma once

#include <QDialog>
#include <functional>
#include <span>

#include "core/config.h"

class QAbstractButton;
class QComboBox;
class QLineEdit;

namespace mandrel {

class HelpDesk;
class UserPort;

// What a dialog needs besides the settings: the help, the port for its messages, how a group
// is saved as the default, and what "Make File &Associations" does (its number of failures).
struct ConfigDialogServices {
    const HelpDesk& help;
    UserPort& ui;
    std::function<void(std::span<const SettingDesc>)> saveGroup;
    std::function<int()> makeAssociations;
};

class ConfigDialog : public QDialog {
public:
    ConfigDialog(QWidget* owner, Config& config, ConfigDialogServices services, const char* title,
                 const char* helpKeyword);

protected:
    // The checkable control of an id.
    QAbstractButton* Check(int id) const;
    // The id of the first checked button from first to last, 0 when none.
    int CheckedButton(int first, int last) const;
    void SetChecked(int id, bool checked);
    void SetEnabled(int id, bool enabled);
    // "&OK", "&Save as Default", "Cancel" and "&Help" under the dialog's controls; store
    // writes the controls into Config.
    void AddButtons(const std::function<void()>& store, std::span<const SettingDesc> group);
    // An output directory group: 151 / 152 and the edit 150 with a browse button beside it.
    QWidget* OutputDirectoryGroup(const char* title, int32_t select, const std::string& directory);
    void StoreOutputDirectory(int32_t& select, std::string& directory) const;

    Config& config_;
    ConfigDialogServices services_;
    const char* helpKeyword_;
};

class GeneralConfigDialog : public ConfigDialog {
public:
    GeneralConfigDialog(QWidget* owner, Config& config, ConfigDialogServices services);
};

class EncodeConfigDialog : public ConfigDialog {
public:
    EncodeConfigDialog(QWidget* owner, Config& config, ConfigDialogServices services);

private:
    void FormatChanged();
    void MethodClicked(int id);
    QComboBox* formats_;
    QLineEdit* size_;
};

class DecodeConfigDialog : public ConfigDialog {
public:
    DecodeConfigDialog(QWidget* owner, Config& config, ConfigDialogServices services);

private:
    QComboBox* formats_;
};

}  // namespace mandrel
