// InserterMT: bulk insertion of one key-sorted range on several threads (the design is described
// at the top of InserterMT.cpp). Partitioner cuts the data box into the rectangular cells of a
// round; a Chunk is one cell with its points; each worker thread owns its predicates, its
// triangle store (fed from the shared pool in runs) and its scratch.
#pragma once
#include <algorithm>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <functional>
#include <memory>
#include <mutex>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>
#include "Bbox2.h"
#include "GeomTest.h"
#include "Inserter.h"
#include "Point2.h"
#include "SimplePool.h"
#include "TopologyOps.h"
#include "Triangle2.h"
#include "VertexVault.h"

namespace ORBI_LUMO2D {

// Runs f(slice, begin, end) on numSlices contiguous slices of [0, n): slice 0 on the calling
// thread, each other one on a thread of its own (or, when none can be started, on the calling
// thread too); returns when all have ended, rethrowing the first exception in slice order.
template <class F> void parallelSlices(size_t numSlices, size_t n, F f) {
    if (numSlices <= 1) {
        f(size_t(0), size_t(0), n);
        return;
    }
    std::vector<std::exception_ptr> vErrors(numSlices);
    auto runSlice = [&](size_t s) {
        try {
            f(s, n * s / numSlices, n * (s + 1) / numSlices);
        } catch (...) {
            vErrors[s] = std::current_exception();
        }
    };
    std::vector<std::thread> vThreads;
    size_t numStarted = 1;
    for (; numStarted < numSlices; ++numStarted) {
        try {
            vThreads.emplace_back(runSlice, numStarted);
        } catch (const std::system_error&) {
            break;
        }
    }
    runSlice(0);
    for (size_t s = numStarted; s < numSlices; ++s) runSlice(s);
    for (std::thread& t : vThreads) t.join();
    for (const std::exception_ptr& e : vErrors)
        if (e) std::rethrow_exception(e);
}

// How many slices parallelSlices should cut n items into with numThreads threads: no slice for
// fewer than 65536 items, where a thread would cost more than it saves, and at most 64.
inline size_t numSlicesFor(int numThreads, size_t n) {
    return std::max<size_t>(1, std::min<size_t>(std::min(size_t(std::max(1, numThreads)), size_t(64)), n / 65536));
}

// What one parallel round did.
struct MultithreadRound {
    int level{0};            // 0: the finest level (see InserterMT.cpp)
    int round{1};            // 1 or 2 (over the shifted grid)
    size_t numCells{0};
    size_t numInput{0};      // points offered
    size_t numDeferred{0};   // points left to the next step
    size_t maxCellPoints{0};
    double cpuSum{0.0};      // CPU seconds over all threads
    double cpuMax{0.0};      // of the busiest thread
    std::vector<double> vCellCpu;   // of each cell, in the order the threads take them
};

// What one multithreaded insertion did, for benchmarks and tuning.
struct MultithreadStats {
    size_t numPoints{0};       // size of the range
    size_t numSample{0};       // the coarsest sample, inserted first on the calling thread
    size_t numSerialRest{0};   // inserted on the calling thread after the rounds of each level
    int numThreads{0};         // threads that took part (the calling thread included)
    double cpuSerial{0.0};     // CPU seconds of the calling thread outside the rounds
    std::vector<MultithreadRound> vRounds;
};

// Wall and CPU seconds (of the whole process, workers included) of the phases of the last bulk
// insertion, for benchmarks and tuning: a few clock readings per insertion, none per point.
class PhaseTimes {
public:
    struct Phase {
        const char* name;
        double wall, cpu;
    };
    // Forgets the phases and takes the first reading.
    void start() {
        vPhases.clear();
        read(wall0, cpu0);
    }
    // The time since the previous reading goes to the phase name (added up when it repeats).
    void mark(const char* name);
    const std::vector<Phase>& getPhases() const { return vPhases; }

private:
    static void read(double& wall, double& cpu);
    std::vector<Phase> vPhases;
    double wall0{0.0}, cpu0{0.0};
};

// A grid of rectangular cells over the data box; the outer cells reach to infinity, so that every
// vertex (the fake box corners too) lies in exactly one cell. The cell of a point is decided by
// comparisons with the stored grid lines only, so the cells are an exact partition.
class Partitioner {
public:
    // nx x ny cells over [minX, maxX] x [minY, maxY]; bShifted moves the grid lines by half a
    // cell and adds one row and column (the seams of the unshifted grid then run through cells).
    Partitioner(double minX, double minY, double maxX, double maxY, int nx, int ny, bool bShifted);
    size_t numCells() const { return size_t(vLinesX.size() + 1) * (vLinesY.size() + 1); }
    size_t cellOf(double x, double y) const;
    // The cell's rectangle [x0, x1) x [y0, y1) (infinite at the border of the grid).
    void getCell(size_t cell, double& x0, double& y0, double& x1, double& y1) const;

private:
    static int lineIndex(const std::vector<double>& vLines, double origin, double invWidth, double v);
    std::vector<double> vLinesX, vLinesY;   // interior grid lines, increasing
    double originX, originY, invWidthX, invWidthY;
    bool bShifted;
};

// Offsets into the range, not zeroed when resized: the parallel passes that fill them touch their
// pages first, on their own threads.
template <class T> struct UninitializedAllocator : std::allocator<T> {
    template <class U> struct rebind {
        using other = UninitializedAllocator<U>;
    };
    template <class U> void construct(U* p) noexcept { ::new (static_cast<void*>(p)) U; }
    template <class U, class... Args> void construct(U* p, Args&&... args) {
        ::new (static_cast<void*>(p)) U(std::forward<Args>(args)...);
    }
};
using OffsetVector = std::vector<uint32_t, UninitializedAllocator<uint32_t>>;

// One cell of a round: its rectangle and its points (offsets into the range, in key order).
struct Chunk {
    double x0, y0, x1, y1;
    const uint32_t* pBegin;
    const uint32_t* pEnd;
    bool contains(const Point2* p) const { return p->x() >= x0 && p->x() < x1 && p->y() >= y0 && p->y() < y1; }
    // Owned triangles (all three corners in the cell) are changed by this chunk's thread only.
    bool owns(const Triangle2* pT) const {
        return contains(pT->getCorner(0)) && contains(pT->getCorner(1)) && contains(pT->getCorner(2));
    }
};

class InserterMT {
public:
    // The range's vertices become part of the triangulation that serial (the calling thread's
    // inserter) works on; its pool, vault and fake box are shared with the workers.
    InserterMT(Inserter& serial, SimplePool<Triangle2>& pool, VertexVault& vault);
    InserterMT(const InserterMT&) = delete;
    InserterMT& operator=(const InserterMT&) = delete;

    // Inserts the key-sorted range [pBegin, pEnd) from pStartT with up to numThreads threads. The
    // fake box (installed in the vault, inserted here when it is not yet) encloses every vertex.
    // A failure on a worker thread is rethrown here as LumoException once all threads have ended.
    // pRangeBox, when known, is the box of the range's points (else it is measured).
    void run(VaultEntry* pBegin, VaultEntry* pEnd, Triangle2* pStartT, int numThreads, double differenceBound,
             const Bbox2* pRangeBox = nullptr);
    const MultithreadStats& getStats() const { return stats; }
    // Test hook: called by a worker before each cell (round 1 or 2, cell index); may throw.
    void setCellHook(std::function<void(int, size_t)> hook) { cellHook = std::move(hook); }
    // Where run() marks its phases (may be null).
    void setPhaseTimes(PhaseTimes* pTimes) { pPhases = pTimes; }

private:
    struct Worker;
    // One parallel round over the points vSorted, grouped by cell (cell c holds
    // [vCellStart[c], vCellStart[c+1])); returns the offsets it could not insert, in key order.
    std::vector<uint32_t> runRound(MultithreadRound& record, const Partitioner& grid, const OffsetVector& vSorted,
                                   const std::vector<size_t>& vCellStart, std::vector<std::unique_ptr<Worker>>& vWorkers);
    // The grid of a level of numPoints points.
    static void gridShape(size_t numPoints, int numThreads, double w, double h, int& nx, int& ny);
    // Inserts the entries at the given offsets on the calling thread, middle first.
    void insertSerially(const std::vector<uint32_t>& vOffsets, Triangle2* pStartT);
    // One chunk's points in key order: inserted, registered as duplicates (survivor second) or
    // deferred.
    void insertChunk(Worker& w, const Chunk& chunk, bool bAnchorFirst, std::vector<uint32_t>& vDeferred,
                     std::vector<std::pair<Point2*, Point2*>>& vDups);
    // An owned triangle at an inserted vertex of the chunk stored near offset (key order, looking
    // at every stride-th entry), or null.
    Triangle2* findAnchor(const Chunk& chunk, uint32_t offset) const;
    // The triangle of an inserted vertex near offset in key order (any cell), or null.
    Triangle2* nearStart(uint32_t offset) const;

    Inserter& serial;
    SimplePool<Triangle2>& pool;
    VertexVault& vault;
    std::mutex poolMutex;                  // guards the shared pool: taken once per run of records
    VaultEntry* pRange{nullptr};
    size_t rangeSize{0};
    size_t stride{1};   // of the level being inserted: its points are stride entries apart
    MultithreadStats stats;
    std::function<void(int, size_t)> cellHook;
    PhaseTimes* pPhases{nullptr};
    void markPhase(const char* name) {
        if (pPhases != nullptr) pPhases->mark(name);
    }
};

} // namespace ORBI_LUMO2D
