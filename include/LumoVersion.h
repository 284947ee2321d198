// Version of the library.
#pragma once
#include <string>
#include "Lumo2D_defs.h"

namespace ORBI_LUMO2D {

LUMO2D_API int getMajorVersionNumber();   // 1
LUMO2D_API int getMinorVersionNumber();   // 81
LUMO2D_API int getRevisionNumber();       // 493
// True for release builds of the library.
LUMO2D_API bool isRelease();
// "Lumo2D 1.81.493", built once at start-up.
LUMO2D_API std::string getLumo2DVersion();

} // namespace ORBI_LUMO2D
