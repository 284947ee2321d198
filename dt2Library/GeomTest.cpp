#include "GeomTest.h"
#include "ExactDiffPredicates.h"
#include <algorithm>
#include <cfenv>
#include <cfloat>
#include <climits>
#include <cmath>
#include <cstdint>
#include <cstring>
#if defined(__SSE2__)
#include <xmmintrin.h>
#endif
#include "tools.h"

// The interval stage switches the rounding mode; this file is compiled with -frounding-math
// so that no floating-point expression is folded or simplified under round-to-nearest (GCC
// does not honour the FENV_ACCESS pragma; the volatile hand-over in orientationSlow keeps the
// arithmetic between the two switches).

namespace ORBI_LUMO2D {

// Notation: u = 2^-53 is the unit roundoff, fl(.) the double-precision result of one operation,
// gamma_n = n*u/(1-n*u). Without underflow fl(x op y) = (x op y)(1+d) with |d| <= u. With
// underflow a multiplication may in addition be off by an absolute amount of at most 2^-1075
// (half the smallest subnormal); sums and differences that land in the subnormal range are
// exact, so they never carry that absolute error.
//
// ---- Orientation filter ---------------------------------------------------------------------
// det = (y1-y2)(x0-x2) - (y0-y2)(x1-x2) = t1 - t2, every |coordinate| <= M, M = 2^k * m with
// 1 <= m < 2. The bound B = fl(fl(24u*M)*M) ~ 24u*M^2 comes from setBound.
// (a) A difference has |A| <= 2M and is off by at most half an ulp of a number below 2^(k+2),
//     i.e. by e <= 2^(k+1)*u. So |A*B - a*b| <= |A|e + |b|e <= 8u*m*4^k per product.
// (b) The rounding of a product AB <= 4M^2 is at most u*2^floor(log2(AB)).
// (c) If P1 = fl(A1*B1) and P2 are not within a factor two of each other (or differ in sign),
//     |P1-P2| >= (|P1|+|P2|)/3 and the relative errors (about 3u each) cannot flip the sign of
//     fl(P1-P2). Otherwise fl(P1-P2) = P1-P2 exactly (Sterbenz) and the whole error is
//     E <= 16u*m*4^k + r1 + r2 with r_i the product roundings of (b).
//     m = 1:        AB < 4^(k+1) unless exact, so r_i <= 2u*4^k and E <= 20u*4^k < B.
//     m = 1+2u:     r_i <= 4u*4^k, E <= (24+32u)u*4^k, while B >= 24u*M^2(1-2u) ~ (24+48u)u*4^k.
//     m >= 1+4u:    E <= (16m+8)u*4^k (m < sqrt 2) or (16m+8m^2)u*4^k, both below 24(1-2u)m^2*u*4^k.
//     So |det_fl| > B implies that det has the sign of det_fl, as long as nothing underflows.
// (d) Underflow. For M >= 2^-486, B is a normal number and a product that underflows is off by
//     at most 2^-1075 < u*2^-1022, far inside the allowance r_i of (b); the argument stands.
//     For M < 2^-486 every product is below 2^-970 and E < 2^-1021 + 2^-1022 < 2^-1020; the filter
//     therefore also requires |det_fl| >= 2^-1020 (orientFloor). That floor only matters when
//     products are that small (or for an unbounded object); such calls go on to stage 2, whose
//     directed rounding stays valid for subnormal results, and stage 3. In the first branch of
//     (c) underflow adds at most 2^-1074 absolutely, negligible against |det_fl| > max(B, 2^-1020).
//     Without the floor, x near 2^-519 and y near 2^-538 do produce det_fl = -2^-1074 for a
//     counterclockwise triple while B has underflowed to 0 (see the predicate tests).
// (e) Overflow. For M <= 2^500 every product stays below 2^1002. Beyond, the filter's bound is
//     infinite and the slow path repeats the filter on scaled coordinates (setBound).
// The filter assumes the default round-to-nearest mode. Every later stage is exact for all
// finite coordinates.
// orientFloor = 2^-1020 (GeomTest.h).
//
// ---- Orientation filter with the call's own bound (slow path, first step) --------------------
// With the same evaluation, each computed difference is within a factor (1+d) of the exact one
// and each computed product P_i = t_i (1+theta_i), |theta_i| <= gamma_3, so the computed
// difference of the products, P1 - P2, is off by at most gamma_3 (|t1| + |t2|)
// <= gamma_3/(1-gamma_3) S with S = |P1| + |P2|; det_fl = (P1 - P2)(1+d). Hence
// |det_fl| > (1+u) gamma_3/(1-gamma_3) S ~ 3u(1+5u) S fixes the sign. The bound is computed
// as fl(fl(c*fl(S)) + g) >= c S (1-u)^3 for the product part; c = 4u leaves ample room.
// Underflow adds at most 2^-1075 per product (the final difference, if subnormal, is exact), so
// at most 2^-1073 in all; the absolute term g = 2^-1021 (a normal number, see the in-circle
// note on subnormal guards) covers it. Overflowing products make the bound infinite or det
// NaN, and the test fails over to the later stages. Like the door's filter, it assumes
// round-to-nearest; a caller in another mode skips it.
// orientRelErrFactor = 4u, orientAbsErr = 2^-1021 (GeomTest.h).

// ---- In-circle filter -----------------------------------------------------------------------
// det = alift*(bdx*cdy - cdx*bdy) + blift*(cdx*ady - adx*cdy) + clift*(adx*bdy - bdx*ady),
// with the six differences to d and lift = dx^2 + dy^2, evaluated as ((Ta + Tb) + Tc).
// Expanding det gives 12 monomials of the form lift-part * dx * dy, e.g. adx^2*bdx*cdy. Count
// the roundings each of them goes through (each rounding a factor (1+d)):
//   lift  : difference squared (2), the square (1), the sum of the two squares (1)    -> 4
//   minor : two differences (2), the product (1), the difference of the products (1) -> 4
//   lift*minor (1), then at most two additions of the three terms (2)                 -> 3
// so det_fl = sum of monomial_j * (1 + theta_j), |theta_j| <= gamma_11, and
//   |det_fl - det| <= gamma_11 * P,   P = sum_i lift_i * (|dx_j*dy_k| + |dx_k*dy_j|),
// the permanent with exact values. The computed permanent P' goes through the same number of
// roundings per monomial (products 3, |.|+|.| 1, lift 4, product 1, two sums 2 = 11) and all its
// terms are non-negative, so P' >= (1 - gamma_11) P, hence
//   |det_fl - det| <= gamma_11/(1-gamma_11) * P' = 11u/(1-22u) * P'.
// The bound itself is computed with two more roundings, fl(fl(c*P') + g) >= c*P'(1-u)^2, so any
// c with c(1-u)^2 >= 11u/(1-22u) is sound; c = 12u has ample room (12 - 24u > 11 + 243u).
// Underflow: the absolute errors of at most 2^-1075 arise in the 6 squares, the 6 products of
// the minors and the 3 products lift*minor (and likewise in P'). Carried through the later
// operations they add at most 2^-1075 * (2*sum|minor| + 2*sum lift + 3) * (1+gamma_4) to the
// error of det_fl, and P' may be smaller by the same amount, which the relative term covers
// only up to a factor 12u. Since |minor_i| <= p_i (p the computed |.|+|.| sums), all of it stays
// below 2^-1073 * (alift + blift + clift + pa + pb + pc + 1). The filter adds
//   g = 2^-1022 * (alift + blift + clift + pa + pb + pc + 1),
// far more than needed, but a normal number: a subnormal guard would cost a microcode assist of
// some hundred cycles on every call. Only data whose differences are below about 2^-511 lose
// the filter through it, and those go to the exact stage.
// inCircleErrFactor = 12u, underflowFactor = 2^-1022 (GeomTest.h).

GeomTest::GeomTest() {}

GeomTest::~GeomTest() {
    if (bGeneralPoolReady)
        for (auto& q : aGeneral) mpq_clear(q);
    if (bIntersectionPoolReady) {
        for (auto& z : aIntersection) mpz_clear(z);
        mpq_clear(intersectionRatio);
    }
}

void GeomTest::initGeneralPool() {
    for (auto& q : aGeneral) mpq_init(q);
    bGeneralPoolReady = true;
}

void GeomTest::initIntersectionPool() {
    for (auto& z : aIntersection) mpz_init(z);
    mpq_init(intersectionRatio);
    bIntersectionPoolReady = true;
}

namespace {
// ((e*2^1 + 0.5*e*2^2)*2 + 0.5*e*2^3) = 3*2^-50 with e = 2^-52: the differences, their product
// and the final difference each round by e/2 on terms of size up to (2M)^2.
double orientationBoundFactor() {
    const double e = DBL_EPSILON;  // 2^-52
    const double k1 = std::ldexp(e, int(std::ceil(std::log(2.0) / std::log(2.0))));
    const double k2 = std::ldexp(e, int(std::ceil(std::log(4.0) / std::log(2.0))));
    const double k3 = std::ldexp(e, int(std::ceil(std::log(8.0) / std::log(2.0))));
    return (k1 + 0.5 * k2) * 2.0 + 0.5 * k3;
}
} // namespace

void GeomTest::setBound(double M) {
    // Computed once (under -frounding-math the compiler may not fold the logarithms), on first
    // use, so that boxes set up during static initialisation get the right factor too.
    static const double factor = orientationBoundFactor();
    const double bound = factor * M * M;
    posErrBound = bound;
    negErrBound = -bound;
    orientBound = !(bound <= orientFloor) ? bound : orientFloor;  // a NaN bound lets nothing through
    coordinateBound = std::fabs(M);
    // Beyond these magnitudes the bound overflows, or it and the products sink towards the
    // floor: the slow path then repeats the filter on coordinates scaled by 2^-e, e the exponent
    // of M, where the same analysis holds for M' = M * 2^-e in [1, 2). A scaled coordinate that
    // lands in the subnormal range is off by at most 2^-1075, which moves the determinant by
    // less than 2^-1066, far inside the bound's slack (about u*M'^2) and the floor.
    const double m = std::fmin(coordinateBound, DBL_MAX);
    orientScaleExp = 0;
    scaledErrBound = 0.0;
    if (m > 0.0 && !(m >= 0x1p-480 && m <= 0x1p500)) {
        orientScaleExp = -adaptive::exponentOf(m);
        const double scaledM = adaptive::timesPow2(m, orientScaleExp);
        scaledErrBound = factor * scaledM * scaledM;
    }
    if (m > 0x1p500) orientBound = HUGE_VAL;  // products may overflow: only the scaled filter decides
}

// With |coordinate difference| <= D, each lift and each minor sum is at most 2D^2, so the
// permanent is at most 12 D^4 and lifts plus minors at most 12 D^2 + 1. The static bound is the
// dynamic one for that worst case, with a relative margin for the rounding of this product;
// beyond D = 6e9 it would not be finite-safe and stays disabled.
void GeomTest::setDifferenceBound(double D) {
    if (!(D < 6.0e9)) {
        inCircleStaticBound = HUGE_VAL;
        return;
    }
    const double D2 = D * D;
    inCircleStaticBound = inCircleErrFactor * (12.0 * D2 * D2) * (1.0 + 1e-12) +
                          underflowFactor * (12.0 * D2 + 1.0) * (1.0 + 1e-12);
}

void GeomTest::updateBound(const Point2* p0, const Point2* p1, const Point2* p2) {
    // The sum (not the maximum) of the new magnitudes: a deliberate over-estimate.
    double sum = 0.0;
    for (const Point2* p : {p0, p1, p2}) {
        const double m = p->getMaxAbs();
        if (m > coordinateBound) sum += m;
    }
    if (sum > coordinateBound) setBound(sum);
}

namespace {
// Under upward rounding: hi >= |p - q| >= lo.
inline void magnitudeBounds(double p, double q, double& lo, double& hi) {
    const double big = p > q ? p : q, small = p > q ? q : p;
    hi = big - small;
    lo = -(small - big);
}
inline int sign(double p, double q) { return p > q ? 1 : (p < q ? -1 : 0); }
// Bounds of the term (a0 - a1)(b0 - b1) = s*|a|*|b| (s the product sign) under upward rounding.
inline void termBounds(double a0, double a1, double b0, double b1, double& lo, double& hi) {
    const int s = sign(a0, a1) * sign(b0, b1);
    if (s == 0) { lo = hi = 0.0; return; }
    double aLo, aHi, bLo, bHi;
    magnitudeBounds(a0, a1, aLo, aHi);
    magnitudeBounds(b0, b1, bLo, bHi);
    const double pHi = aHi * bHi;
    const double pLo = -((-aLo) * bLo);
    if (s > 0) { lo = pLo; hi = pHi; }
    else { lo = -pHi; hi = -pLo; }
}
} // namespace

namespace {
Orientation2 toOrientation(int sign) {
    return sign > 0 ? ORIENTATION2_CCW : (sign < 0 ? ORIENTATION2_CW : ORIENTATION2_COLLINEAR);
}
} // namespace

Orientation2 GeomTest::orientationSlow(const Point2* p0, const Point2* p1, const Point2* p2) {
    if (orientScaleExp != 0) {
        const int k = orientScaleExp;
        const double x0 = adaptive::timesPow2(p0->x(), k), y0 = adaptive::timesPow2(p0->y(), k);
        const double x1 = adaptive::timesPow2(p1->x(), k), y1 = adaptive::timesPow2(p1->y(), k);
        const double x2 = adaptive::timesPow2(p2->x(), k), y2 = adaptive::timesPow2(p2->y(), k);
        const double det = (y1 - y2) * (x0 - x2) - (y0 - y2) * (x1 - x2);
        if ((det > scaledErrBound && det >= orientFloor) || (det < -scaledErrBound && det <= -orientFloor)) {
            ++stats.orientScaled;
            return det > 0.0 ? ORIENTATION2_CCW : ORIENTATION2_CW;
        }
    }
    // The coordinates go through volatile storage and the results come back through it: the
    // compiler may not move the interval arithmetic across the two rounding-mode switches.
    volatile double in[6] = {p0->x(), p0->y(), p1->x(), p1->y(), p2->x(), p2->y()};
    volatile double upper, lower;
    const int savedMode = std::fegetround();
    std::fesetround(FE_UPWARD);
    {
        const double x0 = in[0], y0 = in[1], x1 = in[2], y1 = in[3], x2 = in[4], y2 = in[5];
        // det = (y1 - y2)(x0 - x2) - (y0 - y2)(x1 - x2) = t1 - t2
        double lo1, hi1, lo2, hi2;
        termBounds(y1, y2, x0, x2, lo1, hi1);
        termBounds(y0, y2, x1, x2, lo2, hi2);
        upper = hi1 - lo2;        // >= t1 - t2
        lower = -(hi2 - lo1);     // <= t1 - t2
    }
    std::fesetround(savedMode);
    if (upper < 0.0) { ++stats.orientInterval; return ORIENTATION2_CW; }
    if (lower > 0.0) { ++stats.orientInterval; return ORIENTATION2_CCW; }
    // The adaptive stage relies on round-to-nearest; a caller in another mode gets rationals.
    if (savedMode == FE_TONEAREST) {
        double v[6] = {p0->x(), p0->y(), p1->x(), p1->y(), p2->x(), p2->y()};
        if (adaptive::inWindow(v, 6, adaptive::ORIENT_WINDOW) ||
            adaptive::scaleIntoWindow(v, 6, adaptive::ORIENT_WINDOW)) {
            ++stats.orientAdaptive;
            return toOrientation(adaptive::orientation(v));
        }
    }
    return orientationExact(p0, p1, p2);
}

namespace {
// The adaptive arithmetic needs round-to-nearest; a caller in another mode gets rationals.
bool roundsToNearest() {
#if defined(__SSE2__)
    return (_mm_getcsr() & 0x6000u) == 0;  // the SSE rounding-control bits
#else
    return std::fegetround() == FE_TONEAREST;
#endif
}
} // namespace

Orientation2 GeomTest::orientationAfterFilter(const Point2* p0, const Point2* p1, const Point2* p2) {
    if ((p0->x() == p1->x() && p1->x() == p2->x()) || (p0->y() == p1->y() && p1->y() == p2->y())) {
        ++stats.orientShortcut;
        return ORIENTATION2_COLLINEAR;
    }
    const bool bNearest = roundsToNearest();
    if (bNearest) {
        // The filter once more, against the error of this call's own products instead of the
        // box's worst case: short edges (dense points on a curve) pass here.
        const double t1 = (p1->y() - p2->y()) * (p0->x() - p2->x());
        const double t2 = (p0->y() - p2->y()) * (p1->x() - p2->x());
        const double det = t1 - t2;
        const double errBound = orientRelErrFactor * (std::fabs(t1) + std::fabs(t2)) + orientAbsErr;
        if (det > errBound) { ++stats.orientDynamic; return ORIENTATION2_CCW; }
        if (-det > errBound) { ++stats.orientDynamic; return ORIENTATION2_CW; }
    }
    const double v[6] = {p0->x(), p0->y(), p1->x(), p1->y(), p2->x(), p2->y()};
    if (bNearest && adaptive::inWindow(v, 6, adaptive::ORIENT_WINDOW)) {
        const int r = adaptive::orientationOfExactDifferences(v);
        if (r != adaptive::NOT_DECIDED) {
            ++stats.orientAdaptive;
            return toOrientation(r);
        }
    }
    return orientationSlow(p0, p1, p2);
}

int GeomTest::inCircleSlow(const Point2* a, const Point2* b, const Point2* c, const Point2* d) {
    double v[8] = {a->x(), a->y(), b->x(), b->y(), c->x(), c->y(), d->x(), d->y()};
    if (!adaptive::inWindow(v, 8, adaptive::INCIRCLE_WINDOW)) {
        // Exponents spanning too far for double expansions: rationals.
        if (!adaptive::scaleIntoWindow(v, 8, adaptive::INCIRCLE_WINDOW)) return inCircleExact(a, b, c, d);
        // Scaled by a power of two, the filter works where the original lifts over- or underflowed.
        int result;
        if (inCircleFilter(v, HUGE_VAL, result)) {
            ++stats.inCircleScaled;
            return result;
        }
    }
    ++stats.inCircleAdaptive;
    return adaptive::inCircle(v);
}

Orientation2 GeomTest::orientationExact(const Point2* p0, const Point2* p1, const Point2* p2) {
    ++stats.orientExact;
    if (!bGeneralPoolReady) initGeneralPool();
    mpq_t* q = aGeneral;  // the first twelve: 6 coordinates, 6 intermediates
    mpq_set_d(q[0], p0->x()); mpq_set_d(q[1], p0->y());
    mpq_set_d(q[2], p1->x()); mpq_set_d(q[3], p1->y());
    mpq_set_d(q[4], p2->x()); mpq_set_d(q[5], p2->y());
    mpq_sub(q[6], q[0], q[4]);   // x0 - x2
    mpq_sub(q[7], q[3], q[5]);   // y1 - y2
    mpq_sub(q[8], q[1], q[5]);   // y0 - y2
    mpq_sub(q[9], q[2], q[4]);   // x1 - x2
    mpq_mul(q[10], q[6], q[7]);  // A
    mpq_mul(q[11], q[8], q[9]);  // B
    const int c = mpq_cmp(q[10], q[11]);
    return c > 0 ? ORIENTATION2_CCW : (c < 0 ? ORIENTATION2_CW : ORIENTATION2_COLLINEAR);
}

int GeomTest::getRingAreaSign(const Point2* aVertices, size_t n) {
    if (n < 3) return 0;
    // Filter: each of the 2n products passes at most n+1 roundings (its own, the difference,
    // the running sum), so |S - exact| <= gamma_{n+1} P with P the sum of the products'
    // magnitudes, which is computed with as many roundings; twice that factor covers both and
    // the bound's own two roundings. An underflowing product is off by at most 2^-1075 each.
    double sum = 0.0, magnitude = 0.0;
    for (size_t i = 0; i < n; ++i) {
        const Point2& a = aVertices[i];
        const Point2& b = aVertices[i + 1 == n ? 0 : i + 1];
        const double p = a.x() * b.y(), q = b.x() * a.y();
        sum += p - q;
        magnitude += std::fabs(p) + std::fabs(q);
    }
    const double m = double(n);
    if (m < 0x1p40) {
        const double bound = 2.0 * (m + 2.0) * 0x1p-53 * magnitude + 2.0 * m * 0x1p-1074;
        if (sum > bound) return 1;
        if (-sum > bound) return -1;   // false for NaN, which an overflow leaves
    }
    // Exact: the products of doubles are exact rationals.
    mpq_t total, x, y, term;
    mpq_init(total); mpq_init(x); mpq_init(y); mpq_init(term);
    for (size_t i = 0; i < n; ++i) {
        const Point2& a = aVertices[i];
        const Point2& b = aVertices[i + 1 == n ? 0 : i + 1];
        mpq_set_d(x, a.x()); mpq_set_d(y, b.y());
        mpq_mul(term, x, y);
        mpq_add(total, total, term);
        mpq_set_d(x, b.x()); mpq_set_d(y, a.y());
        mpq_mul(term, x, y);
        mpq_sub(total, total, term);
    }
    const int sign = mpq_sgn(total);
    mpq_clear(total); mpq_clear(x); mpq_clear(y); mpq_clear(term);
    return sign > 0 ? 1 : (sign < 0 ? -1 : 0);
}

int GeomTest::inCircleExact(const Point2* a, const Point2* b, const Point2* c, const Point2* d) {
    ++stats.inCircleExact;
    if (!bGeneralPoolReady) initGeneralPool();
    mpq_t* q = aGeneral + 12;  // the 36 rationals after the orientation's twelve
    mpq_t* dx = q + 8;    // adx bdx cdx
    mpq_t* dy = q + 11;   // ady bdy cdy
    mpq_t* lift = q + 14;
    mpq_t* t = q + 17;    // scratch t[0..5]
    const Point2* pts[3] = {a, b, c};
    mpq_set_d(q[6], d->x());
    mpq_set_d(q[7], d->y());
    for (int i = 0; i < 3; ++i) {
        mpq_set_d(q[2 * i], pts[i]->x());
        mpq_set_d(q[2 * i + 1], pts[i]->y());
        mpq_sub(dx[i], q[2 * i], q[6]);
        mpq_sub(dy[i], q[2 * i + 1], q[7]);
        mpq_mul(t[0], dx[i], dx[i]);
        mpq_mul(t[1], dy[i], dy[i]);
        mpq_add(lift[i], t[0], t[1]);
    }
    // det = sum over cyclic (i,j,k) of lift[i] * (dx[j]*dy[k] - dx[k]*dy[j]); the first two terms
    // are summed and compared with the negated third one.
    for (int i = 0; i < 2; ++i) {
        const int j = (i + 1) % 3, k = (i + 2) % 3;
        mpq_mul(t[0], dx[j], dy[k]);
        mpq_mul(t[1], dx[k], dy[j]);
        mpq_sub(t[2], t[0], t[1]);
        mpq_mul(t[3 + i], lift[i], t[2]);
    }
    mpq_add(t[5], t[3], t[4]);
    mpq_mul(t[0], dx[1], dy[0]);   // -(minor of c) = bdx*ady - adx*bdy
    mpq_mul(t[1], dx[0], dy[1]);
    mpq_sub(t[2], t[0], t[1]);
    mpq_mul(t[3], lift[2], t[2]);
    const int cmp = mpq_cmp(t[5], t[3]);
    return cmp > 0 ? 1 : (cmp < 0 ? -1 : 0);
}

// Every double is an integer times a power of two: with E the smallest exponent of the eight
// coordinates, the coordinates times 2^-E are integers, the intersection's numerators and its
// denominator are integers (degrees 3 and 2), and the point is their quotient times 2^E. Only
// the final quotient is a rational, never reduced: the same value as with rationals throughout,
// without the gcds that made up most of their cost.
Point2 GeomTest::getIntersectionCoords_gmp(const Segment2& sa, const Segment2& sb) {
    if (!bIntersectionPoolReady) initIntersectionPool();
    mpz_t* z = aIntersection;
    const double c[8] = {sa.getSrc().x(), sa.getSrc().y(), sa.getTrg().x(), sa.getTrg().y(),
                         sb.getSrc().x(), sb.getSrc().y(), sb.getTrg().x(), sb.getTrg().y()};
    // c[i] = mant[i] * 2^ex[i] exactly, read from the bits (no library rounding involved).
    int64_t mant[8];
    int ex[8];
    int E = INT_MAX;
    for (int i = 0; i < 8; ++i) {
        uint64_t bits;
        std::memcpy(&bits, &c[i], sizeof(bits));
        const int biased = int((bits >> 52) & 0x7ff);
        uint64_t frac = bits & ((uint64_t(1) << 52) - 1);
        if (biased != 0) frac |= uint64_t(1) << 52;
        ex[i] = (biased == 0 ? 1 : biased) - 1075;
        mant[i] = (bits >> 63) != 0 ? -int64_t(frac) : int64_t(frac);
        if (frac != 0) E = std::min(E, ex[i]);
    }
    if (E == INT_MAX) E = 0;
    for (int i = 0; i < 8; ++i) {
        if (sizeof(long) >= sizeof(int64_t)) mpz_set_si(z[i], long(mant[i]));
        else mpz_set_d(z[i], double(mant[i]));   // exact: below 2^53
        if (mant[i] != 0) mpz_mul_2exp(z[i], z[i], mp_bitcnt_t(ex[i] - E));
    }
    // z0..z7 = x0 y0 x1 y1 x2 y2 x3 y3
    mpz_mul(z[8], z[0], z[3]);   // c1 = x0*y1 - y0*x1
    mpz_submul(z[8], z[1], z[2]);
    mpz_mul(z[9], z[4], z[7]);   // c2 = x2*y3 - y2*x3
    mpz_submul(z[9], z[5], z[6]);
    mpz_sub(z[10], z[0], z[2]);  // x0 - x1
    mpz_sub(z[11], z[1], z[3]);  // y0 - y1
    mpz_sub(z[12], z[4], z[6]);  // x2 - x3
    mpz_sub(z[13], z[5], z[7]);  // y2 - y3
    mpz_mul(z[14], z[10], z[13]);   // denom = (x0-x1)(y2-y3) - (y0-y1)(x2-x3)
    mpz_submul(z[14], z[11], z[12]);
    if (mpz_sgn(z[14]) == 0) {
        reportError("GeomTest::getIntersectionCoords()", "denom=0 -> parallel segments");
        LUMO_ASSERT(false);
    }
    mpz_mul(z[15], z[8], z[12]);   // numX = c1(x2-x3) - (x0-x1)c2
    mpz_submul(z[15], z[10], z[9]);
    mpz_mul(z[16], z[8], z[13]);   // numY = c1(y2-y3) - (y0-y1)c2
    mpz_submul(z[16], z[11], z[9]);
    if (mpz_sgn(z[14]) < 0) {
        mpz_neg(z[14], z[14]);
        mpz_neg(z[15], z[15]);
        mpz_neg(z[16], z[16]);
    }
    double xy[2];
    for (int k = 0; k < 2; ++k) {
        mpz_set(mpq_numref(intersectionRatio), z[15 + k]);
        mpz_set(mpq_denref(intersectionRatio), z[14]);
        if (E > 0) mpz_mul_2exp(mpq_numref(intersectionRatio), mpq_numref(intersectionRatio), mp_bitcnt_t(E));
        if (E < 0) mpz_mul_2exp(mpq_denref(intersectionRatio), mpq_denref(intersectionRatio), mp_bitcnt_t(-E));
        xy[k] = mpq_get_d(intersectionRatio);   // truncates: the one rounding
    }
    return Point2(xy[0], xy[1]);
}

} // namespace ORBI_LUMO2D
