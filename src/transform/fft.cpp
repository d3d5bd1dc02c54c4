// Complex FFT: radix-2 decimation in frequency in place, then the bit-reversal permutation.
// Butterfly of half-length h: (a, b) -> (a + b, (a - b) * e^(-j*pi*i/h)), i = 0..h-1; the
// inverse uses the conjugate twiddles. Scaling, when the spec asks for it, is one pass of
// zemScaleVector_32f over the result.
#include "transform/fft.hpp"

#include <emmintrin.h>

#include <cmath>
#include <cstddef>
#include <cstring>

#include "core/state.hpp"

namespace zem {
namespace {

constexpr int32_t kHeaderBytes = 96; // header reserved in front of the tables (32-byte multiple)
static_assert(sizeof(ZemFftSpec) <= kHeaderBytes);
static_assert(sizeof(ZemFftSpec) + 31 <= 116); // orders 0..5 keep only the header

constexpr int32_t kSmallMaxOrder = 5;
constexpr int32_t kTableMaxOrder = 15;

// sin and cos of x in [0, pi) by their Taylor series around pi/2 or 0 (enough terms for
// double precision); only used to build the constant twiddles of the small orders.
constexpr double taylor_sin(double x) {
    double term = x, sum = x;
    for (int k = 1; k < 30; ++k) {
        term *= -x * x / ((2 * k) * (2 * k + 1));
        sum += term;
    }
    return sum;
}
constexpr double kPi = 3.14159265358979323846;
constexpr double const_sin(double x) { return x > kPi / 2 ? taylor_sin(kPi - x) : taylor_sin(x); }
constexpr double const_cos(double x) {
    return x > kPi / 2 ? -taylor_sin(x - kPi / 2) : taylor_sin(kPi / 2 - x);
}

// Runs h = 1, 2, 4, 8, 16 at complex entries h..2h-1; entry 0 unused.
struct BuiltinTwiddles {
    alignas(16) float v[64];
};
constexpr BuiltinTwiddles make_builtin() {
    BuiltinTwiddles t{};
    for (int h = 1; h <= 16; h *= 2)
        for (int i = 0; i < h; ++i) {
            const double theta = kPi * i / h;
            t.v[2 * (h + i)] = float(const_cos(theta));
            t.v[2 * (h + i) + 1] = float(-const_sin(theta));
        }
    return t;
}
constexpr BuiltinTwiddles kBuiltin = make_builtin();

constexpr bool valid_mode(int32_t m) {
    return m == FftScaleFwdByN || m == FftScaleInvByN || m == FftScaleBySqrtN || m == FftNoScale;
}

constexpr int64_t a32(int64_t x) { return (x + 31) & ~int64_t(31); }

// Spec and work bytes of the large-order plan before the final slack.
struct LargeSizes {
    int64_t spec, work;
};
constexpr LargeSizes large_sizes(int32_t m) {
    const int32_t a = m <= 18 ? 4 : m <= 21 ? 6 : 8;
    const int32_t w = m == 16 ? 9 : m <= 18 ? 10 : m <= 21 ? 13 : 14;
    const int32_t b = m - a;
    LargeSizes s{};
    if (b < 16) {
        s.spec = a32(8 * (int64_t(1) << b) + 8);
        s.work = a32(8 * (int64_t(1) << b));
    } else {
        s = large_sizes(b);
    }
    s.spec += 4 * (int64_t(1) << m);
    s.work = s.work > 8 * (int64_t(1) << w) ? s.work : 8 * (int64_t(1) << w);
    if (m == 16) {
        s.spec += a32((int64_t(1) << m) + 4);
    } else {
        s.spec += (int64_t(1) << (m - 10)) + 4128;
        s.work = s.work > 65536 ? s.work : 65536;
    }
    return s;
}

struct Sizes {
    int32_t spec, init, work;
};
Sizes fft_sizes(int32_t order) {
    const int64_t n = int64_t(1) << order;
    if (order <= kSmallMaxOrder)
        return {116, 0, 0};
    if (order <= kTableMaxOrder)
        return {int32_t(a32(8 * n + 8) + a32(n + 4) + 128), order <= 10 ? 0 : int32_t(n + 64),
                int32_t(8 * n + 32)};
    const LargeSizes s = large_sizes(order);
    return {int32_t(s.spec + 128), int32_t(n + 64), int32_t(s.work + 32)};
}

// Work bytes stored in the spec (the query adds 32 of alignment slack).
int32_t spec_work_bytes(int32_t order) {
    if (order <= kSmallMaxOrder)
        return 0;
    if (order <= kTableMaxOrder)
        return int32_t(a32(8 * (int64_t(1) << order)));
    return int32_t(large_sizes(order).work);
}

// r * (N*r*r - 3) * -0.5 with r the processor's reciprocal-square-root estimate of N.
float inv_sqrt_refined(float n) {
    const float r = _mm_cvtss_f32(_mm_rsqrt_ss(_mm_set_ss(n)));
    return r * (n * r * r - 3.0f) * -0.5f;
}

uint32_t reverse_bits(uint32_t v, int32_t bits) {
    v = ((v >> 1) & 0x55555555u) | ((v & 0x55555555u) << 1);
    v = ((v >> 2) & 0x33333333u) | ((v & 0x33333333u) << 2);
    v = ((v >> 4) & 0x0F0F0F0Fu) | ((v & 0x0F0F0F0Fu) << 4);
    v = __builtin_bswap32(v);
    return bits == 0 ? 0 : v >> (32 - bits);
}

// Twiddles of the stage with half-length h: tw[2*i*step], tw[2*i*step + 1], i < h.
struct Run {
    const float* tw;
    std::size_t step;
};
Run twiddle_run(const ZemFftSpec& s, std::size_t h) {
    if (s.order <= kSmallMaxOrder)
        return {kBuiltin.v + 2 * h, 1};
    if (s.twiddleStrided)
        return {s.twiddle, (std::size_t(1) << s.order) / (2 * h)};
    return {s.twiddle + 2 * h, 1};
}

// Natural order from bit-reversed order, in place on n complex values (as float pairs or one
// array of floats each for split data, Stride 2 or 1).
template <int Stride> void bit_reverse(float* x, const ZemFftSpec& s) {
    const int32_t order = s.order;
    if (order < 2)
        return;
    const std::size_t n = std::size_t(1) << order;
    auto swap = [x](std::size_t i, std::size_t r) {
        for (int c = 0; c < Stride; ++c) {
            const float t = x[Stride * i + c];
            x[Stride * i + c] = x[Stride * r + c];
            x[Stride * r + c] = t;
        }
    };
    if (s.bitRev != nullptr) {
        // i = 4j + low: reverse(i) = reverse2(low) << (order - 2) | reverse_{order-2}(j).
        const std::size_t quarter = n / 4;
        for (std::size_t j = 0; j < quarter; ++j) {
            const std::size_t rj = std::size_t(s.bitRev[j]) >> 1;
            for (std::size_t low = 0; low < 4; ++low) {
                const std::size_t i = 4 * j + low;
                const std::size_t r = ((((low & 1) << 1) | (low >> 1)) * quarter) | rj;
                if (i < r)
                    swap(i, r);
            }
        }
        return;
    }
    for (std::size_t i = 0; i < n; ++i) {
        const std::size_t r = reverse_bits(uint32_t(i), order);
        if (i < r)
            swap(i, r);
    }
}

// ---- scalar reference ------------------------------------------------------------------

// Data access for interleaved (re, im pairs) and split (two arrays) layouts.
struct Interleaved {
    float* p;
    float& re(std::size_t i) const { return p[2 * i]; }
    float& im(std::size_t i) const { return p[2 * i + 1]; }
};
struct Split {
    float* r;
    float* m;
    float& re(std::size_t i) const { return r[i]; }
    float& im(std::size_t i) const { return m[i]; }
};

template <bool Inverse, typename Data> void dif_scalar(Data x, const ZemFftSpec& s) {
    const std::size_t n = std::size_t(1) << s.order;
    for (std::size_t h = n / 2; h >= 2; h /= 2) {
        const Run run = twiddle_run(s, h);
        for (std::size_t blk = 0; blk < n; blk += 2 * h)
            for (std::size_t i = 0; i < h; ++i) {
                const std::size_t p = blk + i, q = p + h;
                const float ar = x.re(p), ai = x.im(p), br = x.re(q), bi = x.im(q);
                x.re(p) = ar + br;
                x.im(p) = ai + bi;
                const float dr = ar - br, di = ai - bi;
                const float wr = run.tw[2 * i * run.step], wi = run.tw[2 * i * run.step + 1];
                if (Inverse) {
                    x.re(q) = dr * wr + di * wi;
                    x.im(q) = di * wr - dr * wi;
                } else {
                    x.re(q) = dr * wr - di * wi;
                    x.im(q) = di * wr + dr * wi;
                }
            }
    }
    if (n >= 2)
        for (std::size_t p = 0; p < n; p += 2) {
            const float ar = x.re(p), ai = x.im(p), br = x.re(p + 1), bi = x.im(p + 1);
            x.re(p) = ar + br;
            x.im(p) = ai + bi;
            x.re(p + 1) = ar - br;
            x.im(p + 1) = ai - bi;
        }
}

template <bool Inverse> void fft_scalar(float* data, const ZemFftSpec& s) {
    dif_scalar<Inverse>(Interleaved{data}, s);
    bit_reverse<2>(data, s);
}

// ---- SSE2: two complex values per register ----------------------------------------------

// d * w for two complex values (conj(w) for the inverse), the same operations as the scalar
// reference: re = dr*wr - di*wi, im = di*wr + dr*wi.
template <bool Inverse> inline __m128 cmul(__m128 d, __m128 w) {
    const __m128 wr = _mm_shuffle_ps(w, w, _MM_SHUFFLE(2, 2, 0, 0));
    const __m128 wi = _mm_shuffle_ps(w, w, _MM_SHUFFLE(3, 3, 1, 1));
    const __m128 ds = _mm_shuffle_ps(d, d, _MM_SHUFFLE(2, 3, 0, 1)); // (di, dr, ...)
    const __m128 t1 = _mm_mul_ps(d, wr);                              // (dr wr, di wr)
    const __m128 t2 = _mm_mul_ps(ds, wi);                             // (di wi, dr wi)
    if (Inverse)
        return _mm_add_ps(t1, _mm_xor_ps(t2, _mm_castsi128_ps(_mm_set_epi32(INT32_MIN, 0, INT32_MIN, 0))));
    return _mm_add_ps(t1, _mm_xor_ps(t2, _mm_castsi128_ps(_mm_set_epi32(0, INT32_MIN, 0, INT32_MIN))));
}

template <bool Inverse> void fft_sse2(float* x, const ZemFftSpec& s) {
    const std::size_t n = std::size_t(1) << s.order;
    for (std::size_t h = n / 2; h >= 2; h /= 2) {
        const Run run = twiddle_run(s, h);
        for (std::size_t blk = 0; blk < n; blk += 2 * h) {
            float* a = x + 2 * blk;
            float* b = a + 2 * h;
            for (std::size_t i = 0; i < h; i += 2) {
                const __m128 va = _mm_loadu_ps(a + 2 * i), vb = _mm_loadu_ps(b + 2 * i);
                _mm_storeu_ps(a + 2 * i, _mm_add_ps(va, vb));
                __m128 w;
                if (run.step == 1) {
                    w = _mm_load_ps(run.tw + 2 * i);
                } else {
                    const float* t0 = run.tw + 2 * i * run.step;
                    w = _mm_loadh_pi(_mm_castpd_ps(_mm_load_sd(reinterpret_cast<const double*>(t0))),
                                     reinterpret_cast<const __m64*>(t0 + 2 * run.step));
                }
                _mm_storeu_ps(b + 2 * i, cmul<Inverse>(_mm_sub_ps(va, vb), w));
            }
        }
    }
    if (n >= 2) {
        const __m128 negHigh = _mm_castsi128_ps(_mm_set_epi32(INT32_MIN, INT32_MIN, 0, 0));
        for (std::size_t p = 0; p < n; p += 2) {
            const __m128 v = _mm_loadu_ps(x + 2 * p);
            const __m128 lo = _mm_movelh_ps(v, v), hi = _mm_movehl_ps(v, v);
            _mm_storeu_ps(x + 2 * p, _mm_add_ps(lo, _mm_xor_ps(hi, negHigh)));
        }
    }
    bit_reverse<2>(x, s);
}

ZemStatus init_common(ZemFftSpec** ppSpec, int32_t order, int32_t scalingMode, int32_t hint,
                      uint8_t* pMemSpec, uint8_t* pMemInit, int32_t tag) {
    if (ppSpec == nullptr)
        return zemStatusNullPointer;
    if (order < 0 || order > kFftMaxOrder)
        return zemStatusBadOrder;
    if (pMemSpec == nullptr)
        return zemStatusNullPointer;
    uint8_t* base = align_up<32>(pMemSpec);
    auto* s = reinterpret_cast<ZemFftSpec*>(base);
    std::memset(s, 0, sizeof(ZemFftSpec));
    s->order = order;
    s->hint = hint;
    if (!valid_mode(scalingMode))
        return zemStatusBadFlag;
    if (order >= 11 && pMemInit == nullptr)
        return zemStatusNullPointer;
    const int64_t n = int64_t(1) << order;
    s->scaleFwd = scalingMode == FftScaleFwdByN || scalingMode == FftScaleBySqrtN;
    s->scaleInv = scalingMode == FftScaleInvByN || scalingMode == FftScaleBySqrtN;
    if (scalingMode == FftScaleFwdByN || scalingMode == FftScaleInvByN)
        s->scale = 1.0f / float(n);
    else if (scalingMode == FftScaleBySqrtN)
        s->scale = inv_sqrt_refined(float(n));
    s->workSize = spec_work_bytes(order);
    if (order > kSmallMaxOrder) {
        float* tw = reinterpret_cast<float*>(base + kHeaderBytes);
        s->twiddle = tw;
        if (order <= kTableMaxOrder) {
            // Every run h = 1 .. N/2 at entries h .. 2h-1.
            for (int64_t h = 1; h < n; h *= 2)
                for (int64_t i = 0; i < h; ++i) {
                    const double theta = kPi * double(i) / double(h);
                    tw[2 * (h + i)] = float(std::cos(theta));
                    tw[2 * (h + i) + 1] = float(-std::sin(theta));
                }
            tw[0] = tw[1] = 0.0f;
            auto* rev = reinterpret_cast<int32_t*>(base + kHeaderBytes + a32(8 * n + 8));
            for (int64_t j = 0; j < n / 4; ++j)
                rev[j] = int32_t(2 * reverse_bits(uint32_t(j), order - 2));
            rev[n / 4] = 0;
            s->bitRev = rev;
        } else {
            // Only the run of the first stage, e^(-j*2*pi*i/N), i < N/2.
            const double step = 2.0 * kPi / double(n);
            for (int64_t i = 0; i < n / 2; ++i) {
                tw[2 * i] = float(std::cos(step * double(i)));
                tw[2 * i + 1] = float(-std::sin(step * double(i)));
            }
            s->twiddleStrided = 1;
        }
    }
    s->tag = tag;
    *ppSpec = s;
    return zemStatusOk;
}

// Runs the transform on dst after copying src there; allocates the work area when the spec
// has one and the caller gave none (the kernels themselves work in place).
template <typename Body>
ZemStatus with_work(const ZemFftSpec* s, uint8_t* pWorkBuf, Body body) {
    void* owned = nullptr;
    if (s->workSize > 0 && pWorkBuf == nullptr) {
        owned = zemAllocBytes(s->workSize + 32);
        if (owned == nullptr)
            return zemStatusNoMemory;
    }
    body();
    zemRelease(owned);
    return zemStatusOk;
}

template <bool Inverse>
ZemStatus fft_interleaved(const Zem32fc* pSrc, Zem32fc* pDst, const ZemFftSpec* pSpec,
                          uint8_t* pWorkBuf) {
    if (pSpec == nullptr)
        return zemStatusNullPointer;
    if (pSpec->tag != kFftTagInterleaved)
        return zemStatusContextMismatch;
    if (pSrc == nullptr || pDst == nullptr)
        return zemStatusNullPointer;
    return with_work(pSpec, pWorkBuf, [&] {
        const std::size_t n = std::size_t(1) << pSpec->order;
        if (pSrc != pDst)
            std::memmove(pDst, pSrc, n * sizeof(Zem32fc));
        float* x = reinterpret_cast<float*>(pDst);
        if (Inverse)
            kFftSse2.inverse(x, *pSpec);
        else
            kFftSse2.forward(x, *pSpec);
        if (Inverse ? pSpec->scaleInv : pSpec->scaleFwd)
            zemScaleVector_32f(pSpec->scale, x, int32_t(2 * n));
    });
}

} // namespace

const FftKernels kFftScalar = {fft_scalar<false>, fft_scalar<true>};
const FftKernels kFftSse2 = {fft_sse2<false>, fft_sse2<true>};

const float* fft_builtin_twiddles() { return kBuiltin.v; }

FftCoreSizes fft_core_sizes(int32_t order) {
    const int64_t n = int64_t(1) << order;
    if (order <= kTableMaxOrder)
        return {a32(8 * n + 8) + a32(n + 4), a32(8 * n)};
    const LargeSizes s = large_sizes(order);
    return {s.spec, s.work};
}

int64_t fft_footprint(int32_t order) {
    const int64_t n = int64_t(1) << order;
    if (order <= kSmallMaxOrder)
        return sizeof(ZemFftSpec);
    if (order <= kTableMaxOrder)
        return kHeaderBytes + a32(8 * n + 8) + n + 4;
    return kHeaderBytes + 4 * n;
}

void fft_in_place(float* data, const ZemFftSpec& spec, bool inverse, uint8_t*) {
    if (inverse)
        kFftSse2.inverse(data, spec);
    else
        kFftSse2.forward(data, spec);
}

float fft_inv_sqrt(float n) { return inv_sqrt_refined(n); }

ZemStatus zemFftGetBufSizes(int32_t order, int32_t scalingMode, int32_t, int32_t* pSizeSpec,
                            int32_t* pSizeInit, int32_t* pSizeWork) {
    if (order < 0 || order > 30)
        return zemStatusBadOrder;
    if (pSizeSpec == nullptr || pSizeInit == nullptr || pSizeWork == nullptr)
        return zemStatusNullPointer;
    if (!valid_mode(scalingMode))
        return zemStatusBadFlag;
    if (order > kFftMaxOrder)
        return zemStatusBadOrder;
    const Sizes s = fft_sizes(order);
    *pSizeSpec = s.spec;
    *pSizeInit = s.init;
    *pSizeWork = s.work;
    return zemStatusOk;
}

ZemStatus zemFftInit(ZemFftSpec** ppSpec, int32_t order, int32_t scalingMode, int32_t hint,
                     uint8_t* pMemSpec, uint8_t* pMemInit) {
    return init_common(ppSpec, order, scalingMode, hint, pMemSpec, pMemInit, kFftTagInterleaved);
}

ZemStatus zemFftInitSplit(ZemFftSpec** ppSpec, int32_t order, int32_t scalingMode, int32_t hint,
                          uint8_t* pMemSpec, uint8_t* pMemInit) {
    return init_common(ppSpec, order, scalingMode, hint, pMemSpec, pMemInit, kFftTagSplit);
}

ZemStatus zemFftInitAlloc(ZemFftSpec** ppSpec, int32_t order, int32_t scalingMode, int32_t hint) {
    if (ppSpec == nullptr)
        return zemStatusNullPointer;
    int32_t sizeSpec = 0, sizeInit = 0, sizeWork = 0;
    if (const ZemStatus st =
            zemFftGetBufSizes(order, scalingMode, hint, &sizeSpec, &sizeInit, &sizeWork);
        st != zemStatusOk)
        return st;
    auto* mem = static_cast<uint8_t*>(zemAllocBytes(sizeSpec));
    if (mem == nullptr)
        return zemStatusNoMemory;
    uint8_t* init = nullptr;
    if (sizeInit > 0) {
        init = static_cast<uint8_t*>(zemAllocBytes(sizeInit));
        if (init == nullptr) {
            zemRelease(mem);
            return zemStatusNoMemory;
        }
    }
    ZemFftSpec* spec = nullptr;
    const ZemStatus st = zemFftInit(&spec, order, scalingMode, hint, mem, init);
    zemRelease(init);
    if (st != zemStatusOk) {
        zemRelease(mem);
        return st;
    }
    spec->allocated = 1;
    spec->blockOffset = int32_t(reinterpret_cast<uint8_t*>(spec) - mem);
    *ppSpec = spec;
    return zemStatusOk;
}

ZemStatus zemFftFree(ZemFftSpec* pSpec) {
    if (pSpec == nullptr)
        return zemStatusNullPointer;
    if (pSpec->tag != kFftTagInterleaved)
        return zemStatusContextMismatch;
    pSpec->tag = 0;
    if (pSpec->allocated == 1)
        zemRelease(reinterpret_cast<uint8_t*>(pSpec) - pSpec->blockOffset);
    return zemStatusOk;
}

ZemStatus zemFftGetWorkSize(const ZemFftSpec* pSpec, int32_t* pSize) {
    if (pSpec == nullptr || pSize == nullptr)
        return zemStatusNullPointer;
    if (pSpec->tag != kFftTagInterleaved)
        return zemStatusContextMismatch;
    *pSize = pSpec->workSize > 0 ? pSpec->workSize + 32 : 0;
    return zemStatusOk;
}

ZemStatus zemFftFwd(const Zem32fc* pSrc, Zem32fc* pDst, const ZemFftSpec* pSpec,
                    uint8_t* pWorkBuf) {
    return fft_interleaved<false>(pSrc, pDst, pSpec, pWorkBuf);
}

ZemStatus zemFftInv(const Zem32fc* pSrc, Zem32fc* pDst, const ZemFftSpec* pSpec,
                    uint8_t* pWorkBuf) {
    return fft_interleaved<true>(pSrc, pDst, pSpec, pWorkBuf);
}

ZemStatus zemFftFwdSplit(const float* pSrcRe, const float* pSrcIm, float* pDstRe, float* pDstIm,
                         const ZemFftSpec* pSpec, uint8_t* pWorkBuf) {
    if (pSpec == nullptr)
        return zemStatusNullPointer;
    if (pSpec->tag != kFftTagSplit)
        return zemStatusContextMismatch;
    if (pSrcRe == nullptr || pSrcIm == nullptr || pDstRe == nullptr || pDstIm == nullptr)
        return zemStatusNullPointer;
    return with_work(pSpec, pWorkBuf, [&] {
        const std::size_t n = std::size_t(1) << pSpec->order;
        if (pSrcRe != pDstRe)
            std::memmove(pDstRe, pSrcRe, n * sizeof(float));
        if (pSrcIm != pDstIm)
            std::memmove(pDstIm, pSrcIm, n * sizeof(float));
        dif_scalar<false>(Split{pDstRe, pDstIm}, *pSpec);
        bit_reverse<1>(pDstRe, *pSpec);
        bit_reverse<1>(pDstIm, *pSpec);
        if (pSpec->scaleFwd) {
            zemScaleVector_32f(pSpec->scale, pDstRe, int32_t(n));
            zemScaleVector_32f(pSpec->scale, pDstIm, int32_t(n));
        }
    });
}

ZemStatus zemScaleVector_32f(float factor, float* pData, int32_t len) {
    if (pData == nullptr)
        return zemStatusNullPointer;
    if (len < 1)
        return zemStatusBadSize;
    if (factor == 1.0f)
        return zemStatusOk;
    if (factor == 0.0f)
        return zemZeroWords(pData, len); // a byte count would overflow 32 bits for long vectors
    int32_t i = 0;
    for (; i < len && (reinterpret_cast<std::uintptr_t>(pData + i) & 15) != 0; ++i)
        pData[i] *= factor;
    const __m128 f = _mm_set1_ps(factor);
    const bool prefetch = len > 0x20000;
    for (; i + 4 <= len; i += 4) {
        if (prefetch)
            _mm_prefetch(reinterpret_cast<const char*>(pData + i + 256), _MM_HINT_NTA);
        _mm_store_ps(pData + i, _mm_mul_ps(_mm_load_ps(pData + i), f));
    }
    for (; i < len; ++i)
        pData[i] *= factor;
    return zemStatusOk;
}

} // namespace zem
