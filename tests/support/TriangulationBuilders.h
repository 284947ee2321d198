// Point sets and triangulations that several test areas build: grids, exactly cocircular
// lattice points, and a Dt2 over given points; and the check of a constrained triangulation.
#pragma once
#include <cmath>
#include <random>
#include <vector>
#include "ConstraintGraph2.h"
#include "ConstraintSegment2.h"
#include "DelaunayOracle.h"
#include "Dt2.h"
#include "MessageText.h"

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
// n points in 20 tight clusters (normal, deviation sigma) around uniform centres in the unit square.
inline std::vector<ORBI_LUMO2D::Point2> clusteredPoints(size_t n, unsigned seed, double sigma) {
    std::mt19937_64 rng(seed);
    std::uniform_real_distribution<double> d(0.0, 1.0);
    std::normal_distribution<double> nd(0.0, sigma);
    std::vector<ORBI_LUMO2D::Point2> vCentres, v;
    for (int i = 0; i < 20; ++i) vCentres.emplace_back(d(rng), d(rng));
    for (size_t i = 0; i < n; ++i) {
        const ORBI_LUMO2D::Point2& c = vCentres[rng() % vCentres.size()];
        const double x = c.x() + nd(rng);   // (x drawn first)
        v.emplace_back(x, c.y() + nd(rng));
    }
    return v;
}
// A Dt2 over the points, inserted as one vector: `lumo_test::Dt2Of dt(v);`.
struct Dt2Of : ORBI_LUMO2D::Dt2 {
    explicit Dt2Of(const std::vector<ORBI_LUMO2D::Point2>& v, std::vector<ORBI_LUMO2D::Point2*>* pHandles = nullptr)
        : Dt2(unsigned(v.size())) {
        insertVector(v, pHandles);
    }
};

// Empty when dt passes its self-test, every alive piece of the graphs is an edge, and dt is a
// Delaunay triangulation of its vertices but across constrained (not conforming) pieces;
// otherwise `what` and the first fault.
template <class TriangulationT>
std::string constrainedFault(const TriangulationT& dt, const std::vector<ORBI_LUMO2D::ConstraintGraph2*>& vGraphs,
                             const std::string& what) {
    bool bValid = false;
    const std::string out = stdoutOf([&] { bValid = dt.checkValidity(true, "constraints"); });
    if (!bValid) return what + ": the self-test failed:\n" + out;
    std::vector<CoordEdge> vExempt;
    for (ORBI_LUMO2D::ConstraintGraph2* pG : vGraphs) {
        std::vector<ORBI_LUMO2D::ConstraintSegment2*> v;
        if (pG != nullptr) pG->getChildConstraintSegments(v);
        for (ORBI_LUMO2D::ConstraintSegment2* s : v) {
            if (dt.getAdjacentTriangle(s->getSrc(), s->getTrg()) == nullptr &&
                dt.getAdjacentTriangle(s->getTrg(), s->getSrc()) == nullptr)
                return what + ": an alive piece is no edge";
            if (s->getCIS() == ORBI_LUMO2D::CIS_CONSTRAINED_DELAUNAY) vExempt.push_back(coordEdge(*s->getSrc(), *s->getTrg()));
        }
    }
    const std::string err = meshFault(dt, &vExempt);
    return err.empty() ? "" : what + ": " + err;
}

} // namespace lumo_test
