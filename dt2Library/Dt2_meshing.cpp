// Quality mesh generation by Delaunay refinement inside a zone: a policy over insertion,
// constraint splitting and vertex removal. Bad triangles wait in a queue ordered by their
// smallest angle; a bad triangle gets a vertex at its circumcenter, or, when a constraint edge
// lies between the triangle and its circumcenter, that constraint is split.
//
// Zone membership while the mesh changes: one byte per triangle record. A circumcenter goes in
// without crossing a constraint, so every triangle it creates takes the mark of the triangle it
// was split from, and flips never cross the alive segments that bound the zone. Only a
// constraint split changes the border: the segment is not a constraint while its split vertex
// goes in, so the triangles touched then are marked unknown and afterwards take the mark of the
// nearest known triangle reached without crossing the zone's border.
#include <algorithm>
#include <array>
#include <cfloat>
#include <cmath>
#include <iostream>
#include <set>
#include <unordered_map>
#include <unordered_set>
#include <vector>
#include "CandidateQueue.h"
#include "ConstraintGraph2.h"
#include "ConstraintMgr.h"
#include "ConstraintSegment2.h"
#include "Dt2.h"
#include "GridMesher.h"
#include "InnerVtxMgr.h"
#include "LicenseCheck.h"
#include "LumoException.h"
#include "MeshGenParams.h"
#include "RefCand3.h"
#include "Zone2.h"
#include "tools.h"

namespace ORBI_LUMO2D {

namespace {

const int MAX_PASSES = 50;
const uint8_t MARK_OUT = 0, MARK_IN = 1, MARK_UNKNOWN = 2;

// One byte per triangle record, found by the record's pool block; grows with the pool.
class TriangleMarks {
public:
    explicit TriangleMarks(const SimplePool<Triangle2>& pool_) : pool(pool_) { refresh(); }
    uint8_t get(const Triangle2* pT) { return vMarks[indexOf(pT)]; }
    void set(const Triangle2* pT, uint8_t mark) { vMarks[indexOf(pT)] = mark; }
    void clearAll() { std::fill(vMarks.begin(), vMarks.end(), MARK_OUT); }

private:
    struct Block {
        const Triangle2* pBegin;
        const Triangle2* pEnd;
        size_t firstIndex;
    };
    // New triangles come from the newest block, flipped ones from any: both are tried before
    // the search.
    size_t indexOf(const Triangle2* pT) {
        for (size_t i : {newestBlock, lastBlock}) {
            const Block& b = vBlocks[i];
            if (pT >= b.pBegin && pT < b.pEnd) return b.firstIndex + size_t(pT - b.pBegin);
        }
        return slowIndexOf(pT);
    }
    size_t slowIndexOf(const Triangle2* pT) {
        for (int attempt = 0; attempt < 2; ++attempt) {
            auto it = std::upper_bound(vBlocks.begin(), vBlocks.end(), pT,
                                       [](const Triangle2* p, const Block& b) { return p < b.pBegin; });
            if (it != vBlocks.begin() && pT < (it - 1)->pEnd) {
                lastBlock = size_t(it - 1 - vBlocks.begin());
                return (it - 1)->firstIndex + size_t(pT - (it - 1)->pBegin);
            }
            refresh();   // a block the pool added since
        }
        LUMO_ASSERT(!"triangle record of this triangulation");
        return 0;
    }
    // Blocks are registered with their whole capacity, so that a record handed out later from
    // a known block needs no refresh; known blocks keep their indices.
    void refresh() {
        const std::vector<int32_t>& vSizes = pool.getBlockSizes();
        size_t b = 0;
        const Triangle2* pNewest = nullptr;
        pool.forEachBlock([&](const Triangle2* pFirst, size_t) {
            const size_t capacity = size_t(vSizes[b++]);
            pNewest = pFirst;
            for (const Block& known : vBlocks)
                if (known.pBegin == pFirst) return;
            vBlocks.push_back(Block{pFirst, pFirst + capacity, numRecords});
            numRecords += capacity;
        });
        std::sort(vBlocks.begin(), vBlocks.end(), [](const Block& x, const Block& y) { return x.pBegin < y.pBegin; });
        vMarks.resize(numRecords, MARK_OUT);
        lastBlock = newestBlock = 0;
        if (vBlocks.empty()) vBlocks.push_back(Block{nullptr, nullptr, 0});
        for (size_t i = 0; i < vBlocks.size(); ++i)
            if (vBlocks[i].pBegin == pNewest) newestBlock = i;
    }
    const SimplePool<Triangle2>& pool;
    std::vector<Block> vBlocks;
    std::vector<uint8_t> vMarks;
    size_t numRecords{0};
    size_t lastBlock{0};
    size_t newestBlock{0};
};

// Restores the triangulation's observer however the run ends.
struct ObserverScope {
    Dt2& dt;
    TopologyObserver* pPrevious;
    ObserverScope(Dt2& dt_, TopologyObserver* pMine) : dt(dt_), pPrevious(dt_.getObserver()) { dt.setObserver(pMine); }
    ~ObserverScope() { dt.setObserver(pPrevious); }
};

// Bad triangles that refinement left as they are, kept across the runs of one refinement: while
// a triangle keeps its corners (and, when its circumcenter was refused beside a conforming
// piece, while that piece stands), a later pass or run would only walk to the same circumcenter
// again and come to the same answer. Beside long chains of short conforming pieces these walks
// cross thousands of triangles each, and every run after the first re-examined hundreds of
// thousands of such triangles to insert a few thousand vertices.
struct SkippedTriangles {
    struct Entry {
        std::array<Point2*, 3> aCorners;
        Point2* pPieceA;   // the refusing piece, or null
        Point2* pPieceB;
    };
    std::unordered_map<Triangle2*, Entry> mEntries;
};

class Refiner : public TopologyObserver {
public:
    Refiner(Dt2& dt_, MeshGenParams& params_, const std::set<ConstraintSegment2*>& sLocked_, SkippedTriangles& skipped_)
        : dt(dt_), params(params_), pZone(params_.pZone), marks(dt_.getTrianglePool()), sLocked(sLocked_),
          skipped(skipped_) {}
    void run();
    // True when a licence limit on mesh triangles stopped the run (the mesh is valid).
    bool isLicenseStopped() const { return bLicenseStopped; }
    // Vertices that an earlier step put on constraint segments (split vertices, not input ones).
    void noteSplitVertices(const std::vector<Point2*>& v) { sSplitVertices.insert(v.begin(), v.end()); }

    // ---- the observer: marks of new triangles, then the constraint manager's turn ----------
    void onFlip(Triangle2* pT, Triangle2* pN) override {
        if (bSplitting) {
            markUnknown(pT);
            markUnknown(pN);
        }
        if (pNext != nullptr) pNext->onFlip(pT, pN);
    }
    void onSplit(Point2* q, Triangle2* const* apT, size_t n) override {
        if (bSplitting) {
            for (size_t i = 0; i < n; ++i) markUnknown(apT[i]);
        } else if (n == 3) {
            const uint8_t m = marks.get(apT[0]);   // the split triangle's record is the first
            marks.set(apT[1], m);
            marks.set(apT[2], m);
        } else if (n == 4) {   // the first two records are the old ones, the others their halves
            marks.set(apT[2], marks.get(apT[1]));
            marks.set(apT[3], marks.get(apT[0]));
        } else if (n == 2) {
            marks.set(apT[1], marks.get(apT[0]));
        } else {
            for (size_t i = 0; i < n; ++i) marks.set(apT[i], MARK_OUT);   // beyond the hull
        }
        if (pNext != nullptr) pNext->onSplit(q, apT, n);
    }
    void onEdgeSplit(Point2* pA, Point2* pB, Point2* pNew) override {
        if (pNext != nullptr) pNext->onEdgeSplit(pA, pB, pNew);
    }

private:

    bool collect(bool bFirst);
    bool process();
    bool tryRefine();
    Point2* insertVertexForRefinement(const Point2& p, Triangle2* pContainingTriangle);
    // Splits the constraint segment on edge idx of pLocT.
    bool splitConstraint(Triangle2* pLocT, int idx);
    // A held conforming piece (pA, pB) that would be no Delaunay edge beside a vertex at c,
    // which lies in the closed triangle pStart.
    bool wouldBreakConformingPiece(const Point2& c, Triangle2* pStart, Point2*& pA, Point2*& pB);
    bool computeSplitPoint(ConstraintSegment2* pCSeg, Point2& splitPoint) const;
    void addRefCand(Triangle2* pT);
    // A bad triangle that refinement leaves as it is (pPieceA-pPieceB: the conforming piece that
    // refused its circumcenter).
    void skip(const RefCand3& c, Point2* pPieceA = nullptr, Point2* pPieceB = nullptr) {
        skipped.mEntries[c.getTriangle()] = {{c.getCorner(0), c.getCorner(1), c.getCorner(2)}, pPieceA, pPieceB};
    }
    bool isSkipped(Triangle2* pT);
    void addRefCandsAround(Point2* pVtx);
    void markUnknown(Triangle2* pT) {
        if (marks.get(pT) != MARK_UNKNOWN) {
            marks.set(pT, MARK_UNKNOWN);
            vUnknownT.push_back(pT);
        }
    }
    void resolveUnknownMarks();
    void remarkZone();
    void markUnknownAlong(Point2* pSplit, Point2* pSrc, Point2* pTrg);
    ConstraintGraph2* findZoneBorder(const Point2* p, const Point2* q) const;

    Dt2& dt;
    MeshGenParams& params;
    Zone2* pZone;
    ConstraintGraph2* pCG{nullptr};
    std::set<ConstraintGraph2*> sZoneGraphs;
    TopologyObserver* pNext{nullptr};
    TriangleMarks marks;
    RefCand3 arrival, cand;   // the triangle being queued, the candidate taken out
    CandidateQueue queue;
    const std::set<ConstraintSegment2*>& sLocked;   // the alive pieces of the locked segments
    std::unordered_set<Point2*> sSplitVertices;   // vertices this run put on constraints
    bool bSplitting{false};
    std::vector<Triangle2*> vUnknownT, vScratchT, vFloodT;
    std::vector<ConstraintSegment2*> vLeaves;
    std::vector<Point2*> vLink;
    std::vector<Triangle2*> vCavityT;
    std::unordered_set<Triangle2*> sCavityT;
    SkippedTriangles& skipped;
    size_t numZoneTriangles{0};   // at the last collection, plus two per vertex since
    MsgPublisher* pPub{nullptr};
    const double cosMinAngle{std::cos(params.minAngleDegree / 57.295779513)};
    const size_t licenseTriangleLimit{licenseLimit(LIMIT_MESH_TRIANGLES)};
    bool bLicenseStopped{false};
    bool bPrecisionWarned{false};
    bool bHoldingConforming{false};
};

void Refiner::run() {
    pCG = pZone->getConstraintGraph();
    std::vector<ConstraintGraph2*> vGraphs;
    pZone->getConstraintGraphs(vGraphs);
    sZoneGraphs.insert(vGraphs.begin(), vGraphs.end());
    pNext = dt.getObserver();
    ObserverScope scope(dt, this);
    // Conforming pieces bound zones too: held like constrained ones while the run lasts.
    struct HoldScope {
        ConstraintMgr* pMgr;
        ~HoldScope() {
            if (pMgr != nullptr) pMgr->holdConforming(false);
        }
    } hold{dt.findConstraintMgr() != nullptr ? &dt.getConstraintMgr() : nullptr};
    if (hold.pMgr != nullptr) hold.pMgr->holdConforming(true);
    bHoldingConforming = hold.pMgr != nullptr && hold.pMgr->hasConforming();
    pPub = dt.getMsgPublisher();
    if (pPub != nullptr) pPub->start("refine", 1);
    bool bInserted = false;
    int pass = 0;
    for (; pass < MAX_PASSES; ++pass) {
        if (!collect(pass == 0)) break;
        bInserted = process();
        if (!bInserted || bLicenseStopped) break;
    }
    if (pass == MAX_PASSES && bInserted && !bLicenseStopped)
        reportWarning("Dt2::refineMain3()", "stopped after 50 passes, the last one still inserted vertices");
    if (pPub != nullptr) pPub->finish();
}

// The first pass asks the zone; later passes read the marks, which the passes kept equal to
// the zone's triangles: a sweep over the pool is cheaper than the zone's flood fill, unless
// the zone is a small part of the triangulation (a host refining many small zones one by one
// would otherwise pay for the whole triangulation in every pass).
bool Refiner::collect(bool bFirst) {
    vScratchT.clear();
    if (bFirst || 4 * numZoneTriangles < dt.getTrianglePool().numAllocated()) {
        pZone->getTriangles(vScratchT);
        marks.clearAll();
        for (Triangle2* pT : vScratchT) marks.set(pT, MARK_IN);
    } else {
        dt.getTrianglePool().forEach([&](const Triangle2* pT) {
            if (pT->getCorner(0) != nullptr && marks.get(pT) == MARK_IN) vScratchT.push_back(const_cast<Triangle2*>(pT));
        });
    }
    numZoneTriangles = vScratchT.size();
    // The triangles come in pool order, their corners from all over the vertex pool.
    const size_t ahead = 16;
    for (size_t i = 0; i < vScratchT.size(); ++i) {
        if (i + ahead < vScratchT.size())
            for (int k = 0; k < 3; ++k) __builtin_prefetch(vScratchT[i + ahead]->getCorner(k));
        addRefCand(vScratchT[i]);
    }
    return !queue.empty();
}

bool Refiner::isSkipped(Triangle2* pT) {
    if (skipped.mEntries.empty()) return false;
    const auto it = skipped.mEntries.find(pT);
    if (it == skipped.mEntries.end()) return false;
    const SkippedTriangles::Entry& e = it->second;
    if (e.aCorners[0] != pT->getCorner(0) || e.aCorners[1] != pT->getCorner(1) || e.aCorners[2] != pT->getCorner(2))
        return false;
    Triangle2* pEdgeT;
    int k;
    return e.pPieceA == nullptr || dt.findEdge(e.pPieceA, e.pPieceB, pEdgeT, k);
}

void Refiner::addRefCand(Triangle2* pT) {
    if (isSkipped(pT)) return;
    if (!arrival.init(&dt, pT, params, cosMinAngle)) return;
    queue.push(arrival);
    if (pPub != nullptr) pPub->addToTotal(1);
}

void Refiner::addRefCandsAround(Point2* pVtx) {
    vScratchT.clear();
    topo::forEachTriangleAround(pVtx, [&](Triangle2* pT) {
        vScratchT.push_back(pT);
        return false;
    });
    for (Triangle2* pT : vScratchT)
        if (marks.get(pT) == MARK_IN) addRefCand(pT);
}

bool Refiner::process() {
    bool bInserted = false;
    CandidateQueue::Entry e;
    while (!bLicenseStopped && queue.pop(e)) {
        if (e.isAlive() && marks.get(e.pT) == MARK_IN) {
            cand.restore(&dt, e.pT, e.key, e.minIdx(), e.isSizeBad());
            cand.computeLocation();
            if (tryRefine()) bInserted = true;
        }
        if (pPub != nullptr) pPub->advance(1 + queue.takeDropped());
    }
    return bInserted;
}

bool Refiner::tryRefine() {
    LUMO_ASSERT(cand.isAlive());
    if (!cand.needRefinement(params, &sLocked)) {
        if (!bPrecisionWarned && cand.isAtPrecisionLimit()) {
            reportWarning("Dt2::refineMain3()", "triangles at the limit of double precision are left as they are: "
                                                "angles and sizes there may miss the bounds");
            bPrecisionWarned = true;
        }
        skip(cand);
        return false;
    }
    LUMO_ASSERT(pCG!=0);
    const int idx = cand.getLocIndex();
    if (idx == RefCand3::LOC_NONE) return false;
    // Either step adds at most two triangles; the mesh stays valid when the licence stops here.
    if (licenseTriangleLimit != 0 && !licenseAllowsTriangles(dt.numberOfTriangles() + 2, "Dt2::refineMain3()")) {
        bLicenseStopped = true;
        return false;
    }
    if (idx == RefCand3::LOC_REACHED) {
        // A circumcenter that a held conforming piece could not stay a Delaunay edge beside is
        // not inserted; the piece is split instead where refinement may split it. The repair
        // after the run would split it regardless of minEdgeLength, the next run refine beside
        // the shorter pieces, and so on.
        Point2 *pA, *pB;
        if (bHoldingConforming && wouldBreakConformingPiece(cand.getCircumcenter(), cand.getLocTriangle(), pA, pB)) {
            Triangle2* pT;
            int k;
            if (mayRefinementSplit(&dt, pA, pB, params, &sLocked, cand.isDebug()) && dt.findEdge(pA, pB, pT, k))
                return splitConstraint(pT, k);
            skip(cand, pA, pB);
            return false;
        }
        Point2* pNew = insertVertexForRefinement(cand.getCircumcenter(), cand.getLocTriangle());
        if (pNew == nullptr) return false;
        dt.getInnerVtxMgr().add(pNew);
        numZoneTriangles += 2;
        addRefCandsAround(pNew);
        return true;
    }
    return splitConstraint(cand.getLocTriangle(), idx);
}

bool Refiner::wouldBreakConformingPiece(const Point2& c, Triangle2* pStart, Point2*& pA, Point2*& pB) {
    // The insertion's flips replace the triangles whose circumcircle strictly contains c, reached
    // from pStart across edges that are no flip barrier; a held conforming piece on the border
    // of that cavity stays a Delaunay edge unless c lies in the circumcircle beyond it too.
    // Cavities grow large only beside long chains of short edges, where the insertion is what
    // breaks up the fan: beyond MAX_CAVITY triangles the vertex goes in, and the repair after
    // the run keeps the pieces Delaunay.
    const size_t MAX_CAVITY = 256;
    const ConstraintMgr& mgr = dt.getConstraintMgr();
    GeomTest& geom = dt.getGeomTest();
    vCavityT.assign(1, pStart);
    sCavityT.clear();
    sCavityT.insert(pStart);
    for (size_t head = 0; head < vCavityT.size(); ++head) {
        Triangle2* pT = vCavityT[head];
        for (int i = 0; i < 3; ++i) {
            Triangle2* pN = pT->getOppositeTriangle(i);
            if (pN == nullptr || sCavityT.count(pN) != 0) continue;
            Point2* a = pT->getCorner(incIndexBy1(i));
            Point2* b = pT->getCorner(incIndexBy2(i));
            const bool bInside = geom.inCircle(pN->getCorner(0), pN->getCorner(1), pN->getCorner(2), &c) > 0;
            if (!mgr.isFlipBarrier(a, b)) {
                if (bInside) {
                    if (vCavityT.size() == MAX_CAVITY) return false;
                    sCavityT.insert(pN);
                    vCavityT.push_back(pN);
                }
                continue;
            }
            const ConstraintSegment2* pCSeg = mgr.getConstraintSegment(a, b);
            if (bInside && pCSeg->getCIS() == CIS_CONFORMING_DELAUNAY) {
                pA = a;
                pB = b;
                return true;
            }
        }
    }
    return false;
}

Point2* Refiner::insertVertexForRefinement(const Point2& p, Triangle2* pContainingTriangle) {
    LUMO_ASSERT(pContainingTriangle!=0);
    const size_t numBefore = dt.numberOfPoints();
    Point2* pNew = dt.insert(p, pContainingTriangle);
    // A duplicate (only rounding can make one) is no new vertex.
    return (pNew != nullptr && dt.numberOfPoints() > numBefore) ? pNew : nullptr;
}

// The zone graph that owns the alive segment (p, q), or null: such an edge bounds the zone.
ConstraintGraph2* Refiner::findZoneBorder(const Point2* p, const Point2* q) const {
    const ConstraintMgr* pMgr = dt.findConstraintMgr();
    const ConstraintSegment2* pCSeg = pMgr == nullptr ? nullptr : pMgr->getConstraintSegment(p, q);
    if (pCSeg == nullptr || !pCSeg->isAlive()) return nullptr;
    for (ConstraintGraph2* pOwner : pCSeg->getOwners())
        if (sZoneGraphs.count(pOwner) != 0) return pOwner;
    return nullptr;
}

// Each unknown triangle takes the mark of the first known one reached across edges that are
// no zone border, or, at a border edge, the side of that edge: the zone lies left of its
// graphs' directed segments. A flood that finds neither falls back to marking the zone anew.
void Refiner::resolveUnknownMarks() {
    const size_t maxFlood = 4096;
    for (size_t u = 0; u < vUnknownT.size(); ++u) {
        Triangle2* pStart = vUnknownT[u];
        if (pStart->getCorner(0) == nullptr || marks.get(pStart) != MARK_UNKNOWN) continue;
        vFloodT.assign(1, pStart);
        int found = -1;
        std::vector<Triangle2*> vSeen{pStart};
        for (size_t head = 0; head < vFloodT.size() && found < 0 && vFloodT.size() < maxFlood; ++head) {
            Triangle2* pT = vFloodT[head];
            for (int i = 0; i < 3 && found < 0; ++i) {
                Point2* pA = pT->getCorner(incIndexBy1(i));
                Point2* pB = pT->getCorner(incIndexBy2(i));
                if (ConstraintGraph2* pG = findZoneBorder(pA, pB)) {
                    ConstraintSegment2* pCSeg = dt.getConstraintMgr().getConstraintSegment(pA, pB);
                    const bool bForward = (pCSeg->getSrc() == pA) != pG->isReverse(pCSeg);
                    found = bForward ? MARK_IN : MARK_OUT;   // pT lies left of pA -> pB
                    break;
                }
                Triangle2* pN = pT->getOppositeTriangle(i);
                if (pN == nullptr) continue;
                const uint8_t m = marks.get(pN);
                if (m != MARK_UNKNOWN) found = m;
                else if (std::find(vSeen.begin(), vSeen.end(), pN) == vSeen.end()) {
                    vSeen.push_back(pN);
                    vFloodT.push_back(pN);
                }
            }
        }
        if (found < 0) {
            remarkZone();
            vUnknownT.clear();
            return;
        }
        for (Triangle2* pT : vFloodT) marks.set(pT, uint8_t(found));
    }
    vUnknownT.clear();
}

// Marks unknown every triangle that meets the box of the split segment and is reached from the
// split vertex through such triangles: a superset of what constrained insertion of the halves
// re-triangulated (the halves stay in that box up to the rounding of the split vertex).
void Refiner::markUnknownAlong(Point2* pSplit, Point2* pSrc, Point2* pTrg) {
    double x0 = std::min({pSrc->x(), pTrg->x(), pSplit->x()}), x1 = std::max({pSrc->x(), pTrg->x(), pSplit->x()});
    double y0 = std::min({pSrc->y(), pTrg->y(), pSplit->y()}), y1 = std::max({pSrc->y(), pTrg->y(), pSplit->y()});
    const double margin = 1e-9 * ((x1 - x0) + (y1 - y0)) + 1e-300;
    x0 -= margin, x1 += margin, y0 -= margin, y1 += margin;
    auto meetsBox = [&](const Triangle2* pT) {
        double tx0 = DBL_MAX, tx1 = -DBL_MAX, ty0 = DBL_MAX, ty1 = -DBL_MAX;
        for (int i = 0; i < 3; ++i) {
            tx0 = std::min(tx0, pT->getCorner(i)->x()), tx1 = std::max(tx1, pT->getCorner(i)->x());
            ty0 = std::min(ty0, pT->getCorner(i)->y()), ty1 = std::max(ty1, pT->getCorner(i)->y());
        }
        return tx0 <= x1 && tx1 >= x0 && ty0 <= y1 && ty1 >= y0;
    };
    std::unordered_set<Triangle2*> sSeen;
    vFloodT.clear();
    topo::forEachTriangleAround(pSplit, [&](Triangle2* pT) {
        if (sSeen.insert(pT).second) vFloodT.push_back(pT);
        return false;
    });
    for (size_t head = 0; head < vFloodT.size(); ++head) {
        Triangle2* pT = vFloodT[head];
        markUnknown(pT);
        for (int i = 0; i < 3; ++i) {
            Triangle2* pN = pT->getOppositeTriangle(i);
            if (pN != nullptr && meetsBox(pN) && sSeen.insert(pN).second) vFloodT.push_back(pN);
        }
    }
}

void Refiner::remarkZone() {
    std::vector<Triangle2*> vZoneT;
    pZone->getTriangles(vZoneT);
    marks.clearAll();
    for (Triangle2* pT : vZoneT) marks.set(pT, MARK_IN);
}

bool Refiner::splitConstraint(Triangle2* pLocT, int idx) {
    Point2* p1 = pLocT->getCorner(incIndexBy1(idx));
    Point2* p2 = pLocT->getCorner(incIndexBy2(idx));
    ConstraintSegment2* pCSeg = dt.getConstraintMgr().getConstraintSegment(p1, p2);
    LUMO_ASSERT(pCSeg!=0);
    LUMO_ASSERT((pCSeg->getSrc()==p1 && pCSeg->getTrg()==p2) || (pCSeg->getSrc()==p2 && pCSeg->getTrg()==p1));
    Point2 splitPoint;
    if (!computeSplitPoint(pCSeg, splitPoint)) {
        reportWarning("Dt2::tryRefine()", "no appropriate splitPoint in double precision arithmetic for a triangle");
        return false;
    }
    Point2* pSrc = pCSeg->getSrc();
    Point2* pTrg = pCSeg->getTrg();
    auto givingUp = [&]() {
        reportWarning("Dt2::tryRefine()", "Double precision arithmetic does not allow to split a segment further, giving up");
        Triangle2* pT = cand.getTriangle();
        std::cout << "edge lengths: " << std::sqrt(pT->getSquaredEdgeLength2D(0)) << " "
                  << std::sqrt(pT->getSquaredEdgeLength2D(1)) << " " << std::sqrt(pT->getSquaredEdgeLength2D(2))
                  << std::endl;
        return false;
    };
    if ((splitPoint.x() == pSrc->x() && splitPoint.y() == pSrc->y()) ||
        (splitPoint.x() == pTrg->x() && splitPoint.y() == pTrg->y()))
        return givingUp();
    // A split point in one of the segment's two triangles, on the segment, or just beyond it
    // where it is a hull edge, gives a split whose every new triangle the observer sees (the
    // halves are edges at once); elsewhere constrained insertion may re-triangulate without
    // telling it.
    const Location loc = dt.getInserter().locate(splitPoint, pLocT);
    const bool bBesideSegment = loc.pT != nullptr && loc.pT->hasVertex(pSrc) && loc.pT->hasVertex(pTrg);
    const bool bAcrossSegment = bBesideSegment && loc.idx >= 0 && loc.idx <= 2 && loc.pT->getCorner(loc.idx) != pSrc &&
                                loc.pT->getCorner(loc.idx) != pTrg;
    bool bObserved = (loc.kind == Location::LOC_FACE && bBesideSegment) || (loc.kind == Location::LOC_EDGE && bAcrossSegment);
    if (loc.kind == Location::LOC_OUTSIDE_HULL) {
        // Beyond the segment as a hull edge: the segment is among the hull edges it sees.
        Triangle2* pSegT = pLocT->getOppositeTriangle(idx) == nullptr ? pLocT : nullptr;
        bObserved = pSegT != nullptr && dt.getGeomTest().getOrientation2(p1, p2, &splitPoint) == ORIENTATION2_CW;
    }
    bSplitting = true;
    Point2* pSplit = pCSeg->insertAndSplit(splitPoint);
    bSplitting = false;
    if (pSplit == nullptr) {
        resolveUnknownMarks();
        return givingUp();
    }
    sSplitVertices.insert(pSplit);
    // The constrained insertion of the halves may have re-triangulated without telling the
    // observer (a split vertex off the segment's two triangles): then the marks are redone.
    if (!bObserved) markUnknownAlong(pSplit, pSrc, pTrg);
    resolveUnknownMarks();
    const double dx = pSplit->x() - pSrc->x(), dy = pSplit->y() - pSrc->y();
    // The holes of removed vertices are re-triangulated: their triangles are examined again
    // in this pass rather than in one more.
    vLink.clear();
    dt.getInnerVtxMgr().removePreviouslyInsertedVertices(pSplit, dx * dx + dy * dy, &dt, &vLink);
    for (Point2* p : vLink) addRefCandsAround(p);
    addRefCandsAround(pSplit);
    return true;
}

// Halfway, except for a piece with exactly one end that no split made: there the distance from
// that end is the power of two nearest to half the length, so that pieces along segments that
// meet at a small input angle end on common circles around the apex and splitting stops.
bool Refiner::computeSplitPoint(ConstraintSegment2* pCSeg, Point2& splitPoint) const {
    Point2* pA = pCSeg->getSrc();
    Point2* pB = pCSeg->getTrg();
    const bool bAInput = sSplitVertices.count(pA) == 0, bBInput = sSplitVertices.count(pB) == 0;
    double x = 0.5 * (pA->x() + pB->x()), y = 0.5 * (pA->y() + pB->y());
    if (bAInput != bBInput) {
        if (!bAInput) std::swap(pA, pB);
        const double dx = pB->x() - pA->x(), dy = pB->y() - pA->y();
        const double len = std::sqrt(dx * dx + dy * dy);
        if (len > 0.0 && std::isfinite(len)) {
            int e;
            std::frexp(len, &e);   // len in [2^(e-1), 2^e)
            double shell = std::ldexp(1.0, e - 1);
            if (shell > len * (2.0 / 3.0)) shell *= 0.5;
            if (shell >= len / 3.0) {
                const double t = shell / len;
                x = pA->x() + dx * t;
                y = pA->y() + dy * t;
            }
        }
    }
    if (!std::isfinite(x) || !std::isfinite(y)) return false;
    // Strictly between the ends along the segment's direction, in the rounded coordinates.
    const double dx = pB->x() - pA->x(), dy = pB->y() - pA->y();
    const double t0 = (x - pA->x()) * dx + (y - pA->y()) * dy;
    const double t1 = (pB->x() - x) * dx + (pB->y() - y) * dy;
    if (t0 < 0.0 || t1 < 0.0) return false;
    splitPoint = Point2(x, y);
    return true;
}

// The alive pieces of the locked segments (a locked segment split earlier is locked in its pieces).
std::set<ConstraintSegment2*> lockedPieces(const MeshGenParams& params) {
    std::set<ConstraintSegment2*> sLocked;
    if (params.lockedConstraints == nullptr) return sLocked;
    std::vector<ConstraintSegment2*> vLeaves;
    for (ConstraintSegment2* pCSeg : *params.lockedConstraints) {
        if (pCSeg == nullptr) continue;
        if (pCSeg->isAlive()) sLocked.insert(pCSeg);
        else if (pCSeg->isSplit()) pCSeg->getChildrenRec(vLeaves);
    }
    sLocked.insert(vLeaves.begin(), vLeaves.end());
    return sLocked;
}

} // namespace

void Dt2::refineMain3(MeshGenParams* pParams) {
    if (pParams->innerVertexFlag) getInnerVtxMgr().clear();
    Zone2* pZone = pParams->pZone;
    if (pZone == nullptr) {
        reportError("Dt2::refineMain2(..)", "pZone==NULL");
        return;
    }
    if (pZone->getZoneLocation() != ZL_INSIDE && pZone->getZoneLocation() != ZL_BOUNDED) {
        reportError("Dt2::refineMain2()", "The zoneLocation must be ZL_INSIDE or ZL_BOUNDED. Please convert the zone "
                                          "using pZone->convertToBoundedZone(..)");
        return;
    }
    if (pParams->minAngleDegree > 30.0) {
        reportError("Dt2::refine(..)", "minAngleDegree must be <=30.0, return");
        return;
    }
    if (!hasZone(pZone)) {
        reportError("Dt2::refineMain2()", "the zone does not belong to this triangulation");
        return;
    }
    const double gridLength = pParams->gridLength, gx = pParams->gridVector.x(), gy = pParams->gridVector.y();
    if (!(gridLength >= 0.0 && gridLength < HUGE_VAL)) {
        reportError("Dt2::refineMain3()", "gridLength must be >=0 and finite, return");
        return;
    }
    const bool bGrid = gridLength > 0.0;
    if (bGrid && !(std::isfinite(gx) && std::isfinite(gy) && std::isfinite(std::hypot(gx, gy)) && (gx != 0.0 || gy != 0.0))) {
        reportError("Dt2::refineMain3()", "gridVector must be finite and not (0,0) when gridLength>0, return");
        return;
    }
    if (!is2D()) return;
    const std::set<ConstraintSegment2*> sLocked = lockedPieces(*pParams);
    std::vector<Point2*> vGridSplitVertices;
    if (bGrid) {
        GridMesher grid(*this, *pParams, sLocked);
        if (!grid.plan()) return;
        // Every grid vertex and split adds two triangles at most; refused before anything changes.
        enforceLicense(LIMIT_MESH_TRIANGLES,
                       numberOfTriangles() + 2 * (grid.numberOfGridVertices() + grid.numberOfPlannedSplits()),
                       "Dt2::refineMain3()");
        grid.apply();
        vGridSplitVertices = grid.getSplitVertices();
    }
    // A run holds conforming pieces in place; those that it left no longer Delaunay are then
    // flipped away and split again, and the new triangles refined in one more run.
    const int MAX_BORDER_ROUNDS = 8;
    SkippedTriangles skipped;
    for (int round = 0;; ++round) {
        Refiner refiner(*this, *pParams, sLocked, skipped);
        refiner.noteSplitVertices(vGridSplitVertices);
        refiner.run();
        if (refiner.isLicenseStopped()) throw LumoLicenseException();
        if (!reconformHeldPieces()) break;
        if (round + 1 == MAX_BORDER_ROUNDS) {
            reportWarning("Dt2::refineMain3()", "conforming segments were split again after the last run: "
                                                "angles next to them may be below the bound");
            break;
        }
    }
}

bool Dt2::reconformHeldPieces() {
    if (!pConstraintMgr) return false;
    std::vector<ConstraintSegment2*> vCSegs;
    pConstraintMgr->getSegmentsInMapOrder(vCSegs);
    size_t numNotDelaunay = 0;
    for (ConstraintSegment2* pCSeg : vCSegs) {
        if (!pCSeg->isAlive() || pCSeg->getCIS() != CIS_CONFORMING_DELAUNAY) continue;
        Triangle2* pT;
        int idx;
        if (!findEdge(pCSeg->getSrc(), pCSeg->getTrg(), pT, idx) || isDelaunayAt(pT, idx)) continue;
        inserter.pushCheck(pT, idx);
        ++numNotDelaunay;
    }
    if (numNotDelaunay == 0) return false;
    inserter.legalize(true);
    // The repair may at most double the mesh. Beside conforming segments at tiny angles each
    // split encroaches on the next piece: 512 steps per piece let one repair grow a mesh of
    // 40,000 vertices to 1.6 million, and the next run refine all of it. When the budget runs
    // out (with the warning) no further run follows.
    return pConstraintMgr->reconformFlipped(numNotDelaunay, numberOfPoints() + 4096);
}

void Dt2::checkZoneQuality(MeshGenParams* pParams) {
    if (pParams == nullptr || pParams->pZone == nullptr || !hasZone(pParams->pZone)) {
        reportWarning("Dt2::checkZoneQuality()", "no zone of this triangulation, nothing checked");
        return;
    }
    std::vector<Triangle2*> vZoneT;
    pParams->pZone->getTriangles(vZoneT);
    double worst = 180.0;
    size_t numBadAspect = 0, numBadGrow = 0;
    for (Triangle2* pT : vZoneT) {
        int k;
        worst = std::min(worst, smallestAngleDegree(pT->getCorner(0), pT->getCorner(1), pT->getCorner(2), k));
        const double area = pT->getArea2D();
        const double longest = std::sqrt(pT->getMaxSqEdgeLen2D());
        // Longest edge over the smallest height.
        const double aspect = area > 0.0 ? longest * longest / (2.0 * area) : DBL_MAX;
        if (aspect > pParams->aspectLimit) {
            ++numBadAspect;
            std::cout << "HHH: Bad Aspect " << aspect << ": " << *pT << std::endl;
        }
        if (pParams->growFactor != DBL_MAX && area >= pParams->growFactorMinArea) {
            for (int i = 0; i < 3; ++i) {
                Triangle2* pN = pT->getOppositeTriangle(i);
                if (pN != nullptr && area > pParams->growFactor * pN->getArea2D()) {
                    ++numBadGrow;
                    std::cout << "Bad grow factor, area=" << area << ", neighbour area=" << pN->getArea2D() << std::endl;
                    break;
                }
            }
        }
    }
    std::cout << "checkZoneQuality: " << vZoneT.size() << " triangles, worst angle " << worst << " degrees, "
              << numBadAspect << " above aspectLimit " << pParams->aspectLimit << ", " << numBadGrow
              << " growth violations" << std::endl;
}

} // namespace ORBI_LUMO2D
