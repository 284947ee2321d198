// Drawings and exports of a triangulation: PostScript, OBJ and the browser scene.
#include <string>
#include <vector>
#include "Dt2.h"
#include "Lumo_2D.h"
#include "MeshExport_internal.h"
#include "Visualizer2.h"
#include "tools.h"

namespace ORBI_LUMO2D {

namespace {
const char* const notFullDimensional = "The triangulation is not full dimensional yet, no visualization";
} // namespace

void Dt2::show(const std::string& postscriptFilename) const {
    if (numberOfTriangles() == 0) {
        reportError("Dt2::show()", notFullDimensional);
        return;
    }
    Visualizer2 vis(postscriptFilename);
    vis.addHeaderLine("Delaunay triangulation");
    vis.addHeaderLine(std::to_string(numberOfPoints()) + " points, " + std::to_string(numberOfTriangles()) +
                      " triangles");
    show(&vis, Color(0.99, 0.9, 0.55, 0.15, true));
    // The convex hull on top, so that the outline of the data reads at a glance.
    std::vector<Point2*> vHull;
    getConvexHull(false, vHull);
    for (size_t i = 0; i < vHull.size(); ++i)
        vis.addObject(Segment2(*vHull[i], *vHull[(i + 1) % vHull.size()]), Color(CDARKBROWN, 0.8f, false));
    addConstraintEdges(&vis, Color(CRED, 0.6f, false));
    vis.writeFile();
}

void Dt2::show(Visualizer2* pVis, const Color& color) const {
    if (numberOfTriangles() == 0) {
        reportError("Dt2::show()", notFullDimensional);
        return;
    }
    std::vector<Triangle2*> vTriangles;
    getTrianglePointers(vTriangles);
    pVis->addObject(vTriangles, color);
}

void Dt2::addConstraintEdges(Visualizer2* pVis, const Color& color) const {
    if (constraintMgr.numSegments() == 0) return;
    std::vector<ConstraintSegment2*> vCSegs;
    constraintMgr.getSegmentsInMapOrder(vCSegs);
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
}

} // namespace ORBI_LUMO2D

// ---- the facade's side ---------------------------------------------------------------------------

namespace ORBI_LUMO2D {

void Lumo_2D::show(const std::string& postscriptFilename) const { pImpl->show(postscriptFilename); }
void Lumo_2D::show(Visualizer2* pVisualizer, const Color& color) const { pImpl->show(pVisualizer, color); }
void Lumo_2D::writeObj(const std::string& filename) const { pImpl->writeObj(filename, nullptr); }
void Lumo_2D::writeWebScene(const char* path) const { pImpl->writeWebScene(path, nullptr); }

} // namespace ORBI_LUMO2D
