// The adaptive exact stage (double expansions) on its own, against the independent GMP oracle:
// families of inputs built so that each of its stages has to decide (exact differences, rounded
// differences near a degeneracy, exact degeneracies with rounded differences).
#include <gtest/gtest.h>
#include <cfloat>
#include <cmath>
#include <functional>
#include <iterator>
#include <random>
#include <vector>
#include "ExactDiffPredicates.h"
#include "ExactOracle.h"

using namespace ORBI_LUMO2D;

namespace {

std::mt19937_64 rng(5);
double uni(double lo, double hi) { return std::uniform_real_distribution<double>(lo, hi)(rng); }
int integer(int lo, int hi) { return std::uniform_int_distribution<int>(lo, hi)(rng); }
const auto ulps = lumo_oracle::ulpsAway;
// Values of many exponents and bits: differences between them round.
double wild(double s) { return std::ldexp(uni(-1, 1), integer(-60, 0)) * s + (integer(0, 1) ? s : 0.0); }

int orientOracle(const double* c) { return lumo_oracle::orient(c[0], c[1], c[2], c[3], c[4], c[5]); }
int inCircleOracle(const double* c) {
    return lumo_oracle::inCircle(c[0], c[1], c[2], c[3], c[4], c[5], c[6], c[7]);
}

// Each family fills c (6 or 8 values) with one case; s is the family's magnitude.
using Family = std::function<void(double* c, double s)>;
struct Case {
    const char* name;
    Family make;
    int minStage;  // the stage this family exists to reach, at least sometimes
    int minZeros;  // exact degeneracies the family must produce
};
// Orientation families.
const Case orientFamilies[] = {
    {"integer grid", [](double* c, double s) { for (int i = 0; i < 6; ++i) c[i] = s * integer(-6, 6); }, 1, 0},
    {"2^27+1 grid, wide products",
     [](double* c, double s) { for (int i = 0; i < 6; ++i) c[i] = s * 134217729.0 * integer(-9, 9); }, 1, 0},
    {"near a line, rounded differences",
     [](double* c, double s) {
         const double t = uni(-1, 2);
         for (int i = 0; i < 4; ++i) c[i] = wild(s);
         c[4] = ulps(c[0] + t * (c[2] - c[0]), integer(-2, 2));
         c[5] = ulps(c[1] + t * (c[3] - c[1]), integer(-2, 2));
     }, 2, 0},
    {"on a line of slope 2^k, rounded differences",
     [](double* c, double s) {
         const int k = integer(-3, 3);
         for (int i = 0; i < 3; ++i) { c[2 * i] = wild(s); c[2 * i + 1] = std::ldexp(c[2 * i], k); }
     }, 3, 0},
    {"one ulp off a line of slope 1",
     [](double* c, double s) {
         for (int i = 0; i < 3; ++i) c[2 * i] = c[2 * i + 1] = wild(s);
         c[integer(0, 5)] = ulps(c[integer(0, 5)], integer(0, 1) ? 1 : -1);
     }, 3, 0},
};

// In-circle families; a, b, c are put counterclockwise afterwards.
const Case inCircleFamilies[] = {
    {"integer grid", [](double* c, double s) { for (int i = 0; i < 8; ++i) c[i] = s * integer(-6, 6); }, 1, 0},
    {"rounded points of a circle, some moved by ulps",
     [](double* c, double s) {
         const double cx = s * uni(-10, 10), cy = s * uni(-10, 10), r = s * uni(0.001, 5);
         for (int i = 0; i < 4; ++i) {
             const double t = uni(0, 6.283185307179586);
             c[2 * i] = cx + r * std::cos(t);
             c[2 * i + 1] = cy + r * std::sin(t);
         }
         c[6] = ulps(c[6], integer(-2, 2));
         c[7] = ulps(c[7], integer(-2, 2));
     }, 2, 0},
    {"rectangle corners: cocircular, rounded differences",
     [](double* c, double s) {
         const double x1 = wild(s), x2 = wild(s), y1 = wild(s), y2 = wild(s);
         const double r[8] = {x1, y1, x2, y1, x2, y2, x1, y2};
         for (int i = 0; i < 8; ++i) c[i] = r[i];
     }, 3, 100},
    {"isosceles trapezoid, one corner an ulp off",
     [](double* c, double s) {
         const double x1 = wild(s), x2 = wild(s), y1 = wild(s), y2 = wild(s);
         const double r[8] = {-x1, y1, x1, y1, x2, y2, -x2, y2};
         for (int i = 0; i < 8; ++i) c[i] = r[i];
         const int k = integer(0, 7);
         if (integer(0, 2)) c[k] = ulps(c[k], integer(0, 1) ? 1 : -1);
     }, 3, 100},
};

const double kScales[] = {1.0, 1e6, 1e-6, 0x1p190, 0x1p-190};

void putCounterclockwise(double* c) {
    if (orientOracle(c) < 0) {
        std::swap(c[2], c[4]);
        std::swap(c[3], c[5]);
    }
}

} // namespace

TEST(AdaptivePredicates, AgreeWithTheOracleInEveryStage) {
    for (int n : {6, 8}) {  // orientation, in-circle
        const std::vector<Case> vFamilies = n == 6 ? std::vector<Case>(std::begin(orientFamilies), std::end(orientFamilies))
                                                   : std::vector<Case>(std::begin(inCircleFamilies), std::end(inCircleFamilies));
        for (const Case& f : vFamilies) {
            int reached[4] = {0, 0, 0, 0}, zeros = 0;
            for (double s : kScales)
                for (int i = 0; i < (n == 6 ? 4000 : 3000); ++i) {
                    double c[8] = {}, v[8];
                    f.make(c, s);
                    if (n == 8) putCounterclockwise(c);
                    std::copy(c, c + n, v);
                    const int window = n == 6 ? adaptive::ORIENT_WINDOW : adaptive::INCIRCLE_WINDOW;
                    if (!adaptive::inWindow(v, n, window)) {  // a rare tiny sine
                        ASSERT_TRUE(n == 8 && adaptive::scaleIntoWindow(v, n, window)) << f.name;
                    }
                    int stage = 0;
                    const int expected = n == 6 ? orientOracle(c) : inCircleOracle(c);
                    ASSERT_EQ(n == 6 ? adaptive::orientation(v, &stage) : adaptive::inCircle(v, &stage), expected)
                        << f.name << std::hexfloat << " " << c[0] << " " << c[1] << " " << c[2] << " " << c[3] << " "
                        << c[4] << " " << c[5] << " " << c[6] << " " << c[7];
                    ++reached[stage];
                    zeros += expected == 0;
                    const int quick = n == 6 ? adaptive::orientationOfExactDifferences(c) : adaptive::NOT_DECIDED;
                    if (quick != adaptive::NOT_DECIDED) {
                        ASSERT_EQ(quick, expected) << f.name;
                        ++reached[0];
                    }
                }
            EXPECT_GT(reached[f.minStage], 100) << f.name;
            EXPECT_GE(zeros, f.minZeros) << f.name;
            if (n == 6 && f.minStage == 1) {
                EXPECT_GT(reached[0], 1000) << f.name;  // exact differences decide at once
            }
        }
    }
}

TEST(AdaptivePredicates, ScalingRefusesSpansWiderThanTheWindow) {
    // Scaling itself is exercised through GeomTest at extreme magnitudes (test_predicates).
    double c[6] = {1e300, 0, 1e-300, 1, 0, 0};
    EXPECT_FALSE(adaptive::scaleIntoWindow(c, 6, adaptive::ORIENT_WINDOW));
    EXPECT_EQ(c[0], 1e300);
    EXPECT_EQ(c[2], 1e-300);
    double d[6] = {0x1p-1074, 0, 3 * 0x1p-1074, 0x1p-1060, 0, 0};
    ASSERT_TRUE(adaptive::scaleIntoWindow(d, 6, adaptive::ORIENT_WINDOW));
    EXPECT_EQ(d[2], 3 * d[0]);
    EXPECT_EQ(d[3], 0x1p14 * d[0]);
}
