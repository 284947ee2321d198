// Point location, adjacency, incident triangles, convex hull, the self-test and statistics.
#include <gtest/gtest.h>
#include <cmath>
#include <map>
#include <random>
#include <set>
#include "DelaunayOracle.h"
#include "Lumo_2D.h"
#include "MessageText.h"
#include "ScopedTempDir.h"
#include "TriangulationBuilders.h"

using namespace ORBI_LUMO2D;
using lumo_test::randomPoints;
using lumo_test::triangles;

namespace {
// Whether q lies strictly beyond the edge of pT opposite corner i; closed containment. By the
// oracle's exact orientation.
bool beyond(const Triangle2* pT, int i, const Point2& q) {
    return lumo_test::exactOrientation(*pT->getCorner((i + 1) % 3), *pT->getCorner((i + 2) % 3), q) < 0;
}
bool contains(const Triangle2* pT, const Point2& q) { return !beyond(pT, 0, q) && !beyond(pT, 1, q) && !beyond(pT, 2, q); }
} // namespace

// Locate (from the vault's nearby triangle) and the walk from the far end of a long thin
// strip (thousands of steps, far more than the 1000 after which it randomises its edge order):
// a containing triangle, or null / a hull edge that sees the point, decided by exact orientation.
TEST(Locate, FindsAContainingTriangleOrNullOutsideEvenAfterAFarInsertion) {
    Lumo_2D line;  // null while not two-dimensional
    EXPECT_EQ(line.locate(Point2(0, 0)), nullptr);
    line.insert({Point2(0, 0), Point2(1, 1)});
    EXPECT_EQ(line.locate(Point2(0.5, 0.5)), nullptr);
    Dt2 dt(0);  // no vertices expected: the pools start small and grow
    std::mt19937_64 rng(12);
    std::uniform_real_distribution<double> d(0.0, 1.0);
    std::vector<Point2> v;
    for (int i = 0; i < 6000; ++i) v.emplace_back(i + d(rng), 3.0 * d(rng));
    std::vector<Point2*> h, hull;
    dt.insertVector(v, &h);
    dt.getConvexHull(true, hull);
    size_t numInside = 0;
    for (int i = 0; i < 3000; ++i) {
        const Point2 q(-100.0 + 6200.0 * d(rng), -0.5 + 4.0 * d(rng));
        Triangle2* pT = dt.locate(q);
        numInside += pT != nullptr;
        // Outside: some hull edge must see q strictly on its outer side.
        bool bOutside = false;
        for (size_t k = 0; k < hull.size(); ++k) bOutside = bOutside || lumo_test::exactOrientation(*hull[k], *hull[(k + 1) % hull.size()], q) < 0;
        ASSERT_TRUE(pT != nullptr ? contains(pT, q) : bOutside) << q;
        Triangle2* pWalk = h[0]->getIncidentTriangle();
        int ici = -1;
        const int result = dt.locateConflictTriangle(q, pWalk, ici);
        ASSERT_TRUE(result == -1 || result == 4 ? contains(pWalk, q) : pWalk->getOppositeTriangle(result) == nullptr && beyond(pWalk, result, q)) << q;
    }
    EXPECT_GT(numInside, 2000u);
    // A vertex is located in a triangle that has it as a corner.
    for (size_t i = 0; i < 50; ++i) EXPECT_TRUE(dt.locate(v[i])->hasVertex(h[i]));
    // Far outside: null; after a far insertion locate still works.
    EXPECT_EQ(dt.locate(Point2(1e200, -1e200)), nullptr);
    EXPECT_EQ(dt.locate(Point2(0.5, 1e-300 + 7)), nullptr);
    const Point2 inner = dt.insert(Point2(1e12, 3e12))->getIncidentTriangle()->getBarycenter();
    Triangle2* pT = dt.locate(inner);
    EXPECT_TRUE(pT != nullptr && contains(pT, inner));
    EXPECT_EQ(lumo_test::meshFault(dt), "");
}

// Brute force over the triangles, for every pair of vertices: the triangle on the left of a
// directed edge, none for a pair that is no edge or on the outer side of the hull (long fans at
// hull vertices included); the incident triangles of every vertex. (Null and foreign vertices
// are rows of the misuse table.)
TEST(Adjacency, TriangleOfEveryDirectedPairAndAroundEveryVertex) {
    Lumo_2D dt;
    std::vector<Point2*> h;
    dt.insert(randomPoints(300, 6), h);
    EXPECT_EQ(lumo_test::meshFault(dt), "");
    std::map<std::pair<Point2*, Point2*>, Triangle2*> mLeft;
    std::map<Point2*, std::set<Triangle2*>> mIncident;
    for (Triangle2* pT : triangles(dt))
        for (int i = 0; i < 3; ++i) {
            mLeft[{pT->getCorner((i + 1) % 3), pT->getCorner((i + 2) % 3)}] = pT;
            mIncident[pT->getCorner(i)].insert(pT);
        }
    for (Point2* a : h) {
        for (Point2* b : h) {
            const auto it = mLeft.find({a, b});
            ASSERT_TRUE(a == b || dt.getAdjacentTriangle(a, b) == (it == mLeft.end() ? nullptr : it->second));
        }
        std::vector<Triangle2*> w;
        dt.getIncidentTriangles(a, w);
        EXPECT_EQ(std::set<Triangle2*>(w.begin(), w.end()), mIncident[a]);
        EXPECT_EQ(w.size(), mIncident[a].size());
    }
}

TEST(ConvexHull, AllVerticesOrOnlyCorners) {
    Lumo_2D dt;
    std::vector<Point2> v;
    for (int i = 0; i <= 4; ++i)
        for (int j = 0; j <= 4; ++j)
            if (i % 4 == 0 || j % 4 == 0 || (i == 2 && j == 2)) v.emplace_back(i, j);
    dt.insert(v);
    EXPECT_EQ(lumo_test::meshFault(dt), "");
    std::vector<Point2*> all, corners;
    dt.getConvexHull(true, all);
    dt.getConvexHull(false, corners);
    EXPECT_EQ(all.size(), 16u);
    ASSERT_EQ(corners.size(), 4u);
    // Counterclockwise, starting at the lexicographically smallest vertex.
    const Point2 aExpected[] = {Point2(0, 0), Point2(4, 0), Point2(4, 4), Point2(0, 4)};
    for (size_t i = 0; i < 4; ++i) EXPECT_EQ(*corners[i], aExpected[i]);
    for (size_t i = 0; i < all.size(); ++i)
        EXPECT_GE(lumo_test::exactOrientation(*all[i], *all[(i + 1) % all.size()], Point2(2, 2)), 1);
}

// The self-test passes a valid triangulation and names the faults forced by hand into two
// triangles over a convex quadrilateral: a broken neighbour link, a non-Delaunay diagonal,
// clockwise corners. The independent oracle names them too, and a triangle missing or listed
// twice and a point missing.
TEST(CheckValidity, PassesOnAValidTriangulationAndDetectsBrokenLinksNonDelaunayEdgesAndClockwiseCorners) {
    lumo_test::ScopedTempDir tmpDir;  // failures are drawn into PostScript files
    const std::vector<Point2> v = randomPoints(3000, 9);
    Lumo_2D dt;
    dt.insert(v);
    EXPECT_EQ(lumo_test::stdoutOf([&] { EXPECT_TRUE(dt.checkValidity(true, "random")); }),
              "Lumo_2D::CheckValidity(random) has been started\n");
    std::vector<Triangle2*> vAll = triangles(dt);
    EXPECT_EQ(lumo_test::checkDelaunayTriangulation({v.begin() + 1, v.end()}, vAll).rfind("vertex set differs", 0), 0u);
    vAll.push_back(vAll[7]);
    EXPECT_EQ(lumo_test::checkDelaunayTriangulation(v, vAll), "a directed edge occurs twice");
    EXPECT_EQ(lumo_test::checkDelaunayTriangulation(v, {vAll.begin() + 1, vAll.end() - 1}).rfind("boundary (", 0), 0u);
    Lumo_2D quad;
    quad.insert({Point2(0, 0), Point2(4, -1), Point2(8, 0), Point2(4, 1)});
    const std::vector<Triangle2*> vT = triangles(quad);
    ASSERT_EQ(vT.size(), 2u);
    Triangle2 *a = vT[0], *b = vT[1];
    const int ia = a->getIntraTriangleIndex(b), ib = b->getIntraTriangleIndex(a);
    a->setOppTriangle(ia, nullptr);
    std::string out = lumo_test::stdoutOf([&] { EXPECT_FALSE(quad.checkValidity(true, "broken")); });
    EXPECT_NE(out.find("Inconsistent neighborships:"), std::string::npos) << out;
    EXPECT_NE(out.find("\ncheckValidity, bug, name=broken"), std::string::npos);
    EXPECT_TRUE(lumo_test::fileExists("currentState.ps") && lumo_test::fileExists("checkValidityFail_broken.ps"));
    // Flip the shared diagonal (the same Lawson flip the insertion uses), which links a and b again.
    Point2 *pa = a->getCorner(ia), *pb = b->getCorner(ib), *s = a->getCorner((ia + 1) % 3), *t = a->getCorner((ia + 2) % 3);
    a->setPropertiesAndOppT(pa, s, pb, nullptr, b, nullptr);
    b->setPropertiesAndOppT(pb, t, pa, nullptr, a, nullptr);
    // Hull neighbours are all null for two triangles, so only the diagonal links matter.
    out = lumo_test::stdoutOf([&] { EXPECT_FALSE(quad.checkValidity(true, "flipped")); });
    EXPECT_NE(out.find("Sphere inclusion test failed"), std::string::npos) << out;
    EXPECT_EQ(lumo_test::meshFault(quad), "edge (0,0)-(8,0) is not locally Delaunay");
    EXPECT_TRUE(lumo_test::fileExists("badEmptyCircle.ps"));
    lumo_test::stdoutOf([&] { EXPECT_TRUE(quad.checkValidity(false, "flipped, no circle test")); });
    // Clockwise corners.
    a->setPropertiesAndOppT(pa, pb, s, nullptr, nullptr, b);
    EXPECT_NE(lumo_test::stdoutOf([&] { EXPECT_FALSE(quad.checkValidity(false, "cw")); })
                  .find("Corners are not counterclockwise:"), std::string::npos);
    EXPECT_EQ(lumo_test::meshFault(quad), "a triangle is not counterclockwise");
}

TEST(Statistics, EquilateralAnglesFallIntoTheBinEndingAtSixty) {
    Lumo_2D dt;
    const double h = std::sqrt(3.0) / 2.0;
    // A regular hexagon around its centre: six equilateral triangles.
    dt.insert({Point2(0, 0), Point2(1, 0), Point2(0.5, h), Point2(-0.5, h), Point2(-1, 0), Point2(-0.5, -h),
               Point2(0.5, -h)});
    EXPECT_EQ(lumo_test::meshFault(dt), "");
    const std::string out = lumo_test::stdoutOf([&] { dt.statistics("tri"); });
    EXPECT_EQ(out.rfind("\n\n\n********* MESH STATISTICS (tri) **********\n\n", 0), 0u);
    for (const char* s : {"Number of triangles: 6\n", "INTERIOR ANGLES\n", "  <=  60: 18\n"})
        EXPECT_NE(out.find(s), std::string::npos) << out;
}
