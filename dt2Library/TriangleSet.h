// TriangleSet: membership of triangles by address, for the zone queries that mark a million
// triangles at a time (flood fills, set operations). Open addressing with linear probing over a
// power-of-two table kept at most half full: one multiply and usually one probe per question.
#pragma once
#include <cstdint>
#include <vector>
#include "Edge2.h"
#include "Triangle2.h"

namespace ORBI_LUMO2D {

class TriangleSet {
public:
    explicit TriangleSet(size_t numExpected = 0) { reset(numExpected); }
    // Empties the set, sized for numExpected members without growing.
    void reset(size_t numExpected) {
        size_t cap = 16;
        while (cap < 2 * numExpected + 16) cap <<= 1;
        vSlots.assign(cap, nullptr);
        mask = cap - 1;
        num = 0;
    }
    // True when pT was not a member yet.
    bool insert(const Triangle2* pT) {
        if (2 * (num + 1) > vSlots.size()) grow();
        size_t i = slotOf(pT);
        while (vSlots[i] != nullptr) {
            if (vSlots[i] == pT) return false;
            i = (i + 1) & mask;
        }
        vSlots[i] = pT;
        ++num;
        return true;
    }
    bool contains(const Triangle2* pT) const {
        size_t i = slotOf(pT);
        while (vSlots[i] != nullptr) {
            if (vSlots[i] == pT) return true;
            i = (i + 1) & mask;
        }
        return false;
    }
    size_t size() const { return num; }

private:
    size_t slotOf(const Triangle2* pT) const {
        uint64_t h = uint64_t(reinterpret_cast<uintptr_t>(pT)) * 0x9E3779B97F4A7C15ull;
        return size_t(h ^ (h >> 29)) & mask;
    }
    void grow() {
        std::vector<const Triangle2*> vOld;
        vOld.swap(vSlots);
        reset(vOld.size());
        for (const Triangle2* pT : vOld)
            if (pT != nullptr) insert(pT);
    }
    std::vector<const Triangle2*> vSlots;
    size_t mask{0};
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
inline void appendBorderEdges(const std::vector<Triangle2*>& vTriangles, std::vector<Edge2>& vBorderOut) {
    TriangleSet sIn(vTriangles.size());
    for (Triangle2* pT : vTriangles) sIn.insert(pT);
    for (Triangle2* pT : vTriangles) {
        for (int i = 0; i < 3; ++i) {
            const Triangle2* pN = pT->getOppositeTriangle(i);
            if (pN == nullptr || !sIn.contains(pN)) vBorderOut.emplace_back(pT, i);
        }
    }
}

} // namespace ORBI_LUMO2D
