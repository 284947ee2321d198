// Dt2: the Delaunay triangulation behind Lumo_2D. Vertices are inserted incrementally: a walk
// locates the point, the triangle (or edge) under it is split, and edge flips decided by the
// exact in-circle test restore the Delaunay property. Bulk input is ordered along a Hilbert
// curve and inserted middle first so that every walk is short.
#pragma once
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <functional>
#include <set>
#include <string>
#include <vector>
#include <memory>
#include "Bbox2.h"
#include "Edge2.h"
#include "GeomTest.h"
#include "HC2.h"
#include "Inserter.h"
#include "InserterMT.h"
#include "MsgPublisher.h"
#include "Point2.h"
#include "SimplePool.h"
#include "Triangle2.h"
#include "VertexVault.h"

namespace ORBI_LUMO2D {

class Color;
class ConstraintGraph2;
class ConstraintMgr;
class ConstraintSegment2;
class InnerVtxMgr;
struct SoupTriangle;
class MeshGenParams;
class TriangleSet;
class Zone2;
enum ConstraintInsertionStrategy : int32_t;
enum ZoneLocation : int32_t;
// Defined with the constraints (Dt2_constraints.cpp): the layer below holds them opaquely.
struct ConstraintMgrDeleter {
    void operator()(ConstraintMgr* p) const;
};
struct InnerVtxMgrDeleter {
    void operator()(InnerVtxMgr* p) const;
};

// What the self-test found: one fault per failed test, in the order found.
struct ValidityFault {
    const char* text;   // e.g. "Sphere inclusion test failed"
    Triangle2* pT;      // the offending triangle, or null
};
struct ValidityFindings {
    std::vector<ValidityFault> vFaults;
    // The first empty-circle offender: triangle pT, its neighbour pN and pN's corner inside.
    Triangle2* pBadCircleT{nullptr};
    Triangle2* pBadCircleN{nullptr};
    Point2* pInside{nullptr};
    size_t badCircleFault{size_t(-1)};   // its index in vFaults
    bool isValid() const { return vFaults.empty(); }
};

class Dt2 {
public:
    explicit Dt2(unsigned numExpectedVertices);
    ~Dt2();
    Dt2(const Dt2&) = delete;
    Dt2& operator=(const Dt2&) = delete;

    // ---- insertion --------------------------------------------------------------------------
    // Returns the vertex at p (an existing one for a duplicate); null for a non-finite p.
    // pStartT: a triangle at or near p where the walk starts (else the vault finds one).
    Point2* insert(const Point2& p, Triangle2* pStartT = nullptr);
    // Bulk insertion; pHandles (may be null) receives one vertex per input point.
    void insertVector(const std::vector<Point2>& vPoints, std::vector<Point2*>* pHandles);
    // Bulk insertion of numPoints x,y pairs; aHandles (may be null) receives the vertices.
    void insertArray(int numPoints, const double* aCoordinates, Point2** aHandles);
    // pNewBox, when known, is the box of the vertices stored after the first numPreExistingVtx.
    bool createFullDimTriangle(size_t numPreExistingVtx, const Bbox2* pNewBox = nullptr);

    // ---- removal (Dt2_removal.cpp) ----------------------------------------------------------------
    // Takes pVtx out and restores the Delaunay property (see Lumo_2D::remove). Refusals print
    // one message and change nothing; a degree reduction that does not finish fails an assertion.
    void remove(Point2* pVtx);

    // ---- state ------------------------------------------------------------------------------
    bool is2D() const { return vertexVault.bFullDimensional; }
    size_t numberOfPoints() const { return vertexVault.size(); }
    size_t numberOfTriangles() const;
    void getTrianglePointers(std::vector<Triangle2*>& vAllTriangles) const;
    void getVertexPointers(std::vector<Point2*>& vAllPoints) const;
    // Triangles taken from the pool since the last call (recycled ones are not reported).
    void getFreshTriangles(std::vector<Triangle2*>& vFreshTriangles);
    // Exact box of the vertices (not the enlarged box behind the Hilbert keys).
    Bbox2 computeBoundingBox() const {
        if (bVertexBoxStale) recomputeVertexBox();
        return bboxVertices;
    }
    int setNumCPU(int numCPU_);
    int getNumCPU() const { return numCPU; }
    // What the last multithreaded insertion did (all zero before the first one).
    const MultithreadStats& getMultithreadStats() const { return mtStats; }
    // Where the last bulk insertion spent its time, phase by phase.
    const PhaseTimes& getBulkPhases() const { return bulkPhases; }
    // Test hook: called on a worker thread before each cell of a multithreaded insertion (round,
    // cell); an exception it throws ends the insertion as a worker failure.
    void setWorkerHook(std::function<void(int, size_t)> hook) { mtCellHook = std::move(hook); }
    void subscribe(MsgType type, MsgBase* pReceiver);
    void unsubscribe(MsgType type, MsgBase* pReceiver);

    // ---- queries (Dt2_queries.cpp) ----------------------------------------------------------------
    Triangle2* locate(const Point2& q);
    Triangle2* getAdjacentTriangle(Point2* p0, Point2* p1) const;
    void getIncidentTriangles(Point2* pVtx, std::vector<Triangle2*>& vIncidentT) const;
    void getConvexHull(bool bAllVertices, std::vector<Point2*>& vConvexHullPoints) const;
    void statistics(const std::string& name) const;

    // ---- drawings and exports (Dt2_output.cpp) --------------------------------------------------
    // The self-test: prints its findings and, on failure, draws them ("currentState.ps",
    // "checkValidityFail_<name>.ps", "badEmptyCircle.ps"); true when nothing was found.
    bool checkValidity(bool bCheckEmptyCircleProperty, const std::string& name) const;
    void show(const std::string& postscriptFilename) const;
    void showSvg(const std::string& svgFilename) const;
    void show(Visualizer2* pVis, const Color& color) const;
    // Adds the alive constraint segments to a drawing.
    void addConstraintEdges(Visualizer2* pVis, const Color& color) const;
    // pTriangles: the triangles to write (a zone's), or null for the whole triangulation.
    void writeObj(const std::string& filename, const std::vector<Triangle2*>* pTriangles) const;
    void writeWebScene(const char* path, const std::vector<Triangle2*>* pTriangles) const;

    // ---- internal steps (public for the tests and the later inserters) -------------------------
    // Walk from pT towards q. -1: q in pT (ici = -1 inside, else the edge q lies on);
    // 0..2: q beyond that hull edge of pT; 4: q coincides with a corner of pT.
    int locateConflictTriangle(const Point2& q, Triangle2*& pT, int& ici);
    // The same as a typed answer; LOC_LOWER_DIMENSIONAL while no triangle exists.
    Location locateTyped(const Point2& q);
    GeomTest& getGeomTest() { return inserter.getGeomTest(); }
    VertexVault& getVertexVault() { return vertexVault; }
    const SimplePool<Triangle2>& getTrianglePool() const { return poolTriangles; }
    const SimplePool<Point2>& getPointPool() const { return poolPoints; }
    // The serial path's inserter; topology operations on this triangulation go through its store.
    Inserter& getInserter() { return inserter; }
    // Gives a triangle back: it is cleared and reused by the next creation.
    void killTriangle(Triangle2* pT) { inserter.getStore().kill(pT); }

    // ---- seams for the layers above -----------------------------------------------------------
    // The legality hook (null: every edge may be flipped) and the observer of flips and splits.
    void setFlipGuard(const FlipGuard* pGuard) { inserter.setFlipGuard(pGuard); }
    void setObserver(TopologyObserver* pObserver) { inserter.setObserver(pObserver); }
    TopologyObserver* getObserver() const { return inserter.getObserver(); }
    // Whether (p0,p1) is an edge that must not be flipped (the guard refuses it).
    bool isConstraintEdge(const Point2* p0, const Point2* p1) const { return !inserter.mayFlip(p0, p1); }
    // Whether pVtx is an endpoint of an alive constraint segment (such a vertex cannot be
    // removed). The constraint manager answers it; without one no vertex is a constraint vertex.
    bool isConstraintVertex(const Point2* pVtx) const;

    // ---- constraints (Dt2_constraints.cpp) ---------------------------------------------------
    // Inserts the segments' endpoints and enforces the segments; null for an empty input.
    ConstraintGraph2* createConstraint(const std::vector<Segment2>& vSegments, ConstraintInsertionStrategy cis,
                                       bool bOrientedSegments);
    // The same for edges of this triangulation.
    ConstraintGraph2* createConstraint(const std::vector<Edge2>& vEdges, ConstraintInsertionStrategy cis);
    // Enforces every alive constraint segment (those that waited for a 2D triangulation too).
    void applyConstraintsAndZones();
    // The constraint manager, created with the first use; findConstraintMgr: null before.
    ConstraintMgr& getConstraintMgr();
    const ConstraintMgr* findConstraintMgr() const { return pConstraintMgr.get(); }
    InnerVtxMgr& getInnerVtxMgr();
    // The validity faults of the constraints: alive segments that are no edge.
    void findConstraintFaults(ValidityFindings& findings) const;
    MsgPublisher* getMsgPublisher() { return pMsgPublisher; }
    // Constrained insertion of one alive segment (and the pieces it is split into).
    void newCDT_applyOneCS(ConstraintSegment2* pInitialCSeg);
    // One conforming step: splits the segment at most once; false when it changed nothing
    // (already an edge, or too short to split).
    bool insertSegmentConformingDelaunay(ConstraintSegment2* pCSeg);
    bool isEdge(Point2* p, Point2* q) const;
    // A triangle pT with the edge p-q as its edge idx; false when p-q is no edge.
    bool findEdge(Point2* p, Point2* q, Triangle2*& pT, int& idx);
    // An edge whose neighbour's apex is not strictly inside its circumcircle.
    bool isDelaunayEdge(Point2* p, Point2* q);
    // The same for edge idx of pT (a hull edge is Delaunay).
    bool isDelaunayAt(Triangle2* pT, int idx);
    // Lawson flips of the edges around p that are no flip barriers.
    void restoreDelaunayAround(Point2* p);
    // Lawson flips from the edge p-q, if there is one: an edge that stopped being a constraint.
    void restoreDelaunayAcross(Point2* p, Point2* q);

    // ---- zones (Dt2_zones.cpp) ---------------------------------------------------------------------
    // Creation in the forms of Lumo_2D::createZone; null (after a message) when refused.
    Zone2* createZone(ConstraintGraph2* pGraph, ZoneLocation zoneLoc);
    Zone2* createZone(const std::vector<ConstraintGraph2*>& vGraphs, ZoneLocation zoneLoc);
    Zone2* createZone(const std::vector<ConstraintGraph2*>& vGraphs, ZoneLocation zoneLoc, const Point2& startPoint);
    Zone2* createZone(std::vector<Triangle2*>& vTriangles);
    // The ZL_BOUNDED form behind Zone2::convertToBoundedZone.
    Zone2* createBoundedZone(ConstraintGraph2* pGraph, ZoneLocation zoneLoc);
    // A ZL_BOUNDED zone whose graph is the border of the given (distinct, live) triangles,
    // oriented with them on the left; null for none.
    Zone2* createZoneFromBorder(const std::vector<Triangle2*>& vTriangles);
    // A result zone (ZL_RESULT_*) over two zones of this triangulation.
    Zone2* createResultZone(ZoneLocation zoneLoc, Zone2* pZone0, Zone2* pZone1);
    void deleteZone(Zone2* pZone);
    // Whether pZone is a live zone of this triangulation (the pointer is not read).
    bool hasZone(const Zone2* pZone) const;
    // Appends the triangles reached from the start points' triangles without crossing an alive
    // segment of the graphs, each once; a point outside the triangulation reports and adds none.
    void growZoneArea(const std::vector<ConstraintGraph2*>& vGraphs, const std::vector<Point2>& vStartPoints,
                      std::vector<Triangle2*>& vTrianglesOut);
    // Breadth-first from the seeds, not crossing alive segments of the graphs; appends each
    // reached triangle once (seeds already in sReached are skipped).
    void growFromSeeds(const std::vector<ConstraintGraph2*>& vGraphs, const std::vector<Triangle2*>& vSeeds,
                       TriangleSet& sReached, std::vector<Triangle2*>& vTrianglesOut);

    // ---- importing, cutting, grid unification (Dt2_cutting.cpp) --------------------------------
    // The forms of Lumo_2D::importTriangles, Lumo_2D::cutTriangles, createZone_cookieCutter and
    // Zone2::unifyGrid (see there); pZone must be a zone of this triangulation.
    Zone2* importTriangles(const std::vector<Point2>& vCorners, bool bReorientIfNeeded);
    ConstraintGraph2* cutTriangles(const std::vector<Segment2>& vSegments, std::vector<Triangle2*>& vLeftOut,
                                   std::vector<Triangle2*>& vRightOut);
    Zone2* cookieCutter(Zone2* pZone, const std::vector<Point2>& vPolygon);
    size_t unifyGrid(Zone2* pZone, double gridSpacing);
    // ---- quality mesh generation (Dt2_meshing.cpp) ----------------------------------------------
    // The refinement driver behind Lumo_2D::refine and refineAdvanced; refusals print one error
    // and change nothing.
    void refineMain3(MeshGenParams* pParams);
    // Conforming pieces that a refinement run held in place and left no longer Delaunay are
    // flipped away and split again; true when there were any and the repair finished (then the
    // new triangles are worth another run).
    bool reconformHeldPieces();
    // Diagnostic of a refined zone: the number of triangles, the worst angle, triangles whose
    // aspect exceeds aspectLimit ("HHH: Bad Aspect") and growth violations. Changes nothing.
    void checkZoneQuality(MeshGenParams* pParams);

    // ---- validity (pure; Dt2_queries.cpp) -------------------------------------------------------
    // Every fault of the data structure, in the order found. bCheckEmptyCircleProperty adds the
    // in-circle test across every edge that is not a constraint edge.
    ValidityFindings findValidityFaults(bool bCheckEmptyCircleProperty) const;

private:
    // ---- insertion steps (Dt2_insertion.cpp) ------------------------------------------------------
    // getXY(i, x, y, customIndex) reads input point i; prefetch(i) hints that it comes soon.
    template <class GetXY, class Prefetch>
    void insertBulk(size_t n, GetXY getXY, Prefetch prefetch, Point2** aHandles);
    // Dispatches a key-sorted range (large ones to the multithreaded inserter); pRangeBox, when
    // known, is the box of its points.
    void insertSortedRange(VaultEntry* pBegin, VaultEntry* pEnd, Triangle2* pStartT, const Bbox2* pRangeBox = nullptr);
    // The fake box of a multithreaded bulk insertion: created around the vertex box (the
    // predicates widened to cover it), taken out of the triangulation by vertex removal.
    void installFakeBox();
    void removeFakeBox();
    // While no triangle exists: the vertex stored at p's coordinates, or null.
    Point2* findLowerDimVertex(const Point2& p) const;
    // While no triangle exists, whether p is on the line of the stored vertices (O(1)).
    bool staysLowerDimensional(const Point2* p);

    // ---- constraint insertion steps (Dt2_constraints.cpp) ---------------------------------------
    // insert(p) with the walk starting near pNear when that is nearer than the vault's start.
    Point2* insertNear(const Point2& p, Point2* pNear);
    // At the end of an insertion call of numInserted points: conforming pieces that its flips
    // removed are split again.
    void reconformFlippedPieces(size_t numInserted);
    Orientation2 orient(const Point2* p0, const Point2* p1, const Point2* p2) {
        return inserter.getGeomTest().getOrientation2(p0, p1, p2);
    }
    bool canBeFlipped(Triangle2* pT, int idx);
    void newCDT_insertOrSplit(ConstraintSegment2* pCSeg, std::vector<ConstraintSegment2*>& vStack);
    // Walks from src to trg: returns a vertex on the segment, or fills vPairIspCS with the
    // first crossing constraint, or (bRetriangulate) forces the segment in as an edge.
    Point2* newCDT_traverseCZ(ConstraintSegment2* pCSeg, std::vector<std::pair<Point2, ConstraintSegment2*>>& vPairIspCS,
                              bool bRetriangulate);
    void splitAtCrossing(ConstraintSegment2* pCSeg, const Point2& splitPoint, ConstraintSegment2* pCrossingCSeg,
                         std::vector<ConstraintSegment2*>& vStack);
    void killAndUnestablishConstraintSegment(ConstraintSegment2* pCSeg);
    // p lies in the closure of one of the two triangles at edge idx of pT, on no corner.
    bool isBesideEdge(const Point2& p, Triangle2* pT, int idx);
    bool hasRepeatedVertex(const std::vector<Point2*>& vPoly);
    Triangle2* pCrossingT{nullptr};   // the channel triangle at the crossing the walk found
    void forceEdgeByFlips(Point2* pStart, Point2* pStop);
    Triangle2* treatConstraintZone(const std::vector<Point2*>& vPoly,
                                   const std::vector<std::pair<Triangle2*, int>>& vOuter, bool bLeft);

    // Inserts the soup's points and its edges as constraints; false (with the input index of
    // the first triangle that is no face) when a triangle did not survive as a face.
    bool buildSoup(const std::vector<Point2>& vPoints, const std::vector<SoupTriangle>& vTris,
                   std::vector<Triangle2*>& vTrianglesOut, size_t& badInput);

    // ---- storage helpers ----------------------------------------------------------------------
    Point2* createVertex(double x, double y, int customIndex) {
        Point2* p = new (poolPoints.alloc()) Point2(x, y);
        p->setCustomIndex(customIndex);
        return p;
    }
    // Grows both boxes by the given extent; re-keys the vault when the key box must grow.
    void growBoxes(double minX, double minY, double maxX, double maxY);
    void updateGeomBound();
    // For start hints only: below about 1e-154 the squares underflow.
    static double sqDistance(const Point2& a, const Point2& b) {
        const double dx = a.x() - b.x(), dy = a.y() - b.y();
        return dx * dx + dy * dy;
    }
    static double distance(const Point2& a, const Point2& b) { return std::hypot(a.x() - b.x(), a.y() - b.y()); }
    // Whether w, on the line through p and q, lies strictly between them: exact, no arithmetic.
    static bool isBetweenOnLine(const Point2& p, const Point2& q, const Point2& w) {
        return w != p && w != q && std::min(p.x(), q.x()) <= w.x() && w.x() <= std::max(p.x(), q.x()) &&
               std::min(p.y(), q.y()) <= w.y() && w.y() <= std::max(p.y(), q.y());
    }
    static bool isFinitePoint(double x, double y) { return std::isfinite(x) && std::isfinite(y); }

    // ---- removal steps (Dt2_removal.cpp) -------------------------------------------------------
    // The vault index of pVtx if it is a vertex of this triangulation, else size_t(-1).
    size_t findOwnVertex(const Point2* pVtx) const;
    // Degree reduction of an interior vertex to 3 and the merge; stacks the new edges.
    void removeInteriorVertex(Point2* pVtx);
    // Hull vertex: fills the pocket behind it with flips and drops its remaining triangles;
    // false when nothing else is left (the rest is collinear).
    bool removeHullVertex(Point2* pVtx);
    // Flips edge (pT, i) (an edge leaving the vertex being removed) when the quadrilateral
    // allows it: the ear (pT's corner i and the link vertices beside it) strictly
    // counterclockwise and the rest not clockwise (counterclockwise only when bStrict).
    // On success the ear's edges are stacked and the triangle that keeps the vertex returned.
    Triangle2* tryRemovalFlip(Triangle2* pT, int i, bool bStrict);
    // Back before the first triangle: every triangle dies, the vertices stay stored.
    void dropToLowerDimensional();
    // The umbrella of pVtx in counterclockwise order; false when it is open (a hull vertex),
    // then it starts with the triangle whose clockwise edge is on the hull.
    bool collectUmbrella(Point2* pVtx, std::vector<Triangle2*>& vUmbrellaT) const;
    void recomputeVertexBox() const;
    static void reportBadPoint(double x, double y);

    struct LexLess {
        bool operator()(const Point2* a, const Point2* b) const { return *a < *b; }
    };

    SimplePool<Point2> poolPoints;
    SimplePool<Triangle2> poolTriangles;
    VertexVault vertexVault;
    Inserter inserter;
    size_t numTrianglesAtLastFresh{0};
    Bbox2 bbox;           // grows by doubling; the Hilbert keys are defined over it
    // Exact extent of the vertices; after a removal on its border it is recomputed when asked
    // for (until then it is a superset, which is all the predicate bounds need).
    mutable Bbox2 bboxVertices;
    mutable bool bVertexBoxStale{false};
    HC2 hc;
    Point2* pLastSingle{nullptr};   // vertex of the previous single insertion (a walk hint)
    std::vector<Triangle2*> vRemovalScratch;   // the umbrella of the vertex being removed
    // Before the first triangle: the stored vertices by position, and two distinct ones of them
    // (all stored vertices lie on their line).
    std::set<Point2*, LexLess> sLowerDimVertices;
    Point2* pLineA{nullptr};
    Point2* pLineB{nullptr};
    int numCPU{1};
    double fakeBoxDifferenceBound{0.0};   // the predicates' difference bound while the box is in
    MultithreadStats mtStats;
    PhaseTimes bulkPhases;
    std::function<void(int, size_t)> mtCellHook;
    MsgPublisher* pMsgPublisher{nullptr};
    std::unique_ptr<ConstraintMgr, ConstraintMgrDeleter> pConstraintMgr;
    std::unique_ptr<InnerVtxMgr, InnerVtxMgrDeleter> pInnerVtxMgr;
    // Scratch of constraint insertion, reused across calls.
    std::vector<Triangle2*> vCrossedT;
    std::vector<Point2*> vLeftPoly, vRightPoly, vSortScratch;
    std::vector<std::pair<Triangle2*, int>> vLeftOuter, vRightOuter;
    std::vector<std::pair<Point2*, Point2*>> vCrossedEdges;
    std::vector<std::pair<Point2, ConstraintSegment2*>> vCrossingScratch;
    struct ZoneWorkItem {   // a sub-polygon (lo..hi) and the triangle across its base edge
        size_t lo, hi;
        Triangle2* pParent;
        int parentIdx;
    };
    std::vector<ZoneWorkItem> vZoneWork;
    // The zones, owned; released by destroyZones() (Dt2_zones.cpp) with the triangulation.
    std::vector<Zone2*> vZones;
    void destroyZones();
};

} // namespace ORBI_LUMO2D
