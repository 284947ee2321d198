// Grid meshing: one table of domains and grids, each result checked independently: the grid
// points recomputed from the documented formula (every one deep inside must be a vertex, every
// vertex deep inside must be one), the bounds recomputed per triangle, the exact constrained
// Delaunay oracle, the border still made of the graphs' pieces, and the quad mesh of the result.
#include <gtest/gtest.h>
#include <gmpxx.h>
#include <cmath>
#include <limits>
#include <set>
#include "DelaunayOracle.h"
#include "ExactPolygons.h"
#include "MeshChecks.h"
#include "MessageText.h"

using namespace ORBI_LUMO2D;
using lumo_test::Ring;
using lumo_test::rectangle;

namespace {

Ring rotated(Ring r, double degrees) {
    const double c = std::cos(degrees * M_PI / 180), s = std::sin(degrees * M_PI / 180);
    for (Point2& p : r) p = Point2(c * p.x() - s * p.y(), s * p.x() + c * p.y());
    return r;
}

struct GridCase {
    const char* name;
    std::vector<Ring> vRings;   // outer counterclockwise, then holes clockwise
    double gridLength, gridDegrees, minAngle;
    std::vector<Point2> vCloud{};   // input points inside, kept off the grid
};

const GridCase aCases[] = {
    {"square, aligned grid", {rectangle(0, 0, 10, 10)}, 0.5, 0, 30},
    {"square, grid at 30 degrees", {rectangle(0, 0, 10, 10)}, 0.5, 30, 28},
    {"square at 30 degrees, grid along it", {rotated(rectangle(0, 0, 10, 10), 30)}, 0.5, 30, 28},
    {"square, tiny coordinates", {rotated(rectangle(1e-30, 1e-30, 11e-30, 11e-30), 10)}, 0.4e-30, 70, 25},
    {"square, huge coordinates", {rectangle(-1e30, 3e30, 9e30, 13e30)}, 0.3e30, 45, 25},
    {"square with points inside", {rectangle(0, 0, 10, 10)}, 0.5, 20, 25, lumo_test::randomPoints(12, 5, 1, 9)},
    {"L-shape", {{Point2(0, 0), Point2(2, 0), Point2(2, 1), Point2(1, 1), Point2(1, 2), Point2(0, 2)}}, 0.07, 15, 25},
    {"polygon with holes", {lumo_test::regularPolygon(40, 3.0), rectangle(-1.5, -1, -0.5, 1, false), rectangle(0.5, 0.2, 1.2, 1.4, false)}, 0.1, 10, 25},
};

class GridMesh : public ::testing::TestWithParam<GridCase> {};

TEST_P(GridMesh, PutsTheInteriorOnTheGridAndMeetsTheBounds) {
    const GridCase& c = GetParam();
    Lumo_2D dt;
    std::vector<ConstraintGraph2*> vGraphs;
    Zone2* pZone = lumo_test::insertDomain(dt, c.vRings, c.vCloud, vGraphs);
    ASSERT_NE(pZone, nullptr);
    MeshGenParams params(pZone);
    const double L = c.gridLength;
    params.gridLength = L;
    params.gridVector = Vector2(std::cos(c.gridDegrees * M_PI / 180), std::sin(c.gridDegrees * M_PI / 180));
    params.minAngleDegree = c.minAngle;
    params.maxEdgeLength = 1.5 * L;
    params.minEdgeLength = 0.01 * L;   // the absolute default would keep tiny domains' segments whole
    const bool bArea = std::isnormal(0.6 * L * L);   // not at the extreme scales
    if (bArea) params.maxTriangleArea = 0.6 * L * L;
    EXPECT_EQ(lumo_test::stdoutOf([&] { dt.refineAdvanced(&params); }), "");
    EXPECT_TRUE(lumo_test::isValidQuietly(dt));
    EXPECT_EQ(lumo_test::constrainedDelaunayFault(dt, vGraphs), "");

    // The grid as documented: origin at the lower-left corner of the domain's box.
    double ox = HUGE_VAL, oy = HUGE_VAL;
    for (const Point2& p : c.vRings[0]) ox = std::min(ox, p.x()), oy = std::min(oy, p.y());
    const double g = std::hypot(params.gridVector.x(), params.gridVector.y());
    const double ux = L * (params.gridVector.x() / g), uy = L * (params.gridVector.y() / g), vx = -uy, vy = ux;
    auto gridPoint = [&](double i, double j) { return Point2(ox + (i * ux + j * vx), oy + (i * uy + j * vy)); };
    // Off the grid near the border and near the input points.
    auto isDeep = [&](const Point2& p, double minDistance) {
        bool bDeep = lumo_test::isInDomain(p, c.vRings) && lumo_test::distanceToRings(p, c.vRings) > minDistance;
        for (const Point2& q : c.vCloud) bDeep = bDeep && lumo_test::dist(p, q) > minDistance;
        return bDeep;
    };
    std::set<std::pair<double, double>> sVertices;
    size_t numDeep = 0;
    for (const Point2& p : lumo_test::vertexPoints(dt)) {
        sVertices.insert({p.x(), p.y()});
        if (!isDeep(p, 2 * L)) continue;
        ++numDeep;
        const double dx = p.x() - ox, dy = p.y() - oy;
        const Point2 q = gridPoint(std::round(dx / L * (ux / L) + dy / L * (uy / L)), std::round(dx / L * (vx / L) + dy / L * (vy / L)));
        EXPECT_TRUE(q.x() == p.x() && q.y() == p.y()) << "vertex deep inside, off the grid: " << p;
    }
    EXPECT_GT(numDeep, 50u);
    double reach = 0;   // in grid steps, beyond the domain
    for (const Point2& p : c.vRings[0]) reach = std::max(reach, std::ceil(std::hypot(p.x() - ox, p.y() - oy) / L));
    for (double i = -reach; i <= reach; ++i)
        for (double j = -reach; j <= reach; ++j) {
            const Point2 q = gridPoint(i, j);
            if (isDeep(q, 0.51 * L)) {
                ASSERT_EQ(sVertices.count({q.x(), q.y()}), 1u) << "grid point missing " << q;
            }
        }

    // Every zone triangle meets every bound; most are the grid's right isosceles ones. The zone
    // covers the domain up to the rounding of the border's split vertices.
    const std::vector<Triangle2*> vZoneT = lumo_test::zoneTriangles(pZone);
    size_t numGridShaped = 0;
    for (Triangle2* t : vZoneT) {
        const double minAngle = lumo_test::smallestAngle(*t->getCorner(0), *t->getCorner(1), *t->getCorner(2));
        EXPECT_GE(minAngle, c.minAngle - 1e-9) << *t;
        EXPECT_LE(lumo_test::longestEdge(t), params.maxEdgeLength) << *t;
        EXPECT_TRUE(!bArea || lumo_test::triangleArea(t) <= params.maxTriangleArea) << *t;
        numGridShaped += std::fabs(minAngle - 45) < 1e-6 && std::fabs(lumo_test::longestEdge(t) / L - M_SQRT2) < 1e-9;
    }
    EXPECT_GT(numGridShaped, vZoneT.size() * 6 / 10);
    mpq_class domainArea = 0;
    for (const Ring& r : c.vRings) domainArea += lumo_test::exactLoopArea(r);
    EXPECT_LE(mpq_class(abs(lumo_test::exactArea(vZoneT) - domainArea) / domainArea).get_d(), 1e-12);
    // The graphs still describe the border: their alive pieces are the zone's border edges.
    std::vector<ConstraintSegment2*> vAlive;
    for (ConstraintGraph2* pG : vGraphs) pG->getChildConstraintSegments(vAlive);
    std::vector<Edge2> vBorder;
    pZone->getBorderEdges(vBorder);
    std::set<std::pair<Point2*, Point2*>> sPieces;
    for (ConstraintSegment2* s : vAlive) sPieces.insert(std::minmax(s->getSrc(), s->getTrg()));
    EXPECT_EQ(vBorder.size(), vAlive.size());
    for (const Edge2& e : vBorder) EXPECT_EQ(sPieces.count(std::minmax(e.getSrc(), e.getTrg())), 1u);

    // The quad mesh pairs nearly all of it, exactly covering the zone.
    QMesh quads;
    ASSERT_TRUE(dt.createQuadMesh(pZone, quads));
    EXPECT_EQ(lumo_test::quadMeshFault(quads, vZoneT), "");
    EXPECT_GT(quads.getStatistics().pairedFraction, 0.97);
}

INSTANTIATE_TEST_SUITE_P(Domains, GridMesh, ::testing::ValuesIn(aCases),
                         [](const ::testing::TestParamInfo<GridCase>& info) { return lumo_test::parameterName(info.param.name); });

// Refused grids: one message, nothing changed (a zone that is not inside: see test_misuse).
TEST(GridMesh, RefusesBadParametersWithOneMessage) {
    const double nan = std::numeric_limits<double>::quiet_NaN(), inf = HUGE_VAL;
    const std::string aLength = "gridLength must be >=0 and finite, return";
    const std::string aVector = "gridVector must be finite and not (0,0) when gridLength>0, return";
    const struct { double length, gx, gy; std::string text; } aRows[] = {
        {-1, 1, 0, aLength}, {nan, 1, 0, aLength}, {inf, 1, 0, aLength},
        {1, 0, 0, aVector}, {1, nan, 1, aVector}, {1, 1.7e308, 1.7e308, aVector},
        {1e-4, 1, 0, "gridLength is too small for the zone (more than 100000000 grid vertices), return"},
    };
    Lumo_2D dt;
    std::vector<ConstraintGraph2*> vGraphs;
    MeshGenParams params(lumo_test::insertDomain(dt, {rectangle(0, 0, 10, 10)}, {}, vGraphs));
    for (const auto& row : aRows) {
        params.gridLength = row.length;
        params.gridVector = Vector2(row.gx, row.gy);
        EXPECT_EQ(lumo_test::stdoutOf([&] { dt.refineAdvanced(&params); }), lumo_test::error("Dt2::refineMain3()", row.text));
        EXPECT_EQ(dt.numberOfPoints(), 4u) << row.text;
    }
}

} // namespace
