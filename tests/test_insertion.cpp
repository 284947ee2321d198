// Incremental Delaunay insertion through the Lumo_2D facade, checked against the independent
// oracle of tests/support (exact predicates in GMP, convex hull, Euler count).
#include <gtest/gtest.h>
#include <algorithm>
#include <cmath>
#include <limits>
#include <random>
#include <set>
#include "DelaunayOracle.h"
#include "Lumo_2D.h"

using namespace ORBI_LUMO2D;
using lumo_test::randomPoints;
using lumo_test::triangles;
using lumo_test::checkDelaunayTriangulation;
using lumo_test::canonicalTriangles;

// ---- general position ---------------------------------------------------------------------------

TEST(Insertion, RandomPointsMatchTheOracle) {
    for (size_t n : {3u, 4u, 10u, 17u, 100u, 1000u, 20000u}) {
        for (unsigned seed = 1; seed <= 3; ++seed) {
            const std::vector<Point2> v = randomPoints(n, seed * 7 + unsigned(n));
            Lumo_2D dt{unsigned(n)};
            dt.insert(v);
            ASSERT_TRUE(dt.is2D());
            EXPECT_EQ(dt.numberOfPoints(), n);
            EXPECT_EQ(checkDelaunayTriangulation(v, triangles(dt)), "") << "n=" << n << " seed=" << seed;
        }
    }
}

TEST(Insertion, SingleVectorAndArrayInsertionGiveTheSameTriangulation) {
    const std::vector<Point2> v = randomPoints(3000, 42, -5.0, 5.0);
    Lumo_2D dtSingle, dtVector, dtArray;
    for (const Point2& p : v) ASSERT_NE(dtSingle.insert(p), nullptr);
    dtVector.insert(v);
    std::vector<double> xy;
    for (const Point2& p : v) { xy.push_back(p.x()); xy.push_back(p.y()); }
    std::vector<Point2*> vHandles(v.size());
    dtArray.insert(int(v.size()), xy.data(), vHandles.data());
    const auto a = canonicalTriangles(triangles(dtSingle));
    EXPECT_EQ(a, canonicalTriangles(triangles(dtVector)));
    EXPECT_EQ(a, canonicalTriangles(triangles(dtArray)));
    EXPECT_EQ(checkDelaunayTriangulation(v, triangles(dtSingle)), "");
    for (size_t i = 0; i < v.size(); ++i) EXPECT_EQ(*vHandles[i], v[i]);
}

// ---- handles and duplicates --------------------------------------------------------------------------

TEST(Insertion, HandlesFollowInputOrderAndResolveDuplicates) {
    std::vector<Point2> v = {Point2(0, 0), Point2(1, 0), Point2(0, 1), Point2(1, 0), Point2(1, 1), Point2(1, 0)};
    v[1].setCustomIndex(7);
    Lumo_2D dt;
    std::vector<Point2*> vHandles;
    dt.insert(v, vHandles);
    ASSERT_EQ(vHandles.size(), v.size());
    for (size_t i = 0; i < v.size(); ++i) EXPECT_EQ(*vHandles[i], v[i]);
    EXPECT_EQ(vHandles[1], vHandles[3]);
    EXPECT_EQ(vHandles[1], vHandles[5]);
    EXPECT_EQ(vHandles[1]->getCustomIndex(), 7);  // the first one survives
    EXPECT_EQ(dt.numberOfPoints(), 4u);
    EXPECT_EQ(dt.numberOfTriangles(), 2u);
    std::vector<Point2*> vVtx;
    dt.getVertexPointers(vVtx);
    EXPECT_EQ(vVtx.size(), 4u);
    // One at a time, also before the triangulation is 2D: the existing vertex comes back.
    EXPECT_EQ(dt.insert(Point2(0, 0)), vHandles[0]);
    Lumo_2D dt1;
    Point2* b = dt1.insert(Point2(5, 5));
    EXPECT_EQ(dt1.insert(Point2(5, 5)), b);
    EXPECT_EQ(dt1.numberOfPoints(), 1u);
}

// ---- lower-dimensional state ---------------------------------------------------------------------------

TEST(Insertion, CollinearPointsStayLowerDimensionalUntilOnePointIsOff) {
    Lumo_2D dt;
    std::vector<Point2> v;
    for (int i = 0; i < 50; ++i) v.emplace_back(i * 0.5, i * 0.25);
    v.push_back(v[10]);  // a duplicate while not yet 2D
    std::vector<Point2*> vHandles;
    dt.insert(v, vHandles);
    EXPECT_FALSE(dt.is2D());
    EXPECT_EQ(dt.numberOfTriangles(), 0u);
    EXPECT_EQ(dt.numberOfPoints(), 50u);
    EXPECT_EQ(vHandles[10], vHandles[50]);
    testing::internal::CaptureStdout();
    EXPECT_TRUE(dt.checkValidity(true, "collinear"));
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "Lumo_2D::CheckValidity(collinear) has been started\n"
              "not fulldimensional yet (empty or all points collinear), Returning true\n");
    Point2* pOff = dt.insert(Point2(3.0, 7.0));
    ASSERT_NE(pOff, nullptr);
    EXPECT_TRUE(dt.is2D());
    EXPECT_EQ(dt.numberOfPoints(), 51u);
    std::vector<Point2> all(v.begin(), v.end());
    all.emplace_back(3.0, 7.0);
    EXPECT_EQ(checkDelaunayTriangulation(all, triangles(dt)), "");
    for (Point2* p : vHandles) EXPECT_NE(p->getIncidentTriangle(), nullptr);
}

TEST(Insertion, CollinearOneAtATimeThenOffTheLine) {
    // Each retry tests only the new point against two stored ones (a long run stays linear).
    struct Case {
        const char* name;
        bool bShuffle;
        bool bLeadingDuplicates;
    };
    for (const Case& c : {Case{"along the line", false, false}, Case{"shuffled", true, false},
                          Case{"duplicates first", true, true}}) {
        std::vector<Point2> v;
        if (c.bLeadingDuplicates) v.assign(3, Point2(-3.0, 9.0));
        for (int i = 0; i < 3000; ++i) v.emplace_back(3.0 * i, 7.0 - 2.0 * i);
        if (c.bShuffle) std::shuffle(v.begin() + 1, v.end(), std::mt19937(5));
        v.push_back(v[17]);
        Lumo_2D dt;
        std::set<Point2*> sHandles;
        for (const Point2& p : v) sHandles.insert(dt.insert(p));
        EXPECT_FALSE(dt.is2D()) << c.name;
        EXPECT_EQ(dt.numberOfPoints(), sHandles.size()) << c.name;
        v.emplace_back(1.0, 1.0);
        dt.insert(v.back());
        EXPECT_TRUE(dt.is2D()) << c.name;
        EXPECT_EQ(dt.numberOfTriangles(), sHandles.size() - 1) << c.name;
        EXPECT_EQ(checkDelaunayTriangulation(v, triangles(dt)), "") << c.name;
    }
}

TEST(Insertion, EmptyAndTinyInputs) {
    Lumo_2D dt;
    dt.insert(std::vector<Point2>());
    EXPECT_EQ(dt.numberOfPoints(), 0u);
    for (const Point2& p : {Point2(1, 1), Point2(2, 2)}) dt.insert(p);
    EXPECT_FALSE(dt.is2D());
    dt.insert(Point2(2, 1));
    EXPECT_TRUE(dt.is2D());
    EXPECT_EQ(dt.numberOfTriangles(), 1u);
}

// ---- degenerate configurations -----------------------------------------------------------------------------

namespace {
std::vector<Point2> grid(int n) {
    std::vector<Point2> v;
    for (int i = 0; i < n; ++i)
        for (int j = 0; j < n; ++j) v.emplace_back(i, j);
    return v;
}
// Exactly cocircular: the integer points on the circle of radius 5^4, optionally its centre.
std::vector<Point2> circle(bool bCentre) {
    std::vector<Point2> v;
    const int r = 625;
    for (int x = -r; x <= r; ++x) {
        const int y2 = r * r - x * x, y = int(std::lround(std::sqrt(double(y2))));
        if (y * y != y2) continue;
        v.emplace_back(x, y);
        if (y != 0) v.emplace_back(x, -y);
    }
    if (bCentre) v.emplace_back(0, 0);
    return v;
}
std::vector<Point2> collinearPlusOne() {
    std::vector<Point2> v;
    for (int i = 0; i < 300; ++i) v.emplace_back(i, 2 * i + 1);
    v.emplace_back(10.0, -3.0);
    return v;
}
// Random points and a grid at one scale: exact degeneracies at huge or tiny magnitudes.
std::vector<Point2> scaled(double scale) {
    std::vector<Point2> v = randomPoints(800, 11);
    for (Point2& p : v) p = Point2(p.x() * scale, p.y() * scale);
    for (int i = 0; i < 10; ++i)
        for (int j = 0; j < 10; ++j) v.emplace_back(i * 0.1 * scale, j * 0.1 * scale);
    return v;
}
std::vector<Point2> clusters() {
    std::mt19937_64 rng(17);
    std::normal_distribution<double> nd(0.0, 1e-4);
    const std::vector<Point2> centres = randomPoints(20, 12);
    std::vector<Point2> v;
    for (int i = 0; i < 10000; ++i) {
        const Point2& c = centres[size_t(i) % centres.size()];
        v.emplace_back(c.x() + nd(rng), c.y() + nd(rng));
    }
    return v;
}
} // namespace

// ---- bad input ------------------------------------------------------------------------------------------------

TEST(Insertion, NonFinitePointsAreRefusedWithOneWarningEach) {
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const double inf = std::numeric_limits<double>::infinity();
    std::vector<Point2> v = randomPoints(100, 13);
    v[5] = Point2(nan, 0.5);
    v[50] = Point2(0.5, -inf);
    Lumo_2D dt;
    std::vector<Point2*> vHandles;
    testing::internal::CaptureStdout();
    dt.insert(v, vHandles);
    const std::string out = testing::internal::GetCapturedStdout();
    EXPECT_EQ(out,
              "\n      [Lumo2D-Message] Dt2::insert(), WARNING: point (nan, 0.5) has a NaN or infinite coordinate "
              "and is ignored\n\n"
              "\n      [Lumo2D-Message] Dt2::insert(), WARNING: point (0.5, -inf) has a NaN or infinite coordinate "
              "and is ignored\n\n");
    EXPECT_EQ(vHandles[5], nullptr);
    EXPECT_EQ(vHandles[50], nullptr);
    EXPECT_EQ(dt.numberOfPoints(), 98u);
    EXPECT_EQ(checkDelaunayTriangulation(v, triangles(dt)), "");
    testing::internal::CaptureStdout();
    EXPECT_EQ(dt.insert(Point2(inf, inf)), nullptr);
    double xy[6] = {0.1, 0.2, nan, nan, 0.3, 0.9};
    Point2* aHandles[3];
    dt.insert(3, xy, aHandles);
    EXPECT_TRUE(dt.checkValidity(true, "after bad input"));
    testing::internal::GetCapturedStdout();
    EXPECT_EQ(aHandles[1], nullptr);
    EXPECT_NE(aHandles[0], nullptr);
    EXPECT_NE(aHandles[2], nullptr);
}

// ---- settings ---------------------------------------------------------------------------------------------

TEST(Insertion, NumCpuPolicyAndBulkInsertionStillValid) {
    Lumo_2D dt;
    EXPECT_EQ(dt.getNumCPU(), 1);
    EXPECT_EQ(dt.setNumCPU(3), 3);
    EXPECT_EQ(dt.setNumCPU(-2), 1);
    EXPECT_GE(dt.setNumCPU(0), 1);
    dt.enableMultithreading();
    EXPECT_GE(dt.getNumCPU(), 1);
    dt.setNumCPU(4);
    const std::vector<Point2> v = randomPoints(5000, 21);
    dt.insert(v);
    EXPECT_EQ(checkDelaunayTriangulation(v, triangles(dt)), "");
}

// ---- progress ----------------------------------------------------------------------------------------------

namespace {
struct ProgressLog : public MsgBase {
    std::vector<std::pair<std::string, double>> v;
    void update(MsgType, const std::string& text, double value) override { v.emplace_back(text, value); }
};
} // namespace

TEST(Insertion, BulkInsertionReportsProgress) {
    Lumo_2D dt;
    ProgressLog log;
    dt.subscribe(MSG_PROGRESS, &log);
    dt.insert(randomPoints(1000, 31));
    ASSERT_FALSE(log.v.empty());
    EXPECT_EQ(log.v.back(), std::make_pair(std::string("insert vertices"), 1.0));
    for (size_t i = 1; i < log.v.size(); ++i) EXPECT_GE(log.v[i].second, log.v[i - 1].second);
    dt.unsubscribe(MSG_PROGRESS, &log);
    const size_t n = log.v.size();
    dt.insert(randomPoints(100, 32));
    EXPECT_EQ(log.v.size(), n);
}

// The vertices stored before the triangulation starts go in first, then the new ones.
TEST(Insertion, EarlierVertexSurvivesWhenTheTriangulationBecomesTwoDimensional) {
    Lumo_2D dt;
    std::vector<Point2*> h1, h2;
    std::vector<Point2> line;
    for (int i = 0; i < 40; ++i) line.emplace_back(i, i);
    dt.insert(line, h1);
    ASSERT_FALSE(dt.is2D());
    // Every old point again (in reverse), plus one point off the line.
    std::vector<Point2> again(line.rbegin(), line.rend());
    again.emplace_back(3, -5);
    dt.insert(again, h2);
    ASSERT_TRUE(dt.is2D());
    for (size_t i = 0; i < line.size(); ++i) {
        EXPECT_EQ(h2[line.size() - 1 - i], h1[i]);
        EXPECT_NE(h1[i]->getIncidentTriangle(), nullptr);
    }
    EXPECT_EQ(dt.numberOfPoints(), 41u);
    testing::internal::CaptureStdout();
    EXPECT_TRUE(dt.checkValidity(true, "survivors"));
    testing::internal::GetCapturedStdout();
}


// ---- one triangulation growing in batches ---------------------------------------------------------

namespace {
struct Batch {
    std::vector<Point2> v;
    bool bBulk;
};
// Every edge midpoint of the Delaunay triangulation of v (exact for even integer coordinates).
std::vector<Point2> edgeMidpoints(const std::vector<Point2>& v) {
    Lumo_2D dt;
    dt.insert(v);
    std::set<std::pair<double, double>> sMid;
    for (Triangle2* pT : triangles(dt))
        for (int i = 0; i < 3; ++i) {
            const Point2 *a = pT->getCorner((i + 1) % 3), *b = pT->getCorner((i + 2) % 3);
            sMid.insert(std::make_pair(0.5 * (a->x() + b->x()), 0.5 * (a->y() + b->y())));
        }
    std::vector<Point2> mids;
    for (const auto& m : sMid) mids.emplace_back(m.first, m.second);
    return mids;
}
std::vector<std::vector<Batch>> growthCases(std::vector<std::string>& vNames) {
    std::vector<std::vector<Batch>> vCases;
    auto add = [&](const char* name) { vNames.push_back(name); vCases.emplace_back(); return &vCases.back(); };
    // Degenerate configurations in one bulk call.
    const std::pair<const char*, std::vector<Point2>> aBulk[] = {
        {"grid", grid(60)}, {"circle", circle(false)}, {"circle with centre", circle(true)},
        {"collinear plus one", collinearPlusOne()}, {"huge", scaled(1e150)}, {"tiny", scaled(1e-150)},
        {"clusters", clusters()}};
    for (const auto& c : aBulk) add(c.first)->push_back({c.second, true});
    // Each batch further out: the key box grows and the vault re-keys.
    std::vector<Batch>* c = add("growing bulk calls");
    for (unsigned k = 0; k < 5; ++k) c->push_back({randomPoints(500, 100 + k, -std::pow(4.0, k), std::pow(4.0, k)), true});
    // Diagonal midpoint, edge midpoints on the hull, points on hull lines beyond the hull.
    c = add("points on edges and hull lines");
    c->push_back({{Point2(0, 0), Point2(4, 0), Point2(4, 4), Point2(0, 4)}, true});
    for (const Point2& p : {Point2(2, 2), Point2(2, 0), Point2(4, 2), Point2(1, 1), Point2(6, 0), Point2(-2, 0),
                            Point2(0, 9), Point2(3, 3), Point2(2, 4), Point2(0, 2)})
        c->push_back({{p}, false});
    // Far points force re-keying; points between them and the cluster still find their place.
    c = add("far outside points");
    c->push_back({randomPoints(300, 9), true});
    for (double f : {10.0, -1e3, 1e6, -1e9}) c->push_back({{Point2(f, 0.5 * f)}, false});
    c->push_back({randomPoints(300, 10, -1e3, 1e3), false});
    // The grid in row order, one at a time (long walks along hull lines).
    add("grid one at a time")->push_back({grid(60), false});
    // Every point outside the hull of the previous ones and beyond the vault's sorted run.
    c = add("outward path");
    c->push_back({{}, false});
    for (int i = 0; i < 20000; ++i) c->back().v.emplace_back(i * 1.0, (i % 7) * 0.5 + i * 0.001);
    // Midpoints of all edges land exactly on edges: half one by one, the rest in bulk.
    std::mt19937 rng(8);
    std::vector<Point2> v;
    for (int i = 0; i < 300; ++i) v.emplace_back(2 * int(rng() % 200), 2 * int(rng() % 200));
    const std::vector<Point2> mids = edgeMidpoints(v);
    const auto half = mids.begin() + long(mids.size() / 2);
    *add("edge midpoints") = {{v, true}, {std::vector<Point2>(mids.begin(), half), false},
                              {std::vector<Point2>(half, mids.end()), true}};
    // Heavy duplicates in bulk, then the same points again: nothing new.
    std::vector<Point2> vDup;
    const std::vector<Point2> base = randomPoints(200, 5);
    for (int i = 0; i < 5000; ++i) vDup.push_back(base[rng() % base.size()]);
    *add("heavy duplicates") = {{vDup, true}, {vDup, true}};
    // Alternating bulk and single rounds at three scales, with duplicates of earlier points.
    c = add("mixed rounds");
    std::mt19937_64 rng64(99);
    std::uniform_real_distribution<double> d(0, 1);
    std::vector<Point2> all;
    for (int round = 0; round < 6; ++round) {
        const double scale = std::pow(10.0, round % 3);
        std::vector<Point2> b;
        for (int i = 0; i < 400; ++i) b.emplace_back(scale * d(rng64), scale * d(rng64));
        for (int i = 0; i < 50; ++i) b.push_back(all.empty() ? b[size_t(i)] : all[rng64() % all.size()]);
        all.insert(all.end(), b.begin(), b.end());
        c->push_back({b, round % 2 == 0});
    }
    return vCases;
}
} // namespace

TEST(Insertion, GrowingInBatchesStaysDelaunay) {
    std::vector<std::string> vNames;
    const std::vector<std::vector<Batch>> vCases = growthCases(vNames);
    for (size_t c = 0; c < vCases.size(); ++c) {
        Lumo_2D dt;
        std::vector<Point2> all;
        for (size_t k = 0; k < vCases[c].size(); ++k) {
            const Batch& b = vCases[c][k];
            if (b.bBulk) {
                std::vector<Point2*> h;
                dt.insert(b.v, h);
                for (size_t i = 0; i < b.v.size(); ++i) ASSERT_EQ(*h[i], b.v[i]) << vNames[c];
            } else {
                for (const Point2& p : b.v) {
                    const Point2* pV = dt.insert(p);
                    ASSERT_NE(pV, nullptr) << vNames[c];
                    ASSERT_EQ(*pV, p) << vNames[c];
                }
            }
            all.insert(all.end(), b.v.begin(), b.v.end());
            ASSERT_EQ(checkDelaunayTriangulation(all, triangles(dt)), "") << vNames[c] << ", batch " << k;
        }
        testing::internal::CaptureStdout();
        EXPECT_TRUE(dt.checkValidity(true, vNames[c].c_str()));
        testing::internal::GetCapturedStdout();
    }
}
