// Point and segment files: exact byte layouts, round trips, failure messages; version queries.
#include <gtest/gtest.h>
#include <cfloat>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <limits>
#include <sstream>
#include <string>
#include <unistd.h>
#include "Lumo_2D.h"

using namespace ORBI_LUMO2D;
namespace fs = std::filesystem;

namespace {

// Every test works in a fresh directory of its own: CTest runs tests in parallel.
class Files : public testing::Test {
protected:
    void SetUp() override {
        char tmpl[] = "/tmp/lumo2d_files_XXXXXX";
        ASSERT_NE(mkdtemp(tmpl), nullptr);
        dir = tmpl;
    }
    void TearDown() override { fs::remove_all(dir); }
    std::string path(const char* name) const { return dir + "/" + name; }

    std::string dir;
};

std::string readBytes(const std::string& name) {
    std::ifstream f(name, std::ios::binary);
    std::stringstream ss;
    ss << f.rdbuf();
    return ss.str();
}

void writeBytes(const std::string& name, const std::string& bytes) {
    std::ofstream f(name, std::ios::binary | std::ios::trunc);
    f.write(bytes.data(), std::streamsize(bytes.size()));
}

// Little builder for hand-made files: appends raw native values.
struct Bytes {
    std::string s;
    Bytes& i32(int32_t v) { s.append(reinterpret_cast<const char*>(&v), 4); return *this; }
    Bytes& u64(uint64_t v) { s.append(reinterpret_cast<const char*>(&v), 8); return *this; }
    Bytes& d(double v) { s.append(reinterpret_cast<const char*>(&v), 8); return *this; }
};

bool sameBits(double a, double b) { return std::memcmp(&a, &b, sizeof(double)) == 0; }

// Values that a text or careless binary path would damage.
std::vector<double> awkwardValues() {
    return {0.0, -0.0, 0.1, -1.0 / 3.0, 1e-310 /* subnormal */, DBL_MIN, DBL_MAX, -DBL_MAX,
            DBL_EPSILON, 123456789.123456789, -7.25e200, std::nextafter(1.0, 2.0)};
}

std::vector<Point2> awkwardPoints() {
    std::vector<double> v = awkwardValues();
    std::vector<Point2> pts;
    for (size_t i = 0; i < v.size(); ++i) pts.emplace_back(v[i], v[v.size() - 1 - i]);
    return pts;
}

} // namespace

// ---- binary points ------------------------------------------------------------------

TEST_F(Files, EmptyPointFileIsTwelveBytesAndReadsBackEmpty) {
    std::vector<Point2> none;
    ASSERT_TRUE(writePointsBIN(path("e.bin").c_str(), none));
    EXPECT_EQ(fs::file_size(path("e.bin")), 12u);
    EXPECT_EQ(readBytes(path("e.bin")), Bytes().i32(20).u64(0).s);
    std::vector<Point2> back;
    EXPECT_TRUE(readPointsBIN(path("e.bin").c_str(), back));
    EXPECT_TRUE(back.empty());
}

TEST_F(Files, PointFileHasTypeCountThenPackedCoordinates) {
    std::vector<Point2> pts{Point2(1.5, -2.0), Point2(0.1, 1e300)};
    ASSERT_TRUE(writePointsBIN(path("p.bin").c_str(), pts));
    EXPECT_EQ(fs::file_size(path("p.bin")), 12u + 16u * 2);
    EXPECT_EQ(readBytes(path("p.bin")), Bytes().i32(20).u64(2).d(1.5).d(-2.0).d(0.1).d(1e300).s);
}

TEST_F(Files, PointerOverloadWritesTheSameBytes) {
    std::vector<Point2> pts = awkwardPoints();
    std::vector<Point2*> ptrs;
    for (Point2& p : pts) ptrs.push_back(&p);
    ASSERT_TRUE(writePointsBIN(path("v.bin").c_str(), pts));
    ASSERT_TRUE(writePointsBIN(path("p.bin").c_str(), ptrs));
    EXPECT_EQ(readBytes(path("v.bin")), readBytes(path("p.bin")));
}

TEST_F(Files, PointRoundTripIsBitExactAndResetsVertexData) {
    std::vector<Point2> pts = awkwardPoints();
    for (size_t i = 0; i < 5000; ++i) pts.emplace_back(std::ldexp(double(i) * 0.7071, int(i % 40) - 20), -double(i) / 7.0);
    pts[0].setCustomIndex(17);
    ASSERT_TRUE(writePointsBIN(path("r.bin").c_str(), pts));
    EXPECT_EQ(fs::file_size(path("r.bin")), 12u + 16u * pts.size());
    std::vector<Point2> back;
    ASSERT_TRUE(readPointsBIN(path("r.bin").c_str(), back));
    ASSERT_EQ(back.size(), pts.size());
    for (size_t i = 0; i < pts.size(); ++i) {
        EXPECT_TRUE(sameBits(back[i].x(), pts[i].x()) && sameBits(back[i].y(), pts[i].y())) << i;
        EXPECT_EQ(back[i].getCustomIndex(), -1);
        EXPECT_EQ(back[i].getIncidentTriangle(), nullptr);
    }
}

TEST_F(Files, ReadingPointsAppends) {
    std::vector<Point2> pts{Point2(1, 2), Point2(3, 4)};
    ASSERT_TRUE(writePointsBIN(path("a.bin").c_str(), pts));
    std::vector<Point2> out{Point2(-1, -1)};
    ASSERT_TRUE(readPointsBIN(path("a.bin").c_str(), out));
    ASSERT_EQ(out.size(), 3u);
    EXPECT_EQ(out[0], Point2(-1, -1));
    EXPECT_EQ(out[2], Point2(3, 4));
}

TEST_F(Files, ThreeDimensionalPointFileDropsZ) {
    const size_t n = 3;
    Bytes b;
    b.i32(30).u64(n);
    for (size_t i = 0; i < n; ++i) b.d(double(i)).d(-double(i) - 0.5).d(1000.0 + double(i));
    writeBytes(path("p3.bin"), b.s);
    EXPECT_EQ(fs::file_size(path("p3.bin")), 12u + 24u * n);
    std::vector<Point2> out;
    ASSERT_TRUE(readPointsBIN(path("p3.bin").c_str(), out));
    ASSERT_EQ(out.size(), n);
    for (size_t i = 0; i < n; ++i) EXPECT_EQ(out[i], Point2(double(i), -double(i) - 0.5));
}

TEST_F(Files, PointReaderRejectsOtherTypesWithItsMessage) {
    std::vector<Segment2> segs{Segment2(Point2(0, 0), Point2(1, 1))};
    const std::string name = path("s.bin");
    ASSERT_TRUE(writeSegmentsBIN(name.c_str(), segs));
    std::vector<Point2> out{Point2(9, 9)};
    testing::internal::CaptureStdout();
    EXPECT_FALSE(readPointsBIN(name.c_str(), out));
    EXPECT_EQ(testing::internal::GetCapturedStdout(), name + " has wrong filetype 21, expected: 30 or 20\n");
    ASSERT_EQ(out.size(), 1u);
    EXPECT_EQ(out[0], Point2(9, 9));
}

TEST_F(Files, MissingPointFileCannotBeRead) {
    const std::string name = path("missing.bin");
    std::vector<Point2> out;
    testing::internal::CaptureStdout();
    EXPECT_FALSE(readPointsBIN(name.c_str(), out));
    EXPECT_EQ(testing::internal::GetCapturedStdout(), name + " can't be read\n");
    EXPECT_TRUE(out.empty());
}

TEST_F(Files, TruncatedPointFileKeepsCompleteRecordsAndFails) {
    writeBytes(path("t.bin"), Bytes().i32(20).u64(5).d(1).d(2).d(3).d(4).d(5).s);   // 2.5 records of 5
    std::vector<Point2> out;
    testing::internal::CaptureStdout();
    EXPECT_FALSE(readPointsBIN(path("t.bin").c_str(), out));
    EXPECT_EQ(testing::internal::GetCapturedStdout(), path("t.bin") + " is truncated\n");
    ASSERT_EQ(out.size(), 2u);
    EXPECT_EQ(out[1], Point2(3, 4));
}

TEST_F(Files, FileEndingInsideTheHeaderFails) {
    for (size_t len : {0u, 3u, 4u, 11u}) {
        writeBytes(path("h.bin"), Bytes().i32(20).u64(0).s.substr(0, len));
        std::vector<Point2> pts;
        std::vector<Segment2> segs;
        testing::internal::CaptureStdout();
        EXPECT_FALSE(readPointsBIN(path("h.bin").c_str(), pts)) << len;
        EXPECT_EQ(testing::internal::GetCapturedStdout(), path("h.bin") + " is truncated\n");
        EXPECT_TRUE(pts.empty());
        testing::internal::CaptureStdout();
        EXPECT_FALSE(readSegmentsBIN(path("h.bin").c_str(), segs)) << len;
        const std::string out = testing::internal::GetCapturedStdout();
        // With the type present, the segment reader first names the wrong type.
        if (len >= 4) EXPECT_EQ(out, path("h.bin") + " has wrong file type: 20 instead of 31 or 21\n");
        else EXPECT_EQ(out, path("h.bin") + " is truncated\n");
    }
}

TEST_F(Files, HugeCountInShortFileDoesNotAllocateIt) {
    writeBytes(path("c.bin"), Bytes().i32(20).u64(std::numeric_limits<uint64_t>::max()).d(7).d(8).s);
    std::vector<Point2> out;
    testing::internal::CaptureStdout();
    EXPECT_FALSE(readPointsBIN(path("c.bin").c_str(), out));
    testing::internal::GetCapturedStdout();
    ASSERT_EQ(out.size(), 1u);
    EXPECT_EQ(out[0], Point2(7, 8));
}

TEST_F(Files, UnwritablePointFileIsReported) {
    const std::string name = path("no/such/dir/p.bin");
    std::vector<Point2> pts{Point2(1, 1)};
    testing::internal::CaptureStdout();
    EXPECT_FALSE(writePointsBIN(name.c_str(), pts));
    EXPECT_EQ(testing::internal::GetCapturedStdout(), name + " can't be written\n");
}

// ---- binary segments ----------------------------------------------------------------

TEST_F(Files, SegmentFileHasTypeCountThenFourDoublesPerSegment) {
    std::vector<Segment2> segs{Segment2(Point2(1, 2), Point2(3, 4)), Segment2(Point2(-0.5, 0.25), Point2(1e-300, -0.0))};
    ASSERT_TRUE(writeSegmentsBIN(path("s.bin").c_str(), segs));
    EXPECT_EQ(fs::file_size(path("s.bin")), 12u + 32u * 2);
    EXPECT_EQ(readBytes(path("s.bin")),
              Bytes().i32(21).u64(2).d(1).d(2).d(3).d(4).d(-0.5).d(0.25).d(1e-300).d(-0.0).s);
}

TEST_F(Files, SegmentRoundTripKeepsDirectionAndBits) {
    std::vector<double> v = awkwardValues();
    std::vector<Segment2> segs;
    for (size_t i = 0; i + 3 < v.size(); ++i) segs.emplace_back(Point2(v[i], v[i + 1]), Point2(v[i + 3], v[i + 2]));
    for (int i = 0; i < 3000; ++i) segs.emplace_back(Point2(i, -i), Point2(i / 3.0, i * 1e-9));
    ASSERT_TRUE(writeSegmentsBIN(path("s.bin").c_str(), segs));
    EXPECT_EQ(fs::file_size(path("s.bin")), 12u + 32u * segs.size());
    std::vector<Segment2> back;
    ASSERT_TRUE(readSegmentsBIN(path("s.bin").c_str(), back));
    ASSERT_EQ(back.size(), segs.size());
    for (size_t i = 0; i < segs.size(); ++i) {
        EXPECT_TRUE(sameBits(back[i].getSrc().x(), segs[i].getSrc().x()) && sameBits(back[i].getSrc().y(), segs[i].getSrc().y()) &&
                    sameBits(back[i].getTrg().x(), segs[i].getTrg().x()) && sameBits(back[i].getTrg().y(), segs[i].getTrg().y()))
            << i;
    }
}

TEST_F(Files, EmptySegmentFileIsTwelveBytes) {
    std::vector<Segment2> none;
    ASSERT_TRUE(writeSegmentsBIN(path("e.bin").c_str(), none));
    EXPECT_EQ(readBytes(path("e.bin")), Bytes().i32(21).u64(0).s);
    std::vector<Segment2> back;
    EXPECT_TRUE(readSegmentsBIN(path("e.bin").c_str(), back));
    EXPECT_TRUE(back.empty());
}

TEST_F(Files, ThreeDimensionalSegmentFileDropsZ) {
    Bytes b;
    b.i32(31).u64(2).d(1).d(2).d(100).d(3).d(4).d(200).d(-1).d(-2).d(300).d(-3).d(-4).d(400);
    writeBytes(path("s3.bin"), b.s);
    EXPECT_EQ(fs::file_size(path("s3.bin")), 12u + 48u * 2);
    std::vector<Segment2> out;
    ASSERT_TRUE(readSegmentsBIN(path("s3.bin").c_str(), out));
    ASSERT_EQ(out.size(), 2u);
    EXPECT_EQ(out[0].getSrc(), Point2(1, 2));
    EXPECT_EQ(out[0].getTrg(), Point2(3, 4));
    EXPECT_EQ(out[1].getSrc(), Point2(-1, -2));
    EXPECT_EQ(out[1].getTrg(), Point2(-3, -4));
}

TEST_F(Files, SegmentReaderNamesAPointTypeInItsOwnWording) {
    std::vector<Point2> pts{Point2(1, 2)};
    const std::string name = path("p.bin");
    ASSERT_TRUE(writePointsBIN(name.c_str(), pts));
    std::vector<Segment2> out;
    testing::internal::CaptureStdout();
    EXPECT_FALSE(readSegmentsBIN(name.c_str(), out));
    EXPECT_EQ(testing::internal::GetCapturedStdout(), name + " has wrong file type: 20 instead of 31 or 21\n");
    EXPECT_TRUE(out.empty());
}

TEST_F(Files, PointReaderAcceptsNeitherSegmentType) {
    writeBytes(path("s3.bin"), Bytes().i32(31).u64(0).s);
    std::vector<Point2> out;
    testing::internal::CaptureStdout();
    EXPECT_FALSE(readPointsBIN(path("s3.bin").c_str(), out));
    EXPECT_EQ(testing::internal::GetCapturedStdout(), path("s3.bin") + " has wrong filetype 31, expected: 30 or 20\n");
}

TEST_F(Files, SegmentFileFailuresAreReported) {
    std::vector<Segment2> segs{Segment2(Point2(0, 0), Point2(1, 0))};
    const std::string bad = path("none/s.bin"), missing = path("missing.bin");
    testing::internal::CaptureStdout();
    EXPECT_FALSE(writeSegmentsBIN(bad.c_str(), segs));
    EXPECT_EQ(testing::internal::GetCapturedStdout(), bad + " can't be written\n");
    testing::internal::CaptureStdout();
    EXPECT_FALSE(readSegmentsBIN(missing.c_str(), segs));
    EXPECT_EQ(testing::internal::GetCapturedStdout(), missing + " can't be read\n");
    EXPECT_EQ(segs.size(), 1u);
}

TEST_F(Files, TruncatedSegmentFileKeepsCompleteRecords) {
    Bytes b;
    b.i32(21).u64(3).d(1).d(2).d(3).d(4).d(5).d(6);
    writeBytes(path("t.bin"), b.s);
    std::vector<Segment2> out;
    testing::internal::CaptureStdout();
    EXPECT_FALSE(readSegmentsBIN(path("t.bin").c_str(), out));
    EXPECT_EQ(testing::internal::GetCapturedStdout(), path("t.bin") + " is truncated\n");
    ASSERT_EQ(out.size(), 1u);
    EXPECT_EQ(out[0], Segment2(Point2(1, 2), Point2(3, 4)));
}

// ---- text points --------------------------------------------------------------------

TEST_F(Files, AsciiPointsAreOneLinePerPointWithEighteenDigits) {
    std::vector<Point2> pts{Point2(0.1, -2), Point2(1e-300, 123456789.125), Point2(-0.0, 1.0 / 3.0)};
    ASSERT_TRUE(writePointsASCII(path("p.txt").c_str(), pts));
    std::string expected;
    char buf[128];
    for (const Point2& p : pts) {
        std::snprintf(buf, sizeof(buf), "%.18g %.18g\n", p.x(), p.y());
        expected += buf;
    }
    EXPECT_EQ(readBytes(path("p.txt")), expected);
    EXPECT_EQ(expected.substr(0, 24), "0.100000000000000006 -2\n");
}

TEST_F(Files, AsciiPointerOverloadWritesTheSameText) {
    std::vector<Point2> pts = awkwardPoints();
    std::vector<Point2*> ptrs;
    for (Point2& p : pts) ptrs.push_back(&p);
    ASSERT_TRUE(writePointsASCII(path("v.txt").c_str(), pts));
    ASSERT_TRUE(writePointsASCII(path("p.txt").c_str(), ptrs));
    EXPECT_EQ(readBytes(path("v.txt")), readBytes(path("p.txt")));
}

TEST_F(Files, AsciiRoundTripThroughReadXYIsExact) {
    std::vector<Point2> pts;
    for (int i = 0; i < 2000; ++i) pts.emplace_back(std::ldexp(1.0 + i * 1e-7, i % 60 - 30), -std::sqrt(double(i)) / 3.0);
    ASSERT_TRUE(writePointsASCII(path("r.txt").c_str(), pts));
    std::vector<Point2> back;
    ASSERT_TRUE(readXY(path("r.txt").c_str(), back));
    ASSERT_EQ(back.size(), pts.size());
    for (size_t i = 0; i < pts.size(); ++i) EXPECT_EQ(back[i], pts[i]) << i;
}

TEST_F(Files, EmptyAsciiFileIsEmpty) {
    std::vector<Point2> none;
    ASSERT_TRUE(writePointsASCII(path("e.txt").c_str(), none));
    EXPECT_EQ(fs::file_size(path("e.txt")), 0u);
    std::vector<Point2> back;
    EXPECT_TRUE(readXY(path("e.txt").c_str(), back));
    EXPECT_TRUE(back.empty());
}

TEST_F(Files, UnwritableAsciiFileIsReported) {
    const std::string name = path("none/p.txt");
    std::vector<Point2> pts{Point2(1, 1)};
    testing::internal::CaptureStdout();
    EXPECT_FALSE(writePointsASCII(name.c_str(), pts));
    EXPECT_EQ(testing::internal::GetCapturedStdout(), name + " can't be written\n");
}

TEST_F(Files, ReadXYTakesAnyWhitespaceAndStopsAtTheFirstNonNumber) {
    writeBytes(path("xy.txt"), "1 2\n\n  3\t4\r\n-5e-1 +6 7 x 8 9\n");
    std::vector<Point2> out{Point2(0, 0)};
    EXPECT_TRUE(readXY(path("xy.txt").c_str(), out));
    ASSERT_EQ(out.size(), 4u);
    EXPECT_EQ(out[1], Point2(1, 2));
    EXPECT_EQ(out[2], Point2(3, 4));
    EXPECT_EQ(out[3], Point2(-0.5, 6));   // the lone 7 before "x" has no partner
    EXPECT_EQ(out[3].getCustomIndex(), -1);
}

TEST_F(Files, ReadXYOfAMissingFileIsUnreadable) {
    const std::string name = path("missing.txt");
    std::vector<Point2> out;
    testing::internal::CaptureStdout();
    EXPECT_FALSE(readXY(name.c_str(), out));
    EXPECT_EQ(testing::internal::GetCapturedStdout(), name + " is unreadable\n");
    EXPECT_TRUE(out.empty());
}

TEST_F(Files, ADirectoryIsNeitherReadNorWritten) {
    std::vector<Point2> pts;
    std::vector<Segment2> segs;
    const std::string d = dir;
    testing::internal::CaptureStdout();
    EXPECT_FALSE(readPointsBIN(d.c_str(), pts));
    EXPECT_FALSE(readSegmentsBIN(d.c_str(), segs));
    EXPECT_FALSE(readXY(d.c_str(), pts));
    EXPECT_FALSE(writePointsBIN(d.c_str(), pts));
    EXPECT_FALSE(writeSegmentsBIN(d.c_str(), segs));
    EXPECT_FALSE(writePointsASCII(d.c_str(), pts));
    EXPECT_EQ(testing::internal::GetCapturedStdout(), d + " can't be read\n" + d + " can't be read\n" + d +
                                                          " is unreadable\n" + d + " can't be written\n" + d +
                                                          " can't be written\n" + d + " can't be written\n");
}

// ---- version ------------------------------------------------------------------------

TEST(Version, NumbersAndText) {
    EXPECT_EQ(getMajorVersionNumber(), 1);
    EXPECT_EQ(getMinorVersionNumber(), 81);
    EXPECT_EQ(getRevisionNumber(), 493);
    EXPECT_TRUE(isRelease());
    EXPECT_EQ(getLumo2DVersion(), "Lumo2D 1.81.493");
    EXPECT_EQ(getLumo2DVersion(), getLumo2DVersion());
}
