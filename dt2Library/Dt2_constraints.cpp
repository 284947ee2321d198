// Constraint insertion into the triangulation: the constrained (forced edge) and conforming
// (split until Delaunay) strategies, crossings of constraints, and the flips that restore the
// Delaunay property around them. The segment bookkeeping lives in ConstraintMgr.
//
// Robustness: every side decision is an exact predicate. A crossing of two constraints is
// computed exactly and rounded once, so the new vertex may lie a little off both segments, even
// outside the triangles around the crossing; it is therefore inserted like any other point (the
// walk finds where it really is) and the four pieces are inserted afresh from their vertices.
#include <algorithm>
#include <cmath>
#include <deque>
#include <sstream>
#include "ConstraintMgr.h"
#include "InnerVtxMgr.h"
#include "Dt2.h"
#include "tools.h"

namespace ORBI_LUMO2D {

namespace {
// Steps of one constrained insertion before it gives up (each step traverses one piece).
size_t maxConstraintSteps(size_t numSegments) { return 100000 + 16 * numSegments; }
} // namespace

void ConstraintMgrDeleter::operator()(ConstraintMgr* p) const { delete p; }
void InnerVtxMgrDeleter::operator()(InnerVtxMgr* p) const { delete p; }

ConstraintMgr& Dt2::getConstraintMgr() {
    if (!pConstraintMgr) pConstraintMgr.reset(new ConstraintMgr(this));
    return *pConstraintMgr;
}

InnerVtxMgr& Dt2::getInnerVtxMgr() {
    if (!pInnerVtxMgr) pInnerVtxMgr.reset(new InnerVtxMgr);
    return *pInnerVtxMgr;
}

void Dt2::findConstraintFaults(ValidityFindings& findings) const {
    if (!pConstraintMgr) return;
    std::vector<ConstraintSegment2*> vCSegs;
    pConstraintMgr->getSegmentsInMapOrder(vCSegs);
    for (ConstraintSegment2* pCSeg : vCSegs)
        if (pCSeg->isAlive() && !isEdge(pCSeg->getSrc(), pCSeg->getTrg()))
            findings.vFaults.push_back(ValidityFault{"Not contained:", nullptr});
}

bool Dt2::isConstraintVertex(const Point2* pVtx) const {
    if (!pConstraintMgr || pConstraintMgr->numSegments() == 0 || pVtx->getIncidentTriangle() == nullptr) return false;
    // Around the vertex in both directions (a hull vertex has an open fan).
    Triangle2* pStart = pVtx->getIncidentTriangle();
    for (int dir = 0; dir < 2; ++dir) {
        Triangle2* pT = pStart;
        do {
            const int i = pT->getIntraTriangleIndex(pVtx);
            if (pConstraintMgr->isConstraint(pVtx, pT->getCorner(incIndexBy1(i)))) return true;
            if (pConstraintMgr->isConstraint(pVtx, pT->getCorner(incIndexBy2(i)))) return true;
            pT = pT->getOppositeTriangle(dir == 0 ? incIndexBy1(i) : incIndexBy2(i));
        } while (pT != nullptr && pT != pStart);
        if (pT == pStart) break;
    }
    return false;
}

// ---- facade-level operations ---------------------------------------------------------------------

ConstraintGraph2* Dt2::createConstraint(const std::vector<Segment2>& vSegments, ConstraintInsertionStrategy cis,
                                        bool bOrientedSegments) {
    if (vSegments.empty()) {
        reportWarning("Dt2::createConstraint(..)", "vSegments is empty, returning NULL");
        return nullptr;
    }
    return getConstraintMgr().createConstraint(vSegments, cis, bOrientedSegments);
}

ConstraintGraph2* Dt2::createConstraint(const std::vector<Edge2>& vEdges, ConstraintInsertionStrategy cis) {
    if (vEdges.empty()) {
        reportWarning("Dt2::createConstraint(..)", "vEdges is empty, returning NULL");
        return nullptr;
    }
    std::vector<std::pair<Point2*, Point2*>> vPairs;
    for (const Edge2& e : vEdges)
        if (e.getTriangle() != nullptr) vPairs.emplace_back(e.getSrc(), e.getTrg());
    return getConstraintMgr().createConstraint(vPairs, cis, false);
}

void Dt2::applyConstraintsAndZones() {
    if (numberOfTriangles() == 0) {
        reportWarning("Dt2::applyConstraintsAndZones()", "The triangulation is not full dimensional yet. Nothing to do");
        return;
    }
    getConstraintMgr().apply();
}

Point2* Dt2::insertNear(const Point2& p, Point2* pNear) {
    // Points inserted one by one are found from the vault's sorted run, which may be far from a
    // crowded constraint; the single-insertion hint takes the nearer start.
    if (pNear != nullptr && pNear->getIncidentTriangle() != nullptr) pLastSingle = pNear;
    return insert(p);
}

void Dt2::reconformFlippedPieces(size_t numInserted) {
    if (pConstraintMgr) pConstraintMgr->reconformFlipped(numInserted);
}

// ---- topology helpers ------------------------------------------------------------------------------

bool Dt2::isEdge(Point2* p, Point2* q) const {
    return p != q && (getAdjacentTriangle(p, q) != nullptr || getAdjacentTriangle(q, p) != nullptr);
}

bool Dt2::findEdge(Point2* p, Point2* q, Triangle2*& pT, int& idx) {
    pT = nullptr;
    topo::forEachTriangleAround(p, [&](Triangle2* pCand) {
        if (!pCand->hasVertex(q)) return false;
        pT = pCand;
        return true;
    });
    if (pT == nullptr) return false;
    idx = pT->getIntraTriangleIndex(p, q);
    return true;
}

bool Dt2::isDelaunayEdge(Point2* p, Point2* q) {
    Triangle2* pT;
    int idx;
    return findEdge(p, q, pT, idx) && isDelaunayAt(pT, idx);
}

bool Dt2::isDelaunayAt(Triangle2* pT, int idx) {
    Triangle2* pN = pT->getOppositeTriangle(idx);
    if (pN == nullptr) return true;
    Point2* pOpp = pN->getCorner(pN->getIntraTriangleIndex(pT));
    return inserter.getGeomTest().inCircle(pT->getCorner(0), pT->getCorner(1), pT->getCorner(2), pOpp) <= 0;
}

bool Dt2::canBeFlipped(Triangle2* pT, int idx) {
    Triangle2* pN = pT->getOppositeTriangle(idx);
    if (pN == nullptr) return false;
    Point2* c = pT->getCorner(idx);
    Point2* a = pT->getCorner(incIndexBy1(idx));
    Point2* b = pT->getCorner(incIndexBy2(idx));
    Point2* d = pN->getCorner(pN->getIntraTriangleIndex(pT));
    // The quadrilateral c, a, d, b must be strictly convex.
    return orient(c, a, d) == ORIENTATION2_CCW && orient(c, d, b) == ORIENTATION2_CCW;
}

void Dt2::restoreDelaunayAround(Point2* p) {
    topo::forEachTriangleAround(p, [&](Triangle2* pT) {
        for (int i = 0; i < 3; ++i) inserter.pushCheck(pT, i);
        return false;
    });
    inserter.legalize(true);
}

void Dt2::restoreDelaunayAcross(Point2* p, Point2* q) {
    Triangle2* pT;
    int idx;
    if (!findEdge(p, q, pT, idx)) return;
    inserter.pushCheck(pT, idx);
    inserter.legalize(true);
}

// ---- constrained insertion ---------------------------------------------------------------------------

void Dt2::newCDT_applyOneCS(ConstraintSegment2* pInitialCSeg) {
    LUMO_ASSERT(pInitialCSeg->getCIS()==CIS_CONSTRAINED_DELAUNAY);
    LUMO_ASSERT(pInitialCSeg->isAlive());
    if (*pInitialCSeg->getSrc() == *pInitialCSeg->getTrg()) {
        reportWarning("Dt2::newCDT_applyOneCS()", "Degenerate constraint, return");
        return;
    }
    std::vector<ConstraintSegment2*> vStack{pInitialCSeg};
    size_t stepsLeft = maxConstraintSteps(getConstraintMgr().numSegments());
    while (!vStack.empty()) {
        ConstraintSegment2* pX = vStack.back();
        vStack.pop_back();
        if (!pX->isAlive()) {
            if (pX->isSplit()) pX->getChildrenRec(vStack);
            continue;
        }
        if (*pX->getSrc() == *pX->getTrg()) {
            reportWarning("Dt2::newCDT_applyOneCS()", "Degenerate constraint (2), return");
            continue;
        }
        if (stepsLeft-- == 0) {
            reportWarning("Dt2::newCDT_applyOneCS()",
                          "insufficient numeric accuracy, the remaining pieces of a constraint are skipped");
            return;
        }
        // Pieces of a crossed conforming segment keep their own strategy: the conforming
        // repair pass at the end of the operation enforces them (no mutual recursion here).
        if (pX->getCIS() != CIS_CONSTRAINED_DELAUNAY) continue;
        newCDT_insertOrSplit(pX, vStack);
    }
}

void Dt2::newCDT_insertOrSplit(ConstraintSegment2* pCSeg, std::vector<ConstraintSegment2*>& vStack) {
    std::vector<std::pair<Point2, ConstraintSegment2*>>& vPairIspCS = vCrossingScratch;
    vPairIspCS.clear();
    Point2* pExistingVertex = newCDT_traverseCZ(pCSeg, vPairIspCS, true);
    if (pExistingVertex != nullptr) {
        LUMO_ASSERT(vPairIspCS.empty());
        LUMO_ASSERT(pExistingVertex!=pCSeg->getSrc());
        LUMO_ASSERT(pExistingVertex!=pCSeg->getTrg());
        pCSeg->split_combinatorialOnly(pExistingVertex);
        pCSeg->getChildrenRec(vStack);
        return;
    }
    if (vPairIspCS.empty()) return;   // established
    LUMO_ASSERT(vPairIspCS.size()==1);
    const std::pair<Point2, ConstraintSegment2*> crossing = vPairIspCS[0];   // the scratch is reused below
    splitAtCrossing(pCSeg, crossing.first, crossing.second, vStack);
}

void Dt2::splitAtCrossing(ConstraintSegment2* pCSeg, const Point2& splitPoint, ConstraintSegment2* pCrossingCSeg,
                          std::vector<ConstraintSegment2*>& vStack) {
    LUMO_ASSERT(splitPoint!=*pCrossingCSeg->getSrc() && splitPoint!=*pCrossingCSeg->getTrg());
    Point2* u = pCrossingCSeg->getSrc();
    Point2* w = pCrossingCSeg->getTrg();
    const bool bKillX = splitPoint != *pCSeg->getSrc() && splitPoint != *pCSeg->getTrg();
    // The walk left pStart through a triangle: this segment has no edge to unestablish.
    if (bKillX) pCSeg->setDead();
    // The crossed segment is withdrawn only while the crossing goes in, without flipping its
    // edge away first. A crossing inside one of the two triangles at that edge (or on their
    // boundary, the usual case) starts its star with the edge opposite it, so the insertion's
    // own flips test the edge with everything else around the vertex, and both pieces are
    // edges at once; only a crossing rounded elsewhere leaves the edge to be tested below.
    // The walk starts at the channel triangle on the crossed edge, next to the crossing.
    const bool bOldEdgeTested = isBesideEdge(splitPoint, pCrossingT, pCrossingT->getIntraTriangleIndex(u, w));
    pCrossingCSeg->setDead();
    Point2* pNew = insert(splitPoint, pCrossingT);
    LUMO_ASSERT(pNew!=0);
    // The (up to) four pieces made below: their table lines, all at once.
    for (Point2* pEnd : {u, w, pCSeg->getSrc(), pCSeg->getTrg()}) getConstraintMgr().prefetchSlot(pEnd, pNew);
    pCrossingCSeg->setAliveFlag(true);
    // Around the new vertex: the crossed segment's ends, and the triangle on its old edge.
    bool bNextToU = false, bNextToW = false;
    Triangle2* pOnOldEdge = nullptr;
    if (pNew != u && pNew != w) {
        topo::forEachTriangleAround(pNew, [&](Triangle2* pT) {
            const bool bU = pT->hasVertex(u), bW = pT->hasVertex(w);
            bNextToU = bNextToU || bU;
            bNextToW = bNextToW || bW;
            if (bU && bW) pOnOldEdge = pT;
            return false;
        });
    }
    if (bNextToU && bNextToW) {
        pCrossingCSeg->split_combinatorialOnly(pNew);
        // The old edge, if still there, is an ordinary edge now.
        Triangle2* pT = pOnOldEdge;
        int idx = pT != nullptr ? pT->getIntraTriangleIndex(pNew) : -1;
        if (pT != nullptr || (!bOldEdgeTested && findEdge(u, w, pT, idx))) {
            inserter.pushCheck(pT, idx);
            if (Triangle2* pN = pT->getOppositeTriangle(idx)) inserter.pushCheck(pN, pN->getIntraTriangleIndex(pT));
            inserter.legalize(true);
        }
    } else {
        // Rounded beyond the triangles at the edge: withdraw the segment, split it at the
        // vertex and insert its pieces afresh.
        killAndUnestablishConstraintSegment(pCrossingCSeg);
        pCrossingCSeg->setAliveFlag(true);
        pCrossingCSeg->split_combinatorialOnly(pNew);
        pCrossingCSeg->getChildrenRec(vStack);
        pCrossingCSeg->setDead();
    }
    if (bKillX) {
        pCSeg->setAliveFlag(true);
        pCSeg->split_combinatorialOnly(pNew);
        const size_t firstPiece = vStack.size();
        pCSeg->getChildrenRec(vStack);
        pCSeg->setDead();
        // The piece from the walk's start goes first, while its channel is still in cache.
        Point2* pStart = pCSeg->getSrc();
        auto itStart = std::find_if(vStack.begin() + std::ptrdiff_t(firstPiece), vStack.end(),
                                    [&](ConstraintSegment2* p) { return p->getSrc() == pStart || p->getTrg() == pStart; });
        if (itStart != vStack.end()) std::iter_swap(itStart, vStack.end() - 1);
    } else {
        LUMO_ASSERT(pCSeg->isAlive());
        vStack.push_back(pCSeg);
    }
}

bool Dt2::isBesideEdge(const Point2& p, Triangle2* pT, int idx) {
    Triangle2* aT[2] = {pT, pT->getOppositeTriangle(idx)};
    for (Triangle2* pSide : aT) {
        if (pSide == nullptr) continue;
        Point2* a = pSide->getCorner(0);
        Point2* b = pSide->getCorner(1);
        Point2* c = pSide->getCorner(2);
        if (p == *a || p == *b || p == *c) return false;
        if (orient(a, b, &p) != ORIENTATION2_CW && orient(b, c, &p) != ORIENTATION2_CW &&
            orient(c, a, &p) != ORIENTATION2_CW)
            return true;
    }
    return false;
}

void Dt2::killAndUnestablishConstraintSegment(ConstraintSegment2* pCSeg) {
    pCSeg->setDead();
    Triangle2* pT;
    int idx;
    if (!findEdge(pCSeg->getSrc(), pCSeg->getTrg(), pT, idx)) return;
    Triangle2* pN = pT->getOppositeTriangle(idx);
    if (pN == nullptr) return;
    inserter.pushCheck(pT, idx);
    inserter.pushCheck(pN, pN->getIntraTriangleIndex(pT));
    inserter.legalize(true);
}

Point2* Dt2::newCDT_traverseCZ(ConstraintSegment2* pCSeg, std::vector<std::pair<Point2, ConstraintSegment2*>>& vPairIspCS,
                               bool bRetriangulate) {
    Point2* pStart = pCSeg->getSrc();
    Point2* pStop = pCSeg->getTrg();
    LUMO_ASSERT(pStart->getIncidentTriangle()!=NULL);
    LUMO_ASSERT(pStop->getIncidentTriangle()!=NULL);
    if (*pStart == *pStop) {
        reportWarning("Dt2::newCDT_traverseCZ()", "degenerate constraint segment, nothing to do");
        return nullptr;
    }

    // 1. The triangle around pStart through which the segment leaves, or an edge or a vertex
    //    on the segment right at pStart.
    Triangle2* pFirstT = nullptr;
    Point2* pOnSegment = nullptr;
    bool bEstablished = false;
    topo::forEachTriangleAround(pStart, [&](Triangle2* pT) {
        const int k = pT->getIntraTriangleIndex(pStart);
        Point2* a = pT->getCorner(incIndexBy1(k));
        Point2* b = pT->getCorner(incIndexBy2(k));
        if (a == pStop || b == pStop) {
            bEstablished = true;
            return true;
        }
        const Orientation2 ori1 = orient(pStart, pStop, a);
        const Orientation2 ori2 = orient(pStart, pStop, b);
        LUMO_ASSERT(!(ori1==ORIENTATION2_COLLINEAR && ori2==ORIENTATION2_COLLINEAR));
        if (ori1 == ORIENTATION2_COLLINEAR && ori2 == ORIENTATION2_CCW) {
            pOnSegment = a;
            return true;
        }
        if (ori2 == ORIENTATION2_COLLINEAR && ori1 == ORIENTATION2_CW) {
            pOnSegment = b;
            return true;
        }
        if (ori1 == ORIENTATION2_CW && ori2 == ORIENTATION2_CCW) {
            pFirstT = pT;
            return true;
        }
        return false;
    });
    if (bEstablished) return nullptr;
    if (pOnSegment != nullptr) {
        getInnerVtxMgr().withdraw(pOnSegment);
        return pOnSegment;
    }
    LUMO_ASSERT(pFirstT!=0);

    // 2. The channel: crossed triangles, and the left (counterclockwise) and right chains of
    //    boundary vertices with the outer neighbour of each boundary edge.
    vCrossedT.clear();
    vCrossedEdges.clear();
    vLeftPoly.clear();
    vRightPoly.clear();
    vLeftOuter.clear();
    vRightOuter.clear();
    auto outerOf = [](Triangle2* pT, int idx) {
        Triangle2* pOut = pT->getOppositeTriangle(idx);
        return std::make_pair(pOut, pOut == nullptr ? -1 : pOut->getIntraTriangleIndex(pT));
    };
    // Boundary edges are recorded from inside (crossed triangle, edge index); their outer
    // neighbours are looked up only when the channel is complete: a walk that ends at a
    // crossing never touches them.
    Triangle2* pT = pFirstT;
    int k = pT->getIntraTriangleIndex(pStart);
    Point2* pLeft = pT->getCorner(incIndexBy2(k));    // u
    Point2* pRight = pT->getCorner(incIndexBy1(k));   // w
    vLeftPoly.push_back(pStart);
    vLeftPoly.push_back(pLeft);
    vLeftOuter.emplace_back(pT, incIndexBy1(k));
    vRightPoly.push_back(pStart);
    vRightPoly.push_back(pRight);
    vRightOuter.emplace_back(pT, incIndexBy2(k));
    int crossIdx = k;
    const size_t maxSteps = numberOfTriangles() + 1;
    // Whether each side's vertex may end a segment (one bit lookup per step, not two).
    const ConstraintMgr& mgr = getConstraintMgr();
    bool bLeftMay = mgr.mayBeEndpoint(pLeft), bRightMay = mgr.mayBeEndpoint(pRight);
    for (size_t step = 0;; ++step) {
        LUMO_ASSERT(step<maxSteps);
        if (bLeftMay && bRightMay && mgr.isConstraint(pLeft, pRight)) {
            // A crossing constraint: its exact intersection, rounded once.
            Point2 P(-DBL_MAX, -DBL_MAX);
            P = inserter.getGeomTest().getIntersectionCoords_gmp(Segment2(*pLeft, *pRight), Segment2(*pStart, *pStop));
            if (P == *pLeft) return pLeft;
            if (P == *pRight) return pRight;
            if (!std::isfinite(P.x()) || !std::isfinite(P.y()))
                reportWarning("Dt2::treatConstraintZone()", "intersection point of two constraints has bad numerica accuracy!");
            // The exact crossing lies strictly inside the convex quadrilateral of the four
            // endpoints. Rounded out of it (near-collinear segments), its pieces would cross
            // the other segment's pieces again, one ulp further each time: it snaps to the
            // nearest endpoint instead (an endpoint of the crossed segment splits this one).
            const bool bInside = orient(pStart, pRight, &P) == ORIENTATION2_CCW &&
                                 orient(pRight, pStop, &P) == ORIENTATION2_CCW &&
                                 orient(pStop, pLeft, &P) == ORIENTATION2_CCW &&
                                 orient(pLeft, pStart, &P) == ORIENTATION2_CCW;
            if (!bInside) {
                Point2* aEnds[4] = {pLeft, pRight, pStart, pStop};
                Point2* pNearest = aEnds[0];
                for (Point2* pE : aEnds)
                    if (distance(*pE, P) < distance(*pNearest, P)) pNearest = pE;
                if (pNearest == pLeft || pNearest == pRight) {
                    getInnerVtxMgr().withdraw(pNearest);
                    return pNearest;
                }
                P = *pNearest;
            }
            vPairIspCS.emplace_back(P, getConstraintMgr().getConstraintSegment(pLeft, pRight));
            pCrossingT = pT;
            LUMO_ASSERT(vPairIspCS.size()==1);
            return nullptr;
        }
        vCrossedT.push_back(pT);
        vCrossedEdges.emplace_back(pLeft, pRight);
        Triangle2* pN = pT->getOppositeTriangle(crossIdx);
        LUMO_ASSERT(pN!=0);
        const int j = pN->getIntraTriangleIndex(pT);
        // The next triangle is one of these two: fetch both while v's coordinates load.
#if defined(__GNUC__)
        __builtin_prefetch(pN->getOppositeTriangle(incIndexBy1(j)));
        __builtin_prefetch(pN->getOppositeTriangle(incIndexBy2(j)));
#endif
        Point2* v = pN->getCorner(j);
        // In pN the crossed edge runs from pLeft (corner j+1) to pRight (corner j+2).
        if (v == pStop) {
            vCrossedT.push_back(pN);
            vLeftPoly.push_back(pStop);
            vLeftOuter.emplace_back(pN, incIndexBy2(j));
            vRightPoly.push_back(pStop);
            vRightOuter.emplace_back(pN, incIndexBy1(j));
            break;
        }
        const Orientation2 ori = orient(pStart, pStop, v);
        if (ori == ORIENTATION2_COLLINEAR) {
            getInnerVtxMgr().withdraw(v);
            return v;
        }
        if (ori == ORIENTATION2_CCW) {
            vLeftPoly.push_back(v);
            vLeftOuter.emplace_back(pN, incIndexBy2(j));
            pLeft = v;
            bLeftMay = mgr.mayBeEndpoint(v);
            crossIdx = incIndexBy1(j);
        } else {
            vRightPoly.push_back(v);
            vRightOuter.emplace_back(pN, incIndexBy1(j));
            pRight = v;
            bRightMay = mgr.mayBeEndpoint(v);
            crossIdx = incIndexBy2(j);
        }
        pT = pN;
    }
    if (!bRetriangulate) return nullptr;

    // 3. Re-triangulate both sides of the new edge and link them across it. A vertex whose
    //    whole fan is crossed appears twice on its side (a spike into the channel); that side
    //    is no simple polygon, and flips force the edge in instead.
    if (hasRepeatedVertex(vLeftPoly) || hasRepeatedVertex(vRightPoly)) {
        forceEdgeByFlips(pStart, pStop);
        return nullptr;
    }
    for (auto* pv : {&vLeftOuter, &vRightOuter})
        for (std::pair<Triangle2*, int>& e : *pv) e = outerOf(e.first, e.second);
    // Both sides come out constrained Delaunay, and so does the whole triangulation (the
    // edges around the channel were Delaunay before and see no new vertex): no flip pass.
    for (Triangle2* pDead : vCrossedT) killTriangle(pDead);
    Triangle2* pLeftT = treatConstraintZone(vLeftPoly, vLeftOuter, true);
    Triangle2* pRightT = treatConstraintZone(vRightPoly, vRightOuter, false);
    pLeftT->setOppTriangle(2, pRightT);
    pRightT->setOppTriangle(2, pLeftT);
    return nullptr;
}

bool Dt2::hasRepeatedVertex(const std::vector<Point2*>& vPoly) {
    // Most chains are a few vertices long: comparing all pairs beats sorting a copy.
    if (vPoly.size() <= 16) {
        for (size_t i = 1; i < vPoly.size(); ++i)
            if (std::find(vPoly.begin(), vPoly.begin() + std::ptrdiff_t(i), vPoly[i]) != vPoly.begin() + std::ptrdiff_t(i))
                return true;
        return false;
    }
    vSortScratch.assign(vPoly.begin(), vPoly.end());
    std::sort(vSortScratch.begin(), vSortScratch.end(), std::less<Point2*>());
    return std::adjacent_find(vSortScratch.begin(), vSortScratch.end()) != vSortScratch.end();
}

// Flips the crossed edges away one by one (each only where its quadrilateral is convex; a new
// diagonal that still crosses the segment goes back into the queue) until the segment is an
// edge, then restores the Delaunay property around the new diagonals. Some crossed edge is
// always flippable, so this ends; the bound only guards against a broken triangulation.
void Dt2::forceEdgeByFlips(Point2* pStart, Point2* pStop) {
    std::deque<std::pair<Point2*, Point2*>> dqCrossed(vCrossedEdges.begin(), vCrossedEdges.end());
    std::vector<std::pair<Point2*, Point2*>> vNewEdges;
    size_t budget = 16 * dqCrossed.size() * dqCrossed.size() + 1024;
    while (!dqCrossed.empty()) {
        LUMO_ASSERT(budget-->0);
        const std::pair<Point2*, Point2*> e = dqCrossed.front();
        dqCrossed.pop_front();
        Triangle2* pT;
        int idx;
        const bool bFound = findEdge(e.first, e.second, pT, idx);
        LUMO_ASSERT(bFound);
        if (!canBeFlipped(pT, idx)) {
            dqCrossed.push_back(e);
            continue;
        }
        topo::flipEdge(pT, idx);   // pT = (c, a, d) with c at idx: the new diagonal is c-d
        Point2* c = pT->getCorner(idx);
        Point2* d = pT->getCorner(incIndexBy2(idx));
        const Orientation2 oc = orient(pStart, pStop, c), od = orient(pStart, pStop, d);
        const bool bStillCrossing = c != pStart && c != pStop && d != pStart && d != pStop &&
                                    oc != ORIENTATION2_COLLINEAR && od != ORIENTATION2_COLLINEAR && oc != od;
        if (bStillCrossing) dqCrossed.emplace_back(c, d);
        else vNewEdges.emplace_back(c, d);
    }
    for (const auto& e : vNewEdges) {
        Triangle2* pT;
        int idx;
        if (!findEdge(e.first, e.second, pT, idx)) continue;
        inserter.pushCheck(pT, idx);
        if (Triangle2* pN = pT->getOppositeTriangle(idx)) inserter.pushCheck(pN, pN->getIntraTriangleIndex(pT));
    }
    inserter.legalize(true);
}

// One side polygon of the channel: vPoly runs from pStart to pStop along the side, vOuter[i] is
// the outer neighbour of the edge (vPoly[i], vPoly[i+1]). Each triangle over a base edge takes
// the side vertex whose circumcircle holds no other vertex of its sub-polygon, so every
// triangle is valid (also for pockets that a convex-ear rule would cut through) and the result
// is already constrained Delaunay. Returns the triangle on the base edge (pStart, pStop), which
// has that edge opposite its corner 2.
Triangle2* Dt2::treatConstraintZone(const std::vector<Point2*>& vPoly,
                                    const std::vector<std::pair<Triangle2*, int>>& vOuter, bool bLeft) {
    using Item = ZoneWorkItem;
    std::vector<Item>& vWork = vZoneWork;
    vWork.clear();
    vWork.push_back(Item{0, vPoly.size() - 1, nullptr, -1});
    Triangle2* pBaseT = nullptr;
    while (!vWork.empty()) {
        const Item it = vWork.back();
        vWork.pop_back();
        if (it.hi == it.lo + 1) {
            const std::pair<Triangle2*, int>& outer = vOuter[it.lo];
            it.pParent->setOppTriangle(it.parentIdx, outer.first);
            if (outer.first != nullptr) outer.first->setOppTriangle(outer.second, it.pParent);
            continue;
        }
        Point2* pA = bLeft ? vPoly[it.lo] : vPoly[it.hi];
        Point2* pB = bLeft ? vPoly[it.hi] : vPoly[it.lo];
        size_t ci = it.lo + 1;
        for (size_t m = it.lo + 2; m < it.hi; ++m)
            if (inserter.getGeomTest().inCircle(pA, pB, vPoly[ci], vPoly[m]) > 0) ci = m;
        Triangle2* pNewT = inserter.getStore().create(pA, pB, vPoly[ci]);
        if (it.pParent != nullptr) {
            pNewT->setOppTriangle(2, it.pParent);
            it.pParent->setOppTriangle(it.parentIdx, pNewT);
        } else {
            pBaseT = pNewT;
        }
        // Edge 0 is (pB, c), edge 1 is (c, pA).
        if (bLeft) {
            vWork.push_back(Item{ci, it.hi, pNewT, 0});
            vWork.push_back(Item{it.lo, ci, pNewT, 1});
        } else {
            vWork.push_back(Item{it.lo, ci, pNewT, 0});
            vWork.push_back(Item{ci, it.hi, pNewT, 1});
        }
    }
    return pBaseT;
}

// ---- conforming insertion --------------------------------------------------------------------------------

bool Dt2::insertSegmentConformingDelaunay(ConstraintSegment2* pCSeg) {
    Point2* p = pCSeg->getSrc();
    Point2* q = pCSeg->getTrg();
    if (p->getIncidentTriangle() == nullptr || q->getIncidentTriangle() == nullptr) return false;
    // 1.-3. Already an edge, or a vertex around p lies on the segment.
    Point2* pOnSegment = nullptr;
    bool bIsEdge = false;
    topo::forEachTriangleAround(p, [&](Triangle2* pT) {
        const int k = pT->getIntraTriangleIndex(p);
        for (int m = 1; m <= 2; ++m) {
            Point2* w = pT->getCorner((k + m) % 3);
            if (w == q) {
                bIsEdge = true;
                return true;
            }
            if (pOnSegment == nullptr && orient(p, q, w) == ORIENTATION2_COLLINEAR && isBetweenOnLine(*p, *q, *w))
                pOnSegment = w;
        }
        return false;
    });
    if (bIsEdge) return false;
    if (pOnSegment != nullptr) {
        pCSeg->split_combinatorialOnly(pOnSegment);
        return true;
    }
    // A vertex further along, or a crossing constraint edge: split there as the constrained
    // insertion does, so that crossing segments meet at one vertex instead of being split
    // towards their crossing until the precision runs out.
    std::vector<std::pair<Point2, ConstraintSegment2*>>& vPairIspCS = vCrossingScratch;
    vPairIspCS.clear();
    Point2* pExisting = newCDT_traverseCZ(pCSeg, vPairIspCS, false);
    if (pExisting != nullptr) {
        pCSeg->split_combinatorialOnly(pExisting);
        return true;
    }
    if (!vPairIspCS.empty()) {
        std::vector<ConstraintSegment2*> vPieces;
        const std::pair<Point2, ConstraintSegment2*> crossing = vPairIspCS[0];
        splitAtCrossing(pCSeg, crossing.first, crossing.second, vPieces);
        getConstraintMgr().noteConformingCrossing();
        // Constrained pieces of the crossed segment are enforced now; conforming pieces by the
        // caller's work list (this segment's) or the conforming repair pass (the crossed one's).
        for (ConstraintSegment2* pPiece : vPieces)
            if (pPiece->isAlive() && pPiece->getCIS() == CIS_CONSTRAINED_DELAUNAY) newCDT_applyOneCS(pPiece);
        // A crossing rounded onto one of this segment's ends split only the crossed one.
        return true;
    }
    // 4. Precision guard.
    const double M = std::fabs(inserter.getGeomTest().getCoordinateBound());
    const int e = int(std::ceil(std::log(M) / std::log(2.0)));
    const double tol = 10.0 * std::ldexp(1.0, -52) * std::ldexp(1.0, e);
    const char* precisionText = "Double precision arithmetic does not allow to split a segment further, giving up. Incorrect result!";
    if (std::fabs(p->x() - q->x()) < tol && std::fabs(p->y() - q->y()) < tol) {
        reportWarning("Dt2::insertSegmentConformingDelaunay()", precisionText);
        return false;
    }
    // 5. Split at a dyadic radius from the piece's shell centre (the nudged midpoint when none fits).
    const Point2* pCentre = nullptr;
    Point2* pNew = insertNear(getConstraintMgr().conformingSplitPoint(p, q, pCentre), p);
    if (pNew == nullptr || pNew == p || pNew == q) {
        reportWarning("Dt2::insertSegmentConformingDelaunay()", precisionText);
        return false;
    }
    getConstraintMgr().noteConformingSplit(pNew, pCentre);
    if (pCSeg->isAlive()) pCSeg->split_combinatorialOnly(pNew);
    return true;
}

} // namespace ORBI_LUMO2D
