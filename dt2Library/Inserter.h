// Inserter: everything the insertion hot loop touches per point, in one object: its own
// predicate object, the check stack, the hull scratch, the dead-triangle list, the random
// generator of the walk's stochastic step and a progress counter. Dt2 owns one for the serial
// path; a multithreaded inserter owns one per thread. Nothing on this path is global or static.
//
// The seams that the policies above insertion plug into:
// - Location: the typed answer of the walk.
// - FlipGuard: the legality hook, asked before any edge is flipped (constraint edges say no).
// - TopologyObserver: told of every flip and split (refinement feeds its queue from it), and
//   of every edge that a vertex on it splits (notifyEdgeSplit; the constraint manager splits
//   its segment there).
// - the topology operations of TopologyOps.h, through this object's TriangleStore.
#pragma once
#include <cstdint>
#include <vector>
#include "Edge2.h"
#include "GeomTest.h"
#include "MsgPublisher.h"
#include "Point2.h"
#include "TopologyOps.h"
#include "Triangle2.h"
#include "VertexVault.h"

namespace ORBI_LUMO2D {

// Where the walk found a point q.
struct Location {
    enum Kind {
        LOC_FACE,               // strictly inside pT
        LOC_EDGE,               // on edge idx of pT (not at a corner)
        LOC_VERTEX,             // at corner idx of pT (exact duplicate)
        LOC_OUTSIDE_HULL,       // beyond hull edge idx of pT
        LOC_LOWER_DIMENSIONAL   // no triangle exists yet (pT null)
    };
    Kind kind;
    Triangle2* pT;
    int idx;
};

// The legality hook: may the edge (pA, pB) be flipped? The constraint manager says no for the
// edges of alive constraint segments. Asked only for edges that the Delaunay rule would flip.
class FlipGuard {
public:
    virtual ~FlipGuard() = default;
    virtual bool mayFlip(const Point2* pA, const Point2* pB) const = 0;
};

// Told of every change of the triangulation's topology made by an inserter.
class TopologyObserver {
public:
    virtual ~TopologyObserver() = default;
    // Edge (pT, i) was flipped; pT and pN are the two triangles of the new diagonal.
    virtual void onFlip(Triangle2* /*pT*/, Triangle2* /*pN*/) {}
    // q split a triangle (n = 3), an edge (n = 4, or 2 on the hull) or joined n hull edges;
    // apT lists the triangles around q that the operation created or changed.
    virtual void onSplit(Point2* /*q*/, Triangle2* const* /*apT*/, size_t /*n*/) {}
    // The edge (pA, pB) is about to be split by pNew lying on it.
    virtual void onEdgeSplit(Point2* /*pA*/, Point2* /*pB*/, Point2* /*pNew*/) {}
};

class Inserter {
public:
    Inserter(SimplePool<Triangle2>* pTrianglePool, VertexVault* pVault_)
        : store(pTrianglePool), pVault(pVault_) {
        vCheckT.reserve(64);
        vCheckE.reserve(64);
    }
    Inserter(const Inserter&) = delete;
    Inserter& operator=(const Inserter&) = delete;

    // ---- configuration ---------------------------------------------------------------------
    GeomTest& getGeomTest() { return geomTest; }
    TriangleStore& getStore() { return store; }
    const TriangleStore& getStore() const { return store; }
    void setFlipGuard(const FlipGuard* pGuard_) { pGuard = pGuard_; }
    void setObserver(TopologyObserver* pObserver_) { pObserver = pObserver_; }
    TopologyObserver* getObserver() const { return pObserver; }
    bool hasHooks() const { return pGuard != nullptr || pObserver != nullptr; }
    // Progress goes to pPublisher (may be null) one step per vertex.
    void setProgress(MsgPublisher* pPublisher) { pMsgPublisher = pPublisher; }
    // Vertices processed by this inserter so far (duplicates included).
    uint64_t numProcessed() const { return numVerticesProcessed; }

    // ---- insertion -------------------------------------------------------------------------
    // Walk from pStartT (not null, assertion "pStartTriangle!=0") to q.
    Location locate(const Point2& q, Triangle2* pStartT);
    // Inserts q from pStartT: split, then Lawson flips; a duplicate is registered in the vault.
    // Returns a triangle incident to q (or to its survivor): the next walk's start.
    Triangle2* insertOneVertex(Point2* q, Triangle2* pStartT);
    // Inserts a key-sorted range middle first; returns the last triangle touched.
    Triangle2* triangulateRec(VaultEntry* pBegin, VaultEntry* pEnd, Triangle2* pStartT);

    // ---- legalisation ----------------------------------------------------------------------
    // Stacks edge (pT, i) for the next legalize(); corner i of pT is the edge's apex.
    void pushCheck(Triangle2* pT, int i) { vCheckE.push_back(Edge2(pT, i)); }
    // Lawson flips over the stacked edges until the stack is empty: edge (T, i) with neighbour
    // N is flipped when T's apex lies strictly inside N's circumcircle and the guard allows it.
    // After a flip the two edges opposite the apex are stacked, which suffices when the apex is
    // a vertex just inserted; bAllFour stacks all four outer edges of the flipped quadrilateral
    // (for repairs without one new vertex, such as after a removal).
    void legalize(bool bAllFour = false);
    // True when the guard allows flipping (pA, pB) (always without a guard).
    bool mayFlip(const Point2* pA, const Point2* pB) const { return pGuard == nullptr || pGuard->mayFlip(pA, pB); }
    // The one place where an edge is split by a vertex on it.
    void notifyEdgeSplit(Point2* pA, Point2* pB, Point2* pNew) {
        if (pObserver != nullptr) pObserver->onEdgeSplit(pA, pB, pNew);
    }

private:
    // q on the line of hull edge ici of pT: true with loc set when decided, false when the
    // walk must go on from pT (which may have stepped into a neighbour).
    bool locateOnHullLine(const Point2& q, Triangle2*& pT, int ici, Location& loc);
    Triangle2* treatDuplicate(Point2* q, Triangle2* pT);
    void insertVertexCH(Point2* q, Triangle2* pT, int hullIdx);
    void reportSplit(Point2* q, Triangle2* const* apT, size_t n) {
        if (pObserver != nullptr) pObserver->onSplit(q, apT, n);
    }
    // legalize() for the star of q just inserted (q is corner 0 of every stacked triangle):
    // the insertion's fast case of the same loop.
    void legalizeStar(Point2* q);
    // The flip loop over the star stack (apex q) or the edge stack, with or without the hooks.
    template <bool bStar, bool bHooks>
    void legalizeLoop(bool bAllFour, const Point2* q);
    int nextRandom3() {
        // xorshift32: cheap, and private to this inserter.
        rngState ^= rngState << 13;
        rngState ^= rngState >> 17;
        rngState ^= rngState << 5;
        return int(rngState % 3u);
    }

    GeomTest geomTest;
    TriangleStore store;
    VertexVault* pVault;
    std::vector<Triangle2*> vCheckT;     // the check stack of insertion (edge 0 of each)
    std::vector<Edge2> vCheckE;          // the check stack of legalize()
    std::vector<Edge2> vHullChain;       // scratch of insertVertexCH
    std::vector<Triangle2*> vHullFan;    // scratch of insertVertexCH
    const FlipGuard* pGuard{nullptr};
    TopologyObserver* pObserver{nullptr};
    MsgPublisher* pMsgPublisher{nullptr};
    uint64_t numVerticesProcessed{0};
    uint32_t rngState{2463534242u};
};

} // namespace ORBI_LUMO2D
