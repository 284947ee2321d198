// Constraint graphs: the host's directions across splits, polygon detection, drawing.
#include "ConstraintGraph2.h"
#include <algorithm>
#include <iostream>
#include "ConstraintMgr.h"
#include "Dt2.h"
#include "tools.h"

namespace ORBI_LUMO2D {

ConstraintGraph2::ConstraintGraph2(Dt2* pDt2, std::vector<ConstraintSegment2*>& vCSegments,
                                   const std::map<std::pair<Point2*, Point2*>, bool>& mPPReverse,
                                   ConstraintInsertionStrategy cis_, bool bOriented)
    : pOwnerDt2(pDt2), pGeomPredicates(pDt2 != nullptr ? &pDt2->getGeomTest() : nullptr), cis(cis_) {
    LUMO_ASSERT(mCSegReverse.empty());
    LUMO_ASSERT(vCSegParents.empty());
    for (ConstraintSegment2* pCSeg : vCSegments) pCSeg->addOwnerRecursive(this);
    size_t numKept = 0;
    for (ConstraintSegment2* pCSeg : vCSegments) {
        if (pCSeg->getSrc() == pCSeg->getTrg()) {
            reportWarning("ConstraintGraph2::ConstraintGraph2()", "Ignoring a degenerate constraint segment");
            continue;
        }
        vCSegments[numKept++] = pCSeg;
    }
    vCSegments.resize(numKept);
    vCSegParents = vCSegments;
    for (ConstraintSegment2* pCSeg : vCSegParents) {
        Point2* p0 = pCSeg->getSrc();
        Point2* p1 = pCSeg->getTrg();
        LUMO_ASSERT(p0<p1);
        auto q_it = mPPReverse.find(std::make_pair(p0, p1));
        LUMO_ASSERT(q_it!=mPPReverse.end());
        mCSegReverse.set(pCSeg, q_it->second);
    }
    isOrientedFlag = bOriented;
    checkAndSortPolygon();
    // A segment that was split before this graph existed passes its direction down now.
    for (ConstraintSegment2* pCSeg : vCSegParents)
        if (!pCSeg->isAlive()) setDirectionsRecursive(pCSeg);
}

// ---- the direction map ---------------------------------------------------------------------------

const int8_t* ConstraintGraph2::DirectionMap::find(const ConstraintSegment2* pKey) const {
    const long idx = long(pKey->getLabel()) - firstLabel;
    if (idx < 0 || idx >= long(vFlags.size()) || vFlags[size_t(idx)] < 0) return nullptr;
    return &vFlags[size_t(idx)];
}

void ConstraintGraph2::DirectionMap::set(const ConstraintSegment2* pKey, bool bReversed) {
    const int label = pKey->getLabel();
    if (vFlags.empty()) firstLabel = label;
    if (label < firstLabel) {
        // Older segments (shared with an earlier graph): grow at the front, geometrically.
        // Labels are never negative, so the front never grows past label 0.
        const size_t numNew = std::min(std::max(size_t(firstLabel - label), vFlags.size()), size_t(firstLabel));
        vFlags.insert(vFlags.begin(), numNew, int8_t(-1));
        firstLabel -= int(numNew);
    }
    const size_t idx = size_t(label - firstLabel);
    if (idx >= vFlags.size()) vFlags.resize(std::max(idx + 1, vFlags.size() + vFlags.size() / 2), int8_t(-1));
    if (vFlags[idx] < 0) ++numUsed;
    vFlags[idx] = bReversed ? 1 : 0;
}

// ---- polygon ------------------------------------------------------------------------------------

void ConstraintGraph2::checkAndSortPolygon() {
    isPolygonFlag = false;
    const size_t n = vCSegParents.size();
    if (n < 3) return;
    // One closed chain: every vertex has exactly two segments, and a walk from the first
    // segment visits all of them before it returns.
    std::map<Point2*, std::vector<size_t>> mVtxSegs;
    for (size_t i = 0; i < n; ++i) {
        mVtxSegs[vCSegParents[i]->getSrc()].push_back(i);
        mVtxSegs[vCSegParents[i]->getTrg()].push_back(i);
    }
    for (const auto& e : mVtxSegs)
        if (e.second.size() != 2) return;
    std::vector<ConstraintSegment2*> vSorted;
    std::vector<bool> vReverse;
    vSorted.reserve(n);
    std::vector<bool> vUsed(n, false);
    size_t cur = 0;
    Point2* pHead = directedSrc(vCSegParents[0]);
    for (size_t k = 0; k < n; ++k) {
        // Back at a used segment before all were visited: more than one cycle.
        if (vUsed[cur]) return;
        vUsed[cur] = true;
        ConstraintSegment2* pCSeg = vCSegParents[cur];
        // The chain enters this segment at pHead.
        const bool bRev = pCSeg->getTrg() == pHead;
        if (!bRev && pCSeg->getSrc() != pHead) {
            reportError("ConstraintGraph2::checkAndSortPolygon()", "Impossible case2!");
            return;
        }
        // Oriented segments keep the host's direction: against it there is no polygon.
        if (isOrientedFlag && bRev != mCSegReverse.isReversed(pCSeg)) return;
        vSorted.push_back(pCSeg);
        vReverse.push_back(bRev);
        pHead = bRev ? pCSeg->getSrc() : pCSeg->getTrg();
        const std::vector<size_t>& vNext = mVtxSegs[pHead];
        if (vNext[0] != cur && vNext[1] != cur) {
            reportError("ConstraintGraph2::checkAndSortPolygon()", "Impossible case1!");
            return;
        }
        const size_t next = vNext[0] == cur ? vNext[1] : vNext[0];
        if (k + 1 < n) cur = next;
        else if (next != 0) {
            reportError("ConstraintGraph2::checkAndSortPolygon()", "Impossible case3!");
            return;
        }
    }
    // Closed: the walk came back to the first segment. A shorter cycle leaves segments unused.
    if (pHead != directedSrc(vCSegParents[0])) return;
    vCSegParents = vSorted;
    for (size_t i = 0; i < n; ++i) mCSegReverse.set(vSorted[i], vReverse[i]);
    isPolygonFlag = true;
}

Point2* ConstraintGraph2::directedSrc(ConstraintSegment2* pCSeg) const {
    return mCSegReverse.isReversed(pCSeg) ? pCSeg->getTrg() : pCSeg->getSrc();
}

// ---- directions across splits ---------------------------------------------------------------------

void ConstraintGraph2::updateSplittedConstraintSegment(ConstraintSegment2* pParentCSeg, bool bAlsoSplitVertex) {
    LUMO_ASSERT(!pParentCSeg->isAlive());
    auto q_it = mCSegReverse.find(pParentCSeg);
    LUMO_ASSERT(q_it!=mCSegReverse.end());
    setDirectionsRecursive(pParentCSeg);
    if (!bAlsoSplitVertex) return;
    ConstraintSegment2 *pKid0 = nullptr, *pKid1 = nullptr;
    Point2* pSplit = nullptr;
    pParentCSeg->getChildrenAndSplitPoint(pKid0, pKid1, pSplit);
    LUMO_ASSERT(pSplit!=0);
    // Split vertices are mostly made in address order: the end is the usual place.
    splitVertices.emplace_hint(splitVertices.end(), pSplit);
}

void ConstraintGraph2::setDirectionsRecursive(ConstraintSegment2* pRoot) {
    // Only split children go on the stack: the usual split, into two alive pieces, allocates
    // nothing.
    if (!pRoot->isSplit()) return;
    std::vector<ConstraintSegment2*> vStack;
    for (ConstraintSegment2* pParent = pRoot;;) {
        ConstraintSegment2 *pChild0 = nullptr, *pChild1 = nullptr;
        Point2* pSplit = nullptr;
        pParent->getChildrenAndSplitPoint(pChild0, pChild1, pSplit);
        const bool bParentRev = mCSegReverse.isReversed(pParent);
        Point2* pParentSrc = bParentRev ? pParent->getTrg() : pParent->getSrc();
        Point2* pParentTrg = bParentRev ? pParent->getSrc() : pParent->getTrg();
        // The child at the directed source runs source -> split, the other split -> target.
        if (pChild0->getSrc() != pParentSrc && pChild0->getTrg() != pParentSrc) std::swap(pChild0, pChild1);
        const bool bRev0 = pChild0->getSrc() != pParentSrc;
        const bool bRev1 = pChild1->getTrg() == pSplit;
        mCSegReverse.set(pChild0, bRev0);
        mCSegReverse.set(pChild1, bRev1);
        Point2* pChild0Src = bRev0 ? pChild0->getTrg() : pChild0->getSrc();
        Point2* pChild0Trg = bRev0 ? pChild0->getSrc() : pChild0->getTrg();
        Point2* pChild1Src = bRev1 ? pChild1->getTrg() : pChild1->getSrc();
        Point2* pChild1Trg = bRev1 ? pChild1->getSrc() : pChild1->getTrg();
        LUMO_ASSERT(pChild0Src==pParentSrc || pChild1Src==pParentSrc);
        LUMO_ASSERT(pChild0Trg==pChild1Src || pChild1Trg==pChild0Src);
        LUMO_ASSERT(pChild0Trg==pParentTrg || pChild1Trg==pParentTrg);
        if (pChild0->isSplit()) vStack.push_back(pChild0);
        if (pChild1->isSplit()) vStack.push_back(pChild1);
        if (vStack.empty()) return;
        pParent = vStack.back();
        vStack.pop_back();
    }
}

void ConstraintGraph2::getDirectChildren(ConstraintSegment2* pParent, ConstraintSegment2*& pChild0,
                                         ConstraintSegment2*& pChild1) const {
    Point2* pSplit = nullptr;
    pChild0 = pChild1 = nullptr;
    if (!pParent->isSplit()) return;
    pParent->getChildrenAndSplitPoint(pChild0, pChild1, pSplit);
    if (pChild0 == nullptr || pChild1 == nullptr) return;
    Point2* pSrc = directedSrc(pParent);
    Point2* pTrg = pSrc == pParent->getSrc() ? pParent->getTrg() : pParent->getSrc();
    if (pChild0->getSrc() != pSrc && pChild0->getTrg() != pSrc) std::swap(pChild0, pChild1);
    LUMO_ASSERT(pChild0->getSrc()==pSrc || pChild0->getTrg()==pSrc);
    LUMO_ASSERT(pChild1->getSrc()==pTrg || pChild1->getTrg()==pTrg);
}

// ---- queries ------------------------------------------------------------------------------------------

void ConstraintGraph2::getOriginalConstraintSegments(std::vector<ConstraintSegment2*>& vOut) const {
    vOut.insert(vOut.end(), vCSegParents.begin(), vCSegParents.end());
}

void ConstraintGraph2::getChildConstraintSegments(std::vector<ConstraintSegment2*>& vOut) const {
    getAliveConstraintChain(vOut);
}

void ConstraintGraph2::getAliveConstraintChain(std::vector<ConstraintSegment2*>& vOut) const {
    std::vector<ConstraintSegment2*> vStack;
    for (ConstraintSegment2* pRoot : vCSegParents) {
        vStack.push_back(pRoot);
        while (!vStack.empty()) {
            ConstraintSegment2* pCSeg = vStack.back();
            vStack.pop_back();
            if (pCSeg->isAlive()) {
                vOut.push_back(pCSeg);
                continue;
            }
            if (!pCSeg->isSplit()) continue;   // withdrawn, not split: no piece
            ConstraintSegment2 *pKid0 = nullptr, *pKid1 = nullptr;
            getDirectChildren(pCSeg, pKid0, pKid1);
            LUMO_ASSERT(pKid0!=0 && pKid1!=0);
            vStack.push_back(pKid1);
            vStack.push_back(pKid0);
        }
    }
}

bool ConstraintGraph2::isReverse(ConstraintSegment2* pCSeg) const {
    return mCSegReverse.isReversed(pCSeg);
}

bool ConstraintGraph2::isConstraint(ConstraintSegment2* pCSeg) const {
    if (!pCSeg->isAlive()) return false;
    return mCSegReverse.find(pCSeg) != mCSegReverse.end();
}

bool ConstraintGraph2::isConstraint(Point2* p, Point2* q) const {
    if (p == q) return false;
    if (std::less<Point2*>()(q, p)) std::swap(p, q);
    // The lookup key is a real (temporary) segment: it takes a label like any other.
    ConstraintSegment2 key(p, q, CIS_CONSTRAINED_DELAUNAY);
    // Found by its vertex pair: the triangulation's segment of that pair is the key's equal.
    const ConstraintSegment2* pSeg =
        pOwnerDt2 != nullptr ? pOwnerDt2->getConstraintMgr().getConstraintSegment(key.getSrc(), key.getTrg()) : nullptr;
    return pSeg != nullptr && mCSegReverse.find(pSeg) != mCSegReverse.end() && pSeg->isAlive();
}

void ConstraintGraph2::getPolygonVertices(std::vector<Point2*>& vVerticesOut) const {
    std::vector<ConstraintSegment2*> vChain;
    getAliveConstraintChain(vChain);
    for (ConstraintSegment2* pCSeg : vChain) {
        LUMO_ASSERT(pCSeg->isAlive());
        auto q_it = mCSegReverse.find(pCSeg);
        if (q_it == mCSegReverse.end()) {
            std::cout << "BUG in ConstraintGraph2::getPolygonVertices" << std::endl;
            std::cout << "ownerCG=" << static_cast<const void*>(this) << std::endl;
            std::cout << "For constraint segment pCSeg:" << *pCSeg << std::endl;
        }
        LUMO_ASSERT(q_it!=mCSegReverse.end());
        vVerticesOut.push_back(*q_it == 1 ? pCSeg->getTrg() : pCSeg->getSrc());
    }
}

// ---- refinement and drawing --------------------------------------------------------------------

bool ConstraintGraph2::makeDelaunay(double minLen) {
    const double sqMinLen = minLen * minLen;
    // Every split shortens a piece; the precision of doubles bounds the depth, this the total.
    size_t budget = 64 * (mCSegReverse.size() + 1024);
    bool bAllDelaunay = true;
    for (;;) {
        std::vector<ConstraintSegment2*> vPieces;
        getAliveConstraintChain(vPieces);
        bool bChanged = false;
        bAllDelaunay = true;
        for (ConstraintSegment2* pCSeg : vPieces) {
            if (!pCSeg->isAlive() || pOwnerDt2->isDelaunayEdge(pCSeg->getSrc(), pCSeg->getTrg())) continue;
            bAllDelaunay = false;
            const double dx = pCSeg->getTrg()->x() - pCSeg->getSrc()->x();
            const double dy = pCSeg->getTrg()->y() - pCSeg->getSrc()->y();
            if (dx * dx + dy * dy < sqMinLen || budget == 0) continue;
            --budget;
            if (pCSeg->insertAndSplit(centerWithShift(*pCSeg->getSrc(), *pCSeg->getTrg())) != nullptr) bChanged = true;
        }
        if (!bChanged) break;
    }
    return bAllDelaunay;
}

} // namespace ORBI_LUMO2D
