// Floating-point HF-generation prediction: alpha0 and alpha1 of every band of a run, by the
// covariance method over rows 0 .. len + 1, four bands at a time while four remain.
#include "core/checks.hpp"
#include "sbr/covariance.hpp"
#include "zemac/sbr_tools.h"

namespace zem::sbr {
namespace {

// Runs the predictor over bands 0 .. numBands - 1 and hands each band's coefficients to `put`.
// Checks after the pointers: len < 1 or numBands < 1 do nothing, a missing row is -8.
template <class Put>
ZemStatus predict_bands(const RowSet& rows, int32_t numBands, int32_t len, Put put) {
    if (len < 1 || numBands < 1)
        return zemStatusOk;
    const bool present = rows.layout == RowLayout::Interleaved ? rows_present(rows.c, len + 2)
                         : rows.layout == RowLayout::Split
                             ? rows_present(rows.re, len + 2) && rows_present(rows.im, len + 2)
                             : rows_present(rows.re, len + 2);
    if (!present)
        return zemStatusNullPointer;
    Covariance c[4];
    int32_t k = 0;
    for (; k + 4 <= numBands; k += 4) {
        kCovarianceSse2.four(rows, k, len, c);
        for (int32_t b = 0; b < 4; ++b)
            put(k + b, stabilised(predictor(c[b], Degenerate::HfGeneration)));
    }
    for (; k < numBands; ++k)
        put(k, stabilised(predictor(covariance_band(rows, k, len), Degenerate::HfGeneration)));
    return zemStatusOk;
}

} // namespace
} // namespace zem::sbr

using namespace zem::sbr;

extern "C" ZemStatus zemsPredictCoef_SBR_R_32f_D2L(const float* const* ppSrc, float* pAlpha0,
                                                   float* pAlpha1, int32_t numBands, int32_t len) {
    if (zem::any_null(ppSrc, pAlpha0, pAlpha1))
        return zemStatusNullPointer;
    const RowSet rows{RowLayout::Real, ppSrc, nullptr, nullptr};
    return predict_bands(rows, numBands, len, [&](int32_t k, Alphas a) {
        pAlpha0[k] = a.a0r;
        pAlpha1[k] = a.a1r;
    });
}

extern "C" ZemStatus zemsPredictCoef_SBR_C_32fc_D2L(const Zem32fc* const* ppSrc, Zem32fc* pAlpha0,
                                                    Zem32fc* pAlpha1, int32_t numBands,
                                                    int32_t len) {
    if (zem::any_null(ppSrc, pAlpha0, pAlpha1))
        return zemStatusNullPointer;
    const RowSet rows{RowLayout::Interleaved, nullptr, nullptr, ppSrc};
    return predict_bands(rows, numBands, len, [&](int32_t k, Alphas a) {
        pAlpha0[k] = {a.a0r, a.a0i};
        pAlpha1[k] = {a.a1r, a.a1i};
    });
}

extern "C" ZemStatus zemsPredictCoef_SBR_C_32f_D2L(const float* const* ppSrcRe,
                                                   const float* const* ppSrcIm, float* pAlpha0Re,
                                                   float* pAlpha0Im, float* pAlpha1Re,
                                                   float* pAlpha1Im, int32_t numBands,
                                                   int32_t len) {
    if (zem::any_null(ppSrcRe, ppSrcIm, pAlpha0Re, pAlpha0Im, pAlpha1Re, pAlpha1Im))
        return zemStatusNullPointer;
    const RowSet rows{RowLayout::Split, ppSrcRe, ppSrcIm, nullptr};
    return predict_bands(rows, numBands, len, [&](int32_t k, Alphas a) {
        pAlpha0Re[k] = a.a0r;
        pAlpha0Im[k] = a.a0i;
        pAlpha1Re[k] = a.a1r;
        pAlpha1Im[k] = a.a1i;
    });
}
