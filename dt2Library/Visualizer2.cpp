#include "Visualizer2.h"
#include <algorithm>
#include <cfloat>
#include <cmath>
#include <iostream>
#include <sstream>
#include "LicenseCheck.h"
#include "tools.h"

namespace ORBI_LUMO2D {

namespace {
const size_t maxHeaderLines = 10;
const size_t maxHeaderChars = 120;
// Half the size of the cross that marks a point, in page units.
const double crossHalfSize = 1.5;
// Shared by every visualizer so that long runs of circles keep short paths.
unsigned long long numCirclesDrawn = 0;

// The header block: lines shown, font size and line pitch (fewer and shorter lines get a
// larger font).
void headerLayout(const std::vector<std::string>& vLines, int& n, int& fontSize, int& pitch) {
    n = int(std::min(vLines.size(), maxHeaderLines));
    size_t longest = 0;
    for (const std::string& s : vLines) longest = std::max(longest, s.size());
    const int L = int(std::min(longest, maxHeaderChars));
    const int f = std::min({100 / n - 2, 12, L > 0 ? 500 / L : 12});
    fontSize = std::max(f, 6);
    pitch = fontSize + 2;
}

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

Visualizer2::Visualizer2(const std::string& filename_) : Visualizer2(filename_, DF_POSTSCRIPT) {}

Visualizer2::Visualizer2(const std::string& filename_, DrawingFormat format_)
    : filename(filename_), format(format_), out(filename_.c_str(), std::ios::out | std::ios::trunc),
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
    computePageTransform();
    if (format == DF_SVG) writeSvg();
    else writePostScript();
    out.close();
    bFileClosed = true;
}

void Visualizer2::computePageTransform() {
    if (!bBoxValid) {
        // Nothing was collected: an arbitrary unit box keeps the page transform finite.
        minX = minY = 0.0;
        maxX = maxY = 1.0;
    }
    const double rangeY = maxY - minY;
    if (rangeY == 0.0 || std::isnan(rangeY)) maxY = minY + 1.0;
    // Coordinates 1e308 apart have an extent beyond the doubles: halve everything first (exact
    // for such magnitudes). A subnormal extent has no finite reciprocal, so the transform
    // divides by the extent instead of multiplying by a precomputed scale.
    boxFactor = std::isfinite(maxX - minX) && std::isfinite(maxY - minY) ? 1.0 : 0.5;
    extent = std::max(maxX * boxFactor - minX * boxFactor, maxY * boxFactor - minY * boxFactor);
    // y + 1 == y for huge y: a single point far out still gets a scale.
    if (!(extent > 0.0)) extent = 1.0;
}

void Visualizer2::writePostScript() {
    writeProlog();
    writeHeader();
    writeTriangles();
    writeSegments(mSegments);
    writeSegments(mEdges);
    writePoints();
    writeCircles();
    writeLabels();
    out << "stroke\nshowpage\n%%Trailer\n";
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
    out << "40\t725\tmoveto\n(" << psEscape(editionText()) << ")\tshow\n";
    out << "0.0\t0.0\t0.0\tsetrgbcolor\n\t/Times-Roman findfont 10 scalefont\n\tsetfont\n";
    out << "40\t705\tmoveto\n";
    out << "(" << rangeText("x", minX, maxX) << ")\tshow" << "\n";
    out << "40\t695\tmoveto\n";
    out << "(" << rangeText("y", minY, maxY) << ")\tshow" << "\n";
}

std::string Visualizer2::rangeText(const char* axis, double lo, double hi) {
    std::ostringstream ss;
    ss << axis << "-Range: [" << lo << " - " << hi << "] =";
    // Ends 1e308 apart: the extent is no double, so it is shown as twice its half.
    if (std::isfinite(hi - lo)) ss << (hi - lo);
    else ss << "2*" << (hi * 0.5 - lo * 0.5);
    return ss.str();
}

void Visualizer2::writeHeader() {
    if (vHeaderLines.empty()) return;
    int n, fontSize, pitch;
    headerLayout(vHeaderLines, n, fontSize, pitch);
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
            const double r = pageLength(circ.getRadius());
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


// ---- SVG ---------------------------------------------------------------------------------------
//
// The same page as the PostScript drawing, y flipped (SVG counts downwards from the top of the
// A4 page, 842 points high) and cut to the part the drawing uses. Each colour group is one
// path, which keeps the file small and quick to render.

namespace {
const double pageHeight = 842.0;

std::string xmlEscape(const std::string& s) {
    std::string r;
    r.reserve(s.size());
    for (char c : s) {
        switch (c) {
        case '&': r += "&amp;"; break;
        case '<': r += "&lt;"; break;
        case '>': r += "&gt;"; break;
        case '"': r += "&quot;"; break;
        default: r += c;
        }
    }
    return r;
}

// Page coordinates to a hundredth of a point, without trailing zeros.
std::string num(double v) {
    char buf[32];
    std::snprintf(buf, sizeof buf, "%.2f", v);
    std::string s(buf);
    if (s.find('.') != std::string::npos) {
        while (s.back() == '0') s.pop_back();
        if (s.back() == '.') s.pop_back();
    }
    return s == "-0" ? "0" : s;
}

std::string rgb(const Color& c) {
    char buf[8];
    auto channel = [](float v) { return int(std::lround(std::min(std::max(v, 0.0f), 1.0f) * 255.0f)); };
    std::snprintf(buf, sizeof buf, "#%02x%02x%02x", channel(c.getR()), channel(c.getG()), channel(c.getB()));
    return buf;
}

std::string strokeAttributes(const std::string& colour, float width) {
    return "stroke=\"" + colour + "\" stroke-width=\"" + num(width) + "\"";
}

void svgText(std::ostream& out, double x, double y, int size, const std::string& text, const char* extra = "") {
    out << "<text x=\"" << num(x) << "\" y=\"" << num(pageHeight - y) << "\" font-size=\"" << size << "\"" << extra
        << ">" << xmlEscape(text) << "</text>\n";
}
} // namespace

void Visualizer2::writeSvg() {
    out << "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
        << "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"550\" height=\"620\" viewBox=\"30 40 550 620\">\n"
        << "<title>" << xmlEscape(filename) << "</title>\n"
        << "<rect x=\"30\" y=\"40\" width=\"550\" height=\"620\" fill=\"#ffffff\"/>\n"
        << "<g font-family=\"Times, serif\">\n";
    svgText(out, 40, 740, 17, filename);
    svgText(out, 40, 725, 10, editionText(), " fill=\"#666666\"");
    svgText(out, 40, 705, 10, rangeText("x", minX, maxX));
    svgText(out, 40, 695, 10, rangeText("y", minY, maxY));
    if (!vHeaderLines.empty()) {
        int n, fontSize, pitch;
        headerLayout(vHeaderLines, n, fontSize, pitch);
        for (int i = 0; i < n; ++i)
            svgText(out, 240, (n - i - 1) * pitch + 695, fontSize, vHeaderLines[size_t(i)].substr(0, maxHeaderChars));
        out << "<path fill=\"none\" stroke=\"#000000\" stroke-width=\"0.05\" d=\"M237 " << num(pageHeight - 692)
            << "V" << num(pageHeight - (n * pitch + 695)) << "M237 " << num(pageHeight - 692) << "H570\"/>\n";
    }
    out << "</g>\n";
    auto pt = [this](double x, double y) { return num(pageX(x)) + " " + num(pageHeight - pageY(y)); };
    for (const auto& group : mTriangles) {
        const Color& c = group.first;
        // Filled triangles get the grey outline of the PostScript drawing.
        out << "<path stroke-linejoin=\"round\" fill=\"" << (c.isFill() ? rgb(c) : "none") << "\" "
            << strokeAttributes(c.isFill() ? "#4d4d4d" : rgb(c), c.getWidth()) << " d=\"";
        for (const Corners& t : group.second)
            out << "M" << pt(t[0].x(), t[0].y()) << "L" << pt(t[1].x(), t[1].y()) << "L" << pt(t[2].x(), t[2].y()) << "Z";
        out << "\"/>\n";
    }
    for (const auto* pGroups : {&mSegments, &mEdges}) {
        for (const auto& group : *pGroups) {
            out << "<path fill=\"none\" " << strokeAttributes(rgb(group.first), group.first.getWidth()) << " d=\"";
            for (const Segment2& s : group.second)
                out << "M" << pt(s.getSrc().x(), s.getSrc().y()) << "L" << pt(s.getTrg().x(), s.getTrg().y());
            out << "\"/>\n";
        }
    }
    for (const auto& group : mPoints) {
        out << "<path fill=\"none\" " << strokeAttributes(rgb(group.first), group.first.getWidth()) << " d=\"";
        for (const Point2& p : group.second) {
            const double x = pageX(p.x()), y = pageHeight - pageY(p.y()), h = crossHalfSize;
            out << "M" << num(x - h) << " " << num(y + h) << "L" << num(x + h) << " " << num(y - h) << "M" << num(x - h)
                << " " << num(y - h) << "L" << num(x + h) << " " << num(y + h);
        }
        out << "\"/>\n";
    }
    for (const auto& group : mCircles) {
        const Color& c = group.first;
        for (const Circle2& circ : group.second) {
            out << "<circle cx=\"" << num(pageX(circ.getCenter().x())) << "\" cy=\""
                << num(pageHeight - pageY(circ.getCenter().y())) << "\" r=\"" << num(pageLength(circ.getRadius()))
                << "\" fill=\"" << (c.isFill() ? rgb(c) : "none") << "\" " << strokeAttributes(rgb(c), c.getWidth())
                << "/>\n";
        }
    }
    for (const auto& group : mLabels) {
        const std::string fill = " font-family=\"Arial, sans-serif\" fill=\"" + rgb(group.first) + "\"";
        for (const Label& l : group.second) {
            const double x = pageX(l.getPosition().x());
            double y = pageY(l.getPosition().y());
            const std::string& text = l.getText();
            for (size_t begin = 0;;) {
                const size_t end = text.find('\n', begin);
                svgText(out, x, y, int(l.getFontSize()), text.substr(begin, end == std::string::npos ? end : end - begin),
                        fill.c_str());
                if (end == std::string::npos) break;
                begin = end + 1;
                y -= l.getFontSize() + 2;
            }
        }
    }
    out << "</svg>\n";
}

} // namespace ORBI_LUMO2D
