// Operations that change the triangulation to serve zones: importing a triangle soup, cutting
// along segments, cutting a zone with a polygon and snapping zone vertices to a grid. Each is
// built from constraint insertion, vertex removal and insertion, which keep the triangulation
// valid; the geometric decisions of their own are exact orientation tests.
#include <algorithm>
#include <cmath>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>
#include "ConstraintGraph2.h"
#include "ConstraintMgr.h"
#include "Dt2.h"
#include "GeomTest.h"
#include "TriangleSet.h"
#include "Zone2.h"
#include "tools.h"

namespace ORBI_LUMO2D {

namespace {
// Exact orientation of points that need not be vertices: the object's bound grows with them.
Orientation2 orientAny(GeomTest& geom, const Point2& a, const Point2& b, const Point2& c) {
    geom.updateBound(&a, &b, &c);
    return geom.getOrientation2(&a, &b, &c);
}

bool isFinite(const Point2& p) { return std::isfinite(p.x()) && std::isfinite(p.y()); }

// The point of the grid of multiples of h nearest to p (its cell's grid point).
Point2 snapped(const Point2& p, double h) { return Point2(std::round(p.x() / h) * h, std::round(p.y() / h) * h); }

// c lies on the closed segment ab, for collinear a, b, c (exact: coordinates only).
bool onSegment(const Point2& a, const Point2& b, const Point2& c) {
    return std::min(a.x(), b.x()) <= c.x() && c.x() <= std::max(a.x(), b.x()) && std::min(a.y(), b.y()) <= c.y() &&
           c.y() <= std::max(a.y(), b.y());
}

// Whether the closed segments ab and cd share a point.
bool segmentsTouch(GeomTest& geom, const Point2& a, const Point2& b, const Point2& c, const Point2& d) {
    const Orientation2 o1 = orientAny(geom, a, b, c), o2 = orientAny(geom, a, b, d);
    const Orientation2 o3 = orientAny(geom, c, d, a), o4 = orientAny(geom, c, d, b);
    if (o1 != ORIENTATION2_COLLINEAR && o2 != ORIENTATION2_COLLINEAR && o1 != o2 && o3 != ORIENTATION2_COLLINEAR &&
        o4 != ORIENTATION2_COLLINEAR && o3 != o4)
        return true;
    return (o1 == ORIENTATION2_COLLINEAR && onSegment(a, b, c)) || (o2 == ORIENTATION2_COLLINEAR && onSegment(a, b, d)) ||
           (o3 == ORIENTATION2_COLLINEAR && onSegment(c, d, a)) || (o4 == ORIENTATION2_COLLINEAR && onSegment(c, d, b));
}

// Empty when the closed ring is simple (edges meet only where consecutive edges share their
// corner), else why not. Every pair of edges is tested: cutters are small polygons.
std::string ringFault(GeomTest& geom, const std::vector<Point2>& vRing) {
    const size_t n = vRing.size();
    for (size_t i = 0; i < n; ++i) {
        const Point2 &a = vRing[i], &b = vRing[(i + 1) % n], &c = vRing[(i + 2) % n];
        if (a == b) return "it has two consecutive equal vertices (index " + std::to_string(i) + ")";
        // Consecutive edges fold back onto each other.
        if (orientAny(geom, a, b, c) == ORIENTATION2_COLLINEAR && (onSegment(a, b, c) || onSegment(b, c, a)))
            return "edges " + std::to_string(i) + " and " + std::to_string((i + 1) % n) + " overlap";
        for (size_t j = i + 2; j < n; ++j) {
            if (i == 0 && j == n - 1) continue;   // consecutive across the closing vertex
            if (segmentsTouch(geom, a, b, vRing[j], vRing[(j + 1) % n]))
                return "edges " + std::to_string(i) + " and " + std::to_string(j) + " intersect";
        }
    }
    return std::string();
}

} // namespace

// Passes of grid unification; each one after the first only finishes what cell-mates blocked.
const int maxUnifyPasses = 8;

struct SoupTriangle {
    size_t a, b, c;   // indices into the distinct corner points, counterclockwise
    size_t input;     // index of the triangle in the input
};

// ---- importing a triangle soup ----------------------------------------------------------------------

bool Dt2::buildSoup(const std::vector<Point2>& vPoints, const std::vector<SoupTriangle>& vTris,
                    std::vector<Triangle2*>& vTrianglesOut, size_t& badInput) {
    std::vector<Point2*> vHandles;
    insertVector(vPoints, &vHandles);
    std::vector<std::pair<Point2*, Point2*>> vEdges;
    std::set<std::pair<size_t, size_t>> sSeen;
    for (const SoupTriangle& t : vTris) {
        const size_t aIdx[3] = {t.a, t.b, t.c};
        for (int i = 0; i < 3; ++i) {
            const std::pair<size_t, size_t> e = std::minmax(aIdx[i], aIdx[(i + 1) % 3]);
            if (sSeen.insert(e).second) vEdges.emplace_back(vHandles[e.first], vHandles[e.second]);
        }
    }
    getConstraintMgr().createConstraint(vEdges, CIS_CONSTRAINED_DELAUNAY, false);
    // Each triangle must be a face now: a vertex or an edge of another triangle inside it (an
    // overlap, a T-junction) would have divided it.
    vTrianglesOut.clear();
    for (const SoupTriangle& t : vTris) {
        Triangle2* pT = getAdjacentTriangle(vHandles[t.a], vHandles[t.b]);
        if (pT == nullptr || pT->getCorner(incIndexBy2(pT->getIntraTriangleIndex(vHandles[t.a]))) != vHandles[t.c]) {
            badInput = t.input;
            return false;
        }
        vTrianglesOut.push_back(pT);
    }
    return true;
}

Zone2* Dt2::importTriangles(const std::vector<Point2>& vCorners, bool bReorientIfNeeded) {
    const char* where = "Lumo_2D::importTriangles()";
    if (vCorners.empty() || vCorners.size() % 3 != 0) {
        reportWarning(where, "vTriangleCorners holds " + std::to_string(vCorners.size()) +
                                 " point(s), not a positive multiple of 3 (three corners per triangle). Returning NULL");
        return nullptr;
    }
    std::map<std::pair<double, double>, size_t> mIndex;   // -0.0 and 0.0 compare equal: one vertex
    std::vector<Point2> vPoints;
    std::vector<SoupTriangle> vTris;
    std::map<std::pair<size_t, std::pair<size_t, size_t>>, size_t> mTriangles;
    GeomTest geom;
    size_t numReoriented = 0, numDuplicates = 0;
    for (size_t k = 0; k < vCorners.size() / 3; ++k) {
        const Point2* p = &vCorners[3 * k];
        if (!isFinite(p[0]) || !isFinite(p[1]) || !isFinite(p[2])) {
            reportWarning(where, "triangle " + std::to_string(k) + " has a NaN or infinite corner. Returning NULL");
            return nullptr;
        }
        const Orientation2 ori = orientAny(geom, p[0], p[1], p[2]);
        if (ori == ORIENTATION2_COLLINEAR) {
            reportWarning(where, "triangle " + std::to_string(k) + " is degenerate (its corners are collinear or coincide). Returning NULL");
            return nullptr;
        }
        if (ori == ORIENTATION2_CW && !bReorientIfNeeded) {
            reportWarning(where, "triangle " + std::to_string(k) + " is clockwise and bReorientIfNeeded is false. Returning NULL");
            return nullptr;
        }
        size_t aIdx[3];
        for (int i = 0; i < 3; ++i) {
            auto ins = mIndex.emplace(std::make_pair(p[i].x(), p[i].y()), vPoints.size());
            if (ins.second) vPoints.push_back(p[i]);
            aIdx[i] = ins.first->second;
        }
        if (ori == ORIENTATION2_CW) {
            std::swap(aIdx[1], aIdx[2]);
            ++numReoriented;
        }
        // The same triangle given again (any rotation, either orientation) is merged.
        std::rotate(aIdx, std::min_element(aIdx, aIdx + 3), aIdx + 3);
        if (!mTriangles.emplace(std::make_pair(aIdx[0], std::make_pair(aIdx[1], aIdx[2])), k).second) {
            ++numDuplicates;
            continue;
        }
        vTris.push_back(SoupTriangle{aIdx[0], aIdx[1], aIdx[2], k});
    }
    // Two counterclockwise triangles on the same directed edge lie on the same side of it.
    std::map<std::pair<size_t, size_t>, size_t> mDirected;
    std::map<std::pair<size_t, size_t>, int> mUses;
    for (const SoupTriangle& t : vTris) {
        const size_t aIdx[3] = {t.a, t.b, t.c};
        for (int i = 0; i < 3; ++i) {
            const size_t u = aIdx[i], w = aIdx[(i + 1) % 3];
            if (++mUses[std::minmax(u, w)] > 2) {
                reportWarning(where, "the soup is not manifold: an edge of triangle " + std::to_string(t.input) +
                                         " is shared by more than two triangles. Returning NULL");
                return nullptr;
            }
            auto ins = mDirected.emplace(std::make_pair(u, w), t.input);
            if (!ins.second) {
                reportWarning(where, "triangles " + std::to_string(ins.first->second) + " and " + std::to_string(t.input) +
                                         " overlap (both lie on the same side of a shared edge). Returning NULL");
                return nullptr;
            }
        }
    }
    // The rest of the geometry (crossing edges, corners inside other triangles, nesting) is
    // decided by building the soup on its own first: the host's triangulation is changed only
    // when the soup is a proper triangulation of its region.
    std::vector<Triangle2*> vT;
    size_t badInput = 0;
    {
        Dt2 scratch(unsigned(vPoints.size()));
        if (!scratch.buildSoup(vPoints, vTris, vT, badInput)) {
            reportWarning(where, "triangle " + std::to_string(badInput) +
                                     " is cut by another triangle (overlapping triangles, or a corner on another triangle's edge). Returning NULL");
            return nullptr;
        }
    }
    if (!buildSoup(vPoints, vTris, vT, badInput)) {
        reportWarning(where, "triangle " + std::to_string(badInput) +
                                 " is cut by vertices or constraints that the triangulation already had; the soup's vertices and edges stay inserted. Returning NULL");
        return nullptr;
    }
    if (numReoriented + numDuplicates != 0)
        reportInfo(where, std::to_string(numReoriented) + " clockwise triangle(s) reoriented, " + std::to_string(numDuplicates) +
                              " duplicate(s) merged");
    return createZoneFromBorder(vT);
}

// ---- cutting along segments ---------------------------------------------------------------------------

ConstraintGraph2* Dt2::cutTriangles(const std::vector<Segment2>& vSegments, std::vector<Triangle2*>& vLeftOut,
                                    std::vector<Triangle2*>& vRightOut) {
    const char* where = "Lumo_2D::cutTriangles()";
    if (vSegments.empty()) {
        reportWarning(where, "vSegments is empty. Returning NULL");
        return nullptr;
    }
    if (!is2D()) {
        reportWarning(where, "the triangulation has no triangles yet, nothing to cut. Returning NULL");
        return nullptr;
    }
    ConstraintGraph2* pGraph = createConstraint(vSegments, CIS_CONSTRAINED_DELAUNAY, true);
    if (pGraph == nullptr) return nullptr;
    std::vector<ConstraintSegment2*> vPieces;
    pGraph->getChildConstraintSegments(vPieces);
    TriangleSet sLeft(poolTriangles), sRight(poolTriangles);
    for (ConstraintSegment2* pCSeg : vPieces) {
        Point2 *pA = pCSeg->getSrc(), *pB = pCSeg->getTrg();
        if (pGraph->isReverse(pCSeg)) std::swap(pA, pB);
        Triangle2* pL = getAdjacentTriangle(pA, pB);
        Triangle2* pR = getAdjacentTriangle(pB, pA);
        if (pL != nullptr && sLeft.insert(pL)) vLeftOut.push_back(pL);
        if (pR != nullptr && sRight.insert(pR)) vRightOut.push_back(pR);
    }
    return pGraph;
}

// ---- cookie cutter ------------------------------------------------------------------------------------

Zone2* Dt2::cookieCutter(Zone2* pZone, const std::vector<Point2>& vPolygon) {
    const char* where = "createZone_cookieCutter()";
    if (!hasZone(pZone)) {
        reportWarning(where, "pZone is null or not a zone of this triangulation. Returning NULL");
        return nullptr;
    }
    std::vector<Point2> vRing(vPolygon);
    if (vRing.size() > 1 && vRing.front() == vRing.back()) vRing.pop_back();   // closed by repetition
    if (vRing.size() < 3) {
        reportWarning(where, "the polygon has fewer than 3 vertices. Returning NULL");
        return nullptr;
    }
    if (std::find_if(vRing.begin(), vRing.end(), [](const Point2& p) { return !isFinite(p); }) != vRing.end()) {
        reportWarning(where, "the polygon has a NaN or infinite coordinate. Returning NULL");
        return nullptr;
    }
    GeomTest geom;
    const std::string fault = ringFault(geom, vRing);
    if (!fault.empty()) {
        reportWarning(where, "the polygon is not simple: " + fault + ". Returning NULL");
        return nullptr;
    }
    // A simple ring turns at its lowest-leftmost vertex the way it runs round.
    const size_t k = size_t(std::min_element(vRing.begin(), vRing.end()) - vRing.begin());
    const size_t n = vRing.size();
    if (orientAny(geom, vRing[(k + n - 1) % n], vRing[k], vRing[(k + 1) % n]) == ORIENTATION2_CW)
        std::reverse(vRing.begin(), vRing.end());
    std::vector<Segment2> vSegments;
    for (size_t i = 0; i < n; ++i) vSegments.emplace_back(vRing[i], vRing[(i + 1) % n]);
    ConstraintGraph2* pGraph = createConstraint(vSegments, CIS_CONSTRAINED_DELAUNAY, true);
    // The polygon's edges are edges now: every triangle is inside or outside it.
    Zone2* pInside = createZone(pGraph, ZL_INSIDE);
    std::vector<Triangle2*> vInside, vZone, vCut;
    pInside->getTriangles(vInside);
    deleteZone(pInside);
    pZone->getTriangles(vZone);
    TriangleSet sInside(poolTriangles);
    for (Triangle2* pT : vInside) sInside.insert(pT);
    for (Triangle2* pT : vZone)
        if (sInside.contains(pT)) vCut.push_back(pT);
    if (vCut.empty()) {
        reportWarning(where, "the polygon and the zone do not overlap. Returning NULL");
        return nullptr;
    }
    return createZoneFromBorder(vCut);
}

Zone2* createZone_cookieCutter(Zone2* pZone, const std::vector<Point2>& vPolygon) {
    if (pZone == nullptr) {
        reportWarning("createZone_cookieCutter()", "pZone is null or not a zone of this triangulation. Returning NULL");
        return nullptr;
    }
    return pZone->getDt2()->cookieCutter(pZone, vPolygon);
}

// ---- grid unification ---------------------------------------------------------------------------------

size_t Dt2::unifyGrid(Zone2* pZone, double gridSpacing) {
    const char* where = "Zone2::unifyGrid()";
    if (!(gridSpacing > 0) || !std::isfinite(gridSpacing)) {
        reportWarning(where, "gridSpacing must be positive and finite, nothing snapped");
        return 0;
    }
    GeomTest geom;
    std::vector<Point2*> vVertices;
    std::vector<Triangle2*> vUmbrella;
    size_t numSnapped = 0;
    // The last vertex of a cell may come before its cell-mates were merged into it: passes
    // repeat while they change something (a few suffice).
    for (int pass = 0; pass < maxUnifyPasses; ++pass) {
        vVertices.clear();
        pZone->getVertices(vVertices);
        size_t numThisPass = 0;
        for (Point2* pV : vVertices) {
            const Point2 g = snapped(*pV, gridSpacing);
            if (!isFinite(g) || g == *pV) continue;
            // Constraint vertices shape the zone and hull vertices the triangulation: they stay.
            // Every other vertex of the zone lies inside it with its whole umbrella.
            if (isConstraintVertex(pV) || !collectUmbrella(pV, vUmbrella)) continue;
            // A neighbour in the same cell: the vertex joins it (is removed), and that one
            // snaps for both. Otherwise it moves to g when every triangle around it would stay
            // counterclockwise.
            bool bMerge = false, bInKernel = true;
            for (Triangle2* pT : vUmbrella) {
                const int i = pT->getIntraTriangleIndex(pV);
                Point2 *pA = pT->getCorner(incIndexBy1(i)), *pB = pT->getCorner(incIndexBy2(i));
                bMerge = bMerge || (snapped(*pA, gridSpacing) == g);
                bInKernel = bInKernel && orientAny(geom, *pA, *pB, g) == ORIENTATION2_CCW;
            }
            if (!bMerge && !bInKernel) continue;
            Point2 moved(g.x(), g.y());
            moved.setCustomIndex(pV->getCustomIndex());
            remove(pV);
            if (!bMerge) insert(moved);
            ++numThisPass;
        }
        numSnapped += numThisPass;
        if (numThisPass == 0) break;
    }
    return numSnapped;
}

size_t Zone2::unifyGrid(double gridSpacing) { return pOwner->unifyGrid(this, gridSpacing); }

} // namespace ORBI_LUMO2D
