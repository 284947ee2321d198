// The constraint manager: segment storage, graph creation, and the passes that enforce them.
#include "ConstraintMgr.h"
#include <algorithm>
#include <cmath>
#include <fstream>
#include <iomanip>
#include <new>
#include <iostream>
#include <sstream>
#if defined(__linux__)
#include <sys/mman.h>
#endif
#include "Dt2.h"
#include "MsgPublisher.h"
#include "tools.h"

namespace ORBI_LUMO2D {

namespace {
// Passes of apply() before it gives up (each pass splits every unfinished piece once).
const int MAX_APPLY_PASSES = 499;

// Faults a large fresh table in with one system call instead of one page fault per 4 KB page
// (the pair table of a large constraint set is written all over at once).
void prefaultForWriting(const void* p, size_t bytes) {
#if defined(__linux__) && defined(MADV_POPULATE_WRITE)
    const uintptr_t pageMask = 4095;
    const uintptr_t lo = (reinterpret_cast<uintptr_t>(p) + pageMask) & ~pageMask;
    const uintptr_t hi = (reinterpret_cast<uintptr_t>(p) + bytes) & ~pageMask;
    if (hi > lo + (uintptr_t(1) << 20)) madvise(reinterpret_cast<void*>(lo), hi - lo, MADV_POPULATE_WRITE);
#else
    (void)p;
    (void)bytes;
#endif
}
// Sets bApplying for the length of one of the manager's own operations.
struct ApplyingScope {
    bool& bApplying;
    explicit ApplyingScope(bool& b) : bApplying(b) { bApplying = true; }
    ~ApplyingScope() { bApplying = false; }
};
} // namespace

ConstraintMgr::ConstraintMgr(Dt2* pDt2) : pOwnerDt2(pDt2), poolSegments(694444) {
    poolSegments.init(3);
}

ConstraintMgr::~ConstraintMgr() {
    for (ConstraintGraph2* pG : vGraphs) delete pG;
    poolSegments.forEach([](ConstraintSegment2* p) { p->~ConstraintSegment2(); });
}

const std::set<ConstraintGraph2*>* ConstraintMgr::ownersWith(const std::set<ConstraintGraph2*>* pBase,
                                                             ConstraintGraph2* pOwner) {
    if (pBase == lastOwnerStep.pBase && pOwner == lastOwnerStep.pOwner) return lastOwnerStep.pResult;
    const std::set<ConstraintGraph2*>* pResult = pBase;
    if (pBase->count(pOwner) == 0) {
        std::set<ConstraintGraph2*> s(*pBase);
        s.insert(pOwner);
        pResult = &*sOwnerSets.insert(std::move(s)).first;
    }
    lastOwnerStep = OwnerStep{pBase, pOwner, pResult};
    return pResult;
}

// ---- segments ------------------------------------------------------------------------------------

ConstraintSegment2* ConstraintMgr::addConstraintSegment(Point2* p0, Point2* p1, ConstraintInsertionStrategy cis) {
    if (std::less<Point2*>()(p1, p0)) std::swap(p0, p1);
    LUMO_ASSERT(p0<p1);
    if (ConstraintSegment2* pOld = getConstraintSegment(p0, p1)) return pOld;
    if (2 * (numUsed + 1) > vSlots.size()) grow();
    ConstraintSegment2* pSeg = new (poolSegments.alloc()) ConstraintSegment2(p0, p1, cis);
    size_t i = slotOf(p0, p1);
    while (vSlots[i].pSeg != nullptr) i = (i + 1) & mask;
    const bool bOK = vSlots[i].pSeg == nullptr;
    LUMO_ASSERT(bOK);
    vSlots[i] = Slot{p0, pSeg};
    markSegment(p0, p1);
    if (numUsed++ == 0) {
        pOwnerDt2->setFlipGuard(this);
        pOwnerDt2->setObserver(this);
    }
    if (cis == CIS_CONFORMING_DELAUNAY) {
        ++numConforming;
        ++mConformingDegree[p0];
        ++mConformingDegree[p1];
    }
    return pSeg;
}

void ConstraintMgr::onEdgeSplit(Point2* pA, Point2* pB, Point2* pNew) {
    ConstraintSegment2* pCSeg = getConstraintSegment(pA, pB);
    if (pCSeg != nullptr && pCSeg->isAlive()) pCSeg->split_combinatorialOnly(pNew);
}

void ConstraintMgr::onFlip(Triangle2* pT, Triangle2* pN) {
    if (numConforming == 0) return;
    // The removed diagonal joins the corner of each triangle that the other one lacks.
    Point2 *pA = nullptr, *pB = nullptr;
    for (int i = 0; i < 3; ++i) {
        if (!pN->hasVertex(pT->getCorner(i))) pA = pT->getCorner(i);
        if (!pT->hasVertex(pN->getCorner(i))) pB = pN->getCorner(i);
    }
    ConstraintSegment2* pCSeg = getConstraintSegment(pA, pB);
    if (pCSeg != nullptr && pCSeg->isAlive() && pCSeg->getCIS() == CIS_CONFORMING_DELAUNAY)
        vFlippedConforming.push_back(pCSeg);
}

bool ConstraintMgr::reconformFlipped(size_t numInserted, size_t maxSteps) {
    if (bApplying || vFlippedConforming.empty()) return true;
    ApplyingScope applying(bApplying);
    // Sized by the call, not by what it flipped: next to pieces at the precision limit every
    // split flips more of them, and a budget per flipped piece grew with each insertion.
    resetConformingBudget(std::min(numInserted, vFlippedConforming.size()), 0);
    conformingStepsLeft = std::min(conformingStepsLeft, maxSteps);
    // The noted pieces, then what splitting them creates or flips away in turn.
    repairConforming(poolSegments.numAllocated());
    return !bConformingBudgetWarned;
}

void ConstraintMgr::grow() {
    const size_t numSlots = vSlots.empty() ? 1024 : 2 * vSlots.size();
    std::vector<Slot>().swap(vSlots);
    vSlots.reserve(numSlots);
    prefaultForWriting(vSlots.data(), numSlots * sizeof(Slot));
    vSlots.assign(numSlots, Slot{nullptr, nullptr});
    mask = vSlots.size() - 1;
    const size_t numBits = 2 * vSlots.size();
    vEndpointBits.assign(numBits / 64, 0);
    endpointShift = 64;
    for (size_t n = numBits; n > 1; n >>= 1) --endpointShift;
    vPairBits.assign(2 * numBits / 64, 0);
    pairShift = endpointShift - 1;
    // Rehashed from the pool, which holds exactly the stored segments, in memory order: the
    // old slots would need a jump into every segment for its second vertex.
    poolSegments.forEach([&](ConstraintSegment2* pSeg) {
        size_t i = slotOf(pSeg->getSrc(), pSeg->getTrg());
        while (vSlots[i].pSeg != nullptr) i = (i + 1) & mask;
        vSlots[i] = Slot{pSeg->getSrc(), pSeg};
        markSegment(pSeg->getSrc(), pSeg->getTrg());
    });
}

void ConstraintMgr::getSegmentsInMapOrder(std::vector<ConstraintSegment2*>& vOut) const {
    const size_t first = vOut.size();
    poolSegments.forEach([&](ConstraintSegment2* p) { vOut.push_back(p); });
    std::sort(vOut.begin() + std::ptrdiff_t(first), vOut.end(), CompareConstraintSegment2());
}

// ---- graphs ----------------------------------------------------------------------------------------

ConstraintGraph2* ConstraintMgr::createConstraint(const std::vector<Segment2>& vSegments,
                                                  ConstraintInsertionStrategy cis, bool bOriented) {
    if (vSegments.empty()) return nullptr;
    std::vector<std::pair<Point2*, Point2*>> vPairs;
    vPairs.reserve(vSegments.size());
    for (const Segment2& seg : vSegments) {
        const Point2 a(seg.getSrc()), b(seg.getTrg());
        if (!std::isfinite(a.x()) || !std::isfinite(a.y()) || !std::isfinite(b.x()) || !std::isfinite(b.y())) {
            std::ostringstream oss;
            oss << "segment (" << a.x() << ", " << a.y() << ") - (" << b.x() << ", " << b.y()
                << ") has a NaN or infinite coordinate, a constraint segment has been skipped.";
            reportWarning("ConstraintMgr::createConstraint()", oss.str());
            continue;
        }
        Point2* pA = pOwnerDt2->insert(a);
        Point2* pB = pOwnerDt2->insert(b);
        if (pA == pB) {
            if (!bOriented)
                reportWarning("ConstraingMgr::createConstraint",
                              "(0) Identical source and endpoint, a constraint segment has been skipped.");
            continue;
        }
        // Withdrawn until the whole input is in: a later endpoint that falls onto this
        // segment's line must not split a segment that is not yet in the triangulation.
        ConstraintSegment2* pCSeg = addConstraintSegment(pA, pB, cis);
        pCSeg->setDead();
        vPairs.emplace_back(pA, pB);
    }
    return buildGraph(vPairs, cis, bOriented);
}

ConstraintGraph2* ConstraintMgr::createConstraint(const std::vector<std::pair<Point2*, Point2*>>& vPairs,
                                                  ConstraintInsertionStrategy cis, bool bOriented) {
    std::vector<std::pair<Point2*, Point2*>> vKept;
    for (const auto& pq : vPairs)
        if (pq.first != nullptr && pq.second != nullptr && pq.first != pq.second) vKept.push_back(pq);
    return buildGraph(vKept, cis, bOriented);
}

ConstraintGraph2* ConstraintMgr::buildGraph(const std::vector<std::pair<Point2*, Point2*>>& vPairs,
                                            ConstraintInsertionStrategy cis, bool bOriented) {
    const size_t firstNewRecord = poolSegments.numAllocated();
    std::map<std::pair<Point2*, Point2*>, bool> mPPReverse;
    std::vector<ConstraintSegment2*> vCSegs;
    vCSegs.reserve(vPairs.size());
    for (const auto& pq : vPairs) {
        const bool bReverse = std::less<Point2*>()(pq.second, pq.first);
        mPPReverse[bReverse ? std::make_pair(pq.second, pq.first) : pq] = bReverse;
        ConstraintSegment2* pCSeg = addConstraintSegment(pq.first, pq.second, cis);
        pCSeg->setAliveFlag(true);
        vCSegs.push_back(pCSeg);
    }
    ConstraintGraph2* pGraph = new ConstraintGraph2(pOwnerDt2, vCSegs, mPPReverse, cis, bOriented);
    resetConformingBudget(vCSegs.size(), pOwnerDt2->numberOfPoints());
    ApplyingScope applying(bApplying);
    vGraphs.push_back(pGraph);
    MsgPublisher* pPub = pOwnerDt2->getMsgPublisher();
    if (pPub != nullptr) pPub->start("insert constraints", vCSegs.size());
    for (ConstraintSegment2* pCSeg : vCSegs) {
        applyOne(pCSeg);
        if (pPub != nullptr) pPub->step();
    }
    repairConforming(firstNewRecord);
    if (pPub != nullptr) pPub->finish();
    return pGraph;
}

// ---- application --------------------------------------------------------------------------------

void ConstraintMgr::applyOne(ConstraintSegment2* pCSeg) {
    if (!pOwnerDt2->is2D()) return;
    if (pCSeg->isAlive()) {
        switch (pCSeg->getCIS()) {
            case CIS_CONFORMING_DELAUNAY: applyConformingFully(pCSeg); break;
            case CIS_CONSTRAINED_DELAUNAY: pOwnerDt2->newCDT_applyOneCS(pCSeg); break;
            default: reportError("ConstraintMgr::apply()", "Unknown CIS"); break;
        }
        return;
    }
    if (!pCSeg->isSplit()) return;
    std::vector<ConstraintSegment2*> vLeaves;
    pCSeg->getChildrenRec(vLeaves);
    for (ConstraintSegment2* pLeaf : vLeaves) applyOne(pLeaf);
}

void ConstraintMgr::applyConformingFully(ConstraintSegment2* pCSeg) {
    // One conforming step splits a piece at most once; the pieces are finished here.
    std::vector<ConstraintSegment2*> vWork{pCSeg};
    while (!vWork.empty()) {
        ConstraintSegment2* pX = vWork.back();
        vWork.pop_back();
        if (pX->isAlive()) {
            if (pX->getCIS() != CIS_CONFORMING_DELAUNAY) {
                applyOne(pX);
            } else if (conformingStepsLeft == 0) {
                if (!bConformingBudgetWarned)
                    reportWarning("ConstraintMgr::apply()", "insufficient numeric accuracy, need to skip last insertions");
                bConformingBudgetWarned = true;
            } else {
                --conformingStepsLeft;
                // Still whole after a step that did something: a crossing split the other segment.
                if (pOwnerDt2->insertSegmentConformingDelaunay(pX) && pX->isAlive()) vWork.push_back(pX);
            }
        }
        if (pX->isSplit()) pX->getChildrenRec(vWork);
    }
}

void ConstraintMgr::apply() {
    if (!pOwnerDt2->is2D()) return;
    std::vector<ConstraintSegment2*> vAll, vWork, vNext;
    getSegmentsInMapOrder(vAll);
    for (ConstraintSegment2* pCSeg : vAll)
        if (pCSeg->isAlive()) vWork.push_back(pCSeg);
    MsgPublisher* pPub = pOwnerDt2->getMsgPublisher();
    if (pPub != nullptr) pPub->start("apply constraints", vWork.size());
    resetConformingBudget(vWork.size(), pOwnerDt2->numberOfPoints());
    ApplyingScope applying(bApplying);
    for (int passesLeft = MAX_APPLY_PASSES;; ) {
        bool bChanged = false;
        vNext.clear();
        for (ConstraintSegment2* pX : vWork) {
            if (pX->isAlive()) {
                applyOne(pX);
                if (pX->isSplit()) {
                    pX->getChildrenRec(vNext);
                    bChanged = true;
                    if (pPub != nullptr) pPub->addToTotal(4);
                }
            }
            if (pPub != nullptr) pPub->step();
        }
        if (!bChanged) break;
        if (--passesLeft == 0) {
            reportWarning("ConstraintMgr::apply()", "insufficient numeric accuracy, need to skip last insertions");
            break;
        }
        vWork.swap(vNext);
    }
    repairConforming(0);
    if (pPub != nullptr) pPub->finish();
}

void ConstraintMgr::resetConformingBudget(size_t numSegs, size_t numVerticesPassed) {
    conformingStepsLeft = 512 * numSegs + 4096 + 8 * numVerticesPassed;
    bConformingBudgetWarned = false;
}

const Point2* ConstraintMgr::shellCentreAt(const Point2* p) const {
    const auto it = mShellCentre.find(p);
    return it == mShellCentre.end() ? p : it->second;
}

Point2 ConstraintMgr::conformingSplitPoint(const Point2* p, const Point2* q, const Point2*& pCentre) const {
    // A segment end shared by several segments (or a crossing, which has no count) wins over
    // a centre inherited from a split vertex, then over an end of one segment only: all pieces
    // of a segment are measured from one centre unless they meet another segment.
    auto rank = [&](const Point2* pEnd) {
        if (mShellCentre.count(pEnd) != 0) return 2;
        const auto it = mConformingDegree.find(pEnd);
        return it != mConformingDegree.end() && it->second == 1 ? 1 : 3;
    };
    const int rankP = rank(p), rankQ = rank(q);
    pCentre = rankQ > rankP ? shellCentreAt(q) : shellCentreAt(p);
    // Radii along the piece; the centre lies on its line, behind or at one end.
    const double rP = std::hypot(p->x() - pCentre->x(), p->y() - pCentre->y());
    const double rQ = std::hypot(q->x() - pCentre->x(), q->y() - pCentre->y());
    const double lo = std::min(rP, rQ), hi = std::max(rP, rQ), a = lo + 0.25 * (hi - lo), b = hi - 0.25 * (hi - lo);
    if (!(b > a)) return centerWithShift(*p, *q);
    double step = std::ldexp(1.0, std::ilogb(b - a) + 1);
    double r = std::ceil(a / step) * step;
    while (r > b) {
        step *= 0.5;
        r = std::ceil(a / step) * step;
    }
    const double t = (r - rP) / (rQ - rP);
    const Point2 s(p->x() + t * (q->x() - p->x()), p->y() + t * (q->y() - p->y()));
    return s == *p || s == *q ? centerWithShift(*p, *q) : s;
}

void ConstraintMgr::repairConforming(size_t firstRecord) {
    if (numConforming == 0 || !pOwnerDt2->is2D()) {
        vFlippedConforming.clear();
        return;
    }
    std::vector<ConstraintSegment2*> vAll, vNoted;
    for (int passesLeft = MAX_APPLY_PASSES; passesLeft > 0; --passesLeft) {
        // What the last pass (or the caller's work) created or flipped away; a piece may be
        // named twice, and the second look finds it an edge.
        vNoted.swap(vFlippedConforming);
        vFlippedConforming.clear();
        auto isBroken = [&](const ConstraintSegment2* p) {
            return p->isAlive() && p->getCIS() == CIS_CONFORMING_DELAUNAY && !pOwnerDt2->isEdge(p->getSrc(), p->getTrg());
        };
        vAll.clear();
        for (ConstraintSegment2* p : vNoted)
            if (isBroken(p)) vAll.push_back(p);
        const size_t numRecords = poolSegments.numAllocated();
        poolSegments.forEachFrom(firstRecord, [&](ConstraintSegment2* p) {
            if (isBroken(p)) vAll.push_back(p);
        });
        firstRecord = numRecords;
        if (vAll.empty()) return;
        bool bChanged = false;
        for (ConstraintSegment2* pX : vAll) {
            applyOne(pX);
            bChanged = bChanged || !pX->isAlive() || pOwnerDt2->isEdge(pX->getSrc(), pX->getTrg());
        }
        // Pieces below the precision guard stay alive and unrepresented: nothing more to do.
        if (!bChanged || conformingStepsLeft == 0) return;
    }
    reportWarning("ConstraintMgr::apply()", "insufficient numeric accuracy, need to skip last insertions");
}

// ---- dump files ---------------------------------------------------------------------------------------

void ConstraintMgr::collectAliveLeaves(const ConstraintGraph2* pGraph, std::vector<Segment2>& vOut) const {
    std::vector<ConstraintSegment2*> vOriginals, vLeaves;
    pGraph->getOriginalConstraintSegments(vOriginals);
    for (ConstraintSegment2* pCSeg : vOriginals) {
        if (pCSeg->isAlive()) vLeaves.push_back(pCSeg);
        else if (pCSeg->isSplit()) pCSeg->getChildrenRec(vLeaves);
    }
    for (ConstraintSegment2* pCSeg : vLeaves) vOut.emplace_back(*pCSeg->getSrc(), *pCSeg->getTrg());
}

} // namespace ORBI_LUMO2D
