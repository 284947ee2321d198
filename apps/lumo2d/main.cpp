// lumo2d: Delaunay triangulation from the command line.
//
//   lumo2d demo [DIR]
//   lumo2d triangulate INPUT [--format F] [--obj F] [--ps F] [--svg F] [--web DIR] [--node F] [--ele F]
//                            [--segments F] [--poly F] [--cut F] [--conforming] [--threads N] [--quads]
//   lumo2d mesh INPUT [--min-angle DEG] [--max-area A] [--max-edge L] [--min-edge L] [--no-split]
//                     [--grid L] [--grid-angle DEG] [--quads]
//                     [--obj F] [--ps F] [--svg F] [--web DIR] [--node F] [--ele F]
//
// Library messages (which go to standard output) are held back and shown on standard error
// only when something fails, so that standard output carries just the summary.
#include <sys/stat.h>
#include <unistd.h>
#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstdint>
#include <fstream>
#include <functional>
#include <iomanip>
#include <iostream>
#include <limits>
#include <set>
#include <sstream>
#include <string>
#include <utility>
#include <vector>
#include "Lumo_2D.h"

using namespace ORBI_LUMO2D;

namespace {

const char* const usageText =
    "Usage: lumo2d COMMAND [ARGS]\n"
    "\n"
    "Delaunay triangulation of 2D points and quality meshes of 2D domains, with drawings\n"
    "(PostScript, SVG), an OBJ file, a browser scene (a directory with index.html that shows\n"
    "the mesh in 3D) and .node/.ele files.\n"
    "\n"
    "Commands:\n"
    "  demo [DIR]           triangulate a built-in, reproducible data set and write drawings,\n"
    "                       an OBJ file and a browser scene into DIR (default: lumo2d-demo)\n"
    "  triangulate INPUT [OPTIONS]\n"
    "                       triangulate the points of INPUT (\"-\": standard input) and write\n"
    "                       what the options ask for\n"
    "  mesh INPUT [OPTIONS]\n"
    "                       a quality mesh of the domain that INPUT bounds: a .poly file, or\n"
    "                       a segment file (binary or .con text), whose domain is the area its\n"
    "                       segments enclose (the convex hull when they enclose none). Vertices\n"
    "                       are added until every triangle meets the bounds\n"
    "\n"
    "Input formats (told apart by content and extension, or named with --format):\n"
    "  xy       text, one \"x y\" pair per line; '#' starts a comment\n"
    "  csv      comma-separated, a header naming the columns x and y (or just x,y lines)\n"
    "  node     the .node format: \"n 2 attributes markers\", then \"index x y [attr] [marker]\"\n"
    "  binary   the library's binary point file\n"
    "\n"
    "Triangulate options:\n"
    "  --format F           read INPUT as F: auto (default), xy, csv, node, binary\n"
    "  --obj FILE           the triangles as a Wavefront OBJ file\n"
    "  --ps FILE            a PostScript drawing\n"
    "  --svg FILE           an SVG drawing (any browser shows it)\n"
    "  --web DIR            a browser scene: a 3D view and the SVG top view (2d.svg)\n"
    "  --node FILE          the input points in input order, .node format, then the vertices\n"
    "                       that segments added (.poly vertices, crossings)\n"
    "  --ele FILE           the triangles as indices of the input points (.ele format; a\n"
    "                       duplicate point is named by its first occurrence). Indices count\n"
    "                       from 0, or as in the input for a .node input\n"
    "  --segments FILE      constraint segments that must appear as edges: the library's binary\n"
    "                       segment file, or text with \"x0 y0 x1 y1\" per segment (.con)\n"
    "  --poly FILE          a planar straight-line graph, .poly format: vertices, segments\n"
    "                       (indices into the vertices) and holes. Only the triangles inside\n"
    "                       the outer boundary are kept: those reached from the convex hull\n"
    "                       (across hull edges that are no segment) or from a hole point\n"
    "                       without crossing a segment are cut away, in every output\n"
    "  --cut FILE           a polygon (\"x y\" per line, either orientation, closed implicitly):\n"
    "                       every output keeps only the triangles inside it (and inside the\n"
    "                       domain with --poly). The mesh is cut along the polygon's edges,\n"
    "                       with new vertices where they cross segments\n"
    "  --conforming         insert the segments as chains of Delaunay edges (split at new\n"
    "                       vertices) instead of forced edges; crossing segments are split at\n"
    "                       their intersection either way. Drawings show the segments in red\n"
    "  --quads              pair the triangles (with --poly: the domain's) into convex\n"
    "                       quadrilaterals, as close to rectangles as possible; --obj, --ps\n"
    "                       and --svg then hold the quadrilaterals and the triangles left\n"
    "                       unpaired (OBJ faces of four and of three vertices)\n"
    "  --threads N          insert the points on N threads (default 1; 0: one per hardware\n"
    "                       thread); inputs of 1000 points or more use them. The mesh is\n"
    "                       Delaunay either way, and the same for the same N\n"
    "\n"
    "Mesh options (and the outputs --obj, --ps, --svg, --web, --node, --ele as above; --node\n"
    "holds the input vertices in their order, then the added ones):\n"
    "  --min-angle DEG      smallest interior angle, 0 to 30 degrees (default 20); input angles\n"
    "                       below it stay, with small triangles in their corners\n"
    "  --max-area A         largest triangle area (default: none)\n"
    "  --max-edge L         longest edge (default: none)\n"
    "  --min-edge L         segments no longer than 2L are not split further (default: a\n"
    "                       millionth of the input's extent)\n"
    "  --no-split           keep the segments whole: no vertex is added on them\n"
    "  --grid L             start from a square grid of spacing L: grid vertices inside the\n"
    "                       domain (none nearer than L/2 to its border) and the segments\n"
    "                       split where grid lines cross them; refinement then fills the band\n"
    "                       along the border. Inside, the triangles are the grid's squares\n"
    "                       split by a diagonal (while the bounds allow that size)\n"
    "  --grid-angle DEG     the direction of the grid lines, -360 to 360 degrees (default 0)\n"
    "  --quads              pair the triangles into convex quadrilaterals as triangulate does;\n"
    "                       with --grid the interior becomes the grid's squares\n"
    "Drawings (--ps, --svg, the scene's top view) are made for at most 100000 triangles.\n"
    "\n"
    "Options:\n"
    "  -v, --verbose        also show the library's own messages\n"
    "  -h, --help           show this help and exit\n"
    "  -V, --version        show the version and exit\n"
    "\n"
    "Exit status: 0 on success, 1 when an input cannot be used or an output cannot be\n"
    "written, 2 on a usage error. Nothing is written when a command fails.\n"
    "The browser scene must be served, not opened as a file, e.g.:\n"
    "  python3 -m http.server -d lumo2d-demo/web   (then open http://localhost:8000)\n";

// Inputs at least this large show a progress bar (when standard error is a terminal).
const size_t progressBarMinPoints = 200000;

// A failure that ends the command: message for standard error and the exit status.
struct CliError {
    int status;
    std::string message;
};

[[noreturn]] void usageError(const std::string& message) { throw CliError{2, message}; }
[[noreturn]] void inputError(const std::string& message) { throw CliError{1, message}; }

// ---- library chatter ----------------------------------------------------------------

// Holds back what the library prints on standard output while it is alive.
class HoldBackStdout {
public:
    explicit HoldBackStdout(bool bPassThrough) : pOld(bPassThrough ? nullptr : std::cout.rdbuf(buffer.rdbuf())) {}
    ~HoldBackStdout() { release(); }
    void release() {
        if (pOld != nullptr) std::cout.rdbuf(pOld);
        pOld = nullptr;
    }
    std::string text() const { return buffer.str(); }

private:
    std::ostringstream buffer;
    std::streambuf* pOld;
};

// ---- progress --------------------------------------------------------------------------

// Draws the library's progress messages as one self-overwriting line on standard error.
class ProgressBar : public MsgBase {
public:
    void update(MsgType type, const std::string& text, double value) override {
        if (type != MSG_PROGRESS) return;
        const int width = 40;
        const int filled = int(value * width + 0.5);
        std::string bar(size_t(filled), '#');
        bar.resize(size_t(width), '.');
        std::fprintf(stderr, "\r%-20s [%s] %3d%%", text.c_str(), bar.c_str(), int(value * 100 + 0.5));
        if (value >= 1.0) std::fputc('\n', stderr);
        std::fflush(stderr);
    }
};

// ---- files -----------------------------------------------------------------------------

bool pathExists(const std::string& p) {
    struct stat st;
    return stat(p.c_str(), &st) == 0;
}

bool isDirectory(const std::string& p) {
    struct stat st;
    return stat(p.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

std::string parentOf(const std::string& p) {
    std::string s(p);
    while (s.size() > 1 && s.back() == '/') s.pop_back();
    const size_t sep = s.rfind('/');
    if (sep == std::string::npos) return ".";
    return sep == 0 ? "/" : s.substr(0, sep);
}

std::string withoutTrailingSlash(std::string p) {
    while (p.size() > 1 && p.back() == '/') p.pop_back();
    return p;
}

// A file can be written there: its directory exists and is writable, and it is no directory.
void checkFileTarget(const std::string& option, const std::string& file) {
    if (file.empty()) usageError(option + " needs a file name");
    if (isDirectory(file)) inputError(file + ": is a directory");
    const std::string dir = parentOf(file);
    if (!isDirectory(dir)) inputError(file + ": directory " + dir + " does not exist");
    if (access(dir.c_str(), W_OK) != 0) inputError(file + ": directory " + dir + " is not writable");
    if (pathExists(file) && access(file.c_str(), W_OK) != 0) inputError(file + ": not writable");
}

// A directory can be created there (or already is one).
void checkDirectoryTarget(const std::string& option, const std::string& dir) {
    if (dir.empty()) usageError(option + " needs a directory name");
    std::string p = withoutTrailingSlash(dir);
    while (!pathExists(p)) p = parentOf(p);
    if (!isDirectory(p)) inputError(dir + ": " + p + " is not a directory");
    if (access(p.c_str(), W_OK) != 0) inputError(dir + ": " + p + " is not writable");
}

bool isNonEmptyFile(const std::string& p) {
    struct stat st;
    return stat(p.c_str(), &st) == 0 && S_ISREG(st.st_mode) && st.st_size > 0;
}

// Removes what a failed command wrote, newest first.
class WrittenPaths {
public:
    void addFile(const std::string& p) { vPaths.push_back(p); }
    // Records dir and those of its ancestors that do not exist yet.
    void addNewDirectories(const std::string& dir) {
        std::vector<std::string> vNew;
        for (std::string p = withoutTrailingSlash(dir); !pathExists(p); p = parentOf(p)) vNew.push_back(p);
        vPaths.insert(vPaths.end(), vNew.rbegin(), vNew.rend());
    }
    void removeAll() {
        for (auto it = vPaths.rbegin(); it != vPaths.rend(); ++it) {
            if (isDirectory(*it)) {
                for (const char* n : {"index.html", "jsc3d.js", "jsc3d.ctm.js", "jsc3d.touch.js", "3d.obj", "2d.svg"})
                    std::remove((*it + "/" + n).c_str());
                rmdir(it->c_str());
            } else {
                std::remove(it->c_str());
            }
        }
        vPaths.clear();
    }

private:
    std::vector<std::string> vPaths;
};

// ---- reading points ----------------------------------------------------------------------

// The input formats the tool reads: the library checks every line and names the first bad one.
// A format with more than points (segments, say) adds its entry and its reader here.
struct InputFormat {
    const char* option;       // the --format value
    PointFileFormat format;
    const char* description;  // for the summary
};
const InputFormat aInputFormats[] = {
    {"auto", PFF_AUTO, "detected"},
    {"xy", PFF_XY, "text"},
    {"csv", PFF_CSV, "CSV"},
    {"node", PFF_NODE, ".node"},
    {"binary", PFF_BINARY, "binary"},
};

const InputFormat& inputFormat(PointFileFormat format) {
    for (const InputFormat& f : aInputFormats)
        if (f.format == format) return f;
    return aInputFormats[0];
}

PointFileFormat parseFormatOption(const std::string& value) {
    for (const InputFormat& f : aInputFormats)
        if (value == f.option) return f.format;
    usageError("--format: unknown format '" + value + "' (auto, xy, csv, node or binary)");
}

struct Input {
    std::vector<Point2> vPoints;
    std::string description;  // "pts.txt (text, 6 points)"
    int firstIndex{0};        // of the points in .node/.ele output: the input's own for .node
};

std::string trimmedMessage(std::string text) {
    while (!text.empty() && (text.back() == '\n' || text.back() == ' ')) text.pop_back();
    while (!text.empty() && text.front() == '\n') text.erase(0, 1);
    return text;
}

// INPUT "-" is standard input.
Input readInput(const std::string& path, PointFileFormat format) {
    const bool bStdin = path == "-";
    if (!bStdin && isDirectory(path)) inputError(path + ": is a directory");
    Input in;
    PointFileFormat used = format;
    bool bRead;
    std::string libraryMessage;
    {
        HoldBackStdout hold(false);  // the reader's message becomes ours
        bRead = bStdin ? readPointStream(std::cin, "standard input", format, in.vPoints, &used)
                       : readPointFile(path.c_str(), format, in.vPoints, &used);
        libraryMessage = hold.text();
    }
    const std::string name = bStdin ? "standard input" : path;
    if (!bRead) inputError(trimmedMessage(libraryMessage));
    if (in.vPoints.empty()) inputError(name + ": holds no points");
    if (used == PFF_NODE) in.firstIndex = in.vPoints.front().getCustomIndex();
    in.description = name + " (" + inputFormat(used).description + ", " + std::to_string(in.vPoints.size()) + " points)";
    return in;
}

// ---- writing ---------------------------------------------------------------------------------

struct Outputs {
    std::string obj, ps, svg, web, node, ele;
    bool bQuads{false};   // --obj, --ps and --svg hold the quad mesh
};

struct Options {
    bool bVerbose{false};
    int numThreads{1};   // for bulk insertion; 0: one per hardware thread
};

// Constraint segments for triangulate, and how to insert them.
struct Constraints {
    std::vector<Segment2> vSegments;
    std::vector<Point2> vPoints;   // .poly vertices
    std::vector<Point2> vHoles;    // .poly hole points
    bool bPoly{false};
    std::string description;
    bool bConforming{false};
    std::vector<Point2> vCutter;   // --cut polygon
    std::string cutFile;
    int firstIndex{0};             // of the .poly vertices
};

// The library's binary segment file, or text with four numbers per segment.
void readSegmentFile(const std::string& path, Constraints& c) {
    std::ifstream f(path.c_str(), std::ios::binary);
    if (!f) inputError(path + ": cannot be read");
    int32_t type = 0;
    f.read(reinterpret_cast<char*>(&type), sizeof type);
    if (f && (type == 21 || type == 31)) {
        if (!readSegmentsBIN(path.c_str(), c.vSegments)) inputError(path + ": not a valid binary segment file");
    } else {
        f.clear();
        f.seekg(0);
        double a[4];
        size_t k = 0;
        std::string token;
        while (f >> token) {
            char* pEnd = nullptr;
            a[k] = std::strtod(token.c_str(), &pEnd);
            if (pEnd == token.c_str() || *pEnd != '\0') inputError(path + ": '" + token + "' is not a number");
            if (++k == 4) {
                c.vSegments.emplace_back(Point2(a[0], a[1]), Point2(a[2], a[3]));
                k = 0;
            }
        }
        if (k != 0) inputError(path + ": the number of coordinates is not a multiple of four");
    }
    c.description = path + " (" + std::to_string(c.vSegments.size()) + " segments)";
}

// .poly: "n 2 attr markers", n vertex lines; "m markers", m segment lines "i a b [marker]";
// "h", h hole lines "i x y". '#' starts a comment. Vertex indices count from the first one.
void readPolyFile(const std::string& path, Constraints& c) {
    std::ifstream f(path.c_str());
    if (!f) inputError(path + ": cannot be read");
    std::vector<std::vector<double>> vRows;
    std::string line;
    while (std::getline(f, line)) {
        const size_t hash = line.find('#');
        if (hash != std::string::npos) line.erase(hash);
        std::istringstream iss(line);
        std::vector<double> row;
        double v;
        while (iss >> v) row.push_back(v);
        if (!iss.eof()) inputError(path + ": not a number in line '" + line + "'");
        if (!row.empty()) vRows.push_back(row);
    }
    size_t r = 0;
    auto need = [&](size_t n) {
        if (r >= vRows.size() || vRows[r].size() < n) inputError(path + ": truncated or malformed .poly file");
        return vRows[r++];
    };
    const size_t numVtx = size_t(need(1)[0]);
    if (numVtx == 0) inputError(path + ": vertices in a separate .node file are not supported");
    long long firstIndex = 0;
    for (size_t i = 0; i < numVtx; ++i) {
        const std::vector<double> row = need(3);
        if (i == 0) firstIndex = (long long)row[0];
        c.firstIndex = int(firstIndex);
        c.vPoints.emplace_back(row[1], row[2]);
    }
    const size_t numSeg = size_t(need(1)[0]);
    for (size_t i = 0; i < numSeg; ++i) {
        const std::vector<double> row = need(3);
        const long long a = (long long)row[1] - firstIndex, b = (long long)row[2] - firstIndex;
        if (a < 0 || b < 0 || a >= (long long)numVtx || b >= (long long)numVtx)
            inputError(path + ": segment " + std::to_string(i) + " names a vertex that does not exist");
        c.vSegments.emplace_back(c.vPoints[size_t(a)], c.vPoints[size_t(b)]);
    }
    const size_t numHoles = r < vRows.size() ? size_t(need(1)[0]) : 0;
    for (size_t i = 0; i < numHoles; ++i) {
        const std::vector<double> row = need(3);
        c.vHoles.emplace_back(row[1], row[2]);
    }
    c.bPoly = true;
    c.description = path + " (.poly, " + std::to_string(numVtx) + " vertices, " + std::to_string(numSeg) +
                    " segments, " + std::to_string(numHoles) + " holes)";
}

// The domain of a .poly file as a zone: every triangle minus those reached, without crossing
// a segment, from the hole points and from the hull edges that are no segment.
Zone2* polyZone(Lumo_2D& dt, ConstraintGraph2* pGraph, const std::vector<Point2>& vHoles) {
    std::vector<ConstraintGraph2*> vGraphs;
    if (pGraph != nullptr) vGraphs.push_back(pGraph);
    Zone2* pCut = nullptr;
    std::set<Triangle2*> sCut;
    auto cutFrom = [&](const Point2& seed) {
        Zone2* pGrow = dt.createZone(vGraphs, ZL_GROW, seed, false);
        if (pGrow == nullptr) return;
        pCut = pCut == nullptr ? pGrow : zoneUnion(pCut, pGrow);
        std::vector<Triangle2*> vCut;
        pCut->getTriangles(vCut);
        sCut.insert(vCut.begin(), vCut.end());
    };
    for (const Point2& h : vHoles) cutFrom(h);
    std::vector<Triangle2*> vAll;
    dt.getTrianglePointers(vAll);
    for (Triangle2* pT : vAll) {
        for (int i = 0; i < 3 && sCut.count(pT) == 0; ++i) {
            if (pT->getOppositeTriangle(i) != nullptr) continue;
            if (pGraph != nullptr && pGraph->isConstraint(pT->getCorner((i + 1) % 3), pT->getCorner((i + 2) % 3))) continue;
            cutFrom(pT->getBarycenter());
        }
    }
    Zone2* pAll = dt.createZone(nullptr, ZL_GLOBAL, false);
    return pCut == nullptr ? pAll : zoneDifference(pAll, pCut);
}

std::string formatMs(double seconds) {
    char buf[64];
    if (seconds < 1.0) std::snprintf(buf, sizeof buf, "%.1f ms", seconds * 1000.0);
    else std::snprintf(buf, sizeof buf, "%.2f s", seconds);
    return buf;
}

std::ofstream openForWriting(const std::string& path) {
    std::ofstream f(path.c_str(), std::ios::out | std::ios::trunc);
    f << std::setprecision(17);  // enough digits to read every double back exactly
    return f;
}

// The input points in input order, duplicates included, so that the .ele indices are rows of
// the user's own data; then the vertices that segments added (.poly vertices, crossings).
void writeNodeFile(const std::string& path, const Input& in, const std::vector<Point2*>& vAdded) {
    std::ofstream f = openForWriting(path);
    f << in.vPoints.size() + vAdded.size() << " 2 0 0\n";
    for (size_t i = 0; i < in.vPoints.size(); ++i)
        f << (long long)(i) + in.firstIndex << " " << in.vPoints[i].x() << " " << in.vPoints[i].y() << "\n";
    for (size_t k = 0; k < vAdded.size(); ++k)
        f << (long long)(in.vPoints.size() + k) + in.firstIndex << " " << vAdded[k]->x() << " " << vAdded[k]->y() << "\n";
    if (!f) inputError(path + ": could not be written");
}

// Triangles as counterclockwise triples of .node indices; a vertex that merged duplicates is
// named by its first input point.
void writeEleFile(const std::string& path, const std::vector<Triangle2*>& vTriangles, const Input& in,
                  const std::vector<Point2*>& vHandles, const std::vector<Point2*>& vAdded) {
    // (vertex, row) sorted by vertex, the first row of each vertex first: a vertex's row is one
    // binary search away (a node-based map of a million vertices took seconds to build).
    std::vector<std::pair<const Point2*, long long>> vRow;
    vRow.reserve(vHandles.size() + vAdded.size());
    for (size_t i = 0; i < vHandles.size(); ++i) vRow.emplace_back(vHandles[i], (long long)(i) + in.firstIndex);
    for (size_t k = 0; k < vAdded.size(); ++k) vRow.emplace_back(vAdded[k], (long long)(in.vPoints.size() + k) + in.firstIndex);
    std::sort(vRow.begin(), vRow.end());
    auto rowOf = [&](const Point2* p) {
        const auto it = std::lower_bound(vRow.begin(), vRow.end(), std::make_pair(p, std::numeric_limits<long long>::min()));
        if (it == vRow.end() || it->first != p) inputError(path + ": a triangle corner is no vertex of the input");
        return it->second;
    };
    std::ofstream f = openForWriting(path);
    f << vTriangles.size() << " 3 0\n";
    for (size_t t = 0; t < vTriangles.size(); ++t) {
        f << (long long)(t) + in.firstIndex;
        for (int i = 0; i < 3; ++i) f << " " << rowOf(vTriangles[t]->getCorner(i));
        f << "\n";
    }
    if (!f) inputError(path + ": could not be written");
}

// Every output target can be written: checked before any work is done.
void checkOutputTargets(const Outputs& out) {
    for (const auto& target : {std::make_pair("--obj", &out.obj), std::make_pair("--ps", &out.ps),
                               std::make_pair("--svg", &out.svg), std::make_pair("--node", &out.node),
                               std::make_pair("--ele", &out.ele)})
        if (!target.second->empty()) checkFileTarget(target.first, *target.second);
    if (!out.web.empty()) checkDirectoryTarget("--web", out.web);
}

// Runs a command's work with the library's chatter held back; on failure removes what the work
// wrote and shows the chatter on standard error.
void runHoldingBack(const Options& opt, const std::function<void(HoldBackStdout&, WrittenPaths&)>& work) {
    HoldBackStdout hold(opt.bVerbose);
    WrittenPaths written;
    try {
        work(hold, written);
    } catch (const CliError&) {
        written.removeAll();
        hold.release();
        if (!opt.bVerbose && !hold.text().empty()) std::cerr << hold.text();
        throw;
    } catch (const LumoException& e) {
        written.removeAll();
        hold.release();
        if (!opt.bVerbose) std::cerr << hold.text();
        throw CliError{1, "the library failed: " + std::string(e.what())};
    }
}

// The summary line of a quad mesh.
void printQuadLine(const QMesh& quads) {
    const QuadMeshStatistics& qs = quads.getStatistics();
    std::cout << "quads:     " << qs.numQuads << " quadrilaterals and " << qs.numTriangles << " triangles left ("
              << std::fixed << std::setprecision(1) << 100.0 * qs.pairedFraction << "% of " << qs.numZoneTriangles
              << " triangles paired, corner angles within " << qs.maxAngleDeviation << " degrees of 90)\n"
              << std::defaultfloat << std::setprecision(6);
}

// Writes what the options ask for: the triangles (pZone's, or all when null) and, for .node/.ele,
// the input points with their handles in dt; with pQuads, the drawings and the OBJ file hold
// that quadrilateral mesh. Returns the summary's "written:" lines.
std::vector<std::string> writeOutputs(Lumo_2D& dt, Zone2* pZone, const std::vector<Triangle2*>& vTriangles,
                                      const Input& in, const std::vector<Point2*>& vHandles, const Outputs& out,
                                      WrittenPaths& written, const QMesh* pQuads = nullptr) {
    const bool bDrawable = dt.numberOfTriangles() <= maxDrawingTriangles;
    for (const std::string* pDrawing : {&out.ps, &out.svg}) {
        if (!pDrawing->empty() && !bDrawable) {
            inputError(*pDrawing + ": " + std::to_string(dt.numberOfTriangles()) +
                       " triangles are more than a drawing holds (" + std::to_string(maxDrawingTriangles) +
                       "); use --web or --obj for large meshes");
        }
    }
    std::vector<std::string> vLines;
    // Writes one file through the library and checks that it arrived.
    auto writeFile = [&](const std::string& path, const char* what, const std::function<void()>& write) {
        if (path.empty()) return;
        written.addFile(path);
        write();
        if (!isNonEmptyFile(path)) inputError(path + ": could not be written");
        vLines.push_back(path + "  (" + what + ")");
    };
    if (pQuads != nullptr) {
        writeFile(out.ps, "PostScript drawing, quadrilaterals", [&] { pQuads->show(out.ps); });
        writeFile(out.svg, "SVG drawing, quadrilaterals", [&] { pQuads->showSvg(out.svg); });
        writeFile(out.obj, "Wavefront OBJ, quadrilaterals", [&] { pQuads->writeObj(out.obj); });
    } else {
        writeFile(out.ps, "PostScript drawing", [&] { pZone != nullptr ? pZone->show(out.ps) : dt.show(out.ps); });
        writeFile(out.svg, "SVG drawing", [&] { pZone != nullptr ? pZone->showSvg(out.svg) : dt.showSvg(out.svg); });
        writeFile(out.obj, "Wavefront OBJ", [&] { dt.writeObj(out.obj, pZone); });
    }
    std::vector<Point2*> vAdded;   // vertices that are no input point
    if (!out.node.empty() || !out.ele.empty()) {
        std::vector<Point2*> vInput(vHandles), vAll;
        std::sort(vInput.begin(), vInput.end());
        dt.getVertexPointers(vAll);
        for (Point2* p : vAll)
            if (!std::binary_search(vInput.begin(), vInput.end(), p)) vAdded.push_back(p);
    }
    writeFile(out.node, "input points, .node", [&] { writeNodeFile(out.node, in, vAdded); });
    writeFile(out.ele, "triangles as input indices, .ele", [&] { writeEleFile(out.ele, vTriangles, in, vHandles, vAdded); });
    if (!out.web.empty()) {
        const std::string web = withoutTrailingSlash(out.web);
        written.addNewDirectories(out.web);
        dt.writeWebScene(out.web.c_str(), pZone);
        if (!isNonEmptyFile(web + "/index.html") || !isNonEmptyFile(web + "/3d.obj") ||
            (bDrawable && !isNonEmptyFile(web + "/2d.svg")))
            inputError(out.web + ": the browser scene could not be written");
        vLines.push_back(web + "/  (browser scene: python3 -m http.server -d " + web +
                         ", then open http://localhost:8000)");
        if (!bDrawable)
            vLines.push_back(web + "/  (no top view 2d.svg: more than " + std::to_string(maxDrawingTriangles) +
                             " triangles)");
    }
    return vLines;
}

void printWrittenLines(const std::vector<std::string>& vLines) {
    for (size_t i = 0; i < vLines.size(); ++i) std::cout << (i == 0 ? "written:   " : "           ") << vLines[i] << "\n";
    if (vLines.empty()) std::cout << "written:   nothing (use --obj, --ps, --svg, --web, --node or --ele)\n";
}

// Triangulates, writes the outputs and prints the summary; cleans up on failure.
void triangulateAndWrite(const Input& in, const Outputs& out, const Options& opt, const Constraints& cons = Constraints()) {
    checkOutputTargets(out);
    runHoldingBack(opt, [&](HoldBackStdout& hold, WrittenPaths& written) {
        const std::vector<Point2>& vPoints = in.vPoints;
        Lumo_2D dt(unsigned(vPoints.size()));
        dt.setNumCPU(opt.numThreads);
        ProgressBar bar;
        const bool bShowProgress = vPoints.size() >= progressBarMinPoints && isatty(STDERR_FILENO);
        if (bShowProgress) dt.subscribe(MSG_PROGRESS, &bar);
        std::vector<Point2*> vHandles;
        const auto t0 = std::chrono::steady_clock::now();
        dt.insert(vPoints, vHandles);
        const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();
        if (bShowProgress) dt.unsubscribe(MSG_PROGRESS, &bar);
        const size_t numInputVertices = dt.numberOfPoints();
        double consSeconds = 0.0;
        ConstraintGraph2* pGraph = nullptr;
        size_t numBefore = 0;
        if (!cons.vSegments.empty() || !cons.vPoints.empty()) {
            if (!cons.vPoints.empty()) dt.insert(cons.vPoints);
            numBefore = dt.numberOfPoints();
            std::vector<Segment2> vSegs(cons.vSegments);
            const bool bBar = vSegs.size() >= 1000 && isatty(STDERR_FILENO);
            if (bBar) dt.subscribe(MSG_PROGRESS, &bar);
            const auto c0 = std::chrono::steady_clock::now();
            if (!vSegs.empty())
                pGraph = dt.createConstraint(vSegs, cons.bConforming ? CIS_CONFORMING_DELAUNAY : CIS_CONSTRAINED_DELAUNAY);
            dt.applyConstraintsAndZones();
            consSeconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - c0).count();
            if (bBar) dt.unsubscribe(MSG_PROGRESS, &bar);
        }
        if (!dt.is2D()) {
            inputError("no triangle: the " + std::to_string(dt.numberOfPoints()) +
                       " distinct points are all on one line");
        }
        // A .poly file describes a domain: the outputs hold its triangles only.
        Zone2* pZone = cons.bPoly ? polyZone(dt, pGraph, cons.vHoles) : nullptr;
        const size_t numAfterSegments = dt.numberOfPoints();
        if (!cons.vCutter.empty()) {
            // Bounded by the hull as it is: a polygon reaching beyond it cuts the mesh there.
            Zone2* pBase = pZone != nullptr ? pZone : dt.createZone(nullptr, ZL_GLOBAL, false)->convertToBoundedZone();
            pZone = createZone_cookieCutter(pBase, cons.vCutter);
            if (pZone == nullptr) inputError(cons.cutFile + ": cuts out no triangle (a polygon that is not simple, or beside the mesh)");
        }
        std::vector<Triangle2*> vTriangles;
        if (pZone != nullptr) pZone->getTriangles(vTriangles);
        else dt.getTrianglePointers(vTriangles);
        QMesh quads;
        if (out.bQuads) {
            Zone2* pQuadZone = pZone != nullptr ? pZone : dt.createZone(nullptr, ZL_GLOBAL);
            if (!dt.createQuadMesh(pQuadZone, quads)) inputError("no quadrilateral mesh could be made");
        }
        const std::vector<std::string> vLines =
            writeOutputs(dt, pZone, vTriangles, in, vHandles, out, written, out.bQuads ? &quads : nullptr);
        hold.release();

        const size_t numDup = vPoints.size() - numInputVertices;
        std::cout << "input:     " << in.description << "\n";
        std::cout << "points:    " << numInputVertices;
        if (numDup > 0) std::cout << " (" << numDup << " duplicate" << (numDup == 1 ? "" : "s") << " merged)";
        std::cout << "\n";
        std::cout << "triangles: " << dt.numberOfTriangles() << "\n";
        if (!cons.vCutter.empty())
            std::cout << "cut:       " << vTriangles.size() << " triangles inside " << cons.cutFile << " ("
                      << cons.vCutter.size() << " vertices); the outputs hold these\n";
        else if (pZone != nullptr)
            std::cout << "domain:    " << vTriangles.size() << " triangles inside the boundary, " << cons.vHoles.size()
                      << " hole point(s); the outputs hold these\n";
        if (out.bQuads) printQuadLine(quads);
        std::cout << "time:      " << formatMs(seconds) << " (triangulation, " << dt.getNumCPU()
                  << (dt.getNumCPU() == 1 ? " thread)\n" : " threads)\n");
        if (!cons.vSegments.empty()) {
            std::cout << "segments:  " << cons.description << ", " << (cons.bConforming ? "conforming" : "constrained")
                      << ", " << numAfterSegments - numBefore << " vertices added, " << formatMs(consSeconds) << "\n";
        }
        printWrittenLines(vLines);
    });
}

void runDemo(const std::vector<std::string>& vArgs, const Options& opt) {
    if (vArgs.size() > 1) usageError("demo takes at most one directory, got " + std::to_string(vArgs.size()));
    const std::string dir = withoutTrailingSlash(vArgs.empty() ? "lumo2d-demo" : vArgs[0]);
    if (dir.empty()) usageError("demo: empty directory name");
    checkDirectoryTarget("demo", dir);

    // A reproducible cloud: random points in a square and a ring of points around its centre.
    Input in;
    generateRandomPoints(1000, 0.0, 100.0, in.vPoints, 20260101);
    generateCircle(360, 50.0, 50.0, 35.0, 35.0, in.vPoints);
    in.description = "built-in demo data (1000 random points and a ring of 360)";

    const bool bNewDir = !pathExists(dir);
    if (!createDirectory(dir.c_str())) inputError(dir + ": cannot create the directory");
    try {
        Outputs out;
        out.ps = dir + "/demo.ps";
        out.svg = dir + "/demo.svg";
        out.obj = dir + "/demo.obj";
        out.web = dir + "/web";
        triangulateAndWrite(in, out, opt);
    } catch (const CliError&) {
        if (bNewDir) rmdir(dir.c_str());
        throw;
    }
}

int parseThreadsOption(const std::string& value) {
    char* pEnd = nullptr;
    const long n = std::strtol(value.c_str(), &pEnd, 10);
    if (value.empty() || *pEnd != '\0' || n < 0 || n > 100000)
        usageError("--threads: '" + value + "' is not a thread count (0 to 100000)");
    return int(n);
}

void runTriangulate(const std::vector<std::string>& vArgs, const Options& optIn) {
    Options opt(optIn);
    std::string input;
    bool bHaveInput = false;
    PointFileFormat format = PFF_AUTO;
    Outputs out;
    Constraints cons;
    std::string segmentsFile, polyFile;
    const std::pair<const char*, std::string*> aTargets[] = {{"--segments", &segmentsFile}, {"--poly", &polyFile}, {"--cut", &cons.cutFile}, {"--obj", &out.obj},   {"--ps", &out.ps},
                                                             {"--svg", &out.svg},   {"--web", &out.web},
                                                             {"--node", &out.node}, {"--ele", &out.ele}};
    for (size_t i = 0; i < vArgs.size(); ++i) {
        const std::string& a = vArgs[i];
        std::string* pTarget = nullptr;
        for (const auto& t : aTargets)
            if (a == t.first) pTarget = t.second;
        if (pTarget != nullptr || a == "--format") {
            if (i + 1 >= vArgs.size())
                usageError(a + " needs a " + (a == "--web" ? "directory" : a == "--format" ? "format" : "file") + " name");
            const std::string& value = vArgs[++i];
            if (value.empty()) usageError(a + " needs a non-empty name");
            if (pTarget != nullptr) *pTarget = value;
            else format = parseFormatOption(value);
        } else if (a == "--conforming") {
            cons.bConforming = true;
        } else if (a == "--quads") {
            out.bQuads = true;
        } else if (a == "--threads") {
            if (i + 1 >= vArgs.size()) usageError("--threads needs a number");
            opt.numThreads = parseThreadsOption(vArgs[++i]);
        } else if (a.size() > 1 && a[0] == '-') {
            usageError("triangulate: unknown option '" + a + "'");
        } else if (!bHaveInput) {
            input = a;
            bHaveInput = true;
        } else {
            usageError("triangulate: more than one INPUT ('" + input + "', '" + a + "')");
        }
    }
    if (!bHaveInput || input.empty()) usageError("triangulate: missing INPUT");
    if (!segmentsFile.empty() && !polyFile.empty()) usageError("triangulate: --segments and --poly exclude each other");
    if (!segmentsFile.empty()) readSegmentFile(segmentsFile, cons);
    if (!polyFile.empty()) readPolyFile(polyFile, cons);
    if (!cons.cutFile.empty()) {
        HoldBackStdout hold(opt.bVerbose);
        if (!readXY(cons.cutFile.c_str(), cons.vCutter) || cons.vCutter.size() < 3) {
            hold.release();
            std::cerr << hold.text();
            inputError(cons.cutFile + ": not a polygon of at least 3 \"x y\" points");
        }
    }
    triangulateAndWrite(readInput(input, format), out, opt, cons);
}

// ---- quality meshes --------------------------------------------------------------------------

// The bounds of the mesh command; 0 stands for none (area, edge) or the default (minimum edge).
struct MeshBounds {
    double minAngle{20.0};
    double maxArea{0.0};
    double maxEdge{0.0};
    double minEdge{0.0};
    bool bSplit{true};
    double grid{0.0};        // grid spacing; 0: no grid
    double gridAngle{0.0};   // direction of the grid lines, degrees
};

// A number option's value in (lo, hi] (or [lo, hi] with bClosedBelow); else a usage error that
// says what the value must be.
double parseNumberOption(const std::string& option, const std::string& value, double lo, double hi,
                         bool bClosedBelow, const std::string& what) {
    char* pEnd = nullptr;
    const double v = std::strtod(value.c_str(), &pEnd);
    const bool bAbove = bClosedBelow ? v >= lo : v > lo;
    if (value.empty() || *pEnd != '\0' || !std::isfinite(v) || !bAbove || v > hi)
        usageError(option + ": '" + value + "' is not " + what);
    return v;
}

std::string boundText(double value) {
    std::ostringstream ss;
    ss << value;
    return value > 0 ? ss.str() : "none";
}

// Refines the domain of the segments (.poly: with its holes) and writes the outputs.
void meshAndWrite(const std::string& inputPath, const Constraints& cons, const MeshBounds& bounds,
                  const Outputs& out, const Options& opt) {
    checkOutputTargets(out);
    runHoldingBack(opt, [&](HoldBackStdout& hold, WrittenPaths& written) {
        // The input vertices, each once, in order of first appearance: the first rows of --node.
        Input in;
        in.description = cons.description;
        in.firstIndex = cons.firstIndex;
        in.vPoints = cons.vPoints;
        if (!cons.bPoly) {
            std::set<std::pair<double, double>> sSeen;
            for (const Segment2& seg : cons.vSegments)
                for (const Point2& p : {seg.getSrc(), seg.getTrg()})
                    if (sSeen.insert({p.x(), p.y()}).second) in.vPoints.push_back(p);
        }
        Lumo_2D dt(unsigned(in.vPoints.size()));
        std::vector<Point2*> vHandles;
        dt.insert(in.vPoints, vHandles);
        std::vector<Segment2> vSegs(cons.vSegments);
        ConstraintGraph2* pGraph = vSegs.empty() ? nullptr : dt.createConstraint(vSegs, CIS_CONSTRAINED_DELAUNAY);
        dt.applyConstraintsAndZones();
        if (!dt.is2D())
            inputError("no triangle: the " + std::to_string(dt.numberOfPoints()) + " distinct points are all on one line");
        Zone2* pDomain = polyZone(dt, pGraph, cons.vHoles);
        const bool bHull = pDomain->getNumberOfTriangles() == 0 && !cons.bPoly;
        if (bHull) pDomain = dt.createZone(nullptr, ZL_GLOBAL, false);
        if (pDomain->getNumberOfTriangles() == 0) inputError(inputPath + ": the boundary encloses no area outside the holes");
        // Refinement works on a zone bounded by segments; the domain's border becomes one.
        Zone2* pZone = pDomain->convertToBoundedZone();

        MeshGenParams params(pZone);
        params.minAngleDegree = bounds.minAngle;
        if (bounds.maxArea > 0) params.maxTriangleArea = bounds.maxArea;
        if (bounds.maxEdge > 0) params.maxEdgeLength = bounds.maxEdge;
        const Bbox2 box = pZone->getBoundingBox();
        // The library's default minimum is absolute; a share of the extent keeps any scale meshable.
        params.minEdgeLength = bounds.minEdge > 0 ? bounds.minEdge
                                                  : 1e-6 * std::hypot(box.getRangeX(), box.getRangeY());
        params.allowConstraintSplitting = bounds.bSplit;
        if (bounds.grid > 0) {
            // The library refuses such a grid with a message only; the tool says why it fails.
            if (pZone->getArea2D() / bounds.grid / bounds.grid > 1e8)
                inputError("--grid " + boundText(bounds.grid) + ": too fine for the domain (more than 100000000 grid vertices)");
            params.gridLength = bounds.grid;
            const double rad = bounds.gridAngle * M_PI / 180.0;
            params.gridVector = Vector2(std::cos(rad), std::sin(rad));
        }
        const size_t numBefore = dt.numberOfPoints();
        ProgressBar bar;
        const bool bShowProgress = isatty(STDERR_FILENO) != 0;
        if (bShowProgress) dt.subscribe(MSG_PROGRESS, &bar);
        const auto t0 = std::chrono::steady_clock::now();
        dt.refineAdvanced(&params);
        const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();
        if (bShowProgress) dt.unsubscribe(MSG_PROGRESS, &bar);

        std::vector<Triangle2*> vTriangles;
        pZone->getTriangles(vTriangles);
        std::vector<Point2*> vVertices;
        pZone->getVertices(vVertices);
        double minAngle = 180.0;
        size_t numBelow = 0;
        for (Triangle2* pT : vTriangles) {
            const double a = std::min({pT->getInteriorAngle2D(0), pT->getInteriorAngle2D(1), pT->getInteriorAngle2D(2)});
            minAngle = std::min(minAngle, a);
            numBelow += a < bounds.minAngle;
        }
        QMesh quads;
        if (out.bQuads && !dt.createQuadMesh(pZone, quads)) inputError("no quadrilateral mesh could be made");
        const std::vector<std::string> vLines =
            writeOutputs(dt, pZone, vTriangles, in, vHandles, out, written, out.bQuads ? &quads : nullptr);
        hold.release();

        std::cout << "input:     " << in.description << "\n";
        std::cout << "domain:    "
                  << (bHull ? "the convex hull (the segments enclose no area)"
                            : !cons.bPoly ? "the area the segments enclose"
                            : cons.vHoles.empty() ? "inside the boundary"
                                                  : "inside the boundary, outside " + std::to_string(cons.vHoles.size()) + " hole(s)")
                  << "\n";
        std::cout << "bounds:    angle " << bounds.minAngle << " degrees, area " << boundText(bounds.maxArea) << ", edge "
                  << boundText(bounds.maxEdge) << ", segments " << (bounds.bSplit ? "split where needed" : "kept whole")
                  << "\n";
        if (bounds.grid > 0) std::cout << "grid:      spacing " << bounds.grid << ", lines at " << bounds.gridAngle << " degrees\n";
        std::cout << "vertices:  " << vVertices.size() << " (" << dt.numberOfPoints() - numBefore << " added)\n";
        std::cout << "triangles: " << vTriangles.size() << "\n";
        char angle[32];
        // Rounded down, but for the measure's own error: a right isosceles triangle prints 45.00.
        std::snprintf(angle, sizeof angle, "%.2f", std::floor(minAngle * 100.0 + 1e-6) / 100.0);
        std::cout << "angle:     " << angle << " degrees smallest";
        if (numBelow > 0) std::cout << " (" << numBelow << " triangle" << (numBelow == 1 ? "" : "s") << " below the bound)";
        std::cout << "\n";
        if (out.bQuads) printQuadLine(quads);
        std::cout << "time:      " << formatMs(seconds) << " (refinement)\n";
        printWrittenLines(vLines);
    });
}

void runMesh(const std::vector<std::string>& vArgs, const Options& opt) {
    std::string input;
    Outputs out;
    MeshBounds bounds;
    bool bGridAngle = false;
    const std::pair<const char*, std::string*> aTargets[] = {{"--obj", &out.obj}, {"--ps", &out.ps},
                                                             {"--svg", &out.svg}, {"--web", &out.web},
                                                             {"--node", &out.node}, {"--ele", &out.ele}};
    const double maxDouble = std::numeric_limits<double>::max();
    for (size_t i = 0; i < vArgs.size(); ++i) {
        const std::string& a = vArgs[i];
        std::string* pTarget = nullptr;
        for (const auto& t : aTargets)
            if (a == t.first) pTarget = t.second;
        const bool bNumber = a == "--min-angle" || a == "--max-area" || a == "--max-edge" || a == "--min-edge" ||
                             a == "--grid" || a == "--grid-angle";
        if (pTarget != nullptr || bNumber) {
            if (i + 1 >= vArgs.size()) usageError(a + " needs a " + (bNumber ? "number" : a == "--web" ? "directory name" : "file name"));
            const std::string& value = vArgs[++i];
            bGridAngle = bGridAngle || a == "--grid-angle";
            if (a == "--min-angle") bounds.minAngle = parseNumberOption(a, value, 0.0, 30.0, true, "an angle from 0 to 30 degrees");
            else if (a == "--max-area") bounds.maxArea = parseNumberOption(a, value, 0.0, maxDouble, false, "a positive area");
            else if (a == "--max-edge") bounds.maxEdge = parseNumberOption(a, value, 0.0, maxDouble, false, "a positive length");
            else if (a == "--min-edge") bounds.minEdge = parseNumberOption(a, value, 0.0, maxDouble, false, "a positive length");
            else if (a == "--grid") bounds.grid = parseNumberOption(a, value, 0.0, maxDouble, false, "a positive length");
            else if (a == "--grid-angle") bounds.gridAngle = parseNumberOption(a, value, -360.0, 360.0, true, "an angle from -360 to 360 degrees");
            else if (value.empty()) usageError(a + " needs a non-empty name");
            else *pTarget = value;
        } else if (a == "--no-split") {
            bounds.bSplit = false;
        } else if (a == "--quads") {
            out.bQuads = true;
        } else if (a.size() > 1 && a[0] == '-') {
            usageError("mesh: unknown option '" + a + "'");
        } else if (input.empty()) {
            input = a;
        } else {
            usageError("mesh: more than one INPUT ('" + input + "', '" + a + "')");
        }
    }
    if (input.empty()) usageError("mesh: missing INPUT (a .poly or segment file)");
    if (bGridAngle && bounds.grid == 0) usageError("mesh: --grid-angle needs --grid");
    if (isDirectory(input)) inputError(input + ": is a directory");
    Constraints cons;
    const bool bPoly = input.size() > 5 && input.compare(input.size() - 5, 5, ".poly") == 0;
    if (bPoly) readPolyFile(input, cons);
    else readSegmentFile(input, cons);
    if (cons.vSegments.empty()) inputError(input + ": holds no segments");
    meshAndWrite(input, cons, bounds, out, opt);
}

void printVersion() {
    std::cout << "lumo2d " << getMajorVersionNumber() << "." << getMinorVersionNumber() << "." << getRevisionNumber()
              << " (" << getLumo2DVersion() << (isRelease() ? "" : ", debug build") << ")\n";
}

int run(int argc, char** argv) {
    Options opt;
    std::vector<std::string> vArgs;
    for (int i = 1; i < argc; ++i) {
        const std::string a(argv[i]);
        if (a == "-h" || a == "--help") {
            std::cout << usageText;
            return 0;
        }
        if (a == "-V" || a == "--version") {
            printVersion();
            return 0;
        }
        if (a == "-v" || a == "--verbose") opt.bVerbose = true;
        else vArgs.push_back(a);
    }
    if (vArgs.empty()) usageError("missing COMMAND");
    const std::string command = vArgs.front();
    vArgs.erase(vArgs.begin());
    if (command == "demo") runDemo(vArgs, opt);
    else if (command == "triangulate") runTriangulate(vArgs, opt);
    else if (command == "mesh") runMesh(vArgs, opt);
    else usageError("unknown command '" + command + "'");
    return 0;
}

} // namespace

int main(int argc, char** argv) {
    try {
        return run(argc, argv);
    } catch (const CliError& e) {
        std::cerr << "lumo2d: " << e.message << "\n";
        if (e.status == 2) std::cerr << "Try 'lumo2d --help' for more information.\n";
        return e.status;
    }
}
