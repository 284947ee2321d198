// The facade: every call goes to the one Dt2 behind it. Misuse that Dt2 need not know about
// (null pointers, handles of another triangulation, absurd counts) is answered here with one
// warning and a neutral result, so that the triangulation stays as it was.
#include "Lumo_2D.h"
#include <algorithm>
#include <cmath>
#include <iostream>
#include <sstream>
#include <thread>
#include "ConstraintMgr.h"
#include "Dt2.h"
#include "LicenseCheck.h"
#include "QuadMesher.h"
#include "tools.h"

namespace ORBI_LUMO2D {

namespace {
// More threads than this many per hardware thread only add scheduling overhead.
const int MAX_CPU_PER_HARDWARE_THREAD = 8;

bool isNull(const void* p, const char* where, const char* what, const char* consequence) {
    if (p != nullptr) return false;
    reportWarning(where, std::string(what) + " is null, " + consequence);
    return true;
}

// A vertex handle of a triangulation is a record of its point pool; the pool answers by
// address (a binary search over its few blocks), without reading the record.
bool isForeign(const Dt2& dt, const Point2* pVtx, const char* where, const char* consequence) {
    if (dt.getPointPool().contains(pVtx)) return false;
    reportWarning(where, std::string("the vertex does not belong to this triangulation, ") + consequence);
    return true;
}
// The number of distinct finite endpoints of the segments.
size_t countDistinctEndpoints(const std::vector<Segment2>& vSegments) {
    std::vector<std::pair<double, double>> vEnds;
    vEnds.reserve(2 * vSegments.size());
    for (const Segment2& s : vSegments)
        for (const Point2& p : {s.getSrc(), s.getTrg()})
            if (std::isfinite(p.x()) && std::isfinite(p.y())) vEnds.emplace_back(p.x() + 0.0, p.y() + 0.0);
    std::sort(vEnds.begin(), vEnds.end());
    return size_t(std::unique(vEnds.begin(), vEnds.end()) - vEnds.begin());
}
} // namespace

Lumo_2D::Lumo_2D(unsigned numExpectedVertices) : pImpl(new Dt2(numExpectedVertices)) {}
Lumo_2D::~Lumo_2D() { delete pImpl; }

// ---- insertion ------------------------------------------------------------------------------

// The points limit is checked here and in the bulk path of Dt2, not in Dt2::insert: that one
// also inserts the endpoints and crossings of constraints, which must not stop halfway.
Point2* Lumo_2D::insert(const Point2& p) {
    if (std::isfinite(p.x()) && std::isfinite(p.y()))
        enforceLicense(LIMIT_POINTS, pImpl->numberOfPoints() + 1, "Lumo_2D::insert()");
    return pImpl->insert(p);
}
void Lumo_2D::insert(const std::vector<Point2>& vInputPoints) { pImpl->insertVector(vInputPoints, nullptr); }
void Lumo_2D::insert(const std::vector<Point2>& vInputPoints, std::vector<Point2*>& vHandlesOut) {
    pImpl->insertVector(vInputPoints, &vHandlesOut);
}
void Lumo_2D::insert(int numPoints, double* aCoordinates, Point2** aHandles) {
    if (numPoints < 0) {
        reportWarning("Lumo_2D::insert()", "numPoints=" + std::to_string(numPoints) + " is negative, nothing inserted");
        return;
    }
    if (numPoints > 0 && isNull(aCoordinates, "Lumo_2D::insert()", "aCoordinates", "nothing inserted")) return;
    pImpl->insertArray(numPoints, aCoordinates, aHandles);
}

// ---- removal ------------------------------------------------------------------------------------

// Null, foreign and removed vertices are Dt2's own refusals, with their messages.
void Lumo_2D::remove(Point2* pVtx) { pImpl->remove(pVtx); }

// ---- state --------------------------------------------------------------------------------------

bool Lumo_2D::is2D() const { return pImpl->is2D(); }
size_t Lumo_2D::numberOfPoints() const { return pImpl->numberOfPoints(); }
size_t Lumo_2D::numberOfTriangles() const { return pImpl->numberOfTriangles(); }
void Lumo_2D::getTrianglePointers(std::vector<Triangle2*>& vAllTriangles) const {
    pImpl->getTrianglePointers(vAllTriangles);
}
void Lumo_2D::getVertexPointers(std::vector<Point2*>& vAllPoints) const { pImpl->getVertexPointers(vAllPoints); }
Bbox2 Lumo_2D::computeBoundingBox() const { return pImpl->computeBoundingBox(); }

int Lumo_2D::setNumCPU(int numCPU) {
    const int numHardware = std::max(1, int(std::thread::hardware_concurrency()));
    const int maxCPU = MAX_CPU_PER_HARDWARE_THREAD * numHardware;
    if (numCPU > maxCPU) {
        std::ostringstream text;
        text << "numCPU=" << numCPU << " is more than " << MAX_CPU_PER_HARDWARE_THREAD << " times the " << numHardware
             << " hardware thread(s); bulk insertion starts no more threads than it has work for";
        reportWarning("Lumo_2D::setNumCPU()", text.str());
    }
    return pImpl->setNumCPU(numCPU);
}
void Lumo_2D::enableMultithreading() { pImpl->setNumCPU(0); }
int Lumo_2D::getNumCPU() const { return pImpl->getNumCPU(); }

// ---- queries -------------------------------------------------------------------------------------

Triangle2* Lumo_2D::locate(const Point2& q) {
    if (!std::isfinite(q.x()) || !std::isfinite(q.y())) {
        reportWarning("Lumo_2D::locate()", "q has a NaN or infinite coordinate, null returned");
        return nullptr;
    }
    return pImpl->locate(q);
}
Triangle2* Lumo_2D::getAdjacentTriangle(Point2* p0, Point2* p1) const {
    // Null vertices are the assertions of Dt2; a foreign one is a warning here.
    const char* where = "Lumo_2D::getAdjacentTriangle()";
    if ((p0 != nullptr && isForeign(*pImpl, p0, where, "null returned")) ||
        (p1 != nullptr && isForeign(*pImpl, p1, where, "null returned")))
        return nullptr;
    return pImpl->getAdjacentTriangle(p0, p1);
}
void Lumo_2D::getIncidentTriangles(Point2* pVtx, std::vector<Triangle2*>& vIncidentT) const {
    const char* where = "Lumo_2D::getIncidentTriangles()";
    if (isNull(pVtx, where, "pVtx", "nothing appended") || isForeign(*pImpl, pVtx, where, "nothing appended")) return;
    pImpl->getIncidentTriangles(pVtx, vIncidentT);
}
void Lumo_2D::getConvexHull(bool bAllVertices, std::vector<Point2*>& vConvexHullPoints) const {
    pImpl->getConvexHull(bAllVertices, vConvexHullPoints);
}
bool Lumo_2D::checkValidity(bool bCheckEmptyCircleProperty, const std::string& msg) const {
    return pImpl->checkValidity(bCheckEmptyCircleProperty, msg);
}
void Lumo_2D::statistics(const std::string& name) const { pImpl->statistics(name); }

// ---- progress --------------------------------------------------------------------------------------

ConstraintGraph2* Lumo_2D::createConstraint(std::vector<Segment2>& vSegments, ConstraintInsertionStrategy cis,
                                            bool orientedSegments) {
    if (vSegments.empty()) {
        reportWarning("Lumo_2D::createConstraint()", "You have not supplied any segments. Returning NULL!");
        return nullptr;
    }
    // The endpoints count as new points; crossings found later do not stop the insertion.
    const size_t maxPoints = licenseLimit(LIMIT_POINTS);
    if (maxPoints != 0 && pImpl->numberOfPoints() + 2 * vSegments.size() > maxPoints)
        enforceLicense(LIMIT_POINTS, pImpl->numberOfPoints() + countDistinctEndpoints(vSegments),
                       "Lumo_2D::createConstraint()");
    return pImpl->createConstraint(vSegments, cis, orientedSegments);
}
void Lumo_2D::applyConstraintsAndZones() {
    if (!pImpl->is2D()) {
        reportWarning("Lumo2D::applyConstraintsAndZones()", "The triangulation is not 2D yet, can't apply the constraints");
        return;
    }
    pImpl->applyConstraintsAndZones();
}
void Lumo_2D::writeConstraintsBIN(const std::string& prefix) const {
    pImpl->getConstraintMgr().writeConstraintsBIN(prefix);
}
void Lumo_2D::writeConstraints(const std::string& prefix) const { pImpl->getConstraintMgr().writeConstraints(prefix); }

// ---- zones --------------------------------------------------------------------------------------------

namespace {
Zone2* verbose(Zone2* pZone, bool bVerbose) {
    if (pZone == nullptr && bVerbose) reportWarning("Lumo_2D::createZone(..)", "No zone created, returning NULL (bVerbose==true)");
    return pZone;
}
} // namespace

Zone2* Lumo_2D::createZone(ConstraintGraph2* pGraph, ZoneLocation zoneLoc, bool bVerbose) {
    return verbose(pImpl->createZone(pGraph, zoneLoc), bVerbose);
}
Zone2* Lumo_2D::createZone(const std::vector<ConstraintGraph2*>& vGraphs, ZoneLocation zoneLoc, bool bVerbose) {
    return verbose(pImpl->createZone(vGraphs, zoneLoc), bVerbose);
}
Zone2* Lumo_2D::createZone(const std::vector<ConstraintGraph2*>& vGraphs, ZoneLocation zoneLoc, const Point2& startPoint,
                           bool bVerbose) {
    return verbose(pImpl->createZone(vGraphs, zoneLoc, startPoint), bVerbose);
}
Zone2* Lumo_2D::createZone(ConstraintGraph2* pGraph, ZoneLocation zoneLoc, const Point2& startPoint, bool bVerbose) {
    return verbose(pImpl->createZone(std::vector<ConstraintGraph2*>{pGraph}, zoneLoc, startPoint), bVerbose);
}
Zone2* Lumo_2D::createZone(std::vector<Triangle2*>& vTriangles, bool bVerbose) {
    return verbose(pImpl->createZone(vTriangles), bVerbose);
}
void Lumo_2D::deleteZone(Zone2* pZone) { pImpl->deleteZone(pZone); }

// ---- importing and cutting ------------------------------------------------------------------------

Zone2* Lumo_2D::importTriangles(const std::vector<Point2>& vTriangleCorners, bool bReorientIfNeeded) {
    return pImpl->importTriangles(vTriangleCorners, bReorientIfNeeded);
}
ConstraintGraph2* Lumo_2D::cutTriangles(const std::vector<Segment2>& vSegments, std::vector<Triangle2*>& vLeftOut,
                                        std::vector<Triangle2*>& vRightOut) {
    return pImpl->cutTriangles(vSegments, vLeftOut, vRightOut);
}

// ---- quality mesh generation -----------------------------------------------------------------------

void Lumo_2D::refine(Zone2* pZone, double minAngleDegree, double minEdgeLength, double maxEdgeLength,
                     bool allowConstraintSplitting) {
    if (pZone == nullptr) {
        std::cerr << "\nWarning: Lumo_2D::refine(..) has been called with pZone==NULL\n\n";
        return;
    }
    if (minAngleDegree > 30.0) {
        std::cerr << "\nWarning: Lumo_2D::refine(..), minAngleDegree can't be >30\n\n";
        return;
    }
    MyLocalParams params(pZone);
    params.minAngleDegree = minAngleDegree;
    params.minEdgeLength = minEdgeLength;
    params.maxEdgeLength = maxEdgeLength;
    params.allowConstraintSplitting = allowConstraintSplitting;
    pImpl->refineMain3(&params);
}

void Lumo_2D::refineAdvanced(MeshGenParams* pParams) {
    if (isNull(pParams, "Lumo_2D::refineAdvanced()", "pParams", "nothing refined")) return;
    pImpl->refineMain3(pParams);
}

void Lumo_2D::subscribe(MsgType msgType, MsgBase* pMsg) {
    if (isNull(pMsg, "Lumo_2D::subscribe()", "pMsg", "nothing subscribed")) return;
    pImpl->subscribe(msgType, pMsg);
}
void Lumo_2D::unsubscribe(MsgType msgType, MsgBase* pMsg) { pImpl->unsubscribe(msgType, pMsg); }

// ---- drawings and exports -----------------------------------------------------------------------------

void Lumo_2D::show(const std::string& postscriptFilename) const { pImpl->show(postscriptFilename); }
void Lumo_2D::show(Visualizer2* pVisualizer, const Color& color) const {
    if (isNull(pVisualizer, "Lumo_2D::show()", "pVisualizer", "nothing drawn")) return;
    pImpl->show(pVisualizer, color);
}
void Lumo_2D::showSvg(const std::string& svgFilename) const { pImpl->showSvg(svgFilename); }
void Lumo_2D::writeObj(const std::string& filename) const { pImpl->writeObj(filename, nullptr); }
void Lumo_2D::writeWebScene(const char* path) const {
    if (isNull(path, "Lumo_2D::writeWebScene()", "path", "nothing written")) return;
    pImpl->writeWebScene(path, nullptr);
}

namespace {
// The zone's triangles into vT; false (after a warning) for a zone that is not one of dt's.
bool zoneTriangles(const Dt2& dt, const Zone2* pZone, const char* where, std::vector<Triangle2*>& vT,
                   const char* consequence = "nothing written") {
    if (!dt.hasZone(pZone)) {
        reportWarning(where, std::string("the zone does not belong to this triangulation, ") + consequence);
        return false;
    }
    pZone->getTriangles(vT);
    return true;
}
} // namespace

void Lumo_2D::writeObj(const std::string& filename, Zone2* pZone) const {
    std::vector<Triangle2*> vT;
    if (pZone == nullptr) pImpl->writeObj(filename, nullptr);
    else if (zoneTriangles(*pImpl, pZone, "Lumo_2D::writeObj()", vT)) pImpl->writeObj(filename, &vT);
}
void Lumo_2D::writeWebScene(const char* path, Zone2* pZone) const {
    if (isNull(path, "Lumo_2D::writeWebScene()", "path", "nothing written")) return;
    std::vector<Triangle2*> vT;
    if (pZone == nullptr) pImpl->writeWebScene(path, nullptr);
    else if (zoneTriangles(*pImpl, pZone, "Lumo_2D::writeWebScene()", vT)) pImpl->writeWebScene(path, &vT);
}

// ---- quadrilateral meshes -------------------------------------------------------------------------

bool Lumo_2D::createQuadMesh(Zone2* pZone, QMesh& meshOut, const QuadMeshParams& params) const {
    const char* where = "Lumo_2D::createQuadMesh()";
    meshOut.clear();
    std::vector<Triangle2*> vT;
    if (isNull(pZone, where, "pZone", "no quad mesh made") || !zoneTriangles(*pImpl, pZone, where, vT, "no quad mesh made"))
        return false;
    if (vT.empty()) {
        reportWarning(where, "the zone has no triangles, no quad mesh made");
        return false;
    }
    QuadMesher(*pImpl, params).run(vT, meshOut);
    return true;
}

} // namespace ORBI_LUMO2D
