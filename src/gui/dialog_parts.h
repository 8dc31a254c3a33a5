// Pieces the program's dialogs share: buttons and text blocks named by their control ids, so
// that tests and the window find each control by the id the design gives it.
#pragma once

#include <QDialog>
#include <QPushButton>
#include <QString>
#include <initializer_list>
#include <span>

class QCheckBox;
class QGroupBox;
class QHBoxLayout;
class QLabel;
class QLineEdit;
class QTextEdit;
class QToolButton;
class QWidget;

namespace mandrel {

class HelpDesk;

inline constexpr int kIdHelpButton = 525;

// The object name that stands for a control id.
QString ControlName(int id);
// A push button with the control id as its object name; it is no default button unless made so.
QPushButton* MakeButton(QWidget* parent, int id, const char* text);
// A button that ends the dialog with its id.
QPushButton* MakeAnswerButton(QDialog* dialog, int id, const char* text);
// "&Help": opens the help document at the keyword and leaves the dialog up.
QPushButton* MakeHelpButton(QWidget* parent, const HelpDesk& help, const char* keyword);
// A check box named by its id.
QCheckBox* MakeCheckBox(QWidget* parent, int id, const char* text, bool checked);
// A titled group of radio buttons, one of them checked (none when checkedId names none).
struct RadioChoice {
    int id;
    const char* text;
};
QGroupBox* MakeRadioGroup(QWidget* parent, const char* title, std::span<const RadioChoice> choices,
                          int checkedId);
// A label with its control beside it, the label's mnemonic leading to the control.
QHBoxLayout* LabelledRow(QLabel* label, QWidget* control);
// A path field: the edit with a browse button ("...", named "browse") beside it that chooses a
// directory or a file, in one widget, so that enabling the field enables both.
enum class PathKind { Directory, File };
QWidget* PathField(QWidget* parent, QLineEdit* edit, PathKind kind);
// The buttons side by side, in order.
QHBoxLayout* MakeButtonRow(std::initializer_list<QPushButton*> buttons);
// A block of read-only text that wraps anywhere, for messages that hold long paths or lines.
QTextEdit* MakeTextBlock(QWidget* parent, int id, const QString& text);
// The program's texts keep "\r\n" line ends; a widget wants "\n".
QString DisplayText(std::string_view text);

// Shows a question dialog made from its text and returns the answer it ended with.
template <typename Dialog>
auto AskDialog(QWidget* owner, const QString& text, const HelpDesk& help) {
    Dialog dialog(owner, text, help);
    dialog.exec();
    return dialog.Choice();
}

}  // namespace mandrel
