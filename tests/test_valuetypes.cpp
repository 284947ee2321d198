// Value types: points, vectors, boxes, segments, edges, circles, vertex pairs, their exact
// comparisons, stream formats and messages.
#include <gtest/gtest.h>
#include <algorithm>
#include <cfloat>
#include <cmath>
#include <limits>
#include <random>
#include <sstream>
#include <tuple>
#include <vector>
#include "ExactOracle.h"
#include "GeomTest.h"
#include "MessageText.h"
#include "Lumo_2D.h"

using namespace ORBI_LUMO2D;

namespace {
template <class T> std::string str(const T& v) {
    std::ostringstream os;
    os << v;
    return os.str();
}
std::pair<double, double> xy(const Vector2& v) { return {v.x(), v.y()}; }
std::pair<double, double> xy(double x, double y) { return {x, y}; }
std::pair<Point2, Point2> corners(const Bbox2& b) { return {b.getMinPoint(), b.getMaxPoint()}; }
std::pair<Point2, Point2> corners(Point2 lo, Point2 hi) { return {lo, hi}; }
Bbox2 boxOf(Point2 lo, Point2 hi, GeomTest* pGeomTest = nullptr) {
    Bbox2 b(pGeomTest);
    b.add(lo);
    b.add(hi);
    return b;
}
using lumo_test::warning;
// Strictly between on every axis that has a double between the ends; never equal to an end.
void expectStrictlyBetween(const Point2& a, const Point2& b) {
    const Point2 m = centerWithShift(a, b);
    ASSERT_TRUE(std::isfinite(m.x()) && std::isfinite(m.y()) && m != a && m != b)
        << std::hexfloat << a.x() << " " << a.y() << " " << b.x() << " " << b.y();
    for (const auto& e : {std::make_tuple(a.x(), b.x(), m.x()), std::make_tuple(a.y(), b.y(), m.y())}) {
        const double lo = std::min(std::get<0>(e), std::get<1>(e)), hi = std::max(std::get<0>(e), std::get<1>(e)), mid = std::get<2>(e);
        ASSERT_TRUE(std::nextafter(lo, hi) < hi ? lo < mid && mid < hi : lo <= mid && mid <= hi);
    }
}
} // namespace

TEST(Point2, DefaultsDetachedCopiesAndExactLexicographicComparisons) {
    EXPECT_EQ(Point2(), Point2(-1.7976931348623157e308, -1.7976931348623157e308));
    EXPECT_TRUE(Point2().getCustomIndex() == -1 && Point2().getIncidentTriangle() == nullptr);
    EXPECT_EQ(std::make_pair(Point2(1.5, -2.5).getMaxAbs(), Point2(-7, 3).getMaxAbs()), std::make_pair(2.5, 7.0));
    // A copy (constructed or assigned) detaches from the triangulation and keeps the index.
    Triangle2 t;
    Point2 v(1, 2), assigned;
    v.setCustomIndex(42);
    v.setIncidentTriangle(&t);
    assigned = v;
    for (const Point2& c : {Point2(v), assigned}) EXPECT_TRUE(c.getIncidentTriangle() == nullptr && c.getCustomIndex() == 42 && c == v);
    const double up = std::nextafter(1.0, 2.0), nan = std::numeric_limits<double>::quiet_NaN();
    // (a, b, a < b, a > b, a == b); no epsilon, the custom index does not count, NaN equals nothing.
    const struct { Point2 a, b; bool lt, gt, eq; } aCases[] = {
        {Point2(1, 2), Point2(1, 3), true, false, false},  {Point2(0, 9), Point2(1, 0), true, false, false},
        {Point2(1, 3), Point2(1, 2), false, true, false},  {Point2(1, 0), Point2(0, 9), false, true, false},
        {Point2(1, 2), v, false, false, true},             {Point2(1, 2), Point2(up, 2), true, false, false},
        {Point2(1, 2), Point2(up, 0), true, false, false}, {Point2(nan, 0), Point2(nan, 0), false, false, false},
        {Point2(0, nan), Point2(0, nan), false, false, false}};
    for (const auto& c : aCases) {
        EXPECT_EQ(std::make_tuple(c.a < c.b, c.a > c.b, c.a == c.b, c.a != c.b), std::make_tuple(c.lt, c.gt, c.eq, !c.eq))
            << c.a << " " << c.b;
    }
}

TEST(ValueTypes, StreamFormats) {
    Point2 v(1, 2);
    v.setCustomIndex(7);
    const Segment2 s(v, Point2(3.5, -4));
    EXPECT_EQ(str(v), "Point2 (" + str(static_cast<const void*>(&v)) + ",7): 1, 2");
    EXPECT_EQ(str(s).rfind("Segment2 (" + str(static_cast<const void*>(&s)) + "): ", 0), 0u) << str(s);
    const std::pair<std::string, const char*> aCases[] = {
        {str(Point2(0.1, 1e20)), "Point2 (ADDR,-1): 0.1, 1e+20"},
        {str(Vector2(1.5, -2)), "Vector2:1.5, -2"},
        {str(s), "Segment2 (ADDR): Point2 (ADDR,7): 1, 2,Point2 (ADDR,-1): 3.5, -4"},
        {str(Circle2(Point2(1, 2), 9.0)), "Circle2:Point2 (ADDR,-1): 1, 2, r=3"},
        {str(Circle2(v, 16.0)), "Circle2:Point2 (ADDR,7): 1, 2, r=4"},
        {str(Circle2(-1, -2, 2.25)), "Circle2:Point2 (ADDR,-1): -1, -2, r=1.5"}};
    for (const auto& k : aCases) EXPECT_EQ(lumo_test::normalized(k.first), k.second);
}

// Exact midpoints where they exist, neighbouring doubles, huge magnitudes; then pairs across a
// binade boundary, across zero, with one axis with room, and random pairs at every exponent, a
// few ulps apart or not: strictly between.
TEST(CenterWithShift, ExactMidpointsOrStrictlyBetweenAtAllScales) {
    const double one = 1.0, next1 = std::nextafter(one, 2.0), next2 = std::nextafter(next1, 2.0), tiny = std::numeric_limits<double>::denorm_min();
    const double five1 = std::nextafter(5.0, 6.0);
    const Point2 between;  // the row's result need only lie strictly between the ends
    // (a, b, the expected result)
    const struct { Point2 a, b, m; } aCases[] = {
        {Point2(0, 0), Point2(2, 4), Point2(1, 2)}, {Point2(-3, 1), Point2(5, 1), Point2(1, 1)},
        {Point2(0.1, 0.2), Point2(0.3, 0.7), Point2(0.5 * (0.1 + 0.3), 0.5 * (0.2 + 0.7))},
        {Point2(4, 4), Point2(4, 4), Point2(4, 4)},
        {Point2(one, 0), Point2(next2, 0), Point2(next1, 0)},          // two ulps apart: the double between
        {Point2(one, 5), Point2(next1, five1), Point2(one, five1)},    // both neighbours: the mixed corner
        {Point2(-1e308, 1e308), Point2(1e308, -1e308), Point2(0, 0)},  // no overflow
        {Point2(1.7e308, 1.6e308), Point2(1.5e308, 1.7e308), Point2(0.5 * 1.7e308 + 0.5 * 1.5e308, 0.5 * 1.6e308 + 0.5 * 1.7e308)},
        {Point2(one, 0), Point2(next1, 10), between},
        {Point2(std::nextafter(2.0, 0.0), 3), Point2(std::nextafter(2.0, 4.0), 4), between},
        {Point2(-tiny, 0), Point2(tiny, 1), between}, {Point2(tiny, 0), Point2(3 * tiny, 1), between},
        {Point2(-DBL_MAX, -DBL_MAX), Point2(DBL_MAX, DBL_MAX), between},
        {Point2(DBL_MAX, 1e308), Point2(std::nextafter(std::nextafter(DBL_MAX, 0.0), 0.0), 1.7e308), between}};
    for (const auto& c : aCases) {
        const Point2 m = centerWithShift(c.a, c.b);
        if (c.m == between) expectStrictlyBetween(c.a, c.b);
        else EXPECT_TRUE(m == c.m && m.getCustomIndex() == -1) << c.a << " " << c.b;
    }
    // Ends differing on one axis only, as neighbours: no point lies strictly between.
    const Point2 e0(one, 3), e1(next1, 3), r = centerWithShift(e0, e1);
    EXPECT_TRUE(r == e0 || r == e1);
    std::mt19937_64 gen(21);
    std::uniform_real_distribution<double> uni(-1, 1);
    std::uniform_int_distribution<int> expo(-1070, 1020), ulps(1, 3);
    for (int i = 0; i < 20000 && !HasFatalFailure(); ++i) {
        const int e = expo(gen);
        const double ax = std::ldexp(uni(gen), e), ay = std::ldexp(uni(gen), e);
        const double bx = i % 2 ? lumo_oracle::ulpsAway(ax, ulps(gen)) : std::ldexp(uni(gen), expo(gen));
        const double by = i % 2 ? lumo_oracle::ulpsAway(ay, -ulps(gen) - 1) : std::ldexp(uni(gen), expo(gen));
        expectStrictlyBetween(Point2(ax, ay), Point2(bx, by));
    }
}

TEST(Vector2, ArithmeticNormalizeAndTheLeftNormal) {
    const Vector2 v(3, 4), w(-1, 2);
    EXPECT_TRUE(Vector2().isDegenerate() && !v.isDegenerate() && !Vector2(0, 1e-300).isDegenerate());
    EXPECT_EQ(std::vector<double>({v.length(), v.sqLength(), v * w}), std::vector<double>({5, 25, 5}));
    const Vector2 results[] = {Vector2(), v * 2.0, 2.0 * v, v / 2.0, v + w, v - w, -v};
    const double expected[][2] = {{0, 0}, {6, 8}, {6, 8}, {1.5, 2}, {2, 6}, {4, 2}, {-3, -4}};
    for (int k = 0; k < 7; ++k) EXPECT_EQ(xy(results[k]), xy(expected[k][0], expected[k][1])) << k;
    // normalize: one warning for the null vector, silence otherwise
    EXPECT_EQ(lumo_test::stdoutOf([] { EXPECT_EQ(xy(normalize(Vector2(0, 0))), xy(0, 0)); }),
              "warning: normalize(const Vector2& other), Null length vector!\n");
    EXPECT_EQ(lumo_test::stdoutOf([] { EXPECT_EQ(xy(normalize(Vector2(3, -4))), xy(0.6, -0.8)); }), "");
    // (vector, its left unit normal); the null vector silently gives itself
    const double aCases[5][4] = {{0, 0, 0, 0}, {2, 0, 0, 1}, {0, -3, 1, 0}, {-5, 0, 0, -1}, {0, 0.5, -1, 0}};
    for (const auto& c : aCases)
        EXPECT_EQ(lumo_test::stdoutOf([&] { EXPECT_EQ(xy(Vector2(c[0], c[1]).orthogonalVector()), xy(c[2], c[3])); }), "");
    std::mt19937_64 gen(22);
    std::uniform_real_distribution<double> uni(-1, 1);
    std::uniform_int_distribution<int> expo(-300, 300);
    for (int i = 0; i < 5000; ++i) {
        const Vector2 a(std::ldexp(uni(gen), expo(gen)), std::ldexp(uni(gen), expo(gen))), o = a.orthogonalVector();
        EXPECT_NEAR(o.length(), 1.0, 1e-15);
        // this vector followed by the result turns counterclockwise, decided exactly
        ASSERT_EQ(lumo_oracle::orient(0, 0, a.x(), a.y(), o.x(), o.y()), 1);
        ASSERT_LE(std::fabs(normalize(a) * o), 1e-15);
    }
}

TEST(Bbox2, AddPointsAndRanges) {
    Bbox2 box;
    EXPECT_FALSE(box.isValid() || box.isInBox(Point2(0, 0)));
    EXPECT_EQ(corners(box), corners(Point2(DBL_MAX, DBL_MAX), Point2(-DBL_MAX, -DBL_MAX)));
    // (point, whether the box changed)
    const std::pair<Point2, bool> aAdds[] = {{Point2(2, 3), true}, {Point2(2, 3), false}, {Point2(-1, 3), true},
                                             {Point2(0, 3), false}, {Point2(0, 10), true}};
    for (const auto& c : aAdds) EXPECT_EQ(box.add(c.first), c.second) << c.first;
    double a, b, c, d;
    box.getBounds(a, b, c, d);
    EXPECT_EQ(std::vector<double>({a, b, c, d, box.getRangeX(), box.getRangeY(), box.getMaxRange(), box.getMinCoord(),
                                   box.getMaxCoord(), double(box.isValid())}), std::vector<double>({-1, 3, 2, 10, 3, 7, 7, -1, 10, 1}));
    // The first point only fills the bounds still at their initial value.
    Bbox2 first;
    first.setMinX(-7);
    EXPECT_TRUE(first.add(Point2(1, 2)));
    EXPECT_EQ(corners(first), corners(Point2(-7, 2), Point2(1, 2)));
    // Range forms: values, pointers, flat coordinates, construction. An empty range still makes
    // the box valid; only a flat count of 0 returns at once.
    const std::vector<Point2> pts{Point2(1, 5), Point2(-2, 0), Point2(4, 3)};
    const std::vector<const Point2*> ptrs{&pts[0], &pts[1], &pts[2]};
    const double flatXY[] = {1, 5, -2, 0, 4, 3};
    Bbox2 values, pointers, flat, empty;
    EXPECT_FALSE(empty.add(pts.end(), pts.end()) || flat.add(0, flatXY));
    EXPECT_TRUE(empty.isValid() && empty.get_minX() == DBL_MAX && !flat.isValid());
    // (braced lists run in order)
    EXPECT_EQ(std::vector<bool>({values.add(pts.begin(), pts.end()), values.add(pts.begin(), pts.end()), pointers.add(ptrs.begin(), ptrs.end()),
                                 flat.add(3, flatXY), flat.add(1, flatXY)}), std::vector<bool>({true, false, true, true, false}));
    for (const Bbox2& r : {values, pointers, flat, Bbox2(pts.begin(), pts.end())})
        EXPECT_TRUE(r.isValid() && corners(r) == corners(Point2(-2, 0), Point2(4, 5)));
    // On an inverted box (min > max, only reachable through the setters) the single add's else
    // skips the max, the range add moves both ends.
    Bbox2 single, range;
    for (Bbox2* p : {&single, &range}) p->add(Point2(0, 0)), p->setMinX(10), p->setMaxX(0), p->setMinY(10), p->setMaxY(0);
    EXPECT_TRUE(single.add(Point2(5, 5)) && range.add(pts.begin(), pts.begin() + 1));
    EXPECT_EQ(corners(single), corners(Point2(5, 5), Point2(0, 0)));
    EXPECT_EQ(corners(range), corners(Point2(1, 5), Point2(1, 5)));
}

TEST(Bbox2, PlusMergesInPlaceAndInvalidBoxesWarn) {
    Bbox2 a, b = boxOf(Point2(1, 2), Point2(3, 4)), fresh;
    // valid + fresh: warning, unchanged; fresh a + valid b: a takes b's bounds, its valid flag stays as it was
    EXPECT_EQ(lumo_test::stdoutOf([&] { EXPECT_EQ(corners(b + fresh), corners(Point2(1, 2), Point2(3, 4))); }),
              warning("Box2::operator+()", "trying to add an invalid Bbox2"));
    EXPECT_EQ(lumo_test::stdoutOf([&] { EXPECT_EQ(corners(a + b), corners(Point2(1, 2), Point2(3, 4))); }), "");
    EXPECT_TRUE(corners(a) == corners(b) && !a.isValid());
    // both valid: the union, in place; the other box is untouched
    const Bbox2 c = boxOf(Point2(-1, 3), Point2(2, 10));
    EXPECT_EQ(corners(b + c), corners(Point2(-1, 2), Point2(3, 10)));
    EXPECT_EQ(std::make_pair(corners(b), corners(c)), std::make_pair(corners(Point2(-1, 2), Point2(3, 10)), corners(Point2(-1, 3), Point2(2, 10))));
    // Invalid boxes: doIntersect says false, computeCenter the midpoint of the stored bounds.
    Bbox2 set;
    set.setMinX(2), set.setMaxX(4), set.setMinY(6), set.setMaxY(8);
    const std::string intersect = warning("Bbox2::doIntersect()", "bbox invalid"),
                      center = warning("Bbox2::computeCenter()", "Bbox2 is invalid");
    EXPECT_EQ(lumo_test::stdoutOf([&] {
                  EXPECT_FALSE(b.doIntersect(fresh) || fresh.doIntersect(b));
                  EXPECT_EQ(fresh.computeCenter(), Point2(0, 0));
                  EXPECT_EQ(set.computeCenter(), Point2(3, 7));
              }), intersect + intersect + center + center);
}

// Growing sets the linked predicates' bound to the largest absolute coordinate (a minimum, for
// `neg`); adding never touches it; without a link nothing else happens.
TEST(Bbox2, GrowingSetsTheLinkedBoundAddingDoesNot) {
    GeomTest g, h;
    Bbox2 box = boxOf(Point2(0, 0), Point2(0, 0), &g), neg = boxOf(Point2(-100, -3), Point2(-90, -1), &h);
    const std::vector<Point2> pts{Point2(10, 4)};
    const double xy[] = {5, 2};
    box.add(pts.begin(), pts.end());
    box.add(1, xy);
    EXPECT_EQ(std::make_pair(g.getCoordinateBound(), g.getPositiveErrorBound()), std::make_pair(0.0, 0.0));
    box.enlargeRanges(3.0);  // keeps the centre
    EXPECT_EQ(corners(box), corners(Point2(-10, -4), Point2(20, 8)));
    EXPECT_EQ(g.getCoordinateBound(), 20.0);
    box.doubleTheBox();
    EXPECT_EQ(corners(box), corners(Point2(-25, -10), Point2(35, 14)));
    EXPECT_EQ(g.getCoordinateBound(), 35.0);
    neg.enlargeRanges(1.0);
    EXPECT_EQ(h.getCoordinateBound(), 100.0);
    Bbox2 plain = boxOf(Point2(-1, -1), Point2(1, 1));
    plain.doubleTheBox();
    EXPECT_EQ(corners(plain), corners(Point2(-2, -2), Point2(2, 2)));
    // inflateIfDegenerate moves only the upper end, and only of a valid box
    Bbox2 fresh, one = boxOf(Point2(1, 2), Point2(1, 2)), flat = boxOf(Point2(0, 2), Point2(4, 2));
    fresh.inflateIfDegenerate(1.0), one.inflateIfDegenerate(0.5), flat.inflateIfDegenerate(1.0);
    EXPECT_EQ(fresh.get_maxX(), -DBL_MAX);
    EXPECT_EQ(corners(one), corners(Point2(1, 2), Point2(1.5, 2.5)));
    EXPECT_EQ(corners(flat), corners(Point2(0, 2), Point2(4, 3)));
}

TEST(Bbox2, CenterIntersectInclusionAndCorners) {
    const Bbox2 box = boxOf(Point2(0, 0), Point2(4, 2));
    EXPECT_TRUE(box.computeCenter() == Point2(2, 1) && box.computeCenter().getCustomIndex() == -1);
    const std::pair<Point2, bool> aIn[] = {{Point2(0, 0), true}, {Point2(4, 2), true}, {Point2(4, 1), true},
                                           {Point2(std::nextafter(4.0, 5.0), 1), false}, {Point2(2, -1e-300), false}};
    for (const auto& q : aIn) EXPECT_EQ(box.isInBox(q.first), q.second) << q.first;
    // (other box, whether it meets box), both ways
    const struct { Point2 lo, hi; bool b; } aOther[] = {
        {Point2(4, 2), Point2(5, 5), true}, {Point2(4.5, 0), Point2(5, 1), false}, {Point2(1, 1), Point2(1, 1), true}};
    for (const auto& o : aOther) {
        const Bbox2 other = boxOf(o.lo, o.hi);
        EXPECT_TRUE(box.doIntersect(other) == o.b && other.doIntersect(box) == o.b) << o.lo;
    }
    // corners counterclockwise from the lower left, appended
    const Bbox2 b2 = boxOf(Point2(1, 2), Point2(3, 5));
    std::vector<Point2> v{Point2(9, 9)}, o;
    b2.getCorners(v);
    b2.getOffsetCorners(0.5, o);
    EXPECT_EQ(v, (std::vector<Point2>{Point2(9, 9), Point2(1, 2), Point2(3, 2), Point2(3, 5), Point2(1, 5)}));
    EXPECT_EQ(o, (std::vector<Point2>{Point2(0.5, 1.5), Point2(3.5, 1.5), Point2(3.5, 5.5), Point2(0.5, 5.5)}));
}

TEST(Segment2, UndirectedEqualityAndOrder) {
    Point2 a(0, 0), b(3, 4);
    a.setCustomIndex(1);
    b.setCustomIndex(2);
    Segment2 s(a, b);
    EXPECT_TRUE(Segment2(a, b) == Segment2(b, a) && !(Segment2(a, b) != Segment2(b, a)));
    EXPECT_FALSE(Segment2(a, b) == Segment2(a, Point2(3, 5)));
    EXPECT_EQ(s.getSqLen2D(), 25.0);
    s.swapSrcTrg();
    EXPECT_EQ(std::make_pair(s.getSrc().getCustomIndex(), s.getTrg().getCustomIndex()), std::make_pair(2, 1));
    // compareSegment: lexicographic by source, then target
    std::vector<Segment2> segs{Segment2(Point2(1, 0), Point2(5, 5)), Segment2(Point2(0, 9), Point2(1, 1)),
                               Segment2(Point2(1, 0), Point2(2, 2)), Segment2(Point2(0, 9), Point2(0, 0))};
    std::vector<Segment2*> p{&segs[0], &segs[1], &segs[2], &segs[3]};
    Func_compareSegment cmp;
    std::sort(p.begin(), p.end(), cmp);
    EXPECT_EQ(p, (std::vector<Segment2*>{&segs[3], &segs[1], &segs[2], &segs[0]}));
    EXPECT_FALSE(cmp(&segs[0], &segs[0]));
}

TEST(Edge2, EndsNeighbourAcrossAndOrder) {
    Point2 a(0, 0), b(1, 0), c(0, 1), d(1, 1);
    Triangle2 t[2];
    t[0].setPropertiesAndOppT(&a, &b, &c, &t[1], nullptr, nullptr);
    t[1].setPropertiesAndOppT(&d, &c, &b, &t[0], nullptr, nullptr);
    // (index, source, target): the edge opposite a corner runs counterclockwise
    const struct { int i; Point2 *src, *trg; } aEnds[] = {{0, &b, &c}, {1, &c, &a}, {2, &a, &b}};
    for (const auto& e : aEnds) {
        Point2 *s = nullptr, *g = nullptr;
        const Edge2 edge(&t[0], e.i);
        edge.getPoints(s, g);
        EXPECT_EQ(std::make_tuple(s, g, edge.getSrc(), edge.getTrg()), std::make_tuple(e.src, e.trg, e.src, e.trg)) << e.i;
    }
    EXPECT_EQ(Edge2(&t[0], 0).getLength2D(), 2.0);  // squared on purpose
    Triangle2 *t0 = nullptr, *t1 = nullptr;
    int i0 = -5, i1 = -5;
    Edge2(&t[0], 0).getTriangles(t0, t1, i0, i1);
    EXPECT_EQ(std::make_tuple(t0, i0, t1, i1), std::make_tuple(&t[0], 0, &t[1], 0));
    Edge2(&t[0], 1).getTriangles(t0, t1, i0, i1);
    EXPECT_EQ(std::make_pair(t1, i1), std::make_pair(static_cast<Triangle2*>(nullptr), -1));
    // Order and equality by triangle address, then index.
    const Edge2 e01(&t[0], 1);
    EXPECT_TRUE(Edge2(&t[0], 2) < Edge2(&t[1], 0) && Edge2(&t[0], 0) < e01 && !(e01 < e01));
    EXPECT_TRUE(e01 == Edge2(&t[0], 1) && e01 != Edge2(&t[0], 2) && e01 != Edge2(&t[1], 1));
}

TEST(VertexPair2, AddressOrderMakesItUndirected) {
    Point2 pts[3] = {Point2(0, 0), Point2(3, 4), Point2(1, 1)};
    const VertexPair2 a(&pts[1], &pts[0]), b(&pts[0], &pts[1]), c(&pts[2], &pts[0]), d(&pts[2], &pts[1]);
    EXPECT_TRUE(a == b && !(a == c));
    EXPECT_EQ(std::make_pair(a.getP0(), a.getP1()), std::make_pair(&pts[0], &pts[1]));
    EXPECT_EQ(a.getSqLen2D(), 25.0);
    EXPECT_TRUE(a < c && !(c < a) && !(a < b) && a < d);  // same first pointer: second by address
}
