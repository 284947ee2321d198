// RefCand3: one triangle examined by mesh refinement. It remembers the triangle's corners (it
// stays alive while the triangle still has them), its measures, and where the walk from the
// triangle towards its circumcenter ended. The queue keeps only the triangle, its corners and the
// angle; the walk is made when the candidate is taken out, and only if it is still alive.
#pragma once
#include <cstdint>
#include <set>
#include "Point2.h"
#include "Triangle2.h"

namespace ORBI_LUMO2D {

class ConstraintSegment2;
class Dt2;
class MeshGenParams;

// The smallest interior angle of triangle (a, b, c) in degrees, from unit edge vectors and
// the arc cosine of their clamped dot products; minIdx receives the corner where it is.
double smallestAngleDegree(const Point2* a, const Point2* b, const Point2* c, int& minIdx);

// Whether refinement may split the constraint edge p1-p2: splitting is allowed, the edge is no
// locked piece (pLocked may be null) and it is at least twice params.minEdgeLength long.
bool mayRefinementSplit(Dt2* pDt2, const Point2* p1, const Point2* p2, const MeshGenParams& params,
                        const std::set<ConstraintSegment2*>* pLocked, bool bDebug);

class RefCand3 {
public:
    // Where the walk towards the circumcenter ended: reached, blocked by a constraint edge of
    // pLocT (index 0..2), or no usable location.
    static const int LOC_REACHED = -1;
    static const int LOC_NONE = 4;

    // Takes the triangle's corners and measures and asks params for its size bounds (the
    // only call of the virtual getters for this triangle). True when the triangle is bad by
    // size, growth or angle, i.e. when it is worth queueing. cosMinAngle: the cosine of the
    // angle bound.
    // A triangle bad by size gets its angle later (hasAngle() false): most of them are gone
    // before the queue needs it.
    bool init(Dt2* pDt2, Triangle2* pT, MeshGenParams& params, double cosMinAngle);
    bool hasAngle() const { return bHasAngle; }
    // The cosine of the smallest angle from the squared edge lengths, or NaN where those may
    // have lost their relative precision (tiny, huge or degenerate triangles).
    double getCosSmallest() const { return cosSmallest; }
    // The candidate again from what init() found, kept by the queue in the meantime; the
    // triangle must still have these corners.
    void restore(Dt2* pDt2, Triangle2* pT, double minAngle, int minIdx, bool bSizeBad);
    bool isAlive() const {
        return pT->getCorner(0) == aCorners[0] && pT->getCorner(1) == aCorners[1] && pT->getCorner(2) == aCorners[2];
    }
    Triangle2* getTriangle() const { return pT; }
    double getMinAngle() const { return minAngle; }
    int getMinIdx() const { return minIdx; }
    bool isSizeBad() const { return bSizeBad; }
    Point2* getCorner(int i) const { return aCorners[i]; }
    // The walk from the triangle towards its circumcenter; stops at the first constraint edge
    // crossed (or the one the circumcenter lies on) and at the convex hull.
    void computeLocation();
    // In this order: the blocking edge may be split, the location is safe, the triangle is
    // not at the precision limit, size, small input angle, angle. Needs computeLocation() first.
    // pLocked: the alive pieces of the locked constraint segments (may be null).
    bool needRefinement(MeshGenParams& params, const std::set<ConstraintSegment2*>* pLocked);
    // False (with a message) when the circumcenter blocks at an edge of the triangle itself
    // that is not its longest one: only rounding puts it there.
    bool isSafe();
    const Point2& getCircumcenter() const { return circumcenter; }
    Triangle2* getLocTriangle() const { return pLocT; }
    int getLocIndex() const { return locIdx; }
    double getSqLongestEdge() const { return sqLongest; }
    bool isDebug() const { return bDebug; }
    // The shortest edge spans fewer than 64 units in the last place of the corners'
    // coordinates (a rounded circumcenter would make triangles as small and as bad again), or
    // its squared length is below the smallest normal double.
    bool isAtPrecisionLimit() const;

private:
    // The corners, the longest edge and no location yet.
    void takeCorners(Dt2* pDt2, Triangle2* pT);
    bool needRefinementDueToGrowth(MeshGenParams& params) const;
    // Whether the smallest angle sits between two constraint edges: the input fixes it.
    bool isSmallInputAngle() const;

    Dt2* pDt2{nullptr};
    Triangle2* pT{nullptr};
    Point2* aCorners[3]{nullptr, nullptr, nullptr};
    Point2 circumcenter;
    Triangle2* pLocT{nullptr};
    int locIdx{LOC_NONE};
    double aSqLen[3]{0.0, 0.0, 0.0};   // squared length of the edge opposite each corner
    double sqLongest{0.0};
    double area{0.0};
    double minAngle{0.0};
    int8_t maxIdx{0};   // the edge opposite the largest angle (the longest edge)
    int8_t minIdx{0};   // the corner of the smallest angle
    double cosSmallest{0.0};
    bool bSizeBad{false};
    bool bHasAngle{false};
    bool bDebug{false};
};

} // namespace ORBI_LUMO2D
