// The constraint segment record and its split tree.
#include "ConstraintSegment2.h"
#include <atomic>
#include <cmath>
#include <functional>
#include <ostream>
#include "ConstraintGraph2.h"
#include "ConstraintMgr.h"
#include "Dt2.h"
#include "InnerVtxMgr.h"
#include "tools.h"

namespace ORBI_LUMO2D {

namespace {
// One counter for the whole process: labels are never reused, also across triangulations.
std::atomic<int> nextSegmentLabel{0};
} // namespace

ConstraintSegment2::ConstraintSegment2(Point2* p0, Point2* p1, ConstraintInsertionStrategy cis_)
    : label(nextSegmentLabel.fetch_add(1)), sOwners{&noOwners()}, src(p0), trg(p1), cis(cis_), bAlive(true),
      vChildren{{nullptr, nullptr}}, adjacentArea(DBL_MAX) {
    LUMO_ASSERT(p0<p1);
}

const std::set<ConstraintGraph2*>& ConstraintSegment2::noOwners() {
    static const std::set<ConstraintGraph2*> sEmpty;
    return sEmpty;
}

ConstraintSegment2::~ConstraintSegment2() {}

bool ConstraintSegment2::operator<(const ConstraintSegment2& other) const {
    std::less<const Point2*> lt;
    if (lt(src, other.src)) return true;
    if (lt(other.src, src)) return false;
    return lt(trg, other.trg);
}

// ---- the split tree ------------------------------------------------------------------------------

void ConstraintSegment2::addOwnerRecursive(ConstraintGraph2* pOwner) {
    // An explicit stack: a chain of splits at either end of a segment can be tens of thousands
    // deep (conforming splits near the limit of the doubles).
    ConstraintMgr& mgr = pOwner->getDt2()->getConstraintMgr();
    std::vector<ConstraintSegment2*> vStack{this};
    while (!vStack.empty()) {
        ConstraintSegment2* pCur = vStack.back();
        vStack.pop_back();
        pCur->sOwners.pSet = mgr.ownersWith(pCur->sOwners.pSet, pOwner);
        // A leaf, or a segment withdrawn while its own call inserts the endpoints (a split of an
        // older segment onto the same two vertices reaches it then).
        if (!pCur->isSplit()) continue;
        vStack.push_back(pCur->vChildren[1]);
        vStack.push_back(pCur->vChildren[0]);
    }
}

void ConstraintSegment2::getChildrenAndSplitPoint(ConstraintSegment2*& pKid0, ConstraintSegment2*& pKid1,
                                                  Point2*& pSplit) const {
    if (isAlive() || vChildren.empty()) {
        reportWarning("ConstraintSegment2::getChildrenAndSplitPoint()", "*this is still alive!");
        return;
    }
    pKid0 = vChildren[0];
    pKid1 = vChildren[1];
    pSplit = nullptr;
    if (pKid0->src == pKid1->src || pKid0->src == pKid1->trg) pSplit = pKid0->src;
    if (pKid0->trg == pKid1->src || pKid0->trg == pKid1->trg) pSplit = pKid0->trg;
}

void ConstraintSegment2::getChildrenRec(std::vector<ConstraintSegment2*>& vLeavesOut) const {
    LUMO_ASSERT(vChildren.size()==2);
    if (vChildren[0]->isAlive() && vChildren[1]->isAlive()) {   // the common case, without a stack
        vLeavesOut.push_back(vChildren[0]);
        vLeavesOut.push_back(vChildren[1]);
        return;
    }
    // Explicit stack, first child's subtree first.
    std::vector<const ConstraintSegment2*> vStack{vChildren[1], vChildren[0]};
    while (!vStack.empty()) {
        const ConstraintSegment2* pCur = vStack.back();
        vStack.pop_back();
        if (pCur->isAlive()) {
            vLeavesOut.push_back(const_cast<ConstraintSegment2*>(pCur));
        } else if (!pCur->vChildren.empty()) {
            vStack.push_back(pCur->vChildren[1]);
            vStack.push_back(pCur->vChildren[0]);
        }
        // A withdrawn leaf (no children, not alive) is no piece of the constraint.
    }
}

// ---- splitting -------------------------------------------------------------------------------------

void ConstraintSegment2::makeChildren(Point2* pSplit) {
    ConstraintMgr& mgr = (*sOwners.begin())->getDt2()->getConstraintMgr();
    ConstraintSegment2* pKid0 = mgr.addConstraintSegment(src, pSplit, cis);
    ConstraintSegment2* pKid1 = mgr.addConstraintSegment(trg, pSplit, cis);
    vChildren.a[0] = pKid0;
    vChildren.a[1] = pKid1;
    for (ConstraintGraph2* pG : sOwners) {
        pKid0->addOwnerRecursive(pG);
        pKid1->addOwnerRecursive(pG);
    }
    for (ConstraintGraph2* pG : sOwners) pG->updateSplittedConstraintSegment(this, true);
}

bool ConstraintSegment2::split_combinatorialOnly(Point2* pSplit) {
    LUMO_ASSERT(pSplit!=0);
    LUMO_ASSERT(isAlive());
    Point2* p0 = src;
    Point2* p1 = trg;
    LUMO_ASSERT(p0!=pSplit && p1!=pSplit);
    LUMO_ASSERT(!sOwners.empty());
    makeChildren(pSplit);
    return true;
}

Point2* ConstraintSegment2::insertAndSplit(const Point2& p) {
    LUMO_ASSERT(bAlive);
    LUMO_ASSERT(vChildren.empty());
    LUMO_ASSERT(!sOwners.empty());
    Dt2* pOwnerDt = (*sOwners.begin())->getDt2();
    LUMO_ASSERT(pOwnerDt!=0);
    // Not a constraint while the point goes in, so that its edge may be split and flipped.
    bAlive = false;
    Point2* pSplit = pOwnerDt->insert(p);
    LUMO_ASSERT(pSplit!=0);
    if (pSplit == src || pSplit == trg) {
        bAlive = true;
        return nullptr;
    }
    makeChildren(pSplit);
    std::vector<ConstraintSegment2*> vWork{vChildren[0], vChildren[1]};
    while (!vWork.empty()) {
        ConstraintSegment2* pX = vWork.back();
        vWork.pop_back();
        if (pX->isAlive()) pOwnerDt->getConstraintMgr().applyOne(pX);
        else if (pX->isSplit()) pX->getChildrenRec(vWork);
    }
    pOwnerDt->restoreDelaunayAround(pSplit);
    // A split point rounded off the segment's two triangles can leave the old edge standing
    // beside vertices within ulps of it, and no flip tested it since it stopped being a constraint.
    pOwnerDt->restoreDelaunayAcross(src, trg);
    return pSplit;
}

bool ConstraintSegment2::splitAndRemovePrev(const Point2& p) {
    Point2* pSplit = insertAndSplit(p);
    if (pSplit == nullptr) return false;
    LUMO_ASSERT(!sOwners.empty());
    Dt2* pOwnerDt = (*sOwners.begin())->getDt2();
    const double dx = pSplit->x() - src->x(), dy = pSplit->y() - src->y();
    pOwnerDt->getInnerVtxMgr().removePreviouslyInsertedVertices(pSplit, dx * dx + dy * dy, pOwnerDt);
    return true;
}

std::ostream& operator<<(std::ostream& os, const ConstraintSegment2& cs) {
    os << "ConstraintSegment2 label " << cs.label << ", " << static_cast<const void*>(&cs) << ": ("
       << static_cast<const void*>(cs.src) << "," << static_cast<const void*>(cs.trg) << ")";
    if (cs.isAlive()) os << " [alive]";
    else os << " [DEAD, numChildren=" << cs.vChildren.size() << "]";
    const double dx = cs.trg->x() - cs.src->x(), dy = cs.trg->y() - cs.src->y();
    os << "\n" << *cs.src << "\n" << *cs.trg << "\nlength=" << std::sqrt(dx * dx + dy * dy);
    return os;
}

} // namespace ORBI_LUMO2D
