// Tonality-to-noise ratio of an SBR encoder: how much of a sub-band's energy the second-order
// predictor of the HF generator removes, for each half of 32 QMF samples.
#include "core/checks.hpp"
#include "sbr/covariance.hpp"
#include "zemac/sbr_tools.h"

namespace zem::sbr {
namespace {

struct HalfTonality {
    float tnr;
    float energy; // phi(0,0)
};

// One half of 16 samples: the covariance terms over samples 2 .. 15 and the predictor's share
// r of phi(0,0); TNR = r / (1.000001 - r), 1e6 where r is within 1e-6 of 1, 0 for silence.
HalfTonality half_tonality(const Zem32fc* y) {
    const Covariance c = covariance_of([&](int32_t m) { return y[m]; }, 14);
    if (c.r00 * c.r00 == 0.0f)
        return {0.0f, c.r00};
    const Alphas a = predictor(c, Degenerate::Tonality);
    const float removed = (a.a0r * c.r01 + a.a0i * c.i01) + (a.a1r * c.r02 + a.a1i * c.i02);
    const float r = -removed / c.r00;
    const float one_minus_r = 1.0f - r;
    if (one_minus_r <= 1e-6f && one_minus_r >= -1e-6f)
        return {1e6f, c.r00};
    return {r / (1.000001f - r), c.r00};
}

} // namespace
} // namespace zem::sbr

extern "C" ZemStatus zemsEstimateTNR_SBR_32f(const Zem32fc* pSrc, float* pTnr0, float* pTnr1,
                                             float* pMeanNrg) {
    if (zem::any_null(pSrc, pTnr0, pTnr1, pMeanNrg))
        return zemStatusNullPointer;
    const auto first = zem::sbr::half_tonality(pSrc);
    const auto second = zem::sbr::half_tonality(pSrc + 16);
    *pTnr0 = first.tnr;
    *pTnr1 = second.tnr;
    *pMeanNrg = (first.energy + second.energy) * 0.5f;
    return zemStatusOk;
}
