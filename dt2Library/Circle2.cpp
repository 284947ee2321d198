#include "Circle2.h"
#include <ostream>

namespace ORBI_LUMO2D {

std::ostream& operator<<(std::ostream& os, const Circle2& c) {
    const Point2 center(c.getCenter());
    return os << "Circle2:" << center << ", r=" << c.getRadius();
}

} // namespace ORBI_LUMO2D
