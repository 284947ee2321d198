#include "Triangle2.h"
#include <cmath>
#include <exception>
#include <iostream>
#include "Orientation2.h"
#include "Vector2.h"
#include "tools.h"

namespace ORBI_LUMO2D {

// ---- topology ------------------------------------------------------------------------

int Triangle2::getIntraTriangleIndex(const Point2* p0, const Point2* p1) const {
    for (int i = 0; i < 3; ++i) {
        const Point2* a = aVertexPointer[incIndexBy1(i)];
        const Point2* b = aVertexPointer[incIndexBy2(i)];
        if ((a == p0 && b == p1) || (a == p1 && b == p0)) return i;
    }
    std::cout << "BUG: Triangle2::getIntraTriangleIndex failed for" << std::endl;
    std::cout << *p0 << std::endl;
    std::cout << *p1 << std::endl;
    std::cout << *this << std::endl;
    return -1;
}

bool Triangle2::hasVertex(const Point2& p) const {
    return *aVertexPointer[0] == p || *aVertexPointer[1] == p || *aVertexPointer[2] == p;
}

bool Triangle2::hasOnEdge(int i, const Point2& q) const {
    const Point2* a = aVertexPointer[i];
    const Point2* b = aVertexPointer[incIndexBy1(i)];
    const Point2* c = aVertexPointer[incIndexBy2(i)];
    if (getOrientation2(b, c, &q) != ORIENTATION2_COLLINEAR) return false;
    if (getOrientation2(a, b, &q) == ORIENTATION2_CW) return false;
    if (getOrientation2(c, a, &q) == ORIENTATION2_CW) return false;
    return true;
}

// ---- measures ----------------------------------------------------------------------------

namespace {
double dist(const Point2* a, const Point2* b) {
    const double dx = a->x() - b->x(), dy = a->y() - b->y();
    return std::sqrt(dx * dx + dy * dy);
}
double sqDist(const Point2* a, const Point2* b) {
    const double dx = a->x() - b->x(), dy = a->y() - b->y();
    return dx * dx + dy * dy;
}

} // namespace

// Heron's formula; a product that is not a number is a broken triangle.
double Triangle2::computeArea(double a, double b, double c) const {
    const double ownHalfCircf = (a + b + c) * 0.5;
    const double p = ownHalfCircf * (ownHalfCircf - a) * (ownHalfCircf - b) * (ownHalfCircf - c);
    if (std::isnan(p)) {
        std::cout << "invalid value, no area for this triangle" << std::endl;
        std::cout << "ownHalfCircf=" << ownHalfCircf << std::endl;
        std::cout << "Corners are:" << std::endl;
        for (int i = 0; i < 3; ++i) std::cout << *aVertexPointer[i] << std::endl;
        std::cout << "len0=" << a << std::endl;
        std::cout << "len1=" << b << std::endl;
        std::cout << "len2=" << c << std::endl;
        LUMO_ASSERT(false);
    }
    if (p <= 0.0) return 0.0;
    return std::sqrt(p);
}

double Triangle2::getArea2D() const {
    const double a = dist(aVertexPointer[0], aVertexPointer[2]);
    const double b = dist(aVertexPointer[2], aVertexPointer[1]);
    const double c = dist(aVertexPointer[1], aVertexPointer[0]);
    return computeArea(a, b, c);
}

Point2 Triangle2::getBarycenter() const {
    const double x = (aVertexPointer[0]->x() + aVertexPointer[1]->x() + aVertexPointer[2]->x()) / 3.0;
    const double y = (aVertexPointer[0]->y() + aVertexPointer[1]->y() + aVertexPointer[2]->y()) / 3.0;
    return Point2(x, y);
}

double Triangle2::getSquaredEdgeLength2D(int i) const {
    return sqDist(aVertexPointer[incIndexBy1(i)], aVertexPointer[incIndexBy2(i)]);
}

double Triangle2::getMaxSqEdgeLen2D() const {
    return std::max(getSquaredEdgeLength2D(0), std::max(getSquaredEdgeLength2D(1), getSquaredEdgeLength2D(2)));
}

int Triangle2::getMaxIndex() const {
    double best = -1.0;
    int idx = 0;
    for (int i = 0; i < 3; ++i) {
        const double l = getSquaredEdgeLength2D(i);
        if (l > best) { best = l; idx = i; }
    }
    return idx;
}

int Triangle2::getMinIndex() const {
    double best = DBL_MAX;
    int idx = 0;
    for (int i = 0; i < 3; ++i) {
        const double l = getSquaredEdgeLength2D(i);
        if (l < best) { best = l; idx = i; }
    }
    return idx;
}

double Triangle2::getInteriorAngle2D(int ith) const {
    const Point2* c = aVertexPointer[ith];
    const Point2* n = aVertexPointer[incIndexBy1(ith)];
    const Point2* p = aVertexPointer[incIndexBy2(ith)];
    const Vector2 v0 = normalize(Vector2(n->x() - c->x(), n->y() - c->y()));
    const Vector2 v1 = normalize(Vector2(p->x() - c->x(), p->y() - c->y()));
    double dot = v0 * v1;
    if (dot > 1.0) dot = 1.0;
    if (dot < -1.0) dot = -1.0;
    return std::acos(dot) * 57.295779513;
}

// ---- circumcentre ----------------------------------------------------------------------------

namespace {
// The arithmetic runs relative to the barycentre so that far-off triangles keep their digits.
void getCommonOffset(const Triangle2& t, double& ox, double& oy) {
    const Point2 b = t.getBarycenter();
    ox = b.x();
    oy = b.y();
}

// Closed form; fails on a zero denominator (collinear corners).
bool getCC_strategy1(const double ax, const double ay, const double bx, const double by, const double cx,
                     const double cy, double& ux, double& uy) {
    const double d = 2.0 * (ax * (by - cy) + bx * (cy - ay) + cx * (ay - by));
    if (d == 0.0 || !std::isfinite(d)) return false;
    const double a2 = ax * ax + ay * ay, b2 = bx * bx + by * by, c2 = cx * cx + cy * cy;
    ux = (a2 * (by - cy) + b2 * (cy - ay) + c2 * (ay - by)) / d;
    uy = (a2 * (cx - bx) + b2 * (ax - cx) + c2 * (bx - ax)) / d;
    return std::isfinite(ux) && std::isfinite(uy);
}
} // namespace

std::pair<Point2, bool> Triangle2::getDual() const {
    double ox, oy;
    getCommonOffset(*this, ox, oy);
    const int i = getMaxIndex();
    const Point2* pI = aVertexPointer[i];
    const Point2* pPrev = aVertexPointer[incIndexBy2(i)];
    const Point2* pNext = aVertexPointer[incIndexBy1(i)];

    auto isAccurateCC = [&](const Point2& cc) {
        if (getOrientation2(pPrev, pI, &cc) == ORIENTATION2_CW) return false;
        if (getOrientation2(pI, pNext, &cc) == ORIENTATION2_CW) return false;
        const double d0 = dist(&cc, aVertexPointer[0]), d1 = dist(&cc, aVertexPointer[1]),
                     d2 = dist(&cc, aVertexPointer[2]);
        const double diff = std::max(std::fabs(d0 - d1), std::max(std::fabs(d1 - d2), std::fabs(d0 - d2)));
        return diff < 1e-6;
    };

    double ux, uy;
    if (getCC_strategy1(aVertexPointer[0]->x() - ox, aVertexPointer[0]->y() - oy, aVertexPointer[1]->x() - ox,
                        aVertexPointer[1]->y() - oy, aVertexPointer[2]->x() - ox, aVertexPointer[2]->y() - oy, ux,
                        uy)) {
        const Point2 cc(ux + ox, uy + oy);
        if (isAccurateCC(cc)) return std::make_pair(cc, true);
    }

    // getCC_strategy2: bisection along the perpendicular bisector of the longest edge.
    const double mx = 0.5 * (pPrev->x() + pNext->x()), my = 0.5 * (pPrev->y() + pNext->y());
    const double ex = pPrev->x() - pNext->x(), ey = pPrev->y() - pNext->y();
    const double edgeLen = std::sqrt(ex * ex + ey * ey);
    // The normal points away from corner i; it is flipped towards i when the angle at i is
    // acute (i farther from m than the end points), where the centre lies within |i-m| of m.
    double nx = ey / edgeLen, ny = -ex / edgeLen;
    const Point2 m(mx, my);
    double searchLen = 1e13;
    const double distIM = dist(pI, &m), halfEdge = 0.5 * edgeLen;
    if (distIM > halfEdge) {
        nx = -nx;
        ny = -ny;
        searchLen = distIM;
    }
    auto f = [&](const Point2& c) { return sqDist(&c, pI) - sqDist(&c, pNext); };
    const bool bStartPositive = f(m) > 0.0;
    double lo = 0.0, hi = 1.0;
    Point2 cc(mx, my);
    for (int it = 0; it < 2000; ++it) {
        const double t = 0.5 * (lo + hi);
        cc = Point2(mx + nx * t * searchLen, my + ny * t * searchLen);
        const double diff = f(cc);
        if (std::fabs(diff) < 1e-16) break;
        if ((diff > 0.0) == bStartPositive) lo = t;
        else hi = t;
        const double tNext = 0.5 * (lo + hi);
        if (tNext == lo || tNext == hi) break;  // the interval no longer shrinks
    }
    return std::make_pair(cc, isAccurateCC(cc));
}

// ---- text form ----------------------------------------------------------------------------

std::ostream& operator<<(std::ostream& os, const Triangle2& t) {
    os << "Triangle(" << static_cast<const void*>(&t) << "): area2D=" << t.getArea2D() << ", ";
    switch (getOrientation2(t.getCorner(0), t.getCorner(1), t.getCorner(2))) {
    case ORIENTATION2_CCW: os << "CCW"; break;
    case ORIENTATION2_CW: os << "ATTENTION, CLOCKWISE CORNERS!"; break;
    default: os << "ATTENTION, COLLINEAR CORNERS"; break;
    }
    os << "\n";
    for (int i = 0; i < 3; ++i) {
        os << i << ": " << *t.getCorner(i) << "\t oppTriangle: ";
        if (t.getOppositeTriangle(i)) os << static_cast<const void*>(t.getOppositeTriangle(i));
        else os << 0;
        os << "\n";
    }
    return os;
}

// ---- iterator around a vertex ------------------------------------------------------------------
//
// Around an interior vertex operator++ cycles for ever. Around a hull vertex with triangles
// T1..Tk in counterclockwise order, repeated operator++ from T1 yields T1..Tk, then null once,
// then T1 again: loop() turns the run-off into a wrap to the far end of the fan.

TriangleAroundVertexIterator::TriangleAroundVertexIterator(const Point2* pVtx_)
    : pVtx(const_cast<Point2*>(pVtx_)), pTr(nullptr), pSaveTr(nullptr) {
    // A null centre leaves pTr and pSaveTr null: every step and preview then answers null.
    if (pVtx_ == nullptr) {
        reportWarning("TriangleAroundVertexIterator::TriangleAroundVertexIterator()", "pVtx is null");
        return;
    }
    pTr = pVtx_->getIncidentTriangle();
    if (pTr == nullptr) throw std::exception();
}

TriangleAroundVertexIterator& TriangleAroundVertexIterator::operator++() {
    if (pTr == nullptr) {
        loop();
        return *this;
    }
    pSaveTr = pTr;
    pTr = pTr->getOppositeTriangle(incIndexBy1(pTr->getIntraTriangleIndex(pVtx)));
    return *this;
}

TriangleAroundVertexIterator& TriangleAroundVertexIterator::operator--() {
    if (pTr == nullptr) {
        loop();
        return *this;
    }
    pSaveTr = pTr;
    pTr = pTr->getOppositeTriangle(incIndexBy2(pTr->getIntraTriangleIndex(pVtx)));
    return *this;
}

Triangle2* TriangleAroundVertexIterator::previewNextTriangle() const {
    if (pTr != nullptr) return pTr->getOppositeTriangle(incIndexBy1(pTr->getIntraTriangleIndex(pVtx)));
    TriangleAroundVertexIterator copy(*this);
    copy.loop();
    return copy.pTr;
}

Triangle2* TriangleAroundVertexIterator::previewPrevTriangle() const {
    if (pTr != nullptr) return pTr->getOppositeTriangle(incIndexBy2(pTr->getIntraTriangleIndex(pVtx)));
    TriangleAroundVertexIterator copy(*this);
    copy.loop();
    return copy.pTr;
}

void TriangleAroundVertexIterator::loop() {
    pTr = pSaveTr;
    if (pTr == nullptr) return;
    const int i = pTr->getIntraTriangleIndex(pVtx);
    if (pTr->getOppositeTriangle(incIndexBy1(i)) != nullptr) {
        // Ran off going clockwise: go to the counterclockwise end.
        while (pTr != nullptr) {
            pSaveTr = pTr;
            pTr = pTr->getOppositeTriangle(incIndexBy1(pTr->getIntraTriangleIndex(pVtx)));
        }
        pTr = pSaveTr;
    } else if (pTr->getOppositeTriangle(incIndexBy2(i)) != nullptr) {
        // Ran off going counterclockwise: go to the clockwise end.
        while (pTr != nullptr) {
            pSaveTr = pTr;
            pTr = pTr->getOppositeTriangle(incIndexBy2(pTr->getIntraTriangleIndex(pVtx)));
        }
        pTr = pSaveTr;
    }
}

} // namespace ORBI_LUMO2D
