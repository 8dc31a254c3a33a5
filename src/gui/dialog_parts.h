// Pieces the program's dialogs share: buttons and text blocks named by their control ids, so
// that tests and the window find each control by the id the design gives it.
#pragma once

#include <QPushButton>
#include <QString>

class QDialog;
class QTextEdit;
class QWidget;

namespace mandrel {

inline constexpr int kIdHelpButton = 525;

// The object name that stands for a control id.
QString ControlName(int id);
// A push button with the control id as its object name; it is no default button unless made so.
QPushButton* MakeButton(QWidget* parent, int id, const char* text);
// A block of read-only text that wraps anywhere, for messages that hold long paths or lines.
QTextEdit* MakeTextBlock(QWidget* parent, int id, const QString& text);
// The program's texts keep "\r\n" line ends; a widget wants "\n".
QString DisplayText(std::string_view text);

}  // namespace mandrel
