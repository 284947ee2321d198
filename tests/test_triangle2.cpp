// Triangle2: topology accessors, measures, text form, and the iterator around a vertex.
#include <gtest/gtest.h>
#include <cmath>
#include <sstream>
#include <vector>
#include "DelaunayOracle.h"
#include "Lumo_2D.h"
#include "MessageText.h"

using namespace ORBI_LUMO2D;

namespace {
// A free-standing triangle over three points (no triangulation).
struct Tri {
    Point2 a, b, c;
    Triangle2 t;
    Tri(Point2 a_, Point2 b_, Point2 c_) : a(a_), b(b_), c(c_) { t.setProperties(&a, &b, &c); }
};
} // namespace

TEST(Triangle2, LinksIntraTriangleIndicesAndCorners) {
    EXPECT_EQ(sizeof(Triangle2), 6 * sizeof(void*));  // links only, no geometry
    Tri x(Point2(0, 0), Point2(4, 0), Point2(0, 4));
    Triangle2 n0, n2;
    x.t.setOppTriangle(0, &n0);
    x.t.setProperties(&x.a, &x.b, &x.c);  // clears the neighbours, links the corners back
    EXPECT_TRUE(x.t.getOppositeTriangle(0) == nullptr && x.c.getIncidentTriangle() == &x.t);
    x.t.setOppTriangle(0, &n0);
    x.t.setOppTriangle(2, &n2);
    EXPECT_EQ(n0.getOppositeTriangle(0), nullptr);  // no back link is made
    Point2 stranger(5, 5);
    const Point2* aCorner[] = {&x.a, &x.b, &x.c, &stranger};
    for (int k = 0; k < 4; ++k) EXPECT_EQ(x.t.getIntraTriangleIndex(aCorner[k]), k % 3) << k;
    // An edge is opposite a corner, in either order.
    const int aByEdge[] = {x.t.getIntraTriangleIndex(&x.b, &x.c), x.t.getIntraTriangleIndex(&x.a, &x.c),
                           x.t.getIntraTriangleIndex(&x.b, &x.a), x.t.getIntraTriangleIndex(&n2),
                           x.t.getIntraTriangleIndex(&n0)};
    EXPECT_EQ(std::vector<int>(aByEdge, aByEdge + 5), (std::vector<int>{0, 1, 2, 2, 0}));
    const std::string out = lumo_test::stdoutOf([&] { EXPECT_EQ(x.t.getIntraTriangleIndex(&x.a, &stranger), -1); });
    std::ostringstream expected;
    expected << "BUG: Triangle2::getIntraTriangleIndex failed for\n" << x.a << "\n" << stranger << "\n" << x.t << "\n";
    EXPECT_EQ(out, expected.str());
    // By pointer (a twin of a corner is none) and by value; the closed edge (edge index, point, expected).
    const Point2 twin(x.b);
    EXPECT_TRUE(x.t.hasVertex(&x.b) && !x.t.hasVertex(&twin) && x.t.hasVertex(twin) && !x.t.hasVertex(Point2(4, 1e-300)));
    const struct { int i; Point2 q; bool b; } aOnEdge[] = {
        {0, Point2(2, 2), true},   {0, Point2(4, 0), true},  {0, Point2(0, 4), true},
        {0, Point2(5, -1), false}, {0, Point2(1, 1), false}, {2, Point2(3, 0), true}};
    for (const auto& c : aOnEdge) EXPECT_EQ(x.t.hasOnEdge(c.i, c.q), c.b) << c.i << " " << c.q;
}

// (A non-finite corner's area is an assertion: a row of the misuse table.)
TEST(Triangle2, MeasuresTiesAndTheCircumcentre) {
    Tri x(Point2(0, 0), Point2(4, 0), Point2(0, 3));
    EXPECT_EQ(std::vector<double>({x.t.getArea2D(), Tri(Point2(0, 0), Point2(1, 1), Point2(2, 2)).t.getArea2D(),
                                   x.t.getSquaredEdgeLength2D(0), x.t.getSquaredEdgeLength(1), x.t.getSquaredEdgeLength2D(2),
                                   x.t.getMaxSqEdgeLen2D(), x.t.getBarycenter().x()}),
              std::vector<double>({6, 0, 25, 9, 16, 25, 4.0 / 3.0}));
    EXPECT_DOUBLE_EQ(x.t.getInteriorAngle2D(0), std::acos(0.0) * 57.295779513);  // the truncated factor
    EXPECT_NEAR(x.t.getInteriorAngle2D(0) + x.t.getInteriorAngle2D(1) + x.t.getInteriorAngle2D(2), 180.0, 1e-6);
    // (corners, max index, min index): equal lengths, the lowest index wins both ways.
    const struct { Point2 a, b, c; int mx, mn; } aCases[] = {
        {Point2(0, 0), Point2(4, 0), Point2(0, 3), 0, 1},
        {Point2(0, 0), Point2(2, 0), Point2(1, 5), 0, 2},
        {Point2(0, 0), Point2(2, 0), Point2(1, 1), 2, 0}};
    for (const auto& c : aCases) {
        Tri t(c.a, c.b, c.c);
        EXPECT_EQ(std::make_pair(t.t.getMaxIndex(), t.t.getMinIndex()), std::make_pair(c.mx, c.mn)) << c.c;
    }
    // (corners, circumcentre); the second one obtuse and far out: the centre lies beyond the longest edge.
    const struct { Point2 a, b, c, m; } aDual[] = {
        {Point2(0, 0), Point2(4, 0), Point2(0, 4), Point2(2, 2)},
        {Point2(1e6, 1e6), Point2(1e6 + 10, 1e6), Point2(1e6 + 5, 1e6 + 1), Point2(1e6 + 5, 1e6 - 12.0)}};
    for (const auto& c : aDual) {
        Tri t(c.a, c.b, c.c);
        const std::pair<Point2, bool> cc = t.t.getDual();
        EXPECT_TRUE(cc.second && std::fabs(cc.first.x() - c.m.x()) < 1e-6 && std::fabs(cc.first.y() - c.m.y()) < 1e-6) << cc.first;
    }
}

TEST(Triangle2, TextForm) {
    Tri x(Point2(0, 0), Point2(4, 0), Point2(0, 3));
    Triangle2 n;
    x.t.setOppTriangle(0, &n);
    std::ostringstream os, expected;
    os << x.t;
    expected << "Triangle(" << static_cast<const void*>(&x.t) << "): area2D=6, CCW\n"
             << "0: " << x.a << "\t oppTriangle: " << static_cast<const void*>(&n) << "\n"
             << "1: " << x.b << "\t oppTriangle: 0\n"
             << "2: " << x.c << "\t oppTriangle: 0\n";
    EXPECT_EQ(os.str(), expected.str());
    const struct { Point2 a, b, c; const char* text; } aCases[] = {
        {Point2(0, 0), Point2(0, 3), Point2(4, 0), "ATTENTION, CLOCKWISE CORNERS!"},
        {Point2(0, 0), Point2(1, 1), Point2(2, 2), "ATTENTION, COLLINEAR CORNERS"}};
    for (const auto& c : aCases) {
        Tri t(c.a, c.b, c.c);
        std::ostringstream o;
        o << t.t;
        EXPECT_NE(o.str().find(c.text), std::string::npos) << o.str();
    }
}

// (Forward around every vertex: getIncidentTriangles against brute force in test_queries.cpp.)
// Backward to the hull, across the null that stands for the outside, and the previews.
TEST(TriangleAroundVertexIterator, WrapsOnceThroughNullAtTheHull) {
    Lumo_2D dt;
    std::vector<Point2> v;
    std::vector<Point2*> h;
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j) v.emplace_back(i, j + 0.01 * i);  // no four cocircular
    dt.insert(v, h);
    EXPECT_EQ(lumo_test::meshFault(dt), "");
    Point2* p = h[3];  // middle of the bottom hull side
    std::vector<Triangle2*> vFan;
    dt.getIncidentTriangles(p, vFan);
    // Find the first triangle in counterclockwise order: its clockwise neighbour is null.
    TriangleAroundVertexIterator it(p);
    while (it.previewPrevTriangle() != nullptr && *it != nullptr) --it;
    Triangle2* pFirst = *it;
    ASSERT_NE(pFirst, nullptr);
    for (size_t i = 0; i < vFan.size(); ++i, ++it) ASSERT_TRUE(*it != nullptr && (*it)->hasVertex(p));
    EXPECT_EQ(*it, nullptr);
    // Standing on null, the preview looks across to the far end of the fan.
    EXPECT_EQ(it.previewNextTriangle(), pFirst);
    ++it;
    EXPECT_EQ(*it, pFirst);
}
