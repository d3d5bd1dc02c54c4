// Double-precision sine, cosine, square root and the Bessel function I0 usable in constant
// expressions, so that windows and twiddles are built at compile time (clang 14 has no
// constexpr libm). Accurate to about one unit in the last place; a test holds them to libm.
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

constexpr double sin(double x) {
    int64_t q = 0;
    double r = 0.0;
    detail::reduce(x, q, r);
    switch (q & 3) {
    case 0: return detail::sin_poly(r);
    case 1: return detail::cos_poly(r);
    case 2: return -detail::sin_poly(r);
    default: return -detail::cos_poly(r);
    }
}

constexpr double cos(double x) {
    int64_t q = 0;
    double r = 0.0;
    detail::reduce(x, q, r);
    switch (q & 3) {
    case 0: return detail::cos_poly(r);
    case 1: return -detail::sin_poly(r);
    case 2: return -detail::cos_poly(r);
    default: return detail::sin_poly(r);
    }
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

} // namespace zem::cmath

namespace zem::cmath {

// Cube root by Newton's iteration (x > 0).
constexpr double cbrt(double x) {
    if (x <= 0.0)
        return 0.0;
    double g = 1.0;
    while (g * g * g > x)
        g *= 0.5;
    while (g * g * g * 8.0 <= x)
        g *= 2.0;
    for (int i = 0; i < 100; ++i) {
        const double next = g - (g * g * g - x) / (3.0 * g * g);
        if (next == g)
            break;
        g = next;
    }
    return g;
}

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

} // namespace zem::cmath
