// Circle2: a centre and a squared radius.
#pragma once
#include <cmath>
#include <iosfwd>
#include "Point2.h"

namespace ORBI_LUMO2D {

class Circle2;
// "Circle2:<centre in the Point2 format>, r=<radius>"
LUMO2D_API std::ostream& operator<<(std::ostream& os, const Circle2& c);

class LUMO2D_API Circle2 {
public:
    // sqRadius is stored as given.
    Circle2(const Point2& center, double sqRadius) : center_(center), sqRadius_(sqRadius) {}
    Circle2(double x, double y, double sqRadius) : center_(x, y), sqRadius_(sqRadius) {}

    Point2 getCenter() const { return center_; }
    double getRadius() const { return std::sqrt(sqRadius_); }
    double getSqRadius() const { return sqRadius_; }

private:
    friend std::ostream& operator<<(std::ostream& os, const Circle2& c);
    Point2 center_;
    double sqRadius_;
};

} // namespace ORBI_LUMO2D
