#include "aac/pow43.hpp"

#include "core/fixed.hpp"

namespace zem::aac {
namespace {

// 2^(-r/4) in Q31, rounded (the first saturated to the largest Q31 value).
constexpr cmath::QuarterPowers<4> kInvQuarterQ31 =
    cmath::quarter_powers<4>(0, -1, 31, cmath::Rounding::Nearest);
static_assert(kInvQuarterQ31 ==
              cmath::QuarterPowers<4>{{2147483647, 1805811301, 1518500250, 1276901417}});
// 2^(1/3), 1, 2^(2/3) twice, in Q30/Q31, and the exponents that go with them, by the
// normalisation count c = 0..6 of the polynomial path.
constexpr int32_t kCbrtGain[7] = {1704458900, 1352829926, 2147483647, 1704458900,
                                  1352829926, 2147483647, 1704458900};
constexpr int kCbrtExp[7] = {12, 13, 15, 16, 17, 19, 20};

// |x|^(4/3) for 129..16383 as t 2^-n: the magnitude normalised into [2^30, 2^31), a polynomial
// for its 4/3 power, and the cube-root gain of the normalisation.
int32_t pow43_poly(int32_t ax, int& n) {
    int32_t m;
    int c;
    if (ax >= 1024) {
        m = ax << 17;
        c = 0;
    } else {
        m = ax << 21;
        c = 4;
    }
    if (m < (1 << 29)) {
        m <<= 2;
        c += 2;
    }
    if (m < (1 << 30)) {
        m <<= 1;
        c += 1;
    }
    constexpr int32_t kPoly[] = {1445956062, -2036421417, 1707815404, -991941369,
                                 535739478,  127541088,   -1613111};
    int32_t a = -457633446;
    for (int32_t coef : kPoly)
        a = wrap_add(mul_hi32(a, m), coef);
    const int32_t p = wrap_shl(a, 4);
    n = kCbrtExp[c] - 4;
    return wrap_shl(mul_hi32(p, kCbrtGain[c]), 1);
}

} // namespace

int32_t dequantise_large(int32_t ax, int e, int r) {
    int n;
    int32_t t;
    if (ax < 64) {
        t = kPow.q23[ax];
        n = 19;
    } else if (ax <= 128) {
        t = kPow.q21[ax];
        n = 17;
    } else {
        t = pow43_poly(ax, n);
    }
    const int32_t v = mul_hi32(kInvQuarterQ31.v[r], t);
    const int d = n - e;
    if (d > 0)
        return d > 31 ? 0 : v >> d;
    if (-d > 31)
        return v != 0 ? 0x7FFFFFFF : 0;
    return wrap_shl(v, -d);
}

} // namespace zem::aac
