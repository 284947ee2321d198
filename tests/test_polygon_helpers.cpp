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
typedef std::pair<double, double> XY;
typedef std::multiset<std::pair<XY, XY>> EdgeBag;

XY xy(const Point2& p) { return XY(p.x() + 0.0, p.y() + 0.0); }
// The point of a segment's end (a value) or an edge's (a vertex).
Point2 at(const Point2& p) { return p; }
Point2 at(const Point2* p) { return *p; }

// A ring as its vertex sequence from the smallest vertex: equal for the same ring given from
// any start; canonical is also equal for either direction.
std::vector<XY> directed(const Loop& loop) {
    std::vector<XY> v;
    for (const Point2& p : loop) v.push_back(xy(p));
    std::rotate(v.begin(), std::min_element(v.begin(), v.end()), v.end());
    return v;
}
std::vector<XY> canonical(const Loop& loop) { return std::min(directed(loop), directed(lumo_test::reversed(loop))); }
std::multiset<std::vector<XY>> canonicalSet(const std::vector<Loop>& vLoops, bool bDirected = false) {
    std::multiset<std::vector<XY>> s;
    for (const Loop& l : vLoops) s.insert(bDirected ? directed(l) : canonical(l));
    return s;
}
// The vertices of a closed chain of segments or edges; fails the test where one does not start
// at the previous one's end.
template <class E> Loop chainVertices(const std::vector<E>& vChain) {
    Loop loop;
    for (size_t i = 0; i < vChain.size(); ++i) {
        EXPECT_EQ(xy(at(vChain[i].getTrg())), xy(at(vChain[(i + 1) % vChain.size()].getSrc()))) << "chain broken after " << i;
        loop.push_back(at(vChain[i].getSrc()));
    }
    return loop;
}
template <class E> std::multiset<std::vector<XY>> ringsOf(const std::vector<std::vector<E>>& vvChains, bool bDirected = false) {
    std::vector<Loop> v;
    for (const std::vector<E>& c : vvChains) v.push_back(chainVertices(c));
    return canonicalSet(v, bDirected);
}
// The edges as coordinate pairs, with their ends sorted when undirected.
template <class E> EdgeBag bagOf(const std::vector<E>& v, bool bUndirected = false) {
    EdgeBag s;
    for (const E& e : v) {
        const XY p = xy(at(e.getSrc())), q = xy(at(e.getTrg()));
        s.insert(bUndirected ? std::make_pair(std::min(p, q), std::max(p, q)) : std::make_pair(p, q));
    }
    return s;
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

// Rings in a row of cells (side 2, centres at odd integers): in each cell an outer ring
// counterclockwise with, in some, a hole clockwise. Where asked, a ring reaches the right
// border of its cell at (cx + 1, cy), and the next cell's ring reaches its left border at the
// same point; a hole may touch its outer ring at the outer ring's vertex at angle 0, which may
// be that border point too. The rings touch only at such single vertices, and no chain of
// touching rings closes a cycle, so the rings are the only way to split the edges into rings
// that pass no vertex twice.
std::vector<Loop> ringRow(unsigned seed, int numCells, bool bTouchNeighbours, bool bHoles, bool bHolesTouch) {
    std::mt19937 rng(seed);
    std::vector<Loop> v;
    for (int c = 0; c < numCells; ++c) {
        const double cx = 2 * c + 1, cy = 1;
        const Point2 right(cx + 1, cy);
        Loop outer = starPolygon(rng, cx, cy, 12, 0.6, 0.9, bTouchNeighbours && c + 1 < numCells ? &right : nullptr);
        if (bTouchNeighbours && c > 0)   // the leftmost vertex goes to the left border point
            *std::min_element(outer.begin(), outer.end(), [](const Point2& a, const Point2& b) { return a.x() < b.x(); }) = Point2(cx - 1, cy);
        v.push_back(outer);
        if (bHoles && rng() % 3 != 0) {
            // Radii below 0.45 stay inside every outer chord (12 vertices, radii >= 0.6); the
            // hole's 36 angles keep its spike to outer[0] inside the outer ring's wedges there.
            v.push_back(lumo_test::reversed(starPolygon(rng, cx, cy, 36, 0.1, 0.45, bHolesTouch ? &outer[0] : nullptr)));
        }
    }
    return v;
}
// The ring's segments shuffled, each flipped at random.
std::vector<Segment2> scrambled(std::vector<Segment2> v, std::mt19937& rng) {
    std::shuffle(v.begin(), v.end(), rng);
    for (Segment2& s : v)
        if (rng() % 2) s.swapSrcTrg();
    return v;
}

// Rings in, rings out. Given as shuffled, randomly flipped segments among edges that close no
// ring (a path hanging off a ring vertex, a loose path, a copy of a ring edge, a zero-length
// segment), edgesToPolygons finds the rings, where they are the only way to split the edges, and
// leaves the rest. Given as oriented graphs bounding a zone, the border edges are the rings'
// segments as given (the zone on their left), and chained, in any order of the triangles or of
// the edges, they are the expected rings in their directions. A hole touching its outer ring at
// two vertices cuts the region into two parts that touch there: the border rings are the parts'
// own (the sharpest left turn at the touching vertices), not the outer ring and the hole.
TEST(PolygonHelpers, RingsBordersAndEdgesMatchWhatWasGiven) {
    const Point2 p(-2, 0), q(2, 0), top(0, 1), bottom(0, -1);
    const struct { const char* what; std::vector<Loop> vRings, vBorderRings; } aCases[] = {   // no vBorderRings: vRings
        {"one ring", ringRow(1, 1, false, false, false), {}},
        {"separate rings, some with holes", ringRow(2, 4, false, true, false), {}},
        {"rings touching", ringRow(3, 5, true, false, false), {}},
        {"separate rings, holes touching", ringRow(4, 4, false, true, true), {}},
        {"rings and holes touching", ringRow(5, 6, true, true, true), {}},
        {"eight rings and holes touching", ringRow(6, 8, true, true, true), {}},
        {"rings touching, holes apart", ringRow(7, 3, true, true, false), {}},
        {"a hole touching twice", {{Point2(-2, -2), Point2(2, -2), q, Point2(2, 2), Point2(-2, 2), p}, {p, top, q, bottom}},
         {{q, Point2(2, 2), Point2(-2, 2), p, top}, {Point2(-2, -2), Point2(2, -2), q, bottom, p}}},
    };
    for (const auto& c : aCases) {
        SCOPED_TRACE(c.what);
        const std::vector<Loop>& vBorderRings = c.vBorderRings.empty() ? c.vRings : c.vBorderRings;
        std::vector<Segment2> vEdges;
        for (const Loop& l : c.vRings)
            for (const Segment2& s : loopSegments(l)) vEdges.push_back(s);
        if (c.vBorderRings.empty()) {
            const std::vector<Segment2> vExtras = {Segment2(c.vRings[0][3], Point2(-1, -1)), Segment2(Point2(-1, -1), Point2(-2, -3)),
                                                   Segment2(Point2(-2, -3), Point2(-4, -1)), Segment2(Point2(50, 50), Point2(51, 50)), vEdges[5],
                                                   Segment2(Point2(7, 7), Point2(7, 7))};
            std::vector<Segment2> vAll = vEdges, vRemaining;
            vAll.insert(vAll.end(), vExtras.begin(), vExtras.end());
            std::mt19937 rng(unsigned(vAll.size()));
            std::vector<std::vector<Segment2>> vvRings;
            edgesToPolygons(scrambled(vAll, rng), vvRings, vRemaining);
            EXPECT_EQ(ringsOf(vvRings), canonicalSet(c.vRings));
            EXPECT_EQ(bagOf(vRemaining, true), bagOf(vExtras, true));
        }
        Lumo_2D dt;
        std::vector<Point2> vInput = lumo_test::randomPoints(c.vBorderRings.empty() ? 200 : 0, 11, 0.0, 8.0);
        for (Point2& r : vInput) r = Point2(r.x(), r.y() * 0.25);   // [0,8) x [0,2)
        dt.insert(vInput);
        std::vector<ConstraintGraph2*> vGraphs;
        for (const Loop& l : c.vRings) {
            std::vector<Segment2> v = loopSegments(l);
            vGraphs.push_back(dt.createConstraint(v, CIS_CONSTRAINED_DELAUNAY, true));
        }
        ASSERT_EQ(lumo_test::constrainedFault(dt, vGraphs, "rings"), "");
        Zone2* pZone = dt.createZone(vGraphs, ZL_INSIDE);
        ASSERT_NE(pZone, nullptr);
        std::vector<Triangle2*> vT = lumo_test::zoneTriangles(pZone), vTwice = vT;
        vTwice.insert(vTwice.end(), vT.begin(), vT.begin() + long(vT.size() / 2));   // duplicates count once
        std::vector<Edge2> vBorder, vZoneBorder, vDirected, vUndirected;
        getBorders(vTwice, vBorder);
        pZone->getBorderEdges(vZoneBorder);
        EXPECT_EQ(bagOf(vBorder), bagOf(vEdges));
        EXPECT_EQ(bagOf(vZoneBorder), bagOf(vEdges));
        // All edges of the triangles, read from their corners: directed, and undirected once each.
        getDirectedEdges(vTwice, vDirected);
        getUndirectedEdges(vTwice, vUndirected);
        std::vector<Segment2> vCornerEdges;
        for (Triangle2* pT : vT)
            for (int k = 0; k < 3; ++k) vCornerEdges.emplace_back(*pT->getCorner((k + 1) % 3), *pT->getCorner((k + 2) % 3));
        EXPECT_EQ(bagOf(vDirected), bagOf(vCornerEdges));
        const EdgeBag bagTwice = bagOf(vCornerEdges, true);
        const std::set<std::pair<XY, XY>> sOnce(bagTwice.begin(), bagTwice.end());
        EXPECT_EQ(bagOf(vUndirected, true), EdgeBag(sOnce.begin(), sOnce.end()));
        for (int k = 0; k < 2; ++k) {
            std::reverse(vT.begin(), vT.end());
            std::reverse(vBorder.begin(), vBorder.end());
            std::vector<std::vector<Edge2>> vvRings, vvAgain;
            std::vector<Edge2> vRemaining;
            getBorders(vT, vvRings);
            edgesToPolygons(vBorder, vvAgain, vRemaining);
            EXPECT_EQ(ringsOf(vvRings, true), canonicalSet(vBorderRings, true));
            EXPECT_EQ(ringsOf(vvAgain, true), canonicalSet(vBorderRings, true));
            EXPECT_TRUE(vRemaining.empty());
        }
    }
}

// One ring with every vertex on exactly two segments, and no two segments meeting except
// consecutive ones at their shared endpoint: the exact classification of every pair.
bool bruteForceSimple(const std::vector<Segment2>& v) {
    if (v.size() < 3) return false;
    std::map<XY, std::vector<size_t>> mAt;
    for (size_t i = 0; i < v.size(); ++i) {
        mAt[xy(v[i].getSrc())].push_back(i);
        mAt[xy(v[i].getTrg())].push_back(i);
    }
    for (const auto& kv : mAt)
        if (kv.second.size() != 2 || kv.second[0] == kv.second[1]) return false;
    size_t numSeen = 1, cur = 0;   // connected: walk from segment 0
    for (XY at = xy(v[0].getTrg());; ++numSeen) {
        const size_t next = mAt[at][0] == cur ? mAt[at][1] : mAt[at][0];
        if (next == 0) break;
        at = xy(v[next].getSrc()) == at ? xy(v[next].getTrg()) : xy(v[next].getSrc());
        cur = next;
    }
    if (numSeen != v.size()) return false;
    for (size_t i = 0; i < v.size(); ++i)
        for (size_t j = i + 1; j < v.size(); ++j) {
            const std::set<XY> sEnds{xy(v[i].getSrc()), xy(v[i].getTrg()), xy(v[j].getSrc()), xy(v[j].getTrg())};
            if (lumo_test::classifyExactly(v[i], v[j]).type != (sEnds.size() == 3 ? SIT_ENDPOINT : SIT_NONE)) return false;
        }
    return true;
}

// Every loop handed over as shuffled, randomly flipped segments. Simple exactly when the pairwise
// classification says so; a ring of distinct vertices is chained by sortRing from the first
// segment, and by sortRingCCW counterclockwise by the exact area, which refuses a ring without area.
TEST(PolygonHelpers, SimplicityAndRingOrderAreTheExactAnswers) {
    const double e = std::ldexp(1.0, -52), h = std::ldexp(1.0, -60);
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
        vLoops.push_back(lumo_test::scaled(vLoops[i], 1e300));
        vLoops.push_back(lumo_test::scaled(vLoops[i], 1e-300));
    }
    // A needle, a huge thin triangle and a bow tie off balance by a hair (not to be scaled).
    vLoops.insert(vLoops.end(), {{Point2(0, 0), Point2(1, 1), Point2(2, 2 + 4 * h * 1e10), Point2(1e-300, 1e-300)},
                                 {Point2(1e300, 1e300), Point2(1e300 + 1e285, 1e300), Point2(1e300, -1e300)},
                                 {Point2(0, 0), Point2(2, 2), Point2(2, 0), Point2(0, std::nextafter(2.0, 3.0))}});
    // Random vertex orders on a small integer grid (mostly self-intersecting, many collinear
    // and touching cases) and random star polygons (simple), every other one clockwise.
    std::mt19937 rng(5);
    for (int k = 0; k < 300; ++k) {
        Loop l(3 + rng() % 6);
        for (Point2& p : l) p = Point2(double(rng() % 4), double(rng() % 4));
        vLoops.push_back(l);
    }
    for (int k = 0; k < 20; ++k) {
        const Loop star = starPolygon(rng, 0, 0, 5 + int(rng() % 30), 0.2, 1.0, nullptr);
        vLoops.push_back(k % 2 ? lumo_test::reversed(star) : star);
    }
    int numSimple = 0, numRings = 0;
    for (size_t i = 0; i < vLoops.size(); ++i) {
        SCOPED_TRACE("loop " + std::to_string(i));
        const Loop& l = vLoops[i];
        std::vector<Segment2> v = scrambled(loopSegments(l), rng);
        if (l.size() == 2) v.pop_back();
        const bool bExpected = bruteForceSimple(v);
        numSimple += bExpected;
        EXPECT_EQ(isSimplePolygon(v), bExpected);
        std::set<XY> sVertices;
        for (const Point2& p : l) sVertices.insert(xy(p));
        if (l.size() < 3 || sVertices.size() != l.size()) continue;
        ++numRings;
        std::vector<Segment2> vChain, vCCW;
        ASSERT_TRUE(sortRing(v, vChain));
        EXPECT_TRUE(vChain[0].getSrc() == v[0].getSrc() && vChain[0].getTrg() == v[0].getTrg());
        EXPECT_EQ(canonical(chainVertices(vChain)), canonical(l));
        if (exactLoopArea(l) == 0) {
            EXPECT_EQ(lumo_test::stdoutOf([&] { EXPECT_FALSE(sortRingCCW(v, vCCW)); }),
                      lumo_test::warning("sortRingCCW()", "the ring has no area, its orientation is undefined; nothing appended"));
            EXPECT_TRUE(vCCW.empty());
            continue;
        }
        ASSERT_TRUE(sortRingCCW(v, vCCW));
        EXPECT_EQ(vCCW[0], v[0]);
        const Loop ccw = chainVertices(vCCW);
        EXPECT_EQ(canonical(ccw), canonical(l));
        EXPECT_GT(sgn(exactLoopArea(ccw)), 0);
    }
    EXPECT_GT(numSimple, 40);   // both answers are well represented
    EXPECT_LT(numSimple, int(vLoops.size()) - 100);
    EXPECT_GT(numRings, 150);
    std::vector<Segment2> vOut;   // refused: an open chain
    EXPECT_EQ(lumo_test::stdoutOf([&] { EXPECT_FALSE(sortRingCCW({Segment2(Point2(0, 0), Point2(1, 0)), Segment2(Point2(1, 0), Point2(0, 1))}, vOut)); }),
              lumo_test::warning("sortRingCCW()", "the 2 segment(s) are not one closed ring, nothing appended"));
    EXPECT_TRUE(vOut.empty());
}

TEST(PolygonHelpers, PointsToPolylineChainsDistinctPoints) {
    const Point2 a(0, 0), b(1, 0), c(1, 1);
    const struct { std::vector<Point2> vPoints; bool bClose; size_t numSegments; } aCases[] = {
        {{a, b, c}, false, 2}, {{a, b, c}, true, 3}, {{a, a, b, b, c}, false, 2},
        {{a, b, c, a}, true, 3}, {{a, b, c, a}, false, 3}, {{a}, false, 0}, {{}, false, 0},
    };
    for (const auto& k : aCases) {
        std::vector<Segment2> v{Segment2(c, c)};   // appended to, not replaced
        pointsToPolyline(k.vPoints, k.bClose, v);
        ASSERT_EQ(v.size(), k.numSegments + 1);
        for (size_t i = 1; i + 1 < v.size(); ++i) EXPECT_EQ(v[i].getTrg(), v[i + 1].getSrc());
        EXPECT_TRUE(!k.bClose || v.back().getTrg() == v[1].getSrc());
    }
}

} // namespace
