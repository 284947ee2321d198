// Triangle2: topology accessors, measures, text form, and the iterator around a vertex.
#include <gtest/gtest.h>
#include <cmath>
#include <sstream>
#include "Lumo_2D.h"

#include "ScopedTempDir.h"
using namespace ORBI_LUMO2D;

namespace {
// A free-standing triangle over three points (no triangulation).
struct Tri {
    Point2 a, b, c;
    Triangle2 t;
    Tri(Point2 a_, Point2 b_, Point2 c_) : a(a_), b(b_), c(c_) { t.setProperties(&a, &b, &c); }
};
} // namespace

// ---- topology -----------------------------------------------------------------------------------

TEST(Triangle2, HoldsSixPointersAndNothingElse) {
    EXPECT_EQ(sizeof(Triangle2), 6 * sizeof(void*));
    Triangle2 t;
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(t.getCorner(i), nullptr);
        EXPECT_EQ(t.getOppositeTriangle(i), nullptr);
    }
}

TEST(Triangle2, SetPropertiesLinksTheCornersAndClearsTheNeighbours) {
    Tri x(Point2(0, 0), Point2(1, 0), Point2(0, 1));
    Triangle2 other;
    x.t.setOppTriangle(1, &other);
    EXPECT_EQ(x.t.getOppositeTriangle(1), &other);
    EXPECT_EQ(other.getOppositeTriangle(0), nullptr);  // no back link is made
    x.t.setProperties(&x.a, &x.b, &x.c);
    EXPECT_EQ(x.t.getOppositeTriangle(1), nullptr);
    EXPECT_EQ(x.a.getIncidentTriangle(), &x.t);
    EXPECT_EQ(x.c.getIncidentTriangle(), &x.t);
    Triangle2 copy(x.t);
    EXPECT_EQ(copy.getCorner(2), &x.c);
    x.t.clearProperties();
    EXPECT_EQ(x.t.getCorner(0), nullptr);
}

TEST(Triangle2, IntraTriangleIndices) {
    Tri x(Point2(0, 0), Point2(1, 0), Point2(0, 1));
    Point2 stranger(5, 5);
    EXPECT_EQ(x.t.getIntraTriangleIndex(&x.a), 0);
    EXPECT_EQ(x.t.getIntraTriangleIndex(&x.b), 1);
    EXPECT_EQ(x.t.getIntraTriangleIndex(&x.c), 2);
    EXPECT_EQ(x.t.getIntraTriangleIndex(&stranger), 0);
    // Edge (b, c) is opposite corner 0, in either order.
    EXPECT_EQ(x.t.getIntraTriangleIndex(&x.b, &x.c), 0);
    EXPECT_EQ(x.t.getIntraTriangleIndex(&x.a, &x.c), 1);
    EXPECT_EQ(x.t.getIntraTriangleIndex(&x.b, &x.a), 2);
    Triangle2 n0, n2;
    x.t.setOppTriangle(0, &n0);
    x.t.setOppTriangle(2, &n2);
    EXPECT_EQ(x.t.getIntraTriangleIndex(&n2), 2);
    EXPECT_EQ(x.t.getIntraTriangleIndex(&n0), 0);
}

TEST(Triangle2, TwoVertexIndexOfANonEdgeReportsABug) {
    Tri x(Point2(0, 0), Point2(1, 0), Point2(0, 1));
    Point2 stranger(5, 5);
    testing::internal::CaptureStdout();
    EXPECT_EQ(x.t.getIntraTriangleIndex(&x.a, &stranger), -1);
    const std::string out = testing::internal::GetCapturedStdout();
    EXPECT_EQ(out.rfind("BUG: Triangle2::getIntraTriangleIndex failed for\n", 0), 0u) << out;
    EXPECT_NE(out.find("Triangle("), std::string::npos);
}

TEST(Triangle2, HasVertexByPointerAndByValue) {
    Tri x(Point2(0, 0), Point2(1, 0), Point2(0, 1));
    Point2 same(1, 0);
    EXPECT_TRUE(x.t.hasVertex(&x.b));
    EXPECT_FALSE(x.t.hasVertex(&same));
    EXPECT_TRUE(x.t.hasVertex(same));
    EXPECT_FALSE(x.t.hasVertex(Point2(1, 1e-300)));
}

TEST(Triangle2, HasOnEdgeIsTheClosedEdge) {
    Tri x(Point2(0, 0), Point2(4, 0), Point2(0, 4));
    // Edge opposite corner 0 runs from (4,0) to (0,4).
    EXPECT_TRUE(x.t.hasOnEdge(0, Point2(2, 2)));
    EXPECT_TRUE(x.t.hasOnEdge(0, Point2(4, 0)));
    EXPECT_TRUE(x.t.hasOnEdge(0, Point2(0, 4)));
    EXPECT_FALSE(x.t.hasOnEdge(0, Point2(5, -1)));
    EXPECT_FALSE(x.t.hasOnEdge(0, Point2(1, 1)));
    EXPECT_TRUE(x.t.hasOnEdge(2, Point2(3, 0)));
}

// ---- measures ---------------------------------------------------------------------------------------

TEST(Triangle2, AreaByHeronAndZeroForCollinearCorners) {
    Tri x(Point2(0, 0), Point2(4, 0), Point2(0, 3));
    EXPECT_NEAR(x.t.getArea2D(), 6.0, 1e-12);
    Tri flat(Point2(0, 0), Point2(1, 1), Point2(2, 2));
    EXPECT_EQ(flat.t.getArea2D(), 0.0);
    std::ostringstream os;
    os << flat.t;
    EXPECT_NE(os.str().find("ATTENTION, COLLINEAR CORNERS"), std::string::npos);
}

TEST(Triangle2, NotANumberAreaIsAnAssertion) {
    lumo_test::ScopedTempDir tmpDir;  // the assertion writes LUMO_LOG.txt
    const double nan = std::nan("");
    Tri x(Point2(0, 0), Point2(nan, 0), Point2(0, 3));
    testing::internal::CaptureStdout();
    EXPECT_THROW(x.t.getArea2D(), LumoException);
    const std::string out = testing::internal::GetCapturedStdout();
    EXPECT_NE(out.find("invalid value, no area for this triangle\n"), std::string::npos);
    EXPECT_NE(out.find("ownHalfCircf="), std::string::npos);
    EXPECT_NE(out.find("len2="), std::string::npos);
}

TEST(Triangle2, EdgeLengthsAndTies) {
    Tri x(Point2(0, 0), Point2(4, 0), Point2(0, 3));
    EXPECT_EQ(x.t.getSquaredEdgeLength2D(0), 25.0);
    EXPECT_EQ(x.t.getSquaredEdgeLength(1), 9.0);
    EXPECT_EQ(x.t.getSquaredEdgeLength2D(2), 16.0);
    EXPECT_EQ(x.t.getMaxSqEdgeLen2D(), 25.0);
    EXPECT_EQ(x.t.getMaxIndex(), 0);
    EXPECT_EQ(x.t.getMinIndex(), 1);
    // Equal lengths: the lowest index wins both ways.
    Tri iso(Point2(0, 0), Point2(2, 0), Point2(1, 5));
    EXPECT_EQ(iso.t.getMaxIndex(), 0);
    Tri eq(Point2(0, 0), Point2(2, 0), Point2(1, std::sqrt(3.0)));
    const int mx = eq.t.getMaxIndex(), mn = eq.t.getMinIndex();
    EXPECT_TRUE(mx >= 0 && mx <= 2 && mn >= 0 && mn <= 2);
    Tri sym(Point2(0, 0), Point2(2, 0), Point2(1, 1));
    EXPECT_EQ(sym.t.getMinIndex(), 0);  // edges opposite 0 and 1 are equal and shortest
    EXPECT_EQ(sym.t.getMaxIndex(), 2);
}

TEST(Triangle2, InteriorAnglesUseTheTruncatedFactor) {
    Tri x(Point2(0, 0), Point2(4, 0), Point2(0, 3));
    EXPECT_DOUBLE_EQ(x.t.getInteriorAngle2D(0), std::acos(0.0) * 57.295779513);
    EXPECT_NEAR(x.t.getInteriorAngle2D(0) + x.t.getInteriorAngle2D(1) + x.t.getInteriorAngle2D(2), 180.0, 1e-6);
}

TEST(Triangle2, BarycenterAndCircumcenter) {
    Tri x(Point2(0, 0), Point2(4, 0), Point2(0, 4));
    const Point2 b = x.t.getBarycenter();
    EXPECT_DOUBLE_EQ(b.x(), 4.0 / 3.0);
    EXPECT_EQ(b.getCustomIndex(), -1);
    EXPECT_EQ(b.getIncidentTriangle(), nullptr);
    const std::pair<Point2, bool> cc = x.t.getDual();
    EXPECT_TRUE(cc.second);
    EXPECT_NEAR(cc.first.x(), 2.0, 1e-12);
    EXPECT_NEAR(cc.first.y(), 2.0, 1e-12);
    // Obtuse and far from the origin: the centre lies outside, beyond the longest edge.
    Tri far(Point2(1e6, 1e6), Point2(1e6 + 10, 1e6), Point2(1e6 + 5, 1e6 + 1));
    const std::pair<Point2, bool> cc2 = far.t.getDual();
    EXPECT_TRUE(cc2.second);
    EXPECT_NEAR(cc2.first.x(), 1e6 + 5, 1e-6);
    EXPECT_NEAR(cc2.first.y(), 1e6 - 12.0, 1e-6);
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
    Tri cw(Point2(0, 0), Point2(0, 3), Point2(4, 0));
    std::ostringstream os2;
    os2 << cw.t;
    EXPECT_NE(os2.str().find("ATTENTION, CLOCKWISE CORNERS!"), std::string::npos);
}

// ---- iterator ------------------------------------------------------------------------------------------

namespace {
// A 3x3 grid triangulation; vertex (1,1) is interior, (0,0), (1,0) are on the hull.
struct Grid {
    Lumo_2D dt;
    std::vector<Point2*> h;
    Grid() {
        std::vector<Point2> v;
        for (int i = 0; i < 3; ++i)
            for (int j = 0; j < 3; ++j) v.emplace_back(i, j + 0.01 * i);  // no four cocircular
        dt.insert(v, h);
    }
    Point2* at(int i, int j) { return h[size_t(3 * i + j)]; }
};
} // namespace

TEST(TriangleAroundVertexIterator, CyclesAroundAnInteriorVertex) {
    Grid g;
    Point2* c = g.at(1, 1);
    std::vector<Triangle2*> vInc;
    g.dt.getIncidentTriangles(c, vInc);
    const size_t k = vInc.size();
    ASSERT_GE(k, 3u);
    TriangleAroundVertexIterator it(c), start(c);
    for (size_t i = 0; i < k; ++i) {
        ASSERT_NE(*it, nullptr);
        EXPECT_TRUE((*it)->hasVertex(c));
        ++it;
    }
    EXPECT_TRUE(it == start);
    for (size_t i = 0; i < k; ++i) --it;
    EXPECT_TRUE(it == start);
}

TEST(TriangleAroundVertexIterator, WrapsOnceThroughNullAtTheHull) {
    Grid g;
    Point2* v = g.at(1, 0);  // middle of the bottom hull side
    // Find the first triangle in counterclockwise order: its clockwise neighbour is null.
    TriangleAroundVertexIterator it(v);
    while (it.previewPrevTriangle() != nullptr && *it != nullptr) --it;
    Triangle2* pFirst = *it;
    ASSERT_NE(pFirst, nullptr);
    std::vector<Triangle2*> vInc;
    g.dt.getIncidentTriangles(v, vInc);
    const size_t k = vInc.size();
    for (size_t i = 0; i < k; ++i) {
        ASSERT_NE(*it, nullptr);
        ++it;
    }
    EXPECT_EQ(*it, nullptr);
    // Standing on null, the preview looks across to the far end of the fan.
    EXPECT_EQ(it.previewNextTriangle(), pFirst);
    ++it;
    EXPECT_EQ(*it, pFirst);
}

TEST(TriangleAroundVertexIterator, ThrowsForAVertexWithoutTriangles) {
    lumo_test::ScopedTempDir tmpDir;  // the assertion writes LUMO_LOG.txt
    Point2 lonely(1, 2);
    EXPECT_THROW(TriangleAroundVertexIterator it(&lonely), std::exception);
}
