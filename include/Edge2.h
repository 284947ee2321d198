// Edge2: an edge named by a triangle and the index of the corner opposite to it.
#pragma once
#include <functional>
#include "Lumo2D_defs.h"

namespace ORBI_LUMO2D {

class LUMO2D_API Edge2 {
public:
    // The default edge has no triangle.
    Edge2() : pT(nullptr), oppIdx(0) {}
    Edge2(Triangle2* pT_, int oppIdx_) : pT(pT_), oppIdx(oppIdx_) {}

    Triangle2* getTriangle() const { return pT; }
    int getIndex() const { return oppIdx; }
    // Source is corner index+1, target corner index+2: counterclockwise in its triangle.
    Point2* getSrc() const;
    Point2* getTrg() const;
    void getPoints(Point2*& pSrc, Point2*& pTrg) const;
    // This triangle and index, and the neighbour across the edge with its own index (null/-1 at the hull).
    void getTriangles(Triangle2*& pT0, Triangle2*& pT1, int& idx0, int& idx1) const;
    // Squared length (no square root).
    double getLength2D() const;

    // Ordered by triangle address, then by index.
    bool operator<(const Edge2& e) const {
        return std::less<Triangle2*>()(pT, e.pT) || (pT == e.pT && oppIdx < e.oppIdx);
    }
    bool operator==(const Edge2& e) const { return pT == e.pT && oppIdx == e.oppIdx; }
    bool operator!=(const Edge2& e) const { return !(*this == e); }

private:
    Triangle2* pT;
    int oppIdx;
};

} // namespace ORBI_LUMO2D
