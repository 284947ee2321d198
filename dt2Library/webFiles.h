// The files of the browser scene, embedded into the library at build time from web/.
#pragma once
#include <cstddef>

namespace ORBI_LUMO2D {

struct EmbeddedFile {
    const char* name;  // file name as written into a scene directory
    const char* data;  // contents, not null-terminated text (size bytes)
    size_t size;
};

extern const EmbeddedFile aWebFiles[];
extern const size_t numWebFiles;

} // namespace ORBI_LUMO2D
