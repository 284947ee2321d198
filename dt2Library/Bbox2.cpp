#include "Bbox2.h"
#include <algorithm>
#include <cmath>
#include <ostream>
#include "tools.h"

namespace ORBI_LUMO2D {

// The box's link to its predicate object is one call, defined beside the free orientation
// functions, so that the value type needs no predicate header.
void setPredicateBound(GeomTest* pGeomTest, double coordinateBound);

bool Bbox2::add(const Point2& p) {
    if (!bValid) {
        if (minX == DBL_MAX) minX = p.x();
        if (minY == DBL_MAX) minY = p.y();
        if (maxX == -DBL_MAX) maxX = p.x();
        if (maxY == -DBL_MAX) maxY = p.y();
        bValid = true;
        return true;
    }
    bool changed = false;
    if (minX > p.x()) { minX = p.x(); changed = true; }
    else if (p.x() > maxX) { maxX = p.x(); changed = true; }
    if (minY > p.y()) { minY = p.y(); changed = true; }
    else if (p.y() > maxY) { maxY = p.y(); changed = true; }
    return changed;
}

bool Bbox2::add(size_t n, const double* xy) {
    if (n == 0) return false;
    bool changed = false;
    for (size_t i = 0; i < n; ++i) changed |= addNoElse(Point2(xy[2 * i], xy[2 * i + 1]));
    bValid = true;
    return changed;
}

Bbox2 Bbox2::operator+(const Bbox2& other) {
    if (!(other.minX < DBL_MAX)) {
        reportWarning("Box2::operator+()", "trying to add an invalid Bbox2");
        return *this;
    }
    if (!(minX < DBL_MAX)) {
        minX = other.minX; minY = other.minY; maxX = other.maxX; maxY = other.maxY;
    } else {
        minX = std::min(minX, other.minX);
        minY = std::min(minY, other.minY);
        maxX = std::max(maxX, other.maxX);
        maxY = std::max(maxY, other.maxY);
    }
    return *this;
}

void Bbox2::enlargeRanges(double factor) {
    const double rangeX = maxX - minX, rangeY = maxY - minY;
    const double dx = (rangeX * factor - rangeX) * 0.5, dy = (rangeY * factor - rangeY) * 0.5;
    minX -= dx; maxX += dx;
    minY -= dy; maxY += dy;
    if (pGeomTest != nullptr) {
        const double m = std::max({std::fabs(minX), std::fabs(minY), std::fabs(maxX), std::fabs(maxY)});
        setPredicateBound(pGeomTest, m);
    }
}

void Bbox2::inflateIfDegenerate(double amount) {
    if (!bValid) return;
    if (minX == maxX) maxX += amount;
    if (minY == maxY) maxY += amount;
}

bool Bbox2::doIntersect(const Bbox2& other) const {
    if (!bValid || !other.bValid) {
        reportWarning("Bbox2::doIntersect()", "bbox invalid");
        return false;
    }
    return !(minX > other.maxX || other.minX > maxX || minY > other.maxY || other.minY > maxY);
}

Point2 Bbox2::computeCenter() const {
    if (!bValid) reportWarning("Bbox2::computeCenter()", "Bbox2 is invalid");
    return Point2((minX + maxX) / 2.0, (minY + maxY) / 2.0);
}

void Bbox2::getCorners(std::vector<Point2>& vCorners) const { getOffsetCorners(0.0, vCorners); }

void Bbox2::getOffsetCorners(double offset, std::vector<Point2>& vCorners) const {
    const double x0 = minX - offset, y0 = minY - offset, x1 = maxX + offset, y1 = maxY + offset;
    vCorners.emplace_back(x0, y0);
    vCorners.emplace_back(x1, y0);
    vCorners.emplace_back(x1, y1);
    vCorners.emplace_back(x0, y1);
}

std::ostream& operator<<(std::ostream& os, const Bbox2& b) {
    return os << "Bbox2: minX=" << b.get_minX() << ", minY=" << b.get_minY() << ", maxX=" << b.get_maxX()
              << ", maxY=" << b.get_maxY() << (b.isValid() ? "" : " (invalid)");
}

} // namespace ORBI_LUMO2D
