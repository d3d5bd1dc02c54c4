// Twiddle factors of every FFT and (I)MDCT of the library: cos and sin of 2 pi num / den, the
// angle formed in double precision as (2 pi num) / den. For a power-of-two den that is, to the
// bit, the step 2 pi / den times num as well, and doubling num and den together changes
// nothing, so pi k / (2n) and 2 pi k / (4n) are one angle. Tables built when a spec is
// initialised take libm's cosine and sine; tables built into the library take the constexpr
// series of core/constexpr_math.hpp (a test holds the two together). Each transform rounds the
// pair to its own format (float, Q15, Q30, scaled by a gain) where it stores it.
#pragma once

#include <cmath>

#include "core/constexpr_math.hpp"

namespace zem {

constexpr double turn_angle(double num, double den) { return 2.0 * cmath::kPi * num / den; }

struct CosSin {
    double c, s;
};

inline CosSin cos_sin(double num, double den) {
    const double a = turn_angle(num, den);
    return {std::cos(a), std::sin(a)};
}

constexpr CosSin cos_sin_constexpr(double num, double den) {
    const double a = turn_angle(num, den);
    return {cmath::cos(a), cmath::sin(a)};
}

} // namespace zem
