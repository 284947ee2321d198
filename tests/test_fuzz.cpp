// A bounded random driver: random bytes to the file readers, random degenerate point sets to
// insertion and random degenerate segment sets to the segment checker, every result checked
// against an independent answer. The number of rounds is fixed for the suite; set
// LUMO2D_FUZZ_ROUNDS (and LUMO2D_FUZZ_SEED) to run longer or elsewhere. Each workflow has its
// own generator, so LUMO2D_FUZZ_FIRST_WORKFLOW replays a failed one without those before it.
#include <gtest/gtest.h>
#include <algorithm>
#include <array>
#include <cfloat>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iostream>
#include <map>
#include <memory>
#include <random>
#include <set>
#include <sstream>
#include "DelaunayOracle.h"
#include "Lumo_2D.h"
#include "MessageText.h"
#include "ScopedTempDir.h"
#include "MeshChecks.h"
#include "TriangulationBuilders.h"
#include "segmentOracle.h"

using namespace ORBI_LUMO2D;

namespace {
size_t envOr(const char* name, size_t fallback) {
    const char* v = std::getenv(name);
    return v != nullptr ? size_t(std::strtoull(v, nullptr, 10)) : fallback;
}
const size_t numRounds = envOr("LUMO2D_FUZZ_ROUNDS", 60);
const unsigned baseSeed = unsigned(envOr("LUMO2D_FUZZ_SEED", 20261123));
const size_t firstWorkflow = envOr("LUMO2D_FUZZ_FIRST_WORKFLOW", 0);

// The library's messages are expected here; they would only drown a failure.
struct Silence {
    std::ostringstream sink;
    std::streambuf* old{std::cout.rdbuf(sink.rdbuf())};
    ~Silence() { std::cout.rdbuf(old); }
};

// Coordinates that make predicates work: a small integer grid (duplicates, collinear runs,
// cocircular squares), scaled to huge or tiny magnitudes or shifted far from the origin, and
// now and then a value that is not finite.
struct Shape {
    std::mt19937& rng;
    int grid = std::uniform_int_distribution<int>(1, 8)(rng);
    double scale = std::array<double, 6>{1.0, 0x1p-40, 0x1p+40, 0.1, 1e-300, 1e300}[rng() % 6];
    double shift = std::array<double, 4>{0.0, 1e15, -3.5, 0x1p+52}[rng() % 4];
    double operator()() {
        std::uniform_int_distribution<int> cell(0, grid), rare(0, 199);
        const int r = rare(rng);
        return r == 0 ? std::nan("") : r == 1 ? HUGE_VAL : r == 2 ? -HUGE_VAL : shift + scale * cell(rng);
    }
};
} // namespace

// ---- file readers -------------------------------------------------------------------------------

TEST(Fuzz, FileReadersOnRandomBytes) {
    lumo_test::ScopedTempDir tmp;
    std::mt19937 rng(baseSeed);
    for (size_t round = 0; round < numRounds * 4; ++round) {
        SCOPED_TRACE("round " + std::to_string(round) + ", seed " + std::to_string(baseSeed));
        // A header that is sometimes right, a count that is sometimes honest, any payload.
        const int32_t aTypes[] = {20, 21, 30, 31, int32_t(rng())};
        const int32_t type = aTypes[rng() % 5];
        const size_t recordDoubles = (type == 20 ? 2 : type == 30 ? 3 : type == 21 ? 4 : 6);
        const size_t numRecords = rng() % 6;
        uint64_t count = rng() % 3 == 0 ? uint64_t(rng()) << (rng() % 40) : numRecords;
        std::vector<char> bytes(rng() % 3 == 0 ? rng() % 12 : 12 + numRecords * recordDoubles * 8 + rng() % 3 * (rng() % 9));
        for (char& c : bytes) c = char(rng());
        if (bytes.size() >= 4) std::memcpy(bytes.data(), &type, 4);
        if (bytes.size() >= 12) std::memcpy(bytes.data() + 4, &count, 8);
        lumo_test::writeFile("f.bin", std::string(bytes.begin(), bytes.end()));

        // What the format says the readers must answer.
        const bool bPoints = type == 20 || type == 30, bSegments = type == 21 || type == 31;
        const uint64_t recordBytes = recordDoubles * 8;
        const uint64_t available = bytes.size() >= 12 ? (bytes.size() - 12) / recordBytes : 0;
        const bool bComplete = bytes.size() >= 12 && count <= available;
        std::vector<Point2> vPoints, vGarbage;
        std::vector<Segment2> vSegments;
        bool okPoints = false, okSegments = false;
        lumo_test::stdoutOf([&] {
            okPoints = readPointsBIN("f.bin", vPoints);
            okSegments = readSegmentsBIN("f.bin", vSegments);
            EXPECT_TRUE(readXY("f.bin", vGarbage));   // the binary file as text: whatever stands there
        });
        EXPECT_EQ(okPoints, bPoints && bComplete);
        EXPECT_EQ(okSegments, bSegments && bComplete);
        const size_t numKept = bytes.size() >= 12 ? size_t(std::min<uint64_t>(count, available)) : 0;
        EXPECT_EQ(vPoints.size(), bPoints ? numKept : 0);
        EXPECT_EQ(vSegments.size(), bSegments ? numKept : 0);
        // Every value read is the one stored, bit for bit (a NaN as that NaN).
        for (size_t i = 0; i < vPoints.size(); ++i) {
            const double xy[2] = {vPoints[i].x(), vPoints[i].y()};
            EXPECT_EQ(std::memcmp(xy, bytes.data() + 12 + i * recordBytes, 16), 0) << i;
        }

        // Text: numbers, words and whitespace; the reader takes the pairs before the first word.
        std::ostringstream text;
        bool bWordSeen = false;
        std::vector<double> vNumbers;
        for (size_t k = rng() % 12; k-- > 0;) {
            const char* aSpace[] = {" ", "\n", "\t", "  \r\n"};
            if (rng() % 6 == 0) {
                text << (rng() % 2 ? "word" : "#x") << aSpace[rng() % 4];
                bWordSeen = true;
                continue;
            }
            const double v = std::ldexp(double(int(rng() % 2001) - 1000), int(rng() % 61) - 30);
            text.precision(17);
            text << v << aSpace[rng() % 4];
            if (!bWordSeen) vNumbers.push_back(v);
        }
        std::ofstream("f.txt") << text.str();
        std::vector<Point2> vXY;
        lumo_test::stdoutOf([&] { EXPECT_TRUE(readXY("f.txt", vXY)); });
        ASSERT_EQ(vXY.size(), vNumbers.size() / 2) << text.str();
        for (size_t i = 0; i < vXY.size(); ++i) EXPECT_EQ(vXY[i], Point2(vNumbers[2 * i], vNumbers[2 * i + 1]));
    }
}

// ---- insertion ----------------------------------------------------------------------------------------

TEST(Fuzz, InsertionOfDegeneratePointSets) {
    std::mt19937 rng(baseSeed + 1);
    for (size_t round = 0; round < numRounds * 4; ++round) {
        SCOPED_TRACE("round " + std::to_string(round) + ", seed " + std::to_string(baseSeed + 1));
        Shape coordinate{rng};
        Lumo_2D dt;
        std::vector<Point2> vFinite;
        Silence quiet;  // refused points are announced
        for (int batch = int(rng() % 4); batch >= 0; --batch) {
            std::vector<Point2> v(rng() % 60);
            for (Point2& p : v) p = Point2(coordinate(), coordinate());
            std::vector<Point2*> vHandles(v.size(), nullptr);
            switch (rng() % 3) {
            case 0:
                for (size_t i = 0; i < v.size(); ++i) vHandles[i] = dt.insert(v[i]);
                break;
            case 1: dt.insert(v, vHandles); break;
            default: {
                std::vector<double> xy;
                for (const Point2& p : v) xy.insert(xy.end(), {p.x(), p.y()});
                dt.insert(int(v.size()), xy.data(), vHandles.data());
            }
            }
            for (size_t i = 0; i < v.size(); ++i) {
                const bool bFinite = std::isfinite(v[i].x()) && std::isfinite(v[i].y());
                if (bFinite) vFinite.push_back(v[i]);
                ASSERT_EQ(vHandles[i] != nullptr, bFinite) << v[i];
                EXPECT_TRUE(!bFinite || *vHandles[i] == v[i]) << v[i];
            }
        }
        std::vector<Triangle2*> vT;
        dt.getTrianglePointers(vT);
        if (dt.is2D()) {
            ASSERT_EQ(lumo_test::checkDelaunayTriangulation(vFinite, vT), "");
        } else {
            std::sort(vFinite.begin(), vFinite.end());
            EXPECT_TRUE(vT.empty());
            EXPECT_EQ(dt.numberOfPoints(), size_t(std::unique(vFinite.begin(), vFinite.end()) - vFinite.begin()));
        }
        // Locating the input finds a triangle with it on its closed boundary or inside.
        for (size_t k = 0; k < 5 && !vFinite.empty(); ++k) {
            const Point2& q = vFinite[rng() % vFinite.size()];
            Triangle2* pT = dt.locate(q);
            ASSERT_EQ(pT != nullptr, dt.is2D());
            if (pT == nullptr) continue;
            for (int i = 0; i < 3; ++i)
                EXPECT_GE(lumo_test::exactOrientation(*pT->getCorner(incIndexBy1(i)), *pT->getCorner(incIndexBy2(i)), q), 0);
        }
    }
}

// ---- workflows ------------------------------------------------------------------------------------

namespace {
// One triangulation through a sequence of operations, with what it must hold after each: the
// vertex at each point (null until the next check when no handle was asked for) and the
// constraint graphs. log names the operations so far.
struct Workflow {
    Lumo_2D dt;
    std::map<Point2, Point2*> mVertices;
    std::vector<Point2> vHistory, vSingles;
    std::vector<ConstraintGraph2*> vGraphs;
    bool bGaveUp = false, bConforming = false, bPending = false;
    std::string log;

    // how: 0 vector with handles, 1 coordinate array, 2 vector without handles, 3 one by one.
    void insert(const std::vector<Point2>& v, unsigned how) {
        log += std::array<const char*, 4>{" vector ", " xy ", " vector without handles ", " single "}[how] + std::to_string(v.size());
        std::vector<Point2*> vH(v.size(), nullptr);
        std::vector<double> xy;
        for (const Point2& p : v) xy.insert(xy.end(), {p.x(), p.y()});
        if (how == 0) dt.insert(v, vH);
        else if (how == 1) dt.insert(int(v.size()), xy.data(), vH.data());
        else if (how == 2) dt.insert(v);
        for (size_t i = 0; how == 3 && i < v.size(); ++i) vH[i] = dt.insert(v[i]);
        if (how == 3) vSingles.insert(vSingles.end(), v.begin(), v.end());
        for (size_t i = 0; i < v.size(); ++i) {
            const bool bFinite = std::isfinite(v[i].x()) && std::isfinite(v[i].y());
            if (how != 2 && (vH[i] != nullptr) != bFinite) ADD_FAILURE() << log << ": the handle of " << v[i];
            if (!bFinite) continue;
            vHistory.push_back(v[i]);
            Point2*& pKnown = mVertices[v[i]];
            if (vH[i] != nullptr && (*vH[i] != v[i] || (pKnown != nullptr && pKnown != vH[i])))
                ADD_FAILURE() << log << ": the handle of " << v[i] << " is " << *vH[i];
            if (pKnown == nullptr) pKnown = vH[i];
        }
    }
    // A closed polygon (bPolygon, counterclockwise) also gets its zone.
    Zone2* constrain(std::vector<Segment2> vSeg, ConstraintInsertionStrategy cis, bool bPolygon) {
        log += std::string(bPolygon ? " polygon " : " segments ") + std::to_string(vSeg.size()) + (cis ? " constrained" : " conforming");
        ConstraintGraph2* pG = dt.createConstraint(vSeg, cis, bPolygon);
        bConforming |= cis == CIS_CONFORMING_DELAUNAY;
        bPending |= pG != nullptr && !dt.is2D();
        if (pG != nullptr) vGraphs.push_back(pG);
        return bPolygon && dt.is2D() && pG != nullptr && pG->isPolygon() ? dt.createZone(pG, ZL_INSIDE) : nullptr;
    }
    // Empty when every recorded vertex is alive at its point, no other vertex exists (unless
    // bMayGrow: constraints and refinement add their own), and the triangulation is the
    // (constrained) Delaunay triangulation of them or, when not 2D, has no triangle and its
    // vertices are collinear.
    std::string fault(bool bMayGrow) {
        std::vector<Point2*> vVtx;
        dt.getVertexPointers(vVtx);
        std::map<Point2, Point2*> mNow;
        std::ostringstream err;
        for (Point2* p : vVtx)
            if (!mNow.emplace(*p, p).second) err << "two vertices at " << *p;
        if (dt.numberOfPoints() != mNow.size()) err << "numberOfPoints " << dt.numberOfPoints() << ", vertices " << mNow.size();
        for (auto& e : mVertices) {
            auto it = mNow.find(e.first);
            if (it == mNow.end() || (e.second != nullptr && it->second != e.second)) err << "no vertex behind " << e.first;
            else e.second = it->second;
        }
        if (mNow.size() != mVertices.size() && !bMayGrow) err << mNow.size() - mVertices.size() << " vertices too many";
        if (!err.str().empty()) return err.str();
        mVertices = mNow;
        if (!dt.is2D()) {
            for (auto& e : mNow)
                if (lumo_test::exactOrientation(mNow.begin()->first, mNow.rbegin()->first, e.first) != 0) return "not 2D";
            return dt.numberOfTriangles() == 0 ? "" : "triangles while not 2D";
        }
        if (!bGaveUp) return lumo_test::constrainedFault(dt, vGraphs, "");
        // The library warned that it left conforming pieces out: the rest is still Delaunay
        // across the constrained ones.
        std::vector<ConstraintSegment2*> vS;
        std::vector<lumo_test::CoordEdge> vExempt;
        for (ConstraintGraph2* pG : vGraphs) pG->getChildConstraintSegments(vS);
        for (ConstraintSegment2* s : vS)
            if (s->getCIS() == CIS_CONSTRAINED_DELAUNAY) vExempt.push_back(lumo_test::coordEdge(*s->getSrc(), *s->getTrg()));
        return lumo_test::meshFault(dt, &vExempt);
    }
    // Runs the operation quietly, then the checks; false (and a failure naming the operations
    // so far) when it threw or left a fault.
    template <class Op> bool step(const std::string& where, Op op) {
        std::string said, err;
        {
            Silence quiet;
            try {
                op();
                // Constraints that met a triangulation without triangles wait for this call.
                if (bPending && dt.is2D()) dt.applyConstraintsAndZones();
                bPending &= !dt.is2D();
            } catch (const std::exception& e) {
                err = std::string(e.what()) + "\n" + quiet.sink.str().substr(quiet.sink.str().size() > 1500 ? quiet.sink.str().size() - 1500 : 0);
            }
            said = quiet.sink.str();
        }
        bGaveUp |= said.find("giving up") != std::string::npos || said.find("insufficient numeric") != std::string::npos;
        // Conforming pieces are kept Delaunay by new vertices, also when later points encroach.
        if (err.empty()) err = fault(!vGraphs.empty());
        if (!err.empty()) ADD_FAILURE() << where << log << "\n" << err;
        return err.empty();
    }
};

// Workflow number index of the run with this seed: 3 to 10 random operations, checked after each.
void runWorkflow(unsigned seed, size_t index) {
    std::mt19937 rng(unsigned(seed + 3 + 7919 * index));
    Shape coordinate{rng};
    coordinate.grid = std::array<int, 4>{2, 8, 60, 1000}[rng() % 4];
    const double span = coordinate.scale * coordinate.grid, centre = coordinate.shift + 0.5 * span;
    std::uniform_real_distribution<double> unit(0.0, 1.0);
    Workflow w;
    std::ostringstream box;
    box << " grid " << coordinate.grid << " x " << coordinate.scale << " + " << coordinate.shift;
    w.log = box.str();
    // Degenerate coordinates, uniform doubles over the same box, or earlier points again.
    auto point = [&](unsigned kind) {
        if (kind == 2 && !w.vHistory.empty()) return w.vHistory[rng() % w.vHistory.size()];
        if (kind == 1) return Point2(coordinate.shift + span * unit(rng), coordinate.shift + span * unit(rng));
        return Point2(coordinate(), coordinate());
    };
    const std::string where = "workflow " + std::to_string(index) + ", seed " + std::to_string(seed) + ":";
    bool bOk = true;
    for (size_t numOps = 3 + rng() % 8, op = 0; bOk && op < numOps; ++op) {
        w.log += "; cpu " + std::to_string(w.dt.setNumCPU(1 + int(rng() % 3)));
        const size_t size = std::array<size_t, 4>{0, 1 + rng() % 5, 50 + rng() % 451, 1000 + rng() % 4001}[rng() % 4];
        const unsigned what = rng() % 8, kind = rng() % 3;
        std::vector<Point2> v(what == 3 ? size % 60 : size);
        for (Point2& p : v) p = point(kind);
        if (what <= 3) {
            bOk = w.step(where, [&] { w.insert(v, what); });
        } else if (what == 4) {
            // Points inserted one by one, any inserted point, or any vertex (also added ones).
            std::vector<Point2> vPool(kind == 0 ? w.vSingles : w.vHistory);
            if (kind == 2) vPool.clear();
            for (auto it = w.mVertices.begin(); kind == 2 && it != w.mVertices.end(); ++it) vPool.push_back(it->first);
            std::set<Point2*> sFixed;  // constraint vertices can't be removed
            std::vector<ConstraintSegment2*> vS;
            for (ConstraintGraph2* pG : w.vGraphs) pG->getChildConstraintSegments(vS);
            for (ConstraintSegment2* s : vS) sFixed.insert({s->getSrc(), s->getTrg()});
            w.log += " remove " + std::to_string(size % 200);
            bOk = w.step(where, [&] {
                for (size_t k = size % 200; k-- > 0 && !vPool.empty();) {
                    auto it = w.mVertices.find(vPool[rng() % vPool.size()]);
                    if (it == w.mVertices.end() || it->second == nullptr || sFixed.count(it->second) != 0) continue;
                    w.dt.remove(it->second);
                    w.mVertices.erase(it);
                }
            });
        } else {
            // Segments between vertices and new points, or a star-shaped polygon around the
            // middle of the box (what 7), its zone refined.
            std::vector<Point2> vEnds(what == 7 ? 3 + rng() % 6 : 2 + rng() % 10);
            std::vector<double> vAngle(vEnds.size());
            for (double& a : vAngle) a = 6.283185307179586 * unit(rng);
            std::sort(vAngle.begin(), vAngle.end());
            for (size_t i = 0; i < vEnds.size(); ++i) {
                const double r = span * (0.1 + 0.4 * unit(rng));
                vEnds[i] = what == 7 ? Point2(centre + r * std::cos(vAngle[i]), centre + r * std::sin(vAngle[i])) : point(rng() % 2 * 2);
            }
            std::vector<Segment2> vSeg;
            for (size_t i = 0; i + 1 < vEnds.size(); i += (what == 7 ? 1 : 2)) vSeg.emplace_back(vEnds[i], vEnds[i + 1]);
            if (what == 7) vSeg.emplace_back(vEnds.back(), vEnds[0]);
            // Conforming segments with features far below the resolution of the doubles (a point
            // 2^52 beside a segment 1e300 long) spend each call's whole repair budget, which grows
            // with the vertices: a workflow would take minutes. Single calls are regression rows.
            const ConstraintInsertionStrategy cis = rng() % 2 || span > 1e200 ? CIS_CONSTRAINED_DELAUNAY : CIS_CONFORMING_DELAUNAY;
            bOk = w.step(where, [&] {
                Zone2* pZone = w.constrain(vSeg, cis, what == 7);
                // Far from the origin the doubles form a coarse lattice: refinement would fill it.
                if (pZone == nullptr || span <= 1e-9 * std::abs(coordinate.shift)) return;
                MeshGenParams params(pZone);
                params.minAngleDegree = 20 + double(rng() % 11);
                params.minEdgeLength = span / 1000;
                const double area = span * span / double(20 + rng() % 200);
                params.maxTriangleArea = area > 0 && std::isfinite(area) ? area : DBL_MAX;
                w.log += " refined " + std::to_string(int(params.minAngleDegree));
                w.dt.refineAdvanced(&params);
            });
        }
    }
}
} // namespace

TEST(Fuzz, WorkflowsOfMixedOperations) {
    lumo_test::ScopedTempDir tmp;  // a failed assertion writes its log here
    for (size_t index = firstWorkflow; index < numRounds / 2; ++index) runWorkflow(baseSeed, index);
}

// Workflows of other seeds that once failed, replayed as the generator draws them today (a
// change to the generator makes them other workflows: shrink one to a row below first).
struct WorkflowReplay {
    const char* name;
    unsigned seed;
    size_t index;
};
void PrintTo(const WorkflowReplay& c, std::ostream* os) { *os << c.name; }
class FuzzReplay : public testing::TestWithParam<WorkflowReplay> {};
TEST_P(FuzzReplay, WorkflowStaysValid) {
    lumo_test::ScopedTempDir tmp;
    runWorkflow(GetParam().seed, GetParam().index);
}
const WorkflowReplay aWorkflowReplays[] = {
    // A constraint split point rounded off the segment's two triangles left the old edge
    // standing, not Delaunay, beside vertices within ulps of it (refinement near 1e15).
    {"ConstraintSplitRoundedBesideItsOldEdge", 6, 232},
    // Refinement at 28 degrees chased slivers a few units of the last place wide near 2^52:
    // every rounded circumcenter made new ones, and one pass never ended (out of memory).
    {"RefinementChasingSliversAtThePrecisionLimit", 12, 152},
    // A pending segment was split, when the triangulation became 2D, onto the two vertices of a
    // segment that the same call had withdrawn until its endpoints were in: an assertion.
    {"SplitOntoASegmentWithdrawnByItsOwnCall", 25, 297},
    // Refinement at 27 to 29 degrees beside conforming segments: circumcenters broke held
    // pieces, the repair after each run split them far below minEdgeLength, the next run refined
    // beside the shorter pieces (1.6 million vertices, then out of memory).
    {"RefinementBesideConformingPiecesAtHighAngles", 43, 293},
    // Near 1e-300 the squared edge lengths underflow to zero: refinement measured nothing and
    // walked without end.
    {"RefinementWhereSquaredLengthsUnderflow", 414, 275},
    // Near 1e-300 a crossing rounded off its quadrilateral snapped to the first of the four
    // ends, whose squared distances had all underflowed: a split off the segment, a cycle in
    // its split tree, and memory without end.
    {"CrossingSnappedWhereSquaredDistancesUnderflow", 410, 358},
};
INSTANTIATE_TEST_SUITE_P(Fuzz, FuzzReplay, testing::ValuesIn(aWorkflowReplays),
                         [](const testing::TestParamInfo<WorkflowReplay>& info) { return std::string(info.param.name); });

// Minimal inputs the workflows found: points, conforming segments, a closed polygon (zone)
// and points one by one, in this order, then the zone refined.
struct WorkflowRegression {
    const char* name;
    std::vector<Point2> vPoints;
    std::vector<Segment2> vConforming;
    std::vector<Point2> vRing;   // counterclockwise
    ConstraintInsertionStrategy ringCIS;
    std::vector<Point2> vSingles;
    double minAngle;             // 0: no refinement
    int numCPU;
};
void PrintTo(const WorkflowRegression& c, std::ostream* os) { *os << c.name; }
class FuzzRegression : public testing::TestWithParam<WorkflowRegression> {};

TEST_P(FuzzRegression, WorkflowStaysValid) {
    lumo_test::ScopedTempDir tmp;
    const WorkflowRegression& c = GetParam();
    Workflow w;
    w.dt.setNumCPU(c.numCPU);
    Zone2* pZone = nullptr;
    std::vector<Segment2> vRing;
    for (size_t i = 0; i < c.vRing.size(); ++i) vRing.emplace_back(c.vRing[i], c.vRing[(i + 1) % c.vRing.size()]);
    // One step, as a host would call them: no checks in between.
    EXPECT_TRUE(w.step("", [&] {
        w.insert(c.vPoints, 0);
        if (!c.vConforming.empty()) w.constrain(c.vConforming, CIS_CONFORMING_DELAUNAY, false);
        if (!vRing.empty()) pZone = w.constrain(vRing, c.ringCIS, true);
        w.insert(c.vSingles, 3);
        if (c.minAngle > 0) w.dt.refine(pZone, c.minAngle);
    }));
}

const double lattice = 0x1p52;  // a step of 1 is the finest there
// n points going round the unit square at (x0, x0).
std::vector<Point2> squareCorners(double x0, size_t n) {
    std::vector<Point2> v;
    for (size_t i = 0; i < n; ++i) v.emplace_back(x0 + double(i % 2), x0 + double(i / 2 % 2));
    return v;
}
const WorkflowRegression aWorkflowRegressions[] = {
    // Refinement flipped conforming pieces away, their repair split them again, without end.
    {"RefinementOfZoneCrossedByConformingSegment", {}, {{{1.9375, 3.1875}, {2.875, 2.5}}},
     {{3, 1}, {3, 3}, {1, 3}, {1, 1}}, CIS_CONSTRAINED_DELAUNAY, {}, 20, 1},
    {"RefinementOfConformingPolygonWithAPointOutside", {{4, 0}}, {},
     {{3.6, 1.6}, {2.6, 2.3}, {-2.3, 2.1}, {-1.4, -1.5}}, CIS_CONFORMING_DELAUNAY, {}, 20, 1},
    // Next to pieces at the precision limit every split flipped more of them, and each
    // insertion's repair budget grew with the pieces the previous one had made (out of memory).
    {"InsertionsBesideConformingSegmentsNearOverflow", {{1e300, 1e300}},
     {{{lattice, 1e300}, {1e300, 2e300}}, {{lattice, 2e300}, {2e300, lattice}}, {{2e300, lattice}, {1e300, 1e300}}},
     {}, CIS_CONSTRAINED_DELAUNAY, {{2e300, 2e300}, {lattice, lattice}}, 0, 1},
    // The diagonals of a unit square where the step of the doubles is 1 cross at a corner once
    // rounded: the crossed diagonal was split there and the crossing one never tried again.
    {"ConformingDiagonalsCrossingOnCoarseLattice", {},
     {{{lattice, lattice + 1}, {lattice + 1, lattice}}, {{lattice, lattice}, {lattice + 1, lattice + 1}},
      {{lattice, lattice}, {lattice + 1, lattice}}, {{lattice, lattice + 1}, {lattice + 1, lattice + 1}}},
     {}, CIS_CONSTRAINED_DELAUNAY, {}, 0, 1},
    // The fake box's corners fell on one point where the data's middle rounded onto its edge.
    {"ThreadedBulkOfDuplicatesOnCoarseLattice", squareCorners(lattice, 1000), {}, {}, CIS_CONSTRAINED_DELAUNAY, {}, 0, 2},
};
INSTANTIATE_TEST_SUITE_P(Fuzz, FuzzRegression, testing::ValuesIn(aWorkflowRegressions),
                         [](const testing::TestParamInfo<WorkflowRegression>& info) { return std::string(info.param.name); });

// ---- refinement options ----------------------------------------------------------------------------------

namespace {
// Area bounds a thousand times finer within a tenth of the span of one point.
struct FineNear : MeshGenParams {
    FineNear(Zone2* pZone, Point2 p_, double radius_, double coarse_) : MeshGenParams(pZone), p(p_), radius(radius_), coarse(coarse_) {}
    double getMaxTriangleArea(Triangle2* pT) override {
        const Point2 c = pT->getBarycenter();
        return std::hypot(c.x() - p.x(), c.y() - p.y()) < radius ? 1e-3 * coarse : coarse;
    }
    Point2 p;
    double radius, coarse;
};
} // namespace

// A star-shaped ring with spikes and notches, sometimes a hole, segments (constrained or
// conforming, crossing the ring or not) and points inside and out, refined under options drawn
// from their whole range: angles up to 30 degrees, no or a large minimum edge length, bounds
// that vary by position, growth bounds, a locked piece, splitting off, a grid first.
// Refinement must end and leave the constrained Delaunay triangulation of its vertices; the
// pieces it may not split stay whole, every new vertex lies inside the zone or on a constraint
// piece, and where nothing excuses it every triangle meets the angle bound.
// LUMO2D_FUZZ_FIRST_WORKFLOW replays from a given round.
TEST(Fuzz, RefinementUnderRandomOptions) {
    lumo_test::ScopedTempDir tmp;
    for (size_t round = firstWorkflow; round < numRounds / 2; ++round) {
        std::mt19937 rng(unsigned(baseSeed + 5 + 104729 * round));
        std::uniform_real_distribution<double> unit(0.0, 1.0);
        // A third of the rounds leave out all that excuses a bad triangle: their angles are checked.
        const bool bClean = rng() % 3 == 0;
        const double span = std::array<double, 5>{1.0, 0x1p-40, 0x1p+40, 1e-290, 1e290}[rng() % (bClean ? 3 : 5)];
        const Point2 c(std::array<double, 3>{0.0, -3.5 * span, 1e3 * span}[rng() % 3], 0.0);
        auto star = [&](size_t n, double r0, double r1, bool bSharp) {
            // Gaps below half a turn: the centre is inside, the ring counterclockwise.
            std::vector<Point2> vRing;
            for (size_t i = 0; i < n; ++i) {
                const double a = 6.283185307179586 * (double(i) + 0.4 * unit(rng)) / double(n);
                const unsigned k = rng() % 8;
                const double r = span * (bSharp && k == 0 ? 2 * r1 : bSharp && k == 1 ? r0 : r0 + (r1 - r0) * unit(rng));
                vRing.emplace_back(c.x() + r * std::cos(a), c.y() + r * std::sin(a));
            }
            return vRing;
        };
        std::vector<std::vector<Point2>> vRings{star(3 + rng() % 40, 0.1, 0.45, true)};
        // A hole well inside the ring's nearest edge (in units of the span): the rings must not cross.
        double inner = HUGE_VAL;
        for (size_t i = 0; i < vRings[0].size(); ++i) {
            const Point2 &p = vRings[0][i], &q = vRings[0][(i + 1) % vRings[0].size()];
            const double ax = (p.x() - c.x()) / span, ay = (p.y() - c.y()) / span, bx = (q.x() - c.x()) / span, by = (q.y() - c.y()) / span;
            inner = std::min(inner, std::fabs(ax * by - ay * bx) / std::hypot(bx - ax, by - ay));
        }
        if (rng() % 3 == 0 && inner > 0.02) {
            vRings.push_back(star(3 + rng() % 8, 0.2 * inner, 0.7 * inner, false));
            std::reverse(vRings.back().begin(), vRings.back().end());
        }
        std::vector<Point2> vCloud(rng() % 2 ? rng() % 300 : 0);
        for (Point2& p : vCloud) p = Point2(c.x() + span * (2 * unit(rng) - 1), c.y() + span * (2 * unit(rng) - 1));
        std::vector<Segment2> vInner(rng() % 2 && !bClean ? 1 + rng() % 5 : 0);
        for (Segment2& sg : vInner)
            sg = Segment2(Point2(c.x() + span * (unit(rng) - 0.5), c.y() + span * (unit(rng) - 0.5)),
                          Point2(c.x() + span * (unit(rng) - 0.5), c.y() + span * (unit(rng) - 0.5)));
        const ConstraintInsertionStrategy innerCIS = rng() % 2 ? CIS_CONSTRAINED_DELAUNAY : CIS_CONFORMING_DELAUNAY;
        auto finiteOr = [](double v, double fallback) { return std::isfinite(v) && v > 0 ? v : fallback; };
        const double area = finiteOr(span * span * std::array<double, 4>{HUGE_VAL, 1e-2, 1e-3, 2e-4}[rng() % 4], DBL_MAX);

        Workflow w;
        std::ostringstream os;
        os << " round " << round << " span " << span << ", rings of " << vRings[0].size();
        if (vRings.size() > 1) os << " and " << vRings[1].size();
        w.log = os.str();
        std::unique_ptr<MeshGenParams> pParams;
        std::set<Point2*> sBefore;
        std::vector<ConstraintSegment2*> vMustStay;
        const bool bOk = w.step("refinement options", [&] {
            Zone2* pZone = lumo_test::insertDomain(w.dt, vRings, vCloud, w.vGraphs);
            if (!vInner.empty()) w.constrain(vInner, innerCIS, false);
            if (pZone == nullptr) return;
            pParams.reset(rng() % 5 == 0 ? new FineNear(pZone, vRings[0][0], 0.1 * span, area) : new MeshGenParams(pZone));
            MeshGenParams& params = *pParams;
            params.minAngleDegree = bClean ? 20 : std::array<double, 6>{0, 10, 20, 25, 28.5, 30}[rng() % 6];
            params.minEdgeLength = bClean ? 0 : span * std::array<double, 5>{0, 1e-12, 1e-5, 1e-3, 0.05}[rng() % 5];
            params.maxTriangleArea = area;
            params.maxEdgeLength = finiteOr(span * std::array<double, 3>{HUGE_VAL, 0.3, 0.03}[rng() % 3], DBL_MAX);
            params.allowConstraintSplitting = bClean || rng() % 5 != 0;
            if (!bClean && rng() % 5 == 0) {
                const double a = 6.283185307179586 * unit(rng);
                params.gridLength = span * std::array<double, 2>{0.01, 0.04}[rng() % 2];
                params.gridVector = Vector2(std::cos(a), std::sin(a));
            }
            if (!bClean && rng() % 4 == 0) {
                params.growFactor = std::array<double, 2>{1.5, 4.0}[rng() % 2];
                params.growFactorMinArea = finiteOr(span * span * 1e-5, 0.0);
            }
            std::vector<ConstraintSegment2*> vPieces;
            for (ConstraintGraph2* pG : w.vGraphs)
                if (pG != nullptr) pG->getChildConstraintSegments(vPieces);
            if (!bClean && rng() % 4 == 0 && !vPieces.empty()) params.addLockedConstraint(vPieces[rng() % vPieces.size()]);
            for (ConstraintSegment2* sg : vPieces) {
                const bool bLocked = params.lockedConstraints != nullptr && params.lockedConstraints->count(sg) != 0;
                const double len = std::hypot(sg->getTrg()->x() - sg->getSrc()->x(), sg->getTrg()->y() - sg->getSrc()->y());
                if (sg->getCIS() == CIS_CONSTRAINED_DELAUNAY && (bLocked || !params.allowConstraintSplitting || len <= 2 * params.minEdgeLength))
                    vMustStay.push_back(sg);
            }
            std::vector<Point2*> v;
            w.dt.getVertexPointers(v);
            sBefore.insert(v.begin(), v.end());
            w.log += " refined " + std::to_string(params.minAngleDegree) + " min edge " + std::to_string(params.minEdgeLength / span) +
                     (params.allowConstraintSplitting ? "" : " no splitting") + (params.gridLength > 0 ? " grid" : "");
            w.dt.refineAdvanced(&params);
        });
        if (!bOk || pParams == nullptr) continue;
        for (ConstraintSegment2* sg : vMustStay) EXPECT_TRUE(sg->isAlive()) << w.log << ": a piece refinement may not split was split";
        // Without what may excuse a bad triangle (locked or unsplittable pieces, segments inside,
        // a grid, growth or precision limits), every zone triangle meets an angle bound of 20
        // degrees or touches a ring corner whose own angle is smaller.
        const MeshGenParams& params = *pParams;
        if (bClean) {
            const std::map<std::pair<double, double>, double> mCornerAngle = lumo_test::ringCornerAngles(vRings);
            std::vector<Triangle2*> vZoneT;
            params.pZone->getTriangles(vZoneT);
            for (Triangle2* t : vZoneT) {
                const Point2 &a = *t->getCorner(0), &b = *t->getCorner(1), &c = *t->getCorner(2);
                if (lumo_test::smallestAngle(a, b, c) >= params.minAngleDegree - 1e-9) continue;
                bool bExcused = false;
                for (const Point2* p : {&a, &b, &c}) {
                    const auto it = mCornerAngle.find({p->x(), p->y()});
                    bExcused = bExcused || (it != mCornerAngle.end() && it->second < params.minAngleDegree);
                }
                EXPECT_TRUE(bExcused) << w.log << ": a triangle of smallest angle " << lumo_test::smallestAngle(a, b, c) << ": " << *t;
            }
        }
        std::set<Point2*> sOnPieces;
        std::vector<ConstraintSegment2*> vAlive;
        for (ConstraintGraph2* pG : w.vGraphs)
            if (pG != nullptr) pG->getChildConstraintSegments(vAlive);
        for (ConstraintSegment2* sg : vAlive) sOnPieces.insert({sg->getSrc(), sg->getTrg()});
        std::vector<Point2*> vAfter;
        w.dt.getVertexPointers(vAfter);
        // Split points are rounded, so the border runs within rounding of the rings.
        for (Point2* p : vAfter) {
            if (sBefore.count(p) != 0 || sOnPieces.count(p) != 0 || lumo_test::isInDomain(*p, vRings)) continue;
            const double d = lumo_test::distanceToRings(*p, vRings);
            EXPECT_LE(d, 4 * DBL_EPSILON * (std::fabs(p->x()) + std::fabs(p->y())))
                << w.log << ": a new vertex outside the zone " << *p << ", " << d / span << " spans from its border";
        }
    }
}

// ---- the segment checker ---------------------------------------------------------------------------------

namespace {
// The classification by the checker's own steps for a pair with a zero-length segment: a shared
// endpoint overlaps; otherwise the collinear case needs two distinct endpoints (-1: assertion).
int degenerateOutcome(const Segment2& a, const Segment2& b) {
    const Point2 p1(a.getSrc()), p2(a.getTrg()), p3(b.getSrc()), p4(b.getTrg());
    if (p1 == p3 || p1 == p4 || p2 == p3 || p2 == p4) return SIT_SEGMENT;
    if (p1 == p2) return -1;
    return lumo_test::exactOrientation(p1, p2, p3) != 0 ? SIT_NONE : -1;
}
} // namespace

TEST(Fuzz, SegmentCheckerOnDegenerateSegmentSets) {
    lumo_test::ScopedTempDir tmp;  // the assertions write their log line here
    std::mt19937 rng(baseSeed + 2);
    for (size_t round = 0; round < numRounds; ++round) {
        SCOPED_TRACE("round " + std::to_string(round) + ", seed " + std::to_string(baseSeed + 2));
        Shape coordinate{rng};
        std::vector<Segment2> vStore(rng() % 30);
        for (Segment2& s : vStore) {
            const double x = coordinate(), y = coordinate();
            s = rng() % 8 == 0 ? Segment2(Point2(x, y), Point2(x, y)) : Segment2(Point2(x, y), Point2(coordinate(), coordinate()));
        }
        std::vector<Segment2*> v;
        for (Segment2& s : vStore) v.push_back(rng() % 25 == 0 ? nullptr : &s);
        auto finite = [](const Point2& p) { return std::isfinite(p.x()) && std::isfinite(p.y()); };
        auto usable = [&](const Segment2* s) { return s != nullptr && finite(s->getSrc()) && finite(s->getTrg()); };
        auto degenerate = [](const Segment2* s) { return s->getSrc() == s->getTrg(); };
        Silence quiet;
        SegmentChecker checker(v);
        bool bAnyThrowingPair = false;
        for (size_t i = 0; i < v.size(); ++i) {
            for (size_t j = 0; j < v.size(); ++j) {
                if (i == j) continue;
                if (!usable(v[i]) || !usable(v[j])) {
                    EXPECT_EQ(checker.getIntersectionType(v[i], v[j]), SIT_UNINITIALIZED);
                    continue;
                }
                const int want = degenerate(v[i]) || degenerate(v[j]) ? degenerateOutcome(*v[i], *v[j])
                                                                       : int(lumo_test::classifyExactly(*v[i], *v[j]).type);
                if (want == -1) {
                    // A few per round: each failure writes the log file, which is slow.
                    if (bAnyThrowingPair && rng() % 16 != 0) continue;
                    bAnyThrowingPair = true;
                    EXPECT_THROW(checker.getIntersectionType(v[i], v[j]), LumoException) << *v[i] << " / " << *v[j];
                } else {
                    EXPECT_EQ(checker.getIntersectionType(v[i], v[j]), want) << *v[i] << " / " << *v[j];
                }
            }
        }
        if (bAnyThrowingPair) continue;  // the illegal search would meet that pair too
        // The illegal set by brute force over the usable segments.
        for (bool bEnd : {false, true}) {
            std::vector<Segment2*> out, want;
            checker.getIllegalSegments(bEnd, out);
            for (size_t i = 0; i < v.size(); ++i) {
                if (!usable(v[i]) || std::find(want.begin(), want.end(), v[i]) != want.end()) continue;
                for (size_t j = 0; j < v.size(); ++j) {
                    if (j == i || !usable(v[j]) || v[j] == v[i]) continue;
                    const SegmentIntersectionType t = checker.getIntersectionType(v[i], v[j]);
                    if (t == SIT_POINT || t == SIT_SEGMENT || (bEnd && t == SIT_ENDPOINT)) {
                        want.push_back(v[i]);
                        break;
                    }
                }
            }
            std::sort(out.begin(), out.end());
            std::sort(want.begin(), want.end());
            EXPECT_EQ(out, want);
        }
    }
}
