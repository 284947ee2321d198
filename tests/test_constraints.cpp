// Constraint segments, constrained and conforming insertion, constraint graphs. Every
// triangulation built here passes checkValidity and the exact oracle of tests/support
// (constrainedFault: the local Delaunay test is waived across the alive constrained pieces only);
// crossings are checked against their exact rational intersection, and non-crossing input
// against CGAL's constrained Delaunay triangulation when it is there.
#include <gtest/gtest.h>
#include <algorithm>
#include <cmath>
#include <functional>
#include <deque>
#include <map>
#include <random>
#include <set>
#include <sstream>
#include "ExactOracle.h"
#include "GeomTest.h"
#include "InnerVtxMgr.h"
#include "LumoFiles.h"
#include "Lumo_2D.h"
#include "ScopedTempDir.h"
#include "TriangulationBuilders.h"
#include "segmentOracle.h"
#ifdef LUMO2D_HAVE_CGAL
#include <CGAL/Constrained_Delaunay_triangulation_2.h>
#include <CGAL/Exact_predicates_inexact_constructions_kernel.h>
#endif

using namespace ORBI_LUMO2D;
using lumo_test::constrainedFault;
using lumo_test::CoordEdge;
using lumo_test::coordEdge;
using lumo_test::randomPoints;
using lumo_test::stdoutOf;

namespace {
typedef std::pair<double, double> XY;
XY xy(const Point2& p) { return XY(p.x(), p.y()); }
Segment2 seg(double x0, double y0, double x1, double y1) { return Segment2(Point2(x0, y0), Point2(x1, y1)); }
ConstraintGraph2* add(Lumo_2D& dt, std::vector<Segment2> v, ConstraintInsertionStrategy cis = CIS_CONSTRAINED_DELAUNAY, bool bOriented = false) {
    return dt.createConstraint(v, cis, bOriented);
}
// The graph's alive pieces, or the segments it was made of.
std::vector<ConstraintSegment2*> pieces(const ConstraintGraph2* pG, bool bOriginals = false) {
    std::vector<ConstraintSegment2*> v;
    bOriginals ? pG->getOriginalConstraintSegments(v) : pG->getChildConstraintSegments(v);
    return v;
}
std::vector<ConstraintSegment2*> originals(const ConstraintGraph2* pG) { return pieces(pG, true); }
std::vector<Segment2> randomSegments(size_t n, std::mt19937_64& rng, double len) {
    std::uniform_real_distribution<double> d(0.0, 1.0);
    std::vector<Segment2> v;
    for (size_t i = 0; i < n; ++i) {
        const double x = d(rng), y = d(rng), a = 2 * M_PI * d(rng);
        v.push_back(seg(x, y, x + len * std::cos(a), y + len * std::sin(a)));
    }
    return v;
}
// Random segments none of which touches another.
std::vector<Segment2> disjointSegments(size_t n, std::mt19937_64& rng, double len) {
    std::vector<Segment2> v;
    for (const Segment2& s : randomSegments(4 * n, rng, len))
        if (v.size() < n && std::all_of(v.begin(), v.end(), [&](const Segment2& t) { return lumo_test::classifyExactly(s, t).type == SIT_NONE; }))
            v.push_back(s);
    return v;
}
bool properlyCross(const Segment2& s, const Segment2& t) {
    using lumo_test::exactOrientation;
    const Point2 a = s.getSrc(), b = s.getTrg(), c = t.getSrc(), d = t.getTrg();
    return exactOrientation(a, b, c) * exactOrientation(a, b, d) < 0 && exactOrientation(c, d, a) * exactOrientation(c, d, b) < 0;
}
Segment2 segmentOf(const ConstraintSegment2* s) { return Segment2(*s->getSrc(), *s->getTrg()); }

// Empty when the alive pieces of pOrig form one chain from its source to its target, every
// vertex off its supporting line by 1e-13 of its largest end coordinate at the most.
std::string chainFault(ConstraintSegment2* pOrig) {
    std::vector<ConstraintSegment2*> vChain;
    if (pOrig->isAlive()) vChain.push_back(pOrig);
    else pOrig->getChildrenRec(vChain);
    const Point2 a = *pOrig->getSrc(), b = *pOrig->getTrg();
    const double ux = b.x() - a.x(), uy = b.y() - a.y(), len = std::hypot(ux, uy);
    const double tol = 1e-13 * std::max({std::fabs(a.x()), std::fabs(a.y()), std::fabs(b.x()), std::fabs(b.y())});
    std::set<Point2*> sEnds;   // vertices used an odd number of times
    for (ConstraintSegment2* s : vChain)
        for (Point2* p : {s->getSrc(), s->getTrg()}) {
            if (!sEnds.insert(p).second) sEnds.erase(p);
            if (std::fabs(ux * (p->y() - a.y()) - uy * (p->x() - a.x())) / len > tol) return "a piece vertex is off the line";
        }
    return sEnds == std::set<Point2*>{pOrig->getSrc(), pOrig->getTrg()} ? "" : "the pieces are no chain";
}

struct HardCase {
    const char* name;
    std::vector<Point2> vPoints;
    std::vector<std::vector<Segment2>> vGroups;   // one createConstraint call each
    size_t expectedVertices;                       // 0: not checked
    bool bOriented = false;
    bool bConformingToo = true;   // false where conforming insertion only meets the precision guard, slowly
    bool bPointsLast = false;     // the constraints wait for a two-dimensional triangulation
};

// 12 x 12 countries over a jittered grid, one call per row. Each border is a noisy polyline
// given once per country (twice in all, in opposite directions); coordinates are multiples
// of 2^-20, so a road from a country's centre to the midpoint of a border piece ends exactly
// on it (a T-junction). Some pieces are repeated, some have zero length, and some are
// digitised again 1e-13 off, crossing the original at a tiny angle.
HardCase borderFileOfAdjacentCountries() {
    std::mt19937_64 rng(17);
    std::uniform_real_distribution<double> d(-1.0, 1.0);
    auto q = [](double v) { return std::round(std::ldexp(v, 20)) / std::ldexp(1.0, 20); };
    const int n = 12;
    auto corner = [&](int i, int j) {   // jittered inside, straight on the outer boundary
        std::mt19937_64 r(uint64_t(i * 100 + j));
        return Point2(q(i + (i % n == 0 ? 0.0 : 0.3 * d(r))), q(j + (j % n == 0 ? 0.0 : 0.3 * d(r))));
    };
    auto border = [&](const Point2& a, const Point2& b) {   // the same noise from either end
        const bool bRev = xy(b) < xy(a);
        const Point2 &p = bRev ? b : a, &r = bRev ? a : b;
        std::mt19937_64 rb(std::hash<double>()(p.x() * 7 + p.y() * 13 + r.x() * 17 + r.y()));
        const bool bOuter = (p.x() == r.x() && std::fmod(p.x(), n) == 0) || (p.y() == r.y() && std::fmod(p.y(), n) == 0);
        std::vector<Point2> v;
        for (int k = 0; k <= 6; ++k) {
            const double t = k / 6.0, noise = (k % 6 == 0 || bOuter) ? 0.0 : 0.08 * d(rb);
            v.emplace_back(q(p.x() + t * (r.x() - p.x()) - noise * (r.y() - p.y())), q(p.y() + t * (r.y() - p.y()) + noise * (r.x() - p.x())));
        }
        if (bRev) std::reverse(v.begin(), v.end());
        return v;
    };
    HardCase c{"border file of adjacent countries", {}, std::vector<std::vector<Segment2>>(n), 0, true, false};
    for (int i = 0; i < n; ++i)
        for (int j = 0; j < n; ++j) {
            const Point2 aCorner[4] = {corner(i, j), corner(i + 1, j), corner(i + 1, j + 1), corner(i, j + 1)};
            for (int side = 0; side < 4; ++side) {
                const std::vector<Point2> vLine = border(aCorner[side], aCorner[(side + 1) % 4]);
                for (size_t k = 0; k + 1 < vLine.size(); ++k) {
                    const Point2 &a = vLine[k], &b = vLine[k + 1];
                    const double e = 1e-13, ex = e * (b.y() - a.y()), ey = e * (b.x() - a.x());
                    c.vGroups[i].emplace_back(a, b);
                    switch (rng() % 16) {
                        case 0: c.vGroups[i].emplace_back(a, b); break;   // repeated
                        case 1: c.vGroups[i].emplace_back(b, b); break;   // zero length
                        case 2: c.vGroups[i].emplace_back(Point2(a.x() - ex, a.y() + ey), Point2(b.x() + ex, b.y() - ey)); break;
                        case 3: c.vGroups[i].emplace_back(Point2(q(i + 0.5), q(j + 0.5)), Point2((a.x() + b.x()) / 2, (a.y() + b.y()) / 2)); break;
                        default: break;
                    }
                }
            }
        }
    return c;
}
std::vector<HardCase> hardCases() {
    const std::vector<Point2> box = {Point2(-1, -1), Point2(3, -1), Point2(3, 3), Point2(-1, 3)};
    std::vector<HardCase> v = {
        {"two crossing", box, {{seg(0, 0, 2, 2)}, {seg(0, 2, 2, 0)}}, 9},
        {"one call crossing", box, {{seg(0, 0, 2, 2), seg(0, 2, 2, 0)}}, 9},
        {"through existing vertices", {Point2(0, 0), Point2(1, 0), Point2(2, 0), Point2(1, 1), Point2(1, -1), Point2(3, 0)}, {{seg(0, 0, 3, 0)}}, 6},
        {"T-junction", box, {{seg(0, 0, 2, 0)}, {seg(1, 0, 1, 2)}}, 8},
        {"collinear overlapping chain", box, {{seg(0, 0, 2, 0), seg(1, 0, 3, 0)}, {seg(0.5, 0, 2.5, 0)}, {seg(2.5, 0, 0, 0)}}, 10},
        {"collinear overlapping chain before the triangulation", {Point2(1, 1), Point2(3, -1), Point2(2, 0.5), Point2(1.5, -0.5)},
         {{seg(0, 0, 2, 0), seg(4, 0, 1, 0)}}, 8, false, true, true},
        {"segments along the hull", box, {{seg(-1, -1, 3, -1), seg(3, -1, 3, 3), seg(3, 3, -1, 3), seg(-1, 3, -1, -1)}}, 4},
        {"same twice, both directions", box, {{seg(0, 0, 2, 1), seg(0, 0, 2, 1)}, {seg(2, 1, 0, 0)}}, 6},
        // y = 3x and y = 1 - x/3 cross at (0.3, 0.9); both coordinates round. A vertex placed at
        // the once-rounded point lies on neither line, yet both must be split at it: no new vertex.
        {"crossing rounds onto an existing vertex", box, {{seg(0, 0, 1, 3)}, {seg(0, 1, 3, 0)}}, 9},
    };
    v.back().vPoints.push_back(GeomTest().getIntersectionCoords_gmp(seg(0, 0, 1, 3), seg(0, 1, 3, 0)));
    // Thousands of segments through one vertex (the origin), and a bundle of lines that nearly
    // meet in one point (1,-0.5): their crossings round to a cluster of distinct vertices.
    HardCase star{"star through one vertex", box, {{}, {}}, 0};
    star.vPoints.push_back(Point2(0, 0));
    for (int i = 0; i < 2000; ++i) star.vGroups[0].push_back(seg(0, 0, 2 * std::cos(M_PI * i / 2000.0), 2 * std::sin(M_PI * i / 2000.0) + 0.5));
    for (int i = 0; i < 30; ++i) {
        const double c = 0.45 * std::cos(M_PI * i / 30.0), s = 0.45 * std::sin(M_PI * i / 30.0);
        star.vGroups[1].push_back(seg(1 - c, -0.5 - s, 1 + c, -0.5 + s));
    }
    // Crossings at angles of a few ulps: near-parallel pairs through a shared region.
    HardCase tiny{"tiny angles", box, {{}}, 0};
    const double u = std::ldexp(1.0, -52);
    for (int k = 1; k <= 12; ++k)
        tiny.vGroups[0].insert(tiny.vGroups[0].end(), {seg(0, 0, 2, 2), seg(0, k * u, 2, 2 - k * u), seg(0, 1 + k * u, 2, 1 - k * u * 3), seg(0, 1, 2, 1 + k * u)});
    HardCase bundle{"near parallel bundle crossing a fan", box, {{}, {}}, 0};
    for (int k = 0; k < 40; ++k) {
        bundle.vGroups[0].push_back(seg(0, 1 + k * 1e-14, 2, 1 + k * 1.3e-14 - 2e-13));
        bundle.vGroups[1].push_back(seg(0.05 * k, 0, 2 - 0.05 * k, 2));
    }
    v.insert(v.end(), {star, tiny, bundle, borderFileOfAdjacentCountries()});
    for (double f : {1e15, 1e-15}) {   // a grid of crossings, huge and tiny coordinates
        HardCase c{f > 1 ? "grid near 1e15" : "grid near 1e-15", {}, {{}, {}}, 0};
        for (const Point2& p : box) c.vPoints.emplace_back(p.x() * f + 3 * f, p.y() * f);
        for (int k = 0; k < 10; ++k) {
            c.vGroups[0].push_back(seg((3 + 0.1 * k) * f, 0, (3.3 + 0.17 * k) * f, 2 * f));
            c.vGroups[1].push_back(seg(2.9 * f, (0.1 + 0.19 * k) * f, 5 * f, (0.3 + 0.15 * k) * f));
        }
        v.push_back(c);
    }
    return v;
}
} // namespace

// Every input segment of positive length is an original piece of its graph, in input order,
// whose alive pieces chain along it (a segment given in both directions within one oriented
// call keeps one direction).
TEST(Constraints, HardInputsStayValid) {
    lumo_test::ScopedTempDir tmp;
    for (const HardCase& c : hardCases())
        for (ConstraintInsertionStrategy cis : {CIS_CONSTRAINED_DELAUNAY, CIS_CONFORMING_DELAUNAY}) {
            if (cis == CIS_CONFORMING_DELAUNAY && !c.bConformingToo) continue;
            SCOPED_TRACE(std::string(c.name) + (cis == CIS_CONSTRAINED_DELAUNAY ? " (constrained)" : " (conforming)"));
            Lumo_2D dt;
            if (!c.bPointsLast) dt.insert(c.vPoints);
            std::vector<std::vector<Segment2>> vGroups = c.vGroups;
            std::vector<ConstraintGraph2*> vGraphs;
            const std::string out = stdoutOf([&] {
                for (std::vector<Segment2>& vSegs : vGroups) {
                    // Conforming splitting around many tiny angles grows shells of vertices
                    // towards the apex: a sample of the largest groups is enough there.
                    if (cis == CIS_CONFORMING_DELAUNAY && vSegs.size() > 60) vSegs.resize(60);
                    vGraphs.push_back(add(dt, vSegs, cis, c.bOriented));
                }
                if (!c.bPointsLast) return;
                dt.applyConstraintsAndZones();
                dt.insert(c.vPoints);
                dt.applyConstraintsAndZones();
            });
            EXPECT_EQ(c.bPointsLast, out.find("The triangulation is not 2D yet, can't apply the constraints") != std::string::npos);
            // Conforming insertion of crossings at angles of a few ulps splits down to the
            // precision guard; unrepresented pieces would be reported missing: the mesh alone.
            if (out.find("Double precision arithmetic") != std::string::npos || out.find("insufficient numeric accuracy") != std::string::npos) {
                EXPECT_EQ(lumo_test::meshFault(dt), "");
                continue;
            }
            ASSERT_EQ(constrainedFault(dt, vGraphs, "hard input"), "");
            EXPECT_TRUE(cis == CIS_CONFORMING_DELAUNAY || c.expectedVertices == 0 || dt.numberOfPoints() == c.expectedVertices) << dt.numberOfPoints() << " vertices";
            for (size_t g = 0; g < vGroups.size(); ++g) {
                const std::vector<ConstraintSegment2*> vOrig = originals(vGraphs[g]);
                size_t o = 0;
                for (const Segment2& s : vGroups[g]) {
                    if (s.getSrc() == s.getTrg()) continue;
                    ASSERT_LT(o, vOrig.size());
                    EXPECT_EQ(coordEdge(*vOrig[o]->getSrc(), *vOrig[o]->getTrg()), coordEdge(s.getSrc(), s.getTrg()));
                    EXPECT_EQ(chainFault(vOrig[o++]), "") << "group " << g;
                }
                EXPECT_EQ(o, vOrig.size());
            }
        }
}

// One vertex per crossing of the host's segments, each exactly the crossing of the two pieces
// it split, rounded once toward zero (the exact rational intersection); half the segments in
// one call, the rest one by one: crossings inside a call and across calls.
TEST(Constraints, CrossingRandomSegmentsMeetAtTheirIntersections) {
    std::mt19937_64 rng(7);
    for (size_t numSeg : {2u, 30u, 120u}) {
        SCOPED_TRACE(numSeg);
        Lumo_2D dt;
        dt.insert(randomPoints(500, unsigned(numSeg)));
        const std::vector<Segment2> vSegs = randomSegments(numSeg, rng, 0.6);
        std::vector<ConstraintGraph2*> vGraphs;
        stdoutOf([&] {
            vGraphs.push_back(add(dt, std::vector<Segment2>(vSegs.begin(), vSegs.begin() + std::ptrdiff_t(numSeg / 2))));
            for (size_t i = numSeg / 2; i < numSeg; ++i) vGraphs.push_back(add(dt, {vSegs[i]}));
        });
        ASSERT_EQ(constrainedFault(dt, vGraphs, "crossing"), "");
        std::map<Point2*, std::vector<ConstraintSegment2*>> mSplitAt;   // split vertex -> dead pieces
        for (ConstraintGraph2* pG : vGraphs)
            for (std::vector<ConstraintSegment2*> vStack = originals(pG); !vStack.empty();) {
                ConstraintSegment2 *pS = vStack.back(), *k0 = nullptr, *k1 = nullptr;
                Point2* pSplit = nullptr;
                vStack.pop_back();
                if (!pS->isSplit()) continue;
                pS->getChildrenAndSplitPoint(k0, k1, pSplit);
                mSplitAt[pSplit].push_back(pS);
                vStack.insert(vStack.end(), {k0, k1});
            }
        std::set<XY> sInput;
        for (const Segment2& s : vSegs) sInput.insert({xy(s.getSrc()), xy(s.getTrg())});
        size_t numCrossingVertices = 0, numCrossings = 0;
        for (const auto& e : mSplitAt) {
            if (sInput.count(xy(*e.first)) != 0) continue;   // an input vertex on a segment
            ++numCrossingVertices;
            bool bRounded = false;
            for (ConstraintSegment2* s : e.second)
                for (ConstraintSegment2* t : e.second) {
                    if (!properlyCross(segmentOf(s), segmentOf(t))) continue;
                    const double c[8] = {s->getSrc()->x(), s->getSrc()->y(), s->getTrg()->x(), s->getTrg()->y(),
                                         t->getSrc()->x(), t->getSrc()->y(), t->getTrg()->x(), t->getTrg()->y()};
                    lumo_test::Rational x, y;
                    lumo_oracle::lineIntersection(c, x.get_mpq_t(), y.get_mpq_t());
                    bRounded = bRounded || (lumo_oracle::isTruncation(e.first->x(), x.get_mpq_t()) && lumo_oracle::isTruncation(e.first->y(), y.get_mpq_t()));
                }
            EXPECT_TRUE(bRounded) << "vertex " << *e.first;
        }
        for (size_t i = 0; i < numSeg; ++i)
            for (size_t j = i + 1; j < numSeg; ++j) numCrossings += properlyCross(vSegs[i], vSegs[j]) ? 1 : 0;
        EXPECT_EQ(numCrossingVertices, numCrossings);
        EXPECT_EQ(dt.numberOfPoints(), 500 + 2 * numSeg + numCrossings);
    }
}

TEST(Constraints, NonCrossingSegmentsGiveCgalsEdgeSet) {
#ifndef LUMO2D_HAVE_CGAL
    GTEST_SKIP() << "built without CGAL (apt-get install libcgal-dev): comparison skipped";
#else
    typedef CGAL::Exact_predicates_inexact_constructions_kernel K;
    typedef CGAL::Constrained_Delaunay_triangulation_2<K, CGAL::Default, CGAL::Exact_predicates_tag> CDT;
    std::mt19937_64 rng(11);
    for (int round = 0; round < 3; ++round) {
        const std::vector<Point2> vPts = randomPoints(size_t(300 + 500 * round), unsigned(11 + round));
        const std::vector<Segment2> vSegs = disjointSegments(size_t(40 + 60 * round), rng, 0.05 + 0.1 * round);
        Lumo_2D dt;
        dt.insert(vPts);
        ConstraintGraph2* pG = add(dt, vSegs);
        ASSERT_EQ(constrainedFault(dt, {pG}, "vs CGAL"), "");
        CDT cdt;
        for (const Point2& p : vPts) cdt.insert(K::Point_2(p.x(), p.y()));
        for (const Segment2& s : vSegs) cdt.insert_constraint(K::Point_2(s.getSrc().x(), s.getSrc().y()), K::Point_2(s.getTrg().x(), s.getTrg().y()));
        std::set<CoordEdge> sOurs, sPeer;
        for (Triangle2* pT : lumo_test::triangles(dt))
            for (int i = 0; i < 3; ++i) sOurs.insert(coordEdge(*pT->getCorner(i), *pT->getCorner((i + 1) % 3)));
        for (auto e = cdt.finite_edges_begin(); e != cdt.finite_edges_end(); ++e) {
            const K::Point_2 a = e->first->vertex(CDT::cw(e->second))->point(), b = e->first->vertex(CDT::ccw(e->second))->point();
            sPeer.insert(coordEdge(Point2(a.x(), a.y()), Point2(b.x(), b.y())));
        }
        EXPECT_EQ(sOurs, sPeer) << "round " << round;
    }
#endif
}

// Each host segment a chain of Delaunay edges from its source to its target (the full
// empty-circle check), every vertex on the segment up to the rounding of midpoints and
// crossings; later insertions close to the segments, single, by vector and by array, flip
// pieces away, and each call splits them again. Segments given one call at a time among
// constrained ones that cross them: each call must leave every earlier piece an edge, whether a
// flip took it away or a crossing split it (a call looks only at what changed since the last).
TEST(Constraints, ConformingSegmentsAreChainsOfDelaunayEdges) {
    std::mt19937_64 rng(5);
    struct Row { const char* name; size_t numPoints; std::vector<Segment2> vSegs; bool bOneCallEach; };   // one call each: every third constrained
    std::vector<Row> vRows = {{"disjoint", 400, disjointSegments(40, rng, 0.3), false},
                              {"crossing", 400, randomSegments(25, rng, 0.5), false},
                              {"long crossing among many points", 50000, randomSegments(100, rng, 0.7), false},
                              {"one call each, crossing constrained ones", 600, randomSegments(36, rng, 0.6), true},
                              {"star at tiny angles", 1000, {}, false}};
    for (int i = 0; i < 20; ++i) {
        const double a = 0.3 + 0.001 * i, len = 0.5 + 0.015 * i;
        vRows.back().vSegs.push_back(seg(0.1, 0.1, 0.1 + len * std::cos(a), 0.1 + len * std::sin(a)));
    }
    std::uniform_real_distribution<double> d(0.0, 1.0);
    for (Row& row : vRows) {
        SCOPED_TRACE(row.name);
        Lumo_2D dt;
        dt.insert(randomPoints(row.numPoints, unsigned(row.numPoints)));
        std::vector<ConstraintGraph2*> vGraphs;
        for (size_t i = 0, end = 0; i < row.vSegs.size(); i = end) {
            end = row.bOneCallEach ? i + 1 : row.vSegs.size();
            const std::vector<Segment2> vCall(row.vSegs.begin() + long(i), row.vSegs.begin() + long(end));
            const ConstraintInsertionStrategy cis = row.bOneCallEach && i % 3 == 2 ? CIS_CONSTRAINED_DELAUNAY : CIS_CONFORMING_DELAUNAY;
            EXPECT_EQ(stdoutOf([&] { vGraphs.push_back(add(dt, vCall, cis)); }), "");
            ASSERT_EQ(constrainedFault(dt, vGraphs, "after call " + std::to_string(i)), "");
        }
        for (ConstraintGraph2* pG : vGraphs)
            for (ConstraintSegment2* pO : originals(pG)) EXPECT_EQ(chainFault(pO), "");
        std::vector<Point2> vNear;   // 6 points per segment, 1e-3 off it at most
        for (const Segment2& s : row.vSegs)
            for (int k = 0; k < 6; ++k) {
                const double t = d(rng), off = 1e-3 * (d(rng) - 0.5);
                const Point2 a = s.getSrc(), b = s.getTrg();
                vNear.emplace_back(a.x() + t * (b.x() - a.x()) - off * (b.y() - a.y()), a.y() + t * (b.y() - a.y()) + off * (b.x() - a.x()));
            }
        const size_t third = vNear.size() / 3;
        for (size_t k = 0; k < third; ++k) dt.insert(vNear[k]);
        ASSERT_EQ(constrainedFault(dt, vGraphs, "single insertions"), "");
        dt.insert(std::vector<Point2>(vNear.begin() + long(third), vNear.begin() + long(2 * third)));
        ASSERT_EQ(constrainedFault(dt, vGraphs, "vector insertion"), "");
        std::vector<double> vXY;
        for (size_t k = 2 * third; k < vNear.size(); ++k) vXY.insert(vXY.end(), {vNear[k].x(), vNear[k].y()});
        dt.insert(int(vXY.size() / 2), vXY.data(), nullptr);
        ASSERT_EQ(constrainedFault(dt, vGraphs, "array insertion"), "");
    }
}

TEST(Constraints, PolygonDirectionsSurviveLaterCrossings) {
    // A square given counterclockwise but starting mid-way, one segment given backwards:
    // oriented, that breaks the head-to-tail chain.
    const std::vector<Segment2> vSquare{seg(2, 0, 2, 2), seg(0, 2, 2, 2), seg(0, 2, 0, 0), seg(0, 0, 2, 0)};
    Lumo_2D dt, oriented;
    ConstraintGraph2 *pSquare = add(dt, vSquare), *pOriented = add(oriented, vSquare, CIS_CONSTRAINED_DELAUNAY, true);
    ASSERT_TRUE(pSquare != nullptr && pOriented != nullptr);
    EXPECT_TRUE(!pSquare->isOriented() && pSquare->isPolygon() && pOriented->isOriented() && !pOriented->isPolygon());
    // A crossing line through two sides, and a T onto the bottom side.
    ConstraintGraph2* pCross = add(dt, {seg(-1, 1, 3, 1.5), seg(1, -1, 1, 0)});
    std::vector<Point2*> vPoly;
    pSquare->getPolygonVertices(vPoly);
    std::vector<XY> vPolyXY;
    for (Point2* p : vPoly) vPolyXY.push_back(xy(*p));
    EXPECT_EQ(vPolyXY, (std::vector<XY>{XY(2, 0), XY(2, 1.375), XY(2, 2), XY(0, 2), XY(0, 1.125), XY(0, 0), XY(1, 0)}));
    // Pieces follow the host's direction head to tail.
    const std::vector<ConstraintSegment2*> vOrig = originals(pSquare), vKids = pieces(pSquare);
    ASSERT_EQ(std::make_pair(vOrig.size(), vKids.size()), std::make_pair(size_t(4), size_t(7)));
    for (size_t i = 0; i < vKids.size(); ++i) {
        EXPECT_TRUE(pSquare->isConstraint(vKids[i]) && !pCross->isConstraint(vKids[i]));
        ConstraintSegment2* n = vKids[(i + 1) % vKids.size()];
        EXPECT_EQ(pSquare->isReverse(vKids[i]) ? vKids[i]->getSrc() : vKids[i]->getTrg(), pSquare->isReverse(n) ? n->getTrg() : n->getSrc()) << i;
    }
    ConstraintSegment2 *pC0 = nullptr, *pC1 = nullptr;
    pSquare->getDirectChildren(vOrig[0], pC0, pC1);   // (2,0)->(2,2) split at (2,1.375)
    ASSERT_TRUE(pC0 != nullptr && pC1 != nullptr);
    EXPECT_TRUE(*pC0->getSrc() == Point2(2, 0) || *pC0->getTrg() == Point2(2, 0));
    EXPECT_TRUE(*pC1->getSrc() == Point2(2, 2) || *pC1->getTrg() == Point2(2, 2));
    EXPECT_TRUE(pSquare->isConstraint(pC0->getSrc(), pC0->getTrg()) && pSquare->isConstraint(pC0->getTrg(), pC0->getSrc()));
    EXPECT_FALSE(pSquare->isConstraint(vOrig[0]->getSrc(), vOrig[0]->getTrg()));
    // A side given again, backwards: the same object with two owners, reversed in the second.
    ConstraintGraph2* pTwice = add(oriented, {seg(2, 2, 2, 0)}, CIS_CONSTRAINED_DELAUNAY, true);
    ASSERT_EQ(originals(pTwice), std::vector<ConstraintSegment2*>{originals(pOriented)[0]});
    EXPECT_EQ(originals(pTwice)[0]->getNumberOfOwners(), 2u);
    EXPECT_NE(pTwice->isReverse(originals(pTwice)[0]), pOriented->isReverse(originals(pTwice)[0]));
    EXPECT_EQ(constrainedFault(dt, {pSquare, pCross}, "square"), "");
    EXPECT_EQ(constrainedFault(oriented, {pOriented, pTwice}, "oriented square"), "");
}

TEST(Constraints, SegmentRecordSplits) {
    lumo_test::ScopedTempDir tmp;
    Lumo_2D dt;
    std::vector<Point2*> vH;
    dt.insert(std::vector<Point2>{Point2(0, 0), Point2(4, 0), Point2(4, 4), Point2(0, 4)}, vH);
    ConstraintGraph2* pG = add(dt, {seg(0, 0, 4, 4)});
    ConstraintSegment2* s = originals(pG)[0];
    // The constructor's order assertion.
    EXPECT_NE(stdoutOf([&] { EXPECT_THROW(ConstraintSegment2(std::max(vH[0], vH[2], std::less<Point2*>()), std::min(vH[0], vH[2], std::less<Point2*>()), CIS_CONSTRAINED_DELAUNAY), LumoException); })
                  .find("Condition [ p0<p1 failed ]"), std::string::npos);
    // insertAndSplit onto an endpoint: null, nothing changes.
    EXPECT_EQ(s->insertAndSplit(Point2(0, 0)), nullptr);
    EXPECT_TRUE(s->isAlive());
    // Split twice on the first child: three leaves, grandchildren first.
    Point2* pMid = s->insertAndSplit(Point2(2, 2));
    ASSERT_NE(pMid, nullptr);
    std::ostringstream oss;
    oss << *s;
    EXPECT_TRUE(oss.str().find(" [DEAD, numChildren=2]") != std::string::npos && oss.str().find("length=5.65685") != std::string::npos) << oss.str();
    ConstraintSegment2 *k0 = nullptr, *k1 = nullptr;
    Point2* pSplit = nullptr;
    s->getChildrenAndSplitPoint(k0, k1, pSplit);
    EXPECT_EQ(pSplit, pMid);
    // splitAndRemovePrev takes back the recorded refinement vertices closer to the split vertex
    // than its distance to the piece's source (sqrt 2 here), and only those.
    InnerVtxMgr& inner = pG->getDt2()->getInnerVtxMgr();
    Point2 *pNear = dt.insert(Point2(1.2, 0.8)), *pFar = dt.insert(Point2(3.5, 0.5));
    inner.add(pNear);
    inner.add(pFar);
    ASSERT_TRUE(k0->splitAndRemovePrev(Point2(1, 1)));
    EXPECT_FALSE(inner.contains(pNear));
    EXPECT_TRUE(inner.contains(pFar));
    inner.withdraw(pFar);
    EXPECT_EQ(inner.size(), 0u);
    std::vector<ConstraintSegment2*> vLeaves;
    s->getChildrenRec(vLeaves);
    ASSERT_EQ(vLeaves.size(), 3u);
    EXPECT_EQ(vLeaves[2], k1);
    EXPECT_EQ(dt.numberOfPoints(), 7u);   // 4 + 2 splits + the far refinement vertex
    // A point inserted exactly on a constrained edge splits it combinatorially.
    Point2* pOn = dt.insert(Point2(3, 3));
    EXPECT_EQ(pieces(pG).size(), 4u);
    EXPECT_EQ(pG->getSplitVertices().count(pOn), 1u);
    EXPECT_EQ(constrainedFault(dt, {pG}, "record"), "");
}

// The record of refinement vertices against brute force, as it grows between queries: a removal
// takes exactly the recorded, not withdrawn vertices strictly inside the circle, for x spread
// evenly, over twelve orders of magnitude, and all on one vertical line.
TEST(Constraints, InnerVertexRecordTakesExactlyTheVerticesInsideTheCircle) {
    std::mt19937_64 rng(3);
    std::uniform_real_distribution<double> unit(0.0, 1.0);
    const std::function<double()> aX[] = {[&] { return unit(rng); }, [&] { return std::pow(10.0, 12.0 * unit(rng) - 6.0); },
                                          [&] { return 5.0; }};
    for (const auto& drawX : aX) {
        InnerVtxMgr inner;
        std::deque<Point2> vPoints;
        std::set<Point2*> sMembers;
        for (int round = 0; round < 30; ++round) {
            for (int i = 0; i < 50 * (round + 1); ++i) {
                vPoints.emplace_back(drawX(), unit(rng));
                inner.add(&vPoints.back());
                sMembers.insert(&vPoints.back());
            }
            Point2* pWithdrawn = &vPoints[rng() % vPoints.size()];
            inner.withdraw(pWithdrawn);
            sMembers.erase(pWithdrawn);
            Point2 center = vPoints[rng() % vPoints.size()];
            const double sqRadius = std::pow(unit(rng), 4.0) * (center.x() * center.x() + 0.1);
            std::set<Point2*> sInside;
            for (Point2* p : sMembers)
                if ((p->x() - center.x()) * (p->x() - center.x()) + (p->y() - center.y()) * (p->y() - center.y()) < sqRadius)
                    sInside.insert(p);
            inner.removePreviouslyInsertedVertices(&center, sqRadius, nullptr);
            for (Point2* p : sInside) sMembers.erase(p);
            ASSERT_EQ(inner.size(), sMembers.size()) << round;
            for (Point2* p : sInside) ASSERT_FALSE(inner.contains(p)) << round;
            for (int i = 0; i < 200; ++i) {
                Point2* q = &vPoints[rng() % vPoints.size()];
                ASSERT_EQ(inner.contains(q), sMembers.count(q) != 0) << round;
            }
        }
    }
}

TEST(Constraints, BadInputIsRefusedWithAMessageAndNothingIsLost) {
    lumo_test::ScopedTempDir tmp;
    Lumo_2D dt;
    dt.insert(std::vector<Point2>{Point2(0, 0), Point2(4, 0), Point2(4, 4), Point2(0, 4)});
    ConstraintGraph2* pGood = add(dt, {seg(1, 1, 3, 3)});
    const double nan = std::nan(""), inf = HUGE_VAL;
    const ConstraintInsertionStrategy unknown = ConstraintInsertionStrategy(7);
    const struct { std::vector<Segment2> vSegs; ConstraintInsertionStrategy cis; const char* expected; bool bNull; } aCases[] = {
        {{}, CIS_CONSTRAINED_DELAUNAY, "You have not supplied any segments. Returning NULL!", true},
        {{seg(nan, 1, 2, 2), seg(1, 3, 3, 1)}, CIS_CONSTRAINED_DELAUNAY, "NaN or infinite coordinate", false},
        {{seg(1, inf, 2, 2)}, CIS_CONFORMING_DELAUNAY, "NaN or infinite coordinate", false},
        {{seg(2, 1, 2, 1), seg(0.5, 3, 3, 0.5)}, CIS_CONSTRAINED_DELAUNAY, "(0) Identical source and endpoint", false},
        {{seg(0.5, 0.5, 1.5, 0.5)}, unknown, "Unknown CIS", false},
    };
    std::vector<ConstraintGraph2*> vGraphs{pGood};
    for (const auto& c : aCases) {
        ConstraintGraph2* pG = nullptr;
        const std::string out = stdoutOf([&] { pG = add(dt, c.vSegs, c.cis); });
        if (pG != nullptr && c.cis != unknown) vGraphs.push_back(pG);
        EXPECT_NE(out.find(c.expected), std::string::npos) << c.expected << "\n" << out;
        EXPECT_EQ(pG == nullptr, c.bNull) << c.expected;
    }
    // 4 + 2, then 2 + 1 crossing, 1 lone point + 2 + 1 crossing, 2 unapplied; no NaN point.
    EXPECT_EQ(dt.numberOfPoints(), 15u);
    EXPECT_EQ(pieces(pGood).size(), 3u);   // crossed twice
    EXPECT_EQ(constrainedFault(dt, vGraphs, "after bad input"), "");
}

// The precision guard of conforming splitting, and the dumps of the pieces read back.
TEST(Constraints, ConformingPrecisionGuardAndDumpFiles) {
    lumo_test::ScopedTempDir tmp;
    Lumo_2D dt;
    const double u = std::ldexp(1.0, -50);
    dt.insert(std::vector<Point2>{Point2(0, 0), Point2(1, 0), Point2(0, 1), Point2(0.5, 0.5 + u / 2), Point2(0.5, 0.5 - u / 2)});
    // Crossed by the shorter Delaunay diagonal and only a few ulps long on both axes.
    EXPECT_NE(stdoutOf([&] { add(dt, {seg(0.5 - u, 0.5, 0.5 + u, 0.5)}, CIS_CONFORMING_DELAUNAY); })
                  .find("Double precision arithmetic does not allow to split a segment further"), std::string::npos);
    ConstraintGraph2* pG = add(dt, {seg(0.1, 0.1, 0.3, 0.2), seg(0.2, 0.05, 0.2, 0.4)});
    const std::string out = stdoutOf([&] { dt.writeConstraintsBIN("dump"); dt.writeConstraints("dump"); });
    EXPECT_NE(out.find("writes 4 child segments to dump_c1_con.bin"), std::string::npos) << out;
    std::vector<Segment2> vBack;
    std::vector<Point2> vText;
    ASSERT_TRUE(readSegmentsBIN("dump_c1_con.bin", vBack) && readXY("dump_c1.con", vText));
    ASSERT_EQ(vText.size(), 2 * vBack.size());
    std::set<CoordEdge> sExpected, sBin, sText;
    for (ConstraintSegment2* s : pieces(pG)) sExpected.insert(coordEdge(*s->getSrc(), *s->getTrg()));
    for (size_t i = 0; i < vBack.size(); ++i) {
        sBin.insert(coordEdge(vBack[i].getSrc(), vBack[i].getTrg()));
        sText.insert(coordEdge(vText[2 * i], vText[2 * i + 1]));
    }
    EXPECT_EQ(sBin, sExpected);
    EXPECT_EQ(sText, sExpected);
    EXPECT_EQ(sExpected.size(), 4u);
}

TEST(Constraints, ProgressIsReportedDuringLongInsertions) {
    lumo_test::ProgressLog log;
    std::mt19937_64 rng(3);
    Lumo_2D dt;
    dt.insert(randomPoints(2000, 3));
    dt.subscribe(MSG_PROGRESS, &log);
    stdoutOf([&] { add(dt, randomSegments(300, rng, 0.2)); });
    EXPECT_GT(log.rising("insert constraints").size(), 50u);
}
