#include "GeomTest.h"
#include "tools.h"

namespace ORBI_LUMO2D {

// ---- free orientation functions ----------------------------------------------------

Orientation2 getOrientation2(const Point2* p0, const Point2* p1, const Point2* p2) {
    LUMO_ASSERT(p0!=0);
    LUMO_ASSERT(p1!=0);
    LUMO_ASSERT(p2!=0);
    static GeomTest geomTest;
    geomTest.updateBound(p0, p1, p2);
    return geomTest.getOrientation2(p0, p1, p2);
}

Orientation2 getOrientation2_mt(const Point2* p0, const Point2* p1, const Point2* p2) {
    LUMO_ASSERT(p0!=0);
    LUMO_ASSERT(p1!=0);
    LUMO_ASSERT(p2!=0);
    GeomTest geomTest;
    geomTest.updateBound(p0, p1, p2);
    return geomTest.getOrientation2(p0, p1, p2);
}

std::string getString(Orientation2 ori) {
    switch (ori) {
    case ORIENTATION2_COLLINEAR: return "ORIENTATION2_COLLINEAR";
    case ORIENTATION2_CCW: return "ORIENTATION2_CCW";
    case ORIENTATION2_CW: return "ORIENTATION2_CW";
    }
    return "UNKNOWN";
}

} // namespace ORBI_LUMO2D
