// The floating-point 32-band SBR analysis banks. Per slot the 32 new samples enter the delay line
// time-reversed at the write position, the window folds the line into u[0..63], and a transform
// turns u into the 32 bands:
//   complex: z_i = e^(-i pi (4i + 1)/256) (i u[32 - i] - u[64 - i]), u[64] = -u[0], i < 32;
//            Y = 32-point forward FFT of z; X[2j] = 2 e^(-i pi j/64) Y[j] and
//            X[2j + 1] = 2 e^(-i pi (j + 1)/64) conj(Y[31 - j]), j < 16;
//   real:    t[0] = 8 sqrt2 u[48], t[k] = 8 (u[48 - k] + u[48 + k]), t[16 + j] = 8 (u[32 - j] -
//   u[j]),
//            k in 1..15, j < 16; X = orthonormal DCT-III of t (the factors 8 and 8 sqrt2 undo
//            its scaling).
#include <cstring>

#include "core/checks.hpp"
#include "core/export.hpp"
#include "sbr/qmf_float.hpp"
#include "zemac.h"

namespace zem::sbr {
namespace {

constexpr int32_t kStateExtra = 1327; // alignment slack, header, 320 samples of delay line

// The 32 complex bands of one slot from u (u[64] holding -u[0]), as interleaved pairs.
void complex_bands(const float* u, const ZemFftSpec& fft, float* x) {
    alignas(16) float z[64];
    kQmfRotationSse2.analysis_pre(u, z);
    fft_in_place(z, fft, false, nullptr);
    kQmfRotationSse2.analysis_post(z, x);
}

void real_bands(const float* u, const ZemDctSpec& dct, uint8_t* work, float* x) {
    float t[32];
    t[0] = 11.3137085f * u[48];
    for (int32_t k = 1; k < 16; ++k)
        t[k] = 8.0f * (u[48 - k] + u[48 + k]);
    for (int32_t j = 0; j < 16; ++j)
        t[16 + j] = 8.0f * (u[32 - j] - u[j]);
    dct_inv(t, x, &dct, work);
}

enum class Output { Interleaved, Split, Real };

// The slot loop shared by the three banks; `rows` receives each slot's bands (64 floats for the
// complex banks, interleaved; 32 for the real one) with the band limit applied.
template <Output Out, class Rows>
void run(const float* pSrc, const float* pWindow, int32_t numSlots, int32_t numBands, QmfHeader* h,
         uint8_t* pWorkBuf, Rows rows) {
    float* delay = qmf_delay(h);
    int32_t index = qmf_index(h, 320, 32);
    alignas(16) float u[68], x[64];
    for (int32_t l = 0; l < numSlots; ++l) {
        const float* src = pSrc + 32 * l;
        for (int32_t j = 0; j < 32; ++j)
            delay[index + j] = src[31 - j];
        qmf_window_kernels().fold(delay, index, pWindow, u);
        if constexpr (Out == Output::Real) {
            real_bands(u, *qmf_dct(h), pWorkBuf, x);
            for (int32_t k = numBands; k < 32; ++k)
                x[k] = 0.0f;
        } else {
            u[64] = -u[0];
            complex_bands(u, *qmf_fft(h), x);
            for (int32_t k = 2 * numBands; k < 64; ++k)
                x[k] = 0.0f;
        }
        rows(l, x);
        index = index == 0 ? 288 : index - 32;
    }
    h->index = index;
}

ZemStatus checked_bands(int32_t numBands) {
    return numBands < 0 || numBands > 32 ? zemStatusBadSize : zemStatusOk;
}

// The banks writing one row per slot (interleaved complex or real): checks in their order, then
// the slots, each row copied whole.
template <Output Out, class Row>
ZemStatus filter_rows(const float* pSrc, Row* const* ppDst, const float* pWindow, int32_t numSlots,
                      int32_t slotOffset, int32_t numBands, ZemSbrAnalysisSpec_32f* pSpec,
                      uint8_t* pWorkBuf, Tag tag) {
    if (const ZemStatus st = qmf_check_state(pWindow, pSpec, tag))
        return st;
    if (any_null(pSrc, ppDst, pWorkBuf) ||
        (numSlots > 0 && !rows_present(ppDst + slotOffset, numSlots)))
        return zemStatusNullPointer;
    if (const ZemStatus st = checked_bands(numBands))
        return st;
    constexpr std::size_t rowBytes = (Out == Output::Real ? 32 : 64) * sizeof(float);
    run<Out>(pSrc, pWindow, numSlots, numBands, reinterpret_cast<QmfHeader*>(pSpec), pWorkBuf,
             [&](int32_t l, const float* x) { std::memcpy(ppDst[slotOffset + l], x, rowBytes); });
    return zemStatusOk;
}

} // namespace
} // namespace zem::sbr

using namespace zem;
using namespace zem::sbr;

ZEM_API ZemStatus zemsAnalysisFilterGetSize_SBR_RToC_32f(int32_t* pSizeSpec, int32_t* pSizeInit,
                                                         int32_t* pSizeWork) {
    return qmf_sizes(QmfTransform::FftSplit5, kStateExtra, pSizeSpec, pSizeInit, pSizeWork);
}
ZEM_SHARED_EXPORT(zemsAnalysisFilterGetSize_SBR_RToC_32f32fc,
                  zemsAnalysisFilterGetSize_SBR_RToC_32f);

ZEM_API ZemStatus zemsAnalysisFilterGetSize_SBR_RToR_32f(int32_t* pSizeSpec, int32_t* pSizeInit,
                                                         int32_t* pSizeWork) {
    return qmf_sizes(QmfTransform::DctInv32, kStateExtra, pSizeSpec, pSizeInit, pSizeWork);
}

ZEM_API ZemStatus zemsAnalysisFilterInit_SBR_RToC_32f32fc(ZemSbrAnalysisSpec_32f** ppSpec,
                                                          uint8_t* pMemSpec, uint8_t* pMemInit) {
    return qmf_init_as(ppSpec, pMemSpec, pMemInit, QmfTransform::FftSplit5,
                       Tag::SbrAnalysisRToC32fc, 320);
}

ZEM_API ZemStatus zemsAnalysisFilterInit_SBR_RToC_32f(ZemSbrAnalysisSpec_32f** ppSpec,
                                                      uint8_t* pMemSpec, uint8_t* pMemInit) {
    return qmf_init_as(ppSpec, pMemSpec, pMemInit, QmfTransform::FftSplit5, Tag::SbrAnalysisRToC32f,
                       320);
}

ZEM_API ZemStatus zemsAnalysisFilterInit_SBR_RToR_32f(ZemSbrAnalysisSpec_32f** ppSpec,
                                                      uint8_t* pMemSpec, uint8_t* pMemInit) {
    return qmf_init_as(ppSpec, pMemSpec, pMemInit, QmfTransform::DctInv32, Tag::SbrAnalysisRToR,
                       320);
}

ZEM_API ZemStatus zemsAnalysisFilter_SBR_RToC_32f32fc_D2L(const float* pSrc, Zem32fc* const* ppDst,
                                                          const float* pWindow, int32_t numSlots,
                                                          int32_t slotOffset, int32_t numBands,
                                                          ZemSbrAnalysisSpec_32f* pSpec,
                                                          uint8_t* pWorkBuf) {
    return filter_rows<Output::Interleaved>(pSrc, ppDst, pWindow, numSlots, slotOffset, numBands,
                                            pSpec, pWorkBuf, Tag::SbrAnalysisRToC32fc);
}

ZEM_API ZemStatus zemsAnalysisFilter_SBR_RToC_32f_D2L(const float* pSrc, float* const* ppDstRe,
                                                      float* const* ppDstIm, const float* pWindow,
                                                      int32_t numSlots, int32_t slotOffset,
                                                      int32_t numBands,
                                                      ZemSbrAnalysisSpec_32f* pSpec,
                                                      uint8_t* pWorkBuf) {
    if (pWorkBuf == nullptr)
        return zemStatusNullPointer;
    if (const ZemStatus st = qmf_check_state(pWindow, pSpec, Tag::SbrAnalysisRToC32f))
        return st;
    if (const ZemStatus st = checked_bands(numBands))
        return st;
    if (any_null(pSrc, ppDstRe, ppDstIm) ||
        (numSlots > 0 && (!rows_present(ppDstRe + slotOffset, numSlots) ||
                          !rows_present(ppDstIm + slotOffset, numSlots))))
        return zemStatusNullPointer;
    run<Output::Split>(pSrc, pWindow, numSlots, numBands, reinterpret_cast<QmfHeader*>(pSpec),
                       pWorkBuf, [&](int32_t l, const float* x) {
                           float* re = ppDstRe[slotOffset + l];
                           float* im = ppDstIm[slotOffset + l];
                           for (int32_t k = 0; k < 32; ++k) {
                               re[k] = x[2 * k];
                               im[k] = x[2 * k + 1];
                           }
                       });
    return zemStatusOk;
}

ZEM_API ZemStatus zemsAnalysisFilter_SBR_RToR_32f_D2L(const float* pSrc, float* const* ppDst,
                                                      const float* pWindow, int32_t numSlots,
                                                      int32_t slotOffset, int32_t numBands,
                                                      ZemSbrAnalysisSpec_32f* pSpec,
                                                      uint8_t* pWorkBuf) {
    return filter_rows<Output::Real>(pSrc, ppDst, pWindow, numSlots, slotOffset, numBands, pSpec,
                                     pWorkBuf, Tag::SbrAnalysisRToR);
}
