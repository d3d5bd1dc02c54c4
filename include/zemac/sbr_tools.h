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

#ifdef __cplusplus
}
#endif

#endif
