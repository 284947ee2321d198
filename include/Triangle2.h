// Triangle2: three counterclockwise corners and three neighbours, nothing else.
// Neighbour i lies across the edge opposite corner i; null on the convex hull.
#pragma once
#include <iosfwd>
#include <utility>
#include "Point2.h"

namespace ORBI_LUMO2D {

inline int incIndexBy1(int i) { return i == 2 ? 0 : i + 1; }
inline int incIndexBy2(int i) { return i == 0 ? 2 : i - 1; }

class LUMO2D_API Triangle2 {
public:
    Triangle2() : aVertexPointer{nullptr, nullptr, nullptr}, aOppTriangles{nullptr, nullptr, nullptr} {}

    // ---- topology (unchecked, constant time) ----------------------------------
    Point2* getCorner(int ith) const { return aVertexPointer[ith]; }
    Triangle2* getOppositeTriangle(int ith) const { return aOppTriangles[ith]; }
    void setOppTriangle(int ith, Triangle2* t) { aOppTriangles[ith] = t; }
    void setVertexPointer(int ith, Point2* p) { aVertexPointer[ith] = p; }
    // Sets the corners, makes this the corners' incident triangle, clears the neighbours.
    void setProperties(Point2* p0, Point2* p1, Point2* p2) {
        setPropertiesAndOppT(p0, p1, p2, nullptr, nullptr, nullptr);
    }
    void setPropertiesAndOppT(Point2* p0, Point2* p1, Point2* p2, Triangle2* t0, Triangle2* t1, Triangle2* t2) {
        aVertexPointer[0] = p0; aVertexPointer[1] = p1; aVertexPointer[2] = p2;
        p0->setIncidentTriangle(this); p1->setIncidentTriangle(this); p2->setIncidentTriangle(this);
        aOppTriangles[0] = t0; aOppTriangles[1] = t1; aOppTriangles[2] = t2;
    }
    void clearProperties() { *this = Triangle2(); }
    // Index of corner p / neighbour t; the caller must know that it is there (0 otherwise).
    int getIntraTriangleIndex(const Point2* p) const {
        return (aVertexPointer[2] == p ? 2 : 0) + (aVertexPointer[1] == p ? 1 : 0);
    }
    int getIntraTriangleIndex(const Triangle2* t) const {
        return (aOppTriangles[2] == t ? 2 : 0) + (aOppTriangles[1] == t ? 1 : 0);
    }
    // Index of the edge (p0,p1) in either order; prints a BUG line and returns -1 if absent.
    int getIntraTriangleIndex(const Point2* p0, const Point2* p1) const;
    bool hasVertex(const Point2* p) const {
        return aVertexPointer[0] == p || aVertexPointer[1] == p || aVertexPointer[2] == p;
    }
    // Some corner has exactly p's coordinates.
    bool hasVertex(const Point2& p) const;
    // q lies on the closed edge opposite corner i (exact).
    bool hasOnEdge(int i, const Point2& q) const;

    // ---- measures (double precision) ----------------------------------------------
    double getArea2D() const;
    Point2 getBarycenter() const;
    double getSquaredEdgeLength2D(int i) const;
    double getSquaredEdgeLength(int i) const { return getSquaredEdgeLength2D(i); }
    double getMaxSqEdgeLen2D() const;
    int getMaxIndex() const;
    int getMinIndex() const;
    double getInteriorAngle2D(int ith) const;
    // Circumcentre and whether it passed the accuracy check.
    std::pair<Point2, bool> getDual() const;

protected:
    // Heron's formula over the edge lengths a, b, c; a product that is not a number fails an
    // assertion after printing the triangle.
    double computeArea(double a, double b, double c) const;
    Point2* aVertexPointer[3];
    Triangle2* aOppTriangles[3];
};

LUMO2D_API std::ostream& operator<<(std::ostream& os, const Triangle2& t);

// Walks the triangles around one vertex; see the header of the implementation for
// the behaviour at the convex hull (one null between the last and the first triangle).
class LUMO2D_API TriangleAroundVertexIterator {
public:
    // Starts at the vertex's incident triangle; throws std::exception when there is none. A
    // null pVtx warns and gives an iterator that stands on null and stays there.
    explicit TriangleAroundVertexIterator(const Point2* pVtx);
    TriangleAroundVertexIterator(Point2* pVtx_, Triangle2* pTr_) : pVtx(pVtx_), pTr(pTr_), pSaveTr(nullptr) {}
    TriangleAroundVertexIterator(const TriangleAroundVertexIterator&) = default;
    TriangleAroundVertexIterator& operator=(const TriangleAroundVertexIterator&) = default;

    Triangle2* operator*() const { return pTr; }
    bool operator==(const TriangleAroundVertexIterator& o) const { return pVtx == o.pVtx && pTr == o.pTr; }
    bool operator!=(const TriangleAroundVertexIterator& o) const { return !(*this == o); }
    TriangleAroundVertexIterator& operator++();  // counterclockwise
    TriangleAroundVertexIterator& operator--();  // clockwise
    Triangle2* previewNextTriangle() const;
    Triangle2* previewPrevTriangle() const;

protected:
    void loop();
    Point2* pVtx;
    Triangle2* pTr;
    Triangle2* pSaveTr;
};

} // namespace ORBI_LUMO2D
