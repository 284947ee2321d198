// Misuse of every public entry point: null pointers, handles of another triangulation, counts
// and indices out of range, NaN and infinite coordinates, unwritable and malformed files. Each
// row gives its exact output (the messages, or the assertion report) and checks its neutral
// result; after every row the triangulation is still the Delaunay triangulation of its input.
#include <gtest/gtest.h>
#include <cfloat>
#include <cmath>
#include <functional>
#include <thread>
#include "DelaunayOracle.h"
#include "ExactPolygons.h"
#include "Lumo_2D.h"
#include "MessageText.h"
#include "ScopedTempDir.h"
#include "Dt2.h"
#include "VertexVault.h"

using namespace ORBI_LUMO2D;

namespace {
const double NaN = std::nan("");
const double Inf = HUGE_VAL;

using lumo_test::assertion;
using lumo_test::error;
using lumo_test::warning;

// What every row can use: a valid triangulation with its input, a second one whose vertices
// are foreign to the first, a few segments, and a directory to write in.
struct Env {
    lumo_test::ScopedTempDir tmp;
    std::vector<Point2> vInput{Point2(0, 0), Point2(4, 0), Point2(4, 3), Point2(0, 3), Point2(1, 1), Point2(3, 2)};
    Lumo_2D dt;
    Lumo_2D other;
    std::vector<Point2*> vOwn, vForeign;
    Segment2 a{Point2(0, 0), Point2(2, 2)}, b{Point2(0, 2), Point2(2, 0)}, bad{Point2(0, NaN), Point2(1, 1)};
    const std::string blocked{tmp.file("file/sub")};  // below a regular file: nothing can be created there
    Env() {
        dt.insert(vInput, vOwn);
        other.insert(vInput, vForeign);
        lumo_test::writeFile(tmp.file("file"), "x");
    }
    std::string file(const char* name) const { return tmp.file(name); }
    // The hull of vInput as a constraint graph of t, counterclockwise (edges it has already).
    ConstraintGraph2* box(Lumo_2D& t, bool bOriented) {
        std::vector<Segment2> v = lumo_test::loopSegments(lumo_test::rect(0, 0, 4, 3));
        return t.createConstraint(v, CIS_CONSTRAINED_DELAUNAY, bOriented);
    }
};

// In an expected text "{tmp}" stands for the row's directory, "{blocked}" for its Env::blocked.
struct Row {
    const char* what;
    std::string expected;              // the exact output, normalized
    std::function<void(Env&)> call;    // the misuse, with EXPECTs on its result
};

const std::string nanSegment = "segment with a NaN or infinite coordinate";
const std::string notMine = "the vertex does not belong to this triangulation, ";
const std::string noZone = warning("Lumo_2D::createZone(..)", "No zone created, returning NULL (bVerbose==true)");
const std::string noGrowth = warning("Dt2::growZoneArea()", "pStartT==NULL, no triangles");
const int numHardwareThreads = std::max(1, int(std::thread::hardware_concurrency()));
std::string times(int n, const std::string& text) { return n == 0 ? "" : text + times(n - 1, text); }

const Row aRows[] = {
    // ---- the facade ----------------------------------------------------------------------
    {"insert, locate: negative count, null coordinates, an infinite point in a vector, a NaN point; NaN, infinite query",
     warning("Lumo_2D::insert()", "numPoints=-1 is negative, nothing inserted") + warning("Lumo_2D::insert()", "aCoordinates is null, nothing inserted") +
         warning("Dt2::insert()", "point (1, inf) has a NaN or infinite coordinate and is ignored") +
         warning("Dt2::insert()", "point (nan, 1) has a NaN or infinite coordinate and is ignored") +
         times(2, warning("Lumo_2D::locate()", "q has a NaN or infinite coordinate, null returned")),
     [](Env& e) {
         double xy[2] = {9, 9};
         std::vector<Point2*> h;
         e.dt.insert(-1, xy, nullptr), e.dt.insert(3, nullptr, nullptr), e.dt.insert({Point2(1, Inf)}, h);
         EXPECT_TRUE(e.dt.insert(Point2(NaN, 1)) == nullptr && h == std::vector<Point2*>{nullptr});
         EXPECT_TRUE(e.dt.locate(Point2(NaN, 0)) == nullptr && e.dt.locate(Point2(-Inf, 0)) == nullptr);
     }},
    {"adjacent: a foreign first or second vertex, a detached copy; null and equal vertices are assertions",
     times(3, warning("Lumo_2D::getAdjacentTriangle()", notMine + "null returned")) + assertion("p0!=0", "ORBI_LUMO2D::Dt2::getAdjacentTriangle") +
         assertion("p1!=0", "ORBI_LUMO2D::Dt2::getAdjacentTriangle") + assertion("p0!=p1", "ORBI_LUMO2D::Dt2::getAdjacentTriangle"),
     [](Env& e) {
         Point2 copy(*e.vOwn[0]);
         const std::pair<Point2*, Point2*> aPairs[] = {{e.vForeign[0], e.vOwn[1]}, {e.vOwn[0], e.vForeign[1]}, {&copy, e.vOwn[1]}},
                                           aBroken[] = {{nullptr, e.vOwn[1]}, {e.vOwn[1], nullptr}, {e.vOwn[1], e.vOwn[1]}};
         for (const auto& q : aPairs) EXPECT_EQ(e.dt.getAdjacentTriangle(q.first, q.second), nullptr);
         for (const auto& q : aBroken) EXPECT_THROW(e.dt.getAdjacentTriangle(q.first, q.second), LumoException);
     }},
    {"incident: null vertex, foreign vertex",
     warning("Lumo_2D::getIncidentTriangles()", "pVtx is null, nothing appended") + warning("Lumo_2D::getIncidentTriangles()", notMine + "nothing appended"),
     [](Env& e) { std::vector<Triangle2*> v; e.dt.getIncidentTriangles(nullptr, v); e.dt.getIncidentTriangles(e.vForeign[4], v); EXPECT_TRUE(v.empty()); }},
    {"setNumCPU: far above the hardware",
     warning("Lumo_2D::setNumCPU()", "numCPU=100000 is more than 8 times the " + std::to_string(numHardwareThreads) +
                                         " hardware thread(s); bulk insertion starts no more threads than it has work for"),
     [](Env& e) { EXPECT_TRUE(e.dt.setNumCPU(100000) == 100000 && e.dt.getNumCPU() == 100000); }},
    {"insert on several threads: non-finite points among 1500 are refused in input order, the rest go in",
     warning("Dt2::insert()", "point (0.5, -inf) has a NaN or infinite coordinate and is ignored") +
         warning("Dt2::insert()", "point (nan, 0.5) has a NaN or infinite coordinate and is ignored"),
     [](Env& e) {
         std::vector<Point2> v = lumo_test::randomPoints(1500, 5, 0.0, 4.0);
         v[50] = Point2(0.5, -Inf);
         v[700] = Point2(NaN, 0.5);
         e.dt.setNumCPU(3);
         std::vector<Point2*> h;
         e.dt.insert(v, h);
         EXPECT_TRUE(h[50] == nullptr && h[700] == nullptr);
         for (size_t i : {700, 50}) v.erase(v.begin() + long(i));
         e.vInput.insert(e.vInput.end(), v.begin(), v.end());
     }},
    {"subscribe: null receiver, then a reporting insertion", warning("Lumo_2D::subscribe()", "pMsg is null, nothing subscribed"),
     [](Env& e) { e.dt.subscribe(MSG_PROGRESS, nullptr); e.dt.insert({Point2(2, 1)}); e.vInput.emplace_back(2, 1); }},
    {"getConvexHull: empty triangulation", warning("Dt2::getConvexHull()", "is2D() is false, the triangulation is not full dimensional yet"),
     [](Env&) { Lumo_2D empty; std::vector<Point2*> v; empty.getConvexHull(true, v); EXPECT_TRUE(v.empty()); }},
    {"drawing and export: null visualizer, null paths; unwritable files are announced (drawing) or silent (OBJ); a broken triangle, a "
     "loose edge and null pointers are not drawn",
     warning("Lumo_2D::show()", "pVisualizer is null, nothing drawn") + "Visualizer2:: Writing {blocked}/t.ps\n" +
         warning("Lumo_2D::writeWebScene()", "path is null, nothing written") + error("Dt2::writeWebScene()", "Can't create directory {blocked}") +
         warning("createDirectory()", "path is null, nothing created") + error("fileReplicate", "null name or directory, nothing written") +
         "Visualizer2:: Writing {tmp}/v.ps\n" + warning("Visualizer2::addObject()", "triangle with a null corner, not drawn") +
         warning("Visualizer2::addObject()", "edge without a triangle, not drawn") +
         warning("Visualizer2::addObject()", "2 null pointer(s) skipped") + warning("Visualizer2::addObject()", "1 null pointer(s) skipped"),
     [](Env& e) {
         e.dt.show(nullptr, Color(CRED, 1, false)), e.dt.show(e.blocked + "/t.ps"), e.dt.writeObj(e.blocked + "/t.obj");
         e.dt.writeWebScene(nullptr), e.dt.writeWebScene(e.blocked.c_str());
         EXPECT_FALSE(createDirectory(nullptr));
         fileReplicate("index.html", nullptr);
         Visualizer2 vis(e.file("v.ps"));
         vis.addObject(Triangle2(), Color(CRED, 1, false));
         vis.addObject(Edge2(), Color(CRED, 1, false));
         vis.addObject(std::vector<Triangle2*>{nullptr, nullptr}, Color(CRED, 1, false));
         vis.addObject(std::vector<Point2*>{e.vOwn[0], nullptr}, Color(CRED, 1, false));
         vis.writeFile();
     }},

    // ---- zones -----------------------------------------------------------------------------------
    {"createZone(graphs): before the first triangle, a null graph for ZL_INSIDE, a graph not oriented or of another triangulation, "
     "a form and location that do not match, a NaN start point",
     warning("Dt2::createZone", "called on a triangulation which has no triangles yet. Returning NULL") + noZone +
         warning("Dt::createZone()", "pConstraintGraph==NULL, but zoneLoc!=ZL_GLOBAL or ZL_RESULT. Returning NULL") +
         warning("Dt2::createZone()", "The constraint graph is not oriented, returning NULL") +
         warning("Dt2::createZone()", "The constraint graph belongs to another triangulation. Returning NULL") +
         warning("Dt2::createZone()", "This overloaded version of createZone accepts only ZL_INSIDE and ZL_OUTSIDE as zoneLocation. Returning NULL") +
         warning("Dt2::createZone()", "This overloaded version of createZone accepts only ZL_GROW as zoneLocation. Returning NULL") +
         warning("Dt2::createZone()", "The start point has a NaN or infinite coordinate. Returning NULL"),
     [](Env& e) {
         Lumo_2D empty;
         ConstraintGraph2* pG = e.box(e.dt, true);
         for (Zone2* pZone : {empty.createZone(nullptr, ZL_GLOBAL), e.dt.createZone(nullptr, ZL_INSIDE, false),
                              e.dt.createZone(e.box(e.dt, false), ZL_INSIDE, false), e.dt.createZone(e.box(e.other, true), ZL_OUTSIDE, false),
                              e.dt.createZone(std::vector<ConstraintGraph2*>{pG}, ZL_GROW, false), e.dt.createZone(pG, ZL_INSIDE, Point2(1, 1), false),
                              e.dt.createZone(pG, ZL_GROW, Point2(NaN, 1), false)})
             EXPECT_EQ(pZone, nullptr);
         EXPECT_NE(e.dt.createZone(nullptr, ZL_GLOBAL), nullptr);
     }},
    {"zone: grown from outside the hull, converted; an unknown location",
     times(2, noGrowth) + warning("Zone2::convertToBoundedZone()", "The zone has no triangles. Returning NULL") +
         warning("Zone2::getTriangles()", "unknown zoneLoc value"),
     [](Env& e) {
         Zone2* pZone = e.dt.createZone(std::vector<ConstraintGraph2*>{}, ZL_GROW, Point2(9, 9));
         EXPECT_TRUE(pZone->getNumberOfTriangles() == 0 && pZone->convertToBoundedZone() == nullptr);
         EXPECT_EQ(e.dt.createZone(e.box(e.dt, true), ZoneLocation(42))->getNumberOfTriangles(), 0u);
     }},
    {"set operations and exports: zones of two triangulations, null zones, a null visualizer",
     [] {
         const std::string text = "The zones must belong to the same triangulation! Returning NULL", null = "A zone is NULL! Returning NULL";
         return warning("Zone2::zoneUnion(...)", text) + times(3, warning("zoneUnion(...)", text)) + warning("Zone2::zoneUnion(...)", null) +
                warning("zoneUnion(...)", null) + warning("Lumo_2D::writeObj()", "the zone does not belong to this triangulation, nothing written") +
                warning("Lumo_2D::writeWebScene()", "the zone does not belong to this triangulation, nothing written") +
                warning("Zone2::show()", "pVisualizer is null, nothing drawn");
     }(),
     [](Env& e) {
         Zone2* pA = e.dt.createZone(nullptr, ZL_GLOBAL);
         Zone2* pForeign = e.other.createZone(nullptr, ZL_GLOBAL);
         for (Zone2* pResult : {zoneUnion(pA, pForeign), zoneIntersection(pA, pForeign), zoneDifference(pForeign, pA),
                                zoneSymmetricDifference(pA, pForeign), zoneUnion(nullptr, pA), zoneDifference(nullptr, nullptr)})
             EXPECT_EQ(pResult, nullptr);
         e.dt.writeObj(e.file("z.obj"), pForeign), e.dt.writeWebScene(e.file("scene").c_str(), pForeign);
         pForeign->show(nullptr, Color(CRED, 1, false));
         EXPECT_FALSE(lumo_test::fileExists(e.file("z.obj")));
     }},
    {"deleteZone: null, foreign, twice, and an operand of a live result",
     times(3, warning("Dt2::deleteZone(..)", "trying to delete a non-existing zone")) + warning("Dt2::deleteZone(..)", "the zone is an operand of a result zone, delete that one first. Nothing deleted"),
     [](Env& e) {
         Zone2* pA = e.dt.createZone(nullptr, ZL_GLOBAL);
         for (Zone2* pZone : {static_cast<Zone2*>(nullptr), e.other.createZone(nullptr, ZL_GLOBAL), pA, pA}) e.dt.deleteZone(pZone);
         Zone2* pB = e.dt.createZone(nullptr, ZL_GLOBAL);
         Zone2* pU = zoneUnion(pB, pB);
         e.dt.deleteZone(pB);
         EXPECT_EQ(pU->getNumberOfTriangles(), e.dt.numberOfTriangles());
         e.dt.deleteZone(pU);
         e.dt.deleteZone(pB);   // now it may go
     }},
    {"createZone(triangles): empty, null and foreign entries",
     warning("Dt2::createZone()", "vTriangles is empty. Returning NULL") + noZone +
         warning("Dt2::createZone()", "Unable to handle the triangle vTriangles[1]: null, dead or not of this triangulation. Returning NULL") +
         warning("Dt2::createZone()", "Unable to handle the triangle vTriangles[0]: null, dead or not of this triangulation. Returning NULL"),
     [](Env& e) {
         std::vector<Triangle2*> v, vForeign;
         EXPECT_EQ(e.dt.createZone(v), nullptr);
         e.dt.getTrianglePointers(v);
         v[1] = nullptr;
         EXPECT_EQ(e.dt.createZone(v, false), nullptr);
         e.other.getTrianglePointers(vForeign);
         EXPECT_EQ(e.dt.createZone(vForeign, false), nullptr);
     }},
    {"createZone(triangles): a part too thin for a start point",
     warning("Dt2::createZone()", "A connected component of the zone is almost degenerate: 1 triangle(s), none with a point of double coordinates strictly inside") +
         warning("Dt2::createZone()", "An almost degenerate part of the zone has no start point for zone growing!") + noZone,
     [](Env&) {
         // Between y = 0 and the apex at the smallest subnormal there is no double.
         Lumo_2D thin;
         thin.insert({Point2(0, 0), Point2(2, 0), Point2(1, 4.9406564584124654e-324), Point2(1, 5)});
         std::vector<Triangle2*> vAll, vSliver;
         thin.getTrianglePointers(vAll);
         for (Triangle2* pT : vAll)
             if (!pT->hasVertex(Point2(1, 5))) vSliver.push_back(pT);
         ASSERT_TRUE(vSliver.size() == 1u && lumo_test::meshFault(thin).empty());
         EXPECT_EQ(thin.createZone(vSliver), nullptr);
         // Joined to a wider part across an edge, the sliver is grown into from there.
         Zone2* pZone = thin.createZone(vAll, false);
         ASSERT_NE(pZone, nullptr);
         EXPECT_EQ(pZone->getNumberOfTriangles(), 3u);
     }},
    {"peelOffIf: null zone and null predicate; unifyGrid: spacing zero, negative, NaN",
     warning("peelOffIf()", "pZone is NULL. Returning NULL") + warning("peelOffIf()", "pPredicate is NULL. Returning NULL") +
         times(3, warning("Zone2::unifyGrid()", "gridSpacing must be positive and finite, nothing snapped")),
     [](Env& e) {
         Zone2* pAll = e.dt.createZone(nullptr, ZL_GLOBAL);
         EXPECT_TRUE(peelOffIf(nullptr, nullptr, true) == nullptr && peelOffIf(pAll, nullptr, true) == nullptr);
         for (double spacing : {0.0, -1.0, NaN}) EXPECT_EQ(pAll->unifyGrid(spacing), 0u);
     }},

    // ---- importing, cutting, cookie cutter ------------------------------------------
    {"importTriangles: a corner count that is not a multiple of 3, overlapping triangles change nothing; cutTriangles: no segments, "
     "and before the first triangle",
     warning("Lumo_2D::importTriangles()", "vTriangleCorners holds 4 point(s), not a positive multiple of 3 (three corners per triangle). Returning NULL") +
         warning("Lumo_2D::importTriangles()", "triangle 0 is cut by another triangle (overlapping triangles, or a corner on another triangle's edge). Returning NULL") +
         warning("Lumo_2D::cutTriangles()", "vSegments is empty. Returning NULL") +
         warning("Lumo_2D::cutTriangles()", "the triangulation has no triangles yet, nothing to cut. Returning NULL"),
     [](Env& e) {
         EXPECT_EQ(e.dt.importTriangles(std::vector<Point2>(4, Point2(1, 1)), true), nullptr);
         EXPECT_EQ(e.dt.importTriangles({Point2(0, 0), Point2(2, 0), Point2(0, 2), Point2(1, -1), Point2(3, 1), Point2(1, 1)}, true), nullptr);
         std::vector<Triangle2*> vL, vR;
         EXPECT_EQ(e.dt.cutTriangles({}, vL, vR), nullptr);
         Lumo_2D empty;
         EXPECT_EQ(empty.cutTriangles({e.a}, vL, vR), nullptr);
         EXPECT_TRUE(vL.empty() && vR.empty());
     }},
    {"createZone_cookieCutter: null zone, too few corners, NaN, not simple, beside the zone (on another triangulation)",
     [] {
         const std::string where = "createZone_cookieCutter()";
         return warning(where, "pZone is null or not a zone of this triangulation. Returning NULL") +
                warning(where, "the polygon has fewer than 3 vertices. Returning NULL") +
                warning(where, "the polygon has a NaN or infinite coordinate. Returning NULL") +
                warning(where, "the polygon is not simple: edges 1 and 3 intersect. Returning NULL") +
                warning(where, "the polygon is not simple: edges 1 and 2 overlap. Returning NULL") +
                warning(where, "the polygon and the zone do not overlap. Returning NULL");
     }(),
     [](Env& e) {
         EXPECT_EQ(createZone_cookieCutter(nullptr, {Point2(1, 1), Point2(2, 1), Point2(2, 2), Point2(1, 2)}), nullptr);
         Zone2* pZone = e.dt.createZone(nullptr, ZL_GLOBAL);
         // Closed by repeating the first vertex: two vertices are left.
         EXPECT_EQ(createZone_cookieCutter(pZone, {Point2(1, 1), Point2(2, 2), Point2(1, 1)}), nullptr);
         EXPECT_EQ(createZone_cookieCutter(pZone, {Point2(1, 1), Point2(2, Inf), Point2(1, 2)}), nullptr);
         EXPECT_EQ(createZone_cookieCutter(pZone, {Point2(1, 1), Point2(2, 1), Point2(1, 2), Point2(2, 2)}), nullptr);
         EXPECT_EQ(createZone_cookieCutter(pZone, {Point2(1, 1), Point2(3, 1), Point2(3, 2), Point2(3, 1.5)}), nullptr);
         std::vector<Segment2> v = lumo_test::loopSegments({Point2(0, 0), Point2(1, 0), Point2(0, 3)});
         Zone2* pOther = e.other.createZone(e.other.createConstraint(v, CIS_CONSTRAINED_DELAUNAY, true), ZL_INSIDE);
         EXPECT_EQ(createZone_cookieCutter(pOther, {Point2(3, 0.5), Point2(3.5, 0.5), Point2(3.5, 1)}), nullptr);
     }},

    // ---- refinement ------------------------------------------------------------------------
    {"refine: a null zone and an angle above 30 on standard error, 30.0 accepted; refineAdvanced: ZL_OUTSIDE and ZL_GLOBAL zones, "
     "a null zone, an angle above 30, a foreign zone, null parameters",
     [] {
         const std::string loc = "The zoneLocation must be ZL_INSIDE or ZL_BOUNDED. Please convert the zone using pZone->convertToBoundedZone(..)";
         return error("Dt2::refineMain2()", loc) + error("Dt2::refineMain2()", loc) + error("Dt2::refineMain2(..)", "pZone==NULL") +
                error("Dt2::refine(..)", "minAngleDegree must be <=30.0, return") +
                error("Dt2::refineMain2()", "the zone does not belong to this triangulation") +
                warning("Lumo_2D::refineAdvanced()", "pParams is null, nothing refined");
     }(),
     [](Env& e) {
         ConstraintGraph2* pG = e.box(e.dt, true);
         const std::string ctorError = "\n\n\nMeshGenParams::MeshGenParams(..), ERROR: \n\tbehavior since Lumo 1.39: The zoneLocation must be "
                                       "ZL_INSIDE or ZL_BOUNDED. Please convert the zone using pZone->convertToBoundedZone(..)\n\n\n";
         testing::internal::CaptureStderr();
         e.dt.refine(nullptr);
         e.dt.refine(e.dt.createZone(pG, ZL_INSIDE), 30.5);
         MeshGenParams outside(e.dt.createZone(pG, ZL_OUTSIDE)), global(e.dt.createZone(nullptr, ZL_GLOBAL)), none(nullptr);
         EXPECT_EQ(testing::internal::GetCapturedStderr(), "\nWarning: Lumo_2D::refine(..) has been called with pZone==NULL\n\n"
                                                           "\nWarning: Lumo_2D::refine(..), minAngleDegree can't be >30\n\n" +
                                                               ctorError + ctorError + ctorError);
         EXPECT_EQ(outside.gridVector.x(), 0.0);
         MeshGenParams steep(e.dt.createZone(pG, ZL_INSIDE)), foreign(e.other.createZone(e.box(e.other, true), ZL_INSIDE));
         steep.minAngleDegree = 31.0;
         for (MeshGenParams* p : {&outside, &global, &none, &steep, &foreign, static_cast<MeshGenParams*>(nullptr)}) e.dt.refineAdvanced(p);
         Lumo_2D t;
         t.insert(e.vInput);
         t.refine(t.createZone(e.box(t, true), ZL_INSIDE), 30.0);
         EXPECT_TRUE(t.numberOfPoints() > e.vInput.size() && lumo_test::meshFault(t).empty());
     }},

    // ---- triangles, the iterator, the vertex store ----------------------------------------------
    {"iterator: a null vertex stands on null, a vertex without triangles throws without a message; the area of a triangle with an "
     "infinite corner",
     warning("TriangleAroundVertexIterator::TriangleAroundVertexIterator()", "pVtx is null") +
         "invalid value, no area for this triangle\nownHalfCircf=inf\nCorners are:\nPoint2 (ADDR,-1): inf, 0\n"
         "Point2 (ADDR,-1): 1, 0\nPoint2 (ADDR,-1): 0, 1\nlen0=inf\nlen1=1.41421\nlen2=inf\n" + assertion("false", "ORBI_LUMO2D::Triangle2::computeArea"),
     [](Env&) {
         TriangleAroundVertexIterator it(static_cast<const Point2*>(nullptr));
         for (Triangle2* pT : {*it, *++it, *--it, it.previewNextTriangle(), it.previewPrevTriangle()}) EXPECT_EQ(pT, nullptr);
         Point2 p(1, 1), p0(Inf, 0), p1(1, 0), p2(0, 1);
         EXPECT_THROW(TriangleAroundVertexIterator it2(&p), std::exception);
         Triangle2 t;
         t.setProperties(&p0, &p1, &p2);
         EXPECT_THROW(t.getArea2D(), LumoException);
     }},
    {"vertex store: a start triangle before the first triangle, an unknown vertex, a duplicate registered twice, a fake-box corner beyond the four",
     assertion("getCloT() failed", "ORBI_LUMO2D::VertexVault::getCloseTriangle") + error("VertexVault::getIdxOfActiveVtx", "pQuery not found") +
         assertion("bInserted", "ORBI_LUMO2D::VertexVault::registerDup") +
         assertion("vFakeBoxHandles.size()>i", "ORBI_LUMO2D::VertexVault::getFakeBoxCorner"),
     [](Env&) {
         VertexVault vault;
         Point2 p(1, 1), q(0, 0);
         vault.addVertex(7, &p);  // stored, not yet part of a triangle
         EXPECT_THROW(vault.getCloseTriangle(5), LumoException);
         Dt2 dt(10);
         Point2* pVtx = dt.insert(Point2(0, 0));
         dt.getVertexVault().getIdxOfActiveVtx(&q);
         dt.getVertexVault().registerDup(&q, pVtx);
         EXPECT_THROW(dt.getVertexVault().registerDup(&q, pVtx), LumoException);
         EXPECT_THROW(dt.getVertexVault().getFakeBoxCorner(4), LumoException);
     }},

    // ---- the segment checker --------------------------------------------------------------------
    {"checker: null and NaN segments are left out; null and NaN arguments classify, intersect and meet nothing",
     warning("SegmentChecker::SegmentChecker()", "2 segment(s) null or with a NaN or infinite coordinate, the first one at index 1; they are left out of every check") +
         warning("SegmentChecker::getIntersectionType()", "null segment, no classification (SIT_UNINITIALIZED)") +
         warning("SegmentChecker::getIntersectionType()", nanSegment + ", no classification (SIT_UNINITIALIZED)") +
         warning("SegmentChecker::getIntersectors()", "null segment, no intersectors") +
         warning("SegmentChecker::getIntersectionPoint()", nanSegment + ", no intersection point") +
         warning("SegmentChecker::getIntersectionSegment()", nanSegment + ", no intersection segment"),
     [](Env& e) {
         SegmentChecker checker({&e.a, nullptr, &e.b, &e.bad}), c({&e.a, &e.b});
         EXPECT_TRUE(checker.getNumberOfSegments() == 4 && checker.getIndex(&e.bad) == 3);
         std::vector<Segment2*> out;
         checker.getIllegalSegments(true, out);
         EXPECT_EQ(out, (std::vector<Segment2*>{&e.a, &e.b}));
         std::vector<std::pair<Segment2*, SegmentIntersectionType>> v;
         checker.getIntersectors(&e.a, true, v);
         EXPECT_EQ(v.size(), 1u);
         EXPECT_TRUE(c.getIntersectionType(&e.a, nullptr) == SIT_UNINITIALIZED && c.getIntersectionType(&e.bad, &e.a) == SIT_UNINITIALIZED);
         c.getIntersectors(nullptr, true, v);
         EXPECT_TRUE(v.empty());
         Point2 ip(7, 7);
         Segment2 s;
         EXPECT_FALSE(c.getIntersectionPoint(SIT_POINT, e.a, e.bad, ip) || c.getIntersectionSegment(e.bad, e.a, s));
         EXPECT_EQ(ip, Point2(7, 7));
     }},
    {"checker: index out of range, unknown segment, subscribe null, unsubscribe before subscribe",
     assertion("i<pSCD->vSegments.size()", "ORBI_LUMO2D::SegmentChecker::getSegment") + warning("SegmentChecker::getIndex()", "No such segment") +
         warning("SegmentChecker::subscribe()", "pMsg is null, nothing subscribed") + warning("SegmentChecker::unsubscribe()", "No publisher present"),
     [](Env& e) {
         SegmentChecker c({&e.a, &e.b}), d({&e.a});
         std::vector<Segment2*> v;
         lumo_test::ProgressLog r;
         EXPECT_THROW(d.getSegment(1), LumoException);
         EXPECT_EQ(d.getIndex(&e.b), -1);
         c.subscribe(MSG_PROGRESS, nullptr), c.getIllegalSegments(true, v), d.unsubscribe(MSG_PROGRESS, &r);
     }},

    // ---- files ---------------------------------------------------------------------------------------
    {"readers and writers: null name; a null point writes nothing",
     [] {
         std::string r;
         for (const char* f : {"readPointsBIN()", "readSegmentsBIN()", "readXY()", "writePointsBIN()", "writeSegmentsBIN()", "writePointsASCII()"})
             r += warning(f, "filename is null, nothing done");
         return r + "readPointFile: no file name\n" + warning("writePointsBIN()", "point 1 is null, nothing written") +
                warning("writePointsASCII()", "point 0 is null, nothing written");
     }(),
     [](Env& e) {
         std::vector<Point2> v;
         std::vector<Segment2> vSeg(1);
         std::vector<Point2*> vOneNull{e.vOwn[0], nullptr}, vNull{nullptr};
         EXPECT_EQ(std::vector<bool>({readPointsBIN(nullptr, v), readSegmentsBIN(nullptr, vSeg), readXY(nullptr, v), writePointsBIN(nullptr, e.vInput),
                                      writeSegmentsBIN(nullptr, vSeg), writePointsASCII(nullptr, e.vInput), readPointFile(nullptr, PFF_AUTO, v),
                                      writePointsBIN(e.file("p.bin").c_str(), vOneNull), writePointsASCII(e.file("p.txt").c_str(), vNull)}),
                   std::vector<bool>(9, false));
         EXPECT_FALSE(lumo_test::fileExists(e.file("p.bin")));
     }},
    {"readers and writers: a path that cannot exist, a directory",
     [] {
         std::string r;
         for (const std::string f : {"{blocked}", "{tmp}"})
             r += f + " can't be written\n" + f + " can't be written\n" + f + " can't be written\n" + f + " can't be read\n" + f +
                  " can't be read\n" + f + " is unreadable\n";
         return r;
     }(),
     [](Env& e) {
         for (const std::string& f : {e.blocked, e.tmp.path()}) {
             std::vector<Point2> v;
             std::vector<Segment2> vSeg{e.a};
             EXPECT_FALSE(writePointsBIN(f.c_str(), e.vInput) || writeSegmentsBIN(f.c_str(), vSeg) || writePointsASCII(f.c_str(), e.vInput));
             EXPECT_FALSE(readPointsBIN(f.c_str(), v) || readSegmentsBIN(f.c_str(), vSeg) || readXY(f.c_str(), v));
         }
     }},

    // ---- generators, polygon helpers, licence ----------------------------------------------------------
    {"generators: infinite or overflowing ranges, fewer than three polygon sides, no circle points, a sine count beyond int, zero "
     "periods; empty ranges and a NaN bound are assertions",
     [] {
         std::string r;
         for (const char* f : {"generateRandomNumbers()", "generateRandomPoints()", "generateRandomSegments()", "generateRandomPolygon()"})
             r += warning(f, "the range [min, max) is not finite, nothing generated");
         return r + warning("generateRandomPolygon()", "numSegments<3") + warning("generateCircle()", "numPoints=0") +
                warning("generateSineSegments()", "numPeriods=100000, numSegmentsPerPeriod=100000") +
                warning("generateSineSegments()", "numPeriods=0, numSegmentsPerPeriod=4") + assertion("min<max", "ORBI_LUMO2D::generateRandomNumbers") +
                assertion("min<max", "ORBI_LUMO2D::generateRandomPoints") + assertion("range>0", "ORBI_LUMO2D::generateRandomPolygon") +
                assertion("min<max", "ORBI_LUMO2D::generateRandomSegments") + assertion("maxLen>0", "ORBI_LUMO2D::generateRandomSegments");
     }(),
     [](Env&) {
         std::vector<double> vNum;
         std::vector<Point2> vPts(1);   // the generators append
         std::vector<Segment2> vSeg;
         generateRandomNumbers(5, -Inf, 1, vNum, 1), generateRandomPoints(5, -DBL_MAX, DBL_MAX, vPts, 1);
         generateRandomSegments(5, -Inf, 0, 1, vSeg, 1), generateRandomPolygon(5, -DBL_MAX, DBL_MAX, vSeg, 1), generateRandomPolygon(2, 0, 1, vSeg, 1);
         generateCircle(0, 0, 0, 1, 1, vPts), generateSineSegments(100000, 100000, 0, 1, 0, 1, false, vSeg);
         generateSineSegments(0, 4, 0, 1, 0, 1, false, vSeg);
         EXPECT_TRUE(vNum.empty() && vPts.size() == 1 && vSeg.empty());
         EXPECT_THROW(generateRandomNumbers(3, 1, 1, vNum, 1), LumoException);
         EXPECT_THROW(generateRandomPoints(3, NaN, 1, vPts, 1), LumoException);
         EXPECT_THROW(generateRandomPolygon(4, 2, 2, vSeg, 1), LumoException);
         EXPECT_THROW(generateRandomSegments(4, 1, 1, 1, vSeg, 1), LumoException);
         EXPECT_THROW(generateRandomSegments(4, 0, 1, 0, vSeg, 1), LumoException);
     }},
    {"polygon helpers: NaN segments and points, an edge without triangle, not a ring, a closed polyline of two points, null and dead triangles",
     [] {
         const std::string nanSeg = "segment 1 has a NaN or infinite coordinate";
         const std::string t = "Unable to handle the triangle at position 1 (null or dead), nothing appended";
         return warning("edgesToPolygons()", nanSeg + ", nothing appended") + warning("edgesToPolygons()", "edge 0 has no triangle, nothing appended") +
                warning("sortRing()", "the 2 segment(s) are not one closed ring, nothing appended") +
                warning("sortRingCCW()", nanSeg + ", nothing appended") + warning("isSimplePolygon()", nanSeg + ", not simple") +
                warning("pointsToPolyline()", "point 1 has a NaN or infinite coordinate, nothing appended") +
                warning("pointsToPolyline()", "a closed polyline needs three distinct consecutive points, 2 given; nothing appended") +
                times(2, warning("getBorders()", t)) + warning("getDirectedEdges()", t) + warning("getUndirectedEdges()", t);
     }(),
     [](Env& e) {
         static Triangle2 dead;
         std::vector<std::vector<Segment2>> vv;
         std::vector<Segment2> v;
         std::vector<std::vector<Edge2>> vvE;
         std::vector<Edge2> vE;
         std::vector<Triangle2*> vT;
         e.dt.getTrianglePointers(vT);
         edgesToPolygons({e.a, e.bad}, vv, v), edgesToPolygons({Edge2()}, vvE, vE);
         EXPECT_FALSE(sortRing({e.a, e.b}, v) || sortRingCCW({e.a, e.bad}, v) || isSimplePolygon({e.a, e.bad}));
         pointsToPolyline({Point2(0, 0), Point2(NaN, 1)}, false, v), pointsToPolyline({Point2(0, 0), Point2(1, 1), Point2(1, 1), Point2(0, 0)}, true, v);
         getBorders({vT[0], nullptr}, vE), getBorders({vT[0], nullptr}, vvE), getDirectedEdges({vT[0], &dead}, vE), getUndirectedEdges({vT[0], &dead}, vE);
         EXPECT_TRUE(vv.empty() && v.empty() && vvE.empty() && vE.empty());
     }},
    {"setLic: a key without a licensee", warning("setLic()", "a license record needs the licensee's name, the license in force is unchanged"),
     [](Env&) { LicenseRecord r; r.key = "K"; r.maxPoints = 3; EXPECT_FALSE(setLic(r)); EXPECT_EQ(getLic().maxPoints, 0u); }},

    // ---- quadrilateral meshes -------------------------------------------------------------------
    {"createQuadMesh: null, foreign, deleted and empty zones leave an empty mesh; QMesh: null visualizer, angle index out of range, unwritable OBJ",
     [] {
         const std::string where = "Lumo_2D::createQuadMesh()", foreign = "the zone does not belong to this triangulation, no quad mesh made";
         return warning(where, "pZone is null, no quad mesh made") + times(2, warning(where, foreign)) + noGrowth +
                warning(where, "the zone has no triangles, no quad mesh made") + warning("QMesh::show()", "pVisualizer is null, nothing drawn") +
                assertion("q<vQuads.size() && i>=0 && i<4", "ORBI_LUMO2D::QMesh::getQuadAngle");
     }(),
     [](Env& e) {
         QMesh mesh;
         Zone2* pAll = e.dt.createZone(nullptr, ZL_GLOBAL);
         Zone2* pGone = e.dt.createZone(nullptr, ZL_GLOBAL);
         e.dt.deleteZone(pGone);
         for (Zone2* pZone : {static_cast<Zone2*>(nullptr), e.other.createZone(nullptr, ZL_GLOBAL), pGone,
                              e.dt.createZone(std::vector<ConstraintGraph2*>{}, ZL_GROW, Point2(9, 9))}) {
             EXPECT_TRUE(e.dt.createQuadMesh(pAll, mesh) && !mesh.empty());
             EXPECT_FALSE(e.dt.createQuadMesh(pZone, mesh));
             EXPECT_TRUE(mesh.empty() && mesh.numberOfVertices() == 0 && mesh.getStatistics().numZoneTriangles == 0);
         }
         ASSERT_TRUE(e.dt.createQuadMesh(pAll, mesh));
         mesh.show(nullptr, Color(CRED, 1, false), Color(CBLUE, 1, false));
         EXPECT_THROW(mesh.getQuadAngle(mesh.numberOfQuads(), 0), LumoException);
         EXPECT_FALSE(mesh.writeObj(e.blocked + "/q.obj"));
     }},
};

// The expected text with "{tmp}" and "{blocked}" replaced.
std::string withPaths(std::string text, const Env& e) {
    for (const auto& r : {std::make_pair(std::string("{blocked}"), e.blocked), std::make_pair(std::string("{tmp}"), e.tmp.path())})
        for (size_t at = text.find(r.first); at != std::string::npos; at = text.find(r.first, at + r.second.size()))
            text.replace(at, r.first.size(), r.second);
    return text;
}
} // namespace

TEST(Misuse, EveryEntryPointGivesItsMessageAndANeutralResult) {
    for (const Row& row : aRows) {
        SCOPED_TRACE(row.what);
        Env e;
        const std::string out = lumo_test::stdoutOf([&] { row.call(e); });
        // Both sides masked: a temporary directory's random name may hold "0x" and a hex digit.
        EXPECT_EQ(lumo_test::normalized(out), lumo_test::normalized(withPaths(row.expected, e)));
        // The triangulation answers as before: the Delaunay triangulation of its input.
        EXPECT_EQ(lumo_test::checkDelaunayTriangulation(e.vInput, lumo_test::triangles(e.dt)), "");
        EXPECT_EQ(e.dt.numberOfPoints(), e.vInput.size());
    }
}
