// CandidateQueue: the queue of mesh refinement's candidates.
#pragma once
#include <algorithm>
#include <cmath>
#include <cstdint>
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
            order = (order & ~uint64_t(7)) | 8 | (uint64_t(k) << 1) | (order & 1);
        }
    };
    CandidateQueue() : vBuckets(NUM_BUCKETS) {
        // aCosBorder[b]: the cosine of the angle where bucket b begins.
        for (size_t b = 0; b <= NUM_BUCKETS; ++b)
            aCosBorder[b] = std::cos((double(b) * (60.0 / double(NUM_BUCKETS))) / 57.295779513);
    }
    bool empty() const { return num == 0; }
    void push(const RefCand3& rc) {
        Entry e{rc.hasAngle() ? rc.getMinAngle() : 0.0, seq++ << 4 | uint64_t(rc.isSizeBad()), rc.getTriangle(),
                {rc.getCorner(0), rc.getCorner(1), rc.getCorner(2)}};
        if (rc.hasAngle()) e.order |= 8 | (uint64_t(rc.getMinIdx()) << 1);
        size_t b = e.hasKey() ? NUM_BUCKETS : bucketOfCosine(rc.getCosSmallest());
        Bucket* pBucket = b < NUM_BUCKETS ? &vBuckets[b] : nullptr;
        // The bucket being taken needs the key now.
        if (!e.hasKey() && (pBucket == nullptr || pBucket->head != pBucket->sortedEnd)) e.takeKey();
        if (pBucket == nullptr) {
            b = bucketOfKey(e.key);
            pBucket = &vBuckets[b];
        }
        Bucket& bucket = *pBucket;
        if (bucket.head == bucket.sortedEnd) {
            bucket.vItems.push_back(e);
        } else if (bucket.sortedEnd == bucket.vItems.size() && !(e < bucket.vItems.back())) {
            bucket.vItems.push_back(e);   // no smaller than the sorted part: it extends it
            ++bucket.sortedEnd;
        } else {
            bucket.vHeap.push_back(e);
            std::push_heap(bucket.vHeap.begin(), bucket.vHeap.end(), Later());
        }
        if (b < first) first = b;
        ++num;
    }
    // The first entry that may be alive; false when the queue is empty.
    bool pop(Entry& e) {
        for (;;) {
            if (num == 0) return false;
            while (vBuckets[first].empty()) ++first;
            Bucket& bucket = vBuckets[first];
            if (bucket.head == bucket.sortedEnd && bucket.head < bucket.vItems.size()) {
                const size_t numDead = bucket.sortArrivals();
                num -= numDead;
                numDropped += numDead;
                if (bucket.empty()) continue;
            }
            --num;
            if (bucket.head < bucket.sortedEnd &&
                (bucket.vHeap.empty() || bucket.vItems[bucket.head] < bucket.vHeap.front())) {
                e = bucket.vItems[bucket.head++];
                if (bucket.head == bucket.vItems.size()) bucket.clearItems();
            } else {
                std::pop_heap(bucket.vHeap.begin(), bucket.vHeap.end(), Later());
                e = bucket.vHeap.back();
                bucket.vHeap.pop_back();
            }
            // The entries lie all over the mesh: fetch the likely next one's records while this
            // one is being refined.
            if (bucket.head < bucket.sortedEnd) bucket.vItems[bucket.head].prefetch();
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
        if (!(c > aCosBorder[NUM_BUCKETS - 1] + margin)) return c < aCosBorder[NUM_BUCKETS - 1] - margin ? NUM_BUCKETS - 1 : NUM_BUCKETS;
        size_t lo = 0, hi = NUM_BUCKETS - 1;   // aCosBorder[lo] >= c > aCosBorder[hi]
        while (hi - lo > 1) {
            const size_t mid = (lo + hi) / 2;
            if (aCosBorder[mid] >= c) lo = mid;
            else hi = mid;
        }
        if (aCosBorder[hi] + margin > c || (lo > 0 && aCosBorder[lo] - margin < c)) return NUM_BUCKETS;
        return lo;
    }
    struct Later {
        bool operator()(const Entry& x, const Entry& y) const { return y < x; }
    };
    struct Bucket {
        std::vector<Entry> vItems;   // sorted from head to sortedEnd, then arrivals
        uint32_t head{0};
        uint32_t sortedEnd{0};
        std::vector<Entry> vHeap;    // arrivals while the sorted part is being taken
        bool empty() const { return head == vItems.size() && vHeap.empty(); }
        void clearItems() {
            vItems.clear();
            head = sortedEnd = 0;
        }
        // Sorts the arrivals after dropping the dead ones; returns how many were dropped.
        size_t sortArrivals() {
            const size_t n = vItems.size(), ahead = 8;
            size_t kept = 0;
            for (size_t i = head; i < n; ++i) {
                if (i + ahead < n) vItems[i + ahead].prefetch();
                Entry& e = vItems[i];
                if (!e.isAlive()) continue;
                if (!e.hasKey()) e.takeKey();
                vItems[kept++] = e;
            }
            const size_t numDead = n - head - kept;
            vItems.resize(kept);
            std::sort(vItems.begin(), vItems.end());
            head = 0;
            sortedEnd = uint32_t(kept);
            return numDead;
        }
    };
    std::vector<Bucket> vBuckets;
    double aCosBorder[NUM_BUCKETS + 1];
    size_t first{NUM_BUCKETS};
    size_t num{0};
    size_t numDropped{0};
    uint64_t seq{0};
};

} // namespace ORBI_LUMO2D
