// The static R-tree: closed-box queries against brute force, degenerate boxes, the Hilbert
// order it loads along, and its two input assertions.
#include <gtest/gtest.h>
#include <algorithm>
#include <random>
#include <set>
#include <vector>
#include "HilbertCurve.h"
#include "Lumo_2D.h"
#include "MessageText.h"
#include "ScopedTempDir.h"
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

// Small trees of touching and degenerate boxes, answers appended to what the output holds; the
// expected answers by brute force.
TEST(RTree, ClosedBoxQueriesOnSmallTrees) {
    const Entry point{tag(0), 2, 2, 2, 2}, vertical{tag(1), 5, 0, 5, 3}, horizontal{tag(2), 0, 7, 4, 7};
    const Entry box{tag(0), 1, 2, 3, 4};
    const struct { const char* what; std::vector<Entry> boxes; Entry query; size_t numExpected; } aCases[] = {
        {"empty tree", {}, {nullptr, -1e300, -1e300, 1e300, 1e300}, 0},
        {"corner contact", {box}, {nullptr, 3, 4, 5, 5}, 1},
        {"one ulp to the right", {box}, {nullptr, 3.0000000000000004, 0, 9, 9}, 0},
        {"a point box", {point, vertical, horizontal}, {nullptr, 2, 2, 2, 2}, 1},
        {"a vertical box's top end", {point, vertical, horizontal}, {nullptr, 4, 3, 5, 6}, 1},
        {"a point query on a horizontal box's end", {point, vertical, horizontal}, {nullptr, 4, 7, 4, 7}, 1},
        {"between degenerate boxes", {point, vertical, horizontal}, {nullptr, 2.5, 2.5, 4.5, 6.5}, 0},
        {"ten equal boxes", std::vector<Entry>(10, Entry{tag(5), 1, 1, 2, 2}), {nullptr, 2, 2, 3, 3}, 10},
        {"a hundred boxes in one point", std::vector<Entry>(100, Entry{tag(5), 3, 3, 3, 3}), {nullptr, 3, 3, 3, 3}, 100},
    };
    for (const auto& c : aCases) {
        RTree tree(4);
        std::vector<void*> expected{tag(99)}, out{tag(99)};  // queries append
        for (const Entry& e : c.boxes) {
            tree.addObject(e.pObject, e.xmin, e.ymin, e.xmax, e.ymax);
            if (closedOverlap(e, c.query)) expected.push_back(e.pObject);
        }
        tree.query(c.query, out);
        EXPECT_EQ(out.size(), c.numExpected + 1) << c.what;
        EXPECT_EQ(sorted(out), sorted(expected)) << c.what;
        EXPECT_EQ(tree.getHeight() == 0, c.boxes.empty()) << c.what;
    }
}

TEST(RTree, InvertedBoxesAreAssertionFailures) {
    lumo_test::ScopedTempDir tmp;  // the assertions write the log file
    RTree tree;
    const std::string out = lumo_test::stdoutOf([&] {
        EXPECT_THROW(tree.addObject(tag(0), 1.0, 0.0, 0.0, 1.0), ORBI_LUMO2D::LumoException);
        EXPECT_THROW(tree.addObject(tag(0), 0.0, 1.0, 1.0, 0.0), ORBI_LUMO2D::LumoException);
    });
    EXPECT_EQ(lumo_test::normalized(out), lumo_test::assertion("xmin<=xmax", "ORBI_LOCATE2::RTree::addObject") +
                                             lumo_test::assertion("ymin<=ymax", "ORBI_LOCATE2::RTree::addObject"));
    EXPECT_EQ(tree.size(), 0u);
}

// Every box itself (as the segment checker asks) and random windows, for every node capacity
// and sizes around its powers; after a query, an addition is seen by the next one. Every node
// but the last of a level is full: the height grows logarithmically.
TEST(RTree, AnswersEqualBruteForceForEveryCapacityAndSize) {
    for (size_t capacity : {2u, 4u, 16u, 64u}) {
        for (size_t n : {size_t(1), capacity, capacity + 1, capacity * capacity + 3, size_t(700)}) {
            std::vector<Entry> boxes = randomBoxes(n, unsigned(31 * n + capacity));
            RTree tree(capacity);
            for (const Entry& e : boxes) tree.addObject(e.pObject, e.xmin, e.ymin, e.xmax, e.ymax);
            std::vector<Entry> queries(boxes);
            const std::vector<Entry> windows = randomBoxes(50, unsigned(n + 7));
            queries.insert(queries.end(), windows.begin(), windows.end());
            for (int round = 0; round < 2; ++round) {
                for (const Entry& q : queries) {
                    std::vector<void*> out, expected;
                    tree.query(q, out);
                    for (const Entry& e : boxes)
                        if (closedOverlap(q, e)) expected.push_back(e.pObject);
                    ASSERT_EQ(sorted(out), sorted(expected)) << "capacity " << capacity << " n " << n << " round " << round;
                }
                size_t numNodes = 0, height = 0;
                for (size_t m = boxes.size(); height == 0 || m > 1; ++height) numNodes += m = (m + capacity - 1) / capacity;
                EXPECT_EQ(std::make_pair(tree.getNumberOfNodes(), tree.getHeight()), std::make_pair(numNodes, height)) << n;
                boxes.push_back(Entry{tag(n), 100.0, 0.0, 100.0, 0.0});
                tree.addObject(tag(n), 100.0, 0.0, 100.0, 0.0);
                queries.push_back(boxes.back());
            }
        }
    }
}

// Every cell once, through neighbours, from the corner; a finer grid's key is its parent
// cell's key followed by two bits.
TEST(RTree, HilbertKeysVisitEveryCellOnceAndRefineCoarserGrids) {
    EXPECT_EQ(lumo_test::expectHilbertCurve(32, [](int x, int y) { return RTree::hilbertKey(x, y, 5); }), std::make_pair(0, 0));
    std::mt19937 rng(5);
    for (int i = 0; i < 1000; ++i) {
        const uint32_t x = rng() >> 2, y = rng() >> 2;  // 30 bits
        EXPECT_EQ(RTree::hilbertKey(x, y, 30) >> 2, RTree::hilbertKey(x >> 1, y >> 1, 29));
    }
}
