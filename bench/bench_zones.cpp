// Zone query timing on a 1M-point triangulation (uniform random points) with two overlapping
// 10k-vertex ring polygons as constrained graphs. Each query recomputes its triangles, so the
// time of a query is the time of the flood fill (and of the set algebra for result zones).
// Prints CPU milliseconds per query and nanoseconds per triangle of the result, beside the
// time of the triangulation itself as the scale. No peer library offers set operations on
// triangle regions, so the figures are absolute.
// Usage: bench_zones [repetitions]   (the best repetition is reported)
// Built and run by: bash scripts/bench.sh zones
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <string>
#include <vector>
#include "BenchData.h"
#include "Lumo_2D.h"

using namespace ORBI_LUMO2D;

namespace {
// A wavy closed ring of 10000 vertices around (cx, cy), counterclockwise: short segments, as
// a digitised boundary has (random star polygons zigzag across the whole data set instead).
ConstraintGraph2* ringPolygon(Lumo_2D& dt, double cx, double cy, double radius) {
    std::vector<Point2> vRing;
    generateCircle(10000, cx, cy, radius, radius, vRing);
    for (size_t i = 0; i < vRing.size(); ++i) {
        const double t = double(i) / double(vRing.size()) * 6.283185307179586;
        const double f = 1.0 + 0.08 * std::sin(7.0 * t);
        vRing[i] = Point2(cx + (vRing[i].x() - cx) * f, cy + (vRing[i].y() - cy) * f);
    }
    std::vector<Segment2> v;
    for (size_t i = 0; i < vRing.size(); ++i) v.emplace_back(vRing[i], vRing[(i + 1) % vRing.size()]);
    return dt.createConstraint(v, CIS_CONSTRAINED_DELAUNAY, true);
}

// Best CPU seconds of reps calls of f; f returns the size of its result.
double best(int reps, const std::function<size_t()>& f, size_t& resultSize) {
    double tBest = 1e300;
    for (int r = 0; r < reps; ++r) {
        const double t0 = bench::cpuNow();
        resultSize = f();
        const double t = bench::cpuNow() - t0;
        if (t < tBest) tBest = t;
    }
    return tBest;
}
} // namespace

int main(int argc, char** argv) {
    const int reps = argc > 1 ? std::max(1, std::atoi(argv[1])) : 3;
    const size_t n = 1000000;
    const std::vector<Point2> vPoints = bench::uniform(n, 42);
    Lumo_2D dt{unsigned(n)};
    double t0 = bench::cpuNow();
    dt.insert(vPoints);
    const double tTriangulation = bench::cpuNow() - t0;
    t0 = bench::cpuNow();
    ConstraintGraph2* pA = ringPolygon(dt, 0.42, 0.45, 0.33);
    ConstraintGraph2* pB = ringPolygon(dt, 0.58, 0.55, 0.33);
    const double tConstraints = bench::cpuNow() - t0;

    Zone2* pInA = dt.createZone(pA, ZL_INSIDE);
    Zone2* pInB = dt.createZone(pB, ZL_INSIDE);
    Zone2* pOutA = dt.createZone(pA, ZL_OUTSIDE);
    Zone2* pGrow = dt.createZone(std::vector<ConstraintGraph2*>{pA, pB}, ZL_GROW, Point2(0.5, 0.5));
    Zone2* pGlobal = dt.createZone(nullptr, ZL_GLOBAL);
    Zone2* pUnion = zoneUnion(pInA, pInB);
    Zone2* pInter = zoneIntersection(pInA, pInB);
    Zone2* pDiff = zoneDifference(pInA, pInB);
    Zone2* pSym = zoneSymmetricDifference(pInA, pInB);

    std::printf("Zone queries, %zu uniform points (%zu triangles), two 10000-vertex polygons\n", n, dt.numberOfTriangles());
    std::printf("triangulation: %.0f ms; both polygons constrained: %.0f ms (CPU, not in the table)\n\n",
                tTriangulation * 1e3, tConstraints * 1e3);
    std::printf("%-38s %12s %10s %14s %18s\n", "query", "triangles", "ms", "ns/triangle", "x triangulation");
    auto row = [&](const std::string& what, const std::function<size_t()>& f) {
        size_t size = 0;
        const double t = best(reps, f, size);
        std::printf("%-38s %12zu %10.1f %14.1f %18.4f\n", what.c_str(), size, t * 1e3,
                    size > 0 ? t * 1e9 / double(size) : 0.0, t / tTriangulation);
    };
    auto triangles = [](Zone2* pZone) {
        return [pZone]() {
            std::vector<Triangle2*> v;
            pZone->getTriangles(v);
            return v.size();
        };
    };
    row("getTriangles ZL_GLOBAL", triangles(pGlobal));
    row("getTriangles ZL_INSIDE A", triangles(pInA));
    row("getTriangles ZL_OUTSIDE A", triangles(pOutA));
    row("getTriangles ZL_GROW (A and B bound)", triangles(pGrow));
    const size_t numInA = pInA->getNumberOfTriangles();
    row("getArea2D ZL_INSIDE A", [&] { return pInA->getArea2D() > 0 ? numInA : 0; });
    row("getBorderEdges ZL_INSIDE A (edges)", [&] {
        std::vector<Edge2> v;
        pInA->getBorderEdges(v);
        return v.size();
    });
    row("union A, B", triangles(pUnion));
    row("intersection A, B", triangles(pInter));
    row("difference A - B", triangles(pDiff));
    row("symmetric difference A, B", triangles(pSym));
    // Constrains the border edges anew each time (the segments exist after the first call).
    const size_t numInter = pInter->getNumberOfTriangles();
    row("convertToBoundedZone(A n B)", [&] { return pInter->convertToBoundedZone() != nullptr ? numInter : 0; });
    std::printf("\n(ns/triangle: per triangle of the result)\n");
    return 0;
}
