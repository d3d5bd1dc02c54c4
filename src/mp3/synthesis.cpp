// Layer III hybrid synthesis: alias reduction, 36- and 12-point inverse MDCTs with their
// windows, overlap-add and frequency inversion; and the 32-band polyphase synthesis.
#include "zemac.h"

#include <initializer_list>

#include <cmath>

#include "core/checks.hpp"
#include "core/constexpr_math.hpp"
#include "core/fixed.hpp"
#include "tables/mp3_window.hpp"

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

// The 36-point inverse transform folded into 18 sums: with the IMDCT's symmetries,
// y[i] = s[i + 9] for i < 9, y[i] = -s[26 - i] for 9 <= i < 27, y[i] = -s[i - 27] for i >= 27,
// where s[j] = sum_k X[k] cos(pi/72 (2j + 19 + 18) ...). Kept simple: a table of the 36 x 18
// cosines times the window and 1/4 per block type.
struct LongKernels {
    double k[4][36][18]; // block types 0, 1, 3 (index 2 unused)
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

constexpr LongKernels make_long_kernels() {
    LongKernels t{};
    for (int type : {0, 1, 3})
        for (int i = 0; i < 36; ++i)
            for (int k = 0; k < 18; ++k)
                t.k[type][i][k] = 0.25 * long_window(type, i) *
                                  cmath::cos(kPi / 72.0 * (2 * i + 19) * (2 * k + 1));
    return t;
}

struct ShortKernel {
    double k[12][6];
};

constexpr ShortKernel make_short_kernel() {
    ShortKernel t{};
    for (int i = 0; i < 12; ++i)
        for (int k = 0; k < 6; ++k)
            t.k[i][k] = 0.25 * cmath::sin(kPi / 12.0 * (i + 0.5)) *
                        cmath::cos(kPi / 24.0 * (2 * i + 7) * (2 * k + 1));
    return t;
}

constexpr LongKernels kLong = make_long_kernels();
constexpr ShortKernel kShort = make_short_kernel();

int32_t round_sat(double v) {
    const double r = std::nearbyint(v);
    return r >= 2147483647.0    ? 2147483647
           : r <= -2147483648.0 ? int32_t(-2147483647 - 1)
                                : int32_t(r);
}

// Windowed inverse transform of one sub-band's 18 lines into 36 values.
void inverse_subband(const int32_t* X, int32_t* z, int blockType) {
    if (blockType != 2) {
        for (int i = 0; i < 36; ++i) {
            double s = 0.0;
            for (int k = 0; k < 18; ++k)
                s += kLong.k[blockType][i][k] * X[k];
            z[i] = round_sat(s);
        }
        return;
    }
    double y[36] = {};
    for (int w = 0; w < 3; ++w)
        for (int i = 0; i < 12; ++i) {
            double s = 0.0;
            for (int k = 0; k < 6; ++k)
                s += kShort.k[i][k] * X[6 * w + k];
            y[6 + 6 * w + i] += s;
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
// sub-band samples (A[m] = sum_k S[k] cos((2k + 1) m pi / 64)); the 64 matrixing values follow
// from them by symmetry. The window D is in Q30.
struct DctTable {
    int32_t c[32][32]; // Q30
};

constexpr DctTable make_dct() {
    DctTable t{};
    for (int m = 0; m < 32; ++m)
        for (int k = 0; k < 32; ++k)
            t.c[m][k] = int32_t(
                cmath::round_to_int(cmath::cos((2 * k + 1) * m * kPi / 64.0) * 1073741824.0));
    return t;
}

constexpr DctTable kDct = make_dct();

void dct32(const int32_t* s, int32_t* a) {
    for (int m = 0; m < 32; ++m) {
        int64_t acc = 0;
        for (int k = 0; k < 32; ++k)
            acc += int64_t(s[k]) * kDct.c[m][k];
        a[m] = int32_t((acc + (int64_t(1) << 29)) >> 30);
    }
}

// V[j] (j < 32) of a slot from its DCT values, and V[32 + j].
int32_t v_even(const int32_t* a, int j) {
    return j < 16 ? a[16 + j] : j == 16 ? 0 : wrap_neg(a[48 - j]);
}
int32_t v_odd(const int32_t* a, int j) {
    return wrap_neg(j < 16 ? a[16 - j] : j == 16 ? a[0] : a[j - 16]);
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
    for (int j = 0; j < 32; ++j) {
        int32_t sum = 0;
        for (int i = 0; i < 8; ++i) {
            const int32_t* even = pVBuffer + 32 * ((pos + 2 * i) & 15);
            const int32_t* odd = pVBuffer + 32 * ((pos + 2 * i + 1) & 15);
            const int64_t d0 = int64_t(kSynthesisWindow16[64 * i + j]) << 14;
            const int64_t d1 = int64_t(kSynthesisWindow16[64 * i + 32 + j]) << 14;
            sum = wrap_add(sum, hi32(v_even(even, j) * d0));
            sum = wrap_add(sum, hi32(v_odd(odd, j) * d1));
        }
        pDstAudioOut[j * mode] = sat16(int64_t(wrap_add(sum, 64) >> 7));
    }
    return zemStatusOk;
}
