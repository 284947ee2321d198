// Test data generators: reproducibility, the documented number grid, and the geometric promises
// (closed simple polygons, bounded segment lengths, connected sine chains), checked exactly.
#include <gtest/gtest.h>
#include <gmp.h>
#include <cmath>
#include <cstdlib>
#include <string>
#include "Lumo_2D.h"

using namespace ORBI_LUMO2D;

namespace {

// ---- exact oracles (rational arithmetic, independent of the library's predicates) ----

struct Q {
    mpq_t v;
    Q() { mpq_init(v); }
    explicit Q(double d) { mpq_init(v); mpq_set_d(v, d); }
    ~Q() { mpq_clear(v); }
    Q(const Q&) = delete;
    Q& operator=(const Q&) = delete;
};

// Sign of (b-a) x (c-a).
int orient(const Point2& a, const Point2& b, const Point2& c) {
    Q ax(a.x()), ay(a.y()), bx(b.x()), by(b.y()), cx(c.x()), cy(c.y()), l, r, t;
    mpq_sub(l.v, bx.v, ax.v);
    mpq_sub(t.v, cy.v, ay.v);
    mpq_mul(l.v, l.v, t.v);
    mpq_sub(r.v, by.v, ay.v);
    mpq_sub(t.v, cx.v, ax.v);
    mpq_mul(r.v, r.v, t.v);
    return mpq_cmp(l.v, r.v) > 0 ? 1 : (mpq_cmp(l.v, r.v) < 0 ? -1 : 0);
}

bool onClosedSegment(const Point2& p, const Point2& a, const Point2& b) {
    return orient(a, b, p) == 0 && std::min(a.x(), b.x()) <= p.x() && p.x() <= std::max(a.x(), b.x()) &&
           std::min(a.y(), b.y()) <= p.y() && p.y() <= std::max(a.y(), b.y());
}

bool closedSegmentsMeet(const Segment2& s, const Segment2& t) {
    const Point2 a(s.getSrc()), b(s.getTrg()), c(t.getSrc()), d(t.getTrg());
    // Disjoint bounding boxes (compared exactly on doubles) cannot meet.
    if (std::max(a.x(), b.x()) < std::min(c.x(), d.x()) || std::max(c.x(), d.x()) < std::min(a.x(), b.x()) ||
        std::max(a.y(), b.y()) < std::min(c.y(), d.y()) || std::max(c.y(), d.y()) < std::min(a.y(), b.y()))
        return false;
    const int o1 = orient(a, b, c), o2 = orient(a, b, d), o3 = orient(c, d, a), o4 = orient(c, d, b);
    if (o1 * o2 < 0 && o3 * o4 < 0) return true;
    return onClosedSegment(c, a, b) || onClosedSegment(d, a, b) || onClosedSegment(a, c, d) || onClosedSegment(b, c, d);
}

// (tx-sx)^2 + (ty-sy)^2 <= bound^2, exactly.
bool lengthAtMost(const Segment2& s, double bound) {
    Q sx(s.getSrc().x()), sy(s.getSrc().y()), tx(s.getTrg().x()), ty(s.getTrg().y()), b(bound), dx, dy, sum;
    mpq_sub(dx.v, tx.v, sx.v);
    mpq_sub(dy.v, ty.v, sy.v);
    mpq_mul(dx.v, dx.v, dx.v);
    mpq_mul(dy.v, dy.v, dy.v);
    mpq_add(sum.v, dx.v, dy.v);
    mpq_mul(b.v, b.v, b.v);
    return mpq_cmp(sum.v, b.v) <= 0;
}

// Twice the signed area, exactly, as a sign.
int areaSign(const std::vector<Segment2>& ring) {
    Q sum, a, b, t;
    for (const Segment2& s : ring) {
        Q sx(s.getSrc().x()), sy(s.getSrc().y()), tx(s.getTrg().x()), ty(s.getTrg().y());
        mpq_mul(a.v, sx.v, ty.v);
        mpq_mul(b.v, tx.v, sy.v);
        mpq_sub(t.v, a.v, b.v);
        mpq_add(sum.v, sum.v, t.v);
    }
    return mpq_sgn(sum.v);
}

// Runs f, expects LumoException, and returns what was printed.
template <class F>
std::string failingOutput(F f) {
    testing::internal::CaptureStdout();
    bool thrown = false;
    try {
        f();
    } catch (const LumoException&) {
        thrown = true;
    }
    const std::string out = testing::internal::GetCapturedStdout();
    EXPECT_TRUE(thrown);
    return out;
}

bool inBox(const Point2& p, double min, double max) {
    return min <= p.x() && p.x() <= max && min <= p.y() && p.y() <= max;
}

} // namespace

// ---- numbers ------------------------------------------------------------------------

TEST(RandomNumbers, SameNonZeroSeedSameValues) {
    std::vector<double> a, b, c;
    generateRandomNumbers(1000, -5, 5, a, 42);
    generateRandomNumbers(1000, -5, 5, b, 42);
    generateRandomNumbers(1000, -5, 5, c, 43);
    EXPECT_EQ(a, b);
    EXPECT_NE(a, c);
}

TEST(RandomNumbers, SeedZeroTwiceInARowDiffers) {
    std::vector<double> a, b;
    generateRandomNumbers(100, 0, 1, a, 0);
    generateRandomNumbers(100, 0, 1, b, 0);
    EXPECT_NE(a, b);
}

TEST(RandomNumbers, ValuesFollowTheGridFormula) {
    // rand() reduced to 15 bits, times range/32768, plus min.
    std::vector<double> v;
    generateRandomNumbers(5000, -3.5, 12.25, v, 77);
    srand(77);
    const unsigned divisor = (unsigned(RAND_MAX) + 1u) / 32768u;
    for (size_t i = 0; i < v.size(); ++i) {
        const int r = int(unsigned(rand()) / divisor);
        ASSERT_EQ(v[i], r * ((12.25 - -3.5) * 3.0517578125e-5) + -3.5) << i;
    }
}

TEST(RandomNumbers, HalfOpenRangeOnThirtyTwoThousandSteps) {
    std::vector<double> v;
    generateRandomNumbers(20000, 0, 1, v, 5);
    double lo = 1, hi = 0;
    for (double d : v) {
        ASSERT_GE(d, 0.0);
        ASSERT_LT(d, 1.0);
        const double k = d * 32768;
        ASSERT_EQ(k, std::floor(k));
        lo = std::min(lo, d);
        hi = std::max(hi, d);
    }
    EXPECT_LT(lo, 0.01);   // spread over the whole range
    EXPECT_GT(hi, 0.99);
}

TEST(RandomNumbers, OutputIsResizedToTheCount) {
    std::vector<double> v(50, 7.0);
    generateRandomNumbers(3, 0, 1, v, 1);
    EXPECT_EQ(v.size(), 3u);
    generateRandomNumbers(0, 0, 1, v, 1);
    EXPECT_TRUE(v.empty());
}

TEST(RandomNumbers, EmptyRangeFailsTheAssertion) {
    std::vector<double> v;
    EXPECT_NE(failingOutput([&] { generateRandomNumbers(10, 1, 1, v, 1); })
                  .find("[Lumo2D-Message] * Lumo, , ERROR: Condition [ min<max failed ]"),
              std::string::npos);
    EXPECT_NE(failingOutput([&] { generateRandomNumbers(10, 2, 1, v, 1); }).find("Condition [ min<max failed ]"),
              std::string::npos);
}

// ---- points -------------------------------------------------------------------------

TEST(RandomPoints, FirstHalfGivesXSecondHalfY) {
    const size_t n = 777;
    std::vector<double> r;
    generateRandomNumbers(2 * n, -100, 100, r, 9);
    std::vector<Point2> pts;
    generateRandomPoints(n, -100, 100, pts, 9);
    ASSERT_EQ(pts.size(), n);
    for (size_t k = 0; k < n; ++k) {
        EXPECT_EQ(pts[k].x(), r[k]);
        EXPECT_EQ(pts[k].y(), r[n + k]);
        EXPECT_EQ(pts[k].getCustomIndex(), -1);
        EXPECT_EQ(pts[k].getIncidentTriangle(), nullptr);
    }
}

TEST(RandomPoints, ReproducibleAndAppended) {
    std::vector<Point2> a{Point2(-1, -1)}, b;
    generateRandomPoints(100, 0, 10, a, 3);
    generateRandomPoints(100, 0, 10, b, 3);
    ASSERT_EQ(a.size(), 101u);
    EXPECT_EQ(a[0], Point2(-1, -1));
    EXPECT_TRUE(std::equal(b.begin(), b.end(), a.begin() + 1));
    std::vector<Point2> c, d;
    generateRandomPoints(100, 0, 10, c, 0);
    generateRandomPoints(100, 0, 10, d, 0);
    EXPECT_FALSE(std::equal(c.begin(), c.end(), d.begin()));
}

TEST(RandomPoints, EmptyRangeFailsTheAssertion) {
    std::vector<Point2> pts;
    EXPECT_NE(failingOutput([&] { generateRandomPoints(10, 3, 3, pts, 1); }).find("Condition [ min<max failed ]"),
              std::string::npos);
    EXPECT_TRUE(pts.empty());
}

// ---- circle -------------------------------------------------------------------------

TEST(Circle, ZeroPointsWarnsAndLeavesOutputAlone) {
    std::vector<Point2> pts{Point2(5, 5)};
    testing::internal::CaptureStdout();
    generateCircle(0, 0, 0, 1, 1, pts);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "\n      [Lumo2D-Message] generateCircle(), WARNING: numPoints=0\n\n");
    ASSERT_EQ(pts.size(), 1u);
}

TEST(Circle, FourPointsOnTheUnitCircle) {
    std::vector<Point2> pts;
    generateCircle(4, 0, 0, 1, 1, pts);
    ASSERT_EQ(pts.size(), 4u);
    const double ex[4] = {1, 0, -1, 0}, ey[4] = {0, 1, 0, -1};
    for (int i = 0; i < 4; ++i) {
        // 6.28318 instead of two pi: the last point is off by about 3*(2pi-6.28318)/4.
        EXPECT_NEAR(pts[i].x(), ex[i], 1e-5);
        EXPECT_NEAR(pts[i].y(), ey[i], 1e-5);
        EXPECT_EQ(pts[i].getCustomIndex(), -1);
    }
    EXPECT_NE(pts[3].x(), 0.0);   // the truncated constant is visible
}

TEST(Circle, EllipseAroundACentreIsAppended) {
    std::vector<Point2> pts{Point2(0, 0)};
    generateCircle(7, 10, -20, 3, 0.5, pts);
    ASSERT_EQ(pts.size(), 8u);
    const double step = 6.28318 / 7;
    for (int i = 0; i < 7; ++i) {
        EXPECT_EQ(pts[i + 1].x(), 10 + 3 * std::cos(i * step));
        EXPECT_EQ(pts[i + 1].y(), -20 + 0.5 * std::sin(i * step));
    }
}

// ---- polygon ------------------------------------------------------------------------

TEST(RandomPolygon, ClosedSimpleCounterclockwiseInsideTheBox) {
    for (size_t n : {3u, 4u, 5u, 17u, 120u}) {
        for (unsigned seed = 1; seed <= 3; ++seed) {
            std::vector<Segment2> ring;
            generateRandomPolygon(n, -10, 30, ring, seed);
            ASSERT_EQ(ring.size(), n);
            for (size_t i = 0; i < n; ++i) {
                ASSERT_EQ(ring[i].getTrg(), ring[(i + 1) % n].getSrc());
                ASSERT_TRUE(inBox(ring[i].getSrc(), -10, 30));
            }
            EXPECT_GT(areaSign(ring), 0);
            // Simple: consecutive edges share only their common corner, others do not meet.
            for (size_t i = 0; i < n; ++i) {
                const Point2 a(ring[i].getSrc()), b(ring[i].getTrg()), c(ring[(i + 1) % n].getTrg());
                ASSERT_FALSE(onClosedSegment(c, a, b) || onClosedSegment(a, b, c)) << n << " " << seed << " " << i;
                for (size_t j = i + 2; j < n; ++j) {
                    if (i == 0 && j == n - 1) continue;
                    ASSERT_FALSE(closedSegmentsMeet(ring[i], ring[j])) << n << " " << seed << " " << i << " " << j;
                }
            }
        }
    }
}

TEST(RandomPolygon, TheSimplicityOracleSeesCrossingsAndTouches) {
    const Point2 a(0, 0), b(2, 2), c(2, 0), d(0, 2), e(1, 1), f(3, 3);
    EXPECT_TRUE(closedSegmentsMeet(Segment2(a, b), Segment2(c, d)));    // proper crossing
    EXPECT_TRUE(closedSegmentsMeet(Segment2(a, b), Segment2(e, c)));    // endpoint on the interior
    EXPECT_TRUE(closedSegmentsMeet(Segment2(a, e), Segment2(b, e)));    // shared endpoint
    EXPECT_TRUE(closedSegmentsMeet(Segment2(a, b), Segment2(e, f)));    // collinear overlap
    EXPECT_FALSE(closedSegmentsMeet(Segment2(a, e), Segment2(b, f)));   // collinear, apart
    EXPECT_FALSE(closedSegmentsMeet(Segment2(a, c), Segment2(d, b)));   // parallel
    EXPECT_FALSE(closedSegmentsMeet(Segment2(a, b), Segment2(c, Point2(1.5, 0.4))));   // boxes overlap, apart
}

TEST(RandomPolygon, ReproducibleAndAppended) {
    std::vector<Segment2> a, b{Segment2(Point2(0, 0), Point2(1, 1))};
    generateRandomPolygon(50, 0, 1, a, 11);
    generateRandomPolygon(50, 0, 1, b, 11);
    ASSERT_EQ(b.size(), 51u);
    EXPECT_TRUE(std::equal(a.begin(), a.end(), b.begin() + 1));
    std::vector<Segment2> c;
    generateRandomPolygon(50, 0, 1, c, 12);
    EXPECT_FALSE(std::equal(a.begin(), a.end(), c.begin()));
}

TEST(RandomPolygon, EmptyRangeFailsTheAssertion) {
    std::vector<Segment2> ring;
    EXPECT_NE(failingOutput([&] { generateRandomPolygon(10, 4, 4, ring, 1); }).find("Condition [ range>0 failed ]"),
              std::string::npos);
    EXPECT_NE(failingOutput([&] { generateRandomPolygon(10, 5, 4, ring, 1); }).find("Condition [ range>0 failed ]"),
              std::string::npos);
}

TEST(RandomPolygon, FewerThanThreeSegmentsWarns) {
    std::vector<Segment2> ring;
    testing::internal::CaptureStdout();
    generateRandomPolygon(2, 0, 1, ring, 1);
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "\n      [Lumo2D-Message] generateRandomPolygon(), WARNING: numSegments<3\n\n");
    EXPECT_TRUE(ring.empty());
}

// ---- random segments ----------------------------------------------------------------

TEST(RandomSegments, EverySegmentIsAtMostTheBoundAndInsideTheBox) {
    const double bounds[] = {0.5, 3.0, 1000.0};   // the last one exceeds the box: clamping
    for (double maxLen : bounds) {
        std::vector<Segment2> segs;
        generateRandomSegments(2000, -7, 13, maxLen, segs, 21);
        ASSERT_EQ(segs.size(), 2000u);
        double longest = 0;
        for (const Segment2& s : segs) {
            ASSERT_TRUE(lengthAtMost(s, maxLen)) << s;
            ASSERT_TRUE(inBox(s.getSrc(), -7, 13) && inBox(s.getTrg(), -7, 13)) << s;
            longest = std::max(longest, std::sqrt(s.getSqLen2D()));
        }
        // The bound is used, not just respected.
        EXPECT_GT(longest, std::min(maxLen, 20.0) * 0.9) << maxLen;
    }
}

TEST(RandomSegments, TinyBoundAgainstLargeCoordinatesStillHolds) {
    // 1e-9 is about four units in the last place of the coordinates: many of those segments
    // round to a point, but none may exceed the bound.
    for (double maxLen : {1e-7, 1e-9}) {
        std::vector<Segment2> segs;
        generateRandomSegments(3000, 1e6, 2e6, maxLen, segs, 4);
        int degenerate = 0;
        for (const Segment2& s : segs) {
            ASSERT_TRUE(lengthAtMost(s, maxLen)) << s;
            degenerate += s.getSrc() == s.getTrg();
        }
        if (maxLen == 1e-7) {
            EXPECT_LT(degenerate, 30);
        }
    }
}

TEST(RandomSegments, LengthsAndDirectionsSpread) {
    std::vector<Segment2> segs;
    generateRandomSegments(4000, 0, 100, 2, segs, 8);
    int shortOnes = 0, quadrant[4] = {0, 0, 0, 0};
    for (const Segment2& s : segs) {
        const double dx = s.getTrg().x() - s.getSrc().x(), dy = s.getTrg().y() - s.getSrc().y();
        if (std::sqrt(dx * dx + dy * dy) < 1) ++shortOnes;
        ++quadrant[(dx >= 0 ? 0 : 1) + (dy >= 0 ? 0 : 2)];
    }
    EXPECT_GT(shortOnes, 1500);
    EXPECT_LT(shortOnes, 2500);
    for (int q : quadrant) EXPECT_GT(q, 800);
}

TEST(RandomSegments, ReproducibleAndAppended) {
    std::vector<Segment2> a, b{Segment2(Point2(0, 0), Point2(1, 1))}, c, d;
    generateRandomSegments(300, 0, 10, 1, a, 99);
    generateRandomSegments(300, 0, 10, 1, b, 99);
    ASSERT_EQ(b.size(), 301u);
    EXPECT_TRUE(std::equal(a.begin(), a.end(), b.begin() + 1));
    generateRandomSegments(300, 0, 10, 1, c, 0);
    generateRandomSegments(300, 0, 10, 1, d, 0);
    EXPECT_FALSE(std::equal(c.begin(), c.end(), d.begin()));
}

TEST(RandomSegments, BadRangeOrBoundFailsTheAssertion) {
    std::vector<Segment2> segs;
    EXPECT_NE(failingOutput([&] { generateRandomSegments(5, 1, 1, 1, segs, 1); }).find("Condition [ min<max failed ]"),
              std::string::npos);
    EXPECT_NE(failingOutput([&] { generateRandomSegments(5, 0, 1, 0, segs, 1); }).find("Condition [ maxLen>0 failed ]"),
              std::string::npos);
    EXPECT_TRUE(segs.empty());
}

// ---- sine ---------------------------------------------------------------------------

TEST(SineSegments, ConnectedChainAlongTheCurve) {
    std::vector<Segment2> segs;
    generateSineSegments(3, 40, 5, 2, -1, 0.5, false, segs);
    ASSERT_EQ(segs.size(), 120u);
    EXPECT_EQ(segs.front().getSrc(), Point2(5, -1));
    for (size_t i = 0; i + 1 < segs.size(); ++i) ASSERT_EQ(segs[i].getTrg(), segs[i + 1].getSrc());
    for (const Segment2& s : segs) {
        EXPECT_LT(s.getSrc().x(), s.getTrg().x());   // monotone in x
        EXPECT_LE(std::fabs(s.getTrg().y() + 1), 0.5);
    }
    EXPECT_NEAR(segs.back().getTrg().x(), 5 + 2 * 3 * 6.283185307179586, 1e-12);
    EXPECT_NEAR(segs.back().getTrg().y(), -1, 1e-12);
    EXPECT_NEAR(segs[9].getTrg().y(), -1 + 0.5, 1e-12);   // a quarter period: the crest
}

TEST(SineSegments, SwapExchangesCoordinates) {
    std::vector<Segment2> a, b;
    generateSineSegments(2, 16, 1, 1, 0, 3, false, a);
    generateSineSegments(2, 16, 1, 1, 0, 3, true, b);
    ASSERT_EQ(a.size(), b.size());
    for (size_t i = 0; i < a.size(); ++i) {
        EXPECT_EQ(b[i].getSrc(), Point2(a[i].getSrc().y(), a[i].getSrc().x()));
        EXPECT_EQ(b[i].getTrg(), Point2(a[i].getTrg().y(), a[i].getTrg().x()));
    }
}

TEST(SineSegments, NonPositiveCountsWarn) {
    std::vector<Segment2> segs;
    testing::internal::CaptureStdout();
    generateSineSegments(0, 10, 0, 1, 0, 1, false, segs);
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "\n      [Lumo2D-Message] generateSineSegments(), WARNING: numPeriods=0, numSegmentsPerPeriod=10\n\n");
    EXPECT_TRUE(segs.empty());
}
