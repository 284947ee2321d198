// Files around mesh export: directories and the built-in files of the browser scene.
#pragma once
#include "Lumo2D_defs.h"

namespace ORBI_LUMO2D {

// Creates path and any missing parents; true when path is a directory afterwards. A null path
// warns and gives false.
LUMO2D_API bool createDirectory(const char* path);

// Writes the built-in file name ("index.html", "jsc3d.js", "jsc3d.ctm.js", "jsc3d.touch.js",
// "jsc3d.3ds.js", "jsc3d.console.js", "jsc3d.ie.js", "jsc3d.webgl.js") into directory.
// Any other name, or a null name or directory, reports an error and writes nothing.
LUMO2D_API void fileReplicate(const char* name, const char* directory);

} // namespace ORBI_LUMO2D
