// Point2: a 2D point value and, inside a triangulation, the vertex record itself.
#pragma once
#include <cfloat>
#include <algorithm>
#include <cmath>
#include <iosfwd>
#include "Lumo2D_defs.h"

namespace ORBI_LUMO2D {

class LUMO2D_API Point2 {
public:
    // A default point lies at (-DBL_MAX, -DBL_MAX) with custom index -1.
    Point2() : x_(-DBL_MAX), y_(-DBL_MAX), pT(nullptr), customIndex(-1) {}
    Point2(double x, double y) : x_(x), y_(y), pT(nullptr), customIndex(-1) {}
    // Copies coordinates and custom index; a copy is never attached to a triangulation.
    Point2(const Point2& p) : x_(p.x_), y_(p.y_), pT(nullptr), customIndex(p.customIndex) {}
    Point2& operator=(const Point2& p) {
        x_ = p.x_; y_ = p.y_; customIndex = p.customIndex; pT = nullptr;
        return *this;
    }

    // ---- coordinates and tags ------------------------------------------------
    double x() const { return x_; }
    double y() const { return y_; }
    void xy(double& x, double& y) const { x = x_; y = y_; }
    double getMaxAbs() const { return std::max(std::fabs(x_), std::fabs(y_)); }
    int getCustomIndex() const { return customIndex; }
    void setCustomIndex(int ci) { customIndex = ci; }

    // ---- triangulation link (written only by the triangulation) --------------
    Triangle2* getIncidentTriangle() const { return pT; }
    void setIncidentTriangle(Triangle2* t) { pT = t; }

    // ---- exact comparisons: x first, then y; custom index and link ignored ---
    bool operator<(const Point2& p) const { return x_ < p.x_ || (x_ == p.x_ && y_ < p.y_); }
    bool operator>(const Point2& p) const { return x_ > p.x_ || (x_ == p.x_ && y_ > p.y_); }
    bool operator==(const Point2& p) const { return x_ == p.x_ && y_ == p.y_; }
    bool operator!=(const Point2& p) const { return !(*this == p); }

private:
    double x_, y_;
    Triangle2* pT;
    int customIndex;
};

// "Point2 (<address>,<custom index>): x, y"
LUMO2D_API std::ostream& operator<<(std::ostream& os, const Point2& p);

// The midpoint of a and b, nudged so that it lies strictly between them. Per axis: the
// correctly rounded midpoint (no overflow even for +-1e308), moved one double inwards when
// rounding left it on an end. The result thus differs from a and b and lies in the open range
// of every axis that has a double between the two ends. When both axes hold neighbouring
// doubles the mixed corner (a.x, b.y) is returned; when the ends differ on one axis only and
// are neighbours there, no such point exists and one of the ends is returned.
LUMO2D_API Point2 centerWithShift(const Point2& a, const Point2& b);

} // namespace ORBI_LUMO2D
