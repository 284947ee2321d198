// Object pools, Hilbert keys and the vertex vault.
#include <gtest/gtest.h>
#include <random>
#include <set>
#include "DelaunayOracle.h"
#include "HC2.h"
#include "HilbertCurve.h"
#include "MessageText.h"
#include "ScopedTempDir.h"
#include "SimplePool.h"
#include "TriangulationBuilders.h"
#include "VertexVault.h"

using namespace ORBI_LUMO2D;

// ---- SimplePool ---------------------------------------------------------------------------------

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
        int i = 0;
        for (Point2* p : s) i += p->x() == p->y();  // and stable: nothing was overwritten
        EXPECT_EQ(i, c.n);
        EXPECT_EQ(lumo_test::stdoutOf([&] { pool.init(4); }),
                  "SimplePool::init(..), ERROR: This pool is already initialized\n");
        EXPECT_EQ(pool.getBlockSizes().size(), c.sizes.size() + 1);
    }
}

TEST(Dt2Pools, RecycledTrianglesAreCountedOnceAndNotFresh) {
    lumo_test::Dt2Of dt({Point2(0, 0), Point2(1, 0), Point2(0, 1), Point2(1, 1)});
    std::vector<Triangle2*> vFresh;
    dt.getFreshTriangles(vFresh);
    EXPECT_EQ(vFresh.size(), 2u);
    vFresh.clear();
    dt.getFreshTriangles(vFresh);
    EXPECT_TRUE(vFresh.empty());
    // Give one triangle back: the count drops, the next creation reuses it silently.
    std::vector<Triangle2*> vT = lumo_test::triangles(dt);
    // Rebuild a consistent state afterwards is not the point here: only the counts.
    vT[1]->setOppTriangle(vT[1]->getIntraTriangleIndex(vT[0]), nullptr);
    dt.killTriangle(vT[0]);
    EXPECT_EQ(dt.numberOfTriangles(), 1u);
    EXPECT_EQ(lumo_test::triangles(dt).size(), 1u);
}

// ---- Hilbert keys -------------------------------------------------------------------------------------

TEST(HC2, InvalidBitLengthAndTheFirstLevel) {
    for (int bits : {31, 34}) {
        EXPECT_EQ(lumo_test::stdoutOf([&] { HC2 hc(0, 0, 1, 1, bits); }),
                  "\n      [Lumo2D-Message] HC2::HC2(..), ERROR: invalid bitlength\n\n");
    }
    // One level (2 bits): state 0, position table row 0 = 0, 1, 3, 2 for d = bitY + 2*bitX.
    HC2 hc(0, 0, 2, 2, 2);
    const double aCell[4][2] = {{0.5, 0.5}, {0.5, 1.5}, {1.5, 0.5}, {1.5, 1.5}};
    const uint32_t aKey[4] = {0, 1, 3, 2};
    for (int d = 0; d < 4; ++d) EXPECT_EQ(hc.getKey(aCell[d][0], aCell[d][1]), aKey[d]) << d;
}

TEST(HC2, KeysAreAHilbertCurveOverTheCells) {
    const HC2 hc(0, 0, 16, 16, 8);  // 16 x 16 cells
    lumo_test::expectHilbertCurve(16, [&](int x, int y) { return hc.getKey(x + 0.5, y + 0.5); });
}

// (The upper border's keys: test_predicates.cpp.)
TEST(HC2, ClampingOutsideTheBox) {
    HC2 hc(0, 0, 1, 1, 30);
    EXPECT_EQ(hc.getKey(-5, -5), hc.getKey(0, 0));
    EXPECT_EQ(hc.getKey(7, 0.99999999999), hc.getKey(1, 0.99999999999));
}

// ---- vertex vault --------------------------------------------------------------------------------------

TEST(VertexVault, CloseTriangleAtBothEndsOfTheKeyRange) {
    lumo_test::Dt2Of dt(lumo_test::randomPoints(100, 1));
    EXPECT_EQ(lumo_test::meshFault(dt), "");
    VertexVault& vault = dt.getVertexVault();
    const std::vector<VaultEntry>& e = vault.getEntries();
    ASSERT_EQ(e.size(), 100u);
    for (size_t i = 1; i < e.size(); ++i) ASSERT_LE(e[i - 1].key, e[i].key);
    for (const VaultEntry& x : e) ASSERT_TRUE(x.bActive);
    EXPECT_EQ(vault.getCloseTriangle(0), e.front().pVtx->getIncidentTriangle());
    EXPECT_EQ(vault.getCloseTriangle(0xFFFFFFFFu), e.back().pVtx->getIncidentTriangle());
    EXPECT_EQ(vault.getCloseTriangle(e[37].key), e[37].pVtx->getIncidentTriangle());
    EXPECT_EQ(vault.getIdxOfActiveVtx(e[37].pVtx), 37u);
    EXPECT_NE(vault.getOneValidTriangle(), nullptr);
    EXPECT_TRUE(vault.dupIsClean());
}

TEST(VertexVault, ThreeInitialPointsSkipDuplicatesAndCollinearOnes) {
    Dt2 dt(10);
    for (const Point2& p : {Point2(0, 0), Point2(0, 0), Point2(1, 1), Point2(2, 2), Point2(3, 3)}) dt.insert(p);
    EXPECT_FALSE(dt.is2D());
    EXPECT_EQ(dt.numberOfPoints(), 4u);
    Point2 *a, *b, *c;
    EXPECT_FALSE(dt.getVertexVault().getThreeInitialPoints(a, b, c, dt.getGeomTest()));
    dt.insert(Point2(3, 0));
    EXPECT_EQ(lumo_test::meshFault(dt), "");
    EXPECT_TRUE(dt.is2D());
    EXPECT_EQ(dt.numberOfTriangles(), 3u);
}

TEST(VertexVault, UnknownVertexAndDuplicateRegisteredTwice) {
    lumo_test::ScopedTempDir tmpDir;  // the assertion writes LUMO_LOG.txt
    Dt2 dt(10);
    Point2* p = dt.insert(Point2(0, 0));
    Point2 q(0, 0);
    VertexVault& vault = dt.getVertexVault();
    EXPECT_EQ(lumo_test::stdoutOf([&] { vault.getIdxOfActiveVtx(&q); }),
              "\n      [Lumo2D-Message] VertexVault::getIdxOfActiveVtx, ERROR: pQuery not found\n\n");
    vault.registerDup(&q, p);
    EXPECT_NE(lumo_test::stdoutOf([&] { EXPECT_THROW(vault.registerDup(&q, p), LumoException); })
                  .find("Condition [ bInserted failed ]"), std::string::npos);
}

TEST(VertexVault, FakeBoxCorners) {
    lumo_test::ScopedTempDir tmpDir;  // the assertion writes LUMO_LOG.txt
    Dt2 dt(10);
    VertexVault& vault = dt.getVertexVault();
    Bbox2 box;
    box.add(Point2(0, 0));
    box.add(Point2(100, 50));
    vault.installFakeBox(box);
    ASSERT_TRUE(vault.hasFakeBox());
    EXPECT_EQ(*vault.getFakeBoxCorner(0), Point2(-0.5, -0.25));
    EXPECT_NE(lumo_test::stdoutOf([&] { EXPECT_THROW(vault.getFakeBoxCorner(4), LumoException); })
                  .find("vFakeBoxHandles.size()>i"), std::string::npos);
    vault.removeFakeBox();
    EXPECT_FALSE(vault.hasFakeBox());
}

namespace {
// The key by the definition: 15 levels, one quadrant code per level, from the fixed tables.
uint32_t referenceKey(double x, double y, double minX, double minY, double maxX, double maxY) {
    static const int position[4][4] = {{0, 1, 3, 2}, {0, 3, 1, 2}, {2, 1, 3, 0}, {2, 3, 1, 0}};
    static const int next[4][4] = {{1, 0, 2, 0}, {0, 3, 1, 1}, {2, 2, 0, 3}, {3, 1, 3, 2}};
    const double G = 32768.0;
    uint32_t X = uint32_t((x - minX) * (G / (maxX - minX)));
    uint32_t Y = uint32_t((y - minY) * (G / (maxY - minY)));
    X = std::min(X, 32767u);
    Y = std::min(Y, 32767u);
    uint32_t key = 0;
    int state = 0;
    for (int bit = 14; bit >= 0; --bit) {
        const int d = int((Y >> bit) & 1u) + 2 * int((X >> bit) & 1u);
        key |= uint32_t(position[state][d]) << (2 * bit);
        state = next[state][d];
    }
    return key;
}
} // namespace

TEST(HC2, ThirtyBitKeysMatchTheLevelByLevelDefinition) {
    std::mt19937_64 rng(77);
    std::uniform_real_distribution<double> d(-3.0, 5.0);
    HC2 hc(-3.0, -3.0, 5.0, 5.0, 30);
    for (int i = 0; i < 20000; ++i) {
        const double x = d(rng), y = d(rng);
        ASSERT_EQ(hc.getKey(x, y), referenceKey(x, y, -3.0, -3.0, 5.0, 5.0)) << x << " " << y;
    }
}
