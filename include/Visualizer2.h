// Visualizer2: collects coloured shapes and writes them as a one-page PostScript drawing or,
// with the same layout, as an SVG drawing that any browser shows.
#pragma once
#include <array>
#include <fstream>
#include <map>
#include <string>
#include <vector>
#include "Circle2.h"
#include "Color.h"
#include "Edge2.h"
#include "Label.h"
#include "Point2.h"
#include "Segment2.h"
#include "Triangle2.h"

namespace ORBI_LUMO2D {

enum DrawingFormat { DF_POSTSCRIPT = 0, DF_SVG = 1 };

// Drawings of more triangles than this are slow to open and large (about 20 MB of PostScript
// or 4 MB of SVG at this size): the browser scene leaves its top view out above it, and the
// lumo2d tool refuses to draw such meshes. Visualizer2 itself draws whatever it is given.
const size_t maxDrawingTriangles = 100000;

class LUMO2D_API Visualizer2 {
public:
    // Opens the file and announces it on standard output; the drawing is PostScript.
    explicit Visualizer2(const std::string& filename);
    // As above, in the given format.
    Visualizer2(const std::string& filename, DrawingFormat format);
    // Writes the file if that has not happened yet.
    ~Visualizer2();
    Visualizer2(const Visualizer2&) = delete;
    Visualizer2& operator=(const Visualizer2&) = delete;

    // ---- collecting (only before writeFile; afterwards an assertion fails) -------
    // Objects are copied; pointers are read now and not kept. A triangle with a null corner, an
    // edge without a triangle and null entries of a pointer vector are skipped with a warning.
    void addObject(const Point2& p, const Color& c);
    void addObject(const Segment2& s, const Color& c);
    void addObject(const Circle2& circ, const Color& c);
    void addObject(const Triangle2& t, const Color& c);
    void addObject(const Edge2& e, const Color& c);
    void addObject(const Label& l, const Color& c);
    void addObject(const std::vector<Point2>& v, const Color& c);
    void addObject(const std::vector<Point2*>& v, const Color& c);
    void addObject(const std::vector<Segment2>& v, const Color& c);
    void addObject(const std::vector<Triangle2>& v, const Color& c);
    void addObject(const std::vector<Triangle2*>& v, const Color& c);
    void addObject(const std::vector<Edge2>& v, const Color& c);
    // Up to ten text lines printed at the top right of the page; more are skipped with a warning.
    void addHeaderLine(const std::string& line);

    // ---- output ----------------------------------------------------------------
    // Composes the page with one scale for everything collected and closes the file. The
    // scale stays finite for every finite coordinate (extents up to 2*DBL_MAX, subnormal
    // extents). A second call only warns.
    void writeFile();

private:
    using Corners = std::array<Point2, 3>;

    void extendBox(const Point2& p);
    void extendBox(double x, double y);
    void computePageTransform();
    // Page coordinates (PostScript points, y up): the box maps into 50..530 x 200..680.
    double pageX(double x) const { return 50.0 + 480.0 * ((x * boxFactor - minX * boxFactor) / extent); }
    double pageY(double y) const { return 200.0 + 480.0 * ((y * boxFactor - minY * boxFactor) / extent); }
    double pageLength(double d) const { return 480.0 * (d * boxFactor / extent); }
    void writePostScript();
    void writeSvg();
    void writeProlog();
    static std::string rangeText(const char* axis, double lo, double hi);
    void writeHeader();
    void writeColor(const Color& c);
    void writeTriangles();
    void writeSegments(const std::map<Color, std::vector<Segment2>>& mGroups);
    void writePoints();
    void writeCircles();
    void writeLabels();

    std::string filename;
    DrawingFormat format{DF_POSTSCRIPT};
    std::ofstream out;
    std::map<Color, std::vector<Corners>> mTriangles;
    std::map<Color, std::vector<Segment2>> mSegments;
    std::map<Color, std::vector<Segment2>> mEdges;
    std::map<Color, std::vector<Point2>> mPoints;
    std::map<Color, std::vector<Circle2>> mCircles;
    std::map<Color, std::vector<Label>> mLabels;
    std::vector<std::string> vHeaderLines;
    double minX, minY, maxX, maxY;
    // The extent of the box (times boxFactor, 0.5 when the extent itself would overflow).
    double extent{1.0};
    double boxFactor{1.0};
    bool bBoxValid{false};
    bool bFileClosed{false};
};

} // namespace ORBI_LUMO2D
