#include "core/constexpr_math.hpp"
#include "core/fixed.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <utility>

namespace {

namespace cm = zem::cmath;

TEST(ConstexprMath, MatchesLibm) {
    for (double x = -40.0; x <= 40.0; x += 0.0137) {
        EXPECT_NEAR(cm::sin(x), std::sin(x), 4e-16) << x;
        EXPECT_NEAR(cm::cos(x), std::cos(x), 4e-16) << x;
    }
    for (double x : {1e-9, 0.5, 2.0, 3.0, 1e6, 12345.678})
        EXPECT_DOUBLE_EQ(cm::sqrt(x), std::sqrt(x));
    for (double x : {0.0, 0.5, 4.0, 12.6, 50.0})
        EXPECT_NEAR(cm::bessel_i0(x) / std::cyl_bessel_i(0.0, x), 1.0, 1e-14) << x;
    for (double x : {1.0, 8.0, 0.3, 8191.0})
        EXPECT_NEAR(cm::cbrt(x), std::cbrt(x), 1e-15 * std::cbrt(x));
    for (int k = -20; k <= 20; ++k)
        EXPECT_NEAR(cm::pow2_quarter(k) / std::pow(2.0, k / 4.0), 1.0, 1e-15) << k;
}

// Fractions of a turn for every denominator up to 64: as close to the exact value as cos and sin,
// and the quarter turns exact with +0 for zero (the built-in FFT twiddles depend on both).
TEST(ConstexprMath, TurnsMatchLibmWithExactQuarterTurns) {
    for (int64_t den = 1; den <= 64; ++den)
        for (int64_t num = 0; num <= 2 * den; ++num) {
            const long double a = 6.283185307179586476925286766559L * num / den;
            if ((4 * num) % den != 0) {
                EXPECT_NEAR(cm::cos_turn(num, den), std::cos(a), 4e-16) << num << "/" << den;
                EXPECT_NEAR(cm::sin_turn(num, den), std::sin(a), 4e-16) << num << "/" << den;
                continue;
            }
            constexpr double kCos[4] = {1.0, 0.0, -1.0, 0.0}, kSin[4] = {0.0, 1.0, 0.0, -1.0};
            const int64_t q = (4 * num / den) & 3;
            for (auto [got, want] : {std::pair{cm::cos_turn(num, den), kCos[q]},
                                     std::pair{cm::sin_turn(num, den), kSin[q]}}) {
                EXPECT_EQ(got, want) << num << "/" << den;
                EXPECT_EQ(std::signbit(got), std::signbit(want)) << num << "/" << den;
            }
        }
}

TEST(FixedPoint, SubBandCountsAreTheQuotientsForEveryLineCount) {
    for (int32_t x = 0; x <= 576; ++x) {
        EXPECT_EQ(zem::ceil_div18(x), (x + 17) / 18) << x;
        EXPECT_EQ(zem::nearest_div18(x), (x + 8) / 18) << x;
    }
}

} // namespace
