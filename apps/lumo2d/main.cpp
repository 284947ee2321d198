// lumo2d: Delaunay triangulation from the command line.
//
//   lumo2d demo [DIR]
//   lumo2d triangulate INPUT [--obj FILE] [--ps FILE] [--web DIR]
//
// Library messages (which go to standard output) are held back and shown on standard error
// only when something fails, so that standard output carries just the summary.
#include <sys/stat.h>
#include <unistd.h>
#include <cctype>
#include <cerrno>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iostream>
#include <sstream>
#include <string>
#include <vector>
#include "Lumo_2D.h"

using namespace ORBI_LUMO2D;

namespace {

const char* const usageText =
    "Usage: lumo2d COMMAND [ARGS]\n"
    "\n"
    "Delaunay triangulation of 2D points, with a PostScript drawing, an OBJ file and a\n"
    "browser scene (a directory with index.html that shows the mesh in 3D).\n"
    "\n"
    "Commands:\n"
    "  demo [DIR]           triangulate a built-in, reproducible data set and write a drawing,\n"
    "                       an OBJ file and a browser scene into DIR (default: lumo2d-demo)\n"
    "  triangulate INPUT [--obj FILE] [--ps FILE] [--web DIR]\n"
    "                       triangulate the points of INPUT, a text file of \"x y\" pairs or a\n"
    "                       binary point file (told apart by content), and write what is asked\n"
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
                for (const char* n : {"index.html", "jsc3d.js", "jsc3d.ctm.js", "jsc3d.touch.js", "3d.obj"})
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

std::string readWholeFile(const std::string& path) {
    if (isDirectory(path)) inputError(path + ": is a directory");
    std::ifstream f(path.c_str(), std::ios::binary);
    if (!f) inputError(path + ": cannot open: " + std::strerror(errno));
    std::ostringstream ss;
    ss << f.rdbuf();
    return ss.str();
}

// The binary point file: int32 type (20: x y, 30: x y z), uint64 count, doubles.
bool looksBinary(const std::string& bytes, int32_t& type) {
    if (bytes.size() < 12) return false;
    std::memcpy(&type, bytes.data(), 4);
    return type == 20 || type == 30;
}

void checkBinaryLayout(const std::string& path, const std::string& bytes, int32_t type) {
    uint64_t n = 0;
    std::memcpy(&n, bytes.data() + 4, 8);
    const uint64_t recordSize = type == 20 ? 16 : 24;
    const uint64_t payload = bytes.size() - 12;
    if (n > payload / recordSize || payload != n * recordSize) {
        inputError(path + ": binary point file (type " + std::to_string(type) + ") announces " + std::to_string(n) +
                   " points but holds " + std::to_string(payload) + " bytes of coordinates");
    }
}

// Every token must be a finite number, and they must pair up; names the first offender.
size_t checkTextLayout(const std::string& path, const std::string& text) {
    if (text.find('\0') != std::string::npos)
        inputError(path + ": neither text \"x y\" pairs nor a binary point file");
    size_t numTokens = 0, line = 1, i = 0;
    while (i < text.size()) {
        const char c = text[i];
        if (c == '\n') ++line;
        if (std::isspace(static_cast<unsigned char>(c))) {
            ++i;
            continue;
        }
        size_t end = i;
        while (end < text.size() && !std::isspace(static_cast<unsigned char>(text[end]))) ++end;
        const std::string token = text.substr(i, end - i);
        char* stop = nullptr;
        const double v = std::strtod(token.c_str(), &stop);
        if (stop == token.c_str() || *stop != '\0' || !std::isfinite(v)) {
            const std::string shown = token.size() > 20 ? token.substr(0, 20) + "..." : token;
            inputError(path + ":" + std::to_string(line) + ": '" + shown + "' is not a finite number");
        }
        ++numTokens;
        i = end;
    }
    if (numTokens % 2 != 0) inputError(path + ": odd number of coordinates (" + std::to_string(numTokens) + "): the last x has no y");
    return numTokens / 2;
}

std::vector<Point2> readPoints(const std::string& path, const char*& formatOut) {
    const std::string bytes = readWholeFile(path);
    std::vector<Point2> vPoints;
    int32_t type = 0;
    bool bRead;
    {
        HoldBackStdout hold(false);  // the readers' own failure lines are replaced by ours
        if (looksBinary(bytes, type)) {
            checkBinaryLayout(path, bytes, type);
            formatOut = "binary";
            bRead = readPointsBIN(path.c_str(), vPoints);
        } else {
            const size_t numPoints = checkTextLayout(path, bytes);
            formatOut = "text";
            bRead = readXY(path.c_str(), vPoints) && vPoints.size() == numPoints;
        }
    }
    if (!bRead) inputError(path + ": could not be read as a " + std::string(formatOut) + " point file");
    if (vPoints.empty()) inputError(path + ": holds no points");
    for (size_t k = 0; k < vPoints.size(); ++k) {
        if (!std::isfinite(vPoints[k].x()) || !std::isfinite(vPoints[k].y()))
            inputError(path + ": point " + std::to_string(k + 1) + " has a non-finite coordinate");
    }
    return vPoints;
}

// ---- the work ----------------------------------------------------------------------------

struct Outputs {
    std::string obj, ps, web;
};

struct Options {
    bool bVerbose{false};
};

std::string formatMs(double seconds) {
    char buf[64];
    if (seconds < 1.0) std::snprintf(buf, sizeof buf, "%.1f ms", seconds * 1000.0);
    else std::snprintf(buf, sizeof buf, "%.2f s", seconds);
    return buf;
}

// Triangulates, writes the outputs and prints the summary; cleans up on failure.
void triangulateAndWrite(const std::vector<Point2>& vPoints, const std::string& sourceText, const Outputs& out,
                         const Options& opt) {
    if (!out.obj.empty()) checkFileTarget("--obj", out.obj);
    if (!out.ps.empty()) checkFileTarget("--ps", out.ps);
    if (!out.web.empty()) checkDirectoryTarget("--web", out.web);

    HoldBackStdout hold(opt.bVerbose);
    WrittenPaths written;
    try {
        Lumo_2D dt(unsigned(vPoints.size()));
        ProgressBar bar;
        const bool bShowProgress = vPoints.size() >= progressBarMinPoints && isatty(STDERR_FILENO);
        if (bShowProgress) dt.subscribe(MSG_PROGRESS, &bar);
        const auto t0 = std::chrono::steady_clock::now();
        dt.insert(vPoints);
        const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();
        if (bShowProgress) dt.unsubscribe(MSG_PROGRESS, &bar);
        if (!dt.is2D()) {
            inputError("no triangle: the " + std::to_string(dt.numberOfPoints()) +
                       " distinct points are all on one line");
        }

        std::vector<std::string> vLines;
        if (!out.ps.empty()) {
            written.addFile(out.ps);
            dt.show(out.ps);
            if (!isNonEmptyFile(out.ps)) inputError(out.ps + ": could not be written");
            vLines.push_back(out.ps + "  (PostScript drawing)");
        }
        if (!out.obj.empty()) {
            written.addFile(out.obj);
            dt.writeObj(out.obj);
            if (!isNonEmptyFile(out.obj)) inputError(out.obj + ": could not be written");
            vLines.push_back(out.obj + "  (Wavefront OBJ)");
        }
        if (!out.web.empty()) {
            written.addNewDirectories(out.web);
            dt.writeWebScene(out.web.c_str());
            if (!isNonEmptyFile(out.web + "/index.html") || !isNonEmptyFile(out.web + "/3d.obj"))
                inputError(out.web + ": the browser scene could not be written");
            vLines.push_back(withoutTrailingSlash(out.web) + "/  (browser scene: python3 -m http.server -d " +
                             withoutTrailingSlash(out.web) + ", then open http://localhost:8000)");
        }
        hold.release();

        const size_t numDup = vPoints.size() - dt.numberOfPoints();
        std::cout << "input:     " << sourceText << "\n";
        std::cout << "points:    " << dt.numberOfPoints();
        if (numDup > 0) std::cout << " (" << numDup << " duplicate" << (numDup == 1 ? "" : "s") << " merged)";
        std::cout << "\n";
        std::cout << "triangles: " << dt.numberOfTriangles() << "\n";
        std::cout << "time:      " << formatMs(seconds) << " (triangulation)\n";
        for (size_t i = 0; i < vLines.size(); ++i) std::cout << (i == 0 ? "written:   " : "           ") << vLines[i] << "\n";
        if (vLines.empty()) std::cout << "written:   nothing (use --obj, --ps or --web)\n";
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

void runDemo(const std::vector<std::string>& vArgs, const Options& opt) {
    if (vArgs.size() > 1) usageError("demo takes at most one directory, got " + std::to_string(vArgs.size()));
    const std::string dir = withoutTrailingSlash(vArgs.empty() ? "lumo2d-demo" : vArgs[0]);
    if (dir.empty()) usageError("demo: empty directory name");
    checkDirectoryTarget("demo", dir);

    // A reproducible cloud: random points in a square and a ring of points around its centre.
    std::vector<Point2> vPoints;
    generateRandomPoints(1000, 0.0, 100.0, vPoints, 20260101);
    generateCircle(360, 50.0, 50.0, 35.0, 35.0, vPoints);

    const bool bNewDir = !pathExists(dir);
    if (!createDirectory(dir.c_str())) inputError(dir + ": cannot create the directory");
    try {
        Outputs out{dir + "/demo.obj", dir + "/demo.ps", dir + "/web"};
        triangulateAndWrite(vPoints, "built-in demo data (1000 random points and a ring of 360)", out, opt);
    } catch (const CliError&) {
        if (bNewDir) rmdir(dir.c_str());
        throw;
    }
}

void runTriangulate(const std::vector<std::string>& vArgs, const Options& opt) {
    std::string input;
    Outputs out;
    for (size_t i = 0; i < vArgs.size(); ++i) {
        const std::string& a = vArgs[i];
        std::string* pTarget = a == "--obj" ? &out.obj : a == "--ps" ? &out.ps : a == "--web" ? &out.web : nullptr;
        if (pTarget != nullptr) {
            if (i + 1 >= vArgs.size()) usageError(a + " needs a " + (a == "--web" ? "directory" : "file") + " name");
            *pTarget = vArgs[++i];
            if (pTarget->empty()) usageError(a + " needs a non-empty name");
        } else if (a.size() > 1 && a[0] == '-') {
            usageError("triangulate: unknown option '" + a + "'");
        } else if (input.empty()) {
            input = a;
        } else {
            usageError("triangulate: more than one INPUT ('" + input + "', '" + a + "')");
        }
    }
    if (input.empty()) usageError("triangulate: missing INPUT");
    const char* format = "";
    const std::vector<Point2> vPoints = readPoints(input, format);
    triangulateAndWrite(vPoints, input + " (" + format + ", " + std::to_string(vPoints.size()) + " points)", out, opt);
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
