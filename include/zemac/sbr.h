/* zemac: SBR floating-point QMF analysis and synthesis banks. */
#ifndef ZEMAC_SBR_H
#define ZEMAC_SBR_H

#include "core.h"

#ifdef __cplusplus
extern "C" {
#endif

/* The 32-band analysis banks: per time slot l, 32 input samples pSrc[32 l .. 32 l + 31] become one
   row of 32 sub-band values, written through the row pointer of index slotOffset + l. With x the
   delayed input (x[0] the newest sample) and w the caller's 320-coefficient window (w[i] = c[2i]
   of the 640-coefficient SBR QMF prototype c gives the standard's bank):
     u[n] = sum_{m<5} w[n + 64 m] x[n + 64 m],                                       n < 64,
     complex:  X[k] = sum_{n<64} 2 u[n] exp(i pi (k + 1/2)(2n - 1/2) / 64),
     real:     X[k] = sum_{n<64} 2 u[n] cos(pi (k + 1/2)(2n - 96) / 64),              k < 32,
   bands numBands .. 31 written as zero. The state (built by Init in the caller's block: the
   transform record at the block's first 16-byte boundary, then a 32-byte header of tag, offsets
   and the delay index, then the 320-sample delay line) carries the history, so slots may be fed
   in calls of any size with the same result. The window and the buffers need no alignment. */
typedef struct ZemSbrAnalysisSpec_32f ZemSbrAnalysisSpec_32f;

/* State, init and work bytes: 1455, 4, 4 (complex banks; the two names are one function) and
   1839, 4, 164 (real bank) on every target. zemStatusNullPointer. */
ZEM_API ZemStatus zemsAnalysisFilterGetSize_SBR_RToC_32f(int32_t* pSizeSpec, int32_t* pSizeInit,
                                                         int32_t* pSizeWork);
ZEM_API ZemStatus zemsAnalysisFilterGetSize_SBR_RToC_32f32fc(int32_t* pSizeSpec, int32_t* pSizeInit,
                                                             int32_t* pSizeWork);
ZEM_API ZemStatus zemsAnalysisFilterGetSize_SBR_RToR_32f(int32_t* pSizeSpec, int32_t* pSizeInit,
                                                         int32_t* pSizeWork);
/* Builds the state in pMemSpec (pMemInit is scratch for the call) with a silent history and stores
   its handle in *ppSpec. zemStatusNullPointer. */
ZEM_API ZemStatus zemsAnalysisFilterInit_SBR_RToC_32f32fc(ZemSbrAnalysisSpec_32f** ppSpec,
                                                          uint8_t* pMemSpec, uint8_t* pMemInit);
ZEM_API ZemStatus zemsAnalysisFilterInit_SBR_RToC_32f(ZemSbrAnalysisSpec_32f** ppSpec,
                                                      uint8_t* pMemSpec, uint8_t* pMemInit);
ZEM_API ZemStatus zemsAnalysisFilterInit_SBR_RToR_32f(ZemSbrAnalysisSpec_32f** ppSpec,
                                                      uint8_t* pMemSpec, uint8_t* pMemInit);
/* Statuses, in check order: zemStatusNullPointer (pSpec, pWindow); zemStatusContextMismatch (a
   state of another bank); zemStatusNullPointer (pSrc, ppDst, pWorkBuf, or a row pointer of the
   slots); zemStatusBadSize (numBands outside 0..32). numSlots below 1 returns zemStatusOk with
   nothing changed. */
ZEM_API ZemStatus zemsAnalysisFilter_SBR_RToC_32f32fc_D2L(const float* pSrc, Zem32fc* const* ppDst,
                                                          const float* pWindow, int32_t numSlots,
                                                          int32_t slotOffset, int32_t numBands,
                                                          ZemSbrAnalysisSpec_32f* pSpec,
                                                          uint8_t* pWorkBuf);
/* The complex bank with real and imaginary parts in separate rows. Statuses, in check order:
   zemStatusNullPointer (pSpec, pWindow, pWorkBuf); zemStatusContextMismatch; zemStatusBadSize
   (numBands); zemStatusNullPointer (pSrc, ppDstRe, ppDstIm or a row pointer of the slots). */
ZEM_API ZemStatus zemsAnalysisFilter_SBR_RToC_32f_D2L(const float* pSrc, float* const* ppDstRe,
                                                      float* const* ppDstIm, const float* pWindow,
                                                      int32_t numSlots, int32_t slotOffset,
                                                      int32_t numBands,
                                                      ZemSbrAnalysisSpec_32f* pSpec,
                                                      uint8_t* pWorkBuf);
/* The real-valued (low-power) bank; checks as the interleaved complex bank. */
ZEM_API ZemStatus zemsAnalysisFilter_SBR_RToR_32f_D2L(const float* pSrc, float* const* ppDst,
                                                      const float* pWindow, int32_t numSlots,
                                                      int32_t slotOffset, int32_t numBands,
                                                      ZemSbrAnalysisSpec_32f* pSpec,
                                                      uint8_t* pWorkBuf);

/* The synthesis banks: per slot l, the row of index l (M = 64 or 32 sub-band values) becomes M
   output samples pDst[M l .. M l + M - 1]. Each row gives 2M values v[n] that enter the delay
   line V (V[0 .. 2M) the newest):
     64-band complex  v[n] = 1/64 sum_{k<64} Re{X[k] exp(i pi (k + 1/2)(2n - 255) / 128)},
     64-band real     v[n] = 1/32 sum_{k<64} X[k] cos(pi (k + 1/2)(2n - 64) / 128),
     32-band complex  v[n] = 1/64 sum_{k<32} Re{X[k] exp(i pi (k + 1/2)(2n - 127.5) / 64)},
     32-band real     v[n] = 1/32 sum_{k<32} X[k] cos(pi (k + 1/2)(2n - 32) / 64),
   and y[n] = sum_{i<10} w[M i + n] V[o_i + n] with o_i = 4M floor(i/2) + 3M (i odd), the
   caller's window w holding 10M coefficients (c itself for 64 bands, c[2i] for 32). The state
   is laid out as the analysis banks' (delay line of 20M values). */
typedef struct ZemSbrSynthesisSpec_32f ZemSbrSynthesisSpec_32f;
typedef struct ZemSbrSynthesisDownSpec_32f ZemSbrSynthesisDownSpec_32f;

/* State, init and work bytes on every target: 5295, 4, 4 (64-band complex), 5951, 4, 292
   (64-band real), 3375, 4, 548 (32-band complex), 3119, 4, 164 (32-band real). The two names of a
   complex bank are one function. zemStatusNullPointer. */
ZEM_API ZemStatus zemsSynthesisFilterGetSize_SBR_CToR_32f(int32_t* pSizeSpec, int32_t* pSizeInit,
                                                          int32_t* pSizeWork);
ZEM_API ZemStatus zemsSynthesisFilterGetSize_SBR_CToR_32fc32f(int32_t* pSizeSpec,
                                                              int32_t* pSizeInit,
                                                              int32_t* pSizeWork);
ZEM_API ZemStatus zemsSynthesisFilterGetSize_SBR_RToR_32f(int32_t* pSizeSpec, int32_t* pSizeInit,
                                                          int32_t* pSizeWork);
ZEM_API ZemStatus zemsSynthesisDownFilterGetSize_SBR_CToR_32f(int32_t* pSizeSpec,
                                                              int32_t* pSizeInit,
                                                              int32_t* pSizeWork);
ZEM_API ZemStatus zemsSynthesisDownFilterGetSize_SBR_CToR_32fc32f(int32_t* pSizeSpec,
                                                                  int32_t* pSizeInit,
                                                                  int32_t* pSizeWork);
ZEM_API ZemStatus zemsSynthesisDownFilterGetSize_SBR_RToR_32f(int32_t* pSizeSpec,
                                                              int32_t* pSizeInit,
                                                              int32_t* pSizeWork);
/* As the analysis banks' Init. zemStatusNullPointer. */
ZEM_API ZemStatus zemsSynthesisFilterInit_SBR_CToR_32f(ZemSbrSynthesisSpec_32f** ppSpec,
                                                       uint8_t* pMemSpec, uint8_t* pMemInit);
ZEM_API ZemStatus zemsSynthesisFilterInit_SBR_CToR_32fc32f(ZemSbrSynthesisSpec_32f** ppSpec,
                                                           uint8_t* pMemSpec, uint8_t* pMemInit);
ZEM_API ZemStatus zemsSynthesisFilterInit_SBR_RToR_32f(ZemSbrSynthesisSpec_32f** ppSpec,
                                                       uint8_t* pMemSpec, uint8_t* pMemInit);
ZEM_API ZemStatus zemsSynthesisDownFilterInit_SBR_CToR_32f(ZemSbrSynthesisDownSpec_32f** ppSpec,
                                                           uint8_t* pMemSpec, uint8_t* pMemInit);
ZEM_API ZemStatus zemsSynthesisDownFilterInit_SBR_CToR_32fc32f(ZemSbrSynthesisDownSpec_32f** ppSpec,
                                                               uint8_t* pMemSpec,
                                                               uint8_t* pMemInit);
ZEM_API ZemStatus zemsSynthesisDownFilterInit_SBR_RToR_32f(ZemSbrSynthesisDownSpec_32f** ppSpec,
                                                           uint8_t* pMemSpec, uint8_t* pMemInit);
/* Statuses, in check order: zemStatusNullPointer (pSpec, pWindow, and pWorkBuf for the banks
   with separate real and imaginary rows); zemStatusContextMismatch; zemStatusNullPointer (the
   row arrays, a row pointer of the slots, pDst, and pWorkBuf for the other banks). numSlots
   below 1 returns zemStatusOk with nothing changed. */
ZEM_API ZemStatus zemsSynthesisFilter_SBR_CToR_32f_D2L(const float* const* ppSrcRe,
                                                       const float* const* ppSrcIm, float* pDst,
                                                       const float* pWindow, int32_t numSlots,
                                                       ZemSbrSynthesisSpec_32f* pSpec,
                                                       uint8_t* pWorkBuf);
ZEM_API ZemStatus zemsSynthesisFilter_SBR_CToR_32fc32f_D2L(const Zem32fc* const* ppSrc, float* pDst,
                                                           const float* pWindow, int32_t numSlots,
                                                           ZemSbrSynthesisSpec_32f* pSpec,
                                                           uint8_t* pWorkBuf);
ZEM_API ZemStatus zemsSynthesisFilter_SBR_RToR_32f_D2L(const float* const* ppSrc, float* pDst,
                                                       const float* pWindow, int32_t numSlots,
                                                       ZemSbrSynthesisSpec_32f* pSpec,
                                                       uint8_t* pWorkBuf);
ZEM_API ZemStatus zemsSynthesisDownFilter_SBR_CToR_32f_D2L(const float* const* ppSrcRe,
                                                           const float* const* ppSrcIm, float* pDst,
                                                           const float* pWindow, int32_t numSlots,
                                                           ZemSbrSynthesisDownSpec_32f* pSpec,
                                                           uint8_t* pWorkBuf);
ZEM_API ZemStatus zemsSynthesisDownFilter_SBR_CToR_32fc32f_D2L(const Zem32fc* const* ppSrc,
                                                               float* pDst, const float* pWindow,
                                                               int32_t numSlots,
                                                               ZemSbrSynthesisDownSpec_32f* pSpec,
                                                               uint8_t* pWorkBuf);
ZEM_API ZemStatus zemsSynthesisDownFilter_SBR_RToR_32f_D2L(const float* const* ppSrc, float* pDst,
                                                           const float* pWindow, int32_t numSlots,
                                                           ZemSbrSynthesisDownSpec_32f* pSpec,
                                                           uint8_t* pWorkBuf);

#ifdef __cplusplus
}
#endif

#endif
