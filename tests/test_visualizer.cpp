// PostScript drawings: colours, the colour cycle, and the exact page layout of Visualizer2.
#include <gtest/gtest.h>
#include <cstdio>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>
#include "Lumo_2D.h"

using namespace ORBI_LUMO2D;

namespace {
std::string readFile(const std::string& name) {
    std::ifstream f(name);
    std::stringstream ss;
    ss << f.rdbuf();
    return ss.str();
}

std::vector<std::string> lines(const std::string& text) {
    std::vector<std::string> v;
    std::stringstream ss(text);
    for (std::string l; std::getline(ss, l);) v.push_back(l);
    return v;
}

size_t countLines(const std::string& text, const std::string& line) {
    size_t n = 0;
    for (const std::string& l : lines(text)) n += (l == line);
    return n;
}

// Compares line by line so that a failure names the first differing line.
void expectSameLines(const std::vector<std::string>& expected, const std::vector<std::string>& actual) {
    ASSERT_EQ(expected.size(), actual.size());
    for (size_t i = 0; i < expected.size(); ++i) EXPECT_EQ(expected[i], actual[i]) << "line " << i;
}
} // namespace

// ---- Color ---------------------------------------------------------------------------

TEST(Color, NamedColoursTakeTheirRgbTriples) {
    const Color orange(CORANGE, 0.5f, true);
    EXPECT_FLOAT_EQ(orange.getR(), 1.0f);
    EXPECT_FLOAT_EQ(orange.getG(), 0.627f);
    EXPECT_FLOAT_EQ(orange.getB(), 0.0f);
    EXPECT_FLOAT_EQ(orange.getWidth(), 0.5f);
    EXPECT_TRUE(orange.isFill());
    const Color brown(CDARKBROWN, 1.0f, false);
    EXPECT_FLOAT_EQ(brown.getR(), 0.545f);
    EXPECT_FLOAT_EQ(brown.getG(), 0.271f);
    EXPECT_FLOAT_EQ(brown.getB(), 0.074f);
    EXPECT_EQ(Color(CWHITE, 1.0f, false), Color(1.0, 1.0, 1.0, 1.0, false));
    EXPECT_EQ(Color(CLAWNGREEN, 2.0f, true), Color(0.49, 0.99, 0.0, 2.0, true));
}

TEST(Color, UnknownNameWarnsAndGivesBlack) {
    testing::internal::CaptureStdout();
    const Color c(Colorname(17), 1.0f, false);
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "\n      [Lumo2D-Message] Color::Color, WARNING: Colorname unknown, returning black\n\n");
    EXPECT_EQ(c, Color(CBLACK, 1.0f, false));
}

TEST(Color, OrderKeysAMapAndDistinguishesWidthAndFill) {
    const Color a(CRED, 1.0f, false), b(CRED, 1.0f, true), c(CRED, 2.0f, false);
    EXPECT_NE(a, b);
    EXPECT_NE(a, c);
    EXPECT_TRUE(a < b || b < a);
    EXPECT_TRUE(a < c || c < a);
    EXPECT_FALSE(a < a);
    EXPECT_TRUE(Color(CBLUE, 1.0f, false) < Color(CRED, 1.0f, false));
}

TEST(Color, NextColorNameCyclesOneToFourteen) {
    Color::currentColorName = 0;
    std::vector<int> got;
    for (int i = 0; i < 30; ++i) got.push_back(int(Color::getNextColorName()));
    std::vector<int> expected;
    for (int i = 0; i < 30; ++i) expected.push_back(1 + i % 14);
    EXPECT_EQ(got, expected);
    for (int i = 0; i < 100; ++i) {
        const Colorname c = Color::getNextColorName();
        EXPECT_NE(c, CRED);
        EXPECT_NE(c, CYELLOW);
        EXPECT_NE(c, CWHITE);
    }
}

// ---- Visualizer2: the page ------------------------------------------------------------

TEST(Visualizer2, SmallSceneHasTheExactLayout) {
    const std::string fn = "vis_scene.ps";
    Point2 a(0, 0), b(10, 0), c(0, 10), d(10, 10);
    Triangle2 filled, unfilled;
    filled.setProperties(&a, &b, &c);
    unfilled.setProperties(&b, &d, &c);
    testing::internal::CaptureStdout();
    {
        Visualizer2 vis(fn);
        vis.addHeaderLine("hello");
        vis.addObject(filled, Color(CRED, 0.5f, true));
        vis.addObject(unfilled, Color(CBLUE, 0.1f, false));
        vis.addObject(Circle2(Point2(5, 5), 4.0), Color(CGREEN, 0.2f, false));
        vis.addObject(Segment2(a, d), Color(CPINK, 0.3f, false));
        vis.addObject(d, Color(CGRAY, 0.25f, false));
        vis.addObject(Label(Point2(1, 1), "A\nB", 10), Color(CBLACK, 0.01f, false));
        vis.writeFile();
    }
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "Visualizer2:: Writing vis_scene.ps\n");
    std::vector<std::string> got = lines(readFile(fn));
    // The edition line's wording is free; its frame is not.
    ASSERT_GT(got.size(), 21u);
    EXPECT_EQ(got[21].front(), '(');
    EXPECT_EQ(got[21].substr(got[21].size() - 6), ")\tshow");
    got[21] = "(EDITION)\tshow";
    const std::vector<std::string> expected = {
        "%!PS-Adobe-1.0",
        "\t%%Creator: ORBI PostscriptWriter",
        "\t%%Title: vis_scene.ps",
        "\t%%CreationDate: none",
        "\t%%DocumentMedia: A4 595 842 0 () ()",
        "\t%%Orientation: Portrait",
        "\t%%Pages: 1\t%%DocumentFonts: Times-Roman Helvetica",
        "\t%%EndComments",
        "\t%%BeginProlog",
        "\t%%EndProlog",
        "\t%%Page: ORBI PostscriptWriter 1",
        "0.05\tsetlinewidth",
        "\t0\t0\t0\tsetrgbcolor",
        "\t/Times-Roman findfont 17 scalefont",
        "\tsetfont",
        "40\t740\tmoveto",
        "\t(vis_scene.ps)\tshow",
        "0.4\t0.4\t0.4\tsetrgbcolor",
        "\t/Times-Roman findfont 10 scalefont",
        "\tsetfont",
        "40\t725\tmoveto",
        "(EDITION)\tshow",
        "0.0\t0.0\t0.0\tsetrgbcolor",
        "\t/Times-Roman findfont 10 scalefont",
        "\tsetfont",
        "40\t705\tmoveto",
        "(x-Range: [0 - 10] =10)\tshow",
        "40\t695\tmoveto",
        "(y-Range: [0 - 10] =10)\tshow",
        // header: one line of 5 characters gives font 12, pitch 14
        "0.0\t0.0\t0.0\tsetrgbcolor",
        "\t/Times-Roman findfont 12 scalefont",
        "\tsetfont",
        "240\t695\tmoveto",
        "(hello)\tshow",
        "237\t692\tmoveto",
        "237\t709\tlineto",
        "237\t692\tmoveto",
        "570\t692\tlineto",
        "570\t692\tlineto",
        // triangles, colour groups in colour order: blue before red; scale 48
        "stroke",
        "0\t0\t1\tsetrgbcolor",
        "0.1\tsetlinewidth",
        "530\t200\tmoveto",
        "530\t680\tlineto",
        "50\t680\tlineto",
        "closepath",
        "stroke",
        "stroke",
        "stroke",
        "1\t0\t0\tsetrgbcolor",
        "0.5\tsetlinewidth",
        "50\t200\tmoveto",
        "530\t200\tlineto",
        "50\t680\tlineto",
        "closepath",
        "gsave",
        "  fill",
        "grestore",
        "  0.3 0.3 .3 setrgbcolor",
        "0.5\tsetlinewidth",
        "stroke",
        "stroke",
        "1\t0\t0\tsetrgbcolor",
        "0.5\tsetlinewidth",
        "stroke",
        // segment
        "stroke",
        "1\t0.4\t0.7\tsetrgbcolor",
        "0.3\tsetlinewidth",
        "50\t200\tmoveto",
        "530\t680\tlineto",
        "stroke",
        // point: a cross of half-size 1.5
        "stroke",
        "0.3\t0.3\t0.3\tsetrgbcolor",
        "0.25\tsetlinewidth",
        "528.5\t678.5\tmoveto",
        "531.5\t681.5\tlineto",
        "528.5\t681.5\tmoveto",
        "531.5\t678.5\tlineto",
        "stroke",
        // circle of radius 2 at (5,5)
        "stroke",
        "0\t1\t0\tsetrgbcolor",
        "0.2\tsetlinewidth",
        "386\t440\tmoveto",
        "290\t440\t96\t0\t360\tarc",
        "stroke",
        // label of two lines
        "stroke",
        "0\t0\t0\tsetrgbcolor",
        "0.01\tsetlinewidth",
        "/Arial findfont 10 scalefont",
        " setfont",
        "98\t248\tmoveto",
        "(A)\tshow",
        "98\t236\tmoveto",
        "(B)\tshow",
        "stroke",
        "stroke",
        "showpage",
        "%%Trailer",
    };
    expectSameLines(expected, got);
    std::remove(fn.c_str());
}

TEST(Visualizer2, SinglePointWidensTheYRangeToAFiniteScale) {
    testing::internal::CaptureStdout();
    {
        Visualizer2 vis("vis_point.ps");
        vis.addObject(Point2(2, 3), Color(CBLACK, 1.0f, false));
        vis.writeFile();
    }
    testing::internal::GetCapturedStdout();
    const std::string ps = readFile("vis_point.ps");
    EXPECT_NE(ps.find("(x-Range: [2 - 2] =0)\tshow\n"), std::string::npos);
    EXPECT_NE(ps.find("(y-Range: [3 - 4] =1)\tshow\n"), std::string::npos);
    // scale 480: the point maps to (50, 200)
    EXPECT_NE(ps.find("48.5\t198.5\tmoveto\n51.5\t201.5\tlineto\n"), std::string::npos) << ps;
    EXPECT_EQ(ps.find("inf"), std::string::npos);
    EXPECT_EQ(ps.find("nan"), std::string::npos);
    std::remove("vis_point.ps");
}

TEST(Visualizer2, ElevenHeaderLinesKeepTenAndWarnOnce) {
    testing::internal::CaptureStdout();
    Visualizer2 vis("vis_header.ps");
    for (int i = 0; i < 11; ++i) vis.addHeaderLine("line" + std::to_string(i) + "_____");
    const std::string out = testing::internal::GetCapturedStdout();
    EXPECT_EQ(out, "Visualizer2:: Writing vis_header.ps\n"
                   "\n      [Lumo2D-Message] Visualizer2::addHeaderLine(), WARNING: skipping text [\"line10_____\"], "
                   "maximum number of header lines reached\n\n");
    testing::internal::CaptureStdout();
    vis.writeFile();
    testing::internal::GetCapturedStdout();
    const std::string ps = readFile("vis_header.ps");
    // ten lines of ten characters: font min(100/10-2, 12, 500/10) = 8, pitch 10
    EXPECT_NE(ps.find("\t/Times-Roman findfont 8 scalefont\n"), std::string::npos);
    EXPECT_NE(ps.find("240\t785\tmoveto\n(line0_____)\tshow\n"), std::string::npos);
    EXPECT_NE(ps.find("240\t695\tmoveto\n(line9_____)\tshow\n"), std::string::npos);
    EXPECT_EQ(ps.find("line10"), std::string::npos);
    EXPECT_NE(ps.find("237\t692\tmoveto\n237\t795\tlineto\n"), std::string::npos);
    std::remove("vis_header.ps");
}

TEST(Visualizer2, LongHeaderLineIsCutTo120Characters) {
    const std::string longLine(200, 'x');
    testing::internal::CaptureStdout();
    {
        Visualizer2 vis("vis_long.ps");
        vis.addHeaderLine(longLine);
        vis.writeFile();
    }
    testing::internal::GetCapturedStdout();
    const std::string ps = readFile("vis_long.ps");
    // L = 120 gives 500/120 = 4, raised to the minimum size 6
    EXPECT_NE(ps.find("\t/Times-Roman findfont 6 scalefont\n"), std::string::npos);
    EXPECT_NE(ps.find("(" + std::string(120, 'x') + ")\tshow\n"), std::string::npos);
    EXPECT_EQ(ps.find(std::string(121, 'x')), std::string::npos);
    std::remove("vis_long.ps");
}

TEST(Visualizer2, SecondWriteWarnsAndLateAddIsAnAssertion) {
    testing::internal::CaptureStdout();
    Visualizer2 vis("vis_twice.ps");
    vis.addObject(Point2(0, 0), Color());
    vis.writeFile();
    testing::internal::GetCapturedStdout();
    testing::internal::CaptureStdout();
    vis.writeFile();
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "\n      [Lumo2D-Message] Visualizer2::writeFile(), WARNING: No effect. File has already been closed\n\n");
    testing::internal::CaptureStdout();
    EXPECT_THROW(vis.addObject(Point2(1, 1), Color()), LumoException);
    EXPECT_THROW(vis.addHeaderLine("late"), LumoException);
    const std::string out = testing::internal::GetCapturedStdout();
    EXPECT_NE(out.find("Condition [ !bFileClosed failed ]"), std::string::npos);
    std::remove("vis_twice.ps");
}

TEST(Visualizer2, DestructorCompletesAnUnfinishedFile) {
    testing::internal::CaptureStdout();
    {
        Visualizer2 vis("vis_unfinished.ps");
        vis.addObject(Segment2(Point2(0, 0), Point2(1, 1)), Color(CRED, 1.0f, false));
    }
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "Visualizer2:: Writing vis_unfinished.ps\n"
              "Calling Visualizer2::writeFile() to complete an unfinished visualization [vis_unfinished.ps]\n");
    const std::string ps = readFile("vis_unfinished.ps");
    EXPECT_EQ(ps.substr(ps.size() - 33), "stroke\nstroke\nshowpage\n%%Trailer\n");
    std::remove("vis_unfinished.ps");
}

TEST(Visualizer2, CirclesExtendTheBoxAndBreakPathsEveryFifty) {
    testing::internal::CaptureStdout();
    {
        Visualizer2 vis("vis_circles.ps");
        for (int i = 0; i < 100; ++i) vis.addObject(Circle2(Point2(i, 0), 1.0), Color(CBLUE, 0.1f, true));
        vis.writeFile();
    }
    testing::internal::GetCapturedStdout();
    const std::string ps = readFile("vis_circles.ps");
    EXPECT_NE(ps.find("(x-Range: [-1 - 100] =101)\tshow\n"), std::string::npos);
    EXPECT_NE(ps.find("(y-Range: [-1 - 1] =2)\tshow\n"), std::string::npos);
    EXPECT_EQ(countLines(ps, "arc") + countLines(ps, "gsave"), 100u);
    // group stroke before and after, the final stroke, and one per fifty circles of a
    // process-wide count: exactly two multiples of 50 fall into any run of 100
    EXPECT_EQ(countLines(ps, "stroke"), 2u + 1u + 2u);
    std::remove("vis_circles.ps");
}

TEST(Visualizer2, VectorFormsAddEveryElement) {
    Point2 a(0, 0), b(4, 0), c(0, 2), d(4, 2);
    Triangle2 t0, t1;
    t0.setProperties(&a, &b, &c);
    t1.setProperties(&b, &d, &c);
    t0.setOppTriangle(0, &t1);
    testing::internal::CaptureStdout();
    {
        Visualizer2 vis("vis_vectors.ps");
        vis.addObject(std::vector<Point2>{a, d}, Color(CRED, 1.0f, false));
        vis.addObject(std::vector<Point2*>{&b, nullptr, &c}, Color(CRED, 1.0f, false));
        vis.addObject(std::vector<Segment2>{Segment2(a, b)}, Color(CGREEN, 1.0f, false));
        vis.addObject(std::vector<Triangle2>{t0}, Color(CBLUE, 1.0f, false));
        vis.addObject(std::vector<Triangle2*>{&t0, &t1}, Color(CBLUE, 1.0f, false));
        vis.addObject(std::vector<Edge2>{Edge2(&t0, 0)}, Color(CORANGE, 1.0f, false));
        vis.writeFile();
    }
    testing::internal::GetCapturedStdout();
    const std::string ps = readFile("vis_vectors.ps");
    EXPECT_EQ(countLines(ps, "closepath"), 3u);
    EXPECT_EQ(countLines(ps, "1\t0\t0\tsetrgbcolor"), 1u);  // one red group for both point vectors
    // points: 4 crosses of two strokes; segment and edge: 1 each
    size_t movetos = 0;
    for (const std::string& l : lines(ps)) movetos += l.size() > 6 && l.substr(l.size() - 6) == "moveto";
    EXPECT_EQ(movetos, 4u /*title, edition, ranges*/ + 3u /*triangles*/ + 2u /*segment, edge*/ + 8u /*crosses*/);
    // the edge (b, c) opposite corner 0 runs from b to c: scale 120
    EXPECT_NE(ps.find("stroke\n1\t0.627\t0\tsetrgbcolor\n1\tsetlinewidth\n530\t200\tmoveto\n50\t440\tlineto\nstroke\n"),
              std::string::npos);
    std::remove("vis_vectors.ps");
}

TEST(Visualizer2, UnopenableFileIsSilent) {
    testing::internal::CaptureStdout();
    {
        Visualizer2 vis("no_such_dir_x/y/z.ps");
        vis.addObject(Point2(0, 0), Color());
        vis.writeFile();
    }
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "Visualizer2:: Writing no_such_dir_x/y/z.ps\n");
}

TEST(Visualizer2, LabelTextKeepsPostScriptStringsBalanced) {
    testing::internal::CaptureStdout();
    {
        Visualizer2 vis("vis_label.ps");
        vis.addObject(Label(Point2(0, 0), "f(x) = 1)\\", 7), Color());
        vis.addObject(Point2(1, 1), Color());
        vis.writeFile();
    }
    testing::internal::GetCapturedStdout();
    const std::string ps = readFile("vis_label.ps");
    EXPECT_NE(ps.find("/Arial findfont 7 scalefont\n setfont\n50\t200\tmoveto\n(f\\(x\\) = 1\\)\\\\)\tshow\n"),
              std::string::npos) << ps;
    std::remove("vis_label.ps");
}

TEST(Visualizer2, EmptyDrawingStillHasAFinitePage) {
    testing::internal::CaptureStdout();
    { Visualizer2 vis("vis_empty.ps"); }
    testing::internal::GetCapturedStdout();
    const std::string ps = readFile("vis_empty.ps");
    EXPECT_NE(ps.find("(x-Range: [0 - 1] =1)\tshow\n"), std::string::npos);
    EXPECT_EQ(ps.substr(ps.size() - 26), "stroke\nshowpage\n%%Trailer\n");
    std::remove("vis_empty.ps");
}

TEST(Color, DefaultIsABlackUnfilledHairline) {
    const Color c;
    EXPECT_EQ(c.getR(), 0.0f);
    EXPECT_EQ(c.getG(), 0.0f);
    EXPECT_EQ(c.getB(), 0.0f);
    EXPECT_FALSE(c.isFill());
    EXPECT_GT(c.getWidth(), 0.0f);
}
