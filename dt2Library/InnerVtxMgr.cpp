// The inner-vertex record of mesh refinement and the removal of encroaching inner vertices.
#include "InnerVtxMgr.h"
#include <algorithm>
#include <cmath>
#include "Dt2.h"
#include "SimplePool.h"
#include "TopologyOps.h"
#include "tools.h"

namespace ORBI_LUMO2D {

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
    if (vCells.empty()) return false;
    const double x = p->x();
    for (const XEntry& e : vCells[cellOf(x)])
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
    const double x = p->x();
    if (numEntries >= redrawAt) redrawCells();
    vCells[cellOf(x)].push_back(XEntry{x, p});
    ++numEntries;
}

void InnerVtxMgr::redrawCells() {
    std::vector<double> vSample;
    size_t i = 0;
    for (const std::vector<XEntry>& cell : vCells)
        for (const XEntry& e : cell)
            if (i++ % 8 == 0) vSample.push_back(e.x);
    std::sort(vSample.begin(), vSample.end());
    size_t numCells = 1;
    while (numCells * 16 < numEntries && 2 * numCells <= vSample.size()) numCells *= 2;
    vBorders.clear();
    for (size_t c = 1; c < numCells; ++c) vBorders.push_back(vSample[c * vSample.size() / numCells]);
    // As many slots as cells, over the range of the borders; a border belongs to the slot of its x.
    vSlotStart.assign(numCells + 1, 0);
    if (!vBorders.empty()) {
        halfX0 = 0.5 * vBorders.front();
        const double halfRange = 0.5 * vBorders.back() - halfX0;
        slotScale = halfRange > 0.0 ? double(numCells) / halfRange : 0.0;
        if (!std::isfinite(slotScale)) slotScale = 0.0;   // a range below the smallest normal double
        for (double b : vBorders) ++vSlotStart[slotOf(b) + 1];
        for (size_t k = 1; k <= numCells; ++k) vSlotStart[k] += vSlotStart[k - 1];
    }
    std::vector<std::vector<XEntry>> vOld(numCells);
    vOld.swap(vCells);
    // Each cell gets room for twice its entries, what it will hold at the next redraw if the
    // entries keep their spread: no cell grows by copying in between.
    std::vector<uint32_t> vCounts(numCells, 0), vCellOf;
    vCellOf.reserve(numEntries);
    for (const std::vector<XEntry>& cell : vOld)
        for (const XEntry& e : cell) {
            vCellOf.push_back(uint32_t(cellOf(e.x)));
            ++vCounts[vCellOf.back()];
        }
    for (size_t c = 0; c < numCells; ++c) vCells[c].reserve(2 * size_t(vCounts[c]) + 2);
    i = 0;
    for (const std::vector<XEntry>& cell : vOld)
        for (const XEntry& e : cell) vCells[vCellOf[i++]].push_back(e);
    redrawAt = std::max<size_t>(64, 2 * numEntries);
}

void InnerVtxMgr::withdraw(Point2* p) {
    if (!contains(p)) return;
    sWithdrawn.insert(p);
    --numMembers;
}

void InnerVtxMgr::clear() {
    sWithdrawn.clear();
    numMembers = numEntries = redrawAt = 0;
    vBorders.clear();
    vSlotStart.clear();
    vCells.clear();
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
    for (size_t c = cellOf(lo), cEnd = cellOf(hi); c <= cEnd; ++c)
        for (const XEntry& e : vCells[c])
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
