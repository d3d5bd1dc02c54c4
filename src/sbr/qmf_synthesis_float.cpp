// The floating-point SBR synthesis banks. Per slot a row of M bands gives 2M values v that enter
// the delay line at the write position; the window then sums ten blocks of the line into M
// samples. The values v come from fast transforms:
//   64-band complex: v[n] = (S[n] - C[n]) / 64 and v[127 - n] = (C[n] + S[n]) / 64, n < 64, with
//     C the DCT-IV of the real parts and S the DST-IV of the imaginary parts (length 64), each a
//     32-point FFT between two rotations;
//   32-band complex: v[n] = Re{e^(i pi (n - 63.75)/64) F[n]} / 64, F the 64-point inverse DFT
//     of X[k] e^(-i pi 63.75 k/32) (k < 32, zero above);
//   real banks: v[n] = D[n - M/2] / 32 with D[m] = sum_k X[k] cos(pi (k + 1/2) m / M), which is
//     even in m, zero at M and odd about M; D[0..M) is the orthonormal DCT-II unscaled.
#include <cstring>

#include "core/checks.hpp"
#include "core/export.hpp"
#include "sbr/qmf_float.hpp"
#include "zemac.h"

namespace zem::sbr {
namespace {

constexpr int32_t kFullExtra = 5167;     // slack, header, 1280 values of delay line
constexpr int32_t kFullRealExtra = 5183; // the same and one spare value, rounded to 16 bytes
constexpr int32_t kDownExtra = 2607;     // slack, header, 640 values

void full_complex_values(const float* re, const float* im, const ZemFftSpec& fft, float* v) {
    alignas(16) float c[64], s[64];
    kQmfRotationSse2.dct4_pre(re, false, c);
    fft_in_place(c, fft, false, nullptr);
    kQmfRotationSse2.dct4_pre(im, true, s);
    fft_in_place(s, fft, false, nullptr);
    kQmfRotationSse2.dct4_combine(c, s, v);
}

// The same from a row of 64 interleaved complex values, read in place.
void full_interleaved_values(const float* row, const ZemFftSpec& fft, float* v) {
    alignas(16) float c[64], s[64];
    kQmfRotationSse2.dct4_pre_interleaved(row, c, s);
    fft_in_place(c, fft, false, nullptr);
    fft_in_place(s, fft, false, nullptr);
    kQmfRotationSse2.dct4_combine(c, s, v);
}

void down_complex_values(const float* re, const float* im, const ZemFftSpec& fft, uint8_t* work,
                         float* v) {
    alignas(16) float z[128];
    kQmfRotationSse2.down_pre(re, im, z);
    fft_in_place(z, fft, true, align_up<32>(work));
    kQmfRotationSse2.down_post(z, v);
}

// The real banks: D from the orthonormal DCT-II (y[0] sqrt(M), y[m] sqrt(M/2)), then unfolded.
void real_values(const float* x, int32_t bands, const ZemDctSpec& dct, uint8_t* work, float* v) {
    float y[64];
    dct_fwd(x, y, &dct, work);
    const float dc = bands == 64 ? 0.25f : 0.17677669f;  // sqrt(M) / 32
    const float ac = bands == 64 ? 0.17677669f : 0.125f; // sqrt(M / 2) / 32
    y[0] *= dc;
    for (int32_t m = 1; m < bands; ++m)
        y[m] *= ac;
    const int32_t half = bands / 2;
    for (int32_t n = 0; n < 2 * bands; ++n) {
        const int32_t m = n - half;
        v[n] = m < 0 ? y[-m] : m < bands ? y[m] : m == bands ? 0.0f : -y[2 * bands - m];
    }
}

enum class Input { Split, Interleaved, Real };

template <Input In> struct Row;
template <> struct Row<Input::Split> {
    const float* const* re;
    const float* const* im;
};
template <> struct Row<Input::Interleaved> { const Zem32fc* const* rows; };
template <> struct Row<Input::Real> { const float* const* rows; };

template <Input In, int32_t Bands>
void run(Row<In> src, float* pDst, const float* pWindow, int32_t numSlots, QmfHeader* h,
         uint8_t* pWorkBuf) {
    constexpr int32_t line = 20 * Bands;
    float* delay = qmf_delay(h);
    int32_t index = qmf_index(h, line, 2 * Bands);
    float re[64], im[64];
    for (int32_t l = 0; l < numSlots; ++l) {
        float* v = delay + index;
        if constexpr (In == Input::Real) {
            real_values(src.rows[l], Bands, *qmf_dct(h), pWorkBuf, v);
        } else if constexpr (In == Input::Interleaved && Bands == 64) {
            full_interleaved_values(&src.rows[l][0].re, *qmf_fft(h), v);
        } else {
            const float* r;
            const float* i;
            if constexpr (In == Input::Split) {
                r = src.re[l];
                i = src.im[l];
            } else {
                const float* x = &src.rows[l][0].re;
                for (int32_t k = 0; k < Bands; ++k) {
                    re[k] = x[2 * k];
                    im[k] = x[2 * k + 1];
                }
                r = re;
                i = im;
            }
            if constexpr (Bands == 64)
                full_complex_values(r, i, *qmf_fft(h), v);
            else
                down_complex_values(r, i, *qmf_fft(h), pWorkBuf, v);
        }
        qmf_window_kernels().output(delay, index, Bands, pWindow, pDst + Bands * l);
        index = index == 0 ? line - 2 * Bands : index - 2 * Bands;
    }
    h->index = index;
}

template <int32_t Bands, class Spec>
ZemStatus filter_split(const float* const* ppSrcRe, const float* const* ppSrcIm, float* pDst,
                       const float* pWindow, int32_t numSlots, Spec* pSpec, uint8_t* pWorkBuf,
                       Tag tag) {
    if (pWorkBuf == nullptr)
        return zemStatusNullPointer;
    if (const ZemStatus st = qmf_check_state(pWindow, pSpec, tag))
        return st;
    if (any_null(ppSrcRe, ppSrcIm, pDst) || !rows_present(ppSrcRe, numSlots) ||
        !rows_present(ppSrcIm, numSlots))
        return zemStatusNullPointer;
    run<Input::Split, Bands>({ppSrcRe, ppSrcIm}, pDst, pWindow, numSlots,
                             reinterpret_cast<QmfHeader*>(pSpec), pWorkBuf);
    return zemStatusOk;
}

template <Input In, int32_t Bands, class Spec, class T>
ZemStatus filter_rows(const T* const* ppSrc, float* pDst, const float* pWindow, int32_t numSlots,
                      Spec* pSpec, uint8_t* pWorkBuf, Tag tag) {
    if (const ZemStatus st = qmf_check_state(pWindow, pSpec, tag))
        return st;
    if (any_null(ppSrc, pDst, pWorkBuf) || !rows_present(ppSrc, numSlots))
        return zemStatusNullPointer;
    run<In, Bands>({ppSrc}, pDst, pWindow, numSlots, reinterpret_cast<QmfHeader*>(pSpec), pWorkBuf);
    return zemStatusOk;
}

} // namespace
} // namespace zem::sbr

using namespace zem;
using namespace zem::sbr;

ZEM_API ZemStatus zemsSynthesisFilterGetSize_SBR_CToR_32f(int32_t* pSizeSpec, int32_t* pSizeInit,
                                                          int32_t* pSizeWork) {
    return qmf_sizes(QmfTransform::Fft5, kFullExtra, pSizeSpec, pSizeInit, pSizeWork);
}
ZEM_SHARED_EXPORT(zemsSynthesisFilterGetSize_SBR_CToR_32fc32f,
                  zemsSynthesisFilterGetSize_SBR_CToR_32f);

ZEM_API ZemStatus zemsSynthesisFilterGetSize_SBR_RToR_32f(int32_t* pSizeSpec, int32_t* pSizeInit,
                                                          int32_t* pSizeWork) {
    return qmf_sizes(QmfTransform::DctFwd64, kFullRealExtra, pSizeSpec, pSizeInit, pSizeWork);
}

ZEM_API ZemStatus zemsSynthesisDownFilterGetSize_SBR_CToR_32f(int32_t* pSizeSpec,
                                                              int32_t* pSizeInit,
                                                              int32_t* pSizeWork) {
    return qmf_sizes(QmfTransform::Fft6, kDownExtra, pSizeSpec, pSizeInit, pSizeWork);
}
ZEM_SHARED_EXPORT(zemsSynthesisDownFilterGetSize_SBR_CToR_32fc32f,
                  zemsSynthesisDownFilterGetSize_SBR_CToR_32f);

ZEM_API ZemStatus zemsSynthesisDownFilterGetSize_SBR_RToR_32f(int32_t* pSizeSpec,
                                                              int32_t* pSizeInit,
                                                              int32_t* pSizeWork) {
    return qmf_sizes(QmfTransform::DctFwd32, kDownExtra, pSizeSpec, pSizeInit, pSizeWork);
}

ZEM_API ZemStatus zemsSynthesisFilterInit_SBR_CToR_32f(ZemSbrSynthesisSpec_32f** ppSpec,
                                                       uint8_t* pMemSpec, uint8_t* pMemInit) {
    return qmf_init_as(ppSpec, pMemSpec, pMemInit, QmfTransform::Fft5, Tag::SbrSynthesisCToR32f,
                       1280);
}

ZEM_API ZemStatus zemsSynthesisFilterInit_SBR_CToR_32fc32f(ZemSbrSynthesisSpec_32f** ppSpec,
                                                           uint8_t* pMemSpec, uint8_t* pMemInit) {
    return qmf_init_as(ppSpec, pMemSpec, pMemInit, QmfTransform::Fft5, Tag::SbrSynthesisCToR32fc,
                       1280);
}

ZEM_API ZemStatus zemsSynthesisFilterInit_SBR_RToR_32f(ZemSbrSynthesisSpec_32f** ppSpec,
                                                       uint8_t* pMemSpec, uint8_t* pMemInit) {
    return qmf_init_as(ppSpec, pMemSpec, pMemInit, QmfTransform::DctFwd64, Tag::SbrSynthesisRToR,
                       1281);
}

ZEM_API ZemStatus zemsSynthesisDownFilterInit_SBR_CToR_32f(ZemSbrSynthesisDownSpec_32f** ppSpec,
                                                           uint8_t* pMemSpec, uint8_t* pMemInit) {
    return qmf_init_as(ppSpec, pMemSpec, pMemInit, QmfTransform::Fft6, Tag::SbrSynthesisDownCToR32f,
                       640);
}

ZEM_API ZemStatus zemsSynthesisDownFilterInit_SBR_CToR_32fc32f(ZemSbrSynthesisDownSpec_32f** ppSpec,
                                                               uint8_t* pMemSpec,
                                                               uint8_t* pMemInit) {
    return qmf_init_as(ppSpec, pMemSpec, pMemInit, QmfTransform::Fft6,
                       Tag::SbrSynthesisDownCToR32fc, 640);
}

ZEM_API ZemStatus zemsSynthesisDownFilterInit_SBR_RToR_32f(ZemSbrSynthesisDownSpec_32f** ppSpec,
                                                           uint8_t* pMemSpec, uint8_t* pMemInit) {
    return qmf_init_as(ppSpec, pMemSpec, pMemInit, QmfTransform::DctFwd32,
                       Tag::SbrSynthesisDownRToR, 640);
}

ZEM_API ZemStatus zemsSynthesisFilter_SBR_CToR_32f_D2L(const float* const* ppSrcRe,
                                                       const float* const* ppSrcIm, float* pDst,
                                                       const float* pWindow, int32_t numSlots,
                                                       ZemSbrSynthesisSpec_32f* pSpec,
                                                       uint8_t* pWorkBuf) {
    return filter_split<64>(ppSrcRe, ppSrcIm, pDst, pWindow, numSlots, pSpec, pWorkBuf,
                            Tag::SbrSynthesisCToR32f);
}

ZEM_API ZemStatus zemsSynthesisFilter_SBR_CToR_32fc32f_D2L(const Zem32fc* const* ppSrc, float* pDst,
                                                           const float* pWindow, int32_t numSlots,
                                                           ZemSbrSynthesisSpec_32f* pSpec,
                                                           uint8_t* pWorkBuf) {
    return filter_rows<Input::Interleaved, 64>(ppSrc, pDst, pWindow, numSlots, pSpec, pWorkBuf,
                                               Tag::SbrSynthesisCToR32fc);
}

ZEM_API ZemStatus zemsSynthesisFilter_SBR_RToR_32f_D2L(const float* const* ppSrc, float* pDst,
                                                       const float* pWindow, int32_t numSlots,
                                                       ZemSbrSynthesisSpec_32f* pSpec,
                                                       uint8_t* pWorkBuf) {
    return filter_rows<Input::Real, 64>(ppSrc, pDst, pWindow, numSlots, pSpec, pWorkBuf,
                                        Tag::SbrSynthesisRToR);
}

ZEM_API ZemStatus zemsSynthesisDownFilter_SBR_CToR_32f_D2L(const float* const* ppSrcRe,
                                                           const float* const* ppSrcIm, float* pDst,
                                                           const float* pWindow, int32_t numSlots,
                                                           ZemSbrSynthesisDownSpec_32f* pSpec,
                                                           uint8_t* pWorkBuf) {
    return filter_split<32>(ppSrcRe, ppSrcIm, pDst, pWindow, numSlots, pSpec, pWorkBuf,
                            Tag::SbrSynthesisDownCToR32f);
}

ZEM_API ZemStatus zemsSynthesisDownFilter_SBR_CToR_32fc32f_D2L(const Zem32fc* const* ppSrc,
                                                               float* pDst, const float* pWindow,
                                                               int32_t numSlots,
                                                               ZemSbrSynthesisDownSpec_32f* pSpec,
                                                               uint8_t* pWorkBuf) {
    return filter_rows<Input::Interleaved, 32>(ppSrc, pDst, pWindow, numSlots, pSpec, pWorkBuf,
                                               Tag::SbrSynthesisDownCToR32fc);
}

ZEM_API ZemStatus zemsSynthesisDownFilter_SBR_RToR_32f_D2L(const float* const* ppSrc, float* pDst,
                                                           const float* pWindow, int32_t numSlots,
                                                           ZemSbrSynthesisDownSpec_32f* pSpec,
                                                           uint8_t* pWorkBuf) {
    return filter_rows<Input::Real, 32>(ppSrc, pDst, pWindow, numSlots, pSpec, pWorkBuf,
                                        Tag::SbrSynthesisDownRToR);
}
