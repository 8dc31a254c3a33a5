#include "core/part_table.h"

#include <cstdio>

#include "core/text_util.h"
#include "core/ui_port.h"

namespace mandrel {

void ClearPartTable(PartTable& table) {
    table.rows.fill(PartRecord{});
    table.JobPartCount = 0;
    table.current = 0;
}

void DeletePartFiles(PartTable& table) {
    for (PartRecord& row : table.rows) {
        if (row.fileName.empty()) {
            continue;
        }
        const std::string path =
            row.directory.empty() ? row.fileName : JoinPath(row.directory, row.fileName);
        std::remove(path.c_str());
        row.fileName.clear();
        row.directory.clear();
    }
}

int CheckPartNumber(UiPort& ui, int part) {
    if (part >= 1 && part <= MAX_PARTS) {
        return 0;
    }
    ShowMessage(ui, kMbStop, "Part %d Must be Between 1 and %d.", part, MAX_PARTS);
    return 1;
}

}  // namespace mandrel
