// The program's icon for its windows, from the sizes the program carries.
#pragma once

#include <QIcon>

namespace mandrel {

QIcon ProgramIcon();

}  // namespace mandrel
