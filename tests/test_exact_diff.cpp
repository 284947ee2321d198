// The double-arithmetic exact stage of the insertion predicates, against GMP in the oracle.
#include <gtest/gtest.h>
#include <cmath>
#include <random>
#include "DelaunayOracle.h"
#include "ExactDiffPredicates.h"

using namespace ORBI_LUMO2D;

namespace {
// Small integers (many exact degeneracies), scaled and shifted so that differences stay exact.
Point2 gridPoint(std::mt19937_64& rng, double scale, double shift) {
    std::uniform_int_distribution<int> d(-6, 6);
    return Point2(shift + scale * d(rng), shift + scale * d(rng));
}
} // namespace

TEST(ExactDiffPredicates, AgreeWithRationalArithmeticOnDegenerateInput) {
    std::mt19937_64 rng(5);
    size_t numDecided = 0, numZero = 0;
    // 2^27+1: exact differences whose products need more than 53 bits (the expansion path).
    for (double scale : {1.0, 0.5, 1024.0, std::ldexp(1.0, -40), std::ldexp(1.0, 150), 134217729.0}) {
        for (double shift : {0.0, 3.0, 1e6}) {
            for (int i = 0; i < 3000; ++i) {
                const Point2 a = gridPoint(rng, scale, shift), b = gridPoint(rng, scale, shift),
                             c = gridPoint(rng, scale, shift), d = gridPoint(rng, scale, shift);
                const int o = exact_diff::orientation(&a, &b, &c);
                if (o != exact_diff::NOT_DECIDED) {
                    ASSERT_EQ(o, lumo_test::exactOrientation(a, b, c));
                }
                if (lumo_test::exactOrientation(a, b, c) != 1) continue;
                const int r = exact_diff::inCircle(&a, &b, &c, &d);
                if (r == exact_diff::NOT_DECIDED) continue;
                ++numDecided;
                if (r == 0) ++numZero;
                ASSERT_EQ(r, lumo_test::exactInCircle(a, b, c, d)) << a << " " << b << " " << c << " " << d;
            }
        }
    }
    EXPECT_GT(numDecided, 10000u);
    EXPECT_GT(numZero, 100u);
}

TEST(ExactDiffPredicates, NearlyCocircularPointsAreDecidedCorrectly) {
    // Points on the circle of radius 5 around (0,0), one of them moved by a few ulps.
    std::mt19937_64 rng(6);
    const Point2 a(5, 0), b(0, 5), c(-5, 0);
    for (int k = -3; k <= 3; ++k) {
        const Point2 d(std::nextafter(3.0, k > 0 ? 4.0 : 2.0), k == 0 ? -4.0 : -4.0 + k * std::ldexp(1.0, -50));
        const int r = exact_diff::inCircle(&a, &b, &c, &d);
        if (r != exact_diff::NOT_DECIDED) {
            EXPECT_EQ(r, lumo_test::exactInCircle(a, b, c, d)) << k;
        }
    }
    const Point2 on(3, -4);
    EXPECT_EQ(exact_diff::inCircle(&a, &b, &c, &on), 0);
}

TEST(ExactDiffPredicates, InexactDifferencesAreLeftToTheRationalStage) {
    const Point2 a(1e20, 0), b(1.0 / 3.0, 1), c(1, 1);  // 1e20 - 1 is not a double
    EXPECT_EQ(exact_diff::orientation(&a, &b, &c), exact_diff::NOT_DECIDED);
    const Point2 t0(1e-200, 0), t1(0, 1e-200), t2(0, 0);
    EXPECT_EQ(exact_diff::orientation(&t0, &t1, &t2), exact_diff::NOT_DECIDED);  // below 2^-200
}
