// Vertex removal through the Lumo_2D facade. After every removal the triangulation must pass
// the self-test with the empty-circle check and the independent oracle of tests/support on the
// points that remain (exact predicates, convex hull, Euler count).
#include <gtest/gtest.h>
#include <algorithm>
#include <array>
#include <functional>
#include <random>
#include <string>
#include "Lumo_2D.h"
#include "ScopedTempDir.h"
#include "TriangulationBuilders.h"

using namespace ORBI_LUMO2D;
using lumo_test::canonicalTriangles;
using lumo_test::checkDelaunayTriangulation;
using lumo_test::gridPoints;
using lumo_test::randomPoints;
using lumo_test::triangles;

namespace {

std::array<double, 4> bounds(const Bbox2& box) { return {box.get_minX(), box.get_minY(), box.get_maxX(), box.get_maxY()}; }

// dt is valid and is the Delaunay triangulation of the vertices vAlive (or holds them without
// triangles when they are collinear), every one of which still has its triangles; its bounding
// box shrinks with them.
void expectValid(const Lumo_2D& dt, const std::vector<Point2*>& vAlive, const std::string& what) {
    std::vector<Point2> vExpected;
    for (const Point2* p : vAlive) vExpected.push_back(*p);
    ASSERT_TRUE(lumo_test::isValidQuietly(dt)) << what;
    ASSERT_EQ(dt.numberOfPoints(), vExpected.size()) << what;
    ASSERT_TRUE(vAlive.empty() || bounds(dt.computeBoundingBox()) == bounds(Bbox2(vAlive.begin(), vAlive.end()))) << what;
    if (dt.is2D()) {
        ASSERT_EQ(checkDelaunayTriangulation(vExpected, triangles(dt)), "") << what;
    } else {
        ASSERT_EQ(dt.numberOfTriangles(), 0u) << what;
        const std::vector<Point2> vHave = lumo_test::vertexPoints(dt);
        ASSERT_TRUE(std::is_permutation(vHave.begin(), vHave.end(), vExpected.begin(), vExpected.end())) << what;
        for (size_t i = 2; i < vExpected.size(); ++i)
            ASSERT_EQ(lumo_test::exactOrientation(vExpected[0], vExpected[1], vExpected[i]), 0) << what;
    }
    for (const Point2* p : vAlive) ASSERT_TRUE(!dt.is2D() || p->getIncidentTriangle() != nullptr) << what;
}

// Removes the vertices that order(dt, distinct handles) gives one by one, checking after each.
typedef std::function<std::vector<Point2*>(const Lumo_2D&, std::vector<Point2*>)> Order;
void removeAndCheck(const std::vector<Point2>& vInput, const Order& order, const std::string& what) {
    lumo_test::ScopedTempDir tmpDir;   // a failed self-test draws its findings
    Lumo_2D dt;
    std::vector<Point2*> vAlive;
    dt.insert(vInput, vAlive);
    std::sort(vAlive.begin(), vAlive.end());
    vAlive.erase(std::unique(vAlive.begin(), vAlive.end()), vAlive.end());
    const std::vector<Point2*> vOrder = order(dt, vAlive);
    for (size_t i = 0; i < vOrder.size(); ++i) {
        dt.remove(vOrder[i]);
        vAlive.erase(std::find(vAlive.begin(), vAlive.end(), vOrder[i]));
        expectValid(dt, vAlive, what + " after removing " + std::to_string(i));
        if (testing::Test::HasFatalFailure()) return;
    }
}

} // namespace

// Half of random, grid and cocircular sets in random order; everything from tiny sets (down to
// the collinear and the empty triangulation); each single vertex of small sets from a fresh
// triangulation: interior vertices of every degree, hull corners, collinear hull vertices, the
// centre of a diamond (no strictly convex flip exists) and a degree-3 vertex; and the hull
// vertices of a grid in hull order, collinear ones and corners.
TEST(Removal, OneByOneStaysDelaunay) {
    enum { HALF = 1, ALL = 2, EACH = 4, HULL = 8 };   // half or all in 2 or 20 random orders; each alone
    const struct { const char* name; std::vector<Point2> v; int modes; } aCases[] = {
        {"random", randomPoints(300, 5), HALF},
        {"grid", gridPoints(15), HALF},
        {"180 cocircular lattice points and their centre", lumo_test::latticeCircle(325, true), HALF | EACH},
        {"random with duplicates", [] { auto v = randomPoints(60, 9); v.insert(v.end(), v.begin(), v.begin() + 30); return v; }(), HALF},
        {"tiny random", randomPoints(7, 3), ALL},
        {"random 12", randomPoints(12, 77), EACH},
        {"grid 3x3", gridPoints(3), ALL | EACH},
        {"grid 4x4", gridPoints(4), ALL},
        {"grid 5x5", gridPoints(5), EACH},
        {"diamond", {Point2(1, 0), Point2(0, 1), Point2(1, 1), Point2(2, 1), Point2(1, 2)}, ALL | EACH},
        {"line and apex", {Point2(0, 0), Point2(1, 0), Point2(2, 0), Point2(3, 0), Point2(1, 5)}, ALL},
        {"degree 3", {Point2(0, 0), Point2(4, 0), Point2(0, 4), Point2(1, 1)}, EACH},
        {"line with apexes", {Point2(0, 0), Point2(1, 0), Point2(2, 0), Point2(1, 1), Point2(1, -1), Point2(1, 3)}, EACH},
        {"grid 10x10", gridPoints(10), HULL},
    };
    for (const auto& c : aCases) {
        SCOPED_TRACE(c.name);
        for (unsigned seed = 1; seed <= (c.modes & ALL ? 20u : c.modes & HALF ? 2u : 0u); ++seed) {
            removeAndCheck(c.v, [&](const Lumo_2D&, std::vector<Point2*> v) {
                std::shuffle(v.begin(), v.end(), std::mt19937(seed));
                v.resize(c.modes & ALL ? v.size() : v.size() / 2);
                return v;
            }, "seed " + std::to_string(seed));
            if (HasFatalFailure()) return;
        }
        for (size_t i = 0; i < (c.modes & EACH ? c.v.size() : 0); ++i) {
            removeAndCheck(c.v, [&](const Lumo_2D&, const std::vector<Point2*>& v) { return std::vector<Point2*>{v[i]}; }, "alone");
            if (HasFatalFailure()) return;
        }
        if (c.modes & HULL)
            removeAndCheck(c.v, [](const Lumo_2D& dt, const std::vector<Point2*>&) {
                std::vector<Point2*> vHull;
                dt.getConvexHull(true, vHull);
                return vHull;
            }, "hull");
    }
}

// Single insertions (duplicates and re-insertions of removed positions among them) and removals
// in random order on a small lattice, and behind a bulk insertion, where the single ones wait in
// a tail long enough to be indexed for removal: compactions and merges of that tail in between.
TEST(Removal, InterleavedWithInsertions) {
    const struct { int latticeSize, numBulk, numSteps, checkEvery; } aRows[] = {{13, 0, 400, 1}, {60, 1500, 4000, 500}};
    for (const auto& row : aRows) {
        SCOPED_TRACE("lattice " + std::to_string(row.latticeSize));
        lumo_test::ScopedTempDir tmpDir;
        std::mt19937 rng(11);
        std::uniform_int_distribution<int> coord(0, row.latticeSize - 1);
        Lumo_2D dt;
        std::vector<Point2*> vAlive;
        std::vector<Point2> vBulk;
        for (int i = 0; i < row.numBulk; ++i) vBulk.emplace_back(coord(rng), coord(rng));
        dt.insert(vBulk, vAlive);
        std::sort(vAlive.begin(), vAlive.end());
        vAlive.erase(std::unique(vAlive.begin(), vAlive.end()), vAlive.end());
        for (int step = 0; step < row.numSteps; ++step) {
            if (vAlive.size() < 3 || rng() % 5 < 3) {
                Point2* p = dt.insert(Point2(coord(rng), coord(rng)));
                if (std::find(vAlive.begin(), vAlive.end(), p) == vAlive.end()) vAlive.push_back(p);
            } else {
                std::swap(vAlive[rng() % vAlive.size()], vAlive.back());
                dt.remove(vAlive.back());
                vAlive.pop_back();
            }
            ASSERT_EQ(dt.numberOfPoints(), vAlive.size()) << "step " << step;
            if (step % row.checkEvery == 0 || step + 1 == row.numSteps) expectValid(dt, vAlive, "step " + std::to_string(step));
            if (HasFatalFailure()) return;
        }
    }
}

// Bulk insertions while entries of removed vertices still wait for compaction (they once
// started at the wrong entry), in a vault large enough for removal's shortcut into it, which
// such insertions leave stale: every removal must still find its vertex.
TEST(Removal, BulkInsertionsBetweenRemovalsBeforeCompaction) {
    std::mt19937 rng(11);
    Lumo_2D big;
    std::vector<Point2*> vH, vMore;
    big.insert(randomPoints(6000, 21), vH);
    for (unsigned round = 0; round < 3; ++round) {
        std::shuffle(vH.begin(), vH.end(), rng);
        for (int k = 0; k < 300; ++k, vH.pop_back()) big.remove(vH.back());
        big.insert(randomPoints(2000, 22 + round), vMore);
        vH.insert(vH.end(), vMore.begin(), vMore.end());
    }
    expectValid(big, vH, "large vault");   // a removal that missed its vertex left one too many
}

// Down to a collinear rest: the triangulation is 1D again, removals go on in the vault, and the
// next point off the line makes it 2D.
TEST(Removal, CollinearRestIsLowerDimensional) {
    lumo_test::ScopedTempDir tmpDir;
    Lumo_2D dt;
    std::vector<Point2*> vH;
    dt.insert({Point2(0, 0), Point2(1, 0), Point2(2, 0), Point2(3, 0), Point2(1, 1)}, vH);
    dt.remove(vH[4]);
    expectValid(dt, {vH[0], vH[1], vH[2], vH[3]}, "collinear");
    dt.remove(vH[1]);
    expectValid(dt, {vH[0], vH[2], vH[3]}, "collinear, removed in the vault");
    EXPECT_EQ(dt.insert(Point2(2, 0)), vH[2]);   // duplicates are still answered by the survivor
    Point2* pOff = dt.insert(Point2(1, -1));
    expectValid(dt, {vH[0], vH[2], vH[3], pOff}, "2D again");
}

TEST(Removal, RefusalsPrintTheirMessageAndChangeNothing) {
    lumo_test::ScopedTempDir tmpDir;
    Lumo_2D dt, other;
    std::vector<Point2*> vH, vOther;
    dt.insert(randomPoints(50, 1), vH);
    other.insert(randomPoints(50, 1), vOther);
    dt.remove(dt.insert(*vH[7]));   // a duplicate's handle: the same vertex as vH[7]
    std::vector<Segment2> vSeg{Segment2(*vH[0], *vH[1])};
    ASSERT_NE(dt.createConstraint(vSeg, CIS_CONSTRAINED_DELAUNAY), nullptr);
    const auto before = canonicalTriangles(triangles(dt));
    Point2 stranger(0.5, 0.5);
    const std::string notOurs = "vertex does not belong to the triangulation, return";
    const std::vector<std::pair<Point2*, std::string>> vCases{
        {nullptr, "pVtx==NULL, illegal, return."},
        {vOther[3], notOurs},   // another triangulation's vertex at the same position
        {vH[7], notOurs},       // already removed (it was a duplicate's survivor)
        {&stranger, notOurs},
        {vH[0], "Illegal: Can't remove a constraint vertex"},
    };
    for (const auto& c : vCases) EXPECT_NE(lumo_test::stdoutOf([&] { dt.remove(c.first); }).find(c.second), std::string::npos) << c.second;
    EXPECT_EQ(canonicalTriangles(triangles(dt)), before);
    EXPECT_EQ(dt.numberOfPoints(), 49u);
    EXPECT_EQ(other.numberOfPoints(), 50u);
    EXPECT_TRUE(lumo_test::isValidQuietly(other));
}
