// Independent checks of quality meshes, shared by the refinement and grid-meshing tests: the
// domains (rings of constraint graphs), exact point-in-ring, and shape measures recomputed
// without the library's own (angles by atan2, lengths by hypot).
#pragma once
#include <map>
#include <string>
#include <utility>
#include <vector>
#include "Lumo_2D.h"

namespace lumo_test {

typedef std::vector<ORBI_LUMO2D::Point2> Ring;

// The smallest angle of a triangle in degrees, by atan2 of cross and dot products.
double smallestAngle(const ORBI_LUMO2D::Point2& a, const ORBI_LUMO2D::Point2& b, const ORBI_LUMO2D::Point2& c);
double dist(const ORBI_LUMO2D::Point2& a, const ORBI_LUMO2D::Point2& b);
double triangleArea(const ORBI_LUMO2D::Triangle2* t);
double longestEdge(const ORBI_LUMO2D::Triangle2* t);
// Exact: +1 strictly inside the ring, 0 on its border, -1 outside.
int pointInRing(const ORBI_LUMO2D::Point2& q, const Ring& ring);
// Counterclockwise unless bCCW is false.
Ring rectangle(double x0, double y0, double x1, double y1, bool bCCW = true);
Ring regularPolygon(int n, double radius);

// Inserts the rings' vertices and the cloud, one constraint graph per ring (outer ring
// counterclockwise first, holes clockwise) and returns the zone inside them.
ORBI_LUMO2D::Zone2* insertDomain(ORBI_LUMO2D::Lumo_2D& dt, const std::vector<Ring>& vRings,
                                 const std::vector<ORBI_LUMO2D::Point2>& vCloud,
                                 std::vector<ORBI_LUMO2D::ConstraintGraph2*>& vGraphsOut);
// Empty when the whole triangulation is the constrained Delaunay triangulation of its vertices
// with the graphs' alive segments as constraints, each an edge (the exact oracle); else the first fault.
std::string constrainedDelaunayFault(const ORBI_LUMO2D::Lumo_2D& dt,
                                     const std::vector<ORBI_LUMO2D::ConstraintGraph2*>& vGraphs);
// The distance from p to the nearest edge of the rings.
double distanceToRings(const ORBI_LUMO2D::Point2& p, const std::vector<Ring>& vRings);
// The angle between the two ring edges at each ring vertex, in degrees (at most 180), by its
// coordinates.
std::map<std::pair<double, double>, double> ringCornerAngles(const std::vector<Ring>& vRings);
// Whether p is strictly inside the first ring and outside the others (exact).
bool isInDomain(const ORBI_LUMO2D::Point2& p, const std::vector<Ring>& vRings);
// A test-parameter name made of a description: letters and digits kept, the rest '_'.
std::string parameterName(const char* description);

// Empty when every quad of the mesh is strictly convex and counterclockwise (exact), every face
// is made of the given zone triangles, each used once (a quad is two of them across a
// diagonal), and the faces' exact area equals the domain's (pDomain: outer ring
// counterclockwise, holes clockwise), or without one the triangles'; else the first fault.
std::string quadMeshFault(const ORBI_LUMO2D::QMesh& mesh, const std::vector<ORBI_LUMO2D::Triangle2*>& vZone,
                          const std::vector<Ring>* pDomain = nullptr);
} // namespace lumo_test
