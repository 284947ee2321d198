// Vertex removal. The hole is closed by edge flips that lower the vertex's degree (decided by
// orientation tests alone), then the Lawson pass of insertion restores the Delaunay property
// over every edge that the hole changed.
#include <iostream>
#include "Dt2.h"
#include "tools.h"

namespace ORBI_LUMO2D {

void Dt2::remove(Point2* pVtx) {
    if (pVtx == nullptr) {
        std::cout << "pVtx==NULL, illegal, return." << std::endl;
        return;
    }
    if (isConstraintVertex(pVtx)) {
        std::cout << "Illegal: Can't remove a constraint vertex" << std::endl;
        return;
    }
    // A handle of another triangulation, a removed vertex or a user's own Point2 is not in the
    // vault; only a vertex found there is touched.
    const size_t idx = findOwnVertex(pVtx);
    if (idx == size_t(-1) || (is2D() && pVtx->getIncidentTriangle() == nullptr)) {
        std::cout << *pVtx << std::endl;
        std::cout << "vertex does not belong to the triangulation, return" << std::endl;
        return;
    }
    if (pLastSingle == pVtx) pLastSingle = nullptr;
    const bool bOnBoxBorder = pVtx->x() == bboxVertices.get_minX() || pVtx->x() == bboxVertices.get_maxX() ||
                              pVtx->y() == bboxVertices.get_minY() || pVtx->y() == bboxVertices.get_maxY();
    vertexVault.removeEntry(idx);
    if (!is2D()) {
        vertexVault.compact();
        sLowerDimVertices.erase(pVtx);
        if (pVtx == pLineA || pVtx == pLineB) pLineA = pLineB = nullptr;
    } else if (collectUmbrella(pVtx, vRemovalScratch)) {
        removeInteriorVertex(pVtx);
        inserter.legalize(true);
    } else if (removeHullVertex(pVtx)) {
        inserter.legalize(true);
    } else {
        dropToLowerDimensional();
    }
    pVtx->setIncidentTriangle(nullptr);
    // The exact box may shrink; the key box and the predicate bounds stay as they are.
    if (bOnBoxBorder) bVertexBoxStale = true;
}

void Dt2::recomputeVertexBox() const {
    bboxVertices = Bbox2();
    for (const VaultEntry& e : vertexVault.getEntries())
        if (e.pVtx != nullptr) bboxVertices.add(*e.pVtx);
    bVertexBoxStale = false;
}

size_t Dt2::findOwnVertex(const Point2* pVtx) const {
    // Not a record of this point pool (asked by address), or outside the key box: not ours.
    if (!poolPoints.contains(pVtx) || !bbox.isInBox(*pVtx)) return size_t(-1);
    return vertexVault.findEntry(hc.getKey(pVtx->x(), pVtx->y()), pVtx);
}

bool Dt2::collectUmbrella(Point2* pVtx, std::vector<Triangle2*>& vUmbrellaT) const {
    vUmbrellaT.clear();
    // Turn clockwise to the first triangle (or all the way round), then collect counterclockwise.
    Triangle2* pStart = pVtx->getIncidentTriangle();
    Triangle2* pT = pStart;
    for (;;) {
        Triangle2* pPrev = pT->getOppositeTriangle(incIndexBy2(pT->getIntraTriangleIndex(pVtx)));
        if (pPrev == nullptr) break;
        pT = pPrev;
        if (pT == pStart) break;
    }
    const bool bClosed = pT->getOppositeTriangle(incIndexBy2(pT->getIntraTriangleIndex(pVtx))) != nullptr;
    Triangle2* pFirst = pT;
    do {
        vUmbrellaT.push_back(pT);
        pT = pT->getOppositeTriangle(incIndexBy1(pT->getIntraTriangleIndex(pVtx)));
    } while (pT != nullptr && pT != pFirst);
    return bClosed;
}

Triangle2* Dt2::tryRemovalFlip(Triangle2* pT, int i, bool bStrict) {
    // pT = (v, a, b) with v = corner i+2 and pN = (v, b, c) across v-b. The flip turns them into
    // the ear (a, b, c) and (a, c, v), which keeps v.
    Triangle2* pN = pT->getOppositeTriangle(i);
    if (pN == nullptr) return nullptr;
    Point2* a = pT->getCorner(i);
    Point2* b = pT->getCorner(incIndexBy1(i));
    Point2* v = pT->getCorner(incIndexBy2(i));
    Point2* c = pN->getCorner(pN->getIntraTriangleIndex(pT));
    GeomTest& geomTest = inserter.getGeomTest();
    if (geomTest.getOrientation2(a, b, c) != ORIENTATION2_CCW) return nullptr;
    const Orientation2 oriRest = geomTest.getOrientation2(a, c, v);
    if (oriRest == ORIENTATION2_CW || (bStrict && oriRest != ORIENTATION2_CCW)) return nullptr;
    Triangle2* pKeep = topo::flipEdge(pT, i);
    // pT is now the ear: its three edges are new or on the hole's border.
    for (int k = 0; k < 3; ++k) inserter.pushCheck(pT, k);
    return pKeep;
}

void Dt2::removeInteriorVertex(Point2* pVtx) {
    const size_t umbrellaSize = vRemovalScratch.size();
    Triangle2* pT = vRemovalScratch[0];
    size_t degree = umbrellaSize;
    size_t watchDog = umbrellaSize;
    // Strictly convex quadrilaterals first. A vertex on the line between two of its link
    // vertices (the centre of a diamond) may have none; then the flip that leaves it on the new
    // diagonal is taken: the flat triangle it makes disappears with the vertex.
    bool bStrict = true;
    while (degree > 3) {
        if (watchDog == 0) {
            if (bStrict) {
                bStrict = false;
                watchDog = degree;
                continue;
            }
            show("watchDogFailed.ps");
            std::cout << "vUmbrellaT.size()=" << umbrellaSize << std::endl;
            LUMO_ASSERT(watchDog>0);
        }
        --watchDog;
        const int k = pT->getIntraTriangleIndex(pVtx);
        Triangle2* pKeep = tryRemovalFlip(pT, incIndexBy1(k), bStrict);
        if (pKeep != nullptr) {
            pT = pKeep;
            --degree;
            watchDog = degree;
            bStrict = true;
        } else {
            pT = pT->getOppositeTriangle(incIndexBy1(k));
        }
    }
    pVtx->setIncidentTriangle(pT);
    Triangle2* pMerged = topo::mergeDegree3(inserter.getStore(), pVtx);
    for (int k = 0; k < 3; ++k) inserter.pushCheck(pMerged, k);
}

bool Dt2::removeHullVertex(Point2* pVtx) {
    // The fan (v, w0, w1), ..., (v, wk-1, wk) with hull edges v-w0 and wk-v. Where the chain of
    // link vertices turns away from the hull it is filled by an ear (a flip of the edge from v),
    // and the previous link vertex is looked at again: a Graham scan done with flips. What is
    // left of the fan then lies between the chain and the new hull edge and dies.
    const size_t umbrellaSize = vRemovalScratch.size();
    Triangle2* pT = vRemovalScratch[0];
    size_t numFan = umbrellaSize;
    size_t watchDog = 4 * umbrellaSize + 4;
    while (pT != nullptr) {
        if (watchDog == 0) {
            show("watchDogFailed.ps");
            std::cout << "vUmbrellaT.size()=" << umbrellaSize << std::endl;
            LUMO_ASSERT(watchDog>0);
        }
        --watchDog;
        const int k = pT->getIntraTriangleIndex(pVtx);
        Triangle2* pKeep = tryRemovalFlip(pT, incIndexBy1(k), false);
        if (pKeep != nullptr) {
            --numFan;
            Triangle2* pPrev = pKeep->getOppositeTriangle(incIndexBy2(pKeep->getIntraTriangleIndex(pVtx)));
            pT = pPrev != nullptr ? pPrev : pKeep;
        } else {
            pT = pT->getOppositeTriangle(incIndexBy1(k));
        }
    }
    if (numFan == numberOfTriangles()) return false;
    // Kill the rest of the fan; the link vertices move to the triangles behind the chain.
    collectUmbrella(pVtx, vRemovalScratch);
    for (Triangle2* pFan : vRemovalScratch) {
        const int k = pFan->getIntraTriangleIndex(pVtx);
        Triangle2* pOut = pFan->getOppositeTriangle(k);
        if (pOut != nullptr) {
            pOut->setOppTriangle(pOut->getIntraTriangleIndex(pFan), nullptr);
            pFan->getCorner(incIndexBy1(k))->setIncidentTriangle(pOut);
            pFan->getCorner(incIndexBy2(k))->setIncidentTriangle(pOut);
        }
    }
    // A link vertex shared by two dying triangles may have been set to one of them first.
    for (Triangle2* pFan : vRemovalScratch) inserter.getStore().kill(pFan);
    return true;
}

void Dt2::dropToLowerDimensional() {
    std::vector<Triangle2*> vT;
    getTrianglePointers(vT);
    for (Triangle2* pT : vT) {
        for (int k = 0; k < 3; ++k) pT->getCorner(k)->setIncidentTriangle(nullptr);
        inserter.getStore().kill(pT);
    }
    vertexVault.resetToLowerDimensional();
    for (const VaultEntry& e : vertexVault.getEntries()) sLowerDimVertices.insert(e.pVtx);
    pLineA = pLineB = nullptr;
}

} // namespace ORBI_LUMO2D
