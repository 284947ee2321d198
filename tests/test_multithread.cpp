// Multithreaded bulk insertion: every input of the table, with 1, 2, 3, 4 and 8 threads, must give
// a triangulation that the independent exact oracle accepts, the same one for the same input
// with every thread count above one, and in general position the single-threaded one; handles
// and duplicates as on one thread; a failure on a worker thread reaches the caller.
#include <gtest/gtest.h>
#include <algorithm>
#include <atomic>
#include <chrono>
#include <functional>
#include <map>
#include <random>
#include <stdexcept>
#include <thread>
#include "DelaunayOracle.h"
#include "TriangulationBuilders.h"

using namespace ORBI_LUMO2D;
using lumo_test::randomPoints;
using lumo_test::triangles;

namespace {

std::vector<Point2> shuffled(std::vector<Point2> v, unsigned seed) {
    std::shuffle(v.begin(), v.end(), std::mt19937_64(seed));
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
    return shuffled(v, seed);
}

struct Input {
    const char* name;
    std::vector<std::vector<Point2>> vCalls;   // one bulk insertion each
    bool bGeneralPosition;                     // the Delaunay triangulation is unique
};

std::vector<Input> inputs() {
    // Above 8 * 4096 points round 1 has 8 cells (as many as 8 threads), below 4. Grid lines of
    // the partition fall onto rows of grid points; every grid square is cocircular, and so are
    // all 2916 lattice points of the circle of radius 5*13*17*29*37*41. Later calls reach beyond
    // the box of the earlier ones (which then encloses old vertices too); the small last call
    // stays on the calling thread.
    return {{"uniform", {randomPoints(33000, 11)}, true},
            {"clustered", {lumo_test::clusteredPoints(12000, 12, 0.002)}, true},
            {"grid", {shuffled(lumo_test::gridPoints(100), 13)}, false},
            {"cocircular", {shuffled(lumo_test::latticeCircle(5 * 13 * 17 * 29 * 37 * 41, true), 3)}, false},
            {"collinear runs and duplicates", {collinearRunsWithDuplicates(10000, 14)}, false},
            {"into an existing triangulation",
             {randomPoints(6000, 21), randomPoints(9000, 22, -2.0, 0.5), randomPoints(50, 23, 3.0, 4.0)}, true}};
}

struct Outcome {
    std::vector<std::array<double, 6>> vTriangles;
    MultithreadStats stats;   // of the last large call
};

// Inserts the calls with numThreads threads and checks what every run must give.
Outcome insertAndCheck(const std::vector<std::vector<Point2>>& vCalls, int numThreads, const std::string& what) {
    Dt2 dt(unsigned(vCalls[0].size()));   // later calls grow the pools
    dt.setNumCPU(numThreads);
    std::vector<Point2> v;
    std::vector<Point2*> vHandles, vCallHandles;
    MultithreadStats stats;
    for (const std::vector<Point2>& vCall : vCalls) {
        dt.insertVector(vCall, &vCallHandles);
        EXPECT_FALSE(dt.getVertexVault().hasFakeBox()) << what;
        v.insert(v.end(), vCall.begin(), vCall.end());
        vHandles.insert(vHandles.end(), vCallHandles.begin(), vCallHandles.end());
        if (vCall.size() < 1000) continue;   // stays on the calling thread and keeps the stats
        stats = dt.getMultithreadStats();
        EXPECT_EQ(stats.numPoints, numThreads > 1 ? vCall.size() : 0u) << what;
    }
    EXPECT_EQ(lumo_test::checkDelaunayTriangulation(v, triangles(dt)), "") << what;
    EXPECT_TRUE(dt.findValidityFaults(true).isValid()) << what;
    // One vertex per distinct point, every handle at its point, equal points one handle.
    std::map<std::pair<double, double>, Point2*> mVertexAt;
    for (size_t i = 0; i < v.size(); ++i) {
        EXPECT_TRUE(vHandles[i] != nullptr && *vHandles[i] == v[i]) << what << " handle " << i;
        Point2*& pFirst = mVertexAt[{v[i].x(), v[i].y()}];
        if (pFirst == nullptr) pFirst = vHandles[i];
        EXPECT_EQ(vHandles[i], pFirst) << what << " duplicate " << i;
    }
    EXPECT_EQ(dt.numberOfPoints(), mVertexAt.size()) << what;
    return Outcome{lumo_test::canonicalTriangles(triangles(dt)), stats};
}

} // namespace

TEST(Multithread, EveryInputAndThreadCountMatchesTheOracleAndTheSerialResult) {
    for (const Input& in : inputs()) {
        const Outcome serial = insertAndCheck(in.vCalls, 1, std::string(in.name) + " 1 thread");
        for (int t : {2, 3, 4, 8}) {
            const std::string what = std::string(in.name) + " " + std::to_string(t) + " threads";
            const Outcome r = insertAndCheck(in.vCalls, t, what);
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
            EXPECT_EQ(numOffered, r.stats.numPoints) << what;
            EXPECT_EQ(r.stats.numSerialRest, numLeft) << what;
            if (in.bGeneralPosition) {
                EXPECT_TRUE(r.vTriangles == serial.vTriangles) << what;
            } else if (t == 3) {
                EXPECT_TRUE(insertAndCheck(in.vCalls, t, what).vTriangles == r.vTriangles) << what << ": not deterministic";
            }
        }
    }
}

TEST(Multithread, LargeRangesInsertTheirSampleInParallelToo) {
    // Above 32 * 4096 points the sample has a sample of its own: two levels of rounds. (In
    // general position the oracle's check leaves one triangulation: no serial run is needed.)
    EXPECT_EQ(insertAndCheck({lumo_test::clusteredPoints(140000, 15, 0.002)}, 5, "5 threads").stats.vRounds.size(), 4u);
}

TEST(Multithread, AFailureOnAWorkerReachesTheCallerAfterAllThreadsEnded) {
    const std::vector<Point2> v = randomPoints(200000, 31);
    const std::pair<const char*, std::function<void()>> aCases[] = {
        {"LumoException", [] { throw LumoException(); }}, {"std::runtime_error", [] { throw std::runtime_error("injected"); }}};
    for (const auto& c : aCases) {
        Dt2 dt(unsigned(v.size()));
        dt.setNumCPU(4);
        std::atomic<int> numCalls{0};
        // The third cell taken (of round 1 over the sample) fails; the others are slowed down so
        // that they are still busy then.
        dt.setWorkerHook([&](int, size_t) {
            if (++numCalls == 3) c.second();
            std::this_thread::sleep_for(std::chrono::milliseconds(2));
        });
        EXPECT_THROW(dt.insertVector(v, nullptr), LumoException) << c.first;
        const int numAfter = numCalls.load();
        std::this_thread::sleep_for(std::chrono::milliseconds(30));
        EXPECT_EQ(numCalls.load(), numAfter) << c.first << ": a worker still ran";
        EXPECT_LE(numAfter, 8) << c.first << ": the workers did not stop";
    }
}
