// Constant tables of the fixed-point AAC filter bank, built at compile time: the rising halves
// of the sine and Kaiser-Bessel-derived windows in Q31 and the MDCT pre/post-twiddles in Q30.
#pragma once

#include <cstdint>

#include "core/constexpr_math.hpp"
#include "transform/fixed_fft.hpp"
#include "transform/twiddle.hpp"

namespace zem::aac {

// Rising half of a window of 2*Half samples; the falling half is the same read backwards.
template <int Half> struct WindowHalf { int32_t w[Half]; };

// w[n] = round(2^31 sin(pi (n + 1/2) / (2 Half))).
template <int Half> constexpr WindowHalf<Half> make_sine_window() {
    WindowHalf<Half> t{};
    for (int n = 0; n < Half; ++n)
        t.w[n] = int32_t(
            cmath::round_to_int(2147483648.0 * cmath::sin(cmath::kPi * (n + 0.5) / (2.0 * Half))));
    return t;
}

// ISO/IEC 14496-3 KBD window of length N = 2 Half with parameter alpha:
// w[n] = sqrt(sum_{p<=n} W'(p) / sum_{p<=Half} W'(p)), W'(p) = I0(pi alpha sqrt(1 - ((p -
// N/4)/(N/4))^2)).
template <int Half> constexpr WindowHalf<Half> make_kbd_window(double alpha) {
    double kernel[Half + 1]{};
    const double quarter = Half / 2.0;
    double total = 0.0;
    for (int p = 0; p <= Half; ++p) {
        const double d = (p - quarter) / quarter;
        kernel[p] = cmath::bessel_i0(cmath::kPi * alpha * cmath::sqrt(1.0 - d * d));
        total += kernel[p];
    }
    WindowHalf<Half> t{};
    double running = 0.0;
    for (int n = 0; n < Half; ++n) {
        running += kernel[n];
        t.w[n] = int32_t(cmath::round_to_int(2147483648.0 * cmath::sqrt(running / total)));
    }
    return t;
}

// Twiddle pairs of an N-coefficient MDCT core: (C[m], S[m]) = round(2^30 (cos, sin)(2 pi (m + 1/8)
// / (2N))).
template <int N> struct MdctTwiddles { int32_t cs[N]; };

template <int N> constexpr MdctTwiddles<N> make_mdct_twiddles() {
    MdctTwiddles<N> t{};
    for (int m = 0; m < N / 2; ++m) {
        const CosSin w = cos_sin_constexpr(m + 0.125, 2.0 * N);
        t.cs[2 * m] = int32_t(cmath::round_to_int(1073741824.0 * w.c));
        t.cs[2 * m + 1] = int32_t(cmath::round_to_int(1073741824.0 * w.s));
    }
    return t;
}

inline constexpr int kLongHalf = 1024;
inline constexpr int kShortHalf = 128;

inline constexpr WindowHalf<kLongHalf> kSineLong = make_sine_window<kLongHalf>();
inline constexpr WindowHalf<kShortHalf> kSineShort = make_sine_window<kShortHalf>();
inline constexpr WindowHalf<kLongHalf> kKbdLong = make_kbd_window<kLongHalf>(4.0);
inline constexpr WindowHalf<kShortHalf> kKbdShort = make_kbd_window<kShortHalf>(6.0);

// Fixed-point FFT tables of the two cores: 512 points (long) and 64 points (short).
inline constexpr const FixedFftTable<9>& kFftLong = kFixedFftTable<9>;
inline constexpr const FixedFftTable<6>& kFftShort = kFixedFftTable<6>;

inline constexpr MdctTwiddles<1024> kTwiddlesLong = make_mdct_twiddles<1024>();
inline constexpr MdctTwiddles<128> kTwiddlesShort = make_mdct_twiddles<128>();

// Rising half of the long or short window of a shape (0 sine, 1 KBD).
inline const int32_t* long_window(int shape) { return shape ? kKbdLong.w : kSineLong.w; }
inline const int32_t* short_window(int shape) { return shape ? kKbdShort.w : kSineShort.w; }

} // namespace zem::aac
