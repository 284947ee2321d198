// Point sets and triangulations that several test areas build: grids, exactly cocircular
// lattice points, and a Dt2 over given points.
#pragma once
#include <cmath>
#include <vector>
#include "Dt2.h"

namespace lumo_test {

// The n x n grid of points (step*i, step*j): collinear runs and cocircular squares everywhere.
inline std::vector<ORBI_LUMO2D::Point2> gridPoints(int n, double step = 1.0) {
    std::vector<ORBI_LUMO2D::Point2> v;
    for (int i = 0; i < n; ++i)
        for (int j = 0; j < n; ++j) v.emplace_back(step * i, step * j);
    return v;
}
// The integer points of the circle x^2 + y^2 = r^2 (exactly cocircular), and its centre if asked.
inline std::vector<ORBI_LUMO2D::Point2> latticeCircle(int r, bool bCentre = false) {
    std::vector<ORBI_LUMO2D::Point2> v;
    for (long long x = -r; x <= r; ++x) {
        const long long y2 = (long long)r * r - x * x, y = std::llround(std::sqrt(double(y2)));
        if (y * y != y2) continue;
        v.emplace_back(double(x), double(y));
        if (y != 0) v.emplace_back(double(x), double(-y));
    }
    if (bCentre) v.emplace_back(0.0, 0.0);
    return v;
}
// A Dt2 over the points, inserted as one vector: `lumo_test::Dt2Of dt(v);`.
struct Dt2Of : ORBI_LUMO2D::Dt2 {
    explicit Dt2Of(const std::vector<ORBI_LUMO2D::Point2>& v, std::vector<ORBI_LUMO2D::Point2*>* pHandles = nullptr)
        : Dt2(unsigned(v.size())) {
        insertVector(v, pHandles);
    }
};

} // namespace lumo_test
