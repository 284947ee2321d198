// Mesh export over plain triangle lists, shared by the whole-triangulation and zone forms.
#pragma once
#include <array>
#include <string>
#include <vector>
#include "Point2.h"
#include "Triangle2.h"

namespace ORBI_LUMO2D {

// Writes the triangles as a Wavefront OBJ file: each vertex once (1-based, in order of first
// use, identified by address), then one face per triangle in its counterclockwise order.
void writeObjTriangles(const std::string& filename, const std::vector<Triangle2*>& vTriangles);

// The one OBJ writer: the vertices (z = 0), then the quadrilaterals and the triangles as faces
// of 0-based indices into vVertices (written 1-based). False when the file can't be opened.
bool writeObjFaces(const std::string& filename, const std::vector<Point2>& vVertices,
                   const std::vector<std::array<size_t, 4>>& vQuads,
                   const std::vector<std::array<size_t, 3>>& vTriangles);

// First half of a web scene: creates the directory and writes the page and viewer scripts.
// Returns false (after reporting) when the directory cannot be created; the caller then
// writes path + "/3d.obj".
bool writeWebSceneFiles(const char* path);

} // namespace ORBI_LUMO2D
