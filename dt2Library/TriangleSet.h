// TriangleSet: membership of triangles of one triangulation, for the zone queries that mark a
// million triangles at a time (flood fills, set operations). One bit per triangle record of the
// pool, found by the record's block and offset: triangles created near each other in space lie
// near each other in the pool, so a flood fill touches few cache lines of a small bitmap.
// The pool must not grow while the set is in use.
#pragma once
#include <algorithm>
#include <cstdint>
#include <vector>
#include "Edge2.h"
#include "SimplePool.h"
#include "Triangle2.h"

namespace ORBI_LUMO2D {

// The number of each record of a pool, a dense key for per-record arrays, found by the
// record's block and offset. The pool must not grow while the index is in use.
template <class T> class PoolRecordIndex {
public:
    explicit PoolRecordIndex(const SimplePool<T>& pool) {
        pool.forEachBlock([&](const T* pFirst, size_t count) {
            vBlocks.push_back(Block{pFirst, pFirst + count, num});
            num += count;
        });
        std::sort(vBlocks.begin(), vBlocks.end(), [](const Block& a, const Block& b) { return a.pBegin < b.pBegin; });
        if (vBlocks.empty()) vBlocks.push_back(Block{nullptr, nullptr, 0});   // every lookup fails
    }
    // The number of records; indexOf answers below it.
    size_t numRecords() const { return num; }
    // The record's number; the last block found is tried first.
    size_t indexOf(const T* p) const {
        const Block* pB = &vBlocks[lastBlock];
        if (!(p >= pB->pBegin && p < pB->pEnd)) {
            auto it = std::upper_bound(vBlocks.begin(), vBlocks.end(), p,
                                       [](const T* q, const Block& b) { return q < b.pBegin; });
            LUMO_ASSERT(it!=vBlocks.begin());
            pB = &*(it - 1);
            LUMO_ASSERT(p<pB->pEnd);
            lastBlock = size_t(pB - vBlocks.data());
        }
        return pB->firstIndex + size_t(p - pB->pBegin);
    }

private:
    struct Block {
        const T* pBegin;
        const T* pEnd;
        size_t firstIndex;
    };
    std::vector<Block> vBlocks;
    mutable size_t lastBlock{0};
    size_t num{0};
};

class TriangleSet {
public:
    explicit TriangleSet(const SimplePool<Triangle2>& pool) : index(pool), vBits(index.numRecords() / 64 + 1, 0) {}
    // True when pT was not a member yet.
    bool insert(const Triangle2* pT) {
        const size_t i = index.indexOf(pT);
        uint64_t& word = vBits[i >> 6];
        const uint64_t bit = uint64_t(1) << (i & 63);
        if ((word & bit) != 0) return false;
        word |= bit;
        ++num;
        return true;
    }
    bool contains(const Triangle2* pT) const {
        const size_t i = index.indexOf(pT);
        return (vBits[i >> 6] >> (i & 63) & 1) != 0;
    }
    size_t size() const { return num; }

private:
    PoolRecordIndex<Triangle2> index;
    std::vector<uint64_t> vBits;
    size_t num{0};
};

// Appends to vPart the triangles of sIn reached from pFirst across edges (not across single
// vertices), marking them in sSeen; pFirst must be in sIn and not yet in sSeen.
inline void collectEdgeConnectedPart(Triangle2* pFirst, const TriangleSet& sIn, TriangleSet& sSeen,
                                     std::vector<Triangle2*>& vPart) {
    vPart.assign(1, pFirst);
    sSeen.insert(pFirst);
    for (size_t head = 0; head < vPart.size(); ++head) {
        for (int i = 0; i < 3; ++i) {
            Triangle2* pN = vPart[head]->getOppositeTriangle(i);
            if (pN != nullptr && sIn.contains(pN) && sSeen.insert(pN)) vPart.push_back(pN);
        }
    }
}

// Appends the edges of the (distinct) triangles whose other side is not one of them or the
// hull, named by the inner triangle: counterclockwise there, so the triangles are on the left.
// isMember(pT) answers membership in the set of vTriangles.
template <class IsMember>
void appendBorderEdges(const std::vector<Triangle2*>& vTriangles, IsMember isMember, std::vector<Edge2>& vBorderOut) {
    for (Triangle2* pT : vTriangles) {
        for (int i = 0; i < 3; ++i) {
            const Triangle2* pN = pT->getOppositeTriangle(i);
            if (pN == nullptr || !isMember(pN)) vBorderOut.emplace_back(pT, i);
        }
    }
}
inline void appendBorderEdges(const SimplePool<Triangle2>& pool, const std::vector<Triangle2*>& vTriangles,
                              std::vector<Edge2>& vBorderOut) {
    TriangleSet sIn(pool);
    for (Triangle2* pT : vTriangles) sIn.insert(pT);
    appendBorderEdges(vTriangles, [&sIn](const Triangle2* pT) { return sIn.contains(pT); }, vBorderOut);
}

} // namespace ORBI_LUMO2D
