// Multithreaded bulk insertion: every input of the table, with 1, 2, 3, 4 and 8 threads, must give
// a triangulation that the independent exact oracle accepts, the same one for the same input
// with every thread count above one, and in general position the single-threaded one; handles
// and duplicates as on one thread; a failure on a worker thread reaches the caller.
#include <gtest/gtest.h>
#include <atomic>
#include <chrono>
#include <map>
#include <random>
#include <stdexcept>
#include <thread>
#include "DelaunayOracle.h"
#include "TriangulationBuilders.h"

using namespace ORBI_LUMO2D;
using lumo_test::canonicalTriangles;
using lumo_test::checkDelaunayTriangulation;
using lumo_test::randomPoints;
using lumo_test::triangles;

namespace {

// The k x k integer grid, shuffled: every grid square is cocircular, and grid lines of the
// partition fall onto rows of points.
std::vector<Point2> grid(int k, unsigned seed) {
    std::vector<Point2> v = lumo_test::gridPoints(k);
    std::shuffle(v.begin(), v.end(), std::mt19937_64(seed));
    return v;
}

// All 2916 lattice points of the circle of radius 5*13*17*29*37*41 (exactly cocircular), and
// its centre.
std::vector<Point2> cocircular() {
    const long long g[6][2] = {{2, 1}, {3, 2}, {4, 1}, {5, 2}, {6, 1}, {5, 4}};
    std::vector<Point2> v{Point2(0, 0)};
    for (int code = 0; code < 729; ++code) {
        long long re = 1, im = 0;
        for (int i = 0, c = code; i < 6; ++i, c /= 3)
            for (int k = 0; k < 2; ++k) {  // times g (k < c % 3) or its conjugate
                const long long a = g[i][0], b = k < c % 3 ? g[i][1] : -g[i][1], r2 = re * a - im * b;
                im = re * b + im * a;
                re = r2;
            }
        const double x = double(re), y = double(im);
        for (const Point2& p : {Point2(x, y), Point2(-y, x), Point2(-x, -y), Point2(y, -x)}) v.push_back(p);
    }
    std::shuffle(v.begin(), v.end(), std::mt19937_64(3));
    return v;
}

// Uniform points on collinear runs (a few horizontal and vertical lines) and duplicates of a
// fifth of them, some of them several times.
std::vector<Point2> collinearRunsWithDuplicates(size_t n, unsigned seed) {
    std::mt19937_64 rng(seed);
    std::uniform_real_distribution<double> d(0.0, 1.0);
    std::vector<Point2> v = randomPoints(n / 2, seed);
    for (size_t i = 0; v.size() < n; ++i) {
        const double line = double(i % 7) / 7.0, t = d(rng);
        v.push_back(i % 2 == 0 ? Point2(t, line) : Point2(line, t));
    }
    for (size_t i = 0; i < n / 5; ++i) v.push_back(v[rng() % v.size()]);
    std::shuffle(v.begin(), v.end(), rng);
    return v;
}

struct Input {
    const char* name;
    std::vector<Point2> v;
    bool bGeneralPosition;   // the Delaunay triangulation is unique
};

std::vector<Input> inputs() {
    // Above 8 * 4096 points round 1 has 8 cells (as many as 8 threads), below 4.
    return {{"uniform", randomPoints(33000, 11), true},
            {"clustered", lumo_test::clusteredPoints(12000, 12, 0.002), true},
            {"grid", grid(100, 13), false},
            {"cocircular", cocircular(), false},
            {"collinear runs and duplicates", collinearRunsWithDuplicates(10000, 14), false}};
}

struct Outcome {
    std::vector<std::array<double, 6>> vTriangles;
    MultithreadStats stats;
};

// Inserts v with numThreads threads and checks what every run must give.
Outcome insertAndCheck(const std::vector<Point2>& v, int numThreads, const std::string& what) {
    Dt2 dt(unsigned(v.size()));
    dt.setNumCPU(numThreads);
    std::vector<Point2*> vHandles;
    dt.insertVector(v, &vHandles);
    EXPECT_EQ(checkDelaunayTriangulation(v, triangles(dt)), "") << what;
    EXPECT_TRUE(dt.findValidityFaults(true).isValid()) << what;
    EXPECT_FALSE(dt.getVertexVault().hasFakeBox()) << what;
    // One vertex per distinct point, every handle at its point, equal points one handle.
    std::map<std::pair<double, double>, Point2*> mVertexAt;
    for (size_t i = 0; i < v.size(); ++i) {
        EXPECT_TRUE(vHandles[i] != nullptr && *vHandles[i] == v[i]) << what << " handle " << i;
        Point2*& pFirst = mVertexAt[{v[i].x(), v[i].y()}];
        if (pFirst == nullptr) pFirst = vHandles[i];
        EXPECT_EQ(vHandles[i], pFirst) << what << " duplicate " << i;
    }
    EXPECT_EQ(dt.numberOfPoints(), mVertexAt.size()) << what;
    const MultithreadStats& s = dt.getMultithreadStats();
    EXPECT_EQ(s.numPoints > 0, numThreads > 1) << what;
    return Outcome{canonicalTriangles(triangles(dt)), s};
}

} // namespace

TEST(Multithread, EveryInputAndThreadCountMatchesTheOracleAndTheSerialResult) {
    for (const Input& in : inputs()) {
        const Outcome serial = insertAndCheck(in.v, 1, std::string(in.name) + " 1 thread");
        for (int t : {2, 3, 4, 8}) {
            const std::string what = std::string(in.name) + " " + std::to_string(t) + " threads";
            const Outcome r = insertAndCheck(in.v, t, what);
            // Points go through the rounds, and no step swallows one.
            const std::vector<MultithreadRound>& vR = r.stats.vRounds;
            ASSERT_EQ(vR.size() % 2, 0u) << what;
            size_t numOffered = r.stats.numSample, numLeft = 0;
            for (size_t k = 0; k < vR.size(); k += 2) {
                EXPECT_GT(vR[k].numInput, 0u) << what;
                EXPECT_EQ(vR[k + 1].numInput, vR[k].numDeferred) << what;
                numOffered += vR[k].numInput;
                numLeft += vR[k + 1].numDeferred;
            }
            EXPECT_EQ(numOffered, in.v.size()) << what;
            EXPECT_EQ(r.stats.numSerialRest, numLeft) << what;
            if (in.bGeneralPosition) {
                EXPECT_TRUE(r.vTriangles == serial.vTriangles) << what;
            } else if (t == 3) {
                // The same input and thread count give the same triangulation.
                EXPECT_TRUE(insertAndCheck(in.v, t, what).vTriangles == r.vTriangles) << what << ": not deterministic";
            }
        }
    }
}

TEST(Multithread, LargeRangesInsertTheirSampleInParallelToo) {
    // Above 32 * 4096 points the sample has a sample of its own: two levels of rounds. (In
    // general position the oracle's check leaves one triangulation: no serial run is needed.)
    const std::vector<Point2> v = lumo_test::clusteredPoints(140000, 15, 0.002);
    EXPECT_EQ(insertAndCheck(v, 5, "5 threads").stats.vRounds.size(), 4u);
}

TEST(Multithread, BulkInsertionIntoAnExistingTriangulation) {
    // The box then encloses old vertices too; a second call finds none of the first box left.
    const std::vector<Point2> vA = randomPoints(6000, 21, 0.0, 1.0), vB = randomPoints(9000, 22, -2.0, 0.5);
    Dt2 dt(100);
    dt.setNumCPU(4);
    dt.insertVector(vA, nullptr);
    dt.insertVector(vB, nullptr);
    std::vector<Point2> vAll(vA);
    vAll.insert(vAll.end(), vB.begin(), vB.end());
    EXPECT_EQ(checkDelaunayTriangulation(vAll, triangles(dt)), "");
    EXPECT_GT(dt.getMultithreadStats().numPoints, 0u);
    // Small ranges stay on the calling thread and leave no box behind.
    dt.insertVector(randomPoints(50, 23, 3.0, 4.0), nullptr);
    EXPECT_FALSE(dt.getVertexVault().hasFakeBox());
    EXPECT_TRUE(dt.findValidityFaults(true).isValid());
}

TEST(Multithread, AFailureOnAWorkerReachesTheCallerAfterAllThreadsEnded) {
    const std::vector<Point2> v = randomPoints(200000, 31);
    struct Case {
        const char* name;
        std::function<void()> fail;
    };
    const Case aCases[] = {{"LumoException", [] { throw LumoException(); }},
                           {"std::runtime_error", [] { throw std::runtime_error("injected"); }}};
    for (const Case& c : aCases) {
        Dt2 dt(unsigned(v.size()));
        dt.setNumCPU(4);
        std::atomic<int> numCalls{0};
        // The third cell taken (of round 1 over the sample) fails.
        dt.setWorkerHook([&](int, size_t) {
            if (++numCalls == 3) c.fail();
            // Slow the other workers so that they are still busy when the failure happens.
            std::this_thread::sleep_for(std::chrono::milliseconds(2));
        });
        EXPECT_THROW(dt.insertVector(v, nullptr), LumoException) << c.name;
        const int numAfter = numCalls.load();
        std::this_thread::sleep_for(std::chrono::milliseconds(30));
        EXPECT_EQ(numCalls.load(), numAfter) << c.name << ": a worker still ran";
        EXPECT_LE(numAfter, 8) << c.name << ": the workers did not stop";
    }
}
