#include "core/part_table.h"

#include "core/text_util.h"
#include "core/user_port.h"

namespace mandrel {

void ClearPartTable(PartTable& table) {
    table.rows.fill(PartRecord{});
    table.JobPartCount = 0;
    table.current = 0;
}

std::string PartFilePath(const PartRecord& row) {
    return row.directory.empty() ? row.fileName : JoinPath(row.directory, row.fileName);
}

void DeletePartFiles(PartTable& table) {
    for (PartRecord& row : table.rows) {
        if (row.fileName.empty()) {
            continue;
        }
        // A device or a directory named as an output is never one to remove.
        RemoveOutputFile(PartFilePath(row));
        row.fileName.clear();
        row.directory.clear();
    }
}

int CheckPartNumber(UserPort& ui, int part) {
    if (part >= 1 && part <= MAX_PARTS) {
        return 0;
    }
    ShowMessage(ui, kMbStop, "Part %d Must be Between 1 and %d.", part, MAX_PARTS);
    return 1;
}

}  // namespace mandrel
