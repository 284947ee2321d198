// Licensing. The library is open source (MIT) and works without any licence record. A host
// that redistributes it under its own terms may register a record naming the licensee and,
// optionally, limits; an operation that would exceed a limit prints one message and throws
// LumoLicenseException before it changes anything it cannot leave valid.
#pragma once
#include <cstddef>
#include <string>
#include "Lumo2D_defs.h"

namespace ORBI_LUMO2D {

// What a host registers with setLic. A limit of 0 means no limit.
struct LUMO2D_API LicenseRecord {
    std::string licensee;            // who holds the licence; printed, and named in limit messages
    std::string key;                 // the host's key text; kept, printed with all but 4 characters masked
    size_t maxPoints{0};             // vertices of one triangulation (each point of an insertion counts)
    size_t maxMeshTriangles{0};      // triangles of one triangulation as output of mesh generation
    size_t maxCheckedSegments{0};    // segments of one SegmentChecker
};

// ---- the record ---------------------------------------------------------------------------
// Replaces the process-wide record; a default record (no licensee, no key, no limits) returns
// to the unlicensed state. A key or a limit without a licensee name is refused with a warning
// (false, the record in force unchanged).
LUMO2D_API bool setLic(const LicenseRecord& record);
// The record in force (a default record while none is set).
LUMO2D_API LicenseRecord getLic();
// Prints the library version, its licence and the registered record with its limits.
LUMO2D_API void printLicense();

} // namespace ORBI_LUMO2D
