// |x|^(4/3) 2^(g/4) in fixed point, the arithmetic of AAC inverse quantisation that the
// quantiser helpers share: tables for small magnitudes, a polynomial with a cube-root gain for
// large ones, and 2^(-r/4) in Q31 for the quarter steps.
#pragma once

#include <cstdint>

#include "core/constexpr_math.hpp"

namespace zem::aac {

// x^(4/3) 2^(-r/4) in Q28 (x = 1..3) and Q25 (x = 4..15), rows r = 0..3; x^(4/3) in Q23
// (x = 16..63) and Q21 (x = 64..128).
struct PowTables {
    int32_t q28[4][4];
    int32_t q25[4][16];
    int32_t q23[64];
    int32_t q21[129];
};

constexpr int32_t fixed_pow43(int x, int r, int frac) {
    const double v = x * cmath::cbrt(double(x)) * cmath::pow2_quarter(-r);
    return int32_t(cmath::round_to_int(v * double(int64_t(1) << frac)));
}

constexpr PowTables make_pow_tables() {
    PowTables t{};
    for (int r = 0; r < 4; ++r) {
        for (int x = 1; x < 4; ++x)
            t.q28[r][x] = fixed_pow43(x, r, 28);
        for (int x = 4; x < 16; ++x)
            t.q25[r][x] = fixed_pow43(x, r, 25);
    }
    for (int x = 16; x < 64; ++x)
        t.q23[x] = fixed_pow43(x, 0, 23);
    for (int x = 64; x <= 128; ++x)
        t.q21[x] = fixed_pow43(x, 0, 21);
    return t;
}

inline constexpr PowTables kPow = make_pow_tables();

// One magnitude x = 16..16383 with exponent e and quarter step r (0..3): x^(4/3) 2^(e - r/4)
// with 3 fractional bits, from a rounded table or the polynomial, each product truncated;
// saturated to 2^31 - 1.
int32_t dequantise_large(int32_t ax, int e, int r);

} // namespace zem::aac
