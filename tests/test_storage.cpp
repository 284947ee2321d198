// Object pools, Hilbert keys and the vertex vault.
#include <gtest/gtest.h>
#include <cstdlib>
#include <functional>
#include <random>
#include <set>
#include "DelaunayOracle.h"
#include "HC2.h"
#include "HilbertCurve.h"
#include "Lumo_2D.h"
#include "MessageText.h"
#include "SimplePool.h"
#include "TriangulationBuilders.h"
#include "VertexVault.h"

using namespace ORBI_LUMO2D;

// ---- pools ------------------------------------------------------------------------------------

TEST(SimplePool, BlockSizesAddressesAndSecondInit) {
    // (first block, maximum, allocations, block sizes): the second block is half, then each doubles
    const struct { int first, max, n; std::vector<int32_t> sizes; } aCases[] = {
        {10, 1000, 46, {10, 5, 10, 20, 40}}, {1, 1000, 3, {1, 1, 2}}, {50, 64, 189, {50, 25, 50, 64}}};
    for (const auto& c : aCases) {
        SimplePool<Point2> pool(c.max);
        pool.init(c.first);
        std::set<Point2*> s;
        for (int i = 0; i < c.n; ++i) s.insert(new (pool.alloc()) Point2(i, i));
        EXPECT_EQ(pool.getBlockSizes(), c.sizes) << c.first;
        EXPECT_EQ(pool.numAllocated(), size_t(c.n));
        EXPECT_EQ(s.size(), size_t(c.n));  // distinct
        for (Point2* p : s) EXPECT_EQ(p->x(), p->y());  // and stable: nothing was overwritten
        EXPECT_EQ(lumo_test::stdoutOf([&] { pool.init(4); }), "SimplePool::init(..), ERROR: This pool is already initialized\n");
        EXPECT_EQ(pool.getBlockSizes().size(), c.sizes.size() + 1);
    }
}

// Vertex records compare by address in creation order, whatever the heap does in between: a
// heap hole freed before a block is needed would otherwise hold the next block, below the
// earlier ones (constraint segments take their lower vertex as source, and the mesh follows).
TEST(Dt2Pools, VertexAddressesFollowCreationOrder) {
    Lumo_2D dt;
    std::vector<void*> vHeld;
    const Point2* pPrev = nullptr;
    for (int i = 0; i < 20000; ++i) {
        if (i % 7 == 0) vHeld.push_back(std::malloc(size_t(16) << (i % 17)));
        if (i % 11 == 0 && !vHeld.empty()) {
            std::free(vHeld.front());
            vHeld.erase(vHeld.begin());
        }
        const Point2* p = dt.insert(Point2(i % 150, i / 150 + 0.5 * (i % 3)));
        ASSERT_TRUE(pPrev == nullptr || std::less<const Point2*>()(pPrev, p)) << "vertex " << i;
        pPrev = p;
    }
    for (void* p : vHeld) std::free(p);
    EXPECT_TRUE(lumo_test::isValidQuietly(dt));
}

// A killed triangle leaves the count at once; only new records are fresh, and only once.
TEST(Dt2Pools, KilledTrianglesLeaveTheCountFreshOnesAreReportedOnce) {
    lumo_test::Dt2Of dt({Point2(0, 0), Point2(1, 0), Point2(0, 1), Point2(1, 1)});
    std::vector<Triangle2*> vFresh, vAgain;
    dt.getFreshTriangles(vFresh);
    dt.getFreshTriangles(vAgain);
    EXPECT_EQ(std::make_pair(vFresh.size(), vAgain.size()), std::make_pair(size_t(2), size_t(0)));
    const std::vector<Triangle2*> vT = lumo_test::triangles(dt);
    vT[1]->setOppTriangle(vT[1]->getIntraTriangleIndex(vT[0]), nullptr);
    dt.killTriangle(vT[0]);
    EXPECT_EQ(std::make_pair(dt.numberOfTriangles(), lumo_test::triangles(dt).size()), std::make_pair(size_t(1), size_t(1)));
}

// ---- Hilbert keys -------------------------------------------------------------------------------

namespace {
// The key by the definition: bits/2 levels, one quadrant code per level from the fixed tables,
// of the truncated cell coordinate's low bits (0 left of the box, the upper border wraps to 0).
uint32_t referenceKey(double x, double y, double lo, double hi, int bits) {
    static const int position[4][4] = {{0, 1, 3, 2}, {0, 3, 1, 2}, {2, 1, 3, 0}, {2, 3, 1, 0}};
    static const int next[4][4] = {{1, 0, 2, 0}, {0, 3, 1, 1}, {2, 2, 0, 3}, {3, 1, 3, 2}};
    const int levels = bits / 2;
    const double G = std::ldexp(1.0, levels);
    auto cell = [&](double v) { return (v - lo) * (G / (hi - lo)) <= 0 ? 0u : uint32_t((v - lo) * (G / (hi - lo))); };
    const uint32_t X = cell(x), Y = cell(y);
    uint32_t key = 0;
    int state = 0;
    for (int bit = levels - 1; bit >= 0; --bit) {
        const int d = int((Y >> bit) & 1u) + 2 * int((X >> bit) & 1u);
        key |= uint32_t(position[state][d]) << (2 * bit);
        state = next[state][d];
    }
    return key;
}
} // namespace

// Against the definition inside the box, on its borders and beyond them; the Hilbert property
// of neighbouring cells; odd or too long bit lengths refused. (Boxes at extreme magnitudes:
// test_predicates.cpp.)
TEST(HC2, KeysFollowTheLevelByLevelDefinitionAndFormAHilbertCurve) {
    std::mt19937_64 rng(77);
    std::uniform_real_distribution<double> d(-4.0, 6.0);
    const double aSpecial[] = {-3.0, 5.0, std::nextafter(5.0, 0.0), -4.0, 6.0};
    auto coordinate = [&] { return rng() % 8 == 0 ? aSpecial[rng() % 5] : d(rng); };
    for (int bits : {2, 8, 30}) {
        const HC2 hc(-3.0, -3.0, 5.0, 5.0, bits);
        for (int i = 0; i < 20000; ++i) {
            const double x = coordinate(), y = coordinate();
            ASSERT_EQ(hc.getKey(x, y), referenceKey(x, y, -3.0, 5.0, bits)) << bits << " " << x << " " << y;
        }
    }
    const HC2 hc(0, 0, 16, 16, 8);
    lumo_test::expectHilbertCurve(16, [&](int x, int y) { return hc.getKey(x + 0.5, y + 0.5); });
    for (int bits : {31, 34})
        EXPECT_EQ(lumo_test::stdoutOf([&] { HC2 bad(0, 0, 1, 1, bits); }), lumo_test::error("HC2::HC2(..)", "invalid bitlength"));
}

// ---- vertex vault --------------------------------------------------------------------------------

TEST(VertexVault, CloseTriangleAtBothEndsOfTheKeyRange) {
    lumo_test::Dt2Of dt(lumo_test::randomPoints(100, 1));
    EXPECT_EQ(lumo_test::meshFault(dt), "");
    VertexVault& vault = dt.getVertexVault();
    const std::vector<VaultEntry>& e = vault.getEntries();
    ASSERT_EQ(e.size(), 100u);
    for (size_t i = 0; i < e.size(); ++i) ASSERT_TRUE(e[i].bActive && (i == 0 || e[i - 1].key <= e[i].key));
    EXPECT_EQ(vault.getCloseTriangle(0), e.front().pVtx->getIncidentTriangle());
    EXPECT_EQ(vault.getCloseTriangle(0xFFFFFFFFu), e.back().pVtx->getIncidentTriangle());
    EXPECT_EQ(vault.getCloseTriangle(e[37].key), e[37].pVtx->getIncidentTriangle());
    EXPECT_EQ(vault.getIdxOfActiveVtx(e[37].pVtx), 37u);
    EXPECT_NE(vault.getOneValidTriangle(), nullptr);
    EXPECT_TRUE(vault.dupIsClean());
}

// The box's corners lie half a span beyond it (the misuse of the vault: test_misuse.cpp).
TEST(VertexVault, FakeBoxCornersLieBeyondTheBoxAndGoAgain) {
    Dt2 dt(10);
    dt.insert(Point2(0, 0));
    VertexVault& vault = dt.getVertexVault();
    Bbox2 box;
    box.add(Point2(0, 0));
    box.add(Point2(100, 50));
    vault.installFakeBox(box);
    ASSERT_TRUE(vault.hasFakeBox());
    EXPECT_EQ(*vault.getFakeBoxCorner(0), Point2(-0.5, -0.25));
    vault.removeFakeBox();
    EXPECT_FALSE(vault.hasFakeBox());
}
