// The lumo2d command-line tool, run as a person would: exit codes, messages, files written.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#include <climits>
#include <cstring>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>
#include "Lumo_2D.h"

using namespace ORBI_LUMO2D;

namespace {

// The tool lies beside the tests in the build tree: <build>/apps/lumo2d.
std::string toolPath() {
    char buf[PATH_MAX];
    const ssize_t n = readlink("/proc/self/exe", buf, sizeof buf - 1);
    if (n <= 0) return "";
    std::string self(buf, size_t(n));
    const std::string dir = self.substr(0, self.rfind('/'));
    return dir + "/../apps/lumo2d";
}

bool exists(const std::string& p) {
    struct stat st;
    return stat(p.c_str(), &st) == 0;
}

std::string readFile(const std::string& name) {
    std::ifstream f(name, std::ios::binary);
    std::stringstream ss;
    ss << f.rdbuf();
    return ss.str();
}

void writeFile(const std::string& name, const std::string& text) {
    std::ofstream f(name, std::ios::binary);
    f << text;
}

struct ToolRun {
    int status;
    std::string out, err;
};

// Runs the tool with the arguments (a shell-quoted string) in a directory of its own.
class Cli : public testing::Test {
protected:
    void SetUp() override {
        tool = toolPath();
        if (!exists(tool)) GTEST_SKIP() << "the tool is not built (" << tool << ")";
        dir = std::string("cli_") + testing::UnitTest::GetInstance()->current_test_info()->name();
        std::system(("rm -rf " + dir + " && mkdir " + dir).c_str());
    }
    void TearDown() override {
        if (!dir.empty()) std::system(("rm -rf " + dir).c_str());
    }
    ToolRun run(const std::string& args) { return runShell(tool + " " + args); }
    // Runs a shell command line in the test's directory.
    ToolRun runShell(const std::string& commandLine) {
        const std::string cmd = "cd " + dir + " && " + commandLine + " >stdout.txt 2>stderr.txt";
        const int rc = std::system(cmd.c_str());
        ToolRun r{WIFEXITED(rc) ? WEXITSTATUS(rc) : -1, readFile(dir + "/stdout.txt"), readFile(dir + "/stderr.txt")};
        std::remove((dir + "/stdout.txt").c_str());
        std::remove((dir + "/stderr.txt").c_str());
        return r;
    }
    std::string path(const std::string& name) const { return dir + "/" + name; }
    // Only the given names (besides nothing else) are in the directory.
    std::string listing() {
        std::system(("ls -A " + dir + " > ls.txt").c_str());
        std::string s = readFile("ls.txt");
        std::remove("ls.txt");
        return s;
    }

    std::string tool, dir;
};

size_t countLinesStartingWith(const std::string& text, const std::string& prefix) {
    size_t n = 0;
    std::istringstream ss(text);
    for (std::string l; std::getline(ss, l);) n += l.rfind(prefix, 0) == 0;
    return n;
}

} // namespace

// ---- help, version, usage errors ------------------------------------------------------------

TEST_F(Cli, HelpGoesToStdoutAndSucceeds) {
    const ToolRun r = run("--help");
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.out.rfind("Usage: lumo2d COMMAND [ARGS]\n", 0), 0u) << r.out;
    EXPECT_NE(r.out.find("  demo [DIR]"), std::string::npos);
    EXPECT_NE(r.out.find("  triangulate INPUT [--obj FILE] [--ps FILE] [--web DIR]"), std::string::npos);
    EXPECT_EQ(r.err, "");
}

TEST_F(Cli, VersionComesFromTheLibrary) {
    const ToolRun r = run("--version");
    EXPECT_EQ(r.status, 0);
    std::ostringstream expected;
    expected << "lumo2d " << getMajorVersionNumber() << "." << getMinorVersionNumber() << "." << getRevisionNumber()
             << " (" << getLumo2DVersion() << ")\n";
    EXPECT_EQ(r.out, expected.str());
    EXPECT_EQ(r.err, "");
}

TEST_F(Cli, UsageErrorsExitWithTwo) {
    const std::string hint = "Try 'lumo2d --help' for more information.\n";
    ToolRun r = run("");
    EXPECT_EQ(r.status, 2);
    EXPECT_EQ(r.out, "");
    EXPECT_EQ(r.err, "lumo2d: missing COMMAND\n" + hint);
    r = run("frobnicate");
    EXPECT_EQ(r.status, 2);
    EXPECT_EQ(r.err, "lumo2d: unknown command 'frobnicate'\n" + hint);
    r = run("triangulate");
    EXPECT_EQ(r.status, 2);
    EXPECT_EQ(r.err, "lumo2d: triangulate: missing INPUT\n" + hint);
    r = run("triangulate pts.txt --obj");
    EXPECT_EQ(r.status, 2);
    EXPECT_EQ(r.err, "lumo2d: --obj needs a file name\n" + hint);
    r = run("triangulate pts.txt --stl x.stl");
    EXPECT_EQ(r.status, 2);
    EXPECT_EQ(r.err, "lumo2d: triangulate: unknown option '--stl'\n" + hint);
    r = run("demo a b");
    EXPECT_EQ(r.status, 2);
    EXPECT_EQ(listing(), "");
}

// ---- triangulate: good input ----------------------------------------------------------------

TEST_F(Cli, TriangulatesATextFileAndWritesAllThreeOutputs) {
    // a square with its centre: four triangles; one duplicate line
    writeFile(path("pts.txt"), "0 0\n10 0\n10 10\n0 10\n5 5\n5 5\n");
    const ToolRun r = run("triangulate pts.txt --obj mesh.obj --ps mesh.ps --web scene");
    ASSERT_EQ(r.status, 0) << r.out << r.err;
    EXPECT_EQ(r.err, "");
    EXPECT_NE(r.out.find("input:     pts.txt (text, 6 points)\n"), std::string::npos) << r.out;
    EXPECT_NE(r.out.find("points:    5 (1 duplicate merged)\n"), std::string::npos) << r.out;
    EXPECT_NE(r.out.find("triangles: 4\n"), std::string::npos) << r.out;
    EXPECT_NE(r.out.find("time:      "), std::string::npos);
    EXPECT_NE(r.out.find("written:   mesh.ps  (PostScript drawing)\n"), std::string::npos) << r.out;
    EXPECT_NE(r.out.find("           mesh.obj  (Wavefront OBJ)\n"), std::string::npos) << r.out;
    EXPECT_NE(r.out.find("           scene/  (browser scene"), std::string::npos) << r.out;
    // nothing from the library leaks into the summary
    EXPECT_EQ(r.out.find("Visualizer2"), std::string::npos);
    EXPECT_EQ(r.out.find("writeWebScene"), std::string::npos);

    const std::string obj = readFile(path("mesh.obj"));
    EXPECT_EQ(countLinesStartingWith(obj, "v "), 5u);
    EXPECT_EQ(countLinesStartingWith(obj, "f "), 4u);
    EXPECT_EQ(readFile(path("mesh.ps")).rfind("%!PS-Adobe-1.0\n", 0), 0u);
    for (const char* n : {"index.html", "jsc3d.js", "jsc3d.ctm.js", "jsc3d.touch.js", "3d.obj"})
        EXPECT_TRUE(exists(path(std::string("scene/") + n))) << n;
    EXPECT_EQ(readFile(path("scene/3d.obj")), obj);
}

TEST_F(Cli, TellsTheBinaryPointFormatByContent) {
    std::vector<Point2> v{Point2(0, 0), Point2(1, 0), Point2(0, 1), Point2(1, 1), Point2(0.25, 0.5)};
    testing::internal::CaptureStdout();
    ASSERT_TRUE(writePointsBIN(path("pts.dat").c_str(), v));
    testing::internal::GetCapturedStdout();
    const ToolRun r = run("triangulate pts.dat --obj out.obj");
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_NE(r.out.find("input:     pts.dat (binary, 5 points)\n"), std::string::npos) << r.out;
    EXPECT_NE(r.out.find("points:    5\n"), std::string::npos);
    EXPECT_EQ(countLinesStartingWith(readFile(path("out.obj")), "f "), 4u);
}

TEST_F(Cli, WithoutOutputsOnlyPrintsTheSummary) {
    writeFile(path("pts.txt"), "0 0 1 0 0 1");
    const ToolRun r = run("triangulate pts.txt");
    EXPECT_EQ(r.status, 0);
    EXPECT_NE(r.out.find("triangles: 1\n"), std::string::npos);
    EXPECT_NE(r.out.find("written:   nothing (use --obj, --ps or --web)\n"), std::string::npos);
    EXPECT_EQ(listing(), "pts.txt\n");
}

// ---- triangulate: bad input, nothing written --------------------------------------------

TEST_F(Cli, MissingFileFailsWithOneAndWritesNothing) {
    const ToolRun r = run("triangulate nosuch.txt --obj out.obj --ps out.ps --web web");
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(r.out, "");
    EXPECT_EQ(r.err, "lumo2d: nosuch.txt: cannot open: No such file or directory\n");
    EXPECT_EQ(listing(), "");
}

TEST_F(Cli, GarbageTextNamesTheLineAndWritesNothing) {
    writeFile(path("garbage.txt"), "1 2\n3 abc\n5 6\n");
    const ToolRun r = run("triangulate garbage.txt --obj out.obj --web web");
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(r.out, "");
    EXPECT_EQ(r.err, "lumo2d: garbage.txt:2: 'abc' is not a finite number\n");
    EXPECT_EQ(listing(), "garbage.txt\n");
}

TEST_F(Cli, BinaryGarbageIsRejected) {
    writeFile(path("noise.bin"), std::string("\x07\x00\x13\xff\x00\x01garbage", 13));
    ToolRun r = run("triangulate noise.bin --obj out.obj");
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(r.err, "lumo2d: noise.bin: neither text \"x y\" pairs nor a binary point file\n");
    // a binary header that promises more points than the file holds
    std::string bytes(12 + 3 * 16, '\0');
    const int32_t type = 20;
    const uint64_t n = 5;
    std::memcpy(&bytes[0], &type, 4);
    std::memcpy(&bytes[4], &n, 8);
    writeFile(path("short.dat"), bytes);
    r = run("triangulate short.dat --obj out.obj");
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(r.err, "lumo2d: short.dat: binary point file (type 20) announces 5 points but holds 48 bytes of coordinates\n");
    EXPECT_EQ(listing(), "noise.bin\nshort.dat\n");
}

TEST_F(Cli, OtherUnusableInputs) {
    writeFile(path("odd.txt"), "1 2 3");
    ToolRun r = run("triangulate odd.txt");
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(r.err, "lumo2d: odd.txt: odd number of coordinates (3): the last x has no y\n");
    writeFile(path("empty.txt"), "  \n");
    r = run("triangulate empty.txt");
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(r.err, "lumo2d: empty.txt: holds no points\n");
    writeFile(path("nan.txt"), "1 2\nnan 3\n");
    r = run("triangulate nan.txt");
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(r.err, "lumo2d: nan.txt:2: 'nan' is not a finite number\n");
    r = run("triangulate .");
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(r.err, "lumo2d: .: is a directory\n");
}

TEST_F(Cli, CollinearPointsGiveNoTriangleAndNothingIsWritten) {
    writeFile(path("line.txt"), "0 0\n1 1\n2 2\n3 3\n");
    const ToolRun r = run("triangulate line.txt --obj out.obj --ps out.ps --web web");
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(r.out, "");
    EXPECT_EQ(r.err, "lumo2d: no triangle: the 4 distinct points are all on one line\n");
    EXPECT_EQ(listing(), "line.txt\n");
}

TEST_F(Cli, UnwritableTargetIsFoundBeforeAnythingIsWritten) {
    writeFile(path("pts.txt"), "0 0 1 0 0 1");
    ToolRun r = run("triangulate pts.txt --ps out.ps --obj nosuchdir/out.obj");
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(r.err, "lumo2d: nosuchdir/out.obj: directory nosuchdir does not exist\n");
    writeFile(path("blocker"), "x");
    r = run("triangulate pts.txt --ps out.ps --web blocker/scene");
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(r.err, "lumo2d: blocker/scene: blocker is not a directory\n");
    EXPECT_EQ(listing(), "blocker\npts.txt\n");
}

// ---- demo ---------------------------------------------------------------------------------------

TEST_F(Cli, DemoWritesDrawingObjAndSceneAndIsReproducible) {
    ToolRun r = run("demo out");
    ASSERT_EQ(r.status, 0) << r.out << r.err;
    EXPECT_EQ(r.err, "");
    EXPECT_NE(r.out.find("points:    1360\n"), std::string::npos) << r.out;
    EXPECT_NE(r.out.find("triangles: "), std::string::npos);
    EXPECT_NE(r.out.find("written:   out/demo.ps  (PostScript drawing)\n"), std::string::npos) << r.out;
    for (const char* n : {"demo.ps", "demo.obj", "web/index.html", "web/jsc3d.js", "web/3d.obj"})
        EXPECT_TRUE(exists(path(std::string("out/") + n))) << n;
    const std::string first = readFile(path("out/demo.obj"));
    EXPECT_EQ(countLinesStartingWith(first, "v "), 1360u);
    r = run("demo out2/");
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(readFile(path("out2/demo.obj")), first);
}

TEST_F(Cli, DemoDefaultsToItsOwnDirectory) {
    const ToolRun r = run("demo");
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_TRUE(exists(path("lumo2d-demo/demo.ps")));
    EXPECT_TRUE(exists(path("lumo2d-demo/web/index.html")));
}

TEST_F(Cli, DemoIntoAFileFailsAndWritesNothing) {
    writeFile(path("taken"), "x");
    const ToolRun r = run("demo taken");
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(r.err, "lumo2d: taken: taken is not a directory\n");
    EXPECT_EQ(listing(), "taken\n");
}

// ---- progress ----------------------------------------------------------------------------------

TEST_F(Cli, LargeInputShowsProgressOnATerminalOnly) {
    if (std::system("command -v script >/dev/null 2>&1") != 0) GTEST_SKIP() << "no script(1) for a terminal";
    std::vector<Point2> v;
    generateRandomPoints(200000, 0.0, 1000.0, v, 5);
    testing::internal::CaptureStdout();
    ASSERT_TRUE(writePointsBIN(path("big.dat").c_str(), v));
    testing::internal::GetCapturedStdout();
    // not a terminal: standard error stays empty
    ToolRun r = run("triangulate big.dat");
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(r.err, "");
    // a terminal (script runs the tool on a pseudo-terminal): the bar advances to 100%
    r = runShell("script -qec '" + tool + " triangulate big.dat' /dev/null");
    ASSERT_EQ(r.status, 0) << r.out << r.err;
    EXPECT_NE(r.out.find("insert vertices      ["), std::string::npos) << r.out;
    EXPECT_NE(r.out.find("] 100%"), std::string::npos) << r.out;
    EXPECT_NE(r.out.find("\r"), std::string::npos);  // the line overwrites itself
    EXPECT_NE(r.out.find("input:     big.dat (binary, 200000 points)"), std::string::npos) << r.out;
}
