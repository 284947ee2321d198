// InnerVtxMgr: the record of the inner vertices that mesh refinement inserted, so that a later
// segment split can take back those that came too close to it. Constraint insertion withdraws
// a vertex from the record when a constraint runs through it: such a vertex is never removed.
//
// Refinement records every vertex it places (hundreds of thousands per run) and asks for the
// neighbourhood of a split vertex only now and then, so recording must be cheap: one append.
// The x order, which answers the range queries and membership, is kept as cells of about sixteen
// entries, between borders drawn at quantiles of a sample of the entries' x and redrawn whenever
// their number has doubled. The map from x to cell is monotone, so a range of x is a range of
// cells; quantiles rather than equal widths, so that zones far apart or vertices spread over many
// orders of magnitude do not crowd into a few cells. A query sorts what it finds. Taking a vertex
// out leaves its entry and puts it into a small hash set of withdrawn vertices; an entry counts
// only while its vertex still has the entry's x (a pooled record may carry a new vertex later).
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
    // Open addressing over pointers; null is empty, the size a power of two.
    class PointerSet {
    public:
        bool contains(const Point2* p) const { return !vSlots.empty() && vSlots[slotOf(p)] == p; }
        void insert(Point2* p);
        bool erase(const Point2* p);
        void clear() { vSlots.clear(), num = 0; }
    private:
        size_t slotOf(const Point2* p) const;   // the slot holding p, or the empty one where it goes
        size_t home(const Point2* p) const;
        std::vector<Point2*> vSlots;
        size_t num{0};
    };
    bool hasEntry(const Point2* p) const;
    // The number of borders at or below x. Slots of equal width narrow the search to the borders
    // in x's slot (vSlotStart), which halving steps without branches then count.
    size_t slotOf(double x) const {
        const double t = (0.5 * x - halfX0) * slotScale;   // halves: no overflow on any finite range
        if (!(t > 0.0)) return 0;
        return t < double(vSlotStart.size() - 2) ? size_t(t) : vSlotStart.size() - 2;
    }
    size_t cellOf(double x) const {
        if (vBorders.empty()) return 0;
        const size_t k = slotOf(x);
        const double* pBase = vBorders.data() + vSlotStart[k];
        size_t n = vSlotStart[k + 1] - vSlotStart[k];
        while (n > 1) {
            const size_t half = n / 2;
            pBase = pBase[half] <= x ? pBase + half : pBase;
            n -= half;
        }
        return size_t(pBase - vBorders.data()) + (n == 1 && *pBase <= x ? 1 : 0);
    }
    // Redraws the cells from a sample of every eighth entry.
    void redrawCells();

    size_t numMembers{0};
    size_t numEntries{0};   // withdrawn and stale ones included
    size_t redrawAt{0};
    PointerSet sWithdrawn;
    std::vector<double> vBorders;   // ascending; cell c: x from vBorders[c - 1] to below vBorders[c]
    std::vector<uint32_t> vSlotStart;   // the first border of each slot, and the number of borders
    double halfX0{0.0}, slotScale{0.0};
    std::vector<std::vector<XEntry>> vCells;
};

} // namespace ORBI_LUMO2D
