// InnerVtxMgr: the record of the inner vertices that mesh refinement inserted, so that a later
// segment split can take back those that came too close to it. Constraint insertion withdraws
// a vertex from the record when a constraint runs through it: such a vertex is never removed.
#pragma once
#include <unordered_set>
#include "Point2.h"

namespace ORBI_LUMO2D {

class Dt2;

class InnerVtxMgr {
public:
    void add(Point2* p) { sInnerVertices.insert(p); }
    // The vertex is no longer a candidate for removal.
    void withdraw(Point2* p) {
        if (!sInnerVertices.empty()) sInnerVertices.erase(p);
    }
    bool contains(Point2* p) const { return sInnerVertices.count(p) != 0; }
    size_t size() const { return sInnerVertices.size(); }
    // Removes the recorded vertices within squared distance sqRadius of pCenter. Vertex removal
    // is not available yet, so the recorded vertices only leave the record: they stay in the
    // triangulation (which therefore stays valid, only less sparse).
    void removePreviouslyInsertedVertices(Point2* pCenter, double sqRadius, Dt2* pDt2);

private:
    std::unordered_set<Point2*> sInnerVertices;
};

} // namespace ORBI_LUMO2D
