// Visualizer2: collects coloured shapes and writes them as a one-page PostScript drawing.
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

class LUMO2D_API Visualizer2 {
public:
    // Opens the file and announces it on standard output.
    explicit Visualizer2(const std::string& filename);
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
    // Composes the page with one scale for everything collected and closes the file.
    // A second call only warns.
    void writeFile();

private:
    using Corners = std::array<Point2, 3>;

    void extendBox(const Point2& p);
    void extendBox(double x, double y);
    double pageX(double x) const { return (x - minX) * scale + 50.0; }
    double pageY(double y) const { return (y - minY) * scale + 200.0; }
    void writeProlog();
    void writeHeader();
    void writeColor(const Color& c);
    void writeTriangles();
    void writeSegments(const std::map<Color, std::vector<Segment2>>& mGroups);
    void writePoints();
    void writeCircles();
    void writeLabels();

    std::string filename;
    std::ofstream out;
    std::map<Color, std::vector<Corners>> mTriangles;
    std::map<Color, std::vector<Segment2>> mSegments;
    std::map<Color, std::vector<Segment2>> mEdges;
    std::map<Color, std::vector<Point2>> mPoints;
    std::map<Color, std::vector<Circle2>> mCircles;
    std::map<Color, std::vector<Label>> mLabels;
    std::vector<std::string> vHeaderLines;
    double minX, minY, maxX, maxY;
    double scale{1.0};
    bool bBoxValid{false};
    bool bFileClosed{false};
};

} // namespace ORBI_LUMO2D
