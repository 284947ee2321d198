// Mesh export over plain triangle lists, shared by the whole-triangulation and zone forms.
#pragma once
#include <string>
#include <vector>
#include "Triangle2.h"

namespace ORBI_LUMO2D {

// Writes the triangles as a Wavefront OBJ file: each vertex once (1-based, in order of first
// use, identified by address), then one face per triangle in its counterclockwise order.
void writeObjTriangles(const std::string& filename, const std::vector<Triangle2*>& vTriangles);

// First half of a web scene: creates the directory and writes the page and viewer scripts.
// Returns false (after reporting) when the directory cannot be created; the caller then
// writes path + "/3d.obj".
bool writeWebSceneFiles(const char* path);

} // namespace ORBI_LUMO2D
