// InnerVtxMgr: the record of the inner vertices that mesh refinement inserted, so that a later
// segment split can take back those that came too close to it. Constraint insertion withdraws
// a vertex from the record when a constraint runs through it: such a vertex is never removed.
//
// Refinement records every vertex it places (hundreds of thousands per run) and asks for the
// neighbourhood of a split vertex only now and then, so recording must be cheap: membership is
// an open-addressing hash set of the vertex pointers, and the x order, which answers the range
// queries, is kept as sorted runs of doubling size merged like a binary counter (with a short
// unsorted tail), instead of two balanced trees with one allocation per vertex each.
#pragma once
#include <cstdint>
#include <vector>
#include "Point2.h"

namespace ORBI_LUMO2D {

class Dt2;

class InnerVtxMgr {
public:
    // Records a vertex that refinement placed at a circumcenter.
    void add(Point2* p);
    // The vertex is no longer a candidate for removal.
    void withdraw(Point2* p);
    bool contains(const Point2* p) const;
    size_t size() const { return numMembers; }
    // Forgets every recorded vertex (they stay in the triangulation).
    void clear();
    // Takes the recorded vertices strictly within squared distance sqRadius of pCenter out of
    // the record and out of the triangulation, in the order of their x coordinates; one that has
    // become a constraint vertex since only leaves the record. pvLink (may be null) receives the
    // neighbours each removed vertex had, around which the triangulation changed.
    void removePreviouslyInsertedVertices(Point2* pCenter, double sqRadius, Dt2* pDt2,
                                          std::vector<Point2*>* pvLink = nullptr);

private:
    struct XEntry {
        double x;
        Point2* p;
        bool operator<(const XEntry& o) const { return x < o.x; }
    };
    size_t slotOf(const Point2* p) const;   // the slot holding p, or the empty one where it goes
    void grow();
    void flushTail();

    std::vector<Point2*> vSlots;   // the set; null is empty, size a power of two
    size_t numMembers{0};
    // Sorted runs (run i empty or about 2^i tail sizes long) and the unsorted tail. Entries of
    // withdrawn vertices stay until clear() and are skipped by queries.
    std::vector<std::vector<XEntry>> vRuns;
    std::vector<XEntry> vTail;
    std::vector<XEntry> vMergeScratch;
};

} // namespace ORBI_LUMO2D
