// Point and segment files: a small binary format for points and one for segments, a text
// point writer and a text x/y reader. Every function returns true on success; a failure prints
// one line (the file name and the reason) on standard output and returns false, leaving the
// output vector as it was up to the failure.
#pragma once
#include <vector>
#include "Lumo2D_defs.h"

namespace ORBI_LUMO2D {

// ---- binary points: int32 type 20, uint64 count, then x, y per point ---------------------

// Writes the points (type 20). An empty vector gives a 12-byte file.
LUMO2D_API bool writePointsBIN(const char* filename, std::vector<Point2*>& vPoints);
LUMO2D_API bool writePointsBIN(const char* filename, std::vector<Point2>& vPoints);
// Appends the points of a type 20 (x, y) or type 30 (x, y, z; z dropped) file, custom index -1.
LUMO2D_API bool readPointsBIN(const char* filename, std::vector<Point2>& vPointsOut);

// ---- binary segments: int32 type 21, uint64 count, then source x, y, target x, y -----------

// Writes the segments (type 21).
LUMO2D_API bool writeSegmentsBIN(const char* filename, std::vector<Segment2>& vSegments);
// Appends the segments of a type 21 (2D) or type 31 (3D; z dropped) file.
LUMO2D_API bool readSegmentsBIN(const char* filename, std::vector<Segment2>& vSegmentsOut);

// ---- text points ------------------------------------------------------------------------

// One "x y" line per point, 18 significant digits, no header.
LUMO2D_API bool writePointsASCII(const char* filename, const std::vector<Point2*>& vPoints);
LUMO2D_API bool writePointsASCII(const char* filename, const std::vector<Point2>& vPoints);
// Appends a point per whitespace-separated x y pair, up to the end of the file or the first
// token that is not a number.
LUMO2D_API bool readXY(const char* filename, std::vector<Point2>& vPointsOut);

} // namespace ORBI_LUMO2D
