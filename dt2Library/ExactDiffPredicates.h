// Exact orientation and in-circle signs in plain double arithmetic, for the frequent case in
// which every coordinate difference is itself exact (integer grids, points sharing exponents).
// Products are split exactly with fma and summed as nonoverlapping expansions, so the sign is
// exact. When a difference is inexact or out of the safe magnitude range the functions return
// NOT_DECIDED and the caller asks GeomTest, which decides with rational arithmetic.
#pragma once
#include <cmath>
#include "Point2.h"

namespace ORBI_LUMO2D {
namespace exact_diff {

const int NOT_DECIDED = 2;

// a - b when that difference is exact and its magnitude lies in [2^-200, 2^200] (or is 0):
// then every product of four differences is a multiple of 2^-1008 and below 2^800, so no
// step below can underflow or overflow.
inline bool exactDiff(double a, double b, double& d) {
    d = a - b;
    const double bv = a - d;  // Knuth's TwoDiff error term
    const double err = (a - (d + bv)) + (bv - b);
    if (err != 0.0) return false;
    const double m = std::fabs(d);
    return m == 0.0 || (m >= 6.223015277861142e-61 && m <= 1.6069380442589903e+60);
}

inline void twoSum(double a, double b, double& x, double& y) {
    x = a + b;
    const double bv = x - a, av = x - bv;
    y = (a - av) + (b - bv);
}
inline void twoProd(double a, double b, double& x, double& y) {
    x = a * b;
    y = std::fma(a, b, -x);
}

// h = e + b (e nonoverlapping, increasing magnitude, zeros eliminated); returns the length.
inline int growExpansion(int elen, const double* e, double b, double* h) {
    double q = b;
    int hn = 0;
    for (int i = 0; i < elen; ++i) {
        double hh;
        twoSum(q, e[i], q, hh);
        if (hh != 0.0) h[hn++] = hh;
    }
    if (q != 0.0 || hn == 0) h[hn++] = q;
    return hn;
}
// h = e * b; returns the length.
inline int scaleExpansion(int elen, const double* e, double b, double* h) {
    int hn = 0;
    double q, hh;
    twoProd(e[0], b, q, hh);
    if (hh != 0.0) h[hn++] = hh;
    for (int i = 1; i < elen; ++i) {
        double p1, p0, sum;
        twoProd(e[i], b, p1, p0);
        twoSum(q, p0, sum, hh);
        if (hh != 0.0) h[hn++] = hh;
        twoSum(p1, sum, q, hh);
        if (hh != 0.0) h[hn++] = hh;
    }
    if (q != 0.0 || hn == 0) h[hn++] = q;
    return hn;
}
// h = e + f, by growing e with every component of f; returns the length.
inline int sumExpansions(int elen, const double* e, int flen, const double* f, double* h, double* tmp) {
    int n = elen;
    for (int i = 0; i < n; ++i) h[i] = e[i];
    for (int j = 0; j < flen; ++j) {
        n = growExpansion(n, h, f[j], tmp);
        for (int i = 0; i < n; ++i) h[i] = tmp[i];
    }
    return n;
}
inline int sign(int n, const double* e) { return e[n - 1] > 0.0 ? 1 : (e[n - 1] < 0.0 ? -1 : 0); }

// a*b - c*d as an expansion of at most 4 components.
inline int productDifference(double a, double b, double c, double d, double* h) {
    double p1, p0, q1, q0;
    twoProd(a, b, p1, p0);
    twoProd(c, d, q1, q0);
    const double e[2] = {p0, p1};
    double t[3];
    const int n = growExpansion(2, e, -q0, t);
    return growExpansion(n, t, -q1, h);
}

// +1 counterclockwise, -1 clockwise, 0 collinear, or NOT_DECIDED.
inline int orientation(const Point2* p0, const Point2* p1, const Point2* p2) {
    double ax, ay, bx, by;
    if (!exactDiff(p0->x(), p2->x(), ax) || !exactDiff(p0->y(), p2->y(), ay) || !exactDiff(p1->x(), p2->x(), bx) ||
        !exactDiff(p1->y(), p2->y(), by))
        return NOT_DECIDED;
    double h[4];
    const int n = productDifference(ax, by, ay, bx, h);
    return sign(n, h);
}

// a*b when it is exact; a+b when it is exact.
inline bool exactProduct(double a, double b, double& p) {
    p = a * b;
    return std::fma(a, b, -p) == 0.0;
}
inline bool exactSum(double a, double b, double& s) {
    double err;
    twoSum(a, b, s, err);
    return err == 0.0;
}

// The in-circle determinant evaluated in plain doubles, if every operation happens to be exact
// (small integers and the like); false as soon as one is not.
inline bool inCircleAllExact(const double* dx, const double* dy, double& det) {
    double term[3];
    for (int i = 0; i < 3; ++i) {
        const int j = (i + 1) % 3, k = (i + 2) % 3;
        double p, q, minor, xx, yy, lift;
        if (!exactProduct(dx[j], dy[k], p) || !exactProduct(dx[k], dy[j], q) || !exactSum(p, -q, minor)) return false;
        if (!exactProduct(dx[i], dx[i], xx) || !exactProduct(dy[i], dy[i], yy) || !exactSum(xx, yy, lift)) return false;
        if (!exactProduct(lift, minor, term[i])) return false;
    }
    double s;
    return exactSum(term[0], term[1], s) && exactSum(s, term[2], det);
}

// For counterclockwise a, b, c: +1 when d is strictly inside the circumcircle, 0 on it, -1
// outside, or NOT_DECIDED.
inline int inCircle(const Point2* a, const Point2* b, const Point2* c, const Point2* d) {
    double dx[3], dy[3];
    const Point2* p[3] = {a, b, c};
    for (int i = 0; i < 3; ++i)
        if (!exactDiff(p[i]->x(), d->x(), dx[i]) || !exactDiff(p[i]->y(), d->y(), dy[i])) return NOT_DECIDED;
    double quick;
    if (inCircleAllExact(dx, dy, quick)) return quick > 0.0 ? 1 : (quick < 0.0 ? -1 : 0);
    // det = sum over i of lift_i * (dx_j dy_k - dx_k dy_j), (i, j, k) cyclic.
    double det[256], tmp[256], term[64], part[64];
    int detLen = 1;
    det[0] = 0.0;
    for (int i = 0; i < 3; ++i) {
        const int j = (i + 1) % 3, k = (i + 2) % 3;
        double minor[4], lift[4];
        const int mn = productDifference(dx[j], dy[k], dx[k], dy[j], minor);
        if (mn == 1 && minor[0] == 0.0) continue;
        const int ln = productDifference(dx[i], dx[i], -dy[i], dy[i], lift);
        // lift * minor: one scaled copy of minor per lift component.
        int termLen = 1;
        term[0] = 0.0;
        for (int l = 0; l < ln; ++l) {
            const int pn = scaleExpansion(mn, minor, lift[l], part);
            double acc[64];
            termLen = sumExpansions(termLen, term, pn, part, acc, tmp);
            for (int m = 0; m < termLen; ++m) term[m] = acc[m];
        }
        double acc[256];
        detLen = sumExpansions(detLen, det, termLen, term, acc, tmp);
        for (int m = 0; m < detLen; ++m) det[m] = acc[m];
    }
    return sign(detLen, det);
}

} // namespace exact_diff
} // namespace ORBI_LUMO2D
