/* zemac: SBR high-frequency generation prediction, SBR encoder tools and the PS hybrid analysis. */
#ifndef ZEMAC_SBR_TOOLS_H
#define ZEMAC_SBR_TOOLS_H

#include "core.h"

#ifdef __cplusplus
extern "C" {
#endif

/* --- HF-generation prediction and the tonality estimator --- */

/* Second-order predictor of each QMF band by the covariance method. Row n of the source holds
   the sub-band samples x[n][k] of slot n; rows 0 .. len + 1 are read, and for every band
   k < numBands, with phi(i, j) = sum_{m=2..len+1} x[m-i][k] conj(x[m-j][k]):
     d      = phi(2,2) phi(1,1) - rho |phi(1,2)|^2,  rho = 0.99999905 (bits 0x3F7FFFF0),
     alpha1 = (phi(0,1) phi(1,2) - phi(0,2) phi(1,1)) / d             (0 when d is 0),
     alpha0 = -(phi(0,1) + alpha1 conj(phi(1,2))) / phi(1,1)          (0 when phi(1,1) is 0),
   both set to 0 when either has a magnitude of 4 or more. Bands 0 .. numBands - 1 of the outputs
   are written. Statuses, in check order: zemStatusNullPointer (an array argument);
   zemStatusOk with nothing written when len < 1 or numBands < 1; zemStatusNullPointer (a row
   pointer of rows 0 .. len + 1). No alignment needed. */
ZEM_API ZemStatus zemsPredictCoef_SBR_R_32f_D2L(const float* const* ppSrc, float* pAlpha0,
                                                float* pAlpha1, int32_t numBands, int32_t len);
ZEM_API ZemStatus zemsPredictCoef_SBR_C_32fc_D2L(const Zem32fc* const* ppSrc, Zem32fc* pAlpha0,
                                                 Zem32fc* pAlpha1, int32_t numBands, int32_t len);
/* The complex predictor on separate real and imaginary rows and outputs. */
ZEM_API ZemStatus zemsPredictCoef_SBR_C_32f_D2L(const float* const* ppSrcRe,
                                                const float* const* ppSrcIm, float* pAlpha0Re,
                                                float* pAlpha0Im, float* pAlpha1Re,
                                                float* pAlpha1Im, int32_t numBands, int32_t len);

/* Fixed-point predictor of the one band `band` of complex 32-bit samples, alphas in Q29 (the
   samples' scale cancels). The samples are shifted right to two bits of headroom (never left),
   the covariance terms summed in 64 bits and normalised, d taken without relaxation (alpha1 = 0
   when d <= 0) and the divisions done by a Newton-Raphson reciprocal, to within a few Q29 units
   of the exact formulas on full-scale input. len is capped at 38: rows 0 .. 39 must be readable
   (rows 0 .. len + 1 are read). Integer arithmetic only. Always returns zemStatusOk; with a null
   pointer it writes nothing. */
ZEM_API ZemStatus zemsPredictOneCoef_SBRHQ_32sc_D2L(const Zem32sc* const* ppSrc, Zem32sc* pAlpha0,
                                                    Zem32sc* pAlpha1, int32_t band, int32_t len);
/* The same for real samples (the low-power decoder). All three outputs are first set to 0. With
   calcAlpha 0 only the reflection coefficient -phi(0,1)/phi(1,1), clamped to [-1, 1] in Q29, is
   written; otherwise also alpha0 and alpha1, d being relaxed by 0x7FFFF800 in Q31. The |alpha| >= 4
   reset clears the alphas, not the reflection coefficient. */
ZEM_API ZemStatus zemsPredictOneCoef_SBRLP_32s_D2L(const int32_t* const* ppSrc, int32_t* pAlpha0,
                                                   int32_t* pAlpha1, int32_t* pRefCoef,
                                                   int32_t band, int32_t len, int32_t calcAlpha);

/* Tonality-to-noise ratio of one sub-band for an SBR encoder: pSrc holds 32 QMF samples, each
   half of 16 giving the share r of its energy phi(0,0) (over samples 2 .. 15) that the predictor
   above removes, and TNR = r / (1.000001 - r) (1e6 when |1 - r| <= 1e-6, 0 for a silent half).
   Writes the halves' TNRs and the mean of their energies. zemStatusNullPointer. */
ZEM_API ZemStatus zemsEstimateTNR_SBR_32f(const Zem32fc* pSrc, float* pTnr0, float* pTnr1,
                                          float* pMeanNrg);

/* --- SBR encoder analysis bank and transient detector --- */

/* The encoder's 64-band complex QMF analysis, one slot per call from the last 640 input samples
   (pSrc[0] the oldest; successive slots are 64 samples apart), with the library's 640-coefficient
   prototype c: x[i] = pSrc[639 - i], u[n] = sum_{m<5} c[n + 128 m] x[n + 128 m] (n < 128),
   X[k] = sum_{n<128} u[n] exp(i pi (k + 1/2)(2n + 1)/128), k < 64 (no factor 2 and no 1/64).
   The handle is the start of the caller's block; the record (tag 0x434D416A, offsets of the FFT
   record and its memory and of a work area, ownedByLibrary) sits at its first 16-byte boundary,
   followed by the work area and a 64-point FFT record. */
typedef struct ZemSbrAnalysisEncSpec_32f ZemSbrAnalysisEncSpec_32f;

/* State and init bytes: 1407 and 4 on every target. zemStatusNullPointer. */
ZEM_API ZemStatus zemsAnalysisFilterEncGetSize_SBR_32f(int32_t* pSizeSpec, int32_t* pSizeInit);
/* Builds the record in pMem (pMemInit is scratch for the call). zemStatusNullPointer. */
ZEM_API ZemStatus zemsAnalysisFilterEncInit_SBR_32f(uint8_t* pMem, uint8_t* pMemInit);
/* The same in memory from zemMalloc. zemStatusNullPointer; zemStatusNoMemory (nothing is left
   allocated and *ppSpec is null). */
ZEM_API ZemStatus zemsAnalysisFilterEncInitAlloc_SBR_32f(ZemSbrAnalysisEncSpec_32f** ppSpec);
/* Releases a block from InitAlloc; a record made by Init is left to its owner.
   zemStatusNullPointer; zemStatusContextMismatch. */
ZEM_API ZemStatus zemsAnalysisFilterEncFree_SBR_32f(ZemSbrAnalysisEncSpec_32f* pSpec);
/* One slot: 64 complex values to pDst. zemStatusNullPointer; zemStatusContextMismatch. */
ZEM_API ZemStatus zemsAnalysisFilterEnc_SBR_32f32fc(const float* pSrc, Zem32fc* pDst,
                                                    ZemSbrAnalysisEncSpec_32f* pSpec);

/* Transient detection on the energies E[12..63] of pSrc: with sigma the sample standard
   deviation of E[16..63], the threshold becomes T = max(128000, 0.34 sigma + 0.66 *pThr) and is
   stored in *pThr; with H(j) = (E[j] + E[j + 1]) / 2, each odd i = 15 .. 59 adds (v / T - 1) to
   pDst[i] for each of a = H(i+1) - H(i-1), b = 2H(i+1) - H(i-1) - H(i-3),
   c = 2H(i+1) + H(i+3) - H(i-1) - 2H(i-3) above T (not for i = 15), and to pDst[i + 1] for each
   of a, b' = H(i+1) + H(i+3) - 2H(i-1), c' = H(i+1) + 2H(i+3) - 2H(i-1) - H(i-3) above T. The
   accumulators pDst[16..60] are added to, never cleared. zemStatusNullPointer. */
ZEM_API ZemStatus zemsDetectTransient_SBR_32f(const float* pSrc, float* pThr, float* pDst);

/* --- PS hybrid analysis --- */

/* Splits one QMF sub-band further: pSrc holds 44 samples (the last 12 of the previous frame,
   then the 32 of this one); for each slot k < 32 and hybrid band q < Q,
   pDst[12 k + q] = sum_{n<13} G_q(n) x[k + 12 - n], columns Q..11 of the rows untouched.
   config 0: Q = 2, G_q(n) = g(n) cos(pi q (n - 6)); configs 1 to 4: Q = 4, 8, 8, 12,
   G_q(n) = g(n) exp(i 2 pi / Q (q + 1/2)(n - 6)); g the symmetric hybrid prototypes of the PS
   tool (config 2 the 8-band filter of the 20-band configuration; 1, 3 and 4 the 4-, 8- and
   12-band filters of the 34-band one), taps with g(n) = 0 left out. Statuses:
   zemStatusNullPointer; zemStatusBadArgument (config outside 0..4). */
ZEM_API ZemStatus zemsAnalysisFilter_PS_32fc_D2(const Zem32fc* pSrc, Zem32fc* pDst, int32_t config);

#ifdef __cplusplus
}
#endif

#endif
