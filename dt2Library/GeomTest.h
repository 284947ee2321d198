// The library's exact predicates: every side-of-line and in-circle decision goes through here.
// Stage 1 is a floating-point filter (repeated on coordinates scaled by a power of two when the
// data's magnitude would overflow or underflow it), stage 2 an interval evaluation under upward
// rounding (orientation only), then an adaptive exact evaluation in double arithmetic
// (ExactDiffPredicates.h), and last, for inputs whose exponents span too far for it, exact
// rational arithmetic from pooled GMP scratch. Nothing allocates per call.
// Not for concurrent use: one instance per triangulation or per thread.
#pragma once
#include <gmp.h>
#include <cfloat>
#include <cmath>
#include "Orientation2.h"
#include "Point2.h"
#include "Segment2.h"

namespace ORBI_LUMO2D {

class GeomTest {
public:
    GeomTest();
    ~GeomTest();
    GeomTest(const GeomTest&) = delete;
    GeomTest& operator=(const GeomTest&) = delete;

    // ---- error bound --------------------------------------------------------------
    // Derives the orientation filter's error bound from the largest absolute coordinate M.
    void setBound(double coordinateBound);
    // Grows the bound to cover three points (sum of the magnitudes above the current bound).
    void updateBound(const Point2* p0, const Point2* p1, const Point2* p2);
    // Promises that no coordinate difference of the points passed to inCircle exceeds D in
    // magnitude; enables a cheaper first in-circle stage. Infinity (the default) disables it.
    void setDifferenceBound(double D);
    // The magnitude M the bound was derived from (0 while unbounded).
    double getCoordinateBound() const { return coordinateBound; }
    double getPositiveErrorBound() const { return posErrBound; }

    // ---- predicates ----------------------------------------------------------------
    // Exact orientation of (p0, p1, p2), provided every coordinate lies within the bound
    // (an unbounded object takes any filtered determinant that is not tiny as it stands).
    Orientation2 getOrientation2(const Point2* p0, const Point2* p1, const Point2* p2) {
        const double det = (p1->y() - p2->y()) * (p0->x() - p2->x()) - (p0->y() - p2->y()) * (p1->x() - p2->x());
        // The bound is floored so that determinants whose products may have underflowed stay
        // out of the filter, and infinite where products may overflow (see GeomTest.cpp).
        if (det > orientBound) return ORIENTATION2_CCW;
        if (det < -orientBound) return ORIENTATION2_CW;
        return orientationAfterFilter(p0, p1, p2);
    }
    // Exact in-circle test for a counterclockwise triangle (a, b, c):
    // +1 when d is strictly inside the circumcircle, 0 on it, -1 outside.
    // Exact for all finite coordinates; the filter bound is derived in GeomTest.cpp.
    int inCircle(const Point2* a, const Point2* b, const Point2* c, const Point2* d) {
        const double v[8] = {a->x(), a->y(), b->x(), b->y(), c->x(), c->y(), d->x(), d->y()};
        int result;
        if (inCircleFilter(v, inCircleStaticBound, result)) return result;
        return inCircleSlow(a, b, c, d);
    }
    // The same for the corners of t (counterclockwise) and the point p. A template so that the
    // predicates need not know the triangle record: any type with getCorner(0..2) serves.
    template <class TriangleT>
    int circleInc(const TriangleT* t, const Point2* p) {
        return inCircle(t->getCorner(0), t->getCorner(1), t->getCorner(2), p);
    }
    // Exact sign of the area of the closed polygon aVertices[0..n) (the shoelace sum): +1
    // counterclockwise, -1 clockwise, 0 when it has none (fewer than three vertices, all on
    // one line, or parts of opposite orientation cancelling exactly).
    int getRingAreaSign(const Point2* aVertices, size_t n);
    // Exact intersection of the supporting lines of a and b, rounded once per coordinate
    // (GMP's truncating conversion). Parallel lines are an assertion failure.
    Point2 getIntersectionCoords_gmp(const Segment2& a, const Segment2& b);

    // ---- statistics ---------------------------------------------------------------------
    // How many calls each later stage decided; the filter's share is the rest of the calls.
    // Only the slow paths count, so the filter itself stays free of bookkeeping.
    struct Stats {
        unsigned long long orientScaled{0};      // stage 1 again, on coordinates scaled by 2^k
        unsigned long long orientShortcut{0};    // stage 2, equal x or equal y coordinates
        unsigned long long orientDynamic{0};     // the filter again, bounded by the call's own products
        unsigned long long orientInterval{0};    // stage 2, interval bounds
        unsigned long long orientAdaptive{0};    // adaptive exact stage in double arithmetic
        unsigned long long orientExact{0};       // rational stage
        unsigned long long inCircleScaled{0};    // the filter again, on scaled coordinates
        unsigned long long inCircleAdaptive{0};  // adaptive exact stage
        unsigned long long inCircleExact{0};     // rational stage
    };
    const Stats& getStats() const { return stats; }
    void resetStats() { stats = Stats(); }

private:
    // In-circle filter on v = {ax, ay, bx, by, cx, cy, dx, dy}: true with the side in result
    // when the determinant clears the static or the dynamic error bound (derived in GeomTest.cpp).
    static bool inCircleFilter(const double* v, double staticBound, int& result) {
        const double adx = v[0] - v[6], ady = v[1] - v[7];
        const double bdx = v[2] - v[6], bdy = v[3] - v[7];
        const double cdx = v[4] - v[6], cdy = v[5] - v[7];
        const double bdxcdy = bdx * cdy, cdxbdy = cdx * bdy;
        const double cdxady = cdx * ady, adxcdy = adx * cdy;
        const double adxbdy = adx * bdy, bdxady = bdx * ady;
        const double alift = adx * adx + ady * ady;
        const double blift = bdx * bdx + bdy * bdy;
        const double clift = cdx * cdx + cdy * cdy;
        const double det = alift * (bdxcdy - cdxbdy) + blift * (cdxady - adxcdy) + clift * (adxbdy - bdxady);
        // Static stage: with every coordinate difference bounded (setDifferenceBound), the
        // permanent is bounded too, and clear cases need no permanent at all.
        if (det > staticBound) { result = 1; return true; }
        if (-det > staticBound) { result = -1; return true; }
        const double pa = std::fabs(bdxcdy) + std::fabs(cdxbdy);
        const double pb = std::fabs(cdxady) + std::fabs(adxcdy);
        const double pc = std::fabs(adxbdy) + std::fabs(bdxady);
        const double permanent = pa * alift + pb * blift + pc * clift;
        // The second term covers products that fell into the subnormal range.
        const double errBound = inCircleErrFactor * permanent +
                                underflowFactor * (alift + blift + clift + pa + pb + pc + 1.0);
        if (det > errBound) { result = 1; return true; }
        if (-det > errBound) { result = -1; return true; }
        return false;
    }
    // Everything the orientation filter leaves (one out-of-line call): equal x or equal y, exact
    // double arithmetic when the coordinate differences are exact (grids, shared exponents,
    // decided without switching the rounding mode), then orientationSlow.
    Orientation2 orientationAfterFilter(const Point2* p0, const Point2* p1, const Point2* p2);
    // The filter on scaled coordinates where needed, the interval stage, the adaptive stage, and
    // rationals for exponents spanning too far.
    Orientation2 orientationSlow(const Point2* p0, const Point2* p1, const Point2* p2);
    int inCircleSlow(const Point2* a, const Point2* b, const Point2* c, const Point2* d);
    Orientation2 orientationExact(const Point2* p0, const Point2* p1, const Point2* p2);
    int inCircleExact(const Point2* a, const Point2* b, const Point2* c, const Point2* d);
    void initGeneralPool();
    void initIntersectionPool();

    // Filter constants, derived in GeomTest.cpp. Constant expressions, so that no static
    // initialisation order can leave them zero.
    static constexpr double orientFloor = 0x1p-1020;
    static constexpr double inCircleErrFactor = 12.0 * 0x1p-53;
    static constexpr double underflowFactor = 0x1p-1022;
    static constexpr double orientRelErrFactor = 4.0 * 0x1p-53;
    static constexpr double orientAbsErr = 0x1p-1021;

    mpq_t aGeneral[48];
    mpz_t aIntersection[17];
    mpq_t intersectionRatio;
    double orientBound{orientFloor};   // max(posErrBound, orientFloor): the door's filter
    double posErrBound{0.0};
    double negErrBound{0.0};
    double coordinateBound{0.0};
    double inCircleStaticBound{HUGE_VAL};
    // Where the bound's magnitude over- or underflows the plain filter: the filter is repeated on
    // coordinates times 2^orientScaleExp (0: not needed) against scaledErrBound.
    int orientScaleExp{0};
    double scaledErrBound{0.0};
    bool bGeneralPoolReady{false};
    bool bIntersectionPoolReady{false};
    int counter0{0}, counter1{1}, counter2{2};
    Stats stats;
};

} // namespace ORBI_LUMO2D
