// Insertion: single points, bulk input in Hilbert order, and the start of the triangulation.
// The per-point work is the inserter's (Inserter.cpp).
#include <algorithm>
#include <cstdlib>
#if defined(__linux__)
#include <sys/mman.h>
#endif
#include "Dt2.h"
#include "LicenseCheck.h"
#include "tools.h"

namespace ORBI_LUMO2D {

namespace {
// A sort word: the 30-bit Hilbert key above a 34-bit input index.
const int KEY_SHIFT = 34;
const uint64_t INDEX_MASK = (uint64_t(1) << KEY_SHIFT) - 1;

// Scratch words for the bulk path. Large buffers are mapped directly, so that their pages go
// back to the system when the buffer dies instead of staying in the heap: the insertion's peak
// memory is then that of the triangulation itself. Their pages are faulted in by populate(), on
// the threads that fill them.
class ScratchWords {
public:
    explicit ScratchWords(size_t n) : bytes(n * sizeof(uint64_t)) {
#if defined(__linux__)
        if (bytes >= (size_t(256) << 10)) {
            void* p = mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
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
    // Faults in the words [b, e) with one system call instead of one fault per page.
    void populate(size_t b, size_t e) {
        if (bMapped && e > b) populateForWrite(pWords + b, (e - b) * sizeof(uint64_t));
    }

private:
    size_t bytes;
    uint64_t* pWords{nullptr};
    bool bMapped{false};
};

// Stable LSD radix sort of key/index words by their key bits, three passes of 10 bits; each
// pass counts and scatters numSlices slices in parallel (the order does not depend on them).
// tmp is a second buffer of n words; returns the one that holds the sorted words (no copy back).
uint64_t* sortKeyIndexPairs(uint64_t* a, ScratchWords& tmp, size_t n, size_t numSlices) {
    uint64_t* pSrc = a;
    uint64_t* pDst = tmp.get();
    if (n < 2) return pSrc;
    std::vector<size_t> vCount(numSlices * 1024);
    for (int shift = KEY_SHIFT; shift < KEY_SHIFT + 30; shift += 10) {
        parallelSlices(numSlices, n, [&](size_t s, size_t b, size_t e) {
            if (shift == KEY_SHIFT) tmp.populate(b, e);
            size_t* aCount = &vCount[s * 1024];
            std::fill(aCount, aCount + 1024, size_t(0));
            for (size_t i = b; i < e; ++i) ++aCount[(pSrc[i] >> shift) & 1023u];
        });
        // Digit by digit, slice by slice: where each slice's words of each digit go.
        size_t sum = 0;
        for (size_t d = 0; d < 1024; ++d)
            for (size_t s = 0; s < numSlices; ++s) {
                const size_t c = vCount[s * 1024 + d];
                vCount[s * 1024 + d] = sum;
                sum += c;
            }
        parallelSlices(numSlices, n, [&](size_t s, size_t b, size_t e) {
            size_t* aNext = &vCount[s * 1024];
            for (size_t i = b; i < e; ++i) pDst[aNext[(pSrc[i] >> shift) & 1023u]++] = pSrc[i];
        });
        std::swap(pSrc, pDst);
    }
    return pSrc;
}

} // namespace

// ---- insertion ---------------------------------------------------------------------------------

Point2* Dt2::insert(const Point2& p, Triangle2* pStartT) {
    if (!isFinitePoint(p.x(), p.y())) {
        reportBadPoint(p.x(), p.y());
        return nullptr;
    }
    growBoxes(p.x(), p.y(), p.x(), p.y());
    if (!is2D()) {
        Point2* pExisting = findLowerDimVertex(p);
        if (pExisting != nullptr) return pExisting;
        Point2* q = createVertex(p.x(), p.y(), p.getCustomIndex());
        vertexVault.addVertex(hc.getKey(p.x(), p.y()), q);
        sLowerDimVertices.insert(q);
        // Still on the line of the stored vertices: no need to look for three corners again.
        if (!staysLowerDimensional(q)) createFullDimTriangle(0);
        return q;
    }
    Point2* q = createVertex(p.x(), p.y(), p.getCustomIndex());
    const uint32_t key = hc.getKey(p.x(), p.y());
    vertexVault.addVertex(key, q);
    Triangle2* pStart = pStartT != nullptr ? pStartT : vertexVault.getCloseTriangle(key);
    // Vertices inserted one by one wait unsorted behind the vault's sorted run; when the
    // previous vertex is nearer than the vault's candidate, its triangle is the better start
    // (a host adding points along a path would otherwise walk far every time).
    if (pStartT == nullptr && pLastSingle != nullptr && pLastSingle->getIncidentTriangle() != nullptr) {
        const Point2* pCand = pStart->getCorner(0);
        if (sqDistance(*pLastSingle, p) < sqDistance(*pCand, p)) pStart = pLastSingle->getIncidentTriangle();
    }
    inserter.insertOneVertex(q, pStart);
    (vertexVault.end() - 1)->bActive = q->getIncidentTriangle() != nullptr;
    Point2* pResult = vertexVault.treatOneDupGetHandle(q);
    vertexVault.mergeTailIfLarge();
    pLastSingle = pResult;
    reconformFlippedPieces(1);
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
    reconformFlippedPieces(vPoints.size());
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
    reconformFlippedPieces(size_t(numPoints));
}

template <class GetXY, class Prefetch>
void Dt2::insertBulk(size_t n, GetXY getXY, Prefetch prefetch, Point2** aHandles) {
    // Large inputs are keyed, sorted and copied into vertex records on several threads when more
    // than one is configured; the result does not depend on the number.
    bulkPhases.start();
    const size_t numSlices = numSlicesFor(numCPU, n);
    // Measure the finite points (per slice, so that the keys can be written in parallel).
    struct SliceBox {
        double minX{DBL_MAX}, minY{DBL_MAX}, maxX{-DBL_MAX}, maxY{-DBL_MAX};
        size_t numValid{0};
    };
    std::vector<SliceBox> vBox(numSlices);
    parallelSlices(numSlices, n, [&](size_t s, size_t b, size_t e) {
        // Grown on the stack and stored once: the slices' boxes share cache lines.
        SliceBox box;
        double x, y;
        int ci;
        for (size_t i = b; i < e; ++i) {
            getXY(i, x, y, ci);
            if (!isFinitePoint(x, y)) continue;
            box.minX = std::min(box.minX, x);
            box.maxX = std::max(box.maxX, x);
            box.minY = std::min(box.minY, y);
            box.maxY = std::max(box.maxY, y);
            ++box.numValid;
        }
        vBox[s] = box;
    });
    double minX = DBL_MAX, minY = DBL_MAX, maxX = -DBL_MAX, maxY = -DBL_MAX;
    size_t numValid = 0;
    for (const SliceBox& box : vBox) {
        minX = std::min(minX, box.minX);
        maxX = std::max(maxX, box.maxX);
        minY = std::min(minY, box.minY);
        maxY = std::max(maxY, box.maxY);
        numValid += box.numValid;
    }
    // Before anything is stored: a refused insertion leaves the triangulation as it was.
    enforceLicense(LIMIT_POINTS, numberOfPoints() + numValid, "Dt2::insert()");
    // Refuse non-finite points, in input order.
    if (numValid < n) {
        double x, y;
        int ci;
        for (size_t i = 0; i < n; ++i) {
            getXY(i, x, y, ci);
            if (isFinitePoint(x, y)) continue;
            reportBadPoint(x, y);
            if (aHandles != nullptr) aHandles[i] = nullptr;
        }
    }
    if (numValid == 0) return;
    growBoxes(minX, minY, maxX, maxY);
    if (numCPU > 1) installFakeBox();
    bulkPhases.mark("box");

    if (pMsgPublisher != nullptr) pMsgPublisher->start("insert vertices", numValid);
    timer("[quiet] Delaunay point insertion");
    // An index into the entries, which still hold those of removed vertices until compaction.
    const size_t firstNew = size_t(vertexVault.end() - vertexVault.begin());
    vertexVault.reserve(firstNew + numValid);
    // Keys first, packed with the input index into one 64-bit word and sorted: the vertex
    // records are then allocated in curve order, so that neighbouring vertices share cache
    // lines. The two scratch arrays die before any triangle memory is touched.
    {
        ScratchWords aKeys(numValid), aTmp(numValid);
        const size_t m = numValid;
        parallelSlices(numSlices, n, [&](size_t s, size_t b, size_t e) {
            size_t k = 0;
            for (size_t t = 0; t < s; ++t) k += vBox[t].numValid;
            aKeys.populate(k, k + vBox[s].numValid);
            double x, y;
            int ci;
            for (size_t i = b; i < e; ++i) {
                getXY(i, x, y, ci);
                if (isFinitePoint(x, y)) aKeys[k++] = uint64_t(hc.getKey(x, y)) << KEY_SHIFT | uint64_t(i);
            }
        });
        bulkPhases.mark("keys");
        const uint64_t* aKeyIdx = sortKeyIndexPairs(aKeys.get(), aTmp, m, numSlices);
        bulkPhases.mark("sort");
        // The records in curve order: runs of consecutive pool records, filled in parallel.
        VaultEntry* pNewEntries = vertexVault.appendEntries(m);
        std::vector<std::pair<size_t, Point2*>> vRuns;   // (first index in curve order, records)
        for (size_t k = 0; k < m;) {
            int32_t numGot = 0;
            Point2* p = poolPoints.allocRun(int32_t(std::min<size_t>(m - k, INT32_MAX)), numGot);
            vRuns.emplace_back(k, p);
            k += size_t(numGot);
        }
        vRuns.emplace_back(m, nullptr);
        parallelSlices(numSlices, m, [&](size_t, size_t b, size_t e) {
            size_t r = 0;
            while (vRuns[r + 1].first <= b) ++r;
            // This slice's records and entries are faulted in at once (on its own thread), not
            // page by page.
            populateForWrite(pNewEntries + b, (e - b) * sizeof(VaultEntry));
            for (size_t q = r; q + 1 < vRuns.size() && vRuns[q].first < e; ++q) {
                const size_t lo = std::max(b, vRuns[q].first), hi = std::min(e, vRuns[q + 1].first);
                SimplePool<Point2>::populate(vRuns[q].second + (lo - vRuns[q].first), hi - lo);
            }
            // Curve order visits the input at random: fetch a few points ahead.
            const size_t ahead = 12;
            double x, y;
            int ci;
            for (size_t k = b; k < e; ++k) {
                if (k + ahead < e) {
                    const size_t iAhead = size_t(aKeyIdx[k + ahead] & INDEX_MASK);
                    prefetch(iAhead);
                    if (aHandles != nullptr) __builtin_prefetch(aHandles + iAhead, 1);
                }
                if (k == vRuns[r + 1].first) ++r;
                const size_t i = size_t(aKeyIdx[k] & INDEX_MASK);
                getXY(i, x, y, ci);
                Point2* p = new (vRuns[r].second + (k - vRuns[r].first)) Point2(x, y);
                p->setCustomIndex(ci);
                pNewEntries[k] = VaultEntry{uint32_t(aKeyIdx[k] >> KEY_SHIFT), false, p};
                if (aHandles != nullptr) aHandles[i] = p;
            }
        });
    }
    bulkPhases.mark("records");

    Bbox2 newBox;
    newBox.add(Point2(minX, minY));
    newBox.add(Point2(maxX, maxY));
    if (!is2D()) {
        // Vertices stored by earlier calls (all collinear so far) must survive as the vertex
        // of their position: resolve duplicates by position before any walk can see them.
        if (firstNew > 0) {
            vertexVault.findDupsBySorting();
            vertexVault.treatDupsAndHandles(aHandles, n);
        }
        // Without a triangle no walk can find duplicates: sort them out explicitly.
        if (!createFullDimTriangle(firstNew, &newBox)) vertexVault.findDupsBySorting();
        bulkPhases.mark("insert");
    } else {
        VaultEntry* pBegin = vertexVault.begin() + firstNew;
        VaultEntry* pEnd = vertexVault.end();
        Triangle2* pStartT = vertexVault.getCloseTriangle(pBegin[(pEnd - pBegin) / 2].key);
        insertSortedRange(pBegin, pEnd, pStartT, &newBox);
        bulkPhases.mark("insert");
        // The new range joins the tail of earlier single insertions; both are merged into the
        // sorted run once they are large enough to matter, as after single insertions, so that
        // many small insertions do not each move the whole vault.
        vertexVault.mergeTailIfLarge();
        bulkPhases.mark("merge");
    }

    vertexVault.treatDupsAndHandles(aHandles, n);
    LUMO_ASSERT(vertexVault.dupIsClean());
    if (!is2D())
        for (const VaultEntry& e : vertexVault.getEntries()) sLowerDimVertices.insert(e.pVtx);
    timer("[quiet] Delaunay point insertion");
    if (pMsgPublisher != nullptr) pMsgPublisher->finish();
    bulkPhases.mark("duplicates");
    if (vertexVault.hasFakeBox()) removeFakeBox();
    bulkPhases.mark("fake box out");
}

bool Dt2::createFullDimTriangle(size_t numPreExistingVtx, const Bbox2* pNewBox) {
    LUMO_ASSERT(!vertexVault.bFullDimensional);
    Point2 *pA, *pB, *pC;
    if (!vertexVault.getThreeInitialPoints(pA, pB, pC, inserter.getGeomTest())) return false;
    vertexVault.bFullDimensional = true;
    sLowerDimVertices.clear();
    pLineA = pLineB = nullptr;
    Triangle2* pFirstT = inserter.getStore().create(pA, pB, pC);
    VaultEntry* startIt = vertexVault.begin();
    VaultEntry* stopIt = vertexVault.end();
    using std::distance;
    LUMO_ASSERT(numPreExistingVtx<=(size_t)distance(startIt,stopIt));
    // The vertices stored before this call, then the new ones, each range in key order; the
    // three corners are found as their own duplicates by the walk and left alone.
    VaultEntry* pMidIt = startIt + numPreExistingVtx;
    vertexVault.sortRun(numPreExistingVtx);
    vertexVault.sortTail();
    insertSortedRange(startIt, pMidIt, pFirstT);
    insertSortedRange(pMidIt, stopIt, pFirstT->getCorner(0)->getIncidentTriangle(), pNewBox);
    vertexVault.mergeTail();
    return true;
}

void Dt2::insertSortedRange(VaultEntry* pBegin, VaultEntry* pEnd, Triangle2* pStartT, const Bbox2* pRangeBox) {
    // Hooks (constraint guard, refinement observer) are not thread-safe: with them the range
    // stays on the calling thread.
    const size_t n = size_t(pEnd - pBegin);
    if (numCPU > 1 && n >= 1000 && vertexVault.hasFakeBox() && !inserter.hasHooks()) {
        InserterMT inserterMT(inserter, poolTriangles, vertexVault);
        inserterMT.setCellHook(mtCellHook);
        inserterMT.setPhaseTimes(&bulkPhases);
        inserterMT.run(pBegin, pEnd, pStartT, numCPU, fakeBoxDifferenceBound, pRangeBox);
        mtStats = inserterMT.getStats();
        // The calling thread's inserter counted the sample and the rest.
        if (pMsgPublisher != nullptr) pMsgPublisher->advance(n - mtStats.numSample - mtStats.numSerialRest);
        return;
    }
    if (n * 1024 >= vertexVault.size()) {
        inserter.triangulateRec(pBegin, pEnd, pStartT);
        return;
    }
    // A few points into a large triangulation lie far apart even in curve order: each starts,
    // as a single insertion does, from the vault's vertex nearest in key order unless the
    // previous point is nearer. Before any vault vertex is in (the first triangle has just been
    // made of three of them), the way starts at pStartT.
    const Point2* pPrev = nullptr;
    for (VaultEntry* e = pBegin; e != pEnd; ++e) {
        Triangle2* pStart = vertexVault.findCloseTriangle(e->key);
        if (pStart == nullptr)
            pStart = pPrev != nullptr ? pPrev->getIncidentTriangle() : pStartT;
        else if (pPrev != nullptr && sqDistance(*pPrev, *e->pVtx) < sqDistance(*pStart->getCorner(0), *e->pVtx))
            pStart = pPrev->getIncidentTriangle();
        inserter.insertOneVertex(e->pVtx, pStart);
        e->bActive = e->pVtx->getIncidentTriangle() != nullptr;
        if (e->bActive) pPrev = e->pVtx;
    }
}

void Dt2::installFakeBox() {
    // A box left behind by a bulk insertion that failed goes first.
    if (vertexVault.hasFakeBox()) removeFakeBox();
    if (!vertexVault.installFakeBox(bboxVertices)) return;
    double maxAbs = 0.0;
    Bbox2 box;
    for (size_t i = 0; i < 4; ++i) {
        const Point2* p = vertexVault.getFakeBoxCorner(i);
        maxAbs = std::max(maxAbs, p->getMaxAbs());
        box.add(*p);
    }
    GeomTest& geomTest = inserter.getGeomTest();
    if (maxAbs > geomTest.getCoordinateBound()) geomTest.setBound(maxAbs);
    fakeBoxDifferenceBound = box.getMaxRange();
    geomTest.setDifferenceBound(fakeBoxDifferenceBound);
}

void Dt2::removeFakeBox() {
    for (size_t i = 0; i < 4; ++i) {
        Point2* pFake = vertexVault.getFakeBoxCorner(i);
        if (pFake->getIncidentTriangle() == nullptr) continue;
        // The box is the hull: every corner is a hull vertex.
        const bool bClosed = collectUmbrella(pFake, vRemovalScratch);
        LUMO_ASSERT(!bClosed);
        if (removeHullVertex(pFake)) inserter.legalize(true);
        else dropToLowerDimensional();
        pFake->setIncidentTriangle(nullptr);
    }
    vertexVault.removeFakeBox();
    inserter.getGeomTest().setDifferenceBound(bboxVertices.getMaxRange());
}

Point2* Dt2::findLowerDimVertex(const Point2& p) const {
    Point2 probe(p.x(), p.y());
    auto it = sLowerDimVertices.find(&probe);
    return it == sLowerDimVertices.end() ? nullptr : *it;
}

bool Dt2::staysLowerDimensional(const Point2* p) {
    if (pLineB == nullptr) {
        // The first two distinct stored vertices, found once.
        const std::vector<VaultEntry>& v = vertexVault.getEntries();
        pLineA = v[0].pVtx;
        for (const VaultEntry& e : v)
            if (!(*e.pVtx == *pLineA)) {
                pLineB = e.pVtx;
                break;
            }
        if (pLineB == nullptr) return true;
    }
    return p == pLineB || inserter.getGeomTest().getOrientation2(pLineA, pLineB, p) == ORIENTATION2_COLLINEAR;
}

} // namespace ORBI_LUMO2D
