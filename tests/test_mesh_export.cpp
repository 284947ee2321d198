// Mesh export: OBJ files read back, scene directories and the built-in scene files.
#include <gtest/gtest.h>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <string>
#include <vector>
#include "DelaunayOracle.h"
#include "Lumo_2D.h"
#include "MessageText.h"
#include "MeshExport.h"
#include "MeshExport_internal.h"
#include "ObjReader.h"
#include "ScopedTempDir.h"

using namespace ORBI_LUMO2D;

namespace {
using lumo_test::countOf;
using lumo_test::fileExists;
using lumo_test::readFile;

// Every test writes into a private directory.
class Export : public testing::Test {
    lumo_test::ScopedTempDir tmp;
};
// The built-in files; a web scene holds the first four.
const char* const aBuiltIn[] = {"index.html", "jsc3d.js", "jsc3d.ctm.js", "jsc3d.touch.js",
                                "jsc3d.3ds.js", "jsc3d.console.js", "jsc3d.ie.js", "jsc3d.webgl.js"};

} // namespace

// The exact lines; vertices with equal coordinates but other addresses are distinct; an empty
// list writes an empty file (an unopenable file is silent: a row of the misuse table).
TEST_F(Export, ObjExport_LinesAreExactAndVerticesAreRecords) {
    Point2 a(0.1, 0.3), b(1.0, 1.0 / 3.0), c(2.0, 4.0 / 3.0), b2(1.0, 1.0 / 3.0), d(1, 1);
    Triangle2 t0, t1;
    t0.setProperties(&a, &b, &c);
    t1.setProperties(&b2, &d, &c);
    const std::string v = "v 0.10000000000000000555 0.2999999999999999889 0 \nv 1 0.33333333333333331483 0 \n"
                          "v 2 1.3333333333333332593 0 \n";
    const std::pair<std::vector<Triangle2*>, std::string> aCases[] = {
        {{&t0}, v + "f 1 2 3\n"}, {{&t0, &t1}, v + "v 1 0.33333333333333331483 0 \nv 1 1 0 \nf 1 2 3\nf 4 5 3\n"}, {{}, ""}};
    for (const auto& row : aCases) {   // one file, so that the empty list must truncate it
        writeObjTriangles("t.obj", row.first);
        EXPECT_EQ(readFile("t.obj"), row.second);
    }
}

TEST_F(Export, CreateDirectory_MakesMissingLevelsIsIdempotentAndFailsOnAFileInTheWay) {
    lumo_test::writeFile("cd_file", "x");
    // (path, result, directories that exist afterwards)
    const struct { const char* path; bool ok; std::vector<const char*> dirs; } aCases[] = {
        {"cd_a/b/c", true, {"cd_a", "cd_a/b", "cd_a/b/c"}}, {"cd_a/b/c", true, {}}, {"cd_a/b/d/", true, {"cd_a/b/d"}},
        {"cd_file", false, {}}, {"cd_file/sub/dir", false, {}}, {"", false, {}}};
    for (const auto& c : aCases) {
        EXPECT_EQ(createDirectory(c.path), c.ok) << c.path;
        for (const char* d : c.dirs) EXPECT_TRUE(std::filesystem::is_directory(d)) << d;
    }
}

TEST_F(Export, FileReplicate_AllEightNamesAreWrittenThePageWiresTheViewerAnUnknownNameIsReported) {
    createDirectory("fr_all");
    EXPECT_EQ(lumo_test::stdoutOf([&] { for (const char* n : aBuiltIn) fileReplicate(n, "fr_all"); }), "");
    for (const char* n : aBuiltIn) {
        const std::string text = readFile(std::string("fr_all/") + n);
        EXPECT_GT(text.size(), 100u) << n;
        EXPECT_EQ(text.find('\0'), std::string::npos) << n;
    }
    EXPECT_EQ(lumo_test::stdoutOf([&] { fileReplicate("other.js", "fr_all"); }),
              lumo_test::error("fileReplicate", "unknown fileother.js"));
    EXPECT_FALSE(fileExists("fr_all/other.js"));
    // The page loads the scripts a scene has and the scene's OBJ, and offers the top view
    // only where the scene has one.
    const std::string page = readFile("fr_all/index.html");
    EXPECT_EQ(page.rfind("<!DOCTYPE html>", 0), 0u);
    for (const char* needle : {"<canvas id=\"cv\"", "id=\"render_mode_list\"", "src=\"jsc3d.js\"", "src=\"jsc3d.ctm.js\"",
                               "src=\"jsc3d.touch.js\"", "'SceneUrl', '3d.obj'", "viewer.init();", "viewer.update();",
                               "<a href=\"2d.svg\">", "fetch('2d.svg', { method: 'HEAD' })"})
        EXPECT_NE(page.find(needle), std::string::npos) << needle;
}

// Empty or collinear: every export, into a file or a caller's drawing, says so and writes nothing.
TEST_F(Export, TriangulationExport_NothingBeforeTheFirstTriangle) {
    const std::string notFullDim = lumo_test::error("Dt2::show()", "The triangulation is not full dimensional yet, no visualization");
    Lumo_2D empty, line;
    line.insert(std::vector<Point2>{Point2(0, 0), Point2(1, 1), Point2(2, 2)});
    for (Lumo_2D* dt : {&empty, &line}) {
        EXPECT_EQ(lumo_test::stdoutOf([&] {
                      dt->writeObj("never.obj"), dt->show("never.ps"), dt->showSvg("never.svg");
                      Visualizer2 vis("mine.ps");
                      dt->show(&vis, Color());
                  }),
                  notFullDim + notFullDim + notFullDim + "Visualizer2:: Writing mine.ps\n" + notFullDim +
                      "Calling Visualizer2::writeFile() to complete an unfinished visualization [mine.ps]\n");
        for (const char* name : {"never.obj", "never.ps", "never.svg"}) EXPECT_FALSE(fileExists(name)) << name;
    }
}

// The OBJ holds every vertex once and every triangle in corner order; both drawings hold every
// triangle, the hull and the counts, a caller's drawing in the caller's colour; the scene holds
// the page, the scripts, the same OBJ and the same drawing as showSvg.
TEST_F(Export, TriangulationExport_ObjDrawingsAndWebScene) {
    Lumo_2D dt;
    std::srand(7);   // points on a coarse grid, so that duplicates and collinear runs occur
    for (int i = 0; i < 400; ++i) dt.insert(Point2(std::rand() % 40, std::rand() % 30));
    EXPECT_EQ(lumo_test::meshFault(dt), "");
    EXPECT_EQ(lumo_test::stdoutOf([&] {
                  dt.writeObj("dt.obj");
                  dt.show("dt.ps");
                  dt.showSvg("wsd/a/b/2d.svg");  // not there yet: nothing written
                  dt.writeWebScene("wsd/a/b");
                  dt.showSvg("dt.svg");
                  Visualizer2 vis("mine.ps");
                  dt.show(&vis, Color(CPURPLE, 0.5f, false));
                  vis.addObject(Point2(1, 1), Color(CRED, 1.0f, false));
                  vis.writeFile();
              }),
              "Visualizer2:: Writing dt.ps\nVisualizer2:: Writing wsd/a/b/2d.svg\nwriteWebScene: Creating wsd/a/b\n"
              "Visualizer2:: Writing wsd/a/b/2d.svg\nVisualizer2:: Writing dt.svg\nVisualizer2:: Writing mine.ps\n");
    // The OBJ expected: the triangles' corners in their (counterclockwise) order, every vertex
    // written once, numbered from 1 in order of first use.
    lumo_test::Obj expected;
    std::map<const Point2*, int> mIndex;
    for (const Triangle2* t : lumo_test::triangles(dt)) {
        expected.faces.emplace_back();
        for (int i = 0; i < 3; ++i) {
            const Point2* p = t->getCorner(i);
            if (mIndex.emplace(p, int(mIndex.size()) + 1).second) expected.vertices.emplace_back(p->x(), p->y());
            expected.faces.back().push_back(mIndex[p]);
        }
    }
    const lumo_test::Obj obj = lumo_test::readObj("dt.obj");
    EXPECT_EQ(obj.vertices.size(), dt.numberOfPoints());
    EXPECT_EQ(obj.vertices, expected.vertices);
    EXPECT_EQ(obj.faces, expected.faces);
    std::vector<Point2*> vHull;
    dt.getConvexHull(false, vHull);
    const std::string counts =
        std::to_string(dt.numberOfPoints()) + " points, " + std::to_string(dt.numberOfTriangles()) + " triangles";
    const std::string ps = readFile("dt.ps"), svg = readFile("dt.svg");
    EXPECT_EQ(countOf(ps, "\nclosepath\n"), dt.numberOfTriangles());
    const std::string mine = readFile("mine.ps");
    EXPECT_NE(mine.find("stroke\n0.627\t0.125\t0.941\tsetrgbcolor\n0.5\tsetlinewidth\n"), std::string::npos);
    EXPECT_EQ(countOf(mine, "\nclosepath\n"), dt.numberOfTriangles());
    EXPECT_EQ(countOf(svg, "Z"), dt.numberOfTriangles());
    EXPECT_EQ(countOf(ps, "lineto\n") - 2 * dt.numberOfTriangles() - 3 /*header frame*/, vHull.size());
    EXPECT_EQ(countOf(svg, "L") - countOf(svg, "Lumo") - 2 * dt.numberOfTriangles(), vHull.size());
    EXPECT_EQ(countOf(ps, "(" + counts + ")\tshow\n"), 1u);
    EXPECT_EQ(countOf(svg, ">" + counts + "</text>"), 1u);
    for (size_t i = 0; i < 8; ++i) EXPECT_EQ(fileExists(std::string("wsd/a/b/") + aBuiltIn[i]), i < 4) << aBuiltIn[i];
    EXPECT_EQ(readFile("wsd/a/b/3d.obj"), readFile("dt.obj"));
    // the same drawing apart from its title, the file name
    std::string scene = readFile("wsd/a/b/2d.svg"), ref = svg;
    for (std::string* text : {&scene, &ref}) {
        for (int i = 0; i < 2; ++i) {
            const size_t name = text->find(i == 0 ? "<title>" : "font-size=\"17\">");
            text->erase(name, text->find('<', name + 1) - name);
        }
    }
    EXPECT_EQ(scene, ref);
}
