// FFT, 32-bit fixed point: split-radix decimation in frequency on interleaved int32 (re, im)
// pairs, with Q30 twiddles and a byte swap table that owners build once per order, at compile
// time. All sums wrap; callers keep enough headroom. Apart from fft.hpp and fft16.hpp because
// the AAC filter bank's output is defined by these exact integer butterflies (no scaling, two
// twiddle roundings); it shares the twiddle generator (twiddle.hpp) with them.
#pragma once

#include "core/constexpr_math.hpp"
#include "transform/twiddle.hpp"

#include <cstdint>

namespace zem {

// Twiddle rounding of a table: the product with 2^30 truncated toward zero, or truncated after
// adding one half.
enum class TwiddleRounding { Truncate, AddHalf };

// Tables of one order: four runs of N/8 - 1 Q30 values (cos 2pi k/N, cos 6pi k/N, sin 2pi k/N,
// sin 6pi k/N for k = 1..N/8-1), then the swap list: pairs (a, b) ended by 0, then single
// values ended by the next 0.
template <int Order> struct FixedFftTable {
    static_assert(Order >= 2 && Order <= 9, "swap entries are bytes");
    static constexpr int kLength = 1 << Order;
    static constexpr int kRun = kLength / 8 > 1 ? kLength / 8 - 1 : 0;
    int32_t twiddle[kRun > 0 ? 4 * kRun : 1];
    uint8_t swap[kLength / 4 + 1];
};

namespace detail {

constexpr int bit_reverse(int v, int bits) {
    int r = 0;
    for (int b = 0; b < bits; ++b)
        r |= ((v >> b) & 1) << (bits - 1 - b);
    return r;
}

constexpr int32_t q30(double v, TwiddleRounding rounding) {
    const double scaled = v * 1073741824.0 + (rounding == TwiddleRounding::AddHalf ? 0.5 : 0.0);
    return int32_t(scaled); // conversion truncates toward zero
}

} // namespace detail

template <int Order, TwiddleRounding Rounding>
constexpr FixedFftTable<Order> make_fixed_fft_table() {
    using Table = FixedFftTable<Order>;
    Table t{};
    const int n = Table::kLength;
    const int run = Table::kRun;
    for (int k = 1; k <= run; ++k) {
        // The triple angle as 3 times the rounded angle, not as 2 pi 3k / N.
        const double a = turn_angle(k, n);
        const CosSin w = cos_sin_constexpr(k, n);
        t.twiddle[k - 1] = detail::q30(w.c, Rounding);
        t.twiddle[run + k - 1] = detail::q30(cmath::cos(3.0 * a), Rounding);
        t.twiddle[2 * run + k - 1] = detail::q30(w.s, Rounding);
        t.twiddle[3 * run + k - 1] = detail::q30(cmath::sin(3.0 * a), Rounding);
    }
    // Even indices below N/2 either pair up with their reversal or are their own reversal; the
    // exchanges of the other three quarters follow from the pair.
    int p = 0;
    for (int a = 2; a < n / 2; a += 2) {
        const int b = detail::bit_reverse(a, Order);
        if (b > a) {
            t.swap[p++] = uint8_t(a);
            t.swap[p++] = uint8_t(b);
        }
    }
    t.swap[p++] = 0;
    for (int c = 2; c < n / 2; c += 2)
        if (detail::bit_reverse(c, Order) == c)
            t.swap[p++] = uint8_t(c);
    t.swap[p] = 0;
    return t;
}

// The tables of one order with twiddles rounded to nearest: one instance per order for every
// owner (the AAC filter bank's cores, the SBR banks).
template <int Order>
inline constexpr FixedFftTable<Order>
    kFixedFftTable = make_fixed_fft_table<Order, TwiddleRounding::AddHalf>();

// In-place forward FFT of 2^order complex values (order 2..9 with tables of that order). The
// SSE2 kernel and its scalar reference give the same bits: every value is fixed by the wrapping
// integer arithmetic of its butterflies, whatever the order in which they run.
void fixed_fft_sse2(int32_t* pData, int order, const int32_t* pTwiddle, const uint8_t* pSwap);
void fixed_fft_scalar(int32_t* pData, int order, const int32_t* pTwiddle, const uint8_t* pSwap);
// The AVX2 twin (x86-64 only), with the same bits again: four rotations per step, four signed
// 64-bit products per instruction.
void fixed_fft_avx2(int32_t* pData, int order, const int32_t* pTwiddle, const uint8_t* pSwap);

struct FixedFftKernels {
    void (*forward)(int32_t* pData, int order, const int32_t* pTwiddle, const uint8_t* pSwap);
};
inline constexpr FixedFftKernels kFixedFftScalar = {fixed_fft_scalar};
inline constexpr FixedFftKernels kFixedFftSse2 = {fixed_fft_sse2};
#if defined(__x86_64__)
inline constexpr FixedFftKernels kFixedFftAvx2 = {fixed_fft_avx2};
#endif
// The kernels this process runs (cpu.hpp).
const FixedFftKernels& fixed_fft_kernels();

} // namespace zem
