// Polygon helpers against what the test built itself: rings generated as polygons (with holes
// and rings touching at vertices) and handed over as shuffled, randomly flipped edges; the
// exact pairwise segment classification of tests/support for simplicity; exact rational areas
// for orientation; edge sets of triangles read from their corners.
#include <gtest/gtest.h>
#include <gmpxx.h>
#include <algorithm>
#include <cmath>
#include <map>
#include <random>
#include <set>
#include "DelaunayOracle.h"
#include "ExactPolygons.h"
#include "Lumo_2D.h"
#include "MessageText.h"
#include "TriangulationBuilders.h"
#include "segmentOracle.h"

using namespace ORBI_LUMO2D;

namespace {
using lumo_test::exactLoopArea;
using lumo_test::Loop;
using lumo_test::loopSegments;
using lumo_test::scaled;
typedef std::pair<double, double> XY;
typedef std::multiset<std::pair<XY, XY>> EdgeBag;

XY xy(const Point2& p) { return XY(p.x() + 0.0, p.y() + 0.0); }

// A ring as its vertex sequence from the smallest vertex, in the smaller of its two directions:
// equal for the same ring given from any start in either direction.
std::vector<XY> canonical(const Loop& loop) {
    std::vector<XY> v;
    for (const Point2& p : loop) v.push_back(xy(p));
    std::rotate(v.begin(), std::min_element(v.begin(), v.end()), v.end());
    std::vector<XY> r(v.rbegin(), v.rend());
    std::rotate(r.begin(), r.end() - 1, r.end());
    return std::min(v, r);
}
// The vertices of a closed chain; fails the test where a segment does not start at the
// previous one's end.
template <class E, class Src, class Trg>
Loop chainVertices(const std::vector<E>& vChain, Src src, Trg trg) {
    Loop loop;
    for (size_t i = 0; i < vChain.size(); ++i) {
        EXPECT_EQ(xy(trg(vChain[i])), xy(src(vChain[(i + 1) % vChain.size()]))) << "chain broken after " << i;
        loop.push_back(src(vChain[i]));
    }
    return loop;
}
Loop segmentChainVertices(const std::vector<Segment2>& v) {
    return chainVertices(v, [](const Segment2& s) { return s.getSrc(); }, [](const Segment2& s) { return s.getTrg(); });
}
Loop edgeChainVertices(const std::vector<Edge2>& v) {
    return chainVertices(v, [](const Edge2& e) { return *e.getSrc(); }, [](const Edge2& e) { return *e.getTrg(); });
}

// A polygon star-shaped around (cx, cy): n vertices at jittered angles (the first at angle 0),
// radii in [rMin, rMax], with the vertex at angle 0 replaced by pAt0 when given. Simple by
// construction: the angles increase strictly.
Loop starPolygon(std::mt19937& rng, double cx, double cy, int n, double rMin, double rMax, const Point2* pAt0) {
    std::uniform_real_distribution<double> jitter(-0.35, 0.35), radius(rMin, rMax);
    Loop loop;
    for (int i = 0; i < n; ++i) {
        const double a = 2 * M_PI * (i + (i == 0 ? 0.0 : jitter(rng))) / n, r = radius(rng);
        loop.emplace_back(cx + r * std::cos(a), cy + r * std::sin(a));
    }
    if (pAt0 != nullptr) loop[0] = *pAt0;
    return loop;
}

// Rings in a row of unit-square cells (side 2, centres at odd integers): in each cell an outer
// ring counterclockwise with, in some, a hole clockwise. Where asked, a ring reaches the right
// border of its cell at (cx + 1, cy), and the next cell's ring reaches its left border at the
// same point; a hole may touch its outer ring at the outer ring's vertex at angle 0, which may
// be that border point too. The rings touch only at such single vertices, and no chain of
// touching rings closes a cycle, so the rings are the only way to split the edges into rings
// that pass no vertex twice.
struct RingSet {
    std::vector<Loop> vLoops;
};
RingSet ringRow(unsigned seed, int numCells, bool bTouchNeighbours, bool bHoles, bool bHolesTouch) {
    std::mt19937 rng(seed);
    RingSet s;
    for (int c = 0; c < numCells; ++c) {
        const double cx = 2 * c + 1, cy = 1;
        const Point2 right(cx + 1, cy);
        const bool bReachRight = bTouchNeighbours && c + 1 < numCells;
        Loop outer = starPolygon(rng, cx, cy, 12, 0.6, 0.9, bReachRight ? &right : nullptr);
        if (bTouchNeighbours && c > 0) {
            // The vertex nearest to angle pi goes to the left border point.
            size_t k = 0;
            for (size_t i = 0; i < outer.size(); ++i)
                if (outer[i].x() < outer[k].x()) k = i;
            outer[k] = Point2(cx - 1, cy);
        }
        s.vLoops.push_back(outer);
        if (bHoles && rng() % 3 != 0) {
            // Radii below 0.45 stay inside every outer chord (12 vertices, radii >= 0.6); the
            // hole's 36 angles keep its spike to outer[0] inside the outer ring's wedges there.
            Loop hole = starPolygon(rng, cx, cy, 36, 0.1, 0.45, bHolesTouch ? &outer[0] : nullptr);
            std::reverse(hole.begin(), hole.end());
            s.vLoops.push_back(hole);
        }
    }
    return s;
}

std::multiset<std::vector<XY>> canonicalSet(const std::vector<Loop>& vLoops) {
    std::multiset<std::vector<XY>> s;
    for (const Loop& l : vLoops) s.insert(canonical(l));
    return s;
}

struct RingCase {
    unsigned seed;
    int numCells;
    bool bTouchNeighbours, bHoles, bHolesTouch, bExtras;
};

TEST(PolygonHelpers, RingsFromShuffledEdgesAreTheGeneratedRings) {
    const RingCase aCases[] = {
        {1, 1, false, false, false, false}, {2, 4, false, true, false, true},  {3, 5, true, false, false, false},
        {4, 4, false, true, true, true},    {5, 6, true, true, true, true},    {6, 8, true, true, true, false},
        {7, 3, true, true, false, true},
    };
    for (const RingCase& c : aCases) {
        SCOPED_TRACE("seed " + std::to_string(c.seed));
        const RingSet rings = ringRow(c.seed, c.numCells, c.bTouchNeighbours, c.bHoles, c.bHolesTouch);
        std::vector<Segment2> vEdges, vExtras;
        for (const Loop& l : rings.vLoops)
            for (const Segment2& s : loopSegments(l)) vEdges.push_back(s);
        if (c.bExtras) {
            // Edges that close no ring: a path hanging off a ring vertex, a loose path, a copy
            // of a ring edge and a zero-length segment.
            const Point2 a = rings.vLoops[0][3];
            vExtras = {Segment2(a, Point2(-1, -1)), Segment2(Point2(-1, -1), Point2(-2, -3)), Segment2(Point2(-2, -3), Point2(-4, -1)),
                       Segment2(Point2(50, 50), Point2(51, 50)), vEdges[5], Segment2(Point2(7, 7), Point2(7, 7))};
            vEdges.insert(vEdges.end(), vExtras.begin(), vExtras.end());
        }
        std::mt19937 rng(c.seed);
        std::shuffle(vEdges.begin(), vEdges.end(), rng);
        for (Segment2& s : vEdges)
            if (rng() % 2) s.swapSrcTrg();

        std::vector<std::vector<Segment2>> vvRings;
        std::vector<Segment2> vRemaining;
        edgesToPolygons(vEdges, vvRings, vRemaining);
        std::vector<Loop> vFound;
        for (const std::vector<Segment2>& v : vvRings) vFound.push_back(segmentChainVertices(v));
        EXPECT_EQ(canonicalSet(vFound), canonicalSet(rings.vLoops));
        std::multiset<std::vector<XY>> sRemaining, sExtras;
        for (const Segment2& s : vRemaining) sRemaining.insert(canonical({s.getSrc(), s.getTrg()}));
        for (const Segment2& s : vExtras) sExtras.insert(canonical({s.getSrc(), s.getTrg()}));
        EXPECT_EQ(sRemaining, sExtras);
    }
}

// Borders of zones bounded by generated rings: the border edges are the rings' segments as
// given (the zone on their left), and chained they are the rings, outer ones counterclockwise.
TEST(PolygonHelpers, BordersOfAZoneAreItsConstraintEdges) {
    for (unsigned seed : {11u, 12u, 13u}) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        const RingSet rings = ringRow(seed, 4, seed != 11, true, seed != 12);
        Lumo_2D dt;
        std::vector<Point2> vInput = lumo_test::randomPoints(200, seed, 0.0, 8.0);
        for (Point2& p : vInput) p = Point2(p.x(), p.y() * 0.25);   // [0,8) x [0,2)
        dt.insert(vInput);
        std::vector<ConstraintGraph2*> vGraphs;
        std::set<std::pair<XY, XY>> sGiven;
        for (const Loop& l : rings.vLoops) {
            std::vector<Segment2> v = loopSegments(l);
            for (const Segment2& s : v) sGiven.insert({xy(s.getSrc()), xy(s.getTrg())});
            vGraphs.push_back(dt.createConstraint(v, CIS_CONSTRAINED_DELAUNAY, true));
        }
        Zone2* pZone = dt.createZone(vGraphs, ZL_INSIDE);
        ASSERT_NE(pZone, nullptr);
        std::vector<Triangle2*> vT, vTwice;
        pZone->getTriangles(vT);
        vTwice = vT;
        vTwice.insert(vTwice.end(), vT.begin(), vT.begin() + long(vT.size() / 2));   // duplicates count once

        std::vector<Edge2> vBorder, vZoneBorder;
        getBorders(vTwice, vBorder);
        pZone->getBorderEdges(vZoneBorder);
        std::set<std::pair<XY, XY>> sBorder, sZoneBorder;
        for (const Edge2& e : vBorder) sBorder.insert({xy(*e.getSrc()), xy(*e.getTrg())});
        for (const Edge2& e : vZoneBorder) sZoneBorder.insert({xy(*e.getSrc()), xy(*e.getTrg())});
        EXPECT_EQ(vBorder.size(), sGiven.size());
        EXPECT_EQ(sBorder, sGiven);
        EXPECT_EQ(sZoneBorder, sGiven);

        std::vector<std::vector<Edge2>> vvRings;
        getBorders(vT, vvRings);
        std::vector<Loop> vFound;
        for (const std::vector<Edge2>& v : vvRings) vFound.push_back(edgeChainVertices(v));
        EXPECT_EQ(canonicalSet(vFound), canonicalSet(rings.vLoops));
        for (const Loop& l : vFound) {
            // A direction kept: each found ring has the sign of the generated ring it equals.
            for (const Loop& g : rings.vLoops)
                if (canonical(g) == canonical(l)) {
                    EXPECT_EQ(sgn(exactLoopArea(l)), sgn(exactLoopArea(g)));
                }
        }
        // The same rings from the border edges in any order.
        std::vector<std::vector<Edge2>> vvAgain;
        std::vector<Edge2> vRemaining;
        std::reverse(vBorder.begin(), vBorder.end());
        edgesToPolygons(vBorder, vvAgain, vRemaining);
        EXPECT_EQ(vvAgain.size(), vvRings.size());
        EXPECT_TRUE(vRemaining.empty());
        for (const Loop& l : rings.vLoops) vInput.insert(vInput.end(), l.begin(), l.end());
        const std::vector<lumo_test::CoordEdge> vConstraintEdges(sGiven.begin(), sGiven.end());
        EXPECT_EQ(lumo_test::checkDelaunayTriangulation(vInput, lumo_test::triangles(dt), &vConstraintEdges), "");
    }
}

// A hole touching its outer ring at two vertices cuts the region into two parts that touch
// there; the border rings are the parts' own borders (the sharpest left turn at the touching
// vertices), not the outer ring and the hole, whatever the order of the edges.
TEST(PolygonHelpers, BorderRingsOfPartsTouchingTwiceBoundEachPart) {
    const Point2 p(-2, 0), q(2, 0), top(0, 1), bottom(0, -1);
    const Loop outer{Point2(-2, -2), Point2(2, -2), q, Point2(2, 2), Point2(-2, 2), p};
    const Loop hole{p, top, q, bottom};   // clockwise
    const Loop upper{q, Point2(2, 2), Point2(-2, 2), p, top}, lower{Point2(-2, -2), Point2(2, -2), q, bottom, p};
    Lumo_2D dt;
    std::vector<Segment2> vOuter = loopSegments(outer), vHole = loopSegments(hole);
    std::vector<ConstraintGraph2*> vGraphs{dt.createConstraint(vOuter, CIS_CONSTRAINED_DELAUNAY, true),
                                           dt.createConstraint(vHole, CIS_CONSTRAINED_DELAUNAY, true)};
    EXPECT_EQ(lumo_test::constrainedFault(dt, vGraphs, "touching twice"), "");
    Zone2* pZone = dt.createZone(vGraphs, ZL_INSIDE);
    ASSERT_NE(pZone, nullptr);
    std::vector<Triangle2*> vT = lumo_test::zoneTriangles(pZone);
    for (bool bReverse : {false, true}) {
        if (bReverse) std::reverse(vT.begin(), vT.end());
        std::vector<std::vector<Edge2>> vvRings;
        getBorders(vT, vvRings);
        std::vector<Loop> vFound;
        for (const std::vector<Edge2>& v : vvRings) vFound.push_back(edgeChainVertices(v));
        EXPECT_EQ(canonicalSet(vFound), canonicalSet({upper, lower}));
        for (const Loop& l : vFound) EXPECT_GT(sgn(exactLoopArea(l)), 0);
    }
}

// ---- simplicity against brute force --------------------------------------------------------------

// One ring with every vertex on exactly two segments, and no two segments meeting except
// consecutive ones at their shared endpoint: the exact classification of every pair.
bool bruteForceSimple(const std::vector<Segment2>& v) {
    if (v.size() < 3) return false;
    std::map<XY, std::vector<size_t>> mAt;
    for (size_t i = 0; i < v.size(); ++i) {
        if (xy(v[i].getSrc()) == xy(v[i].getTrg())) return false;
        mAt[xy(v[i].getSrc())].push_back(i);
        mAt[xy(v[i].getTrg())].push_back(i);
    }
    for (const auto& kv : mAt)
        if (kv.second.size() != 2) return false;
    // Connected: walk from segment 0.
    size_t numSeen = 1, cur = 0;
    XY at = xy(v[0].getTrg());
    while (true) {
        const std::vector<size_t>& two = mAt[at];
        const size_t next = two[0] == cur ? two[1] : two[0];
        if (next == 0) break;
        at = xy(v[next].getSrc()) == at ? xy(v[next].getTrg()) : xy(v[next].getSrc());
        cur = next;
        ++numSeen;
    }
    if (numSeen != v.size()) return false;
    for (size_t i = 0; i < v.size(); ++i)
        for (size_t j = i + 1; j < v.size(); ++j) {
            const bool bAdjacent = xy(v[i].getSrc()) == xy(v[j].getSrc()) || xy(v[i].getSrc()) == xy(v[j].getTrg()) ||
                                   xy(v[i].getTrg()) == xy(v[j].getSrc()) || xy(v[i].getTrg()) == xy(v[j].getTrg());
            const SegmentIntersectionType t = lumo_test::classifyExactly(v[i], v[j]).type;
            if (t != (bAdjacent ? SIT_ENDPOINT : SIT_NONE)) return false;
        }
    return true;
}

TEST(PolygonHelpers, SimplicityIsTheExactPairwiseAnswer) {
    const double e = std::ldexp(1.0, -52);
    std::vector<Loop> vLoops = {
        {Point2(0, 0), Point2(1, 0), Point2(0, 1)},                                   // triangle
        {Point2(0, 0), Point2(2, 0), Point2(2, 2), Point2(0, 2)},                     // square
        {Point2(0, 0), Point2(2, 2), Point2(2, 0), Point2(0, 2)},                     // bow tie
        {Point2(0, 0), Point2(2, 0), Point2(1, 0), Point2(1, 1)},                     // folds back on itself
        {Point2(0, 0), Point2(4, 0), Point2(4, 4), Point2(2, 0), Point2(0, 4)},       // vertex on an edge
        {Point2(0, 0), Point2(1, 0), Point2(2, 0), Point2(1, 1)},                     // collinear run, still simple
        {Point2(0, 0), Point2(2, 0), Point2(1, 1), Point2(2, 2), Point2(0, 2), Point2(1, 1)},   // touches itself
        {Point2(0, 0), Point2(1, 0), Point2(1, e), Point2(0.5, -e), Point2(0, 1)},    // crossing at a tiny angle
        {Point2(0, 0), Point2(1, 0), Point2(1, e), Point2(0.5, e), Point2(0, 1)},     // passing at a tiny distance
        {Point2(0, 0), Point2(1, 0), Point2(0, 0), Point2(0, 1)},                     // repeated vertex
        {Point2(0, 0), Point2(1, 0)},                                                 // two segments
    };
    const size_t numFixed = vLoops.size();
    for (size_t i = 0; i < numFixed; ++i) {
        vLoops.push_back(scaled(vLoops[i], 1e300));
        vLoops.push_back(scaled(vLoops[i], 1e-300));
    }
    // Random vertex orders on a small integer grid (mostly self-intersecting, many collinear
    // and touching cases) and random star polygons (simple).
    std::mt19937 rng(5);
    for (int k = 0; k < 300; ++k) {
        Loop l;
        const int n = 3 + int(rng() % 6);
        for (int i = 0; i < n; ++i) l.emplace_back(double(rng() % 4), double(rng() % 4));
        vLoops.push_back(l);
    }
    for (int k = 0; k < 20; ++k) vLoops.push_back(starPolygon(rng, 0, 0, 5 + int(rng() % 30), 0.2, 1.0, nullptr));

    int numSimple = 0;
    for (size_t i = 0; i < vLoops.size(); ++i) {
        std::vector<Segment2> v = loopSegments(vLoops[i]);
        if (vLoops[i].size() == 2) v.pop_back();
        std::shuffle(v.begin(), v.end(), rng);
        const bool bExpected = bruteForceSimple(v);
        numSimple += bExpected;
        EXPECT_EQ(isSimplePolygon(v), bExpected) << "loop " << i;
    }
    EXPECT_GT(numSimple, 40);   // both answers are well represented
    EXPECT_LT(numSimple, int(vLoops.size()) - 100);
}

// ---- one ring: chain and orientation -------------------------------------------------------------

TEST(PolygonHelpers, SortRingChainsAndSortRingCCWTurnsByTheExactArea) {
    const double e = std::ldexp(1.0, -60);
    std::mt19937 rng(21);
    std::vector<Loop> vLoops = {
        {Point2(0, 0), Point2(1, 0), Point2(0, 1)},
        {Point2(0, 0), Point2(1, 1), Point2(2, 2 + 4 * e * 1e10), Point2(1e-300, 1e-300)},   // needle
        {Point2(1e300, 1e300), Point2(1e300 + 1e285, 1e300), Point2(1e300, -1e300)},
        {Point2(0, 0), Point2(2, 2), Point2(2, 0), Point2(0, std::nextafter(2.0, 3.0))},   // bow tie, off balance by a hair
    };
    for (int k = 0; k < 10; ++k) vLoops.push_back(starPolygon(rng, 3, -2, 4 + k, 0.1, 5.0, nullptr));
    for (size_t i = 0; i < vLoops.size(); ++i) {
        for (bool bReverse : {false, true}) {
            SCOPED_TRACE("loop " + std::to_string(i) + (bReverse ? " reversed" : ""));
            Loop l = vLoops[i];
            if (bReverse) std::reverse(l.begin(), l.end());
            std::vector<Segment2> v = loopSegments(l);
            std::shuffle(v.begin(), v.end(), rng);
            for (Segment2& s : v)
                if (rng() % 2) s.swapSrcTrg();
            std::vector<Segment2> vChain, vCCW;
            ASSERT_TRUE(sortRing(v, vChain));
            ASSERT_TRUE(sortRingCCW(v, vCCW));
            EXPECT_EQ(vChain[0].getSrc(), v[0].getSrc());
            EXPECT_EQ(vChain[0].getTrg(), v[0].getTrg());
            EXPECT_EQ(vCCW[0], v[0]);
            const Loop chain = segmentChainVertices(vChain), ccw = segmentChainVertices(vCCW);
            EXPECT_EQ(canonical(chain), canonical(l));
            EXPECT_EQ(canonical(ccw), canonical(l));
            EXPECT_GT(sgn(exactLoopArea(ccw)), 0);
        }
    }
    // Refusals: more than one ring, an open chain, a ring without area.
    const std::vector<std::vector<Segment2>> vBad = {
        {Segment2(Point2(0, 0), Point2(1, 0)), Segment2(Point2(1, 0), Point2(0, 1))},
        loopSegments({Point2(0, 0), Point2(2, 2), Point2(2, 0), Point2(0, 2)}),
    };
    for (size_t i = 0; i < vBad.size(); ++i) {
        std::vector<Segment2> vOut;
        const std::string out = lumo_test::stdoutOf([&] { EXPECT_FALSE(sortRingCCW(vBad[i], vOut)); });
        EXPECT_EQ(out, i == 0 ? lumo_test::warning("sortRingCCW()", "the 2 segment(s) are not one closed ring, nothing appended")
                              : lumo_test::warning("sortRingCCW()", "the ring has no area, its orientation is undefined; nothing appended"));
        EXPECT_TRUE(vOut.empty());
    }
}

TEST(PolygonHelpers, PointsToPolyline) {
    const Point2 a(0, 0), b(1, 0), c(1, 1);
    struct Case {
        std::vector<Point2> vPoints;
        bool bClose;
        size_t numSegments;   // a, b, c, ... chained
    } aCases[] = {
        {{a, b, c}, false, 2}, {{a, b, c}, true, 3},   {{a, a, b, b, c}, false, 2},
        {{a, b, c, a}, true, 3}, {{a, b, c, a}, false, 3}, {{a}, false, 0}, {{}, false, 0},
    };
    for (const Case& k : aCases) {
        std::vector<Segment2> v{Segment2(c, c)};   // appended to, not replaced
        pointsToPolyline(k.vPoints, k.bClose, v);
        ASSERT_EQ(v.size(), k.numSegments + 1);
        for (size_t i = 1; i + 1 < v.size(); ++i) EXPECT_EQ(v[i].getTrg(), v[i + 1].getSrc());
        if (k.bClose) {
            EXPECT_EQ(v.back().getTrg(), v[1].getSrc());
        }
    }
}

// ---- edge sets of triangles -------------------------------------------------------------------------

TEST(PolygonHelpers, DirectedAndUndirectedEdgesAreThoseOfTheCorners) {
    lumo_test::Dt2Of dt(lumo_test::randomPoints(300, 3));
    EXPECT_EQ(lumo_test::meshFault(dt), "");
    std::vector<Triangle2*> vAll = lumo_test::triangles(dt), vSome;
    for (size_t i = 0; i < vAll.size(); i += 2) vSome.push_back(vAll[i]);
    vSome.push_back(vSome[0]);   // given twice, taken once
    EdgeBag sDirected, sExpectedDirected;
    std::set<std::pair<XY, XY>> sExpectedUndirected;
    for (size_t i = 0; i + 1 < vSome.size(); ++i)
        for (int k = 0; k < 3; ++k) {
            const XY p = xy(*vSome[i]->getCorner((k + 1) % 3)), q = xy(*vSome[i]->getCorner((k + 2) % 3));
            sExpectedDirected.insert({p, q});
            sExpectedUndirected.insert({std::min(p, q), std::max(p, q)});
        }
    std::vector<Edge2> vDirected, vUndirected;
    getDirectedEdges(vSome, vDirected);
    getUndirectedEdges(vSome, vUndirected);
    for (const Edge2& e : vDirected) sDirected.insert({xy(*e.getSrc()), xy(*e.getTrg())});
    EXPECT_EQ(sDirected, sExpectedDirected);
    EdgeBag sUndirected;
    for (const Edge2& e : vUndirected) {
        const XY p = xy(*e.getSrc()), q = xy(*e.getTrg());
        sUndirected.insert({std::min(p, q), std::max(p, q)});
    }
    EXPECT_EQ(sUndirected, EdgeBag(sExpectedUndirected.begin(), sExpectedUndirected.end()));
}

} // namespace
