// Read-only questions to the triangulation: point location, adjacency, the convex hull, the
// self-test and the statistics printout.
#include <iomanip>
#include <iostream>
#include "Circle2.h"
#include "Color.h"
#include "Dt2.h"
#include "Visualizer2.h"
#include "tools.h"

namespace ORBI_LUMO2D {

Triangle2* Dt2::locate(const Point2& q) {
    if (!is2D()) return nullptr;
    if (!isFinitePoint(q.x(), q.y())) return nullptr;
    // The walk's filtered orientation must cover q's magnitude too.
    const double m = q.getMaxAbs();
    if (m > geomTest.getCoordinateBound()) {
        geomTest.setBound(m);
        syncOrientBound();
    }
    Triangle2* pT = vertexVault.getCloseTriangle(hc.getKey(q.x(), q.y()));
    int ici = -1;
    const int result = locateConflictTriangle(q, pT, ici);
    if (result == -1 || result == 4) return pT;
    const Orientation2 ori =
        orient(pT->getCorner(incIndexBy1(result)), pT->getCorner(incIndexBy2(result)), &q);
    if (ori == ORIENTATION2_CW) return nullptr;
    return pT;
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
        if (e.pVtx->getIncidentTriangle() != nullptr && (pStartVtx == nullptr || *e.pVtx < *pStartVtx))
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
        nextHullEdge(pT, idx);
    } while (!(pT == pStartT && idx == incIndexBy2(axisIdx)));
    LUMO_ASSERT(!vRing.empty());
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

bool Dt2::checkValidity(bool bCheckEmptyCircleProperty, const std::string& name) const {
    std::cout << "Lumo_2D::CheckValidity(" << name << ") has been started" << std::endl;
    if (!is2D()) {
        std::cout << "not fulldimensional yet (empty or all points collinear), Returning true" << std::endl;
        return true;
    }
    // A private predicate object: the check shares no state with the insertion.
    GeomTest gt;
    gt.setBound(std::max(std::max(std::fabs(bboxVertices.get_minX()), std::fabs(bboxVertices.get_minY())),
                         std::max(std::fabs(bboxVertices.get_maxX()), std::fabs(bboxVertices.get_maxY()))));
    std::vector<Triangle2*> vT;
    getTrianglePointers(vT);
    size_t numErrors = 0;
    const size_t maxReports = 10;
    std::vector<Triangle2*> vBadT;
    auto report = [&](const char* text, Triangle2* pT) {
        if (++numErrors <= maxReports) {
            std::cout << text << std::endl;
            if (pT != nullptr) std::cout << *pT << std::endl;
        }
        if (pT != nullptr && vBadT.size() < maxReports) vBadT.push_back(pT);
    };
    bool bBadCircleDrawn = false;
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
                if (!bBadCircleDrawn) {
                    // The first offender: the triangle, its circumcircle and the vertex inside.
                    bBadCircleDrawn = true;
                    Visualizer2 vis("badEmptyCircle.ps");
                    vis.addObject(*pT, Color(CBLACK, 0.001f, false));
                    vis.addObject(*pN, Color(CGRAY, 0.001f, false));
                    const std::pair<Point2, bool> cc = pT->getDual();
                    vis.addObject(Circle2(cc.first, sqDistance(cc.first, *c[0])), Color(CBLUE, 0.001f, false));
                    vis.addObject(*pN->getCorner(j), Color(CRED, 0.002f, true));
                    vis.writeFile();
                }
            }
        }
    }
    // Every vertex must know a live triangle that really has it as a corner.
    size_t numVtxInT = 0;
    for (const VaultEntry& e : vertexVault.getEntries()) {
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
    if (numErrors == 0 && vT.size() + 2 + numHullEdges != 2 * numVtxInT) report("Euler count mismatch", nullptr);
    // Every alive constraint segment must be an edge.
    if (constraintMgr.numSegments() != 0) {
        std::vector<ConstraintSegment2*> vCSegs;
        constraintMgr.getSegmentsInMapOrder(vCSegs);
        size_t numAlive = 0, numContained = 0;
        std::vector<ConstraintSegment2*> vMissing;
        for (ConstraintSegment2* pCSeg : vCSegs) {
            if (!pCSeg->isAlive()) continue;
            ++numAlive;
            if (isEdge(pCSeg->getSrc(), pCSeg->getTrg())) ++numContained;
            else vMissing.push_back(pCSeg);
        }
        std::cout << "\n* ConstraintSegments (alive): " << numAlive << ", contained: " << numContained
                  << ", missing: " << vMissing.size() << std::endl;
        for (ConstraintSegment2* pCSeg : vMissing) {
            if (++numErrors <= maxReports) std::cout << "Not contained: " << *pCSeg << std::endl;
        }
    }
    if (numErrors == 0) return true;
    std::cout << "\ncheckValidity, bug, name=" << name << " (" << numErrors << " failed tests)" << std::endl;
    // The whole triangulation, and the offending triangles in red over their neighbourhood.
    Visualizer2 visAll("currentState.ps");
    visAll.addObject(vT, Color(CBLACK, 0.001f, false));
    visAll.writeFile();
    if (!vBadT.empty()) {
        Visualizer2 visBad("checkValidityFail_" + name + ".ps");
        for (Triangle2* pT : vBadT) {
            for (int i = 0; i < 3; ++i)
                if (pT->getOppositeTriangle(i) != nullptr && pT->getOppositeTriangle(i)->getCorner(0) != nullptr)
                    visBad.addObject(*pT->getOppositeTriangle(i), Color(CGRAY, 0.001f, false));
            if (pT->getCorner(0) != nullptr && pT->getCorner(1) != nullptr && pT->getCorner(2) != nullptr)
                visBad.addObject(*pT, Color(CRED, 0.001f, true));
        }
        visBad.writeFile();
    }
    return false;
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
