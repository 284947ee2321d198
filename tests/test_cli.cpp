// The lumo2d command-line tool, run as a person would: exit codes, messages, files written.
// Every test runs in a private temporary directory, so the tests may run in parallel.
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>
#include <algorithm>
#include <climits>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <functional>
#include <fstream>
#include <map>
#include <set>
#include <sstream>
#include <string>
#include <thread>
#include <utility>
#include <vector>
#include "DelaunayOracle.h"
#include "Lumo_2D.h"
#include "ObjReader.h"
#include "ScopedTempDir.h"

using namespace ORBI_LUMO2D;

namespace {

// The tool lies beside the tests in the build tree: <build>/apps/lumo2d.
std::string toolPath() {
    char buf[PATH_MAX];
    const ssize_t n = readlink("/proc/self/exe", buf, sizeof buf - 1);
    if (n <= 0) return "";
    const std::string self(buf, size_t(n));
    return self.substr(0, self.rfind('/')) + "/../apps/lumo2d";
}

using lumo_test::readFile;
using lumo_test::writeFile;
using lumo_test::fileExists;

void writeBinary(const std::string& name, std::vector<Point2> v) {
    testing::internal::CaptureStdout();
    EXPECT_TRUE(writePointsBIN(name.c_str(), v));
    testing::internal::GetCapturedStdout();
}

size_t countLinesStartingWith(const std::string& text, const std::string& prefix) {
    size_t n = 0;
    std::istringstream ss(text);
    for (std::string l; std::getline(ss, l);) n += l.rfind(prefix, 0) == 0;
    return n;
}

bool contains(const std::string& text, const std::string& part) { return text.find(part) != std::string::npos; }
// Every part occurs in text.
void expectParts(const std::string& text, const std::vector<std::string>& vParts) {
    for (const std::string& part : vParts) EXPECT_TRUE(contains(text, part)) << part << "\n---\n" << text;
}
// A frame: outer square 1..9, a hole 4..6 named by a point; area 60.
const char* const framePoly = "8 2 0 0\n1 1 1\n2 9 1\n3 9 9\n4 1 9\n5 4 4\n6 6 4\n7 6 6\n8 4 6\n"
                              "8 0\n1 1 2\n2 2 3\n3 3 4\n4 4 1\n5 5 6\n6 6 7\n7 7 8\n8 8 5\n1\n1 5 5\n";

// The faces of an OBJ file as corner coordinates in file order. Every face must be strictly
// convex and counterclockwise and have the average of its corners inside the region; the
// faces' summed area (shoelace) is returned in area.
typedef std::vector<std::pair<double, double>> Face;
double cross(const std::pair<double, double>& p, const std::pair<double, double>& q, const std::pair<double, double>& r) {
    return (q.first - p.first) * (r.second - p.second) - (q.second - p.second) * (r.first - p.first);
}
std::vector<Face> objFaces(const std::string& name, const std::function<bool(double, double)>& inside, double& area,
                           size_t* pNumVertices = nullptr) {
    const lumo_test::Obj obj = lumo_test::readObj(name);
    std::vector<Face> vFaces;
    area = 0;
    for (const std::vector<int>& f : obj.faces) {
        Face face;
        double cx = 0, cy = 0;
        for (int i : f) {
            face.push_back(obj.vertices.at(size_t(i) - 1));
            cx += face.back().first / double(f.size()), cy += face.back().second / double(f.size());
        }
        EXPECT_TRUE(inside(cx, cy)) << name << ": a face around " << cx << " " << cy;
        for (size_t i = 0; i < face.size(); ++i) {
            const auto &p = face[i], &q = face[(i + 1) % face.size()];
            EXPECT_GT(cross(p, q, face[(i + 2) % face.size()]), 0) << name;
            area += (p.first * q.second - q.first * p.second) / 2;
        }
        vFaces.push_back(face);
    }
    if (pNumVertices != nullptr) *pNumVertices = obj.vertices.size();
    return vFaces;
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
    ToolRun runShell(const std::string& commandLine) {
        const int rc = std::system((commandLine + " >.stdout 2>.stderr").c_str());
        ToolRun r{WIFEXITED(rc) ? WEXITSTATUS(rc) : -1, readFile(".stdout"), readFile(".stderr")};
        std::remove(".stdout");
        std::remove(".stderr");
        return r;
    }
    // Each run fails with the status, nothing on standard output and exactly the message.
    void expectFailures(const std::vector<std::pair<std::string, std::string>>& vArgsAndMessages, int status,
                        const std::string& hint = "") {
        for (const auto& c : vArgsAndMessages) {
            const ToolRun r = run(c.first);
            EXPECT_EQ(r.status, status) << c.first;
            EXPECT_EQ(r.out, "") << c.first;
            EXPECT_EQ(r.err, "lumo2d: " + c.second + "\n" + hint) << c.first;
        }
    }
    // The names in the directory, sorted, one per line.
    static std::string listing() {
        std::set<std::string> names;
        for (const auto& e : std::filesystem::directory_iterator(".")) names.insert(e.path().filename().string());
        std::string s;
        for (const std::string& n : names) s += n + "\n";
        return s;
    }

    lumo_test::ScopedTempDir tmp;
    std::string tool;
};

} // namespace

// ---- help, version, usage errors ------------------------------------------------------------

TEST_F(Cli, HelpAndVersion) {
    ToolRun r = run("--help");
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.out.rfind("Usage: lumo2d COMMAND [ARGS]\n", 0), 0u) << r.out;
    expectParts(r.out, {"  demo [DIR]", "  triangulate INPUT [OPTIONS]", "--format F", "--obj FILE", "--ps FILE", "--svg FILE",
                        "--web DIR", "--node FILE", "--ele FILE", "--threads N", "\"-\": standard input", "  mesh INPUT [OPTIONS]",
                        "--min-angle DEG", "--max-area A", "--max-edge L", "--min-edge L", "--no-split",
                        "at most " + std::to_string(maxDrawingTriangles) + " triangles"});
    EXPECT_EQ(r.err, "");
    r = run("--version");
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.out, "lumo2d " + std::to_string(getMajorVersionNumber()) + "." + std::to_string(getMinorVersionNumber()) + "." +
                         std::to_string(getRevisionNumber()) + " (" + getLumo2DVersion() + ")\n");
}

TEST_F(Cli, UsageErrorsExitWithTwoAndWriteNothing) {
    expectFailures({{"", "missing COMMAND"},
                    {"frobnicate", "unknown command 'frobnicate'"},
                    {"triangulate", "triangulate: missing INPUT"},
                    {"triangulate pts.txt --obj", "--obj needs a file name"},
                    {"triangulate pts.txt --svg", "--svg needs a file name"},
                    {"triangulate pts.txt --format", "--format needs a format name"},
                    {"triangulate pts.txt --format stl", "--format: unknown format 'stl' (auto, xy, csv, node or binary)"},
                    {"triangulate pts.txt --stl x.stl", "triangulate: unknown option '--stl'"},
                    {"triangulate a.txt b.txt", "triangulate: more than one INPUT ('a.txt', 'b.txt')"},
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
                    {"mesh a.poly --min-edge 1e999", "--min-edge: '1e999' is not a positive length"}},
                   2, usageHint);
    EXPECT_EQ(listing(), "");
}

// ---- triangulate: good input ----------------------------------------------------------------

TEST_F(Cli, TriangulatesAndWritesEveryOutput) {
    // a square with its centre: four triangles; one duplicate line
    writeFile("pts.txt", "0 0\n10 0\n10 10\n0 10\n5 5\n5 5\n");
    const ToolRun r = run("triangulate pts.txt --obj mesh.obj --ps mesh.ps --svg mesh.svg --web scene --node m.node "
                          "--ele m.ele");
    ASSERT_EQ(r.status, 0) << r.out << r.err;
    EXPECT_EQ(r.err, "");
    expectParts(r.out, {"input:     pts.txt (text, 6 points)\n", "points:    5 (1 duplicate merged)\n", "triangles: 4\n",
                        "time:      ", "written:   mesh.ps  (PostScript drawing)\n", "           mesh.svg  (SVG drawing)\n",
                        "           mesh.obj  (Wavefront OBJ)\n", "           m.node  (input points, .node)\n",
                        "           m.ele  (triangles as input indices, .ele)\n", "           scene/  (browser scene"});
    EXPECT_FALSE(contains(r.out, "Visualizer2") || contains(r.out, "writeWebScene"));  // nothing from the library leaks

    const std::string obj = readFile("mesh.obj");
    EXPECT_EQ(countLinesStartingWith(obj, "v "), 5u);
    EXPECT_EQ(countLinesStartingWith(obj, "f "), 4u);
    EXPECT_EQ(readFile("mesh.ps").rfind("%!PS-Adobe-1.0\n", 0), 0u);
    const std::string svg = readFile("mesh.svg");
    EXPECT_TRUE(contains(svg, "<svg xmlns=\"http://www.w3.org/2000/svg\""));
    EXPECT_EQ(std::count(svg.begin(), svg.end(), 'Z'), 4);  // one closed path per triangle
    for (const char* n : {"index.html", "jsc3d.js", "jsc3d.ctm.js", "jsc3d.touch.js", "3d.obj", "2d.svg"})
        EXPECT_TRUE(fileExists(std::string("scene/") + n)) << n;
    EXPECT_EQ(readFile("scene/3d.obj"), obj);
    EXPECT_TRUE(contains(readFile("scene/index.html"), "href=\"2d.svg\""));
    // .node: the input as given, duplicates included, indices from 0
    EXPECT_EQ(readFile("m.node"), "6 2 0 0\n0 0 0\n1 10 0\n2 10 10\n3 0 10\n4 5 5\n5 5 5\n");
    // .ele: the duplicate 5 5 is named by its first occurrence, 4
    const std::string ele = readFile("m.ele");
    EXPECT_EQ(ele.rfind("4 3 0\n", 0), 0u) << ele;
    EXPECT_EQ(std::count(ele.begin(), ele.end(), '5'), 0) << ele;
}

// Every reader: the format named in the summary, the points read, the triangles made.
TEST_F(Cli, ReadsEveryInputFormat) {
    writeBinary("pts.dat", {Point2(0, 0), Point2(1, 0), Point2(0, 1), Point2(1, 1), Point2(0.25, 0.5)});
    const struct {
        const char* file;
        const char* content;  // null: already written
        const char* args;
        const char* input;  // the summary's input line
        size_t numTriangles;
    } aCases[] = {
        {"pts.dat", nullptr, "", "pts.dat (binary, 5 points)", 4},
        {"c.txt", "# x y\n0 0   # origin\r\n\n 1\t0\n0 1\n", "", "c.txt (text, 3 points)", 1},
        {"h.csv", "id,X, \"y\"\n7,0,0\n8,2,0\n9,0,2\n", "", "h.csv (CSV, 3 points)", 1},
        {"bare.csv", "0,0\n2,0\n0,2\n2,2\n", "", "bare.csv (CSV, 4 points)", 2},
        {"sq.node", "# square\n4 2 1 1\n1 0 0 0.5 1\n2 1 0 0.5 1\n3 1 1 0.5 1\n4 0 1 0.5 0\n", "",
         "sq.node (.node, 4 points)", 2},
        {"noext", "3 2 0 0\n0 0 0\n1 1 0\n2 0 1\n", "", "noext (.node, 3 points)", 1},
        {"forced.txt", "0,0\n1,0\n0,1\n", "--format csv", "forced.txt (CSV, 3 points)", 1},
    };
    for (const auto& c : aCases) {
        if (c.content != nullptr) writeFile(c.file, c.content);
        const ToolRun r = run(std::string("triangulate ") + c.file + " " + c.args);
        ASSERT_EQ(r.status, 0) << c.file << ": " << r.err;
        EXPECT_TRUE(contains(r.out, std::string("input:     ") + c.input + "\n")) << r.out;
        EXPECT_TRUE(contains(r.out, "triangles: " + std::to_string(c.numTriangles) + "\n")) << c.file << r.out;
    }
    // standard input, in any format
    ToolRun r = runShell("cat sq.node | " + tool + " triangulate - --ele sq.ele");
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_TRUE(contains(r.out, "input:     standard input (.node, 4 points)\n")) << r.out;
    r = runShell(tool + " triangulate - <pts.dat");
    EXPECT_TRUE(contains(r.out, "input:     standard input (binary, 5 points)\n")) << r.out;
    // a .node input keeps its own numbering (from 1 here) in the .ele file
    const std::string ele = readFile("sq.ele");
    EXPECT_EQ(ele.rfind("2 3 0\n1 ", 0), 0u) << ele;
    EXPECT_FALSE(contains(ele.substr(6), " 0")) << ele;
}

// The .ele triangles, joined back to the input through their indices, are the triangulation's.
TEST_F(Cli, EleIndicesJoinBackToTheInput) {
    std::vector<Point2> v;
    generateRandomPoints(300, 0.0, 10.0, v, 3);
    for (int i = 0; i < 40; ++i) v.push_back(v[size_t(i) * 7]);  // duplicates at the end
    for (int i = 0; i < 20; ++i) v.emplace_back(i % 5, i / 5);     // a grid: cocircular quads
    writeBinary("in.dat", v);
    const ToolRun r = run("triangulate in.dat --ele t.ele --node t.node --obj t.obj");
    ASSERT_EQ(r.status, 0) << r.err;
    Lumo_2D dt;
    dt.insert(v);
    EXPECT_EQ(lumo_test::meshFault(dt), "");
    std::ifstream ele("t.ele");
    size_t numT, three, numAttr;
    ASSERT_TRUE(ele >> numT >> three >> numAttr);
    EXPECT_EQ(numT, dt.numberOfTriangles());
    std::map<std::pair<double, double>, size_t> mFirst;  // coordinates -> first input index
    for (size_t i = v.size(); i-- > 0;) mFirst[{v[i].x(), v[i].y()}] = i;
    std::set<std::vector<size_t>> sFromFile, sFromLibrary;
    for (size_t t = 0; t < numT; ++t) {
        size_t index, a[3];
        ASSERT_TRUE(ele >> index >> a[0] >> a[1] >> a[2]);
        EXPECT_EQ(index, t);
        const Point2 &p = v[a[0]], &q = v[a[1]], &s = v[a[2]];
        EXPECT_EQ(getOrientation2(&p, &q, &s), ORIENTATION2_CCW);
        for (size_t k : a) EXPECT_EQ(mFirst.at({v[k].x(), v[k].y()}), k);  // duplicates: the first
        std::vector<size_t> tri(a, a + 3);
        std::rotate(tri.begin(), std::min_element(tri.begin(), tri.end()), tri.end());
        sFromFile.insert(tri);
    }
    std::vector<Triangle2*> vT;
    dt.getTrianglePointers(vT);
    for (Triangle2* pT : vT) {
        std::vector<size_t> tri;
        for (int i = 0; i < 3; ++i) tri.push_back(mFirst.at({pT->getCorner(i)->x(), pT->getCorner(i)->y()}));
        std::rotate(tri.begin(), std::min_element(tri.begin(), tri.end()), tri.end());
        sFromLibrary.insert(tri);
    }
    EXPECT_EQ(sFromFile, sFromLibrary);
    // the .node file reads back as the input, in order
    std::vector<Point2> back;
    testing::internal::CaptureStdout();
    EXPECT_TRUE(readPointFile("t.node", PFF_AUTO, back));
    testing::internal::GetCapturedStdout();
    ASSERT_EQ(back.size(), v.size());
    for (size_t i = 0; i < v.size(); ++i) EXPECT_TRUE(back[i] == v[i] && back[i].getCustomIndex() == int(i)) << i;
}

// The thread count is named in the summary (that it changes nothing in the mesh is the
// multithreaded inserter's test).
TEST_F(Cli, ThreadsAreNamedInTheSummary) {
    std::vector<Point2> v;
    generateRandomPoints(5000, 0.0, 10.0, v, 4);
    writeBinary("in.dat", v);
    for (const char* threads : {"1", "2", "0"}) {
        const ToolRun r = run(std::string("triangulate in.dat --threads ") + threads);
        ASSERT_EQ(r.status, 0) << r.err;
        const int n = threads[0] == '0' ? std::max(1, int(std::thread::hardware_concurrency())) : std::atoi(threads);
        EXPECT_TRUE(contains(r.out, "(triangulation, " + std::to_string(n) + (n == 1 ? " thread)\n" : " threads)\n"))) << r.out;
    }
}

// ---- triangulate: bad input, nothing written --------------------------------------------

TEST_F(Cli, UnusableInputsNameFileAndLineAndWriteNothing) {
    std::string shortBinary(12 + 3 * 16, '\0');
    const int32_t type = 20;
    const uint64_t n = 5;
    std::memcpy(&shortBinary[0], &type, 4);
    std::memcpy(&shortBinary[4], &n, 8);
    const struct {
        const char* file;
        std::string content;  // empty: no file
        const char* message;
    } aCases[] = {
        {"nosuch.txt", "", "nosuch.txt: cannot be opened: No such file or directory"},
        {"xyz.txt", "0 0 1\n1 0 2\n0 1 3\n1 1 4\n", "xyz.txt:1: expected 2 numbers (x y), found 3"},
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
        {"s.node", "4 2 0 0\n0 0 0\n1 1 0\n", "s.node: the header announces 4 points, the file holds 2"},
        {"l.node", "1 2 0 0\n0 0 0\n1 1 1\n", "l.node:3: more lines than the 1 points that the header announces"},
        {"n.node", "a b c d\n", "n.node:1: expected a .node header of four counts: points 2 attributes markers"},
        {"nox.csv", "a,b\n1,2\n", "nox.csv:1: the CSV header names no column \"x\" and \"y\""},
        {"fields.csv", "x,y,z\n1,2,3\n1,2\n", "fields.csv:3: expected 3 comma-separated fields, found 2"},
        {"v.csv", "x,y\n1,\n", "v.csv:2: '' is not a finite number"},
        {"noise.bin", std::string("\x07\x00\x13\x0f\x00\x01garbage", 13),
         "noise.bin: neither text nor a binary point file (type 252903431, expected 20 or 30)"},
        {"short.dat", shortBinary, "short.dat: binary point file (type 20) announces 5 points but holds 48 bytes of coordinates"},
        {"line.txt", "0 0\n1 1\n2 2\n3 3\n", "no triangle: the 4 distinct points are all on one line"},
        {".", "", ".: is a directory"},
    };
    std::set<std::string> sFiles;
    for (const auto& c : aCases) {
        if (!c.content.empty()) writeFile(c.file, c.content);
        if (!c.content.empty()) sFiles.insert(c.file);
    }
    std::vector<std::pair<std::string, std::string>> vRuns;
    for (const auto& c : aCases)
        vRuns.emplace_back(std::string("triangulate ") + c.file + " --obj out.obj --ps out.ps --web web --ele o.ele", c.message);
    expectFailures(vRuns, 1);
    std::string expected;
    for (const std::string& name : sFiles) expected += name + "\n";
    EXPECT_EQ(listing(), expected);
}

TEST_F(Cli, UnwritableTargetIsFoundBeforeAnythingIsWritten) {
    writeFile("pts.txt", "0 0\n1 0\n0 1\n");
    writeFile("blocker", "x");
    expectFailures({{"triangulate pts.txt --ps out.ps --obj nosuchdir/out.obj",
                     "nosuchdir/out.obj: directory nosuchdir does not exist"},
                    {"triangulate pts.txt --ps out.ps --svg blocker/x.svg", "blocker/x.svg: directory blocker does not exist"},
                    {"triangulate pts.txt --ps out.ps --ele .", ".: is a directory"},
                    {"triangulate pts.txt --ps out.ps --web blocker/scene", "blocker/scene: blocker is not a directory"}},
                   1);
    const ToolRun r = run("triangulate pts.txt");
    EXPECT_TRUE(contains(r.out, "written:   nothing (use --obj, --ps, --svg, --web, --node or --ele)\n")) << r.out;
    EXPECT_EQ(listing(), "blocker\npts.txt\n");
}

// ---- demo ---------------------------------------------------------------------------------------

TEST_F(Cli, DemoWritesDrawingsObjAndSceneAndIsReproducible) {
    ToolRun r = run("demo out");
    ASSERT_EQ(r.status, 0) << r.out << r.err;
    EXPECT_EQ(r.err, "");
    expectParts(r.out, {"points:    1360\n", "written:   out/demo.ps  (PostScript drawing)\n", "           out/demo.svg  (SVG drawing)\n"});
    for (const char* n : {"demo.ps", "demo.svg", "demo.obj", "web/index.html", "web/jsc3d.js", "web/3d.obj", "web/2d.svg"})
        EXPECT_TRUE(fileExists(std::string("out/") + n)) << n;
    const std::string first = readFile("out/demo.obj");
    EXPECT_EQ(countLinesStartingWith(first, "v "), 1360u);
    r = run("demo out2/");
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(readFile("out2/demo.obj"), first);
    r = run("demo");
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_TRUE(fileExists("lumo2d-demo/web/index.html"));
    writeFile("taken", "x");
    r = run("demo taken");
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(r.err, "lumo2d: taken: taken is not a directory\n");
    EXPECT_EQ(listing(), "lumo2d-demo\nout\nout2\ntaken\n");
}

// ---- large inputs --------------------------------------------------------------------------------

TEST_F(Cli, LargeInputShowsProgressOnATerminalAndIsNotDrawn) {
    std::vector<Point2> v;
    generateRandomPoints(200000, 0.0, 1000.0, v, 5);
    writeBinary("big.dat", v);
    // not a terminal: standard error stays empty; the scene keeps its 3D view only
    ToolRun r = run("triangulate big.dat --web scene");
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(r.err, "");
    EXPECT_TRUE(fileExists("scene/3d.obj"));
    EXPECT_FALSE(fileExists("scene/2d.svg"));
    EXPECT_TRUE(contains(r.out, "scene/  (no top view 2d.svg: more than " + std::to_string(maxDrawingTriangles) +
                                    " triangles)\n")) << r.out;
    // drawings asked for explicitly are refused, and nothing is written (60000 points are enough)
    v.resize(60000);
    writeBinary("drawn.dat", v);
    for (const char* option : {"--ps big.ps", "--svg big.svg"}) {
        r = run(std::string("triangulate drawn.dat --obj big.obj ") + option);
        EXPECT_EQ(r.status, 1);
        EXPECT_TRUE(contains(r.err, " triangles are more than a drawing holds (" + std::to_string(maxDrawingTriangles) +
                                        "); use --web or --obj for large meshes\n")) << r.err;
    }
    EXPECT_EQ(listing(), "big.dat\ndrawn.dat\nscene\n");
    // a terminal (script runs the tool on a pseudo-terminal): the bar advances to 100%
    if (std::system("command -v script >/dev/null 2>&1") != 0) GTEST_SKIP() << "no script(1) for a terminal";
    r = runShell("script -qec '" + tool + " triangulate big.dat' /dev/null");
    ASSERT_EQ(r.status, 0) << r.out << r.err;
    expectParts(r.out, {"insert vertices      [", "] 100%", "\r" /* the line overwrites itself */, "input:     big.dat (binary, 200000 points)"});
}

// ---- constraint segments -----------------------------------------------------------------------

TEST_F(Cli, InsertsConstraintSegmentsFromEverySegmentFormat) {
    writeFile("pts.txt", "0 0\n10 0\n10 10\n0 10\n");
    // Two crossing diagonals: four endpoints and one crossing vertex.
    writeFile("segs.con", "1 1 9 9\n1 9 9 1\n");
    std::vector<ORBI_LUMO2D::Segment2> vSegs = {
        ORBI_LUMO2D::Segment2(ORBI_LUMO2D::Point2(1, 1), ORBI_LUMO2D::Point2(9, 9)),
        ORBI_LUMO2D::Segment2(ORBI_LUMO2D::Point2(1, 9), ORBI_LUMO2D::Point2(9, 1))};
    ASSERT_TRUE(ORBI_LUMO2D::writeSegmentsBIN("segs.bin", vSegs));
    writeFile("square.poly", "# a square with a hole\n4 2 0 0\n1 2 2\n2 8 2\n3 8 8\n4 2 8\n4 0\n1 1 2\n2 2 3\n"
                             "3 3 4\n4 4 1\n1\n1 5 5\n");
    const struct {
        const char* args;
        const char* expected;
    } cases[] = {
        {"--segments segs.con", "segments:  segs.con (2 segments), constrained, 5 vertices added"},
        {"--segments segs.bin", "segments:  segs.bin (2 segments), constrained, 5 vertices added"},
        {"--segments segs.con --conforming", "segments:  segs.con (2 segments), conforming"},
        {"--poly square.poly", "segments:  square.poly (.poly, 4 vertices, 4 segments, 1 holes), constrained, 0 vertices"},
    };
    for (const auto& c : cases) {
        const ToolRun r = run(std::string("triangulate pts.txt --ps c.ps ") + c.args);
        ASSERT_EQ(r.status, 0) << c.args << r.out << r.err;
        EXPECT_TRUE(contains(r.out, c.expected)) << c.args << "\n" << r.out;
        EXPECT_TRUE(contains(readFile("c.ps"), "1\t0\t0\tsetrgbcolor")) << c.args;   // the segments in red
    }
    const ToolRun r = run("triangulate pts.txt --segments segs.con --poly square.poly");
    EXPECT_EQ(r.status, 2);
    EXPECT_TRUE(contains(r.err, "--segments and --poly exclude each other")) << r.err;
    writeFile("bad.con", "1 2 3\n");
    EXPECT_EQ(run("triangulate pts.txt --segments bad.con").status, 1);
}

TEST_F(Cli, APolyFileKeepsOnlyTheTrianglesInsideItsBoundaryAndOutsideItsHoles) {
    // A frame: outer square 1..9 inside the points' hull 0..10, a hole 4..6 named by a point.
    // With --quads the same domain is written as quadrilaterals.
    writeFile("pts.txt", "0 0\n10 0\n10 10\n0 10\n5 5.5\n2 2\n3 7\n");
    writeFile("frame.poly", framePoly);
    const ToolRun r = run("triangulate pts.txt --poly frame.poly --obj f.obj --ele f.ele --node f.node --svg f.svg --web scene");
    ASSERT_EQ(r.status, 0) << r.out << r.err;
    // The OBJ's faces cover exactly the frame: area 64 - 4, every face centre inside it; with
    // --quads too, faces of four corners among them.
    auto inFrame = [](double x, double y) { return x > 1 && x < 9 && y > 1 && y < 9 && !(x > 4 && x < 6 && y > 4 && y < 6); };
    double area = 0;
    const size_t numFaces = objFaces("f.obj", inFrame, area).size();
    EXPECT_EQ(area, 60.0);
    EXPECT_TRUE(contains(r.out, "domain:    " + std::to_string(numFaces) + " triangles inside the boundary, 1 hole point(s)")) << r.out;
    EXPECT_EQ(countLinesStartingWith(readFile("f.ele"), "") - 1, numFaces);
    EXPECT_EQ(readFile("scene/3d.obj"), readFile("f.obj"));
    // The .node file names the .poly vertices after the input points, so every .ele index exists.
    EXPECT_EQ(readFile("f.node").rfind("15 2 0 0\n", 0), 0u) << readFile("f.node");

    const ToolRun rq = run("triangulate pts.txt --poly frame.poly --quads --obj q.obj --ps q.ps --svg q.svg");
    ASSERT_EQ(rq.status, 0) << rq.out << rq.err;
    size_t numCorners[5] = {0, 0, 0, 0, 0};
    for (const Face& face : objFaces("q.obj", inFrame, area)) {
        ASSERT_TRUE(face.size() == 3 || face.size() == 4);
        ++numCorners[face.size()];
    }
    EXPECT_EQ(area, 60.0);
    EXPECT_GT(numCorners[4], 0u);
    const std::string summary = "quads:     " + std::to_string(numCorners[4]) + " quadrilaterals and " +
                                std::to_string(numCorners[3]) + " triangles left";
    EXPECT_TRUE(contains(rq.out, summary)) << rq.out;
    EXPECT_TRUE(contains(readFile("q.ps"), "quadrilaterals: " + std::to_string(numCorners[4])));
    EXPECT_TRUE(contains(readFile("q.svg"), "quadrilaterals: " + std::to_string(numCorners[4])));
}

TEST_F(Cli, CutKeepsOnlyTheTrianglesInsideAPolygon) {
    writeFile("pts.txt", "0 0\n10 0\n10 10\n0 10\n3 4\n7 7\n8 3\n");
    // A concave L reaching beyond the points' hull: the mesh is cut to the L inside 0..10.
    writeFile("l.txt", "2 2\n12 2\n12 5\n5 5\n5 12\n2 12\n");
    ToolRun r = run("triangulate pts.txt --cut l.txt --obj c.obj");
    ASSERT_EQ(r.status, 0) << r.out << r.err;
    double area = 0;
    const std::vector<Face> vFaces =
        objFaces("c.obj", [](double x, double y) { return x > 2 && x < 10 && y > 2 && y < 10 && (x < 5 || y < 5); }, area);
    EXPECT_EQ(area, 8 * 3 + 3 * 5);
    EXPECT_TRUE(contains(r.out, "cut:       " + std::to_string(vFaces.size()) + " triangles inside l.txt (6 vertices)")) << r.out;
    // Not a polygon, not simple, beside the mesh: exit status 1 with the reason, nothing written.
    writeFile("two.txt", "1 1\n2 2\n");
    writeFile("bowtie.txt", "1 1\n2 1\n1 2\n2 2\n");
    writeFile("far.txt", "20 20\n30 20\n30 30\n");
    const struct {
        const char* file;
        const char* reason;
    } aBad[] = {{"two.txt", "not a polygon of at least 3"}, {"bowtie.txt", "the polygon is not simple"},
                {"far.txt", "the polygon and the zone do not overlap"}};
    for (const auto& bad : aBad) {
        r = run(std::string("triangulate pts.txt --obj bad.obj --cut ") + bad.file);
        EXPECT_EQ(r.status, 1) << bad.file;
        EXPECT_TRUE(contains(r.err, bad.reason)) << bad.file << ": " << r.err;
        EXPECT_FALSE(fileExists("bad.obj")) << bad.file;
    }
}

// ---- quality meshes ----------------------------------------------------------------------------

// Every bound an option sets holds in the written mesh, checked on its OBJ file: the triangles
// tile the domain, meet the angle, area and edge bounds, and --no-split adds no vertex on a segment.
TEST_F(Cli, MeshMeetsTheBoundsOfEveryOption) {
    // A frame (outer square 1..9, hole 4..6; area 60) and an L-shape (area 12, one reflex corner).
    writeFile("frame.poly", framePoly);
    writeFile("l.con", "0 0 4 0\n4 0 4 2\n4 2 2 2\n2 2 2 4\n2 4 0 4\n0 4 0 0\n");
    auto onSquare = [](double x, double y, double lo, double hi) {
        return ((x == lo || x == hi) && y >= lo && y <= hi) || ((y == lo || y == hi) && x >= lo && x <= hi);
    };
    auto inFrame = [](double x, double y) { return x > 1 && x < 9 && y > 1 && y < 9 && !(x > 4 && x < 6 && y > 4 && y < 6); };
    auto inL = [](double x, double y) { return x > 0 && x < 4 && y > 0 && y < 4 && !(x > 2 && y > 2); };
    const struct {
        const char* args;
        bool bFrame;
        double minAngle, maxArea, maxEdge;   // 0: not bounded
        const char* bounds;                  // the summary's line
    } aCases[] = {
        {"frame.poly --node m.node --ele m.ele", true, 20, 0, 0,
         "bounds:    angle 20 degrees, area none, edge none, segments split where needed\n"},
        {"frame.poly --min-angle 30 --max-area 0.5", true, 30, 0.5, 0,
         "bounds:    angle 30 degrees, area 0.5, edge none, segments split where needed\n"},
        {"frame.poly --min-angle 0 --max-edge 0.7", true, 0, 0, 0.7,
         "bounds:    angle 0 degrees, area none, edge 0.7, segments split where needed\n"},
        {"l.con --min-angle 25 --max-area 0.1 --min-edge 0.01", false, 25, 0.1, 0,
         "bounds:    angle 25 degrees, area 0.1, edge none, segments split where needed\n"},
        {"frame.poly --no-split --max-area 2", true, 0, 0, 0,
         "bounds:    angle 20 degrees, area 2, edge none, segments kept whole\n"},
    };
    for (const auto& c : aCases) {
        const ToolRun r = run(std::string("mesh ") + c.args + " --obj m.obj");
        ASSERT_EQ(r.status, 0) << c.args << r.out << r.err;
        EXPECT_EQ(r.err, "");
        EXPECT_TRUE(contains(r.out, c.bounds)) << c.args << "\n" << r.out;
        size_t numVertices = 0;
        double area = 0, minAngle = 180, largestArea = 0, longestEdge = 0;
        const std::vector<Face> vT = objFaces("m.obj", c.bFrame ? inFrame : inL, area, &numVertices);
        EXPECT_TRUE(contains(r.out, "triangles: " + std::to_string(vT.size()) + "\n")) << r.out;
        EXPECT_TRUE(contains(r.out, "vertices:  " + std::to_string(numVertices) + " (")) << r.out;
        EXPECT_GE(vT.size(), 8u) << c.args;
        std::set<std::pair<double, double>> sOnSegments;
        for (const Face& t : vT) {
            largestArea = std::max(largestArea, cross(t[0], t[1], t[2]) / 2);
            for (int i = 0; i < 3; ++i) {
                const auto &p = t[size_t(i)], &q = t[size_t(i + 1) % 3], &o = t[size_t(i + 2) % 3];
                const double ux = q.first - p.first, uy = q.second - p.second, vx = o.first - p.first, vy = o.second - p.second;
                minAngle = std::min(minAngle, std::atan2(std::fabs(ux * vy - uy * vx), ux * vx + uy * vy) * 180 / M_PI);
                longestEdge = std::max(longestEdge, std::hypot(ux, uy));
                if (onSquare(p.first, p.second, 1, 9) || onSquare(p.first, p.second, 4, 6)) sOnSegments.insert(p);
            }
        }
        EXPECT_NEAR(area, c.bFrame ? 60.0 : 12.0, 1e-9) << c.args;
        EXPECT_GE(minAngle, c.minAngle) << c.args;   // no input angle is below the bounds here
        EXPECT_LE(largestArea, c.maxArea > 0 ? c.maxArea : 1e300) << c.args;
        EXPECT_LE(longestEdge, c.maxEdge > 0 ? c.maxEdge : 1e300) << c.args;
        // the summary's angle is the smallest, rounded down
        const size_t at = r.out.find("angle:     ");
        ASSERT_NE(at, std::string::npos) << r.out;
        const double reported = std::atof(r.out.c_str() + at + 11);
        EXPECT_TRUE(reported <= minAngle + 1e-6 && reported > minAngle - 0.01) << reported << " " << minAngle;
        if (std::string(c.args).find("--no-split") != std::string::npos) {
            EXPECT_EQ(sOnSegments.size(), 8u);
        } else if (c.bFrame) {
            EXPECT_GT(sOnSegments.size(), 8u) << c.args;
        }
    }
    // .node: the .poly's vertices first, in its numbering (from 1), then the added ones; .ele
    // names each triangle by those numbers.
    const std::string node = readFile("m.node"), ele = readFile("m.ele");
    EXPECT_EQ(node.find("1 1 1\n2 9 1\n3 9 9\n4 1 9\n5 4 4\n"), node.find('\n') + 1) << node;
    EXPECT_EQ(countLinesStartingWith(ele, "") - 1, size_t(std::atoi(ele.c_str()))) << ele;
    EXPECT_EQ(ele.find(" 0 "), std::string::npos);
    // Inputs that enclose nothing: a .poly is refused, the segments of a segment file get their hull.
    writeFile("open.poly", "3 2 0 0\n1 0 0\n2 1 0\n3 0 1\n2 0\n1 1 2\n2 2 3\n");
    writeFile("open.con", "0 0 1 0\n1 0 0 1\n");
    writeFile("none.con", "");
    expectFailures({{"mesh open.poly --obj o.obj", "open.poly: the boundary encloses no area outside the holes"},
                    {"mesh none.con --obj o.obj", "none.con: holds no segments"},
                    {"mesh nosuch.poly --obj o.obj", "nosuch.poly: cannot be read"}},
                   1);
    EXPECT_FALSE(fileExists("o.obj"));
    const ToolRun r = run("mesh open.con --max-area 0.01");
    EXPECT_TRUE(contains(r.out, "domain:    the convex hull (the segments enclose no area)\n")) << r.out << r.err;
    // On a terminal a progress bar runs while the mesh is refined.
    if (std::system("command -v script >/dev/null 2>&1") != 0) GTEST_SKIP() << "no script(1) for a terminal";
    const ToolRun t = runShell("script -qec '" + tool + " mesh frame.poly --max-area 0.01' /dev/null");
    EXPECT_TRUE(contains(t.out, "\rrefine ") && contains(t.out, "] 100%")) << t.out;
}

// ---- mesh on a grid, quadrilaterals ------------------------------------------------------------

// A grid at 30 degrees in a square: most quads are the grid's squares (sides of the spacing),
// and all faces together cover the square.
TEST_F(Cli, MeshOnAGridWritesSquares) {
    writeFile("sq.con", "0 0 10 0\n10 0 10 10\n10 10 0 10\n0 10 0 0\n");
    const ToolRun r = run("mesh sq.con --grid 0.5 --grid-angle 30 --max-edge 0.75 --quads --obj q.obj");
    ASSERT_EQ(r.status, 0) << r.out << r.err;
    EXPECT_TRUE(contains(r.out, "grid:      spacing 0.5, lines at 30 degrees\n")) << r.out;
    size_t numQuads = 0, numSquares = 0;
    double area = 0;
    for (const Face& f : objFaces("q.obj", [](double x, double y) { return x > 0 && x < 10 && y > 0 && y < 10; }, area)) {
        bool bSquare = f.size() == 4;
        for (size_t i = 0; i < f.size(); ++i) {
            const auto &p = f[i], &q = f[(i + 1) % f.size()];
            bSquare = bSquare && std::fabs(std::hypot(q.first - p.first, q.second - p.second) - 0.5) < 1e-9;
        }
        numQuads += f.size() == 4;
        numSquares += bSquare;
    }
    EXPECT_NEAR(area, 100.0, 1e-9);
    EXPECT_GT(numSquares, numQuads * 6 / 10) << numSquares << " of " << numQuads;
    EXPECT_TRUE(contains(r.out, "quads:     " + std::to_string(numQuads) + " quadrilaterals and ")) << r.out;
    expectFailures({{"mesh sq.con --grid-angle 30", "mesh: --grid-angle needs --grid"},
                    {"mesh sq.con --grid 0", "--grid: '0' is not a positive length"}},
                   2, usageHint);
    expectFailures({{"mesh sq.con --grid 1e-4", "--grid 0.0001: too fine for the domain (more than 100000000 grid vertices)"}}, 1);
}
