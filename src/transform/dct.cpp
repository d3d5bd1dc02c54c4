// DCT-II / DCT-III of any length: the record and its byte counts, the straight-line kernels of
// 1, 2, 4 and 8 points, the folded direct sums below 46, and the entry points. The paths
// through a complex DFT are in dct_fast.cpp.
#include "transform/dct.hpp"

#include <cmath>
#include <cstddef>
#include <cstring>

#include "core/constexpr_math.hpp"
#include "core/state.hpp"
#include "transform/dct_fast.hpp"
#include "transform/fft.hpp"
#include "transform/spec_lifecycle.hpp"
#include "transform/twiddle.hpp"

namespace zem {
namespace {

static_assert(sizeof(ZemDctSpec) <= 64);
constexpr int32_t kDirectMax = 46; // lengths below this that are not powers of two: direct sums
constexpr int64_t kPow2Max = 0x0FFFFFFF;
constexpr int64_t kOtherMax = 0x01FFFFFF;

constexpr bool is_pow2(int64_t n) { return (n & (n - 1)) == 0; }

struct DctSizes {
    bool ok;
    int64_t spec, init, work;
};

// Sizes of the real-input transform of 2^p points (a complex FFT of 2^(p-1) points).
DctSizes real_fft_sizes(int32_t p) {
    if (p <= 4) // as the record of a complex FFT of order 0..5: a header only
        return {true, 116, 0, 0};
    int64_t s = 0, i = 0, w = 0;
    if (p >= 7) {
        const FftCoreSizes c = fft_core_sizes(p - 1);
        s = c.spec;
        w = c.work;
    }
    // 4n is a multiple of 64 here, so the roundings leave 4n (a float per point) and, from
    // p = 19 on, 16n + 16384 (16446 = 16384 + 62); 128 bytes of header and alignment follow.
    const int64_t n = int64_t(1) << p;
    s += (p >= 19 ? ((16 * n + 16446) & ~int64_t(63)) : ((4 * n + 62) & ~int64_t(63))) + 128;
    i = p < 11 ? 0 : a32(n + 4) + 32; // the quarter-wave sine table, n/4 + 1 floats, aligned
    if (w > 0)
        w += 32;
    return {true, s, i, w};
}

// The documented byte counts in 64 bits; lengths whose counts leave int32 are refused.
DctSizes dct_sizes(int64_t n) {
    DctSizes s{};
    if (is_pow2(n) && n <= 8) // the record alone: the small kernels need no tables
        return {true, 100, 0, 0};
    if (is_pow2(n)) {
        if (n > kPow2Max)
            return {};
        s = real_fft_sizes(log2_ceil(n));
        s.spec += 4 * n; // a float per point in the record and in the work buffer
        s.work += 4 * n;
    } else if (n < kDirectMax) {
        s = {true, 16 * n, 0, 4 * n}; // the 4n-float cosine table; the scaled input
    } else {
        if (n > kOtherMax)
            return {};
        const int64_t L = (n & 1) ? n : n / 2;
        int32_t sp = 0, si = 0, sw = 0;
        fft_get_buf_sizes(log2_ceil(2 * L - 1), FftNoScale, 0, &sp, &si, &sw);
        const int64_t P = int64_t(1) << log2_ceil(2 * L - 1);
        // 8 bytes per complex float: three L-point tables and the P-point chirp filter.
        s = {true, sp + 8 * (3 * L + P), si > sw ? si : sw, sw + 8 * P};
    }
    // The record header, and 32 bytes by which each caller's block may be rounded up.
    s.spec += 128;
    if (s.init > 0)
        s.init += 32;
    s.work += 32;
    if (s.spec > INT32_MAX || s.init > INT32_MAX || s.work > INT32_MAX)
        return {};
    return s;
}

// ---- straight-line kernels of 1, 2, 4 and 8 points ------------------------------------------

// y[2k] = sum_m s[m] even[k][m] and y[2k+1] = sum_m d[m] odd[k][m] with s[m] = x[m] + x[N-1-m],
// d[m] = x[m] - x[N-1-m]; the orthonormal factors are folded into the matrices.
template <int N> struct SmallMatrices {
    float even[N / 2][N / 2];
    float odd[N / 2][N / 2];
};
template <int N> constexpr SmallMatrices<N> make_small() {
    SmallMatrices<N> t{};
    for (int k = 0; k < N; ++k) {
        const double c = k == 0 ? 1.0 / cmath::sqrt(double(N)) : cmath::sqrt(2.0 / N);
        for (int m = 0; m < N / 2; ++m) {
            const float v = float(c * cos_sin_constexpr((2 * m + 1) * k, 4.0 * N).c);
            (k % 2 == 0 ? t.even[k / 2][m] : t.odd[k / 2][m]) = v;
        }
    }
    return t;
}
constexpr SmallMatrices<4> kSmall4 = make_small<4>();
constexpr SmallMatrices<8> kSmall8 = make_small<8>();

template <int N> void small_fwd(const float* x, float* y, const SmallMatrices<N>& t) {
    float s[N / 2], d[N / 2];
    for (int m = 0; m < N / 2; ++m) {
        s[m] = x[m] + x[N - 1 - m];
        d[m] = x[m] - x[N - 1 - m];
    }
    for (int k = 0; k < N / 2; ++k) {
        float e = 0.0f, o = 0.0f;
        for (int m = 0; m < N / 2; ++m) {
            e += s[m] * t.even[k][m];
            o += d[m] * t.odd[k][m];
        }
        y[2 * k] = e;
        y[2 * k + 1] = o;
    }
}

template <int N> void small_inv(const float* w, float* x, const SmallMatrices<N>& t) {
    float e[N / 2] = {}, o[N / 2] = {};
    for (int k = 0; k < N / 2; ++k)
        for (int m = 0; m < N / 2; ++m) {
            e[m] += w[2 * k] * t.even[k][m];
            o[m] += w[2 * k + 1] * t.odd[k][m];
        }
    for (int m = 0; m < N / 2; ++m) {
        x[m] = e[m] + o[m];
        x[N - 1 - m] = e[m] - o[m];
    }
}

void small_dct(const float* src, float* dst, int32_t n, bool inverse) {
    constexpr float kHalfSqrt2 = 0.70710677f;
    switch (n) {
    case 1:
        dst[0] = src[0];
        return;
    case 2: { // the same matrix both ways
        const float a = src[0], b = src[1];
        dst[0] = (a + b) * kHalfSqrt2;
        dst[1] = (a - b) * kHalfSqrt2;
        return;
    }
    case 4:
        inverse ? small_inv<4>(src, dst, kSmall4) : small_fwd<4>(src, dst, kSmall4);
        return;
    default:
        inverse ? small_inv<8>(src, dst, kSmall8) : small_fwd<8>(src, dst, kSmall8);
        return;
    }
}

// ---- direct sums (lengths below 46 that are not powers of two) ------------------------------

// cos(pi (2m+1) k / 2n) = table[(2m+1) k mod 4n]. Mirrored samples share the cosine of even k
// and negate it for odd k, so the sums run over h = n/2 folded values (plus the middle sample
// of odd n, whose cosine vanishes for odd k).
void direct_fwd(const float* x, float* y, const ZemDctSpec& s, float* fold) {
    const int32_t n = s.n, h = n / 2, four = 4 * n;
    const float* t = s.cosTable;
    for (int32_t m = 0; m < h; ++m) {
        fold[m] = x[m] + x[n - 1 - m];
        fold[h + m] = x[m] - x[n - 1 - m];
    }
    const float mid = (n & 1) ? x[h] : 0.0f;
    for (int32_t k = 0; k < n; ++k) {
        const float* f = (k & 1) ? fold + h : fold;
        float acc = 0.0f;
        int32_t idx = k % four;
        const int32_t step = (2 * k) % four;
        for (int32_t m = 0; m < h; ++m) {
            acc += f[m] * t[idx];
            idx += step;
            if (idx >= four)
                idx -= four;
        }
        if ((n & 1) && !(k & 1))
            acc += mid * t[(n * k) % four];
        y[k] = acc;
    }
    y[0] *= s.invSqrtN;
    for (int32_t k = 1; k < n; ++k)
        y[k] *= s.sqrt2OverN;
}

void direct_inv(const float* w, float* x, const ZemDctSpec& s) {
    const int32_t n = s.n, h = n / 2, four = 4 * n;
    const float* t = s.cosTable;
    for (int32_t m = 0; m < h; ++m) {
        float e = 0.0f, o = 0.0f;
        const int32_t base = 2 * m + 1;
        int32_t idx = 0;
        for (int32_t k = 0; k < n; ++k) {
            (k & 1 ? o : e) += w[k] * t[idx];
            idx += base;
            if (idx >= four)
                idx -= four;
        }
        x[m] = e + o;
        x[n - 1 - m] = e - o;
    }
    if (n & 1) {
        float e = 0.0f;
        for (int32_t k = 0; k < n; k += 2)
            e += w[k] * t[(n * k) % four];
        x[h] = e;
    }
}

ZemStatus init_common(ZemDctSpec** ppSpec, int32_t n, int32_t hint, uint8_t* pMemSpec,
                      uint8_t* pMemInit, int32_t tag) {
    if (n < 1)
        return zemStatusBadSize;
    if (ppSpec == nullptr || pMemSpec == nullptr)
        return zemStatusNullPointer;
    const DctSizes sizes = dct_sizes(n);
    if (!sizes.ok)
        return zemStatusBadSize;
    const bool pow2 = is_pow2(n);
    const bool large = !pow2 && n >= kDirectMax;
    if (large && pMemInit == nullptr) // every chirp-z length is given init scratch by the query
        return zemStatusNullPointer;
    uint8_t* base = align_up<32>(pMemSpec);
    auto* s = reinterpret_cast<ZemDctSpec*>(base);
    std::memset(s, 0, kDctHeaderBytes);
    s->n = n;
    s->hint = hint;
    s->invSqrtN = fft_inv_sqrt(float(n));
    s->sqrt2OverN = float(1.4142135623730951 / std::sqrt(double(n)));
    s->small = pow2 && n <= 8;
    s->pow2 = pow2 && n > 8;
    s->large = large;
    s->workSize = s->small ? 0 : int32_t(sizes.work - 32);
    if (!pow2 && !large) {
        float* t = reinterpret_cast<float*>(base + kDctHeaderBytes);
        for (int32_t m = 0; m < 4 * n; ++m)
            t[m] = float(cos_sin(m, 4.0 * n).c);
        s->cosTable = t;
    } else if (!s->small) {
        if (const ZemStatus st = dct_init_fast(s, base, pMemInit, tag == kDctTagInv);
            st != zemStatusOk)
            return st;
    }
    s->tag = tag;
    *ppSpec = s;
    return zemStatusOk;
}

template <bool Inverse>
ZemStatus dct_run(const float* pSrc, float* pDst, const ZemDctSpec* pSpec, uint8_t* pWorkBuf) {
    if (pSpec == nullptr || pSrc == nullptr || pDst == nullptr)
        return zemStatusNullPointer;
    if (pSpec->tag != (Inverse ? kDctTagInv : kDctTagFwd))
        return zemStatusContextMismatch;
    const ZemDctSpec& s = *pSpec;
    if (s.small) {
        small_dct(pSrc, pDst, s.n, Inverse);
        return zemStatusOk;
    }
    const WorkBuffer buffer(pWorkBuf, int64_t(s.workSize) + 32);
    if (buffer.failed())
        return zemStatusNoMemory;
    uint8_t* work = buffer.get();
    if (Inverse) {
        // The coefficients scaled by their orthonormal factors, then the plain cosine sums.
        float* w = dct_inverse_copy(s, work);
        std::memmove(w, pSrc, sizeof(float) * std::size_t(s.n));
        scale_vector_32f(s.invSqrtN, w, 1);
        if (s.n > 1)
            scale_vector_32f(s.sqrt2OverN, w + 1, s.n - 1);
        if (s.cosTable != nullptr)
            direct_inv(w, pDst, s);
        else
            dct_fast_inv(w, pDst, s, work);
    } else if (s.cosTable != nullptr) {
        direct_fwd(pSrc, pDst, s, reinterpret_cast<float*>(work));
    } else {
        dct_fast_fwd(pSrc, pDst, s, work);
    }
    return zemStatusOk;
}

} // namespace

ZemStatus dct_get_buf_sizes(int32_t n, int32_t, int32_t* pSizeSpec, int32_t* pSizeInit,
                            int32_t* pSizeWork) {
    if (n < 1)
        return zemStatusBadSize;
    if (pSizeSpec == nullptr || pSizeInit == nullptr || pSizeWork == nullptr)
        return zemStatusNullPointer;
    const DctSizes s = dct_sizes(n);
    if (!s.ok)
        return zemStatusBadSize;
    *pSizeSpec = int32_t(s.spec);
    *pSizeInit = int32_t(s.init);
    *pSizeWork = int32_t(s.work);
    return zemStatusOk;
}

ZemStatus dct_fwd_init(ZemDctSpec** ppSpec, int32_t n, int32_t hint, uint8_t* pMemSpec,
                       uint8_t* pMemInit) {
    return init_common(ppSpec, n, hint, pMemSpec, pMemInit, kDctTagFwd);
}

ZemStatus dct_inv_init(ZemDctSpec** ppSpec, int32_t n, int32_t hint, uint8_t* pMemSpec,
                       uint8_t* pMemInit) {
    return init_common(ppSpec, n, hint, pMemSpec, pMemInit, kDctTagInv);
}

ZemStatus dct_fwd(const float* pSrc, float* pDst, const ZemDctSpec* pSpec, uint8_t* pWorkBuf) {
    return dct_run<false>(pSrc, pDst, pSpec, pWorkBuf);
}

ZemStatus dct_inv(const float* pSrc, float* pDst, const ZemDctSpec* pSpec, uint8_t* pWorkBuf) {
    return dct_run<true>(pSrc, pDst, pSpec, pWorkBuf);
}

} // namespace zem
