// The inner-vertex record of mesh refinement and the removal of encroaching inner vertices.
#include "InnerVtxMgr.h"
#include <cmath>
#include <vector>
#include "Dt2.h"
#include "tools.h"

namespace ORBI_LUMO2D {

void InnerVtxMgr::add(Point2* p) {
    if (sInsertedInnerPoints.insert(p).second) mmXInnerPoints.emplace(p->x(), p);
}

void InnerVtxMgr::withdraw(Point2* p) {
    if (sInsertedInnerPoints.erase(p) == 0) return;
    auto range = mmXInnerPoints.equal_range(p->x());
    for (auto it = range.first; it != range.second; ++it)
        if (it->second == p) {
            mmXInnerPoints.erase(it);
            return;
        }
}

void InnerVtxMgr::clear() {
    sInsertedInnerPoints.clear();
    mmXInnerPoints.clear();
}

void InnerVtxMgr::removePreviouslyInsertedVertices(Point2* pCenter, double sqRadius, Dt2* pDt2) {
    if (sInsertedInnerPoints.empty()) return;
    // The x range only preselects (widened against the rounding of the square root); the
    // squared distance decides.
    const double d = std::sqrt(sqRadius) * (1.0 + 0x1p-50);
    std::vector<Point2*> vClose;
    for (auto it = mmXInnerPoints.lower_bound(pCenter->x() - d); it != mmXInnerPoints.end() && it->first <= pCenter->x() + d; ++it)
    {
        const double dx = it->second->x() - pCenter->x(), dy = it->second->y() - pCenter->y();
        if (dx * dx + dy * dy < sqRadius) vClose.push_back(it->second);
    }
    for (Point2* pVtx : vClose) {
        auto q_it = sInsertedInnerPoints.find(pVtx);
        LUMO_ASSERT(q_it!=sInsertedInnerPoints.end());
        withdraw(pVtx);
        if (pDt2 != nullptr && !pDt2->isConstraintVertex(pVtx)) pDt2->remove(pVtx);
    }
}

} // namespace ORBI_LUMO2D
