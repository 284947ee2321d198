#include "Circle2.h"
#include <ostream>

namespace ORBI_LUMO2D {

std::ostream& operator<<(std::ostream& os, const Circle2& c) {
    return os << "Circle2:" << c.center_ << ", r=" << c.getRadius();
}

} // namespace ORBI_LUMO2D
