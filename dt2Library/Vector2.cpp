#include "Vector2.h"
#include <iostream>
#include <utility>
#include "Orientation2.h"
#include "Point2.h"
#include "tools.h"

namespace ORBI_LUMO2D {

Vector2 normalize(const Vector2& v) {
    const double len = v.length();
    if (!(len > 0.0)) {
        std::cout << "warning: normalize(const Vector2& other), Null length vector!" << std::endl;
        return Vector2(0.0, 0.0);
    }
    return v / len;
}

Vector2 Vector2::orthogonalVector() const {
    double a = x_, b = y_;
    const bool bSwapped = std::fabs(x_) > std::fabs(y_);
    if (bSwapped) std::swap(a, b);
    if (b == 0.0) return Vector2(0.0, 0.0);
    const double t = a / b;
    const Vector2 cand = normalize(bSwapped ? Vector2(-t, 1.0) : Vector2(1.0, -t));
    const Point2 origin(0.0, 0.0), tip(x_, y_), candTip(cand.x(), cand.y());
    const Orientation2 ori = getOrientation2_mt(&origin, &tip, &candTip);
    if (ori == ORIENTATION2_CCW) return cand;
    if (ori == ORIENTATION2_CW) return -cand;
    LUMO_ASSERT(false);
}

std::ostream& operator<<(std::ostream& os, const Vector2& v) { return os << "Vector2:" << v.x() << ", " << v.y(); }

} // namespace ORBI_LUMO2D
