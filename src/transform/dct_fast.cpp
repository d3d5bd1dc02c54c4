// The DCT lengths from 16 that run through a complex DFT. With v[i] = x[2i] and
// v[n-1-i] = x[2i+1] (the even samples forward, the odd ones backward) and V the DFT of v, the
// unnormalised DCT-II is y[k] = Re(e^(-j pi k / 2n) V[k]) and y[n-k] = -Im(e^(-j pi k / 2n) V[k]).
// For even n the real sequence v is transformed as n/2 complex values and split into the DFT of
// its even and odd samples; odd lengths transform v as n complex values. The DCT-III runs the
// same steps transposed. Lengths other than powers of two get their complex DFT of L points
// from a chirp-z convolution: X[k] = c[k] sum_m (x[m] c[m]) conj(c[k-m]),
// c[m] = e^(-j pi m^2 / L), a cyclic convolution of P >= 2L - 1 points.
//
// Two single-precision FFTs of P points would cost the chirp-z lengths about twice the error of
// one FFT of their own size, so while the work buffer holds P complex doubles (P up to 2^15)
// the convolution runs in double precision: an in-place decimation-in-frequency FFT leaves its
// result in bit-reversed order, the filter is stored in that order, and the inverse
// decimation-in-time FFT takes it back to natural order, so no permutation pass is needed.
// The twiddles of that FFT live where the single-precision path keeps its inner FFT record.
// Longer chirp-z lengths convolve with the single-precision FFT.
//
// That double-precision pair is the library's fourth FFT (see fft.hpp): private to the DCT, with
// its twiddles from twiddle.hpp like the others.
#include "transform/dct_fast.hpp"

#include <cmath>
#include <complex>
#include <cstddef>
#include <cstring>
#include <utility>

#include "core/simd.hpp"
#include "core/state.hpp"
#include "transform/fft.hpp"
#include "transform/twiddle.hpp"

namespace zem {
namespace {

using cmath::kPi;
constexpr int32_t kDoubleMaxOrder = 15; // chirp-z convolutions in double up to 2^15 points

template <typename T> struct Complex { T re, im; };
using Cx = Complex<float>;
using CxD = Complex<double>;
template <typename T> inline Complex<T> mul(Complex<T> a, Complex<T> b) {
    return {a.re * b.re - a.im * b.im, a.re * b.im + a.im * b.re};
}
template <typename T> inline Complex<T> conj(Complex<T> a) { return {a.re, -a.im}; }
template <typename T> inline Complex<T> widen(Cx a) { return {T(a.re), T(a.im)}; }

const ZemFftSpec& inner_fft(const ZemDctSpec& s) {
    return *reinterpret_cast<const ZemFftSpec*>(reinterpret_cast<const uint8_t*>(&s) +
                                                kDctHeaderBytes);
}
template <typename T> const T* at(const ZemDctSpec& s, int32_t offset) {
    return reinterpret_cast<const T*>(reinterpret_cast<const uint8_t*>(&s) + offset);
}

int32_t chirp_order(int32_t L) { return log2_ceil(2 * int64_t(L) - 1); }
bool chirp_in_double(const ZemDctSpec& s) { return s.large && chirp_order(s.L) <= kDoubleMaxOrder; }

// Even n = 2L. With t2 = e^(-j pi k / 2n) and t1 = e^(-j 2 pi k / n), the forward step is
// W[k] = a[k] Z[k] + b[k] conj(Z[L-k]), a = t2 (1 - j t1) / 2, b = t2 (1 + j t1) / 2, and
// the inverse builds Z[k] = a[k] u[k] + b[k] r[k] from u = (w[k], -w[n-k]) and
// r = (w[L-k], w[L+k]) with a = conj(t2) (1 + j conj(t1)) / 2 and
// b = conj(t2) e^(-j pi/4) (1 - j conj(t1)) / 2. The coefficient pairs are products formed in
// double precision, so each output sees two roundings of its twiddles instead of four.
struct EvenTwiddle {
    Cx a, b;
};

// y from the DFT Z of the L complex values (v[2m], v[2m+1]), in the precision of Z.
template <typename T> void post_fwd_even(const Complex<T>* Z, float* y, const ZemDctSpec& s) {
    const int32_t L = s.L, n = 2 * L;
    const EvenTwiddle* tw = at<EvenTwiddle>(s, s.twiddleOffset);
    const T ck = s.sqrt2OverN;
    y[0] = float((Z[0].re + Z[0].im) * T(s.invSqrtN));
    y[L] = float((Z[0].re - Z[0].im) * T(0.70710678118654752) * ck);
    for (int32_t k = 1; k < L; ++k) {
        const Complex<T> p = mul(widen<T>(tw[k].a), Z[k]);
        const Complex<T> q = mul(widen<T>(tw[k].b), conj(Z[L - k]));
        y[k] = float((p.re + q.re) * ck);
        y[n - k] = float(-(p.im + q.im) * ck);
    }
}

// The transposed step: from the scaled coefficients w, the L complex values whose inverse DFT
// is (v[2m], v[2m+1]).
template <typename T> void pre_inv_even(const float* w, Complex<T>* Z, const ZemDctSpec& s) {
    const int32_t L = s.L, n = 2 * L;
    const EvenTwiddle* tw = at<EvenTwiddle>(s, s.twiddleOffset);
    // k = 0: V[0] = w[0] and V[L] = w[L] / sqrt(2), both real.
    const T v0 = w[0], vL = T(w[L]) * T(0.70710678118654752);
    Z[0] = {v0 + vL, v0 - vL};
    for (int32_t k = 1; k < L; ++k) {
        const Complex<T> p = mul(widen<T>(tw[k].a), Complex<T>{w[k], -w[n - k]});
        const Complex<T> q = mul(widen<T>(tw[k].b), Complex<T>{w[L - k], w[L + k]});
        Z[k] = {p.re + q.re, p.im + q.im};
    }
}

// Odd n: y from the n-point DFT of v.
template <typename T> void post_fwd_odd(const Complex<T>* V, float* y, const ZemDctSpec& s) {
    const int32_t n = s.n;
    const Cx* t2 = at<Cx>(s, s.twiddleOffset);
    const T ck = s.sqrt2OverN;
    y[0] = float(V[0].re * T(s.invSqrtN));
    for (int32_t k = 1; 2 * k < n; ++k) {
        const Complex<T> w = mul(widen<T>(t2[k]), V[k]);
        y[k] = float(w.re * ck);
        y[n - k] = float(-w.im * ck);
    }
}

// Odd n, inverse: V[k] = e^(j pi k / 2n) (w[k] - j w[n-k]) / 2 (V[0] = w[0]); the real part of
// the inverse DFT of V is the real part of the forward DFT of conj(V). Chirped on the way.
template <typename T> void pre_inv_odd(const float* w, Complex<T>* z, const ZemDctSpec& s) {
    const Cx* t2 = at<Cx>(s, s.twiddleOffset);
    const Cx* c = at<Cx>(s, s.chirpOffset);
    z[0] = mul(Complex<T>{w[0], T(0)}, widen<T>(c[0]));
    for (int32_t k = 1; k < s.n; ++k)
        z[k] = mul(mul(Complex<T>{T(0.5f * w[k]), T(0.5f * w[s.n - k])}, widen<T>(t2[k])),
                   widen<T>(c[k]));
}

// v[j] of the reordered input: the even samples forward, then the odd ones backward.
inline float reordered(const float* x, int32_t n, int32_t j) {
    return 2 * j < n ? x[2 * j] : x[2 * (n - 1 - j) + 1];
}
// Where v[j] goes back to in the inverse.
inline int32_t reordered_index(int32_t n, int32_t j) {
    return 2 * j < n ? 2 * j : 2 * (n - 1 - j) + 1;
}

// ---- chirp-z convolution in double precision ----------------------------------------------

// In place, natural order in, bit-reversed order out; tw[i] = e^(-j 2 pi i / P), i < P/2.
void dif_forward_scalar(double* data, int32_t P, const double* twiddles) {
    CxD* z = reinterpret_cast<CxD*>(data);
    const CxD* tw = reinterpret_cast<const CxD*>(twiddles);
    for (int32_t len = P, stride = 1; len >= 2; len /= 2, stride *= 2) {
        const int32_t half = len / 2;
        for (int32_t b = 0; b < P; b += len)
            for (int32_t k = 0; k < half; ++k) {
                const CxD a = z[b + k], d = z[b + k + half];
                z[b + k] = {a.re + d.re, a.im + d.im};
                z[b + k + half] = mul(CxD{a.re - d.re, a.im - d.im}, tw[k * stride]);
            }
    }
}

// The unscaled inverse: bit-reversed order in, natural order out.
void dit_inverse_scalar(double* data, int32_t P, const double* twiddles) {
    CxD* z = reinterpret_cast<CxD*>(data);
    const CxD* tw = reinterpret_cast<const CxD*>(twiddles);
    for (int32_t len = 2, stride = P / 2; len <= P; len *= 2, stride /= 2) {
        const int32_t half = len / 2;
        for (int32_t b = 0; b < P; b += len)
            for (int32_t k = 0; k < half; ++k) {
                const CxD a = z[b + k], d = mul(z[b + k + half], conj(tw[k * stride]));
                z[b + k] = {a.re + d.re, a.im + d.im};
                z[b + k + half] = {a.re - d.re, a.im - d.im};
            }
    }
}

// x * w (Conj: x * conj(w)) for one complex double per register, with the scalar code's
// products and sums: (xr wr - xi wi, xi wr + xr wi), or (xr wr + xi wi, xi wr - xr wi).
template <bool Conj> inline simd::F64x2 cmul_pd(simd::F64x2 x, simd::F64x2 w) {
    using namespace simd;
    const F64x2 sign = Conj ? set(0.0, -0.0) : set(-0.0, 0.0);
    const F64x2 t1 = x * unpack_lo(w, w);
    const F64x2 t2 = swap(x) * unpack_hi(w, w);
    return t1 + (t2 ^ sign);
}

// The SSE2 pair runs the same radix-2 stages two at a time (a radix-2^2 pass over four
// quarters), with a single radix-2 stage left over for odd orders: the same operations in
// half the passes over the data.
void dif_forward_sse2(double* x, int32_t P, const double* t) {
    using simd::F64x2;
    const auto load = [](const double* p) { return simd::load_aligned(p); };
    const auto store = [](double* p, F64x2 v) { simd::store_aligned(p, v); };
    int32_t len = P, stride = 1;
    for (; len >= 4; len /= 4, stride *= 4) {
        const int32_t q = len / 4;
        for (int32_t b = 0; b < P; b += len)
            for (int32_t k = 0; k < q; ++k) {
                double* p0 = x + 2 * (b + k);
                const F64x2 x0 = load(p0), x1 = load(p0 + 2 * q);
                const F64x2 x2 = load(p0 + 4 * q), x3 = load(p0 + 6 * q);
                const F64x2 w2 = load(t + 4 * k * stride);
                const F64x2 y0 = x0 + x2, y1 = x1 + x3;
                const F64x2 y2 = cmul_pd<false>(x0 - x2, load(t + 2 * k * stride));
                const F64x2 y3 = cmul_pd<false>(x1 - x3, load(t + 2 * (k + q) * stride));
                store(p0, y0 + y1);
                store(p0 + 2 * q, cmul_pd<false>(y0 - y1, w2));
                store(p0 + 4 * q, y2 + y3);
                store(p0 + 6 * q, cmul_pd<false>(y2 - y3, w2));
            }
    }
    if (len == 2)
        for (int32_t b = 0; b < P; b += 2) {
            const F64x2 a = load(x + 2 * b), d = load(x + 2 * b + 2);
            store(x + 2 * b, a + d);
            store(x + 2 * b + 2, cmul_pd<false>(a - d, load(t)));
        }
}

void dit_inverse_sse2(double* x, int32_t P, const double* t) {
    using simd::F64x2;
    const auto load = [](const double* p) { return simd::load_aligned(p); };
    const auto store = [](double* p, F64x2 v) { simd::store_aligned(p, v); };
    int32_t len = 4; // each pass runs the stages of lengths len/2 and len
    if (__builtin_ctz(uint32_t(P)) & 1) {
        for (int32_t b = 0; b < P; b += 2) {
            const F64x2 a = load(x + 2 * b);
            const F64x2 d = cmul_pd<true>(load(x + 2 * b + 2), load(t));
            store(x + 2 * b, a + d);
            store(x + 2 * b + 2, a - d);
        }
        len = 8;
    }
    for (; len <= P; len *= 4) {
        const int32_t q = len / 4, stride = P / len;
        for (int32_t b = 0; b < P; b += len)
            for (int32_t k = 0; k < q; ++k) {
                double* p0 = x + 2 * (b + k);
                const F64x2 w2 = load(t + 4 * k * stride);
                const F64x2 x0 = load(p0), x2 = load(p0 + 4 * q);
                const F64x2 d1 = cmul_pd<true>(load(p0 + 2 * q), w2);
                const F64x2 d3 = cmul_pd<true>(load(p0 + 6 * q), w2);
                const F64x2 y0 = x0 + d1, y1 = x0 - d1;
                const F64x2 y2 = x2 + d3, y3 = x2 - d3;
                const F64x2 e2 = cmul_pd<true>(y2, load(t + 2 * k * stride));
                const F64x2 e3 = cmul_pd<true>(y3, load(t + 2 * (k + q) * stride));
                store(p0, y0 + e2);
                store(p0 + 4 * q, y0 - e2);
                store(p0 + 2 * q, y1 + e3);
                store(p0 + 6 * q, y1 - e3);
            }
    }
}

// z holds a[m] = u[m] c[m] at m < L: zero-pads it to P points and leaves
// c[k] sum_m a[m] conj(c[k-m]) at k < L.
template <typename T> void chirp_convolve(Complex<T>* z, const ZemDctSpec& s, uint8_t* fftWork) {
    const int32_t L = s.L, P = int32_t(1) << chirp_order(L);
    const Cx* H = at<Cx>(s, s.filterOffset);
    const Cx* c = at<Cx>(s, s.chirpOffset);
    std::memset(static_cast<void*>(z + L), 0, sizeof(Complex<T>) * std::size_t(P - L));
    if constexpr (sizeof(T) == sizeof(double)) {
        const double* tw = at<double>(s, kDctHeaderBytes);
        kChirpFftSse2.forward(reinterpret_cast<double*>(z), P, tw);
        for (int32_t k = 0; k < P; ++k)
            z[k] = mul(z[k], widen<double>(H[k]));
        kChirpFftSse2.inverse(reinterpret_cast<double*>(z), P, tw);
    } else {
        fft_in_place(reinterpret_cast<float*>(z), inner_fft(s), false, fftWork);
        for (int32_t k = 0; k < P; ++k)
            z[k] = mul(z[k], H[k]);
        fft_in_place(reinterpret_cast<float*>(z), inner_fft(s), true, fftWork);
    }
    for (int32_t k = 0; k < L; ++k)
        z[k] = mul(z[k], widen<T>(c[k]));
}

template <typename T> void chirp_fwd(const float* x, float* y, const ZemDctSpec& s, uint8_t* work) {
    const int32_t n = s.n, L = s.L, P = int32_t(1) << chirp_order(L);
    const Cx* c = at<Cx>(s, s.chirpOffset);
    Complex<T>* z = reinterpret_cast<Complex<T>*>(work);
    for (int32_t m = 0; m < L; ++m) {
        const Complex<T> u = (n & 1)
                                 ? Complex<T>{reordered(x, n, m), T(0)}
                                 : Complex<T>{reordered(x, n, 2 * m), reordered(x, n, 2 * m + 1)};
        z[m] = mul(u, widen<T>(c[m]));
    }
    chirp_convolve(z, s, work + sizeof(Complex<T>) * int64_t(P));
    if (n & 1)
        post_fwd_odd(z, y, s);
    else
        post_fwd_even(z, y, s);
}

template <typename T> void chirp_inv(const float* w, float* x, const ZemDctSpec& s, uint8_t* work) {
    const int32_t n = s.n, L = s.L, P = int32_t(1) << chirp_order(L);
    const Cx* c = at<Cx>(s, s.chirpOffset);
    Complex<T>* z = reinterpret_cast<Complex<T>*>(work);
    if (n & 1) {
        pre_inv_odd(w, z, s);
    } else {
        pre_inv_even(w, z, s);
        // inverse DFT of Z = conj(DFT(conj Z)).
        for (int32_t m = 0; m < L; ++m)
            z[m] = mul(conj(z[m]), widen<T>(c[m]));
    }
    chirp_convolve(z, s, work + sizeof(Complex<T>) * int64_t(P));
    if (n & 1) {
        for (int32_t k = 0; k < n; ++k)
            x[reordered_index(n, k)] = float(z[k].re);
    } else {
        for (int32_t k = 0; k < L; ++k) {
            x[reordered_index(n, 2 * k)] = float(z[k].re);
            x[reordered_index(n, 2 * k + 1)] = float(-z[k].im);
        }
    }
}

// ---- Init ---------------------------------------------------------------------------------

Cx cx(double re, double im) { return {float(re), float(im)}; }

// Natural order from bit-reversed order (or back), in place on n complex values.
template <typename T> void bit_reverse(Complex<T>* z, int64_t n) {
    for (int64_t i = 1, j = 0; i < n; ++i) {
        int64_t bit = n >> 1;
        for (; j & bit; bit >>= 1)
            j ^= bit;
        j |= bit;
        if (i < j)
            std::swap(z[i], z[j]);
    }
}

// Forward DFT of 2^order values in double precision, in place (radix-2 decimation in time
// after a bit-reversal permutation). Only Init uses it.
void dft_double(CxD* z, int32_t order) {
    const int64_t n = int64_t(1) << order;
    bit_reverse(z, n);
    for (int64_t len = 2; len <= n; len *= 2) {
        const int64_t half = len / 2;
        for (int64_t k = 0; k < half; ++k) {
            const CosSin cs = cos_sin(double(k), double(len));
            const CxD w{cs.c, -cs.s};
            for (int64_t b = k; b < n; b += len) {
                const CxD t = mul(z[b + half], w);
                z[b + half] = {z[b].re - t.re, z[b].im - t.im};
                z[b] = {z[b].re + t.re, z[b].im + t.im};
            }
        }
    }
}

// The chirp at off, and behind it the filter H: the DFT of the conjugate chirp wrapped around
// P points, over P (bit-reversed when the convolution runs in double precision). H is computed
// in double precision and rounded once. Its P/2-point halves (the even outputs from the folded
// sums, the odd ones from the twiddled differences) take turns in H's own 8P bytes, the odd
// half waiting, rounded, in the inner FFT's area, which is filled afterwards.
void init_chirp(ZemDctSpec* s, uint8_t* base, int64_t off) {
    const int32_t L = s->L, order = chirp_order(L);
    const int64_t P = int64_t(1) << order, half = P / 2;
    // The chirp angle pi m^2 / L, as the turn m^2 / 2L reduced by whole turns.
    auto chirp = [L](int64_t m) { return cos_sin(double((m * m) % (2 * int64_t(L))), 2.0 * L); };
    s->chirpOffset = int32_t(off);
    Cx* c = reinterpret_cast<Cx*>(base + off);
    for (int64_t m = 0; m < L; ++m) {
        const CosSin w = chirp(m);
        c[m] = cx(w.c, -w.s);
    }
    s->filterOffset = int32_t(off + 8 * int64_t(L));
    Cx* h = reinterpret_cast<Cx*>(base + s->filterOffset);
    CxD* acc = reinterpret_cast<CxD*>(h);
    Cx* odd = reinterpret_cast<Cx*>(base + kDctHeaderBytes);
    auto filter = [&](int64_t d) {
        const int64_t m = d < L ? d : P - d < L ? P - d : -1;
        if (m < 0)
            return CxD{0.0, 0.0};
        const CosSin w = chirp(m);
        return CxD{w.c, w.s};
    };
    const double invP = 1.0 / double(P);
    for (int64_t d = 0; d < half; ++d) {
        const CxD a = filter(d), b = filter(d + half);
        const CosSin w = cos_sin(double(d), double(P));
        acc[d] = mul(CxD{a.re - b.re, a.im - b.im}, CxD{w.c, -w.s});
    }
    dft_double(acc, order - 1);
    for (int64_t i = 0; i < half; ++i)
        odd[i] = cx(acc[i].re * invP, acc[i].im * invP);
    for (int64_t d = 0; d < half; ++d) {
        const CxD a = filter(d), b = filter(d + half);
        acc[d] = {a.re + b.re, a.im + b.im};
    }
    dft_double(acc, order - 1);
    for (int64_t i = 0; i < half; ++i) { // h[2i] and h[2i + 1] cover the bytes of acc[i]
        const CxD e = acc[i];
        h[2 * i] = cx(e.re * invP, e.im * invP);
        h[2 * i + 1] = odd[i];
    }
    if (chirp_in_double(*s))
        bit_reverse(h, P);
}

} // namespace

const ChirpFftKernels kChirpFftScalar = {dif_forward_scalar, dit_inverse_scalar};
const ChirpFftKernels kChirpFftSse2 = {dif_forward_sse2, dit_inverse_sse2};

ZemStatus dct_init_fast(ZemDctSpec* s, uint8_t* base, uint8_t* pMemInit, bool inverse) {
    const int32_t n = s->n;
    const int32_t L = (n & 1) ? n : n / 2;
    const int32_t order = s->pow2 ? log2_ceil(L) : chirp_order(L);
    s->L = L;
    int64_t off = kDctHeaderBytes + a32(fft_footprint(order));
    s->twiddleOffset = int32_t(off);
    if (n & 1) {
        Cx* t2 = reinterpret_cast<Cx*>(base + off);
        for (int32_t k = 0; k < n; ++k) {
            const CosSin w = cos_sin(k, 4.0 * n); // pi k / (2n)
            t2[k] = cx(w.c, -w.s);
        }
        off += a32(8 * int64_t(L));
    } else {
        EvenTwiddle* tw = reinterpret_cast<EvenTwiddle*>(base + off);
        for (int32_t k = 0; k < L; ++k) {
            using C = std::complex<double>;
            const CosSin w2 = cos_sin(k, 4.0 * n), w1 = cos_sin(k, n); // pi k / (2n), 2 pi k / n
            const C t2(w2.c, -w2.s), t1(w1.c, -w1.s), j(0, 1);
            const C a = inverse ? 0.5 * std::conj(t2) * (1.0 + j * std::conj(t1))
                                : 0.5 * t2 * (1.0 - j * t1);
            const C b = inverse ? 0.5 * std::conj(t2) * std::polar(1.0, -kPi / 4) *
                                      (1.0 - j * std::conj(t1))
                                : 0.5 * t2 * (1.0 + j * t1);
            tw[k] = {cx(a.real(), a.imag()), cx(b.real(), b.imag())};
        }
        off += 16 * int64_t(L);
    }
    if (s->large)
        init_chirp(s, base, off);
    if (chirp_in_double(*s)) {
        // P/2 twiddles of 16 bytes in the 8P bytes an inner FFT record of this order reserves.
        CxD* tw = reinterpret_cast<CxD*>(base + kDctHeaderBytes);
        const int64_t P = int64_t(1) << order;
        for (int64_t i = 0; i < P / 2; ++i) {
            const CosSin w = cos_sin(double(i), double(P));
            tw[i] = {w.c, -w.s};
        }
        return zemStatusOk;
    }
    ZemFftSpec* f = nullptr;
    return fft_init(&f, order, FftNoScale, 0, base + kDctHeaderBytes, pMemInit);
}

float* dct_inverse_copy(const ZemDctSpec& s, uint8_t* work) {
    if (!s.large)
        return reinterpret_cast<float*>(work);
    // Above the complex values built from it (8 or 16 bytes each, P of them).
    const int64_t P = int64_t(1) << chirp_order(s.L);
    return reinterpret_cast<float*>(work) + (chirp_in_double(s) ? 4 : 2) * P - s.n;
}

void dct_fast_fwd(const float* x, float* y, const ZemDctSpec& s, uint8_t* work) {
    if (s.large) {
        (chirp_in_double(s) ? chirp_fwd<double> : chirp_fwd<float>)(x, y, s, work);
        return;
    }
    const int32_t n = s.n;
    float* v = reinterpret_cast<float*>(work);
    for (int32_t j = 0; j < n; ++j)
        v[j] = reordered(x, n, j);
    fft_in_place(v, inner_fft(s), false, work + 4 * int64_t(n));
    post_fwd_even(reinterpret_cast<const Cx*>(v), y, s);
}

void dct_fast_inv(const float* w, float* x, const ZemDctSpec& s, uint8_t* work) {
    if (s.large) {
        (chirp_in_double(s) ? chirp_inv<double> : chirp_inv<float>)(w, x, s, work);
        return;
    }
    const int32_t n = s.n;
    Cx* z = reinterpret_cast<Cx*>(x);
    pre_inv_even(w, z, s);
    fft_in_place(x, inner_fft(s), true, work + 4 * int64_t(n));
    float* v = reinterpret_cast<float*>(work); // w is spent
    std::memcpy(v, x, sizeof(float) * std::size_t(n));
    for (int32_t j = 0; j < n; ++j)
        x[reordered_index(n, j)] = v[j];
}

} // namespace zem
