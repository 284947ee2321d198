// The segment checker: the classification of each kind of meeting, the messages, progress,
// and randomized comparisons with an exact all-pairs classification on degenerate data.
#include <gtest/gtest.h>
#include <algorithm>
#include <cmath>
#include <fstream>
#include <iterator>
#include <memory>
#include <random>
#include <string>
#include <vector>
#include "Lumo_2D.h"
#include "segmentOracle.h"

using namespace ORBI_LUMO2D;
using lumo_test::classifyExactly;
using lumo_test::ExactMeeting;

namespace {
const std::string warningPrefix = "\n      [Lumo2D-Message] ";

std::string warning(const std::string& where, const std::string& text) {
    return warningPrefix + where + ", WARNING: " + text + "\n\n";
}

// Owns a set of segments and hands out the pointer vector the checker takes.
struct SegmentSet {
    std::vector<std::unique_ptr<Segment2>> vOwned;
    std::vector<Segment2*> vPointers;
    Segment2* add(double x0, double y0, double x1, double y1) {
        vOwned.emplace_back(new Segment2(Point2(x0, y0), Point2(x1, y1)));
        vPointers.push_back(vOwned.back().get());
        return vPointers.back();
    }
};

SegmentIntersectionType typeOf(double ax0, double ay0, double ax1, double ay1, double bx0, double by0, double bx1,
                               double by1) {
    SegmentSet s;
    Segment2* a = s.add(ax0, ay0, ax1, ay1);
    Segment2* b = s.add(bx0, by0, bx1, by1);
    SegmentChecker checker(s.vPointers);
    const SegmentIntersectionType ab = checker.getIntersectionType(a, b);
    EXPECT_EQ(ab, checker.getIntersectionType(b, a)) << "the answer depends on the argument order";
    return ab;
}

std::vector<Segment2*> illegal(SegmentSet& s, bool bAlsoEndPoints) {
    SegmentChecker checker(s.vPointers);
    std::vector<Segment2*> out;
    checker.getIllegalSegments(bAlsoEndPoints, out);
    return out;
}

// Receiver that records every progress message.
class Recorder : public MsgBase {
public:
    void update(MsgType type, const std::string& text, double value) override {
        EXPECT_EQ(type, MSG_PROGRESS);
        vTexts.push_back(text);
        vValues.push_back(value);
    }
    std::vector<std::string> vTexts;
    std::vector<double> vValues;
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

// Integer coordinates on a small grid: shared endpoints, T-junctions, collinear overlaps and
// single-point segments everywhere.
void integerGridSegments(SegmentSet& s, size_t n, unsigned seed, double offset) {
    std::mt19937 rng(seed);
    std::uniform_int_distribution<int> c(0, 5);
    for (size_t i = 0; i < n; ++i)
        s.add(offset + c(rng), offset + c(rng), offset + c(rng), offset + c(rng));
}

// Every pair against the exact classification, with the meeting point or shared piece;
// then the illegal sets and the intersectors of every segment against brute force.
// Returns how many pairs of each kind the data holds, so that a test can insist that its data
// really exercises the kinds it is meant for.
std::vector<size_t> compareWithExactClassification(SegmentSet& s) {
    testing::internal::CaptureStdout();  // the warning on single-point segments
    SegmentChecker checker(s.vPointers);
    testing::internal::GetCapturedStdout();
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

    for (bool bEnd : {false, true}) {
        std::vector<Segment2*> out;
        checker.getIllegalSegments(bEnd, out);
        std::vector<Segment2*> want;
        for (size_t i = 0; i < v.size(); ++i) {
            for (size_t j = 0; j < v.size(); ++j) {
                const SegmentIntersectionType t = expected[i][j];
                if (j != i && (t == SIT_POINT || t == SIT_SEGMENT || (bEnd && t == SIT_ENDPOINT))) {
                    want.push_back(v[i]);
                    break;
                }
            }
        }
        EXPECT_EQ(out, want) << "bAlsoEndPointIntersections=" << bEnd;
        std::vector<std::pair<Segment2*, SegmentIntersectionType>> intersectors;
        for (size_t i = 0; i < v.size(); ++i) {
            checker.getIntersectors(v[i], bEnd, intersectors);
            std::vector<std::pair<Segment2*, SegmentIntersectionType>> want;
            for (size_t j = 0; j < v.size(); ++j) {
                const SegmentIntersectionType t = expected[i][j];
                if (j != i && (t == SIT_POINT || t == SIT_SEGMENT || (bEnd && t == SIT_ENDPOINT)))
                    want.emplace_back(v[j], t);
            }
            EXPECT_EQ(intersectors, want) << "segment " << i;
        }
    }
    return counts;
}
} // namespace

// ---- the type names ------------------------------------------------------------------------------

TEST(SegmentChecker, TypeStringsAreTheEnumeratorNames) {
    EXPECT_EQ(getIntersectionTypeString(SIT_UNINITIALIZED), "SIT_UNINITIALIZED");
    EXPECT_EQ(getIntersectionTypeString(SIT_NONE), "SIT_NONE");
    EXPECT_EQ(getIntersectionTypeString(SIT_SEGMENT), "SIT_SEGMENT");
    EXPECT_EQ(getIntersectionTypeString(SIT_POINT), "SIT_POINT");
    EXPECT_EQ(getIntersectionTypeString(SIT_ENDPOINT), "SIT_ENDPOINT");
    EXPECT_EQ(getIntersectionTypeString(SegmentIntersectionType(5)), "UNKNOWN SIT");
    EXPECT_EQ(int(SIT_UNINITIALIZED), 0);
    EXPECT_EQ(int(SIT_ENDPOINT), 4);
}

// ---- classification of each kind of meeting ---------------------------------------------------------

TEST(SegmentChecker, AnXIsAPointAndBothAreIllegalWithEitherFlag) {
    EXPECT_EQ(typeOf(0, 0, 2, 2, 0, 2, 2, 0), SIT_POINT);
    SegmentSet s;
    s.add(0, 0, 2, 2);
    s.add(0, 2, 2, 0);
    EXPECT_EQ(illegal(s, false), s.vPointers);
    EXPECT_EQ(illegal(s, true), s.vPointers);
}

TEST(SegmentChecker, ASharedEndpointAtAnAngleIsAnEndpointTouch) {
    EXPECT_EQ(typeOf(0, 0, 2, 0, 0, 0, 1, 1), SIT_ENDPOINT);
    EXPECT_EQ(typeOf(2, 0, 0, 0, 1, 1, 0, 0), SIT_ENDPOINT);
    SegmentSet s;
    s.add(0, 0, 2, 0);
    s.add(0, 0, 1, 1);
    EXPECT_TRUE(illegal(s, false).empty());
    EXPECT_EQ(illegal(s, true), s.vPointers);
}

TEST(SegmentChecker, ATJunctionIsAPoint) {
    EXPECT_EQ(typeOf(0, 0, 4, 0, 2, 0, 2, 3), SIT_POINT);
    EXPECT_EQ(typeOf(0, 0, 4, 0, 2, 3, 2, 0), SIT_POINT);
    EXPECT_EQ(typeOf(0, 0, 4, 4, 1, 1, 3, 0), SIT_POINT);  // endpoint on a diagonal
    EXPECT_EQ(typeOf(0, 0, 4, 4, 5, 5, 6, 0), SIT_NONE);   // on the line beyond the segment
}

TEST(SegmentChecker, CollinearSegmentsOverlapTouchOrMiss) {
    EXPECT_EQ(typeOf(0, 0, 2, 0, 1, 0, 3, 0), SIT_SEGMENT);
    EXPECT_EQ(typeOf(0, 0, 1, 0, 1, 0, 2, 0), SIT_ENDPOINT);
    EXPECT_EQ(typeOf(0, 0, 1, 0, 2, 0, 3, 0), SIT_NONE);
    EXPECT_EQ(typeOf(0, 0, 3, 0, 1, 0, 2, 0), SIT_SEGMENT);  // containment
    EXPECT_EQ(typeOf(0, 0, 2, 0, 0, 0, 1, 0), SIT_SEGMENT);  // shared end, same direction
    EXPECT_EQ(typeOf(0, 0, 2, 0, 2, 0, 0, 0), SIT_SEGMENT);  // the same segment reversed
    EXPECT_EQ(typeOf(0, 0, 0, 2, 0, 1, 0, 3), SIT_SEGMENT);  // vertical
    EXPECT_EQ(typeOf(0, 0, 0, 1, 0, 2, 0, 3), SIT_NONE);
    EXPECT_EQ(typeOf(0, 0, 3, 3, 1, 1, 2, 2), SIT_SEGMENT);

    SegmentSet s;
    Segment2* a = s.add(0, 0, 2, 0);
    Segment2* b = s.add(1, 0, 3, 0);
    SegmentChecker checker(s.vPointers);
    Segment2 piece;
    ASSERT_TRUE(checker.getIntersectionSegment(*a, *b, piece));
    EXPECT_EQ(piece, Segment2(Point2(1, 0), Point2(2, 0)));
}

TEST(SegmentChecker, ParallelSegmentsOffTheLineDoNotMeet) {
    EXPECT_EQ(typeOf(0, 0, 2, 0, 0, 1, 2, 1), SIT_NONE);
    EXPECT_EQ(typeOf(0, 0, 2, 1, 0, std::ldexp(1.0, -50), 2, 1 + std::ldexp(1.0, -50)), SIT_NONE);
}

TEST(SegmentChecker, NearlyCollinearPointsAreDecidedExactly) {
    // 0.1 and 0.3 are not exact in binary: c lies just off the line through a and b.
    const double ax = 0.1, ay = 0.1, bx = 0.3, by = 0.3;
    const double cx = 0.2, cy = 0.2;
    const ExactMeeting m = classifyExactly(Segment2(Point2(ax, ay), Point2(bx, by)), Segment2(Point2(cx, cy), Point2(cx, 1)));
    EXPECT_EQ(typeOf(ax, ay, bx, by, cx, cy, cx, 1), m.type);
    EXPECT_EQ(typeOf(ax, ay, bx, by, cx, cy, cx, -1), classifyExactly(Segment2(Point2(ax, ay), Point2(bx, by)),
                                                                   Segment2(Point2(cx, cy), Point2(cx, -1))).type);
}

// ---- single-point segments -----------------------------------------------------------------------------

TEST(SegmentChecker, SinglePointSegmentsAreWarnedAboutOnceAndTreatedAsPoints) {
    SegmentSet s;
    Segment2* line = s.add(0, 0, 4, 0);
    Segment2* interior = s.add(2, 0, 2, 0);
    Segment2* atEnd = s.add(4, 0, 4, 0);
    Segment2* away = s.add(2, 1, 2, 1);
    Segment2* twin = s.add(2, 0, 2, 0);
    testing::internal::CaptureStdout();
    SegmentChecker checker(s.vPointers);
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              warning("SegmentChecker::SegmentChecker()",
                      "4 degenerate segment(s) with equal endpoints, the first one at index 1; each is checked as a "
                      "single point"));
    EXPECT_EQ(checker.getIntersectionType(line, interior), SIT_POINT);
    EXPECT_EQ(checker.getIntersectionType(interior, line), SIT_POINT);
    EXPECT_EQ(checker.getIntersectionType(line, atEnd), SIT_ENDPOINT);
    EXPECT_EQ(checker.getIntersectionType(line, away), SIT_NONE);
    EXPECT_EQ(checker.getIntersectionType(interior, twin), SIT_ENDPOINT);
    EXPECT_EQ(checker.getIntersectionType(interior, away), SIT_NONE);
    EXPECT_EQ(checker.getIntersectionType(interior, interior), SIT_ENDPOINT);

    Point2 ip;
    ASSERT_TRUE(checker.getIntersectionPoint(SIT_POINT, *line, *interior, ip));
    EXPECT_EQ(ip, Point2(2, 0));
    Segment2 piece;
    ASSERT_TRUE(checker.getIntersectionSegment(*line, *interior, piece));
    EXPECT_EQ(piece, Segment2(Point2(2, 0), Point2(2, 0)));

    std::vector<Segment2*> out;
    testing::internal::CaptureStdout();
    checker.getIllegalSegments(false, out);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");  // no further warnings
    EXPECT_EQ(out, (std::vector<Segment2*>{line, interior, twin}));
    checker.getIllegalSegments(true, out);
    EXPECT_EQ(out, (std::vector<Segment2*>{line, interior, atEnd, twin}));
}

TEST(SegmentChecker, NoWarningWithoutSinglePointSegments) {
    SegmentSet s;
    s.add(0, 0, 1, 1);
    testing::internal::CaptureStdout();
    SegmentChecker checker(s.vPointers);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
}

// ---- intersection geometry ---------------------------------------------------------------------------------

TEST(SegmentChecker, IntersectionPointOfACrossingIsTheRoundedExactPoint) {
    SegmentSet s;
    Segment2* a = s.add(0.1, 0.2, 3.7, 1.9);
    Segment2* b = s.add(0.3, 2.9, 2.2, -0.7);
    SegmentChecker checker(s.vPointers);
    ASSERT_EQ(checker.getIntersectionType(a, b), SIT_POINT);
    Point2 ip;
    ASSERT_TRUE(checker.getIntersectionPoint(SIT_POINT, *a, *b, ip));
    const ExactMeeting m = classifyExactly(*a, *b);
    EXPECT_TRUE(lumo_test::isWithinOneRounding(ip.x(), m.x));
    EXPECT_TRUE(lumo_test::isWithinOneRounding(ip.y(), m.y));
}

TEST(SegmentChecker, IntersectionPointOfATouchIsTheSharedEndpointItself) {
    SegmentSet s;
    Segment2* a = s.add(0.1, 0.7, 0.3, 0.2);
    Segment2* b = s.add(0.9, 0.9, 0.3, 0.2);
    Segment2* t = s.add(0.2, 0.45, 5, 5);  // starts on a (only nearly, in binary)
    SegmentChecker checker(s.vPointers);
    Point2 ip;
    ASSERT_TRUE(checker.getIntersectionPoint(SIT_ENDPOINT, *a, *b, ip));
    EXPECT_EQ(ip, Point2(0.3, 0.2));
    const SegmentIntersectionType sit = checker.getIntersectionType(a, t);
    if (sit == SIT_POINT) {
        ASSERT_TRUE(checker.getIntersectionPoint(SIT_POINT, *a, *t, ip));
        EXPECT_EQ(ip, Point2(0.2, 0.45));
    }
}

TEST(SegmentChecker, WrongTypesForTheIntersectionPointWarnAndLeaveThePointUnset) {
    SegmentSet s;
    Segment2* a = s.add(0, 0, 2, 2);
    Segment2* b = s.add(0, 2, 2, 0);
    Segment2* c = s.add(5, 5, 6, 6);
    SegmentChecker checker(s.vPointers);
    Point2 ip(7, 7);
    testing::internal::CaptureStdout();
    EXPECT_FALSE(checker.getIntersectionPoint(SIT_ENDPOINT, *a, *b, ip));
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              warning("SegmentChecker::getIntersectionPoint()",
                      "SIT_ENDPOINT is a wrong SegmentIntersectionType for the preset segments"));
    for (SegmentIntersectionType wrong : {SIT_NONE, SIT_SEGMENT, SIT_UNINITIALIZED}) {
        testing::internal::CaptureStdout();
        EXPECT_FALSE(checker.getIntersectionPoint(wrong, *a, *b, ip));
        EXPECT_EQ(testing::internal::GetCapturedStdout(),
                  warning("SegmentChecker::getIntersectionPoint()", "wrong SegmentIntersectionType provided"));
    }
    testing::internal::CaptureStdout();
    EXPECT_FALSE(checker.getIntersectionPoint(SIT_POINT, *a, *c, ip));
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              warning("SegmentChecker::getIntersectionPoint()", "wrong SegmentIntersectionType provided"));
    EXPECT_EQ(ip, Point2(7, 7));
}

TEST(SegmentChecker, IntersectionSegmentOfNonCollinearSegmentsWarns) {
    SegmentSet s;
    Segment2* a = s.add(0, 0, 2, 2);
    Segment2* b = s.add(0, 2, 2, 0);
    SegmentChecker checker(s.vPointers);
    Segment2 piece(Point2(9, 9), Point2(9, 9));
    testing::internal::CaptureStdout();
    EXPECT_FALSE(checker.getIntersectionSegment(*a, *b, piece));
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              warning("SegmentChecker::getIntersectionSegment()", "segments seem to be non-collinear"));
    EXPECT_EQ(piece, Segment2(Point2(9, 9), Point2(9, 9)));
}

// ---- the segment set ----------------------------------------------------------------------------------------

TEST(SegmentChecker, IndicesAreThePositionsInTheGivenVector) {
    SegmentSet s;
    for (int i = 0; i < 5; ++i) s.add(i, 0, i, 1);
    SegmentChecker checker(s.vPointers);
    EXPECT_EQ(checker.getNumberOfSegments(), 5u);
    for (int i = 0; i < 5; ++i) {
        EXPECT_EQ(checker.getSegment(size_t(i)), s.vPointers[size_t(i)]);
        EXPECT_EQ(checker.getIndex(s.vPointers[size_t(i)]), i);
    }
}

TEST(SegmentChecker, UnknownPointerWarnsAndGivesMinusOne) {
    SegmentSet s;
    s.add(0, 0, 1, 1);
    SegmentChecker checker(s.vPointers);
    Segment2 stranger(Point2(0, 0), Point2(1, 1));
    testing::internal::CaptureStdout();
    EXPECT_EQ(checker.getIndex(&stranger), -1);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), warning("SegmentChecker::getIndex()", "No such segment"));
}

TEST(SegmentChecker, SegmentIndexOutOfRangeIsAnAssertionFailure) {
    SegmentSet s;
    s.add(0, 0, 1, 1);
    SegmentChecker checker(s.vPointers);
    testing::internal::CaptureStdout();
    EXPECT_THROW(checker.getSegment(1), LumoException);
    const std::string out = testing::internal::GetCapturedStdout();
    EXPECT_NE(out.find("Condition [ i<pSCD->vSegments.size() failed ]"), std::string::npos) << out;
    EXPECT_NE(out.find("  Function: ORBI_LUMO2D::SegmentChecker::getSegment()\n"), std::string::npos) << out;
}

TEST(SegmentChecker, APointerGivenTwiceTakesTheLaterIndexAndIsReportedOnce) {
    SegmentSet s;
    Segment2* a = s.add(0, 0, 2, 2);
    Segment2* b = s.add(0, 2, 2, 0);
    std::vector<Segment2*> v{a, b, a};
    SegmentChecker checker(v);
    EXPECT_EQ(checker.getNumberOfSegments(), 3u);
    EXPECT_EQ(checker.getIndex(a), 2);
    std::vector<Segment2*> out;
    checker.getIllegalSegments(false, out);
    EXPECT_EQ(out.size(), 2u);
    EXPECT_EQ(std::count(out.begin(), out.end(), a), 1);
    std::vector<std::pair<Segment2*, SegmentIntersectionType>> intersectors;
    checker.getIntersectors(a, false, intersectors);
    EXPECT_EQ(intersectors, (std::vector<std::pair<Segment2*, SegmentIntersectionType>>{{b, SIT_POINT}}));
}

TEST(SegmentChecker, NonFiniteCoordinatesAreRefusedAtConstruction) {
    SegmentSet s;
    s.add(0, 0, 1, 1);
    s.add(0, 0, INFINITY, 1);
    testing::internal::CaptureStdout();
    EXPECT_THROW(SegmentChecker checker(s.vPointers), LumoException);
    const std::string out = testing::internal::GetCapturedStdout();
    EXPECT_NE(out.find("SegmentChecker::SegmentChecker(), ERROR: segment 1 has a coordinate that is not a finite number"),
              std::string::npos)
        << out;
    EXPECT_NE(out.find("Condition [ bFiniteCoordinates failed ]"), std::string::npos) << out;
}

TEST(SegmentChecker, AnEmptySetHasNoIllegalSegments) {
    SegmentChecker checker(std::vector<Segment2*>{});
    std::vector<Segment2*> out{nullptr};
    checker.getIllegalSegments(true, out);
    EXPECT_TRUE(out.empty());
    EXPECT_EQ(checker.getNumberOfSegments(), 0u);
}

TEST(SegmentChecker, IntersectorsCarryTheirTypes) {
    SegmentSet s;
    Segment2* a = s.add(0, 0, 4, 0);
    Segment2* cross = s.add(1, -1, 1, 1);
    Segment2* overlap = s.add(3, 0, 6, 0);
    Segment2* touch = s.add(0, 0, -1, 5);
    s.add(0, 1, 4, 1);  // parallel, inside a's box only when touching: no
    SegmentChecker checker(s.vPointers);
    std::vector<std::pair<Segment2*, SegmentIntersectionType>> out;
    checker.getIntersectors(a, false, out);
    EXPECT_EQ(out, (std::vector<std::pair<Segment2*, SegmentIntersectionType>>{{cross, SIT_POINT},
                                                                                {overlap, SIT_SEGMENT}}));
    checker.getIntersectors(a, true, out);
    EXPECT_EQ(out, (std::vector<std::pair<Segment2*, SegmentIntersectionType>>{
                       {cross, SIT_POINT}, {overlap, SIT_SEGMENT}, {touch, SIT_ENDPOINT}}));
}

// ---- progress ---------------------------------------------------------------------------------------------------

TEST(SegmentChecker, UnsubscribeWithoutPublisherWarns) {
    SegmentChecker checker(std::vector<Segment2*>{});
    Recorder r;
    testing::internal::CaptureStdout();
    checker.unsubscribe(MSG_PROGRESS, &r);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), warning("SegmentChecker::unsubscribe()", "No publisher present"));
}

TEST(SegmentChecker, IllegalSegmentsReportProgressToSubscribers) {
    SegmentSet s;
    randomShortSegments(s, 250, 1);
    SegmentChecker checker(s.vPointers);
    Recorder r;
    checker.subscribe(MSG_PROGRESS, &r);
    checker.subscribe(MSG_PROGRESS, &r);  // stored once
    std::vector<Segment2*> out;
    checker.getIllegalSegments(false, out);
    ASSERT_FALSE(r.vValues.empty());
    for (const std::string& t : r.vTexts) EXPECT_EQ(t, "getIllegalSegments");
    EXPECT_EQ(r.vValues.back(), 1.0);
    EXPECT_TRUE(std::is_sorted(r.vValues.begin(), r.vValues.end()));
    // Reporting step 2 over 250 segments, then the final 1.0: never twice per step.
    EXPECT_LE(r.vValues.size(), 126u);
    EXPECT_GE(r.vValues.size(), 100u);

    checker.unsubscribe(MSG_PROGRESS, &r);
    r.vValues.clear();
    checker.getIllegalSegments(false, out);
    EXPECT_TRUE(r.vValues.empty());
}

// ---- drawings -------------------------------------------------------------------------------------------------------

TEST(SegmentChecker, DrawingsPrintTheirCounts) {
    SegmentSet s;
    s.add(0, 0, 2, 2);
    s.add(0, 2, 2, 0);
    s.add(5, 5, 6, 5);
    SegmentChecker checker(s.vPointers);
    testing::internal::CaptureStdout();
    const std::string allName = testing::TempDir() + "segcheck_all.ps";
    const std::string illegalName = testing::TempDir() + "segcheck_illegal.ps";
    checker.showSegments(allName);
    std::string out = testing::internal::GetCapturedStdout();
    EXPECT_NE(out.find("SegmentChecker::showSegments(), numSegments=3\n"), std::string::npos) << out;
    testing::internal::CaptureStdout();
    checker.showIllegalSegments(false, illegalName);
    out = testing::internal::GetCapturedStdout();
    EXPECT_NE(out.find("SegmentChecker::showIllegalSegments()\nNumber of segments: 3\nLegal segments: 1\n"
                       "Illegal segments: 2\n"),
              std::string::npos)
        << out;
    for (const std::string& name : {allName, illegalName}) {
        std::ifstream f(name);
        const std::string text((std::istreambuf_iterator<char>(f)), std::istreambuf_iterator<char>());
        EXPECT_NE(text.find("showpage"), std::string::npos) << name;
    }
}

// ---- randomized comparison with the exact all-pairs classification ------------------------------------------------

TEST(SegmentCheckerRandomized, RandomSegments) {
    for (unsigned seed : {1u, 2u}) {
        SegmentSet s;
        randomShortSegments(s, 200, seed);
        EXPECT_GT(compareWithExactClassification(s)[SIT_POINT], 50u);
    }
}

TEST(SegmentCheckerRandomized, SegmentsWithSharedEndpoints) {
    for (unsigned seed : {3u, 4u}) {
        SegmentSet s;
        sharedEndpointSegments(s, 150, seed);
        const std::vector<size_t> counts = compareWithExactClassification(s);
        EXPECT_GT(counts[SIT_ENDPOINT], 1000u);
        EXPECT_GT(counts[SIT_SEGMENT], 10u);  // repeated segments
        EXPECT_GT(counts[SIT_POINT], 1000u);
    }
}

TEST(SegmentCheckerRandomized, CollinearOverlappingChains) {
    for (unsigned seed : {5u, 6u}) {
        SegmentSet s;
        collinearChains(s, 180, seed);
        const std::vector<size_t> counts = compareWithExactClassification(s);
        EXPECT_GT(counts[SIT_SEGMENT], 100u);
        EXPECT_GT(counts[SIT_ENDPOINT], 100u);
        EXPECT_GT(counts[SIT_POINT], 100u);
    }
}

TEST(SegmentCheckerRandomized, IntegerGridSegments) {
    for (unsigned seed : {7u, 8u}) {
        SegmentSet s;
        integerGridSegments(s, 160, seed, 0.0);
        const std::vector<size_t> counts = compareWithExactClassification(s);
        EXPECT_GT(counts[SIT_SEGMENT], 50u);
        EXPECT_GT(counts[SIT_ENDPOINT], 500u);
        EXPECT_GT(counts[SIT_POINT], 500u);
    }
}

TEST(SegmentCheckerRandomized, IntegerGridSegmentsFarFromTheOrigin) {
    // Large coordinates with tiny differences: the floating-point filter cannot decide.
    SegmentSet s;
    integerGridSegments(s, 160, 9, 1e15);
    EXPECT_GT(compareWithExactClassification(s)[SIT_SEGMENT], 50u);
}
