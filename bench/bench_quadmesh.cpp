// Quad conversion of a square triangulated to about a million triangles: the integer lattice
// (every cell two right triangles) and uniform random points, each inside a square boundary
// graph. Prints CPU time, triangles per second and the counts and shape of the result, beside
// the time of the triangulation itself as the scale, for the full mesher and for its greedy
// pass alone. No peer library converts triangles to quadrilaterals, so the figures are absolute.
// Usage: bench_quadmesh [repetitions]   (the best repetition is reported)
// Built and run by: bash scripts/bench.sh quadmesh
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>
#include "BenchData.h"
#include "Lumo_2D.h"

using namespace ORBI_LUMO2D;

namespace {
struct Data {
    const char* name;
    std::vector<Point2> vPoints;
    double side;   // the boundary square is [0, side]^2
};

void run(const Data& d, int reps) {
    Lumo_2D dt{unsigned(d.vPoints.size() + 4)};
    double t0 = bench::cpuNow();
    dt.insert(d.vPoints);
    std::vector<Segment2> vBorder{Segment2(Point2(0, 0), Point2(d.side, 0)), Segment2(Point2(d.side, 0), Point2(d.side, d.side)),
                                  Segment2(Point2(d.side, d.side), Point2(0, d.side)), Segment2(Point2(0, d.side), Point2(0, 0))};
    Zone2* pZone = dt.createZone(dt.createConstraint(vBorder, CIS_CONSTRAINED_DELAUNAY, true), ZL_INSIDE);
    const double tTriangulation = bench::cpuNow() - t0;
    t0 = bench::cpuNow();
    const size_t numZone = pZone->getNumberOfTriangles();
    const double tZone = bench::cpuNow() - t0;
    std::printf("%s: %zu points, %zu zone triangles; triangulation %.0f ms, zone query %.0f ms (CPU, not in the table)\n",
                d.name, d.vPoints.size(), numZone, tTriangulation * 1e3, tZone * 1e3);
    for (size_t limit : {size_t(256), size_t(0)}) {
        QuadMeshParams params;
        params.augmentingSearchLimit = limit;
        QMesh mesh;
        double tBest = 1e300;
        for (int r = 0; r < reps; ++r) {
            t0 = bench::cpuNow();
            dt.createQuadMesh(pZone, mesh, params);
            tBest = std::min(tBest, bench::cpuNow() - t0 - tZone);
        }
        const QuadMeshStatistics& s = mesh.getStatistics();
        std::printf("  %-18s %9zu %9zu %8.2f %8.2f %9.1f %9.1f %8.0f %10.2f %8.3f\n", limit ? "greedy + augment" : "greedy only",
                    s.numQuads, s.numTriangles, 100.0 * s.pairedFraction, 200.0 * double(s.numGreedyQuads) / double(numZone),
                    s.maxAngleDeviation, s.meanAngleDeviation, tBest * 1e3, double(numZone) / tBest * 1e-6,
                    tBest / tTriangulation);
    }
}
} // namespace

int main(int argc, char** argv) {
    const int reps = argc > 1 ? std::max(1, std::atoi(argv[1])) : 3;
    bench::fixHeapThresholds();   // every conversion pays for its own fresh memory, whatever ran before
    std::printf("Quad conversion (times exclude the zone query; Mtri/s = zone triangles per second)\n");
    std::printf("  %-18s %9s %9s %8s %8s %9s %9s %8s %10s %8s\n", "pairing", "quads", "left tri", "paired%", "greedy%",
                "maxdev", "meandev", "ms", "Mtri/s", "x triang");
    run(Data{"lattice 708 x 708", bench::grid(708), 707.0}, reps);
    run(Data{"uniform random", bench::uniform(500000, 42), 1.0}, reps);
    return 0;
}
