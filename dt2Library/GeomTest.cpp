#include "GeomTest.h"
#include <cfenv>
#include <cmath>
#include "tools.h"

#pragma STDC FENV_ACCESS ON

namespace ORBI_LUMO2D {

// In-circle filter. With u = 2^-53 (unit roundoff), the classical forward error analysis of
// det = alift*(bdxcdy - cdxbdy) + blift*(cdxady - adxcdy) + clift*(adxbdy - bdxady) evaluated
// in floating point from the six rounded differences gives |det_fl - det| <= (10u + 96u^2) * P,
// where P is the permanent computed above (the same sum with every product and difference
// replaced by its absolute value): each difference contributes one rounding, each square and
// lift two more, each product of a lift with a 2x2 minor three, the three-term sum two, and the
// terms of order u^2 collect into 96u^2. The analysis assumes no underflow; a product that falls
// below 2^-1022 is off by at most 2^-1075 absolutely, and that error is then multiplied by at
// most one other factor (a lift or a minor) before the sum, so adding 2^-1070 times
// (sum of lifts + sum of minors + 1) covers every such case with room to spare.
const double GeomTest::inCircleErrFactor = (10.0 + 96.0 * std::ldexp(1.0, -53)) * std::ldexp(1.0, -53);
const double GeomTest::underflowFactor = std::ldexp(1.0, -1070);

GeomTest::GeomTest() {}

GeomTest::~GeomTest() {
    if (bGeneralPoolReady)
        for (auto& q : aGeneral) mpq_clear(q);
    if (bIntersectionPoolReady)
        for (auto& q : aIntersection) mpq_clear(q);
}

void GeomTest::initGeneralPool() {
    for (auto& q : aGeneral) mpq_init(q);
    bGeneralPoolReady = true;
}

void GeomTest::initIntersectionPool() {
    for (auto& q : aIntersection) mpq_init(q);
    bIntersectionPoolReady = true;
}

void GeomTest::setBound(double M) {
    const double e = 2.220446049250313e-16;
    const double k1 = std::ldexp(e, int(std::ceil(std::log(2.0) / std::log(2.0))));
    const double k2 = std::ldexp(e, int(std::ceil(std::log(4.0) / std::log(2.0))));
    const double k3 = std::ldexp(e, int(std::ceil(std::log(8.0) / std::log(2.0))));
    const double bound = ((k1 + 0.5 * k2) * 2.0 + 0.5 * k3) * M * M;
    posErrBound = bound;
    negErrBound = -bound;
    coordinateBound = std::fabs(M);
}

void GeomTest::updateBound(const Point2* p0, const Point2* p1, const Point2* p2) {
    double sum = 0.0;
    for (const Point2* p : {p0, p1, p2}) {
        const double m = p->getMaxAbs();
        if (m > coordinateBound) sum += m;
    }
    if (sum > coordinateBound) setBound(sum);
}

namespace {
// Upper bound of |p - q| and lower bound of |p - q| under upward rounding.
inline void magnitudeBounds(double p, double q, double& lo, double& hi) {
    const double big = p > q ? p : q, small = p > q ? q : p;
    hi = big - small;
    lo = -(small - big);
}
inline int sign(double p, double q) { return p > q ? 1 : (p < q ? -1 : 0); }
// Bounds of the product term s*|a|*|b| (s the product sign) under upward rounding.
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

Orientation2 GeomTest::orientationSlow(const Point2* p0, const Point2* p1, const Point2* p2) {
    const double x0 = p0->x(), y0 = p0->y(), x1 = p1->x(), y1 = p1->y(), x2 = p2->x(), y2 = p2->y();
    if (x0 == x1 && x1 == x2) return ORIENTATION2_COLLINEAR;
    if (y0 == y1 && y1 == y2) return ORIENTATION2_COLLINEAR;

    const int savedMode = std::fegetround();
    std::fesetround(FE_UPWARD);
    // det = (y1 - y2)(x0 - x2) - (y0 - y2)(x1 - x2) = t1 - t2
    double lo1, hi1, lo2, hi2;
    termBounds(y1, y2, x0, x2, lo1, hi1);
    termBounds(y0, y2, x1, x2, lo2, hi2);
    const double upper = hi1 - lo2;
    const double lower = -(hi2 - lo1);
    std::fesetround(savedMode);
    if (upper < 0.0) { ++stats.orientInterval; return ORIENTATION2_CW; }
    if (lower > 0.0) { ++stats.orientInterval; return ORIENTATION2_CCW; }
    return orientationExact(p0, p1, p2);
}

Orientation2 GeomTest::orientationExact(const Point2* p0, const Point2* p1, const Point2* p2) {
    ++stats.orientExact;
    if (!bGeneralPoolReady) initGeneralPool();
    mpq_t* q = aGeneral;
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

int GeomTest::inCircleExact(const Point2* a, const Point2* b, const Point2* c, const Point2* d) {
    ++stats.inCircleExact;
    if (!bGeneralPoolReady) initGeneralPool();
    mpq_t* q = aGeneral + 12;  // the 36 rationals after the orientation's twelve
    mpq_t* dx = q + 8;   // adx bdx cdx
    mpq_t* dy = q + 11;  // ady bdy cdy
    mpq_t* lift = q + 14;
    mpq_t* t = q + 17;   // scratch
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
    // det = sum over i of lift[i] * (dx[j]*dy[k] - dx[k]*dy[j]), (i,j,k) cyclic
    mpq_set_ui(t[4], 0, 1);
    for (int i = 0; i < 3; ++i) {
        const int j = (i + 1) % 3, k = (i + 2) % 3;
        mpq_mul(t[0], dx[j], dy[k]);
        mpq_mul(t[1], dx[k], dy[j]);
        mpq_sub(t[2], t[0], t[1]);
        mpq_mul(t[3], lift[i], t[2]);
        mpq_add(t[4], t[4], t[3]);
    }
    return mpq_sgn(t[4]);
}

Point2 GeomTest::getIntersectionCoords_gmp(const Segment2& sa, const Segment2& sb) {
    if (!bIntersectionPoolReady) initIntersectionPool();
    mpq_t* q = aIntersection;
    const Point2 p0(sa.getSrc()), p1(sa.getTrg()), p2(sb.getSrc()), p3(sb.getTrg());
    mpq_set_d(q[0], p0.x()); mpq_set_d(q[1], p0.y());
    mpq_set_d(q[2], p1.x()); mpq_set_d(q[3], p1.y());
    mpq_set_d(q[4], p2.x()); mpq_set_d(q[5], p2.y());
    mpq_set_d(q[6], p3.x()); mpq_set_d(q[7], p3.y());
    // c1 = x0*y1 - y0*x1, c2 = x2*y3 - y2*x3
    mpq_mul(q[8], q[0], q[3]); mpq_mul(q[9], q[1], q[2]); mpq_sub(q[10], q[8], q[9]);
    mpq_mul(q[11], q[4], q[7]); mpq_mul(q[12], q[5], q[6]); mpq_sub(q[13], q[11], q[12]);
    mpq_sub(q[14], q[0], q[2]);  // x0 - x1
    mpq_sub(q[15], q[1], q[3]);  // y0 - y1
    mpq_sub(q[16], q[4], q[6]);  // x2 - x3
    mpq_sub(q[17], q[5], q[7]);  // y2 - y3
    // denom = (x0-x1)(y2-y3) - (y0-y1)(x2-x3)
    mpq_mul(q[18], q[14], q[17]); mpq_mul(q[19], q[15], q[16]); mpq_sub(q[20], q[18], q[19]);
    if (mpq_sgn(q[20]) == 0) {
        reportError("GeomTest::getIntersectionCoords()", "denom=0 -> parallel segments");
        LUMO_ASSERT(false);
    }
    // numX = c1(x2-x3) - (x0-x1)c2 ; numY = c1(y2-y3) - (y0-y1)c2
    mpq_mul(q[21], q[10], q[16]); mpq_mul(q[22], q[14], q[13]); mpq_sub(q[23], q[21], q[22]);
    mpq_mul(q[24], q[10], q[17]); mpq_mul(q[25], q[15], q[13]); mpq_sub(q[26], q[24], q[25]);
    mpq_div(q[27], q[23], q[20]);
    mpq_div(q[28], q[26], q[20]);
    return Point2(mpq_get_d(q[27]), mpq_get_d(q[28]));
}

} // namespace ORBI_LUMO2D
