// Drawings and exports of a triangulation: PostScript, OBJ and the browser scene, and the
// self-test's report with its failure drawings.
#include <string>
#include <vector>
#include "Dt2.h"
#include <iostream>
#include <fstream>
#include <iomanip>
#include "Circle2.h"
#include "ConstraintGraph2.h"
#include "ConstraintMgr.h"
#include "LumoFiles.h"
#include "Color.h"
#include "MeshExport_internal.h"
#include "TriangleSet.h"
#include "Visualizer2.h"
#include "Zone2.h"
#include "tools.h"

namespace ORBI_LUMO2D {

namespace {
const char* const notFullDimensional = "The triangulation is not full dimensional yet, no visualization";

// A zone's triangles in the given colour and its border as a darker, wider line.
void addZoneTriangles(const Dt2& dt, Visualizer2& vis, const std::vector<Triangle2*>& vZoneT, const Color& color) {
    vis.addObject(vZoneT, color);
    std::vector<Edge2> vBorder;
    appendBorderEdges(dt.getTrianglePool(), vZoneT, vBorder);
    const Color borderColor(color.getR() * 0.5, color.getG() * 0.5, color.getB() * 0.5, 2 * color.getWidth() + 0.3, false);
    for (const Edge2& e : vBorder) vis.addObject(Segment2(*e.getSrc(), *e.getTrg()), borderColor);
}

// One drawing of the whole triangulation, in either format. With pZoneT, the triangulation is
// drawn thin and the zone's triangles filled over it, with their border on top.
void drawTriangulation(const Dt2& dt, const std::string& filename, DrawingFormat format,
                       const std::vector<Triangle2*>* pZoneT = nullptr) {
    if (dt.numberOfTriangles() == 0) {
        reportError("Dt2::show()", notFullDimensional);
        return;
    }
    Visualizer2 vis(filename, format);
    vis.addHeaderLine(pZoneT == nullptr ? "Delaunay triangulation" : "Zone of a Delaunay triangulation");
    // Two header lines: a third would reach the edition line.
    vis.addHeaderLine(std::to_string(dt.numberOfPoints()) + " points, " + std::to_string(dt.numberOfTriangles()) +
                      " triangles" + (pZoneT == nullptr ? "" : ", " + std::to_string(pZoneT->size()) + " in the zone"));
    if (pZoneT == nullptr) {
        dt.show(&vis, Color(0.99, 0.9, 0.55, 0.15, true));
    } else {
        dt.show(&vis, Color(0.75, 0.75, 0.75, 0.05, false));
        addZoneTriangles(dt, vis, *pZoneT, Color(0.99, 0.9, 0.55, 0.15, true));
    }
    // The convex hull on top, so that the outline of the data reads at a glance.
    std::vector<Point2*> vHull;
    dt.getConvexHull(false, vHull);
    for (size_t i = 0; i < vHull.size(); ++i)
        vis.addObject(Segment2(*vHull[i], *vHull[(i + 1) % vHull.size()]), Color(CDARKBROWN, 0.8f, false));
    dt.addConstraintEdges(&vis, Color(CRED, 0.6f, false));
    vis.writeFile();
}
} // namespace

void Dt2::show(const std::string& postscriptFilename) const { drawTriangulation(*this, postscriptFilename, DF_POSTSCRIPT); }
void Dt2::showSvg(const std::string& svgFilename) const { drawTriangulation(*this, svgFilename, DF_SVG); }

void Dt2::show(Visualizer2* pVis, const Color& color) const {
    if (numberOfTriangles() == 0) {
        reportError("Dt2::show()", notFullDimensional);
        return;
    }
    std::vector<Triangle2*> vTriangles;
    getTrianglePointers(vTriangles);
    pVis->addObject(vTriangles, color);
}

namespace {
// The first empty-circle offender: the triangle, its circumcircle and the vertex inside.
void drawBadCircle(const ValidityFindings& findings) {
    const Triangle2* pT = findings.pBadCircleT;
    Visualizer2 vis("badEmptyCircle.ps");
    vis.addObject(*pT, Color(CBLACK, 0.001f, false));
    vis.addObject(*findings.pBadCircleN, Color(CGRAY, 0.001f, false));
    const Point2 cc = pT->getDual().first;
    const double dx = cc.x() - pT->getCorner(0)->x(), dy = cc.y() - pT->getCorner(0)->y();
    vis.addObject(Circle2(cc, dx * dx + dy * dy), Color(CBLUE, 0.001f, false));
    vis.addObject(*findings.pInside, Color(CRED, 0.002f, true));
    vis.writeFile();
}
} // namespace

bool Dt2::checkValidity(bool bCheckEmptyCircleProperty, const std::string& name) const {
    std::cout << "Lumo_2D::CheckValidity(" << name << ") has been started" << std::endl;
    if (!is2D()) {
        std::cout << "not fulldimensional yet (empty or all points collinear), Returning true" << std::endl;
        return true;
    }
    const ValidityFindings findings = findValidityFaults(bCheckEmptyCircleProperty);
    if (findConstraintMgr() != nullptr) {
        std::vector<ConstraintSegment2*> vCSegs;
        findConstraintMgr()->getSegmentsInMapOrder(vCSegs);
        size_t numAlive = 0;
        std::vector<ConstraintSegment2*> vMissing;
        for (ConstraintSegment2* pCSeg : vCSegs) {
            if (!pCSeg->isAlive()) continue;
            ++numAlive;
            if (!isEdge(pCSeg->getSrc(), pCSeg->getTrg())) vMissing.push_back(pCSeg);
        }
        std::cout << "\n* ConstraintSegments (alive): " << numAlive << ", contained: " << numAlive - vMissing.size()
                  << ", missing: " << vMissing.size() << std::endl;
        for (size_t k = 0; k < vMissing.size() && k < 10; ++k) std::cout << "Not contained: " << *vMissing[k] << std::endl;
    }
    const size_t maxReports = 10;
    std::vector<Triangle2*> vBadT;
    for (size_t k = 0; k < findings.vFaults.size(); ++k) {
        const ValidityFault& f = findings.vFaults[k];
        if (k < maxReports) {
            std::cout << f.text << std::endl;
            if (f.pT != nullptr) std::cout << *f.pT << std::endl;
        }
        if (f.pT != nullptr && vBadT.size() < maxReports) vBadT.push_back(f.pT);
        if (k == findings.badCircleFault) drawBadCircle(findings);
    }
    if (findings.isValid()) return true;
    std::cout << "\ncheckValidity, bug, name=" << name << " (" << findings.vFaults.size() << " failed tests)"
              << std::endl;
    // The whole triangulation, and the offending triangles in red over their neighbourhood.
    std::vector<Triangle2*> vT;
    getTrianglePointers(vT);
    Visualizer2 visAll("currentState.ps");
    visAll.addObject(vT, Color(CBLACK, 0.001f, false));
    visAll.writeFile();
    if (!vBadT.empty()) {
        Visualizer2 visBad("checkValidityFail_" + name + ".ps");
        for (Triangle2* pT : vBadT) {
            for (int i = 0; i < 3; ++i)
                if (pT->getOppositeTriangle(i) != nullptr && pT->getOppositeTriangle(i)->getCorner(0) != nullptr)
                    visBad.addObject(*pT->getOppositeTriangle(i), Color(CGRAY, 0.001f, false));
            if (pT->getCorner(0) != nullptr && pT->getCorner(1) != nullptr && pT->getCorner(2) != nullptr)
                visBad.addObject(*pT, Color(CRED, 0.001f, true));
        }
        visBad.writeFile();
    }
    return false;
}

void Dt2::addConstraintEdges(Visualizer2* pVis, const Color& color) const {
    if (findConstraintMgr() == nullptr) return;
    std::vector<ConstraintSegment2*> vCSegs;
    findConstraintMgr()->getSegmentsInMapOrder(vCSegs);
    for (ConstraintSegment2* pCSeg : vCSegs)
        if (pCSeg->isAlive()) pVis->addObject(Segment2(*pCSeg->getSrc(), *pCSeg->getTrg()), color);
}

void Dt2::writeObj(const std::string& filename, const std::vector<Triangle2*>* pTriangles) const {
    if (numberOfTriangles() == 0) {
        reportError("Dt2::show()", notFullDimensional);
        return;
    }
    if (pTriangles != nullptr) {
        writeObjTriangles(filename, *pTriangles);
        return;
    }
    std::vector<Triangle2*> vTriangles;
    getTrianglePointers(vTriangles);
    writeObjTriangles(filename, vTriangles);
}

void Dt2::writeWebScene(const char* path, const std::vector<Triangle2*>* pTriangles) const {
    if (!writeWebSceneFiles(path)) return;
    writeObj(std::string(path) + "/3d.obj", pTriangles);
    // The top view that the page links to; large meshes keep only the 3D view.
    if (numberOfTriangles() <= maxDrawingTriangles) drawTriangulation(*this, std::string(path) + "/2d.svg", DF_SVG, pTriangles);
}

// ---- zone drawings ------------------------------------------------------------------------------------

void Zone2::show(const std::string& postscriptFilename) const {
    std::vector<Triangle2*> vT;
    getTriangles(vT);
    drawTriangulation(*pOwner, postscriptFilename, DF_POSTSCRIPT, &vT);
}

void Zone2::showSvg(const std::string& svgFilename) const {
    std::vector<Triangle2*> vT;
    getTriangles(vT);
    drawTriangulation(*pOwner, svgFilename, DF_SVG, &vT);
}

void Zone2::show(Visualizer2* pVisualizer, const Color& color) const {
    if (pVisualizer == nullptr) {
        reportWarning("Zone2::show()", "pVisualizer is null, nothing drawn");
        return;
    }
    std::vector<Triangle2*> vT;
    getTriangles(vT);
    addZoneTriangles(*pOwner, *pVisualizer, vT, color);
}

// ---- constraint drawings and dump files -----------------------------------------------------------

void ConstraintGraph2::show(const std::string& filename) const {
    Visualizer2 vis(filename);
    if (pOwnerDt2 != nullptr && pOwnerDt2->numberOfTriangles() > 0) pOwnerDt2->show(&vis, Color(0.9, 0.9, 0.9, 0.05, false));
    show(&vis, Color(CRED, 0.5f, false));
    vis.writeFile();
}

void ConstraintGraph2::show(Visualizer2* pVis, const Color& color) const {
    std::vector<ConstraintSegment2*> vChain;
    getAliveConstraintChain(vChain);
    for (ConstraintSegment2* pCSeg : vChain) pVis->addObject(Segment2(*pCSeg->getSrc(), *pCSeg->getTrg()), color);
    for (Point2* p : splitVertices) pVis->addObject(*p, Color(CBLUE, 0.1f, false));
}

void ConstraintMgr::writeConstraintsBIN(const std::string& prefix) const { writeGraphs(prefix, true); }
void ConstraintMgr::writeConstraints(const std::string& prefix) const { writeGraphs(prefix, false); }

void ConstraintMgr::writeGraphs(const std::string& prefix, bool bBinary) const {
    for (size_t i = 0; i < vGraphs.size(); ++i) {
        std::vector<Segment2> vSegs;
        collectAliveLeaves(vGraphs[i], vSegs);
        const std::string filename = prefix + "_c" + std::to_string(i) + (bBinary ? "_con.bin" : ".con");
        reportInfo(bBinary ? "ConstraintMgr::writeConstraintsBIN()" : "ConstraintMgr::writeConstraints()",
                   "writes " + std::to_string(vSegs.size()) + " child segments to " + filename);
        if (bBinary) {
            writeSegmentsBIN(filename.c_str(), vSegs);
            continue;
        }
        std::ofstream out(filename);
        if (!out) {
            std::cout << filename << " can't be written" << std::endl;
            continue;
        }
        out << std::setprecision(17);
        for (const Segment2& s : vSegs)
            out << s.getSrc().x() << " " << s.getSrc().y() << " " << s.getTrg().x() << " " << s.getTrg().y() << "\n";
    }
}

} // namespace ORBI_LUMO2D
