#include "Visualizer2.h"
#include <algorithm>
#include <cfloat>
#include <cmath>
#include <iostream>
#include "LumoVersion.h"
#include "tools.h"

namespace ORBI_LUMO2D {

namespace {
const size_t maxHeaderLines = 10;
const size_t maxHeaderChars = 120;
// Half the size of the cross that marks a point, in page units.
const double crossHalfSize = 1.5;
// Shared by every visualizer so that long runs of circles keep short paths.
unsigned long long numCirclesDrawn = 0;

// PostScript strings end at an unbalanced ')': escape the characters that matter.
std::string psEscape(const std::string& s) {
    std::string r;
    r.reserve(s.size());
    for (char c : s) {
        if (c == '(' || c == ')' || c == '\\') r += '\\';
        r += c;
    }
    return r;
}
} // namespace

Visualizer2::Visualizer2(const std::string& filename_)
    : filename(filename_), out(filename_.c_str(), std::ios::out | std::ios::trunc),
      minX(DBL_MAX), minY(DBL_MAX), maxX(-DBL_MAX), maxY(-DBL_MAX) {
    std::cout << "Visualizer2:: Writing " << filename << std::endl;
}

Visualizer2::~Visualizer2() {
    if (!bFileClosed) {
        std::cout << "Calling Visualizer2::writeFile() to complete an unfinished visualization ["
                  << filename << "]" << std::endl;
        writeFile();
    }
}

// ---- collecting ------------------------------------------------------------------

void Visualizer2::extendBox(double x, double y) {
    minX = std::min(minX, x);
    minY = std::min(minY, y);
    maxX = std::max(maxX, x);
    maxY = std::max(maxY, y);
    bBoxValid = true;
}

void Visualizer2::extendBox(const Point2& p) { extendBox(p.x(), p.y()); }

void Visualizer2::addObject(const Point2& p, const Color& c) {
    LUMO_ASSERT(!bFileClosed);
    extendBox(p);
    mPoints[c].push_back(p);
}

void Visualizer2::addObject(const Segment2& s, const Color& c) {
    LUMO_ASSERT(!bFileClosed);
    extendBox(s.getSrc());
    extendBox(s.getTrg());
    mSegments[c].push_back(s);
}

void Visualizer2::addObject(const Circle2& circ, const Color& c) {
    LUMO_ASSERT(!bFileClosed);
    const Point2 ctr(circ.getCenter());
    const double r = circ.getRadius();
    extendBox(ctr.x() - r, ctr.y() - r);
    extendBox(ctr.x() + r, ctr.y() + r);
    mCircles[c].push_back(circ);
}

void Visualizer2::addObject(const Triangle2& t, const Color& c) {
    LUMO_ASSERT(!bFileClosed);
    if (t.getCorner(0) == nullptr || t.getCorner(1) == nullptr || t.getCorner(2) == nullptr) {
        reportWarning("Visualizer2::addObject()", "triangle with a null corner, not drawn");
        return;
    }
    Corners corners{*t.getCorner(0), *t.getCorner(1), *t.getCorner(2)};
    for (const Point2& p : corners) extendBox(p);
    mTriangles[c].push_back(corners);
}

void Visualizer2::addObject(const Edge2& e, const Color& c) {
    LUMO_ASSERT(!bFileClosed);
    if (e.getTriangle() == nullptr) {
        reportWarning("Visualizer2::addObject()", "edge without a triangle, not drawn");
        return;
    }
    const Segment2 s(*e.getSrc(), *e.getTrg());
    extendBox(s.getSrc());
    extendBox(s.getTrg());
    mEdges[c].push_back(s);
}

void Visualizer2::addObject(const Label& l, const Color& c) {
    LUMO_ASSERT(!bFileClosed);
    extendBox(l.getPosition());
    mLabels[c].push_back(l);
}

void Visualizer2::addObject(const std::vector<Point2>& v, const Color& c) {
    for (const Point2& p : v) addObject(p, c);
}

namespace {
// Null entries of a pointer vector are skipped with one warning for the whole vector.
template <class T> void warnAboutNulls(const std::vector<T*>& v) {
    const size_t numNull = size_t(std::count(v.begin(), v.end(), nullptr));
    if (numNull > 0)
        reportWarning("Visualizer2::addObject()", std::to_string(numNull) + " null pointer(s) skipped");
}
} // namespace

void Visualizer2::addObject(const std::vector<Point2*>& v, const Color& c) {
    warnAboutNulls(v);
    for (const Point2* p : v)
        if (p != nullptr) addObject(*p, c);
}

void Visualizer2::addObject(const std::vector<Segment2>& v, const Color& c) {
    for (const Segment2& s : v) addObject(s, c);
}

void Visualizer2::addObject(const std::vector<Triangle2>& v, const Color& c) {
    for (const Triangle2& t : v) addObject(t, c);
}

void Visualizer2::addObject(const std::vector<Triangle2*>& v, const Color& c) {
    warnAboutNulls(v);
    for (const Triangle2* t : v)
        if (t != nullptr) addObject(*t, c);
}

void Visualizer2::addObject(const std::vector<Edge2>& v, const Color& c) {
    for (const Edge2& e : v) addObject(e, c);
}

void Visualizer2::addHeaderLine(const std::string& line) {
    LUMO_ASSERT(!bFileClosed);
    if (vHeaderLines.size() >= maxHeaderLines) {
        reportWarning("Visualizer2::addHeaderLine()",
                      "skipping text [\"" + line + "\"], maximum number of header lines reached");
        return;
    }
    vHeaderLines.push_back(line);
}

// ---- composing the page -------------------------------------------------------------

void Visualizer2::writeFile() {
    if (bFileClosed) {
        reportWarning("Visualizer2::writeFile()", "No effect. File has already been closed");
        return;
    }
    if (!bBoxValid) {
        // Nothing was collected: an arbitrary unit box keeps the page transform finite.
        minX = minY = 0.0;
        maxX = maxY = 1.0;
    }
    const double rangeY = maxY - minY;
    if (rangeY == 0.0 || std::isnan(rangeY)) maxY = minY + 1.0;
    scale = 480.0 / std::max(maxX - minX, maxY - minY);

    writeProlog();
    writeHeader();
    writeTriangles();
    writeSegments(mSegments);
    writeSegments(mEdges);
    writePoints();
    writeCircles();
    writeLabels();
    out << "stroke\nshowpage\n%%Trailer\n";
    out.close();
    bFileClosed = true;
}

void Visualizer2::writeProlog() {
    out << "%!PS-Adobe-1.0\n\t%%Creator: ORBI PostscriptWriter\n\t%%Title: " << filename << "\n";
    out << "\t%%CreationDate: " << "none" << "\n";
    out << "\t%%DocumentMedia: A4 595 842 0 () ()\n\t%%Orientation: Portrait\n\t%%Pages: 1"
           "\t%%DocumentFonts: Times-Roman Helvetica\n\t%%EndComments\n\t%%BeginProlog\n"
           "\t%%EndProlog\n\t%%Page: ORBI PostscriptWriter 1\n";
    out << 0.05 << "\tsetlinewidth\n\t0\t0\t0\tsetrgbcolor\n\t/Times-Roman findfont 17 scalefont\n\tsetfont\n";
    out << "40\t740\tmoveto\n\t(" << filename << ")\tshow\n";
    out << "0.4\t0.4\t0.4\tsetrgbcolor\n\t/Times-Roman findfont 10 scalefont\n\tsetfont\n";
    out << "40\t725\tmoveto\n(" << getLumo2DVersion() << " - robust 2D Delaunay triangulation, community edition)\tshow\n";
    out << "0.0\t0.0\t0.0\tsetrgbcolor\n\t/Times-Roman findfont 10 scalefont\n\tsetfont\n";
    out << "40\t705\tmoveto\n";
    out << "(x-Range: [" << minX << " - " << maxX << "] =" << (maxX - minX) << ")\tshow" << "\n";
    out << "40\t695\tmoveto\n";
    out << "(y-Range: [" << minY << " - " << maxY << "] =" << (maxY - minY) << ")\tshow" << "\n";
}

void Visualizer2::writeHeader() {
    if (vHeaderLines.empty()) return;
    const int n = int(std::min(vHeaderLines.size(), maxHeaderLines));
    size_t longest = 0;
    for (const std::string& s : vHeaderLines) longest = std::max(longest, s.size());
    const int L = int(std::min(longest, maxHeaderChars));
    const int f = std::min({100 / n - 2, 12, L > 0 ? 500 / L : 12});
    const int fontSize = std::max(f, 6);
    const int pitch = fontSize + 2;
    out << "0.0\t0.0\t0.0\tsetrgbcolor\n\t/Times-Roman findfont " << fontSize << " scalefont\n\tsetfont\n";
    for (size_t i = 0; i < vHeaderLines.size(); ++i) {
        const std::string& line = vHeaderLines[i];
        if (i >= maxHeaderLines) {
            std::cout << "Visualizer2::writeHeader(), no space for line " << line << " - skipped!" << std::endl;
            continue;
        }
        out << "240\t" << ((n - int(i) - 1) * pitch + 695) << "\tmoveto\n("
            << line.substr(0, maxHeaderChars) << ")\tshow\n";
    }
    out << "237\t692\tmoveto\n";
    out << "237\t" << (n * pitch + 695) << "\tlineto\n";
    out << "237\t692\tmoveto\n";
    out << "570\t692\tlineto\n";
    out << "570\t692\tlineto\n";
}

void Visualizer2::writeColor(const Color& c) {
    out << "stroke\n";
    out << c.getR() << "\t" << c.getG() << "\t" << c.getB() << "\tsetrgbcolor\n";
    out << c.getWidth() << "\tsetlinewidth\n";
}

void Visualizer2::writeTriangles() {
    for (const auto& group : mTriangles) {
        const Color& c = group.first;
        writeColor(c);
        for (const Corners& t : group.second) {
            out << pageX(t[0].x()) << "\t" << pageY(t[0].y()) << "\tmoveto\n";
            out << pageX(t[1].x()) << "\t" << pageY(t[1].y()) << "\tlineto\n";
            out << pageX(t[2].x()) << "\t" << pageY(t[2].y()) << "\tlineto\n";
            out << "closepath\n";
            if (c.isFill()) {
                out << "gsave\n  fill\ngrestore\n";
                if (c.getWidth() != 0.0f) {
                    out << "  0.3 0.3 .3 setrgbcolor\n" << c.getWidth() << "\tsetlinewidth\nstroke\n";
                }
                writeColor(c);
            } else {
                out << "stroke\n";
            }
        }
        out << "stroke\n";
    }
}

void Visualizer2::writeSegments(const std::map<Color, std::vector<Segment2>>& mGroups) {
    for (const auto& group : mGroups) {
        writeColor(group.first);
        for (const Segment2& s : group.second) {
            const Point2 a(s.getSrc()), b(s.getTrg());
            out << pageX(a.x()) << "\t" << pageY(a.y()) << "\tmoveto\n";
            out << pageX(b.x()) << "\t" << pageY(b.y()) << "\tlineto\n";
        }
        out << "stroke\n";
    }
}

void Visualizer2::writePoints() {
    for (const auto& group : mPoints) {
        writeColor(group.first);
        for (const Point2& p : group.second) {
            const double x = pageX(p.x()), y = pageY(p.y());
            const double x1 = x - crossHalfSize, y1 = y - crossHalfSize;
            const double x2 = x + crossHalfSize, y2 = y + crossHalfSize;
            out << x1 << "\t" << y1 << "\tmoveto\n";
            out << x2 << "\t" << y2 << "\tlineto\n";
            out << x1 << "\t" << y2 << "\tmoveto\n";
            out << x2 << "\t" << y1 << "\tlineto\n";
        }
        out << "stroke\n";
    }
}

void Visualizer2::writeCircles() {
    for (const auto& group : mCircles) {
        writeColor(group.first);
        for (const Circle2& circ : group.second) {
            const double x = pageX(circ.getCenter().x()), y = pageY(circ.getCenter().y());
            const double r = circ.getRadius() * scale;
            out << (x + r) << "\t" << y << "\tmoveto\n";
            out << x << "\t" << y << "\t" << r << "\t" << 0 << "\t" << 360 << "\tarc\n";
            if (group.first.isFill()) out << "gsave\n  fill\ngrestore\n";
            if (++numCirclesDrawn % 50 == 0) out << "stroke\n";
        }
        out << "stroke\n";
    }
}

void Visualizer2::writeLabels() {
    for (const auto& group : mLabels) {
        writeColor(group.first);
        for (const Label& l : group.second) {
            out << "/Arial findfont " << l.getFontSize() << " scalefont\n setfont\n";
            const double x = pageX(l.getPosition().x());
            double y = pageY(l.getPosition().y());
            const std::string& text = l.getText();
            size_t begin = 0;
            while (true) {
                const size_t end = text.find('\n', begin);
                const std::string line = text.substr(begin, end == std::string::npos ? std::string::npos : end - begin);
                out << x << "\t" << y << "\tmoveto\n(" << psEscape(line) << ")\tshow\n";
                if (end == std::string::npos) break;
                begin = end + 1;
                y -= l.getFontSize() + 2;
            }
        }
        out << "stroke\n";
    }
}

} // namespace ORBI_LUMO2D
