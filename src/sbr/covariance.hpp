// Covariance method of the SBR high-frequency generator: the autocorrelation terms of one QMF
// band over a run of slots and the second-order predictor (alpha0, alpha1) they give. Shared by
// the prediction exports and the encoder's tonality estimator.
//
//   phi(i, j) = sum_{m = 2 .. len + 1} x[m - i] conj(x[m - j])
//   d      = phi(2,2) phi(1,1) - rho |phi(1,2)|^2
//   alpha1 = (phi(0,1) phi(1,2) - phi(0,2) phi(1,1)) / d
//   alpha0 = -(phi(0,1) + alpha1 conj(phi(1,2))) / phi(1,1)
#pragma once

#include <bit>
#include <cstdint>

#include "zemac/core.h"

namespace zem::sbr {

// 1 / (1 + 1e-6) rounded up by one unit in the last place: keeps d positive for a band that is
// exactly predictable.
inline constexpr float kRelaxation = std::bit_cast<float>(0x3F7FFFF0u);

// The six terms of one band (imaginary parts 0 for real data; phi(1,1), phi(2,2), phi(0,0) are
// real).
struct Covariance {
    float r00, r01, i01, r02, i02, r11, r12, i12, r22;
};

struct Alphas {
    float a0r, a0i, a1r, a1i;
};

// Where the sub-band samples come from: row pointers of real values, of interleaved complex
// values, or of separate real and imaginary parts.
enum class RowLayout { Real, Interleaved, Split };

struct RowSet {
    RowLayout layout;
    const float* const* re;  // Real, Split
    const float* const* im;  // Split
    const Zem32fc* const* c; // Interleaved
};

// Sample x[m][k] of a row set.
inline float sample_re(const RowSet& s, int32_t m, int32_t k) {
    return s.layout == RowLayout::Interleaved ? s.c[m][k].re : s.re[m][k];
}
inline float sample_im(const RowSet& s, int32_t m, int32_t k) {
    return s.layout == RowLayout::Interleaved ? s.c[m][k].im
           : s.layout == RowLayout::Split     ? s.im[m][k]
                                              : 0.0f;
}

// The terms of band k from rows 0 .. len + 1, summed from m = 2 upwards. The four-band kernels
// below add the same products in the same order, so a band gives the same bits either way.
template <class Sample> Covariance covariance_of(Sample x, int32_t len) {
    Covariance c{};
    for (int32_t m = 2; m < len + 2; ++m) {
        const auto x0 = x(m), x1 = x(m - 1), x2 = x(m - 2);
        c.r00 = c.r00 + (x0.re * x0.re + x0.im * x0.im);
        c.r01 = c.r01 + (x0.re * x1.re + x0.im * x1.im);
        c.i01 = c.i01 + (x0.im * x1.re - x0.re * x1.im);
        c.r02 = c.r02 + (x0.re * x2.re + x0.im * x2.im);
        c.i02 = c.i02 + (x0.im * x2.re - x0.re * x2.im);
        c.r11 = c.r11 + (x1.re * x1.re + x1.im * x1.im);
        c.r12 = c.r12 + (x1.re * x2.re + x1.im * x2.im);
        c.i12 = c.i12 + (x1.im * x2.re - x1.re * x2.im);
        c.r22 = c.r22 + (x2.re * x2.re + x2.im * x2.im);
    }
    return c;
}

inline Covariance covariance_band(const RowSet& s, int32_t k, int32_t len) {
    return covariance_of(
        [&](int32_t m) {
            return Zem32fc{sample_re(s, m, k), sample_im(s, m, k)};
        },
        len);
}

// Bands k .. k + 3 at once, each equal to covariance_band of that band.
struct CovarianceKernels {
    void (*four)(const RowSet& s, int32_t k, int32_t len, Covariance out[4]);
};
extern const CovarianceKernels kCovarianceScalar;
extern const CovarianceKernels kCovarianceSse2;

// How degenerate statistics are recognised. The HF generator tests d and phi(1,1) for zero and
// keeps alpha0 when only d is zero; the tonality estimator tests their squares (so that values
// too small to square count as zero) and takes no predictor at all when d is zero.
enum class Degenerate { HfGeneration, Tonality };

inline bool is_zero(float v, Degenerate rule) {
    return rule == Degenerate::HfGeneration ? v == 0.0f : v * v == 0.0f;
}

// The predictor of one band.
inline Alphas predictor(const Covariance& c, Degenerate rule) {
    Alphas a{};
    const float d = c.r22 * c.r11 - kRelaxation * (c.r12 * c.r12 + c.i12 * c.i12);
    if (!is_zero(d, rule)) {
        a.a1r = ((c.r01 * c.r12 - c.i01 * c.i12) - c.r02 * c.r11) / d;
        a.a1i = ((c.r01 * c.i12 + c.i01 * c.r12) - c.i02 * c.r11) / d;
    } else if (rule == Degenerate::Tonality) {
        return a;
    }
    if (!is_zero(c.r11, rule)) {
        a.a0r = -(c.r01 + (a.a1r * c.r12 + a.a1i * c.i12)) / c.r11;
        a.a0i = -(c.i01 + (a.a1i * c.r12 - a.a1r * c.i12)) / c.r11;
    }
    return a;
}

// An unstable predictor (either coefficient of magnitude 4 or more) is replaced by zeros.
inline Alphas stabilised(Alphas a) {
    const bool unstable =
        a.a0r * a.a0r + a.a0i * a.a0i >= 16.0f || a.a1r * a.a1r + a.a1i * a.a1i >= 16.0f;
    return unstable ? Alphas{} : a;
}

} // namespace zem::sbr
