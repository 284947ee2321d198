// The strict point readers as a host calls them: detection, all-or-nothing results, indices.
// (Their messages are checked through the lumo2d tool in test_cli.cpp.)
#include <gtest/gtest.h>
#include <cstring>
#include <sstream>
#include <string>
#include <vector>
#include "Lumo_2D.h"
#include "ScopedTempDir.h"

using namespace ORBI_LUMO2D;

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
}

TEST(PointReaders, ReadAllOrNothing) {
    const struct {
        const char* text;
        PointFileFormat format;
        std::vector<double> xy;  // empty: the read fails
        std::vector<int> customIndices;
    } aCases[] = {
        {"1 2\r\n3 4 # c\n\n", PFF_XY, {1, 2, 3, 4}, {-1, -1}},
        {"1 2\n3 4 5\n", PFF_XY, {}, {}},
        {"2 2 1 0\n7 1 2 9.5\n8 3 4 -1\n", PFF_NODE, {1, 2, 3, 4}, {7, 8}},
        {"2 2 0 0\n7 1 2\n", PFF_NODE, {}, {}},
        {"Y,x\n1,2\n3,4\n", PFF_CSV, {2, 1, 4, 3}, {-1, -1}},
        {"x,y\n1,2\n3,4,5\n", PFF_CSV, {}, {}},
        {"0 4.9e-324\n", PFF_AUTO, {0, 4.9e-324}, {-1}},  // subnormal numbers are numbers
    };
    for (const auto& c : aCases) {
        std::vector<Point2> v{Point2(-7, -7)};
        std::istringstream in(c.text);
        testing::internal::CaptureStdout();
        const bool bRead = readPointStream(in, "in", c.format, v);
        const std::string out = testing::internal::GetCapturedStdout();
        EXPECT_EQ(bRead, !c.xy.empty()) << c.text;
        EXPECT_EQ(out.empty(), bRead) << out;
        ASSERT_EQ(v.size(), 1 + c.xy.size() / 2) << c.text;
        for (size_t i = 1; i < v.size(); ++i) {
            EXPECT_EQ(v[i], Point2(c.xy[2 * i - 2], c.xy[2 * i - 1]));
            EXPECT_EQ(v[i].getCustomIndex(), c.customIndices[i - 1]);
        }
    }
}

TEST(PointReaders, BinaryRoundTripAndFileErrors) {
    lumo_test::ScopedTempDir tmp;
    std::vector<Point2> v{Point2(1, 2), Point2(-3, 4.5)}, back;
    testing::internal::CaptureStdout();
    ASSERT_TRUE(writePointsBIN("readers_rt.bin", v));
    PointFileFormat format = PFF_AUTO;
    EXPECT_TRUE(readPointFile("readers_rt.bin", PFF_AUTO, back, &format));
    EXPECT_FALSE(readPointFile("no_such_dir_r/x.txt", PFF_AUTO, back));
    EXPECT_FALSE(readPointFile(nullptr, PFF_AUTO, back));
    const std::string out = testing::internal::GetCapturedStdout();
    EXPECT_EQ(format, PFF_BINARY);
    EXPECT_EQ(back, v);
    EXPECT_NE(out.find("no_such_dir_r/x.txt: cannot be opened: No such file or directory\n"), std::string::npos) << out;
    EXPECT_STREQ(getString(PFF_NODE), "node");
}
