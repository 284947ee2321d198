#include "segmentOracle.h"
#include <cmath>

using ORBI_LUMO2D::Point2;
using ORBI_LUMO2D::Segment2;
using namespace ORBI_LUMO2D;

namespace lumo_test {


namespace {
struct RPoint {
    Rational x, y;
    explicit RPoint(const Point2& p) : x(p.x()), y(p.y()) {}
    RPoint(const Rational& x_, const Rational& y_) : x(x_), y(y_) {}
};
RPoint operator-(const RPoint& a, const RPoint& b) { return RPoint(a.x - b.x, a.y - b.y); }
Rational cross(const RPoint& a, const RPoint& b) { return a.x * b.y - a.y * b.x; }
Rational dot(const RPoint& a, const RPoint& b) { return a.x * b.x + a.y * b.y; }
bool equal(const RPoint& a, const RPoint& b) { return cmp(a.x, b.x) == 0 && cmp(a.y, b.y) == 0; }

// Parameter t of x on the line p + t*(q - p), for x known to lie on that line (p != q).
Rational parameter(const RPoint& p, const RPoint& q, const RPoint& x) {
    const RPoint d = q - p;
    return dot(x - p, d) / dot(d, d);
}
bool inUnit(const Rational& t) { return sgn(t) >= 0 && cmp(t, Rational(1.0)) <= 0; }
bool isZeroOrOne(const Rational& t) { return sgn(t) == 0 || cmp(t, Rational(1.0)) == 0; }

// The one common point x; endpoint of a iff ta is 0 or 1, of b iff tb is 0 or 1.
void setPoint(ExactMeeting& m, const Rational& x, const Rational& y, bool bEndOfA, bool bEndOfB) {
    m.type = bEndOfA && bEndOfB ? SIT_ENDPOINT : SIT_POINT;
    m.x = x;
    m.y = y;
}

// Point p against segment (r, s): where, if at all, they meet.
void pointAgainstSegment(ExactMeeting& m, const RPoint& p, const RPoint& r, const RPoint& s) {
    m.type = SIT_NONE;
    if (equal(r, s)) {
        if (equal(p, r)) setPoint(m, p.x, p.y, true, true);
        return;
    }
    if (sgn(cross(s - r, p - r)) != 0) return;
    const Rational t = parameter(r, s, p);
    if (inUnit(t)) setPoint(m, p.x, p.y, true, isZeroOrOne(t));
}
} // namespace

ExactMeeting classifyExactly(const Segment2& a, const Segment2& b) {
    ExactMeeting m;
    const RPoint p(a.getSrc()), q(a.getTrg()), r(b.getSrc()), s(b.getTrg());
    if (equal(p, q)) { pointAgainstSegment(m, p, r, s); return m; }
    if (equal(r, s)) { pointAgainstSegment(m, r, p, q); return m; }
    const RPoint d1 = q - p, d2 = s - r;
    const Rational denom = cross(d1, d2);
    if (sgn(denom) != 0) {
        // p + t*d1 = r + u*d2
        const Rational t = cross(r - p, d2) / denom;
        const Rational u = cross(r - p, d1) / denom;
        if (!inUnit(t) || !inUnit(u)) { m.type = SIT_NONE; return m; }
        setPoint(m, p.x + t * d1.x, p.y + t * d1.y, isZeroOrOne(t), isZeroOrOne(u));
        return m;
    }
    if (sgn(cross(d1, r - p)) != 0) { m.type = SIT_NONE; return m; }  // parallel lines
    // One common line: intersect the parameter intervals [0,1] and [tr, ts].
    const Rational tr = parameter(p, q, r), ts = parameter(p, q, s);
    const bool bRFirst = cmp(tr, ts) <= 0;
    const Rational& bLo = bRFirst ? tr : ts;
    const Rational& bHi = bRFirst ? ts : tr;
    const Rational zero(0.0), one(1.0);
    const bool bLoFromB = cmp(bLo, zero) > 0, bHiFromB = cmp(bHi, one) < 0;
    const Rational lo = bLoFromB ? bLo : zero;
    const Rational hi = bHiFromB ? bHi : one;
    const int c = cmp(lo, hi);
    if (c > 0) { m.type = SIT_NONE; return m; }
    if (c == 0) {
        const RPoint x(p.x + lo * d1.x, p.y + lo * d1.y);
        setPoint(m, x.x, x.y, isZeroOrOne(lo), cmp(lo, tr) == 0 || cmp(lo, ts) == 0);
        return m;
    }
    m.type = SIT_SEGMENT;
    const Point2& bLoPoint = bRFirst ? b.getSrc() : b.getTrg();
    const Point2& bHiPoint = bRFirst ? b.getTrg() : b.getSrc();
    m.pieceA = bLoFromB ? bLoPoint : a.getSrc();
    m.pieceB = bHiFromB ? bHiPoint : a.getTrg();
    return m;
}

bool isWithinOneRounding(double v, const Rational& exact) {
    // v and its neighbour towards the exact value must enclose it strictly.
    const int c = cmp(Rational(v), exact);
    const Rational next(std::nextafter(v, c < 0 ? INFINITY : -INFINITY));
    return c == 0 || (c < 0 ? next > exact : next < exact);
}

} // namespace lumo_test
