// What the benchmarks share: the clock they charge and the data sets they compare on, so that
// every table names the same uniform and grid points.
#pragma once
#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <malloc.h>
#include <string>
#include <ctime>
#include <random>
#include <vector>
#include "Point2.h"

namespace bench {

// CPU seconds of the calling thread: the machine is shared, so wall time would charge other
// processes to whichever triangulation happens to run.
inline double cpuNow() {
    timespec t;
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &t);
    return double(t.tv_sec) + 1e-9 * double(t.tv_nsec);
}

// Wall seconds, for what a host waits for.
inline double wallNow() {
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

// Memory: the kernel's high-water mark of this process (VmHWM) and its resident size (VmRSS),
// in kB; resetPeak lowers the mark to the current size, so that each run measures its own peak.
inline long readStatusKb(const char* field) {
    std::ifstream f("/proc/self/status");
    std::string line;
    const size_t len = std::strlen(field);
    while (std::getline(f, line))
        if (line.compare(0, len, field) == 0) return std::atol(line.c_str() + len);
    return -1;
}
inline void resetPeak() { std::ofstream("/proc/self/clear_refs") << "5"; }

// Fixed heap thresholds: large blocks are always mapped and freed memory is given back, so that
// the high-water mark of one run does not depend on what earlier runs left in the heap.
inline void fixHeapThresholds() {
    mallopt(M_MMAP_THRESHOLD, 256 * 1024);
    mallopt(M_TRIM_THRESHOLD, 256 * 1024);
}

// n points uniform in the unit square.
inline std::vector<ORBI_LUMO2D::Point2> uniform(size_t n, unsigned seed) {
    std::mt19937_64 rng(seed);
    std::uniform_real_distribution<double> d(0.0, 1.0);
    std::vector<ORBI_LUMO2D::Point2> v;
    v.reserve(n);
    for (size_t i = 0; i < n; ++i) {
        const double x = d(rng);
        v.emplace_back(x, d(rng));
    }
    return v;
}

// The k x k integer grid, shuffled: grid rows in order would flatter a sweep.
inline std::vector<ORBI_LUMO2D::Point2> grid(int k) {
    std::vector<ORBI_LUMO2D::Point2> v;
    v.reserve(size_t(k) * size_t(k));
    for (int i = 0; i < k; ++i)
        for (int j = 0; j < k; ++j) v.emplace_back(i, j);
    std::shuffle(v.begin(), v.end(), std::mt19937_64(5));
    return v;
}

// n points in 100 tight clusters (normal, sigma 0.002) at uniform centres in the unit square.
inline std::vector<ORBI_LUMO2D::Point2> clustered(size_t n, unsigned seed) {
    std::mt19937_64 rng(seed);
    std::uniform_real_distribution<double> d(0.0, 1.0);
    std::normal_distribution<double> nd(0.0, 0.002);
    std::vector<ORBI_LUMO2D::Point2> centres;
    for (int i = 0; i < 100; ++i) centres.emplace_back(d(rng), d(rng));
    std::vector<ORBI_LUMO2D::Point2> v;
    v.reserve(n);
    for (size_t i = 0; i < n; ++i) {
        const ORBI_LUMO2D::Point2& c = centres[rng() % centres.size()];
        const double x = c.x() + nd(rng);
        v.emplace_back(x, c.y() + nd(rng));
    }
    return v;
}

} // namespace bench
