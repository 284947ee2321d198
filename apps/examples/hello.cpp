// A minimal host: triangulate random points, read the triangles back, save the points.
#include <iostream>
#include <vector>
#include "Lumo_2D.h"

using namespace ORBI_LUMO2D;

int main() {
    std::cout << getLumo2DVersion() << "\n";

    std::vector<Point2> points;
    generateRandomPoints(1000, 0.0, 100.0, points, 1);   // seed 1: reproducible
    Lumo_2D dt;
    dt.insert(points);
    std::vector<Triangle2*> triangles;
    dt.getTrianglePointers(triangles);
    std::cout << "triangles: " << triangles.size() << "\n";

    // Exact predicates: a plain floating-point determinant calls these three collinear.
    Point2 a(0.5, 0.50000000000000011), b(12.0, 12.0), c(24.0, 24.0);
    std::cout << "orientation: " << getString(getOrientation2(&a, &b, &c)) << "\n";

    std::vector<Point2> back;
    if (!writePointsBIN("hello_points.bin", points) || !readPointsBIN("hello_points.bin", back)) return 1;
    std::cout << "points written and read: " << back.size() << "\n";
    return back.size() == points.size() ? 0 : 1;
}
