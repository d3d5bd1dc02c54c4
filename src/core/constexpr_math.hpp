// The library's constant-expression maths: pi, double-precision sine and cosine (also of a
// fraction of a turn), square and cube roots, the Bessel function I0 and 2^(k/4) with its
// fixed-point tables, so that windows, twiddles and power laws are built at compile time
// (clang 14 has no constexpr libm). Accurate to about one unit in the last place; a test holds
// them to libm.
#pragma once

#include <cstdint>

namespace zem::cmath {

inline constexpr double kPi = 3.14159265358979323846264338327950288;

namespace detail {

// pi/2 in three parts for Cody-Waite reduction: the first two hold 33 significant bits each.
inline constexpr double kPio2Hi = 1.57079632673412561417e+00;
inline constexpr double kPio2Mid = 6.07710050630396597660e-11;
inline constexpr double kPio2Lo = 2.02226624879595063154e-21;

// Taylor polynomials on |r| <= pi/4, evaluated from the smallest term up.
constexpr double sin_poly(double r) {
    const double r2 = r * r;
    double sum = 0.0;
    for (int k = 25; k >= 3; k -= 2)
        sum = (sum + 1.0) * r2 / double((k - 1) * k) * -1.0;
    return r + r * sum;
}

constexpr double cos_poly(double r) {
    const double r2 = r * r;
    double sum = 0.0;
    for (int k = 24; k >= 2; k -= 2)
        sum = (sum + 1.0) * r2 / double((k - 1) * k) * -1.0;
    return 1.0 + sum;
}

// x = q * pi/2 + r with |r| <= pi/4 (for the moderate |x| of table construction).
constexpr void reduce(double x, int64_t& q, double& r) {
    const double t = x / (kPio2Hi + kPio2Mid);
    q = int64_t(t >= 0 ? t + 0.5 : t - 0.5);
    const double qd = double(q);
    r = ((x - qd * kPio2Hi) - qd * kPio2Mid) - qd * kPio2Lo;
}

} // namespace detail

namespace detail {
// cos of r plus q quarter turns, from cos r and sin r.
constexpr double cos_quarter_turns(int64_t q, double cosR, double sinR) {
    switch (q & 3) {
    case 0:
        return cosR;
    case 1:
        return -sinR;
    case 2:
        return -cosR;
    default:
        return sinR;
    }
}
} // namespace detail

// sin x = cos(x - pi/2), three quarter turns on.
constexpr double sin(double x) {
    int64_t q = 0;
    double r = 0.0;
    detail::reduce(x, q, r);
    return detail::cos_quarter_turns(q + 3, detail::cos_poly(r), detail::sin_poly(r));
}

constexpr double cos(double x) {
    int64_t q = 0;
    double r = 0.0;
    detail::reduce(x, q, r);
    return detail::cos_quarter_turns(q, detail::cos_poly(r), detail::sin_poly(r));
}

// Newton's iteration from a power-of-two estimate; exact for perfect squares.
constexpr double sqrt(double x) {
    if (x <= 0.0)
        return 0.0;
    double g = 1.0;
    while (g * g > x)
        g *= 0.5;
    while (g * g * 4.0 <= x)
        g *= 2.0;
    for (int i = 0; i < 64; ++i) {
        const double next = 0.5 * (g + x / g);
        if (next == g)
            break;
        g = next;
    }
    return g;
}

// Modified Bessel function of the first kind, order 0: sum over k of ((x/2)^k / k!)^2.
constexpr double bessel_i0(double x) {
    double sum = 1.0, term = 1.0;
    for (int k = 1; k < 200; ++k) {
        const double f = x / (2.0 * k);
        term *= f * f;
        sum += term;
        if (term < sum * 1e-18)
            break;
    }
    return sum;
}

// Nearest integer, halves away from zero.
constexpr int64_t round_to_int(double x) { return x >= 0 ? int64_t(x + 0.5) : -int64_t(-x + 0.5); }

// Cube root by Newton's iteration from the estimate g, for at most `steps` steps (fewer once
// the iterate stops moving). Tables of n^(4/3) start each n from the root of n - 1.
constexpr double cbrt_from(double x, double g, int steps) {
    for (int i = 0; i < steps; ++i) {
        const double next = g - (g * g * g - x) / (3.0 * g * g);
        if (next == g)
            break;
        g = next;
    }
    return g;
}

// Cube root (x > 0) from a power-of-two estimate.
constexpr double cbrt(double x) {
    if (x <= 0.0)
        return 0.0;
    double g = 1.0;
    while (g * g * g > x)
        g *= 0.5;
    while (g * g * g * 8.0 <= x)
        g *= 2.0;
    return cbrt_from(x, g, 100);
}

namespace detail {
// cos of 2 pi num / den plus `quarters` quarter turns, reduced to its quadrant in integers.
constexpr double cos_quadrant(int64_t num, int64_t den, int64_t quarters) {
    const int64_t q = (4 * num) / den + quarters, r = (4 * num) % den;
    if (r == 0) {
        constexpr double kAxis[4] = {1.0, 0.0, -1.0, 0.0};
        return kAxis[q & 3];
    }
    const double t = kPi / 2.0 * double(r) / double(den);
    return cos_quarter_turns(q, cmath::cos(t), cmath::sin(t));
}
} // namespace detail

// cos and sin of 2 pi num / den (num >= 0, den > 0) with the angle reduced to its quadrant in
// integers, so that quarter turns are exact: cos of a quarter turn is +0, where cos of the
// double nearest pi/2 is 6e-17. Inside the first quadrant the angle is the double nearest
// 2 pi num / den, as 2.0 * kPi * num / den forms it.
constexpr double cos_turn(int64_t num, int64_t den) { return detail::cos_quadrant(num, den, 0); }
// sin x = cos(x - pi/2): three quarter turns on.
constexpr double sin_turn(int64_t num, int64_t den) { return detail::cos_quadrant(num, den, 3); }

// 2^(k/4) for an integer k.
constexpr double pow2_quarter(int k) {
    const double root = sqrt(sqrt(2.0));
    double v = 1.0;
    for (int i = 0; i < (k < 0 ? -k : k) / 4; ++i)
        v *= 2.0;
    for (int i = 0; i < (k < 0 ? -k : k) % 4; ++i)
        v *= root;
    return k < 0 ? 1.0 / v : v;
}

// How a fixed-point table entry leaves the real value: truncated or to the nearest integer.
enum class Rounding { Down, Nearest };

// 2^(k/4) with `frac` fractional bits, rounded as asked; 2^31 and more are held as 2^31 - 1
// (2^0 in Q31).
constexpr int32_t quarter_power_fixed(int k, int frac, Rounding rounding) {
    const double v = double(int64_t(1) << frac) * pow2_quarter(k);
    const int64_t i = rounding == Rounding::Nearest ? round_to_int(v) : int64_t(v);
    return i > INT32_MAX ? INT32_MAX : int32_t(i);
}

template <int Count> struct QuarterPowers {
    int32_t v[Count];
    constexpr bool operator==(const QuarterPowers&) const = default;
    // True when the table begins with the M values w.
    template <int M> constexpr bool starts_with(const int32_t (&w)[M]) const {
        for (int i = 0; i < M; ++i)
            if (v[i] != w[i])
                return false;
        return M <= Count;
    }
};

// 2^(k/4) for k = first, first + step, ... (Count entries) with `frac` fractional bits.
template <int Count>
constexpr QuarterPowers<Count> quarter_powers(int first, int step, int frac, Rounding rounding) {
    QuarterPowers<Count> t{};
    for (int i = 0; i < Count; ++i)
        t.v[i] = quarter_power_fixed(first + step * i, frac, rounding);
    return t;
}

} // namespace zem::cmath
