// The library's side of licensing: the checks that operations make before they grow past a
// limit of the registered record (License.h), and the edition line of drawings.
#pragma once
#include <cstddef>
#include <string>

namespace ORBI_LUMO2D {

enum LicenseLimit { LIMIT_POINTS, LIMIT_MESH_TRIANGLES, LIMIT_CHECKED_SEGMENTS };

// Whether the record in force permits numAfter (vertices, mesh-generation triangles or
// segments, as counted after the operation). When not, prints one error under `where` naming
// the limit and returns false; the caller stops and throws LumoLicenseException once it has
// left its data valid. Without a record, or with a limit of 0, always true (one atomic load).
bool licenseAllows(LicenseLimit limit, size_t numAfter, const char* where);
// The mesh-generation form: the refinement driver asks it before a step that would let the
// triangulation reach numTrianglesAfter triangles.
inline bool licenseAllowsTriangles(size_t numTrianglesAfter, const char* where) {
    return licenseAllows(LIMIT_MESH_TRIANGLES, numTrianglesAfter, where);
}
// The limit in force (0: none), for callers that count only when there is one.
size_t licenseLimit(LicenseLimit limit);
// licenseAllows, throwing LumoLicenseException on false: for checks made before anything changed.
void enforceLicense(LicenseLimit limit, size_t numAfter, const char* where);

// The line that drawings print under their title: version and edition or licensee.
std::string editionText();

} // namespace ORBI_LUMO2D
