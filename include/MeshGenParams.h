// MeshGenParams: the bounds of a quality mesh generation run (Lumo_2D::refineAdvanced). The
// fields are public; a host derives from it and overrides getMaxTriangleArea/getMaxEdgeLength
// to make the size bounds depend on the triangle (for example on its position).
#pragma once
#include <cstdint>
#include <set>
#include "Lumo2D_defs.h"
#include "Vector2.h"

namespace ORBI_LUMO2D {

class ConstraintSegment2;
class Triangle2;
class Zone2;

class LUMO2D_API MeshGenParams {
public:
    // ---- construction ---------------------------------------------------------------------------
    // Sets the defaults below. A zone that is neither ZL_INSIDE nor ZL_BOUNDED is reported on
    // standard error (refinement will refuse it) and leaves gridVector at (0, 0).
    explicit MeshGenParams(Zone2* pZone);
    MeshGenParams(const MeshGenParams& other);
    MeshGenParams& operator=(const MeshGenParams& other);
    virtual ~MeshGenParams();

    // ---- per-triangle bounds (called once per examined triangle) --------------------------------
    // The largest area a triangle may keep; default: maxTriangleArea.
    virtual double getMaxTriangleArea(Triangle2* pT);
    // The longest edge a triangle may keep; default: maxEdgeLength.
    virtual double getMaxEdgeLength(Triangle2* pT);

    // ---- locked constraints ---------------------------------------------------------------------
    // pCSeg is never split by refinement (created on first use).
    void addLockedConstraint(ConstraintSegment2* pCSeg);

    // ---- the fields, with their defaults ----------------------------------------------------------
    Zone2* pZone;                     // zone to refine, not owned
    double minAngleDegree;            // 20: triangles with a smaller angle are refined; at most 30
    double minEdgeLength;             // 0.001: a constraint edge is split only while longer than twice this
    double maxEdgeLength;             // DBL_MAX
    double maxTriangleArea;           // DBL_MAX
    bool allowConstraintSplitting;    // true: constraint edges may receive new vertices
    double growFactor;                // DBL_MAX (disabled): bound on the area ratio of neighbours
    double growFactorMinArea;         // 0.001: smaller triangles are never refined for growth
    double aspectLimit;               // 10: aspect bound of the zone quality report
    Vector2 gridVector;               // (1, 0): grid direction for grid meshing
    double gridLength;                // 0: grid meshing only when > 0
    // Grid meshing (gridLength > 0): before refinement proper, the zone gets the vertices of a
    // square grid and its border is split where grid lines cross it; refinement then repairs
    // the band along the border, so that the interior holds right isosceles triangles in pairs
    // (squares split by a diagonal) and every triangle meets the bounds above.
    //  - The grid: with g = gridVector, L = gridLength, |g| = std::hypot(g.x, g.y),
    //    u = (L * (g.x / |g|), L * (g.y / |g|)), v = (-u.y, u.x) and o the lower-left corner of
    //    the zone's bounding box (Zone2::getBoundingBox before the run), grid point (i, j) for
    //    integers i, j is, in doubles and in this order of operations,
    //        x = o.x + (double(i) * u.x + double(j) * v.x),  y = o.y + (double(i) * u.y + double(j) * v.y).
    //  - A grid point is inserted when it lies in the zone (decided exactly on the zone's
    //    triangles) and at least L/2 away from the zone's border, from every constraint edge
    //    and from every vertex already in it; nearer ones would leave slivers that refinement
    //    must then repair.
    //  - Each alive segment of the zone's graphs is split (insertAndSplit) where grid lines
    //    cross it, thinned from its source on so that no piece is shorter than L/2 or
    //    minEdgeLength; locked segments, and all of them without allowConstraintSplitting,
    //    stay whole.
    //  - The grid triangles keep their shape only when the bounds allow it: area L^2/2, edge
    //    L*sqrt(2), angles of 45 degrees; tighter bounds refine them further.
    //  - Refused with one message and no change: gridLength negative, NaN or infinite; a
    //    gridVector that is (0, 0), not finite or too long for |g| while gridLength > 0; a grid
    //    of more than 100000000 vertices.
    bool innerVertexFlag;             // true: earlier refinement vertices are never removed again
    int32_t debugMode;                // 1: candidates print their decisions
    std::set<ConstraintSegment2*>* lockedConstraints;   // null until addLockedConstraint
};

// The parameters of the simple Lumo_2D::refine call: the defaults, no overrides.
class LUMO2D_API MyLocalParams : public MeshGenParams {
public:
    explicit MyLocalParams(Zone2* pZone) : MeshGenParams(pZone) {}
};

} // namespace ORBI_LUMO2D
