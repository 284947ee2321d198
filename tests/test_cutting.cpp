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

Q cross(const Q& ax, const Q& ay, const Q& bx, const Q& by, const Q& cx, const Q& cy) {
    return (bx - ax) * (cy - ay) - (by - ay) * (cx - ax);
}
// Exact area of the intersection of two counterclockwise triangles (Sutherland-Hodgman).
typedef std::vector<std::pair<Q, Q>> QPoly;
Q clippedArea(QPoly poly, const QPoly& clip) {
    for (size_t e = 0; e < 3 && !poly.empty(); ++e) {
        const auto &a = clip[e], &b = clip[(e + 1) % 3];
        QPoly out;
        for (size_t i = 0; i < poly.size(); ++i) {
            const auto &p = poly[i], &q = poly[(i + 1) % poly.size()];
            const Q sp = cross(a.first, a.second, b.first, b.second, p.first, p.second);
            const Q sq = cross(a.first, a.second, b.first, b.second, q.first, q.second);
            if (sp >= 0) out.push_back(p);
            if ((sp > 0 && sq < 0) || (sp < 0 && sq > 0)) {
                const Q t = sp / (sp - sq);
                out.emplace_back(p.first + t * (q.first - p.first), p.second + t * (q.second - p.second));
            }
        }
        poly = out;
    }
    Q a = 0;
    for (size_t i = 0; i < poly.size(); ++i) {
        const auto &p = poly[i], &q = poly[(i + 1) % poly.size()];
        a += p.first * q.second - q.first * p.second;
    }
    return a / 2;
}
QPoly qpoly(const Point2& a, const Point2& b, const Point2& c) {
    return QPoly{{Q(a.x()), Q(a.y())}, {Q(b.x()), Q(b.y())}, {Q(c.x()), Q(c.y())}};
}
// Exact area of the region of the triangles inside a polygon that is star-shaped around centre.
Q starClippedArea(const std::vector<Triangle2*>& vT, const Point2& centre, const Loop& star) {
    Q sum = 0;
    for (const Triangle2* pT : vT)
        for (size_t i = 0; i < star.size(); ++i)
            sum += clippedArea(qpoly(*pT->getCorner(0), *pT->getCorner(1), *pT->getCorner(2)),
                               qpoly(centre, star[i], star[(i + 1) % star.size()]));
    return sum;
}
// Strictly inside a counterclockwise star-shaped polygon around centre, for the barycentre of a triangle.
bool barycentreInStar(const Triangle2* pT, const Point2& centre, const Loop& star) {
    const Q x = (Q(pT->getCorner(0)->x()) + pT->getCorner(1)->x() + pT->getCorner(2)->x()) / 3;
    const Q y = (Q(pT->getCorner(0)->y()) + pT->getCorner(1)->y() + pT->getCorner(2)->y()) / 3;
    for (size_t i = 0; i < star.size(); ++i) {
        const Point2 &a = star[i], &b = star[(i + 1) % star.size()];
        if (cross(centre.x(), centre.y(), a.x(), a.y(), x, y) >= 0 && cross(a.x(), a.y(), b.x(), b.y(), x, y) > 0 &&
            cross(b.x(), b.y(), centre.x(), centre.y(), x, y) >= 0)
            return true;
    }
    return false;
}

// The triangulation is valid and constrained Delaunay (alive constrained segments exempt).
void expectValid(Dt2& dt, const std::string& what) {
    std::vector<ConstraintSegment2*> vSegs;
    if (dt.findConstraintMgr() != nullptr) dt.findConstraintMgr()->getSegmentsInMapOrder(vSegs);
    ASSERT_EQ(lumo_test::constrainedSegmentsFault(dt, vSegs, what), "");
}

// ---- soups ------------------------------------------------------------------------------------------

// The triangles of a soup as corners, three per triangle.
typedef std::vector<Point2> Soup;
void add(Soup& s, const Point2& a, const Point2& b, const Point2& c) { s.insert(s.end(), {a, b, c}); }

// An n x n grid of unit squares, each split along a random diagonal (cocircular corners,
// collinear runs), a random share of the squares left out (holes, parts meeting at a corner).
Soup gridSoup(int n, unsigned seed) {
    std::mt19937 rng(seed);
    Soup s;
    for (int i = 0; i < n; ++i)
        for (int j = 0; j < n; ++j) {
            if (rng() % 4 == 0) continue;
            const Point2 a(i, j), b(i + 1, j), c(i + 1, j + 1), d(i, j + 1);
            if (rng() % 2) { add(s, a, b, c); add(s, a, c, d); }
            else { add(s, a, b, d); add(s, b, c, d); }
        }
    return s;
}
// A fan over a convex polygon of random angles on a circle: long thin triangles, far from Delaunay.
Soup fanSoup(int n, unsigned seed) {
    std::mt19937 rng(seed);
    std::uniform_real_distribution<double> d(0, 2 * M_PI);
    std::vector<double> vAngles;
    for (int i = 0; i < n; ++i) vAngles.push_back(d(rng));
    std::sort(vAngles.begin(), vAngles.end());
    Loop ring;
    for (double t : vAngles) ring.emplace_back(1e3 * std::cos(t), 1e3 * std::sin(t));
    Soup s;
    for (int i = 1; i + 1 < n; ++i) add(s, ring[0], ring[i], ring[i + 1]);
    return s;
}
// A subset of the Delaunay triangles of random points.
Soup delaunaySubsetSoup(size_t n, unsigned seed) {
    lumo_test::Dt2Of src(lumo_test::randomPoints(n, seed, -1.0, 1.0));
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

TEST(Import, SoupsRoundTripToTheSameTriangles) {
    lumo_test::ScopedTempDir tmp;
    const std::pair<const char*, std::function<Soup(unsigned)>> aSoups[] = {
        {"grid with random diagonals and holes", [](unsigned seed) { return gridSoup(9, seed); }},
        {"fan of thin triangles", [](unsigned seed) { return fanSoup(40, seed); }},
        {"subset of a Delaunay triangulation", [](unsigned seed) { return delaunaySubsetSoup(150, seed); }},
    };
    for (const auto& row : aSoups)
        for (unsigned seed = 1; seed <= 4; ++seed) {
            const std::string what = std::string(row.first) + ", seed " + std::to_string(seed);
            const Soup soup = row.second(seed), scrambled = scramble(soup, seed);
            Dt2 dt(10);
            Zone2* pZone = nullptr;
            stdoutOf([&] { pZone = dt.importTriangles(scrambled, true); });
            ASSERT_NE(pZone, nullptr) << what;
            EXPECT_EQ(lumo_test::canonicalTriangles(zoneTriangles(pZone)), canonicalTriangles(soup)) << what;
            expectValid(dt, what);
            // More points inside keep the zone's region: the same area.
            const Q before = exactArea(zoneTriangles(pZone));
            dt.insertVector(lumo_test::randomPoints(50, seed, -1e3, 1e3), nullptr);
            EXPECT_EQ(exactArea(zoneTriangles(pZone)).get_str(), before.get_str()) << what;
            expectValid(dt, what + ", more points");
        }
}

TEST(Import, BrokenSoupsAreRefusedAndLeaveTheTriangulationAsItWas) {
    lumo_test::ScopedTempDir tmp;
    const Point2 o(0, 0), x(2, 0), y(0, 2), xy(2, 2), m(1, 0), neg(0, -2);
    const struct {
        const char* what;
        Soup soup;
        bool bReorient;
        const char* message;
    } aRows[] = {
        {"two corners only", {o, x}, true, "not a positive multiple of 3"},
        {"no triangle", {}, true, "not a positive multiple of 3"},
        {"NaN corner", {o, x, Point2(std::nan(""), 1)}, true, "triangle 0 has a NaN or infinite corner"},
        {"collinear corners", {o, x, y, o, m, x}, true, "triangle 1 is degenerate"},
        {"repeated corner", {o, x, x}, true, "triangle 0 is degenerate"},
        {"clockwise without reorienting", {o, x, y, o, Point2(-2, 0), y}, false, "triangle 1 is clockwise and bReorientIfNeeded is false"},
        {"edge of three triangles", {o, x, y, x, o, neg, o, x, xy}, true, "is shared by more than two triangles"},
        {"same side of a shared edge", {o, x, y, o, x, xy}, true, "triangles 0 and 1 overlap"},
        {"crossing edges", {o, x, y, Point2(1, -1), Point2(3, 1), Point2(1, 1)}, true, "is cut by another triangle"},
        {"one inside another", {o, Point2(9, 0), Point2(0, 9), Point2(1, 1), Point2(2, 1), Point2(1, 2)}, true, "is cut by another triangle"},
        {"corner on another triangle's edge", {o, x, y, m, Point2(2, -2), Point2(3, -1)}, true, "is cut by another triangle"},
    };
    for (const auto& row : aRows) {
        std::vector<Point2> vBefore{Point2(-5, -5), Point2(5, -5), Point2(0, 5)};
        Dt2 dt(10);
        dt.insertVector(vBefore, nullptr);
        Zone2* pZone = reinterpret_cast<Zone2*>(1);
        const std::string out = stdoutOf([&] { pZone = dt.importTriangles(row.soup, row.bReorient); });
        EXPECT_EQ(pZone, nullptr) << row.what;
        EXPECT_NE(out.find(row.message), std::string::npos) << row.what << ": " << out;
        EXPECT_EQ(std::count(out.begin(), out.end(), '['), 1) << row.what << ": one message: " << out;
        EXPECT_EQ(lumo_test::checkDelaunayTriangulation(vBefore, lumo_test::triangles(dt)), "") << row.what;
    }
    // A vertex of the triangulation inside a soup triangle: refused after the soup went in.
    Dt2 dt(10);
    dt.insert(Point2(0.5, 0.5));
    const std::string out = stdoutOf([&] { EXPECT_EQ(dt.importTriangles({o, x, y}, true), nullptr); });
    EXPECT_NE(out.find("the triangulation already had"), std::string::npos) << out;
    expectValid(dt, "soup over an existing vertex");
}

TEST(Cutting, TrianglesBesideTheCutAreExactlyThoseLeftAndRightOfItsSegments) {
    lumo_test::ScopedTempDir tmp;
    for (unsigned seed = 1; seed <= 6; ++seed) {
        // Random points and the lattice of quarters (collinear runs that cuts pass through).
        std::vector<Point2> vPts = lumo_test::randomPoints(200, seed);
        for (int i = 0; i <= 4; ++i)
            for (int j = 0; j <= 4; ++j) vPts.emplace_back(0.25 * i, 0.25 * j);
        lumo_test::Dt2Of dt(vPts);
        // Cuts along the four lattice directions with ends on the lattice of eighths, beyond
        // the hull too: their crossings are exact, so the oracle sees them on the segments.
        // One cut per line, so that no two cuts overlap.
        std::mt19937 rng(seed);
        std::uniform_int_distribution<int> e(-2, 10), len(1, 8);
        const int aDir[4][2] = {{1, 0}, {0, 1}, {1, 1}, {1, -1}};
        std::vector<Segment2> vCut;
        std::set<std::pair<int, int>> sLines;
        while (vCut.size() < 10) {
            const int k = int(rng() % 4), x = e(rng), y = e(rng), l = len(rng) * (rng() % 2 ? 1 : -1);
            const int dx = aDir[k][0], dy = aDir[k][1];
            if (!sLines.emplace(k, dy * x - dx * y).second) continue;
            vCut.emplace_back(Point2(x / 8.0, y / 8.0), Point2((x + l * dx) / 8.0, (y + l * dy) / 8.0));
        }
        std::vector<Triangle2*> vLeft, vRight;
        ConstraintGraph2* pGraph = nullptr;
        stdoutOf([&] { pGraph = dt.cutTriangles(vCut, vLeft, vRight); });
        ASSERT_NE(pGraph, nullptr);
        const std::string what = "seed " + std::to_string(seed);
        expectValid(dt, what);
        // Brute force: a triangle is left (right) of the cut when one of its counterclockwise
        // edges runs along a segment in the segment's direction (against it).
        std::set<Triangle2*> sLeft, sRight;
        for (Triangle2* pT : lumo_test::triangles(dt))
            for (int i = 0; i < 3; ++i) {
                const Point2 &u = *pT->getCorner((i + 1) % 3), &w = *pT->getCorner((i + 2) % 3);
                for (const Segment2& s : vCut) {
                    const Point2 p = s.getSrc(), q = s.getTrg();
                    if (p == q || exactOrientation(p, q, u) != 0 || exactOrientation(p, q, w) != 0) continue;
                    const auto within = [&](const Point2& c) {
                        return std::min(p.x(), q.x()) <= c.x() && c.x() <= std::max(p.x(), q.x()) &&
                               std::min(p.y(), q.y()) <= c.y() && c.y() <= std::max(p.y(), q.y());
                    };
                    if (!within(u) || !within(w)) continue;
                    const bool bAlong = (q.x() - p.x()) * (w.x() - u.x()) + (q.y() - p.y()) * (w.y() - u.y()) > 0;
                    ASSERT_EQ(exactOrientation(p, q, *pT->getCorner(i)), bAlong ? 1 : -1) << what;
                    (bAlong ? sLeft : sRight).insert(pT);
                }
            }
        EXPECT_EQ(std::set<Triangle2*>(vLeft.begin(), vLeft.end()), sLeft) << what;
        EXPECT_EQ(std::set<Triangle2*>(vRight.begin(), vRight.end()), sRight) << what;
        EXPECT_EQ(vLeft.size(), sLeft.size()) << what;
        EXPECT_EQ(vRight.size(), sRight.size()) << what;
    }
}

TEST(CookieCutter, AreasEqualTheExactIntersectionWithTheCutter) {
    lumo_test::ScopedTempDir tmp;
    // Star-shaped cutters around their centre: convex and concave, counterclockwise; a row may
    // hand the library the clockwise ring.
    const auto star = [](const Point2& c, const std::vector<double>& vRadii, double phase) {
        Loop l;
        for (size_t i = 0; i < vRadii.size(); ++i) {
            const double t = phase + 2 * M_PI * double(i) / double(vRadii.size());
            l.emplace_back(c.x() + vRadii[i] * std::cos(t), c.y() + vRadii[i] * std::sin(t));
        }
        return l;
    };
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
            const std::string what = std::string(row.what) + ", seed " + std::to_string(seed);
            lumo_test::Dt2Of dt(lumo_test::randomPoints(300, seed, 0.0, 10.0));
            Zone2* pZone = nullptr;
            if (row.bGlobal) {
                pZone = dt.createZone(nullptr, ZL_GLOBAL);
            } else {
                std::vector<Segment2> v = lumo_test::loopSegments(domain);
                pZone = dt.createZone(dt.createConstraint(v, CIS_CONSTRAINED_DELAUNAY, true), ZL_INSIDE);
            }
            const std::vector<Triangle2*> vZoneBefore = zoneTriangles(pZone);
            const Q areaBefore = exactArea(vZoneBefore);
            const Loop cutter = star(row.centre, row.vRadii, 0.1 * seed);
            const Q expected = starClippedArea(vZoneBefore, row.centre, cutter);
            Loop given = cutter;
            if (row.bClockwise) std::reverse(given.begin(), given.end());
            Zone2* pCut = nullptr;
            stdoutOf([&] { pCut = createZone_cookieCutter(pZone, given); });
            ASSERT_NE(pCut, nullptr) << what;
            expectValid(dt, what);
            const std::vector<Triangle2*> vCut = zoneTriangles(pCut);
            for (const Triangle2* pT : vCut) ASSERT_TRUE(barycentreInStar(pT, row.centre, cutter)) << what;
            // Without constraints to cross, no vertex is rounded: the area is exact. Crossing
            // the domain's segments makes vertices rounded once to doubles.
            if (row.bGlobal) EXPECT_EQ(exactArea(vCut).get_str(), expected.get_str()) << what;
            else EXPECT_LE(std::abs(Q(exactArea(vCut) - expected).get_d()), 1e-13 * expected.get_d()) << what;
            // The zone keeps its area (up to the rounded crossings on its border).
            if (row.bGlobal) EXPECT_EQ(exactArea(zoneTriangles(pZone)).get_str(), areaBefore.get_str()) << what;
            else EXPECT_LE(std::abs(Q(exactArea(zoneTriangles(pZone)) - areaBefore).get_d()), 1e-13 * areaBefore.get_d()) << what;
        }
}

TEST(UnifyGrid, NearlyCoincidentVerticesBecomeGridVerticesAndTheZoneKeepsItsRegion) {
    lumo_test::ScopedTempDir tmp;
    for (unsigned seed = 1; seed <= 4; ++seed) {
        const std::string what = "seed " + std::to_string(seed);
        std::mt19937 rng(seed);
        std::uniform_real_distribution<double> jitter(-1e-6, 1e-6);
        // Two or three points close to each grid point, and a few right on it.
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
        const Q areaBefore = exactArea(zoneTriangles(pZone)), areaAllBefore = exactArea(zoneTriangles(pAll));
        const size_t numBefore = dt.numberOfPoints();
        size_t numSnapped = 0;
        stdoutOf([&] { numSnapped = pZone->unifyGrid(0.5); });
        expectValid(dt, what);
        EXPECT_LT(dt.numberOfPoints(), numBefore) << what;
        EXPECT_EQ(exactArea(zoneTriangles(pZone)).get_str(), areaBefore.get_str()) << what;
        EXPECT_EQ(exactArea(zoneTriangles(pAll)).get_str(), areaAllBefore.get_str()) << what;
        // Inside the zone, one vertex per grid point, except the domain's corners.
        std::vector<Point2*> vVtx;
        pZone->getVertices(vVtx);
        std::set<std::pair<double, double>> sSeen;
        for (Point2* p : vVtx) {
            if (std::find(domain.begin(), domain.end(), *p) != domain.end()) continue;
            EXPECT_EQ(std::fmod(p->x(), 0.5), 0.0) << what << " " << *p;
            EXPECT_EQ(std::fmod(p->y(), 0.5), 0.0) << what << " " << *p;
            EXPECT_TRUE(sSeen.emplace(p->x(), p->y()).second) << what << " " << *p;
            // A snapped vertex keeps its custom index.
            if (p->getCustomIndex() == 77) {
                EXPECT_EQ(*p, Point2(std::round(2 * v[7].x()) / 2, std::round(2 * v[7].y()) / 2));
            }
        }
        EXPECT_GT(numSnapped, 0u);
        // Snapped once, nothing is left to snap.
        EXPECT_EQ(pZone->unifyGrid(0.5), 0u) << what;
        // The whole triangulation: its hull stays, so its area too.
        stdoutOf([&] { pAll->unifyGrid(0.5); });
        expectValid(dt, what + ", global");
        EXPECT_EQ(exactArea(zoneTriangles(pAll)).get_str(), areaAllBefore.get_str()) << what;
    }
    // A vertex whose grid point lies beyond the zone's border stays; its neighbour moves.
    Dt2 dt(8);
    dt.insertVector({Point2(-5, -5), Point2(9, -5), Point2(-5, 9), Point2(2.6, 1.8), Point2(1.2, 0.9)}, nullptr);
    const std::vector<Segment2> vTriangle{Segment2(Point2(0, 0), Point2(4.5, 0)), Segment2(Point2(4.5, 0), Point2(0, 4.5)),
                                          Segment2(Point2(0, 4.5), Point2(0, 0))};
    Zone2* pZone = dt.createZone(dt.createConstraint(vTriangle, CIS_CONSTRAINED_DELAUNAY, true), ZL_INSIDE);
    EXPECT_EQ(pZone->unifyGrid(1.0), 1u);
    std::vector<Point2*> vVtx;
    pZone->getVertices(vVtx);
    std::set<Point2> sVtx;
    for (Point2* p : vVtx) sVtx.insert(*p);
    EXPECT_EQ(sVtx, (std::set<Point2>{Point2(0, 0), Point2(4.5, 0), Point2(0, 4.5), Point2(2.6, 1.8), Point2(1, 1)}));
    expectValid(dt, "grid point beyond the border");
}
