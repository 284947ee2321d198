// Point and segment files: exact byte layouts, round trips, what every reader returns, appends
// and prints for hand-made files (the strict ones as a host calls them), format detection.
// More of the strict readers' messages, readPointFile on files and the version text are checked
// through the lumo2d tool (test_cli.cpp); null names, unwritable paths and directories are rows
// of test_misuse.cpp.
#include <gtest/gtest.h>
#include <algorithm>
#include <cfloat>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <fstream>
#include <functional>
#include <string>
#include "Lumo_2D.h"
#include "MessageText.h"
#include "ScopedTempDir.h"

using namespace ORBI_LUMO2D;

namespace {
using lumo_test::readFile;

// Little builder for hand-made files: appends raw native values.
struct Bytes {
    std::string s;
    Bytes& i32(int32_t v) { s.append(reinterpret_cast<const char*>(&v), 4); return *this; }
    Bytes& u64(uint64_t v) { s.append(reinterpret_cast<const char*>(&v), 8); return *this; }
    Bytes& d(std::initializer_list<double> vs) {
        for (double v : vs) s.append(reinterpret_cast<const char*>(&v), 8);
        return *this;
    }
};

bool sameBits(double a, double b) { return std::memcmp(&a, &b, sizeof(double)) == 0; }
bool sameBits(const Point2& a, const Point2& b) { return sameBits(a.x(), b.x()) && sameBits(a.y(), b.y()); }

// Values that a text or careless binary path would damage, and many ordinary ones.
std::vector<Point2> awkwardPoints() {
    const std::vector<double> v{0.0, -0.0, 0.1, -1.0 / 3.0, 1e-310 /* subnormal */, DBL_MIN, DBL_MAX, -DBL_MAX,
                                DBL_EPSILON, 123456789.123456789, -7.25e200, std::nextafter(1.0, 2.0)};
    std::vector<Point2> pts;
    for (size_t i = 0; i < v.size(); ++i) pts.emplace_back(v[i], v[v.size() - 1 - i]);
    for (int i = 0; i < 3000; ++i) pts.emplace_back(std::ldexp(1.0 + i * 1e-7, i % 60 - 30), -std::sqrt(double(i)) / 3.0);
    return pts;
}
} // namespace

// ---- writers: exact layouts ------------------------------------------------------------

TEST(Files, WrittenBytesAreTypeCountThenPackedCoordinates) {
    lumo_test::ScopedTempDir tmp;
    std::vector<Point2> none, pts{Point2(1.5, -2.0), Point2(0.1, 1e300)};
    std::vector<Segment2> noSegs, segs{Segment2(Point2(1, 2), Point2(3, 4)), Segment2(Point2(-0.5, 0.25), Point2(1e-300, -0.0))};
    const struct {
        std::function<bool()> write;
        std::string bytes;
    } aCases[] = {
        {[&] { return writePointsBIN("f", none); }, Bytes().i32(20).u64(0).s},
        {[&] { return writePointsBIN("f", pts); }, Bytes().i32(20).u64(2).d({1.5, -2.0, 0.1, 1e300}).s},
        {[&] { return writeSegmentsBIN("f", noSegs); }, Bytes().i32(21).u64(0).s},
        {[&] { return writeSegmentsBIN("f", segs); }, Bytes().i32(21).u64(2).d({1, 2, 3, 4, -0.5, 0.25, 1e-300, -0.0}).s},
        {[&] { return writePointsASCII("f", none); }, ""},
        {[&] { return writePointsASCII("f", pts); }, "1.5 -2\n0.100000000000000006 1.00000000000000005e+300\n"},
    };
    for (const auto& c : aCases) {
        ASSERT_TRUE(c.write());
        EXPECT_EQ(readFile("f"), c.bytes);
    }
}

TEST(Files, RoundTripsAreBitExactAndPointerOverloadsWriteTheSame) {
    lumo_test::ScopedTempDir tmp;
    std::vector<Point2> pts = awkwardPoints();
    pts[0].setCustomIndex(17);
    std::vector<Point2*> ptrs;
    for (Point2& p : pts) ptrs.push_back(&p);
    ASSERT_TRUE(writePointsBIN("v.bin", pts) && writePointsBIN("p.bin", ptrs));
    ASSERT_TRUE(writePointsASCII("v.txt", pts) && writePointsASCII("p.txt", ptrs));
    EXPECT_EQ(readFile("v.bin"), readFile("p.bin"));
    EXPECT_EQ(readFile("v.txt"), readFile("p.txt"));
    std::vector<Segment2> segs;
    for (size_t i = 0; i + 1 < pts.size(); ++i) segs.emplace_back(pts[i], pts[i + 1]);
    ASSERT_TRUE(writeSegmentsBIN("s.bin", segs));

    std::vector<Point2> fromBin{Point2(-1, -1)}, fromText;  // readers append
    std::vector<Segment2> back;
    ASSERT_TRUE(readPointsBIN("v.bin", fromBin) && readXY("v.txt", fromText) && readSegmentsBIN("s.bin", back));
    ASSERT_TRUE(fromBin.size() == pts.size() + 1 && fromText.size() == pts.size() && back.size() == segs.size());
    for (size_t i = 0; i < pts.size(); ++i) {
        EXPECT_TRUE(sameBits(fromBin[i + 1], pts[i])) << i;
        EXPECT_EQ(fromText[i], pts[i]) << i;  // 18 digits: exact, but -0 may read as 0
        EXPECT_EQ(fromBin[i + 1].getCustomIndex(), -1);
    }
    for (size_t i = 0; i < segs.size(); ++i)
        EXPECT_TRUE(sameBits(back[i].getSrc(), segs[i].getSrc()) && sameBits(back[i].getTrg(), segs[i].getTrg())) << i;
}

// ---- readers on hand-made files ----------------------------------------------------------

// What each reader returns, appends (bit for bit, with the custom indices) and prints for files
// made byte by byte; the strict readers append all or nothing.
TEST(Files, ReadersOnHandMadeFiles) {
    lumo_test::ScopedTempDir tmp;
    const double NaN = std::nan(""), Inf = HUGE_VAL;
    const std::string header20 = Bytes().i32(20).u64(0).s;
    const std::string notNumber = " has a token that is not a number after ", trailing = " announced record(s); they are ignored\n";
    typedef std::function<bool(std::vector<Point2>&, std::vector<Segment2>&)> Reader;
    const Reader points = [](std::vector<Point2>& v, std::vector<Segment2>&) { return readPointsBIN("f", v); };
    const Reader segments = [](std::vector<Point2>&, std::vector<Segment2>& v) { return readSegmentsBIN("f", v); };
    const Reader text = [](std::vector<Point2>& v, std::vector<Segment2>&) { return readXY("f", v); };
    auto strict = [](PointFileFormat format) -> Reader {
        return [format](std::vector<Point2>& v, std::vector<Segment2>&) {
            std::ifstream in("f", std::ios::binary);
            return readPointStream(in, "f", format, v);
        };
    };
    const struct {
        const char* what;
        std::string bytes;
        Reader read;
        bool ok;
        std::string out;           // with "f" for the file's name
        std::vector<double> got;   // x, y of the points (or source and target of the segments)
        int firstIndex;            // the first point's custom index, counting up; -1: all -1
    } aCases[] = {
        {"3D points drop z", Bytes().i32(30).u64(2).d({0, -0.5, 1000, 1, -1.5, 1001}).s, points, true, "", {0, -0.5, 1, -1.5}, -1},
        {"3D segments drop z", Bytes().i32(31).u64(1).d({1, 2, 100, 3, 4, 200}).s, segments, true, "", {1, 2, 3, 4}, -1},
        {"segments as points", Bytes().i32(21).u64(0).s, points, false, "f has wrong filetype 21, expected: 30 or 20\n", {}, -1},
        {"3D segments as points", Bytes().i32(31).u64(0).s, points, false, "f has wrong filetype 31, expected: 30 or 20\n", {}, -1},
        {"points as segments", header20, segments, false, "f has wrong file type: 20 instead of 31 or 21\n", {}, -1},
        {"truncated points keep whole records", Bytes().i32(20).u64(5).d({1, 2, 3, 4, 5}).s, points, false, "f is truncated\n", {1, 2, 3, 4}, -1},
        {"truncated segments keep whole records", Bytes().i32(21).u64(3).d({1, 2, 3, 4, 5, 6}).s, segments, false, "f is truncated\n",
         {1, 2, 3, 4}, -1},
        {"a count whose byte size overflows", Bytes().i32(20).u64(UINT64_MAX / 2).d({1, 2}).s, points, false, "f is truncated\n", {1, 2}, -1},
        {"empty file", "", points, false, "f is truncated\n", {}, -1},
        {"three bytes", header20.substr(0, 3), segments, false, "f is truncated\n", {}, -1},
        {"type without count", header20.substr(0, 4), points, false, "f is truncated\n", {}, -1},
        // With the type present, the segment reader first names the wrong type.
        {"type without count, segments", header20.substr(0, 11), segments, false, "f has wrong file type: 20 instead of 31 or 21\n", {}, -1},
        {"bytes after the records", Bytes().i32(20).u64(1).d({1, 2}).s + "xxxxx", points, true, "f has 5 byte(s) after the 1" + trailing, {1, 2}, -1},
        {"non-finite points are kept and counted, a NaN z is not", Bytes().i32(30).u64(3).d({1, 2, NaN, NaN, 3, 4, 5, Inf, 6}).s, points, true,
         "f holds 2 record(s) with a NaN or infinite coordinate, the first one at index 1\n", {1, 2, NaN, 3, 5, Inf}, -1},
        {"a non-finite segment and bytes after it", Bytes().i32(21).u64(1).d({0, 0, -Inf, 1, 9}).s, segments, true,
         "f holds 1 record(s) with a NaN or infinite coordinate, the first one at index 0\nf has 8 byte(s) after the 1" + trailing, {0, 0, -Inf, 1}, -1},
        {"text takes any whitespace", "1 2\n\n  3\t4\r\n-5e-1 +6 ", text, true, "", {1, 2, 3, 4, -0.5, 6}, -1},
        {"text stops at a word", "1 2\n3 4\nfive 6\n7 8\n", text, true, "f" + notNumber + "2 point(s); reading stopped there\n", {1, 2, 3, 4}, -1},
        {"text without a number", "hello", text, true, "f" + notNumber + "0 point(s); reading stopped there\n", {}, -1},
        {"text ends with x without y", "1 2 3\n", text, true, "f ends with an x value without y after 1 point(s); it is ignored\n", {1, 2}, -1},
        {"strict xy: comments, blank lines, CR", "1 2\r\n3 4 # c\n\n", strict(PFF_XY), true, "", {1, 2, 3, 4}, -1},
        {"strict xy: a line of three", "1 2\n3 4 5\n", strict(PFF_XY), false, "f:2: expected 2 numbers (x y), found 3\n", {}, -1},
        {"strict node: indices kept, attributes dropped", "2 2 1 0\n7 1 2 9.5\n8 3 4 -1\n", strict(PFF_NODE), true, "", {1, 2, 3, 4}, 7},
        {"strict node: fewer points than announced", "2 2 0 0\n7 1 2\n", strict(PFF_NODE), false,
         "f: the header announces 2 points, the file holds 1\n", {}, -1},
        {"strict CSV: columns by header", "Y,x\n1,2\n3,4\n", strict(PFF_CSV), true, "", {2, 1, 4, 3}, -1},
        {"strict CSV: a record of three", "x,y\n1,2\n3,4,5\n", strict(PFF_CSV), false, "f:3: expected 2 comma-separated fields, found 3\n", {}, -1},
        {"strict, detected: subnormal numbers are numbers", "0 4.9e-324\n", strict(PFF_AUTO), true, "", {0, 4.9e-324}, -1},
    };
    for (const auto& c : aCases) {
        SCOPED_TRACE(c.what);
        std::ofstream("f", std::ios::binary) << c.bytes;
        const Point2 p0(-7, -7);   // the readers append
        std::vector<Point2> v{p0};
        std::vector<Segment2> vSeg{Segment2(p0, Point2(7, 7))};
        bool ok = false;
        EXPECT_EQ(lumo_test::stdoutOf([&] { ok = c.read(v, vSeg); }), c.out);
        EXPECT_EQ(ok, c.ok);
        ASSERT_TRUE(sameBits(v[0], p0) && sameBits(vSeg[0].getSrc(), p0));
        std::vector<double> got;
        for (size_t i = 1; i < v.size(); ++i) {
            got.insert(got.end(), {v[i].x(), v[i].y()});
            EXPECT_EQ(v[i].getCustomIndex(), c.firstIndex < 0 ? -1 : c.firstIndex + int(i) - 1);
        }
        for (size_t i = 1; i < vSeg.size(); ++i)
            got.insert(got.end(), {vSeg[i].getSrc().x(), vSeg[i].getSrc().y(), vSeg[i].getTrg().x(), vSeg[i].getTrg().y()});
        EXPECT_TRUE(got.size() == c.got.size() && std::equal(got.begin(), got.end(), c.got.begin(), [](double a, double b) { return sameBits(a, b); }));
    }
}

// ---- strict point readers ---------------------------------------------------------------

TEST(PointReaders, DetectionByContentAndName) {
    const std::string binary("\x14\0\0\0\0\0\0\0\0\0\0\0", 12);
    const struct {
        std::string head, name;
        PointFileFormat expected;
    } aCases[] = {
        {binary, "p.txt", PFF_BINARY},
        {std::string("\x07\0garbage", 9), "p.txt", PFF_BINARY},  // no text holds NUL
        {"1 2\n", "p.node", PFF_NODE},
        {"1 2\n", "P.CSV", PFF_CSV},
        {"# comment\n\n1,2\n", "p", PFF_CSV},
        {"x;y\nx,y\n", "p", PFF_XY},
        {"4 2 0 1\n", "p", PFF_NODE},
        {"4 3 0 1\n", "p", PFF_XY},
        {"4 2 0.5 1\n", "p", PFF_XY},
        {"1 2\n", "p.txt", PFF_XY},
        {"", "p", PFF_XY},
    };
    for (const auto& c : aCases) EXPECT_EQ(detectPointFileFormat(c.head, c.name), c.expected) << c.head;
    EXPECT_STREQ(getString(PFF_NODE), "node");
}
