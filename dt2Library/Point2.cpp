#include "Point2.h"
#include <cmath>
#include <ostream>

namespace ORBI_LUMO2D {

std::ostream& operator<<(std::ostream& os, const Point2& p) {
    return os << "Point2 (" << static_cast<const void*>(&p) << "," << p.getCustomIndex() << "): " << p.x()
              << ", " << p.y();
}

namespace {
// Midpoint of two doubles, never left on an end while a double lies strictly between them.
double innerMid(double a, double b) {
    if (a == b) return a;
    const double lo = std::min(a, b), hi = std::max(a, b);
    const double s = a + b;
    // Halving the rounded sum gives the correctly rounded midpoint (up to subnormal rounding);
    // only two huge values of one sign overflow the sum, and halving them first is exact.
    double m = std::isfinite(s) ? 0.5 * s : 0.5 * a + 0.5 * b;
    if (m <= lo) m = std::nextafter(lo, hi);
    else if (m >= hi) m = std::nextafter(hi, lo);
    return m;  // an end only when lo and hi are neighbouring doubles
}
} // namespace

Point2 centerWithShift(const Point2& a, const Point2& b) {
    Point2 m(innerMid(a.x(), b.x()), innerMid(a.y(), b.y()));
    if ((m == a || m == b) && a.x() != b.x() && a.y() != b.y()) {
        // Neighbouring doubles on both axes: nothing lies strictly between, but the mixed
        // corner of the box still differs from both ends.
        m = Point2(a.x(), b.y());
    }
    return m;
}

} // namespace ORBI_LUMO2D
