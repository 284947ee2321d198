// Exact orientation and in-circle signs in plain double arithmetic: error-free transformations
// (two-sum, two-product) and nonoverlapping floating-point expansions, evaluated adaptively.
// Each predicate first computes the determinant of the rounded coordinate differences (exactly
// for orientation, in double-double for in-circle) and accepts it when a bound on the effect of
// that rounding is below it; then adds the first-order terms of the differences' rounding errors
// under a second bound; only what is still undecided gets the full exact expansion. Every
// answer is exact.
//
// Contract: round-to-nearest, and every non-zero coordinate inside the predicate's window
// (ORIENT_WINDOW, INCIRCLE_WINDOW: 2^-w <= |c| < 2^w). There no product, square or expansion
// component overflows, and every exact intermediate is a multiple of 2^-1008, so nothing
// underflows either. scaleIntoWindow brings other inputs there by one power of two (exact).
// Buffers are fixed-size arrays on the stack; nothing allocates.
#pragma once
#include <cfloat>
#include <climits>
#include <cmath>
#include <cstdint>
#include <cstring>

namespace ORBI_LUMO2D {
namespace adaptive {

constexpr int ORIENT_WINDOW = 450;    // differences' products stay below 2^904, ulps above 2^-502
constexpr int INCIRCLE_WINDOW = 200;  // degree-4 terms below 2^812, their granularity 2^-1008

constexpr double EPS = 0x1p-53;  // unit roundoff
// Error bound constants of the stages (u the unit roundoff): B covers the rounding of the
// differences, C the neglected second-order terms, RESULT the stage-B estimate's own rounding.
constexpr double RESULT_ERR = (3.0 + 8.0 * EPS) * EPS;
constexpr double ORIENT_ERR_B = (2.0 + 12.0 * EPS) * EPS;
constexpr double ORIENT_ERR_C = (9.0 + 64.0 * EPS) * EPS * EPS;
constexpr double INCIRCLE_ERR_B = (4.0 + 48.0 * EPS) * EPS;
constexpr double INCIRCLE_ERR_C = (44.0 + 576.0 * EPS) * EPS * EPS;
// Stage C of the in-circle test multiplies rounded sums, which may underflow by 2^-1075 each;
// this (normal) floor covers them with room to spare. Smaller results go on to the exact stage.
constexpr double INCIRCLE_ERR_FLOOR = 0x1p-1000;

// ---- error-free transformations -------------------------------------------------------------

inline void twoSum(double a, double b, double& x, double& y) {
    x = a + b;
    const double bv = x - a, av = x - bv;
    y = (a - av) + (b - bv);
}
inline void twoDiff(double a, double b, double& x, double& y) {
    x = a - b;
    const double bv = a - x, av = x + bv;
    y = (a - av) + (bv - b);
}
// Veltkamp's split and Dekker's product: portable (no fused multiply-add needed) and exact
// inside the windows, where neither 2^27 * a overflows nor a partial product underflows.
inline void split(double a, double& hi, double& lo) {
    const double c = 134217729.0 * a;  // 2^27 + 1
    const double big = c - a;
    hi = c - big;
    lo = a - hi;
}
inline void twoProd(double a, double b, double& x, double& y) {
    x = a * b;
    double ahi, alo, bhi, blo;
    split(a, ahi, alo);
    split(b, bhi, blo);
    const double e1 = x - ahi * bhi, e2 = e1 - alo * bhi, e3 = e2 - ahi * blo;
    y = alo * blo - e3;
}
// (a1 + a0) - (b1 + b0) as four components of increasing magnitude (zeros kept).
inline void twoTwoDiff(double a1, double a0, double b1, double b0, double* h) {
    double i, j, k;
    twoDiff(a0, b0, i, h[0]);
    twoSum(a1, i, j, k);
    twoDiff(k, b1, i, h[1]);
    twoSum(j, i, h[3], h[2]);
}
// a*b - c*d as four components.
inline void productDifference(double a, double b, double c, double d, double* h) {
    double p1, p0, q1, q0;
    twoProd(a, b, p1, p0);
    twoProd(c, d, q1, q0);
    twoTwoDiff(p1, p0, q1, q0, h);
}

// ---- expansions (nonoverlapping, increasing magnitude; results without zero components,
// an all-zero result is the single component 0) ----------------------------------------------

// h = e * b; at most 2 * elen components.
inline int scaleExpansion(int elen, const double* e, double b, double* h) {
    double q, hh;
    int n = 0;
    twoProd(e[0], b, q, hh);
    if (hh != 0.0) h[n++] = hh;
    for (int i = 1; i < elen; ++i) {
        double p1, p0, sum;
        twoProd(e[i], b, p1, p0);
        twoSum(q, p0, sum, hh);
        if (hh != 0.0) h[n++] = hh;
        twoSum(p1, sum, q, hh);
        if (hh != 0.0) h[n++] = hh;
    }
    if (q != 0.0 || n == 0) h[n++] = q;
    return n;
}
// h = e + f by merging the components in order of magnitude; at most elen + flen components.
inline int sumExpansions(int elen, const double* e, int flen, const double* f, double* h) {
    int i = 0, j = 0, n = 0;
    double q;
    if ((f[0] > e[0]) == (f[0] > -e[0])) q = e[i++];
    else q = f[j++];
    while (i < elen && j < flen) {
        double hh;
        if ((f[j] > e[i]) == (f[j] > -e[i])) twoSum(q, e[i++], q, hh);
        else twoSum(q, f[j++], q, hh);
        if (hh != 0.0) h[n++] = hh;
    }
    while (i < elen) {
        double hh;
        twoSum(q, e[i++], q, hh);
        if (hh != 0.0) h[n++] = hh;
    }
    while (j < flen) {
        double hh;
        twoSum(q, f[j++], q, hh);
        if (hh != 0.0) h[n++] = hh;
    }
    if (q != 0.0 || n == 0) h[n++] = q;
    return n;
}
inline double estimate(int n, const double* e) {
    double s = e[0];
    for (int i = 1; i < n; ++i) s += e[i];
    return s;
}
inline int signOf(double v) { return v > 0.0 ? 1 : (v < 0.0 ? -1 : 0); }

// ---- scaling ----------------------------------------------------------------------------------

// 2^k for -1022 <= k <= 1023, built from its bits.
inline double pow2(int k) {
    const uint64_t bits = uint64_t(k + 1023) << 52;
    double r;
    std::memcpy(&r, &bits, sizeof r);
    return r;
}
// x * 2^k, exact whenever the result is a normal number (also for k beyond one factor's range).
inline double timesPow2(double x, int k) {
    if (k >= -1022 && k <= 1023) return x * pow2(k);
    const int h = k / 2;
    return x * pow2(h) * pow2(k - h);
}
// Binary exponent of a finite non-zero x (floor of log2 |x|), subnormals included.
inline int exponentOf(double x) {
    uint64_t bits;
    std::memcpy(&bits, &x, sizeof bits);
    const int e = int((bits >> 52) & 0x7ff);
    return e != 0 ? e - 1023 : std::ilogb(x);
}
// Whether every non-zero value lies in [2^-w, 2^w).
inline bool inWindow(const double* c, int n, int w) {
    const double lo = pow2(-w), hi = pow2(w);
    for (int i = 0; i < n; ++i) {
        const double m = std::fabs(c[i]);
        if (m >= hi || (m < lo && m != 0.0)) return false;
    }
    return true;
}
// Multiplies all n values by one power of two so that the non-zero ones lie in [2^-w, 2^w),
// centred; false (nothing changed) when their exponents span more than that.
inline bool scaleIntoWindow(double* c, int n, int w) {
    int eMin = INT_MAX, eMax = INT_MIN;
    for (int i = 0; i < n; ++i) {
        if (c[i] == 0.0) continue;
        const int e = exponentOf(c[i]);
        if (e < eMin) eMin = e;
        if (e > eMax) eMax = e;
    }
    if (eMax == INT_MIN) return true;  // all zero
    if (eMax - eMin > 2 * w - 2) return false;
    const int k = -((eMin + eMax) >> 1);
    for (int i = 0; i < n; ++i) c[i] = timesPow2(c[i], k);
    return true;
}

// ---- orientation ------------------------------------------------------------------------------

// Sign of (x0 - x2)(y1 - y2) - (y0 - y2)(x1 - x2) for c = {x0, y0, x1, y1, x2, y2} in the window:
// +1 counterclockwise, -1 clockwise, 0 collinear. *pStage (if given) receives the stage that
// decided: 1 the rounded differences, 2 the first-order correction, 3 the exact expansion.
inline int orientation(const double* c, int* pStage = nullptr) {
    const double acx = c[0] - c[4], bcx = c[2] - c[4], acy = c[1] - c[5], bcy = c[3] - c[5];
    double l1, l0, r1, r0;
    twoProd(acx, bcy, l1, l0);
    twoProd(acy, bcx, r1, r0);
    double B[4];
    twoTwoDiff(l1, l0, r1, r0, B);
    double det = estimate(4, B);
    const double detSum = std::fabs(l1) + std::fabs(r1);
    double errBound = ORIENT_ERR_B * detSum;
    if (pStage) *pStage = 1;
    if (det >= errBound || -det >= errBound) return signOf(det);

    double acxt, bcxt, acyt, bcyt, t;
    twoDiff(c[0], c[4], t, acxt);
    twoDiff(c[2], c[4], t, bcxt);
    twoDiff(c[1], c[5], t, acyt);
    twoDiff(c[3], c[5], t, bcyt);
    if (acxt == 0.0 && acyt == 0.0 && bcxt == 0.0 && bcyt == 0.0) {
        // B is the exact determinant.
        for (int i = 3; i >= 0; --i)
            if (B[i] != 0.0) return signOf(B[i]);
        return 0;
    }
    errBound = ORIENT_ERR_C * detSum + RESULT_ERR * std::fabs(det);
    det += (acx * bcyt + bcy * acxt) - (acy * bcxt + bcx * acyt);
    if (pStage) *pStage = 2;
    if (det >= errBound || -det >= errBound) return signOf(det);
    if (pStage) *pStage = 3;

    // Exact: B plus the three products with tails.
    double u[4], C1[8], C2[12], D[16];
    productDifference(acxt, bcy, acyt, bcx, u);
    const int c1 = sumExpansions(4, B, 4, u, C1);
    productDifference(acx, bcyt, acy, bcxt, u);
    const int c2 = sumExpansions(c1, C1, 4, u, C2);
    productDifference(acxt, bcyt, acyt, bcxt, u);
    const int d = sumExpansions(c2, C2, 4, u, D);
    return signOf(D[d - 1]);
}

// The same when the four coordinate differences are exact (grids, shared exponents): then the
// product difference of the rounded differences is the determinant; otherwise NOT_DECIDED.
constexpr int NOT_DECIDED = 2;
inline int orientationOfExactDifferences(const double* c) {
    double acx, bcx, acy, bcy, t0, t1, t2, t3;
    twoDiff(c[0], c[4], acx, t0);
    twoDiff(c[2], c[4], bcx, t1);
    twoDiff(c[1], c[5], acy, t2);
    twoDiff(c[3], c[5], bcy, t3);
    if (t0 != 0.0 || t1 != 0.0 || t2 != 0.0 || t3 != 0.0) return NOT_DECIDED;
    double B[4];
    productDifference(acx, bcy, acy, bcx, B);
    for (int i = 3; i >= 0; --i)
        if (B[i] != 0.0) return signOf(B[i]);
    return 0;
}

// ---- in-circle ---------------------------------------------------------------------------------

namespace detail {
// Largest expansions of the exact in-circle stage: differences 2 components, their products
// 8, minors and lifts 16, a lift times a minor 512, the sum of three such terms 1536.
constexpr int kTermLen = 512, kDetLen = 1536;

// h = e * f (f short); tmp must hold as many components as h.
inline int multiplyExpansions(int elen, const double* e, int flen, const double* f, double* h, double* tmp) {
    double part[2 * 16];
    int n = scaleExpansion(elen, e, f[0], h);
    for (int j = 1; j < flen; ++j) {
        const int pn = scaleExpansion(elen, e, f[j], part);
        n = sumExpansions(n, h, pn, part, tmp);
        std::memcpy(h, tmp, sizeof(double) * size_t(n));
    }
    return n;
}

// The in-circle determinant with every difference as a two-component expansion (tail, head).
inline int inCircleExact(const double (*dx)[2], const double (*dy)[2]) {
    double det[kDetLen], detTmp[kDetLen], term[kTermLen], tmp[kTermLen];
    int detLen = 1;
    det[0] = 0.0;
    for (int i = 0; i < 3; ++i) {
        const int j = (i + 1) % 3, k = (i + 2) % 3;
        double p[16], q[16], minor[16], lift[16];
        int pn = multiplyExpansions(2, dx[j], 2, dy[k], p, tmp);
        double nq[2] = {-dy[j][0], -dy[j][1]};
        int qn = multiplyExpansions(2, dx[k], 2, nq, q, tmp);
        const int mn = sumExpansions(pn, p, qn, q, minor);
        if (mn == 1 && minor[0] == 0.0) continue;
        pn = multiplyExpansions(2, dx[i], 2, dx[i], p, tmp);
        qn = multiplyExpansions(2, dy[i], 2, dy[i], q, tmp);
        const int ln = sumExpansions(pn, p, qn, q, lift);
        const int tn = multiplyExpansions(mn, minor, ln, lift, term, tmp);
        detLen = sumExpansions(detLen, det, tn, term, detTmp);
        std::memcpy(det, detTmp, sizeof(double) * size_t(detLen));
    }
    return signOf(det[detLen - 1]);
}

// Whether the six differences are integer multiples of one power of two 2^g, all below
// 2^(g+12) in magnitude: then every quantity of the plain evaluation is a multiple of 2^(4g)
// below 2^(4g+52), so each of its operations is exact.
inline bool onSmallGrid(const double* dx, const double* dy) {
    int lo = INT_MAX, hi = INT_MIN;
    for (int i = 0; i < 6; ++i) {
        const double v = i < 3 ? dx[i] : dy[i - 3];
        if (v == 0.0) continue;
        uint64_t bits;
        std::memcpy(&bits, &v, sizeof bits);
        const int e = int((bits >> 52) & 0x7ff) - 1023;
        const int t = e - 52 + __builtin_ctzll((bits & 0x000fffffffffffffull) | (1ull << 52));
        if (t < lo) lo = t;
        if (e > hi) hi = e;
    }
    return hi - lo < 12;
}
inline double inCirclePlain(const double* dx, const double* dy) {
    double det = 0.0;
    for (int i = 0; i < 3; ++i) {
        const int j = (i + 1) % 3, k = (i + 2) % 3;
        det += (dx[i] * dx[i] + dy[i] * dy[i]) * (dx[j] * dy[k] - dx[k] * dy[j]);
    }
    return det;
}

// The determinant of the rounded differences in double-double arithmetic: each minor and lift
// as an unevaluated sum hi + lo (two-product, two-sum, one rounded low part), their product to
// first order, the three terms summed with two-sum. Against the exact value, a minor and a lift
// are off by at most 3u^2 times their permanent, a term by 23u^2 * lift * |minor|-permanent, the
// sum of the low parts by 32u^2 P more, and the final addition by u |result|: in all at most
// 55u^2 P + u |result|, with P the permanent (the callers allow 128u^2 P). Products of rounded
// low parts may underflow by 2^-1075 each, which INCIRCLE_ERR_FLOOR covers.
inline double inCircleDoubleDouble(const double* dx, const double* dy) {
    double hi[3], lo[3];
    for (int i = 0; i < 3; ++i) {
        const int j = (i + 1) % 3, k = (i + 2) % 3;
        double p1, p0, q1, q0, mh, e, a1, a0, b1, b0, lh, f;
        twoProd(dx[j], dy[k], p1, p0);
        twoProd(dx[k], dy[j], q1, q0);
        twoDiff(p1, q1, mh, e);
        const double ml = e + (p0 - q0);
        twoProd(dx[i], dx[i], a1, a0);
        twoProd(dy[i], dy[i], b1, b0);
        twoSum(a1, b1, lh, f);
        const double ll = f + (a0 + b0);
        double t0;
        twoProd(lh, mh, hi[i], t0);
        lo[i] = t0 + (lh * ml + ll * mh);
    }
    double h1, g1, h, g2;
    twoSum(hi[0], hi[1], h1, g1);
    twoSum(h1, hi[2], h, g2);
    return h + (((g1 + g2) + (lo[0] + lo[1])) + lo[2]);
}
constexpr double INCIRCLE_ERR_DD = 128.0 * EPS * EPS * (1.0 + 8.0 * EPS);
} // namespace detail

// For c = {ax, ay, bx, by, cx, cy, dx, dy} in the window and a, b, c counterclockwise: +1 when d
// lies strictly inside the circumcircle, 0 on it, -1 outside. *pStage as for orientation.
inline int inCircle(const double* c, int* pStage = nullptr) {
    double dx[3], dy[3], dxt[3], dyt[3];
    bool exactDiffs = true;
    for (int i = 0; i < 3; ++i) {
        twoDiff(c[2 * i], c[6], dx[i], dxt[i]);
        twoDiff(c[2 * i + 1], c[7], dy[i], dyt[i]);
        exactDiffs = exactDiffs && dxt[i] == 0.0 && dyt[i] == 0.0;
    }
    if (pStage) *pStage = 1;
    if (exactDiffs && detail::onSmallGrid(dx, dy)) return signOf(detail::inCirclePlain(dx, dy));
    // Stage B: the determinant of the rounded differences, to about u^2 P.
    double permanent = 0.0;
    for (int i = 0; i < 3; ++i) {
        const int j = (i + 1) % 3, k = (i + 2) % 3;
        permanent += (std::fabs(dx[j] * dy[k]) + std::fabs(dx[k] * dy[j])) * (dx[i] * dx[i] + dy[i] * dy[i]);
    }
    double det = detail::inCircleDoubleDouble(dx, dy);
    double errBound = (exactDiffs ? 0.0 : INCIRCLE_ERR_B * permanent) + detail::INCIRCLE_ERR_DD * permanent +
                      INCIRCLE_ERR_FLOOR;
    if (det > errBound || -det > errBound) return signOf(det);
    if (exactDiffs) {
        // Exact differences, determinant too close to zero: its exact expansion.
        if (pStage) *pStage = 3;
        double part[3][32];
        int partLen[3];
        for (int i = 0; i < 3; ++i) {
            const int j = (i + 1) % 3, k = (i + 2) % 3;
            double minor[4], xs[8], xxs[16], ys[8], yys[16];
            productDifference(dx[j], dy[k], dx[k], dy[j], minor);
            const int xn = scaleExpansion(4, minor, dx[i], xs);
            const int xxn = scaleExpansion(xn, xs, dx[i], xxs);
            const int yn = scaleExpansion(4, minor, dy[i], ys);
            const int yyn = scaleExpansion(yn, ys, dy[i], yys);
            partLen[i] = sumExpansions(xxn, xxs, yyn, yys, part[i]);
        }
        double ab[64], fin[96];
        const int abLen = sumExpansions(partLen[0], part[0], partLen[1], part[1], ab);
        const int finLen = sumExpansions(abLen, ab, partLen[2], part[2], fin);
        return signOf(fin[finLen - 1]);
    }

    // Stage C: the first-order terms of the differences' tails.
    errBound = (INCIRCLE_ERR_C + detail::INCIRCLE_ERR_DD) * permanent + RESULT_ERR * std::fabs(det) + INCIRCLE_ERR_FLOOR;
    if (pStage) *pStage = 2;
    double corr[3];
    for (int i = 0; i < 3; ++i) {
        const int j = (i + 1) % 3, k = (i + 2) % 3;
        const double lift = dx[i] * dx[i] + dy[i] * dy[i];
        const double minorTails = (dx[j] * dyt[k] + dy[k] * dxt[j]) - (dy[j] * dxt[k] + dx[k] * dyt[j]);
        const double liftTails = 2.0 * (dx[i] * dxt[i] + dy[i] * dyt[i]);
        corr[i] = lift * minorTails + liftTails * (dx[j] * dy[k] - dy[j] * dx[k]);
    }
    det += (corr[0] + corr[1]) + corr[2];
    if (det >= errBound || -det >= errBound) return signOf(det);

    // Exact.
    if (pStage) *pStage = 3;
    double ex[3][2], ey[3][2];
    for (int i = 0; i < 3; ++i) {
        ex[i][0] = dxt[i]; ex[i][1] = dx[i];
        ey[i][0] = dyt[i]; ey[i][1] = dy[i];
    }
    return detail::inCircleExact(ex, ey);
}

} // namespace adaptive
} // namespace ORBI_LUMO2D
