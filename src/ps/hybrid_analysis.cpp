#include "core/checks.hpp"
#include "core/simd.hpp"
#include "ps/hybrid.hpp"
#include "transform/twiddle.hpp"
#include "zemac.h"

namespace zem::ps {
namespace {

// g(0..6) of the five prototypes (g(12 - n) = g(n)).
constexpr float kPrototype[5][7] = {
    {0.0f, 0.018994875f, 0.0f, -0.072931394f, 0.0f, 0.30596632f, 0.5f},
    {-0.059082113f, -0.048714984f, 0.0f, 0.077787243f, 0.16486304f, 0.23279856f, 0.25f},
    {0.0074608293f, 0.02270421f, 0.045468658f, 0.072661139f, 0.098851085f, 0.1179371f, 0.125f},
    {0.015656756f, 0.037527163f, 0.054178912f, 0.084170438f, 0.10307344f, 0.12222452f, 0.125f},
    {0.04081180f, 0.038128112f, 0.051449083f, 0.063998312f, 0.074283138f, 0.08100348f,
     0.083333336f}};
constexpr int32_t kBands[5] = {2, 4, 8, 8, 12};

constexpr HybridConfig make_config(int32_t c) {
    HybridConfig h{};
    h.bands = kBands[c];
    h.real = c == 0;
    h.centre = kPrototype[c][6];
    for (int32_t m = 1; m <= 6; ++m) {
        const double g = kPrototype[c][6 - m];
        if (g == 0.0)
            continue;
        const int32_t t = h.taps++;
        h.tap[t] = m;
        for (int32_t q = 0; q < h.bands; ++q) {
            // phi_q m in turns: q m / 2 (real), (2q + 1) m / (2Q) (complex).
            const CosSin r = h.real ? cos_sin_constexpr(q * m, 2)
                                    : cos_sin_constexpr((2 * q + 1) * m, 2 * h.bands);
            h.a[q][t] = float(g * r.c);
            h.b[q][t] = h.real ? 0.0f : float(g * r.s);
        }
    }
    return h;
}

constexpr HybridConfig kConfigs[5] = {make_config(0), make_config(1), make_config(2),
                                      make_config(3), make_config(4)};

void filter_scalar(const float* x, float* y, const HybridConfig& c) {
    for (int32_t k = 0; k < 32; ++k) {
        const float* centre = x + 2 * (k + 6);
        float s[6][2], d[6][2];
        for (int32_t t = 0; t < c.taps; ++t) {
            const float* lo = centre - 2 * c.tap[t];
            const float* hi = centre + 2 * c.tap[t];
            s[t][0] = lo[0] + hi[0];
            s[t][1] = lo[1] + hi[1];
            d[t][0] = lo[0] - hi[0];
            d[t][1] = lo[1] - hi[1];
        }
        float* row = y + 24 * k;
        for (int32_t q = 0; q < c.bands; ++q) {
            float re = c.centre * centre[0], im = c.centre * centre[1];
            for (int32_t t = 0; t < c.taps; ++t) {
                re = re + c.a[q][t] * s[t][0];
                im = im + c.a[q][t] * s[t][1];
                if (!c.real) {
                    re = re + c.b[q][t] * -d[t][1];
                    im = im + c.b[q][t] * d[t][0];
                }
            }
            row[2 * q] = re;
            row[2 * q + 1] = im;
        }
    }
}

void filter_sse2(const float* x, float* y, const HybridConfig& c) {
    using namespace simd;
    const F32x4 g = splat(c.centre);
    for (int32_t q = 0; q < c.bands; q += 2) {
        F32x4 a[6], b[6];
        for (int32_t t = 0; t < c.taps; ++t) {
            a[t] = set(c.a[q][t], c.a[q][t], c.a[q + 1][t], c.a[q + 1][t]);
            b[t] = set(c.b[q][t], c.b[q][t], c.b[q + 1][t], c.b[q + 1][t]);
        }
        for (int32_t k = 0; k < 32; ++k) {
            const float* centre = x + 2 * (k + 6);
            F32x4 acc = g * load_pair_twice(centre);
            for (int32_t t = 0; t < c.taps; ++t) {
                const F32x4 lo = load_pair_twice(centre - 2 * c.tap[t]);
                const F32x4 hi = load_pair_twice(centre + 2 * c.tap[t]);
                acc = acc + a[t] * (lo + hi);
                if (!c.real) {
                    // i d = (-d_im, d_re) in each pair.
                    const F32x4 d = lo - hi;
                    acc = acc + b[t] * (swap_pairs(d) ^ set(-0.0f, 0.0f, -0.0f, 0.0f));
                }
            }
            store(y + 24 * k + 2 * q, acc);
        }
    }
}

} // namespace

const HybridConfig& hybrid_config(int32_t config) { return kConfigs[config]; }

const HybridKernels kHybridScalar = {filter_scalar};
const HybridKernels kHybridSse2 = {filter_sse2};

} // namespace zem::ps

ZEM_API ZemStatus zemsAnalysisFilter_PS_32fc_D2(const Zem32fc* pSrc, Zem32fc* pDst,
                                                int32_t config) {
    if (zem::any_null(pSrc, pDst))
        return zemStatusNullPointer;
    if (config < 0 || config > 4)
        return zemStatusBadArgument;
    zem::ps::kHybridSse2.filter(&pSrc[0].re, &pDst[0].re, zem::ps::hybrid_config(config));
    return zemStatusOk;
}
