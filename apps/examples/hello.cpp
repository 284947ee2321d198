// A minimal host: exact orientation, random test points, a point file round trip.
#include <iostream>
#include <vector>
#include "Lumo_2D.h"

using namespace ORBI_LUMO2D;

int main() {
    std::cout << getLumo2DVersion() << "\n";

    // A plain floating-point determinant calls these three collinear; they are not.
    Point2 a(0.5, 0.50000000000000011), b(12.0, 12.0), c(24.0, 24.0);
    std::cout << "orientation: " << getString(getOrientation2(&a, &b, &c)) << "\n";

    std::vector<Point2> points;
    generateRandomPoints(1000, 0.0, 100.0, points, 1);   // seed 1: reproducible
    std::vector<Point2> back;
    if (!writePointsBIN("hello_points.bin", points) || !readPointsBIN("hello_points.bin", back)) return 1;
    std::cout << "points written and read: " << back.size() << "\n";
    return back.size() == points.size() ? 0 : 1;
}
