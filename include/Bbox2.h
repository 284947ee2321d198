// Bbox2: an axis-aligned box that may hand its growth to a predicate object.
#pragma once
#include <algorithm>
#include <cfloat>
#include <vector>
#include "Point2.h"

namespace ORBI_LUMO2D {

class LUMO2D_API Bbox2 {
public:
    // pGeomTest, when given, receives the coordinate bound whenever the box is enlarged.
    explicit Bbox2(GeomTest* pGeomTest = nullptr)
        : minX(DBL_MAX), minY(DBL_MAX), maxX(-DBL_MAX), maxY(-DBL_MAX), bValid(false),
          pGeomTest(pGeomTest) {}
    template <class It> Bbox2(It first, It last)
        : minX(DBL_MAX), minY(DBL_MAX), maxX(-DBL_MAX), maxY(-DBL_MAX), bValid(false),
          pGeomTest(nullptr) { add(first, last); }

    // ---- growth ---------------------------------------------------------------
    // Grows the box to contain p; returns whether it changed.
    bool add(const Point2& p);
    // Range forms over Point2 values or Point2 pointers; return whether any bound changed.
    // Each point may move both ends of an axis. The box is valid afterwards, even after an
    // empty range (a fresh box then keeps its initial, inverted bounds).
    template <class It> bool add(It first, It last) {
        bool changed = false;
        for (; first != last; ++first) changed |= addNoElse(deref(*first));
        bValid = true;
        return changed;
    }
    // n interleaved x,y pairs; n = 0 returns false at once.
    bool add(size_t n, const double* xy);
    // Merges other into this box (this box changes too) and returns a copy of it; an invalid
    // other box is a warning and changes nothing.
    Bbox2 operator+(const Bbox2& other);
    // Scales the ranges by factor about the centre; then a linked GeomTest gets the new
    // largest absolute coordinate as its bound. Adding points never informs it.
    void enlargeRanges(double factor);
    void doubleTheBox() { enlargeRanges(2.0); }
    // Moves the upper end of a zero-width axis up by amount.
    void inflateIfDegenerate(double amount);

    // ---- queries ----------------------------------------------------------------
    bool isValid() const { return bValid; }
    bool isInBox(const Point2& p) const {
        return bValid && minX <= p.x() && p.x() <= maxX && minY <= p.y() && p.y() <= maxY;
    }
    // Closed-box overlap (touching boxes intersect); warns and answers false for an invalid box.
    bool doIntersect(const Bbox2& other) const;
    // Midpoint of the bounds; an invalid box is a warning, the midpoint is returned anyway.
    Point2 computeCenter() const;
    double get_minX() const { return minX; }
    double get_minY() const { return minY; }
    double get_maxX() const { return maxX; }
    double get_maxY() const { return maxY; }
    void getBounds(double& minX_, double& minY_, double& maxX_, double& maxY_) const {
        minX_ = minX; minY_ = minY; maxX_ = maxX; maxY_ = maxY;
    }
    Point2 getMinPoint() const { return Point2(minX, minY); }
    Point2 getMaxPoint() const { return Point2(maxX, maxY); }
    double getRangeX() const { return maxX - minX; }
    double getRangeY() const { return maxY - minY; }
    double getMaxRange() const { return std::max(maxX - minX, maxY - minY); }
    double getMinCoord() const { return std::min(minX, minY); }
    double getMaxCoord() const { return std::max(maxX, maxY); }
    // Appends the four corners counterclockwise from the lower-left one.
    void getCorners(std::vector<Point2>& vCorners) const;
    // The same for the box grown by offset on every side.
    void getOffsetCorners(double offset, std::vector<Point2>& vCorners) const;
    void setMinX(double v) { minX = v; }
    void setMinY(double v) { minY = v; }
    void setMaxX(double v) { maxX = v; }
    void setMaxY(double v) { maxY = v; }

private:
    static const Point2& deref(const Point2& p) { return p; }
    static const Point2& deref(const Point2* p) { return *p; }
    bool addNoElse(const Point2& p) {
        bool changed = false;
        if (p.x() < minX) { minX = p.x(); changed = true; }
        if (p.x() > maxX) { maxX = p.x(); changed = true; }
        if (p.y() < minY) { minY = p.y(); changed = true; }
        if (p.y() > maxY) { maxY = p.y(); changed = true; }
        return changed;
    }

    double minX, minY, maxX, maxY;
    bool bValid;
    GeomTest* pGeomTest;
};

LUMO2D_API std::ostream& operator<<(std::ostream& os, const Bbox2& b);

} // namespace ORBI_LUMO2D
