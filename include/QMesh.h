// QMesh: a mesh of quadrilaterals, with the triangles that could not be paired, made from the
// triangles of a zone by Lumo_2D::createQuadMesh. Two triangles that share an edge become one
// quadrilateral (the shared edge is dropped) when their union is strictly convex; the pairs are
// chosen to be as many as possible and as close to rectangles as possible (details below).
// A QMesh is a plain value: it copies the vertices it uses and does not refer to the
// triangulation, so it stays valid when the triangulation changes or is destroyed.
//
// How the pairs are chosen (QuadMesher):
//  1. Candidates are the pairs of zone triangles across an edge inside the zone whose union is
//     a strictly convex quadrilateral; convexity is decided exactly by the library's
//     predicates. The zone's border is never crossed; a constraint edge inside the zone only
//     with QuadMeshParams::bPairAcrossConstraints.
//  2. Greedy, best first: candidates are taken in order of their largest corner-angle deviation
//     from 90 degrees (a rectangle first), each when both triangles are still free.
//  3. Augmenting paths raise the number of pairs: from every free triangle an alternating
//     breadth-first search (free edge, paired edge, ...) looks for another free triangle and,
//     when found, re-pairs along the path, which adds one pair. Each search visits at most
//     QuadMeshParams::augmentingSearchLimit triangles; the rounds repeat while they find paths,
//     at most QuadMeshParams::augmentingRounds times. The search does not shrink odd cycles
//     (blossoms), so the result is a maximal matching that is close to, but not guaranteed to be,
//     a maximum one (on uniform random points about 98% of the triangles are paired, a few
//     tenths of a percent below a maximum matching of the same candidates; the greedy pass
//     alone pairs about 82%). Augmenting trades the quality of some pairs for their number.
// Unpaired triangles stay triangles. On triangles of a regular grid (each grid cell split into
// two right triangles) every cell becomes one square.
#pragma once
#include <array>
#include <cstddef>
#include <string>
#include <vector>
#include "Color.h"
#include "Lumo2D_defs.h"
#include "Point2.h"

namespace ORBI_LUMO2D {

class Visualizer2;

// How Lumo_2D::createQuadMesh pairs triangles.
struct QuadMeshParams {
    // Whether two triangles may become one quadrilateral across a constraint edge inside the
    // zone (a segment of any constraint graph, e.g. a polyline drawn through the zone). Off by
    // default: a constraint is an edge the host asked for, so the quad mesh keeps it as an edge.
    bool bPairAcrossConstraints{false};
    // The most triangles one augmenting-path search visits; 0 keeps the greedy pairs only.
    size_t augmentingSearchLimit{256};
    // The most rounds of augmenting searches over the free triangles.
    size_t augmentingRounds{8};
};

// Counts and shape quality of a QMesh. Angles in degrees.
struct QuadMeshStatistics {
    size_t numZoneTriangles{0};    // the triangles of the zone
    size_t numQuads{0};
    size_t numTriangles{0};        // left unpaired
    size_t numGreedyQuads{0};      // the pairs of step 2, before augmenting paths
    double pairedFraction{0.0};    // 2 numQuads / numZoneTriangles; 0 when there is no triangle
    double maxAngleDeviation{0.0}; // the largest |corner angle - 90| over all quads
    double meanAngleDeviation{0.0};// the mean of |corner angle - 90| over all quad corners
};

class LUMO2D_API QMesh {
public:
    using Quad = std::array<size_t, 4>;       // vertex indices, counterclockwise
    using Triangle = std::array<size_t, 3>;   // vertex indices, counterclockwise

    // ---- contents ----------------------------------------------------------------------------
    // Copies of the zone's vertices (coordinates and custom index), each once, in order of
    // first use by the quads and then the triangles.
    const std::vector<Point2>& getVertices() const { return vVertices; }
    // The quadrilaterals: strictly convex, corners counterclockwise.
    const std::vector<Quad>& getQuads() const { return vQuads; }
    // The triangles that were not paired, counterclockwise.
    const std::vector<Triangle>& getTriangles() const { return vTriangles; }
    size_t numberOfVertices() const { return vVertices.size(); }
    size_t numberOfQuads() const { return vQuads.size(); }
    size_t numberOfTriangles() const { return vTriangles.size(); }
    // True when there is neither a quadrilateral nor a triangle.
    bool empty() const { return vQuads.empty() && vTriangles.empty(); }
    // Forgets everything (as a newly made QMesh).
    void clear();

    // ---- quality ----------------------------------------------------------------------------
    const QuadMeshStatistics& getStatistics() const { return stats; }
    // The interior angle (degrees) of quad q at its corner i (0..3); q or i out of range fails
    // an assertion.
    double getQuadAngle(size_t q, int i) const;
    // Prints the statistics under "QUAD MESH STATISTICS (name)".
    void printStatistics(const std::string& name) const;

    // ---- drawings and exports ---------------------------------------------------------------
    // Draws the quadrilaterals (filled light blue) and the unpaired triangles (filled orange),
    // all edges in black, with the counts as header lines, to a PostScript file.
    void show(const std::string& postscriptFilename) const;
    // The same drawing as an SVG file.
    void showSvg(const std::string& svgFilename) const;
    // Adds the same to a caller's drawing, faces in the given colours; the caller writes the file.
    // A null pVisualizer warns and draws nothing.
    void show(Visualizer2* pVisualizer, const Color& quadColor, const Color& triangleColor) const;
    // Writes a Wavefront OBJ file: the vertices (z = 0), then one face of four indices per
    // quadrilateral and one of three per triangle, 1-based, counterclockwise. False (without a
    // message, as for every export) when the file can't be written.
    bool writeObj(const std::string& filename) const;

private:
    friend class QuadMesher;
    void draw(const std::string& filename, int format) const;
    std::vector<Point2> vVertices;
    std::vector<Quad> vQuads;
    std::vector<Triangle> vTriangles;
    QuadMeshStatistics stats;
};

} // namespace ORBI_LUMO2D
