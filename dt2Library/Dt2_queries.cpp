// Read-only questions to the triangulation: point location, adjacency, the convex hull, the
// findings of the self-test and the statistics printout.
#include <iomanip>
#include <iostream>
#include <cmath>
#include "Dt2.h"
#include "tools.h"

namespace ORBI_LUMO2D {

Location Dt2::locateTyped(const Point2& q) {
    if (!is2D()) return Location{Location::LOC_LOWER_DIMENSIONAL, nullptr, -1};
    // The walk's filtered orientation must cover q's magnitude too.
    GeomTest& geomTest = inserter.getGeomTest();
    const double m = q.getMaxAbs();
    if (m > geomTest.getCoordinateBound()) geomTest.setBound(m);
    return inserter.locate(q, vertexVault.getCloseTriangle(hc.getKey(q.x(), q.y())));
}

Triangle2* Dt2::locate(const Point2& q) {
    if (!is2D()) return nullptr;
    if (!isFinitePoint(q.x(), q.y())) return nullptr;
    const Location loc = locateTyped(q);
    if (loc.kind != Location::LOC_OUTSIDE_HULL) return loc.pT;
    // Beyond the hull edge, or on its line: only the latter counts as inside.
    const Triangle2* pT = loc.pT;
    const Orientation2 ori = inserter.getGeomTest().getOrientation2(pT->getCorner(incIndexBy1(loc.idx)),
                                                                    pT->getCorner(incIndexBy2(loc.idx)), &q);
    return ori == ORIENTATION2_CW ? nullptr : loc.pT;
}

int Dt2::locateConflictTriangle(const Point2& q, Triangle2*& pT, int& ici) {
    const Location loc = inserter.locate(q, pT);
    pT = loc.pT;
    ici = loc.kind == Location::LOC_EDGE ? loc.idx : -1;
    switch (loc.kind) {
    case Location::LOC_OUTSIDE_HULL: return loc.idx;
    case Location::LOC_VERTEX: return 4;
    default: return -1;
    }
}

Triangle2* Dt2::getAdjacentTriangle(Point2* p0, Point2* p1) const {
    LUMO_ASSERT(p0!=0);
    LUMO_ASSERT(p1!=0);
    LUMO_ASSERT(p0!=p1);
    Triangle2* pStart = p0->getIncidentTriangle();
    if (pStart == nullptr) return nullptr;
    // Turn around p0 in both directions (a hull vertex has an open fan).
    for (int dir = 0; dir < 2; ++dir) {
        Triangle2* pT = pStart;
        do {
            const int i = pT->getIntraTriangleIndex(p0);
            if (pT->getCorner(incIndexBy1(i)) == p1) return pT;
            pT = pT->getOppositeTriangle(dir == 0 ? incIndexBy1(i) : incIndexBy2(i));
        } while (pT != nullptr && pT != pStart);
        if (pT == pStart) break;
    }
    return nullptr;
}

void Dt2::getIncidentTriangles(Point2* pVtx, std::vector<Triangle2*>& vIncidentT) const {
    if (pVtx == nullptr || pVtx->getIncidentTriangle() == nullptr) return;
    TriangleAroundVertexIterator start(pVtx);
    TriangleAroundVertexIterator it(start);
    do {
        if (*it != nullptr) vIncidentT.push_back(*it);
        ++it;
    } while (it != start);
}

void Dt2::getConvexHull(bool bAllVertices, std::vector<Point2*>& vConvexHullPoints) const {
    if (!is2D()) {
        reportWarning("Dt2::getConvexHull()", "is2D() is false, the triangulation is not full dimensional yet");
        return;
    }
    // The lexicographically smallest vertex is always on the hull.
    Point2* pStartVtx = nullptr;
    for (const VaultEntry& e : vertexVault.getEntries())
        if (e.pVtx != nullptr && e.pVtx->getIncidentTriangle() != nullptr && (pStartVtx == nullptr || *e.pVtx < *pStartVtx))
            pStartVtx = e.pVtx;
    LUMO_ASSERT(pStartVtx!=0);
    Triangle2* pStartT = pStartVtx->getIncidentTriangle();
    LUMO_ASSERT(pStartT!=0);
    // Turn clockwise until the hull edge leaving pStartVtx is reached.
    int axisIdx = pStartT->getIntraTriangleIndex(pStartVtx);
    while (pStartT->getOppositeTriangle(incIndexBy2(axisIdx)) != nullptr) {
        pStartT = pStartT->getOppositeTriangle(incIndexBy2(axisIdx));
        axisIdx = pStartT->getIntraTriangleIndex(pStartVtx);
    }
    LUMO_ASSERT(pStartT->getOppositeTriangle(incIndexBy2(axisIdx))==0);

    std::vector<Point2*> vRing;
    Triangle2* pT = pStartT;
    int idx = incIndexBy2(axisIdx);
    do {
        vRing.push_back(pT->getCorner(incIndexBy1(idx)));
        topo::nextHullEdge(pT, idx);
    } while (!(pT == pStartT && idx == incIndexBy2(axisIdx)));
    if (vRing.empty()) assertionFailed("!vConvexHullPoints.empty()", __FILE__, __LINE__, __PRETTY_FUNCTION__);
    if (bAllVertices) {
        vConvexHullPoints.insert(vConvexHullPoints.end(), vRing.begin(), vRing.end());
        return;
    }
    // Simplified ring: collinear hull vertices are dropped.
    std::vector<Point2*> vSimplified;
    const size_t n = vRing.size();
    GeomTest gt;
    gt.setBound(std::max(std::max(std::fabs(bboxVertices.get_minX()), std::fabs(bboxVertices.get_minY())),
                         std::max(std::fabs(bboxVertices.get_maxX()), std::fabs(bboxVertices.get_maxY()))));
    for (size_t i = 0; i < n; ++i) {
        Point2* pPrev = vRing[(i + n - 1) % n];
        Point2* pNext = vRing[(i + 1) % n];
        if (gt.getOrientation2(pPrev, vRing[i], pNext) != ORIENTATION2_COLLINEAR) vSimplified.push_back(vRing[i]);
    }
    LUMO_ASSERT(!vSimplified.empty());
    vSimplified.push_back(vSimplified[0]);
    LUMO_ASSERT(vSimplified[0]==vSimplified.back());
    vConvexHullPoints.insert(vConvexHullPoints.end(), vSimplified.begin(), vSimplified.end() - 1);
}

// ---- self-test -----------------------------------------------------------------------------------

ValidityFindings Dt2::findValidityFaults(bool bCheckEmptyCircleProperty) const {
    ValidityFindings findings;
    // A private predicate object: the check shares no state with the insertion.
    GeomTest gt;
    gt.setBound(std::max(std::max(std::fabs(bboxVertices.get_minX()), std::fabs(bboxVertices.get_minY())),
                         std::max(std::fabs(bboxVertices.get_maxX()), std::fabs(bboxVertices.get_maxY()))));
    std::vector<Triangle2*> vT;
    getTrianglePointers(vT);
    auto report = [&](const char* text, Triangle2* pT) { findings.vFaults.push_back(ValidityFault{text, pT}); };
    size_t numHullEdges = 0;
    for (Triangle2* pT : vT) {
        Point2* c[3] = {pT->getCorner(0), pT->getCorner(1), pT->getCorner(2)};
        if (c[0] == nullptr || c[1] == nullptr || c[2] == nullptr || c[0] == c[1] || c[1] == c[2] || c[0] == c[2]) {
            report("Less than three different corners", nullptr);
            continue;
        }
        if (gt.getOrientation2(c[0], c[1], c[2]) != ORIENTATION2_CCW) report("Corners are not counterclockwise:", pT);
        for (int i = 0; i < 3; ++i) {
            Triangle2* pN = pT->getOppositeTriangle(i);
            if (pN == nullptr) {
                ++numHullEdges;
                continue;
            }
            if (pN == pT || pN->getCorner(0) == nullptr) {
                report("Inconsistent neighborships:", pT);
                continue;
            }
            const int j = pN->getIntraTriangleIndex(pT);
            if (pN->getOppositeTriangle(j) != pT) {
                report("Inconsistent neighborships:", pT);
                continue;
            }
            if (pN->getCorner(incIndexBy1(j)) != c[incIndexBy2(i)] ||
                pN->getCorner(incIndexBy2(j)) != c[incIndexBy1(i)]) {
                report("Neighbor found but inconsistent intra triangle indices:", pT);
                continue;
            }
            if (bCheckEmptyCircleProperty && !isConstraintEdge(c[incIndexBy1(i)], c[incIndexBy2(i)]) &&
                gt.inCircle(c[0], c[1], c[2], pN->getCorner(j)) > 0) {
                report("Sphere inclusion test failed", pT);
                if (findings.pBadCircleT == nullptr) {
                    findings.pBadCircleT = pT;
                    findings.pBadCircleN = pN;
                    findings.pInside = pN->getCorner(j);
                    findings.badCircleFault = findings.vFaults.size() - 1;
                }
            }
        }
    }
    // Every vertex must know a live triangle that really has it as a corner.
    size_t numVtxInT = 0;
    for (const VaultEntry& e : vertexVault.getEntries()) {
        if (e.pVtx == nullptr) continue;   // a removed vertex
        Triangle2* pIncT = e.pVtx->getIncidentTriangle();
        if (pIncT == nullptr) {
            report("Vertex without incident triangle:", nullptr);
            continue;
        }
        if (pIncT->getCorner(0) == nullptr || !pIncT->hasVertex(e.pVtx)) {
            report("Incident triangle does not contain its vertex:", pIncT);
            continue;
        }
        ++numVtxInT;
    }
    // Euler: a triangulation of V vertices with H hull edges has 2V - 2 - H triangles.
    if (findings.isValid() && vT.size() + 2 + numHullEdges != 2 * numVtxInT) report("Euler count mismatch", nullptr);
    findConstraintFaults(findings);
    return findings;
}

void Dt2::statistics(const std::string& name) const {
    std::cout << "\n\n\n********* MESH STATISTICS (" << name << ") **********\n\n";
    const int numBins = 18;
    size_t aBins[numBins] = {};
    std::vector<Triangle2*> vT;
    getTrianglePointers(vT);
    std::cout << "Number of triangles: " << vT.size() << "\n";
    for (Triangle2* pT : vT) {
        for (int i = 0; i < 3; ++i) {
            const double angle = pT->getInteriorAngle2D(i);
            // Bin b collects the angles in (10b, 10(b+1)]; the limits are 10, 20, ..., 180.
            int bin = 0;
            while (bin < numBins - 1 && angle > 10.0 * (bin + 1)) ++bin;
            ++aBins[bin];
        }
    }
    std::cout << "INTERIOR ANGLES\n";
    for (int b = 0; b < numBins; ++b)
        std::cout << "  <= " << std::setw(3) << 10 * (b + 1) << ": " << aBins[b] << "\n";
    std::cout << std::endl;
}

} // namespace ORBI_LUMO2D
