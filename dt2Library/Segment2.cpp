#include "Segment2.h"
#include <ostream>

namespace ORBI_LUMO2D {

std::ostream& operator<<(std::ostream& os, const Segment2& s) {
    return os << "Segment2 (" << static_cast<const void*>(&s) << "): " << s.src_ << "," << s.trg_;
}

} // namespace ORBI_LUMO2D
