// Zone2: a set of triangles of one triangulation, named by how to find them (inside or outside
// of constraint graphs, grown from seed points, everything, or a set operation on two zones)
// rather than by a stored list. Every query recomputes the triangles, so a zone stays right
// while points, constraints or refinement vertices are added. Zones are created and owned by
// the triangulation (Lumo_2D::createZone and the set operations below) and live until
// Lumo_2D::deleteZone or the triangulation's destruction.
#pragma once
#include <cstdint>
#include <string>
#include <vector>
#include "Bbox2.h"
#include "Color.h"
#include "Edge2.h"
#include "Lumo2D_defs.h"
#include "Point2.h"
#include "Segment2.h"
#include "Triangle2.h"

namespace ORBI_LUMO2D {

class ConstraintGraph2;
class Dt2;
class Visualizer2;

enum ZoneLocation : int32_t {
    ZL_GLOBAL = 0,                 // every triangle
    ZL_INSIDE = 1,                 // left of the graphs' directed segments
    ZL_OUTSIDE = 2,                // right of the graphs' directed segments
    ZL_GROW = 3,                   // grown from start points up to the graphs' segments
    ZL_RESULT_UNION = 4,           // the set operations on two zones
    ZL_RESULT_INTERSECTION = 5,
    ZL_RESULT_DIFFERENCE = 6,
    ZL_RESULT_SYM_DIFFERENCE = 7,
    ZL_BOUNDED = 8                 // like ZL_INSIDE; made by Zone2::convertToBoundedZone
};

// The host's test for peelOffIf: answers true for a triangle that may be peeled off.
class LUMO2D_API UserPredicateT {
public:
    virtual ~UserPredicateT();
    virtual bool operator()(const Triangle2* pT) = 0;
};

class LUMO2D_API Zone2 {
public:
    Zone2(const Zone2&) = delete;
    Zone2& operator=(const Zone2&) = delete;

    // ---- what the zone is ----------------------------------------------------------------------
    ZoneLocation getZoneLocation() const { return zoneLoc; }
    // The bounding graphs (none for ZL_GLOBAL and the results); getConstraintGraph: the first or null.
    void getConstraintGraphs(std::vector<ConstraintGraph2*>& vGraphsOut) const;
    size_t numberOfConstraintGraphs() const { return vConstraintGraphs.size(); }
    ConstraintGraph2* getConstraintGraph() const;
    // The seed points of a ZL_GROW zone.
    const std::vector<Point2>& getStartPoints() const { return vStartPoints; }
    Dt2* getDt2() const { return pOwner; }

    // ---- its triangles (recomputed on every call) ----------------------------------------------
    // Appends the triangles, each once. Empty while the triangulation has no triangle.
    void getTriangles(std::vector<Triangle2*>& vTrianglesOut) const;
    size_t getNumberOfTriangles() const;
    // The sum of the triangle areas.
    double getArea2D() const;
    // Appends the corners of the zone's triangles, each once.
    void getVertices(std::vector<Point2*>& vVerticesOut) const;
    // Appends the edges between a zone triangle and a triangle outside the zone or the hull,
    // named by the zone triangle: source to target runs with the zone on the left.
    void getBorderEdges(std::vector<Edge2>& vBorderEdgesOut) const;
    // The same edges as getBorderEdges (the name that refinement uses).
    void getBoundaryEdges(std::vector<Edge2>& vBoundaryEdgesOut) const;
    // The border edges as segments, zone on the left.
    void getBoundarySegments(std::vector<Segment2>& vSegmentsOut) const;
    // The box of the zone's vertices (invalid for an empty zone).
    Bbox2 getBoundingBox() const;
    // Prints "ZONE STATISTICS" with the counts and the area.
    void statistics(const std::string& name) const;
    // Prints the location, the graphs, the start points and the counts.
    void debug() const;

    // ---- drawings ------------------------------------------------------------------------------
    // Draws the zone's triangles over the whole triangulation, and its border, to a PostScript file.
    void show(const std::string& postscriptFilename) const;
    // The same drawing as an SVG file.
    void showSvg(const std::string& svgFilename) const;
    // Adds the zone's triangles in the given colour and its border in a darker line.
    void show(Visualizer2* pVisualizer, const Color& color) const;

    // ---- derived zones (new zones of the same triangulation) -----------------------------------
    // A ZL_BOUNDED zone with exactly this zone's present triangles: the border edges become
    // the segments of a new constraint graph, oriented with the zone on their left. Null for
    // an empty zone.
    Zone2* convertToBoundedZone();
    // Appends one ZL_BOUNDED zone per part of this zone whose triangles are connected across
    // edges (triangles that meet only at a vertex are in different parts), the part with the
    // zone's first triangle first. Nothing for an empty zone.
    void getComponentZones(std::vector<Zone2*>& vComponentZonesOut);
    // Snaps the zone's vertices to the nearest multiples of gridSpacing and returns how many
    // moved or merged. A vertex with a neighbour in its grid cell is removed (the neighbour
    // stands for both); otherwise it moves to its grid point when that keeps every triangle
    // around it counterclockwise. Constraint and hull vertices stay, so the zone keeps its
    // region. A move is a removal and an insertion (the old handle dies, the custom index goes
    // along): the triangulation stays (constrained) Delaunay. Repeats while something changes
    // (at most 8 passes). A gridSpacing that is not positive and finite warns and does nothing.
    size_t unifyGrid(double gridSpacing);

private:
    friend class Dt2;
    Zone2(Dt2* pOwner, ZoneLocation zoneLoc);
    ~Zone2();
    void initWorkspace(bool bInside, std::vector<Triangle2*>& vSeedsOut) const;
    void getTriangles_RESULT(std::vector<Triangle2*>& vTrianglesOut) const;
    // The triangles of a zone that is not a result zone.
    void getBasicTriangles(std::vector<Triangle2*>& vTrianglesOut) const;

    Dt2* pOwner;
    ZoneLocation zoneLoc;
    std::vector<ConstraintGraph2*> vConstraintGraphs;
    std::vector<Point2> vStartPoints;
    Zone2* pInputZone0{nullptr};
    Zone2* pInputZone1{nullptr};
};

// ---- set operations on two zones of one triangulation -----------------------------------------
// Each returns a new result zone of their triangulation; it refers to both operands, which must
// outlive it (deleteZone refuses an operand of a live result). Zones of different
// triangulations or a null zone: a warning and null.
LUMO2D_API Zone2* zoneUnion(Zone2* pZone0, Zone2* pZone1);
LUMO2D_API Zone2* zoneIntersection(Zone2* pZone0, Zone2* pZone1);
// The triangles of pZone0 that are not in pZone1.
LUMO2D_API Zone2* zoneDifference(Zone2* pZone0, Zone2* pZone1);
LUMO2D_API Zone2* zoneSymmetricDifference(Zone2* pZone0, Zone2* pZone1);

// Peels the zone like an onion: a triangle on the zone's border (an edge on the border of the
// zone as it is at that moment) for which the predicate answers true is removed, which exposes
// its neighbours, and so on until no border triangle is accepted. Each triangle is asked at
// most once, in the order the border reaches it (breadth first from the original border). The
// triangles that remain become a new ZL_BOUNDED zone (convertToBoundedZone); null when every
// triangle was peeled off, or, with a warning, for a null zone or predicate. bVerbose prints the
// number of peeled triangles.
LUMO2D_API Zone2* peelOffIf(Zone2* pZone, UserPredicateT* pPredicate, bool bVerbose);

// The part of the zone inside the simple polygon (either orientation, closed implicitly; its
// vertices need not be vertices of the triangulation): the polygon is inserted as an oriented
// constrained graph, which adds vertices where it crosses constraint edges and stays in the
// triangulation, and the zone's triangles inside it become a new ZL_BOUNDED zone. Null, with one
// message, for a null or foreign zone, fewer than 3 vertices, NaN/Inf, a polygon that is not
// simple, or no overlap. A ZL_GLOBAL zone is everything, also what a polygon beyond the hull
// adds; to cut the mesh as it is, cut its convertToBoundedZone().
LUMO2D_API Zone2* createZone_cookieCutter(Zone2* pZone, const std::vector<Point2>& vPolygon);

} // namespace ORBI_LUMO2D
