// Importing triangle soups, cutting along segments, the cookie cutter and grid unification,
// against oracles that share nothing with the library: canonical triangle sets, exact
// orientations (ExactOracle), exact areas of convex clippings in rationals. Every triangulation
// passes the independent validity check, its constrained segments exempt from the Delaunay test.
#include <gtest/gtest.h>
#include <gmpxx.h>
#include <algorithm>
#include <array>
#include <cmath>
#include <functional>
#include <random>
#include <set>
#include "ConstraintMgr.h"
#include "DelaunayOracle.h"
#include "Dt2.h"
#include "ExactPolygons.h"
#include "Lumo_2D.h"
#include "MessageText.h"
#include "ScopedTempDir.h"
#include "TriangulationBuilders.h"

using namespace ORBI_LUMO2D;
using lumo_test::exactOrientation;

namespace {
typedef mpq_class Q;
using lumo_test::exactArea;
using lumo_test::Loop;
using lumo_test::stdoutOf;
using lumo_test::zoneTriangles;

// ---- oracles ---------------------------------------------------------------------------------------

typedef std::vector<std::pair<Q, Q>> QPoly;
Q cross(const std::pair<Q, Q>& a, const std::pair<Q, Q>& b, const std::pair<Q, Q>& c) {
    return (b.first - a.first) * (c.second - a.second) - (b.second - a.second) * (c.first - a.first);
}
QPoly qpoly(const Point2& a, const Point2& b, const Point2& c) { return QPoly{{a.x(), a.y()}, {b.x(), b.y()}, {c.x(), c.y()}}; }
QPoly qpoly(const Triangle2* pT) { return qpoly(*pT->getCorner(0), *pT->getCorner(1), *pT->getCorner(2)); }
// Exact area of the intersection of two counterclockwise triangles (Sutherland-Hodgman).
Q clippedArea(QPoly poly, const QPoly& clip) {
    for (size_t e = 0; e < 3 && !poly.empty(); ++e) {
        QPoly out;
        for (size_t i = 0; i < poly.size(); ++i) {
            const auto &p = poly[i], &q = poly[(i + 1) % poly.size()];
            const Q sp = cross(clip[e], clip[(e + 1) % 3], p), sq = cross(clip[e], clip[(e + 1) % 3], q);
            if (sp >= 0) out.push_back(p);
            if ((sp > 0 && sq < 0) || (sp < 0 && sq > 0)) {
                const Q t = sp / (sp - sq);
                out.emplace_back(p.first + t * (q.first - p.first), p.second + t * (q.second - p.second));
            }
        }
        poly = out;
    }
    Q a = 0;
    for (size_t i = 0; i < poly.size(); ++i) a += poly[i].first * poly[(i + 1) % poly.size()].second - poly[(i + 1) % poly.size()].first * poly[i].second;
    return a / 2;
}
// Exact area of the region of the triangles inside a polygon star-shaped around centre: the
// clippings with the polygon's fan of triangles.
Q starClippedArea(const std::vector<Triangle2*>& vT, const Point2& centre, const Loop& star) {
    Q sum = 0;
    for (const Triangle2* pT : vT)
        for (size_t i = 0; i < star.size(); ++i) sum += clippedArea(qpoly(pT), qpoly(centre, star[i], star[(i + 1) % star.size()]));
    return sum;
}
// The triangulation is valid and constrained Delaunay (alive constrained segments exempt).
void expectValid(Dt2& dt, const std::string& what) {
    std::vector<ConstraintSegment2*> vSegs;
    if (dt.findConstraintMgr() != nullptr) dt.findConstraintMgr()->getSegmentsInMapOrder(vSegs);
    ASSERT_EQ(lumo_test::constrainedSegmentsFault(dt, vSegs, what), "");
}
std::string exactAreaOf(const Zone2* pZone) { return exactArea(zoneTriangles(pZone)).get_str(); }

// ---- soups ------------------------------------------------------------------------------------------

// The triangles of a soup as corners, three per triangle.
typedef std::vector<Point2> Soup;
void add(Soup& s, const Point2& a, const Point2& b, const Point2& c) { s.insert(s.end(), {a, b, c}); }

// An n x n grid of unit squares, each split along a random diagonal (cocircular corners,
// collinear runs), a random share of the squares left out (holes, parts meeting at a corner).
Soup gridSoup(unsigned seed) {
    std::mt19937 rng(seed);
    Soup s;
    for (int i = 0; i < 9; ++i)
        for (int j = 0; j < 9; ++j) {
            const Point2 a(i, j), b(i + 1, j), c(i + 1, j + 1), d(i, j + 1);
            if (rng() % 4 == 0) continue;
            if (rng() % 2) { add(s, a, b, c); add(s, a, c, d); } else { add(s, a, b, d); add(s, b, c, d); }
        }
    return s;
}
// A fan over a convex polygon of random angles on a circle: long thin triangles, far from Delaunay.
Soup fanSoup(unsigned seed) {
    std::mt19937 rng(seed);
    std::uniform_real_distribution<double> d(0, 2 * M_PI);
    std::vector<double> vAngles(40);
    for (double& t : vAngles) t = d(rng);
    std::sort(vAngles.begin(), vAngles.end());
    Loop ring;
    for (double t : vAngles) ring.emplace_back(1e3 * std::cos(t), 1e3 * std::sin(t));
    Soup s;
    for (size_t i = 1; i + 1 < ring.size(); ++i) add(s, ring[0], ring[i], ring[i + 1]);
    return s;
}
// Two thirds of the Delaunay triangles of random points.
Soup delaunaySubsetSoup(unsigned seed) {
    lumo_test::Dt2Of src(lumo_test::randomPoints(150, seed, -1.0, 1.0));
    std::mt19937 rng(seed);
    Soup s;
    for (Triangle2* pT : lumo_test::triangles(src))
        if (rng() % 3 != 0) add(s, *pT->getCorner(0), *pT->getCorner(1), *pT->getCorner(2));
    return s;
}
// The soup as another program may write it: triangles shuffled, corners rotated, some clockwise, some twice.
Soup scramble(const Soup& in, unsigned seed) {
    std::mt19937 rng(seed);
    std::vector<std::array<Point2, 3>> v;
    for (size_t k = 0; k < in.size(); k += 3) {
        std::array<Point2, 3> t{in[k], in[k + 1], in[k + 2]};
        std::rotate(t.begin(), t.begin() + rng() % 3, t.end());
        if (rng() % 3 == 0) std::swap(t[1], t[2]);
        v.push_back(t);
        if (rng() % 5 == 0) v.push_back(t);
    }
    std::shuffle(v.begin(), v.end(), rng);
    Soup s;
    for (const auto& t : v) add(s, t[0], t[1], t[2]);
    return s;
}
// The soup's triangles as canonicalTriangles gives a triangulation's: corners sorted, then sorted.
std::vector<std::array<double, 6>> canonicalTriangles(const Soup& s) {
    std::vector<std::array<double, 6>> v;
    for (size_t k = 0; k < s.size(); k += 3) {
        std::array<Point2, 3> c{s[k], s[k + 1], s[k + 2]};
        std::sort(c.begin(), c.end());
        v.push_back({c[0].x(), c[0].y(), c[1].x(), c[1].y(), c[2].x(), c[2].y()});
    }
    std::sort(v.begin(), v.end());
    return v;
}
} // namespace

// The imported zone is the soup's triangles, and keeps its exact area as more points go in.
TEST(Import, SoupsRoundTripToTheSameTriangles) {
    lumo_test::ScopedTempDir tmp;
    const std::pair<const char*, Soup (*)(unsigned)> aSoups[] = {
        {"grid with random diagonals and holes", gridSoup}, {"fan of thin triangles", fanSoup}, {"subset of a Delaunay triangulation", delaunaySubsetSoup}};
    for (const auto& row : aSoups)
        for (unsigned seed = 1; seed <= 4; ++seed) {
            const std::string what = std::string(row.first) + ", seed " + std::to_string(seed);
            const Soup soup = row.second(seed);
            Dt2 dt(10);
            Zone2* pZone = nullptr;
            stdoutOf([&] { pZone = dt.importTriangles(scramble(soup, seed), true); });
            ASSERT_NE(pZone, nullptr) << what;
            EXPECT_EQ(lumo_test::canonicalTriangles(zoneTriangles(pZone)), canonicalTriangles(soup)) << what;
            expectValid(dt, what);
            const std::string before = exactAreaOf(pZone);
            dt.insertVector(lumo_test::randomPoints(50, seed, -1e3, 1e3), nullptr);
            EXPECT_EQ(exactAreaOf(pZone), before) << what;
            expectValid(dt, what + ", more points");
        }
}

TEST(Import, BrokenSoupsAreRefusedAndLeaveTheTriangulationAsItWas) {
    lumo_test::ScopedTempDir tmp;
    const Point2 o(0, 0), x(2, 0), y(0, 2), xy(2, 2), m(1, 0), neg(0, -2);
    const struct { const char* what; Soup soup; bool bReorient; const char* message; } aRows[] = {
        {"no triangle", {}, true, "not a positive multiple of 3"},
        {"NaN corner", {o, x, Point2(std::nan(""), 1)}, true, "triangle 0 has a NaN or infinite corner"},
        {"collinear corners", {o, x, y, o, m, x}, true, "triangle 1 is degenerate"},
        {"repeated corner", {o, x, x}, true, "triangle 0 is degenerate"},
        {"clockwise without reorienting", {o, x, y, o, Point2(-2, 0), y}, false, "triangle 1 is clockwise and bReorientIfNeeded is false"},
        {"edge of three triangles", {o, x, y, x, o, neg, o, x, xy}, true, "is shared by more than two triangles"},
        {"same side of a shared edge", {o, x, y, o, x, xy}, true, "triangles 0 and 1 overlap"},
        {"one inside another", {o, Point2(9, 0), Point2(0, 9), Point2(1, 1), Point2(2, 1), Point2(1, 2)}, true, "is cut by another triangle"},
        {"corner on another triangle's edge", {o, x, y, m, Point2(2, -2), Point2(3, -1)}, true, "is cut by another triangle"},
    };
    const std::vector<Point2> vBefore{Point2(-5, -5), Point2(5, -5), Point2(0, 5)};
    for (const auto& row : aRows) {
        lumo_test::Dt2Of dt(vBefore);
        Zone2* pZone = reinterpret_cast<Zone2*>(1);
        const std::string out = stdoutOf([&] { pZone = dt.importTriangles(row.soup, row.bReorient); });
        EXPECT_EQ(pZone, nullptr) << row.what;
        EXPECT_NE(out.find(row.message), std::string::npos) << row.what << ": " << out;
        EXPECT_EQ(std::count(out.begin(), out.end(), '['), 1) << row.what << ": one message: " << out;
        EXPECT_EQ(lumo_test::checkDelaunayTriangulation(vBefore, lumo_test::triangles(dt)), "") << row.what;
    }
    // A vertex of the triangulation inside a soup triangle: refused after the soup went in.
    lumo_test::Dt2Of dt({Point2(0.5, 0.5)});
    EXPECT_NE(stdoutOf([&] { EXPECT_EQ(dt.importTriangles({o, x, y}, true), nullptr); }).find("the triangulation already had"), std::string::npos);
    expectValid(dt, "soup over an existing vertex");
}

// Brute force: a triangle is left (right) of the cut when one of its counterclockwise edges runs
// along a segment in the segment's direction (against it), by exact orientation.
TEST(Cutting, TrianglesBesideTheCutAreExactlyThoseLeftAndRightOfItsSegments) {
    lumo_test::ScopedTempDir tmp;
    for (unsigned seed = 1; seed <= 6; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        // Random points and the lattice of quarters (collinear runs that cuts pass through).
        std::vector<Point2> vPts = lumo_test::randomPoints(200, seed);
        for (const Point2& p : lumo_test::gridPoints(5, 0.25)) vPts.push_back(p);
        lumo_test::Dt2Of dt(vPts);
        // Cuts along the four lattice directions with ends on the lattice of eighths, beyond
        // the hull too: their crossings are exact, so the oracle sees them on the segments.
        // One cut per line, so that no two cuts overlap.
        std::mt19937 rng(seed);
        std::uniform_int_distribution<int> e(-2, 10), len(1, 8);
        const int aDir[4][2] = {{1, 0}, {0, 1}, {1, 1}, {1, -1}};
        std::vector<Segment2> vCut;
        for (std::set<std::pair<int, int>> sLines; vCut.size() < 10;) {
            const int k = int(rng() % 4), x = e(rng), y = e(rng), l = len(rng) * (rng() % 2 ? 1 : -1), dx = aDir[k][0], dy = aDir[k][1];
            if (sLines.emplace(k, dy * x - dx * y).second) vCut.emplace_back(Point2(x / 8.0, y / 8.0), Point2((x + l * dx) / 8.0, (y + l * dy) / 8.0));
        }
        std::vector<Triangle2*> vLeft, vRight;
        ConstraintGraph2* pGraph = nullptr;
        stdoutOf([&] { pGraph = dt.cutTriangles(vCut, vLeft, vRight); });
        ASSERT_NE(pGraph, nullptr);
        expectValid(dt, "cut");
        std::set<Triangle2*> sLeft, sRight;
        for (Triangle2* pT : lumo_test::triangles(dt))
            for (int i = 0; i < 3; ++i) {
                const Point2 &u = *pT->getCorner((i + 1) % 3), &w = *pT->getCorner((i + 2) % 3);
                for (const Segment2& s : vCut) {
                    const Point2 p = s.getSrc(), q = s.getTrg();
                    if (exactOrientation(p, q, u) != 0 || exactOrientation(p, q, w) != 0) continue;
                    if (std::min(u.x(), w.x()) < std::min(p.x(), q.x()) || std::max(u.x(), w.x()) > std::max(p.x(), q.x()) ||
                        std::min(u.y(), w.y()) < std::min(p.y(), q.y()) || std::max(u.y(), w.y()) > std::max(p.y(), q.y()))
                        continue;
                    const bool bAlong = (q.x() - p.x()) * (w.x() - u.x()) + (q.y() - p.y()) * (w.y() - u.y()) > 0;
                    ASSERT_EQ(exactOrientation(p, q, *pT->getCorner(i)), bAlong ? 1 : -1);
                    (bAlong ? sLeft : sRight).insert(pT);
                }
            }
        EXPECT_EQ(std::multiset<Triangle2*>(vLeft.begin(), vLeft.end()), std::multiset<Triangle2*>(sLeft.begin(), sLeft.end()));
        EXPECT_EQ(std::multiset<Triangle2*>(vRight.begin(), vRight.end()), std::multiset<Triangle2*>(sRight.begin(), sRight.end()));
    }
}

// The cut zone lies inside the cutter (clipping it by the cutter keeps its exact area) and its
// exact area is the exact clipping of the zone by the cutter; the zone keeps its area.
// Star-shaped cutters around their centre, convex and concave, counterclockwise; a row may hand
// the library the clockwise ring.
TEST(CookieCutter, AreasEqualTheExactIntersectionWithTheCutter) {
    lumo_test::ScopedTempDir tmp;
    const Loop domain{Point2(1, 1), Point2(9, 1), Point2(9, 9), Point2(5, 4.5), Point2(1, 9)};   // concave
    const struct {
        const char* what;
        bool bGlobal;   // the zone: everything, or the inside of the concave domain
        Point2 centre;
        std::vector<double> vRadii;
        bool bClockwise;
    } aRows[] = {
        {"convex cutter inside the hull of a global zone", true, Point2(4.3, 5.1), {2, 2, 2, 2, 2, 2}, false},
        {"concave cutter inside the hull of a global zone", true, Point2(5.2, 4.9), {3, 1, 3.3, 0.9, 2.8, 1.2, 3.1, 1}, true},
        {"convex cutter across a concave zone", false, Point2(5.1, 4.2), {4.1, 3.7, 4.3, 3.9}, false},
        {"concave cutter across a concave zone, beyond the hull", false, Point2(6.3, 5.7), {7, 2, 6.5, 1.5, 8, 2.2, 6}, true},
        {"cutter inside one triangle's worth of the zone", false, Point2(2.01, 2.03), {0.05, 0.04, 0.06}, false},
    };
    for (const auto& row : aRows)
        for (unsigned seed = 1; seed <= 3; ++seed) {
            SCOPED_TRACE(std::string(row.what) + ", seed " + std::to_string(seed));
            lumo_test::Dt2Of dt(lumo_test::randomPoints(300, seed, 0.0, 10.0));
            std::vector<Segment2> vDomain = lumo_test::loopSegments(domain);
            Zone2* pZone = row.bGlobal ? dt.createZone(nullptr, ZL_GLOBAL) : dt.createZone(dt.createConstraint(vDomain, CIS_CONSTRAINED_DELAUNAY, true), ZL_INSIDE);
            const std::vector<Triangle2*> vZoneBefore = zoneTriangles(pZone);
            const Q areaBefore = exactArea(vZoneBefore);
            Loop cutter;
            for (size_t i = 0; i < row.vRadii.size(); ++i) {
                const double t = 0.1 * seed + 2 * M_PI * double(i) / double(row.vRadii.size());
                cutter.emplace_back(row.centre.x() + row.vRadii[i] * std::cos(t), row.centre.y() + row.vRadii[i] * std::sin(t));
            }
            const Q expected = starClippedArea(vZoneBefore, row.centre, cutter);
            Zone2* pCut = nullptr;
            stdoutOf([&] { pCut = createZone_cookieCutter(pZone, row.bClockwise ? lumo_test::reversed(cutter) : cutter); });
            ASSERT_NE(pCut, nullptr);
            expectValid(dt, "cookie cutter");
            const std::vector<Triangle2*> vCut = zoneTriangles(pCut);
            // Without constraints to cross, no vertex is rounded: the areas are exact. Crossing
            // the domain's segments makes vertices rounded once to doubles.
            const std::pair<Q, Q> aErrors[] = {{exactArea(vCut) - starClippedArea(vCut, row.centre, cutter), expected},   // error, reference
                                               {exactArea(vCut) - expected, expected}, {exactArea(zoneTriangles(pZone)) - areaBefore, areaBefore}};
            for (const auto& e : aErrors) EXPECT_TRUE(row.bGlobal ? e.first == 0 : std::abs(e.first.get_d()) <= 1e-13 * e.second.get_d()) << e.first.get_d();
        }
}

TEST(UnifyGrid, NearlyCoincidentVerticesBecomeGridVerticesAndTheZoneKeepsItsRegion) {
    lumo_test::ScopedTempDir tmp;
    for (unsigned seed = 1; seed <= 4; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        std::mt19937 rng(seed);
        std::uniform_real_distribution<double> jitter(-1e-6, 1e-6);
        // Two or three points close to each grid point.
        std::vector<Point2> v;
        for (int i = 0; i <= 12; ++i)
            for (int j = 0; j <= 12; ++j)
                for (unsigned k = 0; k < 2 + (i + j + seed) % 2; ++k) v.emplace_back(0.5 * i + jitter(rng), 0.5 * j + jitter(rng));
        v[7].setCustomIndex(77);
        lumo_test::Dt2Of dt(v);
        const Loop domain{Point2(0.3, 0.3), Point2(5.7, 0.2), Point2(5.6, 5.8), Point2(3.1, 2.9), Point2(0.2, 5.5)};
        std::vector<Segment2> vSeg = lumo_test::loopSegments(domain);
        Zone2* pZone = dt.createZone(dt.createConstraint(vSeg, CIS_CONSTRAINED_DELAUNAY, true), ZL_INSIDE);
        Zone2* pAll = dt.createZone(nullptr, ZL_GLOBAL);
        const std::string areaBefore = exactAreaOf(pZone), areaAllBefore = exactAreaOf(pAll);
        const size_t numBefore = dt.numberOfPoints();
        size_t numSnapped = 0;
        stdoutOf([&] { numSnapped = pZone->unifyGrid(0.5); });
        expectValid(dt, "zone snapped");
        EXPECT_GT(numSnapped, 0u);
        EXPECT_LT(dt.numberOfPoints(), numBefore);
        EXPECT_EQ(exactAreaOf(pZone), areaBefore);
        EXPECT_EQ(exactAreaOf(pAll), areaAllBefore);
        // Inside the zone, one vertex per grid point, except the domain's corners; a snapped
        // vertex keeps its custom index.
        std::vector<Point2*> vVtx;
        pZone->getVertices(vVtx);
        std::set<Point2> sSeen;
        for (Point2* p : vVtx) {
            if (std::find(domain.begin(), domain.end(), *p) != domain.end()) continue;
            EXPECT_TRUE(std::fmod(p->x(), 0.5) == 0 && std::fmod(p->y(), 0.5) == 0 && sSeen.insert(*p).second) << *p;
            EXPECT_TRUE(p->getCustomIndex() != 77 || *p == Point2(std::round(2 * v[7].x()) / 2, std::round(2 * v[7].y()) / 2)) << *p;
        }
        // Snapped once, nothing is left to snap. The whole triangulation: its hull stays, so its area too.
        EXPECT_EQ(pZone->unifyGrid(0.5), 0u);
        stdoutOf([&] { pAll->unifyGrid(0.5); });
        expectValid(dt, "global snapped");
        EXPECT_EQ(exactAreaOf(pAll), areaAllBefore);
    }
    // A vertex whose grid point lies beyond the zone's border stays; its neighbour moves.
    lumo_test::Dt2Of dt({Point2(-5, -5), Point2(9, -5), Point2(-5, 9), Point2(2.6, 1.8), Point2(1.2, 0.9)});
    std::vector<Segment2> vTriangle = lumo_test::loopSegments({Point2(0, 0), Point2(4.5, 0), Point2(0, 4.5)});
    Zone2* pZone = dt.createZone(dt.createConstraint(vTriangle, CIS_CONSTRAINED_DELAUNAY, true), ZL_INSIDE);
    EXPECT_EQ(pZone->unifyGrid(1.0), 1u);
    std::vector<Point2*> vVtx;
    pZone->getVertices(vVtx);
    std::set<Point2> sVtx;
    for (Point2* p : vVtx) sVtx.insert(*p);
    EXPECT_EQ(sVtx, (std::set<Point2>{Point2(0, 0), Point2(4.5, 0), Point2(0, 4.5), Point2(2.6, 1.8), Point2(1, 1)}));
    expectValid(dt, "grid point beyond the border");
}
