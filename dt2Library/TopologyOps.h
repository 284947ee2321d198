// Pointer surgery on the triangle records, written once: flip an edge, split a triangle into
// three, split an edge into four (two on the hull), fill a cavity with a fan, attach a fan of
// triangles to hull edges, merge the three triangles around a degree-3 vertex. No geometry and
// no decisions: callers (insertion, constrained insertion, removal, refinement) decide what to
// do and call these.
//
// Naming: an edge is (T, i), the edge of T opposite its corner i. Every operation keeps the
// neighbour links symmetric, the corners counterclockwise (given a geometrically valid call)
// and every touched vertex's incident triangle pointing to a triangle that has it.
#pragma once
#include <cstddef>
#include <mutex>
#include <vector>
#include "Edge2.h"
#include "Point2.h"
#include "SimplePool.h"
#include "Triangle2.h"

namespace ORBI_LUMO2D {

// Where the topology operations get triangle records from and give them back to: the
// triangulation's pool, with dead records reused first (last in, first out). One per inserter.
// A store of a worker thread shares the pool with others: it takes runs of records under the
// pool's mutex, so that no lock is taken per triangle.
class TriangleStore {
public:
    explicit TriangleStore(SimplePool<Triangle2>* pPool_, std::mutex* pPoolMutex_ = nullptr)
        : pPool(pPool_), pPoolMutex(pPoolMutex_) {}
    // A triangle (p0, p1, p2) without neighbours; the three vertices point to it.
    Triangle2* create(Point2* p0, Point2* p1, Point2* p2) {
        Triangle2* pT = take();
        pT->setProperties(p0, p1, p2);
        return pT;
    }
    // A cleared record, for a caller that sets corners, neighbours and incident triangles itself.
    Triangle2* take() {
        if (vDeadTriangles.empty()) return new (pPoolMutex == nullptr ? pPool->alloc() : takeFromRun()) Triangle2();
        Triangle2* pT = vDeadTriangles.back();
        vDeadTriangles.pop_back();
        return pT;
    }
    // Gives a triangle back: it is cleared (a null corner marks it dead) and reused next.
    void kill(Triangle2* pT) {
        pT->clearProperties();
        vDeadTriangles.push_back(pT);
    }
    size_t numDead() const { return vDeadTriangles.size(); }
    // Ends the work of a worker's store: the unused rest of its run becomes dead records and
    // all its dead records move to target (the store that counts the triangulation's triangles).
    void handOverTo(TriangleStore& target) {
        for (; numRunLeft > 0; --numRunLeft) kill(new (pRun++) Triangle2());
        target.vDeadTriangles.insert(target.vDeadTriangles.end(), vDeadTriangles.begin(), vDeadTriangles.end());
        vDeadTriangles.clear();
    }

private:
    Triangle2* takeFromRun() {
        if (numRunLeft == 0) {
            {
                std::lock_guard<std::mutex> lock(*pPoolMutex);
                pRun = pPool->allocRun(RUN_SIZE, numRunLeft);
            }
            // Faulted in here, so that the pages are zeroed into this thread's cache.
            SimplePool<Triangle2>::populate(pRun, size_t(numRunLeft));
        }
        --numRunLeft;
        return pRun++;
    }
    static const int32_t RUN_SIZE = 4096;
    SimplePool<Triangle2>* pPool;
    std::mutex* pPoolMutex;
    Triangle2* pRun{nullptr};
    int32_t numRunLeft{0};
    std::vector<Triangle2*> vDeadTriangles;
};

namespace topo {

// Makes pN (across an edge of pOld) point to pNew instead; nothing at the hull.
inline void relink(Triangle2* pN, const Triangle2* pOld, Triangle2* pNew) {
    if (pN != nullptr) pN->setOppTriangle(pN->getIntraTriangleIndex(pOld), pNew);
}

// Flips edge (pT, i), which must have a neighbour pN. With p = corner i of pT, (a, b) the edge
// and d the far corner of pN, afterwards pT = (p, a, d) and pN = (p, d, b), both with p at
// index i: the two edges opposite p (the ones a Lawson pass checks next) are (pT, i) and
// (pN, i), and the new edge p-d is (pT, i+1) = (pN, i+2). Returns pN.
inline Triangle2* flipEdge(Triangle2* pT, int i) {
    const int i1 = incIndexBy1(i), i2 = incIndexBy2(i);
    Triangle2* pN = pT->getOppositeTriangle(i);
    Point2* p = pT->getCorner(i);
    Point2* a = pT->getCorner(i1);
    Point2* b = pT->getCorner(i2);
    const int j = pN->getIntraTriangleIndex(pT);
    Point2* d = pN->getCorner(j);
    Triangle2* pTb = pT->getOppositeTriangle(i1);                 // across b-p
    Triangle2* pNad = pN->getOppositeTriangle(incIndexBy1(j));    // across a-d
    Triangle2* pNdb = pN->getOppositeTriangle(incIndexBy2(j));    // across d-b
    // pT keeps p, a and its neighbour across p-a: one corner and two neighbours change.
    pT->setVertexPointer(i2, d);
    pT->setOppTriangle(i, pNad);
    pT->setOppTriangle(i1, pN);
    pN->setVertexPointer(i, p);
    pN->setVertexPointer(i1, d);
    pN->setVertexPointer(i2, b);
    pN->setOppTriangle(i, pNdb);
    pN->setOppTriangle(i1, pTb);
    pN->setOppTriangle(i2, pT);
    // Only a (was in pN) and b (was in pT) can point to a triangle that lost them.
    a->setIncidentTriangle(pT);
    b->setIncidentTriangle(pN);
    relink(pNad, pN, pT);
    relink(pTb, pT, pN);
    return pN;
}

// Splits pT = (c0, c1, c2) at q into (q, c0, c1) (pT reused), (q, c1, c2) and (q, c2, c0).
// q is corner 0 of all three and edge 0 is the old outer edge; aOut receives the three.
inline void splitTriangle(TriangleStore& store, Triangle2* pT, Point2* q, Triangle2* aOut[3]) {
    Point2* c0 = pT->getCorner(0);
    Point2* c1 = pT->getCorner(1);
    Point2* c2 = pT->getCorner(2);
    Triangle2* pN0 = pT->getOppositeTriangle(0);
    Triangle2* pN1 = pT->getOppositeTriangle(1);
    Triangle2* pN2 = pT->getOppositeTriangle(2);
    Triangle2* pT1 = store.create(q, c1, c2);
    Triangle2* pT2 = store.create(q, c2, c0);
    pT->setPropertiesAndOppT(q, c0, c1, pN2, pT1, pT2);
    pT1->setOppTriangle(0, pN0);
    pT1->setOppTriangle(1, pT2);
    pT1->setOppTriangle(2, pT);
    pT2->setOppTriangle(0, pN1);
    pT2->setOppTriangle(1, pT);
    pT2->setOppTriangle(2, pT1);
    relink(pN0, pT, pT1);
    relink(pN1, pT, pT2);
    aOut[0] = pT;
    aOut[1] = pT1;
    aOut[2] = pT2;
}

// Splits edge (pT, i) at q (which lies on it): the two triangles beside the edge become four,
// or pT alone becomes two when the edge is on the hull. q is corner 0 of every new triangle and
// edge 0 its outer edge. aOut receives the triangles (pT and its neighbour reused first);
// returns their number, 4 or 2.
inline int splitEdge(TriangleStore& store, Triangle2* pT, int i, Point2* q, Triangle2* aOut[4]) {
    // pT = (c, a, b) with q on a-b; pN = (d, b, a) beyond it, if any.
    Point2* c = pT->getCorner(i);
    Point2* a = pT->getCorner(incIndexBy1(i));
    Point2* b = pT->getCorner(incIndexBy2(i));
    Triangle2* pOppCA = pT->getOppositeTriangle(incIndexBy2(i));
    Triangle2* pOppBC = pT->getOppositeTriangle(incIndexBy1(i));
    Triangle2* pN = pT->getOppositeTriangle(i);
    Triangle2* pQBC = store.create(q, b, c);
    if (pN == nullptr) {
        pT->setPropertiesAndOppT(q, c, a, pOppCA, nullptr, pQBC);
        pQBC->setOppTriangle(0, pOppBC);
        pQBC->setOppTriangle(1, pT);
        pQBC->setOppTriangle(2, nullptr);
        relink(pOppBC, pT, pQBC);
        aOut[0] = pT;
        aOut[1] = pQBC;
        return 2;
    }
    const int j = pN->getIntraTriangleIndex(pT);
    Point2* d = pN->getCorner(j);
    Triangle2* pOppAD = pN->getOppositeTriangle(incIndexBy1(j));
    Triangle2* pOppDB = pN->getOppositeTriangle(incIndexBy2(j));
    Triangle2* pQDB = store.create(q, d, b);
    // pT becomes (q, c, a), pN becomes (q, a, d); around q: qca, qad, qdb, qbc.
    pT->setPropertiesAndOppT(q, c, a, pOppCA, pN, pQBC);
    pN->setPropertiesAndOppT(q, a, d, pOppAD, pQDB, pT);
    pQDB->setOppTriangle(0, pOppDB);
    pQDB->setOppTriangle(1, pQBC);
    pQDB->setOppTriangle(2, pN);
    pQBC->setOppTriangle(0, pOppBC);
    pQBC->setOppTriangle(1, pT);
    pQBC->setOppTriangle(2, pQDB);
    relink(pOppBC, pT, pQBC);
    relink(pOppDB, pN, pQDB);
    aOut[0] = pT;
    aOut[1] = pN;
    aOut[2] = pQDB;
    aOut[3] = pQBC;
    return 4;
}

// An edge of a cavity's border, seen from inside (a then b counterclockwise), with the triangle
// outside it (null on the hull) and the index under which that triangle sees the edge.
struct CavityEdge {
    Point2* a;
    Point2* b;
    Triangle2* pOut;
    int outIdx;
};

// Replaces the triangles apCavity[0..numCavity) by the fan from q over the cavity's border, given
// counterclockwise and closed (aBorder[k].b == aBorder[k+1].a), numCavity + 2 edges, q strictly
// inside each: one triangle (q, a, b) per edge, q at corner 0 and the border edge as edge 0. The
// cavity's records are reused, the store gives the other two. Returns the first fan triangle.
// This is the multithreaded inserter's hot path: each vertex's incident triangle is written
// once (q's, and each border vertex's as the start of its edge), each link once.
inline Triangle2* fillCavity(TriangleStore& store, Point2* q, const CavityEdge* aBorder, Triangle2* const* apCavity,
                             size_t numCavity) {
    const size_t numBorder = numCavity + 2;
    Triangle2* pFirst = apCavity[0];
    Triangle2* pPrev = nullptr;
    for (size_t k = 0; k < numBorder; ++k) {
        const CavityEdge& e = aBorder[k];
        Triangle2* pT = k < numCavity ? apCavity[k] : store.take();
        pT->setVertexPointer(0, q);
        pT->setVertexPointer(1, e.a);
        pT->setVertexPointer(2, e.b);
        pT->setOppTriangle(0, e.pOut);
        pT->setOppTriangle(2, pPrev);
        e.a->setIncidentTriangle(pT);
        if (e.pOut != nullptr) e.pOut->setOppTriangle(e.outIdx, pT);
        if (pPrev != nullptr) pPrev->setOppTriangle(1, pT);
        pPrev = pT;
    }
    pPrev->setOppTriangle(1, pFirst);
    pFirst->setOppTriangle(2, pPrev);
    q->setIncidentTriangle(pFirst);
    return pFirst;
}

// Hull edge (pT, idx) to the next / previous hull edge in counterclockwise hull order.
void nextHullEdge(Triangle2*& pT, int& idx);
void prevHullEdge(Triangle2*& pT, int& idx);

// Joins q to a contiguous chain of hull edges, given in counterclockwise hull order: one new
// triangle (q, target, source) per edge, q at corner 0 and the hull edge as edge 0, linked to
// each other and to the triangles behind the edges. vNew receives them in chain order.
void attachHullFan(TriangleStore& store, Point2* q, const std::vector<Edge2>& vChain,
                   std::vector<Triangle2*>& vNew);

// Replaces the three triangles around the interior vertex pVtx (degree 3) by one triangle over
// the three outer vertices; the other two records go back to the store. pVtx is left without
// an incident triangle. Returns the remaining triangle.
Triangle2* mergeDegree3(TriangleStore& store, Point2* pVtx);

// Calls fn(pT) for each triangle around p: counterclockwise from p's incident triangle until
// it comes back or the hull is reached, then clockwise from the start. fn returns true to stop.
template <class Fn>
void forEachTriangleAround(Point2* p, Fn fn) {
    Triangle2* pStart = p->getIncidentTriangle();
    if (pStart == nullptr) return;
    Triangle2* pT = pStart;
    do {
        if (fn(pT)) return;
        pT = pT->getOppositeTriangle(incIndexBy1(pT->getIntraTriangleIndex(p)));
    } while (pT != nullptr && pT != pStart);
    if (pT == pStart) return;
    for (pT = pStart->getOppositeTriangle(incIndexBy2(pStart->getIntraTriangleIndex(p))); pT != nullptr;
         pT = pT->getOppositeTriangle(incIndexBy2(pT->getIntraTriangleIndex(p))))
        if (fn(pT)) return;
}

} // namespace topo
} // namespace ORBI_LUMO2D
