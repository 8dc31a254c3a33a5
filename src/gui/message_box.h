// The program's message boxes: a style number chooses the icon, the buttons and the default
// one; the box returns the number of the button pressed (OK 1, Cancel 2, Yes 6, No 7).
#pragma once

#include <QString>

class QWidget;

namespace mandrel {

int ShowMessageBox(QWidget* owner, const QString& caption, int style, const QString& text);

}  // namespace mandrel
