// Segment2: a segment between two point values; undirected for equality.
#pragma once
#include <iosfwd>
#include "Point2.h"

namespace ORBI_LUMO2D {

class Segment2;
// "Segment2 (<address>): <source>,<target>", the ends in the Point2 format.
LUMO2D_API std::ostream& operator<<(std::ostream& os, const Segment2& s);

class LUMO2D_API Segment2 {
public:
    // The default segment joins two default points.
    Segment2() {}
    Segment2(const Point2& src, const Point2& trg) : src_(src), trg_(trg) {}

    // ---- ends (copies, with their custom indices) -----------------------------------
    Point2 getSrc() const { return src_; }
    Point2 getTrg() const { return trg_; }
    void swapSrcTrg() { Point2 t(src_); src_ = trg_; trg_ = t; }
    // Squared Euclidean length.
    double getSqLen2D() const {
        const double dx = trg_.x() - src_.x(), dy = trg_.y() - src_.y();
        return dx * dx + dy * dy;
    }
    // Same ends in either direction.
    bool operator==(const Segment2& s) const {
        return (src_ == s.src_ && trg_ == s.trg_) || (src_ == s.trg_ && trg_ == s.src_);
    }
    bool operator!=(const Segment2& s) const { return !(*this == s); }

private:
    friend std::ostream& operator<<(std::ostream& os, const Segment2& s);
    Point2 src_, trg_;
};

// Strict weak order on segment pointers: by source point, ties by target point.
struct LUMO2D_API Func_compareSegment {
    bool operator()(const Segment2* a, const Segment2* b) const {
        const Point2 as(a->getSrc()), bs(b->getSrc());
        if (as < bs) return true;
        if (bs < as) return false;
        return a->getTrg() < b->getTrg();
    }
};



} // namespace ORBI_LUMO2D
