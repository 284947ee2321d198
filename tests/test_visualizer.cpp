// Drawings: colours, the colour cycle, the exact page layout of Visualizer2 in PostScript and
// SVG, and a page transform that stays finite for every finite box.
#include <gtest/gtest.h>
#include <cfloat>
#include <cmath>
#include <functional>
#include <sstream>
#include <string>
#include <utility>
#include <vector>
#include "Lumo_2D.h"
#include "MessageText.h"
#include "ScopedTempDir.h"

using namespace ORBI_LUMO2D;

namespace {
using lumo_test::countOf;
using lumo_test::readFile;

// Collects with add, writes the drawing and returns the file; standard output goes to *pOut.
std::string draw(const std::function<void(Visualizer2&)>& add, DrawingFormat format = DF_POSTSCRIPT, std::string* pOut = nullptr) {
    const std::string fn = format == DF_SVG ? "drawing.svg" : "drawing.ps";
    const std::string out = lumo_test::stdoutOf([&] { Visualizer2 vis(fn, format); add(vis); vis.writeFile(); });
    if (pOut != nullptr) *pOut = out;
    return readFile(fn);
}

} // namespace

// ---- Color ---------------------------------------------------------------------------

// The named colours' values are checked in the drawings; the default is a black unfilled
// hairline, an unknown name black with a warning.
TEST(Color, DefaultUnknownOrderAndTheCycle) {
    const Color def;
    EXPECT_TRUE(def.getR() == 0 && def.getG() == 0 && def.getB() == 0 && !def.isFill() && def.getWidth() > 0.0f);
    EXPECT_EQ(lumo_test::stdoutOf([] { EXPECT_EQ(Color(Colorname(17), 1.0f, false), Color(CBLACK, 1.0f, false)); }),
              lumo_test::warning("Color::Color", "Colorname unknown, returning black"));
    // The order keys a map: it distinguishes width and fill.
    const Color a(CRED, 1.0f, false), b(CRED, 1.0f, true), w(CRED, 2.0f, false);
    EXPECT_TRUE(a != b && a != w && (a < b || b < a) && (a < w || w < a) && !(a < a));
    EXPECT_TRUE(Color(CBLUE, 1.0f, false) < Color(CRED, 1.0f, false));
    // The cycle runs 1 to 14, never red, yellow or white.
    Color::currentColorName = 0;
    for (int i = 0; i < 30; ++i) {
        const Colorname c = Color::getNextColorName();
        EXPECT_TRUE(int(c) == 1 + i % 14 && c != CRED && c != CYELLOW && c != CWHITE) << i;
    }
}

// ---- Visualizer2: the page ------------------------------------------------------------

// Drawings are written into a private directory.
struct Drawing : testing::Test {
    lumo_test::ScopedTempDir tmp;
};

// Two triangles, a circle, a segment, a point and a two-line label with a header line.
static void addSmallScene(Visualizer2& vis, const std::string& header) {
    Point2 a(0, 0), b(10, 0), c(0, 10), d(10, 10);
    Triangle2 filled, unfilled;
    filled.setProperties(&a, &b, &c);
    unfilled.setProperties(&b, &d, &c);
    vis.addHeaderLine(header);
    vis.addObject(filled, Color(CRED, 0.5f, true));
    vis.addObject(unfilled, Color(CBLUE, 0.1f, false));
    vis.addObject(Circle2(Point2(5, 5), 4.0), Color(CGREEN, 0.2f, false));
    vis.addObject(Segment2(a, d), Color(CPINK, 0.3f, false));
    vis.addObject(d, Color(CGRAY, 0.25f, false));
    vis.addObject(Label(Point2(1, 1), "A\nB", 10), Color(CBLACK, 0.01f, false));
}

TEST_F(Drawing, SmallSceneHasTheExactLayout) {
    std::string out, ps = draw([](Visualizer2& vis) { addSmallScene(vis, "hello"); }, DF_POSTSCRIPT, &out);
    EXPECT_EQ(out, "Visualizer2:: Writing drawing.ps\n");
    // The edition line's wording is free; its frame is not.
    const std::string before = "40\t725\tmoveto\n(";
    const size_t at = ps.find(before) + before.size();
    ASSERT_NE(ps.find(before), std::string::npos);
    ps.replace(at, ps.find(")\tshow\n", at) - at, "EDITION");
    const std::string expected =
        "%!PS-Adobe-1.0\n\t%%Creator: ORBI PostscriptWriter\n\t%%Title: drawing.ps\n\t%%CreationDate: none\n"
        "\t%%DocumentMedia: A4 595 842 0 () ()\n\t%%Orientation: Portrait\n"
        "\t%%Pages: 1\t%%DocumentFonts: Times-Roman Helvetica\n\t%%EndComments\n\t%%BeginProlog\n\t%%EndProlog\n"
        "\t%%Page: ORBI PostscriptWriter 1\n0.05\tsetlinewidth\n\t0\t0\t0\tsetrgbcolor\n"
        "\t/Times-Roman findfont 17 scalefont\n\tsetfont\n40\t740\tmoveto\n\t(drawing.ps)\tshow\n"
        "0.4\t0.4\t0.4\tsetrgbcolor\n\t/Times-Roman findfont 10 scalefont\n\tsetfont\n40\t725\tmoveto\n"
        "(EDITION)\tshow\n0.0\t0.0\t0.0\tsetrgbcolor\n\t/Times-Roman findfont 10 scalefont\n\tsetfont\n"
        "40\t705\tmoveto\n(x-Range: [0 - 10] =10)\tshow\n40\t695\tmoveto\n(y-Range: [0 - 10] =10)\tshow\n"
        // header: one line of 5 characters gives font 12, pitch 14
        "0.0\t0.0\t0.0\tsetrgbcolor\n\t/Times-Roman findfont 12 scalefont\n\tsetfont\n240\t695\tmoveto\n"
        "(hello)\tshow\n237\t692\tmoveto\n237\t709\tlineto\n237\t692\tmoveto\n570\t692\tlineto\n570\t692\tlineto\n"
        // triangles, colour groups in colour order: blue before red; scale 48
        "stroke\n0\t0\t1\tsetrgbcolor\n0.1\tsetlinewidth\n530\t200\tmoveto\n530\t680\tlineto\n50\t680\tlineto\n"
        "closepath\nstroke\nstroke\nstroke\n1\t0\t0\tsetrgbcolor\n0.5\tsetlinewidth\n50\t200\tmoveto\n"
        "530\t200\tlineto\n50\t680\tlineto\nclosepath\ngsave\n  fill\ngrestore\n  0.3 0.3 .3 setrgbcolor\n"
        "0.5\tsetlinewidth\nstroke\nstroke\n1\t0\t0\tsetrgbcolor\n0.5\tsetlinewidth\nstroke\n"
        // segment
        "stroke\n1\t0.4\t0.7\tsetrgbcolor\n0.3\tsetlinewidth\n50\t200\tmoveto\n530\t680\tlineto\nstroke\n"
        // point: a cross of half-size 1.5
        "stroke\n0.3\t0.3\t0.3\tsetrgbcolor\n0.25\tsetlinewidth\n528.5\t678.5\tmoveto\n531.5\t681.5\tlineto\n"
        "528.5\t681.5\tmoveto\n531.5\t678.5\tlineto\nstroke\n"
        // circle of radius 2 at (5,5)
        "stroke\n0\t1\t0\tsetrgbcolor\n0.2\tsetlinewidth\n386\t440\tmoveto\n290\t440\t96\t0\t360\tarc\nstroke\n"
        // label of two lines
        "stroke\n0\t0\t0\tsetrgbcolor\n0.01\tsetlinewidth\n/Arial findfont 10 scalefont\n setfont\n"
        "98\t248\tmoveto\n(A)\tshow\n98\t236\tmoveto\n(B)\tshow\nstroke\nstroke\nshowpage\n%%Trailer\n";
    EXPECT_EQ(expected, ps);
}

// Every finite box, from empty, a point and subnormal extents to beyond DBL_MAX: every page
// coordinate is a finite number inside the drawing area, in both formats; the smallest corner
// maps to (50, 200) and the points of a box with any extent span the area. The range lines
// show flat boxes widened (where y + 1 != y) and extents beyond the doubles as twice their half.
TEST_F(Drawing, PageTransformStaysFiniteForEveryFiniteBox) {
    const double m = DBL_MAX, t = 4.9e-324;
    const struct {
        std::vector<Point2> vPoints;
        const char* ranges;   // the x and y range lines, or null
    } aCases[] = {
        {{Point2(2, 3)}, "(x-Range: [2 - 2] =0)\tshow\n40\t695\tmoveto\n(y-Range: [3 - 4] =1)"},
        {{}, "(x-Range: [0 - 1] =1)\tshow\n40\t695\tmoveto\n(y-Range: [0 - 1] =1)"},
        {{Point2(1e300, 1e300)}, "(x-Range: [1e+300 - 1e+300] =0)\tshow\n40\t695\tmoveto\n(y-Range: [1e+300 - 1e+300] =0)"},
        {{Point2(-1e308, 0), Point2(1e308, 1)}, "(x-Range: [-1e+308 - 1e+308] =2*1e+308)\tshow\n40\t695\tmoveto\n(y-Range: [0 - 1] =1)"},
        {{Point2(-m, -m), Point2(m, m), Point2(m, -m)}, nullptr},   {{Point2(1e308, 1e308), Point2(-1e308, 3)}, nullptr},
        {{Point2(0, 0), Point2(t, 0), Point2(0, t)}, nullptr},      {{Point2(1e-320, 0), Point2(0, 1e-320)}, nullptr},
        {{Point2(-m, 0), Point2(-m, t)}, nullptr},                  {{Point2(1e300, 1), Point2(1e300 * (1 + 2e-16), 1)}, nullptr},
        {{Point2(m, m), Point2(m, m)}, nullptr},                    {{Point2(-m, 0), Point2(m, 1), Point2(0, m)}, nullptr},
        {{Point2(1e300, 1e300), Point2(1e300, 1.0000000000000002e300), Point2(1.0000000000000002e300, 1e300)}, nullptr},
    };
    for (const auto& c : aCases) {
        const std::vector<Point2>& vPoints = c.vPoints;
        const auto add = [&](Visualizer2& v) {
            v.addObject(vPoints, Color(CBLACK, 1.0f, false));
            if (vPoints.empty()) return;
            v.addObject(Segment2(vPoints.front(), vPoints.back()), Color(CRED, 1.0f, false));
            v.addObject(Circle2(vPoints.back(), 0.0), Color(CRED, 1.0f, false));
        };
        const std::string ps = draw(add), svg = draw(add, DF_SVG);
        EXPECT_TRUE(c.ranges == nullptr || ps.find(c.ranges) != std::string::npos) << ps;
        EXPECT_EQ(ps.substr(ps.size() - 26), "stroke\nshowpage\n%%Trailer\n");
        std::istringstream ss(ps);
        size_t numCoordinates = 0;
        double nearX = 1e9, nearY = 1e9, farX = 0, farY = 0;
        for (std::string line; std::getline(ss, line);) {
            if (line.size() < 7 || (line.substr(line.size() - 6) != "moveto" && line.substr(line.size() - 6) != "lineto")) continue;
            double x, y;
            std::istringstream ls(line);
            ASSERT_TRUE(ls >> x >> y) << line;
            if (x == 40.0) continue;  // title lines
            EXPECT_TRUE(x >= 48.5 && x <= 531.5 && y >= 198.5 && y <= 681.5) << line;
            ++numCoordinates;
            nearX = std::min(nearX, x), nearY = std::min(nearY, y), farX = std::max(farX, x), farY = std::max(farY, y);
        }
        EXPECT_EQ(numCoordinates, vPoints.empty() ? 0 : 4 * vPoints.size() + 3);
        if (!vPoints.empty()) {
            EXPECT_TRUE(nearX == 48.5 && nearY == 198.5 && (vPoints.front() == vPoints.back() || farX >= 528.5 || farY >= 678.5))
                << nearX << " " << nearY << " " << farX << " " << farY;
        }
        for (const std::string& text : {ps, svg}) EXPECT_TRUE(text.find("nan") == std::string::npos && text.find("inf") == std::string::npos) << text;
    }
}

// Small pages, each with the messages it prints after announcing the file and how often given
// texts stand in the file (0: never).
TEST_F(Drawing, PagesHoldEachElementAndText) {
    Point2 a(0, 0), b(4, 0), c(0, 2), d(4, 2);
    Triangle2 t0, t1;
    t0.setProperties(&a, &b, &c);
    t1.setProperties(&b, &d, &c);
    t0.setOppTriangle(0, &t1);
    const std::string x120(120, 'x');
    const struct {
        const char* what;
        DrawingFormat format;
        std::function<void(Visualizer2&)> add;
        std::string out;
        std::vector<std::pair<std::string, size_t>> vCounts;
    } aRows[] = {
        // ten lines of ten characters: font min(100/10-2, 12, 500/10) = 8, pitch 10
        {"header lines: ten at the most", DF_POSTSCRIPT,
         [](Visualizer2& v) { for (int i = 0; i < 11; ++i) v.addHeaderLine("line" + std::to_string(i) + "_____"); },
         lumo_test::warning("Visualizer2::addHeaderLine()", "skipping text [\"line10_____\"], maximum number of header lines reached"),
         {{"\t/Times-Roman findfont 8 scalefont\n", 1}, {"240\t785\tmoveto\n(line0_____)\tshow\n", 1},
          {"240\t695\tmoveto\n(line9_____)\tshow\n", 1}, {"line10", 0}, {"237\t692\tmoveto\n237\t795\tlineto\n", 1}}},
        // 500/120 = 4, raised to the minimum size 6
        {"a header line of 200 characters is cut to 120", DF_POSTSCRIPT, [](Visualizer2& v) { v.addHeaderLine(std::string(200, 'x')); }, "",
         {{"\t/Times-Roman findfont 6 scalefont\n", 1}, {"(" + x120 + ")\tshow\n", 1}, {x120 + "x", 0}}},
        // group stroke before and after, the final stroke, and one per fifty circles of a
        // process-wide count: exactly two multiples of 50 fall into any run of 100
        {"circles extend the box and break paths every fifty", DF_POSTSCRIPT,
         [](Visualizer2& v) { for (int i = 0; i < 100; ++i) v.addObject(Circle2(Point2(i, 0), 1.0), Color(CBLUE, 0.1f, true)); }, "",
         {{"(x-Range: [-1 - 100] =101)\tshow\n", 1}, {"(y-Range: [-1 - 1] =2)\tshow\n", 1}, {"\tarc\n", 100}, {"\ngsave\n", 100}, {"\nstroke\n", 5}}},
        // one red group for both point vectors; moveto: title, edition, ranges, 3 triangles,
        // segment and edge, 4 crosses of two strokes; the edge (b, c) opposite corner 0 runs from b to c: scale 120
        {"vector forms add every element", DF_POSTSCRIPT,
         [&](Visualizer2& vis) {
             vis.addObject(std::vector<Point2>{a, d}, Color(CRED, 1.0f, false));
             vis.addObject(std::vector<Point2*>{&b, &c}, Color(CRED, 1.0f, false));
             vis.addObject(std::vector<Segment2>{Segment2(a, b)}, Color(CGREEN, 1.0f, false));
             vis.addObject(std::vector<Triangle2>{t0}, Color(CBLUE, 1.0f, false));
             vis.addObject(std::vector<Triangle2*>{&t0, &t1}, Color(CBLUE, 1.0f, false));
             vis.addObject(std::vector<Edge2>{Edge2(&t0, 0)}, Color(CORANGE, 1.0f, false));
         }, "",
         {{"\nclosepath\n", 3}, {"\n1\t0\t0\tsetrgbcolor\n", 1}, {"\tmoveto\n", 4 + 3 + 2 + 8},
          {"stroke\n1\t0.627\t0\tsetrgbcolor\n1\tsetlinewidth\n530\t200\tmoveto\n50\t440\tlineto\nstroke\n", 1}}},
        {"label text keeps PostScript strings balanced", DF_POSTSCRIPT,
         [](Visualizer2& vis) { vis.addObject(Label(Point2(0, 0), "f(x) = 1)\\", 7), Color()); vis.addObject(Point2(1, 1), Color()); }, "",
         {{"/Arial findfont 7 scalefont\n setfont\n50\t200\tmoveto\n(f\\(x\\) = 1\\)\\\\)\tshow\n", 1}}},
        // The PostScript page flipped upside down (y = 842 - page y), one path per colour group,
        // texts escaped for XML; the blue group before the red one, filled ones with a grey outline.
        {"SVG shows the same page", DF_SVG, [](Visualizer2& vis) { addSmallScene(vis, "hello <&>"); }, "",
         {{"<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"550\" "
           "height=\"620\" viewBox=\"30 40 550 620\">\n<title>drawing.svg</title>\n", 1},
          {"<text x=\"40\" y=\"102\" font-size=\"17\">drawing.svg</text>\n", 1},
          {"<text x=\"40\" y=\"137\" font-size=\"10\">x-Range: [0 - 10] =10</text>\n", 1},
          {"<text x=\"240\" y=\"147\" font-size=\"12\">hello &lt;&amp;&gt;</text>\n", 1},
          {"<path fill=\"none\" stroke=\"#000000\" stroke-width=\"0.05\" d=\"M237 150V133M237 150H570\"/>\n", 1},
          {"<path stroke-linejoin=\"round\" fill=\"none\" stroke=\"#0000ff\" stroke-width=\"0.1\" "
           "d=\"M530 642L530 162L50 162Z\"/>\n<path stroke-linejoin=\"round\" fill=\"#ff0000\" stroke=\"#4d4d4d\" "
           "stroke-width=\"0.5\" d=\"M50 642L530 642L50 162Z\"/>\n", 1},
          {"<path fill=\"none\" stroke=\"#ff66b3\" stroke-width=\"0.3\" d=\"M50 642L530 162\"/>\n", 1},
          {"<path fill=\"none\" stroke=\"#4d4d4d\" stroke-width=\"0.25\" d=\"M528.5 163.5L531.5 160.5M528.5 160.5L531.5 163.5\"/>\n", 1},
          {"<circle cx=\"290\" cy=\"402\" r=\"96\" fill=\"none\" stroke=\"#00ff00\" stroke-width=\"0.2\"/>\n", 1},
          {"<text x=\"98\" y=\"594\" font-size=\"10\" font-family=\"Arial, sans-serif\" fill=\"#000000\">A</text>\n"
           "<text x=\"98\" y=\"606\" font-size=\"10\" font-family=\"Arial, sans-serif\" fill=\"#000000\">B</text>\n</svg>\n", 1}}},
    };
    for (const auto& row : aRows) {
        SCOPED_TRACE(row.what);
        std::string out;
        const std::string text = draw(row.add, row.format, &out);
        EXPECT_EQ(out, std::string("Visualizer2:: Writing ") + (row.format == DF_SVG ? "drawing.svg" : "drawing.ps") + "\n" + row.out);
        for (const auto& count : row.vCounts) EXPECT_EQ(countOf(text, count.first), count.second) << count.first << "\n---\n" << text;
    }
}

// A second write warns, a late addition is an assertion, the destructor completes an unfinished
// file. (A file that cannot be opened is announced and then silent: a row of the misuse table.)
TEST_F(Drawing, WritesOnceAndTheDestructorCompletesAnUnfinishedFile) {
    const std::string out = lumo_test::stdoutOf([] {
        Visualizer2 vis("twice.ps");
        vis.addObject(Point2(0, 0), Color());
        vis.writeFile();
        vis.writeFile();
        EXPECT_THROW(vis.addObject(Point2(1, 1), Color()), LumoException);
        EXPECT_THROW(vis.addHeaderLine("late"), LumoException);
        Visualizer2 unfinished("unfinished.ps");
        unfinished.addObject(Segment2(Point2(0, 0), Point2(1, 1)), Color(CRED, 1.0f, false));
    });
    EXPECT_EQ(out.rfind("Visualizer2:: Writing twice.ps\n" +
                            lumo_test::warning("Visualizer2::writeFile()", "No effect. File has already been closed"), 0), 0u);
    EXPECT_NE(out.find("Condition [ !bFileClosed failed ]"), std::string::npos);
    // (The destructor's message is checked with the exports.)
    const std::string ps = readFile("unfinished.ps");
    EXPECT_EQ(ps.substr(ps.size() - 33), "stroke\nstroke\nshowpage\n%%Trailer\n");
}
