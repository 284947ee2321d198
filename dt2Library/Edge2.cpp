#include "Edge2.h"
#include "Triangle2.h"

namespace ORBI_LUMO2D {

Point2* Edge2::getSrc() const { return pT->getCorner(incIndexBy1(oppIdx)); }
Point2* Edge2::getTrg() const { return pT->getCorner(incIndexBy2(oppIdx)); }

void Edge2::getPoints(Point2*& pSrc, Point2*& pTrg) const {
    pSrc = getSrc();
    pTrg = getTrg();
}

void Edge2::getTriangles(Triangle2*& pT0, Triangle2*& pT1, int& idx0, int& idx1) const {
    pT0 = pT;
    idx0 = oppIdx;
    pT1 = pT->getOppositeTriangle(oppIdx);
    idx1 = pT1 ? pT1->getIntraTriangleIndex(pT) : -1;
}

double Edge2::getLength2D() const {
    const Point2 *s = getSrc(), *t = getTrg();
    const double dx = t->x() - s->x(), dy = t->y() - s->y();
    return dx * dx + dy * dy;
}

} // namespace ORBI_LUMO2D
