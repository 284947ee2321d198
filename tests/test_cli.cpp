// The lumo2d command-line tool, run as a person would: exit codes, messages, files written.
// Every test runs in a private temporary directory, so the tests may run in parallel. What the
// library puts into the files (OBJ lines, drawings, scene pages) is test_mesh_export's and
// test_visualizer's; here the tool's choices are checked, against independent measures of the
// files it writes.
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>
#include <algorithm>
#include <climits>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <fstream>
#include <map>
#include <set>
#include <string>
#include <thread>
#include <utility>
#include <vector>
#include "DelaunayOracle.h"
#include "ExactPolygons.h"
#include "Lumo_2D.h"
#include "MeshChecks.h"
#include "MessageText.h"
#include "ObjReader.h"
#include "ScopedTempDir.h"

using namespace ORBI_LUMO2D;
using lumo_test::fileExists;
using lumo_test::readFile;
using lumo_test::writeFile;
using lumo_test::Ring;

namespace {

// The tool lies beside the tests in the build tree: <build>/apps/lumo2d.
std::string toolPath() {
    char buf[PATH_MAX];
    const ssize_t n = readlink("/proc/self/exe", buf, sizeof buf - 1);
    if (n <= 0) return "";
    const std::string self(buf, size_t(n));
    return self.substr(0, self.rfind('/')) + "/../apps/lumo2d";
}

void writeBinary(const std::string& name, std::vector<Point2> v) {
    lumo_test::stdoutOf([&] { EXPECT_TRUE(writePointsBIN(name.c_str(), v)); });
}
bool contains(const std::string& text, const std::string& part) { return text.find(part) != std::string::npos; }
void expectParts(const std::string& text, const std::vector<std::string>& vParts) {
    for (const std::string& part : vParts) EXPECT_TRUE(contains(text, part)) << part << "\n---\n" << text;
}

// A frame: outer square 1..9, a hole 4..6 named by a point; area 60.
const char* const framePoly = "8 2 0 0\n1 1 1\n2 9 1\n3 9 9\n4 1 9\n5 4 4\n6 6 4\n7 6 6\n8 4 6\n"
                              "8 0\n1 1 2\n2 2 3\n3 3 4\n4 4 1\n5 5 6\n6 6 7\n7 7 8\n8 8 5\n1\n1 5 5\n";
const std::vector<Ring> frame{lumo_test::rectangle(1, 1, 9, 9), lumo_test::rectangle(4, 4, 6, 6)};

// The faces of an OBJ file as corners in file order, its numbers of vertices, triangles and
// quadrilaterals, and the faces' summed area (exact). Every face must be strictly convex and
// counterclockwise (exact) and have the average of its corners inside the domain (the first
// ring, outside the others).
typedef std::vector<Point2> Face;
struct ObjMesh {
    std::vector<Face> faces;
    size_t numVertices, numTriangles, numQuads;
    mpq_class area;
};
ObjMesh objMesh(const std::string& name, const std::vector<Ring>& vDomain) {
    const lumo_test::Obj obj = lumo_test::readObj(name);
    ObjMesh m{{}, obj.vertices.size(), 0, 0, 0};
    for (const std::vector<int>& f : obj.faces) {
        Face face;
        double cx = 0, cy = 0;
        for (int i : f) {
            const std::pair<double, double>& xy = obj.vertices.at(size_t(i) - 1);
            face.emplace_back(xy.first, xy.second);
            cx += xy.first / double(f.size()), cy += xy.second / double(f.size());
        }
        EXPECT_TRUE(lumo_test::isInDomain(Point2(cx, cy), vDomain)) << name << ": a face around " << cx << " " << cy;
        for (size_t i = 0; i < face.size(); ++i)
            EXPECT_GT(sgn(lumo_test::exactCross(face[i], face[(i + 1) % face.size()], face[(i + 2) % face.size()])), 0) << name;
        m.area += lumo_test::exactLoopArea(face);
        m.numTriangles += face.size() == 3, m.numQuads += face.size() == 4;
        m.faces.push_back(face);
    }
    return m;
}
// The area of a domain, exactly.
mpq_class domainArea(const std::vector<Ring>& vDomain) {
    mpq_class a = lumo_test::exactLoopArea(vDomain[0]);
    for (size_t h = 1; h < vDomain.size(); ++h) a -= abs(lumo_test::exactLoopArea(vDomain[h]));
    return a;
}

struct ToolRun {
    int status;
    std::string out, err;
};

const std::string usageHint = "Try 'lumo2d --help' for more information.\n";

// Runs the tool in the test's own temporary directory (the working directory).
class Cli : public testing::Test {
protected:
    void SetUp() override {
        tool = toolPath();
        if (!fileExists(tool)) GTEST_SKIP() << "the tool is not built (" << tool << ")";
    }
    ToolRun run(const std::string& args) { return runShell(tool + " " + args); }
    // A run that must succeed without a word on standard error.
    ToolRun succeed(const std::string& args) {
        ToolRun r = run(args);
        EXPECT_TRUE(r.status == 0 && r.err.empty()) << args << "\n" << r.out << r.err;
        return r;
    }
    ToolRun runShell(const std::string& commandLine) {
        const int rc = std::system((commandLine + " >.stdout 2>.stderr").c_str());
        ToolRun r{WIFEXITED(rc) ? WEXITSTATUS(rc) : -1, readFile(".stdout"), readFile(".stderr")};
        std::remove(".stdout");
        std::remove(".stderr");
        return r;
    }
    static std::set<std::string> listing() {
        std::set<std::string> names;
        for (const auto& e : std::filesystem::directory_iterator(".")) names.insert(e.path().filename().string());
        return names;
    }

    lumo_test::ScopedTempDir tmp;
    std::string tool;
};

std::string failure(const std::string& message) { return "lumo2d: " + message + "\n"; }

} // namespace

// ---- help, version ------------------------------------------------------------------------------

TEST_F(Cli, HelpAndVersion) {
    const ToolRun r = succeed("--help");
    EXPECT_EQ(r.out.rfind("Usage: lumo2d COMMAND [ARGS]\n", 0), 0u) << r.out;
    expectParts(r.out, {"  demo [DIR]", "  triangulate INPUT [OPTIONS]", "--format F", "--obj FILE", "--ps FILE", "--svg FILE",
                        "--web DIR", "--node FILE", "--ele FILE", "--threads N", "\"-\": standard input", "  mesh INPUT [OPTIONS]",
                        "--min-angle DEG", "--max-area A", "--max-edge L", "--min-edge L", "--no-split",
                        "at most " + std::to_string(maxDrawingTriangles) + " triangles"});
    // The version numbers and text of the library, in a release build.
    EXPECT_EQ(succeed("--version").out, "lumo2d 1.81.493 (Lumo2D 1.81.493)\n");
}

// ---- failures: one message, nothing written -------------------------------------------------------

// A usage error exits with 2 and the hint; an unusable input names its file (and line), an
// unusable target is found before anything is written, a cut that keeps nothing and a domain
// that encloses nothing are refused: exit 1. Each prints exactly its message (after the
// library's own, where it has one) and writes no file. (The strict readers' messages that the
// readers table of test_files.cpp checks are not repeated here.)
TEST_F(Cli, FailuresGiveOneMessageAndWriteNothing) {
    // type 20 announcing 5 points (little-endian), 3 present
    const std::string shortBinary = std::string("\x14\0\0\0\x05\0\0\0\0\0\0\0", 12) + std::string(3 * 16, '\0');
    const struct {
        const char* file;
        std::string content;  // empty: no file
        const char* message;
    } aReads[] = {
        {"nosuch.txt", "", "nosuch.txt: cannot be opened: No such file or directory"},
        {"pairs.txt", "0 0 1 0 0 1", "pairs.txt:1: expected 2 numbers (x y), found 6"},
        {"odd.txt", "1 2\n3\n", "odd.txt:2: expected 2 numbers (x y), found 1"},
        {"garbage.txt", "1 2\n3 abc\n5 6\n", "garbage.txt:2: 'abc' is not a finite number"},
        {"nan.txt", "1 2\nnan 3\n", "nan.txt:2: 'nan' is not a finite number"},
        {"big.txt", "1 2\n1e309 3\n", "big.txt:2: '1e309' is not a finite number"},
        {"empty.txt", "  \n# only a comment\n", "empty.txt: holds no points"},
        {"h.node", "3 3 0 0\n", "h.node:1: dimension 3, expected 2"},
        {"m.node", "3 2 0 2\n", "m.node:1: marker count 2, expected 0 or 1"},
        {"f.node", "2 2 0 1\n0 0 0 1\n1 1 0\n", "f.node:3: expected 4 fields (index x y marker), found 3"},
        {"i.node", "3 2 0 0\n0 0 0\n2 1 0\n1 0 1\n", "i.node:3: point index 2, expected 1 (indices run consecutively)"},
        {"l.node", "1 2 0 0\n0 0 0\n1 1 1\n", "l.node:3: more lines than the 1 points that the header announces"},
        {"n.node", "a b c d\n", "n.node:1: expected a .node header of four counts: points 2 attributes markers"},
        {"nox.csv", "a,b\n1,2\n", "nox.csv:1: the CSV header names no column \"x\" and \"y\""},
        {"v.csv", "x,y\n1,\n", "v.csv:2: '' is not a finite number"},
        {"noise.bin", std::string("\x07\x00\x13\x0f\x00\x01garbage", 13),
         "noise.bin: neither text nor a binary point file (type 252903431, expected 20 or 30)"},
        {"short.dat", shortBinary, "short.dat: binary point file (type 20) announces 5 points but holds 48 bytes of coordinates"},
        {"line.txt", "0 0\n1 1\n2 2\n3 3\n", "no triangle: the 4 distinct points are all on one line"},
        {".", "", ".: is a directory"},
    };
    // The other runs read these.
    const std::pair<const char*, const char*> aFiles[] = {
        {"pts.txt", "0 0\n10 0\n10 10\n0 10\n3 4\n7 7\n8 3\n"}, {"blocker", "x"}, {"bad.con", "1 2 3\n"},
        {"two.txt", "1 1\n2 2\n"}, {"bowtie.txt", "1 1\n2 1\n1 2\n2 2\n"}, {"far.txt", "20 20\n30 20\n30 30\n"},
        {"open.poly", "3 2 0 0\n1 0 0\n2 1 0\n3 0 1\n2 0\n1 1 2\n2 2 3\n"}, {"none.con", ""},
        {"sq.con", "0 0 10 0\n10 0 10 10\n10 10 0 10\n0 10 0 0\n"}};
    std::set<std::string> sNames;
    std::vector<std::pair<std::string, std::string>> vRuns;
    for (const auto& c : aReads) {
        if (!c.content.empty()) writeFile(c.file, c.content), sNames.insert(c.file);
        vRuns.emplace_back(std::string("triangulate ") + c.file + " --obj out.obj --ps out.ps --web web --ele o.ele", failure(c.message));
    }
    for (const auto& f : aFiles) writeFile(f.first, f.second), sNames.insert(f.first);
    const std::pair<std::string, std::string> aUsage[] = {
        {"", "missing COMMAND"},
        {"frobnicate", "unknown command 'frobnicate'"},
        {"triangulate", "triangulate: missing INPUT"},
        {"triangulate pts.txt --obj", "--obj needs a file name"},
        {"triangulate pts.txt --format", "--format needs a format name"},
        {"triangulate pts.txt --format stl", "--format: unknown format 'stl' (auto, xy, csv, node or binary)"},
        {"triangulate pts.txt --stl x.stl", "triangulate: unknown option '--stl'"},
        {"triangulate a.txt b.txt", "triangulate: more than one INPUT ('a.txt', 'b.txt')"},
        {"triangulate pts.txt --segments s.con --poly p.poly", "triangulate: --segments and --poly exclude each other"},
        {"demo a b", "demo takes at most one directory, got 2"},
        {"triangulate pts.txt --threads", "--threads needs a number"},
        {"triangulate pts.txt --threads two", "--threads: 'two' is not a thread count (0 to 100000)"},
        {"triangulate pts.txt --threads -1", "--threads: '-1' is not a thread count (0 to 100000)"},
        {"mesh", "mesh: missing INPUT (a .poly or segment file)"},
        {"mesh a.poly b.poly", "mesh: more than one INPUT ('a.poly', 'b.poly')"},
        {"mesh a.poly --conforming", "mesh: unknown option '--conforming'"},
        {"mesh a.poly --min-angle", "--min-angle needs a number"},
        {"mesh a.poly --min-angle 30.5", "--min-angle: '30.5' is not an angle from 0 to 30 degrees"},
        {"mesh a.poly --min-angle -1", "--min-angle: '-1' is not an angle from 0 to 30 degrees"},
        {"mesh a.poly --max-area -2", "--max-area: '-2' is not a positive area"},
        {"mesh a.poly --max-area nan", "--max-area: 'nan' is not a positive area"},
        {"mesh a.poly --max-edge 0", "--max-edge: '0' is not a positive length"},
        {"mesh a.poly --min-edge 1e999", "--min-edge: '1e999' is not a positive length"},
        {"mesh sq.con --grid-angle 30", "mesh: --grid-angle needs --grid"},
        {"mesh sq.con --grid 0", "--grid: '0' is not a positive length"}};
    for (const auto& c : aUsage) vRuns.emplace_back(c.first, failure(c.second) + usageHint);
    const std::string noCut = "cuts out no triangle (a polygon that is not simple, or beside the mesh)";
    const std::pair<std::string, std::string> aOthers[] = {
        {"triangulate pts.txt --ps out.ps --obj nosuchdir/out.obj", failure("nosuchdir/out.obj: directory nosuchdir does not exist")},
        {"triangulate pts.txt --ps out.ps --svg blocker/x.svg", failure("blocker/x.svg: directory blocker does not exist")},
        {"triangulate pts.txt --ps out.ps --ele .", failure(".: is a directory")},
        {"triangulate pts.txt --ps out.ps --web blocker/scene", failure("blocker/scene: blocker is not a directory")},
        {"demo blocker", failure("blocker: blocker is not a directory")},
        {"triangulate pts.txt --segments bad.con --obj out.obj", failure("bad.con: the number of coordinates is not a multiple of four")},
        {"triangulate pts.txt --obj out.obj --cut two.txt", failure("two.txt: not a polygon of at least 3 \"x y\" points")},
        {"triangulate pts.txt --obj out.obj --cut bowtie.txt",
         lumo_test::warning("createZone_cookieCutter()", "the polygon is not simple: edges 1 and 3 intersect. Returning NULL") +
             failure("bowtie.txt: " + noCut)},
        {"triangulate pts.txt --obj out.obj --cut far.txt",
         lumo_test::warning("createZone_cookieCutter()", "the polygon and the zone do not overlap. Returning NULL") +
             failure("far.txt: " + noCut)},
        {"mesh open.poly --obj out.obj", failure("open.poly: the boundary encloses no area outside the holes")},
        {"mesh none.con --obj out.obj", failure("none.con: holds no segments")},
        {"mesh nosuch.poly --obj out.obj", failure("nosuch.poly: cannot be read")},
        {"mesh sq.con --grid 1e-4 --obj out.obj", failure("--grid 0.0001: too fine for the domain (more than 100000000 grid vertices)")}};
    vRuns.insert(vRuns.end(), std::begin(aOthers), std::end(aOthers));
    for (const auto& c : vRuns) {
        const ToolRun r = run(c.first);
        EXPECT_EQ(r.status, contains(c.second, usageHint) ? 2 : 1) << c.first;
        EXPECT_EQ(r.out, "") << c.first;
        EXPECT_EQ(r.err, c.second) << c.first;
    }
    EXPECT_EQ(listing(), sNames);
}

// ---- triangulate: good input ----------------------------------------------------------------

// What the summary names for every input format (standard input too), forced format, thread
// count, segment file and output; the drawings show the segments in red; each output is of its
// kind and the scene holds the same OBJ.
TEST_F(Cli, SummaryNamesInputOutputsSegmentsAndThreads) {
    writeBinary("pts.dat", {Point2(0, 0), Point2(1, 0), Point2(0, 1), Point2(1, 1), Point2(0.25, 0.5)});
    std::vector<Point2> v;
    generateRandomPoints(5000, 0.0, 10.0, v, 4);
    writeBinary("in.dat", v);
    std::vector<Segment2> vSegs = {Segment2(Point2(1, 1), Point2(9, 9)), Segment2(Point2(1, 9), Point2(9, 1))};
    ASSERT_TRUE(writeSegmentsBIN("segs.bin", vSegs));
    const int hw = std::max(1, int(std::thread::hardware_concurrency()));
    const struct {
        const char* file;      // written first with the content, unless null
        const char* content;
        std::string args;
        std::vector<std::string> parts;
    } aCases[] = {
        // a square with its centre: four triangles; one duplicate line
        {"dup.txt", "0 0\n10 0\n10 10\n0 10\n5 5\n5 5\n", "dup.txt --obj mesh.obj --ps mesh.ps --svg mesh.svg --web scene --node m.node --ele m.ele",
         {"input:     dup.txt (text, 6 points)\n", "points:    5 (1 duplicate merged)\n", "triangles: 4\n", "time:      ",
          "written:   mesh.ps  (PostScript drawing)\n", "           mesh.svg  (SVG drawing)\n", "           mesh.obj  (Wavefront OBJ)\n",
          "           m.node  (input points, .node)\n", "           m.ele  (triangles as input indices, .ele)\n", "           scene/  (browser scene"}},
        {nullptr, nullptr, "pts.dat", {"input:     pts.dat (binary, 5 points)\n", "triangles: 4\n"}},
        {"c.txt", "# x y\n0 0   # origin\r\n\n 1\t0\n0 1\n", "c.txt", {"input:     c.txt (text, 3 points)\n", "triangles: 1\n"}},
        {"h.csv", "id,X, \"y\"\n7,0,0\n8,2,0\n9,0,2\n", "h.csv", {"input:     h.csv (CSV, 3 points)\n", "triangles: 1\n"}},
        {"bare.csv", "0,0\n2,0\n0,2\n2,2\n", "bare.csv", {"input:     bare.csv (CSV, 4 points)\n", "triangles: 2\n"}},
        {"sq.node", "# square\n4 2 1 1\n1 0 0 0.5 1\n2 1 0 0.5 1\n3 1 1 0.5 1\n4 0 1 0.5 0\n", "sq.node",
         {"input:     sq.node (.node, 4 points)\n", "triangles: 2\n"}},
        {"noext", "3 2 0 0\n0 0 0\n1 1 0\n2 0 1\n", "noext", {"input:     noext (.node, 3 points)\n", "triangles: 1\n"}},
        {"forced.txt", "0,0\n1,0\n0,1\n", "forced.txt --format csv", {"input:     forced.txt (CSV, 3 points)\n"}},
        {nullptr, nullptr, "- <pts.dat", {"input:     standard input (binary, 5 points)\n"}},
        {nullptr, nullptr, "in.dat --threads 1", {"(triangulation, 1 thread)\n"}},
        {nullptr, nullptr, "in.dat --threads 2", {"(triangulation, 2 threads)\n"}},
        {nullptr, nullptr, "in.dat --threads 0", {"(triangulation, " + std::to_string(hw) + (hw == 1 ? " thread)\n" : " threads)\n")}},
        {"pts.txt", "0 0\n10 0\n10 10\n0 10\n", "pts.txt", {"written:   nothing (use --obj, --ps, --svg, --web, --node or --ele)\n"}},
        // two crossing diagonals: four endpoints and one crossing vertex
        {"segs.con", "1 1 9 9\n1 9 9 1\n", "pts.txt --ps c.ps --segments segs.con", {"segments:  segs.con (2 segments), constrained, 5 vertices added"}},
        {nullptr, nullptr, "pts.txt --ps c.ps --segments segs.bin", {"segments:  segs.bin (2 segments), constrained, 5 vertices added"}},
        {nullptr, nullptr, "pts.txt --ps c.ps --segments segs.con --conforming", {"segments:  segs.con (2 segments), conforming"}},
        {"square.poly", "# a square with a hole\n4 2 0 0\n1 2 2\n2 8 2\n3 8 8\n4 2 8\n4 0\n1 1 2\n2 2 3\n3 3 4\n4 4 1\n1\n1 5 5\n",
         "pts.txt --ps c.ps --poly square.poly", {"segments:  square.poly (.poly, 4 vertices, 4 segments, 1 holes), constrained, 0 vertices"}},
    };
    for (const auto& c : aCases) {
        if (c.file != nullptr) writeFile(c.file, c.content);
        const ToolRun r = succeed("triangulate " + c.args);
        expectParts(r.out, c.parts);
        EXPECT_FALSE(contains(r.out, "Visualizer2") || contains(r.out, "writeWebScene")) << c.args;  // nothing from the library leaks
        if (!contains(c.args, "--ps c.ps")) continue;
        EXPECT_TRUE(contains(readFile("c.ps"), "1\t0\t0\tsetrgbcolor")) << c.args;   // the segments in red
        std::remove("c.ps");
    }
    const lumo_test::Obj obj = lumo_test::readObj("mesh.obj");
    EXPECT_TRUE(obj.vertices.size() == 5 && obj.faces.size() == 4);
    EXPECT_EQ(readFile("mesh.ps").rfind("%!PS-Adobe-1.0\n", 0), 0u);
    EXPECT_EQ(lumo_test::countOf(readFile("mesh.svg"), "Z"), 4u);  // one closed path per triangle
    EXPECT_TRUE(readFile("scene/3d.obj") == readFile("mesh.obj") && fileExists("scene/2d.svg"));
    // A .node input through a pipe keeps its own numbering (from 1 here) in the .ele file.
    const ToolRun r = runShell("cat sq.node | " + tool + " triangulate - --ele sq.ele");
    EXPECT_TRUE(contains(r.out, "input:     standard input (.node, 4 points)\n")) << r.out << r.err;
    const std::string ele = readFile("sq.ele");
    EXPECT_EQ(ele.rfind("2 3 0\n1 ", 0), 0u) << ele;
    EXPECT_FALSE(contains(ele.substr(6), " 0")) << ele;
}

// The .ele triangles, joined back to the input through their indices, are a Delaunay
// triangulation of the input (the exact oracle); a duplicate is named by its first occurrence;
// the .node file reads back as the input with its indices.
TEST_F(Cli, EleIndicesJoinBackToTheInput) {
    std::vector<Point2> v;
    generateRandomPoints(300, 0.0, 10.0, v, 3);
    for (int i = 0; i < 40; ++i) v.push_back(v[size_t(i) * 7]);  // duplicates at the end
    for (int i = 0; i < 20; ++i) v.emplace_back(i % 5, i / 5);     // a grid: cocircular quads
    writeBinary("in.dat", v);
    succeed("triangulate in.dat --ele t.ele --node t.node");
    std::map<std::pair<double, double>, size_t> mFirst;  // coordinates -> first input index
    for (size_t i = v.size(); i-- > 0;) mFirst[{v[i].x(), v[i].y()}] = i;
    std::ifstream ele("t.ele");
    size_t numT = 0, three = 0, numAttr = 1;
    ASSERT_TRUE(ele >> numT >> three >> numAttr && three == 3 && numAttr == 0);
    std::vector<Triangle2> vStore(numT);
    std::vector<Triangle2*> vT;
    for (size_t t = 0; t < numT; ++t) {
        size_t index, a[3];
        ASSERT_TRUE(ele >> index >> a[0] >> a[1] >> a[2] && index == t && std::max({a[0], a[1], a[2]}) < v.size());
        for (size_t k : a) EXPECT_EQ(mFirst.at({v[k].x(), v[k].y()}), k);
        vStore[t].setProperties(&v[a[0]], &v[a[1]], &v[a[2]]);
        vT.push_back(&vStore[t]);
    }
    EXPECT_EQ(lumo_test::checkDelaunayTriangulation(v, vT), "");
    std::vector<Point2> back;
    lumo_test::stdoutOf([&] { EXPECT_TRUE(readPointFile("t.node", PFF_AUTO, back)); });
    ASSERT_EQ(back.size(), v.size());
    for (size_t i = 0; i < v.size(); ++i) EXPECT_TRUE(back[i] == v[i] && back[i].getCustomIndex() == int(i)) << i;
}

// ---- domains: .poly, quadrilaterals, cut, grid --------------------------------------------------

// The OBJ faces of a .poly domain, of its quadrilaterals, of a cut polygon and of a grid mesh are
// convex, lie inside the region and tile it (exactly, but for a rotated grid's rounded
// vertices); the summary, .ele, .node and drawings agree.
TEST_F(Cli, DomainsKeepOnlyTheFacesInside) {
    writeFile("pts.txt", "0 0\n10 0\n10 10\n0 10\n5 5.5\n2 2\n3 7\n");
    writeFile("frame.poly", framePoly);   // outer square 1..9 inside the points' hull 0..10
    writeFile("l.txt", "2 2\n12 2\n12 5\n5 5\n5 12\n2 12\n");   // a concave L reaching beyond the hull
    writeFile("sq.con", "0 0 10 0\n10 0 10 10\n10 10 0 10\n0 10 0 0\n");
    const Ring cutL{Point2(2, 2), Point2(10, 2), Point2(10, 5), Point2(5, 5), Point2(5, 10), Point2(2, 10)};
    const struct {
        const char* args;
        std::vector<Ring> domain;
        std::function<void(const std::string& out, const ObjMesh& m)> check;
    } aCases[] = {
        {"triangulate pts.txt --poly frame.poly --ele f.ele --node f.node --svg f.svg --web scene", frame, [](const std::string& out, const ObjMesh& m) {
             EXPECT_TRUE(contains(out, "domain:    " + std::to_string(m.numTriangles) + " triangles inside the boundary, 1 hole point(s)")) << out;
             EXPECT_EQ(lumo_test::countOf(readFile("f.ele"), "\n") - 1, m.numTriangles);
             EXPECT_EQ(readFile("scene/3d.obj"), readFile("m.obj"));
             // the .poly vertices follow the input points, so that every .ele index exists
             EXPECT_EQ(readFile("f.node").rfind("15 2 0 0\n", 0), 0u) << readFile("f.node");
         }},
        {"triangulate pts.txt --poly frame.poly --quads --ps q.ps --svg q.svg", frame, [](const std::string& out, const ObjMesh& m) {
             EXPECT_GT(m.numQuads, 0u);
             const std::string quads = "quadrilaterals: " + std::to_string(m.numQuads);
             EXPECT_TRUE(contains(out, "quads:     " + std::to_string(m.numQuads) + " quadrilaterals and " + std::to_string(m.numTriangles) +
                                           " triangles left")) << out;
             EXPECT_TRUE(contains(readFile("q.ps"), quads) && contains(readFile("q.svg"), quads));
         }},
        {"triangulate pts.txt --cut l.txt", {cutL}, [](const std::string& out, const ObjMesh& m) {
             EXPECT_TRUE(contains(out, "cut:       " + std::to_string(m.numTriangles) + " triangles inside l.txt (6 vertices)")) << out;
         }},
        // A grid at 30 degrees: most quads are the grid's squares (sides of the spacing).
        {"mesh sq.con --grid 0.5 --grid-angle 30 --max-edge 0.75 --quads", {lumo_test::rectangle(0, 0, 10, 10)},
         [](const std::string& out, const ObjMesh& m) {
             EXPECT_TRUE(contains(out, "grid:      spacing 0.5, lines at 30 degrees\n") &&
                         contains(out, "quads:     " + std::to_string(m.numQuads) + " quadrilaterals and ")) << out;
             size_t numSquares = 0;
             for (const Face& f : m.faces) {
                 bool bSquare = f.size() == 4;
                 for (size_t i = 0; i < f.size(); ++i) bSquare = bSquare && std::fabs(lumo_test::dist(f[i], f[(i + 1) % f.size()]) - 0.5) < 1e-9;
                 numSquares += bSquare;
             }
             EXPECT_GT(numSquares, m.numQuads * 6 / 10) << numSquares << " of " << m.numQuads;
         }},
    };
    for (const auto& c : aCases) {
        const ToolRun r = succeed(std::string(c.args) + " --obj m.obj");
        const ObjMesh m = objMesh("m.obj", c.domain);
        if (contains(c.args, "--grid-angle")) EXPECT_NEAR(m.area.get_d(), domainArea(c.domain).get_d(), 1e-9);
        else EXPECT_TRUE(m.area == domainArea(c.domain)) << c.args << ": " << m.area.get_d();
        EXPECT_EQ(m.numTriangles + m.numQuads, m.faces.size()) << c.args;
        EXPECT_TRUE(contains(c.args, "--quads") || m.numQuads == 0) << c.args;
        c.check(r.out, m);
    }
}

// ---- quality meshes ----------------------------------------------------------------------------

// Every bound an option sets holds in the written mesh, checked on its OBJ file: the triangles
// tile the domain, meet the angle, area and edge bounds, and --no-split adds no vertex on a segment.
TEST_F(Cli, MeshMeetsTheBoundsOfEveryOption) {
    // The frame, an L-shape (one reflex corner), and segments that enclose nothing (their hull).
    writeFile("frame.poly", framePoly);
    writeFile("l.con", "0 0 4 0\n4 0 4 2\n4 2 2 2\n2 2 2 4\n2 4 0 4\n0 4 0 0\n");
    writeFile("open.con", "0 0 1 0\n1 0 0 1\n");
    const std::vector<Ring> shapeL{{Point2(0, 0), Point2(4, 0), Point2(4, 2), Point2(2, 2), Point2(2, 4), Point2(0, 4)}};
    const std::vector<Ring> hull{{Point2(0, 0), Point2(1, 0), Point2(0, 1)}};
    const struct {
        const char* args;
        std::vector<Ring> domain;
        double minAngle, maxArea, maxEdge;   // 0: not bounded
        const char* bounds;                  // the summary's line, or its domain line
    } aCases[] = {
        {"frame.poly --node m.node --ele m.ele", frame, 20, 0, 0, "bounds:    angle 20 degrees, area none, edge none, segments split where needed\n"},
        {"frame.poly --min-angle 30 --max-area 0.5", frame, 30, 0.5, 0, "bounds:    angle 30 degrees, area 0.5, edge none, segments split where needed\n"},
        {"frame.poly --min-angle 0 --max-edge 0.7", frame, 0, 0, 0.7, "bounds:    angle 0 degrees, area none, edge 0.7, segments split where needed\n"},
        {"l.con --min-angle 25 --max-area 0.1 --min-edge 0.01", shapeL, 25, 0.1, 0,
         "bounds:    angle 25 degrees, area 0.1, edge none, segments split where needed\n"},
        {"frame.poly --no-split --max-area 2", frame, 0, 0, 0, "bounds:    angle 20 degrees, area 2, edge none, segments kept whole\n"},
        {"open.con --max-area 0.01", hull, 20, 0.01, 0, "domain:    the convex hull (the segments enclose no area)\n"},
    };
    for (const auto& c : aCases) {
        const ToolRun r = succeed(std::string("mesh ") + c.args + " --obj m.obj");
        EXPECT_TRUE(contains(r.out, c.bounds)) << c.args << "\n" << r.out;
        const ObjMesh m = objMesh("m.obj", c.domain);
        ASSERT_TRUE(m.numTriangles == m.faces.size() && m.numTriangles >= 8u) << c.args;
        EXPECT_TRUE(contains(r.out, "triangles: " + std::to_string(m.numTriangles) + "\n") &&
                    contains(r.out, "vertices:  " + std::to_string(m.numVertices) + " (")) << r.out;
        EXPECT_NEAR(m.area.get_d(), domainArea(c.domain).get_d(), 1e-9) << c.args;   // split points are rounded
        double minAngle = 180, largestArea = 0, longestEdge = 0;
        std::set<Point2> sOnSegments;
        for (const Face& t : m.faces) {
            minAngle = std::min(minAngle, lumo_test::smallestAngle(t[0], t[1], t[2]));
            largestArea = std::max(largestArea, lumo_test::exactLoopArea(t).get_d());
            for (int i = 0; i < 3; ++i) {
                longestEdge = std::max(longestEdge, lumo_test::dist(t[size_t(i)], t[size_t(i + 1) % 3]));
                for (const Ring& ring : c.domain)
                    if (lumo_test::pointInRing(t[size_t(i)], ring) == 0) sOnSegments.insert(t[size_t(i)]);
            }
        }
        EXPECT_GE(minAngle, c.minAngle) << c.args;   // no input angle is below the bounds here
        EXPECT_LE(largestArea, c.maxArea > 0 ? c.maxArea : 1e300) << c.args;
        EXPECT_LE(longestEdge, c.maxEdge > 0 ? c.maxEdge : 1e300) << c.args;
        // the summary's angle is the smallest, rounded down
        const size_t at = r.out.find("angle:     ");
        ASSERT_NE(at, std::string::npos) << r.out;
        const double reported = std::atof(r.out.c_str() + at + 11);
        EXPECT_TRUE(reported <= minAngle + 1e-6 && reported > minAngle - 0.01) << reported << " " << minAngle;
        // on the frame's eight corners only, unless segments may be split
        EXPECT_TRUE(!contains(c.args, "frame") || (sOnSegments.size() == 8u) == contains(c.args, "--no-split")) << c.args;
    }
    // .node: the .poly's vertices first, in its numbering (from 1), then the added ones; .ele
    // names each triangle by those numbers.
    const std::string node = readFile("m.node"), ele = readFile("m.ele");
    EXPECT_EQ(node.find("1 1 1\n2 9 1\n3 9 9\n4 1 9\n5 4 4\n"), node.find('\n') + 1) << node;
    EXPECT_EQ(lumo_test::countOf(ele, "\n") - 1, size_t(std::atoi(ele.c_str()))) << ele;
    EXPECT_EQ(ele.find(" 0 "), std::string::npos);
}

// ---- demo, large inputs ------------------------------------------------------------------------

// The demo's files, the same OBJ in a second run, and its default directory.
TEST_F(Cli, DemoWritesDrawingsObjAndSceneAndIsReproducible) {
    const ToolRun r = succeed("demo out");
    expectParts(r.out, {"points:    1360\n", "written:   out/demo.ps  (PostScript drawing)\n", "           out/demo.svg  (SVG drawing)\n"});
    for (const char* n : {"demo.ps", "demo.svg", "web/index.html", "web/3d.obj", "web/2d.svg"})
        EXPECT_TRUE(fileExists(std::string("out/") + n)) << n;
    EXPECT_EQ(lumo_test::readObj("out/demo.obj").vertices.size(), 1360u);
    ASSERT_EQ(run("demo out2/").status, 0);
    EXPECT_EQ(readFile("out2/demo.obj"), readFile("out/demo.obj"));
    ASSERT_EQ(run("demo").status, 0);
    EXPECT_TRUE(fileExists("lumo2d-demo/web/index.html"));
    EXPECT_EQ(listing(), (std::set<std::string>{"lumo2d-demo", "out", "out2"}));
}

// A mesh too large to draw keeps the 3D view of its scene only, and asked-for drawings are
// refused with nothing written. On a terminal, progress bars run for insertion and refinement.
TEST_F(Cli, LargeInputIsNotDrawnAndTerminalsShowProgress) {
    std::vector<Point2> v;
    generateRandomPoints(200000, 0.0, 1000.0, v, 5);   // enough for the bar to show
    writeBinary("big.dat", v);
    ToolRun r = succeed("triangulate big.dat --web scene");   // not a terminal: no bar
    EXPECT_TRUE(fileExists("scene/3d.obj") && !fileExists("scene/2d.svg"));
    EXPECT_TRUE(contains(r.out, "scene/  (no top view 2d.svg: more than " + std::to_string(maxDrawingTriangles) +
                                    " triangles)\n")) << r.out;
    for (const char* option : {"--ps big.ps", "--svg big.svg"}) {
        r = run(std::string("triangulate big.dat --obj big.obj ") + option);
        EXPECT_EQ(r.status, 1);
        EXPECT_TRUE(contains(r.err, " triangles are more than a drawing holds (" + std::to_string(maxDrawingTriangles) +
                                        "); use --web or --obj for large meshes\n")) << r.err;
    }
    EXPECT_EQ(listing(), (std::set<std::string>{"big.dat", "scene"}));
    // script runs the tool on a pseudo-terminal; the bar overwrites its line up to 100%
    if (std::system("command -v script >/dev/null 2>&1") != 0) GTEST_SKIP() << "no script(1) for a terminal";
    writeFile("frame.poly", framePoly);
    for (const char* args : {"triangulate big.dat", "mesh frame.poly --max-area 0.01"}) {
        r = runShell("script -qec '" + tool + " " + args + "' /dev/null");
        ASSERT_EQ(r.status, 0) << r.out << r.err;
        expectParts(r.out, {contains(args, "mesh") ? "\rrefine " : "\rinsert vertices      [", "] 100%"});
    }
}
