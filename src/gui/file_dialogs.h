// The open dialog that chooses what to encode or decode, and the save dialog that names an
// output, with the filters of each direction.
#pragma once

#include <QStringList>

#include "core/user_port.h"

class QWidget;

namespace mandrel {

// What the open dialog remembers across calls: the filter the user ended with (one value for
// both directions, counted from 1).
struct OpenDialogMemory {
    int filterIndex = 1;
};

// The Qt name filters of a dialog: the open dialog's for direction 1 (encode) or 2 (decode),
// the save dialog's for 1, 2 or 3 (concatenate: none).
QStringList OpenFilters(int direction);
QStringList SaveFilters(int direction);

// Shows the open dialog titled with the direction's verb; several files may be chosen. Returns
// the chosen paths in the dialog's order, none when the user cancelled.
QStringList AskInputFiles(QWidget* owner, int direction, const QString& proposed,
                          const QString& initialDirectory, OpenDialogMemory& memory);
// Shows the save dialog the request describes. An existing file is not asked about here: the
// caller asks its own question.
SaveDialogResult AskOutputFile(QWidget* owner, const SaveDialogRequest& request);

}  // namespace mandrel
