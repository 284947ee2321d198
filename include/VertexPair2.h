// VertexPair2: an unordered pair of vertices, stored in address order.
#pragma once
#include <functional>
#include "Point2.h"

namespace ORBI_LUMO2D {

class LUMO2D_API VertexPair2 {
public:
    // Stores the lower address first: (p, q) and (q, p) give the same pair.
    VertexPair2(Point2* p0, Point2* p1) {
        if (std::less<Point2*>()(p0, p1)) { pFirst = p0; pSecond = p1; }
        else { pFirst = p1; pSecond = p0; }
    }
    Point2* getP0() const { return pFirst; }
    Point2* getP1() const { return pSecond; }
    // Squared Euclidean length.
    double getSqLen2D() const {
        const double dx = pSecond->x() - pFirst->x(), dy = pSecond->y() - pFirst->y();
        return dx * dx + dy * dy;
    }
    // By first pointer, then second pointer.
    bool operator<(const VertexPair2& o) const {
        std::less<Point2*> lt;
        return lt(pFirst, o.pFirst) || (pFirst == o.pFirst && lt(pSecond, o.pSecond));
    }
    bool operator==(const VertexPair2& o) const { return pFirst == o.pFirst && pSecond == o.pSecond; }

private:
    Point2* pFirst;
    Point2* pSecond;
};

} // namespace ORBI_LUMO2D
