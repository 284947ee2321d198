// Value types: points, vectors, boxes, segments, edges, circles, vertex pairs, their exact
// comparisons, stream formats and messages.
#include <gtest/gtest.h>
#include <algorithm>
#include <cctype>
#include <cfloat>
#include <cmath>
#include <limits>
#include <random>
#include <sstream>
#include <vector>
#include "ExactOracle.h"
#include "GeomTest.h"
#include "Lumo_2D.h"

using namespace ORBI_LUMO2D;

namespace {
template <class T> std::string str(const T& v) {
    std::ostringstream os;
    os << v;
    return os.str();
}
std::string addr(const void* p) {
    std::ostringstream os;
    os << p;
    return os.str();
}
// Replaces every printed address ("0x" and hex digits) by "ADDR".
std::string maskAddresses(const std::string& s) {
    std::string out;
    for (size_t i = 0; i < s.size();) {
        if (s.compare(i, 2, "0x") == 0) {
            out += "ADDR";
            i += 2;
            while (i < s.size() && std::isxdigit(static_cast<unsigned char>(s[i]))) ++i;
        } else {
            out += s[i++];
        }
    }
    return out;
}

std::string warningLine(const std::string& where, const std::string& text) {
    return "\n      [Lumo2D-Message] " + where + ", WARNING: " + text + "\n\n";
}
} // namespace

// ---- Point2 --------------------------------------------------------------------------------------------

TEST(Point2, DefaultIsMinusLargestDoubleWithIndexMinusOne) {
    const Point2 p;
    EXPECT_EQ(p.x(), -1.7976931348623157e308);
    EXPECT_EQ(p.y(), -1.7976931348623157e308);
    EXPECT_EQ(p.getCustomIndex(), -1);
    EXPECT_EQ(p.getIncidentTriangle(), nullptr);
    const Point2 q(1.5, -2.5);
    EXPECT_EQ(q.getCustomIndex(), -1);
    double x = 0, y = 0;
    q.xy(x, y);
    EXPECT_EQ(x, 1.5);
    EXPECT_EQ(y, -2.5);
    EXPECT_EQ(q.getMaxAbs(), 2.5);
    EXPECT_EQ(Point2(-7, 3).getMaxAbs(), 7.0);
}

TEST(Point2, CopyDetachesFromTheTriangulationAndKeepsTheIndex) {
    Triangle2 t;
    Point2 v(1, 2);
    v.setCustomIndex(42);
    v.setIncidentTriangle(&t);
    EXPECT_EQ(v.getIncidentTriangle(), &t);
    const Point2 copy(v);
    EXPECT_EQ(copy.getIncidentTriangle(), nullptr);
    EXPECT_EQ(copy.getCustomIndex(), 42);
    EXPECT_EQ(copy, v);
    Point2 assigned;
    assigned = v;
    EXPECT_EQ(assigned.getIncidentTriangle(), nullptr);
    EXPECT_EQ(assigned.getCustomIndex(), 42);
}

TEST(Point2, ExactLexicographicComparisons) {
    EXPECT_TRUE(Point2(1, 2) < Point2(1, 3));
    EXPECT_TRUE(Point2(0, 9) < Point2(1, 0));
    EXPECT_FALSE(Point2(1, 3) < Point2(1, 2));
    EXPECT_FALSE(Point2(1, 2) < Point2(1, 2));
    EXPECT_TRUE(Point2(1, 3) > Point2(1, 2));
    EXPECT_TRUE(Point2(1, 0) > Point2(0, 9));
    EXPECT_FALSE(Point2(1, 2) > Point2(1, 2));
    Point2 a(1, 2), b(1, 2);
    a.setCustomIndex(5);
    b.setCustomIndex(6);
    EXPECT_TRUE(a == b);
    EXPECT_FALSE(a != b);
    // no epsilon: neighbouring doubles differ
    EXPECT_TRUE(Point2(1, 2) != Point2(std::nextafter(1.0, 2.0), 2));
    EXPECT_TRUE(Point2(1, 2) < Point2(std::nextafter(1.0, 2.0), 0));
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const Point2 n(nan, 0), m(0, nan);
    EXPECT_FALSE(n == n);
    EXPECT_TRUE(n != n);
    EXPECT_FALSE(m == m);
}

TEST(Point2, StreamFormat) {
    Point2 p(1.5, -2);
    p.setCustomIndex(7);
    EXPECT_EQ(str(p), "Point2 (" + addr(&p) + ",7): 1.5, -2");
    const Point2 q(0.1, 1e20);
    EXPECT_EQ(str(q), "Point2 (" + addr(&q) + ",-1): 0.1, 1e+20");
}

// ---- centerWithShift ------------------------------------------------------------------------------------

namespace {
// Strictly between on every axis that has a double between the ends; never equal to an end.
void expectStrictlyBetween(const Point2& a, const Point2& b) {
    const Point2 m = centerWithShift(a, b);
    ASSERT_TRUE(std::isfinite(m.x()) && std::isfinite(m.y()));
    ASSERT_NE(m, a) << std::hexfloat << a.x() << " " << a.y() << " " << b.x() << " " << b.y();
    ASSERT_NE(m, b);
    const double ends[2][2] = {{a.x(), b.x()}, {a.y(), b.y()}};
    const double mid[2] = {m.x(), m.y()};
    for (int axis = 0; axis < 2; ++axis) {
        const double lo = std::min(ends[axis][0], ends[axis][1]), hi = std::max(ends[axis][0], ends[axis][1]);
        ASSERT_LE(lo, mid[axis]);
        ASSERT_LE(mid[axis], hi);
        if (std::nextafter(lo, hi) < hi) {
            ASSERT_LT(lo, mid[axis]);
            ASSERT_LT(mid[axis], hi);
        }
    }
}
} // namespace

TEST(CenterWithShift, MidpointOfOrdinaryPoints) {
    const Point2 m = centerWithShift(Point2(0, 0), Point2(2, 4));
    EXPECT_EQ(m, Point2(1, 2));
    EXPECT_EQ(m.getCustomIndex(), -1);
    EXPECT_EQ(centerWithShift(Point2(-3, 1), Point2(5, 1)), Point2(1, 1));
    EXPECT_EQ(centerWithShift(Point2(0.1, 0.2), Point2(0.3, 0.7)), Point2(0.5 * (0.1 + 0.3), 0.5 * (0.2 + 0.7)));
    EXPECT_EQ(centerWithShift(Point2(4, 4), Point2(4, 4)), Point2(4, 4));
}

TEST(CenterWithShift, NeighbouringDoublesAndHugeMagnitudes) {
    const double one = 1.0, next1 = std::nextafter(one, 2.0), next2 = std::nextafter(next1, 2.0);
    // two ulps apart: the double in between
    EXPECT_EQ(centerWithShift(Point2(one, 0), Point2(next2, 0)), Point2(next1, 0));
    // one axis neighbours, the other with room
    expectStrictlyBetween(Point2(one, 0), Point2(next1, 10));
    // both axes neighbours: the mixed corner, distinct from both ends
    const Point2 a(one, 5), b(next1, std::nextafter(5.0, 6.0));
    EXPECT_EQ(centerWithShift(a, b), Point2(a.x(), b.y()));
    // across a binade boundary and across zero
    expectStrictlyBetween(Point2(std::nextafter(2.0, 0.0), 3), Point2(std::nextafter(2.0, 4.0), 4));
    expectStrictlyBetween(Point2(-std::numeric_limits<double>::denorm_min(), 0), Point2(std::numeric_limits<double>::denorm_min(), 1));
    expectStrictlyBetween(Point2(std::numeric_limits<double>::denorm_min(), 0), Point2(3 * std::numeric_limits<double>::denorm_min(), 1));
    // huge magnitudes: no overflow
    const Point2 h = centerWithShift(Point2(-1e308, 1e308), Point2(1e308, -1e308));
    EXPECT_EQ(h, Point2(0, 0));
    expectStrictlyBetween(Point2(-DBL_MAX, -DBL_MAX), Point2(DBL_MAX, DBL_MAX));
    expectStrictlyBetween(Point2(DBL_MAX, 1e308), Point2(std::nextafter(std::nextafter(DBL_MAX, 0.0), 0.0), 1.7e308));
    const Point2 big = centerWithShift(Point2(1.7e308, 1.6e308), Point2(1.5e308, 1.7e308));
    EXPECT_EQ(big, Point2(0.5 * 1.7e308 + 0.5 * 1.5e308, 0.5 * 1.6e308 + 0.5 * 1.7e308));
    expectStrictlyBetween(Point2(1.7e308, 1.6e308), Point2(1.5e308, 1.7e308));
    // ends differing on one axis only, as neighbours: no point lies strictly between
    const Point2 e0(one, 3), e1(next1, 3);
    const Point2 r = centerWithShift(e0, e1);
    EXPECT_TRUE(r == e0 || r == e1);
}

TEST(CenterWithShift, RandomPairsAtAllScalesAreStrictlyBetween) {
    std::mt19937_64 gen(21);
    std::uniform_real_distribution<double> uni(-1, 1);
    std::uniform_int_distribution<int> expo(-1070, 1020), ulps(1, 3);
    for (int i = 0; i < 20000; ++i) {
        const int e = expo(gen);
        const double ax = std::ldexp(uni(gen), e), ay = std::ldexp(uni(gen), e);
        double bx, by;
        if (i % 2) {  // a few ulps away
            bx = ax; by = ay;
            for (int k = ulps(gen); k > 0; --k) bx = std::nextafter(bx, HUGE_VAL);
            for (int k = ulps(gen) + 1; k > 0; --k) by = std::nextafter(by, -HUGE_VAL);
        } else {
            bx = std::ldexp(uni(gen), expo(gen));
            by = std::ldexp(uni(gen), expo(gen));
        }
        expectStrictlyBetween(Point2(ax, ay), Point2(bx, by));
        if (HasFatalFailure()) return;
    }
}

// ---- Vector2 -------------------------------------------------------------------------------------------

TEST(Vector2, ArithmeticAndLengths) {
    const Vector2 z;
    EXPECT_EQ(z.x(), 0.0);
    EXPECT_EQ(z.y(), 0.0);
    EXPECT_TRUE(z.isDegenerate());
    const Vector2 v(3, 4), w(-1, 2);
    EXPECT_FALSE(v.isDegenerate());
    EXPECT_FALSE(Vector2(0, 1e-300).isDegenerate());
    EXPECT_EQ(v.length(), 5.0);
    EXPECT_EQ(v.sqLength(), 25.0);
    EXPECT_EQ(v * w, 5.0);
    const Vector2 results[6] = {v * 2.0, 2.0 * v, v / 2.0, v + w, v - w, -v};
    const double expected[6][2] = {{6, 8}, {6, 8}, {1.5, 2}, {2, 6}, {4, 2}, {-3, -4}};
    for (int k = 0; k < 6; ++k) {
        EXPECT_EQ(results[k].x(), expected[k][0]) << k;
        EXPECT_EQ(results[k].y(), expected[k][1]) << k;
    }
    Vector2 s;
    s.set(7, -8);
    EXPECT_EQ(s.x(), 7.0);
    EXPECT_EQ(s.y(), -8.0);
    EXPECT_EQ(str(Vector2(1.5, -2)), "Vector2:1.5, -2");
}

TEST(Vector2, NormalizeWarnsOnceForNullVector) {
    testing::internal::CaptureStdout();
    const Vector2 n = normalize(Vector2(0, 0));
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "warning: normalize(const Vector2& other), Null length vector!\n");
    EXPECT_EQ(n.x(), 0.0);
    EXPECT_EQ(n.y(), 0.0);
    testing::internal::CaptureStdout();
    const Vector2 u = normalize(Vector2(3, -4));
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    EXPECT_EQ(u.x(), 0.6);
    EXPECT_EQ(u.y(), -0.8);
}

TEST(Vector2, OrthogonalVectorPointsLeft) {
    testing::internal::CaptureStdout();
    const Vector2 z = Vector2(0, 0).orthogonalVector();
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");  // silently
    EXPECT_EQ(z.x(), 0.0);
    EXPECT_EQ(z.y(), 0.0);
    // (vector, its left unit normal) on the axes
    const double aCases[4][4] = {{2, 0, 0, 1}, {0, -3, 1, 0}, {-5, 0, 0, -1}, {0, 0.5, -1, 0}};
    for (const auto& c : aCases) {
        const Vector2 o = Vector2(c[0], c[1]).orthogonalVector();
        EXPECT_EQ(o.x(), c[2]) << c[0] << " " << c[1];
        EXPECT_EQ(o.y(), c[3]) << c[0] << " " << c[1];
    }
    std::mt19937_64 gen(22);
    std::uniform_real_distribution<double> uni(-1, 1);
    std::uniform_int_distribution<int> expo(-300, 300);
    for (int i = 0; i < 5000; ++i) {
        const Vector2 v(std::ldexp(uni(gen), expo(gen)), std::ldexp(uni(gen), expo(gen)));
        const Vector2 o = v.orthogonalVector();
        EXPECT_NEAR(o.length(), 1.0, 1e-15);
        // this vector followed by the result turns counterclockwise, decided exactly
        ASSERT_EQ(lumo_oracle::orient(0, 0, v.x(), v.y(), o.x(), o.y()), 1);
        ASSERT_LE(std::fabs(normalize(v) * o), 1e-15);
    }
}

// ---- Bbox2 ---------------------------------------------------------------------------------------------

TEST(Bbox2, FreshBoxAndFirstPoint) {
    Bbox2 box;
    EXPECT_FALSE(box.isValid());
    EXPECT_EQ(box.get_minX(), DBL_MAX);
    EXPECT_EQ(box.get_minY(), DBL_MAX);
    EXPECT_EQ(box.get_maxX(), -DBL_MAX);
    EXPECT_EQ(box.get_maxY(), -DBL_MAX);
    EXPECT_FALSE(box.isInBox(Point2(0, 0)));
    EXPECT_TRUE(box.add(Point2(2, 3)));
    EXPECT_TRUE(box.isValid());
    EXPECT_EQ(box.getMinPoint(), Point2(2, 3));
    EXPECT_EQ(box.getMaxPoint(), Point2(2, 3));
    EXPECT_FALSE(box.add(Point2(2, 3)));
    EXPECT_TRUE(box.add(Point2(-1, 3)));
    EXPECT_FALSE(box.add(Point2(0, 3)));
    EXPECT_TRUE(box.add(Point2(0, 10)));
    double a, b, c, d;
    box.getBounds(a, b, c, d);
    EXPECT_EQ(a, -1.0); EXPECT_EQ(b, 3.0); EXPECT_EQ(c, 2.0); EXPECT_EQ(d, 10.0);
    EXPECT_EQ(box.getRangeX(), 3.0);
    EXPECT_EQ(box.getRangeY(), 7.0);
    EXPECT_EQ(box.getMaxRange(), 7.0);
    EXPECT_EQ(box.getMinCoord(), -1.0);
    EXPECT_EQ(box.getMaxCoord(), 10.0);
}

TEST(Bbox2, FirstPointOnlyFillsBoundsStillAtTheirInitialValue) {
    Bbox2 box;
    box.setMinX(-7);
    EXPECT_TRUE(box.add(Point2(1, 2)));
    EXPECT_EQ(box.get_minX(), -7.0);
    EXPECT_EQ(box.get_maxX(), 1.0);
    EXPECT_EQ(box.get_minY(), 2.0);
    EXPECT_EQ(box.get_maxY(), 2.0);
}

TEST(Bbox2, SingleAddUsesTheElseRangeAddDoesNot) {
    // On an inverted box (min > max, only reachable through the setters) the two rules differ.
    Bbox2 single;
    single.add(Point2(0, 0));
    single.setMinX(10); single.setMaxX(0); single.setMinY(10); single.setMaxY(0);
    EXPECT_TRUE(single.add(Point2(5, 5)));
    EXPECT_EQ(single.get_minX(), 5.0);
    EXPECT_EQ(single.get_maxX(), 0.0);  // the else skipped the max
    EXPECT_EQ(single.get_minY(), 5.0);
    EXPECT_EQ(single.get_maxY(), 0.0);
    Bbox2 range;
    range.add(Point2(0, 0));
    range.setMinX(10); range.setMaxX(0); range.setMinY(10); range.setMaxY(0);
    const std::vector<Point2> one{Point2(5, 5)};
    EXPECT_TRUE(range.add(one.begin(), one.end()));
    EXPECT_EQ(range.get_minX(), 5.0);
    EXPECT_EQ(range.get_maxX(), 5.0);  // both ends moved
    EXPECT_EQ(range.get_minY(), 5.0);
    EXPECT_EQ(range.get_maxY(), 5.0);
}

TEST(Bbox2, RangeForms) {
    const std::vector<Point2> pts{Point2(1, 5), Point2(-2, 0), Point2(4, 3)};
    Bbox2 values;
    EXPECT_TRUE(values.add(pts.begin(), pts.end()));
    EXPECT_TRUE(values.isValid());
    EXPECT_EQ(values.getMinPoint(), Point2(-2, 0));
    EXPECT_EQ(values.getMaxPoint(), Point2(4, 5));
    EXPECT_FALSE(values.add(pts.begin(), pts.end()));
    std::vector<const Point2*> ptrs;
    for (const auto& p : pts) ptrs.push_back(&p);
    Bbox2 pointers;
    EXPECT_TRUE(pointers.add(ptrs.begin(), ptrs.end()));
    EXPECT_EQ(pointers.getMinPoint(), Point2(-2, 0));
    EXPECT_EQ(pointers.getMaxPoint(), Point2(4, 5));
    const double xy[] = {1, 5, -2, 0, 4, 3};
    Bbox2 flat;
    EXPECT_FALSE(flat.add(0, xy));
    EXPECT_FALSE(flat.isValid());
    EXPECT_TRUE(flat.add(3, xy));
    EXPECT_TRUE(flat.isValid());
    EXPECT_EQ(flat.getMinPoint(), Point2(-2, 0));
    EXPECT_EQ(flat.getMaxPoint(), Point2(4, 5));
    EXPECT_FALSE(flat.add(1, xy));
    // An empty range still makes the box valid (only n = 0 returns at once).
    Bbox2 empty;
    EXPECT_FALSE(empty.add(pts.end(), pts.end()));
    EXPECT_TRUE(empty.isValid());
    EXPECT_EQ(empty.get_minX(), DBL_MAX);
    const Bbox2 built(pts.begin(), pts.end());
    EXPECT_TRUE(built.isValid());
    EXPECT_EQ(built.getMinPoint(), Point2(-2, 0));
    EXPECT_EQ(built.getMaxPoint(), Point2(4, 5));
}

TEST(Bbox2, AddingPointsNeverTouchesThePredicateLink) {
    GeomTest g;
    Bbox2 box(&g);
    box.add(Point2(100, 100));
    const std::vector<Point2> pts{Point2(-500, 3), Point2(7, 900)};
    box.add(pts.begin(), pts.end());
    const double xy[] = {1e6, 1e6};
    box.add(1, xy);
    EXPECT_EQ(g.getCoordinateBound(), 0.0);
    EXPECT_EQ(g.getPositiveErrorBound(), 0.0);
}

TEST(Bbox2, PlusMergesInPlaceAndReturnsACopy) {
    Bbox2 a, b;
    b.add(Point2(1, 2));
    b.add(Point2(3, 4));
    // a + fresh: warning, a unchanged
    Bbox2 fresh;
    testing::internal::CaptureStdout();
    const Bbox2 r0 = b + fresh;
    EXPECT_EQ(testing::internal::GetCapturedStdout(), warningLine("Box2::operator+()", "trying to add an invalid Bbox2"));
    EXPECT_EQ(b.getMinPoint(), Point2(1, 2));
    EXPECT_EQ(b.getMaxPoint(), Point2(3, 4));
    EXPECT_EQ(r0.getMinPoint(), Point2(1, 2));
    // fresh a + valid b: a takes b's bounds, its valid flag stays as it was
    testing::internal::CaptureStdout();
    const Bbox2 r1 = a + b;
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    EXPECT_EQ(a.getMinPoint(), Point2(1, 2));
    EXPECT_EQ(a.getMaxPoint(), Point2(3, 4));
    EXPECT_FALSE(a.isValid());
    EXPECT_EQ(r1.getMaxPoint(), Point2(3, 4));
    // both valid: the union, in place
    Bbox2 c;
    c.add(Point2(-1, 3));
    c.add(Point2(2, 10));
    const Bbox2 r2 = b + c;
    EXPECT_EQ(b.getMinPoint(), Point2(-1, 2));
    EXPECT_EQ(b.getMaxPoint(), Point2(3, 10));
    EXPECT_EQ(r2.getMinPoint(), Point2(-1, 2));
    EXPECT_EQ(r2.getMaxPoint(), Point2(3, 10));
    EXPECT_EQ(c.getMinPoint(), Point2(-1, 3));  // the other box is untouched
}

TEST(Bbox2, EnlargeRangesKeepsTheCentreAndSetsTheLinkedBound) {
    GeomTest g;
    Bbox2 box(&g);
    box.add(Point2(0, 0));
    box.add(Point2(10, 4));
    box.enlargeRanges(3.0);
    EXPECT_EQ(box.getMinPoint(), Point2(-10, -4));
    EXPECT_EQ(box.getMaxPoint(), Point2(20, 8));
    EXPECT_EQ(g.getCoordinateBound(), 20.0);
    GeomTest ref;
    ref.setBound(20.0);
    EXPECT_EQ(g.getPositiveErrorBound(), ref.getPositiveErrorBound());
    box.doubleTheBox();
    EXPECT_EQ(box.getMinPoint(), Point2(-25, -10));
    EXPECT_EQ(box.getMaxPoint(), Point2(35, 14));
    EXPECT_EQ(g.getCoordinateBound(), 35.0);
    // the bound covers every point of the grown box: an exact answer anywhere inside it
    const Point2 p0(-25, -10), p1(35, 14), p2(5, 2);
    EXPECT_EQ(g.getOrientation2(&p0, &p1, &p2), ORIENTATION2_COLLINEAR);
    // without a link nothing else happens
    Bbox2 plain;
    plain.add(Point2(-1, -1));
    plain.add(Point2(1, 1));
    plain.doubleTheBox();
    EXPECT_EQ(plain.getMinPoint(), Point2(-2, -2));
    EXPECT_EQ(plain.getMaxPoint(), Point2(2, 2));
    // the largest absolute coordinate may be a minimum
    GeomTest h;
    Bbox2 neg(&h);
    neg.add(Point2(-100, -3));
    neg.add(Point2(-90, -1));
    neg.enlargeRanges(1.0);
    EXPECT_EQ(h.getCoordinateBound(), 100.0);
}

TEST(Bbox2, InflateIfDegenerateMovesOnlyTheUpperEnd) {
    Bbox2 fresh;
    fresh.inflateIfDegenerate(1.0);
    EXPECT_EQ(fresh.get_maxX(), -DBL_MAX);
    Bbox2 box;
    box.add(Point2(1, 2));
    box.inflateIfDegenerate(0.5);
    EXPECT_EQ(box.getMinPoint(), Point2(1, 2));
    EXPECT_EQ(box.getMaxPoint(), Point2(1.5, 2.5));
    Bbox2 flat;
    flat.add(Point2(0, 2));
    flat.add(Point2(4, 2));
    flat.inflateIfDegenerate(1.0);
    EXPECT_EQ(flat.getMaxPoint(), Point2(4, 3));
}

TEST(Bbox2, CenterIntersectAndInclusion) {
    Bbox2 box;
    box.add(Point2(0, 0));
    box.add(Point2(4, 2));
    const Point2 c = box.computeCenter();
    EXPECT_EQ(c, Point2(2, 1));
    EXPECT_EQ(c.getCustomIndex(), -1);
    EXPECT_TRUE(box.isInBox(Point2(0, 0)));
    EXPECT_TRUE(box.isInBox(Point2(4, 2)));
    EXPECT_TRUE(box.isInBox(Point2(4, 1)));
    EXPECT_FALSE(box.isInBox(Point2(std::nextafter(4.0, 5.0), 1)));
    EXPECT_FALSE(box.isInBox(Point2(2, -1e-300)));
    Bbox2 touching, apart, inside;
    touching.add(Point2(4, 2)); touching.add(Point2(5, 5));
    apart.add(Point2(4.5, 0)); apart.add(Point2(5, 1));
    inside.add(Point2(1, 1));
    EXPECT_TRUE(box.doIntersect(touching));
    EXPECT_TRUE(touching.doIntersect(box));
    EXPECT_FALSE(box.doIntersect(apart));
    EXPECT_FALSE(apart.doIntersect(box));
    EXPECT_TRUE(box.doIntersect(inside));
    EXPECT_TRUE(inside.doIntersect(box));
}

TEST(Bbox2, InvalidBoxWarnings) {
    Bbox2 fresh, box;
    box.add(Point2(0, 0));
    testing::internal::CaptureStdout();
    EXPECT_FALSE(box.doIntersect(fresh));
    EXPECT_EQ(testing::internal::GetCapturedStdout(), warningLine("Bbox2::doIntersect()", "bbox invalid"));
    testing::internal::CaptureStdout();
    EXPECT_FALSE(fresh.doIntersect(box));
    EXPECT_EQ(testing::internal::GetCapturedStdout(), warningLine("Bbox2::doIntersect()", "bbox invalid"));
    testing::internal::CaptureStdout();
    const Point2 c = fresh.computeCenter();
    EXPECT_EQ(testing::internal::GetCapturedStdout(), warningLine("Bbox2::computeCenter()", "Bbox2 is invalid"));
    EXPECT_EQ(c, Point2(0, 0));  // midpoint of the stored bounds
    Bbox2 set;
    set.setMinX(2); set.setMaxX(4); set.setMinY(6); set.setMaxY(8);
    testing::internal::CaptureStdout();
    EXPECT_EQ(set.computeCenter(), Point2(3, 7));
    EXPECT_EQ(testing::internal::GetCapturedStdout(), warningLine("Bbox2::computeCenter()", "Bbox2 is invalid"));
}

TEST(Bbox2, CornersCounterclockwiseFromLowerLeftAppended) {
    Bbox2 box;
    box.add(Point2(1, 2));
    box.add(Point2(3, 5));
    std::vector<Point2> v{Point2(9, 9)};
    box.getCorners(v);
    EXPECT_EQ(v, (std::vector<Point2>{Point2(9, 9), Point2(1, 2), Point2(3, 2), Point2(3, 5), Point2(1, 5)}));
    std::vector<Point2> o;
    box.getOffsetCorners(0.5, o);
    ASSERT_EQ(o, (std::vector<Point2>{Point2(0.5, 1.5), Point2(3.5, 1.5), Point2(3.5, 5.5), Point2(0.5, 5.5)}));
    for (int i = 0; i < 4; ++i)
        EXPECT_EQ(lumo_oracle::orient(o[i].x(), o[i].y(), o[(i + 1) % 4].x(), o[(i + 1) % 4].y(), o[(i + 2) % 4].x(),
                                      o[(i + 2) % 4].y()), 1);
}

// ---- Segment2 -----------------------------------------------------------------------------------------

TEST(Segment2, UndirectedEqualityAndAccessors) {
    Point2 a(0, 0), b(3, 4);
    a.setCustomIndex(1);
    b.setCustomIndex(2);
    Segment2 s(a, b);
    EXPECT_TRUE(Segment2(a, b) == Segment2(b, a));
    EXPECT_FALSE(Segment2(a, b) != Segment2(b, a));
    EXPECT_FALSE(Segment2(a, b) == Segment2(a, Point2(3, 5)));
    EXPECT_EQ(s.getSqLen2D(), 25.0);
    EXPECT_EQ(s.getSrc().getCustomIndex(), 1);
    EXPECT_EQ(s.getTrg().getCustomIndex(), 2);
    s.swapSrcTrg();
    EXPECT_EQ(s.getSrc(), b);
    EXPECT_EQ(s.getSrc().getCustomIndex(), 2);
    EXPECT_EQ(s.getTrg(), a);
    const Segment2 d;
    EXPECT_EQ(d.getSrc(), Point2());
    EXPECT_EQ(d.getTrg(), Point2());
}

TEST(Segment2, CompareSegmentIsAStrictWeakOrder) {
    std::vector<Segment2> segs{Segment2(Point2(1, 0), Point2(5, 5)), Segment2(Point2(0, 9), Point2(1, 1)),
                               Segment2(Point2(1, 0), Point2(2, 2)), Segment2(Point2(0, 9), Point2(0, 0))};
    std::vector<Segment2*> p;
    for (auto& s : segs) p.push_back(&s);
    Func_compareSegment cmp;
    std::sort(p.begin(), p.end(), cmp);
    EXPECT_EQ(p[0], &segs[3]);
    EXPECT_EQ(p[1], &segs[1]);
    EXPECT_EQ(p[2], &segs[2]);
    EXPECT_EQ(p[3], &segs[0]);
    EXPECT_FALSE(cmp(&segs[0], &segs[0]));
}

TEST(Segment2, StreamFormat) {
    Point2 a(1, 2), b(3.5, -4);
    a.setCustomIndex(7);
    const Segment2 s(a, b);
    const std::string out = str(s);
    EXPECT_EQ(out.rfind("Segment2 (" + addr(&s) + "): ", 0), 0u) << out;
    EXPECT_EQ(maskAddresses(out), "Segment2 (ADDR): Point2 (ADDR,7): 1, 2,Point2 (ADDR,-1): 3.5, -4");
}

// ---- Edge2 ---------------------------------------------------------------------------------------------

TEST(Edge2, SourceTargetAndSquaredLength) {
    Point2 p0(10, 10), p1(0, 0), p2(3, 4);
    Triangle2 t;
    t.setVertexPointer(0, &p0);
    t.setVertexPointer(1, &p1);
    t.setVertexPointer(2, &p2);
    const Edge2 e(&t, 0);
    EXPECT_EQ(e.getTriangle(), &t);
    EXPECT_EQ(e.getIndex(), 0);
    EXPECT_EQ(e.getSrc(), &p1);
    EXPECT_EQ(e.getTrg(), &p2);
    EXPECT_EQ(e.getLength2D(), 25.0);  // squared on purpose
    Point2 *s = nullptr, *d = nullptr;
    Edge2(&t, 2).getPoints(s, d);
    EXPECT_EQ(s, &p0);
    EXPECT_EQ(d, &p1);
    EXPECT_EQ(Edge2(&t, 1).getSrc(), &p2);
    EXPECT_EQ(Edge2(&t, 1).getTrg(), &p0);
    EXPECT_EQ(Edge2().getTriangle(), nullptr);
}

TEST(Edge2, NeighbourAcrossAndOrder) {
    Point2 a(0, 0), b(1, 0), c(0, 1), d(1, 1);
    Triangle2 t[2];
    t[0].setVertexPointer(0, &a); t[0].setVertexPointer(1, &b); t[0].setVertexPointer(2, &c);
    t[1].setVertexPointer(0, &d); t[1].setVertexPointer(1, &c); t[1].setVertexPointer(2, &b);
    t[0].setOppTriangle(0, &t[1]);
    t[1].setOppTriangle(0, &t[0]);
    Triangle2 *t0 = nullptr, *t1 = nullptr;
    int i0 = -5, i1 = -5;
    Edge2(&t[0], 0).getTriangles(t0, t1, i0, i1);
    EXPECT_EQ(t0, &t[0]); EXPECT_EQ(i0, 0);
    EXPECT_EQ(t1, &t[1]); EXPECT_EQ(i1, 0);
    Edge2(&t[0], 1).getTriangles(t0, t1, i0, i1);
    EXPECT_EQ(t1, nullptr);
    EXPECT_EQ(i1, -1);
    EXPECT_TRUE(Edge2(&t[0], 2) < Edge2(&t[1], 0));
    EXPECT_TRUE(Edge2(&t[0], 0) < Edge2(&t[0], 1));
    EXPECT_FALSE(Edge2(&t[0], 1) < Edge2(&t[0], 1));
    EXPECT_TRUE(Edge2(&t[0], 1) == Edge2(&t[0], 1));
    EXPECT_TRUE(Edge2(&t[0], 1) != Edge2(&t[0], 2));
    EXPECT_TRUE(Edge2(&t[0], 1) != Edge2(&t[1], 1));
}

// ---- Circle2 and VertexPair2 -------------------------------------------------------------------------------

TEST(Circle2, StoresTheSquaredRadius) {
    const Circle2 c(Point2(1, 2), 9.0), d(-1, -2, 2.25);
    EXPECT_EQ(c.getCenter(), Point2(1, 2));
    EXPECT_EQ(c.getSqRadius(), 9.0);
    EXPECT_EQ(c.getRadius(), 3.0);
    EXPECT_EQ(d.getCenter(), Point2(-1, -2));
    EXPECT_EQ(d.getRadius(), 1.5);
    Point2 centre(0.5, 4);
    centre.setCustomIndex(3);
    const Circle2 e(centre, 16.0);
    EXPECT_EQ(e.getCenter().getCustomIndex(), 3);
    EXPECT_EQ(maskAddresses(str(c)), "Circle2:Point2 (ADDR,-1): 1, 2, r=3");
    EXPECT_EQ(maskAddresses(str(e)), "Circle2:Point2 (ADDR,3): 0.5, 4, r=4");
}

TEST(VertexPair2, AddressOrderMakesItUndirected) {
    Point2 pts[3] = {Point2(0, 0), Point2(3, 4), Point2(1, 1)};
    const VertexPair2 a(&pts[1], &pts[0]), b(&pts[0], &pts[1]), c(&pts[2], &pts[0]);
    EXPECT_TRUE(a == b);
    EXPECT_EQ(a.getP0(), b.getP0());
    EXPECT_EQ(a.getP0(), &pts[0]);
    EXPECT_EQ(a.getP1(), &pts[1]);
    EXPECT_EQ(a.getSqLen2D(), 25.0);
    EXPECT_FALSE(a == c);
    EXPECT_TRUE(a < c);  // same first pointer, second by address
    EXPECT_FALSE(c < a);
    EXPECT_FALSE(a < b);
    const VertexPair2 d(&pts[2], &pts[1]);
    EXPECT_TRUE(a < d);
}
