// The constants of the Layer III hybrid filter bank that the decoder's inverse and the encoder's
// forward transform share: the windows of the four block types and the alias-reduction
// butterflies cs_i = 1 / sqrt(1 + c_i^2), ca_i = c_i / sqrt(1 + c_i^2).
#pragma once

#include "core/constexpr_math.hpp"

namespace zem::mp3 {

// Window value i (0..35) of a long block of type 0, 1 (start) or 3 (stop).
constexpr double long_window(int type, int i) {
    using cmath::kPi;
    const double normal = cmath::sin(kPi / 36.0 * (i + 0.5));
    if (type == 1)
        return i < 18   ? normal
               : i < 24 ? 1.0
               : i < 30 ? cmath::sin(kPi / 12.0 * (i - 18 + 0.5))
                        : 0.0;
    if (type == 3)
        return i < 6    ? 0.0
               : i < 12 ? cmath::sin(kPi / 12.0 * (i - 6 + 0.5))
               : i < 18 ? 1.0
                        : normal;
    return normal;
}

// Window value i (0..11) of a short block.
constexpr double short_window(int i) { return cmath::sin(cmath::kPi / 12.0 * (i + 0.5)); }

struct Butterflies {
    double cs[8], ca[8];
};

constexpr Butterflies make_butterflies() {
    constexpr double c[8] = {-0.6, -0.535, -0.33, -0.185, -0.095, -0.041, -0.0142, -0.0037};
    Butterflies b{};
    for (int i = 0; i < 8; ++i) {
        const double r = cmath::sqrt(1.0 + c[i] * c[i]);
        b.cs[i] = 1.0 / r;
        b.ca[i] = c[i] / r;
    }
    return b;
}

inline constexpr Butterflies kButterflies = make_butterflies();

} // namespace zem::mp3
