#include "support/fixed_fft_model.hpp"

namespace zemtest {
namespace {

int32_t wrap(int64_t v) { return int32_t(uint32_t(uint64_t(v))); }
int32_t hi(int64_t p) { return int32_t(p >> 32); }

struct C {
    int32_t re, im;
};

void swap_elements(C* x, int a, int b) {
    const C t = x[a];
    x[a] = x[b];
    x[b] = t;
}

} // namespace

void fixed_fft_model(int32_t* data, int order, const int32_t* tw, const uint8_t* swap) {
    C* x = reinterpret_cast<C*>(data);
    const int N = 1 << order, run = N / 8 - 1;
    for (int n = N; n >= 4; n /= 2) {
        const int q = n / 4, e = n / 8, t = N / n;
        int is = 0, id = 2 * n;
        do {
            for (int i0 = is; i0 < N; i0 += id)
                for (int off = 0; off < q; ++off) {
                    const int i = i0 + off;
                    const C x0 = x[i], x1 = x[i + q], x2 = x[i + 2 * q], x3 = x[i + 3 * q];
                    const int64_t ur = int64_t(x0.re) - x2.re, ui = int64_t(x0.im) - x2.im;
                    const int64_t vr = int64_t(x1.re) - x3.re, vi = int64_t(x1.im) - x3.im;
                    const C u{wrap(ur), wrap(ui)}, v{wrap(vr), wrap(vi)};
                    x[i] = {wrap(int64_t(x0.re) + x2.re), wrap(int64_t(x0.im) + x2.im)};
                    x[i + q] = {wrap(int64_t(x1.re) + x3.re), wrap(int64_t(x1.im) + x3.im)};
                    const C z1{wrap(int64_t(u.re) + v.im), wrap(int64_t(u.im) - v.re)};
                    const C z3{wrap(int64_t(u.re) - v.im), wrap(int64_t(u.im) + v.re)};
                    if (off == 0) {
                        x[i + 2 * q] = z1;
                        x[i + 3 * q] = z3;
                    } else if (off == e) {
                        auto M = [](int32_t v) {
                            return hi(int64_t(wrap(2 * int64_t(v))) * 0x5A82799A);
                        };
                        const int32_t p = wrap(int64_t(v.im) - u.re);
                        x[i + 2 * q] = {wrap(int64_t(M(z1.re)) + M(z1.im)),
                                        wrap(int64_t(M(z1.im)) - M(z1.re))};
                        x[i + 3 * q] = {wrap(int64_t(M(p)) + M(z3.im)),
                                        wrap(int64_t(M(p)) - M(z3.im))};
                    } else {
                        const bool mirrored = off > e;
                        const int k = mirrored ? q - off : off;
                        const int64_t C1 = tw[k * t - 1], C3 = tw[run + k * t - 1];
                        const int64_t S1 = tw[2 * run + k * t - 1], S3 = tw[3 * run + k * t - 1];
                        const int64_t A = wrap(4 * int64_t(z1.re)), B = wrap(-4 * int64_t(z1.im));
                        const int64_t D = wrap(4 * int64_t(z3.re)), E = wrap(4 * int64_t(z3.im));
                        if (!mirrored) {
                            x[i + 2 * q] = {hi(C1 * A - S1 * B), hi(-S1 * A - C1 * B)};
                            x[i + 3 * q] = {hi(C3 * D + S3 * E), hi(C3 * E - S3 * D)};
                        } else {
                            x[i + 2 * q] = {hi(S1 * A - C1 * B), hi(-C1 * A - S1 * B)};
                            x[i + 3 * q] = {hi(-S3 * D - C3 * E), hi(C3 * D - S3 * E)};
                        }
                    }
                }
            is = 2 * id - n;
            id *= 4;
        } while (is < N);
    }
    int is = 0, id = 4;
    do {
        for (int i = is; i < N; i += id) {
            const C a = x[i], b = x[i + 1];
            x[i] = {wrap(int64_t(a.re) + b.re), wrap(int64_t(a.im) + b.im)};
            x[i + 1] = {wrap(int64_t(a.re) - b.re), wrap(int64_t(a.im) - b.im)};
        }
        is = 2 * id - 2;
        id *= 4;
    } while (is < N);
    const int half = N / 2;
    const uint8_t* s = swap;
    for (; *s != 0; s += 2) {
        swap_elements(x, s[0], s[1]);
        swap_elements(x, s[0] + 1, s[1] + half);
        swap_elements(x, s[0] + half, s[1] + 1);
        swap_elements(x, s[0] + half + 1, s[1] + half + 1);
    }
    do {
        swap_elements(x, *s + 1, *s + half);
        ++s;
    } while (*s != 0);
}

} // namespace zemtest
