// Exact measures of loops and triangle sets in GMP rationals (every double is one), and the
// small loop builders that the zone, cutting and polygon tests share.
#pragma once
#include <gmpxx.h>
#include <algorithm>
#include <vector>
#include "Segment2.h"
#include "Triangle2.h"
#include "Zone2.h"

namespace lumo_test {

typedef std::vector<ORBI_LUMO2D::Point2> Loop;

// Twice the signed area of triangle a, b, c, exactly.
inline mpq_class exactCross(const ORBI_LUMO2D::Point2& a, const ORBI_LUMO2D::Point2& b, const ORBI_LUMO2D::Point2& c) {
    return (mpq_class(b.x()) - a.x()) * (mpq_class(c.y()) - a.y()) - (mpq_class(b.y()) - a.y()) * (mpq_class(c.x()) - a.x());
}
// The summed signed areas of the triangles, exactly.
inline mpq_class exactArea(const std::vector<ORBI_LUMO2D::Triangle2*>& vT) {
    mpq_class a = 0;
    for (const ORBI_LUMO2D::Triangle2* pT : vT) a += exactCross(*pT->getCorner(0), *pT->getCorner(1), *pT->getCorner(2));
    return a / 2;
}
// The signed area of a closed loop (shoelace), exactly.
inline mpq_class exactLoopArea(const Loop& loop) {
    mpq_class a = 0;
    for (size_t i = 0; i < loop.size(); ++i) {
        const ORBI_LUMO2D::Point2 &p = loop[i], &q = loop[(i + 1) % loop.size()];
        a += mpq_class(p.x()) * q.y() - mpq_class(q.x()) * p.y();
    }
    return a / 2;
}
// The closed loop as segments, the last one back to the first vertex.
inline std::vector<ORBI_LUMO2D::Segment2> loopSegments(const Loop& loop) {
    std::vector<ORBI_LUMO2D::Segment2> v;
    for (size_t i = 0; i < loop.size(); ++i) v.emplace_back(loop[i], loop[(i + 1) % loop.size()]);
    return v;
}
// The axis-parallel rectangle, counterclockwise.
inline Loop rect(double x0, double y0, double x1, double y1) {
    return {ORBI_LUMO2D::Point2(x0, y0), ORBI_LUMO2D::Point2(x1, y0), ORBI_LUMO2D::Point2(x1, y1), ORBI_LUMO2D::Point2(x0, y1)};
}
// The loop (or points) times f.
inline Loop scaled(Loop l, double f) {
    for (ORBI_LUMO2D::Point2& p : l) p = ORBI_LUMO2D::Point2(p.x() * f, p.y() * f);
    return l;
}
inline Loop reversed(Loop l) {
    std::reverse(l.begin(), l.end());
    return l;
}
inline std::vector<ORBI_LUMO2D::Triangle2*> zoneTriangles(const ORBI_LUMO2D::Zone2* pZone) {
    std::vector<ORBI_LUMO2D::Triangle2*> v;
    pZone->getTriangles(v);
    return v;
}

} // namespace lumo_test
