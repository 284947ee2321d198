// Licence limits: an operation that would pass a limit prints the one message and throws
// LumoLicenseException, and the triangulation is still the Delaunay triangulation of what went
// in before (the independent oracle); up to the limit, and without a licence, nothing stops.
#include <gtest/gtest.h>
#include <cmath>
#include <functional>
#include "DelaunayOracle.h"
#include "ExactPolygons.h"
#include "LicenseCheck.h"
#include "Lumo_2D.h"
#include "MeshChecks.h"
#include "MessageText.h"
#include "ScopedTempDir.h"

using namespace ORBI_LUMO2D;

namespace {

// Every test leaves the process without a licence, as it found it.
struct LicenseScope {
    explicit LicenseScope(const LicenseRecord& rec) { EXPECT_TRUE(setLic(rec)); }
    ~LicenseScope() { setLic(LicenseRecord()); }
};

LicenseRecord acme(size_t maxPoints, size_t maxMeshTriangles, size_t maxCheckedSegments) {
    return {"ACME", "K-0001-ABCD", maxPoints, maxMeshTriangles, maxCheckedSegments};
}

// What f prints, and whether it threw LumoLicenseException.
std::pair<std::string, bool> outputAndThrown(const std::function<void()>& f) {
    bool bThrown = false;
    const std::string out = lumo_test::stdoutOf([&] {
        try {
            f();
        } catch (const LumoLicenseException&) {
            bThrown = true;
        }
    });
    return {out, bThrown};
}

std::string stopped(const std::string& where, const std::string& what, size_t limit, size_t reached) {
    return lumo_test::error(where, "the license of ACME permits at most " + std::to_string(limit) + " " + what +
                                       ", the operation would reach " + std::to_string(reached) + "; it is stopped");
}

std::vector<Segment2> polygon(int n, double r) { return lumo_test::loopSegments(lumo_test::regularPolygon(n, r)); }

struct Row {
    const char* what;
    LicenseRecord rec;
    size_t numBefore;                 // random points inserted before the licence is set
    int numCPU;
    std::function<void(Lumo_2D&, std::vector<Point2>&)> call;   // appends what went in
    std::string expected;             // the exact output
    bool bThrows;
};

TEST(License, LimitsStopOperationsAndLeaveTheTriangulationValid) {
    const std::vector<Point2> vMore = lumo_test::randomPoints(2000, 7, 2.0, 3.0);
    auto insertOne = [&](auto& dt, auto& vIn) { vIn.push_back(vMore[0]); dt.insert(vMore[0]); };
    auto insertVector = [&](size_t n) {
        return [&vMore, n](auto& dt, auto& vIn) {
            const std::vector<Point2> v(vMore.begin(), vMore.begin() + long(n));
            vIn.insert(vIn.end(), v.begin(), v.end());
            dt.insert(v);
        };
    };
    const Row aRows[] = {
        {"vector beyond the limit", acme(100, 0, 0), 50, 1, insertVector(60), stopped("Dt2::insert()", "points", 100, 110), true},
        {"vector up to the limit", acme(100, 0, 0), 50, 1, insertVector(50), "", false},
        {"array beyond the limit", acme(100, 0, 0), 0, 1,
         [&](auto& dt, auto& vIn) {
             std::vector<double> a;
             for (size_t i = 0; i < 101; ++i) a.insert(a.end(), {vMore[i].x(), vMore[i].y()});
             vIn.insert(vIn.end(), vMore.begin(), vMore.begin() + 101);
             dt.insert(101, a.data(), nullptr);
         },
         stopped("Dt2::insert()", "points", 100, 101), true},
        {"single point at the limit", acme(100, 0, 0), 100, 1, insertOne, stopped("Lumo_2D::insert()", "points", 100, 101), true},
        {"single point below the limit", acme(100, 0, 0), 99, 1, insertOne, "", false},
        {"multithreaded beyond the limit", acme(1400, 0, 0), 0, 2, insertVector(1500), stopped("Dt2::insert()", "points", 1400, 1500), true},
        {"multithreaded up to the limit", acme(1500, 0, 0), 0, 2, insertVector(1500), "", false},
        {"a refused NaN point does not count", acme(3, 0, 0), 0, 1,
         [&](auto& dt, auto& vIn) {
             std::vector<Point2> v(vMore.begin(), vMore.begin() + 3);
             vIn = v;
             v.emplace_back(std::nan(""), 1.0);
             dt.insert(v);
         },
         lumo_test::warning("Dt2::insert()", "point (nan, 1) has a NaN or infinite coordinate and is ignored"), false},
        {"constraint endpoints beyond the limit", acme(52, 0, 0), 50, 1,
         [&](auto& dt, auto&) {
             std::vector<Segment2> v = polygon(4, 0.25);
             dt.createConstraint(v, CIS_CONSTRAINED_DELAUNAY);
         },
         stopped("Lumo_2D::createConstraint()", "points", 52, 54), true},
        {"checker beyond the limit", acme(0, 0, 10), 0, 1,
         [&](auto&, auto&) {
             std::vector<Segment2> v = polygon(11, 1.0);
             std::vector<Segment2*> vp;
             for (Segment2& s : v) vp.push_back(&s);
             SegmentChecker checker(vp);
         },
         stopped("SegmentChecker::SegmentChecker()", "checked segments", 10, 11), true},
        {"checker at the limit", acme(0, 0, 10), 0, 1,
         [&](auto&, auto&) { EXPECT_TRUE(isSimplePolygon(polygon(10, 1.0))); }, "", false},
        {"simplicity test beyond the limit", acme(0, 0, 10), 0, 1,
         [&](auto&, auto&) { isSimplePolygon(polygon(12, 1.0)); },
         stopped("SegmentChecker::SegmentChecker()", "checked segments", 10, 12), true},
        {"mesh-generation triangles", acme(0, 500, 0), 0, 1,
         [&](auto&, auto&) {
             EXPECT_TRUE(licenseAllowsTriangles(500, "refine()"));
             EXPECT_FALSE(licenseAllowsTriangles(501, "refine()"));
         },
         stopped("refine()", "mesh-generation triangles", 500, 501), false},
        {"no licence: no limits", LicenseRecord(), 50, 2,
         [&](auto& dt, auto& vIn) {
             insertVector(1500)(dt, vIn);
             EXPECT_TRUE(licenseAllowsTriangles(size_t(-1), "refine()"));
             EXPECT_TRUE(isSimplePolygon(polygon(3000, 1.0)));
         },
         "", false},
    };
    for (const Row& row : aRows) {
        SCOPED_TRACE(row.what);
        Lumo_2D dt;
        dt.setNumCPU(row.numCPU);
        std::vector<Point2> vIn = lumo_test::randomPoints(row.numBefore, 3);
        dt.insert(vIn);
        LicenseScope scope(row.rec);
        std::vector<Point2> vTried = vIn;
        EXPECT_EQ(outputAndThrown([&] { row.call(dt, vTried); }), std::make_pair(row.expected, row.bThrows));
        if (!row.bThrows) vIn = vTried;
        if (vIn.empty()) EXPECT_EQ(dt.numberOfTriangles(), 0u);
        else EXPECT_EQ(lumo_test::checkDelaunayTriangulation(vIn, lumo_test::triangles(dt)), "");
        EXPECT_EQ(dt.numberOfPoints(), vIn.size());
    }
}

// Refinement stops before the step that would pass the limit; what it made so far stays valid.
TEST(License, MeshTriangleLimitStopsRefinementWithAValidMesh) {
    Lumo_2D dt;
    std::vector<Segment2> vSquare = polygon(4, 1.0);
    Zone2* pZone = dt.createZone(dt.createConstraint(vSquare, CIS_CONSTRAINED_DELAUNAY, true), ZL_INSIDE);
    ASSERT_NE(pZone, nullptr);
    LicenseScope scope(acme(0, 200, 0));
    const auto [out, bThrown] = outputAndThrown([&] { dt.refine(pZone, 20.0, 1e-6, 0.01, true); });
    EXPECT_TRUE(bThrown);
    EXPECT_NE(out.find("the license of ACME permits at most 200 mesh-generation triangles"), std::string::npos) << out;
    EXPECT_LE(dt.numberOfTriangles(), 200u);
    EXPECT_GT(dt.numberOfTriangles(), 150u);
    EXPECT_TRUE(dt.checkValidity(true, "licence"));
}

TEST(License, RecordIsKeptPrintedAndShownInDrawings) {
    const std::string head = getLumo2DVersion() + ", open source under the MIT license\n";
    EXPECT_EQ(lumo_test::stdoutOf([] { printLicense(); }), head + "  no license record registered: no limits\n");
    // (A record without a licensee is refused: a row of the misuse table.)
    LicenseRecord rec = acme(1000, 0, 20);
    rec.licensee = "ACME (Europe)";
    LicenseScope scope(rec);
    EXPECT_EQ(lumo_test::stdoutOf([] { printLicense(); }),
              head + "  licensed to: ACME (Europe)\n  key: *******ABCD\n"
                     "  limits: points 1000, mesh-generation triangles none, checked segments 20\n");
    // The edition line of drawings names the licensee (escaped for PostScript).
    lumo_test::ScopedTempDir tmp;
    Lumo_2D dt;
    dt.insert(lumo_test::randomPoints(10, 1));
    EXPECT_EQ(lumo_test::meshFault(dt), "");
    dt.show(tmp.file("a.ps"));
    EXPECT_NE(lumo_test::readFile(tmp.file("a.ps")).find("licensed to ACME \\(Europe\\))"), std::string::npos);
}

} // namespace
