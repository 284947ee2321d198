// The static R-tree: closed-box queries against brute force, degenerate boxes, the Hilbert
// order it loads along, and its two input assertions.
#include <gtest/gtest.h>
#include <algorithm>
#include <random>
#include <set>
#include <vector>
#include "Lumo_2D.h"
#include "spatial_index/RTree.h"

using ORBI_LOCATE2::Entry;
using ORBI_LOCATE2::RTree;

namespace {
void* tag(size_t i) { return reinterpret_cast<void*>(i + 1); }

bool closedOverlap(const Entry& a, const Entry& b) {
    return a.xmax >= b.xmin && a.ymax >= b.ymin && b.xmax >= a.xmin && b.ymax >= a.ymin;
}

std::vector<void*> sorted(std::vector<void*> v) {
    std::sort(v.begin(), v.end());
    return v;
}

// Random boxes of mixed sizes, a share of them degenerate (points and axis-parallel lines).
std::vector<Entry> randomBoxes(size_t n, unsigned seed) {
    std::mt19937 rng(seed);
    std::uniform_real_distribution<double> pos(-50.0, 50.0), ext(0.0, 4.0);
    std::uniform_int_distribution<int> kind(0, 3);
    std::vector<Entry> v;
    for (size_t i = 0; i < n; ++i) {
        const double x = std::floor(pos(rng)), y = std::floor(pos(rng));  // integer corners touch often
        const int k = kind(rng);
        const double w = (k == 1 || k == 3) ? 0.0 : std::floor(ext(rng));
        const double h = (k == 2 || k == 3) ? 0.0 : std::floor(ext(rng));
        v.push_back(Entry{tag(i), x, y, x + w, y + h});
    }
    return v;
}
} // namespace

TEST(RTree, QueryOnEmptyTreeReturnsNothing) {
    RTree tree;
    std::vector<void*> out;
    tree.query(-1e300, -1e300, 1e300, 1e300, out);
    EXPECT_TRUE(out.empty());
    EXPECT_EQ(tree.getHeight(), 0u);
}

TEST(RTree, SingleEntryIsFoundByTouchingQueries) {
    RTree tree;
    tree.addObject(tag(0), 1.0, 2.0, 3.0, 4.0);
    std::vector<void*> out;
    tree.query(3.0, 4.0, 5.0, 5.0, out);  // corner contact
    EXPECT_EQ(out, std::vector<void*>{tag(0)});
    out.clear();
    tree.query(3.0000000000000004, 0.0, 9.0, 9.0, out);  // one ulp to the right
    EXPECT_TRUE(out.empty());
}

TEST(RTree, DegenerateBoxesAreFoundByQueriesThatTouchThem) {
    RTree tree;
    tree.addObject(tag(0), 2.0, 2.0, 2.0, 2.0);  // a point
    tree.addObject(tag(1), 5.0, 0.0, 5.0, 3.0);  // a vertical segment's box
    tree.addObject(tag(2), 0.0, 7.0, 4.0, 7.0);  // a horizontal segment's box
    std::vector<void*> out;
    tree.query(2.0, 2.0, 2.0, 2.0, out);
    EXPECT_EQ(out, std::vector<void*>{tag(0)});
    out.clear();
    tree.query(4.0, 3.0, 5.0, 6.0, out);  // touches the vertical box at its top end
    EXPECT_EQ(out, std::vector<void*>{tag(1)});
    out.clear();
    tree.query(4.0, 7.0, 4.0, 7.0, out);  // a point query on the horizontal box's end
    EXPECT_EQ(out, std::vector<void*>{tag(2)});
    out.clear();
    tree.query(2.5, 2.5, 4.5, 6.5, out);
    EXPECT_TRUE(out.empty());
}

TEST(RTree, QueriesAppendToTheOutput) {
    RTree tree;
    tree.addObject(tag(0), 0.0, 0.0, 1.0, 1.0);
    std::vector<void*> out{tag(99)};
    tree.query(0.5, 0.5, 0.5, 0.5, out);
    EXPECT_EQ(out, (std::vector<void*>{tag(99), tag(0)}));
}

TEST(RTree, InvertedBoxesAreAssertionFailures) {
    RTree tree;
    testing::internal::CaptureStdout();
    EXPECT_THROW(tree.addObject(tag(0), 1.0, 0.0, 0.0, 1.0), ORBI_LUMO2D::LumoException);
    std::string out = testing::internal::GetCapturedStdout();
    EXPECT_NE(out.find("      [Lumo2D-Message] * Lumo, , ERROR: Condition [ xmin<=xmax failed ]\n"), std::string::npos)
        << out;
    EXPECT_NE(out.find("  Function: ORBI_LOCATE2::RTree::addObject()\n"), std::string::npos) << out;
    testing::internal::CaptureStdout();
    EXPECT_THROW(tree.addObject(tag(0), 0.0, 1.0, 1.0, 0.0), ORBI_LUMO2D::LumoException);
    out = testing::internal::GetCapturedStdout();
    EXPECT_NE(out.find("Condition [ ymin<=ymax failed ]"), std::string::npos) << out;
    EXPECT_EQ(tree.size(), 0u);
}

TEST(RTree, AnswersEqualBruteForceForEveryCapacityAndSize) {
    for (size_t capacity : {2u, 4u, 16u, 64u}) {
        for (size_t n : {size_t(1), capacity, capacity + 1, capacity * capacity + 3, size_t(700)}) {
            const std::vector<Entry> boxes = randomBoxes(n, unsigned(31 * n + capacity));
            RTree tree(capacity);
            for (const Entry& e : boxes) tree.addObject(e.pObject, e.xmin, e.ymin, e.xmax, e.ymax);
            // Queries: every box itself (as the segment checker asks) and random windows.
            std::vector<Entry> queries(boxes);
            const std::vector<Entry> windows = randomBoxes(50, unsigned(n + 7));
            queries.insert(queries.end(), windows.begin(), windows.end());
            std::vector<void*> out, expected;
            for (const Entry& q : queries) {
                out.clear();
                expected.clear();
                tree.query(q, out);
                for (const Entry& e : boxes)
                    if (closedOverlap(q, e)) expected.push_back(e.pObject);
                ASSERT_EQ(sorted(out), sorted(expected)) << "capacity " << capacity << " n " << n;
            }
        }
    }
}

TEST(RTree, DuplicateBoxesAreAllReturned) {
    RTree tree(4);
    for (size_t i = 0; i < 10; ++i) tree.addObject(tag(i), 1.0, 1.0, 2.0, 2.0);
    std::vector<void*> out;
    tree.query(2.0, 2.0, 3.0, 3.0, out);
    EXPECT_EQ(out.size(), 10u);
}

TEST(RTree, AllEntriesInOnePointStillBuild) {
    RTree tree(4);
    for (size_t i = 0; i < 100; ++i) tree.addObject(tag(i), 3.0, 3.0, 3.0, 3.0);
    std::vector<void*> out;
    tree.query(3.0, 3.0, 3.0, 3.0, out);
    EXPECT_EQ(out.size(), 100u);
}

TEST(RTree, AnAdditionAfterAQueryIsSeenByTheNextQuery) {
    RTree tree(4);
    for (size_t i = 0; i < 20; ++i) tree.addObject(tag(i), double(i), 0.0, double(i), 0.0);
    std::vector<void*> out;
    tree.query(100.0, 0.0, 100.0, 0.0, out);
    EXPECT_TRUE(out.empty());
    tree.addObject(tag(20), 100.0, 0.0, 100.0, 0.0);
    tree.query(100.0, 0.0, 100.0, 0.0, out);
    EXPECT_EQ(out, std::vector<void*>{tag(20)});
}

TEST(RTree, HeightGrowsLogarithmically) {
    RTree tree(16);
    const std::vector<Entry> boxes = randomBoxes(5000, 3);
    for (const Entry& e : boxes) tree.addObject(e.pObject, e.xmin, e.ymin, e.xmax, e.ymax);
    std::vector<void*> out;
    tree.query(0.0, 0.0, 0.0, 0.0, out);
    // 5000 entries: 313 leaves, 20 nodes, 2 nodes, the root.
    EXPECT_EQ(tree.getHeight(), 4u);
    EXPECT_EQ(tree.getNumberOfNodes(), 313u + 20u + 2u + 1u);
}

TEST(RTree, HilbertKeysVisitEveryCellOnceThroughNeighbours) {
    const int order = 5;
    const uint32_t side = 1u << order;
    std::vector<std::pair<uint32_t, uint32_t>> cellOfKey(side * side, {UINT32_MAX, UINT32_MAX});
    for (uint32_t x = 0; x < side; ++x)
        for (uint32_t y = 0; y < side; ++y) {
            const uint64_t key = RTree::hilbertKey(x, y, order);
            ASSERT_LT(key, uint64_t(side) * side);
            ASSERT_EQ(cellOfKey[key].first, UINT32_MAX) << "key used twice";
            cellOfKey[key] = {x, y};
        }
    EXPECT_EQ(cellOfKey.front(), std::make_pair(0u, 0u));
    for (size_t k = 1; k < cellOfKey.size(); ++k) {
        const int dx = int(cellOfKey[k].first) - int(cellOfKey[k - 1].first);
        const int dy = int(cellOfKey[k].second) - int(cellOfKey[k - 1].second);
        EXPECT_EQ(std::abs(dx) + std::abs(dy), 1) << "keys " << k - 1 << " and " << k;
    }
}

TEST(RTree, HilbertKeysOfFinerGridsRefineCoarserOnes) {
    // The key of a cell on a grid of order k is the key of its parent cell followed by two bits.
    std::mt19937 rng(5);
    for (int i = 0; i < 1000; ++i) {
        const uint32_t x = rng() >> 2, y = rng() >> 2;  // 30 bits
        EXPECT_EQ(RTree::hilbertKey(x, y, 30) >> 2, RTree::hilbertKey(x >> 1, y >> 1, 29));
    }
}
