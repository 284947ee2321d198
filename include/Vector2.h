// Vector2: a 2D direction or displacement.
#pragma once
#include <cmath>
#include <iosfwd>
#include "Lumo2D_defs.h"

namespace ORBI_LUMO2D {

class LUMO2D_API Vector2 {
public:
    Vector2() : x_(0.0), y_(0.0) {}
    Vector2(double x, double y) : x_(x), y_(y) {}

    // ---- components ---------------------------------------------------------------
    double x() const { return x_; }
    double y() const { return y_; }
    void set(double x, double y) { x_ = x; y_ = y; }

    // ---- measures -------------------------------------------------------------------
    double length() const { return std::sqrt(x_ * x_ + y_ * y_); }
    double sqLength() const { return x_ * x_ + y_ * y_; }
    // Exactly the null vector.
    bool isDegenerate() const { return x_ == 0.0 && y_ == 0.0; }
    // Unit vector to the left of this one (this, result turn counterclockwise), the side decided
    // by the exact orientation predicate; (0,0) without a message for the null vector.
    Vector2 orthogonalVector() const;

    // ---- arithmetic (componentwise; * of two vectors is the dot product) ----------------------
    double operator*(const Vector2& v) const { return x_ * v.x_ + y_ * v.y_; }
    Vector2 operator*(double f) const { return Vector2(x_ * f, y_ * f); }
    Vector2 operator/(double f) const { return Vector2(x_ / f, y_ / f); }
    Vector2 operator+(const Vector2& v) const { return Vector2(x_ + v.x_, y_ + v.y_); }
    Vector2 operator-(const Vector2& v) const { return Vector2(x_ - v.x_, y_ - v.y_); }
    Vector2 operator-() const { return Vector2(-x_, -y_); }

private:
    double x_, y_;
};

inline Vector2 operator*(double f, const Vector2& v) { return v * f; }
// v / |v|; a null vector prints a warning and yields (0,0).
LUMO2D_API Vector2 normalize(const Vector2& v);
// "Vector2:" x ", " y
LUMO2D_API std::ostream& operator<<(std::ostream& os, const Vector2& v);

} // namespace ORBI_LUMO2D
