// Constraint phase timing: 1M uniform points, then (a) 10,000 disjoint short horizontal
// segments and (b) 1,000 long random segments crossing each other (about 114,000 crossings);
// (c) the segments of (a) as conforming segments, one createConstraint call each (a host that
// adds its segments as they come; CGAL beside it inserts them as constraints one by one, as in
// every case).
// Only the constraint phase is timed (the points are inserted before). Beside it, when CGAL is
// available, its Constrained_Delaunay_triangulation_2 on EPICK with Exact_predicates_tag
// (exact predicates, intersection points of crossing constraints constructed in doubles) on the
// same points and segments in the same run.
// Times are CPU seconds of the inserting thread; the best of the repetitions is reported.
// Usage: bench_constraints [repetitions] [a|b|c] [nopeer]   (a case and no peer: for profiling)
// Built and run by: bash scripts/bench.sh constraints
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <random>
#include <string>
#include <vector>
#include "Lumo_2D.h"
#include "BenchData.h"

#ifdef LUMO2D_HAVE_CGAL
#include <CGAL/Constrained_Delaunay_triangulation_2.h>
#include <CGAL/Exact_predicates_inexact_constructions_kernel.h>
typedef CGAL::Exact_predicates_inexact_constructions_kernel K;
typedef CGAL::Constrained_Delaunay_triangulation_2<K, CGAL::Default, CGAL::Exact_predicates_tag> Cdt;
#endif

using namespace ORBI_LUMO2D;

namespace {
struct Result {
    double seconds{1e300};
    size_t numVertices{0};
};

Result runLumo(const std::vector<Point2>& vPts, const std::vector<Segment2>& vSegs, bool bOneCallEach) {
    Lumo_2D dt(unsigned(vPts.size()));
    dt.insert(vPts);
    std::vector<Segment2> v(vSegs);
    Result r;
    const double t0 = bench::cpuNow();
    if (!bOneCallEach) dt.createConstraint(v, CIS_CONSTRAINED_DELAUNAY);
    for (size_t i = 0; bOneCallEach && i < vSegs.size(); ++i) {
        std::vector<Segment2> vOne{vSegs[i]};
        dt.createConstraint(vOne, CIS_CONFORMING_DELAUNAY);
    }
    r.seconds = bench::cpuNow() - t0;
    r.numVertices = dt.numberOfPoints();
    return r;
}

#ifdef LUMO2D_HAVE_CGAL
Result runCgal(const std::vector<Point2>& vPts, const std::vector<Segment2>& vSegs) {
    std::vector<K::Point_2> vCgal;
    vCgal.reserve(vPts.size());
    for (const Point2& p : vPts) vCgal.emplace_back(p.x(), p.y());
    Cdt cdt;
    cdt.insert(vCgal.begin(), vCgal.end());
    Result r;
    const double t0 = bench::cpuNow();
    for (const Segment2& s : vSegs)
        cdt.insert_constraint(K::Point_2(s.getSrc().x(), s.getSrc().y()), K::Point_2(s.getTrg().x(), s.getTrg().y()));
    r.seconds = bench::cpuNow() - t0;
    r.numVertices = cdt.number_of_vertices();
    return r;
}
#endif

bool bPeer = true;

void report(const char* name, const std::vector<Point2>& vPts, const std::vector<Segment2>& vSegs, int reps,
            bool bOneCallEach = false) {
    Result best, bestCgal;
    for (int i = 0; i < reps; ++i) {
        const Result r = runLumo(vPts, vSegs, bOneCallEach);
        if (r.seconds < best.seconds) best = r;
#ifdef LUMO2D_HAVE_CGAL
        if (!bPeer) continue;
        const Result c = runCgal(vPts, vSegs);
        if (c.seconds < bestCgal.seconds) bestCgal = c;
#endif
    }
    std::printf("%-34s lumo %7.3f s (%zu vertices)", name, best.seconds, best.numVertices);
#ifdef LUMO2D_HAVE_CGAL
    if (bPeer)
        std::printf("  | cgal %7.3f s (%zu vertices)  | ratio %.3f", bestCgal.seconds, bestCgal.numVertices,
                best.seconds / bestCgal.seconds);
#endif
    std::printf("\n");
}
} // namespace

int main(int argc, char** argv) {
    const int reps = argc > 1 ? std::max(1, std::atoi(argv[1])) : 3;
    const std::string which = argc > 2 ? argv[2] : "abc";
    bPeer = !(argc > 3 && std::string(argv[3]) == "nopeer");
#ifndef LUMO2D_HAVE_CGAL
    std::printf("CGAL not found: the peer columns are skipped\n");
#endif
    std::mt19937_64 rng(20261123);
    std::uniform_real_distribution<double> d(0.0, 1.0);
    std::vector<Point2> vPts;
    vPts.reserve(1000000);
    for (int i = 0; i < 1000000; ++i) vPts.emplace_back(d(rng), d(rng));
    // (a) disjoint: horizontal, at distinct heights, 0.005 long.
    std::vector<Segment2> vShort;
    for (int i = 0; i < 10000; ++i) {
        const double x = 0.995 * d(rng), y = d(rng);
        vShort.emplace_back(Point2(x, y), Point2(x + 0.005, y));
    }
    // (b) crossing: both ends uniform in the square.
    std::vector<Segment2> vLong;
    for (int i = 0; i < 1000; ++i) vLong.emplace_back(Point2(d(rng), d(rng)), Point2(d(rng), d(rng)));
    if (which.find('a') != std::string::npos) report("1M points + 10,000 short disjoint", vPts, vShort, reps);
    if (which.find('b') != std::string::npos) report("1M points + 1,000 long crossing", vPts, vLong, reps);
    if (which.find('c') != std::string::npos)
        report("1M points + 10,000 conforming, 1 call each", vPts, vShort, reps, true);
    return 0;
}
