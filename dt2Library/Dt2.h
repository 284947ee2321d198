// Dt2: the Delaunay triangulation behind Lumo_2D. Vertices are inserted incrementally: a walk
// locates the point, the triangle (or edge) under it is split, and edge flips decided by the
// exact in-circle test restore the Delaunay property. Bulk input is ordered along a Hilbert
// curve and inserted middle first so that every walk is short.
#pragma once
#include <cstdint>
#include <mutex>
#include <string>
#include <vector>
#include "Bbox2.h"
#include "ConstraintMgr.h"
#include "Edge2.h"
#include "ExactDiffPredicates.h"
#include "GeomTest.h"
#include "HC2.h"
#include "InnerVtxMgr.h"
#include "MsgPublisher.h"
#include "Point2.h"
#include "SimplePool.h"
#include "Triangle2.h"
#include "VertexVault.h"

namespace ORBI_LUMO2D {

class Color;

class Dt2 {
public:
    explicit Dt2(unsigned numExpectedVertices);
    ~Dt2();
    Dt2(const Dt2&) = delete;
    Dt2& operator=(const Dt2&) = delete;

    // ---- insertion --------------------------------------------------------------------------
    // Returns the vertex at p (an existing one for a duplicate); null for a non-finite p.
    Point2* insert(const Point2& p);
    // Bulk insertion; pHandles (may be null) receives one vertex per input point.
    void insertVector(const std::vector<Point2>& vPoints, std::vector<Point2*>* pHandles);
    // Bulk insertion of numPoints x,y pairs; aHandles (may be null) receives the vertices.
    void insertArray(int numPoints, const double* aCoordinates, Point2** aHandles);
    bool createFullDimTriangle(size_t numPreExistingVtx);

    // ---- state ------------------------------------------------------------------------------
    bool is2D() const { return vertexVault.bFullDimensional; }
    size_t numberOfPoints() const { return vertexVault.size(); }
    size_t numberOfTriangles() const;
    void getTrianglePointers(std::vector<Triangle2*>& vAllTriangles) const;
    void getVertexPointers(std::vector<Point2*>& vAllPoints) const;
    // Triangles taken from the pool since the last call (recycled ones are not reported).
    void getFreshTriangles(std::vector<Triangle2*>& vFreshTriangles);
    // Exact box of the vertices (not the enlarged box behind the Hilbert keys).
    Bbox2 computeBoundingBox() const { return bboxVertices; }
    int setNumCPU(int numCPU_);
    int getNumCPU() const { return numCPU; }
    void subscribe(MsgType type, MsgBase* pReceiver);
    void unsubscribe(MsgType type, MsgBase* pReceiver);

    // ---- queries (Dt2_queries.cpp) ----------------------------------------------------------------
    Triangle2* locate(const Point2& q);
    Triangle2* getAdjacentTriangle(Point2* p0, Point2* p1) const;
    void getIncidentTriangles(Point2* pVtx, std::vector<Triangle2*>& vIncidentT) const;
    void getConvexHull(bool bAllVertices, std::vector<Point2*>& vConvexHullPoints) const;
    bool checkValidity(bool bCheckEmptyCircleProperty, const std::string& name) const;
    void statistics(const std::string& name) const;

    // ---- drawings and exports (Dt2_output.cpp) --------------------------------------------------
    void show(const std::string& postscriptFilename) const;
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
    GeomTest& getGeomTest() { return geomTest; }
    VertexVault& getVertexVault() { return vertexVault; }
    const SimplePool<Triangle2>& getTrianglePool() const { return poolTriangles; }
    const SimplePool<Point2>& getPointPool() const { return poolPoints; }
    // Gives a triangle back: it is cleared and reused by the next creation.
    void killTriangle(Triangle2* pT) {
        pT->clearProperties();
        vDeadTriangles.push_back(pT);
    }

    // ---- constraint seam ----------------------------------------------------------------------
    // (p0,p1) is an edge that must not be flipped: an alive constrained segment joins them.
    bool isConstraintEdge(const Point2* p0, const Point2* p1) const {
        return constraintMgr.numSegments() != 0 && constraintMgr.isFlipBarrier(p0, p1);
    }
    // The one place where the edge (pA,pB) is split by a new vertex pNew lying on it; an alive
    // constraint segment on that edge is split at pNew here.
    void notifyEdgeSplit(Point2* pA, Point2* pB, Point2* pNew) {
        if (constraintMgr.numSegments() != 0) notifyEdgeSplitSlow(pA, pB, pNew);
    }

    // ---- constraints (Dt2_constraints.cpp) ---------------------------------------------------
    // Inserts the segments' endpoints and enforces the segments; null for an empty input.
    ConstraintGraph2* createConstraint(const std::vector<Segment2>& vSegments, ConstraintInsertionStrategy cis,
                                       bool bOrientedSegments);
    // The same for edges of this triangulation.
    ConstraintGraph2* createConstraint(const std::vector<Edge2>& vEdges, ConstraintInsertionStrategy cis);
    // Enforces every alive constraint segment (those that waited for a 2D triangulation too).
    void applyConstraintsAndZones();
    ConstraintMgr& getConstraintMgr() { return constraintMgr; }
    const ConstraintMgr& getConstraintMgr() const { return constraintMgr; }
    InnerVtxMgr& getInnerVtxMgr() { return innerVtxMgr; }
    MsgPublisher* getMsgPublisher() { return pMsgPublisher; }
    // Constrained insertion of one alive segment (and the pieces it is split into).
    void newCDT_applyOneCS(ConstraintSegment2* pInitialCSeg);
    // One conforming step: splits the segment at most once.
    void insertSegmentConformingDelaunay(ConstraintSegment2* pCSeg);
    bool isEdge(Point2* p, Point2* q) const;
    // An edge whose neighbour's apex is not strictly inside its circumcircle.
    bool isDelaunayEdge(Point2* p, Point2* q);
    // Lawson flips of the edges around p that are no flip barriers.
    void restoreDelaunayAround(Point2* p);

private:
    // ---- insertion steps -------------------------------------------------------------------------
    // getXY(i, x, y, customIndex) reads input point i; prefetch(i) hints that it comes soon.
    template <class GetXY, class Prefetch>
    void insertBulk(size_t n, GetXY getXY, Prefetch prefetch, Point2** aHandles);
    Triangle2* insertOneVertex(Point2* q, Triangle2* pStartTriangle);
    // Dispatches a key-sorted range; a later multithreaded inserter takes large ranges here.
    void insertSortedRange(VaultEntry* pBegin, VaultEntry* pEnd, Triangle2* pStartT);
    Triangle2* triangulateRec(VaultEntry* pBegin, VaultEntry* pEnd, Triangle2* pStartT);
    Triangle2* triangulateCoplanarOrDuplicate(Point2* q, Triangle2* pT, int result);
    int locateOnHullLine(const Point2& q, Triangle2*& pT, int& ici);
    void initVCheckT13(Point2* q, Triangle2* pT);
    void initVCheckT24(Point2* q, Triangle2* pT, int ici);
    void insertVertexCH(Point2* q, Triangle2* pT, int hullIdx);
    // Hull edge (pT, idx) to the next / previous hull edge in counterclockwise hull order.
    static void nextHullEdge(Triangle2*& pT, int& idx);
    static void prevHullEdge(Triangle2*& pT, int& idx);
    // Lawson flips of edge 0 of the stacked triangles (q is corner 0 of each).
    void bfsFlipIncident(Point2* q);

    // ---- constraint insertion steps (Dt2_constraints.cpp) ---------------------------------------
    void notifyEdgeSplitSlow(Point2* pA, Point2* pB, Point2* pNew);
    // insert(p) with the walk starting near pNear when that is nearer than the vault's start.
    Point2* insertNear(const Point2& p, Point2* pNear);
    template <class Fn>
    void forEachTriangleAround(Point2* p, Fn fn);   // fn(pT) returns true to stop
    bool findEdge(Point2* p, Point2* q, Triangle2*& pT, int& idx);
    void flipEdge(Triangle2* pT, int idx);
    bool canBeFlipped(Triangle2* pT, int idx);
    void legalizeEdgeStack();
    void newCDT_insertOrSplit(ConstraintSegment2* pCSeg, std::vector<ConstraintSegment2*>& vStack);
    // Walks from src to trg: returns a vertex on the segment, or fills vPairIspCS with the
    // first crossing constraint, or (bRetriangulate) forces the segment in as an edge.
    Point2* newCDT_traverseCZ(ConstraintSegment2* pCSeg, std::vector<std::pair<Point2, ConstraintSegment2*>>& vPairIspCS,
                              bool bRetriangulate);
    void splitAtCrossing(ConstraintSegment2* pCSeg, const Point2& splitPoint, ConstraintSegment2* pCrossingCSeg,
                         std::vector<ConstraintSegment2*>& vStack);
    void killAndUnestablishConstraintSegment(ConstraintSegment2* pCSeg);
    bool hasRepeatedVertex(const std::vector<Point2*>& vPoly);
    void forceEdgeByFlips(Point2* pStart, Point2* pStop);
    Triangle2* treatConstraintZone(const std::vector<Point2*>& vPoly,
                                   const std::vector<std::pair<Triangle2*, int>>& vOuter, bool bLeft);

    // Orientation for the walk and the hull: GeomTest's filter (same determinant, same bound,
    // never below 2^-1000), then exact double arithmetic when the differences are exact, then
    // GeomTest's own slow stages.
    Orientation2 orient(const Point2* p0, const Point2* p1, const Point2* p2) {
        const double det = (p1->y() - p2->y()) * (p0->x() - p2->x()) - (p0->y() - p2->y()) * (p1->x() - p2->x());
        if (det > orientBound) return ORIENTATION2_CCW;
        if (det < -orientBound) return ORIENTATION2_CW;
        return orientSlow(p0, p1, p2);
    }
    Orientation2 orientSlow(const Point2* p0, const Point2* p1, const Point2* p2) {
        const int r = exact_diff::orientation(p0, p1, p2);
        if (r == exact_diff::NOT_DECIDED) return geomTest.getOrientation2(p0, p1, p2);
        return r > 0 ? ORIENTATION2_CCW : (r < 0 ? ORIENTATION2_CW : ORIENTATION2_COLLINEAR);
    }
    // Follows GeomTest's error bound (call after every change of it); the floor 2^-1000 keeps
    // determinants whose products may have underflowed out of the filter.
    void syncOrientBound() {
        orientBound = std::max(geomTest.getPositiveErrorBound(), 9.332636185032189e-302);
        if (!(orientBound < HUGE_VAL)) orientBound = HUGE_VAL;
    }

    // ---- storage helpers ----------------------------------------------------------------------
    Point2* createVertex(double x, double y, int customIndex) {
        Point2* p = new (poolPoints.alloc()) Point2(x, y);
        p->setCustomIndex(customIndex);
        return p;
    }
    Triangle2* createTriangle(Point2* p0, Point2* p1, Point2* p2) {
        Triangle2* pT;
        if (!vDeadTriangles.empty()) {
            pT = vDeadTriangles.back();
            vDeadTriangles.pop_back();
        } else {
            pT = new (poolTriangles.alloc()) Triangle2();
        }
        pT->setProperties(p0, p1, p2);
        return pT;
    }
    // Grows both boxes by the given extent; re-keys the vault when the key box must grow.
    void growBoxes(double minX, double minY, double maxX, double maxY);
    void updateGeomBound();
    static double sqDistance(const Point2& a, const Point2& b) {
        const double dx = a.x() - b.x(), dy = a.y() - b.y();
        return dx * dx + dy * dy;
    }
    static bool isFinitePoint(double x, double y) { return std::isfinite(x) && std::isfinite(y); }
    static void reportBadPoint(double x, double y);

    SimplePool<Point2> poolPoints;
    SimplePool<Triangle2> poolTriangles;
    std::vector<Triangle2*> vDeadTriangles;
    size_t numTrianglesAtLastFresh{0};
    GeomTest geomTest;
    VertexVault vertexVault;
    Bbox2 bbox;           // grows by doubling; the Hilbert keys are defined over it
    Bbox2 bboxVertices;   // exact extent of the vertices
    HC2 hc;
    std::vector<Triangle2*> vCheckT;
    Point2* pLastSingle{nullptr};   // vertex of the previous single insertion (a walk hint)
    double orientBound{9.332636185032189e-302};
    std::vector<Edge2> vHullChain;   // scratch of insertVertexCH
    int numCPU{1};
    MsgPublisher* pMsgPublisher{nullptr};
    std::mutex mtxInsert, mtxPool;
    ConstraintMgr constraintMgr{this};
    InnerVtxMgr innerVtxMgr;
    // Scratch of constraint insertion, reused across calls.
    std::vector<std::pair<Triangle2*, int>> vEdgeStack;
    std::vector<Triangle2*> vCrossedT, vNewT;
    std::vector<Point2*> vLeftPoly, vRightPoly, vSortScratch;
    std::vector<std::pair<Point2*, Point2*>> vCrossedEdges;
    std::vector<std::pair<Triangle2*, int>> vLeftOuter, vRightOuter;
    struct ZoneWorkItem {   // a sub-polygon (lo..hi) and the triangle across its base edge
        size_t lo, hi;
        Triangle2* pParent;
        int parentIdx;
    };
    std::vector<ZoneWorkItem> vZoneWork;
};

} // namespace ORBI_LUMO2D
