#include "ExactOracle.h"
#include <climits>
#include <cmath>
#include <vector>

namespace lumo_oracle {

namespace {
struct Z {
    mpz_t v;
    Z() { mpz_init(v); }
    ~Z() { mpz_clear(v); }
    Z(const Z&) = delete;
    Z& operator=(const Z&) = delete;
};

// Writes v_i = d_i * 2^-emin exactly, emin the smallest exponent among the non-zero inputs.
void toScaledIntegers(const double* d, int n, Z* out) {
    int emin = INT_MAX;
    std::vector<long long> mant(n);
    std::vector<int> ex(n);
    for (int i = 0; i < n; ++i) {
        int e = 0;
        const double f = std::frexp(d[i], &e);          // d = f * 2^e, 0.5 <= |f| < 1
        mant[i] = static_cast<long long>(std::ldexp(f, 64 - 11));  // exact: 53 significant bits
        ex[i] = e - 53;
        if (d[i] != 0.0 && ex[i] < emin) emin = ex[i];
    }
    for (int i = 0; i < n; ++i) {
        mpz_set_si(out[i].v, mant[i]);
        if (d[i] != 0.0) mpz_mul_2exp(out[i].v, out[i].v, static_cast<unsigned long>(ex[i] - emin));
    }
}
} // namespace

int orient(double ax, double ay, double bx, double by, double cx, double cy) {
    const double d[6] = {ax, ay, bx, by, cx, cy};
    Z v[6], ux, uy, wx, wy, l, r;
    toScaledIntegers(d, 6, v);
    mpz_sub(ux.v, v[2].v, v[0].v);
    mpz_sub(uy.v, v[3].v, v[1].v);
    mpz_sub(wx.v, v[4].v, v[0].v);
    mpz_sub(wy.v, v[5].v, v[1].v);
    mpz_mul(l.v, ux.v, wy.v);
    mpz_mul(r.v, uy.v, wx.v);
    const int c = mpz_cmp(l.v, r.v);
    return (c > 0) - (c < 0);
}

int inCircle(double ax, double ay, double bx, double by, double cx, double cy, double dx, double dy) {
    // Expansion along the column of ones of the 4x4 matrix rows (x, y, x^2+y^2, 1), with the
    // 3x3 minors written out; absolute coordinates, not relative to d.
    const double d[8] = {ax, ay, bx, by, cx, cy, dx, dy};
    Z v[8], lift[4], t, u, acc;
    toScaledIntegers(d, 8, v);
    for (int i = 0; i < 4; ++i) {
        mpz_mul(t.v, v[2 * i].v, v[2 * i].v);
        mpz_mul(u.v, v[2 * i + 1].v, v[2 * i + 1].v);
        mpz_add(lift[i].v, t.v, u.v);
    }
    // det4 = -M0 + M1 - M2 + M3 where Mi is the 3x3 determinant |x y lift| of the rows other
    // than i; det4 > 0 exactly when d is inside the circle of the counterclockwise a, b, c.
    auto det3 = [&](int i, int j, int k, Z& out) {
        Z m1, m2, m3, s;
        // x_i (y_j l_k - l_j y_k) - y_i (x_j l_k - l_j x_k) + l_i (x_j y_k - y_j x_k)
        mpz_mul(m1.v, v[2 * j + 1].v, lift[k].v);
        mpz_submul(m1.v, lift[j].v, v[2 * k + 1].v);
        mpz_mul(m1.v, m1.v, v[2 * i].v);
        mpz_mul(m2.v, v[2 * j].v, lift[k].v);
        mpz_submul(m2.v, lift[j].v, v[2 * k].v);
        mpz_mul(m2.v, m2.v, v[2 * i + 1].v);
        mpz_mul(m3.v, v[2 * j].v, v[2 * k + 1].v);
        mpz_submul(m3.v, v[2 * j + 1].v, v[2 * k].v);
        mpz_mul(m3.v, m3.v, lift[i].v);
        mpz_sub(s.v, m1.v, m2.v);
        mpz_add(out.v, s.v, m3.v);
    };
    Z m;
    mpz_set_ui(acc.v, 0);
    det3(1, 2, 3, m); mpz_sub(acc.v, acc.v, m.v);
    det3(0, 2, 3, m); mpz_add(acc.v, acc.v, m.v);
    det3(0, 1, 3, m); mpz_sub(acc.v, acc.v, m.v);
    det3(0, 1, 2, m); mpz_add(acc.v, acc.v, m.v);
    return mpz_sgn(acc.v);
}

bool lineIntersection(const double p[8], mpq_t x, mpq_t y) {
    mpq_t c[8], ux, uy, vx, vy, wx, wy, den, num, t, tmp;
    for (auto& q : c) mpq_init(q);
    mpq_init(ux); mpq_init(uy); mpq_init(vx); mpq_init(vy); mpq_init(wx); mpq_init(wy);
    mpq_init(den); mpq_init(num); mpq_init(t); mpq_init(tmp);
    for (int i = 0; i < 8; ++i) mpq_set_d(c[i], p[i]);
    mpq_sub(ux, c[2], c[0]); mpq_sub(uy, c[3], c[1]);   // u = p1 - p0
    mpq_sub(vx, c[6], c[4]); mpq_sub(vy, c[7], c[5]);   // v = p3 - p2
    mpq_sub(wx, c[4], c[0]); mpq_sub(wy, c[5], c[1]);   // w = p2 - p0
    mpq_mul(den, ux, vy); mpq_mul(tmp, uy, vx); mpq_sub(den, den, tmp);  // u x v
    mpq_mul(num, wx, vy); mpq_mul(tmp, wy, vx); mpq_sub(num, num, tmp);  // w x v
    const bool ok = mpq_sgn(den) != 0;
    if (ok) {
        mpq_div(t, num, den);
        mpq_mul(tmp, t, ux); mpq_add(x, c[0], tmp);
        mpq_mul(tmp, t, uy); mpq_add(y, c[1], tmp);
    }
    for (auto& q : c) mpq_clear(q);
    mpq_clear(ux); mpq_clear(uy); mpq_clear(vx); mpq_clear(vy); mpq_clear(wx); mpq_clear(wy);
    mpq_clear(den); mpq_clear(num); mpq_clear(t); mpq_clear(tmp);
    return ok;
}

bool isTruncation(double r, const mpq_t q) {
    if (!std::isfinite(r)) return false;
    mpq_t a, b;
    mpq_init(a); mpq_init(b);
    mpq_set_d(a, r);
    const int s = mpq_sgn(q);
    bool ok;
    if (s == 0) {
        ok = (r == 0.0);
    } else {
        // |r| <= |q| < |next double away from zero|, with r of q's sign (or zero)
        const double away = std::nextafter(r, s > 0 ? HUGE_VAL : -HUGE_VAL);
        mpq_set_d(b, away);
        if (s > 0) ok = r >= 0.0 && mpq_cmp(a, q) <= 0 && mpq_cmp(q, b) < 0;
        else ok = r <= 0.0 && mpq_cmp(a, q) >= 0 && mpq_cmp(q, b) > 0;
    }
    mpq_clear(a); mpq_clear(b);
    return ok;
}

bool isFaithful(double r, const mpq_t q) {
    if (!std::isfinite(r)) return false;
    mpq_t a, lo, hi;
    mpq_init(a); mpq_init(lo); mpq_init(hi);
    mpq_set_d(a, r);
    const int c = mpq_cmp(a, q);
    bool ok = true;
    if (c < 0) { mpq_set_d(hi, std::nextafter(r, HUGE_VAL)); ok = mpq_cmp(q, hi) <= 0; }
    if (c > 0) { mpq_set_d(lo, std::nextafter(r, -HUGE_VAL)); ok = mpq_cmp(lo, q) <= 0; }
    mpq_clear(a); mpq_clear(lo); mpq_clear(hi);
    return ok;
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
