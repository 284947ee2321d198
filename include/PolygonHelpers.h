// Polygon helpers: closed rings from loose edges, simplicity of a polygon, polylines from
// points, and the edges and borders of a set of triangles. Every geometric decision is exact.
// Results are appended to the vectors the caller passes; misuse (a NaN or infinite coordinate,
// a null or dead triangle, edges that are not one ring where one is required) prints one
// warning and appends nothing.
#pragma once
#include <vector>
#include "Edge2.h"
#include "Lumo2D_defs.h"
#include "Point2.h"
#include "Segment2.h"
#include "Triangle2.h"

namespace ORBI_LUMO2D {

// ---- rings from edges ----------------------------------------------------------------------
// How rings are formed, for both forms of edgesToPolygons: a ring never passes a vertex twice.
// At a vertex with more than two unused edges the walk takes the sharpest left turn (exact
// angular order; an edge back along the arriving one comes last), and when it comes back to a
// vertex already on its way, the loop from there is a ring. So rings that touch at a vertex,
// and holes touching their outer ring, come out as separate rings; edges oriented with a
// region on their left (the borders of triangle sets) give rings that keep it on the left.

// Chains segments given in any order and either direction (endpoints equal when their
// coordinates are) into closed rings: each ring is appended to vvPolygonsOut as a chain, every
// segment's target the next one's source and the last one's target the first one's source.
// Segments that close no ring (dangling chains, bridges between rings, a segment given twice,
// a zero-length segment) are appended to vRemainingEdgesOut as given.
LUMO2D_API void edgesToPolygons(const std::vector<Segment2>& vEdges, std::vector<std::vector<Segment2>>& vvPolygonsOut,
                                std::vector<Segment2>& vRemainingEdgesOut);
// The same for edges of one triangulation, which keep their direction (getSrc to getTrg):
// rings follow the edges' directions, vertices are the same when they are the same vertex.
// An edge without triangle warns and nothing is appended.
LUMO2D_API void edgesToPolygons(const std::vector<Edge2>& vEdges, std::vector<std::vector<Edge2>>& vvPolygonsOut,
                                std::vector<Edge2>& vRemainingEdgesOut);

// ---- one ring --------------------------------------------------------------------------------
// Orders the segments of one ring (any order, either direction) into a closed chain that starts
// with vRing[0] as given. False, with a warning and nothing appended, unless the segments form
// exactly one ring by the rule above (every vertex shared by exactly two segments, connected).
LUMO2D_API bool sortRing(const std::vector<Segment2>& vRing, std::vector<Segment2>& vChainOut);
// sortRing, then the chain reversed if needed so that it runs counterclockwise (the exact sign
// of its area). A ring without area (e.g. on one line) is refused like a broken one.
LUMO2D_API bool sortRingCCW(const std::vector<Segment2>& vRing, std::vector<Segment2>& vChainOut);
// Whether the segments form one closed ring in which no two segments meet except consecutive
// ones at their shared endpoint: no crossing, no touching, no overlap, no zero-length segment,
// at least three segments. Exact (the segment checker decides, so the licence's limit on
// checked segments applies).
LUMO2D_API bool isSimplePolygon(const std::vector<Segment2>& vRing);

// ---- polylines -------------------------------------------------------------------------------
// Appends the segments p0-p1, p1-p2, ... and, with bClose, the segment back to p0. A point equal
// to its predecessor adds no segment, nor does a closing segment of length zero; a closed
// polyline needs three distinct consecutive points (warning otherwise).
LUMO2D_API void pointsToPolyline(const std::vector<Point2>& vPoints, bool bClose, std::vector<Segment2>& vSegmentsOut);

// ---- edges of a set of triangles -------------------------------------------------------------
// The triangles are those of one triangulation, live, and taken once each if given twice. A
// null triangle or one without corners (dead) warns "Unable to handle the triangle" and
// nothing is appended.
// The border: every edge whose other side is not in the set or is the convex hull, named by the
// triangle of the set, so that the set lies on its left.
LUMO2D_API void getBorders(const std::vector<Triangle2*>& vTriangles, std::vector<Edge2>& vBorderEdgesOut);
// The same edges as closed rings (the rule of edgesToPolygons): outer borders counterclockwise,
// holes clockwise, parts that touch at a vertex in rings of their own.
LUMO2D_API void getBorders(const std::vector<Triangle2*>& vTriangles, std::vector<std::vector<Edge2>>& vvRingsOut);
// The three counterclockwise edges of every triangle: an edge between two triangles of the set
// is appended twice, once in each direction.
LUMO2D_API void getDirectedEdges(const std::vector<Triangle2*>& vTriangles, std::vector<Edge2>& vEdgesOut);
// Every edge of the triangles once, named by the first triangle in vTriangles that has it.
LUMO2D_API void getUndirectedEdges(const std::vector<Triangle2*>& vTriangles, std::vector<Edge2>& vEdgesOut);

} // namespace ORBI_LUMO2D
