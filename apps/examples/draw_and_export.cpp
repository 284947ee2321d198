// Seeing what the library did: a triangulation drawn into a drawing of one's own (with the
// input points, a circle and a label on top), then exported as OBJ and as a browser scene.
#include <iostream>
#include <vector>
#include "Lumo_2D.h"

using namespace ORBI_LUMO2D;

int main() {
    std::vector<Point2> points;
    generateRandomPoints(200, 0.0, 10.0, points, 7);   // seed 7: reproducible
    generateCircle(40, 5.0, 5.0, 3.0, 3.0, points);

    Lumo_2D dt;
    dt.insert(points);
    std::cout << dt.numberOfPoints() << " points, " << dt.numberOfTriangles() << " triangles\n";

    // The library draws its triangles into our drawing; we add what we like and write it.
    Visualizer2 vis("draw_and_export.ps");
    vis.addHeaderLine("200 random points and a ring of 40");
    dt.show(&vis, Color(CLIGHTBLUE, 0.1f, false));
    vis.addObject(points, Color(CRED, 0.2f, false));
    vis.addObject(Circle2(Point2(5.0, 5.0), 9.0), Color(CDARKBROWN, 0.5f, false));
    vis.addObject(Label(Point2(5.0, 5.0), "centre\n(5, 5)", 9), Color(CBLACK, 0.1f, false));
    vis.writeFile();

    dt.writeObj("draw_and_export.obj");              // for any mesh tool
    dt.writeWebScene("draw_and_export_scene");       // serve it and open index.html
    return dt.is2D() ? 0 : 1;
}
