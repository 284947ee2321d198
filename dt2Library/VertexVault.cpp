#include "VertexVault.h"
#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <iostream>
#include "Bbox2.h"
#include "GeomTest.h"
#include "SimplePool.h"
#include "Triangle2.h"
#include "tools.h"

namespace ORBI_LUMO2D {

VertexVault::~VertexVault() {
    for (Point2* p : vFakeBoxHandles) delete p;
}

// ---- storage ------------------------------------------------------------------------------

void VertexVault::reserve(size_t n) {
    if (n <= vIdxVtxAct.capacity()) return;
    // At least half as much again: many small bulk insertions must not each copy the vault.
    vIdxVtxAct.reserve(std::max(n, vIdxVtxAct.capacity() + vIdxVtxAct.capacity() / 2));
    // Not faulted in here: the threads that fill the new entries do that, each its own part.
    const size_t numUsed = vIdxVtxAct.size();
    adviseHugePages(vIdxVtxAct.data() + numUsed, (vIdxVtxAct.capacity() - numUsed) * sizeof(VaultEntry));
}

void VertexVault::rekeyAll(const HC2& hc) {
    compact();
    dropTailIndex();
    for (VaultEntry& e : vIdxVtxAct) e.key = hc.getKey(e.pVtx->x(), e.pVtx->y());
    // Before the first triangle the entries stay in insertion order (the earliest of equal
    // points survives as the vertex); they are sorted when the triangulation starts.
    if (!bFullDimensional) return;
    std::sort(vIdxVtxAct.begin(), vIdxVtxAct.end());
    numSorted = vIdxVtxAct.size();
}

void VertexVault::sortByKey(VaultEntry* pBegin, VaultEntry* pEnd) {
    const size_t n = size_t(pEnd - pBegin);
    if (n < 256) {
        std::stable_sort(pBegin, pEnd);
        return;
    }
    if (std::is_sorted(pBegin, pEnd)) return;
    // Stable LSD radix sort over the 30 key bits in three passes of 10 bits. The scratch buffer
    // is freed before any vertex or triangle memory is touched, so it does not raise the peak.
    std::vector<VaultEntry> vTmp(n);
    VaultEntry* pSrc = pBegin;
    VaultEntry* pDst = vTmp.data();
    for (int shift = 0; shift < 30; shift += 10) {
        size_t aCount[1025] = {};
        for (size_t i = 0; i < n; ++i) ++aCount[((pSrc[i].key >> shift) & 1023u) + 1];
        for (int b = 0; b < 1024; ++b) aCount[b + 1] += aCount[b];
        for (size_t i = 0; i < n; ++i) pDst[aCount[(pSrc[i].key >> shift) & 1023u]++] = pSrc[i];
        std::swap(pSrc, pDst);
    }
    // Keys above 30 bits (never produced by HC2 with 30 bits) would need one more pass.
    if (pSrc != pBegin) std::copy(pSrc, pSrc + n, pBegin);
}

void VertexVault::sortTail() {
    dropTailIndex();
    sortByKey(begin() + numSorted, end());
}

void VertexVault::sortRun(size_t n) {
    LUMO_ASSERT(numSorted==0);
    dropTailIndex();
    sortByKey(begin(), begin() + n);
    numSorted = n;
}

void VertexVault::mergeTail() {
    if (numSorted == vIdxVtxAct.size()) return;
    if (numSorted > 0) std::inplace_merge(vIdxVtxAct.begin(), vIdxVtxAct.begin() + long(numSorted), vIdxVtxAct.end());
    numSorted = vIdxVtxAct.size();
    dropTailIndex();
}

void VertexVault::mergeTailIfLarge() {
    const size_t tail = vIdxVtxAct.size() - numSorted;
    if (tail > 16 + numSorted / 2) {
        sortTail();
        mergeTail();
    }
}

// ---- start triangles ------------------------------------------------------------------------

Triangle2* VertexVault::getCloseTriangle(uint32_t key) const {
    Triangle2* pT = findCloseTriangle(key);
    // No active entry at all: a caller asked for a start triangle before the first triangle.
    if (pT == nullptr) assertionFailed("getCloT() failed", __FILE__, __LINE__, __PRETTY_FUNCTION__);
    return pT;
}

Triangle2* VertexVault::findCloseTriangle(uint32_t key) const {
    if (numSorted > 0) {
        // First sorted entry whose key is not less than the query.
        size_t low = 0, high = numSorted;
        while (low < high) {
            const size_t mid = (low + high) / 2;
            if (vIdxVtxAct[mid].key < key) low = mid + 1;
            else high = mid;
        }
        const size_t resultIdx = low < numSorted ? low : numSorted - 1;
        const VaultEntry& e = vIdxVtxAct[resultIdx];
        if (e.bActive) {
            Triangle2* pT = e.pVtx->getIncidentTriangle();
            if (pT == nullptr) {
                std::cout << "HUH BUG" << std::endl;
                std::cout << "Address=" << key << std::endl;
                std::cout << "resultIdx=" << resultIdx << std::endl;
                std::cout << "pVtx=" << *e.pVtx << std::endl;
                for (size_t i = 0; i < vIdxVtxAct.size(); ++i)
                    if (vIdxVtxAct[i].pVtx != nullptr && *vIdxVtxAct[i].pVtx == *e.pVtx) std::cout << "found at index i=" << i << std::endl;
                LUMO_ASSERT(pT!=0);
            }
            return pT;
        }
        for (size_t i = resultIdx + 1; i < numSorted; ++i) {
            if (vIdxVtxAct[i].bActive) {
                Triangle2* pT = vIdxVtxAct[i].pVtx->getIncidentTriangle();
                LUMO_ASSERT(pT!=0);
                return pT;
            }
        }
        for (size_t i = resultIdx; i-- > 0;) {
            if (vIdxVtxAct[i].bActive) {
                Triangle2* pT = vIdxVtxAct[i].pVtx->getIncidentTriangle();
                LUMO_ASSERT(pT!=0);
                return pT;
            }
        }
    }
    // Nothing active in the sorted run: the closest active key in the unsorted tail.
    Triangle2* pBest = nullptr;
    uint32_t bestDiff = 0;
    for (size_t i = numSorted; i < vIdxVtxAct.size(); ++i) {
        const VaultEntry& e = vIdxVtxAct[i];
        if (!e.bActive) continue;
        Triangle2* pT = e.pVtx->getIncidentTriangle();
        if (pT == nullptr) break;
        const int32_t d = int32_t(e.key - key);
        const uint32_t diff = uint32_t(d < 0 ? -int64_t(d) : int64_t(d));
        if (pBest == nullptr || diff < bestDiff) {
            pBest = pT;
            bestDiff = diff;
        }
    }
    // No active entry, but the fake box may be in the triangulation: start at its corner.
    if (pBest == nullptr && !vFakeBoxHandles.empty()) {
        Point2* pFakeCorner = vFakeBoxHandles[0];
        LUMO_ASSERT(pFakeCorner!=0);
        return pFakeCorner->getIncidentTriangle();
    }
    return pBest;
}

Triangle2* VertexVault::getOneValidTriangle() const {
    for (const VaultEntry& e : vIdxVtxAct)
        if (e.pVtx != nullptr && e.pVtx->getIncidentTriangle() != nullptr) return e.pVtx->getIncidentTriangle();
    reportError("getOneValidTriangle()", "No valid triangle found");
    return nullptr;
}

size_t VertexVault::getIdxOfActiveVtx(const Point2* pQuery) const {
    for (size_t i = 0; i < vIdxVtxAct.size(); ++i)
        if (vIdxVtxAct[i].pVtx == pQuery) return i;
    reportError("VertexVault::getIdxOfActiveVtx", "pQuery not found");
    return size_t(-1);
}

bool VertexVault::getThreeInitialPoints(Point2*& a, Point2*& b, Point2*& c, GeomTest& geomTest) const {
    LUMO_ASSERT(!bFullDimensional);
    LUMO_ASSERT(!vIdxVtxAct.empty());
    if (vIdxVtxAct.size() < 3) return false;
    Point2* pA = vIdxVtxAct[0].pVtx;
    size_t i = 1;
    while (i < vIdxVtxAct.size() && *vIdxVtxAct[i].pVtx == *pA) ++i;
    if (i == vIdxVtxAct.size()) return false;
    Point2* pB = vIdxVtxAct[i].pVtx;
    for (++i; i < vIdxVtxAct.size(); ++i) {
        Point2* pC = vIdxVtxAct[i].pVtx;
        const Orientation2 o = geomTest.getOrientation2(pA, pB, pC);
        if (o == ORIENTATION2_COLLINEAR) continue;
        if (o == ORIENTATION2_CW) std::swap(pB, pC);
        LUMO_ASSERT(geomTest.getOrientation2(pA,pB,pC)==ORIENTATION2_CCW);
        a = pA;
        b = pB;
        c = pC;
        return true;
    }
    return false;
}

// ---- removal ----------------------------------------------------------------------------------

size_t VertexVault::narrowSortedRange(uint32_t key, size_t& hi) const {
    hi = numSorted;
    // A binary search over a large run misses the cache at almost every step.
    if (numSorted < 4096 || numSorted >= size_t(UINT32_MAX)) return 0;
    const int shift = 30 - DIRECTORY_BITS;
    const size_t numBuckets = size_t(1) << DIRECTORY_BITS;
    if (vKeyDirectory.empty() || numStaleLookups > 8) {
        vKeyDirectory.assign(numBuckets + 1, uint32_t(numSorted));
        size_t b = 0;
        for (size_t i = 0; i < numSorted; ++i)
            for (const size_t bi = size_t(vIdxVtxAct[i].key >> shift); b <= bi && b < numBuckets; ++b)
                vKeyDirectory[b] = uint32_t(i);
        numStaleLookups = 0;
    }
    const size_t b = size_t(key >> shift);
    if (b >= numBuckets) return 0;
    const size_t lo = vKeyDirectory[b], h = vKeyDirectory[b + 1];
    // Exactly the entries with this key prefix, whatever has moved since the directory was built?
    const uint32_t first = uint32_t(b) << shift, next = uint32_t(b + 1) << shift;
    const bool bValid = lo <= h && h <= numSorted && (lo == 0 || vIdxVtxAct[lo - 1].key < first) &&
                        (lo == h || vIdxVtxAct[lo].key >= first) && (h == lo || vIdxVtxAct[h - 1].key < next) &&
                        (h == numSorted || vIdxVtxAct[h].key >= next);
    if (!bValid) {
        ++numStaleLookups;
        return 0;
    }
    hi = h;
    return lo;
}

size_t VertexVault::findEntry(uint32_t key, const Point2* p) const {
    const auto itBegin = vIdxVtxAct.begin();
    size_t hi;
    const size_t lo = narrowSortedRange(key, hi);
    const auto itSorted = itBegin + long(hi);
    for (auto it = std::lower_bound(itBegin + long(lo), itSorted, VaultEntry{key, false, nullptr});
         it != itSorted && it->key == key; ++it)
        if (it->pVtx == p) return size_t(it - itBegin);
    return tailLookup(p);
}

size_t VertexVault::tailLookup(const Point2* p) const {
    const size_t tailSize = vIdxVtxAct.size() - numSorted;
    // A short tail is scanned: an index would cost more than it saves (and beyond four billion
    // entries an index would not fit its slots).
    if (tailSize < 64 || vIdxVtxAct.size() >= UINT32_MAX) {
        for (size_t i = numSorted; i < vIdxVtxAct.size(); ++i)
            if (vIdxVtxAct[i].pVtx == p) return i;
        return size_t(-1);
    }
    if (tailIndexedEnd < numSorted || tailIndexedEnd > vIdxVtxAct.size()) dropTailIndex();
    if (tailIndexedEnd == 0) tailIndexedEnd = numSorted;
    if (2 * tailSize > vTailIndex.size()) {
        // Rebuilt at four times the tail, so that it stays at most half full until the tail doubles.
        size_t numSlots = 64;
        while (numSlots < 4 * tailSize) numSlots *= 2;
        vTailIndex.assign(numSlots, 0);
        tailIndexedEnd = numSorted;
    }
    const size_t mask = vTailIndex.size() - 1;
    // Entries added since the last lookup; a record reused by a later vertex takes the later index.
    for (; tailIndexedEnd < vIdxVtxAct.size(); ++tailIndexedEnd) {
        const Point2* q = vIdxVtxAct[tailIndexedEnd].pVtx;
        if (q == nullptr) continue;
        size_t i = addressSlot(q, mask);
        while (vTailIndex[i] != 0 && vIdxVtxAct[vTailIndex[i] - 1].pVtx != q) i = (i + 1) & mask;
        vTailIndex[i] = uint32_t(tailIndexedEnd + 1);
    }
    for (size_t i = addressSlot(p, mask); vTailIndex[i] != 0; i = (i + 1) & mask)
        if (vIdxVtxAct[vTailIndex[i] - 1].pVtx == p) return vTailIndex[i] - 1;
    return size_t(-1);
}

void VertexVault::removeEntry(size_t idx) {
    LUMO_ASSERT(idx<vIdxVtxAct.size() && vIdxVtxAct[idx].pVtx!=0);
    vIdxVtxAct[idx].pVtx = nullptr;
    vIdxVtxAct[idx].bActive = false;
    ++numRemoved;
    if (numRemoved * 8 > vIdxVtxAct.size()) compact();
}

void VertexVault::compact() {
    if (numRemoved == 0) return;
    size_t w = 0, numRemovedSorted = 0;
    for (size_t r = 0; r < vIdxVtxAct.size(); ++r) {
        if (vIdxVtxAct[r].pVtx == nullptr) {
            if (r < numSorted) ++numRemovedSorted;
            continue;
        }
        vIdxVtxAct[w++] = vIdxVtxAct[r];
    }
    vIdxVtxAct.resize(w);
    numSorted -= numRemovedSorted;
    numRemoved = 0;
    dropTailIndex();
}

void VertexVault::resetToLowerDimensional() {
    compact();
    for (VaultEntry& e : vIdxVtxAct) e.bActive = false;
    numSorted = 0;
    dropTailIndex();
    bFullDimensional = false;
}

// ---- duplicates -------------------------------------------------------------------------------

void VertexVault::registerDup(Point2* pNew, Point2* pExisting) {
    const bool bInserted = mRedundant2UniqueVtx.emplace(pNew, pExisting).second;
    LUMO_ASSERT(bInserted);
}

Point2* VertexVault::treatOneDupGetHandle(Point2* p) {
    if (mRedundant2UniqueVtx.empty()) return p;
    LUMO_ASSERT(mRedundant2UniqueVtx.size()==1);
    auto q_it = mRedundant2UniqueVtx.find(p);
    LUMO_ASSERT(q_it!=mRedundant2UniqueVtx.end());
    Point2* pDup = q_it->first;
    Point2* pExisting = q_it->second;
    const VaultEntry* pLastItem = &vIdxVtxAct.back();
    LUMO_ASSERT(pDup==pLastItem->pVtx);
    vIdxVtxAct.pop_back();
    if (numSorted > vIdxVtxAct.size()) numSorted = vIdxVtxAct.size();
    // The next entry takes this index: it must be indexed anew.
    tailIndexedEnd = std::min(tailIndexedEnd, vIdxVtxAct.size());
    mRedundant2UniqueVtx.clear();
    return pExisting;
}

void VertexVault::treatDupsAndHandles(Point2** aHandles, size_t numHandles) {
    if (mRedundant2UniqueVtx.empty()) return;
    if (aHandles != nullptr) {
        size_t numFoundInHandles = 0;
        for (Point2** it = aHandles; it != aHandles + numHandles; ++it) {
            if (*it == nullptr || (*it)->getIncidentTriangle() != nullptr) continue;
            auto q_it = mRedundant2UniqueVtx.find(*it);
            if (q_it == mRedundant2UniqueVtx.end()) continue;
            Point2* pExistingVtx = q_it->second;
            LUMO_ASSERT(**it==*pExistingVtx);
            *it = pExistingVtx;
            ++numFoundInHandles;
        }
        LUMO_ASSERT(mRedundant2UniqueVtx.size()==numFoundInHandles);
    }
    // Drop the duplicates' entries; erase-remove keeps the key order of both runs.
    size_t numFoundInIdxVtxAct = 0, numFoundInSorted = 0;
    size_t w = 0;
    for (size_t r = 0; r < vIdxVtxAct.size(); ++r) {
        const VaultEntry& e = vIdxVtxAct[r];
        if (!e.bActive && mRedundant2UniqueVtx.count(e.pVtx) != 0) {
            ++numFoundInIdxVtxAct;
            if (r < numSorted) ++numFoundInSorted;
            continue;
        }
        vIdxVtxAct[w++] = e;
    }
    vIdxVtxAct.resize(w);
    numSorted -= numFoundInSorted;
    dropTailIndex();
    LUMO_ASSERT(mRedundant2UniqueVtx.size()==numFoundInIdxVtxAct);
    mRedundant2UniqueVtx.clear();
    LUMO_ASSERT(mRedundant2UniqueVtx.empty());
}

void VertexVault::findDupsBySorting() {
    std::vector<Point2*> v;
    v.reserve(vIdxVtxAct.size());
    for (const VaultEntry& e : vIdxVtxAct) v.push_back(e.pVtx);
    // Stable: the earliest stored vertex of each coordinate pair survives.
    std::stable_sort(v.begin(), v.end(), [](const Point2* a, const Point2* b) { return *a < *b; });
    for (size_t i = 1; i < v.size(); ++i) {
        size_t j = i - 1;
        if (*v[i] == *v[j]) {
            Point2* pSurvivor = v[j];
            auto it = mRedundant2UniqueVtx.find(pSurvivor);
            if (it != mRedundant2UniqueVtx.end()) pSurvivor = it->second;
            registerDup(v[i], pSurvivor);
        }
    }
}

// ---- fake box ---------------------------------------------------------------------------------

bool VertexVault::installFakeBox(const Bbox2& bbox) {
    LUMO_ASSERT(vFakeBoxHandles.empty());
    Bbox2 box(bbox);
    box.enlargeRanges(1.01);
    // Strictly outside even where the enlargement rounds away (a zero range, coordinates whose
    // spacing is larger than a hundredth of the range): each side at least one double beyond
    // the data. The side is the corner's, not a comparison with the middle, which may round
    // onto the data's own edge.
    const double x0 = std::min(box.get_minX(), std::nextafter(bbox.get_minX(), -HUGE_VAL));
    const double x1 = std::max(box.get_maxX(), std::nextafter(bbox.get_maxX(), HUGE_VAL));
    const double y0 = std::min(box.get_minY(), std::nextafter(bbox.get_minY(), -HUGE_VAL));
    const double y1 = std::max(box.get_maxY(), std::nextafter(bbox.get_maxY(), HUGE_VAL));
    if (!std::isfinite(x0) || !std::isfinite(x1) || !std::isfinite(y0) || !std::isfinite(y1)) return false;
    for (const Point2& c : {Point2(x0, y0), Point2(x1, y0), Point2(x1, y1), Point2(x0, y1)})
        vFakeBoxHandles.push_back(new Point2(c.x(), c.y()));
    return true;
}

Point2* VertexVault::getFakeBoxCorner(size_t i) const {
    LUMO_ASSERT(vFakeBoxHandles.size()>i);
    return vFakeBoxHandles[i];
}

void VertexVault::removeFakeBox() {
    LUMO_ASSERT(vFakeBoxHandles.size()==4);
    for (Point2* p : vFakeBoxHandles) delete p;
    vFakeBoxHandles.clear();
}

} // namespace ORBI_LUMO2D
