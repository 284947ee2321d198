// A bounded random driver: random bytes to the file readers, random degenerate point sets to
// insertion and random degenerate segment sets to the segment checker, every result checked
// against an independent answer. The number of rounds is fixed for the suite; set
// LUMO2D_FUZZ_ROUNDS (and LUMO2D_FUZZ_SEED) to run longer or elsewhere.
#include <gtest/gtest.h>
#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iostream>
#include <random>
#include <sstream>
#include "DelaunayOracle.h"
#include "Lumo_2D.h"
#include "MessageText.h"
#include "ScopedTempDir.h"
#include "segmentOracle.h"

using namespace ORBI_LUMO2D;

namespace {
size_t envOr(const char* name, size_t fallback) {
    const char* v = std::getenv(name);
    return v != nullptr ? size_t(std::strtoull(v, nullptr, 10)) : fallback;
}
const size_t numRounds = envOr("LUMO2D_FUZZ_ROUNDS", 60);
const unsigned baseSeed = unsigned(envOr("LUMO2D_FUZZ_SEED", 20261123));

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
