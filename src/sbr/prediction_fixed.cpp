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

// Values at or beyond this magnitude stand for "too large" (any |alpha| >= 4 in Q29).
constexpr int64_t kRatioHuge = int64_t(1) << 40;

// A positive value as mantissa * 2^exponent with the mantissa in [2^30, 2^31).
struct Normalised {
    uint64_t mant;
    int32_t exp;
};

Normalised normalise(uint64_t v) {
    const int32_t shift = 33 - std::countl_zero(v);
    return shift >= 0 ? Normalised{v >> shift, shift} : Normalised{v << -shift, shift};
}

// 1/den for den > 0 as y 2^-(61 + exp): y = 2^61 / mant, i.e. 1/(mant 2^-31) in Q30, from five
// Newton-Raphson steps y <- y (2 - d y) seeded with 4/3 (0x15555555 in Q28). The iteration
// approaches from below (1 - d y squares each step), so y stays at or under 2^31.
struct Reciprocal {
    uint64_t y;
    int32_t exp;
};

Reciprocal reciprocal(int64_t den) {
    const Normalised d = normalise(uint64_t(den));
    constexpr uint64_t kSeedQ28 = 0x15555555;
    uint64_t y = kSeedQ28 << 2;
    for (int32_t step = 0; step < 5; ++step) {
        const uint64_t dy = (d.mant * y) >> 31;     // Q30
        y = (y * ((uint64_t(1) << 31) - dy)) >> 30; // y (2 - d y)
    }
    return {y, d.exp};
}

// num / den * 2^q to within a unit or two of the last place (num normalised to 31 bits), results
// beyond kRatioHuge clamped to +-kRatioHuge.
int64_t ratio(int64_t num, Reciprocal inv, int32_t q) {
    if (num == 0)
        return 0;
    const Normalised n = normalise(num < 0 ? 0 - uint64_t(num) : uint64_t(num));
    // n.mant * y * 2^(n.exp - inv.exp - 61 + q), the product below 2^62.
    const int64_t p = int64_t(n.mant * inv.y);
    const int32_t t = n.exp - inv.exp - 61 + q;
    const int64_t r = t >= 0 ? kRatioHuge : t <= -63 ? 0 : std::min(round_shr(p, -t), kRatioHuge);
    return num < 0 ? -r : r;
}

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
    int64_t peak; // the range shifted: no magnitude exceeds it by more than 1
};

// Rows 0 .. rows - 1 of one band shifted to two bits of headroom; false when all are zero. A
// real band (Complex false) leaves the imaginary parts unset: nothing reads them.
template <bool Complex, class Get> bool load_band(Get get, int32_t rows, Band& b) {
    int64_t hi = 0, lo = 0;
    for (int32_t m = 0; m < rows; ++m) {
        const auto [re, im] = get(m);
        b.re[m] = re;
        hi = std::max(hi, int64_t(re));
        lo = std::min(lo, int64_t(re));
        if constexpr (Complex) {
            b.im[m] = im;
            hi = std::max(hi, int64_t(im));
            lo = std::min(lo, int64_t(im));
        }
    }
    const int64_t range = std::max(hi, -lo);
    if (range == 0)
        return false;
    const int32_t shift = headroom_shift(range);
    for (int32_t m = 0; m < rows; ++m) {
        b.re[m] >>= shift;
        if constexpr (Complex)
            b.im[m] >>= shift;
    }
    b.rows = rows;
    b.peak = range >> shift;
    return true;
}

int64_t magnitude(int64_t v) { return v < 0 ? -v : v; }

// Sums in 64 bits. Samples reach 2^29, so 38 complex products of 2^59 could pass 2^63: products
// of samples from 2^28 up lose their two lowest bits first, far below what survives the scaling
// (below, magnitudes of 2^28 + 1 at most keep 38 products under 2^63).
// The sums being exact, phi(2,2) and phi(0,1) follow from phi(1,1) and phi(1,2) by their end
// terms. Real bands have no imaginary terms: their sums are those of the complex code on zero
// imaginary parts.
template <bool Complex> FixedCovariance covariance(const Band& b) {
    const int32_t p = b.peak >= (int64_t(1) << 28) ? 2 : 0;
    auto re = [&](int32_t a, int32_t c) {
        int64_t sum = int64_t(b.re[a]) * b.re[c];
        if constexpr (Complex)
            sum += int64_t(b.im[a]) * b.im[c];
        return sum >> p;
    };
    auto im = [&](int32_t a, int32_t c) -> int64_t {
        if constexpr (Complex)
            return (int64_t(b.im[a]) * b.re[c] - int64_t(b.re[a]) * b.im[c]) >> p;
        return 0;
    };
    FixedCovariance s{};
    const int32_t last = b.rows - 1;
    for (int32_t j = 1; j < last; ++j) {
        s.r11 += re(j, j);
        s.r12 += re(j, j - 1);
        s.i12 += im(j, j - 1);
    }
    for (int32_t j = 2; j <= last; ++j) {
        s.r02 += re(j, j - 2);
        s.i02 += im(j, j - 2);
    }
    s.r22 = s.r11 + re(0, 0) - re(last - 1, last - 1);
    s.r01 = s.r12 - re(1, 0) + re(last, last - 1);
    s.i01 = s.i12 - im(1, 0) + im(last, last - 1);
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

// alpha1 = (phi(0,1) phi(1,2) - phi(0,2) phi(1,1)) / d for d > 0.
void alpha1_from(const FixedCovariance& c, int64_t d, FixedAlphas& a) {
    const Reciprocal inv = reciprocal(d);
    a.a1r = ratio((c.r01 * c.r12 - c.i01 * c.i12) - c.r02 * c.r11, inv, 29);
    a.a1i = ratio((c.r01 * c.i12 + c.i01 * c.r12) - c.i02 * c.r11, inv, 29);
}

// alpha0 = -(phi(0,1) + alpha1 conj(phi(1,2))) / phi(1,1) with alpha1 below 4 in magnitude.
void alpha0_from(const FixedCovariance& c, Reciprocal inv11, FixedAlphas& a) {
    const int64_t nr = c.r01 * (int64_t(1) << 29) + (a.a1r * c.r12 + a.a1i * c.i12);
    const int64_t ni = c.i01 * (int64_t(1) << 29) + (a.a1i * c.r12 - a.a1r * c.i12);
    a.a0r = -ratio(nr, inv11, 0);
    a.a0i = -ratio(ni, inv11, 0);
}

// Reflection coefficient -phi(0,1) / phi(1,1) clamped to [-1, 1] in Q29.
int32_t reflection(const FixedCovariance& c, Reciprocal inv11) {
    constexpr int64_t kOne = int64_t(1) << 29;
    return int32_t(std::clamp(-ratio(c.r01, inv11, 29), -kOne, kOne));
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
    if (len >= 1 && load_band<true>([&](int32_t m) { return ppSrc[m][band]; }, rows_for(len), b)) {
        const FixedCovariance c = covariance<true>(b);
        const int64_t d = c.r22 * c.r11 - (c.r12 * c.r12 + c.i12 * c.i12);
        if (d > 0)
            alpha1_from(c, d, a);
        if (unstable(a.a1r, a.a1i))
            a = {};
        else if (c.r11 != 0)
            alpha0_from(c, reciprocal(c.r11), a);
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
    if (len < 1 || !load_band<false>(
                       [&](int32_t m) {
                           return Zem32sc{ppSrc[m][band], 0};
                       },
                       rows_for(len), b))
        return zemStatusOk;
    const FixedCovariance c = covariance<false>(b);
    if (c.r11 == 0)
        return zemStatusOk;
    const Reciprocal inv11 = reciprocal(c.r11);
    *pRefCoef = reflection(c, inv11);
    if (calcAlpha == 0)
        return zemStatusOk;
    FixedAlphas a;
    const int64_t d = c.r22 * c.r11 - relaxed(c.r12 * c.r12);
    if (d > 0)
        alpha1_from(c, d, a);
    if (unstable(a.a1r, 0))
        a = {};
    else
        alpha0_from(c, inv11, a);
    if (unstable(a.a0r, 0))
        a = {};
    *pAlpha0 = int32_t(a.a0r);
    *pAlpha1 = int32_t(a.a1r);
    return zemStatusOk;
}
