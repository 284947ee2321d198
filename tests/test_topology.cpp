// The seams below the policies: the topology operations, the legality hook, the observer of
// flips and splits and the typed location. Every triangulation is checked by the independent
// oracle of tests/support.
#include <gtest/gtest.h>
#include <deque>
#include <map>
#include <random>
#include <set>
#include "DelaunayOracle.h"
#include "TriangulationBuilders.h"

using namespace ORBI_LUMO2D;
using lumo_test::randomPoints;
using lumo_test::triangles;
using lumo_test::canonicalTriangles;
using lumo_test::checkDelaunayTriangulation;
using lumo_test::exactInCircle;
using lumo_test::exactOrientation;
using lumo_test::gridPoints;
using lumo_test::Dt2Of;

namespace {
// The library's structural self-test, without the empty-circle check: empty, or the first fault.
std::string structureFaults(const Dt2& dt) {
    const ValidityFindings f = dt.findValidityFaults(false);
    return f.isValid() ? "" : f.vFaults[0].text;
}
bool isConvexQuad(const Triangle2* pT, int i) {
    const Triangle2* pN = pT->getOppositeTriangle(i);
    const Point2 &p = *pT->getCorner(i), &a = *pT->getCorner(incIndexBy1(i)), &b = *pT->getCorner(incIndexBy2(i));
    const Point2& d = *pN->getCorner(pN->getIntraTriangleIndex(pT));
    return exactOrientation(p, a, d) > 0 && exactOrientation(p, d, b) > 0;
}
// Counts the flips the Delaunay rule asks for; forbids the one edge between two positions, if given.
class Guard : public FlipGuard {
public:
    explicit Guard(Point2 a_ = Point2(), Point2 b_ = Point2()) : a(a_), b(b_) {}
    bool mayFlip(const Point2* p, const Point2* q) const override {
        const bool bBlocked = (*p == a && *q == b) || (*p == b && *q == a);
        ++numAsked, numRefused += bBlocked;
        return !bBlocked;
    }
    Point2 a, b;
    mutable int numAsked{0}, numRefused{0};
};
// What the observer hears: flips, splits per vertex and of each size, every triangle named.
class Recorder : public TopologyObserver {
public:
    void onFlip(Triangle2* pT, Triangle2* pN) override {
        ++numFlips;
        // The two triangles of the new diagonal are neighbours when the observer hears of it.
        if (pT->getOppositeTriangle(pT->getIntraTriangleIndex(pN)) != pN) ++numBadFlips;
        sTouched.insert({pT, pN});
    }
    void onSplit(Point2* q, Triangle2* const* apT, size_t n) override {
        ++mSplitsPerVertex[q];
        aSplitSizes[n < 5 ? n : 5]++;
        for (size_t k = 0; k < n; ++k) sTouched.insert(apT[k]);
    }
    void onEdgeSplit(Point2*, Point2*, Point2*) override { ++numEdgeSplits; }
    int numFlips{0}, numBadFlips{0}, numEdgeSplits{0};
    int aSplitSizes[6]{};
    std::map<Point2*, int> mSplitsPerVertex;
    std::set<Triangle2*> sTouched;
};
} // namespace

TEST(TopologyOps, FlipThereAndBackRestoresTheTriangulation) {
    const std::vector<Point2> v = randomPoints(300, 1);
    Dt2Of dt(v);
    const auto before = canonicalTriangles(triangles(dt));
    int numFlips = 0;
    for (Triangle2* pT : triangles(dt)) {
        for (int i = 0; i < 3; ++i) {
            if (pT->getOppositeTriangle(i) == nullptr || !isConvexQuad(pT, i)) continue;
            Triangle2* pN = topo::flipEdge(pT, i);
            ++numFlips;
            ASSERT_EQ(structureFaults(dt), "");
            // The new diagonal p-d is (pT, i+1); flipping it brings a-b back.
            ASSERT_EQ(pT->getOppositeTriangle(incIndexBy1(i)), pN);
            topo::flipEdge(pT, incIndexBy1(i));
            ASSERT_EQ(canonicalTriangles(triangles(dt)), before);
        }
    }
    EXPECT_GT(numFlips, 500);
    EXPECT_EQ(checkDelaunayTriangulation(v, triangles(dt)), "");
}

TEST(TopologyOps, SplitsThenLegalizationGiveTheDelaunayTriangulation) {
    // A face at its barycenter, then an interior and a hull edge at their (exact) midpoints.
    std::vector<Point2> v = gridPoints(6, 2.0);
    Dt2Of dt(v);
    Inserter& ins = dt.getInserter();
    std::deque<Point2> vOwned;  // (stable addresses)
    auto midpoint = [](const Triangle2* pT, int k) {
        const Point2 &a = *pT->getCorner(incIndexBy1(k)), &b = *pT->getCorner(incIndexBy2(k));
        return Point2((a.x() + b.x()) / 2, (a.y() + b.y()) / 2);
    };
    for (int step = 0; step < 3; ++step) {
        // step 0: any triangle; 1: an interior edge; 2: a hull edge; an edge whose midpoint is exact.
        Triangle2* pT = nullptr;
        int i = 0;
        for (Triangle2* pC : triangles(dt))
            for (int k = 0; k < 3 && pT == nullptr; ++k)
                if (step == 0 || ((pC->getOppositeTriangle(k) == nullptr) == (step == 2) &&
                                  dt.locateTyped(midpoint(pC, k)).kind == Location::LOC_EDGE)) pT = pC, i = k;
        vOwned.push_back(step == 0 ? pT->getBarycenter() : midpoint(pT, i));
        Point2* pQ = &vOwned.back();
        Triangle2* aT[4];
        if (step == 0) {
            ASSERT_EQ(dt.locateTyped(*pQ).kind, Location::LOC_FACE);
            topo::splitTriangle(ins.getStore(), pT, pQ, aT);
        }
        const size_t n = step == 0 ? 3u : size_t(topo::splitEdge(ins.getStore(), pT, i, pQ, aT));
        EXPECT_EQ(n, step == 2 ? 2u : 3u + (step == 1));
        dt.getVertexVault().addVertex(0, pQ);
        ASSERT_EQ(structureFaults(dt), "") << step;
        for (size_t k = 0; k < n; ++k) ins.pushCheck(aT[k], 0);
        ins.legalize();
        v.push_back(*pQ);
        EXPECT_EQ(checkDelaunayTriangulation(v, triangles(dt)), "") << step;
    }
}

TEST(TopologyOps, MergeDegree3UndoesATriangleSplit) {
    Dt2Of dt(randomPoints(50, 2));
    const auto before = canonicalTriangles(triangles(dt));
    const size_t numT = dt.numberOfTriangles();
    for (Triangle2* pT : triangles(dt)) {
        Point2 q = pT->getBarycenter();
        if (dt.locateTyped(q).kind != Location::LOC_FACE) continue;
        Triangle2* aT[3];
        topo::splitTriangle(dt.getInserter().getStore(), pT, &q, aT);
        ASSERT_EQ(dt.numberOfTriangles(), numT + 2);
        topo::mergeDegree3(dt.getInserter().getStore(), &q);
        EXPECT_EQ(q.getIncidentTriangle(), nullptr);
        ASSERT_EQ(dt.numberOfTriangles(), numT);
        ASSERT_EQ(structureFaults(dt), "");
    }
    EXPECT_EQ(canonicalTriangles(triangles(dt)), before);
    // The merged records are reused by the next insertion, not taken from the pool.
    std::vector<Triangle2*> vFresh, vAfter;
    dt.getFreshTriangles(vFresh);
    dt.insert(Point2(0.5, 0.5));
    dt.getFreshTriangles(vAfter);
    EXPECT_TRUE(vAfter.empty());
}

TEST(TopologyOps, FillingTheCavityGivesTheDelaunayTriangulationWithThePoint) {
    std::vector<Point2> v = randomPoints(200, 3);
    Dt2Of dt(v);
    std::deque<Point2> vOwned;
    for (const Point2& p : randomPoints(30, 4, 0.2, 0.8)) {
        vOwned.push_back(p);
        Point2* pQ = &vOwned.back();
        // The cavity by brute force, and its border chained from edge to edge.
        std::set<Triangle2*> sCavity;
        for (Triangle2* pT : triangles(dt))
            if (exactInCircle(*pT->getCorner(0), *pT->getCorner(1), *pT->getCorner(2), *pQ) > 0) sCavity.insert(pT);
        std::map<Point2*, topo::CavityEdge> mBorderFrom;
        for (Triangle2* pT : sCavity)
            for (int i = 0; i < 3; ++i) {
                Triangle2* pN = pT->getOppositeTriangle(i);
                if (sCavity.count(pN) != 0) continue;
                Point2* pA = pT->getCorner(incIndexBy1(i));
                mBorderFrom[pA] = {pA, pT->getCorner(incIndexBy2(i)), pN, pN ? pN->getIntraTriangleIndex(pT) : 0};
            }
        ASSERT_EQ(mBorderFrom.size(), sCavity.size() + 2);
        std::vector<topo::CavityEdge> vBorder{mBorderFrom.begin()->second};
        while (vBorder.size() < mBorderFrom.size()) vBorder.push_back(mBorderFrom.at(vBorder.back().b));
        const std::vector<Triangle2*> vCavity(sCavity.begin(), sCavity.end());
        topo::fillCavity(dt.getInserter().getStore(), pQ, vBorder.data(), vCavity.data(), vCavity.size());
        dt.getVertexVault().addVertex(0, pQ);
        v.push_back(p);
        ASSERT_EQ(structureFaults(dt), "");
        ASSERT_EQ(checkDelaunayTriangulation(v, triangles(dt)), "");
    }
}

TEST(FlipGuard, ForbiddenEdgeSurvivesAndTheRestStaysLocallyDelaunay) {
    const Point2 a(0, 0), b(10, 0);
    Guard guard(a, b);
    // Points above a-b inside the circle through a, b and (5,-1): without the guard a-b goes.
    std::vector<Point2> v{a, b, Point2(5, -1)};
    std::mt19937_64 rng(4);
    std::uniform_real_distribution<double> dx(1.0, 9.0), dy(0.05, 3.0);
    for (int i = 0; i < 60; ++i) v.emplace_back(dx(rng), dy(rng));
    Dt2 dt(100), dtFree(100);
    dt.setFlipGuard(&guard);
    std::vector<Point2*> h, hFree;
    for (const Point2& p : v) h.push_back(dt.insert(p)), hFree.push_back(dtFree.insert(p));
    EXPECT_EQ(dtFree.getAdjacentTriangle(hFree[0], hFree[1]), nullptr);
    EXPECT_GT(guard.numRefused, 0);
    EXPECT_TRUE(dt.getAdjacentTriangle(h[0], h[1]) != nullptr && dt.isConstraintEdge(h[0], h[1]));
    EXPECT_TRUE(dt.findValidityFaults(true).isValid());
    // Independently: a Delaunay triangulation but for the exempt edge a-b.
    const std::vector<lumo_test::CoordEdge> vExempt{lumo_test::coordEdge(a, b)};
    EXPECT_EQ(checkDelaunayTriangulation(v, triangles(dt), &vExempt), "");
}

TEST(TopologyObserver, SeesEveryFlipAndEverySplit) {
    // The grid's row midpoints come after the rows: they split inner and hull edges.
    std::vector<Point2> vGrid = gridPoints(12, 2.0);
    for (int j = 0; j < 12; j += 2)
        for (int i = 0; i + 1 < 12; ++i) vGrid.emplace_back(2.0 * i + 1.0, 2.0 * j);
    const struct { const char* name; std::vector<Point2> v; bool bOnEdges; } aCases[] = {
        {"random", randomPoints(2000, 7), false}, {"grid with edge points", vGrid, true}};
    for (const auto& c : aCases) {
        SCOPED_TRACE(c.name);
        Recorder rec;
        Guard guard;
        Dt2 dt(1000);
        dt.setObserver(&rec);
        dt.setFlipGuard(&guard);
        for (const Point2& p : c.v) dt.insert(p);
        EXPECT_EQ(checkDelaunayTriangulation(c.v, triangles(dt)), "");
        // Every flip the Delaunay rule asked for was reported, and nothing else.
        EXPECT_TRUE(rec.numFlips == guard.numAsked && rec.numFlips > int(c.v.size())) << rec.numFlips << " " << guard.numAsked;
        EXPECT_EQ(rec.numBadFlips, 0);
        // One split per vertex after the first triangle's three, of the kind that the
        // triangle count confirms: +2 per face or inner edge split, +1 per hull edge split,
        // +k per fan of k hull edges.
        for (const auto& kv : rec.mSplitsPerVertex) EXPECT_EQ(kv.second, 1);
        EXPECT_EQ(rec.mSplitsPerVertex.size() + 3, dt.numberOfPoints());
        // Every triangle that exists was reported by some split or flip, except the first one.
        size_t numUnreported = 0;
        for (Triangle2* pT : triangles(dt)) numUnreported += rec.sTouched.count(pT) == 0;
        EXPECT_LE(numUnreported, 1u);
        // Hull and inner edge splits where points fall on edges.
        EXPECT_TRUE(!c.bOnEdges || (rec.numEdgeSplits > 50 && rec.aSplitSizes[2] > 0 && rec.aSplitSizes[4] > 0));
    }
}

TEST(Location, EveryKindAndTheOldCodes) {
    Dt2 dt(10);
    EXPECT_EQ(dt.locateTyped(Point2(0, 0)).kind, Location::LOC_LOWER_DIMENSIONAL);
    for (const Point2& p : {Point2(0, 0), Point2(4, 0), Point2(0, 4), Point2(4, 4)}) dt.insert(p);
    // (query, kind, locateConflictTriangle's answer)
    const struct { Point2 q; Location::Kind kind; int code; } aCases[] = {{Point2(1, 2), Location::LOC_FACE, -1},        {Point2(2, 2), Location::LOC_EDGE, -1},
                           {Point2(2, 0), Location::LOC_EDGE, -1},        {Point2(4, 4), Location::LOC_VERTEX, 4},
                           {Point2(9, 1), Location::LOC_OUTSIDE_HULL, 0}, {Point2(6, 0), Location::LOC_OUTSIDE_HULL, 0}};
    for (const auto& c : aCases) {
        const Location loc = dt.locateTyped(c.q);
        ASSERT_EQ(loc.kind, c.kind) << c.q;
        const Triangle2* pT = loc.pT;
        const Point2* pA = pT->getCorner(incIndexBy1(loc.idx < 0 ? 0 : loc.idx));
        const Point2* pB = pT->getCorner(incIndexBy2(loc.idx < 0 ? 0 : loc.idx));
        switch (c.kind) {
        case Location::LOC_FACE:
            for (int i = 0; i < 3; ++i)
                EXPECT_GT(exactOrientation(*pT->getCorner(incIndexBy1(i)), *pT->getCorner(incIndexBy2(i)), c.q), 0);
            break;
        case Location::LOC_EDGE: EXPECT_EQ(exactOrientation(*pA, *pB, c.q), 0); break;
        case Location::LOC_VERTEX: EXPECT_EQ(*pT->getCorner(loc.idx), c.q); break;
        default:
            EXPECT_EQ(pT->getOppositeTriangle(loc.idx), nullptr);
            EXPECT_LE(exactOrientation(*pA, *pB, c.q), 0);
        }
        Triangle2* pStart = dt.getVertexVault().getCloseTriangle(0);
        int ici = -7;
        const int code = dt.locateConflictTriangle(c.q, pStart, ici);
        EXPECT_TRUE(c.code == 0 ? code >= 0 && code <= 2 : code == c.code) << c.q;  // 0: any hull edge
        if (c.kind == Location::LOC_EDGE) EXPECT_TRUE(ici >= 0 && ici <= 2) << c.q;
        else EXPECT_EQ(ici, -1) << c.q;
    }
}
