#include "gui/format_list.h"

#include <QComboBox>

#include "core/file_formats.h"
#include "core/job_state.h"

namespace mandrel {

void FillFormatList(QComboBox* list, int direction, int selectedId) {
    list->clear();
    for (const FileFormatRow& row : FileFormatTable()) {
        const bool offered =
            direction == kDirectionEncode ? row.encodable != 0 : row.decodable != 0;
        if (row.id < kFormatSingleFile || !offered) {
            continue;
        }
        list->addItem(QString::fromLatin1(row.name));
        if (row.id == selectedId) {
            list->setCurrentIndex(list->count() - 1);
        }
    }
}

int SelectedFormat(const QComboBox* list) {
    const QString name = list->currentText();
    for (const FileFormatRow& row : FileFormatTable()) {
        if (row.id >= kFormatSingleFile && name == QLatin1String(row.name)) {
            return row.id;
        }
    }
    return kFormatSingleFile;
}

}  // namespace mandrel
