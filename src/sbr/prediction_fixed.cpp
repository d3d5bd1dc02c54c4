// Fixed-point HF-generation prediction of one band, for decoders without floating point: the
// high-quality path on complex samples and the low-power path on real ones. Alphas and the
// reflection coefficient are Q29; the inputs' scale cancels.
#include "sbr/prediction_fixed.hpp"

#include <algorithm>
#include <bit>

#include "core/fixed.hpp"
#include "zemac/sbr_tools.h"

namespace zem::sbr {

int32_t headroom_shift(int64_t m) {
    const int32_t z = std::countl_zero(uint32_t(m)); // m = 2^31 gives 0
    const int32_t h = std::min(z - 1, 2);
    return h < 2 ? 2 - h : 0;
}

namespace {

// A positive value as mantissa * 2^exponent with the mantissa in [2^30, 2^31).
struct Normalised {
    uint64_t mant;
    int32_t exp;
};

Normalised normalise(uint64_t v) {
    const int32_t shift = 33 - std::countl_zero(v);
    return shift >= 0 ? Normalised{v >> shift, shift} : Normalised{v << -shift, shift};
}

// 2^61 / d for d in [2^30, 2^31), i.e. 1/(d 2^-31) in Q30. The iteration approaches from below
// (1 - d y squares each step), so y stays at or under 2^31.
uint64_t reciprocal_q30(uint64_t d) {
    constexpr uint64_t kSeedQ28 = 0x15555555;
    uint64_t y = kSeedQ28 << 2;
    for (int32_t step = 0; step < 5; ++step) {
        const uint64_t dy = (d * y) >> 31;          // Q30
        y = (y * ((uint64_t(1) << 31) - dy)) >> 30; // y (2 - d y)
    }
    return y;
}

} // namespace

int64_t fixed_ratio(int64_t num, int64_t den, int32_t q) {
    if (num == 0)
        return 0;
    const Normalised n = normalise(num < 0 ? 0 - uint64_t(num) : uint64_t(num));
    const Normalised d = normalise(uint64_t(den));
    // num/den 2^q = n.mant * y * 2^(n.exp - d.exp - 61 + q), the product below 2^62.
    const int64_t p = int64_t(n.mant * reciprocal_q30(d.mant));
    const int32_t t = n.exp - d.exp - 61 + q;
    int64_t r = t >= 0 ? kRatioHuge : t <= -63 ? 0 : std::min(round_shr(p, -t), kRatioHuge);
    return num < 0 ? -r : r;
}

namespace {

// The covariance terms of one band, brought to a common scale where the largest magnitude
// stays within 2^30: two bits of headroom, so that the products of three terms summed (below
// 2^62) and alpha1 times a term (below 2^61) stay in 64 bits.
struct FixedCovariance {
    int64_t r01, i01, r02, i02, r11, r12, i12, r22;
};

struct Band {
    int32_t re[kFixedRows];
    int32_t im[kFixedRows];
    int32_t rows;
};

// Rows 0 .. rows - 1 of one band shifted to two bits of headroom; false when all are zero.
template <class Get> bool load_band(Get get, int32_t rows, Band& b) {
    int64_t hi = 0, lo = 0;
    for (int32_t m = 0; m < rows; ++m) {
        const auto [re, im] = get(m);
        hi = std::max({hi, int64_t(re), int64_t(im)});
        lo = std::min({lo, int64_t(re), int64_t(im)});
    }
    const int64_t range = std::max(hi, -lo);
    if (range == 0)
        return false;
    const int32_t shift = headroom_shift(range);
    for (int32_t m = 0; m < rows; ++m) {
        const auto [re, im] = get(m);
        b.re[m] = re >> shift;
        b.im[m] = im >> shift;
    }
    b.rows = rows;
    return true;
}

int64_t magnitude(int64_t v) { return v < 0 ? -v : v; }

// Sums in 64 bits. Samples reach 2^29, so 38 complex products of 2^59 could pass 2^63: products
// of samples from 2^28 up lose their two lowest bits first, far below what survives the scaling.
FixedCovariance covariance(const Band& b) {
    int64_t peak = 0;
    for (int32_t m = 0; m < b.rows; ++m)
        peak = std::max({peak, magnitude(b.re[m]), magnitude(b.im[m])});
    const int32_t p = peak >= (int64_t(1) << 28) ? 2 : 0;
    auto re = [&](int32_t a, int32_t c) {
        return (int64_t(b.re[a]) * b.re[c] + int64_t(b.im[a]) * b.im[c]) >> p;
    };
    auto im = [&](int32_t a, int32_t c) {
        return (int64_t(b.im[a]) * b.re[c] - int64_t(b.re[a]) * b.im[c]) >> p;
    };
    FixedCovariance s{};
    for (int32_t m = 2; m < b.rows; ++m) {
        s.r01 += re(m, m - 1);
        s.i01 += im(m, m - 1);
        s.r02 += re(m, m - 2);
        s.i02 += im(m, m - 2);
        s.r11 += re(m - 1, m - 1);
        s.r12 += re(m - 1, m - 2);
        s.i12 += im(m - 1, m - 2);
        s.r22 += re(m - 2, m - 2);
    }
    int64_t* terms[] = {&s.r01, &s.i01, &s.r02, &s.i02, &s.r11, &s.r12, &s.i12, &s.r22};
    int64_t largest = 0;
    for (int64_t* t : terms)
        largest = std::max(largest, magnitude(*t));
    if (largest == 0)
        return s;
    const int32_t shift = (64 - std::countl_zero(uint64_t(largest))) - 30;
    for (int64_t* t : terms)
        *t = shift > 0 ? round_shr(*t, shift) : *t * (int64_t(1) << -shift);
    return s;
}

// |a|^2 >= 16 for a Q29 complex value: beyond 32 bits, or the squares' upper halves reach 2^30.
bool unstable(int64_t re, int64_t im) {
    constexpr int64_t kLimit = int64_t(1) << 31;
    if (magnitude(re) >= kLimit || magnitude(im) >= kLimit)
        return true;
    return hi32(re * re) + int64_t(hi32(im * im)) >= 0x40000000;
}

struct FixedAlphas {
    int64_t a0r = 0, a0i = 0, a1r = 0, a1i = 0;
};

// alpha0 = -(phi(0,1) + alpha1 conj(phi(1,2))) / phi(1,1) with alpha1 below 4 in magnitude.
void alpha0_from(const FixedCovariance& c, FixedAlphas& a) {
    const int64_t nr = c.r01 * (int64_t(1) << 29) + (a.a1r * c.r12 + a.a1i * c.i12);
    const int64_t ni = c.i01 * (int64_t(1) << 29) + (a.a1i * c.r12 - a.a1r * c.i12);
    a.a0r = -fixed_ratio(nr, c.r11, 0);
    a.a0i = -fixed_ratio(ni, c.r11, 0);
}

// Reflection coefficient -phi(0,1) / phi(1,1) clamped to [-1, 1] in Q29.
int32_t reflection(const FixedCovariance& c) {
    constexpr int64_t kOne = int64_t(1) << 29;
    return int32_t(std::clamp(-fixed_ratio(c.r01, c.r11, 29), -kOne, kOne));
}

// 0x7FFFF800 in Q31 is 1 - 2^-20.
int64_t relaxed(int64_t v) { return v - (v >> 20); }

// Rows a call may read: len + 2, at most 40.
int32_t rows_for(int32_t len) { return std::min(len, kFixedRows - 2) + 2; }

} // namespace
} // namespace zem::sbr

using namespace zem::sbr;

extern "C" ZemStatus zemsPredictOneCoef_SBRHQ_32sc_D2L(const Zem32sc* const* ppSrc,
                                                       Zem32sc* pAlpha0, Zem32sc* pAlpha1,
                                                       int32_t band, int32_t len) {
    if (ppSrc == nullptr || pAlpha0 == nullptr || pAlpha1 == nullptr)
        return zemStatusOk;
    FixedAlphas a;
    Band b;
    if (len >= 1 && load_band([&](int32_t m) { return ppSrc[m][band]; }, rows_for(len), b)) {
        const FixedCovariance c = covariance(b);
        const int64_t d = c.r22 * c.r11 - (c.r12 * c.r12 + c.i12 * c.i12);
        if (d > 0) {
            a.a1r = fixed_ratio((c.r01 * c.r12 - c.i01 * c.i12) - c.r02 * c.r11, d, 29);
            a.a1i = fixed_ratio((c.r01 * c.i12 + c.i01 * c.r12) - c.i02 * c.r11, d, 29);
        }
        if (unstable(a.a1r, a.a1i))
            a = {};
        else if (c.r11 != 0)
            alpha0_from(c, a);
        if (unstable(a.a0r, a.a0i))
            a = {};
    }
    *pAlpha0 = {int32_t(a.a0r), int32_t(a.a0i)};
    *pAlpha1 = {int32_t(a.a1r), int32_t(a.a1i)};
    return zemStatusOk;
}

extern "C" ZemStatus zemsPredictOneCoef_SBRLP_32s_D2L(const int32_t* const* ppSrc, int32_t* pAlpha0,
                                                      int32_t* pAlpha1, int32_t* pRefCoef,
                                                      int32_t band, int32_t len,
                                                      int32_t calcAlpha) {
    if (ppSrc == nullptr || pAlpha0 == nullptr || pAlpha1 == nullptr || pRefCoef == nullptr)
        return zemStatusOk;
    *pAlpha0 = *pAlpha1 = *pRefCoef = 0;
    Band b;
    if (len < 1 || !load_band(
                       [&](int32_t m) {
                           return Zem32sc{ppSrc[m][band], 0};
                       },
                       rows_for(len), b))
        return zemStatusOk;
    const FixedCovariance c = covariance(b);
    if (c.r11 == 0)
        return zemStatusOk;
    *pRefCoef = reflection(c);
    if (calcAlpha == 0)
        return zemStatusOk;
    FixedAlphas a;
    const int64_t d = c.r22 * c.r11 - relaxed(c.r12 * c.r12);
    if (d > 0)
        a.a1r = fixed_ratio(c.r01 * c.r12 - c.r02 * c.r11, d, 29);
    if (unstable(a.a1r, 0))
        a = {};
    else
        alpha0_from(c, a);
    if (unstable(a.a0r, 0))
        a = {};
    *pAlpha0 = int32_t(a.a0r);
    *pAlpha1 = int32_t(a.a1r);
    return zemStatusOk;
}
