// The lists of multi-part file formats that the dialogs offer, filled from the format table.
#pragma once

class QComboBox;

namespace mandrel {

// Fills the list with the names of the formats from "Single File" on that can be decoded
// (direction 2) or encoded (1), in table order, with selectedId selected when it is listed.
void FillFormatList(QComboBox* list, int direction, int selectedId);
// The id of the format whose name is selected; "Single File" when none is or the name is
// not a format's.
int SelectedFormat(const QComboBox* list);

}  // namespace mandrel
