#include "ExactOracle.h"
#include <gmpxx.h>
#include <algorithm>
#include <climits>
#include <cmath>
#include <vector>

namespace lumo_oracle {

namespace {
// The inputs d_i * 2^-emin as exact integers, emin the smallest exponent among the non-zero inputs.
std::vector<mpz_class> scaledIntegers(std::initializer_list<double> d) {
    int emin = INT_MAX, e = 0;
    for (double v : d)
        if (v != 0.0) emin = std::min(emin, std::ilogb(v) - 52);   // the exponent of v's last significant bit
    std::vector<mpz_class> out;
    for (double v : d) {
        const double f = std::frexp(v, &e);   // v = f * 2^e, 0.5 <= |f| < 1
        out.emplace_back(static_cast<long>(std::ldexp(f, 53)));   // exact: 53 significant bits
        if (v != 0.0) out.back() <<= static_cast<unsigned long>(e - 53 - emin);
    }
    return out;
}
} // namespace

int orient(double ax, double ay, double bx, double by, double cx, double cy) {
    const std::vector<mpz_class> v = scaledIntegers({ax, ay, bx, by, cx, cy});
    return sgn(mpz_class((v[2] - v[0]) * (v[5] - v[1]) - (v[3] - v[1]) * (v[4] - v[0])));
}

int inCircle(double ax, double ay, double bx, double by, double cx, double cy, double dx, double dy) {
    // The 4x4 matrix of rows (x, y, x^2+y^2, 1) expanded along its column of ones, in absolute
    // coordinates (not relative to d).
    const std::vector<mpz_class> v = scaledIntegers({ax, ay, bx, by, cx, cy, dx, dy});
    auto x = [&](int i) -> const mpz_class& { return v[size_t(2 * i)]; };
    auto y = [&](int i) -> const mpz_class& { return v[size_t(2 * i + 1)]; };
    mpz_class l[4];
    for (int i = 0; i < 4; ++i) l[i] = x(i) * x(i) + y(i) * y(i);
    // The 3x3 determinant |x y lift| of rows i, j, k.
    auto minor = [&](int i, int j, int k) -> mpz_class {
        return x(i) * (y(j) * l[k] - l[j] * y(k)) - y(i) * (x(j) * l[k] - l[j] * x(k)) + l[i] * (x(j) * y(k) - y(j) * x(k));
    };
    // det4 = -M0 + M1 - M2 + M3 (Mi without row i): positive exactly when d is inside the circle
    // of the counterclockwise a, b, c.
    return sgn(mpz_class(minor(0, 1, 2) - minor(0, 1, 3) + minor(0, 2, 3) - minor(1, 2, 3)));
}

bool lineIntersection(const double p[8], mpq_t x, mpq_t y) {
    mpq_class c[8];
    for (int i = 0; i < 8; ++i) c[i] = p[i];
    const mpq_class ux = c[2] - c[0], uy = c[3] - c[1], vx = c[6] - c[4], vy = c[7] - c[5];
    const mpq_class den = ux * vy - uy * vx;   // u x v
    if (sgn(den) == 0) return false;
    const mpq_class t = ((c[4] - c[0]) * vy - (c[5] - c[1]) * vx) / den;   // (p2 - p0) x v / u x v
    mpq_set(x, mpq_class(c[0] + t * ux).get_mpq_t());
    mpq_set(y, mpq_class(c[1] + t * uy).get_mpq_t());
    return true;
}

bool isTruncation(double r, const mpq_t q) {
    if (!std::isfinite(r)) return false;
    const int s = mpq_sgn(q);
    if (s == 0) return r == 0.0;
    // |r| <= |q| < |next double away from zero|, with r of q's sign (or zero)
    const mpq_class a(r), e(q), away(std::nextafter(r, s > 0 ? HUGE_VAL : -HUGE_VAL));
    return s > 0 ? r >= 0.0 && a <= e && e < away : r <= 0.0 && a >= e && e > away;
}

int orientInt128(long long ax, long long ay, long long bx, long long by, long long cx, long long cy) {
    const __int128 l = static_cast<__int128>(bx - ax) * (cy - ay);
    const __int128 r = static_cast<__int128>(by - ay) * (cx - ax);
    return (l > r) - (l < r);
}

int inCircleInt128(const long long p[8]) {
    __int128 dx[3], dy[3], lift[3];
    for (int i = 0; i < 3; ++i) {
        dx[i] = p[2 * i] - p[6];
        dy[i] = p[2 * i + 1] - p[7];
        lift[i] = dx[i] * dx[i] + dy[i] * dy[i];
    }
    const __int128 det = lift[0] * (dx[1] * dy[2] - dx[2] * dy[1]) + lift[1] * (dx[2] * dy[0] - dx[0] * dy[2]) +
                         lift[2] * (dx[0] * dy[1] - dx[1] * dy[0]);
    return (det > 0) - (det < 0);
}

} // namespace lumo_oracle
