// Lumo 2D: the one header a host includes. It brings in the whole public API.
#pragma once
#include "Lumo2D_defs.h"
#include "LumoException.h"
#include "MsgBase.h"
#include "Point2.h"
#include "Vector2.h"
#include "Bbox2.h"
#include "Segment2.h"
#include "Edge2.h"
#include "Circle2.h"
#include "VertexPair2.h"
#include "Orientation2.h"
#include "Triangle2.h"
#include "Color.h"
#include "Label.h"
#include "Visualizer2.h"
#include "MeshExport.h"
#include "LumoFiles.h"
#include "PointFileReaders.h"
#include "LumoVersion.h"
#include "testDataGenerators.h"
#include "SegmentChecker.h"
#include "ConstraintSegment2.h"
#include "ConstraintGraph2.h"
#include "Zone2.h"
#include "PolygonHelpers.h"
#include "License.h"
#include "QMesh.h"
#include "MeshGenParams.h"
#include <cfloat>
#include <string>
#include <vector>

namespace ORBI_LUMO2D {

class Dt2;

// Lumo_2D: one Delaunay triangulation. Vertices and triangles handed out as pointers belong to
// it and stay valid until it is destroyed.
class LUMO2D_API Lumo_2D {
public:
    // numExpectedVertices only sizes the memory pools in advance.
    explicit Lumo_2D(unsigned numExpectedVertices = 3);
    ~Lumo_2D();
    Lumo_2D(const Lumo_2D&) = delete;
    Lumo_2D& operator=(const Lumo_2D&) = delete;

    // ---- insertion ------------------------------------------------------------------------
    // Inserts p; returns the vertex at p (the existing one for a duplicate). A point with a
    // NaN or infinite coordinate is refused with a warning and null is returned.
    Point2* insert(const Point2& p);
    // Bulk insertion (Hilbert-ordered internally). Non-finite points are refused with a warning.
    void insert(const std::vector<Point2>& vInputPoints);
    // As above; vHandlesOut receives one vertex per input point in input order (duplicates
    // resolved to the surviving vertex, null for a refused point).
    void insert(const std::vector<Point2>& vInputPoints, std::vector<Point2*>& vHandlesOut);
    // Bulk insertion of numPoints x,y pairs; aHandles (numPoints entries, may be null)
    // receives the vertex of each pair. A negative count or a null aCoordinates warns and
    // inserts nothing.
    void insert(int numPoints, double* aCoordinates, Point2** aHandles);

    // ---- removal ------------------------------------------------------------------------------
    // Takes vertex pVtx out; the triangulation stays Delaunay and every other handle stays
    // valid (pVtx itself becomes a dead handle). Interior and convex hull vertices are removed;
    // when the remaining vertices are all collinear the triangulation is no longer 2D and
    // keeps them as before its first triangle. Null, a constraint vertex and a vertex that is
    // not (or no longer) in this triangulation are refused with a message, nothing changed.
    void remove(Point2* pVtx);

    // ---- state ------------------------------------------------------------------------------
    // True once a triangle exists (not all points collinear or equal).
    bool is2D() const;
    // Number of vertices; duplicates are not counted.
    size_t numberOfPoints() const;
    // Number of live triangles.
    size_t numberOfTriangles() const;
    // Appends all live triangles.
    void getTrianglePointers(std::vector<Triangle2*>& vAllTriangles) const;
    // Appends all vertices.
    void getVertexPointers(std::vector<Point2*>& vAllPoints) const;
    // Exact bounding box of the vertices (invalid while empty).
    Bbox2 computeBoundingBox() const;
    // numCPU >= 1 is taken as the thread count for bulk insertion, 0 means all hardware
    // threads, a negative value means 1; more than 8 per hardware thread is kept but warned
    // about (bulk insertion starts no more threads than it has work for). Returns the count.
    int setNumCPU(int numCPU);
    // setNumCPU(0).
    void enableMultithreading();
    int getNumCPU() const;

    // ---- queries ------------------------------------------------------------------------------
    // The triangle containing q (boundary included); null when not 2D or q is outside the hull,
    // and, with a warning, when q has a NaN or infinite coordinate.
    Triangle2* locate(const Point2& q);
    // The triangle that has the directed edge p0->p1 counterclockwise; null if there is none.
    // Null or equal vertices fail an assertion; a vertex of another triangulation warns and
    // gives null.
    Triangle2* getAdjacentTriangle(Point2* p0, Point2* p1) const;
    // Appends the triangles around pVtx; a null vertex or one of another triangulation warns
    // and appends nothing.
    void getIncidentTriangles(Point2* pVtx, std::vector<Triangle2*>& vIncidentT) const;
    // Appends the convex hull vertices counterclockwise; with bAllVertices false the collinear
    // hull vertices are left out.
    void getConvexHull(bool bAllVertices, std::vector<Point2*>& vConvexHullPoints) const;
    // Independent self-test (neighbours, orientation, incidences, optionally empty circles);
    // prints what fails and returns false then.
    bool checkValidity(bool bCheckEmptyCircleProperty, const std::string& msg) const;
    // Prints the number of triangles and a histogram of the interior angles.
    void statistics(const std::string& name) const;

    // ---- constraints --------------------------------------------------------------------------
    // Forces the segments into the triangulation (their endpoints are inserted first) by the
    // strategy: CIS_CONSTRAINED_DELAUNAY makes each segment an edge, CIS_CONFORMING_DELAUNAY
    // splits it until every piece is a Delaunay edge. Crossing segments are split at their
    // exactly computed intersection. With orientedSegments the graph keeps the given directions
    // as binding. Segments with NaN/Inf or equal ends are skipped with a warning. Returns the
    // graph (owned by the triangulation), null for an empty vector.
    ConstraintGraph2* createConstraint(std::vector<Segment2>& vSegments, ConstraintInsertionStrategy cis,
                                       bool orientedSegments = false);
    // Enforces every pending constraint, e.g. those created before the triangulation was 2D.
    void applyConstraintsAndZones();
    // Writes the alive pieces of each constraint graph to prefix_c<i>_con.bin / prefix_c<i>.con.
    void writeConstraintsBIN(const std::string& prefix) const;
    void writeConstraints(const std::string& prefix) const;

    // ---- zones ------------------------------------------------------------------------------------
    // A zone of this triangulation (owned by it; see Zone2.h). Any location; the graph may be
    // null only for ZL_GLOBAL and the result locations, and must be oriented otherwise.
    // Null before the first triangle exists, or when refused (one message); with bVerbose a
    // null result also says "No zone created, returning NULL (bVerbose==true)".
    Zone2* createZone(ConstraintGraph2* pGraph, ZoneLocation zoneLoc, bool bVerbose = true);
    // ZL_INSIDE or ZL_OUTSIDE of several oriented graphs at once (e.g. an outer boundary given
    // counterclockwise and its holes given clockwise).
    Zone2* createZone(const std::vector<ConstraintGraph2*>& vGraphs, ZoneLocation zoneLoc, bool bVerbose = true);
    // ZL_GROW: the triangles reached from the one at startPoint without crossing a segment of
    // the graphs (the vector may be empty: then everything).
    Zone2* createZone(const std::vector<ConstraintGraph2*>& vGraphs, ZoneLocation zoneLoc, const Point2& startPoint,
                      bool bVerbose = true);
    Zone2* createZone(ConstraintGraph2* pGraph, ZoneLocation zoneLoc, const Point2& startPoint, bool bVerbose = true);
    // A zone of the given triangles of this triangulation (several parts, holes, parts that
    // touch at a vertex): their border becomes a new constraint graph and each edge-connected
    // part gets a start point strictly inside; the result is a ZL_GROW zone. A part too thin
    // for any such point (no point with double coordinates lies inside) is reported and left
    // out; a null, dead or foreign triangle is refused ("Unable to handle the triangle").
    Zone2* createZone(std::vector<Triangle2*>& vTriangles, bool bVerbose = true);
    // Destroys a zone of this triangulation; another pointer, or an operand of a live result
    // zone, is refused with a message.
    void deleteZone(Zone2* pZone);

    // ---- importing and cutting ------------------------------------------------------------------
    // Imports a triangle soup (three corners per triangle, e.g. the faces of an OBJ file): its
    // vertices go in and its edges become constrained segments, so that every given triangle is
    // a triangle of this triangulation. Returns a ZL_BOUNDED zone of exactly those triangles.
    // Equal triangles (any rotation or orientation) are merged; clockwise ones are turned
    // counterclockwise when bReorientIfNeeded, else refused. A size that is not a multiple of 3,
    // a NaN/Inf or collinear triangle, an edge of more than two triangles and overlapping
    // triangles (also a corner on another triangle's edge) give one message and null, with the
    // triangulation unchanged. Existing vertices or constraints inside the triangles also give
    // null, after the soup went in.
    Zone2* importTriangles(const std::vector<Point2>& vTriangleCorners, bool bReorientIfNeeded);
    // Inserts the segments as constrained, oriented segments (crossings split them) and appends
    // the triangles beside the cut: vLeftOut those having a piece a->b of a segment counterclockwise
    // (left of the segment as given), vRightOut those having it clockwise (right of it); each
    // triangle once per list, hull sides contribute none. Returns the cut's graph (null, with a
    // message, for no segments or before the first triangle).
    ConstraintGraph2* cutTriangles(const std::vector<Segment2>& vSegments, std::vector<Triangle2*>& vLeftOut,
                                   std::vector<Triangle2*>& vRightOut);

    // ---- quality mesh generation ------------------------------------------------------------------
    // Adds vertices inside the zone (ZL_INSIDE or ZL_BOUNDED) until its triangles have no angle
    // below minAngleDegree (at most 30) and no edge longer than maxEdgeLength, except where the
    // input's own small angles or constraint edges not longer than 2 * minEdgeLength prevent it.
    // Constraint edges are split where needed unless allowConstraintSplitting is false. A null
    // zone or an angle above 30 prints a warning on standard error and changes nothing.
    void refine(Zone2* pZone, double minAngleDegree = 20.0, double minEdgeLength = 0.001,
                double maxEdgeLength = DBL_MAX, bool allowConstraintSplitting = true);
    // The same with all bounds of pParams, including per-triangle bounds of a subclass.
    void refineAdvanced(MeshGenParams* pParams);

    // ---- progress -------------------------------------------------------------------------------
    // Registers pMsg (once per type) for progress reports; a null pMsg warns and is ignored.
    void subscribe(MsgType msgType, MsgBase* pMsg);
    void unsubscribe(MsgType msgType, MsgBase* pMsg);

    // ---- drawings and exports -----------------------------------------------------------------
    // Draws the triangles (and the convex hull) to a PostScript file. Before the first triangle
    // exists it reports "The triangulation is not full dimensional yet, no visualization". A
    // file that can't be opened is left unwritten without a message, as for every drawing.
    void show(const std::string& postscriptFilename) const;
    // The same drawing as show, as an SVG file (a top view that any browser shows).
    void showSvg(const std::string& svgFilename) const;
    // Adds the triangles to a caller's drawing in the given colour; the caller writes the file.
    // A null pVisualizer warns and draws nothing.
    void show(Visualizer2* pVisualizer, const Color& color) const;
    // Writes all triangles as a Wavefront OBJ file (z = 0, 1-based faces, counterclockwise).
    // Before the first triangle exists it reports the message of show(), under "Dt2::show()";
    // a file that can't be opened is left unwritten without a message.
    void writeObj(const std::string& filename) const;
    // Creates the directory path with a page, the viewer scripts and "3d.obj": a scene that a
    // browser shows in 3D when the directory is served (e.g. python3 -m http.server). Up to
    // maxDrawingTriangles triangles it adds "2d.svg", the showSvg drawing, which the page links.
    // A null path warns and writes nothing.
    void writeWebScene(const char* path) const;
    // The same for the triangles of a zone of this triangulation (null: all triangles); a zone
    // of another triangulation, or a deleted one, warns and writes nothing.
    void writeObj(const std::string& filename, Zone2* pZone) const;
    void writeWebScene(const char* path, Zone2* pZone) const;

    // ---- quadrilateral meshes ---------------------------------------------------------------
    // Replaces meshOut by the quadrilaterals and unpaired triangles made from the zone's
    // triangles (how the pairs are chosen: QMesh.h); the triangulation is not changed. A null
    // zone, a zone of another triangulation (or a deleted one) and a zone without triangles
    // give one warning, an empty meshOut and false.
    bool createQuadMesh(Zone2* pZone, QMesh& meshOut, const QuadMeshParams& params = QuadMeshParams()) const;

private:
    Dt2* pImpl;
};

} // namespace ORBI_LUMO2D
