// Zones against oracles that share nothing with the library: exact rational polygon areas
// (shoelace) and point-in-polygon tests of triangle barycentres, set algebra on std::set,
// a flood fill over an edge map built from the corners alone. Every zone is checked again after
// more points go in, and every triangulation passes the independent validity check.
#include <gtest/gtest.h>
#include <gmpxx.h>
#include <algorithm>
#include <functional>
#include <iterator>
#include <map>
#include <random>
#include <set>
#include "ExactPolygons.h"
#include "Lumo_2D.h"
#include "MeshChecks.h"
#include "ScopedTempDir.h"
#include "TriangulationBuilders.h"

using namespace ORBI_LUMO2D;

namespace {
typedef mpq_class Q;
using lumo_test::exactArea;
using lumo_test::exactLoopArea;
using lumo_test::Loop;
using lumo_test::loopSegments;
using lumo_test::rect;
using lumo_test::reversed;
using lumo_test::zoneTriangles;
typedef std::set<Triangle2*> TSet;

// Whether (x, y), which lies on no loop edge, is inside the loop: crossings of a ray to +x.
bool inside(const Loop& loop, const Q& x, const Q& y) {
    bool in = false;
    for (size_t i = 0; i < loop.size(); ++i) {
        const Point2 &a = loop[i], &b = loop[(i + 1) % loop.size()];
        if ((Q(a.y()) > y) == (Q(b.y()) > y)) continue;
        const Q xi = Q(a.x()) + (y - a.y()) * (Q(b.x()) - a.x()) / (Q(b.y()) - a.y());
        if (x < xi) in = !in;
    }
    return in;
}
TSet setOf(const Zone2* pZone) {
    const std::vector<Triangle2*> v = zoneTriangles(pZone);
    EXPECT_EQ(TSet(v.begin(), v.end()).size(), v.size()) << "a triangle reported twice";
    return TSet(v.begin(), v.end());
}

// Random points in [0, 10)^2 and the box corners, so that the hull encloses every polygon;
// a cocircular ring and a grid bring degenerate configurations.
std::vector<Point2> background(unsigned seed, size_t n) {
    std::vector<Point2> v = lumo_test::randomPoints(n, seed, 0.0, 10.0);
    for (double x : {0.0, 10.0})
        for (double y : {0.0, 10.0}) v.emplace_back(x, y);
    for (int i = 0; i < 10; ++i) v.emplace_back(0.5 + i, 9.5);
    for (int x = -5; x <= 5; ++x)
        for (int y = -5; y <= 5; ++y)
            if (x * x + y * y == 25) v.emplace_back(5 + 0.5 * x, 5 + 0.5 * y);
    return v;
}
// A triangulation with its graphs, checked as a constrained Delaunay triangulation, in a
// private working directory (drawings, and the self-test's pictures should it fail).
struct Scene {
    lumo_test::ScopedTempDir tmp;
    Lumo_2D dt;
    std::vector<ConstraintGraph2*> vGraphs;
    explicit Scene(unsigned seed = 0, size_t n = 0) {
        if (n != 0) dt.insert(background(seed, n));
    }
    ConstraintGraph2* add(const Loop& loop, ConstraintInsertionStrategy cis = CIS_CONSTRAINED_DELAUNAY) {
        std::vector<Segment2> v = loopSegments(loop);
        vGraphs.push_back(dt.createConstraint(v, cis, true));
        return vGraphs.back();
    }
    Zone2* zoneOf(const Loop& loop, ZoneLocation loc = ZL_INSIDE) { return dt.createZone(add(loop), loc); }
    void track(const Zone2* pZone) { pZone->getConstraintGraphs(vGraphs); }
    Zone2* zoneOf(const TSet& sTriangles) {
        std::vector<Triangle2*> v(sTriangles.begin(), sTriangles.end());
        Zone2* pZone = dt.createZone(v);
        if (pZone != nullptr) track(pZone);
        return pZone;
    }
    void expectValid(const std::string& what) { ASSERT_EQ(lumo_test::constrainedFault(dt, vGraphs, what), ""); }
};

// The zone is exactly the region: every triangle of the triangulation is in the zone iff its
// barycentre is in the region (by exact point-in-polygon); as the loops' pieces are edges, that
// makes the zone's exact area the region's. The zone's own measures agree with its triangles';
// its border edges are the zone triangles' edges whose other side is not in the zone, each once.
void expectRegion(Scene& s, const Zone2* pZone, const std::vector<Loop>& vLoops,
                  const std::function<bool(const std::vector<bool>&)>& inRegion, bool bConforming) {
    s.expectValid("region");
    const TSet sZone = setOf(pZone);
    for (Triangle2* pT : lumo_test::triangles(s.dt)) {
        const Q x = (Q(pT->getCorner(0)->x()) + pT->getCorner(1)->x() + pT->getCorner(2)->x()) / 3;
        const Q y = (Q(pT->getCorner(0)->y()) + pT->getCorner(1)->y() + pT->getCorner(2)->y()) / 3;
        // A conforming sliver between split vertices rounded off a loop edge has its barycentre
        // within rounding of that edge, on either side: it belongs to the pieces' region.
        if (bConforming && lumo_test::distanceToRings(Point2(x.get_d(), y.get_d()), vLoops) < 1e-12) continue;
        std::vector<bool> vIn;
        for (const Loop& l : vLoops) vIn.push_back(inside(l, x, y));
        ASSERT_EQ(sZone.count(pT) != 0, inRegion(vIn)) << "triangle " << *pT;
    }
    const std::vector<Triangle2*> vT(sZone.begin(), sZone.end());
    const double area = exactArea(vT).get_d();
    EXPECT_NEAR(pZone->getArea2D(), area, 1e-12 * area + 1e-300);
    EXPECT_EQ(pZone->getNumberOfTriangles(), sZone.size());
    std::vector<Edge2> vBorder;
    pZone->getBorderEdges(vBorder);
    std::multiset<std::pair<Triangle2*, int>> sBorder, sExpected;
    for (const Edge2& e : vBorder) sBorder.emplace(e.getTriangle(), e.getIndex());
    Bbox2 box;
    for (Triangle2* pT : vT)
        for (int i = 0; i < 3; ++i) {
            if (pT->getOppositeTriangle(i) == nullptr || sZone.count(pT->getOppositeTriangle(i)) == 0) sExpected.emplace(pT, i);
            box.add(*pT->getCorner(i));
        }
    EXPECT_EQ(sBorder, sExpected);
    const Bbox2 zoneBox = pZone->getBoundingBox();
    EXPECT_EQ(zoneBox.isValid(), box.isValid());
    EXPECT_TRUE(!box.isValid() || (zoneBox.getMinPoint() == box.getMinPoint() && zoneBox.getMaxPoint() == box.getMaxPoint()));
}

struct PolygonRow {
    const char* what;
    std::vector<Loop> vLoops;   // one oriented graph each
    ZoneLocation loc;
    std::function<bool(const std::vector<bool>&)> inRegion;   // from the loops' inside flags
    bool bConforming;
};

Loop starPolygon(unsigned seed) {
    std::vector<Segment2> v;
    generateRandomPolygon(40, 1, 9, v, seed);
    Loop l;
    for (const Segment2& s : v) l.push_back(s.getSrc());
    return exactLoopArea(l) > 0 ? l : reversed(l);
}

const PolygonRow aPolygonRows[] = {
    {"ccw square, inside", {rect(2, 2, 6, 6)}, ZL_INSIDE, [](auto& v) { return bool(v[0]); }, false},
    {"ccw square, outside", {rect(2, 2, 6, 6)}, ZL_OUTSIDE, [](auto& v) { return !v[0]; }, false},
    {"cw square, inside is the outside", {reversed(rect(2, 2, 6, 6))}, ZL_INSIDE, [](auto& v) { return !v[0]; }, false},
    {"cw square, outside is the inside", {reversed(rect(2, 2, 6, 6))}, ZL_OUTSIDE, [](auto& v) { return bool(v[0]); }, true},
    {"conforming ccw star", {starPolygon(3)}, ZL_INSIDE, [](auto& v) { return bool(v[0]); }, true},
    {"cw star, outside", {reversed(starPolygon(4))}, ZL_OUTSIDE, [](auto& v) { return bool(v[0]); }, false},
    {"outer ccw with a cw hole", {starPolygon(5), reversed(rect(4.8, 4.8, 5.2, 5.2))}, ZL_INSIDE, [](auto& v) { return v[0] && !v[1]; }, false},
    {"outer ccw with a cw hole, outside", {rect(1, 1, 9, 9), reversed(rect(3, 3, 5, 5))}, ZL_OUTSIDE, [](auto& v) { return !v[0] || v[1]; }, false},
    {"nested ccw polygons", {rect(1, 1, 9, 9), rect(3, 3, 5, 5)}, ZL_INSIDE, [](auto& v) { return bool(v[0]); }, false},
    {"nested, outside of both", {rect(1, 1, 9, 9), rect(3, 3, 5, 5)}, ZL_OUTSIDE, [](auto& v) { return !v[1]; }, false},
    {"two squares sharing an edge", {rect(1, 1, 4, 4), rect(4, 1, 7, 3)}, ZL_INSIDE, [](auto& v) { return v[0] || v[1]; }, false},
    {"squares sharing a corner, outside", {rect(1, 1, 4, 4), rect(4, 4, 7, 8)}, ZL_OUTSIDE, [](auto& v) { return !v[0] && !v[1]; }, false},
};

} // namespace

TEST(Zones, PolygonZonesAreExactlyTheirRegionBeforeAndAfterMoreInsertions) {
    unsigned seed = 1;
    for (const PolygonRow& row : aPolygonRows) {
        SCOPED_TRACE(row.what);
        Scene s(++seed, 300);
        for (const Loop& l : row.vLoops) s.add(l, row.bConforming ? CIS_CONFORMING_DELAUNAY : CIS_CONSTRAINED_DELAUNAY);
        Zone2* pZone = row.vLoops.size() == 1 ? s.dt.createZone(s.vGraphs[0], row.loc) : s.dt.createZone(s.vGraphs, row.loc);
        ASSERT_NE(pZone, nullptr);
        expectRegion(s, pZone, row.vLoops, row.inRegion, row.bConforming);
        // Later points, some on the polygon edges (they split segments): the zone follows.
        std::vector<Point2> vMore = lumo_test::randomPoints(200, seed + 100, 0.0, 10.0);
        for (const Loop& l : row.vLoops)
            for (size_t i = 0; i < l.size(); ++i)
                vMore.emplace_back(l[i].x() * 0.5 + l[(i + 1) % l.size()].x() * 0.5, l[i].y() * 0.5 + l[(i + 1) % l.size()].y() * 0.5);
        s.dt.insert(vMore);
        SCOPED_TRACE("after insertions");
        expectRegion(s, pZone, row.vLoops, row.inRegion, row.bConforming);
    }
}

// Each result zone against the same algebra on std::set, and its exact area from the
// polygons: A 25, B 36, overlap [3,6]x[2,6] 12.
TEST(Zones, SetOperationsAreSetAlgebraOnTriangles) {
    Scene s(7, 400);
    Zone2 *pA = s.zoneOf(rect(1, 1, 6, 6)), *pB = s.zoneOf(rect(3, 2, 9, 8));   // B crosses A twice
    Zone2 *pGlobal = s.dt.createZone(nullptr, ZL_GLOBAL), *pU = zoneUnion(pA, pB), *pI = zoneIntersection(pA, pB), *pD = zoneDifference(pA, pB);
    EXPECT_EQ(pU->getZoneLocation(), ZL_RESULT_UNION);
    // Results of results: (A-B) u (A n B) = A, and the complement of the union.
    const struct { Zone2* pZone; std::function<bool(bool, bool)> inside; int area; } aRows[] = {
        {pU, [](bool a, bool b) { return a || b; }, 25 + 36 - 12},
        {pI, [](bool a, bool b) { return a && b; }, 12},
        {pD, [](bool a, bool b) { return a && !b; }, 25 - 12},
        {zoneSymmetricDifference(pA, pB), [](bool a, bool b) { return a != b; }, 25 + 36 - 24},
        {zoneUnion(pD, pI), [](bool a, bool) { return a; }, 25},
        {zoneDifference(pGlobal, pU), [](bool a, bool b) { return !a && !b; }, -1},
    };
    for (int round = 0; round < 2; ++round) {
        SCOPED_TRACE(round);
        s.expectValid("set operations");
        const TSet a = setOf(pA), b = setOf(pB), all = setOf(pGlobal);
        EXPECT_EQ(all.size(), s.dt.numberOfTriangles());
        for (const auto& row : aRows) {
            TSet expected;
            for (Triangle2* pT : all)
                if (row.inside(a.count(pT) != 0, b.count(pT) != 0)) expected.insert(pT);
            EXPECT_EQ(setOf(row.pZone), expected);
            EXPECT_TRUE(row.area < 0 || exactArea(zoneTriangles(row.pZone)) == row.area) << exactArea(zoneTriangles(row.pZone)).get_str();
        }
        s.dt.insert(lumo_test::randomPoints(300, 99, 0.0, 10.0));
    }
}

namespace {
// Every triangle reachable from pStart through next(pT, i), the triangles across edge i of pT.
TSet flood(Triangle2* pStart, const std::function<std::vector<Triangle2*>(Triangle2*, int)>& next) {
    TSet sReached{pStart};
    for (std::vector<Triangle2*> vStack{pStart}; !vStack.empty();) {
        Triangle2* pT = vStack.back();
        vStack.pop_back();
        for (int i = 0; i < 3; ++i)
            for (Triangle2* pN : next(pT, i))
                if (sReached.insert(pN).second) vStack.push_back(pN);
    }
    return sReached;
}

// The oracle's flood fill: neighbours from a map of undirected corner pairs, barriers from the
// graphs' alive pieces, the start triangle by exact orientation over all triangles.
TSet bruteGrow(const Lumo_2D& dt, const std::vector<ConstraintGraph2*>& vGraphs, const Point2& start) {
    typedef std::pair<const Point2*, const Point2*> Pair;
    auto key = [](const Point2* p, const Point2* q) { return p < q ? Pair(p, q) : Pair(q, p); };
    std::map<Pair, std::vector<Triangle2*>> mEdges;
    Triangle2* pStart = nullptr;
    for (Triangle2* pT : lumo_test::triangles(dt)) {
        bool bIn = true;
        for (int i = 0; i < 3; ++i) {
            mEdges[key(pT->getCorner(i), pT->getCorner((i + 1) % 3))].push_back(pT);
            bIn = bIn && lumo_test::exactOrientation(*pT->getCorner(i), *pT->getCorner((i + 1) % 3), start) > 0;
        }
        if (bIn) pStart = pT;
    }
    std::set<Pair> sBarrier;
    for (ConstraintGraph2* pG : vGraphs) {
        std::vector<ConstraintSegment2*> v;
        pG->getChildConstraintSegments(v);
        for (ConstraintSegment2* c : v) sBarrier.insert(key(c->getSrc(), c->getTrg()));
    }
    if (pStart == nullptr) return TSet();
    return flood(pStart, [&](Triangle2* pT, int i) {
        const Pair e = key(pT->getCorner(i), pT->getCorner((i + 1) % 3));
        return sBarrier.count(e) != 0 ? std::vector<Triangle2*>() : mEdges[e];
    });
}
} // namespace

TEST(Zones, GrownZonesEqualABruteForceFloodFill) {
    std::mt19937_64 rng(5);
    std::uniform_real_distribution<double> d(0.0, 10.0);
    for (int round = 0; round < 6; ++round) {
        SCOPED_TRACE(round);
        Scene s(round + 20, 200);
        // A closed polygon and loose crossing segments (not oriented: growth needs no direction).
        s.add(starPolygon(round + 30));
        std::vector<Segment2> vLoose;
        for (int k = 0; k < 8; ++k) vLoose.emplace_back(Point2(d(rng), d(rng)), Point2(d(rng), d(rng)));
        s.vGraphs.push_back(s.dt.createConstraint(vLoose, round % 2 ? CIS_CONSTRAINED_DELAUNAY : CIS_CONFORMING_DELAUNAY));
        // Growth stops at the zone's own graphs only: with the polygon alone, the loose
        // segments inside do not stop it.
        const std::vector<std::vector<ConstraintGraph2*>> vGraphSets{s.vGraphs, {s.vGraphs[0]}, {}};
        for (const auto& vG : vGraphSets) {
            const Point2 start(d(rng), d(rng));
            Zone2* pZone = s.dt.createZone(vG, ZL_GROW, start);
            ASSERT_NE(pZone, nullptr);
            s.expectValid("grow");
            EXPECT_EQ(setOf(pZone), bruteGrow(s.dt, vG, start));
            s.dt.insert(lumo_test::randomPoints(50, round * 7 + 3, 0.0, 10.0));
            EXPECT_EQ(setOf(pZone), bruteGrow(s.dt, vG, start)) << "after insertions";
        }
    }
}

namespace {
// The zone's bounded copy and the zone made of its triangles hold its triangles; its components
// are a partition of them into edge-connected parts (the flood fill across edges inside each part
// reaches all of it), no edge between two parts. Returns their number.
size_t expectDerivedZones(Scene& s, Zone2* pZone) {
    const TSet sZone = setOf(pZone);
    Zone2 *pBounded = pZone->convertToBoundedZone(), *pExplicit = s.zoneOf(sZone);
    EXPECT_TRUE(pBounded != nullptr && pExplicit != nullptr);
    if (pBounded == nullptr || pExplicit == nullptr) return 0;
    s.track(pBounded);
    EXPECT_EQ(pBounded->getZoneLocation(), ZL_BOUNDED);
    EXPECT_EQ(setOf(pBounded), sZone);
    EXPECT_EQ(setOf(pExplicit), sZone);
    std::vector<Zone2*> vParts;
    pZone->getComponentZones(vParts);
    std::map<Triangle2*, size_t> mPartOf;
    for (size_t k = 0; k < vParts.size(); ++k) {
        s.track(vParts[k]);
        const TSet sPart = setOf(vParts[k]);
        EXPECT_EQ(flood(*sPart.begin(), [&](Triangle2* pT, int i) {
                      Triangle2* pN = pT->getOppositeTriangle(i);
                      return sPart.count(pN) != 0 ? std::vector<Triangle2*>{pN} : std::vector<Triangle2*>();
                  }).size(), sPart.size()) << "a component is not connected across edges";
        for (Triangle2* pT : sPart) EXPECT_TRUE(mPartOf.emplace(pT, k).second);
    }
    EXPECT_EQ(mPartOf.size(), sZone.size());
    for (const auto& tk : mPartOf)
        for (int i = 0; i < 3; ++i) {
            auto it = mPartOf.find(tk.first->getOppositeTriangle(i));
            EXPECT_TRUE(it == mPartOf.end() || it->second == tk.second);
        }
    return vParts.size();
}

// The host's predicate of the peeling test: left of x.
struct LeftOf : UserPredicateT {
    double x;
    explicit LeftOf(double x_) : x(x_) {}
    bool operator()(const Triangle2* pT) override { return pT->getBarycenter().x() < x; }
};
} // namespace

// Bounded copies, components and zones of explicit triangles keep the triangles (holes,
// several parts, parts touching only at vertices as on a checkerboard) and change none.
TEST(Zones, DerivedZonesKeepTheTrianglesAndChangeNone) {
    Scene s(11, 300);
    Zone2 *pIn = s.zoneOf(starPolygon(12)), *pOut = s.dt.createZone(s.vGraphs[0], ZL_OUTSIDE);
    Zone2* pHole = s.zoneOf(reversed(rect(4.5, 4.5, 5.5, 5.5)));
    Zone2* pGrow = s.dt.createZone(s.vGraphs[0], ZL_GROW, Point2(0.2, 0.3));
    Zone2* pGlobal = s.dt.createZone(nullptr, ZL_GLOBAL);
    Zone2* pResult = zoneIntersection(pIn, pHole);   // the star with a square hole
    const auto before = lumo_test::canonicalTriangles(lumo_test::triangles(s.dt));
    for (Zone2* pZone : {pIn, pOut, pGrow, pGlobal, pResult}) expectDerivedZones(s, pZone);
    EXPECT_EQ(lumo_test::canonicalTriangles(lumo_test::triangles(s.dt)), before);
    s.expectValid("derived zones");
    Scene g;
    std::vector<Point2> vGrid;
    for (int x = 0; x <= 6; ++x)
        for (int y = 0; y <= 6; ++y) vGrid.emplace_back(x, y + 0.001 * x * x);   // no cocircular quadruples
    g.dt.insert(vGrid);
    TSet sChecker;
    for (Triangle2* pT : lumo_test::triangles(g.dt))
        if ((int(pT->getBarycenter().x()) + int(pT->getBarycenter().y())) % 2 == 0) sChecker.insert(pT);
    Zone2* pChecker = g.zoneOf(sChecker);
    ASSERT_NE(pChecker, nullptr);
    EXPECT_EQ(setOf(pChecker), sChecker);
    EXPECT_GT(expectDerivedZones(g, pChecker), 1u);
    g.expectValid("checkerboard");
}

TEST(Zones, PeelingRemovesExactlyTheReachableAcceptedTriangles) {
    Scene s(13, 400);
    Zone2* pIn = s.zoneOf(rect(1, 1, 9, 9));
    LeftOf pred(5);
    Zone2* pPeeled = nullptr;
    const std::string out = lumo_test::stdoutOf([&] { pPeeled = peelOffIf(pIn, &pred, true); });
    ASSERT_NE(pPeeled, nullptr);
    s.track(pPeeled);
    const TSet sAll = setOf(pIn), sRest = setOf(pPeeled);
    EXPECT_NE(out.find(std::to_string(sAll.size() - sRest.size()) + " triangle(s) peeled off"), std::string::npos);
    // Every peeled triangle is accepted; no triangle on the border of what remains is.
    for (Triangle2* pT : sAll) {
        bool bOnBorder = false;
        for (int i = 0; i < 3; ++i) bOnBorder = bOnBorder || sRest.count(pT->getOppositeTriangle(i)) == 0;
        EXPECT_TRUE(sRest.count(pT) != 0 ? !(bOnBorder && pred(pT)) : pred(pT)) << *pT;
    }
    EXPECT_LT(sRest.size(), sAll.size());
    // Peeling everything leaves no zone.
    LeftOf all(100);
    EXPECT_EQ(peelOffIf(pIn, &all, false), nullptr);
    s.expectValid("peeled");
}

TEST(Zones, DrawingsAndExportsOfAZone) {
    Scene s(17, 100);
    Zone2* pIn = s.zoneOf(rect(2, 2, 6, 6));
    const std::string out = lumo_test::stdoutOf([&] {
        pIn->show("zone.ps");
        s.dt.writeObj("zone.obj", pIn);
        s.dt.writeWebScene("scene", pIn);
        pIn->statistics("inside");
    });
    EXPECT_NE(out.find("\n\n\n********* ZONE STATISTICS (inside) **********\n\n"), std::string::npos);
    // The OBJ holds exactly the zone's faces, the scene's OBJ is the same file, and the drawing
    // fills each zone triangle once.
    const std::string obj = lumo_test::readFile("zone.obj");
    EXPECT_EQ(lumo_test::countOf(obj, "\nf "), pIn->getNumberOfTriangles());
    EXPECT_EQ(lumo_test::readFile("scene/3d.obj"), obj);
    EXPECT_EQ(lumo_test::countOf(lumo_test::readFile("zone.ps"), "  fill"), pIn->getNumberOfTriangles());
    EXPECT_TRUE(lumo_test::fileExists("scene/2d.svg"));
}
