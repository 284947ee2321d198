// SimplePool: records handed out one after another from large blocks, never freed one by one.
// Addresses are stable for the life of the pool, which is what makes raw handles safe.
#pragma once
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <iostream>
#include <memory>
#include <vector>
#if defined(__linux__)
#include <sys/mman.h>
#endif
#include "tools.h"

namespace ORBI_LUMO2D {

// Gives the memory advice to the whole units of 2^unitBits bytes inside [p, p + bytes).
inline void adviseAligned(void* p, size_t bytes, int unitBits, int advice) {
#if defined(__linux__)
    const uintptr_t mask = (uintptr_t(1) << unitBits) - 1;
    const uintptr_t lo = (reinterpret_cast<uintptr_t>(p) + mask) & ~mask;
    const uintptr_t hi = (reinterpret_cast<uintptr_t>(p) + bytes) & ~mask;
    if (hi > lo) madvise(reinterpret_cast<void*>(lo), hi - lo, advice);
#else
    (void)p;
    (void)bytes;
    (void)unitBits;
    (void)advice;
#endif
}

// Faults in the whole pages of [p, p + bytes) with one system call: where page faults are
// expensive (virtual machines), one call per few megabytes beats one fault per 4 KB page.
inline void populateForWrite(void* p, size_t bytes) {
#if defined(__linux__) && defined(MADV_POPULATE_WRITE)
    adviseAligned(p, bytes, 12, MADV_POPULATE_WRITE);
#else
    (void)p;
    (void)bytes;
#endif
}

// Asks for 2 MB pages on the aligned part of [p, p + bytes), before its pages are touched:
// for ranges from 8 MB on, where the walks of a large triangulation jump around so much that
// 4 KB pages would miss the TLB at most steps (a huge page at either end may hold up to 2 MB
// that is never used, small against such a range). Not beyond 100 MB: there the kernel's
// cost of handing out huge pages outweighed the gain (uniform 4M points ran slower).
inline void adviseHugePages(void* p, size_t bytes) {
#if defined(__linux__) && defined(MADV_HUGEPAGE)
    if (bytes >= (size_t(8) << 20) && bytes <= (size_t(100) << 20)) adviseAligned(p, bytes, 21, MADV_HUGEPAGE);
#else
    (void)p;
    (void)bytes;
#endif
}

// The home slot of a record's address in an open-addressing table of mask + 1 slots (a power
// of two): records are at least 16 bytes apart, so the low bits carry nothing.
inline size_t addressSlot(const void* p, size_t mask) {
    return size_t((reinterpret_cast<uintptr_t>(p) >> 4) * 0x9E3779B97F4A7C15ull >> 32) & mask;
}

// One reserved range of address space, handed out front to back: blocks taken from it compare by
// address in the order they were taken, whatever the process allocated in between. Address
// space only is reserved; pages are committed block by block.
class OrderedArena {
public:
    OrderedArena() = default;
    OrderedArena(const OrderedArena&) = delete;
    OrderedArena& operator=(const OrderedArena&) = delete;
    ~OrderedArena() {
#if defined(__linux__)
        if (pBase != nullptr) munmap(pBase, reservedBytes);
#endif
    }
    // Room for n bytes above everything taken before, or null when the range is used up or
    // could not be reserved (then the caller takes the heap, and the order is no longer kept).
    void* take(size_t n) {
#if defined(__linux__)
        if (pBase == nullptr && !bFailed) {
            void* p = mmap(nullptr, RESERVE, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
            if (p == MAP_FAILED) {
                bFailed = true;
                return nullptr;
            }
            pBase = static_cast<char*>(p);
            reservedBytes = RESERVE;
        }
        const size_t page = 4096, bytes = (n + page - 1) & ~(page - 1);
        if (pBase == nullptr || bytes > reservedBytes - used) return nullptr;
        if (mprotect(pBase + used, bytes, PROT_READ | PROT_WRITE) != 0) return nullptr;
        void* p = pBase + used;
        used += bytes;
        return p;
#else
        (void)n;
        return nullptr;
#endif
    }
    bool owns(const void* p) const {
        return pBase != nullptr && static_cast<const char*>(p) >= pBase && static_cast<const char*>(p) < pBase + used;
    }

private:
    // 16 GB of address space: half a billion vertex records.
    static const size_t RESERVE = size_t(1) << 34;
    char* pBase{nullptr};
    size_t reservedBytes{0};
    size_t used{0};
    bool bFailed{false};
};

template <class T> class SimplePool {
public:
    // bOrdered: records compare by address in the order they were handed out (see OrderedArena).
    explicit SimplePool(int32_t maxBlockSize_, bool bOrdered = false)
        : pArena(bOrdered ? new OrderedArena : nullptr), maxBlockSize(maxBlockSize_) {}
    SimplePool(const SimplePool&) = delete;
    SimplePool& operator=(const SimplePool&) = delete;
    ~SimplePool() {
        if (vContainers.size() > 1000)
            std::cout << "SimplePool::~SimplePool: Number of containers to release: " << vContainers.size()
                      << std::endl;
        for (T* p : vContainers)
            if (!pArena || !pArena->owns(p)) std::free(p);
        vContainers.clear();
        vBlockSizes.clear();
    }

    // Adds the first block of n records.
    void init(int32_t n) {
        if (bInitialized) std::cout << "SimplePool::init(..), ERROR: This pool is already initialized" << std::endl;
        firstBlockSize = n;
        requestedBlockSize = -1;
        addBlock(n);
        bInitialized = true;
    }

    // The next record, uninitialised: the caller sets every field.
    T* alloc() {
        if (++lastUsed >= capacity) {
            addBlock(requestedBlockSize);
            ++lastUsed;
        }
        if (lastUsed >= populatedUpTo) populateAhead();
        // Records are handed out too rarely for the hardware to see the stream: ask for the
        // cache line of a later record now, so that writing it then does not wait for memory.
        __builtin_prefetch(pCurrent + lastUsed + PREFETCH_AHEAD, 1);
        return pCurrent + lastUsed;
    }

    // Up to n consecutive records at once (at least one; fewer at the end of a block): a
    // caller that serves several threads takes runs under its lock instead of one lock per record.
    // The run is not faulted in: its user does that (populate), on the thread that will fill it.
    T* allocRun(int32_t n, int32_t& numGot) {
        if (lastUsed + 1 >= capacity) addBlock(requestedBlockSize);
        numGot = std::max(1, std::min(n, capacity - (lastUsed + 1)));
        T* p = pCurrent + lastUsed + 1;
        lastUsed += numGot;
        populatedUpTo = std::max(populatedUpTo, lastUsed + 1);
        return p;
    }
    // Faults in the whole pages among n records at p with one system call.
    static void populate(T* p, size_t n) { populateForWrite(p, n * sizeof(T)); }

    // Number of records handed out so far.
    size_t numAllocated() const {
        size_t n = 0;
        for (size_t i = 0; i + 1 < vBlockSizes.size(); ++i) n += size_t(vBlockSizes[i]);
        return n + size_t(lastUsed + 1);
    }
    // Calls f(T*) for every record handed out, in allocation order; forEachFrom skips the
    // first `first` of them.
    template <class F> void forEach(F f) const { forEachFrom(0, f); }
    template <class F> void forEachFrom(size_t first, F f) const {
        for (size_t b = 0; b < vContainers.size(); ++b) {
            const size_t n = size_t((b + 1 == vContainers.size()) ? lastUsed + 1 : vBlockSizes[b]);
            for (size_t i = std::min(first, n); i < n; ++i) f(vContainers[b] + i);
            first -= std::min(first, n);
        }
    }
    // Calls f(T* first, size_t count) for every block with the records handed out from it.
    template <class F> void forEachBlock(F f) const {
        for (size_t b = 0; b < vContainers.size(); ++b)
            f(vContainers[b], size_t((b + 1 == vContainers.size()) ? lastUsed + 1 : vBlockSizes[b]));
    }
    // Whether p is a record this pool has handed out: a binary search over the blocks by
    // address, so that a handle from another pool is recognised without touching it.
    bool contains(const T* p) const {
        const uintptr_t a = reinterpret_cast<uintptr_t>(p);
        auto it = std::upper_bound(vBlocksByAddress.begin(), vBlocksByAddress.end(), a,
                                   [](uintptr_t v, const BlockRange& b) { return v < b.begin; });
        if (it == vBlocksByAddress.begin()) return false;
        --it;
        const uintptr_t offset = a - it->begin;
        if (offset % sizeof(T) != 0) return false;
        const size_t idx = offset / sizeof(T);
        const bool bCurrent = it->begin == reinterpret_cast<uintptr_t>(pCurrent);
        return idx < (bCurrent ? size_t(lastUsed + 1) : size_t(it->numRecords));
    }
    const std::vector<int32_t>& getBlockSizes() const { return vBlockSizes; }
    int32_t getMaxBlockSize() const { return maxBlockSize; }

private:
    // r < 0: automatic size; the second block is half the first (the first came from the
    // caller's estimate), every later one doubles, capped at maxBlockSize.
    void addBlock(int32_t r) {
        if (r < 0) {
            if (vBlockSizes.empty()) {
                r = 1;
            } else if (vBlockSizes.size() == 1) {
                r = vBlockSizes[0] / 2;
                if (r == 0) r = vBlockSizes[0];
            } else {
                r = vBlockSizes.back() > maxBlockSize / 2 ? maxBlockSize : 2 * vBlockSizes.back();
            }
            if (r > maxBlockSize) r = maxBlockSize;
        }
        if (r < 1) r = 1;
        T* p = pArena ? static_cast<T*>(pArena->take(size_t(r) * sizeof(T))) : nullptr;
        if (p == nullptr) p = static_cast<T*>(std::malloc(size_t(r) * sizeof(T)));
        if (p == nullptr) {
            std::cout << "SimplePool::alloc(..), ERROR: Out of memory" << std::endl;
            throw LumoException();
        }
        adviseHugePages(p, size_t(r) * sizeof(T));
        vBlockSizes.push_back(r);
        vContainers.push_back(p);
        const BlockRange range{reinterpret_cast<uintptr_t>(p), r};
        vBlocksByAddress.insert(std::upper_bound(vBlocksByAddress.begin(), vBlocksByAddress.end(), range,
                                                 [](const BlockRange& x, const BlockRange& y) { return x.begin < y.begin; }),
                                range);
        pCurrent = p;
        lastUsed = -1;
        capacity = r;
        populatedUpTo = 0;
    }

    // Blocks of a quarter megabyte and more (the ones malloc maps from the system) are faulted
    // in ahead of use, at most a few megabytes at a time; memory a few megabytes beyond the
    // last record handed out is never touched.
    void populateAhead() {
        const int32_t chunk = int32_t((size_t(4) << 20) / sizeof(T));
        const int32_t last = std::min(capacity, populatedUpTo + chunk);
        if (size_t(capacity) * sizeof(T) >= (size_t(256) << 10))
            populateForWrite(pCurrent + populatedUpTo, size_t(last - populatedUpTo) * sizeof(T));
        populatedUpTo = last;
    }

    static const int32_t PREFETCH_AHEAD = 4 * 64 / int32_t(sizeof(T)) + 1;
    std::unique_ptr<OrderedArena> pArena;
    struct BlockRange {
        uintptr_t begin;
        int32_t numRecords;
    };
    std::vector<T*> vContainers;
    std::vector<int32_t> vBlockSizes;
    std::vector<BlockRange> vBlocksByAddress;  // the blocks sorted by address, for contains()
    T* pCurrent{nullptr};
    int32_t lastUsed{-1};
    int32_t capacity{0};
    int32_t populatedUpTo{0};
    int32_t firstBlockSize{0};
    int32_t requestedBlockSize{-1};
    bool bInitialized{false};
    int32_t maxBlockSize;
};

} // namespace ORBI_LUMO2D
