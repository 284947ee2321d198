// Exact orientation of three points, for callers outside a triangulation.
#pragma once
#include <string>
#include "Lumo2D_defs.h"

namespace ORBI_LUMO2D {

enum Orientation2 {
    ORIENTATION2_COLLINEAR = 0,
    ORIENTATION2_CCW = 1,   // positive determinant
    ORIENTATION2_CW = 2
};

// Exact orientation of (p0, p1, p2). Uses one shared predicate object: single-threaded callers.
LUMO2D_API Orientation2 getOrientation2(const Point2* p0, const Point2* p1, const Point2* p2);
// The same with a private predicate object per call: safe for concurrent callers.
LUMO2D_API Orientation2 getOrientation2_mt(const Point2* p0, const Point2* p1, const Point2* p2);
// "ORIENTATION2_CCW" etc., "UNKNOWN" for other values.
LUMO2D_API std::string getString(Orientation2 ori);

} // namespace ORBI_LUMO2D
