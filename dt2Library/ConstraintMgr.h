// ConstraintMgr: owns every constraint segment and graph of one triangulation. It answers the
// question that flips and channel walks ask all the time, "is (p, q) an alive constraint?", from
// an open-address hash of vertex pairs: one probe in the common case, no allocation. A bit per
// vertex hash (set for every segment endpoint, never cleared) answers most "no"s before that
// probe, and a bit per pair hash most of the rest: the bits stay in cache, the pair table of a
// large constraint set does not.
#pragma once
#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>
#include "ConstraintGraph2.h"
#include "ConstraintSegment2.h"
#include "Inserter.h"
#include "Segment2.h"
#include "SimplePool.h"

namespace ORBI_LUMO2D {

class Dt2;

// The triangulation's flip guard (edges of alive constrained segments are never flipped) and
// its topology observer (a vertex landing on an alive segment's edge splits the segment), both
// installed with the first segment: a triangulation without constraints pays nothing.
class ConstraintMgr : public FlipGuard, public TopologyObserver {
public:
    explicit ConstraintMgr(Dt2* pDt2);
    bool mayFlip(const Point2* pA, const Point2* pB) const override { return !isFlipBarrier(pA, pB); }
    void onEdgeSplit(Point2* pA, Point2* pB, Point2* pNew) override;
    // Conforming pieces are ordinary edges: a flip may remove one. It is noted here and split
    // again when the host's insertion call of numInserted points ends (reconformFlipped), so the
    // triangulation stays fully Delaunay with every piece an edge.
    void onFlip(Triangle2* pT, Triangle2* pN) override;
    // maxSteps caps the repair's budget (for the repair after a refinement run). False when the
    // budget ran out and pieces were left unrepaired (with the warning).
    bool reconformFlipped(size_t numInserted, size_t maxSteps = SIZE_MAX);
    ~ConstraintMgr();
    ConstraintMgr(const ConstraintMgr&) = delete;
    ConstraintMgr& operator=(const ConstraintMgr&) = delete;

    // ---- segments --------------------------------------------------------------------------
    // The segment of the unordered pair {p0, p1}, created with cis if there is none yet.
    ConstraintSegment2* addConstraintSegment(Point2* p0, Point2* p1, ConstraintInsertionStrategy cis);
    // The segment of {p, q} in any state, or null.
    ConstraintSegment2* getConstraintSegment(const Point2* p, const Point2* q) const {
        if (numUsed == 0 || !mayBeEndpoint(p) || !mayBeEndpoint(q)) return nullptr;
        if (std::less<const Point2*>()(q, p)) std::swap(p, q);
        const uint64_t h = pairHash(p, q);
        if (!testBit(vPairBits, size_t(h >> pairShift))) return nullptr;
        size_t i = size_t(h) & mask;
        for (;;) {
            const Slot& s = vSlots[i];
            if (s.pSeg == nullptr) return nullptr;
            if (s.p0 == p && s.pSeg->getTrg() == q) return s.pSeg;
            i = (i + 1) & mask;
        }
    }
    // False: no segment ends at p. True: one may (a cheap test before isConstraint).
    bool mayBeEndpoint(const Point2* p) const {
        if (numUsed == 0) return false;
        return testBit(vEndpointBits, endpointBit(p));
    }
    // An alive segment joins p and q.
    bool isConstraint(const Point2* p, const Point2* q) const {
        const ConstraintSegment2* pSeg = getConstraintSegment(p, q);
        return pSeg != nullptr && pSeg->isAlive();
    }
    // An alive constrained segment joins p and q (or, while conforming pieces are held, any
    // alive segment): an edge that must not be flipped.
    bool isFlipBarrier(const Point2* p, const Point2* q) const {
        const ConstraintSegment2* pSeg = getConstraintSegment(p, q);
        return pSeg != nullptr && pSeg->isAlive() && (bHoldConforming || pSeg->getCIS() == CIS_CONSTRAINED_DELAUNAY);
    }
    // Refinement holds conforming pieces like constrained ones: a zone bounded by them must not
    // lose its border to a flip while vertices go in beside it (the repair would split the piece
    // again, the next vertex flip it again, without end).
    void holdConforming(bool bHold) { bHoldConforming = bHold; }
    bool hasConforming() const { return numConforming != 0; }
    size_t numSegments() const { return numUsed; }
    // Asks for the table line where the segment {p, q} would go: a caller about to create
    // several segments starts their cache misses together instead of one after another.
    void prefetchSlot(const Point2* p, const Point2* q) const {
        if (vSlots.empty()) return;
        if (std::less<const Point2*>()(q, p)) std::swap(p, q);
#if defined(__GNUC__)
        __builtin_prefetch(&vSlots[slotOf(p, q)], 1);
#endif
    }
    // The shared owner set pBase plus pOwner (segments point to one copy of each distinct set).
    const std::set<ConstraintGraph2*>* ownersWith(const std::set<ConstraintGraph2*>* pBase, ConstraintGraph2* pOwner);
    // All segments in map order (source address, then target address).
    void getSegmentsInMapOrder(std::vector<ConstraintSegment2*>& vOut) const;

    // ---- graphs and their application -----------------------------------------------------
    // Inserts the endpoints, builds one segment per vertex pair and the graph, applies them.
    // Non-finite and degenerate segments are skipped with a warning.
    ConstraintGraph2* createConstraint(const std::vector<Segment2>& vSegments, ConstraintInsertionStrategy cis,
                                       bool bOriented);
    // The same for vertex pairs of the triangulation, in the host's direction.
    ConstraintGraph2* createConstraint(const std::vector<std::pair<Point2*, Point2*>>& vPairs,
                                       ConstraintInsertionStrategy cis, bool bOriented);
    const std::vector<ConstraintGraph2*>& getGraphs() const { return vGraphs; }
    // Enforces one segment by its strategy (its alive pieces when it is split); waits while
    // the triangulation has no triangle.
    void applyOne(ConstraintSegment2* pCSeg);
    // Enforces every alive segment, in passes (at most 499).
    void apply();
    // The conforming split point of the piece (p, q), and the vertex pCentre it is measured
    // from. Pieces of segments that leave one vertex at a small angle are split at the same
    // distances from it (the coarsest dyadic radius in the middle half of the piece, powers of
    // two next to the vertex): their split vertices then pair up and stop encroaching on each
    // other, where midpoints would keep splitting them in turn. The centre is a segment end
    // shared by several segments, or a crossing; pieces inherit it from their split vertices.
    Point2 conformingSplitPoint(const Point2* p, const Point2* q, const Point2*& pCentre) const;
    void noteConformingSplit(const Point2* pSplit, const Point2* pCentre) { mShellCentre[pSplit] = pCentre; }
    // A crossing split a conforming segment: its pieces get their steps.
    void noteConformingCrossing() { conformingStepsLeft += 8; }

    // ---- dump files --------------------------------------------------------------------------
    // Per graph (index from 0): the alive pieces to prefix + "_c" + index + "_con.bin" (binary
    // segment file) or to prefix + "_c" + index + ".con" (text, one "x0 y0 x1 y1" line each).
    void writeConstraintsBIN(const std::string& prefix) const;
    void writeConstraints(const std::string& prefix) const;

private:
    struct Slot {
        const Point2* p0;   // the segment's source: most probes end without touching the segment
        ConstraintSegment2* pSeg;
    };
    static uint64_t pairHash(const Point2* p, const Point2* q) {
        uint64_t h = uint64_t(reinterpret_cast<uintptr_t>(p)) * 0x9E3779B97F4A7C15ull;
        h ^= uint64_t(reinterpret_cast<uintptr_t>(q)) * 0xC2B2AE3D27D4EB4Full;
        h ^= h >> 29;
        return h;
    }
    size_t slotOf(const Point2* p, const Point2* q) const { return size_t(pairHash(p, q)) & mask; }
    static bool testBit(const std::vector<uint64_t>& vBits, size_t b) { return (vBits[b >> 6] >> (b & 63)) & 1u; }
    static void setBit(std::vector<uint64_t>& vBits, size_t b) { vBits[b >> 6] |= uint64_t(1) << (b & 63); }
    void grow();
    size_t endpointBit(const Point2* p) const {
        return size_t((uint64_t(reinterpret_cast<uintptr_t>(p)) * 0x9E3779B97F4A7C15ull) >> endpointShift);
    }
    // Marks the endpoints and the pair of a stored segment.
    void markSegment(const Point2* p0, const Point2* p1) {
        setBit(vEndpointBits, endpointBit(p0));
        setBit(vEndpointBits, endpointBit(p1));
        setBit(vPairBits, size_t(pairHash(p0, p1) >> pairShift));
    }
    void collectAliveLeaves(const ConstraintGraph2* pGraph, std::vector<Segment2>& vOut) const;
    void writeGraphs(const std::string& prefix, bool bBinary) const;
    ConstraintGraph2* buildGraph(const std::vector<std::pair<Point2*, Point2*>>& vPairs, ConstraintInsertionStrategy cis,
                                 bool bOriented);
    // Conforming pieces are ordinary edges that later flips may remove: re-split until each is
    // an edge again. Looked at: the pieces whose records were created from index firstRecord
    // on (0: all) and the pieces that flips removed meanwhile; a piece leaves the triangulation
    // only by a flip or by a split, which creates its children.
    void repairConforming(size_t firstRecord);
    void applyConformingFully(ConstraintSegment2* pCSeg);

    Dt2* pOwnerDt2;
    SimplePool<ConstraintSegment2> poolSegments;
    std::set<std::set<ConstraintGraph2*>> sOwnerSets;
    struct OwnerStep {
        const std::set<ConstraintGraph2*>* pBase;
        ConstraintGraph2* pOwner;
        const std::set<ConstraintGraph2*>* pResult;
    } lastOwnerStep{nullptr, nullptr, nullptr};
    std::vector<Slot> vSlots;
    size_t mask{0};
    bool bHoldConforming{false};
    size_t numUsed{0};
    // Two bits per slot of the pair table (small enough to stay in cache), rebuilt when it grows.
    std::vector<uint64_t> vEndpointBits;
    int endpointShift{64};
    // The same for vertex pairs, four bits per slot: a channel walk along constraint pieces
    // meets many edges between two segment endpoints, and most are no segment; these bits
    // answer that from cache instead of a probe into the table.
    std::vector<uint64_t> vPairBits;
    int pairShift{64};
    std::vector<ConstraintGraph2*> vGraphs;
    size_t numConforming{0};
    // Conforming steps left in the current operation: two segments within a few ulps of each
    // other along their length cannot both become chains of Delaunay edges in doubles, and
    // would otherwise be split towards the precision limit everywhere. A piece takes about two
    // steps (a split, then the check that finds it an edge), and a segment is cut into about as
    // many pieces as it passes vertices and crossings: the budget grows with both.
    size_t conformingStepsLeft{0};
    bool bConformingBudgetWarned{false};
    void resetConformingBudget(size_t numSegs, size_t numVerticesPassed);
    // Vertices inserted by conforming splits, with the centre of their shells.
    std::unordered_map<const Point2*, const Point2*> mShellCentre;
    // Conforming segments per end vertex.
    std::unordered_map<const Point2*, unsigned> mConformingDegree;
    // The centre that the end p of a piece offers: its own for a split vertex, else p.
    const Point2* shellCentreAt(const Point2* p) const;
    // Alive conforming pieces whose edge a flip removed since the last repair.
    std::vector<ConstraintSegment2*> vFlippedConforming;
    // Inside one of the manager's own operations, which finish their pieces themselves.
    bool bApplying{false};
};

} // namespace ORBI_LUMO2D
