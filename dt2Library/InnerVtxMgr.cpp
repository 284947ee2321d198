// The inner-vertex record of mesh refinement and the removal of encroaching inner vertices.
#include "InnerVtxMgr.h"
#include <algorithm>
#include <cmath>
#include "Dt2.h"
#include "SimplePool.h"
#include "TopologyOps.h"
#include "tools.h"

namespace ORBI_LUMO2D {

namespace {
const size_t TAIL_SIZE = 2048;
}

size_t InnerVtxMgr::PointerSet::home(const Point2* p) const {
    return addressSlot(p, vSlots.size() - 1);
}

size_t InnerVtxMgr::PointerSet::slotOf(const Point2* p) const {
    const size_t mask = vSlots.size() - 1;
    size_t i = home(p);
    while (vSlots[i] != nullptr && vSlots[i] != p) i = (i + 1) & mask;
    return i;
}

void InnerVtxMgr::PointerSet::insert(Point2* p) {
    if (2 * (num + 1) > vSlots.size()) {
        std::vector<Point2*> vOld;
        vOld.swap(vSlots);
        vSlots.assign(vOld.empty() ? 64 : 2 * vOld.size(), nullptr);
        for (Point2* q : vOld)
            if (q != nullptr) vSlots[slotOf(q)] = q;
    }
    const size_t i = slotOf(p);
    if (vSlots[i] == p) return;
    vSlots[i] = p;
    ++num;
}

bool InnerVtxMgr::PointerSet::erase(const Point2* p) {
    if (!contains(p)) return false;
    // Backward-shift deletion keeps every probe sequence unbroken.
    const size_t mask = vSlots.size() - 1;
    size_t hole = slotOf(p);
    for (size_t j = (hole + 1) & mask; vSlots[j] != nullptr; j = (j + 1) & mask) {
        // Move j into the hole when its home does not lie cyclically in (hole, j].
        if (((j - home(vSlots[j])) & mask) >= ((j - hole) & mask)) {
            vSlots[hole] = vSlots[j];
            hole = j;
        }
    }
    vSlots[hole] = nullptr;
    --num;
    return true;
}

// An entry of p at its present x, withdrawn or not.
bool InnerVtxMgr::hasEntry(const Point2* p) const {
    const double x = p->x();
    for (const std::vector<XEntry>& run : vRuns) {
        auto it = std::lower_bound(run.begin(), run.end(), x, [](const XEntry& e, double v) { return e.x < v; });
        for (; it != run.end() && it->x == x; ++it)
            if (it->p == p) return true;
    }
    for (const XEntry& e : vTail)
        if (e.p == p && e.x == x) return true;
    return false;
}

bool InnerVtxMgr::contains(const Point2* p) const {
    return !sWithdrawn.contains(p) && hasEntry(p);
}

// A vertex is recorded once, when refinement creates it; its pooled record may have carried a
// withdrawn or removed vertex before.
void InnerVtxMgr::add(Point2* p) {
    sWithdrawn.erase(p);
    ++numMembers;
    vTail.push_back(XEntry{p->x(), p});
    if (vTail.size() >= TAIL_SIZE) flushTail();
}

// The sorted tail is carried into the runs like a bit into a binary counter.
void InnerVtxMgr::flushTail() {
    std::vector<XEntry> vCarry;
    vCarry.swap(vTail);
    std::sort(vCarry.begin(), vCarry.end());
    for (size_t level = 0;; ++level) {
        if (level == vRuns.size()) vRuns.emplace_back();
        std::vector<XEntry>& run = vRuns[level];
        if (run.empty()) {
            run.swap(vCarry);
            break;
        }
        vMergeScratch.resize(run.size() + vCarry.size());
        std::merge(run.begin(), run.end(), vCarry.begin(), vCarry.end(), vMergeScratch.begin());
        run.clear();
        vCarry.swap(vMergeScratch);
    }
    vTail.clear();
    vTail.reserve(TAIL_SIZE);
}

void InnerVtxMgr::withdraw(Point2* p) {
    if (!contains(p)) return;
    sWithdrawn.insert(p);
    --numMembers;
}

void InnerVtxMgr::clear() {
    sWithdrawn.clear();
    numMembers = 0;
    vRuns.clear();
    vTail.clear();
}

void InnerVtxMgr::removePreviouslyInsertedVertices(Point2* pCenter, double sqRadius, Dt2* pDt2,
                                                   std::vector<Point2*>* pvLink) {
    if (numMembers == 0) return;
    // The x range only preselects (widened against the rounding of the square root); the
    // squared distance decides.
    const double d = std::sqrt(sqRadius) * (1.0 + 0x1p-50);
    const double lo = pCenter->x() - d, hi = pCenter->x() + d;
    std::vector<XEntry> vClose;
    auto consider = [&](const XEntry& e) {
        const double dx = e.p->x() - pCenter->x(), dy = e.p->y() - pCenter->y();
        if (dx * dx + dy * dy < sqRadius && e.x == e.p->x() && !sWithdrawn.contains(e.p)) vClose.push_back(e);
    };
    for (const std::vector<XEntry>& run : vRuns) {
        auto it = std::lower_bound(run.begin(), run.end(), lo, [](const XEntry& e, double x) { return e.x < x; });
        for (; it != run.end() && it->x <= hi; ++it) consider(*it);
    }
    for (const XEntry& e : vTail)
        if (e.x >= lo && e.x <= hi) consider(e);
    std::stable_sort(vClose.begin(), vClose.end());
    for (const XEntry& e : vClose) {
        if (sWithdrawn.contains(e.p)) continue;   // a second entry of a vertex recorded twice
        sWithdrawn.insert(e.p);
        --numMembers;
        if (pDt2 == nullptr || pDt2->isConstraintVertex(e.p)) continue;
        if (pvLink != nullptr) {
            topo::forEachTriangleAround(e.p, [&](Triangle2* pT) {
                pvLink->push_back(pT->getCorner(incIndexBy1(pT->getIntraTriangleIndex(e.p))));
                return false;
            });
        }
        pDt2->remove(e.p);
    }
}

} // namespace ORBI_LUMO2D
