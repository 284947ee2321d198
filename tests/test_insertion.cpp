// Incremental Delaunay insertion through the Lumo_2D facade, checked against the independent
// oracle of tests/support (exact predicates in GMP, convex hull, Euler count).
#include <gtest/gtest.h>
#include <algorithm>
#include <array>
#include <cmath>
#include <map>
#include <random>
#include <set>
#include "DelaunayOracle.h"
#include "Lumo_2D.h"
#include "MessageText.h"
#include "TriangulationBuilders.h"

using namespace ORBI_LUMO2D;
using lumo_test::randomPoints;
using lumo_test::triangles;
using lumo_test::checkDelaunayTriangulation;

namespace {
enum Mode { SINGLE, VECTOR, ARRAY };   // one point at a time, a vector with handles, coordinates
struct Batch {
    std::vector<Point2> v;
    Mode mode;
};

// Random points and a grid at one scale: exact degeneracies at huge or tiny magnitudes.
std::vector<Point2> scaled(double scale) {
    std::vector<Point2> v = randomPoints(800, 11);
    for (Point2& p : v) p = Point2(p.x() * scale, p.y() * scale);
    for (const Point2& p : lumo_test::gridPoints(10, 0.1 * scale)) v.push_back(p);
    return v;
}
// Every edge midpoint of the Delaunay triangulation of v (exact for even integer coordinates).
std::vector<Point2> edgeMidpoints(const std::vector<Point2>& v) {
    Lumo_2D dt;
    dt.insert(v);
    std::set<Point2> sMid;
    for (const std::array<double, 6>& t : lumo_test::canonicalTriangles(triangles(dt)))
        for (int i = 0; i < 6; i += 2) sMid.insert(Point2(0.5 * (t[i] + t[(i + 2) % 6]), 0.5 * (t[i + 1] + t[(i + 3) % 6])));
    return {sMid.begin(), sMid.end()};
}
// A line of n points (3x, 7-2x), in order or shuffled, after three copies of one of its points.
std::vector<Point2> line(int n, bool bShuffle, bool bLeadingDuplicates) {
    std::vector<Point2> v;
    if (bLeadingDuplicates) v.assign(3, Point2(-3.0, 9.0));
    for (int i = 0; i < n; ++i) v.emplace_back(3.0 * i, 7.0 - 2.0 * i);
    if (bShuffle) std::shuffle(v.begin() + 1, v.end(), std::mt19937(5));
    v.push_back(v[17]);
    return v;
}

std::vector<std::vector<Batch>> growthCases(std::vector<std::string>& vNames) {
    std::vector<std::vector<Batch>> vCases;
    auto add = [&](const std::string& name) { vNames.push_back(name); vCases.emplace_back(); return &vCases.back(); };
    // Random sets of every size through every path (in general position each is unique).
    for (size_t n : {3u, 4u, 10u, 17u, 100u, 1000u, 3000u, 20000u})
        for (Mode m : {SINGLE, VECTOR, ARRAY})
            if (n <= 3000 || m == VECTOR) add("random " + std::to_string(n) + " mode " + std::to_string(m))->push_back({randomPoints(n, unsigned(n) + m), m});
    // Degenerate configurations in one bulk call.
    const std::pair<const char*, std::vector<Point2>> aBulk[] = {
        {"grid", lumo_test::gridPoints(60)}, {"circle", lumo_test::latticeCircle(625)},
        {"circle with centre", lumo_test::latticeCircle(625, true)},
        {"collinear plus one", [] { auto v = line(300, false, false); v.emplace_back(10.0, -3.0); return v; }()},
        {"huge", scaled(1e150)}, {"tiny", scaled(1e-150)}, {"clusters", lumo_test::clusteredPoints(10000, 17, 1e-4)}};
    for (const auto& c : aBulk) add(c.first)->push_back({c.second, VECTOR});
    // Empty and tiny: nothing, two points (a line), a third off it.
    *add("empty, two, three") = {{{}, VECTOR}, {{Point2(1, 1), Point2(2, 2)}, SINGLE}, {{Point2(2, 1)}, SINGLE}};
    // Collinear points stay lower-dimensional (duplicates among them) until one point is off the line.
    for (int k = 0; k < 3; ++k)
        *add("line one at a time " + std::to_string(k)) = {{line(3000, k > 0, k > 1), SINGLE}, {{Point2(1, 1)}, SINGLE}};
    *add("line in bulk, then one off") = {{line(50, false, false), VECTOR}, {{Point2(3.0, 7.0)}, SINGLE}};
    // A bulk call a thousand times larger than the vertices stored before it (regression: the
    // stored ones went in as a sparse range, asking the vault for a start before any triangle).
    *add("a point, then a large bulk call") = {{{Point2(0, 0)}, SINGLE}, {randomPoints(2200, 12), VECTOR}};
    *add("two on a line, then a large bulk call") = {{{Point2(0, 0), Point2(1, 1)}, VECTOR}, {randomPoints(2200, 12), ARRAY}};
    // The vertices stored before the triangulation starts go in first: every old point again,
    // in reverse, with one off the line.
    const std::vector<Point2> vLine = line(40, false, false);
    std::vector<Point2> vBack(vLine.rbegin(), vLine.rend());
    vBack.emplace_back(3, -5);
    *add("line again with one off") = {{vLine, VECTOR}, {vBack, ARRAY}};
    // Each batch further out: the key box grows and the vault re-keys.
    std::vector<Batch>* c = add("growing bulk calls");
    for (unsigned k = 0; k < 5; ++k) c->push_back({randomPoints(500, 100 + k, -std::pow(4.0, k), std::pow(4.0, k)), VECTOR});
    // Diagonal midpoint, edge midpoints on the hull, points on hull lines beyond the hull.
    c = add("points on edges and hull lines");
    c->push_back({{Point2(0, 0), Point2(4, 0), Point2(4, 4), Point2(0, 4)}, VECTOR});
    for (const Point2& p : {Point2(2, 2), Point2(2, 0), Point2(4, 2), Point2(1, 1), Point2(6, 0), Point2(-2, 0),
                            Point2(0, 9), Point2(3, 3), Point2(2, 4), Point2(0, 2)})
        c->push_back({{p}, SINGLE});
    // Far points force re-keying; points between them and the cluster still find their place.
    c = add("far outside points");
    c->push_back({randomPoints(300, 9), VECTOR});
    for (double f : {10.0, -1e3, 1e6, -1e9}) c->push_back({{Point2(f, 0.5 * f)}, SINGLE});
    c->push_back({randomPoints(300, 10, -1e3, 1e3), SINGLE});
    // The grid in row order, one at a time (long walks along hull lines).
    add("grid one at a time")->push_back({lumo_test::gridPoints(60), SINGLE});
    // Every point outside the hull of the previous ones and beyond the vault's sorted run.
    c = add("outward path");
    c->push_back({{}, SINGLE});
    for (int i = 0; i < 20000; ++i) c->back().v.emplace_back(i * 1.0, (i % 7) * 0.5 + i * 0.001);
    // Midpoints of all edges land exactly on edges: half one by one, the rest in bulk.
    std::mt19937 rng(8);
    std::vector<Point2> v;
    for (int i = 0; i < 300; ++i) v.emplace_back(2 * int(rng() % 200), 2 * int(rng() % 200));
    const std::vector<Point2> mids = edgeMidpoints(v);
    const auto half = mids.begin() + long(mids.size() / 2);
    *add("edge midpoints") = {{v, VECTOR}, {std::vector<Point2>(mids.begin(), half), SINGLE}, {std::vector<Point2>(half, mids.end()), VECTOR}};
    // Heavy duplicates in bulk, then the same points again: nothing new.
    std::vector<Point2> vDup;
    const std::vector<Point2> base = randomPoints(200, 5);
    for (int i = 0; i < 5000; ++i) vDup.push_back(base[rng() % base.size()]);
    *add("heavy duplicates") = {{vDup, VECTOR}, {vDup, ARRAY}};
    // Batches of one to three points into a large grid, alternately vector and array, each point
    // an old vertex again, a cell centre (cocircular with its cell), an edge midpoint or a point
    // beyond the hull on its line: they start from the vault, not from each other.
    c = add("small batches into a grid");
    c->push_back({lumo_test::gridPoints(70), VECTOR});
    for (int k = 0; k < 40; ++k) {
        c->push_back({{}, k % 2 == 0 ? VECTOR : ARRAY});
        for (int i = 0; i <= k % 3; ++i) {
            const double x = double(rng() % 69), y = double(rng() % 69);
            const Point2 aKinds[4] = {Point2(x, y), Point2(x + 0.5, y + 0.5), Point2(x + 0.5, y), Point2(-1.0 - x, 0.0)};
            c->back().v.push_back(aKinds[(k + i) % 4]);
        }
        if (k % 5 == 4) c->back().v.push_back(c->back().v.front());
    }
    // Alternating bulk and single rounds at three scales, with duplicates of earlier points.
    c = add("mixed rounds");
    std::vector<Point2> all;
    for (unsigned round = 0; round < 6; ++round) {
        std::vector<Point2> b = randomPoints(400, 200 + round, 0.0, std::pow(10.0, round % 3));
        for (int i = 0; i < 50; ++i) b.push_back(all.empty() ? b[size_t(i)] : all[rng() % all.size()]);
        all.insert(all.end(), b.begin(), b.end());
        c->push_back({b, round % 2 == 0 ? VECTOR : SINGLE});
    }
    return vCases;
}
} // namespace

// After every batch: the Delaunay triangulation of all points so far (or, while they are
// collinear, no triangles and one vertex per distinct point); every handle at its point, one
// handle per position across all batches; the surviving record is one of the copies of its
// batch (by its custom index; coordinate arrays carry none), and it survives later batches.
TEST(Insertion, GrowingInBatchesStaysDelaunay) {
    std::vector<std::string> vNames;
    const std::vector<std::vector<Batch>> vCases = growthCases(vNames);
    for (size_t run = 0; run < 2 * vCases.size(); ++run) {
        const size_t c = run / 2;
        const int numThreads = 1 + int(run % 2);
        SCOPED_TRACE(vNames[c] + ", threads " + std::to_string(numThreads));
        Lumo_2D dt;
        dt.setNumCPU(numThreads);
        std::vector<Point2> all;
        std::map<Point2, std::pair<Point2*, int>> mFirst;   // position -> handle, custom index
        for (size_t k = 0; k < vCases[c].size(); ++k) {
            std::vector<Point2> v = vCases[c][k].v;
            if (vCases[c][k].mode != ARRAY)
                for (size_t i = 0; i < v.size(); ++i) v[i].setCustomIndex(int(all.size() + i));
            std::vector<Point2*> h(v.size());
            std::vector<double> xy;
            for (const Point2& p : v) xy.insert(xy.end(), {p.x(), p.y()});
            switch (vCases[c][k].mode) {
                case SINGLE: for (size_t i = 0; i < v.size(); ++i) h[i] = dt.insert(v[i]); break;
                case VECTOR: dt.insert(v, h); break;
                case ARRAY: dt.insert(int(v.size()), xy.data(), h.data()); break;
            }
            for (size_t i = 0; i < v.size(); ++i) {
                ASSERT_TRUE(h[i] != nullptr && *h[i] == v[i]) << "batch " << k << " point " << i;
                auto& first = mFirst[v[i]];
                if (first.first == nullptr) {
                    first = {h[i], h[i]->getCustomIndex()};
                    ASSERT_TRUE(vCases[c][k].mode == ARRAY || v.at(size_t(first.second) - all.size()) == v[i]);
                }
                ASSERT_EQ(h[i], first.first) << "batch " << k << " point " << i;
            }
            all.insert(all.end(), v.begin(), v.end());
            for (const auto& e : mFirst) ASSERT_EQ(e.second.first->getCustomIndex(), e.second.second) << "batch " << k;
            ASSERT_EQ(dt.numberOfPoints(), mFirst.size()) << "batch " << k;
            ASSERT_EQ(lumo_test::vertexPoints(dt).size(), mFirst.size()) << "batch " << k;
            if (dt.is2D()) {
                ASSERT_EQ(checkDelaunayTriangulation(all, triangles(dt)), "") << "batch " << k;
                continue;
            }
            for (const Point2& p : all) ASSERT_EQ(lumo_test::exactOrientation(all.front(), all.back(), p), 0) << "batch " << k;
            EXPECT_EQ(dt.numberOfTriangles(), 0u);
            EXPECT_EQ(lumo_test::stdoutOf([&] { EXPECT_TRUE(dt.checkValidity(true, "line")); }),
                      "Lumo_2D::CheckValidity(line) has been started\n"
                      "not fulldimensional yet (empty or all points collinear), Returning true\n");
        }
        EXPECT_TRUE(lumo_test::isValidQuietly(dt));
        for (const auto& e : mFirst) ASSERT_TRUE(!dt.is2D() || e.second.first->getIncidentTriangle() != nullptr);
    }
}

// (Non-finite points, single and in bulk on one or several threads, are rows of the misuse
// table; fuzzing sends them down every path.)
TEST(Insertion, NumCpuPolicy) {   // one by default and for a negative count; zero: the hardware's
    Lumo_2D dt;
    EXPECT_EQ(std::vector<int>({dt.getNumCPU(), dt.setNumCPU(3), dt.setNumCPU(-2)}), std::vector<int>({1, 3, 1}));
    EXPECT_GE(dt.setNumCPU(0), 1);
    dt.enableMultithreading();
    EXPECT_GE(dt.getNumCPU(), 1);
}

TEST(Insertion, BulkInsertionReportsProgress) {
    lumo_test::ProgressLog log;
    Lumo_2D dt;
    dt.subscribe(MSG_PROGRESS, &log);
    dt.insert(randomPoints(1000, 31));
    EXPECT_EQ(log.rising("insert vertices").size(), log.v.size());   // and nothing else
    dt.unsubscribe(MSG_PROGRESS, &log);
    log.v.clear();
    dt.insert(randomPoints(100, 32));
    EXPECT_TRUE(log.v.empty());
}
