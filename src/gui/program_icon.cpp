#include "gui/program_icon.h"

#include <string_view>

#include "platform/file_associations.h"

namespace mandrel {

// The PNG sizes: the SVG would need Qt's SVG module, which the program does without.
QIcon ProgramIcon() {
    QIcon icon;
    for (const std::string_view file : IconFiles()) {
        if (file.ends_with(".png")) {
            icon.addFile(QStringLiteral(":/") +
                         QString::fromLatin1(file.data(), static_cast<qsizetype>(file.size())));
        }
    }
    return icon;
}

}  // namespace mandrel
