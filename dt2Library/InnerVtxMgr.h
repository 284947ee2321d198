// InnerVtxMgr: the record of the inner vertices that mesh refinement inserted, so that a later
// segment split can take back those that came too close to it. Constraint insertion withdraws
// a vertex from the record when a constraint runs through it: such a vertex is never removed.
#pragma once
#include <map>
#include <set>
#include "Point2.h"

namespace ORBI_LUMO2D {

class Dt2;

class InnerVtxMgr {
public:
    // Records a vertex that refinement placed at a circumcenter.
    void add(Point2* p);
    // The vertex is no longer a candidate for removal.
    void withdraw(Point2* p);
    bool contains(Point2* p) const { return sInsertedInnerPoints.count(p) != 0; }
    size_t size() const { return sInsertedInnerPoints.size(); }
    // Forgets every recorded vertex (they stay in the triangulation).
    void clear();
    // Takes the recorded vertices strictly within squared distance sqRadius of pCenter out of
    // the record and out of the triangulation; one that has become a constraint vertex since
    // only leaves the record.
    void removePreviouslyInsertedVertices(Point2* pCenter, double sqRadius, Dt2* pDt2);

private:
    // Kept in step: the set answers membership, the x-keyed multimap range queries.
    std::set<Point2*> sInsertedInnerPoints;
    std::multimap<double, Point2*> mmXInnerPoints;
};

} // namespace ORBI_LUMO2D
