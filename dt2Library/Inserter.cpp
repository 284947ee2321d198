// The insertion hot loop: walk, split, flip. Everything here works on one Inserter's state.
#include "Inserter.h"
#include <algorithm>
#include "tools.h"

namespace ORBI_LUMO2D {

// The inserter runs the steps of Dt2's insertion: its broken conditions are reported under the
// Dt2 operation whose step failed, as the triangulation's own.
#define DT2_ASSERT(cond, dt2Function)                                                  \
    do {                                                                              \
        if (!(cond)) ::ORBI_LUMO2D::assertionFailed(#cond, __FILE__, __LINE__, dt2Function); \
    } while (0)

namespace {
const char* const LOCATE_FUNCTION =
    "int ORBI_LUMO2D::Dt2::locateConflictTriangle(const ORBI_LUMO2D::Point2&, ORBI_LUMO2D::Triangle2*&, int&)";
const char* const DUPLICATE_FUNCTION = "ORBI_LUMO2D::Triangle2* ORBI_LUMO2D::Dt2::triangulateCoplanarOrDuplicate("
                                       "ORBI_LUMO2D::Point2*, ORBI_LUMO2D::Triangle2*, int)";
const char* const REC_FUNCTION = "ORBI_LUMO2D::Triangle2* ORBI_LUMO2D::Dt2::triangulateRec(ORBI_LUMO2D::VaultEntry*, "
                                 "ORBI_LUMO2D::VaultEntry*, ORBI_LUMO2D::Triangle2*)";

// Ranges below this size are inserted one after another instead of middle first.
const size_t MIN_RECURSION_RANGE = 16;
// Walk steps after which the edge order is randomised (guards against cycling).
const int STOCHASTIC_WALK_AFTER = 1000;
} // namespace

// ---- the walk ----------------------------------------------------------------------------------

Location Inserter::locate(const Point2& q, Triangle2* pStartTriangle) {
    DT2_ASSERT(pStartTriangle!=0, LOCATE_FUNCTION);
    Triangle2* pCur = pStartTriangle;
    int aOrder[3] = {0, 1, 2};
    int numTests = 3;
    int numSteps = 0;
    for (;;) {
        int k = 0;
        int ici = -1;
        bool bRestart = false;
        for (; k < numTests; ++k) {
            const int i = aOrder[k];
            const Point2* pA = pCur->getCorner(incIndexBy1(i));
            const Point2* pB = pCur->getCorner(incIndexBy2(i));
            const Orientation2 ori = geomTest.getOrientation2(pA, pB, &q);
            if (ori == ORIENTATION2_CCW) continue;
            if (ori == ORIENTATION2_CW) break;
            // q is on the line of edge i.
            if (q == *pA) return Location{Location::LOC_VERTEX, pCur, incIndexBy1(i)};
            if (q == *pB) return Location{Location::LOC_VERTEX, pCur, incIndexBy2(i)};
            ici = i;
            if (pCur->getOppositeTriangle(i) == nullptr) {
                Location loc;
                if (locateOnHullLine(q, pCur, i, loc)) return loc;
                bRestart = true;
                break;
            }
        }
        if (bRestart) {
            ++numSteps;
            aOrder[0] = 0; aOrder[1] = 1; aOrder[2] = 2;
            numTests = 3;
            continue;
        }
        if (k == numTests) {
            if (ici == -1) return Location{Location::LOC_FACE, pCur, -1};
            return Location{Location::LOC_EDGE, pCur, ici};
        }
        // Strictly outside edge aOrder[k]: step over it.
        const int i = aOrder[k];
        Triangle2* pN = pCur->getOppositeTriangle(i);
        if (pN == nullptr) return Location{Location::LOC_OUTSIDE_HULL, pCur, i};
        const int j = pN->getIntraTriangleIndex(pCur);
        pCur = pN;
        if (++numSteps <= STOCHASTIC_WALK_AFTER) {
            if (k == 1) {
                aOrder[0] = incIndexBy2(j);
                aOrder[1] = incIndexBy1(j);
            } else {
                aOrder[0] = incIndexBy1(j);
                aOrder[1] = incIndexBy2(j);
            }
            numTests = 2;
        } else {
            const int r = nextRandom3();
            aOrder[0] = r;
            aOrder[1] = incIndexBy1(r);
            aOrder[2] = incIndexBy2(r);
            numTests = 3;
        }
    }
}

bool Inserter::locateOnHullLine(const Point2& q, Triangle2*& pT, int hullIdx, Location& loc) {
    bool bAllInner = true;
    for (int k = 1; k <= 2; ++k) {
        const int e = (hullIdx + k) % 3;
        const Orientation2 ori =
            geomTest.getOrientation2(pT->getCorner(incIndexBy1(e)), pT->getCorner(incIndexBy2(e)), &q);
        if (ori == ORIENTATION2_CW) {
            Triangle2* pN = pT->getOppositeTriangle(e);
            if (pN == nullptr) {
                loc = Location{Location::LOC_OUTSIDE_HULL, pT, e};
                return true;
            }
            pT = pN;
            return false;
        }
        if (ori != ORIENTATION2_CCW) bAllInner = false;
    }
    if (!bAllInner) return false;
    loc = Location{Location::LOC_EDGE, pT, hullIdx};
    return true;
}

// ---- one vertex --------------------------------------------------------------------------------

Triangle2* Inserter::insertOneVertex(Point2* q, Triangle2* pStartTriangle) {
    ++numVerticesProcessed;
    if (pMsgPublisher != nullptr) pMsgPublisher->step();
    const Location loc = locate(*q, pStartTriangle);
    Triangle2* aT[4];
    switch (loc.kind) {
    case Location::LOC_FACE:
        topo::splitTriangle(store, loc.pT, q, aT);
        vCheckT.push_back(aT[0]);
        vCheckT.push_back(aT[1]);
        vCheckT.push_back(aT[2]);
        reportSplit(q, aT, 3);
        break;
    case Location::LOC_EDGE: {
        Triangle2* pT = loc.pT;
        notifyEdgeSplit(pT->getCorner(incIndexBy1(loc.idx)), pT->getCorner(incIndexBy2(loc.idx)), q);
        const int n = topo::splitEdge(store, pT, loc.idx, q, aT);
        for (int k = 0; k < n; ++k) vCheckT.push_back(aT[k]);
        reportSplit(q, aT, size_t(n));
        break;
    }
    case Location::LOC_VERTEX:
        return treatDuplicate(q, loc.pT);
    default:
        insertVertexCH(q, loc.pT, loc.idx);
        return q->getIncidentTriangle();
    }
    legalizeStar(q);
    return q->getIncidentTriangle();
}

Triangle2* Inserter::treatDuplicate(Point2* q, Triangle2* pT) {
    for (int i = 0; i < 3; ++i) {
        Point2* pCorner = pT->getCorner(i);
        if (*pCorner == *q) {
            if (pCorner != q) pVault->registerDup(q, pCorner);
            return pT;
        }
    }
    assertionFailed("Proxy not found", __FILE__, __LINE__, DUPLICATE_FUNCTION);
}

void Inserter::insertVertexCH(Point2* q, Triangle2* pT, int hullIdx) {
    // Collect the hull edges visible from q: a contiguous chain around the start edge.
    auto isVisible = [&](Triangle2* pHT, int idx) {
        return geomTest.getOrientation2(pHT->getCorner(incIndexBy1(idx)), pHT->getCorner(incIndexBy2(idx)), q) ==
               ORIENTATION2_CW;
    };
    vHullChain.clear();
    Triangle2* pHT = pT;
    int idx = hullIdx;
    for (;;) {
        topo::prevHullEdge(pHT, idx);
        if (!isVisible(pHT, idx) || (pHT == pT && idx == hullIdx)) break;
        vHullChain.push_back(Edge2(pHT, idx));
    }
    std::reverse(vHullChain.begin(), vHullChain.end());
    vHullChain.push_back(Edge2(pT, hullIdx));
    pHT = pT;
    idx = hullIdx;
    for (;;) {
        topo::nextHullEdge(pHT, idx);
        if (!isVisible(pHT, idx) || (pHT == pT && idx == hullIdx)) break;
        vHullChain.push_back(Edge2(pHT, idx));
    }
    vHullFan.clear();
    topo::attachHullFan(store, q, vHullChain, vHullFan);
    for (Triangle2* pNew : vHullFan) vCheckT.push_back(pNew);
    reportSplit(q, vHullFan.data(), vHullFan.size());
    legalizeStar(q);
}

// ---- ranges ------------------------------------------------------------------------------------

Triangle2* Inserter::triangulateRec(VaultEntry* pBegin, VaultEntry* pEnd, Triangle2* pStartT) {
    const size_t n = size_t(pEnd - pBegin);
    if (n < MIN_RECURSION_RANGE) {
        Triangle2* pT = pStartT;
        for (VaultEntry* e = pBegin; e != pEnd; ++e) {
            pT = insertOneVertex(e->pVtx, pT);
            e->bActive = e->pVtx->getIncidentTriangle() != nullptr;
        }
        return pT;
    }
    VaultEntry* pMid = pBegin + n / 2;
    Triangle2* pMidT = insertOneVertex(pMid->pVtx, pStartT);
    pMid->bActive = pMid->pVtx->getIncidentTriangle() != nullptr;
    triangulateRec(pBegin, pMid, pMidT);
    // A duplicate middle vertex has no triangle of its own: start beside its survivor.
    Triangle2* pIncT = pMid->pVtx->getIncidentTriangle();
    if (pIncT == nullptr) pIncT = pMidT;
    if (pIncT == nullptr) pIncT = pVault->getCloseTriangle(pMid->key);
    DT2_ASSERT(pIncT!=NULL, REC_FUNCTION);
    return triangulateRec(pMid + 1, pEnd, pIncT);
}

// ---- flips ---------------------------------------------------------------------------------------

void Inserter::legalize(bool bAllFour) {
    if (pGuard == nullptr && pObserver == nullptr) legalizeLoop<false, false>(bAllFour, nullptr);
    else legalizeLoop<false, true>(bAllFour, nullptr);
}

void Inserter::legalizeStar(Point2* q) {
    if (pGuard == nullptr && pObserver == nullptr) legalizeLoop<true, false>(false, q);
    else legalizeLoop<true, true>(false, q);
}

template <bool bStar, bool bHooks>
void Inserter::legalizeLoop(bool bAllFour, const Point2* q) {
    for (;;) {
        // The star stack holds triangles whose apex is corner 0; the general one holds edges.
        Triangle2* pT;
        int i;
        if (bStar) {
            if (vCheckT.empty()) return;
            pT = vCheckT.back();
            i = 0;
        } else {
            if (vCheckE.empty()) return;
            pT = vCheckE.back().getTriangle();
            i = vCheckE.back().getIndex();
        }
        Triangle2* pN = pT->getOppositeTriangle(i);
        const Point2* pApex = bStar ? q : pT->getCorner(i);
        if (pN == nullptr || geomTest.inCircle(pN->getCorner(0), pN->getCorner(1), pN->getCorner(2), pApex) <= 0 ||
            (bHooks && !mayFlip(pT->getCorner(incIndexBy1(i)), pT->getCorner(incIndexBy2(i))))) {
            if (bStar) vCheckT.pop_back();
            else vCheckE.pop_back();
            continue;
        }
        // The top entry stays: after the flip (pT, i) names the edge a-d opposite the apex.
        topo::flipEdge(pT, i);
        if (bStar) {
            vCheckT.push_back(pN);
        } else {
            vCheckE.push_back(Edge2(pN, i));
            if (bAllFour) {
                // The two outer edges at the apex: p-a in pT and b-p in pN.
                vCheckE.push_back(Edge2(pT, incIndexBy2(i)));
                vCheckE.push_back(Edge2(pN, incIndexBy1(i)));
            }
        }
        if (bHooks && pObserver != nullptr) pObserver->onFlip(pT, pN);
    }
}

} // namespace ORBI_LUMO2D
