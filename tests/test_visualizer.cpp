// Drawings: colours, the colour cycle, the exact page layout of Visualizer2 in PostScript and
// SVG, and a page transform that stays finite for every finite box.
#include <gtest/gtest.h>
#include <cfloat>
#include <cmath>
#include <functional>
#include <sstream>
#include <string>
#include <vector>
#include "Lumo_2D.h"
#include "MessageText.h"
#include "ScopedTempDir.h"

using namespace ORBI_LUMO2D;

namespace {
using lumo_test::readFile;

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

// Collects with add, writes the drawing and returns the file; standard output is swallowed.
std::string draw(const std::function<void(Visualizer2&)>& add, DrawingFormat format = DF_POSTSCRIPT) {
    const std::string fn = format == DF_SVG ? "drawing.svg" : "drawing.ps";
    lumo_test::stdoutOf([&] { Visualizer2 vis(fn, format); add(vis); vis.writeFile(); });
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

namespace {
// Drawings are written into a private directory.
class Drawing : public testing::Test {
    lumo_test::ScopedTempDir tmp;
};
} // namespace

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
    const std::string fn = "vis_scene.ps";
    EXPECT_EQ(lumo_test::stdoutOf([&] { Visualizer2 vis(fn); addSmallScene(vis, "hello"); vis.writeFile(); }),
              "Visualizer2:: Writing vis_scene.ps\n");
    std::vector<std::string> got = lines(readFile(fn));
    // The edition line's wording is free; its frame is not.
    ASSERT_GT(got.size(), 21u);
    EXPECT_EQ(got[21].front(), '(');
    EXPECT_EQ(got[21].substr(got[21].size() - 6), ")\tshow");
    got[21] = "(EDITION)\tshow";
    const std::string expected =
        "%!PS-Adobe-1.0\n\t%%Creator: ORBI PostscriptWriter\n\t%%Title: vis_scene.ps\n\t%%CreationDate: none\n"
        "\t%%DocumentMedia: A4 595 842 0 () ()\n\t%%Orientation: Portrait\n"
        "\t%%Pages: 1\t%%DocumentFonts: Times-Roman Helvetica\n\t%%EndComments\n\t%%BeginProlog\n\t%%EndProlog\n"
        "\t%%Page: ORBI PostscriptWriter 1\n0.05\tsetlinewidth\n\t0\t0\t0\tsetrgbcolor\n"
        "\t/Times-Roman findfont 17 scalefont\n\tsetfont\n40\t740\tmoveto\n\t(vis_scene.ps)\tshow\n"
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
    std::string text;
    for (const std::string& l : got) text += l + "\n";
    EXPECT_EQ(expected, text);
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

TEST_F(Drawing, HeaderLinesAreLimitedToTenOf120Characters) {
    testing::internal::CaptureStdout();
    Visualizer2 vis("header.ps");
    for (int i = 0; i < 11; ++i) vis.addHeaderLine("line" + std::to_string(i) + "_____");
    const std::string out = testing::internal::GetCapturedStdout();
    EXPECT_EQ(out, "Visualizer2:: Writing header.ps\n"
                   "\n      [Lumo2D-Message] Visualizer2::addHeaderLine(), WARNING: skipping text [\"line10_____\"], "
                   "maximum number of header lines reached\n\n");
    lumo_test::stdoutOf([&] { vis.writeFile(); });
    std::string ps = readFile("header.ps");
    // ten lines of ten characters: font min(100/10-2, 12, 500/10) = 8, pitch 10
    EXPECT_NE(ps.find("\t/Times-Roman findfont 8 scalefont\n"), std::string::npos);
    EXPECT_NE(ps.find("240\t785\tmoveto\n(line0_____)\tshow\n"), std::string::npos);
    EXPECT_NE(ps.find("240\t695\tmoveto\n(line9_____)\tshow\n"), std::string::npos);
    EXPECT_EQ(ps.find("line10"), std::string::npos);
    EXPECT_NE(ps.find("237\t692\tmoveto\n237\t795\tlineto\n"), std::string::npos);
    // a line of 200 characters is cut to 120: 500/120 = 4, raised to the minimum size 6
    ps = draw([](Visualizer2& v) { v.addHeaderLine(std::string(200, 'x')); });
    EXPECT_NE(ps.find("\t/Times-Roman findfont 6 scalefont\n"), std::string::npos);
    EXPECT_NE(ps.find("(" + std::string(120, 'x') + ")\tshow\n"), std::string::npos);
    EXPECT_EQ(ps.find(std::string(121, 'x')), std::string::npos);
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
    });
    EXPECT_EQ(out.rfind("Visualizer2:: Writing twice.ps\n" +
                            lumo_test::warning("Visualizer2::writeFile()", "No effect. File has already been closed"), 0), 0u);
    EXPECT_NE(out.find("Condition [ !bFileClosed failed ]"), std::string::npos);
    EXPECT_EQ(lumo_test::stdoutOf([] {
                  Visualizer2 vis("unfinished.ps");
                  vis.addObject(Segment2(Point2(0, 0), Point2(1, 1)), Color(CRED, 1.0f, false));
              }),
              "Visualizer2:: Writing unfinished.ps\n"
              "Calling Visualizer2::writeFile() to complete an unfinished visualization [unfinished.ps]\n");
    const std::string ps = readFile("unfinished.ps");
    EXPECT_EQ(ps.substr(ps.size() - 33), "stroke\nstroke\nshowpage\n%%Trailer\n");
}

TEST_F(Drawing, CirclesExtendTheBoxAndBreakPathsEveryFifty) {
    const std::string ps = draw([](Visualizer2& v) {
        for (int i = 0; i < 100; ++i) v.addObject(Circle2(Point2(i, 0), 1.0), Color(CBLUE, 0.1f, true));
    });
    EXPECT_NE(ps.find("(x-Range: [-1 - 100] =101)\tshow\n"), std::string::npos);
    EXPECT_NE(ps.find("(y-Range: [-1 - 1] =2)\tshow\n"), std::string::npos);
    EXPECT_EQ(countLines(ps, "arc") + countLines(ps, "gsave"), 100u);
    // group stroke before and after, the final stroke, and one per fifty circles of a
    // process-wide count: exactly two multiples of 50 fall into any run of 100
    EXPECT_EQ(countLines(ps, "stroke"), 2u + 1u + 2u);
}

TEST_F(Drawing, VectorFormsAddEveryElement) {
    Point2 a(0, 0), b(4, 0), c(0, 2), d(4, 2);
    Triangle2 t0, t1;
    t0.setProperties(&a, &b, &c);
    t1.setProperties(&b, &d, &c);
    t0.setOppTriangle(0, &t1);
    const std::string ps = draw([&](Visualizer2& vis) {
        vis.addObject(std::vector<Point2>{a, d}, Color(CRED, 1.0f, false));
        vis.addObject(std::vector<Point2*>{&b, nullptr, &c}, Color(CRED, 1.0f, false));
        vis.addObject(std::vector<Segment2>{Segment2(a, b)}, Color(CGREEN, 1.0f, false));
        vis.addObject(std::vector<Triangle2>{t0}, Color(CBLUE, 1.0f, false));
        vis.addObject(std::vector<Triangle2*>{&t0, &t1}, Color(CBLUE, 1.0f, false));
        vis.addObject(std::vector<Edge2>{Edge2(&t0, 0)}, Color(CORANGE, 1.0f, false));
    });
    EXPECT_EQ(countLines(ps, "closepath"), 3u);
    EXPECT_EQ(countLines(ps, "1\t0\t0\tsetrgbcolor"), 1u);  // one red group for both point vectors
    // points: 4 crosses of two strokes; segment and edge: 1 each
    size_t movetos = 0;
    for (const std::string& l : lines(ps)) movetos += l.size() > 6 && l.substr(l.size() - 6) == "moveto";
    EXPECT_EQ(movetos, 4u /*title, edition, ranges*/ + 3u /*triangles*/ + 2u /*segment, edge*/ + 8u /*crosses*/);
    // the edge (b, c) opposite corner 0 runs from b to c: scale 120
    EXPECT_NE(ps.find("stroke\n1\t0.627\t0\tsetrgbcolor\n1\tsetlinewidth\n530\t200\tmoveto\n50\t440\tlineto\nstroke\n"),
              std::string::npos);
}

TEST_F(Drawing, LabelTextKeepsPostScriptStringsBalanced) {
    const std::string ps = draw([](Visualizer2& vis) {
        vis.addObject(Label(Point2(0, 0), "f(x) = 1)\\", 7), Color());
        vis.addObject(Point2(1, 1), Color());
    });
    EXPECT_NE(ps.find("/Arial findfont 7 scalefont\n setfont\n50\t200\tmoveto\n(f\\(x\\) = 1\\)\\\\)\tshow\n"),
              std::string::npos) << ps;
}

// The SVG drawing: the PostScript page flipped upside down (y = 842 - page y), one path per
// colour group, texts escaped for XML.
TEST_F(Drawing, SvgShowsTheSamePage) {
    const std::string svg = draw([](Visualizer2& vis) { addSmallScene(vis, "hello <&>"); }, DF_SVG);
    for (const char* line : {
             "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"550\" "
             "height=\"620\" viewBox=\"30 40 550 620\">\n<title>drawing.svg</title>\n",
             "<text x=\"40\" y=\"102\" font-size=\"17\">drawing.svg</text>\n",
             "<text x=\"40\" y=\"137\" font-size=\"10\">x-Range: [0 - 10] =10</text>\n",
             "<text x=\"240\" y=\"147\" font-size=\"12\">hello &lt;&amp;&gt;</text>\n",
             "<path fill=\"none\" stroke=\"#000000\" stroke-width=\"0.05\" d=\"M237 150V133M237 150H570\"/>\n",
             // the blue group before the red one, as in PostScript; filled ones get a grey outline
             "<path stroke-linejoin=\"round\" fill=\"none\" stroke=\"#0000ff\" stroke-width=\"0.1\" "
             "d=\"M530 642L530 162L50 162Z\"/>\n<path stroke-linejoin=\"round\" fill=\"#ff0000\" stroke=\"#4d4d4d\" "
             "stroke-width=\"0.5\" d=\"M50 642L530 642L50 162Z\"/>\n",
             "<path fill=\"none\" stroke=\"#ff66b3\" stroke-width=\"0.3\" d=\"M50 642L530 162\"/>\n",
             "<path fill=\"none\" stroke=\"#4d4d4d\" stroke-width=\"0.25\" d=\"M528.5 163.5L531.5 160.5M528.5 "
             "160.5L531.5 163.5\"/>\n",
             "<circle cx=\"290\" cy=\"402\" r=\"96\" fill=\"none\" stroke=\"#00ff00\" stroke-width=\"0.2\"/>\n",
             "<text x=\"98\" y=\"594\" font-size=\"10\" font-family=\"Arial, sans-serif\" fill=\"#000000\">A</text>\n"
             "<text x=\"98\" y=\"606\" font-size=\"10\" font-family=\"Arial, sans-serif\" fill=\"#000000\">B</text>\n"
             "</svg>\n"})
        EXPECT_NE(svg.find(line), std::string::npos) << line << "\n---\n" << svg;
}
