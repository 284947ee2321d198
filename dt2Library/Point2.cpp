#include "Point2.h"
#include <cmath>
#include <ostream>

namespace ORBI_LUMO2D {

std::ostream& operator<<(std::ostream& os, const Point2& p) {
    return os << "Point2 (" << static_cast<const void*>(&p) << "," << p.getCustomIndex() << "): " << p.x()
              << ", " << p.y();
}

namespace {
// Midpoint of two doubles, moved off the ends when a double lies strictly between them.
// Halving first keeps huge magnitudes from overflowing.
double innerMid(double a, double b) {
    const double lo = std::min(a, b), hi = std::max(a, b);
    double m = 0.5 * a + 0.5 * b;
    if (m < lo) m = lo;
    if (m > hi) m = hi;
    if ((m == lo || m == hi) && std::nextafter(lo, hi) < hi) m = std::nextafter(lo, hi);
    return m;
}
} // namespace

Point2 centerWithShift(const Point2& a, const Point2& b) {
    const double mx = innerMid(a.x(), b.x()), my = innerMid(a.y(), b.y());
    Point2 m(mx, my);
    if ((m == a || m == b) && a.x() != b.x() && a.y() != b.y()) {
        // Both coordinates are neighbouring doubles: no interior value exists on either axis,
        // but the mixed corner of the box differs from both ends.
        m = Point2(a.x(), b.y());
    }
    return m;
}

} // namespace ORBI_LUMO2D
