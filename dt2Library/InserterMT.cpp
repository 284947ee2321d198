// Multithreaded bulk insertion of one key-sorted range.
//
// Design. Every point goes in as on one thread (a walk, then its cavity replaced by a fan, which
// gives what Lawson flips give), but a thread changes only triangles it owns, and ownership is
// fixed before each parallel round: the data box is cut into rectangular cells (Partitioner),
// every vertex lies in exactly one cell, and a triangle belongs to a cell when its three corners
// do. The thread working on a cell (a Chunk) inserts a point when its walk stays in owned
// triangles and its cavity (the triangles whose circumcircle strictly contains it) is owned;
// otherwise the point is deferred to the next step.
// Why no lock is needed: an owned triangle's edges have both ends in the cell, so a triangle
// across one of them has a corner in the cell and is owned by no other cell; nobody else changes
// its corners, and no other thread links to it (its edges would need both ends in that thread's
// cell). Whatever a thread reads or writes during a round is thus private to its cell, so the
// result does not depend on the schedule: the same input and thread count give the same
// triangulation, and in general position the one the single-threaded path builds.
//
// Steps: (1) the fake box corners go in first, so that every point is interior (no hull case).
// (2) The points are split into levels by key order: every 32nd point is a sample of the range,
// every 32nd of those a sample of the sample, and so on until a sample has at most 4096 points;
// that one is inserted on the calling thread, so that cells hold owned triangles to start from.
// Then each level, coarsest first: (3) round 1 over a grid of 2 cells per thread (little seam,
// yet enough cells to balance), which the threads take largest first from an atomic counter;
// (4) round 2 over the grid shifted by half a cell, for the points round 1 deferred: they lie
// along its seams, which now run through cells; (5) the rest (where seams of both grids cross,
// and between the data and the fake box) on the calling thread, each from an inserted vertex
// near it in key order. Cells insert in key order; what a round defers and the
// duplicates its workers found are collected after it in cell order.
//
// Why not the alternatives: stitching separately built chunk triangulations needs an exact merge
// of their seams, and reservations in rounds locate and test every point twice; here only the
// few deferred points are located twice, and the cavity found before the change is the change,
// so no in-circle test is repeated and no triangle is flipped. Each worker owns its GeomTest
// (bounds copied from the calling thread's), its triangle store (runs of records taken from the
// shared pool under one mutex) and its scratch.
#include "InserterMT.h"
#include "Bbox2.h"
#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstring>
#include <exception>
#include <memory>
#include <string>
#include <system_error>
#include <thread>
#include <ctime>
#include "tools.h"

namespace ORBI_LUMO2D {

namespace {
double threadCpuNow() {
    timespec t;
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &t);
    return double(t.tv_sec) + 1e-9 * double(t.tv_nsec);
}

// One point of the sample in this many (key order); the coarsest sample has at most
// MAX_SERIAL_SAMPLE points.
const size_t SAMPLE_STEP = 32;
static_assert((SAMPLE_STEP & (SAMPLE_STEP - 1)) == 0, "the levels are told apart by masking");
const size_t MAX_SERIAL_SAMPLE = 4096;
// Round 1 has this many cells per thread: the largest cells go first, so two per thread keep the
// threads about equally busy, and every further cell adds seam, whose points are deferred (with
// 2 threads, 4 cells per thread deferred twice as many points as 2). Where that would leave fewer
// than MIN_CELL_POINTS points per cell, the largest power of two of cells that does not (at
// least 4).
const size_t CELLS_PER_THREAD = 2;
const size_t MIN_CELL_POINTS = 4096;
const size_t MAX_CELLS = 4096;
// A worker defers a point whose walk or cavity grows beyond these bounds.
const int MAX_WALK_STEPS = 100000;
const size_t MAX_CAVITY = 256;
// How far (in key order) a worker looks for an inserted vertex of its cell to start from.
const size_t ANCHOR_LOOKAROUND = 64;
} // namespace

// ---- PhaseTimes ----------------------------------------------------------------------------------

void PhaseTimes::read(double& wall, double& cpu) {
    wall = std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
    timespec t;
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &t);
    cpu = double(t.tv_sec) + 1e-9 * double(t.tv_nsec);
}

void PhaseTimes::mark(const char* name) {
    double wall, cpu;
    read(wall, cpu);
    auto it = std::find_if(vPhases.begin(), vPhases.end(),
                           [&](const Phase& p) { return std::strcmp(p.name, name) == 0; });
    if (it == vPhases.end()) it = vPhases.insert(vPhases.end(), Phase{name, 0.0, 0.0});
    it->wall += wall - wall0;
    it->cpu += cpu - cpu0;
    wall0 = wall;
    cpu0 = cpu;
}

// ---- Partitioner ---------------------------------------------------------------------------------

Partitioner::Partitioner(double minX, double minY, double maxX, double maxY, int nx, int ny, bool bShifted_)
    : bShifted(bShifted_) {
    const double wX = (maxX - minX) / nx, wY = (maxY - minY) / ny;
    const double shift = bShifted ? 0.5 : 0.0;
    originX = minX - shift * wX;
    originY = minY - shift * wY;
    invWidthX = wX > 0.0 ? 1.0 / wX : 0.0;
    invWidthY = wY > 0.0 ? 1.0 / wY : 0.0;
    const int numLinesX = bShifted ? nx : nx - 1, numLinesY = bShifted ? ny : ny - 1;
    for (int i = 1; i <= numLinesX; ++i) vLinesX.push_back(originX + i * wX);
    for (int i = 1; i <= numLinesY; ++i) vLinesY.push_back(originY + i * wY);
}

int Partitioner::lineIndex(const std::vector<double>& vLines, double origin, double invWidth, double v) {
    // The number of lines at or left of v: estimated, then corrected against the lines themselves.
    const int numLines = int(vLines.size());
    const double estimate = std::floor((v - origin) * invWidth);
    int i = !(estimate > 0.0) ? 0 : (estimate >= numLines ? numLines : int(estimate));
    while (i > 0 && v < vLines[size_t(i - 1)]) --i;
    while (i < numLines && v >= vLines[size_t(i)]) ++i;
    return i;
}

size_t Partitioner::cellOf(double x, double y) const {
    const size_t ix = size_t(lineIndex(vLinesX, originX, invWidthX, x));
    const size_t iy = size_t(lineIndex(vLinesY, originY, invWidthY, y));
    return ix + (vLinesX.size() + 1) * iy;
}

void Partitioner::getCell(size_t cell, double& x0, double& y0, double& x1, double& y1) const {
    const size_t ix = cell % (vLinesX.size() + 1), iy = cell / (vLinesX.size() + 1);
    x0 = ix == 0 ? -HUGE_VAL : vLinesX[ix - 1];
    x1 = ix == vLinesX.size() ? HUGE_VAL : vLinesX[ix];
    y0 = iy == 0 ? -HUGE_VAL : vLinesY[iy - 1];
    y1 = iy == vLinesY.size() ? HUGE_VAL : vLinesY[iy];
}

// ---- one worker --------------------------------------------------------------------------------

struct InserterMT::Worker {
    Worker(SimplePool<Triangle2>* pPool, std::mutex* pPoolMutex) : store(pPool, pPoolMutex) {}
    enum Result { INSERTED, DUPLICATE, BLOCKED };
    // Inserts q from the owned triangle pStartT if everything it touches is owned by chunk.
    Result tryInsert(const Chunk& chunk, Point2* q, Triangle2* pStartT, Point2*& pSurvivor);

    GeomTest geomTest;
    TriangleStore store;
    // The cavity of the current point (the triangles whose circumcircle strictly contains it),
    // its border counterclockwise, and the edges still to be looked across.
    Triangle2* apCavity[MAX_CAVITY];
    topo::CavityEdge aBorder[MAX_CAVITY + 2];
    Edge2 aToVisit[MAX_CAVITY + 4];
};

InserterMT::Worker::Result InserterMT::Worker::tryInsert(const Chunk& chunk, Point2* q, Triangle2* pStartT,
                                                          Point2*& pSurvivor) {
    // The walk of the single-threaded inserter, confined to owned triangles: no hull can be met,
    // since the fake box encloses every point.
    Triangle2* pCur = pStartT;
    int aOrder[3] = {0, 1, 2};
    int numTests = 3;
    int ici = -1;
    for (int numSteps = 0;;) {
        int k = 0;
        ici = -1;
        for (; k < numTests; ++k) {
            const int i = aOrder[k];
            Point2* pA = pCur->getCorner(incIndexBy1(i));
            Point2* pB = pCur->getCorner(incIndexBy2(i));
            const Orientation2 ori = geomTest.getOrientation2(pA, pB, q);
            if (ori == ORIENTATION2_CCW) continue;
            if (ori == ORIENTATION2_CW) break;
            if (*q == *pA || *q == *pB) {
                pSurvivor = *q == *pA ? pA : pB;
                return DUPLICATE;
            }
            ici = i;
        }
        if (k == numTests) break;
        const int i = aOrder[k];
        Triangle2* pN = pCur->getOppositeTriangle(i);
        if (pN == nullptr || ++numSteps > MAX_WALK_STEPS) return BLOCKED;
        // The shared edge's ends are in the cell: pN is owned when its far corner is.
        const int j = pN->getIntraTriangleIndex(pCur);
        if (!chunk.contains(pN->getCorner(j))) return BLOCKED;
        pCur = pN;
        aOrder[0] = k == 1 ? incIndexBy2(j) : incIndexBy1(j);
        aOrder[1] = k == 1 ? incIndexBy1(j) : incIndexBy2(j);
        numTests = 2;
    }

    // The cavity, depth first from the triangle (or the two triangles) under q. It has no vertex
    // inside (each keeps an edge to q), so its triangles form a tree across their shared edges
    // and each is reached once. A triangle entered over its edge j is left over j+1, then j+2:
    // the border edges come out counterclockwise. Triangles across the edges of owned ones are
    // read safely: no other thread owns them.
    size_t numCavity = 1, numBorder = 0, numToVisit;
    apCavity[0] = pCur;
    if (ici == -1) {
        aToVisit[0] = Edge2(pCur, 2);
        aToVisit[1] = Edge2(pCur, 1);
        aToVisit[2] = Edge2(pCur, 0);
        numToVisit = 3;
    } else {
        // q on edge ici: both triangles beside it are in the cavity.
        Triangle2* pN = pCur->getOppositeTriangle(ici);
        if (pN == nullptr) return BLOCKED;
        const int j = pN->getIntraTriangleIndex(pCur);
        if (!chunk.contains(pN->getCorner(j))) return BLOCKED;
        apCavity[numCavity++] = pN;
        aToVisit[0] = Edge2(pCur, incIndexBy2(ici));
        aToVisit[1] = Edge2(pCur, incIndexBy1(ici));
        aToVisit[2] = Edge2(pN, incIndexBy2(j));
        aToVisit[3] = Edge2(pN, incIndexBy1(j));
        numToVisit = 4;
    }
    while (numToVisit > 0) {
        const Edge2& e = aToVisit[--numToVisit];
        Triangle2* pX = e.getTriangle();
        const int i = e.getIndex();
        Triangle2* pY = pX->getOppositeTriangle(i);
        const int j = pY != nullptr ? pY->getIntraTriangleIndex(pX) : 0;
        if (pY != nullptr && geomTest.inCircle(pY->getCorner(0), pY->getCorner(1), pY->getCorner(2), q) > 0) {
            if (!chunk.contains(pY->getCorner(j)) || numCavity == MAX_CAVITY) return BLOCKED;
            apCavity[numCavity++] = pY;
            aToVisit[numToVisit++] = Edge2(pY, incIndexBy2(j));
            aToVisit[numToVisit++] = Edge2(pY, incIndexBy1(j));
        } else {
            aBorder[numBorder++] =
                topo::CavityEdge{pX->getCorner(incIndexBy1(i)), pX->getCorner(incIndexBy2(i)), pY, j};
        }
    }
    topo::fillCavity(store, q, aBorder, apCavity, numCavity);
    return INSERTED;
}

// ---- InserterMT ----------------------------------------------------------------------------------

InserterMT::InserterMT(Inserter& serial_, SimplePool<Triangle2>& pool_, VertexVault& vault_)
    : serial(serial_), pool(pool_), vault(vault_) {}

Triangle2* InserterMT::findAnchor(const Chunk& chunk, uint32_t offset) const {
    // Entries of this cell are written by this thread only; others are looked at by coordinates.
    for (size_t d = stride; d <= ANCHOR_LOOKAROUND * stride; d += stride) {
        for (int side = 0; side < 2; ++side) {
            if (side == 0 ? offset < d : size_t(offset) + d >= rangeSize) continue;
            const VaultEntry& e = pRange[side == 0 ? offset - d : offset + d];
            if (!chunk.contains(e.pVtx) || !e.bActive) continue;
            // Around a vertex of the cell: its triangles have a corner here, so they are safe to read.
            Triangle2* pT0 = e.pVtx->getIncidentTriangle();
            Triangle2* pT = pT0;
            do {
                if (chunk.owns(pT)) return pT;
                pT = pT->getOppositeTriangle(incIndexBy1(pT->getIntraTriangleIndex(e.pVtx)));
            } while (pT != nullptr && pT != pT0);
        }
    }
    return nullptr;
}

Triangle2* InserterMT::nearStart(uint32_t offset) const {
    for (size_t d = stride; d <= ANCHOR_LOOKAROUND * stride; d += stride) {
        if (offset >= d && pRange[offset - d].bActive) return pRange[offset - d].pVtx->getIncidentTriangle();
        if (size_t(offset) + d < rangeSize && pRange[offset + d].bActive)
            return pRange[offset + d].pVtx->getIncidentTriangle();
    }
    return nullptr;
}

void InserterMT::insertChunk(Worker& w, const Chunk& chunk, bool bAnchorFirst, std::vector<uint32_t>& vDeferred,
                             std::vector<std::pair<Point2*, Point2*>>& vDups) {
    // Every triangle around a vertex this chunk inserted is owned by it.
    Point2* pLast = nullptr;
    for (const uint32_t* it = chunk.pBegin; it != chunk.pEnd; ++it) {
        VaultEntry& e = pRange[*it];
        Point2* q = e.pVtx;
        Point2* pSurvivor = nullptr;
        // Start at the previous point of the chunk (usually near: the chunk's points are in key
        // order) or at an inserted vertex near in key order (the points of round 2 are sparse).
        Triangle2* pAnchor = bAnchorFirst || pLast == nullptr ? findAnchor(chunk, *it) : nullptr;
        Triangle2* pStart = pAnchor != nullptr || pLast == nullptr ? pAnchor : pLast->getIncidentTriangle();
        Worker::Result r = pStart != nullptr ? w.tryInsert(chunk, q, pStart, pSurvivor) : Worker::BLOCKED;
        if (r == Worker::BLOCKED && pAnchor == nullptr && pLast != nullptr) {
            // The way from the previous point may be blocked where a nearer start is not.
            pAnchor = findAnchor(chunk, *it);
            if (pAnchor != nullptr && pAnchor != pStart) r = w.tryInsert(chunk, q, pAnchor, pSurvivor);
        }
        if (r == Worker::INSERTED) {
            e.bActive = true;
            pLast = q;
        } else if (r == Worker::DUPLICATE) {
            // The three corners of the first triangle meet themselves.
            if (pSurvivor == q) e.bActive = true;
            else vDups.emplace_back(q, pSurvivor);
        } else {
            vDeferred.push_back(*it);
        }
    }
}

// The offsets getOffset(j), j < numItems (NO_OFFSET: none), grouped by cell: a stable counting
// sort (within a cell the points stay in the given order), counted and scattered in parallel
// slices; each point's cell is computed once.
const uint32_t NO_OFFSET = UINT32_MAX;
template <class GetOffset>
static void sortByCell(const Partitioner& grid, const VaultEntry* pRange, size_t numItems, size_t numSlices,
                       GetOffset getOffset, OffsetVector& vSorted, std::vector<size_t>& vCellStart) {
    const size_t numCells = grid.numCells();
    LUMO_ASSERT(numCells<=size_t(UINT16_MAX));
    // Left uninitialized, so that its pages are first touched by the slices, in parallel.
    std::unique_ptr<uint16_t[]> aCellOf(new uint16_t[numItems]);
    std::vector<size_t> vCount(numSlices * numCells, 0);
    // Each slice counts in its own vector: slices' counters sharing a cache line would make the
    // threads take it from each other at every point.
    parallelSlices(numSlices, numItems, [&](size_t s, size_t b, size_t e) {
        std::vector<size_t> vMine(numCells, 0);
        // Points near in key order are near in the plane: most are in the cell of the one before,
        // which the cell's box tells without a lookup among the grid lines.
        size_t c = 0;
        double x0, y0, x1, y1;
        grid.getCell(c, x0, y0, x1, y1);
        for (size_t j = b; j < e; ++j) {
            const uint32_t off = getOffset(j);
            if (off == NO_OFFSET) continue;
            const double x = pRange[off].pVtx->x(), y = pRange[off].pVtx->y();
            if (!(x >= x0 && x < x1 && y >= y0 && y < y1)) {
                c = grid.cellOf(x, y);
                grid.getCell(c, x0, y0, x1, y1);
            }
            aCellOf[j] = uint16_t(c);
            ++vMine[c];
        }
        std::copy(vMine.begin(), vMine.end(), vCount.begin() + std::ptrdiff_t(s * numCells));
    });
    vCellStart.assign(numCells + 1, 0);
    size_t sum = 0;
    for (size_t c = 0; c < numCells; ++c) {
        vCellStart[c] = sum;
        for (size_t s = 0; s < numSlices; ++s) {
            const size_t n = vCount[s * numCells + c];
            vCount[s * numCells + c] = sum;
            sum += n;
        }
    }
    vCellStart[numCells] = sum;
    vSorted.resize(sum);
    parallelSlices(numSlices, numItems, [&](size_t s, size_t b, size_t e) {
        std::vector<size_t> vNext(vCount.begin() + std::ptrdiff_t(s * numCells),
                                  vCount.begin() + std::ptrdiff_t((s + 1) * numCells));
        for (size_t j = b; j < e; ++j) {
            const uint32_t off = getOffset(j);
            if (off != NO_OFFSET) vSorted[vNext[aCellOf[j]]++] = off;
        }
    });
}

std::vector<uint32_t> InserterMT::runRound(MultithreadRound& record, const Partitioner& grid,
                                           const OffsetVector& vSorted,
                                           const std::vector<size_t>& vCellStart,
                                           std::vector<std::unique_ptr<Worker>>& vWorkers) {
    const size_t numCells = grid.numCells();
    const int round = record.round;
    record.numCells = numCells;
    record.numInput = vSorted.size();
    std::vector<Chunk> vChunks(numCells);
    size_t numNonEmpty = 0;
    for (size_t c = 0; c < numCells; ++c) {
        Chunk& ch = vChunks[c];
        grid.getCell(c, ch.x0, ch.y0, ch.x1, ch.y1);
        ch.pBegin = vSorted.data() + vCellStart[c];
        ch.pEnd = vSorted.data() + vCellStart[c + 1];
        if (ch.pBegin != ch.pEnd) ++numNonEmpty;
        record.maxCellPoints = std::max(record.maxCellPoints, size_t(ch.pEnd - ch.pBegin));
    }
    std::vector<std::vector<uint32_t>> vDeferredByCell(numCells);
    std::vector<std::vector<std::pair<Point2*, Point2*>>> vDupsByCell(numCells);

    // Largest cells first, so that no thread is left with a big one at the end (the order in
    // which cells are taken changes nothing in the result).
    std::vector<size_t> vOrder(numCells);
    for (size_t c = 0; c < numCells; ++c) vOrder[c] = c;
    std::stable_sort(vOrder.begin(), vOrder.end(), [&](size_t a, size_t b) {
        return vChunks[a].pEnd - vChunks[a].pBegin > vChunks[b].pEnd - vChunks[b].pBegin;
    });
    std::atomic<size_t> nextCell{0};
    std::atomic<bool> bAbort{false};
    std::mutex errorMutex;
    std::exception_ptr pFirstError;
    std::vector<double> vCpu(vWorkers.size(), 0.0);
    std::vector<double>& vCellCpu = record.vCellCpu;
    vCellCpu.assign(numCells, 0.0);
    auto work = [&](Worker& w, size_t t) {
        const double cpu0 = threadCpuNow();
        struct CpuTime {
            double& seconds;
            double cpu0;
            ~CpuTime() { seconds = threadCpuNow() - cpu0; }
        } cpuTime{vCpu[t], cpu0};
        try {
            for (;;) {
                if (bAbort.load(std::memory_order_relaxed)) return;
                const size_t k = nextCell.fetch_add(1);
                if (k >= numCells) return;
                const size_t c = vOrder[k];
                if (vChunks[c].pBegin == vChunks[c].pEnd) continue;
                if (cellHook) cellHook(round, c);
                const double cpuCell0 = threadCpuNow();
                insertChunk(w, vChunks[c], round == 2, vDeferredByCell[c], vDupsByCell[c]);
                vCellCpu[k] = threadCpuNow() - cpuCell0;
            }
        } catch (...) {
            std::lock_guard<std::mutex> lock(errorMutex);
            if (!pFirstError) pFirstError = std::current_exception();
            bAbort = true;
        }
    };
    // No more threads than non-empty cells; the calling thread is one of them. A thread that
    // cannot be started leaves its share to the others.
    const size_t numWanted = std::min(vWorkers.size(), std::max<size_t>(1, numNonEmpty));
    std::vector<std::thread> vThreads;
    for (size_t t = 1; t < numWanted; ++t) {
        try {
            vThreads.emplace_back(work, std::ref(*vWorkers[t]), t);
        } catch (const std::system_error&) {
            break;
        }
    }
    work(*vWorkers[0], 0);
    for (std::thread& th : vThreads) th.join();
    stats.numThreads = std::max(stats.numThreads, int(vThreads.size() + 1));
    for (double cpu : vCpu) {
        record.cpuSum += cpu;
        record.cpuMax = std::max(record.cpuMax, cpu);
    }
    if (pFirstError) {
        try {
            std::rethrow_exception(pFirstError);
        } catch (const LumoException&) {
            throw;
        } catch (const std::exception& ex) {
            reportError("InserterMT::run()", std::string("a worker thread failed: ") + ex.what());
            throw LumoException();
        } catch (...) {
            reportError("InserterMT::run()", "a worker thread failed");
            throw LumoException();
        }
    }

    // In cell order (each cell's in key order): the order of the next step's input is fixed.
    std::vector<uint32_t> vDeferred;
    for (size_t c = 0; c < numCells; ++c) {
        for (const auto& dup : vDupsByCell[c]) vault.registerDup(dup.first, dup.second);
        vDeferred.insert(vDeferred.end(), vDeferredByCell[c].begin(), vDeferredByCell[c].end());
    }
    record.numDeferred = vDeferred.size();
    return vDeferred;
}

void InserterMT::insertSerially(const std::vector<uint32_t>& vOffsets, Triangle2* pStartT) {
    if (vOffsets.empty()) return;
    std::vector<VaultEntry> vCopy;
    vCopy.reserve(vOffsets.size());
    for (uint32_t off : vOffsets) vCopy.push_back(pRange[off]);
    serial.triangulateRec(vCopy.data(), vCopy.data() + vCopy.size(), pStartT);
    for (size_t i = 0; i < vOffsets.size(); ++i) pRange[vOffsets[i]].bActive = vCopy[i].bActive;
}

void InserterMT::gridShape(size_t numPoints, int numThreads, double w, double h, int& nx, int& ny) {
    size_t numCells = std::min(MAX_CELLS, CELLS_PER_THREAD * size_t(std::max(1, numThreads)));
    if (numPoints / MIN_CELL_POINTS < numCells) {
        // A power of two, which a grid of near-square cells can have.
        numCells = 4;
        while (numCells * 2 <= numPoints / MIN_CELL_POINTS) numCells *= 2;
    }
    nx = ny = 1;
    if (!(h > 0.0)) {
        nx = int(numCells);
    } else if (!(w > 0.0)) {
        ny = int(numCells);
    } else {
        // Of the grids with exactly that many cells, the one whose cells are closest to squares.
        double bestBadness = HUGE_VAL;
        for (int dx = 1; dx <= int(numCells); ++dx) {
            if (numCells % size_t(dx) != 0) continue;
            const int dy = int(numCells / size_t(dx));
            const double badness = std::fabs(std::log((w / dx) / (h / dy)));
            if (badness < bestBadness) {
                bestBadness = badness;
                nx = dx;
                ny = dy;
            }
        }
    }
}

void InserterMT::run(VaultEntry* pBegin, VaultEntry* pEnd, Triangle2* pStartT, int numThreads,
                     double differenceBound, const Bbox2* pRangeBox) {
    pRange = pBegin;
    rangeSize = size_t(pEnd - pBegin);
    LUMO_ASSERT(rangeSize<=size_t(UINT32_MAX));
    stats = MultithreadStats();
    stats.numPoints = rangeSize;
    const double cpuStart = threadCpuNow();
    double cpuRounds = 0.0;
    const size_t numSlices = numSlicesFor(numThreads, rangeSize);
    Bbox2 box;
    if (pRangeBox != nullptr) {
        box = *pRangeBox;
    } else {
        std::vector<Bbox2> vBox(numSlices);
        parallelSlices(numSlices, rangeSize, [&](size_t s, size_t b, size_t e) {
            for (size_t off = b; off < e; ++off) vBox[s].add(*pRange[off].pVtx);
        });
        for (const Bbox2& b : vBox) box = box + b;
    }
    const double minX = box.get_minX(), minY = box.get_minY(), maxX = box.get_maxX(), maxY = box.get_maxY();

    // The levels: level l holds the entries at offsets mid(s) + k s, s = 32^l, except those of
    // the levels above; the entries of level l + 1 are thus a sample of level l's. The coarsest
    // sample (a few thousand entries at most) goes in first on the calling thread.
    std::vector<size_t> vStride{1}, vMid{0};
    while (rangeSize / (vStride.back() * SAMPLE_STEP) > MAX_SERIAL_SAMPLE) {
        vMid.push_back(vMid.back() + vStride.back() * (SAMPLE_STEP / 2));
        vStride.push_back(vStride.back() * SAMPLE_STEP);
    }
    const size_t topStride = vStride.back() * SAMPLE_STEP, topMid = vMid.back() + vStride.back() * (SAMPLE_STEP / 2);

    // (1) The fake box, (2) the coarsest sample.
    Triangle2* pT = pStartT;
    for (size_t i = 0; i < 4; ++i) {
        Point2* pFake = vault.getFakeBoxCorner(i);
        if (pFake->getIncidentTriangle() == nullptr) pT = serial.insertOneVertex(pFake, pT);
    }
    std::vector<uint32_t> vSample;
    for (size_t off = topMid; off < rangeSize; off += topStride) vSample.push_back(uint32_t(off));
    stats.numSample = vSample.size();
    insertSerially(vSample, pT);
    markPhase("mt sample");

    // The workers: predicates bounded as the calling thread's, stores sharing the pool; no more
    // of them than the finest level has cells.
    int nx0, ny0;
    gridShape(rangeSize, numThreads, maxX - minX, maxY - minY, nx0, ny0);
    std::vector<std::unique_ptr<Worker>> vWorkers;
    const size_t numWorkers = std::min(size_t(std::max(1, numThreads)), size_t(nx0 + 1) * size_t(ny0 + 1));
    for (size_t t = 0; t < numWorkers; ++t) {
        vWorkers.emplace_back(new Worker(&pool, &poolMutex));
        vWorkers.back()->geomTest.setBound(serial.getGeomTest().getCoordinateBound());
        vWorkers.back()->geomTest.setDifferenceBound(differenceBound);
    }
    struct HandOver {
        std::vector<std::unique_ptr<Worker>>& v;
        TriangleStore& target;
        ~HandOver() {
            for (auto& w : v) w->store.handOverTo(target);
        }
    } handOver{vWorkers, serial.getStore()};

    OffsetVector vSorted;
    vSorted.reserve(rangeSize);
    std::vector<size_t> vCellStart;
    for (size_t level = vStride.size(); level-- > 0;) {
        stride = vStride[level];
        const size_t mid = vMid[level];
        const size_t numItems = rangeSize > mid ? (rangeSize - mid + stride - 1) / stride : 0;
        int nx, ny;
        gridShape(numItems, numThreads, maxX - minX, maxY - minY, nx, ny);
        // (3) Round 1 over a grid shaped like the data box, (4) round 2 over the shifted grid.
        std::vector<uint32_t> vDeferred;
        for (int round = 1; round <= 2; ++round) {
            const Partitioner grid(minX, minY, maxX, maxY, nx, ny, round == 2);
            if (round == 1) {
                // The entries of the level above are its mid plus multiples of SAMPLE_STEP
                // strides, its mid being this one's plus SAMPLE_STEP / 2 strides: no division.
                sortByCell(grid, pRange, numItems, numSlices, [&](size_t j) {
                    return (j & (SAMPLE_STEP - 1)) == SAMPLE_STEP / 2 ? NO_OFFSET : uint32_t(mid + j * stride);
                }, vSorted, vCellStart);
            } else {
                sortByCell(grid, pRange, vDeferred.size(), numSlices, [&](size_t j) { return vDeferred[j]; },
                           vSorted, vCellStart);
            }
            markPhase("mt cell sort");
            stats.vRounds.emplace_back();
            stats.vRounds.back().level = int(level);
            stats.vRounds.back().round = round;
            const double cpuRound0 = threadCpuNow();
            vDeferred = runRound(stats.vRounds.back(), grid, vSorted, vCellStart, vWorkers);
            cpuRounds += threadCpuNow() - cpuRound0;
            markPhase(round == 1 ? "mt round 1" : "mt round 2");
        }
        // (5) The rest on the calling thread, in the order round 2 left it, each from an
        // inserted vertex near it in key order.
        stats.numSerialRest += vDeferred.size();
        Triangle2* pPrevT = vault.getFakeBoxCorner(0)->getIncidentTriangle();
        for (uint32_t off : vDeferred) {
            Triangle2* pNear = nearStart(off);
            VaultEntry& e = pRange[off];
            pPrevT = serial.insertOneVertex(e.pVtx, pNear != nullptr ? pNear : pPrevT);
            e.bActive = e.pVtx->getIncidentTriangle() != nullptr;
        }
        markPhase("mt serial rest");
    }
    stats.cpuSerial = threadCpuNow() - cpuStart - cpuRounds;
}

} // namespace ORBI_LUMO2D
