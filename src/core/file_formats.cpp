#include "core/file_formats.h"

namespace mandrel {

// Each row stands at its own id.
static_assert([] {
    for (std::size_t i = 0; i < file_formats_detail::kFileFormats.size(); ++i) {
        if (file_formats_detail::kFileFormats[i].id != static_cast<int32_t>(i)) {
            return false;
        }
    }
    return true;
}());

std::string_view FileFormatName(int id) {
    if (id == kFormatYEnc) {
        return "yEnc";
    }
    if (id == kFormatUuenview) {
        return FileFormat(id).name;
    }
    return id >= 0 && id < kFileFormatCount ? FileFormat(id).name : "";
}

int FileFormatByName(std::string_view name) {
    for (const FileFormatRow& row : FileFormatTable()) {
        if (name == row.name) {
            return row.id;
        }
    }
    return -1;
}

}  // namespace mandrel
