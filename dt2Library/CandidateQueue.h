// CandidateQueue: the queue of mesh refinement's candidates.
#pragma once
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <memory>
#include <vector>
#include "RefCand3.h"

namespace ORBI_LUMO2D {

// The candidate queue: smallest angle first, the earliest among equal angles. An entry is what
// the candidate needs again when it is taken out (its triangle, the corners that tell whether it
// is still alive, the angle and its corner, whether the size is bad), so that a candidate that
// died meanwhile, most of them, costs no record. Angles lie in [0, 60]; they are spread over
// buckets of equal width (a monotone map, so the order between buckets is the order of the
// keys). Entries arrive in random buckets, so an arrival is one append; a bucket is sorted only
// when it becomes the first one, and then the entries that died meanwhile (more than half) are
// dropped first. A triangle bad by size is queued by the cosine of its smallest angle, which
// names its bucket unless it lies near a border between two; its angle, which the order within
// the bucket needs, is taken only if it is still alive when the bucket is sorted. What arrives
// while a sorted part is being taken extends that part when it is no smaller than its last entry
// (refinement makes many congruent triangles, right isosceles ones under an area bound, and
// these then cost no heap operation), else goes to a small binary heap beside it. A pop takes
// the smaller of the two fronts.
//
// Memory: arrivals wait in chunks of a few kilobytes, which a sorted bucket hands back for the
// others to fill, and a bucket's sorted part goes back to a few spare arrays once taken. The
// queue thus holds about what waits at one time; buckets that each grew an array to their own
// peak held several times that, in fresh pages the system had to clear first.
class CandidateQueue {
public:
    struct Entry {
        double key;
        uint64_t order;   // arrival number, then whether the key is known, its corner, the size flag
        Triangle2* pT;
        Point2* aCorners[3];
        bool operator<(const Entry& o) const { return key < o.key || (key == o.key && order < o.order); }
        bool isAlive() const {
            return pT->getCorner(0) == aCorners[0] && pT->getCorner(1) == aCorners[1] && pT->getCorner(2) == aCorners[2];
        }
        void prefetch() const {
            __builtin_prefetch(pT);
            for (const Point2* p : aCorners) __builtin_prefetch(p);
        }
        int minIdx() const { return int((order >> 1) & 3); }
        bool isSizeBad() const { return (order & 1) != 0; }
        bool hasKey() const { return (order & 8) != 0; }
        void takeKey() {
            int k;
            key = smallestAngleDegree(aCorners[0], aCorners[1], aCorners[2], k);
            order = (order & ~uint64_t(6)) | 8 | (uint64_t(k) << 1);
        }
    };
    CandidateQueue() : vBuckets(NUM_BUCKETS) {
        // aCosBorder[b]: the cosine of the angle where bucket b begins.
        for (size_t b = 0; b <= NUM_BUCKETS; ++b)
            aCosBorder[b] = std::cos((double(b) * (60.0 / double(NUM_BUCKETS))) / 57.295779513);
    }
    CandidateQueue(const CandidateQueue&) = delete;
    CandidateQueue& operator=(const CandidateQueue&) = delete;
    bool empty() const { return num == 0; }
    void push(const RefCand3& rc) {
        Entry e{rc.hasAngle() ? rc.getMinAngle() : 0.0, seq++ << 4 | uint64_t(rc.isSizeBad()), rc.getTriangle(),
                {rc.getCorner(0), rc.getCorner(1), rc.getCorner(2)}};
        if (rc.hasAngle()) e.order |= 8 | (uint64_t(rc.getMinIdx()) << 1);
        size_t b = e.hasKey() ? NUM_BUCKETS : bucketOfCosine(rc.getCosSmallest());
        // The bucket being taken needs the key now.
        if (!e.hasKey() && (b == NUM_BUCKETS || vBuckets[b].isBeingTaken())) e.takeKey();
        if (b == NUM_BUCKETS) b = bucketOfKey(e.key);
        Bucket& bucket = vBuckets[b];
        if (!bucket.isBeingTaken()) {
            append(bucket, e);
        } else if (!(e < bucket.vSorted.back())) {
            bucket.vSorted.push_back(e);   // no smaller than the sorted part: it extends it
        } else {
            bucket.vHeap.push_back(e);
            std::push_heap(bucket.vHeap.begin(), bucket.vHeap.end(), Later());
        }
        aOccupied[b / 64] |= bitOf(b);
        if (b < first) first = b;
        ++num;
    }
    // The first entry that may be alive; false when the queue is empty.
    bool pop(Entry& e) {
        for (;;) {
            if (num == 0) return false;
            first = firstOccupied(first);
            Bucket& bucket = vBuckets[first];
            if (!bucket.isBeingTaken() && bucket.pArrivals != nullptr) {
                const size_t numDead = sortArrivals(bucket);
                num -= numDead;
                numDropped += numDead;
                if (bucket.empty()) {
                    vacate(first);
                    continue;
                }
            }
            --num;
            if (bucket.isBeingTaken() && (bucket.vHeap.empty() || bucket.vSorted[bucket.head] < bucket.vHeap.front())) {
                e = bucket.vSorted[bucket.head++];
                if (!bucket.isBeingTaken()) giveBackSorted(bucket);
            } else {
                std::pop_heap(bucket.vHeap.begin(), bucket.vHeap.end(), Later());
                e = bucket.vHeap.back();
                bucket.vHeap.pop_back();
            }
            if (bucket.empty()) vacate(first);
            // The entries lie all over the mesh: fetch the likely next one's records while this
            // one is being refined.
            if (bucket.isBeingTaken()) bucket.vSorted[bucket.head].prefetch();
            if (!bucket.vHeap.empty()) bucket.vHeap.front().prefetch();
            return true;
        }
    }
    // Entries dropped unseen since the last call (they were dead when their bucket was sorted).
    size_t takeDropped() {
        const size_t n = numDropped;
        numDropped = 0;
        return n;
    }

private:
    static const size_t NUM_BUCKETS = 256;
    static size_t bucketOfKey(double key) {
        return key > 0.0 ? std::min(NUM_BUCKETS - 1, size_t(key * (double(NUM_BUCKETS) / 60.0))) : 0;
    }
    // The bucket of a smallest angle with cosine c, or NUM_BUCKETS when c is NaN or so close to
    // a border that only the angle itself can tell (the margin dwarfs the rounding of both).
    size_t bucketOfCosine(double c) const {
        const double margin = 1e-9;
        const double lastBorder = aCosBorder[NUM_BUCKETS - 1];
        if (!(c > lastBorder + margin)) return c < lastBorder - margin ? NUM_BUCKETS - 1 : NUM_BUCKETS;
        // The last border at or above c, by halving steps without branches (random cosines
        // would mispredict every one of them).
        size_t lo = 0;
        for (size_t step = NUM_BUCKETS / 2; step > 0; step /= 2) lo += aCosBorder[lo + step] >= c ? step : 0;
        if (aCosBorder[lo + 1] + margin > c || (lo > 0 && aCosBorder[lo] - margin < c)) return NUM_BUCKETS;
        return lo;
    }
    static uint64_t bitOf(size_t b) { return uint64_t(1) << (b % 64); }
    void vacate(size_t b) { aOccupied[b / 64] &= ~bitOf(b); }
    // The first bucket from b on that holds entries (there is one while num > 0): after a few
    // arrivals far below the front, a scan bucket by bucket back up to it cost 1% of the run.
    size_t firstOccupied(size_t b) const {
        for (size_t w = b / 64;; ++w) {
            const uint64_t bits = aOccupied[w] & (w == b / 64 ? ~uint64_t(0) << (b % 64) : ~uint64_t(0));
            if (bits != 0) return w * 64 + size_t(__builtin_ctzll(bits));
        }
    }
    struct Later {
        bool operator()(const Entry& x, const Entry& y) const { return y < x; }
    };
    struct Chunk {
        static const uint32_t CAPACITY = 85;   // about 4 KB
        Chunk* pNext;
        uint32_t num;
        Entry aEntries[CAPACITY];
    };
    struct Bucket {
        Chunk* pArrivals{nullptr};   // the newest chunk first
        std::vector<Entry> vSorted;   // taken from head on
        size_t head{0};
        std::vector<Entry> vHeap;     // arrivals while the sorted part is being taken
        bool isBeingTaken() const { return head < vSorted.size(); }
        bool empty() const { return !isBeingTaken() && pArrivals == nullptr && vHeap.empty(); }
    };
    void append(Bucket& bucket, const Entry& e) {
        if (bucket.pArrivals == nullptr || bucket.pArrivals->num == Chunk::CAPACITY) {
            if (pFreeChunks == nullptr) {
                const size_t numChunks = 64;
                vChunkBlocks.emplace_back(new Chunk[numChunks]);
                for (size_t i = 0; i < numChunks; ++i) giveBack(&vChunkBlocks.back()[i]);
            }
            Chunk* pChunk = pFreeChunks;
            pFreeChunks = pChunk->pNext;
            pChunk->pNext = bucket.pArrivals;
            pChunk->num = 0;
            bucket.pArrivals = pChunk;
        }
        bucket.pArrivals->aEntries[bucket.pArrivals->num++] = e;
    }
    void giveBack(Chunk* pChunk) {
        pChunk->pNext = pFreeChunks;
        pFreeChunks = pChunk;
    }
    // Sorts the arrivals after dropping the dead ones; returns how many were dropped.
    size_t sortArrivals(Bucket& bucket) {
        if (bucket.vSorted.capacity() == 0 && !vSpareSorted.empty()) {
            bucket.vSorted.swap(vSpareSorted.back());
            vSpareSorted.pop_back();
        }
        bucket.vSorted.clear();
        bucket.head = 0;
        const size_t ahead = 8;
        size_t numDead = 0;
        while (Chunk* pChunk = bucket.pArrivals) {
            for (uint32_t i = 0; i < pChunk->num; ++i) {
                if (i + ahead < pChunk->num) pChunk->aEntries[i + ahead].prefetch();
                Entry& e = pChunk->aEntries[i];
                if (!e.isAlive()) {
                    ++numDead;
                    continue;
                }
                if (!e.hasKey()) e.takeKey();
                bucket.vSorted.push_back(e);
            }
            bucket.pArrivals = pChunk->pNext;
            giveBack(pChunk);
        }
        std::sort(bucket.vSorted.begin(), bucket.vSorted.end());
        if (bucket.vSorted.empty()) giveBackSorted(bucket);
        return numDead;
    }
    // A taken sorted part keeps its array for the next bucket to be sorted.
    void giveBackSorted(Bucket& bucket) {
        bucket.vSorted.clear();
        bucket.head = 0;
        if (vSpareSorted.size() < 4) {
            vSpareSorted.emplace_back();
            vSpareSorted.back().swap(bucket.vSorted);
        }
    }

    std::vector<Bucket> vBuckets;
    double aCosBorder[NUM_BUCKETS + 1];
    std::vector<std::unique_ptr<Chunk[]>> vChunkBlocks;
    Chunk* pFreeChunks{nullptr};
    std::vector<std::vector<Entry>> vSpareSorted;
    uint64_t aOccupied[NUM_BUCKETS / 64]{};   // bit b: bucket b holds entries
    size_t first{NUM_BUCKETS};
    size_t num{0};
    size_t numDropped{0};
    uint64_t seq{0};
};

} // namespace ORBI_LUMO2D
