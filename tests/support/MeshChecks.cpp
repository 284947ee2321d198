#include "MeshChecks.h"
#include <gmpxx.h>
#include <algorithm>
#include <cctype>
#include <array>
#include <map>
#include <set>
#include <sstream>
#include <cfloat>
#include <cmath>
#include "DelaunayOracle.h"
#include "ExactPolygons.h"

using namespace ORBI_LUMO2D;

namespace lumo_test {

double smallestAngle(const Point2& a, const Point2& b, const Point2& c) {
    const Point2* p[3] = {&a, &b, &c};
    double best = 180.0;
    for (int i = 0; i < 3; ++i) {
        const Point2 &o = *p[i], &u = *p[(i + 1) % 3], &v = *p[(i + 2) % 3];
        const double ux = u.x() - o.x(), uy = u.y() - o.y(), vx = v.x() - o.x(), vy = v.y() - o.y();
        best = std::min(best, std::atan2(std::fabs(ux * vy - uy * vx), ux * vx + uy * vy) * 180.0 / M_PI);
    }
    return best;
}
std::map<std::pair<double, double>, double> ringCornerAngles(const std::vector<Ring>& vRings) {
    std::map<std::pair<double, double>, double> m;
    for (const Ring& r : vRings)
        for (size_t i = 0; i < r.size(); ++i) {
            const Point2 &prev = r[(i + r.size() - 1) % r.size()], &v = r[i], &next = r[(i + 1) % r.size()];
            const double turn = std::atan2(next.y() - v.y(), next.x() - v.x()) - std::atan2(prev.y() - v.y(), prev.x() - v.x());
            m[{v.x(), v.y()}] = std::fabs(std::remainder(turn, 2 * M_PI)) * 180.0 / M_PI;
        }
    return m;
}
double dist(const Point2& a, const Point2& b) { return std::hypot(a.x() - b.x(), a.y() - b.y()); }
double triangleArea(const Triangle2* t) {
    const Point2 &a = *t->getCorner(0), &b = *t->getCorner(1), &c = *t->getCorner(2);
    return 0.5 * std::fabs((b.x() - a.x()) * (c.y() - a.y()) - (b.y() - a.y()) * (c.x() - a.x()));
}
double longestEdge(const Triangle2* t) {
    const Point2 &a = *t->getCorner(0), &b = *t->getCorner(1), &c = *t->getCorner(2);
    return std::max({dist(a, b), dist(b, c), dist(c, a)});
}

// Crossing number over the exact orientation oracle.
int pointInRing(const Point2& q, const Ring& ring) {
    bool bInside = false;
    for (size_t i = 0; i < ring.size(); ++i) {
        const Point2 &a = ring[i], &b = ring[(i + 1) % ring.size()];
        const int o = exactOrientation(a, b, q);
        if (o == 0 && std::min(a.x(), b.x()) <= q.x() && q.x() <= std::max(a.x(), b.x()) &&
            std::min(a.y(), b.y()) <= q.y() && q.y() <= std::max(a.y(), b.y()))
            return 0;
        if ((a.y() > q.y()) != (b.y() > q.y()) && (o > 0) == (b.y() > a.y())) bInside = !bInside;
    }
    return bInside ? 1 : -1;
}

Ring rectangle(double x0, double y0, double x1, double y1, bool bCCW) {
    Ring r{Point2(x0, y0), Point2(x1, y0), Point2(x1, y1), Point2(x0, y1)};
    if (!bCCW) std::reverse(r.begin(), r.end());
    return r;
}
Ring regularPolygon(int n, double radius) {
    Ring r;
    for (int i = 0; i < n; ++i) r.emplace_back(radius * std::cos(2 * M_PI * i / n), radius * std::sin(2 * M_PI * i / n));
    return r;
}

Zone2* insertDomain(Lumo_2D& dt, const std::vector<Ring>& vRings, const std::vector<Point2>& vCloud,
                    std::vector<ConstraintGraph2*>& vGraphsOut) {
    std::vector<Point2> vInput;
    for (const Ring& r : vRings) vInput.insert(vInput.end(), r.begin(), r.end());
    vInput.insert(vInput.end(), vCloud.begin(), vCloud.end());
    dt.insert(vInput);
    for (const Ring& r : vRings) {
        std::vector<Segment2> vSegs = loopSegments(r);
        vGraphsOut.push_back(dt.createConstraint(vSegs, CIS_CONSTRAINED_DELAUNAY, true));
    }
    return dt.createZone(vGraphsOut, ZL_INSIDE);
}

std::string constrainedDelaunayFault(const Lumo_2D& dt, const std::vector<ConstraintGraph2*>& vGraphs) {
    std::vector<ConstraintSegment2*> vAlive;
    for (ConstraintGraph2* pG : vGraphs) pG->getChildConstraintSegments(vAlive);
    std::vector<CoordEdge> vConstraintEdges;
    for (ConstraintSegment2* s : vAlive) vConstraintEdges.push_back(coordEdge(*s->getSrc(), *s->getTrg()));
    const std::string fault = meshFault(dt, &vConstraintEdges);
    if (!fault.empty()) return fault;
    // Exempt from the Delaunay test, the pieces must be edges.
    std::set<CoordEdge> sEdges;
    for (Triangle2* t : triangles(dt))
        for (int i = 0; i < 3; ++i) sEdges.insert(coordEdge(*t->getCorner(i), *t->getCorner((i + 1) % 3)));
    for (const CoordEdge& e : vConstraintEdges)
        if (sEdges.count(e) == 0) {
            std::ostringstream os;
            os.precision(17);
            os << "constraint piece (" << e.first.first << ", " << e.first.second << ") - (" << e.second.first << ", "
               << e.second.second << ") is no edge";
            return os.str();
        }
    return "";
}

double distanceToRings(const Point2& p, const std::vector<Ring>& vRings) {
    double nearest = DBL_MAX;
    for (const Ring& r : vRings)
        for (size_t i = 0; i < r.size(); ++i) {
            const Point2 &a = r[i], &b = r[(i + 1) % r.size()];
            const double qx = b.x() - a.x(), qy = b.y() - a.y();
            const double u = std::max(0.0, std::min(1.0, ((p.x() - a.x()) * qx + (p.y() - a.y()) * qy) / (qx * qx + qy * qy)));
            nearest = std::min(nearest, dist(p, Point2(a.x() + u * qx, a.y() + u * qy)));
        }
    return nearest;
}

std::string parameterName(const char* description) {
    std::string s;
    for (const char* c = description; *c; ++c) s += std::isalnum((unsigned char)*c) ? *c : '_';
    return s;
}

bool isInDomain(const Point2& p, const std::vector<Ring>& vRings) {
    bool bIn = pointInRing(p, vRings[0]) > 0;
    for (size_t h = 1; h < vRings.size() && bIn; ++h) bIn = pointInRing(p, vRings[h]) < 0;
    return bIn;
}

namespace {
// A counterclockwise triangle by its corners, rotated to start at the smallest one.
std::array<double, 6> triangleKey(const Point2& a, const Point2& b, const Point2& c) {
    std::array<Point2, 3> v{a, b, c};
    std::rotate(v.begin(), std::min_element(v.begin(), v.end()), v.end());
    return {v[0].x(), v[0].y(), v[1].x(), v[1].y(), v[2].x(), v[2].y()};
}
} // namespace

std::string quadMeshFault(const QMesh& mesh, const std::vector<Triangle2*>& vZone, const std::vector<Ring>* pDomain) {
    std::map<std::array<double, 6>, int> mUses;
    mpq_class zoneArea = 0, faceArea = 0;
    for (Triangle2* pT : vZone) {
        const Point2 &a = *pT->getCorner(0), &b = *pT->getCorner(1), &c = *pT->getCorner(2);
        mUses[triangleKey(a, b, c)] = 0;
        zoneArea += exactLoopArea({a, b, c});
    }
    auto use = [&](const Point2& a, const Point2& b, const Point2& c) {
        auto it = mUses.find(triangleKey(a, b, c));
        return it != mUses.end() && ++it->second == 1;
    };
    const std::vector<Point2>& V = mesh.getVertices();
    for (size_t q = 0; q < mesh.numberOfQuads(); ++q) {
        const QMesh::Quad& f = mesh.getQuads()[q];
        const std::vector<Point2> p{V[f[0]], V[f[1]], V[f[2]], V[f[3]]};
        for (int i = 0; i < 4; ++i)
            if (exactOrientation(p[i], p[(i + 1) % 4], p[(i + 2) % 4]) != 1) return "quad " + std::to_string(q) + " not strictly convex and CCW";
        if (!(use(p[0], p[1], p[3]) && use(p[1], p[2], p[3])) && !(use(p[0], p[1], p[2]) && use(p[0], p[2], p[3])))
            return "quad " + std::to_string(q) + " is not two unused zone triangles";
        faceArea += exactLoopArea(p);
    }
    for (const QMesh::Triangle& t : mesh.getTriangles()) {
        if (!use(V[t[0]], V[t[1]], V[t[2]])) return "a leftover triangle is no unused zone triangle";
        faceArea += exactLoopArea({V[t[0]], V[t[1]], V[t[2]]});
    }
    for (const auto& u : mUses)
        if (u.second != 1) return "a zone triangle is in no face";
    if (pDomain != nullptr) {
        zoneArea = 0;
        for (const Ring& r : *pDomain) zoneArea += exactLoopArea(r);
    }
    if (faceArea != zoneArea) return "the faces' area " + faceArea.get_str() + " is not the domain's " + zoneArea.get_str();
    return "";
}

} // namespace lumo_test
