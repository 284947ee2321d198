// Independent checks of a triangulation, written without the library's predicates: exact
// orientation and in-circle tests (the exact oracle of ExactOracle.h behind a conservative
// floating filter),
// a monotone-chain convex hull, and an edge-by-edge Delaunay test.
#pragma once
#include <array>
#include <random>
#include <string>
#include <utility>
#include <vector>
#include "Point2.h"
#include "Triangle2.h"

namespace lumo_test {

// +1 counterclockwise, -1 clockwise, 0 collinear; exact.
int exactOrientation(const ORBI_LUMO2D::Point2& a, const ORBI_LUMO2D::Point2& b, const ORBI_LUMO2D::Point2& c);
// For counterclockwise a, b, c: +1 when d is strictly inside the circumcircle, 0 on it, -1 outside.
int exactInCircle(const ORBI_LUMO2D::Point2& a, const ORBI_LUMO2D::Point2& b, const ORBI_LUMO2D::Point2& c,
                  const ORBI_LUMO2D::Point2& d);

// Empty string when vT is a Delaunay triangulation of the finite points of vInput: every
// triangle counterclockwise, every edge shared by at most two triangles in opposite directions,
// the boundary equal to the convex hull (collinear hull points included), every interior edge
// locally Delaunay, the vertex set equal to the distinct input points, and the Euler count
// 2n-2-h. Otherwise a description of the first failure. Edges listed in pConstraintEdges (as
// coordinate pairs, either direction) are exempt from the local Delaunay test: the check is then
// one of a constrained Delaunay triangulation.
typedef std::pair<std::pair<double, double>, std::pair<double, double>> CoordEdge;
std::string checkDelaunayTriangulation(const std::vector<ORBI_LUMO2D::Point2>& vInput,
                                       const std::vector<ORBI_LUMO2D::Triangle2*>& vT,
                                       const std::vector<CoordEdge>* pConstraintEdges = nullptr);

// The triangles as sorted coordinate triples, sorted: equal for equal triangulations.
std::vector<std::array<double, 6>> canonicalTriangles(const std::vector<ORBI_LUMO2D::Triangle2*>& vT);

// n uniform random points in [lo, hi)^2, the same for the same seed.
inline std::vector<ORBI_LUMO2D::Point2> randomPoints(size_t n, unsigned seed, double lo = 0.0, double hi = 1.0) {
    std::mt19937_64 rng(seed);
    std::uniform_real_distribution<double> d(lo, hi);
    std::vector<ORBI_LUMO2D::Point2> v;
    for (size_t i = 0; i < n; ++i) v.emplace_back(d(rng), d(rng));
    return v;
}
// The live triangles of a triangulation (Lumo_2D or Dt2).
template <class TriangulationT>
std::vector<ORBI_LUMO2D::Triangle2*> triangles(const TriangulationT& dt) {
    std::vector<ORBI_LUMO2D::Triangle2*> v;
    dt.getTrianglePointers(v);
    return v;
}

// The coordinates of the vertices of a triangulation (Lumo_2D or Dt2).
template <class TriangulationT>
std::vector<ORBI_LUMO2D::Point2> vertexPoints(const TriangulationT& dt) {
    std::vector<ORBI_LUMO2D::Point2*> vVtx;
    dt.getVertexPointers(vVtx);
    std::vector<ORBI_LUMO2D::Point2> v;
    for (const ORBI_LUMO2D::Point2* p : vVtx) v.push_back(*p);
    return v;
}
// checkDelaunayTriangulation over the triangulation's own vertices.
template <class TriangulationT>
std::string meshFault(const TriangulationT& dt, const std::vector<CoordEdge>* pConstraintEdges = nullptr) {
    return checkDelaunayTriangulation(vertexPoints(dt), triangles(dt), pConstraintEdges);
}
// The edge a-b with its ends in coordinate order.
inline CoordEdge coordEdge(const ORBI_LUMO2D::Point2& a, const ORBI_LUMO2D::Point2& b) {
    const std::pair<double, double> p(a.x(), a.y()), q(b.x(), b.y());
    return p < q ? CoordEdge(p, q) : CoordEdge(q, p);
}

} // namespace lumo_test
