#include "Dt2.h"
#include <algorithm>
#include <cstdlib>
#include <iostream>
#if defined(__linux__)
#include <sys/mman.h>
#endif
#include <sstream>
#include <thread>
#include "tools.h"

namespace ORBI_LUMO2D {

namespace {
// A sort word: the 30-bit Hilbert key above a 34-bit input index.
const int KEY_SHIFT = 34;
const uint64_t INDEX_MASK = (uint64_t(1) << KEY_SHIFT) - 1;

// Scratch words for the bulk path. Large buffers are mapped directly, so that their pages go
// back to the system when the buffer dies instead of staying in the heap: the insertion's peak
// memory is then that of the triangulation itself.
class ScratchWords {
public:
    explicit ScratchWords(size_t n) : bytes(n * sizeof(uint64_t)) {
#if defined(__linux__)
        if (bytes >= (size_t(1) << 20)) {
            void* p = mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_POPULATE, -1, 0);
            if (p != MAP_FAILED) {
                pWords = static_cast<uint64_t*>(p);
                bMapped = true;
                return;
            }
        }
#endif
        pWords = static_cast<uint64_t*>(std::malloc(bytes == 0 ? 1 : bytes));
        if (pWords == nullptr) throw LumoException();
    }
    ~ScratchWords() {
#if defined(__linux__)
        if (bMapped) {
            munmap(pWords, bytes);
            return;
        }
#endif
        std::free(pWords);
    }
    ScratchWords(const ScratchWords&) = delete;
    ScratchWords& operator=(const ScratchWords&) = delete;
    uint64_t* get() { return pWords; }
    uint64_t& operator[](size_t i) { return pWords[i]; }

private:
    size_t bytes;
    uint64_t* pWords{nullptr};
    bool bMapped{false};
};

// Stable LSD radix sort of key/index words by their key bits, three passes of 10 bits.
void sortKeyIndexPairs(uint64_t* a, size_t n) {
    if (n < 2) return;
    ScratchWords aTmp(n);
    uint64_t* pSrc = a;
    uint64_t* pDst = aTmp.get();
    for (int shift = KEY_SHIFT; shift < KEY_SHIFT + 30; shift += 10) {
        size_t aCount[1025] = {};
        for (size_t i = 0; i < n; ++i) ++aCount[((pSrc[i] >> shift) & 1023u) + 1];
        for (int b = 0; b < 1024; ++b) aCount[b + 1] += aCount[b];
        for (size_t i = 0; i < n; ++i) pDst[aCount[(pSrc[i] >> shift) & 1023u]++] = pSrc[i];
        std::swap(pSrc, pDst);
    }
    if (pSrc != a) std::copy(pSrc, pSrc + n, a);
}

// Ranges below this size are inserted one after another instead of middle first.
const size_t MIN_RECURSION_RANGE = 16;
// Walk steps after which the edge order is randomised (guards against cycling).
const int STOCHASTIC_WALK_AFTER = 1000;
} // namespace

Dt2::Dt2(unsigned numExpectedVertices)
    : poolPoints(3125000), poolTriangles(2083333), vertexVault(this), bbox(&geomTest) {
    // The estimate only sizes the first blocks; it is capped so that 2n+10 stays an int.
    const int32_t n = numExpectedVertices < 3 ? 3 : int32_t(std::min<unsigned>(numExpectedVertices, 1000000000u));
    poolPoints.init(n);
    poolTriangles.init(2 * n + 10);
    vCheckT.reserve(64);
}

Dt2::~Dt2() { delete pMsgPublisher; }

// ---- state -----------------------------------------------------------------------------------

size_t Dt2::numberOfTriangles() const {
    const size_t numAllT = poolTriangles.numAllocated();
    const size_t numDeadT = vDeadTriangles.size();
    LUMO_ASSERT(numDeadT<=numAllT);
    return numAllT - numDeadT;
}

void Dt2::getTrianglePointers(std::vector<Triangle2*>& vAllTriangles) const {
    vAllTriangles.reserve(vAllTriangles.size() + numberOfTriangles());
    // Dead triangles are cleared, so a null corner marks them.
    poolTriangles.forEach([&](Triangle2* pT) {
        if (pT->getCorner(0) != nullptr) vAllTriangles.push_back(pT);
    });
}

void Dt2::getVertexPointers(std::vector<Point2*>& vAllPoints) const {
    vAllPoints.reserve(vAllPoints.size() + vertexVault.size());
    for (const VaultEntry& e : vertexVault.getEntries()) vAllPoints.push_back(e.pVtx);
}

void Dt2::getFreshTriangles(std::vector<Triangle2*>& vFreshTriangles) {
    size_t idx = 0;
    poolTriangles.forEach([&](Triangle2* pT) {
        if (idx++ >= numTrianglesAtLastFresh) vFreshTriangles.push_back(pT);
    });
    numTrianglesAtLastFresh = idx;
}

int Dt2::setNumCPU(int numCPU_) {
    if (numCPU_ >= 1) numCPU = numCPU_;
    else if (numCPU_ == 0) numCPU = std::max(1, int(std::thread::hardware_concurrency()));
    else numCPU = 1;
    return numCPU;
}

void Dt2::subscribe(MsgType type, MsgBase* pReceiver) {
    if (pMsgPublisher == nullptr) pMsgPublisher = new MsgPublisher("Lumo_2D");
    pMsgPublisher->subscribe(type, pReceiver);
}

void Dt2::unsubscribe(MsgType type, MsgBase* pReceiver) {
    if (pMsgPublisher != nullptr) pMsgPublisher->unsubscribe(type, pReceiver);
}

// ---- boxes and keys ----------------------------------------------------------------------------

void Dt2::reportBadPoint(double x, double y) {
    std::ostringstream oss;
    oss << "point (" << x << ", " << y << ") has a NaN or infinite coordinate and is ignored";
    reportWarning("Dt2::insert()", oss.str());
}

void Dt2::updateGeomBound() {
    const double m = std::max(std::max(std::fabs(bbox.get_minX()), std::fabs(bbox.get_minY())),
                              std::max(std::fabs(bbox.get_maxX()), std::fabs(bbox.get_maxY())));
    if (m > geomTest.getCoordinateBound()) geomTest.setBound(m);
    syncOrientBound();
}

void Dt2::growBoxes(double minX, double minY, double maxX, double maxY) {
    const Point2 pMin(minX, minY), pMax(maxX, maxY);
    bboxVertices.add(pMin);
    bboxVertices.add(pMax);
    geomTest.setDifferenceBound(bboxVertices.getMaxRange());
    if (bbox.isInBox(pMin) && bbox.isInBox(pMax)) return;
    // The key box grows with room to spare so that re-keying stays rare.
    bbox.add(pMin);
    bbox.add(pMax);
    bbox.doubleTheBox();
    updateGeomBound();
    hc = HC2(bbox.get_minX(), bbox.get_minY(), bbox.get_maxX(), bbox.get_maxY(), 30);
    vertexVault.rekeyAll(hc);
}

// ---- insertion ---------------------------------------------------------------------------------

Point2* Dt2::insert(const Point2& p) {
    if (!isFinitePoint(p.x(), p.y())) {
        reportBadPoint(p.x(), p.y());
        return nullptr;
    }
    growBoxes(p.x(), p.y(), p.x(), p.y());
    if (!is2D()) {
        for (const VaultEntry& e : vertexVault.getEntries())
            if (*e.pVtx == p) return e.pVtx;
        Point2* q = createVertex(p.x(), p.y(), p.getCustomIndex());
        vertexVault.addVertex(hc.getKey(p.x(), p.y()), q);
        createFullDimTriangle(0);
        return q;
    }
    Point2* q = createVertex(p.x(), p.y(), p.getCustomIndex());
    const uint32_t key = hc.getKey(p.x(), p.y());
    vertexVault.addVertex(key, q);
    Triangle2* pStart = vertexVault.getCloseTriangle(key);
    // Vertices inserted one by one wait unsorted behind the vault's sorted run; when the
    // previous vertex is nearer than the vault's candidate, its triangle is the better start
    // (a host adding points along a path would otherwise walk far every time).
    if (pLastSingle != nullptr && pLastSingle->getIncidentTriangle() != nullptr) {
        const Point2* pCand = pStart->getCorner(0);
        if (sqDistance(*pLastSingle, p) < sqDistance(*pCand, p)) pStart = pLastSingle->getIncidentTriangle();
    }
    insertOneVertex(q, pStart);
    (vertexVault.end() - 1)->bActive = q->getIncidentTriangle() != nullptr;
    Point2* pResult = vertexVault.treatOneDupGetHandle(q);
    vertexVault.mergeTailIfLarge();
    pLastSingle = pResult;
    return pResult;
}

void Dt2::insertVector(const std::vector<Point2>& vPoints, std::vector<Point2*>* pHandles) {
    Point2** aHandles = nullptr;
    if (pHandles != nullptr) {
        pHandles->resize(vPoints.size());
        aHandles = pHandles->data();
    }
    const Point2* aPoints = vPoints.data();
    insertBulk(
        vPoints.size(),
        [aPoints](size_t i, double& x, double& y, int& ci) {
            x = aPoints[i].x();
            y = aPoints[i].y();
            ci = aPoints[i].getCustomIndex();
        },
        [aPoints](size_t i) { __builtin_prefetch(aPoints + i); }, aHandles);
}

void Dt2::insertArray(int numPoints, const double* aCoordinates, Point2** aHandles) {
    if (numPoints <= 0 || aCoordinates == nullptr) return;
    insertBulk(
        size_t(numPoints),
        [aCoordinates](size_t i, double& x, double& y, int& ci) {
            x = aCoordinates[2 * i];
            y = aCoordinates[2 * i + 1];
            ci = -1;
        },
        [aCoordinates](size_t i) { __builtin_prefetch(aCoordinates + 2 * i); }, aHandles);
}

template <class GetXY, class Prefetch>
void Dt2::insertBulk(size_t n, GetXY getXY, Prefetch prefetch, Point2** aHandles) {
    // Refuse non-finite points, measure the rest.
    double minX = DBL_MAX, minY = DBL_MAX, maxX = -DBL_MAX, maxY = -DBL_MAX;
    size_t numValid = 0;
    double x, y;
    int ci;
    for (size_t i = 0; i < n; ++i) {
        getXY(i, x, y, ci);
        if (!isFinitePoint(x, y)) {
            reportBadPoint(x, y);
            if (aHandles != nullptr) aHandles[i] = nullptr;
            continue;
        }
        minX = std::min(minX, x);
        maxX = std::max(maxX, x);
        minY = std::min(minY, y);
        maxY = std::max(maxY, y);
        ++numValid;
    }
    if (numValid == 0) return;
    growBoxes(minX, minY, maxX, maxY);

    if (pMsgPublisher != nullptr) pMsgPublisher->start("insert vertices", numValid);
    timer("[quiet] Delaunay point insertion");
    if (is2D()) {
        // The new vertices must form one key-sorted range behind the sorted run.
        vertexVault.sortTail();
        vertexVault.mergeTail();
    }
    const size_t firstNew = vertexVault.size();
    vertexVault.reserve(firstNew + numValid);
    // Keys first, packed with the input index into one 64-bit word and sorted: the vertex
    // records are then allocated in curve order, so that neighbouring vertices share cache
    // lines. The two scratch arrays die before any triangle memory is touched.
    {
        ScratchWords aKeyIdx(numValid);
        size_t m = 0;
        for (size_t i = 0; i < n; ++i) {
            getXY(i, x, y, ci);
            if (isFinitePoint(x, y)) aKeyIdx[m++] = uint64_t(hc.getKey(x, y)) << KEY_SHIFT | uint64_t(i);
        }
        sortKeyIndexPairs(aKeyIdx.get(), m);
        // Curve order visits the input at random: fetch a few points ahead.
        const size_t ahead = 12;
        for (size_t k = 0; k < m; ++k) {
            if (k + ahead < m) {
                const size_t iAhead = size_t(aKeyIdx[k + ahead] & INDEX_MASK);
                prefetch(iAhead);
                if (aHandles != nullptr) __builtin_prefetch(aHandles + iAhead, 1);
            }
            const size_t i = size_t(aKeyIdx[k] & INDEX_MASK);
            getXY(i, x, y, ci);
            Point2* p = createVertex(x, y, ci);
            vertexVault.addVertex(uint32_t(aKeyIdx[k] >> KEY_SHIFT), p);
            if (aHandles != nullptr) aHandles[i] = p;
        }
    }

    if (!is2D()) {
        // Vertices stored by earlier calls (all collinear so far) must survive as the vertex
        // of their position: resolve duplicates by position before any walk can see them.
        if (firstNew > 0) {
            vertexVault.findDupsBySorting();
            vertexVault.treatDupsAndHandles(aHandles, n);
        }
        // Without a triangle no walk can find duplicates: sort them out explicitly.
        if (!createFullDimTriangle(firstNew)) vertexVault.findDupsBySorting();
    } else {
        VaultEntry* pBegin = vertexVault.begin() + firstNew;
        VaultEntry* pEnd = vertexVault.end();
        Triangle2* pStartT = vertexVault.getCloseTriangle(pBegin[(pEnd - pBegin) / 2].key);
        insertSortedRange(pBegin, pEnd, pStartT);
        vertexVault.mergeTail();
    }

    vertexVault.treatDupsAndHandles(aHandles, n);
    LUMO_ASSERT(vertexVault.dupIsClean());
    timer("[quiet] Delaunay point insertion");
    if (pMsgPublisher != nullptr) pMsgPublisher->finish();
}

bool Dt2::createFullDimTriangle(size_t numPreExistingVtx) {
    LUMO_ASSERT(!vertexVault.bFullDimensional);
    Point2 *pA, *pB, *pC;
    if (!vertexVault.getThreeInitialPoints(pA, pB, pC, geomTest)) return false;
    vertexVault.bFullDimensional = true;
    Triangle2* pFirstT = createTriangle(pA, pB, pC);
    // All stored vertices now go in, in key order; the three corners are found as their own
    // duplicates by the walk and left alone.
    vertexVault.sortTail();
    vertexVault.mergeTail();
    VaultEntry* startIt = vertexVault.begin();
    VaultEntry* stopIt = vertexVault.end();
    using std::distance;
    LUMO_ASSERT(numPreExistingVtx<=(size_t)distance(startIt,stopIt));
    insertSortedRange(startIt, stopIt, pFirstT);
    return true;
}

void Dt2::insertSortedRange(VaultEntry* pBegin, VaultEntry* pEnd, Triangle2* pStartT) {
    // A multithreaded inserter will take ranges of at least 1000 vertices when numCPU > 1;
    // until it exists every range runs on the calling thread.
    triangulateRec(pBegin, pEnd, pStartT);
}

Triangle2* Dt2::triangulateRec(VaultEntry* pBegin, VaultEntry* pEnd, Triangle2* pStartT) {
    const size_t n = size_t(pEnd - pBegin);
    if (n < MIN_RECURSION_RANGE) {
        Triangle2* pT = pStartT;
        for (VaultEntry* e = pBegin; e != pEnd; ++e) {
            pT = insertOneVertex(e->pVtx, pT);
            e->bActive = e->pVtx->getIncidentTriangle() != nullptr;
        }
        return pT;
    }
    VaultEntry* pMid = pBegin + n / 2;
    Triangle2* pMidT = insertOneVertex(pMid->pVtx, pStartT);
    pMid->bActive = pMid->pVtx->getIncidentTriangle() != nullptr;
    triangulateRec(pBegin, pMid, pMidT);
    // A duplicate middle vertex has no triangle of its own: start beside its survivor.
    Triangle2* pIncT = pMid->pVtx->getIncidentTriangle();
    if (pIncT == nullptr) pIncT = pMidT;
    if (pIncT == nullptr) pIncT = vertexVault.getCloseTriangle(pMid->key);
    LUMO_ASSERT(pIncT!=NULL);
    return triangulateRec(pMid + 1, pEnd, pIncT);
}

Triangle2* Dt2::insertOneVertex(Point2* q, Triangle2* pStartTriangle) {
    if (pMsgPublisher != nullptr) pMsgPublisher->step();
    Triangle2* pT = pStartTriangle;
    int ici = -1;
    const int result = locateConflictTriangle(*q, pT, ici);
    if (result != -1) return triangulateCoplanarOrDuplicate(q, pT, result);
    if (ici == -1) initVCheckT13(q, pT);
    else initVCheckT24(q, pT, ici);
    bfsFlipIncident(q);
    return q->getIncidentTriangle();
}

Triangle2* Dt2::triangulateCoplanarOrDuplicate(Point2* q, Triangle2* pT, int result) {
    if (result == 4) {
        for (int i = 0; i < 3; ++i) {
            Point2* pCorner = pT->getCorner(i);
            if (*pCorner == *q) {
                if (pCorner != q) vertexVault.registerDup(q, pCorner);
                return pT;
            }
        }
        assertionFailed("Proxy not found", __FILE__, __LINE__, __PRETTY_FUNCTION__);
    }
    insertVertexCH(q, pT, result);
    return q->getIncidentTriangle();
}

// ---- the walk ----------------------------------------------------------------------------------

int Dt2::locateConflictTriangle(const Point2& q, Triangle2*& pT, int& ici) {
    Triangle2* pStartTriangle = pT;
    LUMO_ASSERT(pStartTriangle!=0);
    Triangle2* pCur = pStartTriangle;
    int aOrder[3] = {0, 1, 2};
    int numTests = 3;
    int numSteps = 0;
    ici = -1;
    for (;;) {
        int k = 0;
        bool bRestart = false;
        for (; k < numTests; ++k) {
            const int i = aOrder[k];
            const Point2* pA = pCur->getCorner(incIndexBy1(i));
            const Point2* pB = pCur->getCorner(incIndexBy2(i));
            const Orientation2 ori = orient(pA, pB, &q);
            if (ori == ORIENTATION2_CCW) continue;
            if (ori == ORIENTATION2_CW) break;
            // q is on the line of edge i.
            if (q == *pA || q == *pB) {
                pT = pCur;
                ici = -1;
                return 4;
            }
            ici = i;
            if (pCur->getOppositeTriangle(i) == nullptr) {
                const int result = locateOnHullLine(q, pCur, ici);
                if (result != -2) {
                    pT = pCur;
                    return result;
                }
                bRestart = true;
                break;
            }
        }
        if (bRestart) {
            ++numSteps;
            aOrder[0] = 0; aOrder[1] = 1; aOrder[2] = 2;
            numTests = 3;
            continue;
        }
        if (k == numTests) {
            pT = pCur;
            return -1;
        }
        // Strictly outside edge aOrder[k]: step over it.
        const int i = aOrder[k];
        Triangle2* pN = pCur->getOppositeTriangle(i);
        if (pN == nullptr) {
            pT = pCur;
            ici = -1;
            return i;
        }
        const int j = pN->getIntraTriangleIndex(pCur);
        pCur = pN;
        ici = -1;
        if (++numSteps <= STOCHASTIC_WALK_AFTER) {
            if (k == 1) {
                aOrder[0] = incIndexBy2(j);
                aOrder[1] = incIndexBy1(j);
            } else {
                aOrder[0] = incIndexBy1(j);
                aOrder[1] = incIndexBy2(j);
            }
            numTests = 2;
        } else {
            const int r = std::rand() % 3;
            aOrder[0] = r;
            aOrder[1] = incIndexBy1(r);
            aOrder[2] = incIndexBy2(r);
            numTests = 3;
        }
    }
}

// q lies on the line of hull edge ici of pT (and is no corner). Returns -1 when q is on that
// edge, a hull edge index when q is strictly beyond one, or -2 after stepping into a neighbour
// from where the walk must go on.
int Dt2::locateOnHullLine(const Point2& q, Triangle2*& pT, int& ici) {
    const int hullIdx = ici;
    bool bAllInner = true;
    for (int k = 1; k <= 2; ++k) {
        const int e = (hullIdx + k) % 3;
        const Orientation2 ori =
            orient(pT->getCorner(incIndexBy1(e)), pT->getCorner(incIndexBy2(e)), &q);
        if (ori == ORIENTATION2_CW) {
            Triangle2* pN = pT->getOppositeTriangle(e);
            ici = -1;
            if (pN == nullptr) return e;
            pT = pN;
            return -2;
        }
        if (ori != ORIENTATION2_CCW) bAllInner = false;
    }
    if (bAllInner) return -1;
    ici = -1;
    return -2;
}

// ---- splitting ---------------------------------------------------------------------------------

void Dt2::initVCheckT13(Point2* q, Triangle2* pT) {
    Point2* c0 = pT->getCorner(0);
    Point2* c1 = pT->getCorner(1);
    Point2* c2 = pT->getCorner(2);
    Triangle2* pN0 = pT->getOppositeTriangle(0);
    Triangle2* pN1 = pT->getOppositeTriangle(1);
    Triangle2* pN2 = pT->getOppositeTriangle(2);
    Triangle2* pT1 = createTriangle(q, c1, c2);
    Triangle2* pT2 = createTriangle(q, c2, c0);
    pT->setPropertiesAndOppT(q, c0, c1, pN2, pT1, pT2);
    pT1->setOppTriangle(0, pN0);
    pT1->setOppTriangle(1, pT2);
    pT1->setOppTriangle(2, pT);
    pT2->setOppTriangle(0, pN1);
    pT2->setOppTriangle(1, pT);
    pT2->setOppTriangle(2, pT1);
    if (pN0 != nullptr) pN0->setOppTriangle(pN0->getIntraTriangleIndex(pT), pT1);
    if (pN1 != nullptr) pN1->setOppTriangle(pN1->getIntraTriangleIndex(pT), pT2);
    vCheckT.push_back(pT);
    vCheckT.push_back(pT1);
    vCheckT.push_back(pT2);
}

void Dt2::initVCheckT24(Point2* q, Triangle2* pT, int ici) {
    // pT = (c, a, b) with q on the edge a-b; pN = (d, b, a) beyond it, if any.
    Point2* c = pT->getCorner(ici);
    Point2* a = pT->getCorner(incIndexBy1(ici));
    Point2* b = pT->getCorner(incIndexBy2(ici));
    Triangle2* pOppCA = pT->getOppositeTriangle(incIndexBy2(ici));
    Triangle2* pOppBC = pT->getOppositeTriangle(incIndexBy1(ici));
    Triangle2* pN = pT->getOppositeTriangle(ici);
    notifyEdgeSplit(a, b, q);

    Triangle2* pQBC = createTriangle(q, b, c);
    if (pN == nullptr) {
        pT->setPropertiesAndOppT(q, c, a, pOppCA, nullptr, pQBC);
        pQBC->setOppTriangle(0, pOppBC);
        pQBC->setOppTriangle(1, pT);
        pQBC->setOppTriangle(2, nullptr);
        if (pOppBC != nullptr) pOppBC->setOppTriangle(pOppBC->getIntraTriangleIndex(pT), pQBC);
        vCheckT.push_back(pT);
        vCheckT.push_back(pQBC);
        return;
    }
    const int j = pN->getIntraTriangleIndex(pT);
    Point2* d = pN->getCorner(j);
    Triangle2* pOppAD = pN->getOppositeTriangle(incIndexBy1(j));
    Triangle2* pOppDB = pN->getOppositeTriangle(incIndexBy2(j));
    Triangle2* pQDB = createTriangle(q, d, b);
    // pT becomes (q, c, a), pN becomes (q, a, d); around q: qca, qad, qdb, qbc.
    pT->setPropertiesAndOppT(q, c, a, pOppCA, pN, pQBC);
    pN->setPropertiesAndOppT(q, a, d, pOppAD, pQDB, pT);
    pQDB->setOppTriangle(0, pOppDB);
    pQDB->setOppTriangle(1, pQBC);
    pQDB->setOppTriangle(2, pN);
    pQBC->setOppTriangle(0, pOppBC);
    pQBC->setOppTriangle(1, pT);
    pQBC->setOppTriangle(2, pQDB);
    if (pOppBC != nullptr) pOppBC->setOppTriangle(pOppBC->getIntraTriangleIndex(pT), pQBC);
    if (pOppDB != nullptr) pOppDB->setOppTriangle(pOppDB->getIntraTriangleIndex(pN), pQDB);
    vCheckT.push_back(pT);
    vCheckT.push_back(pN);
    vCheckT.push_back(pQDB);
    vCheckT.push_back(pQBC);
}

// ---- outside the convex hull ---------------------------------------------------------------------

void Dt2::nextHullEdge(Triangle2*& pT, int& idx) {
    // Turn clockwise around the target vertex until the hull is reached again.
    Point2* pTrg = pT->getCorner(incIndexBy2(idx));
    for (;;) {
        const int k = pT->getIntraTriangleIndex(pTrg);
        Triangle2* pN = pT->getOppositeTriangle(incIndexBy2(k));
        if (pN == nullptr) {
            idx = incIndexBy2(k);
            return;
        }
        pT = pN;
    }
}

void Dt2::prevHullEdge(Triangle2*& pT, int& idx) {
    // Turn counterclockwise around the source vertex.
    Point2* pSrc = pT->getCorner(incIndexBy1(idx));
    for (;;) {
        const int k = pT->getIntraTriangleIndex(pSrc);
        Triangle2* pN = pT->getOppositeTriangle(incIndexBy1(k));
        if (pN == nullptr) {
            idx = incIndexBy1(k);
            return;
        }
        pT = pN;
    }
}

void Dt2::insertVertexCH(Point2* q, Triangle2* pT, int hullIdx) {
    // Collect the hull edges visible from q: a contiguous chain around the start edge.
    auto isVisible = [&](Triangle2* pHT, int idx) {
        return orient(pHT->getCorner(incIndexBy1(idx)), pHT->getCorner(incIndexBy2(idx)), q) ==
               ORIENTATION2_CW;
    };
    vHullChain.clear();
    {
        Triangle2* pHT = pT;
        int idx = hullIdx;
        for (;;) {
            prevHullEdge(pHT, idx);
            if (!isVisible(pHT, idx) || (pHT == pT && idx == hullIdx)) break;
            vHullChain.push_back(Edge2(pHT, idx));
        }
        std::reverse(vHullChain.begin(), vHullChain.end());
        vHullChain.push_back(Edge2(pT, hullIdx));
        pHT = pT;
        idx = hullIdx;
        for (;;) {
            nextHullEdge(pHT, idx);
            if (!isVisible(pHT, idx) || (pHT == pT && idx == hullIdx)) break;
            vHullChain.push_back(Edge2(pHT, idx));
        }
    }
    // One new triangle (q, target, source) per visible edge, chained around q.
    Triangle2* pPrevNew = nullptr;
    for (const Edge2& e : vHullChain) {
        Triangle2* pHT = e.getTriangle();
        const int idx = e.getIndex();
        Point2* pSrc = pHT->getCorner(incIndexBy1(idx));
        Point2* pTrg = pHT->getCorner(incIndexBy2(idx));
        Triangle2* pNew = createTriangle(q, pTrg, pSrc);
        pNew->setOppTriangle(0, pHT);
        pHT->setOppTriangle(idx, pNew);
        pNew->setOppTriangle(1, pPrevNew);
        if (pPrevNew != nullptr) pPrevNew->setOppTriangle(2, pNew);
        vCheckT.push_back(pNew);
        pPrevNew = pNew;
    }
    bfsFlipIncident(q);
}

// ---- flips ---------------------------------------------------------------------------------------

void Dt2::bfsFlipIncident(Point2* q) {
    while (!vCheckT.empty()) {
        Triangle2* pT = vCheckT.back();
        Triangle2* pN = pT->getOppositeTriangle(0);
        if (pN == nullptr ||
            geomTest.inCircle(pN->getCorner(0), pN->getCorner(1), pN->getCorner(2), q) <= 0 ||
            isConstraintEdge(pT->getCorner(1), pT->getCorner(2))) {
            vCheckT.pop_back();
            continue;
        }
        // pT = (q, a, b), pN = (d, b, a) rotated: flip a-b to q-d.
        Point2* a = pT->getCorner(1);
        Point2* b = pT->getCorner(2);
        const int j = pN->getIntraTriangleIndex(pT);
        Point2* d = pN->getCorner(j);
        Triangle2* pTb = pT->getOppositeTriangle(1);
        Triangle2* pNad = pN->getOppositeTriangle(incIndexBy1(j));
        Triangle2* pNdb = pN->getOppositeTriangle(incIndexBy2(j));
        // pT keeps q, a and its neighbour across q-a: only corner 2 and two neighbours change.
        pT->setVertexPointer(2, d);
        pT->setOppTriangle(0, pNad);
        pT->setOppTriangle(1, pN);
        pN->setVertexPointer(0, q);
        pN->setVertexPointer(1, d);
        pN->setVertexPointer(2, b);
        pN->setOppTriangle(0, pNdb);
        pN->setOppTriangle(1, pTb);
        pN->setOppTriangle(2, pT);
        // Only a (was in pN) and b (was in pT) can point to a triangle that lost them.
        a->setIncidentTriangle(pT);
        b->setIncidentTriangle(pN);
        if (pNad != nullptr) pNad->setOppTriangle(pNad->getIntraTriangleIndex(pN), pT);
        if (pTb != nullptr) pTb->setOppTriangle(pTb->getIntraTriangleIndex(pT), pN);
        vCheckT.push_back(pN);
    }
}

} // namespace ORBI_LUMO2D
