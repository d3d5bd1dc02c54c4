// Layer III hybrid synthesis: alias reduction, 36- and 12-point inverse MDCTs with their
// windows, overlap-add and frequency inversion; and the 32-band polyphase synthesis.
#include "zemac.h"

#include <initializer_list>

#include "core/checks.hpp"
#include "core/constexpr_math.hpp"
#include "core/fixed.hpp"
#include "core/simd.hpp"
#include "mp3/polyphase_window.hpp"

using namespace zem;
using namespace zem::mp3;

namespace {

using cmath::kPi;

// Alias-reduction butterflies: cs_i = 1 / sqrt(1 + c_i^2), ca_i = c_i / sqrt(1 + c_i^2).
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

constexpr Butterflies kButterflies = make_butterflies();

// The inverse transforms need only half of their outputs: the 36-point one has
// y[17 - i] = -y[i] and y[35 - i] = y[18 + i] (i < 9), the 12-point one s[5 - i] = -s[i] and
// s[11 - i] = s[6 + i] (i < 3). The tables hold the cosines of those outputs and the windows
// with the factor 1/4.
constexpr int kLongRows[18] = {0, 1, 2, 3, 4, 5, 6, 7, 8, 18, 19, 20, 21, 22, 23, 24, 25, 26};
constexpr int kShortRows[6] = {0, 1, 2, 6, 7, 8};

struct Kernels {
    double longCos[18][18]; // [k][row]: two rows side by side for the vector loop
    double shortCos[6][6];
    double window[4][36]; // block types 0, 1, 3 (long), 2 (the short window at 0..11)
};

constexpr double long_window(int type, int i) {
    const double normal = cmath::sin(kPi / 36.0 * (i + 0.5));
    if (type == 1) {
        if (i < 18)
            return normal;
        if (i < 24)
            return 1.0;
        if (i < 30)
            return cmath::sin(kPi / 12.0 * (i - 18 + 0.5));
        return 0.0;
    }
    if (type == 3) {
        if (i < 6)
            return 0.0;
        if (i < 12)
            return cmath::sin(kPi / 12.0 * (i - 6 + 0.5));
        if (i < 18)
            return 1.0;
        return normal;
    }
    return normal;
}

constexpr Kernels make_kernels() {
    Kernels t{};
    for (int r = 0; r < 18; ++r)
        for (int k = 0; k < 18; ++k)
            t.longCos[k][r] = cmath::cos(kPi / 72.0 * (2 * kLongRows[r] + 19) * (2 * k + 1));
    for (int r = 0; r < 6; ++r)
        for (int k = 0; k < 6; ++k)
            t.shortCos[r][k] = cmath::cos(kPi / 24.0 * (2 * kShortRows[r] + 7) * (2 * k + 1));
    for (int type : {0, 1, 3})
        for (int i = 0; i < 36; ++i)
            t.window[type][i] = 0.25 * long_window(type, i);
    for (int i = 0; i < 12; ++i)
        t.window[2][i] = 0.25 * cmath::sin(kPi / 12.0 * (i + 0.5));
    return t;
}

constexpr Kernels kKernels = make_kernels();

// Nearest integer, ties to even, saturated to 32 bits. Adding and removing 1.5 * 2^52 rounds
// in the current (nearest) mode without a library call; larger values saturate anyway.
int32_t round_sat(double v) {
    if (v >= 2147483647.0)
        return 2147483647;
    if (v <= -2147483648.0)
        return int32_t(-2147483647 - 1);
    constexpr double kShifter = 6755399441055744.0;
    return int32_t((v + kShifter) - kShifter);
}

// Windowed inverse transform of one sub-band's 18 lines into 36 values.
void inverse_subband(const int32_t* X, int32_t* z, int blockType) {
    if (blockType != 2) {
        // Two rows at a time, each summed over k in order as a scalar loop would.
        double x[18], rows[18];
        for (int k = 0; k < 18; ++k)
            x[k] = X[k];
        for (int r = 0; r < 18; r += 2) {
            simd::F64x2 acc = simd::splat(0.0);
            for (int k = 0; k < 18; ++k)
                acc = acc + simd::load(&kKernels.longCos[k][r]) * simd::splat(x[k]);
            simd::store(rows + r, acc);
        }
        double y[36];
        for (int r = 0; r < 18; ++r)
            y[kLongRows[r]] = rows[r];
        for (int i = 0; i < 9; ++i) {
            y[17 - i] = -y[i];
            y[35 - i] = y[18 + i];
        }
        const double* w = kKernels.window[blockType];
        for (int i = 0; i < 36; ++i)
            z[i] = round_sat(w[i] * y[i]);
        return;
    }
    double y[36] = {};
    for (int win = 0; win < 3; ++win) {
        double s[12];
        for (int r = 0; r < 6; ++r) {
            double acc = 0.0;
            for (int k = 0; k < 6; ++k)
                acc += kKernels.shortCos[r][k] * X[6 * win + k];
            s[kShortRows[r]] = acc;
        }
        for (int i = 0; i < 3; ++i) {
            s[5 - i] = -s[i];
            s[11 - i] = s[6 + i];
        }
        for (int i = 0; i < 12; ++i)
            y[6 + 6 * win + i] += kKernels.window[2][i] * s[i];
    }
    for (int i = 0; i < 36; ++i)
        z[i] = round_sat(y[i]);
}

void alias_reduce(int32_t* x, int boundary) {
    for (int i = 0; i < 8; ++i) {
        const double a = x[boundary - 1 - i], b = x[boundary + i];
        x[boundary - 1 - i] = round_sat(a * kButterflies.cs[i] - b * kButterflies.ca[i]);
        x[boundary + i] = round_sat(b * kButterflies.cs[i] + a * kButterflies.ca[i]);
    }
}

// Polyphase synthesis. Each time slot keeps the 32 values of a 32-point DCT-II of its
// sub-band samples, A[m] = sum_k S[k] cos((2k + 1) m pi / 64); the 64 matrixing values of the
// standard follow by symmetry (see polyphase_window.cpp).

// Lee's recursive DCT-II in double precision: even outputs from the sums of mirrored inputs,
// odd ones from their scaled differences.
// 1 / (2 cos(pi (2i + 1) / (2n))) at index n / 2 + i, for n = 2, 4, ..., 32.
struct LeeScales {
    double v[32];
};

constexpr LeeScales make_lee_scales() {
    LeeScales t{};
    for (int n = 2; n <= 32; n *= 2)
        for (int i = 0; i < n / 2; ++i)
            t.v[n / 2 + i] = 1.0 / (2.0 * cmath::cos(kPi * (2 * i + 1) / (2.0 * n)));
    return t;
}

constexpr LeeScales kLee = make_lee_scales();

template <int N> void dct_lee(const double* x, double* out) {
    if constexpr (N == 1) {
        out[0] = x[0];
    } else {
        constexpr int kHalf = N / 2;
        double u[kHalf], v[kHalf], a[kHalf], b[kHalf];
        for (int i = 0; i < kHalf; ++i) {
            u[i] = x[i] + x[N - 1 - i];
            v[i] = (x[i] - x[N - 1 - i]) * kLee.v[kHalf + i];
        }
        dct_lee<kHalf>(u, a);
        dct_lee<kHalf>(v, b);
        for (int k = 0; k < kHalf; ++k) {
            out[2 * k] = a[k];
            out[2 * k + 1] = b[k] + (k + 1 < kHalf ? b[k + 1] : 0.0);
        }
    }
}

void dct32(const int32_t* s, int32_t* a) {
    double x[32], y[32];
    for (int k = 0; k < 32; ++k)
        x[k] = s[k];
    dct_lee<32>(x, y);
    for (int m = 0; m < 32; ++m)
        a[m] = round_sat(y[m]);
}

} // namespace

ZEM_API ZemStatus zemsMDCTInvWindow_MP3_32s(const int32_t* pSrc, int32_t* pDst, int32_t blockType) {
    inverse_subband(pSrc, pDst, blockType);
    return zemStatusOk;
}

ZEM_API ZemStatus zemsMDCTInv_MP3_32s(int32_t* pSrcXr, int32_t* pDstY, int32_t* pOverlap,
                                      int32_t nonZeroBound, int32_t* pPrevNumOfImdct,
                                      int32_t blockType, int32_t mixedBlock) {
    if (any_null(pSrcXr, pDstY, pOverlap, pPrevNumOfImdct))
        return zemStatusNullPointer;
    if (nonZeroBound < 0 || nonZeroBound > 576 || blockType < 0 || blockType > 3 ||
        mixedBlock < 0 || mixedBlock > 1)
        return zemStatusBadArgument;
    const int prev = *pPrevNumOfImdct;
    if (prev < 0 || prev > 32)
        return zemStatusBadArgument;
    int n;
    if (blockType == 2) {
        n = (nonZeroBound * 3641 + 61897) >> 16;
        if (mixedBlock && n < 2)
            n = 2;
    } else {
        n = ((nonZeroBound * 3641 + 29128) >> 16) + 1;
    }
    if (n > 32)
        n = 32;
    if (blockType != 2) {
        for (int j = 1; j < n || j == 1; ++j)
            alias_reduce(pSrcXr, 18 * j);
    } else if (mixedBlock && n >= 2) {
        alias_reduce(pSrcXr, 18);
    }
    const int active = n > prev ? n : prev;
    for (int sb = 0; sb < 32; ++sb) {
        int32_t z[36] = {};
        if (sb < n) {
            const int type = blockType == 2 && mixedBlock && sb < 2 ? 0 : blockType;
            inverse_subband(pSrcXr + 18 * sb, z, type);
        }
        int32_t* ov = pOverlap + 18 * sb;
        for (int t = 0; t < 18; ++t) {
            int32_t out = sb < active ? wrap_add(z[t], ov[t]) : 0;
            if (sb < active)
                ov[t] = z[18 + t];
            if ((sb & 1) && (t & 1))
                out = wrap_neg(out);
            pDstY[32 * t + sb] = out;
        }
    }
    *pPrevNumOfImdct = n;
    return zemStatusOk;
}

ZEM_API ZemStatus zemsSynthPQMF_MP3_32s16s(const int32_t* pSrcY, int16_t* pDstAudioOut,
                                           int32_t* pVBuffer, int32_t* pVPosition, int32_t mode) {
    if (any_null(pSrcY, pDstAudioOut, pVBuffer, pVPosition))
        return zemStatusNullPointer;
    if ((mode != 1 && mode != 2) || *pVPosition < 0 || *pVPosition > 15)
        return zemStatusBadArgument;
    const int pos = (*pVPosition + 15) & 15;
    *pVPosition = pos;
    dct32(pSrcY, pVBuffer + 32 * pos);
    int32_t sum[32];
    polyphase_window_sse2(pVBuffer, pos, sum);
    for (int j = 0; j < 32; ++j)
        pDstAudioOut[j * mode] = sat16(int64_t(wrap_add(sum[j], 64) >> 7));
    return zemStatusOk;
}
