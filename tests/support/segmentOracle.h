// Independent exact classification of two segments with GMP rationals, for the checker's tests.
#pragma once
#include <gmpxx.h>
#include <string>
#include <vector>
#include "Point2.h"
#include "Segment2.h"
#include "SegmentChecker.h"

namespace lumo_test {

// A GMP rational with value semantics; cmp and sgn compare exactly.
typedef mpq_class Rational;
using ::cmp;
using ::sgn;

// What the closed segments have in common, computed from their exact intersection set:
// empty (SIT_NONE), a piece of positive length (SIT_SEGMENT), or one point that is an
// endpoint of both (SIT_ENDPOINT) or interior to at least one (SIT_POINT).
struct ExactMeeting {
    ORBI_LUMO2D::SegmentIntersectionType type{ORBI_LUMO2D::SIT_UNINITIALIZED};
    Rational x, y;                              // the point, for SIT_POINT and SIT_ENDPOINT
    ORBI_LUMO2D::Point2 pieceA, pieceB;         // the shared piece, for SIT_SEGMENT
};
ExactMeeting classifyExactly(const ORBI_LUMO2D::Segment2& a, const ORBI_LUMO2D::Segment2& b);

// v is one of the two doubles next to the exact value (or the value itself).
bool isWithinOneRounding(double v, const Rational& exact);

} // namespace lumo_test
