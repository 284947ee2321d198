// ConstraintSegment2: one constraint edge between two vertices of a triangulation, and the
// insertion strategy that enforces it. Segments are never deleted: a segment divided at a
// vertex stays as a dead record with exactly two children, so every live segment is a leaf of
// a split tree whose root is the segment the host asked for. The triangulation owns them all.
#pragma once
#include <cstdint>
#include <iosfwd>
#include <set>
#include <vector>
#include "Point2.h"

namespace ORBI_LUMO2D {

class ConstraintGraph2;

enum ConstraintInsertionStrategy : int32_t {
    // Split at inserted vertices until every piece is an edge of the Delaunay triangulation.
    CIS_CONFORMING_DELAUNAY = 0,
    // Forced in as one edge; edges that are live segments are never flipped.
    CIS_CONSTRAINED_DELAUNAY = 1
};

class LUMO2D_API ConstraintSegment2 {
public:
    // p0 must have the lower address (assertion "p0<p1"); takes the next process-wide label.
    ConstraintSegment2(Point2* p0, Point2* p1, ConstraintInsertionStrategy cis);
    ~ConstraintSegment2();
    ConstraintSegment2(const ConstraintSegment2&) = delete;
    ConstraintSegment2& operator=(const ConstraintSegment2&) = delete;

    // ---- the record ----------------------------------------------------------------------
    // Endpoints in address order (the host's direction is kept by the owning graphs).
    Point2* getSrc() const { return src; }
    Point2* getTrg() const { return trg; }
    ConstraintInsertionStrategy getCIS() const { return cis; }
    int getLabel() const { return label; }
    // Alive: not withdrawn and not split.
    bool isAlive() const { return bAlive && vChildren.empty(); }
    // Split into two children (dead for good).
    bool isSplit() const { return vChildren.size() == 2; }
    // Withdraws the segment (its edge stops being a constraint edge).
    void setDead() { bAlive = false; }
    size_t getNumberOfOwners() const { return sOwners.size(); }
    // The graphs that own this segment or an ancestor, ordered by address.
    const std::set<ConstraintGraph2*>& getOwners() const { return *sOwners.pSet; }
    double getAdjacentArea() const { return adjacentArea; }
    void setAdjacentArea(double area) { adjacentArea = area; }
    // By source address, then target address.
    bool operator<(const ConstraintSegment2& other) const;

    // ---- the split tree ------------------------------------------------------------------
    // Adds an owner to this segment and its whole subtree.
    void addOwnerRecursive(ConstraintGraph2* pOwner);
    // The two children and the split vertex of a dead segment; an alive one only warns.
    void getChildrenAndSplitPoint(ConstraintSegment2*& pKid0, ConstraintSegment2*& pKid1, Point2*& pSplit) const;
    // Appends the alive leaves below a split segment, first child's subtree first.
    void getChildrenRec(std::vector<ConstraintSegment2*>& vLeavesOut) const;

    // ---- splitting -----------------------------------------------------------------------
    // Splits at a vertex that already lies on the segment; the triangulation is not touched.
    bool split_combinatorialOnly(Point2* pSplit);
    // Inserts p into the triangulation, splits there and enforces both pieces. Null when p
    // falls onto an endpoint (the segment then stays alive and unsplit).
    Point2* insertAndSplit(const Point2& p);
    // insertAndSplit, then removes the refinement vertices inserted earlier near the split.
    bool splitAndRemovePrev(const Point2& p);

    // Used by the triangulation while it revives a segment it had withdrawn.
    void setAliveFlag(bool b) { bAlive = b; }
    // The owner set that no segment has yet.
    static const std::set<ConstraintGraph2*>& noOwners();

private:
    friend LUMO2D_API std::ostream& operator<<(std::ostream& os, const ConstraintSegment2& cs);
    void makeChildren(Point2* pSplit);

    // The owner set is shared: all pieces of a graph's segments have the same owners, so the
    // triangulation keeps one copy of each distinct set and the segments point to it.
    struct Owners {
        const std::set<ConstraintGraph2*>* pSet;
        bool empty() const { return pSet->empty(); }
        size_t size() const { return pSet->size(); }
        std::set<ConstraintGraph2*>::const_iterator begin() const { return pSet->begin(); }
        std::set<ConstraintGraph2*>::const_iterator end() const { return pSet->end(); }
    };
    // No children or exactly two, kept in place (a segment record is one cache line).
    struct Children {
        ConstraintSegment2* a[2];
        bool empty() const { return a[1] == nullptr; }
        size_t size() const { return a[1] == nullptr ? 0 : 2; }
        ConstraintSegment2* operator[](size_t i) const { return a[i]; }
    };

    int label;
    Owners sOwners;
    Point2* src;
    Point2* trg;
    ConstraintInsertionStrategy cis;
    bool bAlive;
    Children vChildren;
    double adjacentArea;
};

// "ConstraintSegment2 label <l>, <address>: (<src>,<trg>) [alive]" or " [DEAD, numChildren=2]",
// then both endpoints and "length=<length>".
LUMO2D_API std::ostream& operator<<(std::ostream& os, const ConstraintSegment2& cs);

// Orders segment pointers as their segments (used as the graphs' map order).
struct LUMO2D_API CompareConstraintSegment2 {
    bool operator()(const ConstraintSegment2* a, const ConstraintSegment2* b) const { return *a < *b; }
};

} // namespace ORBI_LUMO2D
