// Vertex removal timing: 100k vertices, chosen at random, removed one by one from a 1M-point
// triangulation (uniform random points, and a shuffled 1000x1000 integer grid whose cocircular
// quadruples make every in-circle test exact); then 100k points inserted one by one after a bulk
// insertion of 900k and removed again in their order of insertion (a host that adds and drops
// points). Prints CPU nanoseconds per removal; when CGAL is available, also its
// Delaunay_triangulation_2::remove on the same vertices in the same order, and the ratio of our
// time to CGAL's. Building the triangulations is not timed.
// Usage: bench_removal [repetitions]   (the best repetition is reported)
// Built and run by: bash scripts/bench.sh removal
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <numeric>
#include <random>
#include <vector>
#include "Lumo_2D.h"
#include "BenchData.h"

#ifdef LUMO2D_HAVE_CGAL
#include <CGAL/Delaunay_triangulation_2.h>
#include <CGAL/Exact_predicates_inexact_constructions_kernel.h>
#include <CGAL/Triangulation_vertex_base_with_info_2.h>
typedef CGAL::Exact_predicates_inexact_constructions_kernel K;
typedef CGAL::Triangulation_vertex_base_with_info_2<size_t, K> Vb;
typedef CGAL::Triangulation_data_structure_2<Vb> Tds;
typedef CGAL::Delaunay_triangulation_2<K, Tds> CgalDt;
#endif

using namespace ORBI_LUMO2D;

namespace {

// Seconds for removing the vertices of vPoints[vOrder[..]]; false when the result is invalid.
// The last numSingle points are inserted one by one after the others.
double runLumo(const std::vector<Point2>& vPoints, size_t numSingle, const std::vector<size_t>& vOrder, bool& bValid) {
    Lumo_2D dt(unsigned(vPoints.size()));
    std::vector<Point2*> vHandles;
    const size_t numBulk = vPoints.size() - numSingle;
    dt.insert(std::vector<Point2>(vPoints.begin(), vPoints.begin() + long(numBulk)), vHandles);
    for (size_t i = numBulk; i < vPoints.size(); ++i) vHandles.push_back(dt.insert(vPoints[i]));
    const double t0 = bench::cpuNow();
    for (size_t i : vOrder) dt.remove(vHandles[i]);
    const double t = bench::cpuNow() - t0;
    bValid = dt.numberOfPoints() == vPoints.size() - vOrder.size() &&
             dt.numberOfTriangles() + 2 <= 2 * dt.numberOfPoints();
    return t;
}

#ifdef LUMO2D_HAVE_CGAL
double runCgal(const std::vector<Point2>& vPoints, size_t numSingle, const std::vector<size_t>& vOrder, bool& bValid) {
    std::vector<std::pair<K::Point_2, size_t>> v;
    const size_t numBulk = vPoints.size() - numSingle;
    for (size_t i = 0; i < numBulk; ++i) v.emplace_back(K::Point_2(vPoints[i].x(), vPoints[i].y()), i);
    CgalDt dt;
    dt.insert(v.begin(), v.end());
    std::vector<CgalDt::Vertex_handle> vHandles(vPoints.size());
    for (auto it = dt.finite_vertices_begin(); it != dt.finite_vertices_end(); ++it) vHandles[it->info()] = it;
    for (size_t i = numBulk; i < vPoints.size(); ++i) vHandles[i] = dt.insert(K::Point_2(vPoints[i].x(), vPoints[i].y()));
    const double t0 = bench::cpuNow();
    for (size_t i : vOrder) dt.remove(vHandles[i]);
    const double t = bench::cpuNow() - t0;
    bValid = dt.number_of_vertices() == vPoints.size() - vOrder.size();
    return t;
}
#endif

} // namespace

int main(int argc, char** argv) {
    const int numReps = argc > 1 ? std::max(1, std::atoi(argv[1])) : 1;
    const size_t n = 1000000, numRemove = 100000;
    struct Case {
        const char* name;
        std::vector<Point2> v;
        size_t numSingle;   // the last ones, inserted one by one and removed in that order
    };
    const Case aCases[] = {{"uniform 1M", bench::uniform(n, 1), 0},
                           {"grid 1000x1000", bench::grid(1000), 0},
                           {"uniform, singles", bench::uniform(n, 1), numRemove}};
    std::printf("%-16s %10s %14s %14s %8s\n", "case", "removed", "Lumo ns/rem", "CGAL ns/rem", "ratio");
    for (const Case& c : aCases) {
        std::vector<size_t> vOrder(c.v.size());
        std::iota(vOrder.begin(), vOrder.end(), size_t(0));
        if (c.numSingle == 0) std::shuffle(vOrder.begin(), vOrder.end(), std::mt19937_64(7));
        else vOrder.erase(vOrder.begin(), vOrder.end() - long(c.numSingle));
        vOrder.resize(numRemove);
        double tLumo = 1e300, tCgal = 1e300;
        bool bOk = true, b;
        for (int r = 0; r < numReps; ++r) {
            tLumo = std::min(tLumo, runLumo(c.v, c.numSingle, vOrder, b));
            bOk = bOk && b;
#ifdef LUMO2D_HAVE_CGAL
            tCgal = std::min(tCgal, runCgal(c.v, c.numSingle, vOrder, b));
            bOk = bOk && b;
#endif
        }
        const double nsLumo = 1e9 * tLumo / double(numRemove);
#ifdef LUMO2D_HAVE_CGAL
        const double nsCgal = 1e9 * tCgal / double(numRemove);
        std::printf("%-16s %10zu %14.0f %14.0f %8.2f%s\n", c.name, numRemove, nsLumo, nsCgal, nsLumo / nsCgal,
                    bOk ? "" : "  INVALID RESULT");
#else
        std::printf("%-16s %10zu %14.0f %14s %8s%s\n", c.name, numRemove, nsLumo, "-", "-", bOk ? "" : "  INVALID RESULT");
#endif
    }
    return 0;
}
