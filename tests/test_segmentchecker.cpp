// The segment checker: the classification of each kind of meeting, the messages, progress,
// and randomized comparisons with an exact all-pairs classification on degenerate data.
#include <gtest/gtest.h>
#include <algorithm>
#include <array>
#include <cmath>
#include <memory>
#include <random>
#include <string>
#include <vector>
#include "Lumo_2D.h"
#include "MessageText.h"
#include "ScopedTempDir.h"
#include "segmentOracle.h"

using namespace ORBI_LUMO2D;
using lumo_test::classifyExactly;
using lumo_test::ExactMeeting;

namespace {
using lumo_test::warning;

// Owns a set of segments and hands out the pointer vector the checker takes.
struct SegmentSet {
    std::vector<std::unique_ptr<Segment2>> vOwned;
    std::vector<Segment2*> vPointers;
    SegmentSet(std::initializer_list<std::array<double, 4>> l = {}) {
        for (const auto& c : l) add(c[0], c[1], c[2], c[3]);
    }
    Segment2* add(double x0, double y0, double x1, double y1) {
        vOwned.emplace_back(new Segment2(Point2(x0, y0), Point2(x1, y1)));
        vPointers.push_back(vOwned.back().get());
        return vPointers.back();
    }
    Segment2* operator[](size_t i) const { return vPointers[i]; }
};
// ---- random data of increasing degeneracy ----------------------------------------------------

void randomShortSegments(SegmentSet& s, size_t n, unsigned seed) {
    std::mt19937 rng(seed);
    std::uniform_real_distribution<double> pos(0.0, 1.0), step(-0.15, 0.15);
    for (size_t i = 0; i < n; ++i) {
        const double x = pos(rng), y = pos(rng);
        s.add(x, y, x + step(rng), y + step(rng));
    }
}

// Segments between points of a small pool: many shared endpoints, stars and repeated segments.
void sharedEndpointSegments(SegmentSet& s, size_t n, unsigned seed) {
    std::mt19937 rng(seed);
    std::uniform_real_distribution<double> pos(0.0, 1.0);
    std::vector<Point2> pool;
    for (int i = 0; i < 25; ++i) pool.emplace_back(pos(rng), pos(rng));
    std::uniform_int_distribution<size_t> pick(0, pool.size() - 1);
    while (s.vPointers.size() < n) {
        const size_t i = pick(rng), j = pick(rng);
        if (i == j) continue;
        s.add(pool[i].x(), pool[i].y(), pool[j].x(), pool[j].y());
    }
}

// Pieces of a few lines through a common point: chains that touch, overlap, contain each
// other, and cross the other lines. The first lines are exact in binary, the last ones not,
// so their points are only nearly collinear.
void collinearChains(SegmentSet& s, size_t n, unsigned seed) {
    std::mt19937 rng(seed);
    const double dirs[][2] = {{1.0, 0.0}, {0.0, 0.5}, {0.375, 0.625}, {-3.0, 7.0}, {0.1, 0.3}, {1.0 / 3.0, 1.0}};
    std::uniform_int_distribution<int> line(0, 5), k(-12, 12), len(1, 4);
    for (size_t i = 0; i < n; ++i) {
        const double* d = dirs[line(rng)];
        const int k0 = k(rng), k1 = k0 + len(rng);
        s.add(2.0 + k0 * d[0], 1.0 + k0 * d[1], 2.0 + k1 * d[0], 1.0 + k1 * d[1]);
    }
}

// Integer coordinates on a small grid: shared endpoints, T-junctions and collinear overlaps
// everywhere. Single-point segments are left out: classifying one against a segment on its
// line is a precondition failure (see the ClassificationTable).
void integerGridSegments(SegmentSet& s, size_t n, unsigned seed, double offset) {
    std::mt19937 rng(seed);
    std::uniform_int_distribution<int> c(0, 5);
    while (s.vPointers.size() < n) {
        const double x0 = offset + c(rng), y0 = offset + c(rng), x1 = offset + c(rng), y1 = offset + c(rng);
        if (x0 != x1 || y0 != y1) s.add(x0, y0, x1, y1);
    }
}

// Every pair against the exact classification, with the meeting point or shared piece;
// then the illegal sets and the intersectors of every segment against brute force.
// Returns how many pairs of each kind the data holds, so that a test can insist that its data
// really exercises the kinds it is meant for.
std::vector<size_t> compareWithExactClassification(SegmentSet& s) {
    SegmentChecker checker(s.vPointers);
    const std::vector<Segment2*>& v = s.vPointers;
    std::vector<std::vector<SegmentIntersectionType>> expected(v.size(), std::vector<SegmentIntersectionType>(v.size()));
    std::vector<size_t> counts(5, 0);
    for (size_t i = 0; i < v.size(); ++i) {
        for (size_t j = i + 1; j < v.size(); ++j) {
            const ExactMeeting m = classifyExactly(*v[i], *v[j]);
            expected[i][j] = expected[j][i] = m.type;
            ++counts[m.type];
            const SegmentIntersectionType got = checker.getIntersectionType(v[i], v[j]);
            EXPECT_EQ(got, m.type) << *v[i] << " / " << *v[j];
            EXPECT_EQ(checker.getIntersectionType(v[j], v[i]), m.type) << *v[j] << " / " << *v[i];
            if (got != m.type) continue;
            if (m.type == SIT_POINT || m.type == SIT_ENDPOINT) {
                Point2 ip;
                EXPECT_TRUE(checker.getIntersectionPoint(m.type, *v[i], *v[j], ip));
                EXPECT_TRUE(lumo_test::isWithinOneRounding(ip.x(), m.x) && lumo_test::isWithinOneRounding(ip.y(), m.y))
                    << *v[i] << " / " << *v[j] << " -> " << ip;
                if (m.type == SIT_ENDPOINT) {  // the shared endpoint itself, not a rounded one
                    EXPECT_EQ(lumo_test::cmp(lumo_test::Rational(ip.x()), m.x), 0);
                    EXPECT_EQ(lumo_test::cmp(lumo_test::Rational(ip.y()), m.y), 0);
                }
            } else if (m.type == SIT_SEGMENT) {
                Segment2 piece;
                EXPECT_TRUE(checker.getIntersectionSegment(*v[i], *v[j], piece));
                EXPECT_EQ(piece, Segment2(m.pieceA, m.pieceB)) << *v[i] << " / " << *v[j];
            }
        }
    }

    // Brute force: the intersectors of each segment, and the illegal ones are those that have any.
    for (bool bEnd : {false, true}) {
        std::vector<Segment2*> out, wantIllegal;
        checker.getIllegalSegments(bEnd, out);
        std::vector<std::pair<Segment2*, SegmentIntersectionType>> intersectors, want;
        for (size_t i = 0; i < v.size(); ++i) {
            checker.getIntersectors(v[i], bEnd, intersectors);
            want.clear();
            for (size_t j = 0; j < v.size(); ++j) {
                const SegmentIntersectionType t = expected[i][j];
                if (j != i && (t == SIT_POINT || t == SIT_SEGMENT || (bEnd && t == SIT_ENDPOINT))) want.emplace_back(v[j], t);
            }
            EXPECT_EQ(intersectors, want) << "segment " << i;
            if (!want.empty()) wantIllegal.push_back(v[i]);
        }
        EXPECT_EQ(out, wantIllegal) << "bAlsoEndPointIntersections=" << bEnd;
    }
    return counts;
}
} // namespace

// ---- classification of each kind of meeting ---------------------------------------------------------

TEST(SegmentChecker, TypeStringsAreTheEnumeratorNames) {
    const char* aNames[] = {"SIT_UNINITIALIZED", "SIT_NONE", "SIT_SEGMENT", "SIT_POINT", "SIT_ENDPOINT", "UNKNOWN SIT"};
    for (int i = 0; i <= 5; ++i) EXPECT_EQ(getIntersectionTypeString(SegmentIntersectionType(i)), aNames[i]);
}

namespace {
// Marks an outcome that is the failed assertion named in the row instead of a type.
const int FAILS = -1;
struct PairCase {
    const char* what;
    double a[4], b[4];
    int ab, ba;  // type of (a, b) and of (b, a), or FAILS
    const char* aConditions[2];  // the failing conditions of the two orders
};
const PairCase aPairCases[] = {
    {"an X", {0, 0, 2, 2}, {0, 2, 2, 0}, SIT_POINT, SIT_POINT, {}},
    {"shared endpoint at an angle", {0, 0, 2, 0}, {0, 0, 1, 1}, SIT_ENDPOINT, SIT_ENDPOINT, {}},
    {"shared endpoint, both reversed", {2, 0, 0, 0}, {1, 1, 0, 0}, SIT_ENDPOINT, SIT_ENDPOINT, {}},
    {"T-junction", {0, 0, 4, 0}, {2, 0, 2, 3}, SIT_POINT, SIT_POINT, {}},
    {"T-junction, reversed stem", {0, 0, 4, 0}, {2, 3, 2, 0}, SIT_POINT, SIT_POINT, {}},
    {"endpoint on a diagonal", {0, 0, 4, 4}, {1, 1, 3, 0}, SIT_POINT, SIT_POINT, {}},
    {"on the line beyond the segment", {0, 0, 4, 4}, {5, 5, 6, 0}, SIT_NONE, SIT_NONE, {}},
    {"collinear overlap", {0, 0, 2, 0}, {1, 0, 3, 0}, SIT_SEGMENT, SIT_SEGMENT, {}},
    {"collinear touch", {0, 0, 1, 0}, {1, 0, 2, 0}, SIT_ENDPOINT, SIT_ENDPOINT, {}},
    {"collinear apart", {0, 0, 1, 0}, {2, 0, 3, 0}, SIT_NONE, SIT_NONE, {}},
    {"containment", {0, 0, 3, 0}, {1, 0, 2, 0}, SIT_SEGMENT, SIT_SEGMENT, {}},
    {"shared end, same direction", {0, 0, 2, 0}, {0, 0, 1, 0}, SIT_SEGMENT, SIT_SEGMENT, {}},
    {"the same segment reversed", {0, 0, 2, 0}, {2, 0, 0, 0}, SIT_SEGMENT, SIT_SEGMENT, {}},
    {"vertical overlap", {0, 0, 0, 2}, {0, 1, 0, 3}, SIT_SEGMENT, SIT_SEGMENT, {}},
    {"vertical apart", {0, 0, 0, 1}, {0, 2, 0, 3}, SIT_NONE, SIT_NONE, {}},
    {"diagonal containment", {0, 0, 3, 3}, {1, 1, 2, 2}, SIT_SEGMENT, SIT_SEGMENT, {}},
    {"parallel", {0, 0, 2, 0}, {0, 1, 2, 1}, SIT_NONE, SIT_NONE, {}},
    // Inexact decimals: the T-junction is exact on y = x, and just missed beside it.
    {"inexact T-junction, upwards", {0.1, 0.1, 0.3, 0.3}, {0.2, 0.2, 0.2, 1}, SIT_POINT, SIT_POINT, {}},
    {"inexact T-junction, downwards", {0.1, 0.1, 0.3, 0.3}, {0.2, 0.2, 0.2, -1}, SIT_POINT, SIT_POINT, {}},
    {"beside an inexact line", {0.1, 0.1, 0.3, 0.3}, {0.2, 0.2000000000000001, 0.2, 1}, SIT_NONE, SIT_NONE, {}},
    {"parallel 2^-50 apart", {0, 0, 2, 1}, {0, 0x1p-50, 2, 1 + 0x1p-50}, SIT_NONE, SIT_NONE, {}},
    // Zero-length segments take the same steps: a shared endpoint makes them overlap, and
    // the collinear case requires two distinct endpoints.
    {"point on the other's endpoint", {0, 0, 0, 0}, {0, 0, 2, 0}, SIT_SEGMENT, SIT_SEGMENT, {}},
    {"two equal points", {1, 1, 1, 1}, {1, 1, 1, 1}, SIT_SEGMENT, SIT_SEGMENT, {}},
    {"point inside a segment", {1, 0, 1, 0}, {0, 0, 2, 0}, FAILS, FAILS, {"p1!=p2", "p3!=p4"}},
    {"point off the segment's line", {1, 1, 1, 1}, {0, 0, 2, 0}, FAILS, SIT_NONE, {"p1!=p2", ""}},
    {"point on the line beyond", {5, 0, 5, 0}, {0, 0, 2, 0}, FAILS, FAILS, {"p1!=p2", "p3!=p4"}},
};
} // namespace

TEST(SegmentChecker, ClassificationTable) {
    lumo_test::ScopedTempDir tmp;  // the failing rows write the log file
    for (const PairCase& c : aPairCases) {
        SegmentSet s{{c.a[0], c.a[1], c.a[2], c.a[3]}, {c.b[0], c.b[1], c.b[2], c.b[3]}};
        Segment2 *a = s[0], *b = s[1];
        testing::internal::CaptureStdout();  // the warning on zero-length segments
        SegmentChecker checker(s.vPointers);
        testing::internal::GetCapturedStdout();
        const std::pair<Segment2*, Segment2*> aOrders[] = {{a, b}, {b, a}};
        for (int k = 0; k < 2; ++k) {
            const int want = k == 0 ? c.ab : c.ba;
            const ExactMeeting m = classifyExactly(*aOrders[k].first, *aOrders[k].second);
            if (want != FAILS) {
                EXPECT_EQ(checker.getIntersectionType(aOrders[k].first, aOrders[k].second), want) << c.what << k;
                if (c.a[0] != c.a[2] || c.a[1] != c.a[3]) {
                    EXPECT_EQ(m.type, want) << c.what << k << " (oracle)";
                }
                continue;
            }
            testing::internal::CaptureStdout();
            EXPECT_THROW(checker.getIntersectionType(aOrders[k].first, aOrders[k].second), LumoException) << c.what;
            EXPECT_EQ(lumo_test::normalized(testing::internal::GetCapturedStdout()),
                      lumo_test::assertion(c.aConditions[k], "ORBI_LUMO2D::SegmentChecker::getIntersectionType_degeneratePart"));
        }
    }
}

TEST(SegmentChecker, ZeroLengthSegmentsAreWarnedAboutOnce) {
    SegmentSet s{{0, 0, 4, 0}, {9, 9, 9, 9}, {4, 0, 4, 0}};
    testing::internal::CaptureStdout();
    SegmentChecker checker(s.vPointers);
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              warning("SegmentChecker::SegmentChecker()",
                      "2 degenerate segment(s) with equal endpoints, the first one at index 1; one that meets another "
                      "segment's line away from a shared endpoint fails the assertion p1!=p2"));
    // The point on the line's endpoint overlaps it; the far one meets no box.
    std::vector<Segment2*> out;
    EXPECT_EQ(lumo_test::stdoutOf([&] { checker.getIllegalSegments(false, out); }), "");
    EXPECT_EQ(out, (std::vector<Segment2*>{s.vPointers[0], s.vPointers[2]}));
    SegmentSet plain{{0, 0, 1, 1}};
    EXPECT_EQ(lumo_test::stdoutOf([&] { SegmentChecker quiet(plain.vPointers); }), "");
}

// The illegal sets and the intersectors with their types: against brute force in the randomized
// comparison at the end.

// ---- intersection geometry (the points and pieces themselves: see the randomized comparison) -----------

TEST(SegmentChecker, WrongQuestionsWarnAndLeaveTheOutputUnset) {
    SegmentSet s{{0, 0, 2, 2}, {0, 2, 2, 0}, {5, 5, 6, 6}};
    Segment2 *a = s[0], *b = s[1], *c = s[2];
    SegmentChecker checker(s.vPointers);
    const std::string where = "SegmentChecker::getIntersectionPoint()";
    const std::string wrongType = warning(where, "wrong SegmentIntersectionType provided");
    const struct { SegmentIntersectionType sit; Segment2* other; std::string message; } aCases[] = {
        {SIT_ENDPOINT, b, warning(where, "SIT_ENDPOINT is a wrong SegmentIntersectionType for the preset segments")},
        {SIT_NONE, b, wrongType}, {SIT_SEGMENT, b, wrongType}, {SIT_UNINITIALIZED, b, wrongType},
        {SIT_POINT, c, wrongType},
    };
    Point2 ip(7, 7);
    for (const auto& k : aCases) {
        EXPECT_EQ(lumo_test::stdoutOf([&] { EXPECT_FALSE(checker.getIntersectionPoint(k.sit, *a, *k.other, ip)); }),
                  k.message);
    }
    EXPECT_EQ(ip, Point2(7, 7));
    Segment2 piece(Point2(9, 9), Point2(9, 9));
    EXPECT_EQ(lumo_test::stdoutOf([&] { EXPECT_FALSE(checker.getIntersectionSegment(*a, *b, piece)); }),
              warning("SegmentChecker::getIntersectionSegment()", "segments seem to be non-collinear"));
    EXPECT_EQ(piece, Segment2(Point2(9, 9), Point2(9, 9)));
}

// ---- the segment set ----------------------------------------------------------------------------------------

TEST(SegmentChecker, IndicesAreThePositionsAndARepeatedPointerCountsOnce) {
    SegmentSet s;
    for (int i = 0; i < 3; ++i) s.add(10 + i, 0, 10 + i, 1);
    Segment2* a = s.add(0, 0, 2, 2);
    Segment2* b = s.add(0, 2, 2, 0);
    std::vector<Segment2*> v(s.vPointers);
    v.push_back(a);
    SegmentChecker checker(v);
    EXPECT_EQ(checker.getNumberOfSegments(), 6u);
    for (int i = 0; i < 5; ++i) {
        EXPECT_EQ(checker.getSegment(size_t(i)), v[size_t(i)]);
        EXPECT_EQ(checker.getIndex(v[size_t(i)]), i == 3 ? 5 : i);  // the later index
    }
    std::vector<Segment2*> out;
    checker.getIllegalSegments(false, out);
    EXPECT_EQ(out, (std::vector<Segment2*>{b, a}));  // by index, a at its later one
    std::vector<std::pair<Segment2*, SegmentIntersectionType>> intersectors;
    checker.getIntersectors(a, false, intersectors);
    EXPECT_EQ(intersectors, (std::vector<std::pair<Segment2*, SegmentIntersectionType>>{{b, SIT_POINT}}));
    SegmentChecker empty(std::vector<Segment2*>{});
    out.assign(1, nullptr);
    empty.getIllegalSegments(true, out);
    EXPECT_TRUE(out.empty());
}

// ---- progress and drawings ---------------------------------------------------------------------------------------

TEST(SegmentChecker, IllegalSegmentsReportProgressToSubscribers) {
    SegmentSet s;
    randomShortSegments(s, 250, 1);
    SegmentChecker checker(s.vPointers);
    lumo_test::ProgressLog log;
    checker.subscribe(MSG_PROGRESS, &log);
    checker.subscribe(MSG_PROGRESS, &log);  // stored once
    std::vector<Segment2*> out;
    checker.getIllegalSegments(false, out);
    // Reporting step 2 over 250 segments, then the final 1.0: never twice per step.
    const size_t n = log.rising("getIllegalSegments").size();
    EXPECT_TRUE(n == log.v.size() && n >= 100 && n <= 126) << n;
    checker.unsubscribe(MSG_PROGRESS, &log);
    checker.getIllegalSegments(false, out);
    EXPECT_EQ(log.v.size(), n);
}

TEST(SegmentChecker, DrawingsPrintTheirCounts) {
    SegmentSet s{{0, 0, 2, 2}, {0, 2, 2, 0}, {5, 5, 6, 5}};
    SegmentChecker checker(s.vPointers);
    lumo_test::ScopedTempDir tmp;
    const std::string out = lumo_test::stdoutOf([&] {
        checker.showSegments("all.ps");
        checker.showIllegalSegments(false, "illegal.ps");
    });
    EXPECT_NE(out.find("SegmentChecker::showSegments(), numSegments=3\n"), std::string::npos) << out;
    EXPECT_NE(out.find("SegmentChecker::showIllegalSegments()\nNumber of segments: 3\nLegal segments: 1\nIllegal segments: 2\n"),
              std::string::npos) << out;
    for (const char* name : {"all.ps", "illegal.ps"}) EXPECT_NE(lumo_test::readFile(name).find("showpage"), std::string::npos) << name;
}

// ---- randomized comparison with the exact all-pairs classification ------------------------------------------------

namespace {
struct RandomCase {
    const char* what;
    void (*make)(SegmentSet&, size_t, unsigned);
    size_t n;
    unsigned seed;
    size_t minSegment, minEndpoint, minPoint;  // the data must really hold these kinds
};
// Large coordinates with tiny differences: the floating-point filter cannot decide.
void farIntegerGridSegments(SegmentSet& s, size_t n, unsigned seed) { integerGridSegments(s, n, seed, 1e15); }
void nearIntegerGridSegments(SegmentSet& s, size_t n, unsigned seed) { integerGridSegments(s, n, seed, 0.0); }
// Each family with two seeds: seed and seed + 1.
const RandomCase aRandomCases[] = {
    {"short segments", randomShortSegments, 200, 1, 0, 0, 50},
    {"shared endpoints", sharedEndpointSegments, 150, 3, 10, 1000, 1000},
    {"collinear chains", collinearChains, 180, 5, 100, 100, 100},
    {"integer grid", nearIntegerGridSegments, 160, 7, 50, 500, 500},
    {"integer grid at 1e15", farIntegerGridSegments, 160, 9, 50, 0, 0},
};
} // namespace

TEST(SegmentCheckerRandomized, AgreesWithTheExactAllPairsClassification) {
    for (const RandomCase& c : aRandomCases) {
        for (unsigned seed : {c.seed, c.seed + 1}) {
            SCOPED_TRACE(std::string(c.what) + ", seed " + std::to_string(seed));
            SegmentSet s;
            c.make(s, c.n, seed);
            const std::vector<size_t> counts = compareWithExactClassification(s);
            EXPECT_GE(counts[SIT_SEGMENT], c.minSegment);
            EXPECT_GE(counts[SIT_ENDPOINT], c.minEndpoint);
            EXPECT_GE(counts[SIT_POINT], c.minPoint);
        }
    }
}
