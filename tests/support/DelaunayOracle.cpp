#include "DelaunayOracle.h"
#include <algorithm>
#include <cfloat>
#include <cmath>
#include <sstream>
#include <utility>
#include "ExactOracle.h"

using ORBI_LUMO2D::Point2;
using ORBI_LUMO2D::Triangle2;

namespace lumo_test {

namespace {
const double EPS = std::ldexp(1.0, -53);

// A magnitude range where the floating filters below are safe from underflow and overflow.
bool inSafeRange(double v) { return v == 0.0 || (v > 1e-120 && v < 1e120); }
} // namespace

int exactOrientation(const Point2& a, const Point2& b, const Point2& c) {
    const double l = (b.x() - a.x()) * (c.y() - a.y());
    const double r = (b.y() - a.y()) * (c.x() - a.x());
    const double det = l - r;
    const double bound = 8.0 * EPS * (std::fabs(l) + std::fabs(r));
    if (inSafeRange(std::fabs(l)) && inSafeRange(std::fabs(r)) && std::fabs(det) > bound && std::fabs(det) > 1e-200)
        return det > 0 ? 1 : -1;
    return lumo_oracle::orient(a.x(), a.y(), b.x(), b.y(), c.x(), c.y());
}

int exactInCircle(const Point2& a, const Point2& b, const Point2& c, const Point2& d) {
    const double adx = a.x() - d.x(), ady = a.y() - d.y();
    const double bdx = b.x() - d.x(), bdy = b.y() - d.y();
    const double cdx = c.x() - d.x(), cdy = c.y() - d.y();
    const double al = adx * adx + ady * ady, bl = bdx * bdx + bdy * bdy, cl = cdx * cdx + cdy * cdy;
    const double det = al * (bdx * cdy - cdx * bdy) + bl * (cdx * ady - adx * cdy) + cl * (adx * bdy - bdx * ady);
    const double perm = al * (std::fabs(bdx * cdy) + std::fabs(cdx * bdy)) +
                        bl * (std::fabs(cdx * ady) + std::fabs(adx * cdy)) +
                        cl * (std::fabs(adx * bdy) + std::fabs(bdx * ady));
    if (inSafeRange(perm) && perm > 1e-100 && std::fabs(det) > 32.0 * EPS * perm) return det > 0 ? 1 : -1;
    return lumo_oracle::inCircle(a.x(), a.y(), b.x(), b.y(), c.x(), c.y(), d.x(), d.y());
}

namespace {
typedef std::pair<double, double> XY;
XY xy(const Point2* p) { return XY(p->x(), p->y()); }

// Convex hull ring (counterclockwise) of distinct points, collinear boundary points included.
std::vector<XY> hullWithCollinear(std::vector<XY> v) {
    std::sort(v.begin(), v.end());
    auto cross = [](const XY& a, const XY& b, const XY& c) {
        return exactOrientation(Point2(a.first, a.second), Point2(b.first, b.second), Point2(c.first, c.second));
    };
    std::vector<XY> lower, upper;
    for (const XY& p : v) {
        while (lower.size() >= 2 && cross(lower[lower.size() - 2], lower.back(), p) < 0) lower.pop_back();
        lower.push_back(p);
    }
    for (size_t i = v.size(); i-- > 0;) {
        const XY& p = v[i];
        while (upper.size() >= 2 && cross(upper[upper.size() - 2], upper.back(), p) < 0) upper.pop_back();
        upper.push_back(p);
    }
    lower.pop_back();
    upper.pop_back();
    lower.insert(lower.end(), upper.begin(), upper.end());
    return lower;
}
} // namespace

// Sorted vectors rather than maps: the check runs after every step of the larger tests.
std::string checkDelaunayTriangulation(const std::vector<Point2>& vInput, const std::vector<Triangle2*>& vT,
                                       const std::vector<CoordEdge>* pConstraintEdges) {
    std::ostringstream err;
    std::vector<CoordEdge> vExempt;
    if (pConstraintEdges != nullptr)
        for (const CoordEdge& e : *pConstraintEdges) {
            vExempt.push_back(e);
            vExempt.push_back(CoordEdge(e.second, e.first));
        }
    std::sort(vExempt.begin(), vExempt.end());
    std::vector<XY> vInputXY;
    for (const Point2& p : vInput)
        if (std::isfinite(p.x()) && std::isfinite(p.y())) vInputXY.push_back(XY(p.x(), p.y()));
    std::sort(vInputXY.begin(), vInputXY.end());
    vInputXY.erase(std::unique(vInputXY.begin(), vInputXY.end()), vInputXY.end());

    // Vertices: one record per coordinate pair, and exactly the input points.
    std::vector<const Point2*> vVtx;
    for (const Triangle2* pT : vT)
        for (int i = 0; i < 3; ++i) vVtx.push_back(pT->getCorner(i));
    std::sort(vVtx.begin(), vVtx.end());
    vVtx.erase(std::unique(vVtx.begin(), vVtx.end()), vVtx.end());
    std::vector<XY> vVtxCoords;
    for (const Point2* p : vVtx) vVtxCoords.push_back(xy(p));
    std::sort(vVtxCoords.begin(), vVtxCoords.end());
    if (std::adjacent_find(vVtxCoords.begin(), vVtxCoords.end()) != vVtxCoords.end()) return "two vertex records share coordinates";
    if (vVtxCoords != vInputXY) {
        err << "vertex set differs from the input: " << vVtxCoords.size() << " vertices, " << vInputXY.size()
            << " distinct input points";
        return err.str();
    }

    // Orientation and the directed edges, each with its opposite vertex.
    typedef std::pair<const Point2*, const Point2*> Edge;
    std::vector<std::pair<Edge, const Point2*>> vDirected;
    for (const Triangle2* pT : vT) {
        const Point2* c[3] = {pT->getCorner(0), pT->getCorner(1), pT->getCorner(2)};
        if (exactOrientation(*c[0], *c[1], *c[2]) != 1) return "a triangle is not counterclockwise";
        for (int i = 0; i < 3; ++i) vDirected.emplace_back(Edge(c[(i + 1) % 3], c[(i + 2) % 3]), c[i]);
    }
    std::sort(vDirected.begin(), vDirected.end());
    for (size_t i = 1; i < vDirected.size(); ++i)
        if (vDirected[i].first == vDirected[i - 1].first) return "a directed edge occurs twice";
    // Boundary edges and local Delaunay property.
    std::vector<std::pair<XY, XY>> vBoundary;
    for (const auto& kv : vDirected) {
        const Point2* a = kv.first.first;
        const Point2* b = kv.first.second;
        const auto itOpp = std::lower_bound(vDirected.begin(), vDirected.end(), std::make_pair(Edge(b, a), (const Point2*)nullptr));
        if (itOpp == vDirected.end() || itOpp->first != Edge(b, a)) {
            vBoundary.push_back(std::make_pair(xy(a), xy(b)));
            continue;
        }
        if (std::binary_search(vExempt.begin(), vExempt.end(), CoordEdge(xy(a), xy(b)))) continue;
        if (exactInCircle(*kv.second, *a, *b, *itOpp->second) > 0) {
            err << "edge (" << a->x() << "," << a->y() << ")-(" << b->x() << "," << b->y()
                << ") is not locally Delaunay";
            return err.str();
        }
    }
    // The boundary must be the convex hull.
    const std::vector<XY> vHull = hullWithCollinear(vInputXY);
    std::vector<std::pair<XY, XY>> vHullEdges;
    for (size_t i = 0; i < vHull.size(); ++i) vHullEdges.push_back(std::make_pair(vHull[i], vHull[(i + 1) % vHull.size()]));
    std::sort(vHullEdges.begin(), vHullEdges.end());
    std::sort(vBoundary.begin(), vBoundary.end());
    if (vHullEdges != vBoundary) {
        err << "boundary (" << vBoundary.size() << " edges) is not the convex hull (" << vHullEdges.size() << " edges)";
        return err.str();
    }
    const size_t n = vInputXY.size(), h = vHull.size();
    if (vT.size() != 2 * n - 2 - h) {
        err << "Euler count: " << vT.size() << " triangles, expected " << (2 * n - 2 - h);
        return err.str();
    }
    return "";
}

std::vector<std::array<double, 6>> canonicalTriangles(const std::vector<Triangle2*>& vT) {
    std::vector<std::array<double, 6>> v;
    for (const Triangle2* pT : vT) {
        std::array<XY, 3> c = {xy(pT->getCorner(0)), xy(pT->getCorner(1)), xy(pT->getCorner(2))};
        std::sort(c.begin(), c.end());
        v.push_back({c[0].first, c[0].second, c[1].first, c[1].second, c[2].first, c[2].second});
    }
    std::sort(v.begin(), v.end());
    return v;
}

} // namespace lumo_test
