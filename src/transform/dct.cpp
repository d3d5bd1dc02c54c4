// DCT-II / DCT-III through the complex FFT. With v[i] = x[2i] and v[n-1-i] = x[2i+1] (the even
// samples forward, the odd ones backward) and V the DFT of v, the unnormalised DCT-II is
// y[k] = Re(e^(-j pi k / 2n) V[k]) and y[n-k] = -Im(e^(-j pi k / 2n) V[k]). For even n the
// real sequence v is transformed as n/2 complex values and split into the DFT of its even and
// odd samples; odd lengths transform v as n complex values. The DCT-III runs the same steps
// transposed. Lengths other than powers of two get their complex DFT of L points from a
// chirp-z convolution: X[k] = c[k] sum_m (x[m] c[m]) conj(c[k-m]), c[m] = e^(-j pi m^2 / L),
// a cyclic convolution of P >= 2L - 1 points done with the power-of-two FFT.
#include "transform/dct.hpp"

#include <cmath>
#include <complex>
#include <cstddef>
#include <cstring>
#include <utility>

#include "core/constexpr_math.hpp"
#include "core/state.hpp"
#include "transform/fft.hpp"

namespace zem {
namespace {

static_assert(sizeof(ZemDctSpec) <= 64);
constexpr int32_t kHeaderBytes = 64; // the inner FFT spec starts here
constexpr int32_t kDirectMax = 46;   // lengths below this that are not powers of two: direct sums
constexpr int64_t kPow2Max = 0x0FFFFFFF;
constexpr int64_t kOtherMax = 0x01FFFFFF;
constexpr double kPi = 3.14159265358979323846;

constexpr bool is_pow2(int64_t n) { return (n & (n - 1)) == 0; }

struct DctSizes {
    bool ok;
    int64_t spec, init, work;
};

// Sizes of the real-input transform of 2^p points (a complex FFT of 2^(p-1) points).
DctSizes real_fft_sizes(int32_t p) {
    if (p <= 4)
        return {true, 116, 0, 0};
    int64_t s = 0, i = 0, w = 0;
    if (p >= 7) {
        const FftCoreSizes c = fft_core_sizes(p - 1);
        s = c.spec;
        w = c.work;
    }
    const int64_t n = int64_t(1) << p;
    s += (p >= 19 ? ((16 * n + 16446) & ~int64_t(63)) : ((4 * n + 62) & ~int64_t(63))) + 128;
    i = p < 11 ? 0 : a32(n + 4) + 32;
    if (w > 0)
        w += 32;
    return {true, s, i, w};
}

// The documented byte counts in 64 bits; lengths whose counts leave int32 are refused.
DctSizes dct_sizes(int64_t n) {
    DctSizes s{};
    if (is_pow2(n) && n <= 8)
        return {true, 100, 0, 0};
    if (is_pow2(n)) {
        if (n > kPow2Max)
            return {};
        s = real_fft_sizes(log2_ceil(n));
        s.spec += 4 * n;
        s.work += 4 * n;
    } else if (n < kDirectMax) {
        s = {true, 16 * n, 0, 4 * n};
    } else {
        if (n > kOtherMax)
            return {};
        const int64_t L = (n & 1) ? n : n / 2;
        int32_t sp = 0, si = 0, sw = 0;
        zemFftGetBufSizes(log2_ceil(2 * L - 1), FftNoScale, 0, &sp, &si, &sw);
        const int64_t P = int64_t(1) << log2_ceil(2 * L - 1);
        s = {true, sp + 8 * (3 * L + P), si > sw ? si : sw, sw + 8 * P};
    }
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
            const float v = float(c * cmath::cos(kPi * (2 * m + 1) * k / (2.0 * N)));
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

// ---- fast paths --------------------------------------------------------------------------

struct Cx {
    float re, im;
};
inline Cx mul(Cx a, Cx b) { return {a.re * b.re - a.im * b.im, a.re * b.im + a.im * b.re}; }
inline Cx conj(Cx a) { return {a.re, -a.im}; }

const ZemFftSpec& inner_fft(const ZemDctSpec& s) {
    return *reinterpret_cast<const ZemFftSpec*>(reinterpret_cast<const uint8_t*>(&s) +
                                                kHeaderBytes);
}
template <typename T> const T* at(const ZemDctSpec& s, int32_t offset) {
    return reinterpret_cast<const T*>(reinterpret_cast<const uint8_t*>(&s) + offset);
}

// Even n = 2L. With t2 = e^(-j pi k / 2n) and t1 = e^(-j 2 pi k / n), the forward step is
// W[k] = a[k] Z[k] + b[k] conj(Z[L-k]), a = t2 (1 - j t1) / 2, b = t2 (1 + j t1) / 2, and
// the inverse builds Z[k] = a[k] u[k] + b[k] r[k] from u = (w[k], -w[n-k]) and
// r = (w[L-k], w[L+k]) with a = conj(t2) (1 + j conj(t1)) / 2 and
// b = conj(t2) e^(-j pi/4) (1 - j conj(t1)) / 2. The coefficient pairs are products formed in
// double precision, so each output sees two roundings of its twiddles instead of four.
struct EvenTwiddle {
    Cx a, b;
};

// y from the DFT Z of the L complex values (v[2m], v[2m+1]).
void post_fwd_even(const Cx* Z, float* y, const ZemDctSpec& s) {
    const int32_t L = s.L, n = 2 * L;
    const EvenTwiddle* tw = at<EvenTwiddle>(s, s.twiddleOffset);
    const float ck = s.sqrt2OverN;
    y[0] = (Z[0].re + Z[0].im) * s.invSqrtN;
    y[L] = (Z[0].re - Z[0].im) * float(0.70710678118654752) * ck;
    for (int32_t k = 1; k < L; ++k) {
        const Cx p = mul(tw[k].a, Z[k]), q = mul(tw[k].b, conj(Z[L - k]));
        y[k] = (p.re + q.re) * ck;
        y[n - k] = -(p.im + q.im) * ck;
    }
}

// The transposed step: from the scaled coefficients w, the L complex values whose inverse DFT
// is (v[2m], v[2m+1]).
void pre_inv_even(const float* w, Cx* Z, const ZemDctSpec& s) {
    const int32_t L = s.L, n = 2 * L;
    const EvenTwiddle* tw = at<EvenTwiddle>(s, s.twiddleOffset);
    // k = 0: V[0] = w[0] and V[L] = w[L] / sqrt(2), both real.
    const float v0 = w[0], vL = w[L] * float(0.70710678118654752);
    Z[0] = {v0 + vL, v0 - vL};
    for (int32_t k = 1; k < L; ++k) {
        const Cx p = mul(tw[k].a, {w[k], -w[n - k]}), q = mul(tw[k].b, {w[L - k], w[L + k]});
        Z[k] = {p.re + q.re, p.im + q.im};
    }
}

// Odd n: y from the n-point DFT of v.
void post_fwd_odd(const Cx* V, float* y, const ZemDctSpec& s) {
    const int32_t n = s.n;
    const Cx* t2 = at<Cx>(s, s.twiddleOffset);
    y[0] = V[0].re * s.invSqrtN;
    for (int32_t k = 1; 2 * k < n; ++k) {
        const Cx w = mul(t2[k], V[k]);
        y[k] = w.re * s.sqrt2OverN;
        y[n - k] = -w.im * s.sqrt2OverN;
    }
}

// Chirp-z convolution in place on P values whose first L hold a[m] = u[m] c[m]: leaves
// sum_m a[m] conj(c[k-m]) at k < L.
void chirp_convolve(Cx* buf, const ZemDctSpec& s, uint8_t* fftWork) {
    const ZemFftSpec& f = inner_fft(s);
    const int32_t P = int32_t(1) << f.order;
    const Cx* H = at<Cx>(s, s.filterOffset);
    fft_in_place(reinterpret_cast<float*>(buf), f, false, fftWork);
    for (int32_t k = 0; k < P; ++k)
        buf[k] = mul(buf[k], H[k]);
    fft_in_place(reinterpret_cast<float*>(buf), f, true, fftWork);
}

void fast_fwd(const float* x, float* y, const ZemDctSpec& s, uint8_t* work) {
    const int32_t n = s.n, L = s.L;
    float* v = reinterpret_cast<float*>(work);
    Cx* z = reinterpret_cast<Cx*>(work);
    // v as floats: the even samples forward, then the odd ones backward.
    const int32_t half = (n + 1) / 2;
    if (n & 1) { // complex values (v, 0)
        for (int32_t i = 0; i < half; ++i)
            z[i] = {x[2 * i], 0.0f};
        for (int32_t i = 0; 2 * i + 1 < n; ++i)
            z[n - 1 - i] = {x[2 * i + 1], 0.0f};
    } else {
        for (int32_t i = 0; i < half; ++i)
            v[i] = x[2 * i];
        for (int32_t i = 0; i < half; ++i)
            v[n - 1 - i] = x[2 * i + 1];
    }
    if (s.pow2) {
        fft_in_place(v, inner_fft(s), false, work + 4 * int64_t(n));
        post_fwd_even(z, y, s);
        return;
    }
    const int32_t P = int32_t(1) << inner_fft(s).order;
    const Cx* c = at<Cx>(s, s.chirpOffset);
    for (int32_t m = 0; m < L; ++m)
        z[m] = mul(z[m], c[m]);
    std::memset(z + L, 0, sizeof(Cx) * std::size_t(P - L));
    chirp_convolve(z, s, work + 8 * int64_t(P));
    for (int32_t k = 0; k < L; ++k)
        z[k] = mul(z[k], c[k]);
    if (n & 1)
        post_fwd_odd(z, y, s);
    else
        post_fwd_even(z, y, s);
}

// The inverse: w is the scaled copy of the input, already in the work buffer (see below).
void fast_inv(const float* w, float* x, const ZemDctSpec& s, uint8_t* work) {
    const int32_t n = s.n, L = s.L, half = (n + 1) / 2;
    if (s.pow2) {
        Cx* z = reinterpret_cast<Cx*>(x);
        pre_inv_even(w, z, s);
        fft_in_place(x, inner_fft(s), true, work + 4 * int64_t(n));
        float* v = reinterpret_cast<float*>(work); // w is spent
        std::memcpy(v, x, sizeof(float) * std::size_t(n));
        for (int32_t i = 0; i < half; ++i) {
            x[2 * i] = v[i];
            x[2 * i + 1] = v[n - 1 - i];
        }
        return;
    }
    const int32_t P = int32_t(1) << inner_fft(s).order;
    const Cx* c = at<Cx>(s, s.chirpOffset);
    Cx* z = reinterpret_cast<Cx*>(work);
    if (n & 1) {
        // V[k] = e^(j pi k / 2n) (w[k] - j w[n-k]) / 2 (V[0] = w[0]); the real part of the
        // inverse DFT of V is the real part of the forward DFT of conj(V).
        const Cx* t2 = at<Cx>(s, s.twiddleOffset);
        z[0] = mul({w[0], 0.0f}, c[0]);
        for (int32_t k = 1; k < n; ++k)
            z[k] = mul(mul({0.5f * w[k], 0.5f * w[n - k]}, t2[k]), c[k]);
    } else {
        pre_inv_even(w, z, s);
        // inverse DFT of Z = conj(DFT(conj Z)).
        for (int32_t m = 0; m < L; ++m)
            z[m] = mul(conj(z[m]), c[m]);
    }
    std::memset(z + L, 0, sizeof(Cx) * std::size_t(P - L));
    chirp_convolve(z, s, work + 8 * int64_t(P));
    float* v = reinterpret_cast<float*>(work);
    if (n & 1) {
        for (int32_t k = 0; k < n; ++k)
            v[k] = mul(z[k], c[k]).re;
    } else {
        for (int32_t k = 0; k < L; ++k) {
            const Cx r = mul(z[k], c[k]);
            v[2 * k] = r.re;
            v[2 * k + 1] = -r.im;
        }
    }
    for (int32_t i = 0; i < half; ++i)
        x[2 * i] = v[i];
    for (int32_t i = 0; 2 * i + 1 < n; ++i)
        x[2 * i + 1] = v[n - 1 - i];
}

// Where the inverse keeps its scaled copy of the input: at the start of the work buffer, or,
// for the chirp-z lengths, at the top of the P-point buffer, above the L values built from it.
float* inverse_copy(const ZemDctSpec& s, uint8_t* work) {
    if (!s.large)
        return reinterpret_cast<float*>(work);
    const int64_t P = int64_t(1) << inner_fft(s).order;
    return reinterpret_cast<float*>(work) + 2 * P - s.n;
}

// ---- Init -----------------------------------------------------------------------------

Cx cx(double re, double im) { return {float(re), float(im)}; }

// Forward DFT of 2^order values in double precision, split arrays, in place (radix-2 decimation
// in time after a bit-reversal permutation). Only Init uses it.
void dft_double(double* re, double* im, int32_t order) {
    const int64_t n = int64_t(1) << order;
    for (int64_t i = 1, j = 0; i < n; ++i) {
        int64_t bit = n >> 1;
        for (; j & bit; bit >>= 1)
            j ^= bit;
        j |= bit;
        if (i < j) {
            std::swap(re[i], re[j]);
            std::swap(im[i], im[j]);
        }
    }
    for (int64_t len = 2; len <= n; len *= 2) {
        const int64_t half = len / 2;
        for (int64_t k = 0; k < half; ++k) {
            const double wr = std::cos(2.0 * kPi * double(k) / double(len));
            const double wi = -std::sin(2.0 * kPi * double(k) / double(len));
            for (int64_t b = k; b < n; b += len) {
                const double xr = re[b + half] * wr - im[b + half] * wi;
                const double xi = re[b + half] * wi + im[b + half] * wr;
                re[b + half] = re[b] - xr;
                im[b + half] = im[b] - xi;
                re[b] += xr;
                im[b] += xi;
            }
        }
    }
}

ZemStatus init_fast(ZemDctSpec* s, uint8_t* base, uint8_t* pMemInit, bool inverse) {
    const int32_t n = s->n;
    const int32_t L = (n & 1) ? n : n / 2;
    const int32_t order = log2_ceil(s->pow2 ? L : 2 * int64_t(L) - 1);
    s->L = L;
    ZemFftSpec* f = nullptr;
    if (const ZemStatus st = zemFftInit(&f, order, FftNoScale, 0, base + kHeaderBytes, pMemInit);
        st != zemStatusOk)
        return st;
    int64_t off = kHeaderBytes + a32(fft_footprint(order));
    s->twiddleOffset = int32_t(off);
    if (n & 1) {
        Cx* t2 = reinterpret_cast<Cx*>(base + off);
        for (int32_t k = 0; k < n; ++k)
            t2[k] = cx(std::cos(kPi * k / (2.0 * n)), -std::sin(kPi * k / (2.0 * n)));
        off += a32(8 * int64_t(L));
    } else {
        EvenTwiddle* tw = reinterpret_cast<EvenTwiddle*>(base + off);
        for (int32_t k = 0; k < L; ++k) {
            using C = std::complex<double>;
            const double a2 = kPi * k / (2.0 * n), a1 = 2.0 * kPi * k / n;
            const C t2(std::cos(a2), -std::sin(a2)), t1(std::cos(a1), -std::sin(a1)), j(0, 1);
            const C a = inverse ? 0.5 * std::conj(t2) * (1.0 + j * std::conj(t1))
                                : 0.5 * t2 * (1.0 - j * t1);
            const C b = inverse ? 0.5 * std::conj(t2) * std::polar(1.0, -kPi / 4) *
                                      (1.0 - j * std::conj(t1))
                                : 0.5 * t2 * (1.0 + j * t1);
            tw[k] = {cx(a.real(), a.imag()), cx(b.real(), b.imag())};
        }
        off += 16 * int64_t(L);
    }
    if (s->pow2)
        return zemStatusOk;
    const int64_t P = int64_t(1) << order;
    s->chirpOffset = int32_t(off);
    Cx* c = reinterpret_cast<Cx*>(base + off);
    off += 8 * int64_t(L);
    s->filterOffset = int32_t(off);
    Cx* h = reinterpret_cast<Cx*>(base + off);
    for (int64_t m = 0; m < L; ++m) {
        const double a = kPi * double((m * m) % (2 * int64_t(L))) / double(L);
        c[m] = cx(std::cos(a), -std::sin(a));
    }
    // The filter is transformed in double precision (real parts where H will be, imaginary parts
    // in the init scratch) and rounded once.
    double* re = reinterpret_cast<double*>(h);
    double* im = reinterpret_cast<double*>(align_up<32>(pMemInit));
    for (int64_t d = 0; d < P; ++d) {
        const int64_t m = d < L ? d : P - d < L ? P - d : -1;
        const double a = m < 0 ? 0.0 : kPi * double((m * m) % (2 * int64_t(L))) / double(L);
        re[d] = m < 0 ? 0.0 : std::cos(a);
        im[d] = m < 0 ? 0.0 : std::sin(a);
    }
    dft_double(re, im, order);
    const double invP = 1.0 / double(P);
    for (int64_t k = 0; k < P; ++k) {
        const double r = re[k] * invP, i = im[k] * invP;
        h[k] = cx(r, i); // h[k] covers the bytes of re[k] only
    }
    return zemStatusOk;
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
    if (large && pMemInit == nullptr) // the chirp filter is transformed in the init scratch
        return zemStatusNullPointer;
    uint8_t* base = align_up<32>(pMemSpec);
    auto* s = reinterpret_cast<ZemDctSpec*>(base);
    std::memset(s, 0, kHeaderBytes);
    s->n = n;
    s->hint = hint;
    s->invSqrtN = fft_inv_sqrt(float(n));
    s->sqrt2OverN = float(1.4142135623730951 / std::sqrt(double(n)));
    s->small = pow2 && n <= 8;
    s->pow2 = pow2 && n > 8;
    s->large = large;
    s->workSize = s->small ? 0 : int32_t(sizes.work - 32);
    if (!pow2 && !large) {
        float* t = reinterpret_cast<float*>(base + kHeaderBytes);
        for (int32_t m = 0; m < 4 * n; ++m)
            t[m] = float(std::cos(2.0 * kPi * m / (4.0 * n)));
        s->cosTable = t;
    } else if (!s->small) {
        if (const ZemStatus st = init_fast(s, base, pMemInit, tag == kDctTagInv); st != zemStatusOk)
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
    void* owned = nullptr;
    if (pWorkBuf == nullptr) {
        owned = zemAllocBytes(std::ptrdiff_t(s.workSize) + 32);
        if (owned == nullptr)
            return zemStatusNoMemory;
        pWorkBuf = static_cast<uint8_t*>(owned);
    }
    uint8_t* work = align_up<32>(pWorkBuf);
    if (Inverse) {
        // The coefficients scaled by their orthonormal factors, then the plain cosine sums.
        float* w = inverse_copy(s, work);
        std::memmove(w, pSrc, sizeof(float) * std::size_t(s.n));
        zemScaleVector_32f(s.invSqrtN, w, 1);
        if (s.n > 1)
            zemScaleVector_32f(s.sqrt2OverN, w + 1, s.n - 1);
        if (s.cosTable != nullptr)
            direct_inv(w, pDst, s);
        else
            fast_inv(w, pDst, s, work);
    } else if (s.cosTable != nullptr) {
        direct_fwd(pSrc, pDst, s, reinterpret_cast<float*>(work));
    } else {
        fast_fwd(pSrc, pDst, s, work);
    }
    zemRelease(owned);
    return zemStatusOk;
}

} // namespace

ZemStatus zemDctGetBufSizes(int32_t n, int32_t, int32_t* pSizeSpec, int32_t* pSizeInit,
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

ZemStatus zemDctFwdInit(ZemDctSpec** ppSpec, int32_t n, int32_t hint, uint8_t* pMemSpec,
                        uint8_t* pMemInit) {
    return init_common(ppSpec, n, hint, pMemSpec, pMemInit, kDctTagFwd);
}

ZemStatus zemDctInvInit(ZemDctSpec** ppSpec, int32_t n, int32_t hint, uint8_t* pMemSpec,
                        uint8_t* pMemInit) {
    return init_common(ppSpec, n, hint, pMemSpec, pMemInit, kDctTagInv);
}

ZemStatus zemDctFwd(const float* pSrc, float* pDst, const ZemDctSpec* pSpec, uint8_t* pWorkBuf) {
    return dct_run<false>(pSrc, pDst, pSpec, pWorkBuf);
}

ZemStatus zemDctInv(const float* pSrc, float* pDst, const ZemDctSpec* pSpec, uint8_t* pWorkBuf) {
    return dct_run<true>(pSrc, pDst, pSpec, pWorkBuf);
}

} // namespace zem
