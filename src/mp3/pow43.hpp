// n^(4/3) for the Layer III magnitudes n = 0..8206, each cube root refined by Newton's method
// from the last: the requantiser rounds it to its fixed-point table, the encoder's quantiser
// measures its noise with it.
#pragma once

#include "core/constexpr_math.hpp"

namespace zem::mp3 {

constexpr int kMaxQuantised = 8206; // 15 + 2^13 - 1, the largest value table 31 codes

struct Pow43Table {
    double v[kMaxQuantised + 1];
};

constexpr Pow43Table make_pow43_table() {
    Pow43Table t{};
    double root = 1.0;
    for (int n = 1; n <= kMaxQuantised; ++n) {
        root = cmath::cbrt_from(n, root, 8);
        t.v[n] = n * root;
    }
    return t;
}

inline constexpr Pow43Table kPow43Table = make_pow43_table();

} // namespace zem::mp3
