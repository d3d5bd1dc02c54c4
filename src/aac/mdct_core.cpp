#include "aac/mdct_core.hpp"

#include <cstdlib>

#include "aac/filterbank_tables.hpp"
#include "core/fixed.hpp"
#include "transform/fixed_fft.hpp"

namespace zem::aac {

namespace {

struct CoreTables {
    const int32_t* cs; // (C[m], S[m]) pairs
    int order;         // FFT of 2^order = N/2 points
    const int32_t* fftTwiddle;
    const uint8_t* fftSwap;
};

CoreTables tables_for(int N) {
    if (N == 1024)
        return {kTwiddlesLong.cs, 9, kFftLong.twiddle, kFftLong.swap};
    return {kTwiddlesShort.cs, 6, kFftShort.twiddle, kFftShort.swap};
}

// Steps shared by the inverse cores: pre-twiddle Z[m] = hi((C + jS)-rotation of (X[2m],
// X[N-1-2m])). Z[m] lands on X[2m], X[2m+1]; m and M-1-m touch the same four slots, so they go
// together.
void inverse_pre_twiddle(int32_t* X, int N, const int32_t* cs) {
    const int M = N / 2;
    for (int m = 0; m < M / 2; ++m) {
        const int m2 = M - 1 - m;
        const int64_t a1 = X[2 * m], b1 = X[N - 1 - 2 * m];
        const int64_t a2 = X[2 * m2], b2 = X[N - 1 - 2 * m2];
        const int64_t c1 = cs[2 * m], s1 = cs[2 * m + 1];
        const int64_t c2 = cs[2 * m2], s2 = cs[2 * m2 + 1];
        X[2 * m] = hi32(c1 * a1 + s1 * b1);
        X[2 * m + 1] = hi32(c1 * b1 - s1 * a1);
        X[2 * m2] = hi32(c2 * a2 + s2 * b2);
        X[2 * m2 + 1] = hi32(c2 * b2 - s2 * a2);
    }
}

// Shift s that brings the 64-bit sum of magnitudes below 2^29, applied with rounding.
int normalise(int32_t* X, int N) {
    int64_t sum = 0;
    for (int i = 0; i < N; ++i)
        sum += std::llabs(int64_t(X[i]));
    int s = 0;
    while ((sum >> s) >= 0x20000000)
        ++s;
    if (s > 0)
        for (int i = 0; i < N; ++i)
            X[i] = int32_t((int64_t(X[i]) + (int64_t(1) << (s - 1))) >> s);
    return s;
}

// Rounding of the post-twiddle products by r more bits than hi(): r >= 1 rounds, r <= 0 keeps
// the low 32 bits of P >> (32 + r). Adding the half before one shift by 32 + r gives the same
// value as rounding hi(P) by r (nested floors), and the 64-bit sum cannot overflow.
struct PostScale {
    int64_t half;
    int shift;
    explicit PostScale(int r) : half(r >= 1 ? int64_t(1) << (31 + r) : 0), shift(32 + r) {}
    int32_t operator()(int64_t p) const { return int32_t(uint32_t(uint64_t((p + half) >> shift))); }
};

struct PlainScale {
    int32_t operator()(int64_t p) const { return hi32(p); }
};

// Post-twiddle of the inverse cores: A = C Re Y + S Im Y, B = C Im Y - S Re Y, scattered into
// the compact output order. The four m of one i (i, M-1-i, Q-1-i, Q+i) read and write the same
// eight slots; in the order Q+i, i, M-1-i, Q-1-i each write lands on a value already read, and
// few values are live at a time.
template <typename Scale> void inverse_post_twiddle(int32_t* X, int N, const int32_t* cs, Scale R) {
    const int M = N / 2, Q = N / 4;
    auto rotate = [&](int m, int64_t re, int64_t im, int32_t& a, int32_t& b) {
        const int64_t c = cs[2 * m], s = cs[2 * m + 1];
        a = R(c * re + s * im);
        b = R(c * im - s * re);
    };
    for (int i = 0; i < N / 8; ++i) {
        int32_t a, b;
        const int64_t re0 = X[2 * i];
        rotate(Q + i, X[M + 2 * i], X[M + 1 + 2 * i], a, b);
        X[2 * i] = a;
        X[M + 2 * i] = b;
        const int64_t im0 = X[2 * i + 1], im1 = X[N - 1 - 2 * i], im2 = X[M - 1 - 2 * i];
        rotate(i, re0, im0, a, b);
        X[N - 1 - 2 * i] = wrap_neg(a);
        X[M - 1 - 2 * i] = wrap_neg(b);
        const int64_t re2 = X[M - 2 - 2 * i];
        rotate(M - 1 - i, X[N - 2 - 2 * i], im1, a, b);
        X[M - 2 - 2 * i] = a;
        X[N - 2 - 2 * i] = b;
        rotate(Q - 1 - i, re2, im2, a, b);
        X[M + 1 + 2 * i] = wrap_neg(a);
        X[2 * i + 1] = wrap_neg(b);
    }
}

// In-place reversal of x[first..last] (inclusive) with the given stride.
void reverse(int32_t* x, int first, int last, int stride) {
    while (first < last) {
        const int32_t t = x[first];
        x[first] = x[last];
        x[last] = t;
        first += stride;
        last -= stride;
    }
}

// Rotation and folding of 2N windowed samples into u[0..N), in place in x[0..N).
// With v[n] = -x[n + 3N/2] (n < N/2), x[n - N/2] (n >= N/2), the fold pairs v[k] with
// v[2N-1-k]: d[k] = v[k] - v[2N-1-k], and u[i] = d[i] for even i, d[N-i] for odd i.
void fold(int32_t* x, int N) {
    const int H = N / 2;
    // d[k], k in [H, N): reads x[k-H] and x[3H-1-k] in [H, 2H); lands on x[k-H].
    for (int k = H; k < N; ++k)
        x[k - H] = wrap_sub(x[k - H], x[3 * H - 1 - k]);
    // d[k], k in [0, H): reads x[k+3H] and x[3H-1-k] in [2H, 4H); lands on x[k+H].
    for (int k = 0; k < H; ++k)
        x[k + H] = wrap_sub(wrap_neg(x[k + 3 * H]), x[3 * H - 1 - k]);
    // Now d[k] sits at x[(k + H) mod N]: rotate by H to put d[k] at x[k].
    reverse(x, 0, H - 1, 1);
    reverse(x, H, N - 1, 1);
    reverse(x, 0, N - 1, 1);
    // u[i] = d[N-i] for odd i: the odd entries in reverse order.
    reverse(x, 1, N - 1, 2);
}

// Pre-twiddle of the forward cores: Z[m] = (C a + S b, C b - S a) for the pair (a, b) at m.
template <typename Scale> void forward_pre_twiddle(int32_t* x, int N, const int32_t* cs, Scale R) {
    for (int m = 0; m < N / 2; ++m) {
        const int64_t c = cs[2 * m], s = cs[2 * m + 1];
        const int64_t a = x[2 * m], b = x[2 * m + 1];
        x[2 * m] = R(c * a + s * b);
        x[2 * m + 1] = R(c * b - s * a);
    }
}

template <typename Scale> void forward_post_twiddle(int32_t* X, int N, const int32_t* cs, Scale R) {
    for (int i = 0; i < N / 4; ++i) {
        const int j = N / 2 - 1 - i;
        const int64_t ci = cs[2 * i], si = cs[2 * i + 1], cj = cs[2 * j], sj = cs[2 * j + 1];
        const int64_t rei = X[2 * i], imi = X[2 * i + 1], rej = X[2 * j], imj = X[2 * j + 1];
        X[2 * i] = R(ci * rei + si * imi);
        X[N - 1 - 2 * i] = R(si * rei - ci * imi);
        X[2 * i + 1] = R(sj * rej - cj * imj);
        X[N - 2 - 2 * i] = R(cj * rej + sj * imj);
    }
}

// Truncating shift by 29 of the plain forward core.
struct ForwardScale {
    int32_t operator()(int64_t p) const { return int32_t(uint32_t(uint64_t(p >> 29))); }
};

} // namespace

void aac_imdct_norm_32s(int32_t* X, int N) {
    const CoreTables t = tables_for(N);
    inverse_pre_twiddle(X, N, t.cs);
    const int s = normalise(X, N);
    kFixedFftSse2.forward(X, t.order, t.fftTwiddle, t.fftSwap);
    inverse_post_twiddle(X, N, t.cs, PostScale(t.order - s - 3));
}

void aac_imdct_32s(int32_t* X, int N) {
    const CoreTables t = tables_for(N);
    inverse_pre_twiddle(X, N, t.cs);
    kFixedFftSse2.forward(X, t.order, t.fftTwiddle, t.fftSwap);
    inverse_post_twiddle(X, N, t.cs, PlainScale{});
}

void aac_mdct_32s(int32_t* x, int N) {
    const CoreTables t = tables_for(N);
    fold(x, N);
    forward_pre_twiddle(x, N, t.cs, [](int64_t p) { return int32_t((p + (1 << 29)) >> 30); });
    kFixedFftSse2.forward(x, t.order, t.fftTwiddle, t.fftSwap);
    forward_post_twiddle(x, N, t.cs, ForwardScale{});
}

void aac_mdct_norm_32s(int32_t* x, int N) {
    const CoreTables t = tables_for(N);
    fold(x, N);
    forward_pre_twiddle(x, N, t.cs, PlainScale{});
    const int s = normalise(x, N);
    kFixedFftSse2.forward(x, t.order, t.fftTwiddle, t.fftSwap);
    forward_post_twiddle(x, N, t.cs, PostScale(t.order - s - 3));
}

} // namespace zem::aac
