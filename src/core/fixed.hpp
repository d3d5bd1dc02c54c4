// Fixed-point helpers. Signed overflow is undefined in C++, so wrapping 32-bit arithmetic goes
// through unsigned types; products are formed in 64 bits and hi32 keeps their upper word.
#pragma once

#include <cstdint>

namespace zem {

// Upper 32 bits of a 64-bit value, arithmetic shift (the product of a Qa and a Qb value
// becomes Q(a+b-32)).
constexpr int32_t hi32(int64_t v) { return int32_t(v >> 32); }
constexpr int32_t mul_hi32(int32_t a, int32_t b) { return hi32(int64_t(a) * b); }

// Two's-complement wrapping add, subtract, multiply, negate and left shift.
constexpr int32_t wrap_add(int32_t a, int32_t b) { return int32_t(uint32_t(a) + uint32_t(b)); }
constexpr int32_t wrap_sub(int32_t a, int32_t b) { return int32_t(uint32_t(a) - uint32_t(b)); }
constexpr int32_t wrap_mul(int32_t a, int32_t b) { return int32_t(uint32_t(a) * uint32_t(b)); }
constexpr int32_t wrap_neg(int32_t a) { return int32_t(0u - uint32_t(a)); }
constexpr int32_t wrap_shl(int32_t a, int s) { return int32_t(uint32_t(a) << s); }

// Saturation to the signed 16- and 32-bit ranges.
constexpr int16_t sat16(int64_t v) {
    return int16_t(v > INT16_MAX ? INT16_MAX : v < INT16_MIN ? INT16_MIN : v);
}
constexpr int32_t sat32(int64_t v) {
    return int32_t(v > INT32_MAX ? INT32_MAX : v < INT32_MIN ? INT32_MIN : v);
}

// Nearest integer to a double, ties to even, saturated to 32 bits. Adding and removing
// 1.5 * 2^52 rounds in the current (nearest) mode without a library call; larger values
// saturate anyway.
inline int32_t round_sat32(double v) {
    if (v >= 2147483647.0)
        return 2147483647;
    if (v <= -2147483648.0)
        return int32_t(-2147483647 - 1);
    constexpr double kShifter = 6755399441055744.0;
    return int32_t((v + kShifter) - kShifter);
}

// ceil(x / 18) and floor((x + 8) / 18), counts of 18-line MP3 sub-bands reached by x lines
// (0 <= x <= 576), without a division: 3641 / 2^16 is 1/18 + 1/(9 2^16), and the added
// constants lie just above 17/18 and 8/18 of 2^16, so both are exact up to x = 32759.
constexpr int32_t ceil_div18(int32_t x) { return (x * 3641 + 61897) >> 16; }
constexpr int32_t nearest_div18(int32_t x) { return (x * 3641 + 29128) >> 16; }

// Shift right by s >= 1 with rounding half up: (v + 2^(s-1)) >> s, in 64 bits.
constexpr int64_t round_shr(int64_t v, int s) { return (v + (int64_t(1) << (s - 1))) >> s; }

} // namespace zem
