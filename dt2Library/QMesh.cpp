#include "QMesh.h"
#include <algorithm>
#include <cmath>
#include <iostream>
#include <set>
#include <utility>
#include "MeshExport_internal.h"
#include "QuadMesher.h"
#include "Visualizer2.h"
#include "tools.h"

namespace ORBI_LUMO2D {

void QMesh::clear() {
    vVertices.clear();
    vQuads.clear();
    vTriangles.clear();
    stats = QuadMeshStatistics();
}

double QMesh::getQuadAngle(size_t q, int i) const {
    LUMO_ASSERT(q<vQuads.size() && i>=0 && i<4);
    const Point2& prev = vVertices[vQuads[q][size_t((i + 3) % 4)]];
    const Point2& at = vVertices[vQuads[q][size_t(i)]];
    const Point2& next = vVertices[vQuads[q][size_t((i + 1) % 4)]];
    double cosine, sine;
    cornerCosSin(prev, at, next, cosine, sine);
    return std::atan2(std::fabs(sine), cosine) * 57.295779513082321;   // degrees per radian
}

void QMesh::printStatistics(const std::string& name) const {
    std::cout << "\n\n\n********* QUAD MESH STATISTICS (" << name << ") **********\n\n"
              << "zone triangles:      " << stats.numZoneTriangles << "\n"
              << "quadrilaterals:      " << stats.numQuads << " (" << stats.numGreedyQuads << " greedy)\n"
              << "unpaired triangles:  " << stats.numTriangles << "\n"
              << "paired fraction:     " << stats.pairedFraction << "\n"
              << "angle deviation from 90 degrees: max " << stats.maxAngleDeviation << ", mean "
              << stats.meanAngleDeviation << "\n"
              << std::endl;
}

void QMesh::show(const std::string& postscriptFilename) const { draw(postscriptFilename, DF_POSTSCRIPT); }
void QMesh::showSvg(const std::string& svgFilename) const { draw(svgFilename, DF_SVG); }

void QMesh::draw(const std::string& filename, int format) const {
    Visualizer2 vis(filename, DrawingFormat(format));
    show(&vis, Color(CLIGHTBLUE, 0.0f, true), Color(CORANGE, 0.0f, true));
    vis.addHeaderLine("quadrilaterals: " + std::to_string(stats.numQuads));
    vis.addHeaderLine("unpaired triangles: " + std::to_string(stats.numTriangles));
    vis.writeFile();
}

void QMesh::show(Visualizer2* pVisualizer, const Color& quadColor, const Color& triangleColor) const {
    if (pVisualizer == nullptr) {
        reportWarning("QMesh::show()", "pVisualizer is null, nothing drawn");
        return;
    }
    // Faces are filled as triangles (a quadrilateral as two, without its diagonal's line);
    // the edges follow as one line each.
    auto face = [&](size_t a, size_t b, size_t c, const Color& color) {
        Point2 p0(vVertices[a]), p1(vVertices[b]), p2(vVertices[c]);
        Triangle2 t;
        t.setVertexPointer(0, &p0);
        t.setVertexPointer(1, &p1);
        t.setVertexPointer(2, &p2);
        pVisualizer->addObject(t, color);
    };
    std::set<std::pair<size_t, size_t>> sEdges;
    auto edges = [&](const size_t* v, size_t count) {
        for (size_t i = 0; i < count; ++i) sEdges.emplace(std::minmax(v[i], v[(i + 1) % count]));
    };
    for (const Quad& q : vQuads) {
        face(q[0], q[1], q[2], quadColor);
        face(q[0], q[2], q[3], quadColor);
        edges(q.data(), 4);
    }
    for (const Triangle& t : vTriangles) {
        face(t[0], t[1], t[2], triangleColor);
        edges(t.data(), 3);
    }
    std::vector<Segment2> vSegments;
    vSegments.reserve(sEdges.size());
    for (const auto& e : sEdges) vSegments.emplace_back(vVertices[e.first], vVertices[e.second]);
    pVisualizer->addObject(vSegments, Color(CBLACK, 0.0f, false));
}

bool QMesh::writeObj(const std::string& filename) const {
    return writeObjFaces(filename, vVertices, vQuads, vTriangles);
}

} // namespace ORBI_LUMO2D
