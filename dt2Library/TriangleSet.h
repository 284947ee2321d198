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

class TriangleSet {
public:
    explicit TriangleSet(const SimplePool<Triangle2>& pool) {
        size_t numRecords = 0;
        pool.forEachBlock([&](const Triangle2* pFirst, size_t count) {
            vBlocks.push_back(Block{pFirst, pFirst + count, numRecords});
            numRecords += count;
        });
        std::sort(vBlocks.begin(), vBlocks.end(), [](const Block& a, const Block& b) { return a.pBegin < b.pBegin; });
        if (vBlocks.empty()) vBlocks.push_back(Block{nullptr, nullptr, 0});   // every lookup fails
        vBits.assign(numRecords / 64 + 1, 0);
    }
    // True when pT was not a member yet.
    bool insert(const Triangle2* pT) {
        const size_t i = indexOf(pT);
        uint64_t& word = vBits[i >> 6];
        const uint64_t bit = uint64_t(1) << (i & 63);
        if ((word & bit) != 0) return false;
        word |= bit;
        ++num;
        return true;
    }
    bool contains(const Triangle2* pT) const {
        const size_t i = indexOf(pT);
        return (vBits[i >> 6] >> (i & 63) & 1) != 0;
    }
    size_t size() const { return num; }

private:
    struct Block {
        const Triangle2* pBegin;
        const Triangle2* pEnd;
        size_t firstIndex;
    };
    // The record's number in the pool; the last block found is tried first.
    size_t indexOf(const Triangle2* pT) const {
        const Block* pB = &vBlocks[lastBlock];
        if (!(pT >= pB->pBegin && pT < pB->pEnd)) {
            auto it = std::upper_bound(vBlocks.begin(), vBlocks.end(), pT,
                                       [](const Triangle2* p, const Block& b) { return p < b.pBegin; });
            LUMO_ASSERT(it!=vBlocks.begin());
            pB = &*(it - 1);
            LUMO_ASSERT(pT<pB->pEnd);
            lastBlock = size_t(pB - vBlocks.data());
        }
        return pB->firstIndex + size_t(pT - pB->pBegin);
    }
    std::vector<Block> vBlocks;
    std::vector<uint64_t> vBits;
    mutable size_t lastBlock{0};
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
