// Cost of the exact predicates per call, on random and on near-degenerate inputs, and which
// stage decided how often. Each benchmark cycles through a fixed set of pre-generated queries.
// Counters: filter, scaled (the filter on scaled coordinates), shortcut, interval, adaptive,
// exact (rationals) = fraction of calls decided by that stage.
#include <benchmark/benchmark.h>
#include <algorithm>
#include <cmath>
#include <random>
#include <vector>
#include "GeomTest.h"
#include "Lumo_2D.h"
#ifdef LUMO2D_HAVE_CGAL
#include <CGAL/Exact_predicates_inexact_constructions_kernel.h>
#endif

using namespace ORBI_LUMO2D;

namespace {

constexpr size_t kQueries = 4096;  // a power of two: the index wraps with a mask

enum Family { RANDOM = 0, NEAR_DEGENERATE = 1, EXACT_DEGENERATE = 2 };
const char* const familyName[] = {"random", "near-degenerate", "exactly-degenerate"};

double ulpsAway(double v, int k) {
    for (; k > 0; --k) v = std::nextafter(v, HUGE_VAL);
    for (; k < 0; ++k) v = std::nextafter(v, -HUGE_VAL);
    return v;
}

// Three points per query.
std::vector<Point2> orientationQueries(Family f) {
    std::mt19937_64 gen(7 + f);
    std::uniform_real_distribution<double> uni(0, 1), param(-1, 2);
    std::uniform_int_distribution<int> ulps(-2, 2);
    std::vector<Point2> v;
    for (size_t i = 0; i < kQueries; ++i) {
        const Point2 a(uni(gen), uni(gen)), b(uni(gen), uni(gen));
        if (f == RANDOM) {
            v.push_back(a); v.push_back(b); v.emplace_back(uni(gen), uni(gen));
        } else if (f == NEAR_DEGENERATE) {
            // a point on the line through a and b, rounded, then moved by up to two ulps
            const double t = param(gen);
            v.push_back(a); v.push_back(b);
            v.emplace_back(ulpsAway(a.x() + t * (b.x() - a.x()), ulps(gen)), a.y() + t * (b.y() - a.y()));
        } else {
            // (x,y), (2x,2y), (4x,4y): collinear, with rounding products
            v.push_back(a); v.emplace_back(2 * a.x(), 2 * a.y()); v.emplace_back(4 * a.x(), 4 * a.y());
        }
    }
    return v;
}

// Four points per query, the first three counterclockwise.
std::vector<Point2> inCircleQueries(Family f) {
    std::mt19937_64 gen(17 + f);
    std::uniform_real_distribution<double> uni(0, 1), angle(0, 6.283185307179586);
    std::uniform_int_distribution<int> ulps(-2, 2);
    std::vector<Point2> v;
    const int lattice[12][2] = {{65, 0}, {63, 16}, {60, 25}, {56, 33}, {52, 39}, {39, 52},
                                {33, 56}, {25, 60}, {16, 63}, {0, 65}, {-16, 63}, {-25, 60}};  // x^2+y^2 = 65^2
    for (size_t i = 0; i < kQueries; ++i) {
        Point2 p[4];
        if (f == RANDOM) {
            for (auto& q : p) q = Point2(uni(gen), uni(gen));
        } else if (f == NEAR_DEGENERATE) {
            // four points on a circle, rounded, the last moved by up to two ulps
            const double cx = uni(gen), cy = uni(gen), r = 0.01 + uni(gen);
            for (auto& q : p) {
                const double t = angle(gen);
                q = Point2(cx + r * std::cos(t), cy + r * std::sin(t));
            }
            p[3] = Point2(ulpsAway(p[3].x(), ulps(gen)), ulpsAway(p[3].y(), ulps(gen)));
        } else {
            // exactly cocircular lattice points, scaled into the unit square
            const double s = std::ldexp(1.0, -7), ox = std::floor(uni(gen) * 64) * s, oy = std::floor(uni(gen) * 64) * s;
            int idx[4];
            for (int k = 0; k < 4; ++k) {
                do idx[k] = int(uni(gen) * 12);
                while (std::count(idx, idx + k, idx[k]));
            }
            std::sort(idx, idx + 3);  // increasing angle: counterclockwise
            for (int k = 0; k < 4; ++k) p[k] = Point2(ox + s * lattice[idx[k]][0], oy + s * lattice[idx[k]][1]);
        }
        GeomTest g;
        if (f != EXACT_DEGENERATE && g.getOrientation2(&p[0], &p[1], &p[2]) == ORIENTATION2_CW) std::swap(p[1], p[2]);
        for (auto& q : p) v.push_back(q);
    }
    return v;
}

void reportStages(benchmark::State& state, const GeomTest& g, double calls) {
    const GeomTest::Stats& s = g.getStats();
    const double scaled = double(s.orientScaled + s.inCircleScaled), adaptive = double(s.orientAdaptive + s.inCircleAdaptive);
    const double exact = double(s.orientExact + s.inCircleExact);
    state.counters["scaled"] = scaled / calls;
    state.counters["shortcut"] = s.orientShortcut / calls;
    state.counters["interval"] = s.orientInterval / calls;
    state.counters["adaptive"] = adaptive / calls;
    state.counters["exact"] = exact / calls;
    state.counters["filter"] = 1.0 - (scaled + s.orientShortcut + s.orientInterval + adaptive + exact) / calls;
}

void BM_Orientation(benchmark::State& state) {
    const Family f = Family(state.range(0));
    const std::vector<Point2> q = orientationQueries(f);
    GeomTest g;
    g.setBound(4.0);  // covers every query point
    size_t i = 0;
    double calls = 0;
    for (auto _ : state) {
        const Point2* p = &q[3 * i];
        benchmark::DoNotOptimize(g.getOrientation2(p, p + 1, p + 2));
        i = (i + 1) & (kQueries - 1);
        ++calls;
    }
    state.SetLabel(familyName[f]);
    reportStages(state, g, calls);
}

void BM_InCircle(benchmark::State& state) {
    const Family f = Family(state.range(0));
    const std::vector<Point2> q = inCircleQueries(f);
    GeomTest g;
    size_t i = 0;
    double calls = 0;
    for (auto _ : state) {
        const Point2* p = &q[4 * i];
        benchmark::DoNotOptimize(g.inCircle(p, p + 1, p + 2, p + 3));
        i = (i + 1) & (kQueries - 1);
        ++calls;
    }
    state.SetLabel(familyName[f]);
    reportStages(state, g, calls);
}

void BM_FreeOrientation(benchmark::State& state) {
    const Family f = Family(state.range(0));
    const std::vector<Point2> q = orientationQueries(f);
    size_t i = 0;
    for (auto _ : state) {
        const Point2* p = &q[3 * i];
        benchmark::DoNotOptimize(getOrientation2(p, p + 1, p + 2));
        i = (i + 1) & (kQueries - 1);
    }
    state.SetLabel(familyName[f]);
}

void BM_FreeOrientationMt(benchmark::State& state) {
    const Family f = Family(state.range(0));
    const std::vector<Point2> q = orientationQueries(f);
    size_t i = 0;
    for (auto _ : state) {
        const Point2* p = &q[3 * i];
        benchmark::DoNotOptimize(getOrientation2_mt(p, p + 1, p + 2));
        i = (i + 1) & (kQueries - 1);
    }
    state.SetLabel(familyName[f]);
}

void BM_IntersectionExact(benchmark::State& state) {
    std::mt19937_64 gen(3);
    std::uniform_real_distribution<double> uni(0, 1);
    std::vector<Segment2> s;
    for (size_t i = 0; i < 2 * kQueries; ++i) s.emplace_back(Point2(uni(gen), uni(gen)), Point2(uni(gen), uni(gen)));
    GeomTest g;
    size_t i = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(g.getIntersectionCoords_gmp(s[2 * i], s[2 * i + 1]));
        i = (i + 1) & (kQueries - 1);
    }
}

#ifdef LUMO2D_HAVE_CGAL
using K = CGAL::Exact_predicates_inexact_constructions_kernel;

void BM_PeerOrientation(benchmark::State& state) {
    const Family f = Family(state.range(0));
    const std::vector<Point2> q = orientationQueries(f);
    std::vector<K::Point_2> c;
    for (const auto& p : q) c.emplace_back(p.x(), p.y());
    size_t i = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(CGAL::orientation(c[3 * i], c[3 * i + 1], c[3 * i + 2]));
        i = (i + 1) & (kQueries - 1);
    }
    state.SetLabel(familyName[f]);
}

void BM_PeerInCircle(benchmark::State& state) {
    const Family f = Family(state.range(0));
    const std::vector<Point2> q = inCircleQueries(f);
    std::vector<K::Point_2> c;
    for (const auto& p : q) c.emplace_back(p.x(), p.y());
    size_t i = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(CGAL::side_of_oriented_circle(c[4 * i], c[4 * i + 1], c[4 * i + 2], c[4 * i + 3]));
        i = (i + 1) & (kQueries - 1);
    }
    state.SetLabel(familyName[f]);
}
BENCHMARK(BM_PeerOrientation)->DenseRange(0, 2);
BENCHMARK(BM_PeerInCircle)->DenseRange(0, 2);
#endif

} // namespace

BENCHMARK(BM_Orientation)->DenseRange(0, 2);
BENCHMARK(BM_InCircle)->DenseRange(0, 2);
BENCHMARK(BM_FreeOrientation)->DenseRange(0, 2);
BENCHMARK(BM_FreeOrientationMt)->DenseRange(0, 2);
BENCHMARK(BM_IntersectionExact);

BENCHMARK_MAIN();
