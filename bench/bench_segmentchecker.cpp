// Segment checker: getIllegalSegments on random short segments of growing number (the work
// per segment should stay nearly flat, i.e. total time close to n log n) and on long
// segments that all cross each other; R-tree node capacities on the checker's workload.
#include <benchmark/benchmark.h>
#include <cmath>
#include <memory>
#include <random>
#include <vector>
#include "Lumo_2D.h"
#include "SegmentCheckerInspector.h"
#include "spatial_index/RTree.h"

using namespace ORBI_LUMO2D;

namespace {
struct Segments {
    std::vector<Segment2> vStore;
    std::vector<Segment2*> vPointers;
    void finish() {
        for (Segment2& s : vStore) vPointers.push_back(&s);
    }
};

// n segments in the unit square with lengths uniform in [0, 1/sqrt(n)]: each meets a few
// others on average, whatever n is.
const Segments& randomShortSegments(size_t n) {
    static std::vector<std::unique_ptr<Segments>> cache(2);
    for (auto& c : cache)
        if (c && c->vStore.size() == n) return *c;
    auto data = std::make_unique<Segments>();
    std::mt19937_64 rng(n);
    std::uniform_real_distribution<double> unit(0.0, 1.0), angle(0.0, 6.283185307179586);
    const double maxLen = 1.0 / std::sqrt(double(n));
    data->vStore.reserve(n);
    for (size_t i = 0; i < n; ++i) {
        const double x = unit(rng), y = unit(rng), r = maxLen * unit(rng), a = angle(rng);
        data->vStore.emplace_back(Point2(x, y), Point2(x + r * std::cos(a), y + r * std::sin(a)));
    }
    data->finish();
    auto& slot = cache[cache[0] ? 1 : 0];
    slot = std::move(data);
    return *slot;
}

// n segments from the left to the right side of the unit square: about half of all pairs cross.
Segments longCrossingSegments(size_t n) {
    Segments data;
    std::mt19937_64 rng(17);
    std::uniform_real_distribution<double> unit(0.0, 1.0);
    for (size_t i = 0; i < n; ++i) data.vStore.emplace_back(Point2(0.0, unit(rng)), Point2(1.0, unit(rng)));
    data.finish();
    return data;
}

void runIllegalSegments(benchmark::State& state, const Segments& data) {
    const double n = double(data.vPointers.size());
    std::vector<Segment2*> vIllegal;
    SegmentCheckerWork work;
    for (auto _ : state) {
        state.PauseTiming();
        auto checker = std::make_unique<SegmentChecker>(data.vPointers);
        state.ResumeTiming();
        checker->getIllegalSegments(false, vIllegal);  // includes building the R-tree
        state.PauseTiming();
        work = SegmentCheckerInspector::lastIllegalSearch(*checker);
        checker.reset();
        state.ResumeTiming();
    }
    state.counters["queries"] = double(work.numQueries);
    // R-tree answers per queried segment, the segment itself not counted.
    state.counters["cand/seg"] = double(work.numCandidates - work.numQueries) / double(std::max<uint64_t>(1, work.numQueries));
    state.counters["tested/seg"] = double(work.numClassified) / n;
    state.counters["illegal"] = double(vIllegal.size());
    // Time per segment and per n log2 n, in seconds (printed with SI prefixes, e.g. 500n).
    state.counters["t/seg"] = benchmark::Counter(n, benchmark::Counter::kIsIterationInvariantRate |
                                                        benchmark::Counter::kInvert);
    state.counters["t/(n log2 n)"] = benchmark::Counter(n * std::log2(n), benchmark::Counter::kIsIterationInvariantRate |
                                                                              benchmark::Counter::kInvert);
}
} // namespace

static void BM_IllegalSegments_RandomShort(benchmark::State& state) {
    runIllegalSegments(state, randomShortSegments(size_t(state.range(0))));
}
BENCHMARK(BM_IllegalSegments_RandomShort)->Arg(10000)->Arg(100000)->Arg(1000000)->Unit(benchmark::kMillisecond);

static void BM_IllegalSegments_LongCrossing(benchmark::State& state) {
    const Segments data = longCrossingSegments(size_t(state.range(0)));
    runIllegalSegments(state, data);
}
BENCHMARK(BM_IllegalSegments_LongCrossing)->Arg(10000)->Unit(benchmark::kMillisecond);

// n long parallel diagonals that never meet but whose boxes all overlap: the box filter
// cannot help and every pair is classified. The worst case, shown for contrast.
static void BM_IllegalSegments_LongParallel(benchmark::State& state) {
    Segments data;
    const size_t n = size_t(state.range(0));
    for (size_t i = 0; i < n; ++i) {
        const double d = double(i) / double(n);
        data.vStore.emplace_back(Point2(d, 0.0), Point2(1.0 + d, 1.0));
    }
    data.finish();
    runIllegalSegments(state, data);
}
BENCHMARK(BM_IllegalSegments_LongParallel)->Arg(2500)->Arg(10000)->Unit(benchmark::kMillisecond);

// Construction (index map and R-tree entries), for completeness.
static void BM_Construct_RandomShort(benchmark::State& state) {
    const Segments& data = randomShortSegments(size_t(state.range(0)));
    for (auto _ : state) {
        SegmentChecker checker(data.vPointers);
        benchmark::DoNotOptimize(&checker);
    }
}
BENCHMARK(BM_Construct_RandomShort)->Arg(1000000)->Unit(benchmark::kMillisecond);

// The R-tree part of the checker's work (build at the first query, then one query per
// segment box, in the tree's leaf order as the checker does) for node capacities 4 to 64.
static void BM_RTreeSelfQueries(benchmark::State& state) {
    const size_t capacity = size_t(state.range(0));
    const Segments& data = randomShortSegments(size_t(state.range(1)));
    std::vector<void*> vOut;
    vOut.reserve(1000);
    size_t numAnswers = 0;
    for (auto _ : state) {
        state.PauseTiming();
        ORBI_LOCATE2::RTree tree(capacity);
        for (const Segment2* s : data.vPointers) {
            const Point2 a(s->getSrc()), b(s->getTrg());
            tree.addObject(const_cast<Segment2*>(s), std::min(a.x(), b.x()), std::min(a.y(), b.y()),
                           std::max(a.x(), b.x()), std::max(a.y(), b.y()));
        }
        state.ResumeTiming();
        numAnswers = 0;
        std::vector<void*> vOrder;
        tree.getObjectsInLeafOrder(vOrder);
        for (void* pObject : vOrder) {
            const Segment2* s = static_cast<const Segment2*>(pObject);
            const Point2 a(s->getSrc()), b(s->getTrg());
            vOut.clear();
            tree.query(std::min(a.x(), b.x()), std::min(a.y(), b.y()), std::max(a.x(), b.x()),
                       std::max(a.y(), b.y()), vOut);
            numAnswers += vOut.size();
        }
    }
    state.counters["answers/seg"] = double(numAnswers) / double(data.vPointers.size());
}
BENCHMARK(BM_RTreeSelfQueries)
    ->ArgsProduct({{4, 6, 8, 12, 16, 24, 32, 64}, {100000, 1000000}})
    ->Unit(benchmark::kMillisecond);

BENCHMARK_MAIN();
