// ConstraintGraph2: the segments of one createConstraint call, with the direction in which the
// host gave each of them, their insertion strategy, and whether they form a closed polygon.
// Directions survive later splits (a crossing constraint divides a segment: its pieces inherit
// the host's direction). Created and owned by the triangulation.
#pragma once
#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>
#include "Color.h"
#include "ConstraintSegment2.h"

namespace ORBI_LUMO2D {

class Dt2;

class LUMO2D_API ConstraintGraph2 {
public:
    // Built by the triangulation: mPPReverse maps each vertex pair (lower address first) to
    // true when the host gave it from the higher-address vertex to the lower one.
    ConstraintGraph2(Dt2* pDt2, std::vector<ConstraintSegment2*>& vCSegments,
                     const std::map<std::pair<Point2*, Point2*>, bool>& mPPReverse,
                     ConstraintInsertionStrategy cis, bool bOriented);
    ConstraintGraph2(const ConstraintGraph2&) = delete;
    ConstraintGraph2& operator=(const ConstraintGraph2&) = delete;

    // ---- segments --------------------------------------------------------------------------
    // The segments as the host gave them (split ones are dead now).
    void getOriginalConstraintSegments(std::vector<ConstraintSegment2*>& vOut) const;
    // The alive pieces of all original segments, each original's pieces in the host's direction.
    void getChildConstraintSegments(std::vector<ConstraintSegment2*>& vOut) const;
    // The alive pieces in chain order (the host's order and directions).
    void getAliveConstraintChain(std::vector<ConstraintSegment2*>& vOut) const;
    // The children of a split segment: pChild0 touches its directed source, pChild1 its target.
    void getDirectChildren(ConstraintSegment2* pParent, ConstraintSegment2*& pChild0,
                           ConstraintSegment2*& pChild1) const;
    // True when the host's direction runs from the segment's target to its source.
    bool isReverse(ConstraintSegment2* pCSeg) const;
    // An alive segment of this graph (original or piece).
    bool isConstraint(ConstraintSegment2* pCSeg) const;
    // An alive segment of this graph joins p and q.
    bool isConstraint(Point2* p, Point2* q) const;
    ConstraintInsertionStrategy getInsertionStrategy() const { return cis; }
    // The vertices at which segments of this graph were split.
    const std::set<Point2*>& getSplitVertices() const { return splitVertices; }

    // ---- shape -----------------------------------------------------------------------------
    // The segments form one closed chain.
    bool isPolygon() const { return isPolygonFlag; }
    // Created with oriented segments (the host's directions are binding).
    bool isOriented() const { return isOrientedFlag; }
    // For a polygon: one vertex per alive piece along the chain, in the host's direction.
    void getPolygonVertices(std::vector<Point2*>& vVerticesOut) const;

    // ---- refinement and drawing ------------------------------------------------------------
    // Splits pieces at their midpoints until every piece is a Delaunay edge; pieces shorter
    // than minLen are left. True when every piece ended as a Delaunay edge.
    bool makeDelaunay(double minLen);
    // Draws the alive pieces (and the split vertices) to a PostScript file / a drawing.
    void show(const std::string& filename) const;
    void show(Visualizer2* pVis, const Color& color) const;

    // ---- kept by the segments ----------------------------------------------------------------
    // pParent was split: its pieces take its direction. bAlsoSplitVertex records the split vertex.
    void updateSplittedConstraintSegment(ConstraintSegment2* pParent, bool bAlsoSplitVertex);
    Dt2* getDt2() const { return pOwnerDt2; }

private:
    // The reversal flags by segment. Segments are one per vertex pair, numbered by their labels
    // in creation order, so the map is a byte per label over the graph's label range: a split's
    // bookkeeping touches a few bytes that stay in cache, where a tree or hash of segments
    // would miss it at every step.
    class DirectionMap {
    public:
        // The flag of the segment (1 reversed, 0 not), or end() (null) when it is no key.
        const int8_t* find(const ConstraintSegment2* pKey) const;
        const int8_t* end() const { return nullptr; }
        bool isReversed(const ConstraintSegment2* pKey) const {
            const int8_t* pFlag = find(pKey);
            return pFlag != nullptr && *pFlag == 1;
        }
        void set(const ConstraintSegment2* pKey, bool bReversed);
        size_t size() const { return numUsed; }
        bool empty() const { return numUsed == 0; }

    private:
        std::vector<int8_t> vFlags;   // -1: no key
        int firstLabel{0};
        size_t numUsed{0};
    };

    void checkAndSortPolygon();
    void setDirectionsRecursive(ConstraintSegment2* pParent);
    Point2* directedSrc(ConstraintSegment2* pCSeg) const;

    Dt2* pOwnerDt2;
    GeomTest* pGeomPredicates;
    ConstraintInsertionStrategy cis;
    std::vector<ConstraintSegment2*> vCSegParents;
    bool isPolygonFlag{false};
    DirectionMap mCSegReverse;
    std::set<Point2*> splitVertices;
    bool isOrientedFlag{false};
};

} // namespace ORBI_LUMO2D
