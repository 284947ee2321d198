// The segment checker: a table of every kind of meeting, the warnings, progress, and randomized
// comparisons of every pair, intersector list and illegal set with the exact all-pairs
// classification of tests/support (GMP rationals) on degenerate data.
#include <gtest/gtest.h>
#include <functional>
#include <memory>
#include <random>
#include <string>
#include <vector>
#include "Lumo_2D.h"
#include "MessageText.h"
#include "ScopedTempDir.h"
#include "TriangulationBuilders.h"
#include "segmentOracle.h"

using namespace ORBI_LUMO2D;
using lumo_test::classifyExactly;
using lumo_test::ExactMeeting;
using lumo_test::stdoutOf;
using lumo_test::warning;

namespace {
Segment2 seg(double x0, double y0, double x1, double y1) { return Segment2(Point2(x0, y0), Point2(x1, y1)); }
// The pointer vector the checker takes.
std::vector<Segment2*> pointers(std::vector<Segment2>& vSegments) {
    std::vector<Segment2*> v;
    for (Segment2& s : vSegments) v.push_back(&s);
    return v;
}
typedef std::vector<std::pair<Segment2*, SegmentIntersectionType>> Intersectors;

// Every pair, both orders, against the exact classification, with the meeting point (the shared
// endpoint itself, else within one rounding) or the shared piece; then the intersectors of every
// segment and the illegal sets against brute force over those answers. Returns how many pairs
// of each kind the data holds, so that a row can insist on the kinds it is meant for.
std::vector<size_t> compareWithExactClassification(std::vector<Segment2>& vSegments) {
    const std::vector<Segment2*> v = pointers(vSegments);
    SegmentChecker checker(v);
    std::vector<std::vector<SegmentIntersectionType>> expected(v.size(), std::vector<SegmentIntersectionType>(v.size()));
    std::vector<size_t> counts(5, 0);
    for (size_t i = 0; i < v.size(); ++i)
        for (size_t j = i + 1; j < v.size(); ++j) {
            const ExactMeeting m = classifyExactly(*v[i], *v[j]);
            expected[i][j] = expected[j][i] = m.type;
            ++counts[m.type];
            const SegmentIntersectionType got = checker.getIntersectionType(v[i], v[j]);
            EXPECT_EQ(got, m.type) << *v[i] << " / " << *v[j];
            EXPECT_EQ(checker.getIntersectionType(v[j], v[i]), m.type) << *v[j] << " / " << *v[i];
            if (got != m.type) continue;
            Point2 ip;
            if (m.type == SIT_ENDPOINT || m.type == SIT_POINT) {
                EXPECT_TRUE(checker.getIntersectionPoint(m.type, *v[i], *v[j], ip));
                EXPECT_TRUE(m.type == SIT_POINT ? lumo_test::isWithinOneRounding(ip.x(), m.x) && lumo_test::isWithinOneRounding(ip.y(), m.y)
                                                : cmp(lumo_test::Rational(ip.x()), m.x) == 0 && cmp(lumo_test::Rational(ip.y()), m.y) == 0)
                    << *v[i] << " / " << *v[j] << " -> " << ip;
            } else if (m.type == SIT_SEGMENT) {
                Segment2 piece;
                EXPECT_TRUE(checker.getIntersectionSegment(*v[i], *v[j], piece));
                EXPECT_EQ(piece, Segment2(m.pieceA, m.pieceB)) << *v[i] << " / " << *v[j];
            }
        }
    for (bool bEnd : {false, true}) {
        std::vector<Segment2*> out, wantIllegal;
        checker.getIllegalSegments(bEnd, out);
        Intersectors intersectors, want;
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

// Marks an outcome that is a failed assertion instead of a type: p1!=p2 for the first segment a
// single point, p3!=p4 for the second.
const int FAILS = -1;
const struct PairCase {
    const char* what;
    double a[4], b[4];
    int ab, ba;  // type of (a, b) and of (b, a), or FAILS
} aPairCases[] = {
    {"an X", {0, 0, 2, 2}, {0, 2, 2, 0}, SIT_POINT, SIT_POINT},
    {"shared endpoint at an angle", {0, 0, 2, 0}, {0, 0, 1, 1}, SIT_ENDPOINT, SIT_ENDPOINT},
    {"shared endpoint, both reversed", {2, 0, 0, 0}, {1, 1, 0, 0}, SIT_ENDPOINT, SIT_ENDPOINT},
    {"T-junction", {0, 0, 4, 0}, {2, 0, 2, 3}, SIT_POINT, SIT_POINT},
    {"T-junction, reversed stem", {0, 0, 4, 0}, {2, 3, 2, 0}, SIT_POINT, SIT_POINT},
    {"endpoint on a diagonal", {0, 0, 4, 4}, {1, 1, 3, 0}, SIT_POINT, SIT_POINT},
    {"on the line beyond the segment", {0, 0, 4, 4}, {5, 5, 6, 0}, SIT_NONE, SIT_NONE},
    {"collinear overlap", {0, 0, 2, 0}, {1, 0, 3, 0}, SIT_SEGMENT, SIT_SEGMENT},
    {"collinear touch", {0, 0, 1, 0}, {1, 0, 2, 0}, SIT_ENDPOINT, SIT_ENDPOINT},
    {"collinear apart", {0, 0, 1, 0}, {2, 0, 3, 0}, SIT_NONE, SIT_NONE},
    {"containment", {0, 0, 3, 0}, {1, 0, 2, 0}, SIT_SEGMENT, SIT_SEGMENT},
    {"shared end, same direction", {0, 0, 2, 0}, {0, 0, 1, 0}, SIT_SEGMENT, SIT_SEGMENT},
    {"the same segment reversed", {0, 0, 2, 0}, {2, 0, 0, 0}, SIT_SEGMENT, SIT_SEGMENT},
    {"vertical overlap", {0, 0, 0, 2}, {0, 1, 0, 3}, SIT_SEGMENT, SIT_SEGMENT},
    {"vertical apart", {0, 0, 0, 1}, {0, 2, 0, 3}, SIT_NONE, SIT_NONE},
    {"diagonal containment", {0, 0, 3, 3}, {1, 1, 2, 2}, SIT_SEGMENT, SIT_SEGMENT},
    {"parallel", {0, 0, 2, 0}, {0, 1, 2, 1}, SIT_NONE, SIT_NONE},
    // Inexact decimals: the T-junction is exact on y = x, and just missed beside it.
    {"inexact T-junction, upwards", {0.1, 0.1, 0.3, 0.3}, {0.2, 0.2, 0.2, 1}, SIT_POINT, SIT_POINT},
    {"inexact T-junction, downwards", {0.1, 0.1, 0.3, 0.3}, {0.2, 0.2, 0.2, -1}, SIT_POINT, SIT_POINT},
    {"beside an inexact line", {0.1, 0.1, 0.3, 0.3}, {0.2, 0.2000000000000001, 0.2, 1}, SIT_NONE, SIT_NONE},
    {"parallel 2^-50 apart", {0, 0, 2, 1}, {0, 0x1p-50, 2, 1 + 0x1p-50}, SIT_NONE, SIT_NONE},
    // Zero-length segments take the same steps: a shared endpoint makes them overlap, and
    // the collinear case requires two distinct endpoints.
    {"point on the other's endpoint", {0, 0, 0, 0}, {0, 0, 2, 0}, SIT_SEGMENT, SIT_SEGMENT},
    {"two equal points", {1, 1, 1, 1}, {1, 1, 1, 1}, SIT_SEGMENT, SIT_SEGMENT},
    {"point inside a segment", {1, 0, 1, 0}, {0, 0, 2, 0}, FAILS, FAILS},
    {"point off the segment's line", {1, 1, 1, 1}, {0, 0, 2, 0}, FAILS, SIT_NONE},
    {"point on the line beyond", {5, 0, 5, 0}, {0, 0, 2, 0}, FAILS, FAILS},
};
} // namespace

// The expected types, also the oracle's where a is no single point (the checker's steps differ
// from the exact set there, see the class comment).
TEST(SegmentChecker, ClassifiesEveryKindOfMeetingInBothOrders) {
    lumo_test::ScopedTempDir tmp;  // the failing rows write the log file
    for (const PairCase& c : aPairCases) {
        SCOPED_TRACE(c.what);
        std::vector<Segment2> s{seg(c.a[0], c.a[1], c.a[2], c.a[3]), seg(c.b[0], c.b[1], c.b[2], c.b[3])};
        std::unique_ptr<SegmentChecker> checker;
        stdoutOf([&] { checker.reset(new SegmentChecker(pointers(s))); });  // the warning on zero-length segments
        for (int k = 0; k < 2; ++k) {
            const Segment2 *p = &s[size_t(k)], *q = &s[size_t(1 - k)];
            const int want = k == 0 ? c.ab : c.ba;
            if (want == FAILS) {
                const std::string out = stdoutOf([&] { EXPECT_THROW(checker->getIntersectionType(p, q), LumoException); });
                EXPECT_EQ(lumo_test::normalized(out),
                          lumo_test::assertion(k == 0 ? "p1!=p2" : "p3!=p4", "ORBI_LUMO2D::SegmentChecker::getIntersectionType_degeneratePart"));
                continue;
            }
            EXPECT_EQ(checker->getIntersectionType(p, q), want) << k;
            if (c.a[0] != c.a[2] || c.a[1] != c.a[3]) {
                EXPECT_EQ(classifyExactly(*p, *q).type, want) << k << " (oracle)";
            }
        }
    }
    const char* aNames[] = {"SIT_UNINITIALIZED", "SIT_NONE", "SIT_SEGMENT", "SIT_POINT", "SIT_ENDPOINT", "UNKNOWN SIT"};
    for (int i = 0; i <= 5; ++i) EXPECT_EQ(getIntersectionTypeString(SegmentIntersectionType(i)), aNames[i]);
}

TEST(SegmentChecker, ZeroLengthSegmentsAreWarnedAboutOnce) {
    std::vector<Segment2> s{seg(0, 0, 4, 0), seg(9, 9, 9, 9), seg(4, 0, 4, 0)};
    std::unique_ptr<SegmentChecker> checker;
    EXPECT_EQ(stdoutOf([&] { checker.reset(new SegmentChecker(pointers(s))); }),
              warning("SegmentChecker::SegmentChecker()",
                      "2 degenerate segment(s) with equal endpoints, the first one at index 1; one that meets another "
                      "segment's line away from a shared endpoint fails the assertion p1!=p2"));
    // The point on the line's endpoint overlaps it; the far one meets no box.
    std::vector<Segment2*> out;
    EXPECT_EQ(stdoutOf([&] { checker->getIllegalSegments(false, out); }), "");
    EXPECT_EQ(out, (std::vector<Segment2*>{&s[0], &s[2]}));
    std::vector<Segment2> plain{seg(0, 0, 1, 1)};
    EXPECT_EQ(stdoutOf([&] { SegmentChecker quiet(pointers(plain)); }), "");
}

// Asked for a type the pair does not have: one warning, the output untouched.
TEST(SegmentChecker, WrongQuestionsWarnAndLeaveTheOutputUnset) {
    std::vector<Segment2> s{seg(0, 0, 2, 2), seg(0, 2, 2, 0), seg(5, 5, 6, 6)};
    SegmentChecker checker(pointers(s));
    const std::string where = "SegmentChecker::getIntersectionPoint()", wrongType = warning(where, "wrong SegmentIntersectionType provided");
    const struct { SegmentIntersectionType sit; Segment2* other; std::string message; } aCases[] = {
        {SIT_ENDPOINT, &s[1], warning(where, "SIT_ENDPOINT is a wrong SegmentIntersectionType for the preset segments")},
        {SIT_NONE, &s[1], wrongType}, {SIT_SEGMENT, &s[1], wrongType}, {SIT_UNINITIALIZED, &s[1], wrongType}, {SIT_POINT, &s[2], wrongType},
    };
    Point2 ip(7, 7);
    for (const auto& k : aCases)
        EXPECT_EQ(stdoutOf([&] { EXPECT_FALSE(checker.getIntersectionPoint(k.sit, s[0], *k.other, ip)); }), k.message);
    EXPECT_EQ(ip, Point2(7, 7));
    Segment2 piece(Point2(9, 9), Point2(9, 9));
    EXPECT_EQ(stdoutOf([&] { EXPECT_FALSE(checker.getIntersectionSegment(s[0], s[1], piece)); }),
              warning("SegmentChecker::getIntersectionSegment()", "segments seem to be non-collinear"));
    EXPECT_EQ(piece, Segment2(Point2(9, 9), Point2(9, 9)));
}

TEST(SegmentChecker, IndicesAreThePositionsAndARepeatedPointerCountsOnce) {
    std::vector<Segment2> s{seg(10, 0, 10, 1), seg(11, 0, 11, 1), seg(12, 0, 12, 1), seg(0, 0, 2, 2), seg(0, 2, 2, 0)};
    std::vector<Segment2*> v = pointers(s);
    Segment2 *a = v[3], *b = v[4];
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
    Intersectors intersectors;
    checker.getIntersectors(a, false, intersectors);
    EXPECT_EQ(intersectors, (Intersectors{{b, SIT_POINT}}));
    SegmentChecker empty(std::vector<Segment2*>{});
    out.assign(1, nullptr);
    empty.getIllegalSegments(true, out);
    EXPECT_TRUE(out.empty());
}

TEST(SegmentChecker, IllegalSegmentsReportProgressToSubscribers) {
    const std::vector<Point2> p = lumo_test::randomPoints(500, 1);
    std::vector<Segment2> s;
    for (size_t i = 0; i < p.size(); i += 2) s.emplace_back(p[i], p[i + 1]);
    SegmentChecker checker(pointers(s));
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
    std::vector<Segment2> s{seg(0, 0, 2, 2), seg(0, 2, 2, 0), seg(5, 5, 6, 5)};
    SegmentChecker checker(pointers(s));
    lumo_test::ScopedTempDir tmp;
    const std::string out = stdoutOf([&] {
        checker.showSegments("all.ps");
        checker.showIllegalSegments(false, "illegal.ps");
    });
    EXPECT_NE(out.find("SegmentChecker::showSegments(), numSegments=3\n"), std::string::npos) << out;
    EXPECT_NE(out.find("SegmentChecker::showIllegalSegments()\nNumber of segments: 3\nLegal segments: 1\nIllegal segments: 2\n"),
              std::string::npos) << out;
    for (const char* name : {"all.ps", "illegal.ps"}) EXPECT_NE(lumo_test::readFile(name).find("showpage"), std::string::npos) << name;
}

namespace {
// Random data of increasing degeneracy: each row adds one segment at a time.
typedef std::function<void(std::vector<Segment2>&, std::mt19937&)> AddOne;
std::uniform_real_distribution<double> unit(0.0, 1.0);
// Integer coordinates on a small grid: shared endpoints, T-junctions and collinear overlaps
// everywhere. Single points are left out: one against a segment on its line is a
// precondition failure (see the table above).
AddOne integerGrid(double offset) {
    return [offset](std::vector<Segment2>& v, std::mt19937& rng) {
        std::uniform_int_distribution<int> c(0, 5);
        const double x0 = offset + c(rng), y0 = offset + c(rng), x1 = offset + c(rng), y1 = offset + c(rng);
        if (x0 != x1 || y0 != y1) v.push_back(seg(x0, y0, x1, y1));
    };
}
const struct RandomCase {
    const char* what;
    size_t n;
    unsigned seed;
    size_t minSegment, minEndpoint, minPoint;  // the data must really hold these kinds
    AddOne add;
} aRandomCases[] = {
    {"short segments", 200, 1, 0, 0, 50, [](std::vector<Segment2>& v, std::mt19937& rng) {
         const double x = unit(rng), y = unit(rng);
         v.push_back(seg(x, y, x + 0.3 * unit(rng) - 0.15, y + 0.3 * unit(rng) - 0.15));
     }},
    // Between points of a small pool: many shared endpoints, stars and repeated segments.
    {"shared endpoints", 150, 3, 10, 1000, 1000, [](std::vector<Segment2>& v, std::mt19937& rng) {
         static const std::vector<Point2> pool = lumo_test::randomPoints(25, 3);
         const Point2 &p = pool[rng() % pool.size()], &q = pool[rng() % pool.size()];
         if (p != q) v.emplace_back(p, q);
     }},
    // Pieces of a few lines through (2, 1): chains that touch, overlap, contain each other and
    // cross the other lines. The first directions are exact in binary, the last ones not, so
    // their points are only nearly collinear.
    {"collinear chains", 180, 5, 100, 100, 100, [](std::vector<Segment2>& v, std::mt19937& rng) {
         const double d[][2] = {{1.0, 0.0}, {0.0, 0.5}, {0.375, 0.625}, {-3.0, 7.0}, {0.1, 0.3}, {1.0 / 3.0, 1.0}};
         const double* u = d[rng() % 6];
         const int k0 = int(rng() % 25) - 12, k1 = k0 + 1 + int(rng() % 4);
         v.push_back(seg(2.0 + k0 * u[0], 1.0 + k0 * u[1], 2.0 + k1 * u[0], 1.0 + k1 * u[1]));
     }},
    {"integer grid", 160, 7, 50, 500, 500, integerGrid(0.0)},
    // Large coordinates with tiny differences: the floating-point filter cannot decide.
    {"integer grid at 1e15", 160, 9, 50, 0, 0, integerGrid(1e15)},
};
} // namespace

TEST(SegmentCheckerRandomized, AgreesWithTheExactAllPairsClassification) {
    for (const RandomCase& c : aRandomCases)
        for (unsigned seed : {c.seed, c.seed + 1}) {
            SCOPED_TRACE(std::string(c.what) + ", seed " + std::to_string(seed));
            std::vector<Segment2> s;
            std::mt19937 rng(seed);
            while (s.size() < c.n) c.add(s, rng);
            const std::vector<size_t> counts = compareWithExactClassification(s);
            EXPECT_GE(counts[SIT_SEGMENT], c.minSegment);
            EXPECT_GE(counts[SIT_ENDPOINT], c.minEndpoint);
            EXPECT_GE(counts[SIT_POINT], c.minPoint);
        }
}
