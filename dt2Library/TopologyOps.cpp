#include "TopologyOps.h"

namespace ORBI_LUMO2D {
namespace topo {

void nextHullEdge(Triangle2*& pT, int& idx) {
    // Turn clockwise around the target vertex until the hull is reached again.
    Point2* pTrg = pT->getCorner(incIndexBy2(idx));
    for (;;) {
        const int k = pT->getIntraTriangleIndex(pTrg);
        Triangle2* pN = pT->getOppositeTriangle(incIndexBy2(k));
        if (pN == nullptr) {
            idx = incIndexBy2(k);
            return;
        }
        pT = pN;
    }
}

void prevHullEdge(Triangle2*& pT, int& idx) {
    // Turn counterclockwise around the source vertex.
    Point2* pSrc = pT->getCorner(incIndexBy1(idx));
    for (;;) {
        const int k = pT->getIntraTriangleIndex(pSrc);
        Triangle2* pN = pT->getOppositeTriangle(incIndexBy1(k));
        if (pN == nullptr) {
            idx = incIndexBy1(k);
            return;
        }
        pT = pN;
    }
}

void attachHullFan(TriangleStore& store, Point2* q, const std::vector<Edge2>& vChain,
                   std::vector<Triangle2*>& vNew) {
    Triangle2* pPrevNew = nullptr;
    for (const Edge2& e : vChain) {
        Triangle2* pHT = e.getTriangle();
        const int idx = e.getIndex();
        Point2* pSrc = pHT->getCorner(incIndexBy1(idx));
        Point2* pTrg = pHT->getCorner(incIndexBy2(idx));
        Triangle2* pNew = store.create(q, pTrg, pSrc);
        pNew->setOppTriangle(0, pHT);
        pHT->setOppTriangle(idx, pNew);
        pNew->setOppTriangle(1, pPrevNew);
        if (pPrevNew != nullptr) pPrevNew->setOppTriangle(2, pNew);
        vNew.push_back(pNew);
        pPrevNew = pNew;
    }
}

Triangle2* mergeDegree3(TriangleStore& store, Point2* pVtx) {
    // Around pVtx counterclockwise: pT0 = (v, a, b), pT1 = (v, b, c), pT2 = (v, c, a).
    Triangle2* pT0 = pVtx->getIncidentTriangle();
    const int k = pT0->getIntraTriangleIndex(pVtx);
    Point2* a = pT0->getCorner(incIndexBy1(k));
    Point2* b = pT0->getCorner(incIndexBy2(k));
    Triangle2* pT1 = pT0->getOppositeTriangle(incIndexBy1(k));
    Triangle2* pT2 = pT0->getOppositeTriangle(incIndexBy2(k));
    const int k1 = pT1->getIntraTriangleIndex(pVtx);
    const int k2 = pT2->getIntraTriangleIndex(pVtx);
    Point2* c = pT1->getCorner(incIndexBy2(k1));
    Triangle2* pOutAB = pT0->getOppositeTriangle(k);
    Triangle2* pOutBC = pT1->getOppositeTriangle(k1);
    Triangle2* pOutCA = pT2->getOppositeTriangle(k2);
    relink(pOutBC, pT1, pT0);
    relink(pOutCA, pT2, pT0);
    store.kill(pT1);
    store.kill(pT2);
    pT0->setPropertiesAndOppT(a, b, c, pOutBC, pOutCA, pOutAB);
    pVtx->setIncidentTriangle(nullptr);
    return pT0;
}

} // namespace topo
} // namespace ORBI_LUMO2D
