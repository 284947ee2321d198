// Independent exact answers for the predicate tests, computed with GMP integers: every double
// is an integer times a power of two, so after scaling all inputs by a common power of two the
// determinants are plain integer polynomials. Deliberately shares no code with GeomTest.
#pragma once
#include <gmp.h>
#include <cmath>
#include <string>

namespace lumo_oracle {

// Sign of (b - a) x (c - a): +1 counterclockwise, -1 clockwise, 0 collinear.
int orient(double ax, double ay, double bx, double by, double cx, double cy);

// Sign of the 4x4 lifted determinant | x y x^2+y^2 1 | of a, b, c, d:
// +1 when d is inside the circumcircle of the counterclockwise triangle a, b, c.
int inCircle(double ax, double ay, double bx, double by, double cx, double cy, double dx, double dy);

// Exact intersection of the lines through (p0, p1) and (p2, p3) as rationals (x, y), computed
// by the parametric form p0 + t (p1 - p0). Returns false for parallel lines.
bool lineIntersection(const double p[8], mpq_t x, mpq_t y);

// Whether r is the truncation (rounding toward zero) of the rational q to a double.
bool isTruncation(double r, const mpq_t q);

// v moved k doubles up (k > 0) or down (k < 0).
inline double ulpsAway(double v, int k) {
    for (; k > 0; --k) v = std::nextafter(v, HUGE_VAL);
    for (; k < 0; ++k) v = std::nextafter(v, -HUGE_VAL);
    return v;
}

// 128-bit integer versions for integer-valued inputs (|coordinate| < 2^20 for inCircle,
// < 2^53 for orient): an oracle for the oracle.
int orientInt128(long long ax, long long ay, long long bx, long long by, long long cx, long long cy);
int inCircleInt128(const long long p[8]);

} // namespace lumo_oracle
