// Exact predicates: orientation (filter, shortcut, intervals, adaptive, rationals), in-circle,
// the adaptive stage alone, exact line intersection, the free orientation functions and the
// Hilbert keys, checked against independent exact oracles on random, near-degenerate,
// adversarial and extreme-magnitude input.
#include <gtest/gtest.h>
#include <gmpxx.h>
#include <cfenv>
#include <cfloat>
#include <cmath>
#include <random>
#include <functional>
#include <map>
#include <sstream>
#include <set>
#include <thread>
#include <vector>
#include "ExactDiffPredicates.h"
#include "ExactOracle.h"
#include "DelaunayOracle.h"
#include "GeomTest.h"
#include "HC2.h"
#include "MessageText.h"
#include "ScopedTempDir.h"
#include "TriangulationBuilders.h"
#include "Lumo_2D.h"

using namespace ORBI_LUMO2D;

namespace {

#if defined(__SANITIZE_ADDRESS__)
constexpr int kScale = 1;  // sanitizer builds: fewer cases, same families
#else
constexpr int kScale = 2;
#endif

const double kOrientFloor = std::ldexp(1.0, -1020);

int toSign(Orientation2 o) { return o == ORIENTATION2_CCW ? 1 : (o == ORIENTATION2_CW ? -1 : 0); }

double filteredDet(const Point2& p0, const Point2& p1, const Point2& p2) {
    return (p1.y() - p2.y()) * (p0.x() - p2.x()) - (p0.y() - p2.y()) * (p1.x() - p2.x());
}

using lumo_oracle::ulpsAway;
// The coordinates of a failing query, exactly.
std::string hex(std::initializer_list<double> l) {
    std::ostringstream os;
    for (double v : l) os << std::hexfloat << v << " ";
    return os.str();
}
int oracleOrient(const Point2& a, const Point2& b, const Point2& c) { return lumo_oracle::orient(a.x(), a.y(), b.x(), b.y(), c.x(), c.y()); }

struct Rng {
    std::mt19937_64 gen;
    explicit Rng(unsigned long long seed) : gen(seed) {}
    double uni(double lo, double hi) { return std::uniform_real_distribution<double>(lo, hi)(gen); }
    int integer(int lo, int hi) { return std::uniform_int_distribution<int>(lo, hi)(gen); }
    // Values of many exponents and bits around s: differences between them round.
    double wild(double s) { return std::ldexp(uni(-1, 1), integer(-60, 0)) * s + (integer(0, 1) ? s : 0.0); }
    double ulpOff(double v) { return ulpsAway(v, integer(0, 1) ? 1 : -1); }
};

// Checks one orientation query on a bounded GeomTest against the oracle, and the filter's
// own guarantee: whenever the filtered determinant clears the bound its sign is the true one.
struct OrientChecker {
    GeomTest geomTest;
    long long filterBand = 0;
    void check(const Point2& p0, const Point2& p1, const Point2& p2) {
        geomTest.updateBound(&p0, &p1, &p2);
        const int expected = oracleOrient(p0, p1, p2);
        ASSERT_EQ(toSign(geomTest.getOrientation2(&p0, &p1, &p2)), expected) << hex({p0.x(), p0.y(), p1.x(), p1.y(), p2.x(), p2.y()});
        const double det = filteredDet(p0, p1, p2), bound = geomTest.getPositiveErrorBound();
        if (std::fabs(det) > bound && std::fabs(det) >= kOrientFloor) { ASSERT_EQ(det > 0 ? 1 : -1, expected); }
        if (std::fabs(det) > 0.5 * bound && std::fabs(det) < 2.0 * bound) ++filterBand;
    }
};

// Puts a, b, c in counterclockwise order (by the oracle), checks inCircle and its triangle form
// against the oracle and returns the oracle's answer.
int checkInCircle(GeomTest& g, Point2 a, Point2 b, Point2 c, const Point2& d) {
    if (oracleOrient(a, b, c) < 0) std::swap(b, c);
    const int expected = lumo_oracle::inCircle(a.x(), a.y(), b.x(), b.y(), c.x(), c.y(), d.x(), d.y());
    Triangle2 t;
    t.setProperties(&a, &b, &c);
    EXPECT_TRUE(g.inCircle(&a, &b, &c, &d) == expected && g.circleInc(&t, &d) == expected)
        << hex({a.x(), a.y(), b.x(), b.y(), c.x(), c.y(), d.x(), d.y()});
    return expected;
}

// The adaptive stage alone on the points' coordinates (for in-circle: the first three
// counterclockwise), scaled into its window as the door does; counts the stage that decided
// (0: the exact-differences shortcut of orientation). Spans too wide for the window are left
// to the rationals.
struct AdaptiveTally {
    long long reached[4] = {0, 0, 0, 0}, zeros = 0;
    void check(const Point2* p, int n, int expected) {
        double v[8] = {};
        for (int i = 0; i < n / 2; ++i) v[2 * i] = p[i].x(), v[2 * i + 1] = p[i].y();
        if (n == 8 && lumo_oracle::orient(v[0], v[1], v[2], v[3], v[4], v[5]) < 0) std::swap(v[2], v[4]), std::swap(v[3], v[5]);
        zeros += expected == 0;
        const int window = n == 6 ? adaptive::ORIENT_WINDOW : adaptive::INCIRCLE_WINDOW;
        if (!adaptive::inWindow(v, n, window) && !adaptive::scaleIntoWindow(v, n, window)) return;
        const int quick = n == 6 ? adaptive::orientationOfExactDifferences(v) : adaptive::NOT_DECIDED;
        if (quick != adaptive::NOT_DECIDED) { ASSERT_EQ(quick, expected); ++reached[0]; }
        int stage = 0;
        ASSERT_EQ(n == 6 ? adaptive::orientation(v, &stage) : adaptive::inCircle(v, &stage), expected)
            << hex({v[0], v[1], v[2], v[3], v[4], v[5], v[6], v[7]});
        ++reached[stage];
    }
};

typedef std::function<void(Rng&, double, Point2*)> Make;
// Families of queries: each makes one triple (orientation) or quadruple (in-circle) at
// magnitude s, count times per scale. What a family exists to reach is asserted per family.
enum Expect {
    PERMUTE = 1,        // check all six orders of the triple
    SET_BOUND = 2,      // bound from setBound(s) rather than updateBound; it must probe the threshold
    LATER = 4,          // must reach the door's stages after the interval one
    NO_RATIONALS = 8,   // decided without rationals
    FILTER_DECIDES = 16 // later stages decide fewer than one in a thousand
};
struct Family {
    const char* name;
    std::vector<double> scales;
    Make make;
    int count;
    unsigned expect;
    int minStage;  // the adaptive stage this family must reach more than 100 times (-1: none)
    int minZeros;  // exact degeneracies it must produce
};

Point2 onLine(Rng& rng, const Point2& a, const Point2& b) {
    const double t = rng.uni(-1, 2);
    double cx = a.x() + t * (b.x() - a.x()), cy = a.y() + t * (b.y() - a.y());
    const int k = rng.integer(-2, 2);
    if (rng.integer(0, 1)) cx = ulpsAway(cx, k);
    else cy = ulpsAway(cy, k);
    return Point2(cx, cy);
}

Point2 uniform(Rng& r, double s) { return Point2(s * r.uni(-1, 1), s * r.uni(-1, 1)); }
// Two uniform points and a third a few ulps off their line (one time in oneIn; else uniform too);
// where the line leaves the doubles, the first point again.
Make nearLine(int oneIn) {
    return [oneIn](Rng& r, double s, Point2* p) {
        p[0] = uniform(r, s), p[1] = uniform(r, s), p[2] = r.integer(1, oneIn) == 1 ? onLine(r, p[0], p[1]) : uniform(r, s);
        if (!std::isfinite(p[2].x()) || !std::isfinite(p[2].y())) p[2] = p[0];
    };
}
// n points uniform in [-s, s)^2, or on the grid s * unit * [-range, range]^2.
Make uniformPoints(int n) {
    return [n](Rng& r, double s, Point2* p) { for (int i = 0; i < n; ++i) p[i] = uniform(r, s); };
}
Make grid(int n, double unit, int range) {
    return [=](Rng& r, double s, Point2* p) {
        for (int i = 0; i < n; ++i) p[i] = Point2(s * unit * r.integer(-range, range), s * unit * r.integer(-range, range));
    };
}

const double kMaxFinite = DBL_MAX;
const int kOrientCount = 1200 * kScale, kInCircleCount = 1000 * kScale;
const std::vector<double> kAdaptiveScales = {1.0, 1e6, 1e-6, 0x1p190, 0x1p-190};

} // namespace

TEST(ExactOracle, AgreesWithInt128OnIntegerInputs) {
    Rng rng(1);
    EXPECT_EQ(std::vector<int>({lumo_oracle::inCircle(0, 0, 1, 0, 0, 1, 0.25, 0.25), lumo_oracle::inCircle(0, 0, 1, 0, 0, 1, 2, 2),
                                lumo_oracle::inCircle(0, 0, 1, 0, 0, 1, 1, 1), lumo_oracle::orient(0, 0, 1, 0, 0, 1)}),
              std::vector<int>({1, -1, 0, 1}));
    for (int i = 0; i < 5000 * kScale; ++i) {
        long long p[8];
        const int range = i % 2 ? 20 : (1 << 19);
        for (auto& v : p) v = rng.integer(-range, range);
        ASSERT_EQ(lumo_oracle::inCircle(p[0], p[1], p[2], p[3], p[4], p[5], p[6], p[7]), lumo_oracle::inCircleInt128(p));
        ASSERT_EQ(lumo_oracle::orient(p[0], p[1], p[2], p[3], p[4], p[5]), lumo_oracle::orientInt128(p[0], p[1], p[2], p[3], p[4], p[5]));
    }
}

TEST(Orientation, DocumentedCases) {
    GeomTest g;
    const Point2 a(0, 0);
    for (int v : {0, 1, 2, 7, -1})  // (the raw values fix the enumerators' values too)
        EXPECT_EQ(getString(static_cast<Orientation2>(v)),
                  v == 0 ? "ORIENTATION2_COLLINEAR" : v == 1 ? "ORIENTATION2_CCW" : v == 2 ? "ORIENTATION2_CW" : "UNKNOWN");
    // Vertical and horizontal lines: collinear by the shortcut, without later stages.
    const Point2 v0(3, 0), v1(3, 1e-300), v2(3, -7e200), h0(-1, 5), h1(1e10, 5);
    EXPECT_TRUE(g.getOrientation2(&v0, &v1, &v2) == ORIENTATION2_COLLINEAR && g.getOrientation2(&h0, &h1, &h0) == ORIENTATION2_COLLINEAR);
    EXPECT_EQ(std::make_pair(g.getStats().orientShortcut, g.getStats().orientInterval + g.getStats().orientAdaptive + g.getStats().orientExact),
              std::make_pair(2ull, 0ull));
    // A fresh object (bounds 0) accepts a determinant of 1e-300 in the filter.
    GeomTest fresh;
    EXPECT_EQ(std::make_pair(fresh.getCoordinateBound(), fresh.getPositiveErrorBound()), std::make_pair(0.0, 0.0));
    const Point2 t1(1e-150, 0), t2(0, 1e-150);
    EXPECT_EQ(fresh.getOrientation2(&a, &t1, &t2), ORIENTATION2_CCW);
    EXPECT_EQ(fresh.getStats().orientShortcut + fresh.getStats().orientInterval + fresh.getStats().orientExact, 0u);
}

TEST(ErrorBound, SetBoundScalesWithTheSquareUpdateBoundAddsTheMagnitudesAboveIt) {
    GeomTest s, g;
    const double b1 = 3.0 * std::ldexp(1.0, -50);  // 2.6645352591003757e-15, the bound for coordinates up to 1
    s.setBound(1.0);
    EXPECT_EQ(s.getPositiveErrorBound(), b1);
    s.setBound(-4.0);
    EXPECT_EQ(std::make_pair(s.getCoordinateBound(), s.getPositiveErrorBound()), std::make_pair(4.0, 16 * b1));
    // (triple, the bound after it): the sum of the magnitudes above the current bound, never less
    const struct { Point2 a, b, c; double bound; } aSteps[] = {
        {Point2(3, -1), Point2(0, -4), Point2(5, 2), 12.0},     // 3 + 4 + 5, not the maximum
        {Point2(1, 1), Point2(-2, 2), Point2(0, 13), 13.0},     // only 13 exceeds 12
        {Point2(11, 0), Point2(12, 0), Point2(-12, 0), 13.0},   // never shrinks
        {Point2(7, 8), Point2(-9, 10), Point2(1, 1), 13.0},     // none is above 13
        {Point2(14, 0), Point2(-15, 0), Point2(0, 1), 29.0}};
    for (const auto& c : aSteps) {
        g.updateBound(&c.a, &c.b, &c.c);
        EXPECT_EQ(g.getCoordinateBound(), c.bound) << c.a;
    }
    EXPECT_EQ(g.getPositiveErrorBound(), 29.0 * 29.0 * b1);
}

// ---- families against the oracle, through the door and in the adaptive stage alone ----------------

// Each family's queries on numPoints points (3: orientation, all orders where asked; 4: in-circle)
// through a fresh GeomTest per scale and through the adaptive stage alone, then what the family
// exists to reach, from the stage counts.
template <size_t N> void runFamilies(const Family (&aFamilies)[N], int numPoints, unsigned seed) {
    Rng rng(seed);
    const int aOrder[6][3] = {{0, 1, 2}, {1, 2, 0}, {2, 0, 1}, {1, 0, 2}, {0, 2, 1}, {2, 1, 0}};
    for (const Family& f : aFamilies) {
        SCOPED_TRACE(f.name);
        unsigned long long n = 0, later = 0, rationals = 0;
        AdaptiveTally tally;
        for (double s : f.scales) {
            OrientChecker oc;
            if (f.expect & SET_BOUND) oc.geomTest.setBound(s);
            for (int i = 0; i < f.count; ++i) {
                Point2 p[4];
                f.make(rng, s, p);
                if (!std::all_of(p, p + numPoints, [](const Point2& q) { return std::isfinite(q.x()) && std::isfinite(q.y()); })) continue;
                ++n;
                if (numPoints == 3)
                    for (int k = 0; k < (f.expect & PERMUTE ? 6 : 1); ++k) oc.check(p[aOrder[k][0]], p[aOrder[k][1]], p[aOrder[k][2]]);
                tally.check(p, 2 * numPoints, numPoints == 3 ? oracleOrient(p[0], p[1], p[2]) : checkInCircle(oc.geomTest, p[0], p[1], p[2], p[3]));
                if (testing::Test::HasFailure()) { ADD_FAILURE() << "at " << s; return; }
            }
            const GeomTest::Stats& st = oc.geomTest.getStats();
            later += numPoints == 3 ? st.orientAdaptive + st.orientExact : st.inCircleAdaptive + st.inCircleExact;
            rationals += numPoints == 3 ? st.orientExact : st.inCircleExact;
            EXPECT_TRUE(!(f.expect & SET_BOUND) || oc.filterBand > 0) << s;  // it does probe the threshold
        }
        EXPECT_TRUE(!(f.expect & LATER) || later > 0);
        EXPECT_TRUE(!(f.expect & NO_RATIONALS) || rationals == 0) << rationals;
        EXPECT_TRUE(!(f.expect & FILTER_DECIDES) || later < n / 1000) << later;
        EXPECT_TRUE(f.minStage < 0 || tally.reached[f.minStage] > 100) << tally.reached[f.minStage];
        // Orientation: exact differences decide at once.
        EXPECT_TRUE(numPoints == 4 || f.minStage != 1 || tally.reached[0] > 1000) << tally.reached[0];
        EXPECT_GE(tally.zeros, f.minZeros);
    }
}

const Family orientFamilies[] = {
    {"random", {1.0, 1e15, 1e-15, 1e150, 1e-150, 1e-160, 1e-300}, uniformPoints(3), kOrientCount, 0, -1, 0},
    {"nearly collinear, ulps off", {1.0, 1e15, 1e-15, 1e100, 1e-100, 1e-150, 1e-160, 3e-155},
     nearLine(1), kOrientCount, PERMUTE | LATER | NO_RATIONALS, -1, 0},
    {"integer lines times 2^e", {1.0},
     [](Rng& r, double, Point2* p) {
         const int x0 = r.integer(-1000000, 1000000), y0 = r.integer(-1000000, 1000000);
         const int dx = r.integer(-50, 50), dy = r.integer(-50, 50), e = r.integer(-1070, 940);
         for (int i = 0; i < 3; ++i) {
             const int k = i == 0 ? 0 : r.integer(-3000, 3000);
             p[i] = Point2(std::ldexp(x0 + k * dx, e), std::ldexp(y0 + k * dy, e));
         }
     }, kOrientCount, 0, -1, 0},
    {"ulp grid around 1e15..7e15", {1.0},
     [](Rng& r, double, Point2* p) {
         const double base = 1e15 * r.integer(1, 7), u = std::nextafter(base, HUGE_VAL) - base;
         for (int i = 0; i < 3; ++i) p[i] = Point2(base + u * r.integer(-6, 6), base + u * r.integer(-6, 6));
     }, kOrientCount, LATER | NO_RATIONALS, -1, 0},
    // Coordinates near +-M, M a power of two or just above: the differences round by up to half an
    // ulp of 2M and the filtered determinant lands around the bound itself.
    {"near the filter bound",
     {1.0, 2.0, 0x1p30, 0x1p-40, 0x1p200, 0x1p-300, 0x1p500, 1.0 + DBL_EPSILON, 1.5, 2.0 - DBL_EPSILON, 0x1.8p500},
     [](Rng& r, double M, Point2* p) {
         const double u = std::ldexp(1.0, std::ilogb(M) - 52), sg = r.integer(0, 1) ? 1.0 : -1.0;
         for (int i = 0; i < 3; ++i) {
             const double t = i == 2 ? -sg : sg;
             p[i] = Point2(t * (M - u * r.integer(0, 40)), t * (M - u * r.integer(0, 40)));
         }
     }, kOrientCount, SET_BOUND | LATER | NO_RATIONALS, -1, 0},
    // Products of the differences between 2^-1010 and 2^-1080: the filter must not trust them.
    {"tiny, subnormal products", {1.0},
     [](Rng& r, double, Point2* p) {
         const int e = r.integer(-545, -500);
         for (int i = 0; i < 3; ++i) p[i] = Point2(std::ldexp(r.uni(-1, 1), e), std::ldexp(r.uni(-1, 1), e));
         if (r.integer(0, 1)) p[2] = Point2(std::ldexp(r.integer(-8, 8), e - 52), std::ldexp(r.integer(-8, 8), e - 52));
     }, kOrientCount, 0, -1, 0},
    {"mixed scales: one far point, two tiny ones", {1.0},
     [](Rng& r, double, Point2* p) {
         p[0] = Point2(std::ldexp(r.uni(-1, 1), -520), std::ldexp(r.uni(-1, 1), -520));
         p[1] = Point2(std::ldexp(r.uni(-1, 1), -530), std::ldexp(r.uni(-1, 1), -530));
         p[2] = Point2(r.uni(-1e100, 1e100), r.uni(-1e-300, 1e-300));
     }, kOrientCount, 0, -1, 0},
    // Extreme magnitudes: decided by the scaled filter and the adaptive stage, never by rationals.
    {"nearly collinear at extreme magnitudes", {1e300, 1e-300, kMaxFinite, 0x1p-1040}, nearLine(4), kOrientCount, LATER | NO_RATIONALS, -1, 0},
    {"subnormal multiples", {1.0}, grid(3, 0x1p-1074, 40), kOrientCount, LATER | NO_RATIONALS, -1, 0},
    // Each stage of the adaptive evaluation has to decide: exact differences, rounded differences
    // near a degeneracy, exact degeneracies with rounded differences.
    {"integer grid", kAdaptiveScales, grid(3, 1.0, 6), 4000, 0, 1, 0},
    {"2^27+1 grid, wide products", kAdaptiveScales, grid(3, 134217729.0, 9), 4000, 0, 1, 0},
    {"near a line, rounded differences", kAdaptiveScales,
     [](Rng& r, double s, Point2* p) {
         const double t = r.uni(-1, 2);
         p[0] = Point2(r.wild(s), r.wild(s)), p[1] = Point2(r.wild(s), r.wild(s));
         p[2] = Point2(ulpsAway(p[0].x() + t * (p[1].x() - p[0].x()), r.integer(-2, 2)),
                       ulpsAway(p[0].y() + t * (p[1].y() - p[0].y()), r.integer(-2, 2)));
     }, 4000, 0, 2, 0},
    {"on a line of slope 2^k, rounded differences", kAdaptiveScales,
     [](Rng& r, double s, Point2* p) {
         const int k = r.integer(-3, 3);
         for (int i = 0; i < 3; ++i) { const double x = r.wild(s); p[i] = Point2(x, std::ldexp(x, k)); }
     }, 4000, 0, 3, 0},
    {"one ulp off a line of slope 1", kAdaptiveScales,
     [](Rng& r, double s, Point2* p) {
         double c[6];
         for (int i = 0; i < 3; ++i) c[2 * i] = c[2 * i + 1] = r.wild(s);
         c[r.integer(0, 5)] = r.ulpOff(c[r.integer(0, 5)]);
         for (int i = 0; i < 3; ++i) p[i] = Point2(c[2 * i], c[2 * i + 1]);
     }, 4000, 0, 3, 0},
};

TEST(Orientation, FamiliesAgreeWithTheOracle) { runFamilies(orientFamilies, 3, 3); }

TEST(Orientation, AdversarialSubnormalProductsWithAVanishingBound) {
    // x near 2^-519, y near 2^-538: the bound 24u*M^2 underflows to zero while the products lie
    // around 2^-1058 in the subnormal range. The x differences round by a tie of half an ulp and
    // the y differences are small multiples b1, b2 of one power of two; with b1*a1 placed next to
    // a rounding boundary of the product, the filtered determinant is +-2^-1074 with the wrong
    // sign. Trusting it would be wrong; the filter's floor sends all of them on to stage 2.
    const double h = std::ldexp(1.0, -540), U = std::ldexp(1.0, -572), x2 = -std::ldexp(1.0, -520);
    OrientChecker oc;
    int wrongFilteredSigns = 0;
    for (int b1 = 1; b1 <= 7; ++b1)
        for (int b2 = 1; b2 <= 7; ++b2)
            for (long long k = (1LL << 15) * b1; b1 != b2 && k < (1LL << 15) * b1 + 40 * kScale; ++k)
                for (int s = -3; s <= 3; ++s) {
                    const long long n1 = std::llround((k + 0.5) * std::ldexp(1.0, 38) / b1) + s;  // a1 in units U
                    const long long n2c = std::llround(double(b1) * double(n1) / b2);
                    for (long long n2 = n2c - 3; n2 <= n2c + 3; ++n2) {
                        if (n1 < (1LL << 53) || n1 >= (1LL << 54) || n2 < (1LL << 53) || n2 >= (1LL << 54)) continue;
                        const Point2 p0(double(n1 - (1LL << 53)) * U - x2, b2 * h), p1(double(n2 - (1LL << 53)) * U - x2, b1 * h), p2(x2, 0.0);
                        const double det = filteredDet(p0, p1, p2);
                        if (det != 0.0 && (det > 0 ? 1 : -1) != oracleOrient(p0, p1, p2)) ++wrongFilteredSigns;
                        oc.check(p0, p1, p2);
                        if (HasFatalFailure()) return;
                    }
                }
    EXPECT_EQ(oc.geomTest.getPositiveErrorBound(), 0.0);
    EXPECT_GT(wrongFilteredSigns, 50);
}

TEST(Orientation, IntervalStageUsesUpwardRounding) {
    // A bound this large leaves every decision to the later stages. On the collinear triples
    // (x,y), (2x,2y), (4x,4y) the products round and a round-to-nearest evaluation of the
    // "upper" and "lower" bounds would often have a definite sign; with upward rounding they
    // enclose zero, the interval stage never decides and the adaptive stage says COLLINEAR.
    // An unbounded object, in contrast, takes the non-zero filtered determinant as it stands.
    // Six ulps off the line (`off`): too close for the per-call filter, far enough for the
    // interval stage to decide most of them, always correctly.
    GeomTest g, off, unbounded;
    g.setBound(1e100);
    off.setBound(1e100);
    Rng rng(8);
    int nonzeroDets = 0;
    for (int i = 0; i < 3000 * kScale; ++i) {
        const double x = rng.uni(0.1, 10), y = rng.uni(0.1, 10);
        const Point2 p0(x, y), p1(2 * x, 2 * y), p2(4 * x, 4 * y), q2(4 * x, ulpsAway(4 * y, i % 2 ? 6 : -6));
        const double det = filteredDet(p0, p1, p2);
        if (det != 0.0) {
            ++nonzeroDets;
            ASSERT_EQ(toSign(unbounded.getOrientation2(&p0, &p1, &p2)), det > 0 ? 1 : -1);
        }
        ASSERT_EQ(g.getOrientation2(&p0, &p1, &p2), ORIENTATION2_COLLINEAR);
        ASSERT_EQ(g.getOrientation2(&p2, &p0, &p1), ORIENTATION2_COLLINEAR);
        ASSERT_EQ(toSign(off.getOrientation2(&p0, &p1, &q2)), oracleOrient(p0, p1, q2));
    }
    EXPECT_GT(nonzeroDets, 100);
    EXPECT_EQ(unbounded.getStats().orientInterval + unbounded.getStats().orientAdaptive, 0u);
    EXPECT_EQ(std::make_pair(g.getStats().orientInterval, g.getStats().orientAdaptive), std::make_pair(0ull, 2ull * 3000 * kScale));
    EXPECT_GT(off.getStats().orientInterval, off.getStats().orientDynamic + off.getStats().orientAdaptive + off.getStats().orientExact);
    EXPECT_EQ(fegetround(), FE_TONEAREST);
    // The caller's rounding mode is restored after the interval stage.
    const Point2 p0(0.3, 0.7), p1(1.1, 0.2), p2(-0.4, 2.5);
    const auto numInterval = off.getStats().orientInterval;
    ASSERT_EQ(fesetround(FE_TOWARDZERO), 0);
    const Orientation2 o = off.getOrientation2(&p0, &p1, &p2);
    EXPECT_EQ(fegetround(), FE_TOWARDZERO);
    fesetround(FE_TONEAREST);
    EXPECT_EQ(toSign(o), oracleOrient(p0, p1, p2));
    EXPECT_EQ(off.getStats().orientInterval, numInterval + 1);
}

// Small, then huge, then small again: the shared object's bound only grows and stays valid; the
// mt variant answers the same to four threads at once.
TEST(FreeOrientation, BothVariantsAgreeWithTheOracleWhileTheSharedBoundGrows) {
    Rng rng(9);
    std::vector<Point2> pts;
    std::vector<int> expected;
    const auto make = nearLine(1);
    for (double s : {1e-10, 1.0, 1e15, 1e150, 1e-150, 1.0, 1e-300})
        for (int i = 0; i < 1000 * kScale; ++i) {
            Point2 p[3];
            make(rng, s, p);
            pts.insert(pts.end(), p, p + 3);
            expected.push_back(oracleOrient(p[0], p[1], p[2]));
            ASSERT_EQ(toSign(getOrientation2(&p[0], &p[1], &p[2])), expected.back());
        }
    std::vector<int> bad(4, 0);
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t)
        threads.emplace_back([&, t] {
            for (size_t i = 0; i < expected.size(); ++i)
                if (toSign(getOrientation2_mt(&pts[3 * i], &pts[3 * i + 1], &pts[3 * i + 2])) != expected[i]) ++bad[t];
        });
    for (auto& th : threads) th.join();
    EXPECT_EQ(bad, std::vector<int>(4, 0));
}

const Family inCircleFamilies[] = {
    // Small integers: exact degeneracies of every kind (the oracle agrees with 128-bit integers there).
    {"integers", {3, 100, 1 << 19},
     [](Rng& r, double s, Point2* p) { for (int i = 0; i < 4; ++i) p[i] = Point2(r.integer(-int(s), int(s)), r.integer(-int(s), int(s))); },
     kInCircleCount, 0, -1, 0},
    {"unit square", {1.0}, [](Rng& r, double, Point2* p) { for (int i = 0; i < 4; ++i) p[i] = Point2(r.uni(0, 1), r.uni(0, 1)); },
     20000, FILTER_DECIDES, -1, 0},
    {"random", {1.0, 1e15, 1e-15, 1e70, 1e-70, 1e150, 1e-150, 1e-160, 1e-300, 1e300, kMaxFinite / 2}, uniformPoints(4), kInCircleCount,
     NO_RATIONALS, -1, 0},
    {"nearly cocircular from rounded angles",
     {1.0, 1e6, 1e-6, 1e12, 1e-12, 1e60, 1e-60, 1e-78, 1e-80, 1e-150, 1e300, 1e-300, 0x1p190, 0x1p-190},
     [](Rng& r, double s, Point2* p) {
         const double cx = s * r.uni(-10, 10), cy = s * r.uni(-10, 10), rad = s * r.uni(0.001, 5);
         for (int i = 0; i < 4; ++i) { const double t = r.uni(0, 6.283185307179586); p[i] = Point2(cx + rad * std::cos(t), cy + rad * std::sin(t)); }
         if (r.integer(0, 1)) p[3] = Point2(ulpsAway(p[3].x(), r.integer(-2, 2)), ulpsAway(p[3].y(), r.integer(-2, 2)));
     }, kInCircleCount, 0, 2, 0},
    // Rectangle corners are cocircular for any doubles; with wild exponents the differences round,
    // so neither the filter nor the first adaptive steps can decide.
    {"rectangles and isosceles trapezoids, an ulp off or not", {1.0, 1e6, 1e-6, 0x1p190, 0x1p-190, 1e200, 1e-200, 1e300, 1e-300},
     [](Rng& r, double s, Point2* p) {
         const double x1 = r.wild(s), x2 = r.wild(s), y1 = r.wild(s), y2 = r.wild(s);
         const bool trapezoid = r.integer(0, 1);
         p[0] = Point2(trapezoid ? -x1 : x2, y1), p[1] = Point2(x1, y1), p[2] = Point2(x2, y2), p[3] = Point2(trapezoid ? -x2 : x1, y2);
         Point2& q = p[r.integer(0, 3)];
         if (r.integer(0, 1)) q = r.integer(0, 1) ? Point2(r.ulpOff(q.x()), q.y()) : Point2(q.x(), r.ulpOff(q.y()));
     }, kInCircleCount, NO_RATIONALS, 3, 100},
    // Lifts times minors straddling the subnormal range (coordinates 2^-240..2^-280).
    {"subnormal intermediates", {1.0},
     [](Rng& r, double, Point2* p) {
         const int e = r.integer(-285, -235);
         for (int i = 0; i < 4; ++i) p[i] = Point2(std::ldexp(r.uni(-1, 1), e), std::ldexp(r.uni(-1, 1), e));
         if (r.integer(0, 2) == 0) p[3] = Point2(std::ldexp(r.integer(-3, 3), e - 52), std::ldexp(r.integer(-3, 3), e - 52));
     }, kInCircleCount, NO_RATIONALS, -1, 0},
    {"subnormal multiples", {1.0}, grid(4, 0x1p-1074, 30), kInCircleCount, NO_RATIONALS, -1, 0},
    // Tiny triangles far from the origin, large ones with a query at the bottom of the exponent
    // range, a tiny query next to a 1e-160 triangle: spans too wide for double expansions.
    {"mixed scales", {1.0},
     [](Rng& r, double, Point2* p) {
         const int kind = r.integer(0, 2);
         const double off = r.uni(-1e6, 1e6);
         for (int i = 0; i < 4; ++i)
             p[i] = kind == 0 ? Point2(off + std::ldexp(r.uni(-1, 1), -20), off + std::ldexp(r.uni(-1, 1), -20)) : uniform(r, 1.0);
         if (kind == 1) p[3] = Point2(std::ldexp(r.uni(-1, 1), -1074 + r.integer(0, 60)), 1e-300);
         if (kind == 2) {
             p[0] = Point2(1e-160, 0); p[1] = Point2(0, 1e-160); p[2] = Point2(-1e-160, 3e-170);
             p[3] = Point2(r.uni(-2e-160, 2e-160), 1e-161);
         }
     }, kInCircleCount, 0, -1, 0},
    {"integer grid", kAdaptiveScales, grid(4, 1.0, 6), 3000, 0, 1, 0},
    // Four distinct-triangle points of x^2 + y^2 = radius^2, moved and scaled by 2^e (exactly
    // cocircular), half of them with one coordinate an ulp across.
    {"Pythagorean lattice points, an ulp across or not", {5, 25, 65, 85, 325, 1105, 5525},
     [](Rng& r, double radius, Point2* p) {
         static std::map<int, std::vector<Point2>> circles;
         std::vector<Point2>& pts = circles[int(radius)];
         if (pts.empty()) pts = lumo_test::latticeCircle(int(radius));
         const int ox = r.integer(-100000, 100000), oy = r.integer(-100000, 100000);
         const int e = r.integer(-1000, 850) & (r.integer(0, 3) ? ~3 : ~0);
         do {
             for (int i = 0; i < 4; ++i) p[i] = pts[size_t(r.integer(0, int(pts.size()) - 1))];
             for (int i = 0; i < 4; ++i) p[i] = Point2(std::ldexp(ox + p[i].x(), e), std::ldexp(oy + p[i].y(), e));
         } while (p[0] == p[1] || p[1] == p[2] || p[0] == p[2]);
         const int k = r.integer(0, 5);
         Point2& q = p[k == 2 ? 0 : 3];
         if (k < 3) q = k == 1 ? Point2(q.x(), r.ulpOff(q.y())) : Point2(r.ulpOff(q.x()), q.y());
     }, 300 * kScale, 0, -1, 500 * kScale},
};

TEST(InCircle, FamiliesAgreeWithTheOracle) { runFamilies(inCircleFamilies, 4, 14); }

TEST(Intersection, TruncationOfTheExactPoint) {
    Rng rng(17);
    GeomTest g;
    mpq_class x, y;
    long long checked = 0;
    for (double s : {1.0, 1e15, 1e-15, 1e100, 1e-100, 1e-150}) {
        for (int i = 0; i < 1500 * kScale; ++i) {
            double c[8];
            for (auto& v : c) v = s * rng.uni(-1, 1);
            if (i % 4 == 1) {  // nearly parallel: second segment is the first one rotated a few ulps
                c[4] = c[0] + s * 0.25; c[5] = c[1];
                c[6] = c[2] + s * 0.25; c[7] = ulpsAway(c[3], rng.integer(1, 3));
            }
            if (!lumo_oracle::lineIntersection(c, x.get_mpq_t(), y.get_mpq_t())) continue;
            const Point2 r = g.getIntersectionCoords_gmp(Segment2(Point2(c[0], c[1]), Point2(c[2], c[3])),
                                                         Segment2(Point2(c[4], c[5]), Point2(c[6], c[7])));
            if (std::fabs(x.get_d()) > DBL_MAX / 2 || std::fabs(y.get_d()) > DBL_MAX / 2) continue;  // far outside the double range
            ASSERT_TRUE(lumo_oracle::isTruncation(r.x(), x.get_mpq_t()) && lumo_oracle::isTruncation(r.y(), y.get_mpq_t())) << hex({r.x(), r.y()});
            ++checked;
        }
    }
    EXPECT_GT(checked, 5000 * kScale);
}

// Null points for the free functions, parallel lines (collinear overlapping ones among them) for
// the intersection: assertions with their full report, the source named relative to the tree;
// the object stays usable.
TEST(Predicates, MisuseIsAnAssertionWithItsFullReport) {
    lumo_test::ScopedTempDir tmp;  // the assertions write the log file
    const Point2 a(0, 0), b(1, 0);
    GeomTest g;
    struct Row { std::function<void()> call; std::string report, source; };
    std::vector<Row> aRows;
    for (int which = 0; which < 3; ++which)
        for (bool mt : {false, true})
            aRows.push_back({[&, which, mt] {
                                 const Point2* p[3] = {&a, &b, &a};
                                 p[which] = nullptr;
                                 mt ? getOrientation2_mt(p[0], p[1], p[2]) : getOrientation2(p[0], p[1], p[2]);
                             },
                             lumo_test::assertion("p" + std::to_string(which) + "!=0", mt ? "ORBI_LUMO2D::getOrientation2_mt" : "ORBI_LUMO2D::getOrientation2"),
                             "freeFunctions.cpp"});
    for (const Segment2& t : {Segment2(Point2(0, 1), Point2(1, 1)), Segment2(Point2(-1, 0), Point2(3, 0))})
        aRows.push_back({[&, t] { g.getIntersectionCoords_gmp(Segment2(a, b), t); },
                         lumo_test::error("GeomTest::getIntersectionCoords()", "denom=0 -> parallel segments") +
                             lumo_test::assertion("false", "ORBI_LUMO2D::GeomTest::getIntersectionCoords_gmp"),
                         "GeomTest.cpp"});
    for (const Row& r : aRows) {
        const std::string out = lumo_test::stdoutOf([&] { EXPECT_THROW(r.call(), LumoException); });
        EXPECT_EQ(lumo_test::normalized(out), r.report);
        EXPECT_NE(out.find("\n  dt2Library/" + r.source + ":"), std::string::npos) << out;
    }
    EXPECT_EQ(g.getIntersectionCoords_gmp(Segment2(Point2(0, 0), Point2(4, 0)), Segment2(Point2(1, -1), Point2(1, 1))), Point2(1, 0));
}

// (Keys against their definition, borders included: test_storage.cpp.)
TEST(HilbertKeys, SpreadAtEveryMagnitude) {
    // Boxes whose range or scale overflows, and an ordinary one.
    struct Box { double lo, hi; } boxes[] = {
        {-0x1p1023, 0x1p1023}, {-DBL_MAX, DBL_MAX}, {0.0, 0x1p-1050}, {-1e-300, 1e-300}, {-HUGE_VAL, HUGE_VAL}, {0, 1}};
    Rng rng(20);
    for (const Box& b : boxes) {
        const HC2 hc(b.lo, b.lo, b.hi, b.hi, 30);
        const double lo = std::fmax(b.lo, -DBL_MAX), hi = std::fmin(b.hi, DBL_MAX);
        auto draw = [&] { return 2 * (lo * 0.5 + (hi * 0.5 - lo * 0.5) * rng.uni(0, 1)); };  // halves: no overflow
        std::set<uint32_t> keys;
        for (int i = 0; i < 2000; ++i) keys.insert(hc.getKey(draw(), draw()));
        EXPECT_GT(keys.size(), 1900u) << b.lo << " " << b.hi;
    }
    // Where the plain formula is finite it is followed exactly: scaling box and points by 2^k
    // keeps every key while both stay in the normal range.
    const HC2 plain(-3, -1, 5, 7, 30), scaledUp(-3 * 0x1p900, -1 * 0x1p900, 5 * 0x1p900, 7 * 0x1p900, 30);
    for (int i = 0; i < 2000; ++i) {
        const double x = rng.uni(-3, 5), y = rng.uni(-1, 7);
        ASSERT_EQ(plain.getKey(x, y), scaledUp.getKey(x * 0x1p900, y * 0x1p900));
    }
}

TEST(AdaptivePredicates, ScalingRefusesSpansWiderThanTheWindow) {
    // Scaling itself is exercised through GeomTest at extreme magnitudes (above).
    double c[6] = {1e300, 0, 1e-300, 1, 0, 0};
    EXPECT_FALSE(adaptive::scaleIntoWindow(c, 6, adaptive::ORIENT_WINDOW));
    EXPECT_TRUE(c[0] == 1e300 && c[2] == 1e-300);  // untouched
    double d[6] = {0x1p-1074, 0, 3 * 0x1p-1074, 0x1p-1060, 0, 0};
    ASSERT_TRUE(adaptive::scaleIntoWindow(d, 6, adaptive::ORIENT_WINDOW));
    EXPECT_TRUE(d[2] == 3 * d[0] && d[3] == 0x1p14 * d[0]);
}

TEST(ExtremeMagnitudes, TriangulationsAreDelaunay) {
    Rng rng(21);
    for (double s : {1e300, 1e-300, DBL_MAX, 0x1p-1054}) {
        std::vector<Point2> v;
        // (below the normal range, on the subnormal grid)
        auto coordinate = [&] { return s < 1e-310 ? std::round(s * rng.uni(-1, 1) / 0x1p-1074) * 0x1p-1074 : s * rng.uni(-1, 1); };
        for (int i = 0; i < 3000; ++i) v.emplace_back(coordinate(), coordinate());
        Lumo_2D dt;
        dt.insert(v);
        EXPECT_EQ(lumo_test::checkDelaunayTriangulation(v, lumo_test::triangles(dt)), "") << s;
    }
}
