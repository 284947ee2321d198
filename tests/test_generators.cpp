// Test data generators: reproducibility, the documented number grid, and the geometric promises
// (closed simple polygons, bounded segment lengths, connected sine chains), checked exactly.
// Refused arguments (empty or non-finite ranges, bad counts) are rows of the misuse table.
#include <gtest/gtest.h>
#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <string>
#include "ExactPolygons.h"
#include "Lumo_2D.h"
#include "segmentOracle.h"

using namespace ORBI_LUMO2D;

namespace {
using lumo_test::Rational;

// (tx-sx)^2 + (ty-sy)^2 <= bound^2, exactly.
bool lengthAtMost(const Segment2& s, double bound) {
    const Rational dx = Rational(s.getTrg().x()) - Rational(s.getSrc().x());
    const Rational dy = Rational(s.getTrg().y()) - Rational(s.getSrc().y());
    return lumo_test::cmp(dx * dx + dy * dy, Rational(bound) * Rational(bound)) <= 0;
}

bool inBox(const Point2& p, double min, double max) {
    return min <= p.x() && p.x() <= max && min <= p.y() && p.y() <= max;
}

// The same non-zero seed gives the same output, appended behind a default element the vector
// held (or replacing it: bAppends false); another seed, or seed 0 twice in a row, other output.
template <class T> void expectSeedsReproduce(const char* what, void (*gen)(std::vector<T>&, unsigned), bool bAppends) {
    std::vector<T> a, prefilled(1), other, zero1, zero2;
    gen(a, 42), gen(prefilled, 42), gen(other, 43), gen(zero1, 0), gen(zero2, 0);
    ASSERT_EQ(prefilled.size(), a.size() + (bAppends ? 1 : 0)) << what;
    EXPECT_TRUE(std::equal(a.begin(), a.end(), prefilled.end() - long(a.size()))) << what;
    EXPECT_TRUE(a != other && zero1 != zero2) << what;
}
} // namespace

TEST(Generators, SeedsReproduceAndOutputIsAppended) {
    expectSeedsReproduce<double>("numbers", [](std::vector<double>& v, unsigned seed) { generateRandomNumbers(300, -5, 5, v, seed); }, false);
    expectSeedsReproduce<Point2>("points", [](std::vector<Point2>& v, unsigned seed) { generateRandomPoints(100, 0, 10, v, seed); }, true);
    expectSeedsReproduce<Segment2>("polygon", [](std::vector<Segment2>& v, unsigned seed) { generateRandomPolygon(50, 0, 1, v, seed); }, true);
    expectSeedsReproduce<Segment2>("segments", [](std::vector<Segment2>& v, unsigned seed) { generateRandomSegments(100, 0, 10, 1, v, seed); }, true);
}

// Numbers: rand() reduced to 15 bits, times range/32768, plus min; points: the first half of
// 2n such numbers gives x, the second half y.
TEST(RandomNumbers, ValuesFollowTheGridFormulaPointsTakeXThenY) {
    std::vector<double> v;
    generateRandomNumbers(5000, -3.5, 12.25, v, 77);
    srand(77);
    const unsigned divisor = (unsigned(RAND_MAX) + 1u) / 32768u;
    for (size_t i = 0; i < v.size(); ++i) ASSERT_EQ(v[i], int(unsigned(rand()) / divisor) * ((12.25 - -3.5) * 3.0517578125e-5) + -3.5) << i;
    generateRandomNumbers(0, 0, 1, v, 1);
    EXPECT_TRUE(v.empty());
    const size_t n = 777;
    std::vector<Point2> pts;
    generateRandomNumbers(2 * n, -100, 100, v, 9);
    generateRandomPoints(n, -100, 100, pts, 9);
    ASSERT_EQ(pts.size(), n);
    for (size_t k = 0; k < n; ++k) EXPECT_EQ(pts[k], Point2(v[k], v[n + k]));
}

TEST(Circle, EllipseAroundACentreIsAppended) {
    std::vector<Point2> pts{Point2(0, 0)};
    generateCircle(7, 10, -20, 3, 0.5, pts);
    ASSERT_EQ(pts.size(), 8u);
    const double step = 6.28318 / 7;  // the truncated two pi, not the exact one
    for (int i = 0; i < 7; ++i) EXPECT_EQ(pts[i + 1], Point2(10 + 3 * std::cos(i * step), -20 + 0.5 * std::sin(i * step)));
}

// Exactly: connected, counterclockwise, and simple (neighbouring sides share only their common
// corner, other sides do not meet).
TEST(RandomPolygon, ClosedSimpleCounterclockwiseInsideTheBox) {
    for (size_t n : {3u, 4u, 5u, 17u, 120u}) {
        for (unsigned seed = 1; seed <= 3; ++seed) {
            std::vector<Segment2> ring;
            generateRandomPolygon(n, -10, 30, ring, seed);
            ASSERT_EQ(ring.size(), n);
            lumo_test::Loop loop;
            for (size_t i = 0; i < n; ++i) {
                ASSERT_TRUE(ring[i].getTrg() == ring[(i + 1) % n].getSrc() && inBox(ring[i].getSrc(), -10, 30));
                loop.push_back(ring[i].getSrc());
                for (size_t j = i + 1; j < n; ++j)
                    ASSERT_EQ(lumo_test::classifyExactly(ring[i], ring[j]).type, j == i + 1 || j + 1 == n + i ? SIT_ENDPOINT : SIT_NONE)
                        << n << " " << seed << " " << i << " " << j;
            }
            EXPECT_GT(lumo_test::sgn(lumo_test::exactLoopArea(loop)), 0);
        }
    }
}

TEST(RandomSegments, EverySegmentIsAtMostTheBoundAndInsideTheBox) {
    // (box, bound, how close the longest comes to the bound, most degenerate ones, whether lengths
    // and directions spread evenly); 1000 exceeds the box: clamping. 1e-9 is about four ulps of
    // the coordinates: many of those segments round to a point, but none may exceed the bound.
    const struct { double lo, hi, maxLen, used; int maxDegenerate; bool bSpread; } aCases[] = {
        {-7, 13, 0.5, 0.45, 2000, true}, {-7, 13, 3.0, 2.7, 2000, true}, {-7, 13, 1000.0, 18, 2000, false},
        {1e6, 2e6, 1e-7, 0, 30, false}, {1e6, 2e6, 1e-9, 0, 2000, false}};
    for (const auto& c : aCases) {
        std::vector<Segment2> segs;
        generateRandomSegments(2000, c.lo, c.hi, c.maxLen, segs, 21);
        ASSERT_EQ(segs.size(), 2000u);
        double longest = 0;
        int degenerate = 0, shortOnes = 0, quadrant[4] = {0, 0, 0, 0};
        for (const Segment2& s : segs) {
            ASSERT_TRUE(lengthAtMost(s, c.maxLen)) << s;
            ASSERT_TRUE(inBox(s.getSrc(), c.lo, c.hi) && inBox(s.getTrg(), c.lo, c.hi)) << s;
            longest = std::max(longest, std::sqrt(s.getSqLen2D()));
            degenerate += s.getSrc() == s.getTrg();
            shortOnes += std::sqrt(s.getSqLen2D()) < 0.5 * c.maxLen;
            ++quadrant[(s.getTrg().x() >= s.getSrc().x() ? 0 : 1) + (s.getTrg().y() >= s.getSrc().y() ? 0 : 2)];
        }
        EXPECT_GT(longest, c.used) << c.maxLen;  // the bound is used, not just respected
        EXPECT_LT(degenerate, c.maxDegenerate) << c.maxLen;
        EXPECT_TRUE(!c.bSpread || (std::abs(shortOnes - 1000) < 250 && *std::min_element(quadrant, quadrant + 4) > 400))
            << c.maxLen << ": " << shortOnes << " short ones";
    }
}

// Every vertex on the documented curve (5 + 2t, -1 + 0.5 sin t), t = k 2pi / 40, in one
// connected chain; with bSwapXY the same points with their coordinates exchanged.
TEST(SineSegments, ConnectedChainAlongTheCurve) {
    std::vector<Segment2> segs, swapped;
    generateSineSegments(3, 40, 5, 2, -1, 0.5, false, segs);
    generateSineSegments(3, 40, 5, 2, -1, 0.5, true, swapped);
    ASSERT_TRUE(segs.size() == 120u && swapped.size() == 120u);
    for (size_t k = 0; k < 120; ++k) {
        ASSERT_TRUE(k + 1 == 120 || segs[k].getTrg() == segs[k + 1].getSrc()) << k;
        for (size_t e = 0; e < 2; ++e) {
            const double t = 6.283185307179586 * double(k + e) / 40;
            const Point2 p = e == 0 ? segs[k].getSrc() : segs[k].getTrg(), q = e == 0 ? swapped[k].getSrc() : swapped[k].getTrg();
            EXPECT_TRUE(std::fabs(p.x() - (5 + 2 * t)) < 1e-12 && std::fabs(p.y() - (-1 + 0.5 * std::sin(t))) < 1e-12) << k << " " << p;
            EXPECT_EQ(q, Point2(p.y(), p.x())) << k;
        }
    }
}
